#!/usr/bin/env bash
# regenerate_expected.sh
#
# Writes the approved texts (tests/matrix/expected, tests/scenarios/approved, tests/unit/logreader/logreader.txt) from the
# current results, after an intended change of the programs or of these tests. Read the difference line by line before
# you commit it. The tests never write these files, and nobody edits them. If another check fails, no text changes: mend
# that check first. Needs a build: cmake --build --preset release.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
approved=(tests/scenarios/approved/*.txt tests/unit/logreader/logreader.txt)
texts=(tests/matrix/expected tests/scenarios/approved tests/unit/logreader/logreader.txt)
whole=$PWD/build/release/tests/matrix/whole

if [[ ! -x build/release/tests/matrix.play.exe ]]; then
  echo "regenerate_expected.sh: there is no build with tests (cmake --preset release -DBUILD_TESTING=ON, then build)" >&2
  exit 1
fi
rm -rf "$whole" "$whole.approved"
mkdir -p "$whole" "$whole.approved"
cp --parents "${approved[@]}" "$whole.approved"
rm -f "${approved[@]}"  # none stays that nobody writes any more
VELA_REGENERATE=$whole ctest --preset release -j "$(nproc)" -R '^(matrix|scenarios|unit[.]logreader)' \
  --output-on-failure >"$whole.log" || {
  cat "$whole.log"
  cp -r "$whole.approved/." .
  exit 1
}
./tests/matrix/shorten_texts.py "$whole" tests/matrix/expected
git --no-pager diff --stat -- "${texts[@]}"
git ls-files --others --exclude-standard -- "${texts[@]}"
echo "Review the differences before you commit them. Then run: scripts/prove.sh matrix"
