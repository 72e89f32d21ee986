"""check, list, fetch and delete: what comes from a mailbox, where it goes, and what stays on the server."""

import os
import resource
import tempfile
import unittest

from program import PASSWORD, PopServer, ProgramTest, content, on_mailbox, on_terminal, scripted


def mail(subject, body=b"hello", sender=b"ann@x.org"):
    return b"From: %s\r\nDate: Tue, 5 Mar 2002 19:03:07 +0000\r\nSubject: %s\r\n\r\n%s\r\n" % (sender, subject, body)


THREE = ((b"id-1", mail(b"first report")), (b"id-2", mail(b"letter")), (b"id-3", mail(b"second report", b"x" * 5000)))
REPORTS = 'Subject like "*report"'


class ReceivingTest(ProgramTest):
    def fetch(self, port, *args, folder=None, **options):
        """The result, and the names and contents of the files in the folder, which is a new one unless named."""
        folder = folder or os.path.join(tempfile.mkdtemp(dir=self.temporary.name), "in")
        result = on_mailbox(port, "fetch", "--to", folder, *args, **options)
        names = os.listdir(folder) if os.path.isdir(folder) else ()
        names = [name for name in names if not os.path.islink(os.path.join(folder, name))]
        return result, {name: content(os.path.join(folder, name)) for name in names}

    def test_a_mailbox_of_the_loopback_server(self):
        server = self.serving("--pop3-port", "0")
        for subject in "first", "second", "third":
            self.check(server.send("--from", "Ann <ann@x.org>", "--to", "b@x.org", "--subject", subject, "--body",
                                   ".dots\n..\n.\nend\n"), 0)
        self.assertEqual(on_mailbox(server.pop_port, "check").stdout, b"3 messages\n")
        rows = [line.split("\t") for line in on_mailbox(server.pop_port, "list").stdout.decode().splitlines()]
        self.assertEqual([(row[0], row[3], row[4]) for row in rows],
                         [(str(n), '"Ann" <ann@x.org>', s) for n, s in ((1, "first"), (2, "second"), (3, "third"))])
        self.assertRegex(rows[0][2], r"^\d{4}-\d\d-\d\d \d\d:\d\d:\d\d$")
        journal = self.file("journal")
        folder = self.file("new/in")
        result, files = self.fetch(server.pop_port, "--delete", "--journal", journal, folder=folder)
        self.check(result, 0, b"3 messages fetched into %b, 3 deleted from the server\n" % folder.encode())
        self.assertEqual(sorted(files), [row[1] + ".eml" for row in rows])
        self.assertEqual({os.stat(os.path.join(folder, name)).st_mode & 0o777 for name in files}, {0o600})
        self.assertEqual(result.stdout.decode().split(), [os.path.join(folder, name) for name in sorted(files)])
        for text in files.values():
            self.assertIn(b"\r\n\r\n.dots\r\n..\r\n.\r\nend", text)
        self.assertEqual(content(journal).count(b"--BEGIN RECEIVED QUORVEL EMAIL--\n"), 3)
        self.assertEqual(server.kept(), [])
        self.assertEqual(on_mailbox(server.pop_port, "check").stdout, b"0 messages\n")
        self.assertEqual(on_mailbox(server.pop_port, "list").stdout, b"")

    def test_what_is_fetched_and_what_stays(self):
        every = ["id-1.eml", "id-2.eml", "id-3.eml"]
        rows = [  # arguments, status, files, left on the server, what is said
            ((), 0, every, 3, b"3 messages fetched"),
            (("--delete",), 0, every, 0, b", 3 deleted"),
            (("--filter", REPORTS, "--delete"), 0, [every[0], every[2]], 1, b", 2 deleted"),
            (("--filter", 'Subject = "none"', "--delete"), 0, [], 3, b"0 messages fetched"),
            (("--max-count", "2", "--delete"), 0, every[:2], 1, b", 2 deleted"),
            (("--size-limit", "1000", "--delete"), 0, every[:2], 1, b"1 message of more than 1000 bytes left"),
            (("--uidl", "id-3", "--uidl", "id-1", "--delete"), 0, [every[0], every[2]], 1, b", 2 deleted"),
            (("--uidl", "id-3", "--uidl", "\x1b[31m"), 6, [every[2]], 3, b"not fetched:\n  ?[31m\n"),
            (("--quiet", "--delete"), 0, every, 0, b""),
            (("--filter", REPORTS, "--uidl", "id-1"), 2, [], 3, b"--uidl"),
            (("--uidl", ""), 2, [], 3, b"--uidl"),
            (("--max-count", "0"), 2, [], 3, b"--max-count"),
            (("--journal", "/no/such/journal"), 5, [], 3, b"nothing was done"),
            (("--log-xml", "/no/such/log"), 5, [], 3, b"nothing was done"),
        ]
        for args, status, names, left, said in rows:
            with self.subTest(args), PopServer(*THREE) as server:
                result, files = self.fetch(server.port, *args)
                self.check(result, status, said)
                self.assertEqual((sorted(files), len(server.left())), (names, left))
                if "--quiet" in args:
                    self.assertEqual((result.stdout, result.stderr), (b"", b""))

    def test_no_file_is_replaced_and_none_lands_elsewhere(self):
        outside = self.file("outside", b"precious")
        folder = self.file("in")
        os.mkdir(folder)
        os.symlink(outside, self.file("in/taken.eml"))
        os.symlink(self.file("nothing"), self.file("in/dangling.eml"))
        uidls = (b"../../up", b"/etc/x", b".hidden", b"-rf", b"..", b"taken", b"dangling", b"a\x1b[31m\xff", b"L" * 400,
                 b"same", b"same", b"a:b", b"a;b")
        with PopServer(*((uidl, mail(b"s")) for uidl in uidls)) as server:
            first, _ = self.fetch(server.port, folder=folder)
            second, files = self.fetch(server.port, folder=folder)
        self.check(first, 0)
        self.check(second, 0)
        self.assertEqual(len(files), 2 * len(uidls))
        self.assertEqual(len(set((first.stdout + second.stdout).split())), 2 * len(uidls))
        for name in files:
            self.assertRegex(name, r"^[A-Za-z0-9_][A-Za-z0-9_.@+=-]*\.eml$")
            self.assertLess(len(name), 120)
        self.assertEqual((content(outside), os.path.exists(self.file("nothing"))), (b"precious", False))
        self.assertEqual(sorted(os.listdir(self.temporary.name)), ["in", "outside"])

    def test_nothing_is_lost(self):
        """Servers and disks that fail in the middle: what is not in a file is still on the server."""
        def at(wanted, reply, from_time=1):
            return lambda command, times: reply if command == wanted and times >= from_time else None

        def disk_is_full():
            resource.setrlimit(resource.RLIMIT_FSIZE, (2000, 2000))

        every = ["id-1", "id-2", "id-3"]
        full = {"preexec_fn": disk_is_full, "restore_signals": False}
        rows = [  # replies, options, status, files, left on the server, what is said
            (at("RETR 2", b"-ERR locked\r\n"), {}, 6, ["id-1", "id-3"], ["id-2"], b"1 message could not be downloaded"),
            (at("RETR 2", b""), {}, 6, ["id-1"], every[1:], b"2 messages could not be downloaded"),
            (at("DELE 2", b"-ERR no\r\n"), {}, 6, every, ["id-2"], b"still on the server:\n  id-2\n"),
            (at("QUIT", b"-ERR not deleted\r\n"), {}, 6, every, every, b"still on the server:\n  id-1\n"),
            (at("UIDL", b"-ERR no\r\n", 2), {}, 4, every, every, b"3 messages fetched, but 127.0.0.1:"),
            (at("UIDL", b"-ERR no\r\n", 4), {}, 4, every, [], b"3 messages fetched, but it is not known"),
            (at("UIDL", b"+OK\r\n1 id-", 4), {}, 1, every, [], b"3 messages fetched, but it is not known"),
            (at("STAT", b"", 3), {}, 1, every, every, b"3 messages fetched, but 127.0.0.1:"),
            (at("UIDL", b"-ERR no\r\n"), {}, 4, [], every, b"-ERR no"),
            (at("", b""), full, 5, ["id-1", "id-2"], every, b"cannot keep the messages as they came"),
        ]
        for replies, options, status, names, left, said in rows:
            with self.subTest(said), PopServer(*THREE, replies=replies) as server:
                result, files = self.fetch(server.port, "--delete", "--read-timeout", "1", **options)
                self.check(result, status, said)
                self.assertEqual((sorted(files), server.left()),
                                 ([name + ".eml" for name in names], [uidl.encode() for uidl in left]))

        with PopServer(*THREE) as server:
            result, files = self.fetch(server.port, "--uidl", "id-1", "--uidl", "id-3", "--delete", **full)
            self.check(result, 5, b"File too large")
            self.assertEqual((list(files), len(server.left())), (["id-1.eml"], 3))

    def test_files_hold_what_came_byte_for_byte(self):
        """What the component would write anew: signatures, what stands around parts, bytes that no mail may have."""
        def part(text):
            return b"--b\r\nContent-Type: text/plain\r\n\r\n" + text + b"\r\n"

        texts = (
            mail(b"dots", b".\r\n..\r\n.x\r\n..."),
            b"Subject:folded\r\n\tand odd\r\nsubject : twice\r\nNo colon\r\n\r\n" + bytes(range(256)) * 3 + b"\n\n.\nend",
            b"Content-Type: multipart/mixed; boundary=b\r\n\r\nbefore\r\n" + part(b"one") + b"--b--\r\nafter",
            b"Content-Type: multipart/signed; boundary=b; protocol=\"application/pkcs7-signature\"\r\n\r\n"
            + part(b"signed") + b"--b\r\nContent-Type: application/pkcs7-signature\r\n\r\nAAAA\r\n--b--",
            b"no header at all",
            b"--END RECEIVED QUORVEL EMAIL--\r\n\r\n\n--END RECEIVED QUORVEL EMAIL--\n--BEGIN RECEIVED QUORVEL EMAIL--\nx",
        )
        with PopServer(*((b"%d" % n, text) for n, text in enumerate(texts))) as server:
            result, files = self.fetch(server.port)
        self.check(result, 0)
        self.assertEqual([files[f"{n}.eml"] for n in range(len(texts))], [text.rstrip(b"\r\n") + b"\r\n" for text in texts],
                         "but for empty lines at the end")

    def test_messages_that_share_an_id_are_not_deleted_for_one_another(self):
        shared = ((b"one", mail(b"a report")), (b"two", mail(b"x")), (b"two", mail(b"b report")))
        said = b"same unique id:\n  two\n"
        rows = [
            (("fetch", "--to", self.file("in"), "--delete", "--filter", REPORTS), 6, said, [b"two", b"two"]),
            (("fetch", "--to", self.file("in"), "--delete"), 0, b"", []),
            (("delete", "--filter", REPORTS), 6, said, [b"two", b"two"]),
            (("delete", "--uidl", "two"), 6, said, [b"one", b"two", b"two"]),
            (("delete", "--uidl", "two", "--uidl", "two"), 0, b"", [b"one"]),
        ]
        for args, status, said, left in rows:
            with self.subTest(args), PopServer(*shared) as server:
                self.check(on_mailbox(server.port, *args), status, said)
                self.assertEqual(server.left(), left)

    def test_deleting(self):
        every = [uidl for uidl, _ in THREE]
        rows = [
            (("--uidl", "id-2"), 0, b"1 message deleted\n", b"", [every[0], every[2]]),
            (("--uidl", "id-2", "--uidl", "no"), 6, b"1 message deleted\n", b"not on the server:\n  no\n",
             [every[0], every[2]]),
            (("--filter", REPORTS), 0, b"2 messages deleted\n", b"", [every[1]]),
            (("--filter", 'Subject = "none"'), 0, b"0 messages deleted\n", b"", every),
            (("--filter", REPORTS, "--dry-run"), 0, b"3\tid-3\t2002-03-05 19:03:07\tann@x.org\tsecond report\n", b"", every),
            # An empty filter keeps, and so would delete, all.
            (("--filter", ""), 2, b"", b"--filter", every),
            (("--filter", " "), 2, b"", b"--filter", every),
            ((), 2, b"", b"--uidl or --filter", every),
            (("--uidl", "id-1", "--dry-run"), 2, b"", b"--dry-run", every),
            (("--uidl", "id-1", "--filter", REPORTS), 2, b"", b"--filter", every),
        ]
        with PopServer(*THREE, replies=lambda line, times: b"" if (line, times) == ("UIDL", 3) else None) as server:
            self.check(on_mailbox(server.port, "delete", "--uidl", "id-1"), 1, b"not known what the server has deleted")
        for args, status, printed, said, left in rows:
            with self.subTest(args), PopServer(*THREE) as server:
                result = on_mailbox(server.port, "delete", *args)
                self.check(result, status, said)
                self.assertIn(printed, result.stdout)
                self.assertEqual(server.left(), left)

    def test_servers_that_cannot_be_used(self):
        login = (b"+OK\r\n", b"+OK\r\n")
        refused = b"-ERR [AUTH] \x1b[31mwho are you?\r\n"
        rows = [
            ((*login, refused), 4, b"refuses the login of bob"),
            ((b"+OK\r\n", b"-ERR no such user\r\n"), 4, b"-ERR no such user"),
            (login, 1, b"closes the connection during the login of bob"),
            ((b"-ERR busy\r\n",), 4, b"turns this machine away"),
            ((b"220 mail.x.org ESMTP\r\n",), 3, b"does not greet as POP3 has it"),
            ((b"",), 3, b"sends no greeting within 1 seconds"),
            ((), 3, b"closes it without a greeting"),
            ((*login, b"+OK\r\n", b"-ERR\r\n"), 1, b"did not do what was asked"),
        ]
        for command in (("check",), ("fetch", "--to", self.file("in"))):
            for answers, status, said in rows:
                with self.subTest(command=command, answers=answers), scripted(*answers) as port:
                    result = on_mailbox(port, *command, "--read-timeout", "1")
                    self.check(result, status, said)
                    self.assertNotIn(b"\x1b", result.stderr)
        with PopServer() as server:
            nobody = server.port
        for command in (("check",), ("list",), ("fetch", "--to", self.file("in")), ("delete", "--uidl", "x")):
            self.check(on_mailbox(nobody, *command), 3, b"nobody listens")
        self.check(on_mailbox(nobody, "fetch", "--to", "/dev/null/x"), 5, b"nothing was done")

    def test_a_list_fits_the_terminal(self):
        wide = "\u6f22\u5b57 e\u0301 \U0001f600 ".encode() * 20
        messages = [(b"id-%d" % n, mail(subject, sender=b'"A very long name of a sender" <%s@x.org>' % (b"y" * 90)))
                    for n, subject in enumerate((b"short", b"x" * 300, wide, b"\x1b[31m\x07 red", b""))]
        password = self.file("password", PASSWORD)
        for columns in 80, 132, 50:
            with PopServer(*messages) as server:
                shown, status, _ = on_terminal("list", "--server", f"127.0.0.1:{server.port}", "--user", "bob",
                                            "--password-file", password, columns=columns)
            self.assertEqual(status, 0, shown)
            lines = shown.decode().splitlines()
            self.assertEqual(len(lines), len(messages) + 1, "a heading and a line each")
            self.assertNotIn("\x1b", shown.decode())
            for line in lines:
                # A wide letter takes two columns, a mark none.
                taken = sum(2 if c in "\u6f22\u5b57\U0001f600" else c != "\u0301" for c in line)
                self.assertLessEqual(taken, max(columns, 61), line)
            self.assertIn("id-4", lines[5])

    def test_a_terminal_gets_a_progress_bar(self):
        password = self.file("password", PASSWORD)
        for extra, shown in ((), True), (("--quiet",), False):
            with PopServer(*THREE) as server:
                seen, status, _ = on_terminal("fetch", "--server", f"127.0.0.1:{server.port}", "--user", "bob", "--to",
                                           self.file("in"), "--password-file", password, *extra)
            self.assertEqual(status, 0, seen)
            self.assertEqual(b"\rreceiving [" in seen and b"100%" in seen, shown, seen)


if __name__ == "__main__":
    unittest.main()
