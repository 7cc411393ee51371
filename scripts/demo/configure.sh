#!/usr/bin/env bash
# configure.sh <build folder>: configures the programs of the demo, which are a CMake project of their own.
set -euo pipefail
folder=${1:?usage: configure.sh <build folder>}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)

exec cmake -S "$here" -B "$folder" -G Ninja --toolchain "$here/../../cmake/toolchain-mingw-w64.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
