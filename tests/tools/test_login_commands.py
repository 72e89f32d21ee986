"""Logins: where the password comes from and where it never appears, send with a login, and verify."""

import base64
import hashlib
import hmac
import signal
import socket
import unittest

from program import (PASSWORD, SEND, TO_BOB, PopServer, ProgramTest, content, on_mailbox, on_terminal, quorvel,
                     scripted)

SECRETS = (PASSWORD, base64.b64encode(PASSWORD), base64.b64encode(b"bob\0bob\0" + PASSWORD), PASSWORD.hex().encode())
CHALLENGE = b"<1.2@x.org>"
GREETING = b"220 s\r\n"
ALL = b"250-s\r\n250 AUTH LOGIN PLAIN CRAM-MD5 NTLM GSSAPI\r\n"
NONE = b"250 s\r\n"
WELCOME = b"235 welcome\r\n"
LOGIN = ("--user", "bob", "--password-fd", "0")
SENDING = (b"250 ok\r\n", b"250 ok\r\n", b"354 go\r\n", b"250 kept\r\n", b"221 bye\r\n")


def encoded(text):
    return base64.b64encode(text)


CRAM = encoded(b"bob " + hmac.new(PASSWORD, CHALLENGE, hashlib.md5).hexdigest().encode())
METHODS = {  # the server's answers until it is content, and what the client says
    "login": ((b"334 VXNlcg==\r\n", b"334 UGFzcw==\r\n", WELCOME), [b"AUTH LOGIN", encoded(b"bob"), encoded(PASSWORD)]),
    "plain": ((b"334\r\n", WELCOME), [b"AUTH PLAIN", encoded(b"bob\0bob\0" + PASSWORD)]),
    "cram-md5": ((b"334 %b\r\n" % encoded(CHALLENGE), WELCOME), [b"AUTH CRAM-MD5", CRAM]),
}


class PasswordTest(ProgramTest):
    def test_sources(self):
        rows = [
            (b"secret", b"secret"), (b"secret\n", b"secret"), (b"secret\r\n", b"secret"), (b"secret\nmore\n", b"secret"),
            (b" two words \n", b" two words "), (PASSWORD, PASSWORD), (b"x" * 1000 + b"\r\n", b"x" * 1000),
        ]
        for text, password in rows:
            with self.subTest(text), PopServer() as server:
                at = ("check", "--server", f"127.0.0.1:{server.port}", "--user", "bob")
                self.check(quorvel(*at, "--password-file", self.file("password", text)), 0)
                self.check(quorvel(*at, "--password-fd", "0", stdin=text), 0)
                with open(self.file("password"), "rb") as file:
                    self.check(quorvel(*at, "--password-fd", str(file.fileno()), pass_fds=(file.fileno(),)), 0)
                self.assertEqual(server.commands.count("PASS " + password.decode()), 3)

    def test_sources_that_give_none(self):
        rows = [
            (b"", b"holds no password"), (b"\n", b"holds no password"), (b"\r\n", b"holds no password"),
            (b"x" * 1001, b"too long"), (b"a\0b\n", b"bytes that no password can have"),
            (b"a\rb\n", b"bytes that no password can have"),
        ]
        for text, said in rows:
            with self.subTest(text):
                self.check(on_mailbox(1, "check", stdin=text), 5, said)
                path = self.file("password", text)
                self.check(quorvel("check", "--user", "bob", "--password-file", path), 5, said)
        rows = [
            (("--password-file", "/no/such"), 5, b"/no/such"),
            (("--password-file", ""), 5, b"cannot read the password"),
            (("--password-file", "/"), 5, b"Is a directory"),
            (("--password-fd", "99"), 5, b"descriptor 99"),
            (("--password-fd", "-1"), 2, b"--password-fd"),
            (("--password-file", "/dev/null", "--password-fd", "0"), 2, b"--password-f"),
            (("--password", "secret"), 2, b"--password"),
            ((), 2, b"no terminal to ask"),
            (("--user", ""), 2, b"--user"),
            (("--user", "a\r\nDELE 1"), 2, b"--user"),
            (("--user", "x" * 1001), 2, b"--user"),
        ]
        for args, status, said in rows:
            with self.subTest(args):
                user = () if "--user" in args else ("--user", "bob")
                self.check(quorvel("check", *user, *args, start_new_session=True), status, said)
        for args in (("--password-fd", "0"), ("--auth", "plain"), ("--domain", "d")):
            self.check(quorvel("send", *TO_BOB, *args), 2, b"--user")
        stdin_twice = ("--to", "b@x.org", "--text", "-", *LOGIN)
        self.check(quorvel("send", *SEND, *stdin_twice), 2, b"standard input")
        self.check(quorvel("send", *TO_BOB, "--user", "bob", "--auth", "magic"), 2, b"--auth")

    def test_the_terminal_is_asked_and_shows_nothing(self):
        prompt = b"Password of bob at 127.0.0.1:"
        rows = [  # typed, exit status, password that the server hears
            (PASSWORD + b"\n", 0, PASSWORD),
            (b"wrong\x15" + PASSWORD + b"\n", 0, PASSWORD),  # taken back
            (b"\n", 2, None),
            (b"\x04", 2, None),
            (b"half\x03", -signal.SIGINT, None),
            (b"half\x1c", -signal.SIGQUIT, None),
        ]
        for typed, expected, password in rows:
            with self.subTest(typed), PopServer() as server:
                seen, status, echo = on_terminal("check", "--server", f"127.0.0.1:{server.port}", "--user", "bob",
                                                 answers=[(prompt, typed)])
                self.assertEqual((status, echo), (expected, True), seen)
                for secret in (PASSWORD, b"wrong", b"half"):
                    self.assertNotIn(secret, seen)
                self.assertEqual([line[5:].encode() for line in server.commands if line.startswith("PASS")],
                                 [] if password is None else [password])

    def test_a_server_with_one_user(self):
        with open(self.file("password", PASSWORD + b"\n")) as file:
            server = self.serving("--pop3-port", "0", *LOGIN, stdin=file)
        self.check(on_mailbox(server.pop_port, "check"), 0)
        log = self.file("log.xml")
        for password in b"wrong", PASSWORD + b" ", PASSWORD[:-1]:
            result = on_mailbox(server.pop_port, "check", "--log", "--log-xml", log, stdin=password)
            self.check(result, 4, b"refuses the login of bob")
            self.assertNotIn(password, result.stdout + result.stderr + content(log))


class SmtpLoginTest(ProgramTest):
    def send(self, port, *args):
        return quorvel("send", *TO_BOB, "--server", f"127.0.0.1:{port}", "--log", "--read-timeout", "2", *args,
                       stdin=PASSWORD + b"\n")

    def test_each_method_says_what_it_should_and_nothing_else_does(self):
        journal, log = self.file("journal"), self.file("log.xml")
        rows = [(name, ("--auth", name), ALL) for name in METHODS] + [
            ("cram-md5", (), ALL.replace(b" NTLM", b"")),
            ("login", ("--auth", "AUTO"), b"250 AUTH PLAIN LOGIN\r\n"),
            ("plain", ("--auth", "auto"), b"250 auth plain\r\n"),
            ("plain", ("--auth", "Plain"), NONE),  # asked for although it is not offered
        ]
        for name, args, offer in rows:
            answers, said = METHODS[name]
            heard = []
            with self.subTest(args, offer=offer), scripted(GREETING, offer, *answers, *SENDING, heard=heard) as port:
                result = self.send(port, *args, *LOGIN, "--journal", journal,
                                   "--log-xml", log)
                self.check(result, 0)
                self.assertEqual(heard[1:len(said) + 2], [*said, b"MAIL FROM:<ann@x.org>"])
                self.assertEqual(result.stderr, b"")
                for secret in SECRETS:
                    self.assertNotIn(secret, result.stdout + content(journal) + content(log))

    def test_without_a_user_there_is_no_login(self):
        heard = []
        with scripted(GREETING, ALL, *SENDING, heard=heard) as port:
            self.check(self.send(port), 0)
        self.assertEqual(heard[1], b"MAIL FROM:<ann@x.org>")
        with scripted(GREETING, NONE, *SENDING) as port:
            self.check(self.send(port, *LOGIN), 0, b"sent without a login")
        with scripted(GREETING, NONE, b"530 Authentication required\r\n") as port:
            self.check(self.send(port), 4, b"give --user")

    def test_logins_that_fail(self):
        refused = b"535 5.7.8 no, \x1b[31m%b is wrong\r\n" % encoded(PASSWORD)
        rows = [
            ("plain", (b"334\r\n", refused), 4, b"535 5.7.8"),
            ("login", (b"334\r\n", b"334\r\n", refused), 4, b"refuses the login of bob"),
            ("cram-md5", (b"334 %b\r\n" % encoded(CHALLENGE), refused), 4, b"refuses the login of bob"),
            ("cram-md5", (b"504 unknown\r\n",), 4, b""),
            ("ntlm", (b"334\r\n", refused), 4, b""),
            ("plain", (b"334\r\n",), 1, b"closes the connection during the login of bob"),
            ("plain", (b"334\r\n", b""), 1, b"does not answer the login of bob within 2 seconds"),
        ]
        for method, answers, status, said in rows:
            with self.subTest(method, answers=answers), scripted(GREETING, ALL, *answers) as port:
                login = (*LOGIN, "--auth", method)
                verify = quorvel("verify", "smtp", "--server", f"127.0.0.1:{port}", "--read-timeout", "2", "--log", *login,
                                 stdin=PASSWORD)
                for result in self.send(port, *login), verify:
                    self.check(result, status, said)
                    self.assertNotIn(b"\x1b", result.stderr)
                    for secret in SECRETS:
                        self.assertNotIn(secret, result.stdout + result.stderr)


class VerifyTest(ProgramTest):
    def verify(self, protocol, server, *args):
        return quorvel("verify", protocol, "--server", server, "--read-timeout", "1", "--connect-timeout", "1", *args,
                       stdin=PASSWORD)

    def test_servers(self):
        greeted = b"+OK\r\n"
        rows = [
            ("smtp", (), (GREETING, NONE), 0, b""),
            ("smtp", (), (b"554 not you\r\n",), 4, b"turns this machine away"),
            ("smtp", (), (b"+OK POP3\r\n",), 3, b"does not greet as SMTP has it"),
            ("smtp", (), (b"",), 3, b"sends no greeting"),
            ("smtp", (), (), 3, b"closes it without a greeting"),
            ("smtp", (), (GREETING, b"500 no\r\n", b"500 no\r\n"), 4, b"turns this machine away"),
            ("smtp", (), (GREETING,), 3, b"greets, and then closes"),
            ("smtp", (), (GREETING, b""), 3, b"greets, and then says nothing"),
            ("smtp", LOGIN, (GREETING, ALL.replace(b" NTLM", b""), *METHODS["cram-md5"][0]), 0, b""),
            ("smtp", LOGIN, (GREETING, NONE, b"221\r\n"), 4, b"offers no login that this program knows"),
            ("smtp", LOGIN, (GREETING, b"250 AUTH GSSAPI\r\n", b"221\r\n"), 4, b"offers no login"),
            ("pop3", (), (greeted, b"+OK bye\r\n"), 0, b""),
            ("pop3", (), (b"-ERR busy\r\n",), 4, b"turns this machine away"),
            ("pop3", (), (GREETING,), 3, b"does not greet as POP3 has it"),
            ("pop3", (), (b"",), 3, b"sends no greeting"),
            ("pop3", (), (), 3, b"closes it without a greeting"),
            ("pop3", LOGIN, (greeted, greeted, greeted, b"+OK 2 99\r\n", b"+OK\r\n"), 0, b""),
            ("pop3", LOGIN, (greeted, greeted, b"-ERR no\r\n"), 4, b"refuses the login of bob"),
            ("pop3", (*LOGIN, "--auth", "plain"), (), 2, b"--auth"),
            ("imap", (), (), 2, b"imap"),
        ]
        for protocol, args, answers, status, said in rows:
            with self.subTest(protocol, args=args, answers=answers), scripted(*answers) as port:
                result = self.verify(protocol, f"127.0.0.1:{port}", *args)
                self.check(result, status, said)
                if status == 0:
                    self.assertIn(b"it answers\n", result.stdout)
                    self.assertEqual(b"Login of bob: it is taken\n" in result.stdout, bool(args))

    def test_where_there_is_none(self):
        with socket.create_server(("127.0.0.1", 0)) as closed:
            nobody = f"127.0.0.1:{closed.getsockname()[1]}"
        # A server that does not take connections as fast as they come lets further ones wait.
        with socket.create_server(("127.0.0.1", 0), backlog=0) as busy:
            first = [socket.socket() for _ in range(4)]
            for waiting in first:
                waiting.setblocking(False)
                waiting.connect_ex(busy.getsockname())
            for protocol in "smtp", "pop3":
                self.check(self.verify(protocol, nobody), 3, b"nobody listens at " + nobody.encode())
                self.check(self.verify(protocol, "no.such.host.invalid"), 3, b"cannot find the host no.such.host.invalid")
                self.check(self.verify(protocol, f"127.0.0.1:{busy.getsockname()[1]}"), 3, b"does not answer")
            for waiting in first:
                waiting.close()


if __name__ == "__main__":
    unittest.main()
