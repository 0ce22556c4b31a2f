#!/bin/sh
# Runs the whole test suite under Valgrind memcheck: builds build/valgrind (Debug, no sanitizer)
# with every test program started through valgrind, then runs ctest. A test fails when valgrind
# finds a memory error or a leak (definite, indirect or possible) in the test program; the
# programs it starts (the shell, the card's command stand-ins) are not traced.
#
#   scripts/valgrind.sh [ctest arguments...]     e.g. scripts/valgrind.sh -R hardening
set -eu

cd "$(dirname "$0")/.."
build=build/valgrind
memcheck="valgrind;--tool=memcheck;--error-exitcode=99;--leak-check=full;--show-leak-kinds=definite,indirect,possible;--errors-for-leak-kinds=definite,indirect,possible;--num-callers=30"

cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug -DEMAILSERVICE_PATH_PREFIX=/tmp/emailservice-valgrind \
  "-DCMAKE_CROSSCOMPILING_EMULATOR=$memcheck"
cmake --build "$build" -j "$(nproc)"
# Programs run about twenty times slower under valgrind.
ctest --test-dir "$build" --output-on-failure --timeout 1800 "$@"
