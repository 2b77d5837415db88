// Redirection: Redirect takes each ">", "<" and their kin out of a command
// and points the process's standard handles at files, devices, the
// clipboard, here-documents or other standard handles; Unredirect puts
// every handle back, whatever way the command ended.  Internal commands
// simply write to the standard handles, and programs inherit them.
#include "core/redir.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "console/screen.h"
#include "core/redir_internal.h"
#include "files/paths.h"
#include "vars/vars.h"
#include <algorithm>
#include <cwchar>

namespace {

constexpr size_t kMaxTarget = 0x7FFF;
constexpr wchar_t kCtrlZ = 26;

DWORD StdSlot(int which) { return STD_INPUT_HANDLE - (DWORD)which; }

HANDLE CurrentStd(int which) { return GetStdHandle(StdSlot(which)); }

bool UsedAsStd(HANDLE h) {
    for (int i = 0; i < 3; i++)
        if (CurrentStd(i) == h) return true;
    return false;
}

// A handle that redirection opened and that no standard handle uses any
// more is closed; "GetFileType knows it" keeps us from closing anything
// that is no handle.
void CloseIfUnused(HANDLE h, const RedirRecord *record) {
    if (!h || h == INVALID_HANDLE_VALUE || UsedAsStd(h)) return;
    for (int i = 0; i < 3; i++)
        if (record->afSaved[i] && record->ahSaved[i] == h) return;
    SetLastError(NO_ERROR);
    if (GetFileType(h) != FILE_TYPE_UNKNOWN || GetLastError() == NO_ERROR) CloseHandle(h);
}

// Point the marked standard handles at h (all marks share it).  The first
// redirection of a handle on this command saves the old one; a later one
// replaces the handle that the earlier one opened.
void Install(RedirRecord *record, int marks, HANDLE h) {
    for (int which = REDIR_ERR; which >= REDIR_IN; which--) {
        if (!(marks & (1 << which))) continue;
        HANDLE old = CurrentStd(which);
        bool first = !record->afSaved[which];
        if (first) record->ahSaved[which] = old, record->afSaved[which] = 1;
        SetStdHandle(StdSlot(which), h);
        if (!first) CloseIfUnused(old, record);
    }
}

}  // namespace

void InstallStdHandle(RedirRecord *record, int marks, HANDLE h) { Install(record, marks, h); }

namespace {

SECURITY_ATTRIBUTES *Inheritable() {
    static SECURITY_ATTRIBUTES sa{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
    return &sa;
}

HANDLE DuplicateStd(int which) {
    HANDLE copy = nullptr;
    if (!DuplicateHandle(GetCurrentProcess(), CurrentStd(which), GetCurrentProcess(), &copy, 0, TRUE,
                         DUPLICATE_SAME_ACCESS))
        return nullptr;
    return copy;
}

bool IsHandleLead(const CString &line, size_t digitAt) {
    if (digitAt == 0) return true;
    TLS_VARIABLES *tls = GetTLS();
    tls->szHandleLead[1] = CommandSepChar();
    return wcschr(tls->szHandleLead, line[digitAt - 1]) != nullptr;
}

// One operator while it is parsed.
struct Operator {
    size_t start = 0;      // first character to remove (a handle digit, or the operator)
    size_t end = 0;        // one past the last character to remove
    int marks = 0;         // bit n: standard handle n
    int sourceDigit = -1;  // a digit in front of the operator
    bool append = false;
    bool guard = false;    // NoClobber applies
    bool handleTarget = false;
    CString target;
};

// The handle digit in front of the operator at, when it stands after the
// line's start or a handle lead: it selects that handle alone.
void ReadSourceDigit(const CString &line, size_t at, Operator &op) {
    if (at == 0 || !iswdigit(line[at - 1]) || !IsHandleLead(line, at - 1)) return;
    op.sourceDigit = line[at - 1] - L'0';
    op.start = at - 1;
}

void SelectSource(Operator &op) {
    if (op.sourceDigit < 0) return;
    op.marks = op.sourceDigit < 3 ? 1 << op.sourceDigit : 0;
}

// The target behind the operator: from the first non-blank to a character
// of szRedirStop outside quotes and back-quotes.  -1 after a reported error.
int ReadTarget(const CString &line, size_t from, Operator &op) {
    TLS_VARIABLES *tls = GetTLS();
    tls->szRedirStop[1] = CommandSepChar();
    size_t t = from;
    while (QueryIsWhiteSpace(line.At(t))) t++;
    int length;
    if (line.At(t) == L'`') {
        // A back-quoted name ends at its closing back-quote.
        length = ScanIndex(line.c_str() + t + 1, L"`", L"\"");
        if (length < 0) return -1;
        if (!line.At(t + 1 + length)) return BDError(ERROR_BD_NO_CLOSE_QUOTE, line.c_str() + t), -1;
        length += 2;
    } else {
        length = ScanIndex(line.c_str() + t, tls->szRedirStop, L"`\"");
    }
    if (length < 0) return -1;
    op.target = line.Mid(t, (size_t)length < kMaxTarget ? (size_t)length : kMaxTarget);
    op.end = t + (size_t)length;
    if (std::count(op.target.begin(), op.target.end(), L'"') % 2)
        return BDError(ERROR_BD_NO_CLOSE_QUOTE, op.target.c_str()), -1;
    UnEscapeLine(op.target);
    if (op.target.At(0) == L'`' && op.target.size() >= 2 && op.target.back() == L'`')
        op.target = op.target.Mid(1, op.target.size() - 2);
    return 0;
}

CString OperatorText(const CString &line, const Operator &op) { return line.Mid(op.start, op.end - op.start); }

}  // namespace

size_t ReadEncodingSuffix(const wchar_t *p) {
    if (p[0] != L':') return 0;
    wchar_t c = ToLowerChar(p[1]);
    size_t n = 0;
    int mode = 0;
    if (c == L'8') n = 2, mode = 2;
    else if (c == L'a') n = 2, mode = 1;
    else if (c == L'd') n = 2, mode = 0;
    else if (c == L'u' && p[2] == L'8') n = 3, mode = 2;
    else if (c == L'u') n = 2, mode = 3;
    if (!n || iswalnum(p[n])) return 0;
    GetTLS()->nOutputEncoding = mode;
    return n;
}

CString ClipboardFileName(int kind) {
    static const wchar_t *const stems[] = {L"CTMP", L"CLIP", L"CERR"};
    CString dir(MAX_PATH + 1, L'\0');
    DWORD n = GetTempPathW((DWORD)dir.size(), dir.data());
    dir.resize(n && n < dir.size() ? n : 0);
    if (dir.empty()) dir = aGlobals.sExecutablePath;
    return dir + FormatStr(L"%s%x.MWS", stems[kind], GetCurrentProcessId());
}

int MakeTempFile(CString &name, const wchar_t *prefix) {
    CString dir(MAX_PATH + 1, L'\0');
    DWORD n = GetTempPathW((DWORD)dir.size(), dir.data());
    dir.resize(n && n < dir.size() ? n : 0);
    if (dir.empty() || GetFileAttributesW(dir.c_str()) == INVALID_FILE_ATTRIBUTES) dir = aGlobals.sExecutablePath;
    name = dir;
    return UniqueFileName(name, prefix);
}

bool QueryIsPipeHandle(HANDLE h) { return h && h != INVALID_HANDLE_VALUE && GetFileType(h) == FILE_TYPE_PIPE; }

namespace {

// Whether a handle is the console.  The answer for the handles the shell
// started with is kept: they are what every redirection puts back, and
// each question is a trip to the system.
bool IsConsoleHandle(HANDLE h) {
    static const HANDLE *const startup[3] = {&aGlobals.hStdIn, &aGlobals.hStdOut, &aGlobals.hStdErr};
    static int known[3] = {-1, -1, -1};
    DWORD mode;
    for (int i = 0; i < 3; i++) {
        if (h != *startup[i]) continue;
        if (known[i] < 0) known[i] = h && h != INVALID_HANDLE_VALUE && GetConsoleMode(h, &mode) ? 1 : 0;
        return known[i] == 1;
    }
    return h && h != INVALID_HANDLE_VALUE && GetConsoleMode(h, &mode);
}

}  // namespace

void ResetConsoleModes(int which) {
    DWORD mode;
    bool anyOutput = false;
    auto output = [&](HANDLE h) {
        if (!IsConsoleHandle(h) || !GetConsoleMode(h, &mode)) return;
        SetConsoleMode(h, (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) | 3);
        anyOutput = true;
    };
    auto input = [&](HANDLE h) {
        if (IsConsoleHandle(h) && GetConsoleMode(h, &mode)) SetConsoleMode(h, (mode & ~0x18u) | 7);
    };
    if (which == REDIR_IN || which < 0) input(CurrentStd(REDIR_IN));
    if (which == REDIR_OUT || which < 0) output(CurrentStd(REDIR_OUT));
    if (which == REDIR_ERR || which < 0) output(CurrentStd(REDIR_ERR));
    if (which < 0) {
        input(aGlobals.hConIn);
        output(aGlobals.hConOut);
    }
    if (anyOutput) ConsoleANSI();
}

namespace {

// An appended file loses a final Ctrl+Z (one byte, or one UTF-16 unit in
// a file with a byte-order mark); the write position goes to the end.
void SeekAppendEnd(HANDLE h) {
    LARGE_INTEGER zero{}, back{}, size{};
    back.QuadPart = -1;
    unsigned char last = 0;
    DWORD got = 0;
    if (!SetFilePointerEx(h, back, &size, FILE_END) || !ReadFile(h, &last, 1, &got, nullptr) || got != 1) {
        SetFilePointerEx(h, zero, nullptr, FILE_END);
        return;
    }
    size.QuadPart += 1;  // the position before the last byte, plus that byte
    LARGE_INTEGER cut{};
    if (last == kCtrlZ) {
        cut.QuadPart = size.QuadPart - 1;
    } else if (last == 0 && size.QuadPart >= 4 && size.QuadPart % 2 == 0) {
        unsigned char head[2] = {}, unit[2] = {};
        LARGE_INTEGER two;
        two.QuadPart = -2;
        SetFilePointerEx(h, zero, nullptr, FILE_BEGIN);
        ReadFile(h, head, 2, &got, nullptr);
        SetFilePointerEx(h, two, nullptr, FILE_END);
        ReadFile(h, unit, 2, &got, nullptr);
        if (head[0] == 0xFF && head[1] == 0xFE && unit[0] == kCtrlZ && unit[1] == 0) cut.QuadPart = size.QuadPart - 2;
    }
    if (cut.QuadPart > 0 || (last == kCtrlZ && cut.QuadPart == 0)) {
        SetFilePointerEx(h, cut, nullptr, FILE_BEGIN);
        SetEndOfFile(h);
    } else {
        SetFilePointerEx(h, zero, nullptr, FILE_END);
    }
}

// A device as an output: the clipboard through its file, printers refused,
// the console and the rest opened as they are.  Null after reporting.
HANDLE OpenOutputDevice(RedirRecord *record, Operator &op) {
    CString name = op.target;
    StripQuotes_S(name);
    CString upper = name;
    upper.MakeUpper();
    if (upper.back() == L':') upper.pop_back();
    if (upper.StartsWith(L"\\\\.\\")) upper.erase(0, 4);
    if (upper == L"CLIP") {
        int kind = (op.marks & (1 << REDIR_OUT)) || !op.marks ? 1 : 2;
        CString file = ClipboardFileName(kind);
        if (op.append) CopyFromClipboard(file);
        HANDLE h = CreateFileW(file.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, Inheritable(),
                               op.append ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        if (h == INVALID_HANDLE_VALUE) {
            BDError(0, file.c_str());
            return nullptr;
        }
        if (op.append) SetFilePointer(h, 0, nullptr, FILE_END);
        for (int i = 0; i < 3; i++)
            if (op.marks & (1 << i)) record->afClip[i] = kind;
        return h;
    }
    if (upper == L"PRN" || (upper.size() == 4 && upper.StartsWith(L"LPT"))) {
        BDError(ERROR_BD_NO_PRINTER, name.c_str());
        return nullptr;
    }
    CString device = name;
    if (QueryIsCON(device.c_str())) device = L"CONOUT$";
    else QueryIsDevice(device);  // a device loses its colon
    HANDLE h = CreateFileW(device.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, Inheritable(),
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE)
        h = CreateFileW(device.c_str(), GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, Inheritable(),
                        CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        BDError(0, name.c_str());
        return nullptr;
    }
    return h;
}

// A device or the clipboard.
bool IsDeviceName(const CString &target) {
    CString name = target;
    StripQuotes_S(name);
    return QueryIsClip(name.c_str()) || QueryIsDevice(name);
}

// "name:" that is neither a drive nor a device.
bool IsUnknownDevice(const CString &target) {
    CString name = target;
    StripQuotes_S(name);
    return name.size() > 2 && name.back() == L':' && name.find_first_of(L"\\/") == CString::npos &&
           !IsDeviceName(name);
}

HANDLE OpenOutputFile(Operator &op) {
    CString name = op.target;
    if (!CreateFullPathName(name, 0)) return nullptr;
    DWORD disposition = op.append ? OPEN_ALWAYS : CREATE_ALWAYS;
    if (op.guard) disposition = op.append ? OPEN_EXISTING : CREATE_NEW;
    HANDLE h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ, Inheritable(), disposition,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        BDError(0, name.c_str());
        return nullptr;
    }
    if (op.append) SeekAppendEnd(h);
    return h;
}

// The handle for an output operator, or null after reporting.
HANDLE OpenOutputTarget(RedirRecord *record, const CString &line, Operator &op) {
    if (op.handleTarget) {
        if (op.target.size() != 1 || !iswdigit(op.target[0])) {
            BDError(ERROR_BD_REDIR_SYNTAX, OperatorText(line, op).c_str());
            return nullptr;
        }
        int from = op.target[0] - L'0';
        HANDLE copy = from < 3 ? DuplicateStd(from) : nullptr;
        if (!copy) BDError(ERROR_BD_BAD_HANDLE, OperatorText(line, op).c_str());
        return copy;
    }
    if (IsUnknownDevice(op.target)) {
        BDError(ERROR_BD_UNKNOWN_DEVICE, op.target.c_str());
        return nullptr;
    }
    if (IsDeviceName(op.target)) return OpenOutputDevice(record, op);
    return OpenOutputFile(op);
}

int RedirectOutput(CString &line, size_t at, RedirRecord *record) {
    Operator op;
    op.start = at;
    op.marks = 1 << REDIR_OUT;
    op.guard = aIniFile.NoClobber != 0;
    size_t i = at + 1;
    if (line.At(i) == L'>') op.append = true, i++;
    if (line.At(i) == L'&') {
        op.marks |= 1 << REDIR_ERR;
        i++;
        if (line.At(i) == L'>') op.marks &= ~(1 << REDIR_OUT), i++;
        else if (iswdigit(line.At(i))) op.handleTarget = true;
    }
    if (line.At(i) == L'!') op.guard = false, i++;
    i += ReadEncodingSuffix(line.c_str() + i);
    if (ReadTarget(line, i, op)) return 2;
    if (op.handleTarget) op.marks &= ~(1 << REDIR_ERR);
    ReadSourceDigit(line, at, op);
    SelectSource(op);
    if (op.target.empty()) return BDError(ERROR_BD_REDIR_SYNTAX, OperatorText(line, op).c_str());
    HANDLE h = OpenOutputTarget(record, line, op);
    if (!h) return 2;
    if (op.marks) Install(record, op.marks, h);
    else CloseHandle(h);  // a handle the shell does not carry: the file is made, and that is all
    line.erase(op.start, op.end - op.start);
    return 0;
}

// Write the here text to a new file in the temporary directory; the
// file's name goes to record and to op's target.
int WriteHereFile(RedirRecord *record, Operator &op, const wchar_t *stem, const CString &text) {
    CString name;
    CString prefix = stem;
    StripQuotes_S(prefix);
    if (int rc = MakeTempFile(name, prefix.empty() ? L"Here" : prefix.c_str())) return BDError(rc, nullptr);
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        int error = (int)GetLastError();
        DeleteFileW(name.c_str());
        return BDError(error, name.c_str());
    }
    wwriteXP(h, text.c_str(), text.GetLength());
    CloseHandle(h);
    if (!record->sHereFile.empty()) DeleteFileW(record->sHereFile.c_str());
    record->sHereFile = name;
    op.target = name;
    return 0;
}

// The lines of the batch file up to the terminator, as the document's text.
int ReadHereDocument(const CString &terminator, bool strip, bool expand, CString &text) {
    BATCHFRAME *frame = CurrentFrame();
    if (!OpenBatchFile()) return 2;
    int flags = FrameReadFlags(frame, GNL_RUN);
    for (;;) {
        CString line;
        if (!GetNextLine(frame->hFile, line, flags, nullptr, MAX_LINE_CHARS)) return BDError(ERROR_BD_HERE_NO_END, terminator);
        frame->nLineNumber++;
        if (strip) line.TrimLeft(L" \t");
        CString bare = line;
        bare.TrimRight(L" \t\r\n");
        if (bare.EqualsNoCase(terminator.c_str())) return 0;
        if (expand && VariableExpansion(line, 0)) return 2;
        text += line + L"\r\n";
    }
}

// "<<", "<<-" and "<<<" at i (behind the first "<").  Fills op's target
// with the name of the file that holds the text.
int ReadHereText(CString &line, size_t i, RedirRecord *record, Operator &op) {
    if (line.At(i + 1) == L'<') {
        CString text = SkipWhiteSpace(line.c_str() + i + 2);
        text.TrimRight();
        op.end = line.size();
        return WriteHereFile(record, op, L"Here", text + L"\r\n");
    }
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || frame->sBatchName.empty() || (frame->fFlags & BF_LIBRARY))
        return BDError(ERROR_BD_HERE_OUTSIDE_BATCH, line.Mid(op.start).c_str());
    i++;
    bool strip = line.At(i) == L'-';
    if (strip) i++;
    CString word;
    int wordStart = 0;
    if (!GetNthArgument(line.c_str() + i, 0, &word, &wordStart)) return BDError(ERROR_INVALID_PARAMETER, line.Mid(op.start).c_str());
    op.end = i + (size_t)wordStart + word.size();
    bool quoted = word.find_first_of(L"\"`") != CString::npos;
    StripQuotes_S(word);
    if (word.empty()) return BDError(ERROR_INVALID_PARAMETER, line.Mid(op.start).c_str());
    CString text;
    if (int rc = ReadHereDocument(word, strip, !quoted, text)) return rc;
    return WriteHereFile(record, op, word.c_str(), text);
}

HANDLE OpenInputTarget(RedirRecord *record, const CString &line, Operator &op, int selected) {
    if (op.handleTarget) {
        int from = op.target.size() == 1 && iswdigit(op.target[0]) ? op.target[0] - L'0' : -1;
        if (from < 0) {
            BDError(ERROR_BD_REDIR_SYNTAX, OperatorText(line, op).c_str());
            return nullptr;
        }
        HANDLE copy = from < 3 ? DuplicateStd(from) : nullptr;
        if (!copy) BDError(ERROR_BD_BAD_HANDLE, OperatorText(line, op).c_str());
        return copy;
    }
    CString name = op.target;
    StripQuotes_S(name);
    if (IsUnknownDevice(name)) {
        BDError(ERROR_BD_UNKNOWN_DEVICE, name.c_str());
        return nullptr;
    }
    if (QueryIsClip(name.c_str())) {
        name = ClipboardFileName(0);
        if (int rc = CopyFromClipboard(name)) {
            BDError(rc, L"clip:");
            return nullptr;
        }
        if (selected >= 0) record->afClip[selected] = 3;
    } else if (QueryIsCON(name.c_str())) {
        name = L"CONIN$";
    } else if (QueryIsDevice(name)) {
        // opened by its name, which has lost any colon
    } else if (!CreateFullPathName(name, 0)) {
        return nullptr;
    }
    HANDLE h = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, Inheritable(),
                           OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        BDError(0, name.c_str());
        return nullptr;
    }
    return h;
}

int RedirectInput(CString &line, size_t at, RedirRecord *record) {
    Operator op;
    op.start = at;
    op.marks = 1 << REDIR_IN;
    ReadSourceDigit(line, at, op);
    SelectSource(op);
    int selected = op.sourceDigit < 0 ? REDIR_IN : op.sourceDigit < 3 ? op.sourceDigit : -1;
    size_t i = at + 1;
    bool here = line.At(i) == L'<';
    if (!here && line.At(i) == L'&') op.handleTarget = true, i++;
    if (here) {
        op.end = i + 1;
    } else if (ReadTarget(line, i, op)) {
        return 2;
    }
    if (selected >= 0 && record->afSaved[selected]) return BDError(85, OperatorText(line, op).c_str());
    if (here && ReadHereText(line, i, record, op)) return 2;
    if (op.target.empty()) return BDError(ERROR_BD_REDIR_SYNTAX, OperatorText(line, op).c_str());
    HANDLE h = OpenInputTarget(record, line, op, selected);
    if (!h) return 2;
    if (op.marks) {
        Install(record, op.marks, h);
        TLS_VARIABLES *tls = GetTLS();
        tls->hUnicodeInput = nullptr;
        if (selected == REDIR_IN && !op.handleTarget && QueryIsFileUnicode(h)) tls->hUnicodeInput = h;
    } else {
        CloseHandle(h);
    }
    line.erase(op.start, op.end - op.start);
    return 0;
}

}  // namespace

int Redirect(CString &line, RedirRecord *record) {
    if (ParseFlagsValue() & PF_NO_REDIRECTION) return 0;
    const wchar_t *quotes = *SkipWhiteSpace(line.c_str()) == L'(' ? L"`\"(" : L"`\"";
    for (;;) {
        int at = ScanIndex(line.c_str(), L">", quotes);
        if (at < 0) return 2;
        if (line.At(at)) {
            if (int rc = RedirectOutput(line, (size_t)at, record)) return rc;
            continue;
        }
        at = ScanIndex(line.c_str(), L"<", quotes);
        if (at < 0) return 2;
        if (!line.At(at)) return 0;
        if (int rc = RedirectInput(line, (size_t)at, record)) return rc;
    }
}

namespace {

// Put the saved standard handles back and close what redirection opened.
void RestoreHandles(RedirRecord *record) {
    HANDLE current[3] = {};
    bool any = false;
    for (int which = REDIR_IN; which <= REDIR_ERR; which++) {
        if (!record->afSaved[which]) continue;
        any = true;
        current[which] = CurrentStd(which);
        if (record->afClip[which] == 1 || record->afClip[which] == 2) CopyToClipboard(current[which]);
    }
    if (!any) return;
    for (int which = REDIR_IN; which <= REDIR_ERR; which++) {
        if (!record->afSaved[which]) continue;
        SetStdHandle(StdSlot(which), record->ahSaved[which]);
        record->ahSaved[which] = nullptr;
        record->afSaved[which] = 0;
    }
    for (int which = REDIR_IN; which <= REDIR_ERR; which++) {
        if (!current[which]) continue;
        bool seen = false;
        for (int k = REDIR_IN; k < which; k++) seen = seen || current[k] == current[which];
        if (!seen) CloseIfUnused(current[which], record);
        if (record->afClip[which]) {
            DeleteFileW(ClipboardFileName(record->afClip[which] == 3 ? 0 : record->afClip[which]).c_str());
            record->afClip[which] = 0;
        }
        ResetConsoleModes(which);
    }
    tty_yield(0);
}

}  // namespace

void Unredirect(RedirRecord *record, int *result, CString *tail) {
    GetTLS()->hUnicodeInput = nullptr;
    RestoreHandles(record);
    if (!record->sHereFile.empty()) {
        DeleteFileW(record->sHereFile.c_str());
        record->sHereFile.clear();
    }
    if (!record->fPipe) return;
    SetEnvironmentVariableW(L"BDXMPIPE", nullptr);
    if (record->fTempPipe) SwitchTempPipe(record);
    else WaitForRightSide(record, result, tail);
    record->fPipe = 0;
}

void ResetOutputEncoding() {
    GetTLS()->nOutputEncoding = aIniFile.UnicodeOutput ? 3 : aIniFile.UTF8Output ? 2 : 0;
}
