// The function families beyond the string ones, called through the
// dispatcher as a command line would: numbers, character tests, digests
// and codings, buffers, file handles, the registry, ini files, and the
// command and system members that give the same answer everywhere.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "base/format.h"
#include "scoped_state.h"
#include "system/system.h"
#include "vars/func_internal.h"
#include "vars/functions.h"

namespace {

struct Result {
    int rc;
    CString value;
};

Result Call(const wchar_t *name, const CString &args) {
    CString n(name), a(args);
    int rc = VariableFunction(n, a);
    return {rc, a};
}

// The value of a call that must succeed (plain or not to be rescanned).
CString V(const wchar_t *name, const CString &args) {
    Result r = Call(name, args);
    EXPECT_TRUE(r.rc == 0 || r.rc == FUNC_NO_RESCAN) << "%" << name << "[" << args.c_str() << "] gave " << r.rc;
    return r.value;
}

int Rc(const wchar_t *name, const CString &args) { return Call(name, args).rc; }

constexpr int kHostNotFound = 11001;  // the socket layer's "host not found"

class Families : public ::testing::Test {
protected:
    void SetUp() override {
        aIniFile.DecimalChar = 1;
        aIniFile.ThousandsChar = 2;
        CString dir(MAX_PATH + 1, L'\0');
        dir.resize(GetTempPathW(MAX_PATH + 1, dir.data()));
        dir_ = dir + FormatStr(L"bdxfam%u\\", GetCurrentProcessId());
        CreateDirectoryW(dir_.c_str(), nullptr);
    }
    void TearDown() override {
        for (const CString &f : files_) DeleteFileW(f.c_str());
        RemoveDirectoryW(dir_.c_str());
    }
    CString File(const wchar_t *name) {
        files_.push_back(dir_ + name);
        return files_.back();
    }
    void Write(const CString &name, const std::string &bytes) {
        HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD wrote = 0;
        WriteFile(h, bytes.data(), (DWORD)bytes.size(), &wrote, nullptr);
        CloseHandle(h);
    }
    std::string Read(const CString &name) {
        HANDLE h = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
        std::string bytes(1 << 16, '\0');
        DWORD got = 0;
        ReadFile(h, bytes.data(), (DWORD)bytes.size(), &got, nullptr);
        CloseHandle(h);
        bytes.resize(got);
        return bytes;
    }
    ScopedOptions options_;
    ScopedThreadState thread_;
    CString dir_;
    std::vector<CString> files_;
};

}  // namespace

TEST_F(Families, Arithmetic) {
    EXPECT_EQ(V(L"@abs", L"-3.5"), L"3.5");
    EXPECT_EQ(V(L"@abs", L"2-7"), L"5");
    EXPECT_EQ(V(L"@int", L"-2.7"), L"-2");
    EXPECT_EQ(V(L"@int", L"-0.5"), L"0");
    EXPECT_EQ(V(L"@decimal", L"3.25"), L"25");
    EXPECT_EQ(V(L"@decimal", L"7"), L"0");
    EXPECT_EQ(V(L"@ceiling", L"2.1"), L"3");
    EXPECT_EQ(V(L"@floor", L"-2.1"), L"-3");
    EXPECT_EQ(V(L"@floor", L"10**30+0.5"), L"1000000000000000000000000000000");
    EXPECT_EQ(V(L"@average", L"1,2,4"), L"2.3333333333");
    EXPECT_EQ(V(L"@max", L"3 9.5 -2"), L"9.5");
    EXPECT_EQ(V(L"@min", L"3,9.5,-2"), L"-2");
    EXPECT_EQ(V(L"@comma", L"1234567.891"), L"1,234,567.891");
    EXPECT_EQ(V(L"@comma", L"-1,234"), L"-1,234");
    EXPECT_EQ(V(L"@convert", L"10,16,255"), L"FF");
    EXPECT_EQ(V(L"@convert", L"16,2,fF"), L"11111111");
    EXPECT_EQ(V(L"@convert", L"36,10,zz"), L"1295");
    EXPECT_EQ(V(L"@convert", L"10,2,-5"), L"0");  // no digit at the start
    EXPECT_EQ(V(L"@format", L"-5,ab"), L"ab   ");
    EXPECT_EQ(V(L"@format", L"5,ab"), L"   ab");
    EXPECT_EQ(V(L"@format", L".2,abcdef"), L"ab");
    EXPECT_EQ(V(L"@formatn", L"08.3,3.14159"), L"0003.142");
    EXPECT_EQ(V(L"@formatn", L"4,0x1f"), L"  1F");
    EXPECT_EQ(V(L"@formatnc", L".2,1234567.5"), L"1,234,567.50");
    EXPECT_EQ(V(L"@prime", L"100"), L"101");
    EXPECT_EQ(V(L"@prime", L"-5"), L"2");
    EXPECT_EQ(V(L"@prime", L"18446744073709551534"), L"18446744073709551557");
    EXPECT_EQ(Rc(L"@prime", L"18446744073709551558"), 0x20000028);  // no 64-bit prime is that large
    EXPECT_EQ(V(L"@isprime", L"18446744073709551557"), L"1");
    EXPECT_EQ(V(L"@isprime", L"91"), L"0");
    EXPECT_EQ(V(L"@random", L"7,7"), L"7");
    for (int i = 0; i < 20; i++) {
        long long r = _wtoi64(V(L"@random", L"-3, 3").c_str());
        EXPECT_TRUE(r >= -3 && r <= 3) << r;
    }
    const wchar_t *bad[][2] = {{L"@convert", L"2,10,102"}, {L"@convert", L"1,10,1"},  {L"@convert", L"10,37,1"},
                               {L"@format", L"%n,x"},      {L"@format", L"*,x"},      {L"@format", L"40000,x"},
                               {L"@formatn", L"5,abc"},    {L"@comma", L"12a"},       {L"@max", L"1 x"},
                               {L"@prime", L"x"},          {L"@prime", L"99999999999999999999"}, {L"@random", L"1"},
                               {L"@average", L"1,,2"},     {L"@abs", L""}};
    for (auto &b : bad) EXPECT_EQ(Rc(b[0], b[1]), ERROR_INVALID_PARAMETER) << b[0] << "[" << b[1] << "]";
    EXPECT_EQ(Rc(L"@convert", L"16,10,10000000000000000"), 0x20000028);  // more than 64 bits
    EXPECT_EQ(Rc(L"@repeat", L"x,99999999"), ERROR_BD_RESULT_TOO_LONG);
}

TEST_F(Families, CharacterTests) {
    EXPECT_EQ(V(L"@isalpha", L"abc\u00e9"), L"1");
    EXPECT_EQ(V(L"@isalpha", L"ab1"), L"0");
    EXPECT_EQ(V(L"@isalpha", L""), L"0");
    EXPECT_EQ(V(L"@isdigit", L"0123"), L"1");
    EXPECT_EQ(V(L"@isupper", L"AB\u00c9"), L"1");
    EXPECT_EQ(V(L"@islower", L"aB"), L"0");
    EXPECT_EQ(V(L"@isxdigit", L"09afAF"), L"1");
    EXPECT_EQ(V(L"@isspace", L" \t"), L"1");
    EXPECT_EQ(V(L"@isascii", L"abc~"), L"1");
    EXPECT_EQ(V(L"@isascii", L"\u00e9"), L"0");
    EXPECT_EQ(V(L"@iscntrl", L"\x01\x1f"), L"1");
    EXPECT_EQ(V(L"@isprint", L"a b"), L"1");
    EXPECT_EQ(V(L"@ispunct", L".,;!"), L"1");
    EXPECT_EQ(V(L"@isfloat", L"-1.5e3"), L"1");
    EXPECT_EQ(V(L"@isfloat", L"1.5e"), L"0");
    EXPECT_EQ(V(L"@talpha", L"a1b-"), L"1010");
    EXPECT_EQ(V(L"@tdigit", L"a1b2"), L"0101");
    EXPECT_EQ(V(L"@tupper", L"aBc"), L"010");
    EXPECT_EQ(V(L"@txdigit", L"0fg"), L"110");
    EXPECT_EQ(V(L"@tspace", L"a b"), L"010");
    EXPECT_EQ(V(L"@talnum", L""), L"");
    EXPECT_EQ(V(L"@isalnum", L"a1\u00e9"), L"1");
    EXPECT_EQ(V(L"@isalnum", L"a-1"), L"0");
    EXPECT_EQ(V(L"@tascii", L"a\u00e9"), L"10");
    EXPECT_EQ(V(L"@tcntrl", L"a\tb"), L"010");
    EXPECT_EQ(V(L"@tlower", L"aB\u00e9"), L"101");
    EXPECT_EQ(V(L"@tprint", L"a\x01"), L"10");
}

TEST_F(Families, DigestsOfStringsFilesAndBuffers) {
    EXPECT_EQ(V(L"@md5", L"s8,abc"), L"900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(V(L"@md5", L"sa,abc"), L"900150983cd24fb0d6963f7d28e17f72");
    // "s": the UTF-16 bytes of the text.
    EXPECT_EQ(V(L"@md5", L"s,abc"), L"ce1473cf80c6b3fda8e3dfc006adc315");
    EXPECT_EQ(V(L"@crc32", L"s8,123456789"), L"cbf43926");
    EXPECT_EQ(V(L"@cksum", L"s8,abc"), L"1219131554");
    CString file = File(L"abc.txt");
    Write(file, "abc");
    EXPECT_EQ(V(L"@sha1", file), L"a9993e364706816aba3e25717850c26c9cd0d89d");
    EXPECT_EQ(V(L"@sha256", L"f,\"" + file + L"\""), L"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    EXPECT_EQ(Rc(L"@sha256", dir_ + L"nosuch.txt"), ERROR_FILE_NOT_FOUND);
    CString buffer = V(L"@balloc", L"8");
    V(L"@bpokestr", buffer + L",2,a,abc");
    EXPECT_EQ(V(L"@md5", L"b," + buffer + L",2,3"), L"900150983cd24fb0d6963f7d28e17f72");
    EXPECT_EQ(Rc(L"@md5", L"b," + buffer + L",6,3"), ERROR_INVALID_PARAMETER);  // past the end
    V(L"@bfree", buffer);
    EXPECT_EQ(Rc(L"@md5", L"b," + buffer + L",0,1"), ERROR_INVALID_HANDLE);
}

TEST_F(Families, StringCodingsRoundTrip) {
    EXPECT_EQ(V(L"@b64encode", L"s,hello"), L"aGVsbG8=");
    EXPECT_EQ(V(L"@b64decode", L"s,aGVsbG8="), L"hello");
    EXPECT_EQ(V(L"@hexencode", L"s,hi"), L"6869");
    EXPECT_EQ(V(L"@urlencode", L"s,a b%"), L"a%20b%25");
    EXPECT_EQ(Call(L"@urlencode", L"s,%").rc, FUNC_NO_RESCAN);  // coded text is not expanded again
    EXPECT_EQ(V(L"@htmlencode", L"s,<&>"), L"&lt;&amp;&gt;");
    EXPECT_EQ(V(L"@uuencode", L"s,Cat"), L"#0V%T");
    EXPECT_EQ(V(L"@utf8encode", L"s,\u00e9"), L"\u00c3\u00a9");
    CString text = L"Gr\u00fc\u00dfe, 100% \u20ac \"quoted\"";
    for (const wchar_t *pair : {L"b64", L"hex", L"url", L"html", L"utf8", L"uu", L"y"}) {
        CString encoded = V((CString(L"@") + pair + L"encode").c_str(), L"s," + text);
        EXPECT_EQ(V((CString(L"@") + pair + L"decode").c_str(), L"s," + encoded), text) << pair;
    }
    EXPECT_EQ(Rc(L"@b64decode", L"s,@@@"), ERROR_BD_BAD_ENCODING);
    EXPECT_EQ(Rc(L"@utf8decode", L"s,\u00c3("), ERROR_BD_BAD_ENCODING);
    EXPECT_EQ(Rc(L"@hexdecode", L"s"), ERROR_INVALID_PARAMETER);
}

TEST_F(Families, FileCodingsRoundTrip) {
    std::string bytes;
    for (int i = 0; i < 1000; i++) bytes += (char)(i * 7);
    CString in = File(L"in.bin"), coded = File(L"coded.txt"), out = File(L"out.bin");
    Write(in, bytes);
    for (const wchar_t *pair : {L"b64", L"hex", L"url", L"uu", L"y"}) {
        DeleteFileW(out.c_str());
        V((CString(L"@") + pair + L"encode").c_str(), in + L"," + coded);
        CString written = V((CString(L"@") + pair + L"decode").c_str(), coded + L"," + out);
        EXPECT_EQ(Read(out), bytes) << pair;
        EXPECT_EQ(written, FormatStr(L"%u", (unsigned)bytes.size())) << pair;
    }
    EXPECT_EQ(Read(coded).substr(0, 20), "=ybegin line=128 siz");
    // A damaged body fails its size and checksum test.
    std::string damaged = Read(coded);
    damaged[damaged.find('\n') + 5] ^= 1;
    Write(coded, damaged);
    EXPECT_EQ(Rc(L"@ydecode", coded + L"," + out), ERROR_BD_BAD_ENCODING);
    Write(in, "\xEF\xBB\xBF" "caf\xC3\xA9");
    V(L"@utf8decode", in + L"," + out);
    EXPECT_EQ(Read(out), std::string("\xFF\xFE" "c\0a\0f\0\xE9\0", 10));
}

TEST_F(Families, Buffers) {
    CString b = V(L"@balloc", L"4*4");
    EXPECT_EQ(V(L"@bsize", b), L"16");
    EXPECT_EQ(V(L"@bpeek", b + L",0,8"), L"0");  // zeroed
    EXPECT_EQ(V(L"@bpoke", b + L",0,4,0x12345678"), L"0");
    EXPECT_EQ(V(L"@bpeek", b + L",0,1"), L"120");  // little-endian: 0x78 first
    EXPECT_EQ(V(L"@bpeek", b + L",2,2"), L"4660");
    EXPECT_EQ(V(L"@bpoke", b + L",8,8,-1"), L"0");
    EXPECT_EQ(V(L"@bpeek", b + L",8,8"), L"-1");
    EXPECT_EQ(V(L"@bpokestr", b + L",0,u,hi"), L"4");
    EXPECT_EQ(V(L"@bpeekstr", b + L",0,u,10"), L"hi");
    EXPECT_EQ(V(L"@bpeekstr", b + L",0,a,10"), L"h");  // the next byte of "hi" in UTF-16 is 0
    EXPECT_EQ(Rc(L"@bpeek", b + L",15,2"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@bpeek", b + L",0,3"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@bpokestr", b + L",10,a,too long"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@smpeek", b + L",0,1"), ERROR_INVALID_HANDLE);  // a buffer is no shared block
    EXPECT_EQ(Rc(L"@balloc", L"0"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@balloc", L"2**40"), ERROR_NOT_ENOUGH_MEMORY);
    // Between a buffer and a file.
    CString file = File(L"buffer.bin");
    CString h = V(L"@fileopen", file + L",w,b");
    V(L"@bpokestr", b + L",0,a,hi!");
    EXPECT_EQ(V(L"@bwrite", b + L",0," + h + L",-1,4"), L"4");
    EXPECT_EQ(V(L"@bwrite", b + L",0," + h + L",1,2"), L"2");  // at offset 1 of the file
    V(L"@fileclose", h);
    EXPECT_EQ(Read(file), std::string("hhi\0", 4));
    h = V(L"@fileopen", file + L",r");
    EXPECT_EQ(V(L"@bread", b + L",12," + h + L",1,3"), L"3");
    EXPECT_EQ(V(L"@bpeekstr", b + L",12,a,3"), L"hi");
    EXPECT_EQ(V(L"@bread", b + L",0," + h + L",-1,8"), L"0");  // at the end
    EXPECT_EQ(Rc(L"@bread", b + L",12," + h + L",0,8"), ERROR_INVALID_PARAMETER);  // past the buffer
    V(L"@fileclose", h);
    EXPECT_EQ(Rc(L"@bread", b + L",0," + h + L",0,1"), ERROR_INVALID_HANDLE);
    EXPECT_EQ(V(L"@bfree", b), L"0");
    EXPECT_EQ(Rc(L"@bsize", b), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Rc(L"@bfree", b), ERROR_INVALID_HANDLE);
    EXPECT_EQ(Rc(L"@bsize", L"1234"), ERROR_INVALID_HANDLE);

    // Two views of one named block see each other's writes.
    CString name = FormatStr(L"BDXUnitShared%u", GetCurrentProcessId());
    CString s1 = V(L"@smopen", L"64," + name), s2 = V(L"@smopen", L"64," + name);
    EXPECT_NE(s1, s2);
    EXPECT_EQ(V(L"@smwrite", s1 + L",4,u,shared"), L"12");
    EXPECT_EQ(V(L"@smread", s2 + L",4,u,80"), L"shared");
    EXPECT_EQ(V(L"@smpoke", s2 + L",0,2,513"), L"0");
    EXPECT_EQ(V(L"@smpeek", s1 + L",0,1"), L"1");
    V(L"@smclose", s1);
    V(L"@smclose", s2);
    EXPECT_EQ(Rc(L"@smread", s1 + L",0,u,1"), ERROR_INVALID_HANDLE);
}

TEST_F(Families, FileHandles) {
    CString name = File(L"lines.txt");
    CString h = V(L"@fileopen", name + L",w");
    EXPECT_EQ(V(L"@filewrite", h + L",first 100%"), L"12");
    EXPECT_EQ(V(L"@filewrite", h + L",caf\u00e9"), L"6");
    EXPECT_EQ(V(L"@filewriteb", h + L",3,xyz!"), L"3");
    EXPECT_EQ(Rc(L"@fileread", h + L",x"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(V(L"@fileclose", h), L"0");
    EXPECT_EQ(Read(name), "first 100%\r\ncaf\xC3\xA9\r\nxyz");
    EXPECT_EQ(Rc(L"@fileread", h), ERROR_INVALID_HANDLE);  // closed

    h = V(L"@fileopen", L"\"" + name + L"\",R");
    EXPECT_EQ(Call(L"@fileread", h).rc, FUNC_NO_RESCAN);
    EXPECT_EQ(V(L"@fileread", h + L",2"), L"ca");
    EXPECT_EQ(V(L"@fileread", h), L"f\u00e9");
    EXPECT_EQ(V(L"@fileread", h), L"xyz");
    EXPECT_EQ(V(L"@fileread", h), L"**EOF**");
    EXPECT_EQ(V(L"@fileseek", h + L",0,0"), L"0");
    EXPECT_EQ(V(L"@filereadb", h + L",2,x"), L"0x66 0x69");
    EXPECT_EQ(V(L"@filereadb", h + L",2,d"), L"114 115");
    EXPECT_EQ(V(L"@fileseekl", h + L",2"), L"19");
    EXPECT_EQ(V(L"@fileread", h), L"xyz");
    EXPECT_EQ(V(L"@fileseekl", h + L",5"), L"-1");
    EXPECT_EQ(V(L"@fileseek", h + L",-3,2"), L"19");
    EXPECT_EQ(V(L"@filehandle", name), h);
    EXPECT_EQ(V(L"@handleinfo", h), L"r,t,file,19,22," + name);
    EXPECT_EQ(Rc(L"@filewrite", h + L",no"), ERROR_ACCESS_DENIED);
    EXPECT_EQ(Rc(L"@serialportread", h), ERROR_INVALID_HANDLE);  // a file is no serial port
    V(L"@fileclose", h);

    // Append, truncate, and a lock that a second handle runs into.
    h = V(L"@fileopen", name + L",a");
    EXPECT_EQ(V(L"@fileseek", h + L",0,1"), L"22");
    EXPECT_EQ(V(L"@fileseek", h + L",10,0"), L"10");
    EXPECT_EQ(V(L"@truncate", h), L"0");
    CString other = V(L"@fileopen", name + L",r");
    EXPECT_EQ(V(L"@filelock", h + L",0,5"), L"0");
    EXPECT_EQ(Rc(L"@filelock", other + L",4,2"), ERROR_LOCK_VIOLATION);
    EXPECT_EQ(V(L"@filelock", h + L",0,5,u"), L"0");
    EXPECT_EQ(V(L"@filelock", other + L",4,2"), L"0");
    EXPECT_EQ(V(L"@filereadb", other + L",3,h"), L"66 69 72");
    V(L"@fileclose", other);
    V(L"@fileclose", h);
    EXPECT_EQ(Read(name), "first 100%");

    // UTF-16 with its mark is read as such, and written to as such.
    Write(name, std::string("\xFF\xFE" "a\0\r\0\n\0b\0", 10));
    h = V(L"@fileopen", name + L",a");
    V(L"@filewrite", h + L",c");
    V(L"@fileclose", h);
    h = V(L"@fileopen", name + L",r");
    EXPECT_EQ(V(L"@fileread", h), L"a");
    EXPECT_EQ(V(L"@fileread", h), L"bc");
    V(L"@fileclose", h);

    EXPECT_EQ(V(L"@fileopen", dir_ + L"nosuchdir\\x.txt,r"), L"-1");
    EXPECT_EQ(Rc(L"@fileopen", name + L",q"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@fileread", FormatStr(L"%I64d", (long long)(intptr_t)GetStdHandle(STD_OUTPUT_HANDLE))),
              ERROR_INVALID_HANDLE);  // a handle that is not one of ours
    EXPECT_EQ(Rc(L"@fileclose", L"x"), ERROR_INVALID_PARAMETER);
}

TEST_F(Families, SerialPortsThatAreNotThere) {
    EXPECT_EQ(Rc(L"@serialportopen", L"COM250"), ERROR_BD_NO_SUCH_DEVICE);
    EXPECT_EQ(Rc(L"@serialportopen", L"COM1,9600,X"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@serialportopen", L"COM0"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@serialportwrite", L"12345,x"), ERROR_INVALID_HANDLE);
    CString h = V(L"@fileopen", File(L"notaport.txt") + L",w");
    EXPECT_EQ(Rc(L"@serialportflush", h), ERROR_INVALID_HANDLE);  // a file is no serial port
    EXPECT_EQ(Rc(L"@serialportclose", h), ERROR_INVALID_HANDLE);
    EXPECT_EQ(V(L"@fileclose", h), L"0");
}

TEST_F(Families, RegistryRoundTrip) {
    const CString key = FormatStr(L"HKCU\\Software\\BDXUnit%u", GetCurrentProcessId());
    EXPECT_EQ(V(L"@regcreate", key + L"\\Sub"), L"0");
    EXPECT_EQ(V(L"@regexist", key), L"1");
    EXPECT_EQ(V(L"@regset", key + L"\\Text,REG_SZ,a 50% b"), L"0");
    EXPECT_EQ(V(L"@regquery", key + L"\\Text"), L"a 50% b");
    EXPECT_EQ(Call(L"@regquery", key + L"\\Text").rc, FUNC_NO_RESCAN);
    EXPECT_EQ(V(L"@regtype", key + L"\\Text"), L"REG_SZ");
    V(L"@regset", key + L"\\Dword,REG_D,4294967295");
    EXPECT_EQ(V(L"@regquery", key + L"\\Dword"), L"4294967295");
    EXPECT_EQ(V(L"@regtype", key + L"\\Dword"), L"REG_DWORD");
    V(L"@regset", key + L"\\Qword,REG_QWORD,18446744073709551615");
    EXPECT_EQ(V(L"@regquery", key + L"\\Qword"), L"18446744073709551615");
    V(L"@regset", key + L"\\List,REG_MULTI_SZ,a,\"b c\",\"d,e\"");
    EXPECT_EQ(V(L"@regquery", key + L"\\List"), L"a,\"b c\",\"d,e\"");
    V(L"@regset", key + L"\\Bin,REG_BINARY,00ff10");
    EXPECT_EQ(V(L"@regquery", key + L"\\Bin"), L"00ff10");
    V(L"@regset", key + L"\\,REG_EXPAND_SZ,%PATH%");
    EXPECT_EQ(V(L"@regquery", key + L"\\"), L"%PATH%");  // not expanded
    EXPECT_EQ(V(L"@regtype", key + L"\\"), L"REG_EXPAND_SZ");

    CString b = V(L"@balloc", L"8");
    EXPECT_EQ(V(L"@regbread", key + L"\\Bin," + b + L",1"), L"3");
    EXPECT_EQ(V(L"@bpeek", b + L",2,1"), L"255");
    EXPECT_EQ(V(L"@regbwrite", key + L"\\Copy," + b + L",1,2"), L"0");
    EXPECT_EQ(V(L"@regquery", key + L"\\Copy"), L"00ff");
    EXPECT_EQ(Rc(L"@regbread", key + L"\\Bin," + b + L",6"), ERROR_INVALID_PARAMETER);  // does not fit
    V(L"@bfree", b);

    EXPECT_EQ(V(L"@regcopykey", key + L"," + key + L"Copy"), L"0");
    EXPECT_EQ(V(L"@regquery", key + L"Copy\\Text"), L"a 50% b");
    EXPECT_EQ(V(L"@regexist", key + L"Copy\\Sub"), L"1");
    EXPECT_EQ(V(L"@regdelkey", key + L"Copy"), L"0");
    EXPECT_EQ(V(L"@regexist", key + L"Copy"), L"0");

    EXPECT_EQ(Rc(L"@regquery", key + L"\\Missing"), ERROR_BD_NO_SUCH_KEY);
    EXPECT_EQ(Rc(L"@regquery", key + L"\\NoKey\\Value"), ERROR_BD_NO_SUCH_KEY);
    EXPECT_EQ(Rc(L"@regset", key + L"\\X,REG_WHAT,1"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@regset", key + L"\\X,REG_DWORD,abc"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@regquery", L"HKXX\\Software\\x"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@regdelkey", L"HKCU\\"), ERROR_INVALID_PARAMETER);  // never a whole root
    EXPECT_EQ(V(L"@regdelkey", key), L"0");
    EXPECT_EQ(Rc(L"@regdelkey", key), ERROR_BD_NO_SUCH_KEY);

    // The user's environment in the registry, and the classes of file types.
    CString env = FormatStr(L"HKCU\\Environment\\BDXUnit%u", GetCurrentProcessId());
    EXPECT_EQ(V(L"@regsetenv", env + L",REG_SZ,set by a test"), L"0");
    EXPECT_EQ(V(L"@regquery", env), L"set by a test");
    HKEY k;
    ASSERT_EQ(RegOpenKeyExW(HKEY_CURRENT_USER, L"Environment", 0, KEY_SET_VALUE, &k), 0);
    RegDeleteValueW(k, env.Mid(env.rfind(L'\\') + 1).c_str());
    RegCloseKey(k);
    CString ext = FormatStr(L".bdx%u", GetCurrentProcessId()), type = L"BDXUnit" + ext.Mid(1) + L"File";
    V(L"@regset", L"HKCR\\" + ext + L"\\,REG_SZ," + type);
    V(L"@regset", L"HKCR\\" + type + L"\\shell\\open\\command\\,REG_SZ,notepad \"%1\"");
    EXPECT_EQ(V(L"@assoc", ext), type);
    EXPECT_EQ(V(L"@ftype", type), L"notepad \"%1\"");
    EXPECT_EQ(Call(L"@ftype", type).rc, FUNC_NO_RESCAN);  // "%1" is stored text
    V(L"@regdelkey", L"HKCR\\" + ext);
    V(L"@regdelkey", L"HKCR\\" + type);
    EXPECT_EQ(V(L"@assoc", ext), L"");
    EXPECT_EQ(V(L"@regexist", key + L"\\Text"), L"0");
}

TEST_F(Families, IniFiles) {
    CString ini = File(L"t.ini");
    EXPECT_EQ(Rc(L"@iniread", ini + L",Sect,Key"), ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(V(L"@iniwrite", ini + L",Sect,Key,value, with comma"), L"0");
    EXPECT_EQ(V(L"@iniread", ini + L",Sect,Key"), L"value, with comma");
    EXPECT_EQ(V(L"@iniread", ini + L",Sect,Other"), L"");
    V(L"@iniwrite", ini + L",Sect,Key,");
    EXPECT_EQ(V(L"@iniread", ini + L",Sect,Key"), L"");
    EXPECT_EQ(Rc(L"@iniread", ini + L",Sect"), ERROR_INVALID_PARAMETER);
}

TEST_F(Families, CommandAndSystemMembers) {
    EXPECT_EQ(V(L"@if", L"1==1,\"a,b\",c"), L"\"a,b\"");
    EXPECT_EQ(V(L"@if", L"a==b,yes,no"), L"no");
    EXPECT_EQ(V(L"@if", L"2 gt 1,yes"), L"yes");
    EXPECT_EQ(V(L"@if", L"2 lt 1,yes"), L"");
    EXPECT_EQ(Rc(L"@if", L",a,b"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(V(L"@option", L"EvalMax"), L"10");
    EXPECT_EQ(Rc(L"@option", L"NoSuchOption"), 0x20000046);
    EXPECT_EQ(V(L"@vartype", L"BDX_NO_TYPE"), L"none");
    DWORD pid = GetCurrentProcessId();
    EXPECT_EQ(V(L"@pid", L""), FormatStr(L"%u", pid));
    EXPECT_EQ(V(L"@winapi", L"kernel32,GetCurrentProcessId"), FormatStr(L"%u", pid));
    EXPECT_EQ(V(L"@winapi", L"kernel32,lstrlenW,\"hello\""), L"5");
    EXPECT_EQ(V(L"@capi", L"kernel32,lstrlenA,\"hello\""), L"5");
    EXPECT_EQ(V(L"@winapi", L"kernel32,GetEnvironmentVariableW,\"BDX_WINAPI\",BUFFER,100"), L"");
    EXPECT_EQ(Rc(L"@winapi", L"kernel32,NoSuchFunction"), ERROR_PROC_NOT_FOUND);
    EXPECT_EQ(V(L"@isproc", FormatStr(L"%u", pid)), L"1");
    EXPECT_EQ(V(L"@isproc", L"no_such_program_here"), L"0");
    EXPECT_EQ(V(L"@color", L"bright white on blue"), L"31");
    EXPECT_EQ(V(L"@color", L"red"), L"4");
    EXPECT_EQ(Rc(L"@color", L"purple"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@winmemory", L"7"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@dosmem", L"q"), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(Rc(L"@winpid", L"no window has this title*"), ERROR_BD_NO_WINDOW);
    EXPECT_EQ(Rc(L"@service", L"no_such_service"), ERROR_SERVICE_DOES_NOT_EXIST);
    EXPECT_EQ(V(L"@ipport", L"http"), L"80");
    EXPECT_EQ(V(L"@ipaddress", L"127.0.0.1"), L"127.0.0.1");
}

TEST_F(Families, ProcessAndMachineQueries) {
    DWORD pid = GetCurrentProcessId();
    CString me = FormatStr(L"%u", pid);
    EXPECT_EQ(V(L"@pidcommand", L""), CString(GetCommandLineW()));
    EXPECT_EQ(V(L"@pidcommand", me), CString(GetCommandLineW()));
    wchar_t user[256];
    DWORD size = 256;
    GetUserNameW(user, &size);
    CString owner = V(L"@piduser", me);
    EXPECT_TRUE(owner.size() >= wcslen(user) && owner.Right(wcslen(user)).EqualsNoCase(user)) << owner.c_str();
    EXPECT_EQ(V(L"@priority", L""), L"Normal");
    SetPriorityClass(GetCurrentProcess(), BELOW_NORMAL_PRIORITY_CLASS);
    EXPECT_EQ(V(L"@priority", me), L"BelowNormal");
    SetPriorityClass(GetCurrentProcess(), NORMAL_PRIORITY_CLASS);
    // Six counts of operations and bytes (all 0 where the system keeps none).
    long long io[6];
    EXPECT_EQ(swscanf(V(L"@processio", me).c_str(), L"%lld %lld %lld %lld %lld %lld", &io[0], &io[1], &io[2], &io[3],
                      &io[4], &io[5]), 6);
    long long elapsed = -1, kernel = -1, own = -1;
    ASSERT_EQ(swscanf(V(L"@processtime", L"").c_str(), L"%lld %lld %lld", &elapsed, &kernel, &own), 3);
    EXPECT_GE(elapsed, 0);
    EXPECT_GE(own, 0);
    EXPECT_EQ(Rc(L"@ppid", L"x"), ERROR_INVALID_PARAMETER);
    CString parent = V(L"@ppid", L"");
    EXPECT_TRUE(parent.find_first_not_of(L"0123456789") == CString::npos && !parent.empty());
    EXPECT_EQ(Rc(L"@priority", L"4294967295"), ERROR_INVALID_PARAMETER);

    EXPECT_EQ(V(L"@debug", L""), V(L"@winapi", L"kernel32,IsDebuggerPresent"));
    EXPECT_EQ(V(L"@winmetrics", L"1"), V(L"@winapi", L"user32,GetSystemMetrics,1"));
    EXPECT_EQ(V(L"@winsystem", L""), V(L"@winapi", L"kernel32,GetSystemDirectoryW,BUFFER,260"));
    EXPECT_EQ(V(L"@server", L""), L"0");  // a workstation
    EXPECT_EQ(V(L"@domain", L""), V(L"@computername", L"2"));
    Result group = Call(L"@workgroup", L"");
    EXPECT_TRUE(group.rc == ERROR_BD_NEEDS_SYSTEM || (group.rc == 0 && !group.value.empty())) << group.rc;
    EXPECT_EQ(V(L"@group", L"Everyone"), L"1");  // every token holds it
    EXPECT_EQ(Rc(L"@group", L"no such group here"), ERROR_NONE_MAPPED);
    for (const wchar_t *list : {L"@enumservers", L"@enumshares"}) {
        int rc = Rc(list, L"");
        EXPECT_TRUE(rc == 0 || rc == ERROR_BD_NEEDS_SYSTEM) << list << " gave " << rc;
    }
    // A picture of a screen, or a clear word that there is none to take.
    CString bmp = File(L"shot.bmp");
    int rc = Rc(L"@snapshot", bmp);
    EXPECT_TRUE(rc == 0 || rc == ERROR_BD_NEEDS_SYSTEM) << rc;
    if (!rc) {
        EXPECT_EQ(Read(bmp).substr(0, 2), "BM");
    }
}

TEST_F(Families, NamesAndAdapters) {
    CString local = V(L"@ipname", L"127.0.0.1");
    EXPECT_FALSE(local.empty());
    EXPECT_EQ(V(L"@ipaddress", local), L"127.0.0.1");  // the name leads back to the address
    EXPECT_EQ(Rc(L"@ipaliases", L"no-such-host.invalid"), kHostNotFound);
    EXPECT_EQ(V(L"@ipaliases", L"localhost").find(L','), CString::npos);
    EXPECT_EQ(V(L"@ipport", L"smtp,tcp"), L"25");
    EXPECT_EQ(V(L"@ipservicealiases", L"smtp"), L"mail");
    EXPECT_NE(Rc(L"@mx", L"no-such-host.invalid"), 0);
    EXPECT_EQ(Rc(L"@ping", L"no-such-host.invalid"), kHostNotFound);
    // The loopback adapter is on every machine.
    int loopback = -1;
    for (int n = 0; n < 16 && loopback < 0; n++)
        if (V(L"@iptype", FormatStr(L"%d", n)) == L"Loopback") loopback = n;
    ASSERT_GE(loopback, 0);
    CString n = FormatStr(L"%d", loopback);
    EXPECT_EQ(V(L"@ipaddressn", n), L"127.0.0.1");
    EXPECT_EQ(V(L"@ipsubnet", n), L"255.0.0.0");
    EXPECT_EQ(V(L"@ipphysical", n), L"");
    EXPECT_EQ(V(L"@macaddress", n), L"");
    EXPECT_EQ(V(L"@ipgateway", n), L"");
    EXPECT_EQ(V(L"@ipdhcp", n), L"");
    EXPECT_EQ(V(L"@ipwins", n), L"0");
    EXPECT_EQ(V(L"@ipwinsserver", n), L"");
    EXPECT_FALSE(V(L"@ipnamen", n).empty());
    EXPECT_FALSE(V(L"@ipdesc", n).empty());
    CString v6 = V(L"@ipipv6n", n), zone = V(L"@ipzoneid", n), dns = V(L"@ipdns", n);
    EXPECT_TRUE(v6.empty() || v6 == L"::1") << v6.c_str();
    EXPECT_TRUE(!zone.empty() && zone.find_first_not_of(L"0123456789") == CString::npos);
    for (const CString &server : SplitArguments(dns)) EXPECT_NE(server.find_first_of(L".:"), CString::npos);
    EXPECT_EQ(V(L"@ipaddressn", L"999"), L"");  // past the last adapter
    EXPECT_EQ(Rc(L"@ipdesc", L"-1"), ERROR_INVALID_PARAMETER);
}

namespace {

LRESULT CALLBACK PlainWindow(HWND w, UINT m, WPARAM wp, LPARAM lp) { return DefWindowProcW(w, m, wp, lp); }

}  // namespace

// A window of the test's own, found by its title.
TEST_F(Families, WindowsByTitle) {
    WNDCLASSW cls{};
    cls.lpfnWndProc = PlainWindow;
    cls.hInstance = GetModuleHandleW(nullptr);
    cls.lpszClassName = L"BDXUnitWindowClass";
    RegisterClassW(&cls);
    CString title = FormatStr(L"BDX unit window %u", GetCurrentProcessId());
    HWND w = CreateWindowExW(0, cls.lpszClassName, title.c_str(), WS_OVERLAPPEDWINDOW, 0, 0, 0, 0, nullptr, nullptr,
                             cls.hInstance, nullptr);
    if (!w) GTEST_SKIP() << "this system makes no windows";
    SetWindowPos(w, nullptr, 40, 30, 300, 200, SWP_NOZORDER | SWP_NOACTIVATE);
    CString pattern = L"BDX unit window*";
    EXPECT_EQ(V(L"@wintitle", pattern), title);
    EXPECT_EQ(V(L"@winclass", pattern), L"BDXUnitWindowClass");
    EXPECT_EQ(V(L"@winpid", pattern), FormatStr(L"%u", GetCurrentProcessId()));
    EXPECT_EQ(V(L"@winexename", pattern), ProcessPath(GetCurrentProcessId()));
    CString handle = V(L"@wininfo", pattern);
    EXPECT_EQ(handle, FormatStr(L"%I64u", (unsigned long long)(uintptr_t)w));
    EXPECT_EQ(V(L"@wintitle", handle), title);
    EXPECT_EQ(V(L"@winpos", pattern), L"30,40");
    EXPECT_EQ(V(L"@winsize", pattern), L"200,300");
    RECT client;
    GetClientRect(w, &client);
    EXPECT_EQ(V(L"@winclientsize", pattern), FormatStr(L"%d,%d", client.bottom, client.right));
    EXPECT_EQ(V(L"@winstate", pattern), L"hidden");
    DestroyWindow(w);
    EXPECT_EQ(Rc(L"@winstate", handle), ERROR_INVALID_WINDOW_HANDLE);
    EXPECT_EQ(Rc(L"@wintitle", pattern), ERROR_BD_NO_WINDOW);
}
