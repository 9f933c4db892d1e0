#!/usr/bin/env python3
"""The program against the most demanding FTP servers: ProFTPD, and vsftpd, which has no MLSD and MLST. Each runs twice;
one of the two demands that data connections resume the TLS session of their control connection."""

import os
import pathlib
import re
import unittest

from program import ProgramTest

PROFTPD, PROFTPD_STRICT = ("VEXIL_PROFTPD", "_ENDPOINT"), ("VEXIL_PROFTPD", "_STRICT_ENDPOINT")
VSFTPD, VSFTPD_STRICT = ("VEXIL_VSFTPD", "_ENDPOINT"), ("VEXIL_VSFTPD", "_STRICT_ENDPOINT")
COUNT = 1000


class StrictServerTest(ProgramTest):
    def use(self, server):
        kind, address = server
        is_anonymous = kind == "VEXIL_VSFTPD"
        self.environment["VEXIL_FTP_SERVER"] = os.environ[kind + address]
        self.environment["VEXIL_FTP_USER"] = "anonymous" if is_anonymous else "tester"
        self.environment["VEXIL_FTP_PASSWORD"] = "secret"
        self.authority = os.environ[f"{kind}_CA"]
        self.place = f"{'/pub' * is_anonymous}/{self.id().rsplit('.', 1)[-1]}{address}"
        self.stored = pathlib.Path(os.environ[f"{kind}_ROOT"]) / self.place[1:]

    def ftp(self, command, *arguments, **options):
        return self.run_program("--ca-bundle", self.authority, "ftp", command, *arguments, **options)

    def make_files(self, count):
        for number in range(count):
            self.write(f"f/{number % 9}/{number}", str(number).encode() * 50)

    def check_stored(self):
        self.assertEqual({str(path.relative_to(self.stored)): path.read_bytes()
                          for path in self.stored.rglob("*") if path.is_file()}, self.files_in("f"))


class BackupTest(StrictServerTest):
    def test_all_of_many_files_are_stored_and_none_is_tried_again(self):
        self.make_files(COUNT)
        for server in (PROFTPD_STRICT, PROFTPD, VSFTPD_STRICT, VSFTPD):
            self.use(server)
            result = self.ftp("backup", "f", self.place, "--jobs", "8")
            self.assertRegex(result.out, r"backed up: 1,000 files, .* 0 retries")
            self.check_stored()

    def test_what_is_stored_comes_back(self):
        self.make_files(100)
        for server in (PROFTPD_STRICT, PROFTPD):
            self.use(server)
            self.ftp("backup", "f", self.place)
            self.assertIn("restored: 100 files, ", self.ftp("restore", self.place, f"r{server[1]}").out)
            self.run_program("compare", "f", f"r{server[1]}")

    def test_over_the_newest_tls_a_refused_data_connection_is_tried_again_over_a_new_connection(self):
        self.make_files(60)
        self.use(PROFTPD_STRICT)
        result = self.ftp("backup", "f", self.place, "--tls-max", "1.3", "--jobs", "4")
        self.assertIn("backed up: 60 files, ", result.out)
        self.assertGreater(int(re.search(r", (\d+) retr", result.out)[1]), 0)
        self.check_stored()

    def test_a_server_that_cannot_list_for_a_restore_is_told_of(self):
        self.make_files(3)
        self.use(VSFTPD)
        self.assertIn("cannot fetch it", self.ftp("backup", "f", self.place).err)
        self.assertEqual(self.ftp("get", f"{self.place}/0/0").raw_out, self.read("f/0/0"))
        self.use(PROFTPD)
        self.assertNotIn("cannot fetch it", self.ftp("backup", "f", self.place).err)


class DestinationTest(StrictServerTest):
    def run_to(self, command, *arguments, **options):
        return self.run_program(command, *arguments, "--ca-bundle", self.authority, **options)

    def test_a_backup_is_incremental_and_keeps_times(self):
        self.make_files(30)
        long_ago = 1_580_702_706
        for path in (self.folder / "f").rglob("*"):
            os.utime(path, (long_ago, long_ago))
        for server in (PROFTPD_STRICT, PROFTPD):
            self.use(server)
            url = f"ftp://{self.environment['VEXIL_FTP_SERVER']}{self.place}"
            self.assertIn("backed up: 30 files, ", self.run_to("backup", "f", url).out)
            self.assertIn("backed up: 0 files, ", self.run_to("backup", "f", url).out)
            self.assertEqual((self.stored / "0/0").stat().st_mtime, long_ago)
            (self.stored / ".vexil-index.gz").unlink()
            self.assertIn("backed up: 0 files, ", self.run_to("backup", "f", url).out)
            self.assertIn("0 differences", self.run_to("check", "f", url, "--download").out)
            self.assertEqual(len(self.run_to("ls", url).out.splitlines()), 30)
            self.run_to("restore", url, f"r{server[1]}")
            self.assertEqual((self.folder / f"r{server[1]}/0/0").stat().st_mtime, long_ago)
            self.run_to("rm", "-r", url, "--yes")
            self.assertEqual(list(self.stored.rglob("*")), [])


class CommandTest(StrictServerTest):
    def test_one_file_through_all_commands(self):
        body = os.urandom(300000)
        self.write("file", body)
        for server in (PROFTPD_STRICT, PROFTPD):
            self.use(server)
            self.ftp("put", "file", f"{self.place}/sub/ü #1 100%", "--parents")
            self.assertIn("300000", self.ftp("stat", f"{self.place}/sub/ü #1 100%").out)
            self.assertIn("ü #1 100%", self.ftp("ls", f"{self.place}/sub").out)
            self.ftp("mv", f"{self.place}/sub/ü #1 100%", f"{self.place}/moved")
            self.assertEqual(self.ftp("get", f"{self.place}/moved").raw_out, body)
            self.ftp("rm", f"{self.place}/moved")
            self.ftp("rmtree", self.place)
            self.assertFalse(self.stored.exists())

    # ProFTPD closes the connection for data, and libcurl reports that instead.
    def test_a_refused_transfer_is_told_in_the_words_of_the_server(self):
        self.write("file", b"body")
        for server in (PROFTPD_STRICT, PROFTPD):
            self.use(server)
            result = self.ftp("put", "file", f"{self.place}/missing/file", code=1)
            self.assertIn("The server refuses to store the file", result.err)
            self.assertRegex(result.err, "server message:  550 .*No such file or directory")
            self.assertNotIn("PASV", result.err)
            self.assertNotIn("may be left", result.err)
            self.ftp("put", "file", f"{self.place}/file", "--parents")
            (self.stored / "file").chmod(0)
            result = self.ftp("get", f"{self.place}/file", code=1)
            # Here libcurl reads no reply at all.
            self.assertIn("it may refuse this file", result.err)
            self.ftp("put", "file", f"{self.place}/good")
            result = self.ftp("restore", self.place, f"r{server[1]}", "--retries", "1", code=1)
            self.assertIn(f"NOT restored: {self.place}/file: ", result.err)
            self.assertEqual(self.files_in(f"r{server[1]}"), {"good": b"body"})
            self.ftp("rmtree", self.place)

    def test_links_that_are_shown_as_directories_are_deleted_and_not_followed(self):
        self.use(PROFTPD_STRICT)
        self.write("file", b"kept")
        self.ftp("put", "file", f"{self.place}/d/good", "--parents")
        self.ftp("put", "file", f"{self.place}-kept/file", "--parents")
        (self.stored / "d/out").symlink_to(f"../../{self.stored.name}-kept")
        (self.stored / "d/up").symlink_to("..")
        self.assertRegex(self.ftp("ls", f"{self.place}/d").out, r"(?m)^dir .* out$")
        result = self.ftp("restore", self.place, "r")
        self.assertIn(f"skipped {self.place}/d/up: it leads back to '{self.place}'", result.err)
        self.assertEqual(self.files_in("r"), {"d/good": b"kept", "d/out/file": b"kept"})
        self.ftp("rmtree", self.place)
        self.assertFalse(self.stored.exists())
        self.assertEqual(self.ftp("get", f"{self.place}-kept/file").raw_out, b"kept")


if __name__ == "__main__":
    unittest.main()
