// Regular expression functions: @REGEX, @REGEXINDEX, @REGEXSUB and
// @REREPLACE.  The expression stays as written (its "^" and "\" belong to
// it); the text is unescaped as every function's text is.
#include <cwchar>
#include "base/args.h"
#include "vars/func_internal.h"
#include "vars/regex.h"

namespace {

// "expr,rest": an expression in double quotes ends at the first quote
// that a comma follows (its quotes are removed); otherwise at the first
// comma.
bool SplitExpression(const CString &args, CString *expr, CString *rest) {
    size_t cut;
    if (args.At(0) == L'"') {
        size_t close = args.find(L"\",", 1);
        if (close == CString::npos) return false;
        *expr = args.substr(1, close - 1);
        cut = close + 1;
    } else {
        cut = args.find(L',');
        if (cut == CString::npos) return false;
        *expr = args.Left(cut);
    }
    *rest = args.Mid(cut + 1);
    return true;
}

}  // namespace

// @REGEX[expr,string]: 1 when expr matches in string, else 0.
// @REGEXINDEX[expr,string]: the offset of the first match, -1 for none.
// @REGEXSUB[n,expr,string]: the text of group n of the first match.
int Func_Regex(FUNCCALL &call) {
    CString args = call.args;
    unsigned group = 0;
    if (call.nCase == FC_regexsub) {
        int n;
        CString rest;
        if (!ReadCountAndText(args, &n, &rest) || n < 0) return ERROR_INVALID_PARAMETER;
        group = (unsigned)n;
        args = rest;
    }
    CString expr, text;
    if (!SplitExpression(args, &expr, &text) || expr.empty()) return ERROR_INVALID_PARAMETER;
    UnEscapeLine(text);
    int offset = -1, length = 0;
    int found = RegularExpressionFind(expr.c_str(), text, group, &offset, &length);
    if (found < 0) return -2;
    if (call.nCase == FC_regex) return SetNumber(call.args, found);
    if (call.nCase == FC_regexindex) return SetNumber(call.args, found ? offset : -1);
    call.args = found && offset >= 0 ? text.Mid((size_t)offset, (size_t)length) : CString();
    return 0;
}

// @REREPLACE[expr,replacement,string]: every match replaced; \1 to \9 and
// \{n} in the replacement stand for groups.  "n$expr" replaces at most n.
int Func_ReReplace(FUNCCALL &call) {
    CString expr, rest, replacement, text;
    if (!SplitExpression(call.args, &expr, &rest) || expr.empty()) return ERROR_INVALID_PARAMETER;
    if (!SplitExpression(rest, &replacement, &text)) return ERROR_INVALID_PARAMETER;
    UnEscapeLine(text);
    CString result;
    if (BackRefReplace(result, replacement.c_str(), text.c_str(), expr.c_str(), 0)) return -2;
    call.args = result;
    return 0;
}
