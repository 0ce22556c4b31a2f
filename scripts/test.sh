#!/bin/sh
# Installs what is missing, then builds every profile of the library and runs the whole test suite
# against each (docs/testing.md, "Profiles and presets"): the contract's (default), under
# AddressSanitizer + UndefinedBehaviorSanitizer, the hardened profile (also under the sanitizers),
# the outbox alone, the lock alone, and the contract's and the hardened profile for the card's
# 32-bit ARM under qemu-arm; lints every source (scripts/lint.sh: clang-format and clang-tidy,
# every finding an error); and builds and checks the card's own libraries, with Debian's cross
# compiler and with generated-style SDKs over glibc 2.36 and 2.31 (tests/install/check_vendor_sdk.sh,
# whose downloads stay in build/vendor-sdk-cache).
set -eu

cd "$(dirname "$0")/.."
scripts/install-deps.sh test

suite() {
  echo "=== $1 build"
  cmake --preset "$1"
  cmake --build --preset "$1" -j "$(nproc)"
  ctest --preset "$1" -j "$(nproc)"
}

for preset in default hardened; do
  suite "$preset"
done
echo "=== lint"
scripts/lint.sh build/default build/hardened

for preset in outbox lock sanitize sanitize-hardened; do
  suite "$preset"
done

echo "=== card-armhf build"
scripts/make-armhf-sysroot.sh
cmake --preset card-armhf
cmake --build --preset card-armhf -j "$(nproc)"
scripts/check-card-library.sh build/card-armhf

echo "=== card build with generated-style SDKs"
tests/install/check_vendor_sdk.sh build/vendor-sdk

for preset in test-armhf test-armhf-hardened; do
  suite "$preset"
done
