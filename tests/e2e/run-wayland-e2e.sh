#!/usr/bin/env bash
# Dictation end to end on a headless sway: the trigger is a sway bindsym / bindsym --release
# pair running "selvar --start" and "selvar --stop", its key pressed through a virtual keyboard;
# speech played into a PulseAudio virtual microphone is transcribed by the real transcription
# server and pasted through Selvar's virtual keyboard into a native Wayland GTK window; the
# clipboard the user had comes back through data-control; cancel pressed twice discards; the
# pill is a layer surface (grim screenshots in the artefacts); the latency split is printed.
#
# sway refuses to run as root, so as root the whole session (sway, PulseAudio, the window,
# Selvar) runs as the unprivileged user selvar-wl, made on first use. The transcription server
# runs as the caller, on the loopback of a private network namespace that the session shares,
# so the user needs no access to the server's environment under the caller's home.
# Environment as for run-e2e.sh: SELVAR_BUILD_DIR, SELVAR_E2E_ARTIFACTS (this test adds
# /wayland/dictation), SELVAR_ASR_PYTHON, SELVAR_ASR_TOOLS, SELVAR_E2E_KEEP=1.
set -euo pipefail

E2E_DIR=$(cd "$(dirname "$0")" && pwd)
ROOT=$(cd "$E2E_DIR/../.." && pwd)
BUILD=${SELVAR_BUILD_DIR:-$ROOT/build}
artifacts=${SELVAR_E2E_ARTIFACTS:-$BUILD/e2e-artifacts}/wayland/dictation
ASR_PYTHON=${SELVAR_ASR_PYTHON:-$HOME/.local/share/selvar/asr/bin/python}
ASR_TOOLS=${SELVAR_ASR_TOOLS:-$ROOT/tools}

# Only root can enter a network namespace and still be someone else in it: an unprivileged
# caller's namespace would make it root there, which sway refuses.
if [ -z "${SELVAR_WL_INNER:-}" ]; then
  export SELVAR_WL_INNER=1 SELVAR_BUILD_DIR=$BUILD SELVAR_E2E_ARTIFACTS=${artifacts%/wayland/dictation} \
    SELVAR_ASR_PYTHON=$ASR_PYTHON SELVAR_ASR_TOOLS=$ASR_TOOLS
  if [ "$(id -u)" -eq 0 ] && command -v ip >/dev/null && unshare -n true 2>/dev/null; then
    exec unshare -n bash -c 'ip link set lo up && exec bash "$0" "$@"' "$0" "$@"
  fi
  echo "wayland e2e: no private network namespace here; using the machine's loopback"
fi

source "$E2E_DIR/lib.sh"
source "$E2E_DIR/scenarios.sh"

require_desktop_tools sway swaymsg grim pulseaudio pactl parec espeak-ng runuser

T=$(mktemp -d /tmp/selvar-wl-e2e.XXXXXX)
chmod 755 "$T"
rm -rf "$artifacts"
mkdir -p "$artifacts"
started=$(now_ms)
finish() {
  local status=$?
  stop_all
  cp "$T"/*.log "$T"/typed.txt* "$artifacts/" 2>/dev/null || true
  [ -d "$SELVAR_HOME/logs" ] && cp -r "$SELVAR_HOME/logs" "$artifacts/selvar-logs" 2>/dev/null
  [ -f "$SELVAR_HOME/asr-server.log" ] && cp "$SELVAR_HOME/asr-server.log" "$artifacts/selvar-asr-server.log"
  if [ "${SELVAR_E2E_KEEP:-}" = 1 ]; then e2e_say "kept $T"; else rm -rf "$T"; fi
  if [ $status -eq 0 ]; then
    e2e_say "wayland: passed in $((($(now_ms) - started) / 1000)) s"
  else
    e2e_say "wayland: failed (logs of sway, Selvar and the server in $artifacts)"
  fi
  exit $status
}
trap finish EXIT
trap 'exit 130' INT TERM

# --- the session user and its environment --------------------------------------------------

as_user=()
if [ "$(id -u)" -eq 0 ]; then
  id selvar-wl >/dev/null 2>&1 || useradd --system --no-create-home --shell /usr/sbin/nologin selvar-wl
  as_user=(runuser -u selvar-wl --)
fi
# The build may sit in a folder the session user cannot enter (/root): it gets its own copies.
cp "$BUILD/src/selvar" "$BUILD/tests/selvar_wayland_probe" "$E2E_DIR/textwindow.py" "$T/"
SELVAR_HOME=$T/selvar-home
mkdir -p "$T/run/pulse" "$T/home" "$SELVAR_HOME" "$T/shots"
chmod 700 "$T/run"
: >"$T/typed.txt"
: >"$T/other.txt"
[ ${#as_user[@]} -eq 0 ] || chown -R selvar-wl: "$T"

export PULSE_SERVER="unix:$T/run/pulse/native"
printf 'autospawn = no\n' >"$T/pulse-client.conf"
export PULSE_CLIENTCONFIG="$T/pulse-client.conf"
session_env=(env -i HOME="$T/home" PATH=/usr/bin:/bin XDG_RUNTIME_DIR="$T/run"
  SELVAR_HOME="$SELVAR_HOME" PULSE_SERVER="$PULSE_SERVER" PULSE_CLIENTCONFIG="$PULSE_CLIENTCONFIG"
  DBUS_SESSION_BUS_ADDRESS="unix:path=$T/run/bus" NO_AT_BRIDGE=1 LANG=C.UTF-8)
# as_session NAME COMMAND...: a child of the session user, stopped with the others.
as_session() {
  local name=$1
  shift
  spawn "$name" "${as_user[@]}" "${session_env[@]}" ${WL:+WAYLAND_DISPLAY="$WL"} "$@"
}
# in_session COMMAND...: a short command of the session user, bounded in case sway hangs.
in_session() { timeout 20 "${as_user[@]}" "${session_env[@]}" WAYLAND_DISPLAY="$WL" "$@"; }
probe() { in_session SELVAR_HOME="$T/probe-home" "$T/selvar_wayland_probe" "$@"; }

# --- the pieces ----------------------------------------------------------------------------

# Loading the model takes longest, so it starts first and is waited for last.
start_server_early() {
  port_free 8020 || e2e_fail "something already listens on 127.0.0.1:8020"
  mkdir -p "$T/server-home"
  (cd "$ASR_TOOLS" && HOME=$T/server-home exec "$ASR_PYTHON" asr-server.py --port 8020) \
    >"$T/asr-server.log" 2>&1 &
  E2E_PIDS+=("$!")
}

F9=0x65 # macOS key codes, as the probe takes them
F10=0x6D
KEY_A=0x00
BACKSPACE=0x33

# The session's own bus, a child of the test, so that stopping Selvar reaches Selvar itself.
start_session_bus() {
  as_session bus dbus-daemon --session --nofork --address="unix:path=$T/run/bus"
  wait_for 10 "the session bus" test -S "$T/run/bus"
}

start_sway() {
  cat >"$T/sway.conf" <<EOF
output HEADLESS-1 resolution 1280x800
xwayland disable
bindsym --no-repeat F9 exec $T/selvar --start
bindsym --release F9 exec $T/selvar --stop
bindsym F10 exec $T/selvar --cancel
EOF
  WL=
  as_session sway WLR_BACKENDS=headless WLR_LIBINPUT_NO_DEVICES=1 WLR_RENDERER=pixman \
    sway -c "$T/sway.conf"
  wait_for 15 "sway's socket" compgen -G "$T/run/wayland-*.lock"
  WL=$(basename "$(compgen -G "$T/run/wayland-*.lock" | head -1)" .lock)
  wait_for 10 "sway's IPC socket" compgen -G "$T/run/sway-ipc.*.sock"
  SWAYSOCK=$(compgen -G "$T/run/sway-ipc.*.sock" | head -1)
  e2e_say "sway up on $WL after $(($(now_ms) - started)) ms"
}

sway_tree() { in_session SWAYSOCK="$SWAYSOCK" swaymsg -t get_tree; }

# PulseAudio as the session user; the test's own clients (as the caller) join anonymously, the
# socket sitting in the user's private runtime folder.
start_session_pulse() {
  as_session pulse pulseaudio --daemonize=no --system=false -n --exit-idle-time=-1 \
    --disallow-exit --log-target=stderr \
    -L "module-native-protocol-unix socket=$T/run/pulse/native auth-anonymous=1" \
    "${PULSE_MICROPHONE_MODULES[@]}"
  use_pulse_microphone
}

window_focused() {
  sway_tree | "$SYSTEM_PYTHON" -c '
import json, sys
def walk(n):
    yield n
    for c in n.get("nodes", []) + n.get("floating_nodes", []):
        yield from walk(c)
sys.exit(0 if any(n.get("name") == sys.argv[1] and n.get("focused")
                  for n in walk(json.load(sys.stdin))) else 1)' "$TEXT_TITLE"
}

start_wayland_text_window() {
  as_session textwindow GDK_BACKEND=wayland "$SYSTEM_PYTHON" "$T/textwindow.py" "$T/typed.txt" \
    "$TEXT_TITLE"
  wait_for 20 "the text window to have the focus" window_focused
}

# Replaces the X11 versions: the keys go through a virtual keyboard of their own.
clear_text_window() {
  window_focused || e2e_fail "the text window lost the focus"
  probe tap $KEY_A ctrl
  probe tap $BACKSPACE
  wait_for 5 "the text window to empty" test ! -s "$T/typed.txt"
}

# set_clipboard TEXT: another client owns the clipboard until someone else takes it.
set_clipboard() {
  [ -z "${PID_clip_owner:-}" ] || stop_pid "$PID_clip_owner"
  as_session clip-owner SELVAR_HOME="$T/probe-home" "$T/selvar_wayland_probe" hold "$1"
  wait_for 5 "the clipboard to be set" clipboard_is "$1"
}
clipboard_text() { probe print 2>/dev/null; }
clipboard_is() { [ "$(clipboard_text)" = "$1" ]; }

hud_shows() { log_count 'hud shown at'; }

start_wayland_selvar() {
  write_settings "$(settings_for hold)"
  [ ${#as_user[@]} -eq 0 ] || chown -R selvar-wl: "$SELVAR_HOME"
  as_session selvar "$T/selvar"
  wait_for 30 "Selvar to be ready" logged 'Z ready$'
  wait_for 10 "Selvar's control channel" logged 'control channel listening'
  for line in "desktop backend: wayland" "trigger source: the control command" \
    "paste keystroke through a virtual keyboard" "clipboard snapshot and restore through data-control"; do
    logged "$line" || e2e_fail "Selvar's log lacks \"$line\""
  done
  e2e_say "Selvar ready after $(($(now_ms) - started)) ms"
}

# The trigger key goes down through a probe that keeps it down until told; its release time is
# when sway had handled the key going up.
press_trigger() {
  rm -f "$T/trigger.in" "$T/trigger.out"
  mkfifo "$T/trigger.in"
  timeout 120 "${as_user[@]}" "${session_env[@]}" WAYLAND_DISPLAY="$WL" SELVAR_HOME="$T/probe-home" \
    "$T/selvar_wayland_probe" hold-key $F9 <"$T/trigger.in" >"$T/trigger.out" 2>>"$T/probe.log" &
  TRIGGER_PROBE=$!
  exec 7>"$T/trigger.in"
  wait_for 5 "the trigger key to go down" grep -q '^down' "$T/trigger.out"
}
release_trigger() {
  exec 7>&-
  wait "$TRIGGER_PROBE" || e2e_fail "the trigger key's release was not taken"
  RELEASED_AT=$(sed -n 's/^up //p' "$T/trigger.out")
}

# shoot NAME: the whole output, as the session user sees it.
shoot() { in_session grim "$T/shots/$1.png" && cp "$T/shots/$1.png" "$artifacts/"; }

# The pill's rectangle from Selvar's last "hud shown" line (origin at the bottom left of the
# 800-high output), as grim's geometry.
pill_geometry() {
  grep -o 'hud shown at [0-9-]*,[0-9-]* size=[0-9]*x[0-9]*' "$SELVAR_HOME/logs/selvar.log" |
    tail -n1 | sed -E 's/hud shown at ([0-9-]+),([0-9-]+) size=([0-9]+)x([0-9]+)/\1 \2 \3 \4/' |
    awk '{ printf "%d,%d %dx%d\n", $1, 800 - $2 - $4, $3, $4 }'
}
shoot_pill_area() { in_session grim -t ppm -g "$PILL_AREA" "$T/shots/$1.ppm"; }

# While recording the pill is drawn, yet no window of sway's tree is Selvar's.
check_pill_layer() {
  wait_for 10 "the pill to show the recording" logged_more 'hud shown at' "$1"
  sleep 0.3
  shoot pill-listening
  PILL_AREA=$(pill_geometry)
  shoot_pill_area pill-shown
  sway_tree >"$T/tree.json"
  ! grep -q '"Selvar"' "$T/tree.json" || e2e_fail "the pill is an ordinary window, not a layer surface"
  window_focused || e2e_fail "the pill took the focus"
}
# After the pill hid, its rectangle must look different: it was the pill that was drawn there.
check_pill_gone() {
  shoot_pill_area pill-hidden
  ! cmp -s "$T/shots/pill-shown.ppm" "$T/shots/pill-hidden.ppm" ||
    e2e_fail "nothing of the pill was drawn at $PILL_AREA"
  e2e_say "pill: a layer surface at $PILL_AREA, outside sway's window tree"
}

# --- the scenarios -------------------------------------------------------------------------

# Not only ASCII: the snapshot and the restore must keep the bytes as they were.
PREVIOUS_CLIPBOARD="what the user had copied before — café"

# wayland_hold_attempt NAME WAV: hold the trigger, speak, release.
wayland_hold_attempt() {
  local name=$1 wav=$2 shows
  clear_text_window
  set_clipboard "$PREVIOUS_CLIPBOARD"
  shows=$(hud_shows)
  start_listening "$name"
  press_trigger
  [ "$name" != hold ] || check_pill_layer "$shows"
  [ "$name" = hold ] || wait_for 10 "the recording" logged_more 'hud shown at' "$shows"
  play_speech "$wav" &
  local player=$!
  if [ "$name" = hold ]; then
    sleep 2
    shoot pill-speaking # the meter moving with the voice
  fi
  wait "$player"
  sleep 0.5 # the end of the sentence still on its way through the sound server on a busy machine
  release_trigger
  stop_listening
  wait_for_dictation
}
hold_attempt() { wayland_hold_attempt hold "$T/hold.wav"; }
recording_attempt() { wayland_hold_attempt recording "$T/recording.wav"; }

scenario_wayland_hold() {
  e2e_say "hold: speaking with the trigger held through sway's key bindings"
  make_speech "$T/hold.wav" "$SENTENCE"
  dictation_checked hold "$SENTENCE" hold_attempt
  wait_for 5 "the clipboard to be restored" clipboard_is "$PREVIOUS_CLIPBOARD" ||
    e2e_fail "the clipboard holds \"$(clipboard_text)\", not what the user had"
  e2e_say "hold: the previous clipboard is back"
  check_pill_gone
  check_records
  measure_latency
}

# A real voice, read from a recording rather than synthesised. Its archaic "thereunder" often
# comes back as two or three words, hence the looser limit.
scenario_recording() {
  local clip=$ROOT/tools/tests/speech/lj050-0131
  e2e_say "recording: a real voice"
  cp "$clip.wav" "$T/recording.wav"
  WER_LIMIT=0.3 dictation_checked recording "$(cat "$clip.txt")" recording_attempt
}

scenario_wayland_cancel() {
  e2e_say "cancel: discarding a recording with the cancel binding pressed twice"
  clear_text_window
  set_clipboard "$PREVIOUS_CLIPBOARD"
  make_speech "$T/cancel.wav" "This sentence must never reach the window."
  local downs
  downs=$(log_count 'control command start')
  press_trigger
  wait_for 10 "the recording" logged_more 'control command start' "$downs"
  play_speech "$T/cancel.wav"
  probe tap $F10
  wait_for 5 "the first cancel press" logged 'armed to discard'
  sleep 0.3
  probe tap $F10
  release_trigger
  wait_for 5 "the discard" logged 'cancel key pressed twice: discarding the utterance'
  sleep 2
  [ ! -s "$T/typed.txt" ] || e2e_fail "cancel: text arrived anyway: $(typed)"
  clipboard_is "$PREVIOUS_CLIPBOARD" || e2e_fail "cancel: the clipboard changed"
  e2e_say "cancel: nothing was pasted"
}

start_server_early
start_session_bus
start_sway
start_session_pulse
start_wayland_text_window
wait_for 240 "the transcription server to load its model" http_ok http://127.0.0.1:8020/v1/models
e2e_say "transcription server ready after $(($(now_ms) - started)) ms"
start_wayland_selvar

scenario_wayland_hold
scenario_recording
scenario_wayland_cancel
