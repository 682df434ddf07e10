"""Reads a message from standard input and prints what a mail reader makes of it, as JSON."""

import email
import email.policy
import json
import sys

raw = sys.stdin.buffer.read()
message = email.message_from_bytes(raw, policy=email.policy.default)
print(json.dumps({
    "headers": [[name, str(value)] for name, value in message.items()],
    "defects": [str(defect) for defect in message.defects]
               + [str(defect) for name in message.keys() for defect in message[name].defects],
    "to": [address.addr_spec for address in message["To"].addresses],
    "date": message["Date"].datetime.timestamp(),
    "body": message.get_content().replace("\r\n", "\n"),
    "multipart": message.is_multipart(),
    "longest": max(len(line) for line in raw.split(b"\n")),
    "ascii": raw.isascii(),
}))
