// The program's own scan and print dialects.  They differ from the C
// library's on purpose (see format.cpp); every caller relies on that.
#pragma once
#include <cstdarg>
#include "base/cstring.h"

int Sscanf(const wchar_t *text, const wchar_t *format, ...);
int VSscanf(const wchar_t *text, const wchar_t *format, va_list args);

// Format into a growing string; returns the number of characters.
int FormatV(CString &out, const wchar_t *format, va_list args);
int FormatS(CString &out, const wchar_t *format, ...);
CString FormatStr(const wchar_t *format, ...);
// Buffer form: the caller's buffer must hold the result.
int Sprintf(wchar_t *buffer, const wchar_t *format, ...);
