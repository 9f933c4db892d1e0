#!/usr/bin/python3
"""FTP servers for tests on 127.0.0.1, in one process, for the user tester with the password secret and for users whose
names begin with "guest-", whatever their passwords.

Usage: pyftpdlib-server.py ROOT CERTIFICATES FIRST_PORT
  ROOT           the served folder, "/" for the client; it contains home/tester
  CERTIFICATES   folder with cert.pem and key.pem
  FIRST_PORT     plain and explicit TLS; the next ones are:
           + 1   implicit TLS
           + 2   plain; the user begins in /home/tester instead of "/"
           + 3   plain; a server from before RFC 3659 and 4217, without MLSD, MLST and TLS
"""
import os
import sys

from pyftpdlib.authorizers import DummyAuthorizer
from pyftpdlib.handlers import FTPHandler, TLS_DTPHandler, TLS_FTPHandler
from pyftpdlib.ioloop import IOLoop
from pyftpdlib.servers import FTPServer


class Users(DummyAuthorizer):
    def validate_authentication(self, username, password, handler):
        if username.startswith("guest-") and not self.has_user(username):
            self.add_user(username, password, self.get_home_dir("tester"))
        super().validate_authentication(username, password, handler)


class DataConnection(TLS_DTPHandler):
    """Begins TLS before the transfer command has come, because some clients begin it at once. By default the library
    takes their bytes for unexpected data and closes the connection."""

    def readable(self):
        return self._ssl_accepting or super().readable()


class Explicit(TLS_FTPHandler):
    dtp_handler = DataConnection
    auth_failed_timeout = 0
    # sendfile() cannot be used under TLS; this way all servers work alike.
    use_sendfile = False


class Implicit(Explicit):
    def handle(self):
        self.secure_connection(self.ssl_context)
        self._prot = True
        super().handle()

    def ftp_AUTH(self, line):
        self.respond("503 TLS is in use already.")


class WithHome(Explicit):
    def on_login(self, username):
        self.fs.cwd = "/home/" + username


class Old(FTPHandler):
    auth_failed_timeout = 0
    proto_cmds = {name: value for name, value in FTPHandler.proto_cmds.items() if name not in ("MLSD", "MLST")}


def main():
    root, certificates, first_port = sys.argv[1], sys.argv[2], int(sys.argv[3])
    users = Users()
    users.add_user("tester", "secret", root, perm="elradfmwMT")
    Explicit.authorizer = Old.authorizer = users
    Explicit.certfile = os.path.join(certificates, "cert.pem")
    Explicit.keyfile = os.path.join(certificates, "key.pem")
    loop = IOLoop()
    servers = []
    for number, handler in enumerate((Explicit, Implicit, WithHome, Old)):
        server = FTPServer(("127.0.0.1", first_port + number), handler, ioloop=loop, backlog=128)
        server.max_cons = 512
        server.max_cons_per_ip = 0
        servers.append(server)
    loop.loop()


main()
