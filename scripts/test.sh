#!/usr/bin/env bash
# Sets up everything on a fresh Debian/Ubuntu machine and runs every test:
# the C++ suite (plain and with address+undefined sanitizers) and the Python server's suite.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

bash scripts/install-deps.sh
[ -x tools/setup-asr.sh ] && bash tools/setup-asr.sh

jobs=$(nproc)
build() { # dir, extra cmake args...
  local dir=$1; shift
  cmake -S . -B "$dir" -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo "$@" >/dev/null
  cmake --build "$dir" -j "$jobs"
}

status=0
build build
(cd build && ctest --output-on-failure -j "$jobs") || status=1

build build-asan -DSELVAR_SANITIZE=ON -DSELVAR_BUILD_BENCH=OFF
(cd build-asan && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1 \
  ctest --output-on-failure -j "$jobs") || status=1

for extra in scripts/test.d/*.sh; do
  [ -e "$extra" ] || continue
  echo "== $extra"
  bash "$extra" || status=1
done
exit $status
