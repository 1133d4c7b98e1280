#!/usr/bin/env bash
# Sets everything up and runs the tests.
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/setup.sh
build="${KVR2_BUILD:-build}"
ctest --test-dir "$build" --output-on-failure -j"$(nproc)"
