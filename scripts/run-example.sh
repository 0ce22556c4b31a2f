#!/bin/sh
# The library's main job, on a host: builds it in the hardened profile, which keeps e-mails that
# could not be sent in an outbox (docs/outbox.md), here on the card's persistent storage and with
# a 30 s hold of the UPS's alarms that are not critical, with the simulated card; checks the
# example card's e-mail configurations (examples/card.txtpb) and sends a test e-mail through a real
# SMTP server on the loopback. Then the mail relay goes down: a UPS alarm cannot be sent, is kept,
# and the card's log says why. The card reboots (its memory, the work directory, is emptied); the
# relay comes back: the cleared alarm's call delivers the kept alarm first, then its own e-mails.
# A blip of the input voltage (active, cleared two seconds later) sends nothing and is one line in
# the card's log per configuration; an outage sends its alarm once the hold has passed, then its
# cleared alarm. A periodic report goes out. Lists what arrived, in order.
#
# Every command is printed before it runs, ready to be pasted (from the repository's top).
# Environment: MAILDIR (default build/example-mail) is where the SMTP server delivers; it is
# emptied first. The card's paths (/tmp/emailService/, /flash/log/, /tmp/logMeasures/) need root;
# run as another user, the build puts them under build/example/card instead.
set -eu

cd "$(dirname "$0")/.."
root=$(pwd)

# Prints its arguments as one command line that the shell reads back as the same words.
show() {
  line="\$"
  for word in "$@"; do
    case $word in
      *[!A-Za-z0-9_./:=@%+,-]* | "") word="'$(printf '%s' "$word" | sed "s/'/'\\\\''/g")'" ;;
    esac
    line="$line $word"
  done
  printf '%s\n' "$line"
}

# Shows a command, then runs it.
step() {
  echo
  show "$@"
  "$@"
}

# The same, without the command's output (a build's progress).
quietly() {
  echo
  show "$@"
  "$@" >/dev/null
}

say() {
  echo
  echo "== $*"
}

step scripts/install-deps.sh main

build=build/example
prefix=
[ "$(id -u)" -eq 0 ] || prefix=-DEMAILSERVICE_PATH_PREFIX=$root/$build/card
quietly cmake --preset release -B "$build" -DEMAILSERVICE_HARDENED_SUBMISSION=ON \
  -DEMAILSERVICE_OUTBOX_DIRECTORY=/flash/emailService/outbox -DEMAILSERVICE_HOLD_SECONDS=30 ${prefix:+"$prefix"}
quietly cmake --build "$build" -j "$(nproc)" --target emailservice-simulator

maildir=${MAILDIR:-$root/build/example-mail}
rm -rf "$maildir"
python=/usr/bin/python3
port=$("$python" -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
simulator=$build/tools/simulator/emailservice-simulator
card=examples/card.txtpb
server=

start_server() {
  echo "$(show "$python" -m aiosmtpd -n -l "127.0.0.1:$port" -c aiosmtpd.handlers.Mailbox "$maildir") &"
  "$python" -m aiosmtpd -n -l "127.0.0.1:$port" -c aiosmtpd.handlers.Mailbox "$maildir" &
  server=$!
  "$python" - "$port" <<'PYTHON'
import socket, sys, time
for _ in range(100):
    try:
        socket.create_connection(("127.0.0.1", int(sys.argv[1])), timeout=1).close()
        break
    except OSError:
        time.sleep(0.1)
PYTHON
}

stop_server() {
  show kill "$server"
  kill "$server"
  wait "$server" 2>/dev/null || true
  server=
}
trap '[ -z "$server" ] || kill "$server"' EXIT

# One event; a failed sending is reported by the simulator itself, so the story goes on.
fire() {
  step "$simulator" --card "$card" --smtp "smtp://127.0.0.1:$port" "$@" || echo "(exit status $?)"
}

card_root=${prefix:+$root/$build/card}
voltage() {
  fire --type ups --level warning --code 2C10 --description "Input voltage out of range" "$@"
}

say "The SMTP server is up on the loopback; a test e-mail from the example card"
start_server
step rm -rf "$card_root/flash/emailService/outbox"  # what an earlier run left kept
fire --check --type test --code 1 --log

say "The mail relay goes down: the UPS goes on battery, its alarm cannot be sent and is kept"
stop_server
fire --type ups --level critical --state active --code 2B00 --description "On battery"
step "$simulator" --outbox

say "The card reboots: its memory, the work directory, is empty; the outbox on its flash is not"
step rm -rf "$card_root/tmp/emailService"
step "$simulator" --outbox

say "The relay is back: the cleared alarm's call first delivers the kept alarm, then its own e-mails"
start_server
fire --type ups --level critical --state cleared --code 2B00 --description "On battery"

say "A blip of the input voltage: held for 30 s, cleared 2 s later: no e-mail, a line in the card's log"
voltage --state active
step sleep 2
voltage --state cleared

say "An outage of the input voltage: held, sent by the card's timer once 30 s have passed, then cleared"
voltage --state active
step "$simulator" --outbox
step sleep 31
step "$simulator" --card "$card" --smtp "smtp://127.0.0.1:$port" --retry
voltage --state cleared
fire --type periodic --code 1
stop_server

say "Delivered by the SMTP server into the Maildir $maildir, in the order of arrival:"
"$python" - "$maildir" <<'PYTHON'
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
