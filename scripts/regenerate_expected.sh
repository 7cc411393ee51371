#!/usr/bin/env bash
# regenerate_expected.sh [<regular expression of ctest>]
#
# Writes the texts anew that the matrix compares with (tests/matrix/expected), from what the program does now: for use
# after a change of the program or of the matrix that was meant. What comes out has to be read, line by line, before it
# is committed: git diff. The tests themselves never write them. Needs a build: cmake --build --preset release.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
expected=tests/matrix/expected

if [[ ! -x build/release/tests/matrix.play.exe ]]; then
  echo "regenerate_expected.sh: there is no build with tests (cmake --preset release -DBUILD_TESTING=ON, then build)" >&2
  exit 1
fi
if (($# == 0)); then
  rm -f "$expected"/*.txt  # none stays that nobody writes any more
fi
# Who shares a text with others is compared with what the first of them writes, which may be too early: those who fail
# are asked again, without writing.
if ! VELA_REGENERATE=1 ctest --preset release -j "$(nproc)" -L matrix -R "${1:-.}" >/dev/null; then
  ctest --preset release -j "$(nproc)" -L matrix -R "${1:-.}" --rerun-failed --output-on-failure
fi
git --no-pager diff --stat -- "$expected"
git ls-files --others --exclude-standard -- "$expected"
echo "Read the differences before they are committed."
