// LOOKUPERRORS: the texts of error numbers.  Numbers given on the line are
// looked up here and printed; without them the separate lookup tool
// "lookuperrors.exe" beside the program opens its window.
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "base/locale.h"
#include "base/state.h"
#include "console/console.h"
#include "core/cmdtable.h"
#include "core/core.h"
#include <shellapi.h>

namespace {

constexpr wchar_t kToolName[] = L"lookuperrors.exe";
constexpr wchar_t kToolTitle[] = L"Lookup Errors";
constexpr ULONG_PTR kToolShowText = 1135;

// A whole word as a number: decimal, or hexadecimal after "0x"; a value
// above 0x7FFFFFFF (an HRESULT) wraps to the negative int it is.
bool ReadErrorNumber(const CString &word, int *code) {
    int used = 0;
    return Sscanf(word.c_str(), L"%i%n", code, &used) == 2 && used == word.GetLength();
}

// Hand the text to a lookup window that is already open.
bool ShowInOpenTool(HWND window, const wchar_t *text) {
    HWND tool = FindWindowW(L"#32770", kToolTitle);
    if (!tool) return false;
    CString payload = text ? text : L"";
    COPYDATASTRUCT data{kToolShowText, (DWORD)((payload.size() + 1) * sizeof(wchar_t)), payload.data()};
    SendMessageW(tool, WM_COPYDATA, (WPARAM)window, (LPARAM)&data);
    SetForegroundWindow(tool);
    return true;
}

}  // namespace

int LookupWindowsErrors(HWND window, const wchar_t *text) {
    if (ShowInOpenTool(window, text)) return 0;
    CString tool = aGlobals.sExecutablePath + kToolName;
    DWORD attributes = GetFileAttributesW(tool.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY))
        return BDError(ERROR_BD_LOOKUP_MISSING, tool.c_str());
    CString parameters = FormatStr(L"/w%u", (unsigned)(uintptr_t)window);
    if (text && *text) parameters += FormatStr(L" %s", text);
    SHELLEXECUTEINFOW info{};
    info.cbSize = sizeof(info);
    info.fMask = SEE_MASK_FLAG_NO_UI;
    info.hwnd = window;
    info.lpFile = tool.c_str();
    info.lpParameters = parameters.c_str();
    info.nShow = SW_SHOWNORMAL;
    EnsureCOM();
    if (!ShellExecuteExW(&info)) return BDError(0, tool.c_str());
    return 0;
}

// LOOKUPERRORS [number ...]: each number with its text, one a line.
int Lookuperrors_Command(CString &args) {
    CString word;
    if (!GetNthArgument(args.c_str(), 0, &word)) return LookupWindowsErrors(aGlobals.hConsoleWindow, nullptr);
    for (int i = 0; GetNthArgument(args.c_str(), i, &word); i++) {
        int code;
        if (!ReadErrorNumber(word, &code)) return BDError(ERROR_BD_EXPECTED_NUMBER, word.c_str());
        CString text = ErrorText(code, 4095);
        if (text.empty()) text = LoadLanguageString(IDS_NO_ERROR_TEXT);
        Printf(L"%d (0x%X): %s\r\n", code, code, text.c_str());
    }
    return 0;
}
