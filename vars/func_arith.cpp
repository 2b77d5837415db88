// Arithmetic functions that work on numbers as text: @ABS, @INT, @DECIMAL,
// @CEILING, @FLOOR, @AVERAGE, @MAX, @MIN (through the expression
// evaluator), @COMMA, @CONVERT, @FORMAT, @FORMATN, @FORMATNC, @PRIME,
// @ISPRIME and @RANDOM.
#include <climits>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "vars/eval.h"
#include "vars/evalnum.h"
#include "vars/func_internal.h"

namespace {

// Evaluate in place; an evaluator error has been reported already.
int Evaluate(CString &text) { return EvaluateExpression(text) ? -2 : 0; }

// The number of an argument, evaluated; empty text is a bad argument.
int EvaluateArgument(CString &text) {
    if (text.TrimLeftCopy().empty()) return ERROR_INVALID_PARAMETER;
    return Evaluate(text);
}

// "-0" (a negative value cut to nothing) is plain 0.
void DropNegativeZero(CString &text) {
    if (text.At(0) == L'-' && text.find_first_not_of(L"-0") == CString::npos) text = L"0";
}

// A number text in the form the decimal library reads: '.' as the decimal
// character and no thousands characters.  False when it is not a number.
bool ToLibraryText(const CString &text, std::string *out) {
    CString t = text;
    t.Trim();
    if (!QueryIsNumeric(t.c_str())) return false;
    wchar_t decimal = QueryDecimalChar(), thousands = QueryThousandsChar();
    out->clear();
    for (wchar_t c : t) {
        if (c == thousands) continue;
        *out += c == decimal ? '.' : (char)c;
    }
    return true;
}

// Characters a caller may put in a format: flags, width and precision only,
// so that no conversion of the printer can be reached through it.
bool IsPlainFormat(const CString &format) {
    if (format.find_first_not_of(L"-+0123456789.") != CString::npos) return false;
    int width = 0, precision = 0;
    for (const wchar_t *p = format.c_str(); *p; p++) {
        if (*p < L'0' || *p > L'9') continue;
        const wchar_t *start = p;
        while (p[1] >= L'0' && p[1] <= L'9') p++;
        if (p - start > 5) return false;
        int value = _wtoi(start);
        (start > format.c_str() && start[-1] == L'.' ? precision : width) = value;
    }
    return width < 32765 && precision < 32765;
}

// n * n mod m without overflow, and b^e mod m.
unsigned long long MulMod(unsigned long long a, unsigned long long b, unsigned long long m) {
    return (unsigned long long)((unsigned __int128)a * b % m);
}

unsigned long long PowMod(unsigned long long b, unsigned long long e, unsigned long long m) {
    unsigned long long r = 1;
    for (b %= m; e; e >>= 1) {
        if (e & 1) r = MulMod(r, b, m);
        b = MulMod(b, b, m);
    }
    return r;
}

}  // namespace

// Miller-Rabin with the bases that decide every 64-bit number.
bool QueryIsPrime(unsigned long long n) {
    if (n < 2) return false;
    for (unsigned long long p : {2ULL, 3ULL, 5ULL, 7ULL, 11ULL, 13ULL, 17ULL, 19ULL, 23ULL, 29ULL, 31ULL, 37ULL}) {
        if (n % p == 0) return n == p;
    }
    unsigned long long d = n - 1;
    int s = 0;
    for (; !(d & 1); s++) d >>= 1;
    for (unsigned long long a : {2ULL, 3ULL, 5ULL, 7ULL, 11ULL, 13ULL, 17ULL, 19ULL, 23ULL, 29ULL, 31ULL, 37ULL}) {
        unsigned long long x = PowMod(a, d, n);
        if (x == 1 || x == n - 1) continue;
        bool composite = true;
        for (int i = 1; i < s && composite; i++) {
            x = MulMod(x, x, n);
            if (x == n - 1) composite = false;
        }
        if (composite) return false;
    }
    return true;
}

// Digits of value in base (2 to 36), upper-case letters.
CString ToBase(unsigned long long value, int base) {
    CString digits;
    do {
        int d = (int)(value % (unsigned)base);
        digits.insert(digits.begin(), (wchar_t)(d < 10 ? L'0' + d : L'A' + d - 10));
        value /= (unsigned)base;
    } while (value);
    return digits;
}

// @ABS[x]: the value without its sign.
int Func_Abs(FUNCCALL &call) {
    if (int rc = EvaluateArgument(call.args)) return rc;
    if (call.args.At(0) == L'-') call.args.erase(0, 1);
    return 0;
}

// @INT[x]: the integer part (toward zero); @DECIMAL[x]: the digits behind
// the decimal character, "0" when there are none.
int Func_Int(FUNCCALL &call) {
    if (int rc = EvaluateArgument(call.args)) return rc;
    size_t point = call.args.find(QueryDecimalChar());
    if (call.nCase == FC_int) {
        call.args.Truncate(point);
        DropNegativeZero(call.args);
    } else {
        call.args = point == CString::npos ? CString(L"0") : call.args.Mid(point + 1);
    }
    return 0;
}

// @CEILING[x], @FLOOR[x]: the nearest integer above or below, exact.
int Func_Ceiling(FUNCCALL &call) {
    if (call.args.TrimLeftCopy().empty()) return ERROR_INVALID_PARAMETER;
    call.args = (call.nCase == FC_ceiling ? L"ceil(" : L"floor(") + call.args + L")";
    return Evaluate(call.args);
}

// @AVERAGE[a,b,...]: the mean of the values.
int Func_Average(FUNCCALL &call) {
    std::vector<CString> items = SplitArguments(call.args);
    if (items.empty()) return ERROR_INVALID_PARAMETER;
    CString sum = L"(";
    for (size_t i = 0; i < items.size(); i++) {
        if (items[i].TrimLeftCopy().empty()) return ERROR_INVALID_PARAMETER;
        sum += (i ? L" + (" : L"(") + items[i] + L")";
    }
    sum += FormatStr(L") / %u", (unsigned)items.size());
    call.args = sum;
    return Evaluate(call.args);
}

// @MAX[a,b,...], @MIN[a,b,...]: the greatest or least of numbers, as
// written; blanks or commas separate them.
int Func_Max(FUNCCALL &call) {
    CString best;
    Decimal bestValue;
    bool any = false;
    for (int i = 0;; i++) {
        CString item;
        if (!GetNthArgument(call.args.c_str(), i, &item)) break;
        std::string text;
        if (!ToLibraryText(item, &text)) return ERROR_INVALID_PARAMETER;
        try {
            Decimal value = DecFromText(text);
            int order = any ? DecCompare(value, bestValue) : 0;
            if (!any || (call.nCase == FC_max ? order > 0 : order < 0)) {
                bestValue = std::move(value);
                best = item;
                any = true;
            }
        } catch (const EvalError &e) {
            return e.code;
        }
    }
    if (!any) return ERROR_INVALID_PARAMETER;
    best.Trim();
    call.args = best;
    return 0;
}

// @COMMA[n]: the number with thousands characters in its integer part.
int Func_Comma(FUNCCALL &call) {
    CString text = call.args;
    text.Trim();
    if (!QueryIsNumeric(text.c_str())) return ERROR_INVALID_PARAMETER;
    // The number may carry separators already: take them out first.
    CString plain;
    for (wchar_t c : text)
        if (c != QueryThousandsChar()) plain += c;
    AddCommas(plain);
    call.args = plain;
    return 0;
}

// @CONVERT[from,to,number]: a number from one base (2 to 36) to another.
// The digits are read up to the first character that is no digit or
// letter; a number that starts with none is 0.
int Func_Convert(FUNCCALL &call) {
    int from = 0, to = 0, offset = -1;
    if (Sscanf(call.args.c_str(), L"%d ,%d , %n", &from, &to, &offset) != 3) return ERROR_INVALID_PARAMETER;
    if (from < 2 || from > 36 || to < 2 || to > 36) return ERROR_INVALID_PARAMETER;
    unsigned long long value = 0;
    for (const wchar_t *p = call.args.c_str() + offset; *p; p++) {
        wchar_t c = ToUpperChar(*p);
        int digit = c >= L'0' && c <= L'9' ? c - L'0' : c >= L'A' && c <= L'Z' ? c - 55 : -1;
        if (digit < 0) break;
        if (digit >= from) return ERROR_INVALID_PARAMETER;
        if (value > (ULLONG_MAX - (unsigned)digit) / (unsigned)from) return ERROR_BD_EVAL_OVERFLOW;
        value = value * (unsigned)from + (unsigned)digit;
    }
    call.args = ToBase(value, to);
    return 0;
}

// @FORMAT[fmt,text]: text padded or cut by a printf-style width and
// precision ("-10", "5.2").  @FORMATN[fmt,number] prints a number in fixed
// point (a "0x" number as hexadecimal); @FORMATNC the same with thousands
// characters.
int Func_Format(FUNCCALL &call) {
    CString format, value;
    if (!SplitAtComma(call.args, &format, &value)) return ERROR_INVALID_PARAMETER;
    format.Trim();
    if (format.At(0) == L'%') format.erase(0, 1);
    if (!IsPlainFormat(format)) return ERROR_INVALID_PARAMETER;
    format.insert(0, 1, L'%');
    if (call.nCase == FC_format) {
        UnEscapeLine(value);
        call.args = FormatStr((format + L"s").c_str(), value.c_str());
        return 0;
    }
    value.Trim();
    long long hex = 0;
    int used = -1;
    if (value.StartsWithNoCase(L"0x")) {
        if (Sscanf(value.c_str(), L"%I64x%n", &hex, &used) != 2 || (size_t)used != value.size())
            return ERROR_INVALID_PARAMETER;
        call.args = FormatStr((format + L"I64X").c_str(), hex);
        return 0;
    }
    if (!QueryIsNumeric(value.c_str())) return ERROR_INVALID_PARAMETER;
    format += call.nCase == FC_formatnc ? L"Lf" : L"f";
    call.args = FormatStr(format.c_str(), AsciiToDouble(value.c_str()));
    return 0;
}

// @PRIME[n]: the least prime at or above n; @ISPRIME[n]: 1 for a prime.
int Func_Prime(FUNCCALL &call) {
    CString text = call.args;
    text.Trim();
    unsigned long long n = 0;
    int used = -1;
    bool negative = text.At(0) == L'-';
    if (Sscanf(text.c_str() + (negative ? 1 : 0), L"%I64u%n", &n, &used) != 2 || (size_t)used + negative != text.size() ||
        used > 20 ||
        (used == 20 && text.Mid(negative).compare(L"18446744073709551615") > 0))
        return ERROR_INVALID_PARAMETER;
    if (call.nCase == FC_isprime) return SetNumber(call.args, !negative && QueryIsPrime(n));
    if (negative || n < 2) n = 2;
    // Primes are dense enough that the search ends in a few hundred steps;
    // above the largest 64-bit prime, 2**64 - 59, there is none.
    while (!QueryIsPrime(n)) {
        if (n == ULLONG_MAX) return ERROR_BD_EVAL_OVERFLOW;
        n++;
    }
    call.args = FormatStr(L"%I64u", n);
    return 0;
}

// @RANDOM[low,high]: a random integer from low to high inclusive.
int Func_Random(FUNCCALL &call) {
    CString low, high;
    long long a = 0, b = 0;
    if (!SplitAtComma(call.args, &low, &high) || !ReadWholeNumber(low, &a) || !ReadWholeNumber(high, &b))
        return ERROR_INVALID_PARAMETER;
    return SetNumber(call.args, GetRandom(a, b));
}
