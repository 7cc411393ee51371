#!/usr/bin/env bash
# check_reproducible.sh [<VELAutil.exe to compare with>]
#
# The same sources give the same bytes. Builds the program from a copy of the sources in another folder, with other file
# times, another time zone and another language. Compares it with the named program (default: that of build/release,
# which is built first).
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
first=${1:-}

./scripts/setup.sh
if [[ -z $first ]]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target VELAutil
  first=$root/build/release/VELAutil.exe
fi

work=$root/build/reproducible
copy=$work/elsewhere/with-a-longer-path/sources
rm -rf "$work"
trap 'rm -rf "$work"' EXIT
mkdir -p "$copy"
# Everything that git does not ignore, so that uncommitted sources are compared too.
tar -c --exclude=./build --exclude='./build-*' --exclude=./.git . | tar -x -m -C "$copy"

cd "$copy"
export TZ=Pacific/Auckland LC_ALL=C
cmake --preset release -DBUILD_TESTING=OFF >/dev/null
cmake --build --preset release --target VELAutil
second=$copy/build/release/VELAutil.exe

sha256sum "$first" "$second"
cmp "$first" "$second"
echo "identical: $(stat -c %s "$first") bytes"
