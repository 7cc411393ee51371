#!/usr/bin/env bash
# faults.sh
#
# Each Windows call of each command fails, alone with every error in the table, and once more with every later call.
# After each run: no crash, no hang, the closing line, the promised exit code, everything given back, nothing changed
# outside the product's trees. Wants build/release to be built; the rows go to build/prove/faults.md. Exits with 1 where a
# run broke a promise or could not be made.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
unset DISPLAY WAYLAND_DISPLAY VELA_FAULTS_STRIDE VELA_DEATHS_STRIDE
# shellcheck source=scripts/prove/sweep_rows.sh
source scripts/prove/sweep_rows.sh

full_sweep faults faults.full.sweep '| Command | Calls that can fail | One fails | From one on | Runs with findings |'
