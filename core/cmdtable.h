// The internal command table and its management functions.  The row
// flags (CF_...) are in base/hooks.h, since the layers below ask the table
// for them through the hook table.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

using CommandHandler = int (*)(CString &arguments);

struct BUILTIN {
    const wchar_t *pszName;
    CommandHandler pfnHandler;
    unsigned fFlags;
    int fEnabled;
    const wchar_t *pszCompletion;
};

#define BD_COMMAND(name, handler, flags, hint) int handler(CString &arguments);
#include "core/commands.def"
#undef BD_COMMAND

extern BUILTIN aInternalCommands[];
int QueryNumberOfCommands();
#define nInternalCommands QueryNumberOfCommands()

int FindInternalCommand(const wchar_t *line, bool evenIfDisabled, BUILTIN **row);
BD_EXPORT int QueryIsCommandEnabled(const wchar_t *name);
BD_EXPORT int EnableInternalCommand(const wchar_t *name);
BD_EXPORT int DisableInternalCommand(const wchar_t *name);
BD_EXPORT int SetInternalCommands(int all);
BD_EXPORT unsigned QueryInternalCommandFlags(const wchar_t *name);
BD_EXPORT int SetInternalCommandFlags(const wchar_t *name, unsigned flags);
int NTInternalHelp(const wchar_t *name);

// Report that a command of the table has no implementation in this build.
int CommandNotAvailable();

// "ECHO is on" / "ECHO is off" in the language of the module.
CString FormatEchoState(bool on);
