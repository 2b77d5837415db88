// DIR and PDIR: the switches, the names, the gathering of one directory
// into an array of entries, and the walk of /S with its totals.  The
// layouts live in dir_print.cpp, the colours in colordir.cpp and PDIR's
// format in pdir.cpp.
#include "files/dir.h"
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "console/screen.h"
#include "files/dates.h"
#include "files/descript.h"
#include "files/files.h"
#include "files/paths.h"
#include "files/ranges.h"
#include "files/search.h"
#include <cwchar>

namespace {

constexpr size_t kEntryStep = 512;
constexpr size_t kMaxSortKeys = 14;

bool Has(const DIRSTATE &st, unsigned bit) { return (st.fFlags & bit) == bit; }
bool Has2(const DIRSTATE &st, unsigned bit) { return (st.fFlags2 & bit) != 0; }

// Digits at text[*i]; *i moves behind them.  -1 when there are none.
long ReadNumber(const CString &text, size_t *i) {
    size_t start = *i;
    long n = 0;
    while (*i < text.size() && text[*i] >= L'0' && text[*i] <= L'9' && n < 100000000) n = n * 10 + (text[(*i)++] - L'0');
    return *i > start ? n : -1;
}

// /N with letters: E V H S F J D Z L, and M[:n]; a dash clears a letter.
int ReadNLetters(DIRSTATE &st, const CString &arg, size_t i) {
    static const struct {
        wchar_t letter;
        unsigned first, second;
    } letters[] = {{L'E', 0, DIR2_NO_ERRORS},     {L'V', 0, DIR2_NO_LABEL},      {L'H', DIR_NO_HEADER, 0},
                   {L'S', DIR_NO_SUMMARY, 0},     {L'F', 0, DIR2_NO_FREE},       {L'J', 0, DIR2_NO_JUNCTIONS},
                   {L'D', 0, DIR2_NO_DIR_HEADERS}, {L'Z', 0, DIR2_NO_DIR_SIZE}, {L'L', 0, DIR2_NO_LINKS}};
    st.fFlags |= DIR_LONG;
    bool off = false;
    for (; i < arg.size(); i++) {
        wchar_t c = ToUpperChar(arg[i]);
        if (c == SwitchCharValue()) continue;
        if (c == L'-') {
            off = true;
            continue;
        }
        if (c == L'M') {
            if (arg.At(i + 1) == L':') i++;
            i++;
            long n = ReadNumber(arg, &i);
            i--;
            st.nNameWidth = off || n < 0 ? 0 : (int)n;
            off = false;
            continue;
        }
        bool known = false;
        for (const auto &l : letters) {
            if (l.letter != c) continue;
            known = true;
            if (off) st.fFlags &= ~l.first, st.fFlags2 &= ~l.second;
            else st.fFlags |= l.first, st.fFlags2 |= l.second;
        }
        if (!known) return ERROR_INVALID_PARAMETER;
        off = false;
    }
    return 0;
}

// /O[:]keys: at most 14 of "-acdeginosurtxz".
int ReadSortKeys(DIRSTATE &st, const CString &arg, size_t i) {
    if (arg.At(i) == L':') i++;
    CString keys;
    for (; i < arg.size() && arg[i] != SwitchCharValue(); i++) {
        wchar_t c = ToLowerChar(arg[i]);
        if (!wcschr(L"-acdeginosurtxz", c)) return ERROR_INVALID_PARAMETER;
        if (keys.size() < kMaxSortKeys) keys += c;
    }
    st.aSearch.sSortKeys = keys;
    if (keys.find(L'x') != CString::npos) {
        st.fFlags |= 0x40C0;
        st.fFlags2 |= DIR2_LONG_SORT;
    }
    return 0;
}

// /T alone: the attribute column.  /T:x or /Tx with x of a, c, w, u: the
// time shown (access, creation, write) or UTC.
size_t ReadTimeField(DIRSTATE &st, const CString &arg, size_t i, bool off) {
    size_t j = i + 1;
    if (arg.At(j) == L':') j++;
    bool field = false;
    while (wchar_t c = ToLowerChar(arg.At(j))) {
        if (c == L'u') st.fUTC = true;
        else if (c == L'a' || c == L'c' || c == L'w') st.cTimeField = c;
        else break;
        field = true;
        j++;
    }
    if (!field) {
        if (off) st.fFlags &= ~DIR_ATTRIBUTES;
        else st.fFlags |= DIR_ATTRIBUTES;
    }
    return j - 1;
}

void SetFlag(DIRSTATE &st, unsigned bits, bool off) {
    if (off) st.fFlags &= ~bits;
    else st.fFlags |= bits;
}

// The bits of a switch that is a letter and nothing more; 0 for others.
unsigned PlainSwitchBits(wchar_t c) {
    static const struct {
        wchar_t letter;
        unsigned bits;
    } letters[] = {{L'E', DIR_UPPER},     {L'L', DIR_LOWER},    {L'J', DIR_JUSTIFY},     {L'V', DIR_DOWN},
                   {L'K', DIR_NO_HEADER}, {L'M', DIR_NO_SUMMARY}, {L'Z', DIR_SFN_LEFT}, {L'F', DIR_FULL},
                   {L'X', DIR_SHOW_SFN},  {L'W', DIR_WIDE},     {L'Q', DIR_OWNER},       {L':', DIR_STREAMS}};
    for (const auto &l : letters)
        if (l.letter == c) return l.bits;
    return 0;
}

// The switches that take the rest of their argument: /A, /O, /N, /CD:.
// True when c is one of them; *rc then holds the result.
bool ReadWholeSwitch(DIRSTATE &st, const CString &arg, size_t i, wchar_t c, bool off, int *rc) {
    *rc = 0;
    switch (c) {
    case L'A':
        if (off) {
            st.aSearch.fRequired = st.aSearch.fForbidden = st.aSearch.fAnyOf = 0;
            st.nFindFlags = FILE_ATTRIBUTE_DIRECTORY;
        } else {
            GetSearchAttributes(arg.c_str() + i + 1, &st.aSearch);
            st.nFindFlags = st.aSearch.fSearchFlags;
        }
        return true;
    case L'O':
        if (off) st.aSearch.sSortKeys = L"u";
        else *rc = ReadSortKeys(st, arg, i + 1);
        return true;
    case L'N':
        if (off) st.fFlags &= ~DIR_LONG;
        else *rc = ReadNLetters(st, arg, i + 1);
        return true;
    case L'C':
        if (ToUpperChar(arg.At(i + 1)) != L'D' || arg.At(i + 2) != L':') return false;
        st.sColorText = arg.Mid(i + 3);
        return true;
    }
    return false;
}

// /S, /S+n (nothing shown above level n), /Sn (n levels).  Returns the
// index of the switch's last character, or npos for a bad number.
size_t ReadDepth(DIRSTATE &st, const CString &arg, size_t i, bool off) {
    SetFlag(st, DIR_SUBDIRS, off);
    st.nMaxDepth = off ? 0 : DIR_MAX_DEPTH;
    if (arg.At(i + 1) == L'+') {
        i += 2;
        long n = ReadNumber(arg, &i);
        if (n < 0) return CString::npos;
        st.nShowAbove = (int)n;
        return i - 1;
    }
    if (arg.At(i + 1) >= L'0' && arg.At(i + 1) <= L'9') {
        i++;
        st.nMaxDepth = (int)ReadNumber(arg, &i);
        return i - 1;
    }
    return i;
}

// A switch letter with an optional digit or letter behind it: /U[1|2],
// /B[1], /H[L], /G[:n], /P[n], /T[:acwu].  Returns the index of its last
// character, npos for a bad value, or i - 1 when c is none of them.
size_t ReadLetterWithValue(DIRSTATE &st, const CString &arg, size_t i, wchar_t c, bool off) {
    wchar_t next = ToUpperChar(arg.At(i + 1));
    switch (c) {
    case L'U':
        SetFlag(st, DIR_SUMMARY_ONLY | DIR_SUMMARY_DIRS | DIR_SUMMARY_TREES, true);
        if (off) return i;
        st.fFlags |= DIR_SUMMARY_ONLY;
        if (next == L'1') st.fFlags |= DIR_SUMMARY_DIRS;
        if (next == L'2') st.fFlags |= DIR_SUMMARY_TREES;
        return next == L'1' || next == L'2' ? i + 1 : i;
    case L'B':
        SetFlag(st, DIR_BARE, off);
        st.fFlags2 &= ~DIR2_AS_TYPED;
        if (off || next != L'1') return i;
        st.fFlags2 |= DIR2_AS_TYPED;
        return i + 1;
    case L'H':
        if (next != L'L') {
            SetFlag(st, DIR_HIDE_DOTS, off);
            return i;
        }
        st.fFlags2 = off ? st.fFlags2 & ~DIR2_HIDE_LINKS : st.fFlags2 | DIR2_HIDE_LINKS;
        return i + 1;
    case L'G': {
        SetFlag(st, DIR_ALLOCATED, off);
        if (next != L':') return i;
        size_t j = i + 2;
        long n = ReadNumber(arg, &j);
        if (n <= 0) return CString::npos;
        st.nCluster = (unsigned long)n;
        return j - 1;
    }
    case L'P': {
        st.fPause = !off;
        size_t j = i + 1;
        long n = ReadNumber(arg, &j);
        if (n < 0) return i;
        st.nPauseTimeout = (int)n;
        return j - 1;
    }
    case L'T': return ReadTimeField(st, arg, i, off);
    }
    return i - 1;
}

// One switch argument, letters grouped: "/bs", "/-p", "/a-d", "/o:-d".
int ReadSwitch(DIRSTATE &st, const CString &arg) {
    wchar_t sw = SwitchCharValue();
    for (size_t i = 1; i < arg.size(); i++) {
        wchar_t c = ToUpperChar(arg[i]);
        bool off = false;
        if (c == sw) continue;
        if (c == L'-') {
            off = true;
            c = ToUpperChar(arg.At(++i));
        }
        int rc;
        if (ReadWholeSwitch(st, arg, i, c, off, &rc)) return rc;
        size_t last = c == L'S' ? ReadDepth(st, arg, i, off) : ReadLetterWithValue(st, arg, i, c, off);
        if (last == CString::npos) return ERROR_INVALID_PARAMETER;
        if (last >= i) {
            i = last;
            continue;
        }
        switch (c) {
        case L'C':
            if (off) st.fFlags2 |= DIR2_NO_SEPARATORS;
            else st.fFlags |= DIR_RATIO;
            break;
        case L'D': SetFlag(st, st.fCmdMode ? DIR_DOWN : DIR_NO_COLOR, off); break;
        case L'R': SetFlag(st, st.fCmdMode ? DIR_STREAMS : DIR_NO_WRAP, off); break;
        case L'1':
        case L'2':
        case L'4': st.nColumns = off ? 1 : c - L'0'; break;
        default: {
            unsigned bits = PlainSwitchBits(c);
            if (!bits) return ERROR_INVALID_PARAMETER;
            SetFlag(st, bits, off);
        }
        }
    }
    return 0;
}

// Switches out of the argument text, names into names.
int ReadArguments(DIRSTATE &st, const CString &args, std::vector<CString> *names) {
    CString arg;
    for (int i = 0; GetNthArgument(args.c_str(), i, &arg); i++) {
        if (arg.At(0) == SwitchCharValue() && arg.size() > 1) {
            if (ReadSwitch(st, arg)) {
                st.nErrors++;
                return BDError(ERROR_INVALID_PARAMETER, arg.c_str());
            }
        } else {
            names->push_back(arg);
        }
    }
    if (st.fPdir) st.fFlags |= DIR_NO_HEADER | DIR_NO_SUMMARY;
    // Dates and times are worked out only for the layouts that show them.
    st.fShowTimes = st.fPdir || !(Has(st, DIR_BARE_NAMES) || Has(st, DIR_FULL_NAMES) || Has(st, DIR_WIDE) ||
                                  st.nColumns == 4 || Has(st, DIR_SUMMARY_ONLY));
    if (st.nColumns > 1 || Has(st, DIR_WIDE)) st.fFlags &= ~DIR_MULTI_COLUMN_OFF;
    return 0;
}

unsigned long long Ticks(const FILETIME &t) { return ((unsigned long long)t.dwHighDateTime << 32) | t.dwLowDateTime; }

// The size on disk: the compressed size for a compressed or sparse file,
// rounded up to whole clusters.
unsigned long long AllocatedSize(const DIRSTATE &st, const CString &full, const FILESEARCH &fs,
                                 unsigned long cluster) {
    unsigned long long size = fs.nSize;
    if (fs.fAttributes & (FILE_ATTRIBUTE_COMPRESSED | FILE_ATTRIBUTE_SPARSE_FILE)) {
        DWORD high = 0;
        DWORD low = GetCompressedFileSizeW(full.c_str(), &high);
        if (low != INVALID_FILE_SIZE || GetLastError() == NO_ERROR) size = ((unsigned long long)high << 32) | low;
    }
    if (cluster) size = (size + cluster - 1) / cluster * cluster;
    return size;
}

// The cluster size of the volume a directory lies on.
unsigned long ClusterSize(const CString &dir) {
    CString root(dir.size() + 2, L'\0');
    if (!GetVolumePathNameW(dir.c_str(), root.data(), (DWORD)root.size())) return 0;
    DWORD sectors = 0, bytes = 0, freeClusters = 0, clusters = 0;
    if (!GetDiskFreeSpaceW(root.c_str(), &sectors, &bytes, &freeClusters, &clusters)) return 0;
    return sectors * bytes;
}

// The alternate streams of a file as "name:stream size" lines.
CString StreamList(const CString &full) {
    WIN32_FIND_STREAM_DATA data;
    HANDLE h = FindFirstStreamW(full.c_str(), FindStreamInfoStandard, &data, 0);
    if (h == INVALID_HANDLE_VALUE) return CString();
    CString list;
    do {
        CString name = data.cStreamName;
        if (name == L"::$DATA") continue;
        if (name.ends_with(L":$DATA")) name.Truncate(name.size() - 6);
        if (!list.empty()) list += L"\r\n";
        list += FormatStr(L"%s %I64u", name.c_str(), (unsigned long long)data.StreamSize.QuadPart);
    } while (FindNextStreamW(h, &data));
    FindClose(h);
    return list;
}

// A file time as the listing shows it.  The local time of each quarter
// hour is asked for once: asking the system for each of many thousand
// entries costs more than the listing itself, and a change of the clock
// (summer time) always falls on a quarter hour.
void ShownTime(unsigned long long ticks, bool utc, SYSTEMTIME *out) {
    constexpr unsigned long long kQuarterHour = 9000000000ULL;
    constexpr size_t kSlots = 64;
    static thread_local unsigned long long bucket[kSlots], bias[kSlots];
    static thread_local bool filled[kSlots];
    if (utc) {
        FileTimeToDate(ticks, true, out);
        return;
    }
    unsigned long long b = ticks / kQuarterHour;
    size_t slot = (size_t)(b % kSlots);
    if (!filled[slot] || bucket[slot] != b) {
        SYSTEMTIME local;
        FILETIME ft;
        if (!FileTimeToDate(b * kQuarterHour, false, &local) || !SystemTimeToFileTime(&local, &ft)) {
            FileTimeToDate(ticks, false, out);
            return;
        }
        bucket[slot] = b;
        bias[slot] = ((unsigned long long)ft.dwHighDateTime << 32 | ft.dwLowDateTime) - b * kQuarterHour;
        filled[slot] = true;
    }
    FileTimeToDate(ticks + bias[slot], true, out);
}

// One accepted entry into a DIR entry, with the queries its flags ask for.
void MakeEntry(DIRSTATE &st, const CString &dir, bool descriptions, unsigned long cluster, DIRENTRY &e) {
    const FILESEARCH &fs = st.aSearch;
    e.fAttributes = fs.fAttributes;
    e.ftWrite = Ticks(fs.ftLastWrite);
    e.ftAccess = Ticks(fs.ftLastAccess);
    e.ftCreation = Ticks(fs.ftCreation);
    if (st.fShowTimes) {
        unsigned long long shown = st.cTimeField == L'a' ? e.ftAccess : st.cTimeField == L'c' ? e.ftCreation : e.ftWrite;
        ShownTime(shown, st.fUTC, &e.stTime);
    }
    e.nSize = fs.nSize;
    e.sName = fs.sName;
    e.sShortName = fs.sAltName;
    if (!Has2(st, DIR2_NO_LINKS)) e.sLinkTarget = fs.sLinkTarget;
    if (Has(st, DIR_UPPER)) e.sName.MakeUpper();
    if (Has(st, DIR_LOWER)) e.sName.MakeLower();
    bool dirEntry = e.fAttributes & FILE_ATTRIBUTE_DIRECTORY;
    bool needFull = (st.fFlags & (DIR_RATIO | DIR_ALLOCATED | DIR_OWNER | DIR_STREAMS)) || descriptions;
    if (!needFull || QueryIsDotName(fs.sName.c_str())) return;
    CString full = dir + fs.sName;
    MakeVLFN(full);
    if ((st.fFlags & (DIR_RATIO | DIR_ALLOCATED)) && !dirEntry) {
        e.nAllocated = AllocatedSize(st, full, fs, Has(st, DIR_ALLOCATED) ? cluster : 0);
        if (e.nSize) e.nRatio = (int)(((long double)e.nSize - (long double)e.nAllocated) / e.nSize * 100);
        if (e.nRatio < 0) e.nRatio = 0;
    }
    if (Has(st, DIR_OWNER)) e.fHasOwner = QueryFileOwner(full.c_str(), &e.sOwner) == 0;
    if (Has(st, DIR_STREAMS) && !dirEntry) e.sStreams = StreamList(full);
    if (descriptions) ReadDescriptions(full.c_str(), e.sDescription);
}

bool DescriptionsWanted(const DIRSTATE &st, const CString &dir) {
    if (!aIniFile.Descriptions) return false;
    // Shown only by the long layout and PDIR, but a sort by them needs them.
    bool shown = st.nColumns == 1 && !Has(st, DIR_WIDE) && !Has(st, DIR_BARE_NAMES);
    if (!shown && st.aSearch.sSortKeys.find(L'i') == CString::npos) return false;
    CString file = dir + QueryDescriptionName();
    return GetFileAttributesW(file.c_str()) != INVALID_FILE_ATTRIBUTES;
}

SORTITEM SortItemOf(const DIRENTRY &e) {
    return SORTITEM{e.sName.c_str(), e.fAttributes, e.ftWrite,          e.ftAccess,
                    e.ftCreation,   (long long)e.nSize, e.nRatio,    e.sDescription.c_str(),
                    e.fHasOwner ? e.sOwner.c_str() : nullptr};
}

void SortEntries(DIRSTATE &st, std::vector<DIRENTRY> &entries) {
    if (entries.size() < 2 || Has(st, DIR_SUMMARY_ONLY)) return;
    SORTPLAN plan = MakeSortPlan(st.aSearch.sSortKeys);
    if (plan.fUnsorted) return;
    ShellSort(entries, [&plan, &st](const DIRENTRY &a, const DIRENTRY &b) {
        SORTITEM ia = SortItemOf(a), ib = SortItemOf(b);
        // "d" sorts by the time that is shown.
        if (st.cTimeField != L'w') {
            ia.ftWrite = st.cTimeField == L'a' ? a.ftAccess : a.ftCreation;
            ib.ftWrite = st.cTimeField == L'a' ? b.ftAccess : b.ftCreation;
        }
        return CompareSortItems(plan, ia, ib);
    });
}

// Read one directory's matching entries.  Returns 0, or the system's
// code when the directory can't be read.
// subdirs, when not null, takes the subdirectories the read met; *complete
// tells whether that was all of them.
int GatherEntries(DIRSTATE &st, const CString &dir, const CString &filePart, std::vector<DIRENTRY> &entries,
                  DIRTOTALS &totals, std::vector<FILEENTRY> *subdirs, bool *complete) {
    CString pattern = dir + filePart;
    unsigned long flags = st.nFindFlags | FIND_NO_ERRORS | FIND_USE_RANGES | FIND_USE_EXCLUSIONS | FIND_ANY_ORDER;
    bool descriptions = DescriptionsWanted(st, dir);
    unsigned long cluster = Has(st, DIR_ALLOCATED) ? (st.nCluster ? st.nCluster : ClusterSize(dir)) : 0;
    FILESEARCH &fs = st.aSearch;
    fs.fAltNames = (st.fFlags & (DIR_SHOW_SFN | DIR_SFN_LEFT)) != 0;
    fs.pDirectories = subdirs;
    for (int which = FIND_FIRST; FindFiles(which, pattern, flags, &fs, nullptr); which = FIND_NEXT) {
        bool dot = QueryIsDotName(fs.sName.c_str());
        if (dot && Has(st, DIR_HIDE_DOTS)) continue;
        if (Has2(st, DIR2_HIDE_LINKS) && (fs.fAttributes & FILE_ATTRIBUTE_REPARSE_POINT)) continue;
        if (entries.size() % kEntryStep == 0) entries.reserve(entries.size() + kEntryStep);
        entries.emplace_back();
        MakeEntry(st, dir, descriptions, cluster, entries.back());
        DIRENTRY &e = entries.back();
        if (e.fAttributes & FILE_ATTRIBUTE_DIRECTORY) {
            totals.nDirs++;
        } else {
            totals.nFiles++;
            totals.nBytes += e.nSize;
            totals.nAllocated += e.nAllocated ? e.nAllocated : e.nSize;
        }
    }
    fs.pDirectories = nullptr;
    if (complete) *complete = fs.fDirectoriesComplete;
    int rc = fs.aSearch.nResult;
    return rc == ERROR_FILE_NOT_FOUND || rc == ERROR_NO_MORE_FILES ? 0 : rc;
}

void ColorEntries(DIRSTATE &st, std::vector<DIRENTRY> &entries, const CString &dir) {
    if (!st.aOut.fConsole || Has(st, DIR_NO_COLOR) || st.fCmdMode) return;
    for (DIRENTRY &e : entries) e.nColor = ColorOfEntry(st, e, dir);
}

// A failure to read a directory: counted, and reported unless /NE.
void DirectoryFailed(DIRSTATE &st, int code, const CString &dir) {
    st.nErrors++;
    if (Has2(st, DIR2_NO_ERRORS)) return;
    DirFlush(st);
    // The top directory of a name is named as it was typed.
    BDError(code, st.nLevel <= 1 && !st.sGiven.empty() ? st.sGiven.c_str() : WithoutVLFN(dir).c_str());
}

void ShowDirectory(DIRSTATE &st, const CString &dir, std::vector<DIRENTRY> &entries, const DIRTOTALS &totals) {
    // The volume of a name is told once something of it is shown.
    if (!st.sVolumeOf.empty()) {
        PrintVolumeHeader(st, st.sVolumeOf);
        st.sVolumeOf.clear();
    }
    st.nDirsListed++;
    bool summaryOnly = Has(st, DIR_SUMMARY_ONLY);
    if (!summaryOnly && !Has(st, DIR_NO_HEADER) && !Has2(st, DIR2_NO_DIR_HEADERS)) PrintDirectoryHeader(st, dir);
    if (!summaryOnly) {
        SortEntries(st, entries);
        ColorEntries(st, entries, dir);
        PrintEntries(st, entries, dir);
    }
    if (Has(st, DIR_SUMMARY_DIRS)) PrintTotals(st, totals, dir, false);
    else if (!summaryOnly && !Has(st, DIR_NO_SUMMARY)) PrintTotals(st, totals, CString(), false);
}

// One directory and, under /S, the tree below it.  dir ends in a
// separator.  subtree takes the totals of all that was shown.
void ListTree(DIRSTATE &st, const CString &dir, const CString &filePart, DIRTOTALS &subtree) {
    st.nLevel++;
    bool descend = Has(st, DIR_SUBDIRS) && st.nLevel <= st.nMaxDepth;
    std::vector<FILEENTRY> found;
    bool complete = false;
    if (st.nLevel > st.nShowAbove) {
        std::vector<DIRENTRY> entries;
        DIRTOTALS totals;
        if (int rc = GatherEntries(st, dir, filePart, entries, totals, descend ? &found : nullptr, &complete)) {
            DirectoryFailed(st, rc, dir);
            st.nLevel--;
            return;
        }
        if (!entries.empty()) ShowDirectory(st, dir, entries, totals);
        subtree.Add(totals);
    }
    if (descend) {
        if (complete) SortSubdirectories(found, st.aSearch.sSortKeys, Has2(st, DIR2_NO_JUNCTIONS));
        else if (int rc = ListSubdirectories(dir, st.aSearch.sSortKeys, Has2(st, DIR2_NO_JUNCTIONS), &found))
            DirectoryFailed(st, rc, dir);
        const RANGES &ranges = st.aSearch.aRanges;
        for (const FILEENTRY &e : found) {
            tty_yield(0);
            CheckBreak();
            // A directory that /[!...] excludes is not entered either.
            if (!ranges.sExclusions.empty() && QueryIsExcluded(ranges, e.sName.c_str(), FILE_ATTRIBUTE_DIRECTORY))
                continue;
            CString sub = dir + e.sName + L"\\";
            if (!EnterDirectory(st.aDescent, sub, (e.fAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0)) continue;
            DIRTOTALS below;
            ListTree(st, sub, filePart, below);
            LeaveDirectory(st.aDescent);
            subtree.Add(below);
        }
    }
    if (Has(st, DIR_SUMMARY_TREES) && st.nLevel > st.nShowAbove && (subtree.nFiles || subtree.nDirs))
        PrintTotals(st, subtree, dir, false);
    st.nLevel--;
}

// The file-name part that DIR searches for a name: a directory lists all
// of itself; a name without extension stands for name.* (unless it is an
// include list or holds wildcards).
void SplitName(const DIRSTATE &st, CString &name, CString *dir, CString *filePart) {
    bool endsInSeparator = !name.empty() && (name.back() == L'\\' || name.back() == L'/' || name.back() == L':');
    if (endsInSeparator || IsDirectory(name)) {
        MakeDirectoryName(name, L"*");
    } else {
        CString file = FilenamePart(name.c_str());
        bool plain = file.find_first_of(L"*?[;") == CString::npos && file.find(L"::") == CString::npos;
        if (plain && !(ParseFlagsValue() & PF_NO_INCLUDE_LISTS)) {
            if (!ExtensionPart(file.c_str())) name += L".*";
            else if (name.back() == L'.' && file != L"." && file != L"..") name.pop_back();
        }
    }
    size_t pathLength = PathLength(name.c_str());
    *dir = name.Left(pathLength);
    *filePart = name.Mid(pathLength);
    if (!dir->empty() && dir->back() != L'\\' && dir->back() != L'/' && dir->back() != L':') *dir += L'\\';
    (void)st;
}

void ListName(DIRSTATE &st, const CString &given) {
    CString name = given;
    StripQuotes_S(name);
    st.sGiven = name;
    if (!Has2(st, DIR2_AS_TYPED) && !CreateFullPathName(name, 0)) {
        st.nErrors++;
        return;
    }
    if (CheckSearchPattern(name, false)) {
        st.nErrors++;
        return;
    }
    CString dir, filePart;
    SplitName(st, name, &dir, &filePart);
    st.sVolumeOf = Has(st, DIR_NO_HEADER) || st.fPdir ? CString() : dir.empty() ? CString(L".\\") : dir;
    std::vector<CString> dirs;
    ExpandWildcardDirectories(dir, st.nFindFlags, &dirs);
    if (dirs.empty()) dirs.push_back(dir);
    else for (CString &d : dirs) d += L'\\';
    DIRTOTALS total;
    int listedBefore = st.nDirsListed, errorsBefore = st.nErrors;
    for (const CString &d : dirs) {
        CString top = d;
        if (Has(st, DIR_SUBDIRS) && !EnterDirectory(st.aDescent, top.empty() ? CString(L".\\") : top, false)) continue;
        ListTree(st, top, filePart, total);
        if (Has(st, DIR_SUBDIRS)) LeaveDirectory(st.aDescent);
    }
    st.aGrand.Add(total);
    bool listed = st.nDirsListed > listedBefore;
    if (!listed && st.nErrors == errorsBefore) {
        // Nothing of this name: said so, and the command fails.
        DirFlush(st);
        st.nErrors++;
        st.sVolumeOf.clear();
        CString shown = given;
        StripQuotes_S(shown);
        BDError(ERROR_FILE_NOT_FOUND, shown.c_str());
        return;
    }
    bool totals = !Has(st, DIR_NO_SUMMARY) || Has(st, DIR_SUMMARY_ONLY);
    if (totals && listed && (Has(st, DIR_SUBDIRS) || Has(st, DIR_SUMMARY_ONLY))) PrintTotals(st, total, dir, true);
    if (totals && listed && !Has2(st, DIR2_NO_FREE)) PrintFreeSpace(st, dir);
}

int RunListing(DIRSTATE &st, CString &args) {
    st.fCmdMode = aGlobals.fCompatibility != 0;
    st.nScreenWidth = GetScrCols();
    if (st.nScreenWidth <= 0) st.nScreenWidth = 80;
    if (GetRange(args, &st.aSearch.aRanges, 0)) return 2;
    std::vector<CString> names;
    if (CString env = GetEnvVar(L"DIRCMD"); !env.empty()) {
        std::vector<CString> ignored;
        if (ReadArguments(st, env, &ignored)) return 2;
    }
    if (ReadArguments(st, args, &names)) return 2;
    if (names.empty()) names.push_back(L"*");
    st.aOut.hOut = StdOut();
    st.aOut.fConsole = QueryIsConsole(st.aOut.hOut);
    StartPaging(st.fPause, st.nPauseTimeout);
    try {
        for (const CString &name : names) ListName(st, name);
    } catch (...) {
        DirFlush(st);
        CloseDirSearchHandles(0, &st.aSearch);
        CloseDirSearchHandles(1, &st.aSearch);
        throw;
    }
    DirFlush(st);
    return st.nErrors ? 2 : 0;
}

}  // namespace

int Dir_Command(CString &args) {
    DIRSTATE st;
    return RunListing(st, args);
}

int Pdir_Command(CString &args) {
    DIRSTATE st;
    st.fPdir = true;
    // The formats: /(...) joined by blanks; the rest are DIR's switches.
    for (;;) {
        CString marker = CString(1, SwitchCharValue()) + L"(";
        size_t at = args.find(marker);
        if (at == CString::npos) break;
        int depth = 0;
        size_t end = at + 1;
        bool quoted = false;
        for (; end < args.size(); end++) {
            if (args[end] == L'"') quoted = !quoted;
            if (quoted) continue;
            if (args[end] == L'(') depth++;
            else if (args[end] == L')' && --depth == 0) break;
        }
        if (end >= args.size()) return BDError(ERROR_INVALID_PARAMETER, args.Mid(at).c_str());
        CString format = args.substr(at + 2, end - at - 2);
        st.sFormat = st.sFormat.empty() ? format : st.sFormat + L" " + format;
        args.erase(at, end - at + 1);
    }
    if (st.sFormat.empty()) st.sFormat = L"f";
    // The fields that need a question to the system for each file.
    if (st.sFormat.find_first_of(L"qQ") != CString::npos) st.fFlags |= DIR_OWNER;
    if (st.sFormat.find_first_of(L"sS") != CString::npos) st.fFlags |= DIR_STREAMS;
    if (st.sFormat.find(L'c') != CString::npos) st.fFlags |= DIR_RATIO;
    if (st.sFormat.find(L"za") != CString::npos) st.fFlags |= DIR_ALLOCATED;
    return RunListing(st, args);
}
