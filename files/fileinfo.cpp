// The digests of a file's contents that PDIR shows: CRC-32 here, MD5
// through the system's provider.
#include "files/fileinfo.h"
#include "base/format.h"
#include "system/system.h"
#include <string>

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
