#!/usr/bin/env bash
# Sets everything up and runs the demos, built as compiled code calls the
# library: a run unit with a called program, first plainly, then with the
# frame's trace on; then a batch program that reads a file of transactions,
# totals them in packed decimal and writes an edited report; then an
# indexed-file program that writes, reads by both keys, STARTs, reads NEXT
# and PREVIOUS, REWRITEs and DELETEs, with its report in the next
# generation of a generation data group.  Builds only the library, its
# file modules, kvr2gdg and the demos.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh kvr2demo kvr2batch kvr2indexed kvr2gdg kvr2sort
build="${KVR2_BUILD:-build}"
echo "== demo"
"$build/bin/kvr2demo"
echo "== demo with __ZVKDEBUG=1"
__ZVKDEBUG=1 "$build/bin/kvr2demo"
echo "== batch: examples/data/transactions.txt in, $build/report.txt out"
TRANSIN=examples/data/transactions.txt REPORTOUT="$build/report.txt" "$build/bin/kvr2batch"
cat "$build/report.txt"
echo "== indexed: $build/accounts.dat, report into generation data group $build/report"
[ -f "$build/report.catalogue" ] || "$build/tools/kvr2gdg" create "$build/report" -l 5
ACCTFILE="$build/accounts.dat" REPORTOUT="$build/report(+1)" "$build/bin/kvr2indexed"
newest="$(ls "$build"/report.g*v00 | tail -1)"
echo "== $newest"
cat "$newest"
echo "== sort: transactions by account into $build/summary.txt, $build/accounts.dat by branch into $build/bybranch.txt"
TRANSIN=examples/data/transactions.txt SUMMARYOUT="$build/summary.txt" ACCTFILE="$build/accounts.dat" \
  BRANCHOUT="$build/bybranch.txt" "$build/bin/kvr2sort"
cat "$build/summary.txt"
echo "== $build/bybranch.txt"
cat "$build/bybranch.txt"
