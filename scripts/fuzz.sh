#!/usr/bin/env bash
# fuzz.sh [seconds]
#
# Compiles the product's pure logic for this machine with clang's address and undefined behaviour sanitizers. Runs each
# fuzzer of tests/fuzz from its seeds (tests/fuzz/corpus): 5,000 inputs, the same on every machine, or for this many
# seconds in all. Prints a row for each. Findings are stored in build/fuzz/findings. Exits with 1 at a finding.
#
# A seed is a line of tests/fuzz/corpus/<fuzzer>.txt: its name, a colon, a blank, and the input in the format of
# printf's %b. This command makes such a line from a finding:
#   python3 -c "print(open('<file>', 'rb').read().decode('latin-1').encode('unicode_escape').decode())"
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

seconds=${1:-}
if ! [[ $seconds =~ ^([1-9][0-9]*)?$ ]]; then
  echo "usage: fuzz.sh [seconds]" >&2
  exit 2
fi
build=$PWD/build/fuzz
findings=$build/findings
rows=$build/rows.txt

./scripts/setup.sh --lint
# shellcheck source=scripts/stages.sh
source scripts/stages.sh
# shellcheck disable=SC2016  # expanded then
clean_up_at_exit 'kill $(jobs -p) 2>/dev/null || true'

cmake -S tests/fuzz -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ >/dev/null
cmake --build "$build" -j "$(nproc)" >"$build/build.log" || {
  cat "$build/build.log"
  exit 1
}

mapfile -t targets < <(basename -s Fuzz.cpp tests/fuzz/*Fuzz.cpp)

# run <target>: runs it up to `limit`; prints a row "<target> <executions> <edges covered> <findings>".
run() {
  local target=$1 log=$build/$1.log code=0 grown=$build/corpus/$1 seeds=$build/seeds/$1 line runs edges
  mkdir -p "$grown" "$findings" "$seeds"
  while IFS= read -r line; do
    printf %b "${line#*: }" >"$seeds/${line%%:*}"
  done <"tests/fuzz/corpus/$1.txt"
  ASAN_OPTIONS=allocator_may_return_null=1 UBSAN_OPTIONS=print_stacktrace=1 \
    "$build/$target" -seed=1 -max_len=1024 -timeout=10 -rss_limit_mb=1024 "$limit" \
    -print_final_stats=1 -artifact_prefix="$findings/$target-" "$grown" "$seeds" >"$log" 2>&1 ||
    code=$?
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  edges=$(sed -n 's/.* cov: \([0-9]*\) .*/\1/p' "$log" | tail -n 1)
  if ((code != 0)); then
    grep -aE 'does not hold|runtime error|ERROR: |SUMMARY|Test unit written' "$log" | head -n 8
    tail -n 3 "$log"
  fi
  # No executions count as a failure.
  echo "$target ${runs:-0} ${edges:-0} $((code != 0 || ${runs:-0} == 0))" >>"$rows"
}

rm -rf "$findings" "$build/corpus" "$build/seeds"
: >"$rows"
processors=$(nproc)
limit=-runs=5000
if [[ -n $seconds ]]; then
  limit=-max_total_time=$(((seconds * processors + ${#targets[@]} - 1) / ${#targets[@]}))
fi
for target in "${targets[@]}"; do
  while (($(jobs -pr | wc -l) >= processors)); do
    wait -n
  done
  run "$target" &
done
wait

sort "$rows" | awk -v wanted=${#targets[@]} '
  BEGIN { printf "%-16s %12s %8s  %s\n", "fuzzer", "executions", "edges", "verdict" }
  { printf "%-16s %12d %8d  %s\n", $1, $2, $3, $4 ? "FOUND" : "ok"; found += $4 }
  END { exit found > 0 || NR != wanted }' || {
  echo "fuzz.sh: a fuzzer found something (see build/fuzz/findings), or one did not run" >&2
  exit 1
}
