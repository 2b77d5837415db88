// The program's own scan (Sscanf) and print (FormatV and friends) dialects.
//
// Both differ from the C library's on purpose, and the rest of the program
// relies on the differences:
//  - the scanner treats only blanks and tabs as white space, keeps walking
//    the format after a conversion found nothing (so a later %n still
//    stores), counts %n in its result, and reads character sets in its own
//    way (no ranges, a repeated character toggles);
//  - the printer grows a CString without limit, knows %q, %I32/%I64, %L
//    (thousands separators) and %hs, prints floating point in plain
//    fixed-point form with the locale's decimal character, and prints any
//    unknown conversion letter as itself without taking an argument.
#include <bitset>
#include <charconv>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <string>
#include "base/format.h"
#include "base/locale.h"
#include "base/platform.h"

namespace {

// A va_list that helpers can take by reference and advance.
struct ArgList {
    va_list ap;
};

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

void SkipBlanks(const wchar_t *&p)
{
    while (IsBlank(*p)) ++p;
}

// Value of c as a digit of base 10 or 16, or -1.
int DigitValue(wchar_t c, int base)
{
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (base == 16 && c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (base == 16 && c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

// Reads an integer, wrapping on overflow.  base is 10, 16, or 0 for
// "decimal unless it starts with 0x".  A "0x" prefix is also taken in base
// 16.  A sign or prefix is consumed only when a digit follows it; when no
// digit is there, nothing is consumed and the result is false.  width
// (0: none) limits the characters read, sign and prefix included.
bool ScanInteger(const wchar_t *&p, int width, int base, unsigned long long &value)
{
    size_t left = width > 0 ? (size_t)width : SIZE_MAX;
    const wchar_t *q = p;
    bool negative = false;
    if ((*q == L'-' || *q == L'+') && left > 1) {
        negative = *q == L'-';
        ++q;
        --left;
    }
    int radix = base == 16 ? 16 : 10;
    if (base != 10 && q[0] == L'0' && (q[1] == L'x' || q[1] == L'X') && left > 2 &&
        DigitValue(q[2], 16) >= 0) {
        radix = 16;
        q += 2;
        left -= 2;
    }
    const wchar_t *digits = q;
    unsigned long long v = 0;
    for (int d; left > 0 && (d = DigitValue(*q, radix)) >= 0; ++q, --left)
        v = v * (unsigned)radix + (unsigned)d;
    if (q == digits) return false;
    value = negative ? 0 - v : v;
    p = q;
    return true;
}

// Collects the ASCII digits at q (up to left characters) into number.
void TakeDigits(const wchar_t *&q, size_t &left, std::string &number)
{
    for (; left > 0 && *q >= L'0' && *q <= L'9'; ++q, --left) number += (char)*q;
}

// Reads a floating-point number: sign, digits with the locale's thousands
// character allowed between them, the locale's decimal character, more
// digits, and an exponent ("e", optional sign, digits) when one is
// complete.  Nothing is consumed unless a mantissa digit is there.
bool ScanDouble(const wchar_t *&p, int width, double &value)
{
    const wchar_t decimal = QueryDecimalChar(), thousands = QueryThousandsChar();
    size_t left = width > 0 ? (size_t)width : SIZE_MAX;
    const wchar_t *q = p;
    std::string number;
    if ((*q == L'-' || *q == L'+') && left > 1) {
        if (*q == L'-') number += '-';
        ++q;
        --left;
    }
    size_t mantissaStart = number.size();
    TakeDigits(q, left, number);
    while (number.size() > mantissaStart && thousands && *q == thousands && *q != decimal &&
           left > 1 && q[1] >= L'0' && q[1] <= L'9') {
        ++q;
        --left;
        TakeDigits(q, left, number);
    }
    size_t integerDigits = number.size() - mantissaStart;
    if (left > 0 && *q == decimal && (integerDigits > 0 || (left > 1 && q[1] >= L'0' && q[1] <= L'9'))) {
        number += '.';
        ++q;
        --left;
        TakeDigits(q, left, number);
    }
    if (number.size() == mantissaStart) return false;
    if (left > 1 && (*q == L'e' || *q == L'E')) {
        size_t signLength = (q[1] == L'-' || q[1] == L'+') ? 1 : 0;
        wchar_t next = q[1 + signLength];
        if (left > 1 + signLength && next >= L'0' && next <= L'9') {
            number += 'e';
            if (signLength) number += (char)q[1];
            q += 1 + signLength;
            left -= 1 + signLength;
            TakeDigits(q, left, number);
        }
    }
    auto result = std::from_chars(number.data(), number.data() + number.size(), value);
    if (result.ec != std::errc{}) value = std::strtod(number.c_str(), nullptr);  // out of range
    p = q;
    return true;
}

// Reads the set after "%[" and returns the format position after its "]".
// The first "]" closes the set; each listing of a character below 256
// toggles it, so a character listed twice is out.
const wchar_t *ParseSet(const wchar_t *f, std::bitset<256> &members, bool &negated)
{
    negated = *f == L'^';
    if (negated) ++f;
    for (; *f && *f != L']'; ++f)
        if (*f < 256) members.flip(*f);
    return *f ? f + 1 : f;
}

struct ScanState {
    const wchar_t *text;  // start, for %n
    const wchar_t *p;     // next character to read
    int count = 0;        // items stored
};

struct ScanConv {
    bool suppress = false;
    int width = 0;  // 0: no limit
    int bits = 32;  // integer store size
};

void StoreInteger(ArgList &args, int bits, unsigned long long v)
{
    if (bits == 16) *va_arg(args.ap, short *) = (short)v;
    else if (bits == 64) *va_arg(args.ap, long long *) = (long long)v;
    else *va_arg(args.ap, int *) = (int)v;
}

// Blanks and tabs are skipped first.  The value is stored even when no digit
// was there (as 0), but then it does not count.
void ScanIntegerItem(ScanState &st, const ScanConv &conv, int base, ArgList &args)
{
    SkipBlanks(st.p);
    unsigned long long value = 0;
    bool found = ScanInteger(st.p, conv.width, base, value);
    if (conv.suppress) return;
    StoreInteger(args, conv.bits, found ? value : 0);
    if (found) ++st.count;
}

void ScanDoubleItem(ScanState &st, const ScanConv &conv, ArgList &args)
{
    SkipBlanks(st.p);
    double value = 0;
    bool found = ScanDouble(st.p, conv.width, value);
    if (conv.suppress) return;
    *va_arg(args.ap, double *) = found ? value : 0.0;
    if (found) ++st.count;
}

// Copies characters from the text while accept() says so (and the width
// allows), optionally terminating.  The destination argument is taken even
// when nothing matched, so later conversions still get theirs.
template <class Accept>
void ScanCharsItem(ScanState &st, const ScanConv &conv, bool terminate, ArgList &args, Accept accept)
{
    wchar_t *out = conv.suppress ? nullptr : va_arg(args.ap, wchar_t *);
    size_t limit = conv.width > 0 ? (size_t)conv.width : SIZE_MAX, taken = 0;
    for (; taken < limit && *st.p && accept(*st.p); ++taken, ++st.p)
        if (out) out[taken] = *st.p;
    if (!out) return;
    if (terminate) out[taken] = L'\0';
    if (taken > 0) ++st.count;
}

// Reads "*", a width and size prefixes ("l" any number of times, "I32",
// "I64") after a "%".
const wchar_t *ParseScanConv(const wchar_t *f, ScanConv &conv)
{
    if (*f == L'*') {
        conv.suppress = true;
        ++f;
    }
    for (; *f >= L'0' && *f <= L'9'; ++f)
        if (conv.width < INT_MAX / 10) conv.width = conv.width * 10 + (*f - L'0');
    for (;;) {
        if (*f == L'l') ++f;
        else if (f[0] == L'I' && f[1] == L'3' && f[2] == L'2') f += 3, conv.bits = 32;
        else if (f[0] == L'I' && f[1] == L'6' && f[2] == L'4') f += 3, conv.bits = 64;
        else return f;
    }
}

// Handles one conversion; f points after its "%" and is moved past it.
// Returns false when the scan ends.
bool ScanConversion(ScanState &st, const wchar_t *&f, ArgList &args)
{
    ScanConv conv;
    f = ParseScanConv(f, conv);
    wchar_t letter = *f;
    if (!letter) return false;
    ++f;
    switch (letter) {
    case L'd': case L'u': ScanIntegerItem(st, conv, 10, args); break;
    case L'i': ScanIntegerItem(st, conv, 0, args); break;
    case L'x': case L'X': ScanIntegerItem(st, conv, 16, args); break;
    case L'h': conv.bits = 16; ScanIntegerItem(st, conv, 10, args); break;
    case L'q': conv.bits = 64; ScanIntegerItem(st, conv, 10, args); break;
    case L'f': case L'g': ScanDoubleItem(st, conv, args); break;
    case L'c':
        if (conv.width == 0) conv.width = 1;
        ScanCharsItem(st, conv, false, args, [](wchar_t) { return true; });
        break;
    case L's':
        SkipBlanks(st.p);
        ScanCharsItem(st, conv, true, args, [](wchar_t c) { return !IsBlank(c); });
        break;
    case L'[': {
        std::bitset<256> members;
        bool negated = false;
        f = ParseSet(f, members, negated);
        ScanCharsItem(st, conv, true, args,
                      [&](wchar_t c) { return (c < 256 && members.test(c)) != negated; });
        break;
    }
    case L'n':
        if (!conv.suppress) {
            *va_arg(args.ap, int *) = (int)(st.p - st.text);
            ++st.count;
        }
        break;
    default:  // any other letter, "%" included, is a literal
        if (*st.p != letter) return false;
        ++st.p;
    }
    return true;
}

}  // namespace

int VSscanf(const wchar_t *text, const wchar_t *format, va_list args)
{
    if (!text || !format) return 0;
    ScanState st{text, text};
    ArgList list;
    va_copy(list.ap, args);
    for (const wchar_t *f = format; *f;) {
        if (IsBlank(*f)) {
            SkipBlanks(st.p);
            ++f;
        } else if (*f != L'%') {
            if (*st.p != *f) break;
            ++st.p;
            ++f;
        } else if (!ScanConversion(st, ++f, list)) {
            break;
        }
    }
    va_end(list.ap);
    return st.count;
}

int Sscanf(const wchar_t *text, const wchar_t *format, ...)
{
    va_list args;
    va_start(args, format);
    int n = VSscanf(text, format, args);
    va_end(args);
    return n;
}

namespace {

struct PrintConv {
    bool left = false;     // "-"
    bool zero = false;     // "0": pad with zeros
    bool group = false;    // "L": thousands separators
    bool narrow = false;   // "h": %hs takes a narrow string
    bool zeroPrecision = false;  // the precision was written with a leading "0"
    int width = 0;
    int precision = -1;    // -1: none
    int bits = 32;
};

// Reads a run of decimal digits, saturating instead of overflowing.
int ReadNumber(const wchar_t *&f)
{
    int n = 0;
    for (; *f >= L'0' && *f <= L'9'; ++f)
        if (n < INT_MAX / 10) n = n * 10 + (*f - L'0');
    return n;
}

// Reads flags, width, precision and prefixes after a "%".  A "*" width or
// precision takes an int argument; a negative width left-justifies and a
// negative precision counts as none.
const wchar_t *ParsePrintConv(const wchar_t *f, PrintConv &conv, ArgList &args)
{
    for (; *f == L'-' || *f == L'+'; ++f)
        if (*f == L'-') conv.left = true;
    if (*f == L'0') {
        conv.zero = true;
        ++f;
    }
    if (*f == L'*') {
        int w = va_arg(args.ap, int);
        if (w < 0) conv.left = true;
        conv.width = w < 0 ? (w == INT_MIN ? INT_MAX : -w) : w;
        ++f;
    } else {
        conv.width = ReadNumber(f);
    }
    if (*f == L'.') {
        ++f;
        if (*f == L'*') {
            int p = va_arg(args.ap, int);
            conv.precision = p < 0 ? -1 : p;
            ++f;
        } else {
            conv.zeroPrecision = *f == L'0';
            conv.precision = ReadNumber(f);
        }
    }
    for (;;) {
        if (*f == L'L') conv.group = true, ++f;
        else if (*f == L'l' || *f == L'w') ++f;
        else if (*f == L'h') conv.narrow = true, ++f;
        else if (f[0] == L'I' && f[1] == L'3' && f[2] == L'2') conv.bits = 32, f += 3;
        else if (f[0] == L'I' && f[1] == L'6' && f[2] == L'4') conv.bits = 64, f += 3;
        else return f;
    }
}

// Appends text padded to the width: spaces on the left, spaces on the right
// when left-justified, or zeros on the left (after a sign, for numbers).
void AppendPadded(CString &out, const CString &text, const PrintConv &conv, bool numeric)
{
    size_t width = conv.width > 0 ? (size_t)conv.width : 0;
    if (text.size() >= width) {
        out += text;
        return;
    }
    size_t fill = width - text.size();
    if (conv.left) {
        out += text;
        out.append(fill, L' ');
    } else if (conv.zero) {
        size_t sign = numeric && !text.empty() && text[0] == L'-' ? 1 : 0;
        out.append(text, 0, sign);
        out.append(fill, L'0');
        out.append(text, sign, CString::npos);
    } else {
        out.append(fill, L' ');
        out += text;
    }
}

// Inserts the thousands character every three digits of a digit run.
void GroupThousands(std::wstring &digits)
{
    wchar_t sep = QueryThousandsChar();
    if (!sep) return;
    for (ptrdiff_t i = (ptrdiff_t)digits.size() - 3; i > 0; i -= 3) digits.insert((size_t)i, 1, sep);
}

void AppendInteger(CString &out, unsigned long long magnitude, bool negative, int base, bool upper,
                   PrintConv conv)
{
    // A precision written as "0n" with no width is a zero-padded width.
    if (conv.width == 0 && conv.zeroPrecision) {
        conv.width = conv.precision;
        conv.zero = true;
        conv.precision = -1;
    }
    const wchar_t *digitChars = upper ? L"0123456789ABCDEF" : L"0123456789abcdef";
    std::wstring digits;
    do {
        digits.insert(digits.begin(), digitChars[magnitude % (unsigned)base]);
        magnitude /= (unsigned)base;
    } while (magnitude);
    if (conv.precision > 0 && digits.size() < (size_t)conv.precision)
        digits.insert(0, (size_t)conv.precision - digits.size(), L'0');
    if (conv.group && base == 10) GroupThousands(digits);
    if (negative) digits.insert(digits.begin(), L'-');
    AppendPadded(out, CString(std::move(digits)), conv, true);
}

// Signed (d, i, q) and unsigned (u, x, X) integers; q and I64 take 64 bits.
void AppendIntegerArg(CString &out, wchar_t letter, const PrintConv &conv, ArgList &args)
{
    bool wide = conv.bits == 64 || letter == L'q';
    if (letter == L'd' || letter == L'i' || letter == L'q') {
        long long v = wide ? va_arg(args.ap, long long) : va_arg(args.ap, int);
        unsigned long long magnitude = v < 0 ? 0 - (unsigned long long)v : (unsigned long long)v;
        AppendInteger(out, magnitude, v < 0, 10, false, conv);
        return;
    }
    unsigned long long v = wide ? va_arg(args.ap, unsigned long long) : va_arg(args.ap, unsigned);
    int base = letter == L'u' ? 10 : 16;
    AppendInteger(out, v, false, base, letter == L'X', conv);
}

// The fixed-point digits of v, with '.' as the decimal point.
// With a precision (at most 16) exactly that many decimals are printed.
// Without one the value is rounded to 16 significant digits, at most 16
// decimals, and trailing zeros and a trailing point are removed, so 0.1
// prints as "0.1" and 2.0 as "2".  Digits beyond the 16th significant one
// of a large value print as zeros rather than as binary noise.
std::string FixedDigits(double v, int precision)
{
    std::string s(512, '\0');  // longest fixed form: sign, 309 digits, point, 16 decimals
    char *begin = s.data(), *end = s.data() + s.size();
    if (!std::isfinite(v)) {
        s.resize(std::to_chars(begin, end, v).ptr - begin);  // "inf", "-inf", "nan"
        return s;
    }
    if (precision >= 0) {
        s.resize(std::to_chars(begin, end, v, std::chars_format::fixed, precision > 16 ? 16 : precision).ptr - begin);
        return s;
    }
    char *stop = std::to_chars(begin, end, v, std::chars_format::scientific, 15).ptr;
    std::string scientific(begin, stop);
    size_t e = scientific.find('e');
    int exponent = std::atoi(scientific.c_str() + e + 1);
    if (exponent > 15) {
        std::string digits;
        for (size_t i = 0; i < e; ++i)
            if (scientific[i] != '.') digits += scientific[i];
        return digits + std::string((size_t)(exponent - 15), '0');
    }
    int decimals = 15 - exponent > 16 ? 16 : 15 - exponent;
    s.resize(std::to_chars(begin, end, v, std::chars_format::fixed, decimals).ptr - begin);
    if (s.find('.') != std::string::npos) {
        s.erase(s.find_last_not_of('0') + 1);
        if (s.back() == '.') s.pop_back();
    }
    return s;
}

// f, g and G all print fixed-point form (see FixedDigits) with the locale's
// decimal character; "L" groups the integer part.  A value that rounds to
// zero prints without a minus sign.
void AppendDouble(CString &out, double v, const PrintConv &conv)
{
    std::string s = FixedDigits(v, conv.precision);
    if (s[0] == '-' && s.find_first_not_of("-0.") == std::string::npos) s.erase(0, 1);
    std::wstring text(s.begin(), s.end());
    size_t point = text.find(L'.');
    if (point != std::wstring::npos) text[point] = QueryDecimalChar();
    if (conv.group && std::isfinite(v)) {
        size_t start = text[0] == L'-' ? 1 : 0;
        size_t length = (point == std::wstring::npos ? text.size() : point) - start;
        std::wstring integer = text.substr(start, length);
        GroupThousands(integer);
        text.replace(start, length, integer);
    }
    AppendPadded(out, CString(std::move(text)), conv, true);
}

CString NarrowToWide(const char *s)
{
    int length = MultiByteToWideChar(CP_ACP, 0, s, -1, nullptr, 0);
    if (length <= 1) return CString();
    std::wstring wide((size_t)length, L'\0');
    MultiByteToWideChar(CP_ACP, 0, s, -1, wide.data(), length);
    wide.resize((size_t)length - 1);
    return CString(std::move(wide));
}

// %s (wide) or %hs (narrow, in the ANSI code page); null prints as nothing.
void AppendStringArg(CString &out, const PrintConv &conv, ArgList &args)
{
    CString text;
    if (conv.narrow) {
        const char *s = va_arg(args.ap, const char *);
        if (s) text = NarrowToWide(s);
    } else {
        const wchar_t *s = va_arg(args.ap, const wchar_t *);
        if (s) text = s;
    }
    if (conv.precision >= 0) text.Truncate((size_t)conv.precision);
    AppendPadded(out, text, conv, false);
}

// Handles one conversion; f points after its "%".  Returns the position
// after the conversion.
const wchar_t *FormatConversion(CString &out, const wchar_t *f, ArgList &args)
{
    PrintConv conv;
    f = ParsePrintConv(f, conv, args);
    wchar_t letter = *f;
    if (!letter) return f;
    switch (letter) {
    case L'd': case L'i': case L'u': case L'x': case L'X': case L'q':
        AppendIntegerArg(out, letter, conv, args);
        break;
    case L'c': {
        // A zero character prints as nothing rather than ending up inside the string.
        wchar_t c = (wchar_t)va_arg(args.ap, int);
        AppendPadded(out, c ? CString(1, c) : CString(), conv, false);
        break;
    }
    case L's': AppendStringArg(out, conv, args); break;
    case L'p': {
        uint32_t low = (uint32_t)(uintptr_t)va_arg(args.ap, void *);
        PrintConv hex;
        hex.width = 8;
        hex.zero = true;
        CString digits;
        AppendInteger(digits, low, false, 16, true, hex);
        AppendPadded(out, digits, conv, false);
        break;
    }
    case L'f': case L'g': case L'G': AppendDouble(out, va_arg(args.ap, double), conv); break;
    case L'n': AppendInteger(out, out.size(), false, 10, false, conv); break;
    default: out += letter;  // "%%" and unknown letters print the letter
    }
    return f + 1;
}

}  // namespace

// Builds the text in a local string and moves it into out at the end, so a
// format or argument that points into out stays valid while it is read.
int FormatV(CString &out, const wchar_t *format, va_list args)
{
    CString text;
    ArgList list;
    va_copy(list.ap, args);
    for (const wchar_t *f = format ? format : L""; *f;) {
        const wchar_t *percent = std::wcschr(f, L'%');
        if (!percent) {
            text += f;
            break;
        }
        text.append(f, (size_t)(percent - f));
        f = FormatConversion(text, percent + 1, list);
    }
    va_end(list.ap);
    out = std::move(text);
    return out.GetLength();
}

int FormatS(CString &out, const wchar_t *format, ...)
{
    va_list args;
    va_start(args, format);
    int n = FormatV(out, format, args);
    va_end(args);
    return n;
}

CString FormatStr(const wchar_t *format, ...)
{
    CString out;
    va_list args;
    va_start(args, format);
    FormatV(out, format, args);
    va_end(args);
    return out;
}

int Sprintf(wchar_t *buffer, const wchar_t *format, ...)
{
    CString out;
    va_list args;
    va_start(args, format);
    int n = FormatV(out, format, args);
    va_end(args);
    if (buffer) std::wmemcpy(buffer, out.c_str(), out.size() + 1);
    return n;
}

void CString::Format(const wchar_t *format, ...)
{
    va_list args;
    va_start(args, format);
    FormatV(*this, format, args);
    va_end(args);
}

// %n counts only the appended part.
void CString::AppendFormat(const wchar_t *format, ...)
{
    CString tail;
    va_list args;
    va_start(args, format);
    FormatV(tail, format, args);
    va_end(args);
    append(tail);
}
