// The colour syntax, the double-cell table and the joining of box lines.
#include <gtest/gtest.h>
#include "base/colors.h"
#include "console/console.h"
#include "console/screen.h"

namespace {

// GetColors on a copy: the colour, and what it leaves behind.
std::pair<int, CString> Colors(const wchar_t *text) {
    CString rest = text;
    int colour = GetColors(rest);
    return {colour, rest};
}

TEST(ColorSyntax, NamesTakeThreeLettersAndBright) {
    EXPECT_EQ(Colors(L"Bri Yel on Bla text"), std::make_pair(0x0E, CString(L"text")));
    EXPECT_EQ(Colors(L"bright white blue"), std::make_pair(0x1F, CString()));
    EXPECT_EQ(Colors(L"BRIGHT WHITE ON BRIGHT BLUE"), std::make_pair(0x9F, CString()));
    EXPECT_EQ(Colors(L"Reddish Cyanide and more"), std::make_pair(0x34, CString(L"and more")));
    EXPECT_EQ(Colors(L"  mag\ton  gre   two  words"), std::make_pair(0x25, CString(L"two  words")));
    // "ON" must be the whole word; otherwise it is no colour.
    EXPECT_EQ(Colors(L"red onyx blue").first, -1);
}

TEST(ColorSyntax, NumbersAloneAndAsWords) {
    EXPECT_EQ(Colors(L"31").first, 0x1F);
    EXPECT_EQ(Colors(L"0x1F").first, 0x1F);
    EXPECT_EQ(Colors(L" 7 ").first, 0x07);
    EXPECT_EQ(Colors(L"256").first, -1);
    // As words, digit strings are colour numbers below 16.
    EXPECT_EQ(Colors(L"14 on 1 hello"), std::make_pair(0x1E, CString(L"hello")));
    EXPECT_EQ(Colors(L"bri 7 on 4"), std::make_pair(0x4F, CString()));
    EXPECT_EQ(Colors(L"bri 9 on 4").first, -1);
    EXPECT_EQ(Colors(L"31 on 1").first, -1);
}

TEST(ColorSyntax, MissingPartsGiveMinusOneAndKeepTheText) {
    for (const wchar_t *bad : {L"Yellow", L"", L"bri", L"bright yellow on", L"Yel on purple", L"Pur on Yel",
                               L"ye on bl", L"x31"}) {
        auto [colour, rest] = Colors(bad);
        EXPECT_EQ(colour, -1) << CString(bad).size();
        EXPECT_EQ(rest, CString(bad));
    }
}

TEST(ColorSyntax, ParseColorsReportsHalvesAndStopsBehindTheWords) {
    int fg = 0, bg = 0;
    const wchar_t *text = L"Yellow";
    EXPECT_EQ(ParseColors(text, &fg, &bg), text + 6);
    EXPECT_EQ(fg, 6);
    EXPECT_EQ(bg, -1);
    text = L"bri red on bri whi  rest";
    EXPECT_STREQ(ParseColors(text, &fg, &bg), L"  rest");
    EXPECT_EQ(fg, 12);
    EXPECT_EQ(bg, 15);
    text = L"nothing";
    EXPECT_EQ(ParseColors(text, &fg, &bg), text);
    EXPECT_EQ(fg, -1);
    int one;
    EXPECT_STREQ(ParseColor(L"Bright Green rest", &one), L" rest");
    EXPECT_EQ(one, 10);
}

TEST(DoubleCells, OnlyUnderTheEastAsianCodePages) {
    EXPECT_EQ(CellWidth(0x4E2D, 936), 2);   // a CJK ideograph
    EXPECT_EQ(CellWidth(0x4E2D, 1252), 1);
    EXPECT_EQ(CellWidth(0xD7A3, 949), 2);   // the ends of ranges and a gap
    EXPECT_EQ(CellWidth(0xD7A4, 949), 1);
    EXPECT_EQ(CellWidth(0x2E9A, 932), 1);
    EXPECT_EQ(CellWidth(0x2E9B, 932), 2);
    EXPECT_EQ(CellWidth(0xFFE7, 950), 1);
}

TEST(BoxLines, PlainLinesOnBlankCells) {
    EXPECT_EQ(JoinLine(L"    ", false, 1), CString(L"\x2500\x2500\x2500\x2500"));
    EXPECT_EQ(JoinLine(L"abc", true, 2), CString(L"\x2551\x2551\x2551"));
    EXPECT_EQ(JoinLine(L" ", false, 2), CString(L"\x2550"));
}

TEST(BoxLines, CrossingsAndEndsJoinTheLinesTheyMeet) {
    // A single line across a single and a double vertical line.
    EXPECT_EQ(JoinLine(L" \x2502 \x2551 ", false, 1), CString(L"\x2500\x253C\x2500\x256B\x2500"));
    // A single line from one double side of a box to the other.
    EXPECT_EQ(JoinLine(L"\x2551   \x2551", false, 1), CString(L"\x255F\x2500\x2500\x2500\x2562"));
    // A double vertical line from a single top edge down to a single bottom.
    EXPECT_EQ(JoinLine(L"\x2500 \x2500", true, 2), CString(L"\x2565\x2551\x2568"));
    // Over a line of its own direction the new weight wins.
    EXPECT_EQ(JoinLine(L"\x2500\x2500", false, 2), CString(L"\x2550\x2550"));
    // A line that leaves a corner on its open side turns it into a T; one
    // that ends on a double edge from above gives the mixed T.
    EXPECT_EQ(JoinLine(L"\x2510  ", false, 1), CString(L"\x252C\x2500\x2500"));
    EXPECT_EQ(JoinLine(L"  \x2550", true, 1), CString(L"\x2502\x2502\x2567"));
    // Strokes of two weights up and down have no character: the plain line.
    EXPECT_EQ(JoinLine(L" \x2565", true, 1), CString(L"\x2502\x2502"));
}

}  // namespace
