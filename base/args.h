// The argument scanner: the one set of rules by which every command line is
// cut into commands, arguments and switches.
#pragma once
#include <cstdint>
#include <vector>
#include "base/cstring.h"
#include "base/platform.h"

struct FILESEARCH;

// scan() result after an error has been reported.
#define SCAN_ERROR ((const wchar_t *)(intptr_t)-1)

// Walk text under the rules of quotes, brackets and escapes.
//   stops null: stop at a compound-command separator;
//   stops "":   no stops, and no error for an unclosed quote;
//   otherwise:  stop at any character of stops.
// Returns the stop position, the terminator, or SCAN_ERROR.
const wchar_t *scan(const wchar_t *text, const wchar_t *stops, const wchar_t *quotes);
// The same as an index into text; -1 after an error.
int ScanIndex(const wchar_t *text, const wchar_t *stops, const wchar_t *quotes);

bool QueryIsWhiteSpace(wchar_t c);
bool QueryIsDelimiter(wchar_t c);
const wchar_t *SkipWhiteSpace(const wchar_t *text);
// The word at the front of text (blanks skipped), at most maxLength long; it
// ends at any of stops, the CommandSep or the SwitchChar.
CString LeadingWord(const wchar_t *text, const wchar_t *stops, size_t maxLength);

// GetNthArgument index options (above the low 11 bits of the index word).
enum : int {
    ARG_INDEX_MASK = 0x7FF,
    ARG_NO_SWITCH_SPLIT = 0x800,
    ARG_NO_BACKQUOTE = 0x1000,
    ARG_BRACKETS = 0x2000,
    ARG_PARENS = 0x4000,
    ARG_APOSTROPHE = 0x8000,
    ARG_NO_COMMA = 0x10000,
    ARG_BACKQUOTE_ONLY = 0x20000,
    ARG_DATE_DELIMITERS = 0x80000,   // NthArgumentEx only
};

// The n-th argument (zero-based, options in the high bits of index).
// Returns 0 when there are too few arguments; *start takes its position.
int GetNthArgument(const wchar_t *line, int index, CString *out, int *start = nullptr);
// Pointer into line at the n-th argument, or null.
const wchar_t *GetNthArgument(const wchar_t *line, int index);
int NthArgumentEx(const wchar_t *line, int index, CString *out, int *start, int options);
int LastArgument(const wchar_t *line, int *index, CString *out, int *start);
wchar_t *NextArgument(wchar_t *text, int n);
CString &NextArgument_S(CString &text, int n);
int GetToken(CString &text, const wchar_t *delimiters, int first, int last);

// ParseArguments flags.
enum : unsigned {
    PA_CONVERT = 0x04, PA_SPLIT = 0x08, PA_CLOSE_BATCH = 0x20,
    PA_NO_EQUALS_DELIMITER = 0x100000,
};
// Prepare (and with PA_SPLIT, split) an argument text in place.
int ParseArguments(int *argc, const wchar_t **argv, const wchar_t *name, wchar_t *text, unsigned flags);
// CString form: prepares text; with PA_SPLIT fills args (args[0] = name).
int ParseArguments_S(CString &text, const wchar_t *name, unsigned flags, std::vector<CString> *args);

// GetSwitches flags.
enum : int {
    SW_STOP_AT_ARG = 0x01, SW_ONE_LETTER = 0x02, SW_KEEP_UNKNOWN = 0x04,
    SW_KEEP_LONG = 0x08, SW_EMPTY_SKIPS = 0x10, SW_FIRST_ONLY = 0x20,
};
int GetSwitches(CString &line, const wchar_t *allowed, unsigned *mask, int flags, FILESEARCH *search);
int GetStringSwitch(CString &line, const wchar_t *name, int flags, CString *rest);
int GetMultiCharSwitch(CString &line, const wchar_t *name, CString *value, int maxLength,
                       const wchar_t *valueSet, int keepGoing, int flags);

// Escapes: the character that an escape character followed by c stands
// for (^n a line feed, ^t a tab, ...; any other c stands for itself), and
// the conversion of every escape pair in a text (unless SETDOS /X has
// escapes off).
wchar_t EscapedCharacter(wchar_t c);
void UnEscapeLine(CString &text);
BD_EXPORT void EscapeLine(wchar_t *text);

void StripQuotes_S(CString &text);
void StripEnclosingQuotes_S(CString &text);
void AddQuotes_S(CString &text);
void IntToAscii(int value, CString *out);
