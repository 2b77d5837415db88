// Plain C entry points for the front end, so that no C++ object crosses
// the module boundary.
#include <cwchar>
#include "base/options.h"
#include "base/state.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"

// Read the next input line from standard input; 0 at the end of input.
// The line is released with FreeInputLine.
BD_EXPORT int ReadInputLine(wchar_t **line) {
    CString text;
    int n = GetNextLine(StdIn(), text, GNL_RUN, nullptr, MAX_LINE_CHARS);
    if (!n) {
        *line = nullptr;
        return 0;
    }
    *line = new wchar_t[text.size() + 1];
    wmemcpy(*line, text.c_str(), text.size() + 1);
    return 1;
}

BD_EXPORT void FreeInputLine(wchar_t *line) { delete[] line; }

// Leave the shell as EXIT does, with the exit code of the last command
// when value is empty.
BD_EXPORT int ExitShell(const wchar_t *value) {
    CString args(value ? value : L"");
    return Exit_Command(args);
}

// Whether the front end runs the startup file.
BD_EXPORT int QueryStartupFileOption() { return aIniFile.StartupFile && !GetTLS()->pPipeView; }
