#!/usr/bin/env bash
# deaths.sh
#
# The process ends at each change that install, upgrade and uninstall make; the same command then runs again, and files
# and registry must be as after one undisturbed run. Wants build/release to be built; the rows go to build/prove/deaths.md.
# Exits with 1 where they were not, or where a run could not be made.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
unset DISPLAY WAYLAND_DISPLAY VELA_FAULTS_STRIDE VELA_DEATHS_STRIDE
# shellcheck source=scripts/prove/sweep_rows.sh
source scripts/prove/sweep_rows.sh

full_sweep deaths faults.full.deaths '| Command | Changes | Deaths | Left a difference that is meant | Deaths with findings |'
