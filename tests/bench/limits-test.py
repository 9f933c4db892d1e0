"""Checks how the benchmark reads the output of its tools, and that a missed limit is told.

Usage: limits-test.py FOLDER_OF_THE_BENCHMARK
"""
import collections
import sys
import unittest

sys.path.insert(0, sys.argv.pop(1))
sys.dont_write_bytecode = True

import limits  # noqa: E402
import measure  # noqa: E402
import tool_output  # noqa: E402

CALLGRIND_FILE = """\
# callgrind format
events: Ir
ob=(1) /build/bin/bench-vexil
fl=(1)
fn=(1) main
0 10
cob=(2) /build/lib/libvexil.so.0.1.0
cfn=(2) perform
calls=3 0
0 9000
fn=(3) helper
0 5
cfn=(1)
calls=1 0
0 7000
ob=(2)
fn=(2)
0 100
cob=(3) /usr/lib/libcurl.so.4
cfn=(4) curl_easy_perform
calls=1 0
0 8000
cob=(4) /usr/lib/libc.so.6
cfn=(5) malloc
calls=2 0
0 40
ob=(3)
fn=(4)
0 7000
cob=(2)
cfn=(6) callback
calls=1 0
0 300
ob=(2)
fn=(6)
+1 300
ob=(4)
fn=(5)
0 40
"""

LIBRARY_WAIT = """\
101 futex(0x55, FUTEX_WAIT_PRIVATE, 2, NULL) = 0
 > /usr/lib/x86_64-linux-gnu/libc.so.6(pthread_mutex_lock+0x1) [0x1]
 > /usr/lib/x86_64-linux-gnu/libstdc++.so.6.0.30(_ZNSt5mutex4lockEv+0x1) [0x1]
 > /build/lib/libvexil.so.0.1.0(take+0x1) [0x1]
 > /build/bin/bench-vexil(main+0x1) [0x1]
"""
OTHER_WAIT = """\
102 futex(0x56, FUTEX_WAIT_BITSET_PRIVATE, 2, NULL) = 0
 > /usr/lib/x86_64-linux-gnu/libc.so.6(pthread_mutex_lock+0x1) [0x1]
 > /usr/lib/x86_64-linux-gnu/libcrypto.so.3(take+0x1) [0x1]
 > /build/lib/libvexil.so.0.1.0(sign+0x1) [0x1]
"""
JOIN = """\
100 futex(0x57, FUTEX_WAIT_BITSET|FUTEX_CLOCK_REALTIME, 101, NULL, FUTEX_BITSET_MATCH_ANY) = 0
 > /usr/lib/x86_64-linux-gnu/libc.so.6(pthread_join+0x1) [0x1]
 > /usr/lib/x86_64-linux-gnu/libstdc++.so.6.0.30(std::thread::join()+0x1) [0x1]
 > /build/bin/bench-vexil((anonymous namespace)::listPages(int)+0x1) [0x1]
 > /build/lib/libvexil.so.0.1.0(never+0x1) [0x1]
"""
WAKE = LIBRARY_WAIT.replace("FUTEX_WAIT", "FUTEX_WAKE")


class ToolOutputTest(unittest.TestCase):
    def test_own_instructions(self):
        own = tool_output.own_instructions(CALLGRIND_FILE.splitlines(), measure.is_ours, lambda path: "curl" in path)
        self.assertEqual(own, 10 + 5 + 100 + 40 + 300)

    def test_lock_waits(self):
        calls = LIBRARY_WAIT + OTHER_WAIT + JOIN + WAKE + LIBRARY_WAIT
        self.assertEqual(tool_output.lock_waits(calls, measure.is_library), 2)
        self.assertEqual(tool_output.lock_waits(OTHER_WAIT + JOIN + WAKE, measure.is_library), 0)


class LimitsTest(unittest.TestCase):
    def check(self, value):
        """The rows for one limit of 10."""
        known, limits.LIMITS = limits.LIMITS, (limits.Limit("case", limits.BYTES, 10, limits.count("name"), 5),)
        try:
            return limits.check({"name": value})
        finally:
            limits.LIMITS = known

    def test_a_count_at_the_limit_holds_it(self):
        self.assertEqual(self.check(10), ([("case", "bytes", "10", "5", "10", "held")], True))

    def test_a_count_above_the_limit_is_told(self):
        self.assertEqual(self.check(11), ([("case", "bytes", "10", "5", "11", "**missed**")], False))

    def test_each_limit_is_missed_by_itself(self):
        for limit in limits.LIMITS:
            rows, are_held = limits.check(CountsThatMiss(limit))
            self.assertFalse(are_held, limit.case)
            self.assertIn("**missed**", [row[-1] for row in rows if row[0] == limit.case], limit.case)


class CountsThatMiss(dict):
    """Counts with which one limit is missed: what it looks at first is a hundred times as much as the limit."""

    def __init__(self, limit):
        seen = Recorder()
        limit.compute(seen)
        super().__init__({seen.names[0]: 100 * (limit.most + 1)})

    def __missing__(self, name):
        return 1


class Recorder(collections.defaultdict):
    """Remembers the names it is asked for."""

    def __init__(self):
        super().__init__(lambda: 1)
        self.names = []

    def __getitem__(self, name):
        self.names.append(name)
        return super().__getitem__(name)


if __name__ == "__main__":
    unittest.main()
