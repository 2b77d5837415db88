// Variable expansion: every "%" form, nesting and its limits, the forms of
// the older interpreter, batch arguments through a frame pushed by hand,
// FOR variables, delayed names and the SETDOS /X switches.  Error texts are
// read back from standard error, which each test points at a file.
#include <gtest/gtest.h>
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "scoped_state.h"
#include "vars/expand.h"
#include "vars/vars.h"

namespace {

CString TempDirectory() {
    CString dir(GetTempPathW(0, nullptr), L'\0');
    dir.resize(GetTempPathW((DWORD)dir.size(), dir.data()));
    return dir;
}

class Expand : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedThreadState thread_;
    ScopedGlobals globals_;
    ScopedEnvironment environment_{L"bdxa", L"bdxb", L"bdxc", L"bdxp", L"ERRORLEVEL", L"1", L"_batch"};
    ScopedCapture errors;
    int rc = 0;
    void SetUp() override {
        aGlobals.fDelayedExpansion = 0;
        for (const wchar_t *name : {L"bdxa", L"bdxb", L"bdxc", L"bdxp", L"ERRORLEVEL"}) Set(name, nullptr);
    }
    void TearDown() override {
        for (wchar_t c : {L'a', L'x'}) DeleteForVariable(CString(1, c).c_str());
    }
    static void Set(const wchar_t *name, const wchar_t *value) { SetEnvironmentVariableW(name, value); }
    CString X(const wchar_t *text, int nested = 0) {
        CString line(text);
        rc = VariableExpansion(line, nested);
        return line;
    }
    BATCHFRAME &PushFrame(const wchar_t *name, std::vector<CString> argv, const wchar_t *args) {
        TLS_VARIABLES *tls = GetTLS();
        BATCHFRAME frame;
        frame.sBatchName = name;
        frame.Argv = std::move(argv);
        frame.sArgs = args;
        tls->aBatchFrames.push_back(frame);
        tls->nBatchFrame = (int)tls->aBatchFrames.size() - 1;
        return tls->aBatchFrames.back();
    }
};

TEST_F(Expand, EnvironmentNamesAndPercents) {
    Set(L"bdxa", L"one");
    EXPECT_EQ(X(L"echo %bdxa%"), L"echo one");
    EXPECT_EQ(X(L"echo %bdxa.txt"), L"echo one.txt");      // no closing "%": the name ends at "."
    EXPECT_EQ(X(L"echo [%BDXA%]"), L"echo [one]");
    EXPECT_EQ(X(L"echo [%bdxnone%]"), L"echo []");         // unset vanishes, no error
    EXPECT_EQ(X(L"echo 100%"), L"echo 100");
    EXPECT_EQ(X(L"echo %%"), L"echo %");
    EXPECT_EQ(X(L"echo %%a %%bdxa%%"), L"echo %a %bdxa%");
    EXPECT_EQ(X(L"echo `%bdxa%` \"%bdxa%\""), L"echo `%bdxa%` \"one\"");
    EXPECT_EQ(X(L"echo a^%bdxa%"), L"echo a^%bdxa");        // an escaped "%" is text
    // Only the first command: the rest waits for its own turn.
    EXPECT_EQ(X(L"echo %bdxa% & echo %bdxa% | x %bdxa%"), L"echo one & echo %bdxa% | x %bdxa%");
    EXPECT_EQ(X(L"endlocal %bdxa% & %bdxa%"), L"endlocal one & one");   // ENDLOCAL takes the whole line
    // A command group is left whole for the time it runs.
    EXPECT_EQ(X(L"(echo %bdxa% & echo %bdxa%) %bdxa% & %bdxa%"), L"(echo %bdxa% & echo %bdxa%) one & %bdxa%");
    aIniFile.CommandSep = L'~';
    EXPECT_EQ(X(L"echo %bdxa% ~ %bdxa% & %bdxa%"), L"echo one ~ %bdxa% & %bdxa%");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(errors.Text(), L"");
}

TEST_F(Expand, NestedValuesAndLoops) {
    Set(L"bdxa", L"[%bdxb%]");
    Set(L"bdxb", L"two");
    EXPECT_EQ(X(L"echo %bdxa%"), L"echo [two]");
    aIniFile.ParseFlags = PF_NO_NESTED_VARIABLES;
    EXPECT_EQ(X(L"echo %bdxa% %bdxb%"), L"echo [%bdxb%] two");
    aIniFile.ParseFlags = PF_NO_VARIABLES;
    EXPECT_EQ(X(L"echo %bdxa%"), L"echo %bdxa%");
    aIniFile.ParseFlags = 0;

    // A value that holds its own reference is inserted once; the call ends.
    Set(L"bdxa", L"x%BDXA%y");
    EXPECT_EQ(X(L"echo %bdxa% %bdxb%"), L"echo x%BDXA%y %bdxb%");
    EXPECT_EQ(rc, 0);
    // Two values that refer to each other: 16 passes at one index at most.
    Set(L"bdxa", L"%bdxb");
    Set(L"bdxb", L"%bdxa");
    X(L"echo %bdxa");
    EXPECT_EQ(rc, 2);
    EXPECT_NE(errors.Text().find(L"Infinite loop"), CString::npos);
    // Seventeen expansions in a row at one index are the limit.
    for (int i = 1; i <= 17; i++)
        Set(FormatStr(L"bdxl%d", i).c_str(), i < 17 ? FormatStr(L"%%bdxl%d", i + 1).c_str() : L"end");
    EXPECT_EQ(X(L"%bdxl2"), L"end");
    EXPECT_EQ(rc, 0);
    X(L"%bdxl1");
    EXPECT_EQ(rc, 2);
    for (int i = 1; i <= 17; i++) Set(FormatStr(L"bdxl%d", i).c_str(), nullptr);
    // A value that grows at a moving index is stopped too.
    Set(L"bdxa", L"x%bdxa");
    X(L"echo %bdxa");
    EXPECT_EQ(rc, 2);
}

TEST_F(Expand, OlderInterpreterForms) {
    Set(L"bdxa", L"abcdef");
    struct Case {
        const wchar_t *in, *out;
    } cases[] = {
        {L"%bdxa:~2%", L"cdef"},      {L"%bdxa:~-3%", L"def"},    {L"%bdxa:~1,-1%", L"bcde"},
        {L"%bdxa:~1,2%", L"bc"},      {L"%bdxa:~0,100%", L"abcdef"}, {L"%bdxa:~-6%", L"abcdef"},
        {L"%bdxa:~-7%", L""},         {L"%bdxa:~9%", L""},        {L"%bdxa:~2,-10%", L""},
        {L"%bdxa:~%", L"abcdef"},     {L"%bdxa:cd=XY%", L"abXYef"}, {L"%bdxa:CD=XY%", L"abcdef"},
        {L"%bdxa:*CD=-%", L"-ef"},    {L"%bdxa:*zz=-%", L"abcdef"}, {L"%bdxa:c=%", L"abdef"},
        {L"%bdxnone:~1%", L""},
    };
    for (const Case &c : cases) EXPECT_EQ(X(c.in), c.out) << c.in;
    Set(L"bdxb", L"x");
    EXPECT_EQ(X(L"[%bdxb:~0,-1%]"), L"[]");
    Set(L"bdxb", L"a&b");
    EXPECT_EQ(X(L"echo %bdxb:^&= and %"), L"echo a and b");   // escapes in the form are dropped
    EXPECT_EQ(rc, 0);
    X(L"echo %bdxa:=x%");
    EXPECT_EQ(rc, 2);
    EXPECT_NE(errors.Text().find(L":=x"), CString::npos);
}

TEST_F(Expand, BatchArgumentsThroughTheFrame) {
    EXPECT_EQ(X(L"echo [%1]"), L"echo []");   // outside a batch file "1" is a name
    Set(L"1", L"name");
    EXPECT_EQ(X(L"echo %1"), L"echo name");
    Set(L"1", nullptr);

    BATCHFRAME &frame = PushFrame(L"C:\\work\\tests\\run.btm", {L"run", L"a", L"\"b c\"", L"d"}, L" a \"b c\"  d");
    EXPECT_EQ(X(L"echo %0 %1 %2 %3 [%4] [%12]"), L"echo run a \"b c\" d [] []");
    EXPECT_EQ(X(L"echo %1%2 %01"), L"echo a\"b c\" run1");  // no closing "%" is taken; %0 is one digit
    EXPECT_EQ(X(L"echo %*;%$;%2$;%-3$;%#"), L"echo a \"b c\"  d;a \"b c\" d;\"b c\" d;a \"b c\";3");
    EXPECT_EQ(X(L"echo %@"), L"echo \"a\" \"b c\" \"d\"");
    EXPECT_EQ(X(L"echo %~2 %~dp0 %~nx0 %~n0%~x0 %~d0"), L"echo b c C:\\work\\tests\\ run.btm run.btm C:");
    frame.nArgShift = 1;
    EXPECT_EQ(X(L"echo %0 %1 %* %#"), L"echo a \"b c\" \"b c\" d 2");
    frame.nArgShift = 5;
    EXPECT_EQ(X(L"echo [%1] [%*] %#"), L"echo [] [] 0");
    aIniFile.ParameterChar = L'!';
    frame.nArgShift = 0;
    EXPECT_EQ(X(L"echo %2! %!"), L"echo \"b c\" d a \"b c\" d");
}

TEST_F(Expand, FileModifiers) {
    CString dir = TempDirectory() + L"bdx_modifiers";
    CreateDirectoryW(dir.c_str(), nullptr);
    CString file = dir + L"\\five.txt";
    HANDLE h = CreateFileW(file.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    DWORD written;
    WriteFile(h, "12345", 5, &written, nullptr);
    CloseHandle(h);

    PushFrame(L"x.btm", {L"x", L"\"" + file + L"\"", dir, L"five.txt", L"nothere.txt"}, L"");
    EXPECT_EQ(X(L"%~z1"), L"5");
    EXPECT_EQ(X(L"%~f1"), file);
    EXPECT_EQ(X(L"%~nxz1"), L"five.txt 5");
    CString attributes = X(L"%~a2");
    EXPECT_EQ(attributes.size(), 11u);
    EXPECT_EQ(attributes.At(0), L'd');
    Set(L"bdxp", (L"C:\\nowhere;\"" + dir + L"\"").c_str());
    EXPECT_EQ(X(L"%~$bdxp:3"), file);
    EXPECT_EQ(X(L"[%~$bdxp:4]"), L"[]");
    DeleteFileW(file.c_str());
    RemoveDirectoryW(dir.c_str());
}

TEST_F(Expand, ForVariables) {
    SetForVariable(L"a", L"C:\\data\\file.log");
    EXPECT_EQ(X(L"echo %%a %a %%~nxa %~xa"), L"echo C:\\data\\file.log C:\\data\\file.log file.log .log");
    SetForVariable(L"x", L"");
    EXPECT_EQ(X(L"echo [%%x]"), L"echo []");
    EXPECT_TRUE(QueryForVariable(L'x', nullptr));
    // A set variable whose name starts with the letter wins.
    Set(L"bdxa", L"plain");
    SetForVariable(L"b", L"for");
    EXPECT_EQ(X(L"%bdxa% %%b"), L"plain for");
    DeleteForVariable(L"b");
    EXPECT_FALSE(QueryForVariable(L'b', nullptr));
    EXPECT_EQ(X(L"%%b"), L"%b");
}

TEST_F(Expand, DelayedNames) {
    Set(L"bdxa", L"abc");
    EXPECT_EQ(X(L"echo !bdxa!"), L"echo !bdxa!");
    aGlobals.fDelayedExpansion = 1;
    EXPECT_EQ(X(L"echo hi! !bdxa! !bdxa:~1! `!bdxa!` ^!bdxa!"), L"echo hi! abc bc `!bdxa!` ^!bdxa!");
    EXPECT_EQ(X(L"echo [!bdxnone!] & echo !bdxa!"), L"echo [] & echo !bdxa!");
}

TEST_F(Expand, FunctionsReachTheDispatcher) {
    Set(L"bdxa", L"abc");
    // The dispatcher knows no function yet: the error shows the call as it
    // reached it, arguments expanded, brackets and quotes kept whole.
    X(L"echo %@nosuch[%bdxa%,\"x]y\",[1,2]] tail");
    EXPECT_EQ(rc, 2);
    EXPECT_NE(errors.Text().find(L"\"%@nosuch[abc,\"x]y\",[1,2]]\""), CString::npos);
    X(L"echo %@len abc");
    EXPECT_EQ(rc, 2);
    EXPECT_NE(errors.Text().find(L"Syntax error"), CString::npos);
    X(L"echo %@len[abc");
    EXPECT_EQ(rc, 2);
    EXPECT_EQ(X(L"echo %[bdxa] %[bdx%[bdxa]]"), L"echo abc ");
    // Arguments are expanded first, inner calls before outer ones, and a
    // result is scanned again unless the switches say no.
    EXPECT_EQ(X(L"%@len[%bdxa%] %@len[%@left[2,%bdxa%]]"), L"3 2");
    Set(L"bdxb", L"one");
    EXPECT_EQ(X(L"[%@left[6,%%bdxb%%xyz]]"), L"[one]");
    aIniFile.ParseFlags = PF_NO_NESTED_VARIABLES;
    EXPECT_EQ(X(L"[%@left[6,%%bdxb%%xyz]]"), L"[%bdxb%]");
}

TEST_F(Expand, NestingDepthOfBrackets) {
    // N brackets inside each other expand their texts N - 1 deep.
    auto nested = [](int n) {
        CString text = L"bdxa";
        for (int i = 0; i < n; i++) text = L"%[" + text + L"]";
        return text;
    };
    Set(L"bdxa", L"bdxa");
    EXPECT_EQ(X(nested(21).c_str()), L"bdxa");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(errors.Text(), L"");
    X(nested(22).c_str());
    EXPECT_EQ(rc, 2);
    EXPECT_NE(errors.Text().find(L"Infinite loop"), CString::npos);
    EXPECT_EQ(X(nested(21).c_str()), L"bdxa");   // the next line starts from 0 again
}

TEST_F(Expand, CommandArithmeticAndConditionForms) {
    Set(L"bdxa", L"abc");
    // %(command) runs the command; its value is the command's result.
    EXPECT_EQ(X(L"echo [%(set bdxb=%bdxa%)]"), L"echo [0]");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(GetEnvVar(L"bdxb"), L"abc");
    EXPECT_EQ(X(L"echo %((1+2)*3)"), L"echo 9");
    EXPECT_EQ(X(L"echo %[[1==1]]%[[abc EQ abd]]"), L"echo 10");
    X(L"echo %((1/0))");
    EXPECT_EQ(rc, 2);
    X(L"echo %(echo x");
    EXPECT_EQ(rc, 2);
    EXPECT_NE(errors.Text().find(L"Unbalanced"), CString::npos);
}

TEST_F(Expand, PseudoVariables) {
    GetTLS()->nExitCode = 7;
    EXPECT_EQ(X(L"%errorlevel% %CmdExtVersion%"), L"7 2");
    Set(L"ERRORLEVEL", L"mine");
    EXPECT_EQ(X(L"%errorlevel%"), L"mine");   // the environment comes first
    int n = _wtoi(X(L"%random%").c_str());
    EXPECT_TRUE(n >= 0 && n <= 32767);
    CString cd(GetCurrentDirectoryW(0, nullptr), L'\0');
    cd.resize(GetCurrentDirectoryW((DWORD)cd.size(), cd.data()));
    EXPECT_EQ(X(L"%cd%"), cd);

    EXPECT_EQ(X(L"a%+b %=x"), L"a%+b %=x");   // the pass is off by default
    aIniFile.ExpandPseudovariables = 1;
    EXPECT_EQ(X(L"a %+ b %=x %=1 `%+ `"), L"a & b ^x %=1 `%+ `");
}

TEST_F(Expand, InternalVariablesAfterTheEnvironment) {
    TLS_VARIABLES *tls = GetTLS();
    tls->aBatchFrames.emplace_back();
    tls->nBatchFrame = 0;
    EXPECT_EQ(X(L"[%_batch] [%_bdxnosuch]"), L"[1] []");
    Set(L"_batch", L"mine");
    EXPECT_EQ(X(L"[%_batch]"), L"[mine]");
}

TEST_F(Expand, CommandWordFromAVariable) {
    // A variable that makes a command which expands its own arguments
    // leaves the rest of the line alone.
    Set(L"bdxa", L"detach");
    Set(L"bdxb", L"x");
    EXPECT_EQ(X(L"%bdxa% %bdxb%"), L"detach %bdxb%");
    EXPECT_EQ(X(L"%bdxa% %bdxb%", 1), L"detach x");   // a part of a line: no command word
    Set(L"bdxa", L"echo");
    EXPECT_EQ(X(L"%bdxa% %bdxb%"), L"echo x");
}

}  // namespace
