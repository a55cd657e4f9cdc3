#!/bin/bash
# Runs a libFuzzer target for a fixed budget: fixed seed, fixed number of executions, the
# repository's seeds read but never written (new inputs go to a scratch directory).
#   tools/run-fuzz.sh TARGET RUNS CORPUS_DIR
set -uo pipefail
target=$1
runs=$2
corpus=$3
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p "$scratch/new" && cd "$scratch" || exit 1
"$target" -seed=1 -runs="$runs" -print_final_stats=1 "$scratch/new" "$corpus" >"$scratch/log" 2>&1
status=$?
grep -E 'stat::number_of_executed_units|ERROR|SUMMARY' "$scratch/log"
[ $status -eq 0 ] || tail -n 40 "$scratch/log"
exit $status
