// File information functions: attributes (@ATTRIB, @WATTRIB), links
// (@JUNCTION, @SYMLINK, @LINKS, @INODE), what the file is (@EXETYPE,
// @FILETYPE, @VERSION, @VERINFO, @PROPERTIES, @SUMMARY), who owns it and
// what it is called in its description (@OWNER, @DESCRIPT), the shell's
// special folders (@SHFOLDER) and the dialogs that pick a file or a
// folder (@GETFILE, @GETFOLDER).
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/state.h"
#include "files/descript.h"
#include "files/files.h"
#include "files/paths.h"
#include "files/ranges.h"
#include "files/search.h"
#include "vars/func_internal.h"
#include <commdlg.h>
#include <propsys.h>
#include <shlobj.h>
#include <shlwapi.h>

namespace {

// The attributes that @ATTRIB and @WATTRIB compare: R H S D A, and all of
// the /A: letters (the "normal" bit, which only means "none", left out).
constexpr unsigned kShortAttributes = 0x37;
constexpr unsigned kAllAttributes = 0x1AFF37;

// The name made full for the system (long names prefixed); false when it
// can't be.
bool SystemName(const CString &given, CString *full) {
    *full = given;
    if (full->empty() || !CreateFullPathName(*full, 1)) return false;
    MakeVLFN(*full);
    return true;
}

HANDLE OpenForQuery(const CString &full) {
    return CreateFileW(full.c_str(), 0, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                       FILE_FLAG_BACKUP_SEMANTICS, nullptr);
}

}  // namespace

// @ATTRIB[name]: the attributes as five places, R H S A D ("_" for one that
// is off); @ATTRIB[name,letters]: 1 when the file has exactly those of
// R H S A D (letters as for /A:, "-x" for one that must be off); with a
// third argument "p", 1 when it has at least them.  @WATTRIB does the same
// with all the attributes of /A:, in 17 places.
int Func_Attrib(FUNCCALL &call) {
    CString name, rest, letters, partial;
    NameAndRest(call.args, &name, &rest);
    if (!SplitAtComma(rest, &letters, &partial)) letters = rest;
    letters.Trim();
    partial.Trim();
    CString full;
    if (!SystemName(name, &full)) return ERROR_INVALID_PARAMETER;
    DWORD attributes = GetFileAttributesW(full.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return (int)GetLastError();
    bool wide = call.nCase == FC_wattrib;
    if (letters.empty()) {
        call.args = AttributeText(attributes, wide);
        return 0;
    }
    if (!partial.empty() && !partial.EqualsNoCase(L"p")) return ERROR_INVALID_PARAMETER;
    FILESEARCH wanted;
    GetSearchAttributes(letters.c_str(), &wanted);
    unsigned domain = wide ? kAllAttributes : kShortAttributes;
    bool match;
    if (!partial.empty())
        match = (attributes & wanted.fRequired) == wanted.fRequired && !(attributes & wanted.fForbidden) &&
                (!wanted.fAnyOf || (attributes & wanted.fAnyOf));
    else
        match = (attributes & domain) == (wanted.fRequired & domain);
    return SetNumber(call.args, match);
}

// @DESCRIPT[name]: the file's description.  @OWNER[name]: its owner,
// "domain\user".  @EXETYPE[name]: the kind of program, as the launcher
// tells them (0 none, 6/7 32-bit GUI/console, 9/10 64-bit GUI/console,
// ...).
int Func_FileFacts(FUNCCALL &call) {
    CString full;
    if (!SystemName(NameArgument(call.args), &full)) return ERROR_INVALID_PARAMETER;
    if (call.nCase == FC_exetype) {
        int type = GetExeType(full.c_str());
        return type < 0 && type != EXE_UNREADABLE ? -type : SetNumber(call.args, type < 0 ? 0 : type);
    }
    if (GetFileAttributesW(full.c_str()) == INVALID_FILE_ATTRIBUTES) return (int)GetLastError();
    CString text;
    if (call.nCase == FC_owner) {
        if (int rc = QueryFileOwner(full.c_str(), &text)) return rc;
    } else if (int rc = ReadDescriptions(full.c_str(), text)) {
        return rc;
    }
    call.args = text;
    return 0;
}

// @JUNCTION[name] the target of a junction (mount point), @SYMLINK[name]
// that of a symbolic link; empty for anything else.  @LINKS[name] the
// number of hard links of a file; @INODE[name] its file number.
int Func_Links(FUNCCALL &call) {
    CString full;
    if (!SystemName(NameArgument(call.args), &full)) return ERROR_INVALID_PARAMETER;
    if (call.nCase == FC_junction || call.nCase == FC_symlink) {
        if (GetFileAttributesW(full.c_str()) == INVALID_FILE_ATTRIBUTES) return (int)GetLastError();
        CString target;
        int kind = QueryLinkTarget(full.c_str(), &target);
        call.args = kind == (call.nCase == FC_junction ? 1 : 2) ? target : CString();
        return 0;
    }
    HANDLE h = OpenForQuery(full);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    BY_HANDLE_FILE_INFORMATION info;
    BOOL ok = GetFileInformationByHandle(h, &info);
    int rc = ok ? 0 : (int)GetLastError();
    CloseHandle(h);
    if (rc) return rc;
    if (call.nCase == FC_links) return SetNumber(call.args, info.nNumberOfLinks);
    call.args = FormatStr(L"%I64u", (unsigned long long)info.nFileIndexHigh << 32 | info.nFileIndexLow);
    return 0;
}

// @FILETYPE[name]: the name the system gives to files of its extension
// ("Text Document").
int Func_FileType(FUNCCALL &call) {
    CString name = NameArgument(call.args), ext;
    ExtensionPart(FilenamePart(name.c_str()), &ext);
    if (ext.empty()) {
        call.args.clear();
        return 0;
    }
    wchar_t text[512];
    DWORD size = 512;
    HRESULT hr = AssocQueryStringW(ASSOCF_NOTRUNCATE, ASSOCSTR_FRIENDLYDOCNAME, ext.c_str(), nullptr, text, &size);
    call.args = SUCCEEDED(hr) ? CString(text) : CString();
    return 0;
}

namespace {

// A string of a file's version resource: "\StringFileInfo\<lang>\field"
// in the first language the file names.
bool VersionString(const std::string &data, const CString &field, CString *value) {
    struct LANGCODE {
        WORD nLanguage, nCodePage;
    } *codes = nullptr;
    UINT size = 0;
    if (!VerQueryValueW(data.data(), L"\\VarFileInfo\\Translation", (void **)&codes, &size) || size < sizeof(LANGCODE))
        return false;
    CString path = FormatStr(L"\\StringFileInfo\\%04x%04x\\%s", codes->nLanguage, codes->nCodePage, field.c_str());
    wchar_t *text = nullptr;
    if (!VerQueryValueW(data.data(), path.c_str(), (void **)&text, &size) || !text) return false;
    *value = CString(text, size && !text[size - 1] ? size - 1 : size);
    return true;
}

}  // namespace

// @VERSION[name]: the file's version as "a.b.c.d"; @VERINFO[name,field]:
// a field of its version resource (FileVersion, ProductName,
// CompanyName, FileDescription, ...).  Empty when the file has none.
int Func_Version(FUNCCALL &call) {
    CString name, field;
    NameAndRest(call.args, &name, &field);
    StripQuotes_S(field);
    if (call.nCase == FC_verinfo && field.empty()) return ERROR_INVALID_PARAMETER;
    CString full;
    if (!SystemName(name, &full)) return ERROR_INVALID_PARAMETER;
    if (GetFileAttributesW(full.c_str()) == INVALID_FILE_ATTRIBUTES) return (int)GetLastError();
    call.args.clear();
    DWORD handle = 0, size = GetFileVersionInfoSizeW(full.c_str(), &handle);
    if (!size) return 0;
    std::string data(size, '\0');
    if (!GetFileVersionInfoW(full.c_str(), 0, size, data.data())) return 0;
    if (call.nCase == FC_verinfo) {
        VersionString(data, field, &call.args);
        return 0;
    }
    VS_FIXEDFILEINFO *fixed = nullptr;
    UINT length = 0;
    if (VerQueryValueW(data.data(), L"\\", (void **)&fixed, &length) && fixed && length >= sizeof(*fixed))
        call.args = FormatStr(L"%u.%u.%u.%u", HIWORD(fixed->dwFileVersionMS), LOWORD(fixed->dwFileVersionMS),
                              HIWORD(fixed->dwFileVersionLS), LOWORD(fixed->dwFileVersionLS));
    return 0;
}

namespace {

// A property of a file from the system's property store, by its
// canonical name ("System.Title").  The property functions live in
// propsys.dll, which is loaded when first asked for.
int FileProperty(const CString &full, const CString &property, CString *value) {
    using KeyFromName = HRESULT(WINAPI *)(PCWSTR, PROPERTYKEY *);
    using ToString = HRESULT(WINAPI *)(REFPROPVARIANT, PWSTR *);
    static HMODULE propsys = LoadLibraryW(L"propsys.dll");
    auto keyFromName = propsys ? (KeyFromName)(void *)GetProcAddress(propsys, "PSGetPropertyKeyFromName") : nullptr;
    auto toString = propsys ? (ToString)(void *)GetProcAddress(propsys, "PropVariantToStringAlloc") : nullptr;
    if (!keyFromName || !toString) return ERROR_BD_FUNC_NOT_AVAILABLE;
    PROPERTYKEY key;
    if (FAILED(keyFromName(property.c_str(), &key))) return ERROR_INVALID_PARAMETER;
    bool comStarted = SUCCEEDED(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED));
    IPropertyStore *store = nullptr;
    HRESULT hr = SHGetPropertyStoreFromParsingName(full.c_str(), nullptr, GPS_DEFAULT, IID_IPropertyStore, (void **)&store);
    value->clear();
    if (SUCCEEDED(hr) && store) {
        PROPVARIANT pv;
        PropVariantInit(&pv);
        if (SUCCEEDED(store->GetValue(key, &pv)) && pv.vt != VT_EMPTY) {
            PWSTR text = nullptr;
            if (SUCCEEDED(toString(pv, &text)) && text) {
                *value = text;
                CoTaskMemFree(text);
            }
        }
        PropVariantClear(&pv);
        store->Release();
    }
    if (comStarted) CoUninitialize();
    return SUCCEEDED(hr) ? 0 : ERROR_FILE_NOT_FOUND;
}

}  // namespace

// @PROPERTIES[name,property]: a property of the file by its canonical
// name ("System.Title", "System.Image.Dimensions", ...).
// @SUMMARY[name,field]: a field of its summary: title, subject, author,
// keywords, comments, category, template, lastauthor, revision, appname.
int Func_Properties(FUNCCALL &call) {
    static const struct {
        const wchar_t *field, *property;
    } summary[] = {{L"title", L"System.Title"},           {L"subject", L"System.Subject"},
                   {L"author", L"System.Author"},         {L"keywords", L"System.Keywords"},
                   {L"comments", L"System.Comment"},      {L"category", L"System.Category"},
                   {L"template", L"System.Document.Template"}, {L"lastauthor", L"System.Document.LastAuthor"},
                   {L"revision", L"System.Document.RevisionNumber"}, {L"appname", L"System.ApplicationName"}};
    CString name, property;
    NameAndRest(call.args, &name, &property);
    StripQuotes_S(property);
    if (property.empty()) return ERROR_INVALID_PARAMETER;
    if (call.nCase == FC_summary) {
        CString canonical;
        for (const auto &s : summary)
            if (property.EqualsNoCase(s.field)) canonical = s.property;
        if (canonical.empty()) return ERROR_INVALID_PARAMETER;
        property = canonical;
    }
    CString full;
    if (!SystemName(name, &full)) return ERROR_INVALID_PARAMETER;
    if (GetFileAttributesW(full.c_str()) == INVALID_FILE_ATTRIBUTES) return (int)GetLastError();
    CString value;
    if (int rc = FileProperty(WithoutVLFN(full), property, &value)) return rc;
    call.args = value;
    return 0;
}

// @SHFOLDER[n]: the path of the shell's special folder number n (CSIDL:
// 5 documents, 26 application data, 39 pictures, ...).
int Func_ShFolder(FUNCCALL &call) {
    int n = 0, used = 0;
    CString text = call.args;
    if (Sscanf(text.c_str(), L" %i %n", &n, &used) < 1 || (size_t)used != text.size()) return ERROR_INVALID_PARAMETER;
    wchar_t path[MAX_PATH];
    HRESULT hr = SHGetFolderPathW(nullptr, n, nullptr, SHGFP_TYPE_CURRENT, path);
    if (FAILED(hr)) return hr == E_INVALIDARG ? ERROR_INVALID_PARAMETER : ERROR_PATH_NOT_FOUND;
    call.args = path;
    return 0;
}

namespace {

int CALLBACK FolderDialogStart(HWND window, UINT message, LPARAM, LPARAM start) {
    if (message == BFFM_INITIALIZED && start) SendMessageW(window, BFFM_SETSELECTIONW, TRUE, start);
    return 0;
}

}  // namespace

// @GETFILE[[dir[,filter]]]: the file the user picks in the system's open
// dialog (filter as "*.txt;*.log"); @GETFOLDER[[dir]]: the folder picked
// in the folder dialog.  Empty when the dialog is cancelled.
int Func_GetFile(FUNCCALL &call) {
    CString dir, filter;
    NameAndRest(call.args, &dir, &filter);
    StripQuotes_S(filter);
    if (!dir.empty() && !CreateFullPathName(dir, 0)) return -2;
    if (!dir.empty() && !IsDirectory(dir)) return ERROR_PATH_NOT_FOUND;
    HWND owner = aGlobals.hConsoleWindow;
    call.args.clear();
    if (call.nCase == FC_getfolder) {
        BROWSEINFOW info{};
        info.hwndOwner = owner;
        info.ulFlags = BIF_RETURNONLYFSDIRS | BIF_NEWDIALOGSTYLE;
        info.lpfn = FolderDialogStart;
        info.lParam = (LPARAM)(dir.empty() ? nullptr : dir.c_str());
        if (PIDLIST_ABSOLUTE list = SHBrowseForFolderW(&info)) {
            wchar_t path[MAX_PATH];
            if (SHGetPathFromIDListW(list, path)) call.args = path;
            CoTaskMemFree(list);
        }
        return 0;
    }
    using OpenDialog = BOOL(WINAPI *)(LPOPENFILENAMEW);
    static HMODULE dialogs = LoadLibraryW(L"comdlg32.dll");
    auto open = dialogs ? (OpenDialog)(void *)GetProcAddress(dialogs, "GetOpenFileNameW") : nullptr;
    if (!open) return ERROR_BD_FUNC_NOT_AVAILABLE;
    if (filter.empty()) filter = L"*.*";
    CString filters = filter + CString(1, L'\0') + filter + CString(2, L'\0');
    CString file(0x8000, L'\0');
    OPENFILENAMEW ofn{};
    ofn.lStructSize = sizeof(ofn);
    ofn.hwndOwner = owner;
    ofn.lpstrFilter = filters.c_str();
    ofn.lpstrFile = file.data();
    ofn.nMaxFile = (DWORD)file.size();
    ofn.lpstrInitialDir = dir.empty() ? nullptr : dir.c_str();
    ofn.Flags = OFN_FILEMUSTEXIST | OFN_PATHMUSTEXIST | OFN_EXPLORER | OFN_NOCHANGEDIR;
    if (open(&ofn)) call.args = file.c_str();
    return 0;
}
