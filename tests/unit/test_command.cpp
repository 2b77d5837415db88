// The compound loop of Command_S: separators, the && / || skip rule, the
// prefixes that are stripped, remarks, groups and the command limit.  Table
// rows are pointed at recording handlers so that each run can be seen.
#include <gtest/gtest.h>
#include <vector>
#include "base/options.h"
#include "base/state.h"
#include "core/core.h"
#include "scoped_state.h"

namespace {

std::vector<CString> calls;

int Record(CString &args) {
    calls.push_back(GetTLS()->sCommandName + L":" + args);
    return 0;
}
int Fail(CString &args) {
    calls.push_back(L"FAIL:" + args);
    return 1;
}

class CommandLine : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedThreadState thread_;
    ScopedCommandTable table_;
    void SetUp() override {
        table_.Replace(L"beep", Record);
        table_.Replace(L"vol", Fail);
        table_.Replace(L"detach", Record);
        calls.clear();
    }
    std::vector<CString> Run(const wchar_t *line, int *result = nullptr) {
        calls.clear();
        int rc = Command_S(line, 0);
        if (result) *result = rc;
        return calls;
    }
    using V = std::vector<CString>;
};

TEST_F(CommandLine, Separators) {
    EXPECT_EQ(Run(L"beep a & beep b"), (V{L"BEEP:a", L"BEEP:b"}));
    EXPECT_EQ(Run(L"beep a&beep b"), (V{L"BEEP:a", L"BEEP:b"}));
    EXPECT_EQ(Run(L"beep a%+beep b"), (V{L"BEEP:a", L"BEEP:b"}));
    EXPECT_EQ(Run(L"beep \"a & b\""), (V{L"BEEP:\"a & b\""}));
    EXPECT_EQ(Run(L"beep a^&b"), (V{L"BEEP:a&b"}));
    aIniFile.CommandSep = L'~';
    EXPECT_EQ(Run(L"beep a ~ beep b & c"), (V{L"BEEP:a", L"BEEP:b & c"}));
    EXPECT_EQ(Run(L"beep a && beep b"), (V{L"BEEP:a", L"BEEP:b"}));
}

TEST_F(CommandLine, ConditionalChains) {
    EXPECT_EQ(Run(L"vol x && beep a & beep b"), (V{L"FAIL:x", L"BEEP:b"}));
    EXPECT_EQ(Run(L"beep x || beep a || beep b & beep c"), (V{L"BEEP:x", L"BEEP:c"}));
    EXPECT_EQ(Run(L"vol x && beep a || beep c"), (V{L"FAIL:x", L"BEEP:c"}));
    EXPECT_EQ(Run(L"vol x || beep a && beep b"), (V{L"FAIL:x", L"BEEP:a", L"BEEP:b"}));
    EXPECT_EQ(Run(L"beep x && vol y || beep c"), (V{L"BEEP:x", L"FAIL:y", L"BEEP:c"}));
}

TEST_F(CommandLine, StrippedPrefixesAndRemarks) {
    EXPECT_EQ(Run(L";;beep a"), (V{L"BEEP:a"}));
    EXPECT_EQ(Run(L"=beep a"), (V{L"BEEP:a"}));
    EXPECT_EQ(Run(L","), V{});
    EXPECT_EQ(Run(L":label & beep a"), V{});
    EXPECT_EQ(Run(L"@beep a & *@beep b"), (V{L"BEEP:a", L"BEEP:b"}));
    EXPECT_EQ(Run(L"rem hello & beep x"), V{});
    EXPECT_EQ(Run(L"`beep a` & beep b"), (V{L"BEEP:a", L"BEEP:b"}));
}

TEST_F(CommandLine, GroupsAndBackground) {
    EXPECT_EQ(Run(L"(beep a & beep b) & beep c"), (V{L"BEEP:a", L"BEEP:b", L"BEEP:c"}));
    EXPECT_EQ(Run(L"beep x &"), (V{L"DETACH:beep x"}));
    EXPECT_EQ(Run(L"beep x&"), (V{L"BEEP:x"}));
}

TEST_F(CommandLine, ResultsAndExitCodes) {
    int rc;
    Run(L"vol x", &rc);
    EXPECT_EQ(rc, 1);
    EXPECT_EQ(GetTLS()->nLastResult, 1);
    EXPECT_EQ(GetTLS()->nExitCode, 1);     // VOL sets the exit code
    Run(L"beep", &rc);
    EXPECT_EQ(GetTLS()->nExitCode, 1);     // BEEP does not
    EXPECT_EQ(GetTLS()->nLastResult, 0);
    Run(L"goto x", &rc);                   // batch-only command at the prompt
    EXPECT_EQ(rc, 2);
    Run(L"nosuchcommand", &rc);
    EXPECT_EQ(rc, 2);
    EXPECT_EQ(GetTLS()->nExitCode, 2);
}

TEST_F(CommandLine, AtMostAThousandCommands) {
    CString line;
    for (int i = 0; i < 1000; i++) line += L"beep&";
    line += L"beep";
    int rc;
    EXPECT_EQ(Run(line.c_str(), &rc).size(), 1000u);
    EXPECT_EQ(rc, 2);
    line.Truncate(line.size() - 5);
    EXPECT_EQ(Run(line.c_str(), &rc).size(), 1000u);
    EXPECT_EQ(rc, 0);
}

TEST_F(CommandLine, HelpSwitch) {
    // /? never reaches the handler; ECHO has no help and takes /? as text.
    table_.Replace(L"echo", Record);
    EXPECT_EQ(Run(L"beep /?"), V{});
    EXPECT_EQ(Run(L"echo /?"), (V{L"ECHO: /?"}));
}

}  // namespace
