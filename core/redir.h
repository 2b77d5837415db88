// Redirection and pipes: the state of one command line's redirections, and
// the routines that apply and undo them.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

// Longest command line that a program is started with.
constexpr size_t kMaxProgramCommandLine = 8191;

// The standard handles by their digit.
enum : int { REDIR_IN = 0, REDIR_OUT = 1, REDIR_ERR = 2 };

// One per Command_S call, reused for each command of the line.
struct RedirRecord {
    HANDLE ahSaved[3] = {};       // the handle before this command's redirection
    int afSaved[3] = {};          // ahSaved holds one (which may itself be null: a shell with no console)
    int afClip[3] = {};           // the handle goes to or comes from the clipboard through a file
    int fPipe = 0;                // a pipe is open from this command
    int fTempPipe = 0;            // the pipe is the sequential |! form
    int fTempFile = 0;            // a sequential pipe's file exists and has to be deleted
    CString sHereFile;            // here-document file, deleted at Unredirect
    CString sPipeOut;             // sequential pipe file being written by the left side
    CString sPipeIn;              // sequential pipe file being read by the right side
    HANDLE hPrevChild = nullptr;  // hChildProcess as it was
    HANDLE hMapping = nullptr;    // the shared block of a child shell
    HANDLE hProcess = nullptr;    // the right side's process
    void *pView = nullptr;        // view of the shared block
};

// Take this command's redirections out of the line and apply them; 0, or
// nonzero after the failure has been reported.
int Redirect(CString &line, RedirRecord *record);
// Undo them; with a pipe, wait for the right side and take over its result
// and the rest of the line that it hands back.  result and tail may be null.
void Unredirect(RedirRecord *record, int *result, CString *tail);
// tail begins behind the "|"; the right side takes it over.
int OpenPipe(RedirRecord *record, CString &tail);
// In a pipe child: give the rest of the line back to the parent.
void HandBackRestOfLine(CString &line);
void CleanupTempPipe(RedirRecord *record);
// In a shell started as the right side of a pipe: take over the parent's
// batch frame.  Runs at start-up.
void TakeOverPipeParent();
// This shell was started as the right side of a pipe.
bool QueryIsPipeChild();
// Back to the default output encoding of the options.
void ResetOutputEncoding();
// The console modes that the shell runs with, for one standard handle
// (0-2) or, with -1, for all and for the console itself.
void ResetConsoleModes(int which);
bool QueryIsPipeHandle(HANDLE h);
// Read an encoding suffix (":8", ":a", ":d", ":u", ":u8") at p; returns the
// characters taken, and sets the output encoding.
size_t ReadEncodingSuffix(const wchar_t *p);
// A file in the temporary directory (the program's directory when there is
// none) whose name starts with prefix; name takes it.  0 or a system code.
int MakeTempFile(CString &name, const wchar_t *prefix);

// The clipboard as a file: copy an open file's text to the clipboard, or
// the clipboard's text into a named file.  0 or a system code.
int CopyToClipboard(HANDLE file);
int CopyFromClipboard(const CString &name);
// Name of a clipboard temporary file: kind 0 input, 1 output, 2 error.
CString ClipboardFileName(int kind);
