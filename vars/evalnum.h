// The evaluator's number layer over libmpdec: one owned decimal value,
// the process-wide lock around the library, exact and working-precision
// arithmetic, conversions and the math functions.
//
// Precision.  "places" is the number of decimal places the caller wants
// correct (EvalMax or the =n.m option).  An operation whose result is not
// exact computes with places plus guard digits after the point and keeps
// every digit before it, so integer results (2**200, fact(100)) are exact
// and the output can cut the fraction at places.  Addition, subtraction and
// multiplication are exact.  No value may need more than EVAL_MAX_DIGITS
// digits; such a value is an overflow.
#pragma once
#include <cstdint>
#include <string>
#include <mpdecimal.h>
#include "base/errors.h"

constexpr int64_t EVAL_MAX_DIGITS = 1000000;
constexpr int EVAL_GUARD = 10;

// A failure inside the evaluator: thrown, and caught at the entry point.
struct EvalError {
    int code;
    CString text;
};
[[noreturn]] void EvalFail(int code, const wchar_t *text = nullptr);

// Holds the process-wide critical section of the decimal library for its
// lifetime (re-entrant on one thread).  The first one sets the library up.
class MpdLock {
public:
    MpdLock();
    ~MpdLock();
    MpdLock(const MpdLock &) = delete;
    MpdLock &operator=(const MpdLock &) = delete;
};

// One decimal value; owns its mpd_t and frees it under the lock.
class Decimal {
public:
    Decimal();                      // zero
    ~Decimal();
    Decimal(Decimal &&other) noexcept : p(other.p) { other.p = nullptr; }
    Decimal &operator=(Decimal &&other) noexcept;
    Decimal(const Decimal &) = delete;
    Decimal &operator=(const Decimal &) = delete;
    mpd_t *p;
};

// A context for results of prec significant digits, traps off.
mpd_context_t EvalContext(int64_t prec);
// Fails with the evaluator's code for the error flags in status;
// invalid is the code for an invalid operation.
void CheckStatus(uint32_t status, int invalid = ERROR_BD_EVAL_SYNTAX);
// One operation of the library into a new value, under the lock:
// f(result, context, status) runs in ctx, and its status is checked by
// CheckStatus (invalid is the code of an invalid operation); *status, when
// given, takes it for further checks.
template <typename F>
Decimal Compute(mpd_context_t ctx, F f, int invalid = ERROR_BD_EVAL_SYNTAX, uint32_t *status = nullptr);
// Significant digits for a result with about intDigits digits before the
// point and places correct after it; an overflow past EVAL_MAX_DIGITS.
int64_t ResultPrecision(int64_t intDigits, int places);

// Conversions.
Decimal DecCopy(const Decimal &a);
Decimal DecFromInt(int64_t value);
Decimal DecFromUnsigned(uint64_t value);
// Exact value of an ASCII decimal text ("-1.5e3"); a syntax error if bad.
Decimal DecFromText(const std::string &text);
// The value as a 64-bit integer, the fraction cut off; values from 2**63
// to 2**64-1 wrap to negative.  Anything larger is an overflow.
int64_t DecToInt64(const Decimal &a);
// The nearest double (for estimates of size only).
double DecToDouble(const Decimal &a);
// Coefficient digits, sign and exponent: value = (-1)^neg * digits * 10^exp.
std::string DecDigits(const Decimal &a, int64_t *exponent, bool *negative);

// Tests.
bool DecIsZero(const Decimal &a);
bool DecIsNegative(const Decimal &a);
bool DecIsInteger(const Decimal &a);
int DecCompare(const Decimal &a, const Decimal &b);
// Position of the leading digit: 10^adjexp <= |a| < 10^(adjexp+1).
int64_t DecAdjustedExponent(const Decimal &a);

// Exact arithmetic.
Decimal DecAdd(const Decimal &a, const Decimal &b);
Decimal DecSub(const Decimal &a, const Decimal &b);
Decimal DecMul(const Decimal &a, const Decimal &b);
Decimal DecNegate(const Decimal &a);
Decimal DecAbs(const Decimal &a);
Decimal DecFloor(const Decimal &a);
Decimal DecCeil(const Decimal &a);
Decimal DecTrunc(const Decimal &a);
// Quotient truncated toward zero, and the remainder with the sign of a.
Decimal DecDivInt(const Decimal &a, const Decimal &b);
Decimal DecRem(const Decimal &a, const Decimal &b);
// a * 2**n (left) or a \ 2**n (right), n >= 0.
Decimal DecShift(const Decimal &a, const Decimal &n, bool left);

// Arithmetic at the working precision.
Decimal DecDiv(const Decimal &a, const Decimal &b, int places);
Decimal DecPow(const Decimal &a, const Decimal &b, int places);
// Rounds a to prec significant digits (ties to even unless told).
Decimal DecRound(const Decimal &a, int64_t prec, int rounding = MPD_ROUND_HALF_EVEN);
// Rounds a to places digits after the point, ties away from zero; a value
// with no more places than that is returned as it is.  Division, powers
// and the math functions give their results this way, so that the output
// (which cuts) shows 1/6 to three places as 0.167.
Decimal DecRoundPlaces(const Decimal &a, int places);
// The same for scientific output, where the places are those of the
// mantissa: a is rounded to places + 1 significant digits.
Decimal DecRoundSignificant(const Decimal &a, int places);

// Math functions (evalmath.cpp).  A function takes its argument and the
// places of the result.
using EvalMathFunction = Decimal (*)(const Decimal &x, int places);
// Looks a name up case-insensitively; null when it is not a function.
EvalMathFunction FindMathFunction(const CString &name);
Decimal DecPi(int places);
Decimal DecLog(const Decimal &x, int places);
Decimal DecLog2(const Decimal &x, int places);

template <typename F> Decimal Compute(mpd_context_t ctx, F f, int invalid, uint32_t *status) {
    MpdLock lock;
    Decimal r;
    uint32_t seen = 0;
    f(r.p, &ctx, &seen);
    CheckStatus(seen, invalid);
    if (status) *status = seen;
    return r;
}

// The tokenizer and parser (evalparse.cpp): the value of an expression
// (without options), with places decimal places of working precision
// (places after the first significant digit when scientific).
Decimal EvalParse(const CString &text, int places, bool scientific = false);
