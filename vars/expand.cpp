// VariableExpansion turns the "%" forms of a line into their values, in
// place and left to right, over the line's first command only: what lies
// behind the first separator, pipe or " && " is expanded when its own turn
// comes.  Each pass finds the next "%" at or after pos, reads one form,
// takes its text out and puts the value in at pos.  The value is scanned
// again (nested variables) unless the switches or the form say otherwise.
// The forms themselves are read in expand_forms.cpp (brackets, functions,
// arrays) and expand_names.cpp (names, modifiers, the sources of values).
#include <cwctype>
#include "vars/expand.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/hooks.h"
#include "base/options.h"
#include "base/state.h"
#include "vars/expand_internal.h"
#include "vars/functions.h"
#include "vars/vars.h"

namespace {

constexpr int kMaxRepeats = 16;    // passes in a row at one index
constexpr int kMaxNesting = 20;    // bracketed expansions inside each other
// A value that refers to itself in a spelling that the self-reference rule
// does not see ("x%a") makes the line grow at an index that moves, which
// the repeat count cannot catch.  Such a loop inserts text holding a "%"
// again and again; no real line does that this often.
constexpr int kMaxNestedInsertions = 4096;

// At the top of a pass: is the line a command group, and where does its
// first command end.  ENDLOCAL expands to the end of the line.
int ComputeLimit(Expansion &x) {
    CString first;
    GetNthArgument(x.line.c_str(), 0, &first);
    unsigned saved = aIniFile.ParseFlags;
    if (first.EqualsNoCase(L"endlocal")) aIniFile.ParseFlags |= PF_NO_COMPOUND;
    x.group = false;
    if (x.line.At(0) == L'(' && !x.nested) {
        unsigned flags = 0;
        x.group = aHooks.pfnFindCommand(x.line.c_str(), false, &flags, nullptr) < 0 || (flags & CF_GROUP);
    }
    int limit = ScanIndex(x.line.c_str(), nullptr, x.group ? L"`\"(" : L"`\"");
    aIniFile.ParseFlags = saved;
    if (limit < 0) return 2;
    x.limit = (size_t)limit;
    return 0;
}

bool IsDelayedNameChar(wchar_t c) { return c && (iswalnum(c) || wcschr(L"_,%~-", c)); }

// The closing "!" of a delayed name that opens at bang, or npos.  A ":"
// far enough in (the %name:...% forms) lets the name run to the next "!".
size_t DelayedNameEnd(const CString &line, size_t bang) {
    wchar_t c = line.At(bang + 1);
    if (!c || !(iswalnum(c) || c == L'%' || c == L'_')) return CString::npos;
    size_t j = bang + 2;
    for (;; j++) {
        wchar_t d = line.At(j);
        if (d == L':' && j - bang > 2) return line.find(L'!', j);
        if (!IsDelayedNameChar(d)) break;
    }
    return line.At(j) == L'!' ? j : CString::npos;
}

// Delayed names: the first !name! before the limit becomes %name%, its own "%"
// escaped, and is then read by the ordinary passes.
int DelayedExpansion(Expansion &x) {
    if (!aGlobals.fDelayedExpansion) return 0;
    const wchar_t *quotes = x.group ? L"`(\"" : L"`";
    for (size_t from = x.pos; from < x.limit;) {
        int at = ScanIndex(x.line.c_str() + from, L"!", quotes);
        if (at < 0) return 2;
        size_t bang = from + (size_t)at;
        if (bang >= x.limit || x.line.At(bang) != L'!') return 0;
        size_t close = DelayedNameEnd(x.line, bang);
        if (close == CString::npos) {
            from = bang + 1;
            continue;
        }
        CString name = x.line.substr(bang + 1, close - bang - 1);
        if (name.find(L'%') != CString::npos) {
            int rc = VariableExpansion(name, 1);
            // Nothing raised the nesting for this call; lowering it anyway
            // keeps delayed names from counting against the bracket depth.
            GetTLS()->nVariableNesting--;
            if (rc) return rc;
        }
        CString escaped = L"%";
        for (wchar_t c : name) {
            if (c == L'%') escaped += EscapeCharValue();
            escaped += c;
        }
        escaped += L'%';
        size_t oldLength = close - bang + 1;
        x.line.replace(bang, oldLength, escaped);
        x.limit = x.limit + escaped.size() - oldLength;
        x.delayedAt = bang;
        return 0;
    }
    return 0;
}

// Move pos to the next "%" that is not back-quoted, and take
// it out.  False when the pass is done (*rc then holds the result).
bool NextPercent(Expansion &x, int *rc) {
    size_t place = x.line.find(L'%', x.pos);
    if (place != CString::npos) {
        int at = ScanIndex(x.line.c_str() + x.pos, L"%", x.group ? L"`(\"" : L"`");
        if (at < 0) {
            *rc = 2;
            return false;
        }
        place = x.pos + (size_t)at;
    } else {
        place = x.line.size();
    }
    x.pos = place;
    if (x.pos == x.lastPos) {
        if (++x.repeat > kMaxRepeats) {
            *rc = BDError(ERROR_BD_VARIABLE_LOOP, nullptr);
            return false;
        }
    } else {
        x.repeat = 0;
        x.lastPos = x.pos;
    }
    if (x.pos >= x.line.size() || x.pos >= x.limit) return false;
    x.line.Delete(x.pos);
    // A lone "%" at the end of the command has simply vanished.
    return x.pos < x.line.size() && x.pos + 1 < x.limit;
}

// A doubled "%".  True when one "%" was kept as text; false when
// the reference goes on as a single "%" (a FOR variable, or modifiers).
bool KeepDoubledPercent(Expansion &x) {
    CString &l = x.line;
    if (l.At(x.pos) != L'%') return false;
    wchar_t c = l.At(x.pos + 1);
    bool modifiers = c == L'~' && l.At(x.pos + 2);
    if (modifiers) {
        wchar_t letter = l.At(x.pos + 2);
        if (iswalpha(l.At(x.pos + 3)) && !wcschr(L"AaDdFfNnPpSsTtXxZz$", letter)) modifiers = false;
    }
    if (!modifiers && (!c || QueryIsWhiteSpace(c) || !QueryForVariable(c, nullptr))) {
        x.pos++;
        return true;
    }
    l.Delete(x.pos);
    return false;
}

bool InsertedInFirstWord(const Expansion &x) {
    CString word;
    int start = -1;
    if (!GetNthArgument(x.line.c_str(), 0, &word, &start)) return false;
    return (size_t)start + word.size() > x.pos;
}

// Put the value in and decide where scanning goes on.
int InsertValue(Expansion &x, const Found &found, bool *done) {
    x.line.insert(x.pos, found.value);
    if (found.endCall) {
        *done = true;
        return 0;
    }
    if (!x.nested && InsertedInFirstWord(x)) {
        // A variable that made the command word may have made an alias, or
        // a command that expands its own arguments.
        if (int rc = ExpandAliases(x.line)) return rc;
        unsigned flags = 0;
        if (aHooks.pfnFindCommand(x.line.c_str(), false, &flags, nullptr) >= 0 && !(flags & CF_EXPAND)) {
            *done = true;
            return 0;
        }
    }
    unsigned flags = ParseFlagsValue();
    bool skip = found.rescan == FUNC_USER_RESULT
                    ? (flags & PF_NO_FUNCTION_SKIP) != 0
                    : found.rescan == FUNC_NO_RESCAN || (flags & PF_NO_NESTED_VARIABLES);
    if (skip) x.pos += found.value.size();
    else if (found.value.find(L'%') != CString::npos && ++x.nestedInsertions > kMaxNestedInsertions)
        return BDError(ERROR_BD_VARIABLE_LOOP, nullptr);
    return 0;
}

int ExpandReference(Expansion &x, Found &found) {
    bool handled = false;
    int rc = ExpandBracketForm(x, found, &handled);
    if (rc || handled) return rc;
    rc = ExpandArrayReference(x, found, &handled);
    if (rc || handled) return rc;
    return ExpandNamedReference(x, found);
}

// One pass: one reference read and replaced.  *done when the call is over.
int ExpansionPass(Expansion &x, bool *done) {
    if (int rc = ComputeLimit(x)) return rc;
    if (int rc = DelayedExpansion(x)) return rc;
    int rc = 0;
    if (!NextPercent(x, &rc)) {
        *done = true;
        return rc;
    }
    if (KeepDoubledPercent(x)) return 0;
    Found found;
    if ((rc = ExpandReference(x, found))) return rc;
    if (!found.hasValue) return 0;
    return InsertValue(x, found, done);
}

// Lines with nothing to expand cost one search.
bool NeedsExpansion(const CString &line) {
    if (line.find(L'%') != CString::npos) return true;
    return aGlobals.fDelayedExpansion && line.find(L'!') != CString::npos;
}

}  // namespace

int BracketExpansion(CString &text) {
    if (text.find(L'%') == CString::npos) return 0;
    TLS_VARIABLES *tls = GetTLS();
    if (++tls->nVariableNesting > kMaxNesting) {
        tls->nVariableNesting = 0;
        return BDError(ERROR_BD_VARIABLE_LOOP, nullptr);
    }
    int rc = VariableExpansion(text, 1);
    tls->nVariableNesting--;
    return rc;
}

int VariableExpansion(CString &line, int nested) {
    if (ParseFlagsValue() & PF_NO_VARIABLES) return 0;
    if (!nested) GetTLS()->nVariableNesting = 0;
    if (!NeedsExpansion(line)) return 0;
    Expansion x{line, nested};
    if (int rc = ExpandPseudoVariables(line)) return rc;
    for (;;) {
        bool done = false;
        int rc = ExpansionPass(x, &done);
        if (rc || done) return rc;
        if ((rc = ExpandPseudoVariables(line))) return rc;
    }
}
