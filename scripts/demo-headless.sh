#!/usr/bin/env bash
# Selvar's headless demo, for machines without a display: a sentence spoken by espeak-ng is
# transcribed by the local transcription server, cleaned up as a dictation would be, and printed.
#
#   scripts/demo-headless.sh ["sentence to speak"]
#
# Starts the server (~/.local/share/selvar/asr, set up by tools/setup-asr.sh) when none answers
# on 127.0.0.1:8020, and stops it again afterwards.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)

sentence=${1:-"Please send the quarterly report to the finance team before Friday afternoon."}
build=${SELVAR_BUILD_DIR:-$root/build}
asr_python=${SELVAR_ASR_PYTHON:-$HOME/.local/share/selvar/asr/bin/python}
python=/usr/bin/python3
url=http://127.0.0.1:8020

for tool in espeak-ng "$build/src/selvar-text" "$python"; do
  command -v "$tool" >/dev/null || { echo "demo: $tool is missing (run scripts/run.sh)" >&2; exit 1; }
done

work=$(mktemp -d "${TMPDIR:-/tmp}/selvar-demo.XXXXXX")
server_pid=
cleanup() {
  if [ -n "$server_pid" ]; then kill "$server_pid" 2>/dev/null || true; wait "$server_pid" 2>/dev/null || true; fi
  rm -rf "$work"
}
trap cleanup EXIT

answers() { "$python" -c 'import sys, urllib.request; urllib.request.urlopen(sys.argv[1], timeout=2)' "$url/v1/models" 2>/dev/null; }

if ! answers; then
  [ -x "$asr_python" ] || { echo "demo: no transcription server environment at $asr_python (run tools/setup-asr.sh)" >&2; exit 1; }
  echo "demo: starting the transcription server (loading its model takes a moment)"
  (cd tools && exec "$asr_python" asr-server.py --port 8020) >"$work/asr-server.log" 2>&1 &
  server_pid=$!
  for _ in $(seq 1200); do
    answers && break
    kill -0 "$server_pid" 2>/dev/null || { cat "$work/asr-server.log" >&2; echo "demo: the server stopped" >&2; exit 1; }
    sleep 0.2
  done
  answers || { echo "demo: the server did not become ready in 4 minutes" >&2; exit 1; }
fi

echo "demo: speaking: $sentence"
espeak-ng -v en-us -s 150 -w "$work/speech.wav" "$sentence"

heard=$("$python" - "$work/speech.wav" "$url/v1/audio/transcriptions" <<'PY'
import json, sys, urllib.request, uuid
data = open(sys.argv[1], "rb").read()
boundary = uuid.uuid4().hex
head = (f"--{boundary}\r\nContent-Disposition: form-data; name=\"file\"; filename=\"speech.wav\"\r\n"
        "Content-Type: audio/wav\r\n\r\n").encode()
body = head + data + f"\r\n--{boundary}\r\nContent-Disposition: form-data; name=\"response_format\"\r\n\r\njson\r\n--{boundary}--\r\n".encode()
request = urllib.request.Request(sys.argv[2], body, {"Content-Type": f"multipart/form-data; boundary={boundary}"})
print(json.load(urllib.request.urlopen(request, timeout=600))["text"].strip())
PY
)
echo "demo: heard:   $heard"
cleaned=$(printf '%s' "$heard" | "$build/src/selvar-text")
echo "demo: cleaned: $cleaned"
