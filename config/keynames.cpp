// Key names for the character options (QuakeHotkey=Ctrl-Q, EscapeChar=Esc).
// A character option holds one 16-bit value: a character, a control
// character for Ctrl-letter, or 0x100 plus the keyboard scan code for a key
// that has no character (Alt-letter, the F-keys).
#include <cwchar>
#include "base/args.h"
#include "base/format.h"
#include "config/config.h"

namespace {

constexpr int kExtended = 0x100;

struct NAMEDKEY {
    const wchar_t *pszName;
    int nKey;
};
constexpr NAMEDKEY aNamedKeys[] = {
    {L"Backspace", 8}, {L"Tab", 9}, {L"Enter", 13}, {L"Esc", 27}, {L"Space", 32},
};

// Scan codes of the letter and digit keys, by rows of the keyboard.
struct SCANROW {
    const wchar_t *pszKeys;
    int nFirst;
};
constexpr SCANROW aScanRows[] = {{L"1234567890", 2}, {L"QWERTYUIOP", 16}, {L"ASDFGHJKL", 30}, {L"ZXCVBNM", 44}};

int ScanCode(wchar_t c) {
    c = ToUpperChar(c);
    for (const SCANROW &row : aScanRows)
        if (const wchar_t *at = c ? wcschr(row.pszKeys, c) : nullptr) return row.nFirst + (int)(at - row.pszKeys);
    return -1;
}

wchar_t ScanChar(int scan) {
    for (const SCANROW &row : aScanRows) {
        int n = (int)wcslen(row.pszKeys);
        if (scan >= row.nFirst && scan < row.nFirst + n) return row.pszKeys[scan - row.nFirst];
    }
    return 0;
}

// Scan codes of F1 (F1 to F10 follow it) and of F11 (F12 follows it), for
// the plain key and with Shift, Ctrl and Alt.
enum { KEYMOD_NONE, KEYMOD_SHIFT, KEYMOD_CTRL, KEYMOD_ALT };
constexpr int aFirstF1[] = {59, 84, 94, 104};
constexpr int aFirstF11[] = {133, 135, 137, 139};
constexpr const wchar_t *aModifierNames[] = {L"", L"Shift-", L"Ctrl-", L"Alt-"};

int FunctionKey(int number, int modifier) {
    if (number >= 1 && number <= 10) return kExtended + aFirstF1[modifier] + number - 1;
    if (number == 11 || number == 12) return kExtended + aFirstF11[modifier] + number - 11;
    return -1;
}

// The number n of "Fn", or 0.
int FunctionNumber(const CString &word) {
    if (word.size() < 2 || word.size() > 3 || ToUpperChar(word[0]) != L'F') return 0;
    if (word.find_first_not_of(L"0123456789", 1) != CString::npos) return 0;
    int n = 0;
    Sscanf(word.c_str() + 1, L"%d", &n);
    return n;
}

}  // namespace

int KeyNameValue(const CString &name) {
    if (name.size() == 1) return name[0];
    CString word = name;
    int modifier = KEYMOD_NONE;
    for (int m = KEYMOD_SHIFT; m <= KEYMOD_ALT; m++) {
        if (!word.StartsWithNoCase(aModifierNames[m]) || word.size() <= wcslen(aModifierNames[m])) continue;
        modifier = m;
        word.erase(0, wcslen(aModifierNames[m]));
        break;
    }
    if (int number = FunctionNumber(word)) return FunctionKey(number, modifier);
    if (modifier == KEYMOD_NONE) {
        for (const NAMEDKEY &key : aNamedKeys)
            if (word.EqualsNoCase(key.pszName)) return key.nKey;
        return -1;
    }
    if (word.size() != 1) return -1;
    wchar_t c = ToUpperChar(word[0]);
    if (modifier == KEYMOD_CTRL && c >= L'@' && c <= L'_') return c & 0x1F;
    if (modifier == KEYMOD_ALT && ScanCode(c) > 0) return kExtended + ScanCode(c);
    return -1;
}

CString KeyValueName(int key) {
    for (const NAMEDKEY &named : aNamedKeys)
        if (key == named.nKey) return named.pszName;
    if (key >= 0 && key < 32) return FormatStr(L"Ctrl-%c", key + L'@');
    if (key < kExtended) return CString(1, (wchar_t)key);
    int scan = key - kExtended;
    for (int m = KEYMOD_NONE; m <= KEYMOD_ALT; m++) {
        if (scan >= aFirstF1[m] && scan < aFirstF1[m] + 10)
            return FormatStr(L"%sF%d", aModifierNames[m], scan - aFirstF1[m] + 1);
        if (scan >= aFirstF11[m] && scan < aFirstF11[m] + 2)
            return FormatStr(L"%sF%d", aModifierNames[m], scan - aFirstF11[m] + 11);
    }
    if (wchar_t c = ScanChar(scan)) return FormatStr(L"Alt-%c", c);
    return FormatStr(L"%d", key);
}
