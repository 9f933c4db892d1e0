"""An FTP server for tests that fails on demand. It serves a dictionary, by default without TLS, to any user."""

import fnmatch
import socket
import socketserver
import struct
import threading

TIME = "20240131235959"


def mangle(reply):
    """The same reply with bytes in each line that are not UTF-8, except in numbers."""
    lines = []
    for line in reply.split(b"\r\n"):
        if line.startswith(b" "):
            line = b" x.note=d\xe9j\xe0;" + line[1:]
        elif not line.startswith(b"213 "):
            line += b" d\xe9j\xe0"
        lines.append(line)
    return b"\r\n".join(lines)


class Fault:
    """A fault of one command that names a path.

    cut        a transfer ends, with its control connection, after this many bytes of data
    lose       an upload ends after this many bytes, and the server takes them for the whole file
    reply      the reply instead of the usual one; with the code 421 the connection also ends
    silent     the connection ends without a reply, after the work is done
    ends       the connection ends after the reply
    then       called before the command is handled
    gate       an event to wait for before anything is sent or received
    """

    def __init__(self, cut=None, lose=None, reply=None, silent=False, then=None, gate=None, ends=False):
        self.cut, self.lose, self.reply, self.silent, self.then, self.gate = cut, lose, reply, silent, then, gate
        self.ends = ends


class FakeFTP:
    def __init__(self):
        self.files = {}
        self.dirs = {"/"}
        self.times = {}
        self.clock = 0               # counts what was stored since 2024-02-01, if it is not 0: these are then the times
        self.listing = {}            # instead of a directory's own listing: lines, of text or bytes
        self.links = {}              # by path: the directory that a link leads to
        self.tells_unique = True     # whether the facts have "unique"
        self.faults = {}             # by "COMMAND path", which may have "*": a list of faults, used one by one
        self.mangles = lambda number: False  # whether the n-th reply gets bytes that are not UTF-8
        self.replies = 0
        self.commands = []           # all commands, except logins and the like
        self.max_connections = 1000
        self.refusal = "421 Too many connections."  # with 530 at the login; "" for the end without a reply
        self.replaces = True         # whether a file can be renamed onto another one
        self.unknown = ()            # commands that it does not know
        self.room = None             # how many bytes all files may have
        self.room_reply = "452 No room."
        self.tls = None              # an ssl.SSLContext, for connections that are encrypted by AUTH
        self.logins = 0
        self.connections = 0
        self.most_connections = 0
        self.all_connections = 0
        self.lock = threading.Lock()
        self.started = threading.Condition(self.lock)
        self.waiting = 0             # transfers at their gates
        server = self

        class Handler(socketserver.BaseRequestHandler):
            def handle(self):
                Session(server, self.request).run()

        class Server(socketserver.ThreadingTCPServer):
            daemon_threads = True
            allow_reuse_address = True
            request_queue_size = 64

        self.tcp = Server(("127.0.0.1", 0), Handler)
        self.address = f"127.0.0.1:{self.tcp.server_address[1]}"
        threading.Thread(target=self.tcp.serve_forever, kwargs={"poll_interval": 0.05}, daemon=True).start()

    def close(self):
        self.tcp.shutdown()
        self.tcp.server_close()

    def take_fault(self, key):
        with self.lock:
            for pattern, faults in self.faults.items():
                if faults and fnmatch.fnmatchcase(key, pattern):
                    return faults.pop(0)
            return Fault()

    def wait_for_gates(self, count, seconds=60):
        with self.started:
            return self.started.wait_for(lambda: self.waiting >= count, seconds)

    def came(self, command):
        return [line for line in self.commands if line.split(" ", 1)[0] == command]


class End(Exception):
    pass


class Session:
    def __init__(self, server, control):
        self.server, self.control = server, control
        self.lines = control.makefile("rb")
        self.passive = None
        self.directory = "/"
        self.rest = 0
        self.source = None

    def reply(self, text):
        with self.server.lock:
            number = self.server.replies
            self.server.replies += 1
        reply = mangle(text.encode()) if self.server.mangles(number) else text.encode()
        self.control.sendall(reply + b"\r\n")

    def run(self):
        server = self.server
        with server.lock:
            refused = server.connections >= server.max_connections
            server.connections += not refused
            server.all_connections += 1
            server.most_connections = max(server.most_connections, server.connections)
        try:
            if refused and not server.refusal.startswith("530"):
                if server.refusal:
                    self.reply(server.refusal)
                return
            self.refused = refused
            self.reply("220 fake")
            while line := self.lines.readline():
                self.handle(*line.decode().rstrip("\r\n").partition(" ")[::2])
        except (End, OSError):
            pass
        finally:
            with server.lock:
                server.connections -= not refused
            if self.passive:
                self.passive.close()
            # Otherwise unread data of this process would keep the other side waiting.
            try:
                self.control.shutdown(socket.SHUT_RDWR)
            except OSError:
                pass
            self.control.close()

    def handle(self, command, path):
        server = self.server
        if command in ("AUTH", "USER", "PASS", "PWD", "CWD", "TYPE", "EPSV", "PASV", "REST", "QUIT", "FEAT", "SYST", "OPTS"):
            return getattr(self, "on_" + command.lower(), lambda _: self.reply("500 Unknown."))(path)
        if command not in ("PBSZ", "PROT"):
            path = self.absolute(path)
        with server.lock:
            server.commands.append(f"{command} {path}")
        fault = server.take_fault(f"{command} {path}")
        if fault.then:
            fault.then()
        if fault.gate:
            with server.started:
                server.waiting += 1
                server.started.notify_all()
            fault.gate.wait()
        if fault.reply:
            self.reply(fault.reply)
            if fault.reply.startswith("421"):
                raise End
            return
        if command in server.unknown:
            return self.reply("500 Unknown command.")
        if fault.silent:
            self.reply = lambda text: None
        getattr(self, "on_" + command.lower())(path, fault)
        if fault.silent or fault.ends:
            raise End

    def on_auth(self, _):
        if not self.server.tls:
            return self.reply("500 Unknown.")
        self.reply("234 Begin.")
        self.control = self.server.tls.wrap_socket(self.control, server_side=True)
        self.lines = self.control.makefile("rb")

    def on_pbsz(self, *_):
        self.reply("200 Good.")

    def on_prot(self, *_):
        self.reply("200 Good.")

    def on_user(self, _):
        self.reply("331 Password?")

    def on_pass(self, _):
        self.server.logins += 1
        if self.refused:
            self.reply(self.server.refusal)
            raise End
        self.reply("230 Welcome.")

    def on_pwd(self, _):
        self.reply('257 "/"')

    def absolute(self, path):
        return path if path.startswith("/") else f"{self.directory.rstrip('/')}/{path}"

    def on_cwd(self, path):
        directory = self.resolve(self.absolute(path)).rstrip("/") or "/"
        if directory not in self.server.dirs:
            return self.reply("550 No such directory.")
        self.directory = directory
        self.reply("250 There.")

    def on_type(self, _):
        self.reply("200 Good.")

    def on_quit(self, _):
        self.reply("221 Bye.")
        raise End

    def on_rest(self, position):
        self.rest = int(position)
        self.reply("350 Go on.")

    def on_epsv(self, _):
        if self.passive:
            self.passive.close()
        self.passive = socket.create_server(("127.0.0.1", 0))
        self.reply(f"229 Good (|||{self.passive.getsockname()[1]}|)")

    def data(self):
        connection = self.passive.accept()[0]
        self.passive.close()
        self.passive = None
        return connection

    def resolve(self, path):
        """Follows links, as often as a kernel does."""
        for _ in range(40):
            link = next((link for link in self.server.links if f"{path}/".startswith(f"{link}/")), None)
            if link is None:
                break
            path = self.server.links[link] + path[len(link):]
        return path

    def facts(self, path, name):
        path = self.resolve(path)
        if path in self.server.dirs:
            unique = f"unique=Dir{sorted(self.server.dirs).index(path)};" if self.server.tells_unique else ""
            return f"type=dir;{unique}modify={TIME}; {name}"
        time_of = self.server.times.get(path, TIME)
        modify = f"modify={time_of};" if time_of else ""
        return f"type=file;size={len(self.server.files[path])};{modify} {name}"

    def is_there(self, path):
        path = self.resolve(path)
        if path in self.server.files or path in self.server.dirs:
            return True
        self.reply("550 No such file.")
        return False

    def on_mlst(self, path, _):
        if self.is_there(path):
            self.reply(f"250-Listing\r\n {self.facts(path, path)}\r\n250 End.")

    def on_mlsd(self, path, _):
        path = self.resolve(path.rstrip("/") or "/")
        if path not in self.server.dirs:
            return self.reply("550 No such directory.")
        start = path if path.endswith("/") else path + "/"
        lines = self.server.listing.get(path)
        if lines is None:
            names = sorted(other[len(start):]
                           for other in [*self.server.files, *self.server.dirs, *self.server.links]
                           if other.startswith(start) and other != start and "/" not in other[len(start):])
            lines = ["type=cdir; .", "type=pdir; .."] + [self.facts(start + name, name) for name in names]
        self.reply("150 Coming.")
        with self.data() as data:
            data.sendall(b"".join((line if isinstance(line, bytes) else line.encode()) + b"\r\n" for line in lines))
        self.reply("226 Done.")

    def on_size(self, path, _):
        if path in self.server.dirs:
            return self.reply("550 Not a plain file.")
        if self.is_there(path):
            self.reply(f"213 {len(self.server.files[self.resolve(path)])}")

    def on_mfmt(self, arguments, _):
        """The path comes after the time."""
        value, _, path = arguments.removeprefix(self.directory).lstrip("/").partition(" ")
        if self.is_there(path):
            self.server.times[self.resolve(path)] = value
            self.reply(f"213 Modify={value}; {path}")

    def on_retr(self, path, fault):
        path = self.resolve(path)
        if path not in self.server.files:
            return self.reply("550 No such file.")
        body = self.server.files[path][self.rest:]
        self.rest = 0
        self.reply("150 Coming.")
        with self.data() as data:
            data.sendall(body if fault.cut is None else body[:fault.cut])
        if fault.cut is not None:
            raise End
        self.reply("226 Done.")

    def on_stor(self, path, fault):
        if path.rpartition("/")[0] not in self.server.dirs | {""}:
            return self.reply("550 No such directory.")
        self.reply("150 Send.")
        body = bytearray()
        limit = fault.cut if fault.cut is not None else fault.lose
        room = self.server.room
        if room is not None:
            room -= sum(len(content) for name, content in self.server.files.items() if name != path)
        with self.data() as data:
            if self.server.tls:
                # This server has no TLS for data.
                return data.sendall(b"plain")
            while block := data.recv(65536):
                body += block
                if room is not None and len(body) > room:
                    self.server.files[path] = bytes(body[:room])
                    data.setsockopt(socket.SOL_SOCKET, socket.SO_LINGER, struct.pack("ii", 1, 0))
                    data.close()
                    return self.reply(self.server.room_reply)
                if fault.cut is not None and len(body) >= fault.cut:
                    break
            # Before the client can know of the end: its next upload must not be overwritten.
            self.server.files[path] = bytes(body if limit is None else body[:limit])
            if self.server.clock:
                self.server.times[path] = f"20240201{self.server.clock:06}"
                self.server.clock += 1
        if fault.cut is not None:
            raise End
        self.reply("226 Done.")

    def on_rnfr(self, path, _):
        if self.is_there(path):
            self.source = path
            self.reply("350 To?")

    def on_rnto(self, path, _):
        if not self.source:
            return self.reply("503 RNFR first.")
        if path in self.server.files and not self.server.replaces:
            return self.reply("550 There is one already.")
        if path in self.server.dirs:
            return self.reply("451 There is a directory.")
        kind = self.server.files if self.source in self.server.files else self.server.dirs
        if kind is self.server.dirs:
            kind.remove(self.source)
            kind.add(path)
        else:
            kind[path] = kind.pop(self.source)
            self.server.times.pop(path, None)
            if self.source in self.server.times:
                self.server.times[path] = self.server.times.pop(self.source)
        self.source = None
        self.reply("250 Moved.")

    def on_dele(self, path, _):
        if path in self.server.links:
            del self.server.links[path]
            self.reply("250 Gone.")
        elif path in self.server.dirs:
            self.reply("550 Is a directory.")
        elif self.is_there(path):
            del self.server.files[self.resolve(path)]
            self.reply("250 Gone.")

    def on_rmd(self, path, _):
        if path in self.server.links:
            return self.reply("550 Not a directory.")
        path = self.resolve(path)
        if path not in self.server.dirs:
            return self.reply("550 No such directory.")
        if any(other.startswith(path + "/") for other in [*self.server.files, *self.server.dirs, *self.server.links]):
            return self.reply("550 Not empty.")
        self.server.dirs.remove(path)
        self.reply("250 Gone.")

    def on_mkd(self, path, _):
        if path in self.server.dirs or path in self.server.files:
            return self.reply("550 Exists.")
        if (path.rpartition("/")[0] or "/") not in self.server.dirs:
            return self.reply("550 No such directory.")
        self.server.dirs.add(path)
        self.reply('257 Made.')
