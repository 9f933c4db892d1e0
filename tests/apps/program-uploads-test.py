#!/usr/bin/env python3
"""Uploads in parts: `s3 put` and `s3 backup`, with a server that fails."""

import hashlib
import os
import pathlib
import signal
import ssl
import subprocess
import threading
import time
import unittest

from fake_s3 import Fault
from fake_s3_uploads import FakeS3WithUploads
from program import ENDINGS, TIME_LIMIT, FakeServerTest, not_on_windows

MAKE_CERTIFICATES = pathlib.Path(__file__).resolve().parents[1] / "servers" / "certificates.sh"
MEBIBYTE = 1 << 20
PART = 5 * MEBIBYTE
# Three parts of 5 MiB.
LARGE = bytes(range(251)) * (12 * MEBIBYTE // 251)
SMALL = b"small" * 1000
METADATA = "x-amz-meta-vexil-part-size"


class UploadBase(FakeServerTest):
    server_class = FakeS3WithUploads

    def setUp(self):
        super().setUp()
        self.write("f/large", LARGE)
        # Each is the same upload.
        self.commands = (["put", "f/large", "bucket", "large"], ["backup", "f", "bucket"])

    def s3(self, *arguments, code=0, part_size="5", **options):
        return self.run_program("s3", *arguments, "--part-size", part_size, code=code, **options)

    def clear(self):
        self.server.objects.clear()
        self.server.sent_parts.clear()
        self.server.requests.clear()
        self.server.targets.clear()

    def check_stored(self, objects):
        self.assertTrue(self.server.objects == objects, sorted(self.server.objects))
        self.assertEqual(self.server.uploads, {})


class UploadTest(UploadBase):
    # ---- success -----------------------------------------------------------------------------------------

    def test_a_large_file_goes_in_parts(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.s3(*arguments)
                self.check_stored({"large": LARGE})
                self.assertEqual(self.server.sent_numbers(), [1, 2, 3])
                self.assertEqual(self.server.sent_bytes(), len(LARGE))
                self.assertEqual(self.server.metadata["large"][METADATA], str(PART))
                self.assertEqual(self.server.metadata["large"]["Content-Type"], "application/octet-stream")

    def test_by_default_a_file_goes_in_parts_above_64_MiB(self):
        (self.folder / "f/large").unlink()
        path = self.write("f/file", b"begin")
        for size, parts in ((64 * MEBIBYTE, []), (64 * MEBIBYTE + 1, list(range(1, 10)))):
            os.truncate(path, size)
            digest = hashlib.md5(path.read_bytes()).digest()
            for arguments in (["put", "f/file", "bucket", "file"], ["backup", "f", "bucket"]):
                with self.subTest(arguments, size=size):
                    self.clear()
                    self.run_program("s3", *arguments)
                    self.assertEqual(hashlib.md5(self.server.objects["file"]).digest(), digest)
                    self.assertEqual(self.server.sent_numbers(), parts)
                    self.assertEqual(self.server.metadata["file"].get(METADATA), str(8 * MEBIBYTE) if parts else None)

    def test_jobs_are_the_parts_at_once(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                for jobs in (1, 2, 3):
                    self.clear()
                    self.server.most_at_once = 0
                    self.server.gate = threading.Event()
                    process = self.start("s3", *arguments, "--part-size", "5", "--jobs", jobs)
                    self.assertTrue(self.server.wait_for_transfers(jobs))
                    # One more would come at once.
                    time.sleep(0.2)
                    self.server.gate.set()
                    self.assertEqual(self.finish(process).code, 0)
                    self.check_stored({"large": LARGE})
                    self.assertEqual(self.server.most_at_once, jobs)

    def test_large_files_follow_after_small_ones(self):
        for name in ("a", "z", "sub/m"):
            self.write(f"f/{name}", SMALL)
        self.write("f/larger", LARGE + b"x")
        result = self.s3("backup", "f", "bucket", "p")
        small = {f"p/{name}": SMALL for name in ("a", "z", "sub/m")}
        self.check_stored({**small, "p/large": LARGE, "p/larger": LARGE + b"x"})
        puts = self.server.puts()
        self.assertEqual(sorted(puts[:3]), sorted(small))
        self.assertEqual([key for key in puts[3:] if puts[3:].count(key) != 3], [])
        self.assertIn("backed up: 5 files", result.out)

    def test_a_backup_over_changed_files(self):
        self.s3("backup", "f", "bucket")
        changed = LARGE[::-1]
        self.write("f/large", changed)
        self.s3("backup", "f", "bucket")
        self.check_stored({"large": changed})
        self.write("f/large", SMALL)
        self.server.etags.clear()
        self.s3("backup", "f", "bucket")
        self.check_stored({"large": SMALL})

    def test_what_was_stored_in_parts_comes_back(self):
        self.write("f/small", SMALL)
        self.s3("backup", "f", "bucket", "p")
        self.run_program("s3", "restore", "bucket", "p", "r")
        self.assertEqual(self.files_in("r"), self.files_in("f"))
        self.run_program("s3", "get", "bucket", "p/large", "back")
        self.assertEqual(self.read("back"), LARGE)

    def test_standard_input(self):
        for body, parts in ((b"", []), (b"short", []), (LARGE, [1, 2, 3])):
            self.clear()
            with open(self.write("input", body), "rb") as stdin:
                self.s3("put", "-", "bucket", "k", "--metadata", "owner=kim", stdin=stdin)
            self.check_stored({"k": body})
            self.assertEqual(self.server.sent_numbers(), parts)
            self.assertEqual(self.server.metadata["k"]["x-amz-meta-owner"], "kim")
            self.assertNotIn(METADATA, self.server.metadata["k"])

    def test_a_pipe(self):
        process = self.start("s3", "put", "-", "bucket", "k", "--part-size", "5", stdin=subprocess.PIPE)
        for begin in range(0, len(LARGE), 1000000):
            process.stdin.write(LARGE[begin:begin + 1000000])
        result = self.finish(process)
        self.assertEqual(result.code, 0, result)
        self.check_stored({"k": LARGE})

    def test_metadata_cannot_have_the_name_of_the_part_size(self):
        result = self.s3("put", "f/large", "bucket", "k", "--metadata", "Vexil-Part-Size=7", code=2)
        self.assertIn("'Vexil-Part-Size'", result.err)
        self.assertEqual(self.server.requests, [])

    def test_an_existing_object_stays_with_if_absent(self):
        self.server.objects["large"] = b"old"
        result = self.s3("put", "f/large", "bucket", "large", "--if-absent", code=1)
        self.assertIn("There is an object 'large' in the bucket 'bucket' already.", result.err)
        self.check_stored({"large": b"old"})

    # ---- when the content is checked ---------------------------------------------------------------------

    def checks(self):
        return {checks for _, _, _, checks in self.server.sent_parts}

    def test_over_http_parts_are_checked_before_unless_asked(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                for options in ([], ["--upload-check", "before"], ["--upload-check", "while", "--no-verify-etag"]):
                    self.clear()
                    self.s3(*arguments, *options)
                    self.assertEqual({check[0] for check in self.checks()}, {"Content-MD5"})
                self.clear()
                self.s3(*arguments, "--upload-check", "while")
                self.assertEqual(self.checks(), {("STREAMING-AWS4-HMAC-SHA256-PAYLOAD",)})
                self.check_stored({"large": LARGE})
                self.clear()
                self.s3(*arguments, "--upload-check", "while", "--signature", "v2")
                self.assertEqual(self.checks(), {(None,)})

    def test_over_https_parts_are_read_once_unless_asked(self):
        certificates = self.folder / "certificates"
        certificates.mkdir()
        subprocess.run([MAKE_CERTIFICATES, certificates], check=True, stdin=subprocess.DEVNULL, timeout=120)
        tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        tls.load_cert_chain(certificates / "cert.pem", certificates / "key.pem")
        self.server.server.socket = tls.wrap_socket(self.server.server.socket, server_side=True)
        self.environment["VEXIL_S3_ENDPOINT"] = self.server.endpoint.replace("http:", "https:")
        before, once = {"Content-MD5"}, {"UNSIGNED-PAYLOAD"}
        for arguments in self.commands:
            for options, check in (([], once), (["--upload-check", "while"], once), (["--upload-check", "before"], before),
                                   (["--no-verify-etag"], before)):
                with self.subTest(arguments, options=options):
                    self.clear()
                    self.s3(*arguments, *options, "--ca-bundle", certificates / "ca.pem")
                    self.assertEqual({checks[0] for checks in self.checks()}, check)
                    self.check_stored({"large": LARGE})
        # An object that is one request is always checked before.
        self.write("f/large", SMALL)
        for arguments in self.commands:
            self.clear()
            self.s3(*arguments, "--ca-bundle", certificates / "ca.pem")
            self.assertIn("Content-MD5", self.server.metadata["large"])

    def test_a_small_file_is_read_once_only_on_demand(self):
        self.write("f/large", SMALL)
        for arguments in self.commands:
            for options, has_md5 in (([], True), (["--upload-check", "while"], False),
                                     (["--upload-check", "while", "--no-verify-etag"], True)):
                with self.subTest(arguments, options=options):
                    self.clear()
                    self.s3(*arguments, *options, "--signature", "v2")
                    headers = self.server.requests[0][2]
                    self.assertEqual("Content-MD5" in headers, has_md5)
                    self.check_stored({"large": SMALL})

    def test_a_wrong_etag_of_a_small_file_that_is_read_once_is_an_error(self):
        self.write("f/large", SMALL)
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                options = ("--upload-check", "while", "--signature", "v2")
                self.server.faults["large"] = [Fault(flip=7), None]
                self.s3(*arguments, *options)
                self.check_stored({"large": SMALL})
                self.assertEqual(self.server.puts(), ["large"] * 2)
                self.clear()
                self.server.faults["large"] = [Fault(flip=7)] * 9
                result = self.s3(*arguments, *options, code=1)
                self.assertIn("The service has stored other bytes", result.err)
                self.assertIn("--no-verify-etag", result.err)
                self.assertEqual(self.server.puts(), ["large"] * 3)
                self.server.faults.clear()

    def test_a_cut_body_that_is_read_once_is_sent_again_from_its_beginning(self):
        self.write("f/large", SMALL * 100)
        for options in (["--signature", "v2"], []):
            self.clear()
            self.server.faults["large"] = [Fault(cut=100000), Fault(cut=1)]
            # Over http the body of version 4 is in chunks, which the fake server does not read here.
            check = ["--upload-check", "while"] if options else []
            self.s3("put", "f/large", "bucket", "large", *options, *check)
            self.check_stored({"large": SMALL * 100})

    # ---- failures ----------------------------------------------------------------------------------------

    def test_a_failed_part_is_sent_again_from_its_beginning(self):
        for check in ("before", "while"):
            for fault in (Fault(cut=1000000), Fault(status=500, code="InternalError"),
                          Fault(status=503, code="SlowDown", retry_after="1"), Fault(flip=3000000),
                          Fault(cut_head=True)):
                for arguments in self.commands:
                    with self.subTest(arguments, check=check, fault=vars(fault)):
                        self.clear()
                        self.server.faults["large?2"] = [fault]
                        result = self.s3(*arguments, "--upload-check", check)
                        self.check_stored({"large": LARGE})
                        self.assertEqual(len(self.server.puts()), 4)
                        # A part that was cut is not complete.
                        again = [] if fault.cut else [2]
                        self.assertEqual(self.server.sent_numbers(), sorted([1, 2, 3, *again]))
                        if arguments[0] == "backup":
                            self.assertIn(", 1 retry", result.out)

    def test_one_file_that_fails_does_not_end_a_backup(self):
        self.write("f/z", SMALL)
        self.write("f/zz", LARGE)
        self.server.faults["large?2"] = [Fault(status=400, code="Strange")] * 9
        result = self.s3("backup", "f", "bucket", code=1)
        self.assertIn("NOT backed up: large: ", result.err)
        self.assertIn("FAILED: 1 entry", result.out)
        self.assertIn("backed up: 2 files", result.out)
        self.check_stored({"z": SMALL, "zz": LARGE})

    def test_the_retries_end(self):
        self.server.objects["large"] = b"old"
        for arguments in self.commands:
            with self.subTest(arguments):
                self.server.requests.clear()
                self.server.faults["large?2"] = [Fault(status=500, code="InternalError")] * 9
                self.s3(*arguments, "--retries", "3", code=1)
                self.assertEqual(len([key for key in self.server.puts() if key == "large"]), 2 + 4)
                self.check_stored({"large": b"old"})
                self.server.faults.clear()

    def test_keys_that_are_refused_end_a_backup(self):
        self.write("f/zz", LARGE)
        self.server.faults["large?begin"] = [Fault(status=403, code="AccessDenied")]
        result = self.s3("backup", "f", "bucket", code=4)
        self.assertIn("AccessDenied", result.err)
        self.assertEqual(self.server.objects, {})

    def test_an_outage_is_survived(self):
        for arguments in self.commands:
            with self.subTest(arguments):
                self.clear()
                self.server.faults["large?2"] = [Fault(cut=1000, then=lambda: self.server.go_away(1))]
                self.s3(*arguments, "--patience", "30")
                self.check_stored({"large": LARGE})

    def test_a_file_that_changes_while_it_is_sent_is_not_stored(self):
        path = self.folder / "f/large"

        def grow():
            with open(path, "ab") as file:
                file.write(b"more")

        changes = {"grows": grow, "shrinks": lambda: os.truncate(path, PART),
                   "vanishes": lambda: os.truncate(path, 0), "changes": lambda: self.write("f/large", LARGE[::-1])}
        for name, change in changes.items():
            for check in ("before", "while"):
                for arguments in self.commands:
                    with self.subTest(arguments, change=name, check=check):
                        self.write("f/large", LARGE)
                        self.clear()
                        self.server.objects["large"] = b"old"
                        self.server.faults["large?1"] = [Fault(then=change)]
                        result = self.s3(*arguments, "--jobs", "1", "--upload-check", check, code=1)
                        if arguments[0] == "backup":
                            self.assertIn("NOT backed up: large: the file was changed while it was backed up, "
                                          "and is not stored", result.err)
                        self.check_stored({"large": b"old"})

    @not_on_windows("a console cannot be interrupted there")
    def test_an_interrupt_leaves_no_parts(self):
        self.write("f/z", LARGE)
        for number, code in ENDINGS:
            for arguments in self.commands:
                with self.subTest(arguments, signal=number):
                    self.clear()
                    self.server.held.clear()
                    self.server.end.clear()
                    self.server.faults["large?2"] = [Fault(hold=True)]
                    process = self.start("s3", *arguments, "--part-size", "5")
                    self.assertTrue(self.server.held.wait(60))
                    self.assertEqual(self.interrupt(process, number).code, code)
                    self.check_stored({})
                    self.server.end.set()

    @not_on_windows("a console cannot be interrupted there")
    def test_an_interrupt_while_standard_input_is_silent(self):
        process = self.start("s3", "put", "-", "bucket", "k", "--part-size", "5", stdin=subprocess.PIPE)
        process.stdin.write(LARGE[:PART + 1000000])
        process.stdin.flush()
        deadline = time.monotonic() + TIME_LIMIT
        while not self.server.sent_parts:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(60), 130)
        process.stdin.close()
        process.stdout.close()
        process.stderr.close()
        self.check_stored({})


class ResumeTest(UploadBase):
    """`s3 put --resume`. Each test begins with an upload that has two of three parts."""

    command = ["put", "f/large", "bucket", "large", "--resume", "--jobs", "1"]

    def setUp(self):
        super().setUp()
        self.environment["XDG_STATE_HOME"] = str(self.folder / "state")
        self.environment["LOCALAPPDATA"] = str(self.folder / "state")
        self.server.objects["large"] = b"old"

    def fail_at_the_third_part(self):
        self.server.faults["large?3"] = [Fault(status=400, code="Strange")] * 2
        result = self.s3(*self.command, code=1)
        self.assertIn("the parts that were sent are kept", result.err)
        self.assertEqual(self.server.objects, {"large": b"old"})
        self.assertEqual(len(self.server.uploads), 1)
        self.server.sent_parts.clear()
        self.server.faults.clear()

    def continue_upload(self, numbers, body=LARGE, command=None):
        result = self.s3(*(command or self.command))
        self.assertEqual(self.server.sent_numbers(), numbers)
        self.assertTrue(self.server.objects["large"] == body)
        self.assertEqual([path for path in (self.folder / "state").rglob("*") if path.is_file()], [])
        return result

    def test_only_the_missing_part_is_sent_after_a_failure(self):
        self.fail_at_the_third_part()
        self.continue_upload([3])
        self.assertEqual(self.server.sent_bytes(), len(LARGE) - 2 * PART)
        self.assertEqual(self.server.uploads, {})
        self.assertEqual(self.server.metadata["large"][METADATA], str(PART))

    def test_only_the_missing_part_is_sent_after_a_kill(self):
        self.server.faults["large?3"] = [Fault(hold=True)]
        process = self.start("s3", *self.command, "--part-size", "5")
        self.assertTrue(self.server.held.wait(60))
        process.kill()
        self.finish(process)
        self.server.sent_parts.clear()
        self.continue_upload([3])
        self.assertEqual(self.server.sent_bytes(), len(LARGE) - 2 * PART)
        self.assertEqual(self.server.uploads, {})

    @not_on_windows("a console cannot be interrupted there")
    def test_an_interrupt_keeps_the_parts(self):
        self.server.faults["large?3"] = [Fault(hold=True)]
        process = self.start("s3", *self.command, "--part-size", "5")
        self.assertTrue(self.server.held.wait(60))
        result = self.interrupt(process)
        self.assertEqual(result.code, 130)
        self.assertIn("the parts that were sent are kept", result.err)
        self.server.sent_parts.clear()
        self.continue_upload([3])

    def test_parts_that_differ_are_sent_again(self):
        self.fail_at_the_third_part()
        upload, = self.server.uploads.values()
        upload[1][1] = b"x" + upload[1][1][1:]
        self.continue_upload([1, 3])

    def test_a_changed_file_begins_again(self):
        self.fail_at_the_third_part()
        changed = LARGE[::-1] + b"more"
        self.write("f/large", changed)
        err = self.continue_upload([1, 2, 3], changed).err
        self.assertIn("the file has changed since", err)
        self.assertNotIn("uploads abort", err)
        self.assertEqual(self.server.uploads, {})

    def test_advice_is_given_if_the_old_parts_cannot_be_deleted(self):
        self.fail_at_the_third_part()
        self.write("f/large", LARGE + b"more")
        self.server.faults["large?abort"] = [Fault(status=403, code="AccessDenied")]
        err = self.continue_upload([1, 2, 3], LARGE + b"more").err
        self.assertIn("deleted by: vexil s3 uploads abort", err)
        self.assertEqual(len(self.server.uploads), 1)

    def test_an_upload_that_the_server_has_deleted_begins_again(self):
        self.fail_at_the_third_part()
        self.server.uploads.clear()
        self.assertIn("the server has deleted its parts", self.continue_upload([1, 2, 3]).err)

    def test_a_damaged_state_begins_again(self):
        self.fail_at_the_third_part()
        state, = (path for path in (self.folder / "state").rglob("*") if path.is_file())
        for content in (state.read_bytes()[:-20], b"", b"\xff\x00", b"x" * 100000):
            state.write_bytes(content)
            self.server.sent_parts.clear()
            self.continue_upload([1, 2, 3])

    def test_another_object_or_other_options_begin_another_upload(self):
        for change in (["--metadata", "a=b"], ["--storage-class", "COLD"], ["--content-type", "text/plain"]):
            self.fail_at_the_third_part()
            self.s3(*self.command, *change)
            self.assertEqual(self.server.sent_numbers(), [1, 2, 3])
            self.server.sent_parts.clear()
            # The first one is still there.
            self.continue_upload([3])
            self.server.sent_parts.clear()
            self.server.objects["large"] = b"old"
            self.server.etags.clear()

    def test_an_upload_that_does_not_begin_leaves_no_state(self):
        self.server.faults["large?begin"] = [Fault(status=400, code="Strange")]
        self.assertNotIn("are kept", self.s3(*self.command, code=1).err)
        self.assertEqual([path for path in (self.folder / "state").rglob("*") if path.is_file()], [])

    def test_a_failure_while_the_upload_is_continued_keeps_it(self):
        self.fail_at_the_third_part()
        self.fail_at_the_third_part()
        self.server.faults["large?parts"] = [Fault(status=400, code="Strange")]
        self.s3(*self.command, code=1)
        self.continue_upload([3])

    def test_without_the_option_nothing_is_continued(self):
        self.fail_at_the_third_part()
        self.s3("put", "f/large", "bucket", "large")
        self.assertEqual(self.server.sent_numbers(), [1, 2, 3])

    def test_a_condition_that_is_not_met_is_no_reason_to_begin_again(self):
        self.fail_at_the_third_part()
        result = self.s3(*self.command, "--if-absent", code=1)
        self.assertIn("There is an object 'large'", result.err)
        self.assertEqual(self.server.sent_numbers(), [3])

    def test_state_that_cannot_be_stored_is_an_error_before_anything_is_sent(self):
        self.write("state", b"a file")
        self.s3(*self.command, code=1)
        self.assertEqual(self.server.requests, [])
        self.assertIn("--resume needs a file", self.s3("put", "-", "bucket", "k", "--resume", code=2).err)

    @not_on_windows("a program always has its folder there")
    def test_without_a_folder_for_the_state_nothing_is_sent(self):
        for name in ("XDG_STATE_HOME", "LOCALAPPDATA", "HOME"):
            self.environment[name] = "relative"
        self.assertIn("set XDG_STATE_HOME", self.s3(*self.command, code=1).err)
        self.assertEqual(self.server.requests, [])

    def test_a_file_that_is_one_request_needs_no_state(self):
        self.write("f/large", SMALL)
        self.continue_upload([], SMALL)


if __name__ == "__main__":
    unittest.main()
