// The printing family.  Everything the shell prints is formatted into a
// CString and handed to wwriteXP, the single writer: a console gets UTF-16
// through WriteConsoleW, a file or pipe gets bytes in the thread's output
// encoding (nOutputEncoding: 0 output code page, 1 ANSI, 2 UTF-8, 3 UTF-16).
#pragma once
#include "core/bdx.h"

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

// Paging of listing commands.  StartPaging at the start of the listing
// (on: pause each screenful; timeout: seconds a pause waits, 0 for ever);
// PagePause after each line printed.  Esc at the pause leaves through
// BreakOut(3); the "all" key turns pausing off for the rest of the listing.
void StartPaging(bool on, int timeout);
void PagePause();
