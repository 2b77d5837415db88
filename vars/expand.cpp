// Alias and variable expansion entry points.  Command_S calls them at their
// fixed steps; the expansion engines hook in here.
#include "core/bdx.h"

int ExpandAliases(CString &) { return 0; }

int VariableExpansion(CString &, int) { return 0; }
