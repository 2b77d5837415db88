// Running batch files: starting a frame, the loop that feeds its lines to
// Command_S, opening and re-opening the file, the in-memory form of .BTM
// files, encoding detection, SHIFT and LOADBTM.
#include "batch/batch.h"
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "vars/func_internal.h"
#include <cwchar>

namespace {

constexpr int kMaxFrame = 99;
constexpr int kChunk = 2048;

bool HasExtension(const CString &name, const wchar_t *ext) {
    size_t n = wcslen(ext);
    return name.size() >= n && StrICmp(name.c_str() + name.size() - n, ext) == 0;
}

// Ask the user whether to end the batch file after Ctrl+C; returns the
// answer letter (Y, N or A).
wchar_t AskCancelBatch(const BATCHFRAME *frame) {
    if (aIniFile.AutoCancel || !QueryIsConsole(StdIn())) return L'Y';
    CString prompt = LoadLanguageString(IDS_CANCEL_BATCH);
    prompt.Replace(L"%1", frame->sBatchName.c_str());
    for (;;) {
        wchar_t c = (wchar_t)QueryInputChar(prompt.c_str(), L"YNA");
        if (c == L'Y' || c == L'N' || c == L'A') return c;
    }
}

// An interrupt or ON handler thrown out of a line.  Returns true when the
// loop is to end, with *result the loop's result.
bool HandleThrown(int code, int *result) {
    TLS_VARIABLES *tls = GetTLS();
    BATCHFRAME *frame = CurrentFrame();
    if (!frame) throw code;
    auto runHandler = [&](const CString &text) {
        int rc = aHooks.pfnCommand(text, CMD_ECHO | CMD_DEBUG);
        if (rc == BATCH_RETURN) {
            *result = rc;
            return true;
        }
        return false;
    };
    switch (code) {
    case BREAK_ON_ERROR: {
        CString handler = frame->sOnError;
        frame->sOnError.clear();
        bool end = runHandler(handler);
        if (CurrentFrame() == frame) frame->sOnError = handler;
        return end;
    }
    case BREAK_ON_ERRORMSG: return runHandler(frame->sOnErrorMsg);
    case BREAK_ON_ERRORLEVEL: {
        CString rest;
        const wchar_t *text = frame->sOnErrorLevel.c_str();
        rest.resize(frame->sOnErrorLevel.size() + 1);
        if (iswdigit(*SkipWhiteSpace(text))) Sscanf(text, L" %*d %[^\r\n]", rest.data());
        else Sscanf(text, L" %*s %*d %[^\r\n]", rest.data());
        rest.resize(wcslen(rest.c_str()));
        return runHandler(rest);
    }
    case BREAK_ON_LBUTTON: return runHandler(frame->sOnLButton);
    case BREAK_ON_MBUTTON: return runHandler(frame->sOnMButton);
    case BREAK_ON_RBUTTON: return runHandler(frame->sOnRButton);
    case BREAK_ON_DBLCLICK: return runHandler(frame->sOnDblClick);
    default: break;
    }
    tls->fBreakPending = tls->fBreakHandled = 0;
    bool forced = code == BREAK_FORCED_ABORT;
    if (!forced && !frame->sOnBreak.empty()) return runHandler(frame->sOnBreak);
    wchar_t answer = forced ? L'A' : AskCancelBatch(frame);
    if (forced) CrLf();
    if (answer == L'N') return false;
    for (int i = answer == L'A' ? 0 : tls->nBatchFrame; i <= tls->nBatchFrame; i++)
        tls->aBatchFrames[i].lOffset = -1;
    TakeSkipState();
    *result = code;
    return true;
}

// A CALL of a .BTM that is running (CALL :label) takes the caller's image
// instead of reading the file again.
bool BorrowCallerImage(BATCHFRAME *f, const BATCHFRAME *caller, const CString &name) {
    if (!caller || caller->hFile != BTM_IN_MEMORY || !caller->sBatchName.EqualsNoCase(name.c_str())) return false;
    f->sBtmImage = caller->sBtmImage;
    f->hFile = BTM_IN_MEMORY;
    f->fFlags |= caller->fFlags & (BF_UTF16 | BF_UTF8 | BF_PACKED);
    f->lOffset = f->lTextStart = caller->lTextStart;
    return true;
}

}  // namespace

int FrameReadFlags(const BATCHFRAME *f, int purpose) {
    return purpose | ((f->fFlags & BF_UTF16) ? GNL_UTF16 : (f->fFlags & BF_UTF8) ? GNL_UTF8 : 0);
}

SkipState TakeSkipState() {
    TLS_VARIABLES *t = GetTLS();
    SkipState s{t->bIffState, t->nIffActive, t->nIffNested, t->nDoActive, t->nDoNested, t->nDoLeave};
    t->bIffState = t->nIffActive = t->nIffNested = t->nDoActive = t->nDoNested = t->nDoLeave = 0;
    return s;
}

void RestoreSkipState(const SkipState &s) {
    TLS_VARIABLES *t = GetTLS();
    t->bIffState = s.iffState, t->nIffActive = s.iffActive, t->nIffNested = s.iffNested;
    t->nDoActive = s.doActive, t->nDoNested = s.doNested, t->nDoLeave = s.doLeave;
}

int OpenBatchFile() {
    BATCHFRAME *f = CurrentFrame();
    if (!f) return 0;
    if (f->hFile != INVALID_HANDLE_VALUE || (f->fFlags & BF_HOSTED)) return 1;
    for (;;) {
        f->hFile = CreateFileW(f->sBatchName.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                               OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (f->hFile != INVALID_HANDLE_VALUE) break;
        wchar_t drive = ToUpperChar(f->sBatchName.At(0));
        if (drive > L'B' || f->sBatchName.At(1) != L':') {
            BDError(ERROR_BD_BATCH_MISSING, f->sBatchName.c_str());
            return 0;
        }
        // A batch file on a removable disk: ask for the disk back.
        CString prompt = LoadLanguageString(IDS_INSERT_BATCH_DISK);
        prompt.Replace(L"%1", f->sBatchName.c_str());
        Qprintf(StdErr(), L"%s", prompt.c_str());
        QueryInputChar(nullptr, nullptr);
    }
    if (f->lOffset == 0) {
        if (QueryIsFileUnicode(f->hFile)) f->fFlags |= BF_UTF16;
        else if (QueryIsFileUTF8(f->hFile)) f->fFlags |= BF_UTF8;
        LARGE_INTEGER zero{}, pos{};
        SetFilePointerEx(f->hFile, zero, &pos, FILE_CURRENT);
        f->lOffset = f->lTextStart = pos.QuadPart;
    }
    LARGE_INTEGER to;
    to.QuadPart = f->lOffset;
    SetFilePointerEx(f->hFile, to, nullptr, FILE_BEGIN);
    return 1;
}

int LoadBtmImage() {
    if (!OpenBatchFile()) return 2;
    BATCHFRAME *f = CurrentFrame();
    LARGE_INTEGER size{};
    GetFileSizeEx(f->hFile, &size);
    std::string image((size_t)size.QuadPart, '\0');
    LARGE_INTEGER zero{};
    SetFilePointerEx(f->hFile, zero, nullptr, FILE_BEGIN);
    DWORD got = 0;
    if (!image.empty() && !ReadFile(f->hFile, image.data(), (DWORD)image.size(), &got, nullptr)) {
        int error = (int)GetLastError();
        CloseBatchFile();
        return BDError(error, f->sBatchName.c_str());
    }
    image.resize(got);
    CloseBatchFile();
    f->fFlags &= ~(BF_UTF16 | BF_UTF8);
    // Loaded while running (LOADBTM ON), the frame keeps its place.
    long long running = f->lOffset;
    f->lOffset = 0;
    int mask = IS_TEXT_UNICODE_UNICODE_MASK | IS_TEXT_UNICODE_REVERSE_MASK;
    if (image.size() >= 2 && image.size() % 2 == 0 &&
        IsTextUnicode(image.data(), (int)std::min<size_t>(image.size(), 128), &mask) &&
        !(mask & IS_TEXT_UNICODE_REVERSE_MASK) && mask) {
        f->fFlags |= BF_UTF16;
        if ((unsigned char)image[0] == 0xFF && (unsigned char)image[1] == 0xFE) f->lOffset = 2;
    } else if (image.size() >= 3 && image.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        f->fFlags |= BF_UTF8;
        f->lOffset = 3;
    } else if (aIniFile.UTF8 && QueryIsTextUTF8(image.data(), image.size())) {
        f->fFlags |= BF_UTF8;
    }
    f->lTextStart = f->lOffset;
    if (running > 0) f->lOffset = running;
    if (f->fFlags & BF_UTF16) image.append("\x1A\0", 2);
    else image += '\x1A';
    f->sBtmImage = std::move(image);
    f->hFile = BTM_IN_MEMORY;
    return 0;
}

int RunBatchFile(const CString &name, std::vector<CString> &argv, CString &args) {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->nBatchFrame >= kMaxFrame) return BDError(ERROR_BD_BATCH_NESTING, name.c_str());
    BATCHFRAME *caller = CurrentFrame();
    int echo = caller ? caller->nEcho : (aIniFile.BatchEcho ? 1 : 0);
    bool replacedChained = false, replaced = false;
    if (!tls->fNewBatchFlags && (!caller || (caller->fFlags & BF_LIBRARY))) tls->fNewBatchFlags = 1;
    if (!tls->fNewBatchFlags && caller) {
        replacedChained = (caller->fFlags & BF_CHAINED) != 0;
        replaced = true;
        ExitBatchFile();
    }
    tls->aBatchFrames.emplace_back();
    tls->nBatchFrame = (int)tls->aBatchFrames.size() - 1;
    BATCHFRAME *f = &tls->aBatchFrames.back();
    f->sBatchName = name;
    f->Argv = argv;
    f->sArgs = args;
    f->nEcho = echo;
    if (tls->fNewBatchFlags && BorrowCallerImage(f, caller, name)) {
        // CALL of the .BTM that is running: its image is at hand already.
    } else if (HasExtension(name, L".btm") && LoadBtmImage()) {
        tls->aBatchFrames.pop_back();
        tls->nBatchFrame--;
        return 2;
    }
    if (tls->fNewBatchFlags & 0x800) {
        // CALL :label runs the same file from the label, with the label as %0.
        int rc = f->Argv.size() > 1 ? FindLabel(f->Argv[1], 1) : 1;
        if (rc) {
            tls->aBatchFrames.pop_back();
            tls->nBatchFrame--;
            tls->fNewBatchFlags = 0;
            return rc == 1 ? BDError(ERROR_INVALID_PARAMETER, nullptr) : rc;
        }
        f->Argv[0] = f->Argv[1];
        f->Argv.erase(f->Argv.begin() + 1);
        const wchar_t *rest = GetNthArgument(args.c_str(), 1);
        f->sArgs = rest ? CString(rest) : CString();
    }
    bool called = tls->fNewBatchFlags != 0;
    SkipState saved{};
    if (called) saved = TakeSkipState();
    if (!called && replaced && !replacedChained) return BATCH_ABORT;
    tls->fNewBatchFlags = 0;
    CString buffer;
    int rc = RunBatchLines(buffer);
    if (rc == 0 && CurrentFrame()) rc = CurrentFrame()->nFrameExit;
    ExitBatchFile();
    if (called) RestoreSkipState(saved);
    return rc;
}

int RunBatchLines(CString &line) {
    TLS_VARIABLES *tls = GetTLS();
    int result = 0;
    for (;;) {
        BATCHFRAME *f = CurrentFrame();
        if (!f || f->lOffset < 0) break;
        EnableSignals();
        if (!OpenBatchFile()) break;
        try {
            if (!GetNextLine(f->hFile, line, FrameReadFlags(f, GNL_RUN), nullptr, MAX_LINE_CHARS)) break;
            f->nLineNumber++;
            if (aHooks.pfnCommand(line, CMD_ECHO | CMD_DEBUG) == BATCH_RETURN) {
                result = BATCH_RETURN;
                break;
            }
            f = CurrentFrame();
            if (f && !f->sOnCondition.empty()) RunOnCondition(f->sOnCondition);
            result = tls->nExitCode;
        } catch (int code) {
            if (HandleThrown(code, &result)) break;
        }
    }
    CloseBatchFile();
    return result;
}

int ExitBatchFile() {
    TLS_VARIABLES *tls = GetTLS();
    BATCHFRAME *f = CurrentFrame();
    if (!f || tls->nBatchFrame <= tls->nInheritedFrame || f->sBatchName.empty()) return 2;
    CloseBatchFile();
    while (f->nSetlocalDepth > 0) {
        CString none;
        Endlocal_Command(none);
        f->nSetlocalDepth--;
    }
    if (!f->sOnError.empty()) SetErrorMode(f->nSavedErrorMode);
    CString defer = f->sDefer;
    tls->aBatchFrames.pop_back();
    tls->nBatchFrame--;
    // What ran in the frame may have rewritten the caller's file: the caller
    // reads it afresh.
    BATCHFRAME *caller = CurrentFrame();
    if (caller) caller->sChunk.clear();
    // A CANCEL has marked the caller as ending too, which would stop every
    // command; the deferred ones run all the same, and the mark stays.
    long long callerOffset = caller ? caller->lOffset : 0;
    if (caller && callerOffset < 0 && !defer.empty()) caller->lOffset = 0;
    for (size_t at = 0; at < defer.size();) {
        size_t end = defer.find(L'\n', at);
        if (end == CString::npos) end = defer.size();
        aHooks.pfnCommand(defer.substr(at, end - at), CMD_ECHO | CMD_DEBUG);
        at = end + 1;
    }
    if (caller && callerOffset < 0 && CurrentFrame() == caller) caller->lOffset = callerOffset;
    UpdateTitleAndIcon(nullptr, 0);
    return 0;
}

// Read up to kChunk bytes from the file's start, then go back to where it was.
static std::string PeekFileStart(HANDLE h) {
    std::string bytes(kChunk, '\0');
    LARGE_INTEGER zero{}, pos{};
    SetFilePointerEx(h, zero, &pos, FILE_CURRENT);
    SetFilePointerEx(h, zero, nullptr, FILE_BEGIN);
    DWORD got = 0;
    if (!ReadFile(h, bytes.data(), kChunk, &got, nullptr)) got = 0;
    bytes.resize(got);
    SetFilePointerEx(h, pos, nullptr, FILE_BEGIN);
    return bytes;
}

int QueryIsFileUnicode(HANDLE h) {
    if (GetFileType(h) == FILE_TYPE_PIPE) return GetTLS()->nOutputEncoding == 3;
    LARGE_INTEGER size{};
    if (!GetFileSizeEx(h, &size) || size.QuadPart % 2) return 0;
    std::string bytes = PeekFileStart(h);
    if (bytes.size() >= 2 && (unsigned char)bytes[0] == 0xFF && (unsigned char)bytes[1] == 0xFE) {
        LARGE_INTEGER two;
        two.QuadPart = 2;
        SetFilePointerEx(h, two, nullptr, FILE_BEGIN);
        return 1;
    }
    if (bytes.size() <= 8) return 0;
    int mask = IS_TEXT_UNICODE_UNICODE_MASK | IS_TEXT_UNICODE_REVERSE_MASK;
    bool wide = IsTextUnicode(bytes.data(), (int)bytes.size(), &mask) && mask &&
                !(mask & IS_TEXT_UNICODE_REVERSE_MASK);
    return wide ? 1 : 0;
}

bool QueryIsTextUTF8(const char *text, size_t size) {
    bool multi = false;
    for (size_t i = 0; i < size && text[i];) {
        unsigned char c = (unsigned char)text[i];
        int follow = c < 0x80 ? 0 : (c >= 0xC2 && c <= 0xDF) ? 1 : (c >= 0xE0 && c <= 0xEF) ? 2
                                   : (c >= 0xF0 && c <= 0xF4) ? 3 : -1;
        if (follow < 0) return false;
        for (int k = 1; k <= follow; k++) {
            if (i + k >= size || !text[i + k]) return multi;
            unsigned char n = (unsigned char)text[i + k];
            if (n < 0x80 || n > 0xBF) return false;
        }
        if (follow) multi = true;
        i += follow + 1;
    }
    return multi;
}

int QueryIsFileUTF8(HANDLE h) {
    if (GetFileType(h) == FILE_TYPE_PIPE) return GetTLS()->nOutputEncoding == 2;
    std::string bytes = PeekFileStart(h);
    if (bytes.size() < 3) return 0;
    if (bytes.compare(0, 3, "\xEF\xBB\xBF") == 0) {
        LARGE_INTEGER three;
        three.QuadPart = 3;
        SetFilePointerEx(h, three, nullptr, FILE_BEGIN);
        return 1;
    }
    return aIniFile.UTF8 && QueryIsTextUTF8(bytes.data(), bytes.size());
}

int Shift_Command(CString &args) {
    BATCHFRAME *f = CurrentFrame();
    args.Trim();
    if (args.At(0) == SwitchCharValue()) {
        int n = 0;
        if (Sscanf(args.c_str() + 1, L"%i", &n) != 1) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
        int at = n + f->nArgShift;
        if (at < 0 || at >= (int)f->Argv.size()) return 0;
        f->Argv.erase(f->Argv.begin() + at);
        return 0;
    }
    int count = 1;
    if (!args.empty() && Sscanf(args.c_str(), L"%i", &count) != 1) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    for (; count > 0 && f->nArgShift < (int)f->Argv.size(); count--) f->nArgShift++;
    for (; count < 0 && f->nArgShift > 0; count++) f->nArgShift--;
    return 0;
}

int Loadbtm_Command(CString &args) {
    BATCHFRAME *f = CurrentFrame();
    args.Trim();
    if (args.empty()) {
        Printf(L"%s %s\r\n", LoadLanguageString(IDS_LOADBTM_STATE).c_str(), f->hFile == BTM_IN_MEMORY ? L"ON" : L"OFF");
        return 0;
    }
    if (args.EqualsNoCase(L"on")) return f->hFile == BTM_IN_MEMORY ? 0 : LoadBtmImage();
    if (args.EqualsNoCase(L"off")) {
        if (f->hFile == BTM_IN_MEMORY && !(f->fFlags & BF_PACKED)) {
            f->hFile = INVALID_HANDLE_VALUE;
            f->sBtmImage.clear();
            f->sBtmImage.shrink_to_fit();
        }
        return 0;
    }
    return BDError(ERROR_INVALID_PARAMETER, args.c_str());
}

void RunOnCondition(const CString &condition) { aHooks.pfnCommand(CString(L"if ") + condition, CMD_DEBUG); }
