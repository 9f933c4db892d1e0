"""The limits of what measure.py counts. They are counts only: a time depends on the other load of the machine."""

import dataclasses
from typing import Callable

MEBIBYTE = 1 << 20
MEGABYTE = 1000 * 1000


@dataclasses.dataclass(frozen=True)
class Limit:
    case: str
    kind: str  # what is counted
    most: float
    compute: Callable[[dict], float]  # from the counts by name
    aim: float | None = None  # if the limit only guards what was reached; docs/performance.md tells why


def count(name):
    return lambda counts: counts[name]


def ratio(name, other):
    return lambda counts: counts[name] / counts[other]


def to_plain(workload, plain=None):
    return ratio(f"{workload}, vexil", f"{plain or workload}, plain")


def more_calls(workload):
    """A poll more or less among some hundred requests does not count."""
    ours, plain = (f"{workload}, {program}, system calls" for program in ("vexil", "plain"))
    return lambda counts: round(counts[ours] - counts[plain])


RATIO = "instructions, ratio"
INSTRUCTIONS = "instructions"
BYTES = "bytes"

LIMITS = (
    Limit("GET, request reused, to the plain program", RATIO, 1.00, to_plain("get")),
    Limit("GET, reset before each, to the plain program", RATIO, 1.03, to_plain("reset")),
    Limit("PUT of 4 KiB, to the plain program", RATIO, 1.02, to_plain("put")),
    Limit("GET, a new request each, to the plain program", RATIO, 1.10, to_plain("new")),
    *(Limit(f"{case}, to the plain program", "system calls more", 0, more_calls(workload)) for workload, case in
      (("get", "GET, request reused"), ("reset", "GET, reset before each"), ("put", "PUT of 4 KiB"),
       ("new", "GET, a new request each"))),
    Limit("GET, request reused", "allocations", 36, count("get, vexil, allocations")),
    Limit("GET beside 0 idle transfers, to an epoll loop", RATIO, 1.05, to_plain("multi-epoll-1")),
    Limit("GET beside 900 idle transfers, to an epoll loop", RATIO, 1.10, to_plain("multi-epoll-901")),
    Limit("GET beside 10,000 idle transfers, to an epoll loop", RATIO, 1.15, to_plain("multi-epoll-10001")),
    Limit("own share of a GET, 2,000 at once to 100", RATIO, 1.10, ratio("own, 2000 at once", "own, 100 at once")),
    Limit("removeRequest() beside 4,000 requests to 10", RATIO, 2.0,
          ratio("own, removal beside 4000", "own, removal beside 10")),
    Limit("S3 GET of 4 KiB, version 2", INSTRUCTIONS, 131_000, count("s3-get-v2")),
    Limit("S3 GET of 4 KiB, version 4", INSTRUCTIONS, 188_400, count("s3-get-v4"), 145_000),
    Limit("S3 PUT of 4 KiB, version 2", INSTRUCTIONS, 198_000, count("s3-put-v2"), 170_000),
    Limit("S3 PUT of 4 KiB, version 4, payload not signed, without TLS", INSTRUCTIONS, 254_300,
          count("s3-put-unsigned"), 150_000),
    Limit("listing, version 1, a key", INSTRUCTIONS, 30_000, count("list-v1")),
    Limit("listing, version 2, a key", INSTRUCTIONS, 30_000, count("list-v2")),
    Limit("four listings in four threads, to the same in one", RATIO, 1.10, ratio("list-threads", "list-v2")),
    Limit("four listings in four threads", "waits for locks of the library", 0, count("lock waits")),
    Limit("GET into the buffer, a MiB, to the plain program", RATIO, 1.02, to_plain("get-buffer")),
    Limit("GET into a sink, 128 MiB", "allocations", 0, count("get-sink, allocations")),
    Limit("PUT from a source, 128 MiB", "allocations", 0, count("put-source, allocations")),
    Limit("12,000 deletions by the program, without the listing", "requests", 12, count("deletions")),
    Limit("12,000 deletions by the program: the listing", "requests", 12, count("deletions, listing")),
    Limit("heap of a request, configured", BYTES, 7_790, count("heap, configured"), 7_000),
    Limit("heap of a request, with a kept connection", BYTES, 23_160, count("heap, connected"), 22_000),
    Limit("heap of a request, active", BYTES, 32_000, count("heap, active")),
    Limit("peak above a body of 1 GiB in memory", BYTES, 15_970_000, count("peak above the body"),
          12 * MEGABYTE),
    Limit("peak, 10 GiB from a file", BYTES, 40 * MEBIBYTE, count("peak, from a file")),
    Limit("peak, 10 GiB from a pipe, 4 parts of 16 MiB", BYTES, (4 * 16 + 40) * MEBIBYTE, count("peak, from a pipe")),
    Limit("idle worker, in 5 s", "wake-ups", 0, count("wake-ups")),
)


def format_count(value, kind):
    return f"{value:.3f} x" if kind == RATIO else f"{value:,.0f}"


def check(counts):
    """The rows of the table, and whether all limits are held."""
    rows, are_held = [], True
    for limit in LIMITS:
        measured = limit.compute(counts)
        is_held = measured <= limit.most
        are_held = are_held and is_held
        rows.append((limit.case, limit.kind, format_count(limit.most, limit.kind),
                     "" if limit.aim is None else format_count(limit.aim, limit.kind),
                     format_count(measured, limit.kind), "held" if is_held else "**missed**"))
    return rows, are_held
