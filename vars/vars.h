// Variables and functions as the other layers use them: alias expansion
// and variable expansion of a command line.  The named lists, the
// evaluator and regular expressions offer theirs in vars/lists.h,
// vars/eval.h and vars/regex.h.
#pragma once
#include "base/cstring.h"

// Replace the first word of the line when it is an alias (and so on for
// the aliases that the value starts with).  0, or the error already
// reported.
int ExpandAliases(CString &line);
// Expand the variables, functions and internal variables of the line's
// first command.  nested: nonzero for a text that is no command line of
// its own (a bracketed form, a word of a test, a prompt): the whole text
// is expanded and the command word is not looked at again.  0, or the
// error already reported.
int VariableExpansion(CString &line, int nested);
