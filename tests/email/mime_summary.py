#!/usr/bin/python3
"""Prints every message of a Maildir's new/ folder in a fixed, comparable form.

For each message, oldest name first:
  To: <To header>
  Subject: <decoded Subject header>
  then, per leaf MIME part:
  -- part <content type> [<attachment file name>]
  <decoded content, byte for byte>

Used by the e-mail tests to check what the sendemail stand-in delivered. Needs Debian's python3
(the standard library's email package only).
"""
import os
import sys
from email import policy
from email.parser import BytesParser


def summarize(path, out):
    with open(path, "rb") as handle:
        message = BytesParser(policy=policy.default).parse(handle)
    out.write(b"To: " + str(message["To"]).encode() + b"\n")
    out.write(b"Subject: " + str(message["Subject"]).encode() + b"\n")
    for part in message.walk():
        if part.is_multipart():
            continue
        name = part.get_filename()
        header = "-- part " + part.get_content_type() + (" " + name if name else "")
        out.write(header.encode() + b"\n")
        out.write(part.get_payload(decode=True) or b"")


def main():
    new = os.path.join(sys.argv[1], "new")
    out = sys.stdout.buffer
    for name in sorted(os.listdir(new)):
        summarize(os.path.join(new, name), out)
    return 0


if __name__ == "__main__":
    sys.exit(main())
