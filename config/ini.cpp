// The rules of one ini line: a section header or "name=value" read into an
// option block by the row's type; options returned to their defaults and
// read back as text; the extra-options list; the cipher of secret values.
#include <cwchar>
#include "base/colors.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/options.h"
#include "config/config.h"
#include "config/ini_internal.h"

std::vector<EXTRAOPTION> aExtraOptions;

void AddExtraOption(const wchar_t *name, const wchar_t *value) {
    if (!name || !*name) return;
    if (EXTRAOPTION *extra = FindExtraOption(name)) {
        extra->sValue = value;
        return;
    }
    aExtraOptions.push_back({name, value});
}

EXTRAOPTION *FindExtraOption(const wchar_t *name) {
    for (EXTRAOPTION &extra : aExtraOptions)
        if (extra.sName.EqualsNoCase(name)) return &extra;
    return nullptr;
}

void StripValueQuotes(CString &value) {
    if (value.size() >= 2 && value[0] == L'"' && value.back() == L'"' &&
        value.find(L'"', 1) == value.size() - 1)
        value = value.Mid(1, value.size() - 2);
}

namespace {

// Error texts of a bad line; the report puts the line's text behind them.
constexpr const wchar_t *kBadName = L"Invalid item name";
constexpr const wchar_t *kBadChar = L"Invalid character value for";
constexpr const wchar_t *kBadNumber = L"Invalid numeric value for";
constexpr const wchar_t *kBadChoice = L"Invalid choice value for";
constexpr const wchar_t *kBadColor = L"Invalid color for";
constexpr const wchar_t *kBadPath = L"Invalid path or file name for";
constexpr const wchar_t *kBadExpansion = L"Variable expansion failed for";

int Fail(const wchar_t **error, const wchar_t *text) {
    if (error) *error = text;
    return 1;
}

unsigned SectionBit(const CString &name) {
    static const struct {
        const wchar_t *pszName;
        unsigned nBit;
    } sections[] = {{L"9BX", INI_SECTION_MAIN}, {L"Primary", INI_SECTION_PRIMARY},
                    {L"Secondary", INI_SECTION_SECONDARY}, {L"Keys", INI_SECTION_KEYS}};
    for (const auto &s : sections)
        if (name.EqualsNoCase(s.pszName)) return s.nBit;
    return INI_SECTION_OTHER;
}

// The characters that end a value of each type: numbers, choices and
// characters end at a blank, colours at a semicolon, text at a tab only.
const wchar_t *ValueStops(int type) {
    switch (type) {
    case OPT_COLOR: return L";";
    case OPT_STRING:
    case OPT_PATH:
    case OPT_SECRET:
    case OPT_INCLUDE: return L"\t";
    default: return L" \t;";
    }
}

// The value at the front of text.  One that starts with a double quote runs
// to the last double quote of the line, so it may hold any stop character.
CString TakeValue(const CString &text, const wchar_t *stops) {
    if (text.At(0) == L'"') {
        size_t last = text.find_last_of(L'"');
        if (last > 0) return text.Left(last + 1);
    }
    CString value = text.Left(text.find_first_of(stops));
    value.TrimRight();
    return value;
}

// A whole decimal number: digits and "-" only, so that "0x100" is refused.
bool ReadWholeNumber(const CString &text, long long *out) {
    if (text.empty() || text.find_first_not_of(L"-0123456789") != CString::npos) return false;
    int used = 0;
    return Sscanf(text.c_str(), L"%I64i%n", out, &used) == 2 && used == text.GetLength();
}

bool QueryIsDirectoryPath(const CString &path) {
    DWORD attr = GetFileAttributesW(path.c_str());
    return attr != INVALID_FILE_ATTRIBUTES && (attr & FILE_ATTRIBUTE_DIRECTORY);
}

// The test of a path row's flags: 0x4000 none, 0x8000 the directory part
// must exist, 0 the whole value must be a directory.
bool PathPassesTest(const CString &path, unsigned flags) {
    if (flags & 0x4000) return true;
    if (flags & 0x8000) {
        size_t slash = path.find_last_of(L"\\/");
        if (slash == CString::npos) return true;
        CString dir = path.Left(slash ? slash : 1);
        if (dir.size() == 2 && dir[1] == L':') dir += L'\\';
        return QueryIsDirectoryPath(dir);
    }
    return QueryIsDirectoryPath(path);
}

int StoreNumber(INIFILE *block, const OPTIONROW &row, const CString &value, const wchar_t **error) {
    long long n;
    if (!ReadWholeNumber(value, &n) || n < row.nMin || n > row.nMax) return Fail(error, kBadNumber);
    if (row.nType == OPT_INT) OptionField<int>(block, row) = (int)n;
    else OptionField<unsigned>(block, row) = (unsigned)n;
    return 0;
}

int StoreChar(INIFILE *block, const OPTIONROW &row, const CString &value, const wchar_t **error) {
    int key = value.size() == 1 ? value[0] : KeyNameValue(value);
    if (key <= 0 || key > 0xFFFF) return Fail(error, kBadChar);
    if ((row.nMin || row.nMax) && (key < row.nMin || key > row.nMax)) return Fail(error, kBadChar);
    OptionField<wchar_t>(block, row) = (wchar_t)key;
    return 0;
}

int StoreColor(INIFILE *block, const OPTIONROW &row, const CString &value, const wchar_t **error) {
    CString rest = value;
    int color = GetColors(rest);
    rest.Trim();
    if (color < 0 || !rest.empty() || (color & 0x0F) == (color >> 4)) return Fail(error, kBadColor);
    OptionField<unsigned>(block, row) = (unsigned)color;
    return 0;
}

// Convert and store a value (not empty) by the row's type.
int StoreValue(INIFILE *block, const OPTIONROW &row, CString value, const wchar_t **error) {
    StripValueQuotes(value);
    switch (row.nType) {
    case OPT_CHAR: return StoreChar(block, row, value, error);
    case OPT_INT:
    case OPT_UINT: return StoreNumber(block, row, value, error);
    case OPT_CHOICE: {
        int index = ChoiceIndex(row, value.c_str());
        if (index < 0) return Fail(error, kBadChoice);
        OptionField<int>(block, row) = index;
        return 0;
    }
    case OPT_COLOR: return StoreColor(block, row, value, error);
    case OPT_STRING: SetStringOption(block, row, value.c_str()); return 0;
    case OPT_PATH:
        if (value.empty() || !PathPassesTest(value, row.fPathFlags)) return Fail(error, kBadPath);
        SetStringOption(block, row, value.c_str());
        return 0;
    case OPT_SECRET: SetStringOption(block, row, DecryptString(value.c_str()).c_str()); return 0;
    default: return Fail(error, kBadName);
    }
}

int StoreExtraOption(EXTRAOPTION &extra, CString rest, int fromOption) {
    rest.TrimLeft(L" \t=");
    CString value;
    if (rest.At(0) == L'"') value = TakeValue(rest, L"");
    else value = TakeValue(rest, L";=\t");
    StripValueQuotes(value);
    if (!value.empty() || fromOption) extra.sValue = value;
    return 0;
}

}  // namespace

int IniLine(CString &line, INIFILE *block, int skip, int fromOption, const wchar_t **error) {
    line.TrimLeft(L" \t");
    if (line.At(0) == L'[') {
        CString name = line.Mid(1);
        name.TrimRight(L" \t]");
        name.TrimLeft();
        return -(int)SectionBit(name);
    }
    if (skip) return 0;
    if (line.find(L'%') != CString::npos && aHooks.pfnExpandVariables(line, 0)) return Fail(error, kBadExpansion);
    CString name = line.Left(line.find_first_of(L" ;=\t"));
    CString rest = line.Mid(name.size());
    const OPTIONROW *row = name.empty() ? nullptr : FindOption(name.c_str());
    if (!row) {
        EXTRAOPTION *extra = name.empty() ? nullptr : FindExtraOption(name.c_str());
        return extra ? StoreExtraOption(*extra, rest, fromOption) : Fail(error, kBadName);
    }
    rest.TrimLeft(L" =\t");
    CString value = TakeValue(rest, ValueStops(row->nType));
    if (value.empty()) {
        if (fromOption && IsStringType(row->nType)) SetStringOption(block, *row, nullptr);
        return 0;
    }
    if (row->nType == OPT_INCLUDE) {
        StripValueQuotes(value);
        line = value;
        return INI_INCLUDE;
    }
    return StoreValue(block, *row, value, error);
}

int IniReset(const wchar_t *name, INIFILE *block, const wchar_t **error) {
    if (const OPTIONROW *row = FindOption(name)) {
        ResetOption(block, *row);
        return 0;
    }
    if (EXTRAOPTION *extra = FindExtraOption(name)) {
        extra->sValue.clear();
        return 0;
    }
    return Fail(error, kBadName);
}

namespace {

CString FormatOption(const INIFILE *block, const OPTIONROW &row) {
    switch (row.nType) {
    case OPT_CHAR: {
        wchar_t c = OptionField<wchar_t>(block, row);
        return c > L' ' && c < 0x7F ? CString(1, c) : c >= 0xA0 && c < 0x100 ? CString(1, c) : KeyValueName(c);
    }
    case OPT_INT: return FormatStr(L"%d", OptionField<int>(block, row));
    case OPT_UINT:
    case OPT_COLOR: return FormatStr(L"%u", OptionField<unsigned>(block, row));
    case OPT_CHOICE: return ChoiceName(row, OptionField<int>(block, row));
    case OPT_STRING:
    case OPT_PATH: return CString(OptionField<wchar_t *>(block, row));
    default: return CString();  // secret strings are never shown
    }
}

}  // namespace

int GetOptionValue(const wchar_t *name, CString &value) {
    value.clear();
    if (!name) return ERROR_INVALID_PARAMETER;
    if (const OPTIONROW *row = FindOption(name)) {
        if (row->nType == OPT_INCLUDE) return ERROR_INVALID_PARAMETER;
        value = FormatOption(&aIniFile, *row);
        return 0;
    }
    if (EXTRAOPTION *extra = FindExtraOption(name)) {
        value = extra->sValue;
        return 0;
    }
    return ERROR_INVALID_PARAMETER;
}

int QueryOptionValue(const wchar_t *name, wchar_t *value, int size) {
    CString text;
    int rc = GetOptionValue(name, text);
    if (value && size > 0) {
        int n = text.GetLength() < size ? text.GetLength() : size - 1;
        wmemcpy(value, text.c_str(), n);
        value[n] = L'\0';
    }
    return rc;
}

namespace {

// The program's fixed key.  Each character of a secret is mixed with a key
// character and its position, and written as four hexadecimal digits, so
// that the enciphered text is plain ASCII in any file encoding.
constexpr wchar_t kSecretKey[] = L"Brindle/BDX-RT:Marlo";
constexpr size_t kSecretKeyLength = sizeof(kSecretKey) / sizeof(kSecretKey[0]) - 1;

wchar_t SecretMask(size_t i) {
    return (wchar_t)(kSecretKey[i % kSecretKeyLength] ^ ((i * 0x3A7u + 0x5Cu) & 0xFFFF));
}

int HexValue(wchar_t c) {
    if (c >= L'0' && c <= L'9') return c - L'0';
    if (c >= L'A' && c <= L'F') return c - L'A' + 10;
    if (c >= L'a' && c <= L'f') return c - L'a' + 10;
    return -1;
}

}  // namespace

CString EncryptString(const wchar_t *text) {
    CString out(1, INI_SECRET_MARK);
    for (size_t i = 0; text && text[i]; i++) out.AppendFormat(L"%04X", (unsigned)(wchar_t)(text[i] ^ SecretMask(i)));
    return out;
}

CString DecryptString(const wchar_t *text) {
    if (!text || *text != INI_SECRET_MARK) return CString(text);
    CString digits = text + 1;
    CString out;
    if (digits.size() % 4) return digits;
    for (size_t i = 0; i < digits.size() / 4; i++) {
        unsigned unit = 0;
        for (size_t k = 0; k < 4; k++) {
            int v = HexValue(digits[i * 4 + k]);
            if (v < 0) return digits;  // not ours: taken as it stands
            unit = unit * 16 + (unsigned)v;
        }
        out += (wchar_t)(unit ^ SecretMask(i));
    }
    return out;
}
