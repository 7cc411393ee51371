#!/usr/bin/env bash
# package.sh [<output folder>]
#
# Makes the release: build/package/VELAutil-<version>.zip (or in the folder that is named), and its checksum beside it.
# Builds the program first. What is in the zip, and why it has the same bytes wherever it is made, stands in package.py.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
output=${1:-build/package}

./scripts/setup.sh
if [[ ! -f build/release/build.ninja ]]; then
  cmake --preset release >/dev/null
fi
cmake --build --preset release --target VELAutil
python3 scripts/package.py build/release build/release/VELAutil.exe "$output"
