#!/usr/bin/env bash
# Batch-language speed: the CMD-compatible loop scripts run by BDX.EXE and
# by Wine's cmd.exe side by side, and the same work as a .BTM; prints the
# times and the ratios.  Usage: bench/run.sh [repeats]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
REPEATS=${1:-3}
cp "$ROOT"/bench/*.cmd "$ROOT"/bench/*.btm "$WORK"
cd "$WORK"

# Best wall time in milliseconds over REPEATS runs; the output of the last
# run is kept in last.txt so that both shells can be checked to agree.
best_ms() {
    local best=0 start end ms
    for ((r = 0; r < REPEATS; r++)); do
        start=$(date +%s%N)
        "$@" 2>&1 | tr -d '\r' >last.txt
        end=$(date +%s%N)
        ms=$(((end - start) / 1000000))
        ((best == 0 || ms < best)) && best=$ms
    done
    echo "$best"
}

printf '%-12s %10s %10s %8s\n' script BDX cmd.exe ratio
for script in loop.cmd strings.cmd callloop.cmd; do
    bdx=$(best_ms "$WINE" "$BDX" /C "$script"); bdxOut=$(cat last.txt)
    cmd=$(best_ms "$WINE" cmd /c "$script"); cmdOut=$(cat last.txt)
    [[ $bdxOut == "$cmdOut" ]] || echo "  note: outputs differ: BDX '$bdxOut' cmd '$cmdOut'"
    ratio=$(awk -v a="$cmd" -v b="$bdx" 'BEGIN { printf "%.1f", a / (b > 0 ? b : 1) }')
    printf '%-12s %8d ms %8d ms %7sx\n' "$script" "$bdx" "$cmd" "$ratio"
done
btm=$(best_ms "$WINE" "$BDX" /C loop.btm)
printf '%-12s %8d ms %10s   (%s)\n' loop.btm "$btm" "" "$(cat last.txt)"
