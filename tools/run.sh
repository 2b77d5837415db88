#!/usr/bin/env bash
# Build BDX (setting up the machine first when needed) and start the shell.
# Arguments go to BDX.EXE.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$ROOT/tools/build.sh" BDX Brindle English
source "$ROOT/tools/wine-env.sh"
exec "$WINE" "$ROOT/build/bin/BDX.EXE" "$@"
