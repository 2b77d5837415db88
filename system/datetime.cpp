// DATE, TIME, TIMER and UPTIME.  DATE and TIME show and set the clock as
// the system's own command interpreter does, with its prompts and
// messages; a clock that may not be set (no privilege) says so through
// the system's message.  TIMER keeps nine stopwatches for the process.
#include <cwctype>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "system/system.h"

namespace {

// The locale's text for one item, or fallback.
CString LocaleText(LCTYPE type, const wchar_t *fallback) {
    wchar_t buffer[32];
    int n = GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, 32);
    return n > 1 ? CString(buffer, n - 1) : CString(fallback);
}

CString FormatDate(const SYSTEMTIME &t, DWORD flags, const wchar_t *picture) {
    wchar_t buffer[96];
    int n = GetDateFormatW(LOCALE_USER_DEFAULT, flags, &t, picture, buffer, 96);
    return n > 0 ? CString(buffer, n - 1) : CString();
}

// "Mon 01/15/2024": the short weekday and the short date of the locale.
CString DateWithDay(const SYSTEMTIME &t) {
    return FormatDate(t, 0, L"ddd") + L" " + FormatDate(t, DATE_SHORTDATE, nullptr);
}

// The prompt's picture of the date order: (mm-dd-yy), (dd-mm-yy), (yy-mm-dd).
const wchar_t *DateOrderHint() {
    CString order = LocaleText(LOCALE_IDATE, L"0");
    return order == L"1" ? L"(dd-mm-yy)" : order == L"2" ? L"(yy-mm-dd)" : L"(mm-dd-yy)";
}

// " 9:05:33.12": hours, minutes, seconds and hundredths with the locale's
// separators.
CString LongTime(const SYSTEMTIME &t) {
    CString sep = LocaleText(LOCALE_STIME, L":");
    return FormatStr(L"%2u%s%02u%s%02u%c%02u", t.wHour, sep.c_str(), t.wMinute, sep.c_str(), t.wSecond,
                     QueryDecimalChar(), t.wMilliseconds / 10);
}

CString ShortTime(const SYSTEMTIME &t) {
    wchar_t buffer[64];
    int n = GetTimeFormatW(LOCALE_USER_DEFAULT, TIME_NOSECONDS, &t, nullptr, buffer, 64);
    return n > 0 ? CString(buffer, n - 1) : FormatStr(L"%02u:%02u", t.wHour, t.wMinute);
}

// Read the answer to a DATE or TIME prompt; false at the end of input.
bool ReadAnswer(const wchar_t *prompt, CString &answer) {
    Printf(L"%s", prompt);
    answer.clear();
    bool got = GetNextLine(StdIn(), answer, 0, nullptr, MAX_LINE_CHARS) > 0;
    answer.Trim(L" \t\r\n");
    return got;
}

// Set the local clock to t; the system's refusal (no privilege) is the
// message.
int SetClock(const SYSTEMTIME &t) {
    if (!SetLocalTime(&t)) return BDError((int)GetLastError(), nullptr);
    return 0;
}

int SetDateFrom(const CString &text) {
    SYSTEMTIME t;
    if (ParseDateText(text, &t)) return BDError(ERROR_BD_DATE_REFUSED, nullptr);
    return SetClock(t);
}

int SetTimeFrom(const CString &text) {
    SYSTEMTIME t;
    if (ParseTimeText(text, &t)) return BDError(ERROR_BD_TIME_REFUSED, nullptr);
    return SetClock(t);
}

// "/T" alone: show without asking.  Nothing else is read as a switch,
// since a date such as 01/15/2024 is full of switch characters.
bool TakeShowSwitch(CString &args) {
    CString word = args.TrimLeftCopy();
    word.TrimRight();
    if (word.size() != 2 || word[0] != SwitchCharValue() || ToUpperChar(word[1]) != L'T') return false;
    args.clear();
    return true;
}

}  // namespace

int ParseDateText(const CString &text, SYSTEMTIME *date) {
    CString rest = text;
    rest.Trim();
    // "Mon 01/15/2024", as DATE /T shows it, is taken back.
    if (iswalpha(rest.At(0))) {
        size_t blank = rest.find_first_of(L" \t");
        if (blank == CString::npos) return ERROR_BD_INVALID_DATE;
        rest = rest.Mid(blank);
        rest.Trim();
    }
    if (rest.empty() || rest.find_first_of(L": \t") != CString::npos) return ERROR_BD_INVALID_DATE;
    SYSTEMTIME moment;
    if (ParseDelayMoment(rest, &moment)) return ERROR_BD_INVALID_DATE;
    GetLocalTime(date);
    date->wYear = moment.wYear, date->wMonth = moment.wMonth, date->wDay = moment.wDay;
    date->wDayOfWeek = 0;
    return 0;
}

// "h[:m[:s[.hh]]] [A|P|AM|PM]", with ":" or the locale's separator and "."
// or the decimal character before the hundredths.
int ParseTimeText(const CString &text, SYSTEMTIME *time) {
    CString rest = text;
    rest.Trim();
    CString sep = LocaleText(LOCALE_STIME, L":");
    unsigned f[4] = {0, 0, 0, 0};
    int count = 0;
    size_t i = 0;
    for (; count < 4 && i < rest.size() && iswdigit(rest[i]); count++) {
        unsigned v = 0;
        size_t digits = 0;
        for (; i < rest.size() && iswdigit(rest[i]) && digits < 4; i++, digits++) v = v * 10 + (rest[i] - L'0');
        f[count] = v;
        if (count == 3 && digits == 1) f[3] *= 10;  // ".5" is half a second
        wchar_t c = rest.At(i);
        bool fieldSep = c == L':' || (!sep.empty() && c == sep[0]);
        bool decimal = c == L'.' || c == QueryDecimalChar();
        if (count < 2 && fieldSep) i++;
        else if (count == 2 && decimal) i++;
        else { count++; break; }
    }
    CString tail = rest.Mid(i);
    tail.Trim();
    if (!count) return ERROR_BD_INVALID_TIME;
    if (!tail.empty()) {
        bool pm = tail.EqualsNoCase(L"p") || tail.EqualsNoCase(L"pm");
        bool am = tail.EqualsNoCase(L"a") || tail.EqualsNoCase(L"am");
        if ((!am && !pm) || f[0] < 1 || f[0] > 12) return ERROR_BD_INVALID_TIME;
        f[0] = f[0] % 12 + (pm ? 12 : 0);
    }
    if (f[0] > 23 || f[1] > 59 || f[2] > 59 || f[3] > 99) return ERROR_BD_INVALID_TIME;
    GetLocalTime(time);
    time->wHour = (WORD)f[0], time->wMinute = (WORD)f[1], time->wSecond = (WORD)f[2];
    time->wMilliseconds = (WORD)(f[3] * 10);
    return 0;
}

// DATE [/T | date]
int Date_Command(CString &args) {
    bool onlyShow = TakeShowSwitch(args);
    args.Trim();
    SYSTEMTIME now;
    GetLocalTime(&now);
    if (onlyShow) {
        Printf(L"%s\r\n", DateWithDay(now).c_str());
        return 0;
    }
    if (!args.empty()) return SetDateFrom(args);
    Printf(L"The current date is: %s\r\n", DateWithDay(now).c_str());
    CString answer;
    if (!ReadAnswer(FormatStr(L"Enter the new date: %s ", DateOrderHint()).c_str(), answer) || answer.empty())
        return 0;
    return SetDateFrom(answer);
}

// TIME [/T | time]
int Time_Command(CString &args) {
    bool onlyShow = TakeShowSwitch(args);
    args.Trim();
    SYSTEMTIME now;
    GetLocalTime(&now);
    if (onlyShow) {
        Printf(L"%s\r\n", ShortTime(now).c_str());
        return 0;
    }
    if (!args.empty()) return SetTimeFrom(args);
    Printf(L"The current time is: %s\r\n", LongTime(now).c_str());
    CString answer;
    if (!ReadAnswer(L"Enter the new time: ", answer) || answer.empty()) return 0;
    return SetTimeFrom(answer);
}

// ---- TIMER ----

namespace {

struct STOPWATCH {
    bool fRunning = false;
    long long nStart = 0;   // performance counter at the start
};
STOPWATCH aTimers[kTimers];

long long CounterNow() {
    LARGE_INTEGER c;
    QueryPerformanceCounter(&c);
    return c.QuadPart;
}

long long CounterToMs(long long ticks) {
    LARGE_INTEGER f;
    QueryPerformanceFrequency(&f);
    return f.QuadPart ? ticks * 1000 / f.QuadPart : 0;
}

CString ClockNow() {
    SYSTEMTIME t;
    GetLocalTime(&t);
    return FormatStr(L"%02u:%02u:%02u", t.wHour, t.wMinute, t.wSecond);
}

// TIMER's switches: /1 to /9 pick the stopwatch, /Q quiet, /S split.
enum : unsigned { TIMER_QUIET = 1u << 9, TIMER_SPLIT = 1u << 10 };

int TimerNumber(unsigned mask) {
    for (int n = 0; n < kTimers; n++)
        if (mask & (1u << n)) return n + 1;
    return 1;
}

int StartTimer(int n, bool quiet) {
    aTimers[n - 1].fRunning = true;
    aTimers[n - 1].nStart = CounterNow();
    if (!quiet) Printf(L"Timer %d on: %s\r\n", n, ClockNow().c_str());
    return 0;
}

int StopTimer(int n, bool quiet) {
    long long ms = QueryTimerElapsed(n);
    if (ms < 0) return BDError(ERROR_BD_TIMER_OFF, FormatStr(L"%d", n).c_str());
    aTimers[n - 1].fRunning = false;
    if (!quiet) Printf(L"Timer %d off: %s  Elapsed: %s\r\n", n, ClockNow().c_str(), FormatElapsed(ms).c_str());
    return 0;
}

int SplitTimer(int n, bool quiet) {
    long long ms = QueryTimerElapsed(n);
    if (ms < 0) return BDError(ERROR_BD_TIMER_OFF, FormatStr(L"%d", n).c_str());
    if (!quiet) Printf(L"Timer %d elapsed: %s\r\n", n, FormatElapsed(ms).c_str());
    return 0;
}

// TIMER command: the command's result; the time it took follows its output.
int TimeCommand(CString command, bool quiet) {
    long long start = CounterNow();
    int result = aHooks.pfnCommand(command, 0);
    if (!quiet) Printf(L"Elapsed: %s\r\n", FormatElapsed(CounterToMs(CounterNow() - start)).c_str());
    return result;
}

}  // namespace

long long QueryTimerElapsed(int n) {
    if (n < 1 || n > kTimers || !aTimers[n - 1].fRunning) return -1;
    return CounterToMs(CounterNow() - aTimers[n - 1].nStart);
}

CString FormatElapsed(long long ms) {
    if (ms < 0) ms = 0;
    long long seconds = ms / 1000;
    return FormatStr(L"%I64d:%02d:%02d.%02d", seconds / 3600, (int)(seconds / 60 % 60), (int)(seconds % 60),
                     (int)(ms % 1000 / 10));
}

// TIMER [/1-/9] [/Q] [/S | ON | OFF | command]
int Timer_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"123456789QS", &mask, SW_STOP_AT_ARG, nullptr)) return 2;
    int n = TimerNumber(mask);
    bool quiet = mask & TIMER_QUIET;
    args.Trim();
    if (mask & TIMER_SPLIT) {
        if (!args.empty()) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
        return SplitTimer(n, quiet);
    }
    if (args.EqualsNoCase(L"on")) return StartTimer(n, quiet);
    if (args.EqualsNoCase(L"off")) return StopTimer(n, quiet);
    if (!args.empty()) return TimeCommand(args, quiet);
    return aTimers[n - 1].fRunning ? StopTimer(n, quiet) : StartTimer(n, quiet);
}

// UPTIME [/S]: how long the system has run, or /S its count of seconds.
int Uptime_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"S", &mask, 0, nullptr)) return 2;
    if (!args.TrimLeftCopy().empty()) return BDError(ERROR_INVALID_PARAMETER, args.TrimLeftCopy().c_str());
    unsigned long long seconds = GetTickCount64() / 1000;
    if (mask & 1) {
        Printf(L"%I64u\r\n", seconds);
        return 0;
    }
    FILETIME nowFile;
    GetSystemTimeAsFileTime(&nowFile);
    ULARGE_INTEGER boot{{nowFile.dwLowDateTime, nowFile.dwHighDateTime}};
    boot.QuadPart -= seconds * 10000000ULL;
    FILETIME bootFile{boot.LowPart, boot.HighPart}, localFile;
    SYSTEMTIME since;
    FileTimeToLocalFileTime(&bootFile, &localFile);
    FileTimeToSystemTime(&localFile, &since);
    unsigned long long days = seconds / 86400;
    Printf(L"Up %I64u day%s %02u:%02u:%02u (since %04u-%02u-%02u %02u:%02u:%02u)\r\n", days, days == 1 ? L"" : L"s",
           (unsigned)(seconds / 3600 % 24), (unsigned)(seconds / 60 % 60), (unsigned)(seconds % 60), since.wYear,
           since.wMonth, since.wDay, since.wHour, since.wMinute, since.wSecond);
    return 0;
}
