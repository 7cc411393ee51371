#!/usr/bin/env bash
# package.sh [<output folder>]
#
# Builds the program and makes the release: VELAutil-<version>.zip in the output folder (default: build/package), with
# its checksum in the same folder. package.py describes the contents of the zip.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
./scripts/setup.sh
[[ -f build/release/build.ninja ]] || cmake --preset release >/dev/null
cmake --build --preset release --target VELAutil
python3 scripts/package.py build/release build/release/VELAutil.exe "${1:-build/package}"
