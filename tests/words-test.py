#!/usr/bin/env python3
"""Checks the words that docs/style.md replaces by usual ones: in comments, texts, documents and commit messages.

Usage: words-test.py [SOURCE_FOLDER [PATH...]]   the files below SOURCE_FOLDER, by default of this project
       words-test.py --commits RANGE             the commit messages of a range as git log takes it

Checked are comments and string literals of the product, comments of the tests (their texts are data), comments and
docstrings of Python, and all of scripts, CMake files and Markdown. Names in `backticks` are not.
"""
import io
import re
import subprocess
import sys
import tokenize
from pathlib import Path

# What must not stand there, and what to write for it.
WORDS = (
    (r"behind", "after, at the end of, in response to"),
    (r"anew", "again, newly"),
    (r"blanks?", "space; an empty line"),
    (r"remarks?", "libcurl message; note"),
    (r"shall", "must; will; do not"),
    (r"whoever", "a caller who, code that"),
    (r"answers?", "response (HTTP, S3), reply (FTP, SMTP); responds, replies"),
    (r"(?:is|are|was|were)\s+none", "does not exist, there is no, is missing, is not one"),
    (r"but\s+for", "unless, except"),
    (r"in\s+hand", "owns, keeps a reference to"),
)
PATTERN = re.compile("|".join(rf"\b({word})\b" for word, _ in WORDS), re.IGNORECASE)

# The style guide and this script have to name the words.
ALLOWED_FILES = ("docs/style.md", "tests/words-test.py")
FOLDERS = ("apps", "bench", "cmake", "docs", "examples", "fuzz", "scripts", "sigil", "tests", "vexil", "windows", "zet")
PRODUCT = ("apps/", "sigil/", "vexil/", "zet/", "examples/")

CPP_TOKEN = re.compile(
    r'(?P<raw>R"(?P<tag>[^(\s]*)\(.*?\)(?P=tag)")|(?P<comment>//[^\n]*|/\*.*?\*/)'
    r"|(?P<text>\"(?:\\.|[^\"\\\n])*\")|(?P<char>'(?:\\.|[^'\\\n])+')",
    re.DOTALL)
CODE = re.compile(r"\S")
MAX_SUBJECT = 65
MAX_BODY_LINE = 72


def hide_code(code):
    """Stands in for code: as long, and no word ends or begins in it."""
    return CODE.sub("\0", code)


def prose_of_cpp(code, with_texts):
    """The source with all hidden that is not prose. Line ends keep their places."""
    parts = []
    end = 0
    for found in CPP_TOKEN.finditer(code):
        parts.append(hide_code(code[end:found.start()]))
        token = found.group()
        if found.lastgroup == "comment" or found.group("comment"):
            parts.append(re.sub(r"(?m)^(\s*)(///?<?|/\*+|\*+/?)", lambda mark: " " * len(mark.group()), token))
        elif with_texts and (found.group("text") or found.group("raw")):
            parts.append(token.replace('"', " ").replace("\\n", "  "))
        else:
            parts.append(hide_code(token))
        end = found.end()
    parts.append(hide_code(code[end:]))
    return "".join(parts)


def prose_of_python(code):
    """The comments and docstrings, each at its place."""
    lines = [""] * (code.count("\n") + 2)
    previous = tokenize.INDENT
    for token in tokenize.generate_tokens(io.StringIO(code).readline):
        is_docstring = token.type == tokenize.STRING and previous in (tokenize.INDENT, tokenize.NEWLINE, tokenize.NL)
        if token.type == tokenize.COMMENT or is_docstring:
            for number, line in enumerate(token.string.split("\n"), token.start[0]):
                lines[number - 1] += "\0 " + line.lstrip("# ") if token.start[1] else line.lstrip("# ")
        if token.type not in (tokenize.COMMENT, tokenize.DEDENT):
            previous = token.type
    return "\n".join(lines)


def prose_of(path, text):
    if path.endswith((".h", ".cpp")):
        return prose_of_cpp(text, path.startswith(PRODUCT))
    if path.endswith(".py"):
        return prose_of_python(text)
    return re.sub(r"(?m)^(\s*)#+", r"\1", text)


def findings(text):
    """The words found: the offset, the word, what to write."""
    without_names = re.sub(r"`[^`\n]+`", lambda name: hide_code(name.group()), text)
    for found in PATTERN.finditer(without_names):
        before = without_names[max(0, found.start() - 200):found.start()]
        if found.group().lower().endswith("none") and re.search(r"\bthere\s+$", before, re.IGNORECASE):
            continue  # "there is none" is usual
        yield found.start(), " ".join(found.group().split()), WORDS[found.lastindex - 1][1]


def checked_files(root, below):
    names = [*root.glob("*.md"), root / "run", root / "test", root / "test-windows", root / ".ci/run",
             root / "CMakeLists.txt"]
    for folder in FOLDERS:
        names += (root / folder).rglob("*")
    for file in sorted(names):
        path = file.relative_to(root).as_posix()
        is_text = file.suffix in (".h", ".cpp", ".py", ".md", ".sh", ".cmake", ".txt", ".in") or file.parent in (
            root, root / ".ci")
        if file.is_file() and is_text and path not in ALLOWED_FILES and path.startswith(below):
            yield file, path


def check_files(root, below):
    count = 0
    for file, path in checked_files(root, below):
        count += 1
        prose = prose_of(path, file.read_text(encoding="utf-8"))
        for offset, word, better in findings(prose):
            yield f'{path}:{prose.count(chr(10), 0, offset) + 1}: "{word}": write {better}'
    if count == 0:
        yield f"words-test.py: no file to check in {root}"


def check_message(commit, message):
    subject, _, body = message.partition("\n")
    if len(subject) > MAX_SUBJECT:
        yield f"{commit}: the subject has {len(subject)} characters, at most {MAX_SUBJECT} are wanted"
    for line in body.split("\n"):
        # What is indented, or has no space to be wrapped at, is quoted.
        if len(line) > MAX_BODY_LINE and " " in line.strip() and not line.startswith("    "):
            yield f'{commit}: a line of more than {MAX_BODY_LINE} characters: "{line}"'
    for _, word, better in findings(message):
        yield f'{commit}: "{word}": write {better}'


def check_commits(commits):
    log = subprocess.run(["git", "log", "--no-merges", "-z", "--format=%h%n%B", commits, "--"],
                         check=True, capture_output=True, text=True, encoding="utf-8", errors="replace").stdout
    for entry in filter(None, log.split("\0")):
        commit, _, message = entry.partition("\n")
        yield from check_message(commit, message)


def main(arguments):
    if arguments[:1] == ["--commits"] and len(arguments) == 2:
        failures = list(check_commits(arguments[1]))
    elif not arguments or not arguments[0].startswith("-"):
        root = Path(arguments[0] if arguments else Path(__file__).parent.parent).resolve()
        failures = list(check_files(root, tuple(arguments[1:]) or ("",)))
    else:
        sys.exit(__doc__)
    print("\n".join(failures) or "no word has to be replaced")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main(sys.argv[1:])
