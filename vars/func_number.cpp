// Arithmetic functions that hand their text to the expression evaluator.
#include "base/format.h"
#include "base/locale.h"
#include "vars/eval.h"
#include "vars/func_internal.h"

namespace {

// Evaluate in place; an evaluator error has been reported already.
int Evaluate(CString &text) { return EvaluateExpression(text) ? -2 : 0; }

}  // namespace

// @EVAL[expression]
int Func_Eval(FUNCCALL &call) { return Evaluate(call.args); }

// @INC[x], @DEC[x]: x plus or minus one, to at most ten places.
int Func_IncDec(FUNCCALL &call) {
    const wchar_t *step = call.nCase == FC_inc ? L" +1=0%c10" : L"-1=0%c10";
    call.args += FormatStr(step, QueryDecimalChar());
    return Evaluate(call.args);
}
