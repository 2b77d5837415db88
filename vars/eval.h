// The expression evaluator: arbitrary-precision decimal arithmetic behind
// @EVAL, %((...)), SET /A and the numeric tests, and the small numeric text
// helpers that the function families share.
#pragma once
#include <vector>
#include "base/cstring.h"

// Evaluates expr ("expression[=options]") and replaces it with the result
// text.  Returns 0, or reports the failure with BDError and returns its
// result; expr is unchanged after a failure.
int EvaluateExpression(CString &expr);

// The same without reporting: returns 0 or the error code, and the text
// that goes with the code in *errorText (when given).
int EvaluateExpressionQuiet(CString &expr, CString *errorText = nullptr);

// One part of an assignment list: "name=expr", "name op= expr" (op one of
// + - * / % & ^ | << >> \ **), "a=b=expr" (assigns right to left) or a bare
// expression.  part is replaced with the value.  Nothing is assigned when
// the expression fails.  Returns 0 or the reported error's result.
enum : unsigned { EVAL_INTEGER_DIVISION = 1 };  // each "/" divides as "\"
int EvaluateAssignment(CString &part, unsigned flags);

// A comma-separated list of such parts (commas inside (), [] and quotes
// do not split), evaluated left to right; values takes each part's value.
// Stops at the first failure, which is reported.
int EvaluateAssignmentList(const CString &text, unsigned flags, std::vector<CString> *values);

// The evaluator's view of variables.  EvalGetVariable returns 0 with the
// value, -1 when the name is not defined, or an error code (array element
// references).  EvalSetVariable returns 0 or an error code.
int EvalGetVariable(const CString &name, CString &value);
int EvalSetVariable(const CString &name, const CString &value);

// A plain conversion of a decimal text with optional sign, thousands
// characters, a decimal part and an E exponent.
double AsciiToDouble(const wchar_t *text);

// True for an optional sign, digits with thousands characters before the
// decimal character, at most one decimal character, and nothing else.
int QueryIsNumeric(const wchar_t *text);

// Inserts the thousands character every three digits of the integer part.
void AddCommas(CString &text);

// A cryptographically random integer from low to high inclusive.
long long GetRandom(long long low, long long high);
