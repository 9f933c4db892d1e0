"""A front of an S3 server that verifies version 4 of each signature with botocore before it passes a request on.

It refuses with the error documents of Amazon: another version, region or clock, an altered body, a header that must be
signed and is not, unknown keys.
"""

import datetime
import hashlib
import http.client
import http.server
import re
import threading
import time
import urllib.parse
from xml.sax.saxutils import escape

import botocore.auth
import botocore.awsrequest
import botocore.credentials

CREDENTIAL = re.compile(r"AWS4-HMAC-SHA256 Credential=([^/]+)/(\d{8})/([^/]+)/s3/aws4_request, "
                        r"SignedHeaders=([^,]+), Signature=([0-9a-f]{64})$")
LARGEST_SKEW = 900  # seconds


class Refusal(Exception):
    def __init__(self, status, code, message="", extra="", headers=()):
        super().__init__(code)
        self.status, self.code, self.message, self.extra, self.headers = status, code, message, extra, headers


class VerifyingS3:
    """`backend` is the endpoint to which valid requests go. Members may be changed at any time."""

    def __init__(self, backend, access_key, secret_key, region="us-east-1", token="", clock_offset=0):
        self.backend = urllib.parse.urlsplit(backend)
        self.access_key, self.secret_key, self.token = access_key, secret_key, token
        self.region = region
        self.moving_region = None  # a number: each request is for the wrong region, the next one
        self.clock_offset = clock_offset  # seconds that this server's clock is ahead
        self.passed = []  # (method, path) of valid requests
        self.refused = []  # S3 codes
        front = self

        class Handler(_Handler):
            server_object = front

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        self.endpoint = "http://127.0.0.1:%d" % self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, args=(0.02,), daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()

    def now(self):
        return time.time() + self.clock_offset

    def verify(self, method, target, headers, body):
        """Raises a Refusal unless the signature is valid."""
        authorization = headers.get("Authorization", "")
        if authorization.startswith("AWS "):
            raise Refusal(400, "InvalidRequest", "The authorization mechanism you have provided is not supported. "
                                                 "Please use AWS4-HMAC-SHA256.")
        found = CREDENTIAL.match(authorization)
        if not found:
            raise Refusal(403, "AccessDenied", "Access Denied")
        access_key, day, region, names, signature = found.groups()
        if access_key != self.access_key:
            raise Refusal(403, "InvalidAccessKeyId", "The AWS Access Key Id you provided does not exist in our records.")
        if self.moving_region is not None:
            self.moving_region += 1
            self.region = "region-%d" % self.moving_region
        if region != self.region:
            raise Refusal(400, "AuthorizationHeaderMalformed",
                          "The authorization header is malformed; the region '%s' is wrong; expecting '%s'"
                          % (region, self.region), "<Region>%s</Region>" % escape(self.region),
                          [("x-amz-bucket-region", self.region)])
        timestamp = headers.get("x-amz-date", "")
        self.verify_time(timestamp, day)
        signed = names.split(";")
        must = {"host"} | {name.lower() for name in headers if name.lower().startswith("x-amz-")}
        must |= {name for name in ("content-md5", "content-type") if name in headers}
        if not must <= set(signed) or signed != sorted(signed):
            raise Refusal(403, "AccessDenied", "There were headers present in the request which were not signed")
        self.verify_body(headers.get("x-amz-content-sha256"), body)
        if headers.get("x-amz-security-token", "") != self.token:
            raise Refusal(400, "InvalidToken", "The provided token is malformed or otherwise invalid.")
        if signature != self.sign(method, target, headers, signed, timestamp):
            raise Refusal(403, "SignatureDoesNotMatch", "The request signature we calculated does not match the "
                                                        "signature you provided. Check your key and signing method.")

    def verify_time(self, timestamp, day):
        try:
            sent = datetime.datetime.strptime(timestamp, "%Y%m%dT%H%M%SZ").replace(tzinfo=datetime.timezone.utc)
        except ValueError:
            raise Refusal(403, "AccessDenied", "AWS authentication requires a valid Date or x-amz-date header")
        if abs(sent.timestamp() - self.now()) > LARGEST_SKEW or not timestamp.startswith(day):
            raise Refusal(403, "RequestTimeTooSkewed",
                          "The difference between the request time and the current time is too large.")

    @staticmethod
    def verify_body(sent_hash, body):
        if sent_hash is None:
            raise Refusal(400, "InvalidRequest", "Missing required header for this request: x-amz-content-sha256")
        # A body that is not signed needs https, which this front does not speak.
        if sent_hash != hashlib.sha256(body).hexdigest():
            raise Refusal(400, "XAmzContentSHA256Mismatch",
                          "The provided 'x-amz-content-sha256' header does not match what was computed.")

    def sign(self, method, target, headers, signed, timestamp):
        path, _, query = target.partition("?")
        # The service reads the path and writes it in its own form.
        path = urllib.parse.quote(urllib.parse.unquote_to_bytes(path), safe="/-_.~")
        request = botocore.awsrequest.AWSRequest(method=method, url="http://%s%s%s" % (
            headers["Host"], path, "?" + query if query else ""))
        for name in signed:
            for value in headers.get_all(name, []):
                request.headers.add_header(name, value.encode("latin-1").decode())
        signer = botocore.auth.S3SigV4Auth(
            botocore.credentials.Credentials(self.access_key, self.secret_key), "s3", self.region)
        request.context["timestamp"] = timestamp
        return signer.signature(signer.string_to_sign(request, signer.canonical_request(request)), request)


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_object = None

    def log_message(self, *_):
        pass

    def date_time_string(self, timestamp=None):
        return super().date_time_string(self.server_object.now() if timestamp is None else timestamp)

    def handle_request(self):
        front = self.server_object
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        try:
            front.verify(self.command, self.path, self.headers, body)
        except Refusal as refusal:
            front.refused.append(refusal.code)
            return self.refuse(refusal)
        front.passed.append((self.command, self.path))
        return self.pass_on(body)

    do_GET = do_PUT = do_HEAD = do_DELETE = do_POST = handle_request

    def refuse(self, refusal):
        document = ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>%s</Code><Message>%s</Message>%s"
                    "<RequestId>front</RequestId></Error>" % (refusal.code, escape(refusal.message), refusal.extra))
        self.send_response(refusal.status)
        for name, value in refusal.headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(document)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(document.encode())

    def pass_on(self, body):
        backend = self.server_object.backend
        connection = http.client.HTTPConnection(backend.hostname, backend.port, timeout=60)
        try:
            connection.putrequest(self.command, self.path, skip_host=True, skip_accept_encoding=True)
            for name, value in self.headers.items():
                if name.lower() not in ("connection", "expect"):
                    connection.putheader(name, value)
            connection.endheaders(body or None)
            response = connection.getresponse()
            content = response.read()
            self.send_response_only(response.status, response.reason)
            for name, value in response.getheaders():
                if name.lower() not in ("connection", "transfer-encoding", "content-length"):
                    self.send_header(name, value)
            is_bodyless = self.command == "HEAD" or response.status == 204
            length = response.headers.get("Content-Length") if is_bodyless else str(len(content))
            if length is not None:
                self.send_header("Content-Length", length)
            self.end_headers()
            self.wfile.write(content)
        finally:
            connection.close()
