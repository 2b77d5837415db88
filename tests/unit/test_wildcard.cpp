// The wildcard matcher, the rename-by-pattern rule and the sort order.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "base/options.h"
#include "config/config.h"
#include "files/ranges.h"

namespace {

struct MatchRow {
    const wchar_t *pattern, *name;
    int dotRule, sets;
    bool match;
};

const MatchRow kMatches[] = {
    // Plain characters and case.
    {L"abc.txt", L"ABC.TXT", 1, 1, true},
    {L"abc.txt", L"abd.txt", 1, 1, false},
    {L"abc", L"abcd", 1, 1, false},
    {L"abcd", L"abc", 1, 1, false},
    {L"\u00e9t\u00e9.txt", L"\u00c9T\u00c9.TXT", 1, 1, true},
    // "?": one character, nothing at the end, stops at a dot.
    {L"a?c", L"abc", 1, 1, true},
    {L"a?c", L"ac", 1, 1, false},
    {L"abc?", L"abc", 1, 1, true},
    {L"a?.txt", L"a.txt", 1, 1, true},
    {L"a?.txt", L"a.txt", 0, 1, false},
    {L"???", L"ab", 1, 1, true},
    // "*" and several stars.
    {L"*", L"anything.at.all", 1, 1, true},
    {L"*.txt", L"a.b.txt", 1, 1, true},
    {L"a*.txt", L"a.b.txt", 1, 1, true},
    {L"a*.txt", L"b.txt", 1, 1, false},
    {L"*.txt", L"a.txt.bak", 1, 1, false},
    {L"*a*b*c*", L"xxaxxbxxcxx", 1, 1, true},
    {L"*a*b*c*", L"xxaxxcxxbxx", 1, 1, false},
    {L"**??*x", L"abcx", 1, 1, true},
    {L"*ab", L"aab", 1, 1, true},
    {L"*aba", L"ababa", 1, 1, true},
    // Dots under the file-name rule.
    {L"*.", L"readme", 1, 1, true},
    {L"*.", L"readme.txt", 1, 1, false},
    {L"a.", L"a", 1, 1, true},
    {L"a.*", L"a", 1, 1, true},
    {L"a.*", L"a", 0, 1, false},
    {L"*", L".", 1, 1, true},
    {L"x*", L"..", 1, 1, false},
    // Sets.
    {L"[a-c]*", L"Beta", 1, 1, true},
    {L"[a-c]*", L"delta", 1, 1, false},
    {L"[!a]", L"A", 1, 1, false},
    {L"[!a]", L"b", 1, 1, true},
    {L"[^a]x", L"bx", 1, 1, true},
    {L"file[0-9].txt", L"file7.txt", 1, 1, true},
    {L"file[0-9].txt", L"fileX.txt", 1, 1, false},
    {L"*[xyz]", L"abcz", 1, 1, true},
    {L"*[xyz]", L"abcd", 1, 1, false},
    {L"a[?]c", L"abc", 1, 1, true},
    {L"a[]", L"a", 1, 1, true},
    {L"a[!]", L"ab", 1, 1, true},
    {L"a[bc]", L"a", 1, 1, false},
    {L"[ab]", L"[ab]", 1, 0, true},
    {L"[ab]", L"a", 1, 0, false},
    // A set without its "]" is plain text.
    {L"a[b", L"a[b", 1, 1, true},
    {L"[", L"[", 1, 1, true},
    {L"*[", L"a[", 1, 1, true},
    {L"[]]", L"]", 1, 1, false},
    // The pattern ends at ";", "=" and skips quotes.
    {L"*.c;*.h", L"x.c", 1, 1, true},
    {L"*.c;*.h", L"x.h", 1, 1, false},
    {L"\"my file\".txt", L"my file.txt", 1, 1, true},
    // Regular expressions.
    {L"::^a.*\\d$", L"abc1", 1, 1, true},
    {L"::^a.*\\d$", L"abc", 1, 1, false},
};

class Wildcards : public ::testing::Test {
protected:
    void SetUp() override { IniClear(&aIniFile); }
};

}  // namespace

TEST_F(Wildcards, MatchTable) {
    for (const MatchRow &row : kMatches) {
        int rc = WildcardComparison(row.pattern, row.name, row.dotRule, row.sets);
        EXPECT_EQ(rc == 0, row.match) << "pattern \"" << row.pattern << "\" name \"" << row.name
                                      << "\" dotRule " << row.dotRule;
    }
}

TEST_F(Wildcards, CaseFlagChangesNothing) {
    EXPECT_EQ(WildcardComparisonEx(L"ABC*", L"abcdef", 1, 1, 1), 0);
    EXPECT_EQ(WildcardComparisonEx(L"ABC*", L"abcdef", 1, 1, 0), 0);
}

TEST_F(Wildcards, BadRegularExpressionIsAnErrorCode) {
    EXPECT_LT(WildcardComparison(L"::a(b", L"ab", 1, 1), 0);
}

TEST_F(Wildcards, SetsAndWildcardTests) {
    EXPECT_TRUE(QueryIsWildcard(L"a*"));
    EXPECT_TRUE(QueryIsWildcard(L"a[bc]"));
    EXPECT_TRUE(QueryIsWildcard(L"::x"));
    EXPECT_FALSE(QueryIsWildcard(L"a[b"));
    EXPECT_FALSE(QueryIsWildcard(L"plain.txt"));
    EXPECT_EQ(CheckWildcardSets(L"a[b]c[d]", 1), 0);
    EXPECT_EQ(CheckWildcardSets(L"a[b]c[d", 1), ERROR_BD_UNBALANCED_BRACKET);
}

TEST_F(Wildcards, DotNames) {
    EXPECT_EQ(QueryIsDotName(L"."), 1);
    EXPECT_EQ(QueryIsDotName(L".."), 1);
    EXPECT_EQ(QueryIsDotName(L"..."), 0);
    EXPECT_EQ(QueryIsDotName(L".x"), 0);
}

TEST_F(Wildcards, RenameByPattern) {
    struct {
        const wchar_t *pattern, *source, *result;
    } rows[] = {
        {L"*.bak", L"a.b.txt", L"a.b.bak"},
        {L"*.bak", L"readme", L"readme.bak"},
        {L"c:\\dir\\*.old", L"d:\\x\\name.txt", L"c:\\dir\\name.old"},
        {L"new*", L"a.txt", L"new.txt"},
        {L"?x*", L"abc.txt", L"axc.txt"},
        {L"*", L"same.name", L"same.name"},
        {L"*.", L"file.txt", L"file"},
        {L"a*z.txt", L"alpha.txt", L"alphaz.txt"},
        {L"*_copy.*", L"doc.txt", L"doc_copy.txt"},
    };
    for (auto &row : rows) {
        CString out;
        MakeWildcardName(out, row.pattern, row.source);
        EXPECT_EQ(std::wstring(out), std::wstring(row.result)) << row.pattern << " on " << row.source;
    }
}

TEST_F(Wildcards, StringOrder) {
    auto sign = [](int v) { return v < 0 ? -1 : v > 0; };
    struct {
        const wchar_t *a, *b;
        unsigned flags;
        int order;
    } rows[] = {
        {L"f2", L"f10", COMPARE_NUMERIC, -1},
        {L"f2", L"f10", COMPARE_PLAIN, 1},
        {L"007", L"7", COMPARE_NUMERIC, 0},
        {L"a10b2", L"a10b10", COMPARE_NUMERIC, -1},
        {L"ABC", L"abc", COMPARE_PLAIN, 0},
        {L"", L"a", COMPARE_PLAIN, -1},
        {L"a", L"", COMPARE_PLAIN, 1},
        {L"ab.txt", L"abc.txt", COMPARE_FILE_NAMES, -1},
        {L"abc.txt", L"ab.txt", COMPARE_FILE_NAMES, 1},
        {L"a.txt", L"a.doc", COMPARE_FILE_NAMES, 0},
        {L"a.txt", L"a.doc", COMPARE_PLAIN, 1},
        {L"99999999999999999999", L"1", COMPARE_NUMERIC, 1},
    };
    for (auto &row : rows)
        EXPECT_EQ(sign(CompareStrings(row.a, row.b, row.flags)), row.order)
            << row.a << " vs " << row.b << " flags " << row.flags;
}
