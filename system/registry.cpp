// REGDIR: a registry key and the keys below it, as an indented tree, with
// their values on request.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "console/console.h"
#include <algorithm>
#include <vector>
#include "vars/lists.h"

namespace {

// "HKCU\Software\x": the root, the path below it and the long form.
bool SplitKey(const CString &text, HKEY *root, CString *path, CString *shown) {
    size_t slash = text.find(L'\\');
    const wchar_t *longName = nullptr;
    if (!(*root = QueryRegistryRoot(text.Left(slash), &longName))) return false;
    *path = slash == CString::npos ? CString() : text.Mid(slash + 1);
    path->TrimRight(L"\\");
    *shown = path->empty() ? CString(longName) : CString(longName) + L"\\" + *path;
    return true;
}

CString ValueText(DWORD type, const std::vector<BYTE> &data, DWORD size) {
    const wchar_t *text = (const wchar_t *)data.data();
    size_t chars = size / sizeof(wchar_t);
    switch (type) {
    case REG_SZ:
    case REG_EXPAND_SZ: return CString(text, wcsnlen(text, chars));
    case REG_MULTI_SZ: {
        CString all;
        for (size_t at = 0; at < chars && text[at];) {
            CString one(text + at, wcsnlen(text + at, chars - at));
            all += (all.empty() ? L"" : L";") + one;
            at += one.size() + 1;
        }
        return all;
    }
    case REG_DWORD: return size >= 4 ? FormatStr(L"%u", *(const DWORD *)data.data()) : CString();
    case REG_QWORD: return size >= 8 ? FormatStr(L"%I64u", *(const unsigned long long *)data.data()) : CString();
    }
    CString hex;
    for (DWORD i = 0; i < size; i++) hex.AppendFormat(i ? L" %02x" : L"%02x", data[i]);
    return hex;
}

void ShowValues(HKEY key, int depth) {
    std::vector<std::pair<CString, CString>> values;
    std::vector<BYTE> data(4096);
    for (DWORD i = 0;; i++) {
        wchar_t name[16384];
        DWORD n = 16384, type = 0, size = (DWORD)data.size();
        LONG rc = RegEnumValueW(key, i, name, &n, nullptr, &type, data.data(), &size);
        if (rc == ERROR_MORE_DATA) {
            data.resize(size);
            i--;
            continue;
        }
        if (rc) break;
        values.push_back({n ? CString(name, n) : CString(L"(default)"), ValueText(type, data, size)});
    }
    std::sort(values.begin(), values.end(), [](auto &a, auto &b) { return StrICmp(a.first, b.first) < 0; });
    for (auto &v : values) Printf(L"%*s%s = %s\r\n", depth * 2, L"", v.first.c_str(), v.second.c_str());
}

void ShowTree(HKEY key, int depth, bool values) {
    if (values) ShowValues(key, depth);
    std::vector<CString> names;
    wchar_t name[256];
    for (DWORD i = 0;; i++) {
        DWORD n = 256;
        if (RegEnumKeyExW(key, i, name, &n, nullptr, nullptr, nullptr, nullptr)) break;
        names.push_back(CString(name, n));
    }
    std::sort(names.begin(), names.end(), [](const CString &a, const CString &b) { return StrICmp(a, b) < 0; });
    for (const CString &sub : names) {
        Printf(L"%*s%s\r\n", depth * 2, L"", sub.c_str());
        tty_yield(0);
        HKEY child;
        if (RegOpenKeyExW(key, sub.c_str(), 0, KEY_READ, &child)) continue;
        ShowTree(child, depth + 1, values);
        RegCloseKey(child);
    }
}

}  // namespace

// REGDIR [/V] key
int RegistryDir_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"V", &mask, 0, nullptr)) return 2;
    CString text;
    if (!GetNthArgument(args.c_str(), 0, &text)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"REGDIR");
    if (GetNthArgument(args.c_str(), 1)) return BDError(ERROR_INVALID_PARAMETER, GetNthArgument(args.c_str(), 1));
    StripQuotes_S(text);
    HKEY root;
    CString path, shown;
    if (!SplitKey(text, &root, &path, &shown)) return BDError(ERROR_BD_NO_SUCH_KEY, text.c_str());
    HKEY key;
    if (RegOpenKeyExW(root, path.c_str(), 0, KEY_READ, &key)) return BDError(ERROR_BD_NO_SUCH_KEY, shown.c_str());
    Printf(L"%s\r\n", shown.c_str());
    ShowTree(key, 1, mask & 1);
    RegCloseKey(key);
    return 0;
}
