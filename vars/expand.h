// Variable expansion: the entry points besides VariableExpansion (which
// vars/vars.h offers to the other layers), and the stores that expansion
// reads and other commands fill: FOR variables and GOSUB local parameters.
#pragma once
#include "base/cstring.h"

// The %= (escape character) and %+ (command separator) pass, when the
// option ExpandPseudovariables is on.  0 or the error already reported.
int ExpandPseudoVariables(CString &line);

// FOR variables.  A one-character name lives in the process environment
// under the character 0x0001 followed by the name; an empty value is
// stored as the single character 0x7FFF.  A longer name is a plain
// environment variable.
constexpr wchar_t FOR_VARIABLE_PREFIX = 0x0001;
constexpr wchar_t FOR_EMPTY_VALUE = 0x7FFF;
CString ForVariableName(const wchar_t *name);
int SetForVariable(const wchar_t *name, const wchar_t *value);
// The value of the one-character FOR variable c; false when none exists.
// value may be null to test only.
bool QueryForVariable(wchar_t c, CString *value);
void DeleteForVariable(const wchar_t *name);

// GOSUB local parameters live in the environment under two prefix
// characters: the batch frame index plus 1 and the frame's GOSUB variable
// level plus 1.  An empty value is stored as the single character 0x0001.
constexpr wchar_t GOSUB_EMPTY_VALUE = 0x0001;
CString GosubVariableName(const wchar_t *name);
