// Pieces of the screen commands that work on text alone.
#pragma once
#include "base/cstring.h"

// The characters of a line of box-drawing weight (1 single, 2 double)
// drawn over the cells existing (one character per cell, along the line):
// where the line crosses or ends on other box characters they are joined
// into the matching junction (a single line ending on a double side gives
// the T of those two weights).  Cells with no such junction get the plain
// line character.
CString JoinLine(const CString &existing, bool vertical, int weight);
