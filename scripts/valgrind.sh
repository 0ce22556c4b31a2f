#!/bin/sh
# Runs the test suite under Valgrind memcheck (ctest -T memcheck): every test program runs inside
# valgrind, and a memory error or a leak (definite, indirect or possible) fails its test. The
# programs that the tests start (the shell, the card's command stand-ins) are not traced, and the
# end-to-end tests, which are Python programs, are left out, and so is the test of a command text
# too long to start: valgrind cannot recover from an execve that the system refuses (E2BIG) in the
# forked child, which then ends without reporting the failure, so the run looks like a success.
# scripts/valgrind.supp names what is not a leak of ours (Protocol Buffers' descriptor pool).
#
#   scripts/valgrind.sh [PRESET [ctest arguments...]]
#
# PRESET (default "default"; e.g. "hardened"): a test preset without sanitizers. It is built in
# build/memcheck-PRESET with the card's paths under build/memcheck-PRESET/card: valgrind would
# trace only the launcher that gives each test program private card paths (a shell script that
# starts it through unshare), so the programs run one at a time on the prefixed paths instead.
# Example: scripts/valgrind.sh hardened -R 'Outbox|Durability|Hold|Attack'
set -eu

cd "$(dirname "$0")/.."
scripts/install-deps.sh tools
preset="${1:-default}"
[ $# -gt 0 ] && shift
build="build/memcheck-$preset"

cmake --preset "$preset" -B "$build" -DEMAILSERVICE_PATH_PREFIX="$PWD/$build/card" >/dev/null
cmake --build "$build" -j "$(nproc)"
# Programs run about twenty times slower under valgrind, hence the long timeout.
ctest --test-dir "$build" -T memcheck -E '^endtoend\.|^BadInputTest\.ACommandTooLongForTheSystemIsAFailedSending$' --timeout 1800 --output-on-failure \
  --overwrite MemoryCheckCommand=/usr/bin/valgrind \
  --overwrite "MemoryCheckCommandOptions=--tool=memcheck --error-exitcode=99 --leak-check=full --show-leak-kinds=definite,indirect,possible --errors-for-leak-kinds=definite,indirect,possible --num-callers=30 --suppressions=$PWD/scripts/valgrind.supp" \
  "$@"
