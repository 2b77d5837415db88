// What a file's contents tell about it: the kind of executable.
#pragma once
#include "core/cstring.h"

// Kinds of executable, by their headers.
enum : int {
    EXE_NONE = 0, EXE_DOS = 1, EXE_WIN16 = 2, EXE_OS2 = 3,
    EXE_WIN32_GUI = 6, EXE_WIN32_CUI = 7, EXE_POSIX = 8,
    EXE_WIN64_GUI = 9, EXE_WIN64_CUI = 10, EXE_EFI = 11,
};
// The kind of executable a file is; EXE_NONE for anything else or a file
// that can't be read.
int GetExeType(const wchar_t *fileName);

// Hash kinds of _HashFile.
enum : int { HASH_CRC32 = 1, HASH_CRC32_DECIMAL = 2, HASH_MD5 = 3 };
// The digest of a file's contents: CRC-32 as 8 hexadecimal digits or as a
// decimal number of at least 10 places, or MD5 as 32 hexadecimal digits.
// Returns 0 or a system error code.
int _HashFile(const wchar_t *fileName, int kind, CString *digest);
