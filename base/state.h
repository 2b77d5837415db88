// Per-thread and process state: the sentinel results of a command, the
// batch frame record, TLS_VARIABLES, GLOBAL_VARIABLES, the standard handles
// and the environment and directory queries that every layer makes.
#pragma once
#include <deque>
#include <string>
#include <vector>
#include "base/cstring.h"
#include "base/platform.h"

constexpr unsigned BDX_VERSION_MAJOR = 1;
constexpr unsigned BDX_VERSION_MINOR = 0;
constexpr int BDX_BUILD = 1;

// Sentinel results of a command handler.
enum : int {
    BATCH_ABORT = 0xFFF,
    BATCH_RETURN = 0x7ABC,
    BATCH_RETURN_VALUE = 0x7ABD,
    LINE_REPLACED = 0x6666,
    NO_EXIT_CODE = 0x4F4F4F4F,
    DEBUG_REPEAT = 0x66667777,
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
// Close the running frame's file (its read cache goes with it).  A frame
// held in memory has no file to close.  Commands that may change files
// close it first, through ParseArguments' PA_CLOSE_BATCH.
void CloseBatchFile();

// Standard handles as the thread sees them now (redirection changes them).
HANDLE StdOut();
HANDLE StdErr();
HANDLE StdIn();
// A handle that is a console (input or screen buffer).
bool QueryIsConsole(HANDLE h);

// Environment variables, read by name at each use.
CString GetEnvVar(const wchar_t *name);
bool QueryEnvVar(const wchar_t *name, CString *value);

// COM on the calling thread, started on first use (apartment-threaded; the
// first thread also sets the process's COM security).  Start-up does not
// need it, and starting it costs a hidden window and, under Wine, the
// desktop process.  True when COM is usable on this thread.
bool EnsureCOM();
// End COM on this thread if EnsureCOM started it here.
void ReleaseCOM();

// The process's current directory; empty when it cannot be read.
CString CurrentDirectory();

// Instances of the library across every process that loads it: shells
// (BDX) and windowed hosts.  delta +1 when one starts, -1 when it ends.
int QueryShellInstances();
int QueryHostInstances();
void CountShellInstance(int delta);
// A windowed host tells of its start and end.
BD_EXPORT void StartBDXMInstance();
BD_EXPORT void EndBDXMInstance();
