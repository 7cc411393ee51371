#!/usr/bin/env bash
# fuzz.sh [seconds]: the fuzzers of scripts/fuzz.sh for three minutes. Rows in build/prove/fuzz.md.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

./scripts/setup.sh --prove
mkdir -p build/prove
rm -f build/fuzz/rows.txt
code=0
./scripts/fuzz.sh "${1:-180}" || code=$?
if [[ ! -s build/fuzz/rows.txt ]]; then
  echo "fuzz: no fuzzer ran"
  exit 1
fi
{
  echo '| Fuzzer | Executions | Edges reached | Findings |'
  echo '|---|---|---|---|'
  while read -r target runs edges finding; do
    echo "| $target | $runs | $edges | $finding |"
  done <<<"$(sort build/fuzz/rows.txt)"
} >build/prove/fuzz.md
exit "$code"
