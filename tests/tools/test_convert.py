"""`quorvel convert`: messages between mailbox files, folders, XML documents and zip archives."""

import email
import os
import re
import unittest
import zipfile
from email.utils import parseaddr

from program import ProgramTest, content, on_terminal, quorvel


def message(subject, body, *fields):
    lines = [b"From: Ann Lee <ann@x.org>", b"To: bob@x.org", b"Subject: " + subject,
             b"Date: Sun, 1 Nov 2026 21:25:19 +0000", *fields]
    return b"\r\n".join(lines) + b"\r\n\r\n" + body


ATTACHED = (b"--xx\r\nContent-Type: text/plain\r\n\r\nsee file\r\n--xx\r\n"
            b"Content-Type: application/octet-stream; name=\"a.bin\"\r\n"
            b"Content-Disposition: attachment; filename=\"a.bin\"\r\nContent-Transfer-Encoding: base64\r\n\r\n"
            b"AAECAwT/\r\n--xx--\r\n")
MESSAGES = [
    message(b"separators", b"From here\r\n>From there\r\n>>From nowhere\r\n> From a reply\r\n From\r\n\r\nFrom \r\n"),
    message(b"bytes", b"\xe4\xf6\xfc and \xc3\xa4\r\n", b"Content-Type: text/plain; charset=iso-8859-1",
            b"Content-Transfer-Encoding: 8bit"),
    message(b"dots", b".\r\n..\r\n.x\r\n\r\n\r\n"),
    message(b"empty", b""),
    message(b"attached", ATTACHED, b"MIME-Version: 1.0", b"Content-Type: multipart/mixed; boundary=\"xx\""),
]
COUNT = len(MESSAGES)
TARGETS = {"mailbox": "out.mbox", "folder": "out/", "xml": "out.xml", "zip": "out.zip"}


def in_mailbox(*messages):
    """As a mailbox file has them, by a rule of its own."""
    return b"".join(b"From ann@x.org Sun Nov  1 21:25:19 2026\n"
                    + re.sub(rb"^(>*From )", rb">\1", text.replace(b"\r\n", b"\n"), flags=re.M) + b"\n"
                    for text in messages)


def counts(read, kept, written, unreadable=0):
    rest = f", {unreadable} unreadable" if unreadable else ""
    return f"{read} message{'s' * (read != 1)} read, {kept} kept, {written} written{rest}\n".encode()


def looks(text):
    """What of a message every kind of store keeps, as another reader sees it."""
    parsed = email.message_from_bytes(text)
    parts = [(part.get_content_type(), part.get_content_charset(), part.get_filename(),
              part.get_payload(decode=True).rstrip()) for part in parsed.walk() if not part.is_multipart()]
    return parsed["Subject"], parsed["Date"], [parseaddr(parsed[name]) for name in ("From", "To")], parts


class ConvertTest(ProgramTest):
    def folder(self, name="in"):
        path = self.file(name)
        os.mkdir(path)
        for number, text in enumerate(MESSAGES):
            self.file(os.path.join(name, f"m{number}.eml"), text)
        return path

    def texts(self, folder):
        return [content(os.path.join(folder, name)) for name in sorted(os.listdir(folder))]

    def test_every_kind_becomes_every_other(self):
        source = self.folder()
        for first, first_name in TARGETS.items():
            for second, second_name in TARGETS.items():
                with self.subTest(first=first, second=second):
                    os.mkdir(self.file(f"{first}-{second}"))
                    paths = [self.file(f"{first}-{second}/{name}")
                             for name in ("1" + first_name, "2" + second_name, "back/")]
                    for before, after in zip([source] + paths, paths):
                        result = quorvel("convert", before, after)
                        self.check(result, 0)
                        self.assertEqual((result.stdout, result.stderr), (counts(COUNT, COUNT, COUNT), b""))
                    back = self.texts(paths[-1])
                    if not {first, second} & {"xml", "zip"}:
                        self.assertEqual(back, MESSAGES, "between texts nothing changes")
                    for text, original in zip(back, MESSAGES):
                        self.assertEqual(looks(text), looks(original))

    def test_a_mailbox_file(self):
        to = self.file("out.mbx")
        self.check(quorvel("convert", self.folder(), to), 0)
        self.assertEqual(content(to), in_mailbox(*MESSAGES))
        self.assertEqual(os.stat(to).st_mode & 0o777, 0o600)
        foreign = self.file("foreign", b"\n" + in_mailbox(MESSAGES[0]).replace(b"\n", b"\r\n")
                            + b"From x\nX-Only: 1\nSubject:\n a\n\nno line end")
        self.check(quorvel("convert", foreign, self.file("f/")), 0)
        self.assertEqual(self.texts(self.file("f")),
                         [MESSAGES[0], b"X-Only: 1\r\nSubject:\r\n a\r\n\r\nno line end\r\n"])
        self.check(quorvel("convert", foreign, self.file("again.mbox")), 0)
        self.assertIn(b"\nFrom MAILER-DAEMON ", content(self.file("again.mbox")))

    def test_a_header_makes_no_message_of_its_own(self):
        os.mkdir(self.file("evil"))
        self.file("evil/a.eml", b"Subject: a\nFrom: \"x\nFrom y\" <a b\x01@x.org>\nFrom z\n\nb\n")
        self.check(quorvel("convert", self.file("evil"), self.file("evil.mbox")), 0)
        self.assertEqual(len(re.findall(rb"^From ", content(self.file("evil.mbox")), re.M)), 1)

    def test_the_filter_chooses(self):
        for expression, kept in (('Subject like "*s"', 3), ('Subject = "dots"', 1), ('Subject = "no"', 0), ("", COUNT)):
            with self.subTest(expression):
                to = self.file(f"kept{kept}.mbox")
                result = quorvel("convert", self.file("all.mbox", in_mailbox(*MESSAGES)), to, "--filter", expression)
                self.check(result, 0)
                self.assertEqual(result.stdout, counts(COUNT, kept, kept))
                self.assertEqual(content(to).count(b"\nSubject: "), kept)

    def test_kinds(self):
        box = self.file("box.xml", in_mailbox(MESSAGES[0]))
        document = self.file("document")
        self.check(quorvel("convert", self.folder(), document, "--to-kind", "xml"), 0)
        rows = [
            ((box, self.file("no.mbox")), 5, b"cannot read"),
            ((box, self.file("a.mbox"), "--from-kind", "mailbox"), 0, b""),
            ((document, self.file("b.mbox")), 0, b""),
            ((document, self.file("c")), 2, b"--to-kind"),
            ((document, self.file("c"), "--to-kind", "tar"), 2, b"--to-kind"),
            ((document, self.file("D.XML"), "--to-kind", "folder"), 0, b""),
            ((self.file("none.mbox"), self.file("d.xml")), 5, b"none.mbox"),
            ((self.file("x.eml", MESSAGES[0]), self.file("d.xml")), 5, b"no mailbox file"),
            ((self.file("in"), self.file("in")), 2, b"the same"),
            ((self.file("in"), self.file("e/"), "--replace"), 2, b"--replace"),
            ((self.file("in"), "/no/such/folder.mbox"), 5, b"/no/such"),
            ((self.file("in"), "", ), 2, b""),
        ]
        for args, status, said in rows:
            with self.subTest(args):
                self.check(quorvel("convert", *args), status, said)
        self.assertTrue(os.path.isdir(self.file("D.XML")))

    def test_nothing_is_replaced_unasked(self):
        source = self.folder()
        for name in ("out.mbox", "out.xml", "out.zip"):
            with self.subTest(name):
                to = self.file(name, b"mine")
                os.chmod(to, 0o640)
                self.check(quorvel("convert", source, to), 5, b"--replace")
                self.assertEqual(content(to), b"mine")
                self.check(quorvel("convert", source, to, "--replace"), 0)
                self.assertNotEqual(content(to), b"mine")
                self.assertEqual(os.stat(to).st_mode & 0o777, 0o640)
                link = self.file("link-" + name)
                os.symlink(to, link)
                self.check(quorvel("convert", self.file("in"), link, "--replace"), 5, b"no file of its own")
        self.check(quorvel("convert", source, self.file("twice/")), 0)
        self.check(quorvel("convert", source, self.file("twice")), 0)
        self.assertEqual(sorted(self.texts(self.file("twice"))), sorted(MESSAGES * 2))
        left = [name for name in os.listdir(self.temporary.name) if name.startswith(".")]
        self.assertEqual(left, [], "no draft is left behind")

    def zipped(self, name, *entries):
        with zipfile.ZipFile(self.file(name), "w", zipfile.ZIP_DEFLATED) as archive:
            for number, entry in enumerate(entries):
                archive.writestr(f"../{number}.eml", entry)
        return self.file(name)

    def test_what_cannot_be_read(self):
        source = self.folder()
        whole = self.file("whole.xml")
        self.check(quorvel("convert", source, whole), 0)
        document = content(whole)
        second = document.index(b"</mime_message>\n<mime_message>") + 17
        damaged = bytearray(content(self.zipped("damaged.zip", *MESSAGES[:2])))
        damaged[damaged.index(b"eml") + 10] ^= 0x55
        os.mkdir(self.file("odd"))
        self.file("odd/a.eml", MESSAGES[0])
        self.file("odd/b.eml", b"")
        self.file("odd/c.txt", b"passed over")
        os.mkfifo(self.file("odd/d.eml"))
        os.symlink("/no/such", self.file("odd/e.eml"))
        self.file("odd/f.QVE", MESSAGES[1].replace(b"\r\n", b"\n"))
        rows = [
            (self.zipped("a.zip", MESSAGES[0], b"\x89PNG\r\n\0\1", MESSAGES[1]), 6, (2, 1), [b"entry 2 of", b"no message"]),
            (self.zipped("b.zip", b"readme"), 5, (0, 1), [b"entry 1 of"]),
            (self.file("c.zip", bytes(damaged)), 6, (1, 1), [b"entry 1 of"]),
            (self.file("d.zip", content(self.file("a.zip"))[:-30]), 5, None, [b"d.zip"]),
            (self.file("e.xml", document[:-17]), 6, (COUNT, 1), [b"breaks off"]),
            (self.file("f.xml", document[:second]), 6, (1, 1), [b"breaks off"]),
            (self.file("g.xml", document[:second + 40]), 6, (1, 1), [b"breaks off"]),
            (self.file("h.xml", document[:60]), 5, (0, 1), [b"breaks off"]),
            (self.file("i.xml", b""), 5, None, [b"i.xml"]),
            (self.file("odd"), 6, (2, 3), [b"b.eml", b"d.eml: it is no file", b"e.eml"]),
            (self.file("j.mbox", in_mailbox(MESSAGES[0]) + b"From x\nFrom y\n\n\0garbage\n" + in_mailbox(MESSAGES[1])),
             6, (2, 2), [b"message 2 of", b"message 3 of"]),
        ]
        for number, (path, status, read, said) in enumerate(rows):
            with self.subTest(path):
                to = self.file(f"rest{number}.mbox")
                result = quorvel("convert", path, to)
                self.check(result, status)
                for words in said:
                    self.assertIn(words, result.stderr)
                self.assertEqual(result.stdout, b"" if read is None else counts(read[0], read[0], read[0], read[1]))
                self.assertEqual(os.path.exists(to), status == 6)

    def test_nothing_to_convert(self):
        empty = self.file("empty", b"")
        for name, text in (("out.mbox", b""), ("out.xml", b"<email_bundle>\n</email_bundle>"), ("out.zip", None)):
            with self.subTest(name):
                result = quorvel("convert", empty, self.file(name))
                self.check(result, 0, b"was not written" if text is None else b"")
                self.assertEqual(result.stdout, counts(0, 0, 0))
                self.assertEqual(os.path.exists(self.file(name)), text is not None)
                if text is not None:
                    self.assertIn(text, content(self.file(name)))
                    self.check(quorvel("convert", self.file(name), self.file("again-" + name + ".mbox")), 0)

    def test_what_is_told(self):
        source = self.folder()
        seen, status, _ = on_terminal("convert", source, self.file("a.mbox"))
        self.assertEqual(status, 0)
        self.assertIn(b"converting [" + b"#" * 40 + b"] 100%", seen)
        seen, status, _ = on_terminal("convert", source, self.file("b.mbox"), "--quiet")
        self.assertEqual((seen, status), (b"", 0))
        result = quorvel("convert", self.file("a.mbox"), self.file("b.zip"), "--log")
        self.check(result, 0)
        self.assertIn(counts(COUNT, COUNT, COUNT), result.stdout)


if __name__ == "__main__":
    unittest.main()
