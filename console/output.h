// The printing family.  Everything the shell prints is formatted into a
// CString and handed to wwriteXP, the single writer.
#pragma once
#include "core/bdx.h"

int wwriteXP(HANDLE handle, const wchar_t *text, int length);
int Qprintf(HANDLE handle, const wchar_t *format, ...);
int VQprintf(HANDLE handle, const wchar_t *format, va_list args);
int Printf(const wchar_t *format, ...);
int QPuts(const wchar_t *text);
int CrLf();
int QPutc(HANDLE handle, wchar_t c);
// Write text (already formatted) to a handle, testing the break flag first.
int QWrite(HANDLE handle, const CString &text);
