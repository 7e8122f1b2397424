# The checks of the end-to-end test. Sourced by run-e2e.sh once the desktop is up.

SENTENCE="Please send the quarterly report to the finance team before Friday afternoon."

# The desktop alone: typing and pasting reach the text window, and speech played into the
# sink comes out of the virtual microphone clearly enough to transcribe.
check_desktop() {
  xdotool type --delay 20 "hello"
  wait_for 10 "typed text" grep -qx hello "$T/typed.txt"
  set_clipboard "from the clipboard"
  [ "$(clipboard_text)" = "from the clipboard" ] || e2e_fail "clipboard helper"
  xdotool key --clearmodifiers ctrl+v
  wait_for 10 "pasted text" grep -q "hellofrom the clipboard" "$T/typed.txt"
  e2e_say "desktop: typing and pasting reach the text window"

  make_speech "$T/speech.wav" "$SENTENCE"
  parec --device=e2e_mic --format=s16le --rate=16000 --channels=1 --file-format=wav \
    "$T/heard.wav" &
  local recorder=$!
  sleep 0.3
  play_speech "$T/speech.wav"
  stop_pid "$recorder"
  local text
  text=$(transcribe "$T/heard.wav")
  local rate
  rate=$(wer "$SENTENCE" "$text")
  e2e_say "desktop: the microphone heard \"$text\" (WER $rate)"
  below 0.2 "$rate" || e2e_fail "the virtual microphone's speech was not understood"
  screenshot "$artifacts/desktop.png"
}

# --- Selvar --------------------------------------------------------------------------------

RIGHT_ALT=108 # X key codes of a PC keyboard: the default trigger (right Option) and Escape
ESCAPE=9
PREVIOUS_CLIPBOARD="what the user had copied before"

logged() { grep -q -- "$1" "$SELVAR_HOME/logs/selvar.log" 2>/dev/null; }
log_count() {
  local n
  n=$(grep -c -- "$1" "$SELVAR_HOME/logs/selvar.log" 2>/dev/null)
  echo "${n:-0}"
}
# logged_more PATTERN COUNT: the log has more than COUNT lines matching, so a restarted Selvar's
# lines are not confused with its predecessor's.
logged_more() { [ "$(log_count "$1")" -gt "$2" ]; }

# write_settings JSON: Selvar's settings file, read at start.
write_settings() {
  mkdir -p "$SELVAR_HOME/config"
  printf '%s\n' "$1" >"$SELVAR_HOME/config/settings.json"
}

settings_for() { # trigger mode
  printf '{"triggerMode": "%s", "trigger": "rightOption", "dictationEngine": "server-transcription", "restoreClipboard": true, "insertMode": "paste", "historyRetentionDays": 30}' "$1"
}

start_selvar() {
  local mode=$1 readies hotkeys
  readies=$(log_count 'Z ready$')
  hotkeys=$(log_count 'hotkey installed')
  write_settings "$(settings_for "$mode")"
  spawn selvar "$BUILD/src/selvar"
  wait_for 60 "Selvar to be ready" logged_more 'Z ready$' "$readies"
  wait_for 20 "the hotkey" logged_more 'hotkey installed' "$hotkeys"
  alive "$PID_selvar" || e2e_fail "Selvar exited at start"
  focus_text_window
}

stop_selvar() {
  stop_pid "$PID_selvar"
}

key() { "$SYSTEM_PYTHON" "$E2E_DIR/xkey.py" "$1" "$2" >/dev/null; }
# key_time up|down CODE: presses or releases, and prints when the server had the key.
key_time() { "$SYSTEM_PYTHON" "$E2E_DIR/xkey.py" "$1" "$2"; }

# The pill is up: Selvar's window titled "Selvar" is mapped.
pill_window() { xdotool search --onlyvisible --name '^Selvar$' | head -n1; }
pill_visible() { [ -n "$(pill_window)" ]; }

# The pill sits where Selvar says it put it: its log gives the origin in bottom-left screen
# points, X gives the window's top-left corner; the screen is 800 high.
check_pill_place() {
  local line x y w h geometry
  line=$(grep -o 'hud shown at [0-9-]*,[0-9-]* size=[0-9]*x[0-9]*' "$SELVAR_HOME/logs/selvar.log" | tail -n1)
  read -r x y w h <<<"$(echo "$line" | sed -E 's/hud shown at ([0-9-]+),([0-9-]+) size=([0-9]+)x([0-9]+)/\1 \2 \3 \4/')"
  geometry=$(xdotool getwindowgeometry --shell "$(pill_window)")
  local gx gy gw gh
  gx=$(echo "$geometry" | sed -n 's/^X=//p')
  gy=$(echo "$geometry" | sed -n 's/^Y=//p')
  gw=$(echo "$geometry" | sed -n 's/^WIDTH=//p')
  gh=$(echo "$geometry" | sed -n 's/^HEIGHT=//p')
  e2e_say "pill: logged at $x,$y ${w}x$h; X window at $gx,$gy ${gw}x$gh"
  [ "$gw" = "$w" ] && [ "$gh" = "$h" ] && [ $((gx - x)) -le 1 ] && [ $((x - gx)) -le 1 ] &&
    [ $((800 - gy - gh - y)) -le 1 ] && [ $((y - (800 - gy - gh))) -le 1 ] ||
    e2e_fail "the pill is not where Selvar placed it"
}

# judge NAME SENTENCE: 0 when the window's text is close to what was said; 1 when the
# microphone heard the sentence right and Selvar still got it wrong; 2 when the microphone
# itself heard it wrong (a machine too busy to play clean audio), which is not Selvar's fault.
# Close means a word error rate below WER_LIMIT (0.2 unless set).
judge() {
  local name=$1 sentence=$2 text rate heard
  text=$(typed)
  rate=$(wer "$sentence" "$text")
  e2e_say "$name: the window received \"$text\" (WER $rate)"
  below "${WER_LIMIT:-0.2}" "$rate" && return 0
  heard=$(transcribe "$artifacts/heard-$name.wav")
  e2e_say "$name: the microphone itself heard \"$heard\""
  below "${WER_LIMIT:-0.2}" "$(wer "$sentence" "$heard")" && return 1
  return 2
}

# dictation_checked NAME SENTENCE ATTEMPT: runs the attempt and judges its text, once more when
# the speech was damaged before it reached the microphone.
dictation_checked() {
  local name=$1 sentence=$2 attempt=$3 verdict=0
  "$attempt"
  judge "$name" "$sentence" || verdict=$?
  if [ $verdict -eq 2 ]; then
    e2e_say "$name: the speech was damaged on its way to the microphone; once more"
    "$attempt"
    verdict=0
    judge "$name" "$sentence" || verdict=$?
  fi
  [ $verdict -eq 0 ] || e2e_fail "$name: the text that arrived is too far from what was said"
}

text_arrived() { test -s "$T/typed.txt" || test -s "$T/other.txt"; }

# The dictated text arrives in the text window, not in the other window of its application.
wait_for_dictation() {
  wait_for 180 "the dictated text" text_arrived
  sleep 0.5 # let a paste that arrives in pieces settle
  [ ! -s "$T/other.txt" ] ||
    e2e_fail "the text landed in the application's other window: \"$(cat "$T/other.txt")\""
}

# Hold the trigger, speak, release.
hold_attempt() {
  clear_text_window
  set_clipboard "$PREVIOUS_CLIPBOARD"
  start_listening hold
  key down $RIGHT_ALT
  wait_for 10 "the pill to show the recording" pill_visible
  sleep 0.3
  screenshot "$artifacts/pill-listening.png"
  check_pill_place
  [ "$(xdotool getactivewindow)" = "$TEXT_WINDOW" ] || e2e_fail "the pill took the focus"
  play_speech "$T/hold.wav" &
  local player=$!
  sleep 2
  screenshot "$artifacts/pill-speaking.png" # the meter moving with the voice
  wait "$player"
  sleep 0.3
  RELEASED_AT=$(key_time up $RIGHT_ALT)
  stop_listening
  wait_for_dictation
}

# The sentence arrives in the text window, the clipboard comes back, the records are written.
scenario_hold() {
  e2e_say "hold: speaking with the trigger held"
  make_speech "$T/hold.wav" "$SENTENCE"
  dictation_checked hold "$SENTENCE" hold_attempt
  wait_for 5 "the clipboard to be restored" clipboard_is "$PREVIOUS_CLIPBOARD" ||
    e2e_fail "the clipboard holds \"$(clipboard_text)\" with targets: $(clipboard_targets | tr '\n' ' ')"
  check_records
  measure_latency
}

clipboard_is() { [ "$(clipboard_text)" = "$1" ]; }

check_records() {
  local day
  day=$(date -u +%Y-%m-%d)
  wait_for 5 "the history entry" test -s "$SELVAR_HOME/history/$day.jsonl"
  wait_for 5 "the utterance summary" grep -q '"kind":"utterance"' "$SELVAR_HOME/logs/diagnostics.jsonl"
  grep -q '"name":"hud.show"' "$SELVAR_HOME/logs/diagnostics.jsonl" || e2e_fail "no hud.show event"
  e2e_say "records: history, diagnostics and the pill's events are there"
}

# Key release to text, split by the records' own timestamps.
measure_latency() {
  "$SYSTEM_PYTHON" "$E2E_DIR/latency.py" --released "$RELEASED_AT" \
    --events "$T/typed.txt.events" --diagnostics "$SELVAR_HOME/logs/diagnostics.jsonl" \
    --server-log "$T/asr-server.log" --speech "$T/hold.wav" | tee "$artifacts/latency.txt"
}

# The text window's process owns a newer window too; the user dictates in the older one. The
# paste must land there, not in the window the process would bring forward by itself, and the
# log must say the focus was restored.
two_windows_attempt() {
  clear_text_window
  start_listening two-windows
  key down $RIGHT_ALT
  wait_for 10 "the pill to show the recording" pill_visible
  play_speech "$T/two-windows.wav"
  sleep 0.3
  key up $RIGHT_ALT
  stop_listening
  wait_for_dictation
}

scenario_two_windows() {
  e2e_say "two windows: dictating into the older window of a two-window application"
  make_speech "$T/two-windows.wav" "$TWO_WINDOWS_SENTENCE"
  local restored
  restored=$(log_count 'focusRestored=true')
  dictation_checked two-windows "$TWO_WINDOWS_SENTENCE" two_windows_attempt
  logged_more 'focusRestored=true' "$restored" ||
    e2e_fail "two windows: the log does not say the focus was restored"
  e2e_say "two windows: the text landed in the window the user was typing in"
}

TWO_WINDOWS_SENTENCE="The second window must stay empty today."

# Cancel pressed twice while recording: nothing is pasted and the clipboard stays.
scenario_cancel() {
  e2e_say "cancel: discarding a recording with the cancel key pressed twice"
  clear_text_window
  set_clipboard "$PREVIOUS_CLIPBOARD"
  make_speech "$T/cancel.wav" "This sentence must never reach the window."
  key down $RIGHT_ALT
  wait_for 10 "the recording" logged 'trigger down'
  play_speech "$T/cancel.wav"
  key down $ESCAPE
  key up $ESCAPE
  wait_for 5 "the first cancel press" logged 'armed to discard'
  sleep 0.3
  key down $ESCAPE
  key up $ESCAPE
  key up $RIGHT_ALT
  wait_for 5 "the discard" logged 'cancel key pressed twice: discarding the utterance'
  sleep 3
  [ ! -s "$T/typed.txt" ] || e2e_fail "cancel: text arrived anyway: $(typed)"
  clipboard_is "$PREVIOUS_CLIPBOARD" || e2e_fail "cancel: the clipboard changed"
  e2e_say "cancel: nothing was pasted"
}

# Speech starts the recording and the silence after it ends it. The monitor listens again only
# after a restart, so each attempt runs its own Selvar.
handsfree_attempt() {
  local armed ended
  armed=$(log_count 'hands-free monitor started')
  ended=$(log_count 'hands-free: silence, ending the utterance')
  start_selvar automatic
  clear_text_window
  wait_for 10 "the hands-free monitor" logged_more 'hands-free monitor started' "$armed"
  start_listening hands-free
  play_speech "$T/free.wav"
  wait_for 20 "the silence to end the utterance" \
    logged_more 'hands-free: silence, ending the utterance' "$ended"
  stop_listening
  wait_for_dictation
  stop_selvar
}

scenario_handsfree() {
  e2e_say "hands-free: speaking without touching a key"
  make_speech "$T/free.wav" "$HANDSFREE_SENTENCE"
  dictation_checked hands-free "$HANDSFREE_SENTENCE" handsfree_attempt
}

HANDSFREE_SENTENCE="We will meet at the library tomorrow morning."

# Standard error belongs to Selvar's log, so toolkit warnings reach it and feedback reports.
# The dead session bus of this desktop makes the tray library complain once Selvar is up.
scenario_standard_error() {
  if grep -q -- '-WARNING \*\*' "$T/selvar.log" 2>/dev/null; then
    e2e_fail "standard error: toolkit warnings went to the terminal, not selvar.log"
  fi
  if grep -q '^APPINDICATOR_FOUND:INTERNAL=1' "$BUILD/CMakeCache.txt" 2>/dev/null; then
    wait_for 10 "the tray library's warning in selvar.log" logged 'appindicator-WARNING'
  fi
  e2e_say "standard error: toolkit warnings are in selvar.log"
}

run_scenarios() {
  start_selvar hold
  scenario_hold
  scenario_two_windows
  scenario_cancel
  scenario_standard_error
  stop_selvar
  scenario_handsfree
}
