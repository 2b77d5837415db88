// Until SETARRAY and its table are in place no array exists: every name is
// a plain variable name, and no element can be read.
#include "base/errors.h"
#include "vars/arrays.h"

int QueryArrayVariable(const wchar_t *) { return -1; }

int ReadArrayElement(int, const int *, int, CString *) { return ERROR_BD_NOT_AVAILABLE; }
