// Redirection state of one command line.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

struct RedirRecord {
    HANDLE hSavedOut = nullptr;   // standard output before this command's redirection
    HANDLE hSavedErr = nullptr;
    HANDLE hSavedIn = nullptr;
    int fPipeOpen = 0;            // the right side of a pipe runs in a child
    int fClipOut = 0;             // standard output goes to the clipboard
};

// Take this command's redirections out of the line and apply them.
int Redirect(CString &line, RedirRecord *record);
// Undo them; with a pipe, wait for the right side and take over its result.
void Unredirect(RedirRecord *record, int *result, CString *line);
int OpenPipe(RedirRecord *record, CString &tail);
void CleanupTempPipe(RedirRecord *record);
// Back to the default output encoding of the options.
void ResetOutputEncoding();
