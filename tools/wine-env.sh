# Sourced by the scripts that run BDX under Wine: the project's own prefix,
# quiet Wine, and a wineserver kept alive while we work.
ROOT=${ROOT:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)}
export WINEPREFIX=$ROOT/.wineprefix
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml="
WINE=$(command -v wine64 || command -v wine)

# Start a persistent wineserver and warm it, so that each run does not wait
# for a server to start and stop.
wine_start() {
    # A server that already runs for this prefix (left by another of our
    # scripts) serves as well; -p refuses it, and set -e would end the caller.
    wineserver -p 2>/dev/null || true
    "$WINE" cmd /c exit >/dev/null 2>&1 || true
}

wine_stop() {
    wineserver -k 2>/dev/null || true
}
