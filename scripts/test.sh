#!/usr/bin/env bash
# Builds Hordera from scratch and runs every test twice: in a plain optimised build (whose Debian
# package is checked too), then in a build with AddressSanitizer, LeakSanitizer and
# UndefinedBehaviorSanitizer, failing on any report; then runs the threaded render tests under
# ThreadSanitizer.
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

export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
export LSAN_OPTIONS=print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
export TSAN_OPTIONS=halt_on_error=1:second_deadlock_stack=1
run_suite build-test -DCMAKE_BUILD_TYPE=RelWithDebInfo
echo "== checking the Debian package"
bash scripts/check-package.sh build-test
run_suite build-sanitize -DCMAKE_BUILD_TYPE=Debug -DHORDERA_SANITIZE=address -DHORDERA_BUILD_BENCH=OFF

# ThreadSanitizer: the suites that render from several threads at once.
threaded_suites=(dump_command_test scene_dump_test procedural_test render_threads_test)
echo "== configuring build-thread"
rm -rf build-thread
cmake -S . -B build-thread -DCMAKE_BUILD_TYPE=Debug -DHORDERA_SANITIZE=thread \
  -DHORDERA_BUILD_BENCH=OFF > build-thread.configure.log 2>&1 ||
  { cat build-thread.configure.log; echo "error: configuring build-thread failed" >&2; exit 1; }
echo "== building build-thread"
cmake --build build-thread -j "$jobs" --target hordera hordera_plugin "${threaded_suites[@]}" ||
  { echo "error: building build-thread failed" >&2; exit 1; }
echo "== testing build-thread"
for suite in "${threaded_suites[@]}"; do
  (cd build-thread/tests && "./$suite" --gtest_filter='*Thread*') ||
    { echo "error: $suite failed under ThreadSanitizer" >&2; exit 1; }
done
echo "== all tests passed in the plain, address and thread builds"
