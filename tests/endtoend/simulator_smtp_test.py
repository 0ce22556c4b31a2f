#!/usr/bin/python3
# End to end: the card simulator fires a test e-mail, alarms, an exception and a periodic report
# at the library with the example card, the card's sendemail stand-in delivers to a real SMTP
# server on the loopback (or into a Maildir), and each delivered message is read back and
# checked: recipients, subject, body and every attachment.
#
# Environment: SIMULATOR (the simulator executable), SIMULATOR_OUTBOX (the same where the library
# has the outbox; empty: its tests are skipped), OUTBOX_DIRECTORY, HOLD_SECONDS and HOLD_ALARMS
# (the outbox's directory and hold, alarms separated by commas), EMULATOR (what starts it on this machine: empty,
# or for a cross build e.g. "qemu-arm -L SYSROOT"), CARD (the example card), PATH_PREFIX
# (the build's card path prefix, empty for the card's own paths).

import email
import email.policy
import os
import re
import shlex
import socket
import subprocess
import tempfile
import time
import unittest

from aiosmtpd.controller import Controller

SIMULATOR = shlex.split(os.environ.get("EMULATOR", "")) + [os.environ["SIMULATOR"]]
OUTBOX_SIMULATOR = shlex.split(os.environ.get("EMULATOR", "")) + [os.environ.get("SIMULATOR_OUTBOX", "")]
CARD = os.environ["CARD"]
OUTBOX_DIRECTORY = os.environ.get("OUTBOX_DIRECTORY", "")
HOLD_SECONDS = int(os.environ.get("HOLD_SECONDS") or 0)
HOLDS_C0DE = HOLD_SECONDS > 0 and "c0de" in os.environ.get("HOLD_ALARMS", "").lower().split(",")
PREFIX = os.environ.get("PATH_PREFIX", "")
WORK_DIRECTORY = PREFIX + "/tmp/emailService/"
UPS_RECORDS = PREFIX + "/tmp/logMeasures/ups/records.csv"
SENSOR_RECORDS = PREFIX + "/tmp/logMeasures/sensors/records.csv"

SYSTEM_NAME = "Server room UPS"
OPERATIONS = ["ops@example.com"]
FACILITIES = ["facilities@example.com", "noc@example.com"]
SYSTEM_LOGS = ["logUpdate.csv", "logAccount.csv", "logSession.csv", "logSystem.csv"]


def system_logs():
    return {name: read(WORK_DIRECTORY + name) for name in SYSTEM_LOGS}


# An SMTP handler that keeps every delivered message with its envelope recipients, or refuses
# every one with 550.
class Recorder:
    def __init__(self, refuse=False):
        self.refuse = refuse
        self.messages = []

    async def handle_DATA(self, server, session, envelope):
        if self.refuse:
            return "550 5.7.1 Delivery refused by the test server"
        self.messages.append((list(envelope.rcpt_tos), parse(envelope.content)))
        return "250 Message accepted"


def parse(data):
    return email.message_from_bytes(data, policy=email.policy.default)


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def read(path):
    with open(path, "rb") as f:
        return f.read()


def utc(seconds):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(seconds))


# The periodStart of a configuration of the example card.
def period_start(configuration_id):
    block = re.search(r'id \{ value: "%s" \}.*?periodStart \{ value: (\d+) \}' % configuration_id, read(CARD).decode(),
                      re.S)
    return int(block.group(1))


# A measures export: the header, then the chosen records with their time written in UTC. Without
# `start`: the last 24 hours up to the newest record.
def measures(path, start=None):
    lines = read(path).decode().splitlines()
    records = [(int(line.split(",", 1)[0]), line.split(",", 1)[1]) for line in lines[1:] if line]
    first = start if start is not None else max(t for t, _ in records) - 24 * 3600
    return ("\n".join([lines[0]] + [utc(t) + "," + rest for t, rest in records if t >= first]) + "\n").encode()


# The alarm export of the example card's alarm history: a header, then one line per alarm (its
# level as text when the store has one, as its code otherwise); the latest 25, newest first, or
# with `start` those raised at or after it, oldest first.
def alarm_export(start=None):
    alarms = sorted(({k: v.strip('"') for k, v in re.findall(r'(\w+): ("[^"]*"|\d+)', line)}
                     for line in read(CARD).decode().splitlines() if line.startswith("alarms {")),
                    key=lambda a: int(a["raisedAt"]))
    chosen = list(reversed(alarms))[:25] if start is None else [a for a in alarms if int(a["raisedAt"]) >= start]
    lines = ["Raised,Cleared,Level,Device,Description"]
    for a in chosen:
        cleared = utc(int(a["clearedAt"])) if "clearedAt" in a else ""
        lines.append(",".join([utc(int(a["raisedAt"])), cleared, a.get("levelText", a["level"]), a["device"],
                               a["description"]]))
    return ("\n".join(lines) + "\n").encode()


class SimulatorCase(unittest.TestCase):
    refuse = False

    def setUp(self):
        self.recorder = Recorder(self.refuse)
        self.port = free_port()
        self.server = Controller(self.recorder, hostname="127.0.0.1", port=self.port)
        self.server.start()
        self.addCleanup(self.server.stop)

    # Runs the simulator (its output in self.output) and returns the delivered messages with their
    # recipients: those the SMTP server received, or with `maildir` those delivered into it; there
    # must be `sent` of them if given. `result` None: no result line.
    def fire(self, *event, result, status, card=CARD, maildir=None, sent=None, simulator=SIMULATOR):
        delivery = ["--maildir", maildir] if maildir else ["--smtp", "smtp://127.0.0.1:%d" % self.port]
        self.output = subprocess.run(simulator + ["--card", card] + delivery + list(event), capture_output=True,
                                     text=True, timeout=120)
        self.assertEqual(self.output.returncode, status, self.output.stdout + self.output.stderr)
        if result is None:
            self.assertNotIn("Result:", self.output.stdout)
        else:
            self.assertIn("Result: %s\n" % result, self.output.stdout)
        if maildir:  # the To header gives the recipients
            new = [parse(read(os.path.join(maildir, "new", name))) for name in sorted(os.listdir(maildir + "/new"))]
        messages = [([a.addr_spec for a in m["To"].addresses], m) for m in new] if maildir else self.recorder.messages
        if sent is not None:
            self.assertEqual(len(messages), sent)
        return messages

    # The one message delivered to exactly `recipients`.
    def single(self, recipients, messages=None):
        matching = [m for r, m in (messages or self.recorder.messages) if sorted(r) == sorted(recipients)]
        self.assertEqual(len(matching), 1, "messages to %s" % recipients)
        return matching[0]

    # Subject, body (the work file the library wrote, holding `body_lines`) and attachments (file
    # name to content; a system log as its copy in the work directory, which the scenarios pin).
    def check(self, message, subject, body_file, body_lines, attachments):
        self.assertEqual(message["Subject"], subject)
        body = message.get_body(preferencelist=("plain",)).get_content().replace("\r\n", "\n")
        self.assertEqual(body.rstrip("\n"), read(WORK_DIRECTORY + body_file).decode().rstrip("\n"))
        self.assertTrue(body.startswith("== IDENTIFICATION ==") and "System name: %s\n" % SYSTEM_NAME in body, body)
        for line in body_lines:
            self.assertIn(line, body)
        self.assertEqual({part.get_filename(): part.get_payload(decode=True).replace(b"\r\n", b"\n")
                          for part in message.iter_attachments()},
                         attachments)


class DeliveryTest(SimulatorCase):
    # The test e-mail goes to the configuration it addresses, and fails without mail for a disabled
    # one; a test for no configuration's id gets a warning.
    def test_test_email_reaches_the_addressed_configuration_with_the_recent_system_logs(self):
        self.fire("--type", "test", "--code", "1", result="TestEmailSucceeded (1)", status=0, sent=1)
        self.check(self.single(OPERATIONS), SYSTEM_NAME + " - Test email", "1test.txt",
                   ["= TEST EMAIL ===", " - Info - 00C00F00 - Test email\n", "Host address: https://192.0.2.17\n",
                    "P/N: UPS3K-RT-230\n", "C/N: Network Management Card 3\n"],
                   system_logs())
        self.fire("--type", "test", "--code", "3", result="TestEmailFailed (-1)", status=1, sent=1)
        self.fire("--type", "test", result="Success (0)", status=0, sent=1)
        self.assertIn("warning: no configuration is addressed", self.output.stderr)

    def test_alarm_reaches_every_subscribed_configuration_with_its_own_selection(self):
        self.fire("--type", "ups", "--level", "critical", "--state", "active", "--code", "2B00", "--date",
                  "2026-11-22 10:15:00", "--description", "On battery", result="Success (0)", status=0, sent=2)
        line = "2026-11-22 10:15:00 - Critical - Active - 00002B00 - On battery\n"
        subject = SYSTEM_NAME + " - Alarm - Active - Critical - On battery"
        self.check(self.single(OPERATIONS), subject, "1ups.txt",
                   ["== ALARM LIST ===", line, "Host address: https://192.0.2.17\n"],
                   {"logAlarm.csv": alarm_export(), "ups.csv": measures(UPS_RECORDS),
                    "sensors.csv": measures(SENSOR_RECORDS)})
        facilities = self.single(FACILITIES)
        self.check(facilities, subject, "2ups.txt", [line], {})
        self.assertIn("E-mails handed to the SMTP server smtp://127.0.0.1:%d: 2\n" % self.port, self.output.stdout)
        for to in ["ops@example.com", "facilities@example.com, noc@example.com"]:
            self.assertIn("  To: %s  Subject: %s\n" % (to, subject), self.output.stdout)
        self.assertNotIn("Host address:", facilities.get_body(preferencelist=("plain",)).get_content())

    # Over SMTP and into a Maildir, the stand-in's two ways. Quotes, a backslash, backquotes, a line
    # feed and a letter beyond ASCII go through the shell and the stand-in: the backquotes arrive as
    # single quotes and the line feed as a blank in the subject, as they were in the body.
    def test_exception_event_replaces_the_alarm_only_where_it_is_listed(self):
        description = 'Bypass "active" \\ `on`\nsince 10:00 \u00e9'
        in_subject = 'Bypass "active" \\ \'on\' since 10:00 \u00e9'
        maildir = tempfile.TemporaryDirectory()
        self.addCleanup(maildir.cleanup)
        os.chmod(maildir.name, 0o777)  # sudo may switch to the user "email"
        for delivery in (None, maildir.name):
            messages = self.fire("--type", "ups", "--level", "warning", "--state", "cleared", "--code", "2a01",
                                 "--date", "2026-11-22 12:00:00", "--description", description, maildir=delivery,
                                 result="Success (0)", status=0, sent=2)
            self.check(self.single(OPERATIONS, messages), SYSTEM_NAME + " - Exception event - Warning - " + in_subject,
                       "1ups.txt", ["== EXCEPTION EVENT ===", "12:00:00 - Warning - 00002a01 - " + description],
                       {"logAlarm.csv": alarm_export()})
            self.check(self.single(FACILITIES, messages), SYSTEM_NAME + " - Alarm - Cleared - Warning - " + in_subject,
                       "2ups.txt", ["2026-11-22 12:00:00 - Warning - Cleared - 00002a01 - " + description], {})

    def test_periodic_report_covers_the_period_with_logs_cut_to_it(self):
        start = period_start("1")
        self.fire("--type", "periodic", "--code", "1", result="TestEmailSucceeded (1)", status=0, sent=1)
        self.check(self.single(OPERATIONS), SYSTEM_NAME + " - Periodic report", "1report.txt",
                   ["= PERIODIC REPORT ===", "The following is a periodic report of the period from %s " % utc(start),
                    "Battery needs replacement"],
                   dict(system_logs(), **{"logAlarm.csv": alarm_export(start), "ups.csv": measures(UPS_RECORDS, start),
                                          "sensors.csv": measures(SENSOR_RECORDS, start)}))


class RefusedDeliveryTest(SimulatorCase):
    refuse = True

    def test_refused_alarm_is_a_send_error_and_a_refused_test_email_a_failed_test_with_the_servers_answer(self):
        self.fire("--type", "ups", "--level", "critical", "--code", "2B00", "--description", "On battery",
                  result="SendError (-2)", status=1)
        self.fire("--type", "test", "--code", "2", result="TestEmailFailed (-1)", status=1)
        self.assertIn("No e-mail was handed to the SMTP server", self.output.stdout)
        self.assertIn("Reason: ", self.output.stdout)
        self.assertIn("550 5.7.1 Delivery refused by the test server\n", self.output.stdout)

    def test_unreachable_server_is_a_failed_test_with_the_reason(self):
        self.port = free_port()  # nothing listens there
        self.fire("--type", "test", "--code", "1", result="TestEmailFailed (-1)", status=1)
        self.assertIn("No e-mail was handed to the SMTP server", self.output.stdout)
        self.assertIn("Connection refused\n", self.output.stdout)


# The simulator built with the outbox: what the server could not take is kept and goes out first
# once it is back.
@unittest.skipUnless(OUTBOX_SIMULATOR[-1], "no simulator built with the outbox")
class OutboxTest(SimulatorCase):
    def setUp(self):
        super().setUp()
        subprocess.run(["rm", "-rf", OUTBOX_DIRECTORY], check=True)

    def alarm(self, state, **expected):
        return self.fire("--type", "ups", "--level", "critical", "--state", state, "--code", "2B00",
                         "--description", "On battery", simulator=OUTBOX_SIMULATOR, **expected)

    def test_alarm_kept_while_the_server_is_down_arrives_once_before_the_cleared_alarm(self):
        port, self.port = self.port, free_port()  # nothing listens there
        self.alarm("active", result="SendError (-2)", status=1, sent=0)
        self.assertIn("Card log: event 40, severity 4: Email for Operations configuration not sent: Could not send the "
                      "message (sendemail: s-nail failed with status ", self.output.stdout)
        self.port = port
        messages = self.alarm("cleared", result="Success (0)", status=0, sent=4)
        self.assertEqual([m["Subject"].split(" - ")[2] for _, m in messages], ["Active", "Active", "Cleared", "Cleared"])
        # The kept e-mails carry the attachments of their first attempt, as the new ones do theirs.
        for recipients, names in ((OPERATIONS, ["logAlarm.csv", "sensors.csv", "ups.csv"]), (FACILITIES, [])):
            for m in (m for r, m in messages if sorted(r) == sorted(recipients)):
                self.assertEqual(sorted(p.get_filename() for p in m.iter_attachments() if p.get_payload(decode=True)),
                                 names, m["Subject"])
        self.assertIn("Card log: event 42, severity 6: Kept email for Operations configuration delivered (attempt 2",
                      self.output.stdout)
        self.fire("--retry", result=None, status=0, sent=4, simulator=OUTBOX_SIMULATOR)

    def held(self, state, **expected):
        return self.fire("--type", "ups", "--level", "warning", "--state", state, "--code", "C0DE",
                         "--description", "Input voltage out of range", simulator=OUTBOX_SIMULATOR, **expected)

    # A blip of a held alarm: cleared before its hold has passed, it sends nothing; each
    # configuration that would have mailed it has one card log entry.
    @unittest.skipUnless(HOLDS_C0DE, "this build holds no alarm C0DE")
    def test_a_blip_of_a_held_alarm_sends_nothing_and_says_so(self):
        self.held("active", result="Success (0)", status=0, sent=0)
        self.assertIn("Card log: event 46, severity 6: Email for Operations configuration held for %d s"
                      % HOLD_SECONDS, self.output.stdout)
        self.held("cleared", result="Success (0)", status=0, sent=0)
        for name in ("Operations", "Facilities"):
            self.assertRegex(self.output.stdout, "Card log: event 47, severity 6: Alarm C0DE was active for [0-9]+ s "
                                                 "and was not emailed to %s configuration" % name)
        listing = subprocess.run(OUTBOX_SIMULATOR + ["--outbox"], capture_output=True, text=True, check=True).stdout
        self.assertIn("Kept e-mails: 0\n", listing)

    # An outage: the held alarm goes out once its hold has passed (the card's timer), then its
    # cleared alarm as usual.
    @unittest.skipUnless(HOLDS_C0DE, "this build holds no alarm C0DE")
    def test_an_outage_of_a_held_alarm_sends_it_late_then_its_cleared_alarm(self):
        self.held("active", result="Success (0)", status=0, sent=0)
        listing = subprocess.run(OUTBOX_SIMULATOR + ["--outbox"], capture_output=True, text=True, check=True).stdout
        self.assertIn("Held until ", listing)
        time.sleep(HOLD_SECONDS + 1)
        self.fire("--retry", result=None, status=0, sent=2, simulator=OUTBOX_SIMULATOR)  # both configurations'
        messages = self.held("cleared", result="Success (0)", status=0, sent=4)
        self.assertEqual([m["Subject"] for _, m in messages],
                         [SYSTEM_NAME + " - Alarm - %s - Warning - Input voltage out of range" % state
                          for state in ("Active", "Active", "Cleared", "Cleared")])

    # The first configuration's recipient is refused, the second's is not: Success, exit status 3.
    def test_success_with_an_email_not_sent_has_its_own_exit_status(self):
        with tempfile.NamedTemporaryFile("w", suffix=".txtpb") as card:
            card.write(read(CARD).decode().replace('"ops@example.com"', '"ops"'))
            card.flush()
            self.alarm("active", card=card.name, result="Success (0)", status=3, sent=1)


# A fault met by a run: the library raising.
class FaultTest(SimulatorCase):
    def test_exception_leaving_the_library_is_printed_with_status_2(self):
        with tempfile.NamedTemporaryFile("w", suffix=".txtpb") as card:
            card.write(read(CARD).decode() + 'failingOperation: "getDeviceVendor"\n')
            card.flush()
            self.fire("--type", "ups", "--level", "critical", "--code", "2B00", card=card.name, result=None, status=2)
        self.assertIn("an exception left the library: simulated data store failure in getDeviceVendor\n",
                      self.output.stderr)


if __name__ == "__main__":
    unittest.main(verbosity=2)
