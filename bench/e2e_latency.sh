#!/usr/bin/env bash
# Release-to-text over the X11 test desktop, whole file against session, side by side:
#
#   bash bench/e2e_latency.sh        (after a build in ./build and ./tools/setup-asr.sh)
#
# Plays the real recordings of ../shared/speech (or tools/tests/speech) and espeak-ng speech of
# about 5, 15 and 30 s, continuous and with pauses, into the virtual microphone with the
# trigger held with the old server, with this one without sessions and with sessions
# (SELVAR_BENCH_PATHS="whole session" picks some), and
# prints per clip: release to text, the split (audio finishing, server, pipeline and paste) and
# the word errors, with the load average. Never a test: the numbers depend on the machine.
set -euo pipefail
cd "$(dirname "$0")/.."
export SELVAR_E2E_EXTRA=$PWD/bench/e2e_latency_scenarios.sh
exec timeout 1800 bash tests/e2e/run-e2e.sh
