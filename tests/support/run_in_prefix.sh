#!/bin/bash
# run_in_prefix.sh <template-folder> <program.exe> [argument...]
#
# Runs one Windows program in a fresh copy of the template (make_prefix.sh), ends programs that it left running, removes
# the copy and returns the exit code. So a run cannot change registry, files or processes of another run.
#
#   VELA_TEST_SECONDS  time limit (default 300); after it, the run ends with exit code 124
#   VELA_TEST_LOCALE   locale that decides the ANSI code page of the programs, e.g. ja_JP.UTF-8 for 932; LOCPATH names
#                      the folder of the compiled locale (make_locale.sh)
#   VELA_TEST_RIGHTS   "ordinary": if the user is root, the programs run without root's right to ignore file modes, so
#                      they see what an ordinary user sees
#   VELA_TEST_PROCESSORS  how many processors the run has (default 1); fewer if the machine has fewer
#   VELA_TEST_COUNTS   folder in which each run of a coverage build leaves its line counts, in a subfolder for each run
#   VELA_TEST_KEEP     not empty: the copy is kept and its path is printed
#   VELA_TEST_MESSAGES  not empty: folder that gets the run log and the traces of the run (see docs/testing.md)
set -uo pipefail

template=$(realpath -m "${1:?usage: run_in_prefix.sh <template-folder> <program.exe> [argument...]}")
program=${2:?usage: run_in_prefix.sh <template-folder> <program.exe> [argument...]}
shift 2
seconds=${VELA_TEST_SECONDS:-300}

say() { echo "run_in_prefix.sh: $*" >&2; }

if [[ ! -f $template/vela-template ]]; then
  say "no complete prefix at $template (make_prefix.sh creates it)"
  exit 125
fi

if [[ -L $template/drive_c/windows/system32/regsvr32.exe ]]; then
  say "$template has links to the host's Wine, which programs could change: delete it and run make_prefix.sh"
  exit 125
fi

runs=$template.runs
mkdir -p "$runs"

# end_run <folder>: ends all programs of a copy and removes it. The server ends its programs. It is asked twice, because
# a server that is just starting does not see the first request. Debian's wineserver makes one folder in /tmp for the
# sockets of each copy and does not remove it.
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

# A run that was killed could not clean up. The name of its folder contains its process id.
for left in "$runs"/*; do
  owner=${left##*/}
  owner=${owner%%.*}
  if [[ $owner =~ ^[0-9]+$ ]] && ! kill -0 "$owner" 2>/dev/null; then
    end_run "$left"
  fi
done

# By default, each run has one processor. Wine sends every request to its server and back. With a processor for each of
# the two, most of the time is spent on waking one another. The folder's name contains the processor's number, so the
# next run uses another one.
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

# keep_messages: one file for the log, in the order of its lines, and one for the traces. Tests that remove the log save
# it first (LogFile.h).
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

# Wine's services are switched off: they cost half a second per copy, and the programs need none of them. So no explorer
# runs, and tests of a machine without a desktop rely on that.
export WINEDEBUG=-all LC_ALL=${VELA_TEST_LOCALE:-C.UTF-8} WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-'mscoree,mshtml=;winemenubuilder.exe,services.exe,plugplay.exe,winedevice.exe,explorer.exe,rpcss.exe,svchost.exe,winedbg.exe=d'}
# Without this, a coverage build writes its line counts under the current drive, which is the prefix. Programs of one
# run add up their counts one after the other. Runs at the same time would overwrite each other's counts.
export GCOV_PREFIX=${GCOV_PREFIX:-Z:${VELA_TEST_COUNTS:+$VELA_TEST_COUNTS/${run##*/}}}
unset DISPLAY WAYLAND_DISPLAY LANG LANGUAGE LC_CTYPE

# A missing locale would be ignored silently, and the test would run in another code page.
if [[ -n ${VELA_TEST_LOCALE:-} && ! -f ${LOCPATH:-/usr/lib/locale}/$VELA_TEST_LOCALE/LC_CTYPE ]]; then
  say "the locale $VELA_TEST_LOCALE is missing (LOCPATH=${LOCPATH:-}; make_locale.sh creates it)"
  exit 125
fi

# Wine fails to start a program about once in 2,400 times if the host randomises its addresses.
fixed_addresses=(setarch -R)
if ! setarch -R true 2>/dev/null; then
  say "setarch -R is not permitted here: the programs run with random addresses"
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
        say "setpriv cannot drop root's right to ignore file modes here: no test as an ordinary user"
        exit 125
      fi
    fi
    ;;
  *)
    say "unknown VELA_TEST_RIGHTS=$VELA_TEST_RIGHTS (known: ordinary)"
    exit 125
    ;;
esac

# The server runs a little longer than the programs, so that started programs find it, but not long after this script.
"${rights[@]}" wineserver "-p$((seconds + 30))" </dev/null >/dev/null 2>&1

# Output goes through a file: a program left running would keep a pipe open, and the reader would wait for it.
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
  say "time limit reached: the program was ended after $seconds seconds"
  code=124
fi
exit "$code"
