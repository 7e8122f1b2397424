# The rewrite stage against the real model behind the real server (tools/rewrite-server.sh).
# Sourced by run-e2e.sh --rewrite once the desktop and the transcription server are up; expects
# $REWRITE_TOOLS and $SELVAR_REWRITE_HOME.

# What a chat model says instead of returning the text. The app screens these out; this list is
# the test's own, so that a gap in the app's screen shows here.
CHATTER_PATTERN="^(here'?s|here is|sure|certainly|of course|i'm sorry|i am sorry|sorry,|as an ai|as a|i can't|i cannot|i apologi)"

start_rewrite_server() {
  port_free 8021 || {
    e2e_fail "something already listens on 127.0.0.1:8021"
    return 1
  }
  spawn rewrite-server "$REWRITE_TOOLS/rewrite-server.sh" --port 8021
  wait_for 120 "the rewrite server to load its model" http_ok http://127.0.0.1:8021/v1/models
  e2e_say "rewrite server ready"
}

# not_chatter WHAT TEXT ORIGINAL: one line, no assistant opening, and mostly the same words.
not_chatter() {
  local what=$1 text=$2 original=$3 rate
  [ -n "$text" ] || e2e_fail "$what: nothing arrived"
  [ "$(printf '%s' "$text" | wc -l)" -eq 0 ] || e2e_fail "$what: \"$text\" has line breaks"
  if printf '%s' "$text" | tr '[:upper:]' '[:lower:]' | grep -Eq "$CHATTER_PATTERN"; then
    e2e_fail "$what: chatter arrived: \"$text\""
  fi
  rate=$(wer "$original" "$text")
  below 0.6 "$rate" || e2e_fail "$what: \"$text\" is too far from \"$original\" (WER $rate)"
}

rewrite_settings() {
  printf '{"triggerMode": "hold", "trigger": "rightOption", "dictationEngine": "server-transcription", "rewriteEngine": "server-rewrite", "rewriteBudgetMS": 3000, "restoreClipboard": true, "insertMode": "paste"}'
}

# --rewrite-test reaches the server named by the preferences and reports what it would insert.
scenario_rewrite_test() {
  local input="so um the meeting is on tuesday no wait on wednesday at ten" before line text
  # A base URL given the way servers print it, to prove the preference is what is used.
  write_settings "$(rewrite_settings | sed 's/}$/, "rewriteBaseURL": "http:\/\/localhost:8021\/v1"}/')"
  before=$(log_count 'rewrite-test ')
  spawn rewrite-test "$BUILD/src/selvar" --rewrite-test "$input"
  wait_for 60 "the rewrite test's answer" logged_more 'rewrite-test ' "$before"
  line=$(grep -- 'rewrite-test ' "$SELVAR_HOME/logs/selvar.log" | tail -n1)
  e2e_say "rewrite-test: ${line#* }"
  case $line in
    *"rewrite-test ok: "*) text=${line#*rewrite-test ok: } ;;
    *) e2e_fail "the rewrite test failed: $line" ;;
  esac
  not_chatter rewrite-test "$text" "$input"
  wait_for 20 "the rewrite test to end" bash -c "! kill -0 $PID_rewrite_test 2>/dev/null"
}

rewrite_attempt() {
  clear_text_window
  start_listening hold
  key down $RIGHT_ALT
  wait_for 10 "the pill to show the recording" pill_visible
  sleep 0.3
  play_speech "$T/rewrite.wav"
  sleep 0.3
  key up $RIGHT_ALT
  stop_listening
  wait_for 180 "the dictated text in the text window" test -s "$T/typed.txt"
  sleep 0.5
}

# A dictation with the rewrite stage on: the window gets an accepted rewrite or the cleaned
# text, and the log says which.
scenario_rewrite_dictation() {
  local sentence="Um, the budget meeting moved to Thursday, no sorry, to Friday at nine." text
  e2e_say "rewrite: dictating with the rewrite stage on"
  make_speech "$T/rewrite.wav" "$sentence"
  write_settings "$(rewrite_settings)"
  local readies hotkeys
  readies=$(log_count 'Z ready$')
  hotkeys=$(log_count 'hotkey installed')
  spawn selvar "$BUILD/src/selvar"
  wait_for 60 "Selvar to be ready" logged_more 'Z ready$' "$readies"
  wait_for 20 "the hotkey" logged_more 'hotkey installed' "$hotkeys"
  focus_text_window
  local applied rejected
  applied=$(log_count 'rewrite applied ')
  rejected=$(log_count 'rewrite rejected ')
  rewrite_attempt
  text=$(typed)
  e2e_say "rewrite: the window received \"$text\""
  grep -E 'rewrite (applied|not used|missed|failed|screened|rejected)' \
    "$SELVAR_HOME/logs/selvar.log" | tail -n 4 | sed 's/^/e2e:   log: /'
  if logged_more 'rewrite applied ' "$applied"; then
    logged_more 'rewrite rejected ' "$rejected" && e2e_fail "a rejected rewrite was reported as applied"
    # What was pasted is the rewrite the log accepted.
    local chars
    chars=$(grep -o 'rewrite applied [0-9]*' "$SELVAR_HOME/logs/selvar.log" | tail -n1 | awk '{print $3}')
    [ "${#text}" -eq "$chars" ] || e2e_fail "the log applied $chars chars but ${#text} arrived"
  else
    logged 'rewrite not used\|rewrite missed its budget\|rewrite failed' ||
      e2e_fail "the rewrite stage left no line saying what it did"
  fi
  not_chatter rewrite-dictation "$text" "$sentence"
  stop_pid "$PID_selvar"
}

run_rewrite_scenarios() {
  start_rewrite_server
  scenario_rewrite_test
  scenario_rewrite_dictation
}
