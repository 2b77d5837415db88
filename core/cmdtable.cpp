// The internal command table: lookup, enable state, flags, the ? command
// and the /? usage texts.
#include "core/cmdtable.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/nametable.h"
#include "base/state.h"
#include "console/console.h"
#include "console/screen.h"
#include "files/files.h"
#include "files/paths.h"
#include "net/net.h"
#include <cwchar>

BUILTIN aInternalCommands[] = {
#define BD_COMMAND(name, handler, flags, hint) {name, handler, flags, 1, hint},
#include "core/commands.def"
#undef BD_COMMAND
};

namespace {

constexpr const wchar_t *kNames[] = {
#define BD_COMMAND(name, handler, flags, hint) name,
#include "core/commands.def"
#undef BD_COMMAND
};

static_assert(sizeof(kNames) / sizeof(kNames[0]) == 248, "the command table has 248 rows");
static_assert(IsSortedNames(kNames), "the command table must be sorted by name, without case");

constexpr int kMaxName = 15;

// Does the name carry an extension that makes it a program?
bool HasExecutableExtension(const CString &text) {
    size_t dot = text.find_last_of(L".\\/:");
    return dot != CString::npos && text[dot] == L'.' && QueryIsExecutableExtension(text.Mid(dot));
}

// Read the command name at the front of the line.
CString ReadCommandName(const wchar_t *line) {
    // A colon ends the name, except in "c:dir", where it belongs to the word.
    bool drive = line[0] && line[1] == L':';
    return LeadingWord(line, drive ? L" \t;,.\"`\\+=<>|])" : L" \t;,.\"`\\+=<>|]):", kMaxName);
}

int BinarySearch(const CString &name) { return FindSortedName(aInternalCommands, QueryNumberOfCommands(), name.c_str()); }

}  // namespace

int QueryNumberOfCommands() { return (int)(sizeof(aInternalCommands) / sizeof(aInternalCommands[0])); }

int FindInternalCommand(const wchar_t *line, bool evenIfDisabled, BUILTIN **row) {
    if (row) *row = nullptr;
    if (!line || QueryIsURL(line)) return -1;
    CString text(line);
    if (!*scan(line, L"; ", L"\"[") && HasExecutableExtension(text) && QueryIsFile(text)) return -1;
    CString name = ReadCommandName(line);
    if (name.GetLength() > 4 && name.StartsWithNoCase(L"ECHO") && wcschr(L"([]", name[4]))
        name.Truncate(4);
    if (name.empty()) return -1;
    int index = BinarySearch(name);
    if (index < 0) return -1;
    const wchar_t *behind = SkipWhiteSpace(line) + name.GetLength();
    unsigned flags = aInternalCommands[index].fFlags;
    if (*behind == L'\\' && !(flags & CF_BACKSLASH_OK)) return -1;
    if (*behind == L'.' && !(flags & CF_DOT_OK)) return -1;
    if (!evenIfDisabled && !aInternalCommands[index].fEnabled) return -1;
    if (row) *row = &aInternalCommands[index];
    return index;
}

int QueryIsCommandEnabled(const wchar_t *name) {
    BUILTIN *row;
    if (!name || FindInternalCommand(name, true, &row) < 0) return 0;
    return row->fEnabled;
}

int EnableInternalCommand(const wchar_t *name) {
    if (!name) return SetInternalCommands(1);
    BUILTIN *row;
    if (FindInternalCommand(name, true, &row) < 0) return 2;
    row->fEnabled = 1;
    return 0;
}

int DisableInternalCommand(const wchar_t *name) {
    BUILTIN *row;
    if (name && FindInternalCommand(name, true, &row) >= 0) row->fEnabled = 0;
    return 0;
}

int SetInternalCommands(int all) {
    for (int i = 0; i < QueryNumberOfCommands(); i++)
        aInternalCommands[i].fEnabled = all ? 1 : (aInternalCommands[i].fFlags & CF_CMD_SUBSET) != 0;
    return 0;
}

unsigned QueryInternalCommandFlags(const wchar_t *name) {
    BUILTIN *row;
    return name && FindInternalCommand(name, true, &row) >= 0 ? row->fFlags : 0;
}

int SetInternalCommandFlags(const wchar_t *name, unsigned flags) {
    BUILTIN *row;
    if (!name || FindInternalCommand(name, true, &row) < 0) return 2;
    row->fFlags = flags;
    return 0;
}

// ? [/P[n]]: the enabled commands in columns; /P pauses at each page, n
// seconds at most.
int Cmds_Command(CString &args) {
    CString seconds;
    bool paged = GetMultiCharSwitch(args, L"P", &seconds, 0, L"0123456789", 0, 0) != 0;
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    StartPaging(paged, seconds.empty() ? 0 : _wtoi(seconds.c_str()));
    int width = QueryIsConsole(StdOut()) ? GetScrCols() : 80;
    int columns = width / 16;
    if (columns < 1) columns = 1;
    // A row that fills the console's width exactly has already wrapped.
    bool wraps = columns * 16 == width && QueryIsConsole(StdOut());
    int column = 0;
    for (int i = 0; i < QueryNumberOfCommands(); i++) {
        if (!aInternalCommands[i].fEnabled) continue;
        Printf(L"%-16s", aInternalCommands[i].pszName);
        if (++column == columns) {
            if (!wraps) CrLf();
            PagePause();
            column = 0;
        }
    }
    if (column) CrLf();
    return 0;
}

int NTInternalHelp(const wchar_t *name) {
    for (int id = IDS_USAGE_FIRST;; id++) {
        CString text = LoadLanguageString(id);
        if (text.empty()) break;
        size_t first = text.find(L'\n');
        if (first == CString::npos || first > (size_t)kMaxName) continue;
        if (!text.Left(first).EqualsNoCase(name)) continue;
        size_t second = text.find(L'\n', first + 1);
        CString description = text.Mid(first + 1, second == CString::npos ? CString::npos : second - first - 1);
        CString syntax = second == CString::npos ? CString() : text.Mid(second + 1);
        syntax.Replace(L"\n", L"\r\n");
        Printf(L"%s\r\n\r\n%s %s\r\n", description.c_str(), aInternalCommands[BinarySearch(name)].pszName,
               syntax.c_str());
        return 0;
    }
    return CommandNotAvailable();
}

int CommandNotAvailable() { return BDError(ERROR_BD_NOT_AVAILABLE, GetTLS()->sCommandName.c_str()); }

#define BD_PENDING(handler) \
    int handler(CString &) { return CommandNotAvailable(); }
#include "core/pending.def"
#undef BD_PENDING
