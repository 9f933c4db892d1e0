#!/usr/bin/env python3
"""The program against a real S3 server and a real web server."""

import gzip
import os
import pathlib
import re
import sys
import time
import unittest

from program import IS_WINDOWS, TIME_LIMIT, ProgramTest, not_on_windows

sys.path.append(str(pathlib.Path(__file__).parent.parent / "servers"))
from signed_s3 import SignedS3  # noqa: E402

BUCKET = "program-test"


class S3Test(ProgramTest):
    def setUp(self):
        super().setUp()
        for name in ("VEXIL_S3_ENDPOINT", "VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY"):
            self.environment[name] = os.environ[name]
        self.run_program("s3", "mb", BUCKET)
        self.addCleanup(self.empty_bucket)

    def empty_bucket(self):
        # 3: the bucket is already empty.
        self.assertIn(self.run_program("s3", "rm", "--recursive", BUCKET, "", code=None).code, (0, 3))

    def server_objects(self):
        """The objects of the bucket, by their keys, read without the program."""
        server = SignedS3()
        self.addCleanup(server.close)
        return server.objects(BUCKET)

    def test_one_object_through_all_commands(self):
        body = os.urandom(3000000)
        self.write("file", body)
        self.run_program("s3", "put", "file", BUCKET, "a/ü +%", "--content-type", "text/x-test")
        headers = self.run_program("s3", "head", BUCKET, "a/ü +%").out
        self.assertIn("\ncontent-length: 3000000\n", headers)
        self.assertIn("\ncontent-type: text/x-test\n", headers)
        self.run_program("s3", "cp", BUCKET, "a/ü +%", "copy")
        listing = self.run_program("s3", "ls", BUCKET).out.splitlines()
        self.assertEqual([line.split(maxsplit=2)[::2] for line in listing],
                         [["3000000", "a/ü +%"], ["3000000", "copy"]])
        self.assertEqual(self.run_program("s3", "ls", BUCKET, "c").out.count("\n"), 1)
        self.run_program("s3", "get", BUCKET, "copy", "back")
        self.assertEqual(self.read("back"), body)
        self.assertEqual(self.run_program("s3", "get", BUCKET, "copy").raw_out, body)
        self.run_program("s3", "rm", BUCKET, "copy")
        self.assertIn("S3 code:         NoSuchKey", self.run_program("s3", "get", BUCKET, "copy", code=3).err)
        self.run_program("s3", "head", BUCKET, "copy", code=3)
        self.run_program("s3", "cp", BUCKET, "copy", "other", code=3)

    def test_an_object_keeps_its_options_in_another_bucket(self):
        self.write("f", b"content")
        other = BUCKET + "-other"
        self.run_program("s3", "mb", other)
        self.run_program("s3", "put", "f", BUCKET, "k", "--metadata", "owner=kim", "--content-type", "text/x-test",
                         "--storage-class", "STANDARD", "--if-absent")
        self.assertIn("There is an object 'k'",
                      self.run_program("s3", "put", "f", BUCKET, "k", "--if-absent", code=1).err)
        self.run_program("s3", "cp", BUCKET, "k", "sub/l", "--to-bucket", other)
        headers = self.run_program("s3", "head", other, "sub/l").out
        self.assertIn("\nx-amz-meta-owner: kim\n", headers)
        self.assertIn("\ncontent-type: text/x-test\n", headers)
        self.assertEqual(self.run_program("s3", "get", other, "sub/l").raw_out, b"content")
        self.run_program("s3", "cp", BUCKET, "k", "sub/l", "--to-bucket", other + "-missing", code=3)
        self.run_program("s3", "rm", other, "sub/l")

    def test_a_file_in_parts(self):
        body = os.urandom(12 << 20)
        self.write("file", body)
        for version in ("v2", "v4"):
            self.run_program("--verbose-log", f"log-{version}", "s3", "put", "--signature", version, "file", BUCKET,
                             "parts", "--part-size", "5", "--jobs", "2", "--content-type", "text/x-parts")
            log = self.read(f"log-{version}")
            for number in b"123":
                self.assertIn(b"partNumber=%c&" % number, log)
            headers = self.run_program("s3", "head", BUCKET, "parts").out
            self.assertIn("\ncontent-length: 12582912\n", headers)
            self.assertIn("\ncontent-type: text/x-parts\n", headers)
            self.assertRegex(headers, r'etag: "?[0-9a-f]{32}-3"?\n')
            for sizes in ([], ["--part-size", "4"]):
                result = self.run_program("--log-level", "info", "s3", "get", BUCKET, "parts", "back", *sizes)
                self.assertEqual(self.read("back"), body)
                self.assertNotIn("cannot be compared", result.err)
            self.run_program("s3", "rm", BUCKET, "parts")
        # A file that is not larger than a part is one PUT.
        self.run_program("s3", "put", "file", BUCKET, "whole", "--part-size", "12")
        self.assertRegex(self.run_program("s3", "head", BUCKET, "whole").out, r'etag: "?[0-9a-f]{32}"?\n')
        self.assertIn("--part-size", self.run_program("s3", "put", "file", BUCKET, "k", "--part-size", "4", code=2).err)

    def test_a_url_names_the_bucket_and_the_prefix(self):
        files = {"a": b"one", "sub/b c": b"two"}
        for name, content in files.items():
            self.write(f"f/{name}", content)
        self.run_program("backup", "f", f"s3://{BUCKET}/my%20%23p")
        objects = self.server_objects()
        self.assertIn(b"vexil_index", gzip.decompress(objects.pop("my #p/.vexil-index.gz")))
        self.assertEqual(objects, {f"my #p/{name}": content for name, content in files.items()})
        self.run_program("restore", f"s3://{BUCKET}/my%20%23p", "r")
        self.assertEqual(self.files_in("r"), files)

    def test_a_backup_in_parts_comes_back(self):
        self.write("f/small", os.urandom(100000))
        self.write("f/empty", b"")
        for options in ([], ["--upload-check", "while"], ["--upload-check", "while", "--signature", "v2"]):
            # The last backup replaces what another one has stored.
            self.write("f/large", os.urandom(12 << 20))
            for _ in range(2):
                self.run_program("s3", "backup", "f", BUCKET, "p", "--part-size", "5", "--jobs", "3", *options)
            headers = self.run_program("s3", "head", BUCKET, "p/large").out
            self.assertRegex(headers, r'etag: "?[0-9a-f]{32}-3"?\n')
            self.assertIn("\nx-amz-meta-vexil-part-size: 5242880\n", headers)
            self.assertNotIn("x-amz-meta-vexil", self.run_program("s3", "head", BUCKET, "p/small").out)
            for sizes in ([], ["--part-size", "3"]):
                result = self.run_program("--log-level", "info", "s3", "restore", BUCKET, "p", "r", *sizes)
                self.assertEqual(self.files_in("r"), self.files_in("f"))
                self.assertNotIn("cannot be compared", result.err)
        with open(self.folder / "f/large", "rb") as stdin:
            self.run_program("s3", "put", "-", BUCKET, "pipe", "--part-size", "5", stdin=stdin)
        self.assertEqual(self.server_objects()["pipe"], self.read("f/large"))

    def test_a_killed_upload_is_continued(self):
        body = os.urandom(64 << 20)
        self.write("file", body)
        for name in ("XDG_STATE_HOME", "LOCALAPPDATA"):
            self.environment[name] = str(self.folder / "state")
        command = ["s3", "put", "file", BUCKET, "k", "--part-size", "5", "--jobs", "1", "--resume"]
        process = self.start(*command)
        self.wait_for_a_part(SignedS3())
        process.kill()
        self.finish(process)
        self.run_program("--verbose-log", "log", *command)
        sent = set(re.findall(rb"partNumber=(\d+)", self.read("log")))
        # The killed program has sent some of the 13 parts.
        self.assertIn(b"13", sent)
        self.assertLess(len(sent), 13)
        self.assertTrue(self.server_objects() == {"k": body})

    def wait_for_a_part(self, server):
        """Waits until the only upload in progress, that of "k", has a part."""
        self.addCleanup(server.close)
        deadline = time.monotonic() + TIME_LIMIT
        parts = b""
        while b"<PartNumber>" not in parts:
            self.assertLess(time.monotonic(), deadline)
            uploads = server.request("GET", f"/{BUCKET}?uploads").decode()
            if "<UploadId>" in uploads:
                upload = uploads.split("<UploadId>")[1].split("<")[0]
                parts = server.request("GET", f"/{BUCKET}/k?uploadId={upload}")

    @not_on_windows("a console cannot be interrupted there")
    def test_an_interrupted_upload_leaves_no_parts(self):
        os.truncate(self.write("file"), 1 << 30)
        server = SignedS3()
        process = self.start("s3", "put", "file", BUCKET, "k", "--part-size", "5", "--jobs", "2")
        # The upload takes seconds.
        self.wait_for_a_part(server)
        self.assertEqual(self.interrupt(process).code, 130)
        self.assertNotIn(b"<UploadId>", server.request("GET", f"/{BUCKET}?uploads"))
        self.assertEqual(self.server_objects(), {})

    def test_a_folder_comes_back_as_it_was(self):
        names = ["a", "empty", ".hidden", "sub/ü 1+%&#=.txt", "sub/deep/..dots", "sub/~!@$^()[]{}';,", "sub/ blank",
                 "\U0001F600 日本/\U0001F4BE\U0010FFFD é", "long/" + "1234567 é/" * 40 + "x" * 200]
        posix_names = ["sub/deep/..dots..", "sub/tab\tand\nline", "sub/?*\"<>|", "sub/blank "]
        for name in names + posix_names * (not IS_WINDOWS):
            self.write(f"f/{name}", b"" if name == "empty" else os.urandom(len(name) * 1000))
        self.write("f/large", os.urandom(20000000))
        for number in range(1200):
            self.write(f"f/many/{number}", str(number).encode())
        (self.folder / "f/void").mkdir()
        count = f"{len(self.files_in('f')):,}"
        result = self.run_program("s3", "backup", "f", BUCKET, "pre/fix")
        self.assertIn(f"backed up: {count} files", result.out)
        self.assertIn("1 empty folder", result.out)
        stored = {f"pre/fix/{name}": body for name, body in self.files_in("f").items()}
        self.assertTrue(self.server_objects() == stored, "the server holds something else")
        result = self.run_program("s3", "restore", BUCKET, "pre/fix", "r")
        self.assertIn(f"restored: {count} files", result.out)
        self.assertIn(" 0 differences", self.run_program("compare", "f", "r").out)
        self.assertEqual(self.files_in("r"), self.files_in("f"))
        self.write("r/a", b"changed")
        self.run_program("compare", "f", "r", code=1)
        self.assertIn(f"deleted: {count} objects", self.run_program("s3", "rm", "-r", BUCKET, "pre/").out)
        self.assertEqual(self.run_program("s3", "ls", BUCKET).out, "")

    @not_on_windows("names that Windows does not have")
    def test_names_that_XML_cannot_hold_come_back(self):
        names = [" leading", "\nline", "\rreturn", "\ttab", "a\x01b", "\x1f", "\ufffe", "sub/\x7f\x85\u2028", "a+b%20c", "b"]
        for name in names:
            self.write(f"f/{name}", name.encode())
        self.run_program("s3", "backup", "f", BUCKET)
        self.run_program("s3", "restore", BUCKET, "r")
        self.assertEqual(self.files_in("r"), {name: name.encode() for name in names})
        self.run_program("s3", "cp", BUCKET, "\x1f", " \x01")
        self.assertEqual(self.run_program("s3", "get", BUCKET, " \x01").raw_out, b"\x1f")
        self.assertIn("deleted: 2 objects", self.run_program("s3", "rm", "-r", BUCKET, " ").out)
        self.assertEqual(self.run_program("s3", "ls", BUCKET).out.count("\n"), len(names) - 1)

    def test_each_version_of_the_signature_reads_what_the_other_has_stored(self):
        names = ["a", "sub/ü 1+%&#=.txt", "sub/~!@$^()[]{}';,", "sub/deep/..dots", "%2F"]
        for name in names:
            self.write(f"f/{name}", name.encode())
        for stores, reads in (("v2", "v4"), ("v4", "v2")):
            self.run_program("s3", "backup", "--signature", stores, "f", BUCKET, "pre")
            self.assertEqual(self.server_objects(), {f"pre/{name}": name.encode() for name in names})
            self.run_program("s3", "restore", "--signature", reads, BUCKET, "pre", reads)
            self.assertEqual(self.files_in(reads), self.files_in("f"))
            self.run_program("s3", "rm", "-r", "--signature", reads, BUCKET, "pre/")
            self.assertEqual(self.server_objects(), {})

    def test_any_region_serves(self):
        """The server knows no regions."""
        self.write("file", b"body")
        self.run_program("s3", "put", "--region", "eu-central-1", "file", BUCKET, "k")
        self.assertEqual(self.run_program("s3", "get", "--region", "default", BUCKET, "k").raw_out, b"body")

    def test_a_file_that_became_a_folder_comes_back(self):
        self.write("f/x", b"old")
        self.write("f/x!", b"between")
        self.run_program("s3", "backup", "f", BUCKET)
        (self.folder / "f/x").unlink()
        self.write("f/x/inside", b"new")
        self.run_program("s3", "backup", "f", BUCKET)
        self.run_program("s3", "restore", BUCKET, "r")
        self.assertEqual(self.files_in("r"), self.files_in("f"))
        (self.folder / "f/x/inside").unlink()
        (self.folder / "f/x").rmdir()
        self.write("f/x", b"newest")
        self.assertIn("NOT consistent: x: ", self.run_program("s3", "backup", "f", BUCKET, code=1).err)
        result = self.run_program("s3", "restore", BUCKET, "r2", code=1)
        self.assertIn("NOT restored: x/inside: ", result.err)
        self.assertEqual(self.files_in("r2"), self.files_in("f"))

    def test_a_folder_comes_back_from_the_top_of_a_bucket(self):
        self.write("f/a", b"a")
        self.write("f/sub/b", b"b")
        self.run_program("s3", "backup", "f", BUCKET)
        self.run_program("s3", "restore", BUCKET, "r")
        self.assertEqual(self.files_in("r"), {"a": b"a", "sub/b": b"b"})

    def test_buckets_uploads_versions_and_urls(self):
        for number, version in enumerate(("v2", "v4")):
            bucket = f"{BUCKET}-{number}"
            self.s3 = lambda *arguments, code=0: self.run_program("s3", "--signature", version, *arguments, code=code)
            self.s3("mb", bucket)
            self.assertRegex(self.s3("buckets").out, rf"(?m)^\S+T\S+  {bucket}$")
            self.write("file", b"content")
            self.s3("put", "file", bucket, "a b+ü")
            url = self.s3("presign", bucket, "a b+ü", "--expires", "10m").out.strip()
            self.assertEqual(self.run_program("http", "get", url).raw_out, b"content")
            url = self.s3("presign", bucket, "new", "--method", "PUT").out.strip()
            self.run_program("http", "put", "file", url)
            self.assertEqual(self.s3("get", bucket, "new").raw_out, b"content")
            self.assertRegex(self.s3("ls", bucket, "--versions", "a").out, r"^ +7  \S+  current  null  a b\+ü\n$")
            self.assertEqual(self.s3("uploads", "ls", bucket).out, "")
            self.assertEqual(self.s3("uploads", "abort", bucket).out, "aborted: 0 uploads\n")
            self.assertIn("BucketNotEmpty", self.s3("rb", bucket, code=1).err)
            self.s3("rm", "-r", bucket, "")
            self.s3("rb", bucket)
            self.assertIn("NoSuchBucket", self.s3("rb", bucket, code=3).err)
            self.assertNotIn(bucket, self.s3("buckets").out)
        result = self.run_program("s3", "--signature", "v4", "--region", "nowhere", "mb", "nowhere", code=1)
        self.assertIn("InvalidLocationConstraint", result.err)
        self.assertIn("--region us-east-1", result.err)

    def test_the_server_refuses_wrong_keys(self):
        self.environment["VEXIL_S3_SECRET_KEY"] = "wrong"
        self.assertIn("SignatureDoesNotMatch", self.run_program("s3", "ls", BUCKET, code=4).err)
        self.run_program("s3", "head", BUCKET, "x", code=4)
        self.environment["VEXIL_S3_ACCESS_KEY"] = "nobody"
        self.assertIn("InvalidAccessKeyId", self.run_program("s3", "ls", BUCKET, code=4).err)
        for name in ("VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY"):
            self.environment[name] = os.environ[name]

    def test_a_missing_bucket_is_not_found(self):
        self.write("f/a")
        for arguments in (["ls", "no-bucket"], ["backup", "f", "no-bucket"], ["restore", "no-bucket", "r"],
                          ["rm", "-r", "no-bucket", ""], ["put", "f/a", "no-bucket", "a"]):
            self.assertIn("NoSuchBucket", self.run_program("s3", *arguments, code=3).err)

    def test_tls_with_the_right_and_the_wrong_authority(self):
        self.write("file", b"over TLS")
        tls = ["--endpoint", os.environ["VEXIL_S3_TLS_ENDPOINT"]]
        result = self.run_program(*tls, "--ca-bundle", os.environ["VEXIL_CA"], "s3", "put", "file", BUCKET, "k",
                                  "--log-level", "debug")
        if IS_WINDOWS:
            self.assertIn("CApath: none", result.err, "nothing of the machine that libcurl was built on is trusted")
        self.run_program(*tls, "--ca-bundle", os.environ["VEXIL_CA"], "s3", "get", BUCKET, "k", "back")
        self.assertEqual(self.read("back"), b"over TLS")
        self.run_program(*tls, "--no-verify", "s3", "ls", BUCKET)
        result = self.run_program(*tls, "--ca-bundle", os.environ["VEXIL_WRONG_CA"], "s3", "ls", BUCKET, code=1)
        self.assertIn("libcurl code:    60", result.err)
        self.assertIn("--ca-bundle", result.err)


class HTTPTest(ProgramTest):
    def url(self, path):
        return os.environ["VEXIL_HTTP_ENDPOINT"] + path

    def test_get_to_a_file_and_to_standard_output(self):
        expected = pathlib.Path(os.environ["VEXIL_HTTP_ROOT"], "static/a.txt").read_bytes()
        self.run_program("http", "get", self.url("/static/a.txt"), "file")
        self.assertEqual(self.files_in("."), {"file": expected})
        self.assertEqual(self.run_program("http", "get", self.url("/redirect/302")).raw_out, expected)

    def test_an_error_page_does_not_become_the_file(self):
        for status, code in ((400, 1), (401, 4), (403, 4), (404, 3), (500, 1), (503, 1)):
            result = self.run_program("http", "get", self.url(f"/status/{status}"), "file", code=code)
            self.assertIn(f"server message:  status {status}", result.err)
            self.assertEqual(self.files_in("."), {})
            self.assertEqual(self.run_program("http", "get", self.url(f"/status/{status}"), code=code).out, "")

    def test_head(self):
        text = self.run_program("http", "head", self.url("/static/a.txt")).out
        self.assertTrue(text.startswith("HTTP/1.1 200 OK\n"), text)
        self.assertIn("\ncontent-type: text/plain\n", text)
        self.run_program("http", "head", self.url("/none"), code=3)

    def test_put(self):
        body = os.urandom(2000000)
        self.write("file", body)
        self.run_program("http", "put", "file", self.url("/dav/program-test"))
        stored = pathlib.Path(os.environ["VEXIL_HTTP_ROOT"], "dav/program-test")
        self.addCleanup(stored.unlink)
        self.assertEqual(stored.read_bytes(), body)
        self.run_program("http", "put", "file", self.url("/static/no"), code=1)

    def test_a_login_that_is_missing(self):
        self.assertIn("response code:   401", self.run_program("http", "get", self.url("/auth/x"), code=4).err)

    def test_a_time_limit_is_kept(self):
        result = self.run_program("--timeout", "0.3", "http", "get", self.url("/slow/large.bin"), "file", code=1)
        self.assertIn("libcurl code:    28", result.err)
        self.assertEqual(self.files_in("."), {})

    def test_debug_shows_the_wire(self):
        result = self.run_program("--log-level", "debug", "http", "head", self.url("/static/a.txt"))
        self.assertIn("HEAD /static/a.txt HTTP/1.1", result.err)


if __name__ == "__main__":
    unittest.main()
