// File selection: the range filters that file commands take before their
// arguments (/[d...] date, /[t...] time of day, /[s...] size, /[o...] owner,
// /I"..." and /R"..." description, /[!...] exclusions, the first four
// negated as /![...]), the wildcard matcher, the rename-by-pattern rule and
// the string order of every sort.
#pragma once
#include "base/cstring.h"
#include "base/platform.h"

// The filters of one command, as GetRange leaves them.
struct RANGES {
    CString sExclusions;              // blank-separated names of /[!...]
    CString sDescription;             // pattern of /I"..." or /R"..."
    CString sOwner;                   // pattern of /[o...]
    unsigned long long ftDateLow = 0;            // FILETIME values, local time
    unsigned long long ftDateHigh = ~0ull;       //   unless fUseUTC
    long long nSizeLow = 0;
    long long nSizeHigh = -1;         // negative: no upper limit
    bool fCompressedSize = false;     // /[sc...]: compare the size on disk
    short nDateField = 0;             // RANGE_WRITE, RANGE_ACCESS or RANGE_CREATION
    short nTimeField = 0;
    bool fDateNegated = false;
    int nTimeLow = 0;                 // seconds after midnight
    int nTimeHigh = -1;               // compared unsigned: -1 lets all pass
    bool fUseUTC = false;
    bool fTimeNegated = false, fSizeNegated = false, fDescriptionNegated = false;
    bool fDescriptionRegex = false;   // /R"..."
    bool fOwnerNegated = false;
};

// Which time of an entry a date or time range looks at.
enum : short { RANGE_WRITE = 0, RANGE_ACCESS = 1, RANGE_CREATION = 2 };

// Take the filters out of line (which is then left-trimmed) into ranges.
// With stopAtFirstArgument, stop at the first argument that is not a filter.
// Returns 0, or non-zero after a failure (already reported).
int GetRange(CString &line, RANGES *ranges, int stopAtFirstArgument);
// Whether any date, time, size, description or owner filter is set
// (exclusions are asked for separately: sExclusions is not empty).
bool QueryRangesSet(const RANGES &ranges);
// Whether a found entry passes the date, time, size, description and owner
// filters.  directory is where the entry lies (for its description, owner
// and compressed size).
bool QueryInRanges(const RANGES &ranges, const WIN32_FIND_DATAW &entry, const wchar_t *directory);
// Whether an entry (its file-name part and attributes) is excluded by the
// /[!...] names.
bool QueryIsExcluded(const RANGES &ranges, const wchar_t *name, DWORD attributes);
// The owner of a file as "DOMAIN\user"; 0 or a system error code.
int QueryFileOwner(const wchar_t *fileName, CString *owner);

// Wildcards.  0 when name matches pattern, else non-zero.  dotRule: the
// file-name rules ("." and ".." are empty names, "?" and "." stop at a
// dot); sets: "[...]" is a character set.  A pattern beginning "::" is a
// regular expression.  The matcher ends a pattern at ";", "=" or a double
// quote, so it can match in place inside an include list.  Case never
// counts (caseFlag is taken for the callers' sake and has no effect).
int WildcardComparison(const wchar_t *pattern, const wchar_t *name, int dotRule, int sets);
int WildcardComparisonEx(const wchar_t *pattern, const wchar_t *name, int dotRule, int sets, int caseFlag);
// Whether a pattern uses wildcards ("*", "?", or "[" with a "]" behind it,
// or a leading "::").
bool QueryIsWildcard(const wchar_t *pattern);
// A set "[" without its "]": 0 when every set is closed, else the error code
// (already reported unless quiet).
int CheckWildcardSets(const wchar_t *pattern, int quiet);

// The target name when source is copied or moved to a pattern holding
// wildcards ("*.bak" on "a.b.txt" gives "a.b.bak").
void MakeWildcardName(CString &result, const wchar_t *pattern, const wchar_t *source);
// 1 exactly for "." and "..".
int QueryIsDotName(const wchar_t *name);

// The shell's string order: negative, 0 or positive.
enum : unsigned {
    COMPARE_PLAIN = 1,          // character order, case folded
    COMPARE_FILE_NAMES = 0x10,  // a shorter stem sorts first; extensions left to the caller
    COMPARE_NUMERIC = 0x1000,   // runs of digits compare as numbers
};
int CompareStrings(const wchar_t *a, const wchar_t *b, unsigned flags);
