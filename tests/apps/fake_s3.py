"""An S3 server with one bucket that can be told to fail. It does not check signatures."""

import hashlib
import http.server
import re
import socket
import threading
import urllib.parse
import xml.etree.ElementTree
from xml.sax.saxutils import escape


class Fault:
    """A fault of one response for a key. A key has a list of them, used one by one; None for no fault."""

    def __init__(self, cut=None, status=None, code="", then=None, hold=False, cut_head=False,
                 no_body=False, flip=None, page=None, location=None, retry_after=None, region=None):
        self.region = region  # the region of the bucket, told with `status` and `page`
        self.retry_after = retry_after  # the value of Retry-After, with `status`
        self.page = page  # the body of the response with `status`, instead of the error document
        self.location = location  # the Location of a redirect
        self.flip = flip  # the position of a byte of which one bit changes: in the sent object against its ETag, or in the stored one
        self.cut_head = cut_head  # the response ends within its headers
        self.no_body = no_body  # status 204, which has no body, with the length of the object
        self.cut = cut  # the connection ends after this many bytes of the body, sent or received
        self.status = status  # this status with an error document, instead of the object
        self.code = code  # the S3 code in it
        self.then = then  # called before the response
        self.hold = hold  # stops after `cut` bytes until the test ends


class FakeS3:
    handler_class = property(lambda self: _Handler)  # it stands below

    def __init__(self):
        self.objects = {}
        self.modified = {}  # when objects were stored, if not at the usual time
        self.listed_sizes = {}  # wrong sizes for the listing
        self.lists_etags = False
        self.listed_names = {}  # other names under which the listing shows keys
        self.encodes = False  # names in listings, if the client asks for it
        self.refuses_encoding = False
        self.escapes = str  # another change of names in listings
        self.ignores_prefix = False
        self.ignores_marker = False
        self.page_size = None  # keys per page of the listing
        self.connections = 0
        self.requests = []  # (method, key, headers)
        self.targets = []  # (method, path with query) of each request
        self.bodies = []  # of puts to the bucket itself
        self.faults = {}
        self.batch_refusal = (501, "NotImplemented")  # of deletions of several objects; None to delete them
        self.batch_response = None  # instead of the usual one
        self.batches = []  # the keys of each deletion of several objects
        self.batch_faults = []  # of the requests that delete several objects, used one by one
        self.sends_etag = True
        self.etags = {}  # other ETags than the MD5
        self.extra_headers = []  # for responses about objects
        self.heeds_condition = True
        self.misreads_condition = False  # objects with a condition are never stored
        self.heeds_range = True
        self.range_error = 0  # how many bytes too late the content of a range begins
        self.gate = None  # an event for which transfers of objects wait
        self.at_once = 0  # running transfers of objects
        self.most_at_once = 0
        self.changed = threading.Condition()  # notified when at_once changes; guards it
        self.held = threading.Event()
        self.end = threading.Event()
        fake = self

        class Handler(self.handler_class):
            server_object = fake

        self.handler = Handler
        self.is_down = False  # while it is, connections end without a response
        self.listen(0)
        self.endpoint = f"http://127.0.0.1:{self.server.server_address[1]}"

    def listen(self, port):
        self.server = _Server(("127.0.0.1", port), self.handler)
        threading.Thread(target=self.server.serve_forever, args=(0.02,), daemon=True).start()

    def go_away(self, seconds):
        """Accepts no connections for a while, and ends existing ones when they send a request."""
        port = self.server.server_address[1]
        self.is_down = True
        self.server.shutdown()
        self.server.server_close()

        def come_back():
            self.is_down = False
            self.listen(port)

        threading.Timer(seconds, come_back).start()

    def close(self):
        self.end.set()
        if self.gate:
            self.gate.set()
        self.server.shutdown()
        self.server.server_close()

    def count(self, change):
        with self.changed:
            self.at_once += change
            self.most_at_once = max(self.most_at_once, self.at_once)
            self.changed.notify_all()

    def wait_for_transfers(self, count):
        """Whether this many transfers of objects run at once, now or soon."""
        with self.changed:
            return self.changed.wait_for(lambda: self.at_once == count, 60)

    def gets(self, key):
        return [headers for method, name, headers in self.requests if method == "GET" and name == key]

    def etag(self, key):
        return self.etags.get(key) or '"' + hashlib.md5(self.objects[key]).hexdigest() + '"'

    def puts(self):
        return [name for method, name, _ in self.requests if method == "PUT"]

    def next_fault(self, key):
        faults = self.faults.get(key, [])
        return (faults.pop(0) if faults else None) or Fault()

    def listing(self, query):
        """The page of the listing for the arguments of a request."""
        def argument(name):
            return query.get(name, [""])[0]

        prefix = "" if self.ignores_prefix else argument("prefix")
        marker = "" if self.ignores_marker else argument("marker")
        objects = dict(self.objects)  # others may be deleted meanwhile
        keys = [key for key in sorted(objects, key=bytes_of)
                if bytes_of(key) > bytes_of(marker) and key.startswith(prefix)]
        page = keys[:self.page_size]
        is_truncated = "true" if len(page) < len(keys) else "false"
        is_encoded = self.encodes and argument("encoding-type") == "url"

        def write(name):
            return urllib.parse.quote_plus(name, errors="surrogateescape") if is_encoded else self.escapes(escape(name))

        entries = "".join(self.listed(key, objects[key], write) for key in page)
        encoding = "<EncodingType>url</EncodingType>" if is_encoded else ""
        # The arguments come back without encoding, also from some servers that encode the keys.
        return (f"<ListBucketResult><Prefix>{self.escapes(escape(prefix))}</Prefix>"
                f"<Marker>{self.escapes(escape(marker))}</Marker>{encoding}"
                f"<IsTruncated>{is_truncated}</IsTruncated>{entries}</ListBucketResult>").encode(
                    errors="surrogateescape")

    def listed(self, key, body, write):
        etag = f"<ETag>{escape(self.etag(key))}</ETag>" if self.lists_etags else ""
        return (f"<Contents><Key>{write(self.listed_names.get(key, key))}</Key>"
                f"<LastModified>{self.modified.get(key, '2024-01-01T00:00:00.000Z')}</LastModified>{etag}"
                f"<Size>{self.listed_sizes.get(key, len(body))}</Size></Contents>")


def bytes_of(key):
    return key.encode(errors="surrogateescape")


def flip_bit(body, position):
    """The body with one bit changed; unchanged without a position."""
    return body if position is None else body[:position] + bytes([body[position] ^ 1]) + body[position + 1:]


class _Server(http.server.ThreadingHTTPServer):
    daemon_threads = True
    allow_reuse_address = True
    request_queue_size = 1000  # otherwise a connection could wait until its SYN is repeated


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    disable_nagle_algorithm = True  # otherwise each response could wait 40 ms for the one before
    server_object = None
    is_counted = False

    def setup(self):
        super().setup()
        self.server_object.connections += 1

    def log_message(self, *_):
        pass

    def handle_one_request(self):
        try:
            super().handle_one_request()
        except OSError:
            self.close_connection = True

    def begin(self):
        self.fake = self.server_object
        if self.fake.is_down:
            raise OSError("out of service")
        path = urllib.parse.urlsplit(self.path).path
        self.key = urllib.parse.unquote(path.removeprefix("/bucket").removeprefix("/"), errors="surrogateescape")
        self.fake.requests.append((self.command, self.key, dict(self.headers)))
        self.fake.targets.append((self.command, self.path))
        fault = self.fake.next_fault(self.get_fault_name())
        if fault.then:
            fault.then()
        return fault

    def get_fault_name(self):
        return self.key

    def answer(self, status, body=b"", headers=(), sent=None):
        self.send_response(status)
        for name, value in headers:
            self.send_header(name, value)
        self.send_header("Content-Length", str(len(body)))
        self.leave()
        self.end_headers()
        self.wfile.write(b"" if self.command == "HEAD" else body[:sent])
        self.wfile.flush()

    def answer_fault(self, fault):
        """Sends the response of a fault instead of the usual one. Returns whether it did."""
        if fault.cut_head:
            self.leave()
            self.wfile.write(b'HTTP/1.1 200 OK\r\nETag: "a')
            self.wfile.flush()
            self.break_off()
        elif fault.status and fault.page is not None:
            self.answer(fault.status, fault.page, ([("Location", fault.location)] if fault.location else [])
                        + ([("x-amz-bucket-region", fault.region)] if fault.region else []))
        elif fault.status:
            self.answer_error(fault.status, fault.code,
                              [("Retry-After", fault.retry_after)] if fault.retry_after else [])
        else:
            return False
        return True

    def answer_error(self, status, code, headers=()):
        body = f"<Error><Code>{code}</Code><Message>No.</Message></Error>".encode() if code else b""
        self.answer(status, body, headers)

    def break_off(self):
        self.close_connection = True
        self.connection.shutdown(socket.SHUT_WR)

    def do_GET(self):
        fault = self.begin()
        self.transfer(self.get, fault)

    def do_PUT(self):
        fault = self.begin()
        self.transfer(self.put, fault)

    def transfer(self, work, fault):
        if not self.key and self.command != "POST":
            work(fault)
            return
        self.is_counted = True
        self.fake.count(1)
        try:
            if self.fake.gate:
                self.fake.gate.wait()
            work(fault)
        finally:
            self.leave()

    def leave(self):
        """Must be called before the client can know of the end and begin another transfer."""
        if self.is_counted:
            self.is_counted = False
            self.fake.count(-1)

    def get(self, fault):
        if self.answer_fault(fault):
            return
        if not self.key:
            query = urllib.parse.parse_qs(urllib.parse.urlsplit(self.path).query, errors="surrogateescape")
            if self.answer_fault(self.fake.next_fault("?prefix=" + query.get("prefix", [""])[0])):
                return
            if self.fake.refuses_encoding and "encoding-type" in query:
                self.answer_error(400, "InvalidArgument")
            else:
                self.answer(200, self.fake.listing(query), sent=fault.cut)
            if fault.cut is not None:
                self.break_off()
        elif self.key not in self.fake.objects:
            self.answer_error(404, "NoSuchKey")
        else:
            self.answer_object(self.fake.objects[self.key], fault)

    def answer_object(self, body, fault):
        etag = self.fake.etag(self.key)
        headers = self.fake.extra_headers + ([("ETag", etag)] if self.fake.sends_etag else [])
        wanted = self.headers.get("If-Match")
        if wanted and wanted != etag and self.fake.heeds_condition:
            self.answer_error(412, "PreconditionFailed")
            return
        body = flip_bit(body, fault.flip)
        status = 204 if fault.no_body else 200
        if self.fake.heeds_range and (match := re.fullmatch(r"bytes=(\d+)-(\d*)", self.headers.get("Range", ""))):
            start = int(match[1]) + self.fake.range_error
            end = min(int(match[2]) + 1, len(body)) if match[2] else len(body)
            status = 206
            headers.append(("Content-Range", f"bytes {start}-{end - 1}/{len(body)}"))
            body = body[start:end]
        self.answer(status, body, headers, 0 if fault.no_body else fault.cut)
        if fault.hold:
            self.fake.held.set()
            self.fake.end.wait()
        if fault.cut is not None:
            self.break_off()

    def do_HEAD(self):
        if self.answer_fault(self.begin()):
            return
        self.send_response(200 if self.key in self.fake.objects else 404)
        self.send_header("Content-Length", str(len(self.fake.objects.get(self.key, b""))))
        if self.fake.sends_etag and self.key in self.fake.objects:
            self.send_header("ETag", self.fake.etag(self.key))
        self.end_headers()

    def put(self, fault):
        if fault.hold:
            self.fake.held.set()
            self.fake.end.wait()
        if fault.cut is not None:
            self.rfile.read(fault.cut)
            self.close_connection = True
            return
        length = int(self.headers["Content-Length"])
        body = self.rfile.read(length)
        if len(body) != length:
            self.close_connection = True
        elif not self.key:
            self.fake.bodies.append(body)
            self.answer(200)  # the bucket exists
        elif not self.answer_fault(fault) and self.meets_condition():
            self.fake.objects[self.key] = flip_bit(body, fault.flip)
            self.fake.modified[self.key] = f"2024-01-02T00:00:00.{len(self.fake.requests):06}Z"
            etag = [("ETag", self.fake.etag(self.key))] if self.fake.sends_etag else []
            self.answer(200, headers=self.fake.extra_headers + etag)

    def meets_condition(self):
        """Whether an object may be stored; sends the refusal."""
        wanted, unwanted = self.headers.get("If-Match"), self.headers.get("If-None-Match")
        exists = self.key in self.fake.objects
        if not self.fake.heeds_condition or not (wanted or unwanted):
            return True
        if self.fake.misreads_condition:
            self.answer_error(412, "PreconditionFailed")
        elif wanted and not exists:
            self.answer_error(404, "NoSuchKey")
        elif (unwanted == "*" and exists) or (wanted and wanted.strip('"') != self.fake.etag(self.key).strip('"')):
            self.answer_error(412, "PreconditionFailed")
        else:
            return True
        return False

    def do_POST(self):
        self.begin()
        faults = self.fake.batch_faults
        self.transfer(self.delete_batch, (faults.pop(0) if faults else None) or Fault())

    def delete_batch(self, fault):
        """The deletion of several objects. Their faults are in its response."""
        body = self.rfile.read(int(self.headers["Content-Length"]))
        keys = [element.text for element in xml.etree.ElementTree.fromstring(body).iter("Key")]
        self.fake.batches.append(keys)
        if fault.then:
            fault.then()
        if fault.cut is not None:
            self.leave()
            self.close_connection = True
            return
        if self.answer_fault(fault):
            return
        if self.fake.batch_refusal:
            self.answer_error(*self.fake.batch_refusal)
            return
        errors = ""
        for key in keys:
            fault = self.fake.next_fault(key)
            if fault.status:
                errors += f"<Error><Key>{escape(key)}</Key><Code>{fault.code}</Code><Message>No.</Message></Error>"
            else:
                self.fake.objects.pop(key, None)
        self.answer(200, self.fake.batch_response or f"<DeleteResult>{errors}</DeleteResult>".encode())

    def do_DELETE(self):
        fault = self.begin()
        self.transfer(self.delete, fault)

    def delete(self, fault):
        if not self.answer_fault(fault):
            self.fake.objects.pop(self.key, None)
            self.answer(204)
