#!/usr/bin/env bash
# Batch-language speed: the CMD-compatible loop scripts run by BDX.EXE and
# by Wine's cmd.exe side by side, and the same work as a .BTM; prints the
# times and the ratios.  Usage: bench/run.sh [repeats]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
REPEATS=${1:-3}
cp "$ROOT"/bench/*.cmd "$ROOT"/bench/*.btm "$WORK"
cd "$WORK"

printf '%-16s %10s %10s %8s\n' script BDX cmd.exe ratio
for script in loop.cmd strings.cmd callloop.cmd; do
    compare_row "$script"
done
btm=$(best_ms "$WINE" "$BDX" /C loop.btm)
printf '%-16s %8d ms %10s   (%s)\n' loop.btm "$btm" "" "$(cat last.txt)"
