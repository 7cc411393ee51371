#!/usr/bin/env bash
# prove.sh [--write] [stage...]
#
# The long proof, for before a release: every Windows call failed on purpose, the process ended at every change, every
# command on every Windows version, every text of the log produced, every line run, small changes to the product caught,
# both commands of the README on bare systems.
# scripts/test.sh holds a short form of most of it. Without names all stages run, in the order below; each is a script in
# scripts/prove/ that leaves its rows in build/prove/<stage>.md. Prints one table and where the time went; exits with 1 if
# a stage found anything or could not run. --write puts the table into docs/proof.md. That wants every stage to have
# found nothing when it last ran; the table tells when that was.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
root=$PWD
rows=$root/build/prove
messages=$rows/messages  # what the tests of the coverage stage write to the log, for the texts stage

# Coverage comes before texts: one run of the tests serves both.
all_stages=(matrix coverage texts undefined fuzz faults deaths mutants newcomer)

# The first line of each is the table's heading.
heading() {
  case $1 in
    matrix) echo 'Every command on every Windows version' ;;
    coverage) echo 'Lines and branches of the product that the tests run' ;;
    texts) echo 'Texts of the run log that the tests produce' ;;
    undefined) echo 'All tests in a build that ends at undefined behaviour' ;;
    fuzz) echo 'Pure logic on the host, with sanitizers, fuzzed' ;;
    faults) echo 'Every Windows call failed, once and from there on' ;;
    deaths) echo 'The process ended at every change of the machine, and the command repeated' ;;
    mutants) echo 'Small changes to the product that the tests catch' ;;
    newcomer) echo 'The two commands of the README in a clone on a bare Debian, nothing else done' ;;
  esac
}

write=false
if [[ ${1:-} == --write ]]; then
  write=true
  shift
fi
stages=("$@")
if ((${#stages[@]} == 0)); then
  stages=("${all_stages[@]}")
fi
for name in "${stages[@]}"; do
  if [[ -z $(heading "$name") ]]; then
    echo "prove.sh: no stage '$name'; there are: ${all_stages[*]}" >&2
    exit 2
  fi
done

./scripts/setup.sh --prove
# shellcheck source=scripts/stages.sh
source scripts/stages.sh

clean_up() {
  trap '' INT TERM HUP
  end_stage
  end_left_prefixes "$root"/build/*/tests/prefix.runs
}
trap clean_up EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

unset DISPLAY WAYLAND_DISPLAY
started=$EPOCHREALTIME
mkdir -p "$rows"
rm -rf "$messages"

stage 'configure (preset release)' cmake --preset release -DBUILD_TESTING=ON || exit 1
stage 'build' cmake --build --preset release -j "$(nproc)" || exit 1
for name in "${stages[@]}"; do
  # Rows of an earlier run would pass for this one's.
  rm -f "$rows/$name.md" "$rows/$name.proven"
  case $name in
    coverage | texts) export VELA_TEST_MESSAGES=$messages ;;
    *) unset VELA_TEST_MESSAGES ;;
  esac
  if stage "$name: $(heading "$name")" "scripts/prove/$name.sh"; then
    echo "$(date -u +%Y-%m-%d), ${stage_seconds[-1]} s" >"$rows/$name.proven"
  fi
done

print_table() {
  local name
  for name in "${all_stages[@]}"; do
    if [[ -f $rows/$name.md ]]; then
      # shellcheck disable=SC2016  # Markdown's backticks
      printf '\n**%s** (`scripts/prove.sh %s`; %s)\n\n' "$(heading "$name")" "$name" \
        "$(cat "$rows/$name.proven" 2>/dev/null || echo 'not proven')"
      cat "$rows/$name.md"
    fi
  done
}

echo
echo "==== what was proven"
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
      echo "prove.sh: docs/proof.md is left alone: $name is not proven" >&2
      exit 1
    fi
  done
  {
    sed '/^<!-- proof begins -->$/q' docs/proof.md
    printf '\nOn %s, with GCC %s and %s, on %s cores; each stage with the day of its run and the time that it took:\n' \
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
