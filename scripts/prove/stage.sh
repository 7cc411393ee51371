#!/usr/bin/env bash
# stage.sh <stage> [argument...]
#
# One stage of scripts/prove.sh, which builds build/release first. The rows go to build/prove/<stage>.md. Exits with 1 if
# the stage found something or could not run.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/../.."
root=$PWD
stage=$1
shift
rows=$root/build/prove/$stage.md
jobs=$((2 * $(nproc)))
whole_output=(--test-output-size-passed 1000000)  # ctest keeps 1024 bytes; Wine 10's regsvr32 writes more
code=0
mkdir -p build/prove
rm -f "$rows"  # rows of an earlier run must not pass for this one's
./scripts/setup.sh --prove
unset DISPLAY WAYLAND_DISPLAY VELA_REGENERATE VELA_FAULTS_STRIDE VELA_DEATHS_STRIDE
# VELA_ENDURANCE_SEED stays: it repeats the instants of an earlier run of the stage power.

# Every command on every Windows that Wine can imitate, with both code pages, as an administrator and an ordinary user.
matrix() {
  rm -f build/prove/matrix.xml
  ctest --preset release -L matrix -j "$jobs" --no-tests=error "${whole_output[@]}" \
    --output-junit "$root/build/prove/matrix.xml" || code=1
  python3 scripts/prove/matrix_rows.py build/prove/matrix.xml "$rows" || code=1
}

# The matrix on Debian 12 and 13, on each with the programs of both compilers: the same texts. This machine is one of
# the two. The other is made, or it is the root folder VELA_OTHER_SYSTEM.
crossed() {
  local here other=trixie inside folder where wine maker makers=()
  # shellcheck disable=SC2016  # expanded by the shell of each system
  local play='VELA_TEST_PRODUCT=Z:$PWD/build/crossed/$1 ctest --preset release -L matrix --no-tests=error \
    --output-junit "$PWD/build/crossed/$1.xml" "${@:2}"'
  here=$(. /etc/os-release && echo "${VERSION_CODENAME:-}")
  [[ $here != trixie ]] || other=bookworm
  # shellcheck source=scripts/newcomer.sh
  source scripts/newcomer.sh "$other"
  [[ $here =~ ^(bookworm|trixie)$ ]] || cannot "this machine is neither Debian 12 nor 13"
  system=${VELA_OTHER_SYSTEM:-$system}
  inside=$system/srv/velautil
  [[ ! -e $inside ]] || cannot "$inside exists"
  leave() {
    clean_up
    rm -rf "$system/srv/velautil"
  }
  clean_up_at_exit leave
  mkdir -p "$work"
  make_system
  # shellcheck disable=SC2016  # expanded within
  run_inside bash -c './scripts/setup.sh && cmake --preset release -DBUILD_TESTING=ON >/dev/null &&
    cmake --build --preset release -j "$(nproc)" --target VELAutil matrix.play fixtures'
  rm -rf build/crossed
  for where in env run_inside; do
    folder=$([[ $where == env ]] || echo "$inside/")build/release
    maker=$("$where" x86_64-w64-mingw32-g++-win32 -dumpversion)
    makers+=("gcc-${maker%%-*}")
    mkdir -p {.,"$inside"}/build/crossed/"${makers[-1]}"
    cp "$folder/VELAutil.exe" "build/crossed/${makers[-1]}"
    cp "$folder/VELAutil.exe" "$inside/build/crossed/${makers[-1]}"
  done
  if cmp "build/crossed/${makers[0]}/VELAutil.exe" "build/crossed/${makers[1]}/VELAutil.exe" >/dev/null; then
    echo "$stage: the programs of both systems are the same file"
    exit 1
  fi
  printf '%s\n' '| Wine | Compiler | Program | Runs | Differ |' '|---|---|---|--:|--:|' >"$rows"
  for where in env run_inside; do
    folder=$([[ $where == env ]] || echo "$inside/")build/crossed
    wine=$("$where" env WINEDEBUG=-all wine --version)
    for maker in "${makers[@]}"; do
      "$where" bash -c "$play" bash "$maker" -j "$jobs" "${whole_output[@]}" || code=1
      # Every run must be of this program.
      python3 scripts/prove/matrix_rows.py "$folder/$maker.xml" "$rows" "${wine%% *} | $maker" \
        "build/crossed/$maker/VELAutil.exe" || code=1
    done
  done
  cat "$rows"
}

# The tests produce every message, and no other one. If the folder VELA_TEST_MESSAGES contains a run of the whole suite,
# that run is used. Otherwise a new run is made.
texts() {
  local messages=${VELA_TEST_MESSAGES:-$root/build/prove/messages}
  if [[ -z ${VELA_TEST_MESSAGES:-} ]]; then
    rm -rf "$messages"
  fi
  if ! compgen -G "$messages/*.log" >/dev/null; then
    cmake --preset release -DBUILD_TESTING=ON >/dev/null
    cmake --build --preset release -j "$(nproc)"
    VELA_TEST_MESSAGES=$messages ctest --preset release -LE full -j "$jobs" --no-tests=error || code=1
  fi
  ./scripts/messages.py census --produced "$messages" --report "$rows" || code=1
}

# ---- the build that counts lines and traps undefined behaviour

counted=build/coverage

# must_end <what> <exit code>: a build without traps would pass every test, so this checks that a trap works.
must_end() {
  local ended=0
  tests/support/run_in_prefix.sh "$counted/tests/prefix" "$counted/tests/fixtures/Misbehaving.exe" "$1" >/dev/null 2>&1 ||
    ended=$?
  if ((ended != $2)); then
    echo "the build does not trap the error '$1' (exit code $ended, not $2)"
    exit 1
  fi
}

# Runs all tests in it. Leaves counts/ (a folder for each run, because programs with different Wine servers do not see
# each other's locks), tests.log, tests.xml, and tests.code, the exit code of ctest.
run_counted() {
  local done_already=$counted/tests.code
  rm -rf "$done_already" "$counted/counts"
  mkdir -p "$counted/counts"
  touch "$counted/run.started"
  cmake --preset coverage -DBUILD_TESTING=ON >/dev/null
  cmake --build --preset coverage -j "$(nproc)"
  tests/support/make_prefix.sh "$counted/tests/prefix" >/dev/null
  must_end overflow 29  # the low byte of 0xC000001D, an illegal instruction
  must_end beyond 3     # abort()
  # The sweeps (faults) need exactly the code that the compiler makes for a release. A program that is ended while it
  # writes its counts (endurance) would leave counts that nobody can read.
  VELA_TEST_COUNTS=$root/$counted/counts ctest --preset coverage -j "$jobs" -LE '^(full|faults|endurance)$' --no-tests=error \
    --quiet -O "$root/$counted/tests.log" --output-junit "$root/$counted/tests.xml" || code=$?
  sed -n '/tests passed/,$p' "$counted/tests.log"
  echo "$code" >"$done_already"
  if ((code != 0)); then
    echo "$stage: tests failed; $counted/tests.log has the messages"
  fi
}

coverage() {
  run_counted
  ./tests/coverage/report_coverage.py "$counted" "$counted/counts" "$rows" || code=1
}

count() { sed -n "s/^[ \t]*$1=\"\([0-9]*\)\".*/\1/p" "$counted/tests.xml" | head -n 1; }

# A run of the last three hours is used, if no source is newer.
undefined() {
  local newer traps assertions
  newer=$(find . \( -path './build*' -o -path ./.git -o -path ./docs -o -name __pycache__ \) -prune -o \
    -type f -newer "$counted/run.started" -print -quit 2>/dev/null) || true
  if [[ -n $newer || -z $(find "$counted/tests.code" -mmin -180 2>/dev/null) ]]; then
    run_counted
  fi
  code=$(<"$counted/tests.code")
  # Wine reports the crash of a test program. For a program that a test started, the test reports the exit code.
  traps=$(grep -aciE 'illegal instruction|c000001d|3221225501|1073741795' "$counted/tests.log") || true
  assertions=$(grep -ac 'Assertion .* failed' "$counted/tests.log") || true
  {
    echo '| Tests | Failed | Skipped | Ended at undefined behaviour | Ended at a library assertion |'
    echo '|---|---|---|---|---|'
    echo "| $(count tests) | $(count failures) | $(count skipped) | $traps | $assertions |"
  } >"$rows"
  cat "$rows"
  ((code + traps + assertions == 0)) || code=1
}

# ---- sweeps: the full form, one test for each command

# sweep <tests, by the start of their names> <heading of the table>: joins the rows that the tests write.
sweep() {
  local tests=$1 heading=$2 wanted found
  local left=build/release/tests/rows/${tests##*.}
  rm -f "$left"*.md "$left"*.md.uses
  wanted=$(ctest --test-dir build/release -N -L full -R "^${tests//./[.]}" | grep -c "$tests") || true
  ctest --test-dir build/release -L full -R "^${tests//./[.]}" -j "$jobs" --no-tests=error --output-on-failure || code=1
  found=$(find build/release/tests/rows -name "${tests##*.}*.md" -size +0 | wc -l)
  if ((found != wanted || wanted == 0)); then
    echo "$stage: $wanted tests ran, $found of them wrote a result row" >&2
    code=1
  fi
  {
    echo "$heading"
    sed 's/[^|]//g; s/|/|--:/g; s/^|--:/|---/; s/--:$//' <<<"$heading"
    cat "$left"*.md
    [[ $stage == lives ]] || awk -F '|' '{ for (i = 3; i < NF; i++) sum[i] += $i; last = NF }
      END { printf "| all |"; for (i = 3; i < last; i++) printf " %d |", sum[i]; print "" }' "$left"*.md
  } >"$rows" || code=1
  cat "$rows"
}

# Each Windows call fails: alone with every error in the table, and once with every later call.
faults() {
  sweep faults.full.sweep '| Command | Calls that can fail | One fails | With all later ones | Verdict silent by design | Runs with findings |'
  # An exception that no run needs any more would hide the next fault.
  local unused
  unused=$(awk '{ row = substr($0, index($0, " ")); uses[row] += $1 }
    END { for (row in uses) if (uses[row] == 0) print "  unused:" row }' build/release/tests/rows/sweep*.md.uses) || code=1
  if [[ -n $unused ]]; then
    printf '%s: exceptions in tests/faults/VerdictChecks.cpp that no run uses:\n%s\n' "$stage" "$unused" >&2
    code=1
  fi
}

# Each allocation fails: alone, and once with every later one.
memory() {
  sweep faults.full.memory '| Command | Allocations | Runs | Ended with 0xE0FF0002 | Ended before the first line | Runs with findings |'
}

# The process ends at each change of install, upgrade and uninstall. Then the same command runs again, and files and
# registry must be as after one undisturbed run.
deaths() {
  sweep faults.full.deaths '| Command | Changes | Deaths | Left an intended difference | Deaths with findings |'
}

# ---- the real program, for long (tests/endurance)

power() {
  sweep endurance.full.power '| Command | Times ended | Hit the running program | Hit again when repeated | Left an intended difference | Runs with findings |'
}

pairs() {
  sweep endurance.full.pairs '| Command, with itself and each later one | Rounds | Really at the same time | Left an intended mixture | Lines of the log cut | Lines lost or replaced | Rounds with findings |'
}

lives() {
  sweep endurance.full.lives '| Lives | Number | Requests of the first | Of the second | Of the last | Bytes of the log of the second | Of the last | Lives with findings |'
}

# ---- others

# Worlds and logs of full size: one table of each part.
large() {
  local part left=build/release/tests/rows/large_
  rm -f "$left"*.md
  ctest --test-dir build/release -L full -R '^large[.]full[.]' -j "$jobs" --no-tests=error --output-on-failure || code=1
  for part in worlds reading appending; do
    cat "$left$part.md" || code=1
    echo
  done >"$rows"
  sed -i '$d' "$rows"  # the last empty line
  cat "$rows"
}

# fuzz [seconds]
fuzz() {
  rm -f build/fuzz/rows.txt
  ./scripts/fuzz.sh "${1:-180}" || code=$?
  {
    echo '| Fuzzer | Executions | Edges reached | Findings |'
    echo '|---|---|---|---|'
    sort build/fuzz/rows.txt | sed 's/ / | /g; s/.*/| & |/'
  } >"$rows"
}

# mutants [option of scripts/mutants.py...]
mutants() {
  nice python3 scripts/mutants.py "$@" || code=$?
}

# The two commands of the README in a clone of HEAD on a bare system of each release.
newcomer() {
  local release row
  # shellcheck disable=SC2016  # Markdown's backticks
  printf '%s\n' '| Debian | GCC | Wine | `demo.sh` | `test.sh` | Tests |' '|---|---|---|---|---|---|' >"$rows"
  for release in bookworm trixie; do
    row=build/newcomer/$release.row
    rm -f "$row"
    ./scripts/newcomer.sh "$release" || code=1
    cat "$row" 2>/dev/null >>"$rows" || echo "| $release | | | not run | not run | none |" >>"$rows"
  done
}

"$stage" "$@"
exit "$code"
