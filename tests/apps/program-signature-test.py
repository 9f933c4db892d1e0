"""The S3 commands with signature version 4, against a server that verifies each signature."""

import http.client
import os
import sys
import unittest

import botocore.auth
import botocore.awsrequest
import botocore.credentials

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "servers"))

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

    def s3(self, *arguments, code=0):
        return self.run_program("s3", *arguments, code=code)

    def test_all_commands(self):
        (self.folder / "file").write_bytes(b"content")
        key = "folder/a b+c%2F~ü//../.€&=?#"
        self.s3("put", "--signature", "v4", "file", "bucket", key)
        self.s3("get", "--signature", "v4", "bucket", key, "copy")
        self.assertEqual((self.folder / "copy").read_bytes(), b"content")
        self.assertIn(key, self.s3("ls", "--signature", "v4", "bucket", "folder/").out)
        self.s3("head", "--signature", "v4", "bucket", key)
        self.s3("rm", "--signature", "v4", "bucket", key)
        for name in "abc":
            self.s3("put", "--signature", "v4", "file", "bucket", "many/" + name)
        self.s3("rm", "--signature", "v4", "-r", "bucket", "many/")
        self.assertEqual(self.server.objects, {})
        self.assertEqual(self.front.refused, [])

    def test_backup_in_another_region_behind_a_wrong_clock(self):
        self.front.region = "eu-central-1"
        self.front.clock_offset = 7200
        (self.folder / "folder").mkdir()
        for i in range(20):
            (self.folder / "folder" / str(i)).write_text(str(i))
        result = self.s3("backup", "--signature", "v4", "folder", "bucket", "backup/")
        self.assertEqual(len(self.server.objects), 20)
        self.assertEqual(set(self.front.refused), {"AuthorizationHeaderMalformed", "RequestTimeTooSkewed"})
        self.assertIn("clock differs", result.err)
        self.front.refused.clear()
        self.s3("restore", "--signature", "v4", "--region", "eu-central-1", "bucket", "backup/", "restored")
        self.assertEqual((self.folder / "restored" / "19").read_text(), "19")
        self.assertNotIn("AuthorizationHeaderMalformed", self.front.refused)

    def test_region_of_the_environment(self):
        self.front.region = "eu-west-1"
        self.environment["AWS_REGION"] = "eu-west-1"
        self.s3("ls", "--signature", "v4", "bucket")
        self.environment["AWS_REGION"] = "other"
        self.environment["VEXIL_S3_REGION"] = "eu-west-1"
        self.s3("ls", "--signature", "v4", "bucket")
        self.assertEqual(self.front.refused, [])
        self.environment["VEXIL_S3_REGION"] = "eu/west"
        self.assertIn("the region 'eu/west' cannot be used", self.s3("ls", "--signature", "v4", "bucket", code=2).err)

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
        self.s3("ls", "--signature", "v4", "--verbose-log", "log.xml", "bucket")
        text = log.read_text()
        self.assertNotIn("token/+==", text)
        self.assertNotIn("Signature=", text)
        self.assertNotIn("Credential=", text)
        del self.environment["VEXIL_S3_SESSION_TOKEN"]
        self.s3("ls", "--signature", "v4", "bucket", code=1)

    def test_keys_of_other_tools(self):
        ours = {name: self.environment.pop(name) for name in ("VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY")}
        self.front.token = "t"
        self.environment.update(AWS_ACCESS_KEY_ID="access", AWS_SECRET_ACCESS_KEY=SECRET, AWS_SESSION_TOKEN="t")
        self.s3("ls", "--signature", "v4", "bucket")
        del self.environment["AWS_SECRET_ACCESS_KEY"]
        self.assertIn("AWS_SECRET_ACCESS_KEY", self.s3("ls", "--signature", "v4", "bucket", code=2).err)
        self.front.token = ""
        self.environment.update(ours)
        self.s3("ls", "--signature", "v4", "bucket")

    def test_profile(self):
        credentials = self.folder / "credentials"
        credentials.write_text("[a]\naws_access_key_id=access\naws_secret_access_key=%s\n" % SECRET)
        self.environment["AWS_SHARED_CREDENTIALS_FILE"] = str(credentials)
        self.environment["VEXIL_S3_SECRET_KEY"] = "wrong"
        self.s3("ls", "--signature", "v4", "--profile", "a", "bucket")
        self.assertIn("has no profile 'b'", self.s3("ls", "--profile", "b", "bucket", code=2).err)
        self.assertIn("exclude each other", self.s3("ls", "--profile", "a", "--credentials", "x", "bucket", code=2).err)
        for name in ("VEXIL_S3_ACCESS_KEY", "VEXIL_S3_SECRET_KEY"):
            del self.environment[name]
        self.environment["AWS_PROFILE"] = "a"
        self.s3("ls", "--signature", "v4", "bucket")

    def test_wrong_secret(self):
        self.environment["VEXIL_S3_SECRET_KEY"] = "wrong"
        self.s3("ls", "--signature", "v4", "bucket", code=4)
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
        return connection.getresponse().status

    def test_valid_requests_pass(self):
        self.assertEqual(self.put(headers=[("x-amz-meta-a", "1")]), 200)
        self.assertEqual(self.server.objects["k"], b"content")

    def test_altered_requests_do_not_pass(self):
        self.assertEqual(self.put(sent_body=b"altered"), 400)
        self.assertEqual(self.put(unsigned=[("x-amz-meta-a", "1")]), 403)
        self.assertEqual(self.put(headers=[("x-amz-meta-a", "1")], unsigned=[("x-amz-meta-a", "2")]), 403)
        self.front.clock_offset = -1000
        self.assertEqual(self.put(), 403)
        self.front.region = "other"
        self.assertEqual(self.put(), 400)
        self.assertEqual(self.front.refused, ["XAmzContentSHA256Mismatch", "AccessDenied", "SignatureDoesNotMatch",
                                              "RequestTimeTooSkewed", "AuthorizationHeaderMalformed"])
        self.assertEqual(self.server.objects, {})


if __name__ == "__main__":
    unittest.main()
