#!/usr/bin/env python3
"""Every command tries temporary failures again, through an outage, but not for ever."""

import threading
import time
import unittest

from fake_ftp import FakeFTP
from fake_ftp import Fault as FTPFault
from fake_s3 import Fault
from program import FakeServerTest, ProgramTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))


@not_on_windows("so many starts of the program take too long there")
class EachCommandTest(FakeServerTest):
    """Each temporary failure, with each command."""

    FAILURES = {
        "429": Fault(status=429), "502": Fault(status=502), "504": Fault(status=504),
        "503": Fault(status=503, code="ServiceUnavailable"), "no digest": Fault(status=400, code="BadDigest"),
        "500": Fault(status=500, code="InternalError"), "old clock": Fault(status=403, code="RequestTimeTooSkewed"),
        "cut headers": Fault(cut_head=True),
    }

    def check(self, arguments, key, faults, check):
        self.server.objects = {"a": BODY}
        self.server.faults = {key: faults}
        self.write("f/a", BODY)
        result = self.run_program(*arguments)
        self.assertEqual(self.server.faults[key], [], "not used up")
        check(result)

    def test_each_failure_passes(self):
        def is_listed(result):
            self.assertIn("  a\n", result.out)

        def is_stored(result):
            self.assertEqual(self.server.objects.get("new"), BODY)

        def is_fetched(result):
            self.assertEqual(self.read("r/a"), BODY)
            (self.folder / "r/a").unlink()

        commands = {
            "ls": (["s3", "ls", "bucket"], "", is_listed),
            "get": (["s3", "get", "bucket", "a", "r/a"], "a", is_fetched),
            "get to a pipe": (["s3", "get", "bucket", "a"], "a", lambda result: self.assertEqual(result.raw_out, BODY)),
            "put": (["s3", "put", "f/a", "bucket", "new"], "new", is_stored),
            "head": (["s3", "head", "bucket", "a"], "a", lambda result: None),
            "rm": (["s3", "rm", "bucket", "a"], "a", lambda result: self.assertEqual(self.server.objects, {})),
            "restore": (["s3", "restore", "bucket", "r"], "a", is_fetched),
            "restore, the listing": (["s3", "restore", "bucket", "r"], "", is_fetched),
            "backup": (["s3", "backup", "f", "bucket"], "a", lambda result: self.assertIn("1 file", result.out)),
        }
        (self.folder / "r").mkdir()
        for name, (arguments, key, check) in commands.items():
            for failure, fault in self.FAILURES.items():
                # The response to HEAD has no body, and therefore no S3 code.
                if name == "head" and fault.code:
                    continue
                with self.subTest(name, failure=failure):
                    # Before the program deletes an object, it asks whether the object exists.
                    self.check(arguments, key, [None, fault] if name == "rm" else [fault], check)

    def test_a_listing_that_breaks_within_its_body_passes(self):
        self.server.objects = {str(number): b"x" for number in range(9)}
        self.server.page_size = 3
        for cut in (0, 1, 100, 300):
            self.server.faults[""] = [None, Fault(cut=cut), None, Fault(cut=cut)]
            self.assertEqual(len(self.run_program("s3", "ls", "bucket").out.splitlines()), 9)
            self.server.faults[""] = [None, Fault(cut=cut), None, Fault(cut=cut)]
            self.assertIn("restored: 9 files", self.run_program("s3", "restore", "bucket", f"r{cut}").out)

    def test_what_is_final_is_not_tried_again(self):
        self.server.objects = {"a": BODY}
        for status, code in ((403, "AccessDenied"), (400, "EntityTooLarge"), (400, ""), (501, "NotImplemented")):
            self.server.requests.clear()
            self.server.faults["a"] = [Fault(status=status, code=code)] * 2
            self.run_program("s3", "get", "bucket", "a", "f", code=None)
            self.assertEqual(len(self.server.requests), 1, (status, code))

    def test_a_wrong_clock_is_told_after_one_more_try(self):
        self.server.objects = {"a": BODY}
        self.server.faults["a"] = [Fault(status=403, code="RequestTimeTooSkewed")] * 9
        self.assertIn("Set this computer's clock", self.run_program("s3", "get", "bucket", "a", "f", code=4).err)
        self.assertEqual(len(self.server.requests), 2)

    def test_the_server_says_when(self):
        self.server.objects = {"a": BODY}
        for arguments, key in ((["s3", "ls", "bucket"], ""), (["s3", "get", "bucket", "a", "f"], "a")):
            for status in (429, 503):
                self.server.faults[key] = [Fault(status=status, retry_after="100")]
                began = time.monotonic()
                result = self.run_program("--log-level", "info", *arguments)
                # Pauses are multiplied by 0.01.
                self.assertGreater(time.monotonic() - began, 1)
                self.assertIn("trying again in 1.0 s", result.err)


class OutageTest(FakeServerTest):
    COUNT = 40

    def test_a_backup_survives_it(self):
        for number in range(self.COUNT):
            self.write(f"f/{number:02}", BODY)
        self.server.faults["07"] = [Fault(then=lambda: self.server.go_away(1))]
        result = self.run_program("--log-level", "info", "s3", "backup", "f", "bucket")
        self.assertEqual(self.server.objects, self.files_in("f"))
        self.assertIn("trying again", result.err)

    def test_a_restore_survives_it_also_of_the_listing(self):
        for key in ("07", ""):
            with self.subTest(key):
                self.server.objects = {f"{number:02}": BODY for number in range(self.COUNT)}
                self.server.page_size = 10
                self.server.faults = {key: [None] * (key == "") + [Fault(then=lambda: self.server.go_away(1))]}
                self.run_program("s3", "restore", "bucket", f"r{key}")
                self.assertEqual(self.files_in(f"r{key}"), self.server.objects)

    def test_it_ends_when_the_patience_does(self):
        self.server.objects = {f"{number:02}": BODY for number in range(self.COUNT)}
        for key in self.server.objects:
            self.server.faults[key] = [Fault(status=500, code="InternalError")] * 10000
        began = time.monotonic()
        result = self.run_program("--patience", "2", "s3", "restore", "--jobs", "2", "bucket", "r", code=1)
        elapsed = time.monotonic() - began
        self.assertGreater(elapsed, 2)
        # No file waits again.
        self.assertLess(elapsed, 20)
        self.assertEqual(result.err.count("NOT restored: "), self.COUNT)

    def test_without_patience_nothing_is_tried_again(self):
        self.server.objects = {"a": BODY}
        self.server.faults[""] = [Fault(status=500, code="InternalError")]
        self.run_program("--patience", "0", "s3", "ls", "bucket", code=1)
        self.assertEqual(len(self.server.requests), 1)
        for value in ("-1", "x", ""):
            self.run_program("--patience", value, "s3", "ls", "bucket", code=2)

    def test_a_long_pause_is_told(self):
        self.environment.pop("VEXIL_TEST_PAUSE_FACTOR")
        self.server.objects = {"a": BODY}
        self.server.faults["a"] = [Fault(status=503, retry_after="6")]
        process = self.start("s3", "get", "bucket", "a", "f")
        line = process.stderr.readline()
        self.assertIn(b"(try 1); trying again in 6.0 s", line)
        self.assertEqual(self.interrupt(process).code, 130)


class FTPOutageTest(ProgramTest):
    def test_backup_and_restore_survive_it(self):
        server = FakeFTP()
        self.addCleanup(server.close)
        self.environment.update(VEXIL_FTP_SERVER=server.address, VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")
        for number in range(20):
            self.write(f"f/{number:02}", BODY)
        outage = [FTPFault(reply="421 Going down.")] * 30
        server.faults["STOR */.07.*"] = list(outage)
        self.run_program("ftp", "--tls", "none", "backup", "f", "/x")
        self.assertEqual({name[3:]: body for name, body in server.files.items()}, self.files_in("f"))
        server.faults = {"RETR /x/07": list(outage), "MLSD /x*": [FTPFault(reply="451 Later.")] * 30}
        self.run_program("ftp", "--tls", "none", "restore", "/x", "r")
        self.assertEqual(self.files_in("r"), self.files_in("f"))


if __name__ == "__main__":
    unittest.main()
