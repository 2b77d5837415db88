// Commands that go through the shell's objects and devices: SHORTCUT (.lnk
// files), PRINT (the printer, through the program that opens a file),
// FILELOCK (who holds a file open) and PLAYSOUND.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/state.h"
#include "console/console.h"
#include "system/system.h"
#include <objbase.h>
#include <shlobj.h>
#include <shellapi.h>
#include <mmsystem.h>
#include <restartmanager.h>
#include <winspool.h>
#include <vector>

namespace {

CString FullPath(const CString &name) {
    DWORD n = GetFullPathNameW(name.c_str(), 0, nullptr, nullptr);
    if (!n) return name;
    CString full(n, L'\0');
    full.resize(GetFullPathNameW(name.c_str(), n, full.data(), nullptr));
    return full;
}

// A COM interface pointer, released when it goes.
template <class T> class ComPtr {
public:
    ~ComPtr() {
        if (p_) p_->Release();
    }
    T **Address() { return &p_; }
    T *operator->() const { return p_; }
    T *Get() const { return p_; }

private:
    T *p_ = nullptr;
};

int ShowShortcut(IShellLinkW *link) {
    wchar_t text[INFOTIPSIZE];
    link->GetPath(text, MAX_PATH, nullptr, SLGP_RAWPATH);
    Printf(L"Target: %s\r\n", text);
    text[0] = 0;
    link->GetArguments(text, INFOTIPSIZE);
    Printf(L"Arguments: %s\r\n", text);
    text[0] = 0;
    link->GetWorkingDirectory(text, MAX_PATH);
    Printf(L"Directory: %s\r\n", text);
    text[0] = 0;
    link->GetDescription(text, INFOTIPSIZE);
    Printf(L"Description: %s\r\n", text);
    return 0;
}

}  // namespace

// SHORTCUT link [target [arguments [directory [description]]]]
int Shortcut_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    CString parts[5];
    int count = 0;
    for (; count < 5 && GetNthArgument(args.c_str(), count, &parts[count]); count++) StripQuotes_S(parts[count]);
    if (!count) return BDError(ERROR_BD_MISSING_ARGUMENT, L"SHORTCUT");
    if (GetNthArgument(args.c_str(), 5)) return BDError(ERROR_INVALID_PARAMETER, GetNthArgument(args.c_str(), 5));
    CString linkName = parts[0];
    if (!linkName.Right(4).EqualsNoCase(L".lnk")) linkName += L".lnk";
    linkName = FullPath(linkName);
    EnsureCOM();
    ComPtr<IShellLinkW> link;
    ComPtr<IPersistFile> file;
    HRESULT hr = CoCreateInstance(CLSID_ShellLink, nullptr, CLSCTX_INPROC_SERVER, IID_IShellLinkW, (void **)link.Address());
    if (SUCCEEDED(hr)) hr = link->QueryInterface(IID_IPersistFile, (void **)file.Address());
    if (FAILED(hr)) return BDError(ERROR_BD_NEEDS_SYSTEM, L"shell links");
    if (count == 1) {
        if (FAILED(file->Load(linkName.c_str(), STGM_READ))) return BDError(ERROR_FILE_NOT_FOUND, linkName.c_str());
        return ShowShortcut(link.Get());
    }
    CString target = GetFileAttributesW(parts[1].c_str()) != INVALID_FILE_ATTRIBUTES ? FullPath(parts[1]) : parts[1];
    link->SetPath(target.c_str());
    if (count > 2) link->SetArguments(parts[2].c_str());
    if (count > 3) link->SetWorkingDirectory(parts[3].c_str());
    if (count > 4) link->SetDescription(parts[4].c_str());
    hr = file->Save(linkName.c_str(), TRUE);
    if (FAILED(hr)) return BDError(HRESULT_FACILITY(hr) == FACILITY_WIN32 ? HRESULT_CODE(hr) : ERROR_GEN_FAILURE, linkName.c_str());
    return 0;
}

// PRINT [/D:printer] file ...: each file goes to the program that prints
// its kind of file.
int Print_Command(CString &args) {
    CString printer;
    bool named = GetMultiCharSwitch(args, L"D", &printer, 0, nullptr, 0, 0) != 0;
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    if (!GetNthArgument(args.c_str(), 0)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"PRINT");
    printer.TrimLeft(L":");
    StripQuotes_S(printer);
    if (!named) {
        DWORD n = 0;
        GetDefaultPrinterW(nullptr, &n);
        printer.resize(n);
        if (!n || !GetDefaultPrinterW(printer.data(), &n)) return BDError(ERROR_BD_NEEDS_SYSTEM, L"a printer");
        printer.resize(wcslen(printer.c_str()));
    }
    CString name;
    int result = 0;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++) {
        StripQuotes_S(name);
        if (GetFileAttributesW(name.c_str()) == INVALID_FILE_ATTRIBUTES) {
            result = BDError((int)GetLastError(), name.c_str());
            continue;
        }
        CString full = FullPath(name), quoted = L"\"" + printer + L"\"";
        SHELLEXECUTEINFOW info{};
        info.cbSize = sizeof(info);
        info.fMask = SEE_MASK_FLAG_NO_UI | SEE_MASK_NOASYNC;
        info.lpVerb = L"printto";
        info.lpFile = full.c_str();
        info.lpParameters = quoted.c_str();
        info.nShow = SW_HIDE;
        if (!ShellExecuteExW(&info)) {
            info.lpVerb = L"print";
            info.lpParameters = nullptr;
            if (!ShellExecuteExW(&info)) result = BDError((int)GetLastError(), name.c_str());
        }
    }
    return result;
}

// ---- FILELOCK ----

namespace {

using RmStartSessionFn = DWORD(WINAPI *)(DWORD *, DWORD, WCHAR *);
using RmRegisterFn = DWORD(WINAPI *)(DWORD, UINT, LPCWSTR *, UINT, RM_UNIQUE_PROCESS *, UINT, LPCWSTR *);
using RmGetListFn = DWORD(WINAPI *)(DWORD, UINT *, UINT *, RM_PROCESS_INFO *, DWORD *);
using RmEndSessionFn = DWORD(WINAPI *)(DWORD);

struct RESTARTMANAGER {
    RmStartSessionFn start;
    RmRegisterFn reg;
    RmGetListFn list;
    RmEndSessionFn end;
};

bool LoadRestartManager(RESTARTMANAGER *rm) {
    HMODULE dll = LoadLibraryW(L"rstrtmgr.dll");
    if (!dll) return false;
    rm->start = (RmStartSessionFn)(void *)GetProcAddress(dll, "RmStartSession");
    rm->reg = (RmRegisterFn)(void *)GetProcAddress(dll, "RmRegisterResources");
    rm->list = (RmGetListFn)(void *)GetProcAddress(dll, "RmGetList");
    rm->end = (RmEndSessionFn)(void *)GetProcAddress(dll, "RmEndSession");
    return rm->start && rm->reg && rm->list && rm->end;
}

// The processes that hold one file open.
int ShowLockers(const RESTARTMANAGER &rm, const CString &name) {
    CString full = FullPath(name);
    if (GetFileAttributesW(full.c_str()) == INVALID_FILE_ATTRIBUTES) return BDError((int)GetLastError(), name.c_str());
    DWORD session = 0;
    WCHAR key[CCH_RM_SESSION_KEY + 1] = {};
    if (DWORD rc = rm.start(&session, 0, key)) return BDError((int)rc, nullptr);
    LPCWSTR files[] = {full.c_str()};
    UINT needed = 0, count = 0;
    DWORD reasons = 0;
    std::vector<RM_PROCESS_INFO> info;
    DWORD rc = rm.reg(session, 1, files, 0, nullptr, 0, nullptr);
    if (!rc) rc = rm.list(session, &needed, &count, nullptr, &reasons);
    if (rc == ERROR_MORE_DATA) {
        info.resize(needed);
        count = needed;
        rc = rm.list(session, &needed, &count, info.data(), &reasons);
    }
    rm.end(session);
    if (rc) return BDError((int)rc, name.c_str());
    for (UINT i = 0; i < count; i++)
        Printf(L"%6u  %s  %s\r\n", (unsigned)info[i].Process.dwProcessId, info[i].strAppName, full.c_str());
    return 0;
}

}  // namespace

// FILELOCK file ...
int Filelock_Command(CString &args) {
    if (GetSwitches(args, L"", nullptr, 0, nullptr)) return 2;
    if (!GetNthArgument(args.c_str(), 0)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"FILELOCK");
    RESTARTMANAGER rm{};
    // Wine's restart manager answers every question with "nobody".
    if (QueryIsWine() || !LoadRestartManager(&rm)) return BDError(ERROR_BD_NEEDS_SYSTEM, L"the restart manager");
    CString name;
    int result = 0;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++) {
        StripQuotes_S(name);
        if (int rc = ShowLockers(rm, name)) result = rc;
    }
    return result;
}

// ---- PLAYSOUND ----

// PLAYSOUND [/A] [/L] [/N] file | alias, or PLAYSOUND /Q
int Playsound_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"ALNQ", &mask, 0, nullptr)) return 2;
    if (mask & 8) {
        PlaySoundW(nullptr, nullptr, 0);
        return 0;
    }
    CString name;
    if (!GetNthArgument(args.c_str(), 0, &name)) return BDError(ERROR_BD_MISSING_ARGUMENT, L"PLAYSOUND");
    if (GetNthArgument(args.c_str(), 1)) return BDError(ERROR_INVALID_PARAMETER, GetNthArgument(args.c_str(), 1));
    StripQuotes_S(name);
    DWORD flags = (mask & 1) ? SND_ASYNC : SND_SYNC;
    if (mask & 2) flags = SND_ASYNC | SND_LOOP;
    if (mask & 4) flags |= SND_NODEFAULT;
    bool isFile = GetFileAttributesW(name.c_str()) != INVALID_FILE_ATTRIBUTES;
    if (!isFile && name.find_first_of(L"\\/.:") != CString::npos) return BDError(ERROR_FILE_NOT_FOUND, name.c_str());
    flags |= isFile ? SND_FILENAME : SND_ALIAS;
    if (!PlaySoundW(isFile ? FullPath(name).c_str() : name.c_str(), nullptr, flags))
        return BDError(ERROR_BD_NEEDS_SYSTEM, FormatStr(L"a sound device that plays %s", name.c_str()).c_str());
    return 0;
}
