// Test program: exit with the code given as the first argument; a second
// argument is written to standard output first.
#include "progs.h"

int main(int argc, char **argv) {
    if (argc > 2) {
        puts_out(argv[2]);
        puts_out("\r\n");
    }
    return argc > 1 ? atoi(argv[1]) : 0;
}
