// The path search: the executable extensions in their order, and the
// search of a name in the current directory and along a path list.  Also
// the one test of a name's attributes that the lookup, the launcher and IF
// share.
#include "base/args.h"
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"
#include "files/files.h"

namespace {

// The executable extensions in search order; a row whose language is
// switched off reads "!" and is skipped.
std::vector<CString> aExecutables = {L".com", L".exe", L".btm", L".bat", L".cmd", L".lua", L".vbs", L".js",
                                     L".ws",  L".rex", L".rexx", L".pl", L".rb", L".py", L".tcl", L".ps1"};

bool HasPath(const CString &name) { return name.find_first_of(L"\\/:") != CString::npos; }

CString JoinPath(const CString &dir, const CString &name) {
    if (dir.empty()) return name;
    wchar_t last = dir.back();
    return last == L'\\' || last == L'/' || last == L':' ? dir + name : dir + L"\\" + name;
}

// Try one place: the name as it stands when it has an extension, otherwise
// with each executable extension (after one test that anything is there).
bool TryPlace(const CString &base, bool command, CString *found) {
    if (!ExtensionOf(base).empty() || !command) {
        if (!QueryIsFile(base)) return false;
        *found = base;
        return true;
    }
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW((base + L".*").c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return false;
    FindClose(h);
    for (const CString &ext : QueryExecutables()) {
        if (ext == L"!") continue;
        if (QueryIsFile(base + ext)) {
            *found = base + ext;
            return true;
        }
    }
    return false;
}

}  // namespace

CString ExtensionOf(const CString &name) {
    size_t dot = name.find_last_of(L".\\/:");
    return dot != CString::npos && name[dot] == L'.' ? name.Mid(dot) : CString();
}

bool QueryFileAttributes(const CString &name, DWORD mustHave, DWORD mustNotHave) {
    CString plain = name;
    StripQuotes_S(plain);
    DWORD attr = GetFileAttributesW(plain.c_str());
    return attr != INVALID_FILE_ATTRIBUTES && (attr & mustHave) == mustHave && !(attr & mustNotHave);
}

const std::vector<CString> &QueryExecutables() {
    if (aIniFile.PathExt) {
        static std::vector<CString> fromPathExt;
        fromPathExt.clear();
        CString list = GetEnvVar(L"PATHEXT");
        for (size_t at = 0; at < list.size();) {
            size_t end = list.find_first_of(L";,=", at);
            if (end == CString::npos) end = list.size();
            if (end > at) fromPathExt.push_back(list.substr(at, end - at));
            at = end + 1;
        }
        return fromPathExt;
    }
    return aExecutables;
}

void SetExecutableFiles() {
    struct Row { const wchar_t *ext; int on; };
    const Row rows[] = {{L".lua", aIniFile.Lua},     {L".rex", aIniFile.Rexx},  {L".rexx", aIniFile.Rexx},
                        {L".pl", aIniFile.Perl},     {L".rb", aIniFile.Ruby},   {L".py", aIniFile.Python},
                        {L".tcl", aIniFile.Tcl},     {L".ps1", aIniFile.PowerShell}};
    static const std::vector<CString> all = aExecutables;
    aExecutables = all;
    for (const Row &row : rows)
        for (CString &ext : aExecutables)
            if (ext == row.ext && !row.on) ext = L"!";
}

bool QueryIsExecutableExtension(const CString &ext) {
    for (const CString &e : QueryExecutables())
        if (e != L"!" && ext.EqualsNoCase(e.c_str())) return true;
    return false;
}

CString SearchPaths(const wchar_t *name, const wchar_t *pathList, int mode, int *found, CString *allMatches) {
    if (found) *found = 0;
    if (!name || !*name) return CString();
    CString file = name;
    if (file.size() >= 0x7FFF) {
        BDError(ERROR_BUFFER_OVERFLOW, nullptr);
        return CString();
    }
    StripQuotes_S(file);
    bool command = mode == 0;
    CString result;
    auto tryAt = [&](const CString &dir) {
        CString hit;
        if (!TryPlace(JoinPath(dir, file), command, &hit)) return false;
        if (result.empty()) result = hit;
        if (allMatches) *allMatches += hit + L"\r\n";
        return !allMatches;
    };
    if (HasPath(file)) {
        tryAt(CString());
        return result;
    }
    CString list = pathList ? CString(pathList) : GetEnvVar(L"PATH");
    bool dotInPath = false;
    for (size_t at = 0; at <= list.size();) {
        size_t end = list.find(L';', at);
        if (end == CString::npos) end = list.size();
        CString entry = list.substr(at, end - at);
        entry.Trim();
        StripEnclosingQuotes_S(entry);
        if (entry == L".") dotInPath = true;
        at = end + 1;
    }
    if (!dotInPath && tryAt(CString())) return result;
    for (size_t at = 0; at < list.size();) {
        size_t end = list.find(L';', at);
        if (end == CString::npos) end = list.size();
        CString entry = list.substr(at, end - at);
        at = end + 1;
        entry.Trim();
        StripEnclosingQuotes_S(entry);
        if (entry.empty()) continue;
        if (tryAt(entry == L"." ? CString() : entry)) return result;
    }
    return result;
}

