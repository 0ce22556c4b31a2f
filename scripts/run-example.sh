#!/bin/sh
# The library's main job, on a host: builds it with the simulated card (the release preset, which
# builds no tests), checks the example card's e-mail configurations (examples/card.txtpb), then
# sends a test e-mail, a UPS alarm and a periodic report from it into a Maildir, and lists what
# arrived.
#
# Environment: MAILDIR (default build/example-mail) is where the e-mails are delivered; it is
# emptied first. The card's paths (/tmp/emailService/, /flash/log/, /tmp/logMeasures/) need root;
# run as another user, the build puts them under build/release/card instead.
set -eu

cd "$(dirname "$0")/.."
root=$(pwd)
scripts/install-deps.sh main

build=build/release
if [ "$(id -u)" -eq 0 ]; then
  cmake --preset release
else
  cmake --preset release -DEMAILSERVICE_PATH_PREFIX="$root/$build/card"
fi
cmake --build --preset release -j "$(nproc)" --target emailservice-simulator

maildir=${MAILDIR:-$root/build/example-mail}
rm -rf "$maildir"
simulator="$build/tools/simulator/emailservice-simulator"
card=examples/card.txtpb

run() {
  echo
  echo "\$ emailservice-simulator $*"
  # A failed sending is reported by the simulator itself; go on with the next event.
  "$simulator" --card "$card" --maildir "$maildir" "$@" || true
}

run --check --type test --code 1 --log
run --type ups --level critical --state active --code 2B00 --description "On battery"
run --type periodic --code 1

echo
echo "Delivered into the Maildir $maildir:"
/usr/bin/python3 - "$maildir" <<'PYTHON'
import email, email.policy, os, sys
new = os.path.join(sys.argv[1], "new")
for name in sorted(os.listdir(new), key=lambda n: os.path.getmtime(os.path.join(new, n))):
    with open(os.path.join(new, name), "rb") as f:
        message = email.message_from_binary_file(f, policy=email.policy.default)
    attachments = [part.get_filename() for part in message.iter_attachments()]
    print("  To: %s\n  Subject: %s\n  Attachments: %s\n  File: %s\n" % (
        message["To"], message["Subject"], ", ".join(attachments) or "none", os.path.join(new, name)))
PYTHON
echo "Read them with: s-nail -f $maildir   (or open the files above; each is one MIME message)"
