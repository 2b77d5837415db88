// Internal variables of dates, times and the time zone.  Every value is
// read from the clock at the moment of use.
#include "base/errors.h"
#include "base/format.h"
#include "files/dates.h"
#include "vars/internals.h"

namespace {

// ISO 8601 weekday: Monday 1 to Sunday 7.
int IsoWeekday(const SYSTEMTIME &t) { return t.wDayOfWeek == 0 ? 7 : t.wDayOfWeek; }

int DayOfYear(const SYSTEMTIME &t) { return ::DayOfYear(t.wYear, t.wMonth, t.wDay); }

void IsoWeek(const SYSTEMTIME &t, int *week, int *year) { IsoWeekOf(t.wYear, t.wMonth, t.wDay, week, year); }

CString Time24(const SYSTEMTIME &t) { return FormatStr(L"%02u:%02u:%02u", t.wHour, t.wMinute, t.wSecond); }

CString DateTime14(const SYSTEMTIME &t) {
    return FormatStr(L"%4d%02d%02d%02d%02d%02d", t.wYear, t.wMonth, t.wDay, t.wHour, t.wMinute, t.wSecond);
}

CString IsoDate(const SYSTEMTIME &t) { return FormatDate(DATE_ISO, t); }

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
    case IV_utcdate: return SetText(value, FormatDate(DATE_COUNTRY, t));
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
    case IV_date: return SetText(value, FormatDate(DATE_COUNTRY, t));
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
    case IV_dow: return SetText(value, CString(DayName(t.wDayOfWeek)).Left(3));
    case IV_dowf: return SetText(value, DayName(t.wDayOfWeek));
    case IV_dowi: return SetInt(value, t.wDayOfWeek + 1);
    case IV_isodowi: return SetInt(value, IsoWeekday(t));
    case IV_monthf: return SetText(value, MonthName(t.wMonth));
    case IV_idow: return SetText(value, LocaleDateText(t, L"ddd"));
    case IV_idowf: return SetText(value, LocaleDateText(t, L"dddd"));
    case IV_imonth: return SetText(value, LocaleDateText(t, L"MMM"));
    case IV_imonthf: return SetText(value, LocaleDateText(t, L"MMMM"));
    case IV_isordate: return SetText(value, FormatStr(L"%04u-%03d", t.wYear, DayOfYear(t)));
    case IV_isoweek: IsoWeek(t, &week, &weekYear); return SetInt(value, week);
    case IV_isowyear: IsoWeek(t, &week, &weekYear); return SetInt(value, weekYear);
    case IV_isowdate:
        IsoWeek(t, &week, &weekYear);
        return SetText(value, FormatStr(L"%04d-W%02d-%d", weekYear, week, IsoWeekday(t)));
    }
    return false;
}
