// Redirection and pipes.  Until the redirection engine is in place a line
// that asks for it is refused with a clear message, so that no output ever
// goes somewhere the user did not mean.
#include "core/redir.h"
#include "base/args.h"
#include "base/errors.h"
#include "base/options.h"
#include "base/state.h"

int Redirect(CString &line, RedirRecord *) {
    const wchar_t *p = scan(line.c_str(), L"<>", L"`\"");
    if (p == SCAN_ERROR) return 2;
    if (*p) return BDError(ERROR_BD_NOT_AVAILABLE, L"redirection");
    return 0;
}

void Unredirect(RedirRecord *, int *, CString *) {}

int OpenPipe(RedirRecord *, CString &) { return BDError(ERROR_BD_NOT_AVAILABLE, L"|"); }

void CleanupTempPipe(RedirRecord *) {}

void ResetOutputEncoding() {
    GetTLS()->nOutputEncoding = aIniFile.UnicodeOutput ? 3 : aIniFile.UTF8Output ? 2 : 0;
}
