// The system commands' engine pieces: date and time parsing, elapsed
// times, digests (streamed files among them), EXCEPT and GLOBAL putting
// things back after an interrupt, TASKEND and SETP on a child process, and
// the dialogs' self-closing path.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "base/state.h"
#include "core/cmdtable.h"
#include "system/system.h"
#include <psapi.h>
#include <string>
#include <vector>
#include "vars/coding.h"

namespace {

CString TempName(const wchar_t *stem) {
    wchar_t dir[MAX_PATH + 1];
    GetTempPathW(MAX_PATH + 1, dir);
    return CString(dir) + stem + std::to_wstring(GetCurrentProcessId());
}

TEST(SystemDates, DateTexts) {
    SYSTEMTIME t;
    ASSERT_EQ(ParseDateText(L"2024-02-29", &t), 0);
    EXPECT_EQ(t.wYear, 2024);
    EXPECT_EQ(t.wMonth, 2);
    EXPECT_EQ(t.wDay, 29);
    EXPECT_EQ(ParseDateText(L"Thu 2024-02-29", &t), 0);    // as DATE /T shows it
    EXPECT_NE(ParseDateText(L"2023-02-29", &t), 0);        // no leap day
    EXPECT_NE(ParseDateText(L"2024-13-01", &t), 0);
    EXPECT_NE(ParseDateText(L"12:00", &t), 0);             // a time is no date
    EXPECT_NE(ParseDateText(L"Tuesday", &t), 0);
    EXPECT_NE(ParseDateText(L"", &t), 0);
}

TEST(SystemDates, TimeTexts) {
    SYSTEMTIME t;
    ASSERT_EQ(ParseTimeText(L"7", &t), 0);
    EXPECT_EQ(t.wHour, 7);
    EXPECT_EQ(t.wMinute, 0);
    ASSERT_EQ(ParseTimeText(L"23:59:58.5", &t), 0);
    EXPECT_EQ(t.wSecond, 58);
    EXPECT_EQ(t.wMilliseconds, 500);
    ASSERT_EQ(ParseTimeText(L"12:30 am", &t), 0);
    EXPECT_EQ(t.wHour, 0);
    ASSERT_EQ(ParseTimeText(L"1:05p", &t), 0);
    EXPECT_EQ(t.wHour, 13);
    EXPECT_EQ(t.wMinute, 5);
    EXPECT_NE(ParseTimeText(L"24:00", &t), 0);
    EXPECT_NE(ParseTimeText(L"13:00 pm", &t), 0);
    EXPECT_NE(ParseTimeText(L"10:60", &t), 0);
    EXPECT_NE(ParseTimeText(L"10:00 xm", &t), 0);
    EXPECT_NE(ParseTimeText(L"noon", &t), 0);
}

TEST(SystemTimer, ElapsedForm) {
    EXPECT_EQ(FormatElapsed(0), L"0:00:00.00");
    EXPECT_EQ(FormatElapsed(1234), L"0:00:01.23");
    EXPECT_EQ(FormatElapsed(3723450), L"1:02:03.45");
    EXPECT_EQ(FormatElapsed(100LL * 3600 * 1000), L"100:00:00.00");
    EXPECT_EQ(QueryTimerElapsed(0), -1);
    EXPECT_EQ(QueryTimerElapsed(kTimers + 1), -1);
}

TEST(SystemHash, KnownDigests) {
    CString d;
    ASSERT_EQ(HashBytes(L"MD5", "", 0, d), 0);
    EXPECT_EQ(d, L"d41d8cd98f00b204e9800998ecf8427e");
    ASSERT_EQ(HashBytes(L"sha-1", "abc", 3, d), 0);
    EXPECT_EQ(d, L"a9993e364706816aba3e25717850c26c9cd0d89d");
    ASSERT_EQ(HashBytes(L"SHA256", "abc", 3, d), 0);
    EXPECT_EQ(d, L"ba7816bf8f01cfea414140de5dae2223b00361a396177a9cb410ff61f20015ad");
    // HASH /T digests the UTF-8 form of the text.
    CString out;
    ASSERT_EQ(CaptureCommandOutput(L"hash /md5 /t \u00e9\u20ac", out), 0);
    EXPECT_EQ(out, L"d75285edbed0b771f00bbaefc623c709\r\n");
    EXPECT_EQ(HashBytes(L"SHA3", "abc", 3, d), ERROR_BD_UNKNOWN_ALGORITHM);
    EXPECT_EQ(HashFile(L"MD5", L"Z:\\no\\such\\file", d), ERROR_PATH_NOT_FOUND);
}

// A file of several read pieces digests as its bytes do at once.
TEST(SystemHash, FileInPieces) {
    std::string data(3 * (1 << 20) + 12345, '\0');
    for (size_t i = 0; i < data.size(); i++) data[i] = (char)(i * 7 + i / 4096);
    CString name = TempName(L"bdxhash");
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    DWORD done;
    WriteFile(h, data.data(), (DWORD)data.size(), &done, nullptr);
    CloseHandle(h);
    CString whole, streamed;
    ASSERT_EQ(HashBytes(L"SHA512", data.data(), data.size(), whole), 0);
    ASSERT_EQ(HashFile(L"SHA512", name.c_str(), streamed), 0);
    EXPECT_EQ(streamed, whole);
    DeleteFileW(name.c_str());
}

// A large file does not make the process grow: it is read in pieces.
TEST(SystemHash, LargeFileKeepsMemorySmall) {
    CString name = TempName(L"bdxbig");
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    LARGE_INTEGER size;
    size.QuadPart = 256LL << 20;
    SetFilePointerEx(h, size, nullptr, FILE_BEGIN);
    SetEndOfFile(h);
    CloseHandle(h);
    PROCESS_MEMORY_COUNTERS before{}, after{};
    GetProcessMemoryInfo(GetCurrentProcess(), &before, sizeof(before));
    CString d;
    EXPECT_EQ(HashFile(L"SHA256", name.c_str(), d), 0);
    GetProcessMemoryInfo(GetCurrentProcess(), &after, sizeof(after));
    EXPECT_LT(after.PeakWorkingSetSize, before.PeakWorkingSetSize + (32u << 20));
    EXPECT_EQ(d.size(), 64u);
    DeleteFileW(name.c_str());
}

TEST(SystemUuid, Form) {
    CString a = NewUuid(), b = NewUuid();
    ASSERT_EQ(a.size(), 36u);
    EXPECT_NE(a, b);
    for (size_t i : {8u, 13u, 18u, 23u}) EXPECT_EQ(a[i], L'-');
    EXPECT_EQ(a[14], L'4');                              // a random UUID
    EXPECT_NE(CString(L"89ab").find(a[19]), CString::npos);  // its variant
}

// An interrupt while the command runs still gives the files their
// attributes back.
TEST(SystemExcept, RestoresOnInterrupt) {
    CString name = TempName(L"bdxexcept");
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_ARCHIVE, nullptr);
    ASSERT_NE(h, INVALID_HANDLE_VALUE);
    CloseHandle(h);
    DWORD before = GetFileAttributesW(name.c_str());
    CString args = L"(\"" + name + L"\") seterror 0";
    GetTLS()->fBreakPending = 1;   // as a Ctrl+C during the command leaves it
    EXPECT_THROW(Except_Command(args), int);
    GetTLS()->fBreakPending = 0;
    EXPECT_EQ(GetFileAttributesW(name.c_str()), before);
    // And normally: hidden while it runs, back afterwards.
    args = L"(\"" + name + L"\") seterror 5";
    EXPECT_EQ(Except_Command(args), 5);
    EXPECT_EQ(GetFileAttributesW(name.c_str()), before);
    DeleteFileW(name.c_str());
}

TEST(SystemGlobal, DirectoryComesBack) {
    wchar_t start[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, start);
    CString dir = TempName(L"bdxglobal");
    CreateDirectoryW(dir.c_str(), nullptr);
    CreateDirectoryW((dir + L"\\sub").c_str(), nullptr);
    SetCurrentDirectoryW(dir.c_str());
    CString args = L"/q seterror 0";
    GetTLS()->fBreakPending = 1;
    EXPECT_THROW(Global_Command(args), int);
    GetTLS()->fBreakPending = 0;
    wchar_t now[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, now);
    EXPECT_EQ(CString(now), dir);
    SetCurrentDirectoryW(start);
    RemoveDirectoryW((dir + L"\\sub").c_str());
    RemoveDirectoryW(dir.c_str());
}

// A child that waits on a pipe for ever, until it is ended.
class WaitingChild : public ::testing::Test {
protected:
    PROCESS_INFORMATION pi{};
    HANDLE readEnd = nullptr, writeEnd = nullptr;
    void SetUp() override {
        SECURITY_ATTRIBUTES sa{sizeof(sa), nullptr, TRUE};
        ASSERT_TRUE(CreatePipe(&readEnd, &writeEnd, &sa, 0));
        SetHandleInformation(writeEnd, HANDLE_FLAG_INHERIT, 0);
        STARTUPINFOW si{};
        si.cb = sizeof(si);
        si.dwFlags = STARTF_USESTDHANDLES;
        si.hStdInput = readEnd;
        si.hStdOutput = si.hStdError = GetStdHandle(STD_ERROR_HANDLE);
        wchar_t line[] = L"cmd.exe /c pause";
        ASSERT_TRUE(CreateProcessW(nullptr, line, nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr, nullptr, &si, &pi));
        WaitForInputIdle(pi.hProcess, 2000);
        Sleep(300);  // let it reach its read
    }
    void TearDown() override {
        TerminateProcess(pi.hProcess, 0);
        WaitForSingleObject(pi.hProcess, 5000);
        CloseHandle(pi.hProcess);
        CloseHandle(pi.hThread);
        CloseHandle(readEnd);
        CloseHandle(writeEnd);
    }
    CString Pid() const { return std::to_wstring(pi.dwProcessId); }
};

TEST_F(WaitingChild, TaskendAsksThenForces) {
    CString args = L"/w:0 " + Pid();
    EXPECT_EQ(Taskend_Command(args), 2);    // no window to ask: it goes on
    EXPECT_EQ(WaitForSingleObject(pi.hProcess, 0), (DWORD)WAIT_TIMEOUT);
    args = L"/f " + Pid();
    EXPECT_EQ(Taskend_Command(args), 0);
    EXPECT_EQ(WaitForSingleObject(pi.hProcess, 5000), (DWORD)WAIT_OBJECT_0);
}

TEST_F(WaitingChild, SetpChangesTheChildsEnvironment) {
    CString out;
    ASSERT_EQ(CaptureCommandOutput(L"setp " + Pid() + L" BDXCHILD=forty two", out), 0);
    ASSERT_EQ(CaptureCommandOutput(L"setp " + Pid() + L" BDXCH*", out), 0);
    EXPECT_EQ(out, L"BDXCHILD=forty two\r\n");
    ASSERT_EQ(CaptureCommandOutput(L"unsetp " + Pid() + L" BDXCHILD", out), 0);
    EXPECT_EQ(CaptureCommandOutput(L"setp " + Pid() + L" BDXCH*", out), 2);
    CString own;
    EXPECT_FALSE(QueryEnvVar(L"BDXCHILD", &own));   // only the child changed
}

// A dialog with /T closes by itself (32000); with no desktop it says so (2).
TEST(SystemDialogs, CloseThemselves) {
    for (const wchar_t *line : {L"/T:1 \"Title\" text", L"YESNO /I:Q /T:1 text"}) {
        CString args = line;
        int rc = Msgbox_Command(args);
        EXPECT_TRUE(rc == 32000 || rc == 2) << rc;
    }
    CString args = L"/T:1 \"Title\" Name please BDXANSWER";
    int rc = Querybox_Command(args);
    EXPECT_TRUE(rc == 32000 || rc == 2) << rc;
    EXPECT_FALSE(QueryEnvVar(L"BDXANSWER", nullptr));
    args = L"/T:1 /B:YN \"Title\" \"Instruction\" text";
    rc = Taskdialog_Command(args);
    EXPECT_TRUE(rc == 32000 || rc == 2) << rc;
}

}  // namespace
