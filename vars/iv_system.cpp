// Internal variables of Windows, the machine and the user: version and
// build, directories, names, power, processor, elevation, virtual machine.
#include <cpuid.h>
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "files/dates.h"
#include "vars/functions.h"
#include "vars/internals.h"

static OSVERSIONINFOW WindowsVersion();

namespace {

// Power figures use 255 (or -1 for seconds) for "unknown".
bool PowerVariable(int index, CString &value) {
    SYSTEM_POWER_STATUS power;
    if (!GetSystemPowerStatus(&power)) return false;
    int n = 0;
    bool unknown = false;
    switch (index) {
    case IV_acstatus: n = power.ACLineStatus; unknown = n == 255; break;
    case IV_battery: n = power.BatteryFlag; unknown = n == 255; break;
    case IV_batterypercent: n = power.BatteryLifePercent; unknown = n == 255; break;
    case IV_batterylife: n = (int)power.BatteryLifeTime; unknown = power.BatteryLifeTime == (DWORD)-1; break;
    }
    return unknown ? SetText(value, L"unknown") : SetInt(value, n);
}

bool TokenFlag(TOKEN_INFORMATION_CLASS kind, DWORD *flag) {
    HANDLE token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_QUERY, &token)) return false;
    DWORD size = 0;
    BOOL ok = GetTokenInformation(token, kind, flag, sizeof(*flag), &size);
    CloseHandle(token);
    return ok;
}

bool IsAdministrator() {
    SID_IDENTIFIER_AUTHORITY nt = SECURITY_NT_AUTHORITY;
    PSID admins;
    if (!AllocateAndInitializeSid(&nt, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS, 0, 0, 0, 0, 0, 0,
                                  &admins))
        return false;
    BOOL member = FALSE;
    if (!CheckTokenMembership(nullptr, admins, &member)) member = FALSE;
    FreeSid(admins);
    return member;
}

// The processor type number, with the 586 class refined by CPUID.
int ProcessorType() {
    SYSTEM_INFO info;
    GetSystemInfo(&info);
    int type = (int)info.dwProcessorType;
    if (type <= 585) return type;
    unsigned a = 0, b = 0, c = 0, d = 0;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return type;
    return (a & 0xF00) < 0x501 ? 586 : 686;
}

// Busy share of all processors over a tenth of a second.
bool CpuUsage(CString &value) {
    FILETIME idle1, kernel1, user1, idle2, kernel2, user2;
    if (!GetSystemTimes(&idle1, &kernel1, &user1)) return false;
    Sleep(100);
    if (!GetSystemTimes(&idle2, &kernel2, &user2)) return false;
    unsigned long long idle = FileTimeValue(idle2) - FileTimeValue(idle1);
    unsigned long long total = FileTimeValue(kernel2) - FileTimeValue(kernel1) + FileTimeValue(user2) - FileTimeValue(user1);
    return SetInt(value, total ? (long long)((total - (idle < total ? idle : total)) * 100 / total) : 0);
}

// The machine's manufacturer and model through the @WMI function; no value
// when that function cannot answer.
bool WmiComputerField(const wchar_t *field, CString &out) {
    CString name = L"@wmi";
    CString args = FormatStr(L"root\\cimv2,\"SELECT %s from win32_computersystem\"", field);
    if (VariableFunction(name, args) != 0) return false;
    out = args;
    return true;
}

bool VirtualMachine(int index, CString &value) {
    CString maker, model;
    if (!WmiComputerField(L"Manufacturer", maker)) return false;
    auto has = [](const CString &text, const wchar_t *what) { return text.find(what) != CString::npos; };
    switch (index) {
    case IV_hyperv: return SetInt(value, has(maker, L"Microsoft"));
    case IV_xen: return SetInt(value, has(maker, L"Xen"));
    case IV_vmware: return SetInt(value, has(maker, L"VMware"));
    }
    if (!WmiComputerField(L"Model", model)) return false;
    if (index == IV_virtualbox) return SetInt(value, has(model, L"VirtualBox"));
    return SetInt(value, has(maker, L"Microsoft") && has(model, L"Virtual Machine"));
}

// Master volume of the wave output, 0 to 100, through winmm loaded on use.
bool MasterVolume(CString &value) {
    using VolumeFn = UINT(WINAPI *)(HANDLE, DWORD *);
    HMODULE winmm = LoadLibraryW(L"winmm.dll");
    VolumeFn get = winmm ? (VolumeFn)(void *)GetProcAddress(winmm, "waveOutGetVolume") : nullptr;
    DWORD volume = 0;
    bool ok = get && get(nullptr, &volume) == 0;
    if (winmm) FreeLibrary(winmm);
    return ok && SetInt(value, ((volume & 0xFFFF) * 100 + 0x7FFF) / 0xFFFF);
}

// The build with its update revision, "build.revision".
bool BuildEx(CString &value) {
    DWORD ubr = 0, size = sizeof(ubr);
    if (RegGetValueW(HKEY_LOCAL_MACHINE, L"SOFTWARE\\Microsoft\\Windows NT\\CurrentVersion", L"UBR",
                     RRF_RT_REG_DWORD, nullptr, &ubr, &size) != ERROR_SUCCESS)
        ubr = 0;
    return SetText(value, FormatStr(L"%u.%u", WindowsVersion().dwBuildNumber, ubr));
}

bool SharingProgramRunning() {
    CString user(256, L'\0');
    DWORD n = (DWORD)user.size();
    if (!GetUserNameW(user.data(), &n)) return false;
    user.resize(n ? n - 1 : 0);
    HANDLE event = OpenEventW(SYNCHRONIZE, FALSE, FormatStr(L"SentinelEventShralias%s", user.c_str()).c_str());
    if (!event) return false;
    CloseHandle(event);
    return true;
}

bool NamesAndDirectories(int index, CString &value) {
    switch (index) {
    case IV_windir: return SetSized(value, [](wchar_t *b, DWORD n) { return GetWindowsDirectoryW(b, n); });
    case IV_winsysdir: return SetSized(value, [](wchar_t *b, DWORD n) { return GetSystemDirectoryW(b, n); });
    case IV_wow64dir: return SetSized(value, [](wchar_t *b, DWORD n) { return GetSystemWow64DirectoryW(b, n); });
    case IV_winname:
        return SetSized(value, [](wchar_t *b, DWORD n) { return GetComputerNameW(b, &n) ? n : 0ul; });
    case IV_host:
        return SetSized(value, [](wchar_t *b, DWORD n) {
            return GetComputerNameExW(ComputerNameDnsHostname, b, &n) ? n : (GetLastError() == ERROR_MORE_DATA ? n : 0ul);
        });
    case IV_winuser:
        return SetSized(value, [](wchar_t *b, DWORD n) { return GetUserNameW(b, &n) ? n - 1 : (GetLastError() == ERROR_INSUFFICIENT_BUFFER ? n : 0ul); });
    case IV_hwprofile: {
        HW_PROFILE_INFOW profile;
        return GetCurrentHwProfileW(&profile) ? SetText(value, profile.szHwProfileName) : false;
    }
    }
    return false;
}

}  // namespace

// Asked of the system at each use, since the start-up copy in aGlobals
// exists only once an instance has been initialised.
static OSVERSIONINFOW WindowsVersion() {
    OSVERSIONINFOW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    GetVersionExW(&info);
    return info;
}

CString WindowsVersionText() {
    OSVERSIONINFOW info = WindowsVersion();
    return FormatStr(L"%u%c%u", info.dwMajorVersion, QueryDecimalChar(), info.dwMinorVersion);
}

bool SystemVariable(int index, CString &value) {
    if (NamesAndDirectories(index, value)) return true;
    DWORD flag = 0;
    BOOL wow = FALSE;
    switch (index) {
    case IV_acstatus: case IV_battery: case IV_batterylife: case IV_batterypercent: return PowerVariable(index, value);
    case IV_admin: return SetInt(value, IsAdministrator() ? 1 : 0);
    case IV_elevated: return TokenFlag(TokenElevation, &flag) && SetInt(value, flag ? 1 : 0);
    case IV_wow64: return IsWow64Process(GetCurrentProcess(), &wow) && SetInt(value, wow ? 1 : 0);
    case IV_x64: return SetInt(value, sizeof(void *) == 8 ? 1 : 0);
    case IV_cpu: return SetInt(value, ProcessorType());
    case IV_cpuusage: return CpuUsage(value);
    case IV_hyperv: case IV_xen: case IV_vmware: case IV_virtualbox: case IV_virtualpc:
        return VirtualMachine(index, value);
    case IV_volume: return MasterVolume(value);
    case IV_winticks: return SetInt(value, GetTickCount());
    case IV_idleticks: {
        LASTINPUTINFO input{sizeof(input), 0};
        return GetLastInputInfo(&input) && SetInt(value, (DWORD)(GetTickCount() - input.dwTime));
    }
    case IV_boot: return SetText(value, CString(1, aIniFile.cBootDrive ? aIniFile.cBootDrive : L'C'));
    case IV_winver: return SetText(value, WindowsVersionText());
    case IV_osbuild: return SetInt(value, WindowsVersion().dwBuildNumber);
    case IV_osbuildex: return BuildEx(value);
    case IV_service: return ProcessIdToSessionId(GetCurrentProcessId(), &flag) && SetInt(value, flag == 0 ? 1 : 0);
    case IV_shralias: return SetInt(value, SharingProgramRunning() ? 1 : 0);
    case IV_codepage: return SetInt(value, GetConsoleOutputCP() ? GetConsoleOutputCP() : GetACP());
    case IV_country: {
        DWORD country = 0;
        return GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_ICOUNTRY | LOCALE_RETURN_NUMBER, (LPWSTR)&country,
                              sizeof(country) / sizeof(wchar_t)) && SetInt(value, country);
    }
    }
    return false;
}
