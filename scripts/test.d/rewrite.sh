#!/usr/bin/env bash
# The rewrite stage against a real model: installs the local rewrite server
# (tools/setup-rewrite.sh; the first run on a machine compiles llama.cpp), measures latency and
# screening over dictation-like sentences (bench/rewrite), and runs --rewrite-test and a
# dictation with the rewrite on through the virtual desktop (tests/e2e/rewrite.sh).
set -euo pipefail
cd "$(dirname "$0")/../.."
source scripts/lib/builds.sh

step "rewrite server setup" bash tools/setup-rewrite.sh
step "rewrite benchmark" bash bench/rewrite/run-rewrite-bench.sh build
export SELVAR_E2E_ARTIFACTS=$PWD/build/e2e-rewrite-artifacts
step "rewrite end-to-end" timeout 600 bash tests/e2e/run-e2e.sh --rewrite
