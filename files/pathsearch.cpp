// The search for commands: the table of executable extensions (or
// PATHEXT), the executable-extension variables (".txt=command"), the
// directories of PATH and the App Paths entries of the registry.
#include <cwchar>
#include "base/args.h"
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"
#include "files/files.h"
#include "files/paths.h"
#include "vars/vars.h"
#include <shlwapi.h>

namespace {

// The executable extensions in search order; a row whose language is
// switched off reads "!" and is skipped.
std::vector<CString> aExecutables = {L".com", L".exe", L".btm", L".bat", L".cmd", L".lua", L".vbs", L".js",
                                     L".ws",  L".rex", L".rexx", L".pl", L".rb", L".py", L".tcl", L".ps1"};

constexpr size_t kMaxName = 0x7FFF;

bool HasPath(const CString &name) { return name.find_first_of(L"\\/:") != CString::npos; }

CString JoinPath(const CString &dir, const CString &name) {
    if (dir.empty()) return name;
    wchar_t last = dir.back();
    return last == L'\\' || last == L'/' || last == L':' ? dir + name : dir + L"\\" + name;
}

// The executable-extension variables: their names (patterns, several
// separated by ";") and commands.
struct ExtensionVariable {
    CString names;
    CString command;
};

std::vector<ExtensionVariable> ExtensionVariables() {
    std::vector<ExtensionVariable> list;
    wchar_t *block = GetEnvironmentStringsW();
    if (!block) return list;
    for (const wchar_t *p = block; *p; p += wcslen(p) + 1) {
        if (*p != L'.') continue;
        const wchar_t *eq = wcschr(p + 1, L'=');
        if (!eq) continue;
        list.push_back({CString(p, eq - p), CString(eq + 1)});
    }
    FreeEnvironmentStringsW(block);
    return list;
}

bool NamesCover(const CString &names, const CString &ext) {
    for (size_t at = 0; at < names.size();) {
        size_t end = names.find(L';', at);
        if (end == CString::npos) end = names.size();
        CString pattern = names.substr(at, end - at);
        pattern.Trim();
        if (!pattern.empty() && PathMatchSpecW(ext.c_str(), pattern.c_str())) return true;
        at = end + 1;
    }
    return false;
}

// A file base.* whose extension an executable-extension variable covers.
bool FindByExtensionVariable(const CString &base, CString *found) {
    std::vector<ExtensionVariable> vars = ExtensionVariables();
    if (vars.empty()) return false;
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW((base + L".*").c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return false;
    size_t slash = base.find_last_of(L"\\/:");
    CString dir = slash == CString::npos ? CString() : base.Left(slash + 1);
    bool hit = false;
    do {
        if (data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) continue;
        CString ext = ExtensionOf(data.cFileName);
        for (const ExtensionVariable &v : vars)
            if (!ext.empty() && NamesCover(v.names, ext)) hit = true;
        if (hit) *found = dir + data.cFileName;
    } while (!hit && FindNextFileW(h, &data));
    FindClose(h);
    return hit;
}

// The first file that a wildcard name matches at one place.
bool FindWildcard(const CString &pattern, CString *found) {
    WIN32_FIND_DATAW data;
    HANDLE h = FindFirstFileW(pattern.c_str(), &data);
    if (h == INVALID_HANDLE_VALUE) return false;
    size_t slash = pattern.find_last_of(L"\\/:");
    CString dir = slash == CString::npos ? CString() : pattern.Left(slash + 1);
    bool hit = false;
    do {
        hit = !(data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY);
        if (hit) *found = dir + data.cFileName;
    } while (!hit && FindNextFileW(h, &data));
    FindClose(h);
    return hit;
}

// Try one place: the name as it stands when it has an extension, otherwise
// with each executable extension (after one test that anything is there),
// then through the executable-extension variables.
bool TryPlace(const CString &base, bool command, CString *found, int *byVariable) {
    if (base.find_first_of(L"*?", base.StartsWith(L"\\\\?\\") ? 4 : 0) != CString::npos)
        return FindWildcard(base, found);
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
    if (!FindByExtensionVariable(base, found)) return false;
    if (byVariable) *byVariable = 1;
    return true;
}

// The places of a search: the entries of the list, with the current
// directory first unless the list names "." itself.
std::vector<CString> SearchPlaces(const CString &list) {
    std::vector<CString> places;
    bool dotInList = false;
    for (size_t at = 0; at < list.size();) {
        size_t end = list.find(L';', at);
        if (end == CString::npos) end = list.size();
        CString entry = list.substr(at, end - at);
        at = end + 1;
        entry.Trim();
        StripEnclosingQuotes_S(entry);
        if (entry.empty()) continue;
        if (entry == L".") {
            dotInList = true;
            entry.clear();
        }
        places.push_back(entry);
    }
    if (!dotInList) places.insert(places.begin(), CString());
    return places;
}

}  // namespace

CString ExtensionOf(const CString &name) {
    size_t dot = name.find_last_of(L".\\/:");
    return dot != CString::npos && name[dot] == L'.' ? name.Mid(dot) : CString();
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

bool ExecutableExtension(const CString &file, CString *command, CString *variable) {
    CString ext = ExtensionOf(file);
    if (ext.empty()) return false;
    for (const ExtensionVariable &v : ExtensionVariables()) {
        if (!NamesCover(v.names, ext)) continue;
        if (command) *command = v.command;
        if (variable) *variable = v.names;
        return true;
    }
    return false;
}

CString QueryAppPath(const CString &program, const wchar_t *value) {
    CString name = program;
    size_t slash = name.find_last_of(L"\\/:");
    if (slash != CString::npos) name = name.Mid(slash + 1);
    if (ExtensionOf(name).empty()) name += L".exe";
    CString key = L"Software\\Microsoft\\Windows\\CurrentVersion\\App Paths\\" + name;
    DWORD size = 0;
    const DWORD types = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), value, types, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return CString();
    CString text(size / sizeof(wchar_t) + 1, L'\0');
    if (RegGetValueW(HKEY_LOCAL_MACHINE, key.c_str(), value, types, nullptr, text.data(), &size) != ERROR_SUCCESS)
        return CString();
    text.resize(wcslen(text.c_str()));
    if (text.find(L'%') != CString::npos) VariableExpansion(text, 1);
    return text;
}

CString SearchPaths(const wchar_t *name, const wchar_t *pathList, int mode, int *found, CString *allMatches) {
    if (found) *found = 0;
    if (!name || !*name) return CString();
    CString file = name;
    if (file.size() >= kMaxName) {
        BDError(111, nullptr);
        return CString();
    }
    StripQuotes_S(file);
    bool command = mode == 0;
    CString result;
    auto tryAt = [&](const CString &dir) {
        CString hit;
        int byVariable = 0;
        if (!TryPlace(JoinPath(dir, file), command, &hit, &byVariable)) return false;
        if (result.empty()) {
            result = hit;
            if (found) *found = byVariable;
        }
        if (allMatches) *allMatches += hit + L"\r\n";
        return !allMatches;
    };
    if (HasPath(file)) {
        tryAt(CString());
        return result;
    }
    for (const CString &place : SearchPlaces(pathList ? CString(pathList) : GetEnvVar(L"PATH")))
        if (tryAt(place)) return result;
    CString ext = ExtensionOf(file);
    if (command && !pathList && (ext.empty() || ext.EqualsNoCase(L".exe"))) {
        CString registered = QueryAppPath(file, nullptr);
        StripQuotes_S(registered);
        if (!registered.empty() && QueryIsFile(registered)) {
            if (result.empty()) result = registered;
            if (allMatches) *allMatches += registered + L"\r\n";
        }
    }
    return result;
}
