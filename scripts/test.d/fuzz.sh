#!/usr/bin/env bash
# Builds the fuzz targets (libFuzzer with address and undefined-behaviour sanitizers, clang) and
# runs each for a short, fixed time. SELVAR_FUZZ_SECONDS changes the time per target.
set -euo pipefail
cd "$(dirname "$0")/../.."

seconds=${SELVAR_FUZZ_SECONDS:-30}
CC=clang CXX=clang++ cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DSELVAR_FUZZ=ON -DSELVAR_BUILD_BENCH=OFF >/dev/null

targets=()
for source in tests/fuzz/*.cpp; do targets+=("$(basename "$source" .cpp)"); done
cmake --build build-fuzz -j "$(nproc)" --target "${targets[@]}"

export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
mkdir -p artifacts
status=0
for target in "${targets[@]}"; do
  corpus=fuzz-corpus/$target
  mkdir -p "$corpus"
  extra=()
  [ -f "tests/fuzz/$target.dict" ] && extra+=("-dict=tests/fuzz/$target.dict")
  echo "== fuzzing $target for ${seconds}s"
  ./build-fuzz/tests/"$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix=artifacts/ "${extra[@]}" "$corpus" || status=1
done
exit $status
