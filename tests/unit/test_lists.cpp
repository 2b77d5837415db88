// The list blocks: walkers, lookup with the alias abbreviation rule,
// definition and removal, growth of private lists, full shared lists, and
// the environment path with read-only names and types.
#include <gtest/gtest.h>
#include <vector>
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "scoped_state.h"
#include "vars/lists.h"

namespace {

// A block in the list form from "name=value" texts.
CString Block(std::initializer_list<const wchar_t *> entries) {
    CString block;
    for (const wchar_t *e : entries) {
        block += e;
        block += L'\0';
    }
    block += L'\0';
    return block;
}

// The entries of a block, in order.
std::vector<CString> Entries(const wchar_t *block) {
    std::vector<CString> out;
    for (const wchar_t *e = block; e && *e; e = NextListEntry(e)) out.emplace_back(e);
    return out;
}

using V = std::vector<CString>;

class Lists : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedThreadState thread_;
    ScopedGlobals globals_;
    void SetUp() override {
        for (NAMEDLIST &l : aNamedLists) l = NAMEDLIST{};
        aNamedLists[LIST_ALIASES].pLocal = AllocListBlock(4096);
        aNamedLists[LIST_FUNCTIONS].pLocal = AllocListBlock(4096);
        aIniFile.LocalAliases = aIniFile.LocalFunctions = 1;
    }
    void TearDown() override {
        for (int kind = 0; kind < 2; kind++) {
            FreeListBlock(aNamedLists[kind].pLocal);
            DetachSharedList(kind);
            aNamedLists[kind] = NAMEDLIST{};
        }
    }
    wchar_t *&aliases() { return aNamedLists[LIST_ALIASES].pLocal; }
    int Add(const wchar_t *entry) { return AddVariableToList(entry, &aliases()); }
};

TEST(ListWalkers, StepAndEnd) {
    CString b = Block({L"a=1", L"bb=22"});
    const wchar_t *p = b.c_str();
    EXPECT_STREQ(NextListEntry(p), L"bb=22");
    const wchar_t *end = NextListEntry(NextListEntry(p));
    EXPECT_EQ(*end, 0);
    EXPECT_EQ(NextListEntry(end), end);  // the empty entry never moves on
    EXPECT_EQ(EndOfList(p), end);
    EXPECT_EQ(GetListSize(p), (10 * 2 | 1) + 3);
    CString empty = Block({});
    EXPECT_EQ(EndOfList(empty.c_str()), empty.c_str());
    EXPECT_EQ(GetListSize(empty.c_str()), 4);
}

TEST(ListLookup, NameEndsAtEqualsAndCaseIsIgnored) {
    CString b = Block({L"Path=c:\\x=y", L"a=", L"abc=3"});
    EXPECT_STREQ(GetVariableList(L"PATH", b.c_str()), L"c:\\x=y");
    EXPECT_STREQ(GetVariableList(L"path=ignored", b.c_str()), L"c:\\x=y");
    EXPECT_STREQ(GetVariableList(L"a", b.c_str()), L"");
    EXPECT_STREQ(GetVariableList(L"ABC", b.c_str()), L"3");
    EXPECT_EQ(GetVariableList(L"ab", b.c_str()), nullptr);
    EXPECT_EQ(GetVariableList(L"abcd", b.c_str()), nullptr);
    EXPECT_EQ(GetVariableList(L"x", nullptr), nullptr);
}

TEST_F(Lists, StarAbbreviatesOnlyInAliasLists) {
    ASSERT_EQ(Add(L"li*st=echo x"), 0);
    for (const wchar_t *name : {L"li", L"lis", L"list", L"LIS", L"li*st"})
        EXPECT_STREQ(GetVariableList(name, aliases()), L"echo x") << name;
    for (const wchar_t *name : {L"l", L"lists", L"lx"}) EXPECT_EQ(GetVariableList(name, aliases()), nullptr) << name;
    // The same entry in a block that is no alias list is a plain name.
    CString plain = Block({L"li*st=echo x"});
    EXPECT_EQ(GetVariableList(L"li", plain.c_str()), nullptr);
    EXPECT_STREQ(GetVariableList(L"li*st", plain.c_str()), L"echo x");
    // Functions have no abbreviations.
    ASSERT_EQ(AddVariableToList(L"fu*nc=1", &aNamedLists[LIST_FUNCTIONS].pLocal), 0);
    EXPECT_EQ(GetFunction(L"fu", nullptr), nullptr);
}

TEST_F(Lists, DefineRedefineAndRemoveKeepTheOrder) {
    EXPECT_EQ(Add(L"one=1"), 0);
    EXPECT_EQ(Add(L"two 2"), 0);              // a blank separates too
    EXPECT_EQ(Add(L"three = `3 & 3`"), 0);    // blanks and back-quotes go
    EXPECT_EQ(Entries(aliases()), (V{L"one=1", L"two=2", L"three=3 & 3"}));
    EXPECT_EQ(Add(L"ONE=longer value"), 0);   // keeps its place and its name
    EXPECT_EQ(Add(L"three=x"), 0);
    EXPECT_EQ(Entries(aliases()), (V{L"one=longer value", L"two=2", L"three=x"}));
    EXPECT_EQ(Add(L"two="), 0);
    EXPECT_EQ(Entries(aliases()), (V{L"one=longer value", L"three=x"}));
    EXPECT_EQ(Add(L"nothere="), 0);           // no error for a missing name
    EXPECT_EQ(Add(L"one"), 0);                // no value: removed
    EXPECT_EQ(Entries(aliases()), (V{L"three=x"}));
}

TEST_F(Lists, BadEntriesLeaveTheListAlone) {
    ASSERT_EQ(Add(L"keep=1"), 0);
    EXPECT_EQ(Add(L"=x"), 2);
    EXPECT_EQ(Add(L"  =x"), 2);
    EXPECT_EQ(AddVariableToList(L"=x", nullptr), 2);
    EXPECT_EQ(Entries(aliases()), (V{L"keep=1"}));
    EXPECT_EQ(AddVariableToList(L"a=1", ARRAY_ELEMENT_LIST), 2);
    wchar_t *none = nullptr;
    EXPECT_EQ(AddVariableToList(L"a=1", &none), 2);
}

TEST_F(Lists, LocalListGrowsBy64KiB) {
    wchar_t *before = aliases();
    size_t size = QueryListBlockBytes(before);
    std::vector<CString> expected;
    for (int i = 0; QueryListBlockBytes(aliases()) == size; i++) {
        CString entry = FormatStr(L"name%03d=%s", i, CString(100, L'x').c_str());
        ASSERT_EQ(Add(entry.c_str()), 0);
        expected.push_back(entry);
    }
    EXPECT_EQ(QueryListBlockBytes(aliases()), size + 0x10000);
    EXPECT_EQ(aIniFile.AliasLocalSize, (int)((size + 0x10000) / 2));
    EXPECT_EQ(Entries(aliases()), expected);
    EXPECT_STREQ(GetAlias(L"name000", nullptr), expected[0].c_str() + 8);
}

// A shared list of its own for each run, so that parallel runs and real
// shells of the same user never meet it.
CString TestMappingName(const wchar_t *what) {
    return FormatStr(L"BDXTest%s%u_%u", what, GetCurrentProcessId(), GetTickCount());
}

// Fill a shared list to the brim; returns the failing result.
int FillUntilFull(wchar_t **list, std::vector<CString> *kept) {
    for (int i = 0; i < 1000; i++) {
        CString before = CString(*list, EndOfList(*list) - *list);
        int rc = AddVariableToList(FormatStr(L"n%d=%s", i, CString(60, L'v').c_str()).c_str(), list);
        if (rc) {
            *kept = Entries(*list);
            EXPECT_EQ(CString(*list, EndOfList(*list) - *list), before);  // unchanged
            return rc;
        }
    }
    return 0;
}

TEST_F(Lists, FullSharedListReportsAndStaysUnchanged) {
    bool created;
    ASSERT_EQ(AttachSharedList(LIST_ALIASES, TestMappingName(L"A").c_str(), 1000, &created), 0);
    EXPECT_TRUE(created);
    wchar_t **global = &aNamedLists[LIST_ALIASES].pGlobal;
    wchar_t *view = *global;
    std::vector<CString> kept;
    EXPECT_EQ(FillUntilFull(global, &kept), 2);
    EXPECT_EQ(GetTLS()->nLastResult, 2);
    EXPECT_EQ(*global, view);  // a shared list never moves or grows
    EXPECT_FALSE(kept.empty());
    // Redefining to something longer fails too and changes nothing.
    EXPECT_EQ(AddVariableToList((L"n0=" + CString(200, L'w')).c_str(), global), 2);
    EXPECT_EQ(Entries(*global), kept);
    // Removing makes room again.
    EXPECT_EQ(AddVariableToList(L"n0=", global), 0);
    EXPECT_EQ(AddVariableToList(L"n0=short", global), 0);

    ASSERT_EQ(AttachSharedList(LIST_FUNCTIONS, TestMappingName(L"F").c_str(), 1000, &created), 0);
    EXPECT_EQ(FillUntilFull(&aNamedLists[LIST_FUNCTIONS].pGlobal, &kept), 2);
}

TEST_F(Lists, SecondShellSharesTheListAndAdoptsItsSize) {
    CString name = TestMappingName(L"S");
    bool created;
    ASSERT_EQ(AttachSharedList(LIST_ALIASES, name.c_str(), 3000, &created), 0);
    ASSERT_TRUE(created);
    int size = aIniFile.AliasGlobalSize;
    EXPECT_EQ(size % 2048, 0);  // whole pages
    EXPECT_GE(size, 3000);
    // "Another shell": a view of its own of the same mapping.
    HANDLE other = OpenFileMappingW(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, name.c_str());
    ASSERT_NE(other, nullptr);
    wchar_t *otherView = (wchar_t *)MapViewOfFile(other, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0);
    ASSERT_NE(otherView, nullptr);
    ASSERT_EQ(AddVariableToList(L"shared=echo hi", &aNamedLists[LIST_ALIASES].pGlobal), 0);
    EXPECT_STREQ(GetVariableList(L"shared", otherView), L"echo hi");
    // Attaching again with a different size option takes the mapping's size.
    DetachSharedList(LIST_ALIASES);
    ASSERT_EQ(AttachSharedList(LIST_ALIASES, name.c_str(), 100000, &created), 0);
    EXPECT_FALSE(created);
    EXPECT_EQ(aIniFile.AliasGlobalSize, size);
    EXPECT_STREQ(GetAlias(L"shared", nullptr), L"echo hi");
    UnmapViewOfFile(otherView);
    CloseHandle(other);
}

TEST_F(Lists, LocalIsSearchedBeforeGlobal) {
    bool created, isLocal = false;
    ASSERT_EQ(AttachSharedList(LIST_ALIASES, TestMappingName(L"O").c_str(), 2048, &created), 0);
    ASSERT_EQ(AddVariableToList(L"x=global", &aNamedLists[LIST_ALIASES].pGlobal), 0);
    ASSERT_EQ(AddVariableToList(L"y=global", &aNamedLists[LIST_ALIASES].pGlobal), 0);
    ASSERT_EQ(Add(L"x=local"), 0);
    EXPECT_STREQ(GetAlias(L"x", &isLocal), L"local");
    EXPECT_TRUE(isLocal);
    EXPECT_STREQ(GetAlias(L"y", &isLocal), L"global");
    EXPECT_FALSE(isLocal);
    EXPECT_EQ(DefaultList(LIST_ALIASES), &aNamedLists[LIST_ALIASES].pLocal);
    aIniFile.LocalAliases = 0;
    EXPECT_EQ(DefaultList(LIST_ALIASES), &aNamedLists[LIST_ALIASES].pGlobal);
}

TEST_F(Lists, ConvertingToLocalKeepsWhatWasSeen) {
    bool created;
    ASSERT_EQ(AttachSharedList(LIST_FUNCTIONS, TestMappingName(L"C").c_str(), 2048, &created), 0);
    wchar_t **local = &aNamedLists[LIST_FUNCTIONS].pLocal;
    ASSERT_EQ(AddVariableToList(L"g=global", &aNamedLists[LIST_FUNCTIONS].pGlobal), 0);
    ASSERT_EQ(AddVariableToList(L"both=global", &aNamedLists[LIST_FUNCTIONS].pGlobal), 0);
    ASSERT_EQ(AddVariableToList(L"both=local", local), 0);
    ASSERT_EQ(ConvertToLocalList(LIST_FUNCTIONS), 0);
    EXPECT_EQ(aNamedLists[LIST_FUNCTIONS].pGlobal, nullptr);
    EXPECT_EQ(aIniFile.GlobalFunctions, 0);
    EXPECT_EQ(Entries(*local), (V{L"g=global", L"both=local"}));
}

TEST_F(Lists, WithoutAConsoleTheListsArePrivate) {
    TearDown();
    aGlobals.fNoConsole = 1;
    aIniFile.AliasLocalSize = 5000;
    InitializeLocalGlobalLists();
    for (int kind = 0; kind < 2; kind++) {
        EXPECT_NE(aNamedLists[kind].pLocal, nullptr);
        EXPECT_EQ(aNamedLists[kind].pGlobal, nullptr);
    }
    EXPECT_EQ(aIniFile.LocalAliases, 1);
    EXPECT_EQ(aIniFile.GlobalAliases, 0);
    EXPECT_EQ(aIniFile.GlobalFunctions, 0);
    EXPECT_GE(QueryListBlockBytes(aNamedLists[LIST_ALIASES].pLocal), 10000u);
    EXPECT_EQ(DefaultList(LIST_ALIASES), &aNamedLists[LIST_ALIASES].pLocal);
}

TEST(NamePatterns, StarAndQuestionMark) {
    EXPECT_TRUE(MatchNamePattern(L"a*", L"ABC"));
    EXPECT_TRUE(MatchNamePattern(L"*c", L"abc"));
    EXPECT_TRUE(MatchNamePattern(L"a?c", L"abc"));
    EXPECT_TRUE(MatchNamePattern(L"*b*", L"abc"));
    EXPECT_TRUE(MatchNamePattern(L"a*b*c", L"axxbyyc"));
    EXPECT_FALSE(MatchNamePattern(L"a?c", L"ac"));
    EXPECT_FALSE(MatchNamePattern(L"a*d", L"abc"));
    EXPECT_FALSE(MatchNamePattern(L"b*", L"abc"));
    EXPECT_TRUE(MatchNamePattern(L"*", L""));
    EXPECT_TRUE(MatchNamePattern(L"::^a.c$", L"abc"));
    EXPECT_FALSE(MatchNamePattern(L"::^a.c$", L"abcd"));
}

class Environment : public ::testing::Test {
protected:
    CString name = FormatStr(L"BDXTEST%u", GetCurrentProcessId());
    void TearDown() override {
        SetEnvironmentVariableW(name.c_str(), nullptr);
        for (VARIABLETYPE &row : aVariableTypes) row = VARIABLETYPE{};
    }
    int Set(const CString &value, const wchar_t *type = nullptr) {
        return AddVariableToList((name + L"=" + value).c_str(), nullptr, type);
    }
    CString Get() { return GetEnvVar(name.c_str()); }
};

TEST_F(Environment, TypesRefuseBadValuesAndKeepTheOldOne) {
    ASSERT_EQ(Set(L"12", L"int"), 0);
    EXPECT_EQ(Set(L"-7"), 0);
    EXPECT_EQ(Set(L"7x"), 2);
    EXPECT_EQ(Get(), L"-7");
    EXPECT_EQ(Set(L"x", L"bool"), 2);  // refused: the type stays int
    EXPECT_EQ(Set(L"42"), 0);
    EXPECT_EQ(Set(L"1", L":bool"), 0);  // a new type replaces the row
    EXPECT_EQ(Set(L"2"), 2);
    EXPECT_EQ(Set(L"ff", L"3"), 0);     // by number: hex
    EXPECT_EQ(Set(L"fg"), 2);
    EXPECT_EQ(Set(L"abc", L"alpha"), 0);
    EXPECT_EQ(Set(L"ab1"), 2);
    EXPECT_EQ(Set(L"ab1", L"alnum"), 0);
    EXPECT_EQ(Set(L"a-1"), 2);
    EXPECT_EQ(Set(L"x", L"none"), 0);
    EXPECT_EQ(Set(L"1", L"float"), 2);  // unknown type: nothing set
    EXPECT_EQ(Get(), L"x");
    EXPECT_EQ(Set(L"1", L"regex"), 2);  // regex needs its expression
    EXPECT_EQ(Set(L"1", L"regex:(["), 2);  // a bad expression
    EXPECT_EQ(Get(), L"x");
    EXPECT_EQ(Set(L"abc", L"regex:\"^a.c$\""), 0);
    EXPECT_EQ(Set(L"xyz"), 2);
    EXPECT_EQ(Get(), L"abc");
}

TEST_F(Environment, DecimalType) {
    CString dec = FormatStr(L"1%c5e3", QueryDecimalChar());
    CString two = FormatStr(L"1%c5%c3", QueryDecimalChar(), QueryDecimalChar());
    ASSERT_EQ(Set(L"0", L"dec"), 0);
    EXPECT_EQ(Set(dec), 0);
    EXPECT_EQ(Set(L"-12"), 0);
    EXPECT_EQ(Set(two), 2);
    EXPECT_EQ(Set(L"1x"), 2);
}

}  // namespace
