#!/usr/bin/env bash
# Serves the real rewrite model (tools/setup-rewrite.sh must have run) in a private network
# namespace, so port 8021 is free whatever else runs here, and runs selvar_rewrite_bench
# against it. The report is printed and kept in <build>/rewrite-bench.txt.
#
#   bench/rewrite/run-rewrite-bench.sh [build dir, default build]
set -euo pipefail
root=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "${1:-$root/build}" && pwd)

if [ -z "${SELVAR_BENCH_INNER:-}" ] && command -v ip >/dev/null && unshare -rn true 2>/dev/null; then
  export SELVAR_BENCH_INNER=1
  exec unshare -rn bash -c 'ip link set lo up && exec bash "$0" "$@"' "$0" "$build"
fi

log=$(mktemp)
"$root/tools/rewrite-server.sh" --port 8021 >"$log" 2>&1 &
server=$!
trap 'kill $server 2>/dev/null; wait $server 2>/dev/null || true; rm -f "$log"' EXIT
for _ in $(seq 600); do
  python3 -c 'import urllib.request; urllib.request.urlopen("http://127.0.0.1:8021/v1/models", timeout=2)' \
    2>/dev/null && break
  kill -0 $server 2>/dev/null || { cat "$log" >&2; echo "rewrite-bench: the server exited" >&2; exit 1; }
  sleep 0.2
done
"$build/bench/selvar_rewrite_bench" http://127.0.0.1:8021 900 | tee "$build/rewrite-bench.txt"
