#!/usr/bin/env python3
"""Backups, restores and deletions that run many transfers at once."""

import signal
import threading
import time
import unittest

from fake_s3 import Fault
from program import ENDINGS, TIME_LIMIT, FakeServerTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))
SLOW_DOWN = Fault(status=503, code="SlowDown")


class JobsTest(FakeServerTest):
    def make_files(self, count):
        self.names = [f"{number:02}" for number in range(count)]
        for name in self.names:
            self.write(f"f/{name}", name.encode() + BODY)

    def make_objects(self, count):
        self.names = [f"{number:02}" for number in range(count)]
        self.server.objects = {name: name.encode() + BODY for name in self.names}

    def start_command(self, command, *arguments):
        places = {"backup": ("f", "bucket"), "restore": ("bucket", "r")}[command]
        return self.start("--log-level", "info", "s3", command, *arguments, *places)

    def run_command(self, command, *arguments, code=0):
        result = self.finish(self.start_command(command, *arguments))
        self.assertEqual(result.code, code, result)
        return result

    def close_gate(self):
        self.server.gate = threading.Event()


class AtOnceTest(JobsTest):
    def check_count(self, command, count, *arguments):
        self.close_gate()
        process = self.start_command(command, *arguments)
        self.assertTrue(self.server.wait_for_transfers(count))
        # Time for a request that must not come.
        time.sleep(0.3)
        self.server.gate.set()
        result = self.finish(process)
        self.assertEqual(result.code, 0, result)
        self.assertEqual(self.server.most_at_once, count)
        self.server.most_at_once = 0
        return result

    def test_a_backup_stores_as_many_files_at_once_as_it_may(self):
        self.make_files(20)
        for count, arguments in ((8, []), (3, ["--jobs", "3"]), (20, ["--jobs", "400"])):
            self.server.objects.clear()
            self.assertIn("backed up: 20 files, 2.0 MB", self.check_count("backup", count, *arguments).out)
            self.assertEqual(self.server.objects, self.files_in("f"))

    def test_a_restore_fetches_as_many_objects_at_once_as_it_may(self):
        self.make_objects(20)
        for count, arguments in ((8, []), (3, ["--jobs", "3"]), (20, ["--jobs", "400"])):
            self.assertIn("restored: 20 files, 2.0 MB", self.check_count("restore", count, *arguments).out)
            self.assertEqual(self.files_in("r"), self.server.objects)

    def test_one_job_goes_in_order(self):
        self.make_files(12)
        self.server.faults["03"] = [SLOW_DOWN]
        self.run_command("backup", "--jobs", "1")
        self.assertEqual(self.server.puts(), sorted(self.names + ["03"]))
        self.assertEqual(self.server.most_at_once, 1)
        self.server.requests.clear()
        self.server.faults["05"] = [Fault(cut=5), SLOW_DOWN]
        self.run_command("restore", "--jobs", "1")
        self.assertEqual([key for _, key, _ in self.server.requests if key], sorted(self.names + ["05", "05"]))
        self.assertEqual(self.server.most_at_once, 1)

    @not_on_windows("symbolic links")
    def test_one_job_tells_of_everything_in_order(self):
        for name in ("a", "c"):
            self.write(f"f/{name}")
            self.server.faults[name] = [Fault(status=400, code="EntityTooLarge")]
        (self.folder / "f/b").symlink_to("a")
        lines = self.run_command("backup", "--jobs", "1", code=1).err.splitlines()
        self.assertEqual([line.split(":")[0] + line.split(":")[1] for line in lines],
                         ["NOT backed up a", "skipped b a link", "NOT backed up c"])

    def test_connections_are_kept(self):
        self.make_files(30)
        # With more jobs, libcurl may close connections while few transfers run. The listing at the end has its own.
        self.run_command("backup", "--jobs", "2")
        self.assertLessEqual(self.server.connections, 3)

    def test_every_byte_is_counted(self):
        self.make_objects(30)
        self.assertIn(f"restored: 30 files, {30 * 100002 / 1e6:.1f} MB", self.run_command("restore").out)


class RetryTest(JobsTest):
    def test_tries_are_told_and_counted(self):
        self.make_files(10)
        for name in self.names:
            self.server.faults[name] = [SLOW_DOWN, Fault(status=500, code="InternalError")]
        result = self.run_command("backup")
        self.assertIn("backed up: 10 files", result.out)
        self.assertIn(" 20 retries", result.out)
        for text in ("vexil: Amazon S3 error: No.(SlowDown) (try 1); trying again in 0.0 s",
                     "vexil: Amazon S3 error: No.(InternalError) (try 2); trying again in 0.0 s"):
            self.assertEqual(result.err.count(text), 10)
        self.assertEqual(self.server.objects, self.files_in("f"))

    def test_a_request_is_signed_again(self):
        self.make_objects(1)
        # More than two seconds in all.
        for key in ("00", ""):
            self.server.faults[key] = [SLOW_DOWN] * 20
        self.run_command("restore")
        for key in ("00", ""):
            requests = self.server.gets(key)
            self.assertGreaterEqual(len(requests), 21)
            self.assertGreater(len({headers["x-amz-date"] for headers in requests}), 1)
            signatures = {headers["x-amz-date"]: headers["Authorization"] for headers in requests}
            self.assertEqual(len(set(signatures.values())), len(signatures))

    def test_a_pause_holds_nobody_up(self):
        self.make_files(20)
        # A busy machine may be slow for a while; with the error, one file is stored per pause in every round.
        for _ in range(5):
            self.server.requests.clear()
            self.server.faults["00"] = [SLOW_DOWN] * 20
            began = time.monotonic()
            self.run_command("backup", "--jobs", "2")
            self.assertGreater(time.monotonic() - began, 2)
            if (tries_before_the_others := self.server.puts().index("19") - 18) < 12:
                break
        # All the others were stored while the first one waited.
        self.assertLess(tries_before_the_others, 12)
        self.assertEqual(self.server.puts()[-1], "00")

    def test_there_are_no_more_tries_than_allowed(self):
        self.make_files(3)
        self.server.faults["01"] = [Fault(status=500, code="InternalError")] * 3
        result = self.run_command("backup", "--retries", "2", code=1)
        self.assertIn("(try 2); trying again", result.err)
        self.assertNotIn("(try 3)", result.err)
        self.assertIn("NOT backed up: 01: ", result.err)
        self.assertEqual(self.server.puts().count("01"), 3)
        self.assertEqual(sorted(self.server.objects), ["00", "02"])


class DeletionTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        self.server.batch_refusal = None
        self.server.page_size = 1000

    def make_objects(self, count):
        self.server.objects = {f"k{number:05}": b"" for number in range(count)}
        self.server.requests.clear()
        self.server.batches.clear()
        self.server.most_at_once = 0

    def start_rm(self, *arguments):
        return self.start("--log-level", "info", "s3", "rm", "-r", *arguments, "bucket", "")

    def remove(self, *arguments, code=0):
        result = self.finish(self.start_rm(*arguments))
        self.assertEqual(result.code, code, result)
        return result

    def count_requests(self):
        """The numbers of listings, of batches and of single deletions."""
        methods = [method for method, _, _ in self.server.requests]
        return tuple(methods.count(method) for method in ("GET", "POST", "DELETE"))

    def test_many_objects_are_deleted_by_batches_at_once(self):
        self.make_objects(12000)
        second = threading.Event()
        # The first response waits until the second request has come.
        self.server.batch_faults = [Fault(then=lambda: second.wait(60)), Fault(then=second.set)]
        self.assertIn("deleted: 12,000 objects\n", self.remove().out)
        self.assertTrue(second.is_set())
        self.assertEqual(self.count_requests(), (12, 12, 0))
        self.assertEqual(self.server.objects, {})
        self.assertEqual(sorted(key for keys in self.server.batches for key in keys),
                         [f"k{number:05}" for number in range(12000)])

    def test_as_many_batches_run_at_once_as_may(self):
        for count, arguments in ((8, []), (3, ["--jobs", "3"]), (1, ["--jobs", "1"])):
            self.make_objects(12000)
            self.server.gate = threading.Event()
            process = self.start_rm(*arguments)
            self.assertTrue(self.server.wait_for_transfers(count))
            # Time for a request that must not come.
            time.sleep(0.3)
            self.assertEqual(self.count_requests(), (count, count, 0))
            self.server.gate.set()
            self.assertEqual(self.finish(process).code, 0)
            self.assertEqual((self.server.most_at_once, self.server.objects), (count, {}))

    def test_a_batch_that_fails_is_tried_again(self):
        self.make_objects(5000)
        self.server.batch_faults = [None, SLOW_DOWN, Fault(cut=0), Fault(status=500, code="InternalError"),
                                    Fault(cut_head=True)]
        result = self.remove()
        self.assertIn("deleted: 5,000 objects\n", result.out)
        # libcurl itself repeats a request whose connection ends without a response.
        self.assertGreaterEqual(result.err.count("trying again"), 3)
        self.assertEqual(self.count_requests(), (5, 9, 0))
        self.assertEqual(self.server.objects, {})

    def test_a_batch_that_always_fails_ends_it(self):
        self.make_objects(3000)
        self.server.batch_faults = [SLOW_DOWN] * 100
        result = self.remove("--retries", "2", code=1)
        self.assertRegex(result.err, r"Amazon S3 error: No\.\(SlowDown\)")
        self.assertRegex(result.err, r"method: +POST\n")
        self.assertNotIn("deleted:", result.out)
        self.assertLessEqual(self.count_requests()[1], 9)
        self.assertEqual(len(self.server.objects), 3000)

    def test_objects_that_batches_do_not_delete_are_deleted_alone_at_once(self):
        self.make_objects(2000)
        temporary = [f"k{number:05}" for number in range(0, 2000, 100)]
        for key in temporary:
            self.server.faults[key] = [Fault(status=500, code="InternalError"), SLOW_DOWN]
        self.server.gate = threading.Event()
        process = self.start_rm()
        self.assertTrue(self.server.wait_for_transfers(2))
        self.server.gate.set()
        self.assertEqual(self.finish(process).code, 0)
        self.assertEqual(self.count_requests(), (2, 2, 40))
        self.assertEqual(self.server.objects, {})

    def test_a_key_that_a_batch_names_often_is_deleted_once(self):
        self.make_objects(3)
        error = "<Error><Key>k00001</Key><Code>InternalError</Code></Error>"
        self.server.batch_response = f"<DeleteResult>{error * 50}</DeleteResult>".encode()
        self.remove()
        self.assertEqual(self.count_requests(), (1, 1, 1))

    def test_a_server_without_batches_deletes_several_objects_at_once(self):
        for refusal in ((501, "NotImplemented"), (200, "InternalError")):
            self.server.batch_refusal = refusal
            self.make_objects(3100)
            second = threading.Event()
            # The first response waits until another object is deleted.
            self.server.faults["k00000"] = [Fault(then=lambda: second.wait(60))]
            self.server.faults["k00001"] = [Fault(then=second.set)]
            self.assertIn("deleted: 3,100 objects\n", self.remove().out)
            self.assertTrue(second.is_set())
            listings, batches, deletions = self.count_requests()
            self.assertEqual((listings, deletions), (4, 3100))
            self.assertLessEqual(batches, 4)
            self.assertLessEqual(self.server.most_at_once, 8)
            self.assertEqual(self.server.objects, {})

    def test_the_first_object_that_cannot_be_deleted_is_named(self):
        self.make_objects(2500)
        for key in ("k00003", "k00007", "k01500"):
            self.server.faults[key] = [Fault(status=403, code="AccessDenied")] * 2
        result = self.remove(code=4)
        self.assertRegex(result.err, rf"URL: +{self.server.endpoint}/bucket/k00003\n")
        self.assertRegex(result.err, r"method: +DELETE\n")
        self.assertNotIn("deleted:", result.out)
        self.assertLessEqual({"k00003", "k00007", "k01500"}, set(self.server.objects))

    def test_objects_that_were_listed_before_an_error_are_deleted(self):
        self.make_objects(5000)
        page = self.server.listing

        def listing(query):
            if query.get("marker") == ["k02999"]:
                return b"<ListBucketResult>"
            return page(query)

        self.server.listing = listing
        # Also those that are tried again.
        self.server.batch_faults = [SLOW_DOWN] * 3
        result = self.remove(code=1)
        self.assertIn("Error parsing Amazon S3 'list objects' result: ", result.err)
        self.assertNotIn("deleted:", result.out)
        self.assertEqual(sorted(self.server.objects), [f"k{number:05}" for number in range(3000, 5000)])

    def test_an_interrupt_ends_it(self):
        for number, code in ENDINGS:
            self.make_objects(3000)
            self.server.gate = threading.Event()
            process = self.start_rm()
            self.assertTrue(self.server.wait_for_transfers(3))
            result = self.interrupt(process, number)
            self.assertEqual(result.code, code, result)
            self.assertNotIn("deleted:", result.out)
            self.server.gate.set()
            self.assertTrue(self.server.wait_for_transfers(0))

    def test_redirects_of_batches_are_followed(self):
        self.make_objects(2000)
        self.server.batch_faults = [Fault(status=307, page=b"", location="/bucket?delete")] * 2
        self.remove()
        self.assertEqual((self.count_requests(), self.server.objects), ((2, 4, 0), {}))

    def test_a_region_is_learnt_from_a_batch(self):
        self.make_objects(2000)
        refusal = (b"<Error><Code>AuthorizationHeaderMalformed</Code><Message>No.</Message>"
                   b"<Region>eu-west-9</Region></Error>")
        self.server.batch_faults = [Fault(status=400, page=refusal)]
        self.remove()
        self.assertEqual((self.count_requests(), self.server.objects), ((2, 3, 0), {}))
        headers = [sent["Authorization"] for method, _, sent in self.server.requests if method == "POST"]
        # The other batch may have been sent before.
        self.assertTrue(any("/eu-west-9/s3/" in header for header in headers), headers)

    def test_keys_that_xml_cannot_carry_are_deleted_alone(self):
        self.server.encodes = True
        self.make_objects(1500)
        self.server.objects.update({"k00500\x01": b"", "k01000\x02": b""})
        self.assertIn("deleted: 1,502 objects\n", self.remove().out)
        self.assertEqual((self.count_requests(), self.server.objects), ((2, 2, 2), {}))


class BrokenTest(JobsTest):
    def test_broken_downloads_go_on(self):
        self.make_objects(24)
        for name in self.names:
            self.server.faults[name] = [Fault(cut=30000), Fault(cut=50000)]
        result = self.run_command("restore")
        self.assertEqual(self.files_in("r"), self.server.objects)
        self.assertIn("48 continued downloads", result.out)
        for name in self.names:
            self.assertEqual([headers.get("Range") for headers in self.server.gets(name)],
                             [None, "bytes=30000-", "bytes=80000-"])
            conditions = [headers.get("If-Match") for headers in self.server.gets(name)]
            self.assertEqual(conditions[1:], [self.server.etag(name)] * 2)
            self.assertIsNone(conditions[0])

    def test_objects_that_are_replaced_meanwhile_are_noticed(self):
        self.make_objects(16)

        def replace(name):
            self.server.objects[name] = BODY

        for name in self.names[::2]:
            self.server.faults[name] = [Fault(cut=30000), Fault(then=lambda name=name: replace(name))]
        result = self.run_command("restore", code=1)
        self.assertEqual(result.err.count("replaced by another one"), 8)
        self.assertEqual(self.files_in("r"), {name: self.server.objects[name] for name in self.names[1::2]})

    def test_broken_uploads_begin_again(self):
        self.make_files(16)
        for name in self.names:
            self.server.faults[name] = [Fault(cut=1000), Fault(cut=2000)]
        self.run_command("backup")
        self.assertEqual(self.server.objects, self.files_in("f"))
        self.assertEqual(len(self.server.puts()), 48)

    def test_answers_that_end_within_their_headers_are_no_successes(self):
        self.make_files(16)
        for name in self.names[::2]:
            self.server.faults[name] = [Fault(cut_head=True)]
        result = self.run_command("backup", "--retries", "0", code=1)
        self.assertEqual(result.err.count("ended within the headers"), 8, result)
        self.assertIn("backed up: 8 files", result.out)

    def test_the_status_counts_however_the_scheme_is_written(self):
        self.make_files(1)
        self.environment["VEXIL_S3_ENDPOINT"] = self.server.endpoint.replace("http", "HTTP")
        self.server.faults["00"] = [Fault(status=405, code="")]
        self.assertRegex(self.run_command("backup", code=1).err, r"\b405\b")
        self.make_objects(1)
        self.server.faults["00"] = [Fault(status=405, code="MethodNotAllowed")]
        self.assertIn("(MethodNotAllowed)", self.run_command("restore", code=1).err)
        self.assertEqual(self.files_in("r"), {})

    def test_changed_files_are_named(self):
        self.make_files(16)

        def change(name):
            self.write(f"f/{name}", b"longer" * 100000)

        for name in self.names[::2]:
            self.server.faults[name] = [Fault(then=lambda name=name: change(name))]
        result = self.run_command("backup", code=1)
        self.assertEqual(result.err.count(": the file was changed while it was backed up"), 8)
        self.assertIn("backed up: 8 files", result.out)


class FailureTest(JobsTest):
    def test_what_fails_does_not_hinder_the_rest(self):
        self.make_files(30)
        for name in self.names[::3]:
            self.server.faults[name] = [Fault(status=400, code="EntityTooLarge")]
        result = self.run_command("backup", code=1)
        self.assertEqual(result.err.count("NOT backed up: "), 10)
        self.assertIn("backed up: 20 files", result.out)
        self.assertIn("FAILED: 10 entries", result.out)
        self.assertEqual(sorted(self.server.objects), sorted(set(self.names) - set(self.names[::3])))
        self.make_objects(30)
        for name in self.names[::3]:
            self.server.faults[name] = [Fault(status=403, code="AccessDenied")]
        result = self.run_command("restore", code=1)
        self.assertEqual(result.err.count("NOT restored: "), 10)
        self.assertEqual(sorted(self.files_in("r")), sorted(self.server.objects.keys() - set(self.names[::3])))

    def check_refusal(self, status, code, expected):
        self.make_files(100)
        for name in self.names:
            self.server.faults[name] = [Fault(status=status, code=code)]
        result = self.run_command("backup", code=expected)
        self.assertLessEqual(len(self.server.puts()), 8)
        self.assertIn("backed up: 0 files", result.out)
        self.assertEqual(result.err.count("vexil: error: Amazon S3 error: "), 1)
        self.assertRegex(result.err, rf"URL: +{self.server.endpoint}/bucket/\d\d\n")
        self.assertRegex(result.err, r"method: +PUT\n")
        self.assertNotIn("NOT backed up", result.err)

    def test_a_denied_access_ends_a_backup(self):
        self.check_refusal(403, "AccessDenied", 4)

    def test_refused_keys_end_a_backup(self):
        self.check_refusal(403, "InvalidAccessKeyId", 4)

    def test_a_missing_bucket_ends_a_backup(self):
        self.check_refusal(404, "NoSuchBucket", 3)

    def test_a_refusal_ends_transfers_that_run(self):
        self.make_objects(20)
        self.server.faults["03"] = [Fault(cut=30000, hold=True)]
        self.server.faults["09"] = [Fault(status=403, code="InvalidAccessKeyId", then=lambda: self.server.held.wait(60))]
        self.assertIn("InvalidAccessKeyId", self.run_command("restore", code=4).err)
        self.assertLess(len(self.files_in("r")), 20)
        for name, content in self.files_in("r").items():
            self.assertEqual(content, self.server.objects[name])

    def test_what_was_listed_before_a_failed_listing_is_restored(self):
        self.make_objects(20)
        self.server.page_size = 10
        self.server.faults[""] = [None, Fault(status=403, code="AccessDenied")]
        for name in self.names:
            self.server.faults[name] = [SLOW_DOWN]
        result = self.run_command("restore", code=4)
        self.assertIn("restored: 10 files", result.out)
        self.assertRegex(result.err, r"URL: .*/bucket\?marker=09&encoding-type=url\n")
        self.assertEqual(sorted(self.files_in("r")), self.names[:10])
        self.run_command("restore")
        self.assertEqual(self.files_in("r"), self.server.objects)

    def test_a_server_that_is_gone_ends_it(self):
        self.make_files(20)
        self.environment["VEXIL_S3_ENDPOINT"] = "http://127.0.0.1:1"
        result = self.run_command("backup", "--retries", "1", code=1)
        self.assertIn("libcurl code:    7", result.err)
        self.assertIn("backed up: 0 files", result.out)


class InterruptTest(JobsTest):
    def interrupt_when(self, process, number=signal.SIGINT):
        began = time.monotonic()
        result = self.interrupt(process, number)
        self.assertEqual(result.code, 128 + number, result)
        self.assertIn("vexil: interrupted", result.err)
        # Usually it is far less.
        self.assertLess(time.monotonic() - began, 60)
        return result

    def test_an_interrupted_restore_leaves_whole_files_only(self):
        self.make_objects(30)
        for name in self.names[10:]:
            self.server.faults[name] = [Fault(cut=30000, hold=True)]
        self.write("r/12", b"old")
        process = self.start_command("restore")
        self.assertTrue(self.server.held.wait(60))
        self.interrupt_when(process)
        self.assertEqual({name: content for name, content in self.files_in("r").items() if name != "12"},
                         {name: self.server.objects[name] for name in self.files_in("r") if name < "10"})
        self.assertEqual(self.read("r/12"), b"old")

    def test_an_interrupted_backup_reports_no_more_than_is_stored(self):
        self.make_files(20)
        self.close_gate()
        process = self.start_command("backup")
        self.assertTrue(self.server.wait_for_transfers(8))
        result = self.interrupt_when(process, ENDINGS[-1][0])
        self.assertIn("backed up: 0 files", result.out)
        self.assertEqual(self.server.objects, {})

    def test_an_interrupt_in_the_pauses_is_heeded(self):
        self.make_files(8)
        for name in self.names:
            self.server.faults[name] = [SLOW_DOWN] * 10000
        process = self.start_command("backup", "--retries", "100000")
        for line in process.stderr:
            if b"(try 3)" in line:
                break
        else:
            self.fail("the program has ended")
        self.assertEqual(self.interrupt(process).code, 130)

    @not_on_windows("a write that waits does not hear of Ctrl-C")
    def test_an_interrupt_ends_it_while_nobody_reads_its_messages(self):
        self.make_objects(100)
        process = self.start("--log-level", "debug", "s3", "restore", "bucket", "r")
        deadline = time.monotonic() + TIME_LIMIT
        seen = None
        # Until its messages have filled the pipe.
        while (now := len(self.server.requests)) != seen or now < 3:
            self.assertLess(time.monotonic(), deadline)
            seen = now
            time.sleep(0.5)
        self.assertIsNone(process.poll())
        process.send_signal(signal.SIGINT)
        self.assertEqual(process.wait(TIME_LIMIT), 130)
        process.communicate()
        self.assertEqual([name for name in self.files_in("r") if name.startswith(".")], [])


class ConflictTest(JobsTest):
    def test_a_folder_finds_the_file_of_an_object_before(self):
        self.server.objects = {"a": BODY, "a/b": b"below", "a/b/c": b"below", "c": b"c"}
        self.server.modified = {"a": "2024-01-03T00:00:00.000Z"}
        for _ in range(2):
            self.server.faults["a"] = [SLOW_DOWN, SLOW_DOWN]
            result = self.run_command("restore", code=1)
            for key in ("a/b", "a/b/c"):
                self.assertIn(f"NOT restored: {key}: the object 'a' is newer", result.err)
            self.assertEqual(self.files_in("r"), {"a": BODY, "c": b"c"})

    @not_on_windows("names that differ in their case")
    def test_a_folder_finds_the_file_of_another_case_before(self):
        self.server.objects = {"A": BODY, "a/b": b"below"}
        self.server.faults["A"] = [SLOW_DOWN, SLOW_DOWN]
        self.run_command("restore")
        self.assertEqual(self.files_in("r"), self.server.objects)
        self.assertEqual(self.server.most_at_once, 1)

    def test_names_of_part_files_do_not_get_in_each_others_way(self):
        names = ["!", ".!.vexil-part", ".!.vexil-part2", ".a.vexil-part/x", ".b.vexil-part", "a", "b", "c"]
        for slow in names:
            self.server.objects = {name: name.encode() + BODY for name in names}
            self.server.faults[slow] = [Fault(cut=1000), SLOW_DOWN, Fault(cut=1000)]
            self.run_command("restore")
            self.assertEqual(self.files_in("r"), self.server.objects)
            self.run_program("s3", "restore", "--jobs", "1", "bucket", "r1")
            self.assertEqual(self.files_in("r1"), self.server.objects)


class WireLogTest(JobsTest):
    def test_debug_shows_every_transfer_whole(self):
        self.make_objects(10)
        result = self.run_program("--log-level", "debug", "s3", "restore", "bucket", "r")
        for name in self.names:
            self.assertIn(f"GET /bucket/{name} HTTP/1.1", result.err)
        for secret in ("Credential=", "Signature="):
            self.assertNotIn(secret, result.err)


if __name__ == "__main__":
    unittest.main()
