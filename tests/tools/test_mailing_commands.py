"""merge, reply and forward: what goes out to whom, what a report keeps, what a list or a hostile message may hold."""

import csv
import email
import email.policy
import os
import re
import signal
import socketserver
import subprocess
import threading
import unittest

from program import TOOL, ProgramTest, Server, content, on_terminal, quorvel

LETTER = ("--from", "Me <me@x.org>", "--subject", "For {name}", "--body", "Dear {name} of {city}.")
PLAIN = ("--from", "me@x.org", "--subject", "s", "--body", "b")


class SmtpSession(socketserver.StreamRequestHandler):
    def handle(self):
        server, recipients = self.server, []
        self.wfile.write(b"220 s\r\n")
        server.sessions += 1
        while line := self.rfile.readline():
            line = line.rstrip(b"\r\n")
            answer = server.answer(line)
            if answer is None:
                return
            if answer == b"" and line == b"DATA":
                self.wfile.write(b"354 go\r\n")
                text = b""
                while (piece := self.rfile.readline()) not in (b".\r\n", b""):
                    text += piece[1:] if piece.startswith(b".") else piece
                if piece == b"":
                    return
                answer = server.answer(b"TEXT")
                if answer is None:
                    return
                if answer == b"":
                    server.taken.append((recipients[-1], text))
            if line.startswith(b"RCPT") and answer == b"":
                recipients.append(line[9:-1])
                server.recipients.append(line[9:-1])
            self.wfile.write(answer or (b"221 bye\r\n" if line == b"QUIT" else b"250 ok\r\n"))
            if line == b"QUIT" or answer.startswith(b"421"):
                return


class SmtpServer(Server):
    """An SMTP server that says what a test tells it to: for a command line (TEXT for the end of a message) and how
    often such a verb has come, `replies` gives a reply, None to close, or no bytes for the usual one."""

    def __init__(self, replies=lambda line, times: b""):
        super().__init__(SmtpSession)
        self.address = f"127.0.0.1:{self.port}"
        self.replies, self.verbs, self.sessions, self.recipients, self.taken = replies, [], 0, [], []

    def answer(self, line):
        self.verbs.append(line[:4])
        return self.replies(line, self.verbs.count(line[:4]))

    def handle_error(self, *where):
        """Programs that are killed leave their connections as they are."""

    def names(self):
        return [recipient.decode().split("@")[0] for recipient, _ in self.taken]


class MergeTest(ProgramTest):
    def merge(self, server, *args, report=None, **options):
        """The result, and the rows of the report, which is a new one unless named."""
        self.reports = getattr(self, "reports", 0) + 1
        report = report or self.file(f"report{self.reports}.csv")
        result = quorvel("merge", "--server", getattr(server, "address", server), "--report", report, *args, **options)
        rows = []
        if os.path.exists(report):
            with open(report, newline="") as file:
                rows = [(row.get("address"), row.get("result"), row.get("answer")) for row in csv.DictReader(file)]
        return result, rows

    def test_each_gets_a_mail_made_out_to_them(self):
        people = self.file("people.csv", '\ufeffname,email,city\r\nAnn,ann@x.org,"Rome, Italy"\nBob "B",bob@x.org,Paris\r'
                           .replace('Bob "B"', '"Bob ""B"""') + '\r\n"",eve@x.org,"{name}\r\n.\r\nx"\n'
                           'Zoe {city},{name}@x.org,\n')
        with SmtpServer() as server:
            result, rows = self.merge(server, *LETTER, "--csv", people, "--name", "name")
            self.check(result, 0, b"4 mails sent; the report is ")
            self.assertEqual(server.names(), ["ann", "bob", "eve", "{name}"])
            self.assertEqual(server.sessions, 1)
        self.assertEqual([row[:2] for row in rows], [(f"{name}@x.org", "sent") for name in server.names()])
        mails = [email.message_from_bytes(text, policy=email.policy.default) for _, text in server.taken]
        self.assertEqual([mail["To"] for mail in mails], ["Ann <ann@x.org>", "Bob B <bob@x.org>", "eve@x.org",
                                                          "Zoe {city} <{name}@x.org>"])
        self.assertEqual([mail["Subject"] for mail in mails], ["For Ann", 'For Bob "B"', "For", "For Zoe {city}"])
        bodies = [text.partition(b"\r\n\r\n")[2] for _, text in server.taken]
        self.assertEqual([body.rstrip() for body in bodies], [
            b"Dear Ann of Rome, Italy.", b'Dear Bob "B" of Paris.', b"Dear  of {name}\r\n.\r\nx.",
            b"Dear Zoe {city} of ."])
        self.assertEqual(len({mail["Message-ID"] for mail in mails}), 4)

    def test_a_message_file_with_alternatives_and_attachments(self):
        written = quorvel("send", *PLAIN[:2], "--to", "old@x.org", "--cc", "old2@x.org", "--bcc", "old3@x.org",
                          "--subject", "{name}", "--body", "plain {name}", "--html", self.file("h", "<b>{name}</b>"),
                          "--attach", self.file("a.bin", b"{name}\0\xff"), "--dry-run").stdout
        people = self.file("people.csv", "name;E-Mail\nAnn;ann@x.org\n")
        with SmtpServer() as server:
            for message, stdin in ((self.file("letter.eml", written), b""), ("-", written)):
                result, _ = self.merge(server, message, "--csv", people, "--separator", ";", stdin=stdin)
                self.check(result, 0)
        for recipient, text in server.taken:
            self.assertEqual(recipient, b"ann@x.org")
            mail = email.message_from_bytes(text, policy=email.policy.default)
            self.assertEqual((mail["Subject"], mail["To"], mail["Cc"], mail["Bcc"]), ("Ann", "ann@x.org", None, None))
            parts = [part.get_content() for part in mail.walk() if not part.is_multipart()]
            self.assertEqual([parts[0].strip(), parts[1].strip(), parts[2]], ["plain Ann", "<b>Ann</b>", b"{name}\0\xff"])
            self.assertNotIn(b"old", text)

    def test_lists(self):
        rows = [  # option, content, more arguments, who gets a mail, exit status, what is said or reported
            ("--list", b"\xef\xbb\xbfa@x.org\r\n\r\n  b@x.org \n", (), "a b", 0, ""),
            ("--list", b"a@x.org\rb@x.org\r", (), "a b", 0, ""),
            ("--list", b"Ann \"A\" <a@x.org>\n\"b@x.org\n", (), "a", 6, "a sign is in it"),
            ("--list", b"# members\na@x.org\nb c@x.org\nd@x.org e@x.org\n", (), "a", 6, "a blank is in it"),
            ("--list", b"a\0@x.org\nb\x1b@x.org\n\xc3\xa9@x.org\nf@x.org", (), "f", 6, "a control character"),
            ("--list", b"a@x.org\nA@X.org\nb@x.org\na@x.org", (), "a b", 0, "a row before it has the same address"),
            ("--list", b"a@x.org\nA@X.org\n", ("--every-row",), "a A", 0, ""),
            ("--list", b"a@x.org>\n<b@x.org\nc@x.org,d@x.org\n@x.org\ne@\nf@g@h\n\"g\"@x.org\nh@x.org", (), "h", 6, "it is no"),
            ("--list", b"a" * 300 + b"@x.org\nb@x.org", (), "b", 6, "not as long"),
            ("--list", b"nobody\n", (), "", 5, "it has no @"),
            ("--list", b"email,name\na@x.org,A\n", (), "", 5, "a list with columns is given by --csv"),
            ("--list", b"", (), "", 5, "names nobody"),
            ("--list", b"\n \n\r\n", (), "", 5, "names nobody"),
            ("--list", b"a@x.org\n" + b"\0" * ((1 << 20) + 1), (), "", 5, "row 2"),
            ("--list", b"\xff\xfea\0@\0", (), "", 5, "UTF-16"),
            ("--csv", b"email\nb@x.org\n\n\"c@x.org\"", (), "b c", 0, ""),
            ("--csv", b"who,ADDRESS\nx,a@x.org\n", (), "a", 0, ""),
            ("--csv", b"who,to\nx,a@x.org\n", ("--address", "to"), "a", 0, ""),
            ("--csv", b"who\temail\nx\ta@x.org\n", ("--separator", "tab"), "a", 0, ""),
            ("--csv", b"who,to\nx,a@x.org\n", (), "", 5, "no column email"),
            ("--csv", b"who,to\nx,a@x.org\n", ("--address", "To"), "", 5, "no column To"),
            ("--csv", b"email,who\na@x.org,x\nb@x.org\n", (), "", 5, "row 3: it has 1 column, the titles are 2"),
            ("--csv", b'email,who\na@x.org,"x\ny"\nb@x.org,1,2\n', (), "", 5, "row 3, line 4: it has 3 columns"),
            ("--csv", b'email,who\na@x.org,x"y"\n', (), "", 5, "row 2: a quote stands within"),
            ("--csv", b'email,who\na@x.org,"x" y\n', (), "", 5, "row 2: something follows a closing quote"),
            ("--csv", b'email,who\na@x.org,"x\n', (), "", 5, "row 2: a quote is not closed"),
            ("--csv", b'email,who\na@x.org,"' + b"x" * (1 << 20), (), "", 5, "longer than a row can be"),
            ("--csv", b"email,a,a\n", (), "", 5, "two columns are called a"),
            ("--csv", b"email,{a}\n", (), "", 5, "a title holds a brace"),
            ("--csv", b"", (), "", 5, "no titles"),
        ]
        for option, text, args, names, status, said in rows:
            with self.subTest(text[:60], args=args), SmtpServer() as server:
                result, report = self.merge(server, *PLAIN, option, self.file("list", text), *args)
                self.check(result, status)
                self.assertIn(said, result.stderr.decode() + "\n".join(row[2] for row in report))
                self.assertEqual(server.names(), names.split())
                self.assertEqual([row[0].split("@")[0] for row in report if row[1] == "sent"], names.split())
                self.assertTrue(report or status == 5)
        both_ends = self.merge("127.0.0.1:1", *PLAIN, "--csv", self.file(
            "list", "email,a\n" + "x@x.org\n" * 3))[0].stderr
        self.assertEqual(len(re.findall(rb"row \d: it has 1 column", both_ends)), 3, "all broken rows are told")

    def test_no_value_puts_a_line_anywhere(self):
        evil = ["x\r\nBcc: z@x.org", "x\nBcc: z@x.org", "x\rBcc: z@x.org", "x\0y", "x\r\n\r\n.\r\nRCPT TO:<z@x.org>",
                "=?utf-8?Q?a=0D=0ABcc:_z@x.org?=", '"x" <z@x.org>, y']
        people = self.file("people.csv")
        with open(people, "w", newline="") as file:
            csv.writer(file, quoting=csv.QUOTE_ALL).writerows(
                [["email", "name", "city"]] + [[f"a{n}@x.org", text, text] for n, text in enumerate(evil)]
                + [[text + "@x.org", "n", "c"] for text in evil])
        with SmtpServer() as server:
            result, rows = self.merge(server, "--csv", people, "--name", "name", *LETTER, "--reply-to", "{name} <r@x.org>")
            self.check(result, 6)
        self.assertEqual(server.names(), [f"a{n}" for n in range(len(evil))])
        self.assertEqual([row[1] for row in rows], ["sent"] * len(evil) + ["left out"] * len(evil))
        self.assertFalse({b"Bcc:", b"RCPT"} & set(server.verbs) - {b"RCPT"})
        self.assertEqual(server.verbs.count(b"RCPT"), len(evil))
        for n, (_, text) in enumerate(server.taken):
            header = text.partition(b"\r\n\r\n")[0]
            names = [line.split(b":")[0] for line in header.split(b"\r\n") if line[:1] not in b" \t"]
            self.assertEqual(len(names), len(set(names)), header)
            self.assertNotIn(b"Bcc", names)
            self.assertEqual(len(names), 11, header)
            self.assertNotIn(b"\0", header)
            self.assertRegex(header, rb"(?s)^[^\r\n]*(\r\n[^\r\n]*)*$")

    def test_what_servers_say(self):
        def to(name, reply):
            return lambda line, times: reply if line == b"RCPT TO:<%s@x.org>" % name else b""

        def at(verb, time, reply):
            return lambda line, times: reply if line[:4] == verb and times == time else b""

        def always(verb, reply):
            return lambda line, times: reply if line[:4] == verb else b""

        four = "a b c d"
        rows = [  # replies, who gets a mail, exit status, results, sessions, what is said
            (to(b"b", b"550 no \x1b\xc2\x9b\r\n"), "a c d", 6, "sent refused sent sent", 1, b"3 mails sent, 1 refused"),
            (to(b"b", b"450 later\r\n"), "a c d", 6, "sent refused sent sent", 1, b""),
            (always(b"RCPT", b"550 no\r\n"), "", 4, "refused " * 4, 1, b"4 refused"),
            # An open transaction is reset; what was said of that is not what is said of the recipient.
            (lambda line, times: {b"RCPT TO:<b@x.org>": b"550 no\r\n", b"RCPT TO:<c@x.org>": b"550 none\r\n"}.get(
                line, b"503 open\r\n" if line[:4] == b"MAIL" and times == 3 else b""),
             "a d", 6, "sent refused refused sent", 1, b"3\tc@x.org\trefused\t550 none\n"),
            # What is said of the session and not of the mail: the next session sends it.
            (at(b"MAIL", 3, b"421 enough\r\n"), four, 0, "sent " * 4, 2, b""),
            (at(b"MAIL", 3, None), four, 0, "sent " * 4, 2, b""),
            (at(b"RCPT", 3, None), four, 0, "sent " * 4, 2, b""),
            (at(b"RCPT", 3, b"421 enough\r\n"), four, 0, "sent " * 4, 2, b""),
            (at(b"DATA", 1, None), four, 0, "sent " * 4, 2, b""),
            (at(b"DATA", 2, b"554 no\r\n"), "a c d", 6, "sent refused sent sent", 2, b""),
            (at(b"TEXT", 2, b"552 too big\r\n"), "a c d", 6, "sent refused sent sent", 2, b""),
            # The server may have taken it, and it is not sent twice.
            (at(b"TEXT", 2, None), "a c d", 6, "sent uncertain sent sent", 2, b"1 uncertain"),
            # A server that goes on so is left alone.
            (always(b"TEXT", b"554 spam\r\n"), "", 4, "refused " * 3, 3, b"stopped before the end of the list"),
            (always(b"MAIL", b"550 not you\r\n"), "", 4, "", 3, b"550 not you"),
            (lambda line, times: None if line[:4] == b"MAIL" and times > 2 else b"", "a b", 1, "sent sent", 3,
             b"sends what is left"),
            (always(b"EHLO", None), "", 3, "", 1, b"greets, and then closes"),
        ]
        people = self.file("list", "".join(f"{name}@x.org\n" for name in four.split()))
        for replies, names, status, results, sessions, said in rows:
            with self.subTest(results, names=names), SmtpServer(replies) as server:
                result, report = self.merge(server, *PLAIN, "--list", people, "--read-timeout", "5")
                self.check(result, status)
                self.assertIn(said, result.stdout + result.stderr)
                self.assertEqual((server.names(), server.sessions), (names.split(), sessions))
                self.assertEqual([row[1] for row in report], results.split())
                self.assertNotIn(b"\x1b", result.stdout + result.stderr)
                self.assertEqual(len(result.stdout.splitlines()), len(report), "the table")

    def test_a_further_run_sends_what_is_left(self):
        people = self.file("list", "".join(f"m{n}@x.org\n" for n in range(6)) + "bad\n")
        report = self.file("report.csv")

        def run(replies, sent, status, results):
            with SmtpServer(replies) as server:
                result, rows = self.merge(server, *PLAIN, "--list", people, report=report)
                self.check(result, status)
                self.assertEqual(server.names(), sent.split())
                self.assertEqual([row[1][:4] for row in rows][-len(results.split()):], results.split())

        run(lambda line, times: b"550 no\r\n" if line[:4] == b"RCPT" and times == 2 else
            None if line[:4] == b"TEXT" and times == 3 else b"", "m0 m2 m4 m5", 6,
            "sent refu sent unce sent sent left")
        run(lambda line, times: b"", "m1 m3", 6, "sent sent left")
        os.truncate(report, os.path.getsize(report) - 5)  # the end of the row of "bad"
        with open(people, "ab") as file:
            file.write(b"new@x.org\n")
        run(lambda line, times: b"", "new", 6, "sent sent left sent")
        run(lambda line, times: b"", "", 6, "left")
        self.assertEqual(content(report).count(b"row,address"), 1)
        self.assertEqual(os.stat(report).st_mode & 0o777, 0o600)

    def test_a_run_that_is_killed(self):
        count, killed_at = 40, 25
        people = self.file("list", "".join(f"m{n}@x.org\n" for n in range(count)))
        report, merge = self.file("report.csv"), None
        hold = threading.Event()

        def replies(line, times):
            if line[:4] == b"TEXT" and times == killed_at:
                os.kill(merge.pid, signal.SIGKILL)
                merge.wait()
                hold.set()
                return None
            return b""

        with SmtpServer(replies) as server:
            started = threading.Event()
            held = server.replies
            server.replies = lambda line, times: started.wait(20) and held(line, times)
            merge = subprocess.Popen([TOOL, "merge", "--server", server.address, *PLAIN, "--list", people, "--report",
                                      report], stdout=subprocess.DEVNULL)
            started.set()
            self.assertTrue(hold.wait(20))
            self.assertEqual(len(server.taken), killed_at - 1)
            server.replies = lambda line, times: b""
            result, rows = self.merge(server, *PLAIN, "--list", people, report=report)
            self.check(result, 0, b"%d mails sent, %d sent before" % (count - killed_at + 1, killed_at - 1))
        self.assertEqual(server.names(), [f"m{n}" for n in range(count)], "each once, none forgotten")
        self.assertEqual([row[0] for row in rows], [f"m{n}@x.org" for n in range(count)])

    def test_memory_does_not_grow_with_the_list(self):
        def peak_of(count):
            people = self.file("people.csv", "email,name,city\n" + "".join(
                f"member{n}@x.org,Name {n},{'x' * 500}\n" for n in range(count)))
            started, peak = threading.Event(), []

            def replies(line, times):
                if line[:4] == b"TEXT" and times == count:
                    started.wait(20)
                    peak.extend(re.findall(rb"VmHWM:\s*(\d+) kB", content(f"/proc/{process.pid}/status")))
                return b""

            with SmtpServer(replies) as server:
                process = subprocess.Popen([TOOL, "merge", "--server", server.address, *LETTER, "--csv", people, "--quiet",
                                            "--report", self.file(f"report{count}")])
                started.set()
                self.assertEqual((process.wait(60), len(server.taken)), (0, count))
            return int(peak[0])

        few, many = peak_of(100), peak_of(4000)
        self.assertLess(many - few, 1000, "KiB; the values alone are 2 MB, the mails 4 MB, their log more")

    def test_reports(self):
        people = self.file("list", "a@x.org\n")
        title = "row,address,result,answer,time\r\n"
        rows = [  # what is in the file before, exit status, who gets a mail
            (title, 0, "a"),
            ("row,addr", 0, "a"),
            ("", 0, "a"),
            (title + '1,"a@x', 0, "a"),
            (title + "1,A@x.org,sent,,now\r\n", 0, ""),
            (title + "1,a@x.org,sent,,now", 0, "a"),
            (title + "1,a@x.org,refused,550,now\r\n", 0, "a"),
            (title + "1,a@x.org,perhaps,,now\r\n", 5, ""),
            ("name,email\r\nAnn,a@x.org\r\n", 5, ""),
            ("precious", 5, ""),
        ]
        for before, status, names in rows:
            with self.subTest(before), SmtpServer() as server:
                report = self.file("report.csv", before)
                result, _ = self.merge(server, *PLAIN, "--list", people, report=report)
                self.check(result, status)
                self.assertEqual(server.names(), names.split())
                if status == 5:
                    self.assertEqual(content(report), before.encode())
        report = self.file("report.csv", title + "1,a@x.org,sent,,now\r\n")
        with SmtpServer() as server:
            thrice = self.file("thrice", "a@x.org\nb@x.org\na@x.org\nA@x.org\n")
            self.check(self.merge(server, *PLAIN, "--list", thrice, "--every-row", report=report)[0], 0, b"1 sent before")
            self.assertEqual(server.names(), ["b", "a", "A"])
        nothing = self.file("nothing.csv")
        self.check(self.merge("127.0.0.1:1", *PLAIN, "--list", people, report=nothing)[0], 3)
        self.assertFalse(os.path.exists(nothing))
        self.check(self.merge("127.0.0.1:1", *PLAIN, "--list", people, report="/no/such/report")[0], 5)

    def test_two_runs_do_not_share_a_report(self):
        people, report = self.file("list", "a@x.org\n"), self.file("report.csv")
        results = []

        def replies(line, times):
            if line[:4] == b"TEXT" and not results:
                results.append(self.merge(server, *PLAIN, "--list", people, report=report)[0])
            return b""

        with SmtpServer(replies) as server:
            self.check(self.merge(server, *PLAIN, "--list", people, report=report)[0], 0)
            self.check(results[0], 5, b"another merge is writing")
            self.assertEqual(server.names(), ["a"])

    def test_a_dry_run_shows_the_first_mails(self):
        people = self.file("people.csv", "email,name,city\n" + "".join(f"m{n}@x.org,N{n},C\n" for n in range(9)) + "bad,x,y\n")
        report = self.file("report.csv", "row,address,result,answer,time\r\n2,m0@x.org,sent,,now\r\n")
        before = content(report)
        for args, shown in ((), 3), (("--first", "1"), 1), (("--first", "99"), 8), (("--first", "0"), 0):
            result = quorvel("merge", *LETTER, "--csv", people, "--report", report, "--dry-run", *args)
            self.check(result, 0, b"dry run: %d of 8 mails shown, none sent; 1 of the list left out, 1 sent before" % shown)
            self.assertEqual(result.stdout.count(b"\r\n\r\nDear N"), shown)
            self.assertEqual(b"To m1@x.org:\nMIME-Version" in result.stdout, shown > 0)
        self.assertEqual(content(report), before)
        result = quorvel("merge", *LETTER[:-1], "{nmae} {a: b}", "--csv", people, "--dry-run")
        self.check(result, 0, b"no column of that title:\n  nmae\n")
        self.assertNotIn(b"a: b", result.stderr)

    def test_charsets(self):
        people = self.file("people.csv", "email,name,city\na@x.org,Gr\u00fc\u00df,C\n")
        for args, warned in ((), True), (("--charset", "utf-8"), False):
            with SmtpServer() as server:
                result, _ = self.merge(server, *LETTER, "--csv", people, "--name", "name", *args)
                self.check(result, 0)
            self.assertEqual(b"not labelled as UTF-8" in result.stderr, warned)
        mail = email.message_from_bytes(server.taken[0][1], policy=email.policy.default)
        self.assertEqual(mail["Subject"], "For Gr\u00fc\u00df")
        self.assertEqual(mail["To"].addresses[0].display_name, "Gr\u00fc\u00df")
        self.assertIn("Dear Gr\u00fc\u00df", mail.get_content())

    def test_terminal_journal_and_log(self):
        people = self.file("list", "".join(f"m{n}@x.org\n" for n in range(30)) + "bad\n")
        with SmtpServer() as server:
            args = ("merge", "--server", server.address, *PLAIN, "--list", people, "--report")
            shown, status, _ = on_terminal(*args, self.file("r1"), columns=60)
            self.assertEqual(status, 6)
            for text in b"\rsending [####", b"100%", b"row  address", b"31  bad", b"and 10 more that were sent", b"30 mails sent":
                self.assertIn(text, shown)
            journal = self.file("journal")
            result = quorvel(*args, self.file("r2"), "--quiet", "--journal", journal)
            self.assertEqual((result.stdout, result.stderr, result.returncode), (b"", b"", 6))
            self.assertEqual(content(journal).count(b"--BEGIN SENT QUORVEL EMAIL--"), 30)
            self.assertEqual(quorvel(*args, self.file("r3"), "--log").stdout.count(b"Mail sent to 1 recipient\n"), 30)

    def test_usage(self):
        people = self.file("list", "a@x.org\n")
        for args, said in [
            ((*PLAIN,), b"nobody to send to"),
            ((*PLAIN, "--list", people), b"--report is missing"),
            ((*PLAIN[2:], "--list", people, "--dry-run"), b"no sender"),
            ((*PLAIN[:2], "--list", people, "--dry-run"), b"nothing to say"),
            ((*PLAIN, "--list", people, "--csv", people, "--dry-run"), b"--csv"),
            ((*PLAIN, "--list", people, "--name", "x", "--dry-run"), b"--name"),
            ((*PLAIN, "letter.eml", "--list", people, "--dry-run"), b"MESSAGE"),
            (("letter.eml", "--attach", people, "--list", people, "--dry-run"), b"MESSAGE"),
            ((*PLAIN, "--list", people, "--report", people, "--first", "1"), b"--dry-run"),
            ((self.file("m.eml", "Subject: x\n\nb"), "--list", people, "--dry-run"), b"no sender"),
            (("--from", "me", *PLAIN[2:], "--list", people, "--dry-run"), b"--from holds no e-mail address"),
            ((*PLAIN, "--csv", people, "--separator", "ab", "--dry-run"), b"--separator"),
        ]:
            with self.subTest(args):
                self.check(quorvel("merge", *args), 2, said)
        self.check(quorvel("merge", *PLAIN, "--list", "/no/such", "--dry-run"), 5, b"/no/such")
        self.check(quorvel("merge", *PLAIN, "--list", self.temporary.name, "--dry-run"), 5, b"it is no file")


RECEIVED = (b"Received: from a by b\r\nDelivered-To: me@x.org\r\nFrom: Ann Lee <ann@x.org>\r\nTo: me@x.org, Bob <bob@x.org>\r\n"
            b"Cc: carol@x.org, ANN@x.org\r\nBcc: spy@x.org\r\nQVX-FileDistList: /etc/passwd\r\n"
            b"Disposition-Notification-To: spy@x.org\r\nList-Unsubscribe: <mailto:spy@x.org>\r\nSubject: Meeting\r\n"
            b"Message-ID: <1@x.org>\r\nReferences: <0@x.org>\r\n <junk\r\nDate: Tue, 5 Mar 2002 19:03:07 +0000\r\n")
PLAIN_TEXT = RECEIVED + b"\r\nSee you.\r\n"
WHOLE = RECEIVED + (
    b"MIME-Version: 1.0\r\nContent-Type: multipart/mixed; boundary=outer-1\r\n\r\n--outer-1\r\n"
    b"Content-Type: multipart/alternative; boundary=inner-1\r\n\r\n--inner-1\r\n"
    b"Content-Type: text/plain; charset=iso-8859-1\r\n\r\ngr\xfc\xdf\r\n--inner-1\r\nContent-Type: text/html\r\n\r\n"
    b"<p>greeting</p>\r\n--inner-1--\r\n--outer-1\r\n"
    b'Content-Type: application/x-a; name="../../a"\r\nContent-Disposition: attachment; filename="../../a"\r\n\r\n'
    b"DATA\r\n--outer-1--\r\n")


class AnswerTest(ProgramTest):
    def answered(self, command, message, *args, stdin=b"", status=0):
        """What goes out: recipients, and the message as Python reads it."""
        with SmtpServer() as server:
            path = self.file("received.eml", message)
            result = quorvel(command, path, "--server", server.address, "--from", "Me <me@x.org>", *args, stdin=stdin)
            self.check(result, status)
            [(_, text)] = server.taken
        self.assertNotRegex(text, rb"[^\r]\n|\r[^\n]")
        return server.recipients, email.message_from_bytes(text.replace(b"\r", b""), policy=email.policy.default)

    def test_a_reply(self):
        rows = [  # message, arguments, recipients
            (PLAIN_TEXT, (), "ann"),
            (PLAIN_TEXT, ("--all",), "ann bob carol"),
            (PLAIN_TEXT, ("--cc", "dora@x.org", "--bcc", "emil@x.org"), "ann dora emil"),
            (b"Reply-To: List <list@x.org>\r\n" + PLAIN_TEXT, (), "list"),
            (b"Reply-To: List <list@x.org>\r\n" + PLAIN_TEXT, ("--all",), "list bob carol ANN"),
            (b"Reply-To: List <list@x.org>\r\n" + PLAIN_TEXT, ("--to-sender",), "ann"),
            (b"Reply-To: nobody\r\n" + PLAIN_TEXT, (), "ann"),
            (WHOLE, ("--all",), "ann bob carol"),
        ]
        for message, args, names in rows:
            with self.subTest(args, names=names):
                recipients, mail = self.answered("reply", message, "--body", "My answer.", *args)
                self.assertEqual([each.decode().split("@")[0] for each in recipients], names.split())
                self.assertEqual((mail["Subject"], mail["From"], mail["In-Reply-To"], mail["References"]),
                                 ("RE: Meeting", "Me <me@x.org>", "<1@x.org>", "<0@x.org> <1@x.org>"))
                self.assertEqual([name for name in mail.keys() if name.lower() in (
                    "bcc", "qvx-filedistlist", "received", "delivered-to", "list-unsubscribe", "reply-to",
                    "disposition-notification-to")], [])
                self.assertNotIn("1@x.org", mail["Message-ID"])
                texts = [part.get_content() for part in mail.walk() if not part.is_multipart()]
                self.assertTrue(texts[0].startswith("My answer."), texts)
                self.assertIn("-----Original Message-----\nFrom: \"Ann Lee\" <ann@x.org>", "".join(texts))
                self.assertIn("See you." if message is not WHOLE else "gr\u00fc\u00df", "".join(texts))
                self.assertEqual(len(texts), 3 if message is WHOLE else 1, "without the attachment")

    def test_texts_of_answers(self):
        umlaut = "Gr\u00fc\u00dfe"
        latin = PLAIN_TEXT.replace(b"\r\n\r\n", b"\r\nContent-Type: text/plain; charset=iso-8859-1\r\n\r\n\xfc")
        for message, text, theirs in ((PLAIN_TEXT, umlaut, "See you."), (latin, umlaut, "\u00fcSee you."),
                                      (latin, "plain", "\u00fcSee you."), (WHOLE, umlaut, "gr\u00fc\u00df"),
                                      (b"From: a@x.org\r\n\r\n", umlaut, "Original Message")):
            for command, args in ("reply", ()), ("forward", ("--to", "bob@x.org")):
                _, mail = self.answered(command, message, *args, "--text", "-", stdin=text.encode() + b"\n.\n--o--\n")
                texts = [part.get_content() for part in mail.walk() if part.get_content_type() == "text/plain"]
                self.assertTrue(texts[0].startswith(text + "\n.\n--o--"), texts)
                self.assertIn(theirs, "".join(texts))

    def test_a_forward(self):
        for args, numTexts in ((), 2), (("--body", "Look."), 3):
            recipients, mail = self.answered("forward", WHOLE, "--to", "dora@x.org", *args)
            self.assertEqual(recipients, [b"dora@x.org"])
            self.assertEqual((mail["Subject"], mail["To"], mail["Cc"], mail["References"]),
                             ("FW: Meeting", "dora@x.org", None, None))
            parts = [part for part in mail.walk() if not part.is_multipart()]
            self.assertEqual([part.get_content_type() for part in parts],
                             ["text/plain"] * (numTexts - 1) + ["text/html", "application/x-a"])
            self.assertEqual(parts[-1].get_content(), b"DATA")

    def test_hostile_messages(self):
        evil = "=?utf-8?Q?a=0D=0ABcc:_spy@x.org=0D=0A=0D=0Ab=00?="
        fields = ("Subject", "Date", "Message-ID", "References", "X-Mailer", "Content-Type", "X-Other", "MIME-Version",
                  "Content-Disposition", "Content-ID")
        rows = [f"From: {evil} <ann@x.org>\r\nTo: {evil} <bob@x.org>\r\nCc: {evil}\r\n",
                f"From: ann@x.org\r\nReply-To: {evil} <ann@x.org>\r\n",
                "From: ann@x.org\r\nTo: a\0b@x.org, \"x\r\n RCPT TO:<spy@x.org>\" <bob@x.org>\r\n",
                "From: ann@x.org\r\nMessage-ID: <a\r\n\tBcc:spy@x.org>\r\nReferences: <a>\r\n\r <b\0> <c d>\r\n",
                "From: ann@x.org\r\nBcc: spy@x.org\r\nResent-Bcc: spy@x.org\r\nQVX-ReturnReceipt: YES\r\n",
                "From: ann@x.org\r\nTo: b\xf6b@x.org, <a\tb@x.org>, x <@>\r\n",
                "From: ann@x.org\r\nContent-Type: multipart/mixed; boundary=\"" + "-" * 300 + "\"\r\n"]
        rows += [f"From: ann@x.org\r\n{field}: {evil}\r\n" for field in fields]
        for row in rows:
            with self.subTest(row):
                for command, args in ("reply", ("--all",)), ("forward", ("--to", "ann@x.org")):
                    recipients, mail = self.answered(command, row.encode() + b"\r\nbody\r\n", *args, "--body", "own")
                    self.assertLessEqual(set(recipients), {b"ann@x.org", b"bob@x.org"})
                    self.assertEqual([name for name in mail.keys() if "bcc" in name.lower() or "qvx" in name.lower()], [])
                    self.assertIn("own", mail.as_string())

    def test_saving_printing_and_failures(self):
        path, new = self.file("m.eml", PLAIN_TEXT), self.file("new.eml")
        to = ("--from", "me@x.org", "--body", "b")
        self.check(quorvel("reply", path, *to, "--save", new), 0)
        printed = quorvel("reply", "-", *to, "--dry-run", stdin=PLAIN_TEXT.replace(b"\r\n", b"\n")).stdout
        for text in content(new), printed:
            self.assertIn(b" <ann@x.org>\r\nMIME-Version", text)
            self.assertIn(b"\r\n\r\nb\r\n\r\n-----Original Message-----\r\n", text)
        nobody = self.file("nobody.eml", "Subject: x\r\n\r\nb")
        rows = [
            (("reply", nobody, *to), 5, b"has no sender who could be answered"),
            (("reply", path, *to, "--save", new), 5, b"is there already"),
            (("reply", path, *to, "--save", "/no/such/file"), 5, b"/no/such/file"),
            (("reply", "/no/such", *to), 5, b"/no/such"),
            (("reply", path, *to, "--attach", "/no/such"), 5, b"/no/such"),
            (("reply", path, *to[:2]), 2, b"nothing to say"),
            (("reply", path, *to[2:]), 2, b"--from"),
            (("reply", path, "--from", "me", *to[2:]), 2, b"--from holds no e-mail address"),
            (("reply", "-", *to[:2], "--text", "-"), 2, b"both the message and the text"),
            (("reply", "-", *to, "--user", "u", "--password-fd", "0"), 2, b"standard input"),
            (("reply", path, *to, "--save", new, "--dry-run"), 2, b"--save"),
            (("forward", path, *to[:2]), 2, b"no recipient"),
            (("forward", path, *to, "--to", "x"), 2, b"--to holds no e-mail address"),
            (("forward", path, *to, "--to", "bob@x.org", "--server", "127.0.0.1:1"), 3, b"not sent through"),
        ]
        for args, status, said in rows:
            with self.subTest(args):
                self.check(quorvel(*args), status, said)
        self.check(quorvel("forward", nobody, *to, "--to", "bob@x.org", "--dry-run"), 0)


if __name__ == "__main__":
    unittest.main()
