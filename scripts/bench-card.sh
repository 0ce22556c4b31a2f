#!/bin/bash
# Figures of the date cut of a system log (SystemEventLogFile::tailFromDate), side by side for
# logs of 10 and 100 MiB (generated, lines of about 118 bytes, in the page cache), in one run:
# - the scan's instructions per byte: callgrind, Release build, a cut whose start time is after
#   the last line (every stamp read, nothing kept), counted inside the cut only;
# - the CPU time (user + system) of a cut from the middle (half scanned, half copied), and as a
#   ratio of the CPU time of `cp` of the whole log;
# - the CPU time of the scan to the end against a getline + strptime + timegm loop over the same
#   log (the reference's time over the scan's);
# - the cut from the middle under qemu-arm, the armhf library built as for the card (-Os), and
#   the armhf `cp` of Debian's coreutils from the armhf sysroot, also under qemu-arm.
# Times are of whole processes, the least of RUNS runs (default 5), since other work on the
# machine only adds. Ratios are given as measured and net of each program's start-up (the driver
# doing nothing, `cp` of an empty file): the library runs in a process that has started long before.
#
#   scripts/bench-card.sh                  build what is missing, then measure
#   RUNS=9 SIZES="100" scripts/bench-card.sh
#
# It builds build/benchmark (preset "benchmark") and build/bench-armhf (the armhf toolchain of
# preset "test-armhf", MinSizeRel), makes the armhf sysroot when it has no `cp`, and keeps the
# simulated card's log and copies under build/bench-card.
set -euo pipefail

cd "$(dirname "$0")/.."
root=$(pwd)
runs=${RUNS:-5}
sizes=${SIZES:-10 100}
card=$root/build/bench-card
sysroot=${EMAILSERVICE_ARMHF_SYSROOT:-$root/build/sysroot-armhf}
bench=$root/build/benchmark/benchmarks/logCut_benchmark
bench_armhf=$root/build/bench-armhf/benchmarks/logCut_benchmark
log=$card/flash/log/logSystem.csv
me=bench-card.sh

scripts/install-deps.sh tools >&2
echo "$me: building" >&2
[ -x "$sysroot/bin/cp" ] || scripts/make-armhf-sysroot.sh "$sysroot" >&2
cmake --preset benchmark -DEMAILSERVICE_PATH_PREFIX="$card" >/dev/null
cmake --build --preset benchmark -j2 --target logCut_benchmark >/dev/null
cmake --preset test-armhf -B build/bench-armhf -DEMAILSERVICE_BUILD_TESTS=OFF -DEMAILSERVICE_BUILD_BENCHMARKS=ON \
  -DEMAILSERVICE_PATH_PREFIX="$card" -DEMAILSERVICE_ARMHF_SYSROOT="$sysroot" >/dev/null
cmake --build build/bench-armhf -j2 --target logCut_benchmark >/dev/null

# The least CPU time (user + system, in seconds, to the tenth of a millisecond) of $runs runs of
# a command.
cpu() {
  /usr/bin/python3 - "$runs" "$@" <<'PY'
import resource, subprocess, sys
best = None
for _ in range(int(sys.argv[1])):
    before = resource.getrusage(resource.RUSAGE_CHILDREN)
    subprocess.run(sys.argv[2:], stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
    after = resource.getrusage(resource.RUSAGE_CHILDREN)
    used = after.ru_utime - before.ru_utime + after.ru_stime - before.ru_stime
    best = used if best is None else min(best, used)
print(f"{best:.4f}")
PY
}

ratio() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.2f", (b > 0 ? a / b : 0) }'; }
# A CPU time less a start-up time.
net() { awk -v a="$1" -v b="$2" 'BEGIN { printf "%.4f", a - b }'; }

# Instructions per byte of the cut from `$1` of a log of `$2` bytes, counted inside the cut only.
instructions_per_byte() {
  local out=$card/callgrind.out
  valgrind --tool=callgrind --callgrind-out-file="$out" \
    --toggle-collect='emailservice::SystemEventLogFile::tailFromDate*' "$bench" cut "$1" >/dev/null 2>&1
  awk -v bytes="$2" '/^summary:/ { printf "%.2f", $2 / bytes }' "$out"
}

declare -A figure
mkdir -p "$card"
: >"$card/empty"
# Each program's start-up: the driver doing nothing, `cp` of an empty file.
figure[start,all]=$(cpu "$bench" none 0)
figure[cpstart,all]=$(cpu cp "$card/empty" "$card/cp-copy.csv")
figure[qstart,all]=$(cpu qemu-arm -L "$sysroot" "$bench_armhf" none 0)
figure[qcpstart,all]=$(cpu qemu-arm -L "$sysroot" "$sysroot/bin/cp" "$card/empty" "$card/cp-copy.csv")
for size in $sizes; do
  echo "$me: $size MiB" >&2
  read -r bytes middle after < <("$bench" generate "$size")
  cat "$log" >/dev/null
  figure[ipb,$size]=$(instructions_per_byte "$after" "$bytes")
  figure[cut,$size]=$(cpu "$bench" cut "$middle")
  figure[cp,$size]=$(cpu cp "$log" "$card/cp-copy.csv")
  figure[scan,$size]=$(cpu "$bench" cut "$after")
  figure[reference,$size]=$(cpu "$bench" reference "$after")
  figure[qcut,$size]=$(cpu qemu-arm -L "$sysroot" "$bench_armhf" cut "$middle")
  figure[qcp,$size]=$(cpu qemu-arm -L "$sysroot" "$sysroot/bin/cp" "$log" "$card/cp-copy.csv")
  for key in cut scan reference; do figure[net$key,$size]=$(net "${figure[$key,$size]}" "${figure[start,all]}"); done
  figure[netcp,$size]=$(net "${figure[cp,$size]}" "${figure[cpstart,all]}")
  figure[netqcut,$size]=$(net "${figure[qcut,$size]}" "${figure[qstart,all]}")
  figure[netqcp,$size]=$(net "${figure[qcp,$size]}" "${figure[qcpstart,all]}")
  rm -f "$card/cp-copy.csv"
done

row() {
  local label=$1 key=$2 size
  printf '%-60s' "$label"
  for size in $sizes; do printf '%10s' "${figure[$key,$size]}"; done
  printf '\n'
}
row_ratio() {
  local label=$1 over=$2 under=$3 size
  printf '%-60s' "$label"
  for size in $sizes; do printf '%10s' "$(ratio "${figure[$over,$size]}" "${figure[$under,$size]}")"; done
  printf '\n'
}

printf '%-60s' "log size (MiB)"
for size in $sizes; do printf '%10s' "$size"; done
printf '\n'
row "scan: instructions per byte (callgrind, x86-64 Release)" ipb
row "cut from the middle: CPU s" cut
row "cp of the log: CPU s" cp
row_ratio "cut from the middle / cp" cut cp
row_ratio "cut from the middle / cp, net of start-up" netcut netcp
row "scan to the end: CPU s" scan
row "getline + strptime reference: CPU s" reference
row_ratio "reference / scan, net of start-up: speed-up" netreference netscan
row "qemu-arm, armhf -Os: cut from the middle: CPU s" qcut
row "qemu-arm: armhf cp of the log: CPU s" qcp
row_ratio "qemu-arm: cut from the middle / cp" qcut qcp
row_ratio "qemu-arm: cut from the middle / cp, net of start-up" netqcut netqcp
printf 'start-up, CPU s: driver %s, cp %s; under qemu-arm: driver %s, cp %s\n' \
  "${figure[start,all]}" "${figure[cpstart,all]}" "${figure[qstart,all]}" "${figure[qcpstart,all]}"
