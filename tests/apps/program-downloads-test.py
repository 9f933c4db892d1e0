#!/usr/bin/env python3
"""Downloads in parts: `s3 get` and `s3 restore`, with a server that fails."""

import hashlib
import os
import unittest

from fake_s3 import Fault
from fake_s3_uploads import FakeS3WithUploads
from program import FakeServerTest, not_on_windows

MEBIBYTE = 1 << 20
PART = MEBIBYTE
# Four parts.
LARGE = bytes(range(251)) * (7 * MEBIBYTE // 2 // 251)
SMALL = b"small" * 1000
RANGES = [(begin, min(begin + PART, len(LARGE)) - 1) for begin in range(0, len(LARGE), PART)]


def in_parts(size):
    """The ETag of an object that was uploaded in parts of this size."""
    md5s = [hashlib.md5(LARGE[begin:begin + size]).digest() for begin in range(0, len(LARGE), size)]
    return f'"{hashlib.md5(b"".join(md5s)).hexdigest()}-{len(md5s)}"'


class DownloadTest(FakeServerTest):
    server_class = FakeS3WithUploads

    def setUp(self):
        super().setUp()
        self.server.objects["large"] = LARGE
        self.server.lists_etags = True
        # Each fetches the same object to d/large.
        (self.folder / "d").mkdir()
        self.commands = (["get", "bucket", "large", "d/large"], ["restore", "bucket", "d"])

    def s3(self, *arguments, code=0, part_size="1", **options):
        return self.run_program("s3", *arguments, "--part-size", part_size, code=code, **options)

    def clear(self):
        for path in (self.folder / "d").iterdir():
            path.unlink()
        self.server.requests.clear()
        self.server.faults.clear()

    def names(self):
        return sorted(path.name for path in (self.folder / "d").iterdir())

    # ---- success -----------------------------------------------------------------------------------------

    def test_a_large_object_is_read_in_parts(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.s3(*arguments)
                self.assertEqual(self.files_in("d"), {"large": LARGE})
                self.assertEqual(self.names(), ["large"])
                self.assertEqual(sorted(self.server.ranges("large")), RANGES)
                conditions = {headers.get("If-Match") for headers in self.server.gets("large")}
                self.assertEqual(conditions, {None, self.server.etag("large")})

    def test_by_default_an_object_is_read_in_parts_above_64_MiB(self):
        for size, parts in ((64 * MEBIBYTE, 0), (64 * MEBIBYTE + 1, 9)):
            self.server.objects["large"] = body = bytes(size)
            for arguments in self.commands:
                with self.subTest(arguments, size=size):
                    self.clear()
                    self.run_program("s3", *arguments)
                    self.assertTrue((self.folder / "d/large").read_bytes() == body)
                    self.assertEqual(len(self.server.ranges("large")), parts)

    def test_get_asks_once_for_a_small_object(self):
        self.server.objects["small"] = SMALL
        self.s3("get", "bucket", "small", "d/small")
        self.assertEqual(self.read("d/small"), SMALL)
        self.assertEqual(len(self.server.requests), 1)

    def test_standard_output(self):
        for size in (0, PART, len(LARGE)):
            self.server.objects["large"] = LARGE[:size]
            self.assertEqual(self.s3("get", "bucket", "large").raw_out, LARGE[:size])

    @not_on_windows("it has no such devices")
    def test_a_pipe_gets_the_bytes(self):
        os.mkfifo(self.folder / "pipe")
        process = self.start("s3", "get", "bucket", "large", "pipe", "--part-size", "1")
        self.assertTrue((self.folder / "pipe").read_bytes() == LARGE)
        self.assertEqual(self.finish(process).code, 0)
        self.assertTrue((self.folder / "pipe").is_fifo())

    def test_large_objects_follow_after_small_ones(self):
        for key in ("a", "z", "sub/m"):
            self.server.objects[key] = SMALL
        self.server.objects["larger"] = LARGE + b"x"
        result = self.s3("restore", "bucket", "d")
        self.assertEqual(self.files_in("d"), self.server.objects)
        keys = [key for method, key, _ in self.server.requests if method == "GET" and key]
        self.assertEqual(sorted(keys[:3]), ["a", "sub/m", "z"])
        self.assertIn(keys[3:], (["large"] * 4 + ["larger"] * 4, ["larger"] * 4 + ["large"] * 4))
        self.assertIn("restored: 5 files", result.out)

    def test_jobs_are_the_parts_at_once(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.server.most_at_once = 0
                self.s3(*arguments, "--jobs", "2")
                self.assertTrue((self.folder / "d/large").read_bytes() == LARGE)
                self.assertLessEqual(self.server.most_at_once, 2)

    def test_an_object_without_a_strong_etag_is_read_by_one_request(self):
        for etag in ("", 'W/"abc"'):
            self.server.sends_etag = self.server.lists_etags = bool(etag)
            self.server.etags["large"] = etag
            for arguments in self.commands:
                with self.subTest(arguments, etag=etag):
                    self.clear()
                    self.s3(*arguments)
                    self.assertTrue((self.folder / "d/large").read_bytes() == LARGE)
                    self.assertEqual(self.server.ranges("large"), [])

    def test_an_object_that_was_uploaded_in_parts_is_compared_by_its_parts(self):
        self.server.objects["large"] = body = (LARGE * 2)[:6 * MEBIBYTE]
        self.server.part_sizes["large"] = 5 * MEBIBYTE
        md5s = b"".join(hashlib.md5(part).digest() for part in (body[:5 * MEBIBYTE], body[5 * MEBIBYTE:]))
        self.server.etags["large"] = f'"{hashlib.md5(md5s).hexdigest()}-2"'
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.run_program("s3", *arguments)
                self.assertTrue((self.folder / "d/large").read_bytes() == body)
                self.clear()
                self.server.faults["large@0"] = [Fault(flip=6 * MEBIBYTE - 1), Fault(flip=5)]
                self.run_program("s3", *arguments, code=1)
                self.assertEqual(self.names(), [])

    # ---- failures ----------------------------------------------------------------------------------------

    def test_a_broken_part_continues(self):
        for fault in (Fault(cut=1000), Fault(status=500, code="InternalError"), Fault(cut_head=True),
                      Fault(status=503, code="SlowDown", retry_after="0")):
            for arguments in self.commands:
                with self.subTest(arguments, fault=vars(fault)):
                    self.clear()
                    self.server.faults[f"large@{PART}"] = [fault]
                    self.s3(*arguments)
                    self.assertTrue((self.folder / "d/large").read_bytes() == LARGE)
                    again = [wanted for wanted in self.server.ranges("large") if wanted not in RANGES]
                    begin = PART + (fault.cut or 0)
                    self.assertEqual(again, [(begin, 2 * PART - 1)] if fault.cut else [])

    def test_a_wrong_content_is_found(self):
        for etag in (self.server.etag("large"), in_parts(PART), in_parts(2 * PART)):
            self.server.etags["large"] = etag
            self.server.part_sizes["large"] = 2 * PART if etag == in_parts(2 * PART) else PART
            for arguments in self.commands:
                with self.subTest(arguments, etag=etag):
                    self.clear()
                    self.s3(*arguments)
                    self.assertTrue((self.folder / "d/large").read_bytes() == LARGE)
                    self.clear()
                    self.server.faults[f"large@{2 * PART}"] = [Fault(flip=2 * PART + 7)]
                    result = self.s3(*arguments, code=1)
                    self.assertIn("The content of 'large'", result.err)
                    self.assertEqual(self.names(), [])
                    self.clear()
                    self.s3(*arguments)

    def test_a_content_that_cannot_be_compared_is_told(self):
        self.server.etags["large"] = '"unknown"'
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                result = self.run_program("--log-level", "info", "s3", *arguments, "--part-size", "1")
                self.assertIn("'large' has an ETag with which its content cannot be compared", result.err)

    def test_a_failed_download_continues_with_the_missing_parts(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.server.faults[f"large@{2 * PART}"] = [Fault(status=403, code="AccessDenied")]
                self.s3(*arguments, "--jobs", "1", code=None)
                self.assertEqual(len(self.names()), 1)
                self.assertIn(".large.vexil-part-", self.names()[0])
                self.server.requests.clear()
                self.s3(*arguments)
                self.assertTrue((self.folder / "d/large").read_bytes() == LARGE)
                self.assertEqual(self.names(), ["large"])
                self.assertNotIn(RANGES[0], self.server.ranges("large"))
                self.assertNotIn(RANGES[1], self.server.ranges("large"))

    def test_a_restore_that_fails_twice_keeps_its_parts(self):
        for done in (1, 2):
            self.server.faults[f"large@{done * PART}"] = [Fault(status=403, code="AccessDenied")]
            self.s3("restore", "bucket", "d", "--jobs", "1", code=1)
            self.assertEqual(len(self.names()), 1)
        self.server.requests.clear()
        self.s3("restore", "bucket", "d")
        self.assertEqual(self.names(), ["large"])
        self.assertNotIn(RANGES[1], self.server.ranges("large"))

    def test_a_killed_download_continues_with_the_missing_parts(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.server.held.clear()
                self.server.faults[f"large@{2 * PART}"] = [Fault(cut=10, hold=True)]
                process = self.start("s3", *arguments, "--part-size", "1", "--jobs", "1")
                self.assertTrue(self.server.held.wait(60))
                process.kill()
                process.communicate()
                self.server.requests.clear()
                self.s3(*arguments)
                self.assertTrue((self.folder / "d/large").read_bytes() == LARGE)
                self.assertEqual(self.names(), ["large"])
                self.assertNotIn(RANGES[0], self.server.ranges("large"))
                self.assertIn(RANGES[3], self.server.ranges("large"))

    def test_an_interrupt_ends_it(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.server.held.clear()
                self.server.faults[f"large@{2 * PART}"] = [Fault(cut=10, hold=True)]
                process = self.start("s3", *arguments, "--part-size", "1", "--jobs", "1")
                self.assertTrue(self.server.held.wait(60))
                self.assertEqual(self.interrupt(process).code, 130)
                self.assertNotIn("large", self.names())

    def test_an_object_that_is_replaced_meanwhile_is_an_error(self):
        def replace():
            self.server.objects["large"] = LARGE[::-1]

        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.server.objects["large"] = LARGE
                self.server.faults[f"large@{PART}"] = [Fault(then=replace)]
                result = self.s3(*arguments, "--jobs", "1", code=1)
                self.assertIn("replaced", result.err)
                self.assertEqual(self.names(), [])

    def test_one_failed_object_is_listed_and_the_others_are_restored(self):
        self.server.objects["larger"] = LARGE + b"x"
        self.server.faults["large@0"] = [Fault(status=403, code="AccessDenied")]
        result = self.s3("restore", "bucket", "d", code=1)
        self.assertIn("NOT restored: large:", result.err)
        self.assertIn("FAILED: 1 object", result.out)
        self.assertTrue((self.folder / "d/larger").read_bytes() == LARGE + b"x")


if __name__ == "__main__":
    unittest.main()
