#!/usr/bin/env bash
# matrix.sh
#
# Every command on every Windows that Wine can play, with both code pages, as an administrator and as an ordinary user:
# log, registry, modules, files and what is put off until the restart are compared whole with the texts in
# tests/matrix/expected. Wants build/release to be built; the rows go to build/prove/matrix.md. Exits with 1 where
# anything differs or where a combination did not run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

unset DISPLAY WAYLAND_DISPLAY VELA_REGENERATE
mkdir -p build/prove
results=build/prove/matrix.xml
rm -f "$results" build/prove/matrix.md

code=0
ctest --preset release -L matrix -j "$((2 * $(nproc)))" --no-tests=error --output-junit "$PWD/$results" || code=$?
python3 scripts/prove/matrix_rows.py "$results" build/prove/matrix.md || code=1
exit "$code"
