// Running one command: dispatch to internal commands and the fall-backs,
// command groups across lines, caret continuation, the IFF and DO skip
// filters and the escape characters.
#include <cwchar>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/command_internal.h"
#include "core/core.h"
#include "core/redir.h"
#include "net/net.h"
#include "vars/vars.h"

void ResetParsingFlags() {
    TLS_VARIABLES *tls = GetTLS();
    tls->bIffState = tls->nIffActive = tls->nIffNested = 0;
    tls->nDoActive = tls->nDoNested = tls->nDoLeave = 0;
    ResetOutputEncoding();
}

namespace {

// The first word of a line for the block filters: at most nine characters.
CString FilterWord(const CString &line) { return LeadingWord(line.c_str(), L" \t.\"`\\+=:<>|%", 9); }

}  // namespace

int FilterIffBlock(CString &line) {
    TLS_VARIABLES *tls = GetTLS();
    if (!tls->nIffActive || tls->nDoNested || tls->nDoLeave) return 0;
    CString word = FilterWord(line);
    if (word.EqualsNoCase(L"endiff")) {
        // ENDIFF is no command of its own: the filter consumes it.
        if (tls->nIffNested == 0) {
            tls->nIffActive--;
            tls->bIffState = 0;
        } else {
            tls->nIffNested--;
        }
        return 1;
    } else if (word.EqualsNoCase(L"iff")) {
        if (tls->bIffState || tls->nIffNested) tls->nIffNested++;
    } else if ((word.EqualsNoCase(L"else") || word.EqualsNoCase(L"elseiff")) && tls->nIffNested == 0) {
        if ((tls->bIffState & 0x7F) == 0) {
            tls->bIffState = 0x80;
        } else {
            tls->bIffState = 0;
            line.TrimLeft();
            line.erase(0, 4);
            if (word.EqualsNoCase(L"elseiff")) {
                tls->nIffActive--;
            } else {
                line.TrimLeft();
                if (!line.empty() && line[0] != CommandSepChar()) line.insert(0, 1, CommandSepChar());
            }
        }
    }
    return tls->bIffState | tls->nIffNested;
}

int FilterDoBlock(CString &line, int *result) {
    TLS_VARIABLES *tls = GetTLS();
    CString word = FilterWord(line);
    if (word.EqualsNoCase(L"leavefor")) return *result = BATCH_RETURN;
    if (!tls->nDoActive) return 0;
    bool skipping = tls->nDoNested || tls->nDoLeave;
    if (word.EqualsNoCase(L"enddo")) {
        if (tls->nDoNested == 0) return *result = BATCH_RETURN;
        tls->nDoNested--;
        return 1;
    }
    if (word.EqualsNoCase(L"do") && skipping) {
        int count = 0;
        CString arg, last, before;
        while (GetNthArgument(line.c_str(), count | ARG_PARENS, &arg)) before = last, last = arg, count++;
        bool oneLine = count >= 3 && last.At(0) == L'(' && last.back() == L')';
        if (!oneLine) tls->nDoNested++;
    } else if (!skipping) {
        if (word.EqualsNoCase(L"leave")) {
            CString rest = SkipWhiteSpace(line.c_str()) + 5;
            VariableExpansion(rest, 0);
            int n = 0;
            Sscanf(rest.c_str(), L"%d", &n);
            tls->nDoLeave += n < 1 ? 1 : n;
        } else if (word.EqualsNoCase(L"iterate")) {
            return *result = BATCH_RETURN;
        }
    }
    return tls->nDoNested | tls->nDoLeave;
}

namespace {

// Does the argument text ask for help (/?)?
bool AsksForHelp(const wchar_t *args, bool anywhere) {
    CString arg;
    for (int i = 0; GetNthArgument(args, i, &arg); i++) {
        if (arg.At(0) == SwitchCharValue() && arg.At(1) == L'?') return true;
        if (!anywhere) break;
    }
    return false;
}

void StoreResult(unsigned flags, int result) {
    TLS_VARIABLES *tls = GetTLS();
    if (result == BATCH_RETURN || result == BATCH_ABORT || result == LINE_REPLACED) tls->nLastResult = 0;
    else tls->nLastResult = result;
    tls->nLastResultCopy = tls->nLastResult;
    if (!(flags & CF_SET_EXIT_CODE)) return;
    if (result == NO_EXIT_CODE) return;
    if (result != BATCH_ABORT && result != BATCH_RETURN) tls->nExitCode = result;
}

}  // namespace

int RunInternalCommand(CString &line, int *result) {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->nBatchFrame < 0 && !tls->fSuppressTitle) UpdateTitleAndIcon(line.c_str(), 0);
    BUILTIN *row;
    if (FindInternalCommand(line.c_str(), false, &row) < 0) return -1;
    tls->sCommandName = row->pszName;
    const wchar_t *start = SkipWhiteSpace(line.c_str());
    CString args = start + wcslen(row->pszName);
    if (StrNICmp(row->pszName, L"ECHO", 4) != 0 && AsksForHelp(args.c_str(), row->fFlags & CF_HELP_ANYWHERE)) {
        *result = NTInternalHelp(row->pszName);
        StoreResult(0, *result);
        return 0;
    }
    if ((row->fFlags & CF_BATCH_ONLY) && tls->nBatchFrame < 0) {
        *result = BDError(ERROR_BD_BATCH_ONLY, row->pszName);
        return 0;
    }
    if (!CString(start).StartsWithNoCase(L"echo")) args.TrimLeft();
    ParseArguments_S(args, row->pszName, row->fFlags & (PA_CONVERT | PA_CLOSE_BATCH), nullptr);
    int rc = row->pfnHandler(args);
    if (rc == LINE_REPLACED) line = args;
    if (rc == BATCH_RETURN_VALUE) {
        rc = BATCH_RETURN;
        tls->nLastResultCopy = tls->nLastResult;
        if (row->fFlags & CF_SET_EXIT_CODE) tls->nExitCode = tls->nLastResult;
    } else {
        StoreResult(row->fFlags, rc);
    }
    if (rc == NO_EXIT_CODE) rc = 0;
    *result = rc;
    return 0;
}

BD_EXPORT int ExecuteInternalCommand(wchar_t *buffer, int *result) {
    CString line(buffer);
    int rc = RunInternalCommand(line, result);
    wmemcpy(buffer, line.c_str(), line.size() + 1);
    return rc;
}

// X: alone changes the current drive.
static int ChangeDrive(const CString &line) {
    wchar_t drive[3] = {line[0], L':', 0};
    if (!SetCurrentDirectoryW(drive)) return BDError(0, line.Left(2).c_str());
    return 0;
}

// ON ERRORLEVEL: compare the result with the frame's condition.
static void TestErrorLevelHook(int result) {
    BATCHFRAME *frame = CurrentFrame();
    if (!frame || frame->sOnErrorLevel.empty()) return;
    static const wchar_t *const ops[] = {L"EQ", L"GT", L"GE", L"LT", L"LE", L"EQL", L"EQU", L"GTR",
                                         L"GEQ", L"LSS", L"LEQ", L"NEQ", L"EQC", L"NE", L"!="};
    CString op;
    int n = 0;
    const wchar_t *text = SkipWhiteSpace(frame->sOnErrorLevel.c_str());
    if (!iswdigit(*text) && *text != L'-') {
        GetNthArgument(text, 0, &op);
        text = SkipWhiteSpace(text + op.size());
    }
    Sscanf(text, L"%d", &n);
    bool hit = op.empty() ? result == n : false;
    for (const wchar_t *o : ops) {
        if (!op.EqualsNoCase(o)) continue;
        CString u = o;
        if (u == L"GT" || u == L"GTR") hit = result > n;
        else if (u == L"GE" || u == L"GEQ") hit = result >= n;
        else if (u == L"LT" || u == L"LSS") hit = result < n;
        else if (u == L"LE" || u == L"LEQ") hit = result <= n;
        else if (u == L"NEQ" || u == L"NE" || u == L"!=") hit = result != n;
        else hit = result == n;
    }
    if (hit) BreakOut(BREAK_ON_ERRORLEVEL);
}

int ExecuteOneCommand(CString &line, bool updateTitle, bool debugBit) {
    (void)updateTitle;
    TLS_VARIABLES *tls = GetTLS();
    int result = 0;
    if (!line.empty()) {
        CString name;
        GetNthArgument(line.c_str(), 0, &name);
        UnEscapeLine(name);
        if (line[0] == L'(') {
            if (ReadCommandGroup(line, 0, 1) == 0) {
                void *pipe = tls->pPipeView;
                tls->pPipeView = nullptr;
                result = Command_S(line, debugBit ? CMD_DEBUG : 0);
                tls->pPipeView = pipe;
            }
        } else if (line.At(1) == L':' && QueryIsDelimiter(line.At(2))) {
            result = ChangeDrive(line);
        } else if (RunInternalCommand(line, &result) < 0) {
            if (QueryIsURL(line.c_str()) || aIniFile.UnixPaths || line.StartsWith(L"../"))
                GetNthArgument(line.c_str(), ARG_NO_SWITCH_SPLIT, &name);
            StripQuotes_S(name);
            if (name == L"-" || (aIniFile.AutoCDD && !name.empty() && (name.back() == L'\\' || name.back() == L'/'))) {
                CString args = line;
                ParseArguments_S(args, L"cdd", 0x204, nullptr);
                tls->sCommandName = L"CDD";
                result = Cdd_Command(args);
            } else {
                result = RunExternalOrScript(line, name, 1);
            }
        }
    }
    if (result != BATCH_ABORT && result != LINE_REPLACED) TestErrorLevelHook(result);
    return result;
}
