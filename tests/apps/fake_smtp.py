"""A small mail server, which sends the replies that a test sets."""

import socketserver
import threading


class FakeSMTP:
    """Replies to each command by its first word. Replies in `replies` replace the usual ones, one after another.

    "greeting" is the first line. With None the connection ends.
    """

    DEFAULTS = {"greeting": "220 fake", "EHLO": "250-fake\r\n250 HELP", "DATA": "354 go on", "QUIT": "221 bye", ".": "250 stored"}

    def __init__(self, **replies):
        self.replies = {verb: list(texts) for verb, texts in replies.items()}
        self.commands = []
        self.mangles = lambda number: False  # whether the n-th reply gets bytes that are not UTF-8
        self.count = 0
        self.mails = []  # the data between DATA and "."
        self.ends_within_message = False  # whether a connection ends after the first line of a mail
        fake = self

        class Session(socketserver.StreamRequestHandler):
            def handle(self):
                greeting = fake.reply_to("greeting")
                if greeting is None:
                    return
                self.send(greeting)
                in_data = False
                mail = ""
                while line := self.rfile.readline():
                    text = line.decode().rstrip("\r\n")
                    if in_data and text != ".":
                        mail += text + "\n"
                        if fake.ends_within_message:
                            return
                        continue
                    if in_data:
                        fake.mails.append(mail)
                        mail = ""
                    fake.commands.append(text)
                    reply = fake.reply_to(text.split(" ")[0].upper())
                    if reply is None:
                        return
                    self.send(reply)
                    in_data = reply.startswith("354")

            def send(self, reply):
                lines = reply.encode() + b"\r\n"
                if fake.mangles(fake.count):
                    lines = lines.replace(b"\r\n", b" d\xe9j\xe0\r\n")
                fake.count += 1
                self.wfile.write(lines)

        self.server = socketserver.ThreadingTCPServer(("127.0.0.1", 0), Session)
        self.server.daemon_threads = True
        self.address = "127.0.0.1:%d" % self.server.server_address[1]
        threading.Thread(target=self.server.serve_forever, args=(0.01,), daemon=True).start()

    def reply_to(self, verb):
        wanted = self.replies.get(verb)
        return wanted.pop(0) if wanted else self.DEFAULTS.get(verb, "250 OK")

    def close(self):
        self.server.shutdown()
        self.server.server_close()
