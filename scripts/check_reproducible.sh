#!/usr/bin/env bash
# check_reproducible.sh [<folder of the programs to compare with>]
#
# The same sources give the same bytes. Builds the programs from a copy of the sources in another folder, with other file
# times, another time zone and another language. Compares them with those in the named folder (default: build/release,
# where they are built first). The test build.package does the same for the rest of the release.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
first=${1:-}

./scripts/setup.sh
if [[ -z $first ]]; then
  cmake --preset release >/dev/null
  cmake --build --preset release --target VELAutil VELAlog
  first=$root/build/release
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
cmake --build --preset release --target VELAutil VELAlog
second=$copy/build/release

for program in VELAutil.exe VELAlog.exe; do
  sha256sum "$first/$program" "$second/$program"
  cmp "$first/$program" "$second/$program"
  echo "identical: $(stat -c %s "$first/$program") bytes"
done
