#!/usr/bin/env bash
# newcomer.sh [bookworm | trixie]
#
# What a newcomer meets: a bare Debian of that release (trixie where none is named; debootstrap's minbase, in a folder
# below build/newcomer), a clone of HEAD in it, and the two commands of the README, nothing else. Needs root, a mirror, and
# 8 GiB; runs from within a chroot, too. What it made goes when it ends, however it ends; what the commands said stays in
# build/newcomer/<release>.*.log, and the row for the long proof in build/newcomer/<release>.row.
#
# Exits with 0 where both commands did well, with 1 where one did not, and with 77 where no such system can be made here:
# the last line says why.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$(pwd -P)
work=$root/build/newcomer
# shellcheck source=scripts/stages.sh
source scripts/stages.sh

free_space=8         # GiB
making_limit=600     # seconds
command_limit=1500   # seconds, for each command
releases=(bookworm trixie)
release=
system=

cannot() {
  echo "newcomer: $release: NOT RUN, no such system can be made here: $1"
  exit 77
}

# ---- making the system

# A space of its own for mounts and processes: both are gone when its first process ends, so nothing is left mounted in
# the system's folder when it is removed, and no server of Wine keeps running in it.
apart=(unshare --mount --pid --fork --kill-child)

enter_space() {
  # Within a chroot the root folder is no mount, and its mounts cannot be told to stay private.
  unshare --mount true 2>/dev/null || apart+=(--propagation unchanged)
  mkdir -p "$work/probe"
  # shellcheck disable=SC2016  # expanded within
  "${apart[@]}" bash -c 'mount -t proc proc "$1" && umount "$1"' bash "$work/probe" 2>"$work/$release.making.log" ||
    cannot "nothing can be mounted: $(tail -n 1 "$work/$release.making.log")"
}

# The first of the archives that this machine's own packages come from and that has the release. None: debootstrap takes
# the one that it knows.
find_mirror() {
  local archive
  # shellcheck disable=SC2016  # apt-get's own words
  for archive in $(apt-get indextargets --format '$(COMPONENT) $(REPO_URI)' 'Created-By: Packages' 2>/dev/null |
    sed -n 's|^main \(https\?://.*[^/]\)/*$|\1|p' | uniq); do
    if wget -q -T 20 -t 2 -O /dev/null "$archive/dists/$release/InRelease"; then
      echo "$archive"
      return
    fi
  done
}

quiet() {
  "$@" >"$work/$release.making.log" 2>&1
}

# make_system: sets `system`, a folder that clean_up removes.
make_system() {
  local free mirror options=(debootstrap --variant=minbase)
  mkdir -p "$work"
  # The repository may belong to somebody else, which git would refuse to root.
  export GIT_CONFIG_GLOBAL=$work/$$.gitconfig
  printf '[safe]\n\tdirectory = *\n' >"$GIT_CONFIG_GLOBAL"
  free=$(($(stat -f -c '%a * %S' "$work") >> 30))
  ((free >= free_space)) || cannot "only $free GiB are free below $work, $free_space are needed"
  git rev-parse -q --verify HEAD >/dev/null || cannot "$root is no clone that could be cloned"
  enter_space
  ./scripts/setup.sh --newcomer || cannot "debootstrap is missing"
  PATH=$PATH:/usr/sbin:/sbin
  # Where apt-get is told of a proxy and the environment is not.
  eval "$(apt-config shell http_proxy Acquire::http::Proxy https_proxy Acquire::https::Proxy)"
  export http_proxy https_proxy
  mirror=$(find_mirror)
  if [[ $mirror == https:* ]]; then
    options+=(--include=ca-certificates)
  fi
  system=$work/$$.$release
  mkdir "$system"
  stage "a bare $release${mirror:+ from $mirror}" \
    quiet timeout --foreground -k 10 "$making_limit" "${apart[@]}" "${options[@]}" "$release" "$system" ${mirror:+"$mirror"} ||
    cannot "debootstrap: $(tail -n 1 "$work/$release.making.log")"
  if [[ ! -e $system/etc/resolv.conf ]]; then
    cp /etc/resolv.conf "$system/etc/"
  fi
}

clone() {
  if [[ -n $(git status --porcelain) ]]; then
    echo "newcomer: what is not committed here is not in the clone"
  fi
  git clone -q "file://$root" "$system/srv/velautil"
}

# ---- running the commands

# The commands of the first block of code in the README, one a line.
commands_of_readme() {
  awk '/^```/ { block++; next } block == 1 { sub(/ *#.*/, ""); print }' "$1/README.md"
}

# run_inside <command...>: in the clone, as root, with nothing of this machine's environment but the way to the mirror.
run_inside() {
  # Not the last command of the shell: as process 1 it sees to what the commands leave behind.
  # shellcheck disable=SC2016  # expanded within
  timeout --foreground -k 30 "$command_limit" "${apart[@]}" bash -c '
    system=$1
    shift
    mount -t proc proc "$system/proc" || exit 125
    env -i HOME=/root TERM=dumb PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin \
      ${http_proxy:+http_proxy="$http_proxy"} ${https_proxy:+https_proxy="$https_proxy"} \
      chroot "$system" bash -c "cd /srv/velautil && exec \"\$@\"" bash "$@"
    exit $?' bash "$system" "$@" </dev/null
}

# logged <name> <command...>
logged() {
  local log=$work/$release.$1.log
  shift
  run_inside "$@" 2>&1 | tee "$log"
}

# One row for the table of the long proof.
write_row() {
  local about compiler wine tests index
  # shellcheck disable=SC2016  # expanded within
  about=$(run_inside bash -c '. /etc/os-release && echo "$VERSION"') || about=$release
  compiler=$(run_inside x86_64-w64-mingw32-g++-win32 -dumpfullversion 2>/dev/null) || compiler=-
  wine=$(run_inside env WINEDEBUG=-all wine --version 2>/dev/null) || wine=-
  tests=$(tests_of "$work/$release.test.log")
  printf '| %s | %s | %s |' "$about" "${compiler%%-*}" "${wine%% *}"
  for index in 1 2; do  # the first stage made the system
    printf ' %s s, %s |' "${stage_seconds[index]}" "$( ((stage_results[index] == 0)) && echo passed || echo FAILED)"
  done
  printf ' %s |\n' "${tests:-none}"
}

# tests_of <log>: the closing line of ctest.
tests_of() {
  grep -aE '^[0-9]+% tests passed' "$1" 2>/dev/null | tail -n 1 || true
}

# ---- clean-up

# mounts_below <folder>: deepest first. Blanks are written as numbers in that table.
mounts_below() {
  awk -v below="${1// /\\\\040}/" 'index($5, below) == 1 { print $5 }' /proc/self/mountinfo | sort -r
}

# remove_system <folder>: never through a mount, which would be this machine's own /proc.
remove_system() {
  local place
  while IFS= read -r place; do
    umount -l "$(printf '%b' "$place")" || true
  done < <(mounts_below "$1")
  if [[ -n $(mounts_below "$1") ]]; then
    echo "newcomer: $1 is left: something is still mounted in it" >&2
    return 0
  fi
  rm -rf --one-file-system "$1"
}

# Of this run, and of earlier ones that were killed outright: the folder's name begins with the process that owns it.
clean_up() {
  local left owner
  trap '' INT TERM HUP
  end_stage
  for left in "$work"/[0-9]*.{bookworm,trixie}; do
    owner=${left##*/}
    owner=${owner%%.*}
    if [[ -d $left ]] && { [[ $owner == "$$" ]] || ! kill -0 "$owner" 2>/dev/null; }; then
      remove_system "$left"
    fi
  done
  rm -f "$work/$$.gitconfig"
  rmdir "$work/probe" 2>/dev/null || true
}

main() {
  local command name
  release=${1:-trixie}
  if (($# > 1)) || [[ " ${releases[*]} " != *" $release "* ]]; then
    echo "usage: newcomer.sh [bookworm | trixie]" >&2
    exit 2
  fi
  ((EUID == 0)) || cannot "this is not root"
  trap clean_up EXIT
  trap 'exit 130' INT
  trap 'exit 143' TERM HUP
  rm -f "$work/$release".*  # logs of an earlier run
  make_system
  clone
  local commands=()
  while read -r command; do
    commands+=("$command")
  done <<<"$(commands_of_readme "$system/srv/velautil")"
  if [[ ${commands[*]} != './scripts/demo.sh ./scripts/test.sh' ]]; then
    echo "newcomer: $release: FAILED: the first commands of the README are: ${commands[*]}"
    exit 1
  fi
  for command in "${commands[@]}"; do
    name=${command##*/}
    stage "$command on a bare $release" logged "${name%.sh}" "$command" || true
  done
  write_row >"$work/$release.row"
  print_stages
  tests_of "$work/$release.test.log"
  if stages_failed; then
    echo "newcomer: $release: FAILED"
    exit 1
  fi
  echo "newcomer: $release: PASSED"
}

if [[ ${BASH_SOURCE[0]} == "$0" ]]; then
  main "$@"
  exit  # whatever has become of this file meanwhile
fi
