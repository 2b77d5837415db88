// Starting programs and batch files: the kinds of program, waiting for
// them, associations and the standard handles a child gets.  The path
// search is the file engine's (files/files.h).
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

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
