// Compile-time checks and the comparison of the program's sorted name
// tables (commands, functions, internal variables): names are ASCII and
// compared in lower case.
#pragma once
#include <cstddef>

constexpr wchar_t LowerAscii(wchar_t c) { return c >= L'A' && c <= L'Z' ? wchar_t(c + 32) : c; }

constexpr int CompareLower(const wchar_t *a, const wchar_t *b) {
    for (;; a++, b++) {
        wchar_t x = LowerAscii(*a), y = LowerAscii(*b);
        if (x != y) return x < y ? -1 : 1;
        if (!x) return 0;
    }
}

// Strictly ascending without case.
template <size_t N> constexpr bool IsSortedNames(const wchar_t *const (&names)[N]) {
    for (size_t i = 1; i < N; i++)
        if (CompareLower(names[i - 1], names[i]) >= 0) return false;
    return true;
}

// The row of name (any case) in a table of count rows sorted by
// CompareLower, by binary search; -1 when it is not there.  A row has its
// name in pszName.
template <typename Row> int FindSortedName(const Row *rows, int count, const wchar_t *name) {
    int low = 0, high = count - 1;
    while (low <= high) {
        int probe = (low + high) / 2;
        int c = CompareLower(name, rows[probe].pszName);
        if (c == 0) return probe;
        if (c < 0) high = probe - 1;
        else low = probe + 1;
    }
    return -1;
}

template <size_t N> constexpr bool IsAllLower(const wchar_t *const (&names)[N]) {
    for (size_t i = 0; i < N; i++)
        for (const wchar_t *p = names[i]; *p; p++)
            if (*p >= L'A' && *p <= L'Z') return false;
    return true;
}
