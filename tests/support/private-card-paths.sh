#!/bin/sh
# Runs one test command with a private view of the card's fixed paths, so that tests which use
# them can run at the same time (ctest -j).
#
#   private-card-paths.sh COMMAND [ARGUMENT...]
#
# The command runs in a mount namespace of its own, where /tmp (holding the work directory and
# the measures directories) and /flash (holding the card's log directory) are empty tmpfs mounts
# that no other test sees. Needs root, as the card's paths do, and a build and source tree outside
# /tmp and /flash (CMake checks both); a contributor without root configures with
# -DEMAILSERVICE_PATH_PREFIX instead, and the tests then run one at a time.
set -eu

if [ "${EMAILSERVICE_PRIVATE_PATHS:-}" != "inside" ]; then
  if [ "$(id -u)" -ne 0 ]; then
    echo "private-card-paths: needs root; configure with -DEMAILSERVICE_PATH_PREFIX=DIR to test without root" >&2
    exit 2
  fi
  mkdir -p /flash
  EMAILSERVICE_PRIVATE_PATHS=inside exec unshare --mount --propagation private "$0" "$@"
fi

mount -t tmpfs -o mode=1777 emailservice-test /tmp
mount -t tmpfs -o mode=0755 emailservice-test /flash
exec "$@"
