// The ini engine: the value rules of one line, sections and their skip
// masks, includes, file encodings, the error report, defaults, reading
// options back, the shared image of the block, and the SETDOS switches.
#include <gtest/gtest.h>
#include <functional>
#include <string>
#include <vector>
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"
#include "core/cmdtable.h"
#include "scoped_state.h"

namespace {

// A directory of its own for the files of one test.
class TempDir {
public:
    TempDir() {
        wchar_t base[MAX_PATH + 1];
        GetTempPathW(MAX_PATH + 1, base);
        static int counter = 0;
        sPath = CString(base) + L"bdx_ini_" + std::to_wstring(GetCurrentProcessId()) + L"_" + std::to_wstring(++counter);
        CreateDirectoryW(sPath.c_str(), nullptr);
    }
    ~TempDir() {
        for (const CString &f : aFiles) DeleteFileW(f.c_str());
        RemoveDirectoryW(sPath.c_str());
    }
    CString Write(const wchar_t *name, const std::string &bytes) {
        CString path = sPath + L"\\" + name;
        HANDLE h = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD done = 0;
        WriteFile(h, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
        CloseHandle(h);
        aFiles.push_back(path);
        return path;
    }
    CString sPath;
    std::vector<CString> aFiles;
};

std::string Utf16WithBom(const std::wstring &text) {
    std::string bytes("\xFF\xFE", 2);
    for (wchar_t c : text) bytes += std::string{(char)(c & 0xFF), (char)(c >> 8)};
    return bytes;
}

class Ini : public ::testing::Test {
protected:
    ScopedOptions options_;
    ScopedCommandTable table_;
    INIFILE block{};
    void SetUp() override {
        IniClear(&block);
        block.PauseOnError = 0;
        aIniFile.PauseOnError = 0;
    }
    void TearDown() override { FreeIniStrings(&block); }
    // IniLine on the test's block; the error text in *error.
    int Line(const wchar_t *text, CString *error = nullptr, int fromOption = 0) {
        CString line = text;
        const wchar_t *message = nullptr;
        int rc = IniLine(line, &block, 0, fromOption, &message);
        if (error) *error = message ? message : L"";
        return rc;
    }
    CString Str(wchar_t *value) { return CString(value); }
};

TEST_F(Ini, NumbersAreDecimalAndInRange) {
    CString error;
    EXPECT_EQ(Line(L"History=5000"), 0);
    EXPECT_EQ(block.History, 5000u);
    EXPECT_EQ(Line(L"  History 6000 ; six thousand"), 0);
    EXPECT_EQ(block.History, 6000u);
    EXPECT_EQ(Line(L"History=0x100", &error), 1);
    EXPECT_EQ(error, L"Invalid numeric value for");
    EXPECT_EQ(Line(L"History=12abc"), 1);
    EXPECT_EQ(Line(L"History=7000;"), 0);
    EXPECT_EQ(block.History, 7000u);
    EXPECT_EQ(Line(L"AliasLocalSize=100"), 1);
    EXPECT_EQ(block.AliasLocalSize, 32768);
    EXPECT_EQ(Line(L"CursorIns=-1"), 0);
    EXPECT_EQ(block.CursorIns, -1);
    EXPECT_EQ(Line(L"BeepFreq=-5"), 1);
    EXPECT_EQ(block.BeepFreq, 440u);
    EXPECT_EQ(Line(L"CharWidth=-3"), 0);  // a row without bounds
    EXPECT_EQ(block.CharWidth, -3);
    EXPECT_EQ(Line(L"History="), 0);  // an empty value changes nothing
    EXPECT_EQ(block.History, 7000u);
}

TEST_F(Ini, ChoicesAndCharacters) {
    CString error;
    EXPECT_EQ(Line(L"AmPm=yes"), 0);
    EXPECT_EQ(block.AmPm, 1);
    EXPECT_EQ(Line(L"AmPm=Auto;comment"), 0);
    EXPECT_EQ(block.AmPm, 0);
    EXPECT_EQ(Line(L"AmPm=Maybe", &error), 1);
    EXPECT_EQ(error, L"Invalid choice value for");
    EXPECT_EQ(block.AmPm, 0);
    EXPECT_EQ(Line(L"CommandSep=^"), 0);
    EXPECT_EQ(block.CommandSep, L'^');
    EXPECT_EQ(Line(L"EscapeChar=\";\""), 0);
    EXPECT_EQ(block.EscapeChar, L';');
    EXPECT_EQ(Line(L"CommandSep=Ctrl-A"), 0);
    EXPECT_EQ(block.CommandSep, 1);
    EXPECT_EQ(Line(L"CommandSep=xy", &error), 1);
    EXPECT_EQ(error, L"Invalid character value for");
    EXPECT_EQ(block.CommandSep, 1);
    EXPECT_EQ(Line(L"QuakeHotkey=Alt-Q"), 0);
    EXPECT_EQ(KeyValueName(block.QuakeHotkey), L"Alt-Q");
    EXPECT_EQ(Line(L"TrayHotkey=Shift-F11"), 0);
    EXPECT_EQ(KeyValueName(block.TrayHotkey), L"Shift-F11");
}

TEST_F(Ini, KeyNames) {
    EXPECT_EQ(KeyNameValue(L"x"), L'x');
    EXPECT_EQ(KeyNameValue(L"ctrl-z"), 26);
    EXPECT_EQ(KeyNameValue(L"Esc"), 27);
    EXPECT_EQ(KeyNameValue(L"F1"), KeyNameValue(L"f1"));
    EXPECT_NE(KeyNameValue(L"F1"), KeyNameValue(L"Alt-F1"));
    EXPECT_EQ(KeyNameValue(L"F13"), -1);
    EXPECT_EQ(KeyNameValue(L"Ctrl-Alt-X"), -1);
    EXPECT_EQ(KeyNameValue(L"Alt-"), -1);
    for (const wchar_t *name : {L"F1", L"F10", L"F12", L"Shift-F3", L"Ctrl-F12", L"Alt-F10", L"Alt-M", L"Alt-1",
                                L"Ctrl-B", L"Enter", L"Tab", L"Space"})
        EXPECT_EQ(KeyValueName(KeyNameValue(name)), name);
}

TEST_F(Ini, TextValuesEndAtATab) {
    EXPECT_EQ(Line(L"Editor=my editor.exe /x ; not a comment"), 0);
    EXPECT_EQ(Str(block.Editor), L"my editor.exe /x ; not a comment");
    EXPECT_EQ(Line(L"Editor=notepad\t; a comment"), 0);
    EXPECT_EQ(Str(block.Editor), L"notepad");
    EXPECT_EQ(Line(L"Editor=\"a b; c\"\t;comment"), 0);
    EXPECT_EQ(Str(block.Editor), L"a b; c");
    EXPECT_EQ(Line(L"Editor=\"x\" y \"z\" tail"), 0);  // to the last quote
    EXPECT_EQ(Str(block.Editor), L"\"x\" y \"z\"");
    EXPECT_EQ(Line(L"Editor="), 0);
    EXPECT_EQ(Str(block.Editor), L"\"x\" y \"z\"");
    EXPECT_EQ(Line(L"Editor=", nullptr, 1), 0);  // OPTION // clears a string
    EXPECT_EQ(block.Editor, nullptr);
}

TEST_F(Ini, ColorsPathsAndSecrets) {
    CString error;
    EXPECT_EQ(Line(L"StdColors=bright white on blue ; comment"), 0);
    EXPECT_EQ(block.StdColors, 0x1Fu);
    EXPECT_EQ(Line(L"StdColors=Yellow", &error), 1);
    EXPECT_EQ(error, L"Invalid color for");
    EXPECT_EQ(Line(L"StdColors=red on red"), 1);
    EXPECT_EQ(block.StdColors, 0x1Fu);

    TempDir dir;
    EXPECT_EQ(Line((L"TreePath=\"" + dir.sPath + L"\"").c_str()), 0);
    EXPECT_EQ(Str(block.TreePath), dir.sPath);
    EXPECT_EQ(Line((L"TreePath=" + dir.sPath + L"\\none").c_str(), &error), 1);
    EXPECT_EQ(error, L"Invalid path or file name for");
    EXPECT_EQ(Str(block.TreePath), dir.sPath);
    EXPECT_EQ(Line(L"HistFile=Q:\\no\\such\\dir\\h.txt"), 0);  // not tested

    CString secret = L"ProxyPassword=" + EncryptString(L"s3cr;et word");
    EXPECT_EQ(Line(secret.c_str()), 0);
    EXPECT_EQ(Str(block.ProxyPassword), L"s3cr;et word");
    EXPECT_EQ(Line(L"MailPassword=plain"), 0);
    EXPECT_EQ(Str(block.MailPassword), L"plain");
}

TEST_F(Ini, SecretCipher) {
    for (const wchar_t *text : {L"", L"a", L"pass word; with \x00e9 and \x4e2d"}) {
        CString sealed = EncryptString(text);
        EXPECT_EQ(sealed.At(0), INI_SECRET_MARK);
        EXPECT_EQ(sealed.find_first_not_of(L"0123456789ABCDEF", 1), CString::npos);
        EXPECT_EQ(DecryptString(sealed.c_str()), text);
    }
    EXPECT_NE(EncryptString(L"aa").Mid(1, 4), EncryptString(L"aa").Mid(5, 4));
    EXPECT_EQ(DecryptString(L"plain"), L"plain");
    EXPECT_EQ(DecryptString(L"\x0010zz"), L"zz");
}

TEST_F(Ini, NamesSectionsAndExtras) {
    CString error;
    EXPECT_EQ(Line(L"NoSuchThing=1", &error), 1);
    EXPECT_EQ(error, L"Invalid item name");
    EXPECT_EQ(Line(L"[Primary]"), -0x40);
    EXPECT_EQ(Line(L"[ secondary ]"), -0x20);
    EXPECT_EQ(Line(L"[9BX]"), -0x80);
    EXPECT_EQ(Line(L"[Keys]"), -0x10);
    EXPECT_EQ(Line(L"[Disabled]"), -0x100);
    CString line = L"History=4500";
    const wchar_t *message = nullptr;
    EXPECT_EQ(IniLine(line, &block, 1, 0, &message), 0);  // skipped
    EXPECT_EQ(block.History, 20000u);
    line = L"Include = \"other file.ini\"\t; comment";
    EXPECT_EQ(IniLine(line, &block, 0, 0, &message), INI_INCLUDE);
    EXPECT_EQ(line, L"other file.ini");

    AddExtraOption(L"PluginSetting", L"");
    EXPECT_EQ(Line(L"pluginsetting = \"x;y\""), 0);
    EXPECT_EQ(FindExtraOption(L"PLUGINSETTING")->sValue, L"x;y");
    EXPECT_EQ(Line(L"PluginSetting=a;b"), 0);
    EXPECT_EQ(FindExtraOption(L"PluginSetting")->sValue, L"a");
    CString value;
    EXPECT_EQ(GetOptionValue(L"PluginSetting", value), 0);
    EXPECT_EQ(value, L"a");
    aExtraOptions.clear();
}

TEST_F(Ini, SectionsAndSkipMasks) {
    TempDir dir;
    CString file = dir.Write(L"sections.ini",
                             "History=5000\r\n[Primary]\r\nAmPm=Yes\r\n[Secondary]\r\nAmPm=Auto\r\nHistMin=7\r\n"
                             "[Disabled]\r\ndir=\r\nNot an option\r\n[9BX]\r\nBeepFreq=880\r\n");
    CString errors = Captured([&] { EXPECT_EQ(IniParse(file.c_str(), &block, INI_SECTION_SECONDARY), 0); });
    EXPECT_EQ(errors, L"");
    EXPECT_EQ(block.History, 5000u);
    EXPECT_EQ(block.AmPm, 1);
    EXPECT_EQ(block.HistMin, 0u);
    EXPECT_EQ(block.BeepFreq, 880u);
    EXPECT_EQ(block.nSectionMask, 0x40u | 0x20u | 0x100u | 0x80u);

    INIFILE nested{};
    IniClear(&nested);
    EXPECT_EQ(IniParse(file.c_str(), &nested, INI_SECTION_PRIMARY), 0);
    EXPECT_EQ(nested.AmPm, 0);
    EXPECT_EQ(nested.HistMin, 7u);
    FreeIniStrings(&nested);
    EXPECT_EQ(IniParse((dir.sPath + L"\\missing.ini").c_str(), &block, 0), ERROR_FILE_NOT_FOUND);
}

TEST_F(Ini, BadLinesAreReportedAndReadingGoesOn) {
    TempDir dir;
    CString file = dir.Write(L"bad.ini", "; comment\r\nHistory=0x100\r\n\r\nFoo=1\r\nAmPm=Yes\r\n");
    CString errors = Captured([&] { IniParse(file.c_str(), &block, 0); });
    EXPECT_EQ(errors, file + L" [2]  Invalid numeric value for \"History=0x100\"\r\n" + file +
                          L" [4]  Invalid item name \"Foo=1\"\r\n");
    EXPECT_EQ(block.History, 20000u);
    EXPECT_EQ(block.AmPm, 1);

    CString quiet = dir.Write(L"quiet.ini", "NoINIErrors=Yes\r\nHistory=0x100\r\n");
    EXPECT_EQ(Captured([&] { IniParse(quiet.c_str(), &block, 0); }), L"");
}

TEST_F(Ini, Includes) {
    TempDir dir;
    dir.Write(L"level4.ini", "HistMin=4\r\n");
    dir.Write(L"level3.ini", "HistMin=3\r\nInclude=level4.ini\r\n");
    dir.Write(L"level2.ini", "HistMin=2\r\nInclude=level3.ini\r\n");
    dir.Write(L"level1.ini", "BeepLength=9\r\nInclude=level2.ini\r\n");
    CString main = dir.Write(L"main.ini", "Include=nothere.ini\r\nInclude=level1.ini\r\nAmPm=Yes\r\n");
    CString errors = Captured([&] { EXPECT_EQ(IniParse(main.c_str(), &block, 0), 0); });
    EXPECT_EQ(errors, main + L" [1]  Include file not found \"Include=nothere.ini\"\r\n" + dir.sPath +
                          L"\\level4.ini [1]  Include files nested too deeply\r\n");
    EXPECT_EQ(block.BeepLength, 9u);
    EXPECT_EQ(block.HistMin, 3u);  // the fourth level was not read
    EXPECT_EQ(block.AmPm, 1);
}

TEST_F(Ini, FileEncodings) {
    TempDir dir;
    CString wide = dir.Write(L"wide.ini", Utf16WithBom(L"Editor=caf\x00e9 \x4e2d\r\nHistory=6000\r\n"));
    EXPECT_EQ(IniParse(wide.c_str(), &block, 0), 0);
    EXPECT_EQ(Str(block.Editor), L"caf\x00e9 \x4e2d");
    EXPECT_EQ(block.History, 6000u);

    CString utf8 = dir.Write(L"utf8.ini", "\xEF\xBB\xBF" "Editor=na\xC3\xAFve\r\nHistory=7000\r\n");
    EXPECT_EQ(IniParse(utf8.c_str(), &block, 0), 0);
    EXPECT_EQ(Str(block.Editor), L"na\x00efve");
    EXPECT_EQ(block.History, 7000u);

    CString bare = dir.Write(L"bare.ini", "Editor=\xE2\x82\xAC\n");  // UTF-8 without a mark, LF only
    EXPECT_EQ(IniParse(bare.c_str(), &block, 0), 0);
    EXPECT_EQ(Str(block.Editor), L"\x20ac");

    CString ansi = dir.Write(L"ansi.ini", "Editor=caf\xE9\r\n");  // not UTF-8: the ANSI code page
    EXPECT_EQ(IniParse(ansi.c_str(), &block, 0), 0);
    EXPECT_EQ(Str(block.Editor), FromCodePage("caf\xE9", 4, CP_ACP));
}

TEST_F(Ini, ResetAndReadBack) {
    const wchar_t *error = nullptr;
    CString line = L"History=9000";
    IniLine(line, &aIniFile, 0, 0, &error);
    line = L"AmPm=Yes";
    IniLine(line, &aIniFile, 0, 0, &error);
    line = L"Editor=ed";
    IniLine(line, &aIniFile, 0, 0, &error);
    line = L"ProxyPassword=hidden";
    IniLine(line, &aIniFile, 0, 0, &error);
    aIniFile.QuakeHotkey = 1;

    CString value;
    EXPECT_EQ(GetOptionValue(L"history", value), 0);
    EXPECT_EQ(value, L"9000");
    EXPECT_EQ(GetOptionValue(L"AmPm", value), 0);
    EXPECT_EQ(value, L"Yes");
    EXPECT_EQ(GetOptionValue(L"CursorIns", value), 0);
    EXPECT_EQ(value, L"100");
    EXPECT_EQ(GetOptionValue(L"EscapeChar", value), 0);
    EXPECT_EQ(value, L"^");
    EXPECT_EQ(GetOptionValue(L"QuakeHotkey", value), 0);
    EXPECT_EQ(value, L"Ctrl-A");
    EXPECT_EQ(GetOptionValue(L"ProxyPassword", value), 0);
    EXPECT_EQ(value, L"");
    EXPECT_EQ(GetOptionValue(L"Include", value), 87);
    EXPECT_EQ(GetOptionValue(L"NoSuch", value), 87);
    wchar_t small[4];
    EXPECT_EQ(QueryOptionValue(L"Editor", small, 2), 0);
    EXPECT_STREQ(small, L"e");

    EXPECT_EQ(IniReset(L"history", &aIniFile, &error), 0);
    EXPECT_EQ(IniReset(L"AmPm", &aIniFile, &error), 0);
    EXPECT_EQ(IniReset(L"Editor", &aIniFile, &error), 0);
    EXPECT_EQ(aIniFile.History, 20000u);
    EXPECT_EQ(aIniFile.AmPm, 2);
    EXPECT_EQ(aIniFile.Editor, nullptr);
    EXPECT_EQ(IniReset(L"NoSuch", &aIniFile, &error), 1);
}

TEST_F(Ini, SharedImageRoundTrip) {
    const wchar_t *error = nullptr;
    for (const wchar_t *text : {L"History=9000", L"AmPm=Yes", L"Editor=ed it", L"ProxyPassword=pw", L"CommandSep=~"}) {
        CString line = text;
        IniLine(line, &block, 0, 0, &error);
    }
    block.ParseFlags = 0x21;
    block.nSectionMask = 0x20;
    std::string view(INI_SHARED_SIZE, '\x55');
    WriteIniImage(&block, view.data(), view.size());

    INIFILE copy{};
    IniClear(&copy);
    ASSERT_TRUE(ReadIniImage(view.data(), view.size(), &copy));
    EXPECT_EQ(copy.History, 9000u);
    EXPECT_EQ(copy.AmPm, 1);
    EXPECT_EQ(copy.CommandSep, L'~');
    EXPECT_EQ(Str(copy.Editor), L"ed it");
    EXPECT_EQ(Str(copy.ProxyPassword), L"pw");
    EXPECT_EQ(copy.DescriptionName, nullptr);
    EXPECT_EQ(copy.ParseFlags, 0x21u);
    EXPECT_EQ(copy.nSectionMask, 0x20u);
    FreeIniStrings(&copy);

    std::string damaged = view;
    damaged[4] ^= 1;  // the signature
    EXPECT_FALSE(ReadIniImage(damaged.data(), damaged.size(), &copy));
    EXPECT_FALSE(ReadIniImage(view.data(), 100, &copy));

    // A string that does not fit goes as null; nothing is written past the end.
    CString line = L"ColorDir=" + CString(4000, L'x');
    IniLine(line, &block, 0, 0, &error);
    std::string big(INI_SHARED_SIZE + 16, '\x55');
    WriteIniImage(&block, big.data(), INI_SHARED_SIZE);
    EXPECT_EQ(big.substr(INI_SHARED_SIZE), std::string(16, '\x55'));
    ASSERT_TRUE(ReadIniImage(big.data(), INI_SHARED_SIZE, &copy));
    EXPECT_EQ(copy.ColorDir, nullptr);
    EXPECT_EQ(Str(copy.Editor), L"ed it");
    FreeIniStrings(&copy);
}

// A shell started by another one takes the parent's block from the shared
// mapping, and then reads NextINIFile as a secondary shell.  The test runs
// this program again as the child; the child writes what it found.
TEST_F(Ini, NestedShellInheritsTheBlock) {
    CString resultFile = GetEnvVar(L"BDX_INI_CHILD_RESULT");
    if (!resultFile.empty()) {
        InitializeIniFile();
        CString found = FormatStr(L"%d %u %s %u %d", aIniFile.nSecondary > 0, aIniFile.History,
                                  aIniFile.Editor ? aIniFile.Editor : L"-", aIniFile.HistMin, aIniFile.fLoaded);
        std::string bytes = ToCodePage(found.c_str(), found.GetLength(), CP_UTF8);
        HANDLE h = CreateFileW(resultFile.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
        DWORD done = 0;
        WriteFile(h, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
        CloseHandle(h);
        return;
    }
    TempDir dir;
    CString next = dir.Write(L"next.ini", "[Primary]\r\nHistMin=1\r\n[Secondary]\r\nHistMin=9\r\n");
    CString result = dir.Write(L"result.txt", "");
    InitializeIniFile();
    EXPECT_EQ(aIniFile.nSecondary, 0);
    const wchar_t *error = nullptr;
    for (CString line : {CString(L"History=9000"), CString(L"Editor=ed it"), CString(L"NextINIFile=" + next)}) IniLine(line, &aIniFile, 0, 0, &error);
    aIniFile.fLoaded = 1;
    SaveIniData();

    wchar_t self[MAX_PATH];
    GetModuleFileNameW(nullptr, self, MAX_PATH);
    CString command = FormatStr(L"\"%s\" --gtest_brief=1 --gtest_filter=Ini.NestedShellInheritsTheBlock", self);
    SetEnvironmentVariableW(L"BDX_INI_CHILD_RESULT", result.c_str());
    STARTUPINFOW startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION child{};
    BOOL started = CreateProcessW(self, command.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &child);
    SetEnvironmentVariableW(L"BDX_INI_CHILD_RESULT", nullptr);
    ASSERT_TRUE(started);
    EXPECT_EQ(WaitForSingleObject(child.hProcess, 60000), WAIT_OBJECT_0);
    CloseHandle(child.hProcess);
    CloseHandle(child.hThread);

    HANDLE h = CreateFileW(result.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
    std::string bytes(256, '\0');
    DWORD got = 0;
    ReadFile(h, bytes.data(), (DWORD)bytes.size(), &got, nullptr);
    CloseHandle(h);
    EXPECT_EQ(bytes.substr(0, got), "1 9000 ed it 9 1");
}

// OPTION with no argument lists every option in a form that reads back.
TEST_F(Ini, ListingReadsBack) {
    const wchar_t *error = nullptr;
    for (const wchar_t *text : {L"History=9000", L"AmPm=Yes", L"Editor=ed it", L"QuakeHotkey=F7", L"StdColors=red on white"}) {
        CString line = text;
        IniLine(line, &aIniFile, 0, 0, &error);
    }
    CString listing = Captured([] {
        CString none;
        EXPECT_EQ(Option_Command(none), 0);
    }, STD_OUTPUT_HANDLE);
    EXPECT_TRUE(listing.StartsWith(L"[9BX]\r\nAliasSize=262144\r\n"));
    EXPECT_NE(listing.find(L"\r\nProxyPassword=\r\n"), CString::npos);
    EXPECT_EQ(listing.find(L"Include"), CString::npos);

    TempDir dir;
    CString file = dir.Write(L"listing.ini", ToCodePage(listing.c_str(), listing.GetLength(), CP_UTF8));
    IniClear(&aIniFile);
    aIniFile.PauseOnError = 0;
    EXPECT_EQ(Captured([&] { EXPECT_EQ(IniParse(file.c_str(), &aIniFile, 0), 0); }), L"");
    EXPECT_EQ(aIniFile.History, 9000u);
    EXPECT_EQ(aIniFile.AmPm, 1);
    EXPECT_EQ(Str(aIniFile.Editor), L"ed it");
    EXPECT_EQ(aIniFile.QuakeHotkey, KeyNameValue(L"F7"));
    EXPECT_EQ(aIniFile.StdColors, 0x74u);
}

// SETDOS changes all of its switches or none.
TEST_F(Ini, SetdosSwitches) {
    auto setdos = [](const wchar_t *text) {
        CString args = text;
        int rc = 0;
        Captured([&] { rc = Setdos_Command(args); });
        return rc;
    };
    EXPECT_EQ(setdos(L"/E126 /P36 /X-15A"), 0);
    EXPECT_EQ(aIniFile.EscapeChar, L'~');
    EXPECT_EQ(aIniFile.ParameterChar, L'$');
    EXPECT_EQ(aIniFile.ParseFlags, 0x211u);
    EXPECT_EQ(setdos(L"/X+5 /C\" \""), 2);
    EXPECT_EQ(aIniFile.ParseFlags, 0x211u);
    EXPECT_EQ(setdos(L"/X+5"), 0);
    EXPECT_EQ(aIniFile.ParseFlags, 0x201u);
    EXPECT_EQ(setdos(L"/F2.4 /S10:50 /M1 /N1 /V0 /A0"), 0);
    EXPECT_EQ(aIniFile.EvalMin, 2u);
    EXPECT_EQ(aIniFile.EvalMax, 4u);
    EXPECT_EQ(aIniFile.CursorOver, 10);
    EXPECT_EQ(aIniFile.CursorIns, 50);
    EXPECT_EQ(aIniFile.EditMode + aIniFile.NoClobber + aIniFile.BatchEcho + aIniFile.ANSI, 2);
    EXPECT_EQ(setdos(L"/F9"), 0);  // a maximum below the minimum is raised
    EXPECT_EQ(aIniFile.EvalMax, 9u);
    EXPECT_EQ(setdos(L"/G,."), 0);
    EXPECT_EQ(QueryDecimalChar(), L',');
    EXPECT_EQ(QueryThousandsChar(), L'.');
    EXPECT_EQ(setdos(L"/G.."), 2);
    EXPECT_EQ(setdos(L"/D\"descript.txt\""), 0);
    EXPECT_EQ(Str(aIniFile.DescriptionName), L"descript.txt");
    EXPECT_EQ(setdos(L"/S200"), 2);
    EXPECT_EQ(setdos(L"/M4"), 2);
}

}  // namespace
