#!/bin/bash
# Mutation run: applies each mutation of scripts/mutants.txt to the library's sources, one at a
# time, builds, runs the whole test suite against the mutant and tells whether a test failed
# (killed) or none did (survived). Prints each outcome, the kill rate and the survivors.
#
#   scripts/mutants.sh [ID...]            every mutant, or only the ones named
#   BUILD_DIR=build/mutants               where the mutants are built (configured once, Debug)
#   RESULTS=FILE                          also write "ID<TAB>outcome<TAB>first failing test" lines
#   COMPARE=FILE                          a RESULTS file of an earlier run: fail when a mutant it
#                                         killed survives now
#   TEST_TIMEOUT=120                      seconds a test may run under a mutant (a hang is a kill)
#   ALL_FAILURES=1                        run every test under each mutant and list all that fail
#                                         (which tests kill which mutant), not only the first
#   CMAKE_ARGS="-D..."                    more configure options, for instance a private
#                                         -DEMAILSERVICE_PATH_PREFIX while other tests run
#   TARGETS="a_tests b_tests"             build only these targets, and
#   CTEST_ARGS="-R ..."                   run only these tests: a quick look at part of the suite
#
# The sources are restored after each mutant, also when the run is interrupted. Mutants whose
# note starts with "equivalent:" cannot change behaviour and are left out of the kill rate; a
# mutant whose original text is missing or ambiguous, or that does not compile, is reported as
# such and left out too.
set -euo pipefail

cd "$(dirname "$0")/.."
root=$(pwd)
list="$root/scripts/mutants.txt"
build="${BUILD_DIR:-build/mutants}"
timeout="${TEST_TIMEOUT:-120}"
jobs="$(nproc)"
python=/usr/bin/python3

# Applies mutant $1 in place, keeping the original file in $2; prints the mutated file's path.
apply_mutant() {
  "$python" - "$list" "$1" "$2" <<'PY'
import shutil, sys
listing, wanted, backup = sys.argv[1:4]

def unescape(text):
    out, i = [], 0
    while i < len(text):
        if text[i] == "\\" and i + 1 < len(text) and text[i + 1] in "nt\\":
            out.append({"n": "\n", "t": "\t", "\\": "\\"}[text[i + 1]])
            i += 2
        else:
            out.append(text[i])
            i += 1
    return "".join(out)

for line in open(listing, encoding="utf-8"):
    fields = line.rstrip("\n").split("\t")
    if line.startswith("#") or fields[0] != wanted:
        continue
    path, original, replacement = fields[1], unescape(fields[2]), unescape(fields[3])
    source = open(path, encoding="utf-8").read()
    if source.count(original) != 1:
        sys.exit(f"{wanted}: the original text occurs {source.count(original)} times in {path}")
    shutil.copyfile(path, backup)
    open(path, "w", encoding="utf-8").write(source.replace(original, replacement))
    print(path)
    sys.exit(0)
sys.exit(f"{wanted}: no such mutant")
PY
}

mapfile -t all_ids < <(grep -v '^#' "$list" | grep -v '^[[:space:]]*$' | cut -f1)
ids=("${@:-${all_ids[@]}}")
is_equivalent() { grep -v '^#' "$list" | awk -F'\t' -v id="$1" '$1 == id && $5 ~ /^equivalent:/ { found = 1 } END { exit !found }'; }

mutated=""
backup="$(mktemp)"
restore() {
  if [ -n "$mutated" ]; then
    cp "$backup" "$mutated"
    mutated=""
  fi
}
trap 'restore; rm -f "$backup"' EXIT
trap 'exit 130' INT TERM

# shellcheck disable=SC2086
cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DEMAILSERVICE_BUILD_TESTS=ON ${CMAKE_ARGS:-} >/dev/null
echo "mutants: building and testing the unmutated tree"
# shellcheck disable=SC2086
build_targets() { cmake --build "$build" -j "$jobs" ${TARGETS:+--target $TARGETS}; }
cmake --build "$build" -j "$jobs" >/dev/null
# shellcheck disable=SC2086
if ! ctest --test-dir "$build" -j "$jobs" --timeout "$timeout" ${CTEST_ARGS:-} >/dev/null; then
  echo "mutants: the suite fails without any mutant; fix that first" >&2
  exit 2
fi

results=()
killed=0
counted=0
survivors=()
for id in "${ids[@]}"; do
  start=$SECONDS
  if ! mutated=$(apply_mutant "$id" "$backup" 2>/tmp/mutant-error); then
    mutated=""
    outcome="invalid"
    detail=$(cat /tmp/mutant-error)
  elif ! build_targets >/dev/null 2>&1; then
    outcome="stillborn"
    detail="does not compile"
  else
    rm -f "$build/Testing/Temporary/LastTestsFailed.log"
    stop="--stop-on-failure"
    [ -n "${ALL_FAILURES:-}" ] && stop=""
    # shellcheck disable=SC2086
    if ctest --test-dir "$build" -j "$jobs" --timeout "$timeout" $stop ${CTEST_ARGS:-} >/dev/null 2>&1; then
      outcome="survived"
      detail=""
    else
      outcome="killed"
      detail=$(cut -d: -f2- "$build/Testing/Temporary/LastTestsFailed.log" 2>/dev/null | paste -sd' ' || true)
    fi
  fi
  restore
  if is_equivalent "$id"; then
    [ "$outcome" = "survived" ] && outcome="equivalent"
  elif [ "$outcome" = "killed" ] || [ "$outcome" = "survived" ]; then
    counted=$((counted + 1))
    if [ "$outcome" = "killed" ]; then
      killed=$((killed + 1))
    else
      survivors+=("$id")
    fi
  fi
  printf '%-4s %-10s %4ss  %s\n' "$id" "$outcome" "$((SECONDS - start))" "$detail"
  results+=("$id	$outcome	$detail")
done

# Leave the build as the sources are.
cmake --build "$build" -j "$jobs" >/dev/null 2>&1 || true

if [ -n "${RESULTS:-}" ]; then
  printf '%s\n' "${results[@]}" >"$RESULTS"
fi
echo "mutants: killed $killed of $counted ($((counted > 0 ? killed * 100 / counted : 0)) %)"
echo "mutants: survivors: ${survivors[*]:-none}"

if [ -n "${COMPARE:-}" ]; then
  lost=()
  while IFS=$'\t' read -r id outcome _; do
    if [ "$outcome" = "killed" ] && printf '%s\n' "${results[@]}" | grep -q "^$id	survived"; then
      lost+=("$id")
    fi
  done <"$COMPARE"
  if [ "${#lost[@]}" -gt 0 ]; then
    echo "mutants: killed in $COMPARE but surviving now: ${lost[*]}" >&2
    exit 1
  fi
  echo "mutants: every mutant killed in $COMPARE is killed"
fi
