// What a file's contents tell about it: the digests of PDIR.
#pragma once
#include "base/cstring.h"

// Hash kinds of _HashFile.
enum : int { HASH_CRC32 = 1, HASH_CRC32_DECIMAL = 2, HASH_MD5 = 3 };
// The digest of a file's contents: CRC-32 as 8 hexadecimal digits or as a
// decimal number of at least 10 places, or MD5 as 32 hexadecimal digits.
// Returns 0 or a system error code.
int _HashFile(const wchar_t *fileName, int kind, CString *digest);
