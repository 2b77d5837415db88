// Pseudo-variables: names that no store holds and that have a value all
// the same (ERRORLEVEL, CD, DATE, TIME, RANDOM...), tried after every other
// source; and the %= and %+ pass, which stands for the escape character
// and the command separator.
#include <random>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "vars/expand.h"
#include "vars/expand_internal.h"

namespace {

// The exit code of the last program or exit-code-setting command.
bool ErrorLevel(CString *value) {
    *value = std::to_wstring(GetTLS()->nExitCode);
    return true;
}

bool CommandLine(CString *value) {
    *value = GetCommandLineW();
    return true;
}

bool ExtensionVersion(CString *value) {
    *value = L"2";
    return true;
}

// A number from 0 to 32767, different in every shell.
bool RandomNumber(CString *value) {
    static thread_local std::mt19937 generator{std::random_device{}() ^ GetCurrentProcessId() ^ GetTickCount()};
    *value = std::to_wstring(std::uniform_int_distribution<int>(0, 32767)(generator));
    return true;
}

// The time as hours, minutes, seconds and hundredths.
bool CurrentTime(CString *value) {
    SYSTEMTIME now;
    GetLocalTime(&now);
    *value = FormatStr(L"%2d:%02d:%02d%c%02d", now.wHour, now.wMinute, now.wSecond, QueryDecimalChar(),
                       now.wMilliseconds / 10);
    return true;
}

// Today in the user's short date format.
bool CurrentDate(CString *value) {
    int n = GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, nullptr, nullptr, nullptr, 0);
    if (n <= 0) return false;
    value->resize((size_t)n);
    n = GetDateFormatW(LOCALE_USER_DEFAULT, DATE_SHORTDATE, nullptr, nullptr, value->data(), n);
    if (n <= 0) return false;
    value->resize((size_t)n - 1);
    return true;
}

bool DirectoryValue(CString *value) {
    *value = CurrentDirectory();
    return !value->empty();
}

// Looked up at run time: older systems lack the call.
bool HighestNumaNode(CString *value) {
    using Query = BOOL(WINAPI *)(PULONG);
    HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
    auto query = kernel ? reinterpret_cast<Query>(reinterpret_cast<void *>(
                              GetProcAddress(kernel, "GetNumaHighestNodeNumber")))
                        : nullptr;
    ULONG node = 0;
    if (!query || !query(&node)) return false;
    *value = std::to_wstring(node);
    return true;
}

struct PseudoVariable {
    const wchar_t *pszName;
    bool (*pfnValue)(CString *value);
};

const PseudoVariable aPseudoVariables[] = {
    {L"ERRORLEVEL", ErrorLevel},       {L"CMDCMDLINE", CommandLine}, {L"CMDEXTVERSION", ExtensionVersion},
    {L"RANDOM", RandomNumber},         {L"TIME", CurrentTime},       {L"DATE", CurrentDate},
    {L"CD", DirectoryValue},           {L"HIGHESTNUMANODENUMBER", HighestNumaNode},
};

}  // namespace

bool PseudoVariableValue(const CString &name, CString *value) {
    for (const PseudoVariable &row : aPseudoVariables)
        if (name.EqualsNoCase(row.pszName)) return row.pfnValue(value);
    return false;
}

// The compatibility switch of aGlobals (the reduced mode) turns the pass
// off, as it turns off the other additions to the older syntax.
int ExpandPseudoVariables(CString &line) {
    unsigned flags = ParseFlagsValue();
    if (!aIniFile.ExpandPseudovariables || (flags & PF_NO_VARIABLES) || aGlobals.fCompatibility) return 0;
    wchar_t esc = EscapeCharValue();
    bool escapes = !(flags & PF_NO_ESCAPES);
    for (size_t i = 0; i < line.size(); i++) {
        wchar_t c = line[i];
        if (c == L'`' && !(flags & PF_NO_QUOTES)) {
            size_t j = i + 1;
            for (; j < line.size() && line[j] != L'`'; j++)
                if (escapes && line[j] == esc) j++;
            if (j >= line.size()) return BDError(ERROR_BD_NO_CLOSE_QUOTE, nullptr);
            i = j;
        } else if (escapes && c == esc) {
            i++;
        } else if (c == L'%' && line.At(i + 1) == L'=') {
            wchar_t next = line.At(i + 2);
            if ((next < L'0' || next > L'9') && !QueryIsWhiteSpace(next)) {
                line.erase(i, 1);
                line[i] = esc;
            }
        } else if (c == L'%' && line.At(i + 1) == L'+' && QueryIsDelimiter(line.At(i + 2)) &&
                   !(flags & PF_NO_COMPOUND)) {
            line.erase(i, 1);
            line[i] = CommandSepChar();
        }
    }
    return 0;
}
