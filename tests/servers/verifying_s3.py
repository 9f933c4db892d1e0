"""A front of an S3 server that verifies version 4 of each signature with botocore before it passes a request on.

It refuses with the error documents of Amazon: another version, region or clock, an altered body, a header that must be
signed and is not, unknown keys, another checksum than a header or a trailer tells. It speaks http or https, and knows buckets
in the path and in the host name. Presigned URLs are verified, too.

A request with the bucket in its path is passed on unchanged, so that the server verifies it, too. Others are signed again.
"""

import datetime
import hashlib
import hmac
import http.client
import http.server
import os
import re
import ssl
import subprocess
import threading
import time
import urllib.parse
from xml.sax.saxutils import escape

import botocore.auth
import botocore.awsrequest
import botocore.credentials

from s3_checksums import Checksums, WrongChecksum

CREDENTIAL = re.compile(r"AWS4-HMAC-SHA256 Credential=([^/]+)/(\d{8})/([^/]+)/s3/aws4_request, "
                        r"SignedHeaders=([^,]+), Signature=([0-9a-f]{64})$")
LARGEST_SKEW = 900  # seconds
LARGEST_VALIDITY = 604800  # seconds of a presigned URL
QUERY_CREDENTIAL = re.compile(r"([^/]+)/(\d{8})/([^/]+)/s3/aws4_request$")
PRESIGNED = {"X-Amz-" + name for name in ("Algorithm", "Credential", "Date", "Expires", "Security-Token", "Signature",
                                          "SignedHeaders")}
STREAMING = "STREAMING-AWS4-HMAC-SHA256-PAYLOAD"
SIGNED_TRAILER = STREAMING + "-TRAILER"
UNSIGNED_TRAILER = "STREAMING-UNSIGNED-PAYLOAD-TRAILER"  # only over https
IN_CHUNKS = (STREAMING, SIGNED_TRAILER, UNSIGNED_TRAILER)
CHUNK_LINE = re.compile(rb"([0-9a-f]+)(?:;chunk-signature=([0-9a-f]{64}))?\r\n")
TRAILER_LINE = re.compile(rb"([a-z0-9-]+):([^\r\n]*)\r\n")
SMALLEST_CHUNK = 8192  # bytes of each chunk, except the last with bytes


class Refusal(Exception):
    def __init__(self, status, code, message="", extra="", headers=()):
        super().__init__(code)
        self.status, self.code, self.message, self.extra, self.headers = status, code, message, extra, headers


class VerifyingS3:
    """`backend` is the endpoint to which valid requests go. Members may be changed at any time."""

    def __init__(self, backend, access_key, secret_key, region="us-east-1", token="", clock_offset=0, domain="",
                 certificates=""):
        """
        `domain`: in the host name BUCKET.DOMAIN; "" for buckets in the path only.
        `certificates`: the folder that certificates.sh has made; "" for http.
        """
        self.backend = urllib.parse.urlsplit(backend)
        self.access_key, self.secret_key, self.token = access_key, secret_key, token
        self.region = region
        self.moving_region = None  # a number: each request is for the wrong region, the next one
        self.clock_offset = clock_offset  # seconds that this server's clock is ahead
        self.passed = []  # (method, path) of valid requests
        self.refused = []  # S3 codes
        self.checksums = Checksums()
        front = self

        class Handler(_Handler):
            server_object = front

        self.domain = domain
        self.is_encrypted = bool(certificates)
        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        if certificates:
            context = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
            context.load_cert_chain(certificates + "/cert.pem", certificates + "/key.pem")
            # The handshake is up to the thread of the connection.
            self.server.socket = context.wrap_socket(self.server.socket, server_side=True, do_handshake_on_connect=False)
        self.endpoint = "%s://%s:%d" % ("https" if certificates else "http", domain or "127.0.0.1",
                                        self.server.server_address[1])
        threading.Thread(target=self.server.serve_forever, args=(0.02,), daemon=True).start()

    def close(self):
        self.server.shutdown()
        self.server.server_close()

    def now(self):
        return time.time() + self.clock_offset

    def find_bucket(self, host):
        """The bucket in a host name; "" if the name has no bucket."""
        name = host.rsplit(":", 1)[0]
        return name[:-len(self.domain) - 1] if self.domain and name.endswith("." + self.domain) else ""

    def verify_request(self, method, target, headers, body):
        """Raises a Refusal unless the signature is valid. Returns the content of the body, and its trailer."""
        if is_presigned(target):
            self.verify_presigned(method, target, headers)
            return body, {}
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
                          % (region, self.region), element("Region", self.region),
                          [("x-amz-bucket-region", self.region)])
        timestamp = headers.get("x-amz-date", "")
        self.verify_time(timestamp, day)
        signed = names.split(";")
        must = {"host"} | {name.lower() for name in headers if name.lower().startswith("x-amz-")}
        must |= {name for name in ("content-md5", "content-type") if name in headers}
        if not must <= set(signed) or signed != sorted(signed):
            raise Refusal(403, "AccessDenied", "There were headers present in the request which were not signed",
                          element("HeadersNotSigned", ", ".join(sorted(must - set(signed)))))
        if headers.get("x-amz-content-sha256") not in IN_CHUNKS:
            self.verify_body(headers.get("x-amz-content-sha256"), body)
        if headers.get("x-amz-security-token", "") != self.token:
            raise Refusal(400, "InvalidToken", "The provided token is malformed or otherwise invalid.")
        canonical_request, string_to_sign, expected = self.sign(method, target, headers, signed, timestamp)
        if signature != expected:
            raise self.mismatch(string_to_sign, signature, canonical_request)
        if headers.get("x-amz-content-sha256") in IN_CHUNKS:
            return self.verify_chunks(headers, timestamp, "%s/%s/s3/aws4_request" % (day, region), signature, body)
        return body, {}

    def verify_presigned(self, method, target, headers):
        """Raises a Refusal unless the signature in the query is valid, for now."""
        query = dict(urllib.parse.parse_qsl(target.partition("?")[2], keep_blank_values=True))
        names = ["X-Amz-" + name for name in ("Algorithm", "Credential", "Signature", "Date", "SignedHeaders", "Expires")]
        if not set(names) <= set(query) or query["X-Amz-Algorithm"] != "AWS4-HMAC-SHA256":
            raise wrong_query("Query-string authentication version 4 requires the %s parameters." % ", ".join(names))
        found = QUERY_CREDENTIAL.match(query["X-Amz-Credential"])
        if not found or not query["X-Amz-Date"].startswith(found[2]):
            raise wrong_query("Error parsing the X-Amz-Credential parameter.")
        if found[1] != self.access_key:
            raise Refusal(403, "InvalidAccessKeyId", "The AWS Access Key Id you provided does not exist in our records.")
        if found[3] != self.region:
            raise wrong_query("Error parsing the X-Amz-Credential parameter; the region '%s' is wrong; expecting '%s'"
                              % (found[3], self.region), element("Region", self.region),
                              [("x-amz-bucket-region", self.region)])
        self.verify_validity(query["X-Amz-Date"], query["X-Amz-Expires"])
        signed = query["X-Amz-SignedHeaders"].split(";")
        missing = {"host"} | {name.lower() for name in headers if name.lower().startswith("x-amz-")}
        missing -= set(signed)
        if missing or signed != sorted(signed):
            raise Refusal(403, "AccessDenied", "There were headers present in the request which were not signed",
                          element("HeadersNotSigned", ", ".join(sorted(missing))))
        if query.get("X-Amz-Security-Token", "") != self.token:
            raise Refusal(400, "InvalidToken", "The provided token is malformed or otherwise invalid.")
        unsigned = remove_arguments(target, {"X-Amz-Signature"})
        canonical_request, string_to_sign, expected = self.sign(
            method, unsigned, headers, signed, query["X-Amz-Date"], botocore.auth.S3SigV4QueryAuth)
        if query["X-Amz-Signature"] != expected:
            raise self.mismatch(string_to_sign, query["X-Amz-Signature"], canonical_request)

    def verify_validity(self, timestamp, validity):
        if not re.fullmatch(r"\d{1,9}", validity) or int(validity) > LARGEST_VALIDITY:
            raise wrong_query("X-Amz-Expires must be a number, and less than a week (in seconds).")
        begin = read_time(timestamp)
        if begin - self.now() > LARGEST_SKEW:
            raise Refusal(403, "AccessDenied", "Request is not yet valid")
        end = begin + int(validity)
        if self.now() > end:
            raise Refusal(403, "AccessDenied", "Request has expired",
                          element("X-Amz-Expires", validity) + element("Expires", write_time(end))
                          + element("ServerTime", write_time(self.now())))

    def mismatch(self, string_to_sign, signature, canonical_request):
        return Refusal(403, "SignatureDoesNotMatch", "The request signature we calculated does not match the "
                                                     "signature you provided. Check your key and signing method.",
                       element("AWSAccessKeyId", self.access_key) + element("StringToSign", string_to_sign)
                       + element("SignatureProvided", signature) + element("CanonicalRequest", canonical_request))

    def verify_chunks(self, headers, timestamp, scope, signature, body):
        """Each chunk has a signature that continues the one before, and the body ends with an empty chunk, or with a
        trailer after it, which has such a signature, too."""
        kind = headers.get("x-amz-content-sha256")
        is_signed = kind != UNSIGNED_TRAILER
        if not is_signed and not self.is_encrypted:
            raise Refusal(400, "InvalidRequest", "An unsigned trailer needs https.")
        key = b"AWS4" + self.secret_key.encode()
        for part in scope.split("/"):
            key = hmac.new(key, part.encode(), hashlib.sha256).digest()
        sizes = []
        content = b""
        at = 0
        while not sizes or sizes[-1] != 0:
            line = CHUNK_LINE.match(body, at)
            if not line or bool(line[2]) != is_signed:
                raise Refusal(400, "IncompleteBody", "A chunk of the body has no valid beginning.")
            sizes.append(int(line[1], 16))
            data = body[line.end():line.end() + sizes[-1]]
            content += data
            at = line.end() + sizes[-1] + 2
            if sizes[-1] == 0 and kind != STREAMING:
                at -= 2
            elif len(data) != sizes[-1] or body[at - 2:at] != b"\r\n":
                raise Refusal(400, "IncompleteBody", "The body ends within a chunk.")
            text = "\n".join(("AWS4-HMAC-SHA256-PAYLOAD", timestamp, scope, signature, hashlib.sha256().hexdigest(),
                              hashlib.sha256(data).hexdigest()))
            signature = hmac.new(key, text.encode(), hashlib.sha256).hexdigest()
            if is_signed and signature.encode() != line[2]:
                raise Refusal(403, "SignatureDoesNotMatch", "The signature of a chunk does not match.")
        trailer = {}
        if kind != STREAMING:
            at, trailer = self.read_trailer(headers, body, at)
            signed = "".join("%s:%s\n" % item for item in trailer.items() if item[0] != "x-amz-trailer-signature")
            text = "\n".join(("AWS4-HMAC-SHA256-TRAILER", timestamp, scope, signature,
                              hashlib.sha256(signed.encode()).hexdigest()))
            expected = hmac.new(key, text.encode(), hashlib.sha256).hexdigest()
            if is_signed and trailer.pop("x-amz-trailer-signature", "") != expected:
                raise Refusal(403, "SignatureDoesNotMatch", "The signature of the trailer does not match.")
        if at != len(body) or str(sum(sizes)) != headers.get("x-amz-decoded-content-length"):
            raise Refusal(400, "IncompleteBody", "The body has another length than its header.")
        if any(size < SMALLEST_CHUNK for size in sizes[:-2]):
            raise Refusal(403, "InvalidChunkSizeError", "Only the last chunk is allowed to be smaller than 8192 bytes.")
        return content, trailer

    def read_trailer(self, headers, body, at):
        """The position after it, and its lines."""
        trailer = {}
        while True:
            line = TRAILER_LINE.match(body, at)
            if not line:
                break
            trailer[line[1].decode()] = line[2].decode()
            at = line.end()
        if body[at:at + 2] != b"\r\n" or headers.get("x-amz-trailer") not in trailer:
            raise Refusal(400, "MalformedTrailerError", "The request contained trailing data that was not well-formed or "
                                                        "did not conform to our published schema.")
        return at + 2, trailer

    def verify_time(self, timestamp, day):
        if abs(read_time(timestamp) - self.now()) > LARGEST_SKEW or not timestamp.startswith(day):
            raise Refusal(403, "RequestTimeTooSkewed",
                          "The difference between the request time and the current time is too large.",
                          element("RequestTime", timestamp) + element("MaxAllowedSkewMilliseconds", LARGEST_SKEW * 1000))

    def verify_body(self, sent_hash, body):
        if sent_hash is None:
            raise Refusal(400, "InvalidRequest", "Missing required header for this request: x-amz-content-sha256")
        if sent_hash.startswith("STREAMING-"):
            raise Refusal(501, "NotImplemented", "This front does not read signed chunks.")
        if sent_hash == "UNSIGNED-PAYLOAD" and self.is_encrypted:
            return
        computed = hashlib.sha256(body).hexdigest()
        if sent_hash != computed:
            raise Refusal(400, "XAmzContentSHA256Mismatch",
                          "The provided 'x-amz-content-sha256' header does not match what was computed.",
                          element("ClientComputedContentSHA256", sent_hash)
                          + element("S3ComputedContentSHA256", computed))

    def make_signer(self, signer=botocore.auth.S3SigV4Auth):
        return signer(botocore.credentials.Credentials(self.access_key, self.secret_key), "s3", self.region)

    def sign(self, method, target, headers, signed, timestamp, signer=botocore.auth.S3SigV4Auth):
        """The canonical request, the text to sign and the signature that the request must have."""
        request = botocore.awsrequest.AWSRequest(
            method=method, url="http://%s%s" % (headers["Host"], normalize(target)))
        for name in signed:
            for value in headers.get_all(name, []):
                request.headers.add_header(name, value.encode("latin-1").decode())
        signer = self.make_signer(signer)
        request.context["timestamp"] = timestamp
        canonical_request = signer.canonical_request(request)
        string_to_sign = signer.string_to_sign(request, canonical_request)
        return canonical_request, string_to_sign, signer.signature(string_to_sign, request)

    def make_backend_request(self, method, target, headers, body):
        """Path and headers of the request to the server. A body with a trailer goes without it."""
        sent = [(name, value) for name, value in headers.items() if name.lower() not in ("connection", "expect")]
        bucket = self.find_bucket(headers["Host"])
        has_trailer = "x-amz-trailer" in headers
        if not bucket and not self.token and not has_trailer:
            return target, sent
        target = remove_arguments(target, PRESIGNED) if is_presigned(target) else target
        path = normalize("/" + bucket + target if bucket else target)
        request = botocore.awsrequest.AWSRequest(method=method, url=self.backend.geturl() + path, data=body)
        for name, value in sent:
            if name.lower() not in ("authorization", "host", "content-length", "x-amz-date", "x-amz-security-token",
                                    "x-amz-content-sha256") and not (has_trailer and name.lower() in (
                                        "x-amz-trailer", "x-amz-decoded-content-length", "content-encoding")):
                request.headers.add_header(name, value.encode("latin-1").decode())
        self.make_signer().add_auth(request)
        own = [("Host", self.backend.netloc), ("Content-Length", str(len(body)))]
        return path, own + [(name, value.encode().decode("latin-1")) for name, value in request.headers.items()]


def normalize(target):
    """The form in which a service writes the path that it has read."""
    path, _, query = target.partition("?")
    return urllib.parse.quote(urllib.parse.unquote_to_bytes(path), safe="/-_.~") + ("?" + query if query else "")


def is_presigned(target):
    return any(argument.startswith("X-Amz-") for argument in target.partition("?")[2].split("&"))


def remove_arguments(target, names):
    """The target without these arguments of its query."""
    path, _, query = target.partition("?")
    rest = [argument for argument in query.split("&") if argument.partition("=")[0] not in names]
    return path + "?" + "&".join(rest) if rest else path


def read_time(timestamp):
    try:
        return datetime.datetime.strptime(timestamp, "%Y%m%dT%H%M%SZ").replace(tzinfo=datetime.timezone.utc).timestamp()
    except ValueError:
        raise Refusal(403, "AccessDenied", "AWS authentication requires a valid Date or x-amz-date header")


def write_time(seconds):
    return time.strftime("%Y-%m-%dT%H:%M:%SZ", time.gmtime(seconds))


def wrong_query(message, extra="", headers=()):
    return Refusal(400, "AuthorizationQueryParametersError", message, extra, headers)


def make_certificates(folder):
    """For the host names localhost, s3.localhost and *.s3.localhost, signed by FOLDER/ca.pem."""
    subprocess.run([os.path.join(os.path.dirname(os.path.abspath(__file__)), "certificates.sh"), folder], check=True)


def element(name, value):
    return "<%s>%s</%s>" % (name, escape(str(value)), name)


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_object = None

    def log_message(self, *_):
        pass

    def date_time_string(self, timestamp=None):
        return super().date_time_string(self.server_object.now() if timestamp is None else timestamp)

    def handle_request(self):
        front = self.server_object
        # The base class makes one slash of several at the beginning of the path.
        self.path = self.requestline.split(" ")[1]
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        try:
            content, trailer = front.verify_request(self.command, self.path, self.headers, body)
            checksum = self.verify_checksum(trailer, content)
        except Refusal as refusal:
            front.refused.append(refusal.code)
            return self.refuse(refusal)
        front.passed.append((self.command, self.path))
        return self.pass_on(content if trailer else body, checksum)

    def verify_checksum(self, trailer, content):
        try:
            return self.server_object.checksums.verify(self.command, self.path, self.headers, trailer, content)
        except WrongChecksum as wrong:
            raise Refusal(400, wrong.code, wrong.message)

    do_GET = do_PUT = do_HEAD = do_DELETE = do_POST = handle_request

    def refuse(self, refusal):
        document = ("<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<Error><Code>%s</Code><Message>%s</Message>%s"
                    "<RequestId>front</RequestId></Error>" % (refusal.code, escape(refusal.message), refusal.extra)).encode()
        self.send_response(refusal.status)
        for name, value in refusal.headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(document)))
        self.end_headers()
        if self.command != "HEAD":
            self.wfile.write(document)

    def pass_on(self, body, checksum):
        backend = self.server_object.backend
        connection = http.client.HTTPConnection(backend.hostname, backend.port, timeout=60)
        try:
            path, headers = self.server_object.make_backend_request(self.command, self.path, self.headers, body)
            connection.putrequest(self.command, path, skip_host=True, skip_accept_encoding=True)
            for name, value in headers:
                connection.putheader(name, value)
            connection.endheaders(body or None)
            response = connection.getresponse()
            content = response.read()
            if response.status == 200:
                content = self.server_object.checksums.change_response(self.command, self.path, self.headers, content)
            self.send_response_only(response.status, response.reason)
            for name, value in response.getheaders():
                if name.lower() not in ("connection", "transfer-encoding", "content-length"):
                    self.send_header(name, value)
            if checksum and response.status == 200:
                self.send_header(*checksum)
            is_bodyless = self.command == "HEAD" or response.status == 204
            length = response.headers.get("Content-Length") if is_bodyless else str(len(content))
            if length is not None:
                self.send_header("Content-Length", length)
            self.end_headers()
            self.wfile.write(content)
        finally:
            connection.close()
