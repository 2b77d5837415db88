// Command_S: the routine that takes one raw line, typed or read from a batch
// file, and runs every command on it, in the fixed order of alias
// expansion, prefixes, block filters, variable expansion, groups,
// separators, redirection and dispatch.
#include <cwchar>
#include "base/args.h"
#include "base/breaks.h"
#include "base/errors.h"
#include "base/hooks.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"
#include "console/screen.h"
#include "core/cmdtable.h"
#include "core/command_internal.h"
#include "core/core.h"
#include "core/redir.h"
#include "system/system.h"
#include "vars/vars.h"

namespace {

constexpr int kMaxCommandsPerLine = 1000;

// Chain bits for the next command on the line.
enum : int { CHAIN_AND = 1, CHAIN_OR = 2 };

bool StartsWithWord(const CString &line, const wchar_t *word) {
    size_t n = wcslen(word);
    return line.StartsWithNoCase(word) && QueryIsDelimiter(line.At(n));
}

// Remove "@" or "*@" in front of a command; true when one was there.
bool StripSilencePrefix(CString &line) {
    size_t n = line.At(0) == L'@' ? 1 : (line.At(0) == L'*' && line.At(1) == L'@') ? 2 : 0;
    if (!n) return false;
    line.erase(0, n);
    line.TrimLeft();
    return true;
}

// A line that begins with a back-quote loses it and its partner.
void StripBackQuoteWrapper(CString &line) {
    if (line.At(0) != L'`') return;
    line.erase(0, 1);
    int end = ScanIndex(line.c_str(), L"`", L"\"");
    if (end >= 0 && line.At(end) == L'`') line.erase(end, 1);
}

// Drop the command at the front of the line, up to the next CommandSep.
void SkipFilteredCommand(CString &line) {
    wchar_t stop[2] = {CommandSepChar(), 0};
    int end = ScanIndex(line.c_str(), stop, L"`\"(");
    if (end < 0 || !line.At(end)) {
        line.clear();
        return;
    }
    size_t skip = 1;
    if (aIniFile.DuplicateBugs && line.At(end + 1) == L'|' && line.At(end + 2) == L' ') skip = 2;
    line.erase(0, end + skip);
}

// The conditional prompt ?"text" command.  Returns false when the whole
// line is to end.
bool ConditionalPrompt(CString &line) {
    CString rest = line.Mid(1);
    rest.TrimLeft();
    // "? /P" is the ? command with its paging switch, not a question.
    if (rest.empty() || rest[0] == L'>' || rest[0] == L'|' || rest[0] == CommandSepChar() ||
        rest[0] == SwitchCharValue())
        return true;
    CString prompt;
    if (rest[0] == L'"') {
        GetNthArgument(rest.c_str(), 0, &prompt);
        rest.erase(0, prompt.size());
        StripEnclosingQuotes_S(prompt);
        rest.TrimLeft();
    }
    int answer = QueryInputChar(prompt.c_str(), LoadLanguageString(IDS_QUERY_KEYS).c_str());
    if (ToUpperChar((wchar_t)answer) != ToUpperChar(aGlobals.cYes)) return false;
    line = rest;
    return true;
}

// REM ends the line, unless it is "rem > name" (which truncates a file).
bool IsRemark(const CString &line, bool echo) {
    CString first;
    GetNthArgument(line.c_str(), 0, &first);
    if (!first.EqualsNoCase(L"rem")) return false;
    const wchar_t *p = SkipWhiteSpace(SkipWhiteSpace(line.c_str()) + 3);
    if (*p == L'>') {
        p = SkipWhiteSpace(p + 1);
        if (iswalnum(*p)) return false;
    }
    if (echo) Printf(L"%s\r\n", line.c_str());
    return true;
}

// ECHOX and ECHOXERR take the rest of the line verbatim.
bool RunVerbatimEcho(CString &line, int *result) {
    CString first;
    GetNthArgument(line.c_str(), 0, &first);
    size_t cut;
    CommandHandler handler;
    if (first.EqualsNoCase(L"echox")) cut = 6, handler = Echox_Command;
    else if (first.EqualsNoCase(L"echoxerr")) cut = 9, handler = Echoxerr_Command;
    else return false;
    CString rest = SkipWhiteSpace(line.c_str());
    rest = rest.Mid(cut);
    GetTLS()->sCommandName = first;
    GetTLS()->sCommandName.MakeUpper();
    *result = handler(rest);
    GetTLS()->nLastResult = *result;
    return true;
}

// A trailing " &" runs the command detached.
void BackgroundForm(CString &line) {
    size_t n = line.size();
    if (n >= 2 && line[n - 1] == L'&' && QueryIsWhiteSpace(line[n - 2])) {
        line.Truncate(n - 1);
        line.insert(0, L"DETACH ");
    }
}

// Read the rest of an open command group that trails the command.
void OpenGroups(CString &line, BUILTIN *row) {
    for (;;) {
        line.TrimRight();
        if (line.empty() || line.back() != L'(') return;
        size_t opener = line.size() - 1;
        if (opener > 0 && line[opener - 1] == L'@') opener--;
        if (opener > 0 && !QueryIsDelimiter(line[opener - 1])) return;
        int options = 0;
        if (row->pszName == CString(L"FOR")) {
            int index = 0;
            CString last;
            LastArgument(line.c_str(), &index, &last, nullptr);
            CString inWord;
            if (index > 0) GetNthArgument(line.c_str(), index - 1, &inWord);
            if (inWord.EqualsNoCase(L"in")) options = 2;
        }
        if (ReadCommandGroup(line, (int)opener, options)) return;
    }
}

// The end of an IF under DuplicateBugs: only the join marker ends it.
int EndOfDuplicateIf(const CString &line) {
    wchar_t sep = CommandSepChar();
    for (size_t i = 0; i < line.size(); i++) {
        wchar_t c = line[i];
        if (c == L'%' && line.At(i + 1) == L'+') {
            i++;
        } else if (c == sep && line.At(i + 1) == L'|' && line.At(i + 2) == L' ') {
            return (int)i;
        } else if (c == EscapeCharValue()) {
            i++;
        } else if (c == L'"') {
            size_t close = line.find(L'"', i + 1);
            if (close == CString::npos) return (int)line.size();
            i = close;
        }
    }
    return (int)line.size();
}

// A change of the ANSI option made by the previous command (SETDOS /A,
// OPTION) reaches the console before the next one runs.  The console is
// asked only when the option changed, since each question is a system call.
void ApplyConsoleOptions() {
    static int applied = -1;
    if ((int)aIniFile.ANSI == applied) return;
    applied = (int)aIniFile.ANSI;
    ConsoleANSI();
}

// Step over commands that && or || rule out.
void SkipChained(CString &tail, int &chain, int result) {
    while (((chain & CHAIN_AND) && result != 0) || ((chain & CHAIN_OR) && result == 0)) {
        tail.TrimLeft();
        const wchar_t *quotes = tail.At(0) == L'(' ? L"`\"(" : L"`\"";
        int end = ScanIndex(tail.c_str(), nullptr, quotes);
        // A skipped group that is still open is read to its end first, so
        // that its remaining lines are skipped with it.
        if (end >= 0 && !tail.At(end) && tail.At(0) == L'(' && ScanIndex(tail.c_str(), L")", quotes) == end) {
            if (ReadCommandGroup(tail, 0, 0)) end = -1;
            else end = ScanIndex(tail.c_str(), nullptr, quotes);
        }
        if (end < 0) {
            tail.clear();
            return;
        }
        CString rest = tail.Mid(end);
        tail.clear();
        if (rest.StartsWith(L"&&") || rest.StartsWith(L"||")) {
            chain = rest[0] == L'&' ? CHAIN_AND : CHAIN_OR;
            tail = rest.Mid(2);
            continue;
        }
        chain = 0;
        if (!rest.empty()) rest.erase(0, 1);  // the lone separator
        tail = rest;
    }
}

void StripCommandEnds(CString &line) {
    line.TrimLeft(L", \t\n\f\r");
    if (aGlobals.fCompatibility && StartsWithWord(line, L"set")) line.TrimRight(L"\r\n");
    else line.TrimRight(L" \t\r\n");
}

}  // namespace

int Command(const wchar_t *line, int flags) { return Command_S(CString(line ? line : L""), flags); }

// How deep Command_S calls are nested on this thread (groups, IF, batch
// files and the like run nested lines).
static thread_local int nCommandDepth = 0;

namespace {

struct DepthGuard {
    DepthGuard() { nCommandDepth++; }
    ~DepthGuard() { nCommandDepth--; }
};

}  // namespace

// One pass of the compound loop; the state travels in the record.
struct LineState {
    CString line;
    int flags;
    int result = 0;
    bool echo = false;
    bool pipeOpened = false;
    RedirRecord redir{};
};

static bool ShowsEcho(int flags) {
    if (!(flags & CMD_ECHO) || aGlobals.fNoEcho) return false;
    BATCHFRAME *frame = CurrentFrame();
    return frame ? (frame->nEcho & 3) != 0 : GetTLS()->fInteractiveEcho != 0;
}

namespace {

// One command of the line, as the compound loop takes it apart.
struct CommandParts {
    bool echo = false;          // the command is shown before it runs
    bool silent = false;        // "@" in front: no echo, no title
    BUILTIN *row = nullptr;     // the internal command, or null
    CString tail;               // the rest of the line behind the separator
    wchar_t sep = 0;            // the separator ("&", "|" or CommandSep); 0 at the end
    int chain = 0;              // CHAIN_AND or CHAIN_OR for the next command
};

// What a step decides: stop the line, go on with the next command, or go
// on with this one.
enum Step { STEP_STOP, STEP_NEXT, STEP_GO };

// Aliases, the silence prefix, the block filters, the conditional prompt,
// REM, ECHOX and caret continuation, in this order.
Step PrepareCommand(LineState &s, CommandParts &c) {
    CString &line = s.line;
    line.TrimLeft(L"= \t\r\n,;");
    if (line.empty()) return STEP_STOP;
    ApplyConsoleOptions();
    StripBackQuoteWrapper(line);
    if (int rc = ExpandAliases(line)) {
        s.result = rc;
        return STEP_STOP;
    }
    c.silent = StripSilencePrefix(line);
    if (c.silent) c.echo = false;
    CString first;
    if (line.At(0) == L':' || !GetNthArgument(line.c_str(), 0, &first)) return STEP_STOP;
    if (FilterIffBlock(line) || FilterDoBlock(line, &s.result)) {
        if (s.result == BATCH_RETURN) return STEP_STOP;
        SkipFilteredCommand(line);
        return STEP_NEXT;
    }
    if (line[0] == L'?' && line.At(1) != L'?' && QueryIsConsole(StdIn()) && !ConditionalPrompt(line))
        return STEP_STOP;
    if (IsRemark(line, c.echo)) return STEP_STOP;
    if (RunVerbatimEcho(line, &s.result)) return STEP_STOP;
    BATCHFRAME *frame = CurrentFrame();
    ContinueEscapedLine(line, frame ? frame->hFile : INVALID_HANDLE_VALUE, GNL_RUN, true);
    BackgroundForm(line);
    return STEP_GO;
}

// Variable expansion of the command, unless its row says it expands its
// own arguments; the command is looked up again afterwards.
bool ExpandCommand(LineState &s, CommandParts &c) {
    CString &line = s.line;
    FindInternalCommand(line.c_str(), false, &c.row);
    if (c.row && !(c.row->fFlags & CF_EXPAND)) return true;
    if (int rc = VariableExpansion(line, 0)) {
        s.result = rc;
        return false;
    }
    line.TrimLeft();
    if (line.empty()) return false;
    if (StripSilencePrefix(line)) c.echo = false, c.silent = true;
    FindInternalCommand(line.c_str(), false, &c.row);
    return true;
}

// Cut the line at the end of its first command: the tail and the
// separator go to c.  Groups still open are read to their end first.
bool CutAtSeparator(LineState &s, CommandParts &c) {
    CString &line = s.line;
    const wchar_t *quotes = *SkipWhiteSpace(line.c_str()) == L'(' ? L"`\"(" : L"`\"";
    if (c.row && (c.row->fFlags & CF_GROUP)) {
        OpenGroups(line, c.row);
        quotes = L"`\"(";
    }
    int end;
    if (c.row && (c.row->fFlags & CF_WHOLE_LINE)) end = (int)line.size();
    else if (aIniFile.DuplicateBugs && line.StartsWithNoCase(L"if ")) end = EndOfDuplicateIf(line);
    else if ((end = ScanIndex(line.c_str(), nullptr, quotes)) < 0) return false;

    c.tail = line.Mid(end);
    if (!c.tail.empty()) {
        if (c.tail[0] == L'%' && c.tail.At(1) == L'+') c.tail.replace(0, 2, L"&");
        c.sep = c.tail[0];
        c.tail.erase(0, 1);
    }
    line.Truncate(end);
    CString &tail = c.tail;
    if (!tail.empty() && tail.back() == L'(' && tail.size() > 1 && QueryIsDelimiter(tail[tail.size() - 2]))
        if (ReadCommandGroup(tail, 0, 0)) return false;
    return true;
}

// Show the command as it runs (under DuplicateBugs the join marker is a
// line end).
void EchoCommand(const CString &line) {
    CString shown = line;
    if (aIniFile.DuplicateBugs) {
        wchar_t marker[4] = {CommandSepChar(), L'|', L' ', 0};
        shown.Replace(marker, L"\r\n");
    }
    Printf(L"%s\r\n", shown.c_str());
}

// The meaning of the separator: "||" and "&&" chain the next command to
// this one's result; a single "|" opens a pipe.  False when the pipe fails.
bool ReadChain(LineState &s, CommandParts &c) {
    CString &tail = c.tail;
    if (c.sep == L'|') {
        if (tail.At(0) == L'|') {
            c.chain = CHAIN_OR;
            tail.erase(0, 1);
            return true;
        }
        s.pipeOpened = true;
        if (OpenPipe(&s.redir, tail)) {
            s.result = 2;
            return false;
        }
        if (!s.redir.fPipe) tail.clear();
    } else if (c.sep == L'&' || (c.sep && c.sep == CommandSepChar())) {
        if (aIniFile.DuplicateBugs && tail.At(0) == L'|' && tail.At(1) == L' ') {
            tail.erase(0, 1);
            if (BATCHFRAME *frame = CurrentFrame()) frame->fFlags |= BF_CHAINED;
        }
        if (tail.At(0) == L'&') {
            c.chain = CHAIN_AND;
            tail.erase(0, 1);
        }
    }
    return true;
}

// Redirect, run the command, and leave the line with what comes next.
bool RunCommand(LineState &s, CommandParts &c) {
    TLS_VARIABLES *tls = GetTLS();
    CString &line = s.line;
    if (!(ParseFlagsValue() & PF_NO_REDIRECTION) && (!c.row || (c.row->fFlags & CF_REDIR))) {
        if (Redirect(line, &s.redir)) {
            s.result = 2;
            tls->nLastResult = 2;
            return false;
        }
    }
    StripCommandEnds(line);
    if (c.silent) tls->fSuppressTitle = 1;
    s.result = ExecuteOneCommand(line, !c.silent, (s.flags & CMD_DEBUG) != 0);
    tls->fSuppressTitle = 0;
    if (tls->fBreakPending) {
        CrLf();
        throw BREAK_CTRL_C;
    }
    if (!CurrentFrame() && !c.silent) UpdateTitleAndIcon(nullptr, 0);
    tty_yield(0);

    if (s.result == LINE_REPLACED) {
        s.result = 0;
        if (c.sep && !c.tail.empty()) line += CString(1, c.sep) + c.tail;
        return true;
    }
    SkipChained(c.tail, c.chain, s.result);
    line = c.tail;
    Unredirect(&s.redir, &s.result, &line);
    // A shell on the right side of a pipe gives the rest of its line back
    // after its first command (and after the pipe that command may have
    // opened has handed back its own rest).
    if (nCommandDepth == 1) HandBackRestOfLine(line);
    return true;
}

// Runs the next command of the line; false ends the compound loop.
bool RunNextCommand(LineState &s) {
    CommandParts c;
    c.echo = s.echo;
    Step step = PrepareCommand(s, c);
    if (step != STEP_GO) return step == STEP_NEXT;
    if (!ExpandCommand(s, c) || !CutAtSeparator(s, c)) return false;
    if (c.echo && !s.line.empty()) EchoCommand(s.line);
    if (aIniFile.LogOn && !s.line.empty()) LogCommandLine(s.line);
    if (!ReadChain(s, c)) return false;
    return RunCommand(s, c);
}

}  // namespace

static void LeaveLine(LineState &s) {
    if (s.pipeOpened) s.redir.afClip[REDIR_OUT] = 0;
    // A line left before the right side of "|!" ran: its file is not to
    // become anybody's input.
    if (s.redir.fTempPipe) s.redir.fPipe = 0;
    Unredirect(&s.redir, nullptr, nullptr);
    if (s.pipeOpened) CleanupTempPipe(&s.redir);
    ResetOutputEncoding();
}

int Command_S(CString line, int flags) {
    if (line.empty() || line[0] == L':') return 0;
    DepthGuard depth;
    LineState s;
    s.flags = flags;
    s.echo = ShowsEcho(flags);
    if (flags & CMD_TYPED) LogHistoryLine(line);
    if (line[0] != L'@') SetEnvironmentVariableW(L"CMDLINE2", line.c_str());
    s.line = std::move(line);
    try {
        for (int pass = 1;; pass++) {
            EnableSignals();
            if (s.result == BATCH_ABORT || s.result == BATCH_RETURN) break;
            BATCHFRAME *frame = CurrentFrame();
            if (frame && frame->lOffset < 0) break;
            if (s.line.empty()) break;
            if (pass > kMaxCommandsPerLine) {
                BDError(ERROR_BD_TOO_MANY_COMMANDS, s.line.c_str());
                s.result = 2;
                break;
            }
            if (!RunNextCommand(s)) break;
        }
    } catch (int code) {
        // Ctrl+C ends both sides of a pipe: the right side is not left to
        // finish what the left side had written.
        if (code == BREAK_CTRL_C && s.redir.hProcess) TerminateProcess(s.redir.hProcess, BREAK_CTRL_C);
        LeaveLine(s);
        throw;
    } catch (...) {
        LeaveLine(s);
        throw BREAK_UNKNOWN_EXCEPTION;
    }
    LeaveLine(s);
    if (flags & CMD_TYPED) CrLf();
    return s.result;
}
