#!/usr/bin/env python3
"""Runs a checker of clang on the product's source files, and remembers what has passed.

Usage: check-sources.py CHECK BUILD_DIR [FILE...]

  thread-safety    clang++ -Wthread-safety: members are read and written with their locks
  tidy             clang-tidy with all checks of .clang-tidy
  tidy-cheap       clang-tidy with the checks that cost little: names, sizes, includes

BUILD_DIR is a build folder that is configured. By default all source files of the product are checked which that build
compiles. A file that has passed is not checked again until the file, one of its headers, .clang-tidy, its options or
the checker changes. What has passed stands in ${XDG_CACHE_HOME:-~/.cache}/vexil/checks.

Exit code: 0 if every file passes, 1 otherwise.
"""
import concurrent.futures
import functools
import hashlib
import json
import os
import re
import shlex
import subprocess
import sys
import tempfile
import time
from pathlib import Path

PROJECT = Path(__file__).resolve().parent.parent
PRODUCT = ("apps/", "examples/", "sigil/", "vexil/", "zet/")
CACHE = Path(os.environ.get("XDG_CACHE_HOME") or Path.home() / ".cache") / "vexil" / "checks"
KEPT_SECONDS = 30 * 24 * 3600
CHEAP_CHECKS = "-*,readability-identifier-naming,readability-function-size,readability-duplicate-include"
# Options for the preprocessor and the language. The others are for the compiler of the build, often of another make.
SEPARATE_OPTIONS = ("-I", "-isystem", "-D", "-U", "-include")
TOOLS = {"thread-safety": "clang++", "tidy": "clang-tidy", "tidy-cheap": "clang-tidy"}


def make_command(check, options, file):
    if check == "thread-safety":
        return ["clang++", *options, "-fsyntax-only", "-Wthread-safety", "-Werror", file]
    checks = [f"--checks={CHEAP_CHECKS}"] if check == "tidy-cheap" else []
    return ["clang-tidy", "--quiet", *checks, file, "--", *options]


def read_options(entry):
    """The options of a compiler's command that decide what the code means."""
    words = iter(entry.get("arguments") or shlex.split(entry["command"]))
    options = []
    for word in words:
        if word in SEPARATE_OPTIONS:
            options += [word, next(words)]
        elif word.startswith(("-I", "-D", "-U", "-std=")) or word == "-pthread":
            options.append(word)
    return options


def read_commands(build_dir):
    """The options by the path of each source file of the product."""
    commands = {}
    for entry in json.loads((build_dir / "compile_commands.json").read_text()):
        file = Path(entry["directory"], entry["file"]).resolve()
        if file.is_relative_to(PROJECT):
            path = file.relative_to(PROJECT).as_posix()
            if path.startswith(PRODUCT) and not path.endswith("Windows.cpp"):
                commands.setdefault(path, read_options(entry))
    return commands


def hash_of(*texts):
    return hashlib.sha256("\0".join(texts).encode()).hexdigest()


@functools.cache
def hash_of_file(path):
    try:
        return hashlib.sha256((PROJECT / path).read_bytes()).hexdigest()
    except OSError:
        return "missing"


def read_headers(rule):
    """The files of a rule that the compiler has written for make, relative to the project if they belong to it."""
    names = re.split(r"(?<!\\)\s+", rule.replace("\\\n", " ").partition(":")[2].strip())
    paths = {os.path.normpath(PROJECT / name.replace("\\ ", " ")) for name in names}
    return sorted(path.removeprefix(f"{PROJECT}/") for path in paths)


class Passed:
    """What has passed. A list of the headers of a file, and a mark for each state of all of them that is correct."""

    def __init__(self, check):
        tool = TOOLS[check]
        version = subprocess.run([tool, "--version"], capture_output=True, text=True, check=True).stdout
        config = "" if check == "thread-safety" else (PROJECT / ".clang-tidy").read_text()
        self.key = hash_of(check, version, config, " ".join(make_command(check, [], "x")))
        self.folder = CACHE / check
        self.folder.mkdir(parents=True, exist_ok=True)

    def find_mark(self, options, file, headers):
        own_options = [option.replace(str(PROJECT), "") for option in options]
        state = [f"{header} {hash_of_file(header)}" for header in headers]
        return self.folder / hash_of(self.key, file, *own_options, *state)

    def list_file(self, file):
        return self.folder / f"{hash_of(file)}.headers"

    def contains(self, options, file):
        try:
            headers = self.list_file(file).read_text().splitlines()
            # What is in use is not dropped.
            os.utime(self.find_mark(options, file, headers))
            os.utime(self.list_file(file))
            return True
        except OSError:
            return False

    def add(self, options, file, headers):
        mark = self.find_mark(options, file, headers)
        with tempfile.NamedTemporaryFile("w", dir=self.folder, delete=False) as made:
            made.write("".join(f"{header}\n" for header in headers))
        os.replace(made.name, self.list_file(file))
        mark.touch()

    def drop_old(self):
        limit = time.time() - KEPT_SECONDS
        for file in self.folder.iterdir():
            try:
                if file.stat().st_mtime < limit:
                    file.unlink()
            except FileNotFoundError:
                pass  # another run has dropped it


def main():
    if len(sys.argv) < 3 or sys.argv[1] not in TOOLS:
        sys.exit(__doc__)
    check, build_dir, *files = sys.argv[1:]
    commands = read_commands(Path(build_dir))
    passed = Passed(check)
    files = [file for file in files or sorted(commands) if file in commands]
    to_check = [file for file in files if not passed.contains(commands[file], file)]

    def run(file):
        done = subprocess.run(make_command(check, commands[file], file), cwd=PROJECT, capture_output=True, text=True)
        if done.returncode == 0:
            rule = ["clang++", *commands[file], "-M", "-MT", "x", file]
            made = subprocess.run(rule, cwd=PROJECT, capture_output=True, text=True, check=True)
            passed.add(commands[file], file, read_headers(made.stdout))
        return done

    failed = 0
    with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
        for done in pool.map(run, to_check):
            if done.returncode != 0:
                failed += 1
                sys.stdout.write(done.stdout + done.stderr)
    passed.drop_old()
    print(f"{check}: {len(files)} files, {len(to_check)} of them checked now, {failed} with findings")
    sys.exit(1 if failed else 0)


if __name__ == "__main__":
    main()
