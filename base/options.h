// The option block: every setting of the shell lives in aIniFile, one
// field per row of options.def.  The ini engine (config/) fills and writes
// it; everything else reads it here, at each use, since OPTION and SETDOS
// may change any field between two commands.
#pragma once
#include <climits>

enum OptionType {
    OPT_CHAR = 0, OPT_INT = 1, OPT_UINT = 2, OPT_CHOICE = 3, OPT_COLOR = 4,
    OPT_STRING = 5, OPT_PATH = 6, OPT_SECRET = 7, OPT_INCLUDE = 8,
};

template <int T> struct OptionStorage { using type = int; };
template <> struct OptionStorage<OPT_CHAR> { using type = wchar_t; };
template <> struct OptionStorage<OPT_UINT> { using type = unsigned; };
template <> struct OptionStorage<OPT_COLOR> { using type = unsigned; };
template <> struct OptionStorage<OPT_STRING> { using type = wchar_t *; };
template <> struct OptionStorage<OPT_PATH> { using type = wchar_t *; };
template <> struct OptionStorage<OPT_SECRET> { using type = wchar_t *; };

struct INIFILE {
    unsigned nSectionMask;      // bits of the sections seen in the file
    unsigned ParseFlags;        // SETDOS /X switches: a set bit turns a feature off
    wchar_t cBootDrive;
    int nVersion;               // 43 in a block that a nested shell may inherit
    int nSignature;             // 19928, likewise
    int nSecondary;             // nesting level; nonzero in a secondary shell
    int fLoaded;                // an ini file has been processed
    int fEditInsert;            // line editor starts in insert mode
#define BD_OPTION(name, field, kind, def, lo, hi, choices, pflags) OptionStorage<kind>::type field;
#include "base/options.def"
#undef BD_OPTION
};

extern INIFILE aIniFile;

// The special characters, read from the block at each use.
inline wchar_t CommandSepChar() { return aIniFile.CommandSep ? aIniFile.CommandSep : L'&'; }
inline wchar_t EscapeCharValue() { return aIniFile.EscapeChar ? aIniFile.EscapeChar : L'^'; }
inline wchar_t SwitchCharValue() { return aIniFile.SwitchChar ? aIniFile.SwitchChar : L'/'; }
inline wchar_t ParameterCharValue() { return aIniFile.ParameterChar ? aIniFile.ParameterChar : L'$'; }
inline unsigned ParseFlagsValue() { return aIniFile.ParseFlags; }

// ParseFlags bits (SETDOS /X): a set bit turns a feature off.
enum : unsigned {
    PF_NO_ALIASES = 0x01, PF_NO_NESTED_ALIASES = 0x02, PF_NO_VARIABLES = 0x04,
    PF_NO_NESTED_VARIABLES = 0x08, PF_NO_COMPOUND = 0x10, PF_NO_REDIRECTION = 0x20,
    PF_NO_QUOTES = 0x40, PF_NO_ESCAPES = 0x80, PF_NO_INCLUDE_LISTS = 0x100,
    PF_NO_FUNCTION_SKIP = 0x200,
};
