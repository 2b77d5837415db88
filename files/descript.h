// File descriptions: the text that a directory's description file (option
// DescriptionName, default DESCRIPT.ION) holds for a name.
#pragma once
#include "base/cstring.h"

// The name of the description file.
CString QueryDescriptionName();
// The description of file (a name with its path) into text, which is empty
// when there is none.  Returns 0 or a system error code of the read.
int ReadDescriptions(const wchar_t *file, CString &text);
