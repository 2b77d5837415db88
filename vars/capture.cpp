// %(command): runs a command while a line is being expanded, and gives its
// output as the value.
//
// The command runs through Command_S on this thread.  Its output is caught
// by pointing the thread's standard output at a temporary file with
// SetStdHandle, and pointing it back afterwards.  Redirection cannot do
// this job: its record belongs to a command line that is running, while
// this command runs in the middle of expanding a line whose own
// redirections have not been taken out yet; and the command may carry
// redirections of its own, which then stack on top of this one.  A file
// and not a pipe, because writer and reader are the same thread: a pipe
// would block as soon as the output outgrew its buffer.  The handle is
// inheritable, so that an external program started by the command writes
// there too.
#include <algorithm>
#include "console/output.h"
#include "core/format.h"
#include "vars/expand_internal.h"

namespace {

CString TempDirectory() {
    DWORD n = GetTempPathW(0, nullptr);
    CString dir;
    if (n) {
        dir.resize(n);
        n = GetTempPathW(n, dir.data());
        dir.resize(n);
    }
    if (dir.empty()) dir = L".\\";
    return dir;
}

// A new temporary file, deleted when its last handle closes.
HANDLE CreateCaptureFile() {
    SECURITY_ATTRIBUTES inherit{sizeof(inherit), nullptr, TRUE};
    CString dir = TempDirectory();
    for (unsigned attempt = 0; attempt < 100; attempt++) {
        CString name = dir + FormatStr(L"BDX%lx%lx.tmp", GetCurrentProcessId(), GetTickCount() + attempt);
        HANDLE h = CreateFileW(name.c_str(), GENERIC_READ | GENERIC_WRITE,
                               FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, &inherit, CREATE_NEW,
                               FILE_ATTRIBUTE_TEMPORARY | FILE_FLAG_DELETE_ON_CLOSE, nullptr);
        if (h != INVALID_HANDLE_VALUE || GetLastError() != ERROR_FILE_EXISTS) return h;
    }
    return INVALID_HANDLE_VALUE;
}

// Standard output goes to the file while this lives, in UTF-8 for the
// shell's own output.  The handle, the encoding, the block state of the
// line around the command and the command's name come back however the
// command ends.
struct CaptureGuard {
    HANDLE hFile;
    HANDLE hSavedOut;
    int nSavedEncoding;
    unsigned char aSavedBlocks[6];
    CString sSavedName;
    explicit CaptureGuard(HANDLE file) : hFile(file), hSavedOut(GetStdHandle(STD_OUTPUT_HANDLE)) {
        TLS_VARIABLES *tls = GetTLS();
        nSavedEncoding = tls->nOutputEncoding;
        sSavedName = tls->sCommandName;
        unsigned char blocks[6] = {tls->bIffState, tls->nIffActive, tls->nIffNested,
                                   tls->nDoActive,  tls->nDoNested,  tls->nDoLeave};
        std::copy(blocks, blocks + 6, aSavedBlocks);
        SetStdHandle(STD_OUTPUT_HANDLE, hFile);
        tls->nOutputEncoding = 2;
    }
    ~CaptureGuard() {
        TLS_VARIABLES *tls = GetTLS();
        SetStdHandle(STD_OUTPUT_HANDLE, hSavedOut);
        tls->nOutputEncoding = nSavedEncoding;
        tls->sCommandName = sSavedName;
        tls->bIffState = aSavedBlocks[0], tls->nIffActive = aSavedBlocks[1], tls->nIffNested = aSavedBlocks[2];
        tls->nDoActive = aSavedBlocks[3], tls->nDoNested = aSavedBlocks[4], tls->nDoLeave = aSavedBlocks[5];
        CloseHandle(hFile);
    }
};

bool ReadAll(HANDLE h, std::string *bytes) {
    LARGE_INTEGER zero{}, size{};
    if (!GetFileSizeEx(h, &size) || !SetFilePointerEx(h, zero, nullptr, FILE_BEGIN)) return false;
    bytes->resize((size_t)size.QuadPart);
    size_t have = 0;
    DWORD got = 0;
    while (have < bytes->size() && ReadFile(h, bytes->data() + have, (DWORD)(bytes->size() - have), &got, nullptr) && got)
        have += got;
    bytes->resize(have);
    return true;
}

// The shell writes UTF-8 here; a program may write UTF-16 (with its mark)
// or its own code page.
CString DecodeOutput(const std::string &bytes) {
    if (bytes.size() >= 2 && (unsigned char)bytes[0] == 0xFF && (unsigned char)bytes[1] == 0xFE)
        return CString(reinterpret_cast<const wchar_t *>(bytes.data() + 2), (bytes.size() - 2) / 2);
    int n = MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, bytes.data(), (int)bytes.size(), nullptr, 0);
    if (n > 0 || bytes.empty()) return FromCodePage(bytes.data(), (int)bytes.size(), CP_UTF8);
    unsigned cp = GetConsoleOutputCP();
    return FromCodePage(bytes.data(), (int)bytes.size(), cp ? cp : GetOEMCP());
}

// The value of the output on a command line: the lines joined by blanks,
// without the line ends around them.
CString OutputAsValue(CString text) {
    text.Trim(L"\r\n");
    CString value;
    for (size_t i = 0; i < text.size(); i++) {
        if (text[i] == L'\r' && text.At(i + 1) == L'\n') continue;
        value += (text[i] == L'\r' || text[i] == L'\n') ? L' ' : text[i];
    }
    return value;
}

}  // namespace

int CaptureCommandOutput(const CString &command, CString *output) {
    output->clear();
    HANDLE file = CreateCaptureFile();
    if (file == INVALID_HANDLE_VALUE) return BDError(0, L"%(...)");
    std::string bytes;
    {
        CaptureGuard guard(file);
        // "@": no echo, no window title, and CMDLINE2 keeps the outer line.
        Command_S(L"@" + command, 0);
        ReadAll(file, &bytes);
    }
    *output = OutputAsValue(DecodeOutput(bytes));
    return 0;
}
