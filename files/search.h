// File search: the one door through which every command that works on
// files gets its names.  A command fills a FILESEARCH (through GetSwitches,
// GetSearchAttributes and GetRange), calls FindFiles once with FIND_FIRST
// and then with FIND_NEXT; each call yields one accepted entry.  Between
// the caller's argument and the system's find calls stand include lists
// (a;b;c), wildcards in directory parts, @file lists, "::" regular
// expressions, [abc] sets, streams, attribute selection, ranges,
// exclusions and sorted delivery.  FindFiles works on one directory; a
// command that walks subdirectories does so itself (see DESCENT below).
#pragma once
#include <vector>
#include "files/ranges.h"

enum : int { FIND_FIRST = 78, FIND_NEXT = 79 };

enum : unsigned {
    FIND_NO_ERRORS = 0x10000, FIND_ONLY_DIRS = 0x20000, FIND_NO_DIRS = 0x40000,
    FIND_BY_ATTRIBUTES = 0x80000, FIND_USE_RANGES = 0x100000,
    FIND_USE_EXCLUSIONS = 0x200000, FIND_CLOSE_AFTER = 0x400000,
    FIND_NO_DOT_NAMES = 0x1000000, FIND_LITERAL = 0x2000000,
    FIND_NO_LIST_FILE = 0x4000000, FIND_SHORT_NAMES = 0x8000000,
    FIND_NO_REPARSE = 0x10000000, FIND_SORTED = 0x20000000,
    // The caller sorts what it gets: the pieces of an include list may be
    // searched in one pass over the directory, in the system's order.
    FIND_ANY_ORDER = 0x800000,
};
// The attribute bits of the flags word that let hidden, system and
// directory entries through; the mask GetSearchAttributes sets.
constexpr unsigned FIND_ALL_ATTRIBUTES = 0x17;
constexpr unsigned FIND_ATTRIBUTE_FLAGS = FIND_BY_ATTRIBUTES | FIND_ALL_ATTRIBUTES;

// The pseudo-bit of the any-of set that stands for a normal file.
constexpr unsigned ATTR_ANY_NORMAL = 0x1000;
// Added to an entry's attributes: a reparse point that is a symbolic link
// (not a junction or mount point).
constexpr unsigned ATTR_SYMBOLIC_LINK = 0x8000000;

// One entry as a find call gives it: the part of a search that sorted
// delivery gathers and hands back.
struct FILEENTRY {
    unsigned fAttributes = 0;
    FILETIME ftCreation{}, ftLastAccess{}, ftLastWrite{};
    unsigned nSizeHigh = 0, nSizeLow = 0;
    unsigned nReserved0 = 0, nReserved1 = 0;  // the reparse tag stands in nReserved0
    CString sName;                  // long name, without path
    CString sAltName;               // 8.3 name, may be empty
    unsigned long long nSize = 0;   // local sources only
    unsigned long long nCompressedSize = 0;
    CString sLinkTarget;            // target of a reparse point, else empty
};

// Where a search stands in its pattern: the include pieces, the current
// one, and what the walk has met so far.  FindFiles's own bookkeeping.
struct SEARCHWALK {
    CString sPath;                  // the path part that the pieces share
    std::vector<CString> aPieces;   // include-list pieces (one without a list)
    size_t nPiece = 0;
    CString sDisplay;               // the pattern as reported: up to its first ";"
    int nKind = 0;                  // QueryIsURL kind; 0 local
    int nError = 0;                 // the first failure that is more than "not found"
    int nResult = 0;                // how the search ended: 0, or the code it reported
    bool fNoSort = false;           // a directory list turns sorting off
    bool fPieceActive = false;      // a piece is being searched
    bool fFirstDone = false;        // the system's first find has run for it
    bool fGotCandidate = false;     // ... and has given something
    bool fBracketsTried = false;    // its [...] sets have been tried as sets
    bool fNoMore = false;           // a plain name: no find-next is needed
    bool fOnePass = false;          // the include pieces are matched in one pass
    bool fAllNames = false;         // the system is asked for every name of the directory
    bool fAnyAccepted = false;      // an entry was accepted since FIND_FIRST
};

struct FILESEARCH : FILEENTRY {
    HANDLE hFind = INVALID_HANDLE_VALUE;
    int nIFSType = 0;
    unsigned fRequired = 0;     // /A:x   all must be set
    unsigned fForbidden = 0;    // /A:-x  all must be clear
    unsigned fAnyOf = 0;        // /A:+x  at least one must be set
    bool fIncludeList = false;  // walking an include list
    bool fBracketMode = false;  // names are tested with [...] sets on
    bool fRegex = false;        // a "::" regular expression search
    bool fAltNames = false;     // set by the caller: 8.3 names are wanted
    CString sSortKeys;          // the text after /O:, at most 14 characters
    unsigned fSearchFlags = 0;  // 0x80017 after GetSearchAttributes
    RANGES aRanges;
    long nListPosition = -1;    // next line of the @file list; -1: none open
    CString sListFile;
    CString sWorkPattern;       // the piece being searched, quotes stripped
    CString sEarlierIncludes;   // include-list pieces already done, joined by ";"
    std::vector<CString> aDirectories;  // directories of a wildcard directory part
    size_t nDirectory = 0;
    std::vector<FILEENTRY> aGathered;   // sorted delivery
    size_t nDelivery = 0;
    bool fDelivering = false;
    // Set by a caller that walks subdirectories: every subdirectory the
    // first piece meets goes there (hidden and system ones too, not "." and
    // ".."), and fDirectoriesComplete tells whether that was all of them,
    // so that the walk needs no second read of the directory.
    std::vector<FILEENTRY> *pDirectories = nullptr;
    bool fDirectoriesComplete = false;
    SEARCHWALK aSearch;
};

// which: FIND_FIRST or FIND_NEXT.  True: an entry was accepted and stands in
// search; fullName (when given) holds its path and name.  False: the search
// is over or failed, and what was to be reported has been.
bool FindFiles(int which, const CString &pattern, unsigned long flags, FILESEARCH *search, CString *fullName);
// A pattern that can't be searched: a "::" regular expression that does
// not compile, or an unbalanced "[" in a name no file has.  Returns 0, or
// the error code (quiet), or -2 after reporting it.
int CheckSearchPattern(const CString &pattern, bool quiet);
// which 0: close the find handle; otherwise free the gathered and listed
// state.  A caller that leaves a search early calls it with both.
void CloseDirSearchHandles(int which, FILESEARCH *search);
// One line of a list file, opened, read and closed at each call, so the
// file may grow between calls.  Returns 0, or a system error code (38 at
// the end).
int GetFileLine(const wchar_t *name, long *offset, CString &line);

// The directories that a directory part with wildcards ("\*\*\",
// "\**\", "[ab]*\") stands for, sorted by name at each level; nothing when
// the part has no wildcard.  flags may let hidden and system ones in.
void ExpandWildcardDirectories(const CString &path, unsigned long flags, std::vector<CString> *directories);

// The label, serial number, longest name and file system's name of the
// volume whose root is given (each may be null).  False when it can't be
// asked.
bool QueryVolumeOf(const CString &root, CString *label, DWORD *serial, DWORD *maxComponent, wchar_t *fsName);
// The file system of a name's volume: 0 for one with 8.3 names only, 1 for
// one with long names, 2 for NTFS (streams, descriptions in a stream).
int QueryIFSType(const wchar_t *name);
// Reparse point of a full name: 0 none, 1 a junction or mount point, 2 a
// symbolic link; target takes what it points at.
int QueryLinkTarget(const wchar_t *name, CString *target);

// An entry's attributes as a fixed row of letters, one place per
// attribute, "_" for each one that is off.  The long form has 17 places
// (R H S A D E N T L F C O I V X P U), the short one 5 (R H S A D).
CString AttributeText(unsigned attributes, bool longForm);

// Sort keys of /O: for FILEENTRY images and DIR entries alike.  The keys
// are read once into a plan; a comparer walks the plan.
struct SORTPLAN {
    CString sKeys;
    bool fReverse = false;      // "r" anywhere
    bool fUnsorted = false;     // "u"
    bool fHasExtension = false; // "e" among the keys
    unsigned nFirstStringFlags = COMPARE_NUMERIC;
};
SORTPLAN MakeSortPlan(const CString &keys);
// What a comparer needs of an entry.
struct SORTITEM {
    const wchar_t *pszName;
    unsigned fAttributes;
    unsigned long long ftWrite, ftAccess, ftCreation;  // "d" and "tw" look at ftWrite
    long long nSize;
    int nRatio;                       // compression ratio, for "c"
    const wchar_t *pszDescription;    // may be null
    const wchar_t *pszOwner;          // may be null: no owner
};
// Negative, 0 or positive.
int CompareSortItems(const SORTPLAN &plan, const SORTITEM &a, const SORTITEM &b);
// Between passes of a long sort, queued messages get a turn.
void YieldBetweenSortPasses(size_t gap);
// Shell sort with the gap halved each pass.
template <typename T, typename Compare> void ShellSort(std::vector<T> &items, Compare compare) {
    size_t n = items.size();
    for (size_t gap = n / 2; gap > 0; gap /= 2) {
        for (size_t i = gap; i < n; i++)
            for (size_t j = i; j >= gap && compare(items[j - gap], items[j]) > 0; j -= gap)
                std::swap(items[j - gap], items[j]);
        YieldBetweenSortPasses(gap);
    }
}
// Sort gathered FILEENTRY images by the keys.
void SortFileEntries(std::vector<FILEENTRY> &entries, const CString &keys);

// Descent for /S: the directories a walk stands in, so that a junction
// or link back to one of them is not entered again.  A loop needs a link,
// so only a link and what lies below one are checked: the identities of
// the directories above are asked for then, once each.
struct DESCENT {
    struct ID {
        DWORD nVolume = 0;
        unsigned long long nIndex = 0;
        bool fKnown = false;    // asked for (it may still be unreadable)
        bool fValid = false;
    };
    struct LEVEL {
        CString sPath;
        ID aId;
        bool fBelowLink = false;    // a link is this level or above it
    };
    std::vector<LEVEL> aChain;
    int nLevel = 0;
};
// Enter dir (a full name).  link: dir is a reparse point (a junction or a
// symbolic link), which may lead back up.  False when it leads to one of
// the directories above (a loop); nothing is entered then.
bool EnterDirectory(DESCENT &descent, const CString &dir, bool link);
void LeaveDirectory(DESCENT &descent);
// The subdirectories of dir (a full name), hidden and system ones too,
// without "." and "..", sorted by keys ("u" leaves them in the system's
// order).  noJunctions leaves out reparse points.  Returns 0 or the system
// error code of an unreadable directory.
int ListSubdirectories(const CString &dir, const CString &keys, bool noJunctions, std::vector<FILEENTRY> *subdirs);
// The same from directories already gathered by a search (pDirectories).
void SortSubdirectories(std::vector<FILEENTRY> &found, const CString &keys, bool noJunctions);
