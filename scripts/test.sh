#!/usr/bin/env bash
# Builds Hordera from scratch and runs every test twice: in a plain optimised build, then in a
# build with AddressSanitizer and UndefinedBehaviorSanitizer, failing on any report.
set -euo pipefail
cd "$(dirname "$0")/.."
source scripts/deps.sh
hordera_install_deps

jobs=$(nproc)
run_suite() {
  local dir=$1; shift
  echo "== configuring $dir"
  rm -rf "$dir"
  cmake -S . -B "$dir" -DHORDERA_BUILD_BENCH=ON "$@" > "$dir.configure.log" 2>&1 ||
    { cat "$dir.configure.log"; echo "error: configuring $dir failed" >&2; exit 1; }
  echo "== building $dir"
  cmake --build "$dir" -j "$jobs" || { echo "error: building $dir failed" >&2; exit 1; }
  echo "== testing $dir"
  (cd "$dir" && ctest --output-on-failure -j "$jobs") ||
    { echo "error: tests failed in $dir" >&2; exit 1; }
}

export ASAN_OPTIONS=detect_leaks=0:abort_on_error=1
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
run_suite build-test -DCMAKE_BUILD_TYPE=RelWithDebInfo
run_suite build-sanitize -DCMAKE_BUILD_TYPE=Debug -DHORDERA_SANITIZE=ON -DHORDERA_BUILD_BENCH=OFF
echo "== all tests passed in both builds"
