// ALIAS, FUNCTION, UNALIAS and UNFUNCTION, and ExpandAliases: the first
// word of a command line replaced by its alias, with the user's arguments
// put where the alias asks for them.
#include <cwchar>
#include <cwctype>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "files/paths.h"
#include "net/net.h"
#include "vars/lists.h"
#include "vars/vars.h"

namespace {

// ALIAS and FUNCTION switch letters.
enum : unsigned {
    LIST_G = 0x4, LIST_L = 0x8, LIST_P = 0x20, LIST_Q = 0x40, LIST_R = 0x80, LIST_O = 0x2000, LIST_Z = 0x4000,
};

int NoListCode(int kind) { return kind == LIST_ALIASES ? ERROR_BD_NO_ALIAS_LIST : ERROR_BD_NO_FUNCTION_LIST; }
int MissingCode(int kind) { return kind == LIST_ALIASES ? ERROR_BD_NOT_ALIAS : ERROR_BD_NOT_FUNCTION; }

// Every entry of the kind: the private list first, then the shared
// entries that it does not hide.
void ListEntries(int kind, const wchar_t *only, PAGER &pager) {
    const NAMEDLIST &lists = aNamedLists[kind];
    const wchar_t *blocks[2] = {lists.pLocal, lists.pGlobal};
    for (int i = 0; i < 2; i++) {
        const wchar_t *block = blocks[i];
        if (!block || (only && block != only)) continue;
        for (const wchar_t *entry = block; *entry; entry = NextListEntry(entry)) {
            if (i == 1 && !only && GetVariableList(ListEntryName(entry).c_str(), lists.pLocal)) continue;
            if (!PagerLine(pager, entry)) return;
        }
    }
}

// A key alias has one form only: defining @x drops @@x and the reverse.
int DropOtherKeyForm(const CString &args, wchar_t **list) {
    CString name = args.Left(args.find_first_of(L"= \t")).Left(1023);
    CString other = name.StartsWith(L"@@") ? name.Mid(1) : L"@" + name;
    if (!GetVariableList(other.c_str(), *list)) return 0;
    return AddVariableToList((other + L"=").c_str(), list);
}

// The list that /LL, /GL (or /L, /G with a definition) pick, else the
// default one.
wchar_t **PickList(int kind, bool local, bool global) {
    NAMEDLIST &lists = aNamedLists[kind];
    if (local) return lists.pLocal ? &lists.pLocal : nullptr;
    if (global) return lists.pGlobal ? &lists.pGlobal : nullptr;
    return DefaultList(kind);
}

int ShowEntry(int kind, const CString &name, bool local, bool global, bool quiet) {
    const NAMEDLIST &lists = aNamedLists[kind];
    const wchar_t *value = nullptr;
    if (!global) value = GetVariableList(name.c_str(), lists.pLocal);
    if (!value && !local) value = GetVariableList(name.c_str(), lists.pGlobal);
    if (!value) return quiet ? 2 : BDError(MissingCode(kind), name.c_str());
    Printf(L"%s\r\n", value);
    return 0;
}

// The work of ALIAS and FUNCTION.
int ListCommand(CString &args, int kind) {
    bool local = GetStringSwitch(args, L"LL", SW_STOP_AT_ARG, nullptr);
    bool global = GetStringSwitch(args, L"GL", SW_STOP_AT_ARG, nullptr);
    unsigned flags = 0;
    if (GetSwitches(args, L"  GL PQR     OZ", &flags, SW_STOP_AT_ARG, nullptr)) return 2;
    args.Trim();
    if (args.empty() && !(flags & LIST_R)) {
        if (flags & LIST_G) return ConvertToGlobalList(kind);
        if (flags & LIST_L) return ConvertToLocalList(kind);
    }
    local = local || (flags & LIST_L);
    global = global || (flags & LIST_G);
    wchar_t **list = PickList(kind, local, global);
    if (flags & LIST_R) {
        if (!list) return BDError(NoListCode(kind), nullptr);
        return ReadListFiles(args, list, kind, flags & (LIST_Z | LIST_O), 0);
    }
    if (args.empty()) {
        if (!aNamedLists[kind].pLocal && !aNamedLists[kind].pGlobal) return BDError(NoListCode(kind), nullptr);
        PAGER pager;
        StartPager(pager, flags & LIST_P, 0);
        ListEntries(kind, local || global ? (list ? *list : L"") : nullptr, pager);
        return 0;
    }
    if (args.find_first_of(L"= \t") == CString::npos) return ShowEntry(kind, args, local, global, flags & LIST_Q);
    if (!list) return BDError(NoListCode(kind), nullptr);
    if (kind == LIST_ALIASES && args[0] == L'@')
        if (int rc = DropOtherKeyForm(args, list)) return rc;
    return AddVariableToList(args.c_str(), list);
}

}  // namespace

int Alias_Command(CString &args) { return ListCommand(args, LIST_ALIASES); }
int Function_Command(CString &args) { return ListCommand(args, LIST_FUNCTIONS); }
int Unalias_Command(CString &args) { return __Unset(args, LIST_ALIASES); }
int Unfunction_Command(CString &args) { return __Unset(args, LIST_FUNCTIONS); }

// Hooks kept for callers that test them; there is nothing to do.
BD_EXPORT int CDAliases(const wchar_t *, CString &) { return 0; }
BD_EXPORT int PromptAliases(const wchar_t *, CString &) { return 0; }

namespace {

constexpr int kMaxExpansions = 17;
constexpr int kAllArguments = 0xFFF;

// Devices are never directory aliases.
bool QueryIsDeviceName(CString name) {
    name.Truncate(name.find(L':'));
    return name.EqualsNoCase(L"CLIP") || QueryIsDevice(name);
}

// The alias name in the first word: it ends at CommandSep, "<", ">", "=",
// "+" or "|".
CString AliasName(const CString &word) {
    CString stops = L"<>=+|";
    stops += CommandSepChar();
    return word.Left(word.find_first_of(stops));
}

// Look the name up, and failing that as a directory alias ("proj:" of
// "proj:\sub").  Cuts name to what matched.
const wchar_t *FindAlias(CString &name, const CString &word) {
    if (const wchar_t *text = GetAlias(name.c_str(), nullptr)) return text;
    if (name.size() < 3) return nullptr;
    size_t colon = name.find(L':', 2);
    if (colon == CString::npos || QueryIsURL(word.c_str()) || QueryIsDeviceName(word)) return nullptr;
    name.Truncate(colon + 1);
    return GetAlias(name.c_str(), nullptr);
}

// The value of one argument form; command is the line's first command,
// whose argument 0 is the alias's name.
CString ArgumentValue(const CString &command, int n, bool minus, bool toEnd, int *maxArg) {
    CString value;
    int start = 0;
    if (!toEnd) {
        GetNthArgument(command.c_str(), n, &value);
        return value;
    }
    if (!minus) {
        if (!GetNthArgument(command.c_str(), n, nullptr, &start)) return value;
        *maxArg = kAllArguments;
        return command.Mid(start);
    }
    // %-n$: from the first argument, as many characters as argument n
    // stands from the start of the line.
    int first = 0;
    if (!GetNthArgument(command.c_str(), 1, nullptr, &first)) return value;
    value = GetNthArgument(command.c_str(), n, nullptr, &start) ? command.Mid(first, start) : command.Mid(first);
    value.TrimRight();
    return value;
}

int CountArguments(const CString &command) {
    int n = 0;
    while (GetNthArgument(command.c_str(), n + 1)) n++;
    return n;
}

// Put the arguments into the alias text (its first command only);
// back-quoted text is left alone.
void SubstituteArguments(CString &text, const CString &command, int *maxArg) {
    wchar_t parameter = ParameterCharValue();
    for (size_t pos = 0;;) {
        int at = ScanIndex(text.c_str() + pos, L"%", L"`");
        if (at < 0) return;
        size_t i = pos + (size_t)at;
        if (i >= text.size()) return;
        wchar_t c = text.At(i + 1);
        if (c == L'#') {
            CString count = FormatStr(L"%d", CountArguments(command));
            text.replace(i, 2, count);
            pos = i + count.size();
            continue;
        }
        bool minus = c == L'-';
        size_t k = i + 1 + (minus ? 1 : 0);
        if (iswdigit(text.At(k)) || text.At(k) == parameter) {
            int n = 1;
            if (text.At(k) != parameter)
                for (n = 0; iswdigit(text.At(k)); k++) n = n * 10 + (text[k] - L'0');
            bool toEnd = text.At(k) == parameter;
            if (toEnd) k++;
            int highest = minus ? n - 1 : n;
            if (highest > *maxArg) *maxArg = highest;
            CString value = ArgumentValue(command, n, minus, toEnd, maxArg);
            text.replace(i, k - i, value);
            pos = i + value.size();
            continue;
        }
        // A variable: its name and a closing "%" are stepped over.
        for (k = i + 1; iswalnum(text.At(k)) || text.At(k) == L'_' || text.At(k) == L'$'; k++) {
        }
        if (text.At(k) == L'%') k++;
        pos = k;
    }
}

// The line behind the alias name, less the arguments the text used.
CString Remainder(const CString &line, size_t nameEnd, int maxArg) {
    CString rest = line.Mid(nameEnd);
    if (!maxArg) return rest;
    int end = ScanIndex(rest.c_str(), nullptr, L"`\"");
    if (end < 0) end = (int)rest.size();
    int start = -1;
    if (maxArg < ARG_INDEX_MASK && GetNthArgument(rest.c_str(), maxArg | ARG_BRACKETS, nullptr, &start) && start < end) {
        if (start > 0 && QueryIsWhiteSpace(rest[start - 1])) start--;
        return rest.Mid(start);
    }
    return rest.Mid(end);
}

// One expansion of the alias at the front of line.  Returns 0 after an
// expansion, 1 when no alias applies, or a result that ends the line.
int ExpandOnce(CString &line, int done) {
    CString word;
    int start = 0;
    if (!GetNthArgument(line.c_str(), 0, &word, &start)) return 2;
    size_t skip = 0;
    for (;;) {
        if (word.At(skip) == L'*') {
            line.erase(start + skip, 1);
            return 1;
        }
        if (!aIniFile.BatchAliases && CurrentFrame() && word.find(L':') == CString::npos) return 1;
        if (word.At(skip) != L'@') break;
        if (++skip >= word.size()) return 1;
    }
    CString name = AliasName(word.Mid(skip));
    const wchar_t *found = FindAlias(name, word.Mid(skip));
    if (!found) return 1;
    if (done >= kMaxExpansions) return BDError(ERROR_BD_ALIAS_LOOP, name.c_str());
    CString text = found;
    int end = ScanIndex(text.c_str(), nullptr, L"`\"");
    if (end < 0) return 2;
    CString tail = text.Mid(end);
    text.Truncate(end);
    size_t nameEnd = start + skip + name.size();
    int commandEnd = ScanIndex(line.c_str(), nullptr, L"`\"");
    if (commandEnd < 0) return 2;
    CString command = line.Left(commandEnd);
    int maxArg = 0;
    SubstituteArguments(text, command, &maxArg);
    line = text + tail + Remainder(line, nameEnd, maxArg);
    return 0;
}

}  // namespace

int ExpandAliases(CString &line) {
    if (ParseFlagsValue() & PF_NO_ALIASES) return 0;
    for (int done = 0;; done++) {
        int rc = ExpandOnce(line, done);
        if (rc == 1) return 0;
        if (rc) return rc;
        // With nested aliases off the first expansion is the last.
        if (ParseFlagsValue() & PF_NO_NESTED_ALIASES) return 0;
    }
}
