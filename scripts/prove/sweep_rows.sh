# Sourced by faults.sh and deaths.sh: runs the full form of a sweep, one test for each command, and joins the rows that
# the tests leave.
# shellcheck shell=bash

# full_sweep <stage> <tests, by the start of their names> <heading of the table>
#
# Wants build/release to be built. Returns 1 where a test failed, could not run or left no row.
full_sweep() {
  local stage=$1 tests=$2 heading=$3 wanted code=0 file columns
  local rows=build/release/tests/rows out=build/prove/$1.md
  mkdir -p build/prove
  rm -f "$rows/${tests##*.}"*.md "$out"
  wanted=$(ctest --test-dir build/release -N -L full -R "^${tests//./[.]}" | grep -c "$tests") || true
  ctest --test-dir build/release -L full -R "^${tests//./[.]}" -j "$((2 * $(nproc)))" --no-tests=error \
    --output-on-failure || code=1

  local found=()
  for file in "$rows/${tests##*.}"*.md; do
    if [[ -s $file ]]; then
      found+=("$file")
    fi
  done
  if ((${#found[@]} != wanted || wanted == 0)); then
    echo "$stage: $wanted tests left ${#found[@]} rows" >&2
    code=1
  fi
  columns=$(tr -cd '|' <<<"$heading" | wc -c)
  {
    echo "$heading"
    printf '|---'
    printf '|--:%.0s' $(seq $((columns - 2)))
    echo '|'
    if ((${#found[@]} > 0)); then
      cat "${found[@]}"
      awk -F '|' '{ for (i = 3; i < NF; i++) sum[i] += $i; last = NF }
        END { printf "| all |"; for (i = 3; i < last; i++) printf " %d |", sum[i]; print "" }' "${found[@]}"
    fi
  } >"$out"
  echo
  cat "$out"
  return "$code"
}
