// Helpers shared by the files of the ini engine: reaching a row's field in
// a block, and the owned strings of the string-type rows.
#pragma once
#include <cwchar>
#include "base/options.h"
#include "config/config.h"

template <typename T> T &OptionField(INIFILE *block, const OPTIONROW &row) {
    return *reinterpret_cast<T *>(reinterpret_cast<char *>(block) + row.nOffset);
}
template <typename T> const T &OptionField(const INIFILE *block, const OPTIONROW &row) {
    return *reinterpret_cast<const T *>(reinterpret_cast<const char *>(block) + row.nOffset);
}

inline bool IsStringType(int type) { return type == OPT_STRING || type == OPT_PATH || type == OPT_SECRET; }

// Replace a string row's value; an empty text stores null, so that a stored
// string is never empty.
void SetStringOption(INIFILE *block, const OPTIONROW &row, const wchar_t *text);

// Index of a choice name in a row's list (case ignored), or -1; and the
// name of an index.
int ChoiceIndex(const OPTIONROW &row, const wchar_t *value);
const wchar_t *ChoiceName(const OPTIONROW &row, int index);

// One row back to its default.
void ResetOption(INIFILE *block, const OPTIONROW &row);
// A deep copy of a block (to's strings are freed first), and the freeing
// of a block's strings, for working on a scratch copy.
void CopyIniBlock(INIFILE *to, const INIFILE *from);
void FreeIniStrings(INIFILE *block);

// A value that is one double-quoted stretch loses its quotes.
void StripValueQuotes(CString &value);
