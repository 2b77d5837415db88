// Starting programs on their own: START (a new window, or the same console
// with /B; waited for only with /WAIT), DETACH (a process with no console
// that the shell forgets), and WHICH (what a name would run).
#include <cwchar>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include "core/launch.h"
#include "core/redir.h"
#include "files/files.h"
#include "files/paths.h"
#include "vars/lists.h"
#include <shellapi.h>

namespace {

struct StartOptions {
    CString title;
    CString directory;
    CString program;         // /PGM: the program, even when it is quoted
    bool startupEnvironment = false;
    bool sameConsole = false;
    bool wait = false;
    bool close = false;      // /C: a shell that runs the command ends
    bool keep = false;       // /K: ... stays
    WORD show = SW_SHOWNORMAL;
    DWORD priority = 0;
    DWORD_PTR affinity = 0;
    bool position = false;
    int x = 0, y = 0, width = 0, height = 0;
};

struct NamedFlag {
    const wchar_t *name;
    DWORD priority;
};
const NamedFlag kPriorities[] = {{L"LOW", IDLE_PRIORITY_CLASS},
                                 {L"NORMAL", NORMAL_PRIORITY_CLASS},
                                 {L"HIGH", HIGH_PRIORITY_CLASS},
                                 {L"REALTIME", REALTIME_PRIORITY_CLASS},
                                 {L"ABOVENORMAL", ABOVE_NORMAL_PRIORITY_CLASS},
                                 {L"BELOWNORMAL", BELOW_NORMAL_PRIORITY_CLASS}};

// The argument behind a switch that takes one (/D dir, /AFFINITY n), or the
// text attached to it (/Ddir).  false when there is none.
bool SwitchValue(CString &args, const CString &word, size_t nameLength, CString *value) {
    if (word.size() > nameLength + 1) {
        *value = word.Mid(nameLength + 1);
        if (value->At(0) == L'=' || value->At(0) == L':') value->erase(0, 1);
        NextArgument_S(args, 1);
        return true;
    }
    if (!GetNthArgument(args.c_str(), 1, value)) return false;
    NextArgument_S(args, 2);
    return true;
}

// One switch at the front of args (removed with its value); false after
// reporting a bad one.
bool TakeSwitch(CString &args, const CString &word, StartOptions &o) {
    CString value;
    CString upper = word.Mid(1);
    upper.MakeUpper();
    for (const NamedFlag &p : kPriorities)
        if (upper == p.name) return o.priority = p.priority, NextArgument_S(args, 1), true;
    bool plain = true;
    if (upper == L"I") o.startupEnvironment = true;
    else if (upper == L"MIN") o.show = SW_SHOWMINNOACTIVE;
    else if (upper == L"MAX") o.show = SW_SHOWMAXIMIZED;
    else if (upper == L"INV") o.show = SW_HIDE;
    else if (upper == L"B") o.sameConsole = true;
    else if (upper == L"WAIT") o.wait = true;
    else if (upper == L"C") o.close = true;
    else if (upper == L"K") o.keep = true;
    else if (upper == L"SEPARATE" || upper == L"SHARED") { /* only 16-bit programs had the choice */ }
    else plain = false;
    if (plain) return NextArgument_S(args, 1), true;
    if (upper.StartsWith(L"D")) {
        if (!SwitchValue(args, word, 1, &o.directory)) return BDError(ERROR_INVALID_PARAMETER, word.c_str()), false;
        StripQuotes_S(o.directory);
        return true;
    }
    if (upper.StartsWith(L"AFFINITY") || upper.StartsWith(L"NODE")) {
        size_t n = upper.StartsWith(L"NODE") ? 4 : 8;
        unsigned long long number = 0;
        if (!SwitchValue(args, word, n, &value) || Sscanf(value.c_str(), n == 4 ? L"%llu" : L"%llx", &number) != 1)
            return BDError(ERROR_INVALID_PARAMETER, word.c_str()), false;
        if (n == 8) o.affinity = (DWORD_PTR)number;
        return true;
    }
    if (upper.StartsWith(L"PGM")) {
        if (!SwitchValue(args, word, 3, &o.program)) return BDError(ERROR_INVALID_PARAMETER, word.c_str()), false;
        StripQuotes_S(o.program);
        return true;
    }
    if (upper.StartsWith(L"POS=") &&
        Sscanf(upper.c_str() + 4, L"%d,%d,%d,%d", &o.x, &o.y, &o.width, &o.height) == 4) {
        o.position = true;
        return NextArgument_S(args, 1), true;
    }
    BDError(ERROR_INVALID_PARAMETER, word.c_str());
    return false;
}

// The title (a first quoted argument) and the switches; args keeps the
// command and its arguments.
bool ReadStartOptions(CString &args, StartOptions &o) {
    args.TrimLeft();
    CString word;
    if (args.At(0) == L'"' && GetNthArgument(args.c_str(), 0, &word)) {
        o.title = word;
        StripEnclosingQuotes_S(o.title);
        NextArgument_S(args, 1);
    }
    while (GetNthArgument(args.c_str(), 0, &word)) {
        if (word.At(0) == L'"' && o.title.empty()) {
            // A quoted first word among the switches is the title too.
            o.title = word;
            StripEnclosingQuotes_S(o.title);
            NextArgument_S(args, 1);
            continue;
        }
        if (word.At(0) != SwitchCharValue() || word.size() < 2) break;
        if (!TakeSwitch(args, word, o)) return false;
    }
    return true;
}

// Is the command something that only a shell can run?
bool NeedsShell(const CString &name, CString *found) {
    if (name.empty()) return true;
    BUILTIN *row = nullptr;
    if (FindInternalCommand(name.c_str(), false, &row) >= 0 || GetAlias(name.c_str(), nullptr)) return true;
    *found = SearchPaths(name.c_str(), nullptr, 0, nullptr, nullptr);
    CString ext = ExtensionOf(*found);
    return ext.EqualsNoCase(L".btm") || ext.EqualsNoCase(L".bat") || ext.EqualsNoCase(L".cmd");
}

// A started process: its id for %_startpid; with /WAIT its exit code is
// the result, otherwise the exit code is left alone.
int FinishStart(HANDLE process, bool wait) {
    TLS_VARIABLES *tls = GetTLS();
    tls->nStartPid = (int)GetProcessId(process);
    if (wait) WaitForProgram(process);
    CloseHandle(process);
    return wait ? tls->nExitCode : NO_EXIT_CODE;
}

// A document, folder or URL: the system opens it.
int OpenThroughShell(const CString &target, const CString &parameters, const StartOptions &o) {
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_NOCLOSEPROCESS | SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
    info.lpFile = target.c_str();
    info.lpParameters = parameters.empty() ? nullptr : parameters.c_str();
    info.lpDirectory = o.directory.empty() ? nullptr : o.directory.c_str();
    info.nShow = o.show;
    EnsureCOM();
    if (!ShellExecuteExW(&info)) return BDError(0, target.c_str());
    if (!info.hProcess) {
        GetTLS()->nStartPid = 0;
        return o.wait ? 0 : NO_EXIT_CODE;
    }
    return FinishStart(info.hProcess, o.wait);
}

int StartProcess(const CString &program, CString commandLine, const StartOptions &o) {
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    si.dwFlags = STARTF_USESHOWWINDOW;
    si.wShowWindow = o.show;
    if (!o.title.empty() && !o.sameConsole) si.lpTitle = const_cast<wchar_t *>(o.title.c_str());
    if (o.position) {
        si.dwFlags |= STARTF_USEPOSITION | STARTF_USESIZE;
        si.dwX = o.x, si.dwY = o.y, si.dwXSize = o.width, si.dwYSize = o.height;
    }
    HANDLE copies[3] = {};
    if (o.sameConsole) PrepareStdHandles(si, StdIn(), StdOut(), StdErr(), copies);
    DWORD flags = CREATE_DEFAULT_ERROR_MODE | CREATE_UNICODE_ENVIRONMENT | o.priority;
    if (!o.sameConsole) flags |= CREATE_NEW_CONSOLE;
    if (o.affinity) flags |= CREATE_SUSPENDED;
    void *environment = o.startupEnvironment ? (void *)QueryStartupEnvironment() : nullptr;
    PROCESS_INFORMATION pi{};
    BOOL ok = CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, o.sameConsole, flags, environment,
                             o.directory.empty() ? nullptr : o.directory.c_str(), &si, &pi);
    int error = ok ? 0 : (int)GetLastError();
    ReleaseStdHandles(copies);
    if (!ok) return BDError(error, program.c_str());
    if (o.affinity) {
        SetProcessAffinityMask(pi.hProcess, o.affinity);
        ResumeThread(pi.hThread);
    }
    CloseHandle(pi.hThread);
    return FinishStart(pi.hProcess, o.wait);
}

}  // namespace

int Start_Command(CString &args) {
    StartOptions o;
    if (!ReadStartOptions(args, o)) return 2;
    args.Trim();
    if (!o.directory.empty() && !CreateFullPathName(o.directory, 0)) return 2;
    CString name, found;
    CString command = args;
    if (!o.program.empty()) {
        name = o.program;
        command = L"\"" + name + L"\" " + args;
    } else if (GetNthArgument(args.c_str(), 0, &name)) {
        NextArgument_S(args, 1);
    }
    StripQuotes_S(name);
    if (name.empty() || NeedsShell(name, &found)) {
        CString shell = ProgramFileName();
        CString line = L"\"" + shell + L"\"";
        if (!name.empty()) {
            bool close = o.close || (o.sameConsole && !o.keep);
            line += FormatStr(L" %s %s", close ? L"/C" : L"/K", command.c_str());
        }
        line.TrimRight();
        return StartProcess(shell, line, o);
    }
    CString ext = ExtensionOf(found);
    if (!found.empty() && (ext.EqualsNoCase(L".exe") || ext.EqualsNoCase(L".com"))) {
        CreateFullPathName(found, 1);
        CString line = L"\"" + found + L"\"";
        if (!args.empty()) line += L" " + args;
        if (line.size() > kMaxProgramCommandLine) return BDError(ERROR_BD_COMMAND_TOO_LONG, found.c_str());
        return StartProcess(found, line, o);
    }
    return OpenThroughShell(found.empty() ? name : found, args, o);
}

int Detach_Command(CString &args) {
    args.Trim();
    if (args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"DETACH");
    CString name, found;
    GetNthArgument(args.c_str(), 0, &name);
    StripQuotes_S(name);
    CString program, line;
    CString ext;
    if (!NeedsShell(name, &found)) ext = ExtensionOf(found);
    if (ext.EqualsNoCase(L".exe") || ext.EqualsNoCase(L".com")) {
        program = found;
        CreateFullPathName(program, 1);
        const wchar_t *rest = GetNthArgument(args.c_str(), 1);
        line = L"\"" + program + L"\"" + (rest ? L" " + CString(rest) : CString());
    } else {
        program = ProgramFileName();
        line = L"\"" + program + L"\" /C " + args;
    }
    if (line.size() > kMaxProgramCommandLine) return BDError(ERROR_BD_COMMAND_TOO_LONG, program.c_str());
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    PROCESS_INFORMATION pi{};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, FALSE,
                        DETACHED_PROCESS | CREATE_NEW_PROCESS_GROUP | CREATE_DEFAULT_ERROR_MODE, nullptr, nullptr, &si,
                        &pi))
        return BDError(0, program.c_str());
    GetTLS()->nDetachPid = (int)pi.dwProcessId;
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
    return 0;
}

namespace {

// What a found file is to the shell.
const wchar_t *KindOfFile(const CString &file, bool byVariable) {
    CString ext = ExtensionOf(file);
    if (byVariable || ExecutableExtension(file, nullptr, nullptr)) return L"an executable extension";
    if (ext.EqualsNoCase(L".btm") || ext.EqualsNoCase(L".bat") || ext.EqualsNoCase(L".cmd")) return L"a batch file";
    if (ext.EqualsNoCase(L".exe") || ext.EqualsNoCase(L".com")) return L"an external";
    if (QueryIsExecutableExtension(ext)) return L"a script";
    return L"a file with an association";
}

int WhichOne(const CString &name, bool all) {
    if (const wchar_t *alias = GetAlias(name.c_str(), nullptr)) {
        Printf(L"%s is an alias : %s\r\n", name.c_str(), alias);
        if (!all) return 0;
    }
    BUILTIN *row = nullptr;
    if (FindInternalCommand(name.c_str(), false, &row) >= 0) {
        Printf(L"%s is an internal command\r\n", name.c_str());
        if (!all) return 0;
    }
    int byVariable = 0;
    CString matches;
    CString found = SearchPaths(name.c_str(), nullptr, 0, &byVariable, all ? &matches : nullptr);
    if (found.empty()) return row || GetAlias(name.c_str(), nullptr) ? 0 : BDError(ERROR_BD_UNKNOWN_COMMAND, name.c_str());
    if (!all) matches = found + L"\r\n";
    for (size_t at = 0; at < matches.size();) {
        size_t end = matches.find(L"\r\n", at);
        CString file = matches.substr(at, end - at);
        bool first = at == 0;
        at = end + 2;
        CreateFullPathName(file, 1);
        Printf(L"%s is %s : %s\r\n", name.c_str(), KindOfFile(file, byVariable && first), file.c_str());
    }
    return 0;
}

}  // namespace

int Which_Command(CString &args) {
    unsigned switches = 0;
    if (GetSwitches(args, L"A", &switches, 0, nullptr)) return 2;
    CString name;
    if (!GetNthArgument(args.c_str(), 0, &name)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"WHICH");
    int result = 0;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++) {
        StripQuotes_S(name);
        if (int rc = WhichOne(name, switches & 1)) result = rc;
    }
    return result;
}
