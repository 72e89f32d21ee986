"""The component sends through a real Exim; what is delivered is what was composed."""

import os
import socket
import sys
import tempfile
import unittest

import quorvel

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import exim_server  # noqa: E402

LIST_SIZE = 250
LIST_BOXES = [f"member{n:03d}" for n in range(LIST_SIZE)]
WHY_NOT = exim_server.why_not()


def lf(text):
    """Line ends made uniform."""
    return text.replace(b"\r\n", b"\n").replace(b"\r", b"\n")


def composed_bytes(email):
    return email.GetMime().encode("utf-8", "surrogateescape")


def errors_of(mailman):
    return mailman.GetLog().GetErrorEntries()


@unittest.skipIf(WHY_NOT, f"interoperability with Exim left out: {WHY_NOT}")
class EximTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = exim_server.EximServer(["ann", "bob", "carol", "dora", "emil"] + LIST_BOXES)

    @classmethod
    def tearDownClass(cls):
        cls.server.stop()

    def setUp(self):
        self.mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
        self.mailman.SmtpHost = self.server.address
        self.mailman.SmtpPort = self.server.port
        self.mailman.SmtpAuthMethod = "NONE"
        self.mailman.ReadTimeout = 60
        self.mailman.GetLog().ClearLog()
        self.before = {name: self.server.holds(name) for name in ("ann", "bob", "carol", "dora", "emil")}

    def email(self, subject, *recipients):
        email = quorvel.create("QuorvelMail.QuorvelEmail")
        email.FromAddress = "sender@test"
        email.Subject = subject
        for address in recipients:
            self.assertEqual(email.AddTo("", address), 1)
        return email

    def newest(self, mailbox):
        return self.server.delivered(mailbox, self.before[mailbox] + 1)[-1]

    def assert_delivered(self, mailbox, composed):
        """The server puts its own fields in front, the line break of the end marker ends the text; nothing
        else may differ."""
        text = lf(composed) + b"\n"
        delivered = lf(self.newest(mailbox))
        self.assertTrue(delivered.endswith(text),
                        f"{mailbox}: {len(delivered)} bytes do not end in the {len(text)} composed")
        for line in delivered[:-len(text)].split(b"\n"):
            self.assertRegex(line, rb"^(Return-path|Received|Envelope-to|Delivery-date|[ \t]|$)")
        return delivered

    def test_recipients_of_every_kind_with_one_refused(self):
        email = self.email("An order", "ann@test", "nobody@test")
        email.AddCC("Bob Böhm", "bob@test")
        email.AddBcc("", "carol@test")
        email.Body = "Dear all,\r\nas agreed.\r\n"
        self.assertEqual(self.mailman.SendEmail(email), 1)
        composed = composed_bytes(email)
        for mailbox in ("ann", "bob", "carol"):
            delivered = self.assert_delivered(mailbox, composed)
            self.assertNotIn(b"carol", delivered.replace(b"for carol@test", b""), "Bcc is shown")
        errors = errors_of(self.mailman)
        self.assertIn("Failed when sending RCPT TO:<nobody@test>", errors)
        self.assertIn("Warning: failed to send to 1 recipient(s), continuing to send to 3 recipient(s)", errors)
        self.assertIn("Mail sent to 3 recipients", self.mailman.GetLog().GetInfoEntries())

    def test_bodies_arrive_unchanged(self):
        rows = {
            "a single dot": "first\r\n.\r\n..\r\n.hidden\r\n\r\nlast",
            "a leading dot": ".\r\n",
            "lines of 2,000 bytes": "\r\n".join("x" * 1990 + f"{n:010d}" for n in range(20)),
            "8-bit text": "Grüße, naïve café, 100 € \r\n" + bytes(range(0x80, 0x100)).decode("utf-8", "surrogateescape"),
            "bare line feeds": "one\ntwo\n.\nthree\r\rfour\n",
            "no text at all": "",
        }
        for name, body in rows.items():
            with self.subTest(name):
                self.before["dora"] = self.server.holds("dora")
                email = self.email(name, "dora@test")
                email.Body = body
                self.assertEqual(self.mailman.SendEmail(email), 1)
                self.assert_delivered("dora", composed_bytes(email))

    def test_a_name_beyond_ascii_is_read_by_a_stranger(self):
        email = self.email("Grüße aus Köln", "emil@test")
        email.AddHeaderField("Content-Type", 'text/plain; charset="utf-8"')
        email.FromName = "Jörg Müller"
        email.AddCC("Zoë Ångström", "bob@test")
        email.Body = "Grüße\r\n"
        self.assertEqual(self.mailman.SendEmail(email), 1)
        self.assert_delivered("bob", composed_bytes(email))
        import email as reader
        from email import policy
        message = reader.message_from_bytes(self.newest("emil"), policy=policy.default)
        self.assertEqual([a.display_name for a in message["Cc"].addresses], ["Zoë Ångström"])
        self.assertEqual(message.get_content().rstrip("\n"), "Grüße")

    def test_a_body_of_20_megabytes_with_progress(self):
        line = "The quick brown fox jumps over the lazy dog, again and again. {:08d}\r\n"
        size = 20 * 1024 * 1024
        count = size // len(line.format(0)) + 1
        email = self.email("Large", "emil@test")
        email.Body = "".join(line.format(n) for n in range(count))
        seen = []
        token = self.mailman.connect(lambda *event: seen.append(event))
        self.assertEqual(self.mailman.SendEmail(email), 1)
        self.mailman.disconnect(token)
        self.assert_delivered("emil", composed_bytes(email))
        percents = [event[2] for event in seen]
        self.assertEqual(percents, sorted(set(percents)), "a percentage fell or came twice")
        self.assertEqual(percents[-1], 100)
        self.assertGreater(len(percents), 3)
        self.assertEqual({event[:2] + event[3:] for event in seen}, {(102, 2, 0)})

    def test_alternatives_reach_the_reader(self):
        email = self.email("Both kinds", "ann@test")
        email.AddPlainTextAlternativeBody("plain text\r\n")
        email.AddHtmlAlternativeBody("<html><body><p>rich text</p></body></html>\r\n")
        self.assertEqual(self.mailman.SendEmail(email), 1)
        self.assert_delivered("ann", composed_bytes(email))
        import email as reader
        message = reader.message_from_bytes(self.newest("ann"))
        self.assertEqual([part.get_content_type() for part in message.walk()],
                         ["multipart/alternative", "text/plain", "text/html"])

    def test_all_recipients_refused(self):
        email = self.email("Nobody home", "nobody@test", "stranger@elsewhere.example")
        accepted = self.server.transactions()
        with self.assertRaises(quorvel.Error) as caught:
            self.mailman.SendEmail(email)
        self.assertIn("Failed when sending RCPT TO:<stranger@elsewhere.example>", str(caught.exception))
        self.assertEqual(self.server.transactions(), accepted)

    def send_to_list(self, individual):
        with tempfile.NamedTemporaryFile("w", suffix=".txt") as file:
            file.write("The members\n\n" + "".join(f"  {box}@test \r\n" for box in LIST_BOXES))
            file.flush()
            before = {box: self.server.holds(box) for box in LIST_BOXES}
            email = self.email("To the list")
            email.FileDistList = file.name
            email.Body = "Dear member,\r\n"
            self.mailman.SendIndividual = int(individual)
            accepted = self.server.transactions()
            self.assertEqual(self.mailman.SendEmail(email), 1)
            for box in LIST_BOXES:
                delivered = self.server.delivered(box, before[box] + 1)[-1]
                self.assertNotIn(b"QVX-", delivered)
                self.assertEqual(f"\nTo: {box}@test\n".encode() in delivered, individual)
                self.assertEqual(delivered.count(b"@test"), delivered.count(box.encode() + b"@test") +
                                 delivered.count(b"sender@test"), "another member is shown")
            return self.server.transactions() - accepted

    def test_a_list_goes_out_in_batches(self):
        self.assertEqual(self.send_to_list(individual=False), 3)
        self.assertIn("Mail sent to 250 recipients", self.mailman.GetLog().GetInfoEntries())

    def test_a_list_goes_out_one_by_one(self):
        self.assertEqual(self.send_to_list(individual=True), LIST_SIZE)

    def test_the_connection_can_be_verified(self):
        self.assertEqual(self.mailman.VerifySmtpConnection(), 1)
        self.mailman.SmtpPort = exim_server.free_port()
        self.assertEqual(self.mailman.VerifySmtpConnection(), 0)


QUICK_ADDRESS = "127.0.25.1"


def why_no_quick_send():
    if WHY_NOT:
        return WHY_NOT
    try:
        with socket.socket() as probe:
            probe.setsockopt(socket.SOL_SOCKET, socket.SO_REUSEADDR, 1)
            probe.bind((QUICK_ADDRESS, 25))
    except OSError as error:
        return f"port 25 of {QUICK_ADDRESS} cannot be bound here: {error}"
    return None


WHY_NO_QUICK_SEND = why_no_quick_send()


@unittest.skipIf(WHY_NO_QUICK_SEND, f"QuickSend left out: {WHY_NO_QUICK_SEND}")
class QuickSendTest(unittest.TestCase):
    def test_quick_send_uses_port_25_whatever_is_set(self):
        server = exim_server.EximServer(["ann", "bob"], address=QUICK_ADDRESS, port=25)
        try:
            mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
            mailman.SmtpAuthMethod = "NONE"
            mailman.SmtpPort = 1
            self.assertEqual(mailman.QuickSend("sender@test", "ann@test, Bob <bob@test>", "Quick",
                                               "Hello.\r\n", QUICK_ADDRESS), 1)
            for box in ("ann", "bob"):
                text = lf(server.delivered(box, 1)[0])
                self.assertIn(b"\nSubject: Quick\n", text)
                self.assertTrue(text.endswith(b"\n\nHello.\n\n"))
        finally:
            server.stop()


if __name__ == "__main__":
    unittest.main()
