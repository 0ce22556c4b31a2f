#!/bin/sh
# Runs the test suite under Valgrind memcheck (ctest -T memcheck): every test program runs inside
# valgrind, and a memory error or a leak (definite, indirect or possible) fails its test. The
# programs that the tests start (the shell, the card's command stand-ins) are not traced, and the
# end-to-end tests, which are Python programs, are left out, and so is the test of a command text
# too long to start: valgrind cannot recover from an execve that the system refuses (E2BIG) in the
# forked child, which then ends without reporting the failure, so the run looks like a success.
# scripts/valgrind.supp names what is not a leak of ours (Protocol Buffers' descriptor pool).
#
#   scripts/valgrind.sh [BUILD_DIR [ctest arguments...]]
#
# BUILD_DIR (default build/default, the default preset's) is configured if needed and built first;
# it must be a build without sanitizers. Example: scripts/valgrind.sh build/default -R hardening
set -eu

cd "$(dirname "$0")/.."
scripts/install-deps.sh tools
build="${1:-build/default}"
[ $# -gt 0 ] && shift

if [ ! -f "$build/CMakeCache.txt" ]; then
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Debug
fi
cmake --build "$build" -j "$(nproc)"
# Programs run about twenty times slower under valgrind, hence the long timeout.
ctest --test-dir "$build" -T memcheck -E '^endtoend\.|^BadInputTest\.ACommandTooLongForTheSystemIsAFailedSending$' --timeout 1800 --output-on-failure \
  --overwrite MemoryCheckCommand=/usr/bin/valgrind \
  --overwrite "MemoryCheckCommandOptions=--tool=memcheck --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect,possible --errors-for-leak-kinds=definite,indirect,possible --num-callers=30 --suppressions=$PWD/scripts/valgrind.supp" \
  "$@"
