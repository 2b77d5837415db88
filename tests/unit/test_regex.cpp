// Regular expressions: the encodings of a search, the syntax option, and the
// replacement routines.
#include <gtest/gtest.h>
#include <string>
#include "base/options.h"
#include "config/config.h"
#include "vars/regex.h"

namespace {

std::wstring S(const CString &s) { return std::wstring(s); }

class Regex : public ::testing::Test {
protected:
    void SetUp() override { IniClear(&aIniFile); }
    void TearDown() override { IniClear(&aIniFile); }
};

// The text of group n found in a narrow subject, or "<none>".
std::string FindNarrow(const wchar_t *pattern, std::string subject, int encoding, unsigned group = 0) {
    unsigned char *base = (unsigned char *)subject.data();
    unsigned char *start = base, *end = base + subject.size();
    unsigned region = group;
    EXPECT_EQ(RegularExpression(pattern, base, &start, &end, &region, 0, encoding, 1), 0);
    if (!region) {
        EXPECT_EQ(start, nullptr);
        EXPECT_EQ(end, nullptr);
        return "<none>";
    }
    return start ? std::string((char *)start, (size_t)(end - start)) : "<no group>";
}

}  // namespace

TEST_F(Regex, EncodingsOfTheSubject) {
    EXPECT_EQ(FindNarrow(L"b+", "abbbc", REGEX_ASCII), "bbb");
    EXPECT_EQ(FindNarrow(L"x", "abc", REGEX_ASCII), "<none>");
    EXPECT_EQ(FindNarrow(L"c(\\w)", "abcde", REGEX_ASCII, 1), "d");
    EXPECT_EQ(FindNarrow(L"a(x)?b", "ab", REGEX_ASCII, 1), "<no group>");
    EXPECT_EQ(FindNarrow(L"a(b)", "ab", REGEX_ASCII, 5), "<no group>");
    // Non-ASCII text in UTF-8: the pattern is converted to match it.
    EXPECT_EQ(FindNarrow(L"\u00e9+", "caf\xc3\xa9\xc3\xa9!", REGEX_UTF8), "\xc3\xa9\xc3\xa9");

    CString wide(L"one \u00fcber two");
    unsigned char *base = (unsigned char *)wide.c_str();
    unsigned char *start = base, *end = base + wide.size() * 2;
    unsigned region = 0;
    ASSERT_EQ(RegularExpression(L"\u00fc\\w+", base, &start, &end, &region, 0, REGEX_UTF16, 1), 0);
    ASSERT_EQ(region, 1u);
    EXPECT_EQ(std::wstring((wchar_t *)start, (size_t)(end - start) / 2), L"\u00fcber");
    // The search keeps to the bounds it is given.
    start = base + 8;
    end = base + wide.size() * 2;
    region = 0;
    ASSERT_EQ(RegularExpression(L"one", base, &start, &end, &region, 0, REGEX_UTF16, 1), 0);
    EXPECT_EQ(region, 0u);
}

TEST_F(Regex, BadPatternsAndQuietMode) {
    std::string subject = "abc";
    unsigned char *base = (unsigned char *)subject.data(), *start = base, *end = base + 3;
    unsigned region = 0;
    EXPECT_NE(RegularExpression(L"a(b", base, &start, &end, &region, 0, REGEX_ASCII, 1), 0);
    EXPECT_EQ(RegularExpressionMatchQuiet(L"a(b", L"ab") < 0, true);
    EXPECT_EQ(RegularExpressionMatch(L"[z-a]", L"x"), -1);
    EXPECT_EQ(RegularExpressionMatch(L"^a.c$", L"abc"), 1);
}

TEST_F(Regex, SyntaxOption) {
    EXPECT_EQ(RegularExpressionMatchQuiet(L"^a+$", L"aaa"), 1);
    aIniFile.RegularExpressions = 3;  // Grep: "+" is a plain character
    EXPECT_EQ(RegularExpressionMatchQuiet(L"^a+$", L"aaa"), 0);
    EXPECT_EQ(RegularExpressionMatchQuiet(L"^a+$", L"a+"), 1);
    aIniFile.RegularExpressions = 99;  // anything else is Perl
    EXPECT_EQ(RegularExpressionMatchQuiet(L"^a+$", L"aaa"), 1);
}

TEST_F(Regex, Replacing) {
    struct {
        const wchar_t *pattern, *replacement, *subject, *result;
    } rows[] = {
        {L"b+", L"X", L"abbbcb", L"aXcX"},
        {L"(\\w+)@(\\w+)", L"\\2 at \\1", L"me@home", L"home at me"},
        {L"(a)(b)(c)(d)(e)(f)(g)(h)(i)(j)(k)", L"\\{11}\\1", L"abcdefghijk", L"ka"},
        {L"0$a", L"b", L"aaaa", L"aaaa"},
        {L"2$a", L"b", L"aaaa", L"bbaa"},
        {L"x", L"y", L"abc", L"abc"},
        {L" ", L"\\t\\n\\\\", L"a b", L"a\t\r\n\\b"},
        {L",", L"\\r\\n", L"a,b", L"a\r\nb"},
        {L"a", L"\\q", L"bab", L"bqb"},
        {L"\u00e9", L"e", L"caf\u00e9", L"cafe"},
    };
    for (auto &row : rows) {
        CString out;
        EXPECT_EQ(BackRefReplace(out, row.replacement, row.subject, row.pattern, 0), 0) << row.pattern;
        EXPECT_EQ(S(out), row.result) << row.pattern << " -> " << row.replacement;
    }
    CString out = L"kept";
    EXPECT_NE(BackRefReplace(out, L"\\{1", L"abc", L"(b)", 0), 0);
    EXPECT_TRUE(out.empty());
    out = L"kept";
    EXPECT_NE(BackRefReplace(out, L"\\3", L"abc", L"(b)", 0), 0);
    EXPECT_TRUE(out.empty());
    EXPECT_NE(BackRefReplace(out, L"x", L"abc", L"(b", 0), 0);
    // A path in front of "::" in the replacement stays; only the file name
    // of the subject is worked on.
    EXPECT_EQ(BackRefReplace(out, L"d:\\new\\::\\1.bak", L"c:\\dir\\name.txt", L"(\\w+)\\.txt", 1), 0);
    EXPECT_EQ(S(out), L"d:\\new\\name.bak");
}

TEST_F(Regex, TargetNamesByPattern) {
    CString target = L"::\\2-\\1.txt";
    EXPECT_EQ(RegexReplace(target, L"abc_123.log", L"(\\w+)_(\\d+)"), 0);
    EXPECT_EQ(S(target), L"123-abc.txt");
    target = L"::x";
    EXPECT_EQ(RegexReplace(target, L"abc", L"\\d"), 1);
    EXPECT_EQ(S(target), L"::x");
}
