// The sort of directory listings and of sorted searches: the /O: keys read
// into a plan, one comparer over what both kinds of entry offer, and the
// shell sort that orders them.
#include <cwchar>
#include "console/console.h"
#include "files/ranges.h"
#include "files/search.h"

SORTPLAN MakeSortPlan(const CString &keys) {
    SORTPLAN plan;
    plan.sKeys = keys;
    for (wchar_t c : keys) {
        if (c == L'r') plan.fReverse = true;
        if (c == L'e') plan.fHasExtension = true;
    }
    plan.fUnsorted = keys.At(0) == L'u';
    return plan;
}

namespace {

// The extension for sorting: leading dots skipped, then the text after the
// last dot; empty when there is none.
const wchar_t *SortExtension(const wchar_t *name) {
    while (*name == L'.') name++;
    const wchar_t *dot = wcsrchr(name, L'.');
    return dot ? dot + 1 : L"";
}

template <typename T> int Sign(T a, T b) { return a < b ? -1 : a > b ? 1 : 0; }

int CompareNames(const SORTITEM &a, const SORTITEM &b, unsigned stringFlags, bool extensionKey) {
    int c = CompareStrings(a.pszName, b.pszName, stringFlags | COMPARE_FILE_NAMES);
    if (c == 0 && !extensionKey) c = CompareStrings(SortExtension(a.pszName), SortExtension(b.pszName), stringFlags);
    return c;
}

int CompareTexts(const wchar_t *a, const wchar_t *b, unsigned stringFlags) {
    return CompareStrings(a ? a : L"", b ? b : L"", stringFlags);
}

// The time a "t" key looks at: "ta" access, "tc" creation, else last write.
unsigned long long TimeOf(const SORTITEM &item, wchar_t field) {
    return field == L'a' ? item.ftAccess : field == L'c' ? item.ftCreation : item.ftWrite;
}

bool IsDir(const SORTITEM &item) { return (item.fAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

// One key; *i stands on it and moves past what the key took.
int CompareByKey(const CString &keys, size_t *i, const SORTITEM &a, const SORTITEM &b, unsigned stringFlags,
                 bool extensionKey) {
    switch (keys[*i]) {
    case L'c': return Sign(a.nRatio, b.nRatio);
    case L'd': return Sign(a.ftWrite, b.ftWrite);
    case L't': {
        wchar_t field = keys.At(*i + 1);
        if (field == L'a' || field == L'c' || field == L'w') ++*i;
        return Sign(TimeOf(a, field), TimeOf(b, field));
    }
    case L'e': return CompareStrings(SortExtension(a.pszName), SortExtension(b.pszName), stringFlags);
    case L'g': return Sign(!IsDir(a), !IsDir(b));
    case L'i': return CompareTexts(a.pszDescription, b.pszDescription, stringFlags);
    case L'n': return CompareNames(a, b, stringFlags, extensionKey);
    case L'o':
        if (!a.pszOwner || !b.pszOwner) return Sign(a.pszOwner != nullptr, b.pszOwner != nullptr);
        return CompareStrings(a.pszOwner, b.pszOwner, stringFlags);
    case L's':
    case L'z': return Sign(a.nSize, b.nSize);
    }
    return 0;
}

}  // namespace

int CompareSortItems(const SORTPLAN &plan, const SORTITEM &a, const SORTITEM &b) {
    if (plan.fUnsorted) return 0;
    unsigned stringFlags = plan.nFirstStringFlags;
    int result = 0;
    bool negate = false;
    for (size_t i = 0; i < plan.sKeys.size() && result == 0; i++) {
        wchar_t key = plan.sKeys[i];
        if (key == L'-') {
            negate = true;
            continue;
        }
        if (key == L'a') stringFlags = COMPARE_PLAIN;
        if (key == L'u') return 0;
        result = CompareByKey(plan.sKeys, &i, a, b, stringFlags, plan.fHasExtension);
        if (negate) result = -result;
        negate = false;
    }
    if (result == 0) result = Sign(!IsDir(a), !IsDir(b));
    if (result == 0) result = CompareNames(a, b, stringFlags, plan.fHasExtension);
    return plan.fReverse ? -result : result;
}

void YieldBetweenSortPasses(size_t gap) {
    if (gap % 8) tty_yield(0);
}

namespace {

unsigned long long Ticks(const FILETIME &t) { return ((unsigned long long)t.dwHighDateTime << 32) | t.dwLowDateTime; }

SORTITEM ItemOf(const FILEENTRY &e) {
    return SORTITEM{e.sName.c_str(), e.fAttributes, Ticks(e.ftLastWrite), Ticks(e.ftLastAccess),
                    Ticks(e.ftCreation), (long long)e.nSize, 0, nullptr, nullptr};
}

}  // namespace

void SortFileEntries(std::vector<FILEENTRY> &entries, const CString &keys) {
    SORTPLAN plan = MakeSortPlan(keys);
    if (plan.fUnsorted || entries.size() < 2) return;
    ShellSort(entries, [&plan](const FILEENTRY &a, const FILEENTRY &b) {
        return CompareSortItems(plan, ItemOf(a), ItemOf(b));
    });
}
