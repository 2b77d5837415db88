// Range filters: GetRange takes them out of a command line, and the tests
// below apply them to a found entry.
#include "files/ranges.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "files/dates.h"
#include "files/descript.h"
#include "files/paths.h"
#include "vars/regex.h"
#include "vars/vars.h"
#include <aclapi.h>
#include <climits>
#include <cwchar>

namespace {

constexpr int kLastSecondOfDay = 86399;
constexpr int kSecondsPerDay = 86400;

// A run of digits above this is a raw FILETIME, not a day count.
constexpr unsigned long long kRawFileTimeAbove = 999999999ull;

bool IsDigit(wchar_t c) { return c >= L'0' && c <= L'9'; }
bool StartsLikeNumber(const wchar_t *p) { return IsDigit(*p) || *p == L'-' || *p == L'+'; }

// A raw FILETIME at the front of text becomes "yyyy-mm-dd@hh:mm:ss.mmm".
void ExpandRawFileTime(CString &text, size_t at) {
    size_t end = at;
    unsigned long long value = 0;
    while (end < text.size() && IsDigit(text[end])) value = value * 10 + (unsigned)(text[end++] - L'0');
    SYSTEMTIME t;
    if (value <= kRawFileTimeAbove || !FileTimeToDate(value, true, &t)) return;
    CString date = FormatDate(DATE_ISO, t) + FormatStr(L"@%02d:%02d:%02d%c%03d", t.wHour, t.wMinute, t.wSecond,
                                                         QueryDecimalChar(), t.wMilliseconds);
    text.replace(at, end - at, date);
}

// The time behind an "@" in text[from, to), if any: 0, or an error code.
int TimeBehindAt(const CString &text, size_t from, size_t to, int *seconds, bool *given) {
    size_t at = text.find(L'@', from);
    *given = at != CString::npos && at < to;
    if (!*given) return 0;
    return ParseTimeOfDay(text.c_str() + at + 1, seconds);
}

// One date of a range: a day count with its sign kept in *sign ('-', '+',
// or 0 for an absolute date).  The text runs up to ",", "@" or its end.
int ReadRangeDate(CString &text, size_t at, long *days, wchar_t *sign) {
    size_t end = text.find_first_of(L",@", at);
    CString part = text.substr(at, end == CString::npos ? CString::npos : end - at);
    if (int rc = MakeDaysFromDate(days, part.data(), DATE_COUNTRY)) return rc;
    *sign = part[0] == L'-' || part[0] == L'+' ? part[0] : 0;
    return 0;
}

// The field letter (A access, C creation, W write) at the front of a date
// or time range, and the "U" of UTC behind it.  The "U" is looked at and
// not stepped over, so no first date or time can stand behind it.
size_t ReadRangeField(const CString &text, short *field, bool *utc, RANGES *r) {
    size_t p = 0;
    wchar_t c = ToUpperChar(text.At(p));
    if (c == L'A' || c == L'C' || c == L'W') {
        *field = c == L'A' ? RANGE_ACCESS : c == L'C' ? RANGE_CREATION : RANGE_WRITE;
        c = ToUpperChar(text.At(++p));
    }
    *utc = c == L'U';
    if (*utc) r->fUseUTC = true;
    return p;
}

// Only the date after the comma counts in a "/[du...]" range.
int ParseDateRange(CString text, RANGES *r) {
    bool utc;
    size_t p = ReadRangeField(text, &r->nDateField, &utc, r);
    long start = Today(utc), end = start;
    int startTime = 0, endTime = kLastSecondOfDay;
    if (!utc && IsDigit(text.At(p))) ExpandRawFileTime(text, p);
    if (!utc && StartsLikeNumber(text.c_str() + p)) {
        long days;
        wchar_t sign;
        if (int rc = ReadRangeDate(text, p, &days, &sign)) return rc;
        if (sign == L'-') start += days;
        else if (sign == L'+') end += days;
        else start = days;
    }
    size_t comma = text.find(L',', p);
    bool given;
    if (int rc = TimeBehindAt(text, p, comma, &startTime, &given)) return rc;
    if (comma != CString::npos) {
        size_t q = comma + 1;
        if (IsDigit(text.At(q))) ExpandRawFileTime(text, q);
        bool swapped = false;
        if (StartsLikeNumber(text.c_str() + q)) {
            long days;
            wchar_t sign;
            if (int rc = ReadRangeDate(text, q, &days, &sign)) return rc;
            if (sign == L'-') end = start, start += days;
            else if (sign == L'+') end = start + days;
            else if ((end = days) < start) std::swap(start, end), swapped = true;
        }
        int second = kLastSecondOfDay;
        bool secondGiven;
        if (int rc = TimeBehindAt(text, q, CString::npos, &second, &secondGiven)) return rc;
        if (swapped) {
            endTime = given ? startTime : kLastSecondOfDay;
            startTime = secondGiven ? second : 0;
        } else if (secondGiven) {
            endTime = second;
        }
    }
    r->ftDateLow = FileTimeFromDays(start, startTime);
    // The high end takes in the whole of its last second.
    r->ftDateHigh = FileTimeFromDays(end, endTime) + FILETIME_TICKS_PER_SECOND - 1;
    return 0;
}

// A time of a time range: minutes with their sign in *sign, or an absolute
// time of day.
int ReadRangeTime(const CString &text, size_t at, int *value, wchar_t *sign) {
    const wchar_t *p = text.c_str() + at;
    size_t run = wcscspn(p, L",@");
    if (*p == L'-' || *p == L'+' || (run && wcsspn(p, L"0123456789") == run)) {
        *sign = *p == L'-' ? L'-' : L'+';
        const wchar_t *q = p + (*p == L'-' || *p == L'+');
        if (!IsDigit(*q)) return ERROR_BD_INVALID_TIME;
        *value = (int)(wcstoul(q, nullptr, 10) % (kSecondsPerDay / 60 * 1000)) * 60;
        return 0;
    }
    *sign = 0;
    return ParseTimeOfDay(p, value);
}

int WrapDay(int seconds) {
    seconds %= kSecondsPerDay;
    return seconds < 0 ? seconds + kSecondsPerDay : seconds;
}

// A "/[tu...]" range reads its time from the "U", and is refused.
int ParseTimeRange(const CString &text, RANGES *r) {
    bool utc;
    size_t p = ReadRangeField(text, &r->nTimeField, &utc, r);
    SYSTEMTIME now;
    if (utc) GetSystemTime(&now);
    else GetLocalTime(&now);
    int start = now.wHour * 3600 + now.wMinute * 60 + now.wSecond, end = start;
    size_t comma = text.find(L',', p);
    if (p < text.size() && p != comma) {
        int value;
        wchar_t sign;
        if (int rc = ReadRangeTime(text, p, &value, &sign)) return rc;
        if (sign == L'-') start -= value;
        else if (sign == L'+') end += value;
        else start = value;
    }
    if (comma != CString::npos) {
        int value;
        wchar_t sign;
        if (int rc = ReadRangeTime(text, comma + 1, &value, &sign)) return rc;
        // An absolute end below the start wraps past midnight.
        if (sign == L'-') end = start, start -= value;
        else if (sign == L'+') end = start + value;
        else end = value;
    }
    r->nTimeLow = WrapDay(start);
    r->nTimeHigh = WrapDay(end);
    return 0;
}

// A size with its suffix (k 1000, K 1024, m, M, g, G, t, T, p, P; b bytes).
int ReadSize(const wchar_t *&p, long long *size) {
    const wchar_t *q = p + (*p == L'-' || *p == L'+');
    if (!IsDigit(*q)) return ERROR_INVALID_PARAMETER;
    long long value = _wcstoi64(p, const_cast<wchar_t **>(&p), 10);
    while (*p == L' ' || *p == L'\t') p++;
    static const wchar_t kSuffixes[] = L"kKmMgGtTpP";
    static const long long kFactors[] = {1000LL, 1024LL, 1000000LL, 1048576LL, 1000000000LL, 1073741824LL,
                                         1000000000000LL, 1099511627776LL, 1000000000000000LL, 1125899906842624LL};
    if (*p && wcschr(kSuffixes, *p)) {
        long long factor = kFactors[wcschr(kSuffixes, *p) - kSuffixes];
        if (value > LLONG_MAX / factor || value < -(LLONG_MAX / factor)) return ERROR_INVALID_PARAMETER;
        value *= factor;
        p++;
    }
    else if (*p == L'b' || *p == L'B') p++;
    *size = value;
    return *p && *p != L',' ? ERROR_INVALID_PARAMETER : 0;
}

int ParseSizeRange(const CString &text, RANGES *r) {
    const wchar_t *p = text.c_str();
    if (*p == L'c' || *p == L'C') r->fCompressedSize = true, p++;
    long long low, high = -1;
    if (int rc = ReadSize(p, &low)) return rc;
    if (*p == L',') {
        p++;
        wchar_t sign = *p;
        if (int rc = ReadSize(p, &high)) return rc;
        // The second part reads with its sign: "-n" is low - n to low.
        if (sign == L'-') std::swap(low, high), low += high;
        else if (sign == L'+') high += low;
        if (high < low) std::swap(low, high);
    }
    r->nSizeLow = low;
    r->nSizeHigh = high;
    return 0;
}

int ParseOwnerRange(const CString &text, RANGES *r) {
    CString owner = text;
    if (owner.At(0) == L'"') {
        size_t close = owner.find(L'"', 1);
        owner = owner.substr(1, close == CString::npos ? CString::npos : close - 1);
    }
    r->sOwner = owner.Left(255);
    return 0;
}

int ParseOneRange(const CString &text, RANGES *r, bool negate) {
    CString rest = text.Mid(1);
    switch (ToUpperChar(text.At(0))) {
    case L'D': r->fDateNegated = negate; return ParseDateRange(rest, r);
    case L'T': r->fTimeNegated = negate; return ParseTimeRange(rest, r);
    case L'S': r->fSizeNegated = negate; return ParseSizeRange(rest, r);
    case L'O': r->fOwnerNegated = negate; return ParseOwnerRange(rest.TrimLeftCopy(), r);
    }
    return 0;
}

}  // namespace

namespace {

enum : int { kArgOptions = ARG_BRACKETS };

// "/I"text"" or "/R"text"" at the front of arg (behind the switch and an
// optional "!"); false when arg is not one.
bool TakeDescription(const CString &arg, size_t at, RANGES *r, bool negate) {
    wchar_t kind = ToUpperChar(arg.At(at));
    if ((kind != L'I' && kind != L'R') || arg.At(at + 1) != L'"') return false;
    size_t close = arg.find(L'"', at + 2);
    CString text = arg.substr(at + 2, close == CString::npos ? CString::npos : close - at - 2);
    r->sDescription = text.Left(1023);
    r->fDescriptionNegated = negate;
    r->fDescriptionRegex = kind == L'R';
    return true;
}

// The "/[...]" (or "/![...]") filter at line[start]; open is the index of
// its "[".  The filter is taken out of the line.  0, or a code already
// reported.
int TakeBracketFilter(CString &line, size_t start, size_t open, RANGES *r, bool negate) {
    int close = ScanIndex(line.c_str() + open + 1, L"]", L"`\"[");
    if (close < 0 || line.At(open + 1 + (size_t)close) != L']')
        return BDError(ERROR_BD_RANGE_NOT_CLOSED, line.c_str() + start);
    size_t end = open + 1 + (size_t)close;
    CString text = line.substr(open + 1, end - open - 1);
    if (text.At(0) == L'!') {
        text.erase(0, 1);
        text.TrimLeft();
        if (int rc = VariableExpansion(text, 1)) return rc;
        if (!r->sExclusions.empty() && !text.empty()) r->sExclusions += L' ';
        r->sExclusions += text;
    } else {
        if (int rc = VariableExpansion(text, 1)) return rc;
        if (int rc = ParseOneRange(text, r, negate)) return BDError(rc, line.substr(start, end + 1 - start).c_str());
    }
    line.erase(start, end + 1 - start);
    return 0;
}

}  // namespace

int GetRange(CString &line, RANGES *ranges, int stopAtFirstArgument) {
    *ranges = RANGES();
    wchar_t sw = SwitchCharValue();
    CString arg;
    int start = 0;
    for (int i = 0; GetNthArgument(line.c_str(), i | kArgOptions, &arg, &start);) {
        if (arg.At(0) != sw) {
            if (stopAtFirstArgument) break;
            i++;
            continue;
        }
        size_t at = 1;
        bool negate = arg.At(at) == L'!';
        if (negate) at++;
        if (arg.At(at) == L'[' && arg.Mid(at).EqualsNoCase(L"[=]")) {
            // The ranges dialog belongs to the windowed host.
            return BDError(ERROR_BD_NOT_AVAILABLE, arg.c_str());
        }
        if (arg.At(at) == L'[') {
            if (int rc = TakeBracketFilter(line, (size_t)start, (size_t)start + at, ranges, negate)) return rc;
            continue;
        }
        if (TakeDescription(arg, at, ranges, negate)) {
            line.erase((size_t)start, arg.size());
            continue;
        }
        i++;
    }
    line.TrimLeft();
    return 0;
}

bool QueryRangesSet(const RANGES &r) {
    return r.ftDateLow != 0 || r.ftDateHigh != ~0ull || r.fDateNegated || r.nTimeLow != 0 || r.nTimeHigh != -1 ||
           r.fTimeNegated || r.nSizeLow != 0 || r.nSizeHigh != -1 || r.fSizeNegated || r.fCompressedSize ||
           !r.sDescription.empty() || !r.sOwner.empty();
}

namespace {

const FILETIME &TimeField(const WIN32_FIND_DATAW &entry, short field) {
    return field == RANGE_ACCESS ? entry.ftLastAccessTime : field == RANGE_CREATION ? entry.ftCreationTime
                                                                                   : entry.ftLastWriteTime;
}

// The entry's time as the ranges compare it: local time unless UTC.
bool EntryTime(const WIN32_FIND_DATAW &entry, short field, bool utc, SYSTEMTIME *t, unsigned long long *value) {
    if (!FileTimeToDate(FileTimeValue(TimeField(entry, field)), utc, t)) return false;
    FILETIME ft;
    if (!SystemTimeToFileTime(t, &ft)) return false;
    *value = FileTimeValue(ft);
    return true;
}

bool DatePasses(const RANGES &r, const WIN32_FIND_DATAW &entry) {
    SYSTEMTIME t;
    unsigned long long v;
    bool in = EntryTime(entry, r.nDateField, r.fUseUTC, &t, &v) && v >= r.ftDateLow && v <= r.ftDateHigh;
    return in != r.fDateNegated;
}

// With high below low the range runs past midnight: a time passes unless
// it lies strictly between high and low.
bool TimePasses(const RANGES &r, const WIN32_FIND_DATAW &entry) {
    SYSTEMTIME t;
    unsigned long long v;
    if (!EntryTime(entry, r.nTimeField, r.fUseUTC, &t, &v)) return r.fTimeNegated;
    unsigned s = t.wHour * 3600u + t.wMinute * 60u + t.wSecond, low = (unsigned)r.nTimeLow, high = (unsigned)r.nTimeHigh;
    bool in = low <= high ? s >= low && s <= high : !(s > high && s < low);
    return in != r.fTimeNegated;
}

CString EntryPath(const wchar_t *directory, const WIN32_FIND_DATAW &entry) {
    CString full = directory ? directory : L"";
    MakeDirectoryName(full, entry.cFileName);
    MakeVLFN(full);
    return full;
}

bool SizePasses(const RANGES &r, const WIN32_FIND_DATAW &entry, const wchar_t *directory) {
    long long size = ((long long)entry.nFileSizeHigh << 32) | entry.nFileSizeLow;
    if (r.fCompressedSize && size && !(entry.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) {
        DWORD high = 0, low = GetCompressedFileSizeW(EntryPath(directory, entry).c_str(), &high);
        size = low == INVALID_FILE_SIZE && GetLastError() != NO_ERROR ? 0 : ((long long)high << 32) | low;
    }
    bool in = size >= r.nSizeLow && (r.nSizeHigh < 0 || size <= r.nSizeHigh);
    return in != r.fSizeNegated;
}

bool DescriptionPasses(const RANGES &r, const WIN32_FIND_DATAW &entry, const wchar_t *directory) {
    CString text;
    ReadDescriptions(EntryPath(directory, entry).c_str(), text);
    bool in = r.fDescriptionRegex ? RegularExpressionMatchQuiet(r.sDescription.c_str(), text) == 1
                                  : WildcardComparison(r.sDescription.c_str(), text.c_str(), 0, 1) == 0;
    return in != r.fDescriptionNegated;
}

bool OwnerPasses(const RANGES &r, const WIN32_FIND_DATAW &entry, const wchar_t *directory) {
    CString owner;
    if (QueryFileOwner(EntryPath(directory, entry).c_str(), &owner)) return false;
    bool in = WildcardComparison(r.sOwner.c_str(), owner.c_str(), 0, 1) == 0;
    return in != r.fOwnerNegated;
}

}  // namespace

bool QueryInRanges(const RANGES &r, const WIN32_FIND_DATAW &entry, const wchar_t *directory) {
    if ((r.ftDateLow != 0 || r.ftDateHigh != ~0ull || r.fDateNegated) && !DatePasses(r, entry)) return false;
    if ((r.nTimeLow != 0 || r.nTimeHigh != -1 || r.fTimeNegated) && !TimePasses(r, entry)) return false;
    if ((r.nSizeLow != 0 || r.nSizeHigh != -1 || r.fSizeNegated || r.fCompressedSize) &&
        !SizePasses(r, entry, directory))
        return false;
    if (!r.sDescription.empty() && !DescriptionPasses(r, entry, directory)) return false;
    if (!r.sOwner.empty() && !OwnerPasses(r, entry, directory)) return false;
    return true;
}

// The exclusions are tried one by one.  A name ending in a separator
// excludes directories only, and a file that it names is kept at once,
// with no later exclusion tried.
bool QueryIsExcluded(const RANGES &r, const wchar_t *name, DWORD attributes) {
    CString ex;
    for (int i = 0; GetNthArgument(r.sExclusions.c_str(), i | ARG_NO_COMMA, &ex); i++) {
        StripQuotes_S(ex);
        bool dirsOnly = !ex.empty() && (ex.back() == L'\\' || ex.back() == L'/');
        if (dirsOnly) ex.pop_back();
        bool match = ex.find(L'[') != CString::npos ? StrICmp(ex.c_str(), name) == 0
                                                     : WildcardComparison(ex.c_str(), name, 1, 1) == 0;
        if (!match) continue;
        return !dirsOnly || (attributes & FILE_ATTRIBUTE_DIRECTORY);
    }
    return false;
}

int QueryFileOwner(const wchar_t *fileName, CString *owner) {
    PSID sid = nullptr;
    PSECURITY_DESCRIPTOR descriptor = nullptr;
    DWORD rc = GetNamedSecurityInfoW(fileName, SE_FILE_OBJECT, OWNER_SECURITY_INFORMATION, &sid, nullptr, nullptr,
                                     nullptr, &descriptor);
    if (rc != ERROR_SUCCESS) return (int)rc;
    wchar_t user[256], domain[256];
    DWORD userLength = 256, domainLength = 256;
    SID_NAME_USE use;
    BOOL ok = sid && LookupAccountSidW(nullptr, sid, user, &userLength, domain, &domainLength, &use);
    rc = ok ? 0 : GetLastError();
    LocalFree(descriptor);
    if (!ok) return rc ? (int)rc : ERROR_NONE_MAPPED;
    *owner = *domain ? FormatStr(L"%s\\%s", domain, user) : CString(user);
    return 0;
}
