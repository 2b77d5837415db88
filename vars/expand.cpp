// Alias and variable expansion entry points.  Command_S calls them at their
// fixed steps; the expansion engines hook in here.
#include "core/bdx.h"

int VariableExpansion(CString &, int) { return 0; }
