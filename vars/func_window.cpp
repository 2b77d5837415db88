// Window and console queries of the system family: windows by title
// (@WINTITLE, @WINCLASS, @WINEXENAME, @WININFO, @WINPID, @WINPOS, @WINSIZE,
// @WINCLIENTSIZE, @WINSTATE), the console (@CONSOLE, @CONSOLEB, @FONT,
// @READSCR, @READATTRIB), colour names (@COLOR), and @SNAPSHOT, which saves
// a picture of the screen or of a window.
//
// A window is named by its title, with * and ? (case ignored) or a "::"
// regular expression, or by its handle as a number.  Positions and sizes
// are in pixels, row first, as screen positions are everywhere else.
#include "base/args.h"
#include "base/colors.h"
#include "base/errors.h"
#include "base/format.h"
#include "console/screen.h"
#include "system/system.h"
#include "vars/func_internal.h"

namespace {

// The window that the argument names: a handle, or the first top-level
// window whose title matches (visible ones first).
int FindWindowArg(const CString &args, HWND *w) {
    CString name = NameArgument(args);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    long long handle = 0;
    if (ReadWholeNumber(name, &handle)) {
        *w = (HWND)(intptr_t)handle;
        return IsWindow(*w) ? 0 : ERROR_INVALID_WINDOW_HANDLE;
    }
    *w = FindWindowByTitle(name);
    return *w ? 0 : ERROR_BD_NO_WINDOW;
}

CString WindowValue(int nCase, HWND w) {
    RECT r{};
    switch (nCase) {
    case FC_wintitle: return WindowTitle(w);
    case FC_winclass: {
        wchar_t name[256] = {};
        GetClassNameW(w, name, 256);
        return name;
    }
    case FC_winexename:
    case FC_winpid: {
        DWORD pid = 0;
        GetWindowThreadProcessId(w, &pid);
        return nCase == FC_winpid ? FormatStr(L"%u", pid) : ProcessPath(pid);
    }
    case FC_wininfo: return FormatStr(L"%I64u", (unsigned long long)(uintptr_t)w);
    case FC_winpos: GetWindowRect(w, &r); return FormatStr(L"%d,%d", r.top, r.left);
    case FC_winsize: GetWindowRect(w, &r); return FormatStr(L"%d,%d", r.bottom - r.top, r.right - r.left);
    case FC_winclientsize: GetClientRect(w, &r); return FormatStr(L"%d,%d", r.bottom, r.right);
    default:  // @WINSTATE
        return !IsWindowVisible(w) ? L"hidden" : IsIconic(w) ? L"minimized" : IsZoomed(w) ? L"maximized" : L"normal";
    }
}

// Row and column of a screen position ("row,col"), inside the window.
int ReadPosition(const std::vector<CString> &args, int *row, int *col) {
    long long r = 0, c = 0;
    if (args.size() < 2 || !ReadWholeNumber(args[0], &r) || !ReadWholeNumber(args[1], &c)) return ERROR_INVALID_PARAMETER;
    if (!ConsoleOutputHandle()) return ERROR_BD_NOT_CONSOLE;
    if (r < 0 || c < 0 || r > GetScrRows() || c >= GetScrCols()) return ERROR_INVALID_PARAMETER;
    *row = (int)r;
    *col = (int)c;
    return 0;
}

// A 24-bit bottom-up BMP of a rectangle of a device context.
int SaveBitmap(HDC source, int x, int y, int width, int height, const CString &fileName) {
    if (width <= 0 || height <= 0) return ERROR_INVALID_PARAMETER;
    HDC memory = CreateCompatibleDC(source);
    HBITMAP bitmap = CreateCompatibleBitmap(source, width, height);
    if (!memory || !bitmap) {
        if (bitmap) DeleteObject(bitmap);
        if (memory) DeleteDC(memory);
        return ERROR_NOT_ENOUGH_MEMORY;
    }
    HGDIOBJ old = SelectObject(memory, bitmap);
    BOOL copied = BitBlt(memory, 0, 0, width, height, source, x, y, SRCCOPY);
    SelectObject(memory, old);
    BITMAPINFOHEADER info{};
    info.biSize = sizeof info;
    info.biWidth = width;
    info.biHeight = height;
    info.biPlanes = 1;
    info.biBitCount = 24;
    info.biCompression = BI_RGB;
    DWORD stride = ((DWORD)width * 3 + 3) & ~3u;
    std::string pixels((size_t)stride * (size_t)height, '\0');
    int rows = copied ? GetDIBits(memory, bitmap, 0, (UINT)height, pixels.data(), (BITMAPINFO *)&info, DIB_RGB_COLORS) : 0;
    DeleteObject(bitmap);
    DeleteDC(memory);
    if (!rows) return ERROR_BD_NEEDS_SYSTEM;  // no screen to take a picture of
    BITMAPFILEHEADER head{};
    head.bfType = 0x4D42;
    head.bfOffBits = sizeof head + sizeof info;
    head.bfSize = head.bfOffBits + (DWORD)pixels.size();
    std::string file((const char *)&head, sizeof head);
    file.append((const char *)&info, sizeof info);
    file += pixels;
    HANDLE h = CreateFileW(fileName.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return SystemError();
    DWORD wrote = 0;
    int rc = WriteFile(h, file.data(), (DWORD)file.size(), &wrote, nullptr) ? 0 : SystemError();
    CloseHandle(h);
    return rc;
}

}  // namespace

// @WINTITLE[[window]]: the whole title of the window (the console's own
// title without an argument); @WINCLASS its class; @WINEXENAME its
// program; @WINPID its process; @WININFO its handle; @WINPOS "top,left";
// @WINSIZE and @WINCLIENTSIZE "height,width"; @WINSTATE normal,
// minimized, maximized or hidden.
int Func_Window(FUNCCALL &call) {
    if (call.nCase == FC_wintitle && call.args.TrimLeftCopy().empty()) {
        CString title(0x8000, L'\0');
        title.resize(GetConsoleTitleW(title.data(), (DWORD)title.size()));
        call.args = title;
        return 0;
    }
    HWND w = nullptr;
    if (int rc = FindWindowArg(call.args, &w)) return rc;
    call.args = WindowValue(call.nCase, w);
    return 0;
}

// @SNAPSHOT[file[,window]]: a picture of the screen (or of the window) as
// a BMP file; the value is 0.
int Func_Snapshot(FUNCCALL &call) {
    CString file, window;
    if (!SplitAtComma(call.args, &file, &window)) file = call.args;
    file = NameArgument(file);
    if (file.empty()) return ERROR_INVALID_PARAMETER;
    HWND w = nullptr;
    if (!window.TrimLeftCopy().empty())
        if (int rc = FindWindowArg(window, &w)) return rc;
    HDC dc = GetDC(nullptr);
    if (!dc) return ERROR_BD_NEEDS_SYSTEM;
    RECT r{0, 0, GetSystemMetrics(SM_CXVIRTUALSCREEN), GetSystemMetrics(SM_CYVIRTUALSCREEN)};
    if (w) GetWindowRect(w, &r);
    else OffsetRect(&r, GetSystemMetrics(SM_XVIRTUALSCREEN), GetSystemMetrics(SM_YVIRTUALSCREEN));
    int rc = SaveBitmap(dc, r.left, r.top, r.right - r.left, r.bottom - r.top, file);
    ReleaseDC(nullptr, dc);
    return rc ? rc : SetNumber(call.args, 0);
}

// @CONSOLE[]: the handle of the console window, 0 without one.
int Func_Console(FUNCCALL &call) { return SetNumber(call.args, (long long)(uintptr_t)GetConsoleWindow()); }

// @CONSOLEB[]: the screen buffer's "rows,columns".
int Func_ConsoleBuffer(FUNCCALL &call) {
    HANDLE out = ConsoleOutputHandle();
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!out || !GetConsoleScreenBufferInfo(out, &info)) return ERROR_BD_NOT_CONSOLE;
    call.args = FormatStr(L"%d,%d", info.dwSize.Y, info.dwSize.X);
    return 0;
}

// @FONT[]: the console's font, "name,width,height" (in pixels).
int Func_Font(FUNCCALL &call) {
    HANDLE out = ConsoleOutputHandle();
    if (!out) return ERROR_BD_NOT_CONSOLE;
    CONSOLE_FONT_INFOEX font{};
    font.cbSize = sizeof font;
    if (!GetCurrentConsoleFontEx(out, FALSE, &font)) return SystemError();
    call.args = FormatStr(L"%s,%d,%d", font.FaceName, font.dwFontSize.X, font.dwFontSize.Y);
    return 0;
}

// @READSCR[row,col,length]: the characters on the screen there; rows count
// from the top of the window.  @READATTRIB[row,col]: the colour byte there.
int Func_ReadScreen(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    int row = 0, col = 0;
    long long length = 1;
    size_t want = call.nCase == FC_readscr ? 3 : 2;
    if (args.size() != want || (want == 3 && (!ReadWholeNumber(args[2], &length) || length < 0)))
        return ERROR_INVALID_PARAMETER;
    if (int rc = ReadPosition(args, &row, &col)) return rc;
    if (length > 0x8000) return ERROR_BD_RESULT_TOO_LONG;
    std::vector<CHAR_INFO> cells((size_t)length + 1);
    int got = length ? ReadCellStr(cells.data(), (int)length, row, col) : 0;
    if (length && !got) return ERROR_BD_NOT_CONSOLE;
    if (call.nCase == FC_readattrib) return SetNumber(call.args, cells[0].Attributes & 0xFF);
    CString text;
    for (int i = 0; i < got; i++) text += cells[(size_t)i].Char.UnicodeChar;
    call.args = text;
    return 0;
}

// @COLOR[colours]: the colour byte of a colour text ("bright white on
// blue" gives 31; without a background, black).
int Func_Color(FUNCCALL &call) {
    int foreground = -1, background = -1;
    const wchar_t *behind = ParseColors(call.args.c_str(), &foreground, &background);
    if (foreground < 0 || *SkipWhiteSpace(behind)) return ERROR_INVALID_PARAMETER;
    return SetNumber(call.args, foreground | (background < 0 ? 0 : background << 4));
}
