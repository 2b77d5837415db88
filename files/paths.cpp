// Path handling: the parts of a name, full names with the shell's own forms,
// long-path prefixes, devices and existence tests.
#include "files/paths.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/state.h"
#include "net/net.h"
#include "vars/lists.h"
#include "vars/vars.h"
#include <cwchar>
#include <vector>

namespace {

inline bool IsSep(wchar_t c) { return c == L'\\' || c == L'/'; }
inline bool IsAsciiLetter(wchar_t c) { return (c >= L'a' && c <= L'z') || (c >= L'A' && c <= L'Z'); }
inline bool IsDriveSpec(const wchar_t *p) { return IsAsciiLetter(p[0]) && p[1] == L':'; }
inline bool IsUncStart(const wchar_t *p) { return IsSep(p[0]) && IsSep(p[1]); }
// "\\?\" or "\\.\" (either slash).
inline bool HasNamespacePrefix(const wchar_t *p) {
    return IsUncStart(p) && (p[2] == L'?' || p[2] == L'.') && IsSep(p[3]);
}

// Where the file-name part of name begins (see PathPart).
size_t FileNameOffset(const wchar_t *name) {
    size_t len = wcslen(name), lowest = 0;
    if (HasNamespacePrefix(name)) {
        lowest = 4;
    } else if (IsUncStart(name)) {
        size_t i = 2;
        while (name[i] && !IsSep(name[i])) i++;  // server
        if (name[i]) i++;
        while (name[i] && !IsSep(name[i])) i++;  // share
        if (!name[i]) return len;
        lowest = i;
    }
    const wchar_t *colons = wcsstr(name + lowest, L"::");
    size_t limit = colons ? (size_t)(colons - name) : len, i = limit;
    for (; i > lowest; i--) {
        wchar_t c = name[i - 1];
        if (IsSep(c)) break;
        // A colon behind an earlier separator marks a stream, not a drive.
        if (c == L':' && !wcspbrk(CString(name + lowest, i - 1 - lowest).c_str(), L"\\/")) break;
    }
    if (limit == len && wcscmp(name + i, L"..") == 0) return len;
    return i;
}

// The root of a full name, with its trailing separator: "x:\" or
// "\\server\share\"; 0 when name has none.
size_t RootLength(const CString &name) {
    if (IsDriveSpec(name.c_str())) return IsSep(name.At(2)) ? 3 : 2;
    if (!IsUncStart(name.c_str())) return 0;
    size_t i = 2;
    while (i < name.size() && !IsSep(name[i])) i++;
    if (i < name.size()) i++;
    while (i < name.size() && !IsSep(name[i])) i++;
    return i < name.size() ? i + 1 : i;
}

bool HasWildcard(const CString &part) { return part.find_first_of(L"*?") != CString::npos; }

// Drive aliases: "name:rest" where "name:" is an alias becomes the alias
// value joined with rest.  Sixteen steps at most.
int ExpandDriveAliases(CString &work) {
    for (int steps = 0;; steps++) {
        size_t colon = work.find(L':');
        if (colon == CString::npos || colon < 2 || IsSep(work[0])) return 0;
        CString head = work.Left(colon + 1);
        if (head.find_first_of(L"\\/\"") != CString::npos || QueryIsDevice(head)) return 0;
        const wchar_t *value = GetAlias(head.c_str(), nullptr);
        if (!value) return 0;
        if (steps >= 16) return ERROR_BD_ALIAS_LOOP;
        CString expanded = value;
        if (expanded.find(L'%') != CString::npos) {
            if (int rc = VariableExpansion(expanded, 0)) return rc;
        }
        MakeDirectoryName(expanded, work.c_str() + colon + 1);
        work = expanded;
    }
}

// The directory that a relative name stands on: base, or the current
// directory of the name's drive.
int BaseDirectory(const CString &name, const wchar_t *base, CString *out) {
    if (base && *base && !(IsDriveSpec(name.c_str()) && StrNICmp(base, name.c_str(), 1) != 0)) {
        *out = WithoutVLFN(base);
        return 0;
    }
    int code = 0;
    if (!QueryCurrentDirectory(IsDriveSpec(name.c_str()) ? name.c_str() : nullptr, out, &code)) return code;
    *out = WithoutVLFN(*out);
    return 0;
}

// Put the parts of rest onto parts: "." is dropped, ".." takes the last
// part off (never the root), and a run of n dots goes up n - 1 levels.
void WalkParts(const CString &rest, std::vector<CString> &parts) {
    size_t at = 0;
    while (at <= rest.size()) {
        size_t end = at;
        while (end < rest.size() && !IsSep(rest[end])) end++;
        CString part = rest.substr(at, end - at);
        at = end + 1;
        if (part.empty() || part == L".") continue;
        if (part.find_first_not_of(L'.') == CString::npos) {
            for (size_t up = part.size() - 1; up > 0 && !parts.empty(); up--) parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
}

// The full form of a local or UNC name (no prefix, no alias, no URL).
int FullLocalPath(const CString &work, const wchar_t *base, CString *out) {
    CString root, rest;
    if (IsUncStart(work.c_str())) {
        if (!work.At(2) || IsSep(work[2])) return ERROR_BAD_PATHNAME;  // no server
        size_t r = RootLength(work);
        root = work.Left(r);
        rest = work.Mid(r);
    } else if (IsDriveSpec(work.c_str()) && IsSep(work.At(2))) {
        root = work.Left(3);
        rest = work.Mid(3);
    } else {
        CString dir;
        if (int rc = BaseDirectory(work, base, &dir)) return rc;
        size_t r = RootLength(dir);
        root = dir.Left(r);
        if (IsSep(work.At(0))) rest = work.Mid(1);
        else rest = dir.Mid(r) + L"\\" + (IsDriveSpec(work.c_str()) ? work.Mid(2) : work);
    }
    for (wchar_t &c : root)
        if (c == L'/') c = L'\\';
    if (root.empty() || !IsSep(root.back())) root += L'\\';
    // Everything from "::" on is a regular expression and stays as typed.
    CString tail;
    size_t colons = rest.find(L"::");
    if (colons != CString::npos) {
        tail = rest.Mid(colons);
        bool sepBefore = colons > 0 && IsSep(rest[colons - 1]);
        rest.Truncate(colons);
        if (sepBefore || rest.empty()) tail.insert(0, L"\\");
    }
    std::vector<CString> parts;
    WalkParts(rest, parts);
    if (!parts.empty() && tail.empty() && !HasWildcard(parts.back())) {
        CString &last = parts.back();
        last.TrimRight(L".");
        if (last.empty()) parts.pop_back();
    }
    CString full = root;
    for (size_t i = 0; i < parts.size(); i++) {
        if (i) full += L'\\';
        full += parts[i];
    }
    if (!tail.empty()) full += IsSep(full.back()) && tail[0] == L'\\' ? tail.Mid(1) : tail;
    *out = full;
    return 0;
}

// The steps of CreateFullPathNameEx, without the report: 0 or a code.
int FullPathCode(CString &name, const wchar_t *base) {
    CString work = name;
    StripQuotes_S(work);
    if (work.StartsWith(L"::")) {
        name = work;
        return 0;
    }
    if (work.StartsWithNoCase(L"file://")) {
        work.erase(0, 7);
        if (work.At(0) == L'/' && IsDriveSpec(work.c_str() + 1)) work.erase(0, 1);
    }
    if (work.empty()) return BaseDirectory(work, base, &name);
    if (work.size() >= PATH_LIMIT) return ERROR_FILENAME_EXCED_RANGE;
    bool listMark = work[0] == L'@' && !QueryIsFileOrDirectory(work);
    if (listMark) work.erase(0, 1);
    if (QueryIsClip(work.c_str()) || QueryIsDevice(work)) {
        name = listMark ? L"@" + work : work;
        return 0;
    }
    if (int rc = ExpandDriveAliases(work)) return rc;
    if (QueryIsURL(work.c_str())) {
        name = work;
        return 0;
    }
    // A "\\?\" name is worked on without its prefix, which is put back.
    CString prefix;
    if (HasNamespacePrefix(work.c_str())) {
        if (work[2] == L'.') {
            name = work;
            return 0;
        }
        bool unc = StrNICmp(work.c_str() + 4, L"UNC", 3) == 0 && IsSep(work.At(7));
        prefix = unc ? L"\\\\?\\UNC" : L"\\\\?\\";
        work = unc ? L"\\" + work.Mid(7) : work.Mid(4);
    }
    CString full;
    if (int rc = FullLocalPath(work, base, &full)) return rc;
    if (!prefix.empty()) full = prefix + (prefix.size() > 4 ? full.Mid(1) : full);
    else MakeVLFN(full);
    if (full.size() >= PATH_LIMIT) return ERROR_FILENAME_EXCED_RANGE;
    name = listMark ? L"@" + full : full;
    return 0;
}

const wchar_t *const kDeviceNames[] = {L"CON", L"PRN", L"AUX", L"NUL", L"CONIN$", L"CONOUT$", L"CLOCK$"};

bool IsDeviceWord(const CString &word) {
    for (const wchar_t *d : kDeviceNames)
        if (word.EqualsNoCase(d)) return true;
    return word.size() == 4 && (StrNICmp(word.c_str(), L"COM", 3) == 0 || StrNICmp(word.c_str(), L"LPT", 3) == 0) &&
           word[3] >= L'1' && word[3] <= L'9';
}

}  // namespace

bool CreateFullPathNameEx(CString &name, int quiet, const wchar_t *base) {
    CString work = name;
    int rc = FullPathCode(work, base);
    if (rc) {
        if (!quiet) BDError(rc, name.c_str());
        return false;
    }
    name = work;
    return true;
}

bool CreateFullPathName(CString &name, int quiet) { return CreateFullPathNameEx(name, quiet, nullptr); }

const wchar_t *MakeFullName(CString &name, int quiet) {
    return CreateFullPathNameEx(name, quiet, nullptr) ? name.c_str() : nullptr;
}

const wchar_t *PathPart(const wchar_t *name, CString *out) {
    size_t n = FileNameOffset(name);
    if (!n) {
        out->Empty();
        return nullptr;
    }
    out->assign(name, n);
    return out->c_str();
}

size_t PathLength(const wchar_t *name) { return FileNameOffset(name); }

const wchar_t *FilenamePart(const wchar_t *name, CString *out) {
    const wchar_t *part = name + FileNameOffset(name);
    if (!out) return part;
    *out = part;
    StripQuotes_S(*out);
    return out->c_str();
}

const wchar_t *ExtensionPart(const wchar_t *name, CString *out) {
    const wchar_t *dot = wcsrchr(name, L'.');
    if (dot && wcspbrk(dot + 1, L"\\/:")) dot = nullptr;
    if (out) {
        out->Empty();
        if (dot) out->assign(dot, wcscspn(dot, L";\""));
        return dot ? out->c_str() : nullptr;
    }
    return dot;
}

void MakeDirectoryName(CString &path, const wchar_t *name) {
    if (path.empty()) {
        path = name;
        return;
    }
    wchar_t last = path.back();
    if (QueryIsURL(path.c_str())) {
        if (!IsSep(last)) path += L'/';
    } else if (!IsSep(last) && last != L':' && !IsSep(*name)) {
        path += L'\\';
    }
    if (IsSep(path.back()) && IsSep(*name)) name++;
    path += name;
}

void InsertPathInFilename(CString &out, const wchar_t *name, const wchar_t *pathSource) {
    CString path, file(name);
    PathPart(pathSource, &path);
    out = path + file;
}

int AddWildcardIfDirectory(CString &name) {
    if (name.empty() || HasWildcard(name)) return 0;
    wchar_t last = name.back();
    if (!IsSep(last) && !(name.size() == 2 && last == L':') && !IsDirectory(name)) return 0;
    MakeDirectoryName(name, L"*");
    return 1;
}

bool QueryCurrentDirectory(const wchar_t *drive, CString *out, int *code) {
    CString cwd = CurrentDirectory();
    if (!drive || !IsDriveSpec(drive) || (IsDriveSpec(cwd.c_str()) && ToUpperChar(cwd[0]) == ToUpperChar(drive[0]))) {
        *out = cwd;
        return true;
    }
    wchar_t root[] = {drive[0], L':', L'\\', 0};
    if (GetDriveTypeW(root) == DRIVE_NO_ROOT_DIR) {
        if (code) *code = ERROR_INVALID_DRIVE;
        return false;
    }
    // The current directory of another drive lives in the variable "=X:".
    wchar_t variable[] = {L'=', ToUpperChar(drive[0]), L':', 0};
    CString dir;
    if (QueryEnvVar(variable, &dir) && IsDriveSpec(dir.c_str())) *out = dir;
    else *out = root;
    return true;
}

void MakeVLFN(CString &name) {
    if (name.size() < LONG_PATH_MIN || QueryIsURL(name.c_str()) || HasNamespacePrefix(name.c_str())) return;
    if (wcschr(FilenamePart(name.c_str()), L';')) return;
    bool unc = IsUncStart(name.c_str());
    if (unc && name.size() < 259) return;
    if (!unc && !(IsDriveSpec(name.c_str()) && IsSep(name.At(2)))) return;
    for (wchar_t &c : name)
        if (c == L'/') c = L'\\';
    if (unc) name.replace(0, 1, L"\\\\?\\UNC");
    else name.insert(0, L"\\\\?\\");
}

CString WithoutVLFN(const CString &name) {
    if (!HasNamespacePrefix(name.c_str()) || name[2] != L'?') return name;
    if (StrNICmp(name.c_str() + 4, L"UNC", 3) == 0 && IsSep(name.At(7))) return L"\\" + name.Mid(7);
    return name.Mid(4);
}

CString QueryOpenName(const CString &name) {
    CString plain = name;
    StripQuotes_S(plain);
    if (HasNamespacePrefix(plain.c_str()) || QueryIsURL(plain.c_str())) return plain;
    bool full = IsUncStart(plain.c_str()) || (IsDriveSpec(plain.c_str()) && IsSep(plain.At(2)));
    if (!full && !plain.empty()) {
        DWORD n = GetFullPathNameW(plain.c_str(), 0, nullptr, nullptr);
        if (n >= LONG_PATH_MIN) {
            CString out(n, L'\0');
            n = GetFullPathNameW(plain.c_str(), n, out.data(), nullptr);
            if (n && n < out.size()) plain = out.Left(n);
        }
    }
    MakeVLFN(plain);
    return plain;
}

bool QueryFileAttributes(const CString &name, DWORD mustHave, DWORD mustNotHave) {
    CString plain = QueryOpenName(name);
    DWORD attr = GetFileAttributesW(plain.c_str());
    return attr != INVALID_FILE_ATTRIBUTES && (attr & mustHave) == mustHave && !(attr & mustNotHave);
}

bool IsDirectory(const CString &name) {
    if (QueryIsDirectory(name)) return true;
    CString plain = name;
    StripQuotes_S(plain);
    if (plain.size() == 2 && IsDriveSpec(plain.c_str())) plain += L'\\';
    return RootLength(plain) == plain.size() && !plain.empty() && GetDriveTypeW(plain.c_str()) != DRIVE_NO_ROOT_DIR;
}

bool QueryIsCON(const wchar_t *name) {
    return StrICmp(name, L"CON") == 0 || StrICmp(name, L"CON:") == 0 || StrICmp(name, L"\\DEV\\CON") == 0;
}

bool QueryIsClip(const wchar_t *name) { return StrICmp(name, L"clip:") == 0; }

bool QueryIsDevice(CString &name) {
    CString plain = name;
    StripQuotes_S(plain);
    if (HasNamespacePrefix(plain.c_str()) && plain[2] == L'.') return true;
    bool colon = !plain.empty() && plain.back() == L':';
    if (colon) plain.pop_back();
    if (plain.empty() || !IsDeviceWord(FilenamePart(plain.c_str()))) return false;
    if (colon && name.back() == L':') name.pop_back();
    return true;
}

int QueryTrueName_S(CString &name) {
    if (!IsDriveSpec(name.c_str())) return 0;
    wchar_t drive[] = {ToUpperChar(name[0]), L':', 0};
    CString rest = name.Mid(2), target(1024, L'\0');
    DWORD n = QueryDosDeviceW(drive, target.data(), (DWORD)target.size());
    if (n && target.StartsWith(L"\\??\\")) {
        target.resize(wcslen(target.c_str()));
        target = WithoutVLFN(L"\\\\?\\" + target.Mid(4));
        if (!target.empty() && IsSep(target.back()) && IsSep(rest.At(0))) target.pop_back();
        name = target + rest;
        return QueryTrueName_S(name);
    }
    DWORD size = (DWORD)target.size();
    target.assign(size, L'\0');
    if (WNetGetConnectionW(drive, target.data(), &size) == NO_ERROR) {
        target.resize(wcslen(target.c_str()));
        name = target + rest;
    }
    return 0;
}

int QueryTrueName(const wchar_t *name, CString *out) {
    CString full = name;
    if (int rc = FullPathCode(full, nullptr)) return rc;
    full = WithoutVLFN(full);
    if (IsDriveSpec(full.c_str())) {
        wchar_t root[] = {full[0], L':', L'\\', 0};
        if (GetDriveTypeW(root) == DRIVE_NO_ROOT_DIR) return ERROR_INVALID_DRIVE;
        full[0] = ToUpperChar(full[0]);
    }
    if (int rc = QueryTrueName_S(full)) return rc;
    *out = full;
    return 0;
}

int GetLongName(CString &name) {
    CString plain = name;
    StripQuotes_S(plain);
    DWORD n = GetLongPathNameW(plain.c_str(), nullptr, 0);
    if (!n) return (int)GetLastError();
    CString out(n, L'\0');
    n = GetLongPathNameW(plain.c_str(), out.data(), n);
    if (!n) return (int)GetLastError();
    out.resize(n);
    name = out;
    return 0;
}

int GetShortName(CString &name) {
    CString plain = name;
    StripQuotes_S(plain);
    DWORD n = GetShortPathNameW(plain.c_str(), nullptr, 0);
    if (!n) return 0;
    CString out(n, L'\0');
    n = GetShortPathNameW(plain.c_str(), out.data(), n);
    if (!n) return 0;
    out.resize(n);
    name = out;
    return 1;
}

int UniqueFileName(CString &dir, const wchar_t *prefix) {
    CString where = dir.empty() ? CString(L".") : dir;
    StripQuotes_S(where);
    CString out(MAX_PATH + 1, L'\0');
    if (!GetTempFileNameW(where.c_str(), prefix ? prefix : L"", 0, out.data())) return (int)GetLastError();
    out.resize(wcslen(out.c_str()));
    // Names come from the clock: a short pause keeps the next one apart.
    Sleep(25);
    if (int rc = FullPathCode(out, nullptr)) return rc;
    dir = out;
    return 0;
}
