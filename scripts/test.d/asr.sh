#!/usr/bin/env bash
# Runs the transcription server's test suite with the server's own environment, including
# the end-to-end test with the real default model (which must be installed).
set -euo pipefail
cd "$(dirname "$0")/../.."

bash tools/setup-asr.sh --with-test-deps
python="${SELVAR_ASR_HOME:-$HOME/.local/share/selvar/asr}/bin/python"
cd tools
SELVAR_ASR_REQUIRE_MODEL=1 "$python" -m pytest -q -rs
