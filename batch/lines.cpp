// Reading further lines for a command: the rest of a command group that
// is still open at the end of a line, and lines continued with a trailing
// escape character.  They come from the running batch file through the
// frame's one read position, or from standard input with the continuation
// prompt.
#include "base/args.h"
#include "base/errors.h"
#include "base/locale.h"
#include "base/options.h"
#include "base/state.h"
#include "batch/batch.h"
#include "console/console.h"

namespace {

// Read the next line of a group or a continuation, from the batch file or
// from standard input with the continuation prompt.
int ReadMoreInput(CString &next, HANDLE file, int readFlags, bool countLine) {
    BATCHFRAME *frame = CurrentFrame();
    if (file == INVALID_HANDLE_VALUE || !frame) {
        if (QueryEnvVar(L"PROMPT2", nullptr)) ShowPrompt(L"PROMPT2");
        else Printf(L"%s", LoadLanguageString(IDS_MORE_PROMPT).c_str());
        return GetNextLine(StdIn(), next, GNL_CONTINUATION | GNL_RUN, nullptr, MAX_LINE_CHARS);
    }
    int n = GetNextLine(file, next, readFlags, nullptr, MAX_LINE_CHARS);
    if (n && countLine) frame->nLineNumber++;
    return n;
}

}  // namespace

int ContinueEscapedLine(CString &line, HANDLE file, int readFlags, bool countLine) {
    if (ParseFlagsValue() & PF_NO_ESCAPES) return 0;
    for (;;) {
        size_t n = line.size();
        if (!n) return 0;
        if (aIniFile.ExpandPseudovariables && !(ParseFlagsValue() & PF_NO_VARIABLES) && n >= 2 &&
            line[n - 2] == L'%' && line[n - 1] == L'=')
            line.Truncate(n - 2);
        else if (line[n - 1] == EscapeCharValue())
            line.Truncate(n - 1);
        else
            return 0;
        CString next;
        bool console = file == INVALID_HANDLE_VALUE || !CurrentFrame();
        if (!ReadMoreInput(next, file, readFlags, countLine)) return 0;
        if (console || !aIniFile.DuplicateBugs) next.TrimLeft();
        line += next;
    }
}

int ReadCommandGroup(CString &line, int start, int options) {
    for (;;) {
        int at = ScanIndex(line.c_str() + start, L")", L"`\"(");
        if (at < 0) return 2;
        size_t close = (size_t)(start + at);
        if (line.At(close) == L')') {
            if (options & 1) {
                line.erase(close, 1);
                line.erase(start, 1);
            }
            return 0;
        }
        options &= ~1;
        if (!aGlobals.fCompatibility) line += L' ';
        size_t join = line.size();
        BATCHFRAME *frame = CurrentFrame();
        CString next;
        int readFlags = frame ? FrameReadFlags(frame, GNL_RUN) : GNL_RUN;
        if (!ReadMoreInput(next, frame ? frame->hFile : INVALID_HANDLE_VALUE, readFlags, true))
            return BDError(ERROR_BD_UNBALANCED_PARENS, line.c_str());
        if (next.find_first_not_of(L" \t\r\n") == CString::npos) continue;
        CString first;
        GetNthArgument(next.TrimLeftCopy(L" \t@*").c_str(), 0, &first);
        if (first.EqualsNoCase(L"rem") || first.StartsWith(L"::")) continue;
        ContinueEscapedLine(next, frame ? frame->hFile : INVALID_HANDLE_VALUE, readFlags, true);
        next.TrimLeft();
        line += next;
        wchar_t before = join >= 2 ? line[join - 2] : 0;
        if (aGlobals.fCompatibility) before = join >= 1 ? line[join - 1] : 0;
        if (before != L'(' && next.At(0) != L')') {
            wchar_t sep = CommandSepChar();
            CString glue = !aIniFile.DuplicateBugs ? CString(1, sep) + L" "
                           : (options & 2)        ? CString(L" ")
                                                  : CString(1, sep) + L"| ";
            line.insert(join, glue);
        }
    }
}

