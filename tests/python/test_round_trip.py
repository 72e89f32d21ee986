"""Messages in every layout, between the component and Python's own email package."""

import datetime
import email
import email.message
import email.policy
import os
import tempfile
import unittest

import quorvel

PLAIN = "Dear Ann,\r\n\r\n.a dot first\r\nFrom here on: 100 %=3D and a long line " + "x" * 200 + "\r\n"
HTML = "<html><body><p>Dear Ann, see <img src=\"cid:{}\"></p></body></html>\r\n"
FILES = {
    "report.pdf": (bytes(range(256)) * 40, "application/pdf"),
    "notes.txt": ("Grüße \r\nFrom me\r\n.\r\n=3D trailing \r\n".encode("latin-1"), "text/plain"),
    "empty.bin": (b"", "application/octet-stream"),
    "logo.gif": (b"GIF89a\r\n\x00\x1a\n" * 9, "image/gif"),
}

# layout: (plain body, HTML body, related files, attached files)
LAYOUTS = {
    "plain": (True, False, [], []),
    "HTML": (False, True, [], []),
    "plain and attachments": (True, False, [], ["report.pdf", "notes.txt", "empty.bin"]),
    "alternatives": (True, True, [], []),
    "alternatives and attachments": (True, True, [], ["report.pdf"]),
    "HTML and related": (False, True, ["logo.gif"], []),
    "alternatives and related": (True, True, ["logo.gif"], []),
    "HTML, related and attachments": (False, True, ["logo.gif"], ["report.pdf", "notes.txt"]),
    "all of it": (True, True, ["logo.gif"], ["report.pdf", "notes.txt"]),
}


class RoundTripTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        for name, (data, _) in FILES.items():
            with open(os.path.join(cls.folder.name, name), "wb") as file:
                file.write(data)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def composed(self, plain, html, related, attached):
        mail = quorvel.create("QuorvelMail.QuorvelEmail")
        mail.From = "Bob <bob@example.org>"
        mail.AddTo("Ann Lee", "ann@example.org")
        mail.Subject = "A round trip"
        if plain:
            mail.Body = PLAIN
            if html:
                mail.AddHtmlAlternativeBody(HTML)
        elif html:
            mail.SetHtmlBody(HTML)
        ids = [mail.AddRelatedContent(self.path(name)) for name in related]
        for name in attached:
            self.assertEqual(mail.AddFileAttachment(self.path(name)), FILES[name][1])
        return mail, ids

    def test_the_peer_reads_what_the_component_composes(self):
        for layout, (plain, html, related, attached) in LAYOUTS.items():
            with self.subTest(layout):
                mail, ids = self.composed(plain, html, related, attached)
                text = mail.GetMime().encode("utf-8", "surrogateescape")
                read = email.message_from_bytes(text, policy=email.policy.default)
                self.assertEqual([part.defects for part in read.walk() if part.defects], [])
                self.assertEqual((read["Subject"], read["From"], read["To"]),
                                 ("A round trip", "Bob <bob@example.org>", "Ann Lee <ann@example.org>"))
                self.assertEqual(read["Date"].datetime.astimezone(datetime.timezone.utc).replace(tzinfo=None),
                                 mail.EmailDate.replace(microsecond=0))
                wanted = [("text/plain", None, PLAIN.encode())] if plain else []
                wanted += [("text/html", None, HTML.encode())] if html else []
                wanted += [(FILES[name][1], name, FILES[name][0]) for name in attached + related]
                leaves = [part for part in read.walk() if not part.is_multipart()]
                self.assertEqual([(part.get_content_type(), part.get_filename(), part.get_payload(decode=True))
                                  for part in leaves], wanted)
                found = [part["Content-ID"] for part in leaves if part["Content-ID"]]
                self.assertEqual(found, [f"<{content_id}>" for content_id in ids])

    def test_the_component_reads_what_the_peer_composes(self):
        for layout, (plain, html, related, attached) in LAYOUTS.items():
            with self.subTest(layout):
                peer = email.message.EmailMessage(policy=email.policy.SMTP)
                peer["From"] = "Bob <bob@example.org>"
                peer["To"] = "Ann Lee <ann@example.org>, carl@example.org"
                peer["Subject"] = "Grüße, a round trip"
                if plain:
                    peer.set_content(PLAIN.replace("\r\n", "\n"))
                if html:
                    (peer.add_alternative if plain else peer.set_content)(HTML.replace("\r\n", "\n"), subtype="html")
                root = peer if not (plain and html) else None
                for number, name in enumerate(related):
                    data, kind = FILES[name]
                    target = root if root is not None else peer.get_payload()[1]
                    target.add_related(data, *kind.split("/"), cid=f"<{number}@peer>", filename=name,
                                       disposition="inline")
                for name in attached:
                    data, kind = FILES[name]
                    main, sub = kind.split("/")
                    if main == "text":
                        main, sub = "application", "octet-stream"
                    peer.add_attachment(data, maintype=main, subtype=sub, filename=name)
                mail = quorvel.create("QuorvelMail.QuorvelEmail")
                self.assertEqual(mail.LoadMime(peer.as_bytes()), 1)
                self.assertEqual(mail.Subject, "Grüße, a round trip")
                self.assertEqual((mail.FromName, mail.FromAddress, mail.NumTo), ("Bob", "bob@example.org", 2))
                if plain:
                    self.assertEqual(mail.GetPlainTextBody().replace("\r\n", "\n"), PLAIN.replace("\r\n", "\n"))
                if html and not (plain and related):
                    found = mail.GetHtmlBody() if plain or not related else mail.Body
                    self.assertEqual(found.replace("\r\n", "\n"), HTML.replace("\r\n", "\n"))
                self.assertEqual([mail.GetAttachmentFilename(n) for n in range(mail.NumAttachments)], attached)
                for number, name in enumerate(attached):
                    self.assertEqual(mail.GetAttachmentData(number), FILES[name][0])
                again = email.message_from_bytes(mail.GetMime().encode("utf-8", "surrogateescape"))
                self.assertEqual([(part.get_content_type(), part.get_filename(), part.get_payload(decode=True))
                                  for part in again.walk() if not part.is_multipart()],
                                 [(part.get_content_type(), part.get_filename(), part.get_payload(decode=True))
                                  for part in email.message_from_bytes(peer.as_bytes()).walk()
                                  if not part.is_multipart()])


if __name__ == "__main__":
    unittest.main()
