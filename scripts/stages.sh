# Sourced by the other scripts: named and timed stages of work, which end with the script, their summary, and the end of
# Wine prefixes.
# shellcheck shell=bash

stage_names=()
stage_results=()
stage_seconds=()
stage_pid=

# stage <name> <command...>: returns the command's exit code. The command has its own process group, so that an
# interrupted script can end all of it.
stage() {
  local name=$1 started=$EPOCHREALTIME code=0
  printf '\n==== %s\n' "$name"
  set -m
  "${@:2}" </dev/null &
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

# Seconds with one decimal since a value of EPOCHREALTIME. Its decimal sign depends on the locale.
seconds_since() {
  local tenths=$(((${EPOCHREALTIME//[.,]/} - ${1//[.,]/} + 50000) / 100000))
  echo "$((tenths / 10)).$((tenths % 10))"
}

stages_failed() {
  [[ -n $(failed_stages) ]]
}

# One name a line.
failed_stages() {
  local index
  for index in "${!stage_names[@]}"; do
    ((stage_results[index] == 0)) || echo "${stage_names[index]}"
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

# clean_up_at_exit <command>: runs it when the script ends, also if a signal ends it.
clean_up_at_exit() {
  # shellcheck disable=SC2064  # expanded now
  trap "$1" EXIT
  trap 'exit 130' INT
  trap 'exit 143' TERM HUP
}

# end_stage: ends the running stage and gives its processes ten seconds to clean up.
end_stage() {
  local tries
  trap '' INT TERM HUP
  if [[ -z $stage_pid ]]; then
    return 0  # explicit: a plain return within a trap returns the script's exit code
  fi
  kill -TERM -- "-$stage_pid" 2>/dev/null || true
  wait "$stage_pid" 2>/dev/null || true
  for ((tries = 0; tries < 100; tries++)); do
    kill -0 -- "-$stage_pid" 2>/dev/null || break
    sleep 0.1
  done
  kill -KILL -- "-$stage_pid" 2>/dev/null || true
  stage_pid=
}

# end_left_prefixes <folder...>: ends the Wine prefixes that test runs left in these folders, with all their programs. A
# prefix's name begins with the id of the process that owns it. The prefix stays while that process lives.
end_left_prefixes() {
  local folder left owner
  for folder; do
    for left in "$folder"/*/; do
      owner=${left%/}
      owner=${owner##*/}
      owner=${owner%%.*}
      if [[ $owner =~ ^[0-9]+$ ]] && ! kill -0 "$owner" 2>/dev/null; then
        end_prefix "${left}prefix"
        rm -rf "$left"
      fi
    done
  done
}

# end_prefix <prefix>: Debian's wineserver records the /tmp folder of its sockets in the prefix, and does not remove it.
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
