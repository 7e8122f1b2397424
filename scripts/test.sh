#!/usr/bin/env bash
# Sets up everything on a fresh Debian/Ubuntu machine and runs every test: the C++ suite (gcc,
# then clang with address and undefined-behaviour sanitizers), then each step of
# scripts/test.d (the server's suite, fuzzing, ThreadSanitizer, the macOS syntax check, the
# end-to-end test on a virtual desktop).
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/lib/builds.sh
started=$SECONDS

# Each step chains its commands with && itself: errexit does not reach into a function whose
# status is tested.
build_plain() { configure_plain && cmake --build build -j "$jobs"; }
test_plain() { (cd build && ctest --output-on-failure --no-tests=error -j "$jobs"); }
build_sanitized() { configure_sanitized && cmake --build build-san -j "$jobs"; }
test_sanitized() {
  (cd build-san && ASAN_OPTIONS=detect_leaks=1 UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1 \
    ctest --output-on-failure --no-tests=error -j "$jobs")
}

step "install packages" bash scripts/install-deps.sh
step "transcription server environment" bash tools/setup-asr.sh

status=0
step "build (gcc)" build_plain
step "tests (gcc)" test_plain || status=1
step "build (clang, sanitizers)" build_sanitized || status=1
step "tests (clang, sanitizers)" test_sanitized || status=1
for extra in scripts/test.d/*.sh; do
  [ -e "$extra" ] || continue
  step "$extra" bash "$extra" || status=1
done
echo "== all steps: $((SECONDS - started)) s, $([ $status -eq 0 ] && echo passed || echo FAILED)"
exit $status
