// wwriteXP and the printing family.  A console gets UTF-16 through
// WriteConsoleW; files and pipes get bytes in the thread's output encoding.
#include "console/output.h"
#include <cstdarg>
#include "core/format.h"

namespace {

constexpr int kConsoleChunk = 1024;
constexpr int kFileChunk = 61440;

// Write all bytes, going round again after a short write.
bool WriteAll(HANDLE h, const void *data, DWORD size) {
    const char *p = static_cast<const char *>(data);
    while (size) {
        DWORD done = 0;
        if (!WriteFile(h, p, size, &done, nullptr)) return false;
        if (done < size) {
            tty_yield(0);
            Sleep(1);
        }
        p += done;
        size -= done;
    }
    return true;
}

unsigned OutputCodePage() {
    unsigned cp = GetConsoleOutputCP();
    return cp ? cp : GetACP();
}

int WriteEncoded(HANDLE h, const wchar_t *text, int length) {
    int mode = GetTLS()->nOutputEncoding;
    int written = 0;
    if (mode == 3) {
        LARGE_INTEGER zero{}, pos{};
        if (SetFilePointerEx(h, zero, &pos, FILE_CURRENT) && pos.QuadPart == 0 &&
            (length == 0 || text[0] != 0xFEFF)) {
            wchar_t bom = 0xFEFF;
            if (!WriteAll(h, &bom, 2)) return 0;
        }
    }
    for (int at = 0; at < length; at += kFileChunk) {
        int n = length - at < kFileChunk ? length - at : kFileChunk;
        if (mode == 3) {
            if (!WriteAll(h, text + at, n * 2)) break;
            written += n * 2;
        } else {
            std::string bytes = ToCodePage(text + at, n, mode == 2 ? CP_UTF8 : OutputCodePage());
            if (!WriteAll(h, bytes.data(), (DWORD)bytes.size())) break;
            written += (int)bytes.size();
        }
    }
    return written;
}

}  // namespace

int wwriteXP(HANDLE handle, const wchar_t *text, int length) {
    if (length < 0) length = (int)wcslen(text);
    if (!length) return 0;
    if (QueryIsConsole(handle)) {
        int written = 0;
        for (int at = 0; at < length; at += kConsoleChunk) {
            DWORD n = length - at < kConsoleChunk ? length - at : kConsoleChunk, done = 0;
            if (!WriteConsoleW(handle, text + at, n, &done, nullptr)) break;
            written += (int)done;
        }
        return written;
    }
    return WriteEncoded(handle, text, length);
}

int QWrite(HANDLE handle, const CString &text) {
    CheckBreak();
    return wwriteXP(handle, text.c_str(), text.GetLength());
}

int VQprintf(HANDLE handle, const wchar_t *format, va_list args) {
    CString text;
    FormatV(text, format, args);
    QWrite(handle, text);
    return text.GetLength();
}

int Qprintf(HANDLE handle, const wchar_t *format, ...) {
    va_list args;
    va_start(args, format);
    int n = VQprintf(handle, format, args);
    va_end(args);
    return n;
}

int Printf(const wchar_t *format, ...) {
    va_list args;
    va_start(args, format);
    int n = VQprintf(StdOut(), format, args);
    va_end(args);
    return n;
}

int QPuts(const wchar_t *text) {
    CString s(text);
    QWrite(StdOut(), s);
    return s.GetLength();
}

int CrLf() { return wwriteXP(StdOut(), L"\r\n", 2); }

int QPutc(HANDLE handle, wchar_t c) { return wwriteXP(handle, &c, 1); }

bool QueryIsConsole(HANDLE h) {
    DWORD mode;
    return h && h != INVALID_HANDLE_VALUE && GetConsoleMode(h, &mode);
}

void tty_yield(int wait) {
    SleepEx(0, TRUE);
    MSG msg;
    if (wait && GetMessageW(&msg, nullptr, 0, 0) > 0) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
    while (PeekMessageW(&msg, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&msg);
        DispatchMessageW(&msg);
    }
}
