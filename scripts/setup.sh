#!/usr/bin/env bash
# setup.sh [--release | --lint | --prove | --newcomer]
#
# Makes sure that this machine has what the repository needs to build and run. --release adds the tools that make the
# release, --lint those and the tools for the checks of the sources, --prove those for scripts/prove.sh; --newcomer is
# only for scripts/newcomer.sh. On Debian 12 and 13, missing packages are installed with apt-get, through sudo if the
# user is not root. If nothing is missing, it prints nothing and takes a few milliseconds. So the other scripts call it
# every time.
set -euo pipefail

# Group, Debian package, and the proof that it is installed (any one of these: a path or a command). Files are checked,
# not packages, so that other installations of the same tools count.
needs() {
  cat <<'END'
build g++-mingw-w64-x86-64-win32 x86_64-w64-mingw32-g++-win32
build binutils-mingw-w64-x86-64 x86_64-w64-mingw32-windres
build cmake cmake
build ninja-build ninja
build libboost-dev /usr/include/boost/noncopyable.hpp
build doctest-dev /usr/include/doctest/doctest.h
build libcli11-dev /usr/include/CLI/CLI.hpp
build nlohmann-json3-dev /usr/include/nlohmann/json.hpp
build git git
build python3 python3
build wine wine
build wine64 /usr/lib/wine/wine64 wine64 /opt/wine-stable/bin/wine64
build locales /usr/share/i18n/locales/ja_JP
release pandoc pandoc
release graphviz dot
lint clang-format clang-format
lint clang-tidy clang-tidy
lint cppcheck cppcheck
lint shellcheck shellcheck
lint yamllint yamllint
fuzz g++ g++
fuzz clang clang++
fuzz libclang-rt-dev /usr/lib/llvm-*/lib/clang/*/lib/linux/libclang_rt.fuzzer-x86_64.a
prove gcovr gcovr
prove bubblewrap bwrap
newcomer debootstrap debootstrap /usr/sbin/debootstrap
newcomer git git
END
}

wanted=build
case ${1:-} in
  '') ;;
  --release) wanted+=' release' ;;
  --lint) wanted+=' release lint fuzz' ;;
  --prove) wanted+=' prove fuzz' ;;
  --newcomer) wanted=newcomer ;;
  *)
    echo "usage: setup.sh [--release | --lint | --prove | --newcomer]" >&2
    exit 2
    ;;
esac

is_there() {
  local place
  for place; do
    case $place in
      /*) [[ -e $place ]] && return ;;
      *) command -v "$place" >/dev/null && return ;;
    esac
  done
  return 1
}

# Sets `missing`. (No <(...): a bare system may lack /dev/fd.)
find_missing() {
  local group package places
  missing=()
  while read -r group package places; do
    # shellcheck disable=SC2086  # several places, split and expanded on purpose
    if [[ " $wanted " == *" $group "* ]] && ! is_there $places; then
      missing+=("$package")
    fi
  done <<<"$(needs)"
}

give_up() {
  printf '%s\n' "setup: $1" "setup: still missing: ${missing[*]}" "setup: on Debian 12 or 13, as root:" \
    "  apt-get update && apt-get install --no-install-recommends ${missing[*]}" >&2
  exit 1
}

# A new system in a chroot may have no /proc, and without it Wine starts no program.
if [[ ! -e /proc/self/exe ]]; then
  echo "setup: Wine needs /proc: mounting it (as root: mount -t proc proc /proc)"
  mkdir -p /proc && mount -t proc proc /proc
fi
find_missing
if ((${#missing[@]} == 0)); then
  exit 0
fi

echo "setup: missing on this machine: ${missing[*]}"
command -v apt-get >/dev/null || give_up "there is no apt-get here to install them."

as_root=()
if ((EUID != 0)); then
  command -v sudo >/dev/null || give_up "this is not root and there is no sudo."
  as_root=(sudo)
  [[ -t 0 ]] || as_root=(sudo -n)  # without a terminal nobody can type the password
fi
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
     apt-get -q -y -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0)

started=$SECONDS
for command in update "install --no-install-recommends ${missing[*]}"; do
  echo "setup: ${apt[*]} $command"
  # shellcheck disable=SC2086  # several words
  "${apt[@]}" $command </dev/null || give_up "apt-get ${command%% *} failed."
done
find_missing
((${#missing[@]} == 0)) || give_up "the packages are installed, but their files are not where they should be."
echo "setup: done ($((SECONDS - started)) s)"
