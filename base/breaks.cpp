// The break state of a thread and the delivery of an interrupt on it: a
// pending break is acted on at a polling point (CheckBreak: after each
// command, in output, in waits), where BreakHandler unwinds the stack by
// throwing an integer through every Command_S up to the front end's loop
// or to the batch file's ON BREAK.  How a Ctrl+C from the console reaches
// the thread is the execution core's part (core/break.cpp).
#include "base/breaks.h"
#include "base/options.h"
#include "base/state.h"
#include <cwchar>

namespace {

// The cursor of the line editor, from CursorIns and CursorOver: a command
// that was interrupted may have hidden or reshaped it.
void RestoreCursor() {
    if (aIniFile.CursorIns == -1 || aIniFile.CursorOver == -1) return;
    HANDLE out = aGlobals.hConOut;
    CONSOLE_CURSOR_INFO info{};
    if (!out || out == INVALID_HANDLE_VALUE || !GetConsoleCursorInfo(out, &info)) return;
    int size = aIniFile.fEditInsert ? aIniFile.CursorIns : aIniFile.CursorOver;
    if (aIniFile.CursorIns == 0 && aIniFile.CursorOver == 0) {
        info.bVisible = FALSE;
    } else {
        info.bVisible = TRUE;
        info.dwSize = size < 1 ? 1 : size > 100 ? 100 : size;
    }
    SetConsoleCursorInfo(out, &info);
}

// The console modes that the shell runs with: an interrupted child or
// command may have left the console raw (and Ctrl+C unprocessed).
void RestoreConsoleModes() {
    const HANDLE outputs[] = {GetStdHandle(STD_OUTPUT_HANDLE), GetStdHandle(STD_ERROR_HANDLE), aGlobals.hConOut};
    const HANDLE inputs[] = {GetStdHandle(STD_INPUT_HANDLE), aGlobals.hConIn};
    DWORD mode;
    for (HANDLE h : outputs)
        if (h && h != INVALID_HANDLE_VALUE && GetConsoleMode(h, &mode))
            SetConsoleMode(h, (mode & ENABLE_VIRTUAL_TERMINAL_PROCESSING) | 3);
    for (HANDLE h : inputs)
        if (h && h != INVALID_HANDLE_VALUE && GetConsoleMode(h, &mode)) SetConsoleMode(h, (mode & ~0x18u) | 7);
}

void WriteToConsole(const wchar_t *text) {
    HANDLE out = aGlobals.hConOut;
    DWORD mode, done;
    if (out && out != INVALID_HANDLE_VALUE && GetConsoleMode(out, &mode))
        WriteConsoleW(out, text, (DWORD)wcslen(text), &done, nullptr);
}

}  // namespace

void HoldSignals() { GetTLS()->fSignalsHeld = 1; }

void EnableSignals() { GetTLS()->fSignalsHeld = 0; }

void ResetBreakHandling() {
    TLS_VARIABLES *tls = GetTLS();
    tls->fBreakPending = 0;
    tls->fBreakHandled = 0;
}

void BreakOut(int value) {
    RestoreCursor();
    TLS_VARIABLES *tls = GetTLS();
    if (tls->hChildProcess) TerminateProcess(tls->hChildProcess, 3);
    RestoreConsoleModes();
    throw value;
}

void BreakHandler(int event) {
    SleepEx(0, TRUE);
    TLS_VARIABLES *tls = GetTLS();
    if (event && tls->nSelectionStart != -1) {
        tls->fBreakInEdit = 1;
        return;
    }
    if (tls->fSignalsHeld) {
        tls->fBreakPending = 1;
        return;
    }
    tls->fBreakPending = 0;
    tls->nSelectionStart = tls->nSelectionEnd = -1;
    WriteToConsole(L"^C\r\n");
    if (tls->nBatchFrame < 0) {
        tls->bIffState = tls->nIffActive = tls->nIffNested = 0;
        tls->nDoActive = tls->nDoNested = tls->nDoLeave = 0;
    }
    tls->fBreakHandled = 1;
    BreakOut(BREAK_CTRL_C);
}

void CheckBreak() {
    if (GetTLS()->fBreakPending) BreakHandler(0);
}
