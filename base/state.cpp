// Per-thread state, the process-wide blocks (aGlobals, aIniFile), the
// instance counters and the handles and queries that everything shares.
#include "base/state.h"
#include "base/options.h"
#include <objbase.h>

// Every thread gets a fresh block from the initial values of the type.
static thread_local TLS_VARIABLES tlsBlock;

TLS_VARIABLES *GetTLS() { return &tlsBlock; }

TLS_VARIABLES *GetTLSVariables() { return &tlsBlock; }

GLOBAL_VARIABLES aGlobals;
INIFILE aIniFile;

// Counters shared by every process that loads the library.
static volatile LONG nHostInstances __attribute__((section(".shared"), shared)) = 0;
static volatile LONG nShellInstances __attribute__((section(".shared"), shared)) = 0;

int QueryHostInstances() { return nHostInstances; }
int QueryShellInstances() { return nShellInstances; }

void CountShellInstance(int delta) {
    if (delta > 0) InterlockedIncrement(&nShellInstances);
    else InterlockedDecrement(&nShellInstances);
}

BD_EXPORT void StartBDXMInstance() { InterlockedIncrement(&nHostInstances); }
BD_EXPORT void EndBDXMInstance() { InterlockedDecrement(&nHostInstances); }

BATCHFRAME *CurrentFrame() {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->nBatchFrame < 0 || tls->nBatchFrame >= (int)tls->aBatchFrames.size()) return nullptr;
    return &tls->aBatchFrames[tls->nBatchFrame];
}

void CloseBatchFile() {
    BATCHFRAME *f = CurrentFrame();
    if (!f || f->hFile == INVALID_HANDLE_VALUE || f->hFile == BTM_IN_MEMORY) return;
    f->sChunk.clear();
    CloseHandle(f->hFile);
    f->hFile = INVALID_HANDLE_VALUE;
}

HANDLE StdOut() { return GetStdHandle(STD_OUTPUT_HANDLE); }
HANDLE StdErr() { return GetStdHandle(STD_ERROR_HANDLE); }
HANDLE StdIn() { return GetStdHandle(STD_INPUT_HANDLE); }

bool QueryIsConsole(HANDLE handle) {
    if (!handle || handle == INVALID_HANDLE_VALUE) return false;
    // Files and pipes (what redirection makes of the standard handles) are
    // told apart without a trip to the console, which is costly.
    DWORD type = GetFileType(handle);
    if (type == FILE_TYPE_DISK || type == FILE_TYPE_PIPE) return false;
    DWORD mode;
    return GetConsoleMode(handle, &mode);
}

bool QueryEnvVar(const wchar_t *name, CString *value) {
    DWORD n = GetEnvironmentVariableW(name, nullptr, 0);
    if (!n) return false;
    if (value) {
        value->resize(n);
        n = GetEnvironmentVariableW(name, value->data(), n);
        value->resize(n);
    }
    return true;
}

CString GetEnvVar(const wchar_t *name) {
    CString value;
    QueryEnvVar(name, &value);
    return value;
}

namespace {

thread_local bool fComStarted = false;
LONG fComSecuritySet = 0;

}  // namespace

// ole32 is one of the delay-loaded libraries (CMakeLists.txt): it loads
// here, at the first call.
bool EnsureCOM() {
    if (fComStarted) return true;
    HRESULT rc = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    if (FAILED(rc) && rc != RPC_E_CHANGED_MODE) return false;
    fComStarted = SUCCEEDED(rc);
    if (!InterlockedExchange(&fComSecuritySet, 1))
        CoInitializeSecurity(nullptr, -1, nullptr, nullptr, RPC_C_AUTHN_LEVEL_DEFAULT, RPC_C_IMP_LEVEL_IMPERSONATE,
                             nullptr, EOAC_NONE, nullptr);
    return true;
}

void ReleaseCOM() {
    if (!fComStarted) return;
    fComStarted = false;
    CoUninitialize();
}

CString CurrentDirectory() {
    CString dir(MAX_PATH, L'\0');
    DWORD n = GetCurrentDirectoryW((DWORD)dir.size(), dir.data());
    if (n > dir.size()) {
        dir.resize(n);
        n = GetCurrentDirectoryW(n, dir.data());
    }
    dir.resize(n < dir.size() ? n : 0);
    return dir;
}

void EndProcess(int code) {
    TerminateProcess(GetCurrentProcess(), (UINT)code);
    ExitProcess((UINT)code);
}
