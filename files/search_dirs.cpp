// The sources of names around FindFiles: @file lists and their line
// reader, single remote objects, wildcards in directory parts, the volume
// and link queries an entry needs, and the descent of /S with its loop
// guard.
#include "base/args.h"
#include "base/errors.h"
#include "base/state.h"
#include "console/console.h"
#include "files/paths.h"
#include "files/search.h"
#include "files/search_internal.h"
#include <winioctl.h>
#include <cstring>
#include <cwchar>

namespace {

constexpr int kMaxListLine = 65535;
constexpr DWORD kTagMountPoint = 0xA0000003;
constexpr DWORD kTagSymbolicLink = 0xA000000C;

// The clipboard's text, or empty.
CString ClipboardText() {
    CString text;
    if (!OpenClipboard(nullptr)) return text;
    if (HANDLE data = GetClipboardData(CF_UNICODETEXT)) {
        if (const wchar_t *p = static_cast<const wchar_t *>(GlobalLock(data))) {
            text = p;
            GlobalUnlock(data);
        }
    }
    CloseClipboard();
    return text;
}

// Line of text at *offset (characters), moving the offset behind it.
int LineOfText(const CString &text, long *offset, CString &line) {
    if (*offset < 0 || (size_t)*offset >= text.size()) return ERROR_HANDLE_EOF;
    size_t end = text.find_first_of(L"\r\n", (size_t)*offset);
    if (end == CString::npos) end = text.size();
    line = CString(text.substr((size_t)*offset, end - (size_t)*offset)).Left(kMaxListLine);
    if (end < text.size() && text[end] == L'\r') end++;
    if (end < text.size() && text[end] == L'\n') end++;
    *offset = (long)end;
    return 0;
}

// Whether bytes are UTF-8 (plain ASCII counts too).
bool LooksLikeUtf8(const char *bytes, DWORD size) {
    return MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes, (int)size, nullptr, 0) > 0 || size == 0;
}

}  // namespace

int GetFileLine(const wchar_t *name, long *offset, CString &line) {
    line.clear();
    if (QueryIsCON(name)) {
        int got = GetNextLine(StdIn(), line, 0, nullptr, kMaxListLine);
        return got > 0 || !line.empty() ? 0 : ERROR_HANDLE_EOF;
    }
    if (QueryIsClip(name)) return LineOfText(ClipboardText(), offset, line);
    HANDLE h = CreateFileW(name, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    char head[4096];
    DWORD got = 0;
    if (!ReadFile(h, head, sizeof(head), &got, nullptr)) got = 0;
    bool wide = got >= 2 && (unsigned char)head[0] == 0xFF && (unsigned char)head[1] == 0xFE;
    bool bom8 = got >= 3 && (unsigned char)head[0] == 0xEF && (unsigned char)head[1] == 0xBB &&
                (unsigned char)head[2] == 0xBF;
    if (*offset == 0) *offset = wide ? 2 : bom8 ? 3 : 0;
    int flags = wide ? GNL_UTF16 : (bom8 || LooksLikeUtf8(head, got)) ? GNL_UTF8 : 0;
    LARGE_INTEGER at;
    at.QuadPart = *offset;
    int consumed = 0;
    if (SetFilePointerEx(h, at, nullptr, FILE_BEGIN)) consumed = GetNextLine(h, line, flags | GNL_NO_PIPE_TEST, nullptr, kMaxListLine);
    CloseHandle(h);
    if (consumed <= 0) return ERROR_HANDLE_EOF;
    *offset += wide ? consumed * 2 : consumed;
    return 0;
}

bool OpenListFile(const CString &pattern, unsigned long flags, FILESEARCH *fs) {
    if (flags & (FIND_LITERAL | FIND_NO_LIST_FILE)) return false;
    CString text = pattern;
    text.Trim();
    StripQuotes_S(text);
    if (text.find_first_of(L"[?*") != CString::npos || text.find(L"::") != CString::npos) return false;
    size_t at = text.At(0) == L'@' ? 0 : PathLength(text.c_str());
    if (text.At(at) != L'@' || GetFileAttributesW(text.c_str()) != INVALID_FILE_ATTRIBUTES) return false;
    CString list = text;
    list.erase(at, 1);
    if (list.empty()) return false;
    CString device = list;
    bool isDevice = QueryIsDevice(device) || QueryIsClip(list.c_str());
    if (!isDevice && !QueryIsFile(list)) return false;
    fs->sListFile = isDevice ? device : list;
    fs->nListPosition = 0;
    return true;
}

bool FindRemoteObject(int which, const CString &pattern, unsigned long flags, FILESEARCH *fs, CString *fullName,
                      int kind) {
    if (kind == 10 || (flags & FIND_ONLY_DIRS)) {
        if (!(flags & FIND_NO_ERRORS)) BDError(ERROR_FILE_NOT_FOUND, pattern.c_str());
        return false;
    }
    if (which == FIND_NEXT) return false;
    fs->sName = FilenamePart(pattern.c_str());
    if (fullName) *fullName = pattern;
    return true;
}

namespace {

// The parts of a path, split at its separators; a "\\?\" or "\\.\" prefix
// and the root stay in front of the first part.
void SplitSegments(const CString &path, CString *root, std::vector<CString> *segments) {
    size_t start = 0;
    if (path.StartsWith(L"\\\\?\\") || path.StartsWith(L"\\\\.\\")) start = 4;
    if (path.At(start + 1) == L':') start += 2;
    else if (start == 0 && path.StartsWith(L"\\\\")) {
        // \\server\share stays whole.
        size_t server = path.find_first_of(L"\\/", 2);
        size_t share = server == CString::npos ? CString::npos : path.find_first_of(L"\\/", server + 1);
        start = share == CString::npos ? path.size() : share;
    }
    if (path.At(start) == L'\\' || path.At(start) == L'/') start++;
    *root = path.Left(start);
    segments->clear();
    for (size_t i = start; i < path.size();) {
        size_t end = path.find_first_of(L"\\/", i);
        if (end == CString::npos) end = path.size();
        if (end > i) segments->push_back(path.substr(i, end - i));
        i = end + 1;
    }
}

bool IsWildSegment(const CString &base, const CString &segment) {
    if (segment.find_first_of(L"*?") != CString::npos) return true;
    if (segment.find(L'[') == CString::npos) return false;
    CString probe = base;
    MakeDirectoryName(probe, segment.c_str());
    return !QueryIsDirectory(probe);
}

// The subdirectories of base that match a wild segment, sorted by name.
std::vector<FILEENTRY> MatchingDirectories(const CString &base, const CString &segment, unsigned long flags) {
    std::vector<FILEENTRY> found;
    CString pattern = base;
    MakeDirectoryName(pattern, segment.c_str());
    FILESEARCH fs;
    unsigned long mask = FIND_NO_LIST_FILE | FIND_NO_ERRORS | FIND_ONLY_DIRS | FIND_NO_DOT_NAMES | FIND_LITERAL |
                         FILE_ATTRIBUTE_DIRECTORY | (flags & (FILE_ATTRIBUTE_HIDDEN | FILE_ATTRIBUTE_SYSTEM));
    for (int which = FIND_FIRST; FindFiles(which, pattern, mask, &fs, nullptr); which = FIND_NEXT) found.push_back(fs);
    SortFileEntries(found, L"n");
    return found;
}

bool IsLink(const FILEENTRY &e) { return (e.fAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; }

// descent holds the directories that a "**" walk stands in, so that a
// link back to one of them is not followed again; link tells whether base
// is a link.
void ExpandFrom(const CString &base, bool link, const std::vector<CString> &segments, size_t at,
                unsigned long flags, DESCENT &descent, std::vector<CString> *out) {
    CString dir = base;
    for (; at < segments.size(); at++) {
        const CString &segment = segments[at];
        if (segment == L"**") {
            if (!EnterDirectory(descent, dir, link)) return;
            ExpandFrom(dir, false, segments, at + 1, flags, descent, out);
            for (const FILEENTRY &e : MatchingDirectories(dir, L"*", flags)) {
                CString sub = dir;
                MakeDirectoryName(sub, e.sName.c_str());
                ExpandFrom(sub, IsLink(e), segments, at, flags, descent, out);
            }
            LeaveDirectory(descent);
            return;
        }
        if (IsWildSegment(dir, segment)) {
            for (const FILEENTRY &e : MatchingDirectories(dir, segment, flags)) {
                CString sub = dir;
                MakeDirectoryName(sub, e.sName.c_str());
                ExpandFrom(sub, IsLink(e), segments, at + 1, flags, descent, out);
            }
            return;
        }
        MakeDirectoryName(dir, segment.c_str());
        link = false;
    }
    out->push_back(dir);
}

}  // namespace

void ExpandWildcardDirectories(const CString &path, unsigned long flags, std::vector<CString> *directories) {
    directories->clear();
    if (path.empty() || path.find(L"::") != CString::npos) return;
    CString root;
    std::vector<CString> segments;
    SplitSegments(path, &root, &segments);
    bool wild = false;
    CString probe = root;
    for (const CString &segment : segments) {
        if (IsWildSegment(probe, segment)) {
            wild = true;
            break;
        }
        MakeDirectoryName(probe, segment.c_str());
    }
    if (!wild) return;
    DESCENT descent;
    ExpandFrom(root, false, segments, 0, flags, descent, directories);
}

namespace {

// The root of a name's volume: "X:\" for a drive (the current one for a
// relative name), "\\server\share\" for a UNC name.  Mount points inside
// a drive are not looked for: a listing asks for every directory, and that
// search walks the whole path each time.
CString VolumeRoot(const wchar_t *name) {
    CString text = name ? name : L"";
    if (text.StartsWith(L"\\\\?\\UNC\\")) text = L"\\" + text.Mid(7);
    else if (text.StartsWith(L"\\\\?\\") || text.StartsWith(L"\\\\.\\")) text = text.Mid(4);
    if (text.At(1) == L':') return text.Left(2) + L"\\";
    if (text.StartsWith(L"\\\\")) {
        size_t server = text.find_first_of(L"\\/", 2);
        size_t share = server == CString::npos ? CString::npos : text.find_first_of(L"\\/", server + 1);
        return (share == CString::npos ? text : text.Left(share)) + L"\\";
    }
    CString current;
    if (!QueryCurrentDirectory(nullptr, &current) || current.At(1) != L':') return CString();
    return current.Left(2) + L"\\";
}

}  // namespace

bool QueryVolumeOf(const CString &root, CString *label, DWORD *serial, DWORD *maxComponent, wchar_t *fsName) {
    // Asked through a handle of the root: asked by name, the system may try
    // to read the raw device and complain where it can't.
    UINT old = SetErrorMode(SEM_FAILCRITICALERRORS);
    HANDLE h = CreateFileW(root.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    SetErrorMode(old);
    if (h == INVALID_HANDLE_VALUE) return false;
    wchar_t name[MAX_PATH + 1] = {};
    DWORD flags = 0;
    BOOL ok = GetVolumeInformationByHandleW(h, label ? name : nullptr, label ? MAX_PATH + 1 : 0, serial, maxComponent,
                                            &flags, fsName, fsName ? MAX_PATH + 1 : 0);
    CloseHandle(h);
    if (ok && label) *label = name;
    return ok;
}

int QueryIFSType(const wchar_t *name) {
    // One volume query per root: listings ask for every directory.
    static thread_local CString lastRoot;
    static thread_local int lastType = 1;
    CString root = VolumeRoot(name);
    if (root.empty()) return 1;
    if (StrICmp(root, lastRoot) == 0) return lastType;
    wchar_t fsName[MAX_PATH + 1] = {};
    DWORD maxComponent = 0, fsFlags = 0;
    BOOL ok = QueryVolumeOf(root, nullptr, nullptr, &maxComponent, fsName);
    int type = !ok ? 1 : StrICmp(fsName, L"NTFS") == 0 ? 2 : maxComponent <= 12 ? 0 : 1;
    lastRoot = root;
    lastType = type;
    return type;
}

namespace {

// The reparse data of a mount point or a symbolic link, as the system
// hands it out.
struct REPARSEDATA {
    DWORD nTag;
    WORD nLength;
    WORD nReserved;
    WORD nSubstituteOffset, nSubstituteLength, nPrintOffset, nPrintLength;
};

}  // namespace

namespace {

// Where a link leads, for a system that can't hand out its reparse data
// (Wine keeps links as the host's symbolic links): the final name of
// what it opens.  Taken for a symbolic link; 0 when it leads nowhere.
int ResolvedLinkTarget(const wchar_t *name, CString *target) {
    HANDLE h = CreateFileW(name, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) return 0;
    CString path(MAX_PATH, L'\0');
    DWORD n = GetFinalPathNameByHandleW(h, path.data(), (DWORD)path.size(), FILE_NAME_NORMALIZED);
    if (n >= path.size()) {
        path.resize(n + 1);
        n = GetFinalPathNameByHandleW(h, path.data(), (DWORD)path.size(), FILE_NAME_NORMALIZED);
    }
    CloseHandle(h);
    if (!n || n >= path.size()) return 0;
    path.resize(n);
    if (target) *target = WithoutVLFN(path);
    return 2;
}

}  // namespace

int QueryLinkTarget(const wchar_t *name, CString *target) {
    if (target) target->clear();
    DWORD attributes = GetFileAttributesW(name);
    if (attributes == INVALID_FILE_ATTRIBUTES || !(attributes & FILE_ATTRIBUTE_REPARSE_POINT)) return 0;
    HANDLE h = CreateFileW(name, 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                           FILE_FLAG_OPEN_REPARSE_POINT | FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) return 0;
    std::string buffer(MAXIMUM_REPARSE_DATA_BUFFER_SIZE, '\0');
    DWORD got = 0;
    BOOL ok = DeviceIoControl(h, FSCTL_GET_REPARSE_POINT, nullptr, 0, buffer.data(), (DWORD)buffer.size(), &got, nullptr);
    CloseHandle(h);
    if (!ok) return ResolvedLinkTarget(name, target);
    if (got < sizeof(REPARSEDATA)) return 0;
    const auto *data = reinterpret_cast<const REPARSEDATA *>(buffer.data());
    size_t pathStart = sizeof(REPARSEDATA);
    int kind = 0;
    if (data->nTag == kTagMountPoint) kind = 1;
    else if (data->nTag == kTagSymbolicLink) {
        kind = 2;
        pathStart += sizeof(ULONG);  // the symbolic link's flags word
    } else {
        return 0;
    }
    auto text = [&](WORD offset, WORD length) {
        size_t from = pathStart + offset;
        if (from + length > got) return CString();
        return CString(reinterpret_cast<const wchar_t *>(buffer.data() + from), length / sizeof(wchar_t));
    };
    CString path = text(data->nPrintOffset, data->nPrintLength);
    if (path.empty()) {
        path = text(data->nSubstituteOffset, data->nSubstituteLength);
        if (path.StartsWith(L"\\??\\")) path.erase(0, 4);
    }
    if (target) *target = path;
    return kind;
}

CString AttributeText(unsigned attributes, bool longForm) {
    static const struct {
        wchar_t letter;
        unsigned bit;
    } places[] = {{L'R', 0x1},   {L'H', 0x2},    {L'S', 0x4},     {L'A', 0x20},    {L'D', 0x10},   {L'E', 0x4000},
                  {L'N', 0x80},  {L'T', 0x100},  {L'L', 0x400},   {L'F', 0x200},   {L'C', 0x800},  {L'O', 0x1000},
                  {L'I', 0x2000}, {L'V', 0x8000}, {L'X', 0x20000}, {L'P', 0x80000}, {L'U', 0x100000}};
    size_t count = longForm ? sizeof(places) / sizeof(places[0]) : 5;
    CString text(count, L'_');
    for (size_t i = 0; i < count; i++)
        if (attributes & places[i].bit) text[i] = places[i].letter;
    return text;
}

namespace {

// The identity of a directory on its volume; two names of one directory
// (through a junction or a link) give the same identity.
DESCENT::ID DirectoryId(const CString &dir) {
    DESCENT::ID id;
    id.fKnown = true;
    HANDLE h = CreateFileW(dir.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr);
    if (h == INVALID_HANDLE_VALUE) return id;
    // The file id asks the file alone; the older call asks the volume too.
    FILE_ID_INFO fileId;
    BY_HANDLE_FILE_INFORMATION info;
    if (GetFileInformationByHandleEx(h, FileIdInfo, &fileId, sizeof(fileId))) {
        unsigned long long low, high;
        memcpy(&low, fileId.FileId.Identifier, sizeof(low));
        memcpy(&high, fileId.FileId.Identifier + 8, sizeof(high));
        id.nVolume = (DWORD)fileId.VolumeSerialNumber;
        id.nIndex = low ^ high;  // the high half is 0 but on ReFS
        id.fValid = true;
    } else if (GetFileInformationByHandle(h, &info)) {
        id.nVolume = info.dwVolumeSerialNumber;
        id.nIndex = (unsigned long long)info.nFileIndexHigh << 32 | info.nFileIndexLow;
        id.fValid = true;
    }
    CloseHandle(h);
    return id;
}

}  // namespace

bool EnterDirectory(DESCENT &descent, const CString &dir, bool link) {
    DESCENT::LEVEL level{dir, {}, link || (!descent.aChain.empty() && descent.aChain.back().fBelowLink)};
    if (level.fBelowLink) {
        level.aId = DirectoryId(dir);
        for (DESCENT::LEVEL &above : descent.aChain) {
            if (!above.aId.fKnown) above.aId = DirectoryId(above.sPath);
            if (level.aId.fValid && above.aId.fValid && above.aId.nIndex == level.aId.nIndex &&
                above.aId.nVolume == level.aId.nVolume)
                return false;
        }
    }
    descent.aChain.push_back(std::move(level));
    descent.nLevel++;
    return true;
}

void LeaveDirectory(DESCENT &descent) {
    if (!descent.aChain.empty()) descent.aChain.pop_back();
    descent.nLevel--;
}

int ListSubdirectories(const CString &dir, const CString &keys, bool noJunctions, std::vector<FILEENTRY> *subdirs) {
    subdirs->clear();
    CString pattern = dir;
    MakeDirectoryName(pattern, L"*");
    FILESEARCH fs;
    unsigned long mask = FIND_NO_LIST_FILE | FIND_NO_ERRORS | FIND_ONLY_DIRS | FIND_NO_DOT_NAMES | FIND_LITERAL |
                         FIND_ALL_ATTRIBUTES;
    for (int which = FIND_FIRST; FindFiles(which, pattern, mask, &fs, nullptr); which = FIND_NEXT)
        subdirs->push_back(fs);
    int rc = fs.aSearch.nResult;
    bool none = subdirs->empty();
    SortSubdirectories(*subdirs, keys, noJunctions);
    return none && rc != ERROR_FILE_NOT_FOUND ? rc : (int)0;
}

void SortSubdirectories(std::vector<FILEENTRY> &found, const CString &keys, bool noJunctions) {
    if (noJunctions)
        std::erase_if(found, [](const FILEENTRY &e) { return (e.fAttributes & FILE_ATTRIBUTE_REPARSE_POINT) != 0; });
    if (!keys.StartsWith(L"u")) SortFileEntries(found, keys);
}
