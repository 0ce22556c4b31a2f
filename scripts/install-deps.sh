#!/bin/sh
# Installs the Debian packages that building, running and testing the library need, skipping
# those already installed; with --cross also the armhf cross build's. Needs root (or sudo) when
# something is missing.
set -eu

PACKAGES="
cmake
g++
make
pkg-config
protobuf-compiler
libprotobuf-dev
googletest
libgtest-dev
libgmock-dev
libbenchmark-dev
s-nail
python3
python3-aiosmtpd
clang
libclang-rt-14-dev
valgrind
"

# The armhf cross build and the emulator that runs its tests: only the test command asks for them.
CROSS_PACKAGES="
g++-arm-linux-gnueabihf
qemu-user
"
if [ "${1:-}" = "--cross" ]; then
  PACKAGES="$PACKAGES $CROSS_PACKAGES"
fi

missing=""
for package in $PACKAGES; do
  if ! dpkg -s "$package" >/dev/null 2>&1; then
    missing="$missing $package"
  fi
done

if [ -z "$missing" ]; then
  echo "install-deps: every package is installed"
  exit 0
fi

if [ "$(id -u)" -eq 0 ]; then
  as_root=""
else
  as_root="sudo"
fi

echo "install-deps: installing$missing"
# The mirror is sometimes mid-sync for one index: a failed update alone is not fatal, the install
# below decides.
$as_root apt-get update || echo "install-deps: apt-get update failed; trying the install anyway" >&2
# shellcheck disable=SC2086
DEBIAN_FRONTEND=noninteractive $as_root apt-get install -y --no-install-recommends $missing
