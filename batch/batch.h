// Batch files: frames, the line loop and the file readers.
#pragma once
#include <vector>
#include "core/bdx.h"

int OpenBatchFile();
void CloseBatchFile();
int ExitBatchFile();
int LoadBtmImage();
// fullName: the file; argv: the name as typed, then the arguments;
// args: the argument text as typed.
int RunBatchFile(const CString &fullName, std::vector<CString> &argv, CString &args);
int RunBatchLines(CString &line);
int QueryIsFileUnicode(HANDLE h);
int QueryIsFileUTF8(HANDLE h);
bool QueryIsTextUTF8(const char *text, size_t size);
// ON CONDITION: test the frame's condition after a line.
void RunOnCondition(const CString &condition);

// Labels and conditions.
// flags 1: report a missing label and allow "#:"; 2: read named parameters.
int FindLabel(const CString &args, int flags);
int GosubInFile(CString &args);
// 1 true, 0 false, -1 syntax error.  Mode 0: the whole line is the test;
// 1 (IF) and 2 (IFF): a command follows, and the line keeps only it.
int TestCondition(CString &line, int mode);

// The IFF and DO skip state, saved, zeroed and restored as a whole around
// CALL and GOSUB.
struct SkipState {
    unsigned char iffState, iffActive, iffNested, doActive, doNested, doLeave;
};
SkipState TakeSkipState();
void RestoreSkipState(const SkipState &s);
// DELAY UNTIL's moment (local time) from its text; 0 or an error code.
int ParseDelayMoment(const CString &text, SYSTEMTIME *when);
