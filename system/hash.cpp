// HASH and UUID: digests of files and texts through the system's
// cryptography provider (CNG), and random identifiers.  Files are read in
// pieces, so that a file of any size takes the same small buffer.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "console/console.h"
#include "system/system.h"
#include <winternl.h>
#include <bcrypt.h>
#include <algorithm>
#include <objbase.h>
#include <vector>

namespace {

constexpr size_t kReadPiece = 1 << 20;

struct ALGORITHM {
    const wchar_t *pszName;   // as HASH's switch and the text form take it
    const wchar_t *pszCng;    // the provider's name
};
const ALGORITHM kAlgorithms[] = {
    {L"MD5", BCRYPT_MD5_ALGORITHM},       {L"SHA1", BCRYPT_SHA1_ALGORITHM},
    {L"SHA256", BCRYPT_SHA256_ALGORITHM}, {L"SHA384", BCRYPT_SHA384_ALGORITHM},
    {L"SHA512", BCRYPT_SHA512_ALGORITHM},
};

// "sha-256" and "SHA256" are the same name.
const ALGORITHM *FindAlgorithm(const wchar_t *name) {
    CString bare = name ? name : L"";
    bare.Replace(L"-", L"");
    for (const ALGORITHM &a : kAlgorithms)
        if (bare.EqualsNoCase(a.pszName)) return &a;
    return nullptr;
}

// A CNG status as a system error code.
int StatusCode(NTSTATUS status) {
    ULONG code = RtlNtStatusToDosError(status);
    return code ? (int)code : ERROR_GEN_FAILURE;
}

// One digest in progress; every handle goes when it does.
class Digest {
public:
    ~Digest() {
        if (hash_) BCryptDestroyHash(hash_);
        if (provider_) BCryptCloseAlgorithmProvider(provider_, 0);
    }
    int Open(const ALGORITHM &algorithm) {
        NTSTATUS s = BCryptOpenAlgorithmProvider(&provider_, algorithm.pszCng, nullptr, 0);
        if (s) return StatusCode(s);
        DWORD length = 0, got = 0;
        s = BCryptGetProperty(provider_, BCRYPT_HASH_LENGTH, (PUCHAR)&length, sizeof(length), &got, 0);
        if (s) return StatusCode(s);
        value_.resize(length);
        s = BCryptCreateHash(provider_, &hash_, nullptr, 0, nullptr, 0, 0);
        return s ? StatusCode(s) : 0;
    }
    int Add(const void *data, size_t size) {
        NTSTATUS s = BCryptHashData(hash_, (PUCHAR)data, (ULONG)size, 0);
        return s ? StatusCode(s) : 0;
    }
    int Finish(CString &hex) {
        NTSTATUS s = BCryptFinishHash(hash_, value_.data(), (ULONG)value_.size(), 0);
        if (s) return StatusCode(s);
        hex.clear();
        for (unsigned char b : value_) hex.AppendFormat(L"%02x", b);
        return 0;
    }

private:
    BCRYPT_ALG_HANDLE provider_ = nullptr;
    BCRYPT_HASH_HANDLE hash_ = nullptr;
    std::vector<unsigned char> value_;
};

}  // namespace

int HashBytes(const wchar_t *algorithm, const void *data, size_t size, CString &digest) {
    const ALGORITHM *a = FindAlgorithm(algorithm);
    if (!a) return ERROR_BD_UNKNOWN_ALGORITHM;
    Digest d;
    if (int rc = d.Open(*a)) return rc;
    if (size)
        if (int rc = d.Add(data, size)) return rc;
    return d.Finish(digest);
}

int HashFile(const wchar_t *algorithm, const wchar_t *fileName, CString &digest) {
    const ALGORITHM *a = FindAlgorithm(algorithm);
    if (!a) return ERROR_BD_UNKNOWN_ALGORITHM;
    HANDLE h = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    Digest d;
    int rc = d.Open(*a);
    std::vector<unsigned char> piece(kReadPiece);
    DWORD got = 0;
    while (!rc) {
        if (!ReadFile(h, piece.data(), (DWORD)piece.size(), &got, nullptr)) rc = (int)GetLastError();
        else if (!got) break;
        else rc = d.Add(piece.data(), got);
        tty_yield(0);  // a long file answers Ctrl+C
    }
    CloseHandle(h);
    return rc ? rc : d.Finish(digest);
}

CString NewUuid() {
    GUID g;
    CoCreateGuid(&g);
    return FormatStr(L"%08lx-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", g.Data1, g.Data2, g.Data3, g.Data4[0],
                     g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
}

namespace {

// The files of one name or wildcard, in name order; directories are left
// out.  (A plain FindFirstFileW loop; the file engine's FindFiles takes its
// place when it is there.)
int HashPattern(const wchar_t *algorithm, const CString &pattern) {
    size_t slash = pattern.find_last_of(L"\\/:");
    CString dir = slash == CString::npos ? CString() : pattern.Left(slash + 1);
    WIN32_FIND_DATAW found;
    HANDLE h = FindFirstFileW(pattern.c_str(), &found);
    if (h == INVALID_HANDLE_VALUE) return BDError((int)GetLastError(), pattern.c_str());
    std::vector<CString> names;
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) names.push_back(dir + found.cFileName);
    } while (FindNextFileW(h, &found));
    FindClose(h);
    if (names.empty()) return BDError(ERROR_FILE_NOT_FOUND, pattern.c_str());
    std::sort(names.begin(), names.end(), [](const CString &a, const CString &b) { return StrICmp(a, b) < 0; });
    int result = 0;
    for (const CString &name : names) {
        CString digest;
        if (int rc = HashFile(algorithm, name.c_str(), digest)) result = BDError(rc, name.c_str());
        else Printf(L"%s  %s\r\n", digest.c_str(), name.c_str());
    }
    return result;
}

}  // namespace

// HASH [/MD5 | /SHA1 | /SHA256 | /SHA384 | /SHA512] [/T text | file ...]
int Hash_Command(CString &args) {
    const wchar_t *algorithm = L"SHA256";
    for (const ALGORITHM &a : kAlgorithms)
        if (GetStringSwitch(args, a.pszName, 0, nullptr)) algorithm = a.pszName;
    CString text;
    if (GetStringSwitch(args, L"T", 0, &text)) {
        StripEnclosingQuotes_S(text);
        std::string bytes = ToCodePage(text.c_str(), text.GetLength(), CP_UTF8);
        CString digest;
        if (int rc = HashBytes(algorithm, bytes.data(), bytes.size(), digest)) return BDError(rc, nullptr);
        Printf(L"%s\r\n", digest.c_str());
        return 0;
    }
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString name;
    if (!GetNthArgument(args.c_str(), 0)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"HASH");
    int result = 0;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++) {
        StripQuotes_S(name);
        if (int rc = HashPattern(algorithm, name)) result = rc;
    }
    return result;
}

// UUID [/N:n] [/U]
int Uuid_Command(CString &args) {
    CString count;
    bool many = GetMultiCharSwitch(args, L"N", &count, 0, nullptr, 0, 0) != 0;
    unsigned mask = 0;
    if (GetSwitches(args, L"U", &mask, 0, nullptr)) return 2;
    if (!args.TrimLeftCopy().empty()) return BDError(ERROR_INVALID_PARAMETER, args.TrimLeftCopy().c_str());
    int n = 1, used = 0;
    if (many) {
        count.TrimLeft(L":");
        if (Sscanf(count.c_str(), L"%d%n", &n, &used) != 2 || used != count.GetLength() || n < 0)
            return BDError(ERROR_INVALID_PARAMETER, count.c_str());
    }
    for (int i = 0; i < n; i++) {
        CString id = NewUuid();
        if (mask & 1) id.MakeUpper();
        Printf(L"%s\r\n", id.c_str());
        tty_yield(0);
    }
    return 0;
}
