// BDError, the one way to report a failure, and the break machinery that
// carries Ctrl+C from the system's handler thread to the main thread.
#include <cstdarg>
#include "console/output.h"
#include "core/bdx.h"
#include "core/format.h"

namespace {

// The message text of a code: system texts through FormatMessage, the
// program's own from the language module.
CString ErrorText(int code) {
    if (code >= ERROR_BD_BASE && code <= 0x3FFFFFFF) {
        CString text = LoadLanguageString(code - BD_STRING_BIAS);
        if (text.GetLength() > 4095) text.Truncate(4095);
        return text;
    }
    DWORD lang = aIniFile.EnglishMessages ? MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US) : 0;
    wchar_t *buffer = nullptr;
    DWORD n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                                 FORMAT_MESSAGE_IGNORE_INSERTS,
                             nullptr, (DWORD)code, lang, (LPWSTR)&buffer, 0, nullptr);
    if (!n && lang)
        n = FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM |
                               FORMAT_MESSAGE_IGNORE_INSERTS,
                           nullptr, (DWORD)code, 0, (LPWSTR)&buffer, 0, nullptr);
    CString text = n ? CString(buffer, n) : FormatStr(L"Error %d", code);
    if (buffer) LocalFree(buffer);
    text.TrimRight(L" \r\n");
    return text;
}

}  // namespace

// The full text that BDError prints for a code and its argument.
CString ErrorMessage(int code, const wchar_t *argument) {
    bool own = code >= ERROR_BD_BASE && code <= 0x3FFFFFFF;
    if (!own && code < 1) code = (int)GetLastError();
    if (!own) GetTLS()->nSysError = code;
    CString text = ErrorText(code);
    if (argument) {
        if (text.find(L"%1") != CString::npos) {
            text.Replace(L"%1", L"%s");
            text = FormatStr(text.c_str(), argument);
        } else {
            text = FormatStr(*argument == L'"' ? L"%s %s" : L"%s \"%s\"", text.c_str(), argument);
        }
    }
    if (text.empty() || text.back() != L'\n') text += L"\r\n";
    return text;
}

int BDError(int code, const wchar_t *argument) {
    TLS_VARIABLES *tls = GetTLS();
    tls->nLastResult = 2;
    BATCHFRAME *frame = CurrentFrame();
    if (frame && !frame->sOnError.empty()) {
        tls->nSysError = code ? code : (int)GetLastError();
        BreakOut(0x800);
    }
    CString text = ErrorMessage(code, argument);
    if (frame && !(frame->fFlags & BF_HOSTED))
        Qprintf(StdErr(), L"%s [%d]  ", frame->sBatchName.c_str(), frame->nLineNumber);
    Qprintf(StdErr(), L"%s", text.c_str());
    if (frame && !frame->sOnErrorMsg.empty()) BreakOut(0x1000);
    return 2;
}

BD_EXPORT int error(int code, const wchar_t *argument) { return BDError(code, argument); }

void HoldSignals() { GetTLS()->fSignalsHeld = 1; }

void EnableSignals() { GetTLS()->fSignalsHeld = 0; }

void ResetBreakHandling() {
    GetTLS()->fBreakPending = 0;
    GetTLS()->fBreakHandled = 0;
}

void BreakOut(int value) {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->hChildProcess) TerminateProcess(tls->hChildProcess, 3);
    throw value;
}

// Deliver a pending interrupt on this thread, unless signals are held.
static void BreakHandler(int) {
    SleepEx(0, TRUE);
    TLS_VARIABLES *tls = GetTLS();
    if (!tls->fBreakPending || tls->fSignalsHeld) return;
    tls->fBreakPending = 0;
    DWORD done;
    if (aGlobals.hConOut && aGlobals.hConOut != INVALID_HANDLE_VALUE)
        WriteConsoleW(aGlobals.hConOut, L"^C\r\n", 4, &done, nullptr);
    if (tls->nBatchFrame < 0) {
        tls->bIffState = tls->nIffActive = tls->nIffNested = 0;
        tls->nDoActive = tls->nDoNested = tls->nDoLeave = 0;
    }
    tls->fBreakHandled = 1;
    BreakOut(3);
}

void CheckBreak() {
    if (GetTLS()->fBreakPending) BreakHandler(0);
}

// Runs on the main thread, queued by the console handler.
static void CALLBACK BreakAPC(ULONG_PTR) {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->nSelectionStart != -1) {
        tls->fBreakInEdit = 1;
        return;
    }
    if (tls->hChildProcess) TerminateProcess(tls->hChildProcess, 3);
    tls->fBreakPending = 1;
}

BOOL WINAPI ConsoleBreakHandler(DWORD event) {
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        QueueUserAPC(BreakAPC, aGlobals.hMainThread, event);
        return TRUE;
    }
    aGlobals.nConsoleEvent = event;
    return FALSE;
}

void honk() {
    tty_yield(0);
    if (aIniFile.BeepLength) Beep(aIniFile.BeepFreq, aIniFile.BeepLength * 55);
    else MessageBeep(aIniFile.BeepFreq);
}
