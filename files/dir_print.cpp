// DIR's layouts: full names, bare names, wide columns, the two- and
// four-column forms, and the long form with its fields; the headers and
// totals around them; and the writer that sends lines to a console (with
// colours and page pauses) or to a file or pipe through a buffer.
#include <cwchar>
#include "base/breaks.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "console/console.h"
#include "console/screen.h"
#include "files/dates.h"
#include "files/dir.h"
#include "files/paths.h"
#include "files/ranges.h"
#include "files/search.h"

namespace {

enum : int {
    IDS_DIR_LABEL = 3556, IDS_JUNCTION_LABEL = 3559, IDS_FILE_LINK_LABEL = 3560, IDS_DIR_LINK_LABEL = 3561,
    IDS_VOLUME_LABEL = 3562, IDS_VOLUME_NO_LABEL = 3563, IDS_VOLUME_SERIAL = 3564, IDS_DIRECTORY_OF = 3565,
    IDS_DIR_TOTALS = 3566, IDS_DIR_ALLOCATED = 3567, IDS_DIR_FREE = 3568, IDS_DIR_TOTAL_FOR = 3569,
};

constexpr size_t kFlushAt = 32768;
constexpr int kWrapColumn = 50;

bool Has(const DIRSTATE &st, unsigned bit) { return (st.fFlags & bit) == bit; }
bool Has2(const DIRSTATE &st, unsigned bit) { return (st.fFlags2 & bit) != 0; }

bool IsDir(const DIRENTRY &e) { return (e.fAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0; }

// Append cells blanks, so that text fills width cells.
void PadTo(CString &text, int width, int used) {
    if (used < width) text.append((size_t)(width - used), L' ');
}

// The label that stands in the size column of a directory or a link.
CString SizeLabel(const DIRENTRY &e) {
    bool link = e.fAttributes & FILE_ATTRIBUTE_REPARSE_POINT;
    if (link && IsDir(e)) return LoadLanguageString((e.fAttributes & ATTR_SYMBOLIC_LINK) ? IDS_DIR_LINK_LABEL : IDS_JUNCTION_LABEL);
    if (link) return LoadLanguageString(IDS_FILE_LINK_LABEL);
    return LoadLanguageString(IDS_DIR_LABEL);
}

bool HasLabel(const DIRENTRY &e) {
    return IsDir(e) || ((e.fAttributes & FILE_ATTRIBUTE_REPARSE_POINT) && (e.fAttributes & ATTR_SYMBOLIC_LINK));
}

// Time of day: "hh:mm" and a blank on a 24-hour clock, " h:mma" on a
// 12-hour one (option AmPm, or the locale's under Auto).
CString TimeText(const SYSTEMTIME &t) {
    bool twelve = aIniFile.AmPm == 1;
    if (aIniFile.AmPm == 0) {
        wchar_t form[4] = {};
        twelve = GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_ITIME, form, 4) > 0 && form[0] == L'0';
    }
    wchar_t sep = QueryTimeSeparator().At(0);
    if (!sep) sep = L':';
    if (!twelve) return FormatStr(L"%02u%c%02u ", t.wHour, sep, t.wMinute);
    unsigned hour = t.wHour % 12 ? t.wHour % 12 : 12;
    return FormatStr(L"%2u%c%02u%c", hour, sep, t.wMinute, t.wHour < 12 ? L'a' : L'p');
}

}  // namespace

// The short size of /4: K below a megabyte, tenths of M below ten, then
// the first of K, M, G that stays below 1000.
CString ShortSize(unsigned long long n) {
    if (n < 0x100000) return FormatStr(L"%4luK", (unsigned long)((n + 0x3FF) >> 10));
    if (n < 0xA00000) {
        // Tenths of a megabyte, cut (not rounded) so that 1.95M stays 1.9M;
        // the divisor is a tenth of 2^20, rounded down, so that 1.5M is 1.5M.
        unsigned long tenths = (unsigned long)((n & 0xFFFFF) / 0x19999);
        return FormatStr(L" %lu.%luM", (unsigned long)(n >> 20), tenths > 9 ? 9UL : tenths);
    }
    static const wchar_t units[] = L"KMGTP";
    unsigned long long v = (n + 0x3FF) >> 10;
    int unit = 0;
    while (v >= 1000 && units[unit + 1]) {
        v = (v + 0x3FF) >> 10;
        unit++;
    }
    return FormatStr(L"%4lu%c", (unsigned long)v, units[unit]);
}

namespace {

CString JustifiedName(const DIRSTATE &st, const DIRENTRY &e);

// A size that fits nine places: with separators while it does, else in
// the short form of /4.
CString ShortNumber(const DIRSTATE &st, unsigned long long n) {
    CString text = DirNumber(st, n);
    return text.size() <= 9 ? text : ShortSize(n);
}

// The name as a layout shows it: name and extension apart under /J, cut
// to the width of /NM:n.
CString ShownName(const DIRSTATE &st, const DIRENTRY &e) {
    CString name = JustifiedName(st, e);
    if (st.nNameWidth > 0 && TextWidth(name) > st.nNameWidth) name = name.Left((size_t)st.nNameWidth);
    return name;
}

CString JustifiedName(const DIRSTATE &st, const DIRENTRY &e) {
    if (Has(st, DIR_JUSTIFY) && !QueryIsDotName(e.sName.c_str())) {
        const wchar_t *dot = IsDir(e) ? nullptr : wcsrchr(e.sName.c_str(), L'.');
        if (dot && dot != e.sName.c_str()) {
            CString stem(e.sName.c_str(), dot - e.sName.c_str());
            CString text = stem;
            PadTo(text, 8, TextWidth(stem));
            return text + L" " + CString(dot + 1);
        }
    }
    return e.sName;
}

// Cut a long line at a blank right of column 50 (else at the last
// column); the rest goes on below behind an indent.
void WrapLine(const DIRSTATE &st, CString line, int indent, std::vector<CString> &out) {
    int width = st.nScreenWidth;
    while (!Has(st, DIR_NO_WRAP) && TextWidth(line) > width && width > kWrapColumn + 1) {
        int cut = width - 1;
        while (cut > kWrapColumn && line[cut] != L' ' && line[cut] != L'\t') cut--;
        if (cut <= kWrapColumn) cut = width - 1;
        out.push_back(line.Left(cut));
        CString rest = line.Mid(cut);
        rest.TrimLeft();
        line = CString((size_t)indent, L' ') + rest;
    }
    out.push_back(line);
}

// The fields of the long layout in front of the name.
CString LongFields(const DIRSTATE &st, const DIRENTRY &e) {
    CString line;
    if (Has(st, DIR_SFN_LEFT)) {
        line = e.sShortName.empty() ? e.sName : e.sShortName;
        PadTo(line, 13, TextWidth(line));
    }
    line += FormatDate(DATE_COUNTRY, e.stTime) + L"  " + TimeText(e.stTime);
    bool noSize = HasLabel(e) && Has2(st, DIR2_NO_DIR_SIZE);
    if (noSize) line += CString(15, L' ');
    else if (HasLabel(e)) line += FormatStr(L"%15s", SizeLabel(e).c_str());
    else line += FormatStr(L"%15s", DirNumber(st, e.nSize).c_str());
    if (Has(st, DIR_ATTRIBUTES)) line += L" " + AttributeText(e.fAttributes, false);
    if (Has(st, DIR_RATIO)) line += IsDir(e) ? CString(L"     ") : FormatStr(L"  %2u%%", (unsigned)e.nRatio);
    if (Has(st, DIR_ALLOCATED))
        line += IsDir(e) ? CString(16, L' ') : FormatStr(L" (%13s)", DirNumber(st, e.nAllocated).c_str());
    if (Has(st, DIR_OWNER)) {
        line += L" " + e.sOwner;
        PadTo(line, TextWidth(line) + 23 - TextWidth(e.sOwner), TextWidth(line));
    }
    if (Has(st, DIR_SHOW_SFN)) {
        line += L" " + e.sShortName;
        PadTo(line, TextWidth(line) + 12 - TextWidth(e.sShortName), TextWidth(line));
    }
    return line + L"  ";
}

void PrintLong(DIRSTATE &st, const DIRENTRY &e) {
    CString line = LongFields(st, e);
    int indent = TextWidth(line);
    line += Has(st, DIR_SFN_LEFT) ? e.sName : ShownName(st, e);
    if (!e.sLinkTarget.empty()) line += L" [" + e.sLinkTarget + L"]";
    std::vector<CString> lines;
    if (!e.sDescription.empty()) {
        line += L"  " + e.sDescription;
        WrapLine(st, line, indent, lines);
    } else {
        lines.push_back(line);
    }
    for (const CString &l : lines) DirWrite(st, l, e.nColor);
    if (!e.sStreams.empty()) {
        for (size_t at = 0; at <= e.sStreams.size();) {
            size_t end = e.sStreams.find(L"\r\n", at);
            if (end == CString::npos) end = e.sStreams.size();
            DirWrite(st, CString((size_t)indent, L' ') + e.sStreams.substr(at, end - at), e.nColor);
            at = end + 2;
        }
    }
}

// One cell of a multi-column layout, filled to width.
CString ColumnCell(const DIRSTATE &st, const DIRENTRY &e, int width) {
    CString name = ShownName(st, e);
    CString cell;
    if (Has(st, DIR_WIDE)) {
        cell = IsDir(e) ? L"[" + name + L"]" : name;
    } else if (st.nColumns == 4) {
        CString size = IsDir(e) ? CString(L"  <D>") : ShortSize(e.nSize);
        int room = width - 7;
        cell = name;
        if (TextWidth(cell) > room) cell = cell.Left((size_t)(room > 1 ? room : 1));
        PadTo(cell, room, TextWidth(cell));
        cell += L" " + size;
    } else {
        // Name, size (or label), date and time; two blanks between columns.
        CString size = HasLabel(e) ? SizeLabel(e) : ShortNumber(st, e.nSize);
        CString time = TimeText(e.stTime);
        time.TrimRight();
        CString tail = FormatStr(L" %9s %s %s", size.c_str(), FormatDate(DATE_COUNTRY, e.stTime).c_str(), time.c_str());
        int room = width - TextWidth(tail) - 2;
        cell = name;
        if (TextWidth(cell) > room) cell = cell.Left((size_t)(room > 1 ? room : 1));
        PadTo(cell, room, TextWidth(cell));
        cell += tail;
    }
    PadTo(cell, width, TextWidth(cell));
    return cell;
}

void PrintColumns(DIRSTATE &st, const std::vector<DIRENTRY> &entries) {
    int columns = st.nColumns, width;
    if (Has(st, DIR_WIDE)) {
        // At least 16 cells a column, wider when a name needs it.
        width = 16;
        for (const DIRENTRY &e : entries) {
            int w = TextWidth(ShownName(st, e)) + (IsDir(e) ? 2 : 0) + 2;
            if (w > width) width = w;
        }
        columns = st.nScreenWidth / width;
    } else {
        width = st.nScreenWidth / columns;
    }
    if (columns < 1) columns = 1;
    size_t n = entries.size(), rows = (n + columns - 1) / columns;
    for (size_t row = 0; row < rows; row++) {
        for (int col = 0; col < columns; col++) {
            size_t i = Has(st, DIR_DOWN) ? col * rows + row : row * columns + col;
            if (i >= n) break;
            CString cell = ColumnCell(st, entries[i], width);
            size_t next = Has(st, DIR_DOWN) ? i + rows : i + 1;
            if (col == columns - 1 || next >= n) cell.TrimRight();
            DirWrite(st, cell, entries[i].nColor, false);
        }
        DirWrite(st, CString());
    }
}

// A directory as headers and totals name it: no long-path prefix, no
// separator at the end but that of a root.
CString ShownDirectory(const CString &dir) {
    CString shown = WithoutVLFN(dir);
    if (shown.size() > 3 && (shown.back() == L'\\' || shown.back() == L'/')) shown.pop_back();
    return shown;
}

// Out of the buffer into the handle.
void FlushBuffer(DIROUTPUT &out) {
    if (out.sBuffer.empty()) return;
    wwriteXP(out.hOut, out.sBuffer.c_str(), out.sBuffer.GetLength());
    out.sBuffer.clear();
}

}  // namespace

int TextWidth(const CString &text) {
    static unsigned codePage = OutputCodePage();
    int width = 0;
    for (wchar_t c : text) width += IS_LOW_SURROGATE(c) ? 0 : CellWidth(c, codePage);
    return width;
}

CString DirNumber(const DIRSTATE &st, unsigned long long n) {
    return FormatStr(Has2(st, DIR2_NO_SEPARATORS) ? L"%I64u" : L"%Lq", n);
}

void DirWrite(DIRSTATE &st, const CString &text, int color, bool endLine) {
    DIROUTPUT &out = st.aOut;
    if (!out.fConsole) {
        out.sBuffer += text;
        if (endLine) out.sBuffer += L"\r\n";
        if (out.sBuffer.size() >= kFlushAt) {
            CheckBreak();
            FlushBuffer(out);
        }
        return;
    }
    CheckBreak();
    if (color >= 0) ColorPrintf(color, L"%s", text.c_str());
    else wwriteXP(out.hOut, text.c_str(), text.GetLength());
    if (endLine) {
        CrLf();
        PagePause();
    }
}

void DirFlush(DIRSTATE &st) { FlushBuffer(st.aOut); }

void PrintEntries(DIRSTATE &st, std::vector<DIRENTRY> &entries, const CString &dir) {
    if (st.fPdir) {
        for (const DIRENTRY &e : entries) {
            CString line;
            if (FormatPdirEntry(st, e, dir, &line) == 0) DirWrite(st, line, e.nColor);
            else st.nErrors++;
        }
        return;
    }
    bool bare = Has(st, DIR_BARE_NAMES), full = Has(st, DIR_FULL_NAMES);
    if (bare || full) {
        bool withPath = full || (Has(st, DIR_SUBDIRS) && !Has2(st, DIR2_AS_TYPED));
        CString shownDir = WithoutVLFN(dir);
        for (const DIRENTRY &e : entries) {
            if (QueryIsDotName(e.sName.c_str())) continue;
            DirWrite(st, withPath ? CString(shownDir + e.sName) : e.sName, e.nColor);
        }
        return;
    }
    if (Has(st, DIR_WIDE) || st.nColumns > 1) {
        PrintColumns(st, entries);
        return;
    }
    for (const DIRENTRY &e : entries) PrintLong(st, e);
}

void PrintVolumeHeader(DIRSTATE &st, const CString &dir) {
    if (Has2(st, DIR2_NO_LABEL)) return;
    CString root(dir.size() + 2, L'\0');
    CString full = dir;
    if (!GetVolumePathNameW(full.c_str(), root.data(), (DWORD)root.size())) return;
    root.resize(wcslen(root.c_str()));
    CString label;
    DWORD serial = 0;
    if (!QueryVolumeOf(root, &label, &serial, nullptr, nullptr)) return;
    CString drive = WithoutVLFN(root);
    if (drive.size() == 3 && drive[1] == L':') drive.Truncate(1);
    else if (!drive.empty() && drive.back() == L'\\') drive.pop_back();
    if (!label.empty()) DirWrite(st, L" " + FormatStr(LoadLanguageString(IDS_VOLUME_LABEL), drive.c_str(), label.c_str()));
    else DirWrite(st, L" " + FormatStr(LoadLanguageString(IDS_VOLUME_NO_LABEL), drive.c_str()));
    DirWrite(st, L" " + FormatStr(LoadLanguageString(IDS_VOLUME_SERIAL), serial >> 16, serial & 0xFFFF));
}

void PrintDirectoryHeader(DIRSTATE &st, const CString &dir) {
    CString shown = ShownDirectory(dir);
    DirWrite(st, CString());
    DirWrite(st, L" " + FormatStr(LoadLanguageString(IDS_DIRECTORY_OF), shown.c_str()));
    DirWrite(st, CString());
}

void PrintTotals(DIRSTATE &st, const DIRTOTALS &totals, const CString &dir, bool grand) {
    if (grand) {
        DirWrite(st, CString());
        DirWrite(st, L" " + FormatStr(LoadLanguageString(IDS_DIR_TOTAL_FOR), ShownDirectory(dir).c_str()));
    }
    CString line = FormatStr(LoadLanguageString(IDS_DIR_TOTALS), FormatStr(L"%15s", DirNumber(st, totals.nBytes).c_str()).c_str(),
                             DirNumber(st, totals.nFiles).c_str(), DirNumber(st, totals.nDirs).c_str());
    if (!grand && !dir.empty()) line += L"  " + ShownDirectory(dir);
    DirWrite(st, line);
    if (Has(st, DIR_ALLOCATED))
        DirWrite(st, FormatStr(LoadLanguageString(IDS_DIR_ALLOCATED),
                               FormatStr(L"%15s", DirNumber(st, totals.nAllocated).c_str()).c_str()));
}

void PrintFreeSpace(DIRSTATE &st, const CString &dir) {
    ULARGE_INTEGER available{};
    UINT old = SetErrorMode(SEM_FAILCRITICALERRORS);
    BOOL ok = GetDiskFreeSpaceExW(dir.empty() ? nullptr : dir.c_str(), &available, nullptr, nullptr);
    SetErrorMode(old);
    if (!ok) return;
    DirWrite(st, FormatStr(LoadLanguageString(IDS_DIR_FREE), FormatStr(L"%15s", DirNumber(st, available.QuadPart).c_str()).c_str()));
}
