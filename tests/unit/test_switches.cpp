// Switch readers, argument preparation and the small argument helpers.
#include <gtest/gtest.h>
#include <vector>
#include "base/args.h"
#include "base/options.h"
#include "base/state.h"
#include "files/files.h"
#include "files/search.h"
#include "scoped_state.h"

namespace {

using Args = std::vector<CString>;

// Every test starts from the default special characters and parse flags.
class Switches : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedGlobals globals_;
    void SetUp() override {
        aIniFile.SwitchChar = L'/';
        aIniFile.EscapeChar = L'^';
        aIniFile.ParseFlags = 0;
        aIniFile.CMDBatchDelimiters = 1;
        aGlobals.fCompatibility = 0;
    }
    // GetSwitches with the mask kept in mask_.
    int Sw(CString &line, const wchar_t *allowed, int flags, FILESEARCH *search = nullptr) {
        return GetSwitches(line, allowed, &mask_, flags, search);
    }
    unsigned mask_ = 0;
};

Args Split(const wchar_t *text, unsigned flags) {
    CString t = text;
    Args args;
    ParseArguments_S(t, L"cmd", flags | PA_SPLIT, &args);
    return args;
}

CString Prepared(const wchar_t *text, unsigned flags) {
    CString t = text;
    ParseArguments_S(t, L"cmd", flags, nullptr);
    return t;
}

TEST_F(Switches, GetSwitchesWalkAndRemoval) {
    struct { const wchar_t *line, *allowed; int flags; unsigned mask; const wchar_t *after; } rows[] = {
        {L"/Q /// /X", L"QX", SW_STOP_AT_ARG, 1, L"/// /X"},
        {L"f /qx /Q", L"*#QX", 0, 3, L"f  "},  // markers take no bit
        {L"/Q a /X", L"QX", SW_STOP_AT_ARG, 1, L"a /X"},
        {L"a /Q", L"Q", SW_FIRST_ONLY, 0, L"a /Q"},
        {L"/Qname", L"Q", SW_ONE_LETTER, 1, L"name"},
        {L"/QX /X", L"QX", SW_KEEP_LONG | SW_STOP_AT_ARG, 3, L"/QX "},
        {L"/Q- x", L"Q", SW_STOP_AT_ARG, 1, L"x"},  // a mark ends the letters
        {L"/XQZ b", L"QX", SW_KEEP_UNKNOWN, 3, L"/XQZ b"},
    };
    for (const auto &r : rows) {
        CString line = r.line;
        EXPECT_EQ(0, Sw(line, r.allowed, r.flags)) << r.line;
        EXPECT_EQ(r.mask, mask_) << r.line;
        EXPECT_EQ(r.after, line) << r.line;
    }
    for (const wchar_t *bad : {L"/Q /Z a", L"/QZ", L"/Q9", L"/Q="}) {
        CString line = bad;
        EXPECT_EQ(2, Sw(line, L"QX", 0)) << bad;
        EXPECT_EQ(bad, line) << "the line stays whole on an error";
    }
}

TEST_F(Switches, AttributeAndSortSwitches) {
    FILESEARCH search;
    search.fRequired = search.fForbidden = search.fAnyOf = 0x7;
    CString line = L"/A:-h+r dir";
    EXPECT_EQ(0, Sw(line, L"*AQ", SW_STOP_AT_ARG, &search));
    EXPECT_EQ(1u, mask_);
    EXPECT_EQ(L"dir", line);
    EXPECT_EQ(0u, search.fRequired);
    EXPECT_EQ(0x2u, search.fForbidden);
    EXPECT_EQ(0x1u, search.fAnyOf);
    EXPECT_EQ(0x80017u, search.fSearchFlags);

    line = L"/A:h";  // without "*" /A is an ordinary letter
    EXPECT_EQ(0, Sw(line, L"QA", 0, &search));
    EXPECT_EQ(2u, mask_);
    EXPECT_EQ(0x2u, search.fForbidden);

    line = L"/O:-dn /Q";
    EXPECT_EQ(0, Sw(line, L"#Q", 0, &search));
    EXPECT_EQ(L"-dn", search.sSortKeys);
    line = L"/O:dy";
    EXPECT_EQ(2, Sw(line, L"#Q", 0, &search));
    line = L"/O:dddddddddddddddddd";
    Sw(line, L"#", 0, &search);
    EXPECT_EQ(14, search.sSortKeys.GetLength());

    GetSearchAttributes(L":rh-s+n_d", &search);
    EXPECT_EQ(0x13u, search.fRequired);
    EXPECT_EQ(0x4u, search.fForbidden);
    EXPECT_EQ(ATTR_ANY_NORMAL, search.fAnyOf);
    GetSearchAttributes(L"r?h", &search);  // the list ends at "?"
    EXPECT_EQ(0x1u, search.fRequired);
}

TEST_F(Switches, StringAndMultiCharSwitches) {
    CString line = L"x /c  echo hi", rest, value;
    EXPECT_EQ(1, GetStringSwitch(line, L"C", 0, &rest));
    EXPECT_EQ(L"echo hi", rest);
    EXPECT_EQ(L"x   echo hi", line);
    line = L"/cx /// /c";
    EXPECT_EQ(0, GetStringSwitch(line, L"c", 0, &rest));

    const wchar_t *digits = L"0123456789";
    line = L"/n12 x";
    EXPECT_EQ(1, GetMultiCharSwitch(line, L"N", &value, 5, digits, 0, 0));
    EXPECT_EQ(L"12", value);
    EXPECT_EQ(L" x", line);
    line = L"/N12a";
    EXPECT_EQ(0, GetMultiCharSwitch(line, L"N", &value, 5, digits, 0, 0));
    EXPECT_EQ(L"/N12a", line);
    EXPECT_EQ(1, GetMultiCharSwitch(line, L"N", &value, 5, digits, 1, 0));
    EXPECT_EQ(L"a", line);
    line = L"/N123";  // the width limits the value
    EXPECT_EQ(1, GetMultiCharSwitch(line, L"N", &value, 2, digits, 1, 0));
    EXPECT_EQ(L"3", line);
    line = L"/N /N5";
    EXPECT_EQ(1, GetMultiCharSwitch(line, L"N", &value, 5, nullptr, 0, SW_EMPTY_SKIPS));
    EXPECT_EQ(L"5", value);
    line = L"/Size=10k";
    EXPECT_EQ(1, GetMultiCharSwitch(line, L"size=", &value, 0, nullptr, 0, 0));
    EXPECT_EQ(L"10k", value);
}

TEST_F(Switches, ParseArgumentsConversion) {
    EXPECT_EQ(L"a\tb \"c^td\" e^", Prepared(L"a^tb \"c^td\" e^", PA_CONVERT));
    EXPECT_EQ((Args{L"cmd", L"a b", L"c"}), Split(L"a^sb c", PA_CONVERT));
    EXPECT_EQ((Args{L"cmd", L"a^ b"}), Split(L"a^ b", 0));
    EXPECT_EQ((Args{L"cmd", L"a b\tc", L"\"x y\""}), Split(L"`a b^t`c \"x y\"", PA_CONVERT));
    EXPECT_EQ((Args{L"cmd", L"\"a b\"", L"c", L"\"d e\""}), Split(L"\u201Ca b\u201D c \u201Cd e\"", 0));
    aGlobals.fCompatibility = 1;
    EXPECT_EQ((Args{L"cmd", L"`a b`c"}), Split(L"`a b`c", PA_CONVERT));
    aGlobals.fCompatibility = 0;
    aIniFile.ParseFlags = PF_NO_ESCAPES | PF_NO_QUOTES;
    EXPECT_EQ(L"a^tb", Prepared(L"a^tb", PA_CONVERT));
    EXPECT_EQ((Args{L"cmd", L"\"a", L"b\""}), Split(L"\"a b\"", 0));
}

TEST_F(Switches, ParseArgumentsSplit) {
    EXPECT_EQ((Args{L"cmd", L"x", L"1", L"y;z", L"w"}), Split(L" ,x=1,y;z  w", 0));
    EXPECT_EQ((Args{L"cmd", L"x=1", L"y"}), Split(L"x=1 y", PA_NO_EQUALS_DELIMITER));
    aIniFile.CMDBatchDelimiters = 0;
    EXPECT_EQ((Args{L"cmd", L"x=1", L"y"}), Split(L"x=1 y", 0));

    wchar_t buffer[] = L"  one \"t w o\"\tthree";
    const wchar_t *argv[8] = {};
    int argc = 0;
    EXPECT_EQ(4, ParseArguments(&argc, argv, L"cmd", buffer, PA_SPLIT));
    EXPECT_EQ(4, argc);
    EXPECT_STREQ(L"cmd", argv[0]);
    EXPECT_STREQ(L"\"t w o\"", argv[2]);
    EXPECT_STREQ(L"three", argv[3]);
    EXPECT_EQ(nullptr, argv[4]);
}

TEST_F(Switches, TokensAndArguments) {
    struct { int first, last, result; const wchar_t *kept; } rows[] = {
        {1, 2, 0, L"a  b"}, {-2, -1, 0, L"c d"}, {2, -2, 0, L"b,c"},
        {2, 9, 1, L"b,c d"}, {-9, -3, 1, L"a  b"}, {5, 5, 1, L""},
    };
    for (const auto &r : rows) {
        CString text = L" a  b,c d ";
        EXPECT_EQ(r.result, GetToken(text, L" ,", r.first, r.last)) << r.first << "," << r.last;
        EXPECT_EQ(r.kept, text) << r.first << "," << r.last;
    }

    int index = -1, start = -1;
    CString last;
    EXPECT_EQ(1, LastArgument(L"a bb  c", &index, &last, &start));
    EXPECT_EQ(2, index);
    EXPECT_EQ(6, start);
    EXPECT_EQ(0, LastArgument(L"  a ", &index, &last, &start));
    EXPECT_EQ(0, index);

    CString text = L"a \"b c\"  d";
    EXPECT_EQ(L"d", NextArgument_S(text, 2));
    text = L"a b";
    EXPECT_TRUE(NextArgument_S(text, 2).empty());
    wchar_t buffer[] = L"one, two three";
    EXPECT_STREQ(L"two three", NextArgument(buffer, 1));

    text = L"\"a b\"\\c d";  // already carries quotes
    AddQuotes_S(text);
    EXPECT_EQ(L"\"a b\"\\c d", text);
    text = L"\"";
    StripEnclosingQuotes_S(text);
    EXPECT_EQ(L"\"", text);
}

}  // namespace
