// wwriteXP and the printing family, and the page pause of the listing
// commands.  A console gets UTF-16 through WriteConsoleW; files and pipes
// get bytes in the thread's output encoding.
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "console/screen.h"
#include <cstdarg>

namespace {

constexpr int kConsoleChunk = 1024;
constexpr int kFileChunk = 61440;

// A break waiting to be delivered: nothing more is written until it is.
bool BreakIsPending() {
    TLS_VARIABLES *tls = GetTLS();
    return tls->fBreakPending && !tls->fSignalsHeld;
}

// Length of the chunk at at: at most chunk characters, and never the first
// half of a surrogate pair, which would be converted on its own.
int ChunkLength(const wchar_t *text, int at, int length, int chunk) {
    int n = length - at < chunk ? length - at : chunk;
    if (at + n < length && n > 1 && IS_HIGH_SURROGATE(text[at + n - 1])) n--;
    return n;
}

// Write all bytes, going round again after a short write.  Returns the
// bytes that went out; a failed write ends it.
DWORD WriteAll(HANDLE h, const void *data, DWORD size) {
    const char *p = static_cast<const char *>(data);
    DWORD total = 0;
    while (total < size) {
        DWORD done = 0;
        if (!WriteFile(h, p + total, size - total, &done, nullptr)) break;
        total += done;
        if (total < size) {
            if (BreakIsPending()) break;
            tty_yield(0);
            Sleep(1);
        }
    }
    return total;
}

// A byte-order mark goes in front of UTF-16 text only at the start of an
// empty disk file, and never in front of text that brings its own.
bool NeedsByteOrderMark(HANDLE h, const wchar_t *text) {
    if (text[0] == 0xFEFF || GetFileType(h) != FILE_TYPE_DISK) return false;
    LARGE_INTEGER zero{}, position{}, size{};
    return SetFilePointerEx(h, zero, &position, FILE_CURRENT) && position.QuadPart == 0 &&
           GetFileSizeEx(h, &size) && size.QuadPart == 0;
}

int WriteEncoded(HANDLE h, const wchar_t *text, int length) {
    int mode = GetTLS()->nOutputEncoding;
    if (mode == 3 && NeedsByteOrderMark(h, text)) {
        wchar_t mark = 0xFEFF;
        if (WriteAll(h, &mark, 2) < 2) return 0;
    }
    unsigned codePage = mode == 2 ? CP_UTF8 : mode == 1 ? GetACP() : OutputCodePage();
    int written = 0;
    for (int at = 0; at < length;) {
        int n = ChunkLength(text, at, length, kFileChunk);
        DWORD wanted, done;
        if (mode == 3) {
            wanted = (DWORD)n * 2;
            done = WriteAll(h, text + at, wanted);
        } else {
            std::string bytes = ToCodePage(text + at, n, codePage);
            wanted = (DWORD)bytes.size();
            done = WriteAll(h, bytes.data(), wanted);
        }
        written += (int)done;
        if (done < wanted) break;
        at += n;
    }
    return written;
}

// With LogAll on, what the shell shows on the console also goes to the
// log: LogAllName, or BDXALL.LOG beside the program.
void LogConsoleText(HANDLE h, const wchar_t *text, int length) {
    if (!aIniFile.LogAll || (h != StdOut() && h != StdErr())) return;
    CString name = aIniFile.LogAllName && *aIniFile.LogAllName ? CString(aIniFile.LogAllName)
                                                               : aGlobals.sExecutablePath + L"BDXALL.LOG";
    AppendLogEntry(name, CString(text, length));
}

int WriteConsoleChunks(HANDLE h, const wchar_t *text, int length) {
    int written = 0;
    for (int at = 0; at < length;) {
        int n = ChunkLength(text, at, length, kConsoleChunk);
        DWORD done = 0;
        if (!WriteConsoleW(h, text + at, (DWORD)n, &done, nullptr)) break;
        written += (int)done;
        at += n;
    }
    return written;
}

// Write formatted text to a handle: in ErrorColors on a console's
// standard error, plainly everywhere else.
void WriteText(HANDLE handle, const CString &text) {
    int colour = (int)aIniFile.ErrorColors;
    if (colour && handle == StdErr() && QueryIsConsole(handle) && ConsoleOutputHandle()) {
        LogConsoleText(handle, text.c_str(), text.GetLength());
        ColorWriteAtCursor(colour, text.c_str(), text.GetLength());
    } else {
        wwriteXP(handle, text.c_str(), text.GetLength());
    }
}

}  // namespace

int wwriteXP(HANDLE handle, const wchar_t *text, int length) {
    if (!text) return 0;
    if (length < 0) length = (int)wcslen(text);
    if (!length || BreakIsPending()) return 0;
    if (QueryIsConsole(handle)) {
        LogConsoleText(handle, text, length);
        return WriteConsoleChunks(handle, text, length);
    }
    return WriteEncoded(handle, text, length);
}

int QWrite(HANDLE handle, const CString &text) {
    CheckBreak();
    return wwriteXP(handle, text.c_str(), text.GetLength());
}

int VQprintf(HANDLE handle, const wchar_t *format, va_list args) {
    CheckBreak();
    CString text;
    FormatV(text, format, args);
    WriteText(handle, text);
    return text.GetLength();
}

int PrintText(HANDLE handle, const CString &text) {
    CheckBreak();
    WriteText(handle, text);
    return text.GetLength();
}

int Qprintf(HANDLE handle, const wchar_t *format, ...) {
    va_list args;
    va_start(args, format);
    int n = VQprintf(handle, format, args);
    va_end(args);
    return n;
}

int Printf(const wchar_t *format, ...) {
    va_list args;
    va_start(args, format);
    int n = VQprintf(StdOut(), format, args);
    va_end(args);
    return n;
}

int ColorPrintf(int attribute, const wchar_t *format, ...) {
    CheckBreak();
    va_list args;
    va_start(args, format);
    CString text;
    FormatV(text, format, args);
    va_end(args);
    if (attribute != -1 && QueryIsConsole(StdOut()) && ConsoleOutputHandle()) {
        LogConsoleText(StdOut(), text.c_str(), text.GetLength());
        ColorWriteAtCursor(attribute, text.c_str(), text.GetLength());
    } else {
        wwriteXP(StdOut(), text.c_str(), text.GetLength());
    }
    return text.GetLength();
}

int QPuts(const wchar_t *text) {
    CheckBreak();
    int length = (int)wcslen(text);
    wwriteXP(StdOut(), text, length);
    return length;
}

int CrLf() { return wwriteXP(StdOut(), L"\r\n", 2); }

int QPutc(HANDLE handle, wchar_t c) { return wwriteXP(handle, &c, 1); }

void tty_yield(int wait) {
    // Each turn costs a trip to the system; without a wait, one turn per
    // 10 ms is enough for queued breaks and window messages, and it keeps
    // tight batch loops fast.
    static thread_local ULONGLONG lastTurn = 0;
    ULONGLONG now = GetTickCount64();
    if (!wait && now - lastTurn < 10) return;
    lastTurn = now;
    SleepEx(0, TRUE);
    MSG msg;
    if (wait && GetMessageW(&msg, nullptr, 0, 0) > 0) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}

namespace {

// The keyboard for the pause: standard input when it is the console, else
// the console's own input; null without a console.
HANDLE PauseKeyboard() {
    if (QueryIsConsole(StdIn())) return StdIn();
    return QueryIsConsole(aGlobals.hConIn) ? aGlobals.hConIn : nullptr;
}

// Shift, Ctrl, Alt and the Windows keys alone are no key press.
bool IsRealKey(const INPUT_RECORD &record) {
    if (record.EventType != KEY_EVENT || !record.Event.KeyEvent.bKeyDown) return false;
    WORD vk = record.Event.KeyEvent.wVirtualKeyCode;
    return record.Event.KeyEvent.uChar.UnicodeChar || vk < 16 || (vk > 18 && (vk < 91 || vk > 93));
}

// Is a key press waiting?  Events that are no key press are taken out of
// the queue on the way.
bool KeyWaiting(HANDLE in) {
    for (;;) {
        INPUT_RECORD record;
        DWORD got = 0;
        if (!PeekConsoleInputW(in, &record, 1, &got) || !got) return false;
        if (IsRealKey(record)) return true;
        ReadConsoleInputW(in, &record, 1, &got);
    }
}

// Wait for a key press, up to seconds (0: for ever).  The wait is
// alertable, so that Ctrl+C is delivered.  false when the time ran out.
bool WaitForKey(HANDLE in, int seconds) {
    ULONGLONG deadline = GetTickCount64() + (ULONGLONG)seconds * 1000;
    while (!KeyWaiting(in)) {
        DWORD wait = 1000;
        if (seconds) {
            ULONGLONG now = GetTickCount64();
            if (now >= deadline) return false;
            wait = (DWORD)(deadline - now < 1000 ? deadline - now : 1000);
        }
        WaitForSingleObjectEx(in, wait, TRUE);
        CheckBreak();
    }
    return true;
}

// The character of the key press that is waiting (Esc is 27).
wchar_t ReadKey(HANDLE in) {
    INPUT_RECORD record;
    DWORD got = 0;
    ReadConsoleInputW(in, &record, 1, &got);
    wchar_t c = record.Event.KeyEvent.uChar.UnicodeChar;
    return c ? c : (record.Event.KeyEvent.wVirtualKeyCode == VK_ESCAPE ? 27 : 0);
}

}  // namespace

void StartPaging(bool on, int timeout) {
    TLS_VARIABLES *tls = GetTLS();
    tls->nPageLength = on && QueryIsConsole(StdOut()) ? GetScrRows() : 0;
    tls->nPageTimeout = timeout;
    tls->nPageLines = 0;
}

void PagePause() {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->nPageLength <= 0 || ++tls->nPageLines < tls->nPageLength) return;
    tls->nPageLines = 0;
    tty_yield(0);
    HANDLE in = PauseKeyboard();
    if (!QueryIsConsole(StdOut()) || !in) return;
    CString message = LoadLanguageString(IDS_PAGE_PAUSE);
    QPuts(message.c_str());
    if (WaitForKey(in, tls->nPageTimeout)) {
        wchar_t key = ReadKey(in);
        if (key == 27) {
            CrLf();
            BreakOut(BREAK_CTRL_C);
        }
        wchar_t all = aGlobals.cAll ? aGlobals.cAll : L'A';
        if (ToUpperChar(key) == ToUpperChar(all)) tls->nPageLength = -1;
    }
    QPuts((L"\r" + CString(message.GetLength(), L' ') + L" \r").c_str());
}
