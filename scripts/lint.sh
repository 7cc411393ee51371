#!/usr/bin/env bash
# lint.sh [--fast | --all]
#
# Checks the sources without running them. None of these checks may find anything:
#   clang-format         the layout, by .clang-format; version 14 only, others format some lines differently
#   scripts and workflows  shellcheck and yamllint (which does not know GitHub's rules for a workflow)
#   cppcheck
#   clang                a second compiler with its own warnings; also every header alone
#   clang-tidy           by .clang-tidy: the product; with --all the tests too, with --fast nothing
#
# clang and clang-tidy run as separate builds (lint.cmake) below build/lint: Ninja remembers the files without a fault.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD

case ${1:-} in
  '') tidy=product ;;
  --fast) tidy= ;;
  --all) tidy=all ;;
  *)
    echo "usage: lint.sh [--fast | --all]" >&2
    exit 2
    ;;
esac

./scripts/setup.sh --lint
# shellcheck source=scripts/stages.sh
source scripts/stages.sh
clean_up_at_exit end_stage

# sources <pattern of a name...>
sources() {
  local names=() pattern
  for pattern; do
    names+=(-o -name "$pattern")
  done
  find . \( -path './build*' -o -path ./.git \) -prune -o -type f \( "${names[@]:1}" \) -printf '%P\n' | LC_ALL=C sort
}

# With no settings do 14 (Debian 12) and 19 (Debian 13) agree on blocks of one line, on functions of one line in macros,
# and on pointers to members.
format_version=14
found_format=$(clang-format --version | sed 's/.*version \([0-9]*\).*/\1/')
format_of_stage='clang-format'
if [[ $found_format != "$format_version" ]]; then
  format_of_stage="NOT CHECKED: needs clang-format $format_version, found $found_format"
fi

check_format() {
  [[ $found_format != "$format_version" ]] || sources '*.cpp' '*.h' | xargs clang-format --dry-run -Werror
}

# SC2317: for shellcheck, functions that only a trap calls are unreachable.
check_shell() {
  sources '*.sh' | xargs shellcheck -x -e SC2317 .ci/run
}

check_workflows() {
  sources '*.yml' | xargs yamllint --strict -d '{extends: default, rules: {line-length: {max: 120},
    document-start: disable, truthy: {check-keys: false}}}'
}

# Suppressed:
#   constParameter[Callback]     cppcheck takes an HKEY or a HANDLE for a pointer
#   LocalAllocCalled             Windows returns security descriptors from LocalAlloc, so ours come from there too
#   stlcstrAssignment            text = buffer.c_str() cuts a buffer at its NUL
#   unusedStructMember           records that Windows fills, or that tests compare, are read as a whole
#   useStlAlgorithm              a loop that calls Windows and stops at a failure is easier to read than an algorithm
#   normalCheckLevelMaxBranches  is not a finding: newer versions report where they stop
# and in tests, where style is not checked, because cppcheck takes scopes for unused variables:
#   leakReturnValNotUsed, resourceLeak   what a test leaves open ends with its program
#   throwInNoexceptFunction              if a test cannot be cleaned up, the program ends
#   deallocuse                           cppcheck counts a closing call within CHECK twice
#   duplInheritedMember                  a mock redefines a call
#   internalAstError                     cppcheck cannot parse lists of handles in braces
check_cppcheck() {
  local common=(-q -j "$(nproc)" --platform=win64 --library=windows --std=c++17 --inline-suppr --error-exitcode=1
    --suppress=missingIncludeSystem --suppress=constParameter --suppress=LocalAllocCalled
    --suppress=constParameterCallback --suppress=normalCheckLevelMaxBranches
    --suppress=stlcstrAssignment --suppress=unusedStructMember --suppress=useStlAlgorithm
    -I "$root" --include=scripts/cppcheck_doctest.h -DUNICODE -D_UNICODE -D_WIN32 -D_WIN64 -D_WIN32_WINNT=0x0502)
  local code=0
  sources '*.cpp' | grep -v '^tests/' |
    xargs cppcheck "${common[@]}" --enable=warning,style,performance,portability || code=1
  sources '*.cpp' | grep '^tests/' | grep -v '^tests/fuzz/' | xargs cppcheck "${common[@]}" \
    --enable=warning,performance,portability --suppress=leakReturnValNotUsed --suppress=resourceLeak \
    --suppress=throwInNoexceptFunction --suppress=deallocuse --suppress=duplInheritedMember \
    --suppress=internalAstError || code=1
  return "$code"
}

target=x86_64-w64-mingw32

# clang takes GCC's headers from a sysroot in which the name of GCC's folder is a plain version. Without a sysroot, it
# would add the headers of this machine's own C library.
make_sysroot() {
  local sysroot=$root/build/lint/sysroot gcc version
  gcc=$(find "/usr/lib/gcc/$target" -maxdepth 1 -name '*-win32' | sort -V | tail -n 1)
  version=${gcc##*/}
  mkdir -p "$sysroot/lib/gcc/$target"
  ln -sfn "$gcc" "$sysroot/lib/gcc/$target/${version%%-*}.0.0"
  ln -sfn "/usr/$target" "$sysroot/$target"
}

# clang_build <folder> <objects to leave out, a pattern> [<cmake option...>]
clang_build() {
  local build=$root/build/lint/$1 left_out=$2 objects
  make_sysroot
  cmake -S . -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DBUILD_TESTING=ON -DCMAKE_EXPORT_COMPILE_COMMANDS=ON \
    -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_COMPILER_TARGET=$target \
    -DCMAKE_RC_COMPILER=$target-windres -DCMAKE_SYSROOT="$root/build/lint/sysroot" \
    -DCMAKE_TRY_COMPILE_TARGET_TYPE=STATIC_LIBRARY -DCMAKE_PROJECT_VELAutil_INCLUDE=scripts/lint.cmake "${@:3}" \
    >"$root/build/lint/$1.log" 2>&1 || { cat "$root/build/lint/$1.log" && return 1; }
  # Objects only: nothing is linked, so no object may depend on a linked program.
  sed -i 's/^\(build cmake_object_order_depends_target_[^:]*: phony\) .*/\1/' "$build/build.ninja"
  mapfile -t objects < <(ninja -C "$build" -t targets all | sed -n 's/: CXX_COMPILER__.*//p' | grep -Ev "$left_out")
  ninja -C "$build" -k 0 --quiet "${objects[@]}"
}

# scripts/fuzz.sh compiles tests/fuzz for this machine, with every warning.
check_clang() {
  local code=0 forgotten
  clang_build warnings '^$' || code=1
  forgotten=$(comm -23 <(sources '*.cpp' | grep -v '^tests/fuzz/') \
    <(sed -n "s|.*\"file\": \"$root/\(.*\)\".*|\1|p" build/lint/warnings/compile_commands.json | LC_ALL=C sort -u))
  if [[ -n $forgotten ]]; then
    echo "no CMake target compiles: $forgotten"
    code=1
  fi
  return "$code"
}

# Headers are checked through the sources that include them. Ninja does not see changes of clang-tidy's version and
# configuration, so a hash of both is part of the command.
check_tidy() {
  local headers='^CMakeFiles/headers[.]dir/' key
  key=$(cat .clang-tidy tests/.clang-tidy <(clang-tidy --version) | sha256sum | cut -c 1-16)
  clang_build tidy "$headers$([[ $tidy == all ]] || echo '|^tests/')" "-DCMAKE_CXX_FLAGS=-DVELA_TIDY_$key" \
    '-DCMAKE_CXX_CLANG_TIDY=clang-tidy;--quiet'
}

stage "source layout ($format_of_stage)" check_format || true
stage 'shell scripts (shellcheck)' check_shell || true
stage 'workflows (yamllint)' check_workflows || true
stage 'cppcheck' check_cppcheck || true
stage 'second compiler (clang)' check_clang || true
if [[ -n $tidy ]]; then
  stage "clang-tidy ($tidy)" check_tidy || true
fi
print_stages
if stages_failed; then
  exit 1
fi
