// Inline arithmetic %((...)) and inline conditions %[[...]].  Each form
// reaches its engine through this one function; until the expression
// evaluator and the condition tester are linked in, the forms are refused
// with a clear message rather than given a made-up value.
#include "vars/expand_internal.h"

// text: the expression with its parentheses; receives the number.
int InlineExpression(CString &) { return BDError(ERROR_BD_NOT_AVAILABLE, L"arithmetic"); }

// text: the condition, unexpanded; receives "1" when it holds, else "0".
int InlineCondition(CString &) { return BDError(ERROR_BD_NOT_AVAILABLE, L"conditions"); }
