#!/bin/sh
# Checks the library that the card-armhf preset built, the one that goes onto the card: it needs no
# simulated card, the oldest glibc that its symbol versions ask for is the one the README states,
# and stripped it stays within the card's 48 KiB.
# Usage: check-card-library.sh [BUILD_DIR]   (default: build/card-armhf)
set -eu

cd "$(dirname "$0")/.."
build=${1:-build/card-armhf}
library=$build/src/libemailService.so.1.0.0
limit=49152
me=check-card-library.sh

fail() {
  echo "$me: $*" >&2
  exit 1
}

readelf -d "$library" | grep -q 'NEEDED.*simcard' && fail "the card's library needs the simulated card"

floor=$(readelf -W --version-info "$library" | grep -o 'GLIBC_[0-9][0-9.]*' | sed 's/^GLIBC_//' | sort -uV | tail -n 1)
stated=$(sed -n 's/.*Oldest C library: glibc \([0-9][0-9.]*[0-9]\).*/\1/p' README.md | head -n 1)
[ "$floor" = "$stated" ] || fail "the library needs glibc $floor but the README states glibc ${stated:-nothing}"

strip=$(sed -n 's/^CMAKE_STRIP:FILEPATH=//p' "$build/CMakeCache.txt")
"$strip" -o "$build/libemailService.stripped.so" "$library"
size=$(wc -c <"$build/libemailService.stripped.so")
echo "$me: oldest glibc $floor; stripped size $size bytes (limit $limit)"
[ "$size" -le "$limit" ] || fail "the stripped library is $size bytes, over the card's $limit"
