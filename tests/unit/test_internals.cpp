// Internal variables and command counters: the tables against their
// definition files, and values against independent system calls.
#include <gtest/gtest.h>
#include <set>
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "files/dates.h"
#include "scoped_state.h"
#include "vars/functions.h"
#include "vars/internals.h"

namespace {

// The value of a %_name, or "<null>" when it has none.
CString Var(const wchar_t *name) {
    CString text = name;
    const wchar_t *value = InternalVariable(text);
    if (!value) return L"<null>";
    EXPECT_EQ(value, text.c_str());  // the value is left in the caller's string
    return text;
}

CString Counter(const wchar_t *name) {
    CString text = name;
    return CommandCounter(text) ? text : CString(L"<null>");
}

bool IsNumber(const CString &text) {
    size_t from = text.At(0) == L'-' ? 1 : 0;
    return text.size() > from && text.find_first_not_of(L"0123456789", from) == CString::npos;
}

const wchar_t *const kDefinedNames[] = {
#define BD_INTERNAL(name, id, family) name,
#include "vars/internals.def"
#undef BD_INTERNAL
};
const wchar_t *const kCounterNames[] = {
#define BD_COUNTER(name, id, kind) name,
#include "vars/counters.def"
#undef BD_COUNTER
};

}  // namespace

TEST(InternalTables, EveryDefinedNameIsFoundAtItsIndexInAnyCase) {
    ASSERT_EQ(nInternalVariables, 223);
    for (int i = 0; i < nInternalVariables; i++) {
        EXPECT_EQ(FindInternalVariable(kDefinedNames[i]), i) << kDefinedNames[i];
        CString upper = kDefinedNames[i];
        upper.MakeUpper();
        EXPECT_EQ(FindInternalVariable(upper.c_str()), i) << kDefinedNames[i];
    }
    EXPECT_EQ(FindInternalVariable(L"cwd"), IV_cwd);
    EXPECT_EQ(FindInternalVariable(L"?"), IV_question);
    EXPECT_EQ(FindInternalVariable(L"nosuch"), -1);
    EXPECT_EQ(FindInternalVariable(L""), -1);
    EXPECT_EQ(FindInternalVariable(L"cw"), -1);
    EXPECT_EQ(FindInternalVariable(L"cwdx"), -1);
}

TEST(InternalTables, CountersAreFoundAndUnderscoreSortsBeforeLetters) {
    ASSERT_EQ(nCounterVariables, 83);
    for (int i = 0; i < nCounterVariables; i++) EXPECT_EQ(FindCommandCounter(kCounterNames[i]), i) << kCounterNames[i];
    // Lower-case order: "zip_errors" stands before "zipsfx_errors".
    EXPECT_LT(FindCommandCounter(L"ZIP_ERRORS"), FindCommandCounter(L"ZIPSFX_ERRORS"));
    EXPECT_EQ(FindCommandCounter(L"copy_nothing"), -1);
}

TEST(InternalVariables, UnknownAndMalformedNamesHaveNoValue) {
    EXPECT_EQ(Var(L"_nosuch"), L"<null>");
    EXPECT_EQ(Var(L"cwd"), L"<null>");      // needs its underscore
    EXPECT_EQ(Var(L"_"), L"<null>");
    EXPECT_EQ(Var(L"!"), L"<null>");        // no history lists yet
    EXPECT_EQ(Counter(L"copy_files"), L"<null>");
    EXPECT_EQ(Counter(L"_nosuch"), L"<null>");
}

TEST(InternalVariables, AbsentComponentsHaveNoValue) {
    for (const wchar_t *name : {L"_gpslat", L"_gpsvdop", L"_btdevicecount", L"_btradiocount", L"_afswcell", L"_openafs",
                                L"_bdtab", L"_bdfolder", L"_bdlistview", L"_monitors", L"_lastdir", L"_iftp",
                                L"_rubytype", L"_shortcut", L"_selected"})
        EXPECT_EQ(Var(name), L"<null>") << name;
    for (int i = 0; i < nInternalVariables; i++) {
        if (aInternalVariables[i].nFamily != IVF_ABSENT) continue;
        CString name = CString(L"_") + aInternalVariables[i].pszName;
        EXPECT_EQ(Var(name.c_str()), L"<null>") << name.c_str();
    }
}

TEST(InternalVariables, ExitCodesAndResults) {
    ScopedThreadState thread;
    TLS_VARIABLES *tls = GetTLS();
    tls->nExitCode = 42;
    tls->nLastResult = 7;
    EXPECT_EQ(Var(L"?"), L"42");
    EXPECT_EQ(Var(L"errorlevel"), L"42");
    EXPECT_EQ(Var(L"ERRORLEVEL"), L"42");
    EXPECT_EQ(Var(L"_?"), L"7");
    tls->nLastResult = -3;
    EXPECT_EQ(Var(L"_?"), L"-3");
}

TEST(InternalVariables, BatchFrameState) {
    ScopedThreadState thread;
    TLS_VARIABLES *tls = GetTLS();
    ASSERT_EQ(tls->nBatchFrame, -1);
    EXPECT_EQ(Var(L"_batch"), L"0");
    EXPECT_EQ(Var(L"_batchname"), L"<null>");
    tls->aBatchFrames.resize(2);
    tls->aBatchFrames[1].sBatchName = L"C:\\work\\inner.btm";
    tls->aBatchFrames[1].nLineNumber = 12;
    tls->aBatchFrames[1].fFlags = BF_UTF8;
    tls->nBatchFrame = 1;
    EXPECT_EQ(Var(L"_batch"), L"2");
    EXPECT_EQ(Var(L"_BatchName"), L"C:\\work\\inner.btm");
    EXPECT_EQ(Var(L"_batchline"), L"12");
    EXPECT_EQ(Var(L"_batchtype"), L"2");
}

TEST(InternalVariables, ShellStateFollowsItsFields) {
    ScopedOptions options;
    ScopedThreadState thread;
    ScopedEnvironment environment{L"CMDLINE2"};
    EXPECT_EQ(Var(L"_expansion"), L"0");
    aIniFile.ParseFlags = PF_NO_ALIASES | PF_NO_VARIABLES | 0x100 | 0x200;
    EXPECT_EQ(Var(L"_expansion"), L"139");  // bit 9 is never shown

    GetTLS()->nDetachPid = 4321;
    EXPECT_EQ(Var(L"_detachpid"), L"4321");
    EXPECT_EQ(Var(L"_pid"), FormatStr(L"%u", GetCurrentProcessId()));

    SetEnvironmentVariableW(L"CMDLINE2", L"echo %_cmdline");
    EXPECT_EQ(Var(L"_cmdline"), L"echo ");
}

TEST(InternalVariables, ReducedModeHidesEverythingButTheExitCode) {
    ScopedGlobals globals;
    aGlobals.fCompatibility = 1;
    EXPECT_EQ(Var(L"_cwd"), L"<null>");
    EXPECT_TRUE(IsNumber(Var(L"?")));
    aGlobals.fCompatibility = 0;
    EXPECT_NE(Var(L"_cwd"), L"<null>");
}

TEST(InternalVariables, CurrentDirectoryInItsFourForms) {
    wchar_t dir[MAX_PATH];
    DWORD n = GetCurrentDirectoryW(MAX_PATH, dir);
    ASSERT_GT(n, 2u);
    CString cwd(dir, n);
    EXPECT_EQ(Var(L"_cwd"), cwd);
    CString slashed = cwd.back() == L'\\' ? cwd : cwd + L"\\";
    EXPECT_EQ(Var(L"_cwds"), slashed);
    EXPECT_EQ(Var(L"_cwp"), cwd.Mid(2));
    EXPECT_EQ(Var(L"_cwps"), slashed.Mid(2));
    EXPECT_EQ(Var(L"_disk"), CString(1, ToUpperChar(cwd[0])));
}

TEST(InternalVariables, DateAndTimeAgreeWithTheClock) {
    SYSTEMTIME before, after;
    GetLocalTime(&before);
    CString year = Var(L"_year"), month = Var(L"_month"), day = Var(L"_day"), iso = Var(L"_isodate");
    CString stamp = Var(L"_datetime");
    GetLocalTime(&after);
    if (before.wDay != after.wDay) GTEST_SKIP() << "midnight passed during the test";
    EXPECT_EQ(year, FormatStr(L"%u", after.wYear));
    EXPECT_EQ(month, FormatStr(L"%u", after.wMonth));
    EXPECT_EQ(day, FormatStr(L"%u", after.wDay));
    EXPECT_EQ(iso, FormatStr(L"%04u-%02u-%02u", after.wYear, after.wMonth, after.wDay));
    EXPECT_EQ(stamp.size(), 14u);
    EXPECT_TRUE(stamp.StartsWith(FormatStr(L"%04u%02u%02u", after.wYear, after.wMonth, after.wDay).c_str()));
    EXPECT_EQ(Var(L"_dowi"), FormatStr(L"%u", after.wDayOfWeek + 1));
    wchar_t name[64];
    GetDateFormatW(LOCALE_USER_DEFAULT, 0, &after, L"dddd", name, 64);
    EXPECT_EQ(Var(L"_idowf"), name);
    CString time = Var(L"_time");
    EXPECT_EQ(time.size(), 8u);
    EXPECT_EQ(time[2], L':');
}

TEST(InternalVariables, IsoWeeksAcrossYearEnds) {
    int week, year;
    IsoWeekOf(2021, 1, 3, &week, &year);    // a Sunday in the last week of 2020
    EXPECT_EQ(week, 53);
    EXPECT_EQ(year, 2020);
    IsoWeekOf(2024, 12, 30, &week, &year);  // a Monday in the first week of 2025
    EXPECT_EQ(week, 1);
    EXPECT_EQ(year, 2025);
    IsoWeekOf(2026, 1, 1, &week, &year);    // a Thursday
    EXPECT_EQ(week, 1);
    EXPECT_EQ(year, 2026);
    IsoWeekOf(2027, 1, 1, &week, &year);    // a Friday: week 53 of 2026
    EXPECT_EQ(week, 53);
    EXPECT_EQ(year, 2026);
    IsoWeekOf(2024, 6, 15, &week, &year);
    EXPECT_EQ(week, 24);
}

TEST(InternalVariables, SystemFiguresAgreeWithTheSystem) {
    wchar_t text[MAX_PATH];
    GetWindowsDirectoryW(text, MAX_PATH);
    EXPECT_EQ(Var(L"_windir"), text);
    GetSystemDirectoryW(text, MAX_PATH);
    EXPECT_EQ(Var(L"_winsysdir"), text);
    DWORD n = MAX_PATH;
    GetComputerNameW(text, &n);
    EXPECT_EQ(Var(L"_winname"), text);
    n = MAX_PATH;
    GetUserNameW(text, &n);
    EXPECT_EQ(Var(L"_winuser"), text);
    EXPECT_EQ(Var(L"_x64"), L"1");
    EXPECT_EQ(Var(L"_xpixels"), FormatStr(L"%d", GetSystemMetrics(SM_CXSCREEN)));
    for (const wchar_t *name : {L"_winticks", L"_cpu", L"_admin", L"_osbuild", L"_country"})
        EXPECT_TRUE(IsNumber(Var(name))) << name;
    CString drives = Var(L"_drives");
    DWORD mask = GetLogicalDrives();
    for (int d = 0; d < 26; d++)
        EXPECT_EQ(drives.find(FormatStr(L"%c:", L'A' + d)) != CString::npos, ((mask >> d) & 1) != 0) << d;
}

TEST(CommandCounters, ReadTheBoundIntegers) {
    aCommandCounters[CTR_copy_files] = 17;
    aCommandCounters[CTR_zipsfx_errors] = -1;
    EXPECT_EQ(Counter(L"_copy_files"), L"17");
    EXPECT_EQ(Counter(L"_COPY_FILES"), L"17");
    EXPECT_EQ(Counter(L"_zipsfx_errors"), L"-1");
    EXPECT_EQ(Counter(L"_copy_errors"), L"0");
    aCommandCounters[CTR_copy_files] = 0;
    aCommandCounters[CTR_zipsfx_errors] = 0;
    for (const wchar_t *name : {L"_dup_files", L"_dup_errors", L"_unq_errors", L"_unq_handle"})
        EXPECT_EQ(Counter(name), L"<null>") << name;
    sUnqDatabase = L"C:\\data\\store.db";
    EXPECT_EQ(Counter(L"_unq_db"), L"C:\\data\\store.db");
    sUnqDatabase.clear();
}

TEST(InternalVariables, EchoAndEditingStateFollowTheFrame) {
    ScopedOptions options;
    ScopedThreadState thread;
    TLS_VARIABLES *tls = GetTLS();
    tls->fInteractiveEcho = 1;
    EXPECT_EQ(Var(L"_echo"), L"1");
    tls->aBatchFrames.resize(1);
    tls->aBatchFrames[0].nEcho = 0;
    tls->nBatchFrame = 0;
    EXPECT_EQ(Var(L"_echo"), L"0");  // inside a batch file the frame's state counts
    tls->aBatchFrames[0].nEcho = 1;
    EXPECT_EQ(Var(L"_echo"), L"1");
    tls->nBatchFrame = -1;
    tls->aBatchFrames.clear();
    tls->fInteractiveEcho = 0;
    EXPECT_EQ(Var(L"_echo"), L"0");

    aIniFile.fEditInsert = 1;
    EXPECT_EQ(Var(L"_editmode"), L"1");
    aIniFile.fEditInsert = 0;
    EXPECT_EQ(Var(L"_editmode"), L"0");
    aIniFile.nSecondary = 2;
    EXPECT_EQ(Var(L"_shell"), L"2");
}

TEST(InternalVariables, TimeZoneAgreesWithTheSystem) {
    TIME_ZONE_INFORMATION zone;
    DWORD status = GetTimeZoneInformation(&zone);
    ASSERT_NE(status, TIME_ZONE_ID_INVALID);
    EXPECT_EQ(Var(L"_dst"), status == TIME_ZONE_ID_DAYLIGHT ? L"1" : L"0");
    EXPECT_EQ(Var(L"_stzn"), zone.StandardName);
    EXPECT_EQ(Var(L"_stzo"), FormatStr(L"%d", -(int)(zone.Bias + zone.StandardBias)));
    EXPECT_TRUE(IsNumber(Var(L"_tzo")));
}
