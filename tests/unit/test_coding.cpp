// The byte codings, checksums and digests behind the hash and encoder
// functions, checked against published test vectors and by round trips
// over every byte value.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "vars/coding.h"
#include "vars/func_internal.h"

namespace {

std::string AllBytes() {
    std::string bytes;
    for (int i = 0; i < 256; i++) bytes += (char)i;
    return bytes + "tail";
}

CString DigestOf(const wchar_t *algorithm, const std::string &data) {
    Digest d;
    CString hex;
    EXPECT_EQ(d.Open(algorithm), 0);
    EXPECT_EQ(d.Add(data.data(), data.size()), 0);
    EXPECT_EQ(d.Finish(&hex), 0);
    return hex;
}

}  // namespace

TEST(Coding, Base64Vectors) {
    // RFC 4648, section 10.
    const char *plain[] = {"", "f", "fo", "foo", "foob", "fooba", "foobar"};
    const wchar_t *coded[] = {L"", L"Zg==", L"Zm8=", L"Zm9v", L"Zm9vYg==", L"Zm9vYmE=", L"Zm9vYmFy"};
    for (int i = 0; i < 7; i++) {
        EXPECT_EQ(Base64Encode(plain[i]), coded[i]);
        std::string back;
        EXPECT_TRUE(Base64Decode(coded[i], &back));
        EXPECT_EQ(back, plain[i]);
    }
    std::string bytes;
    EXPECT_TRUE(Base64Decode(L"Zm9v\r\nYmFy", &bytes));  // line ends are skipped
    EXPECT_EQ(bytes, "foobar");
    EXPECT_FALSE(Base64Decode(L"Zm9v!", &bytes));
    EXPECT_FALSE(Base64Decode(L"Zg=x", &bytes));  // nothing after the padding
    EXPECT_FALSE(Base64Decode(L"Zh==", &bytes));  // bits left over that are not zero
    EXPECT_TRUE(Base64Decode(Base64Encode(AllBytes()), &bytes));
    EXPECT_EQ(bytes, AllBytes());
}

TEST(Coding, HexAndUrl) {
    EXPECT_EQ(HexEncode("\x01\xAB z"), L"01ab207a");
    std::string bytes;
    EXPECT_TRUE(HexDecode(L"01AB 207a", &bytes));
    EXPECT_EQ(bytes, "\x01\xAB z");
    EXPECT_FALSE(HexDecode(L"abc", &bytes));  // an odd count of digits
    EXPECT_FALSE(HexDecode(L"0g", &bytes));
    EXPECT_TRUE(HexDecode(HexEncode(AllBytes()), &bytes));
    EXPECT_EQ(bytes, AllBytes());

    EXPECT_EQ(UrlEncode(ToUtf8(L"a b/\u00e9-_.~")), L"a%20b%2F%C3%A9-_.~");
    EXPECT_TRUE(UrlDecode(L"a%20b%2f%C3%A9+", &bytes));
    EXPECT_EQ(bytes, "a b/\xC3\xA9+");
    EXPECT_FALSE(UrlDecode(L"100%", &bytes));
    EXPECT_FALSE(UrlDecode(L"%zz", &bytes));
    EXPECT_TRUE(UrlDecode(UrlEncode(AllBytes()), &bytes));
    EXPECT_EQ(bytes, AllBytes());
}

TEST(Coding, HtmlEntities) {
    EXPECT_EQ(HtmlEncode(L"<a href=\"x\">&'</a>"), L"&lt;a href=&quot;x&quot;&gt;&amp;&#39;&lt;/a&gt;");
    EXPECT_EQ(HtmlDecode(L"&lt;b&gt; &amp;amp; &#65;&#x42;&#X43; &euro;"), L"<b> &amp; ABC \u20ac");
    EXPECT_EQ(HtmlDecode(L"&#x1F600;"), L"\U0001F600");
    // What is no entity stays as written.
    EXPECT_EQ(HtmlDecode(L"a & b &nosuch; &#; &#xD800; &#0;"), L"a & b &nosuch; &#; &#xD800; &#0;");
    CString all;
    for (wchar_t c = 1; c < 0x300; c++) all += c;
    EXPECT_EQ(HtmlDecode(HtmlEncode(all)), all);
}

TEST(Coding, UuencodeLines) {
    std::vector<std::string> lines = UuEncodeLines("Cat");
    ASSERT_EQ(lines.size(), 1u);
    EXPECT_EQ(lines[0], "#0V%T");
    // 45 bytes a line; a group with a zero value is "`", never a blank.
    lines = UuEncodeLines(std::string(46, '\0'));
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "M" + std::string(60, '`'));
    EXPECT_EQ(lines[1], "!````");
    std::string back;
    for (const std::string &line : UuEncodeLines(AllBytes())) EXPECT_TRUE(UuDecodeLine(line, &back));
    EXPECT_EQ(back, AllBytes());
    EXPECT_FALSE(UuDecodeLine("M00", &back));  // shorter than its length says
}

TEST(Coding, YEnc) {
    EXPECT_EQ(YEncode("abc", 0), "\x8B\x8C\x8D");
    // The critical characters (NUL, LF, CR, "=") are escaped with "=" and
    // 64 more: 0xD6 + 42 is NUL, 0xE0 + 42 is LF, 0x13 + 42 is "=".
    EXPECT_EQ(YEncode("\xD6\xE0\xE3\x13", 0), "=@=J=M=}");
    // In lines, a leading "." and blanks at either end are escaped too.
    EXPECT_EQ(YEncode("\x04", 128), "=n");
    EXPECT_EQ(YEncode("\xF6x", 128), "=`\xA2");
    std::string coded = YEncode(AllBytes() + AllBytes(), 128), back;
    EXPECT_NE(coded.find("\r\n"), std::string::npos);
    EXPECT_TRUE(YDecode(coded, &back));
    EXPECT_EQ(back, AllBytes() + AllBytes());
    EXPECT_FALSE(YDecode("ab=", &back));
}

TEST(Coding, Utf8AndBytes) {
    CString text = L"a\u00e9\u20ac\U0001F600";
    EXPECT_EQ(ToUtf8(text), "a\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80");
    CString back;
    EXPECT_TRUE(FromUtf8(ToUtf8(text), &back));
    EXPECT_EQ(back, text);
    EXPECT_FALSE(FromUtf8("\xC3(", &back));
    EXPECT_EQ(BytesAsText("\x41\xFF"), L"A\u00ff");
    std::string bytes;
    EXPECT_TRUE(TextAsBytes(L"A\u00ff", &bytes));
    EXPECT_EQ(bytes, "\x41\xFF");
    EXPECT_FALSE(TextAsBytes(L"\u0100", &bytes));
    EXPECT_EQ(DecodeTextBytes(std::string("\xFF\xFE" "a\0b\0", 6)), L"ab");
    EXPECT_EQ(DecodeTextBytes("\xEF\xBB\xBF\xC3\xA9"), L"\u00e9");
    EXPECT_EQ(DecodeTextBytes("\xC3\xA9"), L"\u00e9");
}

TEST(Coding, Checksums) {
    // The check values of the two CRCs over "123456789".
    EXPECT_EQ(Crc32(0, "123456789", 9), 0xCBF43926u);
    uint32_t split = Crc32(Crc32(0, "1234", 4), "56789", 5);
    EXPECT_EQ(split, 0xCBF43926u);
    CKSUM sum;
    CksumAdd(sum, "abc", 3);
    EXPECT_EQ(CksumFinish(sum), 1219131554u);  // POSIX cksum of "abc"
    CKSUM empty;
    EXPECT_EQ(CksumFinish(empty), 4294967295u);
}

TEST(Coding, DigestsOfTheSystemProvider) {
    EXPECT_EQ(DigestOf(L"MD5", ""), L"d41d8cd98f00b204e9800998ecf8427e");
    EXPECT_EQ(DigestOf(L"md5", "abc"), L"900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(DigestOf(L"SHA1", "abc"), L"a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(DigestOf(L"SHA256", "abc"), L"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(DigestOf(L"SHA384", "abc"),
              L"cb00753f45a35e8bb5a03d699ac65007272c32ab0eded1631a8b605a43ff5bed8086072ba1e7cc2358baeca134c825a7");
    EXPECT_EQ(DigestOf(L"SHA512", "abc"),
              L"ddaf35a193617abacc417349ae20413112e6fa4e89a97ea20a9eeee64b55d39a2192992a274fc1a836ba3c23a3feebbd454d"
              L"4423643ce80e2a9ac94fa54ca49f");
    // Fed in pieces, the same digest.
    Digest d;
    CString hex;
    ASSERT_EQ(d.Open(L"SHA256"), 0);
    d.Add("a", 1);
    d.Add("bc", 2);
    d.Finish(&hex);
    EXPECT_EQ(hex, L"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    Digest none;
    EXPECT_EQ(none.Open(L"SHA3"), ERROR_BD_UNKNOWN_ALGORITHM);
}

TEST(NumberPieces, PrimesAndBases) {
    for (unsigned long long p : {2ULL, 3ULL, 97ULL, 7919ULL, 2147483647ULL, 2305843009213693951ULL, 18446744073709551557ULL})
        EXPECT_TRUE(QueryIsPrime(p)) << p;
    // Carmichael numbers and a strong pseudoprime to the small bases.
    for (unsigned long long c : {0ULL, 1ULL, 4ULL, 561ULL, 1105ULL, 3215031751ULL, 3825123056546413051ULL, 18446744073709551615ULL})
        EXPECT_FALSE(QueryIsPrime(c)) << c;
    EXPECT_EQ(ToBase(255, 16), L"FF");
    EXPECT_EQ(ToBase(0, 2), L"0");
    EXPECT_EQ(ToBase(18446744073709551615ULL, 36), L"3W5E11264SGSF");
    EXPECT_TRUE(QueryIsFloat(L"-1.5e-3"));
    EXPECT_TRUE(QueryIsFloat(L"1,000.5"));
    EXPECT_FALSE(QueryIsFloat(L"1e"));
    EXPECT_FALSE(QueryIsFloat(L"e5"));
    EXPECT_FALSE(QueryIsFloat(L"1.2.3"));
}
