// Commands about the shell itself: PATH, BREAK, CHCP, SETERROR and LOG,
// with the command log and the history log that Command_S writes.  (HELP,
// which reads the command table, is the execution core's: core/help.cpp.)
// PATH, BREAK and CHCP answer as the system's own command interpreter does.
#include <map>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "console/console.h"
#include "console/screen.h"
#include "system/system.h"
#include "vars/lists.h"

// PATH [[=]dir[;dir...] | ;]: show, set or clear the search path.
int Path_Command(CString &args) {
    args.TrimLeft(L" \t=");
    args.TrimRight();
    if (args.empty()) {
        CString path;
        if (!QueryEnvVar(L"PATH", &path) || path.empty()) Printf(L"No Path\r\n");
        else Printf(L"PATH=%s\r\n", path.c_str());
        return 0;
    }
    if (args == L";") args.clear();
    CString entry = L"PATH=" + args;
    return SetEVariable(entry.c_str()) ? 2 : 0;
}

// BREAK [ON | OFF]: Ctrl+C is always honoured on Windows; the setting is
// kept and shown for batch files that set it.
int Break_Command(CString &args) {
    args.Trim();
    TLS_VARIABLES *tls = GetTLS();
    if (args.empty()) {
        Printf(L"BREAK is %s\r\n", tls->fBreakEnabled ? L"on" : L"off");
        return 0;
    }
    if (args.EqualsNoCase(L"on")) tls->fBreakEnabled = 1;
    else if (args.EqualsNoCase(L"off")) tls->fBreakEnabled = 0;
    else return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    return 0;
}

// CHCP [code page]: show or set the console's code page (input and
// output).  Without a console there is nothing to set.
int Chcp_Command(CString &args) {
    args.Trim();
    if (!args.empty()) {
        unsigned page = 0;
        int used = 0;
        if (Sscanf(args.c_str(), L"%u%n", &page, &used) != 2 || used != args.GetLength())
            return BDError(ERROR_INVALID_PARAMETER, args.c_str());
        if (!page || !IsValidCodePage(page)) return BDError(ERROR_BD_BAD_CODE_PAGE, args.c_str());
        if (!SetConsoleOutputCP(page)) {
            CONSOLE_SCREEN_BUFFER_INFO info;
            HANDLE console = CreateFileW(L"CONOUT$", GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                         OPEN_EXISTING, 0, nullptr);
            bool haveConsole = console != INVALID_HANDLE_VALUE && GetConsoleScreenBufferInfo(console, &info);
            if (console != INVALID_HANDLE_VALUE) CloseHandle(console);
            return BDError(haveConsole ? (int)GetLastError() : ERROR_BD_NEEDS_CONSOLE, args.c_str());
        }
        SetConsoleCP(page);
    }
    Printf(L"Active code page: %u\r\n", OutputCodePage());
    return 0;
}

// SETERROR [n]: ERRORLEVEL and the result of the command become n
// (default 0), and so does the last system error.
int Seterror_Command(CString &args) {
    args.Trim();
    int value = 0, used = 0;
    if (!args.empty() && (Sscanf(args.c_str(), L"%i%n", &value, &used) != 2 || used != args.GetLength()))
        return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    TLS_VARIABLES *tls = GetTLS();
    tls->nSysError = value;
    tls->nExitCode = value;
    SetLastError((DWORD)value);
    return value;
}

// ---- the command log ----

namespace {

CString LogFileName(const wchar_t *option, const wchar_t *fallback) {
    if (option && *option) return option;
    return aGlobals.sExecutablePath + fallback;
}

// Change one option as OPTION //name=value would.
int SetLogOption(const wchar_t *name, const CString &value) {
    CString setting = FormatStr(L"//%s=%s", name, value.c_str());
    return SetINIDirective(setting.data());
}

}  // namespace

CString QueryCommandLogName() { return LogFileName(aIniFile.LogName, L"BDXLOG.LOG"); }
CString QueryHistoryLogName() { return LogFileName(aIniFile.HistLogName, L"BDXHLOG.LOG"); }

void LogCommandLine(const CString &line) {
    if (aIniFile.LogOn) AppendLogEntry(QueryCommandLogName(), line);
}

void LogHistoryLine(const CString &line) {
    if (aIniFile.HistLogOn) AppendLogEntry(QueryHistoryLogName(), line);
}

// LOG [/H] [/W file] [ON | OFF | text]: the command log (/H the history
// log of typed lines): show its state, turn it on or off, write it to
// another file, or add a line of text to it.
int Log_Command(CString &args) {
    CString file;
    bool renamed = GetMultiCharSwitch(args, L"W", &file, 0, nullptr, 0, 0) != 0;
    unsigned mask = 0;
    if (GetSwitches(args, L"H", &mask, 0, nullptr)) return 2;
    bool history = mask & 1;
    const wchar_t *onName = history ? L"HistLogOn" : L"LogOn";
    args.Trim();
    if (renamed) {
        // "/W file" as well as "/Wfile"
        int start = -1;
        if (file.empty() && GetNthArgument(args.c_str(), 0, &file, &start)) args.erase(0, start + file.size());
        StripQuotes_S(file);
        if (file.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"/W");
        wchar_t full[MAX_PATH * 4];
        DWORD n = GetFullPathNameW(file.c_str(), MAX_PATH * 4, full, nullptr);
        if (!n || n >= MAX_PATH * 4) return BDError((int)GetLastError(), file.c_str());
        if (SetLogOption(history ? L"HistLogName" : L"LogName", full)) return 2;
        if (args.empty()) return SetLogOption(onName, L"Yes") ? 2 : 0;
    }
    if (args.empty()) {
        bool on = history ? aIniFile.HistLogOn : aIniFile.LogOn;
        Printf(L"%s is %s\r\n", history ? L"LOG /H" : L"LOG", on ? L"ON" : L"OFF");
        return 0;
    }
    if (args.EqualsNoCase(L"on") || args.EqualsNoCase(L"off"))
        return SetLogOption(onName, args.EqualsNoCase(L"on") ? L"Yes" : L"No") ? 2 : 0;
    StripEnclosingQuotes_S(args);
    CString name = history ? QueryHistoryLogName() : QueryCommandLogName();
    if (int rc = AppendLogEntry(name, args)) return BDError(rc, name.c_str());
    return 0;
}
