// The commands about the system as a whole: SERVICES, EVENTLOG, INSTALLED,
// REGDIR and REBOOT.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/state.h"
#include "console/console.h"
#include "system/system.h"
#include "vars/lists.h"
#include <algorithm>
#include <vector>

namespace {

constexpr DWORD kDefaultEvents = 10;

bool LessNoCase(const CString &a, const CString &b) { return StrICmp(a, b) < 0; }

const wchar_t *StateName(DWORD state) {
    switch (state) {
    case SERVICE_STOPPED: return L"STOPPED";
    case SERVICE_START_PENDING: return L"STARTING";
    case SERVICE_STOP_PENDING: return L"STOPPING";
    case SERVICE_RUNNING: return L"RUNNING";
    case SERVICE_CONTINUE_PENDING: return L"RESUMING";
    case SERVICE_PAUSE_PENDING: return L"PAUSING";
    case SERVICE_PAUSED: return L"PAUSED";
    }
    return L"UNKNOWN";
}

// Service manager handles, closed when they go.
class ServiceHandle {
public:
    explicit ServiceHandle(SC_HANDLE h = nullptr) : h_(h) {}
    ~ServiceHandle() {
        if (h_) CloseServiceHandle(h_);
    }
    ServiceHandle(const ServiceHandle &) = delete;
    ServiceHandle &operator=(const ServiceHandle &) = delete;
    SC_HANDLE Get() const { return h_; }

private:
    SC_HANDLE h_;
};

int ListServices(const CString &pattern) {
    ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_ENUMERATE_SERVICE));
    if (!manager.Get()) return BDError((int)GetLastError(), nullptr);
    DWORD needed = 0, count = 0, resume = 0;
    EnumServicesStatusExW(manager.Get(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, nullptr, 0, &needed,
                          &count, &resume, nullptr);
    std::vector<BYTE> buffer(needed + 1024);
    resume = 0;
    if (!EnumServicesStatusExW(manager.Get(), SC_ENUM_PROCESS_INFO, SERVICE_WIN32, SERVICE_STATE_ALL, buffer.data(),
                               (DWORD)buffer.size(), &needed, &count, &resume, nullptr))
        return BDError((int)GetLastError(), nullptr);
    auto *rows = (ENUM_SERVICE_STATUS_PROCESSW *)buffer.data();
    std::vector<ENUM_SERVICE_STATUS_PROCESSW *> shown;
    for (DWORD i = 0; i < count; i++)
        if (pattern.empty() || MatchNamePattern(pattern.c_str(), rows[i].lpServiceName)) shown.push_back(&rows[i]);
    if (shown.empty() && !pattern.empty()) return BDError(ERROR_BD_NO_MATCH, pattern.c_str());
    std::sort(shown.begin(), shown.end(), [](auto *a, auto *b) { return StrICmp(a->lpServiceName, b->lpServiceName) < 0; });
    for (auto *row : shown)
        Printf(L"%-24s %-9s %s\r\n", row->lpServiceName, StateName(row->ServiceStatusProcess.dwCurrentState),
               row->lpDisplayName);
    return 0;
}

int ControlOneService(const CString &verb, const CString &name) {
    struct VERB {
        const wchar_t *pszWord;
        DWORD nControl;   // 0: start
        DWORD nAccess;
    };
    static const VERB verbs[] = {{L"START", 0, SERVICE_START},
                                 {L"STOP", SERVICE_CONTROL_STOP, SERVICE_STOP},
                                 {L"PAUSE", SERVICE_CONTROL_PAUSE, SERVICE_PAUSE_CONTINUE},
                                 {L"CONTINUE", SERVICE_CONTROL_CONTINUE, SERVICE_PAUSE_CONTINUE}};
    const VERB *v = nullptr;
    for (const VERB &candidate : verbs)
        if (verb.EqualsNoCase(candidate.pszWord)) v = &candidate;
    if (!v) return BDError(ERROR_BD_UNKNOWN_WORD, verb.c_str());
    ServiceHandle manager(OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT));
    if (!manager.Get()) return BDError((int)GetLastError(), nullptr);
    ServiceHandle service(OpenServiceW(manager.Get(), name.c_str(), v->nAccess));
    if (!service.Get()) return BDError((int)GetLastError(), name.c_str());
    SERVICE_STATUS status{};
    BOOL ok = v->nControl ? ControlService(service.Get(), v->nControl, &status) : StartServiceW(service.Get(), 0, nullptr);
    return ok ? 0 : BDError((int)GetLastError(), name.c_str());
}

}  // namespace

bool QueryIsWine() {
    HMODULE ntdll = GetModuleHandleW(L"ntdll.dll");
    return ntdll && GetProcAddress(ntdll, "wine_get_version");
}

// SERVICES [pattern] | START | STOP | PAUSE | CONTINUE name
int Services_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString first, name;
    GetNthArgument(args.c_str(), 0, &first);
    if (!GetNthArgument(args.c_str(), 1, &name)) {
        StripQuotes_S(first);
        return ListServices(first);
    }
    if (GetNthArgument(args.c_str(), 2)) return BDError(ERROR_INVALID_PARAMETER, GetNthArgument(args.c_str(), 2));
    StripQuotes_S(name);
    return ControlOneService(first, name);
}

// ---- EVENTLOG ----

namespace {

const wchar_t *EventTypeName(WORD type) {
    switch (type) {
    case EVENTLOG_ERROR_TYPE: return L"ERROR";
    case EVENTLOG_WARNING_TYPE: return L"WARNING";
    case EVENTLOG_AUDIT_SUCCESS: return L"SUCCESS";
    case EVENTLOG_AUDIT_FAILURE: return L"FAILURE";
    }
    return L"INFO";
}

void ShowEvent(const EVENTLOGRECORD *e) {
    const wchar_t *source = (const wchar_t *)(e + 1);
    CString text;
    const wchar_t *s = (const wchar_t *)((const BYTE *)e + e->StringOffset);
    for (WORD i = 0; i < e->NumStrings; i++, s += wcslen(s) + 1) text += (i ? L" " : L"") + CString(s);
    FILETIME utc, local;
    ULARGE_INTEGER t;
    t.QuadPart = (e->TimeGenerated + 11644473600ULL) * 10000000ULL;
    utc.dwLowDateTime = t.LowPart, utc.dwHighDateTime = t.HighPart;
    SYSTEMTIME when;
    FileTimeToLocalFileTime(&utc, &local);
    FileTimeToSystemTime(&local, &when);
    Printf(L"%04u-%02u-%02u %02u:%02u:%02u  %-7s %s: %s\r\n", when.wYear, when.wMonth, when.wDay, when.wHour,
           when.wMinute, when.wSecond, EventTypeName(e->EventType), source, text.c_str());
}

int ReadEvents(const CString &log, const CString &source, DWORD count) {
    HANDLE h = OpenEventLogW(nullptr, log.c_str());
    if (!h) return BDError((int)GetLastError(), log.c_str());
    std::vector<BYTE> buffer(0x10000);
    DWORD shown = 0;
    for (;;) {
        DWORD got = 0, needed = 0;
        if (!ReadEventLogW(h, EVENTLOG_SEQUENTIAL_READ | EVENTLOG_BACKWARDS_READ, 0, buffer.data(),
                           (DWORD)buffer.size(), &got, &needed)) {
            if (GetLastError() == ERROR_INSUFFICIENT_BUFFER && needed > buffer.size()) {
                buffer.resize(needed);
                continue;
            }
            break;
        }
        for (DWORD at = 0; at < got && shown < count;) {
            auto *e = (const EVENTLOGRECORD *)(buffer.data() + at);
            if (source.empty() || source.EqualsNoCase((const wchar_t *)(e + 1))) ShowEvent(e), shown++;
            at += e->Length;
        }
        if (shown >= count) break;
    }
    CloseEventLog(h);
    return 0;
}

int WriteEvent(const CString &source, const CString &typeName, const CString &text) {
    WORD type = EVENTLOG_INFORMATION_TYPE;
    if (typeName.EqualsNoCase(L"WARNING")) type = EVENTLOG_WARNING_TYPE;
    else if (typeName.EqualsNoCase(L"ERROR")) type = EVENTLOG_ERROR_TYPE;
    else if (!typeName.empty() && !typeName.EqualsNoCase(L"INFO")) return BDError(ERROR_BD_UNKNOWN_WORD, typeName.c_str());
    HANDLE h = RegisterEventSourceW(nullptr, source.empty() ? L"BDX" : source.c_str());
    if (!h) return BDError((int)GetLastError(), source.c_str());
    const wchar_t *strings[] = {text.c_str()};
    BOOL ok = ReportEventW(h, type, 0, 0, nullptr, 1, 0, strings, nullptr);
    int rc = ok ? 0 : (int)GetLastError();
    DeregisterEventSource(h);
    return rc ? BDError(rc, nullptr) : 0;
}

}  // namespace

// EVENTLOG [/N n] [/S source] [log] | /W [/S source] [/T type] text
int Eventlog_Command(CString &args) {
    CString source, typeName, countText;
    if (GetMultiCharSwitch(args, L"S", &source, 0, nullptr, 0, 0)) source.TrimLeft(L":");
    if (GetMultiCharSwitch(args, L"T", &typeName, 0, nullptr, 0, 0)) typeName.TrimLeft(L":");
    bool counted = GetMultiCharSwitch(args, L"N", &countText, 0, nullptr, 0, 0) != 0;
    unsigned mask = 0;
    if (GetSwitches(args, L"W", &mask, 0, nullptr)) return 2;
    DWORD count = kDefaultEvents;
    countText.TrimLeft(L":");
    if (counted && !QueryIsNumber(countText, &count)) return BDError(ERROR_INVALID_PARAMETER, countText.c_str());
    StripQuotes_S(source);
    args.Trim();
    StripEnclosingQuotes_S(args);
    if ((mask & 1) && args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"EVENTLOG /W");
    // Wine's event log functions accept everything and keep nothing.
    if (QueryIsWine()) return BDError(ERROR_BD_NEEDS_SYSTEM, L"the event log (Wine keeps none)");
    if (mask & 1) return WriteEvent(source, typeName, args);
    return ReadEvents(args.empty() ? CString(L"Application") : args, source, count);
}

// ---- INSTALLED ----

namespace {

struct PROGRAM {
    CString sName, sVersion;
};

void ReadUninstallKey(HKEY root, REGSAM view, std::vector<PROGRAM> &programs) {
    HKEY key;
    if (RegOpenKeyExW(root, L"Software\\Microsoft\\Windows\\CurrentVersion\\Uninstall", 0, KEY_READ | view, &key))
        return;
    wchar_t sub[256];
    for (DWORD i = 0;; i++) {
        DWORD n = 256;
        if (RegEnumKeyExW(key, i, sub, &n, nullptr, nullptr, nullptr, nullptr)) break;
        wchar_t name[512], version[128];
        DWORD nameBytes = sizeof(name), versionBytes = sizeof(version);
        if (RegGetValueW(key, sub, L"DisplayName", RRF_RT_REG_SZ, nullptr, name, &nameBytes)) continue;
        if (RegGetValueW(key, sub, L"DisplayVersion", RRF_RT_REG_SZ, nullptr, version, &versionBytes)) version[0] = 0;
        if (std::none_of(programs.begin(), programs.end(), [&](const PROGRAM &p) { return p.sName.EqualsNoCase(name); }))
            programs.push_back({name, version});
    }
    RegCloseKey(key);
}

}  // namespace

// INSTALLED [pattern]
int Installed_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString pattern;
    GetNthArgument(args.c_str(), 0, &pattern);
    StripQuotes_S(pattern);
    std::vector<PROGRAM> programs;
    ReadUninstallKey(HKEY_LOCAL_MACHINE, KEY_WOW64_64KEY, programs);
    ReadUninstallKey(HKEY_LOCAL_MACHINE, KEY_WOW64_32KEY, programs);
    ReadUninstallKey(HKEY_CURRENT_USER, 0, programs);
    std::sort(programs.begin(), programs.end(), [](const PROGRAM &a, const PROGRAM &b) { return LessNoCase(a.sName, b.sName); });
    int shown = 0;
    for (const PROGRAM &p : programs) {
        if (!pattern.empty() && !MatchNamePattern(pattern.c_str(), p.sName.c_str())) continue;
        Printf(L"%-50s %s\r\n", p.sName.c_str(), p.sVersion.c_str());
        shown++;
    }
    if (!shown && !pattern.empty()) return BDError(ERROR_BD_NO_MATCH, pattern.c_str());
    return 0;
}

// ---- REBOOT ----

namespace {

bool EnableShutdownPrivilege() {
    HANDLE token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token)) return false;
    TOKEN_PRIVILEGES p{};
    p.PrivilegeCount = 1;
    p.Privileges[0].Attributes = SE_PRIVILEGE_ENABLED;
    bool ok = LookupPrivilegeValueW(nullptr, SE_SHUTDOWN_NAME, &p.Privileges[0].Luid) &&
              AdjustTokenPrivileges(token, FALSE, &p, 0, nullptr, nullptr) && GetLastError() == ERROR_SUCCESS;
    CloseHandle(token);
    return ok;
}

}  // namespace

// REBOOT [/L | /P | /S] [/F]: asks first, always.
int Reboot_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"LPSF", &mask, 0, nullptr)) return 2;
    if (!args.TrimLeftCopy().empty()) return BDError(ERROR_INVALID_PARAMETER, args.TrimLeftCopy().c_str());
    UINT how = (mask & 1) ? EWX_LOGOFF : (mask & 2) ? EWX_POWEROFF : (mask & 4) ? EWX_SHUTDOWN : EWX_REBOOT;
    const wchar_t *what = (mask & 1) ? L"Log off" : (mask & 2) ? L"Turn off" : (mask & 4) ? L"Shut down" : L"Restart";
    CString question = FormatStr(L"%s %s? (Y/N) ", what, (mask & 1) ? L"now" : L"the system");
    int answer = QueryInputChar(question.c_str(), LoadLanguageString(IDS_QUERY_KEYS).c_str());
    CrLf();
    if (ToUpperChar((wchar_t)answer) != ToUpperChar(aGlobals.cYes)) return 0;
    if (!(mask & 1) && !EnableShutdownPrivilege()) return BDError((int)GetLastError(), nullptr);
    if (mask & 8) how |= EWX_FORCE;
    if (!ExitWindowsEx(how, SHTDN_REASON_MAJOR_OTHER | SHTDN_REASON_FLAG_PLANNED)) return BDError((int)GetLastError(), nullptr);
    return 0;
}
