// The colour syntax shared by the colour options, COLOR, CLS, SCRPUT and
// the drawing commands.
#include "base/colors.h"
#include "base/format.h"

const ANSI_COLORS aColors[16] = {
    {L"Bla", 30}, {L"Blu", 34}, {L"Gre", 32}, {L"Cya", 36},
    {L"Red", 31}, {L"Mag", 35}, {L"Yel", 33}, {L"Whi", 37},
    {L"Bri Bla", 0}, {L"Bri Blu", 0}, {L"Bri Gre", 0}, {L"Bri Cya", 0},
    {L"Bri Red", 0}, {L"Bri Mag", 0}, {L"Bri Yel", 0}, {L"Bri Whi", 0},
};

namespace {

bool IsBlank(wchar_t c) { return c == L' ' || c == L'\t'; }

// One blank-delimited word.
struct Word {
    const wchar_t *start;
    size_t length;
    const wchar_t *end() const { return start + length; }
};

Word NextWord(const wchar_t *p) {
    while (IsBlank(*p)) p++;
    const wchar_t *e = p;
    while (*e && !IsBlank(*e)) e++;
    return {p, (size_t)(e - p)};
}

// Only the first three letters of a word count.
bool MatchesName(const Word &w, const wchar_t *name) {
    return w.length >= 3 && StrNICmp(w.start, name, 3) == 0;
}

// A colour word: a digit string is its number, otherwise one of the eight
// base names.  -1 when it is neither.
int ColorIndex(const Word &w) {
    if (!w.length) return -1;
    bool digits = true;
    for (size_t i = 0; i < w.length; i++) digits = digits && w.start[i] >= L'0' && w.start[i] <= L'9';
    if (digits) return w.length > 2 ? 16 : _wtoi(CString(w.start, w.length).c_str());
    for (int i = 0; i < 8; i++)
        if (MatchesName(w, aColors[i].pszName)) return i;
    return -1;
}

// "[BRI] colour" at p: the colour, or -1 with p unchanged.
int ReadColor(const wchar_t *&p) {
    Word w = NextWord(p);
    int bright = 0;
    if (MatchesName(w, L"BRI")) {
        bright = 8;
        w = NextWord(w.end());
    }
    int index = ColorIndex(w);
    if (index < 0 || index + bright >= 16) return -1;
    p = w.end();
    return index + bright;
}

// A whole text that is one number ("31", "0x1F"): fills the attribute.
bool ReadNumericColor(const wchar_t *text, int *attribute, const wchar_t **behind) {
    Word w = NextWord(text);
    if (!w.length || NextWord(w.end()).length) return false;
    int value = 0, used = 0;
    CString word(w.start, w.length);
    if (Sscanf(word.c_str(), L"%i%n", &value, &used) != 2 || used != (int)w.length) return false;
    if (value < 0 || value > 255) return false;
    *attribute = value;
    *behind = w.end();
    return true;
}

}  // namespace

const wchar_t *ParseColors(const wchar_t *text, int *foreground, int *background) {
    *foreground = *background = -1;
    if (!text) return text;
    int attribute;
    const wchar_t *p = text;
    if (ReadNumericColor(text, &attribute, &p)) {
        *foreground = attribute & 15;
        *background = attribute >> 4;
        return p;
    }
    *foreground = ReadColor(p);
    if (*foreground < 0) return text;
    Word on = NextWord(p);
    const wchar_t *afterOn = on.length == 2 && StrNICmp(on.start, L"ON", 2) == 0 ? on.end() : p;
    *background = ReadColor(afterOn);
    return *background < 0 ? p : afterOn;
}

const wchar_t *ParseColor(const wchar_t *text, int *color) {
    const wchar_t *p = text;
    *color = ReadColor(p);
    return p;
}

int GetColors(CString &text) {
    int foreground, background;
    const wchar_t *behind = ParseColors(text.c_str(), &foreground, &background);
    if (foreground < 0 || background < 0) return -1;
    CString rest = behind;
    rest.TrimLeft();
    text = rest;
    return foreground | (background << 4);
}
