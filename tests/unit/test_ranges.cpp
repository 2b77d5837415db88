// Dates, times and the range filters: reading, and applying them to found
// entries.
#include <gtest/gtest.h>
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "config/config.h"
#include "files/dates.h"
#include "files/ranges.h"

namespace {

std::wstring S(const CString &s) { return std::wstring(s); }

class Ranges : public ::testing::Test {
protected:
    void SetUp() override { IniClear(&aIniFile); }
};

// A found entry written at a local time, of a size.
WIN32_FIND_DATAW Entry(int y, int m, int d, int hh, int mm, long long size = 0, DWORD attributes = 0) {
    WIN32_FIND_DATAW e{};
    SYSTEMTIME local{(WORD)y, (WORD)m, 0, (WORD)d, (WORD)hh, (WORD)mm, 0, 0}, utc;
    TzSpecificLocalTimeToSystemTime(nullptr, &local, &utc);
    SystemTimeToFileTime(&utc, &e.ftLastWriteTime);
    e.ftCreationTime = e.ftLastAccessTime = e.ftLastWriteTime;
    e.nFileSizeLow = (DWORD)size;
    e.nFileSizeHigh = (DWORD)(size >> 32);
    e.dwFileAttributes = attributes ? attributes : FILE_ATTRIBUTE_ARCHIVE;
    wcscpy(e.cFileName, L"entry.txt");
    return e;
}

int Get(const wchar_t *text, RANGES *r, CString *rest = nullptr, int stop = 0) {
    CString line(text);
    int rc = GetRange(line, r, stop);
    if (rest) *rest = line;
    return rc;
}

}  // namespace

TEST_F(Ranges, DatesRead) {
    struct {
        const wchar_t *text;
        int format;
        int y, m, d;  // y 0: refused
    } rows[] = {
        {L"1980-01-01", 0, 1980, 1, 1},   {L"2024-02-29", 0, 2024, 2, 29},  {L"2023-02-29", 0, 0, 0, 0},
        {L"2024-13-45", 0, 0, 0, 0},      {L"2024-04-31", 0, 0, 0, 0},      {L"2024/7/4", 0, 2024, 7, 4},
        {L"2024-W01-1", 0, 2024, 1, 1},   {L"2020-W53-5", 0, 2021, 1, 1},   {L"2021-W53-1", 0, 0, 0, 0},
        {L"2024-060", 0, 2024, 2, 29},    {L"2023-366", 0, 0, 0, 0},        {L"01-02-24", DATE_MDY, 2024, 1, 2},
        {L"01-02-24", DATE_DMY, 2024, 2, 1}, {L"01-02-24", DATE_YMD, 2001, 2, 24}, {L"01-02-99", DATE_MDY, 1999, 1, 2},
        {L"x", 0, 0, 0, 0},               {L"2024", 0, 0, 0, 0},            {L"1600-01-01", 0, 0, 0, 0},
    };
    for (auto &row : rows) {
        int y = 0, m = 0, d = 0;
        int rc = ParseDate(row.text, row.format, &y, &m, &d);
        if (!row.y) {
            EXPECT_EQ(rc, ERROR_BD_INVALID_DATE) << row.text;
            continue;
        }
        EXPECT_EQ(rc, 0) << row.text;
        EXPECT_EQ(y * 10000 + m * 100 + d, row.y * 10000 + row.m * 100 + row.d) << row.text;
    }
}

TEST_F(Ranges, DayNumbers) {
    EXPECT_EQ(DaysFromDate(1980, 1, 1), 0);
    EXPECT_EQ(DaysFromDate(1981, 1, 1), 366);
    int y, m, d;
    ASSERT_EQ(DateFromDays(366 + 365 + 59, &y, &m, &d), 0);
    EXPECT_EQ(y * 10000 + m * 100 + d, 19820301);
    EXPECT_EQ(DateFromDays(MAX_DAY_NUMBER + 1, &y, &m, &d), ERROR_INVALID_PARAMETER);
    EXPECT_EQ(DateFromDays(-1, &y, &m, &d), ERROR_INVALID_PARAMETER);
    for (long n : {0L, 59L, 60L, 12345L, 372550L}) {
        ASSERT_EQ(DateFromDays(n, &y, &m, &d), 0);
        EXPECT_EQ(DaysFromDate(y, m, d), n);
    }
    long days;
    CString plain(L"12"), minus(L"-3"), old(L"1979-12-31");
    ASSERT_EQ(MakeDaysFromDate(&days, plain.data(), 0), 0);
    EXPECT_EQ(days, 12);
    EXPECT_EQ(S(plain), L"+2");  // a bare count is marked as an offset
    ASSERT_EQ(MakeDaysFromDate(&days, minus.data(), 0), 0);
    EXPECT_EQ(days, -3);
    EXPECT_EQ(MakeDaysFromDate(&days, old.data(), 0), ERROR_BD_INVALID_DATE);
    CString huge(L"+99999999999");
    EXPECT_EQ(MakeDaysFromDate(&days, huge.data(), 0), ERROR_BD_INVALID_DATE);
}

TEST_F(Ranges, DateFormats) {
    CString sep = QueryDateSeparator();
    EXPECT_EQ(S(FormatDate(DATE_ISO, 2024, 3, 5)), L"2024-03-05");
    EXPECT_EQ(S(FormatDate(DATE_ISO_WEEK, 2021, 1, 3)), L"2020-W53-7");
    EXPECT_EQ(S(FormatDate(DATE_ISO_ORDINAL, 2024, 12, 31)), L"2024-366");
    EXPECT_EQ(S(FormatDate(DATE_MDY, 2024, 3, 5)), S(L"03" + sep + L"05" + sep + L"24"));
    EXPECT_EQ(S(FormatDate(DATE_DMY, 2024, 3, 5)), S(L"05" + sep + L"03" + sep + L"24"));
    EXPECT_EQ(S(FormatDate(DATE_YMD, 2024, 3, 5)), S(L"24" + sep + L"03" + sep + L"05"));
    // What the country format writes, the date reader reads back.
    int y, m, d;
    ASSERT_EQ(ParseDate(FormatDate(DATE_COUNTRY, 2031, 12, 9).c_str(), 0, &y, &m, &d), 0);
    EXPECT_EQ(y * 10000 + m * 100 + d, 20311209);
}

TEST_F(Ranges, TimesOfDay) {
    struct {
        const wchar_t *text;
        int seconds;  // -1: refused
    } rows[] = {
        {L"10:30", 37800}, {L"10:30:15", 37815}, {L"10", 36000},    {L"1:00p", 46800}, {L"1:00 PM", 46800},
        {L"12:00a", 0},    {L"12:15p", 44100},   {L"24:00", -1},    {L"10:60", -1},    {L"13:00p", -1},
        {L"7.45.30", 27930}, {L"x", -1},
    };
    for (auto &row : rows) {
        int s = -1;
        int rc = ParseTimeOfDay(row.text, &s);
        if (row.seconds < 0) EXPECT_EQ(rc, ERROR_BD_INVALID_TIME) << row.text;
        else EXPECT_EQ(s, row.seconds) << row.text;
    }
}

TEST_F(Ranges, FiltersLeaveTheLine) {
    RANGES r;
    CString rest;
    ASSERT_EQ(Get(L"/s /[s1k] /b /[d-7] *.c /[!*.bak]", &r, &rest), 0);
    EXPECT_EQ(S(rest), L"/s  /b  *.c ");
    ASSERT_EQ(Get(L"x.txt /[s1k]", &r, &rest, 1), 0);
    EXPECT_EQ(S(rest), L"x.txt /[s1k]");
    EXPECT_FALSE(QueryRangesSet(r));
    ASSERT_EQ(Get(L"  /[s1k]   a b", &r, &rest), 0);
    EXPECT_EQ(S(rest), L"a b");
}

TEST_F(Ranges, DateRanges) {
    RANGES r;
    ASSERT_EQ(Get(L"/[d2024-01-01,2023-01-01]", &r), 0);
    EXPECT_EQ(r.ftDateLow, FileTimeFromDays(DaysFromDate(2023, 1, 1), 0));
    EXPECT_EQ(r.ftDateHigh, FileTimeFromDays(DaysFromDate(2024, 1, 1), 86399) + FILETIME_TICKS_PER_SECOND - 1);
    EXPECT_TRUE(QueryInRanges(r, Entry(2023, 6, 1, 12, 0), nullptr));
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 1, 1, 23, 59), nullptr));
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 1, 2, 0, 0), nullptr));
    EXPECT_FALSE(QueryInRanges(r, Entry(2022, 12, 31, 23, 59), nullptr));

    ASSERT_EQ(Get(L"/[d-7]", &r), 0);
    long today = Today();
    EXPECT_EQ(r.ftDateLow, FileTimeFromDays(today - 7, 0));
    EXPECT_EQ(r.ftDateHigh, FileTimeFromDays(today, 86399) + FILETIME_TICKS_PER_SECOND - 1);

    ASSERT_EQ(Get(L"/[d2024-03-01@10:00,2024-03-02@08:30]", &r), 0);
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 3, 1, 10, 0), nullptr));
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 3, 1, 9, 59), nullptr));
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 3, 2, 8, 31), nullptr));

    ASSERT_EQ(Get(L"/[d2024-03-10,-2]", &r), 0);  // two days back from the start
    EXPECT_EQ(r.ftDateLow, FileTimeFromDays(DaysFromDate(2024, 3, 8), 0));
    ASSERT_EQ(Get(L"/[d2024-03-10,+2]", &r), 0);
    EXPECT_EQ(r.ftDateHigh, FileTimeFromDays(DaysFromDate(2024, 3, 12), 86399) + FILETIME_TICKS_PER_SECOND - 1);

    ASSERT_EQ(Get(L"/![d2024-03-01,2024-03-31]", &r), 0);
    EXPECT_TRUE(r.fDateNegated);
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 3, 15, 0, 0), nullptr));
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 4, 1, 0, 0), nullptr));

    ASSERT_EQ(Get(L"/[dc2024-01-01]", &r), 0);
    EXPECT_EQ(r.nDateField, RANGE_CREATION);
    // A raw file time stands for its own date and time.
    ASSERT_EQ(Get(L"/[d133000000000000000]", &r), 0);
    SYSTEMTIME t;
    FileTimeToDate(133000000000000000ull, true, &t);
    EXPECT_EQ(r.ftDateLow, FileTimeFromDays(DaysFromDate(t.wYear, t.wMonth, t.wDay),
                                            t.wHour * 3600 + t.wMinute * 60 + t.wSecond));
}

TEST_F(Ranges, BadRangesAreRefused) {
    RANGES r;
    CString rest;
    EXPECT_NE(Get(L"/[d2024-13-45] *.txt", &r), 0);
    EXPECT_NE(Get(L"/[d2024-01-01@25:00]", &r), 0);
    EXPECT_NE(Get(L"/[s1x]", &r), 0);
    EXPECT_NE(Get(L"/[s9999999999P]", &r), 0);
    EXPECT_NE(Get(L"/[s1k,x]", &r), 0);
    EXPECT_NE(Get(L"/[d-7 *.txt", &r), 0);
    EXPECT_NE(Get(L"/[t25:00]", &r), 0);
    EXPECT_NE(Get(L"/[=] *.txt", &r), 0);
    // A letter that is no kind of range changes nothing.
    ASSERT_EQ(Get(L"/[q12]", &r), 0);
    EXPECT_FALSE(QueryRangesSet(r));
}

TEST_F(Ranges, SizeRanges) {
    struct {
        const wchar_t *text;
        long long low, high;
    } rows[] = {
        {L"/[s1K,2K]", 1024, 2048},       {L"/[s1k,2k]", 1000, 2000}, {L"/[s100]", 100, -1},
        {L"/[s100,-50]", 50, 100},        {L"/[s100,+50]", 100, 150}, {L"/[s2M,1M]", 1048576, 2097152},
        {L"/[s1 G]", 1073741824LL, -1},   {L"/[s1b]", 1, -1},   {L"/[s5000000000]", 5000000000LL, -1}, {L"/[s1t]", 1000000000000LL, -1},
    };
    for (auto &row : rows) {
        RANGES r;
        ASSERT_EQ(Get(row.text, &r), 0) << row.text;
        EXPECT_EQ(r.nSizeLow, row.low) << row.text;
        EXPECT_EQ(r.nSizeHigh, row.high) << row.text;
    }
    RANGES r;
    ASSERT_EQ(Get(L"/[s1k,2k]", &r), 0);
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 1, 1, 0, 0, 1500), nullptr));
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 1, 1, 0, 0, 2001), nullptr));
    ASSERT_EQ(Get(L"/![s1k,2k]", &r), 0);
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 1, 1, 0, 0, 1500), nullptr));
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 1, 1, 0, 0, 6LL << 30), nullptr));
}

TEST_F(Ranges, TimeRanges) {
    RANGES r;
    ASSERT_EQ(Get(L"/[t22:00,02:00]", &r), 0);  // across midnight
    EXPECT_EQ(r.nTimeLow, 79200);
    EXPECT_EQ(r.nTimeHigh, 7200);
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 1, 1, 23, 30), nullptr));
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 1, 1, 1, 30), nullptr));
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 1, 1, 12, 0), nullptr));
    ASSERT_EQ(Get(L"/[t9:00,17:00]", &r), 0);
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 1, 1, 12, 0), nullptr));
    EXPECT_FALSE(QueryInRanges(r, Entry(2024, 1, 1, 18, 0), nullptr));
    ASSERT_EQ(Get(L"/![t9:00,17:00]", &r), 0);
    EXPECT_TRUE(QueryInRanges(r, Entry(2024, 1, 1, 18, 0), nullptr));
    ASSERT_EQ(Get(L"/[t-90]", &r), 0);  // the last ninety minutes
    EXPECT_EQ(((r.nTimeHigh - r.nTimeLow) % 86400 + 86400) % 86400, 5400);
    ASSERT_EQ(Get(L"/[t10:00,+30]", &r), 0);
    EXPECT_EQ(r.nTimeLow, 36000);
    EXPECT_EQ(r.nTimeHigh, 37800);
    // "U" is read as the start of the time, as it always has been.
    EXPECT_EQ(Get(L"/[tu10:00]", &r), 2);
}

TEST_F(Ranges, Exclusions) {
    RANGES r, joined;
    ASSERT_EQ(Get(L"/[!*.bak *.tmp]", &joined), 0);
    ASSERT_EQ(Get(L"/[!*.bak] x /[! *.tmp]", &r), 0);
    EXPECT_EQ(S(r.sExclusions), S(joined.sExclusions));
    EXPECT_TRUE(QueryIsExcluded(r, L"a.BAK", FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_TRUE(QueryIsExcluded(r, L"b.tmp", FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_FALSE(QueryIsExcluded(r, L"c.txt", FILE_ATTRIBUTE_ARCHIVE));

    ASSERT_EQ(Get(L"/[!temp\\ \"my file.txt\" \"x[1].txt\"]", &r), 0);
    EXPECT_TRUE(QueryIsExcluded(r, L"temp", FILE_ATTRIBUTE_DIRECTORY));
    EXPECT_FALSE(QueryIsExcluded(r, L"temp", FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_TRUE(QueryIsExcluded(r, L"my file.txt", FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_TRUE(QueryIsExcluded(r, L"X[1].txt", FILE_ATTRIBUTE_ARCHIVE));
    EXPECT_FALSE(QueryIsExcluded(r, L"x1.txt", FILE_ATTRIBUTE_ARCHIVE));

    // A directories-only name that matches a file keeps it at once.
    ASSERT_EQ(Get(L"/[!te*\\ temp]", &r), 0);
    EXPECT_FALSE(QueryIsExcluded(r, L"temp", FILE_ATTRIBUTE_ARCHIVE));
}

TEST_F(Ranges, DescriptionsAndOwners) {
    RANGES r;
    ASSERT_EQ(Get(L"/I\"*draft*\" /!R\"^old\"", &r), 0);
    EXPECT_EQ(S(r.sDescription), L"^old");
    EXPECT_TRUE(r.fDescriptionRegex);
    EXPECT_TRUE(r.fDescriptionNegated);
    ASSERT_EQ(Get(L"/[o\"ADMIN*\"]", &r), 0);
    EXPECT_EQ(S(r.sOwner), L"ADMIN*");

    wchar_t temp[MAX_PATH];
    GetTempPathW(MAX_PATH, temp);
    CString dir = FormatStr(L"%sbdx_ranges_%u", temp, GetCurrentProcessId());
    CreateDirectoryW(dir.c_str(), nullptr);
    CString list = dir + L"\\DESCRIPT.ION";
    HANDLE h = CreateFileW(list.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    const char text[] = "entry.txt a first draft\r\n\"other file.txt\" final\r\n";
    DWORD done;
    WriteFile(h, text, sizeof text - 1, &done, nullptr);
    CloseHandle(h);
    WIN32_FIND_DATAW e = Entry(2024, 1, 1, 0, 0);
    ASSERT_EQ(Get(L"/I\"*draft*\"", &r), 0);
    EXPECT_TRUE(QueryInRanges(r, e, dir.c_str()));
    ASSERT_EQ(Get(L"/!I\"*draft*\"", &r), 0);
    EXPECT_FALSE(QueryInRanges(r, e, dir.c_str()));
    ASSERT_EQ(Get(L"/R\"^a f.*t$\"", &r), 0);
    EXPECT_TRUE(QueryInRanges(r, e, dir.c_str()));
    wcscpy(e.cFileName, L"other file.txt");
    EXPECT_FALSE(QueryInRanges(r, e, dir.c_str()));
    DeleteFileW(list.c_str());
    RemoveDirectoryW(dir.c_str());
}
