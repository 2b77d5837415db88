// HASH and UUID: digests of files and texts, and random identifiers, from
// the digest engine that the hash functions use too (vars/coding.h).
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "console/console.h"
#include "system/system.h"
#include <algorithm>
#include <vector>
#include "vars/coding.h"

namespace {

// The digests HASH names by a switch.
const wchar_t *const kAlgorithms[] = {L"MD5", L"SHA1", L"SHA256", L"SHA384", L"SHA512"};

// The files of one name or wildcard, in name order; directories are left
// out.  (A plain FindFirstFileW loop; the file engine's FindFiles takes its
// place when it is there.)
int HashPattern(const wchar_t *algorithm, const CString &pattern) {
    size_t slash = pattern.find_last_of(L"\\/:");
    CString dir = slash == CString::npos ? CString() : pattern.Left(slash + 1);
    WIN32_FIND_DATAW found;
    HANDLE h = FindFirstFileW(pattern.c_str(), &found);
    if (h == INVALID_HANDLE_VALUE) return BDError((int)GetLastError(), pattern.c_str());
    std::vector<CString> names;
    do {
        if (!(found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY)) names.push_back(dir + found.cFileName);
    } while (FindNextFileW(h, &found));
    FindClose(h);
    if (names.empty()) return BDError(ERROR_FILE_NOT_FOUND, pattern.c_str());
    std::sort(names.begin(), names.end(), [](const CString &a, const CString &b) { return StrICmp(a, b) < 0; });
    int result = 0;
    for (const CString &name : names) {
        CString digest;
        if (int rc = HashFile(algorithm, name.c_str(), digest)) result = BDError(rc, name.c_str());
        else Printf(L"%s  %s\r\n", digest.c_str(), name.c_str());
    }
    return result;
}

}  // namespace

// HASH [/MD5 | /SHA1 | /SHA256 | /SHA384 | /SHA512] [/T text | file ...]
int Hash_Command(CString &args) {
    const wchar_t *algorithm = L"SHA256";
    for (const wchar_t *name : kAlgorithms)
        if (GetStringSwitch(args, name, 0, nullptr)) algorithm = name;
    CString text;
    if (GetStringSwitch(args, L"T", 0, &text)) {
        StripEnclosingQuotes_S(text);
        std::string bytes = ToCodePage(text.c_str(), text.GetLength(), CP_UTF8);
        CString digest;
        if (int rc = HashBytes(algorithm, bytes.data(), bytes.size(), digest)) return BDError(rc, nullptr);
        Printf(L"%s\r\n", digest.c_str());
        return 0;
    }
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString name;
    if (!GetNthArgument(args.c_str(), 0)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"HASH");
    int result = 0;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++) {
        StripQuotes_S(name);
        if (int rc = HashPattern(algorithm, name)) result = rc;
    }
    return result;
}

// UUID [/N:n] [/U]
int Uuid_Command(CString &args) {
    CString count;
    bool many = GetMultiCharSwitch(args, L"N", &count, 0, nullptr, 0, 0) != 0;
    unsigned mask = 0;
    if (GetSwitches(args, L"U", &mask, 0, nullptr)) return 2;
    if (!args.TrimLeftCopy().empty()) return BDError(ERROR_INVALID_PARAMETER, args.TrimLeftCopy().c_str());
    int n = 1, used = 0;
    if (many) {
        count.TrimLeft(L":");
        if (Sscanf(count.c_str(), L"%d%n", &n, &used) != 2 || used != count.GetLength() || n < 0)
            return BDError(ERROR_INVALID_PARAMETER, count.c_str());
    }
    for (int i = 0; i < n; i++) {
        CString id = NewUuid();
        if (mask & 1) id.MakeUpper();
        Printf(L"%s\r\n", id.c_str());
        tty_yield(0);
    }
    return 0;
}
