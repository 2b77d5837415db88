// Byte codings and checksums behind the hash and encoder functions: Base64,
// hexadecimal, URL (percent), HTML entities, uuencode, yEnc, UTF-8 as
// bytes, CRC-32, the POSIX cksum, and the system's digests.  Bytes travel
// in std::string; text in CString.
#pragma once
#include <cstdint>
#include <functional>
#include <string>
#include <vector>
#include "base/cstring.h"

// Base64 (RFC 4648).  The decoder skips white space and fails on any other
// character outside the alphabet or on a bad length.
CString Base64Encode(const std::string &bytes);
bool Base64Decode(const CString &text, std::string *bytes);

// Two lower-case hexadecimal digits a byte; the decoder takes either case
// and skips white space.
CString HexEncode(const std::string &bytes);
bool HexDecode(const CString &text, std::string *bytes);

// Percent coding: letters, digits and "-_.~" stay, every other byte is %XX.
CString UrlEncode(const std::string &bytes);
bool UrlDecode(const CString &text, std::string *bytes);

// HTML: & < > " ' become entities; the decoder knows the usual named
// entities and &#n; and &#xh;, and leaves anything else as it stands.
CString HtmlEncode(const CString &text);
CString HtmlDecode(const CString &text);

// uuencode: lines of up to 45 bytes, each a length character and groups of
// four characters, with "`" for zero.  UuDecodeLine adds one line's bytes.
std::vector<std::string> UuEncodeLines(const std::string &bytes);
bool UuDecodeLine(const std::string &line, std::string *bytes);

// yEnc: each byte plus 42, and "=" before NUL, LF, CR and "=" (which then
// take 64 more).  With a line length the output is cut into lines (CRLF),
// and a tab, blank or "." at the start or end of a line is escaped as well.
std::string YEncode(const std::string &bytes, size_t lineLength);
bool YDecode(const std::string &encoded, std::string *bytes);

// UTF-8 bytes of text, and text of UTF-8 bytes (false on a bad sequence).
std::string ToUtf8(const CString &text);
bool FromUtf8(const std::string &bytes, CString *text);
// Bytes as characters U+0000 to U+00FF and back (false on a character
// above U+00FF).
CString BytesAsText(const std::string &bytes);
bool TextAsBytes(const CString &text, std::string *bytes);
// Text of the bytes of a file or string of unknown coding: UTF-16 with a
// mark, UTF-8 (with or without a mark), else the ANSI code page.
CString DecodeTextBytes(const std::string &bytes);

// CRC-32 (the zlib polynomial), continued from crc (start with 0).
uint32_t Crc32(uint32_t crc, const void *data, size_t size);
// The POSIX cksum: a CRC over the data, then over its length.
struct CKSUM {
    uint32_t crc = 0;
    uint64_t length = 0;
};
void CksumAdd(CKSUM &sum, const void *data, size_t size);
uint32_t CksumFinish(const CKSUM &sum);

// A digest of the system's cryptography provider: "MD5", "SHA1",
// "SHA256", "SHA384" or "SHA512" (any case, "SHA-256" too).  Open, Add any
// number of times, Finish for the lower-case hexadecimal digest.  Each
// returns 0 or an error code; an unknown name is ERROR_BD_UNKNOWN_ALGORITHM.
class Digest {
public:
    Digest() = default;
    ~Digest();
    Digest(const Digest &) = delete;
    Digest &operator=(const Digest &) = delete;
    int Open(const wchar_t *algorithm);
    int Add(const void *data, size_t size);
    int Finish(CString *hex);

private:
    void *provider_ = nullptr;
    void *hash_ = nullptr;
    std::vector<unsigned char> value_;
};

// One digest of bytes, and of a whole file read in pieces (so memory stays
// small however big the file is).  0 or an error code.
int HashBytes(const wchar_t *algorithm, const void *data, size_t size, CString &digest);
int HashFile(const wchar_t *algorithm, const wchar_t *fileName, CString &digest);

// Feed a file to add(data, size) a piece at a time; Ctrl+C stops it.  The
// first nonzero result of add ends the reading and is returned; else 0 or
// the system's error code.
int ReadFileInPieces(const wchar_t *fileName, const std::function<int(const char *, size_t)> &add);

// A version 4 (random) UUID in its 8-4-4-4-12 form, lower case.
CString NewUuid();
