// The file engine as other parts of the shell use it: the state of a file
// search and its switches, the one test of a name's attributes, and the
// path search with the executable extensions.
#pragma once
#include <vector>
#include "base/platform.h"
#include "files/search.h"

// /A: of a search: the attribute sets, after an optional ":".  Always 0.
int GetSearchAttributes(const wchar_t *spec, FILESEARCH *search);
// GetSwitches' hand-over of /A: and /O (the hook table's pfnSearchSwitch).
bool SearchSwitch(wchar_t letter, const wchar_t *text, FILESEARCH *search);

// Whether a name (quotes removed) exists with all of mustHave and none of
// mustNotHave among its attributes.
bool QueryFileAttributes(const CString &name, DWORD mustHave, DWORD mustNotHave);
inline bool QueryIsFile(const CString &name) { return QueryFileAttributes(name, 0, FILE_ATTRIBUTE_DIRECTORY); }
inline bool QueryIsDirectory(const CString &name) { return QueryFileAttributes(name, FILE_ATTRIBUTE_DIRECTORY, 0); }

// The extension of the file part of a name, with its dot, or "".
CString ExtensionOf(const CString &name);

// The executable extensions in search order (PATHEXT when the option asks
// for it); a row whose language is switched off reads "!".
const std::vector<CString> &QueryExecutables();
// Switch off the rows of the script languages that the options turn off.
void SetExecutableFiles();
bool QueryIsExecutableExtension(const CString &ext);
// mode 0: a command, tried with the executable extensions; other modes: the
// name as given.  pathList null means PATH.  "" when not found.
CString SearchPaths(const wchar_t *name, const wchar_t *pathList, int mode, int *found, CString *allMatches);
