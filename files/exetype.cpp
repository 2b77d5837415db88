// The kind of program that a file holds, from its image header: what the
// launcher waits for, what ColorDir colours and what @EXETYPE tells.
#include "files/files.h"

int GetExeType(const wchar_t *file) {
    HANDLE h = CreateFileW(file, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr,
                           OPEN_EXISTING, 0, nullptr);
    if (h == INVALID_HANDLE_VALUE) return -(int)GetLastError();
    unsigned char head[0x200] = {};
    DWORD got = 0;
    ReadFile(h, head, 0x40, &got, nullptr);
    int type = 0;
    if (got == 0x40 && head[0] == 'M' && head[1] == 'Z') {
        LONG at = *(LONG *)(head + 0x3C);
        LARGE_INTEGER to;
        to.QuadPart = at;
        got = 0;
        if (at > 0 && SetFilePointerEx(h, to, nullptr, FILE_BEGIN)) ReadFile(h, head, sizeof head, &got, nullptr);
        if (got >= 0x60 && memcmp(head, "PE\0\0", 4) == 0) {
            WORD magic = *(WORD *)(head + 24);
            WORD subsystem = *(WORD *)(head + 24 + 68);
            bool wide = magic == 0x20B;
            if (subsystem == 2) type = wide ? EXE_GUI64 : EXE_GUI;
            else if (subsystem == 3 || subsystem > 256) type = wide ? EXE_CONSOLE64 : EXE_CONSOLE;
            else if (subsystem == 7) type = EXE_NATIVE;
            else if (subsystem >= 10 && subsystem <= 14) type = subsystem + 1;
            else if (subsystem == 16) type = 16;
        } else if (got >= 0x40 && head[0] == 'N' && head[1] == 'E') {
            type = head[0x36] == 2 ? EXE_NE_WINDOWS : EXE_NE_OTHER;
        } else if (got >= 2 && ((head[0] == 'L' && head[1] == 'E') || (head[0] == 'W' && head[1] == '3'))) {
            type = EXE_VXD;
        } else if (got >= 2 && head[0] == 'L' && head[1] == 'X') {
            type = EXE_NE_OTHER;
        }
    }
    CloseHandle(h);
    return type;
}
