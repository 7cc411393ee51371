#!/bin/bash
# run_in_prefix.sh <template-folder> <program.exe> [argument...]
#
# Runs one Windows program in a fresh copy of the template (make_prefix.sh), ends whatever it left running, removes the
# copy and passes the exit code on. What one run does to registry, files and processes cannot reach another.
#
#   VELA_TEST_SECONDS  time limit (default 300); the run ends with 124 when it is used up
#   VELA_TEST_LOCALE   locale that decides the ANSI code page of the programs, e.g. ja_JP.UTF-8 for 932; LOCPATH names
#                      the folder where it lies compiled (make_locale.sh)
#   VELA_TEST_RIGHTS   "ordinary": where this is root, the programs run without root's right to pass over the modes of
#                      files, so that they meet what an ordinary user meets
#   VELA_TEST_PROCESSORS  how many processors the run has (default 1); fewer where the machine has fewer
#   VELA_TEST_COUNTS   folder below which each run of a coverage build leaves its line counts, in a folder of its own
#   VELA_TEST_KEEP     not empty: the copy is kept and its place printed
#   VELA_TEST_MESSAGES  not empty: folder that gets the run log and the traces of the run (see docs/testing.md)
set -uo pipefail

template=$(realpath -m "${1:?usage: run_in_prefix.sh <template-folder> <program.exe> [argument...]}")
program=${2:?usage: run_in_prefix.sh <template-folder> <program.exe> [argument...]}
shift 2
seconds=${VELA_TEST_SECONDS:-300}

say() { echo "run_in_prefix.sh: $*" >&2; }

if [[ ! -f $template/vela-template ]]; then
  say "no complete prefix at $template (make_prefix.sh makes it)"
  exit 125
fi

if [[ -L $template/drive_c/windows/system32/regsvr32.exe ]]; then
  say "$template holds links to the host's Wine, which programs could change: make it again"
  exit 125
fi

runs=$template.runs
mkdir -p "$runs"

# end_run <folder>: ends all programs of a copy and removes it. The server takes its programs with it; it is asked twice,
# since one that was just starting when the first request came answers nobody. Debian's wineserver makes one folder in
# /tmp for the sockets of each copy and leaves it behind.
end_run() {
  local prefix=$1/prefix sockets=
  WINEPREFIX=$prefix wineserver -k 2>/dev/null
  WINEPREFIX=$prefix wineserver -k 2>/dev/null
  if [[ -f $prefix/wineserver ]]; then
    sockets=$(<"$prefix/wineserver")
  fi
  rm -rf "$1" || { sleep 1; rm -rf "$1"; }
  if [[ $sockets =~ ^wine-[A-Za-z0-9]+$ ]]; then
    rm -rf "/tmp/$sockets"
  fi
}

# A run that was killed outright could not clean up behind itself; its folder names its process.
for left in "$runs"/*; do
  owner=${left##*/}
  owner=${owner%%.*}
  if [[ $owner =~ ^[0-9]+$ ]] && ! kill -0 "$owner" 2>/dev/null; then
    end_run "$left"
  fi
done

# Each run has one processor, unless it asks for more. Wine hands every request to its server and back, and where the two
# have a processor each, they spend most of the time waking one another. The folder's name tells which it is: the next run
# takes another one.
mapfile -t processors < <(
  IFS=, read -ra ranges <<<"$(taskset -cp $$ 2>/dev/null | sed 's/.*: //')"
  for range in "${ranges[@]}"; do
    for ((number = ${range%-*}; number <= ${range#*-}; number++)); do
      echo "$(compgen -G "$runs/*.on$number.*" | wc -l) $number"
    done
  done | sort -n | sed -n "1,${VELA_TEST_PROCESSORS:-1}s/.* //p"
)
run=$(mktemp -d "$runs/$$$(printf '.on%s' "${processors[@]:-any}").XXXXXX") || exit 125
if ((${#processors[@]} > 0)); then
  taskset -cp "$(IFS=, && echo "${processors[*]}")" $$ >/dev/null
fi
export WINEPREFIX=$run/prefix
pid=

# keep_messages: one file for what the log said, in the order in which it was said, and one for the traces. Tests that
# remove the log put it aside first (LogFile.h).
keep_messages() {
  local name=${program##*/}
  local to=$VELA_TEST_MESSAGES/${name%.exe}.${run##*/}
  local kept=$WINEPREFIX/drive_c/VelaTestMessages
  mkdir -p "$VELA_TEST_MESSAGES"
  cat "$kept/vela.log" "$WINEPREFIX"/drive_c/windows/[Tt]emp/QRTX_Debug/vela.log >"$to.log" 2>/dev/null
  if [[ -f $kept/trace.log ]]; then
    cp "$kept/trace.log" "$to.trace"
  fi
}

clean_up() {
  trap '' INT TERM HUP
  if [[ -n $pid ]]; then
    kill "$pid" 2>/dev/null
  fi
  if [[ -n ${VELA_TEST_MESSAGES:-} ]]; then
    keep_messages
  fi
  if [[ -n ${VELA_TEST_KEEP:-} ]]; then
    wineserver -k 2>/dev/null
    say "kept $run"
  else
    end_run "$run"
  fi
}
trap clean_up EXIT
trap 'exit 129' HUP
trap 'exit 130' INT
trap 'exit 143' TERM

cp -a "$template" "$WINEPREFIX" || exit 125
rm -f "$WINEPREFIX/vela-template"

# Wine's services are switched off: they cost half a second per copy and the programs need none of them. No explorer
# runs then, which is also what tests of a machine without a desktop rely on.
export WINEDEBUG=-all LC_ALL=${VELA_TEST_LOCALE:-C.UTF-8} WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-'mscoree,mshtml=;winemenubuilder.exe,services.exe,plugplay.exe,winedevice.exe,explorer.exe,rpcss.exe,svchost.exe,winedbg.exe=d'}
# Line counts of a coverage build are written under the current drive otherwise, which is the prefix. Programs of one run
# add theirs up one after the other; runs side by side would overwrite one another's.
export GCOV_PREFIX=${GCOV_PREFIX:-Z:${VELA_TEST_COUNTS:+$VELA_TEST_COUNTS/${run##*/}}}
unset DISPLAY WAYLAND_DISPLAY LANG LANGUAGE LC_CTYPE

# A locale that is not there would be passed over in silence, and the test would run in another code page.
if [[ -n ${VELA_TEST_LOCALE:-} && ! -f ${LOCPATH:-/usr/lib/locale}/$VELA_TEST_LOCALE/LC_CTYPE ]]; then
  say "locale $VELA_TEST_LOCALE is not there (LOCPATH=${LOCPATH:-}; make_locale.sh makes it)"
  exit 125
fi

# Wine fails to start a program about once in 2,400 times when the host randomises its addresses.
fixed_addresses=(setarch -R)
if ! setarch -R true 2>/dev/null; then
  say "setarch -R is not permitted here: starts with random addresses"
  fixed_addresses=()
fi

rights=()
case ${VELA_TEST_RIGHTS:-} in
  '') ;;
  ordinary)
    if ((EUID == 0)); then
      rights=(setpriv '--bounding-set=-dac_override,-dac_read_search' '--inh-caps=-dac_override,-dac_read_search')
      # An empty file that nobody may read must be refused.
      : >"$run/locked" && chmod 000 "$run/locked"
      if ! "${rights[@]}" true || "${rights[@]}" cat "$run/locked" 2>/dev/null; then
        say "root's rights over files cannot be put off here (setpriv): there is no ordinary user"
        exit 125
      fi
    fi
    ;;
  *)
    say "VELA_TEST_RIGHTS=$VELA_TEST_RIGHTS is not known (ordinary, or nothing)"
    exit 125
    ;;
esac

# The server outlives the programs, so that started programs find it, but not this script for long.
"${rights[@]}" wineserver "-p$((seconds + 30))" </dev/null >/dev/null 2>&1

# Output goes through a file: a program left running would hold a pipe open, and the reader would wait for it.
output=$run/output
start() {
  "${rights[@]}" "${fixed_addresses[@]}" timeout -k 5 "$seconds" wine "$program" "$@" </dev/null >"$output" 2>&1 &
  pid=$!
  wait "$pid"
  code=$?
  pid=
}
start "$@"
if ((code != 0)) && grep -aqE '^wine: .*(1359|c00000e5)' "$output"; then
  say "Wine could not start the program (error 1359): $(head -c 300 "$output"); trying once more"
  start "$@"
fi
cat "$output"
if ((code == 124 || code == 137)); then
  say "ended after $seconds seconds"
  code=124
fi
exit "$code"
