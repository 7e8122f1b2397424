#!/usr/bin/env bash
# Dictation end to end on a headless sway: hold through sway's key bindings, speech through a
# virtual microphone and the real transcription server, the paste through Selvar's virtual
# keyboard into a native Wayland window, the clipboard restored, cancel twice, the pill as a
# layer surface and the latency split. Uses the build in ./build; screenshots, logs and the
# latency split land in build/e2e-artifacts/wayland.
set -euo pipefail
cd "$(dirname "$0")/../.."
exec timeout 420 bash tests/e2e/run-wayland-e2e.sh
