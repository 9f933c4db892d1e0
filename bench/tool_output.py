"""Reads what callgrind and strace write; used by measure.py."""

import re

CALLGRIND = ("--tool=callgrind", "--dump-line=no", "--compress-pos=no")
STRACE_OF_LOCKS = ("-f", "-k", "-q", "-e", "trace=futex", "-e", "signal=none")

SYSTEM_LIBRARY = re.compile(r"/(libc|libstdc\+\+|libpthread)\.so")


def own_instructions(lines, is_ours, is_foreign):
    """The instructions of our objects, and of what they call in others: the C library, for example.

    is_ours and is_foreign get the path of an object. Calls from ours into a foreign one do not count.
    lines is a file of callgrind. The line after "calls=" has the cost of the calls, each other one with numbers
    that of the function itself.
    """
    names = {}

    def name_of(text):
        number, name = re.fullmatch(r"(\(\d+\))? ?(.*)", text).groups()
        return names.setdefault(number, name) if number else name

    total, here, called, is_call = 0, "", None, False
    for line in lines:
        key, _, value = line.partition("=")
        if key == "ob":
            here = name_of(value.strip())
        elif key == "cob":
            called = name_of(value.strip())
        elif key == "calls":
            is_call = True
        elif re.match(r"[0-9+*-]", line):
            target = called or here
            if is_ours(here) and not (is_call and (is_ours(target) or is_foreign(target))):
                total += int(line.split()[1])
            if is_call:
                called, is_call = None, False
    return total


def lock_waits(calls, is_library):
    """How often a lock of the library was waited for. calls is the output of strace with STRACE_OF_LOCKS.

    What took a lock is the first in the stack that is no library of the system.
    """
    count = 0
    for call in re.split(r"(?m)^(?=\d+ )", calls):
        if "FUTEX_WAIT" in call.partition("\n")[0]:
            objects = re.findall(r"(?m)^ > (\S+?)\(", call)
            count += is_library(next((path for path in objects if not SYSTEM_LIBRARY.search(path)), ""))
    return count
