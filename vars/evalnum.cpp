// The evaluator's number layer: libmpdec behind one process-wide critical
// section, with exact arithmetic for + - * and working precision for the
// rest.  Library status flags become the evaluator's error codes here.
#include <cmath>
#include "vars/evalnum.h"
#include "base/errors.h"

namespace {

// The library's one-time set-up and its lock.  mpd_init may run only once
// in a process (it fixes the minimum allocation).
struct DecimalLibrary {
    CRITICAL_SECTION lock;
    DecimalLibrary() {
        InitializeCriticalSection(&lock);
        mpd_context_t ctx;
        mpd_init(&ctx, 38);
    }
};

DecimalLibrary &Library() {
    static DecimalLibrary library;
    return library;
}

// The context of exact operations: as many digits as a value may hold.
mpd_context_t ExactContext() { return EvalContext(EVAL_MAX_DIGITS); }

// An exact operation that had to round needed more digits than allowed.
void CheckExact(uint32_t status) {
    CheckStatus(status);
    if (status & MPD_Inexact) EvalFail(ERROR_BD_EVAL_OVERFLOW);
}

// The leading digits of |a| as a double, and the power of ten that they
// stand before.  (No C library conversion: it would follow the locale.)
double Mantissa(const Decimal &a, int64_t *power) {
    int64_t exponent;
    bool negative;
    std::string digits = DecDigits(a, &exponent, &negative);
    size_t lead = digits.size() < 17 ? digits.size() : 17;
    double mantissa = 0;
    for (size_t i = 0; i < lead; i++) mantissa = mantissa * 10 + (digits[i] - '0');
    *power = exponent + (int64_t)(digits.size() - lead);
    return mantissa;
}

// log10 |a|, for estimating the size of a result.
double Log10Abs(const Decimal &a) {
    int64_t power;
    double mantissa = Mantissa(a, &power);
    return std::log10(mantissa) + (double)power;
}

}  // namespace

double DecToDouble(const Decimal &a) {
    int64_t power;
    double mantissa = Mantissa(a, &power);
    if (mantissa == 0) return 0;
    double value = mantissa * std::pow(10.0, (double)power);
    return DecIsNegative(a) ? -value : value;
}

void EvalFail(int code, const wchar_t *text) { throw EvalError{code, text ? CString(text) : CString()}; }

MpdLock::MpdLock() { EnterCriticalSection(&Library().lock); }
MpdLock::~MpdLock() { LeaveCriticalSection(&Library().lock); }

Decimal::Decimal() {
    MpdLock lock;
    p = mpd_qnew();
    if (!p) EvalFail(ERROR_BD_EVAL_NO_MEMORY);
    mpd_context_t ctx = ExactContext();
    uint32_t status = 0;
    mpd_qset_i32(p, 0, &ctx, &status);
    if (status & MPD_Malloc_error) {
        mpd_del(p);
        EvalFail(ERROR_BD_EVAL_NO_MEMORY);
    }
}

Decimal::~Decimal() {
    if (!p) return;
    MpdLock lock;
    mpd_del(p);
}

Decimal &Decimal::operator=(Decimal &&other) noexcept {
    if (this != &other) {
        if (p) {
            MpdLock lock;
            mpd_del(p);
        }
        p = other.p;
        other.p = nullptr;
    }
    return *this;
}

mpd_context_t EvalContext(int64_t prec) {
    mpd_context_t ctx;
    mpd_maxcontext(&ctx);
    ctx.prec = prec < 1 ? 1 : prec;
    ctx.emax = EVAL_MAX_DIGITS;
    ctx.emin = -EVAL_MAX_DIGITS;
    ctx.round = MPD_ROUND_HALF_EVEN;
    ctx.traps = 0;
    ctx.status = 0;
    return ctx;
}

void CheckStatus(uint32_t status, int invalid) {
    if (status & MPD_Malloc_error) EvalFail(ERROR_BD_EVAL_NO_MEMORY);
    if (status & MPD_Division_by_zero) EvalFail(ERROR_BD_EVAL_DIVIDE_BY_ZERO);
    if (status & (MPD_Overflow | MPD_Division_impossible)) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    if (status & MPD_IEEE_Invalid_operation) EvalFail(invalid);
}

int64_t ResultPrecision(int64_t intDigits, int places) {
    if (intDigits > EVAL_MAX_DIGITS) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    int64_t prec = (intDigits > 0 ? intDigits : 0) + places + EVAL_GUARD;
    return prec < EVAL_MAX_DIGITS ? prec : EVAL_MAX_DIGITS;
}

Decimal DecCopy(const Decimal &a) {
    return Compute(ExactContext(), [&](mpd_t *r, mpd_context_t *, uint32_t *s) { mpd_qcopy(r, a.p, s); });
}

Decimal DecFromInt(int64_t value) {
    return Compute(ExactContext(), [&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qset_i64(r, value, c, s); });
}

Decimal DecFromUnsigned(uint64_t value) {
    return Compute(ExactContext(), [&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qset_u64(r, value, c, s); });
}

Decimal DecFromText(const std::string &text) {
    MpdLock lock;
    Decimal r;
    mpd_context_t ctx = ExactContext();
    uint32_t status = 0;
    mpd_qset_string(r.p, text.c_str(), &ctx, &status);
    CheckStatus(status & ~MPD_Conversion_syntax);
    if ((status & MPD_Conversion_syntax) || mpd_isspecial(r.p))
        EvalFail(ERROR_BD_EVAL_SYNTAX, CString(std::wstring(text.begin(), text.end())).c_str());
    CheckExact(status);
    return r;
}

int64_t DecToInt64(const Decimal &a) {
    MpdLock lock;
    Decimal t = DecTrunc(a);
    uint32_t status = 0;
    int64_t value = mpd_qget_i64(t.p, &status);
    if (!(status & MPD_Invalid_operation)) return value;
    status = 0;
    uint64_t big = mpd_qget_u64(t.p, &status);
    if (status & MPD_Invalid_operation) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    return (int64_t)big;
}

std::string DecDigits(const Decimal &a, int64_t *exponent, bool *negative) {
    MpdLock lock;
    mpd_t view = *a.p;  // read-only view of the coefficient, at exponent 0
    view.exp = 0;
    view.flags &= (uint8_t)~MPD_NEG;
    char *text = mpd_to_sci(&view, 0);
    if (!text) EvalFail(ERROR_BD_EVAL_NO_MEMORY);
    std::string digits(text);
    mpd_free(text);
    *exponent = a.p->exp;
    *negative = mpd_isnegative(a.p);
    return digits;
}

bool DecIsZero(const Decimal &a) {
    MpdLock lock;
    return mpd_iszero(a.p);
}

bool DecIsNegative(const Decimal &a) {
    MpdLock lock;
    return mpd_isnegative(a.p) && !mpd_iszero(a.p);
}

bool DecIsInteger(const Decimal &a) {
    MpdLock lock;
    return mpd_isinteger(a.p);
}

int64_t DecAdjustedExponent(const Decimal &a) {
    MpdLock lock;
    return mpd_adjexp(a.p);
}

int DecCompare(const Decimal &a, const Decimal &b) {
    MpdLock lock;
    uint32_t status = 0;
    return mpd_qcmp(a.p, b.p, &status);
}

// The exact operations share one shape: run f in the exact context.
template <typename F>
static Decimal Exact(F f) {
    uint32_t status = 0;
    Decimal r = Compute(ExactContext(), f, ERROR_BD_EVAL_SYNTAX, &status);
    CheckExact(status);
    return r;
}

Decimal DecAdd(const Decimal &a, const Decimal &b) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qadd(r, a.p, b.p, c, s); });
}

Decimal DecSub(const Decimal &a, const Decimal &b) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qsub(r, a.p, b.p, c, s); });
}

Decimal DecMul(const Decimal &a, const Decimal &b) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qmul(r, a.p, b.p, c, s); });
}

Decimal DecNegate(const Decimal &a) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qminus(r, a.p, c, s); });
}

Decimal DecAbs(const Decimal &a) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qabs(r, a.p, c, s); });
}

Decimal DecFloor(const Decimal &a) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qfloor(r, a.p, c, s); });
}

Decimal DecCeil(const Decimal &a) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qceil(r, a.p, c, s); });
}

Decimal DecTrunc(const Decimal &a) {
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qtrunc(r, a.p, c, s); });
}

Decimal DecDivInt(const Decimal &a, const Decimal &b) {
    if (DecIsZero(b)) EvalFail(ERROR_BD_EVAL_DIVIDE_BY_ZERO);
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qdivint(r, a.p, b.p, c, s); });
}

Decimal DecRem(const Decimal &a, const Decimal &b) {
    if (DecIsZero(b)) EvalFail(ERROR_BD_EVAL_DIVIDE_BY_ZERO);
    return Exact([&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qrem(r, a.p, b.p, c, s); });
}

Decimal DecShift(const Decimal &a, const Decimal &n, bool left) {
    if (!DecIsInteger(a) || !DecIsInteger(n) || DecIsNegative(n)) EvalFail(ERROR_BD_EVAL_SYNTAX);
    int64_t count = DecToInt64(n);
    if (count < 0 || (double)count * 0.30103 > (double)EVAL_MAX_DIGITS) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    Decimal power = DecPow(DecFromInt(2), n, 0);
    return left ? DecMul(a, power) : DecDivInt(a, power);
}

Decimal DecDiv(const Decimal &a, const Decimal &b, int places) {
    if (DecIsZero(b)) EvalFail(ERROR_BD_EVAL_DIVIDE_BY_ZERO);
    if (DecIsZero(a)) return Decimal();
    int64_t prec = ResultPrecision(DecAdjustedExponent(a) - DecAdjustedExponent(b) + 2, places);
    return Compute(EvalContext(prec), [&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qdiv(r, a.p, b.p, c, s); });
}

// a ** b.  An integer power of an integer is exact (it has no more digits
// than the precision allows for its integer part); anything else is
// computed to places after the point.
Decimal DecPow(const Decimal &a, const Decimal &b, int places) {
    bool integral = DecIsInteger(b);
    if (DecIsZero(a)) {
        if (DecIsZero(b)) return DecFromInt(1);
        if (DecIsNegative(b)) EvalFail(ERROR_BD_EVAL_DIVIDE_BY_ZERO);
        return Decimal();
    }
    if (DecIsNegative(a) && !integral) EvalFail(ERROR_BD_EVAL_DOMAIN, L"**");
    MpdLock lock;
    // Size of the result from log10 |a| * b, with a digit to spare.
    double size = Log10Abs(a) * DecToDouble(b);
    if (std::isnan(size)) size = 0;  // |a| = 1 and an enormous b
    if (size > (double)EVAL_MAX_DIGITS) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    int64_t intDigits = size < 0 ? 0 : (int64_t)size + 2;
    return Compute(EvalContext(ResultPrecision(intDigits, places)),
                   [&](mpd_t *r, mpd_context_t *c, uint32_t *s) { mpd_qpow(r, a.p, b.p, c, s); }, ERROR_BD_EVAL_DOMAIN);
}

Decimal DecRound(const Decimal &a, int64_t prec, int rounding) {
    MpdLock lock;
    Decimal r = DecCopy(a);
    mpd_context_t ctx = EvalContext(prec);
    ctx.round = rounding;
    uint32_t status = 0;
    mpd_qfinalize(r.p, &ctx, &status);
    CheckStatus(status);
    return r;
}

Decimal DecRoundSignificant(const Decimal &a, int places) { return DecRound(a, (int64_t)places + 1, MPD_ROUND_HALF_UP); }

Decimal DecRoundPlaces(const Decimal &a, int places) {
    MpdLock lock;
    if (mpd_isspecial(a.p) || a.p->exp >= -(int64_t)places) return DecCopy(a);
    Decimal r;
    mpd_context_t ctx = ExactContext();
    ctx.round = MPD_ROUND_HALF_UP;
    uint32_t status = 0;
    mpd_qrescale(r.p, a.p, -(int64_t)places, &ctx, &status);
    CheckStatus(status);
    return r;
}
