#!/usr/bin/env python3
"""Checks how the source tree is laid out: who may include whom, and what the build knows of.

Usage: layout-test.py SOURCE_FOLDER

- A room includes only itself and the rooms below it, in the libraries and in the program. Programs and examples
  include public headers of the libraries only.
- Public headers include nothing of wxWidgets or OpenSSL, and have no `long` in them, which has another size
  elsewhere (`long long` has not).
- POSIX and Windows headers are for ...Posix and ...Windows files.
- Each source file of the libraries and of the program, and each test, stands in a CMakeLists.txt.
- No include of ours leads nowhere.
- A line with a comment has at most 110 columns.
- A string literal of the product is not broken within a word, nor into pieces of a few words.
- The header of the request stays short enough to read.
- The name of a test suite ends with "Test".
"""
import re
import sys
from pathlib import Path

ROOMS_BELOW = {
    "zet": (),
    "sigil": ("zet",),
    "vexil": ("zet", "sigil"),
    "vexil/net": ("zet", "sigil", "vexil"),
    "vexil/proxy": ("zet", "sigil", "vexil", "vexil/net"),
    "vexil/async": ("zet", "sigil", "vexil", "vexil/net"),
    "vexil/s3": ("zet", "sigil", "vexil", "vexil/net", "vexil/async"),
    "vexil/ftp": ("zet", "sigil", "vexil", "vexil/net"),
    "vexil/mail": ("zet", "sigil", "vexil", "vexil/net"),
}
# The rooms of the program, which may also include all public headers of the libraries.
PROGRAM_ROOMS_BELOW = {
    "base": (),
    "platform": ("base",),
    "command": ("base",),
    "console": ("base", "platform"),
    "files": ("base", "platform", "console"),
    "index": ("base",),
    "session": ("base", "platform", "console", "files"),
    "transfer": ("base", "platform", "console", "session"),
    "mirror": ("base", "platform", "command", "console", "files", "index", "session", "transfer"),
    "http": ("base", "command", "console", "files", "session", "transfer"),
    "mail": ("base", "platform", "command", "console", "files", "session"),
    "s3": ("base", "platform", "command", "console", "files", "session", "transfer", "mirror"),
    "ftp": ("base", "platform", "command", "console", "files", "session", "transfer", "mirror"),
    "backup": ("base", "platform", "command", "console", "files", "index", "session", "transfer", "mirror", "s3", "ftp"),
    "program": (
        "base", "platform", "command", "console", "session", "mirror", "http", "mail", "s3", "ftp", "backup"),
}
PROGRAM = "apps/vexil"
LIBRARIES = ("zet", "sigil", "vexil")
PROGRAMS = ("apps", "examples")
SYSTEM_HEADER = re.compile(
    r"(unistd|dlfcn|pthread|fcntl|netdb|poll|dirent|pwd|grp|termios|strings|syslog|glob|sched|ifaddrs|direct|io"
    r"|windows|winsock2?|ws2tcpip|winhttp|process|shlobj)\.h|(sys|arpa|netinet|net)/.*\.h")
INCLUDE = re.compile(r'^[ \t]*#[ \t]*include[ \t]*(?:"([^"]+)"|<([^>]+)>)', re.MULTILINE)
MAX_COLUMNS = 110
COMMENT_FOLDERS = ("apps", "bench", "examples", "fuzz", "sigil", "tests", "vexil", "zet")
MAX_LINES = {"vexil/net/NetRequest.h": 450}
MIN_PIECE = 40  # characters of a piece of a literal between two others
LITERAL_AT_END = re.compile(r'"((?:\\.|[^"\\])*)"$')
LITERAL_AT_BEGINNING = re.compile(r'\s*"((?:\\.|[^"\\])*)"')
COMMENT_OR_TEXT = re.compile(r'//[^\n]*|/\*.*?\*/|"(?:\\.|[^"\\\n])*"|\'(?:\\.|[^\'\\\n])+\'', re.DOTALL)


def source_files(root, *folders):
    for folder in folders:
        for file in sorted((root / folder).rglob("*")):
            if file.suffix in (".h", ".cpp"):
                yield file, file.relative_to(root).as_posix()


def room_of(path):
    return path.rpartition("/")[0]


def private_headers(root):
    names = set()
    for file in [root / "CMakeLists.txt", *(root / "cmake").glob("*.cmake")]:
        for found in re.findall(r"set\(VEXIL_PRIVATE_HEADERS([^)]*)\)", file.read_text()):
            names.update(found.split())
    return names


def check_room(path, own_includes):
    room = room_of(path)
    if room not in ROOMS_BELOW:
        yield f"{path}: no room is called {room}"
        return
    for header in own_includes:
        target = room_of(header)
        if target != room and target not in ROOMS_BELOW[room]:
            yield f'{path}: {room} may not include "{header}"'


def check_program(path, own_includes, private):
    for header in own_includes:
        if header.startswith(tuple(f"{library}/" for library in LIBRARIES)):
            if header.rpartition("/")[2] in private:
                yield f'{path}: "{header}" is no public header'
        elif room_of(path).partition("/")[0] != header.partition("/")[0]:
            yield f'{path}: a program may not include "{header}"'


def check_program_room(path, own_includes):
    room = room_of(path).removeprefix(f"{PROGRAM}/")
    if room not in PROGRAM_ROOMS_BELOW:
        yield f"{path}: no room of the program is called {room}"
        return
    for header in own_includes:
        target = room_of(header).removeprefix(f"{PROGRAM}/")
        if header.startswith(f"{PROGRAM}/") and target != room and target not in PROGRAM_ROOMS_BELOW[room]:
            yield f'{path}: {room} may not include "{header}"'


def check_order(table):
    """Rooms stand in their order, so that no room can be below itself."""
    rooms = list(table)
    for number, room in enumerate(rooms):
        for below in table[room]:
            if below not in rooms[:number]:
                yield f"layout-test.py: {room} may include {below}, which does not stand above it in the table"


def check_public_header(path, code, system_includes):
    for header in system_includes:
        if header.startswith(("wx/", "openssl/")):
            yield f"{path}: a public header may not include <{header}>"
    without = COMMENT_OR_TEXT.sub(lambda found: "\n" * found.group().count("\n"), code)
    without = re.sub(r"\blong\s+long\b", "", without)
    for number, line in enumerate(without.split("\n"), 1):
        if re.search(r"\blong\b", line):
            yield f"{path}:{number}: `long` in a public header"


def check_system_headers(path, system_includes):
    if path.endswith(("Posix.cpp", "Posix.h", "Windows.cpp", "Windows.h")):
        return
    for header in system_includes:
        if SYSTEM_HEADER.fullmatch(header):
            yield f"{path}: <{header}> is for ...Posix and ...Windows files"


def check_includes(root, private):
    for file, path in source_files(root, *LIBRARIES, *PROGRAMS):
        code = file.read_text()
        own_includes = [own for own, _ in INCLUDE.findall(code) if own]
        system_includes = [system for _, system in INCLUDE.findall(code) if system]
        is_library = path.startswith(tuple(f"{library}/" for library in LIBRARIES))
        yield from (check_room(path, own_includes) if is_library else check_program(path, own_includes, private))
        if path.startswith(f"{PROGRAM}/"):
            yield from check_program_room(path, own_includes)
        yield from check_system_headers(path, system_includes)
        if is_library and path.endswith(".h") and file.name not in private:
            yield from check_public_header(path, code, system_includes)
        for header in own_includes:
            if not (root / header).is_file():
                yield f'{path}: there is no "{header}" below the root'
            elif path.endswith(".h") and file.name not in private and header.rpartition("/")[2] in private:
                yield f'{path}: a public header may not include the private "{header}"'


def check_comments(root):
    for file, path in source_files(root, *COMMENT_FOLDERS):
        for number, line in enumerate(file.read_text(encoding="utf-8").split("\n"), 1):
            if "//" in line and len(line) > MAX_COLUMNS:
                yield f"{path}:{number}: the line has {len(line)} columns, at most {MAX_COLUMNS} are wanted"


def check_pieces(path, number, line, next_line):
    """A literal at the end of a line, and its continuation in the next line."""
    piece = LITERAL_AT_END.search(line)
    rest = LITERAL_AT_BEGINNING.match(next_line)
    if not piece or not rest or line.lstrip().startswith("//"):
        return
    if re.search(r"\w$", piece[1]) and re.match(r"\w", rest[1]) and not re.search(r"\\[nrtx]\w*$", piece[1]):
        yield f'{path}:{number}: a literal is broken within a word: "{piece[1][-20:]}"'
    if line.lstrip().startswith('"') and len(piece[1]) < MIN_PIECE and re.search(r"[\w,;] $", piece[1]):
        yield f'{path}:{number}: a literal is broken into short pieces: "{piece[1]}"'


def check_literals(root):
    for file, path in source_files(root, *LIBRARIES, *PROGRAMS):
        lines = file.read_text(encoding="utf-8").split("\n")
        for number, (line, next_line) in enumerate(zip(lines, lines[1:]), 1):
            yield from check_pieces(path, number, line, next_line)


def check_lengths(root):
    for path, limit in MAX_LINES.items():
        count = (root / path).read_text(encoding="utf-8").count("\n")
        if count > limit:
            yield f"{path}: {count} lines, at most {limit} are wanted"


def check_suites(root):
    macro = re.compile(r"^(?:TYPED_)?TEST(?:_F|_P)?\((\w+)", re.MULTILINE)
    for file, path in source_files(root, "tests"):
        for suite in macro.findall(file.read_text(encoding="utf-8")):
            if not suite.endswith("Test"):
                yield f"{path}: the name of the test suite {suite} does not end with \"Test\""


def listed_files(root):
    """Files that a CMakeLists.txt names, with a variable for the platform standing for both."""
    listed = set()
    for folder in (*LIBRARIES, PROGRAM, "tests"):
        for cmake in (root / folder).rglob("CMakeLists.txt"):
            text = re.sub(r"#[^\n]*", "", cmake.read_text())
            for name in re.findall(r"[\w./${}-]+\.cpp\b", text):
                for platform in ("Posix", "Windows"):
                    listed.add((cmake.parent / re.sub(r"\$\{\w+\}", platform, name)).resolve())
    return listed


def check_lists(root):
    listed = listed_files(root)
    for file, path in source_files(root, *LIBRARIES, PROGRAM, "tests"):
        must_be_listed = path.endswith(".cpp") if not path.startswith("tests/") else path.endswith("Test.cpp")
        if must_be_listed and file.resolve() not in listed:
            yield f"{path}: stands in no CMakeLists.txt"


def main():
    root = Path(sys.argv[1]).resolve()
    private = private_headers(root)
    if not private or not any(source_files(root, *LIBRARIES)):
        sys.exit(f"layout-test.py: {root} is not the source tree")
    failures = [*check_order(ROOMS_BELOW), *check_order(PROGRAM_ROOMS_BELOW), *check_includes(root, private),
                *check_comments(root), *check_literals(root), *check_lengths(root), *check_suites(root),
                *check_lists(root)]
    print("\n".join(failures) or "the layout holds")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
