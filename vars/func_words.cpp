// Words, fields and lines: @WORD, @WORDS, @FIELD, @FIELDS, @CAPS, @LINE and
// @LINES, and the reader of text files that @LINE and @EXECSTR share.  A
// word is a run of characters between delimiters; a field is what lies
// between two single delimiters, so two delimiters in a row make an empty
// field.  Inside words, an escaped character and a double-quoted stretch
// never split.
#include <cwctype>
#include "base/args.h"
#include "base/format.h"
#include "vars/func_internal.h"

namespace {

struct Span {
    size_t b, e;
};

// An optional first argument in double quotes is the delimiter set; it is
// taken off rest.  Without one the set stays as given.
void TakeDelimiterSet(CString &rest, CString *delims) {
    CString first, after;
    if (rest.At(0) != L'"' || !SplitAtComma(rest, &first, &after)) return;
    first.TrimRight();
    if (first.size() < 2 || first.back() != L'"') return;
    first = first.Mid(1, first.size() - 2);
    UnEscapeLine(first);
    *delims = first;
    rest = after;
}

// The index behind the character (or escape pair, or quoted stretch) at i.
size_t StepOver(const CString &s, size_t i, bool quotes) {
    if (s[i] == ActiveEscapeChar() && i + 1 < s.size()) return i + 2;
    if (quotes && s[i] == L'"') {
        size_t q = s.find(L'"', i + 1);
        return q == CString::npos ? s.size() : q + 1;
    }
    return i + 1;
}

std::vector<Span> Split(const CString &s, const CString &delims, bool fields) {
    std::vector<Span> out;
    bool quotes = delims.find(L'"') == CString::npos;
    auto isDelim = [&](size_t i) { return delims.find(s[i]) != CString::npos; };
    size_t n = s.size(), i = 0;
    if (!n) return out;
    if (fields) {
        size_t b = 0;
        while (i < n) {
            if (isDelim(i)) {
                out.push_back({b, i});
                b = ++i;
            } else {
                i = StepOver(s, i, quotes);
            }
        }
        out.push_back({b, n});
        return out;
    }
    while (i < n) {
        while (i < n && isDelim(i)) i++;
        if (i >= n) break;
        size_t b = i;
        while (i < n && !isDelim(i)) i = StepOver(s, i, quotes);
        out.push_back({b, i});
    }
    return out;
}

// Reads a number of digits at p; false when there is no digit.
bool ReadDigits(const wchar_t *&p, int *n) {
    if (!iswdigit(*p)) return false;
    int used = 0;
    Sscanf(p, L"%d%n", n, &used);
    p += used;
    return true;
}

// The word selector "[-]n[+k][,m|,+k]," in front of the string.  extra is the
// count of words behind the n-th; text receives the string.
bool ReadSelector(const CString &rest, bool *fromEnd, int *n, int *extra, CString *text) {
    const wchar_t *p = SkipWhiteSpace(rest.c_str());
    *fromEnd = *p == L'-';
    if (*fromEnd) p++;
    if (!ReadDigits(p, n)) return false;
    *extra = 0;
    if (*p == L'+' && iswdigit(p[1])) ReadDigits(++p, extra);
    while (*p && *p != L',') p++;
    if (!*p) return false;
    p++;
    // ",m" or ",+k" counts only when another comma follows it.
    const wchar_t *q = SkipWhiteSpace(p);
    bool plus = *q == L'+';
    int m = 0;
    if (plus) q++;
    if (ReadDigits(q, &m) && *(q = SkipWhiteSpace(q)) == L',') {
        *extra = plus ? m : m - *n;
        p = q + 1;
    }
    *text = CString(p);
    return true;
}

// Bytes as text: a byte-order mark decides, else UTF-8 when the bytes are
// valid UTF-8, else the ANSI code page.
CString DecodeText(const std::string &bytes) {
    if (bytes.size() >= 2 && (unsigned char)bytes[0] == 0xFF && (unsigned char)bytes[1] == 0xFE)
        return CString((const wchar_t *)(bytes.data() + 2), (bytes.size() - 2) / 2);
    size_t skip = bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    const char *p = bytes.data() + skip;
    int length = (int)(bytes.size() - skip);
    if (!length) return CString();
    bool utf8 = skip || MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, p, length, nullptr, 0) > 0;
    return FromCodePage(p, length, utf8 ? CP_UTF8 : CP_ACP);
}

}  // namespace

int ReadTextLines(const wchar_t *fileName, std::vector<CString> *lines) {
    HANDLE h = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    LARGE_INTEGER size{};
    GetFileSizeEx(h, &size);
    std::string bytes((size_t)size.QuadPart, '\0');
    DWORD got = 0;
    size_t have = 0;
    while (have < bytes.size() && ReadFile(h, bytes.data() + have, (DWORD)(bytes.size() - have), &got, nullptr) && got)
        have += got;
    bytes.resize(have);
    CloseHandle(h);
    CString text = DecodeText(bytes);
    size_t eof = text.find(L'\x1A');
    if (eof != CString::npos) text.resize(eof);
    lines->clear();
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find_first_of(L"\r\n", at);
        if (end == CString::npos) end = text.size();
        lines->push_back(text.substr(at, end - at));
        if (end < text.size() && text[end] == L'\r' && text.At(end + 1) == L'\n') end++;
        at = end + 1;
    }
    return 0;
}

// @WORD[["delims",][-]n[,m|+k],string], @FIELD (the same), @WORDS and
// @FIELDS[["delims",]string].  Words count from 0; "-" counts from the last.
int Func_Word(FUNCCALL &call) {
    bool fields = call.nCase == FC_field || call.nCase == FC_fields;
    CString delims = L" ,\t", rest = call.args;
    TakeDelimiterSet(rest, &delims);
    if (call.nCase == FC_words || call.nCase == FC_fields)
        return SetNumber(call.args, (long long)Split(rest, delims, fields).size());
    bool fromEnd = false;
    int n = 0, extra = 0;
    CString text;
    if (!ReadSelector(rest, &fromEnd, &n, &extra, &text)) return ERROR_INVALID_PARAMETER;
    std::vector<Span> spans = Split(text, delims, fields);
    long long count = (long long)spans.size(), first = n, last = (long long)n + extra;
    if (fromEnd) {
        first = count - 1 - last;
        last = count - 1 - n;
        if (first < 0) first = 0;
    }
    if (last >= count) last = count - 1;
    if (extra < 0 || first >= count || last < first) {
        call.args.Empty();
        return 0;
    }
    CString value = text.Mid(spans[(size_t)first].b, spans[(size_t)last].e - spans[(size_t)first].b);
    UnEscapeLine(value);
    call.args = value;
    return 0;
}

// @CAPS[["delims",]string]: the first letter of each word in upper case, the
// others as they are.  Words are separated by blanks and tabs by default.
int Func_Caps(FUNCCALL &call) {
    CString delims = L" \t", text = call.args;
    TakeDelimiterSet(text, &delims);
    UnEscapeLine(text);
    bool atStart = true;
    for (wchar_t &c : text) {
        bool isDelim = delims.find(c) != CString::npos;
        if (atStart && !isDelim) c = ToUpperChar(c);
        atStart = isDelim;
    }
    call.args = text;
    return 0;
}

// @LINE[file,n]: line n of a text file, counted from 0, or "**EOF**" past
// the last; @LINES[file]: the number of lines.
int Func_Line(FUNCCALL &call) {
    CString name = call.args, number;
    int n = 0;
    if (call.nCase == FC_line) {
        int used = -1;
        if (!SplitAtComma(call.args, &name, &number)) return ERROR_INVALID_PARAMETER;
        if (Sscanf(number.c_str(), L" %i %n", &n, &used) != 2 || (size_t)used != number.size() || n < 0)
            return ERROR_INVALID_PARAMETER;
    }
    name.Trim();
    name = WithoutEnclosingQuotes(name);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    std::vector<CString> lines;
    if (int rc = ReadTextLines(name.c_str(), &lines)) return rc;
    if (call.nCase == FC_lines) return SetNumber(call.args, (long long)lines.size());
    call.args = (size_t)n < lines.size() ? lines[(size_t)n] : CString(L"**EOF**");
    return 0;
}
