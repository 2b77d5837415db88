// Date and time functions: @DATE, @MAKEDATE, @DATECONV, @DATEFMT, @DAY,
// @MONTH, @YEAR, @DOY, @DOW and its kin, the ISO week functions, @AGEDATE,
// @MAKEAGE, @SYSTEMTIME, @FILEDATE, @FILETIME, @FILEAGE, @TIME, @MAKETIME,
// @TIMER, and the date pickers @GETDATE and @GETDATETIME.  Dates are read
// and written by the file engine's date code, so that a date that a range
// takes is a date that these functions take.
#include <cwchar>
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "files/dates.h"
#include "files/paths.h"
#include "system/system.h"
#include "vars/func_internal.h"

namespace {

struct DateValue {
    long days = 0;
    int year = 0, month = 0, day = 0;
};

bool ReadInt(const CString &text, int *value) {
    CString t = text.TrimLeftCopy();
    t.TrimRight();
    if (t.empty()) return false;
    wchar_t *end = nullptr;
    long v = wcstol(t.c_str(), &end, 0);
    if (*end) return false;
    *value = (int)v;
    return true;
}

// A date text (empty: today).  A signed or bare number is an offset from
// today.
int ReadDate(CString text, int format, DateValue *out) {
    text.Trim();
    long days = 0;
    if (int rc = MakeDaysFromDate(&days, text.data(), format)) return rc;
    if (text.At(0) == L'+' || text.At(0) == L'-') days += Today();
    if (DateFromDays(days, &out->year, &out->month, &out->day)) return ERROR_BD_INVALID_DATE;
    out->days = days;
    return 0;
}

// A date format number 0 to 6; empty text leaves *format as it is.
bool ReadFormat(const CString &text, int *format) {
    if (text.TrimLeftCopy().empty()) return true;
    return ReadInt(text, format) && *format >= 0 && *format <= DATE_FORMAT_LAST;
}

// "date[,format]": the format (0 to 6) says how a date that does not begin
// with its year is ordered.
int ReadDateAndFormat(const CString &args, DateValue *date, int *format) {
    CString text = args, tail;
    SplitAtComma(args, &text, &tail);
    *format = 0;
    if (!ReadFormat(tail, format)) return ERROR_INVALID_PARAMETER;
    return ReadDate(text, *format, date);
}

SYSTEMTIME AsSystemTime(const DateValue &d) {
    SYSTEMTIME t{};
    t.wYear = (WORD)d.year;
    t.wMonth = (WORD)d.month;
    t.wDay = (WORD)d.day;
    t.wDayOfWeek = (WORD)DayOfWeek(d.year, d.month, d.day);
    return t;
}

int SetTextValue(CString &args, const CString &text) {
    args = text;
    return 0;
}

// hh:mm:ss with the locale's separator, and ".mmm" with the decimal one.
CString ClockText(const SYSTEMTIME &t, bool seconds, bool millis) {
    wchar_t sep = QueryTimeSeparator().At(0);
    if (!sep) sep = L':';
    CString text = FormatStr(L"%02u%c%02u", t.wHour, sep, t.wMinute);
    if (seconds || millis) text += FormatStr(L"%c%02u", sep, t.wSecond);
    if (millis) text += FormatStr(L"%c%03u", QueryDecimalChar(), t.wMilliseconds);
    return text;
}

// One picture code of @DATEFMT, or false when c starts none.
bool PictureCode(const wchar_t *&p, const SYSTEMTIME &t, CString &out) {
    wchar_t c = *p;
    if (!wcschr(L"yMdHhmsft", c)) return false;
    size_t n = 1;
    while (p[n] == c) n++;
    p += n;
    int hour12 = t.wHour % 12 ? t.wHour % 12 : 12;
    switch (c) {
    case L'y': out += n >= 3 ? FormatStr(L"%04u", t.wYear) : FormatStr(n == 2 ? L"%02u" : L"%u", t.wYear % 100); break;
    case L'M': out += n >= 3 ? LocaleDateText(t, n == 3 ? L"MMM" : L"MMMM") : FormatStr(n == 2 ? L"%02u" : L"%u", t.wMonth); break;
    case L'd': out += n >= 3 ? LocaleDateText(t, n == 3 ? L"ddd" : L"dddd") : FormatStr(n == 2 ? L"%02u" : L"%u", t.wDay); break;
    case L'H': out += FormatStr(n >= 2 ? L"%02u" : L"%u", t.wHour); break;
    case L'h': out += FormatStr(n >= 2 ? L"%02u" : L"%u", hour12); break;
    case L'm': out += FormatStr(n >= 2 ? L"%02u" : L"%u", t.wMinute); break;
    case L's': out += FormatStr(n >= 2 ? L"%02u" : L"%u", t.wSecond); break;
    case L'f': out += FormatStr(L"%03u", t.wMilliseconds).Left(n); break;
    case L't': out += CString(t.wHour < 12 ? L"AM" : L"PM").Left(n); break;
    }
    return true;
}

// The codes of the system's date and time pictures: yyyy yy M MM MMM MMMM
// d dd ddd dddd H HH h hh m mm s ss f ff fff t tt; text in single quotes
// is copied ('' is a quote).
CString FormatPicture(const wchar_t *picture, const SYSTEMTIME &t) {
    CString out;
    for (const wchar_t *p = picture; *p;) {
        if (*p == L'\'') {
            for (p++; *p; p++) {
                if (*p == L'\'' && p[1] == L'\'') out += *p++;
                else if (*p == L'\'') break;
                else out += *p;
            }
            if (*p) p++;
        } else if (!PictureCode(p, t, out)) {
            out += *p++;
        }
    }
    return out;
}

// "hh:mm[:ss][.mmm]" into t (no text: midnight).
int ReadClock(const CString &text, SYSTEMTIME *t) {
    CString s = text.TrimLeftCopy();
    if (s.empty()) return 0;
    int seconds;
    const wchar_t *end;
    if (int rc = ParseTimeOfDay(s.c_str(), &seconds, &end)) return rc;
    t->wHour = (WORD)(seconds / 3600);
    t->wMinute = (WORD)(seconds / 60 % 60);
    t->wSecond = (WORD)(seconds % 60);
    if ((*end == L'.' || *end == QueryDecimalChar()) && iswdigit(end[1])) t->wMilliseconds = (WORD)(wcstoul(end + 1, nullptr, 10) % 1000);
    return 0;
}

unsigned long long AgeOf(const SYSTEMTIME &t) {
    FILETIME ft;
    return SystemTimeToFileTime(&t, &ft) ? FileTimeValue(ft) : 0;
}

// The found file's time of the kind letter (a, c, w) as local time.
int FileTimeOf(const CString &nameArg, const CString &kind, SYSTEMTIME *local, unsigned long long *age) {
    CString name = WithoutEnclosingQuotes(nameArg.TrimLeftCopy());
    name.TrimRight();
    if (!CreateFullPathName(name, 0)) return -2;
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW(name.c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    FindClose(h);
    wchar_t k = ToLowerChar(kind.TrimLeftCopy().At(0));
    const FILETIME &ft = k == L'a' ? data.ftLastAccessTime : k == L'c' ? data.ftCreationTime : data.ftLastWriteTime;
    if (!FileTimeToDate(FileTimeValue(ft), false, local)) return (int)GetLastError();
    *age = AgeOf(*local);
    return 0;
}

}  // namespace

// @DATE[date[,format]] and the functions that give one part of a date:
// @DAY, @MONTH, @YEAR, @DOY, @DOW, @DOWF, @DOWI, @IDOW, @IDOWF, @ISODOWI,
// @ISOWEEK, @ISOWYEAR.
int Func_DatePart(FUNCCALL &call) {
    DateValue d;
    int format;
    if (int rc = ReadDateAndFormat(call.args, &d, &format)) return rc;
    SYSTEMTIME t = AsSystemTime(d);
    int week, weekYear;
    IsoWeekOf(d.year, d.month, d.day, &week, &weekYear);
    switch (call.nCase) {
    case FC_date: return SetNumber(call.args, d.days);
    case FC_day: return SetNumber(call.args, d.day);
    case FC_month: return SetNumber(call.args, d.month);
    case FC_year: return SetNumber(call.args, d.year);
    case FC_doy: return SetNumber(call.args, DayOfYear(d.year, d.month, d.day));
    case FC_dow: return SetTextValue(call.args, CString(DayName(t.wDayOfWeek)).Left(3));
    case FC_dowf: return SetTextValue(call.args, DayName(t.wDayOfWeek));
    case FC_dowi: return SetNumber(call.args, t.wDayOfWeek + 1);
    case FC_idow: return SetTextValue(call.args, LocaleDateText(t, L"ddd"));
    case FC_idowf: return SetTextValue(call.args, LocaleDateText(t, L"dddd"));
    case FC_isodowi: return SetNumber(call.args, t.wDayOfWeek ? t.wDayOfWeek : 7);
    case FC_isoweek: return SetNumber(call.args, week);
    case FC_isowyear: return SetNumber(call.args, weekYear);
    }
    return 1;
}

// @MAKEDATE[days[,format]]: a day number as a date text.
int Func_MakeDate(FUNCCALL &call) {
    CString daysText = call.args, formatText;
    SplitAtComma(call.args, &daysText, &formatText);
    int days = 0, format = 0, y, m, d;
    if (!ReadInt(daysText, &days)) return ERROR_INVALID_PARAMETER;
    if (!ReadFormat(formatText, &format)) return ERROR_INVALID_PARAMETER;
    if (int rc = DateFromDays(days, &y, &m, &d)) return rc;
    return SetTextValue(call.args, FormatDate(format, y, m, d));
}

// @DATECONV[date[,from[,to]]]: a date read in one format and written in
// another (both 0 to 6; 0 the country's).
int Func_DateConv(FUNCCALL &call) {
    CString dateText = call.args, rest, fromText, toText;
    if (SplitAtComma(call.args, &dateText, &rest) && !SplitAtComma(rest, &fromText, &toText)) fromText = rest;
    int from = 0, to = 0;
    if (!ReadFormat(fromText, &from) || !ReadFormat(toText, &to)) return ERROR_INVALID_PARAMETER;
    DateValue d;
    if (int rc = ReadDate(dateText, from, &d)) return rc;
    return SetTextValue(call.args, FormatDate(to, d.year, d.month, d.day));
}

// @DATEFMT[[date[ time]],picture]: a date (empty: now) through a picture of
// the system's codes (yyyy MM dd HH mm ss ...).
int Func_DateFmt(FUNCCALL &call) {
    CString when, picture;
    if (!SplitAtComma(call.args, &when, &picture)) return ERROR_INVALID_PARAMETER;
    picture = WithoutEnclosingQuotes(picture);
    when.Trim();
    SYSTEMTIME t;
    GetLocalTime(&t);
    if (!when.empty()) {
        size_t blank = when.find_first_of(L" @");
        DateValue d;
        if (int rc = ReadDate(when.Left(blank), 0, &d)) return rc;
        t = AsSystemTime(d);
        if (blank != CString::npos)
            if (int rc = ReadClock(when.Mid(blank + 1), &t)) return rc;
    }
    return SetTextValue(call.args, FormatPicture(picture.c_str(), t));
}

// @AGEDATE[age[,format]]: an age (a 64-bit file time) as "date,hh:mm:ss.mmm";
// format as @MAKEDATE's, 4 when none is given.
int Func_AgeDate(FUNCCALL &call) {
    CString ageText = call.args, formatText;
    SplitAtComma(call.args, &ageText, &formatText);
    ageText.Trim();
    int format = DATE_ISO;
    wchar_t *end = nullptr;
    unsigned long long age = wcstoull(ageText.c_str(), &end, 10);
    if (ageText.empty() || *end) return ERROR_INVALID_PARAMETER;
    if (!ReadFormat(formatText, &format)) return ERROR_INVALID_PARAMETER;
    SYSTEMTIME t;
    if (!FileTimeToDate(age, true, &t)) return ERROR_INVALID_PARAMETER;
    return SetTextValue(call.args, FormatDate(format, t) + L"," + ClockText(t, true, true));
}

// @MAKEAGE[date[,time]]: the age of a date and time of day (the inverse of
// @AGEDATE).  The time may follow the date after a blank or a comma.
int Func_MakeAge(FUNCCALL &call) {
    CString text = call.args.TrimLeftCopy();
    size_t cut = text.find_first_of(L" ,");
    DateValue d;
    if (int rc = ReadDate(text.Left(cut), 0, &d)) return rc;
    SYSTEMTIME t = AsSystemTime(d);
    if (cut != CString::npos) {
        CString clock = text.Mid(cut);
        clock.TrimLeft(L" ,");
        if (int rc = ReadClock(clock, &t)) return rc;
    }
    return SetNumber(call.args, (long long)AgeOf(t));
}

// @SYSTEMTIME[[u]]: now as an age, in local time (with "u", in UTC).
int Func_SystemTime(FUNCCALL &call) {
    CString flag = call.args;
    flag.Trim();
    if (!flag.empty() && !flag.EqualsNoCase(L"u")) return ERROR_INVALID_PARAMETER;
    SYSTEMTIME t;
    if (flag.empty()) GetLocalTime(&t);
    else GetSystemTime(&t);
    return SetNumber(call.args, (long long)AgeOf(t));
}

// @FILEDATE[name[,a|c|w[,format]]], @FILETIME[name[,a|c|w[,s|m]]] and
// @FILEAGE[name[,a|c|w]]: a file's last write (access, creation) time in
// local time.  @FILETIME gives hh:mm, with "s" the seconds, with "m" the
// milliseconds too.
int Func_FileDate(FUNCCALL &call) {
    CString name, rest, kind, option;
    if (!SplitAtComma(call.args, &name, &rest)) name = call.args;
    if (!SplitAtComma(rest, &kind, &option)) kind = rest;
    option.Trim();
    if (name.TrimLeftCopy().empty()) return ERROR_INVALID_PARAMETER;
    SYSTEMTIME t;
    unsigned long long age;
    if (int rc = FileTimeOf(name, kind, &t, &age)) return rc;
    if (call.nCase == FC_fileage) return SetNumber(call.args, (long long)age);
    if (call.nCase == FC_filetime) {
        wchar_t o = ToLowerChar(option.At(0));
        if (!option.empty() && o != L's' && o != L'm') return ERROR_INVALID_PARAMETER;
        return SetTextValue(call.args, ClockText(t, o == L's', o == L'm'));
    }
    int format = 0;
    if (!ReadFormat(option, &format)) return ERROR_INVALID_PARAMETER;
    return SetTextValue(call.args, FormatDate(format, t));
}

// @TIME[[hh:mm[:ss][ a|p]]]: seconds since midnight (no text: now).
int Func_Time(FUNCCALL &call) {
    CString text = call.args;
    text.Trim();
    int seconds;
    if (text.empty()) {
        SYSTEMTIME t;
        GetLocalTime(&t);
        seconds = t.wHour * 3600 + t.wMinute * 60 + t.wSecond;
    } else if (int rc = ParseTimeOfDay(text.c_str(), &seconds)) {
        return rc;
    }
    return SetNumber(call.args, seconds);
}

// @MAKETIME[seconds]: hh:mm:ss (hours go past 23 for longer spans).
int Func_MakeTime(FUNCCALL &call) {
    CString text = call.args;
    text.Trim();
    wchar_t *end = nullptr;
    long long seconds = wcstoll(text.c_str(), &end, 10);
    if (text.empty() || *end || seconds < 0) return ERROR_INVALID_PARAMETER;
    wchar_t sep = QueryTimeSeparator().At(0);
    if (!sep) sep = L':';
    return SetTextValue(call.args, FormatStr(L"%02I64d%c%02I64d%c%02I64d", seconds / 3600, sep, seconds / 60 % 60, sep,
                                        seconds % 60));
}

// @GETDATE[[date[,format]]] and @GETDATETIME[[date[,format]]]: a dialog
// asks for a date (and a time of day), starting at date (default today).
// The value is the date in the format (0 to 6), for @GETDATETIME with the
// time behind a blank; empty when the dialog is cancelled.
int Func_GetDate(FUNCCALL &call) {
    DateValue d;
    int format;
    if (int rc = ReadDateAndFormat(call.args, &d, &format)) return rc;
    SYSTEMTIME now, t = AsSystemTime(d);
    GetLocalTime(&now);
    t.wHour = now.wHour, t.wMinute = now.wMinute, t.wSecond = now.wSecond;
    bool withTime = call.nCase == FC_getdatetime;
    int rc = AskDate(withTime ? L"Date and time" : L"Date", &t, withTime, 0);
    if (rc == 1) return SetTextValue(call.args, CString());
    if (rc) return -2;
    return SetTextValue(call.args, FormatDate(format, t) + (withTime ? L" " + ClockText(t, true, false) : CString()));
}

// @TIMER[n[,ms|us|ns]]: stopwatch n of TIMER: the time on it as TIMER shows
// it, or a count of the unit.
int Func_Timer(FUNCCALL &call) {
    CString number = call.args, unit;
    SplitAtComma(call.args, &number, &unit);
    unit.Trim();
    int n;
    if (!ReadInt(number, &n) || n < 1 || n > kTimers) return ERROR_INVALID_PARAMETER;
    long long ms = QueryTimerElapsed(n);
    if (ms < 0) return BDError(ERROR_BD_TIMER_OFF, FormatStr(L"%d", n).c_str()), -2;
    if (unit.empty()) return SetTextValue(call.args, FormatElapsed(ms));
    if (unit.EqualsNoCase(L"ms")) return SetNumber(call.args, ms);
    if (unit.EqualsNoCase(L"us")) return SetNumber(call.args, ms * 1000);
    if (unit.EqualsNoCase(L"ns")) return SetNumber(call.args, ms * 1000000);
    return ERROR_INVALID_PARAMETER;
}
