// The ini engine: the option table (one row per field of the option
// block, from base/options.def), reading ini files, the block that nested
// shells share, and the run-time changes of OPTION and SETDOS.
#pragma once
#include <vector>
#include "base/errors.h"
#include "base/options.h"

struct OPTIONROW {
    const wchar_t *pszName;
    int nType;
    long long nDefault;
    long long nMin, nMax;
    const wchar_t *pszChoices;  // names ended by \0, the list by \0\0
    unsigned fPathFlags;
    size_t nOffset;             // field offset in INIFILE
};

extern const OPTIONROW aOptions[];
extern const int nOptions;

// Set every option to its default.
void IniClear(INIFILE *block);
// The full name of the running program.
CString ProgramFileName();
// Find an option row by name (without case); null when unknown.
const OPTIONROW *FindOption(const wchar_t *name);

// Sections of the ini file and their bits in nSectionMask.  Lines of a
// section whose bit is in the skip mask are not applied.
enum : unsigned {
    INI_SECTION_KEYS = 0x10, INI_SECTION_SECONDARY = 0x20, INI_SECTION_PRIMARY = 0x40,
    INI_SECTION_MAIN = 0x80, INI_SECTION_OTHER = 0x100,
};
// IniLine's result for an Include line (the line then holds the file name).
constexpr int INI_INCLUDE = -1;
// Version and signature words of a block that a nested shell may inherit.
constexpr int INI_VERSION = 43, INI_SIGNATURE = 19928;
// Size of the shared block "Brindle_%x" that a nested shell reads.
constexpr unsigned INI_SHARED_SIZE = 5420;
// Marker of an enciphered secret value in the ini file.
constexpr wchar_t INI_SECRET_MARK = 0x10;

// Further (name, value) settings beside the table, registered at run time
// (by plug-ins and the like).  An unknown name in the file is looked for
// here before it counts as invalid.
struct EXTRAOPTION {
    CString sName;
    CString sValue;
};
extern std::vector<EXTRAOPTION> aExtraOptions;
// Add a name (or set its value when it is there already).
void AddExtraOption(const wchar_t *name, const wchar_t *value);
EXTRAOPTION *FindExtraOption(const wchar_t *name);

// One line of an ini file (or of OPTION //): 0 good, a positive value with
// *error for a bad line, INI_INCLUDE for an include, the negated section
// bit for a section header.  skip: ignore everything but a section header.
// fromOption: an empty value clears a string option.
int IniLine(CString &line, INIFILE *block, int skip, int fromOption, const wchar_t **error);
// Read an ini file into block; lines of sections in skipMask are skipped.
// Bad lines are reported and reading goes on; nonzero only for a file that
// could not be opened (a system error code).
int IniParse(const wchar_t *file, INIFILE *block, unsigned skipMask);
// Return an option to its default; 0 or a positive value with *error.
int IniReset(const wchar_t *name, INIFILE *block, const wchar_t **error);

// Start-up: the block of a parent shell, or the defaults.
void InitializeIniFile();
// Find and read the default ini file, unless one has been loaded.
void DefaultINI(const wchar_t *name);
// Read a named ini file (a leading "@" is skipped) into aIniFile; 0 or the
// system error code of a file that could not be opened.
int ProcessINI(const wchar_t *file);
// Bring the shared block that nested shells read in line with aIniFile.
void SaveIniData();
// The shared block's image: written from a block, and read into one
// (false when the image is not a valid one).
void WriteIniImage(const INIFILE *block, void *view, size_t size);
bool ReadIniImage(const void *view, size_t size, INIFILE *block);

// The value of an option as text: 0, or 87 for an unknown name or an
// include row.  A secret string gives an empty text.
int GetOptionValue(const wchar_t *name, CString &value);
// The same into the caller's buffer of size characters (cut to fit).
BD_EXPORT int QueryOptionValue(const wchar_t *name, wchar_t *value, int size);
// One "//name=value" (or "//name" to reset) setting; 2 on a bad one.
// The front end calls it for each override on its command line.
BD_EXPORT int SetINIDirective(wchar_t *text);

// Secret values in the file: the marker, then the text enciphered with the
// program's fixed key.
CString DecryptString(const wchar_t *text);
CString EncryptString(const wchar_t *text);

// Key names of character options: a character, "Ctrl-x", "Alt-x", "Esc",
// "Enter", "Tab", "Backspace", "Space" and the F-keys with their Shift-,
// Ctrl- and Alt- forms.  Keys without a character of their own are
// 0x100 plus the scan code.  -1 for an unknown name.
int KeyNameValue(const CString &name);
// The name of a key value, for printing an option back ("Ctrl-A", "F5").
CString KeyValueName(int key);
