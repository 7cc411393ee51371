#!/usr/bin/env bash
# lint.sh [--fast | --all]
#
# Everything that checks sources without running them. All of it must be silent:
#   layout of the text   clang-format, as .clang-format says; of one version only, others lay some lines out otherwise
#   shell scripts        shellcheck
#   workflows            yamllint: their form only, not what GitHub makes of them
#   cppcheck
#   second compiler      clang with its own warnings, every header by itself too (clang_checks.py)
#   clang-tidy           as .clang-tidy says; by far the longest, so verdicts are kept in build/lint while nothing that
#                        they depend on changes. Of the product; with --all of the tests too, with --fast of nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
build=$root/build/release
demo_tools=$root/build/demo/tools

tidy=(--tidy)
case ${1:-} in
  '') ;;
  --fast) tidy=() ;;
  --all) tidy=(--tidy-all) ;;
  *)
    echo "usage: lint.sh [--fast | --all]" >&2
    exit 2
    ;;
esac

./scripts/setup.sh --lint
# shellcheck source=scripts/stages.sh
source scripts/stages.sh
trap end_stage EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# sources <pattern...>: files that are in the repository or about to be.
sources() {
  if git rev-parse --git-dir >/dev/null 2>&1; then
    git ls-files --cached --others --exclude-standard -- "$@" | while IFS= read -r file; do
      if [[ -f $file ]]; then
        echo "$file"
      fi
    done
  else
    local names=() pattern
    for pattern; do
      names+=(-o -name "$pattern")
    done
    find . \( -path './build*' -o -path ./.git \) -prune -o -type f \( "${names[@]:1}" \) -printf '%P\n'
  fi | LC_ALL=C sort
}

# tests/fuzz is no Windows program: clang compiles it for this machine, with every warning (scripts/fuzz.sh), and cppcheck
# would read it as one.

# No settings make 14 (Debian 12) and 19 (Debian 13) agree on blocks of one line, on functions of one line in macros, and on
# pointers to members.
format_version=14
found_format=$(clang-format --version | sed 's/.*version \([0-9]*\).*/\1/')
format_of_stage='clang-format'
if [[ $found_format != "$format_version" ]]; then
  format_of_stage="NOT CHECKED: this is clang-format $found_format, the layout is $format_version's"
fi

# One line for each file that clang-format -i would change.
check_format() {
  local told
  if [[ $found_format != "$format_version" ]]; then
    echo "not checked: clang-format $found_format lays some lines out otherwise than $format_version, which Debian 12 has"
    return
  fi
  if ! told=$(sources '*.cpp' '*.h' | xargs clang-format --dry-run -Werror 2>&1); then
    echo 'clang-format -i would change, or cannot read:'
    sed -n 's/:[0-9].* error: .*//p; /^[^ ]*error/p' <<<"$told" | sort -u
    return 1
  fi
}

# SC2317 takes functions that only a trap calls for unreachable.
check_shell() {
  sources '*.sh' '.ci/*' | xargs shellcheck -x -e SC2317
}

check_workflows() {
  sources '*.yml' | xargs yamllint --strict -d '{extends: default, rules: {line-length: {max: 120},
    document-start: disable, truthy: {check-keys: false}}}'
}

# Not asked for:
#   constParameter      an HKEY or a HANDLE is no pointer to anybody but the compiler; constParameterCallback is the same
#   LocalAllocCalled    Windows hands out security descriptors by LocalAlloc, so ours have the same owner
#   stlcstrAssignment   text = buffer.c_str() is how a buffer is cut at its NUL
#   unusedStructMember  records that Windows fills, or that tests compare, are read as a whole
#   useStlAlgorithm     a loop that calls Windows and stops at a failure is plainer than the algorithm
#   normalCheckLevelMaxBranches   is no finding: newer versions say where they stop looking for one
# And of test cases no style: their scopes live by what constructor and destructor do, which cppcheck takes for variables
# that nobody reads; what a test leaves open ends with its program (leakReturnValNotUsed, resourceLeak), and so does a
# test bed that cannot be taken down (throwInNoexceptFunction); a closing call within CHECK is taken for two (deallocuse);
# what a call means to the ledger hides what calls mean to it otherwise (duplInheritedMember); and lists of handles in
# braces are beyond cppcheck's parser, not beyond the two compilers' (internalAstError).
check_cppcheck() {
  local common=(-q -j "$(nproc)" --platform=win64 --library=windows --std=c++17 --inline-suppr --error-exitcode=1
    --suppress=missingIncludeSystem --suppress=constParameter --suppress=LocalAllocCalled
    --suppress=constParameterCallback --suppress=normalCheckLevelMaxBranches
    --suppress=stlcstrAssignment --suppress=unusedStructMember --suppress=useStlAlgorithm
    -I "$root" --include=scripts/cppcheck_doctest.h -DUNICODE -D_UNICODE -D_WIN32 -D_WIN64 -D_WIN32_WINNT=0x0502)
  local code=0
  sources '*.cpp' | grep -v '^tests/' |
    xargs cppcheck "${common[@]}" --enable=warning,style,performance,portability || code=1
  sources '*.cpp' | grep '^tests/' | grep -v '^tests/fuzz/' | xargs cppcheck "${common[@]}" --enable=warning,performance,portability \
    --suppress=leakReturnValNotUsed --suppress=resourceLeak --suppress=throwInNoexceptFunction --suppress=deallocuse \
    --suppress=duplInheritedMember --suppress=internalAstError || code=1
  return "$code"
}

check_clang() {
  sources '*.cpp' '*.h' | grep -v '^tests/fuzz/' | ./scripts/clang_checks.py "${tidy[@]}" "$build" "$demo_tools"
}

# For the flags of every source; nothing need be built.
configure() {
  cmake --preset release -DBUILD_TESTING=ON >/dev/null && ./scripts/demo/configure.sh "$demo_tools" >/dev/null
}

stage 'flags of the sources' configure || exit 1
stage "layout of the text ($format_of_stage)" check_format || true
stage 'shell scripts (shellcheck)' check_shell || true
stage 'workflows (yamllint)' check_workflows || true
stage 'cppcheck' check_cppcheck || true
stage "second compiler (clang)${tidy[*]:+ and clang-tidy}" check_clang || true
print_stages
if stages_failed; then
  exit 1
fi
