// VariableFunction: every %@name[...] of a command line arrives here and goes
// on to a user-defined function, a plug-in or a built-in function, in that
// order.  The built-ins form one sorted table generated from functions.def;
// a row's position is its case number, and the jump to its handler is a
// switch on that number.
#include <new>
#include "vars/functions.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/nametable.h"
#include "base/state.h"
#include "vars/func_internal.h"
#include "vars/lists.h"

namespace {

struct FUNCROW {
    const wchar_t *pszName;
    int nFamily;
};

constexpr FUNCROW aFunctions[] = {
#define BD_FUNCTION(name, family, handler) {L"" #name, FF_##family},
#include "vars/functions.def"
#undef BD_FUNCTION
};
constexpr int nFunctions = (int)(sizeof(aFunctions) / sizeof(aFunctions[0]));

constexpr bool TableIsSorted() {
    for (int i = 1; i < nFunctions; i++)
        if (CompareLower(aFunctions[i - 1].pszName, aFunctions[i].pszName) >= 0) return false;
    return true;
}

// The table holds lower-case letters and digits only, which makes the
// system's case-insensitive compare agree with the order checked above.
constexpr bool NamesAreLowerCase() {
    for (const FUNCROW &row : aFunctions)
        for (const wchar_t *p = row.pszName; *p; p++)
            if (!((*p >= L'a' && *p <= L'z') || (*p >= L'0' && *p <= L'9'))) return false;
    return true;
}

static_assert(nFunctions == 391, "the function table has 391 rows");
static_assert(nFunctions == FC_COUNT, "case numbers and rows agree");
static_assert(TableIsSorted(), "the function table must be sorted by name, without case");
static_assert(NamesAreLowerCase(), "function names are stored in lower case");

// Where the plug-in engine takes its calls; while no plug-in is loaded no
// name is claimed.
constexpr int kNoPluginTook = (int)0xFEDCBA98;

int RunFunctionPlugin(CString &name, CString &args) { return kNoPluginTook; }

int RunCase(FUNCCALL &call) {
    switch (call.nCase) {
#define BD_FUNCTION(name, family, handler) \
    case FC_##name: return handler(call);
#include "vars/functions.def"
#undef BD_FUNCTION
    }
    return 1;
}

// The drive of the first argument: a UNC name stands for itself, "x:..."
// gives "x:", anything else the current drive.
CString DriveOf(const CString &firstArg) {
    if (firstArg.StartsWith(L"\\\\") || firstArg.StartsWith(L"\"\\\\")) return firstArg;
    if (firstArg.At(1) == L':') return firstArg.Left(2);
    CString dir = CurrentDirectory();
    return FormatStr(L"%c:", dir.At(0) ? dir[0] : L'C');
}

// A row for the name; the registry functions also answer with "_64" or
// "_32" behind their name, which picks the registry view.
int FindRow(const CString &bare) {
    int index = FindFunctionCase(bare.c_str());
    if (index >= 0) return index;
    if (bare.size() > 3 && (bare.ends_with(L"_64") || bare.ends_with(L"_32"))) {
        index = FindFunctionCase(bare.Left(bare.size() - 3).c_str());
        if (index >= 0 && aFunctions[index].nFamily == FF_Registry) return index;
    }
    return -1;
}

int RunBuiltin(CString &name, CString &args, const CString &bare) {
    int index = FindRow(bare);
    if (index < 0) return 1;
    FUNCCALL call{name, args, index, CString(), CString()};
    if (!aGlobals.fCompatibility) GetNthArgument(args.c_str(), 0, &call.firstArg);
    call.drive = DriveOf(call.firstArg);
    try {
        return RunCase(call);
    } catch (const std::bad_alloc &) {
        return ERROR_NOT_ENOUGH_MEMORY;
    }
}

}  // namespace

int FindFunctionCase(const wchar_t *name) { return FindSortedName(aFunctions, nFunctions, name); }

const wchar_t *QueryFunctionName(int index) {
    return index >= 0 && index < nFunctions ? aFunctions[index].pszName : nullptr;
}

int QueryFunctionFamily(int index) { return index >= 0 && index < nFunctions ? aFunctions[index].nFamily : -1; }

int VariableFunction(CString &name, CString &args) {
    CString bare = name.At(0) == L'@' ? name.Mid(1) : name;
    // Text quoted twice over arrives from the quoting of @eval.
    if (!aGlobals.fCompatibility && args.size() >= 4 && args.StartsWith(L"\"\"") && args.ends_with(L"\"\"")) {
        args.erase(0, 1);
        args.pop_back();
    }
    if (const wchar_t *body = GetFunction(bare.c_str(), nullptr)) {
        int rc = ExpandUserFunction(body, name, args);
        name.Empty();
        return rc;
    }
    SetLastError(0);
    int rc = RunFunctionPlugin(name, args);
    if (rc != kNoPluginTook && name.IsEmpty()) {
        DWORD last = GetLastError();
        return rc > 0 && last ? (int)last : rc;
    }
    return RunBuiltin(name, args, bare);
}

// Rows of families that are not written yet.
int Func_Pending(FUNCCALL &call) { return ERROR_BD_FUNC_NOT_AVAILABLE; }

// Names that stay in the table without a case of their own: as if unknown.
int Func_NoCase(FUNCCALL &) { return 1; }

// Functions whose value is their argument text as given.
int Func_Unchanged(FUNCCALL &) { return 0; }

// Shared argument habits.

bool ReadCountAndText(const CString &args, int *n, CString *text) {
    int value = 0, offset = -1;
    if (Sscanf(args.c_str(), L"%i ,%n", &value, &offset) != 2 || offset < 0) return false;
    *n = value;
    *text = args.Mid((size_t)offset);
    return true;
}

bool SplitAtComma(const CString &text, CString *left, CString *right) {
    int at = ScanIndex(text.c_str(), L",", L"`\"");
    if (at < 0 || text.At((size_t)at) != L',') return false;
    *left = text.Left((size_t)at);
    *right = text.Mid((size_t)at + 1);
    return true;
}

CString WithoutEnclosingQuotes(const CString &text) {
    CString s = text;
    StripEnclosingQuotes_S(s);
    return s;
}

int SetNumber(CString &args, long long value) {
    args = FormatStr(L"%I64d", value);
    return 0;
}

int SystemError(DWORD code) {
    if (code == ERROR_SUCCESS) return ERROR_GEN_FAILURE;
    return code == ERROR_INVALID_FUNCTION ? ERROR_NOT_SUPPORTED : (int)code;
}

std::vector<CString> SplitArguments(const CString &args) {
    std::vector<CString> parts;
    if (args.empty()) return parts;
    CString rest = args, left, right;
    while (SplitAtComma(rest, &left, &right)) {
        parts.push_back(left);
        rest = right;
    }
    parts.push_back(rest);
    return parts;
}

bool ReadWholeNumber(const CString &text, long long *value) {
    int used = -1;
    if (Sscanf(text.c_str(), L" %I64i %n", value, &used) != 2) return false;
    return (size_t)used == text.size();
}

CString FullPathOf(const CString &name) {
    DWORD n = name.empty() ? 0 : GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    if (!n) return name;
    CString full(n, L'\0');
    full.resize(GetFullPathNameW(name.c_str(), n, full.data(), nullptr));
    return full.empty() ? name : full;
}
