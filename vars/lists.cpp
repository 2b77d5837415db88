// The list blocks: walkers, lookup, definition and removal, the private
// blocks in virtual memory, the shared mappings of the user's shells and
// the semaphore that serialises every writer.
#include "vars/lists.h"
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include <cwchar>

NAMEDLIST aNamedLists[2] = {};

namespace {

constexpr size_t kGrowBytes = 0x10000;
constexpr DWORD kLockWait = 10000;

int &LocalOption(int kind) { return kind == LIST_ALIASES ? aIniFile.LocalAliases : aIniFile.LocalFunctions; }
int &GlobalOption(int kind) { return kind == LIST_ALIASES ? aIniFile.GlobalAliases : aIniFile.GlobalFunctions; }
int &LocalSizeOption(int kind) {
    return kind == LIST_ALIASES ? aIniFile.AliasLocalSize : aIniFile.FunctionLocalSize;
}
int &GlobalSizeOption(int kind) {
    return kind == LIST_ALIASES ? aIniFile.AliasGlobalSize : aIniFile.FunctionGlobalSize;
}
int FullError(int kind) { return kind == LIST_ALIASES ? ERROR_BD_ALIAS_LIST_FULL : ERROR_BD_FUNCTION_LIST_FULL; }

// Which named list a list pointer's address belongs to: the kind, or -1
// for any other block; *global tells a shared view.
int KindOfList(wchar_t **list, bool *global) {
    *global = false;
    for (int kind = 0; kind < 2; kind++) {
        if (list == &aNamedLists[kind].pLocal) return kind;
        if (list == &aNamedLists[kind].pGlobal) return *global = true, kind;
    }
    return -1;
}

bool IsAliasBlock(const wchar_t *list) {
    return list && (list == aNamedLists[LIST_ALIASES].pLocal || list == aNamedLists[LIST_ALIASES].pGlobal);
}

// The value of entry when its name is name, else null.  Abbreviation: a
// "*" in the entry's name is stepped over (and one at the same place in
// name too); once it has been passed, name may end early.
const wchar_t *MatchEntry(const wchar_t *entry, const wchar_t *name, bool abbreviations) {
    const wchar_t *p = entry, *q = name;
    bool abbreviated = false;
    for (;;) {
        if (abbreviations && *p == L'*') {
            abbreviated = true;
            p++;
            if (*q == L'*') q++;
            continue;
        }
        bool nameEnds = !*q || *q == L'=';
        if (*p == L'=') return nameEnds ? p + 1 : nullptr;
        if (!*p) return nullptr;
        if (nameEnds) {
            if (!abbreviated) return nullptr;
            const wchar_t *eq = wcschr(p, L'=');
            return eq ? eq + 1 : nullptr;
        }
        if (ToUpperChar(*p) != ToUpperChar(*q)) return nullptr;
        p++, q++;
    }
}

// Writers of any block hold this semaphore, shared by all shells.  After
// ten seconds the write goes on regardless, so that a dead shell cannot
// freeze the others; the signal hold keeps an interrupt out of the middle.
struct ListWriteLock {
    HANDLE hSemaphore;
    bool fOwned;
    int nSavedHold;
    ListWriteLock() {
        static HANDLE semaphore = CreateSemaphoreW(nullptr, 1, 255, L"BDListSemaphore");
        hSemaphore = semaphore;
        nSavedHold = GetTLS()->fSignalsHeld;
        HoldSignals();
        fOwned = hSemaphore && WaitForSingleObject(hSemaphore, kLockWait) == WAIT_OBJECT_0;
    }
    ~ListWriteLock() {
        if (fOwned) ReleaseSemaphore(hSemaphore, 1, nullptr);
        GetTLS()->fSignalsHeld = nSavedHold;
    }
};

// A private block grown by 64 KiB; the size option follows.
bool GrowLocalBlock(wchar_t **list, int kind) {
    size_t size = QueryListBlockBytes(*list);
    wchar_t *bigger = AllocListBlock(size + kGrowBytes);
    if (!bigger) return false;
    memcpy(bigger, *list, size);
    FreeListBlock(*list);
    *list = bigger;
    if (kind >= 0) LocalSizeOption(kind) = (int)(QueryListBlockBytes(bigger) / 2);
    return true;
}

// Entry start of the value at value (the NUL in front, or the block start).
wchar_t *EntryStart(wchar_t *block, wchar_t *value) {
    wchar_t *p = value;
    while (p > block && p[-1]) p--;
    return p;
}

// One attempt to write name=value into the block; false when it is full.
bool StoreEntry(wchar_t *block, const CString &name, const CString &value) {
    size_t size = QueryListBlockBytes(block);
    wchar_t *end = EndOfList(block);
    wchar_t *old = const_cast<wchar_t *>(GetVariableList(name.c_str(), block));
    if (old && value.empty()) {
        wchar_t *start = EntryStart(block, old);
        wchar_t *next = old + wcslen(old) + 1;
        wmemmove(start, next, end - next + 1);
        return true;
    }
    if (!old && value.empty()) return true;
    ptrdiff_t need = old ? (ptrdiff_t)value.size() - (ptrdiff_t)wcslen(old)
                         : (ptrdiff_t)(name.size() + 1 + value.size() + 1);
    const char *limit = (const char *)block + size - 32;
    if ((const char *)end + 16 + need * 2 >= limit) return false;
    if (old) {
        wchar_t *tail = old + wcslen(old);
        wmemmove(tail + need, tail, end - tail + 1);
        wmemcpy(old, value.c_str(), value.size());
    } else {
        CString entry = name + L"=" + value;
        wmemcpy(end, entry.c_str(), entry.size());
        end[entry.size()] = 0;
        end[entry.size() + 1] = 0;
    }
    return true;
}

// The list path of AddVariableToList.
int AddToBlock(const CString &name, const CString &value, wchar_t **list) {
    bool global;
    int kind = KindOfList(list, &global);
    if (!*list) return BDError(kind == LIST_FUNCTIONS ? ERROR_BD_NO_FUNCTION_LIST : ERROR_BD_NO_ALIAS_LIST, nullptr);
    ListWriteLock lock;
    for (;;) {
        if (StoreEntry(*list, name, value)) return 0;
        if (global) return BDError(FullError(kind), name.c_str());
        if (!GrowLocalBlock(list, kind)) return BDError(kind == LIST_ALIASES ? ERROR_BD_ALIAS_LIST_FULL
                                                                              : ERROR_BD_FUNCTION_LIST_FULL,
                                                        name.c_str());
    }
}

// Split a list entry into name and value: white space also ends the name,
// "name value", "name=value" and "name = value" are one, and a value in
// back-quotes loses them.
void SplitListEntry(const CString &entry, CString *name, CString *value) {
    size_t end = entry.find_first_of(L"= \t");
    *name = entry.Left(end);
    size_t at = end == CString::npos ? entry.size() : end;
    while (QueryIsWhiteSpace(entry.At(at))) at++;
    if (entry.At(at) == L'=') at++;
    *value = entry.Mid(at);
    value->TrimLeft();
    if (value->At(0) == L'`') {
        value->erase(0, 1);
        if (!value->empty() && value->back() == L'`') value->pop_back();
    }
}

}  // namespace

wchar_t *NextListEntry(const wchar_t *entry) {
    if (!*entry) return const_cast<wchar_t *>(entry);
    return const_cast<wchar_t *>(entry + wcslen(entry) + 1);
}

wchar_t *EndOfList(const wchar_t *list) {
    while (*list) list = NextListEntry(list);
    return const_cast<wchar_t *>(list);
}

int GetListSize(const wchar_t *list) {
    size_t bytes = (size_t)((const char *)EndOfList(list) - (const char *)list);
    return (int)((bytes | 1) + 3);
}

size_t QueryListBlockBytes(const wchar_t *block) {
    MEMORY_BASIC_INFORMATION info;
    if (!block || !VirtualQuery(block, &info, sizeof(info))) return 0;
    return info.RegionSize - (size_t)((const char *)block - (const char *)info.BaseAddress);
}

const wchar_t *GetVariableList(const wchar_t *name, const wchar_t *list) {
    if (!list || !name) return nullptr;
    bool abbreviations = IsAliasBlock(list);
    for (const wchar_t *entry = list; *entry; entry = NextListEntry(entry))
        if (const wchar_t *value = MatchEntry(entry, name, abbreviations)) return value;
    return nullptr;
}

CString ListEntryName(const wchar_t *entry) {
    const wchar_t *eq = wcschr(entry, L'=');
    return eq ? CString(entry, eq - entry) : CString(entry);
}

static const wchar_t *GetFromLists(int kind, const wchar_t *name, bool *isLocal) {
    const NAMEDLIST &lists = aNamedLists[kind];
    if (const wchar_t *value = GetVariableList(name, lists.pLocal)) {
        if (isLocal) *isLocal = true;
        return value;
    }
    if (isLocal) *isLocal = false;
    return GetVariableList(name, lists.pGlobal);
}

const wchar_t *GetAlias(const wchar_t *name, bool *isLocal) { return GetFromLists(LIST_ALIASES, name, isLocal); }

const wchar_t *GetFunction(const wchar_t *name, bool *isLocal) {
    return GetFromLists(LIST_FUNCTIONS, name, isLocal);
}

wchar_t **DefaultList(int kind) {
    NAMEDLIST &lists = aNamedLists[kind];
    if (lists.pLocal && (LocalOption(kind) || !lists.pGlobal)) return &lists.pLocal;
    if (lists.pGlobal) return &lists.pGlobal;
    return nullptr;
}

int AddVariableToList(const wchar_t *entry, wchar_t **list, const wchar_t *type) {
    if (list == ARRAY_ELEMENT_LIST) return BDError(ERROR_BD_NO_ARRAYS, entry);
    if (entry[0] == L'=' && entry[1] && entry[2] != L':') return BDError(ERROR_BD_BAD_ENTRY, entry);
    if (!list) return SetEnvironmentEntry(entry, type);
    if (entry[0] == L'=') return BDError(ERROR_BD_BAD_ENTRY, entry);
    CString name, value;
    SplitListEntry(entry, &name, &value);
    if (name.empty()) return BDError(ERROR_BD_BAD_ENTRY, entry);
    return AddToBlock(name, value, list);
}

int SetEVariable(const wchar_t *entry) { return AddVariableToList(entry, nullptr, nullptr); }

wchar_t *AllocListBlock(size_t bytes) {
    return (wchar_t *)VirtualAlloc(nullptr, bytes, MEM_COMMIT | MEM_RESERVE, PAGE_READWRITE);
}

void FreeListBlock(wchar_t *block) {
    if (block) VirtualFree(block, 0, MEM_RELEASE);
}

int ReplaceListContents(wchar_t **list, const CString &body) {
    bool global;
    int kind = KindOfList(list, &global);
    if (!*list) return BDError(kind == LIST_FUNCTIONS ? ERROR_BD_NO_FUNCTION_LIST : ERROR_BD_NO_ALIAS_LIST, nullptr);
    size_t need = (body.size() + 2) * 2;
    ListWriteLock lock;
    while (QueryListBlockBytes(*list) < need + 64) {
        if (global || !GrowLocalBlock(list, kind)) return BDError(FullError(kind < 0 ? LIST_FUNCTIONS : kind), nullptr);
    }
    memset(*list, 0, QueryListBlockBytes(*list));
    wmemcpy(*list, body.data(), body.size());
    return 0;
}

CString SharedListName(int kind) {
    DWORD n = 0;
    GetUserNameW(nullptr, &n);
    CString user(n ? n : 1, L'\0');
    if (!n || !GetUserNameW(user.data(), &n)) user.clear();
    else user.resize(n - 1);
    return FormatStr(kind == LIST_ALIASES ? L"SharememUAlias%s" : L"SharememUFunction%s", user.c_str());
}

void DetachSharedList(int kind) {
    NAMEDLIST &lists = aNamedLists[kind];
    if (lists.pGlobal) UnmapViewOfFile(lists.pGlobal);
    if (lists.hMapping) CloseHandle(lists.hMapping);
    lists.pGlobal = nullptr;
    lists.hMapping = nullptr;
}

int AttachSharedList(int kind, const wchar_t *mappingName, size_t chars, bool *created) {
    DetachSharedList(kind);
    NAMEDLIST &lists = aNamedLists[kind];
    *created = false;
    HANDLE mapping = OpenFileMappingW(FILE_MAP_READ | FILE_MAP_WRITE, FALSE, mappingName);
    if (!mapping) {
        SYSTEM_INFO info;
        GetSystemInfo(&info);
        size_t page = info.dwPageSize ? info.dwPageSize : 4096;
        size_t bytes = (chars * 2 + page - 1) / page * page;
        mapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, (DWORD)((unsigned long long)bytes >> 32),
                                     (DWORD)bytes, mappingName);
        if (!mapping) return (int)GetLastError();
        *created = GetLastError() != ERROR_ALREADY_EXISTS;
    }
    void *view = MapViewOfFile(mapping, FILE_MAP_READ | FILE_MAP_WRITE, 0, 0, 0);
    if (!view) {
        int rc = (int)GetLastError();
        CloseHandle(mapping);
        return rc ? rc : 8;
    }
    lists.hMapping = mapping;
    lists.pGlobal = (wchar_t *)view;
    GlobalSizeOption(kind) = (int)(QueryListBlockBytes(lists.pGlobal) / 2);
    return 0;
}

namespace {

// The private block at the size option (kept contents, never smaller than
// what is in use).
bool MakeLocalBlock(int kind) {
    NAMEDLIST &lists = aNamedLists[kind];
    size_t want = (size_t)LocalSizeOption(kind) * 2;
    if (lists.pLocal) {
        size_t used = (size_t)GetListSize(lists.pLocal) + 64;
        if (want < used) want = used;
        if (want == QueryListBlockBytes(lists.pLocal)) return true;
    }
    wchar_t *block = AllocListBlock(want);
    if (!block) return false;
    if (lists.pLocal) {
        size_t keep = QueryListBlockBytes(lists.pLocal);
        memcpy(block, lists.pLocal, keep < want ? keep : want);
        FreeListBlock(lists.pLocal);
    }
    lists.pLocal = block;
    LocalOption(kind) = 1;
    return true;
}

[[noreturn]] void OutOfListMemory() {
    BDError((int)GetLastError(), nullptr);
    EndProcess(8);
}

void InitializeList(int kind, bool starting) {
    NAMEDLIST &lists = aNamedLists[kind];
    // Without a console a shell keeps its lists to itself; ALIAS /G joins
    // the shared ones later if the user asks.
    if (starting && aGlobals.fNoConsole) LocalOption(kind) = 1, GlobalOption(kind) = 0;
    bool local = LocalOption(kind) || aIniFile.nSecondary;
    if (!local && lists.pLocal) {
        FreeListBlock(lists.pLocal);
        lists.pLocal = nullptr;
    }
    if (local && !MakeLocalBlock(kind)) OutOfListMemory();
    if (!GlobalOption(kind)) return DetachSharedList(kind);
    // A view already held stays: letting go of it could end the mapping,
    // and with it the list, when this is the only shell that holds it.
    if (lists.pGlobal) return;
    bool created;
    if (AttachSharedList(kind, SharedListName(kind).c_str(), (size_t)GlobalSizeOption(kind), &created)) {
        GlobalOption(kind) = 0;
        if (!lists.pLocal && !MakeLocalBlock(kind)) OutOfListMemory();
    }
}

}  // namespace

int InitializeLocalGlobalLists() {
    static bool started = false;
    if (!started) TakeMasterEnvironment();
    for (int kind = 0; kind < 2; kind++) InitializeList(kind, !started);
    started = true;
    return 0;
}

int ConvertToGlobalList(int kind) {
    NAMEDLIST &lists = aNamedLists[kind];
    if (!lists.pGlobal) {
        size_t chars = (size_t)GlobalSizeOption(kind);
        if (lists.pLocal && (size_t)GetListSize(lists.pLocal) / 2 + 0x1000 > chars)
            chars = (size_t)GetListSize(lists.pLocal) / 2 + 0x1000;
        bool created;
        if (int rc = AttachSharedList(kind, SharedListName(kind).c_str(), chars, &created)) return BDError(rc, nullptr);
        if (created && lists.pLocal) {
            ListWriteLock lock;
            size_t bytes = (size_t)GetListSize(lists.pLocal);
            if (bytes <= QueryListBlockBytes(lists.pGlobal)) memcpy(lists.pGlobal, lists.pLocal, bytes);
            FreeListBlock(lists.pLocal);
            lists.pLocal = nullptr;
        }
    }
    LocalOption(kind) = 0;
    GlobalOption(kind) = 1;
    return 0;
}

void ReconcileListModes() {
    for (int kind = 0; kind < 2; kind++) {
        NAMEDLIST &lists = aNamedLists[kind];
        if (GlobalOption(kind) && !lists.pGlobal) ConvertToGlobalList(kind);
        else if (!GlobalOption(kind) && lists.pGlobal) ConvertToLocalList(kind);
        else if (LocalOption(kind) && !lists.pLocal && !MakeLocalBlock(kind)) BDError((int)GetLastError(), nullptr);
    }
}

int ConvertToLocalList(int kind) {
    NAMEDLIST &lists = aNamedLists[kind];
    if (!lists.pGlobal) {
        if (lists.pLocal) return LocalOption(kind) = 1, GlobalOption(kind) = 0, 0;
        return BDError(kind == LIST_ALIASES ? ERROR_BD_NO_ALIAS_LIST : ERROR_BD_NO_FUNCTION_LIST, nullptr);
    }
    size_t bytes = QueryListBlockBytes(lists.pGlobal);
    if ((size_t)LocalSizeOption(kind) * 2 > bytes) bytes = (size_t)LocalSizeOption(kind) * 2;
    wchar_t *block = AllocListBlock(bytes);
    if (!block) return BDError((int)GetLastError(), nullptr);
    memcpy(block, lists.pGlobal, (size_t)GetListSize(lists.pGlobal));
    wchar_t *old = lists.pLocal;
    lists.pLocal = block;
    DetachSharedList(kind);
    LocalOption(kind) = 1;
    GlobalOption(kind) = 0;
    LocalSizeOption(kind) = (int)(QueryListBlockBytes(block) / 2);
    // What the old private list held stood in front of the shared entries;
    // it keeps doing so.
    int rc = 0;
    for (const wchar_t *entry = old; old && *entry && !rc; entry = NextListEntry(entry)) {
        CString name = ListEntryName(entry);
        rc = AddToBlock(name, entry + name.size() + (entry[name.size()] ? 1 : 0), &lists.pLocal);
    }
    FreeListBlock(old);
    return rc;
}
