#!/usr/bin/env bash
# Sets up everything on a fresh Debian/Ubuntu machine and runs Selvar: installs the packages,
# builds, prepares the local transcription server with its embedded model, starts the server,
# then starts Selvar in the tray. Without a display it runs the headless demo instead: a
# sentence spoken by espeak-ng, transcribed by the local server, cleaned up and printed.
# SELVAR_WITH_REWRITE=1 also sets up and starts the optional local rewrite server (a long
# first build), which is otherwise left out.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/install-deps.sh
bash tools/setup-asr.sh
with_rewrite=${SELVAR_WITH_REWRITE:-0}
[ "$with_rewrite" != 1 ] || bash tools/setup-rewrite.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSELVAR_BUILD_TESTS=OFF \
  -DSELVAR_BUILD_BENCH=OFF >/dev/null
cmake --build build -j "$(nproc)"

if [ -z "${DISPLAY:-}" ] && [ -z "${WAYLAND_DISPLAY:-}" ]; then
  echo "run: no display found (DISPLAY is not set); running the headless demo instead."
  exec bash scripts/demo-headless.sh
fi
# Wayland: Selvar picks its Wayland backend itself; say here which trigger source it will find
# (its log line "trigger source: …" is the final word) and how to enable the others.
if [ -n "${WAYLAND_DISPLAY:-}" ] || [ "${XDG_SESSION_TYPE:-}" = wayland ]; then
  readable=
  for node in /dev/input/event*; do [ -r "$node" ] && readable=1 && break; done
  # The desktop portal's global shortcuts (KDE Plasma 6, GNOME 48+, Hyprland) come next.
  shortcuts=
  timeout 5 gdbus introspect --session --dest org.freedesktop.portal.Desktop \
    --object-path /org/freedesktop/portal/desktop 2>/dev/null |
    grep -q org.freedesktop.portal.GlobalShortcuts && shortcuts=1
  if [ -n "$readable" ]; then
    echo "run: Wayland session: trigger keys are read from the keyboards (evdev)."
  elif [ -n "$shortcuts" ]; then
    echo "run: Wayland session: no keyboard is readable, so the trigger comes from the desktop"
    echo "run:   portal's shortcuts: confirm them in the dialog the desktop shows once."
    echo "run:   to use the trigger key itself: sudo usermod -aG input $USER, then log in again"
  else
    echo "run: Wayland session: no keyboard is readable, so the trigger is the control command."
    echo "run:   to use the trigger key itself: sudo usermod -aG input $USER, then log in again"
  fi
  echo "run:   compositor bindings work everywhere, e.g. for sway:"
  echo "run:     bindsym Mod4+d exec $PWD/build/src/selvar --start"
  echo "run:     bindsym --release Mod4+d exec $PWD/build/src/selvar --stop"
  echo "run:   text is pasted through a virtual keyboard (wlroots) or the portal's remote desktop"
  echo "run:   (GNOME, KDE: asked once); where neither works it is copied for Ctrl+V."
fi

# The server loads its model while Selvar starts, so the first dictation does not wait for it.
# A server that already answers is left alone; one started here stops when Selvar ends.
python=/usr/bin/python3
asr_python=${SELVAR_ASR_PYTHON:-$HOME/.local/share/selvar/asr/bin/python}
answers() { "$python" -c 'import urllib.request; urllib.request.urlopen("http://127.0.0.1:8020/v1/models", timeout=2)' 2>/dev/null; }
server_pid=
if ! answers; then
  log_dir=${XDG_STATE_HOME:-$HOME/.local/state}/selvar
  mkdir -p "$log_dir"
  echo "run: starting the transcription server (log: $log_dir/asr-server-run.log)"
  (cd tools && exec "$asr_python" asr-server.py --port 8020) >>"$log_dir/asr-server-run.log" 2>&1 &
  server_pid=$!
fi
rewrite_pid=
rewrite_answers() { "$python" -c 'import urllib.request; urllib.request.urlopen("http://127.0.0.1:8021/v1/models", timeout=2)' 2>/dev/null; }
if [ "$with_rewrite" = 1 ] && ! rewrite_answers; then
  log_dir=${XDG_STATE_HOME:-$HOME/.local/state}/selvar
  mkdir -p "$log_dir"
  echo "run: starting the rewrite server (log: $log_dir/rewrite-server-run.log)"
  tools/rewrite-server.sh >>"$log_dir/rewrite-server-run.log" 2>&1 &
  rewrite_pid=$!
fi
stop_server() {
  [ -z "$server_pid" ] || kill "$server_pid" 2>/dev/null || true
  [ -z "$rewrite_pid" ] || kill "$rewrite_pid" 2>/dev/null || true
}
trap stop_server EXIT INT TERM

echo "run: starting Selvar in the tray: tap Right Alt, speak, tap it again (Settings changes the key)."
./build/src/selvar "$@"
