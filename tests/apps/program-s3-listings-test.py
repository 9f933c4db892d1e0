#!/usr/bin/env python3
"""The commands for buckets, uploads in progress, versions and presigned URLs, against a scripted server."""

import datetime
import unittest
import urllib.parse

from fake_s3 import Fault
from program import SECRET, FakeServerTest


def page(document):
    return Fault(status=200, page=document.encode())


def uploads(*entries, more=""):
    listed = "".join(f"<Upload><Key>{key}</Key><UploadId>{name}</UploadId><Initiated>{begin}</Initiated></Upload>"
                     for key, name, begin in entries)
    return page(f"<ListMultipartUploadsResult>{more}{listed}</ListMultipartUploadsResult>")


def ago(**span):
    return (datetime.datetime.now(datetime.timezone.utc) - datetime.timedelta(**span)).strftime("%Y-%m-%dT%H:%M:%S.123Z")


class S3ListingsTest(FakeServerTest):
    def s3(self, *arguments, code=0):
        return self.run_program("s3", *arguments, code=code)

    def serve(self, *faults):
        """These are the responses to the next requests about the bucket or the account."""
        self.server.faults[""] = list(faults)

    def sent(self):
        return [(method, urllib.parse.unquote(target)) for method, target in self.server.targets]

    # ---- uploads

    def test_uploads_are_listed(self):
        self.serve(uploads(("a\nb", "2~x", "2024-01-01T00:00:00.000Z"),
                           more="<IsTruncated>true</IsTruncated>"),
                   uploads(("p/c", "2~y", "2024-01-02T00:00:00.000Z")))
        result = self.s3("uploads", "ls", "bucket")
        self.assertEqual(result.out, "2024-01-01T00:00:00.000Z  2~x  a\\x0Ab\n2024-01-02T00:00:00.000Z  2~y  p/c\n")
        self.assertEqual(self.sent(), [("GET", "/bucket?uploads"),
                                       ("GET", "/bucket?uploads&key-marker=a\nb&upload-id-marker=2~x")])

    def test_uploads_are_aborted(self):
        self.serve(uploads(("p/a b", "2~x", ago(days=8)), ("p/c", "2~y", ago(days=6))))
        result = self.s3("uploads", "abort", "bucket", "p/", "--older-than", "7d")
        self.assertRegex(result.out, r"^aborted: \S+  2~x  p/a b\naborted: 1 upload\n$")
        self.assertEqual(self.sent(), [("GET", "/bucket?uploads&prefix=p/"),
                                       ("DELETE", "/bucket/p/a b?uploadId=2~x")])

    def test_all_uploads_are_aborted_without_an_age(self):
        self.serve(uploads(("a", "1", ""), ("b", "2", ago(seconds=0))))
        self.assertIn("\naborted: 2 uploads\n", self.s3("uploads", "abort", "bucket").out)
        self.serve(uploads())
        self.assertEqual(self.s3("uploads", "abort", "bucket").out, "aborted: 0 uploads\n")

    def test_an_upload_of_unknown_age_stays(self):
        self.serve(uploads(("a", "1", "yesterday"), ("b&#1;", "2", ago(days=1)), ("c", "3", ago(days=1))))
        result = self.s3("uploads", "abort", "bucket", "--older-than", "1h", code=1)
        self.assertIn("NOT aborted: a: the server does not tell when it began\n", result.err)
        self.assertIn("NOT aborted: b", result.err)
        self.assertIn("\naborted: 1 upload\n", result.out)
        self.assertEqual([target for method, target in self.sent() if method == "DELETE"], ["/bucket/c?uploadId=3"])

    def test_an_upload_that_has_ended_in_between_does_not_matter(self):
        self.serve(uploads(("a", "1", ""), ("b", "2", "")))
        self.server.faults["a"] = [Fault(status=404, code="NoSuchUpload")]
        self.assertRegex(self.s3("uploads", "abort", "bucket").out, r"^aborted:   2  b\naborted: 1 upload\n$")
        self.serve(uploads(("a", "1", "")))
        self.server.faults["a"] = [Fault(status=403, code="AccessDenied")]
        self.s3("uploads", "abort", "bucket", code=4)

    def test_uploads_outside_the_prefix_are_not_aborted(self):
        self.serve(uploads(("p/a", "1", ""), ("q", "2", "")))
        result = self.s3("uploads", "abort", "bucket", "p/", code=1)
        self.assertIn("The listing has the key 'q', which does not begin with 'p/'.", result.err)
        self.assertEqual(len(self.sent()), 1)

    def test_an_endless_list_of_uploads_aborts_nothing(self):
        endless = uploads(("a", "1", ""), more="<IsTruncated>true</IsTruncated>")
        self.serve(endless, endless)
        self.assertIn("The listing goes in a circle", self.s3("uploads", "abort", "bucket", code=1).err)
        self.assertEqual([method for method, _ in self.sent()], ["GET", "GET"])

    def test_a_wrong_age_is_wrong_usage(self):
        for age in ("7", "7x", "-1d", "1.5h"):
            result = self.s3("uploads", "abort", "bucket", "--older-than=" + age, code=2)
            self.assertIn(f"--older-than: '{age}' is not a duration such as 90s, 30m, 12h or 7d", result.err)
        self.assertEqual(self.sent(), [])

    # ---- versions

    def test_versions_are_listed(self):
        self.serve(page("<ListVersionsResult><EncodingType>url</EncodingType>"
                        "<DeleteMarker><Key>a%2Bb+c</Key><VersionId>v2</VersionId><IsLatest>true</IsLatest>"
                        "<LastModified>2024-01-02T00:00:00.000Z</LastModified></DeleteMarker>"
                        "<Version><Key>a%2Bb+c</Key><VersionId>v1</VersionId><IsLatest>false</IsLatest>"
                        "<LastModified>2024-01-01T00:00:00.000Z</LastModified><Size>7</Size></Version>"
                        "<Version><Key>d</Key></Version></ListVersionsResult>"))
        self.assertEqual(self.s3("ls", "bucket", "--versions").out,
                         "     deleted  2024-01-02T00:00:00.000Z  current  v2  a+b c\n"
                         "           7  2024-01-01T00:00:00.000Z  old      v1  a+b c\n"
                         "           -    old        d\n")
        self.assertEqual(self.sent(), [("GET", "/bucket?versions&encoding-type=url")])

    def test_versions_with_unreadable_keys_are_named(self):
        self.serve(page("<ListVersionsResult><Version><Key>a&#1;</Key></Version></ListVersionsResult>"))
        self.assertIn("NOT listed: a", self.s3("ls", "bucket", "--versions", code=1).err)

    def test_what_was_listed_before_an_error_is_told(self):
        more = "<IsTruncated>true</IsTruncated>"
        self.serve(uploads(("a&#1;", "0", ""), ("b", "1", ""), more=more), Fault(status=403, code="AccessDenied"))
        result = self.s3("uploads", "ls", "bucket", code=4)
        self.assertEqual(result.out, "  1  b\n")
        self.assertIn("NOT listed: a", result.err)
        self.serve(page(f"<ListVersionsResult>{more}<Version><Key>a&#1;</Key></Version>"
                        "<Version><Key>b</Key><VersionId>1</VersionId></Version></ListVersionsResult>"),
                   Fault(status=403, code="AccessDenied"))
        result = self.s3("ls", "bucket", "--versions", code=4)
        self.assertIn("  1  b\n", result.out)
        self.assertIn("NOT listed: a", result.err)

    # ---- buckets

    def test_buckets_are_listed(self):
        self.serve(page("<ListAllMyBucketsResult><Buckets><Bucket><Name>a</Name>"
                        "<CreationDate>2024-01-01T00:00:00.000Z</CreationDate></Bucket></Buckets>"
                        "<ContinuationToken>t</ContinuationToken></ListAllMyBucketsResult>"),
                   page("<ListAllMyBucketsResult><Buckets><Bucket><Name>b</Name></Bucket></Buckets>"
                        "</ListAllMyBucketsResult>"))
        self.assertEqual(self.s3("buckets").out, "2024-01-01T00:00:00.000Z  a\n  b\n")
        self.assertEqual(self.sent(), [("GET", "/"), ("GET", "/?continuation-token=t")])

    def test_an_endless_list_of_buckets_is_an_error(self):
        endless = page("<ListAllMyBucketsResult><ContinuationToken>t</ContinuationToken></ListAllMyBucketsResult>")
        self.serve(endless, endless)
        self.assertIn("The list of buckets goes in a circle.", self.s3("buckets", code=1).err)

    def test_a_list_of_buckets_without_a_bucket_ends(self):
        self.serve(*[page(f"<ListAllMyBucketsResult><ContinuationToken>{number}</ContinuationToken>"
                          "</ListAllMyBucketsResult>") for number in range(1100)])
        self.assertIn("The list of buckets has more than 1000 pages without a bucket.",
                      self.s3("buckets", code=1).err)
        self.assertEqual(len(self.sent()), 1001)

    def test_a_bucket_is_removed(self):
        self.s3("rb", "bucket")
        self.assertEqual(self.sent(), [("DELETE", "/bucket")])
        self.serve(Fault(status=409, code="BucketNotEmpty"))
        self.assertIn("vexil s3 rm --recursive BUCKET", self.s3("rb", "bucket", code=1).err)
        self.serve(Fault(status=404, code="NoSuchBucket"))
        self.s3("rb", "bucket", code=3)
        self.assertIn("bucket name must not be empty", self.s3("rb", "", code=2).err)

    def test_a_bucket_is_made_in_the_region(self):
        self.s3("mb", "bucket", "--signature", "v4", "--region", "eu-central-1")
        self.assertIn(b"<LocationConstraint>eu-central-1</LocationConstraint>", self.server.bodies[-1])
        self.s3("mb", "bucket", "--signature", "v4")
        self.assertEqual(self.server.bodies[-1], b"")

    # ---- presigned URLs

    def test_a_url_is_printed_and_nothing_else(self):
        result = self.s3("presign", "bucket", "a/ü +", "--signature", "v4", "--expires", "7d")
        self.assertEqual(result.err, "")
        self.assertEqual(result.out.count("\n"), 1)
        url = urllib.parse.urlsplit(result.out.strip())
        query = urllib.parse.parse_qs(url.query)
        self.assertEqual(url.path, "/bucket/a/%C3%BC%20%2B")
        self.assertEqual(query["X-Amz-Expires"], ["604800"])
        self.assertIn("X-Amz-Signature", query)
        self.assertNotIn(SECRET, result.out)
        self.assertEqual(self.sent(), [])
        result = self.s3("presign", "bucket", "k", "--signature", "v2")
        self.assertRegex(result.out, r"^\S+/bucket/k\?AWSAccessKeyId=access&Expires=\d+&Signature=\S+\n$")

    def test_methods_have_different_signatures(self):
        urls = {self.s3("presign", "bucket", "k", "--signature", "v2", "--method", method).out.split("Signature=")[1]
                for method in ("GET", "PUT")}
        self.assertEqual(len(urls), 2)

    def test_wrong_arguments_are_wrong_usage(self):
        for arguments, text in ((["--expires", "1y"], "--expires: '1y' is not a duration such as 90s, 30m, 12h or 7d"),
                                (["--expires", "0s"], "the validity must be"),
                                (["--expires", "8d", "--signature", "v4"], "the validity must be 1 second to 7 days"),
                                (["--method", "DELETE"], "--method: 'DELETE' is not one of GET, PUT")):
            self.assertIn(text, self.s3("presign", "bucket", "k", *arguments, code=2).err)
        self.assertIn("object name must not be empty", self.s3("presign", "bucket", "", code=2).err)


if __name__ == "__main__":
    unittest.main(verbosity=2)
