// The dialog commands: MSGBOX, QUERYBOX, TASKDIALOG and OSD.  Each dialog
// can close itself after a time (/T), which gives the result 32000; a
// system with no desktop to show a dialog on is reported as such.
#include "base/args.h"
#include "base/breaks.h"
#include "base/colors.h"
#include "base/errors.h"
#include "base/state.h"
#include "system/system.h"
#include "vars/lists.h"
#include <commctrl.h>
#include <vector>

namespace {

constexpr int kTimedOut = 32000;
constexpr int kEditId = 100, kPromptId = 101;

// A timed dialog: a thread timer whose procedure ends the dialog of this
// thread with kTimedOut once the time is up.  The dialog's own message
// loop runs the procedure.
UINT_PTR nDialogTimer = 0;

BOOL CALLBACK EndThreadDialog(HWND hwnd, LPARAM) {
    wchar_t cls[16];
    if (GetClassNameW(hwnd, cls, 16) && CString(cls) == L"#32770") EndDialog(hwnd, kTimedOut);
    return TRUE;
}

void CALLBACK DialogTimeUp(HWND, UINT, UINT_PTR, DWORD) {
    KillTimer(nullptr, nDialogTimer);
    nDialogTimer = 0;
    EnumThreadWindows(GetCurrentThreadId(), EndThreadDialog, 0);
}

class DialogTimer {
public:
    explicit DialogTimer(DWORD seconds) {
        if (seconds) nDialogTimer = SetTimer(nullptr, 0, seconds * 1000, DialogTimeUp);
    }
    ~DialogTimer() {
        if (nDialogTimer) KillTimer(nullptr, nDialogTimer);
        nDialogTimer = 0;
    }
    DialogTimer(const DialogTimer &) = delete;
    DialogTimer &operator=(const DialogTimer &) = delete;
};

// "/T:n" (or "/Tn"): seconds; false for a bad number.
bool TakeSeconds(CString &args, const wchar_t *letter, DWORD *seconds) {
    CString text;
    if (!GetMultiCharSwitch(args, letter, &text, 0, nullptr, 0, 0)) return true;
    text.TrimLeft(L":");
    if (!QueryIsNumber(text, seconds)) return BDError(ERROR_INVALID_PARAMETER, text.c_str()), false;
    return true;
}

// The icon letter of /I: I, W, E or Q.
bool TakeIcon(CString &args, wchar_t *icon) {
    CString text;
    *icon = 0;
    if (!GetMultiCharSwitch(args, L"I", &text, 0, nullptr, 0, 0)) return true;
    text.TrimLeft(L":");
    wchar_t c = ToUpperChar(text.At(0));
    if (text.GetLength() != 1 || !wcschr(L"IWEQ", c)) return BDError(ERROR_INVALID_PARAMETER, text.c_str()), false;
    *icon = c;
    return true;
}

// A leading quoted argument is the title.
CString TakeTitle(CString &args) {
    args.TrimLeft();
    if (args.At(0) != L'"' || !GetNthArgument(args.c_str(), 1)) return L"BDX";
    CString title;
    int start = -1;
    GetNthArgument(args.c_str(), 0, &title, &start);
    args.erase(0, start + title.size());
    args.TrimLeft();
    StripEnclosingQuotes_S(title);
    return title;
}

// A dialog that could not be made at all: no desktop on this system.
int NoDesktop() { return BDError(ERROR_BD_NEEDS_SYSTEM, L"a desktop to show the dialog on"); }

}  // namespace

// MSGBOX [buttons] [/I:x] [/T:n] ["title"] text
int Msgbox_Command(CString &args) {
    DWORD seconds = 0;
    wchar_t icon = 0;
    if (!TakeSeconds(args, L"T", &seconds) || !TakeIcon(args, &icon)) return 2;
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    struct BUTTONSET {
        const wchar_t *pszWord;
        UINT nType;
    };
    static const BUTTONSET sets[] = {{L"OK", MB_OK},
                                     {L"OKCANCEL", MB_OKCANCEL},
                                     {L"YESNO", MB_YESNO},
                                     {L"YESNOCANCEL", MB_YESNOCANCEL},
                                     {L"RETRYCANCEL", MB_RETRYCANCEL},
                                     {L"ABORTRETRYIGNORE", MB_ABORTRETRYIGNORE}};
    UINT type = MB_OK;
    CString first;
    int start = -1;
    if (GetNthArgument(args.c_str(), 0, &first, &start) && GetNthArgument(args.c_str(), 1))
        for (const BUTTONSET &s : sets)
            if (first.EqualsNoCase(s.pszWord)) {
                type = s.nType;
                args.erase(0, start + first.size());
                break;
            }
    CString title = TakeTitle(args);
    args.Trim();
    StripEnclosingQuotes_S(args);
    if (args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"MSGBOX");
    type |= icon == L'I' ? MB_ICONINFORMATION : icon == L'W' ? MB_ICONWARNING : icon == L'E' ? MB_ICONERROR
            : icon == L'Q'                    ? MB_ICONQUESTION
                                              : 0;
    DialogTimer timer(seconds);
    int answer = MessageBoxW(nullptr, args.c_str(), title.c_str(), type | MB_SETFOREGROUND | MB_TASKMODAL);
    return answer > 0 ? answer : NoDesktop();
}

// ---- QUERYBOX ----

namespace {

// An in-memory dialog template: a title, then the items, each of a
// predefined class (an atom) or of a class by name.
class DialogTemplate {
public:
    DialogTemplate(const CString &title, short cx = 240, short cy = 74) {
        Align(4);
        DLGTEMPLATE t{};
        t.style = DS_MODALFRAME | DS_CENTER | DS_SETFONT | WS_POPUP | WS_CAPTION | WS_SYSMENU;
        t.cx = cx, t.cy = cy;
        Add(&t, sizeof(t));
        Word(0), Word(0);        // no menu, the default class
        Text(title);
        Word(9);
        Text(L"MS Shell Dlg");
    }
    void Item(DWORD style, short x, short y, short cx, short cy, WORD id, WORD cls, const CString &text) {
        ItemHead(style, x, y, cx, cy, id);
        Word(0xFFFF), Word(cls);
        Text(text);
        Word(0);
    }
    void Item(DWORD style, short x, short y, short cx, short cy, WORD id, const wchar_t *className) {
        ItemHead(style, x, y, cx, cy, id);
        Text(className);
        Text(L"");
        Word(0);
    }
    const DLGTEMPLATE *Get() const { return (const DLGTEMPLATE *)words_.data(); }

private:
    void ItemHead(DWORD style, short x, short y, short cx, short cy, WORD id) {
        ((DLGTEMPLATE *)words_.data())->cdit++;
        Align(4);
        DLGITEMTEMPLATE item{};
        item.style = style | WS_CHILD | WS_VISIBLE;
        item.x = x, item.y = y, item.cx = cx, item.cy = cy, item.id = id;
        Add(&item, sizeof(item));
    }
    void Add(const void *data, size_t bytes) {
        const WORD *w = (const WORD *)data;
        words_.insert(words_.end(), w, w + bytes / 2);
    }
    void Word(WORD w) { words_.push_back(w); }
    void Text(const CString &s) { Add(s.c_str(), (s.size() + 1) * 2); }
    void Align(size_t bytes) {
        while ((words_.size() * 2) % bytes) words_.push_back(0);
    }
    std::vector<WORD> words_;
};

// The state record of a dialog, stored at WM_INITDIALOG from its parameter.
template <class T>
T *DialogState(HWND hwnd, UINT message, LPARAM lParam) {
    if (message == WM_INITDIALOG) SetWindowLongPtrW(hwnd, DWLP_USER, lParam);
    return (T *)GetWindowLongPtrW(hwnd, DWLP_USER);
}

// Run a dialog of the template, closing by itself after seconds (0: never).
// IDOK, another button's id, kTimedOut, or kNoDialog (reported) when there
// is no desktop to show it on.
constexpr INT_PTR kNoDialog = -2;
INT_PTR ShowDialog(const DialogTemplate &dialog, DLGPROC proc, void *state, DWORD seconds) {
    DialogTimer timer(seconds);
    INT_PTR answer = DialogBoxIndirectParamW(aGlobals.hModule, dialog.Get(), nullptr, proc, (LPARAM)state);
    if (answer != -1 && answer != 0) return answer;
    NoDesktop();
    return kNoDialog;
}

struct QUERYSTATE {
    CString sText;
    int nLimit;
};

INT_PTR CALLBACK QueryProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto *state = DialogState<QUERYSTATE>(hwnd, message, lParam);
    if (message == WM_INITDIALOG) {
        SetDlgItemTextW(hwnd, kEditId, state->sText.c_str());
        if (state->nLimit) SendDlgItemMessageW(hwnd, kEditId, EM_LIMITTEXT, state->nLimit, 0);
        return TRUE;
    }
    if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL)) {
        if (LOWORD(wParam) == IDOK) {
            int n = GetWindowTextLengthW(GetDlgItem(hwnd, kEditId));
            CString text(n + 1, L'\0');
            text.resize(GetDlgItemTextW(hwnd, kEditId, text.data(), n + 1));
            state->sText = text;
        }
        EndDialog(hwnd, LOWORD(wParam));
        return TRUE;
    }
    return FALSE;
}

}  // namespace

// QUERYBOX [/D"default"] [/L:n] [/T:n] ["title"] prompt variable
int Querybox_Command(CString &args) {
    DWORD seconds = 0, limit = 0;
    if (!TakeSeconds(args, L"T", &seconds) || !TakeSeconds(args, L"L", &limit)) return 2;
    CString initial;
    if (GetMultiCharSwitch(args, L"D", &initial, 0, nullptr, 0, 0)) StripEnclosingQuotes_S(initial);
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString title = TakeTitle(args), variable;
    int index = 0, start = -1;
    if (!LastArgument(args.c_str(), &index, &variable, &start) || variable.find(L'=') != CString::npos)
        return BDError(ERROR_BD_MISSING_ARGUMENT, L"QUERYBOX");
    CString prompt = args.Left(start);
    prompt.Trim();
    StripEnclosingQuotes_S(prompt);
    DialogTemplate dialog(title);
    dialog.Item(SS_LEFT, 7, 7, 226, 20, kPromptId, 0x0082, prompt);
    dialog.Item(ES_AUTOHSCROLL | WS_BORDER | WS_TABSTOP, 7, 30, 226, 14, kEditId, 0x0081, L"");
    dialog.Item(BS_DEFPUSHBUTTON | WS_TABSTOP, 126, 52, 50, 14, IDOK, 0x0080, L"OK");
    dialog.Item(BS_PUSHBUTTON | WS_TABSTOP, 183, 52, 50, 14, IDCANCEL, 0x0080, L"Cancel");
    QUERYSTATE state{initial, (int)limit};
    INT_PTR answer = ShowDialog(dialog, QueryProc, &state, seconds);
    if (answer == kTimedOut) return kTimedOut;
    if (answer != IDOK) return 2;
    return SetEVariable((variable + L"=" + state.sText).c_str()) ? 2 : 0;
}

// ---- date pickers (@GETDATE, @GETDATETIME) ----

namespace {

constexpr int kDateId = 102, kTimeId = 103;

struct DATESTATE {
    SYSTEMTIME when;
    bool fWithTime;
};

INT_PTR CALLBACK DateProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto *state = DialogState<DATESTATE>(hwnd, message, lParam);
    if (message == WM_INITDIALOG) {
        DateTime_SetSystemtime(GetDlgItem(hwnd, kDateId), GDT_VALID, &state->when);
        if (state->fWithTime) DateTime_SetSystemtime(GetDlgItem(hwnd, kTimeId), GDT_VALID, &state->when);
        return TRUE;
    }
    if (message == WM_COMMAND && (LOWORD(wParam) == IDOK || LOWORD(wParam) == IDCANCEL)) {
        if (LOWORD(wParam) == IDOK) {
            SYSTEMTIME date = state->when, time = state->when;
            DateTime_GetSystemtime(GetDlgItem(hwnd, kDateId), &date);
            if (state->fWithTime) DateTime_GetSystemtime(GetDlgItem(hwnd, kTimeId), &time);
            state->when = date;
            state->when.wHour = time.wHour, state->when.wMinute = time.wMinute, state->when.wSecond = time.wSecond;
            state->when.wMilliseconds = 0;
        }
        EndDialog(hwnd, LOWORD(wParam));
        return TRUE;
    }
    return FALSE;
}

}  // namespace

int AskDate(const CString &title, SYSTEMTIME *when, bool withTime, DWORD seconds) {
    INITCOMMONCONTROLSEX classes{sizeof(classes), ICC_DATE_CLASSES};
    InitCommonControlsEx(&classes);
    DialogTemplate dialog(title, 180, withTime ? 72 : 52);
    dialog.Item(WS_TABSTOP | DTS_LONGDATEFORMAT, 7, 7, 166, 14, kDateId, DATETIMEPICK_CLASSW);
    if (withTime) dialog.Item(WS_TABSTOP | DTS_TIMEFORMAT, 7, 27, 166, 14, kTimeId, DATETIMEPICK_CLASSW);
    short buttons = withTime ? 51 : 31;
    dialog.Item(BS_DEFPUSHBUTTON | WS_TABSTOP, 66, buttons, 50, 14, IDOK, 0x0080, L"OK");
    dialog.Item(BS_PUSHBUTTON | WS_TABSTOP, 123, buttons, 50, 14, IDCANCEL, 0x0080, L"Cancel");
    DATESTATE state{*when, withTime};
    INT_PTR answer = ShowDialog(dialog, DateProc, &state, seconds);
    if (answer == kTimedOut) return kTimedOut;
    if (answer == kNoDialog) return 2;
    if (answer != IDOK) return 1;
    *when = state.when;
    return 0;
}

// ---- TASKDIALOG ----

namespace {

using TaskDialogFunction = HRESULT(WINAPI *)(const TASKDIALOGCONFIG *, int *, int *, BOOL *);

struct TASKSTATE {
    DWORD nTimeoutMs;
    bool fTimedOut;
};

HRESULT CALLBACK TaskCallback(HWND hwnd, UINT note, WPARAM wParam, LPARAM, LONG_PTR data) {
    auto *state = (TASKSTATE *)data;
    if (note == TDN_TIMER && state->nTimeoutMs && wParam >= state->nTimeoutMs && !state->fTimedOut) {
        state->fTimedOut = true;
        PostMessageW(hwnd, WM_CLOSE, 0, 0);
    }
    return S_OK;
}

// /B letters: O OK, Y Yes, N No, C Cancel, R Retry, L Close.
bool ButtonFlags(const CString &letters, TASKDIALOG_COMMON_BUTTON_FLAGS *flags) {
    *flags = 0;
    for (wchar_t c : letters) {
        switch (ToUpperChar(c)) {
        case L'O': *flags |= TDCBF_OK_BUTTON; break;
        case L'Y': *flags |= TDCBF_YES_BUTTON; break;
        case L'N': *flags |= TDCBF_NO_BUTTON; break;
        case L'C': *flags |= TDCBF_CANCEL_BUTTON; break;
        case L'R': *flags |= TDCBF_RETRY_BUTTON; break;
        case L'L': *flags |= TDCBF_CLOSE_BUTTON; break;
        default: return false;
        }
    }
    return !letters.empty();
}

}  // namespace

// TASKDIALOG [/I:x] [/T:n] [/B:buttons] "title" "instruction" [text]
int Taskdialog_Command(CString &args) {
    DWORD seconds = 0;
    wchar_t icon = 0;
    if (!TakeSeconds(args, L"T", &seconds) || !TakeIcon(args, &icon)) return 2;
    CString letters;
    if (GetMultiCharSwitch(args, L"B", &letters, 0, nullptr, 0, 0)) letters.TrimLeft(L":");
    else letters = L"O";
    TASKDIALOG_COMMON_BUTTON_FLAGS buttons;
    if (!ButtonFlags(letters, &buttons)) return BDError(ERROR_INVALID_PARAMETER, letters.c_str());
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString title, instruction, text;
    if (!GetNthArgument(args.c_str(), 1, &instruction)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"TASKDIALOG");
    GetNthArgument(args.c_str(), 0, &title);
    int start = -1;
    if (GetNthArgument(args.c_str(), 2, nullptr, &start)) text = args.Mid(start);
    for (CString *s : {&title, &instruction, &text}) {
        s->Trim();
        StripEnclosingQuotes_S(*s);
    }
    HMODULE controls = LoadLibraryW(L"comctl32.dll");
    auto show = controls ? (TaskDialogFunction)(void *)GetProcAddress(controls, "TaskDialogIndirect") : nullptr;
    if (!show) return BDError(ERROR_BD_NEEDS_SYSTEM, L"task dialogs (common controls 6)");
    TASKSTATE state{seconds * 1000, false};
    TASKDIALOGCONFIG config{};
    config.cbSize = sizeof(config);
    config.dwFlags = TDF_ALLOW_DIALOG_CANCELLATION | (seconds ? TDF_CALLBACK_TIMER : 0);
    config.dwCommonButtons = buttons;
    config.pszWindowTitle = title.c_str();
    config.pszMainInstruction = instruction.c_str();
    config.pszContent = text.empty() ? nullptr : text.c_str();
    config.pszMainIcon = icon == L'W' ? TD_WARNING_ICON : icon == L'E' ? TD_ERROR_ICON
                         : icon    ? TD_INFORMATION_ICON
                                   : nullptr;
    config.pfCallback = TaskCallback;
    config.lpCallbackData = (LONG_PTR)&state;
    int pressed = 0;
    HRESULT hr = show(&config, &pressed, nullptr, nullptr);
    if (FAILED(hr)) return NoDesktop();
    if (state.fTimedOut) return kTimedOut;
    return pressed > 0 ? pressed : NoDesktop();
}

// ---- OSD ----

namespace {

struct OSDTEXT {
    CString sText;
    COLORREF nColor;
    DWORD nMs;
    int x, y;   // -1: the middle of the screen
};

const COLORREF kConsoleColors[16] = {
    RGB(0, 0, 0),     RGB(0, 0, 128),   RGB(0, 128, 0),   RGB(0, 128, 128), RGB(128, 0, 0),   RGB(128, 0, 128),
    RGB(128, 128, 0), RGB(192, 192, 192), RGB(128, 128, 128), RGB(0, 0, 255), RGB(0, 255, 0),   RGB(0, 255, 255),
    RGB(255, 0, 0),   RGB(255, 0, 255), RGB(255, 255, 0), RGB(255, 255, 255)};

LRESULT CALLBACK OsdProc(HWND hwnd, UINT message, WPARAM wParam, LPARAM lParam) {
    auto *osd = (OSDTEXT *)GetWindowLongPtrW(hwnd, GWLP_USERDATA);
    switch (message) {
    case WM_PAINT: {
        PAINTSTRUCT ps;
        HDC dc = BeginPaint(hwnd, &ps);
        RECT r;
        GetClientRect(hwnd, &r);
        FillRect(dc, &r, (HBRUSH)GetStockObject(BLACK_BRUSH));
        SetBkMode(dc, TRANSPARENT);
        SetTextColor(dc, osd->nColor);
        HGDIOBJ old = SelectObject(dc, GetStockObject(SYSTEM_FONT));
        DrawTextW(dc, osd->sText.c_str(), -1, &r, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
        SelectObject(dc, old);
        EndPaint(hwnd, &ps);
        return 0;
    }
    case WM_TIMER: DestroyWindow(hwnd); return 0;
    case WM_DESTROY: PostQuitMessage(0); return 0;
    }
    return DefWindowProcW(hwnd, message, wParam, lParam);
}

DWORD WINAPI OsdThread(void *param) {
    OSDTEXT *osd = (OSDTEXT *)param;
    WNDCLASSW cls{};
    cls.lpfnWndProc = OsdProc;
    cls.hInstance = aGlobals.hModule;
    cls.lpszClassName = L"BDXOnScreenText";
    RegisterClassW(&cls);
    HDC screen = GetDC(nullptr);
    SIZE size{200, 20};
    GetTextExtentPoint32W(screen, osd->sText.c_str(), osd->sText.GetLength(), &size);
    ReleaseDC(nullptr, screen);
    int w = size.cx + 24, h = size.cy + 12;
    int x = osd->x >= 0 ? osd->x : (GetSystemMetrics(SM_CXSCREEN) - w) / 2;
    int y = osd->y >= 0 ? osd->y : (GetSystemMetrics(SM_CYSCREEN) - h) / 2;
    HWND hwnd = CreateWindowExW(WS_EX_TOPMOST | WS_EX_LAYERED | WS_EX_TRANSPARENT | WS_EX_TOOLWINDOW | WS_EX_NOACTIVATE,
                                cls.lpszClassName, L"", WS_POPUP, x, y, w, h, nullptr, nullptr, aGlobals.hModule, nullptr);
    DWORD rc = hwnd ? 0 : 1;
    if (hwnd) {
        SetWindowLongPtrW(hwnd, GWLP_USERDATA, (LONG_PTR)osd);
        SetLayeredWindowAttributes(hwnd, RGB(0, 0, 0), 0, LWA_COLORKEY);
        ShowWindow(hwnd, SW_SHOWNOACTIVATE);
        SetTimer(hwnd, 1, osd->nMs ? osd->nMs : 1, nullptr);
        MSG msg;
        while (GetMessageW(&msg, nullptr, 0, 0) > 0) DispatchMessageW(&msg);
    }
    delete osd;
    return rc;
}

}  // namespace

// OSD [/C:colour] [/N] [/T:n] [/X:x /Y:y] text
int Osd_Command(CString &args) {
    DWORD seconds = 3, x = (DWORD)-1, y = (DWORD)-1;
    if (!TakeSeconds(args, L"T", &seconds) || !TakeSeconds(args, L"X", &x) || !TakeSeconds(args, L"Y", &y)) return 2;
    CString colourText;
    int colour = 0x0E;
    if (GetMultiCharSwitch(args, L"C", &colourText, 0, nullptr, 0, 0)) {
        colourText.TrimLeft(L":");
        StripEnclosingQuotes_S(colourText);
        CString spec = colourText + L" on black";
        if ((colour = GetColors(spec)) < 0) return BDError(ERROR_BD_INVALID_COLOR, colourText.c_str());
    }
    unsigned mask = 0;
    if (GetSwitches(args, L"N", &mask, 0, nullptr)) return 2;
    args.Trim();
    StripEnclosingQuotes_S(args);
    if (args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"OSD");
    auto *osd = new OSDTEXT{args, kConsoleColors[colour & 0x0F], seconds * 1000, (int)x, (int)y};
    HANDLE thread = CreateThread(nullptr, 0, OsdThread, osd, 0, nullptr);
    if (!thread) {
        delete osd;
        return BDError((int)GetLastError(), nullptr);
    }
    DWORD rc = 0;
    if (!(mask & 1)) {
        try {
            while (WaitForSingleObjectEx(thread, 100, TRUE) != WAIT_OBJECT_0) CheckBreak();
        } catch (int) {
            CloseHandle(thread);
            throw;
        }
        GetExitCodeThread(thread, &rc);
    }
    CloseHandle(thread);
    return rc ? NoDesktop() : 0;
}
