// Test program: sort the lines of standard input bytewise; /R reverses.
// Lines end in CR LF on output whatever they ended in on input.
#include "progs.h"
#include <stdio.h>

static int reverse;

static int compare(const void *a, const void *b) {
    int c = strcmp(*(char *const *)a, *(char *const *)b);
    return reverse ? -c : c;
}

int main(int argc, char **argv) {
    reverse = argc > 1 && (argv[1][1] == 'r' || argv[1][1] == 'R');
    size_t size;
    char *text = read_all(&size);
    size_t count = 0, cap = 1024;
    char **lines = (char **)malloc(cap * sizeof *lines);
    for (size_t at = 0; at < size;) {
        size_t end = at;
        while (end < size && text[end] != '\n') end++;
        size_t stop = end > at && text[end - 1] == '\r' ? end - 1 : end;
        text[stop] = 0;
        if (count == cap) lines = (char **)realloc(lines, (cap *= 2) * sizeof *lines);
        lines[count++] = text + at;
        at = end + 1;
    }
    qsort(lines, count, sizeof *lines, compare);
    for (size_t i = 0; i < count; i++) {
        puts_out(lines[i]);
        puts_out("\r\n");
    }
    return 0;
}
