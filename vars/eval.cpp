// EvaluateExpression: the option syntax behind "=", the output forms
// (fixed point cut at the maximum places, scientific, hexadecimal, binary),
// the assignment forms of SET /A, the evaluator's view of variables, and
// the numeric text helpers shared with the function families.
#include <algorithm>
#include <cmath>
#include <new>
#include "vars/eval.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "vars/evalnum.h"
#include <wincrypt.h>

namespace {

// What the text behind "=" asks for.
struct EvalOptions {
    bool fHex = false, fHexPrefix = false, fBinary = false, fScientific = false, fSign = false;
    int nMin = 0, nMax = 10;
};

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }

// A place count, capped at the most digits a value may have.
int CapPlaces(long long v) { return v > EVAL_MAX_DIGITS ? (int)EVAL_MAX_DIGITS : (int)v; }

int ReadPlaces(const CString &text, size_t &at) {
    long long v = 0;
    for (; IsDigit(text.At(at)); at++)
        if (v <= EVAL_MAX_DIGITS) v = v * 10 + (text[at] - L'0');
    return CapPlaces(v);
}

// Reads the options: H or X, then B, then E (either case), then a precision
// "min.max", ".max" or "max" with an optional "+" among it.  Returns the
// text behind the options, which goes back into the expression.
CString ParseOptions(const CString &text, EvalOptions &o) {
    size_t at = 0;
    while (text.At(at) == L' ' || text.At(at) == L'\t') at++;
    wchar_t c = ToUpperChar(text.At(at));
    if (c == L'H' || c == L'X') {
        o.fHex = true;
        o.fHexPrefix = c == L'X';
        c = ToUpperChar(text.At(++at));
    }
    if (c == L'B') o.fBinary = true, c = ToUpperChar(text.At(++at));
    if (c == L'E') o.fScientific = true, at++;
    size_t end = text.find_first_not_of(L"0123456789.,+", at);
    if (end == CString::npos) end = text.size();
    CString spec = text.Mid(at, end - at);
    o.fSign = spec.find(L'+') != CString::npos;
    spec.erase(std::remove(spec.begin(), spec.end(), L'+'), spec.end());
    size_t p = 0;
    if (IsDigit(spec.At(0))) {
        int first = ReadPlaces(spec, p);
        if (p < spec.size() && IsDigit(spec.At(p + 1))) {
            p++;
            o.nMin = first;
            o.nMax = ReadPlaces(spec, p);
        } else {
            o.nMax = first;  // a lone number is the maximum
        }
    } else if (spec.At(0) == L'.' || spec.At(0) == L',') {
        p = 1;
        if (IsDigit(spec.At(1))) o.nMax = ReadPlaces(spec, p);
    }
    if (o.nMax < o.nMin) o.nMax = o.nMin;
    return text.Mid(end);
}

CString Repeat(wchar_t c, size_t n) { return CString(n, c); }

// The fractional digits of a number cut at nMax, without trailing zeros
// beyond nMin, and padded with zeros to nMin.
CString TrimFraction(CString fraction, const EvalOptions &o) {
    if (fraction.size() > (size_t)o.nMax) fraction.resize(o.nMax);
    while (fraction.size() > (size_t)o.nMin && fraction.back() == L'0') fraction.pop_back();
    if (fraction.size() < (size_t)o.nMin) fraction += Repeat(L'0', o.nMin - fraction.size());
    return fraction;
}

CString Widen(const std::string &s) { return CString(std::wstring(s.begin(), s.end())); }

// Fixed point: the fraction cut (not rounded) at the maximum places.
CString FormatFixed(const Decimal &v, const EvalOptions &o) {
    int64_t exponent;
    bool negative;
    CString digits = Widen(DecDigits(v, &exponent, &negative));
    if (digits == L"0") exponent = 0;  // a zero may carry any exponent (0E+5)
    CString whole, fraction;
    if (exponent >= 0) {
        whole = digits + Repeat(L'0', (size_t)exponent);
    } else {
        size_t places = (size_t)-exponent;
        if (digits.size() > places) {
            whole = digits.Left(digits.size() - places);
            fraction = digits.Mid(digits.size() - places);
        } else {
            whole = L"0";
            // Only the digits that survive the cut are built.
            size_t zeros = places - digits.size();
            fraction = zeros >= (size_t)o.nMax ? CString() : Repeat(L'0', zeros) + digits;
        }
    }
    fraction = TrimFraction(fraction, o);
    bool zero = whole == L"0" && fraction.find_first_not_of(L'0') == CString::npos;
    CString text = negative && !zero ? L"-" + whole : whole;
    if (!fraction.empty()) text += QueryDecimalChar() + fraction;
    return text;
}

// Scientific: a mantissa rounded to the maximum places, then "E+n"/"E-n".
CString FormatScientific(const Decimal &v, const EvalOptions &o) {
    Decimal r = DecRoundSignificant(v, o.nMax);
    int64_t exponent;
    bool negative;
    CString digits = Widen(DecDigits(r, &exponent, &negative));
    bool zero = DecIsZero(r);
    int64_t power = zero ? 0 : exponent + (int64_t)digits.size() - 1;
    CString text = negative && !zero ? L"-" : L"";
    text += digits.Left(1);
    CString fraction = TrimFraction(zero ? CString() : digits.Mid(1), o);
    if (!fraction.empty()) text += QueryDecimalChar() + fraction;
    text.AppendFormat(L"E%c%I64d", power < 0 ? L'-' : L'+', power < 0 ? -power : power);
    return text;
}

CString FormatResult(const Decimal &v, const EvalOptions &o) {
    if (o.fHex) {
        int64_t n = DecToInt64(v);
        return FormatStr(o.fHexPrefix ? L"0x%I64X" : L"%I64X", n);
    }
    if (o.fBinary) {
        uint64_t n = (uint64_t)DecToInt64(v);
        CString bits;
        do bits.insert(bits.begin(), (wchar_t)(L'0' + (n & 1))); while (n >>= 1);
        return bits;
    }
    CString text = o.fScientific ? FormatScientific(v, o) : FormatFixed(v, o);
    if (o.fSign && text.At(0) != L'-') text.insert(0, 1, L'+');
    return text;
}

// The parts of an assignment list: split at commas outside (), [] and
// double quotes.
std::vector<CString> SplitList(const CString &text) {
    std::vector<CString> parts;
    int depth = 0;
    bool quoted = false;
    size_t start = 0;
    for (size_t i = 0; i <= text.size(); i++) {
        wchar_t c = text.At(i);
        if (c == L'"') quoted = !quoted;
        else if (!quoted && (c == L'(' || c == L'[')) depth++;
        else if (!quoted && (c == L')' || c == L']') && depth > 0) depth--;
        if (c == 0 || (c == L',' && !quoted && depth == 0)) {
            parts.push_back(text.Mid(start, i - start));
            start = i + 1;
        }
    }
    return parts;
}

// The expression of an assignment as SET /A gives it to the evaluator.
CString PrepareAssignedExpression(CString expr, unsigned flags) {
    StripQuotes_S(expr);
    expr.Trim();
    if (flags & EVAL_INTEGER_DIVISION)
        for (wchar_t &c : expr)
            if (c == L'/') c = L'\\';
    if (aIniFile.CMDVariables && expr.At(0) == L'(') {
        expr.Trim(L"()");
        size_t comma = expr.rfind(L',');
        if (comma != CString::npos) expr = expr.Mid(comma + 1);
    }
    return expr;
}

}  // namespace

int EvaluateExpressionQuiet(CString &expr, CString *errorText) {
    CString text = expr;
    if (text.At(0) == L'"') StripQuotes_S(text);
    EvalOptions o;
    o.nMin = CapPlaces(aIniFile.EvalMin);
    o.nMax = CapPlaces(aIniFile.EvalMax);
    if (o.nMax < o.nMin) o.nMax = o.nMin;
    size_t eq = text.find(L'=');
    if (eq != CString::npos) {
        CString behind = text.Mid(eq + 1);
        if (behind.TrimLeftCopy().empty()) {
            expr.Empty();
            return 0;
        }
        text = text.Left(eq) + ParseOptions(behind, o);
    }
    try {
        Decimal value = EvalParse(text, o.nMax, o.fScientific);
        expr = FormatResult(value, o);
        return 0;
    } catch (const EvalError &e) {
        if (errorText) *errorText = e.text.empty() && e.code != ERROR_BD_EVAL_EMPTY ? text : e.text;
        return e.code;
    } catch (const std::bad_alloc &) {
        return ERROR_BD_EVAL_NO_MEMORY;
    }
}

int EvaluateExpression(CString &expr) {
    CString text;
    int rc = EvaluateExpressionQuiet(expr, &text);
    return rc ? BDError(rc, text.empty() ? nullptr : text.c_str()) : 0;
}

int EvaluateAssignment(CString &part, unsigned flags) {
    CString text = part;
    text.Trim();
    size_t eq = text.find(L'=');
    CString name, op, expr = text;
    if (eq != CString::npos) {
        CString left = text.Left(eq);
        expr = text.Mid(eq + 1);
        left.Trim();
        if (!left.empty() && wcschr(L"+-*/%&^|><\\", left.back())) {
            size_t end = left.find_first_of(L" +-*/%&^|><=\\");
            name = left.Left(end);
            op = left.Mid(end);
            op.Trim();
        } else {
            name = left;
        }
        // "a=b=1": the inner assignment first; its value is this one's.
        if (expr.find(L'=') != CString::npos) {
            int rc = EvaluateAssignment(expr, flags);
            if (rc) return rc;
        }
        if (!op.empty()) expr = name + op + L"(" + expr + L")";
        name.Trim();
        if (name.find_first_of(L" \t+-*/%&^|<>()!~\"") != CString::npos)
            return BDError(ERROR_BD_EVAL_SYNTAX, name.c_str());
    }
    expr = PrepareAssignedExpression(expr, flags);
    int rc = EvaluateExpression(expr);
    if (rc) return rc;
    if (!name.empty() && (rc = EvalSetVariable(name, expr)) != 0) return BDError(rc, name.c_str());
    part = expr;
    return 0;
}

int EvaluateAssignmentList(const CString &text, unsigned flags, std::vector<CString> *values) {
    bool any = false;
    for (CString &part : SplitList(text)) {
        if (part.TrimLeftCopy().empty()) continue;
        any = true;
        int rc = EvaluateAssignment(part, flags);
        if (rc) return rc;
        if (values) values->push_back(part);
    }
    if (any) return 0;
    CString empty;
    return EvaluateExpression(empty);  // reports the empty expression
}

// Arrays are not part of the variable lists yet: a reference to an element
// names an array that is not defined.
int EvalGetVariable(const CString &name, CString &value) {
    if (name.find(L'[') != CString::npos) return ERROR_BD_EVAL_ARRAY_INDEX;
    return QueryEnvVar(name.c_str(), &value) ? 0 : -1;
}

int EvalSetVariable(const CString &name, const CString &value) {
    if (name.find(L'[') != CString::npos) return ERROR_BD_EVAL_ARRAY_INDEX;
    return SetEnvironmentVariableW(name.c_str(), value.c_str()) ? 0 : (int)GetLastError();
}

double AsciiToDouble(const wchar_t *text) {
    wchar_t decimal = QueryDecimalChar(), thousands = QueryThousandsChar();
    const wchar_t *p = text;
    while (*p == L' ' || *p == L'\t') p++;
    double sign = *p == L'-' ? -1 : 1;
    if (*p == L'-' || *p == L'+') p++;
    double value = 0;
    for (; IsDigit(*p) || *p == thousands; p++)
        if (*p != thousands) value = value * 10 + (*p - L'0');
    if (*p == decimal) {
        const wchar_t *first = ++p;
        while (IsDigit(*p)) p++;
        // Summed from the last digit, each step a tenth of the one before.
        double fraction = 0;
        for (const wchar_t *q = p; q > first;) fraction = (fraction + (*--q - L'0')) * 0.1;
        value += fraction;
    }
    int exponent = 0;
    if (*p == L'e' || *p == L'E') {
        p++;
        int expSign = *p == L'-' ? -1 : 1;
        if (*p == L'-' || *p == L'+') p++;
        for (; IsDigit(*p); p++)
            if (exponent < 100000) exponent = exponent * 10 + (*p - L'0');
        exponent *= expSign;
    }
    return sign * value * std::pow(10.0, exponent);
}

int QueryIsNumeric(const wchar_t *text) {
    if (!text) return 0;
    wchar_t decimal = QueryDecimalChar(), thousands = QueryThousandsChar();
    const wchar_t *p = text;
    if (*p == L'-' || *p == L'+') {
        p++;
        if (!IsDigit(*p) && *p != decimal) return 0;
    }
    bool digits = false, point = false;
    for (; *p; p++) {
        if (IsDigit(*p)) {
            digits = true;
        } else if (*p == decimal) {
            if (point || (!digits && !IsDigit(p[1]))) return 0;
            point = true;
        } else if (*p != thousands || point) {
            return 0;
        }
    }
    return digits;
}

void AddCommas(CString &text) {
    wchar_t thousands = QueryThousandsChar();
    size_t start = text.find_first_not_of(L"-+ 0");
    if (start == CString::npos) return;
    size_t end = start;
    while (IsDigit(text.At(end))) end++;
    for (size_t at = end; at - start > 3; at -= 3) text.insert(at - 3, 1, thousands);
}

// One provider for the process; CryptGenRandom may be called from any
// thread.  When the provider cannot be had, the raw value is all ones.
long long GetRandom(long long low, long long high) {
    static HCRYPTPROV provider = [] {
        HCRYPTPROV h = 0;
        return CryptAcquireContextW(&h, nullptr, nullptr, PROV_RSA_FULL, CRYPT_VERIFYCONTEXT) ? h : 0;
    }();
    uint64_t raw = UINT64_MAX;
    if (!provider || !CryptGenRandom(provider, sizeof raw, (BYTE *)&raw)) raw = UINT64_MAX;
    if (high < low) std::swap(low, high);
    uint64_t span = (uint64_t)high - (uint64_t)low + 1;
    uint64_t offset = span ? raw % span : raw;
    return (long long)((uint64_t)low + offset);
}
