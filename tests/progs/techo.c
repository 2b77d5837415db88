// Test program: with arguments, write them (joined by blanks) as one line to
// standard output and, prefixed "E:", to standard error; -o or -e first
// picks one of the two.  Without arguments, copy standard input unchanged
// to both.
#include "progs.h"

int main(int argc, char **argv) {
    int out = 1, err = 1, first = 1;
    if (argc > 1 && argv[1][0] == '-' && (argv[1][1] == 'o' || argv[1][1] == 'e') && !argv[1][2]) {
        out = argv[1][1] == 'o';
        err = !out;
        first = 2;
    }
    if (argc <= first && first == 1) {
        size_t size;
        char *text = read_all(&size);
        put(STD_OUTPUT_HANDLE, text, size);
        put(STD_ERROR_HANDLE, text, size);
        return 0;
    }
    static char line[32768];
    size_t n = 0;
    for (int i = first; i < argc && n + strlen(argv[i]) + 3 < sizeof line; i++) {
        if (i > first) line[n++] = ' ';
        memcpy(line + n, argv[i], strlen(argv[i]));
        n += strlen(argv[i]);
    }
    memcpy(line + n, "\r\n", 2);
    if (out) put(STD_OUTPUT_HANDLE, line, n + 2);
    if (err) put(STD_ERROR_HANDLE, "E:", 2), put(STD_ERROR_HANDLE, line, n + 2);
    return 0;
}
