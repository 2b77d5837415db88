// Pieces of the command-line engine shared by command.cpp and execute.cpp.
#pragma once
#include "base/cstring.h"

// The IFF and DO skip filters: nonzero means the command is skipped.
int FilterIffBlock(CString &line);
int FilterDoBlock(CString &line, int *result);
