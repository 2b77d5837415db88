// Pieces shared by the redirection and pipe files.
#pragma once
#include "core/redir.h"

// Point the marked standard handles (bit n: handle n) at h, saving the
// old ones in the record the first time.
void InstallStdHandle(RedirRecord *record, int marks, HANDLE h);
// A pipe's right side has ended: its exit code, and the rest of the line
// that a child shell handed back.
void WaitForRightSide(RedirRecord *record, int *result, CString *tail);
// "|!": the left side's file becomes the right side's standard input.
void SwitchTempPipe(RedirRecord *record);
