// Inline arithmetic %((...)) and inline conditions %[[...]]: each form
// reaches its engine through one function.
#include "base/errors.h"
#include "batch/batch.h"
#include "vars/eval.h"
#include "vars/expand_internal.h"

// text: the expression with its parentheses; receives the number.
int InlineExpression(CString &text) { return EvaluateExpression(text); }

// text: the condition, unexpanded; receives "1" when it holds, else "0".
int InlineCondition(CString &text) {
    CString line = text;
    int result = TestCondition(line, 0);
    if (result < 0) return BDError(ERROR_BD_SYNTAX, text.c_str());
    text = result ? L"1" : L"0";
    return 0;
}
