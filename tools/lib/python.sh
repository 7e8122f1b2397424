# The interpreter the setup scripts build their environments with: SELVAR_PYTHON when given,
# else the newest python3.x on PATH that is 3.11 or later. Sourced.

python_ok() { "$1" -c 'import sys; sys.exit(sys.version_info < (3, 11))' 2>/dev/null; }

find_python() {
  local candidate
  for candidate in ${SELVAR_PYTHON:-} python3.13 python3.12 python3.11 python3; do
    if command -v "$candidate" >/dev/null && python_ok "$candidate"; then
      command -v "$candidate"
      return 0
    fi
  done
  return 1
}
