#!/usr/bin/python3
"""Mail servers for tests on 127.0.0.1, in one process, for the user tester with the password secret and for users whose
names begin with "guest-", whatever their passwords.

Usage: aiosmtpd-server.py MAILS CERTIFICATES FIRST_PORT
  MAILS          folder for the mails: 00001.eml contains the exact message, without the stuffed dots, and
                 00001.json the envelope and how the session was secured; both are written before the client gets
                 the reply
  CERTIFICATES   folder with cert.pem and key.pem
  FIRST_PORT     plain and STARTTLS; the next ones are:
           + 1   TLS from the first byte
           + 2   a server that offers neither STARTTLS nor a login

Recipients and senders that begin with "refused" are refused; logins are PLAIN and LOGIN.
"""
import asyncio
import itertools
import json
import os
import ssl
import sys

from aiosmtpd.smtp import AuthResult, LoginPassword, SMTP

SIZE_LIMIT = 50 * 1024 * 1024


class Store:
    def __init__(self, folder):
        self.folder = folder
        self.numbers = itertools.count(1)

    async def handle_MAIL(self, server, session, envelope, address, options):
        if address.startswith("refused"):
            return "550 5.7.1 this sender is refused"
        envelope.mail_from = address
        envelope.mail_options.extend(options)
        return "250 OK"

    async def handle_RCPT(self, server, session, envelope, address, options):
        if address.startswith("refused"):
            return "550 5.1.1 no such user here"
        envelope.rcpt_tos.append(address)
        return "250 OK"

    async def handle_DATA(self, server, session, envelope):
        name = os.path.join(self.folder, "%05d" % next(self.numbers))
        with open(name + ".json", "w") as file:
            json.dump({
                "from": envelope.mail_from,
                "to": envelope.rcpt_tos,
                "tls": server.transport.get_extra_info("ssl_object") is not None,
                "login": getattr(session, "mechanism", ""),
            }, file)
        with open(name + ".tmp", "wb") as file:
            file.write(envelope.original_content)
        os.rename(name + ".tmp", name + ".eml")
        return "250 OK"


def authenticate(server, session, envelope, mechanism, data):
    if isinstance(data, LoginPassword) and (
            (data.login, data.password) == (b"tester", b"secret") or data.login.startswith(b"guest-")):
        session.mechanism = mechanism
        return AuthResult(success=True)
    return AuthResult(success=False, handled=False)


async def serve(folder, context, first_port):
    store = Store(folder)

    def make(auth_require_tls=False, **options):
        return SMTP(store, hostname="localhost", authenticator=authenticate, auth_require_tls=auth_require_tls,
                    data_size_limit=SIZE_LIMIT, enable_SMTPUTF8=True, **options)

    loop = asyncio.get_running_loop()
    await loop.create_server(lambda: make(tls_context=context), "127.0.0.1", first_port)
    await loop.create_server(make, "127.0.0.1", first_port + 1, ssl=context)
    await loop.create_server(lambda: make(auth_require_tls=True), "127.0.0.1", first_port + 2)
    await asyncio.Event().wait()


def main():
    folder, certificates, first_port = sys.argv[1], sys.argv[2], int(sys.argv[3])
    context = ssl.create_default_context(ssl.Purpose.CLIENT_AUTH)
    context.load_cert_chain(os.path.join(certificates, "cert.pem"), os.path.join(certificates, "key.pem"))
    asyncio.run(serve(folder, context, first_port))


main()
