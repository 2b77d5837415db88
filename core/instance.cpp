// Bringing an instance up and down: InitializeDLL, the startup and exit
// files, ShutdownCommandProcessor and EXIT.
#include <cwchar>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "config/config.h"
#include "console/console.h"
#include "console/screen.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include "core/redir.h"
#include "files/files.h"
#include "vars/lists.h"

static std::wstring sStartupEnvironment;
static bool fExitFileRun = false;

const wchar_t *QueryStartupEnvironment() { return sStartupEnvironment.empty() ? nullptr : sStartupEnvironment.c_str(); }

// The front end's call at start: the shell counts itself.  COM and its
// security wait for the first command that needs them (EnsureCOM).
void InitializeCOMSecurity() { CountShellInstance(+1); }

using NtQueryFn = LONG(WINAPI *)(HANDLE, int, void *, ULONG, ULONG *);
static NtQueryFn pNtQueryInformationProcess, pNtQueryInformationFile;

void LoadWindowsFunctions() {
    HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    if (!ntdll) return;
    pNtQueryInformationProcess = (NtQueryFn)(void *)GetProcAddress(ntdll, "NtQueryInformationProcess");
    pNtQueryInformationFile = (NtQueryFn)(void *)GetProcAddress(ntdll, "NtQueryInformationFile");
}

BOOL WINAPI DllMain(HINSTANCE module, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH) {
        aGlobals.hModule = module;
        srand(GetTickCount() ^ GetCurrentProcessId());
    }
    return TRUE;
}

namespace {

CString ModuleDirectory(HMODULE module) {
    CString path(MAX_PATH, L'\0');
    for (;;) {
        DWORD n = GetModuleFileNameW(module, path.data(), (DWORD)path.size());
        if (n < path.size()) {
            path.resize(n);
            break;
        }
        path.resize(path.size() * 2);
    }
    size_t slash = path.find_last_of(L"\\/");
    return slash == CString::npos ? CString() : path.Left(slash + 1);
}

void LoadLanguageModule() {
    CString dir = ModuleDirectory(aGlobals.hModule);
    const DWORD flags = LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE;
    CString name = aIniFile.LanguageDLL ? CString(aIniFile.LanguageDLL) : CString(L"English.dll");
    HMODULE module = LoadLibraryExW((dir + name).c_str(), nullptr, flags);
    if (!module && name != L"English.dll") module = LoadLibraryExW((dir + L"English.dll").c_str(), nullptr, flags);
    if (!module) module = LoadLibraryExW(L"English.dll", nullptr, flags);
    if (aGlobals.hLanguage) FreeLibrary(aGlobals.hLanguage);
    aGlobals.hLanguage = module;
}

wchar_t FirstChar(int id, wchar_t fallback) {
    CString text = LoadLanguageString(id);
    return text.empty() ? fallback : ToUpperChar(text[0]);
}

void DefineStrings() {
    aGlobals.cYes = FirstChar(IDS_YES_LETTERS, L'Y');
    aGlobals.cNo = FirstChar(IDS_NO_LETTERS, L'N');
    aGlobals.cAll = FirstChar(IDS_ALL_LETTERS, L'A');
}

void SetOSVersion() {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    GetVersionExW(&info);
    aGlobals.nWinVersion = (int)(info.dwMajorVersion * 100 + info.dwMinorVersion);
    aGlobals.sWinVersion = FormatStr(L"%u%c%u", info.dwMajorVersion, QueryDecimalChar(), info.dwMinorVersion);
    aGlobals.sVersion = FormatStr(L"BDX-RT  %u.%02u.%d", BDX_VERSION_MAJOR, BDX_VERSION_MINOR, BDX_BUILD);
    aGlobals.nWinBuild = info.dwBuildNumber;
}

void SetUpConsole() {
    aGlobals.hStdIn = GetStdHandle(STD_INPUT_HANDLE);
    aGlobals.hStdOut = GetStdHandle(STD_OUTPUT_HANDLE);
    aGlobals.hStdErr = GetStdHandle(STD_ERROR_HANDLE);
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    aGlobals.hConIn = CreateFileW(L"CONIN$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                  &inherit, OPEN_EXISTING, 0, nullptr);
    aGlobals.hConOut = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                   &inherit, OPEN_EXISTING, 0, nullptr);
    DWORD mode;
    if (GetConsoleMode(aGlobals.hStdIn, &mode)) SetConsoleMode(aGlobals.hStdIn, (mode & ~0x10u) | 7);
    if (GetConsoleMode(aGlobals.hStdOut, &mode)) SetConsoleMode(aGlobals.hStdOut, 3);
    if (GetConsoleMode(aGlobals.hStdErr, &mode)) SetConsoleMode(aGlobals.hStdErr, 3);
    aGlobals.hConsoleWindow = GetConsoleWindow();
    if (aGlobals.hConIn == INVALID_HANDLE_VALUE || !GetConsoleMode(aGlobals.hConIn, &mode))
        aGlobals.fNoConsole = 1;
    else
        aGlobals.fNoConsole = 0;
    DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &aGlobals.hMainThread, 0, FALSE,
                    DUPLICATE_SAME_ACCESS);
    SetConsoleCtrlHandler(ConsoleBreakHandler, TRUE);
    CString title(1024, L'\0');
    title.resize(GetConsoleTitleW(title.data(), (DWORD)title.size()));
    SetSavedTitle(title.c_str());
    if (wchar_t *block = GetEnvironmentStringsW()) {
        const wchar_t *end = block;
        while (*end) end += wcslen(end) + 1;
        sStartupEnvironment.assign(block, (size_t)(end - block) + 1);
        FreeEnvironmentStringsW(block);
    }
}

void InitializeGlobalVariables() {
    GetTLS()->nBatchFrame = -1;
    TakeOverPipeParent();
    LoadWindowsFunctions();
    LoadLanguageModule();
    SetOSVersion();
    DefineStrings();
}

// A named ini file that cannot be read stops the start; the default file
// is only looked for.
bool ReadNamedIniFile(const wchar_t *iniFile) {
    if (!iniFile || !*iniFile) return true;
    int rc = ProcessINI(iniFile);
    if (rc) BDError(rc, iniFile + (*iniFile == L'@'));
    return rc == 0;
}

// LanguageDLL names another language module; English stays when it fails.
void LoadChosenLanguage() {
    if (!aIniFile.LanguageDLL) return;
    CString dir = ModuleDirectory(aGlobals.hModule);
    HMODULE module = LoadLibraryExW((dir + aIniFile.LanguageDLL).c_str(), nullptr,
                                    LOAD_LIBRARY_AS_DATAFILE | LOAD_LIBRARY_AS_IMAGE_RESOURCE);
    if (!module) {
        BDError((int)GetLastError(), aIniFile.LanguageDLL);
        return;
    }
    if (aGlobals.hLanguage) FreeLibrary(aGlobals.hLanguage);
    aGlobals.hLanguage = module;
    DefineStrings();
}

}  // namespace

int InitializeDLL(wchar_t *iniFile) {
    try {
        aGlobals.fNoConsole = 1;
        aGlobals.fNotInteractive = 1;
        ResetBreakHandling();
        ResetParsingFlags();
        EnableSignals();
        InitializeGlobalVariables();
        SetUpConsole();
        aGlobals.sStartDirectory = CurrentDirectory();
        aGlobals.sExecutablePath = ModuleDirectory(nullptr);
        int noConsole = aGlobals.fNoConsole;
        aGlobals.fNoConsole = 1;
        InitializeIniFile();
        aGlobals.fNoConsole = noConsole;
        DefaultINI(L"BDXM.INI");
        if (!ReadNamedIniFile(iniFile)) return 2;
        LoadChosenLanguage();
        aGlobals.fDelayedExpansion = aIniFile.DelayedExpansion;
        aGlobals.fCMDExtensions = aIniFile.CMDExtensions;
        ResetParsingFlags();
        InitializeLocalGlobalLists();
        SetExecutableFiles();
        ConsoleANSI();
        DisableInternalCommand(L"DDEEXEC");
        return 0;
    } catch (...) {
        return 3;
    }
}

namespace {

// Find a startup file: the stem with any executable extension.
bool FindStartupFile(const CString &base, CString *found) {
    *found = SearchPaths(base.c_str(), nullptr, 0, nullptr, nullptr);
    return !found->empty();
}

CString StartupDirectory() {
    if (aIniFile.BDStartPath && *aIniFile.BDStartPath) {
        CString dir = aIniFile.BDStartPath;
        if (dir.back() != L'\\') dir += L'\\';
        return dir;
    }
    CString comspec = GetEnvVar(L"COMSPEC");
    if (comspec.empty()) return aGlobals.sExecutablePath;
    size_t slash = comspec.find_last_of(L"\\/");
    return slash == CString::npos ? aGlobals.sExecutablePath : comspec.Left(slash + 1);
}

}  // namespace

void RunStartupFiles(const wchar_t *stem, const wchar_t *arguments) {
    CString name, found;
    CString current = stem;
    for (int attempt = 0; attempt < 2; attempt++) {
        if (FindStartupFile(StartupDirectory() + current, &found)) break;
        if (!aIniFile.BDStartPath && FindStartupFile(FormatStr(L"%c:\\%s", aIniFile.cBootDrive, current.c_str()), &found))
            break;
        if (current == L"BDSTART") current = L"9START";
        else if (current == L"BDEXIT") current = L"9EXIT";
        else return;
    }
    if (found.empty()) return;
    CString line = FormatStr(L"\"%s\"", found.c_str());
    if (arguments && *arguments) line = FormatStr(L"%s %s", line.c_str(), arguments);
    TLS_VARIABLES *tls = GetTLS();
    int savedExit = tls->nExitCode;
    unsigned savedFlags = tls->fNewBatchFlags;
    void *savedPipe = tls->pPipeView;
    tls->fNewBatchFlags = 1;
    tls->pPipeView = nullptr;
    (current.StartsWith(L"BDSTART") || current.StartsWith(L"9START") ? aGlobals.sBDStart : aGlobals.sBDExit) = found;
    ExecuteOneCommand(line, false, false);
    tls->nExitCode = savedExit;
    tls->fNewBatchFlags = savedFlags;
    tls->pPipeView = savedPipe;
}

void ShutdownCommandProcessor() {
    while (ExitBatchFile() == 0) {
    }
    if (aIniFile.ExitFile && !fExitFileRun && !QueryIsPipeChild()) {
        fExitFileRun = true;
        RunStartupFiles(L"BDEXIT", nullptr);
    }
    TLS_VARIABLES *tls = GetTLS();
    if (tls->hChildProcess) TerminateProcess(tls->hChildProcess, 3);
    ReleaseCOM();
}

int Exit_Command(CString &args) {
    TLS_VARIABLES *tls = GetTLS();
    if (args.At(0) == SwitchCharValue() && ToUpperChar(args.At(1)) == L'B' && QueryIsDelimiter(args.At(2))) {
        args.erase(0, 2);
        args.TrimLeft();
        BATCHFRAME *frame = CurrentFrame();
        if (!frame) return BATCH_ABORT;
        frame->lOffset = -1;
        int value;
        if (!args.empty() && Sscanf(args.c_str(), L"%d", &value) == 1) {
            tls->nExitCode = value;
            frame->nFrameExit = value;
        }
        return BATCH_ABORT;
    }
    tls->fBreakPending = 0;
    int value = tls->nExitCode;
    args.Trim();
    if (!args.empty()) {
        if (Sscanf(args.c_str(), L"%d", &value) != 1) return BDError(ERROR_BD_EXPECTED_NUMBER, args.c_str());
        aGlobals.nConsoleEvent = 0;
    }
    ShutdownCommandProcessor();
    CountShellInstance(-1);
    EndProcess(value);
}
