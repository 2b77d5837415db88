// The state of one file search.  Commands fill it through GetSwitches,
// GetSearchAttributes and GetRange, then enumerate with FindFiles.
#pragma once
#include "base/cstring.h"

enum : unsigned {
    FIND_NO_ERRORS = 0x10000, FIND_ONLY_DIRS = 0x20000, FIND_NO_DIRS = 0x40000,
    FIND_BY_ATTRIBUTES = 0x80000, FIND_USE_RANGES = 0x100000,
    FIND_USE_EXCLUSIONS = 0x200000, FIND_CLOSE_AFTER = 0x400000,
    FIND_NO_DOT_NAMES = 0x1000000, FIND_LITERAL = 0x2000000,
    FIND_NO_LIST_FILE = 0x4000000, FIND_SHORT_NAMES = 0x8000000,
    FIND_NO_REPARSE = 0x10000000, FIND_SORTED = 0x20000000,
};

// The pseudo-bit of the any-of set that stands for a normal file.
constexpr unsigned ATTR_ANY_NORMAL = 0x1000;

struct FILESEARCH {
    unsigned fAttributes = 0;
    unsigned fRequired = 0;     // /A:x   all must be set
    unsigned fForbidden = 0;    // /A:-x  all must be clear
    unsigned fAnyOf = 0;        // /A:+x  at least one must be set
    CString sSortKeys;          // the text after /O:, at most 14 characters
    unsigned fSearchFlags = 0;  // 0x80017 after GetSearchAttributes
};
