#!/usr/bin/env bash
# Start-up time of "BDX.EXE /C exit" beside Wine's own "cmd /c exit",
# measured in one run with a warm wineserver.  Usage: bench/startup.sh [runs]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
RUNS=${1:-20}
cd "$WORK"

# Mean wall time in milliseconds of RUNS runs of the command.
mean_ms() {
    local start end
    start=$(date +%s%N)
    for ((i = 0; i < RUNS; i++)); do "$@" >/dev/null 2>&1 || true; done
    end=$(date +%s%N)
    echo $(((end - start) / RUNS / 1000000))
}

bdx=$(mean_ms "$WINE" "$BDX" /C exit)
cmd=$(mean_ms "$WINE" cmd /c exit)
printf 'start-up, mean of %d runs:\n  BDX.EXE /C exit   %5d ms\n  cmd /c exit       %5d ms\n' "$RUNS" "$bdx" "$cmd"
