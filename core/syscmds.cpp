// Small system commands: VER, TITLE and BEEP.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/state.h"
#include "console/console.h"
#include "core/cmdtable.h"

int Ver_Command(CString &args) {
    unsigned mask = 0;
    if (GetSwitches(args, L"R", &mask, 0, nullptr)) return 2;
    Printf(L"\r\n%s   Windows %u.%u Build %u\r\n", aGlobals.sVersion.c_str(), aGlobals.nWinVersion / 100,
           aGlobals.nWinVersion % 100, aGlobals.nWinBuild);
    if (mask & 1)
        Printf(L"Brindle.dll %u.%02u.%d, built %hs\r\n", BDX_VERSION_MAJOR, BDX_VERSION_MINOR, BDX_BUILD, __DATE__);
    return 0;
}

int Title_Command(CString &args) {
    CString title = args;
    title.Trim();
    StripEnclosingQuotes_S(title);
    SetSavedTitle(title.c_str());
    if (!aGlobals.fNoConsole && !SetConsoleTitleW(title.c_str())) return BDError(0, title.c_str());
    return 0;
}

// BEEP [frequency duration]... : duration in 1/18 s ticks.
int Beep_Command(CString &args) {
    CString arg;
    int index = 0;
    if (!GetNthArgument(args.c_str(), 0, &arg)) {
        honk();
        return 0;
    }
    for (; GetNthArgument(args.c_str(), index, &arg); index += 2) {
        unsigned freq = 0, ticks = 2;
        CString ticksText;
        if (Sscanf(arg.c_str(), L"%u", &freq) != 1) return BDError(ERROR_INVALID_PARAMETER, arg.c_str());
        if (GetNthArgument(args.c_str(), index + 1, &ticksText) && Sscanf(ticksText.c_str(), L"%u", &ticks) != 1)
            return BDError(ERROR_INVALID_PARAMETER, ticksText.c_str());
        SysBeep(freq, ticks);
    }
    return 0;
}
