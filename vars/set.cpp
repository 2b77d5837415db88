// SET on the process environment: define, show and delete.
#include <algorithm>
#include <vector>
#include "console/output.h"
#include "core/args.h"
#include "core/bdx.h"

constexpr int ERROR_BD_NOT_IN_ENVIRONMENT = 0x2000001A;

namespace {

// All "name=value" entries of the environment, in order, without the
// hidden drive entries.
std::vector<CString> EnvironmentEntries() {
    std::vector<CString> entries;
    wchar_t *block = GetEnvironmentStringsW();
    for (const wchar_t *p = block; p && *p; p += wcslen(p) + 1)
        if (*p != L'=' && *p != 1) entries.emplace_back(p);
    FreeEnvironmentStringsW(block);
    std::sort(entries.begin(), entries.end(),
              [](const CString &a, const CString &b) { return StrICmp(a.c_str(), b.c_str()) < 0; });
    return entries;
}

int ShowVariables(const CString &prefix) {
    int shown = 0;
    for (const CString &entry : EnvironmentEntries()) {
        if (!prefix.empty() && !entry.StartsWithNoCase(prefix.c_str())) continue;
        Printf(L"%s\r\n", entry.c_str());
        shown++;
    }
    return shown;
}

}  // namespace

int Set_Command(CString &args) {
    args.TrimLeft();
    if (args.empty()) {
        ShowVariables(CString());
        return 0;
    }
    size_t eq = args.find(L'=');
    if (eq == CString::npos || eq == 0) {
        CString name = args;
        name.TrimRight();
        CString value;
        if (QueryEnvVar(name.c_str(), &value)) {
            Printf(L"%s\r\n", value.c_str());
            return 0;
        }
        if (!ShowVariables(name)) return BDError(ERROR_BD_NOT_IN_ENVIRONMENT, name.c_str());
        return 0;
    }
    CString name = args.Left(eq), value = args.Mid(eq + 1);
    name.TrimRight();
    if (value.empty()) {
        if (!QueryEnvVar(name.c_str(), nullptr)) return BDError(ERROR_BD_NOT_IN_ENVIRONMENT, name.c_str());
        SetEnvironmentVariableW(name.c_str(), nullptr);
        return 0;
    }
    if (!SetEnvironmentVariableW(name.c_str(), value.c_str())) return BDError(0, name.c_str());
    return 0;
}
