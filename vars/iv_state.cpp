// Internal variables of the shell's own state: results, batch frames,
// echo and editing state, versions, logs and the processes around us.
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "vars/internals.h"
#include <tlhelp32.h>

namespace {

bool EchoIsOn() {
    BATCHFRAME *frame = CurrentFrame();
    return frame ? (frame->nEcho & 3) != 0 : GetTLS()->fInteractiveEcho != 0;
}

// _expansion: the digit of each SETDOS /X bit that is set (bit 0 is "1"),
// over the nine lowest bits; "0" when none is set.
CString ExpansionDigits(unsigned flags) {
    CString digits;
    for (int bit = 0; bit < 9; bit++)
        if (flags & (1u << bit)) digits += (wchar_t)(L'1' + bit);
    return digits.empty() ? CString(L"0") : digits;
}

// The command line now running, from CMDLINE2, less one "%_CMDLINE".
CString CurrentCommandLine() {
    CString line = GetEnvVar(L"CMDLINE2");
    CString upper = line;
    upper.MakeUpper();
    size_t at = upper.find(L"%_CMDLINE");
    if (at != CString::npos) line.Delete(at, 9);
    return line;
}

// Frame type: 0 for a file read as ANSI, 1 as UTF-16, 2 as UTF-8.
int BatchType(const BATCHFRAME &frame) {
    if (frame.fFlags & BF_UTF16) return 1;
    if (frame.fFlags & BF_UTF8) return 2;
    return 0;
}

DWORD ParentProcessId() {
    HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snap == INVALID_HANDLE_VALUE) return 0;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    DWORD self = GetCurrentProcessId(), parent = 0;
    for (BOOL ok = Process32FirstW(snap, &entry); ok; ok = Process32NextW(snap, &entry))
        if (entry.th32ProcessID == self) {
            parent = entry.th32ParentProcessID;
            break;
        }
    CloseHandle(snap);
    return parent;
}

bool ParentName(CString &value) {
    DWORD pid = ParentProcessId();
    HANDLE process = pid ? OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid) : nullptr;
    if (!process) return false;
    bool ok = SetSized(value, [process](wchar_t *buffer, DWORD size) {
        DWORD n = size;
        if (QueryFullProcessImageNameW(process, 0, buffer, &n)) return n;
        return GetLastError() == ERROR_INSUFFICIENT_BUFFER ? size * 2 : 0ul;
    });
    CloseHandle(process);
    return ok;
}

bool ConsolePids(CString &value) {
    std::vector<DWORD> pids(16);
    DWORD n = GetConsoleProcessList(pids.data(), (DWORD)pids.size());
    if (n > pids.size()) {
        pids.resize(n);
        n = GetConsoleProcessList(pids.data(), (DWORD)pids.size());
    }
    if (n == 0 || n > pids.size()) return false;
    value.clear();
    for (DWORD i = 0; i < n; i++) value.AppendFormat(i ? L" %u" : L"%u", pids[i]);
    return true;
}

bool OptionText(CString &value, const wchar_t *text) { return text && *text ? SetText(value, text) : false; }

CString ShellVersion() { return FormatStr(L"%u%c%02u", BDX_VERSION_MAJOR, QueryDecimalChar(), BDX_VERSION_MINOR); }

// Batch frames, results and processes.
bool FrameOrProcessVariable(int index, CString &value) {
    TLS_VARIABLES *tls = GetTLS();
    BATCHFRAME *frame = CurrentFrame();
    switch (index) {
    case IV_question: return SetInt(value, tls->nLastResult);
    case IV_batch: return SetInt(value, tls->nBatchFrame + 1);
    case IV_batchline: return frame ? SetInt(value, frame->nLineNumber) : SetInt(value, -1);
    case IV_batchname: return frame ? SetText(value, frame->sBatchName) : false;
    case IV_batchtype: return frame ? SetInt(value, BatchType(*frame)) : SetInt(value, -1);
    case IV_cmdline: return SetText(value, CurrentCommandLine());
    case IV_syserr: return SetInt(value, tls->nSysError);
    case IV_pid: return SetInt(value, GetCurrentProcessId());
    case IV_ppid: {
        DWORD parent = ParentProcessId();
        return parent ? SetInt(value, parent) : false;
    }
    case IV_parent: return ParentName(value);
    case IV_startpid: return SetInt(value, tls->nStartPid);
    case IV_detachpid: return SetInt(value, tls->nDetachPid);
    case IV_childpid: return SetInt(value, tls->hChildProcess ? GetProcessId(tls->hChildProcess) : 0);
    case IV_consolepids: return ConsolePids(value);
    case IV_pipe: {
        // The right side of a pipe: a second shell still holding the pipe
        // block, or any command whose standard input is a pipe.
        HANDLE in = StdIn();
        bool pipe = tls->pPipeView || (in && in != INVALID_HANDLE_VALUE && GetFileType(in) == FILE_TYPE_PIPE);
        return SetInt(value, pipe ? 1 : 0);
    }
    case IV_shell: return SetInt(value, aIniFile.nSecondary);
    case IV_shells: return SetInt(value, QueryShellInstances());
    case IV_bdxinstances: return SetInt(value, QueryShellInstances());
    case IV_bdxminstances: return SetInt(value, QueryHostInstances());
    }
    return false;
}

}  // namespace

bool StateVariable(int index, CString &value) {
    if (FrameOrProcessVariable(index, value)) return true;
    switch (index) {
    case IV_echo: return SetInt(value, EchoIsOn() ? 1 : 0);
    case IV_editmode: return SetInt(value, aIniFile.fEditInsert ? 1 : 0);
    case IV_insert: return SetInt(value, aIniFile.fEditInsert ? 1 : 0);
    case IV_expansion: return SetText(value, ExpansionDigits(ParseFlagsValue()));
    case IV_ansi: return SetInt(value, aIniFile.ANSI ? 1 : 0);
    case IV_unicode: return SetInt(value, GetTLS()->nOutputEncoding == 3 ? 1 : 0);
    case IV_stdin: return SetInt(value, QueryIsConsole(StdIn()) ? 1 : 0);
    case IV_stdout: return SetInt(value, QueryIsConsole(StdOut()) ? 1 : 0);
    case IV_stderr: return SetInt(value, QueryIsConsole(StdErr()) ? 1 : 0);
    case IV_cmdproc: return SetText(value, L"BDX");
    case IV_dos: return SetText(value, L"BDX");
    case IV_cmdspec:
        return SetSized(value, [](wchar_t *b, DWORD n) { return GetModuleFileNameW(nullptr, b, n); });
    case IV_startpath: return OptionText(value, aGlobals.sStartDirectory.c_str());
    case IV_bdstart: return OptionText(value, aGlobals.sBDStart.c_str());
    case IV_bdexit: return OptionText(value, aGlobals.sBDExit.c_str());
    case IV_logfile: return OptionText(value, aIniFile.LogName);
    case IV_hlogfile: return OptionText(value, aIniFile.HistLogName);
    case IV_dname: return SetText(value, aIniFile.DescriptionName && *aIniFile.DescriptionName
                                             ? CString(aIniFile.DescriptionName) : CString(L"DESCRIPT.ION"));
    case IV_dosver: return SetText(value, WindowsVersionText());
    case IV_9ver: case IV_bdxver: return SetText(value, ShellVersion());
    case IV_version: return SetText(value, FormatStr(L"%s%c%d", ShellVersion().c_str(), QueryDecimalChar(), BDX_BUILD));
    case IV_vermajor: return SetInt(value, BDX_VERSION_MAJOR);
    case IV_verminor: return SetInt(value, BDX_VERSION_MINOR);
    case IV_build: return SetInt(value, BDX_BUILD);
    }
    return false;
}
