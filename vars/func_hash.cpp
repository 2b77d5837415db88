// Hashes and encoders: @MD5, @SHA1, @SHA256, @SHA384, @SHA512, @CRC32 and
// @CKSUM over a file, a string or a buffer; @B64..., @HEX..., @HTML...,
// @URL..., @UTF8..., @UU... and @Y...ENCODE/DECODE over a string or from
// one file to another; and @UUID.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "vars/coding.h"
#include "vars/func_internal.h"
#include "vars/functions.h"

namespace {

// Where the bytes of a digest come from: the first argument picks it.
enum Source { SRC_FILE, SRC_WIDE, SRC_ANSI, SRC_UTF8, SRC_BUFFER };

// Reads the source of a digest: "f" (or empty) then a file name, "s" a
// string (its UTF-16 bytes), "sa" its ANSI bytes, "s8" its UTF-8 bytes, "b"
// then "buffer,offset,length".  Without a known mode the whole text is a
// file name.
Source ReadSource(const CString &args, CString *rest) {
    CString mode, tail;
    if (SplitAtComma(args, &mode, &tail)) {
        mode.Trim();
        struct { const wchar_t *name; Source source; } modes[] = {
            {L"", SRC_FILE}, {L"f", SRC_FILE}, {L"s", SRC_WIDE}, {L"sa", SRC_ANSI}, {L"s8", SRC_UTF8}, {L"b", SRC_BUFFER}};
        for (const auto &m : modes) {
            if (mode.EqualsNoCase(m.name)) {
                *rest = tail;
                return m.source;
            }
        }
    }
    *rest = args;
    return SRC_FILE;
}

// Feed a whole file named by an argument (quotes stripped) to add.
template <typename Add>
int ReadFilePieces(const CString &argument, Add add) {
    CString name = NameArgument(argument);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    return ReadFileInPieces(name.c_str(), add);
}

// The bytes of a string or buffer source (not a file).
int SourceBytes(Source source, const CString &rest, std::string *bytes) {
    CString text = rest;
    if (source == SRC_BUFFER) {
        long long offset = 0, length = 0;
        int used = -1;
        wchar_t handle[40] = {};
        if (Sscanf(text.c_str(), L" %39[^,],%I64i ,%I64i %n", handle, &offset, &length, &used) != 4 ||
            (size_t)used != text.size())
            return ERROR_INVALID_PARAMETER;
        unsigned char *data = nullptr;
        size_t size = 0;
        if (int rc = QueryBufferRange(handle, offset, length, &data, &size)) return rc;
        bytes->assign((const char *)data, size);
        return 0;
    }
    UnEscapeLine(text);
    if (source == SRC_WIDE) bytes->assign((const char *)text.data(), text.size() * sizeof(wchar_t));
    else if (source == SRC_UTF8) *bytes = ToUtf8(text);
    else *bytes = ToCodePage(text.c_str(), (int)text.size(), CP_ACP);
    return 0;
}

// Run add over the source's bytes, wherever they come from.
template <typename Add>
int FeedSource(const CString &args, Add add) {
    CString rest;
    Source source = ReadSource(args, &rest);
    if (source == SRC_FILE) return ReadFilePieces(rest, add);
    std::string bytes;
    if (int rc = SourceBytes(source, rest, &bytes)) return rc;
    return add(bytes.data(), bytes.size());
}

const wchar_t *AlgorithmOf(int nCase) {
    switch (nCase) {
    case FC_md5: return L"MD5";
    case FC_sha1: return L"SHA1";
    case FC_sha256: return L"SHA256";
    case FC_sha384: return L"SHA384";
    default: return L"SHA512";
    }
}

// The whole of a (modest) file as bytes.
int ReadWholeFile(const CString &argument, std::string *bytes) {
    bytes->clear();
    return ReadFilePieces(argument, [&](const char *data, size_t size) {
        if (bytes->size() + size > 0x40000000) return (int)ERROR_NOT_ENOUGH_MEMORY;
        bytes->append(data, size);
        return 0;
    });
}

int WriteWholeFile(const CString &argument, const std::string &bytes) {
    CString name = NameArgument(argument);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, FILE_SHARE_READ, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return SystemError();
    DWORD wrote = 0;
    BOOL ok = WriteFile(h, bytes.data(), (DWORD)bytes.size(), &wrote, nullptr);
    int rc = ok && wrote == bytes.size() ? 0 : SystemError();
    CloseHandle(h);
    return rc;
}

// A value that is made of bytes shown as text: UTF-8 when they are that,
// else the ANSI code page.
CString TextOfBytes(const std::string &bytes) {
    CString text;
    if (FromUtf8(bytes, &text)) return text;
    return FromCodePage(bytes.data(), (int)bytes.size(), CP_ACP);
}

// The file forms of the encoders: the coded text as it goes into a file.
int EncodeFile(int nCase, const std::string &in, const CString &inName, std::string *out) {
    switch (nCase) {
    case FC_b64encode: {
        CString text = Base64Encode(in);
        for (size_t at = 0; at < text.size(); at += 76) *out += ToUtf8(text.Mid(at, 76)) + "\r\n";
        return 0;
    }
    case FC_hexencode: {
        CString text = HexEncode(in);
        for (size_t at = 0; at < text.size(); at += 64) *out += ToUtf8(text.Mid(at, 64)) + "\r\n";
        return 0;
    }
    case FC_urlencode: *out = ToUtf8(UrlEncode(in)); return 0;
    case FC_htmlencode: *out = ToUtf8(HtmlEncode(DecodeTextBytes(in))); return 0;
    case FC_utf8encode: *out = ToUtf8(DecodeTextBytes(in)); return 0;
    case FC_uuencode: {
        CString base = inName;
        StripQuotes_S(base);
        base = base.Mid(base.find_last_of(L"\\/:") + 1);
        *out = "begin 644 " + ToUtf8(base) + "\r\n";
        for (const std::string &line : UuEncodeLines(in)) *out += line + "\r\n";
        *out += "`\r\nend\r\n";
        return 0;
    }
    default: {  // yEnc
        CString base = inName;
        StripQuotes_S(base);
        base = base.Mid(base.find_last_of(L"\\/:") + 1);
        *out = "=ybegin line=128 size=" + std::to_string(in.size()) + " name=" + ToUtf8(base) + "\r\n";
        *out += YEncode(in, 128) + "\r\n";
        *out += "=yend size=" + std::to_string(in.size()) + " crc32=" +
                ToUtf8(FormatStr(L"%08x", Crc32(0, in.data(), in.size()))) + "\r\n";
        return 0;
    }
    }
}

// The lines of a uuencoded or yEnc file between its header and trailer.
int DecodeFramed(int nCase, const std::string &in, std::string *out) {
    size_t at = 0;
    bool inside = false, ended = false;
    long long size = -1;
    unsigned long crc = 0;
    bool haveCrc = false;
    std::string body;
    while (at < in.size() && !ended) {
        size_t end = in.find('\n', at);
        std::string line = in.substr(at, end == std::string::npos ? std::string::npos : end - at);
        at = end == std::string::npos ? in.size() : end + 1;
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (nCase == FC_uudecode) {
            if (!inside) inside = line.compare(0, 6, "begin ") == 0;
            else if (line == "end") ended = true;
            else if (!UuDecodeLine(line, out)) return ERROR_BD_BAD_ENCODING;
        } else if (line.compare(0, 7, "=ybegin") == 0) {
            inside = true;
            size_t s = line.find(" size=");
            if (s != std::string::npos) size = atoll(line.c_str() + s + 6);
        } else if (inside && line.compare(0, 5, "=yend") == 0) {
            size_t c = line.find(" crc32=");
            if (c != std::string::npos) haveCrc = true, crc = strtoul(line.c_str() + c + 7, nullptr, 16);
            ended = true;
        } else if (inside) {
            body += line;
        }
    }
    if (!inside || !ended) return ERROR_BD_BAD_ENCODING;
    if (nCase == FC_uudecode) return 0;
    if (!YDecode(body, out)) return ERROR_BD_BAD_ENCODING;
    if ((size >= 0 && (size_t)size != out->size()) || (haveCrc && crc != Crc32(0, out->data(), out->size())))
        return ERROR_BD_BAD_ENCODING;
    return 0;
}

int DecodeFile(int nCase, const std::string &in, std::string *out) {
    CString text = DecodeTextBytes(in);
    switch (nCase) {
    case FC_b64decode: return Base64Decode(text, out) ? 0 : ERROR_BD_BAD_ENCODING;
    case FC_hexdecode: return HexDecode(text, out) ? 0 : ERROR_BD_BAD_ENCODING;
    case FC_urldecode: return UrlDecode(text, out) ? 0 : ERROR_BD_BAD_ENCODING;
    case FC_htmldecode: *out = ToUtf8(HtmlDecode(text)); return 0;
    case FC_utf8decode: {
        CString wide;
        if (!FromUtf8(in.compare(0, 3, "\xEF\xBB\xBF") == 0 ? in.substr(3) : in, &wide)) return ERROR_BD_BAD_ENCODING;
        *out = "\xFF\xFE" + std::string((const char *)wide.data(), wide.size() * sizeof(wchar_t));
        return 0;
    }
    default: return DecodeFramed(nCase, in, out);
    }
}

bool IsEncoder(int nCase) {
    return nCase == FC_b64encode || nCase == FC_hexencode || nCase == FC_htmlencode || nCase == FC_urlencode ||
           nCase == FC_utf8encode || nCase == FC_uuencode || nCase == FC_yencode;
}

// The string forms: text in, text out.
int CodeString(int nCase, const CString &text, CString *value) {
    std::string bytes;
    switch (nCase) {
    case FC_b64encode: *value = Base64Encode(ToUtf8(text)); return 0;
    case FC_hexencode: *value = HexEncode(ToUtf8(text)); return 0;
    case FC_urlencode: *value = UrlEncode(ToUtf8(text)); return 0;
    case FC_htmlencode: *value = HtmlEncode(text); return 0;
    case FC_htmldecode: *value = HtmlDecode(text); return 0;
    case FC_utf8encode: *value = BytesAsText(ToUtf8(text)); return 0;
    case FC_uuencode: {
        CString all;
        for (const std::string &line : UuEncodeLines(ToUtf8(text))) all += BytesAsText(line);
        *value = all;
        return 0;
    }
    case FC_yencode: *value = BytesAsText(YEncode(ToUtf8(text), 0)); return 0;
    case FC_b64decode: if (!Base64Decode(text, &bytes)) return ERROR_BD_BAD_ENCODING; break;
    case FC_hexdecode: if (!HexDecode(text, &bytes)) return ERROR_BD_BAD_ENCODING; break;
    case FC_urldecode: if (!UrlDecode(text, &bytes)) return ERROR_BD_BAD_ENCODING; break;
    case FC_utf8decode:
        if (!TextAsBytes(text, &bytes) || !FromUtf8(bytes, value)) return ERROR_BD_BAD_ENCODING;
        return 0;
    case FC_uudecode: {
        std::string encoded;
        if (!TextAsBytes(text, &encoded)) return ERROR_BD_BAD_ENCODING;
        // Lines stand back to back: each one's length character says how
        // long it is.
        for (size_t at = 0; at < encoded.size();) {
            size_t n = ((encoded[at] - 32) & 63), length = 1 + (n + 2) / 3 * 4;
            if (!UuDecodeLine(encoded.substr(at, length), &bytes)) return ERROR_BD_BAD_ENCODING;
            at += length;
        }
        break;
    }
    default: {  // yEnc
        std::string encoded;
        if (!TextAsBytes(text, &encoded) || !YDecode(encoded, &bytes)) return ERROR_BD_BAD_ENCODING;
    }
    }
    *value = TextOfBytes(bytes);
    return 0;
}

}  // namespace

// @MD5[source], @SHA1, @SHA256, @SHA384, @SHA512: the lower-case
// hexadecimal digest.  @CRC32[source]: the eight-digit hexadecimal CRC-32.
// @CKSUM[source]: the POSIX checksum, in decimal.
int Func_Digest(FUNCCALL &call) {
    if (call.args.TrimLeftCopy().empty()) return ERROR_INVALID_PARAMETER;
    if (call.nCase == FC_crc32 || call.nCase == FC_cksum) {
        uint32_t crc = 0;
        CKSUM sum;
        bool posix = call.nCase == FC_cksum;
        int rc = FeedSource(call.args, [&](const char *data, size_t size) {
            if (posix) CksumAdd(sum, data, size);
            else crc = Crc32(crc, data, size);
            return 0;
        });
        if (rc) return rc;
        call.args = posix ? FormatStr(L"%u", CksumFinish(sum)) : FormatStr(L"%08x", crc);
        return 0;
    }
    Digest digest;
    if (int rc = digest.Open(AlgorithmOf(call.nCase))) return rc;
    if (int rc = FeedSource(call.args, [&](const char *data, size_t size) { return digest.Add(data, size); })) return rc;
    CString hex;
    if (int rc = digest.Finish(&hex)) return rc;
    call.args = hex;
    return 0;
}

// @xxxENCODE[s,text] and @xxxDECODE[s,text]: the coded or decoded string
// (text as UTF-8 bytes).  @xxxENCODE[input,output] and the decoders with
// two file names: the file coded into the other; the value is the number
// of bytes written.
int Func_Coding(FUNCCALL &call) {
    CString first, rest;
    if (!SplitAtComma(call.args, &first, &rest)) return ERROR_INVALID_PARAMETER;
    first.Trim();
    if (first.EqualsNoCase(L"s")) {
        UnEscapeLine(rest);
        CString value;
        if (int rc = CodeString(call.nCase, rest, &value)) return rc;
        if (value.size() > kMaxFunctionValue) return ERROR_BD_RESULT_TOO_LONG;
        call.args = value;
        return FUNC_NO_RESCAN;  // coded text is data: its "%" signs stay
    }
    std::string in, out;
    if (int rc = ReadWholeFile(first, &in)) return rc;
    int rc = IsEncoder(call.nCase) ? EncodeFile(call.nCase, in, first, &out) : DecodeFile(call.nCase, in, &out);
    if (rc) return rc;
    if ((rc = WriteWholeFile(rest, out)) != 0) return rc;
    return SetNumber(call.args, (long long)out.size());
}

// @UUID[]: a new random identifier, 8-4-4-4-12 lower-case hexadecimal.
int Func_Uuid(FUNCCALL &call) {
    if (!call.args.TrimLeftCopy().empty()) return ERROR_INVALID_PARAMETER;
    call.args = NewUuid();
    return 0;
}
