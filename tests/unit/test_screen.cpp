// The cell layer on a real console.  Without one (the usual case for the
// unit tests) these tests are skipped; tests/interactive/check_console.py
// runs them again inside a terminal, where Wine gives the program a console.
#include <gtest/gtest.h>
#include <algorithm>
#include <string>
#include <vector>
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"
#include "console/console.h"
#include "console/screen.h"
#include "core/cmdtable.h"
#include "scoped_state.h"
#include "vars/functions.h"

namespace {

class ConsoleScreen : public ::testing::Test {
protected:
    ScopedOptions options_;
    void SetUp() override {
        // The console output handle, as start-up opens it; standard output
        // may be redirected to keep the test's report.
        if (!aGlobals.hConOut)
            aGlobals.hConOut = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                                           nullptr, OPEN_EXISTING, 0, nullptr);
        if (!ConsoleOutputHandle()) GTEST_SKIP() << "no console";
        Scroll(0, 0, GetScrRows(), GetScrCols() - 1, 0, 0x07);
        SetCursorPosition(0, 0);
    }
    // The characters and attributes of count cells at a window position.
    CString Text(int row, int col, int count) {
        std::vector<CHAR_INFO> cells(count);
        EXPECT_EQ(ReadCellStr(cells.data(), count, row, col), count);
        CString text;
        for (auto &c : cells) text += c.Char.UnicodeChar;
        return text;
    }
    std::vector<int> Attributes(int row, int col, int count) {
        std::vector<CHAR_INFO> cells(count);
        ReadCellStr(cells.data(), count, row, col);
        std::vector<int> out;
        for (auto &c : cells) out.push_back(c.Attributes & 0xFF);
        return out;
    }
};

TEST_F(ConsoleScreen, CellWritesLeaveTheCursorAlone) {
    SetCursorPosition(5, 7);
    WriteStrAtt(2, 3, 0x1E, L"Hello");
    WriteChrAtt(2, 8, 0x4F, L'!');
    EXPECT_EQ(Text(2, 2, 8), CString(L" Hello! "));
    EXPECT_EQ(Attributes(2, 3, 6), (std::vector<int>{0x1E, 0x1E, 0x1E, 0x1E, 0x1E, 0x4F}));
    int row, col;
    GetCursorPosition(&row, &col);
    EXPECT_EQ(row, 5);
    EXPECT_EQ(col, 7);
    // The 2 form moves the position, wrapping at the buffer's width.
    int r = 4, c = GetScrCols() - 2;
    WriteStrAtt2(&r, &c, 0x20, L"abcd");
    EXPECT_EQ(r, 5);
    EXPECT_EQ(c, 2);
    EXPECT_EQ(Text(5, 0, 2), CString(L"cd"));
}

TEST_F(ConsoleScreen, VerticalWritesAndAttributeOnlyChanges) {
    int r = 1, c = 10;
    WriteVStrAtt2(&r, &c, 0x5A, L"xyz");
    EXPECT_EQ(r, 4);
    EXPECT_EQ(Text(1, 10, 1) + Text(2, 10, 1) + Text(3, 10, 1), CString(L"xyz"));
    EXPECT_EQ(Attributes(3, 10, 1)[0], 0x5A);
    SetLineColor(2, 9, 3, 0x71);
    EXPECT_EQ(Attributes(2, 9, 3), (std::vector<int>{0x71, 0x71, 0x71}));
    EXPECT_EQ(Text(2, 9, 3), CString(L" y "));
}

TEST_F(ConsoleScreen, ScrollMovesOnlyTheRectangle) {
    for (int i = 0; i < 4; i++) WriteStrAtt(i, 0, 0x07, FormatStr(L"%c%c%c%d", L'A' + i, L'A' + i, L'A' + i, i).c_str());
    Scroll(0, 0, 3, 2, 1, 0x30);  // columns 0-2 up by one
    EXPECT_EQ(Text(0, 0, 4) + Text(1, 0, 4) + Text(2, 0, 4) + Text(3, 0, 4), CString(L"BBB0CCC1DDD2   3"));
    EXPECT_EQ(Attributes(3, 0, 4), (std::vector<int>{0x30, 0x30, 0x30, 0x07}));
    Scroll(0, 0, 3, 3, -2, 0x07);  // columns 0-3 down by two
    EXPECT_EQ(Text(0, 0, 4) + Text(1, 0, 4) + Text(2, 0, 4) + Text(3, 0, 4), CString(L"        BBB0CCC1"));
    Scroll(2, 1, 3, 2, 0, 0x07);  // lines 0 clears
    EXPECT_EQ(Text(2, 0, 4) + Text(3, 0, 4), CString(L"B  0C  1"));
    Scroll(0, 0, 3, 3, 4, 0x07);  // as many lines as rows: all cleared
    EXPECT_EQ(Text(3, 0, 4), CString(L"    "));
}

TEST_F(ConsoleScreen, AttributeAtTheCursorAndItsInverse) {
    int normal, inverse;
    SetLineColor(3, 3, 1, 0x1E);
    SetCursorPosition(3, 3);
    GetAttribute(&normal, &inverse);
    EXPECT_EQ(normal, 0x1E);
    EXPECT_EQ(inverse, 0xE1);
    SetLineColor(3, 3, 1, 0);
    GetAttribute(&normal, &inverse);
    EXPECT_EQ(inverse, 112);
}

TEST_F(ConsoleScreen, CursorRangeIsRelativeWithASign) {
    SetCursorPosition(10, 20);
    int row = -1, col = -1;
    EXPECT_EQ(GetCursorRange(L"+2 -5", &row, &col), 0);
    EXPECT_EQ(row, 12);
    EXPECT_EQ(col, 15);
    EXPECT_EQ(GetCursorRange(L"3,4", &row, &col), 0);
    EXPECT_EQ(row, 3);
    EXPECT_EQ(col, 4);
    EXPECT_EQ(GetCursorRange(FormatStr(L"%d 0", GetScrRows()).c_str(), &row, &col), 0);
    row = col = -1;
    EXPECT_EQ(GetCursorRange(FormatStr(L"%d 0", GetScrRows() + 1).c_str(), &row, &col), 2);
    EXPECT_EQ(GetCursorRange(FormatStr(L"0 %d", GetScrCols()).c_str(), &row, &col), 2);
    SetCursorPosition(10, 20);  // the reports above moved it
    EXPECT_EQ(GetCursorRange(L"-11 0", &row, &col), 2);
    EXPECT_EQ(GetCursorRange(L"5", &row, &col), 2);
    EXPECT_EQ(GetCursorRange(L"5 6x", &row, &col), 2);
    EXPECT_EQ(row, -1);
}

TEST_F(ConsoleScreen, ColouredTextWrapsAndScrollsAtTheEnd) {
    int width = GetScrCols(), last = GetAbsScrRows() - 1;
    SetAbsCursorPosition(last, width - 3);
    CString text = L"ABCDEFG\tH\r\nnext";
    ColorWriteAtCursor(0x2E, text.c_str(), text.GetLength());
    // "ABC" ends the last row, the buffer moves up, "DEFG", a tab to
    // column 8, "H", then the line end moves it up once more.
    int row, col;
    GetAbsCursorPosition(&row, &col);
    EXPECT_EQ(row, last);
    EXPECT_EQ(col, 4);
    int top = last - GetRowOffset();
    EXPECT_EQ(Text(top, 0, 4), CString(L"next"));
    EXPECT_EQ(Text(top - 1, 0, 9), CString(L"DEFG    H"));
    EXPECT_EQ(Text(top - 2, width - 3, 3), CString(L"ABC"));
    EXPECT_EQ(Attributes(top - 1, 0, 9), std::vector<int>(9, 0x2E));
}

TEST_F(ConsoleScreen, ErrorColorsColourStandardErrorOnTheConsole) {
    if (!QueryIsConsole(StdErr())) GTEST_SKIP() << "standard error is redirected";
    aIniFile.ErrorColors = 0x4E;
    SetCursorPosition(6, 0);
    Qprintf(StdErr(), L"%s\r\n", L"failure");
    EXPECT_EQ(Text(6, 0, 7), CString(L"failure"));
    EXPECT_EQ(Attributes(6, 0, 7), std::vector<int>(7, 0x4E));
    int row, col;
    GetCursorPosition(&row, &col);
    EXPECT_EQ(row, 7);
    EXPECT_EQ(col, 0);
}

TEST_F(ConsoleScreen, EchoWritesInStdColors) {
    ScopedStdHandle output(STD_OUTPUT_HANDLE, ConsoleOutputHandle());
    aIniFile.StdColors = 0x1E;
    SetCursorPosition(4, 0);
    CString args = L" one";
    Echo_Command(args);
    args = L" two";
    Echos_Command(args);
    output.Restore();
    EXPECT_EQ(Text(4, 0, 4) + Text(5, 0, 4), CString(L"one two "));
    EXPECT_EQ(Attributes(5, 0, 4), (std::vector<int>{0x1E, 0x1E, 0x1E, 0x07}));
}

TEST_F(ConsoleScreen, LogAllKeepsWhatTheConsoleShows) {
    if (!QueryIsConsole(StdErr())) GTEST_SKIP() << "standard error is redirected";
    wchar_t dir[MAX_PATH], name[MAX_PATH];
    GetTempPathW(MAX_PATH, dir);
    GetTempFileNameW(dir, L"bdl", 0, name);
    aIniFile.LogAll = 1;
    SetStringOption(&aIniFile, *FindOption(L"LogAllName"), name);
    Qprintf(StdErr(), L"logged %d\r\n", 7);
    aIniFile.ErrorColors = 0x4E;  // through the cell layer as well
    Qprintf(StdErr(), L"coloured\r\n");
    aIniFile.LogAll = 0;
    Qprintf(StdErr(), L"not logged\r\n");
    HANDLE h = CreateFileW(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    std::string bytes(4096, '\0');
    DWORD got = 0;
    ReadFile(h, bytes.data(), (DWORD)bytes.size(), &got, nullptr);
    CloseHandle(h);
    DeleteFileW(name);
    bytes.resize(got);
    EXPECT_NE(bytes.find("logged 7"), std::string::npos) << bytes;
    EXPECT_NE(bytes.find("coloured"), std::string::npos) << bytes;
    EXPECT_EQ(bytes.find("not logged"), std::string::npos) << bytes;
}

TEST_F(ConsoleScreen, SecondScreenBufferKeepsTheFirst) {
    HANDLE first = ConsoleOutputHandle();
    WriteStrAtt(0, 0, 0x07, L"first");
    HANDLE second = ConsoleScreenBuffer(nullptr);
    ASSERT_TRUE(second);
    EXPECT_EQ(ConsoleOutputHandle(), second);
    WriteStrAtt(0, 0, 0x07, L"other");
    EXPECT_EQ(Text(0, 0, 5), CString(L"other"));
    EXPECT_EQ(ConsoleScreenBuffer(first), first);
    EXPECT_EQ(Text(0, 0, 5), CString(L"first"));
    CloseHandle(second);
}

TEST_F(ConsoleScreen, AnsiOptionSetsVirtualTerminalProcessing) {
    HANDLE out = ConsoleOutputHandle();
    DWORD mode = 0;
    aIniFile.ANSI = 1;
    EXPECT_EQ(ConsoleANSI(), 0);
    ASSERT_TRUE(GetConsoleMode(out, &mode));
    EXPECT_TRUE(mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    EXPECT_EQ(ConsoleANSI(), 0);  // nothing to change
    aIniFile.ANSI = 0;
    EXPECT_EQ(ConsoleANSI(), 0);
    GetConsoleMode(out, &mode);
    EXPECT_FALSE(mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING);
}

TEST_F(ConsoleScreen, CursorShapeFollowsTheOptions) {
    CONSOLE_CURSOR_INFO cursor;
    aIniFile.CursorIns = 100;
    aIniFile.CursorOver = 0;
    SetCursorMode(true);
    GetConsoleCursorInfo(ConsoleOutputHandle(), &cursor);
    EXPECT_TRUE(cursor.bVisible && cursor.dwSize == 100);
    SetCursorMode(false);  // size 0 hides it
    GetConsoleCursorInfo(ConsoleOutputHandle(), &cursor);
    EXPECT_FALSE(cursor.bVisible);
    aIniFile.CursorIns = -1;  // -1 leaves the cursor as it is
    SetCursorMode(true);
    GetConsoleCursorInfo(ConsoleOutputHandle(), &cursor);
    EXPECT_FALSE(cursor.bVisible);
    aIniFile.CursorIns = 100;
    aIniFile.CursorOver = 15;
    SetCursorMode(false);
}

}  // namespace

// The console functions read what the cell layer wrote.
TEST_F(ConsoleScreen, FunctionsReadTheScreen) {
    auto value = [](const wchar_t *name, const wchar_t *args) {
        CString n(name), a(args);
        int rc = VariableFunction(n, a);
        return rc ? FormatStr(L"error %d", rc) : a;
    };
    WriteStrAtt(4, 6, 0x1E, L"Screen");
    EXPECT_EQ(value(L"@readscr", L"4,6,6"), L"Screen");
    EXPECT_EQ(value(L"@readscr", L"4,8,2"), L"re");
    EXPECT_EQ(value(L"@readattrib", L"4,7"), L"30");
    EXPECT_EQ(value(L"@readattrib", L"4,12"), L"7");
    EXPECT_EQ(value(L"@readscr", L"-1,0,1"), L"error 87");
    CONSOLE_SCREEN_BUFFER_INFO info;
    ASSERT_TRUE(GetConsoleScreenBufferInfo(ConsoleOutputHandle(), &info));
    EXPECT_EQ(value(L"@consoleb", L""), FormatStr(L"%d,%d", info.dwSize.Y, info.dwSize.X));
    CString window = value(L"@console", L"");
    EXPECT_EQ(window.find_first_not_of(L"0123456789"), CString::npos) << window.c_str();
    // The font: "name,width,height", or the system's word that it has none.
    CString font = value(L"@font", L"");
    EXPECT_TRUE(font.StartsWith(L"error ") || std::count(font.begin(), font.end(), L',') >= 2) << font.c_str();
}
