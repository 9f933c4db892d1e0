"""The S3 commands with signature version 4, their default, against a server that verifies each signature."""

import hashlib
import http.client
import os
import sys
import unittest

import botocore.auth
import botocore.awsrequest
import botocore.credentials

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "servers"))

from fake_s3 import FakeS3, Fault
from program import SECRET, FakeServerTest
from verifying_s3 import VerifyingS3


class SignatureTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        for name in list(self.environment):
            if name.startswith("AWS_") or name in ("VEXIL_S3_REGION", "VEXIL_S3_SESSION_TOKEN"):
                del self.environment[name]
        self.front = VerifyingS3(self.server.endpoint, "access", SECRET)
        self.addCleanup(self.front.close)
        self.environment["VEXIL_S3_ENDPOINT"] = self.front.endpoint

    def redirect(self, location, status=307):
        return Fault(status=status, code="TemporaryRedirect", page=b"", location=location)

    def s3(self, *arguments, code=0):
        return self.run_program("s3", *arguments, code=code)

    def test_all_commands(self):
        (self.folder / "file").write_bytes(b"content")
        key = "folder/a b+c%2F~ü//../.€&=?#"
        self.s3("put", "file", "bucket", key)
        self.s3("get", "bucket", key, "copy")
        self.assertEqual((self.folder / "copy").read_bytes(), b"content")
        self.assertIn(key, self.s3("ls", "bucket", "folder/").out)
        self.s3("head", "bucket", key)
        self.s3("rm", "bucket", key)
        for name in "abc":
            self.s3("put", "file", "bucket", "many/" + name)
        self.s3("rm", "-r", "bucket", "many/")
        self.assertEqual(self.server.objects, {})
        self.s3("mb", "bucket")
        self.server.faults[""] = [Fault(status=200, page=page) for page in (
            b"<ListAllMyBucketsResult/>", b"<ListVersionsResult/>",
            b"<ListMultipartUploadsResult><Upload><Key>a b</Key><UploadId>i+d</UploadId></Upload>"
            b"</ListMultipartUploadsResult>")]
        self.s3("buckets")
        self.s3("ls", "--versions", "bucket", "p/")
        self.s3("uploads", "abort", "bucket")
        self.s3("rb", "bucket")
        self.assertEqual(self.front.refused, [])

    def test_backup_in_another_region_behind_a_wrong_clock(self):
        self.front.region = "eu-central-1"
        self.front.clock_offset = 7200
        (self.folder / "folder").mkdir()
        for i in range(20):
            (self.folder / "folder" / str(i)).write_text(str(i))
        result = self.s3("backup", "folder", "bucket", "backup/")
        self.assertEqual(len(self.server.objects), 20)
        self.assertEqual(set(self.front.refused), {"AuthorizationHeaderMalformed", "RequestTimeTooSkewed"})
        self.assertIn("clock differs", result.err)
        self.front.refused.clear()
        self.s3("restore", "--region", "eu-central-1", "bucket", "backup/", "restored")
        self.assertEqual((self.folder / "restored" / "19").read_text(), "19")
        self.assertNotIn("AuthorizationHeaderMalformed", self.front.refused)

    def test_region_of_the_environment(self):
        self.front.region = "eu-west-1"
        self.environment["AWS_REGION"] = "eu-west-1"
        self.s3("ls", "bucket")
        self.environment["AWS_REGION"] = "other"
        self.environment["VEXIL_S3_REGION"] = "eu-west-1"
        self.s3("ls", "bucket")
        self.assertEqual(self.front.refused, [])
        self.environment["VEXIL_S3_REGION"] = "eu/west"
        self.assertIn("the region 'eu/west' cannot be used", self.s3("ls", "bucket", code=2).err)

    def test_wanted_version_is_told(self):
        result = self.s3("ls", "--signature", "v2", "bucket", code=4)
        self.assertIn("give --signature v4", result.err)
        self.assertEqual(self.front.refused, ["InvalidRequest"])
        self.assertIn("--region needs --signature v4",
                      self.s3("ls", "--signature", "v2", "--region", "x", "bucket", code=2).err)
        self.assertIn("is not one of v2, v4", self.s3("ls", "--signature", "v3", "bucket", code=2).err)

    def test_token_of_temporary_keys(self):
        self.front.token = "token/+=="
        self.environment["VEXIL_S3_SESSION_TOKEN"] = "token/+=="
        log = self.folder / "log.xml"
        self.s3("ls", "--verbose-log", "log.xml", "bucket")
        text = log.read_text()
        self.assertNotIn("token/+==", text)
        self.assertNotIn("Signature=", text)
        self.assertNotIn("Credential=", text)
        del self.environment["VEXIL_S3_SESSION_TOKEN"]
        self.s3("ls", "bucket", code=1)

    def test_keys_of_other_tools(self):
        ours = {name: self.environment.pop(name) for name in ("VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY")}
        self.front.token = "t"
        self.environment.update(AWS_ACCESS_KEY_ID="access", AWS_SECRET_ACCESS_KEY=SECRET, AWS_SESSION_TOKEN="t")
        self.s3("ls", "bucket")
        del self.environment["AWS_SECRET_ACCESS_KEY"]
        self.assertIn("AWS_SECRET_ACCESS_KEY", self.s3("ls", "bucket", code=2).err)
        self.front.token = ""
        self.environment.update(ours)
        self.s3("ls", "bucket")

    def test_profile(self):
        credentials = self.folder / "credentials"
        credentials.write_text("[a]\naws_access_key_id=access\naws_secret_access_key=%s\n" % SECRET)
        self.environment["AWS_SHARED_CREDENTIALS_FILE"] = str(credentials)
        self.environment["VEXIL_S3_SECRET_KEY"] = "wrong"
        self.s3("ls", "--profile", "a", "bucket")
        self.assertIn("has no profile 'b'", self.s3("ls", "--profile", "b", "bucket", code=2).err)
        self.assertIn("exclude each other", self.s3("ls", "--profile", "a", "--credentials", "x", "bucket", code=2).err)
        for name in ("VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY"):
            del self.environment[name]
        self.environment["AWS_PROFILE"] = "a"
        self.s3("ls", "bucket")

    def test_token_of_a_file(self):
        self.front.token = "token/+=="
        keys = self.write("keys", b"session_token = token/+==\naccess_key=access\nsecret_key=" + SECRET.encode())
        keys.chmod(0o600)
        self.environment["VEXIL_S3_SESSION_TOKEN"] = "not of the file"
        self.s3("ls", "--credentials", "keys", "bucket")
        self.write("keys", b"access_key=access\nsecret_key=" + SECRET.encode())
        self.s3("ls", "--credentials", "keys", "bucket", code=1)
        self.write("keys", b"token=x\n")
        self.assertIn("begins neither with 'access_key=' nor with 'secret_key=' nor with 'session_token='",
                      self.s3("ls", "--credentials", "keys", "bucket", code=2).err)

    def test_version_2_is_told_to_the_user_of_an_old_service(self):
        message = b"<Error><Code>InvalidArgument</Code><Message>Unsupported Authorization Type</Message></Error>"
        self.write("folder/a")
        self.environment["VEXIL_S3_ENDPOINT"] = self.server.endpoint
        for key, arguments in (("?prefix=", ("ls", "bucket")), ("a", ("put", "folder/a", "bucket", "a")),
                               ("backup/a", ("backup", "folder", "bucket", "backup/"))):
            self.server.faults[key] = [Fault(status=400, page=message) for _ in range(20)]
            self.server.requests.clear()
            self.assertIn("give --signature v2", self.s3(*arguments, code=4).err)
            self.assertTrue(all(headers["Authorization"].startswith("AWS4-HMAC-SHA256 ")
                                for _, _, headers in self.server.requests), "no other version is tried")

    def test_queue_follows_redirects_within_the_host(self):
        self.write("folder/file", b"content")
        self.server.faults["backup/file"] = [self.redirect("/bucket/backup/other"), self.redirect("/bucket/backup/file")]
        self.server.faults["backup/other"] = [self.redirect("/bucket/backup/a%20b", 308)]
        self.server.faults["backup/a b"] = [Fault(status=503), None]
        self.s3("backup", "--retries", "1", "folder", "bucket", "backup/")
        self.assertEqual(self.server.objects, {"backup/a b": b"content"})
        self.assertEqual(self.server.puts(), ["backup/file", "backup/other", "backup/a b", "backup/a b"])
        self.server.objects["real"] = b"CONTENT"
        self.server.faults["backup/a b"] = [self.redirect("/bucket/real")]
        self.s3("restore", "--retries", "0", "bucket", "backup/", "restored")
        self.assertEqual(self.files_in("restored"), {"a b": b"CONTENT"})
        self.assertEqual(self.front.refused, [])

    def test_limits_of_redirects_and_corrections(self):
        """Neither the commands nor their queue do more than five redirects and two corrections."""
        self.write("folder/file", b"content")
        for arguments in (("put", "folder/file", "bucket", "k/file"), ("backup", "folder", "bucket", "k/"),
                          ("head", "bucket", "k/file")):
            self.server.faults["k/file"] = [self.redirect("/bucket/k/file") for _ in range(20)]
            self.server.requests.clear()
            self.s3(*arguments, code=None)
            self.assertEqual(len([key for _, key, _ in self.server.requests if key == "k/file"]), 6, arguments)
        self.server.faults.clear()
        self.server.objects.clear()
        for arguments in (("put", "folder/file", "bucket", "k/file"), ("ls", "bucket"),
                          ("backup", "folder", "bucket", "k/"), ("head", "bucket", "k/file")):
            self.front.moving_region = 0
            self.front.refused.clear()
            error = self.s3(*arguments, code=None).err
            self.assertIn("give --region region-3", error, arguments)
            self.assertEqual(self.front.refused, 3 * ["AuthorizationHeaderMalformed"], arguments)
        self.assertEqual(self.server.objects, {})

    def test_no_region_without_a_reason(self):
        """A service names the region of the bucket also when it refuses something else."""
        self.server.faults["k"] = [Fault(status=403, page=b"", region="us-east-1"),
                                   Fault(status=400, page=b"", region="eu west")]
        for _ in range(2):
            self.assertNotIn("--region", self.s3("head", "bucket", "k", code=None).err)
        self.server.faults["k"] = [Fault(status=404, page=b"", region="eu-west")]
        self.assertNotIn("--region", self.s3("head", "bucket", "k", code=3).err)

    def test_no_redirect_to_another_host(self):
        other = FakeS3()
        self.addCleanup(other.close)
        self.write("folder/file", b"content")
        for location in (other.endpoint + "/bucket/k/file", "https" + self.front.endpoint[4:] + "/bucket/k/file"):
            for arguments in (("put", "folder/file", "bucket", "k/file"), ("backup", "folder", "bucket", "k/")):
                self.server.faults["k/file"] = [self.redirect(location)]
                self.s3(*arguments, code=1)
        self.assertEqual(other.requests, [])
        self.assertEqual(self.server.objects, {})

    def test_wrong_secret(self):
        self.environment["VEXIL_S3_SECRET_KEY"] = "wrong"
        self.s3("ls", "bucket", code=4)
        self.assertEqual(self.front.refused, ["SignatureDoesNotMatch"])


class FrontTest(FakeServerTest):
    """The server of these tests does verify."""

    def setUp(self):
        super().setUp()
        self.front = VerifyingS3(self.server.endpoint, "access", SECRET)
        self.addCleanup(self.front.close)

    def put(self, body=b"content", sent_body=None, headers=(), unsigned=()):
        request = botocore.awsrequest.AWSRequest(method="PUT", url=self.front.endpoint + "/bucket/k", data=body)
        for name, value in headers:
            request.headers[name] = value
        credentials = botocore.credentials.Credentials("access", SECRET)
        botocore.auth.S3SigV4Auth(credentials, "s3", "us-east-1").add_auth(request)
        connection = http.client.HTTPConnection(*self.front.server.server_address, timeout=60)
        self.addCleanup(connection.close)
        connection.request("PUT", "/bucket/k", sent_body or body, {**request.headers, **dict(unsigned)})
        response = connection.getresponse()
        self.document = response.read().decode()
        return response.status

    def test_valid_requests_pass(self):
        self.assertEqual(self.put(headers=[("x-amz-meta-a", "1")]), 200)
        self.assertEqual(self.server.objects["k"], b"content")

    def test_altered_requests_do_not_pass(self):
        self.assertEqual(self.put(sent_body=b"altered"), 400)
        self.assertIn("<S3ComputedContentSHA256>" + hashlib.sha256(b"altered").hexdigest() + "<", self.document)
        self.assertEqual(self.put(unsigned=[("x-amz-meta-a", "1")]), 403)
        self.assertIn("<HeadersNotSigned>x-amz-meta-a<", self.document)
        self.assertEqual(self.put(headers=[("x-amz-meta-a", "1")], unsigned=[("x-amz-meta-a", "2")]), 403)
        self.assertIn("<StringToSign>AWS4-HMAC-SHA256\n", self.document)
        self.assertIn("<CanonicalRequest>PUT\n/bucket/k\n\n", self.document)
        self.assertIn("\nx-amz-meta-a:2\n", self.document)
        self.front.clock_offset = -1000
        self.assertEqual(self.put(), 403)
        self.assertIn("<MaxAllowedSkewMilliseconds>900000<", self.document)
        self.front.region = "other"
        self.assertEqual(self.put(), 400)
        self.assertIn("<Region>other</Region>", self.document)
        self.assertEqual(self.front.refused, ["XAmzContentSHA256Mismatch", "AccessDenied", "SignatureDoesNotMatch",
                                              "RequestTimeTooSkewed", "AuthorizationHeaderMalformed"])
        self.assertEqual(self.server.objects, {})

    def presign(self, method, path="/bucket/a%20b", expires=600, region="us-east-1", key="access"):
        """A URL that botocore has signed: path and query."""
        request = botocore.awsrequest.AWSRequest(method=method, url=self.front.endpoint + path)
        signer = botocore.auth.S3SigV4QueryAuth(botocore.credentials.Credentials(key, SECRET), "s3", region, expires)
        signer.add_auth(request)
        return request.url.removeprefix(self.front.endpoint)

    def send(self, method, target, body=None, headers=()):
        connection = http.client.HTTPConnection(*self.front.server.server_address, timeout=60)
        self.addCleanup(connection.close)
        connection.request(method, target, body, dict(headers))
        response = connection.getresponse()
        self.document = response.read().decode()
        return response.status

    def test_presigned_urls_pass(self):
        self.assertEqual(self.send("PUT", self.presign("PUT"), b"content"), 200)
        self.assertEqual(self.server.objects["a b"], b"content")
        self.assertEqual((self.send("GET", self.presign("GET")), self.document), (200, "content"))
        self.assertEqual(self.send("GET", self.presign("GET", "/bucket?prefix=a%20b")), 200)
        self.assertIn("<Key>a b</Key>", self.document)

    def check_refusal(self, status, code, text, method, target, headers=()):
        self.assertEqual(self.send(method, target, headers=headers), status, self.document)
        self.assertIn(f"<Code>{code}</Code>", self.document)
        self.assertIn(text, self.document)

    def test_altered_presigned_urls_do_not_pass(self):
        self.server.objects = {"a b": b"content", "c": b"secret"}
        get = self.presign("GET")
        last = "0" if get[-1] != "0" else "1"
        for method, target in (("PUT", get), ("GET", get.replace("a%20b", "c")), ("GET", get[:-1] + last),
                               ("GET", get.replace("Expires=600", "Expires=601")), ("GET", get + "&versionId=1")):
            self.check_refusal(403, "SignatureDoesNotMatch", "<CanonicalRequest>" + method, method, target)
        self.check_refusal(403, "AccessDenied", "<HeadersNotSigned>x-amz-acl<", "GET", get, {"x-amz-acl": "private"})
        self.check_refusal(400, "AuthorizationQueryParametersError", "requires the X-Amz-Algorithm", "GET",
                           get.replace("X-Amz-Expires=600&", ""))
        self.assertEqual((self.front.passed, self.server.requests), ([], []))

    def test_presigned_urls_are_valid_for_their_time_region_and_keys(self):
        for seconds, status, text in ((500, 404, "NoSuchKey"), (700, 403, "Request has expired"),
                                      (-800, 404, "NoSuchKey"), (-1000, 403, "Request is not yet valid")):
            self.front.clock_offset = seconds
            self.assertEqual(self.send("GET", self.presign("GET")), status)
            self.assertIn(text, self.document)
        self.front.clock_offset = 0
        self.check_refusal(400, "AuthorizationQueryParametersError", "X-Amz-Expires", "GET",
                           self.presign("GET", expires=604801))
        self.check_refusal(400, "AuthorizationQueryParametersError", "<Region>us-east-1</Region>", "GET",
                           self.presign("GET", region="other"))
        self.check_refusal(403, "InvalidAccessKeyId", "", "GET", self.presign("GET", key="other"))


if __name__ == "__main__":
    unittest.main()
