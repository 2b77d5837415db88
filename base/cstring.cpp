// CString members and the shared case and code-page helpers.  Case mapping
// goes through the system tables (CharUpperBuffW/CompareStringOrdinal), which
// know all of Unicode; the C library's towupper does not.
#include "base/cstring.h"
#include "base/platform.h"
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#include <cwchar>

wchar_t ToUpperChar(wchar_t c) {
    if (c < 0x80) return (c >= L'a' && c <= L'z') ? (wchar_t)(c - 32) : c;
    wchar_t buf[1] = {c};
    CharUpperBuffW(buf, 1);
    return buf[0];
}

wchar_t ToLowerChar(wchar_t c) {
    if (c < 0x80) return (c >= L'A' && c <= L'Z') ? (wchar_t)(c + 32) : c;
    wchar_t buf[1] = {c};
    CharLowerBuffW(buf, 1);
    return buf[0];
}

int StrNICmp(const wchar_t *a, const wchar_t *b, size_t n) {
    for (size_t i = 0; i < n; i++) {
        wchar_t x = ToUpperChar(a[i]), y = ToUpperChar(b[i]);
        if (x != y) return x < y ? -1 : 1;
        if (!x) return 0;
    }
    return 0;
}

int StrICmp(const wchar_t *a, const wchar_t *b) { return StrNICmp(a, b, (size_t)-1); }

void CString::MakeUpper() {
    if (!empty()) CharUpperBuffW(data(), (DWORD)size());
}

void CString::MakeLower() {
    if (!empty()) CharLowerBuffW(data(), (DWORD)size());
}

int CString::CompareNoCase(const wchar_t *other) const { return StrICmp(c_str(), other ? other : L""); }

bool CString::StartsWithNoCase(const wchar_t *prefix) const {
    size_t n = wcslen(prefix);
    return n <= size() && StrNICmp(c_str(), prefix, n) == 0;
}

int CString::Replace(const wchar_t *what, const wchar_t *with) {
    size_t wl = wcslen(what), nl = wcslen(with);
    if (!wl) return 0;
    int count = 0;
    for (size_t pos = find(what); pos != npos; pos = find(what, pos + nl)) {
        replace(pos, wl, with);
        count++;
    }
    return count;
}

CString FromCodePage(const char *bytes, int length, unsigned codePage) {
    CString out;
    if (length <= 0) return out;
    int n = MultiByteToWideChar(codePage, 0, bytes, length, nullptr, 0);
    out.resize(n);
    MultiByteToWideChar(codePage, 0, bytes, length, out.data(), n);
    return out;
}

std::string ToCodePage(const wchar_t *text, int length, unsigned codePage) {
    std::string out;
    if (length <= 0) return out;
    int n = WideCharToMultiByte(codePage, 0, text, length, nullptr, 0, nullptr, nullptr);
    out.resize(n);
    WideCharToMultiByte(codePage, 0, text, length, out.data(), n, nullptr, nullptr);
    return out;
}
