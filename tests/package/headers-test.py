#!/usr/bin/env python3
"""Checks that the public headers are complete and free of warnings, with each compiler that a user may have.

Usage: headers-test.py SOURCE_FOLDER COMPILER...

Each compiler reads all headers together, in both orders, and SurfaceTest.cpp, which uses every public name. The build
shows that a header is complete in itself if its source file includes it first. The first compiler reads each of the
others alone.
"""
import re
import subprocess
import sys
from pathlib import Path

LIBRARIES = ("zet", "sigil", "vexil")
OPTIONS = ["-std=c++20", "-Wall", "-Wextra", "-Wpedantic", "-Werror", "-fsyntax-only", "-x", "c++"]


def find_public_headers(root):
    private = set()
    for file in [root / "CMakeLists.txt", *(root / "cmake").glob("*.cmake")]:
        for found in re.findall(r"set\(VEXIL_PRIVATE_HEADERS([^)]*)\)", file.read_text()):
            private.update(found.split())
    return sorted(header.relative_to(root).as_posix() for library in LIBRARIES
                  for header in (root / library).rglob("*.h") if header.name not in private)


def is_first_of_its_source(root, header):
    source = (root / header).with_suffix(".cpp")
    if not source.exists():
        return False
    first = re.search(r"^ *# *include *(\S+)", source.read_text(), re.MULTILINE)
    return bool(first) and first.group(1) == f'"{header}"'


def includes(headers):
    return "".join(f'#include "{header}"\n' for header in headers)


def check(compiler, root, name, text):
    command = [compiler, *OPTIONS, "-Wthread-safety"] if "clang" in Path(compiler).name else [compiler, *OPTIONS]
    result = subprocess.run([*command, "-I", str(root), "-"], input=text, capture_output=True, text=True,
                            env={"LC_ALL": "C", "PATH": "/usr/bin:/bin"})
    if result.returncode == 0:
        return True
    print(f"{Path(compiler).name} refuses {name}:\n{result.stderr}")
    return False


def main():
    root = Path(sys.argv[1])
    compilers = sys.argv[2:]
    headers = find_public_headers(root)
    texts = {
        "all public headers": includes(headers),
        "all public headers in reverse order": includes(reversed(headers)),
        "SurfaceTest.cpp": (root / "tests/package/SurfaceTest.cpp").read_text(),
    }
    results = [check(compiler, root, name, text) for compiler in compilers for name, text in texts.items()]
    results += [check(compilers[0], root, header, includes([header])) for header in headers
                if not is_first_of_its_source(root, header)]
    sys.exit(0 if headers and compilers and all(results) else 1)


if __name__ == "__main__":
    main()
