// The option block and its table: defaults, lookup by name, and the
// helpers that reach a row's field.
#include <cstddef>
#include <cwchar>
#include "base/options.h"
#include "config/config.h"
#include "config/ini_internal.h"

const OPTIONROW aOptions[] = {
#define BD_OPTION(name, field, type, def, lo, hi, choices, pflags) \
    {name, type, (long long)(def), (long long)(lo), (long long)(hi), choices, pflags, offsetof(INIFILE, field)},
#include "base/options.def"
#undef BD_OPTION
};

const int nOptions = (int)(sizeof(aOptions) / sizeof(aOptions[0]));
static_assert(sizeof(aOptions) / sizeof(aOptions[0]) == 237, "the option table has 237 rows");

void SetStringOption(INIFILE *block, const OPTIONROW &row, const wchar_t *text) {
    wchar_t *&field = OptionField<wchar_t *>(block, row);
    delete[] field;
    field = nullptr;
    if (text && *text) {
        size_t n = wcslen(text) + 1;
        field = new wchar_t[n];
        wmemcpy(field, text, n);
    }
}

int ChoiceIndex(const OPTIONROW &row, const wchar_t *value) {
    int index = 0;
    for (const wchar_t *p = row.pszChoices; p && *p; p += wcslen(p) + 1, index++)
        if (!StrICmp(p, value)) return index;
    return -1;
}

const wchar_t *ChoiceName(const OPTIONROW &row, int index) {
    const wchar_t *p = row.pszChoices;
    for (int i = 0; p && *p; p += wcslen(p) + 1, i++)
        if (i == index) return p;
    return L"";
}

void ResetOption(INIFILE *block, const OPTIONROW &row) {
    switch (row.nType) {
    case OPT_CHAR: OptionField<wchar_t>(block, row) = (wchar_t)row.nDefault; break;
    case OPT_UINT:
    case OPT_COLOR: OptionField<unsigned>(block, row) = (unsigned)row.nDefault; break;
    case OPT_STRING:
    case OPT_PATH:
    case OPT_SECRET: SetStringOption(block, row, nullptr); break;
    case OPT_INCLUDE: break;
    default: OptionField<int>(block, row) = (int)row.nDefault; break;
    }
}

void IniClear(INIFILE *block) {
    for (int i = 0; i < nOptions; i++) ResetOption(block, aOptions[i]);
    block->ParseFlags = 0;
}

void CopyIniBlock(INIFILE *to, const INIFILE *from) {
    if (to == from) return;
    FreeIniStrings(to);
    *to = *from;
    for (int i = 0; i < nOptions; i++) {
        if (!IsStringType(aOptions[i].nType)) continue;
        OptionField<wchar_t *>(to, aOptions[i]) = nullptr;
        SetStringOption(to, aOptions[i], OptionField<wchar_t *>(from, aOptions[i]));
    }
}

void FreeIniStrings(INIFILE *block) {
    for (int i = 0; i < nOptions; i++)
        if (IsStringType(aOptions[i].nType)) SetStringOption(block, aOptions[i], nullptr);
}

const OPTIONROW *FindOption(const wchar_t *name) {
    for (int i = 0; i < nOptions; i++)
        if (!StrICmp(aOptions[i].pszName, name)) return &aOptions[i];
    return nullptr;
}
