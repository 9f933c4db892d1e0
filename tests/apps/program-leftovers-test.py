#!/usr/bin/env python3
"""Files that killed programs leave, here and on servers, and what later runs do with them."""

import os
import re
import time
import unittest

from fake_ftp import FakeFTP
from fake_ftp import Fault as FTPFault
from fake_s3 import Fault
from program import FakeServerTest, ProgramTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))
PART = r"\.a\.vexil-part-[0-9a-f]{16}"
STRANGER = ".b.vexil-part-0123456789abcdef"


def parts_of(names):
    return [name for name in names if ".vexil-part-" in name]


@not_on_windows("a process of Wine outlives the one that is killed")
class RestoreTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        self.server.objects = {"a": BODY}
        self.server.lists_etags = True

    def kill_restore(self, *arguments, at=30000):
        """Leaves a part with this many bytes."""
        self.server.faults["a"] = [Fault(cut=at, hold=True)]
        self.server.held.clear()
        process = self.start("s3", "restore", *arguments, "bucket", "r")
        self.assertTrue(self.server.held.wait(60))
        deadline = time.monotonic() + 60
        while not (parts := self.parts()) or len(self.read(f"r/{parts[0]}")) < at:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        process.kill()
        process.communicate()
        self.server.requests.clear()
        part, = self.parts()
        return part

    def parts(self):
        return [name for name in self.files_in("r") if re.fullmatch(PART, name)]

    def restore(self, *arguments, code=0):
        return self.run_program("--log-level", "info", *arguments, "s3", "restore", "bucket", "r", code=code)

    def ranges(self):
        return [headers.get("Range") for headers in self.server.gets("a")]

    def test_a_restore_goes_on_with_the_part_of_the_same_object(self):
        self.kill_restore()
        result = self.restore()
        self.assertEqual(self.files_in("r"), {"a": BODY})
        self.assertEqual(self.ranges(), ["bytes=30000-"])
        self.assertEqual(self.server.gets("a")[0]["If-Match"], self.server.etag("a"))
        self.assertIn("'a' continues after 30.0 kB that an earlier program has left", result.err)
        self.assertIn("1 continued download", result.out)

    def test_a_part_that_is_whole_needs_its_last_byte_only(self):
        part = self.kill_restore()
        self.write(f"r/{part}", BODY)
        self.restore()
        self.assertEqual(self.ranges(), ["bytes=99999-"])
        self.assertEqual(self.files_in("r"), {"a": BODY})

    def test_the_part_of_another_object_is_deleted(self):
        part = self.kill_restore()
        self.server.objects["a"] = BODY[::-1]
        result = self.restore()
        self.assertEqual(self.files_in("r"), {"a": BODY[::-1]})
        self.assertEqual(self.ranges(), [None])
        self.assertIn(f"deleted r/{part}: a part that a killed program has left", result.err)

    def test_parts_of_objects_that_are_gone_are_deleted(self):
        self.kill_restore()
        self.server.objects = {"c": b"c"}
        self.write(f"r/{STRANGER}")
        self.restore()
        self.assertEqual(self.files_in("r"), {"c": b"c"})

    def test_an_object_that_is_replaced_after_the_listing_is_fetched_as_a_whole(self):
        for heeds_condition, heeds_range, retries in ((True, True, 0), (False, True, 0), (False, False, 0),
                                                      (True, True, 5), (False, True, 5), (False, False, 5)):
            with self.subTest(heeds_condition=heeds_condition, heeds_range=heeds_range, retries=retries):
                self.server.heeds_condition, self.server.heeds_range = heeds_condition, heeds_range
                self.server.objects["a"] = BODY
                self.kill_restore()

                def replace():
                    self.server.objects["a"] = BODY[::-1]

                self.server.faults["a"] = [Fault(then=replace)]
                self.restore("--retries", retries)
                self.assertEqual(self.ranges(), ["bytes=30000-", None])
                self.assertEqual(self.files_in("r"), {"a": BODY[::-1]})
                (self.folder / "r/a").unlink()

    def test_a_part_with_wrong_bytes_is_fetched_again(self):
        for retries in ("0", "5"):
            with self.subTest(retries):
                part = self.kill_restore()
                self.write(f"r/{part}", bytes(30000))
                self.restore("--retries", retries)
                self.assertEqual(self.ranges(), ["bytes=30000-", None])
                self.assertEqual(self.files_in("r"), {"a": BODY})
                (self.folder / "r/a").unlink()

    def test_what_nobody_could_prove_is_not_taken_over(self):
        self.server.etags["a"] = '"0123456789abcdef0123456789abcdef-2"'
        self.kill_restore()
        self.restore()
        self.assertEqual(self.ranges(), [None])
        self.assertEqual(self.files_in("r"), {"a": BODY})

    def test_no_link_is_followed(self):
        part = self.kill_restore()
        victim = self.write("victim", b"precious")
        for make_link in (os.symlink, os.link):
            with self.subTest(make_link):
                (self.folder / "r" / part).unlink()
                make_link(victim, self.folder / "r" / part)
                self.restore()
                self.assertEqual(self.read("victim"), b"precious")
                self.assertEqual(self.read("r/a"), BODY)
                self.assertEqual(self.ranges()[-1], None)

    def test_the_part_of_a_running_program_is_left_alone(self):
        self.server.faults["a"] = [Fault(cut=30000, hold=True)]
        process = self.start("s3", "restore", "bucket", "r")
        self.assertTrue(self.server.held.wait(60))
        other, = parts_of(self.files_in("r"))
        self.restore()
        self.assertEqual(parts_of(self.files_in("r")), [other])
        self.assertEqual(self.read("r/a"), BODY)
        self.run_program("s3", "get", "bucket", "a", "r/a")
        self.assertEqual(parts_of(self.files_in("r")), [other])
        process.kill()
        process.communicate()

    def test_a_get_deletes_the_parts_of_its_file(self):
        for arguments in (["s3", "get", "bucket", "a", "r/a"],
                          ["http", "get", f"{self.server.endpoint}/bucket/a", "r/a"]):
            part = self.kill_restore()
            self.write(f"r/{STRANGER}")
            result = self.run_program(*arguments)
            self.assertEqual(self.files_in("r"), {"a": BODY, STRANGER: b"content"})
            self.assertIn(f"deleted r/{part}", result.err)

    def test_a_part_in_the_bucket_is_no_file(self):
        self.server.objects = {STRANGER: b"part", f"d/{STRANGER}-OLD": b"old", f"d/{STRANGER}/x": b"x", "a": b"a"}
        result = self.restore(code=1)
        self.assertEqual(self.files_in("r"), {"a": b"a", f"d/{STRANGER}/x": b"x"})
        for name in (STRANGER, f"d/{STRANGER}-OLD"):
            self.assertIn(f"NOT restored: {name}: it is a part of a file", result.err)


class BackupTest(FakeServerTest):
    def test_a_backup_skips_parts_and_names_them(self):
        names = ["a", STRANGER, f"d/{STRANGER}", f"{STRANGER}-old", ".x.vexil-part", ".x.vexil-part-0123456789abcde",
                 ".vexil-part-0123456789abcdef", f"{STRANGER}0", f"e/{STRANGER}/x"]
        for name in names:
            self.write(f"f/{name}")
        result = self.run_program("s3", "backup", "f", "bucket")
        parts = [names[1], names[2], names[3]]
        self.assertEqual(sorted(self.server.objects), sorted(set(names) - set(parts)))
        for part in parts:
            self.assertIn(f"skipped {part}: a part of a file", result.err)
        self.assertIn("backed up: 6 files", result.out)

    @not_on_windows("times that NTFS does not know")
    def test_a_file_of_a_far_year_is_backed_up(self):
        for seconds, name in ((9300000000, "a"), (15032385535, "b"), (-8000000000, "c")):
            os.utime(self.write(f"f/{name}"), (seconds, seconds))
        self.run_program("s3", "backup", "f", "bucket")
        self.assertEqual(sorted(self.server.objects), ["a", "b", "c"])


@not_on_windows("a process of Wine outlives the one that is killed")
class FTPTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.server = FakeFTP()
        self.addCleanup(self.server.close)
        self.environment.update(VEXIL_FTP_SERVER=self.server.address, VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")

    def ftp(self, *arguments, code=0):
        return self.run_program("--log-level", "info", "ftp", "--tls", "none", *arguments, code=code)

    def kill_backup(self, pattern):
        """Kills a backup when it sends the command."""
        process = self.start("ftp", "--tls", "none", "backup", "f", "/x", "--jobs", "1")
        self.server.faults[pattern] = [FTPFault(then=process.kill)]
        process.communicate()
        # Wait until the server has finished its command.
        deadline = time.monotonic() + 60
        while self.server.connections:
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)
        self.server.faults.clear()

    def parts(self):
        return parts_of(self.server.files)

    def test_a_later_backup_clears_the_parts_of_its_own(self):
        self.write("f/d/a", BODY)
        self.write("f/z", b"z")
        self.kill_backup("SIZE *")
        part, = self.parts()
        self.assertRegex(part, rf"^/x/d/{PART}$")
        stranger = f"/x/d/{STRANGER}"
        self.server.files[stranger] = b"of somebody else"
        for gone in (False, True):
            with self.subTest("the source is gone" if gone else "the source is there"):
                if gone:
                    self.kill_backup("SIZE *")
                    (self.folder / "f/d/a").unlink()
                    (self.folder / "f/d").rmdir()
                part, = set(self.parts()) - {stranger}
                result = self.ftp("backup", "f", "/x")
                self.assertEqual(self.parts(), [stranger])
                self.assertIn(f"deleted {part} on the server: a part that an earlier run has left", result.err)
                self.assertEqual(self.server.files["/x/z"], b"z")
                self.server.files.pop("/x/d/a", None)

    def test_a_file_that_was_to_be_replaced_gets_its_name_back(self):
        self.server.replaces = False
        self.server.dirs.add("/x")
        self.server.files["/x/a"] = b"old"
        self.write("f/a", BODY)
        # The old file was moved away, and the new one does not have its name yet.
        self.kill_backup("RNFR /x/a")
        self.server.faults.clear()
        old = [name for name in self.server.files if name.endswith("-old")]
        if not old:
            part, = self.parts()
            self.server.files[f"{part}-old"] = self.server.files.pop("/x/a")
        (self.folder / "f/a").unlink()
        self.write("f/b")
        result = self.ftp("backup", "f", "/x")
        self.assertEqual(self.server.files, {"/x/a": b"old", "/x/b": b"content"})
        self.assertIn("'/x/a' on the server has its name again", result.err)

    def test_an_old_file_is_deleted_where_the_new_one_is(self):
        self.write("f/a", BODY)
        self.kill_backup("SIZE *")
        part, = self.parts()
        self.server.files[f"{part}-old"] = b"old"
        self.server.files["/x/a"] = self.server.files.pop(part)
        self.ftp("backup", "f", "/x")
        self.assertEqual(self.server.files, {"/x/a": BODY})

    def test_a_running_backup_keeps_its_parts(self):
        self.write("f/a", BODY)
        self.write("g/b")
        seen = []

        def run_another():
            seen.append(self.parts())
            self.ftp("backup", "g", "/x")
            seen.append(self.parts())

        self.server.faults["SIZE *"] = [FTPFault(then=run_another)]
        self.ftp("backup", "f", "/x")
        self.assertEqual(len(seen[0]), 1)
        self.assertEqual(seen[1], seen[0])
        self.assertEqual(self.server.files, {"/x/a": BODY, "/x/b": b"content"})

    def test_a_directory_that_cannot_be_searched_does_not_hinder_a_backup(self):
        self.server.dirs |= {"/x", "/x/d"}
        self.server.faults["MLSD /x/d*"] = [FTPFault(reply="550 No.")] * 9
        self.write("f/a")
        result = self.ftp("backup", "f", "/x")
        self.assertIn("'/x/d' cannot be searched for parts", result.err)
        self.assertEqual(self.server.files, {"/x/a": b"content"})

    def test_a_part_on_the_server_is_no_file(self):
        self.server.dirs.add("/x")
        self.server.files.update({f"/x/{STRANGER}": b"part", f"/x/{STRANGER}-old": b"old", "/x/a": b"a"})
        result = self.ftp("restore", "/x", "r", code=1)
        self.assertEqual(self.files_in("r"), {"a": b"a"})
        self.assertEqual(len(re.findall("NOT restored: /x/.b.vexil-part-.*: it is a part of a file", result.err)), 2)

    def test_a_restore_deletes_what_a_killed_one_has_left(self):
        self.server.dirs.add("/x")
        self.server.files["/x/a"] = BODY
        process = self.start("ftp", "--tls", "none", "restore", "/x", "r")
        self.server.faults["RETR /x/a"] = [FTPFault(then=process.kill)]
        process.communicate()
        self.assertEqual(len(parts_of(self.files_in("r"))), 1)
        self.ftp("restore", "/x", "r")
        self.assertEqual(self.files_in("r"), {"a": BODY})


if __name__ == "__main__":
    unittest.main()
