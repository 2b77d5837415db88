// Pipes.  The left side of "a | b" runs in this process with its standard
// output on an anonymous pipe; the right side is a child process that reads
// the pipe: a plain program when the right side is one, otherwise a second
// shell, which takes over the batch frame through a shared block and hands
// back the part of the line that it did not run.  "a |! b" runs both sides
// here, one after the other, through a temporary file.
#include <cwchar>
#include <cstring>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/state.h"
#include "config/config.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/launch.h"
#include "core/redir.h"
#include "core/redir_internal.h"
#include "files/files.h"
#include "files/paths.h"
#include "vars/lists.h"
#include "vars/vars.h"

namespace {

// The shared block: a flag, a text area, and the part of the parent's
// state that travels to the child.
constexpr size_t kTextOffset = 4;
constexpr size_t kTextBytes = 0x10000;
constexpr size_t kStateOffset = kTextOffset + kTextBytes;
constexpr size_t kStateBytes = 795;
constexpr size_t kBlockSize = kStateOffset + kStateBytes;
constexpr size_t kTextChars = kTextBytes / sizeof(wchar_t);
constexpr LONG kTakenOver = 1;
// A command line for the second shell can be this long.
constexpr size_t kMaxShellCommandLine = 32000;
// The pipe's buffer: large enough that a writer and a reader seldom wait
// for each other.
constexpr DWORD kPipeBuffer = 65536;

// The parent's state that the child takes over: the current batch frame.
struct PipeState {
    int nFrame;           // the parent's nBatchFrame, -1 for none
    int nArgs;            // strings of Argv in the text area
    int nArgShift;
    int nEcho;
    int nLineNumber;
    unsigned fFlags;
    long long lOffset;
};
static_assert(sizeof(PipeState) <= kStateBytes, "the state must fit its part of the block");

bool fPipeChild = false;

LONG *TakenFlag(void *view) { return static_cast<LONG *>(view); }
wchar_t *TextArea(void *view) { return reinterpret_cast<wchar_t *>(static_cast<char *>(view) + kTextOffset); }
PipeState *StateArea(void *view) { return reinterpret_cast<PipeState *>(static_cast<char *>(view) + kStateOffset); }

// Terminated strings one after the other, as far as they fit.
void PackStrings(wchar_t *area, const std::vector<const CString *> &strings) {
    size_t at = 0;
    for (const CString *s : strings) {
        if (at + 2 >= kTextChars) break;
        size_t n = s->size() < kTextChars - at - 2 ? s->size() : kTextChars - at - 2;
        wmemcpy(area + at, s->c_str(), n);
        at += n;
        area[at++] = 0;
    }
    area[at] = 0;
}

// Create the shared block for a child shell and fill it from this thread.
int ShareWithChild(RedirRecord *record, CString &name) {
    for (unsigned counter = 0;; counter++) {
        name = FormatStr(L"BDX%x.%x", GetCurrentProcessId(), counter);
        SetLastError(NO_ERROR);
        HANDLE h = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, (DWORD)kBlockSize, name.c_str());
        if (!h) return BDError(0, name.c_str());
        if (GetLastError() == ERROR_ALREADY_EXISTS) {
            CloseHandle(h);
            continue;
        }
        record->hMapping = h;
        break;
    }
    record->pView = MapViewOfFile(record->hMapping, FILE_MAP_ALL_ACCESS, 0, 0, kBlockSize);
    if (!record->pView) {
        int rc = BDError(0, name.c_str());
        CloseHandle(record->hMapping);
        record->hMapping = nullptr;
        return rc;
    }
    *TakenFlag(record->pView) = 0;
    PipeState *state = StateArea(record->pView);
    *state = PipeState{-1, 0, 0, 0, 0, 0, 0};
    std::vector<const CString *> strings;
    if (BATCHFRAME *frame = CurrentFrame()) {
        *state = PipeState{GetTLS()->nBatchFrame, (int)frame->Argv.size(), frame->nArgShift, frame->nEcho,
                           frame->nLineNumber, frame->fFlags & (BF_UTF16 | BF_UTF8), frame->lOffset};
        strings.push_back(&frame->sBatchName);
        strings.push_back(&frame->sArgs);
        for (const CString &arg : frame->Argv) strings.push_back(&arg);
    }
    PackStrings(TextArea(record->pView), strings);
    return 0;
}

void CloseShared(RedirRecord *record) {
    if (record->pView) UnmapViewOfFile(record->pView);
    if (record->hMapping) CloseHandle(record->hMapping);
    record->pView = nullptr;
    record->hMapping = nullptr;
}

// "|!": the left side writes a temporary file, which becomes the right
// side's standard input when the left side has ended (SwitchTempPipe).
int OpenTempPipe(RedirRecord *record, int marks) {
    CString name;
    if (int rc = MakeTempFile(name, L"PIPES")) return BDError(rc, nullptr);
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    HANDLE h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, &sa, CREATE_ALWAYS,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        int error = (int)GetLastError();
        DeleteFileW(name.c_str());
        return BDError(error, name.c_str());
    }
    record->sPipeOut = name;
    record->fTempFile = record->fPipe = record->fTempPipe = 1;
    InstallStdHandle(record, marks, h);
    return 0;
}

// What runs on the right side of a pipe.
struct RightSide {
    CString program;       // empty: a second shell
    CString commandLine;
    RedirRecord redir;     // a plain program's own redirections, in force while it starts
};

bool ContainsNoCase(const CString &text, const wchar_t *what) {
    CString upper = text, key = what;
    upper.MakeUpper();
    key.MakeUpper();
    return upper.find(key) != CString::npos;
}

// A right side that is one plain program (.exe or .com), with at most
// redirections of its own, starts without a second shell.  Here-documents
// and the clipboard need the shell on that side, and so do further
// commands, internal commands, aliases and wildcards.
bool IsPlainProgram(const CString &tail, CString *found) {
    CString first;
    if (!GetNthArgument(tail.c_str(), 0, &first)) return false;
    bool star = first.At(0) == L'*';
    CString name = star ? first.Mid(1) : first;
    StripQuotes_S(name);
    if (name.empty() || name.find_first_of(L"*?()") != CString::npos) return false;
    if (!star) {
        BUILTIN *row = nullptr;
        if (FindInternalCommand(name.c_str(), false, &row) >= 0 || GetAlias(name.c_str(), nullptr)) return false;
    }
    int end = ScanIndex(tail.c_str(), nullptr, L"`\"");
    if (end < 0 || tail.At(end)) return false;
    if (tail.find(L"<<") != CString::npos || ContainsNoCase(tail, L"clip:")) return false;
    *found = SearchPaths(name.c_str(), nullptr, 0, nullptr, nullptr);
    size_t dot = found->find_last_of(L".\\/:");
    if (dot == CString::npos || (*found)[dot] != L'.') return false;
    CString ext = found->Mid(dot);
    return ext.EqualsNoCase(L".exe") || ext.EqualsNoCase(L".com");
}

// The program and command line of a plain right side, with its own
// redirections applied (Unredirect of right.redir undoes them once the
// program has started).  right.program stays empty for a second shell.
int PrepareRightSide(const CString &tail, RightSide &right) {
    CString found;
    if (!IsPlainProgram(tail, &found)) return 0;
    CString line = tail;
    if (int rc = VariableExpansion(line, 0)) return rc;
    TLS_VARIABLES *tls = GetTLS();
    int encoding = tls->nOutputEncoding;
    int rc;
    try {
        rc = Redirect(line, &right.redir);
    } catch (...) {
        tls->nOutputEncoding = encoding;
        Unredirect(&right.redir, nullptr, nullptr);
        throw;
    }
    tls->nOutputEncoding = encoding;
    if (rc) {
        Unredirect(&right.redir, nullptr, nullptr);
        return 2;
    }
    const wchar_t *rest = GetNthArgument(line.c_str(), 1);
    CString args = rest ? CString(rest) : CString();
    args.TrimRight();
    ParseArguments_S(args, found.c_str(), PA_CONVERT | 0x1000, nullptr);
    right.program = found;
    CreateFullPathName(right.program, 1);
    right.commandLine = L"\"" + right.program + L"\"";
    if (!args.empty()) right.commandLine += L" " + args;
    if (right.commandLine.size() > kMaxProgramCommandLine) {
        Unredirect(&right.redir, nullptr, nullptr);
        return BDError(ERROR_BD_COMMAND_TOO_LONG, right.program.c_str());
    }
    return 0;
}

// Start the right side on a new pipe; standard output (and error, by
// marks) then goes into the pipe.
int StartRightSide(RedirRecord *record, RightSide &right, int marks) {
    TLS_VARIABLES *tls = GetTLS();
    HANDLE rd = nullptr, wr = nullptr;
    if (!CreatePipe(&rd, &wr, nullptr, kPipeBuffer)) {
        int error = (int)GetLastError();
        Unredirect(&right.redir, nullptr, nullptr);
        return BDError(error, nullptr);
    }
    SetHandleInformation(rd, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    STARTUPINFOW si{};
    si.cb = sizeof(si);
    si.wShowWindow = SW_SHOW;
    HANDLE copies[3] = {};
    PrepareStdHandles(si, right.redir.afSaved[REDIR_IN] ? StdIn() : rd, StdOut(), StdErr(), copies);
    PROCESS_INFORMATION pi{};
    BOOL ok = CreateProcessW(right.program.c_str(), right.commandLine.data(), nullptr, nullptr, TRUE,
                             CREATE_DEFAULT_ERROR_MODE, nullptr, nullptr, &si, &pi);
    int error = ok ? 0 : (int)GetLastError();
    ReleaseStdHandles(copies);
    Unredirect(&right.redir, nullptr, nullptr);
    CloseHandle(rd);
    if (!ok) {
        CloseHandle(wr);
        SetLastError((DWORD)error);
        tls->nExitCode = BDError(error, right.program.c_str());
        return 2;
    }
    record->hPrevChild = tls->hChildProcess;
    tls->hChildProcess = record->hProcess = pi.hProcess;
    record->fPipe = 1;
    CloseHandle(pi.hThread);
    ResetConsoleModes(-1);
    SetHandleInformation(wr, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    InstallStdHandle(record, marks, wr);
    return 0;
}

}  // namespace

bool QueryIsPipeChild() { return fPipeChild; }

int OpenPipe(RedirRecord *record, CString &tail) {
    record->fTempPipe = 0;
    int marks = 1 << REDIR_OUT;
    bool sequential = false;
    size_t i = 0;
    if (tail.At(0) == L'&') marks |= 1 << REDIR_ERR, i = 1;
    else if (tail.At(0) == L'!') sequential = true, i = 1;
    i += ReadEncodingSuffix(tail.c_str() + i);
    tail.erase(0, i);
    if (sequential) return OpenTempPipe(record, marks);
    tail.TrimLeft();
    if (tail.At(0) != L'*')
        if (int rc = ExpandAliases(tail)) return rc;
    RightSide right;
    if (int rc = PrepareRightSide(tail, right)) return rc;
    if (right.program.empty()) {
        right.program = ProgramFileName();
        right.commandLine = FormatStr(L"\"%s\" %s/c %s", right.program.c_str(),
                                      GetTLS()->nOutputEncoding == 3 ? L"//UnicodeOutput=Yes " : L"", tail.c_str());
        if (right.commandLine.size() > kMaxShellCommandLine)
            return BDError(ERROR_BD_COMMAND_TOO_LONG, tail.Left(80).c_str());
        CString name;
        if (int rc = ShareWithChild(record, name)) return rc;
        SetEnvironmentVariableW(L"BDXMPIPE", name.c_str());
    }
    int rc;
    try {
        rc = StartRightSide(record, right, marks);
    } catch (...) {
        SetEnvironmentVariableW(L"BDXMPIPE", nullptr);
        CloseShared(record);
        throw;
    }
    SetEnvironmentVariableW(L"BDXMPIPE", nullptr);
    if (rc) {
        CloseShared(record);
        return rc;
    }
    tail.clear();
    return 0;
}

void WaitForRightSide(RedirRecord *record, int *result, CString *tail) {
    TLS_VARIABLES *tls = GetTLS();
    tls->nExitCode = 0;
    for (;;) {
        DWORD rc = WaitForSingleObjectEx(record->hProcess, 10, TRUE);
        if (rc == WAIT_OBJECT_0 || rc == WAIT_ABANDONED) break;
        if (rc == WAIT_FAILED) {
            tls->nExitCode = (int)GetLastError();
            break;
        }
        tty_yield(0);
    }
    DWORD code = 0;
    if (GetExitCodeProcess(record->hProcess, &code)) tls->nExitCode = (int)code;
    tls->nLastResult = tls->nExitCode;
    if (tls->nExitCode && result) *result = tls->nExitCode;
    HoldSignals();
    if (record->pView && *TakenFlag(record->pView) == kTakenOver && tail) {
        const wchar_t *text = TextArea(record->pView);
        *tail = CString(text, wcsnlen(text, kTextChars - 1));
    }
    CloseShared(record);
    CloseHandle(record->hProcess);
    record->hProcess = nullptr;
    tls->hChildProcess = record->hPrevChild;
    record->hPrevChild = nullptr;
}

void SwitchTempPipe(RedirRecord *record) {
    if (!record->sPipeIn.empty()) DeleteFileW(record->sPipeIn.c_str());
    record->sPipeIn = record->sPipeOut;
    record->sPipeOut.clear();
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    HANDLE h = CreateFileW(record->sPipeIn.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, &sa,
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        BDError(0, record->sPipeIn.c_str());
        return;
    }
    InstallStdHandle(record, 1 << REDIR_IN, h);
}

void CleanupTempPipe(RedirRecord *record) {
    if (record->fTempFile) {
        for (CString *name : {&record->sPipeIn, &record->sPipeOut}) {
            if (name->empty()) continue;
            if (!DeleteFileW(name->c_str())) MoveFileExW(name->c_str(), nullptr, MOVEFILE_DELAY_UNTIL_REBOOT);
            name->clear();
        }
        record->fTempFile = 0;
    }
    record->fTempPipe = 0;
}

void HandBackRestOfLine(CString &line) {
    TLS_VARIABLES *tls = GetTLS();
    if (!tls->pPipeView) return;
    size_t n = line.size() < kTextChars - 1 ? line.size() : kTextChars - 1;
    wchar_t *area = TextArea(tls->pPipeView);
    wmemcpy(area, line.c_str(), n);
    area[n] = 0;
    UnmapViewOfFile(tls->pPipeView);
    CloseHandle(tls->hPipeMapping);
    tls->pPipeView = nullptr;
    tls->hPipeMapping = nullptr;
    line.clear();
}

namespace {

// Rebuild the parent's frame from the shared block: frames up to its index,
// the top one a copy without its file, so that %1, GOSUB and CALL :label
// work on the right side of a pipe in a batch file.
void InheritFrame(const PipeState &state, const wchar_t *text) {
    TLS_VARIABLES *tls = GetTLS();
    std::vector<CString> strings;
    size_t at = 0;
    for (int i = 0; i < state.nArgs + 2 && i < 8192 && at < kTextChars; i++) {
        strings.emplace_back(text + at, wcsnlen(text + at, kTextChars - at));
        at += strings.back().size() + 1;
    }
    strings.resize((size_t)(state.nArgs + 2 < 8194 ? state.nArgs + 2 : 8194));
    tls->aBatchFrames.resize((size_t)state.nFrame + 1);
    BATCHFRAME &frame = tls->aBatchFrames.back();
    frame.sBatchName = strings[0];
    frame.sArgs = strings[1];
    frame.Argv.assign(strings.begin() + 2, strings.end());
    frame.nArgShift = state.nArgShift;
    frame.nEcho = state.nEcho;
    frame.nLineNumber = state.nLineNumber;
    frame.fFlags = state.fFlags;
    frame.lOffset = state.lOffset;
    tls->nBatchFrame = tls->nInheritedFrame = state.nFrame;
    tls->fNewBatchFlags |= 1;
    tls->sPipeBatchName = frame.sBatchName;
}

}  // namespace

void TakeOverPipeParent() {
    CString name;
    if (!QueryEnvVar(L"BDXMPIPE", &name)) return;
    SetEnvironmentVariableW(L"BDXMPIPE", nullptr);
    TLS_VARIABLES *tls = GetTLS();
    tls->hPipeMapping = OpenFileMappingW(FILE_MAP_ALL_ACCESS, FALSE, name.c_str());
    if (!tls->hPipeMapping) return;
    void *view = MapViewOfFile(tls->hPipeMapping, FILE_MAP_ALL_ACCESS, 0, 0, kBlockSize);
    if (!view) return;
    fPipeChild = true;
    PipeState state = *StateArea(view);
    if (state.nFrame >= 0) InheritFrame(state, TextArea(view));
    TextArea(view)[0] = 0;
    InterlockedExchange(TakenFlag(view), kTakenOver);
    tls->pPipeView = view;
}
