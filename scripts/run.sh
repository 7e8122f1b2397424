#!/usr/bin/env bash
# Sets up everything on a fresh Debian/Ubuntu machine and runs Selvar: installs the packages,
# builds, prepares the local transcription server with its embedded model, then starts Selvar in
# the tray. Without a display it runs the headless demo instead: a sentence spoken by espeak-ng,
# transcribed by the local server, cleaned up and printed.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
bash tools/setup-asr.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSELVAR_BUILD_TESTS=OFF \
  -DSELVAR_BUILD_BENCH=OFF >/dev/null
cmake --build build -j "$(nproc)"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "run: no display found (DISPLAY is not set); running the headless demo instead."
  exec bash scripts/demo-headless.sh
fi
exec ./build/src/selvar "$@"
