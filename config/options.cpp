// The option block, its table and the plain setting of one option from
// text.  The ini engine builds on SetOptionText.
#include <cstddef>
#include <cwchar>
#include "config/ini.h"
#include "core/bdx.h"
#include "core/args.h"
#include "core/format.h"

INIFILE aIniFile;

const OPTIONROW aOptions[] = {
#define BD_OPTION(name, field, type, def, lo, hi, choices, pflags) \
    {name, type, (long long)(def), (long long)(lo), (long long)(hi), choices, pflags, offsetof(INIFILE, field)},
#include "config/options.def"
#undef BD_OPTION
};

const int nOptions = (int)(sizeof(aOptions) / sizeof(aOptions[0]));
static_assert(sizeof(aOptions) / sizeof(aOptions[0]) == 237, "the option table has 237 rows");

namespace {

template <typename T> T &Field(INIFILE *block, const OPTIONROW &row) {
    return *reinterpret_cast<T *>(reinterpret_cast<char *>(block) + row.nOffset);
}

wchar_t *DupString(const wchar_t *text) {
    size_t n = wcslen(text) + 1;
    wchar_t *copy = new wchar_t[n];
    wmemcpy(copy, text, n);
    return copy;
}

// Index of a choice name in a row's list, or -1.
int ChoiceIndex(const OPTIONROW &row, const wchar_t *value) {
    int index = 0;
    for (const wchar_t *p = row.pszChoices; p && *p; p += wcslen(p) + 1, index++)
        if (!StrICmp(p, value)) return index;
    return -1;
}

bool ReadInteger(const wchar_t *value, long long *out) {
    if (!*value || wcsspn(value, L"-0123456789") != wcslen(value)) return false;
    return Sscanf(value, L"%I64i", out) == 1;
}

}  // namespace

void IniClear(INIFILE *block) {
    for (int i = 0; i < nOptions; i++) {
        const OPTIONROW &row = aOptions[i];
        switch (row.nType) {
        case OPT_CHAR: Field<wchar_t>(block, row) = (wchar_t)row.nDefault; break;
        case OPT_UINT:
        case OPT_COLOR: Field<unsigned>(block, row) = (unsigned)row.nDefault; break;
        case OPT_STRING:
        case OPT_PATH:
        case OPT_SECRET:
            delete[] Field<wchar_t *>(block, row);
            Field<wchar_t *>(block, row) = nullptr;
            break;
        default: Field<int>(block, row) = (int)row.nDefault; break;
        }
    }
    block->ParseFlags = 0;
}

const OPTIONROW *FindOption(const wchar_t *name) {
    for (int i = 0; i < nOptions; i++)
        if (!StrICmp(aOptions[i].pszName, name)) return &aOptions[i];
    return nullptr;
}

// Store a value given as text; returns 0 or the error text's string id
// through *error (a plain message for now).
int SetOptionText(INIFILE *block, const OPTIONROW &row, const wchar_t *value, CString *error) {
    long long n = 0;
    switch (row.nType) {
    case OPT_CHAR:
        if (wcslen(value) != 1) return *error = L"Invalid character value for", 1;
        Field<wchar_t>(block, row) = value[0];
        return 0;
    case OPT_INT:
    case OPT_UINT:
        if (!ReadInteger(value, &n) || (row.nMin != row.nMax && (n < row.nMin || n > row.nMax)))
            return *error = L"Invalid numeric value for", 1;
        if (row.nType == OPT_INT) Field<int>(block, row) = (int)n;
        else Field<unsigned>(block, row) = (unsigned)n;
        return 0;
    case OPT_CHOICE: {
        int index = ChoiceIndex(row, value);
        if (index < 0) return *error = L"Invalid choice value for", 1;
        Field<int>(block, row) = index;
        return 0;
    }
    case OPT_STRING:
    case OPT_PATH:
    case OPT_SECRET:
        delete[] Field<wchar_t *>(block, row);
        Field<wchar_t *>(block, row) = *value ? DupString(value) : nullptr;
        return 0;
    default:
        return *error = L"Invalid item name", 1;
    }
}

int SetINIDirective(wchar_t *text) {
    CString line = text;
    if (line.StartsWith(L"//")) line.erase(0, 2);
    size_t eq = line.find(L'=');
    CString name = line.Left(eq), value = eq == CString::npos ? CString() : line.Mid(eq + 1);
    name.Trim();
    value.Trim();
    StripEnclosingQuotes_S(value);
    const OPTIONROW *row = FindOption(name.c_str());
    CString error;
    if (!row) return BDError(ERROR_BD_OPTION_SYNTAX, text);
    if (SetOptionText(&aIniFile, *row, value.c_str(), &error)) return BDError(ERROR_BD_OPTION_SYNTAX, text);
    return 0;
}
