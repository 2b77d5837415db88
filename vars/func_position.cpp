// String functions by position: @LEFT, @RIGHT, @SUBSTR, @INSTR, @SUBST,
// @INSERT, @REPEAT, @REVERSE, @LEN, @INDEX, @COUNT, @CHAR, @UNICHAR,
// @ASCII and @UNICODE.  Positions count from 0 and are counted after the
// escape characters of the text have been resolved.
#include <algorithm>
#include <climits>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "vars/func_internal.h"

namespace {

// A count clamped to the length: at most len, never below 0.
size_t Clamp(long long n, size_t len) {
    if (n < 0) return 0;
    return (size_t)n > len ? len : (size_t)n;
}

// Read one integer ("%i") that must be the whole of text, blanks aside.
bool ReadWholeInteger(const CString &text, int *n) {
    int used = -1;
    if (Sscanf(text.c_str(), L" %i %n", n, &used) != 2) return false;
    return (size_t)used == text.size();
}

// Occurrences of search in text, left to right, not overlapping.
std::vector<size_t> FindAll(const CString &text, const CString &search) {
    std::vector<size_t> at;
    for (size_t p = text.find(search); p != CString::npos; p = text.find(search, p + search.size()))
        at.push_back(p);
    return at;
}

CString UpperCopy(const CString &text) {
    CString s = text;
    for (wchar_t &c : s) c = ToUpperChar(c);
    return s;
}

}  // namespace

// @LEFT[n,string], @RIGHT[n,string]: a negative n keeps all but |n|
// characters of the other end.
int Func_Left(FUNCCALL &call) {
    int n = 0;
    CString text;
    if (!ReadCountAndText(call.args, &n, &text)) return ERROR_INVALID_PARAMETER;
    UnEscapeLine(text);
    size_t len = text.size();
    size_t count = n >= 0 ? Clamp(n, len) : len - Clamp(-(long long)n, len);
    call.args = call.nCase == FC_left ? text.Left(count) : text.Right(count);
    return 0;
}

int Func_Right(FUNCCALL &call) { return Func_Left(call); }

// The part of text that a start position and a length pick: the length
// counts to the right from start, or, when negative, the characters to the
// left of start.  Both are clamped to the text.
static CString Slice(const CString &text, size_t from, long long length) {
    if (length >= 0) return text.Mid(from, Clamp(length, text.size() - from));
    size_t count = Clamp(-length, from);
    return text.Mid(from - count, count);
}

// @SUBSTR[string,start[,length]]: the string ends at the first comma outside
// quotes; a negative length takes the characters left of start.
int Func_Substr(FUNCCALL &call) {
    CString text, rest;
    if (!SplitAtComma(call.args, &text, &rest)) return ERROR_INVALID_PARAMETER;
    int start = 0, length = 0;
    if (Sscanf(rest.c_str(), L"%i", &start) != 1 || start < 0) return ERROR_INVALID_PARAMETER;
    long long count = INT_MAX;
    if (Sscanf(rest.c_str(), L"%i ,%i", &start, &length) == 2) count = length;
    UnEscapeLine(text);
    call.args = Slice(text, Clamp(start, text.size()), count);
    return 0;
}

// @INSTR[start,length,string]: a negative start counts from the end, a
// missing length takes the rest, a negative one takes the characters left
// of start.
int Func_Instr(FUNCCALL &call) {
    int start = 0, length = 0, offset = -1;
    if (Sscanf(call.args.c_str(), L"%i", &start) != 1) return ERROR_INVALID_PARAMETER;
    int got = Sscanf(call.args.c_str(), L"%i ,%i %*1[,]%n", &start, &length, &offset);
    if (offset < 0) return ERROR_INVALID_PARAMETER;
    CString text = call.args.Mid((size_t)offset);
    UnEscapeLine(text);
    size_t len = text.size();
    size_t from = start >= 0 ? Clamp(start, len) : len - Clamp(-(long long)start, len);
    call.args = Slice(text, from, got < 3 ? (long long)INT_MAX : length);
    return 0;
}

// @INSERT[n,new,string] puts new in front of position n; @SUBST[n,new,string]
// writes it over the characters from n.  A position past the end appends.
int Func_Insert(FUNCCALL &call) {
    int n = 0;
    CString rest, add, text;
    if (!ReadCountAndText(call.args, &n, &rest) || n < 0) return ERROR_INVALID_PARAMETER;
    if (!SplitAtComma(rest, &add, &text)) return ERROR_INVALID_PARAMETER;
    UnEscapeLine(add);
    UnEscapeLine(text);
    size_t at = Clamp(n, text.size());
    if (call.nCase == FC_insert) text.insert(at, add);
    else text.replace(at, add.size(), add);
    call.args = text;
    return 0;
}

int Func_Subst(FUNCCALL &call) { return Func_Insert(call); }

// @REPEAT[c,n]: the first character n times; what follows it up to the comma
// is ignored.  An escaped first character counts as that character.
int Func_Repeat(FUNCCALL &call) {
    const CString &args = call.args;
    wchar_t c = 0;
    int n = 0;
    if (args.At(0) == ActiveEscapeChar() && args.size() > 1) {
        c = EscapedCharacter(args[1]);
        if (Sscanf(args.c_str() + 2, L"%*[^,],%i", &n) != 1) return ERROR_INVALID_PARAMETER;
    } else if (Sscanf(args.c_str(), L"%c%*[^,],%i", &c, &n) != 2) {
        return ERROR_INVALID_PARAMETER;
    }
    if (n < 0) return ERROR_INVALID_PARAMETER;
    if ((size_t)n > kMaxFunctionValue) return ERROR_BD_RESULT_TOO_LONG;
    call.args.assign((size_t)n, c);
    return 0;
}

// @REVERSE[string]: characters in reverse order; a surrogate pair stays one
// character.
int Func_Reverse(FUNCCALL &call) {
    CString text = call.args;
    UnEscapeLine(text);
    std::reverse(text.begin(), text.end());
    for (size_t i = 0; i + 1 < text.size(); i++) {
        if (IS_LOW_SURROGATE(text[i]) && IS_HIGH_SURROGATE(text[i + 1])) {
            std::swap(text[i], text[i + 1]);
            i++;
        }
    }
    call.args = text;
    return 0;
}

int Func_Len(FUNCCALL &call) {
    CString text = call.args;
    UnEscapeLine(text);
    return SetNumber(call.args, (long long)text.size());
}

// @INDEX[string,search[,n]]: the position of the n-th occurrence (from the
// end when n is negative), case-insensitive; -1 when there is none.
int Func_Index(FUNCCALL &call) {
    CString text, search, rest;
    if (!SplitAtComma(call.args, &text, &search)) return ERROR_INVALID_PARAMETER;
    int n = 1;
    if (SplitAtComma(CString(search), &search, &rest) && !ReadWholeInteger(rest, &n)) return ERROR_INVALID_PARAMETER;
    UnEscapeLine(text);
    UnEscapeLine(search);
    if (search.empty()) return ERROR_INVALID_PARAMETER;
    std::vector<size_t> at = FindAll(UpperCopy(text), UpperCopy(search));
    long long count = (long long)at.size();
    long long which = n > 0 ? n - 1LL : count + n;
    return SetNumber(call.args, n != 0 && which >= 0 && which < count ? (long long)at[(size_t)which] : -1);
}

// @COUNT[search,string]: how often search occurs in string, exactly as
// written, occurrences not overlapping.
int Func_Count(FUNCCALL &call) {
    CString search, text;
    if (!SplitAtComma(call.args, &search, &text)) return ERROR_INVALID_PARAMETER;
    UnEscapeLine(search);
    UnEscapeLine(text);
    if (search.empty()) return ERROR_INVALID_PARAMETER;
    return SetNumber(call.args, (long long)FindAll(text, search).size());
}

// @CHAR[n ...]: UTF-16 code units; @UNICHAR[n ...]: Unicode code points.
// Numbers are separated by blanks or commas.
int Func_Char(FUNCCALL &call) {
    bool codePoints = call.nCase == FC_unichar;
    CString out;
    const wchar_t *p = call.args.c_str();
    for (;;) {
        while (*p == L' ' || *p == L'\t' || *p == L',') p++;
        if (!*p) break;
        int n = 0, used = 0;
        if (Sscanf(p, L"%i%n", &n, &used) != 2) return ERROR_INVALID_PARAMETER;
        p += used;
        if (n <= 0 || n > (codePoints ? 0x10FFFF : 0xFFFF)) return ERROR_INVALID_PARAMETER;
        if (codePoints && n >= 0xD800 && n <= 0xDFFF) return ERROR_INVALID_PARAMETER;
        if (n > 0xFFFF) {
            out += (wchar_t)(0xD800 + ((n - 0x10000) >> 10));
            out += (wchar_t)(0xDC00 + ((n - 0x10000) & 0x3FF));
        } else {
            out += (wchar_t)n;
        }
    }
    if (out.empty()) return ERROR_INVALID_PARAMETER;
    call.args = out;
    return 0;
}

// @ASCII[string]: the UTF-16 code unit of each character; @UNICODE[string]:
// the code point of each, a surrogate pair giving one.  Blank separated.
int Func_Ascii(FUNCCALL &call) {
    CString text = call.args;
    UnEscapeLine(text);
    CString out;
    for (size_t i = 0; i < text.size(); i++) {
        unsigned value = text[i];
        if (call.nCase == FC_unicode && IS_HIGH_SURROGATE(text[i]) && IS_LOW_SURROGATE(text.At(i + 1))) {
            value = 0x10000 + ((value - 0xD800) << 10) + (text[i + 1] - 0xDC00u);
            i++;
        }
        if (!out.empty()) out += L' ';
        out += FormatStr(L"%u", value);
    }
    call.args = out;
    return 0;
}
