// Programs, batch files and the path search.
#pragma once
#include <vector>
#include "core/bdx.h"

// Whether a name (quotes removed) exists with all of mustHave and none of
// mustNotHave among its attributes.
bool QueryFileAttributes(const CString &name, DWORD mustHave, DWORD mustNotHave);
inline bool QueryIsFile(const CString &name) { return QueryFileAttributes(name, 0, FILE_ATTRIBUTE_DIRECTORY); }
inline bool QueryIsDirectory(const CString &name) { return QueryFileAttributes(name, FILE_ATTRIBUTE_DIRECTORY, 0); }

const std::vector<CString> &QueryExecutables();
void SetExecutableFiles();
bool QueryIsExecutableExtension(const CString &ext);
// mode 0: a command, tried with the executable extensions; other modes: the
// name as given.  pathList null means PATH.  "" when not found.
CString SearchPaths(const wchar_t *name, const wchar_t *pathList, int mode, int *found, CString *allMatches);
// Run a program and wait for it; returns its exit code (also in nExitCode).
int External(CString &program, CString &arguments);
