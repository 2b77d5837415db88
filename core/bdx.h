// Shared declarations of the execution core: per-thread state, process
// state, result codes and the functions that every subsystem calls.
#pragma once
#ifndef WIN32_LEAN_AND_MEAN
#define WIN32_LEAN_AND_MEAN
#endif
#include <windows.h>
#include <deque>
#include <string>
#include <vector>
#include "base/cstring.h"
#include "config/ini.h"

#define BD_EXPORT extern "C" __declspec(dllexport)

// Sentinel results of a command handler.
enum : int {
    BATCH_ABORT = 0xFFF,
    BATCH_RETURN = 0x7ABC,
    BATCH_RETURN_VALUE = 0x7ABD,
    LINE_REPLACED = 0x6666,
    NO_EXIT_CODE = 0x4F4F4F4F,
    DEBUG_REPEAT = 0x66667777,
};

// Command_S flags.
enum : int { CMD_TYPED = 1, CMD_ECHO = 2, CMD_DEBUG = 4 };

// Program error codes; the message is language string (code - 0x1FFFF448).
enum : int {
    ERROR_BD_BASE = 0x20000000,
    ERROR_BD_REDIR_SYNTAX = 0x20000000,
    ERROR_BD_UNKNOWN_COMMAND = 0x20000001,
    ERROR_BD_SYNTAX = 0x20000000,
    ERROR_BD_NO_CLOSE_QUOTE = 0x20000003,
    ERROR_BD_VARIABLE_LOOP = 0x20000010,
    ERROR_BD_UNKNOWN_CMD_LOOP = 0x20000011,
    ERROR_BD_EXTENSION_LOOP = 0x20000012,
    ERROR_BD_BATCH_ONLY = 0x2000001C,
    ERROR_BD_BATCH_MISSING = 0x2000001D,
    ERROR_BD_BATCH_NESTING = 0x2000001E,
    ERROR_BD_RETURN_NO_GOSUB = 0x20000022,
    ERROR_BD_UNBALANCED_PARENS = 0x20000026,
    ERROR_BD_OPTION_SYNTAX = 0x20000033,
    ERROR_BD_UNKNOWN_OPTION = 0x20000046,
    ERROR_BD_ARRAY_INDEX = 0x20000053,
    ERROR_BD_TOO_MANY_COMMANDS = 0x20000055,
    // Codes of this program with no fixed number elsewhere.
    ERROR_BD_NOT_AVAILABLE = 0x200000F0,
    ERROR_BD_EXPECTED_NUMBER = 0x200000F1,
    ERROR_BD_FUNC_NOT_AVAILABLE = 0x200000F2,
    ERROR_BD_INVALID_COLOR = 0x20000110,
    ERROR_BD_NOT_CONSOLE = 0x20000111,
};
constexpr int BD_STRING_BIAS = 0x1FFFF448;

// Language string ids used by the core.
enum : int {
    IDS_YES_LETTERS = 3390, IDS_NO_LETTERS = 3391, IDS_ALL_LETTERS = 3393,
    IDS_QUERY_KEYS = 3394, IDS_MORE_PROMPT = 3542,
    IDS_PAGE_PAUSE = 3328,
    IDS_ECHO_IS = 3545, IDS_ON = 3546, IDS_OFF = 3547,
    IDS_USAGE_FIRST = 8102,
};

// One running batch file or library function.  Text is owned by the frame.
struct BATCHFRAME {
    CString sBatchName;              // full path of the file; a library function's name
    CString sArgs;                   // the invocation's arguments as typed
    std::vector<CString> Argv;       // Argv[0] the command's name, then the arguments
    HANDLE hFile = INVALID_HANDLE_VALUE;
    int nArgShift = 0;               // how far SHIFT has moved %1
    long long lOffset = 0;           // byte offset of the next line; negative: finished
    int nLineNumber = 0;             // lines read so far
    int nGosubDepth = 0;
    CString sGosubArgs;
    int nGosubVarLevel = 0;
    int nEcho = 0;                   // bit 0 echo on; bit 1 forced on by BatchEcho
    int nRunToLine = 0;
    CString sOnBreak, sOnClose, sOnLogoff, sOnShutdown, sOnLButton, sOnMButton, sOnRButton,
        sOnDblClick, sOnError, sOnErrorMsg, sOnErrorLevel, sOnCondition, sOnResume, sOnSuspend;
    UINT nSavedErrorMode = 0;
    CString sSavedTitle;
    std::string sBtmImage;           // the file's bytes when it runs from memory
    std::string sChunk;              // read cache of an open file, dropped when it closes
    long long lChunkStart = 0;       // file offset of sChunk
    bool fChunkAtEnd = false;        // sChunk reaches the end of the file
    long long lTextStart = 0;        // offset behind a byte-order mark
    unsigned fFlags = 0;
    int nFrameExit = 0;              // the value QUIT, CANCEL or EXIT left for the caller
    int nGosubResult = 0;
    int nSetlocalDepth = 0;
    CString sDefer;                  // DEFER commands, joined by line feeds
};
// hFile of a frame whose file is held in memory.
#define BTM_IN_MEMORY ((HANDLE)(intptr_t)32767)
enum : unsigned { BF_HOSTED = 1, BF_PACKED = 2, BF_ENCIPHERED = 4, BF_UTF16 = 8, BF_UTF8 = 16, BF_LIBRARY = 32, BF_CHAINED = 0x100 };

// Per-thread execution state.  Every thread starts from these initial
// values; nothing runs at thread attach.
struct TLS_VARIABLES {
    int fBreakPending = 0;
    int fBreakHandled = 0;
    int nOutputEncoding = 0;    // 0 default, 1 ANSI, 2 UTF-8, 3 UTF-16
    int nDefaultOutputEncoding = 0;
    int nPageLength = 0;        // lines a page; 0 off, -1 after the user chose "all"
    int nPageTimeout = 0;       // seconds a page pause waits; 0 for ever
    int nPageLines = 0;         // lines printed since the last pause
    int nExitCode = 0;
    int nLastResult = 0;
    int nLastResultCopy = 0;
    int nSysError = 0;
    int fBreakInEdit = 0;
    int fBreakEnabled = 1;
    int fSignalsHeld = 0;
    int nInheritedFrame = -1;
    int fInteractiveEcho = 0;
    int fMusicOpen = 0;
    int nDetachPid = 0, nStartPid = 0;
    HANDLE hChildProcess = nullptr;
    HANDLE hPipeMapping = nullptr;
    HANDLE hUnicodeInput = nullptr;
    void *pPipeView = nullptr;
    HHOOK hKeyboardHook = nullptr;
    unsigned char bIffState = 0, nIffActive = 0, nIffNested = 0;
    unsigned char nDoActive = 0, nDoNested = 0, nDoLeave = 0;
    int nSelectionStart = -1, nSelectionEnd = -1;
    CString sCommandName;
    CString sPipeBatchName;
    unsigned fNewBatchFlags = 0;
    int nBatchFrame = -1;
    std::deque<BATCHFRAME> aBatchFrames;    // a deque keeps frame pointers valid across pushes
    int nUnknownCmdDepth = 0, nExtensionDepth = 0;
    int nVariableNesting = 0;   // depth of bracketed expansions (%@f[...], %[...])
    int fDebugRunFree = 0;
    int fSuppressTitle = 0;
    wchar_t szJoinMarker[4] = L"&| ";
    wchar_t szOperators[5] = L"&<>|";
    wchar_t szHandleLead[11] = L"  \t,:=\"|()";
    wchar_t szRedirStop[12] = L"  \t;,<>|`+=";
    unsigned char aMonthDays[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
};

TLS_VARIABLES *GetTLS();
BD_EXPORT TLS_VARIABLES *GetTLSVariables();

// Process-wide state.
struct GLOBAL_VARIABLES {
    unsigned nConsoleEvent;     // the console control event being handled
    int fNoEcho;                // no echo at all
    int fCmdCompatible;         // == compares with case, as EQC
    int fCompatibility;         // plug-ins, back-quotes and trailing blanks off
    int fNoConsole;
    int fNotInteractive;
    int fDelayedExpansion;
    int fCMDExtensions;
    int nWinVersion;            // major*100+minor
    unsigned nWinBuild;
    int nPipeFrame;
    int nNestingLevel;
    int nDebuggerCount;
    int nDebuggerMode;
    HANDLE hStdIn, hStdOut, hStdErr;
    HANDLE hConIn, hConOut;
    HWND hConsoleWindow;
    HANDLE hMainThread;
    HMODULE hModule;
    HMODULE hLanguage;
    CString sExecutablePath;
    CString sStartDirectory;
    CString sBDStart, sBDExit;
    CString sVersion;           // "BDX-RT  m.nn.b"
    CString sWinVersion;        // "%u%c%u"
    wchar_t cYes, cNo, cAll;
};
extern GLOBAL_VARIABLES aGlobals;

// A process ends only through this, so that tests can intercept it.
[[noreturn]] void EndProcess(int code);

// The frame now running, or null.
BATCHFRAME *CurrentFrame();

// Standard handles as the thread sees them now (redirection changes them).
HANDLE StdOut();
HANDLE StdErr();
HANDLE StdIn();
bool QueryIsConsole(HANDLE h);

// Language module strings.
CString LoadLanguageString(int id);

// Command line execution.
BD_EXPORT int Command(const wchar_t *line, int flags);
int Command_S(CString line, int flags);
int ExecuteOneCommand(CString &line, bool updateTitle, bool debugBit);
int RunInternalCommand(CString &line, int *result);
int ReadCommandGroup(CString &line, int start, int options);
int ContinueEscapedLine(CString &line, HANDLE file, int readFlags, bool countLine);
BD_EXPORT void ResetParsingFlags();
BD_EXPORT void EscapeLine(wchar_t *text);
void UnEscapeLine(CString &text);
wchar_t EscapedCharacter(wchar_t c);
int RunExternalOrScript(CString &line, CString &name, int storeCommandLine);
int ExpandAliases(CString &line);
int VariableExpansion(CString &line, int flags);

// Input.
int GetNextLine(HANDLE handle, CString &line, int flags, const wchar_t *prompt, int maxChars);
BD_EXPORT int ShowPrompt(const wchar_t *variableName);
int egets(CString &line, int maxChars, int flags, const wchar_t *prompt);
int QueryInputChar(const wchar_t *prompt, const wchar_t *allowed);
void EatKeystrokes();

// Errors and interrupts.
BD_EXPORT int BDError(int code, const wchar_t *argument);
// The full text that BDError prints for a code and its argument (null for
// none), ending in a line break.
CString ErrorMessage(int code, const wchar_t *argument);
BD_EXPORT void HoldSignals();
BD_EXPORT void EnableSignals();
BD_EXPORT void ResetBreakHandling();
[[noreturn]] void BreakOut(int value);
void honk();
void tty_yield(int wait);
void CheckBreak();

// Instance.
BD_EXPORT int InitializeDLL(wchar_t *iniFile);
BD_EXPORT void ShutdownCommandProcessor();
BD_EXPORT void RunStartupFiles(const wchar_t *stem, const wchar_t *arguments);
void UpdateTitleAndIcon(const wchar_t *text, int flags);

// Locale characters (options first, then the user's locale).
wchar_t QueryDecimalChar();
wchar_t QueryThousandsChar();

// Environment.
CString GetEnvVar(const wchar_t *name);
bool QueryEnvVar(const wchar_t *name, CString *value);
