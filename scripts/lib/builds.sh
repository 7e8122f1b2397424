# The build trees the test steps share. Sourced; the caller is in the project's root folder.
#
#   build      gcc, optimised with debug info: the everyday tree, the benchmarks and the e2e test
#   build-san  clang at -O1 with address and undefined-behaviour sanitizers, the libFuzzer
#              targets included: one tree serves the sanitized test run and the fuzzing
#   build-tsan clang at -O1 with ThreadSanitizer, the test binary only
#
# The sanitizer trees are built by clang at -O1: gcc takes three to five times as long on the
# same files with these sanitizers, which decides whether CI fits its time.

jobs=$(nproc)

# Tests and benchmarks are asked for explicitly: scripts/run.sh shares this tree and leaves them
# out of its build.
configure_plain() {
  cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DSELVAR_BUILD_TESTS=ON \
    -DSELVAR_BUILD_BENCH=ON >/dev/null
}

configure_sanitized() {
  CC=clang CXX=clang++ cmake -S . -B build-san -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_C_FLAGS_DEBUG="-O1 -g1" -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" \
    -DSELVAR_SANITIZE=ON -DSELVAR_FUZZ=ON -DSELVAR_BUILD_BENCH=OFF >/dev/null
}

configure_tsan() {
  CC=clang CXX=clang++ cmake -S . -B build-tsan -G Ninja -DCMAKE_BUILD_TYPE=Debug \
    -DCMAKE_C_FLAGS_DEBUG="-O1 -g1" -DCMAKE_CXX_FLAGS_DEBUG="-O1 -g1" \
    -DSELVAR_TSAN=ON -DSELVAR_BUILD_BENCH=OFF >/dev/null
}

# step NAME COMMAND...: runs a step and prints how long it took, so a slow CI run tells where
# its time went.
step() {
  local name=$1 started=$SECONDS result=0
  shift
  echo "== $name"
  "$@" || result=$?
  echo "== $name: $((SECONDS - started)) s$([ $result -eq 0 ] || echo ", FAILED ($result)")"
  return $result
}
