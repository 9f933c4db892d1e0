#!/usr/bin/python3
"""Checks that tables of files in the documents name every file that they should, and no other.

Usage: files-test.py PROJECT_DIR

A table whose first column is called "file" comes after a line "<!-- files of FOLDER: PATTERN... -->". Its first column
names, in `backticks` and relative to FOLDER, exactly the files that match a pattern. `A.{h,cpp}` names two files.
"""
import pathlib
import re
import sys

MARKER = re.compile(r"<!-- files of (\S+): (.+?) -->")
TABLE = re.compile(r"^\| *files? *\|.*\n\|[-|: ]+\|\n((?:\|.*\n)+)", re.MULTILINE)


def expand(name):
    braces = re.fullmatch(r"(.*)\{(.*)\}(.*)", name)
    if not braces:
        return [name]
    return [braces[1] + part + braces[3] for part in braces[2].split(",")]


def named_files(folder, rows):
    for row in rows.splitlines():
        for name in re.findall(r"`([^`]+)`", row.split("|")[1]):
            for file in expand(name):
                yield (folder / file).resolve()


def check_table(project, where, marker, rows):
    if not marker:
        yield f'{where}: no line "<!-- files of FOLDER: PATTERN... -->" before the table of files'
        return
    folder = (project / marker[1]).resolve()
    matching = {file.resolve() for pattern in marker[2].split() for file in folder.parent.glob(f"{folder.name}/{pattern}")}
    named = set(named_files(folder, rows))
    for file in sorted(matching - named):
        yield f"{where}: the table does not name {file.relative_to(project)}"
    for file in sorted(named - matching):
        yield f"{where}: the table names {file.relative_to(project)}, which {'does not match' if file.exists() else 'does not exist'}"


def check_document(project, document):
    text = document.read_text(encoding="utf-8")
    for table in TABLE.finditer(text):
        where = f"{document.relative_to(project)}:{text.count(chr(10), 0, table.start()) + 1}"
        before = text[:table.start()].rstrip().rpartition("\n")[2]
        yield from check_table(project, where, MARKER.fullmatch(before), table[1])


def main():
    project = pathlib.Path(sys.argv[1]).resolve()
    documents = [project / "README.md", *sorted((project / "docs").rglob("*.md"))]
    if not any(TABLE.search(document.read_text(encoding="utf-8")) for document in documents):
        sys.exit(f"files-test.py: {project} has no document with a table of files")
    failures = [failure for document in documents for failure in check_document(project, document)]
    print("\n".join(failures) or "the tables name all files")
    sys.exit(1 if failures else 0)


if __name__ == "__main__":
    main()
