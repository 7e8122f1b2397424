#!/usr/bin/env bash
# Runs each libFuzzer target (address and undefined-behaviour sanitizers, clang) for a short,
# fixed time. The targets live in the sanitized tree the test command builds; run alone, this
# builds them. SELVAR_FUZZ_SECONDS changes the time per target.
set -euo pipefail
cd "$(dirname "$0")/../.."
source scripts/lib/builds.sh

seconds=${SELVAR_FUZZ_SECONDS:-30}
targets=()
for source in tests/fuzz/*.cpp; do targets+=("$(basename "$source" .cpp)"); done
configure_sanitized
cmake --build build-san -j "$jobs" --target "${targets[@]}"

export UBSAN_OPTIONS=halt_on_error=1:print_stacktrace=1
mkdir -p artifacts
status=0
for target in "${targets[@]}"; do
  corpus=fuzz-corpus/$target
  mkdir -p "$corpus"
  extra=()
  [ -f "tests/fuzz/$target.dict" ] && extra+=("-dict=tests/fuzz/$target.dict")
  echo "== fuzzing $target for ${seconds}s"
  ./build-san/tests/"$target" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=2048 \
    -print_final_stats=1 -artifact_prefix=artifacts/ "${extra[@]}" "$corpus" || status=1
done
exit $status
