// Input and output of the list commands: /R and /Z reading of definition
// files, editing a value at the console (ESET), and the paged listing.
#include <cwchar>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "vars/lists.h"

namespace {

constexpr wchar_t kConsoleName[] = L"CON";

// A UTF-8 text without a byte order mark: every byte above 0x7F in a
// well-formed sequence, and at least one such sequence.
bool LooksLikeUTF8(const unsigned char *p, size_t n) {
    bool multi = false;
    for (size_t i = 0; i < n && p[i];) {
        unsigned char c = p[i];
        size_t more = c < 0x80 ? 0 : c >= 0xC2 && c <= 0xDF ? 1 : c >= 0xE0 && c <= 0xEF ? 2 : c >= 0xF0 && c <= 0xF4 ? 3 : 9;
        if (more == 9) return false;
        for (size_t k = 1; k <= more; k++)
            if (i + k >= n || (p[i + k] & 0xC0) != 0x80) return i + k >= n && multi;
        multi = multi || more;
        i += more + 1;
    }
    return multi;
}

// The encoding flags of a disk file, leaving it positioned behind any byte
// order mark.
int DetectFileEncoding(HANDLE h) {
    if (GetFileType(h) != FILE_TYPE_DISK) return 0;
    unsigned char buffer[2048];
    DWORD n = 0;
    if (!ReadFile(h, buffer, sizeof(buffer), &n, nullptr)) n = 0;
    LARGE_INTEGER to{};
    int flags = 0;
    if (n >= 2 && buffer[0] == 0xFF && buffer[1] == 0xFE) {
        flags = GNL_UTF16, to.QuadPart = 2;
    } else if (n >= 3 && buffer[0] == 0xEF && buffer[1] == 0xBB && buffer[2] == 0xBF) {
        flags = GNL_UTF8, to.QuadPart = 3;
    } else if (n >= 4 && n % 2 == 0 && buffer[0] && !buffer[1] && buffer[2] && !buffer[3]) {
        flags = GNL_UTF16;
    } else if (aIniFile.UTF8 && LooksLikeUTF8(buffer, n)) {
        flags = GNL_UTF8;
    }
    SetFilePointerEx(h, to, nullptr, FILE_BEGIN);
    return flags;
}

// The next definition: left-trimmed, with continuation lines joined;
// comments and empty lines skipped.  False at the end of the file.
bool NextDefinition(HANDLE h, int flags, CString &line) {
    for (;;) {
        if (!GetNextLine(h, line, flags, nullptr, MAX_LINE_CHARS)) return false;
        line.TrimLeft();
        while (!line.empty() && line.back() == EscapeCharValue()) {
            line.pop_back();
            CString next;
            if (!GetNextLine(h, next, flags, nullptr, MAX_LINE_CHARS)) break;
            next.TrimLeft();
            line += next;
        }
        if (!line.empty() && line[0] != L':') return true;
    }
}

// /O: the name read with "511%[^=]".  The digits are literal text to
// match, not a width, so for any line that does not begin with them the
// name stays empty and the definition goes ahead.
bool AlreadyDefined(const CString &line, wchar_t **list) {
    CString name(line.size() + 1, L'\0');
    Sscanf(line.c_str(), L"511%[^=]", name.data());
    name.resize(wcslen(name.c_str()));
    if (name.empty()) return false;
    return list ? GetVariableList(name.c_str(), *list) != nullptr : QueryEnvVar(name.c_str(), nullptr);
}

// One definition (or, for UNSET /R, one removal).
int TakeDefinition(CString &line, wchar_t **list, unsigned flags, unsigned regFlags) {
    if (flags & LF_NAMES_ONLY) {
        CString name = line.Left(line.find_first_of(list ? L"= \t" : L"="));
        if (regFlags) return RegistryEnvironment(regFlags | REG_ACTION_DELETE, name);
        return AddVariableToList((name + L"=").c_str(), list);
    }
    if (regFlags) return RegistryEnvironment(regFlags | REG_ACTION_SET, line);
    if ((flags & LF_ONLY_NEW) && AlreadyDefined(line, list)) return 0;
    return AddVariableToList(line.c_str(), list);
}

// /Z: each line straight into the block, its first blank, tab or "=" made
// the "=".
void AppendRawLines(HANDLE h, int flags, CString &body) {
    CString line;
    while (GetNextLine(h, line, flags, nullptr, MAX_LINE_CHARS)) {
        if (line.empty()) continue;
        size_t cut = line.find_first_of(L" \t=");
        if (cut != CString::npos) line[cut] = L'=';
        body += line;
        body += L'\0';
    }
}

// Open a named file (or standard input for "CON"); reports a failure.
HANDLE OpenListFile(const CString &name, bool *own) {
    *own = !name.EqualsNoCase(kConsoleName);
    if (!*own) return StdIn();
    HANDLE h = CreateFileW(name.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, OPEN_EXISTING,
                           FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) BDError((int)GetLastError(), name.c_str());
    return h;
}

}  // namespace

int ReadListFiles(CString &names, wchar_t **list, int kind, unsigned flags, unsigned regFlags) {
    std::vector<CString> files;
    CString word;
    for (int i = 0; GetNthArgument(names.c_str(), i | ARG_NO_SWITCH_SPLIT, &word); i++) {
        StripEnclosingQuotes_S(word);
        files.push_back(word);
    }
    if (files.empty()) files.push_back(kConsoleName);
    bool replace = (flags & LF_REPLACE) && kind >= 0 && list;
    CString body;
    int rc = 0;
    for (const CString &file : files) {
        bool own;
        HANDLE h = OpenListFile(file, &own);
        if (h == INVALID_HANDLE_VALUE) {
            rc = 2;
            continue;
        }
        int encoding = own ? DetectFileEncoding(h) : 0;
        if (replace) {
            AppendRawLines(h, encoding, body);
        } else {
            CString line;
            while (!rc && NextDefinition(h, encoding, line)) rc = TakeDefinition(line, list, flags, regFlags);
        }
        if (own) CloseHandle(h);
        if (rc && !replace) break;
    }
    if (replace && !rc) {
        body += L'\0';
        rc = ReplaceListContents(list, body);
    }
    return rc;
}

namespace {

// The virtual key of a typed character where it has one of its own: the
// letters, the digits and the blank.  The line reader goes by the
// character; asking the keyboard layout instead would load it here, and
// under Wine keys typed while it loads can be lost.
WORD CharacterKey(wchar_t c) {
    if ((c >= L'0' && c <= L'9') || (c >= L'A' && c <= L'Z') || c == L' ') return (WORD)c;
    if (c >= L'a' && c <= L'z') return (WORD)(c - L'a' + L'A');
    return 0;
}

// Put text into the console's input as typed keys, so that the line
// reader starts with it and the user can change it.
void TypeAhead(HANDLE in, const CString &text) {
    std::vector<INPUT_RECORD> keys;
    for (wchar_t c : text) {
        INPUT_RECORD down{};
        down.EventType = KEY_EVENT;
        down.Event.KeyEvent.bKeyDown = TRUE;
        down.Event.KeyEvent.wRepeatCount = 1;
        down.Event.KeyEvent.uChar.UnicodeChar = c;
        down.Event.KeyEvent.wVirtualKeyCode = CharacterKey(c);
        INPUT_RECORD up = down;
        up.Event.KeyEvent.bKeyDown = FALSE;
        keys.push_back(down);
        keys.push_back(up);
    }
    DWORD written = 0;
    if (!keys.empty()) WriteConsoleInputW(in, keys.data(), (DWORD)keys.size(), &written);
}

int ScreenRows() {
    CONSOLE_SCREEN_BUFFER_INFO info;
    if (GetConsoleScreenBufferInfo(StdOut(), &info)) return info.srWindow.Bottom - info.srWindow.Top + 1;
    return 25;
}

// Wait for a key after a page; false for Esc.
bool WaitForPageKey() {
    Printf(L"%s", LoadLanguageString(IDS_PAGE_PAUSE).c_str());
    HANDLE in = StdIn();
    bool go = true;
    for (;;) {
        INPUT_RECORD record;
        DWORD got = 0;
        if (!ReadConsoleInputW(in, &record, 1, &got) || !got) break;
        if (record.EventType != KEY_EVENT || !record.Event.KeyEvent.bKeyDown) continue;
        WORD key = record.Event.KeyEvent.wVirtualKeyCode;
        if (key == VK_SHIFT || key == VK_CONTROL || key == VK_MENU) continue;
        go = key != VK_ESCAPE;
        break;
    }
    CrLf();
    CheckBreak();
    return go;
}

}  // namespace

int EditValue(const CString &prompt, CString &text) {
    HANDLE in = StdIn();
    if (!QueryIsConsole(in)) return BDError(ERROR_BD_NEEDS_CONSOLE, GetTLS()->sCommandName.c_str());
    FlushConsoleInputBuffer(in);
    QPuts(prompt.c_str());
    TypeAhead(in, text);
    CString line;
    if (!egets(line, MAX_LINE_CHARS, 0, nullptr)) return 0;  // Ctrl+Z: keep the value
    text = line;
    return 0;
}

void StartPager(PAGER &pager, bool paged, int count) {
    pager.nShown = 0;
    pager.fStopped = false;
    pager.nLines = 0;
    if (!paged || !QueryIsConsole(StdOut()) || !QueryIsConsole(StdIn())) return;
    pager.nLines = count > 0 ? count : ScreenRows() - 1;
    if (pager.nLines < 1) pager.nLines = 1;
}

bool PagerLine(PAGER &pager, const CString &text) {
    if (pager.fStopped) return false;
    Printf(L"%s\r\n", text.c_str());
    if (pager.nLines && ++pager.nShown >= pager.nLines) {
        pager.nShown = 0;
        if (!WaitForPageKey()) pager.fStopped = true;
    }
    return !pager.fStopped;
}
