// GetColors for the ini engine while the console's colour parser is not in
// the tree; console/colors.cpp replaces this file (delete it then).  The
// grammar is the console's: "[Bri] colour [on] [Bri] colour", a colour being
// a number or the first three letters of one of the eight names; or one
// number alone, foreground in the low nibble, background above it.
#include <cwchar>
#include "config/ini.h"
#include "core/format.h"

namespace {

constexpr const wchar_t *aColorNames[8] = {L"Bla", L"Blu", L"Gre", L"Cya", L"Red", L"Mag", L"Yel", L"Whi"};

// Read one word at *pos (blanks before it skipped); empty at the end.
CString NextWord(const CString &text, size_t *pos) {
    size_t start = text.find_first_not_of(L" \t", *pos);
    if (start == CString::npos) {
        *pos = text.size();
        return CString();
    }
    size_t end = text.find_first_of(L" \t", start);
    if (end == CString::npos) end = text.size();
    *pos = end;
    return text.Mid(start, end - start);
}

// One colour ("[Bri] name" or a number); -1 when there is none at *pos.
int ReadColor(const CString &text, size_t *pos) {
    size_t at = *pos;
    CString word = NextWord(text, &at);
    int bright = 0;
    if (word.size() >= 3 && word.Left(3).EqualsNoCase(L"Bri")) {
        bright = 8;
        word = NextWord(text, &at);
    }
    int color = -1;
    if (!word.empty() && word.find_first_not_of(L"0123456789") == CString::npos) {
        Sscanf(word.c_str(), L"%d", &color);
    } else if (word.size() >= 3) {
        for (int i = 0; i < 8; i++)
            if (word.Left(3).EqualsNoCase(aColorNames[i])) color = i;
    }
    if (color < 0 || color + bright > 15) return -1;
    *pos = at;
    return color + bright;
}

}  // namespace

int GetColors(CString &text) {
    size_t pos = 0;
    CString first = NextWord(text, &pos);
    CString second = NextWord(text, &pos);
    int number = 0, used = 0;
    if (second.empty() && Sscanf(first.c_str(), L" %i%n", &number, &used) == 2 && used == first.GetLength()) {
        text.clear();
        return number >= 0 && number < 256 ? number : -1;
    }
    pos = 0;
    int foreground = ReadColor(text, &pos);
    if (foreground < 0) return -1;
    size_t at = pos;
    if (NextWord(text, &at).EqualsNoCase(L"on")) pos = at;
    int background = ReadColor(text, &pos);
    if (background < 0) return -1;
    text = text.Mid(pos);
    text.TrimLeft();
    return foreground | (background << 4);
}
