// The batch language: frames, the line loop and the file readers, further
// lines of a command, labels, conditions and the skip state of IFF and DO.
#pragma once
#include <vector>
#include "base/state.h"

struct BATCHFRAME;

int OpenBatchFile();
int ExitBatchFile();
int LoadBtmImage();
// fullName: the file; argv: the name as typed, then the arguments;
// args: the argument text as typed.
int RunBatchFile(const CString &fullName, std::vector<CString> &argv, CString &args);
int RunBatchLines(CString &line);
// GetNextLine's flags for the frame's file: purpose (GNL_RUN for a line to
// run, GNL_SCAN for one only looked at) with the frame's encoding.
int FrameReadFlags(const BATCHFRAME *frame, int purpose);
int QueryIsFileUnicode(HANDLE h);
int QueryIsFileUTF8(HANDLE h);
bool QueryIsTextUTF8(const char *text, size_t size);
// ON CONDITION: test the frame's condition after a line.
void RunOnCondition(const CString &condition);

// Further lines of a command.  ReadCommandGroup reads on until the group
// opened at start is closed (options 1: take off the outer parentheses;
// 2: join the lines of a FOR ... IN group with blanks); 0, or 2 after
// reporting unbalanced parentheses.  ContinueEscapedLine appends the next
// line while the line ends in the escape character.
int ReadCommandGroup(CString &line, int start, int options);
int ContinueEscapedLine(CString &line, HANDLE file, int readFlags, bool countLine);

// ENDLOCAL, which ending a frame runs for each SETLOCAL left open.
int Endlocal_Command(CString &args);

// Labels and conditions.
// flags 1: report a missing label and allow "#:"; 2: read named parameters.
int FindLabel(const CString &args, int flags);
int GosubInFile(CString &args);
// 1 true, 0 false, -1 syntax error.  Mode 0: the whole line is the test;
// 1 (IF) and 2 (IFF): a command follows, and the line keeps only it.
int TestCondition(CString &line, int mode);
// The test at the front of an IF (mode 1) or IFF (mode 2) line: *test takes
// its value and command what follows it.  0, or 2 after reporting a line
// without a test or without anything behind it.
int ReadCommandTest(const CString &args, int mode, int *test, CString &command);

// The IFF and DO skip state, saved, zeroed and restored as a whole around
// CALL and GOSUB.
struct SkipState {
    unsigned char iffState, iffActive, iffNested, doActive, doNested, doLeave;
};
SkipState TakeSkipState();
void RestoreSkipState(const SkipState &s);
// DELAY UNTIL's moment (local time) from its text; 0 or an error code.
int ParseDelayMoment(const CString &text, SYSTEMTIME *when);
