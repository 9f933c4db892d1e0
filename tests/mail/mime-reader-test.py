"""Reads generated messages with Python's email package, which must find the original values.

Usage: mime-reader-test.py [LAUNCHER] PROGRAM    (see GeneratedMessages.cpp for what it writes)
"""
import email
import email.header
import email.policy
import email.utils
import re
import subprocess
import sys
import unittest

ENCODED_WORD = re.compile(rb"=\?utf-8\?q\?([^? ]*)\?=")
MESSAGES = 300


def decode_word(payload):
    def byte(match):
        return bytes([int(match[1], 16)])
    return re.sub(rb"=([0-9A-F]{2})", byte, payload)


def read_addresses(raw, name):
    """Uses the older functions of the package: the newer ones keep the spaces between the encoded words of a display
    name, which must be ignored by RFC 2047, 6.2."""
    field = email.message_from_bytes(raw)[name]
    for display_name, address in email.utils.getaddresses([field]):
        yield str(email.header.make_header(email.header.decode_header(display_name))), address


class Expected:
    """The lines of one message, taken one after another."""

    def __init__(self, raw):
        self.raw = raw
        self.lines = []


def read_messages(command):
    output = subprocess.run(command, check=True, stdout=subprocess.PIPE).stdout.decode("ascii")
    messages = []
    for line in output.splitlines():
        word, *values = line.split(" ")
        values = [bytes.fromhex(value) for value in values]
        if word == "message":
            messages.append(Expected(values[0]))
        else:
            messages[-1].lines.append((word, values))
    return messages


class MimeReader(unittest.TestCase):
    def test_messages(self):
        messages = read_messages(COMMAND)
        self.assertEqual(len(messages), MESSAGES)
        kinds = set()
        for number, expected in enumerate(messages):
            with self.subTest(message=number):
                self.check_lines(expected.raw)
                message = email.message_from_bytes(expected.raw, policy=email.policy.default)
                lines = iter(expected.lines)
                self.check_part(message, lines)
                self.check_fields(message, expected.raw, lines)
            kinds.update(word for word, _ in expected.lines)
        self.assertEqual(kinds, {"field", "addresses", "multipart", "text", "attachment", "end"})

    def check_lines(self, raw):
        self.assertTrue(raw.isascii())
        self.assertNotRegex(raw.replace(b"\r\n", b""), rb"[\r\n]")
        header = raw[:raw.index(b"\r\n\r\n")]
        for line in header.split(b"\r\n"):
            self.assertLessEqual(len(line), 998)
        for word in ENCODED_WORD.finditer(header):
            self.assertLessEqual(len(word[0]), 75)
            self.assertRegex(word[1], rb"^(?:[A-Za-z0-9]|=[0-9A-F]{2})+$")
            decode_word(word[1]).decode("utf-8")  # no character is split

    def check_fields(self, message, raw, lines):
        for word, values in lines:
            name = values[0].decode()
            self.assertEqual(list(message[name].defects), [])
            if word == "field":
                self.assertEqual(str(message[name]), values[1].decode())
            else:
                self.assertEqual(word, "addresses")
                texts = [value.decode() for value in values[1:]]
                self.assertEqual([address.addr_spec for address in message[name].addresses], texts[1::2])
                self.assertEqual(list(read_addresses(raw, name)), list(zip(texts[::2], texts[1::2])))

    def check_part(self, part, lines):
        self.assertEqual(part.defects, [])
        self.assertEqual(part["MIME-Version"], "1.0")
        word, values = next(lines)
        if word == "multipart":
            self.check_parts(part, values[0].decode(), lines)
        elif word == "text":
            self.assertEqual(part.get_content_type(), "text/plain")
            self.assertEqual(part.get_content(), values[0].decode())
        else:
            self.assertEqual(word, "attachment")
            name, content_type, content = values
            self.assertEqual(part.get_content_disposition(), "attachment")
            self.assertEqual(part["Content-Disposition"].params["filename"], name.decode())
            self.assertEqual(part.get_filename(), name.decode().strip())  # which it strips
            self.assertEqual(part.get_content_type(), content_type.decode())
            self.assertEqual(part.get_content(), content)

    def check_parts(self, part, subtype, lines):
        self.assertEqual(part.get_content_type(), "multipart/" + subtype)
        for child in part.iter_parts():
            self.check_part(child, lines)
        self.assertEqual(next(lines), ("end", []))


if __name__ == "__main__":
    COMMAND = sys.argv[1:]
    del sys.argv[1:]
    unittest.main()
