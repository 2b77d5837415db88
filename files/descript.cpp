// Reading file descriptions from a directory's description file.
#include "files/descript.h"
#include "base/options.h"
#include "files/paths.h"
#include "vars/func_internal.h"
#include <vector>

namespace {

constexpr size_t kDescriptionRead = 2047;  // characters read back
constexpr wchar_t kExtensionMark = 0x04;   // another program's data follows

// The name at the front of a description line, and where its text begins.
CString LineName(const CString &line, size_t *textAt) {
    size_t end;
    CString name;
    if (line.At(0) == L'"') {
        end = line.find(L'"', 1);
        if (end == CString::npos) end = line.size();
        name = line.substr(1, end - 1);
        end++;
    } else {
        end = line.find_first_of(L" ,\t");
        if (end == CString::npos) end = line.size();
        name = line.Left(end);
        // A trailing dot of an unquoted name is not part of it.
        if (name.size() > 1 && name[0] != L'.' && name.back() == L'.') name.pop_back();
    }
    while (end < line.size() && (line[end] == L' ' || line[end] == L'\t' || line[end] == L',')) end++;
    *textAt = end;
    return name;
}

}  // namespace

CString QueryDescriptionName() {
    return aIniFile.DescriptionName && *aIniFile.DescriptionName ? CString(aIniFile.DescriptionName)
                                                                  : CString(L"DESCRIPT.ION");
}

int ReadDescriptions(const wchar_t *file, CString &text) {
    text.Empty();
    if (!aIniFile.Descriptions) return 0;
    CString list;
    InsertPathInFilename(list, QueryDescriptionName().c_str(), file);
    const wchar_t *name = FilenamePart(file);
    std::vector<CString> lines;
    if (int rc = ReadTextLines(list.c_str(), &lines))
        return rc == ERROR_FILE_NOT_FOUND || rc == ERROR_PATH_NOT_FOUND ? 0 : rc;
    for (const CString &line : lines) {
        size_t at;
        if (StrICmp(LineName(line, &at).c_str(), name) != 0) continue;
        text = line.substr(at, kDescriptionRead);
        size_t mark = text.find(kExtensionMark);
        if (mark != CString::npos) text.Truncate(mark);
        text.TrimRight(L" \t");
        return 0;
    }
    return 0;
}
