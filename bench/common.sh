# Sourced by the benchmark scripts: the built shell, Wine with a warm
# wineserver for the whole run, and a fresh working directory ($WORK).
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
source "$ROOT/tools/wine-env.sh"
BDX=$ROOT/build/bin/BDX.EXE
[[ -f $BDX ]] || { echo "build first: tools/build.sh" >&2; exit 1; }
trap wine_stop EXIT
wine_start
WORK=$(mktemp -d)
