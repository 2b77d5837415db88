// The kind of executable a file is, read from its headers: the DOS stub,
// then a PE, NE, LE or LX header behind it.
#include "files/fileinfo.h"
#include "core/bdx.h"
#include <string>
#include "core/format.h"
#include "system/system.h"

namespace {

constexpr WORD kMachineI386 = 0x14C;
constexpr WORD kMagicPE32 = 0x10B, kMagicPE64 = 0x20B;
constexpr DWORD kNewHeaderOffset = 0x3C;

bool ReadAt(HANDLE h, DWORD offset, void *buffer, DWORD size) {
    LARGE_INTEGER at;
    at.QuadPart = offset;
    DWORD got = 0;
    return SetFilePointerEx(h, at, nullptr, FILE_BEGIN) && ReadFile(h, buffer, size, &got, nullptr) && got == size;
}

// A PE image by its machine, optional-header magic and subsystem.
int PeType(HANDLE h, DWORD offset) {
    // Signature (4), file header (20): machine at +4; optional header at +24:
    // magic at +0, subsystem at +68.
    unsigned char head[24 + 70];
    if (!ReadAt(h, offset, head, sizeof(head))) return EXE_NONE;
    WORD machine = (WORD)(head[4] | head[5] << 8);
    WORD magic = (WORD)(head[24] | head[25] << 8);
    WORD subsystem = (WORD)(head[24 + 68] | head[24 + 69] << 8);
    bool wide = magic == kMagicPE64 || (magic != kMagicPE32 && machine != kMachineI386);
    switch (subsystem) {
    case IMAGE_SUBSYSTEM_WINDOWS_GUI: return wide ? EXE_WIN64_GUI : EXE_WIN32_GUI;
    case IMAGE_SUBSYSTEM_WINDOWS_CUI: return wide ? EXE_WIN64_CUI : EXE_WIN32_CUI;
    case IMAGE_SUBSYSTEM_POSIX_CUI: return EXE_POSIX;
    case IMAGE_SUBSYSTEM_EFI_APPLICATION:
    case IMAGE_SUBSYSTEM_EFI_BOOT_SERVICE_DRIVER:
    case IMAGE_SUBSYSTEM_EFI_RUNTIME_DRIVER:
    case IMAGE_SUBSYSTEM_EFI_ROM: return EXE_EFI;
    }
    return wide ? EXE_WIN64_CUI : EXE_WIN32_CUI;
}

}  // namespace

int GetExeType(const wchar_t *fileName) {
    HANDLE h = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) return EXE_NONE;
    int type = EXE_NONE;
    unsigned char stub[64];
    if (ReadAt(h, 0, stub, sizeof(stub)) && stub[0] == 'M' && stub[1] == 'Z') {
        type = EXE_DOS;
        DWORD offset = stub[kNewHeaderOffset] | stub[kNewHeaderOffset + 1] << 8 | stub[kNewHeaderOffset + 2] << 16 |
                       (DWORD)stub[kNewHeaderOffset + 3] << 24;
        char sign[4];
        if (offset >= sizeof(stub) && ReadAt(h, offset, sign, sizeof(sign))) {
            if (sign[0] == 'P' && sign[1] == 'E' && !sign[2] && !sign[3]) type = PeType(h, offset);
            else if (sign[0] == 'N' && sign[1] == 'E') type = EXE_WIN16;
            else if (sign[0] == 'L' && (sign[1] == 'E' || sign[1] == 'X')) type = EXE_OS2;
        }
    }
    CloseHandle(h);
    return type;
}

namespace {

constexpr DWORD kHashChunk = 0x10000;

unsigned Crc32Update(unsigned crc, const unsigned char *data, DWORD size) {
    static unsigned table[256];
    static bool ready = false;
    if (!ready) {
        for (unsigned i = 0; i < 256; i++) {
            unsigned c = i;
            for (int k = 0; k < 8; k++) c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            table[i] = c;
        }
        ready = true;
    }
    for (DWORD i = 0; i < size; i++) crc = table[(crc ^ data[i]) & 0xFF] ^ (crc >> 8);
    return crc;
}

}  // namespace

int _HashFile(const wchar_t *fileName, int kind, CString *digest) {
    digest->clear();
    if (kind == HASH_MD5) return HashFile(L"MD5", fileName, *digest);
    HANDLE h = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    unsigned crc = 0xFFFFFFFFu;
    std::string buffer(kHashChunk, '\0');
    DWORD got = 0;
    while (ReadFile(h, buffer.data(), kHashChunk, &got, nullptr) && got)
        crc = Crc32Update(crc, reinterpret_cast<const unsigned char *>(buffer.data()), got);
    CloseHandle(h);
    crc ^= 0xFFFFFFFFu;
    *digest = kind == HASH_CRC32_DECIMAL ? FormatStr(L"%10u", crc) : FormatStr(L"%08X", crc);
    return 0;
}
