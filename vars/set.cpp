// SET, ESET and UNSET: the environment commands.  UNALIAS and UNFUNCTION
// share __Unset with UNSET.
#include <cwchar>
#include <cwctype>
#include "base/args.h"
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "vars/eval.h"
#include "vars/lists.h"
#include "vars/regex.h"

// SET's switch letters, bit 0 upwards.
enum : unsigned {
    SET_A = 0x1, SET_E = 0x2, SET_M = 0x10, SET_P = 0x20, SET_Q = 0x40, SET_R = 0x80, SET_D = 0x100,
    SET_S = 0x200, SET_U = 0x400, SET_V = 0x800, SET_X = 0x1000, SET_O = 0x2000, SET_B = 0x8000,
};
constexpr unsigned kRegistryKeys = SET_D | SET_S | SET_U | SET_V;

// The one route from SET /A to the arithmetic evaluator.
int EvaluateForSet(CString &expression) { return EvaluateExpression(expression); }

namespace {

bool InBatchFile() { return GetTLS()->nBatchFrame >= 0; }

// The patterns of VariableExclude: separated by ";" and blanks, quotes
// stripped.
std::vector<CString> ExcludePatterns(unsigned flags) {
    std::vector<CString> patterns;
    CString text;
    if ((flags & SET_X) || !QueryEnvVar(L"VariableExclude", &text)) return patterns;
    for (size_t at = 0; at < text.size();) {
        size_t end = text.find(L';', at);
        if (end == CString::npos) end = text.size();
        CString one = text.Mid(at, end - at);
        one.Trim(L"; \t");
        StripQuotes_S(one);
        if (!one.empty()) patterns.push_back(one.Left(511));
        at = end + 1;
    }
    return patterns;
}

// List the environment, or the names that match pattern; returns the count.
int ListEnvironment(unsigned flags, PAGER &pager, const CString &pattern) {
    std::vector<CString> exclude = ExcludePatterns(flags);
    CString block = GetEnvironmentBlock();
    int shown = 0;
    for (const wchar_t *entry = block.c_str(); *entry; entry = NextListEntry(entry)) {
        if (*entry == L'=' || *entry == 1) continue;
        CString name = ListEntryName(entry);
        if (!pattern.empty() && !MatchNamePattern(pattern.c_str(), name.c_str())) continue;
        bool hidden = false;
        for (const CString &p : exclude) hidden = hidden || MatchNamePattern(p.c_str(), name.c_str());
        if (hidden) continue;
        shown++;
        if (!PagerLine(pager, entry)) break;
    }
    return shown;
}

// "set name": its value alone, or the variables that match name (with a
// "*" added when it has none).
int ShowVariable(CString name, unsigned flags) {
    CString value;
    if (QueryEnvVar(name.c_str(), &value)) {
        Printf(L"%s\r\n", value.c_str());
        return 0;
    }
    CString pattern = name.find(L'*') == CString::npos ? name + L"*" : name;
    PAGER pager;
    StartPager(pager, false, 0);
    if (!ListEnvironment(flags | SET_X, pager, pattern)) return BDError(ERROR_BD_NOT_IN_ENVIRONMENT, name.c_str());
    return 0;
}

// SET /M: back to the environment the shell started with.
int RestoreMaster(const CString &name) {
    if (!name.empty()) {
        const wchar_t *value = GetVariableList(name.c_str(), sMasterEnvironment.c_str());
        if (!value) return BDError(ERROR_BD_NOT_IN_ENVIRONMENT, name.c_str());
        SetEnvironmentVariableW(name.c_str(), value);
        return 0;
    }
    CString block = GetEnvironmentBlock();
    for (const wchar_t *entry = block.c_str(); *entry; entry = NextListEntry(entry))
        if (*entry != L'=') SetEnvironmentVariableW(ListEntryName(entry).c_str(), nullptr);
    for (const wchar_t *entry = sMasterEnvironment.c_str(); *entry; entry = NextListEntry(entry)) {
        if (*entry == L'=') continue;
        CString entryName = ListEntryName(entry);
        SetEnvironmentVariableW(entryName.c_str(), entry + entryName.size() + 1);
    }
    return 0;
}

// A line of input for SET /P: the console's line reader, or the next line
// of redirected input.
bool ReadAnswerLine(CString &line) {
    line.clear();
    return GetNextLine(StdIn(), line, 0, nullptr, MAX_LINE_CHARS) > 0;
}

// SET /P name=prompt.
int PromptForValue(const CString &text) {
    size_t eq = text.find(L'=');
    CString name = text.Left(eq), prompt = eq == CString::npos ? CString() : text.Mid(eq + 1);
    name.Trim();
    if (name.empty()) return BDError(ERROR_BD_BAD_ENTRY, text.c_str());
    StripEnclosingQuotes_S(prompt);
    QPuts(prompt.c_str());
    CString value;
    if (!ReadAnswerLine(value) || value.empty()) return 0;
    return AddVariableToList((name + L"=" + value).c_str(), nullptr);
}

// SET /B n=value: replace argument n of the running batch file.
int SetBatchArgument(const CString &text) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame) return BDError(ERROR_BD_BATCH_ONLY, L"SET /B");
    size_t eq = text.find(L'=');
    CString number = text.Left(eq).Left(16);
    number.Trim();
    int n = number.empty() || number.find_first_not_of(L"0123456789") != CString::npos ? 0 : _wtoi(number.c_str());
    size_t index = (size_t)n + (size_t)frame->nArgShift;
    if (n < 1 || index >= frame->Argv.size()) return BDError(ERROR_INVALID_PARAMETER, text.c_str());
    frame->Argv[index] = eq == CString::npos ? CString() : text.Mid(eq + 1);
    return 0;
}

// `set "name=value"` (the older interpreter's form): the quote and
// everything behind the last quote go.
void StripQuotedAssignment(CString &text) {
    if (text.At(0) != L'"' || text.find(L'=') == CString::npos) return;
    size_t last = text.rfind(L'"');
    if (last == 0) return;
    text = text.Mid(1, last - 1);
}

int DefineVariable(CString &args, unsigned flags, bool readOnly, const CString &type) {
    StripQuotedAssignment(args);
    if (flags & SET_B) return SetBatchArgument(args);
    if (flags & kRegistryKeys) {
        if (int rc = RegistryEnvironment((flags & kRegistryKeys) | REG_ACTION_SET, args)) return rc;
        if (!(flags & SET_E)) return 0;
    }
    if (int rc = AddVariableToList(args.c_str(), nullptr, type.empty() ? nullptr : type.c_str())) return rc;
    if (readOnly) AddReadOnlyName(args.Left(args.find_first_of(L"= ")).Left(1023).c_str());
    return 0;
}

}  // namespace

// SET /A: comma-separated assignments, each evaluated by evaluate.
int SetArithmetic(CString &args, unsigned flags, int (*evaluate)(CString &)) {
    CString rest = args;
    while (!rest.empty()) {
        int comma = ScanIndex(rest.c_str(), L",", L"\"([");
        if (comma < 0) return 2;
        CString part = rest.Left(comma);
        rest = rest.Mid(comma + 1);
        size_t first = part.find(L'='), last = part.rfind(L'=');
        CString name, expression = last == CString::npos ? part : part.Mid(last + 1);
        if (first != CString::npos) {
            name = part.Left(first);
            if (first != last) rest = part.Mid(first + 1) + (rest.empty() ? CString() : L"," + rest);
        }
        expression.Trim();
        name.Trim();
        size_t op = name.find_first_of(L"+-*/%&^|><\\");
        if (!name.empty() && wcschr(L"+-*/%&^|><\\", name.back()) && op > 0) {
            CString target = name.Left(op);
            target.Trim();
            expression = target + name.Mid(op) + L"(" + expression + L")";
            name = target;
        }
        StripQuotes_S(expression);
        expression.Replace(L"/", L"\\");
        if (aIniFile.CMDVariables && expression.At(0) == L'(') {
            expression.Trim(L"()");
            size_t lastComma = expression.rfind(L',');
            if (lastComma != CString::npos) expression = expression.Mid(lastComma + 1);
        }
        if (int rc = evaluate(expression)) return rc;
        if (!InBatchFile() && !(flags & SET_Q)) Printf(L"%s\r\n", expression.c_str());
        CString assignment = name + L"=" + expression;
        if (flags & kRegistryKeys) {
            if (int rc = RegistryEnvironment((flags & kRegistryKeys) | REG_ACTION_SET, assignment)) return rc;
        }
        if (!name.empty())
            if (int rc = AddVariableToList(assignment.c_str(), nullptr)) return rc;
    }
    return 0;
}

int Set_Command(CString &args) {
    CString digits, type;
    bool paged = GetMultiCharSwitch(args, L"P", &digits, 9, L"0123456789", 0, SW_STOP_AT_ARG | SW_EMPTY_SKIPS);
    bool readOnly = GetStringSwitch(args, L"RO", SW_STOP_AT_ARG, nullptr);
    GetMultiCharSwitch(args, L"T", &type, 0, nullptr, 0, SW_STOP_AT_ARG | SW_EMPTY_SKIPS);
    unsigned flags = 0;
    if (GetSwitches(args, L"AE  MPQRDSUVXO B", &flags, SW_STOP_AT_ARG, nullptr)) return 2;
    args.Trim();
    if (flags & SET_M) return RestoreMaster(args);
    if (flags & SET_R) return ReadListFiles(args, nullptr, -1, flags & SET_O ? (unsigned)LF_ONLY_NEW : 0u, flags & kRegistryKeys);
    if ((flags & SET_P) && !args.empty()) return PromptForValue(args);
    if (flags & SET_A) return SetArithmetic(args, flags, EvaluateForSet);
    if (args.empty()) {
        if (flags & kRegistryKeys) return RegistryEnvironment((flags & kRegistryKeys) | REG_ACTION_LIST, args);
        PAGER pager;
        StartPager(pager, paged || (flags & SET_P), _wtoi(digits.c_str()));
        ListEnvironment(flags, pager, CString());
        return 0;
    }
    CString unquoted = args;
    StripQuotedAssignment(unquoted);
    if (unquoted.find(L'=') == CString::npos) {
        if (flags & kRegistryKeys) return RegistryEnvironment((flags & kRegistryKeys) | REG_ACTION_LIST, args);
        return ShowVariable(unquoted, flags);
    }
    return DefineVariable(args, flags, readOnly, type);
}

// ESET's switch letters.
enum : unsigned {
    ESET_A = 0x1, ESET_F = 0x2, ESET_W = 0x1000, ESET_C = 0x2000, ESET_B = 0x4000, ESET_G = 0x8000, ESET_L = 0x10000,
};

namespace {

// /LL and /GL, then the switches of letters, among which localBit and
// globalBit stand for /LL and /GL as well.  0, or 2 after a bad switch.
int ReadListSwitches(CString &args, const wchar_t *letters, unsigned localBit, unsigned globalBit, unsigned *flags,
                     bool *local, bool *global) {
    *local = GetStringSwitch(args, L"LL", 0, nullptr);
    *global = GetStringSwitch(args, L"GL", 0, nullptr);
    if (GetSwitches(args, letters, flags, 0, nullptr)) return 2;
    *local = *local || (*flags & localBit);
    *global = *global || (*flags & globalBit);
    return 0;
}

// Where an ESET name lives, and its value.
struct EDITTARGET {
    wchar_t **pList;   // null: the environment
    CString sValue;
};

// The alias or function list to search, after /LL and /GL.
const wchar_t *PickValue(int kind, const CString &name, bool local, bool global, wchar_t ***list) {
    NAMEDLIST &lists = aNamedLists[kind];
    if (!global && lists.pLocal)
        if (const wchar_t *value = GetVariableList(name.c_str(), lists.pLocal)) return *list = &lists.pLocal, value;
    if (!local && lists.pGlobal)
        if (const wchar_t *value = GetVariableList(name.c_str(), lists.pGlobal)) return *list = &lists.pGlobal, value;
    return nullptr;
}

int FindEditTarget(const CString &name, unsigned flags, bool local, bool global, EDITTARGET *target) {
    int missing = ERROR_BD_NOT_IN_ENVIRONMENT;
    if (!(flags & (ESET_A | ESET_F))) {
        target->pList = nullptr;
        if (QueryEnvVar(name.c_str(), &target->sValue)) return 0;
    }
    for (int kind = 0; kind < 2; kind++) {
        if (flags & (kind == LIST_ALIASES ? ESET_F : ESET_A)) continue;
        missing = kind == LIST_ALIASES ? ERROR_BD_NOT_ALIAS : ERROR_BD_NOT_FUNCTION;
        wchar_t **list = nullptr;
        if (const wchar_t *value = PickValue(kind, name, local, global, &list)) {
            target->pList = list;
            target->sValue = value;
            return 0;
        }
    }
    if (!(flags & ESET_W)) return missing;
    // /W: a name that does not exist yet starts empty.
    target->sValue.clear();
    target->pList = nullptr;
    if (flags & (ESET_A | ESET_F)) {
        target->pList = DefaultList(flags & ESET_A ? LIST_ALIASES : LIST_FUNCTIONS);
        if (!target->pList) return flags & ESET_A ? ERROR_BD_NO_ALIAS_LIST : ERROR_BD_NO_FUNCTION_LIST;
    }
    return 0;
}

int EditOne(const CString &name, unsigned flags, bool local, bool global) {
    if (flags & kRegistryKeys) {
        CString text = name;
        return RegistryEnvironment((flags & kRegistryKeys) | REG_ACTION_EDIT, text);
    }
    EDITTARGET target{};
    if (int code = FindEditTarget(name, flags, local, global, &target)) return BDError(code, name.c_str());
    if (flags & ESET_C) target.sValue.clear();
    if (int rc = EditValue(name + L"=", target.sValue)) return rc;
    return AddVariableToList((name + L"=" + target.sValue).c_str(), target.pList);
}

int EditBatchArgument(const CString &name) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame) return BDError(ERROR_BD_BATCH_ONLY, L"ESET /B");
    int n = name.find_first_not_of(L"0123456789") == CString::npos ? _wtoi(name.c_str()) : -1;
    size_t index = (size_t)n + (size_t)frame->nArgShift;
    if (n < 1 || index >= frame->Argv.size()) return BDError(ERROR_INVALID_PARAMETER, name.c_str());
    CString value = frame->Argv[index];
    if (int rc = EditValue(name + L"=", value)) return rc;
    frame->Argv[index] = value;
    return 0;
}

}  // namespace

int Eset_Command(CString &args) {
    bool local, global;
    unsigned flags = 0;
    if (ReadListSwitches(args, L"AF      DSUVWCBGL", ESET_L, ESET_G, &flags, &local, &global)) return 2;
    args.Trim();
    if (args.empty()) return BDError(ERROR_INVALID_PARAMETER, L"ESET");
    if (!QueryIsConsole(StdIn())) return BDError(ERROR_BD_NEEDS_CONSOLE, L"ESET");
    int result = 0;
    CString name;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++) {
        int rc = (flags & ESET_B) ? EditBatchArgument(name) : EditOne(name, flags, local, global);
        if (rc) result = rc;
    }
    return result;
}

// UNSET's switch letters.
enum : unsigned {
    UNSET_E = 0x1, UNSET_Q = 0x40, UNSET_R = 0x80, UNSET_G = 0x1000, UNSET_L = 0x2000,
};

namespace {

int MissingCode(int which) {
    return which < 0 ? ERROR_BD_NOT_IN_ENVIRONMENT : which == LIST_ALIASES ? ERROR_BD_NOT_ALIAS : ERROR_BD_NOT_FUNCTION;
}

// The lists an UNALIAS or UNFUNCTION works on: both that exist, unless
// one is picked.
std::vector<wchar_t **> TargetLists(int which, bool local, bool global) {
    std::vector<wchar_t **> lists;
    NAMEDLIST &named = aNamedLists[which];
    if (!global && named.pLocal) lists.push_back(&named.pLocal);
    if (!local && named.pGlobal) lists.push_back(&named.pGlobal);
    return lists;
}

// Remove one name; false when it was not there.
bool RemoveName(const CString &name, int which, const std::vector<wchar_t **> &lists, unsigned flags, int *rc) {
    if (which < 0) {
        if (QueryIsReadOnly(name.c_str())) return true;
        if (flags & kRegistryKeys) {
            CString text = name;
            unsigned quiet = (flags & UNSET_Q) ? (unsigned)REG_QUIET : 0u;
            if (int r = RegistryEnvironment((flags & kRegistryKeys) | REG_ACTION_DELETE | quiet, text)) *rc = r;
            if (!(flags & UNSET_E)) return true;
        }
        if (!QueryEnvVar(name.c_str(), nullptr)) return (flags & kRegistryKeys) != 0;
        if (int r = AddVariableToList((name + L"=").c_str(), nullptr)) *rc = r;
        return true;
    }
    bool found = false;
    for (wchar_t **list : lists) {
        if (!GetVariableList(name.c_str(), *list)) continue;
        found = true;
        if (int r = AddVariableToList((name + L"=").c_str(), list)) *rc = r;
    }
    return found;
}

// Remove every name that matches pattern.
void RemovePattern(const CString &pattern, int which, const std::vector<wchar_t **> &lists, int *rc) {
    std::vector<CString> names;
    CString environment;
    std::vector<const wchar_t *> blocks;
    if (which < 0) {
        environment = GetEnvironmentBlock();
        blocks.push_back(environment.c_str());
    } else {
        for (wchar_t **list : lists) blocks.push_back(*list);
    }
    for (const wchar_t *block : blocks)
        for (const wchar_t *entry = block; *entry; entry = NextListEntry(entry)) {
            if (*entry == L'=' || *entry == 1) continue;
            CString name = ListEntryName(entry);
            if (MatchNamePattern(pattern.c_str(), name.c_str())) names.push_back(name);
        }
    for (const CString &name : names) RemoveName(name, which, lists, 0, rc);
}

// Take the next argument off the front of args: a name, a pattern or a
// parenthesised list of names.
std::vector<CString> NextNames(CString &args) {
    std::vector<CString> names;
    args.TrimLeft();
    CString word;
    if (args.At(0) == L'(') {
        size_t close = args.find(L')');
        CString inside = args.Mid(1, close == CString::npos ? CString::npos : close - 1);
        args = close == CString::npos ? CString() : args.Mid(close + 1);
        for (int i = 0; GetNthArgument(inside.c_str(), i, &word); i++) names.push_back(word);
    } else if (GetNthArgument(args.c_str(), 0 | ARG_NO_SWITCH_SPLIT, &word)) {
        int start = 0;
        GetNthArgument(args.c_str(), 0 | ARG_NO_SWITCH_SPLIT, nullptr, &start);
        args.erase(0, start + word.size());
        names.push_back(word);
    } else {
        args.clear();
    }
    args.TrimLeft();
    return names;
}

}  // namespace

int __Unset(CString &args, int which) {
    bool local, global;
    unsigned flags = 0;
    if (ReadListSwitches(args, L"E     QRDSUVGL", UNSET_L, UNSET_G, &flags, &local, &global)) return 2;
    std::vector<wchar_t **> lists;
    if (which >= 0) {
        lists = TargetLists(which, local, global);
        if (lists.empty())
            return BDError(which == LIST_ALIASES ? ERROR_BD_NO_ALIAS_LIST : ERROR_BD_NO_FUNCTION_LIST, nullptr);
    }
    args.Trim();
    if (flags & UNSET_R) {
        if (which < 0) return ReadListFiles(args, nullptr, -1, LF_NAMES_ONLY, flags & kRegistryKeys);
        int rc = 0;
        for (wchar_t **list : lists) {
            CString names = args;
            if (int r = ReadListFiles(names, list, which, LF_NAMES_ONLY, 0)) rc = r;
        }
        return rc;
    }
    if (args.empty()) return BDError(ERROR_INVALID_PARAMETER, GetTLS()->sCommandName.c_str());
    int rc = 0;
    while (!args.empty()) {
        for (const CString &name : NextNames(args)) {
            if (name.StartsWith(L"::")) {
                // A bad expression is reported once, before the walk.
                if (RegularExpressionMatch(name.Mid(2), CString()) < 0) rc = 2;
                else RemovePattern(name, which, lists, &rc);
            } else if (name.find_first_of(L"*?[") != CString::npos && !(which == LIST_ALIASES && GetAlias(name.c_str(), nullptr))) {
                RemovePattern(name, which, lists, &rc);
            } else if (!RemoveName(name, which, lists, flags, &rc)) {
                rc = (flags & UNSET_Q) ? 2 : BDError(MissingCode(which), name.c_str());
            }
        }
    }
    return rc;
}

int Unset_Command(CString &args) { return __Unset(args, -1); }
