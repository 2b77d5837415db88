// Command lookup: the name rules, the characters behind a name, and the
// enable state.
#include <gtest/gtest.h>
#include "base/options.h"
#include "core/cmdtable.h"
#include "scoped_state.h"

namespace {

class Lookup : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedCommandTable table_;
    void SetUp() override { SetInternalCommands(1); }
    CString Find(const wchar_t *line) {
        BUILTIN *row;
        return FindInternalCommand(line, false, &row) >= 0 ? CString(row->pszName) : CString(L"-");
    }
};

TEST_F(Lookup, CharactersBehindTheName) {
    EXPECT_EQ(Find(L"cd\\"), L"CD");
    EXPECT_EQ(Find(L"dir\\"), L"DIR");
    EXPECT_EQ(Find(L"cd.."), L"CD");
    EXPECT_EQ(Find(L"dir."), L"DIR");
    EXPECT_EQ(Find(L"copy.txt"), L"COPY");   // DOT_OK
    EXPECT_EQ(Find(L"type.txt"), L"-");      // no DOT_OK: a file name
    EXPECT_EQ(Find(L"set.txt"), L"-");
    EXPECT_EQ(Find(L"ver\\"), L"-");         // no BACKSLASH_OK
    EXPECT_EQ(Find(L"echo.hi"), L"ECHO");
    EXPECT_EQ(Find(L"echo(hi"), L"ECHO");
    EXPECT_EQ(Find(L"echo[x"), L"ECHO");
    EXPECT_EQ(Find(L"echo]"), L"ECHO");
    EXPECT_EQ(Find(L"  echo/?"), L"ECHO");
}

TEST_F(Lookup, NameRules) {
    EXPECT_EQ(Find(L"c:dir"), L"-");          // the colon is part of the word
    EXPECT_EQ(Find(L"firewiremonitorx"), L"FIREWIREMONITOR");
    EXPECT_EQ(Find(L"FireWireMonitor"), L"FIREWIREMONITOR");
    EXPECT_EQ(Find(L"?"), L"?");
    EXPECT_EQ(Find(L"7zip a"), L"7ZIP");
    EXPECT_EQ(Find(L"bddialog"), L"BDDIALOG");
    EXPECT_EQ(Find(L"zzz"), L"-");
    EXPECT_EQ(Find(L"http://x"), L"-");
    aIniFile.CommandSep = L'~';
    EXPECT_EQ(Find(L"echo~x"), L"ECHO");
}

TEST_F(Lookup, EveryRowIsFoundByItsName) {
    for (int i = 0; i < nInternalCommands; i++) {
        BUILTIN *row;
        EXPECT_EQ(FindInternalCommand(aInternalCommands[i].pszName, false, &row), i) << aInternalCommands[i].pszName;
    }
}

TEST_F(Lookup, EnableState) {
    EXPECT_EQ(DisableInternalCommand(L"dir"), 0);
    EXPECT_EQ(Find(L"dir"), L"-");
    EXPECT_EQ(QueryIsCommandEnabled(L"dir"), 0);
    BUILTIN *row;
    EXPECT_GE(FindInternalCommand(L"dir", true, &row), 0);
    EXPECT_EQ(EnableInternalCommand(L"dir /w"), 0);
    EXPECT_EQ(Find(L"dir"), L"DIR");
    EXPECT_EQ(EnableInternalCommand(L"nosuch"), 2);
    EXPECT_EQ(DisableInternalCommand(L"nosuch"), 0);
    SetInternalCommands(0);
    EXPECT_EQ(Find(L"dir"), L"DIR");       // in the reduced set
    EXPECT_EQ(Find(L"echos"), L"-");       // not in it
    SetInternalCommands(1);
    EXPECT_EQ(Find(L"echos"), L"ECHOS");
}

TEST_F(Lookup, Flags) {
    EXPECT_EQ(QueryInternalCommandFlags(L"dir"), 0x286307u);
    EXPECT_EQ(QueryInternalCommandFlags(L"copy"), 0x286327u);
    EXPECT_EQ(QueryInternalCommandFlags(L"echo"), 0x204207u);
    EXPECT_EQ(QueryInternalCommandFlags(L"echox"), 0u);
    EXPECT_EQ(QueryInternalCommandFlags(L"detach"), 0x524u);
    EXPECT_EQ(QueryInternalCommandFlags(L"goto"), 0x202047u);
    EXPECT_EQ(SetInternalCommandFlags(L"nosuch", 1), 2);
    EXPECT_EQ(SetInternalCommandFlags(L"ver", 0x5), 0);
    EXPECT_EQ(QueryInternalCommandFlags(L"ver"), 0x5u);
}

}  // namespace
