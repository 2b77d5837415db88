# Sourced by the benchmark scripts: the built shell, Wine with a warm
# wineserver for the whole run, and a fresh working directory ($WORK).
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$ROOT/tools/wine-env.sh"
BDX=$ROOT/build/bin/BDX.EXE
[[ -f $BDX ]] || { echo "build first: tools/build.sh" >&2; exit 1; }
trap wine_stop EXIT
wine_start
WORK=$(mktemp -d)

# Best wall time in milliseconds of REPEATS runs of a command; out.txt is
# removed before each run, and the output of the last run is kept in
# last.txt so that two shells can be checked to agree.
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

# One row of a side-by-side table: a script run by BDX.EXE and by Wine's
# cmd.exe, the best times and the ratio (cmd.exe time / BDX time: above 1
# means BDX is faster).  A note says when the two outputs differ.
compare_row() {
    local script=$1 bdx cmd bdxOut cmdOut ratio
    bdx=$(best_ms "$WINE" "$BDX" /C "$script"); bdxOut=$(cat last.txt)
    cmd=$(best_ms "$WINE" cmd /c "$script"); cmdOut=$(cat last.txt)
    [[ $bdxOut == "$cmdOut" ]] || echo "  note: outputs differ: BDX '$bdxOut' cmd '$cmdOut'"
    ratio=$(awk -v a="$cmd" -v b="$bdx" 'BEGIN { printf "%.2f", a / (b > 0 ? b : 1) }')
    printf '%-16s %8d ms %8d ms %7sx\n' "$script" "$bdx" "$cmd" "$ratio"
}
