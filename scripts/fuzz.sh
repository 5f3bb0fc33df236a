#!/usr/bin/env bash
# Builds the reader fuzzers with clang (libFuzzer, address and undefined sanitizers) into
# build-fuzz and runs each one for a while on a working copy of its corpus.
#
#   scripts/fuzz.sh [-t SECONDS] [-j JOBS] [-w WORKERS] [FUZZER...]
#
# FUZZER names are those of fuzz/CMakeLists.txt (cdl, obj, weights, ...); the default is all of
# them, one after another, SECONDS each (default 60). Each runs in libFuzzer's fork mode with
# WORKERS worker processes (default 1), which are restarted as they go, so memory stays bounded.
# New inputs go to build-fuzz/corpus/<fuzzer>/, kept from run to run (the committed corpus is
# left alone); crash, timeout and leak reproducers go to build-fuzz/artifacts/<fuzzer>/. Every
# run adds a line to build-fuzz/ledger.tsv (date, fuzzer, seconds, executions, coverage, corpus
# size, result); scripts/fuzz-ledger.sh adds them up. Exits non-zero when any fuzzer failed.
set -euo pipefail

seconds=60
jobs=2
workers=1
while getopts "t:j:w:h" option; do
  case $option in
    t) seconds=$OPTARG ;;
    j) jobs=$OPTARG ;;
    w) workers=$OPTARG ;;
    *) sed -n '2,14p' "$0"; exit 2 ;;
  esac
done
shift $((OPTIND - 1))

root=$(cd "$(dirname "$0")/.." && pwd)
build=$root/build-fuzz
all=$(sed -n '/^set(HORDERA_FUZZERS/,/)/p' "$root/fuzz/CMakeLists.txt" |
      tr -d '()' | sed 's/^setHORDERA_FUZZERS//' | tr -s ' \n' ' ')
fuzzers=("$@")
[ ${#fuzzers[@]} -eq 0 ] && read -r -a fuzzers <<< "$all"

CC=${CC:-clang} CXX=${CXX:-clang++} cmake -S "$root" -B "$build" -DHORDERA_FUZZ=ON \
  -DHORDERA_BUILD_TESTS=OFF -DHORDERA_BUILD_BENCH=OFF -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
targets=()
for name in "${fuzzers[@]}"; do targets+=("${name}_fuzz"); done
cmake --build "$build" -j "$jobs" --target "${targets[@]}"

# Harnesses write every input to a file; on tmpfs that costs no disk inodes.
[ -z "${TMPDIR:-}" ] && [ -w /dev/shm ] && export TMPDIR=/dev/shm

failed=()
for name in "${fuzzers[@]}"; do
  corpus=$build/corpus/$name
  artifacts=$build/artifacts/$name
  mkdir -p "$corpus" "$artifacts"
  cp -n "$root/fuzz/corpus/$name"/* "$corpus"/ 2>/dev/null || true
  echo "== $name: ${seconds}s, $workers worker(s)"
  extra=()
  # Agent types are never freed: the agent-file harnesses keep each input's types reachable, so
  # every input would trigger libFuzzer's per-input leak scan. Leaks of unreachable memory are
  # still reported when a worker exits.
  case $name in cdl | render_entry | procedural_entry) extra+=(-detect_leaks=0) ;; esac
  result=clean
  # Reader messages go to standard error; libFuzzer keeps its own report visible.
  if ! "$build/fuzz/${name}_fuzz" "$corpus" -fork="$workers" -max_total_time="$seconds" \
       -max_len=65536 -rss_limit_mb=2048 -timeout=10 -close_fd_mask=3 -print_final_stats=1 \
       "${extra[@]}" -artifact_prefix="$artifacts/" 2>"$build/$name.log"; then
    failed+=("$name")
    result=failed
    grep -E 'ERROR|SUMMARY|Test unit written' "$build/$name.log" | head -20 || true
  fi
  # The fork-mode driver reports "#EXECS: cov: C ft: F corp: N ..." as it goes; the last such
  # line holds the run's totals.
  last=$(grep -E '^#[0-9]+: cov:' "$build/$name.log" | tail -1 || true)
  execs=$(sed -E 's/^#([0-9]+):.*/\1/' <<< "$last")
  cov=$(sed -E 's/.* cov: ([0-9]+).*/\1/' <<< "$last")
  corp=$(sed -E 's/.* corp: ([0-9]+).*/\1/' <<< "$last")
  printf '%s\t%s\t%s\t%s\t%s\t%s\t%s\n' "$(date -u +%FT%TZ)" "$name" "$seconds" \
    "${execs:-0}" "${cov:-0}" "${corp:-0}" "$result" >> "$build/ledger.tsv"
  echo "   executions ${execs:-0}, coverage ${cov:-0}, corpus ${corp:-0}: $result"
done

if [ ${#failed[@]} -gt 0 ]; then
  echo "fuzzers that failed: ${failed[*]} (logs in $build/<fuzzer>.log)"
  exit 1
fi
echo "all fuzzers ran clean"
