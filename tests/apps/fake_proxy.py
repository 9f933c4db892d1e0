"""A small HTTP proxy, which forwards, tunnels, and records its requests."""

import base64
import http.client
import http.server
import select
import socket
import threading
import urllib.parse


class FakeProxy:
    """If `login` is set ("user:password"), it refuses clients without it."""

    def __init__(self, login=None):
        self.requests = []  # "GET http://host:port/path", "CONNECT host:port"
        self.logins = []  # "user:password", None without a login
        self.wanted = login
        fake = self

        class Handler(_Handler):
            proxy = fake

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        threading.Thread(target=self.server.serve_forever, args=(0.02,), daemon=True).start()
        self.address = "127.0.0.1:%d" % self.server.server_address[1]
        self.url = f"http://{self.address}"

    def close(self):
        self.server.shutdown()
        self.server.server_close()


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    proxy = None

    def log_message(self, *_):
        pass

    def is_refused(self):
        self.close_connection = True
        header = self.headers.get("Proxy-Authorization")
        login = base64.b64decode(header.removeprefix("Basic ")).decode() if header else None
        self.proxy.requests.append(f"{self.command} {self.path}")
        self.proxy.logins.append(login)
        if self.proxy.wanted in (None, login):
            return False
        self.send_response(407)
        self.send_header("Proxy-Authenticate", 'Basic realm="fake"')
        self.send_header("Content-Length", "0")
        self.end_headers()
        return True

    def forward(self):
        if self.is_refused():
            return
        url = urllib.parse.urlsplit(self.path)
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        connection = http.client.HTTPConnection(url.netloc)
        connection.request(self.command, urllib.parse.urlunsplit(("", "", url.path, url.query, "")), body or None,
                           {name: value for name, value in self.headers.items() if not name.startswith("Proxy-")})
        answer = connection.getresponse()
        content = answer.read()
        self.send_response(answer.status)
        self.send_header("Content-Length", str(len(content)))
        if answer.headers.get("Location"):
            self.send_header("Location", answer.headers["Location"])
        self.end_headers()
        self.wfile.write(content)
        connection.close()

    do_GET = do_PUT = do_DELETE = forward

    def do_CONNECT(self):
        if self.is_refused():
            return
        host, port = self.path.rsplit(":", 1)
        with socket.create_connection((host, int(port))) as server:
            self.send_response(200)
            self.end_headers()
            self.tunnel(server)

    def tunnel(self, server):
        other = {self.connection: server, server: self.connection}
        while other:
            for source in select.select(list(other), [], [])[0]:
                try:
                    data = source.recv(65536)
                    other[source].sendall(data)
                except OSError:
                    return
                if not data:
                    other.pop(source).shutdown(socket.SHUT_WR)
