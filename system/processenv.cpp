// SETP and UNSETP: the environment of another process.  Reading takes the
// block from the process's memory; a change runs SetEnvironmentVariableW
// in that process, through a small thread started there.  Both need a
// 64-bit process, as this shell is.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "console/console.h"
#include "system/system.h"
#include "vars/lists.h"
#include <winternl.h>
#include <psapi.h>
#include <cstring>
#include <vector>

namespace {

constexpr size_t kParametersOffset = 0x20;    // PEB.ProcessParameters
constexpr size_t kEnvironmentOffset = 0x80;   // RTL_USER_PROCESS_PARAMETERS.Environment
constexpr size_t kEnvironmentLimit = 1 << 24;
constexpr DWORD kRemoteWait = 10000;

int CheckBits(HANDLE process) {
    BOOL wow = FALSE;
    if (IsWow64Process(process, &wow) && wow) return ERROR_BD_REMOTE_BITS;
    return 0;
}

bool ReadPointer(HANDLE process, ULONG_PTR at, ULONG_PTR *value) {
    SIZE_T got = 0;
    return ReadProcessMemory(process, (void *)at, value, sizeof(*value), &got) && got == sizeof(*value);
}

// The process's environment block, read a page at a time up to its end.
int ReadEnvironment(HANDLE process, CString &block) {
    PROCESS_BASIC_INFORMATION basic{};
    ULONG got = 0;
    if (NtQueryInformationProcess(process, ProcessBasicInformation, &basic, sizeof(basic), &got))
        return ERROR_ACCESS_DENIED;
    ULONG_PTR parameters = 0, environment = 0;
    if (!ReadPointer(process, (ULONG_PTR)basic.PebBaseAddress + kParametersOffset, &parameters) ||
        !ReadPointer(process, parameters + kEnvironmentOffset, &environment))
        return (int)GetLastError();
    block.clear();
    // A page at a time: a read that ran past the block's last page would fail.
    for (ULONG_PTR from = environment; block.size() * sizeof(wchar_t) < kEnvironmentLimit;) {
        SIZE_T want = 4096 - (from & 4095), read = 0;
        std::vector<wchar_t> page(want / sizeof(wchar_t));
        if (!ReadProcessMemory(process, (void *)from, page.data(), want, &read) || !read) break;
        block.append(page.data(), read / sizeof(wchar_t));
        size_t end = block.find(CString(2, L'\0'));
        if (end != CString::npos) {
            block.resize(end + 1);
            return 0;
        }
        from += read;
    }
    return block.empty() ? (int)GetLastError() : 0;
}

// The address of SetEnvironmentVariableW in the other process: kernel32
// may sit elsewhere there.
ULONG_PTR RemoteSetter(HANDLE process) {
    HMODULE local = GetModuleHandleW(L"kernel32.dll");
    ULONG_PTR setter = (ULONG_PTR)GetProcAddress(local, "SetEnvironmentVariableW");
    HMODULE modules[1024];
    DWORD needed = 0;
    if (!EnumProcessModulesEx(process, modules, sizeof(modules), &needed, LIST_MODULES_64BIT)) return setter;
    for (DWORD i = 0; i < needed / sizeof(HMODULE) && i < 1024; i++) {
        wchar_t name[MAX_PATH];
        if (GetModuleBaseNameW(process, modules[i], name, MAX_PATH) && CString(name).EqualsNoCase(L"kernel32.dll"))
            return setter - (ULONG_PTR)local + (ULONG_PTR)modules[i];
    }
    return setter;
}

void PutQword(std::vector<unsigned char> &code, size_t at, ULONG_PTR value) { memcpy(&code[at], &value, 8); }

// Run SetEnvironmentVariableW(name, value) in the process; value null
// removes the variable.
int RemoteSetVariable(HANDLE process, const CString &name, const CString *value) {
    // sub rsp,28h / mov rcx,name / mov rdx,value / mov rax,function /
    // call rax / add rsp,28h / ret
    std::vector<unsigned char> code = {0x48, 0x83, 0xEC, 0x28, 0x48, 0xB9, 0, 0, 0, 0, 0, 0, 0, 0,
                                       0x48, 0xBA, 0, 0, 0, 0, 0, 0, 0, 0, 0x48, 0xB8, 0, 0, 0, 0,
                                       0, 0, 0, 0, 0xFF, 0xD0, 0x48, 0x83, 0xC4, 0x28, 0xC3};
    const size_t codeSize = 64;
    size_t nameBytes = (name.size() + 1) * 2, valueBytes = value ? (value->size() + 1) * 2 : 0;
    SIZE_T total = codeSize + nameBytes + valueBytes;
    auto *remote = (unsigned char *)VirtualAllocEx(process, nullptr, total, MEM_COMMIT | MEM_RESERVE, PAGE_EXECUTE_READWRITE);
    if (!remote) return (int)GetLastError();
    PutQword(code, 6, (ULONG_PTR)(remote + codeSize));
    PutQword(code, 16, value ? (ULONG_PTR)(remote + codeSize + nameBytes) : 0);
    PutQword(code, 26, RemoteSetter(process));
    code.resize(codeSize, 0xCC);
    SIZE_T done = 0;
    int rc = 0;
    if (!WriteProcessMemory(process, remote, code.data(), codeSize, &done) ||
        !WriteProcessMemory(process, remote + codeSize, name.c_str(), nameBytes, &done) ||
        (value && !WriteProcessMemory(process, remote + codeSize + nameBytes, value->c_str(), valueBytes, &done)))
        rc = (int)GetLastError();
    HANDLE thread = rc ? nullptr : CreateRemoteThread(process, nullptr, 0, (LPTHREAD_START_ROUTINE)remote, nullptr, 0, nullptr);
    if (!rc && !thread) rc = (int)GetLastError();
    if (thread) {
        DWORD exitCode = 0;
        if (WaitForSingleObject(thread, kRemoteWait) != WAIT_OBJECT_0) rc = ERROR_TIMEOUT;
        else if (GetExitCodeThread(thread, &exitCode) && !exitCode && value) rc = ERROR_GEN_FAILURE;
        CloseHandle(thread);
    }
    if (rc != ERROR_TIMEOUT) VirtualFreeEx(process, remote, 0, MEM_RELEASE);
    return rc;
}

// The pid argument at the front; the rest stays in args.
int TakePid(CString &args, DWORD *pid, const wchar_t *command) {
    CString first;
    int start = -1;
    if (!GetNthArgument(args.c_str(), 0, &first, &start)) return BDError(ERROR_BD_MISSING_ARGUMENT, command);
    if (!QueryIsNumber(first, pid)) return BDError(ERROR_INVALID_PARAMETER, first.c_str());
    args.erase(0, start + first.size());
    args.Trim();
    return 0;
}

constexpr DWORD kReadAccess = PROCESS_QUERY_INFORMATION | PROCESS_VM_READ;
constexpr DWORD kWriteAccess = kReadAccess | PROCESS_CREATE_THREAD | PROCESS_VM_OPERATION | PROCESS_VM_WRITE;

int ShowRemoteVariables(HANDLE process, const CString &pattern) {
    CString block;
    if (int rc = ReadEnvironment(process, block)) return BDError(rc, nullptr);
    int shown = 0;
    for (const wchar_t *entry = block.c_str(); *entry; entry += wcslen(entry) + 1) {
        if (*entry == L'=') continue;  // the per-drive directories
        CString name = ListEntryName(entry);
        if (!pattern.empty() && !MatchNamePattern(pattern.c_str(), name.c_str())) continue;
        Printf(L"%s\r\n", entry);
        shown++;
    }
    if (!shown && !pattern.empty()) return BDError(ERROR_BD_NOT_IN_ENVIRONMENT, pattern.c_str());
    return 0;
}

}  // namespace

// SETP pid [name[=value]]
int SetProcess_Command(CString &args) {
    DWORD pid = 0;
    if (TakePid(args, &pid, L"SETP")) return 2;
    size_t eq = args.find(L'=');
    ProcessHandle process(pid, eq == CString::npos ? kReadAccess : kWriteAccess);
    if (!process.Get()) return BDError((int)GetLastError(), FormatStr(L"%u", pid).c_str());
    if (int rc = CheckBits(process.Get())) return BDError(rc, FormatStr(L"%u", pid).c_str());
    if (eq == CString::npos) {
        StripQuotes_S(args);
        return ShowRemoteVariables(process.Get(), args);
    }
    CString name = args.Left(eq), value = args.Mid(eq + 1);
    name.Trim();
    if (name.empty()) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    int rc = RemoteSetVariable(process.Get(), name, value.empty() ? nullptr : &value);
    return rc ? BDError(rc, name.c_str()) : 0;
}

// UNSETP pid name ...
int UnsetProcess_Command(CString &args) {
    DWORD pid = 0;
    if (TakePid(args, &pid, L"UNSETP")) return 2;
    if (args.empty()) return BDError(ERROR_BD_MISSING_ARGUMENT, L"UNSETP");
    ProcessHandle process(pid, kWriteAccess);
    if (!process.Get()) return BDError((int)GetLastError(), FormatStr(L"%u", pid).c_str());
    if (int rc = CheckBits(process.Get())) return BDError(rc, FormatStr(L"%u", pid).c_str());
    CString name;
    int result = 0;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++)
        if (int rc = RemoteSetVariable(process.Get(), name, nullptr)) result = BDError(rc, name.c_str());
    return result;
}
