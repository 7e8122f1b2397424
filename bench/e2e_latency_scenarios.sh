# Sourced by tests/e2e/run-e2e.sh for bench/e2e_latency.sh: replaces the scenarios.

BENCH_SENTENCES=(
  "Please send the quarterly report to the finance team by Friday."
  "I would like to schedule a meeting for tomorrow afternoon."
  "The weather today is sunny with a light breeze from the west."
  "Remember to buy milk, eggs and bread on the way home."
  "We should review the budget before the end of the month."
  "The new hires start on Monday, so their desks must be ready by then."
)

# bench_clips DIR: NAME.wav and NAME.txt for every clip.
bench_clips() {
  local dir=$1 speech n i text
  # The shared recordings sit beside the project (or beside its worktrees); a few are copied in.
  for speech in "$ROOT/../shared/speech" "$ROOT/../../shared/speech" "$ROOT/tools/tests/speech"; do
    [ -d "$speech" ] && break
  done
  cp "$speech"/*.wav "$speech"/*.txt "$dir/"
  for n in 1 3 6; do
    text="${BENCH_SENTENCES[*]:0:$n}"
    make_speech "$dir/say$n.wav" "$text"
    printf '%s\n' "$text" >"$dir/say$n.txt"
    [ "$n" -gt 1 ] || continue
    # The same sentences with a pause of about 0.7 s between them.
    for ((i = 0; i < n; i++)); do make_speech "$dir/part$i.wav" "${BENCH_SENTENCES[$i]}"; done
    "$SYSTEM_PYTHON" - "$dir/say$n-pauses.wav" "$dir"/part?.wav <<'PY'
import sys, wave
frames, params = [], None
for name in sys.argv[2:]:
    with wave.open(name) as w:
        params = w.getparams()
        frames.append(w.readframes(w.getnframes()))
gap = b"\0" * (int(0.7 * params.framerate) * params.sampwidth)
with wave.open(sys.argv[1], "wb") as out:
    out.setparams(params)
    out.writeframes(gap.join(frames))
PY
    cp "$dir/say$n.txt" "$dir/say$n-pauses.txt"
    rm -f "$dir"/part?.wav
  done
}

bench_errors() { # REFERENCE HYPOTHESIS: word errors, numbers as words
  "$SYSTEM_PYTHON" - "$1" "$2" <<'PY'
import re, sys
NUM = dict(zip("0 1 2 3 4 5 6 7 8 9 10".split(), "zero one two three four five six seven eight nine ten".split()))
def words(t): return [NUM.get(w, w) for w in re.findall(r"[a-z0-9']+", t.lower())]
r, h = words(sys.argv[1]), words(sys.argv[2])
row = list(range(len(h) + 1))
for i, a in enumerate(r, 1):
    d, row[0] = row[0], i
    for j, b in enumerate(h, 1):
        d, row[j] = row[j], min(row[j] + 1, row[j - 1] + 1, d + (a != b))
print(f"{row[-1]}/{len(r)}")
PY
}

bench_clip() { # PATH NAME
  local path=$1 name=$2 wav=$T/clips/$2.wav split total
  clear_text_window
  key down $RIGHT_ALT
  wait_for 10 "the pill" pill_visible
  sleep 0.3
  play_speech "$wav"
  sleep 0.3
  RELEASED_AT=$(key_time up $RIGHT_ALT)
  wait_for 120 "the text of $name" test -s "$T/typed.txt" || return 0
  sleep 0.5
  split=$("$SYSTEM_PYTHON" "$E2E_DIR/latency.py" --released "$RELEASED_AT" \
    --events "$T/typed.txt.events" --diagnostics "$SELVAR_HOME/logs/diagnostics.jsonl" \
    --server-log "$T/asr-server.log" --speech "$wav")
  total=$(sed -n 's/.*key release to text in the window: \([0-9]*\) ms/\1/p' <<<"$split")
  printf '%-8s %-18s %5.1fs release->text %6s ms  audio %5s  server %5s  paste %5s  errors %-6s load %s\n' \
    "$path" "$name" "$(wav_seconds "$wav")" "$total" \
    "$(sed -n 's/.*release to upload): *\([0-9]*\) ms/\1/p' <<<"$split")" \
    "$(sed -n 's/.*upload to commit): *\([0-9]*\) ms/\1/p' <<<"$split")" \
    "$(sed -n 's/.*commit to text): *\([0-9]*\) ms/\1/p' <<<"$split")" \
    "$(bench_errors "$(cat "$T/clips/$name.txt")" "$(typed)")" \
    "$(cut -d' ' -f1-3 /proc/loadavg)" | tee -a "$artifacts/bench-latency.txt"
}

run_scenarios() {
  mkdir -p "$T/clips"
  bench_clips "$T/clips"
  : >"$artifacts/bench-latency.txt"
  local path name
  stop_pid "$PID_asr" # run-e2e.sh started one; each path starts its own
  # before: the old decoding (full window, beam 5), whole files; whole: this server without
  # sessions; session: this server with them.
  for path in ${SELVAR_BENCH_PATHS:-before whole session}; do
    unset SELVAR_ASR_NO_SESSIONS SELVAR_ASR_OLD_DECODING
    [ $path = session ] || export SELVAR_ASR_NO_SESSIONS=1
    [ $path != before ] || export SELVAR_ASR_OLD_DECODING=1
    start_asr_server "$ASR_TOOLS" "$ASR_PYTHON"
    start_selvar hold
    for name in $(cd "$T/clips" && ls *.wav | sed 's/\.wav$//'); do
      bench_clip $path "$name"
    done
    stop_selvar
    stop_pid "$PID_asr"
  done
}
