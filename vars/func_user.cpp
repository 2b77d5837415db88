// The value of a user-defined function: its stored text with the parameters
// %1, %2$, %-3$, %# and %0 replaced from the call's arguments.  What else the
// text holds (%var%, %@func[...]) is left for the rescan by variable
// expansion, which the result code FUNC_USER_RESULT asks for.
#include <cwctype>
#include "base/args.h"
#include "base/format.h"
#include "base/options.h"
#include "vars/func_internal.h"
#include "vars/functions.h"

namespace {

// Arguments are comma or white-space separated and may be bracketed.
constexpr int kArgMode = ARG_BRACKETS | ARG_NO_SWITCH_SPLIT;

bool ArgumentAt(const CString &argText, int n, CString *out, int *start) {
    if (n < 1 || n - 1 > ARG_INDEX_MASK) return false;
    return GetNthArgument(argText.c_str(), (n - 1) | kArgMode, out, start) > 0;
}

int CountArguments(const CString &argText) {
    int count = 0;
    while (count <= ARG_INDEX_MASK && GetNthArgument(argText.c_str(), count | kArgMode, nullptr) > 0) count++;
    return count;
}

// %n$: the argument text from argument n to its end.
CString ArgumentsFrom(const CString &argText, int n) {
    CString arg;
    int start = -1;
    return ArgumentAt(argText, n, &arg, &start) ? argText.Mid((size_t)start) : CString();
}

// %-n$: from the second argument up to the start of argument n; the first
// argument is left out on purpose.
CString ArgumentsBefore(const CString &argText, int n) {
    CString arg;
    int second = -1, nth = -1;
    if (!ArgumentAt(argText, n, &arg, &nth) || !ArgumentAt(argText, 2, &arg, &second) || nth <= second)
        return CString();
    CString text = argText.Mid((size_t)second, (size_t)(nth - second));
    text.TrimRight(L" \t");
    return text;
}

// The replacement of the parameter at text[at] ("%..."); length receives the
// characters it replaces.  False when the "%" is no parameter.
bool Parameter(const CString &text, size_t at, const CString &argText, const CString &funcName,
               CString *value, size_t *length) {
    wchar_t c = text.At(at + 1), pc = ParameterCharValue();
    if (c == L'#') {
        *value = FormatStr(L"%d", CountArguments(argText));
        *length = 2;
        return true;
    }
    bool digit = c >= L'0' && c <= L'9';
    if (!digit && c != pc && !(c == L'-' && iswdigit(text.At(at + 2)))) return false;
    int n = 0, used = 0;
    Sscanf(text.c_str() + at + 1, L"%d%n", &n, &used);
    *length = 1 + (size_t)used;
    if (text.At(at + 1 + used) == pc) {
        ++*length;
        *value = n < 0 ? ArgumentsBefore(argText, -n) : ArgumentsFrom(argText, n == 0 ? 1 : n);
    } else if (c == L'0' && n == 0) {
        *value = funcName.At(0) == L'@' ? funcName.Mid(1) : funcName;
    } else {
        value->Empty();
        ArgumentAt(argText, n, value, nullptr);
    }
    return true;
}

}  // namespace

int ExpandUserFunction(const wchar_t *body, const CString &funcName, CString &args) {
    const CString argText = args;
    CString text = body ? body : L"";
    for (size_t pos = 0; pos < text.size();) {
        int at = ScanIndex(text.c_str() + pos, L"%", L"`");
        if (at < 0) return -2;
        size_t i = pos + (size_t)at;
        if (i >= text.size()) break;
        if (text.At(i + 1) == L'%') {
            pos = i + 2;
            continue;
        }
        CString value;
        size_t length = 0;
        if (!Parameter(text, i, argText, funcName, &value, &length)) {
            pos = i + 1;
            continue;
        }
        text.replace(i, length, value);
        pos = i + value.size();  // inserted text is not searched for parameters
    }
    args = text;
    return FUNC_USER_RESULT;
}
