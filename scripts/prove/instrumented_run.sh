#!/usr/bin/env bash
# instrumented_run.sh [--reuse]: builds the preset `coverage`, which counts what runs and ends at undefined behaviour,
# and runs all tests in it. Leaves in build/coverage: counts/ (a folder for each run), tests.log, tests.xml and
# tests.code, the exit code of ctest. With --reuse a run of the last hours is taken for this one, where no source is
# newer: one run serves the stages coverage and undefined. Exits with 1 where the tests could not be run; how they went
# is the caller's matter.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
build=$PWD/build/coverage
done_already=$build/tests.code

sources=(CMakeLists.txt CMakePresets.json Common activation cli cmake install notify plugins scripts settings tests
  uninstall)
if [[ ${1:-} == --reuse && -n $(find "$done_already" -mmin -180 2>/dev/null) &&
  -z $(find "${sources[@]}" -type f -newer "$build/run.started" -not -path '*/__pycache__/*' -print -quit) ]]; then
  echo "the run of $(date -r "$done_already" +%H:%M) is taken"
  exit 0
fi

./scripts/setup.sh --prove
rm -rf "$done_already" "$build/counts"
mkdir -p "$build/counts"
touch "$build/run.started"
cmake --preset coverage -DBUILD_TESTING=ON >/dev/null
cmake --build --preset coverage -j "$(nproc)"

# A build that lets everything pass would pass every test.
tests/support/make_prefix.sh "$build/tests/prefix" >/dev/null
must_end() {  # <what> <exit code>
  local code=0
  tests/support/run_in_prefix.sh "$build/tests/prefix" "$build/tests/fixtures/Misbehaving.exe" "$1" >/dev/null 2>&1 ||
    code=$?
  if ((code != $2)); then
    echo "this build does not end at '$1' (exit code $code, not $2)"
    exit 1
  fi
}
must_end overflow 29  # the low byte of 0xC000001D, an illegal instruction
must_end beyond 3     # abort()

# The sweeps have stages of their own, and rewrite the product's objects as the compiler leaves them for a release: not
# optimised, some call Windows in a way that they do not know.
# Each run counts into a folder of its own: programs side by side, each with a Wine server of its own, do not see one
# another's locks.
code=0
VELA_TEST_COUNTS=$build/counts ctest --preset coverage -j "$((2 * $(nproc)))" -LE '^(full|faults)$' \
  --no-tests=error --quiet -O "$build/tests.log" --output-junit "$build/tests.xml" || code=$?
sed -n '/tests passed/,$p' "$build/tests.log"
echo "$code" >"$done_already"
