// Language texts and locale characters: the strings of the language
// module by number, and the decimal and thousands separators, from the
// options when they name one, otherwise from the user's locale.
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"

CString LoadLanguageString(int id) {
    const wchar_t *text = nullptr;
    int n = LoadStringW(aGlobals.hLanguage, (UINT)id, (LPWSTR)&text, 0);
    return n > 0 ? CString(text, n) : CString();
}

namespace {

// The user's locale is read once: each read is a registry look-up, and the
// evaluator and the numeric tests ask for these characters all the time.
wchar_t LocaleChar(LCTYPE type, wchar_t fallback) {
    static wchar_t decimal = 0, thousands = 0;
    wchar_t &cached = type == LOCALE_SDECIMAL ? decimal : thousands;
    if (!cached) {
        wchar_t buffer[8];
        cached = GetLocaleInfoW(LOCALE_USER_DEFAULT, type, buffer, 8) > 1 ? buffer[0] : fallback;
    }
    return cached;
}

// Choice index of DecimalChar/ThousandsChar: 0 Auto, then ".", ",", "'".
wchar_t ChoiceChar(int choice) {
    static const wchar_t chars[] = {0, L'.', L',', L'\''};
    return choice > 0 && choice < 4 ? chars[choice] : 0;
}

}  // namespace

wchar_t QueryDecimalChar() {
    if (wchar_t c = ChoiceChar(aIniFile.DecimalChar)) return c;
    return LocaleChar(LOCALE_SDECIMAL, L'.');
}

wchar_t QueryThousandsChar() {
    if (wchar_t c = ChoiceChar(aIniFile.ThousandsChar)) return c;
    wchar_t c = LocaleChar(LOCALE_STHOUSAND, L',');
    return c == QueryDecimalChar() ? (c == L',' ? L'.' : L',') : c;
}
