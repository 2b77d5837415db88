// The ECHO family, and the placeholder handler of rows that have no
// action of their own here.
#include <cwchar>
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "core/cmdtable.h"

namespace {

bool EchoState() {
    BATCHFRAME *frame = CurrentFrame();
    return frame ? (frame->nEcho & 3) != 0 : GetTLS()->fInteractiveEcho != 0;
}

void SetEchoState(bool on) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame) {
        GetTLS()->fInteractiveEcho = on;
    } else if (on) {
        frame->nEcho |= 1;
    } else {
        frame->nEcho &= ~1;
    }
}

// The text that ECHO prints: the character that separates it from the
// name (a blank, or one of ".([]\" that may follow the name at once) goes.
CString EchoText(const CString &args) {
    if (!args.empty() && wcschr(L" \t.([]\\", args[0])) return args.Mid(1);
    return args;
}

// ECHO and ECHOS print in StdColors when that is set (on a console).
void EchoPrint(HANDLE out, const CString &text) {
    if (out == StdOut() && aIniFile.StdColors) ColorPrintf((int)aIniFile.StdColors, L"%s", text.c_str());
    else Qprintf(out, L"%s", text.c_str());
}

int EchoLine(HANDLE out, CString &args) {
    if (args.find_first_not_of(L" \t") == CString::npos) {
        EchoPrint(out, FormatEchoState(EchoState()) + L"\r\n");
        return 0;
    }
    CString text = EchoText(args);
    if (args.At(0) == L' ' || args.At(0) == L'\t') {
        CString word = text;
        word.Trim();
        if (word.EqualsNoCase(L"on") || word.EqualsNoCase(L"off")) {
            SetEchoState(word.EqualsNoCase(L"on"));
            return 0;
        }
    }
    EchoPrint(out, text + L"\r\n");
    return 0;
}

int EchoNoNewline(HANDLE out, CString &args) {
    EchoPrint(out, EchoText(args));
    return 0;
}

}  // namespace

CString FormatEchoState(bool on) {
    CString text = LoadLanguageString(IDS_ECHO_IS);
    CString state = LoadLanguageString(on ? IDS_ON : IDS_OFF);
    size_t at = text.find(L"%s");
    if (at != CString::npos) text.replace(at, 2, state);
    return text;
}

int Echo_Command(CString &args) { return EchoLine(StdOut(), args); }
int Echoerr_Command(CString &args) { return EchoLine(StdErr(), args); }
int Echos_Command(CString &args) { return EchoNoNewline(StdOut(), args); }
int Echoserr_Command(CString &args) { return EchoNoNewline(StdErr(), args); }

// ECHOX and ECHOXERR print the rest of the line exactly as it stands.
int Echox_Command(CString &args) {
    Qprintf(StdOut(), L"%s\r\n", args.c_str());
    return 0;
}

int Echoxerr_Command(CString &args) {
    Qprintf(StdErr(), L"%s\r\n", args.c_str());
    return 0;
}

// Rows that the windowed host or the editor supplies (the debugger, the
// editor, the tool bar and such).  In the console shell they do nothing and
// succeed, so that batch files written for the host run here as well; REM,
// CASEALL and ENDSWITCH are consumed before their handler matters.
int BDebugger_Command(CString &) { return 0; }
