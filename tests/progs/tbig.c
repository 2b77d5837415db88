// Test program: write n bytes to standard output.  Text lines of 63
// characters and CR LF by default; /B writes the bytes 0 to 255 over and
// over; /E writes the same amount to standard error as well, interleaved.
#include "progs.h"

int main(int argc, char **argv) {
    unsigned long long total = argc > 1 ? strtoull(argv[1], NULL, 10) : 0;
    int binary = 0, both = 0;
    for (int i = 2; i < argc; i++) {
        if (argv[i][1] == 'b' || argv[i][1] == 'B') binary = 1;
        if (argv[i][1] == 'e' || argv[i][1] == 'E') both = 1;
    }
    static char block[65 * 64];
    for (size_t i = 0; i < sizeof block; i++)
        block[i] = binary ? (char)(i & 255) : (i % 65 == 63 ? '\r' : i % 65 == 64 ? '\n' : 'a' + (i / 65) % 26);
    for (unsigned long long done = 0; done < total;) {
        size_t n = total - done < sizeof block ? (size_t)(total - done) : sizeof block;
        put(STD_OUTPUT_HANDLE, block, n);
        if (both) put(STD_ERROR_HANDLE, block, n);
        done += n;
    }
    return 0;
}
