#!/usr/bin/env python3
"""The program against real FTP servers: pyftpdlib and Pure-FTPd, without and with TLS."""

import os
import pathlib
import unittest

from program import IS_WINDOWS, ProgramTest, not_on_windows

PYTHON, PURE = "VEXIL_FTP", "VEXIL_PUREFTPD"
# Kind, variable of the address, value of --tls.
PLAIN = (PYTHON, "VEXIL_FTP_ENDPOINT", "none")
EXPLICIT = (PYTHON, "VEXIL_FTP_ENDPOINT", "explicit")
IMPLICIT = (PYTHON, "VEXIL_FTPS_ENDPOINT", "implicit")
HOME = (PYTHON, "VEXIL_FTP_HOME_ENDPOINT", "none")
OLD = (PYTHON, "VEXIL_FTP_OLD_ENDPOINT", "none")
PURE_PLAIN = (PURE, "VEXIL_PUREFTPD_ENDPOINT", "none")
PURE_EXPLICIT = (PURE, "VEXIL_PUREFTPD_ENDPOINT", "explicit")
# Starts of the program and transfers take long under Wine, and the differences between servers do not depend on the
# system.
SERVERS = [IMPLICIT, PURE_EXPLICIT] if IS_WINDOWS else [PLAIN, EXPLICIT, IMPLICIT, HOME, PURE_PLAIN, PURE_EXPLICIT]
# Names that mean something else in a URL, in a command or to a shell.
NAMES = ["report #3 100%.pdf", "%41", "x;type=d", "~!@$^()[]{}';,", " blank before", "ü", "日本語", "🎉", "-r", "..dots",
         ".hidden", "..a", "n" * 200, "&+=", "a`b"]
POSIX_NAMES = ["a?b", "~!@$^*()[]{}'\";,<>|", "..dots..", "&+=:"]


class FTPServerTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.environment["VEXIL_FTP_USER"] = "tester"
        self.environment["VEXIL_FTP_PASSWORD"] = "secret"
        self.place = f"/program-{self.id().rsplit('.', 1)[-1]}"

    def use(self, server):
        self.kind, address, self.tls = server
        self.environment["VEXIL_FTP_SERVER"] = os.environ[address]
        self.root = pathlib.Path(os.environ[f"{self.kind}_ROOT"])

    def ftp(self, command, *arguments, **options):
        return self.run_program("--ca-bundle", os.environ[f"{self.kind}_CA"], "ftp", command, "--tls", self.tls,
                                *arguments, **options)

    def on_each(self, servers=SERVERS):
        for server in servers:
            self.use(server)
            yield self.place
            self.ftp("rmtree", self.place)


class CommandTest(FTPServerTest):
    def test_one_file_through_all_commands(self):
        body = os.urandom(300000)
        self.write("file", body)
        for place in self.on_each():
            self.ftp("mkdir", place)
            self.ftp("put", "file", f"{place}/sub/deep/ü #1 100%", "--parents")
            self.assertRegex(self.ftp("stat", f"{place}/sub/deep/ü #1 100%").out,
                             r"^file +300000  2\d{3}-\d\d-\d\dT\d\d:\d\d:\d\dZ  (/.*/)?ü #1 100%\n$")
            self.assertRegex(self.ftp("ls", f"{place}/sub").out, r"^dir +-  2\S+Z  deep\n$")
            self.ftp("mv", f"{place}/sub/deep/ü #1 100%", f"{place}/moved")
            self.ftp("get", f"{place}/moved", "back")
            self.assertEqual(self.read("back"), body)
            self.assertEqual(self.ftp("get", f"{place}/moved").raw_out, body)
            self.ftp("mkdir", "-p", f"{place}/sub/deep")
            self.ftp("rmdir", f"{place}/sub/deep")
            self.ftp("rm", f"{place}/moved")
            self.assertEqual(sorted(line.split()[-1] for line in self.ftp("ls", place).out.splitlines()), ["sub"])

    def test_a_stored_file_replaces_another_one(self):
        for place in self.on_each():
            for content in (b"old and longer", b"new"):
                self.write("file", content)
                self.ftp("put", "file", f"{place}/f", "-p")
            self.assertEqual(self.ftp("get", f"{place}/f").raw_out, b"new")
            self.assertEqual([path.name for path in (self.root / place[1:]).iterdir()], ["f"])

    def test_what_is_missing_is_not_found(self):
        self.write("file")
        for place in self.on_each():
            self.ftp("mkdir", place)
            for arguments in (["get", f"{place}/no", "out"], ["stat", f"{place}/no"], ["ls", f"{place}/no"],
                              ["rm", f"{place}/no"], ["rmdir", f"{place}/no"], ["rmtree", f"{place}/no"],
                              ["mv", f"{place}/no", f"{place}/x"], ["restore", f"{place}/no", "r"]):
                result = self.ftp(*arguments, code=3)
                self.assertRegex(result.err, r"\n  server message:  5\d\d \S", arguments)
            self.assertEqual(self.files_in("."), {"file": b"content"})

    def test_what_is_refused_is_told_with_the_words_of_the_server(self):
        self.write("file")
        for place in self.on_each():
            self.ftp("put", "file", f"{place}/sub/f", "-p")
            for arguments in (["rmdir", f"{place}/sub"], ["mkdir", f"{place}/sub"], ["rm", f"{place}/sub"],
                              ["get", f"{place}/sub", "out"], ["put", "file", f"{place}/no/f"],
                              ["mkdir", "-p", f"{place}/sub/f/x"]):
                self.assertRegex(self.ftp(*arguments, code=1).err, r"\n  server message:  5\d\d \S", arguments)
            self.assertFalse((self.folder / "out").exists())

    def test_a_wrong_password_is_refused(self):
        self.write("f/a")
        self.environment["VEXIL_FTP_PASSWORD"] = "wrong"
        # Pure-FTPd needs seconds for each refusal.
        for server in [IMPLICIT] if IS_WINDOWS else SERVERS:
            self.use(server)
            for arguments in (["ls"], ["get", "/x"], ["put", "f/a", "/x"], ["backup", "f", "/x"],
                              ["restore", "/x", "r"]):
                result = self.ftp(*arguments, code=4)
                self.assertIn("VEXIL_FTP_PASSWORD", result.err)
                self.assertNotIn("wrong", result.err)

    def test_only_the_right_authority_is_trusted(self):
        for server in (EXPLICIT, IMPLICIT, PURE_EXPLICIT):
            self.use(server)
            wrong = ["--ca-bundle", os.environ[f"{self.kind}_WRONG_CA"], "ftp", "ls", "--tls", self.tls]
            result = self.run_program(*wrong, code=1)
            self.assertIn("libcurl code:    60", result.err)
            self.assertIn("--ca-bundle", result.err)
            self.run_program(*wrong, "--no-verify")

    def test_without_tls_on_the_server_nothing_is_sent_in_clear(self):
        self.use((*OLD[:2], "explicit"))
        result = self.run_program("--log-level", "debug", "ftp", "ls", code=1)
        self.assertIn("--tls none", result.err)
        self.assertNotIn("USER", result.err)

    def test_the_log_of_the_wire_has_no_password(self):
        self.use(PLAIN)
        result = self.ftp("ls", "--log-level", "debug")
        self.assertIn("USER tester", result.err)
        self.assertNotIn("secret", result.err)


class OldServerTest(FTPServerTest):
    """A server without MLST and MLSD."""

    def setUp(self):
        super().setUp()
        self.use(OLD)

    def test_single_files_work(self):
        self.write("file", b"12345")
        self.ftp("mkdir", self.place)
        self.ftp("put", "file", f"{self.place}/a")
        self.ftp("mv", f"{self.place}/a", f"{self.place}/b")
        self.assertEqual(self.ftp("get", f"{self.place}/b").raw_out, b"12345")
        self.ftp("get", f"{self.place}/a", code=3)
        self.ftp("rm", f"{self.place}/b")
        self.ftp("rmdir", self.place)

    def test_what_cannot_work_says_why(self):
        for arguments in (["ls"], ["stat", "/x"], ["restore", "/x", "r"], ["rmtree", "/x"]):
            self.assertIn("RFC 3659", self.ftp(*arguments, code=1).err, arguments)

    def test_a_folder_is_stored_and_the_way_back_is_told(self):
        self.write("f/a", b"1")
        self.write("f/sub/deep/b", b"2")
        for _ in range(2):
            result = self.ftp("backup", "f", f"{self.place}/x")
            self.assertIn("backed up: 2 files, ", result.out)
            self.assertIn("'vexil ftp restore' cannot fetch it", result.err)
        self.assertEqual(self.ftp("get", f"{self.place}/x/sub/deep/b").raw_out, b"2")


class BackupTest(FTPServerTest):
    def make_folder(self):
        for name in ("a", "empty", "sub/b", "sub/deep/c", ".a.vexil-part"):
            self.write(f"f/{name}", b"" if name == "empty" else os.urandom(len(name) * 1000))
        for number in range(60):
            self.write(f"f/many {number % 7}/{number}", str(number).encode())
        # Wine shows the target of the link.
        if not IS_WINDOWS:
            (self.folder / "f/link").symlink_to("a")
        (self.folder / "f/void").mkdir()

    def test_a_folder_comes_back_as_it_was(self):
        self.make_folder()
        for place in self.on_each():
            for jobs in ("8",) if IS_WINDOWS else ("8", "1"):
                result = self.ftp("backup", "f", f"{place}/x", "--jobs", jobs)
                self.assertIn("backed up: 65 files, ", result.out)
                links = 0 if IS_WINDOWS else 1
                self.assertIn(f"not kept: {links} links and special files, 1 empty folder, ", result.out)
                self.assertEqual("skipped link: a link" in result.err, links == 1)
                result = self.ftp("restore", f"{place}/x", f"r{jobs}{self.tls}{self.kind}", "--jobs", jobs)
                self.assertIn("restored: 65 files, ", result.out)
                self.run_program("compare", "f", f"r{jobs}{self.tls}{self.kind}")
            stored = sorted(str(path.relative_to(self.root / place[1:] / "x"))
                            for path in (self.root / place[1:] / "x").rglob("*") if path.is_file())
            self.assertEqual(stored, sorted(name for name, body in self.files_in("f").items() if body is not None))

    def test_a_url_names_the_server_the_directory_and_the_encryption(self):
        self.write("f/sub/a", b"one")
        for place in self.on_each():
            address = self.environment.pop("VEXIL_FTP_SERVER")
            scheme = "ftps" if self.tls == "implicit" else "ftp"
            options = ["--ca-bundle", os.environ[f"{self.kind}_CA"], *["--tls", "none"] * (self.tls == "none")]
            url = f"{scheme}://{address}{place}/my%20%23x"
            self.run_program("backup", "f", url, *options)
            self.assertEqual((self.root / place[1:] / "my #x/sub/a").read_bytes(), b"one")
            target = f"r{self.tls}{address[-5:]}"
            self.run_program("restore", url, target, *options)
            self.assertEqual(self.files_in(target), {"sub/a": b"one"})
            self.environment["VEXIL_FTP_SERVER"] = address

    def test_hostile_names_come_back(self):
        for name in NAMES + POSIX_NAMES * (not IS_WINDOWS):
            self.write(f"f/{name}", name.encode())
            self.write(f"f/dir {name[:100]}/{name}", name.encode() * 2)
        # The listing of a directory may take a second under Wine, and there are many.
        for place in self.on_each([PURE_EXPLICIT] if IS_WINDOWS else SERVERS):
            self.ftp("backup", "f", place)
            target = f"r{self.tls}{self.environment['VEXIL_FTP_SERVER'][-5:]}"
            self.ftp("restore", place, target)
            self.assertEqual(self.files_in(target), self.files_in("f"))

    @not_on_windows("no file has such a name there")
    def test_names_that_a_server_refuses_or_changes_are_named(self):
        for name in ("back\\slash", "blank at the end ", "good"):
            self.write(f"f/{name}", name.encode())
        self.use(PURE_PLAIN)
        result = self.ftp("backup", "f", self.place, code=1)
        self.assertRegex(result.err, r"NOT backed up: back\\slash: .*; the server says: 553 ")
        self.assertIn("NOT backed up: blank at the end : The server has stored the file", result.err)
        self.assertIn("backed up: 1 file,", result.out)
        self.ftp("restore", self.place, "r")
        self.assertIn("blank at the end : only in 'f'", self.run_program("compare", "f", "r", code=1).out)
        self.ftp("rmtree", self.place)

    @not_on_windows("no file has such a name there")
    def test_names_that_cannot_be_transferred_are_named(self):
        for name in (b"f/tab\there", b"f/no-utf8-\xff"):
            self.write(os.fsdecode(name))
        self.write("f/good")
        for place in self.on_each([PLAIN]):
            result = self.ftp("backup", "f", place, code=1)
            self.assertIn("NOT backed up: tab\\x09here: its name has a control character", result.err)
            self.assertIn("its name is not UTF-8 text", result.err)
            self.assertIn("backed up: 1 file,", result.out)
            self.assertIn("FAILED: 2 entries", result.out)

    def test_what_changes_its_kind_is_replaced_or_named(self):
        for name in ("f/a/x", "f/a/y", "f/b/x", "g/a", "g/b/x", "g/c"):
            self.write(name, name.encode())
        for place in self.on_each([EXPLICIT, PURE_EXPLICIT]):
            self.write("in the way")
            self.ftp("put", "in the way", f"{place}/a", "-p")
            self.assertIn(f"replaced: the file '{place}/a' on the server", self.ftp("backup", "f", place).err)
            target = f"r{self.kind}"
            self.ftp("restore", place, target)
            self.assertEqual(self.files_in(target), self.files_in("f"))
            result = self.ftp("backup", "g", place, code=1)
            self.assertIn(f"NOT backed up: a: On the server '{place}/a' is a directory", result.err)
            self.assertIn("backed up: 2 files,", result.out)
            self.assertEqual(sorted(path.name for path in (self.root / place[1:]).rglob("*")),
                             ["a", "b", "c", "x", "x", "y"])

    def test_a_file_goes_into_a_directory_and_does_not_replace_it(self):
        self.write("file")
        for place in self.on_each():
            self.ftp("mkdir", "-p", f"{place}/photos")
            for times in range(2):
                self.assertIn(f"'{place}/photos' is a directory",
                              self.ftp("put", "file", f"{place}/photos", code=1).err)
                self.ftp("put", "file", f"{place}/photos/")
            self.assertEqual([path.name for path in (self.root / place[1:]).rglob("*")], ["photos", "file"])

    def test_uploads_of_one_file_at_the_same_time_do_not_mix(self):
        pairs = 10
        bodies = [bytes([number]) * (60000000 + number) for number in range(2)]
        for number, body in enumerate(bodies):
            self.write(f"file{number}", body)
        for place in self.on_each([PLAIN, PURE_PLAIN]):
            self.ftp("mkdir", place)
            processes = [self.start("ftp", "put", "--tls", "none", f"file{number}", f"{place}/pair{pair}")
                         for pair in range(pairs) for number in range(2)]
            for process in processes:
                # A command that finds the other's file under the name reports it.
                self.assertIn(self.finish(process).code, (0, 1))
            folder = self.root / place[1:]
            for pair in range(pairs):
                self.assertTrue((folder / f"pair{pair}").read_bytes() in bodies, pair)
            self.assertEqual(len(list(folder.iterdir())), pairs)

    def test_two_backups_at_the_same_time_do_not_mix(self):
        for number in range(20):
            for run in "12":
                self.write(f"f{run}/{number % 3}/{number}", run.encode() * (200000 + int(run)))
        for place in self.on_each([PLAIN, PURE_PLAIN]):
            processes = [self.start("ftp", "backup", "--tls", "none", f"f{run}", place) for run in "12"]
            for process in processes:
                self.assertIn(self.finish(process).code, (0, 1))
            stored = {str(path.relative_to(self.root / place[1:])): path.read_bytes()
                      for path in (self.root / place[1:]).rglob("*") if path.is_file()}
            self.assertEqual(sorted(stored), sorted(self.files_in("f1")))
            for name, body in stored.items():
                self.assertIn(body, (self.files_in("f1")[name], self.files_in("f2")[name]))

    def test_an_old_server_s_directory_is_not_replaced(self):
        self.write("file")
        self.use(OLD)
        self.ftp("mkdir", self.place)
        self.assertIn("is a directory", self.ftp("put", "file", self.place, code=1).err)
        self.ftp("put", "file", f"{self.place}/")
        self.ftp("rm", f"{self.place}/file")
        self.ftp("rmdir", self.place)


@not_on_windows("the server's folder is one of POSIX")
class HostileFolderTest(FTPServerTest):
    """Entries that others may have put into a folder on the server."""

    def make(self, name, content=b"x"):
        path = pathlib.Path(os.fsdecode(os.fsencode(self.root / self.place[1:]) + b"/" + os.fsencode(name)))
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return path.resolve()

    def give(self):
        """Pure-FTPd's user is not the one of this test."""
        for path in [self.root / self.place[1:], *(self.root / self.place[1:]).rglob("*")]:
            if not path.is_symlink():
                path.chmod(0o777 if path.is_dir() else 0o666)

    def test_links_to_directories_are_deleted_and_not_followed(self):
        for server in (PLAIN, PURE_PLAIN):
            self.use(server)
            kept = self.make("../kept-by-rmtree/file")
            self.make("d/good")
            (self.root / self.place[1:] / "d/out").symlink_to("../../kept-by-rmtree")
            (self.root / self.place[1:] / "d/up").symlink_to("..")
            self.give()
            result = self.ftp("restore", self.place, f"r{self.kind}")
            self.assertEqual({name for name in self.files_in(f"r{self.kind}") if name.startswith("d/up")}, set())
            self.assertIn("skipped " + self.place + "/d/up: ", result.err)
            self.ftp("rmtree", self.place)
            self.assertTrue(kept.exists())
            self.assertFalse((self.root / self.place[1:]).exists())

    def test_the_root_is_refused(self):
        self.use(PLAIN)
        kept = self.make("file")
        for path in ("/", "//", "/.", f"{self.place}/.."):
            self.ftp("rmtree", path, code=2)
        self.assertTrue(kept.exists())
        self.ftp("rmtree", self.place)

    def test_names_that_cannot_be_read_are_named_and_the_rest_works(self):
        # Pure-FTPd hides names with control characters, pyftpdlib shows bytes that are not UTF-8 as "?".
        for server, names in ((PURE_PLAIN, {b"no-utf8-\xff": r"no-utf8-\xFF"}),
                              (PLAIN, {"line\nend": r"line\x0Aend", "cr\rx y": r"cr\x0Ax y", b"\xff": "?"})):
            self.use(server)
            bad = [self.make(os.path.join(b"d", os.fsencode(name))) for name in names]
            self.make("d/good", b"good")
            self.give()
            for command, word, target in (("ls", "listed", []), ("restore", "restored", [f"r{self.kind}"]),
                                          ("rmtree", "deleted", [])):
                result = self.ftp(command, f"{self.place}/d", *target, code=1)
                for name in names.values():
                    if (command, name) != ("ls", "?"):
                        self.assertIn(f"NOT {word}: {self.place}/d/{name}: ", result.err)
            self.assertEqual(self.files_in(f"r{self.kind}"), {"good": b"good"})
            self.assertEqual(sorted(bad), sorted((self.root / self.place[1:] / "d").iterdir()))


if __name__ == "__main__":
    unittest.main()
