#!/bin/sh
# Installs what is missing, then builds and runs the whole test suite three times: the normal
# build, the AddressSanitizer + UndefinedBehaviorSanitizer build, and the build for the card's
# 32-bit ARM under qemu-arm; and builds and checks the card's own libraries, with Debian's cross compiler
# and with generated-style SDKs over glibc 2.36 and 2.31 (tests/install/check_vendor_sdk.sh, whose
# downloads stay in build/vendor-sdk-cache); and lints every source
# (scripts/lint.sh: clang-format and clang-tidy, every finding an error).
set -eu

cd "$(dirname "$0")/.."
scripts/install-deps.sh test

for preset in default sanitize; do
  echo "=== $preset build"
  cmake --preset "$preset"
  cmake --build --preset "$preset" -j "$(nproc)"
  ctest --preset "$preset" -j "$(nproc)"
  if [ "$preset" = default ]; then
    echo "=== lint"
    scripts/lint.sh build/default
  fi
done

echo "=== card-armhf build"
scripts/make-armhf-sysroot.sh
cmake --preset card-armhf
cmake --build --preset card-armhf -j "$(nproc)"
scripts/check-card-library.sh build/card-armhf

echo "=== card build with generated-style SDKs"
tests/install/check_vendor_sdk.sh build/vendor-sdk

echo "=== test-armhf build"
cmake --preset test-armhf
cmake --build --preset test-armhf -j "$(nproc)"
ctest --preset test-armhf -j "$(nproc)"
