// The bracketed forms of variable expansion: %((expression)), %[[condition]],
// %(command), %@function[arguments], %[name] and the array element
// %name[i,j].  Each takes its text out of the line at pos and yields the
// value that goes in its place.
#include <cwctype>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "vars/arrays.h"
#include "vars/expand_internal.h"
#include "vars/functions.h"

namespace {

constexpr size_t kMaxFunctionName = 31;   // with its "@"
constexpr size_t kMaxArrayName = 127;
constexpr int kMaxArrayIndices = 4;

// The index of the bracket that closes the one at open, under quotes, or
// the end of the line when there is none; npos after a reported error.
size_t ClosingBracket(const CString &line, size_t open, const wchar_t *stops, const wchar_t *quotes) {
    int at = ScanIndex(line.c_str() + open, stops, quotes);
    return at < 0 ? CString::npos : open + (size_t)at;
}

// "%" and the text from pos: how a form that cannot be read is shown.
CString ShownFrom(const Expansion &x, const CString &prefix) { return L"%" + prefix + x.line.Mid(x.pos); }

// %((expression)) and %(command); pos is at the first "(".
int ParenForm(Expansion &x, Found &found, bool arithmetic) {
    CString &l = x.line;
    size_t close = ClosingBracket(l, x.pos, L")", L"`(");
    if (close == CString::npos) return 2;
    if (l.At(close) != L')') return BDError(ERROR_BD_UNBALANCED_PARENS, ShownFrom(x, L"").c_str());
    CString inner = l.substr(x.pos + 1, close - x.pos - 1);
    l.erase(x.pos, close - x.pos + 1);
    if (int rc = BracketExpansion(inner)) return rc;
    if (arithmetic) {
        if (int rc = InlineExpression(inner)) return rc;
        found.Set(inner);
        return 0;
    }
    // %(command) is @EXEC[command]: the command runs, its value stands.
    CString name = L"@EXEC";
    int rc = VariableFunction(name, inner);
    if (rc != 0 && rc != FUNC_NO_RESCAN) return rc > 0 ? BDError(rc, (L"%(" + inner + L")").c_str()) : rc;
    found.Set(inner);
    found.rescan = FUNC_NO_RESCAN;
    return 0;
}

// %[[condition]]: the condition goes to the tester unexpanded.
int ConditionForm(Expansion &x, Found &found) {
    CString &l = x.line;
    size_t close = ClosingBracket(l, x.pos, L"]", L"`[");
    if (close == CString::npos) return 2;
    if (l.At(close) != L']' || close < x.pos + 3 || l[close - 1] != L']')
        return BDError(ERROR_BD_SYNTAX, ShownFrom(x, L"").c_str());
    CString condition = l.substr(x.pos + 2, close - 1 - (x.pos + 2));
    l.erase(x.pos, close - x.pos + 1);
    if (int rc = InlineCondition(condition)) return rc;
    found.Set(condition);
    return 0;
}

bool IsRegexFunction(const CString &name) {
    return name.EqualsNoCase(L"@regexindex") || name.EqualsNoCase(L"@regex") || name.EqualsNoCase(L"@regexsub");
}

// Up to four comma-separated integers; the count read.
int ReadIndices(const CString &text, int *indices) {
    const wchar_t *p = text.c_str();
    int count = 0;
    while (count < kMaxArrayIndices) {
        p = SkipWhiteSpace(p);
        const wchar_t *digits = p + (*p == L'-' || *p == L'+');
        if (!iswdigit(*digits)) break;
        indices[count++] = (int)wcstol(p, const_cast<wchar_t **>(&p), 10);
        p = SkipWhiteSpace(p);
        if (*p != L',') break;
        p++;
    }
    return count;
}

// The element that indexText picks in an array.  *isReference is false
// when the text holds no index, so that it is no array reference.
int ArrayElement(int array, CString indexText, const CString &shown, CString *value, bool *isReference) {
    *isReference = false;
    if (int rc = BracketExpansion(indexText)) return rc;
    int indices[kMaxArrayIndices] = {};
    int count = ReadIndices(indexText, indices);
    if (!count) return 0;
    *isReference = true;
    if (int rc = ReadArrayElement(array, indices, count, value)) return BDError(rc, shown.c_str());
    return 0;
}

// %[name[i]]: the text names an array element when what stands left of its
// first "[" names an array.
int BracketArrayElement(const CString &text, Found &found, bool *handled) {
    *handled = false;
    size_t open = text.find_first_of(L"%[");
    if (open == CString::npos || open == 0 || text[open] != L'[') return 0;
    CString name = text.Left(open);
    if (int rc = BracketExpansion(name)) return rc;
    int array = QueryArrayVariable(name.c_str());
    if (array < 0) return 0;
    size_t close = ClosingBracket(text, open, L"]", L"\"`[");
    if (close == CString::npos) return 2;
    if (text.At(close) != L']') return 0;
    CString value;
    int rc = ArrayElement(array, text.substr(open + 1, close - open - 1), L"%" + text, &value, handled);
    if (!rc && *handled) found.Set(value);
    return rc;
}

// Calls the function dispatcher and reads its result.
int CallFunction(const CString &functionName, CString &args, Found &found) {
    CString name = functionName, given = args;
    int result = VariableFunction(name, args);
    if (result > 0) return BDError(result, FormatStr(L"%%%s[%s]", functionName.c_str(), given.c_str()).c_str());
    if (result < 0 && result != FUNC_NO_RESCAN && result != FUNC_USER_RESULT) return 2;
    found.Set(args);
    found.rescan = result;
    return 0;
}

// %[name] and, with a name, %@name[arguments]; pos is at the "[".
int BracketNameForm(Expansion &x, Found &found, const CString &name) {
    CString &l = x.line;
    size_t close = ClosingBracket(l, x.pos, L"]", L"\"`[");
    if (close == CString::npos) return 2;
    // A regular expression may hold quotes and brackets of its own.
    if (l.At(close) != L']' && ((ParseFlagsValue() & PF_NO_QUOTES) || IsRegexFunction(name)))
        if ((close = ClosingBracket(l, x.pos, L"]", L"[")) == CString::npos) return 2;
    if (l.At(close) != L']') return BDError(ERROR_BD_SYNTAX, ShownFrom(x, name).c_str());
    CString text = l.substr(x.pos + 1, close - x.pos - 1);
    l.erase(x.pos, close - x.pos + 1);
    if (name.empty()) {
        bool handled = false;
        int rc = BracketArrayElement(text, found, &handled);
        if (rc || handled) return rc;
        if ((rc = BracketExpansion(text))) return rc;
        return NameValue(x, text, CString(), CString(), false, false, found);
    }
    // The arguments of @EVAL are expanded as quoted text, so that its
    // operators are not taken for separators.
    bool quoted = false;
    if (name.EqualsNoCase(L"@eval") && text.find(L'%') != CString::npos) {
        CString before = text;
        AddQuotes_S(text);
        quoted = text != before;
    }
    if (int rc = BracketExpansion(text)) return rc;
    if (quoted) StripEnclosingQuotes_S(text);
    return CallFunction(name, text, found);
}

// %@name[...]: the name runs to the "[", at most 31 characters.
int FunctionForm(Expansion &x, Found &found) {
    CString &l = x.line;
    size_t n = 0;
    while (n < kMaxFunctionName && l.At(x.pos + n) && l[x.pos + n] != L'[') n++;
    CString name = l.substr(x.pos, n);
    if (l.At(x.pos + n) != L'[') return BDError(ERROR_BD_SYNTAX, (L"%" + name).c_str());
    l.erase(x.pos, n);
    return BracketNameForm(x, found, name);
}

}  // namespace

int ExpandBracketForm(Expansion &x, Found &found, bool *handled) {
    CString &l = x.line;
    wchar_t ch = l.At(x.pos), next = l.At(x.pos + 1);
    *handled = true;
    if (ch == L'(') return ParenForm(x, found, next == L'(');
    if (ch == L'[' && next == L'[') return ConditionForm(x, found);
    if (ch == L'[') return BracketNameForm(x, found, CString());
    if (ch == L'@') {
        if (next && iswalpha(next)) return FunctionForm(x, found);
        l.Delete(x.pos);   // "%@" alone: the batch argument form "@"
        return NameValue(x, L"@", CString(), CString(), false, false, found);
    }
    *handled = false;
    return 0;
}

int ExpandArrayReference(Expansion &x, Found &found, bool *handled) {
    CString &l = x.line;
    *handled = false;
    size_t n = 0;
    while (n < kMaxArrayName && l.At(x.pos + n) && !wcschr(L" <>|=.*?!@#$%^&[", l[x.pos + n])) n++;
    if (!n || l.At(x.pos + n) != L'[') return 0;
    int array = QueryArrayVariable(l.substr(x.pos, n).c_str());
    if (array < 0) return 0;
    size_t open = x.pos + n;
    size_t close = ClosingBracket(l, open, L"]", L"\"`[");
    if (close == CString::npos) return 2;
    if (l.At(close) != L']') return 0;
    CString value;
    CString shown = L"%" + l.substr(x.pos, close - x.pos + 1);
    int rc = ArrayElement(array, l.substr(open + 1, close - open - 1), shown, &value, handled);
    if (rc || !*handled) return rc;
    l.erase(x.pos, close - x.pos + 1);
    found.Set(value);
    return 0;
}
