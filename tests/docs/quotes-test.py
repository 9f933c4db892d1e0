#!/usr/bin/python3
"""Checks that the quotations from the examples in the documents are correct, line by line.

Usage: quotes-test.py PROJECT_DIR

A quotation is a fenced block after a line "<!-- from FILE -->".
"""
import pathlib
import re
import sys
import textwrap

project = pathlib.Path(sys.argv[1])
quotation = re.compile(r"<!-- from (\S+) -->\n```\w*\n(.*?)```", re.DOTALL)
failures = []
count = 0
for document in [project / "README.md", *sorted((project / "docs").rglob("*.md"))]:
    for source, text in quotation.findall(document.read_text(encoding="utf-8")):
        count += 1
        lines = (project / source).read_text(encoding="utf-8")
        blocks = {textwrap.indent(text, " " * depth) for depth in (0, 4, 8, 12)}
        if not any(block in lines for block in blocks):
            failures.append(f"{document.name}: the quotation from {source} is not what stands there")
if count == 0:
    failures.append("no document quotes an example")
for failure in failures:
    print(failure, file=sys.stderr)
sys.exit(1 if failures else 0)
