// The hook table's stand-ins: what base does on its own until the upper
// layers have filled the table (core/hooks.cpp does so when the library
// loads).  They run no command, expand nothing and know no command table;
// text goes to the handle as it stands.
#include "base/hooks.h"
#include "base/state.h"

namespace {

int NoCommand(CString, int) { return 2; }

int WritePlainText(HANDLE handle, const CString &text) {
    DWORD done = 0;
    if (QueryIsConsole(handle)) {
        WriteConsoleW(handle, text.c_str(), (DWORD)text.size(), &done, nullptr);
    } else {
        std::string bytes = ToCodePage(text.c_str(), text.GetLength(), CP_UTF8);
        WriteFile(handle, bytes.data(), (DWORD)bytes.size(), &done, nullptr);
    }
    return text.GetLength();
}

int NoKey(const wchar_t *, const wchar_t *) { return 0; }

int NoExpansion(CString &, int) { return 0; }

int NoCommandTable(const wchar_t *, bool, unsigned *, CString *) { return -1; }

int NoCommandToEnable(const wchar_t *, bool) { return 2; }

void NothingFollows() {}

bool NoSearchSwitch(wchar_t, const wchar_t *, FILESEARCH *) { return false; }

}  // namespace

LAYERHOOKS aHooks = {
    NoCommand, WritePlainText, NoKey, NoExpansion, NoCommandTable, NoCommandToEnable, NothingFollows, NoSearchSwitch,
};
