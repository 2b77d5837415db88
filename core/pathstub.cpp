// The few path rules that redirection and the launcher need.
// replaced by the file engine's path rules when they land
#include "core/pathstub.h"
#include "core/args.h"

bool CreateFullPathName(CString &name, int quiet) {
    StripQuotes_S(name);
    if (name.EqualsNoCase(L"clip:")) return true;
    if (name.size() >= 0x7FFF) {
        if (!quiet) BDError(206, name.c_str());
        return false;
    }
    const wchar_t *source = name.empty() ? L"." : name.c_str();
    DWORD n = GetFullPathNameW(source, 0, nullptr, nullptr);
    if (!n) {
        if (!quiet) BDError(0, name.c_str());
        return false;
    }
    CString full(n, L'\0');
    n = GetFullPathNameW(source, n, full.data(), nullptr);
    full.resize(n);
    if (full.size() >= 248 && !full.StartsWith(L"\\\\?\\") && !full.StartsWith(L"\\\\.\\"))
        full = full.StartsWith(L"\\\\") ? L"\\\\?\\UNC" + full.Mid(1) : L"\\\\?\\" + full;
    name = full;
    return true;
}

bool QueryIsDevice(const CString &name) {
    CString n = name;
    StripQuotes_S(n);
    if (n.StartsWith(L"\\\\.\\")) n.erase(0, 4);
    if (!n.empty() && n.back() == L':') n.pop_back();
    n.MakeUpper();
    static const wchar_t *const plain[] = {L"NUL", L"CON", L"CLIP", L"PRN", L"AUX", L"CONIN$", L"CONOUT$"};
    for (const wchar_t *d : plain)
        if (n == d) return true;
    return n.size() == 4 && (n.StartsWith(L"COM") || n.StartsWith(L"LPT")) && n[3] >= L'1' && n[3] <= L'9';
}

int UniqueFileName(CString &dir, const wchar_t *prefix) {
    CString where = dir.empty() ? CString(L".") : dir;
    CString out(MAX_PATH + 1, L'\0');
    if (!GetTempFileNameW(where.c_str(), prefix, 0, out.data())) return (int)GetLastError();
    out.resize(wcslen(out.c_str()));
    dir = out;
    return 0;
}
