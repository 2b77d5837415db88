// The commands that move a stream through the plumbing: TYPE (a file to
// standard output, the usual source of a pipe), TEE (standard input to
// standard output and files), Y (standard input, then files), PEE
// (standard input to several commands) and SPONGE (standard input to a
// file, written only when the input has ended).
#include <string>
#include <vector>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include "core/redir.h"
#include "core/redir_internal.h"
#include "files/paths.h"

namespace {

constexpr DWORD kCopyChunk = 1 << 20;

enum : unsigned { TYPE_LINES = 1, TYPE_PAUSE = 2 };
enum : unsigned { SINK_APPEND = 1 };

// Write all bytes; false when the reader has gone (a closed pipe) or the
// write failed.
bool WriteBytes(HANDLE h, const char *data, DWORD size) {
    while (size) {
        DWORD done = 0;
        if (!WriteFile(h, data, size, &done, nullptr) || !done) return false;
        data += done;
        size -= done;
    }
    return true;
}

// Read a handle to its end in big chunks, handing each to sink.  Returns
// 0, or the system code of a failed read (a pipe's end is no failure).
template <class Sink>
int ReadChunks(HANDLE from, Sink sink) {
    std::string buffer(kCopyChunk, '\0');
    for (;;) {
        CheckBreak();
        DWORD got = 0;
        if (!ReadFile(from, buffer.data(), kCopyChunk, &got, nullptr)) {
            DWORD error = GetLastError();
            return error == ERROR_BROKEN_PIPE || error == ERROR_HANDLE_EOF ? 0 : (int)error;
        }
        if (!got) return 0;
        sink(buffer.data(), got);
    }
}

// Copy everything from one handle to the others; a reader that has gone
// is passed over.
int CopyStream(HANDLE from, const std::vector<HANDLE> &to) {
    std::vector<bool> open(to.size(), true);
    return ReadChunks(from, [&](const char *data, DWORD size) {
        for (size_t i = 0; i < to.size(); i++)
            if (open[i]) open[i] = WriteBytes(to[i], data, size);
    });
}

// The name of a file argument as a name to open: devices as the system
// knows them, files completed.  false after reporting.
bool OpenableName(CString &name, bool forWriting) {
    StripQuotes_S(name);
    if (QueryIsCON(name.c_str())) {
        name = forWriting ? L"CONOUT$" : L"CONIN$";
        return true;
    }
    if (QueryIsDevice(name)) return true;
    return CreateFullPathName(name, 0);
}

HANDLE OpenForReading(CString name) {
    if (!OpenableName(name, false)) return INVALID_HANDLE_VALUE;
    HANDLE h = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (h == INVALID_HANDLE_VALUE) BDError(0, name.c_str());
    return h;
}

HANDLE OpenForWriting(CString name, bool append) {
    if (!OpenableName(name, true)) return INVALID_HANDLE_VALUE;
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, append ? OPEN_ALWAYS : CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        BDError(0, name.c_str());
        return h;
    }
    if (append) SetFilePointer(h, 0, nullptr, FILE_END);
    return h;
}

// A file that is shown as text rather than copied as bytes: UTF-16 text
// (when the output is not UTF-16 too), or anything for the console.
bool NeedsTextMode(HANDLE file, unsigned switches) {
    if (switches || QueryIsConsole(StdOut())) return true;
    if (GetFileType(file) != FILE_TYPE_DISK) return false;
    return (QueryIsFileUnicode(file) != 0) != (GetTLS()->nOutputEncoding == 3);
}

// TYPE of one open file as lines: numbered with /L, paged with /P.
void TypeLines(HANDLE file, unsigned switches) {
    int flags = QueryIsFileUnicode(file) ? GNL_UTF16 : QueryIsFileUTF8(file) ? GNL_UTF8 : 0;
    GetTLS()->hUnicodeInput = nullptr;
    CString line;
    for (int number = 1; GetNextLine(file, line, flags | GNL_NO_PIPE_TEST, nullptr, 0x7FFFFFFF); number++) {
        if (switches & TYPE_LINES) Printf(L"%4d : %s\r\n", number, line.c_str());
        else Printf(L"%s\r\n", line.c_str());
        PagePause();
    }
}

int TypeOne(const CString &argument, unsigned switches) {
    CString name = argument;
    StripQuotes_S(name);
    bool clip = QueryIsClip(name.c_str()) != 0;
    if (clip) {
        name = ClipboardFileName(0);
        if (int rc = CopyFromClipboard(name)) return BDError(rc, L"clip:");
    }
    HANDLE h = OpenForReading(name);
    int rc = 0;
    if (h == INVALID_HANDLE_VALUE) {
        rc = 2;
    } else {
        try {
            if (NeedsTextMode(h, switches)) TypeLines(h, switches);
            else if (int error = CopyStream(h, {StdOut()})) rc = BDError(error, name.c_str());
        } catch (...) {
            CloseHandle(h);
            if (clip) DeleteFileW(name.c_str());
            throw;
        }
        CloseHandle(h);
    }
    if (clip) DeleteFileW(name.c_str());
    return rc;
}

// The file arguments of a command; a missing one is reported.
bool FileArguments(const CString &args, std::vector<CString> *names) {
    CString arg;
    for (int i = 0; GetNthArgument(args.c_str(), i, &arg); i++) names->push_back(arg);
    if (names->empty()) BDError(ERROR_BD_MISSING_ARGUMENT, GetTLS()->sCommandName.c_str());
    return !names->empty();
}

// All of standard input.
int ReadAllInput(std::string *bytes) {
    return ReadChunks(StdIn(), [&](const char *data, DWORD size) { bytes->append(data, size); });
}

}  // namespace

int Type_Command(CString &args) {
    unsigned switches = 0;
    if (GetSwitches(args, L"LP", &switches, 0, nullptr)) return 2;
    std::vector<CString> names;
    if (!FileArguments(args, &names)) return 2;
    StartPaging((switches & TYPE_PAUSE) != 0, 0);
    int result = 0;
    for (const CString &name : names)
        if (int rc = TypeOne(name, switches)) result = rc;
    return result;
}

int Tee_Command(CString &args) {
    unsigned switches = 0;
    if (GetSwitches(args, L"A", &switches, 0, nullptr)) return 2;
    std::vector<CString> names;
    if (!FileArguments(args, &names)) return 2;
    // The files close on every way out, an interrupt included.
    struct Sinks {
        std::vector<HANDLE> all;
        ~Sinks() {
            for (size_t i = 1; i < all.size(); i++) CloseHandle(all[i]);
        }
    } sinks;
    sinks.all.push_back(StdOut());
    int result = 0;
    for (const CString &name : names) {
        HANDLE h = OpenForWriting(name, switches & SINK_APPEND);
        if (h == INVALID_HANDLE_VALUE) result = 2;
        else sinks.all.push_back(h);
    }
    if (int error = CopyStream(StdIn(), sinks.all)) result = BDError(error, nullptr);
    return result;
}

int Y_Command(CString &args) {
    std::vector<CString> names;
    CString arg;
    for (int i = 0; GetNthArgument(args.c_str(), i, &arg); i++) names.push_back(arg);
    if (int error = CopyStream(StdIn(), {StdOut()})) return BDError(error, nullptr);
    int result = 0;
    for (const CString &name : names) {
        HANDLE h = OpenForReading(name);
        if (h == INVALID_HANDLE_VALUE) {
            result = 2;
            continue;
        }
        int error;
        try {
            error = CopyStream(h, {StdOut()});
        } catch (...) {
            CloseHandle(h);
            throw;
        }
        CloseHandle(h);
        if (error) result = BDError(error, name.c_str());
    }
    return result;
}

int Sponge_Command(CString &args) {
    unsigned switches = 0;
    if (GetSwitches(args, L"A", &switches, 0, nullptr)) return 2;
    CString name;
    if (!GetNthArgument(args.c_str(), 0, &name)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"SPONGE");
    std::string bytes;
    if (int error = ReadAllInput(&bytes)) return BDError(error, nullptr);
    HANDLE h = OpenForWriting(name, switches & SINK_APPEND);
    if (h == INVALID_HANDLE_VALUE) return 2;
    bool ok = WriteBytes(h, bytes.data(), (DWORD)bytes.size());
    int error = ok ? 0 : (int)GetLastError();
    CloseHandle(h);
    return ok ? 0 : BDError(error, name.c_str());
}

namespace {

// Run one command with the saved input as its standard input.
int RunWithInput(const CString &file, const CString &command) {
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    HANDLE h = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &sa,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return BDError(0, file.c_str());
    RedirRecord record;
    InstallStdHandle(&record, 1 << REDIR_IN, h);
    int rc;
    try {
        rc = Command_S(command, 0);
    } catch (...) {
        Unredirect(&record, nullptr, nullptr);
        throw;
    }
    Unredirect(&record, nullptr, nullptr);
    return rc;
}

}  // namespace

int Pee_Command(CString &args) {
    std::vector<CString> commands;
    if (!FileArguments(args, &commands)) return 2;
    std::string bytes;
    if (int error = ReadAllInput(&bytes)) return BDError(error, nullptr);
    CString file;
    if (int rc = MakeTempFile(file, L"PEE")) return BDError(rc, nullptr);
    HANDLE h = CreateFileW(file.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL,
                           nullptr);
    bool ok = h != INVALID_HANDLE_VALUE && WriteBytes(h, bytes.data(), (DWORD)bytes.size());
    if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
    if (!ok) {
        int error = (int)GetLastError();
        DeleteFileW(file.c_str());
        return BDError(error, file.c_str());
    }
    int result = 0;
    try {
        for (CString &command : commands) {
            StripEnclosingQuotes_S(command);
            result = RunWithInput(file, command);
        }
    } catch (...) {
        DeleteFileW(file.c_str());
        throw;
    }
    DeleteFileW(file.c_str());
    return result;
}
