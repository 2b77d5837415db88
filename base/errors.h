// Failure codes and BDError, the one way to report a failure.
//
// A code below 0x20000000 is a system error code (winerror.h names them:
// a bad argument is ERROR_INVALID_PARAMETER, 87).  A code from 0x20000000
// is the program's own; its message is the language string of number
// (code - BD_STRING_BIAS).  Every program code of the shell is named here,
// and each has its text in lang/messages.txt.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

constexpr int BD_STRING_BIAS = 0x1FFFF448;

enum : int {
    ERROR_BD_BASE = 0x20000000,
    ERROR_BD_SYNTAX = 0x20000000,
    ERROR_BD_UNKNOWN_COMMAND = 0x20000001,
    ERROR_BD_NO_CLOSE_QUOTE = 0x20000003,
    ERROR_BD_NOT_ALIAS = 0x2000000D,
    ERROR_BD_NO_ALIAS_LIST = 0x2000000E,
    ERROR_BD_ALIAS_LOOP = 0x2000000F,
    ERROR_BD_VARIABLE_LOOP = 0x20000010,
    ERROR_BD_UNKNOWN_CMD_LOOP = 0x20000011,
    ERROR_BD_EXTENSION_LOOP = 0x20000012,
    ERROR_BD_INVALID_DATE = 0x20000013,
    ERROR_BD_INVALID_TIME = 0x20000014,
    ERROR_BD_LABEL_NOT_FOUND = 0x20000017,
    ERROR_BD_ALIAS_LIST_FULL = 0x20000019,
    ERROR_BD_NOT_IN_ENVIRONMENT = 0x2000001A,
    ERROR_BD_BATCH_ONLY = 0x2000001C,
    ERROR_BD_BATCH_MISSING = 0x2000001D,
    ERROR_BD_BATCH_NESTING = 0x2000001E,
    ERROR_BD_TEXT_NO_END = 0x20000021,
    ERROR_BD_RETURN_NO_GOSUB = 0x20000022,
    ERROR_BD_UNBALANCED_PARENS = 0x20000026,
    ERROR_BD_EVAL_EMPTY = 0x20000027,
    ERROR_BD_EVAL_OVERFLOW = 0x20000028,
    ERROR_BD_EVAL_DIVIDE_BY_ZERO = 0x2000002A,
    ERROR_BD_NO_FUNCTION_LIST = 0x20000031,
    ERROR_BD_NOT_FUNCTION = 0x20000032,
    ERROR_BD_OPTION_SYNTAX = 0x20000033,
    ERROR_BD_FUNCTION_LIST_FULL = 0x20000045,
    ERROR_BD_UNKNOWN_OPTION = 0x20000046,
    ERROR_BD_BAD_REGEX = 0x2000004C,
    ERROR_BD_ARRAY_INDEX = 0x20000053,
    ERROR_BD_TOO_MANY_COMMANDS = 0x20000055,
    // Codes of this program with no fixed number elsewhere.
    ERROR_BD_NOT_AVAILABLE = 0x200000F0,
    ERROR_BD_EXPECTED_NUMBER = 0x200000F1,
    ERROR_BD_FUNC_NOT_AVAILABLE = 0x200000F2,
    ERROR_BD_LOOKUP_MISSING = 0x200000F9,
    ERROR_BD_INVALID_COLOR = 0x20000110,
    ERROR_BD_NOT_CONSOLE = 0x20000111,
    ERROR_BD_NEEDS_CONSOLE = 0x20000112,
    ERROR_BD_TYPE_MISMATCH = 0x20000113,
    ERROR_BD_UNKNOWN_TYPE = 0x20000114,
    ERROR_BD_NO_ARRAYS = 0x20000115,
    ERROR_BD_TYPE_TABLE_FULL = 0x20000116,
    // Filters and patterns.
    ERROR_BD_UNBALANCED_BRACKET = 0x20000130,   // a "[" without its "]"
    ERROR_BD_RANGE_NOT_CLOSED = 0x20000131,     // "/[" without "]"
    ERROR_BD_BAD_BACKREF = 0x20000132,
    ERROR_BD_UNMATCHED_BRACE = 0x20000133,
    // The system commands.
    ERROR_BD_DATE_REFUSED = 0x200001A0,         // the system cannot accept the date entered
    ERROR_BD_TIME_REFUSED = 0x200001A1,         // the system cannot accept the time entered
    ERROR_BD_TIMER_OFF = 0x200001A2,            // the timer is not running
    ERROR_BD_NO_HELP = 0x200001A3,              // no help for a name
    ERROR_BD_BAD_CODE_PAGE = 0x200001A4,        // invalid code page
    ERROR_BD_NO_MATCH = 0x200001A5,             // nothing matches a pattern
    ERROR_BD_NOT_ENDED = 0x200001A6,            // process did not end
    ERROR_BD_MISSING_ARGUMENT = 0x200001A7,     // a required argument is missing
    ERROR_BD_NO_WINDOW = 0x200001A8,            // no window matches
    ERROR_BD_UNKNOWN_ALGORITHM = 0x200001A9,    // unknown digest
    ERROR_BD_NEEDS_SYSTEM = 0x200001AA,         // this system (Wine) lacks what the command needs
    ERROR_BD_OWN_PROCESS = 0x200001AB,          // refuses to end the shell itself
    ERROR_BD_BAD_PRIORITY = 0x200001AC,         // unknown priority class
    ERROR_BD_NO_SUCH_KEY = 0x200001AD,          // registry key or value not found
    ERROR_BD_UNKNOWN_WORD = 0x200001AE,         // a keyword that the command does not know
    ERROR_BD_REMOTE_BITS = 0x200001AF,          // the other process is not a 64-bit process
    // Redirection, pipes and launching.
    ERROR_BD_UNKNOWN_DEVICE = 0x200001C0,
    ERROR_BD_NO_PRINTER = 0x200001C1,
    ERROR_BD_HERE_OUTSIDE_BATCH = 0x200001C2,
    ERROR_BD_HERE_NO_END = 0x200001C3,
    ERROR_BD_COMMAND_TOO_LONG = 0x200001C4,
    ERROR_BD_BAD_HANDLE = 0x200001C5,
    ERROR_BD_NO_ASSOCIATION = 0x200001C6,
    ERROR_BD_NO_FILE_TYPE = 0x200001C7,
    ERROR_BD_ZONE_REFUSED = 0x200001C8,
    // The variable function families.
    ERROR_BD_RESULT_TOO_LONG = 0x200001E0,      // a function's value would be too long
    ERROR_BD_NO_SUCH_DEVICE = 0x200001E1,       // this machine has no such device (a serial port)
    ERROR_BD_BAD_ENCODING = 0x200001E2,         // the text is not valid in that coding

    // The same codes under the names of the parts that report them.
    ERROR_BD_REDIR_SYNTAX = ERROR_BD_SYNTAX,
    ERROR_BD_BAD_ENTRY = ERROR_BD_SYNTAX,
    ERROR_BD_EVAL_SYNTAX = ERROR_BD_SYNTAX,
    ERROR_BD_EVAL_PARENS = ERROR_BD_UNBALANCED_PARENS,
    ERROR_BD_EVAL_ARRAY_INDEX = ERROR_BD_ARRAY_INDEX,
    // The evaluator's system codes: a math function given an argument
    // outside its domain (log of a negative number, asin of 2, a negative
    // number to a fractional power), and a value that memory cannot hold.
    ERROR_BD_EVAL_DOMAIN = ERROR_INVALID_PARAMETER,
    ERROR_BD_EVAL_NO_MEMORY = ERROR_OUTOFMEMORY,
};

// True for the program's own error codes (their text is a language string).
inline bool IsProgramError(int code) { return code >= ERROR_BD_BASE && code <= 0x3FFFFFFF; }

// Print the message of a code (a system code below 1 stands for the
// thread's last error) with its argument, and return 2.  ON ERROR and
// ON ERRORMSG of the running batch file take over through BreakOut.
BD_EXPORT int BDError(int code, const wchar_t *argument);
BD_EXPORT int error(int code, const wchar_t *argument);
// The same in a message box of the window.
BD_EXPORT int ErrorMsgBox(HWND window, int code, const wchar_t *argument);

// The bare text of an error code: the system's message, or the program's
// own string; a code without a text gives "Error n".  No line end.
CString ErrorText(int code, int limit);

// The message of BDError for a code and its argument, with its line end.
// A system code below 1 is taken from GetLastError and stored in nSysError.
CString ErrorMessage(int code, const wchar_t *argument);

// Append one stamped entry (date, time, process id) to a log file, under
// the "BDLogSemaphore" that every shell shares.  Returns 0 or a system code.
int AppendLogEntry(const CString &fileName, const CString &text);

// The error log's file: LogErrorsName, or BDXERR.LOG beside the program.
CString QueryErrorLogName();
