// File search: FindFiles over a tree made for each test (include lists,
// sets tried literally first, the attribute mask, sorted delivery, list
// files, wildcard directories, regular expressions, exclusions, the loop
// guard), the sort keys, and the pieces of DIR that print numbers,
// attributes and colours.
#include <gtest/gtest.h>
#include <functional>
#include "base/options.h"
#include "files/dir.h"
#include "files/fileinfo.h"
#include "files/files.h"
#include "files/search.h"
#include "scoped_state.h"

namespace {

std::wstring S(const CString &s) { return std::wstring(s); }

// A fresh directory under the temporary directory, removed with all it
// holds when the test ends.
class Tree : public ::testing::Test {
protected:
    void SetUp() override {
        CString temp(MAX_PATH + 1, L'\0');
        temp.resize(GetTempPathW(MAX_PATH + 1, temp.data()));
        root = temp + L"bdx_search_" + std::to_wstring(GetCurrentProcessId()) + L"\\";
        RemoveTree(root);
        CreateDirectoryW(root.c_str(), nullptr);
    }
    void TearDown() override { RemoveTree(root); }

    void File(const CString &name, const char *text = "x", DWORD attributes = 0) {
        CString full = root + name;
        for (size_t at = full.find(L'\\', root.size()); at != CString::npos; at = full.find(L'\\', at + 1))
            CreateDirectoryW(full.Left(at).c_str(), nullptr);
        HANDLE h = CreateFileW(full.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
        DWORD written;
        WriteFile(h, text, (DWORD)strlen(text), &written, nullptr);
        CloseHandle(h);
        if (attributes) SetFileAttributesW(full.c_str(), attributes);
    }
    void Dir(const CString &name, DWORD attributes = 0) {
        CreateDirectoryW((root + name).c_str(), nullptr);
        if (attributes) SetFileAttributesW((root + name).c_str(), attributes);
    }

    // The names FindFiles gives for a pattern under root, in order.
    std::vector<std::wstring> Names(const CString &pattern, unsigned long flags, FILESEARCH *fs = nullptr,
                                    bool full = false) {
        FILESEARCH own;
        if (!fs) fs = &own;
        std::vector<std::wstring> names;
        CString path = root + pattern, fullName;
        for (int which = FIND_FIRST; FindFiles(which, path, flags, fs, full ? &fullName : nullptr);
             which = FIND_NEXT)
            names.push_back(full ? S(fullName.Mid(root.size())) : S(fs->sName));
        return names;
    }
    static std::vector<std::wstring> Sorted(std::vector<std::wstring> v) {
        std::sort(v.begin(), v.end());
        return v;
    }

    static void RemoveTree(const CString &dir) {
        WIN32_FIND_DATAW data;
        HANDLE h = FindFirstFileW((dir + L"*").c_str(), &data);
        if (h != INVALID_HANDLE_VALUE) {
            do {
                CString name = data.cFileName;
                if (name == L"." || name == L"..") continue;
                CString full = dir + name;
                SetFileAttributesW(full.c_str(), FILE_ATTRIBUTE_NORMAL);
                if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) RemoveTree(full + L"\\");
                else DeleteFileW(full.c_str());
            } while (FindNextFileW(h, &data));
            FindClose(h);
        }
        RemoveDirectoryW(dir.c_str());
    }

    ScopedOptions options;
    ScopedThreadState thread;
    CString root;
};

using V = std::vector<std::wstring>;
constexpr unsigned long kQuiet = FIND_NO_ERRORS | FILE_ATTRIBUTE_DIRECTORY;

}  // namespace

TEST_F(Tree, IncludeListsDeliverEachNameOnce) {
    File(L"a.c");
    File(L"b.h");
    File(L"ab.txt");
    File(L"d\\x.c");
    File(L"d\\y.h");
    EXPECT_EQ(Names(L"*.c;*.h", kQuiet), (V{L"a.c", L"b.h"}));
    // a.c came with the first piece; "a*" brings only what is new.
    EXPECT_EQ(Names(L"*.c;a*", kQuiet), (V{L"a.c", L"ab.txt"}));
    // The path of the first piece serves the others.
    EXPECT_EQ(Names(L"d\\*.c;*.h", kQuiet), (V{L"x.c", L"y.h"}));
    // In one pass (the caller sorts) the set is the same.
    EXPECT_EQ(Sorted(Names(L"*.c;a*", kQuiet | FIND_ANY_ORDER)), (V{L"a.c", L"ab.txt"}));
    // Include lists turned off: the ";" is part of the name.
    aIniFile.ParseFlags |= PF_NO_INCLUDE_LISTS;
    EXPECT_EQ(Names(L"*.c;*.h", kQuiet), V{});
}

TEST_F(Tree, SetsAreTriedLiterallyFirst) {
    File(L"a[1].txt");
    File(L"a1.txt");
    File(L"b1.txt");
    EXPECT_EQ(Names(L"a[1].txt", kQuiet), V{L"a[1].txt"});
    EXPECT_EQ(Sorted(Names(L"[ab]1.txt", kQuiet)), (V{L"a1.txt", L"b1.txt"}));
    EXPECT_EQ(Names(L"[!a]1.txt", kQuiet), V{L"b1.txt"});
    // An unbalanced set no file has is refused; one a file has is found.
    EXPECT_NE(CheckSearchPattern(root + L"x[ab", true), 0);
    File(L"y[ab");
    EXPECT_EQ(CheckSearchPattern(root + L"y[ab", true), 0);
    EXPECT_NE(CheckSearchPattern(L"::(open", true), 0);
    EXPECT_EQ(CheckSearchPattern(L"::^a.*", true), 0);
}

TEST_F(Tree, AttributeMaskAndSelection) {
    File(L"plain.txt");
    File(L"hidden.txt", "x", FILE_ATTRIBUTE_HIDDEN);
    File(L"ro.txt", "x", FILE_ATTRIBUTE_READONLY);
    Dir(L"sub");
    Dir(L"secret", FILE_ATTRIBUTE_HIDDEN);
    // Without the hidden bit in the mask, hidden entries stay invisible.
    EXPECT_EQ(Sorted(Names(L"*", kQuiet | FIND_NO_DOT_NAMES)), (V{L"plain.txt", L"ro.txt", L"sub"}));
    EXPECT_EQ(Sorted(Names(L"*.txt", FIND_NO_ERRORS | FIND_ALL_ATTRIBUTES)),
              (V{L"hidden.txt", L"plain.txt", L"ro.txt"}));
    EXPECT_EQ(Sorted(Names(L"*", kQuiet | FIND_ALL_ATTRIBUTES | FIND_ONLY_DIRS)), (V{L"secret", L"sub"}));
    EXPECT_EQ(Sorted(Names(L"*", kQuiet | FIND_NO_DIRS)), (V{L"plain.txt", L"ro.txt"}));
    // /A: letters: required, forbidden ("-") and any-of ("+").
    struct {
        const wchar_t *letters;
        V names;
    } rows[] = {
        {L"r", {L"ro.txt"}},
        {L"-d-h", {L"plain.txt", L"ro.txt"}},
        {L"+h+r", {L"hidden.txt", L"ro.txt", L"secret"}},
        {L"+hr", {}},  // any of H, and R required: nothing has both
        {L":dh", {L"secret"}},
        {L"", {L"hidden.txt", L"plain.txt", L"ro.txt", L"secret", L"sub"}},
    };
    for (auto &row : rows) {
        FILESEARCH fs;
        GetSearchAttributes(row.letters, &fs);
        EXPECT_EQ(Sorted(Names(L"*", fs.fSearchFlags | FIND_NO_ERRORS | FIND_NO_DOT_NAMES, &fs)), row.names)
            << S(row.letters);
    }
}

TEST_F(Tree, SortedDeliveryFollowsTheKeys) {
    File(L"f10.txt", "1234567890");
    File(L"f2.txt", "12");
    File(L"f1.log", "1234");
    Dir(L"zz");
    struct {
        const wchar_t *keys;
        V names;
    } rows[] = {
        {L"n", {L"f1.log", L"f2.txt", L"f10.txt", L"zz"}},
        {L"gn", {L"zz", L"f1.log", L"f2.txt", L"f10.txt"}},
        {L"-n", {L"zz", L"f10.txt", L"f2.txt", L"f1.log"}},
        {L"an", {L"f1.log", L"f10.txt", L"f2.txt", L"zz"}},
        {L"s", {L"zz", L"f2.txt", L"f1.log", L"f10.txt"}},
        {L"-s", {L"f10.txt", L"f1.log", L"f2.txt", L"zz"}},
        {L"e", {L"zz", L"f1.log", L"f2.txt", L"f10.txt"}},
        {L"-gn", {L"f1.log", L"f2.txt", L"f10.txt", L"zz"}},
        {L"nr", {L"zz", L"f10.txt", L"f2.txt", L"f1.log"}},
    };
    for (auto &row : rows) {
        FILESEARCH fs;
        fs.sSortKeys = row.keys;
        EXPECT_EQ(Names(L"*", kQuiet | FIND_SORTED | FIND_NO_DOT_NAMES, &fs), row.names) << S(row.keys);
    }
    // Full names of sorted entries carry the pattern's path.
    FILESEARCH fs;
    fs.sSortKeys = L"n";
    EXPECT_EQ(Names(L"f*.txt", kQuiet | FIND_SORTED, &fs, true), (V{L"f2.txt", L"f10.txt"}));
}

TEST_F(Tree, ListFilesAndPlainNames) {
    File(L"one.txt");
    File(L"two.txt");
    File(L"list.lst", "one.txt\r\n\"two.txt\"\r\nmissing.txt\r\n");
    // With a full name asked for, the lines are the answer, as they stand.
    CString saved(MAX_PATH, L'\0');
    saved.resize(GetCurrentDirectoryW(MAX_PATH, saved.data()));
    SetCurrentDirectoryW(root.c_str());
    FILESEARCH fs;
    std::vector<std::wstring> found;
    CString line;
    for (int which = FIND_FIRST; FindFiles(which, L"@list.lst", kQuiet, &fs, &line); which = FIND_NEXT)
        found.push_back(S(line));
    EXPECT_EQ(found, (V{L"one.txt", L"two.txt", L"missing.txt"}));
    // Without it each line is searched.
    found.clear();
    for (int which = FIND_FIRST; FindFiles(which, L"@list.lst", kQuiet, &fs, nullptr); which = FIND_NEXT)
        found.push_back(S(fs.sName));
    EXPECT_EQ(found, (V{L"one.txt", L"two.txt"}));
    // A file really named "@list.lst" is that file, not a list.
    File(L"@list.lst", "x");
    EXPECT_EQ(Names(L"@list.lst", kQuiet), V{L"@list.lst"});
    SetCurrentDirectoryW(saved.c_str());
    // FIND_NEXT after a plain name finds nothing more.
    FILESEARCH plain;
    CString name = root + L"one.txt";
    EXPECT_TRUE(FindFiles(FIND_FIRST, name, kQuiet, &plain, nullptr));
    EXPECT_FALSE(FindFiles(FIND_NEXT, name, kQuiet, &plain, nullptr));
    // A stream the file does not have finds nothing.
    EXPECT_EQ(Names(L"one.txt:nostream", kQuiet), V{});
    // A name holding a control character finds the file with "?" there.
    EXPECT_EQ(Names(L"one\x01txt", kQuiet), V{L"one.txt"});
}

TEST_F(Tree, ListFileLinesInEachEncoding) {
    File(L"utf8.lst", "\xEF\xBB\xBF" "caf\xC3\xA9\r\nb\r\n");
    File(L"plain.lst", "x\ny\n\nz");
    HANDLE h = CreateFileW((root + L"wide.lst").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    const wchar_t wide[] = L"\xFEFF\x20AC one\r\ntwo\r\n";
    DWORD written;
    WriteFile(h, wide, sizeof(wide) - sizeof(wchar_t), &written, nullptr);
    CloseHandle(h);
    auto lines = [&](const wchar_t *name) {
        V out;
        long offset = 0;
        CString line;
        while (GetFileLine((root + name).c_str(), &offset, line) == 0) out.push_back(S(line));
        return out;
    };
    EXPECT_EQ(lines(L"utf8.lst"), (V{L"caf\xE9", L"b"}));
    EXPECT_EQ(lines(L"plain.lst"), (V{L"x", L"y", L"", L"z"}));
    EXPECT_EQ(lines(L"wide.lst"), (V{L"\x20AC one", L"two"}));
    long offset = 0;
    CString line;
    EXPECT_EQ(GetFileLine((root + L"none.lst").c_str(), &offset, line), ERROR_FILE_NOT_FOUND);
}

TEST_F(Tree, WildcardDirectoriesAndRegularExpressions) {
    File(L"a\\x.txt");
    File(L"b\\x.txt");
    File(L"b\\c\\x.txt");
    File(L"b\\c\\y.log");
    std::vector<CString> dirs;
    ExpandWildcardDirectories(root + L"*\\", 0, &dirs);
    ASSERT_EQ(dirs.size(), 2u);
    EXPECT_EQ(S(dirs[0].Mid(root.size())), L"a");
    EXPECT_EQ(S(dirs[1].Mid(root.size())), L"b");
    ExpandWildcardDirectories(root + L"**\\", 0, &dirs);
    EXPECT_EQ(dirs.size(), 4u);  // the root, a, b and b\c
    ExpandWildcardDirectories(root + L"b\\", 0, &dirs);
    EXPECT_TRUE(dirs.empty());
    // With a full name asked for, FindFiles walks the directories itself.
    EXPECT_EQ(Names(L"*\\*\\x.txt", kQuiet, nullptr, true), V{L"b\\c\\x.txt"});
    EXPECT_EQ(Names(L"**\\x.txt", kQuiet, nullptr, true), (V{L"a\\x.txt", L"b\\x.txt", L"b\\c\\x.txt"}));
    EXPECT_EQ(Sorted(Names(L"b\\c\\::^[xy]\\.(txt|log)$", kQuiet)), (V{L"x.txt", L"y.log"}));
}

TEST_F(Tree, ExclusionsAndRanges) {
    File(L"keep.txt", "12345");
    File(L"drop.bak", "1");
    File(L"big.txt", "123456789012");
    FILESEARCH fs;
    fs.aRanges.sExclusions = L"*.bak";
    EXPECT_EQ(Sorted(Names(L"*", kQuiet | FIND_NO_DOT_NAMES | FIND_USE_EXCLUSIONS, &fs)), (V{L"big.txt", L"keep.txt"}));
    FILESEARCH sized;
    sized.aRanges.nSizeLow = 2;
    sized.aRanges.nSizeHigh = 10;
    EXPECT_EQ(Names(L"*", kQuiet | FIND_NO_DIRS | FIND_USE_RANGES, &sized), V{L"keep.txt"});
}

TEST_F(Tree, TheLoopGuardRefusesADirectoryAbove) {
    File(L"a\\b\\x.txt");
    DESCENT d;
    EXPECT_TRUE(EnterDirectory(d, root, false));
    EXPECT_TRUE(EnterDirectory(d, root + L"a\\", false));
    // The same directory by another name (as a link would lead) is one of
    // those above; a plain directory is not asked.
    EXPECT_FALSE(EnterDirectory(d, root + L"a\\b\\..\\..\\", true));
    EXPECT_TRUE(EnterDirectory(d, root + L"a\\b\\..\\..\\", false));
    LeaveDirectory(d);
    EXPECT_TRUE(EnterDirectory(d, root + L"a\\b", true));
    LeaveDirectory(d);
    LeaveDirectory(d);
    LeaveDirectory(d);
    EXPECT_EQ(d.nLevel, 0);
    EXPECT_TRUE(d.aChain.empty());
    std::vector<FILEENTRY> subs;
    EXPECT_EQ(ListSubdirectories(root, L"", false, &subs), 0);
    ASSERT_EQ(subs.size(), 1u);
    EXPECT_EQ(S(subs[0].sName), L"a");
    EXPECT_NE(ListSubdirectories(root + L"none", L"", false, &subs), 0);
}

TEST_F(Tree, ExecutableKinds) {
    // A DOS stub pointing at a PE header of a 64-bit console program.
    std::string image(512, '\0');
    image[0] = 'M', image[1] = 'Z', image[0x3C] = (char)0x80;
    image.replace(0x80, 4, std::string("PE\0\0", 4));
    image[0x84] = (char)0x64, image[0x85] = (char)0x86;         // machine x64
    image[0x98] = 0x0B, image[0x99] = 0x02;                     // PE32+
    image[0x98 + 68] = IMAGE_SUBSYSTEM_WINDOWS_CUI;
    HANDLE h = CreateFileW((root + L"prog.exe").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    DWORD written;
    WriteFile(h, image.data(), (DWORD)image.size(), &written, nullptr);
    CloseHandle(h);
    EXPECT_EQ(GetExeType((root + L"prog.exe").c_str()), EXE_CONSOLE64);
    image[0x98 + 68] = IMAGE_SUBSYSTEM_WINDOWS_GUI;
    image[0x98] = 0x0B, image[0x99] = 0x01, image[0x84] = 0x4C, image[0x85] = 0x01;  // i386, PE32
    h = CreateFileW((root + L"gui.exe").c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    WriteFile(h, image.data(), (DWORD)image.size(), &written, nullptr);
    CloseHandle(h);
    EXPECT_EQ(GetExeType((root + L"gui.exe").c_str()), EXE_GUI);
    File(L"dos.com", "MZ");
    EXPECT_EQ(GetExeType((root + L"dos.com").c_str()), 0);  // too short for a header
    File(L"text.txt", "hello");
    EXPECT_EQ(GetExeType((root + L"text.txt").c_str()), 0);
    CString digest;
    EXPECT_EQ(_HashFile((root + L"text.txt").c_str(), HASH_CRC32, &digest), 0);
    EXPECT_EQ(S(digest), L"3610A686");
    EXPECT_EQ(_HashFile((root + L"text.txt").c_str(), HASH_CRC32_DECIMAL, &digest), 0);
    EXPECT_EQ(S(digest), L" 907060870");
}

TEST(DirPieces, ShortSizesAndAttributeTexts) {
    struct {
        unsigned long long n;
        const wchar_t *text;
    } sizes[] = {
        {0, L"   0K"},        {1, L"   1K"},          {1024, L"   1K"},       {1025, L"   2K"},
        {1048575, L"1024K"},  {1572864, L" 1.5M"},    {1048576, L" 1.0M"},    {10485759, L" 9.9M"},
        {10485760, L"  10M"}, {1073741824, L"   1G"}, {5497558138880ULL, L"   5T"},
    };
    for (auto &row : sizes) EXPECT_EQ(S(ShortSize(row.n)), row.text) << row.n;
    EXPECT_EQ(S(AttributeText(0x21, false)), L"R__A_");
    EXPECT_EQ(S(AttributeText(0x16, false)), L"_HS_D");
    EXPECT_EQ(S(AttributeText(0x4A20, true)), L"___A_E___FC______");
}

TEST(DirPieces, ColorDirRules) {
    ScopedOptions options;
    DIRSTATE st;
    st.sColorText = L"dirs .and. hidden: bright red on black; txt log: green on black; "
                    L".not. archive .and. .not. dirs: 14 ; EXETYPE_WIN64CUI: blue on black";
    auto colour = [&](const wchar_t *name, unsigned attributes) {
        DIRENTRY e;
        e.sName = name;
        e.fAttributes = attributes;
        return ColorOfEntry(st, e, L"c:\\none\\");
    };
    EXPECT_EQ(colour(L"secret", FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_HIDDEN), 0x0C);
    EXPECT_EQ(colour(L"plain", FILE_ATTRIBUTE_DIRECTORY), -1);
    EXPECT_EQ(colour(L"a.TXT", FILE_ATTRIBUTE_ARCHIVE), 0x02);
    EXPECT_EQ(colour(L"a.log", FILE_ATTRIBUTE_ARCHIVE), 0x02);
    EXPECT_EQ(colour(L"a.dat", FILE_ATTRIBUTE_ARCHIVE), -1);
    EXPECT_EQ(colour(L"a.dat", 0), 14);
    // A rule text that changes is read again.
    st.sColorText = L"*: white on blue";
    EXPECT_EQ(colour(L"a.dat", FILE_ATTRIBUTE_ARCHIVE), 0x17);
}

TEST(DirPieces, SortKeysCompare) {
    auto item = [](const wchar_t *name, unsigned attributes, unsigned long long time, long long size) {
        return SORTITEM{name, attributes, time, 0, 0, size, 0, nullptr, nullptr};
    };
    SORTITEM dir = item(L"b", FILE_ATTRIBUTE_DIRECTORY, 5, 0), a2 = item(L"a2.txt", 0, 9, 30),
             a10 = item(L"a10.log", 0, 1, 20);
    struct {
        const wchar_t *keys;
        const SORTITEM *first, *second;  // first sorts before second
    } rows[] = {
        {L"", &dir, &a2},    {L"", &a2, &a10},    {L"a", &a10, &a2},   {L"d", &a10, &dir},
        {L"-d", &a2, &dir},  {L"s", &dir, &a10},  {L"-s", &a2, &a10},  {L"e", &a10, &a2},
        {L"r", &a10, &a2},   {L"-g", &a2, &dir},  {L"dr", &a2, &a10},
    };
    for (auto &row : rows) {
        SORTPLAN plan = MakeSortPlan(row.keys);
        EXPECT_LT(CompareSortItems(plan, *row.first, *row.second), 0) << S(row.keys);
        EXPECT_GT(CompareSortItems(plan, *row.second, *row.first), 0) << S(row.keys);
    }
    EXPECT_EQ(CompareSortItems(MakeSortPlan(L"u"), a2, a10), 0);
}
