// Alias expansion: the argument forms, nesting and its limit, the "*" and
// "@" prefixes, directory aliases and quoting; and the assignments of
// SET /A as they reach the evaluator.
#include <gtest/gtest.h>
#include <vector>
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "scoped_state.h"
#include "vars/lists.h"
#include "vars/vars.h"

namespace {

class Aliases : public ::testing::Test {
protected:
    ScopedOptions options_;
    void SetUp() override {
        aNamedLists[LIST_ALIASES] = NAMEDLIST{};
        aNamedLists[LIST_ALIASES].pLocal = AllocListBlock(8192);
        aIniFile.LocalAliases = 1;
    }
    void TearDown() override {
        FreeListBlock(aNamedLists[LIST_ALIASES].pLocal);
        aNamedLists[LIST_ALIASES] = NAMEDLIST{};
    }
    void Define(const wchar_t *entry) { ASSERT_EQ(AddVariableToList(entry, &aNamedLists[LIST_ALIASES].pLocal), 0); }
    CString Expand(const wchar_t *text, int *rc = nullptr) {
        CString line = text;
        int result = ExpandAliases(line);
        if (rc) *rc = result;
        return line;
    }
};

TEST_F(Aliases, ArgumentsStayBehindTheText) {
    Define(L"y=echo");
    EXPECT_EQ(Expand(L"y a b"), L"echo a b");
    EXPECT_EQ(Expand(L"y"), L"echo");
    EXPECT_EQ(Expand(L"y>out a"), L"echo>out a");
    EXPECT_EQ(Expand(L"nothing y"), L"nothing y");
}

TEST_F(Aliases, NumberedArguments) {
    Define(L"z=echo %2");
    EXPECT_EQ(Expand(L"z a b c"), L"echo b c");     // beyond the highest used stays
    EXPECT_EQ(Expand(L"z a"), L"echo ");
    Define(L"s=echo %2 %1 %0");
    EXPECT_EQ(Expand(L"s a b"), L"echo b a s");
    Define(L"q=echo [%1]");
    EXPECT_EQ(Expand(L"q \"a b\" c"), L"echo [\"a b\"] c");
    EXPECT_EQ(Expand(L"q a & echo %1"), L"echo [a]& echo %1");  // the next command is not an argument
    Define(L"t=echo %10");
    EXPECT_EQ(Expand(L"t 1 2 3 4 5 6 7 8 9 ten eleven"), L"echo ten eleven");
}

TEST_F(Aliases, RestOfLineForms) {
    Define(L"w=echo %1$");
    EXPECT_EQ(Expand(L"w a b"), L"echo a b");
    EXPECT_EQ(Expand(L"w a b & echo c"), L"echo a b & echo c");
    EXPECT_EQ(Expand(L"w"), L"echo ");
    Define(L"u=echo %3$ .");
    EXPECT_EQ(Expand(L"u a"), L"echo  .");
    EXPECT_EQ(Expand(L"u a b c d"), L"echo c d .");
    Define(L"p=echo %$");
    EXPECT_EQ(Expand(L"p a b"), L"echo a b");
    // %-n$: from the first argument, counting argument n's place from the
    // start of the line (the alias's name included).
    Define(L"v=echo [%-3$]");
    EXPECT_EQ(Expand(L"v a b c d"), L"echo [a b c] c d");
    EXPECT_EQ(Expand(L"v a"), L"echo [a]");
    EXPECT_EQ(Expand(L"v"), L"echo []");
}

TEST_F(Aliases, ArgumentCountAndUntouchedPercents) {
    Define(L"c=echo %#");
    EXPECT_EQ(Expand(L"c a b c"), L"echo 3 a b c");
    EXPECT_EQ(Expand(L"c"), L"echo 0");
    Define(L"v=echo %path% %% %1 `%2` %x");
    EXPECT_EQ(Expand(L"v a b"), L"echo %path% %% a `%2` %x b");
}

TEST_F(Aliases, OnlyTheFirstCommandOfTheTextTakesArguments) {
    Define(L"x=echo %1 & echo %2");
    EXPECT_EQ(Expand(L"x a b"), L"echo a & echo %2 b");
}

TEST_F(Aliases, NestingAndTheLoopLimit) {
    Define(L"a1=a2 x");
    Define(L"a2=echo y");
    EXPECT_EQ(Expand(L"a1 z"), L"echo y x z");
    // A chain of 17 expansions is allowed, the 18th is a loop.
    for (int i = 1; i <= 18; i++) Define(FormatStr(L"c%d=c%d", i, i + 1).c_str());
    int rc;
    EXPECT_EQ(Expand(L"c2", &rc), L"c19");
    EXPECT_EQ(rc, 0);
    Expand(L"c1", &rc);
    EXPECT_EQ(rc, 2);
    Define(L"q=q");
    Expand(L"q", &rc);
    EXPECT_EQ(rc, 2);
    Define(L"d=*d");
    EXPECT_EQ(Expand(L"d", &rc), L"d");
    EXPECT_EQ(rc, 0);
}

TEST_F(Aliases, SwitchesOfSetdos) {
    Define(L"a1=a2 x");
    Define(L"a2=echo y");
    aIniFile.ParseFlags = PF_NO_NESTED_ALIASES;
    int rc;
    EXPECT_EQ(Expand(L"a1 z", &rc), L"a2 x z");
    EXPECT_EQ(rc, 0);
    aIniFile.ParseFlags = PF_NO_ALIASES;
    EXPECT_EQ(Expand(L"a1 z"), L"a1 z");
}

TEST_F(Aliases, StarAndAtPrefixes) {
    Define(L"y=echo");
    int rc;
    EXPECT_EQ(Expand(L"*y a", &rc), L"y a");
    EXPECT_EQ(rc, 0);
    EXPECT_EQ(Expand(L"@y a"), L"echo a");
    EXPECT_EQ(Expand(L"@@y a"), L"echo a");
    EXPECT_EQ(Expand(L"@*y a"), L"@y a");
    Define(L"dir=*dir /p");
    EXPECT_EQ(Expand(L"dir x"), L"dir /p x");
    Define(L"li*st=echo L");
    EXPECT_EQ(Expand(L"lis 1"), L"echo L 1");
    EXPECT_EQ(Expand(L"l 1"), L"l 1");
}

TEST_F(Aliases, DirectoryAliases) {
    Define(L"proj:=c:\\projects");
    EXPECT_EQ(Expand(L"proj:\\sub\\x.txt a"), L"c:\\projects\\sub\\x.txt a");
    EXPECT_EQ(Expand(L"proj:"), L"c:\\projects");
    Define(L"c:=d:\\other");
    EXPECT_EQ(Expand(L"c:\\x"), L"c:\\x");  // the colon must stand at index 2 or later
    Define(L"clip:=x");
    EXPECT_EQ(Expand(L"clip:"), L"x");     // the whole name is an alias
    EXPECT_EQ(Expand(L"clip:abc"), L"clip:abc");  // a device is no directory alias
    Define(L"http:=x");
    EXPECT_EQ(Expand(L"http://host/a"), L"http://host/a");
}

TEST_F(Aliases, OpenQuoteInTheTextEndsTheLine) {
    Define(L"bad=echo `open");
    int rc;
    EXPECT_EQ(Expand(L"bad x", &rc), L"bad x");
    EXPECT_EQ(rc, 2);
}

// A stand-in evaluator: records what it is given, answers with a count.
std::vector<CString> evaluated;
int Recorder(CString &expression) {
    evaluated.push_back(expression);
    expression = FormatStr(L"%d", (int)evaluated.size());
    return 0;
}
int Refuser(CString &) { return 2; }

class SetArithmeticTest : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedEnvironment environment_{L"BDXA", L"BDXB", L"BDXC"};
    void SetUp() override { evaluated.clear(); }
    using V = std::vector<CString>;
};

TEST_F(SetArithmeticTest, PartsChainsAndCompoundOperators) {
    CString args = L"BDXA=1, BDXB = BDXA+1 ,BDXC+=(2,3)*2";
    ASSERT_EQ(SetArithmetic(args, 0x40, Recorder), 0);
    EXPECT_EQ(evaluated, (V{L"1", L"BDXA+1", L"BDXC+((2,3)*2)"}));
    EXPECT_EQ(GetEnvVar(L"BDXA"), L"1");
    EXPECT_EQ(GetEnvVar(L"BDXB"), L"2");
    EXPECT_EQ(GetEnvVar(L"BDXC"), L"3");
    evaluated.clear();
    args = L"BDXA=BDXB=7";  // both take the value
    ASSERT_EQ(SetArithmetic(args, 0x40, Recorder), 0);
    EXPECT_EQ(evaluated, (V{L"7", L"7"}));
    EXPECT_EQ(GetEnvVar(L"BDXA"), L"1");
    EXPECT_EQ(GetEnvVar(L"BDXB"), L"2");
}

TEST_F(SetArithmeticTest, DivisionQuotesAndFailure) {
    CString args = L"\"7/2\"";
    ASSERT_EQ(SetArithmetic(args, 0x40, Recorder), 0);
    EXPECT_EQ(evaluated, (V{L"7\\2"}));
    evaluated.clear();
    args = L"BDXA<<=2, BDXB/=2";
    ASSERT_EQ(SetArithmetic(args, 0x40, Recorder), 0);
    EXPECT_EQ(evaluated, (V{L"BDXA<<(2)", L"BDXB\\(2)"}));
    SetEnvironmentVariableW(L"BDXC", L"old");
    args = L"BDXC=1+";
    EXPECT_EQ(SetArithmetic(args, 0x40, Refuser), 2);
    EXPECT_EQ(GetEnvVar(L"BDXC"), L"old");
    args = L"BDXC=1+";
    EXPECT_EQ(SetArithmetic(args, 0x40, EvaluateForSet), 2);
    EXPECT_EQ(GetEnvVar(L"BDXC"), L"old");
    SetEnvironmentVariableW(L"BDXB", nullptr);
    args = L"BDXA=7/2, BDXB+=BDXA";  // BDXB is not set: it counts as 0
    ASSERT_EQ(SetArithmetic(args, 0x40, EvaluateForSet), 0);
    EXPECT_EQ(GetEnvVar(L"BDXA"), L"3");
    EXPECT_EQ(GetEnvVar(L"BDXB"), L"3");
}

}  // namespace
