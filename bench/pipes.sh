#!/usr/bin/env bash
# Redirection and pipe speed, BDX.EXE beside Wine's cmd.exe in one run:
# 20,000 appends to a file in a GOTO loop, 200 pipelines into a program,
# and TYPE of a 50 MB file through a pipe into a program.  The program is
# the test tree's tcount.exe (build it first).  Prints the best times of
# REPEATS runs and the ratios (cmd.exe time / BDX time: above 1 is faster).
# Usage: bench/pipes.sh [repeats]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
REPEATS=${1:-3}
PROGS=$ROOT/build/bin/progs
[[ -f $PROGS/tcount.exe ]] || { echo "build the test programs first: tools/build.sh" >&2; exit 1; }
export WINEPATH="Z:${PROGS//\//\\}"
cp "$ROOT"/bench/appendloop.cmd "$ROOT"/bench/pipeloop.cmd "$ROOT"/bench/typepipe.cmd "$WORK"
cd "$WORK"
"$WINE" "$PROGS/tbig.exe" 52428800 > big.txt

# Best wall time in milliseconds over REPEATS runs; the output of the last
# run is kept in last.txt so that both shells can be checked to agree.
best_ms() {
    local best=0 start end ms
    for ((r = 0; r < REPEATS; r++)); do
        rm -f out.txt
        start=$(date +%s%N)
        "$@" 2>&1 | tr -d '\r' >last.txt
        end=$(date +%s%N)
        ms=$(((end - start) / 1000000))
        ((best == 0 || ms < best)) && best=$ms
    done
    echo "$best"
}

printf '%-16s %10s %10s %8s\n' script BDX cmd.exe ratio
for script in appendloop.cmd pipeloop.cmd typepipe.cmd; do
    bdx=$(best_ms "$WINE" "$BDX" /C "$script"); bdxOut=$(cat last.txt)
    cmd=$(best_ms "$WINE" cmd /c "$script"); cmdOut=$(cat last.txt)
    [[ $bdxOut == "$cmdOut" ]] || echo "  note: outputs differ: BDX '$bdxOut' cmd '$cmdOut'"
    ratio=$(awk -v a="$cmd" -v b="$bdx" 'BEGIN { printf "%.2f", a / (b > 0 ? b : 1) }')
    printf '%-16s %8d ms %8d ms %7sx\n' "$script" "$bdx" "$cmd" "$ratio"
done
