#!/usr/bin/env bash
# texts.sh
#
# Every message of the run log and of the trace is produced by the tests, at its level, and none is written that the
# sources do not know (scripts/messages.py). Leaves the counts in build/prove/texts.md; exits with 1 on any gap.
#
#   VELA_TEST_MESSAGES  a folder that a run of the whole suite has filled already: the tests are not run once more.
#                       Where it is empty or not there, they are, and fill it (default build/prove/messages, emptied
#                       first)
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
root=$PWD

./scripts/setup.sh
unset DISPLAY WAYLAND_DISPLAY
messages=${VELA_TEST_MESSAGES:-}
if [[ -z $messages ]]; then
  messages=$root/build/prove/messages
  rm -rf "$messages"
fi

code=0
if compgen -G "$messages/*.log" >/dev/null; then
  echo "messages of the run in $messages"
else
  cmake --preset release -DBUILD_TESTING=ON >/dev/null
  cmake --build --preset release -j "$(nproc)"
  # The runs behind the label "full" are stages of their own.
  VELA_TEST_MESSAGES=$messages ctest --preset release -LE full -j "$((2 * $(nproc)))" --no-tests=error || code=1
fi
./scripts/messages.py census --produced "$messages" --report build/prove/texts.md || code=1
exit "$code"
