#!/usr/bin/env bash
# test.sh
#
# All checks from a fresh clone: build, tests under Wine, sources, and a second build that must give the same bytes.
# Goes on after a failure if that makes sense. Exits with 1 if anything failed. Uses only the repository's build/
# folder, no display and no other Wine prefix. clang-tidy, the longest check, runs in scripts/lint.sh. The tests with
# the label "full" run in scripts/prove.sh.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
build=$root/build/release

./scripts/setup.sh --lint
# shellcheck source=scripts/stages.sh
source scripts/stages.sh

clean_up() {
  end_stage
  end_left_prefixes "$build/tests/prefix.runs"
}
clean_up_at_exit clean_up
unset DISPLAY WAYLAND_DISPLAY
started=$EPOCHREALTIME
jobs=$(nproc)
test_jobs=$((2 * jobs))  # tests wait more than they work
results=$build/Testing/results.xml
messages=$build/Testing/messages

run_tests() {
  rm -rf "$results" "$messages"
  VELA_TEST_MESSAGES=$messages ctest --preset release -LE full -j "$test_jobs" --no-tests=error \
    --output-junit "$results"
}

# Without a program, there is nothing to test.
stage 'configure (preset release)' cmake --preset release -DBUILD_TESTING=ON || exit 1
stage 'build' cmake --build --preset release -j "$jobs" || exit 1
stage "tests (ctest --preset release -j $test_jobs)" run_tests || true
stage 'every log message produced by a test (scripts/messages.py census)' \
  ./scripts/messages.py census --produced "$messages" || true
stage 'short fuzzing with sanitizers (scripts/fuzz.sh)' ./scripts/fuzz.sh || true
stage 'source checks (scripts/lint.sh --fast)' ./scripts/lint.sh --fast || true
stage 'reproducible build (scripts/check_reproducible.sh)' \
  ./scripts/check_reproducible.sh "$build" || true

print_stages
# One line at the start of the file has the counts: tests="…" failures="…" disabled="…" skipped="…".
counts=$(sed -n 's/^[ \t]*\(tests\|failures\|disabled\|skipped\)="\([0-9]*\)".*/\2 \1/p' "$results" 2>/dev/null | tr '\n' ',' |
  sed 's/,$//; s/,/, /g') || true
echo "  ctest: ${counts:-no results}; $(seconds_since "$started") s in all"
if stages_failed; then
  sed -n 's/.*<testcase name="\([^"]*\)".*status="fail".*/  failed: \1/p' "$results" 2>/dev/null || true
  echo "FAILED: $(failed_stages | paste -sd ';' | sed 's/;/; /g')"
  exit 1
fi
echo "PASSED"
