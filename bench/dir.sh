#!/usr/bin/env bash
# Directory listing speed and memory: a generated tree of 100,000 files in
# 1,000 directories, listed by BDX.EXE and by Wine's cmd.exe side by side.
# Prints best wall times, the ratios, and the peak memory of BDX's DIR /S.
# Wall times are the best of the repeats; where perf is installed, the
# processor time of each run's processes (best of the repeats too) is shown
# beside them, which a busy machine disturbs far less than wall time.
# Usage: bench/dir.sh [repeats]
set -euo pipefail
source "$(dirname "${BASH_SOURCE[0]}")/common.sh"
REPEATS=${1:-5}
cd "$WORK"

# 10 top directories of 99 subdirectories each (1,000 directories), 100
# files in each, of three kinds and of sizes from 0 to 20,000 bytes (sparse,
# so that the tree costs no disk).
python3 - <<'EOF'
import os
n = 0
for top in range(10):
    for sub in range(100):
        d = os.path.join("tree", "d%d" % top) if sub == 0 else os.path.join("tree", "d%d" % top, "s%02d" % sub)
        os.makedirs(d, exist_ok=True)
        for i in range(100):
            ext = ("txt", "log", "dat")[(n + i) % 3]
            with open(os.path.join(d, "file%03d.%s" % (i, ext)), "wb") as f:
                f.truncate((n * 7919 + i * 131) % 20001)
        n += 1
EOF
dirs=$(find tree -mindepth 1 -type d | wc -l)
files=$(find tree -type f | wc -l)
echo "tree: $files files in $dirs directories"

# Best wall time and best processor time (ms) over REPEATS runs, as
# "wall cpu" (cpu 0 without perf); the output of the last run is kept in $1.
best_ms() {
    local out=$1 best=0 bestcpu=0 start end ms cpu
    shift
    for ((r = 0; r < REPEATS; r++)); do
        start=$(date +%s%N)
        if command -v perf >/dev/null; then
            perf stat -x, -e task-clock -o perf.txt "$@" >"$out" 2>/dev/null
            cpu=$(awk -F, '/task-clock/ { printf "%d", $1 }' perf.txt)
        else
            "$@" >"$out" 2>/dev/null
            cpu=0
        fi
        end=$(date +%s%N)
        ms=$(((end - start) / 1000000))
        ((best == 0 || ms < best)) && best=$ms
        ((bestcpu == 0 || cpu < bestcpu)) && bestcpu=$cpu
    done
    echo "$best $bestcpu"
}

# Peak resident memory (VmHWM, KiB) of a Wine process, read from /proc
# while it runs; the process is the one that Wine's loader turns into.
peak_kib() {
    local out=$1 pid peak=0 hwm
    shift
    "$@" >"$out" 2>/dev/null &
    pid=$!
    while kill -0 "$pid" 2>/dev/null; do
        hwm=$(awk '/^VmHWM/ { print $2 }' "/proc/$pid/status" 2>/dev/null || true)
        [[ -n $hwm ]] && ((hwm > peak)) && peak=$hwm
        sleep 0.05
    done
    wait "$pid" || true
    echo "$peak"
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.1f", a / (b > 0 ? b : 1) }'; }
lines() { tr -d '\r' <"$1" | wc -l; }

# One row: the listing, BDX's and cmd's wall time, the ratio, and the same
# for processor time.
row() {
    local name=$1 bdx=$2 cmd=$3
    local bw=${bdx% *} bc=${bdx#* } cw=${cmd% *} cc=${cmd#* }
    printf '%-36s %7d ms %7d ms %5sx   cpu %6d ms %6d ms %5sx\n' "$name" "$bw" "$cw" "$(ratio "$cw" "$bw")" \
        "$bc" "$cc" "$(ratio "$cc" "$bc")"
}

printf '%-36s %10s %10s %6s\n' listing BDX cmd.exe ratio
bare=$(best_ms bdx_bare.txt "$WINE" "$BDX" /C dir /s /b tree)
cmdbare=$(best_ms cmd_bare.txt "$WINE" cmd /c dir /s /b tree)
row "DIR /S /B" "$bare" "$cmdbare"
if ! diff -q <(tr -d '\r' <bdx_bare.txt | sort) <(tr -d '\r' <cmd_bare.txt | sort) >/dev/null; then
    echo "  note: the bare listings differ ($(lines bdx_bare.txt) and $(lines cmd_bare.txt) lines)"
fi
full=$(best_ms bdx_full.txt "$WINE" "$BDX" /C dir /s tree)
cmdfull=$(best_ms cmd_full.txt "$WINE" cmd /c dir /s tree)
row "DIR /S" "$full" "$cmdfull"
range=$(best_ms bdx_range.txt "$WINE" "$BDX" /C 'dir /s /b tree\*.txt;*.log /[s1k,10k]')
printf '%-36s %7d ms %10s %5sx   cpu %6d ms %9s %5sx (of DIR /S /B)\n' "DIR /S /B *.txt;*.log /[s1k,10k]" \
    "${range% *}" "" "$(ratio "${bare% *}" "${range% *}")" "${range#* }" "" "$(ratio "${bare#* }" "${range#* }")"
echo "  lines: DIR /S /B $(lines bdx_bare.txt), cmd $(lines cmd_bare.txt), range form $(lines bdx_range.txt)"

peak=$(peak_kib bdx_peak.txt "$WINE" "$BDX" /C dir /s tree)
base=$(peak_kib bdx_base.txt "$WINE" "$BDX" /C rem)
printf 'peak memory of DIR /S: %d KiB (%.1f MiB); of a shell that does nothing: %d KiB\n' \
    "$peak" "$(awk -v k="$peak" 'BEGIN { print k / 1024 }')" "$base"
