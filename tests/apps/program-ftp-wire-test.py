#!/usr/bin/env python3
"""The program against an FTP server that fails in every known way."""

import os
import pathlib
import shutil
import ssl
import subprocess
import tempfile
import threading
import time
import unittest

from fake_ftp import TIME, FakeFTP, Fault
from program import ENDINGS, ProgramTest

MAKE_CERTIFICATES = pathlib.Path(__file__).resolve().parents[1] / "servers" / "certificates.sh"

BODY = bytes(i * 7 % 251 for i in range(100000))

# A listing with names that are not UTF-8, or contain a line end.
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

    def wait_until(self, condition):
        end = time.monotonic() + 60
        while not condition():
            self.assertLess(time.monotonic(), end)
            time.sleep(0.01)

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
                                (["put", "file", "a/"], "'a/'"), (["backup", "nofolder", "/x"], "'nofolder'"),
                                (["ls", "--tls", "some"], "--tls"), (["ls", "--server", "ftp://h/"], "'ftp://h/'"),
                                (["ls", "--server", ""], "--server"), (["ls", "--tls-max", "1.1"], "--tls-max"),
                                (["ls", "--server", "u:hidden@127.0.0.1"], "is not HOST"),
                                (["ls", "--server", "me@127.0.0.1"], "is not HOST"), (["ls", "--jobs", "2"], "--jobs"),
                                (["backup", "--jobs", "0", ".", "/x"], "--jobs"), (["rm", "/a\nb"], "CR, LF")):
            result = self.ftp(*arguments, code=2)
            self.assertIn(text, result.err)
            self.assertNotIn("hidden", result.err)
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
            self.assertIn("was interrupted after 30.0 kB", result.err)
            self.assertIn("was interrupted after 80.0 kB", result.err)

    def test_a_download_is_tried_again_as_often_as_it_may(self):
        self.server.faults["RETR /a"] = [Fault(cut=10)] * 6
        self.ftp("get", "/a", "file", "--retries", "5", code=1)
        self.assertEqual(len(self.server.came("RETR")), 6)
        self.assertEqual(self.files_in("."), {})
        self.server.faults["RETR /a"] = [Fault(cut=10)] * 20
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
            self.assertNotIn("continuing", result.err)

    def test_the_size_is_compared(self):
        self.server.faults["MLST /a"] = [Fault(reply="250-x\r\n type=file;size=99999; /a\r\n250 y")]
        self.assertIn("of the 99999 bytes", self.ftp("get", "/a", "file", code=1).err)
        self.assertEqual(self.files_in("."), {})

    def test_a_file_that_became_shorter_does_not_keep_its_old_end(self):
        self.write("file", b"old")
        self.server.unknown = ("MLST",)
        self.server.faults["RETR /a"] = [Fault(cut=50000)]
        self.server.faults["SIZE /a"] = [Fault(), Fault(then=lambda: self.change(b"short", TIME))]
        self.assertIn("became shorter", self.ftp("get", "/a", "file", code=1).err)
        self.assertEqual(self.files_in("."), {"file": b"old"})

    def test_a_refused_transfer_is_tried_again_over_a_new_connection(self):
        self.server.faults["RETR /a"] = [Fault(reply="425 Cannot open data connection.")]
        self.ftp("get", "/a", "file")
        self.assertEqual(self.read("file"), BODY)
        self.assertEqual(self.server.logins, 2)
        self.server.logins = 0
        self.server.faults["RETR /a"] = [Fault(reply="425 Cannot open data connection.")] * 9
        self.ftp("get", "/a", "file", "--retries", "2", code=1)
        self.assertEqual((self.server.logins, len(self.server.faults["RETR /a"])), (3, 6))
        self.server.logins = 0
        self.server.faults["RETR /a"] = [Fault(reply="450 Busy.")]
        self.ftp("get", "/a", "file")
        self.assertEqual(self.server.logins, 2)

    def test_a_listing_is_not_stored_as_a_file(self):
        self.write("file", b"old")
        self.server.dirs.add("/d")
        for path in ("/", "//", "/d/"):
            for target in (["file"], []):
                self.assertIn("means a directory", self.ftp("get", path, *target, code=2).err)
        self.assertEqual(self.files_in("."), {"file": b"old"})
        self.assertEqual(self.server.commands, [])

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
        self.part = "/.a.vexil-part-*"

    def put(self, retries="5", **options):
        return self.ftp("put", "file", "/a", "--retries", retries, **options)

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
        self.assertEqual(len(self.server.came("STOR")), 1)

    def test_a_server_that_does_not_replace_files(self):
        self.server.replaces = False
        self.put()
        self.assertEqual(self.server.files, {"/a": BODY})

    def test_a_refused_name_costs_no_file(self):
        self.server.faults["RNTO /a"] = [Fault(reply="553 Not this name.")] * 2
        self.assertIn("server message:  553 Not this name.", self.put(code=1).err)
        self.assertEqual(self.server.files, {"/a": b"old"})

    def test_a_replaced_file_that_does_not_come_back_is_named(self):
        self.server.faults["RNTO /a"] = [Fault(reply="553 Not this name.")] * 9
        result = self.put(code=1)
        (name, body), = self.server.files.items()
        self.assertRegex(name, "^/.a.vexil-part-[0-9a-f]{16}-old$")
        self.assertEqual(body, b"old")
        self.assertIn(f"a file that an upload was to replace may be left on the server: '{name}' (it was called '/a')",
                      result.err)

    def test_a_replaced_file_that_is_not_deleted_is_named(self):
        self.server.replaces = False
        self.server.faults["DELE *-old"] = [Fault(reply="550 No.")] * 9
        result = self.put()
        self.assertEqual(self.server.files.pop("/a"), BODY)
        self.assertIn(f"may be left on the server: '{list(self.server.files)[0]}'", result.err)

    def test_a_move_that_was_broken_in_the_middle_of_a_replacement_goes_on(self):
        self.server.replaces = False
        for number in range(3):
            for silent in ("RNFR /a", "RNTO *-old", "RNFR *-part-*", "RNTO /a", "DELE *-old", "MLST /a"):
                self.server.files = {"/a": b"old"}
                self.server.faults = {silent: [Fault()] * number + [Fault(silent=True)]}
                result = self.put()
                self.assertEqual(sorted(self.server.files), ["/a"], (silent, number, result))
                self.assertEqual(self.server.files["/a"], BODY)
        self.assertEqual(len(self.server.came("STOR")), 18)

    def test_a_directory_is_not_replaced(self):
        self.server.dirs.add("/photos")
        self.write("photos", BODY)
        for unknown in ((), ("MLST",)):
            self.server.unknown = unknown
            self.assertIn("'/photos' is a directory", self.ftp("put", "file", "/photos", code=1).err)
            self.ftp("put", "file", "/photos/")
            self.assertEqual(self.server.files.pop("/photos/file"), BODY)
            self.assertEqual(self.server.files, {"/a": b"old"})
        self.assertEqual(len(self.server.came("STOR")), 2)
        self.server.dirs.add("/photos/file")
        self.assertIn("'/photos/file' is a directory", self.ftp("put", "file", "/photos/", code=1).err)
        self.ftp("put", "file", "/")
        self.assertEqual(self.server.files.pop("/file"), BODY)
        self.assertEqual(self.server.dirs, {"/", "/photos", "/photos/file"})

    def test_a_directory_that_appears_meanwhile_is_not_replaced(self):
        for reply in ("550 No.", "451 No."):
            self.server.files = {}
            self.server.faults["RNTO /a"] = [Fault(reply=reply, then=lambda: self.server.dirs.add("/a"))] * 9
            self.assertIn("'/a' is a directory", self.put(code=1).err)
            self.server.dirs.remove("/a")
            self.assertEqual(self.server.files, {})

    def test_uploads_of_one_file_at_the_same_time_do_not_mix(self):
        bodies = [bytes([number]) * 3000000 for number in range(4)]
        gate = threading.Event()
        self.server.faults["STOR /.a.*"] = [Fault(gate=gate)] * 4
        processes = []
        for number, body in enumerate(bodies):
            self.write(f"file{number}", body)
            processes.append(self.start("ftp", "--tls", "none", "put", f"file{number}", "/a"))
        self.assertTrue(self.server.wait_for_gates(4))
        gate.set()
        for process in processes:
            self.assertEqual(self.finish(process).code, 0)
        self.assertIn(self.server.files.pop("/a"), bodies)
        self.assertEqual(self.server.files, {})
        self.assertEqual(len(set(self.server.came("STOR"))), 4)

    def test_a_file_that_changes_while_it_is_stored_is_no_success(self):
        for change in (lambda: self.write("file", BODY + b"x"), lambda: os.utime(self.folder / "file", (1, 1))):
            self.write("file", BODY)
            self.server.faults[f"STOR {self.part}"] = [Fault(then=change)]
            self.assertIn("'file' was changed while it was stored", self.put(code=1).err)

    def test_another_name_is_noticed(self):
        self.server.faults["MLST /a"] = [Fault(), Fault(reply="250-x\r\n type=file;size=100000; /A\r\n250 y")]
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


    def test_a_full_disk_is_told_in_the_words_of_the_server(self):
        self.write("file", bytes(30000000))
        for reply in ("452 No space left.", "552 Too much.", "451 Error during write."):
            for retries in ("0", "5"):
                self.server.room, self.server.room_reply, self.server.commands = 1000000, reply, []
                result = self.put(code=1, retries=retries)
                self.assertIn(f"server message:  {reply}", result.err)
                self.assertIn("may be full", result.err)
                self.assertNotIn("Try again", result.err)
                self.assertEqual(len(self.server.came("STOR")), 2)
                self.assertEqual(self.server.files, {"/a": b"old"})

    def test_an_upload_that_breaks_where_there_is_room_is_tried_again(self):
        self.write("file", bytes(30000000))
        self.server.room = 1000000

        def make_room():
            self.server.room = None

        # There is room for the small file that tests for room.
        self.server.faults["STOR *"] = [Fault(), Fault(then=make_room)]
        self.put()
        self.assertEqual(self.server.files, {"/a": bytes(30000000)})
        self.assertEqual(len(self.server.came("STOR")), 3)
        self.server.room = 1000000
        self.server.faults["STOR *"] = [Fault(), Fault(then=make_room)]
        self.assertIn("libcurl code:    55", self.put(code=1, retries="0").err)
        self.assertEqual(self.server.files, {"/a": bytes(30000000)})

    def test_a_server_that_cannot_rename_is_told_of(self):
        for reply in ("500 Unknown.", "502 Not here."):
            self.server.faults["RNFR *"] = [Fault(reply=reply)] * 9
            for arguments in (["put", "file", "/a"], ["mv", "/a", "/b"]):
                result = self.ftp(*arguments, code=1)
                self.assertIn("cannot rename files", result.err)
                self.assertIn(f"server message:  {reply}", result.err)
                self.assertNotIn("MLST", result.err)
                self.assertEqual(self.server.files, {"/a": b"old"})

    def test_what_was_not_begun_is_not_called_left(self):
        for arguments in (["put", "file", "/b"], ["put", "file", "/x/b", "--parents"]):
            # The login works once, and then fails.
            self.server.max_connections = 1
            self.server.faults["MLST *b"] = [Fault(then=lambda: setattr(self.server, "max_connections", 0), ends=True)]
            result = self.ftp(*arguments, "--retries", "1", code=1)
            self.assertNotIn("may be left", result.err)


class MLSTRefusedTest(FakeServerTest):
    """A server that refuses MLST for every path, and lists by MLSD."""

    def setUp(self):
        super().setUp()
        self.server.dirs |= {"/x", "/x/d"}
        self.server.files.update({"/x/good": b"good", "/x/d/b": BODY})
        self.server.faults["MLST *"] = [Fault(reply="550 Not for you.")] * 999
        self.write("file", BODY)

    def test_uploads_are_found_under_their_names(self):
        self.ftp("put", "file", "/x/a")
        self.ftp("put", "file", "/new/er/a", "--parents")
        self.assertEqual(self.server.files["/x/a"], BODY)
        self.assertEqual(self.server.files["/new/er/a"], BODY)
        self.server.faults["RNTO /x/c"] = [Fault(then=lambda: None, reply="250 Moved, but not really.")]
        self.assertIn("not under its name", self.ftp("put", "file", "/x/c", code=1).err)

    def test_backup_and_restore(self):
        self.write("f/a", BODY)
        self.write("f/d/b", b"b")
        self.ftp("backup", "f", "/b")
        self.ftp("restore", "/b", "r")
        self.assertEqual(self.files_in("r"), self.files_in("f"))

    def test_what_is_there_is_told_of_and_what_is_not_is_missing(self):
        self.assertIn("good", self.ftp("stat", "/x/good").out)
        self.assertIn("There is no '/x/no'", self.ftp("stat", "/x/no", code=3).err)
        self.server.faults["DELE /x/good"] = [Fault(reply="550 No.")]
        self.assertIn("The server refuses this for '/x/good'", self.ftp("rm", "/x/good", code=1).err)
        self.assertIn("There is no '/x/no'", self.ftp("rm", "/x/no", code=3).err)

    def test_a_tree_is_removed(self):
        self.ftp("rmtree", "/x")
        self.assertEqual((self.server.files, self.server.dirs), ({}, {"/"}))


class TLSTest(FakeServerTest):
    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.certificates = pathlib.Path(tempfile.mkdtemp(prefix="vexil-certificates-"))
        cls.addClassCleanup(shutil.rmtree, cls.certificates)
        subprocess.run([MAKE_CERTIFICATES, cls.certificates], check=True, stdin=subprocess.DEVNULL, timeout=120)
        cls.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        cls.tls.load_cert_chain(cls.certificates / "cert.pem", cls.certificates / "key.pem")

    def setUp(self):
        super().setUp()
        self.server.tls = self.tls
        self.server.files["/a"] = b"old"
        self.write("file", BODY)

    def ftp_tls(self, security, *arguments):
        return self.run_program("--ca-bundle", self.certificates / "ca.pem", "ftp", "--tls", security, "--retries", "1",
                                *arguments, code=1)

    def encrypt_from_the_first_byte(self):
        accept = self.server.tcp.get_request

        def accept_tls():
            connection, address = accept()
            return self.tls.wrap_socket(connection, server_side=True), address

        self.server.tcp.get_request = accept_tls

    def test_a_server_that_encrypts_the_login_only_is_told_of_and_gets_nothing(self):
        for security in ("explicit", "implicit"):
            if security == "implicit":
                self.encrypt_from_the_first_byte()
            for reply in ("536 Not this level.", "534 Not here.", "504 What?"):
                for arguments in (["ls"], ["get", "/a"], ["put", "file", "/b"], ["backup", ".", "/b"]):
                    self.server.faults["PROT P"] = [Fault(reply=reply)] * 9
                    result = self.ftp_tls(security, *arguments)
                    self.assertIn("refuses to encrypt files and listings", result.err)
                    self.assertIn(reply, result.err)
                    self.assertNotIn("--tls", result.err)
                    self.assertNotIn("may be left", result.err)
        self.assertEqual(self.server.came("STOR") + self.server.came("RETR") + self.server.came("MLSD"), [])

    def test_a_server_without_tls_is_told_of(self):
        self.server.tls = None
        self.assertIn("The server offers no TLS on this port", self.ftp_tls("explicit", "ls").err)

    def test_a_failed_handshake_leaves_no_part(self):
        class Broken:
            def wrap_socket(self, connection, **_):
                raise OSError

        self.server.tls = Broken()
        result = self.ftp_tls("explicit", "put", "file", "/b")
        self.assertIn("libcurl code:    35", result.err)
        self.assertNotIn("may be left", result.err)
        self.assertNotIn("--tls", result.err)

    def test_a_failed_handshake_for_data_is_tried_again_over_a_new_connection(self):
        # This server has no TLS for data. The last login is for the clean-up.
        result = self.ftp_tls("explicit", "put", "file", "/b")
        self.assertIn("libcurl code:    35", result.err)
        self.assertEqual(self.server.logins - 1, 2)
        self.assertEqual(self.server.files, {"/a": b"old"})

    def test_a_handshake_for_data_that_fails_over_each_new_connection_is_given_up(self):
        result = self.run_program("--ca-bundle", self.certificates / "ca.pem", "ftp", "put", "file", "/b", code=1)
        self.assertIn("it may refuse this file", result.err)
        self.assertEqual(self.server.logins - 1, 6)


class MadeNameTest(FakeServerTest):
    def test_a_directory_that_gets_another_name_is_told_of(self):
        for reply, name in (('257 "/Ab" made.', "/Ab"), ('257 "/a ""b"" c" made.', '/a "b" c'), ('257 "Ab"', "Ab")):
            for arguments in (["mkdir", "/ab"], ["mkdir", "/ab", "--parents"]):
                self.server.faults["MKD /ab"] = [Fault(reply=reply)]
                result = self.ftp(*arguments, code=1)
                self.assertIn(f"made the directory under another name: '{name}'", result.err)
                self.assertIn(f"server message:  {reply}", result.err)

    def test_what_names_no_other_path_is_taken(self):
        for number, reply in enumerate(("257 Made.", '257 "/d/ab/{}" made.', '257 "{}"', "250 Done.", '257 "open')):
            self.server.faults[f"MKD /ab{number}"] = [Fault(reply=reply.format(f"ab{number}"))]
            self.ftp("mkdir", f"/ab{number}")


class BackupTest(FakeServerTest):
    REFUSALS = ("421 Too many connections.", "530 Too many logins.", "")

    def make_files(self, count):
        for number in range(count):
            self.write(f"f/{number % 3}/{number:02}", bytes([number]) * 1000)

    def test_a_directory_that_cannot_be_made_is_tried_once(self):
        self.make_files(30)
        self.server.faults["MKD /x/1"] = [Fault(reply="550 Not here.")] * 99
        result = self.ftp("backup", "f", "/x", code=1)
        self.assertEqual(result.err.count("NOT backed up: 1/"), 10)
        self.assertIn("backed up: 20 files,", result.out)
        self.assertEqual(self.server.commands.count("MKD /x/1"), 1)

    def test_each_directory_is_made_once(self):
        self.make_files(30)
        self.ftp("backup", "f", "/x/y")
        self.assertEqual(sorted(self.server.came("MKD")), sorted(
            ["MKD /x", "MKD /x/y"] + [f"MKD {path}" for i in "012" for path in ("/x", "/x/y", f"/x/y/{i}")]))
        self.ftp("restore", "/x/y", "r")
        self.assertEqual(self.files_in("r"), self.files_in("f"))

    # If libcurl closes another connection during a transfer, the reply to its goodbye is among the transfer's replies.
    def test_connections_are_kept_to_the_end(self):
        self.make_files(60)
        self.ftp("backup", "f", "/x")
        self.assertLessEqual(self.server.all_connections, 9)

    def test_where_the_server_takes_few_connections_fewer_are_used(self):
        self.make_files(30)
        for refusal in self.REFUSALS:
            for limit in (2, 4):
                self.server.refusal, self.server.max_connections = refusal, limit
                result = self.ftp("backup", "f", "/x")
                self.assertIn("backed up: 30 files,", result.out)
                self.assertIn(f"continuing with {limit - 1} transfer", result.err)
                self.ftp("restore", "/x", f"r{limit}{refusal[:1]}")
                self.assertEqual(self.files_in(f"r{limit}{refusal[:1]}"), self.files_in("f"))

    def test_a_server_that_takes_one_connection_is_served_over_one(self):
        self.make_files(10)
        self.server.max_connections = 1
        for refusal in self.REFUSALS:
            self.server.refusal = refusal
            self.server.faults["STOR /x/1/.01.*"] = [Fault(cut=5)]
            self.server.faults["RETR /x/1/01"] = [Fault(cut=5)]
            result = self.ftp("backup", "f", "/x")
            self.assertIn("backed up: 10 files,", result.out)
            self.assertIn("continuing over one connection", result.err)
            self.server.all_connections = 0
            result = self.ftp("restore", "/x", f"r{refusal[:1]}")
            self.assertEqual(self.files_in(f"r{refusal[:1]}"), self.files_in("f"))
            # The first connection, those of eight transfers at once, and those after the failed one.
            self.assertLessEqual(self.server.all_connections, 12)

    def test_a_login_that_is_refused_after_it_has_worked_is_waited_for(self):
        self.make_files(3)
        self.server.max_connections = 1

        def occupy():
            self.server.max_connections = 0
            threading.Timer(0.5, lambda: setattr(self.server, "max_connections", 1)).start()

        for refusal in self.REFUSALS:
            self.server.refusal = refusal
            self.server.faults["STOR /x/1/.01.*"] = [Fault(cut=5, then=occupy)]
            self.assertIn("backed up: 3 files,", self.ftp("backup", "f", "/x").out)
            self.server.faults["MLSD /x"] = [Fault(reply="421 Idle.", then=occupy)]
            self.ftp("ls", "/x")

    def test_too_many_connections_are_not_called_a_wrong_password(self):
        self.make_files(3)

        def occupy():
            self.server.max_connections = 0

        for refusal in ("530 No room.", "530 Sorry, the maximum number of clients is connected.", "421 Too many."):
            self.server.refusal = refusal
            for arguments in (["backup", "f", "/x"], ["ls", "/"]):
                self.server.max_connections = 1
                self.server.faults = {"STOR *": [Fault(cut=5, then=occupy)], "MLSD /": [Fault(reply="421 Idle.", then=occupy)]}
                result = self.ftp(*arguments, "--retries", "1", code=1)
                self.assertIn("accepts no further connection", result.err)
                self.assertNotIn("PASSWORD", result.err)
                self.assertNotIn("too slow", result.err)
        self.server.max_connections = 0
        for refusal in ("530 Sorry, the maximum number of clients is connected.", "530 Too many users.", "421 Too many."):
            self.server.refusal = refusal
            result = self.ftp("ls", "--retries", "0", code=None)
            self.assertIn("accepts no further connection", result.err)
            self.assertNotIn("too slow", result.err)

    def test_a_server_that_refuses_everything_ends_it(self):
        self.make_files(30)
        self.server.max_connections, self.server.refusal = 0, "530 No."
        self.assertIn("backed up: 0 files", self.ftp("backup", "f", "/x", code=4).out)

    def test_a_file_that_is_refused_does_not_hinder_the_rest(self):
        self.make_files(6)
        self.server.faults["STOR /x/1/.01.*"] = [Fault(reply="553 Not this one.")]
        result = self.ftp("backup", "f", "/x", code=1)
        self.assertRegex(result.err, "NOT backed up: 1/01: .*; the server says: 553 Not this one.")
        self.assertIn("backed up: 5 files,", result.out)

    def test_retries_are_counted(self):
        self.make_files(3)
        self.server.faults["STOR /x/0/.00.*"] = [Fault(cut=5), Fault(reply="450 Busy.")]
        self.assertIn(" 2 retries", self.ftp("backup", "f", "/x").out)
        self.server.faults["RETR /x/0/00"] = [Fault(cut=5)]
        self.server.faults["MLSD /x/1"] = [Fault(reply="450 Busy.")]
        self.assertIn(" 2 retries, 1 continued download", self.ftp("restore", "/x", "r").out)

    def test_an_interrupt_leaves_no_part_under_a_name(self):
        self.make_files(30)
        gate = threading.Event()
        self.server.faults = {f"STOR /x/{i % 3}/.{i:02}.*": [Fault(gate=gate)] for i in range(30)}
        process = self.start("ftp", "--tls", "none", "backup", "f", "/x", "--jobs", "4")
        self.assertTrue(self.server.wait_for_gates(4))
        number, code = ENDINGS[-1]
        result = self.interrupt(process, number)
        gate.set()
        self.assertEqual(result.code, code, result)
        self.assertEqual([name for name in self.server.files if ".vexil-part-" not in name], [])


class RefusalTest(FakeServerTest):
    """Temporary refusals of each step of an upload."""

    # For each step: the refused command, how often it succeeds before, how often the file is sent if the refusals never
    # end, and whether the file is stored then.
    STEPS = {"look": ("MLST {}/file", 0, 0, False), "make": ("MKD {}", 0, 0, False),
             "store": ("STOR {}/.file.vexil-part-*", 0, 2, False), "size": ("SIZE {}/.file.vexil-part-*", 0, 1, False),
             "from": ("RNFR {}/.file.vexil-part-*", 0, 1, False), "to": ("RNTO {}/file", 0, 1, False),
             "delete": ("DELE {}/.file.*-old", 0, 1, True), "verify": ("MLST {}/file", 1, 1, False)}
    CODES = (425, 426, 450, 451, 452)

    def add_fault(self, directory, step, code, count):
        command, before, _, _ = self.STEPS[step]
        fault = Fault(reply=f"{code} Not {step}.")
        self.server.faults[command.format(directory)] = [Fault()] * before + [fault] * count
        if step == "delete":
            self.server.dirs.add(directory)
            self.server.files[f"{directory}/file"] = b"old"
        self.server.replaces = False

    def back_up(self, count):
        self.server.dirs.add("/x")
        for step in self.STEPS:
            for code in self.CODES:
                self.write(f"f/{step}-{code}/file", BODY)
                self.add_fault(f"/x/{step}-{code}", step, code, count)
        return self.ftp("backup", "f", "/x", "--retries", "1", code=1)

    def uploads(self, name):
        return len([command for command in self.server.came("STOR") if f"/{name}/" in command])

    def test_what_is_refused_for_ever_is_given_up(self):
        result = self.back_up(99)
        for step, (_, _, uploads, is_stored) in self.STEPS.items():
            for code in self.CODES:
                name = f"{step}-{code}"
                self.assertEqual(self.uploads(name), 1 if name == "store-452" else uploads, name)
                said = f"NOT backed up: {name}/file: .*the server says: {code} Not {step}"
                (self.assertNotRegex if is_stored else self.assertRegex)(result.err, said)
                self.assertEqual(self.server.files.get(f"/x/{name}/file") == BODY, is_stored or step == "verify", name)
                if step == "delete":
                    self.assertRegex(result.err, f"may be left on the server: '/x/{name}/.file.vexil-part-.*-old'")
        self.assertIn("backed up: 5 files,", result.out)

    # The connection ends with the reply, and so does a backup.
    def test_the_end_of_the_service_is_waited_out_or_told(self):
        self.write("file", BODY)
        for step, (_, _, uploads, is_stored) in self.STEPS.items():
            for count in (1, 99):
                self.server.files, self.server.dirs, self.server.faults, self.server.commands = {}, {"/"}, {}, []
                self.add_fault("/x", step, 421, count)
                is_good = is_stored or count == 1
                result = self.ftp("put", "file", "/x/file", "-p", "--retries", "1", code=None)
                self.assertEqual(result.code, 0 if is_good else 1, (step, count, result, self.server.commands))
                sent = (2 if step == "store" else 1) if count == 1 else uploads
                self.assertEqual(len(self.server.came("STOR")), sent, (step, count))
                self.assertEqual(self.server.files.get("/x/file") == BODY, is_good or step == "verify", (step, count))
                if not is_good:
                    self.assertIn(f"server message:  421 Not {step}.", result.err)

    def test_what_is_refused_once_is_tried_again(self):
        result = self.back_up(1)
        for step in self.STEPS:
            for code in self.CODES:
                name = f"{step}-{code}"
                is_final = code == 452 and step != "delete"
                if not is_final:
                    self.assertEqual(self.uploads(name), 2 if step == "store" else 1, name)
                    self.assertEqual(self.server.files.get(f"/x/{name}/file"), BODY, name)
                self.assertEqual(f"NOT backed up: {name}/file" in result.err, is_final, name)
        self.assertEqual([name for name in self.server.files if "vexil-part" in name], [])

    def test_a_directory_in_the_way_is_told_before_anything_is_sent(self):
        self.write("f/a", BODY)
        self.write("f/b", BODY)
        self.server.dirs |= {"/x", "/x/a"}
        self.assertIn("NOT backed up: a: On the server '/x/a' is a directory", self.ftp("backup", "f", "/x", code=1).err)
        self.assertEqual(self.server.files, {"/x/b": BODY})
        self.assertEqual(len(self.server.came("STOR")), 1)


class ChangedKindTest(FakeServerTest):
    """Files that have become folders, and folders that have become files."""

    def back_up(self, folder, **options):
        return self.ftp("backup", folder, "/b/x", **options)

    def setUp(self):
        super().setUp()
        for name, body in (("old/a", b"a"), ("old/d/b", b"b"), ("old/d/keep", b"keep")):
            self.write(name, body)
        self.back_up("old")

    def test_a_file_that_became_a_folder_is_replaced(self):
        self.write("new/a/deep/er/c", b"c")
        self.write("new/d/b/inside", b"inside")
        result = self.back_up("new")
        for path in ("/b/x/a", "/b/x/d/b"):
            self.assertIn(f"replaced: the file '{path}' on the server, which is a folder now", result.err)
        self.assertEqual(self.server.files, {"/b/x/a/deep/er/c": b"c", "/b/x/d/b/inside": b"inside",
                                             "/b/x/d/keep": b"keep"})
        self.ftp("restore", "/b/x", "r")
        self.assertEqual(self.files_in("r"), {"a/deep/er/c": b"c", "d/b/inside": b"inside", "d/keep": b"keep"})

    def test_where_no_folder_can_be_made_the_file_stays(self):
        self.write("new/a/c", b"c")
        self.write("new/d/keep", b"new")
        self.server.faults["MKD /b/x/a"] = [Fault(reply="550 No way.")] * 9
        result = self.back_up("new", code=1)
        self.assertRegex(result.err, "NOT backed up: a/c: .*; the server says: 550 No way.")
        self.assertEqual(self.server.files, {"/b/x/a": b"a", "/b/x/d/b": b"b", "/b/x/d/keep": b"new"})

    def test_a_replaced_file_that_stays_is_named(self):
        self.write("new/a/c", b"c")
        self.server.faults["DELE *-old"] = [Fault(reply="550 No way.")] * 9
        result = self.back_up("new")
        left = [name for name in self.server.files if name.endswith("-old")]
        self.assertIn(f"may be left on the server: '{left[0]}'", result.err)

    def test_a_folder_that_became_a_file_is_named(self):
        self.write("new/d", b"d")
        before = dict(self.server.files)
        self.assertIn("NOT backed up: d: On the server '/b/x/d' is a directory", self.back_up("new", code=1).err)
        self.assertEqual(self.server.files, before)

    def test_what_lies_above_the_backup_is_not_replaced(self):
        self.server.files["/file"] = b"mine"
        self.assertIn("'/file", self.ftp("backup", "old", "/file/x", code=1).err)
        self.assertIn("'/file'", self.ftp("backup", "old", "/file", code=1).err)
        self.assertEqual(self.server.files["/file"], b"mine")


class ReplyBytesTest(FakeServerTest):
    """Replies that are not UTF-8 mean the same as others."""

    def setUp(self):
        super().setUp()
        self.write("file", b"body")
        self.write("f/a", b"body")
        self.write("f/d/b", b"b")

    def outcome(self, arguments, faults, mangles):
        server = self.server
        server.files, server.dirs = {"/a": b"old", "/x/b": b"b"}, {"/", "/x", "/empty"}
        server.faults = {key: [Fault(reply=reply) for reply in replies] for key, replies in faults.items()}
        server.mangles, server.replies, server.commands = mangles, 0, []
        result = self.finish(self.start("ftp", "--tls", "none", *arguments, "--retries", "1"))
        stored = [(name if "vexil-part" not in name else "part", body) for name, body in server.files.items()]
        said = "refused" if "No way" in result.err else ""
        return result.code, said, result.raw_out.partition(b" in ")[0], sorted(stored), sorted(server.dirs)

    def compare(self, arguments, each=False, **faults):
        """Runs a command against a normal server, and against servers with odd replies: all of them, or one."""
        faults = {key.replace("_", " "): replies for key, replies in faults.items()}
        expected = self.outcome(arguments, faults, lambda number: False)
        self.assertEqual(self.outcome(arguments, faults, lambda number: True), expected, arguments)
        for wanted in range(self.server.replies if each else 0):
            self.assertEqual(self.outcome(arguments, faults, lambda number: number == wanted), expected, wanted)
        return expected

    def test_every_command(self):
        for arguments in (["ls", "/"], ["stat", "/a"], ["get", "/a"], ["mkdir", "/new"], ["mkdir", "-p", "/n/m"],
                          ["rm", "/a"], ["rmdir", "/empty"], ["rmtree", "/x"], ["mv", "/a", "/b"],
                          ["get", "/no"], ["stat", "/no"], ["rm", "/no"]):
            self.assertEqual(self.compare(arguments)[0], 3 if "/no" in arguments else 0)

    def test_each_reply_of_an_upload(self):
        for arguments in (["put", "file", "/a"], ["backup", "f", "/y"]):
            self.assertEqual(self.compare(arguments, each=True)[0], 0)

    def test_each_refusal_of_an_upload(self):
        no = "550 No way."
        for command in ("STOR /.a*", "RNFR /.a*", "RNTO /a"):
            code, said, _, stored, _ = self.compare(["put", "file", "/a"], **{command: [no] * 2})
            self.assertEqual((code, said, stored[0]), (1, "refused", ("/a", b"old")), command)
        for command in ("SIZE *", "MLST *"):
            self.compare(["put", "file", "/a"], **{command: [no] * 9})
        code, _, out, stored, _ = self.compare(["backup", "f", "/y"], **{"RNTO *": [no] * 9, "MLST /y/*[ab]": [no] * 9})
        self.assertEqual((code, out), (1, b"backed up: 0 files, 0 bytes"))
        self.assertEqual(stored, [("/a", b"old"), ("/x/b", b"b")])


class InterruptTest(FakeServerTest):
    def test_an_interrupt_ends_the_pause_between_two_tries(self):
        self.server.faults["MLSD /"] = [Fault(reply="450 Busy.")] * 99
        process = self.start("--retries", "50", "ftp", "--tls", "none", "ls")
        # The pause after the fifth try takes 3.2 s.
        self.wait_until(lambda: len(self.server.came("MLSD")) == 5)
        begin = time.monotonic()
        self.assertEqual(self.interrupt(process).code, 130)
        self.assertLess(time.monotonic() - begin, 2.5)
        self.assertEqual(len(self.server.came("MLSD")), 5)

    def interrupt_upload(self):
        self.write("file", BODY)
        gate = threading.Event()
        self.addCleanup(gate.set)
        self.server.faults["STOR *"] = [Fault(gate=gate)]
        process = self.start("ftp", "--tls", "none", "put", "file", "/a")
        self.assertTrue(self.server.wait_for_gates(1))
        return process

    def test_an_interrupt_does_not_cancel_the_tidying_up(self):
        process = self.interrupt_upload()
        part = self.server.came("STOR")[0].split(" ", 1)[1]
        self.server.files[part] = b"half"
        self.assertEqual(self.interrupt(process).code, 130)
        self.assertEqual(self.server.files, {})

    def test_the_tidying_up_after_an_interrupt_does_not_hang(self):
        process = self.interrupt_upload()
        gate = threading.Event()
        self.addCleanup(gate.set)
        self.server.faults["DELE *"] = [Fault(gate=gate)]
        begin = time.monotonic()
        result = self.interrupt(process)
        self.assertEqual(result.code, 130)
        # The limit is 10 s. Without it libcurl waits for 60 s.
        self.assertLess(time.monotonic() - begin, 40)
        self.assertIn("left on the server", result.err)


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
        self.assertIn("NOT restored: /x/d: ", self.restore(1, "--retries", "5").err)

    def test_the_size_is_compared_with_the_listing(self):
        self.server.listing["/x"] = ["type=file;size=5; good"]
        self.assertIn("the listing says 5", self.restore(code=1).err)
        self.assertEqual(self.files_in("r"), {})

    def test_a_failed_file_leaves_the_old_one(self):
        self.write("r/d/b", b"old")
        self.server.faults["RETR /x/d/b"] = [Fault(cut=10)] * 9
        self.restore(1, "--retries", "5")
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
        self.assertIn("is the directory right?", self.restore(code=3).err)


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

    def test_nothing_there_is_not_found(self):
        for arguments in (["rmtree", "/none"], ["rm", "/none"], ["rmdir", "/none"], ["get", "/none", "f"],
                          ["mv", "/none", "/m"], ["restore", "/none", "r"], ["stat", "/none"], ["ls", "/none"]):
            self.ftp(*arguments, code=3)
        self.server.dirs.add("/empty")
        result = self.ftp("restore", "/empty", "r", code=3)
        self.assertIn("nothing to restore", result.err)

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

    def test_a_directory_that_stays_busy_is_not_taken_for_an_empty_one(self):
        self.server.faults["MLSD /x/d"] = [Fault(reply="450 Busy.")] * 9
        self.server.faults["RMD /x/d"] = [Fault(reply="550 Not empty.")]
        result = self.ftp("rmtree", "/x", "--retries", "1", code=1)
        self.assertIn("NOT deleted: /x/d: ", result.err)
        self.assertIn("450 Busy.", result.err)
        self.assertIn("/x/d", self.server.dirs)
        self.assertEqual(self.server.came("RMD").count("RMD /x/d"), 1)

    def test_a_file_is_no_directory(self):
        self.assertIn("is not a directory", self.rmtree("/top", code=1).err)
        self.assertEqual(self.server.files["/top"], b"5")


if __name__ == "__main__":
    unittest.main()
