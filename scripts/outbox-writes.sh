#!/bin/sh
# Prints what the outbox writes to its storage (docs/outbox.md, "Figures"), read off the system
# calls of the card simulator (strace): the bytes written to files of the outbox, and its syncs,
# renames, directories and files made, for one alarm of the example card kept while the relay is
# down (an e-mail for each of its two configurations: "Operations" with three attachments,
# "Facilities" with none), for a retry that fails again, and for one that delivers; then the
# content of 32 kept e-mails against the storage that they spend, which the bounds count.
# Builds an outbox library whose outbox is on the card's persistent storage, as the documented
# card setting puts it (and a timer that retries at once, so that each retry tries), in
# build/outbox-writes, and runs with private card paths (root).
set -eu
cd "$(dirname "$0")/.."
root=$(pwd)
build=build/outbox-writes
if [ "${EMAILSERVICE_PRIVATE_PATHS:-}" != inside ]; then
  scripts/install-deps.sh test >&2
  command -v strace >/dev/null || { echo "outbox-writes.sh: needs strace (apt-get install strace)" >&2; exit 2; }
  cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release -DEMAILSERVICE_BUILD_TESTS=OFF -DEMAILSERVICE_OUTBOX=ON \
    -DEMAILSERVICE_OUTBOX_DIRECTORY=/flash/emailService/outbox -DEMAILSERVICE_OUTBOX_RETRY_SECONDS=0 >/dev/null
  cmake --build "$build" -j "$(nproc)" --target emailservice-simulator >/dev/null
  exec tests/support/private-card-paths.sh "$0"
fi

outbox=/flash/emailService/outbox
simulator="$root/$build/tools/simulator/emailservice-simulator --card $root/examples/card.txtpb"
alarm="--type ups --level critical --code 2B00 --description On_battery"
down="--smtp smtp://127.0.0.1:9"  # nothing listens there

# What one run of the simulator did to the outbox: "BYTES bytes written, ..." from its calls.
measure() {
  strace -f -y -qq -e trace=write,fsync,fdatasync,rename,renameat,renameat2,mkdir,mkdirat,openat,unlink,unlinkat \
    -o /tmp/outbox-writes.trace "$@" >/dev/null 2>&1 || true
  /usr/bin/python3 - "$outbox" <<'PY'
import re, sys
outbox = sys.argv[1]
written = syncs = renames = directories = files = removals = 0
for line in open("/tmp/outbox-writes.trace"):
    if outbox not in line or "= -1" in line:
        continue
    call = re.match(r"\d+ +(\w+)\(", line).group(1)
    if call == "write":
        written += int(line.rsplit("= ", 1)[1])
    syncs += call in ("fsync", "fdatasync")
    renames += call.startswith("rename")
    directories += call.startswith("mkdir")
    files += call == "openat" and "O_CREAT" in line
    removals += call.startswith("unlink")
print("%6d bytes written, %d files created, %d syncs, %d renames, %d directories made, %d removals"
      % (written, files, syncs, renames, directories, removals))
PY
}

printf 'an alarm kept (2 e-mails):   '; measure $simulator $down $alarm
printf 'a retry that fails again:    '; measure $simulator $down --retry
printf 'a retry that delivers both:  '; measure $simulator --maildir /tmp/maildir --retry
for run in $(seq 16); do $simulator $down $alarm >/dev/null 2>&1 || true; done
echo "32 kept e-mails: $(du -s --apparent-size --block-size=1 "$outbox" | cut -f1) bytes of content," \
  "$(du -s --block-size=1 "$outbox" | cut -f1) bytes of storage spent (what the bounds count)"
