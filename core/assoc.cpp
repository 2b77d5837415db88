// File associations: the program that opens a file (MyFindExecutable, used
// when a file that is no program is run), and the ASSOC and FTYPE commands
// that show and change the associations in the registry.
#include <cwchar>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/launch.h"
#include "files/files.h"
#include <shlwapi.h>

namespace {

CString QueryAssociation(const CString &ext, ASSOCSTR what) {
    DWORD size = 0;
    if (FAILED(AssocQueryStringW(ASSOCF_NOTRUNCATE, what, ext.c_str(), L"open", nullptr, &size)) || !size)
        return CString();
    CString text(size, L'\0');
    if (FAILED(AssocQueryStringW(ASSOCF_NOTRUNCATE, what, ext.c_str(), L"open", text.data(), &size)))
        return CString();
    text.resize(wcslen(text.c_str()));
    return text;
}

size_t FindNoCase(const CString &text, const wchar_t *what) {
    CString upper = text, key = what;
    upper.MakeUpper();
    key.MakeUpper();
    return upper.find(key);
}

// Put the file and the user's arguments into an association's template.
CString FillTemplate(CString templ, const CString &file, const CString &arguments) {
    static const wchar_t *const fileMarks[] = {L" \"%1\"", L" \"%L\"", L" %1", L":%1", L" %L"};
    for (const wchar_t *mark : fileMarks) {
        size_t at = FindNoCase(templ, mark);
        if (at == CString::npos) continue;
        CString lead = mark[0] == L':' ? CString(L":") : CString(L" ");
        templ.replace(at, wcslen(mark), lead + file);
        break;
    }
    size_t all = templ.find(L" %*");
    if (all != CString::npos) templ.replace(all, 3, arguments.empty() ? CString() : L" " + arguments);
    for (int n = 2; n <= 9; n++) {
        CString mark = FormatStr(L" %%%d", n);
        size_t at = templ.find(mark);
        if (at == CString::npos) continue;
        CString arg;
        bool has = GetNthArgument(arguments.c_str(), n - 2, &arg) != 0;
        templ.replace(at, mark.size(), has ? L" " + arg : CString());
    }
    return templ;
}

}  // namespace

int MyFindExecutable(CString &file, CString &arguments) {
    CString ext = ExtensionOf(file);
    if (ext.empty()) return 0;
    CString command = QueryAssociation(ext, ASSOCSTR_COMMAND);
    command.Trim();
    if (command.empty()) return 0;
    CString program, templ;
    size_t exe = FindNoCase(command, L".exe");
    if (exe != CString::npos) {
        size_t end = exe + 4 + (command.At(exe + 4) == L'"' ? 1 : 0);
        program = command.Left(end);
        templ = command.Mid(end);
        StripQuotes_S(program);
    } else if (command.StartsWith(L"\"%1\"")) {
        program = file;
        templ = command.Mid(4);
    } else {
        return 0;
    }
    if (program.find_first_of(L"\\/:") == CString::npos) {
        CString found = SearchPaths(program.c_str(), nullptr, 0, nullptr, nullptr);
        if (!found.empty()) program = found;
    }
    for (const wchar_t *cut : {L" %S", L" %I", L"/dde"}) {
        size_t at = FindNoCase(templ, cut);
        if (at != CString::npos) templ.Truncate(at);
    }
    CString name = file;
    StripQuotes_S(name);
    bool bare = FindNoCase(program, L"winhlp32.exe") != CString::npos ||
                FindNoCase(program, L"rundll32.exe") != CString::npos;
    if (!bare) name = L"\"" + name + L"\"";
    CString filled = FillTemplate(templ, name, arguments);
    filled.Trim();
    file = program;
    arguments = filled;
    return 1;
}

namespace {

constexpr const wchar_t *kClasses = L"Software\\Classes\\";

// The default value of a key under HKEY_CLASSES_ROOT; false when absent.
bool ReadClassValue(const CString &key, CString *value) {
    DWORD size = 0;
    const DWORD types = RRF_RT_REG_SZ | RRF_RT_REG_EXPAND_SZ | RRF_NOEXPAND;
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, types, nullptr, nullptr, &size) != ERROR_SUCCESS)
        return false;
    CString text(size / sizeof(wchar_t) + 1, L'\0');
    if (RegGetValueW(HKEY_CLASSES_ROOT, key.c_str(), nullptr, types, nullptr, text.data(), &size) != ERROR_SUCCESS)
        return false;
    text.resize(wcslen(text.c_str()));
    *value = text;
    return true;
}

// Write a class key's default value: for the machine when allowed, else
// for this user.  0 or a system code.
int WriteClassValue(const CString &key, const CString &value) {
    CString path = kClasses + key;
    LSTATUS rc = ERROR_ACCESS_DENIED;
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) {
        HKEY h;
        rc = RegCreateKeyExW(root, path.c_str(), 0, nullptr, 0, KEY_SET_VALUE, nullptr, &h, nullptr);
        if (rc != ERROR_SUCCESS) continue;
        DWORD type = value.find(L'%') != CString::npos ? REG_EXPAND_SZ : REG_SZ;
        rc = RegSetValueExW(h, nullptr, 0, type, (const BYTE *)value.c_str(), (DWORD)(value.size() + 1) * 2);
        RegCloseKey(h);
        if (rc == ERROR_SUCCESS) return 0;
    }
    return (int)rc;
}

// Remove a class key (and what lies below it) for the machine and the user.
void DeleteClassKey(const CString &key) {
    CString path = kClasses + key;
    for (HKEY root : {HKEY_LOCAL_MACHINE, HKEY_CURRENT_USER}) RegDeleteTreeW(root, path.c_str());
}

// The names under HKEY_CLASSES_ROOT: extensions (dot) or file types.
std::vector<CString> ClassNames(bool extensions) {
    std::vector<CString> names;
    wchar_t name[256];
    for (DWORD i = 0;; i++) {
        DWORD n = 256;
        LSTATUS rc = RegEnumKeyExW(HKEY_CLASSES_ROOT, i, name, &n, nullptr, nullptr, nullptr, nullptr);
        if (rc == ERROR_NO_MORE_ITEMS) break;
        if (rc != ERROR_SUCCESS) continue;
        if ((name[0] == L'.') == extensions) names.emplace_back(name, n);
    }
    return names;
}

CString OpenCommandKey(const CString &type) { return type + L"\\shell\\open\\command"; }

// "name=value", "name=" or "name": the two halves, and whether "=" stood there.
bool SplitAssignment(CString args, CString *name, CString *value) {
    args.Trim();
    size_t eq = args.find(L'=');
    *name = eq == CString::npos ? args : args.Left(eq);
    name->Trim();
    *value = eq == CString::npos ? CString() : args.Mid(eq + 1);
    value->Trim();
    return eq != CString::npos;
}

}  // namespace

int Assoc_Command(CString &args) {
    CString ext, type, value;
    bool assign = SplitAssignment(args, &ext, &type);
    if (ext.empty()) {
        for (const CString &name : ClassNames(true))
            if (ReadClassValue(name, &value) && !value.empty()) Printf(L"%s=%s\r\n", name.c_str(), value.c_str());
        return 0;
    }
    if (ext[0] != L'.') ext.insert(0, 1, L'.');
    if (!assign) {
        if (!ReadClassValue(ext, &value) || value.empty()) return BDError(ERROR_BD_NO_ASSOCIATION, ext.c_str());
        Printf(L"%s=%s\r\n", ext.c_str(), value.c_str());
        return 0;
    }
    if (type.empty()) {
        if (!ReadClassValue(ext, &value)) return BDError(ERROR_BD_NO_ASSOCIATION, ext.c_str());
        DeleteClassKey(ext);
        return 0;
    }
    if (int rc = WriteClassValue(ext, type)) return BDError(rc, ext.c_str());
    Printf(L"%s=%s\r\n", ext.c_str(), type.c_str());
    return 0;
}

int Ftype_Command(CString &args) {
    CString type, command, value;
    bool assign = SplitAssignment(args, &type, &command);
    if (type.empty()) {
        for (const CString &name : ClassNames(false))
            if (ReadClassValue(OpenCommandKey(name), &value) && !value.empty())
                Printf(L"%s=%s\r\n", name.c_str(), value.c_str());
        return 0;
    }
    if (!assign) {
        if (!ReadClassValue(OpenCommandKey(type), &value)) return BDError(ERROR_BD_NO_FILE_TYPE, type.c_str());
        Printf(L"%s=%s\r\n", type.c_str(), value.c_str());
        return 0;
    }
    if (command.empty()) {
        if (!ReadClassValue(OpenCommandKey(type), &value)) return BDError(ERROR_BD_NO_FILE_TYPE, type.c_str());
        DeleteClassKey(OpenCommandKey(type));
        return 0;
    }
    if (int rc = WriteClassValue(OpenCommandKey(type), command)) return BDError(rc, type.c_str());
    Printf(L"%s=%s\r\n", type.c_str(), command.c_str());
    return 0;
}
