// The system commands: dates and times, stopwatches, help, the path, the
// process and window commands, dialogs, digests, the command runners
// (GLOBAL, EXCEPT, CHRONIC, TRANSIENT), the command log, services, the
// registry and the shell objects.  What other parts of the shell use of
// them is declared here.
#pragma once
#include <vector>
#include "base/cstring.h"
#include "base/platform.h"

// Stopwatches of TIMER, numbered 1 to kTimers.
constexpr int kTimers = 9;
// Milliseconds on stopwatch n, or -1 when it is not running.
long long QueryTimerElapsed(int n);
// "h:mm:ss.hh" of a count of milliseconds.
CString FormatElapsed(long long ms);

// The command log of LogOn (and the history log of HistLogOn): the line
// goes to the file with a stamp.  Command_S calls these.
void LogCommandLine(const CString &line);
void LogHistoryLine(const CString &line);
CString QueryCommandLogName();
CString QueryHistoryLogName();

// Run a command line as a nested line of this shell, with its standard
// output and standard error captured in text.  Returns the command's result.
int CaptureCommandOutput(const CString &command, CString &output);


// A dialog that asks for a date (and with withTime, a time of day),
// starting at *when; seconds above 0 close it by itself after that time.
// 0 with *when set, 1 when cancelled, 32000 when it closed by itself, or a
// code already reported (no desktop to show it on).
int AskDate(const CString &title, SYSTEMTIME *when, bool withTime, DWORD seconds);

// Parse a date (country order, or year first) and a time
// ("h[:m[:s[.hh]]] [AM|PM]") as DATE and TIME take them; 0 or an error code.
int ParseDateText(const CString &text, SYSTEMTIME *date);
int ParseTimeText(const CString &text, SYSTEMTIME *time);

// One running process, as the process commands list it.
struct PROCESSROW {
    DWORD nPid;
    DWORD nParent;
    DWORD nThreads;
    CString sName;   // the program's file name
};
// Every process, in order of id.
std::vector<PROCESSROW> ListProcesses();
// The processes that the arguments name (ids, program names with or
// without ".exe", wildcards, "::regex"); a name that matches nothing is
// reported, and the result is then 2.
int SelectProcesses(const CString &args, std::vector<PROCESSROW> &picked);
// True for an unsigned decimal number, whose value goes to *value.
bool QueryIsNumber(const CString &text, DWORD *value);
// A process opened for some access, closed when it goes; Get() is null
// when it could not be opened.
class ProcessHandle {
public:
    ProcessHandle(DWORD pid, DWORD access) : h_(OpenProcess(access, FALSE, pid)) {}
    ~ProcessHandle() {
        if (h_) CloseHandle(h_);
    }
    ProcessHandle(const ProcessHandle &) = delete;
    ProcessHandle &operator=(const ProcessHandle &) = delete;
    HANDLE Get() const { return h_; }

private:
    HANDLE h_;
};

// A window's title, and the top-level window whose title matches a pattern
// (wildcards, or a regular expression behind "::"), visible ones first;
// null when none does.
CString WindowTitle(HWND hwnd);
HWND FindWindowByTitle(const CString &pattern);

// The full path of a process's program, or empty.
CString ProcessPath(DWORD pid);

// True under Wine, whose event log and some other parts are empty shells.
bool QueryIsWine();
