#!/usr/bin/env bash
# The macOS layer cannot be compiled on Linux, but it can be parsed: every Objective-C++ file
# in src/platform/macos is checked with clang against minimal declarations of the Apple symbols
# it uses (tests/macos-syntax/AppleStubs.h), so a renamed core function, a changed interface or
# a typo fails here. The files in tests/macos-syntax/must-fail prove the check still bites.
set -uo pipefail
cd "$(dirname "$0")/../.."

clang=${CLANG:-}
if [ -z "$clang" ]; then
  for candidate in clang++ clang++-14 clang++-15 clang++-16; do
    command -v "$candidate" >/dev/null && { clang=$candidate; break; }
  done
fi
[ -n "$clang" ] || { echo "macos-syntax: clang++ not found" >&2; exit 1; }

stubs=tests/macos-syntax
flags=(-x objective-c++ -std=c++20 -fsyntax-only -fobjc-arc -fblocks -fobjc-runtime=macosx-13.0
  -Wall -Wextra -Werror -Wundeclared-selector -Wno-unused-parameter
  -I src -isystem "$stubs/frameworks" -include "$stubs/AppleStubs.h"
  -DSELVAR_VERSION='"0.0.0"' -DSELVAR_SOURCE_DIR='"/src"'
  -DSELVAR_FEEDBACK_PRIMARY_URL='"https://primary.invalid"'
  -DSELVAR_FEEDBACK_FALLBACK_URL='"https://fallback.invalid"')

status=0
count=0
for file in src/platform/macos/*.mm; do
  [ -e "$file" ] || continue
  count=$((count + 1))
  if ! "$clang" "${flags[@]}" "$file"; then
    echo "macos-syntax: $file does not parse" >&2
    status=1
  fi
done

for file in "$stubs"/must-fail/*.mm; do
  [ -e "$file" ] || continue
  if "$clang" "${flags[@]}" "$file" 2>/dev/null; then
    echo "macos-syntax: $file parsed, but it holds a fault the check must catch" >&2
    status=1
  fi
done

[ $status -eq 0 ] && echo "macos-syntax: $count files parse"
exit $status
