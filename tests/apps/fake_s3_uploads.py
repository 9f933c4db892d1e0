"""The fake S3 server with uploads in parts."""

import hashlib
import re
import threading
import urllib.parse
import xml.etree.ElementTree

import fake_s3


class FakeS3WithUploads(fake_s3.FakeS3):
    """A request of an upload of the key "k" takes its faults from "k?begin", "k?1" (the part 1), "k?complete",
    "k?abort" and "k?parts" (the list of parts); a download of the bytes from 5 to 9 from "k@5"."""

    handler_class = property(lambda self: _Handler)

    def __init__(self):
        self.lock = threading.Lock()
        self.uploads = {}  # key and parts by the IDs of uploads in progress
        self.metadata = {}  # headers of the request that has made an object
        self.part_sizes = {}  # of the first parts of objects that were uploaded in parts
        self.sent_parts = []  # (key, number, length, checks) of complete bodies, in the order of their ends
        super().__init__()

    def ranges(self, key):
        """The ranges of the downloads that had one with an end, in order."""
        wanted = (re.fullmatch(r"bytes=(\d+)-(\d+)", headers.get("Range", "")) for headers in self.gets(key))
        return [(int(match[1]), int(match[2])) for match in wanted if match]

    def sent_numbers(self):
        return sorted(number for _, number, _, _ in self.sent_parts)

    def sent_bytes(self):
        return sum(length for _, _, length, _ in self.sent_parts)


def decode_chunks(body):
    """The bytes of a body in signed chunks."""
    result = b""
    while True:
        head, body = body.split(b"\r\n", 1)
        size = int(head.split(b";")[0], 16)
        if size == 0:
            return result
        result += body[:size]
        body = body[size + 2:]


class _Handler(fake_s3._Handler):
    def query(self):
        return urllib.parse.parse_qs(urllib.parse.urlsplit(self.path).query, keep_blank_values=True)

    def get_fault_name(self):
        query = self.query()
        if "uploads" in query:
            return f"{self.key}?begin"
        if "partNumber" in query:
            return f"{self.key}?{query['partNumber'][0]}"
        if "uploadId" in query:
            return self.key + {"POST": "?complete", "DELETE": "?abort", "GET": "?parts"}[self.command]
        if match := re.fullmatch(r"bytes=(\d+)-\d+", self.headers.get("Range", "")):
            return f"{self.key}@{match[1]}"
        return self.key

    def find_upload(self):
        upload = self.fake.uploads.get(self.query()["uploadId"][0])
        if not upload or upload[0] != self.key:
            self.answer_error(404, "NoSuchUpload")
            return None
        return upload

    def put(self, fault):
        if "partNumber" not in self.query():
            if self.key and fault.cut is None:
                self.fake.metadata[self.key] = dict(self.headers)
                self.fake.etags.pop(self.key, None)
                self.fake.part_sizes.pop(self.key, None)
            super().put(fault)
            return
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
            return
        if self.headers.get("x-amz-content-sha256", "").startswith("STREAMING-"):
            body = decode_chunks(body)
        number = int(self.query()["partNumber"][0])
        checks = {name for name in ("Content-MD5",) if name in self.headers}
        self.fake.sent_parts.append((self.key, number, len(body), (*checks, self.headers.get("x-amz-content-sha256"))))
        if self.answer_fault(fault):
            return
        if not (upload := self.find_upload()):
            return
        body = fake_s3.flip_bit(body, fault.flip)
        with self.fake.lock:
            upload[1][number] = body
        self.answer(200, headers=[("ETag", f'"{hashlib.md5(body).hexdigest()}"')])

    def do_POST(self):
        query = self.query()
        if "delete" in query:
            super().do_POST()
            return
        fault = self.begin()
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        if self.answer_fault(fault):
            return
        if "uploads" in query:
            with self.fake.lock:
                upload_id = f"id{len(self.fake.requests)}"
                self.fake.uploads[upload_id] = (self.key, {}, dict(self.headers))
            self.answer(200, f"<InitiateMultipartUploadResult><UploadId>{upload_id}</UploadId>"
                             f"</InitiateMultipartUploadResult>".encode())
        elif upload := self.find_upload():
            self.complete(upload, body)

    def complete(self, upload, body):
        key, parts, headers = upload
        if self.headers.get("If-None-Match") == "*" and key in self.fake.objects:
            self.answer_error(412, "PreconditionFailed")
            return
        listed = [(int(part.find("PartNumber").text), part.find("ETag").text.strip('"'))
                  for part in xml.etree.ElementTree.fromstring(body).iter("Part")]
        if [(number, hashlib.md5(part).hexdigest()) for number, part in sorted(parts.items())] != listed:
            self.answer_error(400, "InvalidPart")
            return
        md5s = b"".join(hashlib.md5(parts[number]).digest() for number, _ in listed)
        self.fake.objects[key] = b"".join(parts[number] for number, _ in listed)
        self.fake.etags[key] = f'"{hashlib.md5(md5s).hexdigest()}-{len(listed)}"'
        self.fake.metadata[key] = headers
        self.fake.part_sizes[key] = len(parts[listed[0][0]])
        del self.fake.uploads[self.query()["uploadId"][0]]
        self.answer(200, f"<CompleteMultipartUploadResult><ETag>{self.fake.etags[key]}</ETag>"
                         f"</CompleteMultipartUploadResult>".encode())

    def get(self, fault):
        if "uploadId" not in self.query():
            super().get(fault)
        elif not self.answer_fault(fault) and (upload := self.find_upload()):
            parts = "".join(f"<Part><PartNumber>{number}</PartNumber><ETag>\"{hashlib.md5(part).hexdigest()}\"</ETag>"
                            f"<Size>{len(part)}</Size><LastModified>2024-01-01T00:00:00.000Z</LastModified></Part>"
                            for number, part in sorted(upload[1].items()))
            self.answer(200, f"<ListPartsResult><IsTruncated>false</IsTruncated>{parts}</ListPartsResult>".encode())

    def do_DELETE(self):
        if "uploadId" not in self.query():
            super().do_DELETE()
        elif not self.answer_fault(self.begin()) and self.find_upload():
            del self.fake.uploads[self.query()["uploadId"][0]]
            self.answer(204)

    def do_HEAD(self):
        if self.answer_fault(self.begin()):
            return
        found = self.key in self.fake.objects
        self.send_response(200 if found else 404)
        size = len(self.fake.objects.get(self.key, b""))
        if "partNumber" in self.query():
            part_size = self.fake.part_sizes.get(self.key, size)
            size = min(part_size, size - (int(self.query()["partNumber"][0]) - 1) * part_size)
        self.send_header("Content-Length", str(size))
        if found:
            self.send_header("ETag", self.fake.etag(self.key))
        self.end_headers()
