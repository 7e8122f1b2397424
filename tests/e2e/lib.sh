# Shared pieces of the end-to-end test: bounded waiting, child processes that are always
# stopped, and the virtual desktop (Xvfb, openbox, a PulseAudio daemon with a virtual
# microphone, the transcription server). Sourced by run-e2e.sh; expects $T (a private temp
# folder) and $artifacts.

SYSTEM_PYTHON=${SYSTEM_PYTHON:-/usr/bin/python3}
E2E_PIDS=()

e2e_say() { echo "e2e: $*"; }
e2e_fail() {
  echo "e2e: FAILED: $*" >&2
  return 1
}

now_ms() { date +%s%3N; }

# wait_for SECONDS WHAT COMMAND...: polls COMMAND every 100 ms until it succeeds.
wait_for() {
  local seconds=$1 what=$2
  shift 2
  local deadline=$(($(now_ms) + seconds * 1000))
  until "$@" >/dev/null 2>&1; do
    if (($(now_ms) > deadline)); then
      e2e_fail "gave up after ${seconds}s waiting for $what"
      return 1
    fi
    sleep 0.1
  done
}

# spawn NAME COMMAND...: starts a child with its output added to $T/NAME.log and remembers it.
spawn() {
  local name=$1
  shift
  "$@" >>"$T/$name.log" 2>&1 &
  E2E_PIDS+=("$!")
  eval "PID_${name//-/_}=$!"
}

# stop_pid PID: TERM, a bounded wait, then KILL.
stop_pid() {
  local pid=$1 i
  kill -TERM "$pid" 2>/dev/null || return 0
  for i in $(seq 30); do
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
  done
  kill -KILL "$pid" 2>/dev/null || true
  wait "$pid" 2>/dev/null || true
}

stop_all() {
  local i
  for ((i = ${#E2E_PIDS[@]} - 1; i >= 0; i--)); do stop_pid "${E2E_PIDS[$i]}"; done
  E2E_PIDS=()
}

alive() { kill -0 "$1" 2>/dev/null; }

# --- the virtual desktop -------------------------------------------------------------------

start_xvfb() {
  : >"$T/display"
  Xvfb -displayfd 9 -screen 0 1280x800x24 -nolisten tcp -noreset 9>"$T/display" \
    >"$T/xvfb.log" 2>&1 &
  E2E_PIDS+=("$!")
  wait_for 20 "Xvfb to choose a display" test -s "$T/display"
  export DISPLAY=":$(head -n1 "$T/display")"
  wait_for 20 "the X server to answer" xprop -root _XKB_RULES_NAMES
  e2e_say "X server on $DISPLAY"
}

wm_ready() { xprop -root _NET_SUPPORTING_WM_CHECK | grep -q 'window id'; }

start_openbox() {
  spawn openbox openbox --sm-disable
  wait_for 20 "the window manager" wm_ready
}

pulse_ready() { pactl info; }

# require_desktop_tools TOOL...: every tool and the server environment, or a clear failure.
require_desktop_tools() {
  local tool
  for tool in "$@"; do
    command -v "$tool" >/dev/null || {
      echo "e2e: FAILED: $tool is missing (scripts/install-deps.sh installs it)" >&2
      exit 1
    }
  done
  [ -x "$ASR_PYTHON" ] || {
    echo "e2e: FAILED: no transcription server environment at $ASR_PYTHON (run tools/setup-asr.sh)" >&2
    exit 1
  }
}

# The modules after the daemon's native socket: no configuration file and no real devices, a
# null sink whose monitor, remapped to mono, is the default source, so whatever plays into the
# sink is what the microphone hears.
PULSE_MICROPHONE_MODULES=(
  -L "module-null-sink sink_name=e2e_speaker rate=48000 sink_properties=device.description=E2ESpeaker"
  -L "module-remap-source master=e2e_speaker.monitor source_name=e2e_mic channels=1 channel_map=mono source_properties=device.description=E2EMicrophone"
)

# After the daemon answers: the virtual speaker and microphone become the defaults.
use_pulse_microphone() {
  wait_for 20 "the PulseAudio daemon" pulse_ready
  pactl set-default-sink e2e_speaker
  pactl set-default-source e2e_mic
}

start_pulse() {
  mkdir -p "$XDG_RUNTIME_DIR/pulse"
  printf 'autospawn = no\n' >"$T/pulse-client.conf"
  export PULSE_CLIENTCONFIG="$T/pulse-client.conf"
  export PULSE_SERVER="unix:$XDG_RUNTIME_DIR/pulse/native"
  spawn pulse pulseaudio --daemonize=no --system=false -n --exit-idle-time=-1 \
    --disallow-exit --log-target=stderr \
    -L "module-native-protocol-unix socket=$XDG_RUNTIME_DIR/pulse/native" \
    "${PULSE_MICROPHONE_MODULES[@]}"
  use_pulse_microphone
}

http_ok() { "$SYSTEM_PYTHON" -c 'import sys, urllib.request; urllib.request.urlopen(sys.argv[1], timeout=2)' "$1"; }

port_free() { ! "$SYSTEM_PYTHON" -c 'import socket, sys; socket.create_connection(("127.0.0.1", int(sys.argv[1])), 1)' "$1" 2>/dev/null; }

# start_asr_server TOOLS_DIR PYTHON
start_asr_server() {
  port_free 8020 || {
    e2e_fail "something already listens on 127.0.0.1:8020"
    return 1
  }
  (cd "$1" && exec "$2" asr-server.py --port 8020) >"$T/asr-server.log" 2>&1 &
  E2E_PIDS+=("$!")
  PID_asr=$!
  wait_for 240 "the transcription server to load its model" http_ok http://127.0.0.1:8020/v1/models
  e2e_say "transcription server ready"
}

wav_seconds() { "$SYSTEM_PYTHON" -c 'import sys, wave; w = wave.open(sys.argv[1]); print(w.getnframes() / w.getframerate())' "$1"; }

# play_speech WAV: plays into the virtual microphone and returns when it has been heard. The
# sound server plays it from its own sample cache, so no client has to keep a playback buffer
# filled on a busy machine.
play_speech() {
  local name="speech-$RANDOM"
  pactl upload-sample "$1" "$name"
  pactl play-sample "$name" e2e_speaker
  sleep "$(awk -v s="$(wav_seconds "$1")" 'BEGIN { print s + 0.15 }')"
  pactl remove-sample "$name"
}

# transcribe WAV: what the transcription server makes of a file, bypassing Selvar.
transcribe() {
  "$SYSTEM_PYTHON" - "$1" <<'PY'
import json, sys, urllib.request, uuid
data = open(sys.argv[1], "rb").read()
boundary = uuid.uuid4().hex
body = (f"--{boundary}\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a.wav\"\r\n"
        f"Content-Type: audio/wav\r\n\r\n").encode() + data + f"\r\n--{boundary}--\r\n".encode()
request = urllib.request.Request("http://127.0.0.1:8020/v1/audio/transcriptions", body,
                                 {"Content-Type": f"multipart/form-data; boundary={boundary}"})
print(json.load(urllib.request.urlopen(request, timeout=300))["text"])
PY
}

# A second ear on the microphone: what it heard goes to the artefacts, so a bad transcript can
# be told apart from bad audio. start_listening NAME, then stop_listening.
start_listening() {
  parec --device=e2e_mic --format=s16le --rate=16000 --channels=1 --file-format=wav \
    "$artifacts/heard-$1.wav" &
  LISTENER=$!
}
stop_listening() { stop_pid "$LISTENER"; }

# make_speech WAV TEXT
make_speech() { espeak-ng -v en-us -s 150 -w "$1" "$2"; }

screenshot() { "$SYSTEM_PYTHON" "$E2E_DIR/screenshot.py" "$1"; }

# --- the text window -----------------------------------------------------------------------

TEXT_TITLE="Selvar e2e text"
OTHER_TITLE="Selvar e2e other window"

# The text window's process also owns a second, newer window, as editors and browsers do:
# text meant for the text window must never land in the other one.
start_text_window() {
  : >"$T/typed.txt"
  : >"$T/other.txt"
  spawn textwindow "$SYSTEM_PYTHON" "$E2E_DIR/textwindow.py" "$T/typed.txt" "$TEXT_TITLE" \
    "$T/other.txt" "$OTHER_TITLE"
  wait_for 20 "the text window" xdotool search --name "^$TEXT_TITLE\$"
  wait_for 20 "the other window" xdotool search --name "^$OTHER_TITLE\$"
  TEXT_WINDOW=$(xdotool search --name "^$TEXT_TITLE\$" | head -n1)
  focus_text_window
}

text_window_focused() { [ "$(xdotool getactivewindow 2>/dev/null)" = "$TEXT_WINDOW" ]; }

focus_text_window() {
  xdotool windowactivate "$TEXT_WINDOW" >/dev/null 2>&1 || true
  wait_for 10 "the text window to have the focus" text_window_focused
}

typed() { cat "$T/typed.txt"; }

clear_text_window() {
  focus_text_window
  xdotool key --clearmodifiers ctrl+a BackSpace
  wait_for 5 "the text window to empty" test ! -s "$T/typed.txt"
}

# set_clipboard TEXT: a helper owns the clipboard until someone else takes it.
set_clipboard() {
  "$SYSTEM_PYTHON" "$E2E_DIR/clipboard.py" set "$1" >"$T/clipboard-owner.log" 2>&1 &
  E2E_PIDS+=("$!")
  wait_for 10 "the clipboard helper" grep -q ready "$T/clipboard-owner.log"
}

clipboard_text() { "$SYSTEM_PYTHON" "$E2E_DIR/clipboard.py" get; }
clipboard_targets() { "$SYSTEM_PYTHON" "$E2E_DIR/clipboard.py" targets; }

wer() { "$SYSTEM_PYTHON" "$E2E_DIR/wer.py" "$1" "$2"; }

# below LIMIT VALUE: true when VALUE < LIMIT (decimals).
below() { awk -v l="$1" -v v="$2" 'BEGIN { exit !(v < l) }'; }
