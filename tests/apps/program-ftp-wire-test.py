#!/usr/bin/env python3
"""The program against an FTP server that fails in every way that a test can think of."""

import threading
import unittest

from fake_ftp import FakeFTP, Fault
from program import ENDINGS, ProgramTest

BODY = bytes(i * 7 % 251 for i in range(100000))

# A listing with names that are not UTF-8, or hold the end of a line.
UNREADABLE = ["type=file;size=4; good", b"type=file;size=3; no-utf8-\xff", b"type=file;size=3; line\nend", "type=dir; d",
              b"type=dir; cr\rx y", b"type=file;size=1;\xfe=1; facts"]
UNREADABLE_NAMES = [r"no-utf8-\xFF", r"line\x0Aend", r"cr\x0Ax y", "facts"]


class ShownEverywhere(dict):
    """The same for every path."""

    def __init__(self, value=None):
        self.value = value

    def get(self, _):
        return self.value

    def __contains__(self, _):
        return True


class FakeServerTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.server = FakeFTP()
        self.addCleanup(self.server.close)
        self.environment.update(VEXIL_FTP_SERVER=self.server.address, VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")

    def ftp(self, command, *arguments, **options):
        return self.run_program("--log-level", "info", "ftp", "--tls", "none", command, *arguments, **options)


class UsageTest(FakeServerTest):
    def test_every_command_has_help_with_an_example(self):
        for name in ("ls", "stat", "get", "put", "mkdir", "rm", "rmdir", "rmtree", "mv", "backup", "restore"):
            text = self.run_program("ftp", name, "--help").out
            self.assertRegex(text, rf"Examples?:\n  vexil ftp {name}")
            self.assertIn("'vexil ftp --help'", text)

    def test_bad_values_are_named_before_anything_is_sent(self):
        self.write("file")
        for arguments, text in ((["ls", "relative"], "'relative'"), (["put", "nofile", "/x"], "'nofile'"),
                                (["put", "file", "/"], "PATH"), (["backup", "nofolder", "/x"], "'nofolder'"),
                                (["ls", "--tls", "some"], "--tls"), (["ls", "--server", "ftp://h/"], "'ftp://h/'"),
                                (["ls", "--server", ""], "--server"), (["ls", "--jobs", "2"], "--jobs"),
                                (["backup", "--jobs", "0", ".", "/x"], "--jobs"), (["rm", "/a\nb"], "CR, LF")):
            self.assertIn(text, self.ftp(*arguments, code=2).err)
        self.assertEqual(self.server.commands, [])

    def test_a_missing_login_or_server_is_named(self):
        for name in ("VEXIL_FTP_USER", "VEXIL_FTP_PASSWORD", "VEXIL_FTP_SERVER"):
            kept = self.environment.pop(name)
            self.assertIn(name, self.ftp("ls", code=2).err)
            self.environment[name] = kept

    def test_a_file_gives_the_login(self):
        del self.environment["VEXIL_FTP_USER"], self.environment["VEXIL_FTP_PASSWORD"]
        self.write("login", b"user=me\npassword=my-secret\n").chmod(0o600)
        result = self.run_program("--log-level", "debug", "--credentials", "login", "ftp", "ls", "--tls", "none")
        self.assertIn("USER me", result.err)
        self.assertNotIn("my-secret", result.err)
        self.write("login", b"access_key=me\n").chmod(0o600)
        self.assertIn("'user='", self.ftp("ls", "--credentials", "login", code=2).err)

    def test_a_dead_server_is_explained(self):
        self.environment["VEXIL_FTP_SERVER"] = "127.0.0.1:1"
        self.write("f/a")
        for arguments in (["ls"], ["get", "/a"], ["put", "f/a", "/a"], ["backup", "f", "/x"],
                          ["restore", "/x", "r"]):
            result = self.ftp(*arguments, "--retries", "1", code=1)
            self.assertIn("libcurl code:    7", result.err)
            self.assertIn("what you can do: ", result.err)


class DownloadTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        self.server.files["/a"] = BODY

    def positions(self):
        return self.server.came("RETR")

    def test_a_broken_download_goes_on_behind_the_last_byte(self):
        for target in (["file"], []):
            self.server.faults["RETR /a"] = [Fault(cut=30000), Fault(cut=50000)]
            result = self.ftp("get", "/a", *target)
            self.assertEqual(self.read("file") if target else result.raw_out, BODY)
            self.assertIn("broke off after 30.0 kB", result.err)
            self.assertIn("broke off after 80.0 kB", result.err)

    def test_a_download_is_tried_five_times_again_and_no_more(self):
        self.server.faults["RETR /a"] = [Fault(cut=10)] * 6
        self.ftp("get", "/a", "file", code=1)
        self.assertEqual(len(self.server.came("RETR")), 6)
        self.assertEqual(self.files_in("."), {})
        self.server.faults["RETR /a"] = [Fault(cut=10)] * 5
        self.ftp("get", "/a", "file")
        self.assertEqual(self.read("file"), BODY)

    def change(self, body, time):
        self.server.files["/a"], self.server.times["/a"] = body, time

    def test_another_file_is_not_gone_on_with(self):
        self.write("file", b"old")
        for body, time in ((BODY[::-1], "20240131235958"), (BODY + b"x", "20240131235959")):
            self.change(BODY, "20240131235959")
            self.server.faults["RETR /a"] = [Fault(cut=30000)]
            self.server.faults["MLST /a"] = [Fault(), Fault(then=lambda: self.change(body, time))]
            self.assertIn("was changed while it was read", self.ftp("get", "/a", "file", code=1).err)
            self.assertEqual(self.files_in("."), {"file": b"old"})

    def test_a_change_during_the_rest_is_noticed(self):
        self.server.faults["RETR /a"] = [Fault(cut=30000)]
        self.server.faults["MLST /a"] = [Fault(), Fault(), Fault(then=lambda: self.change(BODY, "20240202000000"))]
        self.assertIn("was changed while it was read", self.ftp("get", "/a", "file", code=1).err)
        self.assertEqual(self.files_in("."), {})

    def test_without_a_time_a_download_begins_again(self):
        for unknown, time in ((("MLST",), "20240131235959"), ((), "")):
            self.server.unknown, self.server.times["/a"] = unknown, time
            self.server.faults["RETR /a"] = [Fault(cut=30000)]
            result = self.ftp("get", "/a", "file")
            self.assertEqual(self.read("file"), BODY)
            self.assertNotIn("going on", result.err)

    def test_the_size_is_compared(self):
        self.server.faults["MLST /a"] = [Fault(reply="250-x\r\n type=file;size=99999; /a\r\n250 y")]
        self.assertIn("of the 99999 bytes", self.ftp("get", "/a", "file", code=1).err)
        self.assertEqual(self.files_in("."), {})

    def test_a_busy_server_is_asked_again(self):
        self.server.faults["RETR /a"] = [Fault(reply=f"{code} Later.") for code in (425, 426, 450, 451, 421)]
        self.ftp("get", "/a", "file")
        self.assertEqual(self.read("file"), BODY)
        self.server.faults["RETR /a"] = [Fault(reply="452 Full.")]
        self.assertIn("server message:  452 Full.", self.ftp("get", "/a", "file", code=1).err)


class UploadTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        self.write("file", BODY)
        self.server.files["/a"] = b"old"
        self.part = "/.a.vexil-part"

    def put(self, **options):
        return self.ftp("put", "file", "/a", **options)

    def test_a_broken_upload_begins_again(self):
        self.server.faults[f"STOR {self.part}"] = [Fault(cut=30000), Fault(lose=50000), Fault(cut=0)]
        self.put()
        self.assertEqual(self.server.files, {"/a": BODY})

    def test_a_good_file_stays_until_the_new_one_is_complete(self):
        for fault in (Fault(cut=30000), Fault(lose=30000), Fault(reply="552 Full.")):
            self.server.faults[f"STOR {self.part}"] = [fault] * 9
            self.put(code=1)
            self.assertEqual(self.server.files, {"/a": b"old"})
        self.assertEqual(self.server.came("RNTO"), [])

    def test_a_move_of_which_nothing_is_heard_is_made_sure_of(self):
        self.server.faults["RNTO /a"] = [Fault(silent=True)]
        self.put()
        self.assertEqual(self.server.files, {"/a": BODY})
        self.assertEqual(len(self.server.came("STOR")), 2)

    def test_a_server_that_does_not_replace_files(self):
        self.server.replaces = False
        self.put()
        self.assertEqual(self.server.files, {"/a": BODY})

    def test_a_refused_name_costs_no_file(self):
        self.server.faults["RNTO /a"] = [Fault(reply="553 Not this name.")] * 9
        self.put(code=1)
        self.assertEqual(self.server.files[self.part + "-old"], b"old")

    def test_another_name_is_noticed(self):
        self.server.faults["MLST /a"] = [Fault(reply="250-x\r\n type=file;size=100000; /A\r\n250 y")]
        self.assertIn("under another name: '/A'", self.put(code=1).err)

    def test_an_interrupt_leaves_the_good_file_and_nothing_else(self):
        gate = threading.Event()
        self.server.faults[f"STOR {self.part}"] = [Fault(gate=gate)]
        process = self.start("ftp", "--tls", "none", "put", "file", "/a")
        self.assertTrue(self.server.wait_for_gates(1))
        result = self.interrupt(process)
        gate.set()
        self.assertEqual(result.code, 130, result)
        self.assertEqual(self.server.files["/a"], b"old")


class BackupTest(FakeServerTest):
    def make_files(self, count):
        for number in range(count):
            self.write(f"f/{number % 3}/{number:02}", bytes([number]) * 1000)

    def test_each_directory_is_made_once(self):
        self.make_files(30)
        self.ftp("backup", "f", "/x/y")
        self.assertEqual(sorted(self.server.came("MKD")), sorted(
            ["MKD /x", "MKD /x/y"] + [f"MKD {path}" for i in "012" for path in ("/x", "/x/y", f"/x/y/{i}")]))
        self.ftp("restore", "/x/y", "r")
        self.assertEqual(self.files_in("r"), self.files_in("f"))

    def test_where_the_server_takes_few_connections_fewer_are_used(self):
        self.make_files(30)
        for refusal in ("421 Too many connections.", "530 Too many logins."):
            for limit in (2, 4):
                self.server.refusal, self.server.max_connections = refusal, limit
                result = self.ftp("backup", "f", "/x")
                self.assertIn("backed up: 30 files,", result.out)
                self.assertIn(f"going on with {limit - 1} transfer", result.err)
                self.ftp("restore", "/x", f"r{limit}{refusal[0]}")
                self.assertEqual(self.files_in(f"r{limit}{refusal[0]}"), self.files_in("f"))

    def test_a_server_that_refuses_everything_ends_it(self):
        self.make_files(30)
        self.server.max_connections, self.server.refusal = 0, "530 No."
        self.assertIn("backed up: 0 files", self.ftp("backup", "f", "/x", code=4).out)

    def test_a_file_that_is_refused_does_not_hinder_the_rest(self):
        self.make_files(6)
        self.server.faults["STOR /x/1/.01.vexil-part"] = [Fault(reply="553 Not this one.")]
        result = self.ftp("backup", "f", "/x", code=1)
        self.assertRegex(result.err, "NOT backed up: 1/01: .*; the server says: 553 Not this one.")
        self.assertIn("backed up: 5 files,", result.out)

    def test_retries_are_counted(self):
        self.make_files(3)
        self.server.faults["STOR /x/0/.00.vexil-part"] = [Fault(cut=5), Fault(reply="450 Busy.")]
        self.assertIn(" 2 retries", self.ftp("backup", "f", "/x").out)
        self.server.faults["RETR /x/0/00"] = [Fault(cut=5)]
        self.server.faults["MLSD /x/1"] = [Fault(reply="450 Busy.")]
        self.assertIn(" 2 retries, 1 continued download", self.ftp("restore", "/x", "r").out)

    def test_an_interrupt_leaves_no_part_under_a_name(self):
        self.make_files(30)
        gate = threading.Event()
        self.server.faults = {f"STOR /x/{i % 3}/.{i:02}.vexil-part": [Fault(gate=gate)] for i in range(30)}
        process = self.start("ftp", "--tls", "none", "backup", "f", "/x", "--jobs", "4")
        self.assertTrue(self.server.wait_for_gates(4))
        number, code = ENDINGS[-1]
        result = self.interrupt(process, number)
        gate.set()
        self.assertEqual(result.code, code, result)
        self.assertEqual([name for name in self.server.files if not name.endswith(".vexil-part")], [])


class RestoreTest(FakeServerTest):
    def restore(self, code=0, *arguments):
        return self.ftp("restore", "/x", "r", *arguments, code=code)

    def setUp(self):
        super().setUp()
        self.server.dirs |= {"/x", "/x/d"}
        self.server.files.update({"/x/good": b"good", "/x/d/b": BODY})

    def test_names_that_lead_out_of_the_folder_are_refused_and_named(self):
        for name in ("..", "../out", "/out", "d/../../out", "."):
            for kind in ("file", "dir"):
                self.server.listing["/x"] = [f"type={kind};size=3; {name}", "type=file;size=4; good"]
                self.assertIn("could lead out of the folder", self.restore(code=1).err)
                self.assertEqual(self.files_in("."), {"r/good": b"good"})

    def test_links_are_skipped_and_named(self):
        self.server.listing["/x"] = ["type=OS.unix=slink:/etc; link", "type=file;size=4; good"]
        self.assertIn("skipped /x/link: neither a file nor a directory", self.restore().err)

    def test_a_directory_that_is_refused_does_not_hinder_the_rest(self):
        self.server.faults["MLSD /x/d"] = [Fault(reply="550 Not for you.")]
        result = self.restore(code=1)
        self.assertIn("NOT restored: /x/d: The server refuses this for '/x/d'; the server says: 550 Not for", result.err)
        self.assertEqual(self.files_in("r"), {"good": b"good"})

    def test_a_directory_that_stays_busy_is_not_taken_for_an_empty_one(self):
        self.server.faults["MLSD /x/d"] = [Fault(reply="450 Busy.")] * 9
        self.assertIn("NOT restored: /x/d: ", self.restore(code=1).err)

    def test_the_size_is_compared_with_the_listing(self):
        self.server.listing["/x"] = ["type=file;size=5; good"]
        self.assertIn("the listing says 5", self.restore(code=1).err)
        self.assertEqual(self.files_in("r"), {})

    def test_a_failed_file_leaves_the_old_one(self):
        self.write("r/d/b", b"old")
        self.server.faults["RETR /x/d/b"] = [Fault(cut=10)] * 9
        self.restore(code=1)
        self.assertEqual(self.files_in("r"), {"good": b"good", "d/b": b"old"})

    def test_an_interrupt_leaves_no_half_file(self):
        gate = threading.Event()
        self.server.faults["RETR /x/d/b"] = [Fault(gate=gate)]
        process = self.start("ftp", "--tls", "none", "restore", "/x", "r")
        self.assertTrue(self.server.wait_for_gates(1))
        result = self.interrupt(process)
        gate.set()
        self.assertEqual(result.code, 130, result)
        self.assertNotIn("d/b", self.files_in("r"))
        self.assertFalse([name for name in self.files_in("r") if "vexil-part" in name])

    def test_a_circle_of_directories_is_not_followed(self):
        for link, target in (("/x/d/up", "/x"), ("/x/d/here", "/x/d"), ("/x/self", "/x")):
            self.server.links = {link: target}
            result = self.restore()
            self.assertIn(f"skipped {link}: it leads back to '{target}'", result.err)
            self.assertEqual(self.files_in("r"), {"good": b"good", "d/b": BODY})

    def test_a_circle_of_directories_ends_where_the_server_does_not_tell_which_is_which(self):
        self.server.tells_unique = False
        self.server.files = {}
        self.server.dirs = ShownEverywhere()
        self.server.listing = ShownEverywhere(["type=dir; l"])
        result = self.restore(code=1)
        self.assertRegex(result.err, "NOT restored: /x(/l)+: it lies more than 1,000 levels deep\n")
        self.assertEqual(len(self.server.came("MLSD")), 1000)

    def test_names_that_cannot_be_read_are_named_and_the_rest_is_restored(self):
        self.server.listing["/x"] = UNREADABLE
        result = self.restore(code=1)
        for name in UNREADABLE_NAMES:
            self.assertIn(f"NOT restored: /x/{name}: ", result.err)
        self.assertEqual(self.files_in("r"), {"good": b"good", "d/b": BODY})
        self.assertIn(f"FAILED: {len(UNREADABLE_NAMES)} files", result.out)

    def test_nothing_to_restore_is_told(self):
        self.server.listing["/x"] = []
        self.assertIn("is the directory right?", self.restore().err)


class ListTest(FakeServerTest):
    def test_names_that_cannot_be_read_are_named_and_the_others_listed(self):
        self.server.listing["/"] = UNREADABLE
        result = self.ftp("ls", code=1)
        self.assertEqual([line.split()[-1] for line in result.out.splitlines()], ["good", "d"])
        for name in UNREADABLE_NAMES:
            self.assertIn(f"NOT listed: /{name}: ", result.err)


class DeleteTreeTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        self.server.dirs |= {"/x", "/x/d", "/x/d/e", "/other"}
        self.server.files.update({"/x/good": b"1", "/x/d/b": b"2", "/x/d/e/c": b"3", "/other/f": b"4", "/top": b"5"})

    def rmtree(self, path="/x", code=0):
        return self.ftp("rmtree", path, code=code)

    def test_all_below_a_directory_goes_and_nothing_else(self):
        self.assertEqual(self.rmtree().raw_out, b"")
        self.assertEqual(self.server.files, {"/other/f": b"4", "/top": b"5"})
        self.assertEqual(self.server.dirs, {"/", "/other"})

    def test_the_root_is_refused_before_anything_is_sent(self):
        for path in ("/", "//", "/.", "/./", "/..", "/x/..", "/x/d/../..", "/x/./../", "/../x/.."):
            self.assertIn("the whole server", self.rmtree(path, code=2).err)
        self.assertEqual(self.server.commands, [])

    def test_a_directory_that_only_looks_like_the_root_is_deleted(self):
        self.server.dirs.add("/...")
        self.rmtree("/...")
        self.assertNotIn("/...", self.server.dirs)

    def test_a_link_that_is_shown_as_a_directory_is_deleted_and_not_followed(self):
        for unique in (True, False):
            self.server.tells_unique = unique
            self.server.dirs |= {"/x", "/x/d"}
            self.server.links = {"/x/d/link": "/other", "/x/up": "/", "/x/same": "/x"}
            self.rmtree()
            self.assertEqual(self.server.files, {"/other/f": b"4", "/top": b"5"})
            self.assertEqual((self.server.dirs, self.server.links), ({"/", "/other"}, {}))

    def test_a_link_that_cannot_be_deleted_is_followed_once_at_most(self):
        self.server.links = {"/x/same": "/x"}
        self.server.faults["DELE /x/same"] = [Fault(reply="550 No.")] * 9
        result = self.rmtree(code=1)
        self.assertIn("NOT deleted: /x/same: it leads back to '/x'", result.err)
        self.assertEqual(self.server.came("MLSD"), ["MLSD /x", "MLSD /x/d", "MLSD /x/d/e"])

    def test_links_that_are_shown_as_such_are_deleted(self):
        self.server.listing["/x"] = ["type=OS.unix=slink:/other; good", "type=dir; d"]
        self.rmtree()
        self.assertNotIn("/x", self.server.dirs)

    def test_what_cannot_be_deleted_is_named_and_the_rest_goes(self):
        self.server.faults["DELE /x/d/b"] = [Fault(reply="550 Not this one.")] * 2
        result = self.rmtree(code=1)
        self.assertIn("NOT deleted: /x/d/b: The server refuses this for '/x/d/b'; the server says: 550 Not this one.",
                      result.err)
        self.assertIn("FAILED: 1 entry, named above", result.out)
        self.assertEqual(self.server.dirs, {"/", "/other", "/x", "/x/d"})
        self.assertEqual(sorted(self.server.files), ["/other/f", "/top", "/x/d/b"])

    def test_names_that_cannot_be_read_are_named_and_the_rest_goes(self):
        self.server.listing["/x"] = UNREADABLE
        result = self.rmtree(code=1)
        for name in UNREADABLE_NAMES:
            self.assertIn(f"NOT deleted: /x/{name}: ", result.err)
        self.assertEqual(sorted(self.server.files), ["/other/f", "/top"])
        self.assertEqual(self.server.dirs, {"/", "/other", "/x"})

    def test_a_name_that_the_server_lists_and_does_not_know_is_named(self):
        self.server.listing["/x"] = ["type=file; good", "type=file; ?", "type=dir; d"]
        self.assertIn("NOT deleted: /x/?: There is no '/x/?' on the server", self.rmtree(code=1).err)

    def test_names_that_lead_elsewhere_are_not_deleted(self):
        for name in ("../other/f", "d/../../top", "/top", "..", ".", ""):
            for kind in ("file", "dir"):
                self.server.listing["/x"] = [f"type={kind}; {name}"]
                self.assertIn(f"NOT deleted: /x/{name}: ", self.rmtree(code=1).err)
        self.assertEqual(set(self.server.came("DELE") + self.server.came("RMD")), {"DELE /x", "RMD /x"})

    def test_a_busy_server_is_asked_again(self):
        self.server.faults["MLSD /x/d"] = [Fault(reply="450 Busy.")]
        self.server.faults["DELE /x/good"] = [Fault(reply="450 Busy."), Fault(silent=True)]
        self.rmtree()
        self.assertEqual(self.server.dirs, {"/", "/other"})

    def test_a_file_is_no_directory(self):
        self.assertIn("is not a directory", self.rmtree("/top", code=1).err)
        self.assertEqual(self.server.files["/top"], b"5")


if __name__ == "__main__":
    unittest.main()
