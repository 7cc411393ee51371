#!/usr/bin/env bash
# undefined.sh: runs all tests in the build that ends the process at undefined behaviour, by an illegal instruction, and
# at an assertion of the C++ library. The run that coverage.sh has just made serves. Rows in build/prove/undefined.md.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
build=$PWD/build/coverage

mkdir -p build/prove
./scripts/prove/instrumented_run.sh --reuse
code=$(<"$build/tests.code")

count() { sed -n "s/^[ \t]*$1=\"\([0-9]*\)\".*/\1/p" "$build/tests.xml" | head -n 1; }
# A test program that ends so is told by Wine; of one that a test started, the test tells the exit code.
traps=$(grep -aciE 'illegal instruction|c000001d|3221225501|1073741795' "$build/tests.log") || true
assertions=$(grep -ac 'Assertion .* failed' "$build/tests.log") || true
{
  echo '| Tests | Failed | Skipped | Ended at undefined behaviour | Ended at a library assertion |'
  echo '|---|---|---|---|---|'
  echo "| $(count tests) | $(count failures) | $(count skipped) | $traps | $assertions |"
} >build/prove/undefined.md
cat build/prove/undefined.md
if ((code != 0)); then
  echo "undefined: tests fail in this build; build/coverage/tests.log tells how"
fi
if ((traps + assertions != 0)); then
  code=1
fi
exit "$code"
