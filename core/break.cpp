// Break delivery.  The console control handler runs on a thread of the
// system's; it touches none of the main thread's state and hands every
// event to the main thread as an asynchronous procedure, which runs at the
// main thread's next alertable wait.  The procedure only marks the break as
// pending; the main thread acts on it at a polling point (base/breaks.cpp).
// Close, logoff, shutdown, suspend and resume run the batch file's ON
// handlers the same way.
#include "base/breaks.h"
#include "base/hooks.h"
#include "base/state.h"
#include "core/core.h"

namespace {

// How long a close, logoff or shutdown event waits for the main thread to
// run the batch file's handler; the system ends the process at 5 seconds.
constexpr DWORD kSessionEndWait = 4500;

// A sound opened through the media command interface plays on by itself:
// stop and close it.  The library is loaded only for this.
void CloseMusic() {
    using SendStringFn = DWORD(WINAPI *)(LPCWSTR, LPWSTR, UINT, HWND);
    HMODULE winmm = LoadLibraryW(L"winmm.dll");
    if (!winmm) return;
    auto send = (SendStringFn)(void *)GetProcAddress(winmm, "mciSendStringW");
    if (send) {
        send(L"stop MUSIC", nullptr, 0, nullptr);
        send(L"close MUSIC", nullptr, 0, nullptr);
    }
    FreeLibrary(winmm);
}

// What an interrupt stops at once, before the stack unwinds.
void StopSideEffects(TLS_VARIABLES *tls) {
    if (tls->hKeyboardHook) {
        UnhookWindowsHookEx(tls->hKeyboardHook);
        tls->hKeyboardHook = nullptr;
    }
    if (tls->hChildProcess) TerminateProcess(tls->hChildProcess, 3);
    if (tls->fMusicOpen) {
        CloseMusic();
        tls->fMusicOpen = 0;
    }
}

// A service's process lives on when the user who started the logoff
// leaves: its window station is not the visible, interactive one.
bool OutlivesSession() {
    HWINSTA station = GetProcessWindowStation();
    USEROBJECTFLAGS flags{};
    return station && GetUserObjectInformationW(station, UOI_FLAGS, &flags, sizeof(flags), nullptr) &&
           !(flags.dwFlags & WSF_VISIBLE);
}

// Key releases of modifier keys change nothing anywhere, but wake a
// console reader that waits for input events.
void WakeConsoleReaders() {
    const WORD keys[] = {VK_SHIFT, VK_CONTROL, VK_LSHIFT, VK_RCONTROL};
    INPUT input[4]{};
    for (int i = 0; i < 4; i++) {
        input[i].type = INPUT_KEYBOARD;
        input[i].ki.wVk = keys[i];
        input[i].ki.wScan = (WORD)MapVirtualKeyW(keys[i], MAPVK_VK_TO_VSC);
        input[i].ki.dwFlags = KEYEVENTF_KEYUP;
    }
    SendInput(4, input, sizeof(INPUT));
}

// The asynchronous twin of ResetBreakHandling: it runs after the batch
// file's handler, and tells the waiting control handler that it is done.
void CALLBACK ResetBreakAPC(ULONG_PTR doneEvent) {
    ResetBreakHandling();
    SetEvent((HANDLE)doneEvent);
}

// Close, logoff and shutdown: the batch file's ON CLOSE, ON LOGOFF or
// ON SHUTDOWN runs on the main thread while this thread waits; then the
// system's default handler ends the process.
BOOL EndOfSession(DWORD event) {
    static HANDLE done = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    WakeConsoleReaders();
    aGlobals.nConsoleEvent = event;
    if (!done || !aGlobals.hMainThread) return FALSE;
    ResetEvent(done);
    if (QueueUserAPC(APCOnSessionEnd, aGlobals.hMainThread, event) &&
        QueueUserAPC(ResetBreakAPC, aGlobals.hMainThread, (ULONG_PTR)done))
        WaitForSingleObject(done, kSessionEndWait);
    return FALSE;
}

// Run one of the frame's event commands.  Nothing may be thrown out of an
// asynchronous procedure: the wait it interrupted is in no state to unwind,
// so an interrupt of the handler ends the handler only.
void RunFrameHandler(CString BATCHFRAME::*field) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || (frame->*field).empty()) return;
    CString line = frame->*field;
    try {
        Command_S(line, CMD_ECHO | CMD_DEBUG);
    } catch (...) {
        ResetBreakHandling();
    }
}

}  // namespace

void CALLBACK BreakAPC(ULONG_PTR event) {
    TLS_VARIABLES *tls = GetTLS();
    // In the line editor, Ctrl+C with a selection means "copy".
    if (event == CTRL_C_EVENT && tls->nSelectionStart != -1) {
        tls->fBreakInEdit = 1;
        return;
    }
    StopSideEffects(tls);
    tls->fBreakPending = 1;
}

BOOL WINAPI ConsoleBreakHandler(DWORD event) {
    switch (event) {
    case CTRL_C_EVENT:
    case CTRL_BREAK_EVENT:
        QueueUserAPC(BreakAPC, aGlobals.hMainThread, event);
        return TRUE;
    case CTRL_LOGOFF_EVENT:
        if (OutlivesSession()) return TRUE;
        return EndOfSession(event);
    case CTRL_CLOSE_EVENT:
    case CTRL_SHUTDOWN_EVENT:
        return EndOfSession(event);
    default:
        return FALSE;
    }
}

void CALLBACK APCOnSuspend(ULONG_PTR) { RunFrameHandler(&BATCHFRAME::sOnSuspend); }

void CALLBACK APCOnResume(ULONG_PTR) { RunFrameHandler(&BATCHFRAME::sOnResume); }

void CALLBACK APCOnSessionEnd(ULONG_PTR event) {
    if (event == CTRL_CLOSE_EVENT) RunFrameHandler(&BATCHFRAME::sOnClose);
    else if (event == CTRL_LOGOFF_EVENT) RunFrameHandler(&BATCHFRAME::sOnLogoff);
    else if (event == CTRL_SHUTDOWN_EVENT) RunFrameHandler(&BATCHFRAME::sOnShutdown);
}
