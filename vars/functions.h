// Variable functions (%@name[...]), internal variables (%_name) and the
// command counters: the entry points that variable expansion calls.
#pragma once
#include "base/cstring.h"

// Results of VariableFunction besides 0 (success, scan the value again),
// -2 (failure already reported), 1 (unknown function), 87 (bad arguments)
// and other error codes.
enum : int {
    FUNC_NO_RESCAN = -6666,      // the value is stored command text: no rescan
    FUNC_USER_RESULT = -6667,    // a user-defined function's value
};

// name: the function's name with its "@"; args: the expanded text between
// the brackets, which receives the value.
int VariableFunction(CString &name, CString &args);

// name: "_name"; on success the value is left in name and a pointer to it
// returned; null when there is no such variable or it has no value.
const wchar_t *InternalVariable(CString &name);
const wchar_t *CommandCounter(CString &name);
