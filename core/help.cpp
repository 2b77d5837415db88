// HELP: the description of every enabled command, or the usage text of
// one.  It reads the command table, so it lives beside it.
#include <map>
#include "base/args.h"
#include "base/errors.h"
#include "base/locale.h"
#include "console/console.h"
#include "core/cmdtable.h"

namespace {

// Name and one-line description of every usage text of the language module.
std::map<CString, CString> UsageDescriptions() {
    std::map<CString, CString> found;
    for (int id = IDS_USAGE_FIRST;; id++) {
        CString text = LoadLanguageString(id);
        if (text.empty()) break;
        size_t first = text.find(L'\n');
        if (first == CString::npos) continue;
        size_t second = text.find(L'\n', first + 1);
        CString name = text.Left(first);
        name.MakeUpper();
        found[name] = text.Mid(first + 1, second == CString::npos ? CString::npos : second - first - 1);
    }
    return found;
}

// HELP alone: every enabled command with its description, in table order.
int ListCommandHelp(bool paged) {
    std::map<CString, CString> descriptions = UsageDescriptions();
    StartPaging(paged, 0);
    for (int i = 0; i < QueryNumberOfCommands(); i++) {
        const BUILTIN &row = aInternalCommands[i];
        if (!row.fEnabled) continue;
        auto it = descriptions.find(row.pszName);
        if (it == descriptions.end()) Printf(L"%s\r\n", row.pszName);
        else Printf(L"%-16s%s\r\n", row.pszName, it->second.c_str());
        PagePause();
    }
    return 0;
}

}  // namespace

// HELP [/P] [command]
int Help_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"P", &mask, 0, nullptr)) return 2;
    CString name;
    if (!GetNthArgument(args.c_str(), 0, &name)) return ListCommandHelp(mask & 1);
    if (GetNthArgument(args.c_str(), 1)) return BDError(ERROR_INVALID_PARAMETER, GetNthArgument(args.c_str(), 1));
    BUILTIN *row = nullptr;
    if (FindInternalCommand(name.c_str(), true, &row) < 0 || CString(row->pszName).GetLength() != name.GetLength())
        return BDError(ERROR_BD_NO_HELP, name.c_str());
    return NTInternalHelp(row->pszName);
}

