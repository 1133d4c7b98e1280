#!/usr/bin/env bash
# Lines of library code and of tests, by subsystem (golden data files and
# build scripts not counted): the measure of the tests' share.
cd "$(dirname "$0")/.."
total_code=0; total_tests=0
count() { find "$@" -type f \( -name '*.cpp' -o -name '*.h' -o -name '*.c' -o -name '*.py' \) 2>/dev/null | xargs -r cat | wc -l; }
printf '%-14s %7s %7s %6s\n' subsystem code tests share
for d in base frame decimal intrinsics verbs chardata fileio sort xml datetime dateservices include tools; do
  c=$(count $d); t=$(count tests/$d)
  [ "$c" -eq 0 ] && [ "$t" -eq 0 ] && continue
  total_code=$((total_code + c)); total_tests=$((total_tests + t))
  printf '%-14s %7d %7d %5s%%\n' "$d" "$c" "$t" "$([ "$c" -gt 0 ] && echo $((100 * t / c)) || echo -)"
done
h=$(count tests/harness tests/exports tests/*.py); total_tests=$((total_tests + h))
printf '%-14s %7s %7d\n' "harness, checks" "" "$h"
printf '%-14s %7d %7d %5d%%\n' all "$total_code" "$total_tests" $((100 * total_tests / total_code))
