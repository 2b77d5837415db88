// Internal variables of the console and the desktop: cursor and window
// size, colours, cursor shapes, key states, screen and mouse, titles.
#include "base/options.h"
#include "base/state.h"
#include "vars/internals.h"

namespace {

const wchar_t *const kColorNames[] = {L"Black", L"Blue", L"Green", L"Cyan", L"Red", L"Magenta", L"Yellow", L"White"};

// The screen buffer of the output, or of the console when output is
// redirected.
bool ScreenInfo(CONSOLE_SCREEN_BUFFER_INFO *info) {
    if (GetConsoleScreenBufferInfo(StdOut(), info)) return true;
    if (aGlobals.hConOut && aGlobals.hConOut != INVALID_HANDLE_VALUE && GetConsoleScreenBufferInfo(aGlobals.hConOut, info))
        return true;
    HANDLE console = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                 OPEN_EXISTING, 0, nullptr);
    if (console == INVALID_HANDLE_VALUE) return false;
    BOOL ok = GetConsoleScreenBufferInfo(console, info);
    CloseHandle(console);
    return ok;
}

CString ColorName(unsigned nibble) {
    CString name = kColorNames[nibble & 7];
    return nibble & 8 ? L"Bright " + name : name;
}

bool ScreenVariable(int index, CString &value) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (!ScreenInfo(&info)) return false;
    switch (index) {
    case IV_row: return SetInt(value, info.dwCursorPosition.Y - info.srWindow.Top);
    case IV_column: return SetInt(value, info.dwCursorPosition.X - info.srWindow.Left);
    case IV_rows: return SetInt(value, info.srWindow.Bottom - info.srWindow.Top + 1);
    case IV_columns: return SetInt(value, info.srWindow.Right - info.srWindow.Left + 1);
    case IV_fg: return SetText(value, ColorName(info.wAttributes & 0xF));
    case IV_bg: return SetText(value, ColorName((info.wAttributes >> 4) & 0xF));
    }
    return false;
}

// A key waiting in the console's input: a key-down event.
bool KeyWaiting(CString &value) {
    HANDLE input = aGlobals.hConIn && aGlobals.hConIn != INVALID_HANDLE_VALUE ? aGlobals.hConIn : GetStdHandle(STD_INPUT_HANDLE);
    DWORD count = 0;
    if (!GetNumberOfConsoleInputEvents(input, &count)) return false;
    std::vector<INPUT_RECORD> events(count ? count : 1);
    DWORD read = 0;
    if (count && !PeekConsoleInputW(input, events.data(), count, &read)) return false;
    for (DWORD i = 0; i < read; i++)
        if (events[i].EventType == KEY_EVENT && events[i].Event.KeyEvent.bKeyDown) return SetInt(value, 1);
    return SetInt(value, 0);
}

int KeyDown(int key) { return (GetKeyState(key) & 0x8000) ? 1 : 0; }
int KeyToggled(int key) { return (GetKeyState(key) & 1) ? 1 : 0; }

bool KeyVariable(int index, CString &value) {
    switch (index) {
    case IV_alt: return SetInt(value, KeyDown(VK_MENU));
    case IV_ctrl: return SetInt(value, KeyDown(VK_CONTROL));
    case IV_shift: return SetInt(value, KeyDown(VK_SHIFT));
    case IV_lalt: return SetInt(value, KeyDown(VK_LMENU));
    case IV_ralt: return SetInt(value, KeyDown(VK_RMENU));
    case IV_lctrl: return SetInt(value, KeyDown(VK_LCONTROL));
    case IV_rctrl: return SetInt(value, KeyDown(VK_RCONTROL));
    case IV_lshift: return SetInt(value, KeyDown(VK_LSHIFT));
    case IV_rshift: return SetInt(value, KeyDown(VK_RSHIFT));
    case IV_capslock: return SetInt(value, KeyToggled(VK_CAPITAL));
    case IV_numlock: return SetInt(value, KeyToggled(VK_NUMLOCK));
    case IV_scrolllock: return SetInt(value, KeyToggled(VK_SCROLL));
    case IV_kbhit: return KeyWaiting(value);
    }
    return false;
}

bool WindowText(HWND window, CString &value) {
    if (!window) return false;
    CString text(GetWindowTextLengthW(window) + 1, L'\0');
    text.resize(GetWindowTextW(window, text.data(), (int)text.size()));
    return SetText(value, text);
}

bool ConsoleTitle(CString &value) {
    CString title(1024, L'\0');
    SetLastError(ERROR_SUCCESS);
    DWORD n = GetConsoleTitleW(title.data(), (DWORD)title.size());
    if (n == 0 && GetLastError() != ERROR_SUCCESS) return false;
    title.resize(n);
    return SetText(value, title);
}

bool ConsoleWindowSize(int index, CString &value) {
    RECT box;
    HWND window = GetConsoleWindow();
    if (!window || !GetWindowRect(window, &box)) return false;
    return SetInt(value, index == IV_xwindow ? box.right - box.left : box.bottom - box.top);
}

}  // namespace

bool ConsoleVariable(int index, CString &value) {
    if (KeyVariable(index, value)) return true;
    POINT mouse;
    switch (index) {
    case IV_row: case IV_column: case IV_rows: case IV_columns: case IV_fg: case IV_bg:
        return ScreenVariable(index, value);
    case IV_ci: return SetInt(value, aIniFile.CursorIns);
    case IV_co: return SetInt(value, aIniFile.CursorOver);
    case IV_xwindow: case IV_ywindow: return ConsoleWindowSize(index, value);
    case IV_xpixels: return SetInt(value, GetSystemMetrics(SM_CXSCREEN));
    case IV_ypixels: return SetInt(value, GetSystemMetrics(SM_CYSCREEN));
    case IV_vxpixels: return SetInt(value, GetSystemMetrics(SM_CXVIRTUALSCREEN));
    case IV_vypixels: return SetInt(value, GetSystemMetrics(SM_CYVIRTUALSCREEN));
    case IV_xmouse: return GetCursorPos(&mouse) && SetInt(value, mouse.x);
    case IV_ymouse: return GetCursorPos(&mouse) && SetInt(value, mouse.y);
    case IV_wintitle: return ConsoleTitle(value);
    case IV_winfgwindow: return WindowText(GetForegroundWindow(), value);
    }
    return false;
}
