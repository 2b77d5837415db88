// Path handling: every name that a file command takes goes through these
// functions, which know the shell's own forms (the "..." shorthand, drive
// aliases, clip: and con, file:// names, "::" regular-expression parts, @list
// names, long-path prefixes and remote URLs).  A name is kept as typed for as
// long as possible, and made full by CreateFullPathName.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

// Names of this many characters or more get a long-path prefix (MakeVLFN).
constexpr size_t LONG_PATH_MIN = 248;
// The longest name the system takes, prefix included.
constexpr size_t PATH_LIMIT = 0x7FFF;

// Make name a full path against the current directory (of its drive).  True
// when name now holds a full path (or a form that stands as it is: clip:, a
// device, a URL, a leading "::" pattern); false after a failure, which is
// reported through BDError unless quiet.  name is left as it was on failure.
bool CreateFullPathName(CString &name, int quiet);
// The same against base (a full directory name) instead of the current one.
bool CreateFullPathNameEx(CString &name, int quiet, const wchar_t *base);
// Works on a copy: on success name takes the full name and its text is
// returned; on failure null, and name stays as it was.
const wchar_t *MakeFullName(CString &name, int quiet);

// The directory part of name with its trailing separator (in out), or null
// when there is none.  "c:" is its own path part; a name ending in ".." is
// wholly a path; a "::" ends the path.
const wchar_t *PathPart(const wchar_t *name, CString *out);
// The length in characters of PathPart.
size_t PathLength(const wchar_t *name);
// Pointer into name at its file-name part; with out, a copy of that part
// without double quotes is stored there and its text returned.
const wchar_t *FilenamePart(const wchar_t *name, CString *out = nullptr);
// Pointer to the extension's dot, or null.  With out, the extension (with its
// dot) cut at any ";" or double quote.
const wchar_t *ExtensionPart(const wchar_t *name, CString *out = nullptr);
// Append name to path with exactly one separator ("/" for a URL).
void MakeDirectoryName(CString &path, const wchar_t *name);
// out = the path part of pathSource + name.
void InsertPathInFilename(CString &out, const wchar_t *name, const wchar_t *pathSource);
// A directory name (or a root) gets "\*"; returns 1 when it added.
int AddWildcardIfDirectory(CString &name);

// The current directory of a drive ("x:" or a name beginning with one; null
// or anything else: the current drive).  False (with the system code in
// *code) when the drive does not exist.
bool QueryCurrentDirectory(const wchar_t *drive, CString *out, int *code = nullptr);

// The true name behind substituted and network drives, of a full name.
// Returns 0 or a system error code; QueryTrueName makes the name full first.
int QueryTrueName(const wchar_t *name, CString *out);
int QueryTrueName_S(CString &name);
// Long form (GetLongPathNameW; name stays when it fails) and 8.3 form
// (GetShortPathNameW; 0 on failure, name unchanged).
int GetLongName(CString &name);
int GetShortName(CString &name);
// Create a new empty file in dir (empty: ".") with a unique name; dir then
// holds its full name.  Returns 0 or the system error code.
int UniqueFileName(CString &dir, const wchar_t *prefix);
// Give a name of LONG_PATH_MIN characters or more the "\\?\" (or
// "\\?\UNC\") prefix; a URL, an include list or a prefixed name stays.
void MakeVLFN(CString &name);
// A name as the system's file calls take it: quotes removed, and a name
// whose full form reaches LONG_PATH_MIN characters made full and prefixed.
CString QueryOpenName(const CString &name);
// The name without a "\\?\" or "\\?\UNC\" prefix, for showing to the user.
CString WithoutVLFN(const CString &name);

// Existence tests (quotes in name are ignored; long names work).
bool QueryFileAttributes(const CString &name, DWORD mustHave, DWORD mustNotHave);
inline bool QueryIsFile(const CString &name) { return QueryFileAttributes(name, 0, FILE_ATTRIBUTE_DIRECTORY); }
inline bool QueryIsDirectory(const CString &name) { return QueryFileAttributes(name, FILE_ATTRIBUTE_DIRECTORY, 0); }
inline bool QueryIsFileOrDirectory(const CString &name) { return QueryFileAttributes(name, 0, 0); }
// A directory, or a root ("c:\", "\\server\share\") even when it is empty.
bool IsDirectory(const CString &name);

// "CON", "CON:" and "\DEV\CON", any case.
bool QueryIsCON(const wchar_t *name);
// A device name: CON, PRN, AUX, NUL, COMn, LPTn, CONIN$, CONOUT$, CLOCK$
// (with or without a colon, in any directory) or a "\\.\" name.  A device
// loses a trailing colon, so that name can be opened.
bool QueryIsDevice(CString &name);
// True for "clip:" (any case): the clipboard as a file.
bool QueryIsClip(const wchar_t *name);
