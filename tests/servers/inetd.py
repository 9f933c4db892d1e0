#!/usr/bin/env python3
"""Starts a server program for each connection to one of several ports of 127.0.0.1, as inetd does.

Usage: inetd.py PORT COMMAND... [-- PORT COMMAND...]...

The connection is the standard input and output of the program. A SIGTERM ends this one and all programs that it
has started and that still run.
"""

import itertools
import selectors
import signal
import socket
import subprocess
import sys


class Listener:
    def __init__(self, port, *command):
        self.command = command
        self.socket = socket.socket()
        self.socket.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
        self.socket.bind(("127.0.0.1", int(port)))
        self.socket.listen(128)

    def start_program(self):
        connection, _ = self.socket.accept()
        with connection:
            return subprocess.Popen(self.command, stdin=connection, stdout=connection, stderr=subprocess.DEVNULL)


def end(programs):
    for program in programs:
        program.terminate()
    for program in programs:
        try:
            program.wait(2)
        except subprocess.TimeoutExpired:
            program.kill()


def main():
    signal.signal(signal.SIGTERM, lambda *_: sys.exit())
    groups = [list(group) for is_end, group in itertools.groupby(sys.argv[1:], "--".__eq__) if not is_end]
    programs = []
    try:
        with selectors.DefaultSelector() as selector:
            for group in groups:
                listener = Listener(*group)
                selector.register(listener.socket, selectors.EVENT_READ, listener)
            while True:
                for key, _ in selector.select():
                    programs = [program for program in programs if program.poll() is None]
                    programs.append(key.data.start_program())
    finally:
        end(programs)


if __name__ == "__main__":
    main()
