// The pieces of the file search that its files share among themselves.
#pragma once
#include "files/search.h"

// Open the @file list that the pattern names, if it names one: true when
// search now reads names from it.
bool OpenListFile(const CString &pattern, unsigned long flags, FILESEARCH *search);
// A pattern that names one remote object (not a directory listing).
bool FindRemoteObject(int which, const CString &pattern, unsigned long flags, FILESEARCH *search,
                      CString *fullName, int kind);
