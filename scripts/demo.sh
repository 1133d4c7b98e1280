#!/usr/bin/env bash
# Sets everything up and runs the demo: a run unit driven as compiled
# code drives it, first plainly, then with the frame's trace on.  Builds
# only the library and the demo, not the tests and benchmarks.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh kvr2demo
build="${KVR2_BUILD:-build}"
echo "== demo"
"$build/bin/kvr2demo"
echo "== demo with __ZVKDEBUG=1"
__ZVKDEBUG=1 "$build/bin/kvr2demo"
