// The file engine's path search and switches, as other parts of the shell
// use them: the executable extensions, the search of a command along PATH,
// and the /A: and /O switches of a search.  Names themselves are handled in
// files/paths.h, ranges in files/ranges.h, dates in files/dates.h.
#pragma once
#include <vector>
#include "files/search.h"

// /A: of a search: the attribute sets, after an optional ":".  Always 0.
int GetSearchAttributes(const wchar_t *spec, FILESEARCH *search);
// GetSwitches' hand-over of /A: and /O (the hook table's pfnSearchSwitch).
bool SearchSwitch(wchar_t letter, const wchar_t *text, FILESEARCH *search);

// The executable extensions in search order (PATHEXT when the option asks
// for it); a row whose language is switched off reads "!".
const std::vector<CString> &QueryExecutables();
// Switch off the rows of the script languages that the options turn off.
void SetExecutableFiles();
bool QueryIsExecutableExtension(const CString &ext);
// The extension of the file part of name, with its dot, or "".
CString ExtensionOf(const CString &name);
// The command of the executable-extension variable (".txt=command",
// ".a;.b=command", wildcards allowed) that covers the file's extension;
// false when none does.  *variable takes the variable's name.
bool ExecutableExtension(const CString &file, CString *command, CString *variable);
// mode 0: a command, tried with the executable extensions; other modes: the
// name as given.  pathList null means PATH.  *found is 1 when the file was
// found through an executable-extension variable.  With allMatches every
// match is appended there, one a line.  "" when not found.
CString SearchPaths(const wchar_t *name, const wchar_t *pathList, int mode, int *found, CString *allMatches);
// The kind of program a file holds (0: none; negative: the negated system
// error of opening it; 3 to 16 for the image kinds).
int GetExeType(const wchar_t *file);
enum : int {
    EXE_NE_WINDOWS = 3, EXE_VXD = 4, EXE_NE_OTHER = 5, EXE_GUI = 6, EXE_CONSOLE = 7, EXE_NATIVE = 8,
    EXE_GUI64 = 9, EXE_CONSOLE64 = 10,
};
// A file that cannot be read (the store's application aliases): started anyway.
constexpr int EXE_UNREADABLE = -1920;
inline bool QueryIsGraphical(int type) { return type == EXE_NE_WINDOWS || type == EXE_GUI || type == EXE_GUI64; }

// A value of the program's "App Paths" entry in the registry ("" for the
// default value), or "".
CString QueryAppPath(const CString &program, const wchar_t *value);
