// The hook table filled in: the services that the lower layers reach
// through aHooks (base/hooks.h).  This happens when the library loads (and
// when the unit tests start), before anything runs a command.
#include "base/hooks.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include "files/files.h"
#include "vars/lists.h"
#include "vars/vars.h"

namespace {

int FindCommand(const wchar_t *line, bool evenIfDisabled, unsigned *flags, CString *name) {
    BUILTIN *row = nullptr;
    int index = FindInternalCommand(line, evenIfDisabled, &row);
    if (index >= 0 && row) {
        if (flags) *flags = row->fFlags;
        if (name) *name = row->pszName;
    }
    return index;
}

int EnableCommand(const wchar_t *name, bool enable) {
    return enable ? EnableInternalCommand(name) : DisableInternalCommand(name);
}

const bool installed = (InstallHooks(), true);

}  // namespace

void InstallHooks() {
    aHooks.pfnCommand = Command_S;
    aHooks.pfnWriteText = PrintText;
    aHooks.pfnQueryKey = QueryInputChar;
    aHooks.pfnExpandVariables = VariableExpansion;
    aHooks.pfnFindCommand = FindCommand;
    aHooks.pfnEnableCommand = EnableCommand;
    aHooks.pfnOptionsChanged = ReconcileListModes;
    aHooks.pfnSearchSwitch = SearchSwitch;
}
