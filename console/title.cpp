// The console window's title: the command that runs, and the saved title
// between commands.
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"

namespace {

CString sSavedTitle;

}  // namespace

void UpdateTitleAndIcon(const wchar_t *text, int) {
    if (!aIniFile.UpdateTitle || aGlobals.fNoConsole) return;
    SetConsoleTitleW(text ? text : sSavedTitle.c_str());
}

void SetSavedTitle(const wchar_t *title) { sSavedTitle = title; }
