// OPTION and SETDOS, the commands that read and change the options at run
// time, and SetINIDirective, the front end's //name=value.  Changes are
// made on a scratch copy of the block and kept only when every setting of
// the command was good.
#include <cwchar>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/options.h"
#include "base/state.h"
#include "config/config.h"
#include "config/ini_internal.h"

namespace {

// A scratch copy of aIniFile that frees its strings when it goes.
struct SCRATCHBLOCK {
    INIFILE block{};
    SCRATCHBLOCK() { CopyIniBlock(&block, &aIniFile); }
    ~SCRATCHBLOCK() { FreeIniStrings(&block); }
    void Keep() {
        CopyIniBlock(&aIniFile, &block);
        SaveIniData();
        aHooks.pfnOptionsChanged();
    }
};

// Error in OPTION setting "//History=0x100": Invalid numeric value for History
int SettingError(const CString &item, const wchar_t *error) {
    CString name = item.Left(item.find_first_of(L" \t;="));
    return BDError(ERROR_BD_OPTION_SYNTAX, FormatStr(L"\"//%s\": %s %s", item.c_str(), error, name.c_str()).c_str());
}

// One setting of a // list: "name=value" (or "name value"), or a name
// alone, which returns the option to its default.
int ApplySetting(CString item, INIFILE *block) {
    item.Trim();
    if (item.empty()) return 0;
    const wchar_t *error = L"Invalid item name";
    if (item.find_first_of(L"= \t") == CString::npos) return IniReset(item.c_str(), block, &error) ? SettingError(item, error) : 0;
    CString line = item;
    int rc = IniLine(line, block, 0, 1, &error);
    if (rc == INI_INCLUDE) {
        unsigned skip = block->nSecondary ? INI_SECTION_PRIMARY : INI_SECTION_SECONDARY;
        if (int open = IniParse(line.c_str(), block, skip)) return BDError(open, line.c_str());
        return 0;
    }
    if (rc < 0) rc = 1;  // a section header is no setting
    return rc ? SettingError(item, error) : 0;
}

// "//a=1//b=2": the settings between the //s.
int ApplySettings(const CString &text, INIFILE *block) {
    for (size_t at = 0; at < text.size();) {
        if (text.compare(at, 2, L"//") == 0) at += 2;
        size_t next = text.find(L"//", at);
        if (next == CString::npos) next = text.size();
        if (int rc = ApplySetting(text.Mid(at, next - at), block)) return rc;
        at = next;
    }
    return 0;
}

// Every setting in ini form, so that the listing can be read back with
// OPTION @file.
int ListOptions() {
    CString text = L"[9BX]\r\n";
    for (int i = 0; i < nOptions; i++) {
        if (aOptions[i].nType == OPT_INCLUDE) continue;
        CString value;
        GetOptionValue(aOptions[i].pszName, value);
        if (aOptions[i].nType == OPT_COLOR && value == L"0") value.clear();  // no colour set
        text.AppendFormat(L"%s=%s\r\n", aOptions[i].pszName, value.c_str());
    }
    for (const EXTRAOPTION &extra : aExtraOptions) text.AppendFormat(L"%s=%s\r\n", extra.sName.c_str(), extra.sValue.c_str());
    aHooks.pfnWriteText(StdOut(), text);
    return 0;
}

int PrintOptions(const CString &args) {
    CString name;
    for (int i = 0; GetNthArgument(args.c_str(), i, &name); i++) {
        StripQuotes_S(name);
        CString value;
        if (GetOptionValue(name.c_str(), value)) return BDError(ERROR_BD_UNKNOWN_OPTION, name.c_str());
        const OPTIONROW *row = FindOption(name.c_str());
        EXTRAOPTION *extra = row ? nullptr : FindExtraOption(name.c_str());
        aHooks.pfnWriteText(StdOut(), FormatStr(L"%s=%s\r\n", row ? row->pszName : extra->sName.c_str(), value.c_str()));
    }
    return 0;
}

}  // namespace

int SetINIDirective(wchar_t *text) {
    CString line = text ? text : L"";
    line.Trim();
    if (!line.StartsWith(L"//")) return BDError(ERROR_BD_OPTION_SYNTAX, line.c_str());
    SCRATCHBLOCK scratch;
    if (ApplySettings(line, &scratch.block)) return 2;
    scratch.Keep();
    return 0;
}

int Option_Command(CString &args) {
    args.Trim();
    if (!args.StartsWith(L"//")) {
        unsigned mask = 0;
        if (GetSwitches(args, L"", &mask, 0, nullptr)) return 2;
        args.Trim();
    }
    if (args.empty()) return ListOptions();
    if (args[0] == L'@') {
        CString name = args.Mid(1);
        StripQuotes_S(name);
        if (int rc = ProcessINI(name.c_str())) return BDError(rc, name.c_str());
        return 0;
    }
    if (args.StartsWith(L"//")) {
        SCRATCHBLOCK scratch;
        if (ApplySettings(args, &scratch.block)) return 2;
        scratch.Keep();
        return 0;
    }
    return PrintOptions(args);
}
