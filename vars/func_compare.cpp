// String tests and comparisons: @SIMILAR, @LCS, @WILD, @COMPARE, @EMAIL,
// @NUMERIC, @DIGITS, and @ALTNAME, the short name of a file.
#include <cwctype>
#include "base/args.h"
#include "base/locale.h"
#include "vars/func_internal.h"

namespace {

// Both halves of "a,b", unescaped.
bool TwoTexts(const CString &args, CString *a, CString *b) {
    if (!SplitAtComma(args, a, b)) return false;
    UnEscapeLine(*a);
    UnEscapeLine(*b);
    return true;
}

// The sound code of a word: its first letter and three digits from the
// consonants that follow (b f p v 1, c g j k q s x z 2, d t 3, l 4, m n 5,
// r 6).  Vowels separate equal codes, h and w do not.  Empty without a letter.
CString SoundCode(const CString &text) {
    static const char kCodes[] = "01230120022455012623010202";  // a..z
    CString code;
    wchar_t last = 0;
    for (wchar_t c : text) {
        c = ToUpperChar(c);
        if (c < L'A' || c > L'Z') continue;
        wchar_t digit = (wchar_t)kCodes[c - L'A'];
        if (code.empty()) {
            code += c;
            last = digit;
            continue;
        }
        if (c == L'H' || c == L'W') continue;
        if (digit != L'0' && digit != last) code += digit;
        last = digit;
        if (code.size() == 4) break;
    }
    if (!code.empty()) code.append(4 - code.size(), L'0');
    return code;
}

// Wildcard match without case: "*" any run, "?" one character, "[...]" a
// set with ranges ("a-z"), "[!...]" or "[^...]" its complement.
bool SetHas(const CString &pattern, size_t &p, wchar_t c) {
    size_t i = p + 1;
    bool negate = pattern.At(i) == L'!' || pattern.At(i) == L'^';
    if (negate) i++;
    bool hit = false;
    for (bool firstChar = true; i < pattern.size() && (firstChar || pattern[i] != L']'); i++, firstChar = false) {
        wchar_t lo = ToUpperChar(pattern[i]), hi = lo;
        if (pattern.At(i + 1) == L'-' && i + 2 < pattern.size() && pattern[i + 2] != L']') {
            hi = ToUpperChar(pattern[i + 2]);
            i += 2;
        }
        if (c >= lo && c <= hi) hit = true;
    }
    p = i;  // at the closing bracket, or the end
    return hit != negate;
}

bool WildMatch(const CString &pattern, const CString &text) {
    size_t p = 0, t = 0, starP = CString::npos, starT = 0;
    while (t < text.size()) {
        wchar_t c = ToUpperChar(text[t]);
        if (p < pattern.size() && pattern[p] == L'*') {
            starP = ++p;
            starT = t;
            continue;
        }
        if (p < pattern.size()) {
            size_t q = p;
            bool ok = pattern[p] == L'?' || (pattern[p] == L'[' ? SetHas(pattern, q, c) : ToUpperChar(pattern[p]) == c);
            if (ok) {
                p = q + 1;
                t++;
                continue;
            }
        }
        if (starP == CString::npos) return false;
        p = starP;
        t = ++starT;
    }
    while (p < pattern.size() && pattern[p] == L'*') p++;
    return p == pattern.size();
}

bool IsAtomChar(wchar_t c) {
    return (c < 0x80 && iswalnum(c)) || (c && wcschr(L"!#$%&'*+/=?^_`{|}~-", c));
}

bool IsMailDomain(const CString &domain) {
    size_t labels = 0, start = 0;
    for (;;) {
        size_t dot = domain.find(L'.', start);
        CString label = domain.substr(start, dot == CString::npos ? CString::npos : dot - start);
        if (label.empty() || label.size() > 63 || label.front() == L'-' || label.back() == L'-') return false;
        for (wchar_t c : label)
            if (!(c < 0x80 && (iswalnum(c) || c == L'-'))) return false;
        labels++;
        if (dot == CString::npos) {
            bool letters = label.size() >= 2;
            for (wchar_t c : label) letters = letters && iswalpha(c);
            return labels >= 2 && letters;
        }
        start = dot + 1;
    }
}

}  // namespace

// @SIMILAR[a,b]: 1 when the two texts sound alike (their sound codes agree).
int Func_Similar(FUNCCALL &call) {
    CString a, b;
    if (!TwoTexts(call.args, &a, &b)) return ERROR_INVALID_PARAMETER;
    CString x = SoundCode(a), y = SoundCode(b);
    return SetNumber(call.args, !x.empty() && x == y);
}

// @LCS[a,b]: the longest stretch that both texts hold, exactly as written;
// of several as long, the first in a.
int Func_Lcs(FUNCCALL &call) {
    CString a, b;
    if (!TwoTexts(call.args, &a, &b)) return ERROR_INVALID_PARAMETER;
    std::vector<size_t> row(b.size() + 1, 0), next(b.size() + 1, 0);
    size_t best = 0, end = 0;
    for (size_t i = 1; i <= a.size(); i++) {
        for (size_t j = 1; j <= b.size(); j++) {
            next[j] = a[i - 1] == b[j - 1] ? row[j - 1] + 1 : 0;
            if (next[j] > best) best = next[j], end = i;
        }
        row.swap(next);
    }
    call.args = a.Mid(end - best, best);
    return 0;
}

// @WILD[string,pattern]: 1 when the string matches the wildcard pattern.
int Func_Wild(FUNCCALL &call) {
    CString text, pattern;
    if (!TwoTexts(call.args, &text, &pattern)) return ERROR_INVALID_PARAMETER;
    return SetNumber(call.args, WildMatch(pattern, text));
}

// @COMPARE[a,b]: 1 when the two texts are the same, case included.
int Func_Compare(FUNCCALL &call) {
    CString a, b;
    if (!TwoTexts(call.args, &a, &b)) return ERROR_INVALID_PARAMETER;
    return SetNumber(call.args, a == b);
}

// @EMAIL[address]: 1 when the text has the form of a mail address.
int Func_Email(FUNCCALL &call) {
    CString text = call.args;
    text.Trim();
    UnEscapeLine(text);
    size_t at = text.rfind(L'@');
    bool ok = at != CString::npos && at > 0 && at <= 64;
    CString local = ok ? text.Left(at) : CString();
    if (ok) ok = local.front() != L'.' && local.back() != L'.' && local.find(L"..") == CString::npos;
    for (wchar_t c : local) ok = ok && (c == L'.' || IsAtomChar(c));
    return SetNumber(call.args, ok && IsMailDomain(text.Mid(at + 1)));
}

// @DIGITS[text]: 1 when the text is digits only.  @NUMERIC[text]: 1 when it
// is a number: a sign, digits with thousands characters between them, and
// the decimal character with more digits.
int Func_Numeric(FUNCCALL &call) {
    CString text = call.args;
    text.Trim();
    UnEscapeLine(text);
    size_t i = 0, digits = 0;
    if (call.nCase == FC_numeric && (text.At(0) == L'-' || text.At(0) == L'+')) i++;
    wchar_t decimal = QueryDecimalChar(), thousands = QueryThousandsChar();
    bool seenDecimal = false;
    for (; i < text.size(); i++) {
        wchar_t c = text[i];
        if (c >= L'0' && c <= L'9') digits++;
        else if (call.nCase == FC_digits) break;
        else if (c == decimal && !seenDecimal) seenDecimal = true;
        else if (c == thousands && !seenDecimal && i > 0 && iswdigit(text[i - 1]) && iswdigit(text.At(i + 1))) continue;
        else break;
    }
    return SetNumber(call.args, digits > 0 && i == text.size());
}

// @ALTNAME[file]: the short (8.3) name of a file, or its name when it has
// none.
int Func_AltName(FUNCCALL &call) {
    CString name = call.args;
    name.Trim();
    name = WithoutEnclosingQuotes(name);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW(name.c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    FindClose(h);
    call.args = data.cAlternateFileName[0] ? data.cAlternateFileName : data.cFileName;
    return 0;
}
