// Error reporting and interrupts: the pieces of error.cpp, break.cpp and
// lookup.cpp that other parts of the shell call beyond BDError and
// BreakOut (which every file gets from bdx.h).
#pragma once
#include "core/bdx.h"

// Values thrown by BreakOut.
enum : int {
    BREAK_UNKNOWN_EXCEPTION = 2,
    BREAK_CTRL_C = 3,
    BREAK_ON_ERROR = 0x800,
    BREAK_ON_ERRORMSG = 0x1000,
    BREAK_ON_ERRORLEVEL = 0x2000,
};

// Codes and strings of this part.
enum : int {
    ERROR_BD_LOOKUP_MISSING = 0x200000F9,   // string 3249
    IDS_NO_ERROR_TEXT = 3250,
};

// True for the program's own error codes (their text is a language string).
inline bool IsProgramError(int code) { return code >= ERROR_BD_BASE && code <= 0x3FFFFFFF; }

// The bare text of an error code: the system's message, or the program's
// own string; a code without a text gives "Error n".  No line end.
CString ErrorText(int code, int limit);

// The message of BDError for a code and its argument, with its line end.
// A system code below 1 is taken from GetLastError and stored in nSysError.
CString ErrorMessage(int code, const wchar_t *argument);

// Append one stamped entry (date, time, process id) to a log file, under
// the "BDLogSemaphore" that every shell shares.  Returns 0 or a system code.
int AppendLogEntry(const CString &fileName, const CString &text);

// The error log's file: LogErrorsName, or BDXERR.LOG beside the program.
CString QueryErrorLogName();

BD_EXPORT int error(int code, const wchar_t *argument);
BD_EXPORT int ErrorMsgBox(HWND window, int code, const wchar_t *argument);

// Console control handler, registered at start-up.
BOOL WINAPI ConsoleBreakHandler(DWORD event);
// Deliver an interrupt on this thread (event 0: found by polling; nonzero:
// a Ctrl+C read as a key).  Throws 3 unless signals are held or the line
// editor takes the Ctrl+C as "copy".
void BreakHandler(int event);
// Asynchronous procedures that run on the main thread.
void CALLBACK BreakAPC(ULONG_PTR event);
void CALLBACK APCOnSuspend(ULONG_PTR unused);
void CALLBACK APCOnResume(ULONG_PTR unused);
void CALLBACK APCOnSessionEnd(ULONG_PTR event);

// The beep of BEEP and honk: duration in 1/18 s ticks; a frequency below
// 37 is a silent pause, which answers Ctrl+C.
void SysBeep(unsigned frequency, unsigned ticks);

BD_EXPORT int LookupWindowsErrors(HWND window, const wchar_t *text);
