#!/usr/bin/env python3
"""Backups and restores that are killed at random moments, with servers that fail at random: the next run that is left
alone makes everything right.

VEXIL_TEST_KILLS is the number of kills of each test (default 15), VEXIL_TEST_SEED makes a run again."""

import gzip
import json
import os
import random
import subprocess
import time
import unittest

from fake_ftp import FakeFTP, Fault as FTPFault
from fake_s3 import Fault
from fake_s3_uploads import FakeS3WithUploads
from program import ProgramTest

INDEX = ".vexil-index.gz"
KILLS = int(os.environ.get("VEXIL_TEST_KILLS", "15"))
SEED = os.environ.get("VEXIL_TEST_SEED", str(random.randrange(10**9)))
FAULT_RATE = 0.1
LARGE = 11 << 20  # bytes: three parts


class FailingS3(FakeS3WithUploads):
    random = None  # set while it fails

    def next_fault(self, key):
        if not self.random or self.random.random() > FAULT_RATE:
            return super().next_fault(key)
        return self.random.choice((Fault(status=503, code="SlowDown"), Fault(status=500, code="InternalError"),
                                   Fault(cut=self.random.randrange(100))))


class FailingFTP(FakeFTP):
    random = None  # set while it fails

    def take_fault(self, key):
        if not self.random or self.random.random() > FAULT_RATE:
            return super().take_fault(key)
        # Only data connections have something to cut.
        return self.random.choice((FTPFault(reply="421 Not now."), FTPFault(silent=True),
                                   FTPFault(cut=self.random.randrange(100)) if key[:4] in ("STOR", "RETR")
                                   else FTPFault(ends=True)))


class KillTest(ProgramTest):
    """A folder of the same computer, which never fails."""

    server = None

    def setUp(self):
        super().setUp()
        self.random = random.Random(f"{SEED} {self.id()}")
        self.environment["TMPDIR"] = str(self.folder / "temporary")
        (self.folder / "temporary").mkdir()
        self.environment["XDG_STATE_HOME"] = str(self.folder / "state")
        self.clock = 1_500_000_000
        for number in range(30):
            self.change(f"{number % 7}/{number}")
        self.change("large", LARGE)
        self.destination = self.make_destination()

    def make_destination(self):
        return (self.folder / "disk").as_uri()

    def options(self):
        return []

    def stored(self):
        return self.files_in("disk")

    def count_parts(self):
        """Parts of objects that were never completed."""
        return 0

    def change(self, name, size=None):
        """Gives a file new content, half of the time of the same size, and a time that is new or just now."""
        path = self.folder / "home" / name
        if size is None and path.exists() and self.random.random() < 0.5:
            size = path.stat().st_size
        if size is None:
            size = self.random.choice((0, 1, 1000, 100_000))
        self.write(f"home/{name}", self.random.randbytes(size))
        if self.random.random() < 0.7:
            self.clock += 1
            os.utime(path, ns=(self.clock * 10**9 + 5, self.clock * 10**9 + 5))

    def change_some(self):
        for _ in range(self.random.randrange(4)):
            number = self.random.randrange(30)
            path = self.folder / "home" / f"{number % 7}/{number}"
            self.change(str(path.relative_to(self.folder / "home")))
        if self.random.random() < 0.2:
            self.change("large", LARGE)

    def let_fail(self, fails):
        if self.server:
            self.server.random = self.random if fails else None

    def run_and_kill(self, *arguments):
        """Runs the program many times, and kills it each time."""
        start = time.monotonic()
        self.run_program(*arguments, *self.options(), code=None)
        first = latest = time.monotonic() - start
        runs = killed = 0
        # Later runs, with less to do, may be much shorter than the first one.
        while runs < KILLS or (killed <= KILLS / 10 and runs < 10 * KILLS):
            self.let_fail(self.random.random() < 0.7)
            moment = self.random.random() * (self.random.choice((first, latest)) * 1.5 + 0.05)
            start = time.monotonic()
            process = self.start(*arguments, *self.options(), stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
            try:
                process.wait(moment)
                latest = time.monotonic() - start
            except subprocess.TimeoutExpired:
                process.kill()
                killed += 1
            process.wait()
            runs += 1
            yield
        self.let_fail(False)
        self.assertGreater(killed, KILLS / 10, "the kills came too late")

    def check_index(self):
        stored = self.stored()
        entries = [json.loads(line) for line in gzip.decompress(stored.pop(INDEX)).decode().splitlines()]
        files = {entry["path"]: entry for entry in entries[1:-1] if entry["type"] == "file"}
        home = self.files_in("home")
        self.assertEqual(stored, home)
        self.assertEqual(sorted(files), sorted(home))
        for name, entry in files.items():
            seconds, nanoseconds = map(int, entry["mtime"].split("."))
            self.assertEqual((entry["size"], seconds * 10**9 + nanoseconds),
                             (len(home[name]), (self.folder / "home" / name).stat().st_mtime_ns), name)

    def test_a_killed_backup_is_made_good_by_the_next_one(self):
        arguments = ("backup", "home", self.destination, "--part-size", "5")
        for _ in self.run_and_kill(*arguments):
            self.change_some()
        self.run_program(*arguments, *self.options())
        self.check_index()
        self.assertEqual(self.count_parts(), 0)
        self.assertIn("unchanged: ", self.run_program(*arguments, *self.options()).out)
        self.check_index()

    def test_a_killed_restore_is_made_good_by_the_next_one(self):
        self.run_program("backup", "home", self.destination, "--part-size", "5", *self.options())
        arguments = ("restore", self.destination, "restored", "--part-size", "5")
        for _ in self.run_and_kill(*arguments):
            files = [name for name in self.files_in("restored") if self.random.random() < 0.2]
            for name in files:
                (self.folder / "restored" / name).unlink()
        self.run_program(*arguments, *self.options())
        home = self.files_in("home")
        self.assertEqual(self.files_in("restored"), home)
        for name in home:
            self.assertEqual((self.folder / "restored" / name).stat().st_mtime_ns,
                             (self.folder / "home" / name).stat().st_mtime_ns, name)


class S3KillTest(KillTest):
    def make_destination(self):
        self.server = FailingS3()
        self.server.lists_etags = True
        self.addCleanup(self.server.close)
        self.environment["VEXIL_S3_ENDPOINT"] = self.server.endpoint
        return "s3://bucket/home"

    def stored(self):
        return {key.removeprefix("home/"): body for key, body in self.server.objects.items()}

    def count_parts(self):
        # An upload that had just begun when its program was killed remains, without parts.
        return sum(len(parts) for _, parts, _ in self.server.uploads.values())


class FTPKillTest(KillTest):
    def make_destination(self):
        self.server = FailingFTP()
        self.server.clock = 1
        self.addCleanup(self.server.close)
        self.environment.update(VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")
        return f"ftp://{self.server.address}/home"

    def options(self):
        return ["--tls", "none"]

    def stored(self):
        return {path.removeprefix("/home/"): body for path, body in self.server.files.items()}


if __name__ == "__main__":
    print(f"VEXIL_TEST_SEED={SEED}", flush=True)
    unittest.main()
