#!/usr/bin/env bash
# mutants.sh [option...]
#
# Small changes to copies of the product's sources, one at a time, and whether the tests notice: at least 95 in 100 must
# be caught. Options are those of scripts/mutants.py, which does the work. Everything is made in build/mutants; the rows
# go to build/prove/mutants.md, what survived to build/mutants/survivors.txt. Exits with 1 below 95 per cent, with 2 where
# it could not run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

./scripts/setup.sh --prove
unset DISPLAY WAYLAND_DISPLAY

# The programs under trial end with their sandbox, and that with this script. All of it stands back behind other work.
exec nice python3 scripts/mutants.py "$@"
