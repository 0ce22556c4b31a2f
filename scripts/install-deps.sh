#!/bin/sh
# Installs the Debian packages of one job, skipping those already installed. Needs root (or
# sudo) when something is missing.
#
#   scripts/install-deps.sh main    what the main job needs (scripts/run-example.sh): the build,
#                                   Protocol Buffers, s-nail for the card's sendemail stand-in,
#                                   aiosmtpd for the SMTP server on the loopback; help2man for the
#                                   tools' manual pages
#   scripts/install-deps.sh test    that, and what the test suite needs (scripts/test.sh), the armhf
#                                   cross build and the emulator that runs its tests, and the
#                                   linters (scripts/lint.sh) included
#   scripts/install-deps.sh tools   that, and the fuzzing, memcheck and benchmark tools
#                                   (scripts/fuzz.sh, scripts/valgrind.sh, scripts/bench-card.sh)
#   scripts/install-deps.sh         the same as "tools": everything
set -eu

MAIN_PACKAGES="
cmake
g++
make
pkg-config
protobuf-compiler
libprotobuf-dev
s-nail
help2man
python3
python3-aiosmtpd
"
TEST_PACKAGES="
clang-format
clang-tidy
googletest
libgtest-dev
libgmock-dev
python3-jsonschema
"
TOOL_PACKAGES="
clang
libclang-rt-14-dev
valgrind
"

# The armhf cross build and the emulator that runs its tests.
CROSS_PACKAGES="
g++-arm-linux-gnueabihf
qemu-user
"

case "${1:-tools}" in
  main) PACKAGES=$MAIN_PACKAGES ;;
  test) PACKAGES="$MAIN_PACKAGES $TEST_PACKAGES $CROSS_PACKAGES" ;;
  tools) PACKAGES="$MAIN_PACKAGES $TEST_PACKAGES $CROSS_PACKAGES $TOOL_PACKAGES" ;;
  *)
    echo "usage: install-deps.sh [main|test|tools]" >&2
    exit 2
    ;;
esac

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
