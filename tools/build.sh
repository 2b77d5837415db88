#!/usr/bin/env bash
# Set up the machine (tools/setup.sh), then configure and build BDX into
# build/.  Extra arguments go to ninja.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$ROOT/tools/setup.sh"
if [[ ! -f $ROOT/build/build.ninja ]]; then
    cmake -S "$ROOT" -B "$ROOT/build" -G Ninja -DCMAKE_TOOLCHAIN_FILE="$ROOT/cmake/mingw-w64.cmake" \
        -DCMAKE_BUILD_TYPE=Release >/dev/null
fi
ninja -C "$ROOT/build" "$@"
