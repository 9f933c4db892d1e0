#!/usr/bin/env python3
"""The program when it is asked to end: which files must be deleted, and how soon it ends."""

import signal
import socket
import threading
import time
import unittest

from fake_ftp import FakeFTP, Fault
from fake_s3 import FakeS3
from program import TIME_LIMIT, ProgramTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))
# How long the program may take if it has nothing to clean up, on a busy machine.
SOON = 10
# How long the program waits for a server that does not react during the clean-up.
TIDYING = 10


class HeldFTP(FakeFTP):
    """A server that stops in the middle of uploads, and on demand in deletions."""

    def __init__(self):
        super().__init__()
        self.gate = threading.Event()
        self.holds_deletions = False
        self.holds = lambda path: True

    def take_fault(self, key):
        command, _, path = key.partition(" ")
        if command == "STOR" and self.holds(path):
            # Like a server that writes the data as it arrives.
            return Fault(then=lambda: self.files.update({path: b"half"}), gate=self.gate)
        if command == "DELE" and self.holds_deletions:
            return Fault(gate=self.gate)
        return super().take_fault(key)

    def close(self):
        self.gate.set()
        super().close()


class SilentServer:
    """Accepts connections, and never sends anything."""

    def __init__(self):
        self.socket = socket.create_server(("127.0.0.1", 0))
        self.address = "127.0.0.1:%d" % self.socket.getsockname()[1]
        self.taken = threading.Event()
        self.connections = []
        threading.Thread(target=self.take, daemon=True).start()

    def take(self):
        try:
            while True:
                self.connections.append(self.socket.accept()[0])
                self.taken.set()
        except OSError:
            pass

    def close(self):
        self.socket.close()
        for connection in self.connections:
            connection.close()


class InterruptTest(ProgramTest):
    def end(self, process, within, number=signal.SIGINT):
        """Asks the program to end, and returns its result."""
        start = time.monotonic()
        result = self.interrupt(process, number)
        self.assertLess(time.monotonic() - start, within, result)
        return result


@not_on_windows("fake servers are slow there")
class FTPTest(InterruptTest):
    def setUp(self):
        super().setUp()
        self.server = HeldFTP()
        self.addCleanup(self.server.close)
        self.server.files["/a"] = b"old"
        self.environment.update(VEXIL_FTP_SERVER=self.server.address, VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")
        for number in range(8):
            self.write(f"f/{number}", BODY)

    def ftp(self, *arguments, **options):
        return self.start("ftp", "--tls", "none", *arguments, **options)

    def put(self):
        process = self.ftp("put", "f/0", "/a")
        self.assertTrue(self.server.wait_for_gates(1))
        return process

    def test_nothing_of_an_upload_is_left(self):
        for number, code in ((signal.SIGINT, 130), (signal.SIGTERM, 143), (signal.SIGHUP, 129)):
            self.server.waiting = 0
            result = self.end(self.put(), SOON, number)
            self.assertEqual(result.code, code, result)
            self.assertEqual(self.server.files, {"/a": b"old"})
            self.assertNotIn("may be left", result.err)

    def test_nothing_of_a_backup_is_left_but_whole_files(self):
        self.server.holds = lambda path: not any(f"/.{number}." in path for number in range(4))
        process = self.ftp("backup", "f", "/x", "--jobs", "8")
        self.assertTrue(self.server.wait_for_gates(4))
        whole = {f"/x/{number}": BODY for number in range(4)}
        deadline = time.monotonic() + TIME_LIMIT
        while not whole.keys() <= self.server.files.keys():
            self.assertLess(time.monotonic(), deadline, self.server.files.keys())
            time.sleep(0.01)
        result = self.end(process, SOON)
        self.assertEqual(result.code, 130, result)
        self.assertEqual(self.server.files, {"/a": b"old", **whole})

    def test_a_server_that_falls_silent_does_not_keep_the_program(self):
        self.server.holds_deletions = True
        processes = [self.ftp("put", "f/0", "/a"), self.ftp("backup", "f", "/x", "--jobs", "1")]
        self.assertTrue(self.server.wait_for_gates(2))
        for process in processes:
            process.send_signal(signal.SIGINT)
        start = time.monotonic()
        for process in processes:
            result = self.finish(process)
            self.assertEqual(result.code, 130, result)
            self.assertRegex(result.err, r"may be left on the server: '/.*\.vexil-part")
        self.assertLess(time.monotonic() - start, TIDYING + SOON)

    def test_the_second_signal_kills(self):
        self.server.holds_deletions = True
        for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
            self.server.waiting = 0
            process = self.put()
            process.send_signal(number)
            # The upload, and the deletion of its part.
            self.assertTrue(self.server.wait_for_gates(2))
            result = self.end(process, TIDYING / 2, number)
            self.assertEqual(result.code, -number, result)


@not_on_windows("signals")
class HangupTest(InterruptTest):
    def setUp(self):
        super().setUp()
        self.server = FakeS3()
        self.addCleanup(self.server.close)
        self.server.objects = {"a": BODY}
        self.server.gate = threading.Event()
        self.environment["VEXIL_S3_ENDPOINT"] = self.server.endpoint

    def test_a_terminal_that_goes_takes_the_program_along(self):
        process = self.start("s3", "get", "bucket", "a", "f")
        self.assertTrue(self.server.wait_for_transfers(1))
        self.assertEqual(self.end(process, SOON, signal.SIGHUP).code, 129)
        self.assertEqual(self.files_in("."), {})

    def test_nohup_keeps_the_program(self):
        process = self.start("s3", "get", "bucket", "a", "f",
                             before=lambda: signal.signal(signal.SIGHUP, signal.SIG_IGN))
        self.assertTrue(self.server.wait_for_transfers(1))
        for _ in range(3):
            process.send_signal(signal.SIGHUP)
        self.server.gate.set()
        self.assertEqual(self.finish(process).code, 0)
        self.assertEqual(self.read("f"), BODY)


@not_on_windows("takes too long there")
class SilentTest(InterruptTest):
    def commands(self, address):
        """Depends on whether something must be cleaned up on the server."""
        s3 = ["--endpoint", f"http://{address}", "s3"]
        ftp = ["ftp", "--tls", "none", "--server", address]
        mail = ["mail", "--server", address, "--security", "unencrypted"]
        url = f"http://{address}/x"
        return [["http", "get", url, "r/a"], ["http", "head", url], ["http", "put", "f/a", url],
                [*s3, "get", "b", "k", "r/a"], [*s3, "put", "f/a", "b", "k"], [*s3, "head", "b", "k"],
                [*s3, "ls", "b"], [*s3, "cp", "b", "k", "l"], [*s3, "rm", "b", "k"], [*s3, "mb", "b"],
                [*s3, "rb", "b"], [*s3, "buckets"], [*s3, "ls", "b", "--versions"], [*s3, "uploads", "ls", "b"],
                [*s3, "uploads", "abort", "b"],
                [*s3, "backup", "f", "b"], [*s3, "restore", "b", "r"],
                [*ftp, "ls", "/"], [*ftp, "stat", "/a"], [*ftp, "get", "/a", "r/a"], [*ftp, "put", "f/a", "/a"],
                [*ftp, "mkdir", "/a"], [*ftp, "rm", "/a"], [*ftp, "rmdir", "/a"], [*ftp, "mv", "/a", "/b"],
                [*ftp, "rmtree", "/a"], [*ftp, "backup", "f", "/x"], [*ftp, "restore", "/x", "r"],
                ["mail", "send", *mail[1:], "--from", "a@example.com", "--to", "b@example.com"],
                ["mail", "test", *mail[1:]]]

    def test_a_server_that_says_nothing_keeps_no_command(self):
        self.environment.update(VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")
        self.write("f/a", BODY)
        self.write("r/a", b"old")
        runs = []
        for number in range(len(self.commands(""))):
            server = SilentServer()
            self.addCleanup(server.close)
            arguments = self.commands(server.address)[number]
            runs.append((arguments, server, self.start(*arguments)))
        for arguments, server, _ in runs:
            self.assertTrue(server.taken.wait(60), arguments)
        for _, _, process in runs:
            process.send_signal(signal.SIGINT)
        start = time.monotonic()
        for arguments, _, process in runs:
            with self.subTest(arguments):
                result = self.finish(process)
                self.assertEqual(result.code, 130, result)
                is_tidied = arguments[0] == "ftp" and bool({"put", "backup"} & set(arguments))
                self.assertLess(time.monotonic() - start, 2 * SOON + (TIDYING if is_tidied else 0))
        self.assertEqual(self.files_in("r"), {"a": b"old"})


if __name__ == "__main__":
    unittest.main()
