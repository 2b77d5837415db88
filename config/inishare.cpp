// The option block across shells: each shell keeps an image of its block
// in the paging-file mapping "Brindle_<pid>", and a shell started from
// another one (a nested shell) takes its options from its parent's image
// instead of reading the ini file again.
#include "base/format.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"
#include <tlhelp32.h>
#include <cstring>
#include <vector>

namespace {

// The image: this header, one 32-bit word for each row of the table (0 for
// the string rows), then the string rows' values in table order, each
// ended by a zero, a null value written as two zeros.  The row count and a
// hash of the table's names and types make sure that the reader's table is
// the writer's.
struct INIIMAGE {
    int nVersion;
    int nSignature;
    unsigned nRows;
    unsigned nLayout;
    unsigned nBytes;
    unsigned nSectionMask;
    unsigned ParseFlags;
    unsigned cBootDrive;
    unsigned fLoaded;
    unsigned fEditInsert;
};

HANDLE hOwnMapping;
void *pOwnView;

unsigned TableLayout() {
    unsigned hash = 2166136261u;
    for (int i = 0; i < nOptions; i++) {
        for (const wchar_t *p = aOptions[i].pszName; *p; p++) hash = (hash ^ *p) * 16777619u;
        hash = (hash ^ (unsigned)aOptions[i].nType) * 16777619u;
    }
    return hash;
}

unsigned RowWord(const INIFILE *block, const OPTIONROW &row) {
    switch (row.nType) {
    case OPT_CHAR: return OptionField<wchar_t>(block, row);
    case OPT_UINT:
    case OPT_COLOR: return OptionField<unsigned>(block, row);
    case OPT_INT:
    case OPT_CHOICE: return (unsigned)OptionField<int>(block, row);
    default: return 0;
    }
}

void SetRowWord(INIFILE *block, const OPTIONROW &row, unsigned word) {
    switch (row.nType) {
    case OPT_CHAR: OptionField<wchar_t>(block, row) = (wchar_t)word; break;
    case OPT_UINT:
    case OPT_COLOR: OptionField<unsigned>(block, row) = word; break;
    case OPT_INT:
    case OPT_CHOICE: OptionField<int>(block, row) = (int)word; break;
    default: break;
    }
}

size_t StringRowsAfter(int index) {
    size_t n = 0;
    for (int i = index + 1; i < nOptions; i++) n += IsStringType(aOptions[i].nType);
    return n;
}

}  // namespace

void WriteIniImage(const INIFILE *block, void *view, size_t size) {
    size_t fixed = sizeof(INIIMAGE) + nOptions * sizeof(unsigned);
    if (!view || size < fixed + 2 * sizeof(wchar_t) * nOptions) return;
    std::memset(view, 0, size);
    INIIMAGE *image = (INIIMAGE *)view;
    *image = {INI_VERSION, INI_SIGNATURE, (unsigned)nOptions, TableLayout(), 0, block->nSectionMask,
              block->ParseFlags, block->cBootDrive, (unsigned)block->fLoaded, (unsigned)block->fEditInsert};
    unsigned *words = (unsigned *)(image + 1);
    for (int i = 0; i < nOptions; i++) words[i] = RowWord(block, aOptions[i]);
    wchar_t *text = (wchar_t *)(words + nOptions);
    wchar_t *end = (wchar_t *)((char *)view + size);
    for (int i = 0; i < nOptions; i++) {
        if (!IsStringType(aOptions[i].nType)) continue;
        const wchar_t *value = OptionField<wchar_t *>(block, aOptions[i]);
        size_t length = value ? wcslen(value) : 0;
        // A value that would leave no room for the rest goes as null.
        size_t room = (size_t)(end - text) - 2 * StringRowsAfter(i);
        if (length && length + 1 <= room) {
            wmemcpy(text, value, length + 1);
            text += length + 1;
        } else {
            text[0] = text[1] = L'\0';
            text += 2;
        }
    }
    image->nBytes = (unsigned)((char *)text - (char *)view);
}

bool ReadIniImage(const void *view, size_t size, INIFILE *block) {
    const INIIMAGE *image = (const INIIMAGE *)view;
    size_t fixed = sizeof(INIIMAGE) + nOptions * sizeof(unsigned);
    if (!view || size < fixed || image->nVersion != INI_VERSION || image->nSignature != INI_SIGNATURE ||
        image->nRows != (unsigned)nOptions || image->nLayout != TableLayout() || image->nBytes > size ||
        image->nBytes < fixed)
        return false;
    // Cut the strings out first, so that a damaged image changes nothing.
    const wchar_t *text = (const wchar_t *)((const char *)view + fixed);
    const wchar_t *end = (const wchar_t *)((const char *)view + image->nBytes);
    std::vector<CString> strings;
    for (int i = 0; i < nOptions; i++) {
        if (!IsStringType(aOptions[i].nType)) continue;
        if (end - text < 2) return false;
        if (!text[0] && !text[1]) {
            strings.emplace_back();
            text += 2;
            continue;
        }
        const wchar_t *stop = text;
        while (stop < end && *stop) stop++;
        if (stop == end) return false;
        strings.emplace_back(text, stop - text);
        text = stop + 1;
    }
    const unsigned *words = (const unsigned *)(image + 1);
    size_t next = 0;
    for (int i = 0; i < nOptions; i++) {
        if (IsStringType(aOptions[i].nType)) SetStringOption(block, aOptions[i], strings[next++].c_str());
        else SetRowWord(block, aOptions[i], words[i]);
    }
    block->nSectionMask = image->nSectionMask;
    block->ParseFlags = image->ParseFlags;
    block->cBootDrive = (wchar_t)image->cBootDrive;
    block->fLoaded = (int)image->fLoaded;
    block->fEditInsert = (int)image->fEditInsert;
    block->nVersion = INI_VERSION;
    block->nSignature = INI_SIGNATURE;
    return true;
}

void SaveIniData() { WriteIniImage(&aIniFile, pOwnView, INI_SHARED_SIZE); }

namespace {

CString ProcessImageName(DWORD pid) {
    HANDLE process = OpenProcess(PROCESS_QUERY_LIMITED_INFORMATION, FALSE, pid);
    if (!process) return CString();
    CString name(32768, L'\0');
    DWORD n = (DWORD)name.size();
    if (!QueryFullProcessImageNameW(process, 0, name.data(), &n)) n = 0;
    CloseHandle(process);
    name.resize(n);
    return name;
}

// Each process's parent, from one snapshot of the process list.
struct PROCESSPARENT {
    DWORD nPid;
    DWORD nParent;
};

std::vector<PROCESSPARENT> ProcessParents() {
    std::vector<PROCESSPARENT> list;
    HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE) return list;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof(entry);
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry))
        list.push_back({entry.th32ProcessID, entry.th32ParentProcessID});
    CloseHandle(snapshot);
    return list;
}

DWORD ParentProcessId(const std::vector<PROCESSPARENT> &list, DWORD pid) {
    for (const PROCESSPARENT &p : list)
        if (p.nPid == pid) return p.nParent;
    return 0;
}

// The nesting level: with a console, the number of other processes on it
// that run this same program; without one, the number of ancestors in a
// row that run it.
int NestingLevel(const CString &self, const std::vector<PROCESSPARENT> &parents) {
    std::vector<DWORD> pids(256);
    DWORD n = GetConsoleProcessList(pids.data(), (DWORD)pids.size());
    if (n > pids.size()) {
        pids.resize(n);
        n = GetConsoleProcessList(pids.data(), (DWORD)pids.size());
    }
    int level = 0;
    if (n && n <= pids.size()) {
        for (DWORD i = 0; i < n; i++) level += ProcessImageName(pids[i]).EqualsNoCase(self.c_str());
        return level > 0 ? level - 1 : 0;
    }
    DWORD pid = GetCurrentProcessId();
    for (int guard = 0; guard < 64; guard++) {
        pid = ParentProcessId(parents, pid);
        if (!pid || !ProcessImageName(pid).EqualsNoCase(self.c_str())) break;
        level++;
    }
    return level;
}

// Take the parent shell's block; false when there is none to take.
bool InheritParentBlock(const CString &self, const std::vector<PROCESSPARENT> &parents) {
    DWORD parent = ParentProcessId(parents, GetCurrentProcessId());
    if (!parent || !ProcessImageName(parent).EqualsNoCase(self.c_str())) return false;
    HANDLE mapping = OpenFileMappingW(FILE_MAP_READ, FALSE, FormatStr(L"Brindle_%x", parent).c_str());
    if (!mapping) return false;
    const void *view = MapViewOfFile(mapping, FILE_MAP_READ, 0, 0, INI_SHARED_SIZE);
    bool taken = view && ReadIniImage(view, INI_SHARED_SIZE, &aIniFile);
    if (view) UnmapViewOfFile(view);
    CloseHandle(mapping);
    return taken;
}

void CreateOwnMapping() {
    CString name = FormatStr(L"Brindle_%x", GetCurrentProcessId());
    hOwnMapping = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, 0, INI_SHARED_SIZE, name.c_str());
    if (hOwnMapping) pOwnView = MapViewOfFile(hOwnMapping, FILE_MAP_ALL_ACCESS, 0, 0, INI_SHARED_SIZE);
    if (pOwnView) std::memset(pOwnView, 0, INI_SHARED_SIZE);
}

CString SystemDirectory() {
    UINT n = GetSystemDirectoryW(nullptr, 0);
    CString dir(n, L'\0');
    dir.resize(GetSystemDirectoryW(dir.data(), n));
    return dir;
}

}  // namespace

CString ProgramFileName() {
    CString path(MAX_PATH, L'\0');
    for (;;) {
        DWORD n = GetModuleFileNameW(nullptr, path.data(), (DWORD)path.size());
        if (n < path.size()) {
            path.resize(n);
            return path;
        }
        path.resize(path.size() * 2);
    }
}

void InitializeIniFile() {
    HANDLE semaphore = CreateSemaphoreW(nullptr, 1, 1, L"BDIniSemaphore");
    // A shell that died holding it must not stop every later one.
    bool held = semaphore && WaitForSingleObject(semaphore, 10000) == WAIT_OBJECT_0;
    CString self = ProgramFileName();
    std::vector<PROCESSPARENT> parents = ProcessParents();
    int level = NestingLevel(self, parents);
    bool inherited = level > 0 && InheritParentBlock(self, parents);
    CreateOwnMapping();
    if (!inherited) {
        IniClear(&aIniFile);
        aIniFile.nSectionMask = 0;
        aIniFile.fLoaded = 0;
        aIniFile.nVersion = INI_VERSION;
        aIniFile.nSignature = INI_SIGNATURE;
        CString dir = SystemDirectory();
        if (dir.empty()) dir = self;
        aIniFile.cBootDrive = ToUpperChar(dir.At(0) ? dir[0] : L'C');
        aIniFile.Debug = 2;
    }
    aIniFile.nSecondary = level;
    aGlobals.nNestingLevel = level;
    if (inherited) {
        if (aIniFile.NextINIFile) ProcessINI(CString(aIniFile.NextINIFile).c_str());
        else if ((aIniFile.nSectionMask & INI_SECTION_SECONDARY) && aIniFile.PrimaryINIFile)
            ProcessINI(CString(aIniFile.PrimaryINIFile).c_str());
    }
    SaveIniData();
    if (held) ReleaseSemaphore(semaphore, 1, nullptr);
    if (semaphore) CloseHandle(semaphore);
}
