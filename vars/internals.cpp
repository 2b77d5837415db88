// %_name: the internal variables and the command counters.  Both tables
// are sorted lists of lower-case names searched without case; a variable's
// index is its case number in the switch of its family's file.
#include "vars/internals.h"
#include "base/args.h"
#include "base/format.h"
#include "base/nametable.h"
#include "base/state.h"
#include "vars/functions.h"

const INTERNALROW aInternalVariables[] = {
#define BD_INTERNAL(name, id, family) {name, family},
#include "vars/internals.def"
#undef BD_INTERNAL
};

const COUNTERROW aCounterVariables[] = {
#define BD_COUNTER(name, id, kind) {name, kind},
#include "vars/counters.def"
#undef BD_COUNTER
};

volatile int aCommandCounters[CTR_COUNT];
CString sUnqDatabase;

namespace {

constexpr const wchar_t *kVariableNames[] = {
#define BD_INTERNAL(name, id, family) name,
#include "vars/internals.def"
#undef BD_INTERNAL
};

constexpr const wchar_t *kCounterNames[] = {
#define BD_COUNTER(name, id, kind) name,
#include "vars/counters.def"
#undef BD_COUNTER
};

static_assert(sizeof(kVariableNames) / sizeof(kVariableNames[0]) == 223,
              "the internal variable table has 223 rows");
static_assert(IsSortedNames(kVariableNames) && IsAllLower(kVariableNames), "internal variables must be lower case and sorted");
static_assert(sizeof(kCounterNames) / sizeof(kCounterNames[0]) == 83, "the counter table has 83 rows");
static_assert(IsSortedNames(kCounterNames) && IsAllLower(kCounterNames), "command counters must be lower case and sorted");

bool FamilyValue(int index, CString &value) {
    switch (aInternalVariables[index].nFamily) {
    case IVF_TIME: return TimeVariable(index, value);
    case IVF_STATE: return StateVariable(index, value);
    case IVF_SYSTEM: return SystemVariable(index, value);
    case IVF_CONSOLE: return ConsoleVariable(index, value);
    case IVF_DISK: return DiskVariable(index, value);
    case IVF_NET: return NetVariable(index, value);
    case IVF_ABSENT: break;
    }
    return false;
}

}  // namespace

int FindInternalVariable(const wchar_t *name) { return FindSortedName(aInternalVariables, IV_COUNT, name); }

int FindCommandCounter(const wchar_t *name) { return FindSortedName(aCounterVariables, CTR_COUNT, name); }

bool SetInt(CString &value, long long n) {
    value = FormatStr(L"%lld", n);
    return true;
}

bool SetText(CString &value, const CString &text) {
    value = text;
    return true;
}

// "?" and "ERRORLEVEL" are the exit code; everything else needs its "_".
// No plug-in layer exists yet to claim a name first, and "!" (the last
// argument of the previous history entry) waits for the history lists.
const wchar_t *InternalVariable(CString &name) {
    if (name == L"?" || name.EqualsNoCase(L"ERRORLEVEL")) {
        IntToAscii(GetTLS()->nExitCode, &name);
        return name.c_str();
    }
    if (aGlobals.fCompatibility || name.At(0) != L'_') return nullptr;
    int index = FindInternalVariable(name.c_str() + 1);
    if (index < 0) return nullptr;
    CString value;
    if (!FamilyValue(index, value)) return nullptr;
    name = value;
    return name.c_str();
}

const wchar_t *CommandCounter(CString &name) {
    if (name.At(0) != L'_') return nullptr;
    int index = FindCommandCounter(name.c_str() + 1);
    if (index < 0) return nullptr;
    switch (aCounterVariables[index].nKind) {
    case CK_INT: IntToAscii(aCommandCounters[index], &name); break;
    case CK_STRING: name = sUnqDatabase; break;
    case CK_UNBOUND: return nullptr;
    }
    return name.c_str();
}
