// Colours of directory entries by the ColorDir rules: "spec: colours"
// separated by ";", taken from the variable COLORDIR, else the option
// ColorDir (or /CD:text for one listing).  A spec is a list of words joined
// by .or., .xor., .and. (evaluated left to right), each perhaps behind
// .not.: a range (/[...]), an attribute name (dirs, hidden, ...), an
// executable type (EXETYPE_WIN32GUI, ...), or a wildcard matched with the
// extension.  The first rule that holds gives the colour.
#include <cwchar>
#include "base/args.h"
#include "base/colors.h"
#include "base/options.h"
#include "base/state.h"
#include "console/screen.h"
#include "files/dir.h"
#include "files/files.h"
#include "files/paths.h"
#include "files/ranges.h"

namespace {

constexpr size_t kMaxSpec = 127;
constexpr size_t kMaxColors = 64;

enum Join { JOIN_OR, JOIN_XOR, JOIN_AND };

struct COLORWORD {
    Join nJoin = JOIN_OR;
    bool fNegate = false;
    CString sText;
    bool fRange = false;
    RANGES aRanges;
    int nAttribute = -1;    // attribute bit of an attribute name, else -1
    int nExeType = 0;       // type of an EXETYPE_ word, else 0
};

struct COLORRULE {
    std::vector<COLORWORD> aWords;
    int nColor = 0;
};

int AttributeOfName(const CString &word) {
    static const struct {
        const wchar_t *name;
        unsigned bit;
    } names[] = {{L"normal", 0},         {L"rdonly", 0x1},   {L"hidden", 0x2},       {L"system", 0x4},
                 {L"dirs", 0x10},        {L"archive", 0x20}, {L"device", 0x40},      {L"temporary", 0x100},
                 {L"sparse", 0x200},     {L"junction", 0x400}, {L"compressed", 0x800}, {L"offline", 0x1000},
                 {L"notindexed", 0x2000}, {L"encrypted", 0x4000}};
    if (word.size() <= 3) return -1;
    for (const auto &n : names)
        if (word.EqualsNoCase(n.name)) return (int)n.bit;
    return -1;
}

// The EXETYPE_ words and the kinds of GetExeType they stand for.
int ExeTypeOfName(const CString &word) {
    constexpr int kDos = 1, kEfi = 11;
    static const struct {
        const wchar_t *name;
        int type;
    } names[] = {{L"EXETYPE_WIN32GUI", EXE_GUI},   {L"EXETYPE_WIN32CUI", EXE_CONSOLE},
                 {L"EXETYPE_WIN64GUI", EXE_GUI64}, {L"EXETYPE_WIN64CUI", EXE_CONSOLE64},
                 {L"EXETYPE_DOS", kDos},           {L"EXETYPE_POSIX", EXE_NATIVE},
                 {L"EXETYPE_EFI", kEfi}};
    for (const auto &n : names)
        if (word.EqualsNoCase(n.name)) return n.type;
    return 0;
}

// The words of a spec.  A range that does not parse drops the rule.
bool ParseSpec(const CString &spec, std::vector<COLORWORD> &words) {
    CString word;
    Join join = JOIN_OR;
    bool negate = false;
    for (int i = 0; GetNthArgument(spec.c_str(), i, &word); i++) {
        if (word.EqualsNoCase(L".not.")) {
            negate = !negate;
            continue;
        }
        if (word.EqualsNoCase(L".or.") || word.EqualsNoCase(L".xor.") || word.EqualsNoCase(L".and.")) {
            join = word.EqualsNoCase(L".or.") ? JOIN_OR : word.EqualsNoCase(L".xor.") ? JOIN_XOR : JOIN_AND;
            continue;
        }
        COLORWORD w;
        w.nJoin = join;
        w.fNegate = negate;
        w.sText = word;
        if (word.At(0) == SwitchCharValue()) {
            CString range = word;
            if (GetRange(range, &w.aRanges, 0)) return false;
            w.fRange = true;
        }
        w.nAttribute = AttributeOfName(word);
        w.nExeType = ExeTypeOfName(word);
        words.push_back(std::move(w));
        join = JOIN_OR;
        negate = false;
    }
    return !words.empty();
}

int BackgroundAtCursor() {
    int normal = 7, inverse = 0;
    GetAttribute(&normal, &inverse);
    return (normal >> 4) & 15;
}

std::vector<COLORRULE> ParseRules(const CString &text) {
    std::vector<COLORRULE> rules;
    for (size_t at = 0; at < text.size();) {
        size_t colon = text.find(L':', at);
        if (colon == CString::npos) break;
        size_t end = text.find(L';', colon);
        if (end == CString::npos) end = text.size();
        CString spec = text.Mid(at, colon - at).Left(kMaxSpec);
        CString colors = text.Mid(colon + 1, end - colon - 1).Left(kMaxColors);
        at = end + 1;
        spec.Trim();
        int foreground, background;
        ParseColors(colors.TrimLeftCopy().c_str(), &foreground, &background);
        if (foreground < 0) continue;
        COLORRULE rule;
        if (!ParseSpec(spec, rule.aWords)) continue;
        rule.nColor = foreground | ((background < 0 ? BackgroundAtCursor() : background) << 4);
        rules.push_back(std::move(rule));
    }
    return rules;
}

// The rules of the text in force, parsed again only when it changes.
const std::vector<COLORRULE> &CurrentRules(const DIRSTATE &st) {
    static thread_local CString parsedText;
    static thread_local std::vector<COLORRULE> rules;
    CString text = st.sColorText;
    if (text.empty()) text = GetEnvVar(L"colordir");
    if (text.empty() && aIniFile.ColorDir) text = aIniFile.ColorDir;
    if (text != parsedText || (text.empty() && !rules.empty())) {
        rules = ParseRules(text);
        parsedText = text;
    }
    return rules;
}

WIN32_FIND_DATAW FindDataOf(const DIRENTRY &e) {
    WIN32_FIND_DATAW data{};
    data.dwFileAttributes = e.fAttributes;
    data.ftLastWriteTime = {(DWORD)e.ftWrite, (DWORD)(e.ftWrite >> 32)};
    data.ftLastAccessTime = {(DWORD)e.ftAccess, (DWORD)(e.ftAccess >> 32)};
    data.ftCreationTime = {(DWORD)e.ftCreation, (DWORD)(e.ftCreation >> 32)};
    data.nFileSizeHigh = (DWORD)(e.nSize >> 32);
    data.nFileSizeLow = (DWORD)e.nSize;
    wcsncpy(data.cFileName, e.sName.c_str(), MAX_PATH - 1);
    return data;
}

bool WordHolds(const COLORWORD &w, const DIRENTRY &e, const CString &dir) {
    if (w.fRange) return QueryInRanges(w.aRanges, FindDataOf(e), dir.c_str());
    if (w.nExeType) return !(e.fAttributes & FILE_ATTRIBUTE_DIRECTORY) && GetExeType((dir + e.sName).c_str()) == w.nExeType;
    if (w.nAttribute == 0 && (e.fAttributes & ~(unsigned)FILE_ATTRIBUTE_NORMAL & 0x7FFF) == 0) return true;
    if (w.nAttribute > 0 && (e.fAttributes & (unsigned)w.nAttribute)) return true;
    CString ext;
    ExtensionPart(e.sName.c_str(), &ext);
    if (!ext.empty() && ext[0] == L'.') ext.erase(0, 1);
    return WildcardComparison(w.sText.c_str(), ext.c_str(), 1, 1) == 0;
}

bool RuleHolds(const COLORRULE &rule, const DIRENTRY &e, const CString &dir) {
    bool value = false;
    for (size_t i = 0; i < rule.aWords.size(); i++) {
        const COLORWORD &w = rule.aWords[i];
        bool holds = WordHolds(w, e, dir) != w.fNegate;
        if (i == 0) value = holds;
        else if (w.nJoin == JOIN_AND) value = value && holds;
        else if (w.nJoin == JOIN_XOR) value = value != holds;
        else value = value || holds;
    }
    return value;
}

}  // namespace

int ColorOfEntry(const DIRSTATE &st, const DIRENTRY &entry, const CString &dir) {
    for (const COLORRULE &rule : CurrentRules(st))
        if (RuleHolds(rule, entry, dir)) return rule.nColor;
    return -1;
}
