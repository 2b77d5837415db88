// Tests of the program's own scan and print dialects (core/format.cpp).
// The locale characters are the defaults: '.' decimal, ',' thousands.
#include <gtest/gtest.h>
#include <climits>
#include <string>
#include "base/format.h"

namespace {

std::wstring Print(const wchar_t *format, ...)
{
    CString out;
    va_list args;
    va_start(args, format);
    FormatV(out, format, args);
    va_end(args);
    return out;
}

}  // namespace

TEST(SscanfSets, HaveNoRangesAndCloseAtFirstBracket)
{
    wchar_t buf[8] = {};
    EXPECT_EQ(1, Sscanf(L"12", L"%[1-3]", buf));
    EXPECT_STREQ(L"1", buf);  // "2" is not listed
    EXPECT_EQ(1, Sscanf(L"-3x", L"%[1-3]", buf));
    EXPECT_STREQ(L"-3", buf);
    int n = -1;
    EXPECT_EQ(1, Sscanf(L"]]", L"%[]]%n", buf, &n));  // empty set, then a literal "]"
    EXPECT_STREQ(L"", buf);
    EXPECT_EQ(1, n);
}

TEST(SscanfSets, RepeatedCharacterTogglesOut)
{
    wchar_t buf[8] = {};
    EXPECT_EQ(1, Sscanf(L"bab", L"%[aba]", buf));
    EXPECT_STREQ(L"b", buf);
    EXPECT_EQ(1, Sscanf(L"x\u0416y", L"%[^y]", buf));  // above 255: in a negated set
    EXPECT_STREQ(L"x\u0416", buf);
    EXPECT_EQ(0, Sscanf(L"\u0416", L"%[\u0416]", buf));  // and never in a plain one
    EXPECT_EQ(1, Sscanf(L"aaaa", L"%2[a]", buf));
    EXPECT_STREQ(L"aa", buf);
}

TEST(SscanfCounting, PercentNCountsAndStoresAfterTextEnds)
{
    int a = 0, n = 0;
    EXPECT_EQ(2, Sscanf(L" 42x", L"%d%n", &a, &n));
    EXPECT_EQ(42, a);
    EXPECT_EQ(3, n);
    wchar_t buf[8] = L"zz";
    n = 0;
    EXPECT_EQ(2, Sscanf(L"12", L"%d%s%n", &a, buf, &n));  // %s found nothing: not counted
    EXPECT_STREQ(L"", buf);
    EXPECT_EQ(2, n);
    EXPECT_EQ(0, Sscanf(L"12", L"%*d%*n"));
}

TEST(SscanfCounting, FailedIntegerStoresZeroAndScanGoesOn)
{
    int a = 99, b = 99;
    wchar_t buf[8] = {};
    EXPECT_EQ(1, Sscanf(L"abc", L"%d%s", &a, buf));
    EXPECT_EQ(0, a);
    EXPECT_STREQ(L"abc", buf);
    EXPECT_EQ(1, Sscanf(L"-x", L"%d%s", &a, buf));  // a sign needs a digit after it
    EXPECT_STREQ(L"-x", buf);
    a = 99;
    EXPECT_EQ(1, Sscanf(L"1,2", L"%d;%d", &a, &b));  // literal mismatch ends the scan
    EXPECT_EQ(1, a);
    EXPECT_EQ(99, b);
    EXPECT_EQ(1, Sscanf(L"1 2", L"%*d %d", &a));
    EXPECT_EQ(2, a);
    EXPECT_EQ(2, Sscanf(L"5%e7", L"%d%%%e%d", &a, &b));
    EXPECT_EQ(7, b);
}

TEST(SscanfIntegers, StoreSizes)
{
    short s[2] = {0, 0x5A5A};
    EXPECT_EQ(1, Sscanf(L"70000", L"%h", &s[0]));
    EXPECT_EQ((short)70000, s[0]);
    EXPECT_EQ(0x5A5A, s[1]);
    EXPECT_EQ(1, Sscanf(L"5 d", L"%hd", &s[0]));  // "d" after %h is a literal
    int i[2] = {0, 0x5A5A};
    EXPECT_EQ(1, Sscanf(L"-7", L"%lld", &i[0]));
    EXPECT_EQ(-7, i[0]);
    EXPECT_EQ(0x5A5A, i[1]);
    long long q = 0, w = 0;
    EXPECT_EQ(2, Sscanf(L"12345678901 -5000000000", L"%q %I64d", &q, &w));
    EXPECT_EQ(12345678901LL, q);
    EXPECT_EQ(-5000000000LL, w);
}

TEST(SscanfIntegers, BasesWidthsAndBlanks)
{
    int a = 0, b = 0, n = 0;
    EXPECT_EQ(2, Sscanf(L"0x1F -0x10", L"%i %i", &a, &b));
    EXPECT_EQ(31, a);
    EXPECT_EQ(-16, b);
    wchar_t buf[8] = {};
    EXPECT_EQ(2, Sscanf(L"0xg", L"%i%s", &a, buf));
    EXPECT_STREQ(L"xg", buf);
    EXPECT_EQ(2, Sscanf(L"ff 0X1f", L"%x %X", &a, &b));
    EXPECT_EQ(255, a);
    EXPECT_EQ(31, b);
    EXPECT_EQ(2, Sscanf(L"12345", L"%2d%d", &a, &b));
    EXPECT_EQ(12, a);
    EXPECT_EQ(345, b);
    EXPECT_EQ(0, Sscanf(L"\n5", L"%d", &a));  // only blanks and tabs are skipped
    EXPECT_EQ(1, Sscanf(L"a \t b", L"a b%n", &n));
    EXPECT_EQ(5, n);
}

TEST(SscanfStrings, StringAndCharacters)
{
    wchar_t buf[16] = {};
    EXPECT_EQ(1, Sscanf(L" \tab\ncd e", L"%s", buf));
    EXPECT_STREQ(L"ab\ncd", buf);
    EXPECT_EQ(1, Sscanf(L"ab cd", L"%*s %s", buf));
    EXPECT_STREQ(L"cd", buf);
    wchar_t c[4] = {L'z', L'z', L'z', 0};
    EXPECT_EQ(1, Sscanf(L"abc", L"%2c", c));
    EXPECT_STREQ(L"abz", c);  // no terminator
    EXPECT_EQ(1, Sscanf(L" a", L"%c", c));
    EXPECT_EQ(L' ', c[0]);
}

TEST(SscanfFloats, LocaleCharactersAndFailure)
{
    double a = 0, b = 0, c = 0;
    EXPECT_EQ(3, Sscanf(L"1,234.5 -.5 2.5e3", L"%f %lf %g", &a, &b, &c));
    EXPECT_DOUBLE_EQ(1234.5, a);
    EXPECT_DOUBLE_EQ(-0.5, b);
    EXPECT_DOUBLE_EQ(2500.0, c);
    a = 9;
    EXPECT_EQ(0, Sscanf(L"x", L"%f", &a));
    EXPECT_EQ(0.0, a);
}

TEST(Sprintf, UnknownLetterTakesNoArgument)
{
    wchar_t buf[32];
    EXPECT_EQ(3, Sprintf(buf, L"%e%d", 42));
    EXPECT_STREQ(L"e42", buf);
    EXPECT_STREQ(L"50%", FormatStr(L"%d%%", 50).c_str());
    EXPECT_EQ(L"abc35", Print(L"abc%n%d", 5));
}

TEST(Sprintf, IntegerForms)
{
    EXPECT_EQ(L" 1,234,567,890,123", Print(L"%18Lq", 1234567890123LL));
    EXPECT_EQ(L"-1,000", Print(L"%Ld", -1000));
    EXPECT_EQ(L"-0005", Print(L"%05d", -5));
    EXPECT_EQ(L"00042|  007", Print(L"%.05d|%5.3d", 42, 7));
    EXPECT_EQ(L"ff FF ffffffff", Print(L"%x %X %x", 255, 255, -1));
    EXPECT_EQ(L"-5000000000 18446744073709551615 1FFFFFFFF",
              Print(L"%I64d %I64u %I64X", -5000000000LL, ~0ULL, 0x1FFFFFFFFULL));
    EXPECT_EQ(L"-2147483648 4294967295", Print(L"%d %u", INT_MIN, 4294967295u));
    EXPECT_EQ(L"-9223372036854775808", Print(L"%q", LLONG_MIN));
    EXPECT_EQ(L"   7|7   |", Print(L"%*d|%-*d|", 4, 7, -4, 7));
    EXPECT_EQ(L"00001234 56789ABC", Print(L"%p %p", (void *)0x1234, (void *)0x123456789ABCULL));
}

TEST(Sprintf, Strings)
{
    EXPECT_EQ(L"ab   |   ab|", Print(L"%-5s|%5s|", L"ab", L"ab"));
    EXPECT_EQ(L"abc", Print(L"%.3s", L"abcdef"));
    EXPECT_EQ(L"[]", Print(L"[%s]", (const wchar_t *)nullptr));
    EXPECT_EQ(L"narrow wide", Print(L"%hs %ls", "narrow", L"wide"));
    EXPECT_EQ(L"  x", Print(L"%3c", L'x'));
    EXPECT_EQ(5000u, FormatStr(L"%5000d", 1).size());
}

TEST(Sprintf, FixedPointDoubles)
{
    EXPECT_EQ(L"0.5 2 1.1 0.3", Print(L"%f %f %g %G", 0.5, 2.0, 1.1, 0.1 + 0.2));
    EXPECT_EQ(L"1.50 0.00", Print(L"%.2f %.2f", 1.5, -0.0001));
    EXPECT_EQ(L"100000000000000000000", Print(L"%f", 1e20));
    EXPECT_EQ(L"0", Print(L"%f", 1e-20));
    EXPECT_EQ(L"-1,234,567.25", Print(L"%Lf", -1234567.25));
    EXPECT_EQ(L"-001.5", Print(L"%06f", -1.5));
}

TEST(CStringFormat, FormatAppendAndAliasing)
{
    CString s(L"abc");
    s.Format(L"%s-%s", s.c_str(), s.c_str());
    EXPECT_EQ(L"abc-abc", s);
    s.AppendFormat(L"/%d%n", 7);
    EXPECT_EQ(L"abc-abc/72", s);
    CString out;
    EXPECT_EQ(3, FormatS(out, L"%d", 123));
    EXPECT_EQ(L"123", out);
}
