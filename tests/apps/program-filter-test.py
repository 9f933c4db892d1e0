#!/usr/bin/env python3
"""Which entries of a folder a backup takes. Git decides whether patterns are understood as in a .gitignore file."""

import os
import random
import shutil
import subprocess
import time
import unittest

from program import ProgramTest, not_on_windows

INDEX = ".vexil-index.gz"
DAY = 24 * 3600


class FilterTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.url = "file://" + (self.folder / "disk").as_posix()

    def write_all(self, *names):
        for name in names:
            self.write(f"home/{name}", b"x")

    def backup(self, *arguments, code=0):
        """The files that a first backup takes."""
        shutil.rmtree(self.folder / "disk", ignore_errors=True)
        self.result = self.run_program("backup", "home", self.url, *arguments, code=code)
        return sorted(set(self.files_in("disk")) - {INDEX})

    def test_a_pattern_leaves_out_names_at_any_depth(self):
        self.write_all("a.o", "a.c", "sub/b.o", "sub/deep/c.o/file", "o")
        self.assertEqual(self.backup("--exclude", "*.o"), ["a.c", "o"])
        self.assertEqual(self.result.err, "")

    def test_a_slash_ties_to_the_folder_or_to_folders(self):
        self.write_all("build/x", "sub/build/x", "sub/build2", "other/build")
        self.assertEqual(self.backup("--exclude", "/build"), ["other/build", "sub/build/x", "sub/build2"])
        self.assertEqual(self.backup("--exclude", "build/"), ["other/build", "sub/build2"])
        self.assertEqual(self.backup("--exclude", "sub/build"), ["build/x", "other/build", "sub/build2"])
        self.assertEqual(self.backup("--exclude", "./build"), ["other/build", "sub/build/x", "sub/build2"])

    @not_on_windows("names that it forbids")
    def test_a_plain_path_leaves_out_what_it_names(self):
        names = ("[ab]", "a", "st*r", "star", "!no", "#x", "end ", "sub/[ab]/file", "sub/a/file")
        self.write_all(*names)
        for path in ("!no", "#x", "end ", "./end ", "sub//a/file", "sub/./a/file"):
            name = os.path.normpath(path)
            self.assertEqual(self.backup("--exclude", path), sorted(set(names) - {name}), path)
        self.assertEqual(self.backup("--exclude", "st*r"), sorted(set(names) - {"st*r", "star"}))
        self.assertEqual(self.backup("--exclude", "/[ab]"), sorted(set(names) - {"a"}))
        self.assertEqual(self.backup("--exclude", "[ab]"),
                         sorted(set(names) - {"[ab]", "a", "sub/a/file"}))
        self.assertEqual(self.backup("--exclude", "sub/[ab]/"), sorted(set(names) - {"sub/[ab]/file", "sub/a/file"}))

    def test_the_last_rule_that_matches_decides(self):
        self.write_all("a.log", "keep.log", "sub/keep.log", "b")
        self.assertEqual(self.backup("--exclude", "*.log", "--include", "keep.log"), ["b", "keep.log", "sub/keep.log"])
        self.assertEqual(self.backup("--include", "keep.log", "--exclude", "*.log", "--include", "b"), ["b"])
        self.assertEqual(self.backup("--exclude", "sub", "--include", "keep.log"), ["a.log", "b", "keep.log"])
        self.write("rules", b"*.log\n!keep.log\n")
        self.assertEqual(self.backup("--exclude-from", "rules"), ["b", "keep.log", "sub/keep.log"])
        self.assertEqual(self.backup("--exclude-from", "rules", "--exclude", "sub"), ["b", "keep.log"])
        self.assertEqual(self.backup("--exclude=keep.log", "--exclude-from=rules"), ["b", "keep.log", "sub/keep.log"])

    def test_an_include_at_first_takes_only_what_matches(self):
        self.write_all("a.jpg", "a.txt", "sub/b.jpg", "sub/b.txt", "docs/read.me", "docs/deep/x", "other/x")
        (self.folder / "home/empty").mkdir()
        self.assertEqual(self.backup("--include", "*.jpg"), ["a.jpg", "sub/b.jpg"])
        self.assertEqual(self.backup("--include", "docs/", "--exclude", "*.me"), ["docs/deep/x"])
        self.write("rules", b"*.jpg\n!sub/\n")
        self.assertEqual(self.backup("--include-from", "rules"), ["a.jpg"])
        self.run_program("restore", self.url, "restored")
        self.assertEqual([path.name for path in (self.folder / "restored").iterdir()], ["a.jpg"])

    def test_the_folders_of_taken_files_keep_their_times(self):
        self.write_all("sub/deep/a.jpg", "sub/b")
        for name in ("sub/deep", "sub"):
            os.utime(self.folder / "home" / name, (DAY, DAY))
        self.assertEqual(self.backup("--include", "*.jpg"), ["sub/deep/a.jpg"])
        self.run_program("restore", self.url, "restored")
        for name in ("sub/deep", "sub"):
            self.assertEqual((self.folder / "restored" / name).stat().st_mtime, DAY, name)

    @not_on_windows("rights")
    def test_a_folder_that_is_left_out_is_not_entered(self):
        self.write_all("a", "shut/b")
        (self.folder / "home/shut").chmod(0)
        self.addCleanup((self.folder / "home/shut").chmod, 0o700)
        options = self.unprivileged_program()
        (self.folder / "disk").mkdir(mode=0o777)
        (self.folder / "disk").chmod(0o777)
        self.run_program("backup", "home", self.url, "--exclude", "shut", **options)
        self.assertEqual(set(self.files_in("disk")), {"a", INDEX})

    def test_what_is_left_out_stays_in_the_destination(self):
        self.write_all("a", "sub/b")
        self.backup()
        result = self.run_program("backup", "home", self.url, "--exclude", "sub", "--exclude", "a")
        self.assertEqual(result.err, "")
        self.run_program("restore", self.url, "restored")
        self.assertEqual(sorted(self.files_in("restored")), ["a", "sub/b"])

    def test_large_files_are_left_out(self):
        for name, size in (("k", 1024), ("k+1", 1025), ("M", 2**20), ("M+1", 2**20 + 1), ("0", 0)):
            self.write(f"home/{name}", bytes(size))
        self.assertEqual(self.backup("--max-size", "1k"), ["0", "k"])
        self.assertEqual(self.backup("--max-size", "1024"), ["0", "k"])
        self.assertEqual(self.backup("--max-size", "1M"), ["0", "M", "k", "k+1"])
        self.assertEqual(self.backup("--max-size", "0"), ["0"])

    def test_old_files_are_left_out(self):
        now = time.time()
        for name, age in (("new", 0), ("hours", 5 * 3600), ("days", 3 * DAY + 60), ("old", 400 * DAY)):
            self.write_all(name)
            os.utime(self.folder / "home" / name, (now - age, now - age))
        self.assertEqual(self.backup("--newer", "1h"), ["new"])
        self.assertEqual(self.backup("--newer", "3d"), ["hours", "new"])
        self.assertEqual(self.backup("--newer", "4d"), ["days", "hours", "new"])
        day = time.strftime("%Y-%m-%d", time.gmtime(now - 100 * DAY))
        for text in (day, f"{day}T12:00", f"{day}T12:00:30", f"{day}Z", f"{day}T12:00Z"):
            self.assertEqual(self.backup("--newer", text), ["days", "hours", "new"], text)

    @not_on_windows("its time zones")
    def test_a_time_is_local_unless_it_ends_in_z(self):
        self.environment["TZ"] = "XXX-5"  # five hours ahead of UTC
        self.write_all("a")
        noon = 1_767_225_600 + 12 * 3600  # 2026-01-01 12:00 UTC
        os.utime(self.folder / "home/a", (noon, noon))
        for text, taken in (("2026-01-01T16:59:59", ["a"]), ("2026-01-01T17:00", []), ("2026-01-01T11:59:59Z", ["a"]),
                            ("2026-01-01T12:00Z", []), ("2026-01-01", ["a"]), ("2026-01-02", [])):
            self.assertEqual(self.backup("--newer", text), taken, text)

    @not_on_windows("no mounted file systems under Wine")
    @unittest.skipUnless(os.path.isdir("/dev/shm") and os.stat("/dev").st_dev != os.stat("/dev/shm").st_dev,
                         "needs a mounted file system below another")
    def test_another_file_system_is_not_entered(self):
        name = f"vexil-test-{os.getpid()}"
        os.mkdir(f"/dev/shm/{name}")
        self.addCleanup(shutil.rmtree, f"/dev/shm/{name}")
        with open(f"/dev/shm/{name}/file", "wb") as file:
            file.write(b"x")
        for options, taken in (([], {f"shm/{name}/file", INDEX}), (["--one-file-system"], {INDEX})):
            shutil.rmtree(self.folder / "disk", ignore_errors=True)
            self.run_program("backup", "/dev", self.url, "--include", f"/shm/{name}/", *options)
            self.assertEqual(set(self.files_in("disk")) | {INDEX}, taken)

    def test_wrong_values_are_named_before_anything_is_stored(self):
        self.write_all("a")
        self.write("rules", b"a\n\n# comment\nb[\n")
        for arguments, problem in ((["--exclude", "a["], "the pattern 'a[' has a '[' without its ']'"),
                                   (["--include", "a\\"], "the pattern 'a\\' ends with a '\\'"),
                                   (["--exclude", "[z-a]"], "'[z-a]' has a range that ends before it begins"),
                                   (["--exclude", "[[:abc:]]"], "'[[:abc:]]' has an unknown name"),
                                   (["--exclude", "/"], "the pattern '/' has no name in it"),
                                   (["--exclude", ""], "--exclude: the value is empty"),
                                   (["--exclude-from", "rules"], "line 4 of 'rules': the pattern 'b[' has a '['"),
                                   (["--include-from", "none"], "the file of patterns 'none' cannot be read"),
                                   (["--max-size", "10X"], "--max-size: '10X' is not a size such as"),
                                   (["--max-size", "-1"], "--max-size: '-1' is not a size such as"),
                                   (["--max-size", ""], "--max-size: the value is empty"),
                                   (["--newer", "soon"], "--newer: 'soon' is not a time such as"),
                                   (["--newer", "2026-02-30"], "--newer: '2026-02-30' is not a time such as"),
                                   (["--newer", "2026-01-01T24:00"], "is not a time such as")):
            self.assertEqual(self.backup(*arguments, code=2), [], arguments)
            self.assertIn(problem, self.result.err)


# Names that the patterns are likely to match. Spaces at the end and signs test the rules of a line.
NAMES = ("a", "b", "ab", "abc", "a.o", "b.o", "c9", "A", "#a", "!a", "a b", "b ", "-", "]", "[a]", "a*", "\\a")
PIECES = ("a", "b", "c", "o", ".", "9", "*", "*", "**", "?", "[ab]", "[!a]", "[^b]", "[a-c]", "[]-]", "[[:digit:]]",
          "[[:upper:]#]", "[\\]a]", "\\*", "\\a", "\\\\", "\\ ", "\\#", "[!-9]", "[a/b]", "***", " ", "#", "!", "[", "\\/")


class GitTest(ProgramTest):
    """The same patterns, given to Git."""

    def make_tree(self, numbers):
        self.names = set()
        folders = [""]
        for _ in range(70):
            name = numbers.choice(folders) + numbers.choice(NAMES)
            if any(known == name or known.startswith(name + "/") for known in self.names) or name + "/" in folders:
                continue
            if numbers.random() < 0.4 and name.count("/") < 4:
                folders.append(name + "/")
                self.names.add(name + "/x")
                self.write(f"home/{name}/x", b"")
            else:
                self.names.add(name)
                self.write(f"home/{name}", b"")

    def make_line(self, numbers):
        if numbers.random() < 0.2:  # the path of a file or of its folder
            parts = numbers.choice(sorted(self.names)).split("/")
            return "/".join(parts[:numbers.randint(1, len(parts))])
        names = []
        for _ in range(numbers.choice((1, 1, 1, 2, 2, 3))):
            whole = numbers.choice(("**", "*", *NAMES)) if numbers.random() < 0.4 else ""
            names.append(whole or "".join(numbers.choice(PIECES) for _ in range(numbers.randint(1, 3))))
        return (numbers.choice(("", "", "", "!", "!", "/", "!/", "\\!", "\\#")) + "/".join(names) +
                numbers.choice(("", "", "", "/", " ", "  ", "\\ ", "/ ")))

    def ask_git(self, *lines):
        """The files that Git ignores."""
        (self.folder / "git/info/exclude").write_bytes("".join(line + "\n" for line in lines).encode())
        result = subprocess.run(["git", "--git-dir=../git", "--work-tree=.", "check-ignore", "--no-index", "-z",
                                 "--stdin"], input="\0".join(sorted(self.names)).encode(), cwd=self.folder / "home",
                                env=self.git_environment, stdout=subprocess.PIPE, check=False)
        self.assertIn(result.returncode, (0, 1), lines)
        return set(result.stdout.decode().split("\0")) - {""}

    def ask_program(self, *lines):
        """The files that a backup leaves out, or None if it refuses a pattern."""
        self.write("rules", "".join(line + "\n" for line in lines).encode())
        shutil.rmtree(self.folder / "disk", ignore_errors=True)
        result = self.run_program("backup", "home", "file://" + (self.folder / "disk").as_posix(), "--exclude-from",
                                  "rules", code=None)
        if result.code == 2:
            self.assertIn("of 'rules': the pattern '", result.err)
            return None
        self.assertEqual(result.code, 0, result)
        return self.names - set(self.files_in("disk"))

    @not_on_windows("names that it forbids")
    def test_patterns_mean_the_same(self):
        numbers = random.Random(20)
        self.git_environment = {**os.environ, "HOME": str(self.folder), "GIT_CONFIG_GLOBAL": os.devnull,
                                "GIT_CONFIG_NOSYSTEM": "1", "LC_ALL": "C"}
        subprocess.run(["git", "init", "-q", "--bare", "git"], cwd=self.folder, env=self.git_environment, check=True)
        self.make_tree(numbers)
        compared = refused = some = 0
        for _ in range(400):
            lines = [self.make_line(numbers) for _ in range(numbers.choice((1, 1, 2, 3)))]
            left_out = self.ask_program(*lines)
            if left_out is None:
                # One of the lines must be one that never matches.
                refused += 1
                useless = [line for line in lines if self.ask_program(line) is None]
                self.assertTrue(useless, lines)
                for line in useless:
                    self.assertEqual(self.ask_git(line.removeprefix("!")), set(), line)
                continue
            self.assertEqual(left_out, self.ask_git(*lines), lines)
            compared += 1
            some += 0 < len(left_out) < len(self.names)
        self.assertGreater(compared, 250)
        self.assertGreater(some, 80)
        self.assertGreater(refused, 10)


if __name__ == "__main__":
    unittest.main()
