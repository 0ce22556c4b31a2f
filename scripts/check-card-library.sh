#!/bin/sh
# Checks the card's files as the documented install gives them: the Runtime component of a card
# build, installed stripped into BUILD_DIR/card-image. Each library there
# - needs no simulated card;
# - holds none of the card's paths (work directory, log directory, measures directories) under
#   another directory, as a build with a host path prefix would;
# - is stripped and within its budget;
# and the newest glibc symbol version they need is the floor that README.md states.
# Prints each library's stripped size and the glibc floor.
# Usage: check-card-library.sh [BUILD_DIR]   (default: build/card-armhf)
set -eu

cd "$(dirname "$0")/.."
build=${1:-build/card-armhf}
me=check-card-library.sh

fail() {
  echo "$me: $*" >&2
  exit 1
}

# The most a stripped library may weigh on the card's flash, in bytes.
budget() {
  case $1 in
    libemailService.so.*) echo 45056 ;;
    libemailServiceCheck.so.*) echo 32768 ;;
    *) fail "$1 has no size budget: give it one in $me" ;;
  esac
}

image=$(cd "$build" && pwd)/card-image
rm -rf "$image"
cmake --install "$build" --component Runtime --strip --prefix "$image" >/dev/null
libraries=$(find "$image" -type f -name 'lib*.so.*' | sort)
printf '%s\n' "$libraries" | grep -q '/libemailService\.so\.' || fail "the Runtime component holds no libemailService"

floor=0
for library in $libraries; do
  name=$(basename "$library")
  readelf -d "$library" | grep -q 'NEEDED.*simcard' && fail "$name needs the simulated card"
  prefixed=$(strings -a "$library" | grep -E '[^[:space:]"'\'']/(tmp/emailService|flash/log|tmp/logMeasures)' || true)
  [ -z "$prefixed" ] || fail "$name holds card paths under another directory (built with a path prefix?): $prefixed"
  readelf -S "$library" | grep -q '\.symtab' && fail "$name is installed unstripped"
  size=$(wc -c <"$library")
  limit=$(budget "$name")
  echo "$me: $name: $size bytes stripped (budget $limit)"
  [ "$size" -le "$limit" ] || fail "$name is $size bytes stripped, over its budget of $limit"
  needs=$(readelf -W --version-info "$library" | grep -o 'GLIBC_[0-9][0-9.]*' | sed 's/^GLIBC_//')
  floor=$(printf '%s\n' "$floor" "$needs" | sort -uV | tail -n 1)
done

stated=$(sed -n 's/.*Oldest C library: glibc \([0-9][0-9.]*[0-9]\).*/\1/p' README.md | head -n 1)
echo "$me: oldest glibc $floor"
[ "$floor" = "$stated" ] || fail "the libraries need glibc $floor but README.md states glibc ${stated:-nothing}"
