"""Checksums of puts and parts as Amazon computes and compares them, for a server that does not know them."""

import base64
import hashlib
import re
import urllib.parse

HEADER = "x-amz-checksum-"
ALGORITHMS = ("crc32c", "sha256")
UPLOAD_ID = re.compile(rb"<UploadId>([^<]+)</UploadId>")
PART = re.compile(rb"<Part>.*?</Part>", re.DOTALL)
PART_NUMBER = re.compile(rb"<PartNumber>(\d+)</PartNumber>")


class WrongChecksum(Exception):
    def __init__(self, code, message):
        super().__init__(code)
        self.code, self.message = code, message


def make_table():
    table = []
    for byte in range(256):
        for _ in range(8):
            byte = byte >> 1 ^ (0x82F63B78 if byte & 1 else 0)
        table.append(byte)
    return table


TABLE = make_table()


def crc32c(data):
    crc = 0xFFFFFFFF
    for byte in data:
        crc = crc >> 8 ^ TABLE[(crc ^ byte) & 0xFF]
    return (crc ^ 0xFFFFFFFF).to_bytes(4, "big")


def digest(algorithm, data):
    return crc32c(data) if algorithm == "crc32c" else hashlib.sha256(data).digest()


def encode(data):
    return base64.b64encode(data).decode()


def find_sent(headers, trailer):
    """The algorithm and the value of a request; none of both if it has no checksum."""
    for algorithm in ALGORITHMS:
        value = trailer.get(HEADER + algorithm) or headers.get(HEADER + algorithm)
        if value:
            return algorithm, value
    return None, None


class Checksums:
    """The uploads in progress, and what was verified."""

    def __init__(self):
        self.uploads = {}  # ID: [algorithm, {number: digest}]
        self.verified = []  # (algorithm, "header" or "trailer") of valid bodies
        self.composites = []  # of completed uploads

    def verify(self, method, target, headers, trailer, content):
        """Raises WrongChecksum, or returns the header to respond with."""
        query = dict(urllib.parse.parse_qsl(urllib.parse.urlsplit(target).query, keep_blank_values=True))
        upload = self.uploads.get(query.get("uploadId"))
        if method == "POST" and upload and "uploadId" in query:
            self.verify_completion(upload, content)
        if method != "PUT":
            return None
        algorithm, value = find_sent(headers, trailer)
        if upload and upload[0] != algorithm and "x-amz-copy-source" not in headers:
            raise WrongChecksum("InvalidRequest", "Checksum Type mismatch occurred, expected checksum Type: %s, actual "
                                                  "checksum Type: %s" % (upload[0], algorithm or "null"))
        if not algorithm:
            return None
        computed = digest(algorithm, content)
        if encode(computed) != value:
            raise WrongChecksum("BadDigest", "The %s you specified did not match the calculated checksum."
                                % algorithm.upper())
        self.verified.append((algorithm, "trailer" if trailer else "header"))
        if upload:
            upload[1][int(query["partNumber"])] = computed
        return HEADER + algorithm, value

    def verify_completion(self, upload, document):
        algorithm, parts = upload
        name = b"Checksum" + algorithm.upper().encode()
        for part in PART.findall(document):
            number = int(PART_NUMBER.search(part)[1])
            sent = re.search(b"<" + name + b">([^<]*)</", part)
            if not sent:
                raise WrongChecksum("InvalidRequest",
                                    "The upload was created using a %s checksum. The complete request must include the "
                                    "checksum for each part. It was missing for part %d in the request."
                                    % (algorithm, number))
            if sent[1].decode() != encode(parts.get(number, b"")):
                raise WrongChecksum("InvalidPart", "One or more of the specified parts could not be found.")

    def change_response(self, method, target, headers, document):
        """The document of a success, with checksums in it."""
        query = dict(urllib.parse.parse_qsl(urllib.parse.urlsplit(target).query, keep_blank_values=True))
        if method == "POST" and "uploads" in query and headers.get("x-amz-checksum-algorithm"):
            self.uploads[UPLOAD_ID.search(document)[1].decode()] = [headers["x-amz-checksum-algorithm"].lower(), {}]
        upload = self.uploads.get(query.get("uploadId"))
        if not upload:
            return document
        algorithm, parts = upload
        name = "Checksum" + algorithm.upper()
        if method == "GET":
            return PART.sub(lambda part: part[0].replace(b"</Part>", element(
                name, encode(parts[int(PART_NUMBER.search(part[0])[1])])) + b"</Part>"), document)
        if method == "POST" and b"<CompleteMultipartUploadResult" in document:
            bytes_of_parts = b"".join(parts[number] for number in sorted(parts))
            composite = "%s-%d" % (encode(digest(algorithm, bytes_of_parts)), len(parts))
            self.composites.append(composite)
            return document.replace(b"</CompleteMultipartUploadResult>",
                                    element(name, composite) + b"</CompleteMultipartUploadResult>")
        return document


def element(name, text):
    return ("<%s>%s</%s>" % (name, text, name)).encode()
