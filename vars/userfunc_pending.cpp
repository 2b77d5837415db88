// Until the named-list engine is in place there are no aliases and no
// user-defined functions: every lookup misses.
#include "vars/func_internal.h"

const wchar_t *GetAlias(const wchar_t *, bool *isLocal) {
    if (isLocal) *isLocal = false;
    return nullptr;
}

const wchar_t *GetFunction(const wchar_t *, bool *isLocal) {
    if (isLocal) *isLocal = false;
    return nullptr;
}
