#!/usr/bin/env python3
"""The file of --verbose-log: what it contains, what it does not contain, and when it exists."""

import base64
import os
import re
import resource
import socket
import threading
import unittest
import xml.etree.ElementTree

from fake_ftp import FakeFTP
from fake_proxy import FakeProxy
from fake_s3 import Fault
from fake_smtp import FakeSMTP
from program import IS_WINDOWS, SECRET, FakeServerTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))


class VerboseLogTest(FakeServerTest):
    def log(self, *arguments, **options):
        return self.run_program("--verbose-log", "log.xml", *arguments, **options)

    def elements(self):
        """The transfers in the log, after checks that it is complete and readable for its owner only."""
        if not IS_WINDOWS:
            self.assertEqual((self.folder / "log.xml").stat().st_mode & 0o777, 0o600)
        self.assertEqual([path.name for path in self.folder.glob(".*")], [])
        root = xml.etree.ElementTree.fromstring(self.read("log.xml"))
        self.assertEqual(root.tag, "VerboseLog")
        self.assertRegex(root.get("program"), r"^vexil \d+\.\d+\.\d+$")
        self.assertEqual({child.tag for child in root}, {"NetRequest"} if len(root) else set())
        return list(root)

    def texts(self):
        return ["\n".join(message.text or "" for message in element) for element in self.elements()]

    def check_secret(self, secret, *logins):
        """Checks that the text is not in the log, neither as it is nor as part of a login."""
        log = self.read("log.xml")
        encoded = [base64.b64encode(text.encode()) for text in (secret, *logins)]
        for text in (secret.encode(), *(text.rstrip(b"=") for text in encoded)):
            self.assertNotIn(text, log)
        self.assertIn(b"~stripped~", log)


class ContentTest(VerboseLogTest):
    def setUp(self):
        super().setUp()
        self.server.objects = {"a": BODY}

    def test_http(self):
        url = f"{self.server.endpoint}/bucket/a"
        self.log("http", "get", url.replace("//", "//jo:my-secret@"), "f")
        self.assertEqual(self.read("f"), BODY)
        element, = self.elements()
        self.assertEqual(element.attrib, {"httpMethod": "GET", "url": url.replace("//", "//~stripped~@")} |
                         ({"bytesLeftOut": element.get("bytesLeftOut")} if element.get("bytesLeftOut") else {}))
        self.assertIn("GET /bucket/a HTTP/1.1", self.texts()[0])
        self.assertIn("HTTP/1.1 200 OK", self.texts()[0])
        for message in element:
            self.assertRegex(message.get("logTime"), r"^\d{4}-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z$")
        self.check_secret("my-secret", "jo:my-secret")

    def test_bodies_are_counted_but_not_shown(self):
        self.write("up", b"<secret>" * 100000)
        self.log("s3", "put", "up", "bucket", "b")
        self.check_counts(800000, "send")
        self.log("s3", "get", "bucket", "b", "f")
        self.check_counts(800000, "receive")

    def check_counts(self, size, direction):
        element, = self.elements()
        bodies = [message for message in element if message.get("type") == "data"]
        shown = sum(int(message.get("bytes")) for message in bodies if message.tag == direction)
        # The log is not kept in memory until the end.
        self.assertEqual(shown + int(element.get("bytesLeftOut", 0)), size)
        self.assertLess(shown, 200000)
        self.assertLessEqual({message.text for message in bodies}, {"~stripped~", "~stripped~..."})
        self.assertNotIn(b"secret", self.read("log.xml"))

    def test_s3_has_one_element_for_each_try(self):
        for name in range(20):
            self.write(f"folder/{name}", BODY)
        # So much that libcurl asks first: if a kept connection has failed, it sends a short body again itself.
        self.write("folder/7", BODY * 11)
        self.server.faults["7"] = [Fault(status=503, code="SlowDown"), Fault(cut=1000)]
        self.log("s3", "backup", "folder", "bucket", "--jobs", "5")
        # The backup also lists the stored objects.
        self.assertEqual(len(self.elements()), 23)
        puts = [re.search("PUT /bucket/([0-9]+)", text) for text in self.texts()]
        self.assertEqual(sorted(put[1] for put in puts if put),
                         sorted([str(number) for number in range(20)] + ["7", "7"]))
        self.check_secret(SECRET)
        self.log("s3", "restore", "bucket", "r")
        self.assertEqual(len(self.elements()), 22)
        self.assertEqual(self.files_in("r"), self.server.objects)

    def test_ftp(self):
        server = FakeFTP()
        self.addCleanup(server.close)
        server.files["/a"] = BODY
        self.environment.update(VEXIL_FTP_SERVER=server.address, VEXIL_FTP_USER="jo", VEXIL_FTP_PASSWORD="ftp-secret")
        self.log("ftp", "--tls", "none", "get", "/a", "f")
        self.assertIn("USER jo", "".join(self.texts()))
        self.assertIn("PASS ~stripped~", "".join(self.texts()))
        self.check_secret("ftp-secret")
        self.write("folder/b", BODY)
        self.write("folder/c", BODY)
        self.log("ftp", "--tls", "none", "backup", "folder", "/x", "--jobs", "2")
        self.assertEqual(server.files["/x/b"], BODY)
        self.check_secret("ftp-secret")
        self.assertGreaterEqual(len(self.elements()), 5)

    def test_mail(self):
        login = base64.b64encode(b"\0jo\0mail-secret").decode()
        server = FakeSMTP(EHLO=["250-fake\r\n250 AUTH PLAIN"], AUTH=["334 "], **{login.upper(): ["235 welcome"]})
        self.addCleanup(server.close)
        self.environment.update(VEXIL_MAIL_USER="jo", VEXIL_MAIL_PASSWORD="mail-secret")
        self.log("mail", "send", "--server", server.address, "--security", "unencrypted", "--from", "a@example.com",
                 "--to", "b@example.com")
        text, = self.texts()
        self.assertIn(login, server.commands)
        self.assertIn("AUTH PLAIN\n", text)
        self.assertIn("RCPT TO:<b@example.com>", text)
        self.check_secret("mail-secret", "\0jo\0mail-secret")

    def test_a_proxys_login_is_not_in_it(self):
        proxy = FakeProxy("jo:proxy-secret")
        self.addCleanup(proxy.close)
        url = f"http://jo:proxy-secret@{proxy.address}"
        self.log("--proxy", url, "http", "get", f"{self.server.endpoint}/bucket/a", "f")
        self.assertEqual(self.read("f"), BODY)
        self.check_secret("proxy-secret", "jo:proxy-secret")
        self.environment["http_proxy"] = url
        self.log("http", "get", f"{self.server.endpoint}/bucket/a", "f")
        self.check_secret("proxy-secret", "jo:proxy-secret")
        del self.environment["http_proxy"]
        self.log("--proxy", url.replace("http", "nonsense"), "http", "get", f"{self.server.endpoint}/bucket/a", code=1)
        self.assertNotIn(b"proxy-secret", self.read("log.xml"))

    def test_the_console_may_show_the_same(self):
        result = self.log("--log-level", "debug", "s3", "ls", "bucket")
        self.assertIn("GET /bucket", result.err)
        self.assertIn("ListBucketResult", result.err)
        self.assertIn("GET /bucket", self.texts()[0])
        self.assertNotIn("ListBucketResult", self.texts()[0])

    def test_a_command_without_transfers_has_an_empty_log(self):
        self.write("x/a")
        self.log("compare", "x", "x")
        self.assertEqual(self.elements(), [])

    def test_memory_does_not_grow_with_the_bodies(self):
        self.server.objects = {"big": bytes(200 * 1024 * 1024)}
        plain = self.memory("http", "get", f"{self.server.endpoint}/bucket/big", "f")
        for arguments in (["--verbose-log", "log.xml"], ["--log-level", "debug"]):
            logged = self.memory(*arguments, "http", "get", f"{self.server.endpoint}/bucket/big", "f")
            self.assertLess(logged - plain, 50 * 1024, arguments)

    def memory(self, *arguments):
        """The peak memory of the program, in kB."""
        with open(self.folder / "out", "wb") as out:
            process = self.start(*arguments, stdout=out)
            process.stderr.read()
            _, status, usage = os.wait4(process.pid, 0)
        process.returncode = os.waitstatus_to_exitcode(status)
        process.stderr.close()
        self.assertEqual(process.returncode, 0)
        return usage.ru_maxrss


class OddBytesTest(VerboseLogTest):
    def serve(self, answer):
        server = socket.create_server(("127.0.0.1", 0))
        self.addCleanup(server.close)

        def run():
            connection, _ = server.accept()
            with connection:
                connection.recv(65536)
                connection.sendall(answer)

        threading.Thread(target=run, daemon=True).start()
        return f"http://127.0.0.1:{server.getsockname()[1]}/"

    def test_what_xml_cannot_hold_is_replaced(self):
        odd = bytes(number for number in range(1, 256) if number not in (10, 13))
        url = self.serve(b"HTTP/1.1 200 OK\r\nX-Odd: [" + odd + b"]\r\nContent-Length: 256\r\n\r\n" + bytes(range(256)))
        # The program refuses a response with a header that it cannot read. Its log still shows that header.
        self.log("http", "get", url, "f", code=1)
        text, = self.texts()
        replaced = "".join(chr(number) if number == 9 or number >= 32 else "\ufffd" for number in odd)
        self.assertIn(f"X-Odd: [{replaced}]", text)

    def test_markup_is_text(self):
        url = self.serve(b"HTTP/1.1 200 OK\r\nX-Odd: ]]></info><x a=\"'&amp;<!-- \r\nContent-Length: 0\r\n\r\n")
        self.log("http", "get", url + "?a=<b>&c=%22", "f")
        self.assertIn("X-Odd: ]]></info><x a=\"'&amp;<!--", self.texts()[0])
        self.assertEqual(self.elements()[0].get("url"), url + "?a=<b>&c=%22")


class FileTest(VerboseLogTest):
    def test_a_file_that_cannot_be_is_named_before_anything_is_sent(self):
        (self.folder / "folder").mkdir()
        for name, reason in (("nofolder/log", "No such file or directory"), ("folder", "a folder has this name"),
                             ("x" * 300, "File name too long")):
            result = self.run_program("s3", "ls", "bucket", "--verbose-log", name, code=2)
            self.assertIn(f"the verbose log '{name}' cannot be written: ", result.err)
            self.assertIn(reason, result.err)
        self.assertIn("--verbose-log: the value is empty", self.run_program("s3", "ls", "b", "--verbose-log", "",
                                                                            code=2).err)
        self.assertEqual(self.server.requests, [])
        self.assertEqual(self.files_in("."), {})

    def test_an_old_log_is_replaced(self):
        self.write("log.xml", b"old" * 10000).chmod(0o644)
        self.log("s3", "ls", "bucket")
        self.assertEqual(len(self.elements()), 1)

    @not_on_windows("file modes")
    def test_nobody_else_may_read_it_while_it_is_written(self):
        self.server.objects = {"a": BODY}
        self.server.faults["a"] = [Fault(cut=10, hold=True)]
        process = self.start("--verbose-log", "log.xml", "s3", "get", "bucket", "a", "f",
                             before=lambda: os.umask(0))
        self.assertTrue(self.server.held.wait(60))
        part, = self.folder.glob(".log.xml.vexil-part-*")
        self.assertEqual(part.stat().st_mode & 0o777, 0o600)
        self.assertEqual(self.interrupt(process).code, 130)

    @not_on_windows("a named pipe")
    def test_a_pipe_is_written_to(self):
        os.mkfifo(self.folder / "pipe")
        process = self.start("--verbose-log", "pipe", "s3", "ls", "bucket")
        self.assertEqual(len(xml.etree.ElementTree.fromstring(self.read("pipe"))), 1)
        self.assertEqual(self.finish(process).code, 0)

    @not_on_windows("a limit of the process")
    def test_a_full_disk_is_told_at_the_end(self):
        self.server.objects = {"a": b"a", "b": b"b", "c": b"c"}
        result = self.log("s3", "restore", "bucket", "r", code=1,
                          before=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (3000, 3000)))
        self.assertIn("Cannot write the file 'log.xml': File too large", result.err)
        self.assertEqual(self.files_in("r"), self.server.objects)
        self.assertEqual(sorted(self.files_in(".")), ["r/a", "r/b", "r/c"])

    @not_on_windows("a limit of the process")
    def test_a_full_disk_does_not_hide_another_failure(self):
        result = self.log("s3", "get", "bucket", "nothing", code=3,
                          before=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, (200, 200)))
        self.assertIn("Cannot write the file 'log.xml': File too large", result.err)
        self.assertIn("NoSuchKey", result.err)


class EndTest(VerboseLogTest):
    def test_a_failure_is_in_the_log(self):
        self.log("s3", "get", "bucket", "nothing", code=3)
        self.assertIn("404 Not Found", self.texts()[0])
        self.log("http", "get", "http://127.0.0.1:1/", code=1)
        self.assertIn("Connection refused", self.texts()[0])

    def test_missing_keys_leave_a_whole_log(self):
        del self.environment["VEXIL_S3_SECRET_KEY"]
        self.log("s3", "ls", "bucket", code=2)
        self.assertEqual(self.elements(), [])

    def test_an_interrupted_transfer_is_in_the_log(self):
        self.server.objects = {"b": BODY}
        for arguments in (["s3", "get", "bucket", "b", "f"], ["s3", "restore", "bucket", "r"],
                          ["http", "get", f"{self.server.endpoint}/bucket/b", "f"]):
            self.server.held.clear()
            self.server.faults["b"] = [Fault(cut=30000, hold=True)]
            process = self.start("--verbose-log", "log.xml", *arguments)
            self.assertTrue(self.server.held.wait(60))
            result = self.interrupt(process)
            self.assertEqual(result.code, 130, result)
            self.assertIn("GET /bucket/b HTTP/1.1", self.texts()[-1], arguments)
            self.assertEqual(len(self.texts()), 2 if "restore" in arguments else 1)

    def test_a_job_that_is_given_up_is_in_the_log(self):
        for name in ("a", "b"):
            self.write(f"folder/{name}", BODY)
        self.server.faults["b"] = [Fault(hold=True)]
        self.server.faults["a"] = [Fault(status=403, code="AccessDenied", then=lambda: self.server.held.wait(60))]
        self.log("s3", "backup", "folder", "bucket", code=4)
        self.assertEqual(sorted(re.search("PUT /bucket/(.)", text)[1] for text in self.texts()), ["a", "b"])


if __name__ == "__main__":
    unittest.main()
