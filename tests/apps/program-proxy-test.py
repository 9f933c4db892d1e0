#!/usr/bin/env python3
"""Which connections of the program go through a proxy."""

import base64
import unittest

from fake_ftp import FakeFTP
from fake_proxy import FakeProxy
from fake_smtp import FakeSMTP
from program import IS_WINDOWS, FakeServerTest, not_on_windows

BODY = bytes(i * 7 % 251 for i in range(100000))
PASSWORD = "proxy-secret"
LOGIN = f"jo:{PASSWORD}"
# The options that use the proxies of the environment. On Windows those of the system are in the registry.
BY_ENVIRONMENT = ((),) if IS_WINDOWS else ((), ("--proxy", "system"))


class ProxyTest(FakeServerTest):
    def setUp(self):
        super().setUp()
        for scheme in ("http", "https", "ftp", "all", "no"):
            for name in (f"{scheme}_proxy", f"{scheme.upper()}_PROXY"):
                self.environment.pop(name, None)
        self.server.objects = {"a": BODY}
        self.url = f"{self.server.endpoint}/bucket/a"
        self.proxy = self.start_server(FakeProxy())

    def start_server(self, server):
        self.addCleanup(server.close)
        return server

    def get(self, *arguments, **options):
        return self.run_program("http", "get", self.url, "f", *arguments, **options)

    def start_ftp(self):
        server = self.start_server(FakeFTP())
        server.files["/a"] = BODY
        self.environment.update(VEXIL_FTP_SERVER=server.address, VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="ftp-secret")
        return server


class GivenProxyTest(ProxyTest):
    def test_http_goes_through_the_proxy(self):
        for proxy in (self.proxy.address, self.proxy.url, self.proxy.url + "/"):
            self.proxy.requests.clear()
            self.get("--proxy", proxy)
            self.assertEqual(self.read("f"), BODY)
            self.assertEqual(self.proxy.requests, [f"GET {self.url}"])

    def test_s3_goes_through_the_proxy(self):
        self.write("folder/b", b"b")
        self.run_program("--proxy", self.proxy.url, "s3", "backup", "folder", "bucket")
        self.run_program("--proxy", self.proxy.url, "s3", "restore", "bucket", "r")
        self.assertEqual(self.files_in("r"), {"a": BODY, "b": b"b"})
        endpoint = f"{self.server.endpoint}/bucket"
        # The backup also lists the stored objects.
        self.assertEqual(sorted(line.split("?")[0] for line in self.proxy.requests),
                         [f"GET {endpoint}"] * 2 + [f"GET {endpoint}/a", f"GET {endpoint}/b", f"PUT {endpoint}/b"])
        self.assertEqual(self.proxy.logins, [None] * 5)

    def test_ftp_goes_through_a_tunnel(self):
        server = self.start_ftp()
        self.run_program("ftp", "--tls", "none", "get", "/a", "f", "--proxy", self.proxy.url)
        self.assertEqual(self.read("f"), BODY)
        # One connection for the commands, one for the data.
        self.assertEqual({line.split(":")[0] for line in self.proxy.requests}, {"CONNECT 127.0.0.1"})
        self.assertEqual(self.proxy.requests[0], f"CONNECT {server.address}")
        self.assertEqual(len(self.proxy.requests), 2)

    def test_ftp_by_a_url_goes_through_a_tunnel_too(self):
        server = self.start_ftp()
        self.run_program("http", "get", f"ftp://u:p@{server.address}/a", "f", "--proxy", self.proxy.url)
        self.assertEqual(self.read("f"), BODY)
        self.assertEqual(self.proxy.requests[0], f"CONNECT {server.address}")
        self.assertIn("RETR /a", server.commands)

    def test_mail_goes_through_a_tunnel(self):
        server = self.start_server(FakeSMTP())
        self.run_program("mail", "test", "--server", server.address, "--security", "unencrypted", "--proxy",
                         self.proxy.url)
        self.assertEqual(self.proxy.requests, [f"CONNECT {server.address}"])
        self.assertRegex(server.commands[0], "^EHLO ")

    def test_hosts_of_no_proxy_are_reached_without(self):
        self.environment["no_proxy"] = "127.0.0.1"
        self.get("--proxy", self.proxy.url)
        self.assertEqual(self.proxy.requests, [])

    def test_bad_values_are_named_before_anything_is_sent(self):
        values = [("", "the value is empty"), (" ", "white space"), ("a b:1", "'a b:1' has white space"),
                  ("h:1\n", r"white space"), ("h:1\t", "white space"), ("h\u3000:1", "white space"),
                  ("h:1\x01", r"'h:1\x01' has a control character"), ("h:1\x7f", "a control character"),
                  (f"http://{LOGIN} x@h:1", "'http://***@h:1' has white space"),
                  (f"{LOGIN}\x02@h:1", "'***@h:1' has a control character")]
        # Arguments are UTF-16 on Windows.
        if not IS_WINDOWS:
            values.append(("h\udcff:1", "not UTF-8"))
        for value, text in values:
            result = self.get("--proxy", value, code=2)
            self.assertIn("--proxy: ", result.err)
            self.assertIn(text, result.err)
            self.assertNotIn(PASSWORD, result.err)
        self.assertEqual(self.server.requests, [])

    def test_a_dead_proxy_is_explained(self):
        self.assertIn("libcurl code:    7", self.get("--proxy", "127.0.0.1:1", code=1).err)
        self.assertEqual(self.files_in("."), {})


class NoProxyTest(ProxyTest):
    def setUp(self):
        super().setUp()
        self.environment.update(http_proxy=self.proxy.url, all_proxy=self.proxy.url, ftp_proxy=self.proxy.url)

    def test_the_environment_counts_without_the_option(self):
        self.get()
        self.assertEqual(self.proxy.requests, [f"GET {self.url}"])

    def test_none_is_none_whatever_the_environment_says(self):
        self.get("--proxy", "none")
        self.assertEqual(self.read("f"), BODY)
        self.run_program("s3", "ls", "bucket", "--proxy", "none")
        self.start_ftp()
        self.run_program("ftp", "--tls", "none", "ls", "--proxy", "none")
        mail_server = self.start_server(FakeSMTP())
        self.run_program("mail", "test", "--server", mail_server.address, "--security", "unencrypted", "--proxy", "none")
        self.assertEqual(self.proxy.requests, [])


@not_on_windows("proxies in the environment")
class SystemProxyTest(ProxyTest):
    def test_the_proxy_of_the_scheme_is_taken(self):
        self.environment.update(http_proxy=self.proxy.url, ftp_proxy="127.0.0.1:1")
        self.get("--proxy", "system")
        self.assertEqual(self.proxy.requests, [f"GET {self.url}"])
        self.proxy.requests.clear()
        self.environment.update(http_proxy="127.0.0.1:1", ftp_proxy=self.proxy.url)
        server = self.start_ftp()
        self.run_program("ftp", "--tls", "none", "get", "/a", "f", "--proxy", "system")
        self.assertEqual(self.proxy.requests[0], f"CONNECT {server.address}")

    def test_hosts_of_no_proxy_are_reached_without(self):
        # libcurl itself takes this list for one name.
        self.environment.update(http_proxy=self.proxy.url, no_proxy="other;127.0.0.1")
        self.get("--proxy", "system")
        self.assertEqual(self.proxy.requests, [])
        self.get()
        self.assertEqual(self.proxy.requests, [f"GET {self.url}"])

    def test_patterns_of_no_proxy_count(self):
        self.environment["http_proxy"] = self.proxy.url
        for pattern in ("127.*", "127.0.0.0/8", "other;http://127.0.0.1:*"):
            # libcurl itself takes this list for one name.
            self.environment["no_proxy"] = "other;" + pattern
            result = self.get("--log-level", "debug", "--proxy", "system")
            if ":*" in pattern:
                self.assertEqual(self.proxy.requests, [f"GET {self.url}"], pattern)
                self.assertIn(f"proxy for {self.url}: {self.proxy.url} (the proxy of the scheme 'http')", result.err)
            else:
                self.assertEqual(self.proxy.requests, [], pattern)
                self.assertIn(f"proxy for {self.url}: direct connection (the direct host '{pattern}')", result.err)

    def test_mail_has_no_proxy_there(self):
        self.environment["all_proxy"] = self.proxy.url
        server = self.start_server(FakeSMTP())
        arguments = ["mail", "test", "--server", server.address, "--security", "unencrypted"]
        self.run_program(*arguments, "--proxy", "system")
        self.assertEqual(self.proxy.requests, [])
        self.run_program(*arguments)
        self.assertEqual(self.proxy.requests, [f"CONNECT {server.address}"])

    def test_without_any_setting_there_is_none(self):
        self.get("--proxy", "system")
        self.assertEqual(self.read("f"), BODY)
        self.assertEqual(self.proxy.requests, [])


class LoginTest(ProxyTest):
    def setUp(self):
        super().setUp()
        self.proxy = self.start_server(FakeProxy(LOGIN))
        self.secrets = [PASSWORD, base64.b64encode(LOGIN.encode()).decode()]

    def check_secret(self, result):
        for secret in self.secrets:
            self.assertNotIn(secret, result.out + result.err)
        return result

    def test_the_proxy_gets_its_login_and_nobody_sees_it(self):
        for proxy in (f"http://{LOGIN}@{self.proxy.address}", f"{LOGIN}@{self.proxy.address}"):
            self.proxy.logins.clear()
            result = self.check_secret(self.get("--log-level", "debug", "--proxy", proxy))
            self.assertIn("Proxy-Authorization: ~stripped~", result.err)
            self.assertEqual(self.proxy.logins, [LOGIN])
        self.start_ftp()
        result = self.check_secret(self.run_program("--log-level", "debug", "--proxy",
                                                    f"http://{LOGIN}@{self.proxy.address}", "ftp", "--tls", "none",
                                                    "get", "/a"))
        self.assertIn("Proxy-Authorization: ~stripped~", result.err)

    def test_a_login_in_the_environment_is_not_shown_either(self):
        self.environment["http_proxy"] = f"http://{LOGIN}@{self.proxy.address}"
        for arguments in BY_ENVIRONMENT:
            self.proxy.logins.clear()
            result = self.check_secret(self.get("--log-level", "debug", *arguments))
            self.assertIn("Proxy-Authorization: ~stripped~", result.err)
            self.assertEqual(self.proxy.logins, [LOGIN])

    def test_a_missing_login_is_explained(self):
        self.assertIn("The proxy requires a login", self.get("--proxy", self.proxy.url, code=4).err)
        self.start_ftp()
        result = self.run_program("--proxy", self.proxy.url, "ftp", "--tls", "none", "get", "/a", code=4)
        self.assertIn("The proxy requires a login", result.err)

    def test_failures_do_not_show_the_login(self):
        for proxy in (f"nonsense://{LOGIN}@127.0.0.1:1", f"http://{LOGIN}@127.0.0.1:99999", f"http://{LOGIN}@[h",
                      f"http://{LOGIN}'@h:x", f"{LOGIN}@127.0.0.1:1"):
            result = self.check_secret(self.get("--log-level", "debug", "--proxy", proxy, code=1))
            self.assertIn("vexil: error: ", result.err)
            self.check_secret(self.run_program("--log-level", "debug", "--retries", "1", "--proxy", proxy, "s3", "ls",
                                               "bucket", code=1))
            self.environment["http_proxy"] = proxy
            for arguments in BY_ENVIRONMENT:
                self.check_secret(self.get("--log-level", "debug", *arguments, code=1))
            del self.environment["http_proxy"]


if __name__ == "__main__":
    unittest.main()
