// Names in variable expansion: the %~ modifier letters, where a name ends,
// and where its value comes from: the %name:~s,n% and %name:a=b% forms,
// batch arguments, GOSUB parameters, the environment, internal variables,
// the command counters and the pseudo-variables, in that order.
#include <algorithm>
#include <cwctype>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "vars/expand.h"
#include "vars/expand_internal.h"
#include "vars/functions.h"

namespace {

constexpr size_t kMaxModifiers = 63;   // with the "~"
constexpr size_t kMaxName = 1023;
constexpr size_t kMaxWord = 255;

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool IsNameChar(wchar_t c) { return c && (iswalnum(c) || c == L'_' || c == L'$'); }

// The letters behind the "~" at tilde.  Returns the index of the variable
// that they apply to; a "$NAME:" there names the search path variable.
size_t ReadModifiers(const CString &l, size_t tilde, CString *letters, CString *searchVar) {
    CString buffer = L"~";
    size_t j = tilde + 1;
    for (; j < l.size() && buffer.size() < kMaxModifiers; j++) {
        wchar_t raw = l[j], c = ToUpperChar(raw);
        // A letter that is also a FOR variable ends the list when it cannot
        // be anything else: after a modifier, or with no letter behind it.
        if ((buffer.size() >= 2 || !iswalpha(l.At(j + 1))) && QueryForVariable(raw, nullptr)) break;
        if (buffer.find(c) != CString::npos || !wcschr(L"ADFNPSTXZ", c)) break;
        buffer += c;
    }
    if (l.At(j) == L'$') {
        size_t colon = l.find(L':', j + 1);
        if (colon != CString::npos && colon > j + 1) {
            *searchVar = l.substr(j + 1, colon - j - 1);
            j = colon + 1;
        }
    }
    *letters = buffer.Mid(1);
    return j;
}

// Does the word at i, up to a "%", name a set environment variable?  Such a
// name beats a FOR variable of its first letter.
bool NamesSetVariable(const CString &l, size_t i) {
    wchar_t c = l.At(i);
    if (!IsNameChar(c) && c != L'-') return false;
    size_t e = i;
    while (e < l.size() && e - i < kMaxWord && !wcschr(L"% \t,=\"", l[e])) e++;
    if (l.At(e) != L'%' || e == i) return false;
    return EnvironmentValue(l.substr(i, e - i), nullptr);
}

// A ":" in a name: with "=" or "~" before the next "%", the name runs to
// that "%" (the %name:~s,n% and %name:a=b% forms), and the escape
// characters in it are removed.  Otherwise the name ends at the ":".
size_t ColonStretch(CString &l, size_t colon) {
    wchar_t esc = EscapeCharValue();
    bool escapes = !(ParseFlagsValue() & PF_NO_ESCAPES);
    bool form = false;
    size_t j = colon + 1;
    for (; j < l.size() && l[j] != L'%'; j++) {
        if (escapes && l[j] == esc && j + 1 < l.size()) j++;
        else if (l[j] == L'=' || l[j] == L'~') form = true;
    }
    if (!form || j >= l.size()) return colon;
    if (escapes)
        for (size_t k = colon + 1; k < j; k++)
            if (l[k] == esc) {
                l.erase(k, 1);   // the loop then steps over the escaped character
                j--;
            }
    return j;
}

// The plain walk over a name from i.
size_t WalkName(CString &l, size_t i) {
    bool cmdNames = aIniFile.CMDVariables != 0;
    for (size_t e = i; e < l.size(); e++) {
        wchar_t c = l[e];
        if (c == L'~') {
            if (e == i) continue;
            return e;
        }
        if (c == L':') return ColonStretch(l, e);
        if (cmdNames) {
            if (c == L'%') return e;
            continue;
        }
        if (IsNameChar(c)) continue;
        if (l.compare(e, CString::npos, L"(x86)%") == 0) return e + 5;
        return e;
    }
    return l.size();
}

struct NameSpan {
    size_t end;            // the index behind the name
    bool batchArgument;    // a batch argument takes no closing "%"
};

NameSpan NameEnd(CString &l, size_t i, bool atDelayed) {
    wchar_t c = l.At(i);
    if (atDelayed) {   // a !name! runs to the "%" put behind it
        size_t e = i;
        while (e < l.size() && !(l[e] == L'%' && (e == i || l[e - 1] != EscapeCharValue()))) e++;
        return {e, false};
    }
    if (c == L'*' && (!l.At(i + 1) || wcschr(L" \t,\"|<>{}();+=/'", l[i + 1]))) return {i + 1, false};
    // In a batch file %* is the argument line whatever follows it: "[%*]".
    if (c == L'*' && CurrentFrame()) return {i + 1, true};
    wchar_t pc = ParameterCharValue();
    if (CurrentFrame() && (IsDigit(c) || c == L'-' || c == pc)) {
        size_t e = i + 1;
        if (c != L'0') {
            e = i + (c == L'-' ? 1 : 0);
            while (IsDigit(l.At(e))) e++;
            if (l.At(e) == pc) e++;
        }
        return {std::max(e, i + 1), true};
    }
    if (c && wcschr(L"#?!+", c)) return {i + 1, false};
    if (c == L'_' && l.At(i + 1) == L'?') return {i + 2, false};
    for (const wchar_t *word : {L"ProgramFiles(x86)", L"CommonProgramFiles(x86)"}) {
        size_t n = wcslen(word);
        wchar_t behind = l.At(i + n);
        if (StrNICmp(l.c_str() + i, word, n) == 0 && !iswalnum(behind) && behind != L'_') return {i + n, false};
    }
    return {WalkName(l, i), false};
}

bool ReadNumber(const wchar_t *&p, long long *n) {
    p = SkipWhiteSpace(p);
    const wchar_t *digits = p + (*p == L'-' || *p == L'+' ? 1 : 0);
    if (!IsDigit(*digits)) return false;
    wchar_t *end = nullptr;
    *n = wcstoll(p, &end, 10);
    p = end;
    return true;
}

// %name:~start,count%: a negative start counts from the end (past the
// start of the value it gives nothing); a negative count cuts that many
// characters off the end.  False when no start can be read.
bool Substring(const CString &value, const CString &range, CString *out) {
    const wchar_t *p = range.c_str();
    long long start = 0, count = 0;
    if (!ReadNumber(p, &start)) return false;
    p = SkipWhiteSpace(p);
    bool hasCount = false;
    if (*p == L',') {
        p++;
        hasCount = ReadNumber(p, &count);
    }
    long long length = (long long)value.size();
    long long from = start < 0 ? (-start > length ? length : length + start) : std::min(start, length);
    CString rest = value.Mid((size_t)from);
    long long left = (long long)rest.size();
    if (hasCount) {
        if (count < 0) rest.Truncate(-count >= left ? 0 : (size_t)(left + count));
        else if (count < left) rest.Truncate((size_t)count);
    }
    *out = rest;
    return true;
}

size_t FindNoCase(const CString &text, const CString &what) {
    if (what.size() > text.size()) return CString::npos;
    for (size_t at = 0; at + what.size() <= text.size(); at++)
        if (StrNICmp(text.c_str() + at, what.c_str(), what.size()) == 0) return at;
    return CString::npos;
}

// %name:search=replacement%.  "*text" replaces everything up to and with
// the first text (without case); any other search replaces every
// occurrence, matched exactly.
CString ReplaceText(const CString &value, const CString &search, const CString &replacement) {
    if (search[0] == L'*') {
        CString what = search.Mid(1);
        size_t at = FindNoCase(value, what);
        if (at == CString::npos) return value;
        return replacement + value.Mid(at + what.size());
    }
    CString out = value;
    out.Replace(search.c_str(), replacement.c_str());
    return out;
}

// The %name:...% forms.  True with *value when the form applies; false to
// read the base name plainly (or after an error, in *rc).
bool CmdForm(const CString &name, CString *value, int *rc) {
    size_t colon = name.find(L':');
    CString base = name.Left(colon), rest = name.Mid(colon + 1), current;
    if (base.empty() || (!EnvironmentValue(base, &current) && !PseudoVariableValue(base, &current))) return false;
    if (rest.At(0) == L'~') return Substring(current, rest.Mid(1), value);
    size_t eq = rest.find(L'=');
    if (eq == CString::npos) return false;
    CString search = rest.Left(eq), replacement = rest.Mid(eq + 1);
    if (search.empty()) {
        *rc = BDError(ERROR_BD_SYNTAX, FormatStr(L":%s=%s", search.c_str(), replacement.c_str()).c_str());
        return false;
    }
    *value = ReplaceText(current, search, replacement);
    return true;
}

// A variable whose value holds its own %name% is inserted once and ends
// the call, instead of growing the line for ever.
bool HoldsOwnReference(const CString &value, const CString &name) {
    return FindNoCase(value, L"%" + name + L"%") != CString::npos;
}

}  // namespace

int NameValue(Expansion &x, const CString &fullName, const CString &letters, const CString &searchVar,
              bool hasModifiers, bool nameClosed, Found &found) {
    CString name = fullName, value;
    if (nameClosed && name.find(L':') != CString::npos) {
        int rc = 0;
        if (CmdForm(name, &value, &rc)) {
            found.Set(value);
            return 0;
        }
        if (rc) return rc;
        name.Truncate(name.find(L':'));
    }
    if (BatchArgumentValue(name, hasModifiers ? &letters : nullptr, &value)) {
        if (hasModifiers)
            if (int rc = ApplyModifiers(letters, searchVar, value, &value)) return rc;
        found.Set(value);
        return 0;
    }
    if (name == L"+") {
        found.Set(CString(1, CommandSepChar()));
        return 0;
    }
    if (GosubVariableValue(name, &value)) {
        found.Set(value);
        return 0;
    }
    if (EnvironmentValue(name, &value)) {
        found.Set(value);
        found.endCall = !x.nested && HoldsOwnReference(value, name);
        return 0;
    }
    CString probe = name;
    const wchar_t *internal = InternalVariable(probe);
    if (!internal) {
        probe = name;
        internal = CommandCounter(probe);
    }
    if (internal) {
        found.Set(internal);
        return 0;
    }
    if (PseudoVariableValue(name, &value)) found.Set(value);
    return 0;
}

int ExpandNamedReference(Expansion &x, Found &found) {
    CString &l = x.line;
    CString letters, searchVar, value;
    bool hasModifiers = l.At(x.pos) == L'~';
    size_t i = hasModifiers ? ReadModifiers(l, x.pos, &letters, &searchVar) : x.pos;
    bool atDelayed = i == x.delayedAt;
    if (atDelayed) x.delayedAt = CString::npos;
    if (!atDelayed && l.At(i) && !NamesSetVariable(l, i) && QueryForVariable(l[i], &value)) {
        l.erase(x.pos, i + 1 - x.pos);
        if (hasModifiers)
            if (int rc = ApplyModifiers(letters, searchVar, value, &value)) return rc;
        found.Set(value);
        return 0;
    }
    NameSpan span = NameEnd(l, i, atDelayed);
    bool closed = !span.batchArgument && l.At(span.end) == L'%';
    CString name = l.substr(i, std::min(span.end - i, kMaxName));
    l.erase(x.pos, span.end - x.pos + (closed ? 1 : 0));
    if (name.empty()) return 0;
    return NameValue(x, name, letters, searchVar, hasModifiers, closed, found);
}
