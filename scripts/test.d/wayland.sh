#!/usr/bin/env bash
# Selvar's Wayland backend on a headless sway: backend choice, the control command and the
# layer-shell pill. Uses the build in ./build; the screenshot lands in build/e2e-artifacts.
set -euo pipefail
cd "$(dirname "$0")/../.."
exec timeout 120 bash tests/e2e/wayland-smoke.sh
