// The switches of the file engine that GetSwitches hands over: /A: (the
// attribute sets of a search) and /O (its sort keys).
#include <cwchar>
#include "files/files.h"
#include "files/search.h"

namespace {

constexpr size_t kMaxSortKeys = 14;
constexpr size_t kMaxAttributeText = 255;

// The bits of an attribute letter; -1 for an unknown one.  "N" (normal)
// has no bit of its own except in the any-of set.
long AttributeBits(wchar_t c, bool anyOf) {
    static const struct {
        wchar_t letter;
        unsigned bits;
    } table[] = {
        {L'R', 0x1},    {L'H', 0x2},     {L'S', 0x4},     {L'D', 0x10},     {L'A', 0x20},
        {L'N', 0},      {L'T', 0x100},   {L'F', 0x200},   {L'J', 0x400},    {L'L', 0x400},
        {L'C', 0x800},  {L'O', 0x1000},  {L'I', 0x2000},  {L'E', 0x4000},   {L'V', 0x8000},
        {L'X', 0x20000}, {L'P', 0x80000}, {L'U', 0x100000},
    };
    c = ToUpperChar(c);
    if (c == L'N' && anyOf) return ATTR_ANY_NORMAL;
    for (const auto &row : table)
        if (row.letter == c) return row.bits;
    return -1;
}

// /O[:]keys (text behind the "/O"): at most 14 keys, stored lower-cased.
// False for a character that is no sort key.
bool TakeSortKeys(const wchar_t *text, FILESEARCH *search) {
    CString keys;
    for (const wchar_t *p = text + (*text == L':' ? 1 : 0); *p; p++) {
        wchar_t c = ToLowerChar(*p);
        if (!wcschr(L"-acdeginosurtxz", c)) return false;
        if (keys.size() < kMaxSortKeys) keys += c;
    }
    search->sSortKeys = keys;
    return true;
}

}  // namespace

int GetSearchAttributes(const wchar_t *spec, FILESEARCH *search) {
    if (!search) return 0;
    search->fSearchFlags = 0x80017;
    search->fRequired = search->fForbidden = search->fAnyOf = 0;
    CString text = CString(spec).Left(kMaxAttributeText);
    for (size_t i = text.At(0) == L':' ? 1 : 0; i < text.size(); i++) {
        wchar_t c = text[i];
        if (c == L'_') continue;
        unsigned *set = &search->fRequired;
        if (c == L'+' || c == L'-') {
            set = c == L'+' ? &search->fAnyOf : &search->fForbidden;
            c = text.At(++i);
        }
        long bits = AttributeBits(c, set == &search->fAnyOf);
        if (bits < 0) break;  // the list ends at anything else
        *set |= (unsigned)bits;
        // The last word on a letter holds: "d-d" forbids, "-dd" requires.
        if (set == &search->fRequired) search->fForbidden &= ~(unsigned)bits;
        if (set == &search->fForbidden) search->fRequired &= ~(unsigned)bits;
    }
    return 0;
}

bool SearchSwitch(wchar_t letter, const wchar_t *text, FILESEARCH *search) {
    if (letter == L'A') {
        if (text) GetSearchAttributes(text, search);
        else search->fRequired = search->fForbidden = search->fAnyOf = 0;
        return true;
    }
    if (!text) {
        search->sSortKeys.clear();
        return true;
    }
    return TakeSortKeys(text, search);
}
