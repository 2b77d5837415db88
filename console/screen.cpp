// The screen layer: cursor, cells, attributes, scrolling and the screen
// buffer, all on the console output handle.  Rows given to these functions
// are relative to the top of the visible window (GetRowOffset); the Abs
// forms use buffer rows.
#include "console/screen.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include <algorithm>
#include <vector>

namespace {

// Copies of standard output and error opened on the active buffer by
// ConsoleScreenBuffer; null until a buffer has been switched.
HANDLE hStdOutCopy = nullptr;
HANDLE hStdErrCopy = nullptr;
bool fInsertCursor = false;

bool ValidHandle(HANDLE h) { return h && h != INVALID_HANDLE_VALUE; }

bool ScreenInfo(HANDLE h, CONSOLE_SCREEN_BUFFER_INFO *info) {
    return h && GetConsoleScreenBufferInfo(h, info);
}

bool ScreenInfo(CONSOLE_SCREEN_BUFFER_INFO *info) { return ScreenInfo(ConsoleOutputHandle(), info); }

COORD Cell(int row, int col) { return COORD{(SHORT)col, (SHORT)(row + GetRowOffset())}; }

// Wide characters of the East Asian code pages, which take two cells.
struct CharRange {
    wchar_t first, last;
};
constexpr CharRange kDoubleCell[] = {
    {0x1100, 0x115F}, {0x2329, 0x232A}, {0x2E80, 0x2E99}, {0x2E9B, 0x2EF3}, {0x2F00, 0x2FD5},
    {0x2FF0, 0x2FFB}, {0x3000, 0x303E}, {0x3041, 0x3096}, {0x3099, 0x30FF}, {0x3105, 0x312D},
    {0x3131, 0x318E}, {0x3190, 0x31BA}, {0x31C0, 0x31E3}, {0x31F0, 0x321E}, {0x3220, 0x3247},
    {0x3250, 0x4DBF}, {0x4E00, 0xA48C}, {0xA490, 0xA4C6}, {0xA960, 0xA97C}, {0xAC00, 0xD7A3},
    {0xF900, 0xFAFF}, {0xFE10, 0xFE19}, {0xFE30, 0xFE52}, {0xFE54, 0xFE66}, {0xFE68, 0xFE6B},
    {0xFF01, 0xFFE6},
};
static_assert(sizeof(kDoubleCell) / sizeof(kDoubleCell[0]) == 26);

bool HasDoubleCell(const wchar_t *text, int length, unsigned codePage) {
    if (codePage < 932 || codePage > 950) return false;
    for (int i = 0; i < length; i++)
        if (CellWidth(text[i], codePage) == 2) return true;
    return false;
}

// Write text in attribute at a buffer cell; the console runs it on into
// the following rows.  Without wide characters this is one call for the
// text and one for the attribute; wide characters go one at a time and
// take two cells of attribute.
void WriteCells(HANDLE h, COORD at, int attribute, const wchar_t *text, int length) {
    DWORD done;
    unsigned codePage = OutputCodePage();
    if (!HasDoubleCell(text, length, codePage)) {
        WriteConsoleOutputCharacterW(h, text, (DWORD)length, at, &done);
        if (attribute >= 0) FillConsoleOutputAttribute(h, (WORD)attribute, (DWORD)length, at, &done);
        return;
    }
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!ScreenInfo(h, &info)) return;
    for (int i = 0; i < length; i++) {
        int width = CellWidth(text[i], codePage);
        WriteConsoleOutputCharacterW(h, &text[i], 1, at, &done);
        if (attribute >= 0) FillConsoleOutputAttribute(h, (WORD)attribute, (DWORD)width, at, &done);
        at.X = (SHORT)(at.X + width);
        if (at.X >= info.dwSize.X) {
            at.X = 0;
            if (++at.Y >= info.dwSize.Y) break;
        }
    }
}

int CellsOf(const wchar_t *text, int length, unsigned codePage) {
    int cells = 0;
    for (int i = 0; i < length; i++) cells += CellWidth(text[i], codePage);
    return cells;
}

}  // namespace

HANDLE ConsoleOutputHandle() {
    if (ValidHandle(aGlobals.hConOut) && QueryIsConsole(aGlobals.hConOut)) return aGlobals.hConOut;
    HANDLE out = StdOut();
    return QueryIsConsole(out) ? out : nullptr;
}

int QueryIsANSI() { return aIniFile.ANSI; }

unsigned OutputCodePage() {
    unsigned cp = GetConsoleOutputCP();
    return cp ? cp : GetACP();
}

int CellWidth(wchar_t c, unsigned codePage) {
    if (c < 128 || codePage < 932 || codePage > 950) return 1;
    auto it = std::upper_bound(std::begin(kDoubleCell), std::end(kDoubleCell), c,
                               [](wchar_t v, const CharRange &r) { return v < r.first; });
    return it != std::begin(kDoubleCell) && c <= (it - 1)->last ? 2 : 1;
}

int GetRowOffset() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    return ScreenInfo(&info) ? info.srWindow.Top : 0;
}

void GetAbsCursorPosition(int *row, int *col) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    bool ok = ScreenInfo(&info);
    *row = ok ? info.dwCursorPosition.Y : 0;
    *col = ok ? info.dwCursorPosition.X : 0;
}

void SetAbsCursorPosition(int row, int col) {
    HANDLE h = ConsoleOutputHandle();
    if (h) SetConsoleCursorPosition(h, COORD{(SHORT)col, (SHORT)row});
}

void GetCursorPosition(int *row, int *col) {
    GetAbsCursorPosition(row, col);
    *row -= GetRowOffset();
}

void SetCursorPosition(int row, int col) { SetAbsCursorPosition(row + GetRowOffset(), col); }

int GetScrRows() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    return ScreenInfo(&info) ? info.srWindow.Bottom - info.srWindow.Top : 24;
}

int GetAbsScrRows() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    return ScreenInfo(&info) ? info.dwSize.Y : 25;
}

int GetScrCols() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    return ScreenInfo(&info) ? info.srWindow.Right - info.srWindow.Left + 1 : 80;
}

int GetCursorRange(const wchar_t *text, int *row, int *col) {
    int r = 0, c = 0, colAt = 0, end = 0;
    if (Sscanf(text, L"%i %*[,] %n%d%n", &r, &colAt, &c, &end) != 4 ||
        CString(text + end).find_first_not_of(L" \t") != CString::npos)
        return BDError(ERROR_INVALID_PARAMETER, text);
    const wchar_t *rowText = text;
    while (*rowText == L' ' || *rowText == L'\t') rowText++;
    int cursorRow, cursorCol;
    GetCursorPosition(&cursorRow, &cursorCol);
    if (*rowText == L'+' || *rowText == L'-') r += cursorRow;
    if (text[colAt] == L'+' || text[colAt] == L'-') c += cursorCol;
    if (r < 0 || r > GetScrRows()) return BDError(ERROR_INVALID_PARAMETER, CString(rowText).substr(0, wcscspn(rowText, L" \t,")).c_str());
    if (c < 0 || c >= GetScrCols()) return BDError(ERROR_INVALID_PARAMETER, CString(text + colAt).substr(0, end - colAt).c_str());
    *row = r;
    *col = c;
    return 0;
}

void GetAttribute(int *normal, int *inverse) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    WORD attribute = 0;
    DWORD done = 0;
    if (ScreenInfo(&info)) ReadConsoleOutputAttribute(ConsoleOutputHandle(), &attribute, 1, info.dwCursorPosition, &done);
    int a = attribute & 0xFF;
    *normal = a;
    *inverse = a ? ((a & 0x0F) << 4) | (a >> 4) : 112;
}

void Scroll(int top, int left, int bottom, int right, int lines, int attribute) {
    HANDLE h = ConsoleOutputHandle();
    if (!h || top > bottom || left > right) return;
    int offset = GetRowOffset();
    int height = bottom - top + 1;
    if (lines == 0 || lines >= height || -lines >= height) {
        DWORD done;
        for (int row = top; row <= bottom; row++) {
            COORD at{(SHORT)left, (SHORT)(row + offset)};
            FillConsoleOutputCharacterW(h, L' ', (DWORD)(right - left + 1), at, &done);
            FillConsoleOutputAttribute(h, (WORD)attribute, (DWORD)(right - left + 1), at, &done);
        }
        return;
    }
    // The rows that stay are moved within the rectangle; the console fills
    // what they leave behind.
    SMALL_RECT area{(SHORT)left, (SHORT)(top + offset), (SHORT)right, (SHORT)(bottom + offset)};
    SMALL_RECT source = area;
    COORD to{(SHORT)left, area.Top};
    if (lines > 0) source.Top = (SHORT)(source.Top + lines);
    else source.Bottom = (SHORT)(source.Bottom + lines), to.Y = (SHORT)(to.Y - lines);
    CHAR_INFO fill;
    fill.Char.UnicodeChar = L' ';
    fill.Attributes = (WORD)attribute;
    ScrollConsoleScreenBufferW(h, &source, &area, to, &fill);
}

namespace {

// Read or write (transfer: ReadConsoleOutputW or WriteConsoleOutputW) a run
// of count cells of one row; the cells that were moved.
template <typename Cells, typename Transfer> int MoveCellRun(Cells cells, int count, int row, int col, Transfer transfer) {
    HANDLE h = ConsoleOutputHandle();
    if (!h || count <= 0) return 0;
    COORD at = Cell(row, col);
    SMALL_RECT area{at.X, at.Y, (SHORT)(at.X + count - 1), at.Y};
    if (!transfer(h, cells, COORD{(SHORT)count, 1}, COORD{0, 0}, &area)) return 0;
    return area.Right - area.Left + 1;
}

}  // namespace

int ReadCellStr(CHAR_INFO *cells, int count, int row, int col) {
    return MoveCellRun(cells, count, row, col, ReadConsoleOutputW);
}

int WriteCellStr(const CHAR_INFO *cells, int count, int row, int col) {
    return MoveCellRun(cells, count, row, col, WriteConsoleOutputW);
}

int WriteTTY(const wchar_t *text) {
    HANDLE h = ConsoleOutputHandle();
    if (!h) return 0;
    DWORD done = 0;
    return WriteConsoleW(h, text, (DWORD)wcslen(text), &done, nullptr) ? (int)done : 0;
}

void WriteChrAtt(int row, int col, int attribute, wchar_t c) {
    HANDLE h = ConsoleOutputHandle();
    if (h) WriteCells(h, Cell(row, col), attribute, &c, 1);
}

void WriteStrAtt(int row, int col, int attribute, const wchar_t *text) {
    HANDLE h = ConsoleOutputHandle();
    if (h && *text) WriteCells(h, Cell(row, col), attribute, text, (int)wcslen(text));
}

void WriteStrAtt2(int *row, int *col, int attribute, const wchar_t *text) {
    WriteStrAtt(*row, *col, attribute, text);
    int end = *col + CellsOf(text, (int)wcslen(text), OutputCodePage());
    CONSOLE_SCREEN_BUFFER_INFO info;
    int width = ScreenInfo(&info) ? info.dwSize.X : 80;
    *row += end / width;
    *col = end % width;
}

void WriteVStrAtt(int row, int col, int attribute, const wchar_t *text) {
    HANDLE h = ConsoleOutputHandle();
    int length = (int)wcslen(text);
    if (!h || !length) return;
    if (HasDoubleCell(text, length, OutputCodePage())) {
        for (int i = 0; i < length; i++) WriteChrAtt(row + i, col, attribute, text[i]);
        return;
    }
    // One column of cells, written in one call.
    std::vector<CHAR_INFO> cells(length);
    for (int i = 0; i < length; i++) {
        cells[i].Char.UnicodeChar = text[i];
        cells[i].Attributes = (WORD)attribute;
    }
    COORD at = Cell(row, col);
    SMALL_RECT area{at.X, at.Y, at.X, (SHORT)(at.Y + length - 1)};
    WriteConsoleOutputW(h, cells.data(), COORD{1, (SHORT)length}, COORD{0, 0}, &area);
}

void WriteVStrAtt2(int *row, int *col, int attribute, const wchar_t *text) {
    WriteVStrAtt(*row, *col, attribute, text);
    *row += (int)wcslen(text);
}

void SetLineColor(int row, int col, int count, int attribute) {
    HANDLE h = ConsoleOutputHandle();
    DWORD done;
    if (h && count > 0) FillConsoleOutputAttribute(h, (WORD)attribute, (DWORD)count, Cell(row, col), &done);
}

void SetCursorMode(bool insert) {
    fInsertCursor = insert;
    SetCursorSize();
}

void SetCursorSize() {
    int ins = aIniFile.CursorIns, over = aIniFile.CursorOver;
    HANDLE h = ConsoleOutputHandle();
    if (!h || ins == -1 || over == -1) return;
    CONSOLE_CURSOR_INFO cursor{};
    int size = fInsertCursor ? ins : over;
    cursor.bVisible = size > 0;
    cursor.dwSize = size > 0 ? (DWORD)std::min(size, 100) : 1;
    SetConsoleCursorInfo(h, &cursor);
}

namespace {

// Point a standard handle at the active buffer, when it was the console.
void ReopenStandardHandle(DWORD which, HANDLE &copy) {
    if (!QueryIsConsole(GetStdHandle(which))) return;
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    HANDLE h = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, &inherit,
                           OPEN_EXISTING, 0, nullptr);
    if (!ValidHandle(h)) return;
    SetConsoleMode(h, ENABLE_PROCESSED_OUTPUT | ENABLE_WRAP_AT_EOL_OUTPUT);
    SetStdHandle(which, h);
    if (copy) CloseHandle(copy);
    copy = h;
}

}  // namespace

HANDLE ConsoleScreenBuffer(HANDLE buffer) {
    HANDLE active = buffer;
    if (!ValidHandle(buffer)) {
        CONSOLE_SCREEN_BUFFER_INFO info;
        if (!ScreenInfo(&info)) {
            BDError(ERROR_INVALID_HANDLE, nullptr);
            return 0;
        }
        active = CreateConsoleScreenBuffer(GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                           CONSOLE_TEXTMODE_BUFFER, nullptr);
        if (!ValidHandle(active)) {
            BDError(0, nullptr);
            return 0;
        }
        SetConsoleScreenBufferSize(active, info.dwSize);
        SetConsoleWindowInfo(active, TRUE, &info.srWindow);
        SetConsoleTextAttribute(active, info.wAttributes);
    }
    if (!SetConsoleActiveScreenBuffer(active)) {
        BDError(0, nullptr);
        return 0;
    }
    aGlobals.hConOut = active;
    ReopenStandardHandle(STD_OUTPUT_HANDLE, hStdOutCopy);
    ReopenStandardHandle(STD_ERROR_HANDLE, hStdErrCopy);
    ConsoleANSI();
    return active;
}

int SetConsoleColorPalette(const wchar_t *iniFile) {
    HANDLE h = ConsoleOutputHandle();
    HWND window = GetConsoleWindow();
    if (!h || !iniFile || !window || !IsWindowVisible(window)) return 0;
    CONSOLE_SCREEN_BUFFER_INFOEX info{};
    info.cbSize = sizeof(info);
    if (!GetConsoleScreenBufferInfoEx(h, &info)) return BDError(0, nullptr);
    bool changed = false;
    for (int i = 0; i < 16; i++) {
        CString value(64, L'\0');
        CString name = FormatStr(L"ConsoleColor%02d", i);
        DWORD n = GetPrivateProfileStringW(L"ConsoleColors", name.c_str(), L"", value.data(), (DWORD)value.size(),
                                           iniFile);
        value.resize(n);
        unsigned color = 0;
        if (value.empty() || Sscanf(value.c_str(), L" %i", &color) != 1) continue;
        info.ColorTable[i] = color & 0xFFFFFF;
        changed = true;
    }
    if (!changed) return 0;
    // The window rectangle comes back inclusive but is taken as exclusive.
    info.srWindow.Right++;
    info.srWindow.Bottom++;
    return SetConsoleScreenBufferInfoEx(h, &info) ? 0 : BDError(0, nullptr);
}

int ConsoleANSI() {
    if (GetFileType(StdIn()) == FILE_TYPE_PIPE) return 0;
    HANDLE h = ConsoleOutputHandle();
    DWORD mode;
    if (!h || !GetConsoleMode(h, &mode)) return 0;
    DWORD wanted = QueryIsANSI() ? mode | ENABLE_VIRTUAL_TERMINAL_PROCESSING
                                 : mode & ~(DWORD)ENABLE_VIRTUAL_TERMINAL_PROCESSING;
    if (wanted == mode) return 0;
    return SetConsoleMode(h, wanted) ? 0 : 1;
}

namespace {

// Move the whole buffer up by one row, as the console does at its end.
void ScrollBufferUp(HANDLE h, const CONSOLE_SCREEN_BUFFER_INFO &info) {
    SMALL_RECT below{0, 1, (SHORT)(info.dwSize.X - 1), (SHORT)(info.dwSize.Y - 1)};
    CHAR_INFO fill;
    fill.Char.UnicodeChar = L' ';
    fill.Attributes = info.wAttributes;
    ScrollConsoleScreenBufferW(h, &below, nullptr, COORD{0, 0}, &fill);
}

// Write a piece of text without control characters at the cursor, a row
// at a time, and leave the cursor behind it.
void WritePieceAtCursor(HANDLE h, int attribute, const wchar_t *text, int length) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!ScreenInfo(h, &info)) return;
    unsigned codePage = OutputCodePage();
    int width = info.dwSize.X, height = info.dwSize.Y;
    int row = info.dwCursorPosition.Y, col = info.dwCursorPosition.X;
    auto nextRow = [&] {
        col = 0;
        if (++row >= height) {
            ScrollBufferUp(h, info);
            row = height - 1;
        }
    };
    for (int at = 0; at < length;) {
        if (col >= width) nextRow();
        // As much as fits in the rest of this row; a wide character that
        // does not fit goes to the next one.
        int n = 0, cells = 0;
        while (at + n < length && col + cells + CellWidth(text[at + n], codePage) <= width)
            cells += CellWidth(text[at + n++], codePage);
        if (!n && col) {
            col = width;
            continue;
        }
        if (!n) cells = CellWidth(text[at + n++], codePage);
        WriteCells(h, COORD{(SHORT)col, (SHORT)row}, attribute, text + at, n);
        at += n;
        col += cells;
    }
    if (col >= width) nextRow();
    SetConsoleCursorPosition(h, COORD{(SHORT)col, (SHORT)row});
}

}  // namespace

void ColorWriteAtCursor(int attribute, const wchar_t *text, int length) {
    HANDLE h = ConsoleOutputHandle();
    if (!h) return;
    int tabs = aIniFile.TabStops > 0 ? (int)aIniFile.TabStops : 8;
    for (int at = 0; at < length;) {
        int end = at;
        while (end < length && text[end] >= L' ') end++;
        if (end > at) WritePieceAtCursor(h, attribute, text + at, end - at);
        if (end >= length) break;
        wchar_t c = text[end];
        at = end + 1;
        int row, col;
        if (c == L'\r' && at < length && text[at] == L'\n') {
            continue;  // the line feed writes the line end
        } else if (c == L'\n') {
            wwriteXP(h, L"\r\n", 2);
        } else if (c == L'\r') {
            GetAbsCursorPosition(&row, &col);
            SetAbsCursorPosition(row, 0);
        } else if (c == L'\t') {
            GetAbsCursorPosition(&row, &col);
            CString blanks(tabs - col % tabs, L' ');
            WritePieceAtCursor(h, attribute, blanks.c_str(), blanks.GetLength());
        } else {
            wwriteXP(h, &c, 1);  // bell, backspace and the like act as usual
        }
    }
}

void SetColors(int attribute) {
    HANDLE out = ConsoleOutputHandle();
    if (out) SetConsoleTextAttribute(out, (WORD)attribute);
}
