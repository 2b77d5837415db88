// The environment side of the lists: definitions in the process
// environment (which child programs inherit), read-only names, variable
// types, the master copy for SET /M, the registry's environment keys and
// the reload after a settings broadcast.
#include <cwchar>
#include <cwctype>
#include "base/args.h"
#include "base/errors.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "vars/lists.h"
#include "vars/regex.h"

CString sMasterEnvironment;
VARIABLETYPE aVariableTypes[kVariableTypeRows];

namespace {

// Read-only names, one per entry, in the list form.
CString sReadOnlyNames(1, L'\0');

// Settings broadcasts seen minus our own.
int nSettingChanges = 0;

const wchar_t *const kTypeNames[] = {L"none", L"int", L"dec", L"hex", L"bool", L"alpha", L"alnum", L"regex"};
constexpr int kRegexType = 7;

VARIABLETYPE *FindTypeRow(const CString &name) {
    for (VARIABLETYPE &row : aVariableTypes)
        if (!row.sName.empty() && row.sName.EqualsNoCase(name.c_str())) return &row;
    return nullptr;
}

bool AllOf(const CString &value, int (*test)(wint_t)) {
    for (wchar_t c : value)
        if (!test(c)) return false;
    return true;
}

bool ValidDecimal(const CString &value) {
    size_t i = value.At(0) == L'+' || value.At(0) == L'-' ? 1 : 0;
    int decimals = 0;
    for (; i < value.size(); i++) {
        wchar_t c = value[i];
        if (c == QueryDecimalChar()) {
            if (++decimals > 1) return false;
        } else if (!iswdigit(c) && c != L'e' && c != L'E' && c != QueryThousandsChar()) {
            return false;
        }
    }
    return true;
}

bool ValueFitsType(const VARIABLETYPE &row, const CString &value) {
    switch (row.nType) {
    case 1: {
        CString digits = value.At(0) == L'+' || value.At(0) == L'-' ? value.Mid(1) : value;
        return AllOf(digits, iswdigit);
    }
    case 2: return ValidDecimal(value);
    case 3: return AllOf(value, iswxdigit);
    case 4: return value == L"1" || value == L"0";
    case 5: return AllOf(value, iswalpha);
    case 6: return AllOf(value, iswalnum);
    case kRegexType: return !value.empty() && RegularExpressionMatch(row.sExpression, value) == 1;
    default: return true;
    }
}

}  // namespace

CString QueryVariableType(const CString &name) {
    VARIABLETYPE *row = FindTypeRow(name);
    return row ? CString(kTypeNames[row->nType]) : CString(kTypeNames[0]);
}

bool QueryTypeValid(const CString &name, const CString &value) {
    VARIABLETYPE *row = FindTypeRow(name);
    return !row || ValueFitsType(*row, value);
}

int SetVariableType(const CString &name, const wchar_t *typeText) {
    CString text = typeText;
    if (text.At(0) == L':' || text.At(0) == L'=') text.erase(0, 1);
    size_t colon = text.find(L':');
    CString keyword = text.Left(colon).Left(31), expression = colon == CString::npos ? CString() : text.Mid(colon + 1);
    StripEnclosingQuotes_S(expression);
    int code = -1;
    for (int i = 0; i < 8; i++)
        if (keyword.EqualsNoCase(kTypeNames[i])) code = i;
    if (code < 0 && !keyword.empty() && keyword.find_first_not_of(L"0123456789") == CString::npos)
        code = _wtoi(keyword.c_str());
    if (code < 0 || code > kRegexType || (code == kRegexType && expression.empty()))
        return BDError(ERROR_BD_UNKNOWN_TYPE, text.c_str());
    if (code == kRegexType && RegularExpressionMatch(expression, CString()) < 0) return 2;
    if (VARIABLETYPE *old = FindTypeRow(name)) *old = VARIABLETYPE{};
    for (VARIABLETYPE &row : aVariableTypes) {
        if (!row.sName.empty()) continue;
        row = VARIABLETYPE{code, name, expression};
        return 0;
    }
    return BDError(ERROR_BD_TYPE_TABLE_FULL, name.c_str());
}

bool QueryIsReadOnly(const wchar_t *name) {
    for (const wchar_t *entry = sReadOnlyNames.c_str(); *entry; entry = NextListEntry(entry))
        if (!StrICmp(entry, name)) return true;
    return false;
}

void AddReadOnlyName(const wchar_t *name) {
    if (!*name || QueryIsReadOnly(name)) return;
    sReadOnlyNames.pop_back();  // the final empty entry
    sReadOnlyNames += name;
    sReadOnlyNames += L'\0';
    sReadOnlyNames += L'\0';
}

CString GetEnvironmentBlock() {
    wchar_t *block = GetEnvironmentStringsW();
    CString copy;
    if (block) {
        const wchar_t *end = EndOfList(block);
        copy.assign(block, end - block);
        FreeEnvironmentStringsW(block);
    }
    copy += L'\0';
    return copy;
}

void TakeMasterEnvironment() { sMasterEnvironment = GetEnvironmentBlock(); }

int QueryEnvironmentVariable(const wchar_t *name) { return QueryEnvVar(name, nullptr) ? 1 : 0; }

// The environment path of AddVariableToList.
int SetEnvironmentEntry(const wchar_t *entry, const wchar_t *type) {
    const wchar_t *eq = wcschr(entry[0] == L'=' ? entry + 1 : entry, L'=');
    CString name = eq ? CString(entry, eq - entry) : CString(entry);
    CString value = eq ? CString(eq + 1) : CString();
    if (name.empty()) return BDError(ERROR_BD_BAD_ENTRY, entry);
    if (QueryIsReadOnly(name.c_str())) return 0;
    VARIABLETYPE *row = FindTypeRow(name);
    VARIABLETYPE saved = row ? *row : VARIABLETYPE{};
    if (type && SetVariableType(name, type)) return 2;
    if (!value.empty() && !QueryTypeValid(name, value)) {
        // The definition failed: the variable keeps its old type as well.
        if (type) {
            if (VARIABLETYPE *entered = FindTypeRow(name)) *entered = VARIABLETYPE{};
            if (row) *row = saved;
        }
        return BDError(ERROR_BD_TYPE_MISMATCH, entry);
    }
    SetEnvironmentVariableW(name.c_str(), nullptr);
    if (!value.empty() && !SetEnvironmentVariableW(name.c_str(), value.c_str()))
        return BDError((int)GetLastError(), name.c_str());
    return 0;
}

bool MatchNamePattern(const wchar_t *pattern, const wchar_t *name) {
    if (pattern[0] == L':' && pattern[1] == L':') return RegularExpressionMatch(pattern + 2, name) == 1;
    // Iterative match with one backtrack point for the last "*".
    const wchar_t *star = nullptr, *resume = nullptr;
    while (*name) {
        if (*pattern == L'*') {
            star = pattern++;
            resume = name;
        } else if (*pattern && (*pattern == L'?' || ToUpperChar(*pattern) == ToUpperChar(*name))) {
            pattern++, name++;
        } else if (star) {
            pattern = star + 1;
            name = ++resume;
        } else {
            return false;
        }
    }
    while (*pattern == L'*') pattern++;
    return !*pattern;
}

namespace {

struct REGKEY {
    unsigned nBit;
    HKEY hRoot;
    const wchar_t *pszKey;
};

const REGKEY aEnvironmentKeys[] = {
    {REG_ENV_USER, HKEY_CURRENT_USER, L"Environment"},
    {REG_ENV_VOLATILE, HKEY_CURRENT_USER, L"Volatile Environment"},
    {REG_ENV_DEFAULT, HKEY_USERS, L".DEFAULT\\Environment"},
    {REG_ENV_SYSTEM, HKEY_LOCAL_MACHINE, L"System\\CurrentControlSet\\Control\\Session Manager\\Environment"},
};

const REGKEY &KeyOf(unsigned flags) {
    for (const REGKEY &key : aEnvironmentKeys)
        if (flags & key.nBit) return key;
    return aEnvironmentKeys[3];
}

void Broadcast(DWORD wait) {
    DWORD_PTR result;
    nSettingChanges--;
    SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, (LPARAM)L"Environment", SMTO_ABORTIFHUNG, wait, &result);
}

// Every value of an open key, as name and data.
template <class Visit> int ForEachValue(HKEY key, Visit visit) {
    DWORD count = 0, nameMax = 0, dataMax = 0;
    if (int rc = RegQueryInfoKeyW(key, nullptr, nullptr, nullptr, nullptr, nullptr, nullptr, &count, &nameMax, &dataMax,
                                  nullptr, nullptr))
        return rc;
    for (DWORD i = 0; i < count; i++) {
        CString name(nameMax + 1, L'\0'), data(dataMax / 2 + 1, L'\0');
        DWORD nameLength = nameMax + 1, dataBytes = dataMax + 2, kind = 0;
        if (RegEnumValueW(key, i, name.data(), &nameLength, nullptr, &kind, (BYTE *)data.data(), &dataBytes)) continue;
        if (kind != REG_SZ && kind != REG_EXPAND_SZ) continue;
        name.resize(nameLength);
        data.resize(wcslen(data.c_str()));
        if (!visit(name, data)) break;
    }
    return 0;
}

int ListKey(HKEY key, const CString &wanted) {
    bool found = false;
    ForEachValue(key, [&](const CString &name, const CString &data) {
        if (!wanted.empty() && StrICmp(name.c_str(), wanted.c_str())) return true;
        found = true;
        Printf(L"%s=%s\r\n", name.c_str(), data.c_str());
        return true;
    });
    if (!wanted.empty() && !found) return BDError(ERROR_BD_NOT_IN_ENVIRONMENT, wanted.c_str());
    return 0;
}

int WriteValue(HKEY key, const CString &name, const CString &value) {
    if (name.empty()) return BDError(ERROR_BD_BAD_ENTRY, value.c_str());
    int rc = value.empty() ? RegDeleteValueW(key, name.c_str())
                           : RegSetValueExW(key, name.c_str(), 0, value.find(L'%') != CString::npos ? REG_EXPAND_SZ : REG_SZ,
                                            (const BYTE *)value.c_str(), (DWORD)(value.size() + 1) * 2);
    if (rc && !(value.empty() && rc == ERROR_FILE_NOT_FOUND)) return BDError(rc, name.c_str());
    Broadcast(200);
    return 0;
}

bool ReadValue(HKEY key, const CString &name, CString *value) {
    DWORD bytes = 0, kind = 0;
    if (RegQueryValueExW(key, name.c_str(), nullptr, &kind, nullptr, &bytes)) return false;
    value->assign(bytes / 2 + 1, L'\0');
    if (RegQueryValueExW(key, name.c_str(), nullptr, &kind, (BYTE *)value->data(), &bytes)) return false;
    value->resize(wcslen(value->c_str()));
    return true;
}

// Every value into the process environment, expanded; with REG_JOIN_PATH
// a PATH is put behind the one already there.
void LoadKey(HKEY key, unsigned flags) {
    ForEachValue(key, [&](const CString &name, const CString &data) {
        CString expanded(0x7FFF, L'\0');
        DWORD n = ExpandEnvironmentStringsW(data.c_str(), expanded.data(), 0x7FFF);
        expanded.resize(n ? n - 1 : 0);
        if ((flags & REG_JOIN_PATH) && name.EqualsNoCase(L"PATH")) {
            CString path = GetEnvVar(L"PATH");
            if (!path.empty()) expanded = path + L";" + expanded;
        }
        SetEnvironmentVariableW(name.c_str(), expanded.empty() ? nullptr : expanded.c_str());
        return true;
    });
}

int EditKeyValue(HKEY key, const CString &name) {
    CString value;
    if (!ReadValue(key, name, &value)) return BDError(ERROR_INVALID_PARAMETER, name.c_str());
    if (int rc = EditValue(name + L"=", value)) return rc;
    return WriteValue(key, name, value);
}

}  // namespace

int RegistryEnvironment(unsigned flags, CString &text) {
    const REGKEY &where = KeyOf(flags);
    bool write = flags & (REG_ACTION_SET | REG_ACTION_EDIT | REG_ACTION_DELETE);
    HKEY key;
    int rc = write ? RegCreateKeyExW(where.hRoot, where.pszKey, 0, nullptr, 0, KEY_READ | KEY_WRITE, nullptr, &key, nullptr)
                   : RegOpenKeyExW(where.hRoot, where.pszKey, 0, KEY_READ, &key);
    if (rc) {
        if (flags & REG_ACTION_LOAD) return 0;
        return BDError(rc, where.pszKey);
    }
    CString name = text, value;
    size_t eq = text.find(L'=');
    if (eq != CString::npos) {
        name = text.Left(eq);
        size_t at = text.find_first_not_of(L'=', eq);
        value = at == CString::npos ? CString() : text.Mid(at);
    }
    name.Trim();
    if (flags & REG_ACTION_LIST) rc = ListKey(key, name);
    else if (flags & REG_ACTION_SET) rc = WriteValue(key, name, value);
    else if (flags & REG_ACTION_EDIT) rc = EditKeyValue(key, name);
    else if (flags & REG_ACTION_DELETE) {
        int r = RegDeleteValueW(key, name.c_str());
        if (r == ERROR_FILE_NOT_FOUND) rc = (flags & REG_QUIET) ? 2 : BDError(ERROR_BD_NOT_IN_ENVIRONMENT, name.c_str());
        else rc = r ? BDError(r, name.c_str()) : (Broadcast(1000), 0);
    } else if (flags & REG_ACTION_LOAD) {
        LoadKey(key, flags);
    }
    RegCloseKey(key);
    return rc;
}

void NoteSettingChange() { nSettingChanges++; }

void UpdateEnvironment() {
    if (!aIniFile.SettingChange || nSettingChanges <= 0) return;
    nSettingChanges = 0;
    CString none;
    RegistryEnvironment(REG_ENV_SYSTEM | REG_ACTION_LOAD, none);
    RegistryEnvironment(REG_ENV_USER | REG_ACTION_LOAD | REG_JOIN_PATH, none);
    RegistryEnvironment(REG_ENV_VOLATILE | REG_ACTION_LOAD, none);
}
