// Matching with Oniguruma on UTF-16 text; offsets are in bytes.
#include "vars/regex.h"
#include "base/errors.h"
#include "base/options.h"
#include <oniguruma.h>

namespace {

// The syntax named by the RegularExpressions option.
OnigSyntaxType *RegexSyntax() {
    switch (aIniFile.RegularExpressions) {
    case 1: return ONIG_SYNTAX_RUBY;
    case 2: return ONIG_SYNTAX_JAVA;
    case 3: return ONIG_SYNTAX_GREP;
    case 4: return ONIG_SYNTAX_POSIX_EXTENDED;
    case 5: return ONIG_SYNTAX_GNU_REGEX;
    case 6: return ONIG_SYNTAX_PYTHON;
    case 7: return ONIG_SYNTAX_EMACS;
    default: return ONIG_SYNTAX_PERL;
    }
}

void InitializeOnce() {
    static bool done = false;
    if (done) return;
    OnigEncoding encodings[] = {ONIG_ENCODING_UTF16_LE};
    onig_initialize(encodings, 1);
    done = true;
}

}  // namespace

int RegularExpressionMatch(const CString &pattern, const CString &text) {
    InitializeOnce();
    const UChar *p = reinterpret_cast<const UChar *>(pattern.c_str());
    const UChar *pEnd = p + pattern.size() * sizeof(wchar_t);
    regex_t *reg = nullptr;
    OnigErrorInfo info;
    int rc = onig_new(&reg, p, pEnd, ONIG_OPTION_NONE, ONIG_ENCODING_UTF16_LE, RegexSyntax(), &info);
    if (rc != ONIG_NORMAL) {
        UChar message[ONIG_MAX_ERROR_MESSAGE_LEN];
        int n = onig_error_code_to_str(message, rc, &info);
        CString text = FromCodePage(reinterpret_cast<const char *>(message), n, CP_UTF8);
        BDError(ERROR_BD_BAD_REGEX, (pattern + L": " + text).c_str());
        return -1;
    }
    const UChar *s = reinterpret_cast<const UChar *>(text.c_str());
    const UChar *sEnd = s + text.size() * sizeof(wchar_t);
    OnigRegion *region = onig_region_new();
    int found = onig_search(reg, s, sEnd, s, sEnd, region, ONIG_OPTION_NONE);
    onig_region_free(region, 1);
    onig_free(reg);
    return found >= 0 ? 1 : 0;
}
