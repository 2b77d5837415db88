// Internal variables of directories and drives: the current directory in
// four forms, the drive lists by type, and the serial ports.
#include "base/format.h"
#include "base/state.h"
#include "vars/internals.h"
#include <winioctl.h>

namespace {

CString WithBackslash(CString dir) {
    if (dir.empty() || dir.back() != L'\\') dir += L'\\';
    return dir;
}

CString WithoutDrive(const CString &dir) { return dir.At(1) == L':' ? dir.Mid(2) : dir; }

HANDLE OpenVolume(int drive) {
    CString device = FormatStr(L"\\\\.\\%c:", L'A' + drive - 1);
    return CreateFileW(device.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
}

// The storage bus of a drive's device, or BusTypeUnknown.
STORAGE_BUS_TYPE DriveBusType(int drive) {
    HANDLE volume = OpenVolume(drive);
    if (volume == INVALID_HANDLE_VALUE) return BusTypeUnknown;
    STORAGE_PROPERTY_QUERY query{};
    query.PropertyId = StorageDeviceProperty;
    query.QueryType = PropertyStandardQuery;
    STORAGE_DEVICE_DESCRIPTOR descriptor{};
    DWORD got = 0;
    BOOL ok = DeviceIoControl(volume, IOCTL_STORAGE_QUERY_PROPERTY, &query, sizeof(query), &descriptor,
                              sizeof(descriptor), &got, nullptr);
    CloseHandle(volume);
    return ok && got >= offsetof(STORAGE_DEVICE_DESCRIPTOR, BusType) + sizeof(descriptor.BusType) ? descriptor.BusType
                                                                                                : BusTypeUnknown;
}

bool IsDvdDrive(int drive) {
    HANDLE volume = OpenVolume(drive);
    if (volume == INVALID_HANDLE_VALUE) return false;
    GET_MEDIA_TYPES types{};
    DWORD got = 0;
    BOOL ok = DeviceIoControl(volume, IOCTL_STORAGE_GET_MEDIA_TYPES_EX, nullptr, 0, &types, sizeof(types), &got, nullptr);
    CloseHandle(volume);
    return ok && types.DeviceType == FILE_DEVICE_DVD;
}

CString RootOf(int drive) { return FormatStr(L"%c:\\", L'A' + drive - 1); }

}  // namespace

// The drive's type as GetDriveTypeW gives it, but 7 for a DVD drive.
int GetDriveTypeEx(int drive) {
    int type = (int)GetDriveTypeW(RootOf(drive).c_str());
    if (type == DRIVE_CDROM && IsDvdDrive(drive)) return 7;
    return type;
}

bool QueryDriveOnUsb(int drive) { return QueryDriveExists(drive) && DriveBusType(drive) == BusTypeUsb; }

bool QueryDriveExists(int drive) { return drive >= 1 && drive <= 26 && (GetLogicalDrives() >> (drive - 1)) & 1; }

bool QueryDriveReady(int drive) {
    if (!QueryDriveExists(drive)) return false;
    UINT old = SetErrorMode(SEM_FAILCRITICALERRORS | SEM_NOOPENFILEERRORBOX);
    ULARGE_INTEGER freeBytes;
    bool ready = GetDiskFreeSpaceExW(RootOf(drive).c_str(), &freeBytes, nullptr, nullptr);
    SetErrorMode(old);
    return ready;
}

namespace {

// "C: D:": the drives from first to 26 that pass the test.
template <typename Test> CString DriveList(int first, Test test) {
    CString list;
    for (int drive = first; drive <= 26; drive++)
        if (test(drive)) list.AppendFormat(list.empty() ? L"%c:" : L" %c:", L'A' + drive - 1);
    return list;
}

CString DrivesOfType(int type) {
    return DriveList(3, [type](int d) { return QueryDriveExists(d) && GetDriveTypeEx(d) == type; });
}

// Names of the serial ports the system has mapped, "COM1 COM3".
bool SerialPorts(CString &value) {
    HKEY key;
    if (RegOpenKeyExW(HKEY_LOCAL_MACHINE, L"HARDWARE\\DEVICEMAP\\SERIALCOMM", 0, KEY_READ, &key) != ERROR_SUCCESS)
        return SetText(value, L"");
    CString list;
    for (DWORD i = 0;; i++) {
        wchar_t name[256], data[256];
        DWORD nameSize = 256, dataSize = sizeof(data), type = 0;
        if (RegEnumValueW(key, i, name, &nameSize, nullptr, &type, (BYTE *)data, &dataSize) != ERROR_SUCCESS) break;
        if (type != REG_SZ) continue;
        data[dataSize / sizeof(wchar_t) < 256 ? dataSize / sizeof(wchar_t) : 255] = 0;
        if (!list.empty()) list += L' ';
        list += data;
    }
    RegCloseKey(key);
    return SetText(value, list);
}

}  // namespace

bool DiskVariable(int index, CString &value) {
    if (index == IV_cwd || index == IV_cwds || index == IV_cwp || index == IV_cwps || index == IV_disk) {
        CString dir = CurrentDirectory();
        if (dir.empty()) return false;
        switch (index) {
        case IV_cwd: return SetText(value, dir);
        case IV_cwds: return SetText(value, WithBackslash(dir));
        case IV_cwp: return SetText(value, WithoutDrive(dir));
        case IV_cwps: return SetText(value, WithBackslash(WithoutDrive(dir)));
        case IV_disk: return dir.At(1) == L':' ? SetText(value, CString(1, ToUpperChar(dir[0]))) : false;
        }
    }
    DWORD mask = GetLogicalDrives();
    switch (index) {
    case IV_drives: return SetText(value, DriveList(1, QueryDriveExists));
    case IV_ready: return SetText(value, DriveList(1, QueryDriveReady));
    case IV_logicaldrives: return SetText(value, DriveList(1, [mask](int d) { return (mask >> (d - 1)) & 1; }));
    case IV_cdroms: return SetText(value, DrivesOfType(DRIVE_CDROM));
    case IV_dvds: return SetText(value, DrivesOfType(7));
    case IV_hdrives: return SetText(value, DrivesOfType(DRIVE_FIXED));
    case IV_usbs:
        return SetText(value, DriveList(3, QueryDriveOnUsb));
    case IV_lastdisk:
        for (int drive = 26; drive >= 1; drive--)
            if ((mask >> (drive - 1)) & 1) return SetText(value, CString(1, (wchar_t)(L'A' + drive - 1)));
        return false;
    case IV_serialports: return SerialPorts(value);
    }
    return false;
}
