#!/usr/bin/env bash
# prove.sh [--write] [stage...]
#
# The long proof, for before a release; scripts/test.sh contains a short form of most of it. Without names, all stages
# run, in the order below. Prints the rows of each (build/prove/<stage>.md) and the times. Exits with 1 if a stage found
# something or could not run. --write puts the rows into docs/proof.md, if the last run of every stage found nothing.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
rows=$root/build/prove
messages=$rows/messages  # what the tests of the coverage stage write to the log, for the texts stage

declare -A headings=(
  [matrix]='Every command on every Windows version'
  [crossed]='The matrix on both Debians, on each with the programs of both compilers'
  [coverage]='Lines and branches of the product that the tests run'
  [texts]='Texts of the run log that the tests produce'
  [undefined]='All tests in a build that ends at undefined behaviour'
  [fuzz]='Pure logic on the host, with sanitizers, fuzzed'
  [faults]='Every Windows call failed, once and from there on'
  [memory]='Memory runs out: every allocation failed, once and from there on'
  [deaths]='The process ended at every change of the machine, and the command repeated'
  [power]='The program ended from outside at any instant, and the command repeated'
  [pairs]='Two commands at the same moment on two processors'
  [lives]='A thousand lives on one machine'
  [large]='Large worlds: the cost of each item, and the memory'
  [mutants]='Small changes to the product that the tests catch'
  [newcomer]='The two commands of the README in a clone on a bare Debian, nothing else done'
)
# The stages texts and undefined use the run of the stage coverage.
all_stages=(matrix crossed coverage texts undefined fuzz faults memory deaths power pairs lives large mutants newcomer)

write=false
if [[ ${1:-} == --write ]]; then
  write=true
  shift
fi
if (($# == 0)); then
  set -- "${all_stages[@]}"
fi
for name; do
  if [[ -z ${headings[$name]:-} ]]; then
    echo "prove.sh: unknown stage '$name'; the stages are: ${all_stages[*]}" >&2
    exit 2
  fi
done

./scripts/setup.sh --prove
# shellcheck source=scripts/stages.sh
source scripts/stages.sh

clean_up() {
  end_stage
  end_left_prefixes "$root"/build/*/tests/prefix.runs
}
clean_up_at_exit clean_up
started=$EPOCHREALTIME
mkdir -p "$rows"
rm -rf "$messages"

stage 'configure (preset release)' cmake --preset release -DBUILD_TESTING=ON || exit 1
stage 'build' cmake --build --preset release -j "$(nproc)" || exit 1
for name; do
  rm -f "$rows/$name.proven"
  case $name in
    coverage | texts) export VELA_TEST_MESSAGES=$messages ;;
    *) unset VELA_TEST_MESSAGES ;;
  esac
  if stage "$name: ${headings[$name]}" scripts/prove/stage.sh "$name"; then
    echo "$(date -u +%Y-%m-%d), ${stage_seconds[-1]} s, of $(git describe --always --dirty)" >"$rows/$name.proven"
  fi
done

print_table() {
  local name
  for name in "${all_stages[@]}"; do
    [[ -f $rows/$name.md ]] || continue
    # shellcheck disable=SC2016  # Markdown's backticks
    printf '\n**%s** (`scripts/prove.sh %s`; %s)\n\n' "${headings[$name]}" "$name" \
      "$(cat "$rows/$name.proven" 2>/dev/null || echo 'not proven')"
    cat "$rows/$name.md"
  done
}

printf '\n==== results of the last runs\n'
print_table
print_stages
echo "  $(seconds_since "$started") s in all"
if stages_failed; then
  echo "FAILED"
  exit 1
fi
if $write; then
  for name in "${all_stages[@]}"; do
    if [[ ! -f $rows/$name.proven ]]; then
      echo "prove.sh: docs/proof.md is unchanged: the stage $name has not passed" >&2
      exit 1
    fi
  done
  {
    sed '/^<!-- proof begins -->$/q' docs/proof.md
    printf '\nOn %s, with GCC %s and %s, on %s cores; each stage with the day of its run, its time and the commit:\n' \
      "$(. /etc/os-release && echo "${NAME%% *} $VERSION_ID")" "$(x86_64-w64-mingw32-g++-win32 -dumpversion | sed 's/-.*//')" \
      "$(WINEDEBUG=-all wine --version)" "$(nproc)"
    print_table
    echo
    sed -n '/^<!-- proof ends -->$/,$p' docs/proof.md
  } >build/prove/proof.md
  cp build/prove/proof.md docs/proof.md
  echo "docs/proof.md: written"
fi
echo "PROVEN"
