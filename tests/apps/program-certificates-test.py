#!/usr/bin/env python3
"""Which servers the program trusts: all kinds over TLS, with certificates of an authority made for the test."""

import hashlib
import os
import pathlib
import shutil
import ssl
import struct
import subprocess
import tempfile
import unittest
import xml.etree.ElementTree

from fake_ftp import FakeFTP, Fault
from fake_proxy import FakeProxy
from fake_s3 import FakeS3
from fake_smtp import FakeSMTP
from program import IS_WINDOWS, LAUNCHER, PROGRAM, TIME_LIMIT, ProgramTest

MAKE_CERTIFICATES = pathlib.Path(__file__).resolve().parents[1] / "servers" / "certificates.sh"
ROOTS = r"HKCU\Software\Microsoft\SystemCertificates\Root\Certificates"
UNTRUSTED = "libcurl code:    60"


class NativeAuthority:
    """Adds a certificate to those that Windows trusts for this user, for the time of the block."""

    def __init__(self, file):
        certificate = ssl.PEM_cert_to_DER_cert(file.read_text())
        self.key = ROOTS + "\\" + hashlib.sha1(certificate).hexdigest().upper()
        # One property, the certificate: its number, 1, its length, its bytes.
        self.value = struct.pack("<III", 32, 1, len(certificate)) + certificate

    def __enter__(self):
        self.change("add", self.key, "/v", "Blob", "/t", "REG_BINARY", "/d", self.value.hex(), "/f")

    def __exit__(self, *_):
        self.change("delete", self.key, "/f")

    def change(self, *arguments):
        subprocess.run([*LAUNCHER, "reg", *arguments], check=True, stdin=subprocess.DEVNULL,
                       stdout=subprocess.DEVNULL, timeout=TIME_LIMIT)


class CertificatesTest(ProgramTest):
    @classmethod
    def setUpClass(cls):
        cls.certificates = pathlib.Path(tempfile.mkdtemp(prefix="vexil-certificates-"))
        cls.addClassCleanup(shutil.rmtree, cls.certificates)
        subprocess.run([MAKE_CERTIFICATES, cls.certificates], check=True, stdin=subprocess.DEVNULL, timeout=120)
        cls.authority = cls.certificates / "ca.pem"
        cls.unrelated = cls.certificates / "wrong-ca.pem"
        cls.tls = ssl.SSLContext(ssl.PROTOCOL_TLS_SERVER)
        cls.tls.load_cert_chain(cls.certificates / "cert.pem", cls.certificates / "key.pem")

    def setUp(self):
        super().setUp()
        s3, ftp, smtp, proxy, plain = FakeS3(), FakeFTP(), FakeSMTP(), FakeProxy(), FakeS3()
        self.s3, self.ftp, self.smtp = s3, ftp, smtp
        for fake in (s3, ftp, smtp, proxy, plain):
            self.addCleanup(fake.close)
        for server in (s3.server, ftp.tcp, smtp.server, proxy.server):
            self.protect(server)
        for command in ("PBSZ 0", "PROT P"):
            ftp.faults[command] = [Fault(reply="200 Good.") for _ in range(50)]
        endpoint = self.endpoint = s3.endpoint.replace("http:", "https:")
        self.environment.update(VEXIL_FTP_USER="u", VEXIL_FTP_PASSWORD="p")
        self.commands = (["http", "get", endpoint + "/bucket"],
                         ["s3", "ls", "bucket", "--endpoint", endpoint],
                         ["ftp", "stat", "/", "--server", ftp.address, "--tls", "implicit"],
                         ["mail", "test", "--server", smtp.address, "--security", "ssl"])
        self.plain = ["http", "get", plain.endpoint + "/bucket"]
        self.through_proxy = [*self.plain, "--proxy", "https://" + proxy.address]

    def protect(self, server):
        accept = server.get_request

        def accept_tls():
            connection, address = accept()
            connection.settimeout(TIME_LIMIT)
            connection = self.tls.wrap_socket(connection, server_side=True)
            connection.settimeout(None)
            return connection, address

        server.get_request = accept_tls

    def run_each(self, *options, **program):
        """Runs all commands at once, because under Wine the start takes longest."""
        processes = [self.start("--retries", 0, *options, *command, **program) for command in self.commands]
        return list(zip(self.commands, [self.finish(process) for process in processes]))

    def each_is_trusted(self, *options, **program):
        for command, result in self.run_each(*options, **program):
            with self.subTest(command):
                self.assertEqual(result.code, 0, result)

    def each_is_refused(self, *options, **program):
        for command, result in self.run_each(*options, **program):
            with self.subTest(command):
                self.assertEqual(result.code, 1, result)
                self.assertIn(UNTRUSTED, result.err)
                self.assertIn("--ca-bundle", result.err)
                self.assertEqual("--native-ca" in result.err, IS_WINDOWS, result)

    def each_is_wrong_usage(self, *options, texts):
        for command, result in self.run_each(*options):
            with self.subTest(command):
                self.assertEqual(result.code, 2, result)
                for text in texts:
                    self.assertIn(text, result.err)

    def test_the_authority_of_the_bundle_is_trusted(self):
        bundle = self.folder / "b\u00FCndel \u20AC.pem"
        shutil.copy(self.authority, bundle)
        self.each_is_trusted("--ca-bundle", bundle.name)

    def test_no_other_one_is(self):
        self.each_is_refused("--ca-bundle", self.unrelated)
        self.each_is_refused()

    def test_the_name_of_the_host_counts(self):
        # For libcurl, names below localhost are this computer. The certificate is only for localhost and 127.0.0.1.
        self.commands = [[argument.replace("127.0.0.1", "other.localhost") for argument in command]
                         for command in self.commands]
        self.each_is_refused("--ca-bundle", self.authority)
        self.each_is_trusted("--no-verify")

    def test_a_proxy_is_checked_by_the_default_alone(self):
        for options in ([], ["--ca-bundle", self.authority], ["--no-verify"]):
            self.assertIn(UNTRUSTED, self.run_program(*options, *self.through_proxy, code=1).err)

    @unittest.skipIf(IS_WINDOWS, "so many starts of the program take too long there")
    def test_no_command_takes_the_certificate_of_another_host(self):
        # For libcurl, every name that ends like this is this computer.
        self.write("f/a", b"secret content")
        options = {"ftp": self.commands[2][3:], "mail": self.commands[3][2:]}
        commands = [["http", "get", self.endpoint + "/x", "o"], ["http", "head", self.endpoint + "/x"],
                    ["http", "put", "f/a", self.endpoint + "/x"],
                    *[["s3", *rest, "--endpoint", self.endpoint] for rest in (
                        ["ls", "b"], ["get", "b", "k", "o"], ["put", "f/a", "b", "k"], ["backup", "f", "b"],
                        ["restore", "b", "r"])],
                    *[["ftp", *rest, *options["ftp"]] for rest in (
                        ["ls", "/"], ["get", "/a", "o"], ["put", "f/a", "/a"], ["backup", "f", "/b"],
                        ["restore", "/b", "r"])],
                    ["mail", "send", "--from", "a@example.com", "--to", "b@example.com", *options["mail"]],
                    ["mail", "test", *options["mail"]]]
        self.commands = [[argument.replace("127.0.0.1", "other.localhost") for argument in command]
                         for command in commands]
        self.each_is_refused("--ca-bundle", self.authority)
        self.assertEqual((self.s3.requests, self.ftp.commands, self.smtp.commands), ([], [], []))

    def test_nobody_is_asked_for_a_certificate_on_demand(self):
        self.each_is_trusted("--no-verify")

    def test_left_out_bytes_of_a_log_are_those_of_the_body(self):
        self.write("up", b"<secret>" * 100000)
        for arguments, direction in ((["put", "up", "bucket", "b"], "send"), (["get", "bucket", "b", "f"], "receive")):
            self.run_program("--ca-bundle", self.authority, "--endpoint", self.endpoint, "--verbose-log", "log.xml",
                             "s3", *arguments)
            element, = xml.etree.ElementTree.fromstring(self.read("log.xml"))
            shown = sum(int(message.get("bytes")) for message in element
                        if (message.get("type"), message.tag) == ("data", direction))
            # The same bytes come a second time, as TLS records.
            self.assertEqual(shown + int(element.get("bytesLeftOut", 0)), 800000, direction)

    def test_options_that_contradict_each_other_are_refused(self):
        for options in (["--ca-bundle", self.authority], ["--no-verify"]):
            self.each_is_wrong_usage("--native-ca", *options, texts=("--native-ca", options[0]))

    @unittest.skipIf(IS_WINDOWS, "there the option is understood")
    def test_only_windows_knows_certificates_that_libcurl_must_be_told_of(self):
        self.each_is_wrong_usage("--native-ca", texts=["--native-ca is for Windows only"])

    @unittest.skipUnless(IS_WINDOWS, "elsewhere libcurl finds them by itself")
    def test_the_authorities_of_windows_are_trusted_on_demand(self):
        self.each_is_refused("--native-ca")
        with NativeAuthority(self.authority):
            self.each_is_trusted("--native-ca")
            self.run_program("--native-ca", *self.through_proxy)
            self.each_is_refused()

    @unittest.skipUnless(IS_WINDOWS, "elsewhere libcurl finds the system's by itself")
    def test_the_installed_bundle_is_the_default(self):
        installed = self.folder / "inst\u00E4llation"
        shutil.copytree(pathlib.Path(PROGRAM).parent, installed / "bin")
        bundle = installed / "share" / "vexil" / "ca-bundle.crt"
        bundle.parent.mkdir(parents=True)
        program = installed / "bin" / pathlib.Path(PROGRAM).name
        # Without the file, connections without TLS still work.
        self.each_is_refused(program=program)
        self.run_program(*self.plain, program=program)
        shutil.copy(self.authority, bundle)
        self.each_is_trusted(program=program)
        for options in ([], ["--ca-bundle", self.unrelated]):
            self.run_program(*options, *self.through_proxy, program=program)
        self.each_is_refused("--ca-bundle", self.unrelated, program=program)


if __name__ == "__main__":
    unittest.main()
