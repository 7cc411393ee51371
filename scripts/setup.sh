#!/usr/bin/env bash
# setup.sh [--lint | --prove | --newcomer]
#
# Makes sure that what this repository needs is on the machine: what builds and runs it, with --lint also what checks the
# sources, with --prove what scripts/prove.sh measures with; with --newcomer nothing but what scripts/newcomer.sh makes a
# bare system with. On Debian 12 and 13 missing packages are installed with apt-get, through sudo where this is not root.
# When nothing is missing it says nothing and costs a few milliseconds, so the other scripts call it every time.
set -euo pipefail

# Group, Debian package, what shows that it is there (one of several places is enough; a name without "/" is a command,
# one behind "clang:" a file that the clang at hand knows where to find). Debian 12 and 13 have packages of all these
# names. Asking for files and not for packages keeps other installations of the same tools valid.
needs() {
  cat <<'END'
build g++-mingw-w64-x86-64-win32 x86_64-w64-mingw32-g++-win32
build binutils-mingw-w64-x86-64 x86_64-w64-mingw32-windres
build cmake cmake
build ninja-build ninja
build libboost-dev /usr/include/boost/noncopyable.hpp
build doctest-dev /usr/include/doctest/doctest.h
build git git
build python3 python3
build wine wine
build wine64 /usr/lib/wine/wine64 wine64 /opt/wine-stable/bin/wine64
build locales /usr/share/i18n/locales/ja_JP
lint clang-format clang-format
lint clang-tidy clang-tidy
lint cppcheck cppcheck
lint shellcheck shellcheck
lint yamllint yamllint
fuzz g++ g++
fuzz clang clang++
fuzz libclang-rt-dev clang:libclang_rt.fuzzer-x86_64.a
prove gcovr gcovr
prove bubblewrap bwrap
newcomer debootstrap debootstrap /usr/sbin/debootstrap
newcomer git git
END
}

wanted=build
case ${1:-} in
  '') ;;
  --lint) wanted+=' lint fuzz' ;;
  --prove) wanted+=' prove fuzz' ;;
  --newcomer) wanted=newcomer ;;
  *)
    echo "usage: setup.sh [--lint | --prove | --newcomer]" >&2
    exit 2
    ;;
esac

is_there() {
  local place
  for place; do
    case $place in
      /*) [[ -e $place ]] && return ;;
      # It answers with the bare name where it has no such file.
      clang:*) [[ $(clang++ --print-file-name="${place#clang:}" 2>/dev/null) == /* ]] && return ;;
      *) command -v "$place" >/dev/null && return ;;
    esac
  done
  return 1
}

# Sets `missing`. (A here-string and no <(...), which wants /dev/fd: a machine this bare may lack /proc.)
find_missing() {
  local group package places
  missing=()
  while read -r group package places; do
    if [[ " $wanted " != *" $group "* ]]; then
      continue
    fi
    # shellcheck disable=SC2086  # several places, split on purpose
    is_there $places || missing+=("$package")
  done <<<"$(needs)"
}

# The presets are of version 6, which an older CMake refuses without saying what it lacks.
check_cmake() {
  local version
  if [[ $wanted == newcomer ]]; then
    return
  fi
  version=$(cmake --version | sed -n '1s/.* //p')
  if [[ $(printf '%s\n' 3.25 "$version" | sort -V | head -n 1) != 3.25 ]]; then
    echo "setup: CMake $version is too old, 3.25 or later is needed (Debian 12 and 13 have it)." >&2
    exit 1
  fi
}

give_up() {
  {
    echo "setup: $1"
    echo "setup: still missing: ${missing[*]}"
    echo "setup: on Debian 12 or 13, as root:"
    echo "  apt-get update && apt-get install --no-install-recommends ${missing[*]}"
  } >&2
  exit 1
}

# A freshly unpacked system that was entered with chroot may have no /proc. Wine then cannot start any program.
check_proc() {
  if [[ -e /proc/self/exe ]]; then
    return
  fi
  if ((EUID == 0)) && mkdir -p /proc && mount -t proc proc /proc; then
    echo "setup: mounted /proc, which Wine cannot do without"
  else
    echo "setup: /proc is not mounted, and Wine cannot do without it. As root: mount -t proc proc /proc" >&2
    exit 1
  fi
}

check_proc
find_missing
if ((${#missing[@]} == 0)); then
  check_cmake
  exit 0
fi

echo "setup: missing on this machine: ${missing[*]}"
command -v apt-get >/dev/null || give_up "there is no apt-get here to install it with."

as_root=()
if ((EUID != 0)); then
  command -v sudo >/dev/null || give_up "this is not root and there is no sudo."
  as_root=(sudo)
  # Without a terminal nobody can type the password.
  [[ -t 0 ]] || as_root=(sudo -n)
fi
apt=("${as_root[@]}" env DEBIAN_FRONTEND=noninteractive LC_ALL=C.UTF-8
     apt-get -q -y -o Acquire::Retries=3 -o DPkg::Lock::Timeout=300 -o Dpkg::Use-Pty=0)

started=$SECONDS
echo "setup: ${apt[*]} update"
"${apt[@]}" update </dev/null || give_up "apt-get update failed."
echo "setup: ${apt[*]} install --no-install-recommends ${missing[*]}"
"${apt[@]}" install --no-install-recommends "${missing[@]}" </dev/null || give_up "apt-get install failed."

find_missing
if ((${#missing[@]} != 0)); then
  give_up "the packages were installed, but what they should have brought is not there."
fi
check_cmake
echo "setup: done ($((SECONDS - started)) s)"
