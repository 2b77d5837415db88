#!/usr/bin/env bash
# Build BDX and every test (setting up the machine first when needed), then
# run all three tiers through ctest: unit tests, end-to-end scripts and the
# line-editor key sequences.  Arguments go to ctest.
set -euo pipefail
ROOT=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
bash "$ROOT/tools/build.sh"
source "$ROOT/tools/wine-env.sh"
trap wine_stop EXIT
wine_start
cd "$ROOT/build"
# Console key tests depend on timing under load: a failure gets one more try.
ctest --output-on-failure -j2 --repeat until-pass:2 "$@"
