#!/bin/sh
# Builds the libFuzzer targets (clang, AddressSanitizer + UndefinedBehaviorSanitizer) in
# build/fuzz and runs each of them for SECONDS (default 600), one after the other.
#
#   scripts/fuzz.sh [SECONDS]
#   TARGETS="subject tail" scripts/fuzz.sh 60     # a subset
#   RUNS=10000000 scripts/fuzz.sh 3600             # stop each target after RUNS executions
#
# The card's directories of the fuzz build are under /dev/shm (memory), which keeps the file work of
# the log cut and the whole call cheap. Each run starts from the committed seeds (fuzz/corpus/<target>/) and keeps what it finds in
# build/fuzz/corpus-<target>/. An input that breaks a property is saved as
# build/fuzz/artifacts/<target>-crash-* (copy it into fuzz/corpus/<target>/ once fixed: the
# normal tests replay it from then on). The figures of every run (executions, time, executions
# per second) are printed at the end and kept in build/fuzz/fuzz-<target>.log.
set -eu

cd "$(dirname "$0")/.."
scripts/install-deps.sh tools
seconds="${1:-600}"
targets="${TARGETS:-subject tail whole_call check}"
build=build/fuzz

cmake -S . -B "$build" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DEMAILSERVICE_BUILD_FUZZERS=ON -DEMAILSERVICE_BUILD_TESTS=OFF \
  -DEMAILSERVICE_PATH_PREFIX=/dev/shm/emailservice-fuzz
for target in $targets; do
  cmake --build "$build" -j "$(nproc)" --target "fuzz_$target"
done

mkdir -p "$build/artifacts"
status=0
for target in $targets; do
  mkdir -p "$build/corpus-$target"
  echo "=== fuzz_$target for $seconds s"
  # The card's command stand-ins come first on the PATH, as for the tests.
  if ! PATH="$PWD/$build/simcard-bin:$PATH" "$build/fuzz/fuzz_$target" \
      -max_total_time="$seconds" ${RUNS:+-runs=$RUNS} -timeout=10 -print_final_stats=1 \
      -artifact_prefix="$build/artifacts/$target-" \
      "$build/corpus-$target" "fuzz/corpus/$target" >"$build/fuzz-$target.log" 2>&1; then
    echo "fuzz_$target found a problem: see $build/fuzz-$target.log"
    status=1
  fi
done

echo "=== figures"
for target in $targets; do
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$build/fuzz-$target.log" | tail -n 1)
  rate=$(sed -n 's/^stat::average_exec_per_sec: *//p' "$build/fuzz-$target.log" | tail -n 1)
  time=$(sed -n 's/.*Done [0-9]* runs in \([0-9]*\) second.*/\1/p' "$build/fuzz-$target.log" | tail -n 1)
  echo "fuzz_$target: ${runs:-?} executions in ${time:-?} s, ${rate:-?} executions/s"
done
exit "$status"
