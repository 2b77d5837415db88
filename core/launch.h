// Starting programs and batch files: the kinds of program, waiting for
// them, associations and the standard handles a child gets.  The path
// search is the file engine's (files/files.h).
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

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

// Run a program and, by the waiting rules, wait for it; returns its exit
// code (also in nExitCode).  A file that is no program runs through its
// association.
int External(CString &program, CString &arguments);
// Wait for a started program, answering breaks; its exit code goes to
// nExitCode.  A break terminates it (through hChildProcess), closes the
// handle and unwinds.
void WaitForProgram(HANDLE process);
// The program that the association of a file runs: program takes it, and
// arguments the association's argument template filled with the file and
// the user's arguments.  Nonzero when an association gave a program.
int MyFindExecutable(CString &file, CString &arguments);

// Fill si's standard handles from in, out and err; a handle that a child
// would not inherit is replaced by an inheritable copy (kept in copies,
// which ReleaseStdHandles closes once the child has started).
void PrepareStdHandles(STARTUPINFOW &si, HANDLE in, HANDLE out, HANDLE err, HANDLE copies[3]);
void ReleaseStdHandles(HANDLE copies[3]);
