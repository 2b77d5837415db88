// The console layer: the printing family, line and key input, the prompt,
// the window title and the refusal beep.  The cell layer of the screen is
// in console/screen.h.
//
// Everything the shell prints is formatted into a CString and handed to
// wwriteXP, the single writer: a console gets UTF-16 through WriteConsoleW,
// a file or pipe gets bytes in the thread's output encoding
// (nOutputEncoding: 0 output code page, 1 ANSI, 2 UTF-8, 3 UTF-16).
#pragma once
#include <cstdarg>
#include "base/cstring.h"
#include "base/platform.h"

// Returns what went out: characters for a console, bytes for anything else.
int wwriteXP(HANDLE handle, const wchar_t *text, int length);
int Qprintf(HANDLE handle, const wchar_t *format, ...);
int VQprintf(HANDLE handle, const wchar_t *format, va_list args);
// Standard output; returns the length of the text.
int Printf(const wchar_t *format, ...);
// attribute -1 writes plainly; otherwise a console gets the text in that
// colour at the cursor.
int ColorPrintf(int attribute, const wchar_t *format, ...);
int QPuts(const wchar_t *text);
int CrLf();
int QPutc(HANDLE handle, wchar_t c);
// Write text (already formatted) to a handle, testing the break flag first.
int QWrite(HANDLE handle, const CString &text);
// The same as Qprintf(handle, "%s", text): standard error of a console in
// ErrorColors.  The hook table's pfnWriteText.
int PrintText(HANDLE handle, const CString &text);

// Paging of listing commands.  StartPaging at the start of the listing
// (on: pause each screenful; timeout: seconds a pause waits, 0 for ever);
// PagePause after each line printed.  Esc at the pause leaves through
// BreakOut(BREAK_CTRL_C); the "all" key turns pausing off for the rest of
// the listing.
void StartPaging(bool on, int timeout);
void PagePause();

// Give queued window messages and asynchronous procedures a turn (wait:
// block for the next message first).  Long loops call it.
void tty_yield(int wait);

// GetNextLine's flags.  The low byte goes to the line editor when the
// input is an interactive console; the batch readers pass GNL_RUN for a
// line to execute and GNL_SCAN for a line that is only being scanned.
enum : int {
    GNL_RUN = 0x1,
    GNL_SCAN = 0x2,
    GNL_APPEND = 0x8,           // keep the text already in the line and add to it
    GNL_CONTINUATION = 0x100,   // a further line of a command (group, caret)
    GNL_EDITOR_FLAGS = 0xFF,
    GNL_NO_PIPE_TEST = 0x8000,  // read a pipe like a file
    GNL_UTF16 = 0x10000,
    GNL_UTF8 = 0x20000,
};
// The longest line that the readers take.
constexpr int MAX_LINE_CHARS = 0xFFFF;

// The one line reader for files, pipes, in-memory batch images and the
// console: the number of characters consumed, 0 at the end of the input.
int GetNextLine(HANDLE handle, CString &line, int flags, const wchar_t *prompt, int maxChars);
// The console's line reader.
int egets(CString &line, int maxChars, int flags, const wchar_t *prompt);
// Show the prompt of a variable (PROMPT when null) with its $ codes.
BD_EXPORT int ShowPrompt(const wchar_t *variableName);
// Ask for one key out of allowed (case ignored); returns it in upper case.
int QueryInputChar(const wchar_t *prompt, const wchar_t *allowed);
// Drop everything typed ahead on the console.
void EatKeystrokes();

// The refusal beep, from BeepFreq and BeepLength.
void honk();
// A tone (duration in 1/18 s ticks); a frequency below 37 is a silent
// pause, which answers Ctrl+C.
void SysBeep(unsigned frequency, unsigned ticks);

// The console window's title: text while a command runs, the saved title
// (null text) when none does.
void UpdateTitleAndIcon(const wchar_t *text, int flags);
// The title that the window shows between commands (TITLE sets it).
void SetSavedTitle(const wchar_t *title);

// Make attribute the colour of the text written to the console from now on.
void SetColors(int attribute);

// The characters of a line of box-drawing weight (1 single, 2 double)
// drawn over the cells existing (one character per cell, along the line):
// where the line crosses or ends on other box characters they are joined
// into the matching junction (a single line ending on a double side gives
// the T of those two weights).  Cells with no such junction get the plain
// line character.
CString JoinLine(const CString &existing, bool vertical, int weight);
