// The argument scanner: separators, quotes, brackets, escapes and the
// n-th argument rules that every command relies on.
#include <gtest/gtest.h>
#include "base/args.h"
#include "base/options.h"
#include "net/net.h"
#include "scoped_state.h"

namespace {

class Scan : public ::testing::Test {
protected:
    ScopedOptions options_;
    int At(const wchar_t *text, const wchar_t *stops = nullptr, const wchar_t *quotes = L"`\"") {
        return ScanIndex(text, stops, quotes);
    }
};

TEST_F(Scan, CompoundSeparators) {
    EXPECT_EQ(At(L"a & b"), 2);
    EXPECT_EQ(At(L"a>&b"), 4);          // >& is a handle duplication, not a separator
    EXPECT_EQ(At(L"a |& b"), 2);        // the pipe itself stops
    EXPECT_EQ(At(L"a | b"), 2);
    EXPECT_EQ(At(L"echo \"a & b\" & c"), 13);
    EXPECT_EQ(At(L"echo a^& b & c"), 11);  // escaped separator
    EXPECT_EQ(At(L"a%+b"), 1);
    aIniFile.CommandSep = L'~';
    EXPECT_EQ(At(L"a & b ~ c"), 6);
    EXPECT_EQ(At(L"a && b"), 2);        // " && " separates whatever CommandSep is
}

TEST_F(Scan, ParseFlagsSwitchFeaturesOff) {
    aIniFile.ParseFlags = PF_NO_COMPOUND;
    EXPECT_EQ(At(L"a & b | c"), 9);
    EXPECT_EQ(At(L"a%+b"), 4);
    aIniFile.ParseFlags = PF_NO_VARIABLES;
    EXPECT_EQ(At(L"a%+b"), 4);          // %+ is plain text
    aIniFile.ParseFlags = PF_NO_ESCAPES;
    EXPECT_EQ(At(L"a^&b"), 2);
    aIniFile.ParseFlags = PF_NO_QUOTES;
    EXPECT_EQ(At(L"\"a&b\""), 2);
}

TEST_F(Scan, QuotesAndBrackets) {
    EXPECT_EQ(At(L"a \"b c"), 6);       // open double quote: the end, no error
    EXPECT_EQ(ScanIndex(L"a `b", nullptr, L"`\""), -1);  // open back-quote is an error
    EXPECT_EQ(ScanIndex(L"a `b", L"", L"`\""), 4);       // but not with no stops
    EXPECT_EQ(At(L"(a & b) & c", nullptr, L"`\"("), 8);
    EXPECT_EQ(At(L"(a & (b)) x", L")", L"`\"("), 8);   // the closer is found
    EXPECT_EQ(At(L"(a & b", nullptr, L"`\"("), 6);      // open "(" returns the end
    EXPECT_EQ(At(L"[a & b", nullptr, L"`\"["), 3);      // open "[" is plain text
    EXPECT_EQ(At(L"(a \")\" b) & c", nullptr, L"`\"("), 10);
    EXPECT_EQ(At(L"\"%x:\"=%\" & y"), 9);  // %x:"=% does not close the quote
}

TEST_F(Scan, StopSets) {
    EXPECT_EQ(At(L"abc;d", L";"), 3);
    EXPECT_EQ(At(L"a/b", L" /"), 1);
    EXPECT_EQ(At(L"a/ b", L" /"), 2);   // a lone switch character is no separator
}

std::vector<CString> Args(const wchar_t *line, int options = 0) {
    std::vector<CString> out;
    CString arg;
    for (int i = 0; GetNthArgument(line, i | options, &arg); i++) out.push_back(arg);
    return out;
}

TEST_F(Scan, NthArgument) {
    EXPECT_EQ(Args(L"/a/b"), (std::vector<CString>{L"/a", L"/b"}));
    EXPECT_EQ(Args(L"c:/temp/x"), (std::vector<CString>{L"c:", L"/temp", L"/x"}));
    EXPECT_EQ(Args(L"a/ b"), (std::vector<CString>{L"a/", L"b"}));
    EXPECT_EQ(Args(L"ftp://host/dir x"), (std::vector<CString>{L"ftp://host/dir", L"x"}));
    EXPECT_EQ(Args(L"  a,b  \"c d\" "), (std::vector<CString>{L"a", L"b", L"\"c d\""}));
    EXPECT_EQ(Args(L"a,b", ARG_NO_COMMA), (std::vector<CString>{L"a,b"}));
    EXPECT_EQ(Args(L"a/b", ARG_NO_SWITCH_SPLIT), (std::vector<CString>{L"a/b"}));
    EXPECT_EQ(Args(L"(a b) c", ARG_PARENS), (std::vector<CString>{L"(a b)", L"c"}));
    EXPECT_EQ(Args(L"'a b'", ARG_APOSTROPHE), (std::vector<CString>{L"'a b'"}));
    EXPECT_TRUE(Args(L"").empty());
    int start = 0;
    CString arg;
    EXPECT_GT(GetNthArgument(L"one  two", 1, &arg, &start), 0);
    EXPECT_EQ(start, 5);
    EXPECT_EQ(GetNthArgument(L"one", 1, &arg, &start), 0);
    EXPECT_EQ(start, -1);
    EXPECT_STREQ(GetNthArgument(L"x y", 1), L"y");
}

TEST_F(Scan, DateDelimiters) {
    CString arg;
    NthArgumentEx(L"2026-11-22", 1, &arg, nullptr, ARG_DATE_DELIMITERS);
    EXPECT_EQ(arg, L"11");
}

TEST_F(Scan, UrlKinds) {
    EXPECT_EQ(QueryIsURL(L"http://x"), 1);
    EXPECT_EQ(QueryIsURL(L"HTTPS:\\\\x"), 2);
    EXPECT_EQ(QueryIsURL(L"ftp:/dir"), 4);
    EXPECT_EQ(QueryIsURL(L"\"sftp://h\""), 8);
    EXPECT_EQ(QueryIsURL(L"http:x"), 0);
    EXPECT_EQ(QueryIsURL(L"svn.x://y"), 10);
    EXPECT_EQ(QueryIsURL(L"c:\\x"), 0);
}

TEST(Escapes, Translation) {
    ScopedOptions options;
    CString s = L"a^tb^qc^^d^";
    UnEscapeLine(s);
    EXPECT_EQ(s, L"a\tb\"c^d^");  // a trailing escape stays
}

}  // namespace
