#!/usr/bin/env bash
# Builds the test binary with ThreadSanitizer and runs the whole suite with it: the audio thread
# racing the main queue (request box, WAV recorder, capture tap, controller), the HTTP worker,
# the log and diagnostics writers, the server process runner and the shell's background work.
set -euo pipefail
cd "$(dirname "$0")/../.."
source scripts/lib/builds.sh

configure_tsan
cmake --build build-tsan -j "$jobs" --target selvar_tests

export TSAN_OPTIONS="halt_on_error=1:second_deadlock_stack=1:suppressions=$(pwd)/tests/tsan.supp"
./build-tsan/tests/selvar_tests
