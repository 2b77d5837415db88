// Dates and times as the file engine and the date functions read and write
// them.  A day number counts days from 1980-01-01 (day 0); the Gregorian
// leap rule holds throughout.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

// The last day number that can be turned back into a date.
constexpr long MAX_DAY_NUMBER = 372550;
// The day number of 1980-01-01 counted from 1601-01-01, the start of FILETIME.
constexpr long long FILETIME_DAY_1980 = 138426;
constexpr unsigned long long FILETIME_TICKS_PER_SECOND = 10000000ull;
constexpr unsigned long long FILETIME_TICKS_PER_DAY = 864000000000ull;

// Date formats, for reading (0 to 3) and for FormatDate (0 to 6).
enum : int {
    DATE_COUNTRY = 0,   // the order and separator of the user's locale
    DATE_MDY = 1,       // mm-dd-yy
    DATE_DMY = 2,       // dd-mm-yy
    DATE_YMD = 3,       // yy-mm-dd
    DATE_ISO = 4,       // yyyy-mm-dd
    DATE_ISO_WEEK = 5,  // yyyy-Www-d
    DATE_ISO_ORDINAL = 6,  // yyyy-ddd
    DATE_FORMAT_LAST = 6,
};

bool IsLeapYear(int year);
int DaysInMonth(int year, int month);
// Day number of a date (no check), and back: 0 or 87 past MAX_DAY_NUMBER
// or below 0.
long DaysFromDate(int year, int month, int day);
int DateFromDays(long days, int *year, int *month, int *day);
// 0 Sunday to 6 Saturday.
int DayOfWeek(int year, int month, int day);
int DayOfYear(int year, int month, int day);
// The ISO week of a date (Monday first; the week that holds the Thursday)
// and the year it belongs to.
void IsoWeekOf(int year, int month, int day, int *week, int *weekYear);

// English names: day 0 Sunday to 6 Saturday, month 1 to 12.
const wchar_t *DayName(int dayOfWeek);
const wchar_t *MonthName(int month);
// The locale's names, by the pictures "ddd", "dddd", "MMM" and "MMMM".
CString LocaleDateText(const SYSTEMTIME &date, const wchar_t *picture);

// The locale's date order (DATE_MDY, DATE_DMY or DATE_YMD) and separator.
int QueryDateOrder();
CString QueryDateSeparator();
CString QueryTimeSeparator();

// Read a date (the forms of MakeDaysFromDate, without the plain day counts).
// format picks the order of a date whose first field is not a year (0: the
// locale's).  Returns 0 or ERROR_BD_INVALID_DATE.
int ParseDate(const wchar_t *text, int format, int *year, int *month, int *day, const wchar_t **end = nullptr);
// A date text to a day number.  Empty text is today.  A text beginning with
// a sign, or made of digits only up to ",", "@", "]" or its end, is a plain
// count of days; when it began with a digit that digit is overwritten with
// "+", so the caller sees an offset.  Returns 0 or ERROR_BD_INVALID_DATE
// (also for a year before 1980).
int MakeDaysFromDate(long *days, wchar_t *text, int format);
// A date as text in one of the formats (an unknown format gives form 4).
CString FormatDate(int format, int year, int month, int day);
CString FormatDate(int format, const SYSTEMTIME &date);

// A time of day "hh:mm[:ss]" with an optional a/p (am/pm) behind it, in
// seconds after midnight.  Returns 0 or ERROR_BD_INVALID_TIME.
int ParseTimeOfDay(const wchar_t *text, int *seconds, const wchar_t **end = nullptr);

// Today as a day number (local time, or UTC).
long Today(bool utc = false);
// FILETIME ticks of a day number and seconds after midnight, and back.
unsigned long long FileTimeFromDays(long days, long seconds);
// A FILETIME as local time (or left in UTC), as SYSTEMTIME.
bool FileTimeToDate(unsigned long long fileTime, bool utc, SYSTEMTIME *out);
unsigned long long FileTimeValue(const FILETIME &ft);
