// Shared helpers of the small test programs: raw reads and writes on the
// standard handles, so that no C runtime translates line ends or bytes.
#pragma once
#include <windows.h>
#include <stdlib.h>
#include <string.h>

static void put(DWORD which, const void *data, size_t size) {
    HANDLE h = GetStdHandle(which);
    const char *p = (const char *)data;
    while (size > 0) {
        DWORD done = 0;
        if (!WriteFile(h, p, (DWORD)size, &done, NULL) || !done) return;
        p += done;
        size -= done;
    }
}

static void puts_out(const char *text) { put(STD_OUTPUT_HANDLE, text, strlen(text)); }

// All of standard input, with a terminating zero; *size takes its length.
static char *read_all(size_t *size) {
    size_t cap = 65536, n = 0;
    char *buf = (char *)malloc(cap);
    HANDLE in = GetStdHandle(STD_INPUT_HANDLE);
    for (;;) {
        if (cap - n < 65536) buf = (char *)realloc(buf, cap *= 2);
        DWORD got = 0;
        if (!ReadFile(in, buf + n, 65536, &got, NULL) || !got) break;
        n += got;
    }
    buf[n] = 0;  // room is left by the loop
    *size = n;
    return buf;
}
