// The few path rules that redirection and the launcher need.
// replaced by the file engine's path rules when they land
#pragma once
#include "core/bdx.h"

// True when name now holds a full path (quotes stripped); with quiet 0 a
// failure is reported.
bool CreateFullPathName(CString &name, int quiet);
// A device name: NUL, CON, CLIP:, PRN, AUX, COMn, LPTn, CONIN$, CONOUT$,
// with or without a colon and a \\.\ prefix.
bool QueryIsDevice(const CString &name);
// A new empty file in the directory dir (the current one when empty), its
// name stem from prefix; dir takes the file's full name.  0 or a system code.
int UniqueFileName(CString &dir, const wchar_t *prefix);
