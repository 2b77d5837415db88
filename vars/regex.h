// Regular expressions (Oniguruma, UTF-16), in the syntax that the
// RegularExpressions option names.
#pragma once
#include "base/cstring.h"

// 1 when pattern matches anywhere in text, 0 when not, -1 after reporting
// a bad pattern.
int RegularExpressionMatch(const CString &pattern, const CString &text);
