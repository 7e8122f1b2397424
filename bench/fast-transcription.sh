#!/usr/bin/env bash
# Every measurement behind the fast transcription path, in one go (about 15 minutes on two
# cores): the encoder window settings, release-to-text at the server (old server, whole file,
# session), and release-to-text over the X11 test desktop. Run on a quiet machine after
# ./tools/setup-asr.sh and a build in ./build; each table prints the load average with it.
set -euo pipefail
cd "$(dirname "$0")/.."
python="${SELVAR_ASR_HOME:-$HOME/.local/share/selvar/asr}/bin/python"
echo "== encoder window and decoding settings"
"$python" bench/asr_window_bench.py --runs 3
echo "== release to text at the server"
"$python" bench/asr_session_bench.py --runs 3
echo "== release to text over the test desktop"
bash bench/e2e_latency.sh
cat build/e2e-artifacts/bench-latency.txt
