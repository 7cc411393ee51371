#!/bin/bash
# run_in_prefix_test.sh <template-folder> <fixtures-folder>: the runner returns what a program did, and leaves nothing.
set -uo pipefail

template=$(realpath -m "$1")
fixtures=$2
runner=$(dirname "$0")/run_in_prefix.sh
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
faults=0

check() {  # <what> <wanted> <found>
  if [[ $2 != "$3" ]]; then
    echo "FAULT: $1: wanted '$2', found '$3'"
    faults=$((faults + 1))
  else
    echo "ok: $1"
  fi
}

folders_of() { find "$template.runs" -maxdepth 1 -name "$1.*" | wc -l; }

"$runner" "$template" "$fixtures/Sleeper.exe" VelaRunnerTest 0 >"$work/out" 2>&1
check "the exit code of a program is passed on" 1 $?

"$runner" "$template" "$fixtures/ClassProbe.exe" Redemption.dll oecom.dll >"$work/out" 2>&1
check "arguments reach the program" 2 $?
check "the output of the program is printed" 2 "$(grep -c 'not creatable' "$work/out")"

VELA_TEST_RIGHTS=ordinary "$runner" "$template" "$fixtures/Sleeper.exe" VelaRunnerTest 0 >"$work/out" 2>&1
check "a program runs with the rights of an ordinary user" 1 $?
VELA_TEST_RIGHTS=some "$runner" "$template" "$fixtures/Sleeper.exe" VelaRunnerTest 0 >"$work/out" 2>&1
check "unknown rights are refused" 125 $?

started=$SECONDS
VELA_TEST_SECONDS=2 "$runner" "$template" "$fixtures/Sleeper.exe" VelaRunnerTest 100 >"$work/out" 2>&1
check "a program that takes too long is ended" 124 $?
check "the time limit is kept" 1 $((SECONDS - started < 60))

"$runner" "$template.none" "$fixtures/Sleeper.exe" >"$work/out" 2>&1
check "a missing prefix is reported" 125 $?

"$runner" "$template" "$fixtures/NoSuchProgram.exe" >"$work/out" 2>&1
check "a missing program is a failure" 1 $(($? != 0))

"$runner" "$template" "$fixtures/Sleeper.exe" VelaRunnerTest 100 >"$work/out" 2>&1 &
pid=$!
for ((i = 0; i < 100; ++i)); do
  [[ -f $(echo "$template.runs/$pid."*/output) ]] && break
  sleep 0.1
done
sleep 1
check "a run has a folder while it lasts" 1 "$(folders_of "$pid")"
folder=$(echo "$template.runs/$pid."*)
processor=$(taskset -cp "$pid" | sed 's/.*: //')
check "a run uses the processor in its folder's name" "on$processor" "$(cut -d . -f 2 <<<"${folder##*/}")"
check "a run uses only one processor" 1 "$(grep -c '^[0-9]*$' <<<"$processor")"
programs=$(for process in /proc/[0-9]*; do
  if grep -qzxF "WINEPREFIX=$folder/prefix" "$process/environ" 2>/dev/null; then
    sed -n 's/^Cpus_allowed_list:[ \t]*//p' "$process/status" 2>/dev/null
  fi
done | sort -u)
check "the programs and the server of a run use only that processor" "$processor" "$programs"
kill -TERM "$pid"
wait "$pid"
check "a run that gets SIGTERM returns 143" 143 $?
check "a run that gets SIGTERM removes its folder" 0 "$(folders_of "$pid")"

VELA_TEST_PROCESSORS=2 "$runner" "$template" "$fixtures/Sleeper.exe" VelaRunnerTest 100 >"$work/out" 2>&1 &
pid=$!
for ((i = 0; i < 100; ++i)); do
  [[ -f $(echo "$template.runs/$pid."*/output) ]] && break
  sleep 0.1
done
sleep 1
wanted=$(($(nproc) < 2 ? 1 : 2))
check "a run with VELA_TEST_PROCESSORS=2 uses two, if the machine has them" "$wanted" \
  "$(taskset -cp "$pid" | sed 's/.*: //; s/-/ /; s/,/ /' | wc -w)"
check "its folder's name has all of them" "$wanted" "$(echo "$template.runs/$pid."* | grep -o '\.on[0-9]' | wc -l)"
kill -KILL "$pid"
wait "$pid" 2>/dev/null
check "a run that is killed leaves its folder" 1 "$(folders_of "$pid")"
"$runner" "$template" "$fixtures/Sleeper.exe" VelaRunnerTest 0 >"$work/out" 2>&1
check "the next run removes the folder of a killed run" 0 "$(folders_of "$pid")"

exit $((faults > 0))
