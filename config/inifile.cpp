// Reading ini files: the file's encoding, its lines, sections and includes,
// the report of bad lines, and the named and default files.
#include <shlobj.h>
#include <cwchar>
#include <vector>
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"

namespace {

constexpr int kMaxLine = 0x7FFF;
constexpr int kMaxIncludeDepth = 3;

// Decode the bytes of a file by its byte-order mark: UTF-16 (either byte
// order), UTF-8, and otherwise UTF-8 when the bytes are valid UTF-8 with
// something beyond ASCII in them, else the ANSI code page.
CString DecodeIniBytes(const std::string &bytes) {
    const unsigned char *b = (const unsigned char *)bytes.data();
    size_t n = bytes.size();
    if (n >= 2 && ((b[0] == 0xFF && b[1] == 0xFE) || (b[0] == 0xFE && b[1] == 0xFF))) {
        bool swap = b[0] == 0xFE;
        CString text;
        for (size_t i = 2; i + 1 < n; i += 2)
            text += (wchar_t)(swap ? (b[i] << 8 | b[i + 1]) : (b[i + 1] << 8 | b[i]));
        return text;
    }
    if (n >= 3 && b[0] == 0xEF && b[1] == 0xBB && b[2] == 0xBF)
        return FromCodePage(bytes.data() + 3, (int)n - 3, CP_UTF8);
    bool ascii = true;
    for (size_t i = 0; i < n && ascii; i++) ascii = b[i] < 0x80;
    if (!ascii && MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), (int)n, nullptr, 0) > 0)
        return FromCodePage(bytes.data(), (int)n, CP_UTF8);
    return FromCodePage(bytes.data(), (int)n, CP_ACP);
}

// The whole text of a file, or a system error code.
int ReadIniText(const CString &file, CString *text) {
    HANDLE h = CreateFileW(file.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) {
        int rc = (int)GetLastError();
        return rc ? rc : ERROR_FILE_NOT_FOUND;
    }
    std::string bytes;
    std::string chunk(65536, '\0');
    DWORD got = 0;
    while (ReadFile(h, chunk.data(), (DWORD)chunk.size(), &got, nullptr) && got) bytes.append(chunk.data(), got);
    CloseHandle(h);
    *text = DecodeIniBytes(bytes);
    return 0;
}

// Fill the numbered inserts %1 to %9 of a message.
CString FillInserts(const CString &text, const std::vector<CString> &inserts) {
    CString out;
    for (size_t i = 0; i < text.size(); i++) {
        size_t n = text.At(i + 1) - L'1';
        if (text[i] == L'%' && n < inserts.size()) {
            out += inserts[n];
            i++;
        } else {
            out += text[i];
        }
    }
    return out;
}

// With no console and no standard error (a windowed host) the report goes
// to a message box; otherwise to standard error.
bool HasErrorStream() {
    HANDLE h = StdErr();
    return h && h != INVALID_HANDLE_VALUE && GetFileType(h) != FILE_TYPE_UNKNOWN;
}

void ReportIniError(const INIFILE *block, const CString &text, int line, const CString &file, const wchar_t *error) {
    if (block->NoINIErrors) return;
    CString format = LoadLanguageString(IDS_INI_ERROR);
    if (format.empty()) format = L"%3 [%2]  %4 %1";
    CString quoted = text.empty() ? CString() : L"\"" + text + L"\"";
    CString message = FillInserts(format, {quoted, FormatStr(L"%d", line), file, CString(error)});
    message.TrimRight();
    if (aGlobals.fNoConsole && !HasErrorStream()) {
        MessageBoxW(nullptr, message.c_str(), L"BDX", MB_OK | MB_ICONWARNING);
        return;
    }
    aHooks.pfnWriteText(StdErr(), message + L"\r\n");
    if (block->PauseOnError && QueryIsConsole(StdIn()))
        aHooks.pfnQueryKey(LoadLanguageString(IDS_PRESS_ANY_KEY).c_str(), nullptr);
}

// INIQuery: ask about each line.  1 reads it, 0 skips it.
int QueryIniLine(INIFILE *block, const CString &line) {
    int answer = MessageBoxW(nullptr, line.c_str(), L"INIQuery", MB_YESNOCANCEL | MB_ICONQUESTION);
    if (answer == IDNO) return 0;
    if (answer == IDCANCEL) block->INIQuery = 0;
    return 1;
}

struct INIPARSE {
    INIFILE *block;
    unsigned nSkipMask;
};

int ParseIniFile(const CString &file, INIPARSE &state, int depth, unsigned section);

// An include names a file beside the including one, or one that stands
// as written (from the current directory).
CString IncludeName(const CString &name, const CString &includer) {
    bool relative = !(name.At(0) == L'\\' || name.At(0) == L'/' || name.At(1) == L':');
    size_t slash = includer.find_last_of(L"\\/");
    if (relative && slash != CString::npos) {
        CString beside = includer.Left(slash + 1) + name;
        if (GetFileAttributesW(beside.c_str()) != INVALID_FILE_ATTRIBUTES) return beside;
    }
    return name;
}

void IncludeFile(const CString &name, const CString &line, int lineNo, const CString &file, INIPARSE &state,
                 int depth, unsigned section) {
    CString include = IncludeName(name, file);
    DWORD attr = GetFileAttributesW(include.c_str());
    if (attr == INVALID_FILE_ATTRIBUTES || (attr & FILE_ATTRIBUTE_DIRECTORY)) {
        ReportIniError(state.block, line, lineNo, file, L"Include file not found");
        return;
    }
    if (depth + 1 > kMaxIncludeDepth) {
        ReportIniError(state.block, CString(), 1, include, L"Include files nested too deeply");
        return;
    }
    if (ParseIniFile(include, state, depth + 1, section))
        ReportIniError(state.block, line, lineNo, file, L"Include file not found");
}

int ParseIniFile(const CString &file, INIPARSE &state, int depth, unsigned section) {
    CString text;
    if (int rc = ReadIniText(file, &text)) return rc;
    int lineNo = 0;
    for (size_t pos = 0; pos < text.size();) {
        size_t end = text.find(L'\n', pos);
        if (end == CString::npos) end = text.size();
        CString line = text.Mid(pos, end - pos < (size_t)kMaxLine ? end - pos : kMaxLine);
        pos = end + 1;
        lineNo++;
        line.TrimLeft(L" \r");
        line.TrimRight(L" \r\n");
        if (line.empty() || line[0] == L';') continue;
        if (state.block->INIQuery && !QueryIniLine(state.block, line)) continue;
        CString original = line;
        const wchar_t *error = nullptr;
        int rc = IniLine(line, state.block, (int)(section & state.nSkipMask), 0, &error);
        if (rc == INI_INCLUDE) {
            IncludeFile(line, original, lineNo, file, state, depth, section);
        } else if (rc < 0) {
            section = (unsigned)-rc;
            state.block->nSectionMask |= section;
        } else if (rc > 0) {
            ReportIniError(state.block, original, lineNo, file, error);
        }
    }
    return 0;
}

CString FullPathName(const wchar_t *name) {
    DWORD n = GetFullPathNameW(name, 0, nullptr, nullptr);
    if (!n) return name;
    CString full(n, L'\0');
    n = GetFullPathNameW(name, n, full.data(), nullptr);
    full.resize(n);
    return full;
}

// Each key of the file's [Disabled] section names a command to disable.
void DisableListedCommands(const CString &file) {
    CString keys(4096, L'\0');
    for (;;) {
        DWORD n = GetPrivateProfileStringW(L"Disabled", nullptr, L"", keys.data(), (DWORD)keys.size(), file.c_str());
        if (n + 2 < keys.size()) {
            keys.resize(n);
            break;
        }
        keys.resize(keys.size() * 2);
    }
    for (size_t at = 0; at < keys.size(); at = keys.find(L'\0', at) + 1) {
        CString name = keys.c_str() + at;
        name.Trim();
        if (!name.empty()) aHooks.pfnEnableCommand(name.c_str(), false);
        if (keys.find(L'\0', at) == CString::npos) break;
    }
}

}  // namespace

int IniParse(const wchar_t *file, INIFILE *block, unsigned skipMask) {
    INIPARSE state{block, skipMask | INI_SECTION_OTHER};
    return ParseIniFile(CString(file), state, 0, 0);
}

int ProcessINI(const wchar_t *file) {
    if (!file) return ERROR_INVALID_PARAMETER;
    if (*file == L'@') file++;
    CString name = file;
    name.Trim();
    StripValueQuotes(name);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    unsigned skip = aIniFile.nSecondary ? INI_SECTION_PRIMARY : INI_SECTION_SECONDARY;
    if (int rc = IniParse(name.c_str(), &aIniFile, skip)) return rc;
    CString full = FullPathName(name.c_str());
    if (const OPTIONROW *row = FindOption(L"PrimaryINIFile")) SetStringOption(&aIniFile, *row, full.c_str());
    aIniFile.fLoaded = 1;
    DisableListedCommands(full);
    SaveIniData();
    return 0;
}

namespace {

// A folder of the system's (CSIDL_COMMON_APPDATA, CSIDL_LOCAL_APPDATA);
// empty when it has none.  (The form that fills a buffer needs no COM
// memory, so start-up does not load the COM library.)
CString KnownFolder(int csidl) {
    wchar_t path[MAX_PATH];
    return SUCCEEDED(SHGetFolderPathW(nullptr, csidl, nullptr, SHGFP_TYPE_CURRENT, path)) ? CString(path) : CString();
}

}  // namespace

void DefaultINI(const wchar_t *name) {
    if (!aIniFile.fLoaded) {
        CString dir = aGlobals.sExecutablePath;
        if (!dir.empty() && dir.back() != L'\\') dir += L'\\';
        bool found = !ProcessINI((dir + name).c_str());
        bool bootRoot = dir.size() == 3 && dir[1] == L':' && ToUpperChar(dir[0]) == ToUpperChar(aIniFile.cBootDrive);
        if (!found && !bootRoot) {
            CString common = KnownFolder(CSIDL_COMMON_APPDATA);
            if (!common.empty()) found = !ProcessINI(FormatStr(L"%s\\Marlo Works\\BDX-RT 26\\BDXM.INI", common.c_str()).c_str());
        }
        if (!found && !bootRoot) {
            CString local = KnownFolder(CSIDL_LOCAL_APPDATA);
            if (!local.empty()) {
                local += L"\\MarloSoft";
                CreateDirectoryW(local.c_str(), nullptr);
                ProcessINI((local + L"\\" + name).c_str());
            }
        }
    }
    aIniFile.fLoaded = 1;
    aIniFile.fEditInsert = aIniFile.EditMode & 1;
    SaveIniData();
}
