// The screen commands: COLOR, CLS, SCREEN, SCRPUT, VSCRPUT, DRAWBOX,
// DRAWHLINE and DRAWVLINE.  Each checks its whole line first (numbers,
// colours, window bounds) and touches the screen only when all is good.
#include "base/args.h"
#include "base/colors.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "console/screen.h"
#include <algorithm>
#include <vector>

namespace {

// Box characters and the strokes that leave each cell: two bits each for
// up, down, left and right, 1 single, 2 double.
constexpr unsigned char Strokes(int up, int down, int left, int right) {
    return (unsigned char)(up | down << 2 | left << 4 | right << 6);
}
struct BoxChar {
    wchar_t c;
    unsigned char strokes;
};
constexpr BoxChar kBoxChars[] = {
    {0x2500, Strokes(0, 0, 1, 1)}, {0x2502, Strokes(1, 1, 0, 0)}, {0x250C, Strokes(0, 1, 0, 1)},
    {0x2510, Strokes(0, 1, 1, 0)}, {0x2514, Strokes(1, 0, 0, 1)}, {0x2518, Strokes(1, 0, 1, 0)},
    {0x251C, Strokes(1, 1, 0, 1)}, {0x2524, Strokes(1, 1, 1, 0)}, {0x252C, Strokes(0, 1, 1, 1)},
    {0x2534, Strokes(1, 0, 1, 1)}, {0x253C, Strokes(1, 1, 1, 1)}, {0x2550, Strokes(0, 0, 2, 2)},
    {0x2551, Strokes(2, 2, 0, 0)}, {0x2552, Strokes(0, 1, 0, 2)}, {0x2553, Strokes(0, 2, 0, 1)},
    {0x2554, Strokes(0, 2, 0, 2)}, {0x2555, Strokes(0, 1, 2, 0)}, {0x2556, Strokes(0, 2, 1, 0)},
    {0x2557, Strokes(0, 2, 2, 0)}, {0x2558, Strokes(1, 0, 0, 2)}, {0x2559, Strokes(2, 0, 0, 1)},
    {0x255A, Strokes(2, 0, 0, 2)}, {0x255B, Strokes(1, 0, 2, 0)}, {0x255C, Strokes(2, 0, 1, 0)},
    {0x255D, Strokes(2, 0, 2, 0)}, {0x255E, Strokes(1, 1, 0, 2)}, {0x255F, Strokes(2, 2, 0, 1)},
    {0x2560, Strokes(2, 2, 0, 2)}, {0x2561, Strokes(1, 1, 2, 0)}, {0x2562, Strokes(2, 2, 1, 0)},
    {0x2563, Strokes(2, 2, 2, 0)}, {0x2564, Strokes(0, 1, 2, 2)}, {0x2565, Strokes(0, 2, 1, 1)},
    {0x2566, Strokes(0, 2, 2, 2)}, {0x2567, Strokes(1, 0, 2, 2)}, {0x2568, Strokes(2, 0, 1, 1)},
    {0x2569, Strokes(2, 0, 2, 2)}, {0x256A, Strokes(1, 1, 2, 2)}, {0x256B, Strokes(2, 2, 1, 1)},
    {0x256C, Strokes(2, 2, 2, 2)},
};

int StrokesOf(wchar_t c) {
    for (const BoxChar &b : kBoxChars)
        if (b.c == c) return b.strokes;
    return 0;
}

wchar_t CharOfStrokes(int strokes) {
    for (const BoxChar &b : kBoxChars)
        if (b.strokes == strokes) return b.c;
    return 0;
}

// Frame characters of the box styles 0 to 4: none, single, double,
// single top and bottom with double sides, double top and bottom with
// single sides.
struct BoxStyle {
    wchar_t horizontal, vertical, topLeft, topRight, bottomLeft, bottomRight;
};
constexpr BoxStyle kBoxStyles[] = {
    {L' ', L' ', L' ', L' ', L' ', L' '},
    {0x2500, 0x2502, 0x250C, 0x2510, 0x2514, 0x2518},
    {0x2550, 0x2551, 0x2554, 0x2557, 0x255A, 0x255D},
    {0x2500, 0x2551, 0x2553, 0x2556, 0x2559, 0x255C},
    {0x2550, 0x2502, 0x2552, 0x2555, 0x2558, 0x255B},
};

constexpr int kShadowColor = 0x08;

int SyntaxError(const CString &args) {
    CString text = args;
    text.Trim();
    return BDError(ERROR_INVALID_PARAMETER, text.empty() ? nullptr : text.c_str());
}

// A whole argument that is a decimal number.
bool ReadNumber(const CString &text, int *value) {
    int used = 0;
    return Sscanf(text.c_str(), L"%d%n", value, &used) == 2 && used == text.GetLength();
}

int RequireConsole() { return ConsoleOutputHandle() ? 0 : BDError(ERROR_BD_NOT_CONSOLE, nullptr); }

// A row and a column given as two arguments, relative to the cursor when
// signed, and inside the window.
int ReadPosition(const CString &rowText, const CString &colText, int *row, int *col) {
    return GetCursorRange((rowText + L" " + colText).c_str(), row, col);
}

// The leading part of text that fits in cells screen cells.
CString FitCells(const wchar_t *text, int cells) {
    unsigned codePage = OutputCodePage();
    int n = 0;
    for (int used = 0; text[n] && used + CellWidth(text[n], codePage) <= cells; n++)
        used += CellWidth(text[n], codePage);
    return CString(text, n);
}

// Where the text of SCREEN and SCRPUT starts: behind the one blank that
// follows the last word used, so that further blanks are printed.
const wchar_t *TextBehind(const wchar_t *p) { return *p == L' ' || *p == L'\t' ? p + 1 : p; }

// SCRPUT and VSCRPUT: row col colours text.
int PutText(CString &args, bool vertical) {
    CString rowText, colText;
    const wchar_t *rest = GetNthArgument(args.c_str(), 2);
    if (!GetNthArgument(args.c_str(), 0, &rowText) || !GetNthArgument(args.c_str(), 1, &colText) || !rest)
        return SyntaxError(args);
    int foreground, background;
    const wchar_t *text = TextBehind(ParseColors(rest, &foreground, &background));
    if (foreground < 0 || background < 0) return BDError(ERROR_BD_INVALID_COLOR, rest);
    int row, col;
    if (RequireConsole() || ReadPosition(rowText, colText, &row, &col)) return 2;
    int attribute = foreground | background << 4;
    if (vertical) WriteVStrAtt(row, col, attribute, CString(text).Left(GetScrRows() - row + 1).c_str());
    else WriteStrAtt(row, col, attribute, FitCells(text, GetScrCols() - col).c_str());
    return 0;
}

// The colour byte of a whole text; -1 after reporting a bad one.
int ReadWholeColor(const CString &text) {
    CString rest = text;
    int attribute = GetColors(rest);
    if (attribute < 0 || !rest.empty()) {
        BDError(ERROR_BD_INVALID_COLOR, text.c_str());
        return -1;
    }
    return attribute;
}

}  // namespace

CString JoinLine(const CString &existing, bool vertical, int weight) {
    CString out;
    int n = existing.GetLength();
    for (int i = 0; i < n; i++) {
        int old = StrokesOf(existing[i]);
        int before = i > 0 || n == 1 ? weight : 0, after = i < n - 1 || n == 1 ? weight : 0;
        // The line's own strokes replace the old ones along its axis; the
        // strokes across it are kept.
        int shift = vertical ? 0 : 4;
        int along = (old >> shift) & 15;
        int first = before ? before : along & 3, second = after ? after : along >> 2;
        int strokes = (old & ~(15 << shift)) | (first | second << 2) << shift;
        wchar_t c = CharOfStrokes(strokes);
        out += c ? c : (vertical ? kBoxStyles[weight].vertical : kBoxStyles[weight].horizontal);
    }
    return out;
}

int Cls_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"C", &mask, 0, nullptr)) return 2;
    CString text = args;
    text.Trim();
    int attribute = text.empty() ? -1 : ReadWholeColor(text);
    if (!text.empty() && attribute < 0) return 2;
    HANDLE out = ConsoleOutputHandle();
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!QueryIsConsole(StdOut()) || !out || !GetConsoleScreenBufferInfo(out, &info)) {
        // On a file or pipe a form feed stands for the new page.
        QPutc(StdOut(), L'\f');
        return 0;
    }
    if (attribute >= 0) SetColors(attribute);
    WORD fill = attribute >= 0 ? (WORD)attribute : info.wAttributes;
    bool whole = mask & 1;
    SHORT top = whole ? 0 : info.srWindow.Top;
    DWORD rows = whole ? info.dwSize.Y : info.srWindow.Bottom - info.srWindow.Top + 1;
    DWORD cells = (DWORD)info.dwSize.X * rows, done;
    COORD home{0, top};
    FillConsoleOutputCharacterW(out, L' ', cells, home, &done);
    FillConsoleOutputAttribute(out, fill, cells, home, &done);
    SetConsoleCursorPosition(out, home);
    return 0;
}

int Color_Command(CString &args) {
    CString text = args;
    text.Trim();
    int attribute;
    bool hex = !text.empty() && text.GetLength() <= 2 && text.find_first_not_of(L"0123456789abcdefABCDEF") == CString::npos;
    if (text.empty()) attribute = aIniFile.StdColors ? (int)aIniFile.StdColors & 0xFF : 0x07;
    else if (hex) attribute = (int)wcstol(text.c_str(), nullptr, 16);
    else if ((attribute = ReadWholeColor(text)) < 0) return 2;
    // Text in the colour of its background could not be read.
    if ((attribute & 15) == attribute >> 4) return BDError(ERROR_BD_INVALID_COLOR, text.c_str());
    HANDLE out = ConsoleOutputHandle();
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!out || !GetConsoleScreenBufferInfo(out, &info)) return BDError(ERROR_BD_NOT_CONSOLE, nullptr);
    SetColors(attribute);
    DWORD done;
    FillConsoleOutputAttribute(out, (WORD)attribute, (DWORD)info.dwSize.X * info.dwSize.Y, COORD{0, 0}, &done);
    return 0;
}

// SCREEN row col [text]: move the cursor there and print the text.
int Scr_Command(CString &args) {
    CString rowText, colText;
    int colStart = -1;
    if (!GetNthArgument(args.c_str(), 0, &rowText) || !GetNthArgument(args.c_str(), 1, &colText, &colStart))
        return SyntaxError(args);
    int row, col;
    if (RequireConsole() || ReadPosition(rowText, colText, &row, &col)) return 2;
    SetCursorPosition(row, col);
    const wchar_t *text = TextBehind(args.c_str() + colStart + colText.GetLength());
    if (*text) QPuts(text);
    return 0;
}

int Scrput_Command(CString &args) { return PutText(args, false); }

int Vscrput_Command(CString &args) { return PutText(args, true); }

namespace {

struct Box {
    int top, left, bottom, right;
    int style;
    int attribute;
    int fill = -1;      // background of the inside, or -1 to leave it
    bool shadow = false, zoom = false;
};

// The words behind the colours of DRAWBOX: FILL bg, SHADow, ZOOM.
int ReadBoxOptions(const wchar_t *p, Box *box) {
    for (;;) {
        CString word;
        int start = -1;
        if (!GetNthArgument(p, 0, &word, &start)) return 0;
        const wchar_t *behind = p + start + word.GetLength();
        if (word.EqualsNoCase(L"FILL")) {
            CString colour = behind;
            colour.Trim();
            behind = ParseColor(behind, &box->fill);
            if (box->fill < 0) return BDError(ERROR_BD_INVALID_COLOR, colour.empty() ? word.c_str() : colour.c_str());
        } else if (word.GetLength() >= 4 && CString(L"SHADOW").StartsWithNoCase(word.c_str())) {
            box->shadow = true;
        } else if (word.EqualsNoCase(L"ZOOM")) {
            box->zoom = true;
        } else {
            return BDError(ERROR_INVALID_PARAMETER, word.c_str());
        }
        p = behind;
    }
}

int ReadBox(const CString &args, Box *box) {
    CString words[5];
    for (int i = 0; i < 5; i++)
        if (!GetNthArgument(args.c_str(), i, &words[i])) return SyntaxError(args);
    const wchar_t *rest = GetNthArgument(args.c_str(), 5);
    if (!rest) return SyntaxError(args);
    if (!ReadNumber(words[4], &box->style) || box->style < 0 || box->style > 4) return BDError(ERROR_INVALID_PARAMETER, words[4].c_str());
    int foreground, background;
    const wchar_t *behind = ParseColors(rest, &foreground, &background);
    if (foreground < 0 || background < 0) return BDError(ERROR_BD_INVALID_COLOR, rest);
    box->attribute = foreground | background << 4;
    if (ReadBoxOptions(behind, box) || RequireConsole()) return 2;
    if (ReadPosition(words[0], words[1], &box->top, &box->left) ||
        ReadPosition(words[2], words[3], &box->bottom, &box->right))
        return 2;
    if (box->bottom <= box->top) return BDError(ERROR_INVALID_PARAMETER, words[2].c_str());
    if (box->right <= box->left) return BDError(ERROR_INVALID_PARAMETER, words[3].c_str());
    return 0;
}

void DrawFrame(int top, int left, int bottom, int right, const Box &box) {
    const BoxStyle &s = kBoxStyles[box.style];
    int inner = right - left - 1;
    WriteStrAtt(top, left, box.attribute, (s.topLeft + CString(inner, s.horizontal) + s.topRight).c_str());
    WriteStrAtt(bottom, left, box.attribute, (s.bottomLeft + CString(inner, s.horizontal) + s.bottomRight).c_str());
    if (bottom - top > 1) {
        CString side(bottom - top - 1, s.vertical);
        WriteVStrAtt(top + 1, left, box.attribute, side.c_str());
        WriteVStrAtt(top + 1, right, box.attribute, side.c_str());
        if (box.fill >= 0 && inner > 0)
            Scroll(top + 1, left + 1, bottom - 1, right - 1, 0, (box.fill << 4) | (box.attribute & 15));
    }
}

// The box grows from its middle; what lay under it is put back between
// the steps.
void ZoomBox(const Box &box) {
    int height = box.bottom - box.top + 1, width = box.right - box.left + 1;
    std::vector<std::vector<CHAR_INFO>> saved(height, std::vector<CHAR_INFO>(width));
    for (int i = 0; i < height; i++) ReadCellStr(saved[i].data(), width, box.top + i, box.left);
    auto restore = [&] {
        for (int i = 0; i < height; i++) WriteCellStr(saved[i].data(), width, box.top + i, box.left);
    };
    constexpr int kSteps = 6;
    int middleRow = (box.top + box.bottom) / 2, middleCol = (box.left + box.right) / 2;
    for (int k = 1; k < kSteps; k++) {
        int top = middleRow - (middleRow - box.top) * k / kSteps;
        int left = middleCol - (middleCol - box.left) * k / kSteps;
        int bottom = std::max(top + 1, middleRow + (box.bottom - middleRow) * k / kSteps);
        int right = std::max(left + 1, middleCol + (box.right - middleCol) * k / kSteps);
        restore();
        DrawFrame(top, left, bottom, right, box);
        Sleep(15);
    }
    restore();
}

void DrawShadow(const Box &box) {
    int lastRow = GetScrRows(), columns = GetScrCols();
    int shadowLeft = box.right + 1, shadowWidth = std::min(2, columns - shadowLeft);
    for (int row = box.top + 1; row <= box.bottom + 1 && row <= lastRow; row++)
        if (shadowWidth > 0) SetLineColor(row, shadowLeft, shadowWidth, kShadowColor);
    if (box.bottom + 1 <= lastRow && box.left + 2 < columns)
        SetLineColor(box.bottom + 1, box.left + 2, std::min(box.right, columns - 1) - box.left - 1, kShadowColor);
}

}  // namespace

// DRAWBOX top left bottom right style colours [FILL bg] [SHADow] [ZOOM]
int Drawbox_Command(CString &args) {
    Box box{};
    if (ReadBox(args, &box)) return 2;
    if (box.zoom) ZoomBox(box);
    DrawFrame(box.top, box.left, box.bottom, box.right, box);
    if (box.shadow) DrawShadow(box);
    return 0;
}

namespace {

// DRAWHLINE and DRAWVLINE: row col length style colours.
int DrawLine(CString &args, bool vertical) {
    CString words[4];
    for (int i = 0; i < 4; i++)
        if (!GetNthArgument(args.c_str(), i, &words[i])) return SyntaxError(args);
    const wchar_t *rest = GetNthArgument(args.c_str(), 4);
    if (!rest) return SyntaxError(args);
    int length, style;
    if (!ReadNumber(words[2], &length) || length < 1) return BDError(ERROR_INVALID_PARAMETER, words[2].c_str());
    if (!ReadNumber(words[3], &style) || style < 1 || style > 2) return BDError(ERROR_INVALID_PARAMETER, words[3].c_str());
    int attribute = ReadWholeColor(rest);
    int row, col;
    if (attribute < 0 || RequireConsole() || ReadPosition(words[0], words[1], &row, &col)) return 2;
    if (vertical ? row + length - 1 > GetScrRows() : col + length > GetScrCols()) return BDError(ERROR_INVALID_PARAMETER, words[2].c_str());
    // What lies under the line decides its junctions.
    std::vector<CHAR_INFO> cells(length);
    CString existing;
    for (int i = 0; i < length; i++) {
        if (vertical) ReadCellStr(&cells[i], 1, row + i, col);
        else if (i == 0) ReadCellStr(cells.data(), length, row, col);
        existing += cells[i].Char.UnicodeChar;
    }
    CString line = JoinLine(existing, vertical, style);
    if (vertical) WriteVStrAtt(row, col, attribute, line.c_str());
    else WriteStrAtt(row, col, attribute, line.c_str());
    return 0;
}

}  // namespace

int Drawhline_Command(CString &args) { return DrawLine(args, false); }

int Drawvline_Command(CString &args) { return DrawLine(args, true); }
