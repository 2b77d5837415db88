// The clipboard as a file, for "> clip:" and "< clip:": the text of an open
// file goes to the clipboard, or the clipboard's text into a file.
#include <string>
#include "batch/batch.h"
#include "console/console.h"
#include "core/redir.h"

namespace {

// The clipboard is shared with every program: another may hold it for a
// moment, so opening it is tried a few times.
bool OpenClipboardPatiently() {
    for (int attempt = 0; attempt < 10; attempt++) {
        if (OpenClipboard(nullptr)) return true;
        Sleep(20);
    }
    return false;
}

// A file's bytes as text: UTF-16 with its mark or by its look, else UTF-8
// when valid, else the ANSI code page.
CString DecodeText(const std::string &bytes) {
    if (bytes.size() >= 2 && (unsigned char)bytes[0] == 0xFF && (unsigned char)bytes[1] == 0xFE)
        return CString((const wchar_t *)(bytes.data() + 2), (bytes.size() - 2) / 2);
    int mask = IS_TEXT_UNICODE_UNICODE_MASK;
    if (bytes.size() >= 4 && bytes.size() % 2 == 0 && IsTextUnicode(bytes.data(), (int)bytes.size(), &mask) && mask)
        return CString((const wchar_t *)bytes.data(), bytes.size() / 2);
    size_t skip = bytes.compare(0, 3, "\xEF\xBB\xBF") == 0 ? 3 : 0;
    bool utf8 = skip || QueryIsTextUTF8(bytes.data() + skip, bytes.size() - skip);
    return FromCodePage(bytes.data() + skip, (int)(bytes.size() - skip), utf8 ? CP_UTF8 : GetACP());
}

}  // namespace

int CopyToClipboard(HANDLE file) {
    LARGE_INTEGER zero{}, size{};
    if (!GetFileSizeEx(file, &size) || !SetFilePointerEx(file, zero, nullptr, FILE_BEGIN)) return (int)GetLastError();
    std::string bytes((size_t)size.QuadPart, '\0');
    DWORD got = 0;
    if (!bytes.empty() && !ReadFile(file, bytes.data(), (DWORD)bytes.size(), &got, nullptr)) return (int)GetLastError();
    bytes.resize(got);
    CString text = DecodeText(bytes);
    HGLOBAL memory = GlobalAlloc(GMEM_MOVEABLE, (text.size() + 1) * sizeof(wchar_t));
    if (!memory) return (int)GetLastError();
    wmemcpy((wchar_t *)GlobalLock(memory), text.c_str(), text.size() + 1);
    GlobalUnlock(memory);
    if (!OpenClipboardPatiently()) {
        GlobalFree(memory);
        return (int)GetLastError();
    }
    EmptyClipboard();
    int rc = SetClipboardData(CF_UNICODETEXT, memory) ? 0 : (int)GetLastError();
    CloseClipboard();
    if (rc) GlobalFree(memory);
    return rc;
}

int CopyFromClipboard(const CString &name) {
    CString text;
    if (OpenClipboardPatiently()) {
        if (HANDLE data = GetClipboardData(CF_UNICODETEXT)) {
            if (const wchar_t *p = (const wchar_t *)GlobalLock(data)) {
                text = p;
                GlobalUnlock(data);
            }
        }
        CloseClipboard();
    }
    HANDLE h = CreateFileW(name.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return (int)GetLastError();
    // In the output encoding, so that what a command appends matches it.
    wwriteXP(h, text.c_str(), text.GetLength());
    CloseHandle(h);
    return 0;
}
