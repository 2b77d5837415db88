// Path rules: the parts of a name, full names against a base, long-path
// prefixes and devices.
#include <gtest/gtest.h>
#include "base/format.h"
#include "base/options.h"
#include "config/config.h"
#include "files/paths.h"
#include "vars/lists.h"

namespace {

std::wstring S(const CString &s) { return std::wstring(s); }

class Paths : public ::testing::Test {
protected:
    void SetUp() override { IniClear(&aIniFile); }
};

CString Full(const wchar_t *name, const wchar_t *base = L"c:\\a\\b\\c") {
    CString n(name);
    if (!CreateFullPathNameEx(n, 1, base)) return L"<fail>";
    return n;
}

}  // namespace

TEST_F(Paths, PartsOfNames) {
    struct {
        const wchar_t *name, *path, *file;
    } rows[] = {
        {L"c:\\dir\\file.txt", L"c:\\dir\\", L"file.txt"},
        {L"c:file.txt", L"c:", L"file.txt"},
        {L"c:", L"c:", L""},
        {L"file.txt", nullptr, L"file.txt"},
        {L"dir/sub/file", L"dir/sub/", L"file"},
        {L"c:\\x\\..", L"c:\\x\\..", L""},
        {L"..", L"..", L""},
        {L"\\\\server\\share", L"\\\\server\\share", L""},
        {L"\\\\server\\share\\f.txt", L"\\\\server\\share\\", L"f.txt"},
        {L"\\\\?\\c:\\dir\\f", L"\\\\?\\c:\\dir\\", L"f"},
        {L"c:\\dir\\a:stream", L"c:\\dir\\", L"a:stream"},
        {L"c:\\dir\\::^a.*\\.txt$", L"c:\\dir\\", L"::^a.*\\.txt$"},
        {L"::x\\y", nullptr, L"::x\\y"},
    };
    for (auto &row : rows) {
        CString path;
        const wchar_t *p = PathPart(row.name, &path);
        if (row.path) {
            EXPECT_TRUE(p != nullptr) << row.name;
            EXPECT_EQ(S(path), row.path) << row.name;
            EXPECT_EQ(PathLength(row.name), wcslen(row.path)) << row.name;
        } else {
            EXPECT_EQ(p, nullptr) << row.name;
        }
        EXPECT_STREQ(FilenamePart(row.name), row.file) << row.name;
    }
    CString quoted;
    EXPECT_STREQ(FilenamePart(L"c:\\d\\\"my file\"", &quoted), L"my file");
}

TEST_F(Paths, Extensions) {
    CString ext;
    EXPECT_STREQ(ExtensionPart(L"a.b.txt"), L".txt");
    EXPECT_EQ(ExtensionPart(L"c:\\a.b\\file"), nullptr);
    EXPECT_EQ(ExtensionPart(L"noext"), nullptr);
    EXPECT_STREQ(ExtensionPart(L"x.c;y.h", &ext), L".h");
    EXPECT_STREQ(ExtensionPart(L"x.txt\"", &ext), L".txt");
}

TEST_F(Paths, JoiningNames) {
    struct {
        const wchar_t *path, *name, *result;
    } rows[] = {
        {L"", L"x", L"x"},
        {L"c:\\dir", L"x", L"c:\\dir\\x"},
        {L"c:\\dir\\", L"x", L"c:\\dir\\x"},
        {L"c:\\dir\\", L"\\x", L"c:\\dir\\x"},
        {L"c:\\dir", L"\\x", L"c:\\dir\\x"},
        {L"c:", L"x", L"c:x"},
        {L"http://host/dir", L"x", L"http://host/dir/x"},
    };
    for (auto &row : rows) {
        CString path(row.path);
        MakeDirectoryName(path, row.name);
        EXPECT_EQ(S(path), row.result) << row.path << " + " << row.name;
    }
    CString out;
    InsertPathInFilename(out, L"new.txt", L"d:\\x\\old.txt");
    EXPECT_EQ(S(out), L"d:\\x\\new.txt");
}

TEST_F(Paths, FullNamesAgainstABase) {
    struct {
        const wchar_t *name, *full;
    } rows[] = {
        {L"x.txt", L"c:\\a\\b\\c\\x.txt"},
        {L"...\\x", L"c:\\a\\x"},
        {L"....\\x", L"c:\\x"},
        {L"sub\\...", L"c:\\a\\b"},
        {L"..", L"c:\\a\\b"},
        {L"c:\\a\\..\\b", L"c:\\b"},
        {L"c:\\..", L"c:\\"},
        {L"c:\\..\\..\\x", L"c:\\x"},
        {L"\\top", L"c:\\top"},
        {L"c:/x/y", L"c:\\x\\y"},
        {L"file://c:/x", L"c:\\x"},
        {L"file:///c:/x", L"c:\\x"},
        {L"c:\\dir\\\\\\x", L"c:\\dir\\x"},
        {L".\\x\\.\\y", L"c:\\a\\b\\c\\x\\y"},
        {L"c:\\x\\name.", L"c:\\x\\name"},
        {L"c:\\x.\\y", L"c:\\x.\\y"},
        {L"*.", L"c:\\a\\b\\c\\*."},
        {L"\"c:\\my dir\\f\"", L"c:\\my dir\\f"},
        {L"c:\\x\\::a.*\\.txt", L"c:\\x\\::a.*\\.txt"},
        {L"sub\\::..\\x", L"c:\\a\\b\\c\\sub\\::..\\x"},
        {L"::^re$", L"::^re$"},
        {L"\\\\server\\share\\d\\..\\f", L"\\\\server\\share\\f"},
        {L"\\\\server\\share\\..", L"\\\\server\\share\\"},
        {L"clip:", L"clip:"},
        {L"con", L"con"},
        {L"c:\\dir\\nul", L"c:\\dir\\nul"},
        {L"http://host/a/../b", L"http://host/a/../b"},
        {L"\\\\?\\c:\\x\\..\\y", L"\\\\?\\c:\\y"},
        {L"c:\\dir\\f.txt:stream", L"c:\\dir\\f.txt:stream"},
        {L"\\\\", L"<fail>"},
    };
    for (auto &row : rows) EXPECT_EQ(S(Full(row.name)), row.full) << row.name;
}

TEST_F(Paths, ListNamesKeepTheirMark) {
    EXPECT_EQ(S(Full(L"@nolist.txt")), L"@c:\\a\\b\\c\\nolist.txt");
}

TEST_F(Paths, TooLongAndBadNames) {
    CString huge(PATH_LIMIT, L'x');
    EXPECT_FALSE(CreateFullPathNameEx(huge, 1, L"c:\\"));
    EXPECT_EQ(huge.size(), PATH_LIMIT);  // left as it was
    // A drive that does not exist has no current directory.
    CString relative(L"q:x");
    EXPECT_FALSE(CreateFullPathName(relative, 1));
}

TEST_F(Paths, LongNamesGetAPrefix) {
    CString part(60, L'd');
    CString longName = L"c:\\" + part + L"\\" + part + L"\\" + part + L"\\" + part + L"\\" + part + L".txt";
    ASSERT_GT(longName.size(), 300u);
    CString n = longName;
    MakeVLFN(n);
    EXPECT_EQ(S(n), L"\\\\?\\" + S(longName));
    MakeVLFN(n);  // a prefixed name stays
    EXPECT_EQ(S(n), L"\\\\?\\" + S(longName));
    EXPECT_EQ(S(WithoutVLFN(n)), S(longName));

    CString unc250 = L"\\\\srv\\share\\" + CString(250 - 12, L'u');
    ASSERT_EQ(unc250.size(), 250u);
    CString u = unc250;
    MakeVLFN(u);
    EXPECT_EQ(S(u), S(unc250));
    CString unc300 = L"\\\\srv\\share\\" + CString(300, L'u');
    u = unc300;
    MakeVLFN(u);
    EXPECT_EQ(S(u), L"\\\\?\\UNC\\srv\\share\\" + S(CString(300, L'u')));
    EXPECT_EQ(S(WithoutVLFN(u)), S(unc300));

    CString list = L"c:\\" + CString(300, L'x') + L"\\*.c;*.h";
    CString l = list;
    MakeVLFN(l);
    EXPECT_EQ(S(l), S(list));

    // A full name made from a long relative name comes back prefixed.
    CString rel = part + L"\\" + part + L"\\" + part + L"\\" + part + L"\\f";
    ASSERT_TRUE(CreateFullPathNameEx(rel, 1, L"c:\\base"));
    EXPECT_EQ(S(rel), L"\\\\?\\c:\\base\\" + S(part) + L"\\" + S(part) + L"\\" + S(part) + L"\\" + S(part) + L"\\f");
}

TEST_F(Paths, Devices) {
    const wchar_t *devices[] = {L"con", L"CON:", L"nul", L"c:\\x\\NUL", L"com1", L"LPT9:", L"\\\\.\\pipe\\x", L"conout$"};
    for (const wchar_t *d : devices) {
        CString n(d);
        EXPECT_TRUE(QueryIsDevice(n)) << d;
    }
    const wchar_t *files[] = {L"console", L"com0", L"c:\\x\\null.txt", L"nul.txt", L"lpt", L""};
    for (const wchar_t *f : files) {
        CString n(f);
        EXPECT_FALSE(QueryIsDevice(n)) << f;
    }
    CString colon(L"prn:");
    EXPECT_TRUE(QueryIsDevice(colon));
    EXPECT_EQ(S(colon), L"prn");
    EXPECT_TRUE(QueryIsCON(L"con:"));
    EXPECT_TRUE(QueryIsCON(L"\\dev\\con"));
    EXPECT_FALSE(QueryIsCON(L"c:\\con"));
}

TEST_F(Paths, DriveAliases) {
    aNamedLists[LIST_ALIASES] = NAMEDLIST{};
    aNamedLists[LIST_ALIASES].pLocal = AllocListBlock(8192);
    aIniFile.LocalAliases = 1;
    auto define = [](const CString &entry) { return AddVariableToList(entry.c_str(), &aNamedLists[LIST_ALIASES].pLocal); };
    ASSERT_EQ(define(L"docs:=c:\\documents"), 0);
    EXPECT_EQ(S(Full(L"docs:x\\y")), L"c:\\documents\\x\\y");
    EXPECT_EQ(S(Full(L"docs:\\x")), L"c:\\documents\\x");
    // Sixteen chained aliases work, seventeen do not.
    for (int i = 1; i <= 16; i++) ASSERT_EQ(define(FormatStr(L"hop%d:=hop%d:", i, i + 1)), 0);
    ASSERT_EQ(define(L"hop17:=c:\\end"), 0);
    EXPECT_EQ(S(Full(L"hop2:f")), L"c:\\end\\f");
    EXPECT_EQ(S(Full(L"hop1:f")), L"<fail>");
    FreeListBlock(aNamedLists[LIST_ALIASES].pLocal);
    aNamedLists[LIST_ALIASES] = NAMEDLIST{};
}
