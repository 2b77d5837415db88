// Until the function and internal-variable tables are in place, every
// %@name[...] is an unknown function and no %_name has a value.
#include "vars/functions.h"

int VariableFunction(CString &, CString &) { return 1; }

const wchar_t *InternalVariable(CString &) { return nullptr; }

const wchar_t *CommandCounter(CString &) { return nullptr; }
