#!/usr/bin/env python3
"""The program with standard streams that are closed, full or unreadable."""

import itertools
import os
import pty
import select
import time
import tty
import unittest

from fake_ftp import Fault as FTPFault
from fake_ftp import FakeFTP
from fake_s3 import FakeS3
from fake_s3 import Fault as S3Fault
from fake_smtp import FakeSMTP
from program import TIME_LIMIT, ProgramTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))
SEND = ["mail", "send", "--from", "a@example.com", "--to", "b@example.com"]


def closing(*descriptors):
    """For `before`: the program starts without these descriptors."""
    def close():
        for descriptor in descriptors:
            os.close(descriptor)

    return close


class StreamsTest(ProgramTest):
    """The program with one file "a" on an S3, an FTP and a mail server."""

    def setUp(self):
        super().setUp()
        self.s3, self.ftp, self.smtp = FakeS3(), FakeFTP(), FakeSMTP()
        for server in (self.s3, self.ftp, self.smtp):
            self.addCleanup(server.close)
        self.s3.objects = {"a": BODY}
        self.ftp.files["/d/a"] = BODY
        self.ftp.dirs.add("/d")
        self.url = f"{self.s3.endpoint}/bucket/a"
        self.environment.update(VEXIL_S3_ENDPOINT=self.s3.endpoint, VEXIL_FTP_SERVER=self.ftp.address,
                                VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p", VEXIL_MAIL_SERVER=self.smtp.address)
        for name in ("VEXIL_MAIL_USER", "VEXIL_MAIL_PASSWORD"):
            self.environment.pop(name, None)

    def with_output(self):
        """Commands that write to standard output."""
        self.write("f/a", BODY)
        return (["http", "get", self.url], ["http", "head", self.url], ["s3", "get", "bucket", "a"],
                ["s3", "ls", "bucket"], ["s3", "head", "bucket", "a"], ["s3", "backup", "f", "bucket"],
                ["s3", "restore", "bucket", "r"], ["s3", "rm", "--recursive", "bucket", "none"],
                ["ftp", "--tls", "none", "get", "/d/a"], ["ftp", "--tls", "none", "ls", "/d"],
                ["ftp", "--tls", "none", "stat", "/d/a"], ["ftp", "--tls", "none", "backup", "f", "/e"],
                ["ftp", "--tls", "none", "restore", "/d", "t"],
                ["mail", "test", "--security", "unencrypted"], ["compare", "f", "f"], ["--help"], ["--version"],
                ["http", "--help"], ["s3", "backup", "--help"])


@not_on_windows("descriptors")
class ClosedTest(StreamsTest):
    def test_no_message_gets_into_a_file(self):
        targets = {"http": ["http", "get", self.url, "r/a"], "s3": ["s3", "get", "bucket", "a", "r/a"],
                   "ftp": ["ftp", "--tls", "none", "get", "/d/a", "r/a"]}
        for count in (1, 2, 3):
            for descriptors in itertools.combinations(range(3), count):
                for name, arguments in targets.items():
                    with self.subTest(name, closed=descriptors):
                        self.write("r/a", b"old")
                        self.run_program("--log-level", "debug", *arguments, before=closing(*descriptors))
                        self.assertEqual(self.files_in("r"), {"a": BODY})

    def test_no_message_gets_to_a_server(self):
        self.write("f", BODY)
        for descriptors in ((0, 1, 2), (1, 2), (2,)):
            with self.subTest(closed=descriptors):
                self.smtp.mails.clear()
                self.run_program("--log-level", "debug", *SEND, "--security", "unencrypted", "--attach", "f",
                                 before=closing(*descriptors))
                mail, = self.smtp.mails
                self.assertNotIn("vexil: ", mail)
                self.assertNotIn("response", mail)
                self.run_program("--log-level", "debug", "s3", "put", "f", "bucket", "b",
                                 before=closing(*descriptors))
                self.assertEqual(self.s3.objects.pop("b"), BODY)
                self.run_program("--log-level", "debug", "ftp", "--tls", "none", "put", "f", "/d/b",
                                 before=closing(*descriptors))
                self.assertEqual(self.ftp.files.pop("/d/b"), BODY)

    def test_a_closed_output_is_an_error_of_each_command_that_writes_there(self):
        for arguments in self.with_output():
            with self.subTest(arguments):
                result = self.run_program(*arguments, code=1, before=closing(1))
                self.assertEqual(result.err.count("Cannot write to standard output: Bad file descriptor"), 1, result)

    def test_a_closed_output_does_not_matter_to_other_commands(self):
        self.write("f", BODY)
        for arguments in (["http", "get", self.url, "r"], ["s3", "put", "f", "bucket", "b"],
                          ["ftp", "--tls", "none", "put", "f", "/d/b"], ["s3", "mb", "bucket"],
                          [*SEND, "--security", "unencrypted"]):
            with self.subTest(arguments):
                self.assertEqual(self.run_program(*arguments, before=closing(1)).err, "")

    def test_nothing_is_asked_for_that_cannot_be_written(self):
        for arguments in (["http", "get", self.url], ["s3", "get", "bucket", "a"],
                          ["ftp", "--tls", "none", "get", "/d/a"]):
            self.run_program(*arguments, code=1, before=closing(1))
        self.assertEqual((self.s3.requests, self.ftp.commands), ([], []))

    def test_an_error_keeps_its_exit_code_without_standard_error(self):
        self.run_program("http", "get", self.url + "-none", "f", code=3, before=closing(2))
        self.run_program("nonsense", code=2, before=closing(2))
        self.run_program("nonsense", code=2, before=closing(0, 1, 2))


@not_on_windows("a device")
class FullTest(StreamsTest):
    def test_a_full_output_is_an_error_of_each_command_that_writes_there(self):
        with open("/dev/full", "wb") as full:
            for arguments in self.with_output():
                with self.subTest(arguments):
                    result = self.run_program(*arguments, code=1, stdout=full)
                    self.assertEqual(result.err.count("Cannot write to standard output: No space left on device"), 1,
                                     result)

    def test_the_reason_is_that_of_the_first_bytes_that_were_lost(self):
        self.s3.objects = {f"{number:05}": b"" for number in range(5000)}
        self.s3.page_size = 1000
        for before, reason in ((None, "No space left on device"), (closing(1), "Bad file descriptor")):
            with open("/dev/full", "wb") as full:
                result = self.run_program("s3", "ls", "bucket", code=1, stdout=full, before=before)
                self.assertIn(f"Cannot write to standard output: {reason}", result.err)


@not_on_windows("streams of POSIX")
class UnreadableTest(StreamsTest):
    """Sources that do not deliver all their bytes."""

    def refuse(self, *arguments, reason, code=1, **options):
        result = self.run_program(*arguments, code=code, **options)
        self.assertIn(reason, result.err)
        self.assertEqual(self.smtp.commands, [], "nothing is sent")

    def send_input(self, stdin, reason, **options):
        self.refuse(*SEND, "--security", "unencrypted", "--text", "-", stdin=stdin, reason=reason, **options)

    def test_a_closed_input_is_no_empty_mail(self):
        self.send_input(None, "Cannot read standard input: Bad file descriptor", before=closing(0))

    def test_an_input_that_cannot_be_read_is_no_empty_mail(self):
        for path, flags, reason in ((self.folder, os.O_RDONLY, "Is a directory"),
                                    (self.write("f"), os.O_WRONLY, "Bad file descriptor")):
            descriptor = os.open(path, flags)
            self.addCleanup(os.close, descriptor)
            self.send_input(descriptor, f"Cannot read standard input: {reason}")

    def test_an_input_that_fails_half_way_is_no_shorter_mail(self):
        # If the other end of the terminal is closed, this end fails after the other end's bytes.
        terminal, other_end = pty.openpty()
        self.addCleanup(os.close, terminal)
        tty.setraw(other_end)
        os.write(other_end, b"beginning of the text\n")
        process = self.start(*SEND, "--security", "unencrypted", "--text", "-", stdin=terminal)
        # Close only after the bytes are read: otherwise the buffer of the other end may be lost.
        deadline = time.monotonic() + TIME_LIMIT
        while select.select([terminal], [], [], 0)[0]:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        os.close(other_end)
        result = self.finish(process)
        self.assertEqual(result.code, 1, result)
        self.assertIn("Cannot read standard input: Input/output error", result.err)
        self.assertEqual(self.smtp.commands, [])

    def test_an_empty_input_is_an_empty_text(self):
        self.run_program(*SEND, "--security", "unencrypted", "--text", "-")
        self.assertEqual(len(self.smtp.mails), 1)

    def test_a_file_that_does_not_tell_its_size_is_no_empty_file(self):
        # One file has no known end, and one reports that it is empty.
        for file in ("/proc/version", "/proc/self/cmdline"):
            for arguments in (["http", "put", file, self.url + "b"], ["s3", "put", file, "bucket", "b"],
                              ["ftp", "--tls", "none", "put", file, "/d/b"], [*SEND, "--text", file],
                              [*SEND, "--attach", file]):
                with self.subTest(arguments):
                    self.refuse(*arguments, reason=f"Cannot read the file '{file}': the system does not report its size")
        self.assertEqual((list(self.s3.objects), list(self.ftp.files)), (["a"], ["/d/a"]))

    def test_credentials_that_cannot_be_read_are_named(self):
        self.refuse("--credentials", self.folder, "s3", "ls", "bucket", code=2, reason="Is a directory")
        self.assertEqual(self.s3.requests, [])

    def test_a_file_that_shrinks_while_it_is_sent_is_not_stored(self):
        size = 64 * 1024 * 1024
        path = self.write("f", bytes(size))

        def shrink():
            os.truncate(path, 1000)

        for arguments in (["http", "put", "f", self.url + "b"], ["s3", "put", "f", "bucket", "ab"],
                          ["ftp", "--tls", "none", "put", "f", "/d/b"]):
            with self.subTest(arguments):
                os.truncate(path, size)
                self.s3.faults["ab"] = [S3Fault(then=shrink)]
                self.ftp.faults["STOR *"] = [FTPFault(then=shrink)]
                self.refuse(*arguments, reason="The file 'f' became shorter while it was read")
        # This server makes a file only at the end of its data, which may be after the command to delete it.
        stored = [path for path in self.ftp.files if ".vexil-part" not in path]
        self.assertEqual((list(self.s3.objects), stored), (["a"], ["/d/a"]))


if __name__ == "__main__":
    unittest.main()
