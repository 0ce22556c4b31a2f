#!/bin/sh
# Runs one test command with a private view of the card's fixed paths, so that tests which use
# them can run at the same time (ctest -j).
#
#   private-card-paths.sh COMMAND [ARGUMENT...]
#
# The command runs in a mount namespace of its own, where the work directory, the card's log
# directory and the measures directories are empty tmpfs mounts that no other test sees, and
# TMPDIR is a directory of its own. Needs root (as the card's paths do); a contributor without root
# configures with -DEMAILSERVICE_PATH_PREFIX instead, and the tests then run one at a time.
set -eu

paths="/tmp/emailService /flash/log /tmp/logMeasures"

if [ "${EMAILSERVICE_PRIVATE_PATHS:-}" != "inside" ]; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "private-card-paths: needs root; configure with -DEMAILSERVICE_PATH_PREFIX=DIR to test without root" >&2
    exit 2
  fi
  for path in $paths; do
    mkdir -p "$path"
  done
  scratch=$(mktemp -d "${TMPDIR:-/tmp}/emailservice-test.XXXXXX")
  status=0
  EMAILSERVICE_PRIVATE_PATHS=inside TMPDIR="$scratch" unshare --mount --propagation private "$0" "$@" || status=$?
  rm -rf "$scratch"
  exit "$status"
fi

for path in $paths; do
  mount -t tmpfs -o mode=0755 emailservice-test "$path"
done
exec "$@"
