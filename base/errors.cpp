// BDError, the one way to report a failure: the text of the code, the
// batch position, the debug mark, the error log and the ON ERROR and
// ON ERRORMSG hooks of the running batch file.  Also ErrorMsgBox and honk.
#include "base/errors.h"
#include "base/breaks.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"

namespace {

constexpr int kMessageLimit = 4095;
constexpr int kMessageBoxLimit = 1023;
constexpr DWORD kLogLockWait = 10000;

// The system's text for a code, without its trailing line end; empty when
// the system has none.  US English with EnglishMessages on, and the user's
// language when no English text is installed.
CString SystemText(DWORD code) {
    DWORD lang = aIniFile.EnglishMessages ? MAKELANGID(LANG_ENGLISH, SUBLANG_ENGLISH_US) : 0;
    const DWORD flags = FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS;
    wchar_t *buffer = nullptr;
    DWORD n = FormatMessageW(flags, nullptr, code, lang, (LPWSTR)&buffer, 0, nullptr);
    if (!n && lang) n = FormatMessageW(flags, nullptr, code, 0, (LPWSTR)&buffer, 0, nullptr);
    CString text = n ? CString(buffer, n) : CString();
    if (buffer) LocalFree(buffer);
    text.TrimRight(L" \t\r\n");
    return text;
}

// "%1" in a message marks where the argument goes; otherwise the argument
// follows the message, quoted unless it brings its own quotes.  The
// substitution is literal, so a "%" in the argument or elsewhere in a
// system text stays as it is.
CString PlaceArgument(const CString &message, const wchar_t *argument) {
    if (message.find(L"%1") != CString::npos) {
        CString text = message;
        text.Replace(L"%1", argument);
        return text;
    }
    return FormatStr(*argument == L'"' ? L"%s %s" : L"%s \"%s\"", message.c_str(), argument);
}

// The batch file's name and line, for an error in a batch file that is not
// run by a host.  With DebugPauseOnError the debugger is told to stop.
CString BatchPosition() {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || (frame->fFlags & BF_HOSTED)) return CString();
    if (aIniFile.DebugPauseOnError) aGlobals.nDebuggerMode = 1;
    return FormatStr(L"%s [%d]  ", frame->sBatchName.c_str(), frame->nLineNumber);
}

// ON ERROR takes over the failure silently: the batch frame's loop catches
// the thrown value and runs the handler.
void OnErrorHook(int code) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || frame->sOnError.empty()) return;
    GetTLS()->nSysError = code ? code : ERROR_GEN_FAILURE;
    BreakOut(BREAK_ON_ERROR);
}

CString BuildMessage(int code, const wchar_t *argument, int limit) {
    CString text = ErrorText(code, limit);
    if (text.empty()) text = IsProgramError(code) ? FormatStr(L"Error 0x%X", code) : FormatStr(L"Error %d", code);
    if (argument && *argument) text = PlaceArgument(text, argument);
    if (text.empty() || text.back() != L'\n') text += L"\r\n";
    return text;
}

// A system code below 1 stands for the thread's last error.
int ResolveCode(int code) { return !IsProgramError(code) && code < 1 ? (int)GetLastError() : code; }

// Write text to a log file in its encoding: UTF-16 when the file begins
// with a byte-order mark, UTF-8 otherwise.
bool WriteLogText(HANDLE file, const CString &text) {
    LARGE_INTEGER size{};
    unsigned short mark = 0;
    DWORD got = 0;
    OVERLAPPED at{};
    bool wide = GetFileSizeEx(file, &size) && size.QuadPart >= 2 && ReadFile(file, &mark, 2, &got, &at) &&
                got == 2 && mark == 0xFEFF;
    DWORD done = 0;
    if (wide) return WriteFile(file, text.c_str(), (DWORD)(text.size() * 2), &done, nullptr);
    std::string bytes = ToCodePage(text.c_str(), text.GetLength(), CP_UTF8);
    return WriteFile(file, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
}

}  // namespace

CString ErrorText(int code, int limit) {
    CString text = IsProgramError(code) ? LoadLanguageString(code - BD_STRING_BIAS) : SystemText((DWORD)code);
    if (text.GetLength() > limit) text.Truncate(limit);
    return text;
}

CString ErrorMessage(int code, const wchar_t *argument) {
    code = ResolveCode(code);
    if (!IsProgramError(code)) GetTLS()->nSysError = code;
    return BuildMessage(code, argument, kMessageLimit);
}

CString QueryErrorLogName() {
    if (aIniFile.LogErrorsName && *aIniFile.LogErrorsName) return aIniFile.LogErrorsName;
    return aGlobals.sExecutablePath + L"BDXERR.LOG";
}

int AppendLogEntry(const CString &fileName, const CString &text) {
    HANDLE lock = CreateSemaphoreW(nullptr, 1, 1, L"BDLogSemaphore");
    bool held = lock && WaitForSingleObject(lock, kLogLockWait) == WAIT_OBJECT_0;
    // Append-only access: every write lands at the end, even when another
    // shell appends to the same file without the lock.
    HANDLE file = CreateFileW(fileName.c_str(), FILE_APPEND_DATA | FILE_READ_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE,
                              nullptr, OPEN_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    int rc = 0;
    if (file == INVALID_HANDLE_VALUE) {
        rc = (int)GetLastError();
    } else {
        SYSTEMTIME now;
        GetLocalTime(&now);
        CString entry = FormatStr(L"%04u-%02u-%02u %02u:%02u:%02u [%u] %s", now.wYear, now.wMonth, now.wDay, now.wHour,
                                  now.wMinute, now.wSecond, (unsigned)GetCurrentProcessId(), text.c_str());
        if (entry.back() != L'\n') entry += L"\r\n";
        if (!WriteLogText(file, entry)) rc = (int)GetLastError();
        CloseHandle(file);
    }
    if (held) ReleaseSemaphore(lock, 1, nullptr);
    if (lock) CloseHandle(lock);
    return rc;
}

int BDError(int code, const wchar_t *argument) {
    code = ResolveCode(code);
    TLS_VARIABLES *tls = GetTLS();
    tls->nLastResult = 2;
    OnErrorHook(code);
    CString out;
    if (aIniFile.Debug & 4) out = FormatStr(L"BDX: %s", IsProgramError(code) ? L"" : L"(Sys) ");
    CString position = BatchPosition();
    if (!IsProgramError(code)) tls->nSysError = code;
    CString text = BuildMessage(code, argument, kMessageLimit);
    out += position + text;
    aHooks.pfnWriteText(StdErr(), out);
    if (aIniFile.LogErrors) AppendLogEntry(QueryErrorLogName(), position + text);
    BATCHFRAME *frame = CurrentFrame();
    if (frame && !frame->sOnErrorMsg.empty()) BreakOut(BREAK_ON_ERRORMSG);
    return 2;
}

int error(int code, const wchar_t *argument) { return BDError(code, argument); }

int ErrorMsgBox(HWND window, int code, const wchar_t *argument) {
    code = ResolveCode(code);
    GetTLS()->nLastResult = 2;
    OnErrorHook(code);
    if (!IsProgramError(code)) GetTLS()->nSysError = code;
    CString text = BuildMessage(code, argument, kMessageBoxLimit);
    text.TrimRight(L"\r\n");
    MessageBoxW(window, text.c_str(), L"BDX", MB_OK | MB_ICONERROR | MB_SETFOREGROUND);
    return 2;
}
