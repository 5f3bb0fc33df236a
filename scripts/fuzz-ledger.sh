#!/usr/bin/env bash
# Adds up build-fuzz/ledger.tsv (written by scripts/fuzz.sh): per fuzzer, the runs, the seconds
# and executions in all, the latest coverage and corpus size, and the runs that failed.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
ledger=${1:-$root/build-fuzz/ledger.tsv}
awk -F'\t' '
  { runs[$2]++; secs[$2] += $3; execs[$2] += $4; cov[$2] = $5; corp[$2] = $6
    if ($7 != "clean") bad[$2]++ }
  END {
    printf "%-22s %5s %8s %12s %8s %8s %6s\n", "fuzzer", "runs", "seconds", "executions",
           "coverage", "corpus", "failed"
    for (name in runs)
      printf "%-22s %5d %8d %12d %8d %8d %6d\n", name, runs[name], secs[name], execs[name],
             cov[name], corp[name], bad[name]
  }' "$ledger" | sort
