#!/usr/bin/env bash
# newcomer.sh [bookworm | trixie]
#
# Makes a bare Debian of that release (default trixie; debootstrap's minbase), clones HEAD into it and runs the two
# commands of the README there. Needs root, a mirror and 8 GiB; works within a chroot, too. All its files are below
# build/newcomer and are removed at the end. Only the logs build/newcomer/<release>.*.log stay, and the row for the long
# proof, build/newcomer/<release>.row.
#
# Exits with 0 if both commands succeed, with 1 if one fails, and with 77 if no such system can be made here. Then the
# last line has the reason.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$(pwd -P)
work=$root/build/newcomer
release=${1:-trixie}
system=$work/$$.$release
# shellcheck source=scripts/stages.sh
source scripts/stages.sh

free_space=8        # GiB
making_limit=600    # seconds
command_limit=3000  # seconds, for each command: for a hang, and not for a busy machine

cannot() {
  echo "newcomer: $release: NOT RUN, cannot create a bare Debian here: $1"
  exit 77
}

# ---- the system

# Separate namespaces for mounts and processes: both end with their first process. So nothing stays mounted in the
# system's folder, and no Wine server keeps running in it.
apart=(unshare --mount --pid --fork --kill-child)

try_mount() {
  # In a chroot the root folder is not a mount point, so its propagation cannot be changed.
  unshare --mount true 2>/dev/null || apart+=(--propagation unchanged)
  mkdir -p "$work/probe"
  # shellcheck disable=SC2016  # expanded within
  "${apart[@]}" bash -c 'mount -t proc proc "$1" && umount "$1"' bash "$work/probe" 2>"$work/$release.making.log" ||
    cannot "cannot mount /proc: $(tail -n 1 "$work/$release.making.log")"
}

# The first package archive of this machine that has the release. If there is none, debootstrap uses its default.
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

bootstrap() {
  local mirror options=(debootstrap --variant=minbase)
  ./scripts/setup.sh --newcomer || cannot "debootstrap is missing"
  PATH=$PATH:/usr/sbin:/sbin
  # The proxy of apt-get, if any.
  eval "$(apt-config shell http_proxy Acquire::http::Proxy https_proxy Acquire::https::Proxy)"
  export http_proxy https_proxy
  mirror=$(find_mirror)
  if [[ $mirror == https:* ]]; then
    options+=(--include=ca-certificates)
  fi
  mkdir "$system"
  stage "create a bare $release${mirror:+ from $mirror}" \
    quiet timeout --foreground -k 10 "$making_limit" "${apart[@]}" "${options[@]}" "$release" "$system" ${mirror:+"$mirror"} ||
    cannot "debootstrap: $(tail -n 1 "$work/$release.making.log")"
  [[ -e $system/etc/resolv.conf ]] || cp /etc/resolv.conf "$system/etc/"
}

# A system that exists is used as it is (scripts/prove/stage.sh).
make_system() {
  local free
  # git refuses a repository that belongs to another user.
  export GIT_CONFIG_GLOBAL=$work/$$.gitconfig
  printf '[safe]\n\tdirectory = *\n' >"$GIT_CONFIG_GLOBAL"
  free=$(($(stat -f -c '%a * %S' "$work") >> 30))
  ((free >= free_space)) || cannot "only $free GiB are free below $work, $free_space are needed"
  git rev-parse -q --verify HEAD >/dev/null || cannot "$root is not a git clone with a commit"
  try_mount
  [[ -d $system ]] || bootstrap
  if [[ -n $(git status --porcelain) ]]; then
    echo "newcomer: uncommitted changes are not in the clone"
  fi
  git clone -q "file://$root" "$system/srv/velautil"
}

# ---- the commands

# run_inside <command...>: in the clone, as root, with nothing of this machine's environment except the proxy.
run_inside() {
  # Not the last command of the shell: the shell is process 1 and must clean up after the commands.
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
  run_inside "${@:2}" 2>&1 | tee "$work/$release.$1.log"
}

# The closing line of ctest.
tests() {
  grep -aE '^[0-9]+% tests passed' "$work/$release.test.log" 2>/dev/null | tail -n 1 || true
}

# One row for the table of the long proof.
write_row() {
  local about compiler wine closing index
  # shellcheck disable=SC2016  # expanded within
  about=$(run_inside bash -c '. /etc/os-release && echo "$VERSION"') || about=$release
  compiler=$(run_inside x86_64-w64-mingw32-g++-win32 -dumpfullversion 2>/dev/null) || compiler=-
  wine=$(run_inside env WINEDEBUG=-all wine --version 2>/dev/null) || wine=-
  closing=$(tests)
  printf '| %s | %s | %s |' "$about" "${compiler%%-*}" "${wine%% *}"
  for index in 1 2; do  # the first stage made the system
    printf ' %s s, %s |' "${stage_seconds[index]}" "$( ((stage_results[index] == 0)) && echo passed || echo FAILED)"
  done
  printf ' %s |\n' "${closing:-none}"
}

# ---- clean-up

# mounts_below <folder>: deepest first. The mount table writes blanks as octal numbers.
mounts_below() {
  awk -v below="${1// /\\\\040}/" 'index($5, below) == 1 { print $5 }' /proc/self/mountinfo | sort -r
}

# Systems of this run and of killed runs: a folder's name begins with the id of the process that owns it. Nothing is
# deleted through a mount, because that would be this machine's own /proc.
clean_up() {
  local left owner place
  end_stage
  for left in "$work"/[0-9]*.{bookworm,trixie}; do
    owner=${left##*/}
    owner=${owner%%.*}
    if [[ ! -d $left ]] || { [[ $owner != "$$" ]] && kill -0 "$owner" 2>/dev/null; }; then
      continue
    fi
    while IFS= read -r place; do
      umount -l "$(printf '%b' "$place")" || true
    done < <(mounts_below "$left")
    if [[ -n $(mounts_below "$left") ]]; then
      echo "newcomer: $left is not deleted: something is still mounted in it" >&2
    else
      rm -rf --one-file-system "$left"
    fi
  done
  rm -f "$work/$$.gitconfig"
  rmdir "$work/probe" 2>/dev/null || true
}

main() {
  local commands command
  if (($# > 1)) || [[ ! $release =~ ^(bookworm|trixie)$ ]]; then
    echo "usage: newcomer.sh [bookworm | trixie]" >&2
    exit 2
  fi
  ((EUID == 0)) || cannot "only root can do that"
  clean_up_at_exit clean_up
  mkdir -p "$work"
  rm -f "$work/$release".*
  make_system
  # The first code block of the README, one command per line.
  mapfile -t commands < <(awk '/^```/ { block++; next } block == 1 { sub(/ *#.*/, ""); print }' "$system/srv/velautil/README.md")
  if [[ ${commands[*]} != './scripts/demo.sh ./scripts/test.sh' ]]; then
    echo "newcomer: $release: FAILED: the first code block of the README has other commands: ${commands[*]}"
    exit 1
  fi
  for command in "${commands[@]}"; do
    stage "$command on a bare $release" logged "$(basename "$command" .sh)" "$command" || true
  done
  write_row >"$work/$release.row"
  print_stages
  tests
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
