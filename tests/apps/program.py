"""Runs the program for a test and examines the files that it leaves."""

import os
import pathlib
import shutil
import signal
import subprocess
import tempfile
import unittest

from fake_s3 import FakeS3

PROGRAM = os.environ["VEXIL_PROGRAM"]
# The command that runs a program of another system; empty for this system.
LAUNCHER = os.environ.get("VEXIL_PROGRAM_LAUNCHER", "").split()
IS_WINDOWS = bool(LAUNCHER)
SECRET = "very/secret+key"
TIME_LIMIT = 120


# The signals that ask the program to end, and its exit codes then. Wine ends it by SIGTERM without asking.
ENDINGS = ((signal.SIGINT, 130),) if IS_WINDOWS else ((signal.SIGINT, 130), (signal.SIGTERM, 143))


def not_on_windows(reason):
    """For a test that uses, or examines, features of POSIX."""
    return unittest.skipIf(IS_WINDOWS, reason)


class Result:
    def __init__(self, code, out, err):
        self.code = code
        self.raw_out = out
        self.out = out.decode(errors="replace")
        self.err = err.decode(errors="replace")
        if IS_WINDOWS:
            self.err = self.err.replace("\r\n", "\n")

    def __repr__(self):
        return f"exit code {self.code}\n--- output\n{self.out}\n--- errors\n{self.err}"


class ProgramTest(unittest.TestCase):
    """A folder for each test, and the program to run in it."""

    maxDiff = None

    def setUp(self):
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="vexil-program-"))
        self.addCleanup(shutil.rmtree, self.folder, ignore_errors=True)
        self.environment = {**os.environ, "VEXIL_S3_ACCESS_KEY": "access", "VEXIL_S3_SECRET_KEY": SECRET}
        self.environment.pop("VEXIL_S3_ENDPOINT", None)
        # Makes pauses 2 ms to 0.3 s long.
        self.environment["VEXIL_TEST_PAUSE_FACTOR"] = "0.01"

    def start(self, *arguments, before=None, program=PROGRAM, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
              stderr=subprocess.PIPE):
        return subprocess.Popen([*LAUNCHER, program, *map(str, arguments)], cwd=self.folder, env=self.environment,
                                stdin=stdin, stdout=stdout, stderr=stderr, preexec_fn=before)

    def finish(self, process):
        try:
            out, err = process.communicate(timeout=TIME_LIMIT)
        except subprocess.TimeoutExpired:
            process.kill()
            out, err = process.communicate()
            self.fail(f"the program did not end: {Result(None, out or b'', err or b'')}")
        return Result(process.returncode, out or b"", err or b"")

    def run_program(self, *arguments, code=0, **options):
        result = self.finish(self.start(*arguments, **options))
        if code is not None:
            self.assertEqual(result.code, code, result)
        return result

    def interrupt(self, process, number=signal.SIGINT):
        process.send_signal(number)
        return self.finish(process)

    def unprivileged_program(self):
        """A copy of the program that every user may run, and the arguments that run a process as another user."""
        if os.getuid() != 0:
            return {}
        copy = self.folder / "program"
        copy.mkdir()
        for path in (PROGRAM, os.environ["VEXIL_LIBRARY"]):
            shutil.copy(path, copy)
        (copy / pathlib.Path(os.environ["VEXIL_LIBRARY"]).name).rename(copy / "libvexil.so.0")
        self.environment["LD_LIBRARY_PATH"] = str(copy)
        self.folder.chmod(0o755)

        def become_nobody():
            os.setgroups([])
            os.setgid(65534)
            os.setuid(65534)

        return {"program": str(copy / "vexil"), "before": become_nobody}

    def write(self, name, content=b"content"):
        path = self.folder / name
        path.parent.mkdir(parents=True, exist_ok=True)
        path.write_bytes(content)
        return path

    def read(self, name):
        return (self.folder / name).read_bytes()

    def files_in(self, name):
        """The content of all files below a folder, by their relative paths; None for an entry that is not a regular file."""
        top = self.folder / name
        return {str(path.relative_to(top)): path.read_bytes() if path.is_file() and not path.is_symlink() else None
                for path in sorted(top.rglob("*")) if path.is_symlink() or not path.is_dir()}


class FakeServerTest(ProgramTest):
    """The program with a fake S3 server, whose bucket is called "bucket"."""

    server_class = FakeS3

    def setUp(self):
        super().setUp()
        self.server = self.server_class()
        self.addCleanup(self.server.close)
        self.environment["VEXIL_S3_ENDPOINT"] = self.server.endpoint
