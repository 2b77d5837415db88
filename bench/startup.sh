#!/usr/bin/env bash
# Start-up time of "BDX.EXE /C exit" beside Wine's own "cmd /c exit",
# measured in one run with the two programs taking turns:
#   cold: the prefix is booted (wineserver and services run) but nothing
#         else: each run starts in a process group of its own, and after
#         the run the timer ends that group and the desktop process, so
#         that whatever a run wakes (a window's desktop, a COM server) has
#         to be woken again by the next one;
#   warm: one session in which whatever the runs woke stays up;
#   boot: no wineserver at all before each run, so that every run waits
#         for the prefix to boot (the same wait for both programs).
# Prints the median of each and the ratio BDX / cmd (below 1: BDX is
# faster).  Usage: bench/startup.sh [runs]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
RUNS=${1:-11}
cd "$WORK"

# The desktop processes of this prefix (found by their environment).
desktop_pids() {
    local pid
    for pid in $(pgrep -f 'explorer.exe /desktop' || true); do
        grep -qz "^WINEPREFIX=$WINEPREFIX\$" "/proc/$pid/environ" 2>/dev/null && echo "$pid"
    done
}

# Wall time of one run in milliseconds.  The run's process group leader
# writes its id to a file before it becomes the program.
run_ms() {
    local mode=$1 start end pid
    shift
    [[ $mode == boot ]] && { wineserver -k 2>/dev/null || true; wineserver -w 2>/dev/null || true; }
    start=$(date +%s%N)
    setsid --wait sh -c 'echo $$ >"$0"; exec "$@"' "$WORK/group" "$@" >/dev/null 2>&1 || true
    end=$(date +%s%N)
    if [[ $mode == cold ]]; then
        kill -- "-$(cat "$WORK/group")" 2>/dev/null || true
        for pid in $(desktop_pids); do kill "$pid" 2>/dev/null || true; done
    fi
    echo $(((end - start) / 1000000))
}

median() { tr ' ' '\n' | sort -n | awk '{ a[NR] = $1 } END { print a[int((NR + 1) / 2)] }'; }
ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", a / (b > 0 ? b : 1) }'; }

measure() {
    local mode=$1 label=$2 bdx=() cmd=() b c
    for ((i = 0; i < RUNS; i++)); do
        bdx+=("$(run_ms "$mode" "$WINE" "$BDX" /C exit)")
        cmd+=("$(run_ms "$mode" "$WINE" cmd /c exit)")
    done
    b=$(echo "${bdx[*]}" | median)
    c=$(echo "${cmd[*]}" | median)
    printf '  %-36s %8d ms   %8d ms   %6s\n' "$label" "$b" "$c" "$(ratio "$b" "$c")"
}

printf 'start-up, median of %d runs            BDX.EXE /C exit   cmd /c exit   BDX/cmd\n' "$RUNS"
wine_stop
wineserver -w 2>/dev/null || true
wineserver -p
run_ms cold "$WINE" cmd /c exit >/dev/null
measure cold "cold (booted prefix, nothing woken)"
measure warm "warm (one session)"
measure boot "boot (prefix boots in every run)"
