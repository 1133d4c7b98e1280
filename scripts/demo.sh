#!/usr/bin/env bash
# Sets everything up and runs the demos, built as compiled code calls the
# library: a run unit with a called program, first plainly, then with the
# frame's trace on; then a batch program that reads a file of transactions,
# totals them in packed decimal and writes an edited report.  Builds only
# the library, its line-sequential module and the demos.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh kvr2demo kvr2batch
build="${KVR2_BUILD:-build}"
echo "== demo"
"$build/bin/kvr2demo"
echo "== demo with __ZVKDEBUG=1"
__ZVKDEBUG=1 "$build/bin/kvr2demo"
echo "== batch: examples/data/transactions.txt in, $build/report.txt out"
TRANSIN=examples/data/transactions.txt REPORTOUT="$build/report.txt" "$build/bin/kvr2batch"
cat "$build/report.txt"
