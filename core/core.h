// The execution core: bringing an instance up and down, running command
// lines (Command_S), dispatch to internal commands and the fall-backs,
// launching programs and batch files, and the delivery of console events.
// The command table is in core/cmdtable.h, redirection in core/redir.h.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

// Command line execution.
BD_EXPORT int Command(const wchar_t *line, int flags);
int Command_S(CString line, int flags);
int ExecuteOneCommand(CString &line, bool updateTitle, bool debugBit);
// Run the internal command at the front of line; -1 when it is none.
int RunInternalCommand(CString &line, int *result);
BD_EXPORT int ExecuteInternalCommand(wchar_t *buffer, int *result);
BD_EXPORT void ResetParsingFlags();

// Programs and batch files: RunExternalOrScript finds name along PATH and
// starts it (core/launch.h has the rest of launching).
int RunExternalOrScript(CString &line, CString &name, int storeCommandLine);

// Instance.
BD_EXPORT int InitializeDLL(wchar_t *iniFile);
BD_EXPORT void InitializeCOMSecurity();
BD_EXPORT void LoadWindowsFunctions();
BD_EXPORT void ShutdownCommandProcessor();
BD_EXPORT void RunStartupFiles(const wchar_t *stem, const wchar_t *arguments);

// Plain C entry points for the front end, so that no C++ object crosses
// the module boundary.  ReadInputLine: the next line of standard input (0
// at the end), released with FreeInputLine.  ExitShell: leave as EXIT does.
BD_EXPORT int ReadInputLine(wchar_t **line);
BD_EXPORT void FreeInputLine(wchar_t *line);
BD_EXPORT int ExitShell(const wchar_t *value);
// Whether the front end runs the startup file.
BD_EXPORT int QueryStartupFileOption();

// The environment block as it was when the shell started (START /I).
const wchar_t *QueryStartupEnvironment();

// Fill the hook table with the services of the layers above base.
void InstallHooks();

// Console events.  The control handler is registered at start-up; the
// procedures run on the main thread at its next alertable wait.
BOOL WINAPI ConsoleBreakHandler(DWORD event);
void CALLBACK BreakAPC(ULONG_PTR event);
void CALLBACK APCOnSuspend(ULONG_PTR unused);
void CALLBACK APCOnResume(ULONG_PTR unused);
void CALLBACK APCOnSessionEnd(ULONG_PTR event);

// LOOKUPERRORS' window: the separate lookup tool beside the program.
BD_EXPORT int LookupWindowsErrors(HWND window, const wchar_t *text);
