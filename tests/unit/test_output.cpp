// wwriteXP and the printing family on files and pipes: the bytes of each
// output encoding, byte-order marks, chunk seams, and the break flag.
#include <gtest/gtest.h>
#include <string>
#include <thread>
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "console/screen.h"
#include "core/cmdtable.h"
#include "scoped_state.h"

namespace {

class OutputFile : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedThreadState thread_;
    void SetUp() override {
        wchar_t dir[MAX_PATH], name[MAX_PATH];
        GetTempPathW(MAX_PATH, dir);
        GetTempFileNameW(dir, L"bdo", 0, name);
        path_ = name;
    }
    void TearDown() override {
        Close();
        DeleteFileW(path_.c_str());
    }
    HANDLE Open(DWORD disposition, DWORD access = GENERIC_READ | GENERIC_WRITE) {
        Close();
        file_ = CreateFileW(path_.c_str(), access, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, disposition, 0, nullptr);
        return file_;
    }
    void Close() {
        if (file_ != INVALID_HANDLE_VALUE) CloseHandle(file_);
        file_ = INVALID_HANDLE_VALUE;
    }
    std::string Bytes() {
        Close();
        HANDLE h = CreateFileW(path_.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                               0, nullptr);
        std::string bytes(1 << 20, '\0');
        DWORD got = 0;
        ReadFile(h, bytes.data(), (DWORD)bytes.size(), &got, nullptr);
        CloseHandle(h);
        bytes.resize(got);
        return bytes;
    }
    // Write text in an encoding to a fresh (truncated) file.
    int WriteNew(int mode, const wchar_t *text, int length = -1) {
        GetTLS()->nOutputEncoding = mode;
        return wwriteXP(Open(CREATE_ALWAYS), text, length);
    }
    CString path_;
    HANDLE file_ = INVALID_HANDLE_VALUE;
};

TEST_F(OutputFile, EncodingsGiveTheirBytes) {
    const wchar_t *text = L"a\x00E9\x4E2D\r\n";
    EXPECT_EQ(WriteNew(2, text), 8);
    EXPECT_EQ(Bytes(), "a\xC3\xA9\xE4\xB8\xAD\r\n");
    EXPECT_EQ(WriteNew(3, text), 10);
    EXPECT_EQ(Bytes(), std::string("\xFF\xFE" "a\0\xE9\0\x2D\x4E\r\0\n\0", 12));
    if (GetACP() == 1252) {
        // What the code page cannot show becomes its default character.
        EXPECT_EQ(WriteNew(1, text), 5);
        EXPECT_EQ(Bytes(), "a\xE9?\r\n");
    }
    unsigned cp = OutputCodePage();
    if (cp == 437 || cp == 850 || cp == 1252) {
        EXPECT_EQ(WriteNew(0, L"x\x4E2Dy"), 3);
        EXPECT_EQ(Bytes(), "x?y");
    }
}

TEST_F(OutputFile, OneByteOrderMarkAtTheStartOfAnEmptyFileOnly) {
    WriteNew(3, L"ab");
    wwriteXP(file_, L"cd", 2);
    EXPECT_EQ(Bytes(), std::string("\xFF\xFE" "a\0b\0c\0d\0", 10));
    // Text that brings its own mark gets no second one.
    WriteNew(3, L"\xFEFFz");
    EXPECT_EQ(Bytes(), std::string("\xFF\xFEz\0", 4));
    // Appending to a file that holds something: no mark, whether the
    // handle was moved to the end or only opened for appending.
    HANDLE h = Open(OPEN_EXISTING);
    SetFilePointer(h, 0, nullptr, FILE_END);
    wwriteXP(h, L"y", 1);
    EXPECT_EQ(Bytes(), std::string("\xFF\xFEz\0y\0", 6));
    wwriteXP(Open(OPEN_EXISTING, FILE_APPEND_DATA), L"x", 1);
    EXPECT_EQ(Bytes(), std::string("\xFF\xFEz\0y\0x\0", 8));
    // UTF-8 gets no mark at all.
    WriteNew(2, L"u");
    EXPECT_EQ(Bytes(), "u");
}

TEST_F(OutputFile, LongTextIsWholeAcrossChunkSeams) {
    // A surrogate pair on the seam of the first 61440-character chunk must
    // not be cut into two characters that cannot be converted.
    std::wstring text(61439, L'a');
    text += L"\xD83D\xDE00";
    text += std::wstring(70000, L'b');
    std::string expected = std::string(61439, 'a') + "\xF0\x9F\x98\x80" + std::string(70000, 'b');
    EXPECT_EQ(WriteNew(2, text.c_str(), (int)text.size()), (int)expected.size());
    EXPECT_EQ(Bytes(), expected);
}

TEST_F(OutputFile, PrintingFamilyGoesToStandardOutput) {
    GetTLS()->nOutputEncoding = 2;
    ScopedStdHandle output(STD_OUTPUT_HANDLE, Open(CREATE_ALWAYS));
    EXPECT_EQ(Printf(L"%d-%s", 42, L"x"), 4);
    QPuts(L"|");
    CrLf();
    QPutc(StdOut(), L'c');
    // Colour asks are plain text on a file.
    EXPECT_EQ(ColorPrintf(0x1F, L"[%s]", L"col"), 5);
    aIniFile.StdColors = 0x1E;
    CString echo = L" hi";
    Echo_Command(echo);
    output.Restore();
    EXPECT_EQ(Bytes(), "42-x|\r\nc[col]hi\r\n");
}

TEST_F(OutputFile, ErrorColorsLeaveARedirectedErrorPlain) {
    GetTLS()->nOutputEncoding = 2;
    aIniFile.ErrorColors = 0x0C;
    ScopedStdHandle error(STD_ERROR_HANDLE, Open(CREATE_ALWAYS));
    Qprintf(StdErr(), L"bad\r\nthing\r\n");
    error.Restore();
    EXPECT_EQ(Bytes(), "bad\r\nthing\r\n");
}

TEST_F(OutputFile, PendingBreakWritesNothing) {
    HANDLE h = Open(CREATE_ALWAYS);
    GetTLS()->nOutputEncoding = 2;
    GetTLS()->fBreakPending = 1;
    // The writer itself only refuses; the printing functions deliver the
    // break, which leaves as the thrown 3.
    EXPECT_EQ(wwriteXP(h, L"no", 2), 0);
    EXPECT_EQ(QPutc(h, L'n'), 0);
    EXPECT_THROW(Qprintf(h, L"no"), int);
    EXPECT_EQ(GetTLS()->fBreakPending, 0);
    EXPECT_EQ(wwriteXP(h, L"yes", 3), 3);
    EXPECT_EQ(Bytes(), "yes");
}

TEST_F(OutputFile, PagingIsOffWhenOutputIsNoConsole) {
    ScopedStdHandle output(STD_OUTPUT_HANDLE, Open(CREATE_ALWAYS));
    StartPaging(true, 0);
    EXPECT_EQ(GetTLS()->nPageLength, 0);
    for (int i = 0; i < 100; i++) PagePause();
    output.Restore();
    EXPECT_EQ(Bytes(), "");
}

// Pipes: no byte-order mark (there is no file position), and a reader on
// the other end gets every byte of a write larger than the pipe's buffer.
TEST(OutputPipe, BytesArriveWholeAndWithoutMark) {
    HANDLE readEnd, writeEnd;
    ASSERT_TRUE(CreatePipe(&readEnd, &writeEnd, nullptr, 4096));
    std::string received;
    std::thread reader([&] {
        char buffer[8192];
        DWORD got;
        while (ReadFile(readEnd, buffer, sizeof(buffer), &got, nullptr) && got) received.append(buffer, got);
    });
    ScopedThreadState thread;
    GetTLS()->nOutputEncoding = 3;
    std::wstring text(100000, L'p');
    EXPECT_EQ(wwriteXP(writeEnd, text.c_str(), (int)text.size()), 200000);
    GetTLS()->nOutputEncoding = 2;
    EXPECT_EQ(wwriteXP(writeEnd, L"\x00FC", 1), 2);
    CloseHandle(writeEnd);
    reader.join();
    CloseHandle(readEnd);
    ASSERT_EQ(received.size(), 200002u);
    EXPECT_EQ(received.substr(0, 4), std::string("p\0p\0", 4));
    EXPECT_EQ(received.substr(200000), "\xC3\xBC");
}

}  // namespace
