#!/usr/bin/env bash
# bench.sh [--quick | --page | --released]
#
# Measures the program and Wine's own tools, on a quiet machine. Prints the tables, stores the results of this system in
# bench/results, and writes docs/performance.md and its chart from the results of all systems.
#   --quick  fewer rounds, no large tree, and all output below build/bench
#   --page   measures nothing: only writes the page and the chart
#   --released  the same, after it has kept the requests as those of the last release (bench/released.json)
# Exits with 1 if a count of requests or the size of the program exceeds its limit. Times never cause this.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
build=$PWD/build/release
if [[ ${1:-} == --page || ${1:-} == --released ]]; then
  exec python3 bench/run.py "$1"
fi

./scripts/setup.sh
# shellcheck source=scripts/stages.sh
source scripts/stages.sh

clean_up() {
  end_stage
  end_left_prefixes "$build/tests/prefix.runs" /dev/shm/vela.bench
  rmdir /dev/shm/vela.bench 2>/dev/null || true
}
clean_up_at_exit clean_up
unset DISPLAY WAYLAND_DISPLAY

stage 'configure (preset release)' cmake --preset release -DBUILD_TESTING=ON || exit 1
stage 'build (target bench)' cmake --build --preset release --target bench || exit 1
stage 'Wine prefix' bash tests/support/make_prefix.sh "$build/tests/prefix" || exit 1
stage "measurements${*:+ ($*)}" python3 bench/run.py "$@" || true
print_stages
if stages_failed; then
  exit 1
fi
