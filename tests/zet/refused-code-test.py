#!/usr/bin/env python3
"""Checks that mistakes with the base types do not compile.

Usage: refused-code-test.py SOURCE_FOLDER COMPILER...

Each compiler must report an error in each line of RefusedCode.cpp that is marked with "// refused", and in no other
line.
"""
import re
import subprocess
import sys
from pathlib import Path


def error_lines(compiler, root, file):
    limit = "-ferror-limit=0" if "clang" in Path(compiler).name else "-fmax-errors=0"
    result = subprocess.run(
        [compiler, "-std=c++20", "-Wall", "-Wextra", "-Wconversion", "-Werror", "-fsyntax-only", limit, "-I", root, file],
        capture_output=True, text=True, env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"})
    if not re.search(r"\berror: ", result.stderr):
        sys.exit(f"{compiler} reports no error:\n{result.stderr}")
    strange = [line for line in result.stderr.splitlines()
               if re.search(r"error: ", line) and not line.startswith(f"{file}:")]
    if strange:
        sys.exit(f"{compiler}: errors outside the file:\n" + "\n".join(strange))
    return {int(number) for number in re.findall(rf"^{re.escape(str(file))}:(\d+):\d+: error: ", result.stderr, re.M)}


def main():
    root, *compilers = sys.argv[1:]
    file = Path(root) / "tests/zet/RefusedCode.cpp"
    refused = {number for number, line in enumerate(file.read_text().splitlines(), 1) if line.endswith("// refused")}
    failed = not refused or not compilers
    for compiler in compilers:
        errors = error_lines(compiler, root, file)
        for number in sorted(refused - errors):
            print(f"{file}:{number}: {compiler} accepts this line")
        for number in sorted(errors - refused):
            print(f"{file}:{number}: {compiler} refuses this line")
        failed = failed or errors != refused
    return 1 if failed else 0


sys.exit(main())
