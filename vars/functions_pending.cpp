// Until the function table is in place, every %@name[...] is unknown.
#include "vars/functions.h"

int VariableFunction(CString &, CString &) { return 1; }
