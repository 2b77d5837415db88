// Array variables as expansion reads them: the lookup of an array by name
// and of one of its elements.  SETARRAY owns the table.
#pragma once
#include "base/cstring.h"

// The index of the array of that name (without case), or -1.
int QueryArrayVariable(const wchar_t *name);

// The element at indices (count of them as written).  0 with *value set
// (empty for an element never set), or the error code for bad indices:
// the caller reports it with the text of the reference.
int ReadArrayElement(int array, const int *indices, int count, CString *value);
