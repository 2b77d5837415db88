// Redirect and Unredirect: what is cut out of a command, which standard
// handles change, and that every handle is back after success, failure and
// an interrupt in the middle of a line.  Also the kinds of program files.
#include <gtest/gtest.h>
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "core/core.h"
#include "core/redir.h"
#include "files/files.h"
#include "scoped_state.h"

namespace {

HANDLE Std(int which) { return GetStdHandle(STD_INPUT_HANDLE - (DWORD)which); }

class Redirection : public ::testing::Test {
protected:
    ScopedOptions options;
    ScopedThreadState state;
    ScopedCapture errors;  // the messages of the refusals
    HANDLE before[3];
    CString dir;
    void SetUp() override {
        for (int i = 0; i < 3; i++) before[i] = Std(i);
        wchar_t path[MAX_PATH];
        GetTempPathW(MAX_PATH, path);
        dir = CString(path) + FormatStr(L"bdxredir%x\\", GetCurrentProcessId());
        CreateDirectoryW(dir.c_str(), nullptr);
    }
    void TearDown() override {
        for (int i = 0; i < 3; i++) EXPECT_EQ(Std(i), before[i]) << "handle " << i << " not restored";
        for (const wchar_t *f : {L"a.txt", L"b.txt", L"in.txt"}) DeleteFileW((dir + f).c_str());
        RemoveDirectoryW(dir.c_str());
    }
    CString File(const wchar_t *name) { return dir + name; }
    CString Read(const wchar_t *name) {
        HANDLE h = CreateFileW(File(name).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                               OPEN_EXISTING, 0, nullptr);
        if (h == INVALID_HANDLE_VALUE) return L"<missing>";
        char buf[256];
        DWORD got = 0;
        ReadFile(h, buf, sizeof buf, &got, nullptr);
        CloseHandle(h);
        return FromCodePage(buf, (int)got, CP_ACP);
    }
};

TEST_F(Redirection, OperatorsAreCutOutOfTheCommand) {
    RedirRecord r;
    CString line = L"echo a > \"" + File(L"a.txt") + L"\" b";
    ASSERT_EQ(Redirect(line, &r), 0);
    EXPECT_EQ(line, L"echo a  b");
    EXPECT_NE(Std(REDIR_OUT), before[REDIR_OUT]);
    EXPECT_EQ(Std(REDIR_ERR), before[REDIR_ERR]);
    Unredirect(&r, nullptr, nullptr);

    // A digit after a letter is text, after a blank it picks the handle.
    line = L"echo abc2>\"" + File(L"a.txt") + L"\"";
    ASSERT_EQ(Redirect(line, &r), 0);
    EXPECT_EQ(line, L"echo abc2");
    Unredirect(&r, nullptr, nullptr);
    line = L"echo abc 2>\"" + File(L"a.txt") + L"\"";
    ASSERT_EQ(Redirect(line, &r), 0);
    EXPECT_EQ(line, L"echo abc ");
    EXPECT_EQ(Std(REDIR_OUT), before[REDIR_OUT]);
    EXPECT_NE(Std(REDIR_ERR), before[REDIR_ERR]);
    Unredirect(&r, nullptr, nullptr);
}

TEST_F(Redirection, BothStreamsShareOneFile) {
    RedirRecord r;
    CString line = L"x >& \"" + File(L"a.txt") + L"\"";
    ASSERT_EQ(Redirect(line, &r), 0);
    EXPECT_EQ(Std(REDIR_OUT), Std(REDIR_ERR));
    DWORD done;
    WriteFile(Std(REDIR_OUT), "out ", 4, &done, nullptr);
    WriteFile(Std(REDIR_ERR), "err", 3, &done, nullptr);
    Unredirect(&r, nullptr, nullptr);
    EXPECT_EQ(Read(L"a.txt"), L"out err");

    // 2>&1 after > sends errors where output goes; a later 2> replaces it
    // and the shared file stays open for output.
    line = L"x > \"" + File(L"a.txt") + L"\" 2>&1 2> \"" + File(L"b.txt") + L"\"";
    ASSERT_EQ(Redirect(line, &r), 0);
    EXPECT_NE(Std(REDIR_OUT), Std(REDIR_ERR));
    WriteFile(Std(REDIR_OUT), "o", 1, &done, nullptr);
    WriteFile(Std(REDIR_ERR), "e", 1, &done, nullptr);
    Unredirect(&r, nullptr, nullptr);
    EXPECT_EQ(Read(L"a.txt"), L"o");
    EXPECT_EQ(Read(L"b.txt"), L"e");
}

TEST_F(Redirection, FailureHalfWayIsUndone) {
    RedirRecord r;
    // The first operator takes effect, the second fails: Unredirect puts
    // back what the first one changed.
    CString line = L"x 2> \"" + File(L"a.txt") + L"\" > \"" + File(L"nodir\\b.txt") + L"\"";
    EXPECT_NE(Redirect(line, &r), 0);
    EXPECT_NE(Std(REDIR_ERR), before[REDIR_ERR]);
    Unredirect(&r, nullptr, nullptr);
    // Input twice is refused before anything is opened.
    line = L"x < \"" + File(L"a.txt") + L"\" < \"" + File(L"a.txt") + L"\"";
    EXPECT_NE(Redirect(line, &r), 0);
    Unredirect(&r, nullptr, nullptr);
    line = L"x <& y";
    EXPECT_NE(Redirect(line, &r), 0);
    Unredirect(&r, nullptr, nullptr);
    CString text = errors.Text();
    EXPECT_NE(text.find(L"Already assigned"), CString::npos);
    EXPECT_NE(text.find(L"\"<& y\""), CString::npos);
}

TEST_F(Redirection, NoClobberGuardsAndOverrides) {
    RedirRecord r;
    CString line = L"x > \"" + File(L"a.txt") + L"\"";
    ASSERT_EQ(Redirect(line, &r), 0);
    Unredirect(&r, nullptr, nullptr);
    aIniFile.NoClobber = 1;
    line = L"x > \"" + File(L"a.txt") + L"\"";
    EXPECT_NE(Redirect(line, &r), 0);
    line = L"x >> \"" + File(L"b.txt") + L"\"";
    EXPECT_NE(Redirect(line, &r), 0);
    line = L"x >! \"" + File(L"a.txt") + L"\"";
    EXPECT_EQ(Redirect(line, &r), 0);
    Unredirect(&r, nullptr, nullptr);
}

TEST_F(Redirection, InterruptInAGroupRestoresEveryLevel) {
    // A handler that throws as Ctrl+C does, inside a redirected group that
    // holds a redirected command of its own.
    ScopedCommandTable table;
    table.Replace(L"beep", [](CString &) -> int { throw 3; });
    CString line = L"(echo a > \"" + File(L"b.txt") + L"\" & beep) > \"" + File(L"a.txt") + L"\"";
    EXPECT_THROW(Command_S(line, 0), int);
    EXPECT_EQ(Read(L"b.txt"), L"a\r\n");
}

TEST_F(Redirection, EncodingSuffixes) {
    TLS_VARIABLES *tls = GetTLS();
    EXPECT_EQ(ReadEncodingSuffix(L":u f"), 2u);
    EXPECT_EQ(tls->nOutputEncoding, 3);
    EXPECT_EQ(ReadEncodingSuffix(L":U8 f"), 3u);
    EXPECT_EQ(tls->nOutputEncoding, 2);
    EXPECT_EQ(ReadEncodingSuffix(L":a"), 2u);
    EXPECT_EQ(tls->nOutputEncoding, 1);
    EXPECT_EQ(ReadEncodingSuffix(L":abc"), 0u);  // a name, not a suffix
    EXPECT_EQ(ReadEncodingSuffix(L"c:\\x"), 0u);
}

TEST(ProgramKinds, ImagesAndOtherFiles) {
    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    EXPECT_EQ(GetExeType(self), EXE_CONSOLE64);
    wchar_t temp[MAX_PATH], name[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    GetTempFileNameW(temp, L"bdx", 0, name);
    EXPECT_EQ(GetExeType(name), 0);  // an empty file is no program
    DeleteFileW(name);
    EXPECT_EQ(GetExeType(name), -ERROR_FILE_NOT_FOUND);
    EXPECT_TRUE(QueryIsGraphical(EXE_GUI64));
    EXPECT_FALSE(QueryIsGraphical(EXE_CONSOLE64));
}

}  // namespace
