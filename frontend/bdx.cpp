// BDX.EXE: the console front end.  It parses its own command line, brings
// up the interpreter in Brindle.dll and runs the prompt loop.
#include <string>
#include <vector>
#include "base/breaks.h"
#include "base/hooks.h"
#include "config/config.h"
#include "console/console.h"
#include "core/core.h"

namespace {

struct Options {
    std::wstring iniFile;
    std::vector<std::wstring> directives;
    std::wstring command;
    bool once = false;      // /C: run the command and leave
    bool keep = false;      // /K: run the command and stay
};

// The text of the command line behind the program's own name.
const wchar_t *SkipProgramName(const wchar_t *p) {
    if (*p == L'"') {
        for (p++; *p && *p != L'"'; p++) {
        }
        if (*p) p++;
    } else {
        while (*p && *p != L' ' && *p != L'\t') p++;
    }
    while (*p == L' ' || *p == L'\t') p++;
    return p;
}

// Switches stop at the first word that is none; /C and /K take the rest
// of the line as it stands.
Options ParseCommandLine(const wchar_t *p) {
    Options o;
    for (;;) {
        while (*p == L' ' || *p == L'\t') p++;
        if (!*p) break;
        if ((p[0] == L'/' || p[0] == L'-') && (p[1] | 0x20) == L'c' && (!p[2] || p[2] == L' ' || p[2] == L'\t')) {
            o.once = true;
            o.command = p[2] ? p + 3 : L"";
            break;
        }
        if ((p[0] == L'/' || p[0] == L'-') && (p[1] | 0x20) == L'k' && (!p[2] || p[2] == L' ' || p[2] == L'\t')) {
            o.keep = true;
            o.command = p[2] ? p + 3 : L"";
            break;
        }
        const wchar_t *end = p;
        if (*end == L'"') {
            for (end++; *end && *end != L'"'; end++) {
            }
            if (*end) end++;
        }
        while (*end && *end != L' ' && *end != L'\t') end++;
        std::wstring word(p, end);
        if (word.size() > 2 && word[0] == L'/' && word[1] == L'/') o.directives.push_back(word);
        else if (word[0] == L'@') o.iniFile = word;
        else if (word[0] == L'/') { /* switches of other hosts are ignored */ }
        else {
            o.keep = true;
            o.command = p;
            break;
        }
        p = end;
    }
    return o;
}

// "/C "a & b"": a command line given whole in quotes loses them, when
// they are its only quotes.
std::wstring StripOuterQuotes(const std::wstring &text) {
    size_t last = text.find_last_not_of(L" \t");
    if (text.size() >= 2 && text[0] == L'"' && last != std::wstring::npos && last > 0 && text[last] == L'"' &&
        text.find(L'"', 1) == last)
        return text.substr(1, last - 1);
    return text;
}

int PromptLoop() {
    for (;;) {
        wchar_t *line = nullptr;
        try {
            ResetParsingFlags();
            ResetBreakHandling();
            EnableSignals();
            ShowPrompt(L"PROMPT");
            if (!ReadInputLine(&line)) break;
            Command(line, CMD_TYPED | CMD_ECHO);
        } catch (...) {
            // An interrupt unwound the line: back to the prompt.
        }
        FreeInputLine(line);
    }
    return ExitShell(L"");
}

}  // namespace

int wmain() {
    Options o = ParseCommandLine(SkipProgramName(GetCommandLineW()));
    InitializeCOMSecurity();
    std::wstring ini = o.iniFile;
    if (int rc = InitializeDLL(ini.empty() ? nullptr : ini.data())) return rc;
    for (std::wstring &d : o.directives) SetINIDirective(d.data());
    if (QueryStartupFileOption()) RunStartupFiles(L"BDSTART", nullptr);
    if (o.once || o.keep) {
        try {
            Command(StripOuterQuotes(o.command).c_str(), CMD_ECHO);
        } catch (...) {
        }
        if (o.once) return ExitShell(L"");
    }
    return PromptLoop();
}
