// Test program: show how it was started.  Each argument goes on a line of
// its own in brackets; "-cmd" shows the raw command line instead, "-cwd"
// the current directory, and
// "-env NAME ..." the named environment variables as NAME=value, and
// "-ppid" tells whether the process id on its first input line is its
// parent's (a program started straight from the shell, not through a
// second shell), "-self" whether it is its own.
#include "progs.h"
#include <stdio.h>
#include <tlhelp32.h>

static DWORD parent_pid(void) {
    DWORD self = GetCurrentProcessId(), parent = 0;
    HANDLE snap = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    PROCESSENTRY32 entry;
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32First(snap, &entry); more; more = Process32Next(snap, &entry))
        if (entry.th32ProcessID == self) parent = entry.th32ParentProcessID;
    CloseHandle(snap);
    return parent;
}

int main(int argc, char **argv) {
    if (argc > 1 && !strcmp(argv[1], "-cmd")) {
        puts_out(GetCommandLineA());
        puts_out("\r\n");
        return 0;
    }
    if (argc > 1 && (!strcmp(argv[1], "-ppid") || !strcmp(argv[1], "-self"))) {
        size_t size;
        char *text = read_all(&size);
        unsigned long given = strtoul(size ? text : "0", NULL, 10);
        if (argv[1][1] == 's')
            puts_out(given == GetCurrentProcessId() ? "my own id\r\n" : "another id\r\n");
        else
            puts_out(given == parent_pid() ? "started by the shell\r\n" : "started by another process\r\n");
        return 0;
    }
    if (argc > 1 && !strcmp(argv[1], "-cwd")) {
        char dir[MAX_PATH];
        GetCurrentDirectoryA(sizeof dir, dir);
        puts_out(dir);
        puts_out("\r\n");
        return 0;
    }
    if (argc > 1 && !strcmp(argv[1], "-env")) {
        for (int i = 2; i < argc; i++) {
            const char *value = getenv(argv[i]);
            puts_out(argv[i]);
            puts_out(value ? "=" : " is not set");
            puts_out(value ? value : "");
            puts_out("\r\n");
        }
        return 0;
    }
    for (int i = 1; i < argc; i++) {
        puts_out("[");
        puts_out(argv[i]);
        puts_out("]\r\n");
    }
    return 0;
}
