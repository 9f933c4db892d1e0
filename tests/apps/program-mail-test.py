#!/usr/bin/env python3
"""Mail from the command line: through a real mail server, and to one with odd replies."""

import email
import email.policy
import email.utils
import json
import os
import pathlib
import signal
import socket
import time
import unittest

from fake_smtp import FakeSMTP
from program import IS_WINDOWS, ProgramTest, SECRET, TIME_LIMIT, not_on_windows

FROM = ["--from", "backup@example.com"]
TO = ["--to", "jo@example.com"]


class MailTest(ProgramTest):
    def setUp(self):
        super().setUp()
        for name in ("SERVER", "USER", "PASSWORD"):
            self.environment.pop(f"VEXIL_MAIL_{name}", None)

    def log_in(self, user="tester", password="secret"):
        self.environment.update(VEXIL_MAIL_USER=user, VEXIL_MAIL_PASSWORD=password)

    def mail(self, command, *arguments, **options):
        return self.run_program("mail", command, *arguments, **options)


class ServerTest(MailTest):
    """With the server's own certificate trusted."""

    def setUp(self):
        super().setUp()
        self.mails = pathlib.Path(os.environ["VEXIL_SMTP_MAILS"])
        self.known = set(self.mails.glob("*.eml"))
        self.environment["VEXIL_MAIL_SERVER"] = os.environ["VEXIL_SMTP_ENDPOINT"]
        self.trust = ["--ca-bundle", os.environ["VEXIL_SMTP_CA"]]

    def send(self, *arguments, **options):
        return self.mail("send", *self.trust, *FROM, *arguments, **options)

    def arrived(self):
        """The mails that have come in this test, with their envelopes."""
        files = sorted(set(self.mails.glob("*.eml")) - self.known)
        return [(email.message_from_bytes(file.read_bytes(), policy=email.policy.default),
                 json.loads(file.with_suffix(".json").read_text())) for file in files]

    def the_mail(self):
        mails = self.arrived()
        self.assertEqual(len(mails), 1)
        return mails[0]

    def test_a_mail_with_text_and_files_arrives_as_it_was_meant(self):
        text = "Grüße 🎉\n.\n..dots\n\nlast line without an end"
        binary = os.urandom(300000) + bytes(range(256))
        self.write("report.txt", text.encode())
        name = "ü 🎉 'b'.bin" if IS_WINDOWS else "ü 🎉 \"b\".bin"
        self.write(f"sub/{name}", binary)
        self.write("empty", b"")
        self.send("--name", "Jürgen Groß, Büro", *TO, "--to", "x@example.com", "--cc", "c@example.com",
                  "--subject", "Grüße — \"März\"", "--text", "report.txt", "--attach", f"sub/{name}", "--attach",
                  "empty")
        mail, envelope = self.the_mail()
        self.assertEqual([(a.display_name, a.addr_spec) for a in mail["From"].addresses],
                         [("Jürgen Groß, Büro", "backup@example.com")])
        self.assertEqual([a.addr_spec for a in mail["To"].addresses], ["jo@example.com", "x@example.com"])
        self.assertEqual([a.addr_spec for a in mail["Cc"].addresses], ["c@example.com"])
        self.assertEqual(mail["Subject"], "Grüße — \"März\"")
        body, first, second = mail.iter_parts()
        self.assertEqual(body.get_content_type(), "text/plain")
        self.assertEqual(body.get_payload(decode=True), text.replace("\n", "\r\n").encode())
        self.assertEqual((first.get_filename(), first.get_payload(decode=True)), (name, binary))
        self.assertEqual((second.get_filename(), second.get_payload(decode=True)), ("empty", b""))
        self.assertEqual([part.get_content_disposition() for part in (first, second)], ["attachment"] * 2)
        self.assertEqual(envelope, {"from": "backup@example.com", "tls": True, "login": "",
                                    "to": ["jo@example.com", "x@example.com", "c@example.com"]})

    def test_a_mail_is_dated_and_has_a_name_of_its_own(self):
        before = int(time.time())
        self.send(*TO)
        self.send(*TO)
        after = int(time.time())
        mails = [mail for mail, _ in self.arrived()]
        for mail in mails:
            self.assertRegex(mail["Message-ID"], r"^<[0-9.]+@example\.com>$")
            self.assertIn(" +0000", mail["Date"])
            date = email.utils.parsedate_to_datetime(mail["Date"]).timestamp()
            self.assertTrue(before <= date <= after, mail["Date"])
        self.assertEqual(len({mail["Message-ID"] for mail in mails}), 2)

    def test_blind_copies_stand_in_the_envelope_only(self):
        self.send(*TO, "--bcc", "hidden@example.com", "--subject", "s")
        mail, envelope = self.the_mail()
        self.assertEqual(envelope["to"], ["jo@example.com", "hidden@example.com"])
        self.assertNotIn(b"hidden", mail.as_bytes())
        self.assertIsNone(mail["Bcc"])

    def test_a_mail_may_have_blind_recipients_only(self):
        self.send("--bcc", "hidden@example.com")
        mail, envelope = self.the_mail()
        self.assertEqual((mail["To"], envelope["to"]), (None, ["hidden@example.com"]))

    def test_the_lines_of_many_recipients_stay_short(self):
        addresses = [f"recipient.number.{number}@department.example.com" for number in range(60)]
        self.send(*[argument for address in addresses for argument in ("--to", address)])
        mail, envelope = self.the_mail()
        self.assertEqual([a.addr_spec for a in mail["To"].addresses], addresses)
        self.assertEqual(envelope["to"], addresses)
        stored = next(iter(set(self.mails.glob("*.eml")) - self.known)).read_bytes()
        self.assertLess(max(map(len, stored.split(b"\r\n"))), 100)

    def test_the_text_may_come_from_standard_input(self):
        with open(self.write("text", "from ä pipe\n".encode()), "rb") as text:
            self.send(*TO, "--text", "-", stdin=text)
        self.assertEqual(self.the_mail()[0].get_content(), "from ä pipe\r\n")

    def test_a_text_that_is_not_utf8_goes_all_the_same(self):
        self.write("text", b"one\xfftwo\n")
        self.assertIn("not UTF-8", self.send(*TO, "--text", "text").err)
        self.assertRegex(self.the_mail()[0].get_content(), "^one\ufffd+two\r\n$")

    @not_on_windows("no file has such a name there")
    def test_files_may_come_without_a_text_and_with_odd_names(self):
        self.write(os.fsdecode(b"odd\n\xff"), b"1")
        self.send(*TO, "--attach", os.fsdecode(b"odd\n\xff"))
        part, = self.the_mail()[0].iter_parts()
        self.assertRegex(part.get_filename(), "^odd_\ufffd+$")

    def test_each_security_with_and_without_a_login(self):
        ssl = ["--server", os.environ["VEXIL_SMTPS_ENDPOINT"]]
        for security, server, tls in (("unencrypted", [], False), ("starttls", [], True), ("ssl", ssl, True)):
            for login in (False, True):
                with self.subTest(security=security, login=login):
                    self.environment.pop("VEXIL_MAIL_USER", None)
                    self.environment.pop("VEXIL_MAIL_PASSWORD", None)
                    if login:
                        self.log_in()
                    self.known = set(self.mails.glob("*.eml"))
                    self.assertEqual(self.send(*TO, "--security", security, *server).err, "")
                    envelope = self.the_mail()[1]
                    self.assertEqual((envelope["tls"], envelope["login"] != ""), (tls, login))
                    words = self.mail("test", *self.trust, "--security", security, *server).out
                    self.assertIn(": unencrypted, " if security == "unencrypted" else f": {security}", words)
                    self.assertIn("logged in as tester" if login else "no login", words)
        self.assertEqual(len(self.arrived()), 1, "a test sends nothing")

    def test_a_wrong_password_is_a_refused_login(self):
        self.log_in(password=SECRET)
        for arguments in (["test"], ["send", *FROM, *TO]):
            result = self.mail(*arguments, *self.trust, "--log-level", "debug", code=4)
            self.assertIn("535 5.7.8", result.err)
            self.assertIn("VEXIL_MAIL_PASSWORD", result.err)
            self.assertNotIn(SECRET, result.err)
        self.assertEqual(self.arrived(), [])

    def test_the_login_may_come_from_a_file(self):
        self.log_in(password="wrong")
        login = ["--credentials", self.write("login", b"# of the server\nuser = tester\npassword=secret\n")]
        login[1].chmod(0o600)
        self.assertIn("logged in as tester", self.mail("test", *self.trust, *login).out)
        self.write("login", f"user=tester\npassword={SECRET}\n".encode())
        result = self.mail("test", *self.trust, *login, code=4)
        self.assertIn("--credentials", result.err)
        self.assertNotIn(SECRET, result.err)
        self.write("login", b"access_key=x\n")
        self.assertIn("neither with 'user=' nor with 'password='",
                      self.mail("test", *self.trust, *login, code=2).err)

    def test_no_password_shows_in_the_log_of_the_wire(self):
        self.log_in()
        result = self.send(*TO, "--log-level", "debug")
        self.assertIn("RCPT TO:<jo@example.com>", result.err)
        self.assertNotIn("AHRlc3RlcgBzZWNyZXQ=", result.err)
        self.assertNotIn("secret", result.err)

    def test_a_login_that_the_server_does_not_offer_is_told(self):
        self.log_in()
        plain = ["--security", "unencrypted", "--server", os.environ["VEXIL_SMTP_PLAIN_ENDPOINT"]]
        result = self.mail("test", *plain, code=1)
        self.assertIn("The server offers no login", result.err)
        self.assertEqual(result.out, "")
        self.assertIn("The server offers no login", self.send(*TO, *plain).err)
        self.assertEqual(len(self.arrived()), 1)

    def test_a_refused_recipient_is_named_and_nobody_gets_the_mail(self):
        self.log_in()
        for security in ("starttls", "unencrypted"):
            result = self.send(*TO, "--cc", "refused.one@example.com", "--bcc", "b@example.com", "--security",
                               security, code=1)
            self.assertIn("refuses the recipient refused.one@example.com", result.err)
            self.assertIn("server message:  550 5.1.1 no such user here", result.err)
            self.assertNotRegex(result.err, r"\b221\b")
            self.assertNotIn("Try again", result.err)
        self.assertEqual(self.arrived(), [])

    def test_a_refused_sender(self):
        result = self.mail("send", *self.trust, "--from", "refused@example.com", *TO, code=1)
        self.assertIn("refuses the sender", result.err)
        self.assertIn("550 5.7.1 this sender is refused", result.err)

    def test_a_server_without_starttls_gets_nothing(self):
        result = self.send(*TO, "--server", os.environ["VEXIL_SMTP_PLAIN_ENDPOINT"], code=1)
        self.assertIn("STARTTLS", result.err)
        self.assertIn("--security", result.err)
        self.assertEqual(self.arrived(), [])

    def test_a_certificate_must_be_trusted_unless_nobody_asks_for_it(self):
        ssl = ["--security", "ssl", "--server", os.environ["VEXIL_SMTPS_ENDPOINT"]]
        for place in ([], ssl):
            for wrong in ([], ["--ca-bundle", os.environ["VEXIL_SMTP_WRONG_CA"]]):
                result = self.mail("send", *FROM, *TO, *place, *wrong, code=1)
                self.assertIn("libcurl code:    60", result.err)
                self.assertIn("--ca-bundle", result.err)
            self.assertEqual(self.arrived(), [])
            self.mail("send", *FROM, *TO, *place, "--no-verify")
            self.assertIn(", certificate not checked, ", self.mail("test", *place, "--no-verify").out)
            self.assertIn(", certificate checked, ", self.mail("test", *place, *self.trust).out)
            self.assertEqual(len(self.arrived()), 1)
            self.known = set(self.mails.glob("*.eml"))


class OddServerTest(MailTest):
    def start_server(self, **replies):
        server = FakeSMTP(**replies)
        self.addCleanup(server.close)
        return server, ["--security", "unencrypted", "--server", server.address]

    def test_the_lines_of_a_refusal_are_joined(self):
        _, place = self.start_server(RCPT=["250 OK", "251 will forward", "550-no such user,\r\n550-not here,\r\n550 bye"])
        result = self.mail("send", *place, *FROM, "--to", "a@b.c", "--to", "d@e.f", "--to", "g@h.i", "--to",
                           "j@k.l", code=1)
        self.assertIn("refuses the recipient g@h.i.", result.err)
        self.assertIn("server message:  550 no such user, not here, bye\n", result.err)

    # The code of a reply decides, even if its text is not UTF-8.
    def test_replies_that_are_no_utf8_mean_the_same_as_others(self):
        self.log_in()
        plain = "250-fake\r\n250 AUTH PLAIN"
        staged = "250-fake\r\n250 AUTH LOGIN"
        token = "AHRLC3RLCGBZZWNYZXQ="
        accepted = {"AUTH": "334 ", token: "235 in"}
        send = ["send", *FROM, "--to", "a@b.c", "--to", "d@e.f"]
        for arguments, words, replies in (
                (["test"], "logged in as tester", dict(EHLO=plain, **accepted)),
                (send, "", dict(EHLO=plain, **accepted)),
                (send, "refuses the recipient d@e.f.", dict(EHLO=plain, **accepted, RCPT=["250 OK", "550-no\r\n550 way"])),
                (send, "refuses the sender", dict(EHLO=plain, **accepted, MAIL="550 no way")),
                (send, "554 no way", {**accepted, "EHLO": plain, ".": "554 no way"}),
                (send, "535 no way", {**accepted, "EHLO": plain, token: "535 no way"}),
                (["test"], "535 no way", dict(EHLO=staged, AUTH="334 VXNlcm5hbWU6", DGVZDGVY="334 UGFzc3dvcmQ6",
                                              C2VJCMV0="535 no way")),
                (["test"], "503 no way", dict(EHLO="503 no way", HELO="503 no way"))):
            with self.subTest(replies=replies):
                expected, count = self.outcome(arguments, replies, lambda number: False)
                self.assertIn(words, expected[1])
                self.assertEqual(self.outcome(arguments, replies, lambda number: True)[0], expected)
                for wanted in range(count):
                    self.assertEqual(self.outcome(arguments, replies, lambda number: number == wanted)[0], expected, wanted)

    def outcome(self, arguments, replies, mangles):
        """The output of the program, without texts of the server that are not UTF-8, and the number of replies."""
        server, place = self.start_server(**{verb: [text] if isinstance(text, str) else list(text)
                                             for verb, text in replies.items()})
        server.mangles = mangles
        result = self.finish(self.start("mail", arguments[0], *place, *arguments[1:]))
        said = [line for line in result.err.splitlines() if "header parsing (ignored)" not in line]
        text = "\n".join([result.out, *said]).replace(" d\xe9j\xe0", "").replace(server.address, "ADDRESS")
        return (result.code, text.replace(server.address.partition(":")[2], "PORT")), server.count

    def test_a_challenge_is_no_message_of_the_server(self):
        self.log_in()
        server, place = self.start_server(EHLO=["250-fake\r\n250 AUTH LOGIN"], AUTH=["334 VXNlcm5hbWU6"],
                                          DGVZDGVY=["334 UGFzc3dvcmQ6"], C2VJCMV0=["334 bW9yZQ=="])
        self.assertNotRegex(self.finish(self.start("mail", "test", *place)).err, r"\b334 ")

    def test_a_server_without_extensions_may_refuse_a_recipient(self):
        server, place = self.start_server(EHLO=["500 what?"], RCPT=["250 OK", "452 too many"])
        result = self.mail("send", *place, *FROM, "--to", "a@b.c", "--to", "d@e.f", code=1)
        self.assertIn("HELO", server.commands[1])
        self.assertIn("refuses the recipient d@e.f.", result.err)
        self.assertIn("Try again later", result.err)

    def test_a_server_that_wants_a_login(self):
        _, place = self.start_server(MAIL=["530 5.7.0 authentication required"])
        result = self.mail("send", *place, *FROM, *TO, code=4)
        self.assertIn("530 5.7.0 authentication required", result.err)
        self.assertIn("set VEXIL_MAIL_USER", result.err)

    def test_a_mail_that_is_refused_at_its_end(self):
        _, place = self.start_server(**{".": ["554 5.7.1 looks like spam"]})
        result = self.mail("send", *place, *FROM, *TO, code=1)
        self.assertIn("server message:  554 5.7.1 looks like spam", result.err)

    def test_a_mail_that_breaks_after_its_end_may_have_been_taken(self):
        for reply in (None, "251 perhaps"):
            server, place = self.start_server(**{".": [reply]})
            result = self.mail("send", *place, *FROM, *TO, code=1)
            self.assertIn("The server may have accepted the mail.", result.err)
            self.assertIn("before you send it again", result.err)
            self.assertNotIn("Try again", result.err)
            self.assertNotRegex(result.err, r"\b354\b")
            self.assertEqual(len(server.mails), 1)

    def test_a_mail_that_breaks_within_may_be_sent_again(self):
        self.write("large", bytes(20_000_000))
        server, place = self.start_server()
        server.ends_within_message = True
        result = self.mail("send", *place, *FROM, *TO, "--attach", "large", code=1)
        self.assertIn("The connection was lost. Try again.", result.err)
        self.assertNotIn("may have accepted", result.err)

    def test_an_interrupt_after_the_end_of_a_mail_tells_that_it_may_have_been_taken(self):
        with socket.create_server(("127.0.0.1", 0)) as listener:
            listener.settimeout(TIME_LIMIT)
            place = ["--security", "unencrypted", "--server", "127.0.0.1:%d" % listener.getsockname()[1]]
            process = self.start("mail", "send", *place, *FROM, *TO)
            with listener.accept()[0] as connection, connection.makefile("rwb", buffering=0) as lines:
                lines.write(b"220 h\r\n")
                for reply in (b"250 h\r\n", b"250 ok\r\n", b"250 ok\r\n", b"354 go on\r\n"):
                    lines.readline()
                    lines.write(reply)
                while lines.readline() != b".\r\n":
                    pass
                result = self.interrupt(process)
            self.assertEqual(result.code, 130, result)
            self.assertIn("the server may have accepted the mail", result.err)

    def test_a_reply_that_is_not_the_failure_is_not_shown(self):
        for replies in (dict(MAIL=["250 all is well"], RCPT=[None]), dict(EHLO=[None])):
            _, place = self.start_server(greeting=["220 all is well"], **replies)
            result = self.mail("send", *place, *FROM, *TO, code=1)
            self.assertNotIn("all is well", result.err)
            self.assertNotIn("response code", result.err)

    def test_what_is_refused_is_told(self):
        for replies, texts in ((dict(MAIL=["552 5.3.4 at most 1 MB"]), ("because of its size", "552 5.3.4 at most 1 MB")),
                               ({".": ["552 5.3.4 at most 1 MB"]}, ("because of its size", "552 5.3.4 at most 1 MB")),
                               ({".": ["554 5.7.1 spam"]}, ("refuses the content", "554 5.7.1 spam")),
                               (dict(MAIL=["530 5.7.0 Must issue a STARTTLS command first"]),
                                ("demands an encrypted connection", "--security starttls")),
                               (dict(DATA=["554 no"]), ("refuses the mail.", "554 no")),
                               (dict(greeting=["554 go away"]), ("refuses the connection", "554 go away"))):
            with self.subTest(replies):
                _, place = self.start_server(**replies)
                result = self.mail("send", *place, *FROM, *TO, code=1)
                for text in texts:
                    self.assertIn(text, result.err)

    def test_only_a_refused_password_is_called_one(self):
        self.log_in()
        plain = "250-fake\r\n250 AUTH PLAIN"
        for ehlo, reply, text in ((plain, "454 4.7.0 no database", "Try again later"),
                                  (plain, "538 5.7.11 encryption required", "demands an encrypted connection"),
                                  ("250-fake\r\n250 AUTH GSSAPI", "", "no way to log in that this program knows")):
            with self.subTest(reply):
                _, place = self.start_server(EHLO=[ehlo], AUTH=["334 "], **{"AHRLC3RLCGBZZWNYZXQ=": [reply]})
                result = self.mail("test", *place, code=1)
                self.assertIn(text, result.err)
                self.assertNotIn("VEXIL_MAIL_PASSWORD", result.err)
                self.assertNotIn("AUTH GSSAPI", result.err)

    def test_a_temporary_refusal_of_starttls_is_no_advice_to_go_without(self):
        server, _ = self.start_server(EHLO=["250-fake\r\n250 STARTTLS"], STARTTLS=["454 4.7.0 no certificate now"])
        result = self.mail("test", "--server", server.address, code=1)
        self.assertIn("454 4.7.0 no certificate now", result.err)
        self.assertIn("Try again later", result.err)
        self.assertNotIn("unencrypted", result.err)

    def test_a_recipient_that_is_named_twice_gets_the_mail_once(self):
        server, place = self.start_server()
        self.mail("send", *place, *FROM, *TO, *TO, "--cc", "jo@Example.com", "--bcc", "x@example.com")
        self.assertEqual([line for line in server.commands if line.startswith("RCPT")],
                         ["RCPT TO:<jo@example.com>", "RCPT TO:<x@example.com>"])

    @not_on_windows("pipes with a path")
    def test_text_and_files_may_come_through_pipes(self):
        server, place = self.start_server()
        for name in ("text", "data"):
            os.mkfifo(self.folder / name)
        process = self.start("mail", "send", *place, *FROM, *TO, "--text", "text", "--attach", "data")
        self.write("text", "Grüße\n".encode())
        self.write("data", b"\x00\xff" * 50000)
        result = self.finish(process)
        self.assertEqual(result.code, 0, result)
        mail = email.message_from_string(server.mails[0], policy=email.policy.default)
        text, attachment = mail.iter_parts()
        self.assertEqual(text.get_content(), "Grüße\r\n")
        self.assertEqual(attachment.get_filename(), "data")
        self.assertEqual(attachment.get_content(), b"\x00\xff" * 50000)

    @not_on_windows("pipes with a path")
    def test_an_interrupt_ends_the_wait_for_a_pipe(self):
        _, place = self.start_server()
        os.mkfifo(self.folder / "text")
        for opens in (False, True):
            process = self.start("mail", "send", *place, *FROM, *TO, "--text", "text")
            if opens:
                with open(self.folder / "text", "wb"):
                    result = self.interrupt(process)
            else:
                self.wait_until_asleep(process)
                result = self.interrupt(process)
            self.assertEqual(result.code, 130, result)

    def wait_until_asleep(self, process):
        """Waits until the program reads the pipe: it catches SIGINT, and sleeps."""
        deadline = time.monotonic() + TIME_LIMIT
        while True:
            status = dict(line.split(":\t") for line in
                          pathlib.Path(f"/proc/{process.pid}/status").read_text().splitlines())
            if int(status["SigCgt"], 16) & 1 << signal.SIGINT - 1 and status["State"].startswith("S"):
                return
            self.assertLess(time.monotonic(), deadline)
            time.sleep(0.01)

    def test_what_the_server_says_of_a_mail_is_there_for_those_who_ask(self):
        _, place = self.start_server(**{".": ["250 queued as 42"] * 2})
        self.assertEqual(self.mail("send", *place, *FROM, *TO).err, "")
        self.assertIn("sent: 250 queued as 42", self.mail("send", *place, *FROM, *TO, "--log-level", "info").err)

    def test_nothing_listens(self):
        with socket.socket() as free:
            free.bind(("127.0.0.1", 0))
            place = ["--server", "127.0.0.1:%d" % free.getsockname()[1]]
            for arguments in (["test"], ["send", *FROM, *TO]):
                result = self.mail(*arguments, *place, code=1)
                self.assertIn("libcurl code:    7", result.err)
                self.assertIn("Check host and port", result.err)

    def test_the_port_follows_from_the_security(self):
        # An address of this machine where nobody listens.
        for security, url in (("starttls", "smtp://127.255.255.254:587"), ("ssl", "smtps://127.255.255.254:465"),
                              ("unencrypted", "smtp://127.255.255.254:25")):
            result = self.mail("test", "--server", "127.255.255.254", "--security", security, code=1)
            self.assertIn(f"URL:             {url}\n", result.err)

    def test_a_server_that_says_nothing_ends_by_the_time_limit(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            place = ["--server", "127.0.0.1:%d" % silent.getsockname()[1]]
            result = self.mail("test", *place, "--timeout", "0.3", code=1)
            self.assertIn("libcurl code:    28", result.err)

    def test_an_interrupt_ends_a_mail(self):
        with socket.create_server(("127.0.0.1", 0)) as silent:
            silent.settimeout(TIME_LIMIT)
            process = self.start("mail", "test", "--server", "127.0.0.1:%d" % silent.getsockname()[1])
            with silent.accept()[0]:
                self.assertEqual(self.interrupt(process).code, 130)

    def test_wrong_usage_is_found_before_anything_is_sent(self):
        server, place = self.start_server()
        self.write("text")
        for arguments, words in (
                ([*FROM], "no recipient"),
                ([*TO], "is not a mail address"),
                ([*FROM, "--to", "jo"], "'jo' is not a mail address"),
                ([*FROM, "--to", ""], "is not a mail address"),
                ([*FROM, "--to", "a@b.c,d@e.f"], "is not a mail address"),
                ([*FROM, "--to", "a,b@c.d"], "is not a mail address"),
                ([*FROM, "--to", "Jo <jo@example.com>"], "is not a mail address"),
                ([*FROM, "--to", "jo@exämple.com"], "is not a mail address"),
                ([*FROM, "--bcc", "a@b.c\nDATA"], "is not a mail address"),
                ([*FROM, *TO, "--subject", "one\nBcc: x@y.z"], "line ends"),
                ([*FROM, *TO, "--name", "one\nBcc: x@y.z"], "CR, LF or NUL"),
                ([*FROM, *TO, "--text", "absent"], "there is no file 'absent'"),
                ([*FROM, *TO, "--text", ""], "the value is empty"),
                ([*FROM, *TO, "--attach", ""], "there is no file ''"),
                ([*FROM, *TO, "--attach", "."], "not a regular file"),
                ([*FROM, *TO, "--text"], "--text"),
                ([*FROM, *TO, "extra"], "extra")):
            with self.subTest(arguments=arguments):
                self.assertIn(words, self.mail("send", *place, *arguments, code=2).err)
        self.assertEqual(server.commands, [])

    def test_a_server_must_be_one(self):
        for server in ("smtp://a.b", "user@a.b", "a.b/c", "a b", "a.b:", "a.b:0", "a.b:65536", "::1", "[::1", ":25"):
            with self.subTest(server=server):
                self.assertIn("is not a server", self.mail("test", "--server", server, code=2).err)
        self.assertIn("--security must be", self.mail("test", "--server", "a.b", "--security", "SSL", code=2).err)

    def test_a_server_must_be_named(self):
        self.assertIn("VEXIL_MAIL_SERVER", self.mail("test", code=2).err)
        self.assertIn("VEXIL_MAIL_SERVER", self.mail("send", *FROM, *TO, code=2).err)

    def test_half_a_login_is_none(self):
        for name, missing in (("USER", "PASSWORD"), ("PASSWORD", "USER")):
            self.environment.pop(f"VEXIL_MAIL_{missing}", None)
            self.environment[f"VEXIL_MAIL_{name}"] = SECRET
            result = self.mail("test", "--server", "127.0.0.1:1", code=2)
            self.assertIn(f"VEXIL_MAIL_{missing}", result.err)
            self.assertNotIn(SECRET, result.err)


if __name__ == "__main__":
    unittest.main()
