// The hook table: the one way in which a lower layer calls a layer above
// it.  Includes go only downwards (base, config, console, the subsystems,
// the execution core, the front end); where a lower part needs a service
// of an upper one (IF runs a command line through Command_S; BDError
// prints through the console's writer), it calls through aHooks, and the
// upper layer fills the table when the library loads (core/hooks.cpp).
// Until then each entry holds a plain stand-in of base's own.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

struct FILESEARCH;

// Command_S flags.
enum : int { CMD_TYPED = 1, CMD_ECHO = 2, CMD_DEBUG = 4 };

// Flags of a row of the internal command table, as pfnFindCommand reports them.
enum : unsigned {
    CF_EXPAND = 0x000001, CF_REDIR = 0x000002, CF_CONVERT = 0x000004,
    CF_GROUP = 0x000010, CF_CLOSE_BATCH = 0x000020, CF_BATCH_ONLY = 0x000040,
    CF_SET_EXIT_CODE = 0x000100, CF_BACKSLASH_OK = 0x000200, CF_WHOLE_LINE = 0x000400,
    CF_HELP_ANYWHERE = 0x002000, CF_DOT_OK = 0x004000, CF_LISTED = 0x080000,
    CF_NO_EQUALS_DELIMITER = 0x100000, CF_CMD_SUBSET = 0x200000,
};

struct LAYERHOOKS {
    // Run a command line (Command_S, core): IF, IFF, CALL, the batch loop,
    // ON handlers, DEFER and @EXEC.
    int (*pfnCommand)(CString line, int flags);
    // Print text on a handle through the console's writer (which colours
    // standard error in ErrorColors and polls for a break first): BDError
    // and the ini engine.  Returns the length of the text.
    int (*pfnWriteText)(HANDLE handle, const CString &text);
    // Ask for one key out of allowed (QueryInputChar, console): the ini
    // engine's pause after a bad line.
    int (*pfnQueryKey)(const wchar_t *prompt, const wchar_t *allowed);
    // Variable expansion (VariableExpansion, vars): ini values that hold a
    // "%", and the prompt.
    int (*pfnExpandVariables)(CString &line, int flags);
    // The internal command at the front of line (core's table): its row
    // index or -1; flags and name (when given) take the row's.
    int (*pfnFindCommand)(const wchar_t *line, bool evenIfDisabled, unsigned *flags, CString *name);
    // Enable or disable a command of the table by its exact name; a null
    // name with enable on enables them all.  0, or 2 for an unknown name.
    int (*pfnEnableCommand)(const wchar_t *name, bool enable);
    // The options changed at run time (OPTION): the list modes follow.
    void (*pfnOptionsChanged)();
    // The switches of the file engine that GetSwitches meets in a list
    // that asks for them (files): letter 'A' takes the text of /A:, 'O' the
    // sort keys of /O.  With text null the fields of the letter are
    // cleared.  False for a text that the engine refuses.
    bool (*pfnSearchSwitch)(wchar_t letter, const wchar_t *text, FILESEARCH *search);
};
extern LAYERHOOKS aHooks;
