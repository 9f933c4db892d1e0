#!/usr/bin/env python3
"""The program at a terminal: the progress line, and Ctrl-C."""

import fcntl
import os
import pty
import re
import select
import struct
import termios
import threading
import time
import unittest

from fake_s3 import Fault
from program import TIME_LIMIT, FakeServerTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))
CTRL_C = b"\x03"


class Screen:
    """The text that a terminal with this many columns shows."""

    def __init__(self, columns):
        self.columns = columns
        self.lines = [""]
        self.column = 0
        self.drawn = []  # each line before it was overwritten
        self.has_wrapped = False

    def feed(self, text):
        for character in text:
            if character == "\r":
                self.drawn.append(self.lines[-1].rstrip())
                self.column = 0
            elif character == "\n":
                self.lines.append("")
                self.column = 0
            else:
                self.put(character)

    def put(self, character):
        if self.column == self.columns:
            self.has_wrapped = True
            self.lines.append("")
            self.column = 0
        line = self.lines[-1].ljust(self.column)
        self.lines[-1] = line[:self.column] + character + line[self.column + 1:]
        self.column += 1


@not_on_windows("what comes to this terminal is drawn by Wine, a character at a time with the cursor moved between")
class TerminalTest(FakeServerTest):
    def start_at_terminal(self, *arguments, columns=80):
        """Runs with standard error at its own terminal, whose Ctrl-C reaches the program."""
        self.terminal, other_end = pty.openpty()
        self.addCleanup(os.close, self.terminal)
        fcntl.ioctl(other_end, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
        self.screen = Screen(columns or 80)

        def take_terminal():
            os.setsid()
            fcntl.ioctl(2, termios.TIOCSCTTY, 0)

        process = self.start(*arguments, before=take_terminal, stderr=other_end)
        os.close(other_end)
        return process

    def read_terminal(self, deadline):
        """Whether data came; the other end is closed after the program has ended."""
        self.assertLess(time.monotonic(), deadline, self.screen.drawn)
        if not select.select([self.terminal], [], [], 1)[0]:
            return True
        try:
            data = os.read(self.terminal, 65536)
        except OSError:
            return False
        self.screen.feed(data.decode())
        return bool(data)

    def wait_for(self, pattern):
        deadline = time.monotonic() + TIME_LIMIT
        while not any(re.search(pattern, line) for line in (*self.screen.drawn, self.screen.lines[-1])):
            self.assertTrue(self.read_terminal(deadline), self.screen.drawn)

    def finish_at_terminal(self, process):
        deadline = time.monotonic() + TIME_LIMIT
        while self.read_terminal(deadline):
            pass
        return self.finish(process).code

    def shown_at_the_end(self):
        """A terminal sends the signal before it shows "^C", which may therefore come after the program's message."""
        return [line.rstrip().removesuffix("^C").rstrip() for line in self.screen.lines]


class HelpTest(TerminalTest):
    def test_help_fits_the_terminal(self):
        self.environment["COLUMNS"] = "60"  # of another terminal
        for columns, text in ((72, "The command does not ask, and deleted objects are lost. If there is"),
                              (90, "The command does not ask, and deleted objects are lost. If there is nothing to delete, the")):
            output, other_end = pty.openpty()
            fcntl.ioctl(other_end, termios.TIOCSWINSZ, struct.pack("HHHH", 24, columns, 0, 0))
            process = self.start("s3", "rm", "--help", stdout=other_end)
            os.close(other_end)
            shown = b""
            while chunk := self.read_until_closed(output):
                shown += chunk
            os.close(output)
            self.assertEqual(self.finish(process).code, 0)
            self.assertIn(text, shown.decode().splitlines())

    def read_until_closed(self, output):
        try:
            return os.read(output, 65536)
        except OSError:
            return b""


class QuestionTest(TerminalTest):
    def test_a_recursive_deletion_asks_first(self):
        for reply, left in (("no", 1), ("", 1), ("yes", 0)):
            self.server.objects["home/folder/a"] = b"content"
            keyboard, terminal = pty.openpty()
            process = self.start("rm", "-r", "s3://bucket/home", "folder", stdin=terminal)
            os.close(terminal)
            os.write(keyboard, f"{reply}\n".encode())
            result = self.finish(process)
            os.close(keyboard)
            self.assertIn("Delete 1 entry? Type yes to do it.", result.err)
            self.assertEqual((result.code, len(self.server.objects)), (0, left), reply)


class ProgressTest(TerminalTest):
    def hold(self, *arguments, **options):
        self.server.objects = {"b": BODY}
        self.server.faults["b"] = [Fault(cut=30000, hold=True)]
        return self.start_at_terminal(*arguments, **options)

    def get(self, **options):
        return self.hold("http", "get", f"{self.server.endpoint}/bucket/b", "r/b", **options)

    def test_ctrl_c_ends_it_cleanly(self):
        for arguments in (["http", "get", f"{self.server.endpoint}/bucket/b", "r/b"],
                          ["s3", "get", "bucket", "b", "r/b"], ["s3", "restore", "bucket", "r"]):
            self.write("r/b", b"old")
            process = self.hold(*arguments)
            self.wait_for(r"^\[####-{12}\]   30%  30.0 kB of 100.0 kB  .*/s  \d.* left$" if "get" in arguments else
                          r"^0 files, 30.0 kB, .*/s  30% of b$")
            os.write(self.terminal, CTRL_C)
            self.assertEqual(self.finish_at_terminal(process), 130)
            self.assertEqual(self.files_in("r"), {"b": b"old"})
            self.assertEqual(self.shown_at_the_end(), ["vexil: interrupted", ""], arguments)
            self.assertFalse(self.screen.has_wrapped)

    def test_the_line_is_no_longer_than_the_terminal(self):
        for columns, pattern in ((120, r"^\[#{12}-{28}\]   30%  30.0 kB of 100.0 kB "),
                                 (65, r"^ 30%  30.0 kB of 100.0 kB "), (30, r"^ 30%  [^ ]+ k?B"), (5, r"^ 3$"),
                                 (0, r"^\[####-{12}\]   30%")):
            self.write("r/b", b"old")
            process = self.get(columns=columns)
            self.wait_for(pattern)
            os.write(self.terminal, CTRL_C)
            self.assertEqual(self.finish_at_terminal(process), 130)
            if columns != 5:
                self.assertFalse(self.screen.has_wrapped, columns)

    def test_a_continued_download_goes_on_in_the_bar(self):
        self.server.objects = {"b": BODY}
        self.server.faults["b"] = [Fault(cut=30000), Fault(cut=40000, hold=True)]
        process = self.start_at_terminal("s3", "get", "bucket", "b", "f")
        self.wait_for(r" 70%  70.0 kB of 100.0 kB ")
        os.write(self.terminal, CTRL_C)
        self.assertEqual(self.finish_at_terminal(process), 130)

    def test_an_upload_has_a_bar(self):
        self.write("f", bytes(50_000_000))
        self.server.faults["b"] = [Fault(hold=True)]
        process = self.start_at_terminal("s3", "put", "f", "bucket", "b")
        self.wait_for(r" \d+%  [^ ]+ .B of 50.0 MB ")
        os.write(self.terminal, CTRL_C)
        self.assertEqual(self.finish_at_terminal(process), 130)
        self.assertEqual(self.shown_at_the_end()[-2:], ["vexil: interrupted", ""])

    def test_nothing_is_left_of_the_line_at_the_end(self):
        self.server.objects = {"b": BODY}
        release = self.server.gate = threading.Event()
        process = self.start_at_terminal("s3", "restore", "bucket", "r")
        self.wait_for("^0 files, 0 bytes, 0 bytes/s  b$")
        release.set()
        self.assertEqual(self.finish_at_terminal(process), 0)
        self.assertEqual(self.shown_at_the_end(), [""])

    def test_elsewhere_there_is_no_bar(self):
        self.server.objects = {"b": BODY}
        self.assertEqual(self.run_program("s3", "get", "bucket", "b", "f").err, "")


if __name__ == "__main__":
    unittest.main()
