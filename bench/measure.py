"""Runs the two benchmark programs with their servers and prints tables; called by measure.sh."""

import argparse
import contextlib
import functools
import os
import pathlib
import re
import resource
import statistics
import subprocess
import sys
import tempfile

import limits
import programs
import tool_output

ROUNDS = 11
SMALL = 200  # requests; slopes are taken between this and twice as many
BODY = 128  # MiB; the same for bodies
REPEATS = 5  # a body's blocks are cut differently in each run
FULL_BODY = 1024  # MiB
LISTED_KEYS = 1000  # in a page
CLOCKED_REQUESTS = 5000
HEAP_REQUESTS = 100
IDLE_TRANSFERS = {0: SMALL, 99: SMALL, 900: 60, 10000: 40}  # and requests
MOST_POLLED = 900  # libcurl goes through all of them for each request
ALL_AT_ONCE = {100: 20, 2000: 2}  # transfers, and how often
REMOVALS = 20
LEFT_RUNNING = (10, 4000)
QUEUE_SLOTS = (8, 100, 1000)
QUEUE_JOBS = 2000
LIMITED = 10  # at once
LIMITED_OF = (10, 2000)
LIMITED_ROUNDS = 10
IDLE_SECONDS = 5
LISTED_PAGES = 400

SMALL_WORKLOADS = {
    "get": "GET, request reused",
    "reset": "GET, reset and four options before each",
    "put": "PUT of 4 KiB, request reused",
    "new": "GET, a new request object each, connections shared",
}
BODY_WORKLOADS = {
    "get-buffer": "GET into the buffer",
    "get-sink": "GET into a counting sink",
    "put-source": "PUT from a source",
}


def make_certificate(folder):
    """One file with the key and the certificate."""
    key, certificate = folder / "key.pem", folder / "certificate.pem"
    subprocess.run(["openssl", "req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                    "-nodes", "-keyout", key, "-out", certificate, "-subj", "/CN=127.0.0.1"],
                   check=True, capture_output=True)
    key.write_text(key.read_text() + certificate.read_text())
    return key


class Bench:
    def __init__(self, build):
        self.programs = {name: build / "bin" / f"bench-{name}" for name in ("plain", "vexil")}
        self.counter = build / "lib" / "libbench-count-allocations.so"
        self.build = build
        self.files = pathlib.Path(os.environ["VEXIL_HTTP_ROOT"])
        self.nginx = os.environ["VEXIL_HTTP_ENDPOINT"]
        self.late = self.bulk = self.secure_late = self.secure_bulk = None
        self.counts = {}  # by the names that limits.py uses

    @contextlib.contextmanager
    def servers(self):
        with open(self.files / "static" / "body", "wb") as body:
            body.truncate(FULL_BODY << 20)
        (self.files / "static" / "index.html").write_text(listing_page())
        with tempfile.TemporaryDirectory() as folder:
            certificate = make_certificate(pathlib.Path(folder))
            with self.server("late") as self.late, self.server("bulk") as self.bulk, \
                    self.server("late", certificate) as self.secure_late, \
                    self.server("bulk", certificate) as self.secure_bulk:
                yield

    @contextlib.contextmanager
    def server(self, name, *certificate):
        server = subprocess.Popen([self.build / "bin" / f"bench-{name}-server", *certificate],
                                  stdin=subprocess.PIPE, stdout=subprocess.PIPE, text=True)
        try:
            scheme = "https" if certificate else "http"
            yield f"{scheme}://127.0.0.1:{int(server.stdout.readline())}"
        finally:
            server.stdin.close()
            server.wait()

    def small_url(self):
        return self.late + "/a.txt"

    def body_url(self, workload):
        return self.nginx + ("/dav/body" if workload.startswith("put") else "/static/body")

    def run(self, program, workload, url, count, prefix=(), **environment):
        command = [*prefix, self.programs[program], workload, url, str(count)]
        done = subprocess.run(command, env={**os.environ, **environment}, capture_output=True, text=True)
        if done.returncode != 0:
            sys.exit(f"{' '.join(map(str, command))}\n{done.stdout}{done.stderr}")
        return done.stdout + done.stderr

    def figures(self, *arguments, **environment):
        return dict(line.split("=") for line in self.run(*arguments, **environment).splitlines() if "=" in line)

    def instructions(self, program, workload, url, count):
        output = self.run(program, workload, url, count,
                          ["valgrind", "--tool=callgrind", "--callgrind-out-file=/dev/null"])
        return int(re.search(r"Collected : (\d+)", output).group(1))

    def counted(self, program, workload, url, count):
        """Only what the workload itself lets callgrind count, a request."""
        output = self.run(program, workload, url, count,
                          ["valgrind", "--tool=callgrind", "--instr-atstart=no", "--callgrind-out-file=/dev/null"])
        return int(re.search(r"Collected : (\d+)", output).group(1)) / count

    def own_counted(self, workload, url, count):
        """The same, without libcurl and what it calls."""
        with tempfile.NamedTemporaryFile("r") as file:
            self.run("vexil", workload, url, count, ["valgrind", *tool_output.CALLGRIND, "--instr-atstart=no",
                                                     f"--callgrind-out-file={file.name}"])
            file.seek(0)
            return tool_output.own_instructions(file, is_ours, lambda path: "libcurl" in path) / count

    def lock_waits(self, workload, url, count):
        """How often a thread waited for a lock of the library."""
        with tempfile.NamedTemporaryFile("r") as calls:
            self.run("vexil", workload, url, count, ["strace", *tool_output.STRACE_OF_LOCKS, "-o", calls.name])
            return tool_output.lock_waits(calls.read(), is_library)

    def system_calls(self, program, workload, url, count):
        with tempfile.NamedTemporaryFile() as summary:
            self.run(program, workload, url, count, ["strace", "-f", "-c", "-U", "calls,name", "-o", summary.name])
            return sum(int(line.split()[0]) for line in pathlib.Path(summary.name).read_text().splitlines()
                       if re.match(r"\s*\d+ (?!total)", line))

    def allocations(self, program, workload, url, count):
        return int(self.figures(program, workload, url, count, LD_PRELOAD=str(self.counter))["allocations"])


def slope(measure, program, workload, url, count, repeats=1):
    """The cost of one more request, without the start of the program and the first connection."""
    once, twice = (statistics.median(measure(program, workload, url, n) for _ in range(repeats))
                   for n in (count, 2 * count))
    return (twice - once) / count


def is_library(path):
    return "/libvexil." in path


def is_ours(path):
    return is_library(path) or path.endswith("/bench-vexil")


def number(value):
    return f"{value:,.0f}" if abs(value) >= 1000 else f"{value:,.2f}".rstrip("0").removesuffix(".")


def percent(ours, plain):
    return f"{(ours / plain - 1) * 100:+.1f} %"


def table(title, columns, rows):
    print(f"\n### {title}\n")
    print(f"| {' | '.join(columns)} |\n|{'---|' * len(columns)}")
    for row in rows:
        print(f"| {' | '.join(row)} |")
    sys.stdout.flush()


def small_counts(bench):
    for title, measure in (("Instructions a request", bench.instructions),
                           ("System calls a request", bench.system_calls),
                           ("Allocations a request", bench.allocations)):
        rows = []
        for workload, name in SMALL_WORKLOADS.items():
            bare, plain, ours = (slope(measure, program, form, bench.small_url(), SMALL) for program, form in
                                 (("plain", workload + "-bare"), ("plain", workload), ("vexil", workload)))
            rows.append((name, number(bare), number(plain), number(ours), percent(ours, plain)))
            kind = {bench.system_calls: ", system calls", bench.allocations: ", allocations"}.get(measure, "")
            bench.counts |= {f"{workload}, plain{kind}": plain, f"{workload}, vexil{kind}": ours}
        table(title, ("", "plain, bare", "plain, keeping headers and lines", "vexil", "vexil to the latter"), rows)


def s3_counts(bench):
    """Objects of 4 KiB. libcurl can sign with version 4, without the hash of the body."""
    rows = []
    for operation in ("get", "put"):
        values = [slope(bench.instructions, program, f"s3-{operation}{suffix}", bench.late, SMALL)
                  for program, suffix in (("plain", ""), ("plain", "-v4"), ("vexil", "-v2"), ("vexil", "-v4"))]
        rows.append((f"{operation.upper()} of 4 KiB", *map(number, values)))
        bench.counts |= {f"s3-{operation}-v2": values[2], f"s3-{operation}-v4": values[3]}
    table("Instructions an S3 request", ("", "plain, not signed", "plain, signed by libcurl (version 4)",
                                         "vexil, version 2", "vexil, version 4"), rows)


def s3_counts_over_tls(bench):
    """What the library costs more than the plain program is the same without TLS."""
    count = functools.partial(slope, bench.instructions)
    plain, ours = (count(program, workload, bench.secure_late, SMALL)
                   for program, workload in (("plain", "s3-put"), ("vexil", "s3-put-unsigned")))
    without_tls = count("plain", "s3-put", bench.late, SMALL)
    bench.counts["s3-put-unsigned"] = without_tls + ours - plain
    table("Instructions of a PUT of 4 KiB over https, the payload not signed",
          ("plain, not signed", "vexil, version 4", "more", "plain without TLS, and what vexil needs more"),
          [(number(plain), number(ours), number(ours - plain), number(without_tls + ours - plain))])


def listing_page():
    """A page of LISTED_KEYS objects, as Amazon sends it."""
    objects = "".join(f"<Contents><Key>photos/2026/11/23/img_{i:06}.jpg</Key>"
                      "<LastModified>2026-11-23T09:00:00.000Z</LastModified>"
                      f"<ETag>&quot;{i:032x}&quot;</ETag><Size>{i * 1234}</Size><StorageClass>STANDARD</StorageClass>"
                      "</Contents>" for i in range(LISTED_KEYS))
    return ('<?xml version="1.0" encoding="UTF-8"?>\n'
            '<ListBucketResult xmlns="http://s3.amazonaws.com/doc/2006-03-01/"><Name>static</Name><Prefix></Prefix>'
            f"<EncodingType>url</EncodingType><KeyCount>{LISTED_KEYS}</KeyCount><MaxKeys>{LISTED_KEYS}</MaxKeys>"
            f"<IsTruncated>false</IsTruncated>{objects}</ListBucketResult>")


def listing_counts(bench):
    """The web server sends the page for the bucket "static", whatever the query."""
    rows = []
    for workload, pages, name in (("list-v1", 4, "version 1"), ("list-v2", 4, "version 2, names encoded"),
                                  ("list-threads", 8, "version 2, in four threads")):
        bench.counts[workload] = slope(bench.instructions, "vexil", workload, bench.nginx, pages) / LISTED_KEYS
        rows.append((name, number(bench.counts[workload])))
    table("Instructions a key of a listing", ("", "vexil"), rows)
    bench.counts["lock waits"] = bench.lock_waits("list-threads", bench.nginx, LISTED_PAGES)
    table(f"{LISTED_PAGES} pages of a listing in four threads", ("waits for locks of the library",),
          [(number(bench.counts["lock waits"]),)])


def listing_clock(bench):
    """CPU of 80 pages, by one thread and by four at once, without the start of the program."""
    def cpu(workload, pages):
        return statistics.median(float(bench.figures("vexil", workload, bench.nginx, pages)["cpu_seconds"])
                                 for _ in range(ROUNDS))
    one, four = (cpu(workload, 80) - cpu(workload, 0) for workload in ("list-v2", "list-threads"))
    table(f"CPU of listings, median of {ROUNDS} rounds", ("20,000 keys", "80,000 keys", "the same in four threads"),
          [(f"{cpu('list-v2', 20) - cpu('list-v2', 0):.3f} s", f"{one:.3f} s", f"{four:.3f} s, {four / one:.2f} x")])


def beside_idle(bench):
    """One request after the other, while all other transfers wait for responses that never come."""
    rows = []
    for idle, count in IDLE_TRANSFERS.items():
        row = [f"{idle:,}"]
        for workload, most in (("multi", MOST_POLLED), ("multi-epoll", max(IDLE_TRANSFERS))):
            form = f"{workload}-{idle + 1}"
            if idle > most:
                row += ["", "", ""]
                continue
            plain, ours = (bench.counted(program, form, bench.small_url(), count) for program in ("plain", "vexil"))
            bench.counts |= {f"{form}, plain": plain, f"{form}, vexil": ours}
            row += [number(plain), number(ours), percent(ours, plain)]
        rows.append(row)
    table("Instructions a request, beside so many idle transfers",
          ("", "plain, curl_multi_poll", "vexil", "vexil to plain",
           "plain, curl_multi_socket_action and epoll", "vexil, AsyncEngine::Sockets", "vexil to plain"), rows)


def at_once(bench):
    """What the library itself needs: without libcurl, and what that calls."""
    rows = []
    for transfers, count in ALL_AT_ONCE.items():
        values = [bench.own_counted(f"{workload}-{transfers}", bench.small_url(), count) / transfers
                  for workload in ("all", "all-epoll")]
        bench.counts[f"own, {transfers} at once"] = values[0]
        rows.append((f"{transfers:,}", *map(number, values)))
    table("Own instructions a request, so many at once", ("", "vexil", "vexil, AsyncEngine::Sockets"), rows)
    rows = []
    for left in LEFT_RUNNING:
        own = bench.own_counted(f"remove-{left}", bench.small_url(), REMOVALS)
        bench.counts[f"own, removal beside {left}"] = own
        rows.append((f"{left:,}", number(own)))
    table("Own instructions of removeRequest() from another thread, beside so many others", ("", "vexil"), rows)


def queue_slots(bench):
    rows = [(f"{slots:,}", number(bench.own_counted(f"queue-{slots}", bench.small_url(), QUEUE_JOBS)))
            for slots in QUEUE_SLOTS]
    table("Own instructions a job of a queue with so many slots", ("", "vexil"), rows)
    rows = [(f"{transfers:,}",
             number(bench.own_counted(f"limited-of-{transfers}", bench.small_url(), LIMITED_ROUNDS) / LIMITED))
            for transfers in LIMITED_OF]
    table("Own instructions a GET of 4 KiB, 10 at once under one rate limit, of so many transfers", ("", "vexil"), rows)


def idle_worker(bench):
    bench.counts["wake-ups"] = int(bench.figures("vexil", "idle-worker", bench.small_url(), IDLE_SECONDS)["wake_ups"])
    table(f"Wake-ups of a worker without requests, in {IDLE_SECONDS} s", ("vexil",),
          [(number(bench.counts["wake-ups"]),)])


def body_counts(bench):
    for title, measure in (("Instructions a MiB", bench.instructions), ("Allocations a MiB", bench.allocations)):
        rows = []
        for workload, name in BODY_WORKLOADS.items():
            plain, ours = (slope(measure, program, workload, bench.body_url(workload), BODY, REPEATS)
                           for program in ("plain", "vexil"))
            rows.append((name, number(plain), number(ours), percent(ours, plain) if plain >= 1 else ""))
            if measure == bench.instructions:
                bench.counts |= {f"{workload}, plain": plain, f"{workload}, vexil": ours}
            else:
                bench.counts[f"{workload}, allocations"] = round(ours * BODY)
        table(title, ("", "plain", "vexil", "vexil to plain"), rows)


def peaks(bench):
    rows = []
    for workload, name in BODY_WORKLOADS.items():
        plain, ours = (int(bench.figures(program, workload, bench.body_url(workload), FULL_BODY)["peak_kibibytes"])
                       for program in ("plain", "vexil"))
        rows.append((name, *(f"{value / 1024:,.1f}" for value in (plain, ours))))
        if workload == "get-buffer":
            bench.counts["peak above the body"] = ours * 1024 - FULL_BODY * limits.MEBIBYTE
    table("Peak resident size with a body of 1 GiB, in MiB", ("", "plain", "vexil"), rows)


def heap(bench):
    rows = []
    for workload, figure, name in (("heap", "configured", "configured"),
                                   ("heap", "connected", "with a kept connection"),
                                   ("heap-active", "active", "waiting for its response")):
        plain, ours = (int(bench.figures(program, workload, bench.small_url(), HEAP_REQUESTS)[f"heap_{figure}"])
                       for program in ("plain", "vexil"))
        bench.counts[f"heap, {figure}"] = ours
        rows.append((name, number(plain), number(ours)))
    table("Heap of one request, in bytes", ("", "plain", "vexil"), rows)


def median_seconds(bench, runs, url, count):
    """The times of each run, a program with its workload; each round runs all of them."""
    seconds = [[] for _ in runs]
    for _ in range(ROUNDS):
        for (program, workload), values in zip(runs, seconds):
            values.append(float(bench.figures(program, workload, url, count)["seconds"]))
    return [statistics.median(values) for values in seconds]


def beside_plain(workload):
    return [(program, workload) for program in ("plain", "vexil")]


def wall_clock(bench):
    rows = []
    for workload, name in SMALL_WORKLOADS.items():
        url = bench.nginx + ("/dav/small" if workload == "put" else "/static/a.txt")
        values = median_seconds(bench, beside_plain(workload), url, CLOCKED_REQUESTS)
        plain, ours = (value / CLOCKED_REQUESTS * 1e6 for value in values)
        rows.append((name, f"{plain:.1f} µs", f"{ours:.1f} µs", percent(ours, plain)))
    for workload, name in BODY_WORKLOADS.items():
        plain, ours = median_seconds(bench, beside_plain(workload), bench.body_url(workload), FULL_BODY)
        rows.append((f"{name}, 1 GiB", f"{plain:.3f} s", f"{ours:.3f} s", percent(ours, plain)))
    table(f"Wall clock, median of {ROUNDS} alternating rounds", ("", "plain", "vexil", "vexil to plain"), rows)


def parts_clock(bench):
    """An object of 1 GiB in parts of 8 MiB, 8 at once, from or to a file."""
    rows = []
    for workload, name in (("put-parts", "put, the MD5 included"), ("get-parts", "get")):
        runs = [[bench.figures(program, workload, bench.bulk, FULL_BODY) for program in ("plain", "vexil")]
                for _ in range(ROUNDS)]
        for figure, form in (("seconds", "wall clock, s"), ("cpu_seconds", "CPU, s"), ("peak_kibibytes", "peak, KiB")):
            plain, ours = (statistics.median(float(run[i][figure]) for run in runs) for i in (0, 1))
            rows.append((f"{name}: {form}", number(plain), number(ours), percent(ours, plain)))
    table(f"1 GiB in 8 parts at once, median of {ROUNDS} alternating rounds",
          ("", "plain", "vexil", "vexil to plain"), rows)


def stream_clock(bench):
    """One PUT of 1 GiB, read once. The hashes that the library computes are measured alone, too."""
    rows = []
    for name, url, hashes in (("over https: MD5", bench.secure_bulk, "hash-md5"),
                              ("over http in signed chunks: MD5, SHA-256", bench.bulk, "hash-md5-sha256")):
        runs = [[float(bench.figures(program, workload, url, FULL_BODY)["cpu_seconds"])
                 for program, workload in (("plain", "put-stream"), ("vexil", "put-stream"), ("vexil", hashes))]
                for _ in range(ROUNDS)]
        plain, ours, hashing = (statistics.median(run[i] for run in runs) for i in range(3))
        rows.append((name, *(f"{value:.2f} s" for value in (plain, ours, hashing, ours - hashing)),
                     f"{(ours - hashing) / plain:.2f} x"))
    table(f"CPU of a PUT of 1 GiB from a stream, median of {ROUNDS} alternating rounds",
          ("", "plain", "vexil", "its hashes alone", "vexil without them", "to plain"), rows)


def program_counts(bench):
    program = bench.build / "bin" / "vexil"
    lists, deletes, _ = programs.deletions(program, 1)
    table("Requests of the program for 12,000 deletions", ("all", "of them to list"),
          [(number(lists + deletes), number(lists))])
    file, pipe = programs.peak_from_file(program, bench.bulk), programs.peak_from_pipe(program, bench.bulk, 16, 4)
    table("Peak memory of the program, 10 GiB in parts, in MiB",
          ("from a file", "from a pipe, 4 parts of 16 MiB at once"), [(f"{file:.1f}", f"{pipe:.1f}")])
    bench.counts |= {"deletions": deletes, "deletions, listing": lists,
                     "peak, from a file": file * limits.MEBIBYTE, "peak, from a pipe": pipe * limits.MEBIBYTE}


def program_clock(bench):
    seconds = programs.deletions(bench.build / "bin" / "vexil", ROUNDS)[2]
    table(f"CPU of the program for 12,000 deletions, median of {ROUNDS} rounds", ("vexil",), [(f"{seconds:.2f} s",)])


def removal_clock(bench):
    rows = []
    for left in LEFT_RUNNING:
        times = [float(bench.figures("vexil", f"remove-{left}", bench.small_url(), REMOVALS)["microseconds"])
                 for _ in range(ROUNDS)]
        rows.append((f"{left:,}", f"{statistics.median(times):.1f} µs"))
    table(f"Wall clock of removeRequest() from another thread, beside so many others, median of {ROUNDS} rounds",
          ("", "vexil"), rows)


def thread_clock(bench):
    values = median_seconds(bench, [("vexil", "get"), ("vexil", "get-thread")], bench.nginx + "/static/a.txt",
                            CLOCKED_REQUESTS)
    performed, handed_over = (value / CLOCKED_REQUESTS * 1e6 for value in values)
    table(f"Wall clock of a GET through the worker thread, median of {ROUNDS} alternating rounds",
          ("", "perform()", "thread", "more"),
          [(SMALL_WORKLOADS["get"], f"{performed:.1f} µs", f"{handed_over:.1f} µs",
            f"{handed_over - performed:.1f} µs")])


def raise_descriptor_limit():
    """A connection needs a descriptor in the program and one in the server."""
    hard = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    needed = max(IDLE_TRANSFERS) + 100
    if hard != resource.RLIM_INFINITY and hard < needed:
        sys.exit(f"The limit of open files is {hard}; {needed} are needed: ulimit -Hn {needed}")
    resource.setrlimit(resource.RLIMIT_NOFILE, (hard, hard))


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("build", type=pathlib.Path)
    parser.add_argument("--quick", action="store_true")
    options = parser.parse_args()
    raise_descriptor_limit()
    bench = Bench(options.build)
    with bench.servers():
        for measure in COUNTS + (() if options.quick else CLOCKS):
            measure(bench)
    rows, are_held = limits.check(bench.counts)
    table("Limits of counts", ("case", "counted", "limit", "aim", "measured", ""), rows)
    return 0 if are_held else 1


COUNTS = (small_counts, s3_counts, s3_counts_over_tls, listing_counts, beside_idle, at_once, queue_slots, idle_worker, body_counts,
          peaks, heap, program_counts)
CLOCKS = (wall_clock, thread_clock, removal_clock, listing_clock, parts_clock, stream_clock, program_clock)

if __name__ == "__main__":
    sys.exit(main())
