// FindFiles: one accepted entry a call.  A search is a walk over the
// directories of the pattern (one, or many when its directory part holds
// wildcards) and, in each, over the pieces of an include list ("*.c;*.h").
// Each piece is one find-first/find-next run of the system; its candidates
// pass the filters in a fixed order (include duplicates, dot names,
// attribute mask, directories, /A: attributes, exclusions, ranges, the
// name) and are then delivered, or gathered for a sorted delivery.
#include "files/search.h"
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/options.h"
#include "files/paths.h"
#include "files/ranges.h"
#include "files/search_internal.h"
#include "net/net.h"
#include "vars/regex.h"
#include <winnetwk.h>
#include <cwchar>

namespace {

constexpr unsigned kMaskBits = FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM | FILE_ATTRIBUTE_DIRECTORY;
constexpr size_t kGatherStep = 256;
constexpr size_t kMaxPiece = 0x7FFF;

// URL kinds that list a directory (the rest name one remote object).
bool IsRemoteDirectoryKind(int kind) {
    return kind == 3 || kind == 4 || kind == 6 || kind == 7 || kind == 8 || kind == 9;
}

void ResetSearch(FILESEARCH *fs) {
    fs->fDirectoriesComplete = false;
    CloseDirSearchHandles(0, fs);
    CloseDirSearchHandles(1, fs);
    fs->fAttributes = 0;
    fs->fIncludeList = fs->fBracketMode = fs->fRegex = false;
    fs->sEarlierIncludes.clear();
    fs->sWorkPattern.clear();
    fs->nIFSType = 0;
    fs->aSearch = SEARCHWALK{};
}

// A "::" in the pattern marks a regular expression search.
bool HasRegex(const CString &text) { return text.find(L"::") != CString::npos; }

bool HasWildcards(const CString &text) { return text.find_first_of(L"[?*") != CString::npos; }

// The piece of an include list at the front of text: up to the first ";"
// outside double quotes and [...] sets.  npos when there is none.
size_t IncludeSeparator(const CString &text, size_t from) {
    bool quoted = false, inSet = false;
    for (size_t i = from; i < text.size(); i++) {
        wchar_t c = text[i];
        if (c == L'"') quoted = !quoted;
        else if (!quoted && c == L'[') inSet = true;
        else if (!quoted && c == L']') inSet = false;
        else if (!quoted && !inSet && c == L';') return i;
    }
    return CString::npos;
}

// Split the file-name part of a pattern into its include pieces; the path
// part of the first piece serves them all.
void SplitPattern(const CString &text, unsigned long flags, SEARCHWALK &walk) {
    walk.aPieces.clear();
    bool lists = !(flags & FIND_LITERAL) && !(ParseFlagsValue() & PF_NO_INCLUDE_LISTS) && !HasRegex(text);
    size_t semicolon = lists ? IncludeSeparator(text, 0) : CString::npos;
    // A name that exists with its ";" is taken as it stands.
    if (semicolon != CString::npos && GetFileAttributesW(text.c_str()) != INVALID_FILE_ATTRIBUTES)
        semicolon = CString::npos;
    if (semicolon == CString::npos) {
        walk.sPath = CString(text.c_str(), PathLength(text.c_str()));
        walk.aPieces.push_back(text.Mid(walk.sPath.size()));
        return;
    }
    CString first = text.Left(semicolon);
    walk.sPath = CString(first.c_str(), PathLength(first.c_str()));
    size_t from = walk.sPath.size();
    for (;;) {
        size_t end = IncludeSeparator(text, from);
        CString piece = text.Mid(from, end == CString::npos ? CString::npos : end - from).Left(kMaxPiece);
        StripQuotes_S(piece);
        if (!piece.empty()) walk.aPieces.push_back(piece);
        if (end == CString::npos) break;
        from = end + 1;
    }
    if (walk.aPieces.empty()) walk.aPieces.push_back(CString());
}

// Make the working pattern of the current directory and piece.
void SetWorkPattern(FILESEARCH *fs, bool local) {
    SEARCHWALK &walk = fs->aSearch;
    CString dir = fs->aDirectories.empty() ? walk.sPath : fs->aDirectories[fs->nDirectory];
    CString piece = walk.aPieces[walk.nPiece];
    CString pattern = dir;
    if (dir.empty()) pattern = piece;
    else if (fs->aDirectories.empty()) pattern += piece;
    else MakeDirectoryName(pattern, piece.c_str());
    if (local) MakeVLFN(pattern);
    fs->sWorkPattern = pattern;
    fs->fIncludeList = walk.aPieces.size() > 1 && !walk.fOnePass;
    fs->sEarlierIncludes.clear();
    for (size_t i = 0; i < walk.nPiece; i++) {
        if (i) fs->sEarlierIncludes += L';';
        fs->sEarlierIncludes += walk.aPieces[i];
    }
    walk.fFirstDone = walk.fGotCandidate = walk.fBracketsTried = walk.fNoMore = false;
    fs->fBracketMode = false;
    fs->fRegex = HasRegex(pattern);
    // Ask the system for every name when the walk wants the directory's
    // subdirectories too, or when the pieces are matched in one pass.
    walk.fAllNames = walk.nKind == 0 && !fs->fRegex &&
                     ((fs->pDirectories && walk.nPiece == 0 && HasWildcards(piece)) || walk.fOnePass);
    walk.fPieceActive = true;
}

// A new pattern: from the caller on FIND_FIRST, or a line of a list file.
void StartPattern(FILESEARCH *fs, const CString &given, unsigned long flags, bool withFullName) {
    SEARCHWALK &walk = fs->aSearch;
    CString text = given;
    text.Trim();
    StripQuotes_S(text);
    walk.sDisplay = text.Left(IncludeSeparator(text, 0));
    walk.nKind = QueryIsURL(text.c_str());
    SplitPattern(text, flags, walk);
    walk.nPiece = 0;
    walk.fOnePass = (flags & FIND_ANY_ORDER) && walk.aPieces.size() > 1 && !HasRegex(text);
    for (const CString &piece : walk.aPieces)
        if (PathLength(piece.c_str())) walk.fOnePass = false;
    fs->aDirectories.clear();
    fs->nDirectory = 0;
    if (withFullName && walk.nKind == 0) {
        ExpandWildcardDirectories(walk.sPath, flags, &fs->aDirectories);
        if (!fs->aDirectories.empty()) walk.fNoSort = true;
    }
    SetWorkPattern(fs, walk.nKind == 0);
}

// The file-name part of the working pattern, as the name test uses it: a
// control character stands for any one, as it does for the system's find.
CString NamePattern(const FILESEARCH *fs) {
    CString name = FilenamePart(fs->sWorkPattern.c_str());
    for (wchar_t &c : name)
        if (c < 0x20) c = L'?';
    return name;
}

// What the system's find-first is asked for.
CString SystemPattern(const FILESEARCH *fs) {
    CString text = fs->sWorkPattern;
    if (fs->fRegex) {
        size_t at = text.find(L"::");
        if (at == CString::npos) at = PathLength(text.c_str());
        text.Truncate(at);
        text += L'*';
        return text;
    }
    if (fs->aSearch.fAllNames) {
        text.Truncate(PathLength(text.c_str()));
        return text + L"*";
    }
    for (wchar_t &c : text)
        if (c < 0x20) c = L'?';
    if (fs->fBracketMode) {
        // Each [...] set of the name becomes one "?".
        size_t start = PathLength(text.c_str());
        CString name;
        for (size_t i = start; i < text.size(); i++) {
            size_t close = text[i] == L'[' ? text.find(L']', i) : CString::npos;
            if (close != CString::npos) {
                name += L'?';
                i = close;
            } else {
                name += text[i];
            }
        }
        text = text.Left(start) + name;
    }
    return text;
}

void TakeFindData(FILESEARCH *fs, const WIN32_FIND_DATAW &data) {
    fs->fAttributes = data.dwFileAttributes;
    fs->ftCreation = data.ftCreationTime;
    fs->ftLastAccess = data.ftLastAccessTime;
    fs->ftLastWrite = data.ftLastWriteTime;
    fs->nSizeHigh = data.nFileSizeHigh;
    fs->nSizeLow = data.nFileSizeLow;
    fs->nReserved0 = data.dwReserved0;
    fs->nReserved1 = data.dwReserved1;
    fs->sName = data.cFileName;
    fs->sAltName = data.cAlternateFileName;
    fs->nSize = 0;
    fs->nCompressedSize = 0;
}

// A drive letter whose network connection was lost: connected again to
// the share the system remembers for it.  True when that worked.
bool ReconnectDrive(const CString &pattern) {
    if (pattern.At(1) != L':') return false;
    CString drive = pattern.Left(2), remote(MAX_PATH, L'\0');
    DWORD size = (DWORD)remote.size();
    if (WNetGetConnectionW(drive.c_str(), remote.data(), &size) != NO_ERROR) return false;
    remote.resize(wcslen(remote.c_str()));
    NETRESOURCEW resource{};
    resource.dwType = RESOURCETYPE_DISK;
    resource.lpLocalName = drive.data();
    resource.lpRemoteName = remote.data();
    bool ok = WNetAddConnection2W(&resource, nullptr, nullptr, CONNECT_INTERACTIVE | CONNECT_COMMANDLINE) == NO_ERROR;
    SetLastError(ERROR_INVALID_DRIVE);
    return ok;
}

// A subdirectory met by a search that reads every name, for the caller's
// walk.
void CollectDirectory(FILESEARCH *fs, const WIN32_FIND_DATAW &data) {
    if (!fs->pDirectories || !fs->aSearch.fAllNames || fs->aSearch.nPiece != 0) return;
    if (!(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) || QueryIsDotName(data.cFileName)) return;
    FILEENTRY e;
    e.fAttributes = data.dwFileAttributes;
    e.ftCreation = data.ftCreationTime;
    e.ftLastAccess = data.ftLastAccessTime;
    e.ftLastWrite = data.ftLastWriteTime;
    e.nReserved0 = data.dwReserved0;
    e.sName = data.cFileName;
    fs->pDirectories->push_back(std::move(e));
}

// The next candidate of the current piece: 0 with data filled, or the
// system's code (2 or 18 when there are no more).
int NextCandidate(FILESEARCH *fs, WIN32_FIND_DATAW *data) {
    if (fs->aSearch.nKind != 0) return ERROR_FILE_NOT_FOUND;  // no remote provider: nothing listed
    SEARCHWALK &walk = fs->aSearch;
    if (!walk.fFirstDone) {
        walk.fFirstDone = true;
        fs->nIFSType = QueryIFSType(fs->sWorkPattern.c_str());
        bool alt = fs->fAltNames || aIniFile.Win32SFNSearch;
        CString pattern = SystemPattern(fs);
        auto first = [&] {
            return FindFirstFileExW(pattern.c_str(), alt ? FindExInfoStandard : FindExInfoBasic, data,
                                    FindExSearchNameMatch, nullptr, FIND_FIRST_EX_LARGE_FETCH);
        };
        fs->hFind = first();
        if (fs->hFind == INVALID_HANDLE_VALUE && GetLastError() == ERROR_INVALID_DRIVE && ReconnectDrive(pattern))
            fs->hFind = first();
        if (fs->hFind == INVALID_HANDLE_VALUE) return (int)GetLastError();
        walk.fNoMore = !fs->fRegex && !HasWildcards(fs->sWorkPattern);
        walk.fGotCandidate = true;
        CollectDirectory(fs, *data);
        return 0;
    }
    if (walk.fNoMore || fs->hFind == INVALID_HANDLE_VALUE) return ERROR_FILE_NOT_FOUND;
    if (!FindNextFileW(fs->hFind, data)) return (int)GetLastError();
    CollectDirectory(fs, *data);
    return 0;
}

// A piece of the earlier includes that would have taken this name.
bool FoundByEarlierPiece(const FILESEARCH *fs, const wchar_t *name) {
    const SEARCHWALK &walk = fs->aSearch;
    for (size_t i = 0; i < walk.nPiece; i++) {
        const wchar_t *file = FilenamePart(walk.aPieces[i].c_str());
        if (!*file) continue;
        if (StrICmp(file, name) == 0 || WildcardComparison(file, name, 1, 1) == 0) return true;
    }
    return false;
}

bool PassesAttributes(const FILESEARCH *fs, unsigned attributes) {
    if (fs->fAnyOf) {
        unsigned have = (attributes & 0x3F) ? attributes : ATTR_ANY_NORMAL;
        if (!(have & fs->fAnyOf)) return false;
    }
    return (attributes & fs->fRequired) == fs->fRequired && !(attributes & fs->fForbidden);
}

bool PassesPattern(const FILESEARCH *fs, const CString &pattern, const WIN32_FIND_DATAW &data);

bool PassesName(const FILESEARCH *fs, const WIN32_FIND_DATAW &data) {
    if (fs->aSearch.fOnePass) {
        for (const CString &piece : fs->aSearch.aPieces)
            if (PassesPattern(fs, piece, data)) return true;
        return false;
    }
    return PassesPattern(fs, NamePattern(fs), data);
}

bool PassesPattern(const FILESEARCH *fs, const CString &pattern, const WIN32_FIND_DATAW &data) {
    if (fs->fRegex) {
        size_t at = fs->sWorkPattern.find(L"::");
        CString expression = fs->sWorkPattern.Mid(at);
        return WildcardComparison(expression.c_str(), data.cFileName, 1, 0) == 0;
    }
    if (pattern == L"*" || pattern == L"*.*") return true;
    if (StrICmp(pattern, data.cFileName) == 0) return true;
    if (WildcardComparisonEx(pattern, data.cFileName, 1, fs->fBracketMode, aIniFile.FilesCaseSensitive) == 0)
        return true;
    return aIniFile.Win32SFNSearch && data.cAlternateFileName[0] &&
           WildcardComparison(pattern, data.cAlternateFileName, 1, fs->fBracketMode) == 0;
}

// A name "file:stream" asks for the file when it has that stream (the
// stream's name may hold wildcards).  The file then stands as a plain
// name: one entry, no include list.  Returns 0, or the code of a file or
// stream that is not there.
int TakeStreamRequest(FILESEARCH *fs) {
    SEARCHWALK &walk = fs->aSearch;
    if (walk.nKind != 0 || fs->fRegex) return 0;
    const CString &text = fs->sWorkPattern;
    size_t start = text.StartsWith(L"\\\\?\\") || text.StartsWith(L"\\\\.\\") ? 4 : 0;
    if (text.At(start + 1) == L':') start += 2;
    size_t colon = text.find(L':', start);
    if (colon == CString::npos) return 0;
    CString file = text.Left(colon), stream = text.Mid(colon + 1);
    WIN32_FIND_STREAM_DATA data;
    HANDLE h = FindFirstStreamW(file.c_str(), FindStreamInfoStandard, &data, 0);
    if (h == INVALID_HANDLE_VALUE) {
        int rc = (int)GetLastError();
        return rc == ERROR_HANDLE_EOF || rc == 0 ? ERROR_FILE_NOT_FOUND : rc;
    }
    bool found = false;
    do {
        // "::$DATA" is the file itself; ":name:$DATA" a named stream.
        CString name = data.cStreamName;
        if (name.StartsWith(L":")) name.erase(0, 1);
        if (name.ends_with(L":$DATA")) name.Truncate(name.size() - 6);
        found = WildcardComparison(stream.c_str(), name.c_str(), 0, 1) == 0;
    } while (!found && FindNextStreamW(h, &data));
    FindClose(h);
    if (!found) return ERROR_FILE_NOT_FOUND;
    fs->sWorkPattern = file;
    walk.aPieces.assign(1, CString(FilenamePart(file.c_str())));
    walk.nPiece = 0;
    fs->fIncludeList = false;
    return 0;
}

// The filters of a candidate, in their order.
bool Accepts(FILESEARCH *fs, unsigned long flags, const WIN32_FIND_DATAW &data) {
    unsigned attributes = data.dwFileAttributes;
    bool dir = attributes & FILE_ATTRIBUTE_DIRECTORY;
    if (fs->fIncludeList && fs->aSearch.nPiece > 0 && FoundByEarlierPiece(fs, data.cFileName)) return false;
    bool dot = QueryIsDotName(data.cFileName);
    if ((flags & FIND_NO_DOT_NAMES) && dot) return false;
    if ((attributes & kMaskBits) & ~(flags & 0xFFFF)) return false;
    if ((flags & FIND_ONLY_DIRS) && (!dir || dot)) return false;
    if ((flags & FIND_NO_DIRS) && dir) return false;
    if ((flags & FIND_NO_REPARSE) && (attributes & FILE_ATTRIBUTE_REPARSE_POINT)) return false;
    if ((flags & FIND_BY_ATTRIBUTES) && !PassesAttributes(fs, attributes)) return false;
    if ((flags & FIND_USE_EXCLUSIONS) && !fs->aRanges.sExclusions.empty() &&
        QueryIsExcluded(fs->aRanges, data.cFileName, attributes))
        return false;
    if ((flags & FIND_USE_RANGES) && QueryRangesSet(fs->aRanges)) {
        CString dirName(fs->sWorkPattern.c_str(), PathLength(fs->sWorkPattern.c_str()));
        if (!QueryInRanges(fs->aRanges, data, dirName.c_str())) return false;
    }
    return PassesName(fs, data);
}

void BuildFullName(const FILESEARCH *fs, const FILEENTRY &entry, unsigned long flags, CString *fullName) {
    if (!fullName) return;
    const CString &name = (flags & FIND_SHORT_NAMES) && !entry.sAltName.empty() ? entry.sAltName : entry.sName;
    InsertPathInFilename(*fullName, name.c_str(), fs->sWorkPattern.c_str());
    if (fs->aSearch.nKind == 0) MakeVLFN(*fullName);
}

// The link target of an accepted reparse point.
void ReadLinkTarget(FILESEARCH *fs) {
    CString full;
    InsertPathInFilename(full, fs->sName.c_str(), fs->sWorkPattern.c_str());
    CString target;
    int kind = QueryLinkTarget(full.c_str(), &target);
    if (kind == 0) fs->fAttributes &= ~FILE_ATTRIBUTE_REPARSE_POINT;
    else {
        if (kind == 2) fs->fAttributes |= ATTR_SYMBOLIC_LINK;
        fs->sLinkTarget = target;
    }
}

// The next piece, the next directory, or the end: true when there is more
// to search.
bool NextPiece(FILESEARCH *fs) {
    SEARCHWALK &walk = fs->aSearch;
    CloseDirSearchHandles(0, fs);
    if (walk.nPiece + 1 < walk.aPieces.size()) {
        walk.nPiece++;
        SetWorkPattern(fs, walk.nKind == 0);
        return true;
    }
    if (fs->nDirectory + 1 < fs->aDirectories.size()) {
        fs->nDirectory++;
        walk.nPiece = 0;
        SetWorkPattern(fs, walk.nKind == 0);
        return true;
    }
    walk.fPieceActive = false;
    return false;
}

// Hand out the next gathered entry; false at the end.
bool DeliverGathered(FILESEARCH *fs, unsigned long flags, CString *fullName) {
    if (fs->nDelivery >= fs->aGathered.size()) {
        fs->aGathered.clear();
        fs->aGathered.shrink_to_fit();
        fs->fDelivering = false;
        return false;
    }
    static_cast<FILEENTRY &>(*fs) = fs->aGathered[fs->nDelivery++];
    BuildFullName(fs, *fs, flags, fullName);
    return true;
}

// The search of the current pattern ran dry with code rc.  Reports what
// needs reporting; true when there is more to do.
bool Exhausted(FILESEARCH *fs, unsigned long flags, int rc) {
    SEARCHWALK &walk = fs->aSearch;
    // A name with [...] is tried as a plain name first (a file may be
    // named so), then with the sets as sets.
    if (!walk.fBracketsTried && !walk.fGotCandidate && !fs->fRegex && walk.nKind == 0) {
        walk.fBracketsTried = true;
        CString name = NamePattern(fs);
        size_t open = name.find(L'[');
        if (open != CString::npos && name.find(L']', open) != CString::npos) {
            CloseDirSearchHandles(0, fs);
            fs->fBracketMode = true;
            walk.fFirstDone = false;
            return true;
        }
    }
    if (rc != ERROR_FILE_NOT_FOUND && rc != ERROR_NO_MORE_FILES && !walk.nError) walk.nError = rc;
    if (fs->pDirectories && walk.fAllNames && walk.nPiece == 0)
        fs->fDirectoriesComplete = rc == ERROR_FILE_NOT_FOUND || rc == ERROR_NO_MORE_FILES;
    if (walk.fOnePass) walk.nPiece = walk.aPieces.size() - 1;
    if (NextPiece(fs)) return true;
    bool nothing = !walk.fAnyAccepted && fs->aGathered.empty();
    bool failed = walk.nError && walk.nError != ERROR_PATH_NOT_FOUND;
    walk.nResult = nothing || failed ? (walk.nError ? walk.nError : ERROR_FILE_NOT_FOUND) : 0;
    if (walk.nResult && !(flags & FIND_NO_ERRORS)) BDError(walk.nResult, WithoutVLFN(walk.sDisplay).c_str());
    walk.nError = 0;
    return false;
}

}  // namespace

int CheckSearchPattern(const CString &pattern, bool quiet) {
    CString text = pattern;
    text.Trim();
    StripQuotes_S(text);
    size_t regex = text.find(L"::");
    if (regex != CString::npos) {
        int rc = quiet ? RegularExpressionMatchQuiet(text.c_str() + regex + 2, CString())
                       : RegularExpressionMatch(text.Mid(regex + 2), CString());
        return rc < 0 ? (quiet ? ERROR_BD_BAD_REGEX : -2) : 0;
    }
    // A name with an unbalanced "[" is refused unless a file has it.
    const wchar_t *file = FilenamePart(text.c_str());
    if (wcschr(file, L'[') && GetFileAttributesW(text.c_str()) == INVALID_FILE_ATTRIBUTES) {
        int rc = CheckWildcardSets(file, quiet);
        return rc && !quiet ? -2 : rc;
    }
    return 0;
}

void CloseDirSearchHandles(int which, FILESEARCH *fs) {
    if (which == 0) {
        if (fs->hFind != INVALID_HANDLE_VALUE) {
            HoldSignals();
            FindClose(fs->hFind);
            fs->hFind = INVALID_HANDLE_VALUE;
            EnableSignals();
        }
        return;
    }
    fs->aGathered.clear();
    fs->nDelivery = 0;
    fs->fDelivering = false;
    fs->aDirectories.clear();
    fs->nDirectory = 0;
    fs->nListPosition = -1;
    fs->sListFile.clear();
}

bool FindFiles(int which, const CString &pattern, unsigned long flags, FILESEARCH *fs, CString *fullName) {
    fs->sLinkTarget.clear();
    int kind = QueryIsURL(pattern.c_str());
    if (kind != 0 && !IsRemoteDirectoryKind(kind)) return FindRemoteObject(which, pattern, flags, fs, fullName, kind);
    if (which == FIND_FIRST) {
        ResetSearch(fs);
        if (int rc = CheckSearchPattern(pattern, (flags & FIND_NO_ERRORS) != 0)) {
            fs->aSearch.nResult = rc;
            return false;
        }
        if (!OpenListFile(pattern, flags, fs)) {
            StartPattern(fs, pattern, flags, fullName != nullptr);
            if (int rc = TakeStreamRequest(fs)) {
                if (!(flags & FIND_NO_ERRORS)) BDError(rc, pattern.c_str());
                fs->aSearch.nResult = rc;
                fs->aSearch.fPieceActive = false;
                return false;
            }
        }
    }
    SEARCHWALK &walk = fs->aSearch;
    bool sortedDelivery = (flags & (FIND_SORTED | FIND_LITERAL)) == FIND_SORTED;
    for (;;) {
        CheckBreak();
        if (fs->fDelivering) {
            if (DeliverGathered(fs, flags, fullName)) return true;
            if (fs->nListPosition < 0) return false;
        }
        if (!walk.fPieceActive) {
            if (fs->nListPosition < 0) return false;
            CString line;
            if (int rc = GetFileLine(fs->sListFile.c_str(), &fs->nListPosition, line)) {
                if (rc != ERROR_HANDLE_EOF && !(flags & FIND_NO_ERRORS)) BDError(rc, fs->sListFile.c_str());
                CloseDirSearchHandles(1, fs);
                return false;
            }
            if (fullName) {
                StripQuotes_S(line);
                *fullName = line;
                fs->fAttributes = 0;
                return true;
            }
            walk.fAnyAccepted = false;
            StartPattern(fs, line, flags, false);
        }
        WIN32_FIND_DATAW data;
        int rc = NextCandidate(fs, &data);
        if (rc != 0) {
            if (Exhausted(fs, flags, rc)) continue;
            if (sortedDelivery && !walk.fNoSort && !fs->aGathered.empty()) {
                if (!fs->sSortKeys.empty() && fs->sSortKeys[0] != L'u') SortFileEntries(fs->aGathered, fs->sSortKeys);
                fs->fDelivering = true;
                fs->nDelivery = 0;
                continue;
            }
            if (fs->nListPosition >= 0) continue;
            CloseDirSearchHandles(1, fs);
            return false;
        }
        if (!Accepts(fs, flags, data)) continue;
        TakeFindData(fs, data);
        if (walk.nKind == 0) fs->nSize = ((unsigned long long)data.nFileSizeHigh << 32) | data.nFileSizeLow;
        walk.fAnyAccepted = true;
        if (flags & FIND_CLOSE_AFTER) {
            CloseDirSearchHandles(0, fs);
            fs->aDirectories.clear();
            walk.fPieceActive = false;
        }
        if (walk.nKind == 0 && (fs->fAttributes & FILE_ATTRIBUTE_REPARSE_POINT)) ReadLinkTarget(fs);
        if (sortedDelivery && !walk.fNoSort) {
            if (fs->aGathered.size() % kGatherStep == 0) fs->aGathered.reserve(fs->aGathered.size() + kGatherStep);
            fs->aGathered.push_back(*fs);
            continue;
        }
        BuildFullName(fs, *fs, flags, fullName);
        return true;
    }
}
