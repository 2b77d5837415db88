// Until the internal-variable tables are in place, no %_name has a value.
#include "vars/functions.h"

const wchar_t *InternalVariable(CString &) { return nullptr; }

const wchar_t *CommandCounter(CString &) { return nullptr; }
