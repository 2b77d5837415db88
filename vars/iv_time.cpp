// Internal variables of dates, times and the time zone.  Every value is
// read from the clock at the moment of use.
#include "base/errors.h"
#include "base/format.h"
#include "vars/internals.h"

namespace {

const wchar_t *const kDayNames[] = {L"Sunday", L"Monday", L"Tuesday", L"Wednesday",
                                    L"Thursday", L"Friday", L"Saturday"};
const wchar_t *const kMonthNames[] = {L"January", L"February", L"March", L"April", L"May", L"June", L"July",
                                      L"August", L"September", L"October", L"November", L"December"};

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DayOfYear(const SYSTEMTIME &t) {
    static const int before[] = {0, 31, 59, 90, 120, 151, 181, 212, 243, 273, 304, 334};
    return before[t.wMonth - 1] + t.wDay + (t.wMonth > 2 && IsLeapYear(t.wYear) ? 1 : 0);
}

// ISO 8601 weekday: Monday 1 to Sunday 7.
int IsoWeekday(const SYSTEMTIME &t) { return t.wDayOfWeek == 0 ? 7 : t.wDayOfWeek; }

// Days since 1 January 1970 of a Gregorian date, and back.
long long DaysFromCivil(int y, int m, int d) {
    y -= m <= 2;
    long long era = (y >= 0 ? y : y - 399) / 400;
    long long yoe = y - era * 400;
    long long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

int YearFromDays(long long days) {
    days += 719468;
    long long era = (days >= 0 ? days : days - 146096) / 146097;
    long long doe = days - era * 146097;
    long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long long mp = (5 * doy + 2) / 153;
    return (int)(yoe + era * 400 + (mp >= 10 ? 1 : 0));
}

void IsoWeek(const SYSTEMTIME &t, int *week, int *year) { IsoWeekOf(t.wYear, t.wMonth, t.wDay, week, year); }

}  // namespace

// The ISO week is the one holding the week's Thursday, and its year is that
// Thursday's year.
void IsoWeekOf(int y, int m, int d, int *week, int *year) {
    long long day = DaysFromCivil(y, m, d);
    int weekday = (int)(((day + 3) % 7 + 7) % 7) + 1;  // 1 January 1970 was a Thursday
    long long thursday = day - weekday + 4;
    *year = YearFromDays(thursday);
    *week = (int)((thursday - DaysFromCivil(*year, 1, 1)) / 7) + 1;
}

namespace {

CString LocaleDate(const SYSTEMTIME &t, const wchar_t *picture) {
    CString out(64, L'\0');
    int n = GetDateFormatW(LOCALE_USER_DEFAULT, 0, &t, picture, out.data(), (int)out.size());
    out.resize(n > 0 ? n - 1 : 0);
    return out;
}

CString LocaleInfo(LCTYPE type, const wchar_t *fallback) {
    CString out(16, L'\0');
    int n = GetLocaleInfoW(LOCALE_USER_DEFAULT, type, out.data(), (int)out.size());
    return n > 1 ? out.Left(n - 1) : CString(fallback);
}

// The date in the country's order (month-day-year, day-month-year or
// year-month-day) with its separator: two-digit year, four in year-first.
CString CountryDate(const SYSTEMTIME &t) {
    CString order = LocaleInfo(LOCALE_IDATE, L"0"), sep = LocaleInfo(LOCALE_SDATE, L"-");
    if (order == L"1") return FormatStr(L"%02u%s%02u%s%02u", t.wDay, sep.c_str(), t.wMonth, sep.c_str(), t.wYear % 100);
    if (order == L"2") return FormatStr(L"%04u%s%02u%s%02u", t.wYear, sep.c_str(), t.wMonth, sep.c_str(), t.wDay);
    return FormatStr(L"%02u%s%02u%s%02u", t.wMonth, sep.c_str(), t.wDay, sep.c_str(), t.wYear % 100);
}

CString Time24(const SYSTEMTIME &t) { return FormatStr(L"%02u:%02u:%02u", t.wHour, t.wMinute, t.wSecond); }

CString DateTime14(const SYSTEMTIME &t) {
    return FormatStr(L"%4d%02d%02d%02d%02d%02d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond);
}

CString IsoDate(const SYSTEMTIME &t) { return FormatStr(L"%04u-%02u-%02u", t.wYear, t.wMonth, t.wDay); }

// The zone: status, names, offsets (minutes east of UTC).  A failing call
// is the one system error an internal variable reports.
bool ZoneVariable(int index, CString &value) {
    DYNAMIC_TIME_ZONE_INFORMATION zone{};
    DWORD status = GetDynamicTimeZoneInformation(&zone);
    if (status == TIME_ZONE_ID_INVALID) {
        BDError((int)GetLastError(), aInternalVariables[index].pszName);
        return false;
    }
    bool daylight = status == TIME_ZONE_ID_DAYLIGHT;
    switch (index) {
    case IV_dst: return SetInt(value, daylight ? 1 : 0);
    case IV_stzn: return SetText(value, zone.StandardName);
    case IV_tzn: return SetText(value, daylight ? zone.DaylightName : zone.StandardName);
    case IV_stzo: return SetInt(value, -(long long)(zone.Bias + zone.StandardBias));
    case IV_tzo: return SetInt(value, -(long long)(zone.Bias + (daylight ? zone.DaylightBias : zone.StandardBias)));
    case IV_timezone: return zone.TimeZoneKeyName[0] ? SetText(value, zone.TimeZoneKeyName) : false;
    }
    return false;
}

bool UtcVariable(int index, CString &value) {
    SYSTEMTIME t;
    GetSystemTime(&t);
    switch (index) {
    case IV_utcdate: return SetText(value, CountryDate(t));
    case IV_utcdatetime: return SetText(value, DateTime14(t));
    case IV_utchour: return SetInt(value, t.wHour);
    case IV_utcisodate: return SetText(value, IsoDate(t));
    case IV_utcminute: return SetInt(value, t.wMinute);
    case IV_utcsecond: return SetInt(value, t.wSecond);
    case IV_utctime: return SetText(value, Time24(t));
    }
    return false;
}

}  // namespace

bool TimeVariable(int index, CString &value) {
    if (index == IV_dst || index == IV_stzn || index == IV_stzo || index == IV_tzn || index == IV_tzo ||
        index == IV_timezone)
        return ZoneVariable(index, value);
    if (aInternalVariables[index].pszName[0] == L'u') return UtcVariable(index, value);
    SYSTEMTIME t;
    GetLocalTime(&t);
    int week, weekYear;
    switch (index) {
    case IV_date: return SetText(value, CountryDate(t));
    case IV_datetime: return SetText(value, DateTime14(t));
    case IV_time: return SetText(value, Time24(t));
    case IV_isodate: return SetText(value, IsoDate(t));
    case IV_year: return SetInt(value, t.wYear);
    case IV_month: return SetInt(value, t.wMonth);
    case IV_day: return SetInt(value, t.wDay);
    case IV_hour: return SetInt(value, t.wHour);
    case IV_minute: return SetInt(value, t.wMinute);
    case IV_second: return SetInt(value, t.wSecond);
    case IV_doy: return SetInt(value, DayOfYear(t));
    case IV_dow: return SetText(value, CString(kDayNames[t.wDayOfWeek]).Left(3));
    case IV_dowf: return SetText(value, kDayNames[t.wDayOfWeek]);
    case IV_dowi: return SetInt(value, t.wDayOfWeek + 1);
    case IV_isodowi: return SetInt(value, IsoWeekday(t));
    case IV_monthf: return SetText(value, kMonthNames[t.wMonth - 1]);
    case IV_idow: return SetText(value, LocaleDate(t, L"ddd"));
    case IV_idowf: return SetText(value, LocaleDate(t, L"dddd"));
    case IV_imonth: return SetText(value, LocaleDate(t, L"MMM"));
    case IV_imonthf: return SetText(value, LocaleDate(t, L"MMMM"));
    case IV_isordate: return SetText(value, FormatStr(L"%04u-%03d", t.wYear, DayOfYear(t)));
    case IV_isoweek: IsoWeek(t, &week, &weekYear); return SetInt(value, week);
    case IV_isowyear: IsoWeek(t, &week, &weekYear); return SetInt(value, weekYear);
    case IV_isowdate:
        IsoWeek(t, &week, &weekYear);
        return SetText(value, FormatStr(L"%04d-W%02d-%d", weekYear, week, IsoWeekday(t)));
    }
    return false;
}
