#!/usr/bin/env python3
"""The same faults in each FTP and mail command in which they can occur: a rule of one command is true for its twins."""

import os
import resource
import unittest

from fake_ftp import FakeFTP, Fault
from fake_smtp import FakeSMTP
from program import ProgramTest, not_on_windows

OLD_TIME, NEW_TIME = "20240131235958", "20240131235959"
BODY = bytes(i * 7 % 251 for i in range(100000))
SHORTER = BODY[::-1][:1000]
LONGER = BODY[::-1] + BODY
LIMIT = 50000


class FTPTest(ProgramTest):
    def make_server(self):
        server = FakeFTP()
        self.addCleanup(server.close)
        self.environment.update(VEXIL_FTP_SERVER=server.address, VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")
        server.dirs.add("/d")
        return server

    def ftp(self, *arguments, **options):
        return self.finish(self.start("--log-level", "info", "--retries", 1, "ftp", "--tls", "none", *arguments, **options))


class Download:
    """A fault of a server with the file "/d/a", and its result.

    prepare   sets the server up
    content   the content that arrives; None for an error, after which the old file still exists
    only      the one target with that content; the others get an error
    """

    def __init__(self, prepare, content=None, only=None):
        self.prepare, self.content, self.only = prepare, content, only


def faults(command, *values):
    return lambda server: server.faults.update({command: list(values)})


def change(content, time=NEW_TIME, tells_time=True):
    """The first transfer fails, and before the second one the file is replaced."""
    def prepare(server):
        server.unknown = () if tells_time else ("MLST",)

        def replace():
            server.files["/d/a"], server.times["/d/a"] = content, time

        server.times["/d/a"] = OLD_TIME
        # The transfer asks for the facts first, if the server knows them.
        server.faults["MLST /d/a"] = [Fault(), Fault(then=replace)]
        server.faults["RETR /d/a"] = [Fault(cut=30000)] + ([] if tells_time else [Fault(then=replace)])

    return prepare


def limit_files():
    resource.setrlimit(resource.RLIMIT_FSIZE, (LIMIT, LIMIT))


DOWNLOADS = {
    "cut in the data": Download(faults("RETR /d/a", Fault(cut=30000)), BODY),
    "cut before the data": Download(faults("RETR /d/a", Fault(cut=0)), BODY),
    "cut after the data": Download(faults("RETR /d/a", Fault(cut=len(BODY))), BODY),
    "cut each time": Download(faults("RETR /d/a", *[Fault(cut=10)] * 5)),
    "no connection for data": Download(faults("RETR /d/a", Fault(reply="425 No.")), BODY),
    "closed by the server": Download(faults("RETR /d/a", Fault(reply="421 Later.")), BODY),
    "shorter at the second try": Download(change(SHORTER)),
    "longer at the second try": Download(change(LONGER)),
    "shorter at the second try, without times": Download(change(SHORTER, tells_time=False)),
    "longer at the second try, without times": Download(change(LONGER, tells_time=False), LONGER,
                                                        # Written bytes cannot be taken back, and the listing
                                                        # has another size.
                                                        only="file"),
    "fewer bytes than announced": Download(
        faults("MLST /d/a", *[Fault(reply="250-x\r\n type=file;size=200000; /d/a\r\n250 y")] * 5)),
    "refused": Download(faults("RETR /d/a", *[Fault(reply="550 Not for you.")] * 5)),
}


@not_on_windows("so many starts of the program take too long there")
class DownloadTest(FTPTest):
    def test_each_fault_of_each_download(self):
        for name, fault in DOWNLOADS.items():
            for target in ("file", "output", "restore"):
                with self.subTest(name, target=target):
                    self.download(fault, target)

    def download(self, fault, target, **options):
        server = self.make_server()
        server.files["/d/a"] = BODY
        self.write("r/a", b"old")
        fault.prepare(server)
        wanted = fault.content if target == (fault.only or target) else None
        arguments = {"file": ["get", "/d/a", "r/a"], "output": ["get", "/d/a"],
                     "restore": ["restore", "/d", "r", "--jobs", "1"]}[target]
        result = self.ftp(*arguments, **options)
        if wanted is None:
            self.assertNotEqual(result.code, 0, result)
            self.assertRegex(result.err, "vexil: error: |NOT restored: ")
            self.assertEqual(self.files_in("r"), {"a": b"old"})
        else:
            self.assertEqual(result.code, 0, result)
            content = result.raw_out if target == "output" else self.read("r/a")
            self.assertEqual(content, wanted)
            self.assertEqual(list(self.files_in("r")), ["a"])

    def test_one_failing_write(self):
        nothing = Download(lambda server: None)
        for target in ("file", "restore"):
            with self.subTest(target):
                self.download(nothing, target, before=limit_files)
        with open("/dev/full", "wb") as full:
            self.download(nothing, "output", stdout=full)


class Upload:
    """A fault while "/d/a" is stored, and whether the new content gets there."""

    def __init__(self, faults_of, is_stored, is_left=False):
        self.faults, self.is_stored, self.is_left = faults_of, is_stored, is_left


UPLOADS = {
    "cut in the data": Upload({"STOR": [Fault(cut=30000)]}, True),
    "cut before the data": Upload({"STOR": [Fault(cut=0)]}, True),
    "taken for the whole": Upload({"STOR": [Fault(lose=30000)]}, True),
    "cut after the data": Upload({"STOR": [Fault(cut=len(BODY))]}, True),
    "moved without a reply": Upload({"RNTO": [Fault(silent=True)]}, True),
    "no connection for data": Upload({"STOR": [Fault(reply="425 No.")]}, True),
    "closed by the server": Upload({"STOR": [Fault(reply="421 Later.")]}, True),
    "cut each time": Upload({"STOR": [Fault(cut=10)] * 9}, False),
    "taken for the whole each time": Upload({"STOR": [Fault(lose=10)] * 9}, False),
    "no room": Upload({"STOR": [Fault(reply="552 Full.")] * 9}, False),
    "lost while tidying up": Upload({"STOR": [Fault(cut=10)] * 9, "DELE": [Fault(reply="421 Bye.")] * 9}, False,
                                    is_left=True),
}


class NamelessFaults(FakeFTP):
    """Uses the faults of a command for any path: the paths of parts are not known in advance."""

    def take_fault(self, key):
        command, _, path = key.partition(" ")
        with self.lock:
            wanted = self.faults.get(command)
            if wanted and (command != "RNTO" or path == "/d/a"):
                return wanted.pop(0)
        return Fault()


@not_on_windows("so many starts of the program take too long there")
class UploadTest(FTPTest):
    def make_server(self):
        server = NamelessFaults()
        self.addCleanup(server.close)
        self.environment.update(VEXIL_FTP_SERVER=server.address, VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")
        server.dirs.add("/d")
        server.files["/d/a"] = b"old"
        return server

    def upload(self, server, kind):
        return self.ftp(*{"put": ["put", "f/a", "/d/a"], "backup": ["backup", "f", "/d", "--jobs", "1"]}[kind])

    def check(self, server, result, is_stored, is_left=False):
        parts = [path for path in server.files if path != "/d/a"]
        self.assertEqual(server.files["/d/a"], BODY if is_stored else b"old", result)
        self.assertEqual(result.code, 0 if is_stored else 1, result)
        if is_left is not None:
            self.assertEqual(bool(parts), is_left, (parts, result))
            for path in parts:
                self.assertIn(path, result.err)
        if not is_stored:
            self.assertRegex(result.err, "vexil: error: |NOT backed up: a: ")

    def test_each_fault_of_each_upload(self):
        self.write("f/a", BODY)
        for name, fault in UPLOADS.items():
            for kind in ("put", "backup"):
                with self.subTest(name, kind=kind):
                    server = self.make_server()
                    server.faults = {command: list(values) for command, values in fault.faults.items()}
                    self.check(server, self.upload(server, kind), fault.is_stored, fault.is_left)

    def test_a_source_that_shrinks(self):
        size = 64 * 1024 * 1024
        path = self.write("f/a", b"")
        for kind in ("put", "backup"):
            with self.subTest(kind):
                os.truncate(path, size)
                server = self.make_server()
                server.faults = {"STOR": [Fault(then=lambda: os.truncate(path, 1000))]}
                # This server makes a file only at the end of its data, which may be after the command to delete it.
                self.check(server, self.upload(server, kind), False, is_left=None)


@not_on_windows("so many starts of the program take too long there")
class MailTest(ProgramTest):
    """By the step of the dialogue: the greeting, a command, or the end of the mail."""

    STEPS = ("greeting", "EHLO", "MAIL", "RCPT", "DATA", ".")

    def mail(self, command, replies):
        server = FakeSMTP(**replies)
        self.addCleanup(server.close)
        self.environment["VEXIL_MAIL_SERVER"] = server.address
        for name in ("VEXIL_MAIL_USER", "VEXIL_MAIL_PASSWORD"):
            self.environment.pop(name, None)
        arguments = ["send", "--from", "a@example.com", "--to", "b@example.com", *command[1:]]
        return server, self.finish(self.start("mail", *(arguments if command[0] == "send" else command),
                                              "--security", "unencrypted"))

    def test_each_fault_of_each_command(self):
        self.write("f", BODY)
        for step in self.STEPS:
            for reply in (None, "421 Bye.", "451 Later.", "554 No."):
                for command in (["send"], ["send", "--text", "f"], ["send", "--attach", "f"], ["test"]):
                    if command == ["test"] and step not in ("greeting", "EHLO"):
                        continue
                    with self.subTest(step, reply=reply, command=command):
                        # Servers that do not know EHLO get the older HELO.
                        server, result = self.mail(command, {step: [reply], "HELO": [reply]})
                        self.assertEqual(result.code, 1, result)
                        self.assertIn("vexil: error: ", result.err)
                        self.assertLessEqual(server.commands.count("DATA"), 1, "sent twice")
                        self.assertEqual(len(server.mails), 1 if step == "." else 0)

    def test_a_connection_that_is_lost_after_the_mail_does_not_matter(self):
        for command in (["send"], ["test"]):
            server, result = self.mail(command, {"QUIT": [None]})
            self.assertEqual(result.code, 0, result)
            self.assertEqual(len(server.mails), command == ["send"])


if __name__ == "__main__":
    unittest.main()
