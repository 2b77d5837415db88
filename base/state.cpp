// Per-thread state, process state and the handles that everything shares.
#include "console/output.h"
#include "core/bdx.h"

// Every thread gets a fresh block from the initial values of the type.
static thread_local TLS_VARIABLES tlsBlock;

TLS_VARIABLES *GetTLS() { return &tlsBlock; }

TLS_VARIABLES *GetTLSVariables() { return &tlsBlock; }

GLOBAL_VARIABLES aGlobals;

BATCHFRAME *CurrentFrame() {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->nBatchFrame < 0 || tls->nBatchFrame >= (int)tls->aBatchFrames.size()) return nullptr;
    return &tls->aBatchFrames[tls->nBatchFrame];
}

HANDLE StdOut() { return GetStdHandle(STD_OUTPUT_HANDLE); }
HANDLE StdErr() { return GetStdHandle(STD_ERROR_HANDLE); }
HANDLE StdIn() { return GetStdHandle(STD_INPUT_HANDLE); }

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

void EndProcess(int code) {
    TerminateProcess(GetCurrentProcess(), (UINT)code);
    ExitProcess((UINT)code);
}
