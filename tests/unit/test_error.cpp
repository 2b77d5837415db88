// BDError's text assembly, the batch position, the ON ERROR hooks, the
// error log, LOOKUPERRORS, and the delivery of a break from the console
// handler to this thread and up through Command_S.
#include <gtest/gtest.h>
#include <thread>
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include "scoped_state.h"


namespace {

CString TempName(const wchar_t *stem) {
    wchar_t dir[MAX_PATH];
    GetTempPathW(MAX_PATH, dir);
    return CString(dir) + stem + std::to_wstring(GetCurrentProcessId()) + L".tmp";
}

CString ReadAll(const CString &name) {
    HANDLE h = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0,
                           nullptr);
    std::string bytes(1 << 16, '\0');
    DWORD got = 0;
    ReadFile(h, bytes.data(), (DWORD)bytes.size(), &got, nullptr);
    CloseHandle(h);
    return FromCodePage(bytes.data(), (int)got, CP_UTF8);
}

int Thrown(int code, const wchar_t *argument, CString *output) {
    int value = 0;
    *output = Captured([&] {
        try {
            BDError(code, argument);
        } catch (int thrown) {
            value = thrown;
        }
    });
    return value;
}

CString SystemText(DWORD code) {
    wchar_t *buffer = nullptr;
    FormatMessageW(FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
                   nullptr, code, 0, (LPWSTR)&buffer, 0, nullptr);
    CString text = buffer ? buffer : L"";
    LocalFree(buffer);
    text.TrimRight(L" \r\n");
    return text;
}

class Errors : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedThreadState thread_;
    ScopedGlobals globals_;
    void SetUp() override {
        aIniFile.Debug = 2;
        TLS_VARIABLES *tls = GetTLS();
        tls->aBatchFrames.clear();
        tls->nBatchFrame = -1;
        tls->nOutputEncoding = 2;
        ResetBreakHandling();
        EnableSignals();
    }
    static CString Report(int code, const wchar_t *argument) {
        return Captured([&] { EXPECT_EQ(BDError(code, argument), 2); });
    }
    static BATCHFRAME &PushFrame() {
        TLS_VARIABLES *tls = GetTLS();
        tls->aBatchFrames.emplace_back();
        tls->nBatchFrame = (int)tls->aBatchFrames.size() - 1;
        BATCHFRAME &frame = tls->aBatchFrames.back();
        frame.sBatchName = L"C:\\jobs\\nightly.btm";
        frame.nLineNumber = 7;
        return frame;
    }
};

TEST_F(Errors, ProgramCodesAndTheirArgument) {
    GetTLS()->nLastResult = 0;
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, L"foo"), L"Unknown command \"foo\"\r\n");
    EXPECT_EQ(GetTLS()->nLastResult, 2);
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, nullptr), L"Unknown command\r\n");
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, L""), L"Unknown command\r\n");
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, L"\"a b\""), L"Unknown command \"a b\"\r\n");
    EXPECT_EQ(Report(ERROR_BD_NOT_AVAILABLE, L"VOL"), L"This command is not available yet \"VOL\"\r\n");
    EXPECT_EQ(Report(ERROR_BD_BASE + 0x0FFFFFF, nullptr), L"Error 0x20FFFFFF\r\n");
}

TEST_F(Errors, PercentOneTakesTheArgumentLiterally) {
    EXPECT_EQ(Report(ERROR_BD_LOOKUP_MISSING, L"x.exe"), L"The error lookup tool \"x.exe\" is not installed\r\n");
    EXPECT_EQ(Report(ERROR_BD_LOOKUP_MISSING, L"%s%d%1"), L"The error lookup tool \"%s%d%1\" is not installed\r\n");
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, L"50%"), L"Unknown command \"50%\"\r\n");
}

TEST_F(Errors, SystemCodesUseTheSystemsText) {
    CString notFound = SystemText(ERROR_FILE_NOT_FOUND);
    ASSERT_FALSE(notFound.empty());
    EXPECT_EQ(Report(ERROR_FILE_NOT_FOUND, L"x.txt"), notFound + L" \"x.txt\"\r\n");
    EXPECT_EQ(GetTLS()->nSysError, ERROR_FILE_NOT_FOUND);
    CString output = Captured([] {
        SetLastError(ERROR_ACCESS_DENIED);
        BDError(0, nullptr);
    });
    EXPECT_EQ(output, SystemText(ERROR_ACCESS_DENIED) + L"\r\n");
    EXPECT_EQ(GetTLS()->nSysError, ERROR_ACCESS_DENIED);
    aIniFile.EnglishMessages = 1;
    EXPECT_EQ(Report(87, L"/Q"), SystemText(87) + L" \"/Q\"\r\n");
}

TEST_F(Errors, DebugMarkShowsTheKindOfCode) {
    aIniFile.Debug = 2 | 4;
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, L"x"), L"BDX: Unknown command \"x\"\r\n");
    EXPECT_EQ(Report(ERROR_FILE_NOT_FOUND, nullptr), L"BDX: (Sys) " + SystemText(2) + L"\r\n");
}

TEST_F(Errors, BatchFilePositionComesFirst) {
    BATCHFRAME &frame = PushFrame();
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, L"foo"), L"C:\\jobs\\nightly.btm [7]  Unknown command \"foo\"\r\n");
    aGlobals.nDebuggerMode = 0;
    aIniFile.DebugPauseOnError = 1;
    frame.fFlags = BF_HOSTED;
    EXPECT_EQ(Report(ERROR_BD_UNKNOWN_COMMAND, L"foo"), L"Unknown command \"foo\"\r\n");
    EXPECT_EQ(aGlobals.nDebuggerMode, 0);
    frame.fFlags = 0;
    Report(ERROR_BD_UNKNOWN_COMMAND, L"foo");
    EXPECT_EQ(aGlobals.nDebuggerMode, 1);
}

TEST_F(Errors, OnErrorTakesOverSilently) {
    PushFrame().sOnError = L"echo handled";
    CString output;
    EXPECT_EQ(Thrown(ERROR_FILE_NOT_FOUND, L"x", &output), BREAK_ON_ERROR);
    EXPECT_EQ(output, L"");
    EXPECT_EQ(GetTLS()->nSysError, ERROR_FILE_NOT_FOUND);
    EXPECT_EQ(GetTLS()->nLastResult, 2);
}

TEST_F(Errors, OnErrorMsgPrintsFirst) {
    PushFrame().sOnErrorMsg = L"echo handled";
    CString output;
    EXPECT_EQ(Thrown(ERROR_BD_UNKNOWN_COMMAND, L"x", &output), BREAK_ON_ERRORMSG);
    EXPECT_EQ(output, L"C:\\jobs\\nightly.btm [7]  Unknown command \"x\"\r\n");
}

TEST_F(Errors, ErrorLogAppendsStampedEntries) {
    CString log = TempName(L"bdxlog");
    HANDLE h = CreateFileW(log.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD done;
    WriteFile(h, "old\r\n", 5, &done, nullptr);
    CloseHandle(h);
    SetStringOption(&aIniFile, *FindOption(L"LogErrorsName"), log.c_str());
    aIniFile.LogErrors = 1;
    Report(ERROR_BD_UNKNOWN_COMMAND, L"foo");
    PushFrame();
    Report(ERROR_BD_UNKNOWN_COMMAND, L"bar");
    CString text = ReadAll(log);
    DeleteFileW(log.c_str());
    CString pid = FormatStr(L"[%u] ", (unsigned)GetCurrentProcessId());
    ASSERT_TRUE(text.StartsWith(L"old\r\n"));
    size_t second = text.find(L"\r\n", 5) + 2;
    CString first = text.Mid(5, second - 5);
    // "yyyy-mm-dd hh:mm:ss [pid] text"
    ASSERT_GE(first.size(), 20u);
    EXPECT_EQ(first[4], L'-');
    EXPECT_EQ(first[13], L':');
    EXPECT_EQ(first.Mid(20), pid + L"Unknown command \"foo\"\r\n");
    EXPECT_EQ(text.Mid(second + 20), pid + L"C:\\jobs\\nightly.btm [7]  Unknown command \"bar\"\r\n");
}

TEST_F(Errors, LookupToolMissing) {
    aGlobals.sExecutablePath = L"C:\\nowhere\\";
    CString args;
    CString output = Captured([&] { EXPECT_EQ(Lookuperrors_Command(args), 2); });
    EXPECT_EQ(output, L"The error lookup tool \"C:\\nowhere\\lookuperrors.exe\" is not installed\r\n");
}

class Breaks : public Errors {
protected:
    void SetUp() override {
        Errors::SetUp();
        DuplicateHandle(GetCurrentProcess(), GetCurrentThread(), GetCurrentProcess(), &aGlobals.hMainThread, 0, FALSE,
                        DUPLICATE_SAME_ACCESS);
    }
    void TearDown() override {
        SleepEx(0, TRUE);
        CloseHandle(aGlobals.hMainThread);
    }
    // Ctrl+C as the system delivers it: the handler on another thread.
    static void PressCtrlC() {
        std::thread([] { EXPECT_TRUE(ConsoleBreakHandler(CTRL_C_EVENT)); }).join();
    }
};

TEST_F(Breaks, CtrlCReachesThisThreadAtAnAlertableWait) {
    PressCtrlC();
    EXPECT_EQ(GetTLS()->fBreakPending, 0);  // not before the thread waits
    EXPECT_EQ(SleepEx(1000, TRUE), WAIT_IO_COMPLETION);
    EXPECT_EQ(GetTLS()->fBreakPending, 1);
    GetTLS()->nIffActive = 1;
    GetTLS()->nDoActive = 2;
    int value = 0;
    try {
        CheckBreak();
    } catch (int thrown) {
        value = thrown;
    }
    EXPECT_EQ(value, BREAK_CTRL_C);
    EXPECT_EQ(GetTLS()->fBreakPending, 0);
    EXPECT_EQ(GetTLS()->fBreakHandled, 1);
    EXPECT_EQ(GetTLS()->nIffActive, 0);
    EXPECT_EQ(GetTLS()->nDoActive, 0);
    ResetBreakHandling();
    EXPECT_EQ(GetTLS()->fBreakHandled, 0);
}

TEST_F(Breaks, HeldSignalsKeepTheBreakPending) {
    PressCtrlC();
    HoldSignals();
    EXPECT_NO_THROW(BreakHandler(0));
    EXPECT_EQ(GetTLS()->fBreakPending, 1);
    EnableSignals();
    EXPECT_THROW(CheckBreak(), int);
}

TEST_F(Breaks, CtrlCInASelectionMeansCopy) {
    GetTLS()->nSelectionStart = 3;
    PressCtrlC();
    SleepEx(1000, TRUE);
    EXPECT_EQ(GetTLS()->fBreakInEdit, 1);
    EXPECT_EQ(GetTLS()->fBreakPending, 0);
    EXPECT_NO_THROW(BreakHandler(1));  // a Ctrl+C read as a key
}

// A Ctrl+C during BEEP's pause ends the pause at once and unwinds through
// both Command_S levels, the group's and the line's.
int PressAndPause(CString &) {
    std::thread([] { ConsoleBreakHandler(CTRL_C_EVENT); }).detach();
    SysBeep(20, 200);
    return 0;
}

TEST_F(Breaks, CtrlCEndsAPauseAndUnwindsTheLine) {
    ScopedCommandTable table;
    table.Replace(L"vol", PressAndPause);
    ULONGLONG start = GetTickCount64();
    int value = 0;
    try {
        Command_S(L"(vol & vol) & vol", 0);
    } catch (int thrown) {
        value = thrown;
    }
    EXPECT_EQ(value, BREAK_CTRL_C);
    EXPECT_LT(GetTickCount64() - start, 3000u);
}

}  // namespace
