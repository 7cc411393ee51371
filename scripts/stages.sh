# Sourced by the other scripts: work in stages, each named as it starts and measured, summed up at the end, and ended when
# the script is interrupted; and switching off Wine prefixes.
# shellcheck shell=bash

stage_names=()
stage_results=()
stage_seconds=()
stage_pid=

# stage <name> <command...>
#
# The command is a job with a process group of its own, so that an interrupted script can end all of it. Returns the
# command's exit code; the caller decides whether to go on.
stage() {
  local name=$1 started=$EPOCHREALTIME code=0
  shift
  echo
  echo "==== $name"
  set -m
  "$@" </dev/null &
  stage_pid=$!
  set +m
  wait "$stage_pid" || code=$?
  stage_pid=
  stage_names+=("$name")
  stage_results+=("$code")
  stage_seconds+=("$(seconds_since "$started")")
  if ((code != 0)); then
    echo "==== $name: FAILED (exit code $code)"
  fi
  return "$code"
}

# Seconds with one decimal since a value of EPOCHREALTIME, whose decimal sign is the locale's.
seconds_since() {
  local from=${1//[.,]/} to=${EPOCHREALTIME//[.,]/}
  local tenths=$(((to - from + 50000) / 100000))
  echo "$((tenths / 10)).$((tenths % 10))"
}

stages_failed() {
  [[ -n $(failed_stages) ]]
}

# One name a line.
failed_stages() {
  local index
  for index in "${!stage_names[@]}"; do
    if ((stage_results[index] != 0)); then
      echo "${stage_names[index]}"
    fi
  done
}

print_stages() {
  local index
  echo
  for index in "${!stage_names[@]}"; do
    printf '  %-6s %7s s  %s\n' "$( ((stage_results[index] == 0)) && echo ok || echo FAILED)" \
      "${stage_seconds[index]}" "${stage_names[index]}"
  done
}

# end_stage: for the EXIT trap. Ends the stage that is running, if one is, and gives all its processes ten seconds to
# clean up behind themselves.
end_stage() {
  local tries
  if [[ -z $stage_pid ]]; then
    return 0  # said, since a plain return within a trap is the script's exit code
  fi
  kill -TERM -- "-$stage_pid" 2>/dev/null || true
  wait "$stage_pid" 2>/dev/null || true
  for ((tries = 0; tries < 100; tries++)); do
    if ! kill -0 -- "-$stage_pid" 2>/dev/null; then
      break
    fi
    sleep 0.1
  done
  kill -KILL -- "-$stage_pid" 2>/dev/null || true
  stage_pid=
}

# end_left_prefixes <folder...>: ends the Wine servers (and with them all programs) of the prefixes that test runs left
# in these folders. Their names begin with the number of the process that owns them; one that lives is left alone.
end_left_prefixes() {
  local folder left owner
  for folder; do
    for left in "$folder"/*/; do
      left=${left%/}
      owner=${left##*/}
      owner=${owner%%.*}
      if [[ $owner =~ ^[0-9]+$ ]] && ! kill -0 "$owner" 2>/dev/null; then
        end_prefix "$left/prefix"
        rm -rf "$left"
      fi
    done
  done
}

# end_prefix <prefix>: switches it off. Debian's wineserver notes in the prefix in which folder of /tmp its sockets lie,
# and leaves that folder behind.
end_prefix() {
  local sockets=
  WINEPREFIX=$1 WINEDEBUG=-all wineserver -k 2>/dev/null || true
  if [[ -f $1/wineserver ]]; then
    sockets=$(<"$1/wineserver")
    rm -f "$1/wineserver"
  fi
  if [[ $sockets =~ ^wine-[A-Za-z0-9]+$ ]]; then
    rm -rf "/tmp/$sockets"
  fi
}
