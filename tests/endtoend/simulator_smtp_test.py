#!/usr/bin/python3
"""End to end: the card simulator fires every kind of event at the library with the example card,
the card's sendemail stand-in delivers to a real SMTP server on the loopback, and each delivered
message is read back and checked: recipients, subject, body and every attachment.

Environment: SIMULATOR (the simulator executable), EMULATOR (what starts it on this machine: empty,
or for a cross build e.g. "qemu-arm -L SYSROOT"), CARD (the example card), PATH_PREFIX (the build's
card path prefix, empty for the card's own paths).
"""

import calendar
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
CARD = os.environ["CARD"]
PREFIX = os.environ.get("PATH_PREFIX", "")
WORK_DIRECTORY = PREFIX + "/tmp/emailService/"
LOG_DIRECTORY = PREFIX + "/flash/log/"
UPS_RECORDS = PREFIX + "/tmp/logMeasures/ups/records.csv"
SENSOR_RECORDS = PREFIX + "/tmp/logMeasures/sensors/records.csv"

SYSTEM_NAME = "Server room UPS"
OPERATIONS = ["ops@example.com"]
FACILITIES = ["facilities@example.com", "noc@example.com"]
SYSTEM_LOGS = ["logUpdate.csv", "logAccount.csv", "logSession.csv", "logSystem.csv"]


class Recorder:
    """An SMTP handler that keeps every delivered message, or refuses every one with 550."""

    def __init__(self, refuse=False):
        self.refuse = refuse
        self.messages = []

    async def handle_DATA(self, server, session, envelope):
        if self.refuse:
            return "550 5.7.1 Delivery refused by the test server"
        self.messages.append((list(envelope.rcpt_tos), email.message_from_bytes(envelope.content,
                                                                                 policy=email.policy.default)))
        return "250 Message accepted"


def free_port():
    with socket.socket(socket.AF_INET, socket.SOCK_STREAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


def read(path):
    with open(path, "rb") as f:
        return f.read()


def period_start(configuration_id):
    """The periodStart of a configuration of the example card."""
    text = read(CARD).decode()
    block = re.search(r'id \{ value: "%s" \}.*?periodStart \{ value: (\d+) \}' % configuration_id, text, re.S)
    return int(block.group(1))


def log_tail(name, count=25):
    """What the card's log script keeps of a log: its header and its last `count` lines."""
    lines = read(LOG_DIRECTORY + name).splitlines(keepends=True)
    return b"".join(lines[:1] + lines[1:][-count:])


def log_from(name, start):
    """A log cut from a UTC time: its header and every line from the first one stamped at or after it."""
    lines = read(LOG_DIRECTORY + name).splitlines(keepends=True)
    for index, line in enumerate(lines[1:], start=1):
        stamp = calendar.timegm(time.strptime(line.decode().split(".")[0], "%Y-%m-%dT%H:%M:%S"))
        if stamp >= start:
            return b"".join(lines[:1] + lines[index:])
    return lines[0] + b"\n"


def measures(path, start=None):
    """A measures export: the header, then the chosen records with their time written in UTC.
    Without `start`: the last 24 hours up to the newest record."""
    lines = read(path).decode().splitlines()
    records = [(int(line.split(",", 1)[0]), line.split(",", 1)[1]) for line in lines[1:] if line]
    first = start if start is not None else max(t for t, _ in records) - 24 * 3600
    chosen = [utc(t) + "," + rest for t, rest in records if t >= first]
    return ("\n".join([lines[0]] + chosen) + "\n").encode()


class SimulatorCase(unittest.TestCase):
    refuse = False

    def setUp(self):
        self.recorder = Recorder(self.refuse)
        self.port = free_port()
        self.server = Controller(self.recorder, hostname="127.0.0.1", port=self.port)
        self.server.start()
        self.addCleanup(self.server.stop)

    def fire(self, *event, expected_result, expected_status, card=CARD):
        """Runs the simulator (its output in self.output); `expected_result` None: no result line."""
        self.output = subprocess.run(SIMULATOR + ["--card", card, "--smtp", "smtp://127.0.0.1:%d" % self.port] +
                                     list(event), capture_output=True, text=True, timeout=120)
        self.assertEqual(self.output.returncode, expected_status, self.output.stdout + self.output.stderr)
        if expected_result is None:
            self.assertNotIn("Result:", self.output.stdout)
        else:
            self.assertIn("Result: %s\n" % expected_result, self.output.stdout)
        return self.recorder.messages

    def single(self, recipients, messages=None):
        """The one message delivered to exactly `recipients`."""
        matching = [m for r, m in (messages or self.recorder.messages) if sorted(r) == sorted(recipients)]
        self.assertEqual(len(matching), 1, "messages to %s" % recipients)
        return matching[0]

    def check(self, message, subject, body_file, body_lines, attachments):
        """Subject, body (the work file the library wrote, holding `body_lines`) and attachments
        (file name to content)."""
        self.assertEqual(message["Subject"], subject)
        body = message.get_body(preferencelist=("plain",)).get_content().replace("\r\n", "\n")
        written = read(WORK_DIRECTORY + body_file).decode()
        self.assertEqual(body.rstrip("\n"), written.rstrip("\n"))
        self.assertTrue(body.startswith("== IDENTIFICATION ==") and "System name: %s\n" % SYSTEM_NAME in body, body)
        for line in body_lines:
            self.assertIn(line, body)
        found = {part.get_filename(): part.get_content() for part in message.iter_attachments()}
        self.assertEqual(sorted(found), sorted(attachments))
        for name, expected in attachments.items():
            content = found[name] if isinstance(found[name], bytes) else found[name].encode()
            self.assertEqual(content.replace(b"\r\n", b"\n"), expected, name)


def utc(seconds):
    return time.strftime("%Y-%m-%d %H:%M:%S", time.gmtime(seconds))


def card_alarms():
    """The alarm history of the example card (one "alarms { ... }" line each), by raise time."""
    alarms = []
    for line in read(CARD).decode().splitlines():
        if line.startswith("alarms {"):
            fields = dict(re.findall(r'(\w+): ("[^"]*"|\d+)', line))
            alarms.append({k: v.strip('"') for k, v in fields.items()})
    return sorted(alarms, key=lambda a: int(a["raisedAt"]))


def alarm_export(alarms):
    """The alarm export of `alarms`: a header, then one line per alarm, its level as text when the
    store has one and as its code otherwise."""
    lines = ["Raised,Cleared,Level,Device,Description"]
    for a in alarms:
        cleared = utc(int(a["clearedAt"])) if "clearedAt" in a else ""
        lines.append(",".join([utc(int(a["raisedAt"])), cleared, a.get("levelText", a["level"]), a["device"],
                               a["description"]]))
    return ("\n".join(lines) + "\n").encode()


def recent_alarm_export():
    """The latest 25 alarms, newest first."""
    return alarm_export(list(reversed(card_alarms()))[:25])


def alarm_export_from(start):
    """The alarms raised at or after `start`, oldest first."""
    return alarm_export([a for a in card_alarms() if int(a["raisedAt"]) >= start])


class DeliveryTest(SimulatorCase):
    def test_test_email_reaches_the_addressed_configuration_with_the_recent_system_logs(self):
        messages = self.fire("--type", "test", "--code", "1", expected_result="TestEmailSucceeded (1)",
                             expected_status=0)
        self.assertEqual(len(messages), 1)
        self.check(self.single(OPERATIONS), SYSTEM_NAME + " - Test email", "1test.txt",
                   ["= TEST EMAIL ===", " - Info - 00C00F00 - Test email\n", "Host address: https://192.0.2.17\n",
                    "P/N: UPS3K-RT-230\n", "C/N: Network Management Card 3\n"],
                   {name: log_tail(name) for name in SYSTEM_LOGS})

    def test_alarm_reaches_every_subscribed_configuration_with_its_own_selection(self):
        messages = self.fire("--type", "ups", "--level", "critical", "--state", "active", "--code", "2B00",
                             "--date", "2026-11-22 10:15:00", "--description", "On battery",
                             expected_result="Success (0)", expected_status=0)
        self.assertEqual(len(messages), 2)
        line = "2026-11-22 10:15:00 - Critical - Active - 00002B00 - On battery\n"
        subject = SYSTEM_NAME + " - Alarm - Active - Critical - On battery"
        self.check(self.single(OPERATIONS), subject, "1ups.txt",
                   ["== ALARM LIST ===", line, "Host address: https://192.0.2.17\n"],
                   {"logAlarm.csv": recent_alarm_export(), "ups.csv": measures(UPS_RECORDS),
                    "sensors.csv": measures(SENSOR_RECORDS)})
        facilities = self.single(FACILITIES)
        self.check(facilities, subject, "2ups.txt", [line], {})
        self.assertIn("E-mails handed to the SMTP server smtp://127.0.0.1:%d: 2\n" % self.port, self.output.stdout)
        for to in ["ops@example.com", "facilities@example.com, noc@example.com"]:
            self.assertIn("  To: %s  Subject: %s\n" % (to, subject), self.output.stdout)
        self.assertNotIn("Host address:", facilities.get_body(preferencelist=("plain",)).get_content())

    def test_card_event_goes_only_to_the_configuration_subscribed_to_card_events(self):
        messages = self.fire("--type", "card", "--level", "warning", "--code", "1A", "--date", "2026-11-22 11:00:00",
                             "--description", "NTP server not reachable", expected_result="Success (0)",
                             expected_status=0)
        self.assertEqual(len(messages), 1)
        self.check(self.single(OPERATIONS), SYSTEM_NAME + " - System event - Warning - NTP server not reachable",
                   "1card.txt",
                   ["= SYSTEM EVENT LIST ===", "2026-11-22 11:00:00 - Warning - 0000001A - NTP server not reachable\n"],
                   {name: log_tail(name) for name in SYSTEM_LOGS})

    def test_exception_event_replaces_the_alarm_only_where_it_is_listed(self):
        messages = self.fire("--type", "ups", "--level", "warning", "--state", "cleared", "--code", "2a01",
                             "--date", "2026-11-22 12:00:00", "--description", "Bypass \"active\"",
                             expected_result="Success (0)", expected_status=0)
        self.assertEqual(len(messages), 2)
        self.check(self.single(OPERATIONS), SYSTEM_NAME + ' - Exception event - Warning - Bypass "active"',
                   "1ups.txt",
                   ["== EXCEPTION EVENT ===", '2026-11-22 12:00:00 - Warning - 00002a01 - Bypass "active"\n'],
                   {"logAlarm.csv": recent_alarm_export()})
        self.check(self.single(FACILITIES), SYSTEM_NAME + ' - Alarm - Cleared - Warning - Bypass "active"',
                   "2ups.txt", ['2026-11-22 12:00:00 - Warning - Cleared - 00002a01 - Bypass "active"\n'], {})

    def test_periodic_report_covers_the_period_with_logs_cut_to_it(self):
        start = period_start("1")
        messages = self.fire("--type", "periodic", "--code", "1", expected_result="TestEmailSucceeded (1)",
                             expected_status=0)
        self.assertEqual(len(messages), 1)
        since = utc(start)
        attachments = {name: log_from(name, start) for name in SYSTEM_LOGS}
        attachments["logAlarm.csv"] = alarm_export_from(start)
        attachments["ups.csv"] = measures(UPS_RECORDS, start)
        attachments["sensors.csv"] = measures(SENSOR_RECORDS, start)
        self.check(self.single(OPERATIONS), SYSTEM_NAME + " - Periodic report", "1report.txt",
                   ["= PERIODIC REPORT ===", "The following is a periodic report of the period from %s to " % since,
                    "Battery needs replacement"], attachments)

    def test_test_email_for_a_disabled_configuration_fails_without_mail(self):
        messages = self.fire("--type", "test", "--code", "3", expected_result="TestEmailFailed (-1)",
                             expected_status=1)
        self.fire("--type", "test", expected_result="Success (0)", expected_status=0)
        self.assertIn("warning: no configuration is addressed", self.output.stderr)
        self.assertEqual(messages, [])


class RefusedDeliveryTest(SimulatorCase):
    refuse = True

    def test_refused_alarm_is_a_send_error(self):
        self.fire("--type", "ups", "--level", "critical", "--code", "2B00", "--description", "On battery",
                  expected_result="SendError (-2)", expected_status=1)

    def test_refused_test_email_is_a_failed_test_with_the_servers_answer(self):
        self.fire("--type", "test", "--code", "2", expected_result="TestEmailFailed (-1)", expected_status=1)
        self.assertIn("No e-mail was handed to the SMTP server", self.output.stdout)
        self.assertIn("Reason: ", self.output.stdout)
        self.assertIn("550 5.7.1 Delivery refused by the test server\n", self.output.stdout)

    def test_unreachable_server_is_a_failed_test_with_the_reason(self):
        self.port = free_port()  # nothing listens there
        self.fire("--type", "test", "--code", "1", expected_result="TestEmailFailed (-1)", expected_status=1)
        self.assertIn("No e-mail was handed to the SMTP server", self.output.stdout)
        self.assertIn("Connection refused\n", self.output.stdout)


class FaultTest(SimulatorCase):
    """Faults met by a run: the library raising, and a second run on the same card paths."""

    def card_with(self, replacements, extra=""):
        """A copy of the example card with texts replaced and `extra` added."""
        text = read(CARD).decode()
        for old, new in replacements:
            text = text.replace(old, new)
        with tempfile.NamedTemporaryFile("w", prefix="card", suffix=".txtpb", delete=False) as f:
            f.write(text + extra)
        self.addCleanup(os.remove, f.name)
        return f.name

    def test_exception_leaving_the_library_is_printed_with_status_2(self):
        card = self.card_with([], 'failingOperation: "getDeviceVendor"\n')
        self.fire("--type", "ups", "--level", "critical", "--code", "2B00", card=card, expected_result=None,
                  expected_status=2)
        self.assertIn("an exception left the library: simulated data store failure in getDeviceVendor\n",
                      self.output.stderr)

    def test_two_cards_fired_at_the_same_moment_keep_their_own_bodies_and_attachments(self):
        other = self.card_with([("Server room UPS", "Lab UPS"), ("battery", "cell"), ("230.", "115."),
                                ("humidity", "moisture")])
        event = ["--type", "ups", "--level", "critical", "--code", "2B00", "--date", "2026-11-22 10:15:00",
                 "--description", "On battery", "--smtp", "smtp://127.0.0.1:%d" % self.port]

        def summary(recipients, message):
            body = message.get_body(("plain",))  # none when another run emptied the body file
            return (message["Subject"], tuple(sorted(recipients)), body and body.get_content(),
                    sorted((part.get_filename(), part.get_content()) for part in message.iter_attachments()))

        for card in (CARD, other):  # one at a time: what each card sends
            self.fire(*event[:-2], card=card, expected_result="Success (0)", expected_status=0)
        reference = {s[:2]: s for s in (summary(*m) for m in self.recorder.messages)}
        self.assertEqual(len(reference), 4)
        self.recorder.messages.clear()
        rounds = int(os.environ.get("ROUNDS", "5"))
        for _ in range(rounds):
            runs = [subprocess.Popen(SIMULATOR + ["--card", card] + event, stdout=subprocess.PIPE,
                                     stderr=subprocess.STDOUT, text=True) for card in (CARD, other)]
            for run in runs:
                output = run.communicate(timeout=120)[0]
                self.assertEqual((run.returncode, "Result: Success (0)\n" in output), (0, True), output)
        mixed = [s[:2] for s in (summary(*m) for m in self.recorder.messages) if reference.get(s[:2]) != s]
        self.assertEqual((len(self.recorder.messages), mixed), (4 * rounds, []))


if __name__ == "__main__":
    unittest.main(verbosity=2)
