"""The program `quorvel` as its users run it: send, serve, filter, demo; what arrives, what is said, exit statuses."""

import contextlib
import os
import pty
import signal
import socket
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree

from program import EXAMPLES, ROOT, SEND, TO_BOB, TOOL, ProgramTest, Serving, content, quorvel, scripted


class CommandLineTest(ProgramTest):
    def test_a_mail_arrives_with_all_that_was_asked_for(self):
        server = self.serving()
        result = server.send(*SEND, "--to", "Bob <bob@x.org>, carol@x.org", "--to", "dora@x.org", "--cc", "emil@x.org",
                             "--bcc", "fay@x.org", "--reply-to", "gus@x.org", "--header", "X-One: 1",
                             "--header", "X-Two:2", "--receipt", "--text", "-", "--html",
                             os.path.join(EXAMPLES, "letter.html"), stdin=b"first\n.dot\n..\nlast")
        self.check(result, 0)
        self.assertEqual((result.stdout, result.stderr), (b"", b""), "quiet where there is no terminal")
        [(envelope, text)] = server.kept()
        self.assertEqual(envelope, ["MAIL FROM:<ann@x.org>"] + [
            f"RCPT TO:<{name}@x.org>" for name in ("bob", "carol", "dora", "emil", "fay")])
        header, _, body = text.partition(b"\r\n\r\n")
        for field in (b'From: "Ann Lee" <ann@x.org>', b"Cc: emil@x.org", b"Reply-To: gus@x.org", b"X-One: 1",
                      b"X-Two: 2", b"Subject: s", b"Disposition-Notification-To: <ann@x.org>",
                      b"Content-Type: multipart/alternative;"):
            self.assertIn(b"\r\n" + field + b"\r\n", header + b"\r\n")
        self.assertIn(b"\r\n\r\nfirst\r\n.dot\r\n..\r\nlast\r\n", body)
        self.assertIn(content(os.path.join(EXAMPLES, "letter.html")).replace(b"\n", b"\r\n"), body)
        self.assertNotIn(b"fay", text)
        self.assertNotIn(b"QVX-", text)
        self.assertNotIn(b"\n", text.replace(b"\r\n", b""))

    def test_statuses(self):
        server = self.serving("--refuse-recipient", "no*", "--refuse-sender", "spam@*", "--max-size", "2000")
        with socket.socket() as free:  # bound, not listening: nobody answers there
            free.bind(("127.0.0.1", 0))
            nowhere = f"127.0.0.1:{free.getsockname()[1]}"
            nobody = self.file("nobody.txt", "no1@x.org\nno2@x.org\n")
            long = self.file("long.txt", "x" * 70 + "\n" * 2000)
            rows = [
                ((*TO_BOB,), 0, b""),
                ((*TO_BOB, "--server", nowhere), 3, b"Failed to connect to SMTP server."),
                ((*TO_BOB, "--to", "no@x.org"), 6, b"no@x.org"),
                ((*SEND, "--body", "b", "--to", "no@x.org"), 4, b"550 Recipient refused"),
                ((*SEND, "--body", "b", "--list", nobody), 4, b"550 Recipient refused"),
                ((*SEND, "--body", "b", "--list", nobody, "--in-batches"), 4, b"550 Recipient refused"),
                (("--from", "spam@x.org", *TO_BOB[2:]), 4, b"550 Sender refused"),
                ((*SEND, "--to", "bob@x.org", "--text", long), 4, b"552 Message too big"),
                ((*SEND, "--to", "bob@x.org", "--text", "/no/such"), 5, b"/no/such"),
                ((*SEND, "--to", "bob@x.org", "--html", "/"), 5, b"Is a directory"),
                ((*SEND, "--body", "b", "--list", "/no/such"), 5, b"/no/such"),
                ((*SEND, "--body", "b", "--list", self.file("none.txt", "nobody\n")), 5, b"no e-mail address"),
                ((*SEND, "--body", "b", "--list", self.file("cr.txt", "a@x.org\rb@x.org\r")), 5, b"CR alone"),
                ((*TO_BOB, "--journal", "/no/such/journal"), 5, b"nothing was done"),
                ((*TO_BOB, "--log-xml", "/no/such/log"), 5, b"nothing was done"),
                ((), 2, b"--from"),
                ((*SEND, "--body", "b"), 2, b"no recipient"),
                ((*SEND, "--to", "bob@x.org"), 2, b"nothing to say"),
                ((*SEND, "--to", "bob", "--body", "b"), 2, b"--to holds no e-mail address"),
                (("--from", "ann", "--to", "bob@x.org", "--body", "b"), 2, b"--from holds no e-mail address"),
                ((*TO_BOB, "--text", "-"), 2, b"--text"),
                ((*TO_BOB, "--list", nobody), 2, b"--list"),
                ((*TO_BOB, "--in-batches"), 2, b"--list"),
                ((*TO_BOB, "--header", "no colon"), 2, b"Name: value"),
                ((*TO_BOB, "--header", "A b: c"), 2, b"Name: value"),
                ((*TO_BOB, "--server", "host:x"), 2, b"HOST:PORT"),
                ((*TO_BOB, "--server", "host:65536"), 2, b"HOST:PORT"),
                ((*TO_BOB, "--read-timeout", "-1"), 2, b"--read-timeout"),
                ((*TO_BOB, "--password", "x"), 2, b"--password"),
            ]
            for args, status, said in rows:
                with self.subTest(args):
                    options = () if "--server" in args else ("--server", f"127.0.0.1:{server.port}")
                    self.check(quorvel("send", *options, *args), status, said)
        self.assertEqual(len(server.kept()), 2)
        self.check(quorvel(), 2)
        self.check(quorvel("serve", "--port", str(server.port), "--dir", self.temporary.name), 1, b"cannot listen")
        self.check(quorvel("serve", "--port", "0", "--dir", nobody + "/x"), 5, b"cannot keep mail")

    def test_servers_that_misbehave(self):
        to_data = (b"220 s\r\n", b"250 s\r\n", b"250 ok\r\n", b"250 ok\r\n")
        rows = [
            ((b"554 go away\r\n",), 4, b"554 go away"),
            ((b"220 s\r\n", b"421 busy\r\n", b"421 busy\r\n"), 4, b"421 busy"),
            ((*to_data, b"354 go\r\n", b"554 \x1b[31mspam\r\n"), 4, b"spam"),
            ((*to_data, b"354 go\r\n"), 1, b"closed"),
            ((b"",), 3, b"timeout"),
        ]
        for answers, status, said in rows:
            with self.subTest(answers), scripted(*answers) as port:
                result = quorvel("send", *TO_BOB, "--server", f"127.0.0.1:{port}", "--read-timeout", "1")
                self.check(result, status, said)
                self.assertNotIn(b"\x1b", result.stderr)

    def test_lists(self):
        server = self.serving("--refuse-recipient", "no@x.org")
        people = self.file("people.txt", "  a@x.org \r\n\r\nsome words\r\nno@x.org\r\nb@x.org\r\n")
        result = server.send(*SEND, "--body", "b", "--list", people)
        self.check(result, 6, b"  no@x.org\n")
        self.assertIn(b"are left out:\n  some words\n", result.stderr)
        self.check(server.send(*SEND, "--body", "b", "--list", people, "--in-batches"), 6, b"  no@x.org\n")
        (first, text), (second, _), (batch, batch_text) = server.kept()
        self.assertEqual([first[1:], second[1:], batch[1:]],
                         [["RCPT TO:<a@x.org>"], ["RCPT TO:<b@x.org>"], ["RCPT TO:<a@x.org>", "RCPT TO:<b@x.org>"]])
        self.assertIn(b"\r\nTo: a@x.org\r\n", text)
        self.assertNotIn(b"@x.org", batch_text.replace(b"ann@x.org", b""))

        many = self.file("many.txt", "".join(f"m{n}@x.org\n" for n in range(250)))
        self.check(server.send(*SEND, "--body", "b", "--list", many, "--in-batches"), 0)
        self.assertEqual([len(envelope) - 1 for envelope, _ in server.kept()[3:]], [100, 100, 50])

    def test_a_list_that_is_broken_off(self):
        journal, two = self.file("journal"), self.file("two.txt", "a@x.org\nb@x.org\n")
        one_mail = (b"220 s\r\n", b"250 s\r\n", b"250 ok\r\n", b"250 ok\r\n", b"354 go\r\n", b"250 kept\r\n")
        with scripted(*one_mail) as port:
            result = quorvel("send", *SEND, "--body", "b", "--list", two, "--server", f"127.0.0.1:{port}",
                             "--journal", journal)
        self.check(result, 1, b"not sent to all of the list")
        self.assertEqual(content(journal).count(b"--BEGIN SENT QUORVEL EMAIL--\n"), 1)

    def test_journal_and_logs(self):
        server = self.serving()
        journal, log = self.file("journal"), self.file("log.xml")
        for _ in range(2):
            result = server.send(*TO_BOB, "--journal", journal, "--log", "--log-xml", log)
            self.check(result, 0)
            self.assertIn(b"Mail sent to 1 recipient\n", result.stdout)
        self.assertEqual(content(journal).count(b"--BEGIN SENT QUORVEL EMAIL--\n"), 2)
        self.assertIn("SendEmail", [node.get("name") for node in xml.etree.ElementTree.parse(log).iter("context")])
        self.check(quorvel("send", *TO_BOB, "--server", "127.0.0.1:1", "--log", "--journal", self.file("none")), 3)
        self.assertFalse(os.path.exists(self.file("none")))

    def test_dry_run_prints_and_sends_nothing(self):
        result = quorvel("send", *TO_BOB, "--server", "127.0.0.1:1", "--dry-run")
        self.check(result, 0)
        self.assertTrue(result.stdout.startswith(b"MIME-Version: 1.0\r\n"), result.stdout)
        self.assertTrue(result.stdout.rstrip().endswith(b"\r\n\r\nhello"), result.stdout)

    def test_files_go_out_are_shown_and_extracted(self):
        with tempfile.TemporaryDirectory() as folder:
            html, logo, mail, target = (os.path.join(folder, name) for name in ("l.html", "a.gif", "m.eml", "out"))
            with open(html, "w") as file:
                file.write('<p><img src="cid:a.gif"></p>')
            with open(logo, "wb") as file:
                file.write(b"GIF89a\r\n\x00\x1b")
            run = quorvel("send", *TO_BOB, "--html", html, "--related", logo, "--attach", logo, "--attach", html,
                          "--dry-run")
            self.assertEqual(run.returncode, 0, run.stderr)
            # A file of lines that end with LF alone is a message too.
            for text in (run.stdout, run.stdout.replace(b"\r\n", b"\n")):
                with open(mail, "wb") as file:
                    file.write(text)
                shown = quorvel("show", mail).stdout.decode()
                self.assertRegex(shown, r"(?s)ann@x.org.*bob@x.org.*multipart/related.*multipart/mixed.*"
                                        r"multipart/alternative.*hello.*attachments.*0  a.gif, 10 bytes.*"
                                        r"1  l.html, 28 bytes.*related items.*<QUORVEL-CID-")
                self.assertRegex(shown, r'<img src="cid:QUORVEL-CID-')
                self.assertNotIn("\x1b", shown)
            for _ in range(2):
                self.assertEqual(quorvel("extract", mail, "--to", target).returncode, 0)
            self.assertEqual(sorted(os.listdir(target)),
                             ["a.gif", "a2.gif", "a3.gif", "a4.gif", "l.html", "l2.html"])
            self.assertEqual({content(os.path.join(target, name)) for name in os.listdir(target)},
                             {content(logo), content(html)})
            for args in (("show", mail + "x"), ("extract", mail, "--to", "/dev/null/x"),
                         ("send", *TO_BOB, "--attach", mail + "x", "--dry-run")):
                run = quorvel(*args)
                self.assertEqual((run.returncode, b"Next: " in run.stderr), (5, True), args)

    def test_bytes_beyond_ascii(self):
        umlaut = "Gr\u00fc\u00dfe".encode()
        label = ("--header", "content-type: text/plain; charset=utf-8")
        for extra, warned in (((), True), (label, False)):
            result = quorvel("send", *SEND, "--to", "b@x.org", "--text", "-", "--dry-run", *extra, stdin=umlaut)
            self.check(result, 0)
            self.assertIn(umlaut, result.stdout)
            self.assertEqual(b"us-ascii" in result.stderr, warned)

    def test_a_terminal_gets_a_progress_bar(self):
        server = self.serving()
        for extra, shown in ((), True), (("--quiet",), False):
            parent, child = pty.openpty()
            process = subprocess.Popen([TOOL, "send", "--server", f"127.0.0.1:{server.port}", *TO_BOB, *extra],
                                       stderr=child)
            os.close(child)
            seen = b""
            with contextlib.suppress(OSError):  # how a terminal says that its other end is closed
                while piece := os.read(parent, 4096):
                    seen += piece
            os.close(parent)
            self.assertEqual(process.wait(20), 0)
            self.assertEqual(b"\rsending [" in seen and b"100%" in seen, shown, seen)

    def test_serve_tells_of_each_message_and_ends_cleanly(self):
        for how in (signal.SIGINT, signal.SIGTERM):
            server = Serving()
            for subject in "first", "second \x1b[31m\x07":
                self.check(server.send(*TO_BOB[:2], "--to", "bob@x.org", "--body", "b", "--subject", subject), 0)
            printed, status = server.stop(how)
            self.assertEqual(status, 0)
            lines = printed.splitlines()
            self.assertEqual(len(lines), 3, printed)
            self.assertRegex(lines[0], r'^\d\d:\d\d:\d\d  <ann@x\.org> to <bob@x\.org>  "first"  \d+ bytes  .*\.eml$')
            self.assertRegex(lines[1], r'"second \?\[31m\?"')
            self.assertEqual(lines[2], "Stopped. Messages kept: 2")

    def test_demo_and_examples(self):
        result = quorvel("demo", cwd=ROOT)
        self.check(result, 0)
        sent, _, read = result.stdout.partition(b"RECEIVING: ")
        for text in (b"100%", b"RCPT TO:<dora@example.org>", b"multipart/alternative\n"):
            self.assertIn(text, sent)
        for text in (b"100%", b'  "The harvest fair" from', b'  "Who comes to the fair" from', b"Login successful"):
            self.assertIn(text, read)
        self.assertRegex(read, rb"What stays on the server\n#.*\n1  .*The choir\n$")
        for part in sent, read:
            self.assertLess(part.count(b"\n"), 35, "one screen")
        self.check(quorvel("demo", "--examples", "/no/such"), 5, b"/no/such")
        self.assertRegex(quorvel("--version").stdout, rb"^quorvel \d+\.\d+\.\d+\n$")
        self.assertEqual(quorvel("--version").stdout, quorvel("version").stdout)

    def test_examples(self):
        def built(name):
            program = self.file(name)
            library = os.environ["QUORVEL_LIBRARY"]
            subprocess.run([os.environ.get("CXX", "g++"), "-std=c++20", "-I", os.path.join(ROOT, "include"),
                            os.path.join(EXAMPLES, name + ".cc"), library, "-Wl,-rpath," + os.path.dirname(library),
                            "-o", program], check=True)
            return [program]

        for host in built, lambda name: [sys.executable, os.path.join(EXAMPLES, name + ".py")]:
            server = self.serving("--pop3-port", "0")
            for name, port, said in (("compose_and_send", server.port, b"\nsent\n"),
                                     ("receive", server.pop_port, b"The harvest fair: 0 attachments\n")):
                result = subprocess.run([*host(name), "127.0.0.1", str(port), "bob"], input=b"secret\n",
                                        capture_output=True, timeout=60)
                self.assertEqual(result.returncode, 0, result.stderr)
                self.assertIn(said, result.stdout)
            self.assertEqual(server.kept(), [], "fetched and deleted")

    def test_filter(self):
        report = self.file("report.eml", "From: Ann <ann@x.org>\r\nSubject: Monthly report \x1b[31m\r\n\r\nx\r\n")
        letter = self.file("letter.eml", "From: bob@x.org\r\nSubject: letter\r\n\r\nx\r\n")
        missing = self.file("missing.eml")
        rows = [  # arguments, exit status, first words of the lines that name files, what else is printed
            (("Subject like \"*report*\"", report, letter), 0, ["kept", "left"], "1 of 2 messages kept\n"),
            (("not (Subject = \"letter\")", letter), 0, ["left"], "-> true"),
            (("Subject = \"letter\"", "--explain", letter, letter), 0, ["kept", "kept"], "-> true"),
            (("Subject contains \"rep\"", report), 0, ["kept"], "Monthly report \\x1B[31m\") contains \"rep\" -> true"),
            (("Subject=\"letter\"", letter), 0, ["left"], "0 of 1 message kept\n"),
            (("", report, letter), 0, ["kept", "kept"], "2 of 2 messages kept\n"),
            (("From", report, missing, letter), 5, ["kept", "kept"], "2 of 2 messages kept\n"),
            (("From", missing), 5, [], ""),
            (("From",), 2, [], ""),
        ]
        for args, status, verdicts, printed in rows:
            with self.subTest(args):
                result = quorvel("filter", *args)
                self.check(result, status, missing.encode() if missing in args else b"")
                text = result.stdout.decode()
                self.assertEqual([line.split()[0] for line in text.splitlines() if line.endswith(".eml")], verdicts)
                self.assertIn(printed, text)
                self.assertNotIn("\x1b", text)
                self.assertEqual("Steps" in text, "--explain" in args or len(args) == 2 and not missing in args)


if __name__ == "__main__":
    unittest.main()
