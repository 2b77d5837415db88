// Binary buffers (@BALLOC, @BFREE, @BSIZE, @BPEEK, @BPOKE, @BPEEKSTR,
// @BPOKESTR, @BREAD, @BWRITE) and named shared memory (@SMOPEN, @SMCLOSE,
// @SMPEEK, @SMPOKE, @SMREAD, @SMWRITE).  A block's handle is its address in
// hexadecimal; only addresses that these functions handed out are taken,
// so a stale or made-up handle is refused rather than followed.
#include <map>
#include <mutex>
#include "base/args.h"
#include "base/errors.h"
#include "base/format.h"
#include "vars/eval.h"
#include "vars/func_internal.h"
#include "vars/functions.h"

namespace {

// The largest buffer @BALLOC gives.
constexpr long long kMaxBuffer = 1LL << 30;

struct MEMBLOCK {
    unsigned char *p = nullptr;
    size_t nSize = 0;
    HANDLE hMapping = nullptr;  // shared memory: the mapping behind the view
};

std::mutex blockLock;
std::map<uintptr_t, MEMBLOCK> &Blocks() {
    static std::map<uintptr_t, MEMBLOCK> blocks;
    return blocks;
}

CString HandleText(const void *p) { return FormatStr(L"%I64X", (unsigned long long)(uintptr_t)p); }

// The block of a handle text, of the kind the function asks for.
int FindBlock(const CString &handle, bool shared, MEMBLOCK *block) {
    unsigned long long address = 0;
    int used = -1;
    if (Sscanf(handle.c_str(), L" %I64x %n", &address, &used) != 2 || (size_t)used != handle.size())
        return ERROR_INVALID_PARAMETER;
    std::lock_guard<std::mutex> hold(blockLock);
    auto it = Blocks().find((uintptr_t)address);
    if (it == Blocks().end() || (it->second.hMapping != nullptr) != shared) return ERROR_INVALID_HANDLE;
    *block = it->second;
    return 0;
}

// A range of a block: offset and length must lie inside it.
int CheckRange(const MEMBLOCK &block, long long offset, long long length) {
    if (offset < 0 || length < 0 || (unsigned long long)offset > block.nSize ||
        (unsigned long long)length > block.nSize - (size_t)offset)
        return ERROR_INVALID_PARAMETER;
    return 0;
}

// The sizes of the integers that @BPEEK and @BPOKE move.
bool IsIntegerSize(long long n) { return n == 1 || n == 2 || n == 4 || n == 8; }

bool IsSharedCase(int nCase) {
    return nCase == FC_smclose || nCase == FC_smopen || nCase == FC_smpeek || nCase == FC_smpoke ||
           nCase == FC_smread || nCase == FC_smwrite;
}

// The handle and the rest of the arguments.
int ReadBlockArgs(FUNCCALL &call, MEMBLOCK *block, std::vector<CString> *rest) {
    std::vector<CString> args = SplitArguments(call.args);
    if (args.empty()) return ERROR_INVALID_PARAMETER;
    if (int rc = FindBlock(args[0], IsSharedCase(call.nCase), block)) return rc;
    rest->assign(args.begin() + 1, args.end());
    return 0;
}

bool ReadNumbers(const std::vector<CString> &args, size_t count, long long *values) {
    if (args.size() < count) return false;
    for (size_t i = 0; i < count; i++)
        if (!ReadWholeNumber(args[i], &values[i])) return false;
    return true;
}

}  // namespace

int QueryBufferRange(const CString &handle, long long offset, long long length, unsigned char **data,
                     size_t *size) {
    MEMBLOCK block;
    if (int rc = FindBlock(handle, false, &block)) {
        if (rc != ERROR_INVALID_HANDLE || (rc = FindBlock(handle, true, &block)) != 0) return rc;
    }
    if (int rc = CheckRange(block, offset, length)) return rc;
    *data = block.p + offset;
    *size = (size_t)length;
    return 0;
}

// @BALLOC[size]: a zeroed buffer of size bytes (an expression).
int Func_BufferAlloc(FUNCCALL &call) {
    CString size = call.args;
    if (size.TrimLeftCopy().empty()) return ERROR_INVALID_PARAMETER;
    if (EvaluateExpression(size)) return -2;
    long long n = 0;
    if (!ReadWholeNumber(size, &n) || n <= 0) return ERROR_INVALID_PARAMETER;
    if (n > kMaxBuffer) return ERROR_NOT_ENOUGH_MEMORY;
    unsigned char *p = (unsigned char *)calloc((size_t)n, 1);
    if (!p) return ERROR_NOT_ENOUGH_MEMORY;
    std::lock_guard<std::mutex> hold(blockLock);
    Blocks()[(uintptr_t)p] = MEMBLOCK{p, (size_t)n, nullptr};
    call.args = HandleText(p);
    return 0;
}

// @SMOPEN[size,name]: a view of the named shared memory block, which is
// made when no process holds it yet.
int Func_SharedOpen(FUNCCALL &call) {
    CString sizeText, name;
    long long size = 0;
    if (!SplitAtComma(call.args, &sizeText, &name) || !ReadWholeNumber(sizeText, &size) || size <= 0)
        return ERROR_INVALID_PARAMETER;
    name = NameArgument(name);
    if (name.empty()) return ERROR_INVALID_PARAMETER;
    if (size > kMaxBuffer) return ERROR_NOT_ENOUGH_MEMORY;
    HANDLE h = CreateFileMappingW(INVALID_HANDLE_VALUE, nullptr, PAGE_READWRITE, (DWORD)(size >> 32), (DWORD)size,
                                  name.c_str());
    if (!h) return SystemError();
    void *view = MapViewOfFile(h, FILE_MAP_ALL_ACCESS, 0, 0, (SIZE_T)size);
    if (!view) {
        int rc = SystemError();
        CloseHandle(h);
        return rc;
    }
    std::lock_guard<std::mutex> hold(blockLock);
    Blocks()[(uintptr_t)view] = MEMBLOCK{(unsigned char *)view, (size_t)size, h};
    call.args = HandleText(view);
    return 0;
}

// @BFREE[h], @SMCLOSE[h]: give the block back; the value is 0.
int Func_BufferFree(FUNCCALL &call) {
    MEMBLOCK block;
    CString handle = call.args;
    if (int rc = FindBlock(handle, call.nCase == FC_smclose, &block)) return rc;
    {
        std::lock_guard<std::mutex> hold(blockLock);
        Blocks().erase((uintptr_t)block.p);
    }
    if (block.hMapping) {
        UnmapViewOfFile(block.p);
        CloseHandle(block.hMapping);
    } else {
        free(block.p);
    }
    return SetNumber(call.args, 0);
}

// @BSIZE[h]: the size in bytes.
int Func_BufferSize(FUNCCALL &call) {
    MEMBLOCK block;
    CString handle = call.args;
    if (int rc = FindBlock(handle, false, &block)) return rc;
    return SetNumber(call.args, (long long)block.nSize);
}

// @BPEEK[h,offset,size], @SMPEEK: the integer of 1, 2, 4 or 8 bytes
// (little-endian; the shorter ones unsigned).
int Func_BufferPeek(FUNCCALL &call) {
    MEMBLOCK block;
    std::vector<CString> args;
    if (int rc = ReadBlockArgs(call, &block, &args)) return rc;
    long long n[2];
    if (args.size() != 2 || !ReadNumbers(args, 2, n)) return ERROR_INVALID_PARAMETER;
    if (!IsIntegerSize(n[1])) return ERROR_INVALID_PARAMETER;
    if (int rc = CheckRange(block, n[0], n[1])) return rc;
    unsigned long long value = 0;
    memcpy(&value, block.p + n[0], (size_t)n[1]);
    return SetNumber(call.args, (long long)value);
}

// @BPOKE[h,offset,size,value], @SMPOKE: store the integer; the value is 0.
int Func_BufferPoke(FUNCCALL &call) {
    MEMBLOCK block;
    std::vector<CString> args;
    if (int rc = ReadBlockArgs(call, &block, &args)) return rc;
    long long n[3];
    if (args.size() != 3 || !ReadNumbers(args, 3, n)) return ERROR_INVALID_PARAMETER;
    if (!IsIntegerSize(n[1])) return ERROR_INVALID_PARAMETER;
    if (int rc = CheckRange(block, n[0], n[1])) return rc;
    memcpy(block.p + n[0], &n[2], (size_t)n[1]);
    return SetNumber(call.args, 0);
}

// @BPEEKSTR[h,offset,kind,length], @SMREAD: a string of at most length
// characters, up to a zero; kind "a" reads ANSI bytes, "u" UTF-16.
int Func_BufferPeekString(FUNCCALL &call) {
    MEMBLOCK block;
    std::vector<CString> args;
    if (int rc = ReadBlockArgs(call, &block, &args)) return rc;
    long long offset = 0, length = 0;
    if (args.size() != 3 || !ReadWholeNumber(args[0], &offset) || !ReadWholeNumber(args[2], &length) || length < 0)
        return ERROR_INVALID_PARAMETER;
    CString kind = args[1];
    kind.Trim();
    bool wide = kind.EqualsNoCase(L"u");
    if (!wide && !kind.EqualsNoCase(L"a")) return ERROR_INVALID_PARAMETER;
    if (offset < 0 || (unsigned long long)offset > block.nSize) return ERROR_INVALID_PARAMETER;
    size_t room = (block.nSize - (size_t)offset) / (wide ? 2 : 1);
    size_t count = (unsigned long long)length < room ? (size_t)length : room;
    if (count > kMaxFunctionValue) return ERROR_BD_RESULT_TOO_LONG;
    if (wide) {
        CString text(count, L'\0');
        memcpy(text.data(), block.p + offset, count * 2);
        text.resize(wcsnlen(text.c_str(), count));
        call.args = text;
    } else {
        const char *p = (const char *)block.p + offset;
        call.args = FromCodePage(p, (int)strnlen(p, count), CP_ACP);
    }
    return FUNC_NO_RESCAN;
}

// @BPOKESTR[h,offset,kind,text], @SMWRITE: store the text (ANSI or UTF-16)
// with a terminating zero when it fits; the value is the bytes of text
// stored.
int Func_BufferPokeString(FUNCCALL &call) {
    MEMBLOCK block;
    std::vector<CString> args;
    if (int rc = ReadBlockArgs(call, &block, &args)) return rc;
    long long offset = 0;
    if (args.size() < 3 || !ReadWholeNumber(args[0], &offset)) return ERROR_INVALID_PARAMETER;
    CString kind = args[1], text = args[2];
    for (size_t i = 3; i < args.size(); i++) text += L"," + args[i];
    kind.Trim();
    UnEscapeLine(text);
    std::string bytes;
    if (kind.EqualsNoCase(L"u")) bytes.assign((const char *)text.c_str(), (text.size() + 1) * 2);
    else if (kind.EqualsNoCase(L"a")) bytes = ToCodePage(text.c_str(), (int)text.size(), CP_ACP) + '\0';
    else return ERROR_INVALID_PARAMETER;
    size_t terminator = kind.EqualsNoCase(L"u") ? 2 : 1;
    if (int rc = CheckRange(block, offset, (long long)(bytes.size() - terminator))) return rc;
    size_t fits = block.nSize - (size_t)offset >= bytes.size() ? bytes.size() : bytes.size() - terminator;
    memcpy(block.p + offset, bytes.data(), fits);
    return SetNumber(call.args, (long long)(bytes.size() - terminator));
}

// @BREAD[h,offset,file,fileoffset,length] reads from an open file into the
// buffer; @BWRITE writes from the buffer to the file.  A file offset of -1
// is the file's current position.  The value is the count of bytes moved.
int Func_BufferFile(FUNCCALL &call) {
    MEMBLOCK block;
    std::vector<CString> args;
    if (int rc = ReadBlockArgs(call, &block, &args)) return rc;
    long long n[4];
    if (args.size() != 4 || !ReadNumbers(args, 4, n)) return ERROR_INVALID_PARAMETER;
    if (int rc = CheckRange(block, n[0], n[3])) return rc;
    HANDLE h = nullptr;
    if (int rc = QueryOpenFile(n[1], &h)) return rc;
    if (n[2] != -1) {
        LARGE_INTEGER at;
        at.QuadPart = n[2];
        if (n[2] < 0 || !SetFilePointerEx(h, at, nullptr, FILE_BEGIN)) return ERROR_INVALID_PARAMETER;
    }
    DWORD moved = 0;
    BOOL ok = call.nCase == FC_bread ? ReadFile(h, block.p + n[0], (DWORD)n[3], &moved, nullptr)
                                      : WriteFile(h, block.p + n[0], (DWORD)n[3], &moved, nullptr);
    if (!ok) return SystemError();
    return SetNumber(call.args, moved);
}
