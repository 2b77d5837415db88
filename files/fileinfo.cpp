// The digests of a file's contents that PDIR shows, from the digest and
// checksum engine of the hash functions.
#include "files/fileinfo.h"
#include "base/format.h"
#include "vars/coding.h"

int _HashFile(const wchar_t *fileName, int kind, CString *digest) {
    digest->clear();
    if (kind == HASH_MD5) return HashFile(L"MD5", fileName, *digest);
    uint32_t crc = 0;
    int rc = ReadFileInPieces(fileName, [&](const char *data, size_t size) {
        crc = Crc32(crc, data, size);
        return 0;
    });
    if (rc) return rc;
    *digest = kind == HASH_CRC32_DECIMAL ? FormatStr(L"%10u", crc) : FormatStr(L"%08X", crc);
    return 0;
}
