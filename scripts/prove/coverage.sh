#!/usr/bin/env bash
# coverage.sh: runs all tests in the build that counts what runs, and holds lines and branches to their limits
# (tests/coverage/report_coverage.py). Rows in build/prove/coverage.md.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
build=$PWD/build/coverage

mkdir -p build/prove
./scripts/prove/instrumented_run.sh
code=$(<"$build/tests.code")
if ((code != 0)); then
  echo "coverage: tests fail in this build; build/coverage/tests.log tells how"
fi
./tests/coverage/report_coverage.py "$build" "$build/counts" build/prove/coverage.md || code=1
exit "$code"
