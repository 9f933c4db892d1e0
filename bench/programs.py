"""The cost of the program `vexil` itself, against servers that do as little as possible; used by measure.py."""

import contextlib
import http.server
import os
import pathlib
import re
import statistics
import subprocess
import tempfile
import threading
import time
import urllib.parse

KEYS = 12000
PAGE = 1000
LARGE = 10 << 30  # bytes
KEY_ENVIRONMENT = {"VEXIL_S3_ACCESS_KEY": "ACCESSKEY", "VEXIL_S3_SECRET_KEY": "SECRET"}


class KeysHandler(http.server.BaseHTTPRequestHandler):
    """A bucket of KEYS objects. It lists them, and forgets what is deleted."""

    protocol_version = "HTTP/1.1"

    def do_GET(self):
        query = urllib.parse.parse_qs(urllib.parse.urlsplit(self.path).query)
        last_seen = query.get("continuation-token", query.get("marker", ["key--1"]))[0]
        first = int(last_seen.removeprefix("key-")) + 1
        end = min(first + PAGE, KEYS)
        keys = "".join(f"<Contents><Key>key-{i:05}</Key><LastModified>2024-01-01T00:00:00.000Z</LastModified>"
                       f"<ETag>\"e\"</ETag><Size>1</Size><StorageClass>STANDARD</StorageClass></Contents>"
                       for i in range(first, end))
        more = str(end < KEYS).lower()
        last = f"key-{end - 1:05}"
        self.respond("list", f"<ListBucketResult><Name>bucket</Name><MaxKeys>{PAGE}</MaxKeys><IsTruncated>{more}"
                     f"</IsTruncated><NextMarker>{last}</NextMarker>"
                     f"<NextContinuationToken>{last}</NextContinuationToken>{keys}</ListBucketResult>")

    def do_POST(self):
        body = self.rfile.read(int(self.headers["Content-Length"])).decode()
        keys = re.findall("<Key>(.*?)</Key>", body)
        self.server.deleted.update(keys)
        done = "" if "<Quiet>true" in body else "".join(f"<Deleted><Key>{key}</Key></Deleted>" for key in keys)
        self.respond("delete", f"<DeleteResult>{done}</DeleteResult>")

    def do_DELETE(self):
        self.respond("delete one", "")

    def respond(self, kind, text):
        self.server.requests.append(kind)
        body = text.encode()
        self.send_response(200)
        self.send_header("Content-Type", "application/xml")
        self.send_header("Content-Length", str(len(body)))
        self.end_headers()
        self.wfile.write(body)

    def log_message(self, *_):
        pass


@contextlib.contextmanager
def keys_server():
    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), KeysHandler)
    server.requests, server.deleted = [], set()
    threading.Thread(target=server.serve_forever, daemon=True).start()
    try:
        yield server
    finally:
        server.shutdown()
        server.server_close()


def read_peak(pid):
    """In KiB. Not that of getrusage(), which includes the process that started this one."""
    found = re.search(r"VmHWM:\s*(\d+)", pathlib.Path(f"/proc/{pid}/status").read_text())
    return int(found.group(1)) if found else 0


def run(program, endpoint, *arguments, stdin=subprocess.DEVNULL):
    """The CPU time of the program in seconds, and its peak memory in MiB."""
    process = subprocess.Popen([program, "--endpoint", endpoint, *map(str, arguments)], stdin=stdin,
                               stdout=subprocess.DEVNULL, env={**os.environ, **KEY_ENVIRONMENT})
    peak = 0
    while True:
        pid, status, usage = os.wait4(process.pid, os.WNOHANG)
        if pid != 0:
            break
        peak = max(peak, read_peak(process.pid))
        time.sleep(0.02)
    process.returncode = os.waitstatus_to_exitcode(status)
    if process.returncode != 0:
        raise SystemExit(f"vexil {' '.join(map(str, arguments))}: exit code {process.returncode}")
    return usage.ru_utime + usage.ru_stime, peak / 1024


def deletions(program, rounds):
    """Requests to list, requests to delete, and the median of the program's CPU time."""
    seconds = []
    for _ in range(rounds):
        with keys_server() as server:
            seconds.append(run(program, f"http://127.0.0.1:{server.server_port}", "s3", "rm", "--recursive",
                               "bucket", "key-")[0])
            if len(server.deleted) != KEYS or "delete one" in server.requests:
                raise SystemExit(f"the program has deleted {len(server.deleted)} of {KEYS} keys")
            requests = server.requests
    return requests.count("list"), requests.count("delete"), statistics.median(seconds)


def peak_from_file(program, endpoint):
    """A file with a hole: nothing is written to the disk."""
    with tempfile.NamedTemporaryFile() as file:
        os.truncate(file.name, LARGE)
        return run(program, endpoint, "s3", "put", file.name, "bucket", "object")[1]


def peak_from_pipe(program, endpoint, part_mebibytes, jobs):
    zeros = subprocess.Popen(["head", "-c", str(LARGE), "/dev/zero"], stdout=subprocess.PIPE)
    try:
        return run(program, endpoint, "s3", "put", "--part-size", part_mebibytes, "--jobs", jobs, "-", "bucket",
                   "object", stdin=zeros.stdout)[1]
    finally:
        zeros.stdout.close()
        zeros.wait()
