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
