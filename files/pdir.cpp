// PDIR's format: each entry is printed through the user's /(...) text, in
// which letters stand for fields (a attributes, c ratio, d date, f name,
// i description, k m r hashes, q owner, s streams, t time, z size), a
// width may stand before a letter, "text" is copied, and @name[...] runs a
// variable function with * standing for the entry's quoted full name.
#include <algorithm>
#include <cwchar>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "console/console.h"
#include "files/dates.h"
#include "files/dir.h"
#include "files/fileinfo.h"
#include "files/paths.h"
#include "files/search.h"
#include "vars/vars.h"

namespace {

constexpr long kMaxWidth = 0x7FFF;

bool IsDir(const DIRENTRY &e) { return (e.fAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

// The letters that follow a field after a colon, up to a blank, a quote
// or the end.
CString FieldLetters(const CString &format, size_t *i) {
    CString letters;
    if (format.At(*i + 1) != L':') return letters;
    *i += 2;
    while (*i < format.size() && format[*i] != L' ' && format[*i] != L'"') letters += format[(*i)++];
    --*i;
    return letters;
}

CString DateField(const DIRENTRY &e, const CString &letters) {
    if (!e.stTime.wYear) return CString(8, L' ');
    if (letters.empty()) return FormatDate(DATE_COUNTRY, e.stTime);
    CString out;
    for (wchar_t c : letters) {
        if (c == L'd') out.AppendFormat(L"%02u", e.stTime.wDay);
        else if (c == L'm') out.AppendFormat(L"%02u", e.stTime.wMonth);
        else if (c == L'y') out.AppendFormat(L"%u", e.stTime.wYear);
        else out += c;
    }
    return out;
}

CString TimeField(const DIRENTRY &e, const CString &letters) {
    wchar_t sep = QueryTimeSeparator().At(0);
    if (!sep) sep = L':';
    if (letters.empty()) return FormatStr(L"%02u%c%02u", e.stTime.wHour, sep, e.stTime.wMinute);
    CString out;
    for (wchar_t c : letters) {
        if (c == L'h') out.AppendFormat(L"%02u", e.stTime.wHour);
        else if (c == L'm') out.AppendFormat(L"%02u", e.stTime.wMinute);
        else if (c == L's') out.AppendFormat(L"%02u", e.stTime.wSecond);
        else if (c == L'd') out.AppendFormat(L"%c%03u", QueryDecimalChar(), e.stTime.wMilliseconds);
        else out += c;
    }
    return out;
}

// z: the size (or the directory's label); letters behind it: a allocated,
// c separators, k K m M g G t T scale.
CString SizeField(const DIRSTATE &st, const DIRENTRY &e, const CString &format, size_t *i) {
    unsigned long long size = e.nSize, divisor = 1;
    bool separators = false;
    for (;;) {
        wchar_t c = format.At(*i + 1);
        if (c == L'a') size = e.nAllocated ? e.nAllocated : e.nSize;
        else if (c == L'c') separators = true;
        else if (c == L'k') divisor = 1000ULL;
        else if (c == L'K') divisor = 1024ULL;
        else if (c == L'm') divisor = 1000000ULL;
        else if (c == L'M') divisor = 1048576ULL;
        else if (c == L'g') divisor = 1000000000ULL;
        else if (c == L'G') divisor = 1073741824ULL;
        else if (c == L't') divisor = 1000000000000ULL;
        else if (c == L'T') divisor = 1099511627776ULL;
        else break;
        ++*i;
    }
    if (IsDir(e)) return FormatStr(L"%15s", LoadLanguageString(3556).c_str());
    (void)st;
    return FormatStr(separators ? L"%15Lq" : L"%15I64u", size / divisor);
}

// f: the long name; fq quoted; f: letters n name, N short name, p long
// path, P short path, q or Q quotes around it all.
CString NameField(const DIRENTRY &e, const CString &dir, const CString &format, size_t *i) {
    bool quote = false;
    if (format.At(*i + 1) == L'q') {
        quote = true;
        ++*i;
        return L"\"" + e.sName + L"\"";
    }
    CString letters = FieldLetters(format, i);
    if (letters.empty()) return e.sName;
    CString out;
    CString shortDir = dir;
    for (wchar_t c : letters) {
        if (c == L'n') out += e.sName;
        else if (c == L'N') out += e.sShortName.empty() ? e.sName : e.sShortName;
        else if (c == L'p') out += WithoutVLFN(dir);
        else if (c == L'P') {
            GetShortName(shortDir);
            out += WithoutVLFN(shortDir);
        } else if (c == L'q' || c == L'Q') quote = true;
    }
    return quote ? L"\"" + out + L"\"" : out;
}

CString HashField(const DIRENTRY &e, const CString &dir, int kind) {
    static const int widths[] = {0, 8, 10, 32};
    if (IsDir(e) || (e.fAttributes & FILE_ATTRIBUTE_REPARSE_POINT)) return CString((size_t)widths[kind], L' ');
    CString digest;
    CString full = dir + e.sName;
    MakeVLFN(full);
    if (_HashFile(full.c_str(), kind, &digest)) return CString((size_t)widths[kind], L'F');
    return digest;
}

// @name[...] with * standing for the entry's full name, quoted, its %
// doubled.  The function's value, or an error code.
int FunctionField(const DIRENTRY &e, const CString &dir, const CString &format, size_t *i, CString *value) {
    size_t open = format.find(L'[', *i);
    if (open == CString::npos) return BDError(ERROR_INVALID_PARAMETER, format.c_str());
    int depth = 0;
    size_t close = open;
    for (; close < format.size(); close++) {
        if (format[close] == L'[') depth++;
        else if (format[close] == L']' && --depth == 0) break;
    }
    if (close >= format.size()) return BDError(ERROR_INVALID_PARAMETER, format.c_str());
    CString full = WithoutVLFN(dir + e.sName);
    full.Replace(L"%", L"%%");
    CString call = L"%" + format.Mid(*i, open + 1 - *i);
    for (size_t k = open + 1; k < close; k++) call += format[k] == L'*' ? L"\"" + full + L"\"" : CString(1, format[k]);
    call += L"]";
    *i = close;
    if (int rc = VariableExpansion(call, 0)) return rc;
    *value = call;
    return 0;
}

// A width in front of a field: "%28[0123456789.-]".
bool ReadWidth(const CString &format, size_t *i, CString *width) {
    width->clear();
    while (*i < format.size() && width->size() < 28 && wcschr(L"0123456789.-", format[*i])) *width += format[(*i)++];
    if (width->empty()) return true;
    long n = wcstol(width->c_str(), nullptr, 10);
    return n >= -kMaxWidth && n <= kMaxWidth;
}

}  // namespace

int FormatPdirEntry(DIRSTATE &st, const DIRENTRY &e, const CString &dir, CString *line) {
    const CString &format = st.sFormat;
    wchar_t escape = EscapeCharValue();
    line->clear();
    for (size_t i = 0; i < format.size(); i++) {
        CString width;
        if (!ReadWidth(format, &i, &width)) return BDError(ERROR_INVALID_PARAMETER, format.c_str());
        if (i >= format.size()) {
            *line += width;
            break;
        }
        wchar_t c = format[i];
        CString field;
        bool isField = true;
        switch (c) {
        case L'a': field = AttributeText(e.fAttributes, true); break;
        case L'c': field = IsDir(e) ? CString(L"   ") : FormatStr(L"%2u%%", (unsigned)e.nRatio); break;
        case L'd': field = DateField(e, FieldLetters(format, &i)); break;
        case L'f': field = NameField(e, dir, format, &i); break;
        case L'i': field = e.sDescription; break;
        case L'k': field = HashField(e, dir, 2); break;
        case L'm': field = HashField(e, dir, 3); break;
        case L'q': field = e.sOwner; break;
        case L'r': field = HashField(e, dir, 1); break;
        case L's': field = e.sStreams; break;
        case L't': field = TimeField(e, FieldLetters(format, &i)); break;
        case L'z': field = SizeField(st, e, format, &i); break;
        case L'@':
            // The expansion has reported its own failure.
            if (int rc = FunctionField(e, dir, format, &i, &field)) return rc;
            break;
        case L'"': {
            size_t end = i + 1;
            for (; end < format.size() && format[end] != L'"'; end++) {
                if (format[end] == escape && end + 1 < format.size()) field += EscapedCharacter(format[++end]);
                else field += format[end];
            }
            i = end;
            break;
        }
        default:
            isField = false;
            *line += width;
            if (c == escape && i + 1 < format.size()) c = EscapedCharacter(format[++i]);
            *line += c;
        }
        if (isField) *line += width.empty() ? field : FormatStr((L"%" + width + L"s").c_str(), field.c_str());
        tty_yield(0);
    }
    return 0;
}
