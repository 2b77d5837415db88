// scan() and GetNthArgument(): the walk over a command line under the rules
// of quotes, brackets, escapes and separators.  Everything that cuts a line
// into commands or arguments comes through here, so both work in place and
// never allocate.
#include "base/args.h"
#include "base/errors.h"
#include "base/options.h"
#include <cwchar>

bool QueryIsWhiteSpace(wchar_t c) { return c == L' ' || c == L'\t'; }

bool QueryIsDelimiter(wchar_t c) { return c == 0 || c == L' ' || c == L'\t' || c == L','; }

const wchar_t *SkipWhiteSpace(const wchar_t *text) {
    while (QueryIsWhiteSpace(*text)) text++;
    return text;
}

CString LeadingWord(const wchar_t *text, const wchar_t *stops, size_t maxLength) {
    CString all = stops;
    all += CommandSepChar();
    all += SwitchCharValue();
    CString word;
    for (const wchar_t *p = SkipWhiteSpace(text); *p && word.size() < maxLength && !wcschr(all.c_str(), *p); p++)
        word += *p;
    return word;
}

namespace {

bool InSet(const wchar_t *set, wchar_t c) { return c && set && wcschr(set, c) != nullptr; }

// A character set as a bit mask over the ASCII range, so that the walk over
// a long line tests each character with one bit test; characters above
// ASCII fall back to the set's text.
struct CharSet {
    const wchar_t *text;
    unsigned long long bits[2] = {0, 0};
    explicit CharSet(const wchar_t *set) : text(set) {
        for (const wchar_t *p = set; p && *p; p++)
            if (*p < 128) bits[*p >> 6] |= 1ULL << (*p & 63);
    }
    bool Has(wchar_t c) const {
        if (c < 128) return c && (bits[c >> 6] >> (c & 63)) & 1;
        return InSet(text, c);
    }
};

struct ScanState {
    const wchar_t *stops;
    const wchar_t *quotes;
    wchar_t escape;
    wchar_t sep;
    unsigned flags;
    bool escapes() const { return !(flags & PF_NO_ESCAPES); }
    bool pseudo() const { return !(flags & PF_NO_VARIABLES); }
};

// Step over a double-quoted stretch inside brackets; p is at the quote.
const wchar_t *SkipInnerQuote(const ScanState &s, const wchar_t *p) {
    for (p++; *p && *p != L'"'; p++) {
        if (*p == L'%' && p[1]) p++;
        else if (s.escapes() && *p == s.escape && p[1]) p++;
    }
    return p;  // at the partner or the terminator
}

// A bracketed stretch: p at "(" or "[".  Returns the position to go on from
// (the closer, or the terminator for an open "("), or null to take the
// opener as an ordinary character.
const wchar_t *SkipBrackets(const ScanState &s, const wchar_t *p, bool *stopHere) {
    wchar_t open = *p, close = open == L'(' ? L')' : L']';
    int depth = 1;
    const wchar_t *q = p + 1;
    for (; *q; q++) {
        if (*q == open) depth++;
        else if (*q == close) {
            if (--depth == 0) break;
        } else if (*q == L'"' && InSet(s.quotes, L'"')) {
            q = SkipInnerQuote(s, q);
            if (!*q) break;
        } else if (s.escapes() && *q == s.escape) {
            if (q[1]) q++;
        } else if (s.pseudo() && q[0] == L'%' && q[1] == L'=') {
            q++;
        }
    }
    if (!*q) {
        if (open == L'[') return nullptr;
        *stopHere = true;
        return q;
    }
    if (s.stops && *s.stops == close) *stopHere = true;
    return q;
}

// A back-quoted or double-quoted stretch; p at the quote.  Returns the
// partner, the terminator, or SCAN_ERROR after reporting an open back-quote.
const wchar_t *SkipQuoted(const ScanState &s, const wchar_t *p) {
    wchar_t quote = *p;
    bool inVariable = false;
    const wchar_t *q = p + 1;
    for (; *q; q++) {
        if (*q == quote) {
            // %name:"=x% substitutes quotes: that quote does not close.
            if (inVariable && q > p + 1 && q[-1] == L':' && q[1] == L'=') continue;
            return q;
        }
        if (s.escapes() && *q == s.escape) {
            if (q[1]) q++;
        } else if (*q == L'%') {
            inVariable = !inVariable;
        }
    }
    if (quote == L'`' && !(s.stops && !*s.stops)) {
        BDError(ERROR_BD_NO_CLOSE_QUOTE, nullptr);
        return SCAN_ERROR;
    }
    return q;
}

// Does the character at p end the walk as a compound-command separator?
bool IsSeparator(const ScanState &s, const wchar_t *text, const wchar_t *p) {
    if (*p == L'|') return true;
    if (*p == L'&' && p > text && p[-1] == L' ' && p[1] == L'&' && p[2] == L' ') return true;
    if (*p == s.sep) {
        wchar_t before = p > text ? p[-1] : 0;
        return before != L'|' && before != L'>' && before != L'<';
    }
    return false;
}

}  // namespace

const wchar_t *scan(const wchar_t *text, const wchar_t *stops, const wchar_t *quotes) {
    ScanState s{stops, quotes, EscapeCharValue(), CommandSepChar(), ParseFlagsValue()};
    bool noStops = stops && !*stops;
    bool lookForPlus = !stops && s.pseudo();
    const CharSet quoteSet(quotes), stopSet(stops);
    for (const wchar_t *p = text; *p; p++) {
        wchar_t c = *p;
        if (quoteSet.Has(c) && !stopSet.Has(c) &&
            (!(s.flags & PF_NO_QUOTES) || c == L'(' || c == L'[')) {
            if (c == L'(' || c == L'[') {
                bool stopHere = false;
                const wchar_t *q = SkipBrackets(s, p, &stopHere);
                if (!q) continue;  // an open "[" is an ordinary character
                if (stopHere) return q;
                p = q;
                continue;
            }
            const wchar_t *q = SkipQuoted(s, p);
            if (q == SCAN_ERROR) return q;
            if (!*q) return q;
            p = q;
            continue;
        }
        if (s.escapes() && c == s.escape) {
            if (!p[1]) return p + 1;
            p++;
            continue;
        }
        if (c == L'%' && p[1] == L'=' && s.pseudo()) {
            if (!p[2]) return p + 2;
            p += 2;
            continue;
        }
        if (noStops) continue;
        if (!stops) {
            if (!(s.flags & PF_NO_COMPOUND) && IsSeparator(s, text, p)) return p;
        } else if (stopSet.Has(c)) {
            if (c != SwitchCharValue() || !QueryIsDelimiter(p[1])) return p;
        }
        if (c == L'%' && p[1] == L'+' && lookForPlus) {
            if (!(s.flags & PF_NO_COMPOUND)) return p;
            p++;
        }
    }
    const wchar_t *end = text + wcslen(text);
    return end;
}

int ScanIndex(const wchar_t *text, const wchar_t *stops, const wchar_t *quotes) {
    const wchar_t *p = scan(text, stops, quotes);
    return p == SCAN_ERROR ? -1 : (int)(p - text);
}

namespace {

// The quote set that an argument-index option word asks for.
CString ArgumentQuotes(int options) {
    CString q;
    if (options & ARG_BACKQUOTE_ONLY) q = L"`";
    else if (options & ARG_PARENS) q = L"`\"([";
    else if (options & ARG_BRACKETS) q = L"`\"[";
    else q = L"`\"";
    if (options & ARG_NO_BACKQUOTE) q.erase(0, 1);
    if (options & ARG_APOSTROPHE) q += L'\'';
    return q;
}

CString ArgumentDelimiters(int options) {
    CString d = (options & ARG_DATE_DELIMITERS) ? CString(L" -:") : CString(L" \t\r\n");
    if (!(options & (ARG_NO_COMMA | ARG_DATE_DELIMITERS))) d += L',';
    return d;
}

bool IsRemoteScheme(const wchar_t *p) {
    static const wchar_t *const schemes[] = {L"ftp:", L"ftps:", L"sftp:", L"tftp:", L"http:", L"https:"};
    for (const wchar_t *s : schemes)
        if (StrNICmp(p, s, wcslen(s)) == 0) return true;
    return false;
}

// Walk to the argument at index; returns its start and end, or false.
bool FindArgument(const wchar_t *line, int index, int options, const wchar_t **begin,
                  const wchar_t **end) {
    if (!line || !*line) return false;
    CString quotes = ArgumentQuotes(options);
    CString span = ArgumentDelimiters(options);
    wchar_t sw = SwitchCharValue();
    CString stops = span;
    if (!(options & ARG_NO_SWITCH_SPLIT) && !(options & ARG_DATE_DELIMITERS)) stops += sw;
    const wchar_t *p = line + wcsspn(line, span.c_str());
    int n = index & ARG_INDEX_MASK;
    while (*p) {
        const wchar_t *useStops = stops.c_str();
        CString noSlash;
        if (sw == L'/' && IsRemoteScheme(p)) {
            noSlash = span;
            useStops = noSlash.c_str();
        }
        const wchar_t *e = scan(p + (*p == sw ? 1 : 0), useStops, quotes.c_str());
        if (e == SCAN_ERROR) return false;
        if (e == p) e++;
        if (n-- == 0) {
            *begin = p;
            *end = e;
            return true;
        }
        p = e + wcsspn(e, span.c_str());
    }
    return false;
}

}  // namespace

int NthArgumentEx(const wchar_t *line, int index, CString *out, int *start, int options) {
    if (out) out->clear();
    if (start) *start = -1;
    const wchar_t *b, *e;
    if (!FindArgument(line, index, options | (index & ~ARG_INDEX_MASK), &b, &e)) return 0;
    if (out) out->assign(b, e - b);
    if (start) *start = (int)(b - line);
    return (int)(e - b);
}

int GetNthArgument(const wchar_t *line, int index, CString *out, int *start) {
    return NthArgumentEx(line, index & ARG_INDEX_MASK, out, start, index & ~ARG_INDEX_MASK);
}

const wchar_t *GetNthArgument(const wchar_t *line, int index) {
    const wchar_t *b, *e;
    return FindArgument(line, index, index & ~ARG_INDEX_MASK, &b, &e) ? b : nullptr;
}

wchar_t EscapedCharacter(wchar_t c) {
    switch (ToLowerChar(c)) {
    case L'b': return 8;
    case L'c': return L',';
    case L'e': return 27;
    case L'f': return 12;
    case L'k': return L'`';
    case L'n': return 10;
    case L'q': return L'"';
    case L'r': return 13;
    case L's': return L' ';
    case L't': return 9;
    default: return c;
    }
}

void UnEscapeLine(CString &text) {
    if (ParseFlagsValue() & PF_NO_ESCAPES) return;
    wchar_t escape = EscapeCharValue();
    for (size_t i = 0; i + 1 < text.size(); i++) {
        if (text[i] != escape) continue;
        text.erase(i, 1);
        text[i] = EscapedCharacter(text[i]);
    }
}

void EscapeLine(wchar_t *text) {
    CString s(text);
    UnEscapeLine(s);
    wmemcpy(text, s.c_str(), s.size() + 1);
}
