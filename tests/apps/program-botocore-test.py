"""The S3 commands against independent implementations, with a real server: boto3 as another client of the same bucket, and
a front that verifies each signature with botocore."""

import io
import os
import sys
import unittest
import urllib.request

# For all versions of botocore: the server knows no checksums at the end of a body.
os.environ.update(AWS_REQUEST_CHECKSUM_CALCULATION="when_required", AWS_RESPONSE_CHECKSUM_VALIDATION="when_required",
                  AWS_EC2_METADATA_DISABLED="true", AWS_CONFIG_FILE=os.devnull, AWS_SHARED_CREDENTIALS_FILE=os.devnull)

import boto3  # noqa: E402
import boto3.s3.transfer  # noqa: E402
import botocore.config  # noqa: E402

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "servers"))

from program import ProgramTest  # noqa: E402
from verifying_s3 import VerifyingS3, make_certificates  # noqa: E402

ENDPOINT = os.environ["VEXIL_S3_ENDPOINT"]
KEYS = os.environ["VEXIL_S3_ACCESS_KEY"], os.environ["VEXIL_S3_SECRET_KEY"]
BUCKET = "botocore-test"
PART = 5 << 20
# Not "." and "..": boto3 cannot address them.
ODD_KEYS = ["a", "a b", "a+b", "a%2Fb", "ä/日本/\U0001F600", "~!@$^()[]{}';,&=?#", "x//y", "/first", "end/", "*-_.", "\"<>\\|`"]


class BotocoreTest(ProgramTest):
    def setUp(self):
        super().setUp()
        for name in list(self.environment):
            if name.startswith("AWS_"):
                del self.environment[name]
        self.environment.update(VEXIL_S3_ENDPOINT=ENDPOINT, VEXIL_S3_ACCESS_KEY=KEYS[0], VEXIL_S3_SECRET_KEY=KEYS[1])
        self.boto = boto3.client(
            "s3", endpoint_url=ENDPOINT, aws_access_key_id=KEYS[0], aws_secret_access_key=KEYS[1], region_name="us-east-1",
            config=botocore.config.Config(signature_version="s3v4", s3={"addressing_style": "path"}, proxies={}))
        self.boto.create_bucket(Bucket=BUCKET)
        self.addCleanup(self.empty_bucket)

    def objects(self):
        """The objects of the bucket as boto3 sees them."""
        pages = self.boto.get_paginator("list_objects_v2").paginate(Bucket=BUCKET)
        keys = [entry["Key"] for page in pages for entry in page.get("Contents", [])]
        return {key: self.boto.get_object(Bucket=BUCKET, Key=key)["Body"].read() for key in keys}

    def empty_bucket(self):
        for key in self.objects():
            self.boto.delete_object(Bucket=BUCKET, Key=key)


class OtherClientTest(BotocoreTest):
    def test_boto3_reads_what_vexil_stores(self):
        for key in ODD_KEYS:
            self.write("file", key.encode())
            self.run_program("s3", "put", "file", BUCKET, key, "--content-type", "text/x-test")
            self.assertEqual(self.boto.head_object(Bucket=BUCKET, Key=key)["ContentType"], "text/x-test")
        self.write("file", b"")
        self.run_program("s3", "put", "file", BUCKET, "empty")
        self.assertEqual(self.objects(), {**{key: key.encode() for key in ODD_KEYS}, "empty": b""})
        for key in [*ODD_KEYS, "empty"]:
            self.run_program("s3", "rm", BUCKET, key)
        self.assertEqual(self.objects(), {})

    def test_vexil_reads_what_boto3_stores(self):
        for key in ODD_KEYS:
            self.boto.put_object(Bucket=BUCKET, Key=key, Body=key.encode(), ContentType="text/x-test",
                                 Metadata={"color": "blue"})
            self.assertEqual(self.run_program("s3", "get", BUCKET, key).raw_out, key.encode())
            headers = self.run_program("s3", "head", BUCKET, key).out
            self.assertIn("\nx-amz-meta-color: blue\n", headers)
            self.assertIn("\ncontent-type: text/x-test\n", headers)
        self.boto.put_object(Bucket=BUCKET, Key="empty", Body=b"")
        self.assertEqual(self.run_program("s3", "get", BUCKET, "empty").raw_out, b"")
        listed = self.run_program("s3", "ls", BUCKET).out.splitlines()
        self.assertEqual({line.split(maxsplit=2)[2] for line in listed}, {*ODD_KEYS, "empty"})

    def test_object_of_several_parts(self):
        body = os.urandom(2 * PART + 12345)
        self.boto.upload_fileobj(io.BytesIO(body), BUCKET, "parts", Config=boto3.s3.transfer.TransferConfig(
            multipart_threshold=PART, multipart_chunksize=PART))
        self.assertIn("-3", self.boto.head_object(Bucket=BUCKET, Key="parts")["ETag"])
        self.run_program("s3", "get", BUCKET, "parts", "back")
        self.assertTrue(self.read("back") == body)
        self.run_program("s3", "cp", BUCKET, "parts", "copy")
        self.assertTrue(self.objects() == {"parts": body, "copy": body})

    def test_restore_of_an_object_of_several_parts(self):
        bodies = {"big": os.urandom(3 * PART + 9), "small": b"1"}
        in_parts = boto3.s3.transfer.TransferConfig(multipart_threshold=PART, multipart_chunksize=PART)
        for name, body in bodies.items():
            self.boto.upload_fileobj(io.BytesIO(body), BUCKET, "boto parts/" + name, Config=in_parts)
        self.run_program("s3", "restore", BUCKET, "boto parts", "restored parts")
        self.assertTrue(self.files_in("restored parts") == bodies)

    def test_backups(self):
        files = {"a": b"a", "empty": b"", "sub/ü 1+%&#=.txt": b"x" * 100000, "sub/deep/~!@$^()[]{}';,": b"y"}
        for name, body in files.items():
            self.write("folder/" + name, body)
            self.boto.put_object(Bucket=BUCKET, Key="by boto3/" + name, Body=body)
        self.run_program("s3", "backup", "folder", BUCKET, "by vexil")
        self.assertEqual(self.objects(), {place + "/" + name: body for name, body in files.items()
                                          for place in ("by boto3", "by vexil")})
        self.run_program("s3", "restore", BUCKET, "by boto3", "restored")
        self.assertEqual(self.files_in("restored"), files)

    def test_presigned_urls_of_boto3(self):
        self.write("file", b"by a URL")
        key = "ä b/+%&"
        url = self.boto.generate_presigned_url("put_object", {"Bucket": BUCKET, "Key": key}, ExpiresIn=600)
        self.assertIn("X-Amz-Signature=", url)
        self.run_program("http", "put", "file", url)
        self.assertEqual(self.objects(), {key: b"by a URL"})
        url = self.boto.generate_presigned_url("get_object", {"Bucket": BUCKET, "Key": key}, ExpiresIn=600)
        self.assertEqual(self.run_program("http", "get", url).raw_out, b"by a URL")
        self.assertNotEqual(self.run_program("http", "get", url.replace("Expires=600", "Expires=601"), code=None).code, 0)

    def presign(self, method, key):
        return self.run_program("s3", "presign", "--method", method, BUCKET, key).out.strip()

    def test_presigned_urls_of_vexil(self):
        for key in ODD_KEYS:
            with urllib.request.urlopen(urllib.request.Request(self.presign("PUT", key), key.encode(), method="PUT"),
                                        timeout=60) as response:
                self.assertEqual(response.status, 200)
            with urllib.request.urlopen(self.presign("GET", key), timeout=60) as response:
                self.assertEqual(response.read(), key.encode())
        self.assertEqual(self.objects(), {key: key.encode() for key in ODD_KEYS})


class VerifiedTest(BotocoreTest):
    """All requests pass the front."""

    def begin(self, **settings):
        self.front = VerifyingS3(ENDPOINT, *KEYS, **settings)
        self.addCleanup(self.front.close)
        self.environment["VEXIL_S3_ENDPOINT"] = self.front.endpoint

    def check_backup(self, *options):
        files = {"a": b"a", "empty": b"", "sub/ü 1+%&#=.txt": b"x" * 100000, "sub/deep/..dots": b"y"}
        for name, body in files.items():
            self.write("folder/" + name, body)
        self.run_program("s3", *options, "backup", "folder", BUCKET, "pre fix")
        self.assertEqual(self.objects(), {"pre fix/" + name: body for name, body in files.items()})
        self.run_program("s3", *options, "restore", BUCKET, "pre fix", "restored")
        self.assertEqual(self.files_in("restored"), files)
        self.run_program("s3", *options, "cp", BUCKET, "pre fix/a", "copy")
        self.run_program("s3", *options, "head", BUCKET, "copy")
        self.run_program("s3", *options, "rm", "--recursive", BUCKET, "")
        self.assertEqual(self.objects(), {})

    def test_backup_with_the_bucket_in_the_path(self):
        self.begin()
        self.check_backup()
        self.assertEqual(self.front.refused, [])

    def test_backup_in_another_region_with_a_wrong_clock(self):
        self.begin(region="eu-central-1", clock_offset=-3600, token="token/+==")
        self.environment["VEXIL_S3_SESSION_TOKEN"] = "token/+=="
        self.check_backup()
        self.assertEqual(set(self.front.refused), {"AuthorizationHeaderMalformed", "RequestTimeTooSkewed"})

    def test_backup_over_TLS_with_the_bucket_in_the_host_name(self):
        make_certificates(self.folder / "certificates")
        self.begin(domain="s3.localhost", certificates=str(self.folder / "certificates"))
        options = ["--ca-bundle", "certificates/ca.pem", "--virtual-hosts"]
        self.check_backup(*options)
        self.assertEqual(self.front.refused, [])
        self.assertFalse([path for _, path in self.front.passed if BUCKET in path])

    def test_version_2_has_no_virtual_hosts(self):
        self.begin(domain="s3.localhost")
        self.assertIn("--virtual-hosts needs --signature v4",
                      self.run_program("s3", "--virtual-hosts", "--signature", "v2", "ls", BUCKET, code=2).err)

    def test_wrong_keys_pass_neither_server_nor_front(self):
        self.environment["VEXIL_S3_SECRET_KEY"] = "wrong"
        self.assertIn("SignatureDoesNotMatch", self.run_program("s3", "ls", BUCKET, code=4).err)
        self.begin()
        self.assertIn("SignatureDoesNotMatch", self.run_program("s3", "ls", BUCKET, code=4).err)
        self.assertEqual(self.front.passed, [])


if __name__ == "__main__":
    unittest.main()
