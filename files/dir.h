// DIR and PDIR: what their files share.  One gatherer reads a directory
// into an array of entries, sorts it, colours it and prints it in one of
// the layouts; the walk of /S and the totals sit around it.
#pragma once
#include <vector>
#include "files/search.h"

// First flags, one bit per switch.
enum : unsigned {
    DIR_UPPER = 0x1,            // /E
    DIR_LOWER = 0x2,            // /L
    DIR_SUBDIRS = 0x4,          // /S
    DIR_JUSTIFY = 0x8,          // /J
    DIR_SUMMARY_ONLY = 0x10,    // /U
    DIR_DOWN = 0x20,            // /V
    DIR_NO_HEADER = 0x40,       // /K
    DIR_NO_SUMMARY = 0x80,      // /M
    DIR_BARE_NAMES = 0x100,     // /B (with /K and /M)
    DIR_BARE = 0x1C0,
    DIR_LONG = 0x200,           // /N
    DIR_SFN_LEFT = 0x400,       // /Z
    DIR_FULL_NAMES = 0x800,     // /F (with /K and /M)
    DIR_FULL = 0x8C0,
    DIR_NO_COLOR = 0x1000,      // /D
    DIR_HIDE_DOTS = 0x4000,     // /H
    DIR_SHOW_SFN = 0x8000,      // /X
    DIR_WIDE = 0x10000,         // /W
    DIR_RATIO = 0xA0000,        // /C
    DIR_ATTRIBUTES = 0x100000,  // /T
    DIR_NO_WRAP = 0x200000,     // /R
    DIR_ALLOCATED = 0x800000,   // /G
    DIR_SUMMARY_DIRS = 0x1000000,   // /U1
    DIR_SUMMARY_TREES = 0x2000000,  // /U2
    DIR_OWNER = 0x4000000,      // /Q
    DIR_STREAMS = 0x8000000,    // /:
    DIR_MULTI_COLUMN_OFF = 0xC0A0000 | DIR_ALLOCATED,
};
// Second flags.
enum : unsigned {
    DIR2_NO_ERRORS = 0x2,       // /NE
    DIR2_NO_LABEL = 0x4,        // /NV
    DIR2_NO_JUNCTIONS = 0x20,   // /NJ
    DIR2_NO_DIR_HEADERS = 0x40, // /ND
    DIR2_NO_FREE = 0x80,        // /NF
    DIR2_NO_LINKS = 0x100,      // /NL: no link targets
    DIR2_AS_TYPED = 0x200,      // /B1
    DIR2_HIDE_LINKS = 0x400,    // /HL
    DIR2_LONG_SORT = 0x800,     // sort key x
    DIR2_NO_DIR_SIZE = 0x2000,  // /NZ
    DIR2_NO_SEPARATORS = 0x4000,  // /-C
};

// The default depth limit of /S.
constexpr int DIR_MAX_DEPTH = 8192;

struct DIRENTRY {
    unsigned fAttributes = 0;
    SYSTEMTIME stTime{};                // the time shown, local unless /T:u
    unsigned long long ftWrite = 0, ftAccess = 0, ftCreation = 0;
    unsigned long long nSize = 0;
    CString sShortName;
    int nColor = -1;
    int nRatio = 0;
    unsigned long long nAllocated = 0;  // size on disk
    CString sDescription;
    CString sName;
    int nNameWidth = 0;                 // cells the name takes on the screen
    CString sOwner;
    CString sStreams;
    CString sLinkTarget;
    bool fHasOwner = false;
};

struct DIRTOTALS {
    unsigned long long nBytes = 0, nFiles = 0, nDirs = 0, nAllocated = 0, nCompressed = 0;
    void Add(const DIRTOTALS &o) {
        nBytes += o.nBytes, nFiles += o.nFiles, nDirs += o.nDirs, nAllocated += o.nAllocated;
        nCompressed += o.nCompressed;
    }
};

// Output of a listing: to a console line by line (colours, pauses), to a
// file or pipe through a buffer.
struct DIROUTPUT {
    HANDLE hOut = nullptr;
    bool fConsole = false;
    CString sBuffer;
};

struct DIRSTATE {
    FILESEARCH aSearch;
    unsigned fFlags = 0, fFlags2 = 0;
    unsigned long nFindFlags = 0x10;    // the attribute mask for FindFiles
    int nColumns = 1;
    int nScreenWidth = 80;
    int nNameWidth = 0;                 // /NM:n, 0: as wide as needed
    int nShowAbove = 0;                 // /S+n
    int nMaxDepth = 0;                  // /Sn; 0 without /S
    int nLevel = 0;
    wchar_t cTimeField = L'w';          // /T:a, /T:c, /T:w
    bool fUTC = false;                  // /T:u
    bool fShowTimes = true;             // the layout shows dates and times
    bool fPause = false;
    int nPauseTimeout = 0;
    unsigned long nCluster = 0;         // /G:n
    CString sColorText;                 // /CD:text
    bool fPdir = false;
    CString sFormat;                    // PDIR's /(...)
    bool fCmdMode = false;
    DESCENT aDescent;
    CString sVolumeOf;                  // the volume header still to print
    CString sGiven;                     // the name being listed, as typed
    DIRTOTALS aGrand;
    int nErrors = 0;
    int nDirsListed = 0;
    DIROUTPUT aOut;
};

// dir_print.cpp: the layouts.
// One line (or with endLine false, a piece of one) in a colour, or -1.
void DirWrite(DIRSTATE &st, const CString &text, int color = -1, bool endLine = true);
void DirFlush(DIRSTATE &st);
// Print a directory's entries in the chosen layout.  dir is its name with
// a trailing separator, as shown.
void PrintEntries(DIRSTATE &st, std::vector<DIRENTRY> &entries, const CString &dir);
void PrintVolumeHeader(DIRSTATE &st, const CString &dir);
void PrintDirectoryHeader(DIRSTATE &st, const CString &dir);
void PrintTotals(DIRSTATE &st, const DIRTOTALS &totals, const CString &dir, bool grand);
void PrintFreeSpace(DIRSTATE &st, const CString &dir);
// The short size of /4: "  12K", " 1.5M", " 120M", "   3G".
CString ShortSize(unsigned long long n);
// A count with the thousands separator (unless /-C).
CString DirNumber(const DIRSTATE &st, unsigned long long n);
// The cells a text takes on the screen.
int TextWidth(const CString &text);

// colordir.cpp: the ColorDir rules.  -1 when no rule gives a colour.
int ColorOfEntry(const DIRSTATE &st, const DIRENTRY &entry, const CString &dir);

// pdir.cpp: one entry through PDIR's format.  Returns 0, or an error code
// after a failing function (the entry's line is then not printed).
int FormatPdirEntry(DIRSTATE &st, const DIRENTRY &entry, const CString &dir, CString *line);
