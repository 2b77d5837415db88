// Byte codings, checksums and the digests of the system's cryptography
// provider (CNG).
#include "base/platform.h"
#include <winternl.h>
#include <bcrypt.h>
#include <objbase.h>
#include "base/errors.h"
#include "base/format.h"
#include "console/console.h"
#include "vars/coding.h"

namespace {

const char kBase64[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

bool IsSpace(wchar_t c) { return c == L' ' || c == L'\t' || c == L'\r' || c == L'\n'; }

int HexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    return -1;
}

// A six-bit group of uuencode, with "`" standing for zero.
char UuChar(unsigned v) { return v ? (char)(v + 32) : '`'; }
unsigned UuValue(char c) { return (unsigned)(c - 32) & 63; }

struct Entity {
    const wchar_t *pszName;
    wchar_t c;
};
const Entity kEntities[] = {
    {L"amp", L'&'},      {L"lt", L'<'},       {L"gt", L'>'},       {L"quot", L'"'},    {L"apos", L'\''},
    {L"nbsp", 0xA0},     {L"copy", 0xA9},     {L"reg", 0xAE},      {L"euro", 0x20AC},  {L"trade", 0x2122},
    {L"hellip", 0x2026}, {L"mdash", 0x2014},  {L"ndash", 0x2013},  {L"laquo", 0xAB},   {L"raquo", 0xBB},
};

}  // namespace

CString Base64Encode(const std::string &bytes) {
    CString out;
    out.reserve((bytes.size() + 2) / 3 * 4);
    for (size_t i = 0; i < bytes.size(); i += 3) {
        unsigned n = (unsigned char)bytes[i] << 16;
        if (i + 1 < bytes.size()) n |= (unsigned char)bytes[i + 1] << 8;
        if (i + 2 < bytes.size()) n |= (unsigned char)bytes[i + 2];
        out += (wchar_t)kBase64[n >> 18];
        out += (wchar_t)kBase64[(n >> 12) & 63];
        out += i + 1 < bytes.size() ? (wchar_t)kBase64[(n >> 6) & 63] : L'=';
        out += i + 2 < bytes.size() ? (wchar_t)kBase64[n & 63] : L'=';
    }
    return out;
}

bool Base64Decode(const CString &text, std::string *bytes) {
    bytes->clear();
    unsigned n = 0;
    int bits = 0, pad = 0;
    for (wchar_t c : text) {
        if (IsSpace(c)) continue;
        if (c == L'=') {
            pad++;
            continue;
        }
        const char *at = c < 0x80 ? strchr(kBase64, (char)c) : nullptr;
        if (!at || !*at || pad) return false;
        n = (n << 6) | (unsigned)(at - kBase64);
        bits += 6;
        if (bits >= 8) {
            bits -= 8;
            *bytes += (char)((n >> bits) & 0xFF);
        }
    }
    // Leftover bits must be padding zeros, and the padding must fill a group.
    return bits < 6 && pad <= 2 && (n & ((1u << bits) - 1)) == 0;
}

CString HexEncode(const std::string &bytes) {
    CString out;
    for (unsigned char b : bytes) out.AppendFormat(L"%02x", b);
    return out;
}

bool HexDecode(const CString &text, std::string *bytes) {
    bytes->clear();
    int high = -1;
    for (wchar_t c : text) {
        if (IsSpace(c)) continue;
        int v = HexValue(c);
        if (v < 0) return false;
        if (high < 0) {
            high = v;
        } else {
            *bytes += (char)(high << 4 | v);
            high = -1;
        }
    }
    return high < 0;
}

CString UrlEncode(const std::string &bytes) {
    CString out;
    for (unsigned char b : bytes) {
        if (isalnum(b) || b == '-' || b == '_' || b == '.' || b == '~') out += (wchar_t)b;
        else out.AppendFormat(L"%%%02X", b);
    }
    return out;
}

bool UrlDecode(const CString &text, std::string *bytes) {
    bytes->clear();
    for (size_t i = 0; i < text.size(); i++) {
        wchar_t c = text[i];
        if (c == L'%') {
            int high = HexValue(text.At(i + 1)), low = HexValue(text.At(i + 2));
            if (high < 0 || low < 0) return false;
            *bytes += (char)(high << 4 | low);
            i += 2;
        } else {
            *bytes += ToUtf8(CString(1, c));
        }
    }
    return true;
}

CString HtmlEncode(const CString &text) {
    CString out;
    for (wchar_t c : text) {
        switch (c) {
        case L'&': out += L"&amp;"; break;
        case L'<': out += L"&lt;"; break;
        case L'>': out += L"&gt;"; break;
        case L'"': out += L"&quot;"; break;
        case L'\'': out += L"&#39;"; break;
        default: out += c;
        }
    }
    return out;
}

// One entity at text[at] ("&...;"): its character(s) and length, or false.
static bool ReadEntity(const CString &text, size_t at, CString *value, size_t *length) {
    size_t end = text.find(L';', at);
    if (end == CString::npos || end - at > 12) return false;
    CString name = text.Mid(at + 1, end - at - 1);
    *length = end - at + 1;
    if (name.At(0) == L'#') {
        bool hex = name.At(1) == L'x' || name.At(1) == L'X';
        CString digits = name.Mid(hex ? 2 : 1);
        if (digits.empty() || digits.find_first_not_of(hex ? L"0123456789abcdefABCDEF" : L"0123456789") != CString::npos)
            return false;
        unsigned long code = wcstoul(digits.c_str(), nullptr, hex ? 16 : 10);
        if (code == 0 || code > 0x10FFFF || (code >= 0xD800 && code <= 0xDFFF)) return false;
        if (code > 0xFFFF) {
            *value = CString(1, (wchar_t)(0xD800 + ((code - 0x10000) >> 10)));
            *value += (wchar_t)(0xDC00 + ((code - 0x10000) & 0x3FF));
        } else {
            *value = CString(1, (wchar_t)code);
        }
        return true;
    }
    for (const Entity &e : kEntities) {
        if (name == e.pszName) {
            *value = CString(1, e.c);
            return true;
        }
    }
    return false;
}

CString HtmlDecode(const CString &text) {
    CString out;
    for (size_t i = 0; i < text.size(); i++) {
        CString value;
        size_t length = 0;
        if (text[i] == L'&' && ReadEntity(text, i, &value, &length)) {
            out += value;
            i += length - 1;
        } else {
            out += text[i];
        }
    }
    return out;
}

std::vector<std::string> UuEncodeLines(const std::string &bytes) {
    std::vector<std::string> lines;
    for (size_t at = 0; at < bytes.size(); at += 45) {
        size_t n = bytes.size() - at < 45 ? bytes.size() - at : 45;
        std::string line(1, UuChar((unsigned)n));
        for (size_t i = 0; i < n; i += 3) {
            unsigned char b0 = bytes[at + i], b1 = i + 1 < n ? bytes[at + i + 1] : 0, b2 = i + 2 < n ? bytes[at + i + 2] : 0;
            line += UuChar(b0 >> 2);
            line += UuChar(((b0 & 3) << 4) | (b1 >> 4));
            line += UuChar(((b1 & 15) << 2) | (b2 >> 6));
            line += UuChar(b2 & 63);
        }
        lines.push_back(line);
    }
    return lines;
}

bool UuDecodeLine(const std::string &line, std::string *bytes) {
    if (line.empty()) return true;
    size_t n = UuValue(line[0]), groups = (n + 2) / 3;
    if (line.size() < 1 + groups * 4) return false;
    for (size_t g = 0; g < groups; g++) {
        const char *q = line.c_str() + 1 + g * 4;
        for (int k = 0; k < 4; k++)
            if (q[k] < 32 || q[k] > 96) return false;
        unsigned v = UuValue(q[0]) << 18 | UuValue(q[1]) << 12 | UuValue(q[2]) << 6 | UuValue(q[3]);
        for (int k = 0; k < 3 && g * 3 + k < n; k++) *bytes += (char)((v >> (16 - 8 * k)) & 0xFF);
    }
    return true;
}

std::string YEncode(const std::string &bytes, size_t lineLength) {
    std::string out;
    size_t column = 0;
    for (size_t i = 0; i < bytes.size(); i++) {
        unsigned char c = (unsigned char)(bytes[i] + 42);
        bool lineEdge = lineLength && (column == 0 || column + 1 >= lineLength || i + 1 == bytes.size());
        bool escape = c == 0 || c == '\n' || c == '\r' || c == '=' ||
                      (lineEdge && (c == '\t' || c == ' ')) || (lineLength && column == 0 && c == '.');
        if (escape) {
            out += '=';
            c = (unsigned char)(c + 64);
            column++;
        }
        out += (char)c;
        column++;
        if (lineLength && column >= lineLength && i + 1 < bytes.size()) {
            out += "\r\n";
            column = 0;
        }
    }
    return out;
}

bool YDecode(const std::string &encoded, std::string *bytes) {
    bytes->clear();
    for (size_t i = 0; i < encoded.size(); i++) {
        unsigned char c = (unsigned char)encoded[i];
        if (c == '\r' || c == '\n') continue;
        if (c == '=') {
            if (++i >= encoded.size()) return false;
            c = (unsigned char)(encoded[i] - 64);
        }
        *bytes += (char)(unsigned char)(c - 42);
    }
    return true;
}

std::string ToUtf8(const CString &text) {
    if (text.empty()) return std::string();
    int n = WideCharToMultiByte(CP_UTF8, 0, text.c_str(), (int)text.size(), nullptr, 0, nullptr, nullptr);
    std::string out((size_t)n, '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), (int)text.size(), out.data(), n, nullptr, nullptr);
    return out;
}

bool FromUtf8(const std::string &bytes, CString *text) {
    text->clear();
    if (bytes.empty()) return true;
    int n = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), (int)bytes.size(), nullptr, 0);
    if (n <= 0) return false;
    text->resize((size_t)n);
    MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), (int)bytes.size(), text->data(), n);
    return true;
}

CString BytesAsText(const std::string &bytes) {
    CString text;
    text.reserve(bytes.size());
    for (unsigned char b : bytes) text += (wchar_t)b;
    return text;
}

bool TextAsBytes(const CString &text, std::string *bytes) {
    bytes->clear();
    for (wchar_t c : text) {
        if (c > 0xFF) return false;
        *bytes += (char)c;
    }
    return true;
}

CString DecodeTextBytes(const std::string &bytes) {
    if (bytes.size() >= 2 && (unsigned char)bytes[0] == 0xFF && (unsigned char)bytes[1] == 0xFE) {
        CString text((bytes.size() - 2) / 2, L'\0');
        memcpy(text.data(), bytes.data() + 2, text.size() * 2);
        return text;
    }
    CString text;
    bool mark = bytes.size() >= 3 && bytes.compare(0, 3, "\xEF\xBB\xBF") == 0;
    if (FromUtf8(mark ? bytes.substr(3) : bytes, &text)) return text;
    return FromCodePage(bytes.data(), (int)bytes.size(), CP_ACP);
}

uint32_t Crc32(uint32_t crc, const void *data, size_t size) {
    static const auto table = [] {
        std::vector<uint32_t> t(256);
        for (uint32_t i = 0; i < 256; i++) {
            uint32_t c = i;
            for (int k = 0; k < 8; k++) c = c & 1 ? 0xEDB88320u ^ (c >> 1) : c >> 1;
            t[i] = c;
        }
        return t;
    }();
    const unsigned char *p = (const unsigned char *)data;
    crc = ~crc;
    for (size_t i = 0; i < size; i++) crc = table[(crc ^ p[i]) & 0xFF] ^ (crc >> 8);
    return ~crc;
}

// The cksum CRC runs most significant bit first, polynomial 0x04C11DB7.
static uint32_t CksumStep(uint32_t crc, const unsigned char *p, size_t size) {
    static const auto table = [] {
        std::vector<uint32_t> t(256);
        for (uint32_t i = 0; i < 256; i++) {
            uint32_t c = i << 24;
            for (int k = 0; k < 8; k++) c = c & 0x80000000u ? (c << 1) ^ 0x04C11DB7u : c << 1;
            t[i] = c;
        }
        return t;
    }();
    for (size_t i = 0; i < size; i++) crc = (crc << 8) ^ table[((crc >> 24) ^ p[i]) & 0xFF];
    return crc;
}

void CksumAdd(CKSUM &sum, const void *data, size_t size) {
    sum.crc = CksumStep(sum.crc, (const unsigned char *)data, size);
    sum.length += size;
}

uint32_t CksumFinish(const CKSUM &sum) {
    uint32_t crc = sum.crc;
    for (uint64_t n = sum.length; n; n >>= 8) {
        unsigned char b = (unsigned char)(n & 0xFF);
        crc = CksumStep(crc, &b, 1);
    }
    return ~crc;
}

namespace {

// A CNG status as a system error code.
int StatusCode(NTSTATUS status) {
    using ToDos = ULONG(WINAPI *)(NTSTATUS);
    static const ToDos toDos =
        reinterpret_cast<ToDos>(reinterpret_cast<void *>(GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "RtlNtStatusToDosError")));
    ULONG code = toDos ? toDos(status) : 0;
    return code ? (int)code : ERROR_GEN_FAILURE;
}

struct AlgorithmName {
    const wchar_t *pszName;
    const wchar_t *pszProvider;
};
const AlgorithmName kAlgorithms[] = {
    {L"MD5", BCRYPT_MD5_ALGORITHM},       {L"SHA1", BCRYPT_SHA1_ALGORITHM},
    {L"SHA256", BCRYPT_SHA256_ALGORITHM}, {L"SHA384", BCRYPT_SHA384_ALGORITHM},
    {L"SHA512", BCRYPT_SHA512_ALGORITHM},
};

}  // namespace

// The size of the pieces a file is read in.
constexpr size_t kReadPiece = 1 << 20;

Digest::~Digest() {
    if (hash_) BCryptDestroyHash((BCRYPT_HASH_HANDLE)hash_);
    if (provider_) BCryptCloseAlgorithmProvider((BCRYPT_ALG_HANDLE)provider_, 0);
}

int Digest::Open(const wchar_t *algorithm) {
    CString bare = algorithm ? algorithm : L"";
    bare.Replace(L"-", L"");
    const wchar_t *provider = nullptr;
    for (const AlgorithmName &a : kAlgorithms)
        if (bare.EqualsNoCase(a.pszName)) provider = a.pszProvider;
    if (!provider) return ERROR_BD_UNKNOWN_ALGORITHM;
    BCRYPT_ALG_HANDLE alg = nullptr;
    NTSTATUS s = BCryptOpenAlgorithmProvider(&alg, provider, nullptr, 0);
    if (s) return StatusCode(s);
    provider_ = alg;
    DWORD length = 0, got = 0;
    s = BCryptGetProperty(alg, BCRYPT_HASH_LENGTH, (PUCHAR)&length, sizeof(length), &got, 0);
    if (s) return StatusCode(s);
    value_.resize(length);
    BCRYPT_HASH_HANDLE hash = nullptr;
    s = BCryptCreateHash(alg, &hash, nullptr, 0, nullptr, 0, 0);
    if (s) return StatusCode(s);
    hash_ = hash;
    return 0;
}

int Digest::Add(const void *data, size_t size) {
    const unsigned char *p = (const unsigned char *)data;
    while (size) {
        ULONG piece = size > 0x40000000 ? 0x40000000 : (ULONG)size;
        NTSTATUS s = BCryptHashData((BCRYPT_HASH_HANDLE)hash_, (PUCHAR)p, piece, 0);
        if (s) return StatusCode(s);
        p += piece;
        size -= piece;
    }
    return 0;
}

int Digest::Finish(CString *hex) {
    NTSTATUS s = BCryptFinishHash((BCRYPT_HASH_HANDLE)hash_, value_.data(), (ULONG)value_.size(), 0);
    if (s) return StatusCode(s);
    hex->clear();
    for (unsigned char b : value_) hex->AppendFormat(L"%02x", b);
    return 0;
}

int HashBytes(const wchar_t *algorithm, const void *data, size_t size, CString &digest) {
    Digest d;
    if (int rc = d.Open(algorithm)) return rc;
    if (int rc = d.Add(data, size)) return rc;
    return d.Finish(&digest);
}

int ReadFileInPieces(const wchar_t *fileName, const std::function<int(const char *, size_t)> &add) {
    HANDLE h = CreateFileW(fileName, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_SEQUENTIAL_SCAN, nullptr);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    std::string piece(kReadPiece, '\0');
    int rc = 0;
    try {
        for (DWORD got = 0; !rc; tty_yield(0)) {
            if (!ReadFile(h, piece.data(), (DWORD)piece.size(), &got, nullptr)) rc = (int)GetLastError();
            else if (!got) break;
            else rc = add(piece.data(), (size_t)got);
        }
    } catch (...) {
        CloseHandle(h);  // an interrupt leaves no handle behind
        throw;
    }
    CloseHandle(h);
    return rc;
}

int HashFile(const wchar_t *algorithm, const wchar_t *fileName, CString &digest) {
    Digest d;
    if (int rc = d.Open(algorithm)) return rc;
    if (int rc = ReadFileInPieces(fileName, [&](const char *data, size_t size) { return d.Add(data, size); })) return rc;
    return d.Finish(&digest);
}

CString NewUuid() {
    GUID g{};
    CoCreateGuid(&g);
    return FormatStr(L"%08x-%04x-%04x-%02x%02x-%02x%02x%02x%02x%02x%02x", (unsigned)g.Data1, g.Data2, g.Data3,
                     g.Data4[0], g.Data4[1], g.Data4[2], g.Data4[3], g.Data4[4], g.Data4[5], g.Data4[6], g.Data4[7]);
}
