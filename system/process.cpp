// The process commands: TASKLIST, TASKEND, PRIORITY, ENUMPROCESSES and
// MEMORY.  Processes are picked by id, by program name ("notepad" finds
// notepad.exe) or by a wildcard or regular expression.
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/state.h"
#include "console/console.h"
#include "system/system.h"
#include "vars/lists.h"
#include <tlhelp32.h>
#include <psapi.h>
#include <algorithm>
#include <cwctype>
#include <vector>

namespace {

constexpr DWORD kDefaultCloseWait = 5;

}  // namespace

std::vector<PROCESSROW> ListProcesses() {
    std::vector<PROCESSROW> rows;
    HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snap == INVALID_HANDLE_VALUE) return rows;
    PROCESSENTRY32W e{};
    e.dwSize = sizeof(e);
    for (BOOL more = Process32FirstW(snap, &e); more; more = Process32NextW(snap, &e))
        rows.push_back({e.th32ProcessID, e.th32ParentProcessID, e.cntThreads, e.szExeFile});
    CloseHandle(snap);
    std::sort(rows.begin(), rows.end(), [](const PROCESSROW &a, const PROCESSROW &b) { return a.nPid < b.nPid; });
    return rows;
}

bool QueryIsNumber(const CString &text, DWORD *value) {
    int used = 0;
    unsigned v = 0;
    if (text.empty() || !iswdigit(text[0])) return false;
    if (Sscanf(text.c_str(), L"%u%n", &v, &used) != 2 || used != text.GetLength()) return false;
    *value = v;
    return true;
}

bool MatchProcess(const CString &selector, const PROCESSROW &row) {
    DWORD pid;
    if (QueryIsNumber(selector, &pid)) return row.nPid == pid;
    if (MatchNamePattern(selector.c_str(), row.sName.c_str())) return true;
    size_t dot = row.sName.find_last_of(L'.');
    return dot != CString::npos && MatchNamePattern(selector.c_str(), row.sName.Left(dot).c_str());
}

int SelectProcesses(const CString &args, std::vector<PROCESSROW> &picked) {
    std::vector<PROCESSROW> all = ListProcesses();
    CString selector;
    for (int i = 0; GetNthArgument(args.c_str(), i, &selector); i++) {
        StripQuotes_S(selector);
        size_t before = picked.size();
        for (const PROCESSROW &row : all)
            if (MatchProcess(selector, row) &&
                std::none_of(picked.begin(), picked.end(), [&](const PROCESSROW &p) { return p.nPid == row.nPid; }))
                picked.push_back(row);
        if (picked.size() == before) return BDError(ERROR_BD_NO_MATCH, selector.c_str());
    }
    return 0;
}

CString ProcessPath(DWORD pid) {
    HANDLE h = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
    if (!h) return CString();
    wchar_t path[MAX_PATH * 4];
    DWORD n = MAX_PATH * 4;
    CString result = QueryFullProcessImageNameW(h, 0, path, &n) ? CString(path, n) : CString();
    CloseHandle(h);
    return result;
}

namespace {

struct WINDOWSEARCH {
    DWORD nPid;
    std::vector<HWND> aWindows;
};

BOOL CALLBACK CollectWindow(HWND hwnd, LPARAM param) {
    auto *search = (WINDOWSEARCH *)param;
    DWORD pid = 0;
    GetWindowThreadProcessId(hwnd, &pid);
    if (pid == search->nPid) search->aWindows.push_back(hwnd);
    return TRUE;
}

// The top-level windows of a process.
std::vector<HWND> ProcessWindows(DWORD pid) {
    WINDOWSEARCH search{pid, {}};
    EnumWindows(CollectWindow, (LPARAM)&search);
    return search.aWindows;
}

// The title of the first visible window of the process that has one.
CString ProcessTitle(DWORD pid) {
    for (HWND hwnd : ProcessWindows(pid)) {
        if (!IsWindowVisible(hwnd)) continue;
        wchar_t title[512];
        int n = GetWindowTextW(hwnd, title, 512);
        if (n > 0) return CString(title, n);
    }
    return CString();
}

}  // namespace

// TASKLIST [/L] [pid | name | pattern ...]
int Tasklist_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"L", &mask, 0, nullptr)) return 2;
    std::vector<PROCESSROW> rows;
    if (!GetNthArgument(args.c_str(), 0)) rows = ListProcesses();
    else if (SelectProcesses(args, rows)) return 2;
    std::sort(rows.begin(), rows.end(), [](const PROCESSROW &a, const PROCESSROW &b) { return a.nPid < b.nPid; });
    for (const PROCESSROW &row : rows) {
        if (mask & 1)
            Printf(L"%6u %6u %4u  %-24s %s\r\n", row.nPid, row.nParent, row.nThreads, row.sName.c_str(),
                   ProcessPath(row.nPid).c_str());
        else
            Printf(L"%6u  %-24s %s\r\n", row.nPid, row.sName.c_str(), ProcessTitle(row.nPid).c_str());
        tty_yield(0);
    }
    return 0;
}

namespace {

// Wait up to seconds for a process to end (answering Ctrl+C).
bool WaitForEnd(HANDLE process, DWORD seconds) {
    ULONGLONG deadline = GetTickCount64() + seconds * 1000ULL;
    for (;;) {
        if (WaitForSingleObjectEx(process, 100, TRUE) == WAIT_OBJECT_0) return true;
        CheckBreak();
        if (GetTickCount64() >= deadline) return false;
    }
}

int EndOneProcess(const PROCESSROW &row, bool force, DWORD wait) {
    if (row.nPid == GetCurrentProcessId()) return BDError(ERROR_BD_OWN_PROCESS, row.sName.c_str());
    HANDLE h = OpenProcess(PROCESS_TERMINATE | SYNCHRONIZE, FALSE, row.nPid);
    if (!h) return BDError((int)GetLastError(), row.sName.c_str());
    int rc = 0;
    if (force) {
        if (!TerminateProcess(h, 1)) rc = BDError((int)GetLastError(), row.sName.c_str());
        else WaitForEnd(h, wait);
    } else {
        std::vector<HWND> windows = ProcessWindows(row.nPid);
        for (HWND hwnd : windows) PostMessageW(hwnd, WM_CLOSE, 0, 0);
        if (windows.empty() || !WaitForEnd(h, wait))
            rc = BDError(ERROR_BD_NOT_ENDED, FormatStr(L"%s (%u)", row.sName.c_str(), row.nPid).c_str());
    }
    CloseHandle(h);
    return rc;
}

}  // namespace

// TASKEND [/F] [/W:n] pid | name | pattern ...
int Taskend_Command(CString &args) {
    CString waitText;
    bool waits = GetMultiCharSwitch(args, L"W", &waitText, 0, nullptr, 0, 0) != 0;
    unsigned mask = 0;
    if (GetSwitches(args, L"F", &mask, 0, nullptr)) return 2;
    DWORD wait = kDefaultCloseWait;
    waitText.TrimLeft(L":");
    if (waits && !QueryIsNumber(waitText, &wait)) return BDError(ERROR_INVALID_PARAMETER, waitText.c_str());
    if (!GetNthArgument(args.c_str(), 0)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"TASKEND");
    std::vector<PROCESSROW> rows;
    if (SelectProcesses(args, rows)) return 2;
    int result = 0;
    for (const PROCESSROW &row : rows)
        if (int rc = EndOneProcess(row, mask & 1, wait)) result = rc;
    return result;
}

// ---- PRIORITY ----

namespace {

struct PRIORITYNAME {
    const wchar_t *pszName;
    DWORD nClass;
};
const PRIORITYNAME kPriorities[] = {
    {L"IDLE", IDLE_PRIORITY_CLASS},      {L"BELOWNORMAL", BELOW_NORMAL_PRIORITY_CLASS},
    {L"NORMAL", NORMAL_PRIORITY_CLASS},  {L"ABOVENORMAL", ABOVE_NORMAL_PRIORITY_CLASS},
    {L"HIGH", HIGH_PRIORITY_CLASS},      {L"REALTIME", REALTIME_PRIORITY_CLASS},
};

const PRIORITYNAME *FindPriority(const CString &word) {
    for (const PRIORITYNAME &p : kPriorities)
        if (word.EqualsNoCase(p.pszName)) return &p;
    return nullptr;
}

const wchar_t *PriorityName(DWORD value) {
    for (const PRIORITYNAME &p : kPriorities)
        if (p.nClass == value) return p.pszName;
    return L"UNKNOWN";
}

// Show or set one process's class; self is this shell.
int ProcessPriority(HANDLE h, const wchar_t *label, const PRIORITYNAME *wanted) {
    if (wanted) {
        if (!SetPriorityClass(h, wanted->nClass)) return BDError((int)GetLastError(), label);
        return 0;
    }
    DWORD value = GetPriorityClass(h);
    if (!value) return BDError((int)GetLastError(), label);
    if (*label) Printf(L"%s  %s\r\n", label, PriorityName(value));
    else Printf(L"%s\r\n", PriorityName(value));
    return 0;
}

}  // namespace

// PRIORITY [pid | name] [class]
int Priority_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString first, second;
    int count = 0;
    while (GetNthArgument(args.c_str(), count)) count++;
    if (count > 2) return BDError(ERROR_INVALID_PARAMETER, GetNthArgument(args.c_str(), 2));
    GetNthArgument(args.c_str(), 0, &first);
    GetNthArgument(args.c_str(), 1, &second);
    const PRIORITYNAME *wanted = nullptr;
    if (count == 2 && !(wanted = FindPriority(second))) return BDError(ERROR_BD_BAD_PRIORITY, second.c_str());
    if (count == 1 && (wanted = FindPriority(first))) count = 0;
    if (count == 0) return ProcessPriority(GetCurrentProcess(), L"", wanted);
    std::vector<PROCESSROW> rows;
    if (SelectProcesses(first, rows)) return 2;
    int result = 0;
    for (const PROCESSROW &row : rows) {
        DWORD access = PROCESS_QUERY_LIMITED_INFORMATION | (wanted ? PROCESS_SET_INFORMATION : 0);
        HANDLE h = OpenProcess(access, FALSE, row.nPid);
        CString label = FormatStr(L"%6u  %s", row.nPid, row.sName.c_str());
        if (!h) {
            result = BDError((int)GetLastError(), row.sName.c_str());
            continue;
        }
        if (int rc = ProcessPriority(h, label.c_str(), wanted)) result = rc;
        CloseHandle(h);
    }
    return result;
}

// ---- ENUMPROCESSES ----

namespace {

// A variable's value before the command changed it, put back at the end.
class SavedVariable {
public:
    explicit SavedVariable(const CString &name) : name_(name), had_(QueryEnvVar(name.c_str(), &value_)) {}
    ~SavedVariable() { SetEVariable((name_ + L"=" + (had_ ? value_ : CString())).c_str()); }
    SavedVariable(const SavedVariable &) = delete;
    SavedVariable &operator=(const SavedVariable &) = delete;

private:
    CString name_, value_;
    bool had_;
};

bool IsVariableName(const CString &name) {
    return !name.empty() && name.find_first_of(L"=%\"") == CString::npos;
}

}  // namespace

// ENUMPROCESSES [/P:pattern] [pidvar namevar command]
int Enumprocesses_Command(CString &args) {
    CString pattern;
    bool filtered = GetMultiCharSwitch(args, L"P", &pattern, 0, nullptr, 0, SW_STOP_AT_ARG) != 0;
    pattern.TrimLeft(L":");
    StripQuotes_S(pattern);
    std::vector<PROCESSROW> rows;
    if (!filtered) rows = ListProcesses();
    else if (SelectProcesses(pattern, rows)) return 2;
    CString pidVar, nameVar;
    int start = -1;
    if (!GetNthArgument(args.c_str(), 0, &pidVar)) {
        for (const PROCESSROW &row : rows) Printf(L"%6u  %s\r\n", row.nPid, row.sName.c_str());
        return 0;
    }
    if (!GetNthArgument(args.c_str(), 1, &nameVar) || !GetNthArgument(args.c_str(), 2, nullptr, &start))
        return BDError(ERROR_BD_MISSING_ARGUMENT, L"ENUMPROCESSES");
    if (!IsVariableName(pidVar) || !IsVariableName(nameVar))
        return BDError(ERROR_INVALID_PARAMETER, IsVariableName(pidVar) ? nameVar.c_str() : pidVar.c_str());
    CString command = args.Mid(start);
    SavedVariable savedPid(pidVar), savedName(nameVar);
    int result = 0;
    for (const PROCESSROW &row : rows) {
        SetEVariable(FormatStr(L"%s=%u", pidVar.c_str(), row.nPid).c_str());
        SetEVariable((nameVar + L"=" + row.sName).c_str());
        result = aHooks.pfnCommand(command, CMD_DEBUG);
        if (result == BATCH_ABORT || result == BATCH_RETURN) break;
    }
    return result;
}

// ---- MEMORY ----

namespace {

CString Thousands(unsigned long long value) {
    CString digits = FormatStr(L"%I64u", value), out;
    wchar_t sep = QueryThousandsChar();
    for (size_t i = 0; i < digits.size(); i++) {
        if (i && (digits.size() - i) % 3 == 0) out += sep;
        out += digits[i];
    }
    return out;
}

void MemoryLine(const wchar_t *label, unsigned long long total, unsigned long long avail) {
    Printf(L"%-18s%15s KB total %15s KB free\r\n", label, Thousands(total / 1024).c_str(),
           Thousands(avail / 1024).c_str());
}

}  // namespace

// MEMORY: the system's memory, and what this shell and its lists use.
int Memory_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    if (!args.TrimLeftCopy().empty()) return BDError(ERROR_INVALID_PARAMETER, args.TrimLeftCopy().c_str());
    MEMORYSTATUSEX status{};
    status.dwLength = sizeof(status);
    if (!GlobalMemoryStatusEx(&status)) return BDError((int)GetLastError(), nullptr);
    Printf(L"%-18s%15u%%\r\n", L"Memory load:", (unsigned)status.dwMemoryLoad);
    MemoryLine(L"Physical memory:", status.ullTotalPhys, status.ullAvailPhys);
    MemoryLine(L"Page file:", status.ullTotalPageFile, status.ullAvailPageFile);
    MemoryLine(L"Virtual memory:", status.ullTotalVirtual, status.ullAvailVirtual);
    PROCESS_MEMORY_COUNTERS counters{};
    if (GetProcessMemoryInfo(GetCurrentProcess(), &counters, sizeof(counters)))
        Printf(L"%-18s%15s KB in use\r\n", L"This shell:", Thousands(counters.WorkingSetSize / 1024).c_str());
    Printf(L"%-18s%15s characters\r\n", L"Environment:", Thousands(GetEnvironmentBlock().size()).c_str());
    for (int kind : {LIST_ALIASES, LIST_FUNCTIONS}) {
        wchar_t **list = DefaultList(kind);
        size_t used = list && *list ? (size_t)GetListSize(*list) : 0;
        size_t room = list && *list ? QueryListBlockBytes(*list) / sizeof(wchar_t) : 0;
        Printf(L"%-18s%15s characters of %s\r\n", kind == LIST_ALIASES ? L"Aliases:" : L"Functions:",
               Thousands(used).c_str(), Thousands(room).c_str());
    }
    return 0;
}
