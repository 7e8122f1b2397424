#!/usr/bin/env bash
# Builds the test binary with ThreadSanitizer and runs the tests where the audio thread races
# the main queue (the request box, the WAV recorder, the capture tap and the controller).
set -euo pipefail
cd "$(dirname "$0")/../.."
source scripts/lib/builds.sh

configure_tsan
cmake --build build-tsan -j "$jobs" --target selvar_tests

export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
./build-tsan/tests/selvar_tests \
  --gtest_filter='AudioThread*:RequestBox*:HandsFree*:UtteranceScenario*:ServerPath*'
