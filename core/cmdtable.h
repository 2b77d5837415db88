// The internal command table and its management functions.
#pragma once
#include "core/bdx.h"

enum : unsigned {
    CF_EXPAND = 0x000001, CF_REDIR = 0x000002, CF_CONVERT = 0x000004,
    CF_GROUP = 0x000010, CF_CLOSE_BATCH = 0x000020, CF_BATCH_ONLY = 0x000040,
    CF_SET_EXIT_CODE = 0x000100, CF_BACKSLASH_OK = 0x000200, CF_WHOLE_LINE = 0x000400,
    CF_HELP_ANYWHERE = 0x002000, CF_DOT_OK = 0x004000, CF_LISTED = 0x080000,
    CF_NO_EQUALS_DELIMITER = 0x100000, CF_CMD_SUBSET = 0x200000,
};

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
