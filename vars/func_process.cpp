// Process and machine queries of the system family: processes by id
// (@PID, @PPID, @PIDCOMMAND, @PIDUSER, @PRIORITY, @PROCESSIO,
// @PROCESSTIME, @ISPROC), memory and system figures (@DOSMEM, @WINMEMORY,
// @WINMETRICS, @WINSYSTEM, @DEBUG), group membership and services
// (@GROUP, @SERVICE), file types (@ASSOC, @FTYPE), calls into system
// libraries (@WINAPI, @CAPI) and management queries (@WMI).
#include "vars/func_internal.h"
#include <winternl.h>
#include <wbemidl.h>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/state.h"
#include "system/system.h"
#include "vars/lists.h"
#include "vars/functions.h"

namespace {

// The process id of the argument; the shell's own when it is empty.
bool ReadPid(const CString &args, DWORD *pid) {
    long long n = GetCurrentProcessId();
    if (!args.TrimLeftCopy().empty() && (!ReadWholeNumber(args, &n) || n < 0 || n > 0xFFFFFFFFLL)) return false;
    *pid = (DWORD)n;
    return true;
}

// The command line of another process, read from its parameters.
CString CommandLineOf(HANDLE h) {
    using Query = LONG(WINAPI *)(HANDLE, int, void *, ULONG, ULONG *);
    static const Query query = reinterpret_cast<Query>(
        reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "NtQueryInformationProcess")));
    constexpr int kProcessCommandLineInformation = 60;
    ULONG size = 0;
    if (!query) return CString();
    query(h, kProcessCommandLineInformation, nullptr, 0, &size);
    if (!size || size > 0x100000) return CString();
    std::string buffer(size, '\0');
    if (query(h, kProcessCommandLineInformation, buffer.data(), size, &size) < 0) return CString();
    const UNICODE_STRING *s = (const UNICODE_STRING *)buffer.data();
    return s->Buffer ? CString(s->Buffer, s->Length / sizeof(wchar_t)) : CString();
}

CString UserOf(HANDLE process) {
    HANDLE token = nullptr;
    if (!OpenProcessToken(process, TOKEN_QUERY, &token)) return CString();
    DWORD size = 0;
    GetTokenInformation(token, TokenUser, nullptr, 0, &size);
    std::string buffer(size, '\0');
    CString result;
    if (size && GetTokenInformation(token, TokenUser, buffer.data(), size, &size)) {
        wchar_t name[256], domain[256];
        DWORD nameSize = 256, domainSize = 256;
        SID_NAME_USE use;
        if (LookupAccountSidW(nullptr, ((TOKEN_USER *)buffer.data())->User.Sid, name, &nameSize, domain, &domainSize, &use))
            result = *domain ? CString(domain) + L"\\" + name : CString(name);
    }
    CloseHandle(token);
    return result;
}

const wchar_t *PriorityName(DWORD priority) {
    switch (priority) {
    case IDLE_PRIORITY_CLASS: return L"Idle";
    case BELOW_NORMAL_PRIORITY_CLASS: return L"BelowNormal";
    case NORMAL_PRIORITY_CLASS: return L"Normal";
    case ABOVE_NORMAL_PRIORITY_CLASS: return L"AboveNormal";
    case HIGH_PRIORITY_CLASS: return L"High";
    case REALTIME_PRIORITY_CLASS: return L"Realtime";
    default: return L"Unknown";
    }
}

unsigned long long Milliseconds(const FILETIME &t) {
    return (((unsigned long long)t.dwHighDateTime << 32) | t.dwLowDateTime) / 10000;
}

// A process's answer for one of the functions that take an id.
int ProcessValue(int nCase, HANDLE h, CString *value) {
    switch (nCase) {
    case FC_pidcommand: {
        CString text = GetProcessId(h) == GetCurrentProcessId() ? CString(GetCommandLineW()) : CommandLineOf(h);
        *value = text.empty() ? ProcessPath(GetProcessId(h)) : text;
        return value->empty() ? SystemError() : 0;
    }
    case FC_piduser: *value = UserOf(h); return value->empty() ? SystemError() : 0;
    case FC_priority: {
        DWORD p = GetPriorityClass(h);
        if (!p) return SystemError();
        *value = PriorityName(p);
        return 0;
    }
    case FC_processio: {
        IO_COUNTERS io{};
        if (!GetProcessIoCounters(h, &io)) return SystemError();
        *value = FormatStr(L"%I64u %I64u %I64u %I64u %I64u %I64u", io.ReadOperationCount, io.WriteOperationCount,
                           io.OtherOperationCount, io.ReadTransferCount, io.WriteTransferCount, io.OtherTransferCount);
        return 0;
    }
    default: {  // @PROCESSTIME
        FILETIME created, ended, kernel, user, now;
        if (!GetProcessTimes(h, &created, &ended, &kernel, &user)) return SystemError();
        GetSystemTimeAsFileTime(&now);
        *value = FormatStr(L"%I64u %I64u %I64u", Milliseconds(now) - Milliseconds(created), Milliseconds(kernel),
                           Milliseconds(user));
        return 0;
    }
    }
}

}  // namespace

// @PID[]: the shell's process id.
int Func_Pid(FUNCCALL &call) { return SetNumber(call.args, GetCurrentProcessId()); }

// @PPID[[pid]]: the id of the process that started a process.
int Func_Ppid(FUNCCALL &call) {
    DWORD pid;
    if (!ReadPid(call.args, &pid)) return ERROR_INVALID_PARAMETER;
    for (const PROCESSROW &p : ListProcesses())
        if (p.nPid == pid) return SetNumber(call.args, p.nParent);
    return ERROR_INVALID_PARAMETER;
}

// @PIDCOMMAND[[pid]]: its command line (the program's path when that cannot
// be read); @PIDUSER: "domain\user" that runs it; @PRIORITY: its priority
// class (Idle, BelowNormal, Normal, AboveNormal, High, Realtime);
// @PROCESSIO: its reads, writes and other operations, then the bytes of
// each; @PROCESSTIME: milliseconds since it started, in the kernel, and in
// its own code.
int Func_ProcessInfo(FUNCCALL &call) {
    DWORD pid;
    if (!ReadPid(call.args, &pid)) return ERROR_INVALID_PARAMETER;
    DWORD access = call.nCase == FC_pidcommand ? PROCESS_QUERY_INFORMATION | PROCESS_VM_READ : PROCESS_QUERY_INFORMATION;
    ProcessHandle full(pid, access), limited(pid, full.Get() ? 0 : PROCESS_QUERY_LIMITED_INFORMATION);
    HANDLE h = full.Get() ? full.Get() : limited.Get();
    if (!h) return SystemError();
    CString value;
    if (int rc = ProcessValue(call.nCase, h, &value)) return rc;
    call.args = value;
    return call.nCase == FC_pidcommand ? FUNC_NO_RESCAN : 0;  // a command line is stored text
}

// @ISPROC[name|pid]: 1 when a process of that id, or of that program name
// (with or without ".exe", wildcards allowed), runs.
int Func_IsProc(FUNCCALL &call) {
    CString name = NameArgument(call.args);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    long long pid = -1;
    bool byId = ReadWholeNumber(name, &pid);
    for (const PROCESSROW &p : ListProcesses()) {
        CString bare = p.sName;
        if (bare.size() > 4 && bare.Right(4).EqualsNoCase(L".exe")) bare.resize(bare.size() - 4);
        if (byId ? p.nPid == (DWORD)pid : MatchNamePattern(name.c_str(), p.sName.c_str()) || MatchNamePattern(name.c_str(), bare.c_str()))
            return SetNumber(call.args, 1);
    }
    return SetNumber(call.args, 0);
}

// @DOSMEM[[scale]]: free physical memory, in bytes or the scale's unit
// (k K m M g G, as the disk functions take them; a "c" adds separators).
// @WINMEMORY[[n]]: n 0 the memory load in percent, 1 and 2 total and free
// physical memory, 3 and 4 the page file, 5 and 6 the address space.
int Func_Memory(FUNCCALL &call) {
    MEMORYSTATUSEX m{};
    m.dwLength = sizeof m;
    if (!GlobalMemoryStatusEx(&m)) return SystemError();
    CString arg = call.args;
    arg.Trim();
    if (call.nCase == FC_dosmem) return ScaleByteCount(m.ullAvailPhys, arg.empty() ? CString(L"b") : arg, call.args);
    long long n = 0;
    if (!arg.empty() && (!ReadWholeNumber(arg, &n) || n < 0 || n > 6)) return ERROR_INVALID_PARAMETER;
    const unsigned long long values[] = {m.dwMemoryLoad,     m.ullTotalPhys,    m.ullAvailPhys,   m.ullTotalPageFile,
                                         m.ullAvailPageFile, m.ullTotalVirtual, m.ullAvailVirtual};
    call.args = FormatStr(L"%I64u", values[n]);
    return 0;
}

// @WINMETRICS[n]: the system metric n (GetSystemMetrics numbering).
int Func_WinMetrics(FUNCCALL &call) {
    long long n = 0;
    if (!ReadWholeNumber(call.args, &n) || n < 0 || n > 0x3000) return ERROR_INVALID_PARAMETER;
    return SetNumber(call.args, GetSystemMetrics((int)n));
}

// @WINSYSTEM[]: the system's own directory.
int Func_WinSystem(FUNCCALL &call) {
    CString dir(MAX_PATH + 1, L'\0');
    UINT n = GetSystemDirectoryW(dir.data(), (UINT)dir.size());
    if (!n) return SystemError();
    dir.resize(n);
    call.args = dir;
    return 0;
}

// @DEBUG[]: 1 while a debugger is attached to the shell.
int Func_Debug(FUNCCALL &call) { return SetNumber(call.args, IsDebuggerPresent() ? 1 : 0); }

// @GROUP[name]: 1 when the user's token holds the group, else 0.
int Func_Group(FUNCCALL &call) {
    CString name = NameArgument(call.args);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    DWORD sidSize = 0, domainSize = 0;
    SID_NAME_USE use;
    LookupAccountNameW(nullptr, name.c_str(), nullptr, &sidSize, nullptr, &domainSize, &use);
    if (!sidSize) return SystemError();
    std::string sid(sidSize, '\0');
    CString domain(domainSize + 1, L'\0');
    if (!LookupAccountNameW(nullptr, name.c_str(), sid.data(), &sidSize, domain.data(), &domainSize, &use))
        return SystemError();
    BOOL member = FALSE;
    if (!CheckTokenMembership(nullptr, sid.data(), &member)) return SystemError();
    return SetNumber(call.args, member ? 1 : 0);
}

// @SERVICE[name]: the state of a service: STOPPED, START_PENDING,
// STOP_PENDING, RUNNING, CONTINUE_PENDING, PAUSE_PENDING or PAUSED.
int Func_Service(FUNCCALL &call) {
    CString name = NameArgument(call.args);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    SC_HANDLE manager = OpenSCManagerW(nullptr, nullptr, SC_MANAGER_CONNECT);
    if (!manager) return SystemError();
    SC_HANDLE service = OpenServiceW(manager, name.c_str(), SERVICE_QUERY_STATUS);
    SERVICE_STATUS status{};
    int rc = service && QueryServiceStatus(service, &status) ? 0 : SystemError();
    if (service) CloseServiceHandle(service);
    CloseServiceHandle(manager);
    if (rc) return rc;
    static const wchar_t *const states[] = {L"STOPPED",          L"START_PENDING", L"STOP_PENDING", L"RUNNING",
                                            L"CONTINUE_PENDING", L"PAUSE_PENDING", L"PAUSED"};
    DWORD state = status.dwCurrentState;
    call.args = state >= 1 && state <= 7 ? states[state - 1] : L"UNKNOWN";
    return 0;
}

// @ASSOC[.ext]: the file type of an extension; @FTYPE[type]: the command
// that opens a file type.  Empty when there is none.
int Func_Assoc(FUNCCALL &call) {
    CString name = NameArgument(call.args);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    CString key = call.nCase == FC_assoc ? name : name + L"\\shell\\open\\command";
    DWORD size = 0;
    LSTATUS s = RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND,
                             nullptr, nullptr, &size);
    CString value;
    if (!s) {
        value.resize(size / sizeof(wchar_t) + 1);
        s = RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND,
                         nullptr, value.data(), &size);
        value.resize(wcsnlen(value.c_str(), value.size()));
    }
    if (s && s != ERROR_FILE_NOT_FOUND) return SystemError(s);
    call.args = s ? CString() : value;
    return FUNC_NO_RESCAN;
}

// @WINAPI[library,function[,argument...]]: call a function of a system
// library.  An argument is a number, a "quoted string" (passed as UTF-16
// text; as ANSI text with @CAPI) or the word BUFFER (a zeroed buffer of
// 32768 characters).  The value is the function's result as an integer, or
// the text it left in BUFFER.  Up to 12 arguments are passed.
int Func_WinApi(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    if (args.size() < 2 || args.size() > 14) return ERROR_INVALID_PARAMETER;
    for (CString &a : args) a.Trim();
    bool ansi = call.nCase == FC_capi;
    std::vector<CString> wide;
    std::vector<std::string> narrow;
    wide.reserve(12), narrow.reserve(12);
    intptr_t values[12] = {};
    int buffer = -1;
    for (size_t i = 2; i < args.size(); i++) {
        CString &a = args[i];
        long long n = 0;
        if (a.EqualsNoCase(L"BUFFER") && buffer < 0) {
            buffer = (int)(i - 2);
            if (ansi) narrow.emplace_back(0x8000, '\0'), values[i - 2] = (intptr_t)narrow.back().data();
            else wide.emplace_back(0x8000, L'\0'), values[i - 2] = (intptr_t)wide.back().data();
        } else if (a.size() >= 2 && a.front() == L'"' && a.back() == L'"') {
            CString text = a.Mid(1, a.size() - 2);
            UnEscapeLine(text);
            if (ansi) narrow.push_back(ToCodePage(text.c_str(), (int)text.size(), CP_ACP)), values[i - 2] = (intptr_t)narrow.back().c_str();
            else wide.push_back(text), values[i - 2] = (intptr_t)wide.back().c_str();
        } else if (ReadWholeNumber(a, &n)) {
            values[i - 2] = (intptr_t)n;
        } else {
            return ERROR_INVALID_PARAMETER;
        }
    }
    StripQuotes_S(args[0]);
    HMODULE module = GetModuleHandleW(args[0].c_str());
    bool loaded = !module;
    if (!module && !(module = LoadLibraryW(args[0].c_str()))) return SystemError();
    using AnyFunction = intptr_t(WINAPI *)(intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t, intptr_t,
                                           intptr_t, intptr_t, intptr_t, intptr_t);
    std::string procName = ToCodePage(args[1].c_str(), (int)args[1].size(), CP_ACP);
    FARPROC proc = GetProcAddress(module, procName.c_str());
    if (!proc) {
        int rc = SystemError();
        if (loaded) FreeLibrary(module);
        return rc;
    }
    AnyFunction f = reinterpret_cast<AnyFunction>(reinterpret_cast<void *>(proc));
    intptr_t result = f(values[0], values[1], values[2], values[3], values[4], values[5], values[6], values[7],
                        values[8], values[9], values[10], values[11]);
    if (buffer >= 0)
        call.args = ansi ? FromCodePage((const char *)values[buffer], (int)strnlen((const char *)values[buffer], 0x8000), CP_ACP)
                         : CString((const wchar_t *)values[buffer], wcsnlen((const wchar_t *)values[buffer], 0x8000));
    else
        call.args = FormatStr(L"%I64d", (long long)result);
    if (loaded) FreeLibrary(module);
    return 0;
}

namespace {

template <typename T>
struct ComPtr {
    T *p = nullptr;
    ~ComPtr() {
        if (p) p->Release();
    }
    T **operator&() { return &p; }
    T *operator->() const { return p; }
};

// A failed COM call as an error code: its low word for the system's own
// errors, else the code as it stands.
int ComError(HRESULT hr) { return HRESULT_FACILITY(hr) == FACILITY_WIN32 ? HRESULT_CODE(hr) : (int)hr; }

// The properties of one object, "value,value,..." in the order the object
// gives them; each value as text.
int ObjectText(IWbemClassObject *object, CString *text) {
    HRESULT hr = object->BeginEnumeration(WBEM_FLAG_NONSYSTEM_ONLY);
    if (FAILED(hr)) return ComError(hr);
    for (;;) {
        BSTR name = nullptr;
        VARIANT value;
        VariantInit(&value);
        if (object->Next(0, &name, &value, nullptr, nullptr) != WBEM_S_NO_ERROR) break;
        SysFreeString(name);
        if (!text->empty()) *text += L',';
        if (value.vt != VT_NULL && value.vt != VT_EMPTY && SUCCEEDED(VariantChangeType(&value, &value, 0, VT_BSTR)))
            *text += value.bstrVal;
        VariantClear(&value);
    }
    object->EndEnumeration();
    return 0;
}

}  // namespace

// @WMI[namespace,query[,n]]: the properties of row n (from 0) of a
// management query, separated by commas; empty past the last row.
int Func_Wmi(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    long long row = 0;
    if (args.size() < 2 || args.size() > 3 || (args.size() == 3 && (!ReadWholeNumber(args[2], &row) || row < 0)))
        return ERROR_INVALID_PARAMETER;
    for (CString &a : args) {
        a = NameArgument(a);
    }
    if (args[0].empty() || args[1].empty()) return ERROR_INVALID_PARAMETER;
    if (!EnsureCOM()) return ERROR_BD_NEEDS_SYSTEM;
    ComPtr<IWbemLocator> locator;
    HRESULT hr = CoCreateInstance(CLSID_WbemLocator, nullptr, CLSCTX_INPROC_SERVER, IID_IWbemLocator, (void **)&locator);
    if (FAILED(hr)) return ComError(hr);
    ComPtr<IWbemServices> services;
    BSTR ns = SysAllocString(args[0].c_str());
    hr = locator->ConnectServer(ns, nullptr, nullptr, nullptr, 0, nullptr, nullptr, &services);
    SysFreeString(ns);
    if (FAILED(hr)) return ComError(hr);
    CoSetProxyBlanket((IUnknown *)services.p, RPC_C_AUTHN_WINNT, RPC_C_AUTHZ_NONE, nullptr, RPC_C_AUTHN_LEVEL_CALL,
                      RPC_C_IMP_LEVEL_IMPERSONATE, nullptr, EOAC_NONE);
    ComPtr<IEnumWbemClassObject> rows;
    BSTR language = SysAllocString(L"WQL"), query = SysAllocString(args[1].c_str());
    hr = services->ExecQuery(language, query, WBEM_FLAG_FORWARD_ONLY | WBEM_FLAG_RETURN_IMMEDIATELY, nullptr, &rows);
    SysFreeString(language);
    SysFreeString(query);
    if (FAILED(hr)) return ComError(hr);
    CString text;
    for (long long i = 0;; i++) {
        ComPtr<IWbemClassObject> object;
        ULONG got = 0;
        hr = rows->Next(10000, 1, &object, &got);
        if (FAILED(hr)) return ComError(hr);
        if (!got) break;
        if (i == row) {
            if (int rc = ObjectText(object.p, &text)) return rc;
            break;
        }
    }
    call.args = text;
    return FUNC_NO_RESCAN;
}
