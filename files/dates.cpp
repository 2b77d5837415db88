// Dates and times of the file engine: day numbers, the date and time readers
// that ranges and the date functions share, and the date formats.
#include "files/dates.h"
#include "base/errors.h"
#include "base/format.h"
#include <cwchar>

namespace {

// Days since 1970-01-01 of a Gregorian date (any year).
long long DaysFromCivil(int y, int m, int d) {
    y -= m <= 2;
    long long era = (y >= 0 ? y : y - 399) / 400;
    long long yoe = y - era * 400;
    long long doy = (153 * (m + (m > 2 ? -3 : 9)) + 2) / 5 + d - 1;
    long long doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

void CivilFromDays(long long days, int *year, int *month, int *day) {
    days += 719468;
    long long era = (days >= 0 ? days : days - 146096) / 146097;
    long long doe = days - era * 146097;
    long long yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    long long doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    long long mp = (5 * doy + 2) / 153;
    *day = (int)(doy - (153 * mp + 2) / 5 + 1);
    *month = (int)(mp < 10 ? mp + 3 : mp - 9);
    *year = (int)(yoe + era * 400 + (*month <= 2 ? 1 : 0));
}

constexpr long long kCivil1980 = 3652;  // DaysFromCivil(1980, 1, 1)
constexpr int kFirstYear = 1601, kLastYear = 30827;
// More days than lie between the first and the last year is no offset.
constexpr unsigned long long kLongestSpan = 10592580;

CString LocaleText(LCTYPE type, const wchar_t *fallback) {
    wchar_t buffer[16];
    int n = GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, 16);
    return n > 1 ? CString(buffer, (size_t)(n - 1)) : CString(fallback);
}

// Unsigned decimal digits at p; false when there are none.
bool ReadNumber(const wchar_t *&p, unsigned long long *value) {
    if (*p < L'0' || *p > L'9') return false;
    unsigned long long v = 0;
    for (; *p >= L'0' && *p <= L'9'; p++) v = v * 10 + (unsigned)(*p - L'0');
    *value = v > 0xFFFFFFFFull ? 0xFFFFFFFFull : v;
    return true;
}

// One separator character between date fields: anything but a blank, a
// digit, or a character that ends a date in a range.
bool SkipDateSeparator(const wchar_t *&p) {
    if (!*p || *p == L' ' || *p == L'\t' || (*p >= L'0' && *p <= L'9') || wcschr(L",@]", *p)) return false;
    p++;
    return true;
}

int ExpandYear(unsigned long long y) { return (int)(y < 80 ? y + 2000 : y < 100 ? y + 1900 : y); }

bool ValidDate(int y, int m, int d) {
    return y >= kFirstYear && y <= kLastYear && m >= 1 && m <= 12 && d >= 1 && d <= DaysInMonth(y, m);
}

// "yyyy-Www-d" (the separators optional): the date of an ISO week day.
int ParseIsoWeek(const wchar_t *p, int *year, int *month, int *day, const wchar_t **end) {
    unsigned long long y = 0, w = 0, wd = 1;
    if (!ReadNumber(p, &y)) return ERROR_BD_INVALID_DATE;
    if (*p == L'-') p++;
    if (*p != L'W' && *p != L'w') return ERROR_BD_INVALID_DATE;
    p++;
    if (!ReadNumber(p, &w)) return ERROR_BD_INVALID_DATE;
    const wchar_t *q = p;
    if (SkipDateSeparator(q) && ReadNumber(q, &wd)) p = q;
    if (y < 1980 || y > (unsigned)kLastYear || w < 1 || w > 53 || wd < 1 || wd > 7) return ERROR_BD_INVALID_DATE;
    // Monday of week 1 is the Monday on or before 4 January.
    long long jan4 = DaysFromCivil((int)y, 1, 4);
    int jan4Weekday = (int)(((jan4 + 3) % 7 + 7) % 7);  // 0 Monday
    long long target = jan4 - jan4Weekday + (long long)(w - 1) * 7 + (long long)(wd - 1);
    CivilFromDays(target, year, month, day);
    if (w == 53) {
        int week, weekYear;
        IsoWeekOf(*year, *month, *day, &week, &weekYear);
        if (week != 53) return ERROR_BD_INVALID_DATE;
    }
    if (end) *end = p;
    return 0;
}

}  // namespace

bool IsLeapYear(int year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

int DaysInMonth(int year, int month) {
    static const int days[] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
    if (month < 1 || month > 12) return 0;
    return month == 2 && IsLeapYear(year) ? 29 : days[month - 1];
}

long DaysFromDate(int year, int month, int day) { return (long)(DaysFromCivil(year, month, day) - kCivil1980); }

int DateFromDays(long days, int *year, int *month, int *day) {
    if (days < 0 || days > MAX_DAY_NUMBER) return ERROR_INVALID_PARAMETER;
    CivilFromDays(days + kCivil1980, year, month, day);
    return 0;
}

int DayOfWeek(int year, int month, int day) {
    return (int)(((DaysFromCivil(year, month, day) + 4) % 7 + 7) % 7);  // 1970-01-01 was a Thursday
}

int DayOfYear(int year, int month, int day) {
    return (int)(DaysFromCivil(year, month, day) - DaysFromCivil(year, 1, 1)) + 1;
}

// The ISO week is the one holding the week's Thursday, and its year is that
// Thursday's year.
void IsoWeekOf(int year, int month, int day, int *week, int *weekYear) {
    long long n = DaysFromCivil(year, month, day);
    int weekday = (int)(((n + 3) % 7 + 7) % 7) + 1;  // 1 Monday to 7 Sunday
    long long thursday = n - weekday + 4;
    int m, d;
    CivilFromDays(thursday, weekYear, &m, &d);
    *week = (int)((thursday - DaysFromCivil(*weekYear, 1, 1)) / 7) + 1;
}

const wchar_t *DayName(int dayOfWeek) {
    static const wchar_t *const names[] = {L"Sunday", L"Monday", L"Tuesday", L"Wednesday",
                                           L"Thursday", L"Friday", L"Saturday"};
    return names[((dayOfWeek % 7) + 7) % 7];
}

const wchar_t *MonthName(int month) {
    static const wchar_t *const names[] = {L"January", L"February", L"March", L"April", L"May", L"June", L"July",
                                           L"August", L"September", L"October", L"November", L"December"};
    return month >= 1 && month <= 12 ? names[month - 1] : L"";
}

CString LocaleDateText(const SYSTEMTIME &date, const wchar_t *picture) {
    wchar_t buffer[80];
    int n = GetDateFormatW(LOCALE_USER_DEFAULT, 0, &date, picture, buffer, 80);
    return n > 0 ? CString(buffer, (size_t)(n - 1)) : CString();
}

int QueryDateOrder() {
    CString order = LocaleText(LOCALE_IDATE, L"0");
    return order == L"1" ? DATE_DMY : order == L"2" ? DATE_YMD : DATE_MDY;
}

CString QueryDateSeparator() { return LocaleText(LOCALE_SDATE, L"-"); }

CString QueryTimeSeparator() { return LocaleText(LOCALE_STIME, L":"); }

// A first field of 1601 or more is a year (then year-month-day, or with two
// fields year and day of the year).  Otherwise the order is the format's:
// month first, day first, or a two-digit year first.  Two fields in that
// case are a month and a day (or day and month) of this year.
int ParseDate(const wchar_t *text, int format, int *year, int *month, int *day, const wchar_t **end) {
    const wchar_t *p = text;
    while (*p == L' ' || *p == L'\t') p++;
    if (wcspbrk(p, L"Ww") && wcspbrk(p, L"Ww") < p + wcscspn(p, L",@]")) return ParseIsoWeek(p, year, month, day, end);
    unsigned long long f[3] = {0, 0, 0};
    int fields = 0;
    while (fields < 3) {
        const wchar_t *q = p;
        if (fields > 0 && !SkipDateSeparator(q)) break;
        if (!ReadNumber(q, &f[fields])) break;
        p = q;
        fields++;
    }
    if (fields < 2) return ERROR_BD_INVALID_DATE;
    int y, m, d;
    if (f[0] >= (unsigned)kFirstYear) {
        y = (int)f[0];
        if (fields == 2) {
            if (f[1] < 1 || f[1] > (IsLeapYear(y) ? 366u : 365u) || y > kLastYear) return ERROR_BD_INVALID_DATE;
            CivilFromDays(DaysFromCivil(y, 1, 1) + (long long)f[1] - 1, &y, &m, &d);
        } else {
            m = (int)f[1];
            d = (int)f[2];
        }
    } else {
        int order = format >= DATE_MDY && format <= DATE_YMD ? format : format > DATE_YMD ? DATE_YMD : QueryDateOrder();
        SYSTEMTIME now;
        GetLocalTime(&now);
        if (fields == 2) {
            f[2] = now.wYear;
            if (order == DATE_YMD) order = DATE_MDY;
        }
        if (order == DATE_YMD) y = ExpandYear(f[0]), m = (int)f[1], d = (int)f[2];
        else if (order == DATE_DMY) d = (int)f[0], m = (int)f[1], y = ExpandYear(f[2]);
        else m = (int)f[0], d = (int)f[1], y = ExpandYear(f[2]);
    }
    if (!ValidDate(y, m, d)) return ERROR_BD_INVALID_DATE;
    *year = y;
    *month = m;
    *day = d;
    if (end) *end = p;
    return 0;
}

int MakeDaysFromDate(long *days, wchar_t *text, int format) {
    while (*text == L' ' || *text == L'\t') text++;
    if (!*text) {
        *days = Today();
        return 0;
    }
    size_t run = wcscspn(text, L",@]");
    bool digitsOnly = run > 0 && wcsspn(text, L"0123456789") == run;
    if (*text == L'-' || *text == L'+' || digitsOnly) {
        const wchar_t *p = text + (*text == L'-' || *text == L'+');
        unsigned long long n = 0;
        if (!ReadNumber(p, &n) || n > kLongestSpan) return ERROR_BD_INVALID_DATE;
        *days = *text == L'-' ? -(long)n : (long)n;
        if (digitsOnly) *text = L'+';
        return 0;
    }
    int y, m, d;
    if (int rc = ParseDate(text, format, &y, &m, &d)) return rc;
    if (y < 1980) return ERROR_BD_INVALID_DATE;
    *days = DaysFromDate(y, m, d);
    return 0;
}

CString FormatDate(int format, int year, int month, int day) {
    int yy = year % 100;
    CString sep = format <= DATE_YMD ? QueryDateSeparator() : CString(L"-");
    const wchar_t *s = sep.c_str();
    if (format == DATE_COUNTRY) {
        format = QueryDateOrder();
        if (format == DATE_YMD) return FormatStr(L"%04d%s%02d%s%02d", year, s, month, s, day);
    }
    switch (format) {
    case DATE_MDY: return FormatStr(L"%02d%s%02d%s%02d", month, s, day, s, yy);
    case DATE_DMY: return FormatStr(L"%02d%s%02d%s%02d", day, s, month, s, yy);
    case DATE_YMD: return FormatStr(L"%02d%s%02d%s%02d", yy, s, month, s, day);
    case DATE_ISO_WEEK: {
        int week, weekYear;
        IsoWeekOf(year, month, day, &week, &weekYear);
        int weekday = DayOfWeek(year, month, day);
        return FormatStr(L"%4d-W%02d-%d", weekYear, week, weekday ? weekday : 7);
    }
    case DATE_ISO_ORDINAL: return FormatStr(L"%4d-%03d", year, DayOfYear(year, month, day));
    default: return FormatStr(L"%4d-%02d-%02d", year, month, day);
    }
}

CString FormatDate(int format, const SYSTEMTIME &date) { return FormatDate(format, date.wYear, date.wMonth, date.wDay); }

// "h[:m[:s]]" with one separator character after the hour and any of ":-./"
// before the seconds; a/p (am/pm) may follow, after blanks.
int ParseTimeOfDay(const wchar_t *text, int *seconds, const wchar_t **end) {
    const wchar_t *p = text;
    while (*p == L' ' || *p == L'\t') p++;
    unsigned long long h = 0, m = 0, s = 0;
    if (!ReadNumber(p, &h)) return ERROR_BD_INVALID_TIME;
    if (*p && !wcschr(L" \t,@]", *p) && p[1] >= L'0' && p[1] <= L'9') {
        p++;
        ReadNumber(p, &m);
        if (*p && wcschr(L":-./", *p) && p[1] >= L'0' && p[1] <= L'9') {
            p++;
            ReadNumber(p, &s);
        }
    }
    const wchar_t *q = p;
    while (*q == L' ') q++;
    wchar_t ap = *q | 0x20;
    if ((ap == L'a' || ap == L'p') && !iswalpha(q[1] == L'm' || q[1] == L'M' ? q[2] : q[1])) {
        if (h < 1 || h > 12) return ERROR_BD_INVALID_TIME;
        if (ap == L'a' && h == 12) h = 0;
        if (ap == L'p' && h < 12) h += 12;
        p = q + 1 + (q[1] == L'm' || q[1] == L'M');
    }
    if (h > 23 || m > 59 || s > 59) return ERROR_BD_INVALID_TIME;
    *seconds = (int)(h * 3600 + m * 60 + s);
    if (end) *end = p;
    return 0;
}

long Today(bool utc) {
    SYSTEMTIME t;
    if (utc) GetSystemTime(&t);
    else GetLocalTime(&t);
    return DaysFromDate(t.wYear, t.wMonth, t.wDay);
}

unsigned long long FileTimeFromDays(long days, long seconds) {
    return (unsigned long long)(FILETIME_DAY_1980 + days) * FILETIME_TICKS_PER_DAY +
           (unsigned long long)seconds * FILETIME_TICKS_PER_SECOND;
}

unsigned long long FileTimeValue(const FILETIME &ft) {
    return ((unsigned long long)ft.dwHighDateTime << 32) | ft.dwLowDateTime;
}

bool FileTimeToDate(unsigned long long fileTime, bool utc, SYSTEMTIME *out) {
    FILETIME ft{(DWORD)fileTime, (DWORD)(fileTime >> 32)};
    SYSTEMTIME st;
    if (!FileTimeToSystemTime(&ft, &st)) return false;
    if (utc) {
        *out = st;
        return true;
    }
    return SystemTimeToTzSpecificLocalTime(nullptr, &st, out) != 0;
}
