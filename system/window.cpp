// The window and screen commands: WINDOW, ACTIVATE, RESOLUTION,
// SAVECONSOLE and VBEEP.  A window is named by its title (wildcards, or a
// regular expression behind "::"); WINDOW without one means the console.
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "console/console.h"
#include "system/system.h"
#include "vars/lists.h"
#include <vector>

namespace {

constexpr DWORD kFlashMs = 120;

struct TITLESEARCH {
    const wchar_t *pszPattern;
    HWND hFound;
    HWND hHidden;   // a match that is not visible: taken when no visible one is
};

BOOL CALLBACK MatchTitle(HWND hwnd, LPARAM param) {
    auto *search = (TITLESEARCH *)param;
    CString title = WindowTitle(hwnd);
    if (title.empty() || !MatchNamePattern(search->pszPattern, title.c_str())) return TRUE;
    if (!IsWindowVisible(hwnd)) {
        if (!search->hHidden) search->hHidden = hwnd;
        return TRUE;
    }
    search->hFound = hwnd;
    return FALSE;
}

}  // namespace

CString WindowTitle(HWND hwnd) {
    int n = GetWindowTextLengthW(hwnd);
    CString title(n + 1, L'\0');
    title.resize(GetWindowTextW(hwnd, title.data(), n + 1));
    return title;
}

// The top-level window whose title matches, visible ones first.
HWND FindWindowByTitle(const CString &pattern) {
    TITLESEARCH search{pattern.c_str(), nullptr, nullptr};
    EnumWindows(MatchTitle, (LPARAM)&search);
    return search.hFound ? search.hFound : search.hHidden;
}

namespace {

// Take a leading quoted title off args; the window it names goes to
// *hwnd.  Without a title, *hwnd is null and args are left alone.
int TakeTitleTarget(CString &args, HWND *hwnd, CString *title) {
    *hwnd = nullptr;
    args.TrimLeft();
    if (args.At(0) != L'"') return 0;
    int start = -1;
    GetNthArgument(args.c_str(), 0, title, &start);
    args.erase(0, start + title->size());
    StripEnclosingQuotes_S(*title);
    *hwnd = FindWindowByTitle(*title);
    if (!*hwnd) return BDError(ERROR_BD_NO_WINDOW, title->c_str());
    return 0;
}

int ParseInts(const CString &text, int *values, int count) {
    const wchar_t *formats[] = {L"%d%n", L"%d,%d%n", L"%d,%d,%d%n", L"%d,%d,%d,%d%n"};
    int used = 0, got = 0;
    switch (count) {
    case 1: got = Sscanf(text.c_str(), formats[0], &values[0], &used); break;
    case 4: got = Sscanf(text.c_str(), formats[3], &values[0], &values[1], &values[2], &values[3], &used); break;
    default: return ERROR_INVALID_PARAMETER;
    }
    return got == count + 1 && used == text.GetLength() ? 0 : ERROR_INVALID_PARAMETER;
}

// One word of WINDOW and ACTIVATE.
int ApplyWindowWord(HWND hwnd, const CString &word) {
    struct SHOWWORD {
        const wchar_t *pszWord;
        int nShow;
    };
    static const SHOWWORD shows[] = {{L"MAX", SW_MAXIMIZE}, {L"MIN", SW_MINIMIZE}, {L"RESTORE", SW_RESTORE},
                                     {L"HIDE", SW_HIDE},    {L"SHOW", SW_SHOW}};
    for (const SHOWWORD &s : shows)
        if (word.EqualsNoCase(s.pszWord)) {
            ShowWindow(hwnd, s.nShow);
            return 0;
        }
    if (word.EqualsNoCase(L"CLOSE")) return PostMessageW(hwnd, WM_CLOSE, 0, 0) ? 0 : (int)GetLastError();
    if (word.EqualsNoCase(L"TOPMOST") || word.EqualsNoCase(L"NOTOPMOST")) {
        HWND after = word.EqualsNoCase(L"TOPMOST") ? HWND_TOPMOST : HWND_NOTOPMOST;
        return SetWindowPos(hwnd, after, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_NOACTIVATE) ? 0 : (int)GetLastError();
    }
    size_t eq = word.find(L'=');
    CString key = word.Left(eq), value = eq == CString::npos ? CString() : word.Mid(eq + 1);
    StripEnclosingQuotes_S(value);
    int v[4];
    if (eq != CString::npos && key.EqualsNoCase(L"TEXT")) return SetWindowTextW(hwnd, value.c_str()) ? 0 : (int)GetLastError();
    if (eq != CString::npos && key.EqualsNoCase(L"TRANS")) {
        if (ParseInts(value, v, 1) || v[0] < 0 || v[0] > 255) return ERROR_INVALID_PARAMETER;
        SetWindowLongW(hwnd, GWL_EXSTYLE, GetWindowLongW(hwnd, GWL_EXSTYLE) | WS_EX_LAYERED);
        return SetLayeredWindowAttributes(hwnd, 0, (BYTE)v[0], LWA_ALPHA) ? 0 : (int)GetLastError();
    }
    if (eq != CString::npos && key.EqualsNoCase(L"POS")) {
        if (ParseInts(value, v, 4) || v[2] < 0 || v[3] < 0) return ERROR_INVALID_PARAMETER;
        return MoveWindow(hwnd, v[0], v[1], v[2], v[3], TRUE) ? 0 : (int)GetLastError();
    }
    return ERROR_BD_UNKNOWN_WORD;
}

int ApplyWindowWords(HWND hwnd, const CString &args) {
    CString word;
    for (int i = 0; GetNthArgument(args.c_str(), i | ARG_NO_COMMA, &word); i++)
        if (int rc = ApplyWindowWord(hwnd, word)) return BDError(rc, word.c_str());
    return 0;
}

// Check every word before any is applied, so that a bad one changes nothing.
int CheckWindowWords(const CString &args) {
    static const wchar_t *const plain[] = {L"MAX", L"MIN", L"RESTORE", L"HIDE", L"SHOW", L"CLOSE", L"TOPMOST",
                                           L"NOTOPMOST"};
    CString word;
    for (int i = 0; GetNthArgument(args.c_str(), i | ARG_NO_COMMA, &word); i++) {
        bool known = false;
        for (const wchar_t *p : plain) known = known || word.EqualsNoCase(p);
        size_t eq = word.find(L'=');
        CString key = word.Left(eq), value = eq == CString::npos ? CString() : word.Mid(eq + 1);
        int v[4];
        if (eq != CString::npos && key.EqualsNoCase(L"TEXT")) known = true;
        if (eq != CString::npos && key.EqualsNoCase(L"TRANS")) {
            if (ParseInts(value, v, 1) || v[0] < 0 || v[0] > 255) return BDError(ERROR_INVALID_PARAMETER, word.c_str());
            known = true;
        }
        if (eq != CString::npos && key.EqualsNoCase(L"POS")) {
            if (ParseInts(value, v, 4) || v[2] < 0 || v[3] < 0) return BDError(ERROR_INVALID_PARAMETER, word.c_str());
            known = true;
        }
        if (!known) return BDError(ERROR_BD_UNKNOWN_WORD, word.c_str());
    }
    return 0;
}

void ShowWindowState(HWND hwnd) {
    RECT r{};
    GetWindowRect(hwnd, &r);
    const wchar_t *state = IsIconic(hwnd) ? L"minimized" : IsZoomed(hwnd) ? L"maximized"
                           : IsWindowVisible(hwnd)                         ? L"normal"
                                                                           : L"hidden";
    Printf(L"\"%s\" %d,%d %dx%d %s\r\n", WindowTitle(hwnd).c_str(), (int)r.left, (int)r.top, (int)(r.right - r.left),
           (int)(r.bottom - r.top), state);
}

}  // namespace

// WINDOW ["title"] [word ...]
int Window_Command(CString &args) {
    HWND hwnd;
    CString title;
    if (TakeTitleTarget(args, &hwnd, &title)) return 2;
    if (CheckWindowWords(args)) return 2;
    if (!hwnd && !(hwnd = GetConsoleWindow())) return BDError(ERROR_BD_NO_WINDOW, L"(console)");
    if (!GetNthArgument(args.c_str(), 0 | ARG_NO_COMMA)) {
        ShowWindowState(hwnd);
        return 0;
    }
    return ApplyWindowWords(hwnd, args);
}

// ACTIVATE "title" [word ...]
int Activate_Command(CString &args) {
    HWND hwnd;
    CString title;
    args.TrimLeft();
    if (args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"ACTIVATE");
    if (args.At(0) != L'"') {
        // A bare title is taken as well: the first word.
        CString first;
        int start = -1;
        GetNthArgument(args.c_str(), 0, &first, &start);
        args.insert(start + first.size(), L"\"");
        args.insert(start, L"\"");
    }
    if (TakeTitleTarget(args, &hwnd, &title)) return 2;
    if (CheckWindowWords(args)) return 2;
    if (IsIconic(hwnd)) ShowWindow(hwnd, SW_RESTORE);
    SetForegroundWindow(hwnd);
    return ApplyWindowWords(hwnd, args);
}

// RESOLUTION [width height [bits [frequency]]]
int Resolution_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    DEVMODEW mode{};
    mode.dmSize = sizeof(mode);
    if (!EnumDisplaySettingsW(nullptr, ENUM_CURRENT_SETTINGS, &mode))
        return BDError(ERROR_BD_NEEDS_SYSTEM, L"the display settings");
    CString word;
    DWORD values[4] = {0, 0, 0, 0};
    int count = 0;
    for (; GetNthArgument(args.c_str(), count, &word); count++)
        if (count >= 4 || !QueryIsNumber(word, &values[count])) return BDError(ERROR_INVALID_PARAMETER, word.c_str());
    if (count == 0) {
        Printf(L"%u x %u, %u bits, %u Hz\r\n", (unsigned)mode.dmPelsWidth, (unsigned)mode.dmPelsHeight,
               (unsigned)mode.dmBitsPerPel, (unsigned)mode.dmDisplayFrequency);
        return 0;
    }
    if (count == 1) return BDError(ERROR_BD_MISSING_ARGUMENT, L"RESOLUTION");
    mode.dmPelsWidth = values[0], mode.dmPelsHeight = values[1];
    mode.dmFields = DM_PELSWIDTH | DM_PELSHEIGHT;
    if (count > 2) mode.dmBitsPerPel = values[2], mode.dmFields |= DM_BITSPERPEL;
    if (count > 3) mode.dmDisplayFrequency = values[3], mode.dmFields |= DM_DISPLAYFREQUENCY;
    LONG rc = ChangeDisplaySettingsW(&mode, 0);
    if (rc == DISP_CHANGE_BADMODE) return BDError(ERROR_INVALID_PARAMETER, args.TrimLeftCopy().c_str());
    if (rc != DISP_CHANGE_SUCCESSFUL) return BDError(ERROR_BD_NEEDS_SYSTEM, L"a change of the display mode");
    return 0;
}

namespace {

// The console's screen buffer even when standard output goes elsewhere;
// null when the shell has no console.
HANDLE OpenConsoleBuffer() {
    HANDLE h = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (h != INVALID_HANDLE_VALUE && GetConsoleScreenBufferInfo(h, &info)) return h;
    if (h != INVALID_HANDLE_VALUE) CloseHandle(h);
    return nullptr;
}

// The text of the window's rows, trailing blanks cut.
CString ConsoleWindowText(HANDLE h) {
    CONSOLE_SCREEN_BUFFER_INFO info;
    GetConsoleScreenBufferInfo(h, &info);
    int width = info.dwSize.X;
    CString text, row(width, L' ');
    for (SHORT y = info.srWindow.Top; y <= info.srWindow.Bottom; y++) {
        DWORD got = 0;
        ReadConsoleOutputCharacterW(h, row.data(), (DWORD)width, COORD{0, y}, &got);
        CString line = row.Left(got);
        line.TrimRight(L" ");
        text += line + L"\r\n";
    }
    return text;
}

}  // namespace

// SAVECONSOLE [/A] file
int Saveconsole_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"A", &mask, 0, nullptr)) return 2;
    CString name;
    if (!GetNthArgument(args.c_str(), 0, &name)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"SAVECONSOLE");
    StripQuotes_S(name);
    HANDLE console = OpenConsoleBuffer();
    if (!console) return BDError(ERROR_BD_NEEDS_CONSOLE, nullptr);
    CString text = ConsoleWindowText(console);
    CloseHandle(console);
    HANDLE file = CreateFileW(name.c_str(), (mask & 1) ? FILE_APPEND_DATA : GENERIC_WRITE, FILE_SHARE_READ, nullptr,
                              (mask & 1) ? OPEN_ALWAYS : CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (file == INVALID_HANDLE_VALUE) return BDError((int)GetLastError(), name.c_str());
    std::string bytes = ToCodePage(text.c_str(), text.GetLength(), CP_UTF8);
    DWORD done = 0;
    BOOL ok = WriteFile(file, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
    int rc = ok ? 0 : (int)GetLastError();
    CloseHandle(file);
    return rc ? BDError(rc, name.c_str()) : 0;
}

// VBEEP [n]: a visible beep: the console window's colours flash n times.
int Vbeep_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    DWORD count = 1;
    CString word;
    if (GetNthArgument(args.c_str(), 0, &word) && (!QueryIsNumber(word, &count) || GetNthArgument(args.c_str(), 1)))
        return BDError(ERROR_INVALID_PARAMETER, word.c_str());
    HANDLE console = OpenConsoleBuffer();
    if (!console) return BDError(ERROR_BD_NEEDS_CONSOLE, nullptr);
    CONSOLE_SCREEN_BUFFER_INFO info;
    GetConsoleScreenBufferInfo(console, &info);
    SMALL_RECT w = info.srWindow;
    int width = w.Right - w.Left + 1;
    std::vector<WORD> saved((size_t)width);
    try {
        for (DWORD i = 0; i < count; i++) {
            for (int pass = 0; pass < 2; pass++) {
                for (SHORT y = w.Top; y <= w.Bottom; y++) {
                    DWORD got = 0;
                    COORD at{w.Left, y};
                    ReadConsoleOutputAttribute(console, saved.data(), (DWORD)width, at, &got);
                    for (WORD &a : saved) a = (WORD)((a & 0xFF00) | ((a & 0x0F) << 4) | ((a & 0xF0) >> 4));
                    WriteConsoleOutputAttribute(console, saved.data(), got, at, &got);
                }
                if (pass == 0) SleepEx(kFlashMs, TRUE);
            }
            if (i + 1 < count) SleepEx(kFlashMs, TRUE);
            CheckBreak();
        }
    } catch (int) {
        CloseHandle(console);
        throw;
    }
    CloseHandle(console);
    return 0;
}
