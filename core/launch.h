// Programs, batch files and the path search.
#pragma once
#include <vector>
#include "core/bdx.h"
#include "files/paths.h"

const std::vector<CString> &QueryExecutables();
void SetExecutableFiles();
bool QueryIsExecutableExtension(const CString &ext);
// mode 0: a command, tried with the executable extensions; other modes: the
// name as given.  pathList null means PATH.  "" when not found.
CString SearchPaths(const wchar_t *name, const wchar_t *pathList, int mode, int *found, CString *allMatches);
// Run a program and wait for it; returns its exit code (also in nExitCode).
int External(CString &program, CString &arguments);
