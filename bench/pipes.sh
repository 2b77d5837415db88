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

printf '%-16s %10s %10s %8s\n' script BDX cmd.exe ratio
for script in appendloop.cmd pipeloop.cmd typepipe.cmd; do
    compare_row "$script"
done
