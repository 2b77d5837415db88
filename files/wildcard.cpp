// The wildcard matcher, the rename-by-pattern rule and the string order of
// every sort.
#include "base/errors.h"
#include "files/paths.h"
#include "files/ranges.h"
#include "net/net.h"
#include "vars/regex.h"
#include <cwchar>

namespace {

inline wchar_t Fold(wchar_t c) { return ToUpperChar(c); }

// ";" and "=" end a pattern as its terminator does, so that a pattern can be
// matched in place inside an include list.
inline bool PatternEnd(wchar_t c) { return c == 0 || c == L';' || c == L'='; }

void SkipQuotes(const wchar_t *&p) {
    while (*p == L'"') p++;
}

// The "]" that closes the set opening at p (p at "["), or null.
const wchar_t *SetEnd(const wchar_t *p) {
    const wchar_t *q = p + 1;
    if (*q == L'!' || *q == L'^') q++;
    for (; *q && *q != L']'; q++) {}
    return *q ? q : nullptr;
}

// Test c (0 at the end of the name) against the set at p, and move p behind
// its "]".  "!" or "^" negates; "a-z" is a range; "?" is any character.  At
// the end of the name a non-empty set fails; "[]" matches only there and
// "[!]" everywhere else.
bool MatchSet(const wchar_t *&p, wchar_t c) {
    const wchar_t *end = SetEnd(p);
    const wchar_t *q = p + 1;
    p = end + 1;
    bool negate = *q == L'!' || *q == L'^';
    if (negate) q++;
    if (q == end) return negate ? c != 0 : c == 0;
    if (!c) return false;
    wchar_t fc = Fold(c);
    bool hit = false;
    for (; q < end; q++) {
        if (*q == L'?') hit = true;
        else if (q[1] == L'-' && q + 2 < end) {
            wchar_t low = Fold(q[0]), high = Fold(q[2]);
            if (fc >= low && fc <= high) hit = true;
            q += 2;
        } else if (Fold(*q) == fc) hit = true;
    }
    return hit != negate;
}

bool IsSet(const wchar_t *p, int sets) { return sets && *p == L'[' && SetEnd(p); }

// True when behind the "." at p the pattern holds no other "." or "*".
bool LastDotOfPattern(const wchar_t *p) {
    for (p++; !PatternEnd(*p); p++)
        if (*p == L'.' || *p == L'*') return false;
    return true;
}

// The walk in star state: find where the rest of the pattern takes up the
// name again.  Ends at the name's end or at a further "*" in the pattern.
void StarWalk(const wchar_t *&p, const wchar_t *&n, int dotRule, int sets) {
    const wchar_t *saved = p, *restart = n;
    while (*n) {
        SkipQuotes(p);
        if (*p == L'*') break;
        if (dotRule && *n == L'.' && *p == L'.' && LastDotOfPattern(p)) {
            n = wcsrchr(n, L'.');
            break;
        }
        if (IsSet(p, sets)) {
            const wchar_t *q = p;
            if (MatchSet(q, *n)) {
                p = q;
                n++;
                continue;
            }
        } else if (!PatternEnd(*p) && (*p == L'?' || Fold(*p) == Fold(*n))) {
            p++;
            n++;
            continue;
        }
        p = saved;
        n = ++restart;
    }
}

// A "?" outside star state.
void QuestionMark(const wchar_t *&p, const wchar_t *&n, int dotRule) {
    if (dotRule && *n == L'.') {
        while (*p == L'?' || *p == L'*') p++;
        if (*p == L'.') p++;
        n++;
    } else if (!*n) {
        p++;
    } else {
        p++;
        n++;
    }
}

int Match(const wchar_t *pattern, const wchar_t *name, int dotRule, int sets) {
    if (dotRule && *pattern != L'[' && QueryIsDotName(name)) name = L"";
    const wchar_t *p = pattern, *n = name;
    for (;;) {
        SkipQuotes(p);
        if (PatternEnd(*p)) break;
        if (*p == L'*') {
            while (*p == L'*' || *p == L'?' || *p == L'"') p++;
            StarWalk(p, n, dotRule, sets);
            if (*p == L'[' && sets) return 1;
            continue;
        }
        if (*p == L'?') {
            QuestionMark(p, n, dotRule);
            continue;
        }
        if (IsSet(p, sets)) {
            if (!MatchSet(p, *n)) return 1;
            if (*n) n++;
            continue;
        }
        if (Fold(*p) == Fold(*n) && *n) {
            p++;
            n++;
        } else if (*p == L'.' && !*n && dotRule) {
            p++;
        } else {
            return (int)Fold(*p) - (int)Fold(*n);
        }
    }
    return (int)Fold(*n);
}

}  // namespace

int WildcardComparisonEx(const wchar_t *pattern, const wchar_t *name, int dotRule, int sets, int caseFlag) {
    if (pattern[0] == L':' && pattern[1] == L':') {
        CString subject(name);
        int rc = RegularExpressionMatchQuiet(pattern + 2, subject);
        return rc < 0 ? rc : rc ? 0 : 1;
    }
    // The case flag does not change the outcome: names compare folded, and a
    // failed comparison would be repeated with the same folding.
    return Match(pattern, name, dotRule, sets);
}

int WildcardComparison(const wchar_t *pattern, const wchar_t *name, int dotRule, int sets) {
    return WildcardComparisonEx(pattern, name, dotRule, sets, 0);
}

bool QueryIsWildcard(const wchar_t *pattern) {
    if (pattern[0] == L':' && pattern[1] == L':') return true;
    for (const wchar_t *p = pattern; *p; p++)
        if (*p == L'*' || *p == L'?' || (*p == L'[' && SetEnd(p))) return true;
    return false;
}

int CheckWildcardSets(const wchar_t *pattern, int quiet) {
    if (pattern[0] == L':' && pattern[1] == L':') return 0;
    for (const wchar_t *p = pattern; *p; p++) {
        if (*p != L'[') continue;
        const wchar_t *end = SetEnd(p);
        if (!end) return quiet ? ERROR_BD_UNBALANCED_BRACKET : BDError(ERROR_BD_UNBALANCED_BRACKET, pattern);
        p = end;
    }
    return 0;
}

int QueryIsDotName(const wchar_t *name) {
    return name[0] == L'.' && (name[1] == 0 || (name[1] == L'.' && name[2] == 0)) ? 1 : 0;
}

namespace {

// The literal text of pattern from p up to the next ".", "*" or "?".
CString LiteralAt(const wchar_t *p) { return CString(p, wcscspn(p, L".*?")); }

size_t CountDots(const wchar_t *s) {
    size_t n = 0;
    for (; *s; s++) n += *s == L'.';
    return n;
}

// "*" of a rename pattern: copy source characters up to the literal text
// that follows the star in the pattern, or, where a "." follows in the
// pattern, up to the dot that leaves the source as many dots as the pattern.
void CopyForStar(CString &out, const wchar_t *&p, const wchar_t *&s, long &surplus) {
    while (*p == L'*' || *p == L'?') p++;
    CString literal = LiteralAt(p);
    bool dotFollows = p[literal.size()] == L'.';
    for (; *s; s++) {
        if (!literal.empty() && StrNICmp(s, literal.c_str(), literal.size()) == 0) break;
        if (dotFollows && *s == L'.') {
            if (surplus <= 0) break;
            surplus--;
        }
        out += *s;
    }
}

}  // namespace

void MakeWildcardName(CString &result, const wchar_t *pattern, const wchar_t *source) {
    int kind = QueryIsURL(pattern);
    if (kind && kind != 10) {
        result = pattern;
        return;
    }
    CString path;
    PathPart(pattern, &path);
    const wchar_t *p = FilenamePart(pattern);
    const wchar_t *s = FilenamePart(source);
    long surplus = (long)CountDots(s) - (long)CountDots(p);
    CString out;
    while (*p) {
        if (*p == L'*') {
            CopyForStar(out, p, s, surplus);
        } else if (*p == L'?') {
            if (*s && *s != L'.') out += *s++;
            p++;
        } else if (*p == L'.') {
            const wchar_t *dot = wcschr(s, L'.');
            s = dot ? dot + 1 : s + wcslen(s);
            out += L'.';
            p++;
        } else {
            out += *p++;
            if (*s && *s != L'.') s++;
        }
    }
    if (out.size() >= 1 && out.back() == L'.' && !(out.size() >= 2 && out[out.size() - 2] == L'.')) out.pop_back();
    result = path + out;
}

// Digits compare as numbers under COMPARE_NUMERIC (so "007" equals "7");
// under COMPARE_FILE_NAMES a shorter stem sorts first and the extensions are
// left to the caller.
int CompareStrings(const wchar_t *a, const wchar_t *b, unsigned flags) {
    if (!*a) return (int)Fold(*a) - (int)Fold(*b);
    while (*a) {
        if ((flags & COMPARE_NUMERIC) && iswdigit(*a) && iswdigit(*b) && *a < 0x80 && *b < 0x80) {
            unsigned long long x = 0, y = 0;
            for (; *a >= L'0' && *a <= L'9'; a++) x = x * 10 + (unsigned)(*a - L'0');
            for (; *b >= L'0' && *b <= L'9'; b++) y = y * 10 + (unsigned)(*b - L'0');
            if (x != y) return x < y ? -1 : 1;
            continue;
        }
        int d = (int)Fold(*a) - (int)Fold(*b);
        if (d) {
            if (!(flags & COMPARE_FILE_NAMES)) return d;
            if (!*b || *b == L'.') return 1;
            if (*a == L'.') return -1;
            return d;
        }
        if ((flags & COMPARE_FILE_NAMES) && *a == L'.' && !wcschr(a + 1, L'.') && !wcschr(b + 1, L'.')) return 0;
        a++;
        b++;
    }
    return (int)Fold(*a) - (int)Fold(*b);
}
