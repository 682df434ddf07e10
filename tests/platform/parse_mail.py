"""Parses messages like a mail reader, and prints them as JSON.

Without an argument, of the one message on standard input: one object. With the path of a mailbox, of every message in
it: a list.
"""

import email
import email.policy
import json
import mailbox
import sys


def describe(raw):
    message = email.message_from_bytes(raw, policy=email.policy.default)
    return {
        "headers": [[name, str(value)] for name, value in message.items()],
        "defects": [str(defect) for defect in message.defects]
                   + [str(defect) for name in message.keys() for defect in message[name].defects],
        "to": [address.addr_spec for address in message["To"].addresses],
        "date": message["Date"].datetime.timestamp(),
        "body": "" if message.is_multipart() else message.get_content().replace("\r\n", "\n"),
        "multipart": message.is_multipart(),
        "longest": max(len(line) for line in raw.split(b"\n")),
        "ascii": raw.isascii(),
    }


if len(sys.argv) > 1:
    print(json.dumps([describe(entry.as_bytes()) for entry in mailbox.mbox(sys.argv[1], create=False)]))
else:
    print(json.dumps(describe(sys.stdin.buffer.read())))
