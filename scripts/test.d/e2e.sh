#!/usr/bin/env bash
# The end-to-end test on a virtual X11 desktop with a virtual microphone: dictation with the
# trigger held (also into the older of an application's two windows), cancel pressed twice,
# hands-free. Uses the build in ./build and the transcription server environment that
# tools/setup-asr.sh prepared. Screenshots, logs and the latency split land in
# build/e2e-artifacts.
set -euo pipefail
cd "$(dirname "$0")/../.."
exec timeout 900 bash tests/e2e/run-e2e.sh
