#!/usr/bin/env bash
# Serves the rewrite model that tools/setup-rewrite.sh installed, as an OpenAI-compatible
# chat-completions server on 127.0.0.1 (port 8021 unless --port says otherwise).
#
#   tools/rewrite-server.sh [--port N]
#
# One thread for prompt and generation. llama.cpp's threads wait for each other at every step,
# so on a busy two-core machine (the dictation and the transcription server run beside it) a
# second thread that is not scheduled stalls the first: measured over 24 dictated sentences on
# such a machine, two threads left 2 requests hanging past 30 s, one thread none.
# SELVAR_REWRITE_THREADS overrides it on bigger machines.
set -euo pipefail

port=8021
while [ $# -gt 0 ]; do
  case $1 in
    --port) port=${2:?--port needs a number}; shift 2 ;;
    -h | --help) sed -n '2,11p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) echo "rewrite-server: unknown option $1 (try --help)" >&2; exit 2 ;;
  esac
done

home=${SELVAR_REWRITE_HOME:-$HOME/.local/share/selvar/rewrite}
model="$home/models/SmolLM2-135M-Instruct.Q4_1.gguf"
threads=${SELVAR_REWRITE_THREADS:-1}
if [ ! -x "$home/bin/python" ] || [ ! -s "$model" ]; then
  echo "rewrite-server: nothing installed in $home; run $(dirname "$0")/setup-rewrite.sh first" >&2
  exit 1
fi
exec "$home/bin/python" -m llama_cpp.server --model "$model" \
  --model_alias SmolLM2-135M-Instruct --host 127.0.0.1 --port "$port" \
  --n_threads "$threads" --n_threads_batch "$threads" --n_ctx 2048 --verbose False
