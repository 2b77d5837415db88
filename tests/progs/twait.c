// Test program: wait the given milliseconds, then exit with the code given
// second.  Built twice: as a console program and as a windowed one.
#include "progs.h"

int main(int argc, char **argv) {
    Sleep(argc > 1 ? (DWORD)atoi(argv[1]) : 0);
    return argc > 2 ? atoi(argv[2]) : 0;
}
