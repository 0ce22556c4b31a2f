#!/bin/sh
# Checks the card's files as the documented install gives them: the Runtime component of a card
# build, installed stripped into BUILD_DIR/card-image. Each library there
# - is a 32-bit ARM ELF file (a build with the host's compiler gives the host's machine);
# - needs no simulated card;
# - holds none of the card's paths (work directory, log directory, measures directories) under
#   another directory, as a build with a host path prefix would;
# - is stripped, and what the card loads of it is within its budget: the bytes of its loaded
#   segments (code and read-only data, then writable data, as the program headers give them), not
#   the file's size, which adds the padding between the segments that the linker's flags
#   (-z relro, -z now, -O1) move;
# and the glibc they need, the newest glibc symbol version they use, is printed: the oldest C
# library the card may have.
# Prints each library's loaded size and budget and the glibc floor.
# Usage: check-card-library.sh [BUILD_DIR]   (default: build/card-armhf)
set -eu

cd "$(dirname "$0")/.."
build=${1:-build/card-armhf}
me=check-card-library.sh

fail() {
  echo "$me: $*" >&2
  exit 1
}

# The most that the card may load of a library, in bytes: the size with the flags of a generated
# SDK (docs/card-build.md, "The card's files") and room for some growth.
budget() {
  case $1 in
    libemailService.so.*) echo 49152 ;;
    libemailServiceCheck.so.*) echo 30720 ;;
    *) fail "$1 has no size budget: give it one in $me" ;;
  esac
}

# The sum of the file sizes of the LOAD segments of ELF file $1.
loaded_bytes() {
  total=0
  for bytes in $(readelf -lW "$1" | awk '$1 == "LOAD" { print $5 }'); do
    total=$((total + bytes))
  done
  echo "$total"
}

image=$(cd "$build" && pwd)/card-image
rm -rf "$image"
cmake --install "$build" --component Runtime --strip --prefix "$image" >/dev/null
libraries=$(find "$image" -type f -name 'lib*.so.*' | sort)
printf '%s\n' "$libraries" | grep -q '/libemailService\.so\.' || fail "the Runtime component holds no libemailService"

floor=0
for library in $libraries; do
  name=$(basename "$library")
  machine=$(readelf -h "$library" | sed -n 's/^ *Machine: *//p')
  class=$(readelf -h "$library" | sed -n 's/^ *Class: *//p')
  [ "$machine/$class" = "ARM/ELF32" ] ||
    fail "$name is built for $machine ($class), not the card's 32-bit ARM: build with the card SDK's compiler (docs/card-build.md)"
  readelf -d "$library" | grep -q 'NEEDED.*simcard' && fail "$name needs the simulated card"
  prefixed=$(strings -a "$library" | grep -E '[^[:space:]"'\'']/(tmp/emailService|flash/log|tmp/logMeasures)' || true)
  [ -z "$prefixed" ] || fail "$name holds card paths under another directory (built with a path prefix?): $prefixed"
  readelf -S "$library" | grep -q '\.symtab' && fail "$name is installed unstripped"
  size=$(loaded_bytes "$library")
  limit=$(budget "$name")
  echo "$me: $name: $size bytes loaded (budget $limit; the stripped file: $(wc -c <"$library") bytes)"
  [ "$size" -le "$limit" ] || fail "$name loads $size bytes, over its budget of $limit"
  needs=$(readelf -W --version-info "$library" | grep -o 'GLIBC_[0-9][0-9.]*' | sed 's/^GLIBC_//')
  floor=$(printf '%s\n' "$floor" "$needs" | sort -uV | tail -n 1)
done

echo "$me: oldest glibc $floor (the newest glibc symbol version the libraries need)"
