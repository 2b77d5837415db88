// Finding and starting what is not an internal command: the executable
// extensions, the path search, batch files and programs.
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include "files/files.h"
#include <cwchar>

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

CString FullPathName(const CString &name) {
    DWORD n = GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    if (!n) return name;
    CString full(n, L'\0');
    n = GetFullPathNameW(name.c_str(), n, full.data(), nullptr);
    full.resize(n);
    return full;
}

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
