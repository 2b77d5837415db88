// Recognising URL file names.
#include "base/cstring.h"
#include "net/net.h"
#include <cwchar>
#include <cwctype>

int QueryIsURL(const wchar_t *text) {
    if (!text) return 0;
    if (*text == L'"') text++;
    auto twoSlashes = [](const wchar_t *p) {
        return (p[0] == L'/' || p[0] == L'\\') && (p[1] == L'/' || p[1] == L'\\');
    };
    struct Scheme { const wchar_t *prefix; int withSlashes, without; };
    static const Scheme schemes[] = {
        {L"https:", 2, 0}, {L"http:", 1, 0}, {L"tftp:", 5, 0}, {L"ftps:", 6, 7},
        {L"sftp:", 8, 9},  {L"ftp:", 3, 4},
    };
    for (const Scheme &s : schemes) {
        size_t n = wcslen(s.prefix);
        if (StrNICmp(text, s.prefix, n) == 0) return twoSlashes(text + n) ? s.withSlashes : s.without;
    }
    if (StrNICmp(text, L"mailto:", 7) == 0) return 10;
    const wchar_t *p = text;
    while (iswalnum(*p) || *p == L'.') p++;
    if (p - text >= 2 && p[0] == L':' && (wcsncmp(p + 1, L"//", 2) == 0 || wcsncmp(p + 1, L"\\\\", 2) == 0))
        return 10;
    return 0;
}
