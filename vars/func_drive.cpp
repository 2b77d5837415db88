// The drive functions: space (@DISKFREE, @DISKTOTAL, @DISKUSED), the
// volume (@LABEL, @SERIAL, @SERIALHW, @FSTYPE), the kind of drive
// (@DRIVETYPE, @DRIVETYPEEX, @CDROM, @REMOTE, @REMOVABLE, @USB, @READY),
// the current directory of a drive (@CWD, @CWDS), and the drive of a name
// (@DRIVE) and device names (@DEVICE).
#include "base/args.h"
#include "base/format.h"
#include "files/paths.h"
#include "files/search.h"
#include "vars/func_internal.h"
#include "vars/internals.h"
#include <winioctl.h>

namespace {

// The drive number (1 for A:) of the call's drive, 0 for a UNC name.
int DriveNumber(const FUNCCALL &call) {
    wchar_t c = ToUpperChar(call.drive.At(0));
    return call.drive.At(1) == L':' && c >= L'A' && c <= L'Z' ? c - L'A' + 1 : 0;
}

// The root of the call's drive: "X:\" or "\\server\share\".
CString DriveRoot(const FUNCCALL &call) {
    CString root = call.drive;
    StripQuotes_S(root);
    if (root.At(1) == L':') return root.Left(2) + L"\\";
    // \\server\share: cut behind the share.
    size_t server = root.find_first_of(L"\\/", 2);
    size_t share = server == CString::npos ? CString::npos : root.find_first_of(L"\\/", server + 1);
    if (share != CString::npos) root.Truncate(share);
    return root + L"\\";
}

// Calls with the critical-error box off, so that an empty drive answers
// at once instead of asking the user.
struct QuietErrors {
    UINT old = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    ~QuietErrors() { SetErrorMode(old); }
};

// The second argument of @DISKFREE and its kin: the scale.
CString SecondArgument(const CString &args) {
    CString first, rest;
    if (!SplitAtComma(args, &first, &rest)) return CString();
    rest.Trim();
    return rest;
}

int DriveVolume(const FUNCCALL &call, CString *label, DWORD *serial, CString *fsName) {
    wchar_t fs[MAX_PATH + 1] = {};
    if (!QueryVolumeOf(DriveRoot(call), label, serial, nullptr, fs)) return (int)GetLastError();
    if (fsName) *fsName = fs;
    return 0;
}

// The serial number the disk's maker burnt into the device, from the
// storage descriptor; empty when the device does not tell.
CString HardwareSerial(int drive) {
    CString device = FormatStr(L"\\\\.\\%c:", L'A' + drive - 1);
    HANDLE volume = CreateFileW(device.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                                nullptr);
    if (volume == INVALID_HANDLE_VALUE) return CString();
    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    std::string buffer(4096, '\0');
    DWORD got = 0;
    BOOL ok = DeviceIoControl(volume, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof(query), buffer.data(),
                              (DWORD)buffer.size(), &got, nullptr);
    CloseHandle(volume);
    auto *descriptor = reinterpret_cast<const STORAGE_DEVICE_DESCRIPTOR *>(buffer.data());
    if (!ok || got < sizeof(STORAGE_DEVICE_DESCRIPTOR) || !descriptor->SerialNumberOffset ||
        descriptor->SerialNumberOffset >= got)
        return CString();
    const char *text = buffer.data() + descriptor->SerialNumberOffset;
    CString serial = FromCodePage(text, (int)strnlen(text, got - descriptor->SerialNumberOffset), CP_ACP);
    serial.Trim();
    return serial;
}

}  // namespace

int ScaleByteCount(unsigned long long bytes, const CString &unit, CString &value) {
    static const struct {
        wchar_t letter;
        unsigned long long divisor;
    } scales[] = {{L'b', 1},
                  {L'k', 1000ULL},
                  {L'K', 1024ULL},
                  {L'm', 1000000ULL},
                  {L'M', 1048576ULL},
                  {L'g', 1000000000ULL},
                  {L'G', 1073741824ULL},
                  {L't', 1000000000000ULL},
                  {L'T', 1099511627776ULL}};
    CString scale = unit;
    bool separators = false;
    if (!scale.empty() && (scale.back() == L'c' || scale.back() == L'C') && scale.size() > 1) {
        separators = true;
        scale.pop_back();
    } else if (scale.EqualsNoCase(L"c")) {
        separators = true;
        scale.clear();
    }
    unsigned long long divisor = 1;
    if (!scale.empty()) {
        if (scale.size() != 1) return ERROR_INVALID_PARAMETER;
        divisor = 0;
        for (const auto &s : scales)
            if (s.letter == scale[0]) divisor = s.divisor;
        if (!divisor) return ERROR_INVALID_PARAMETER;
    }
    value = FormatStr(separators ? L"%Lq" : L"%I64u", bytes / divisor);
    return 0;
}

// @DISKFREE[d:[,scale]], @DISKTOTAL, @DISKUSED: bytes, or with a scale
// letter (b, k K, m M, g G, t T; c behind it adds separators) in units.
int Func_DiskSpace(FUNCCALL &call) {
    QuietErrors quiet;
    ULARGE_INTEGER available{}, total{}, totalFree{};
    if (!GetDiskFreeSpaceExW(DriveRoot(call).c_str(), &available, &total, &totalFree)) return (int)GetLastError();
    unsigned long long bytes = call.nCase == FC_diskfree    ? available.QuadPart
                               : call.nCase == FC_disktotal ? total.QuadPart
                                                            : total.QuadPart - totalFree.QuadPart;
    return ScaleByteCount(bytes, SecondArgument(call.args), call.args);
}

// @LABEL[d:] the volume label; @FSTYPE[d:] the file system's name;
// @SERIAL[d:] the volume serial number as "XXXX-XXXX"; @SERIALHW[d:] the
// device's own serial number.
int Func_Volume(FUNCCALL &call) {
    if (call.nCase == FC_serialhw) {
        int drive = DriveNumber(call);
        call.args = drive ? HardwareSerial(drive) : CString();
        return 0;
    }
    CString label, fs;
    DWORD serial = 0;
    if (int rc = DriveVolume(call, &label, &serial, &fs)) return rc;
    if (call.nCase == FC_label) call.args = label;
    else if (call.nCase == FC_fstype) call.args = fs;
    else call.args = FormatStr(L"%04X-%04X", serial >> 16, serial & 0xFFFF);
    return 0;
}

// @DRIVETYPE[d:]: the system's number (0 unknown, 1 no such root, 2
// removable, 3 fixed, 4 remote, 5 CD-ROM, 6 RAM disk); @DRIVETYPEEX gives 7
// for a DVD drive.  @CDROM, @REMOTE, @REMOVABLE, @USB and @READY answer 1
// or 0.
int Func_DriveKind(FUNCCALL &call) {
    int drive = DriveNumber(call);
    int type = drive ? (call.nCase == FC_drivetypeex ? GetDriveTypeEx(drive) : (int)GetDriveTypeW(DriveRoot(call).c_str()))
                     : (int)GetDriveTypeW(DriveRoot(call).c_str());
    bool answer = false;
    switch (call.nCase) {
    case FC_drivetype:
    case FC_drivetypeex: return SetNumber(call.args, type);
    case FC_cdrom: answer = type == DRIVE_CDROM; break;
    case FC_remote: answer = type == DRIVE_REMOTE; break;
    case FC_removable: answer = type == DRIVE_REMOVABLE; break;
    case FC_usb: answer = drive && QueryDriveOnUsb(drive); break;
    case FC_ready: {
        QuietErrors quiet;
        ULARGE_INTEGER free{};
        answer = drive ? QueryDriveReady(drive) : GetDiskFreeSpaceExW(DriveRoot(call).c_str(), &free, nullptr, nullptr);
        break;
    }
    }
    return SetNumber(call.args, answer);
}

// @CWD[d:] the current directory of the drive; @CWDS[d:] the same with a
// trailing backslash.
int Func_Cwd(FUNCCALL &call) {
    int drive = DriveNumber(call);
    if (!drive || !QueryDriveExists(drive)) return ERROR_INVALID_DRIVE;
    CString dir;
    int code = ERROR_INVALID_DRIVE;
    if (!QueryCurrentDirectory(call.drive.c_str(), &dir, &code)) return code;
    if (dir.At(1) == L':') dir[0] = ToUpperChar(dir[0]);
    if (call.nCase == FC_cwds && (dir.empty() || dir.back() != L'\\')) dir += L'\\';
    call.args = dir;
    return 0;
}

// @DRIVE[name]: the drive of the full name, "X:" or "\\server\share".
int Func_Drive(FUNCCALL &call) {
    CString name = call.args;
    name.Trim();
    if (!CreateFullPathName(name, 1)) return ERROR_PATH_NOT_FOUND;
    if (name.StartsWith(L"\\\\?\\UNC\\")) name = L"\\" + name.Mid(7);
    else if (name.StartsWith(L"\\\\?\\") || name.StartsWith(L"\\\\.\\")) name = name.Mid(4);
    FUNCCALL probe{call.name, call.args, call.nCase, CString(), name};
    CString root = DriveRoot(probe);
    root.pop_back();
    call.args = root;
    return 0;
}

// @DEVICE[name]: 1 when the name is a character device (CON, NUL, COM1,
// LPT1, ...), else 0.
int Func_Device(FUNCCALL &call) {
    CString name = call.args;
    name.Trim();
    StripQuotes_S(name);
    return SetNumber(call.args, !name.empty() && QueryIsDevice(name));
}
