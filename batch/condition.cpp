// TestCondition, the one evaluator of tests behind IF, IFF, DO WHILE and
// UNTIL, CASE and ON CONDITION, and the IF command.  Words are read and
// expanded one at a time; connectives work strictly from left to right.
#include <cwchar>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "files/paths.h"
#include "files/ranges.h"
#include "vars/eval.h"
#include "vars/lists.h"
#include "vars/regex.h"
#include "vars/vars.h"
#include <tlhelp32.h>

namespace {

constexpr int kWordFlags = 0x16000;  // brackets and parentheses bind, no comma split

// The reader over the test's words.
struct Reader {
    CString &line;
    int index = 0;
    bool failed = false;

    // The next word, expanded, unescaped and trimmed; false at the end.
    bool Next(CString *word, bool expand = true) {
        int flags = kWordFlags | (index ? ARG_NO_SWITCH_SPLIT : 0);
        if (!GetNthArgument(line.c_str(), index | flags, word)) return false;
        index++;
        if (expand && VariableExpansion(*word, 0x10)) {
            failed = true;
            return false;
        }
        UnEscapeLine(*word);
        word->Trim();
        return true;
    }
    // The raw next word, without consuming it.
    bool Peek(CString *word) {
        return GetNthArgument(line.c_str(), index | kWordFlags | ARG_NO_SWITCH_SPLIT, word) != 0;
    }
};

bool OpensFor(const CString &name, DWORD access) {
    CString n = name;
    StripQuotes_S(n);
    HANDLE h = CreateFileW(n.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) return false;
    CloseHandle(h);
    return true;
}

// A top-level window whose title begins with the text (case ignored).
HWND FindWindowByTitle(const CString &title) {
    struct Search { CString title; HWND found; } search{title, nullptr};
    StripQuotes_S(search.title);
    EnumWindows(
        [](HWND w, LPARAM p) -> BOOL {
            Search *s = reinterpret_cast<Search *>(p);
            wchar_t text[512];
            int n = GetWindowTextW(w, text, 512);
            if (n && StrNICmp(text, s->title.c_str(), s->title.size()) == 0) {
                s->found = w;
                return FALSE;
            }
            return TRUE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.found;
}

bool LabelExists(const CString &label) {
    BATCHFRAME *f = CurrentFrame();
    if (!f) return false;
    long long offset = f->lOffset;
    int line = f->nLineNumber;
    bool found = FindLabel(label, 0) == 0 && !label.EqualsNoCase(L"eof");
    if (CurrentFrame() == f) {
        f->lOffset = offset;
        f->nLineNumber = line;
        if (f->hFile != BTM_IN_MEMORY && f->hFile != INVALID_HANDLE_VALUE) {
            LARGE_INTEGER to;
            to.QuadPart = offset;
            SetFilePointerEx(f->hFile, to, nullptr, FILE_BEGIN);
        }
    }
    return found;
}

// A running process of that name (with or without ".exe").
bool ProcessRunning(CString name) {
    StripQuotes_S(name);
    HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snap == INVALID_HANDLE_VALUE) return false;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    bool found = false;
    for (BOOL ok = Process32FirstW(snap, &entry); ok && !found; ok = Process32NextW(snap, &entry)) {
        CString exe = entry.szExeFile;
        found = exe.EqualsNoCase(name.c_str()) || exe.EqualsNoCase((name + L".exe").c_str());
    }
    CloseHandle(snap);
    return found;
}

// Tests of names that other parts of the shell own.  Plug-ins and library
// functions are not loaded by this build, so those tests are false.
int QueryNamedFeature(const CString &k, const CString &operand) {
    if (k.EqualsNoCase(L"isalias")) return GetAlias(operand.c_str(), nullptr) != nullptr;
    if (k.EqualsNoCase(L"isfunction")) return GetFunction(operand.c_str(), nullptr) != nullptr;
    if (k.EqualsNoCase(L"isapp")) return ProcessRunning(operand);
    return 0;
}

// Word 1 as a keyword test; -1 when it is none.
int KeywordTest(const CString &keyword, const CString &operand) {
    const CString &k = keyword;
    if (k.EqualsNoCase(L"exist")) {
        wchar_t last = operand.empty() ? 0 : operand.back();
        return last == L'\\' || last == L'/' ? QueryFileAttributes(operand, FILE_ATTRIBUTE_DIRECTORY, 0)
                                             : QueryFileAttributes(operand, 0, 0);
    }
    if (k.EqualsNoCase(L"isinternal")) return aHooks.pfnFindCommand(operand.c_str(), true, nullptr, nullptr) >= 0;
    if (k.EqualsNoCase(L"isbatch")) {
        CString n = operand;
        StripQuotes_S(n);
        size_t dot = n.find_last_of(L".\\/");
        CString ext = dot != CString::npos && n[dot] == L'.' ? n.Mid(dot) : CString();
        return ext.EqualsNoCase(L".btm") || ext.EqualsNoCase(L".bat") || ext.EqualsNoCase(L".cmd");
    }
    if (k.EqualsNoCase(L"isfile")) return QueryFileAttributes(operand, 0, FILE_ATTRIBUTE_DIRECTORY);
    if (k.EqualsNoCase(L"isdir") || k.EqualsNoCase(L"direxist"))
        return QueryFileAttributes(operand, FILE_ATTRIBUTE_DIRECTORY, 0);
    if (k.EqualsNoCase(L"islabel")) return LabelExists(operand);
    if (k.EqualsNoCase(L"defined")) {
        static const wchar_t *const dynamic[] = {L"CMDCMDLINE", L"CMDEXTVERSION", L"RANDOM", L"TIME", L"DATE", L"CD"};
        for (const wchar_t *d : dynamic)
            if (operand.EqualsNoCase(d)) return 1;
        return QueryEnvVar(operand.c_str(), nullptr);
    }
    if (k.EqualsNoCase(L"cmdextversion")) return 1;
    if (k.EqualsNoCase(L"iswindow")) return FindWindowByTitle(operand) != nullptr;
    if (k.EqualsNoCase(L"isvisible")) {
        HWND w = FindWindowByTitle(operand);
        return w && IsWindowVisible(w);
    }
    if (k.EqualsNoCase(L"ishung")) {
        HWND w = FindWindowByTitle(operand);
        return w && IsHungAppWindow(w);
    }
    if (k.EqualsNoCase(L"isreadable")) return OpensFor(operand, GENERIC_READ);
    if (k.EqualsNoCase(L"iswriteable")) return OpensFor(operand, GENERIC_READ | GENERIC_WRITE);
    if (k.EqualsNoCase(L"issymlink")) return QueryFileAttributes(operand, FILE_ATTRIBUTE_REPARSE_POINT, 0);
    if (k.EqualsNoCase(L"isalias") || k.EqualsNoCase(L"isfunction") || k.EqualsNoCase(L"isplugin") ||
        k.EqualsNoCase(L"plugin") || k.EqualsNoCase(L"islibrary") || k.EqualsNoCase(L"isapp"))
        return QueryNamedFeature(k, operand);
    return -1;
}

// The difference of two sides: numbers of any length exactly through the
// evaluator, anything else in the shell's string order.
int Difference(const CString &left, const CString &right, bool errorlevel) {
    if (errorlevel) {
        int n = 0;
        Sscanf(right.c_str(), L"%d", &n);
        int d = GetTLS()->nExitCode - n;
        return d < 0 ? -1 : d > 0;
    }
    if (QueryIsNumeric(left.c_str()) && QueryIsNumeric(right.c_str())) {
        CString expr = FormatStr(L"%s-(%s)=0.%d", left.c_str(), right.c_str(), aIniFile.EvalMax);
        if (EvaluateExpressionQuiet(expr) == 0) return expr.At(0) == L'-' ? -1 : expr == L"0" ? 0 : 1;
    }
    return CompareStrings(left.c_str(), right.c_str(), COMPARE_PLAIN);
}

// Apply a comparison operator to d; -1 for an unknown operator.
int ApplyOperator(const CString &op, int d, const CString &left, const CString &right) {
    if (op.EqualsNoCase(L"eq") || op.EqualsNoCase(L"eql") || op.EqualsNoCase(L"equ")) return d == 0;
    if (op.EqualsNoCase(L"gt") || op.EqualsNoCase(L"gtr")) return d > 0;
    if (op.EqualsNoCase(L"ge") || op.EqualsNoCase(L"geq")) return d >= 0;
    if (op.EqualsNoCase(L"lt") || op.EqualsNoCase(L"lss")) return d < 0;
    if (op.EqualsNoCase(L"le") || op.EqualsNoCase(L"leq")) return d <= 0;
    if (op.EqualsNoCase(L"neq") || op.EqualsNoCase(L"ne") || op == L"!=") return d != 0;
    if (op.EqualsNoCase(L"eqc")) return lstrcmpW(left.c_str(), right.c_str()) == 0;
    return -1;
}

// A comparison with word 1 as its left side.
int Comparison(Reader &r, CString left, CString opWord, bool haveOp) {
    int at = ScanIndex(left.c_str(), L"=", L"`\"");
    if (at > 0 && left.At(at)) {
        opWord = left.Mid(at);
        left.Truncate(at);
        haveOp = true;
        r.index--;  // the word behind was not the operator: read it again
    }
    if (!haveOp) return -1;
    CString op = opWord, right;
    bool haveRight = false;
    if (op.At(0) == L'=' && op.At(1) != L'~') {
        size_t n = op.find_first_not_of(L'=');
        right = n == CString::npos ? CString() : op.Mid(n);
        haveRight = !right.empty();
        op = aGlobals.fCmdCompatible ? L"EQC" : L"EQ";
    }
    bool errorlevel = left.EqualsNoCase(L"errorlevel");
    if (errorlevel && !haveRight && (iswdigit(op.At(0)) || op.At(0) == L'-' || op.At(0) == L'+')) {
        right = op;
        op = L"GE";
        haveRight = true;
    }
    if (!haveRight && !r.Next(&right)) return -1;
    if (op == L"=~" || op == L"!~") {
        if (right.StartsWith(L"::")) right.erase(0, 2);
        int match = RegularExpressionMatch(right, left);
        if (match < 0) return -1;
        return op == L"=~" ? match : !match;
    }
    int d = Difference(left, right, errorlevel);
    return ApplyOperator(op, d, left, right);
}

// One test of a chain, with its optional NOT; -1 on a syntax error.
int OneTest(Reader &r, int mode, bool *numeric) {
    CString w1, w2;
    if (!r.Next(&w1)) return -1;
    bool negate = false;
    if (w1.EqualsNoCase(L"not") || w1 == L"!") {
        negate = true;
        if (!r.Next(&w1)) return -1;
    }
    auto result = [&](int v) { return v < 0 ? v : (v ? 1 : 0) ^ (negate ? 1 : 0); };
    CString lower = w1;
    lower.MakeLower();
    if (w1.At(0) == L'(' && (lower.find(L" .or. ") != CString::npos || lower.find(L" .and. ") != CString::npos ||
                             lower.find(L" .xor. ") != CString::npos)) {
        CString group = w1.Mid(1);
        if (!group.empty() && group.back() == L')') group.pop_back();
        return result(TestCondition(group, 0));
    }
    bool haveW2 = r.Next(&w2);
    if (r.failed) return -1;
    if (!haveW2 && mode == 1 && w1.find(L'=') == CString::npos) return -1;
    if (mode == 2 && (!haveW2 || w2.EqualsNoCase(L"then")) && w1.find(L"==") == CString::npos) {
        if (haveW2) r.index--;
        int n = 0;
        Sscanf(w1.c_str(), L"%d", &n);
        *numeric = true;
        return result(n > 0);
    }
    int k = KeywordTest(w1, w2);
    if (k >= 0) return result(k);
    return result(Comparison(r, w1, w2, haveW2));
}

}  // namespace

int TestCondition(CString &line, int mode) {
    Reader r{line};
    int result = 0, sticky = 0, pendingXor = 255;
    bool pendingAnd = false;
    for (;;) {
        bool numeric = false;
        int value = OneTest(r, mode, &numeric);
        if (value < 0 || r.failed) return -1;
        if (sticky) value = 1;
        if (pendingAnd && !result) result = 0;
        else result = pendingXor == 255 ? value : (pendingXor ^ value);
        CString next;
        if (!r.Peek(&next)) {
            if (mode == 1) return -1;
            if (mode == 2) NextArgument_S(line, r.index);
            return result;
        }
        if (next.At(0) == L'.' && (next.EqualsNoCase(L".or.") || next.EqualsNoCase(L".xor.") ||
                                   next.EqualsNoCase(L".and."))) {
            r.index++;
            if (next.EqualsNoCase(L".or.")) sticky = result, pendingAnd = false, pendingXor = 0;
            else if (next.EqualsNoCase(L".xor.")) pendingXor = result, sticky = 0, pendingAnd = false;
            else pendingAnd = !result, sticky = 0, pendingXor = 0;
            continue;
        }
        if (mode) NextArgument_S(line, r.index);
        return result;
    }
}

namespace {

// The command of an IF: a bracket group may be followed by ELSE and a
// second group; lines are read on while a group is open.
int SplitElse(CString &command, bool test) {
    if (command.At(0) != L'(') return test ? 0 : -1;
    int end = ScanIndex(command.c_str(), L")", L"`\"([");
    if (end >= 0 && !command.At(end) && ReadCommandGroup(command, 0, 0)) return -2;
    end = ScanIndex(command.c_str(), L")", L"`\"([");
    if (end < 0) return -2;
    CString rest = command.Mid(end + 1);
    CString word;
    GetNthArgument(rest.c_str(), 0, &word);
    if (!word.EqualsNoCase(L"else")) return test ? 0 : -1;
    NextArgument_S(rest, 1);
    rest.TrimLeft();
    if (rest.At(0) == L'(') {
        int close = ScanIndex(rest.c_str(), L")", L"`\"([");
        if (close >= 0 && !rest.At(close)) ReadCommandGroup(rest, 0, 0);
    }
    if (test) command.Truncate(end + 1);
    else command = rest;
    return 0;
}

}  // namespace

int ReadCommandTest(const CString &args, int mode, int *test, CString &command) {
    CString second;
    if (!GetNthArgument(args.c_str(), 1, &second)) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    command = args;
    *test = TestCondition(command, mode);
    command.TrimLeft();
    if (*test < 0 || command.empty()) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    return 0;
}

int If_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"I", &mask, SW_FIRST_ONLY | SW_KEEP_UNKNOWN, nullptr)) return 2;
    CString line;
    int test;
    if (int rc = ReadCommandTest(args, 1, &test, line)) return rc;
    line.TrimLeft(L"@ \t");
    int split = SplitElse(line, test != 0);
    if (split == -2) return 2;
    if (split == -1) return 2;
    return aHooks.pfnCommand(line, CMD_DEBUG);
}
