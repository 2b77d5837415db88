// Arguments and switches built on the argument scanner: the last and the
// next argument, tokens, the argv split of an argument text, the switch
// readers every command uses, file attribute lists and quote helpers.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/options.h"
#include "base/state.h"
#include <cwchar>
#include <cwctype>
#include <string>
#include <utility>

namespace {

constexpr wchar_t kOpenQuote = 0x201C;   // typographic quotes, taken as '"'
constexpr wchar_t kCloseQuote = 0x201D;
constexpr int kMaxArguments = 8192;      // argv entries, argv[0] included

}  // namespace

int LastArgument(const wchar_t *line, int *index, CString *out, int *start) {
    int count = 0;
    while (GetNthArgument(line, count)) count++;
    if (count < 2) {
        if (index) *index = 0;
        if (out) out->clear();
        if (start) *start = -1;
        return 0;
    }
    if (index) *index = count - 1;
    return GetNthArgument(line, count - 1, out, start);
}

wchar_t *NextArgument(wchar_t *text, int n) {
    if (!text || n <= 0) return text;
    const wchar_t *p = GetNthArgument(text, n);
    if (!p) {
        *text = L'\0';
        return text;
    }
    wmemmove(text, p, wcslen(p) + 1);
    return text;
}

CString &NextArgument_S(CString &text, int n) {
    if (n <= 0) return text;
    int start = -1;
    if (GetNthArgument(text, n, nullptr, &start) && start >= 0) text.erase(0, start);
    else text.clear();
    return text;
}

// Tokens are counted from 1 at the front and from -1 at the back; the kept
// stretch runs from the start of the first to the end of the last token,
// delimiters between them included.  Asking for more tokens than there are
// keeps what exists and gives 1; a range that holds nothing empties text.
int GetToken(CString &text, const wchar_t *delimiters, int first, int last) {
    if (!delimiters || !*delimiters) delimiters = L" \t";
    std::vector<std::pair<size_t, size_t>> tokens;
    for (size_t p = text.find_first_not_of(delimiters); p != CString::npos;) {
        size_t e = text.find_first_of(delimiters, p);
        if (e == CString::npos) e = text.size();
        tokens.emplace_back(p, e);
        p = text.find_first_not_of(delimiters, e);
    }
    long long count = (long long)tokens.size();
    long long from = first > 0 ? first - 1LL : count + first;
    long long to = last > 0 ? last - 1LL : count + last;
    int result = 0;
    if (from < 0) from = 0, result = 1;
    if (to >= count) to = count - 1, result = 1;
    if (from >= count || to < 0) {
        text.clear();
        return 1;
    }
    if (from > to) {
        text.clear();
        return result;
    }
    text = text.substr(tokens[from].first, tokens[to].second - tokens[from].first);
    return result;
}

namespace {

// One pass over an argument text that converts it in place: r reads, w
// writes, and w never passes r because a conversion only shortens.
struct ArgWalk {
    wchar_t *t;
    size_t r, w;
    bool convert;
    bool escapes;
    bool quotes;
    bool dropBackQuotes;
    wchar_t escape;
    const wchar_t *delimiters;
};

bool IsArgDelimiter(const ArgWalk &a, wchar_t c) { return c && wcschr(a.delimiters, c); }

// An escape followed by something to protect (a trailing one is plain).
bool AtEscape(const ArgWalk &a) { return a.escapes && a.t[a.r] == a.escape && a.t[a.r + 1]; }

// The escape pair at r: converted to its one character, or kept as it is.
void CopyEscapePair(ArgWalk &a, bool convert) {
    if (convert) {
        a.t[a.w++] = EscapedCharacter(a.t[a.r + 1]);
        a.r += 2;
    } else {
        a.t[a.w++] = a.t[a.r++];
        a.t[a.w++] = a.t[a.r++];
    }
}

// A quoted stretch; r at the opening quote.  A typographic open quote ends
// at its partner or at a plain '"' (a line often mixes the two) and both
// are written as '"'.  An unclosed stretch runs to the end of the text.
void CopyQuoted(ArgWalk &a) {
    wchar_t open = a.t[a.r++];
    bool back = open == L'`';
    bool drop = back && a.dropBackQuotes;
    if (!drop) a.t[a.w++] = back ? L'`' : L'"';
    while (wchar_t c = a.t[a.r]) {
        bool closes = back ? c == L'`' : (c == L'"' || (open == kOpenQuote && c == kCloseQuote));
        if (closes) {
            a.r++;
            if (!drop) a.t[a.w++] = back ? L'`' : L'"';
            return;
        }
        if (AtEscape(a)) {
            // Inside double quotes the escape only protects; inside
            // back-quotes the pair is converted like outside.
            CopyEscapePair(a, back && a.convert);
            continue;
        }
        a.t[a.w++] = a.t[a.r++];
    }
}

void CopyToken(ArgWalk &a) {
    while (wchar_t c = a.t[a.r]) {
        if (IsArgDelimiter(a, c)) return;
        if (a.quotes && (c == L'`' || c == L'"' || c == kOpenQuote)) {
            CopyQuoted(a);
            continue;
        }
        if (AtEscape(a)) {
            CopyEscapePair(a, a.convert);
            continue;
        }
        a.t[a.w++] = a.t[a.r++];
    }
}

using Span = std::pair<size_t, size_t>;

// Converts text in place and records where each token lies in the result.
// Returns the argument count, the name in argv[0] included.
int PrepareArguments(wchar_t *text, unsigned flags, std::vector<Span> &spans) {
    unsigned parse = ParseFlagsValue();
    bool split = flags & PA_SPLIT;
    bool equals = split && aIniFile.CMDBatchDelimiters && !(flags & PA_NO_EQUALS_DELIMITER);
    ArgWalk a{text, 0, 0, (flags & PA_CONVERT) != 0, !(parse & PF_NO_ESCAPES),
              !(parse & PF_NO_QUOTES), (flags & PA_CONVERT) && !aGlobals.fCompatibility,
              EscapeCharValue(), equals ? L" \t,\r\n=" : L" \t,\r\n"};
    int count = 1;
    for (;;) {
        while (IsArgDelimiter(a, a.t[a.r])) a.t[a.w++] = a.t[a.r++];
        if (!a.t[a.r]) break;
        if (count >= kMaxArguments) {
            // No room for more: the rest stays as it is.
            size_t n = wcslen(a.t + a.r);
            wmemmove(a.t + a.w, a.t + a.r, n);
            a.w += n;
            break;
        }
        size_t start = a.w;
        CopyToken(a);
        spans.emplace_back(start, a.w);
        count++;
    }
    a.t[a.w] = L'\0';
    return count;
}

}  // namespace

// argv needs room for kMaxArguments entries and the closing null.
int ParseArguments(int *argc, const wchar_t **argv, const wchar_t *name, wchar_t *text, unsigned flags) {
    if (flags & PA_CLOSE_BATCH) CloseBatchFile();
    std::vector<Span> spans;
    int count = text ? PrepareArguments(text, flags, spans) : 1;
    if ((flags & PA_SPLIT) && argv) {
        argv[0] = name;
        for (size_t i = 0; i < spans.size(); i++) {
            text[spans[i].second] = L'\0';
            argv[i + 1] = text + spans[i].first;
        }
        argv[count] = nullptr;
    }
    if (argc) *argc = count;
    return count;
}

int ParseArguments_S(CString &text, const wchar_t *name, unsigned flags, std::vector<CString> *args) {
    if (flags & PA_CLOSE_BATCH) CloseBatchFile();
    std::vector<Span> spans;
    int count = PrepareArguments(text.data(), flags, spans);
    text.resize(wcslen(text.c_str()));
    if ((flags & PA_SPLIT) && args) {
        args->assign(1, CString(name));
        for (const Span &s : spans) args->push_back(text.substr(s.first, s.second - s.first));
    }
    return count;
}

namespace {

// "///" ends the switches: everything after it is plain text.
bool IsSwitchStop(const CString &line, int start) {
    wchar_t sw = SwitchCharValue();
    return line.At(start) == sw && line.At(start + 1) == sw && line.At(start + 2) == sw;
}

// The next switch argument at or after *index, under the walk flags
// SW_FIRST_ONLY and SW_STOP_AT_ARG and the "///" stop.  *looked counts the
// arguments examined so far.
bool FindSwitchArgument(const CString &line, int flags, int *index, int *looked, CString *arg,
                        int *start) {
    for (;;) {
        if ((flags & SW_FIRST_ONLY) && *looked > 0) return false;
        if (!GetNthArgument(line, *index, arg, start)) return false;
        (*looked)++;
        if (IsSwitchStop(line, *start)) return false;
        if (arg->At(0) == SwitchCharValue()) return true;
        if (flags & SW_STOP_AT_ARG) return false;
        (*index)++;
    }
}

// Removes length characters at start; with SW_STOP_AT_ARG also the blanks
// after them, so that the next argument moves up cleanly.
void RemoveSwitch(CString &line, int start, size_t length, int flags) {
    line.erase(start, length);
    if (flags & SW_STOP_AT_ARG) {
        size_t e = start;
        while (QueryIsWhiteSpace(line.At(e))) e++;
        line.erase(start, e - start);
    }
}

struct SwitchList {
    const wchar_t *letters;
    bool attributes;  // "*" at the front: /A[:]... is the attribute switch
    bool sort;        // "#" anywhere: /O[:]... is the sort switch
};

// The bit of an (upper-case) letter: its position among the letters of the
// list, the markers "*" and "#" not counted.  -1 when it is not there.
int LetterBit(const wchar_t *letters, wchar_t c) {
    int bit = 0;
    for (const wchar_t *p = letters; *p; p++) {
        if (*p == L'*' || *p == L'#') continue;
        if (ToUpperChar(*p) == c) return bit;
        bit++;
    }
    return -1;
}

void SetLetterBit(const SwitchList &list, wchar_t c, unsigned *bits) {
    int bit = LetterBit(list.letters, c);
    if (bit >= 0 && bit < 32) *bits |= 1u << bit;
}

// Matches one switch argument against the list.  Returns the number of its
// characters that make up the switch (to be removed), 0 to leave it in the
// line, or -1 for an unknown letter, digit or "=".
int MatchSwitch(const CString &arg, const SwitchList &list, unsigned *bits, int flags,
                FILESEARCH *search) {
    int whole = arg.GetLength();
    wchar_t first = ToUpperChar(arg.At(1));
    if (search && list.attributes && first == L'A') {
        SetLetterBit(list, L'A', bits);
        aHooks.pfnSearchSwitch(L'A', arg.c_str() + 2, search);
        return whole;
    }
    if (search && list.sort && first == L'O') {
        if (!aHooks.pfnSearchSwitch(L'O', arg.c_str() + 2, search)) return (flags & SW_KEEP_UNKNOWN) ? 0 : -1;
        SetLetterBit(list, L'O', bits);
        return whole;
    }
    bool matched = false;
    for (int i = 1; i < whole; i++) {
        wchar_t c = ToUpperChar(arg[i]);
        int bit = LetterBit(list.letters, c);
        if (bit < 0) {
            if (!iswalnum(c) && c != L'=') break;
            return (flags & SW_KEEP_UNKNOWN) ? 0 : -1;
        }
        if (bit < 32) *bits |= 1u << bit;
        matched = true;
        if (flags & SW_ONE_LETTER) return 2;
    }
    return matched ? whole : 0;
}

}  // namespace

// On an error the line and *mask are left as they were before the call, so
// that the command can report the whole line; nothing is half-removed.
int GetSwitches(CString &line, const wchar_t *allowed, unsigned *mask, int flags, FILESEARCH *search) {
    if (!allowed) allowed = L"";
    SwitchList list{allowed, allowed[0] == L'*', wcschr(allowed, L'#') != nullptr};
    if (search && list.attributes) aHooks.pfnSearchSwitch(L'A', nullptr, search);
    if (search && list.sort) aHooks.pfnSearchSwitch(L'O', nullptr, search);
    unsigned bits = 0;
    CString saved = line;
    CString arg;
    int index = 0, looked = 0, start = -1;
    while (FindSwitchArgument(line, flags, &index, &looked, &arg, &start)) {
        int taken = MatchSwitch(arg, list, &bits, flags, search);
        if (taken < 0) {
            line = saved;
            return BDError(ERROR_INVALID_PARAMETER, arg);
        }
        if (taken == 0 || ((flags & SW_KEEP_LONG) && arg.size() > 2)) {
            index++;
            continue;
        }
        RemoveSwitch(line, start, taken, flags);
    }
    if (mask) *mask = bits;
    return 0;
}

int GetStringSwitch(CString &line, const wchar_t *name, int flags, CString *rest) {
    if (rest) rest->clear();
    CString wanted(1, SwitchCharValue());
    wanted += name ? name : L"";
    CString arg;
    int index = 0, looked = 0, start = -1;
    while (FindSwitchArgument(line, flags, &index, &looked, &arg, &start)) {
        if (StrICmp(arg, wanted) != 0) {
            index++;
            continue;
        }
        if (rest) {
            *rest = line.Mid(start + arg.size());
            rest->TrimLeft();
        }
        RemoveSwitch(line, start, arg.size(), flags);
        return 1;
    }
    return 0;
}

namespace {

// The length of the front of value made of characters of set (at most
// maxLength of them), read by the program's own scanner.
int MatchValueSet(const CString &value, int maxLength, const wchar_t *set) {
    CString pattern(L"%");
    if (maxLength > 0) pattern += std::to_wstring(maxLength);
    pattern += L"[";
    pattern += set;
    pattern += L"]%n";
    CString buffer(value.size() + 1, L'\0');
    int used = 0;
    Sscanf(value, pattern, buffer.data(), &used);
    return used;
}

}  // namespace

// A one-letter name matches the letter after the switch character, a
// longer one the front of the switch (without case); the rest of the
// argument is the value.  A value set applies to either form.
int GetMultiCharSwitch(CString &line, const wchar_t *name, CString *value, int maxLength,
                       const wchar_t *valueSet, int keepGoing, int flags) {
    if (value) value->clear();
    if (!name || !*name) return 0;
    size_t nameLength = wcslen(name);
    CString arg;
    int index = 0, looked = 0, start = -1;
    while (FindSwitchArgument(line, flags, &index, &looked, &arg, &start)) {
        bool match = nameLength == 1 ? ToUpperChar(arg.At(1)) == ToUpperChar(name[0])
                                     : StrNICmp(arg.c_str() + 1, name, nameLength) == 0;
        CString text = arg.Mid(1 + nameLength);
        if (!match || ((flags & SW_EMPTY_SKIPS) && text.empty())) {
            index++;
            continue;
        }
        size_t taken = arg.size();
        if (valueSet) {
            size_t used = MatchValueSet(text, maxLength, valueSet);
            if (used < text.size()) {
                if (!keepGoing) {
                    index++;
                    continue;
                }
                taken = 1 + nameLength + used;
            }
            text.Truncate(used);
        } else if (maxLength > 0) {
            text.Truncate(maxLength);
        }
        if (value) *value = text;
        RemoveSwitch(line, start, taken, flags);
        return 1;
    }
    return 0;
}

void StripQuotes_S(CString &text) {
    size_t w = 0;
    for (wchar_t c : text)
        if (c != L'"') text[w++] = c;
    text.resize(w);
}

void StripEnclosingQuotes_S(CString &text) {
    if (text.size() >= 2 && text.front() == L'"' && text.back() == L'"') text = text.substr(1, text.size() - 2);
}

// A text that already holds a double quote carries its own quoting and is
// left alone; quoting it again would split it.
void AddQuotes_S(CString &text) {
    if (text.find(L'"') != CString::npos) return;
    if (text.find_first_of(L" \t,&()[]{}^=;!'+`~") == CString::npos) return;
    text.insert(0, 1, L'"');
    text += L'"';
}

void IntToAscii(int value, CString *out) {
    if (out) *out = std::to_wstring(value);
}
