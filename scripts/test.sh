#!/bin/sh
# Installs what is missing, then builds and runs the whole test suite twice: the normal build and
# the AddressSanitizer + UndefinedBehaviorSanitizer build.
set -eu

cd "$(dirname "$0")/.."
scripts/install-deps.sh test

for preset in default sanitize; do
  echo "=== $preset build"
  cmake --preset "$preset"
  cmake --build --preset "$preset" -j "$(nproc)"
  ctest --preset "$preset"
done
