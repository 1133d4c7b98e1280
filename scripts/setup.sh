#!/usr/bin/env bash
# Installs what a fresh Debian 12 machine lacks, then configures and builds
# the targets given as arguments (default: everything).
#   KVR2_BUILD     build directory (default: build)
#   KVR2_SANITIZE  ON to build with AddressSanitizer and UBSan
set -euo pipefail
cd "$(dirname "$0")/.."

packages=(build-essential cmake ninja-build pkg-config python3 gdb binutils libc-bin
          libgtest-dev libgmock-dev libbenchmark-dev libicu-dev icu-devtools locales
          liblmdb-dev
          gnucobol3)   # cobc: an independent oracle for tests and benchmarks only
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  sudo=""
  [ "$(id -u)" -eq 0 ] || sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq "${missing[@]}"
fi

build="${KVR2_BUILD:-build}"
cmake -S . -B "$build" -G Ninja -DKVR2_SANITIZE="${KVR2_SANITIZE:-OFF}" >/dev/null
if (($#)); then
  cmake --build "$build" --target "$@"
else
  cmake --build "$build"
fi
