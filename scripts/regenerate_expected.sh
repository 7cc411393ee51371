#!/usr/bin/env bash
# regenerate_expected.sh
#
# Writes the expected texts of the matrix (tests/matrix/expected) from what the program does now, after an intended change
# of the program or the matrix. Read the difference line by line before you commit it. The tests never write these files,
# and nobody edits them. Needs a build: cmake --build --preset release.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
expected=tests/matrix/expected
whole=$PWD/build/release/tests/matrix/whole

if [[ ! -x build/release/tests/matrix.play.exe ]]; then
  echo "regenerate_expected.sh: there is no build with tests (cmake --preset release -DBUILD_TESTING=ON, then build)" >&2
  exit 1
fi
rm -rf "$whole"
mkdir -p "$whole"
VELA_REGENERATE=$whole ctest --preset release -j "$(nproc)" -L matrix --output-on-failure >"$whole.log" || {
  cat "$whole.log"
  exit 1
}
./tests/matrix/shorten_texts.py "$whole" "$expected"
git --no-pager diff --stat -- "$expected"
echo "Read the differences before they are committed. Then compare: scripts/prove.sh matrix"
