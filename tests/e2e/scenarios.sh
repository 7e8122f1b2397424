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
  text=$("$SYSTEM_PYTHON" - "$T/heard.wav" <<'PY'
import json, sys, urllib.request, uuid
data = open(sys.argv[1], "rb").read()
boundary = uuid.uuid4().hex
body = (f"--{boundary}\r\nContent-Disposition: form-data; name=\"file\"; filename=\"a.wav\"\r\n"
        f"Content-Type: audio/wav\r\n\r\n").encode() + data + f"\r\n--{boundary}--\r\n".encode()
request = urllib.request.Request("http://127.0.0.1:8020/v1/audio/transcriptions", body,
                                 {"Content-Type": f"multipart/form-data; boundary={boundary}"})
print(json.load(urllib.request.urlopen(request, timeout=300))["text"])
PY
)
  local rate
  rate=$(wer "$SENTENCE" "$text")
  e2e_say "desktop: the microphone heard \"$text\" (WER $rate)"
  below 0.2 "$rate" || e2e_fail "the virtual microphone's speech was not understood"
  screenshot "$artifacts/desktop.png"
}
