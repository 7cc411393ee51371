#!/usr/bin/env bash
# newcomer.sh: the two commands of the README in a clone of HEAD on a bare system of each release (scripts/newcomer.sh).
# Rows in build/prove/newcomer.md. Exits with 1 where a command failed or a system could not be made.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."

mkdir -p build/prove
code=0
{
  # shellcheck disable=SC2016  # Markdown's backticks
  echo '| Debian | GCC | Wine | `demo.sh` | `test.sh` | Tests |'
  echo '|---|---|---|---|---|---|'
} >build/prove/newcomer.md
for release in bookworm trixie; do
  row=build/newcomer/$release.row
  rm -f "$row"  # an earlier run's would pass for this one's
  ./scripts/newcomer.sh "$release" || code=1
  if [[ -f $row ]]; then
    cat "$row" >>build/prove/newcomer.md
  else
    echo "| $release | | | not run | not run | none |" >>build/prove/newcomer.md
  fi
done
exit "$code"
