// The evaluator's math functions on libmpdec.  exp, ln, log10 and sqrt are
// the library's; pi (Gauss-Legendre), the circular functions (reduction by
// multiples of pi/2, triple-angle reduction and a Taylor series), atan
// (argument halving and its series), the hyperbolic functions (through exp)
// and their inverses (through ln and sqrt), and fact (a product tree) are
// written here.
//
// Each function computes with its own guard digits above the precision of
// its result (see ResultPrecision), then rounds to that precision once, so
// that a result that is exactly an integer (log2(8), acos(1)) comes out as
// that integer.
#include <cmath>
#include "base/breaks.h"
#include "base/errors.h"
#include "vars/evalnum.h"

namespace {

using Ctx = mpd_context_t;
using Binary = void (*)(mpd_t *, const mpd_t *, const mpd_t *, const mpd_context_t *, uint32_t *);
using Unary = void (*)(mpd_t *, const mpd_t *, const mpd_context_t *, uint32_t *);
using WithU64 = void (*)(mpd_t *, const mpd_t *, uint64_t, const mpd_context_t *, uint32_t *);

// Guard digits of the series and reductions above the result's precision.
constexpr int64_t WORK_GUARD = 10;

// One library function in the context c; an invalid operation is outside
// the function's domain.
Decimal Op(Binary f, const Decimal &a, const Decimal &b, const Ctx &c) {
    return Compute(c, [&](mpd_t *r, Ctx *ctx, uint32_t *s) { f(r, a.p, b.p, ctx, s); }, ERROR_BD_EVAL_DOMAIN);
}

Decimal Op(Unary f, const Decimal &a, const Ctx &c) {
    return Compute(c, [&](mpd_t *r, Ctx *ctx, uint32_t *s) { f(r, a.p, ctx, s); }, ERROR_BD_EVAL_DOMAIN);
}

Decimal Op(WithU64 f, const Decimal &a, uint64_t n, const Ctx &c) {
    return Compute(c, [&](mpd_t *r, Ctx *ctx, uint32_t *s) { f(r, a.p, n, ctx, s); }, ERROR_BD_EVAL_DOMAIN);
}

Decimal One() { return DecFromInt(1); }

// True when term no longer changes sum at prec digits.
bool Negligible(const Decimal &term, const Decimal &sum, int64_t prec) {
    return DecIsZero(term) || DecAdjustedExponent(term) < DecAdjustedExponent(sum) - prec - 1;
}

// Decimal digits of the integer part of ln |x| (and so of log10 and the
// inverse functions), with one to spare.
int64_t LogIntDigits(const Decimal &x) {
    double e = std::fabs((double)DecAdjustedExponent(x)) * 2.31 + 3;
    return (int64_t)std::log10(e) + 2;
}

// Digits by which a small argument's own exponent lies below 1: what an
// expression like exp(x) - exp(-x) cancels and must be computed beyond.
int64_t SmallArgumentDigits(const Decimal &x) {
    int64_t e = DecIsZero(x) ? 0 : DecAdjustedExponent(x);
    return e < 0 ? -e : 0;
}

// pi to prec significant digits by the Gauss-Legendre iteration; the most
// precise value so far is kept for the process.
Decimal PiDigits(int64_t prec) {
    MpdLock lock;
    static Decimal cache;
    static int64_t cacheDigits = 0;
    if (cacheDigits < prec) {
        int64_t wp = prec + WORK_GUARD;
        Ctx c = EvalContext(wp);
        Decimal a = One(), b = Op(mpd_qsqrt, DecFromText("0.5"), c), t = DecFromText("0.25");
        Decimal p = One();
        for (bool last = false;;) {
            CheckBreak();
            Decimal next = Op(mpd_qdiv_u64, Op(mpd_qadd, a, b, c), 2, c);
            b = Op(mpd_qsqrt, Op(mpd_qmul, a, b, c), c);
            Decimal d = Op(mpd_qsub, a, next, c);
            t = Op(mpd_qsub, t, Op(mpd_qmul, p, Op(mpd_qmul, d, d, c), c), c);
            a = std::move(next);
            p = Op(mpd_qmul_u64, p, 2, c);
            if (last) break;
            Decimal gap = Op(mpd_qsub, a, b, c);
            last = DecIsZero(gap) || DecAdjustedExponent(gap) < -(wp / 2) - 2;
        }
        Decimal sum = Op(mpd_qadd, a, b, c);
        Decimal pi = Op(mpd_qdiv, Op(mpd_qmul, sum, sum, c), Op(mpd_qmul_u64, t, 4, c), c);
        cache = DecRound(pi, prec + 2);
        cacheDigits = prec;
    }
    return DecRound(cache, prec);
}

// sin of a small argument (|x| <= pi/4): the argument is divided by 3**k,
// the Taylor series sums it, and sin 3y = 3 sin y - 4 sin^3 y climbs back.
Decimal SinSmall(const Decimal &x, int64_t wp) {
    if (DecIsZero(x)) return Decimal();
    int k = (int)(std::sqrt((double)wp) / 2);
    if (DecAdjustedExponent(x) < -wp / 2) k = 0;
    int64_t wp2 = wp + k + 2;
    Ctx c = EvalContext(wp2);
    Decimal y = DecCopy(x);
    for (int i = 0; i < k; i++) y = Op(mpd_qdiv_u64, y, 3, c);
    Decimal y2 = Op(mpd_qmul, y, y, c), term = DecCopy(y), sum = DecCopy(y);
    for (uint64_t n = 1;; n++) {
        CheckBreak();
        term = Op(mpd_qdiv_u64, Op(mpd_qmul, term, y2, c), (2 * n) * (2 * n + 1), c);
        sum = Op(n % 2 ? mpd_qsub : mpd_qadd, sum, term, c);
        if (Negligible(term, sum, wp2)) break;
    }
    Decimal three = DecFromInt(3);
    for (int i = 0; i < k; i++) {
        Decimal s2 = Op(mpd_qmul, sum, sum, c);
        sum = Op(mpd_qmul, sum, Op(mpd_qsub, three, Op(mpd_qmul_u64, s2, 4, c), c), c);
    }
    return sum;
}

// sin x and cos x to wp digits after the point: x less the nearest multiple
// k of pi/2 (pi taken to as many more digits as x has before its point),
// then the quadrant k mod 4 picks the sign and the function.
void SinCos(const Decimal &x, int64_t wp, Decimal *sine, Decimal *cosine) {
    MpdLock lock;
    int64_t e = DecIsZero(x) ? 0 : DecAdjustedExponent(x);
    int64_t wide = wp + (e > 0 ? e + 1 : 0) + 5;
    Ctx c = EvalContext(wide);
    Decimal halfPi = Op(mpd_qdiv_u64, PiDigits(wide), 2, c);
    Decimal k = Op(mpd_qround_to_int, Op(mpd_qdiv, x, halfPi, c), c);
    Decimal r = Op(mpd_qsub, x, Op(mpd_qmul, k, halfPi, c), c);
    int quadrant = (int)DecToInt64(DecRem(k, DecFromInt(4)));
    if (quadrant < 0) quadrant += 4;
    Ctx w = EvalContext(wp + 5);
    Decimal s = SinSmall(r, wp + 5);
    Decimal co = Op(mpd_qsqrt, Op(mpd_qsub, One(), Op(mpd_qmul, s, s, w), w), w);
    switch (quadrant) {
    case 0: *sine = std::move(s), *cosine = std::move(co); break;
    case 1: *sine = std::move(co), *cosine = DecNegate(s); break;
    case 2: *sine = DecNegate(s), *cosine = DecNegate(co); break;
    default: *sine = DecNegate(co), *cosine = std::move(s); break;
    }
}

// atan x to wp digits: beyond 1 through pi/2 - atan(1/x); then halved
// (atan y = 2 atan(y / (1 + sqrt(1 + y^2)))) until small, and summed.
Decimal Atan(const Decimal &x, int64_t wp) {
    MpdLock lock;
    if (DecIsZero(x)) return Decimal();
    Ctx c = EvalContext(wp + 5);
    Decimal y = DecAbs(x);
    bool inverted = DecCompare(y, One()) > 0;
    if (inverted) y = Op(mpd_qdiv, One(), y, c);
    int64_t limit = (int64_t)std::sqrt((double)wp / 33) + 1;
    int64_t wp2 = wp + 3 * limit + 8;
    Ctx h = EvalContext(wp2);
    int halvings = 0;
    for (; !DecIsZero(y) && DecAdjustedExponent(y) >= -limit; halvings++) {
        Decimal root = Op(mpd_qsqrt, Op(mpd_qadd, One(), Op(mpd_qmul, y, y, h), h), h);
        y = Op(mpd_qdiv, y, Op(mpd_qadd, One(), root, h), h);
    }
    Decimal y2 = Op(mpd_qmul, y, y, h), power = DecCopy(y), sum = DecCopy(y);
    for (uint64_t n = 1; !DecIsZero(y); n++) {
        CheckBreak();
        power = Op(mpd_qmul, power, y2, h);
        Decimal term = Op(mpd_qdiv_u64, power, 2 * n + 1, h);
        sum = Op(n % 2 ? mpd_qsub : mpd_qadd, sum, term, h);
        if (Negligible(term, sum, wp2)) break;
    }
    for (int i = 0; i < halvings; i++) sum = Op(mpd_qmul_u64, sum, 2, h);
    if (inverted) sum = Op(mpd_qsub, Op(mpd_qdiv_u64, PiDigits(wp + 5), 2, c), sum, c);
    return DecIsNegative(x) ? DecNegate(sum) : std::move(sum);
}

// sqrt((1 - x)(1 + x)), exact up to the root, for asin and acos.
Decimal Complement(const Decimal &x, const Ctx &c) {
    Decimal one = One();
    Decimal product = DecMul(DecSub(one, x), DecAdd(one, x));
    return Op(mpd_qsqrt, product, c);
}

void CheckUnitRange(const Decimal &x, const wchar_t *name) {
    if (DecCompare(DecAbs(x), One()) > 0) EvalFail(ERROR_BD_EVAL_DOMAIN, name);
}

// Precision of a result below 10 in size.
int64_t SmallResult(int places) { return ResultPrecision(1, places); }

Decimal Sin(const Decimal &x, int places) {
    int64_t target = SmallResult(places);
    Decimal s, c;
    SinCos(x, target + WORK_GUARD, &s, &c);
    return DecRound(s, target);
}

Decimal Cos(const Decimal &x, int places) {
    int64_t target = SmallResult(places);
    Decimal s, c;
    SinCos(x, target + WORK_GUARD, &s, &c);
    return DecRound(c, target);
}

// tan = sin / cos; near an odd multiple of pi/2 the cosine is small, and
// both are computed again with as many more digits as it lost.
Decimal Tan(const Decimal &x, int places) {
    MpdLock lock;
    int64_t wp = SmallResult(places) + WORK_GUARD;
    Decimal s, c;
    SinCos(x, wp, &s, &c);
    int64_t lost = SmallArgumentDigits(c);
    if (lost > 0) SinCos(x, wp + lost, &s, &c);
    return DecDiv(s, c, places);
}

Decimal Asin(const Decimal &x, int places) {
    MpdLock lock;
    CheckUnitRange(x, L"asin");
    int64_t target = SmallResult(places), wp = target + WORK_GUARD;
    Ctx c = EvalContext(wp);
    Decimal root = Complement(x, c);
    if (DecIsZero(root)) {
        Decimal half = Op(mpd_qdiv_u64, PiDigits(wp), 2, c);
        return DecRound(DecIsNegative(x) ? DecNegate(half) : std::move(half), target);
    }
    return DecRound(Atan(Op(mpd_qdiv, x, root, c), wp), target);
}

Decimal Acos(const Decimal &x, int places) {
    MpdLock lock;
    CheckUnitRange(x, L"acos");
    int64_t target = SmallResult(places), wp = target + WORK_GUARD;
    Ctx c = EvalContext(wp);
    if (DecIsZero(x)) return DecRound(Op(mpd_qdiv_u64, PiDigits(wp), 2, c), target);
    Decimal angle = Atan(Op(mpd_qdiv, Complement(x, c), DecAbs(x), c), wp);
    if (DecIsNegative(x)) angle = Op(mpd_qsub, PiDigits(wp), angle, c);
    return DecRound(angle, target);
}

Decimal AtanFunction(const Decimal &x, int places) {
    int64_t target = SmallResult(places);
    return DecRound(Atan(x, target + WORK_GUARD), target);
}

// Precision of exp |x| and the hyperbolic functions: the integer part of
// the result has about |x| / ln 10 digits.
int64_t ExpIntDigits(const Decimal &x) {
    double size = std::fabs(DecToDouble(x)) * 0.4342944819032518;
    if (!(size < (double)EVAL_MAX_DIGITS)) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    return (int64_t)size + 2;
}

// (exp|x| + sign * exp(-|x|)) / 2: sign -1 gives sinh |x|, +1 cosh x.
Decimal HalfExpSum(const Decimal &x, int places, int sign) {
    MpdLock lock;
    int64_t target = ResultPrecision(ExpIntDigits(x), places);
    int64_t wp = target + SmallArgumentDigits(x) + WORK_GUARD;
    Ctx c = EvalContext(wp);
    Decimal e = Op(mpd_qexp, DecAbs(x), c);
    Decimal inverse = Op(mpd_qdiv, One(), e, c);
    Decimal sum = Op(sign < 0 ? mpd_qsub : mpd_qadd, e, inverse, c);
    return DecRound(Op(mpd_qdiv_u64, sum, 2, c), target);
}

Decimal Sinh(const Decimal &x, int places) {
    Decimal r = HalfExpSum(x, places, -1);
    return DecIsNegative(x) ? DecNegate(r) : std::move(r);
}

Decimal Cosh(const Decimal &x, int places) { return HalfExpSum(x, places, 1); }

// tanh |x| = (e^2|x| - 1) / (e^2|x| + 1); once e^-2|x| is below the
// precision the result is 1.
Decimal Tanh(const Decimal &x, int places) {
    MpdLock lock;
    int64_t target = SmallResult(places);
    Decimal ax = DecAbs(x);
    Decimal r;
    if (DecToDouble(ax) > (double)(target + 5) * 1.1513) {
        r = One();
    } else {
        Ctx c = EvalContext(target + SmallArgumentDigits(x) + WORK_GUARD);
        Decimal e = Op(mpd_qexp, Op(mpd_qmul_u64, ax, 2, c), c);
        r = Op(mpd_qdiv, Op(mpd_qsub, e, One(), c), Op(mpd_qadd, e, One(), c), c);
    }
    r = DecRound(r, target);
    return DecIsNegative(x) ? DecNegate(r) : std::move(r);
}

// The library's own functions, at the precision of their results.
Decimal Exp(const Decimal &x, int places) {
    MpdLock lock;
    int64_t intDigits = DecIsNegative(x) ? 0 : ExpIntDigits(x);
    if (DecIsNegative(x) && DecToDouble(x) < -2.4 * (double)EVAL_MAX_DIGITS) return Decimal();
    return Op(mpd_qexp, x, EvalContext(ResultPrecision(intDigits, places)));
}

void CheckPositive(const Decimal &x, const wchar_t *name) {
    if (DecIsZero(x) || DecIsNegative(x)) EvalFail(ERROR_BD_EVAL_DOMAIN, name);
}

// A logarithm of the library (ln, log10) of a positive x.
Decimal Logarithm(Unary f, const wchar_t *name, const Decimal &x, int places) {
    MpdLock lock;
    CheckPositive(x, name);
    return Op(f, x, EvalContext(ResultPrecision(LogIntDigits(x), places)));
}

Decimal Log10(const Decimal &x, int places) { return Logarithm(mpd_qlog10, L"log10", x, places); }

Decimal Sqrt(const Decimal &x, int places) {
    MpdLock lock;
    if (DecIsNegative(x)) EvalFail(ERROR_BD_EVAL_DOMAIN, L"sqrt");
    int64_t e = DecIsZero(x) ? 0 : DecAdjustedExponent(x);
    return Op(mpd_qsqrt, x, EvalContext(ResultPrecision(e > 0 ? e / 2 + 2 : 1, places)));
}

// ln(|x| + sqrt(x^2 + sign)) with sign +1 (asinh) or -1 (acosh).
Decimal LogOfRoot(const Decimal &x, int places, int sign) {
    MpdLock lock;
    int64_t target = ResultPrecision(LogIntDigits(x), places);
    Ctx c = EvalContext(target + SmallArgumentDigits(x) + WORK_GUARD);
    Decimal ax = DecAbs(x), one = One();
    Decimal square = sign > 0 ? DecAdd(DecMul(ax, ax), one) : DecMul(DecSub(ax, one), DecAdd(ax, one));
    Decimal r = Op(mpd_qln, Op(mpd_qadd, ax, Op(mpd_qsqrt, square, c), c), c);
    r = DecRound(r, target);
    return DecIsNegative(x) ? DecNegate(r) : std::move(r);
}

Decimal Asinh(const Decimal &x, int places) { return LogOfRoot(x, places, 1); }

Decimal Acosh(const Decimal &x, int places) {
    if (DecCompare(x, One()) < 0) EvalFail(ERROR_BD_EVAL_DOMAIN, L"acosh");
    return LogOfRoot(x, places, -1);
}

// atanh x = ln((1 + x) / (1 - x)) / 2, for |x| < 1.
Decimal Atanh(const Decimal &x, int places) {
    MpdLock lock;
    if (DecCompare(DecAbs(x), One()) >= 0) EvalFail(ERROR_BD_EVAL_DOMAIN, L"atanh");
    int64_t target = ResultPrecision(LogIntDigits(DecSub(One(), DecAbs(x))), places);
    Ctx c = EvalContext(target + SmallArgumentDigits(x) + WORK_GUARD);
    Decimal ratio = Op(mpd_qdiv, DecAdd(One(), x), DecSub(One(), x), c);
    return DecRound(Op(mpd_qdiv_u64, Op(mpd_qln, ratio, c), 2, c), target);
}

Decimal Recip(const Decimal &x, int places) { return DecDiv(One(), x, places); }

// The product lo * (lo + 1) * ... * hi, split in halves so that the big
// multiplications are balanced.
Decimal Product(uint64_t lo, uint64_t hi) {
    if (hi - lo < 16) {
        Decimal r = DecFromUnsigned(lo);
        Ctx c = EvalContext(EVAL_MAX_DIGITS);
        for (uint64_t i = lo + 1; i <= hi; i++) r = Op(mpd_qmul_u64, r, i, c);
        return r;
    }
    CheckBreak();
    uint64_t mid = lo + (hi - lo) / 2;
    return DecMul(Product(lo, mid), Product(mid + 1, hi));
}

// n! of an integer n >= 0, exact.
Decimal Fact(const Decimal &x, int) {
    MpdLock lock;
    if (!DecIsInteger(x) || DecIsNegative(x)) EvalFail(ERROR_BD_EVAL_DOMAIN, L"fact");
    double n = DecToDouble(x);
    if (n > 1e9 || std::lgamma(n + 1) / std::log(10.0) > (double)EVAL_MAX_DIGITS) EvalFail(ERROR_BD_EVAL_OVERFLOW);
    if (n < 2) return One();
    return Product(1, (uint64_t)n);
}

Decimal Floor(const Decimal &x, int) { return DecFloor(x); }
Decimal Ceil(const Decimal &x, int) { return DecCeil(x); }
Decimal Abs(const Decimal &x, int) { return DecAbs(x); }

struct MathFunction {
    const wchar_t *pszName;
    EvalMathFunction pfn;
};

const MathFunction aMathFunctions[] = {
    {L"log", DecLog},     {L"log10", Log10},  {L"exp", Exp},       {L"sin", Sin},
    {L"asin", Asin},      {L"sinh", Sinh},    {L"cos", Cos},       {L"acos", Acos},
    {L"cosh", Cosh},      {L"tan", Tan},      {L"atan", AtanFunction}, {L"tanh", Tanh},
    {L"recip", Recip},    {L"fact", Fact},    {L"floor", Floor},   {L"ceil", Ceil},
    {L"abs", Abs},        {L"log2", DecLog2}, {L"sqrt", Sqrt},     {L"asinh", Asinh},
    {L"acosh", Acosh},    {L"atanh", Atanh},
};

}  // namespace

EvalMathFunction FindMathFunction(const CString &name) {
    for (const MathFunction &f : aMathFunctions)
        if (name.EqualsNoCase(f.pszName)) return f.pfn;
    return nullptr;
}

Decimal DecPi(int places) { return PiDigits(SmallResult(places)); }

Decimal DecLog(const Decimal &x, int places) { return Logarithm(mpd_qln, L"log", x, places); }

// log2 x = ln x / ln 2, rounded once so that powers of two give integers.
Decimal DecLog2(const Decimal &x, int places) {
    MpdLock lock;
    CheckPositive(x, L"log2");
    int64_t target = ResultPrecision(LogIntDigits(x), places);
    Ctx c = EvalContext(target + WORK_GUARD);
    Decimal r = Op(mpd_qdiv, Op(mpd_qln, x, c), Op(mpd_qln, DecFromInt(2), c), c);
    return DecRound(r, target);
}
