// Flow control in batch files: labels, GOTO, GOSUB and RETURN, CALL,
// QUIT and CANCEL, IFF, SWITCH, ON, DEFER, COMMENT and TEXT.  Structure is
// found by reading the following lines through the frame's one read
// position; nothing is parsed ahead and no label is cached.
#include <cwchar>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/hooks.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "files/files.h"
#include "vars/vars.h"

namespace {

constexpr int kMaxGosubVarLevel = 22;

// Read the frame's next line for scanning (not for running).
bool ScanLine(BATCHFRAME *f, CString &line) {
    if (!GetNextLine(f->hFile, line, FrameReadFlags(f, GNL_SCAN), nullptr, MAX_LINE_CHARS)) return false;
    f->nLineNumber++;
    return true;
}

void Rewind(BATCHFRAME *f) {
    f->nLineNumber = 0;
    f->lOffset = f->lTextStart;
}

// Strip a wanted label name as GOTO and GOSUB take it.
CString LabelName(const CString &arg) {
    CString name = arg;
    if (name.At(0) == L'@') name.erase(0, 1);
    if (name.At(0) == L':') name.erase(0, 1);
    size_t cut = name.find_first_of(L"+=:[/");
    if (cut != CString::npos) name.Truncate(cut);
    return name;
}

// An internal command that is enabled.
bool CommandEnabled(const wchar_t *name) { return aHooks.pfnFindCommand(name, false, nullptr, nullptr) >= 0; }

// How the closing line of a COMMENT or TEXT block is told: the label
// search compares the whole line (blanks trimmed), the commands the first
// word.
enum BlockEnd { END_WHOLE_LINE, END_FIRST_WORD };

// Read the frame's lines up to the one that closes the block, which is
// consumed; with print, each line before it goes to standard output.  False
// when the file ends first.
bool ReadToBlockEnd(BATCHFRAME *f, const wchar_t *end, BlockEnd match, bool print) {
    CString line, word;
    while (ScanLine(f, line)) {
        if (match == END_FIRST_WORD) {
            GetNthArgument(line.c_str(), 0, &word);
        } else {
            word = line;
            word.Trim();
        }
        if (word.EqualsNoCase(end)) return true;
        if (print) Printf(L"%s\r\n", line.c_str());
    }
    return false;
}

// Pass over a COMMENT or TEXT block that opens with this line.
bool SkipBlock(BATCHFRAME *f, const CString &line) {
    const wchar_t *end = nullptr;
    if (line.EqualsNoCase(L"comment") && CommandEnabled(L"COMMENT")) end = L"endcomment";
    else if (line.EqualsNoCase(L"text") && CommandEnabled(L"TEXT")) end = L"endtext";
    if (!end) return false;
    ReadToBlockEnd(f, end, END_WHOLE_LINE, false);
    return true;
}

// COMMENT and TEXT: the lines up to the end word are passed over, or
// printed as they stand.
int BlockCommand(const wchar_t *end, bool print) {
    if (!OpenBatchFile()) return BATCH_RETURN;
    BATCHFRAME *f = CurrentFrame();
    if (ReadToBlockEnd(f, end, END_FIRST_WORD, print)) return 0;
    return print ? BDError(ERROR_BD_TEXT_NO_END, f->sBatchName.c_str()) : 2;
}

// Is this line the label?  ":name" (not "::"), or "#:name" with flag 1.
bool IsLabel(CString line, const CString &wanted, int flags, CString *behind) {
    if ((flags & 1) && line.StartsWith(L"#:")) line.erase(0, 1);
    if (line.At(0) != L':' || line.At(1) == L':') return false;
    CString text = line.Mid(1);
    text.TrimLeft(L"= \t");
    size_t wordEnd = text.find_first_of(L" \t[", 0);
    if (wordEnd == CString::npos) wordEnd = text.size();
    CString word = text.Left(wordEnd);
    word.TrimRight(L":=");
    if (!word.EqualsNoCase(wanted.c_str())) return false;
    if (behind) *behind = text.Mid(wordEnd);
    return true;
}

// GOSUB parameters named behind the label: "[a b c*]".
int StoreNamedParameters(BATCHFRAME *f, const CString &behind, const CString &args) {
    CString list = behind;
    list.TrimLeft();
    if (list.At(0) != L'[') return 0;
    list.erase(0, 1);
    list.TrimRight(L" \t]");
    if (list.empty()) return 0;
    if (f->nGosubVarLevel > kMaxGosubVarLevel) return BDError(ERROR_BD_BATCH_NESTING, list.c_str());
    f->sGosubArgs = list;
    f->nGosubVarLevel++;
    CString name;
    for (int i = 0; GetNthArgument(list.c_str(), i, &name); i++) {
        CString value;
        bool rest = !name.empty() && name.back() == L'*';
        if (rest) {
            name.pop_back();
            const wchar_t *p = GetNthArgument(args.c_str(), i + 1);
            value = p ? CString(p) : CString();
        } else {
            GetNthArgument(args.c_str(), i + 1, &value);
        }
        if (value.empty()) value = CString(1, (wchar_t)1);
        CString entry = FormatStr(L"%c%c%s", (wchar_t)(GetTLS()->nBatchFrame + 1), (wchar_t)(f->nGosubVarLevel + 1),
                                  name.c_str());
        SetEnvironmentVariableW(entry.c_str(), value.c_str());
        if (rest) break;
    }
    return 0;
}

void DeleteNamedParameters(BATCHFRAME *f) {
    if (f->nGosubVarLevel <= 0 || f->sGosubArgs.empty()) return;
    CString name;
    for (int i = 0; GetNthArgument(f->sGosubArgs.c_str(), i, &name); i++) {
        if (!name.empty() && name.back() == L'*') name.pop_back();
        CString entry = FormatStr(L"%c%c%s", (wchar_t)(GetTLS()->nBatchFrame + 1), (wchar_t)(f->nGosubVarLevel + 1),
                                  name.c_str());
        SetEnvironmentVariableW(entry.c_str(), nullptr);
    }
    f->nGosubVarLevel--;
    f->sGosubArgs.clear();
}

}  // namespace

int FindLabel(const CString &args, int flags) {
    CString wanted;
    if (!GetNthArgument(args.c_str(), 0 | ARG_NO_SWITCH_SPLIT, &wanted)) return 1;
    if (!OpenBatchFile()) return BATCH_RETURN;
    BATCHFRAME *f = CurrentFrame();
    wanted = LabelName(wanted);
    int startLine = f->nLineNumber;
    CString line, behind;
    for (int pass = 0; pass < 2; pass++) {
        while (ScanLine(f, line)) {
            line.Trim();
            if (SkipBlock(f, line)) continue;
            if (IsLabel(line, wanted, flags, &behind)) {
                if (flags & 2) return StoreNamedParameters(f, behind, args);
                return 0;
            }
        }
        if (pass == 0) Rewind(f);
    }
    if (wanted.EqualsNoCase(L"eof")) return 0;
    if (flags & 1) {
        // The search has read to the end: the message names the line that
        // asked for the label, not the file's last line.
        f->nLineNumber = startLine;
        return BDError(ERROR_BD_LABEL_NOT_FOUND, wanted.c_str());
    }
    return 2;
}

int Goto_Command(CString &args) {
    bool keep = GetStringSwitch(args, L"I", 0, nullptr) != 0;
    int rc = FindLabel(args, 1);
    if (rc || keep) return rc == BATCH_RETURN ? rc : BATCH_ABORT;
    TLS_VARIABLES *tls = GetTLS();
    bool inDo = tls->nDoActive != 0;
    TakeSkipState();
    return inDo ? BATCH_RETURN : BATCH_ABORT;
}

int Gosub_Command(CString &args) {
    TLS_VARIABLES *tls = GetTLS();
    BATCHFRAME *f = CurrentFrame();
    args.TrimLeft();
    if (args.At(0) == L'"') return GosubInFile(args);
    CString name = f->sBatchName, savedArgs = f->sGosubArgs;
    long long offset = f->lOffset;
    int lineNumber = f->nLineNumber;
    f->sGosubArgs.clear();
    int rc = FindLabel(args, 3);
    if (rc) {
        f->sGosubArgs = savedArgs;
        return rc;
    }
    SkipState skip = TakeSkipState();
    int savedResult = f->nGosubResult;
    f->nGosubResult = 0;
    int level = f->nGosubVarLevel;
    f->nGosubDepth++;
    CString buffer;
    int loop = RunBatchLines(buffer);
    f = CurrentFrame();
    if (loop == BREAK_CTRL_C && f) f->lOffset = -1;
    if (!f || f->sBatchName != name) {
        if (f) f->lOffset = -1;
        RestoreSkipState(skip);
        return BATCH_ABORT;
    }
    if (f->lOffset >= 0) {
        f->lOffset = offset;
        f->nLineNumber = lineNumber;
        RestoreSkipState(skip);
    }
    if (f->nGosubVarLevel > level) DeleteNamedParameters(f);
    f->sGosubArgs = savedArgs;
    int result = f->nGosubResult;
    f->nGosubResult = savedResult;
    tls->nLastResult = result;
    return result;
}

// GOSUB "file" label args: run a subroutine of another batch file in a
// frame of its own.
int GosubInFile(CString &args) {
    TLS_VARIABLES *tls = GetTLS();
    if (tls->nBatchFrame >= 99) return BDError(ERROR_BD_BATCH_NESTING, args.c_str());
    CString file;
    GetNthArgument(args.c_str(), 0, &file);
    NextArgument_S(args, 1);
    StripQuotes_S(file);
    CString found = SearchPaths(file.c_str(), nullptr, 1, nullptr, nullptr);
    if (found.empty()) return BDError(ERROR_FILE_NOT_FOUND, file.c_str());
    BATCHFRAME *caller = CurrentFrame();
    std::vector<CString> argv = caller->Argv;
    CString full(MAX_PATH, L'\0');
    full.resize(GetFullPathNameW(found.c_str(), MAX_PATH, full.data(), nullptr));
    if (argv.empty()) argv.push_back(full);
    else argv[0] = full;
    tls->aBatchFrames.emplace_back();
    tls->nBatchFrame = (int)tls->aBatchFrames.size() - 1;
    BATCHFRAME *f = &tls->aBatchFrames.back();
    f->sBatchName = full;
    f->Argv = argv;
    f->nEcho = caller->nEcho;
    int len = (int)full.size();
    if (len >= 4 && StrICmp(full.c_str() + len - 4, L".btm") == 0 && LoadBtmImage()) {
        tls->aBatchFrames.pop_back();
        tls->nBatchFrame--;
        return 2;
    }
    SkipState skip = TakeSkipState();
    int rc = Gosub_Command(args);
    ExitBatchFile();
    RestoreSkipState(skip);
    return rc;
}

int Ret_Command(CString &args) {
    BATCHFRAME *f = CurrentFrame();
    if (!f || f->nGosubDepth <= 0) return BDError(ERROR_BD_RETURN_NO_GOSUB, nullptr);
    f->nGosubDepth--;
    int value = 0;
    args.Trim();
    if (!args.empty() && Sscanf(args.c_str(), L"%i", &value) != 1) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    f->nGosubResult = value;
    GetTLS()->nLastResult = value;
    return BATCH_RETURN_VALUE;
}

int Call_Command(CString &args) {
    TLS_VARIABLES *tls = GetTLS();
    args.Trim();
    if (args.empty()) return BDError(ERROR_INVALID_PARAMETER, nullptr);
    tls->fNewBatchFlags = 1;
    BATCHFRAME *f = CurrentFrame();
    int rc;
    if (args.At(0) == L':' && f && !(f->fFlags & BF_LIBRARY)) {
        // CALL :label starts this same file again: no search is needed.
        tls->fNewBatchFlags |= 0x800;
        std::vector<CString> argv;
        CString text = args;
        ParseArguments_S(text, f->sBatchName.c_str(), PA_SPLIT | PA_CONVERT, &argv);
        CString name = f->sBatchName;
        rc = RunBatchFile(name, argv, args);
    } else {
        CString line = args;
        if (args.At(0) == L':' && f) line = FormatStr(L"%s %s", f->sBatchName.c_str(), args.c_str());
        rc = aHooks.pfnCommand(line, 0);
    }
    tls->fNewBatchFlags = 0;
    return rc;
}

static int EndFrames(CString &args, bool all) {
    TLS_VARIABLES *tls = GetTLS();
    args.Trim();
    int value = 0;
    bool hasValue = !args.empty();
    if (hasValue && Sscanf(args.c_str(), L"%i", &value) != 1) return BDError(ERROR_INVALID_PARAMETER, args.c_str());
    for (int i = all ? 0 : tls->nBatchFrame; i <= tls->nBatchFrame; i++) {
        BATCHFRAME &f = tls->aBatchFrames[i];
        while (f.nGosubVarLevel > 0 && !f.sGosubArgs.empty()) DeleteNamedParameters(&f);
        f.lOffset = -1;
    }
    if (hasValue) {
        tls->nExitCode = value;
        if (BATCHFRAME *f = CurrentFrame()) f->nFrameExit = value;
    }
    return BATCH_ABORT;
}

int Quit_Command(CString &args) { return EndFrames(args, false); }

int Cancel_Command(CString &args) { return EndFrames(args, true); }

int Defer_Command(CString &args) {
    BATCHFRAME *f = CurrentFrame();
    args.Trim();
    if (args.empty()) return BDError(ERROR_INVALID_PARAMETER, nullptr);
    if (!f->sDefer.empty()) f->sDefer += L'\n';
    f->sDefer += args;
    return 0;
}

int On_Command(CString &args) {
    BATCHFRAME *f = CurrentFrame();
    CString word;
    if (!GetNthArgument(args.c_str(), 0, &word)) return BDError(ERROR_INVALID_PARAMETER, nullptr);
    struct Field { const wchar_t *name; CString BATCHFRAME::*field; };
    static const Field fields[] = {
        {L"break", &BATCHFRAME::sOnBreak},         {L"close", &BATCHFRAME::sOnClose},
        {L"logoff", &BATCHFRAME::sOnLogoff},       {L"shutdown", &BATCHFRAME::sOnShutdown},
        {L"resume", &BATCHFRAME::sOnResume},       {L"suspend", &BATCHFRAME::sOnSuspend},
        {L"condition", &BATCHFRAME::sOnCondition}, {L"lbutton", &BATCHFRAME::sOnLButton},
        {L"mbutton", &BATCHFRAME::sOnMButton},     {L"rbutton", &BATCHFRAME::sOnRButton},
        {L"dblclick", &BATCHFRAME::sOnDblClick},   {L"error", &BATCHFRAME::sOnError},
        {L"errorlevel", &BATCHFRAME::sOnErrorLevel}, {L"errormsg", &BATCHFRAME::sOnErrorMsg},
    };
    for (const Field &field : fields) {
        if (!word.EqualsNoCase(field.name)) continue;
        const wchar_t *rest = GetNthArgument(args.c_str(), 1);
        CString text = rest ? CString(rest) : CString();
        text.Trim();
        if (field.field == &BATCHFRAME::sOnError) {
            if (!text.empty() && f->sOnError.empty()) f->nSavedErrorMode = SetErrorMode(32769);
            else if (text.empty() && !f->sOnError.empty()) SetErrorMode(f->nSavedErrorMode);
        }
        f->*field.field = text;
        return 0;
    }
    return BDError(ERROR_INVALID_PARAMETER, word.c_str());
}

int BatComment_Command(CString &) { return BlockCommand(L"endcomment", false); }

int Battext_Command(CString &) { return BlockCommand(L"endtext", true); }

int Iff_Command(CString &args) {
    TLS_VARIABLES *tls = GetTLS();
    CString line;
    int test;
    if (int rc = ReadCommandTest(args, 2, &test, line)) return rc;
    CString word;
    GetNthArgument(line.c_str(), 0, &word);
    if (word.EqualsNoCase(L"then")) {
        // A block: the rest of the line and the lines up to ELSE, ELSEIFF
        // or ENDIFF run or are skipped by the line filter.
        tls->nIffActive++;
        if (!test) tls->bIffState++;
        NextArgument_S(line, 1);
        line.TrimLeft();
        args = line;
        return LINE_REPLACED;
    }
    if (!test) {
        args.clear();
        return LINE_REPLACED;
    }
    args.clear();
    return aHooks.pfnCommand(line, CMD_DEBUG);
}

// One line of a SWITCH block: trimmed, one leading "*" gone.
static bool SwitchLine(BATCHFRAME *f, CString &line) {
    if (!ScanLine(f, line)) return false;
    ContinueEscapedLine(line, f->hFile, FrameReadFlags(f, GNL_SCAN), true);
    line.Trim();
    if (line.At(0) == L'*') line.erase(0, 1);
    return true;
}

// "Case value .or. value": the test line for TestCondition.
static CString CaseTest(const CString &value, CString rest) {
    auto part = [&](CString text) {
        text.Trim();
        if (text.StartsWith(L"::")) return value + L" =~ " + text.Mid(2);
        VariableExpansion(text, 0);
        return value + L" EQ " + text;
    };
    CString test;
    for (;;) {
        CString lower = rest;
        lower.MakeLower();
        size_t at = lower.find(L" .or. ");
        if (at == CString::npos) break;
        test += part(rest.Left(at)) + L" .or. ";
        rest = rest.Mid(at + 6);
    }
    return test + part(rest);
}

int Switch_Command(CString &args) {
    if (!OpenBatchFile()) return BATCH_RETURN;
    BATCHFRAME *f = CurrentFrame();
    CString value = args;
    value.Trim();
    AddQuotes_S(value);
    int depth = 0;
    CString line;
    while (SwitchLine(f, line)) {
        if (line.StartsWithNoCase(L"switch ")) depth++;
        else if (depth == 0 && line.EqualsNoCase(L"default")) return 0;
        else if (depth == 0 && line.StartsWithNoCase(L"default ")) return 0;
        else if (depth == 0 && line.StartsWithNoCase(L"case ")) {
            CString test = CaseTest(value, line.Mid(5));
            if (TestCondition(test, 0) == 1) return 0;
        } else if (line.EqualsNoCase(L"endswitch")) {
            if (depth == 0) return 0;
            depth--;
        }
    }
    return 1;
}

int Case_Command(CString &) {
    if (!OpenBatchFile()) return BATCH_RETURN;
    BATCHFRAME *f = CurrentFrame();
    int depth = 0;
    CString line;
    while (SwitchLine(f, line)) {
        if (line.StartsWithNoCase(L"switch ")) depth++;
        else if (line.EqualsNoCase(L"caseall")) return 0;
        else if (line.EqualsNoCase(L"endswitch")) {
            if (depth == 0) return 0;
            depth--;
        }
    }
    return 1;
}
