#!/usr/bin/env bash
# regenerate_expected.sh
#
# Writes the texts anew that the matrix compares with (tests/matrix/expected), from what the program does now in every
# cell of the matrix: for use after a change of the program or of the matrix that was meant. Read what comes out, line by
# line, before you commit it: git diff. The tests themselves never write them, and nobody edits them. Needs a build:
# cmake --build --preset release.
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
echo "Read the differences before they are committed. Then compare: scripts/prove/matrix.sh"
