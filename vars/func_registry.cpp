// Ini files (@INIREAD, @INIWRITE) and the registry (@REGQUERY, @REGTYPE,
// @REGEXIST, @REGCREATE, @REGDELKEY, @REGSET, @REGSETENV, @REGCOPYKEY,
// @REGBREAD, @REGBWRITE).
//
// A registry path is "root\key\value": the root is HKLM, HKCU, HKCR, HKU,
// HKCC or HKPD (or its long name), the last part names the value, and a
// path that ends in "\" names the key's default value.  A name with "_64"
// or "_32" behind it works in the 64-bit or 32-bit view.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "vars/coding.h"
#include "vars/func_internal.h"
#include "vars/functions.h"
#include "vars/lists.h"

namespace {

struct RootName {
    const wchar_t *pszShort;
    const wchar_t *pszLong;
    HKEY hKey;
};
const RootName kRoots[] = {
    {L"HKLM", L"HKEY_LOCAL_MACHINE", HKEY_LOCAL_MACHINE}, {L"HKU", L"HKEY_USERS", HKEY_USERS},
    {L"HKPD", L"HKEY_PERFORMANCE_DATA", HKEY_PERFORMANCE_DATA}, {L"HKCR", L"HKEY_CLASSES_ROOT", HKEY_CLASSES_ROOT},
    {L"HKCU", L"HKEY_CURRENT_USER", HKEY_CURRENT_USER}, {L"HKCC", L"HKEY_CURRENT_CONFIG", HKEY_CURRENT_CONFIG},
};

struct TypeName {
    const wchar_t *pszName;
    DWORD nType;
};
// Full names first: REGTYPE gives these.  The short forms are also taken.
const TypeName kTypes[] = {
    {L"REG_SZ", REG_SZ},       {L"REG_EXPAND_SZ", REG_EXPAND_SZ}, {L"REG_MULTI_SZ", REG_MULTI_SZ},
    {L"REG_DWORD", REG_DWORD}, {L"REG_QWORD", REG_QWORD},         {L"REG_BINARY", REG_BINARY},
    {L"REG_NONE", REG_NONE},   {L"REG_D", REG_DWORD},             {L"REG_Q", REG_QWORD},
    {L"REG_B", REG_BINARY},    {L"REG_N", REG_NONE},
};

struct REGPATH {
    HKEY hRoot = nullptr;
    CString sKey;     // below the root
    CString sValue;   // the last part
    REGSAM nView = 0; // KEY_WOW64_64KEY, KEY_WOW64_32KEY or 0
};

// Split a path; false for an unknown root or an empty path.
bool ParsePath(const FUNCCALL &call, CString text, REGPATH *path) {
    text = NameArgument(text);
    size_t slash = text.find(L'\\');
    path->hRoot = QueryRegistryRoot(text.Left(slash));
    if (!path->hRoot) return false;
    CString rest = slash == CString::npos ? CString() : text.Mid(slash + 1);
    size_t last = rest.rfind(L'\\');
    path->sKey = last == CString::npos ? CString() : rest.Left(last);
    path->sValue = last == CString::npos ? rest : rest.Mid(last + 1);
    if (call.name.ends_with(L"_64")) path->nView = KEY_WOW64_64KEY;
    if (call.name.ends_with(L"_32")) path->nView = KEY_WOW64_32KEY;
    return true;
}

// The whole path as one key (for the key functions).
CString WholeKey(const REGPATH &path) {
    if (path.sKey.empty()) return path.sValue;
    return path.sValue.empty() ? path.sKey : CString(path.sKey + L"\\" + path.sValue);
}

// A missing key or value is "not found"; other failures keep their code.
int RegResult(LSTATUS status) {
    return status == ERROR_FILE_NOT_FOUND || status == ERROR_PATH_NOT_FOUND ? ERROR_BD_NO_SUCH_KEY : SystemError(status);
}

class OpenKey {
public:
    OpenKey(const REGPATH &path, const CString &key, REGSAM access, bool create = false) {
        status_ = create ? RegCreateKeyExW(path.hRoot, key.c_str(), 0, nullptr, 0, access | path.nView, nullptr, &h_, nullptr)
                         : RegOpenKeyExW(path.hRoot, key.c_str(), 0, access | path.nView, &h_);
        if (status_) h_ = nullptr;
    }
    ~OpenKey() {
        if (h_) RegCloseKey(h_);
    }
    OpenKey(const OpenKey &) = delete;
    OpenKey &operator=(const OpenKey &) = delete;
    HKEY get() const { return h_; }
    LSTATUS status() const { return status_; }

private:
    HKEY h_ = nullptr;
    LSTATUS status_ = 0;
};

// A value's type and bytes.
int ReadValue(const REGPATH &path, DWORD *type, std::string *data) {
    OpenKey key(path, path.sKey, KEY_QUERY_VALUE);
    if (!key.get()) return RegResult(key.status());
    DWORD size = 0;
    LSTATUS s = RegQueryValueExW(key.get(), path.sValue.c_str(), nullptr, type, nullptr, &size);
    while (!s || s == ERROR_MORE_DATA) {
        data->assign(size, '\0');
        s = RegQueryValueExW(key.get(), path.sValue.c_str(), nullptr, type, (BYTE *)data->data(), &size);
        if (!s) {
            data->resize(size);
            return 0;
        }
    }
    return RegResult(s);
}

CString WideOf(const std::string &data) {
    CString text(data.size() / 2, L'\0');
    memcpy(text.data(), data.data(), text.size() * 2);
    return text;
}

// A string of a list is quoted when it holds a comma, a blank or a quote.
CString QuoteItem(const CString &item) {
    if (!item.empty() && item.find_first_of(L", \t\"") == CString::npos) return item;
    return L"\"" + item + L"\"";
}

// A value as text: numbers in decimal, binary data in hexadecimal, the
// strings of a list separated by commas.
CString ValueText(DWORD type, const std::string &data) {
    switch (type) {
    case REG_DWORD: {
        DWORD v = 0;
        memcpy(&v, data.data(), data.size() < 4 ? data.size() : 4);
        return FormatStr(L"%u", v);
    }
    case REG_QWORD: {
        unsigned long long v = 0;
        memcpy(&v, data.data(), data.size() < 8 ? data.size() : 8);
        return FormatStr(L"%I64u", v);
    }
    case REG_SZ:
    case REG_EXPAND_SZ: {
        CString text = WideOf(data);
        text.resize(wcsnlen(text.c_str(), text.size()));
        return text;
    }
    case REG_MULTI_SZ: {
        CString all = WideOf(data), out;
        for (size_t at = 0; at < all.size() && all[at];) {
            size_t end = all.find(L'\0', at);
            if (end == CString::npos) end = all.size();
            if (!out.empty()) out += L',';
            out += QuoteItem(all.Mid(at, end - at));
            at = end + 1;
        }
        return out;
    }
    default: return HexEncode(data);
    }
}

const wchar_t *TypeText(DWORD type) {
    for (const TypeName &t : kTypes)
        if (t.nType == type) return t.pszName;
    return L"REG_UNKNOWN";
}

// The bytes of a value of a type from its text (the inverse of ValueText).
int ValueBytes(DWORD type, const CString &text, std::string *data) {
    long long n = 0;
    switch (type) {
    case REG_DWORD:
        if (!ReadWholeNumber(text, &n) || n < INT_MIN || n > UINT_MAX) return ERROR_INVALID_PARAMETER;
        data->assign((const char *)&n, 4);
        return 0;
    case REG_QWORD:
        if (!ReadWholeNumber(text, &n)) return ERROR_INVALID_PARAMETER;
        data->assign((const char *)&n, 8);
        return 0;
    case REG_SZ:
    case REG_EXPAND_SZ: data->assign((const char *)text.c_str(), (text.size() + 1) * 2); return 0;
    case REG_MULTI_SZ: {
        CString all;
        for (CString item : SplitArguments(text)) {
            StripQuotes_S(item);
            all += item + CString(1, L'\0');
        }
        all += L'\0';
        data->assign((const char *)all.data(), all.size() * 2);
        return 0;
    }
    default: return HexDecode(text, data) ? 0 : ERROR_INVALID_PARAMETER;
    }
}

int WriteValue(const REGPATH &path, DWORD type, const std::string &data) {
    OpenKey key(path, path.sKey, KEY_SET_VALUE, true);
    if (!key.get()) return RegResult(key.status());
    LSTATUS s = RegSetValueExW(key.get(), path.sValue.c_str(), 0, type, (const BYTE *)data.data(), (DWORD)data.size());
    return s ? SystemError(s) : 0;
}

// "path,type,data": the text of @REGSET and @REGSETENV.
int SetFromArguments(const FUNCCALL &call, REGPATH *path) {
    CString pathText, rest, typeText, data;
    if (!SplitAtComma(call.args, &pathText, &rest) || !SplitAtComma(rest, &typeText, &data)) return ERROR_INVALID_PARAMETER;
    if (!ParsePath(call, pathText, path)) return ERROR_INVALID_PARAMETER;
    typeText.Trim();
    const TypeName *type = nullptr;
    for (const TypeName &t : kTypes)
        if (typeText.EqualsNoCase(t.pszName)) type = &t;
    if (!type) return ERROR_INVALID_PARAMETER;
    if (type->nType != REG_MULTI_SZ) {
        UnEscapeLine(data);
        if (type->nType != REG_SZ && type->nType != REG_EXPAND_SZ) data.Trim();
    }
    std::string bytes;
    if (int rc = ValueBytes(type->nType, data, &bytes)) return rc;
    return WriteValue(*path, type->nType, bytes);
}

CString FileArgument(const CString &text) {
    CString name = NameArgument(text);
    return FullPathOf(name);
}

}  // namespace

HKEY QueryRegistryRoot(const CString &name, const wchar_t **longName) {
    for (const RootName &r : kRoots) {
        if (!name.EqualsNoCase(r.pszShort) && !name.EqualsNoCase(r.pszLong)) continue;
        if (longName) *longName = r.pszLong;
        return r.hKey;
    }
    return nullptr;
}

// @REGQUERY[path]: the value as text; stored text is not expanded again.
int Func_RegQuery(FUNCCALL &call) {
    REGPATH path;
    if (!ParsePath(call, call.args, &path)) return ERROR_INVALID_PARAMETER;
    DWORD type = 0;
    std::string data;
    if (int rc = ReadValue(path, &type, &data)) return rc;
    CString text = ValueText(type, data);
    if (text.size() > kMaxFunctionValue) return ERROR_BD_RESULT_TOO_LONG;
    call.args = text;
    return call.nCase == FC_regquery ? FUNC_NO_RESCAN : 0;
}

// @REGTYPE[path]: the value's type, "REG_SZ" and so on.
int Func_RegType(FUNCCALL &call) {
    REGPATH path;
    if (!ParsePath(call, call.args, &path)) return ERROR_INVALID_PARAMETER;
    DWORD type = 0;
    std::string data;
    if (int rc = ReadValue(path, &type, &data)) return rc;
    call.args = TypeText(type);
    return 0;
}

// @REGEXIST[path]: 1 when the path is a key or a value, else 0.
int Func_RegExist(FUNCCALL &call) {
    REGPATH path;
    if (!ParsePath(call, call.args, &path)) return ERROR_INVALID_PARAMETER;
    OpenKey whole(path, WholeKey(path), KEY_QUERY_VALUE);
    if (whole.get()) return SetNumber(call.args, 1);
    OpenKey key(path, path.sKey, KEY_QUERY_VALUE);
    bool found = key.get() && !RegQueryValueExW(key.get(), path.sValue.c_str(), nullptr, nullptr, nullptr, nullptr);
    return SetNumber(call.args, found);
}

// @REGCREATE[path]: make the key (and the keys above it); the value is 0.
int Func_RegCreate(FUNCCALL &call) {
    REGPATH path;
    if (!ParsePath(call, call.args, &path) || WholeKey(path).empty()) return ERROR_INVALID_PARAMETER;
    OpenKey key(path, WholeKey(path), KEY_QUERY_VALUE, true);
    return key.get() ? SetNumber(call.args, 0) : RegResult(key.status());
}

// @REGDELKEY[path]: remove a key with everything below it; the value is 0.
int Func_RegDelKey(FUNCCALL &call) {
    REGPATH path;
    if (!ParsePath(call, call.args, &path) || WholeKey(path).empty()) return ERROR_INVALID_PARAMETER;
    CString whole = WholeKey(path);
    {
        OpenKey key(path, whole, KEY_ALL_ACCESS);
        if (!key.get()) return RegResult(key.status());
        if (LSTATUS s = RegDeleteTreeW(key.get(), nullptr)) return RegResult(s);
    }
    LSTATUS s = RegDeleteKeyExW(path.hRoot, whole.c_str(), path.nView, 0);
    return s ? RegResult(s) : SetNumber(call.args, 0);
}

// @REGSET[path,type,data]: store a value; a REG_MULTI_SZ takes its strings
// as further arguments, binary data is hexadecimal.  The value is 0.
// @REGSETENV does the same and tells the programs that the environment has
// changed.
int Func_RegSet(FUNCCALL &call) {
    REGPATH path;
    if (int rc = SetFromArguments(call, &path)) return rc;
    if (call.nCase == FC_regsetenv) {
        DWORD_PTR ignored = 0;
        SendMessageTimeoutW(HWND_BROADCAST, WM_SETTINGCHANGE, 0, (LPARAM)L"Environment", SMTO_ABORTIFHUNG, 1000, &ignored);
    }
    return SetNumber(call.args, 0);
}

// @REGCOPYKEY[from,to]: copy a key and everything below it; the value is 0.
int Func_RegCopyKey(FUNCCALL &call) {
    CString fromText, toText;
    REGPATH from, to;
    if (!SplitAtComma(call.args, &fromText, &toText) || !ParsePath(call, fromText, &from) || !ParsePath(call, toText, &to) ||
        WholeKey(to).empty())
        return ERROR_INVALID_PARAMETER;
    OpenKey source(from, WholeKey(from), KEY_READ);
    if (!source.get()) return RegResult(source.status());
    OpenKey target(to, WholeKey(to), KEY_ALL_ACCESS, true);
    if (!target.get()) return RegResult(target.status());
    LSTATUS s = RegCopyTreeW(source.get(), nullptr, target.get());
    return s ? SystemError(s) : SetNumber(call.args, 0);
}

// @REGBREAD[path,buffer,offset]: a value's bytes into a buffer; the value
// is the count of bytes.  @REGBWRITE[path,buffer,offset,length]: a
// REG_BINARY value from a buffer's bytes; the value is 0.
int Func_RegBinary(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    REGPATH path;
    size_t want = call.nCase == FC_regbread ? 3 : 4;
    long long offset = 0, length = 0;
    if (args.size() != want || !ParsePath(call, args[0], &path) || !ReadWholeNumber(args[2], &offset) ||
        (want == 4 && !ReadWholeNumber(args[3], &length)))
        return ERROR_INVALID_PARAMETER;
    CString handle = args[1];
    handle.Trim();
    unsigned char *data = nullptr;
    size_t size = 0;
    if (call.nCase == FC_regbwrite) {
        if (int rc = QueryBufferRange(handle, offset, length, &data, &size)) return rc;
        if (int rc = WriteValue(path, REG_BINARY, std::string((const char *)data, size))) return rc;
        return SetNumber(call.args, 0);
    }
    DWORD type = 0;
    std::string bytes;
    if (int rc = ReadValue(path, &type, &bytes)) return rc;
    if (int rc = QueryBufferRange(handle, offset, (long long)bytes.size(), &data, &size)) return rc;
    memcpy(data, bytes.data(), bytes.size());
    return SetNumber(call.args, (long long)bytes.size());
}

// @INIREAD[file,section,key]: the entry's value, empty when it is not
// there.  The file must exist.
int Func_IniRead(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    if (args.size() != 3) return ERROR_INVALID_PARAMETER;
    CString file = FileArgument(args[0]), section = args[1], key = args[2];
    section.Trim();
    key.Trim();
    if (file.empty() || section.empty() || key.empty()) return ERROR_INVALID_PARAMETER;
    DWORD attributes = GetFileAttributesW(file.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return SystemError();
    if (attributes & FILE_ATTRIBUTE_DIRECTORY) return ERROR_ACCESS_DENIED;
    CString value(0x8000, L'\0');
    DWORD n = GetPrivateProfileStringW(section.c_str(), key.c_str(), L"", value.data(), (DWORD)value.size(), file.c_str());
    value.resize(n);
    call.args = value;
    return FUNC_NO_RESCAN;
}

// @INIWRITE[file,section,key,value]: write the entry (an empty value
// removes it); the value is 0.
int Func_IniWrite(FUNCCALL &call) {
    std::vector<CString> args = SplitArguments(call.args);
    if (args.size() < 4) return ERROR_INVALID_PARAMETER;
    CString file = FileArgument(args[0]), section = args[1], key = args[2], value = args[3];
    for (size_t i = 4; i < args.size(); i++) value += L"," + args[i];
    section.Trim();
    key.Trim();
    UnEscapeLine(value);
    if (file.empty() || section.empty() || key.empty()) return ERROR_INVALID_PARAMETER;
    if (!WritePrivateProfileStringW(section.c_str(), key.c_str(), value.empty() ? nullptr : value.c_str(), file.c_str()))
        return SystemError();
    return SetNumber(call.args, 0);
}
