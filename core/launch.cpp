// Finding and starting what is not an internal command: the executable
// extensions, the path search, batch files and programs.
#include "core/launch.h"
#include <cwchar>
#include "batch/batch.h"
#include "console/output.h"
#include "base/args.h"
#include "core/bdx.h"
#include "core/cmdtable.h"
#include "base/format.h"

namespace {

// The executable extensions in search order; a row whose language is
// switched off reads "!" and is skipped.
std::vector<CString> aExecutables = {L".com", L".exe", L".btm", L".bat", L".cmd", L".lua", L".vbs", L".js",
                                     L".ws",  L".rex", L".rexx", L".pl", L".rb", L".py", L".tcl", L".ps1"};

// The extension of the file part, with its dot, or "".
CString ExtensionOf(const CString &name) {
    size_t dot = name.find_last_of(L".\\/:");
    return dot != CString::npos && name[dot] == L'.' ? name.Mid(dot) : CString();
}

bool HasPath(const CString &name) { return name.find_first_of(L"\\/:") != CString::npos; }

CString JoinPath(const CString &dir, const CString &name) {
    if (dir.empty()) return name;
    wchar_t last = dir.back();
    return last == L'\\' || last == L'/' || last == L':' ? dir + name : dir + L"\\" + name;
}

// Try one place: the name as it stands when it has an extension, otherwise
// with each executable extension (after one test that anything is there).
bool TryPlace(const CString &base, bool command, CString *found) {
    if (!ExtensionOf(base).empty() || !command) {
        if (!QueryIsFile(base)) return false;
        *found = base;
        return true;
    }
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW((base + L".*").c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return false;
    FindClose(h);
    for (const CString &ext : QueryExecutables()) {
        if (ext == L"!") continue;
        if (QueryIsFile(base + ext)) {
            *found = base + ext;
            return true;
        }
    }
    return false;
}

CString FullPathName(const CString &name) {
    DWORD n = GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    if (!n) return name;
    CString full(n, L'\0');
    n = GetFullPathNameW(name.c_str(), n, full.data(), nullptr);
    full.resize(n);
    return full;
}

}  // namespace

bool QueryFileAttributes(const CString &name, DWORD mustHave, DWORD mustNotHave) {
    CString plain = name;
    StripQuotes_S(plain);
    DWORD attr = GetFileAttributesW(plain.c_str());
    return attr != INVALID_FILE_ATTRIBUTES && (attr & mustHave) == mustHave && !(attr & mustNotHave);
}

const std::vector<CString> &QueryExecutables() {
    if (aIniFile.PathExt) {
        static std::vector<CString> fromPathExt;
        fromPathExt.clear();
        CString list = GetEnvVar(L"PATHEXT");
        for (size_t at = 0; at < list.size();) {
            size_t end = list.find_first_of(L";,=", at);
            if (end == CString::npos) end = list.size();
            if (end > at) fromPathExt.push_back(list.substr(at, end - at));
            at = end + 1;
        }
        return fromPathExt;
    }
    return aExecutables;
}

void SetExecutableFiles() {
    struct Row { const wchar_t *ext; int on; };
    const Row rows[] = {{L".lua", aIniFile.Lua},     {L".rex", aIniFile.Rexx},  {L".rexx", aIniFile.Rexx},
                        {L".pl", aIniFile.Perl},     {L".rb", aIniFile.Ruby},   {L".py", aIniFile.Python},
                        {L".tcl", aIniFile.Tcl},     {L".ps1", aIniFile.PowerShell}};
    static const std::vector<CString> all = aExecutables;
    aExecutables = all;
    for (const Row &row : rows)
        for (CString &ext : aExecutables)
            if (ext == row.ext && !row.on) ext = L"!";
}

bool QueryIsExecutableExtension(const CString &ext) {
    for (const CString &e : QueryExecutables())
        if (e != L"!" && ext.EqualsNoCase(e.c_str())) return true;
    return false;
}

CString SearchPaths(const wchar_t *name, const wchar_t *pathList, int mode, int *found, CString *allMatches) {
    if (found) *found = 0;
    if (!name || !*name) return CString();
    CString file = name;
    if (file.size() >= 0x7FFF) {
        BDError(111, nullptr);
        return CString();
    }
    StripQuotes_S(file);
    bool command = mode == 0;
    CString result;
    auto tryAt = [&](const CString &dir) {
        CString hit;
        if (!TryPlace(JoinPath(dir, file), command, &hit)) return false;
        if (result.empty()) result = hit;
        if (allMatches) *allMatches += hit + L"\r\n";
        return !allMatches;
    };
    if (HasPath(file)) {
        tryAt(CString());
        return result;
    }
    CString list = pathList ? CString(pathList) : GetEnvVar(L"PATH");
    bool dotInPath = false;
    for (size_t at = 0; at <= list.size();) {
        size_t end = list.find(L';', at);
        if (end == CString::npos) end = list.size();
        CString entry = list.substr(at, end - at);
        entry.Trim();
        StripEnclosingQuotes_S(entry);
        if (entry == L".") dotInPath = true;
        at = end + 1;
    }
    if (!dotInPath && tryAt(CString())) return result;
    for (size_t at = 0; at < list.size();) {
        size_t end = list.find(L';', at);
        if (end == CString::npos) end = list.size();
        CString entry = list.substr(at, end - at);
        at = end + 1;
        entry.Trim();
        StripEnclosingQuotes_S(entry);
        if (entry.empty()) continue;
        if (tryAt(entry == L"." ? CString() : entry)) return result;
    }
    return result;
}

int External(CString &program, CString &arguments) {
    TLS_VARIABLES *tls = GetTLS();
    CString quoted = program;
    AddQuotes_S(quoted);
    CString commandLine = arguments.empty() ? quoted : quoted + L" " + arguments;
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    PROCESS_INFORMATION pi{};
    tls->nExitCode = 0;
    if (!CreateProcessW(program.c_str(), commandLine.data(), nullptr, nullptr, TRUE, CREATE_DEFAULT_ERROR_MODE,
                        nullptr, nullptr, &si, &pi)) {
        int error = (int)GetLastError();
        tls->nExitCode = error;
        return BDError(error, program.c_str());
    }
    tls->nDetachPid = (int)pi.dwProcessId;
    tls->hChildProcess = pi.hProcess;
    for (;;) {
        DWORD rc = WaitForSingleObjectEx(pi.hProcess, 10, TRUE);
        if (rc == WAIT_OBJECT_0 || rc == WAIT_ABANDONED) break;
        if (rc == WAIT_FAILED) {
            tls->nExitCode = (int)GetLastError();
            break;
        }
        tty_yield(0);
        CheckBreak();
    }
    DWORD code = 0;
    if (GetExitCodeProcess(pi.hProcess, &code)) tls->nExitCode = (int)code;
    tls->hChildProcess = nullptr;
    CloseHandle(pi.hThread);
    CloseHandle(pi.hProcess);
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

}  // namespace

int RunExternalOrScript(CString &line, CString &name, int storeCommandLine) {
    TLS_VARIABLES *tls = GetTLS();
    int cut = ScanIndex(name.c_str() + (name.empty() ? 0 : 1), L"`=", L"\"");
    CString plain = cut < 0 ? name : name.Left(cut + 1);
    StripQuotes_S(plain);
    CString found;
    if (plain.find_first_of(L"*?") == CString::npos) found = SearchPaths(plain.c_str(), nullptr, 0, nullptr, nullptr);
    if (found.empty()) {
        if (aIniFile.AutoCDD && QueryIsDirectory(plain)) {
            CString args = line;
            ParseArguments_S(args, L"cdd", 0x204, nullptr);
            tls->sCommandName = L"CDD";
            return Cdd_Command(args);
        }
        tls->nExitCode = BDError(ERROR_BD_UNKNOWN_COMMAND, plain.c_str());
        return 2;
    }
    if (storeCommandLine) SetEnvironmentVariableW(L"CMDLINE", line.c_str());
    else SetEnvironmentVariableW(L"CMDLINE", nullptr);
    if (!(tls->fNewBatchFlags & 0x800)) UpdateTitleAndIcon(line.c_str(), 0);
    const wchar_t *rest = GetNthArgument(line.c_str(), aIniFile.UnixPaths ? (1 | ARG_NO_SWITCH_SPLIT) : 1);
    CString arguments = rest ? CString(rest) : CString();
    CString ext = ExtensionOf(found);
    if (ext.EqualsNoCase(L".btm") || ext.EqualsNoCase(L".bat") || ext.EqualsNoCase(L".cmd"))
        return StartBatchFile(found, plain, arguments);
    CString program = FullPathName(found);
    ParseArguments_S(arguments, program.c_str(), PA_CLOSE_BATCH | PA_CONVERT | 0x1000, nullptr);
    return External(program, arguments);
}
