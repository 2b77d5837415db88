// Commands that wait for the user or the clock: DELAY, PAUSE, INKEY and
// INPUT.  Keys come from the console's input events, read in alertable
// waits so that a Ctrl+C ends any of them at once.  When standard input is
// no console, keys and lines come from the stream instead: INKEY and PAUSE
// take one character, INPUT one line, and nothing is echoed.
#include <algorithm>
#include <cwchar>
#include <cwctype>
#include <vector>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "files/dates.h"

namespace {

// Key values: characters as they are; keys without a character are
// kExtendedKey + their scan code, and are stored as "@code".
constexpr unsigned kExtendedKey = 0x10000;
constexpr unsigned kEnterKey = kExtendedKey + 0x1C;
constexpr unsigned kEscKey = 0x1B;
constexpr unsigned kBackspaceKey = 8;
// Mouse buttons, with INKEY /M.
constexpr unsigned kLeftButton = kExtendedKey + 0xF0, kRightButton = kExtendedKey + 0x1F1,
                   kMiddleButton = kExtendedKey + 0x1F2;

// Keys that only change the state of others: shift, control, alt, the
// lock keys and the Windows keys.
bool IsModifierKey(WORD vk) {
    return vk == 12 || (vk >= 16 && vk <= 20) || vk == 91 || vk == 92 || vk == 144 || vk == 145 ||
           (vk >= 160 && vk <= 165) || vk == 252 || vk == 255;
}

// The extended value of a key without a character.  Function keys get the
// classic codes of their plain, Shift, Ctrl and Alt forms; Ctrl with the
// cursor block gets its own codes as well; others give their scan code.
unsigned ExtendedValue(const KEY_EVENT_RECORD &k) {
    const DWORD state = k.dwControlKeyState;
    const bool shift = state & SHIFT_PRESSED, ctrl = state & (LEFT_CTRL_PRESSED | RIGHT_CTRL_PRESSED),
               alt = state & (LEFT_ALT_PRESSED | RIGHT_ALT_PRESSED);
    const WORD vk = k.wVirtualKeyCode;
    if (vk >= VK_F1 && vk <= VK_F10) {
        unsigned n = vk - VK_F1;
        return kExtendedKey + (alt ? 104 : ctrl ? 94 : shift ? 84 : 59) + n;
    }
    if (vk == VK_F11 || vk == VK_F12) {
        unsigned n = vk - VK_F11;
        return kExtendedKey + (alt ? 139 : ctrl ? 137 : shift ? 135 : 133) + n;
    }
    if (ctrl) {
        switch (vk) {
        case VK_LEFT: return kExtendedKey + 115;
        case VK_RIGHT: return kExtendedKey + 116;
        case VK_END: return kExtendedKey + 117;
        case VK_NEXT: return kExtendedKey + 118;
        case VK_HOME: return kExtendedKey + 119;
        case VK_PRIOR: return kExtendedKey + 132;
        }
    }
    return kExtendedKey + k.wVirtualScanCode;
}

// The value of a key press, or 0 for one that gives nothing.
unsigned KeyValue(const KEY_EVENT_RECORD &k) {
    if (IsModifierKey(k.wVirtualKeyCode)) return 0;
    wchar_t c = k.uChar.UnicodeChar;
    const DWORD state = k.dwControlKeyState;
    bool alt = state & (LEFT_ALT_PRESSED | RIGHT_ALT_PRESSED), ctrl = state & (LEFT_CTRL_PRESSED | RIGHT_CTRL_PRESSED);
    if (c == L'\r' || k.wVirtualKeyCode == VK_RETURN) return kEnterKey;
    if (c && alt && !ctrl) return kExtendedKey + k.wVirtualScanCode;  // Alt+letter
    return c ? c : ExtendedValue(k);
}

unsigned MouseValue(const MOUSE_EVENT_RECORD &m) {
    if (m.dwEventFlags != 0) return 0;  // moves, wheels and double clicks
    if (m.dwButtonState & FROM_LEFT_1ST_BUTTON_PRESSED) return kLeftButton;
    if (m.dwButtonState & RIGHTMOST_BUTTON_PRESSED) return kRightButton;
    if (m.dwButtonState & FROM_LEFT_2ND_BUTTON_PRESSED) return kMiddleButton;
    return 0;
}

// Read one key from the console, waiting alertably in short steps until
// the deadline (a tick count; 0 waits for ever).  Returns 0 at the
// deadline or when the console can't be read.  Ctrl+C read as a key is
// delivered as a break.
unsigned ReadConsoleKey(HANDLE in, ULONGLONG deadline, bool mouse) {
    DWORD savedMode = 0;
    GetConsoleMode(in, &savedMode);
    DWORD mode = (savedMode | ENABLE_PROCESSED_INPUT) & ~(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT);
    if (mouse) mode = (mode | ENABLE_MOUSE_INPUT | ENABLE_EXTENDED_FLAGS) & ~ENABLE_QUICK_EDIT_MODE;
    SetConsoleMode(in, mode);
    unsigned key = 0;
    for (;;) {
        CheckBreak();
        ULONGLONG now = GetTickCount64();
        if (deadline && now >= deadline) break;
        DWORD step = deadline ? (DWORD)(deadline - now < 50 ? deadline - now : 50) : 50;
        DWORD wait = WaitForSingleObjectEx(in, step, TRUE);
        if (wait == WAIT_IO_COMPLETION || wait == WAIT_TIMEOUT) {
            tty_yield(0);
            continue;
        }
        INPUT_RECORD record;
        DWORD got = 0;
        if (wait != WAIT_OBJECT_0 || !ReadConsoleInputW(in, &record, 1, &got) || !got) break;
        if (record.EventType == MOUSE_EVENT && mouse && (key = MouseValue(record.Event.MouseEvent))) break;
        if (record.EventType != KEY_EVENT || !record.Event.KeyEvent.bKeyDown) continue;
        if (record.Event.KeyEvent.uChar.UnicodeChar == 3) {
            SetConsoleMode(in, savedMode);
            BreakHandler(1);
            SetConsoleMode(in, mode);
            continue;
        }
        if ((key = KeyValue(record.Event.KeyEvent))) break;
    }
    SetConsoleMode(in, savedMode);
    return key;
}

// Is a real key press waiting on the console?
bool QueryKeyWaiting(HANDLE in) {
    DWORD count = 0;
    if (!GetNumberOfConsoleInputEvents(in, &count) || !count) return false;
    std::vector<INPUT_RECORD> records(count);
    DWORD got = 0;
    if (!PeekConsoleInputW(in, records.data(), count, &got)) return false;
    for (DWORD i = 0; i < got; i++) {
        const INPUT_RECORD &r = records[i];
        if (r.EventType == KEY_EVENT && r.Event.KeyEvent.bKeyDown && KeyValue(r.Event.KeyEvent)) return true;
    }
    return false;
}

// One character from a redirected standard input; 0 at its end.  A line
// end (CR, LF or CR LF) is one Enter.  The LF of a CR LF is taken at once
// from a file; from a pipe, which can't be read ahead, the next read drops it.
unsigned ReadStreamKey(HANDLE in) {
    static bool afterCR = false;
    for (;;) {
        unsigned char byte = 0;
        DWORD got = 0;
        if (!ReadFile(in, &byte, 1, &got, nullptr) || !got) return 0;
        bool skip = afterCR && byte == '\n';
        afterCR = byte == '\r';
        if (skip) continue;
        if (byte == '\r' && GetFileType(in) == FILE_TYPE_DISK) {
            unsigned char next = 0;
            afterCR = false;
            if (ReadFile(in, &next, 1, &got, nullptr) && got && next != '\n') {
                LARGE_INTEGER back;
                back.QuadPart = -1;
                SetFilePointerEx(in, back, nullptr, FILE_CURRENT);
            }
        }
        if (byte == '\r' || byte == '\n') return kEnterKey;
        if (byte < 0x80) return byte;
        CString c = FromCodePage((const char *)&byte, 1, GetTLS()->nOutputEncoding == 2 ? CP_UTF8 : GetACP());
        return c.empty() ? byte : c[0];
    }
}

}  // namespace

// ---- DELAY ----

namespace {

// Sleep for ms milliseconds in alertable steps, answering breaks and
// giving window messages a turn.  With stopOnKey a waiting key ends it.
void SysWait(ULONGLONG ms, DWORD step, bool stopOnKey) {
    HANDLE in = StdIn();
    bool console = stopOnKey && QueryIsConsole(in);
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        CheckBreak();
        ULONGLONG spent = GetTickCount64() - start;
        if (spent >= ms) break;
        if (console && QueryKeyWaiting(in)) break;
        SleepEx(ms - spent < step ? (DWORD)(ms - spent) : step, TRUE);
        tty_yield(0);
    }
}

ULONGLONG LocalTimeStamp(const SYSTEMTIME &t) {
    FILETIME f;
    if (!SystemTimeToFileTime(&t, &f)) return 0;
    return ((ULONGLONG)f.dwHighDateTime << 32) | f.dwLowDateTime;
}

// Wait for a local time, comparing every 100 ms.
void WaitUntil(const SYSTEMTIME &when, bool stopOnKey) {
    const ULONGLONG target = LocalTimeStamp(when);
    HANDLE in = StdIn();
    bool console = stopOnKey && QueryIsConsole(in);
    for (;;) {
        CheckBreak();
        SYSTEMTIME now;
        GetLocalTime(&now);
        if (LocalTimeStamp(now) >= target) break;
        if (console && QueryKeyWaiting(in)) break;
        SleepEx(100, TRUE);
        tty_yield(0);
    }
}

}  // namespace

// The moment of DELAY UNTIL: "yyyymmdd[ hhmmss]", a time alone ("h:m[:s]",
// today), or a date and a time ("date[ time]", fields split by any one
// character).  Returns 0 or the error code.
int ParseDelayMoment(const CString &text, SYSTEMTIME *when) {
    GetLocalTime(when);
    when->wMilliseconds = 0;
    unsigned f[6] = {0, 0, 0, 0, 0, 0};
    bool timeOnly = text.find_first_of(L"/-") == CString::npos && text.find(L':') != CString::npos;
    if (timeOnly) {
        if (Sscanf(text, L"%u%*1s%u%*1s%u", &f[3], &f[4], &f[5]) < 2) return ERROR_BD_INVALID_TIME;
    } else if (text.find_first_of(L"/:-") == CString::npos) {
        if (Sscanf(text, L"%4u%2u%2u%*[ ,\t]%2u%2u%2u", &f[0], &f[1], &f[2], &f[3], &f[4], &f[5]) < 3)
            return ERROR_BD_INVALID_DATE;
        when->wYear = (WORD)f[0], when->wMonth = (WORD)f[1], when->wDay = (WORD)f[2];
    } else {
        int y, m, d, seconds = 0;
        const wchar_t *end;
        if (ParseDate(text.c_str(), 0, &y, &m, &d, &end)) return ERROR_BD_INVALID_DATE;
        when->wYear = (WORD)y, when->wMonth = (WORD)m, when->wDay = (WORD)d;
        end += wcsspn(end, L" ,=");
        if (*end && ParseTimeOfDay(end, &seconds)) return ERROR_BD_INVALID_TIME;
        f[3] = seconds / 3600, f[4] = seconds / 60 % 60, f[5] = seconds % 60;
    }
    if (when->wYear < 1601 || when->wYear > 30827 || when->wDay < 1 || when->wDay > DaysInMonth(when->wYear, when->wMonth))
        return ERROR_BD_INVALID_DATE;
    if (f[3] > 23 || f[4] > 59 || f[5] > 59) return ERROR_BD_INVALID_TIME;
    when->wHour = (WORD)f[3], when->wMinute = (WORD)f[4], when->wSecond = (WORD)f[5];
    return 0;
}

namespace {

// A count word: seconds (milliseconds with /M), or "h:m:s" / "m:s".
// Returns false when it is neither.
bool ParseDelayCount(const CString &word, bool milliseconds, ULONGLONG *ms) {
    if (word.find(L':') != CString::npos) {
        int h = 0, m = 0, s = 0, used = 0;
        size_t colons = std::count(word.begin(), word.end(), L':');
        // %n counts among the fields read
        if (colons == 1 && Sscanf(word, L"%d:%d%n", &m, &s, &used) != 3) return false;
        if (colons == 2 && Sscanf(word, L"%d:%d:%d%n", &h, &m, &s, &used) != 4) return false;
        if (colons > 2 || used != word.GetLength()) return false;
        if (h < 0 || m < 0 || s < 0) return false;
        *ms = ((ULONGLONG)h * 3600 + (ULONGLONG)m * 60 + (ULONGLONG)s) * 1000;
        return true;
    }
    if (!iswdigit(word.At(0))) return false;
    unsigned long long count = 0;
    Sscanf(word, L"%I64u", &count);
    const ULONGLONG limit = ~0ULL / 1000;
    *ms = milliseconds ? count : count > limit ? ~0ULL : count * 1000;
    return true;
}

}  // namespace

// The text behind the word UNTIL, cut from args with the word; empty when
// there is no UNTIL.  The moment may hold "/", which must not be taken for
// switches.
CString CutUntil(CString &args) {
    CString word;
    int start = -1;
    for (int i = 0; GetNthArgument(args.c_str(), i, &word, &start); i++) {
        if (!word.EqualsNoCase(L"until")) continue;
        CString moment = args.Mid(start + word.size());
        moment.Trim();
        args.Truncate(start);
        return moment.empty() ? CString(L" ") : moment;
    }
    return CString();
}

// DELAY [/B /F /M] [count | h:m:s | UNTIL moment]
int Delay_Command(CString &args) {
    CString moment = CutUntil(args);
    unsigned mask = 0;
    if (GetSwitches(args, L"BMF", &mask, 0, nullptr)) return 2;
    const bool stopOnKey = mask & 1, milliseconds = mask & 2, flush = mask & 4;
    ULONGLONG ms = milliseconds ? 1 : 1000;
    CString word;
    for (int i = 0; GetNthArgument(args.c_str(), i, &word); i++)
        if (!ParseDelayCount(word, milliseconds, &ms)) return BDError(ERROR_INVALID_PARAMETER, word.c_str());
    if (!moment.empty()) {
        SYSTEMTIME when;
        moment.Trim();
        if (int rc = ParseDelayMoment(moment, &when)) return BDError(rc, moment.c_str());
        WaitUntil(when, stopOnKey);
    } else {
        SysWait(ms, milliseconds ? 1 : 10, stopOnKey);
    }
    if (flush && QueryIsConsole(StdIn())) EatKeystrokes();
    return 0;
}

// ---- PAUSE, INKEY and INPUT ----

namespace {

// The switches at the head of the line.  letters lists those the command
// takes; seen those that were given.
struct KeySwitches {
    CString seen;
    CString keys;            // /K"..."
    CString text;            // /E"..."
    unsigned timeout = 0;    // /Wn, seconds
    int maxLength = 0;       // /Lmax[.min]; 0: no limit
    int minLength = 0;
    bool Has(wchar_t c) const { return seen.find(c) != CString::npos; }
};

// Quoted text (or a bare word) behind a switch letter.
CString TakeSwitchText(const CString &args, size_t &i) {
    size_t start = i, end;
    if (args.At(i) == L'"') {
        end = args.find(L'"', i + 1);
        if (end == CString::npos) end = args.size();
        i = end < args.size() ? end + 1 : end;
        return args.Mid(start + 1, end - start - 1);
    }
    while (i < args.size() && !QueryIsWhiteSpace(args[i])) i++;
    return args.Mid(start, i - start);
}

unsigned TakeSwitchNumber(const CString &args, size_t &i) {
    unsigned value = 0;
    for (; iswdigit(args.At(i)); i++) value = value < 100000000 ? value * 10 + (args[i] - L'0') : value;
    return value;
}

void TakeSwitchValue(const CString &args, size_t &i, wchar_t letter, KeySwitches *sw) {
    switch (letter) {
    case L'K': sw->keys = TakeSwitchText(args, i); break;
    case L'E': sw->text = TakeSwitchText(args, i); break;
    case L'W': sw->timeout = TakeSwitchNumber(args, i); break;
    case L'L':
        sw->maxLength = (int)TakeSwitchNumber(args, i);
        if (args.At(i) == L'.') sw->minLength = (int)TakeSwitchNumber(args, ++i);
        break;
    }
}

// Read the switches at the head of args, one after another, and remove
// them.  Several letters without values may share one switch character.
int ReadHeadSwitches(CString &args, const wchar_t *letters, KeySwitches *sw) {
    size_t i = 0;
    for (;;) {
        while (QueryIsWhiteSpace(args.At(i))) i++;
        if (args.At(i) != SwitchCharValue()) break;
        size_t word = i++;
        do {
            wchar_t c = ToUpperChar(args.At(i));
            if (c == L' ' || !wcschr(letters, c)) {
                size_t end = word;
                while (end < args.size() && !QueryIsWhiteSpace(args[end])) end++;
                return BDError(ERROR_INVALID_PARAMETER, args.Mid(word, end - word).c_str());
            }
            sw->seen += c;
            TakeSwitchValue(args, ++i, c, sw);
        } while (i < args.size() && !QueryIsWhiteSpace(args[i]) && args[i] != SwitchCharValue());
    }
    args.erase(0, i);
    return 0;
}

// Does the key pass /K and /D?
bool AcceptsKey(const KeySwitches &sw, unsigned key) {
    if (sw.Has(L'D') && !(key >= L'0' && key <= L'9')) return false;
    if (!sw.Has(L'K')) return true;
    if (key >= kExtendedKey) return false;
    return sw.keys.find((wchar_t)key) != CString::npos || sw.keys.find(ToLowerChar((wchar_t)key)) != CString::npos ||
           sw.keys.find(ToUpperChar((wchar_t)key)) != CString::npos;
}

ULONGLONG Deadline(const KeySwitches &sw) { return sw.Has(L'W') ? GetTickCount64() + sw.timeout * 1000ULL + 1 : 0; }

// INKEY's key: the first that passes the filters, or 0 at the timeout or
// the end of the input.
unsigned GetAcceptedKey(const KeySwitches &sw, HANDLE in, bool console) {
    const ULONGLONG deadline = Deadline(sw);
    for (;;) {
        unsigned key = console ? ReadConsoleKey(in, deadline, sw.Has(L'M')) : ReadStreamKey(in);
        if (!key || AcceptsKey(sw, key)) return key;
        if (console) honk();
    }
}

void Backspace(const KeySwitches &sw, CString &line, size_t count) {
    for (; count && !line.empty(); count--) {
        line.pop_back();
        if (!sw.Has(L'P')) QPuts(L"\b \b");
    }
}

// INPUT's line at the console, starting from the /E text.  Only the first
// key has the timeout.  Returns false at the timeout.
bool EditInputLine(const KeySwitches &sw, HANDLE in, CString &line) {
    line = sw.text;
    if (sw.maxLength > 0) line.Truncate(sw.maxLength);
    if (!sw.Has(L'P')) QPuts(line.c_str());
    ULONGLONG deadline = Deadline(sw);
    for (;;) {
        unsigned key = ReadConsoleKey(in, deadline, false);
        if (!key) return false;
        deadline = 0;
        if (key == kEnterKey && (int)line.size() >= sw.minLength) return true;
        if (key == kBackspaceKey || key == kEscKey) {
            Backspace(sw, line, key == kEscKey ? line.size() : 1);
            continue;
        }
        bool full = sw.maxLength > 0 && (int)line.size() >= sw.maxLength;
        if (key < 32 || key >= kExtendedKey || full || !AcceptsKey(sw, key)) {
            honk();
            continue;
        }
        line += (wchar_t)key;
        if (!sw.Has(L'P')) QPutc(StdOut(), (wchar_t)key);
        if (sw.Has(L'N') && sw.maxLength > 0 && (int)line.size() >= sw.maxLength) return true;
    }
}

// INPUT's line from a redirected standard input; false at its end.
bool ReadInputLine(const KeySwitches &sw, HANDLE in, CString &line) {
    if (!GetNextLine(in, line, 0, nullptr, MAX_LINE_CHARS)) return false;
    if (sw.maxLength > 0) line.Truncate(sw.maxLength);
    return true;
}

CString KeyText(unsigned key) {
    return key >= kExtendedKey ? FormatStr(L"@%u", key - kExtendedKey) : FormatStr(L"%c", (wchar_t)key);
}

// An empty value leaves the variable as it was.
int StoreAnswer(const CString &name, const CString &value) {
    if (value.empty()) return 0;
    if (!SetEnvironmentVariableW(name.c_str(), value.c_str())) return BDError(0, name.c_str());
    return 0;
}

// The prompt and the variable's name (the last word, without leading "%").
bool SplitPrompt(const CString &args, CString &prompt, CString &name) {
    int count = 0, start = -1;
    while (GetNthArgument(args.c_str(), count)) count++;
    if (!count || !GetNthArgument(args.c_str(), count - 1, &name, &start)) return false;
    prompt = args.Left(start);
    name.TrimLeft(L"%");
    return !name.empty();
}

// INKEY (mode 0) and INPUT (mode 1).  Result 0 for an answer, 1 when the
// wait timed out or the input ended without one.
int GetUserInput(CString &args, int mode) {
    KeySwitches sw;
    if (ReadHeadSwitches(args, mode ? L"CKPWEXNLD" : L"CKPW X  DM", &sw)) return 2;
    CString prompt, name;
    if (!SplitPrompt(args, prompt, name)) return BDError(ERROR_INVALID_PARAMETER, nullptr);
    HANDLE in = StdIn();
    const bool console = QueryIsConsole(in);
    if (console && sw.Has(L'C')) EatKeystrokes();
    QPuts(prompt.c_str());
    CString answer;
    bool answered;
    if (mode == 0) {
        unsigned key = GetAcceptedKey(sw, in, console);
        answered = key != 0;
        if (answered) answer = KeyText(key);
        if (console && answered && !sw.Has(L'P') && key >= 32 && key < kExtendedKey) QPutc(StdOut(), (wchar_t)key);
    } else {
        answered = console ? EditInputLine(sw, in, answer) : ReadInputLine(sw, in, answer);
        if (!answered && console) answer = sw.text;
    }
    if (!sw.Has(L'X')) CrLf();
    int rc = StoreAnswer(name, answer);
    return rc ? rc : answered ? 0 : 1;
}

}  // namespace

int Inkey_Command(CString &args) { return GetUserInput(args, 0); }

int Input_Command(CString &args) { return GetUserInput(args, 1); }

// PAUSE [/C] [/Wn] [text]
int Pause_Command(CString &args) {
    KeySwitches sw;
    if (ReadHeadSwitches(args, L"CW", &sw)) return 2;
    CString text = args;
    text.Trim();
    if (text.empty()) text = LoadLanguageString(IDS_PRESS_ANY_KEY);
    HANDLE out = QueryIsConsole(StdOut()) ? StdOut() : StdErr();
    Qprintf(out, L"%s", text.c_str());
    HANDLE in = StdIn();
    if (QueryIsConsole(in)) ReadConsoleKey(in, Deadline(sw), false);
    else ReadStreamKey(in);
    if (sw.Has(L'C')) Qprintf(out, L"\r%s \r", CString(text.size(), L' ').c_str());
    else Qprintf(out, L"\r\n");
    return 0;
}
