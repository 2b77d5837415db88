// The %~ modifiers of FOR variables and batch arguments: the parts of a
// file name (drive, path, name, extension, full name, short name), its
// attributes, time stamp and size, and the %~$NAME:x search along a path.
#include "base/args.h"
#include "base/format.h"
#include "vars/expand_internal.h"
#include "vars/vars.h"

namespace {

CString Unquoted(const CString &name) {
    CString text = name;
    StripQuotes_S(text);
    return text;
}

CString FullName(const CString &name) {
    if (name.empty()) return name;
    DWORD n = GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    if (!n) return name;
    CString full;
    full.resize(n);
    n = GetFullPathNameW(name.c_str(), n, full.data(), nullptr);
    full.resize(n);
    return n ? full : name;
}

// The short (8.3) form of a full name; the name itself when the file
// system has none.
CString ShortName(const CString &full) {
    DWORD n = GetShortPathNameW(full.c_str(), nullptr, 0);
    if (!n) return full;
    CString shortName;
    shortName.resize(n);
    n = GetShortPathNameW(full.c_str(), shortName.data(), n);
    shortName.resize(n);
    return n ? shortName : full;
}

// The first directory of the list in the variable searchVar that holds
// name, as a full name; empty when none does.
CString SearchAlongPath(const CString &searchVar, const CString &name) {
    CString path;
    if (name.empty() || !EnvironmentValue(searchVar, &path)) return CString();
    for (size_t from = 0; from <= path.size();) {
        size_t end = path.find(L';', from);
        if (end == CString::npos) end = path.size();
        CString dir = Unquoted(path.substr(from, end - from));
        dir.Trim();
        from = end + 1;
        if (dir.empty()) continue;
        if (dir.back() != L'\\' && dir.back() != L'/') dir += L'\\';
        CString candidate = dir + name;
        if (GetFileAttributesW(candidate.c_str()) != INVALID_FILE_ATTRIBUTES) return FullName(candidate);
    }
    return CString();
}

size_t FileNameStart(const CString &full) {
    size_t slash = full.find_last_of(L"\\/");
    if (slash != CString::npos) return slash + 1;
    return full.At(1) == L':' ? 2 : 0;
}

// The directory part without its drive, with its trailing backslash.
CString DirectoryPart(const CString &full) {
    size_t start = full.At(1) == L':' ? 2 : 0;
    size_t end = FileNameStart(full);
    return end > start ? full.substr(start, end - start) : CString();
}

// The extension, from the last "." of the file name part on.
CString ExtensionPart(const CString &full) {
    CString file = full.Mid(FileNameStart(full));
    size_t dot = file.rfind(L'.');
    return dot == CString::npos ? CString() : file.Mid(dot);
}

CString BaseNamePart(const CString &full) {
    CString file = full.Mid(FileNameStart(full));
    return file.Left(file.size() - ExtensionPart(full).size());
}

// Eleven attribute letters, "-" for each one that is off; empty when the
// file cannot be read.
CString AttributeString(const CString &full) {
    DWORD attributes = GetFileAttributesW(full.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return CString();
    struct Letter {
        size_t index;
        wchar_t letter;
        DWORD bit;
    };
    static const Letter letters[] = {{0, L'd', FILE_ATTRIBUTE_DIRECTORY}, {1, L'r', FILE_ATTRIBUTE_READONLY},
                                     {2, L'a', FILE_ATTRIBUTE_ARCHIVE},   {3, L'h', FILE_ATTRIBUTE_HIDDEN},
                                     {4, L's', FILE_ATTRIBUTE_SYSTEM},    {6, L'o', FILE_ATTRIBUTE_OFFLINE},
                                     {10, L'x', 0x20000}};
    CString text = L"-----------";
    for (const Letter &l : letters)
        if (attributes & l.bit) text[l.index] = l.letter;
    return text;
}

CString FileSize(const CString &full) {
    WIN32_FILE_ATTRIBUTE_DATA data;
    if (!GetFileAttributesExW(full.c_str(), GetFileExInfoStandard, &data)) return L"0";
    unsigned long long size = ((unsigned long long)data.nFileSizeHigh << 32) | data.nFileSizeLow;
    return FormatStr(L"%I64u", size);
}

// Date and time in the formats of the date functions, which own them.
int FileStamp(const CString &full, CString *stamp) {
    CString quoted = L"\"" + full + L"\"";
    *stamp = FormatStr(L"%%@filedate[%s] %%@filetime[%s]", quoted.c_str(), quoted.c_str());
    return VariableExpansion(*stamp, 1);
}

}  // namespace

int ApplyModifiers(const CString &givenLetters, const CString &searchVar, const CString &name, CString *value) {
    CString letters = givenLetters, file = name;
    letters.MakeUpper();
    if (!searchVar.empty()) {
        file = SearchAlongPath(searchVar, Unquoted(name));
        if (file.empty()) {
            value->clear();
            return 0;
        }
    }
    if (letters.find(L'S') != CString::npos) {
        file = ShortName(FullName(Unquoted(file)));
        letters.erase(letters.find(L'S'), 1);
    }
    if (letters.find(L'F') != CString::npos) {
        CString kept;
        for (wchar_t c : letters)
            if (c != L'P' && c != L'D') kept += c;
        letters = kept;
    }
    if (letters.empty()) {
        *value = Unquoted(file);
        return 0;
    }
    CString full = FullName(Unquoted(file)), result;
    for (wchar_t c : letters) {
        if ((c == L'A' || c == L'T' || c == L'Z') && !result.empty()) result += L' ';
        switch (c) {
        case L'D': if (full.At(1) == L':') result += full.Left(2); break;
        case L'P': result += DirectoryPart(full); break;
        case L'N': result += BaseNamePart(full); break;
        case L'X': result += ExtensionPart(full); break;
        case L'F': result += full; break;
        case L'A': result += AttributeString(full); break;
        case L'Z': result += FileSize(full); break;
        case L'T': {
            CString stamp;
            if (int rc = FileStamp(full, &stamp)) return rc;
            result += stamp;
            break;
        }
        }
    }
    *value = result;
    return 0;
}
