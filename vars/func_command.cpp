// Functions of the command family: @ALIAS and @FUNCTION (stored text),
// @EXEC and @EXECSTR (a command run inside the expansion of another),
// @ERRTEXT (the text of an error number), @IF, @OPTION, @VARTYPE, and the
// clipboard's @CLIP and @CLIPW.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "config/config.h"
#include "vars/func_internal.h"
#include "vars/functions.h"
#include "vars/lists.h"

namespace {

// What a command run inside an expansion must not disturb: the block state
// of the line around it, the standard handles, the expansion switches and
// the output encoding.  Restored on every way out, interrupts included.
class RunState {
public:
    RunState() : tls_(GetTLS()) {
        bIffState_ = tls_->bIffState;
        nIffActive_ = tls_->nIffActive;
        nIffNested_ = tls_->nIffNested;
        nDoActive_ = tls_->nDoActive;
        nDoNested_ = tls_->nDoNested;
        nDoLeave_ = tls_->nDoLeave;
        nOutputEncoding_ = tls_->nOutputEncoding;
        sCommandName_ = tls_->sCommandName;
        out_ = GetStdHandle(STD_OUTPUT_HANDLE);
        err_ = GetStdHandle(STD_ERROR_HANDLE);
        in_ = GetStdHandle(STD_INPUT_HANDLE);
        parseFlags_ = aIniFile.ParseFlags;
        aIniFile.ParseFlags &= ~PF_NO_REDIRECTION;  // the command's own redirection must work
        CloseBatchFile();
    }
    ~RunState() {
        SetStdHandle(STD_OUTPUT_HANDLE, out_);
        SetStdHandle(STD_ERROR_HANDLE, err_);
        SetStdHandle(STD_INPUT_HANDLE, in_);
        aIniFile.ParseFlags = parseFlags_;
        tls_->bIffState = bIffState_;
        tls_->nIffActive = nIffActive_;
        tls_->nIffNested = nIffNested_;
        tls_->nDoActive = nDoActive_;
        tls_->nDoNested = nDoNested_;
        tls_->nDoLeave = nDoLeave_;
        tls_->nOutputEncoding = nOutputEncoding_;
        tls_->sCommandName = sCommandName_;
    }
    RunState(const RunState &) = delete;
    RunState &operator=(const RunState &) = delete;

private:
    TLS_VARIABLES *tls_;
    unsigned char bIffState_, nIffActive_, nIffNested_, nDoActive_, nDoNested_, nDoLeave_;
    int nOutputEncoding_;
    CString sCommandName_;
    HANDLE out_, err_, in_;
    unsigned parseFlags_;
};

// A temporary file that is removed when it goes out of scope.
struct TempFile {
    CString name;
    HANDLE h = INVALID_HANDLE_VALUE;
    ~TempFile() {
        if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
        if (!name.empty()) DeleteFileW(name.c_str());
    }
};

// Create an empty file of a unique name, prefix "EXE", in the temporary
// directory; its handle is inheritable so that child programs can write to it.
int CreateCaptureFile(TempFile *file) {
    CString dir(MAX_PATH + 1, L'\0');
    DWORD n = GetTempPathW((DWORD)dir.size(), dir.data());
    if (!n || n > dir.size()) return (int)GetLastError();
    dir.resize(n);
    CString name(MAX_PATH + 1, L'\0');
    if (!GetTempFileNameW(dir.c_str(), L"EXEC", 0, name.data())) return (int)GetLastError();
    name.resize(wcslen(name.c_str()));
    file->name = name;
    SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
    file->h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &sa,
                          CREATE_ALWAYS, FILE_ATTRIBUTE_TEMPORARY, nullptr);
    return file->h == INVALID_HANDLE_VALUE ? (int)GetLastError() : 0;
}

// Run a command with standard output pointed at a temporary file and take
// its output as lines.  Redirection of the line itself would do the same;
// swapping the standard handle works for internal commands and for child
// programs alike.
int CaptureOutput(const CString &command, std::vector<CString> *lines) {
    TempFile file;
    if (int rc = CreateCaptureFile(&file)) return rc;
    {
        RunState state;
        GetTLS()->nOutputEncoding = 2;  // UTF-8: nothing the command prints is lost
        SetStdHandle(STD_OUTPUT_HANDLE, file.h);
        aHooks.pfnCommand(command, 0);
    }
    return ReadTextLines(file.name.c_str(), lines);
}

}  // namespace

// @ALIAS[name], @FUNCTION[name]: the stored text, or empty when there is no
// such entry.  Stored command text is not expanded again.
int Func_ListEntry(FUNCCALL &call) {
    CString name = call.args;
    UnEscapeLine(name);
    name.Trim();
    const wchar_t *value = call.nCase == FC_alias ? GetAlias(name.c_str(), nullptr) : GetFunction(name.c_str(), nullptr);
    call.args = value ? value : L"";
    return FUNC_NO_RESCAN;
}

// @EXEC[command]: the command's result.  @EXECSTR[[n,]command]: line n of its
// output, counted from 0 (from the end when negative); the first line
// without n, empty past the last.
int Func_Exec(FUNCCALL &call) {
    CString command = call.args;
    int line = 0;
    if (call.nCase == FC_execstr) {
        int n = 0;
        CString rest, first;
        GetNthArgument(command.c_str(), 0, &first);
        int used = -1;
        bool numeric = Sscanf(first.c_str(), L"%i%n", &n, &used) == 2 && (size_t)used == first.size();
        if (numeric && ReadCountAndText(command, &n, &rest) && *SkipWhiteSpace(rest.c_str())) {
            line = n;
            command = rest;
        }
    }
    command.Trim();
    if (command.empty()) return ERROR_INVALID_PARAMETER;
    if (call.nCase == FC_exec) {
        int result;
        {
            RunState state;
            result = aHooks.pfnCommand(command, 0);
        }
        return SetNumber(call.args, result);
    }
    std::vector<CString> lines;
    if (int rc = CaptureOutput(command, &lines)) return rc;
    long long count = (long long)lines.size(), which = line >= 0 ? line : count + line;
    call.args = which >= 0 && which < count ? lines[(size_t)which] : CString();
    return 0;
}

// @ERRTEXT[n]: the message of an error number, the system's or the
// program's own.
int Func_ErrText(FUNCCALL &call) {
    int code = 0;
    if (Sscanf(call.args.c_str(), L"%i", &code) != 1) return ERROR_INVALID_PARAMETER;
    TLS_VARIABLES *tls = GetTLS();
    int savedSysError = tls->nSysError;
    // The message text takes a code below 1 as "the last error": give it
    // that code as the last error.
    if (code < 1) SetLastError((DWORD)code);
    CString text = ErrorMessage(code, nullptr);
    tls->nSysError = savedSysError;
    text.TrimRight(L"\r\n");
    call.args = text;
    return 0;
}

// @IF[condition,true,false]: the second argument when the condition holds,
// else the third (empty when missing).  Neither is expanded here.
int Func_If(FUNCCALL &call) {
    CString condition, rest, yes, no;
    if (!SplitAtComma(call.args, &condition, &rest)) return ERROR_INVALID_PARAMETER;
    if (!SplitAtComma(rest, &yes, &no)) yes = rest;
    condition.Trim();
    if (condition.empty()) return ERROR_INVALID_PARAMETER;
    int result = TestCondition(condition, 0);
    if (result < 0) return ERROR_INVALID_PARAMETER;
    call.args = result > 0 ? yes : no;
    return 0;
}

// @OPTION[name]: the value of an option as OPTION shows it.
int Func_Option(FUNCCALL &call) {
    CString name = call.args, value;
    name.Trim();
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    if (GetOptionValue(name.c_str(), value)) return ERROR_BD_UNKNOWN_OPTION;
    call.args = value;
    return 0;
}

// @VARTYPE[name]: the type that SET /T gave a variable ("none" without).
int Func_VarType(FUNCCALL &call) {
    CString name = call.args;
    name.Trim();
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    call.args = QueryVariableType(name);
    return 0;
}

namespace {

// The clipboard, open for the length of a scope.  Another program may hold
// it for a moment: a few tries are made.
class ClipboardLock {
public:
    ClipboardLock() {
        for (int i = 0; i < 10 && !(open_ = OpenClipboard(nullptr)); i++) Sleep(20);
        if (!open_) error_ = SystemError();
    }
    ~ClipboardLock() {
        if (open_) CloseClipboard();
    }
    int Error() const { return open_ ? 0 : error_ ? error_ : ERROR_ACCESS_DENIED; }

private:
    BOOL open_ = FALSE;
    int error_ = 0;
};

}  // namespace

// @CLIP[n]: line n (from 0) of the text on the clipboard; "**EOC**" past
// the last line.
int Func_Clip(FUNCCALL &call) {
    long long n = 0;
    if (!call.args.TrimLeftCopy().empty() && (!ReadWholeNumber(call.args, &n) || n < 0)) return ERROR_INVALID_PARAMETER;
    CString text;
    {
        ClipboardLock clip;
        if (int rc = clip.Error()) return rc;
        if (HANDLE data = GetClipboardData(CF_UNICODETEXT)) {
            if (const wchar_t *p = (const wchar_t *)GlobalLock(data)) {
                text.assign(p, wcsnlen(p, GlobalSize(data) / sizeof(wchar_t)));
                GlobalUnlock(data);
            }
        }
    }
    size_t at = 0;
    for (long long line = 0; line < n && at != CString::npos; line++) {
        at = text.find(L'\n', at);
        if (at != CString::npos) at++;
    }
    if (at == CString::npos || (at >= text.size() && (n > 0 || text.empty()))) {
        call.args = L"**EOC**";
        return 0;
    }
    CString line = text.Mid(at, text.find(L'\n', at) - at);
    line.TrimRight(L"\r");
    call.args = line;
    return FUNC_NO_RESCAN;
}

// @CLIPW[text]: put the text on the clipboard; the value is 0.
int Func_ClipWrite(FUNCCALL &call) {
    CString text = call.args;
    UnEscapeLine(text);
    HGLOBAL block = GlobalAlloc(GMEM_MOVEABLE, (text.size() + 1) * sizeof(wchar_t));
    if (!block) return ERROR_NOT_ENOUGH_MEMORY;
    memcpy(GlobalLock(block), text.c_str(), (text.size() + 1) * sizeof(wchar_t));
    GlobalUnlock(block);
    ClipboardLock clip;
    if (int rc = clip.Error()) {
        GlobalFree(block);
        return rc;
    }
    EmptyClipboard();
    if (!SetClipboardData(CF_UNICODETEXT, block)) {
        int rc = SystemError();
        GlobalFree(block);
        return rc;
    }
    return SetNumber(call.args, 0);
}
