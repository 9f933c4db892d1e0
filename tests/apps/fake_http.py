"""An HTTP server that sends for each path exactly the bytes that a test has set."""

import base64
import http.server
import threading
import time


class Request:
    def __init__(self, method, path, headers, body):
        self.method = method
        self.path = path
        self.headers = headers
        self.body = body
        header = headers.get("Authorization", "")
        self.login = base64.b64decode(header.removeprefix("Basic ")).decode() if header.startswith("Basic ") else None


class FakeHTTP:
    """With a TLS context it is an https server."""

    def __init__(self, context=None):
        self.responses = {}  # path: bytes of the whole response
        self.requests = []
        self.delay = 0  # seconds before each response
        fake = self

        class Handler(_Handler):
            server_object = fake

        self.server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Handler)
        self.server.daemon_threads = True
        if context:
            accept = self.server.get_request

            def accept_tls():
                connection, address = accept()
                return context.wrap_socket(connection, server_side=True, do_handshake_on_connect=False), address

            self.server.get_request = accept_tls
        threading.Thread(target=self.server.serve_forever, args=(0.02,), daemon=True).start()
        self.port = self.server.server_address[1]
        self.url = f"http{'s' if context else ''}://127.0.0.1:{self.port}"

    def close(self):
        self.server.shutdown()
        self.server.server_close()

    def answer(self, path, body=b"", status="200 OK", *headers):
        lines = [f"HTTP/1.1 {status}", *headers, "Connection: close", f"Content-Length: {len(body)}", "", ""]
        self.responses[path] = "\r\n".join(lines).encode() + body

    def redirect(self, path, target, status="302 Found", body=b"moved"):
        self.answer(path, body, status, f"Location: {target}")

    def seen(self):
        return [f"{request.method} {request.path}" for request in self.requests]


class _Handler(http.server.BaseHTTPRequestHandler):
    protocol_version = "HTTP/1.1"
    server_object = None

    def log_message(self, *_):
        pass

    def handle_one_request(self):
        try:
            super().handle_one_request()
        except OSError:
            self.close_connection = True

    def serve(self):
        fake = self.server_object
        body = self.rfile.read(int(self.headers.get("Content-Length", 0)))
        fake.requests.append(Request(self.command, self.path, self.headers, body))
        self.close_connection = True
        time.sleep(fake.delay)
        self.wfile.write(fake.responses.get(self.path, b"HTTP/1.1 404 Not Found\r\nContent-Length: 0\r\n\r\n"))
        self.wfile.flush()

    do_GET = do_PUT = do_HEAD = serve
