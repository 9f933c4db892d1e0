#!/usr/bin/env python3
"""What the shells offer while a command line is being typed."""

import os
import pathlib
import pty
import select
import subprocess
import time
import unittest

from program import PROGRAM, TIME_LIMIT, ProgramTest, not_on_windows

SCRIPTS = pathlib.Path(__file__).resolve().parents[2] / "apps/vexil/completion"
SCHEMES = ["file:///", "ftp://", "ftps://", "s3://"]


class CompletionTest(ProgramTest):
    def setUp(self):
        super().setUp()
        (self.folder / "folder").mkdir()
        (self.folder / "file.txt").touch()
        # The shells find the program by its name.
        programs = self.folder / "programs"
        programs.mkdir()
        (programs / "vexil").symlink_to(pathlib.Path(PROGRAM).resolve())
        self.environment["PATH"] = f"{programs}:{self.environment['PATH']}"
        self.environment["HOME"] = str(self.folder)
        self.environment["TERM"] = "dumb"


class WordsTest(ProgramTest):
    def complete(self, *words):
        """The first line, and the words of the others."""
        result = self.run_program("complete-words", *words)
        self.assertEqual((result.code, result.err), (0, ""))
        first, *others = result.out.splitlines()
        self.descriptions = {}
        for line in others:
            word, _, description = line.partition("\t")
            self.descriptions[word] = description
        return first, list(self.descriptions)

    def test_commands(self):
        for words in ([], [""], ["--verify", ""], ["--timeout", "3", ""], ["--timeout=3", ""]):
            kind, found = self.complete(*words)
            self.assertEqual(kind, "words")
            for command in ("backup", "restore", "s3", "ftp", "http", "mail"):
                self.assertIn(command, found)
        self.assertEqual(self.descriptions["ls"], "List the files of a backup")
        self.assertEqual(self.complete("s3", "g"), ("words", ["get"]))
        self.assertEqual(self.complete("s3", "uploads", ""), ("words", ["ls", "abort"]))
        self.assertEqual(self.complete("s3", "nothing-like-this"), ("words", []))
        # Its value, not the command.
        self.assertIn("s3", self.complete("--credentials", "s3", "")[1])

    def test_help_is_completed_like_a_command(self):
        self.assertEqual(self.complete("help", "ma"), ("words", ["mail"]))
        self.assertEqual(self.complete("help", "s3", "ge"), ("words", ["get"]))

    def test_options_of_the_command_and_of_those_above_it(self):
        kind, found = self.complete("s3", "put", "-")
        self.assertEqual(kind, "words")
        for option in ("--part-size", "--region", "--timeout", "--help"):
            self.assertIn(option, found)
        self.assertNotIn("--tls", found)
        self.assertEqual(self.complete("backup", "--max-"), ("words", ["--max-size", "--max-delete"]))
        self.assertEqual(self.complete("backup", "f", "s3://b", "--dry"), ("words", ["--dry-run"]))
        self.assertEqual(self.complete("--no-v"), ("words", ["--no-verify"]))

    def test_a_description_is_one_statement(self):
        self.complete("--ti")
        self.assertEqual(self.descriptions["--timeout"],
                         "End a request that takes longer (default: no limit, but 60 s without data end it)")
        self.complete("--verif")
        self.assertEqual(self.descriptions["--verify"], "Check the server's certificate (default)")

    def test_values_of_an_option(self):
        self.assertEqual(self.complete("backup", "--tls", ""), ("words", ["none", "explicit", "implicit"]))
        self.assertEqual(self.complete("backup", "--tls", "ex"), ("words", ["explicit"]))
        self.assertEqual(self.complete("backup", "--tls=im"), ("words", ["--tls=implicit"]))
        self.assertEqual(self.complete("s3", "put", "--signature", "v"), ("words", ["v2", "v4"]))
        self.assertEqual(self.complete("--log-level", "w"), ("words", ["warning"]))
        self.assertEqual(self.complete("--timeout", ""), ("words", []))
        self.assertEqual(self.complete("--unknown=x"), ("words", []))

    def test_paths(self):
        for words in (["--verbose-log", ""], ["--verbose-log=f"], ["s3", "put", ""], ["ftp", "get", "a", ""]):
            self.assertEqual(self.complete(*words), ("files", []), words)
        for words in (["backup", ""], ["s3", "backup", "f"], ["restore", "s3://b", ""], ["compare", "a", ""]):
            self.assertEqual(self.complete(*words), ("folders", []), words)
        # After "--" nothing is an option.
        self.assertEqual(self.complete("backup", "--", "-"), ("folders", []))

    def test_destinations(self):
        self.assertEqual(self.complete("backup", "folder", ""), ("beginnings", SCHEMES))
        self.assertEqual(self.complete("ls", "ft"), ("beginnings", ["ftp://", "ftps://"]))
        self.assertEqual(self.complete("restore", "s3://b"), ("beginnings", []))

    def test_further_arguments(self):
        self.assertEqual(self.complete("backup", "folder", "s3://b", ""), ("words", []))


@not_on_windows("the scripts are for shells of POSIX")
class ShellTest(CompletionTest):
    CASES = (
        ("vexil s3 g", "vexil s3 get "),
        ("vexil backup --tls i", "vexil backup --tls implicit "),
        ("vexil backup --tls=i", "vexil backup --tls=implicit "),
        ("vexil backup fo", "vexil backup folder/"),
        ("vexil backup folder s", "vexil backup folder s3://"),
        ("vexil restore file:/", "vexil restore file:///"),
        ("vexil --verbose-log fi", "vexil --verbose-log file.txt "),
        ("vexil --verbose-log=fi", "vexil --verbose-log=file.txt "),
        ("vexil backup fi", "vexil backup fi"),
    )

    def converse(self, shell, *commands):
        """Starts a shell at a terminal, and runs the commands."""
        self.terminal, other_end = pty.openpty()
        self.addCleanup(os.close, self.terminal)
        process = subprocess.Popen(shell, cwd=self.folder, env=self.environment, stdin=other_end, stdout=other_end,
                                   stderr=other_end, start_new_session=True)
        os.close(other_end)
        self.addCleanup(process.wait)
        self.addCleanup(process.kill)
        self.shown = b""
        # Not the text of the command itself, which the terminal shows, too.
        os.write(self.terminal, b"PS1='re''ady> '\n")
        self.read_past("ready> ")
        for command in commands:
            os.write(self.terminal, f"{command}; echo do''ne\n".encode())
            self.read_past("\ndone")
            self.read_past("ready> ")

    def read_past(self, text):
        deadline = time.monotonic() + TIME_LIMIT
        while text.encode() not in self.shown:
            self.assertTrue(select.select([self.terminal], [], [], max(0, deadline - time.monotonic()))[0],
                            f"not {text!r} but {self.shown!r}")
            self.shown += os.read(self.terminal, 65536)
        before, _, self.shown = self.shown.partition(text.encode())
        return before.decode()

    def completed(self, typed):
        """The line that the shell makes of it, when its completion is asked for at the end."""
        os.write(self.terminal, f"{typed}\t\x01echo \"<\x05>\"\n".encode())
        self.read_past("\n<")
        return self.read_past(">\r")

    def test_bash(self):
        self.converse(["bash", "--norc", "--noprofile", "-i"], f"source {SCRIPTS / 'vexil.bash'}")
        for typed, expected in self.CASES:
            self.assertEqual(self.completed(typed), expected)
            self.read_past("ready> ")

    def test_zsh(self):
        self.converse(["zsh", "-f", "-i"], "bindkey -e", f"fpath=({SCRIPTS} $fpath)", "autoload -U compinit",
                      "compinit -u -D")
        for typed, expected in self.CASES:
            # zsh takes back what it has added, if no further word follows.
            self.assertEqual(self.completed(typed), expected.rstrip(" ").replace("folder/", "folder"))
            self.read_past("ready> ")

    def test_fish(self):
        for typed, expected in self.CASES:
            completed = subprocess.run(
                ["fish", "--no-config", "--command",
                 f"source {SCRIPTS / 'vexil.fish'}; complete --do-complete '{typed}'"],
                cwd=self.folder, env=self.environment, capture_output=True, text=True, timeout=TIME_LIMIT)
            words = [line.partition("\t")[0] for line in completed.stdout.splitlines()]
            word = expected.split()[-1]
            self.assertEqual(words, [] if expected == typed else [word], (typed, completed.stderr))


if __name__ == "__main__":
    unittest.main()
