// Strings of the language module, found by number.
#include "core/bdx.h"

CString LoadLanguageString(int id) {
    const wchar_t *text = nullptr;
    int n = LoadStringW(aGlobals.hLanguage, (UINT)id, (LPWSTR)&text, 0);
    return n > 0 ? CString(text, n) : CString();
}
