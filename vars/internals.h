// The tables behind %_name: the internal variables and the command
// counters, and the family routines that compute a variable's value.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

// Which routine computes a variable: each family lives in its own file.
enum InternalFamily {
    IVF_ABSENT,     // tied to a component this build does not have: no value
    IVF_TIME,       // dates, times and the time zone (iv_time.cpp)
    IVF_STATE,      // the shell's own state: batch frames, results, versions (iv_state.cpp)
    IVF_SYSTEM,     // Windows, the user, the machine, power (iv_system.cpp)
    IVF_CONSOLE,    // console window, cursor, keyboard, screen, mouse (iv_console.cpp)
    IVF_DISK,       // current directory, drive lists, ports (iv_disk.cpp)
    IVF_NET,        // IP configuration (iv_net.cpp)
};

// Case numbers of the internal variables: IV_cwd is the index of "cwd".
enum InternalIndex : int {
#define BD_INTERNAL(name, id, family) IV_##id,
#include "vars/internals.def"
#undef BD_INTERNAL
    IV_COUNT
};

struct INTERNALROW {
    const wchar_t *pszName;     // lower case, without "_"
    InternalFamily nFamily;
};
extern const INTERNALROW aInternalVariables[];
constexpr int nInternalVariables = IV_COUNT;

// Index of the name (without "_", any case), or -1.
int FindInternalVariable(const wchar_t *name);

// The family routines: true with the value in value, false for no value.
bool TimeVariable(int index, CString &value);
bool StateVariable(int index, CString &value);
bool SystemVariable(int index, CString &value);
bool ConsoleVariable(int index, CString &value);
bool DiskVariable(int index, CString &value);
bool NetVariable(int index, CString &value);

// The command counters.  A command sets its own counts, e.g.
//   aCommandCounters[CTR_copy_files] = copied;
enum CounterKind { CK_INT, CK_STRING, CK_UNBOUND };
enum CounterIndex : int {
#define BD_COUNTER(name, id, kind) CTR_##id,
#include "vars/counters.def"
#undef BD_COUNTER
    CTR_COUNT
};
struct COUNTERROW {
    const wchar_t *pszName;     // lower case, without "_"
    CounterKind nKind;
};
extern const COUNTERROW aCounterVariables[];
constexpr int nCounterVariables = CTR_COUNT;
extern volatile int aCommandCounters[CTR_COUNT];
// The open document store's name, behind _unq_db.
extern CString sUnqDatabase;

// Index of the counter name (without "_", any case), or -1.
int FindCommandCounter(const wchar_t *name);

// Shared helpers of the family files.
bool SetInt(CString &value, long long n);
bool SetText(CString &value, const CString &text);
// A string that a sized system call fills: call(buffer, size) returns the
// length written, or the size needed when the buffer was too small, or 0.
template <typename Call> bool SetSized(CString &value, Call call) {
    CString buffer(MAX_PATH, L'\0');
    for (int tries = 0; tries < 4; tries++) {
        DWORD n = call(buffer.data(), (DWORD)buffer.size());
        if (n == 0) return false;
        if (n < buffer.size()) {
            buffer.resize(n);
            value = buffer;
            return true;
        }
        buffer.resize(n + 1);
    }
    return false;
}

// The Windows version as major, decimal character, minor.
CString WindowsVersionText();

// Drives by number, 1 for A: to 26 for Z:.
int GetDriveTypeEx(int drive);
bool QueryDriveExists(int drive);
bool QueryDriveReady(int drive);
// The drive's device hangs on a USB bus.
bool QueryDriveOnUsb(int drive);
