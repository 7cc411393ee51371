#!/usr/bin/env bash
# package.sh [<output folder>]
#
# Builds the programs and makes the release: VELAutil-<version>.zip in the output folder (default: build/package), with
# its checksum in the same folder. package.py describes the contents of the zip, and how the programs are signed.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
./scripts/setup.sh --release
[[ -f build/release/build.ninja ]] || cmake --preset release >/dev/null
cmake --build --preset release --target VELAutil VELAlog
python3 scripts/package.py build/release "${1:-build/package}"
