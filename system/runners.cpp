// Commands that run another command under a condition: GLOBAL (in every
// subdirectory), EXCEPT (with some files hidden from it), CHRONIC (quietly,
// unless it fails) and TRANSIENT (in a shell of its own, whose changes are
// thrown away).  Each one puts back what it changed on every way out,
// interrupts included.
#include <algorithm>
#include <vector>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/state.h"
#include "console/console.h"
#include "console/screen.h"
#include "system/system.h"

namespace {

// Standard output and standard error, put back when the scope ends.
class SavedStdHandles {
public:
    SavedStdHandles() : out_(GetStdHandle(STD_OUTPUT_HANDLE)), err_(GetStdHandle(STD_ERROR_HANDLE)) {}
    ~SavedStdHandles() {
        SetStdHandle(STD_OUTPUT_HANDLE, out_);
        SetStdHandle(STD_ERROR_HANDLE, err_);
    }
    SavedStdHandles(const SavedStdHandles &) = delete;
    SavedStdHandles &operator=(const SavedStdHandles &) = delete;

private:
    HANDLE out_, err_;
};

// A temporary file, inheritable so that child programs write to it too;
// removed when it goes.
struct CaptureFile {
    CString sName;
    HANDLE h = INVALID_HANDLE_VALUE;
    ~CaptureFile() {
        if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
        if (!sName.empty()) DeleteFileW(sName.c_str());
    }
    int Create() {
        wchar_t dir[MAX_PATH + 1], name[MAX_PATH + 1];
        DWORD n = GetTempPathW(MAX_PATH + 1, dir);
        if (!n || n > MAX_PATH || !GetTempFileNameW(dir, L"BDC", 0, name)) return (int)GetLastError();
        sName = name;
        SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
        h = CreateFileW(name, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &sa, CREATE_ALWAYS,
                        FILE_ATTRIBUTE_TEMPORARY, nullptr);
        return h == INVALID_HANDLE_VALUE ? (int)GetLastError() : 0;
    }
    // Everything written so far, as bytes.
    std::string Bytes() const {
        std::string bytes;
        LARGE_INTEGER size{};
        if (!GetFileSizeEx(h, &size) || size.QuadPart <= 0) return bytes;
        bytes.resize((size_t)size.QuadPart);
        OVERLAPPED at{};
        DWORD got = 0;
        ReadFile(h, bytes.data(), (DWORD)bytes.size(), &got, &at);
        bytes.resize(got);
        return bytes;
    }
};

void WriteBytes(HANDLE h, const std::string &bytes) {
    DWORD done = 0;
    if (!bytes.empty()) WriteFile(h, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
}

// Run command with standard output and error going to the two files.
int RunCaptured(const CString &command, CaptureFile &out, CaptureFile &err) {
    SavedStdHandles saved;
    SetStdHandle(STD_OUTPUT_HANDLE, out.h);
    SetStdHandle(STD_ERROR_HANDLE, err.h);
    return aHooks.pfnCommand(command, 0);
}

// The names of the subdirectories of dir, sorted without case.  Hidden and
// system directories only with hidden; junctions and links never, so that
// a walk cannot loop.  (A plain FindFirstFileW loop; the file engine's
// FindFiles takes its place when it is there.)
std::vector<CString> SubDirectories(const CString &dir, bool hidden) {
    std::vector<CString> names;
    WIN32_FIND_DATAW found;
    HANDLE h = FindFirstFileW((dir + L"\\*").c_str(), &found);
    if (h == INVALID_HANDLE_VALUE) return names;
    do {
        DWORD a = found.dwFileAttributes;
        CString name = found.cFileName;
        if (!(a & FILE_ATTRIBUTE_DIRECTORY) || name == L"." || name == L"..") continue;
        if (a & FILE_ATTRIBUTE_REPARSE_POINT) continue;
        if (!hidden && (a & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM))) continue;
        names.push_back(name);
    } while (FindNextFileW(h, &found));
    FindClose(h);
    std::sort(names.begin(), names.end(), [](const CString &a, const CString &b) { return StrICmp(a, b) < 0; });
    return names;
}

// The current directory, put back when the scope ends.
class SavedDirectory {
public:
    SavedDirectory() {
        DWORD n = GetCurrentDirectoryW(0, nullptr);
        dir_.resize(n);
        dir_.resize(GetCurrentDirectoryW(n, dir_.data()));
    }
    ~SavedDirectory() { SetCurrentDirectoryW(dir_.c_str()); }
    const CString &Path() const { return dir_; }
    SavedDirectory(const SavedDirectory &) = delete;
    SavedDirectory &operator=(const SavedDirectory &) = delete;

private:
    CString dir_;
};

struct GlobalWalk {
    CString sCommand;
    bool fHidden, fIgnoreErrors, fQuiet;
    int nResult = 0;
};

// Run the command in dir, then in each of its subdirectories.  False when
// a failure ends the walk.
bool WalkDirectory(GlobalWalk &walk, const CString &dir) {
    if (!SetCurrentDirectoryW(dir.c_str())) {
        walk.nResult = BDError((int)GetLastError(), dir.c_str());
        return walk.fIgnoreErrors;
    }
    if (!walk.fQuiet) Printf(L"%s\r\n", dir.c_str());
    int rc = aHooks.pfnCommand(walk.sCommand, CMD_DEBUG);
    if (rc == BATCH_ABORT || rc == BATCH_RETURN) {
        walk.nResult = rc;
        return false;
    }
    if (rc) {
        walk.nResult = rc;
        if (!walk.fIgnoreErrors) return false;
    }
    CString base = dir.back() == L'\\' ? dir.Left(dir.size() - 1) : dir;
    for (const CString &name : SubDirectories(base, walk.fHidden))
        if (!WalkDirectory(walk, base + L"\\" + name)) return false;
    return true;
}

}  // namespace

int CaptureCommandOutput(const CString &command, CString &output) {
    CaptureFile out, err;
    if (int rc = out.Create()) return BDError(rc, nullptr);
    if (int rc = err.Create()) return BDError(rc, nullptr);
    int result = RunCaptured(command, out, err);
    std::string bytes = out.Bytes() + err.Bytes();
    output = FromCodePage(bytes.data(), (int)bytes.size(), OutputCodePage());
    return result;
}

// GLOBAL [/H /I /Q] command: run the command in the current directory and
// in every directory below it, depth first, in name order.  /H takes in
// hidden and system directories, /I goes on after a command fails, /Q does
// not show the directory names.
int Global_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"HIQ", &mask, SW_STOP_AT_ARG, nullptr)) return 2;
    GlobalWalk walk{args, (mask & 1) != 0, (mask & 2) != 0, (mask & 4) != 0};
    walk.sCommand.Trim();
    if (walk.sCommand.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"GLOBAL");
    SavedDirectory start;
    WalkDirectory(walk, start.Path());
    return walk.nResult;
}

// ---- EXCEPT ----

namespace {

struct HIDDENFILE {
    CString sName;
    DWORD fAttributes;
};

// The files that a pattern names (wildcards in its last part).  (A plain
// FindFirstFileW loop; the file engine's FindFiles takes its place when it
// is there.)
void MatchFiles(const CString &pattern, std::vector<HIDDENFILE> &files) {
    size_t slash = pattern.find_last_of(L"\\/:");
    CString dir = slash == CString::npos ? CString() : pattern.Left(slash + 1);
    WIN32_FIND_DATAW found;
    HANDLE h = FindFirstFileW(pattern.c_str(), &found);
    if (h == INVALID_HANDLE_VALUE) return;
    do {
        CString name = found.cFileName;
        if (name == L"." || name == L"..") continue;
        files.push_back({dir + name, found.dwFileAttributes});
    } while (FindNextFileW(h, &found));
    FindClose(h);
}

// Give every file its attributes back; on every way out of EXCEPT.
class HiddenFiles {
public:
    explicit HiddenFiles(std::vector<HIDDENFILE> files) : files_(std::move(files)) {}
    ~HiddenFiles() {
        HoldSignals();
        for (const HIDDENFILE &f : files_) SetFileAttributesW(f.sName.c_str(), f.fAttributes);
        EnableSignals();
    }
    int Hide() {
        for (const HIDDENFILE &f : files_)
            if (!SetFileAttributesW(f.sName.c_str(), f.fAttributes | FILE_ATTRIBUTE_HIDDEN))
                return BDError((int)GetLastError(), f.sName.c_str());
        return 0;
    }
    HiddenFiles(const HiddenFiles &) = delete;
    HiddenFiles &operator=(const HiddenFiles &) = delete;

private:
    std::vector<HIDDENFILE> files_;
};

}  // namespace

// EXCEPT (file ...) command: run the command with the files hidden, so
// that file commands pass them by; their attributes come back afterwards,
// also when the command fails or is interrupted.
int Except_Command(CString &args) {
    args.TrimLeft();
    if (args.At(0) != L'(') return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    int close = ScanIndex(args.c_str() + 1, L")", L"`\"");
    if (close < 0) return 2;
    if (args.At(close + 1) != L')') return BDError(ERROR_BD_UNBALANCED_PARENS, args.c_str());
    CString list = args.Mid(1, close), command = args.Mid(close + 2);
    command.Trim();
    if (command.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"EXCEPT");
    std::vector<HIDDENFILE> files;
    CString pattern;
    for (int i = 0; GetNthArgument(list.c_str(), i, &pattern); i++) {
        StripQuotes_S(pattern);
        MatchFiles(pattern, files);
    }
    HoldSignals();
    HiddenFiles hidden(std::move(files));
    int rc = hidden.Hide();
    EnableSignals();
    if (rc) return rc;
    return aHooks.pfnCommand(command, CMD_DEBUG);
}

// CHRONIC [/E] command: run the command with its output held back, and
// show that output only when the command fails (a nonzero result, or with
// /E anything written to standard error).  The result is the command's.
int Chronic_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"E", &mask, SW_STOP_AT_ARG, nullptr)) return 2;
    args.Trim();
    if (args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"CHRONIC");
    CaptureFile out, err;
    if (int rc = out.Create()) return BDError(rc, nullptr);
    if (int rc = err.Create()) return BDError(rc, nullptr);
    int result = RunCaptured(args, out, err);
    std::string errors = err.Bytes();
    if (result != 0 || ((mask & 1) && !errors.empty())) {
        WriteBytes(StdOut(), out.Bytes());
        WriteBytes(StdErr(), errors);
        if (!result) result = 1;
    }
    return result;
}

// TRANSIENT command: run the command in a new shell of this program (as
// with /C), so that what it changes (variables, aliases, the directory,
// options) is gone when it ends.  The result is the shell's exit code.
int Transient_Command(CString &args) {
    args.Trim();
    if (args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"TRANSIENT");
    CString program = aGlobals.sExecutablePath + L"BDX.EXE";
    CString line = FormatStr(L"\"%s\" /C %s", program.c_str(), args.c_str());
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    si.dwFlags = STARTF_USESTDHANDLES;
    si.hStdInput = StdIn(), si.hStdOutput = StdOut(), si.hStdError = StdErr();
    PROCESS_INFORMATION pi{};
    if (!CreateProcessW(program.c_str(), line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &si, &pi))
        return BDError((int)GetLastError(), program.c_str());
    CloseHandle(pi.hThread);
    TLS_VARIABLES *tls = GetTLS();
    tls->hChildProcess = pi.hProcess;
    try {
        while (WaitForSingleObjectEx(pi.hProcess, 100, TRUE) != WAIT_OBJECT_0) CheckBreak();
    } catch (int) {
        tls->hChildProcess = nullptr;
        CloseHandle(pi.hProcess);
        throw;
    }
    tls->hChildProcess = nullptr;
    DWORD code = 0;
    GetExitCodeProcess(pi.hProcess, &code);
    CloseHandle(pi.hProcess);
    return (int)code;
}
