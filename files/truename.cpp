// TRUENAME: the full name of a file or directory behind substituted and
// network drives, with short (8.3) parts expanded.
#include "base/args.h"
#include "base/errors.h"
#include "console/console.h"
#include "files/paths.h"

int Truename_Command(CString &args) {
    // The whole text is the name: a URL or file:// name holds slashes.
    CString name = args;
    name.Trim();
    StripQuotes_S(name);
    CString full;
    if (int rc = QueryTrueName(name.c_str(), &full)) return BDError(rc, name.c_str());
    CString prefixed = QueryOpenName(full);
    if (GetLongName(prefixed) == 0) full = WithoutVLFN(prefixed);
    Printf(L"%s\r\n", full.c_str());
    return 0;
}
