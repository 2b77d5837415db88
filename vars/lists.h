// Named lists: the packed "name=value" blocks that hold aliases and user
// functions (each private to the process, shared between the user's shells,
// or both), the environment path, read-only names and variable types, and
// the pieces that SET, ALIAS, FUNCTION and their UN... twins share.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

// The two lists that exist in a private and a shared form.
enum : int { LIST_ALIASES = 0, LIST_FUNCTIONS = 1 };

struct NAMEDLIST {
    wchar_t *pLocal;     // private block (virtual memory), or null
    wchar_t *pGlobal;    // view of the user's shared mapping, or null
    HANDLE hMapping;     // the mapping behind pGlobal
};
extern NAMEDLIST aNamedLists[2];

// AddVariableToList's list argument for an array element.
#define ARRAY_ELEMENT_LIST ((wchar_t **)(intptr_t)-1)

// Walkers over a block: entries back to back, an empty entry ends it.
wchar_t *NextListEntry(const wchar_t *entry);
wchar_t *EndOfList(const wchar_t *list);
int GetListSize(const wchar_t *list);
// The bytes a block may use: its virtual region or its mapped view.
size_t QueryListBlockBytes(const wchar_t *block);

// The value of name in list, or null; case is ignored, and in the alias
// lists a "*" in an entry's name marks where abbreviation may begin.
const wchar_t *GetVariableList(const wchar_t *name, const wchar_t *list);
// The name part of an entry, up to its "=".
CString ListEntryName(const wchar_t *entry);

// Local list first, then the global one.  *isLocal says which answered.
const wchar_t *GetAlias(const wchar_t *name, bool *isLocal);
const wchar_t *GetFunction(const wchar_t *name, bool *isLocal);
// The address of the list pointer that a kind's definitions go to when no
// /LL or /GL picks one: the private list when that mode is on, else the
// shared one.  Null when the kind has no list at all.
wchar_t **DefaultList(int kind);

// Define ("name=value") or remove ("name=") an entry.  list null is the
// environment; ARRAY_ELEMENT_LIST an array element; otherwise the address
// of a list pointer (a private list may be moved when it grows).
int AddVariableToList(const wchar_t *entry, wchar_t **list, const wchar_t *type = nullptr);
BD_EXPORT int SetEVariable(const wchar_t *entry);
// The environment path of AddVariableToList (environment.cpp): type checks,
// read-only names and the process environment.
int SetEnvironmentEntry(const wchar_t *entry, const wchar_t *type);
int QueryEnvironmentVariable(const wchar_t *name);

// Start-up (and after a change of the list options).
int InitializeLocalGlobalLists();
// The name of a kind's shared mapping for this user.
CString SharedListName(int kind);
// Attach a kind's global list to the named mapping, creating it with
// chars characters (rounded up to whole pages) when it does not exist.
// The size option takes the mapping's real size.  *created tells which.
int AttachSharedList(int kind, const wchar_t *mappingName, size_t chars, bool *created);
void DetachSharedList(int kind);
// ALIAS /G and /L (and FUNCTION's): move a kind's list between the modes.
int ConvertToGlobalList(int kind);
int ConvertToLocalList(int kind);
// After a change of the options: a shared list that GlobalAliases (or
// GlobalFunctions) asks for and that is not held is joined, as by ALIAS
// /G; a held one that is no longer asked for is left, as by ALIAS /L.
void ReconcileListModes();
// Replace the whole list with a prepared block body (entries and the
// final empty entry), for /Z.
int ReplaceListContents(wchar_t **list, const CString &body);

// Private blocks from virtual memory.
wchar_t *AllocListBlock(size_t bytes);
void FreeListBlock(wchar_t *block);

// The environment as a block of the list form (a copy, double-NUL ended).
CString GetEnvironmentBlock();
// The copy taken at start, for SET /M.
extern CString sMasterEnvironment;
void TakeMasterEnvironment();

// Read-only variables: names that SET and UNSET leave alone silently.
bool QueryIsReadOnly(const wchar_t *name);
void AddReadOnlyName(const wchar_t *name);

// Variable types of SET /T.
struct VARIABLETYPE {
    int nType;           // 0 none ... 7 regex
    CString sName;       // empty: a free row
    CString sExpression; // for regex
};
constexpr int kVariableTypeRows = 200;
extern VARIABLETYPE aVariableTypes[kVariableTypeRows];
// Enter name's row from a "/T" text; reports and returns 2 on a bad one.
int SetVariableType(const CString &name, const wchar_t *typeText);
// The type keyword of name ("int", "regex", ...; "none" without a type).
CString QueryVariableType(const CString &name);
// Whether value is valid for name's type (true when it has none).
bool QueryTypeValid(const CString &name, const CString &value);

// The environment kept in the registry (SET, ESET and UNSET /D /S /U /V).
enum : unsigned {
    REG_ENV_DEFAULT = 0x100, REG_ENV_SYSTEM = 0x200, REG_ENV_USER = 0x400, REG_ENV_VOLATILE = 0x800,
    REG_ENV_KEYS = 0xF00,
    REG_ACTION_LIST = 0x20000, REG_ACTION_LOAD = 0x40000, REG_ACTION_SET = 0x80000,
    REG_ACTION_EDIT = 0x100000, REG_ACTION_DELETE = 0x200000, REG_JOIN_PATH = 0x8000000,
    REG_QUIET = 0x10000000,     // a missing value gives 2 without a message
};
int RegistryEnvironment(unsigned flags, CString &text);
// The predefined key of a registry root name ("HKCU" or
// "HKEY_CURRENT_USER", any case; HKLM, HKCU, HKCR, HKU, HKCC, HKPD) and
// its long name; null when the name is no root.
HKEY QueryRegistryRoot(const CString &name, const wchar_t **longName = nullptr);
// The environment reload after a settings broadcast (SettingChange).
void UpdateEnvironment();
void NoteSettingChange();

// Name patterns: "*" and "?" without case, or a regular expression
// behind "::" (found anywhere in the name).
bool MatchNamePattern(const wchar_t *pattern, const wchar_t *name);

// /R: read definitions from files (or standard input) into list (null:
// the environment).  kind is LIST_ALIASES, LIST_FUNCTIONS or -1.
enum : unsigned { LF_REPLACE = 0x4000, LF_ONLY_NEW = 0x2000, LF_NAMES_ONLY = 1 };
int ReadListFiles(CString &names, wchar_t **list, int kind, unsigned flags, unsigned regFlags);

// SET /A: the assignments of args, each expression given to evaluate
// (which replaces it with its value).  EvaluateForSet is SET's evaluator.
int SetArithmetic(CString &args, unsigned flags, int (*evaluate)(CString &));
int EvaluateForSet(CString &expression);

// UNSET, UNALIAS and UNFUNCTION: which is -1 (environment) or a kind.
int __Unset(CString &args, int which);

// Output of the list commands, paged under /P when writing to a console.
struct PAGER {
    int nLines;          // 0: no paging
    int nShown;
    bool fStopped;
};
void StartPager(PAGER &pager, bool paged, int count);
// Print one line; false once the user has asked to stop.
bool PagerLine(PAGER &pager, const CString &text);

// Edit a value at the console: show prompt and let the user change text.
int EditValue(const CString &prompt, CString &text);
