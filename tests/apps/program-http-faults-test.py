#!/usr/bin/env python3
"""Each fault of a server with each HTTP and S3 command that could take it for a success: a rule of one command is true
for its twins."""

import resource
import unittest

from fake_s3 import Fault
from program import FakeServerTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))
PAGE = b"<p>not the file</p>"


class FaultTableTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        url = f"{self.server.endpoint}/bucket/a"
        self.downloads = {
            "http get to a file": ["http", "get", url, "out/a"],
            "http get to standard output": ["http", "get", url],
            "s3 get to a file": ["s3", "get", "bucket", "a", "out/a"],
            "s3 get to standard output": ["s3", "get", "bucket", "a"],
            "s3 restore": ["s3", "restore", "bucket", "out"],
        }
        self.uploads = {
            "http put": ["http", "put", "in/a", url],
            "s3 put": ["s3", "put", "in/a", "bucket", "a"],
            "s3 backup": ["s3", "backup", "in", "bucket"],
        }
        self.others = {
            "http head": ["http", "head", url],
            "s3 head": ["s3", "head", "bucket", "a"],
            "s3 rm": ["s3", "rm", "bucket", "a"],
        }
        self.write("in/a", BODY)

    def begin(self, faults):
        """The same start for each command, with an old file under the name of the new one."""
        self.server.objects = {"a": BODY}
        self.server.modified = {}
        self.server.faults = {"a": list(faults)}
        self.write("out/a", b"old")

    def is_no_success(self, commands, faults, text=""):
        for name, arguments in commands.items():
            with self.subTest(name):
                self.begin(faults)
                result = self.run_program("--retries", "1", *arguments, code=1)
                self.assertIn(text, result.err)
                self.assertEqual(self.files_in("out"), {"a": b"old"})
                self.assertNotIn(PAGE, result.raw_out)
                self.assertTrue(BODY.startswith(result.raw_out) or "output" not in name, "other bytes")

    def test_a_response_cut_in_its_headers_is_no_success(self):
        commands = {**self.downloads, **self.uploads, **self.others}
        self.is_no_success(commands, [Fault(cut_head=True)] * 9, "ended within the headers")

    def test_a_response_cut_in_its_body_is_no_success(self):
        for cut in (0, 1, 99999):
            self.is_no_success(self.downloads, [Fault(cut=cut)] + [Fault(cut=0)] * 9)

    def test_an_announced_body_that_does_not_come_at_all_is_no_success(self):
        self.is_no_success(self.downloads, [Fault(no_body=True)] * 9, "Received 0 of the 100000 bytes")

    def test_a_refusal_is_no_success_and_its_body_no_content(self):
        commands = {**self.downloads, **self.uploads}
        for status in (400, 416, 500):
            self.is_no_success(commands, [Fault(status=status, page=PAGE)] * 9)

    def test_the_body_of_a_redirect_that_leads_nowhere_is_no_content(self):
        self.is_no_success({**self.downloads, **self.uploads}, [Fault(status=302, page=PAGE)] * 9)

    def test_the_body_of_a_redirect_is_not_taken_for_that_of_its_target(self):
        for name, arguments in self.downloads.items():
            with self.subTest(name):
                self.begin([Fault(status=307, page=PAGE, location="/bucket/b")])
                self.server.objects["b"] = BODY
                result = self.run_program(*arguments)
                if "output" in name:
                    self.assertEqual(result.raw_out, BODY)
                else:
                    self.assertEqual(self.read("out/a"), BODY)

    @not_on_windows("a limit on the size of files")
    def test_a_write_that_fails_is_no_success(self):
        files = {name: arguments for name, arguments in self.downloads.items() if "output" not in name}
        for name, arguments in files.items():
            with self.subTest(name):
                self.begin([])
                self.run_program(*arguments, code=1,
                                 before=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (50000, 50000)))
                self.assertEqual(self.files_in("out"), {"a": b"old"})


if __name__ == "__main__":
    unittest.main()
