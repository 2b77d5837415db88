// Matching with Oniguruma: the syntax of the RegularExpressions option, the
// three encodings of a subject, and the search-and-replace routines.
#include "vars/regex.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "files/paths.h"
#include <cwchar>

namespace {

// Options that every search adds: "$" matches only at the end of a line
// or the text, also in syntaxes that start in single-line mode.
constexpr OnigOptionType kSearchOptions = ONIG_OPTION_NEGATE_SINGLELINE;
// Replacing never takes an empty match, which would not move on.
constexpr OnigOptionType kReplaceOptions = ONIG_OPTION_FIND_NOT_EMPTY;

void InitializeOnce() {
    static bool done = false;
    if (done) return;
    OnigEncoding encodings[] = {ONIG_ENCODING_ASCII, ONIG_ENCODING_UTF16_LE, ONIG_ENCODING_UTF8};
    onig_initialize(encodings, 3);
    done = true;
}

OnigEncoding EncodingOf(int encoding) {
    switch (encoding) {
    case REGEX_ASCII: return ONIG_ENCODING_ASCII;
    case REGEX_UTF16: return ONIG_ENCODING_UTF16_LE;
    case REGEX_UTF8: return ONIG_ENCODING_UTF8;
    }
    return nullptr;
}

// The pattern's bytes in the encoding of the search.
std::string PatternBytes(const wchar_t *pattern, int encoding) {
    size_t n = wcslen(pattern);
    if (encoding == REGEX_UTF16) return std::string((const char *)pattern, n * sizeof(wchar_t));
    if (encoding == REGEX_UTF8) return ToCodePage(pattern, (int)n, CP_UTF8);
    std::string ascii(n, '?');
    for (size_t i = 0; i < n; i++)
        if (pattern[i] < 0x80) ascii[i] = (char)pattern[i];
    return ascii;
}

// Report a pattern that does not compile: Oniguruma's text and the pattern.
void ReportBadPattern(int code, OnigErrorInfo *info, const wchar_t *pattern) {
    UChar message[ONIG_MAX_ERROR_MESSAGE_LEN];
    int n = onig_error_code_to_str(message, code, info);
    CString text = FromCodePage(reinterpret_cast<const char *>(message), n, CP_UTF8);
    BDError(ERROR_BD_BAD_REGEX, FormatStr(L"\"%s\": %s", pattern, text.c_str()).c_str());
}

// Compile; null (with *rc set, and reported unless quiet) on failure.
regex_t *Compile(const wchar_t *pattern, OnigOptionType options, int encoding, const OnigSyntaxType *syntax,
                 int quiet, int *rc) {
    InitializeOnce();
    std::string bytes = PatternBytes(pattern, encoding);
    const UChar *p = reinterpret_cast<const UChar *>(bytes.data());
    regex_t *reg = nullptr;
    OnigErrorInfo info{};
    *rc = onig_new(&reg, p, p + bytes.size(), options, EncodingOf(encoding),
                   const_cast<OnigSyntaxType *>(syntax ? syntax : RegexSyntax()), &info);
    if (*rc == ONIG_NORMAL) return reg;
    if (reg) onig_free(reg);
    if (!quiet) ReportBadPattern(*rc, &info, pattern);
    return nullptr;
}

struct Search {
    regex_t *reg = nullptr;
    OnigRegion *region = nullptr;
    ~Search() {
        if (region) onig_region_free(region, 1);
        if (reg) onig_free(reg);
    }
};

// A replacement template expanded for one match of subject.  Returns 0 or
// the code of a bad group reference.
int ExpandTemplate(CString &out, const wchar_t *tmpl, const wchar_t *subject, const OnigRegion *region) {
    for (const wchar_t *t = tmpl; *t; t++) {
        if (*t != L'\\' || !t[1]) {
            out += *t;
            continue;
        }
        wchar_t c = *++t;
        if (c == L'r') {
            out += L'\r';
            if (t[1] == L'\\' && t[2] == L'n') out += L'\n', t += 2;
        } else if (c == L'n') {
            out += L"\r\n";
        } else if (c == L't') {
            out += L'\t';
        } else if (iswdigit(c) || c == L'{') {
            int group = 0;
            if (c == L'{') {
                const wchar_t *close = wcschr(t, L'}');
                if (!close) return ERROR_BD_UNMATCHED_BRACE;
                for (t++; t < close; t++)
                    if (iswdigit(*t)) group = group * 10 + (*t - L'0');
            } else {
                group = c - L'0';
            }
            if (group >= region->num_regs) return ERROR_BD_BAD_BACKREF;
            int begin = region->beg[group], end = region->end[group];
            if (begin >= 0) out.append(subject + begin / 2, (size_t)(end - begin) / 2);
        } else {
            out += c;
        }
    }
    return 0;
}

// "n$pattern": at most n replacements.
const wchar_t *TakeCount(const wchar_t *pattern, long *limit) {
    *limit = -1;
    const wchar_t *p = pattern;
    while (iswdigit(*p)) p++;
    if (p == pattern || *p != L'$' || !p[1]) return pattern;
    *limit = wcstol(pattern, nullptr, 10);
    return p + 1;
}

}  // namespace

OnigSyntaxType *RegexSyntax() {
    switch (aIniFile.RegularExpressions) {
    case 1: return ONIG_SYNTAX_RUBY;
    case 2: return ONIG_SYNTAX_JAVA;
    case 3: return ONIG_SYNTAX_GREP;
    case 4: return ONIG_SYNTAX_POSIX_EXTENDED;
    case 5: return ONIG_SYNTAX_GNU_REGEX;
    case 6: return ONIG_SYNTAX_PYTHON;
    case 7: return ONIG_SYNTAX_EMACS;
    default: return ONIG_SYNTAX_PERL;
    }
}

int RegularExpressionEx(const wchar_t *pattern, unsigned char *subject, unsigned char **start, unsigned char **end,
                        unsigned int *region, int options, int encoding, int quiet, const OnigSyntaxType *syntax) {
    unsigned want = *region;
    *region = 0;
    unsigned char *from = *start, *to = *end;
    *start = *end = nullptr;
    if (!EncodingOf(encoding)) return 0;
    int rc;
    Search s;
    s.reg = Compile(pattern, (OnigOptionType)options | kSearchOptions, encoding, syntax, quiet, &rc);
    if (!s.reg) return rc;
    s.region = onig_region_new();
    int found = onig_search(s.reg, subject, to, from, to, s.region, ONIG_OPTION_NONE);
    if (found < 0) {
        if (found != ONIG_MISMATCH && !quiet) ReportBadPattern(found, nullptr, pattern);
        return 0;
    }
    if ((int)want < s.region->num_regs && s.region->beg[want] >= 0) {
        *start = subject + s.region->beg[want];
        *end = subject + s.region->end[want];
    }
    *region = 1;
    return 0;
}

int RegularExpression(const wchar_t *pattern, unsigned char *subject, unsigned char **start, unsigned char **end,
                      unsigned int *region, int options, int encoding, int quiet) {
    return RegularExpressionEx(pattern, subject, start, end, region, options, encoding, quiet, nullptr);
}

int RegularExpressionFind(const wchar_t *pattern, const CString &text, unsigned group, int *offset, int *length) {
    unsigned char *base = (unsigned char *)text.c_str();
    unsigned char *start = base, *end = base + text.size() * sizeof(wchar_t);
    unsigned region = group;
    int rc = RegularExpression(pattern, base, &start, &end, &region, 0, REGEX_UTF16, 0);
    if (rc) return rc < 0 ? rc : -rc;
    *offset = start ? (int)((start - base) / 2) : -1;
    *length = start ? (int)((end - start) / 2) : 0;
    return region ? 1 : 0;
}

int RegularExpressionMatchQuiet(const wchar_t *pattern, const CString &text) {
    unsigned char *base = (unsigned char *)text.c_str();
    unsigned char *start = base, *end = base + text.size() * sizeof(wchar_t);
    unsigned region = 0;
    int rc = RegularExpression(pattern, base, &start, &end, &region, 0, REGEX_UTF16, 1);
    return rc ? (rc < 0 ? rc : -rc) : region ? 1 : 0;
}

int RegularExpressionMatch(const CString &pattern, const CString &text) {
    int offset, length;
    int rc = RegularExpressionFind(pattern.c_str(), text, 0, &offset, &length);
    return rc < 0 ? -1 : rc;
}

int BackRefReplace(CString &result, const wchar_t *replacement, const wchar_t *subject, const wchar_t *pattern,
                   int filenameOnly) {
    CString text = filenameOnly ? CString(FilenamePart(subject)) : CString(subject);
    CString out;
    if (const wchar_t *colons = wcsstr(replacement, L"::")) {
        out.assign(replacement, (size_t)(colons - replacement));
        replacement = colons + 2;
    }
    long limit;
    pattern = TakeCount(pattern, &limit);
    if (limit == 0) {
        result = out + text;
        return 0;
    }
    int rc;
    Search s;
    s.reg = Compile(pattern, kSearchOptions | kReplaceOptions, REGEX_UTF16, nullptr, 0, &rc);
    if (!s.reg) return -2;
    s.region = onig_region_new();
    const UChar *base = (const UChar *)text.c_str(), *stop = base + text.size() * 2;
    size_t at = 0;  // characters of text already handled
    for (; limit != 0 && at <= text.size(); limit--) {
        int found = onig_search(s.reg, base, stop, base + at * 2, stop, s.region, ONIG_OPTION_NONE);
        if (found < 0) break;
        size_t begin = (size_t)s.region->beg[0] / 2, end = (size_t)s.region->end[0] / 2;
        out.append(text, at, begin - at);
        if (int bad = ExpandTemplate(out, replacement, text.c_str(), s.region)) {
            result.Empty();
            BDError(bad, replacement);
            return -2;
        }
        at = end > begin ? end : end + 1;
        if (end == begin && begin < text.size()) out += text[begin];
    }
    if (at < text.size()) out.append(text, at);
    result = out;
    return 0;
}

int RegexReplace(CString &target, const wchar_t *source, const wchar_t *pattern) {
    const wchar_t *tmpl = target.c_str();
    if (tmpl[0] == L':' && tmpl[1] == L':') tmpl += 2;
    CString subject(source);
    int rc;
    Search s;
    s.reg = Compile(pattern, kSearchOptions, REGEX_UTF16, nullptr, 0, &rc);
    if (!s.reg) return -2;
    s.region = onig_region_new();
    const UChar *base = (const UChar *)subject.c_str(), *stop = base + subject.size() * 2;
    if (onig_search(s.reg, base, stop, base, stop, s.region, ONIG_OPTION_NONE) < 0) return 1;
    CString out;
    if (int bad = ExpandTemplate(out, tmpl, subject.c_str(), s.region)) return BDError(bad, tmpl), -2;
    target = out;
    return 0;
}
