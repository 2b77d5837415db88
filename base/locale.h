// Language texts and locale characters: the strings of the language
// module (English.dll and its sisters) by number, and the decimal and
// thousands characters.
#pragma once
#include "base/cstring.h"

// A string of the language module; empty when it has none of that number.
CString LoadLanguageString(int id);

// Language strings that more than one part of the shell uses.
enum : int {
    IDS_NO_ERROR_TEXT = 3250,
    IDS_PRESS_ANY_KEY = 3327,
    IDS_PAGE_PAUSE = 3328,
    IDS_CANCEL_BATCH = 3340,
    IDS_INSERT_BATCH_DISK = 3342,
    IDS_YES_LETTERS = 3390, IDS_NO_LETTERS = 3391, IDS_ALL_LETTERS = 3393,
    IDS_QUERY_KEYS = 3394,
    IDS_LOADBTM_STATE = 3540,
    IDS_MORE_PROMPT = 3542,
    IDS_ECHO_IS = 3545, IDS_ON = 3546, IDS_OFF = 3547,
    IDS_INI_ERROR = 3605,
    IDS_SETDOS_STATE = 3740,
    IDS_USAGE_FIRST = 8102,
};

// The decimal and thousands characters: the options first, then the
// user's locale.
wchar_t QueryDecimalChar();
wchar_t QueryThousandsChar();
