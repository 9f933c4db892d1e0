"""Compares signatures with those of botocore: random requests, and presigned URLs of both versions.

The verifying front of the server tests checks bodies in signed chunks, and finds each altered byte of them.

Usage: s3-botocore-test.py SIGN_TOOL
"""

import datetime
import email.message
import os
import random
import subprocess
import sys
import types
import urllib.parse

import botocore.auth
import botocore.awsrequest
import botocore.credentials

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "servers"))
import verifying_s3  # noqa: E402

REQUESTS = 10_000
PRESIGNED = 1_000

WORDS = "abcXYZ019-._~"
NAME_CHARACTERS = WORDS + "/ !\"#$%&'()*+,:;<=>?@[\\]^`{|}\t\n\x01\x7fäß€😀"
VALUE_CHARACTERS = WORDS + "/ ,;:=\"'()<>@[]{}?!%&*+#\täß€😀"


def text(source, shortest, longest):
    return "".join(random.choice(source) for _ in range(random.randint(shortest, longest)))


class Account:
    def __init__(self):
        self.time = random.randint(0, 4_000_000_000)
        self.region = random.choice(["us-east-1", "eu-central-1", "x", text("abcxyz019-_", 1, 30)])
        self.access_key = text("ABCXYZ019", 1, 20)
        self.secret_key = text(WORDS + "/+=", 1, 40)
        self.token = random.choice(["", "", text(WORDS + "/+=", 1, 500)])
        self.endpoint = random.choice(["http", "https"]) + "://" + random.choice(
            ["s3.amazonaws.com", "host", "host:80", "host:443", "host:9000", "127.0.0.1:8080"])

    def fields(self, version):
        return [str(version), str(self.time), self.region, self.access_key, self.secret_key, self.token]

    def credentials(self):
        return botocore.credentials.Credentials(self.access_key, self.secret_key, self.token or None)


class Clock:
    """The clock that botocore sees. Its versions read it in different ways."""

    now = 0

    @classmethod
    def datetime(cls, *_, **__):
        return datetime.datetime.fromtimestamp(cls.now, datetime.timezone.utc).replace(tzinfo=None)

    @classmethod
    def install(cls):
        botocore.auth.time = types.SimpleNamespace(time=lambda: cls.now)
        if hasattr(botocore.auth, "get_current_datetime"):
            botocore.auth.get_current_datetime = cls.datetime
        else:
            botocore.auth.datetime = types.SimpleNamespace(datetime=types.SimpleNamespace(utcnow=cls.datetime))


def random_headers():
    headers = [("x-amz-meta-" + text("abcxyz-", 1, 10), text(VALUE_CHARACTERS, 1, 40))
               for _ in range(random.randint(0, 3))]
    for name in ("Content-Type", "Content-MD5", "Range", "If-Match", "x-amz-acl", "x-amz-copy-source"):
        if random.random() < 0.2:
            headers.append((random.choice([name, name.lower(), name.upper()]), text(VALUE_CHARACTERS, 1, 40)))
    return [(name, value) for name, value in headers if value.strip()]


def random_query():
    arguments = [(text(NAME_CHARACTERS, 1, 10), text(NAME_CHARACTERS, 0, 10)) for _ in range(random.randint(0, 4))]
    pieces = [urllib.parse.quote(name, safe="") + "=" + urllib.parse.quote(value, safe="") for name, value in arguments]
    if random.random() < 0.1:
        pieces.append(random.choice(["acl", "uploads", "lifecycle", "versions"]))
    return "&".join(pieces)


def random_request():
    """A line for the tool, and what botocore says to the same request."""
    account = Account()
    method = random.choice(["GET", "PUT", "HEAD", "DELETE", "POST"])
    query = random_query()
    url = account.endpoint + "/" + urllib.parse.quote(text(NAME_CHARACTERS, 0, 30), safe="/~") + ("?" + query if query else "")
    headers = random_headers()
    request = botocore.awsrequest.AWSRequest(method=method, url=url, data=text(VALUE_CHARACTERS, 0, 50).encode())
    for name, value in headers:
        request.headers.add_header(name, value)
    Clock.now = account.time
    botocore.auth.S3SigV4Auth(account.credentials(), "s3", account.region).add_auth(request)
    headers.append(("x-amz-content-sha256", request.headers["X-Amz-Content-SHA256"]))
    fields = account.fields(4) + [method, url] + [name + ":" + value for name, value in headers]
    return fields, request.headers["Authorization"]


def random_presigned(version):
    account = Account()
    method = random.choice(["GET", "PUT", "HEAD", "DELETE"])
    bucket = text("abcxyz019-.", 3, 20)
    key = text(NAME_CHARACTERS, 1, 30)
    seconds = random.randint(1, 604800)
    escaped = urllib.parse.quote(key, safe="/~" if version == 4 else "~")
    request = botocore.awsrequest.AWSRequest(method=method, url="%s/%s/%s" % (account.endpoint, bucket, escaped))
    if version == 4:
        signer = botocore.auth.S3SigV4QueryAuth(account.credentials(), "s3", account.region, expires=seconds)
    else:
        signer = botocore.auth.HmacV1QueryAuth(account.credentials(), expires=seconds)
    Clock.now = account.time
    signer.add_auth(request)
    fields = account.fields(version) + [method, "", account.endpoint, bucket, key, str(seconds)]
    return fields, request.url


def normalized(line):
    """The arguments of a URL may have any order."""
    if not line.startswith("http"):
        return line
    url = urllib.parse.urlsplit(line)
    return url._replace(query="").geturl(), sorted(urllib.parse.parse_qsl(url.query, strict_parsing=True))


def is_refused(front, headers, timestamp, body):
    authorization = verifying_s3.CREDENTIAL.match(headers["Authorization"])
    scope = "%s/%s/s3/aws4_request" % authorization.group(2, 3)
    try:
        front.verify_chunks(headers, timestamp, scope, authorization[5], body)
    except verifying_s3.Refusal:
        return True
    return False


def check_chunks(tool):
    account = Account()
    front = verifying_s3.VerifyingS3.__new__(verifying_s3.VerifyingS3)  # without its server
    front.secret_key = account.secret_key
    timestamp = datetime.datetime.fromtimestamp(account.time, datetime.timezone.utc).strftime("%Y%m%dT%H%M%SZ")
    contents = [bytes(random.choices(range(256), k=size)) for size in (1, 65535, 65536, 65537, 131072, 200000)]
    tail = [field.encode().hex() for field in account.fields(4) + ["CHUNKS", "", "http://host", "bucket", "key"]]
    lines = "".join("\t".join(tail + [content.hex()]) + "\n" for content in contents)
    output = subprocess.run([tool], input=lines, capture_output=True, text=True, check=True).stdout.splitlines()
    for content, line in zip(contents, output, strict=True):
        authorization, digits = line.split("\t")
        body = bytes.fromhex(digits)
        headers = email.message.Message()
        headers["Authorization"] = authorization
        headers["x-amz-content-sha256"] = verifying_s3.STREAMING
        headers["x-amz-decoded-content-length"] = str(len(content))
        if is_refused(front, headers, timestamp, body):
            raise SystemExit("%d bytes in chunks are refused" % len(content))
        for at in {0, len(body) - 1, *random.sample(range(len(body)), 20)}:
            altered = body[:at] + bytes([body[at] ^ 1]) + body[at + 1:]
            if not is_refused(front, headers, timestamp, altered):
                raise SystemExit("an altered byte %d of %d is not found" % (at, len(body)))
        if not is_refused(front, headers, timestamp, body[:-1]):
            raise SystemExit("a body without its end is not found")


def main():
    check_chunks(sys.argv[1])
    seed = random.randrange(1 << 32)
    random.seed(seed)
    Clock.install()
    cases = [random_request() for _ in range(REQUESTS)]
    cases += [random_presigned(random.choice([2, 4])) for _ in range(PRESIGNED)]
    lines = "".join("\t".join(field.encode().hex() for field in fields) + "\n" for fields, _ in cases)
    output = subprocess.run([sys.argv[1]], input=lines, capture_output=True, text=True, check=True).stdout.splitlines()
    if len(output) != len(cases):
        raise SystemExit("seed %d: %d lines for %d requests" % (seed, len(output), len(cases)))
    wrong = [(fields, expected, line) for (fields, expected), line in zip(cases, output)
             if normalized(line) != normalized(expected)]
    for fields, expected, line in wrong[:3]:
        print("request  %r\nbotocore %s\nvexil    %s\n" % (fields, expected, line))
    if wrong:
        raise SystemExit("seed %d: %d of %d differ" % (seed, len(wrong), len(cases)))
    print("%d signatures are the same" % len(cases))


main()
