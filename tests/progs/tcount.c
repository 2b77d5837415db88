// Test program: count the lines and bytes of standard input and print them
// with a checksum (FNV-1a), so that a test can tell that bytes came through
// unchanged: "lines 3 bytes 15 sum 1a2b3c4d".
#include "progs.h"
#include <stdio.h>

int main(void) {
    static char buf[1 << 16];
    unsigned long long bytes = 0, lines = 0;
    unsigned sum = 2166136261u;
    HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
    for (;;) {
        DWORD got = 0;
        if (!ReadFile(in, buf, sizeof buf, &got, NULL) || !got) break;
        bytes += got;
        for (DWORD i = 0; i < got; i++) {
            if (buf[i] == '\n') lines++;
            sum = (sum ^ (unsigned char)buf[i]) * 16777619u;
        }
    }
    char out[96];
    snprintf(out, sizeof out, "lines %llu bytes %llu sum %08x\r\n", lines, bytes, sum);
    puts_out(out);
    return 0;
}
