#!/usr/bin/env bash
# End-to-end test of Selvar on a virtual desktop: Xvfb with openbox, a PulseAudio daemon whose
# default source is a virtual microphone, the local transcription server, a text window and
# Selvar itself. Keys are pressed through XTest, speech is made with espeak-ng and played into
# the microphone, and the text that arrives is checked.
#
#   run-e2e.sh [--desktop-only | --rewrite]
#
# --desktop-only checks the virtual desktop alone (keys, clipboard, microphone, server).
# --rewrite runs the rewrite stage against the real model server that tools/setup-rewrite.sh
# installed (SELVAR_REWRITE_HOME, default ~/.local/share/selvar/rewrite).
# Environment: SELVAR_BUILD_DIR (default build), SELVAR_E2E_ARTIFACTS (screenshots and logs,
# default <build>/e2e-artifacts), SELVAR_ASR_PYTHON, SELVAR_ASR_TOOLS, SELVAR_E2E_KEEP=1 keeps
# the temp folder, SELVAR_E2E_HOLD=<seconds> keeps a failed run's desktop up for a look.
set -euo pipefail

E2E_DIR=$(cd "$(dirname "$0")" && pwd)
ROOT=$(cd "$E2E_DIR/../.." && pwd)
BUILD=${SELVAR_BUILD_DIR:-$ROOT/build}
artifacts=${SELVAR_E2E_ARTIFACTS:-$BUILD/e2e-artifacts}
ASR_PYTHON=${SELVAR_ASR_PYTHON:-$HOME/.local/share/selvar/asr/bin/python}
ASR_TOOLS=${SELVAR_ASR_TOOLS:-$ROOT/tools}
export SELVAR_REWRITE_TOOLS=${SELVAR_REWRITE_TOOLS:-$ROOT/tools}
REWRITE_TOOLS=$SELVAR_REWRITE_TOOLS
export SELVAR_REWRITE_HOME=${SELVAR_REWRITE_HOME:-$HOME/.local/share/selvar/rewrite}
mode=${1:-full}

# A private network namespace gives the test its own loopback, so port 8020 is free even when
# another transcription server runs on this machine.
if [ -z "${SELVAR_E2E_INNER:-}" ]; then
  export SELVAR_E2E_INNER=1 SELVAR_BUILD_DIR=$BUILD SELVAR_E2E_ARTIFACTS=$artifacts \
    SELVAR_ASR_PYTHON=$ASR_PYTHON SELVAR_ASR_TOOLS=$ASR_TOOLS
  if command -v ip >/dev/null && unshare -rn true 2>/dev/null; then
    exec unshare -rn bash -c 'ip link set lo up && exec bash "$0" "$@"' "$0" "$@"
  fi
  echo "e2e: no private network namespace here; using the machine's loopback"
fi

source "$E2E_DIR/lib.sh"

require_desktop_tools Xvfb openbox pulseaudio pactl paplay espeak-ng xdotool xprop

T=$(mktemp -d "${TMPDIR:-/tmp}/selvar-e2e.XXXXXX")
mkdir -p "$artifacts"
finish() {
  local status=$?
  if [ $status -ne 0 ] && [ -n "${SELVAR_E2E_HOLD:-}" ]; then
    echo "e2e: holding the desktop for ${SELVAR_E2E_HOLD}s: DISPLAY=$DISPLAY T=$T"
    sleep "$SELVAR_E2E_HOLD"
  fi
  stop_all
  cp "$T"/*.log "$artifacts/" 2>/dev/null || true
  rm -rf "$artifacts/selvar-logs"
  [ -d "$T/selvar-home/logs" ] && cp -r "$T/selvar-home/logs" "$artifacts/selvar-logs" 2>/dev/null
  if [ "${SELVAR_E2E_KEEP:-}" = 1 ]; then echo "e2e: kept $T"; else rm -rf "$T"; fi
  if [ $status -eq 0 ]; then echo "e2e: passed"; else echo "e2e: failed (artefacts in $artifacts)"; fi
  exit $status
}
trap finish EXIT
trap 'exit 130' INT TERM

# Nothing of the real session leaks in, and nothing is written into the real home folder.
export HOME=$T/home XDG_RUNTIME_DIR=$T/run XDG_CONFIG_HOME=$T/home/.config \
  XDG_DATA_HOME=$T/home/.local/share XDG_CACHE_HOME=$T/home/.cache SELVAR_HOME=$T/selvar-home
mkdir -p "$HOME" "$XDG_RUNTIME_DIR" "$SELVAR_HOME"
chmod 700 "$XDG_RUNTIME_DIR"
unset WAYLAND_DISPLAY XDG_SESSION_TYPE
# A bus address that leads nowhere: nothing may autolaunch a session bus that outlives the test.
export DBUS_SESSION_BUS_ADDRESS="unix:path=$T/no-session-bus" NO_AT_BRIDGE=1 GDK_BACKEND=x11

start_xvfb
start_openbox
start_pulse
start_text_window

source "$E2E_DIR/scenarios.sh"
# A benchmark brings its own run_scenarios on the same desktop.
[ -z "${SELVAR_E2E_EXTRA:-}" ] || source "$SELVAR_E2E_EXTRA"
if [ "$mode" = --desktop-only ]; then
  start_asr_server "$ASR_TOOLS" "$ASR_PYTHON"
  check_desktop
elif [ "$mode" = --rewrite ]; then
  source "$E2E_DIR/rewrite.sh"
  start_asr_server "$ASR_TOOLS" "$ASR_PYTHON"
  run_rewrite_scenarios
else
  start_asr_server "$ASR_TOOLS" "$ASR_PYTHON"
  run_scenarios
fi
