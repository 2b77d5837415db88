// Starting what is not an internal command: programs (waited for by the
// rules of their kind), batch files, files run through an executable-
// extension variable or the system's association, the automatic directory
// change, one-command variable assignments and the UNKNOWN_CMD alias.
#include "core/launch.h"
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include "core/redir.h"
#include "files/files.h"
#include "files/paths.h"
#include "net/net.h"
#include "vars/lists.h"
#include <shellapi.h>
#include <cwchar>

namespace {

constexpr int kMaxNesting = 10;
constexpr int IDS_ZONE_QUESTION = 3368;

CString FullPathName(const CString &name) {
    CString full = name;
    CreateFullPathName(full, 1);
    return full;
}

bool IsNamed(const CString &program, const wchar_t *file) {
    size_t slash = program.find_last_of(L"\\/:");
    CString part = slash == CString::npos ? program : program.Mid(slash + 1);
    return part.EqualsNoCase(file);
}

// The Zone.Identifier stream of a downloaded file: a zone at or above the
// option's value asks before the program runs.  false: do not run it.
bool ZoneAllows(const CString &program) {
    if (!aIniFile.ZoneId) return true;
    HANDLE h = CreateFileW((program + L":Zone.Identifier").c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) return true;
    char bytes[512] = {};
    DWORD got = 0;
    ReadFile(h, bytes, sizeof bytes - 2, &got, nullptr);
    CloseHandle(h);
    int mask = IS_TEXT_UNICODE_UNICODE_MASK;
    CString text = got >= 2 && IsTextUnicode(bytes, (int)got, &mask) ? CString((const wchar_t *)bytes, got / 2)
                                                                     : FromCodePage(bytes, (int)got, CP_ACP);
    size_t at = text.find(L"ZoneId=");
    int zone = 0;
    if (at == CString::npos || Sscanf(text.c_str() + at + 7, L"%d", &zone) != 1 || zone < aIniFile.ZoneId)
        return true;
    CString prompt = LoadLanguageString(IDS_ZONE_QUESTION);
    prompt.Replace(L"%1", program.c_str());
    int answer = QueryInputChar(prompt.c_str(), LoadLanguageString(IDS_QUERY_KEYS).c_str());
    return ToUpperChar((wchar_t)answer) == ToUpperChar(aGlobals.cYes);
}

}  // namespace

void WaitForProgram(HANDLE process) {
    TLS_VARIABLES *tls = GetTLS();
    HANDLE previous = tls->hChildProcess;
    tls->hChildProcess = process;
    try {
        for (;;) {
            DWORD rc = WaitForSingleObjectEx(process, 10, TRUE);
            if (rc == WAIT_OBJECT_0 || rc == WAIT_ABANDONED) break;
            if (rc == WAIT_FAILED) {
                tls->nExitCode = (int)GetLastError();
                break;
            }
            tty_yield(0);
            CheckBreak();
        }
    } catch (...) {
        tls->hChildProcess = previous;
        CloseHandle(process);
        throw;
    }
    DWORD code = 0;
    if (GetExitCodeProcess(process, &code)) tls->nExitCode = (int)code;
    tls->hChildProcess = previous;
}

namespace {

// An environment variable set for the time of a launch.
struct ScopedVariable {
    CString name, old;
    bool had = false, active = false;
    void Set(const wchar_t *variable, const CString &value) {
        name = variable;
        had = QueryEnvVar(variable, &old);
        active = true;
        SetEnvironmentVariableW(variable, value.c_str());
    }
    ~ScopedVariable() {
        if (active) SetEnvironmentVariableW(name.c_str(), had ? old.c_str() : nullptr);
    }
};

// The system's own start of a file that CreateProcess refused: its
// association through the shell.
int ShellStart(const CString &program, const CString &arguments, int error) {
    CString file = program;
    StripQuotes_S(file);
    HINSTANCE rc = ShellExecuteW(nullptr, nullptr, file.c_str(), arguments.empty() ? nullptr : arguments.c_str(),
                                 nullptr, SW_SHOWNORMAL);
    TLS_VARIABLES *tls = GetTLS();
    if ((INT_PTR)rc > 32) return tls->nExitCode = 0;
    SetLastError((DWORD)error);
    tls->nExitCode = error;
    BDError(error, file.c_str());
    return error;
}

}  // namespace

void PrepareStdHandles(STARTUPINFOW &si, HANDLE in, HANDLE out, HANDLE err, HANDLE copies[3]) {
    HANDLE *slots[3] = {&si.hStdInput, &si.hStdOutput, &si.hStdError};
    HANDLE given[3] = {in, out, err};
    si.dwFlags |= STARTF_USESTDHANDLES;
    for (int i = 0; i < 3; i++) {
        copies[i] = nullptr;
        *slots[i] = given[i];
        DWORD flags = 0;
        if (!given[i] || given[i] == INVALID_HANDLE_VALUE || !GetHandleInformation(given[i], &flags) ||
            (flags & HANDLE_FLAG_INHERIT))
            continue;
        if (DuplicateHandle(GetCurrentProcess(), given[i], GetCurrentProcess(), &copies[i], 0, TRUE,
                            DUPLICATE_SAME_ACCESS))
            *slots[i] = copies[i];
    }
}

void ReleaseStdHandles(HANDLE copies[3]) {
    for (int i = 0; i < 3; i++)
        if (copies[i]) CloseHandle(copies[i]);
}

int External(CString &program, CString &arguments) {
    TLS_VARIABLES *tls = GetTLS();
    tls->nExitCode = 0;
    CString exe = program, args = arguments;
    int type = GetExeType(exe.c_str());
    if (type == 0 && MyFindExecutable(exe, args)) type = GetExeType(exe.c_str());
    if (type < 0 && type != EXE_UNREADABLE) {
        SetLastError((DWORD)-type);
        return tls->nExitCode = BDError(-type, exe.c_str());
    }
    CString commandLine = L"\"" + exe + L"\"";
    if (!args.empty()) commandLine += L" " + args;
    if (commandLine.size() > kMaxProgramCommandLine)
        return tls->nExitCode = BDError(ERROR_BD_COMMAND_TOO_LONG, exe.c_str());
    ScopedVariable comspec, path;
    if (IsNamed(exe, L"cmd.exe")) comspec.Set(L"COMSPEC", exe);
    if (type == EXE_GUI || type == EXE_CONSOLE || type == EXE_GUI64 || type == EXE_CONSOLE64) {
        CString appPath = QueryAppPath(exe, L"Path");
        if (!appPath.empty()) path.Set(L"PATH", appPath + L";" + GetEnvVar(L"PATH"));
    }
    if (!ZoneAllows(exe)) return tls->nExitCode = BDError(ERROR_BD_ZONE_REFUSED, exe.c_str());
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    si.dwFlags = STARTF_USESHOWWINDOW;
    si.wShowWindow = SW_SHOWDEFAULT;
    HANDLE copies[3];
    PrepareStdHandles(si, StdIn(), StdOut(), StdErr(), copies);
    PROCESS_INFORMATION pi{};
    BOOL ok = CreateProcessW(exe.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_DEFAULT_ERROR_MODE,
                             nullptr, nullptr, &si, &pi);
    int error = ok ? 0 : (int)GetLastError();
    ReleaseStdHandles(copies);
    if (!ok) return ShellStart(exe, args, error);
    tls->nDetachPid = (int)pi.dwProcessId;
    CloseHandle(pi.hThread);
    bool wait = CurrentFrame() || aIniFile.ExecWait || !QueryIsGraphical(type);
    if (wait) WaitForProgram(pi.hProcess);
    CloseHandle(pi.hProcess);
    tty_yield(0);
    ResetConsoleModes(-1);
    return tls->nExitCode;
}

namespace {

// A .BTM, .BAT or .CMD file: split the arguments and start its frame.
int StartBatchFile(const CString &found, const CString &typedName, CString &arguments) {
    std::vector<CString> argv;
    CString args = arguments;
    ParseArguments_S(args, typedName.c_str(), PA_SPLIT | PA_CLOSE_BATCH | PA_CONVERT, &argv);
    if (argv.empty()) argv.push_back(typedName);
    return RunBatchFile(FullPathName(found), argv, arguments);
}

// A file whose extension a variable names runs that variable's command
// with the file and the arguments; without one (or with a command that
// begins with "*") the file goes to External, where its association applies.
int RunWithExtension(const CString &file, CString &arguments) {
    TLS_VARIABLES *tls = GetTLS();
    CString command;
    CString program = file;
    ParseArguments_S(arguments, program.c_str(), PA_CLOSE_BATCH | PA_CONVERT | 0x1000, nullptr);
    if (!ExecutableExtension(file, &command, nullptr) || command.At(0) == L'*') return External(program, arguments);
    command.TrimLeft();
    CString line = FormatStr(L"%s \"%s\" %s", command.c_str(), file.c_str(), arguments.c_str());
    line.TrimRight();
    if (++tls->nExtensionDepth > kMaxNesting) {
        tls->nExtensionDepth = 0;
        return BDError(ERROR_BD_EXTENSION_LOOP, file.c_str());
    }
    int rc;
    try {
        rc = Command_S(line, CMD_DEBUG);
    } catch (...) {
        tls->nExtensionDepth = 0;
        throw;
    }
    tls->nExtensionDepth = 0;
    return rc;
}

// A script for a language host: the hosts that this build has.
int RunScript(const CString &file, const CString &ext, CString &arguments) {
    CString line = FormatStr(L"\"%s\" %s", file.c_str(), arguments.c_str());
    line.TrimRight();
    GetTLS()->nExitCode = 0;
    int rc;
    if (ext.EqualsNoCase(L".lua")) rc = Lua_Command(line);
    else if (ext.EqualsNoCase(L".ps1")) rc = PowerShell_Command(line);
    else return RunWithExtension(file, arguments);
    GetTLS()->nExitCode = rc;
    return rc;
}

// "name=value command": the variable holds for that one command.
int RunWithVariable(const CString &line) {
    CString first;
    int start = 0;
    GetNthArgument(line.c_str(), 0, &first, &start);
    size_t eq = first.find(L'=');
    CString name = first.Left(eq), value = first.Mid(eq + 1);
    StripEnclosingQuotes_S(value);
    CString rest = line.Mid((size_t)start + first.size());
    rest.TrimLeft();
    ScopedVariable variable;
    variable.Set(name.c_str(), value);
    if (rest.empty()) return 0;
    return Command_S(rest, 0);
}

// What no search found: a directory to change to, an assignment, the
// UNKNOWN_CMD alias, or an unknown command.
int NotFound(CString &line, const CString &plain) {
    TLS_VARIABLES *tls = GetTLS();
    if (aIniFile.AutoCDD && QueryIsDirectory(plain)) {
        CString args = line;
        ParseArguments_S(args, L"cdd", 0x204, nullptr);
        tls->sCommandName = L"CDD";
        return Cdd_Command(args);
    }
    CString first;
    GetNthArgument(line.c_str(), 0, &first);
    size_t eq = first.find(L'=');
    if (eq != CString::npos && eq > 0) return RunWithVariable(line);
    if (GetAlias(L"UNKNOWN_CMD", nullptr)) {
        if (++tls->nUnknownCmdDepth > kMaxNesting) {
            tls->nUnknownCmdDepth = 0;
            return BDError(ERROR_BD_UNKNOWN_CMD_LOOP, line.c_str());
        }
        int rc;
        try {
            rc = Command_S(L"UNKNOWN_CMD " + line, CMD_DEBUG);
        } catch (...) {
            tls->nUnknownCmdDepth = 0;
            throw;
        }
        tls->nUnknownCmdDepth = 0;
        return rc;
    }
    tls->nExitCode = BDError(ERROR_BD_UNKNOWN_COMMAND, plain.c_str());
    return 2;
}

// A .jar on JARPATH runs through java.exe.
bool FindJar(CString &line, CString &plain, CString *found) {
    CString jarPath;
    if (!ExtensionOf(plain).EqualsNoCase(L".jar") || !QueryEnvVar(L"JARPATH", &jarPath)) return false;
    *found = SearchPaths(plain.c_str(), jarPath.c_str(), 1, nullptr, nullptr);
    if (found->empty()) return false;
    const wchar_t *rest = GetNthArgument(line.c_str(), 1);
    line = FormatStr(L"java.exe -jar \"%s\"", found->c_str());
    if (rest) line += CString(L" ") + rest;
    plain = L"java.exe";
    *found = SearchPaths(plain.c_str(), nullptr, 0, nullptr, nullptr);
    return !found->empty();
}

}  // namespace

int RunExternalOrScript(CString &line, CString &name, int storeCommandLine) {
    TLS_VARIABLES *tls = GetTLS();
    // A URL goes to the system's handler for it (the browser).
    if (QueryIsURL(name.c_str())) {
        CString url = name;
        StripQuotes_S(url);
        if ((INT_PTR)ShellExecuteW(nullptr, L"open", url.c_str(), nullptr, nullptr, SW_SHOWNORMAL) > 32) return 0;
    }
    int cut = ScanIndex(name.c_str() + (name.empty() ? 0 : 1), L"`=", L"\"");
    CString plain = cut < 0 ? name : name.Left(cut + 1);
    StripQuotes_S(plain);
    CString found;
    int byVariable = 0;
    bool wildcard = plain.find_first_of(L"*?", plain.StartsWith(L"\\\\?\\") ? 4 : 0) != CString::npos;
    if (!wildcard && !FindJar(line, plain, &found))
        found = SearchPaths(plain.c_str(), nullptr, 0, &byVariable, nullptr);
    if (found.empty()) return NotFound(line, plain);
    if (storeCommandLine) SetEnvironmentVariableW(L"CMDLINE", line.c_str());
    else SetEnvironmentVariableW(L"CMDLINE", nullptr);
    if (!(tls->fNewBatchFlags & 0x800)) UpdateTitleAndIcon(line.c_str(), 0);
    const wchar_t *rest = GetNthArgument(line.c_str(), aIniFile.UnixPaths ? (1 | ARG_NO_SWITCH_SPLIT) : 1);
    CString arguments = rest ? CString(rest) : CString();
    CString program = FullPathName(found);
    CString ext = ExtensionOf(program);
    if (byVariable) return RunWithExtension(program, arguments);
    if (ext.EqualsNoCase(L".exe") || ext.EqualsNoCase(L".com")) {
        ParseArguments_S(arguments, program.c_str(), PA_CLOSE_BATCH | PA_CONVERT | 0x1000, nullptr);
        return External(program, arguments);
    }
    bool batch = ext.EqualsNoCase(L".btm") || ext.EqualsNoCase(L".bat") || ext.EqualsNoCase(L".cmd");
    if (batch && aIniFile.CMDBatch && !ext.EqualsNoCase(L".btm")) {
        CString cmd = SearchPaths(L"cmd.exe", nullptr, 0, nullptr, nullptr);
        CString args = FormatStr(L"/c \"\"%s\" %s\"", program.c_str(), arguments.c_str());
        ParseArguments_S(args, cmd.c_str(), PA_CLOSE_BATCH, nullptr);
        return External(cmd, args);
    }
    if (batch) return StartBatchFile(found, plain, arguments);
    if (QueryIsExecutableExtension(ext)) return RunScript(program, ext, arguments);
    return RunWithExtension(program, arguments);
}
