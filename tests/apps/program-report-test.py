#!/usr/bin/env python3
"""What a backup and a restore tell: totals, names, events as JSON, and a file of messages."""

import json
import os
import re
import shutil
import unittest

from fake_s3 import Fault, FakeS3
from program import SECRET, ProgramTest, not_on_windows

TIME = re.compile(r"20\d\d-\d\d-\d\dT\d\d:\d\d:\d\d\.\d{3}Z")


class ReportTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.write("home/a", b"one")
        self.write("home/sub/b", b"two and more")
        self.url = "file://" + (self.folder / "disk").as_posix()

    def backup(self, *arguments, code=0):
        self.result = self.run_program("backup", "home", self.url, *arguments, code=code)
        return self.result

    def restore(self, *arguments, code=0):
        self.result = self.run_program("restore", self.url, "restored", *arguments, code=code)
        return self.result

    def events(self):
        """All lines of standard output; each must be an event."""
        events = []
        for line in self.result.raw_out.decode("utf-8").split("\n")[:-1]:
            event = json.loads(line)
            self.assertRegex(event["time"], TIME)
            events.append(event)
        return events

    def kinds(self):
        return [event["event"] for event in self.events()]

    def event(self, kind):
        found = [event for event in self.events() if event["event"] == kind]
        self.assertEqual(len(found), 1, found)
        return found[0]


class EventsTest(ReportTest):
    def test_a_backup_tells_its_start_its_files_and_a_summary(self):
        self.backup("--json")
        self.assertEqual(self.kinds(), ["start", "file", "file", "summary"])
        start, first, second, summary = self.events()
        self.assertEqual({**start, "time": ""}, {"event": "start", "time": "", "version": 1, "command": "backup", "dry_run": False,
                                                 "folder": "home", "destination": self.url})
        self.assertEqual([(event["path"], event["size"]) for event in (first, second)], [("a", 3), ("sub/b", 12)])
        self.assertEqual({**summary, "time": "", "seconds": 0},
                         {"event": "summary", "time": "", "complete": True, "files": 2, "bytes": 15,
                          "unchanged_files": 0, "unchanged_bytes": 0, "links": 0, "hard_links": 0, "empty_folders": 0, "skipped": 0,
                          "deleted": 0, "errors": 0, "retries": 0, "seconds": 0})
        self.assertIsInstance(summary["seconds"], float)
        self.assertEqual(self.result.err, "")

    def test_a_restore_tells_the_same(self):
        self.backup()
        self.restore("--json")
        self.assertEqual(self.kinds(), ["start", "file", "file", "summary"])
        start, first, second, summary = self.events()
        self.assertEqual((start["command"], start["folder"], start["destination"]), ("restore", "restored", self.url))
        self.assertEqual({(event["path"], event["size"]) for event in (first, second)}, {("a", 3), ("sub/b", 12)})
        self.assertEqual({**summary, "time": "", "seconds": 0},
                         {"event": "summary", "time": "", "complete": True, "files": 2, "bytes": 15,
                          "errors": 0, "retries": 0, "seconds": 0})

    @not_on_windows("names that it forbids")
    def test_any_name_can_be_told(self):
        names = [b'"quoted"', b"two\nlines", b"back\\slash", b"tab\tand\x01\x7f", b"caf\xe9", "\u00e4\u20ac\U0001f600".encode(),
                 b"\xff\xfe", b"{", b"\xe2\x80\xa8"]
        for name in names:
            with open(os.fsencode(self.folder) + b"/home/" + name, "wb") as file:
                file.write(b"x")
            os.mkfifo(os.fsencode(self.folder) + b"/home/pipe " + name)
        for command in (self.backup, self.restore):
            command("--json")
            told = {bytes.fromhex(event["path_bytes"]) if "path_bytes" in event else event["path"].encode()
                    for event in self.events() if event["event"] == "file"}
            self.assertEqual(told, {b"a", b"sub/b", *names})
        self.backup("--json")
        told = {bytes.fromhex(event["path_bytes"]) if "path_bytes" in event else event["path"].encode()
                for event in self.events() if event["event"] == "warning"}
        self.assertEqual(told, {b"pipe " + name for name in names})
        self.assertEqual(self.event("summary")["skipped"], len(names))

    @not_on_windows("rights")
    def test_an_entry_that_fails_is_an_error_with_its_path(self):
        (self.folder / "home/a").chmod(0)
        (self.folder / "other").mkdir()
        (self.folder / "other").chmod(0o777)
        self.url = "file://" + (self.folder / "other").as_posix()
        self.result = self.run_program("backup", "home", self.url, "--json", code=5, **self.unprivileged_program())
        error = self.event("error")
        self.assertEqual(error["path"], "a")
        self.assertIn("Permission denied", error["message"])
        self.assertEqual(self.event("summary")["errors"], 1)
        self.assertTrue(self.event("summary")["complete"])
        self.assertIn("NOT backed up: a: ", self.result.err)

    def test_an_error_that_ends_the_command_is_the_last_event(self):
        self.write("disk", b"a file")
        self.backup("--json", code=1)
        self.assertEqual(self.kinds(), ["start", "warning", "summary", "error"])
        self.assertFalse(self.event("summary")["complete"])
        self.assertIn("Cannot make the folder", self.event("error")["message"])

    def test_wrong_usage_is_an_error_event(self):
        self.backup("--json", "--exclude", "a[", code=2)
        self.assertEqual(self.kinds(), ["error"])

    def test_a_restore_of_nothing_is_a_warning(self):
        (self.folder / "disk").mkdir()
        self.restore("--json", code=3)
        self.assertEqual(self.kinds(), ["start", "summary", "warning"])

    def test_a_restore_names_what_is_lost(self):
        self.backup()
        (self.folder / "disk/a").unlink()
        self.restore("--json", code=5)
        self.assertEqual(self.event("error")["path"], "a")

    def test_only_what_is_transferred_is_told(self):
        for name in ("a", "sub/b"):
            os.utime(self.folder / "home" / name, (1, 1))
        self.backup()
        self.backup("--json")
        self.assertEqual(self.kinds(), ["start", "summary"])
        summary = self.event("summary")
        self.assertEqual((summary["files"], summary["unchanged_files"], summary["unchanged_bytes"]), (0, 2, 15))

    def test_deletions_and_plans_are_told(self):
        os.utime(self.folder / "home/a", (1, 1))
        self.backup()
        (self.folder / "home/sub/b").unlink()
        self.write("home/c")
        self.run_and_read("sync", "--dry-run")
        plans = [(event["action"], event["path"]) for event in self.events() if event["event"] == "planned"]
        self.assertEqual(plans, [("store", "c"), ("delete", "sub/b")])
        summary = self.event("summary")
        self.assertEqual((summary["planned_files"], summary["planned_bytes"], summary["planned_deletions"]), (1, 7, 1))
        self.run_and_read("sync")
        self.assertEqual(self.event("start")["command"], "sync")
        self.assertEqual(self.event("file")["path"], "c")
        self.assertEqual(self.event("deleted")["path"], "sub/b")
        self.assertEqual(self.event("summary")["deleted"], 1)

    def run_and_read(self, command, *arguments):
        self.result = self.run_program(command, "home", self.url, "--json", *arguments)


class ServerTest(ReportTest):
    def setUp(self):
        super().setUp()
        self.server = FakeS3()
        self.addCleanup(self.server.close)
        self.environment["VEXIL_S3_ENDPOINT"] = self.server.endpoint
        self.url = "s3://bucket/p"

    def slow_down(self, command, size=600_000):
        """Runs a command that takes about three seconds."""
        for name in ("a", "sub/b"):
            self.write(f"home/{name}", os.urandom(size // 2))
        if command == "restore":
            self.backup()
        getattr(self, command)("--json", "--bwlimit", str(size // 3))

    def test_progress_has_the_totals_at_most_once_a_second(self):
        for command in ("backup", "restore"):
            self.slow_down(command)
            progress = [event for event in self.events() if event["event"] == "progress"]
            self.assertIn(len(progress), range(1, 1 + int(self.event("summary")["seconds"])), self.result)
            for event in progress:
                self.assertEqual((event["expected_files"], event["expected_bytes"], event["counted"]), (2, 600_000, True))
                self.assertLessEqual(event["files"], 2)
                self.assertLess(event["bytes"], 600_001)
                self.assertGreater(event["bytes_per_second"], 0)
                self.assertGreaterEqual(event["seconds_left"], 0)
            shutil.rmtree(self.folder / "restored", ignore_errors=True)

    def test_events_tell_no_secret(self):
        self.server.faults["p/a"] = [Fault(status=403, code="AccessDenied")]
        self.backup("--json", "-v", "--log-file", "log", code=None)
        self.assertIn("error", self.kinds())
        log = self.read("log").decode()
        self.assertIn("AccessDenied", log)
        for text in (self.result.out, self.result.err, log):
            self.assertNotIn(SECRET, text)


class TextTest(ReportTest):
    def test_verbose_names_the_files_in_transfer(self):
        self.assertNotIn("storing", self.backup().err)
        shutil.rmtree(self.folder / "disk")
        result = self.backup("-v")
        self.assertEqual(result.err.splitlines(), ["storing a", "storing sub/b"])
        self.assertRegex(result.out, "^backed up: 2 files")
        self.assertEqual(sorted(self.restore("--verbose").err.splitlines()), ["fetching a", "fetching sub/b"])

    @not_on_windows("pipes")
    def test_quiet_prints_only_errors(self):
        os.mkfifo(self.folder / "home/pipe")
        result = self.backup("-q")
        self.assertEqual((result.out, result.err), ("", ""))
        (self.folder / "disk/a").unlink()
        result = self.restore("--quiet", code=5)
        self.assertEqual(result.out, "")
        self.assertEqual(result.err, "NOT restored: a: the index names it, but it is not in the backup any more\n")

    def test_quiet_and_verbose_contradict(self):
        self.assertIn("excludes", self.backup("-q", "-v", code=2).err)


    def test_hard_links_are_named(self):
        for name in ("a", "sub/b"):
            os.utime(self.folder / "home" / name, (1_500_000_000, 1_500_000_000))
        self.assertNotIn("hard link", self.backup("-v").err + self.result.out)
        os.link(self.folder / "home/a", self.folder / "home/sub/a")
        for unchanged in (2, 3):
            self.backup("-v")
            self.assertIn("hard links: 2 files, each kept as a file of its own\n", self.result.out)
            for name in ("a", "sub/a"):
                self.assertIn(f"a hard link, kept as a file of its own: {name}\n", self.result.err)
            self.assertIn(f"unchanged: {unchanged} files", self.result.out)
        self.assertEqual(self.backup().err, "")
        self.assertEqual(self.event_of_backup()["hard_links"], 2)
        self.restore()
        self.assertEqual(self.files_in("restored"), self.files_in("home"))

    def event_of_backup(self):
        self.backup("--json")
        return self.event("summary")


class LogFileTest(ReportTest):
    @not_on_windows("pipes")
    def test_a_log_has_all_messages_with_their_times(self):
        os.mkfifo(self.folder / "home/pipe")
        self.backup("-q", "--log-file", "log")
        (self.folder / "disk/a").unlink()
        self.restore("--json", "--log-file", "log", code=5)
        lines = self.read("log").decode().splitlines()
        for line in lines:
            self.assertRegex(line, "^" + TIME.pattern + " (summary|error|warning|info) ")
        texts = [line.split(" ", 1)[1] for line in lines]
        for text in ("info storing a", "info storing sub/b", "warning skipped pipe: a pipe", "info fetching sub/b",
                     "error NOT restored: a: the index names it, but it is not in the backup any more"):
            self.assertIn(text, texts)
        self.assertTrue([text for text in texts if text.startswith("summary backed up: 2 files")], texts)
        self.assertTrue([text for text in texts if text.startswith("summary restored: 1 file")], texts)

    def test_an_error_that_ends_the_command_is_logged(self):
        self.write("disk", b"a file")
        self.backup("--log-file", "log", code=1)
        lines = self.read("log").decode().splitlines()
        self.assertRegex(lines[-1], " error vexil: error: Cannot make the folder .*; system code: ")

    def test_a_log_that_cannot_be_written_is_an_error(self):
        self.assertIn("cannot write to the log file 'none/log'", self.backup("--log-file", "none/log", code=2).err)
        self.assertFalse((self.folder / "disk").exists())

    @not_on_windows("/dev/full")
    def test_a_full_disk_is_an_error(self):
        self.assertIn("Cannot write to the log file '/dev/full'", self.backup("--log-file", "/dev/full", code=1).err)


del ReportTest

if __name__ == "__main__":
    unittest.main()
