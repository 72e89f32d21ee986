"""Mailings through a real Exim: bundles on one connection, letters to many, and replies to what a real Dovecot gave."""

import os
import re
import subprocess
import sys
import tempfile
import unittest

import quorvel

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import dovecot_server  # noqa: E402
import exim_server  # noqa: E402

WHY_NOT = exim_server.why_not()
TOOL = os.environ.get("QUORVEL_TOOL")
BUNDLE = 200
MEMBERS = 250
REFUSED = {7, 8, 100, 249}  # of the members; the server knows no such mailboxes
NAMES = ["Zo\u00eb", "J\u00f6rg", "Ann", "Bob", "%NUMBER%"]


def member(number):
    return f"member{number:03d}"


def name_of(number):
    return f"{NAMES[number % len(NAMES)]} {number}"


def lf(text):
    return text.replace(b"\r\n", b"\n")


def new(name):
    return quorvel.create("QuorvelMail.Quorvel" + name)


class MailingTest(unittest.TestCase):
    def setUp(self):
        self.exim = exim_server.EximServer(["bundle", "ann", "bob"] +
                                           [member(n) for n in range(MEMBERS) if n not in REFUSED])
        self.addCleanup(self.exim.stop)
        self.mailman = new("MailMan")
        self.mailman.SmtpHost, self.mailman.SmtpPort = self.exim.address, self.exim.port
        self.mailman.SmtpAuthMethod = "NONE"
        self.mailman.ReadTimeout = 60
        self.mailman.GetLog().ClearLog()

    def email(self, to, subject, body):
        email = new("Email")
        email.From = "Sender <sender@test>"
        email.Subject, email.Body = subject, body
        self.assertEqual(email.AddTo("", to), 1)
        return email

    def ports_of_clients(self):
        """The client's port of each message that was accepted: the same one on the same connection."""
        return [re.search(r"\[127\.0\.0\.1\]:(\d+) ", line).group(1)
                for line in self.exim.log().splitlines() if " <= sender@test" in line]


@unittest.skipIf(WHY_NOT, f"mailings through Exim left out: {WHY_NOT}")
class BundleTest(MailingTest):
    def test_a_bundle_goes_out_on_one_connection(self):
        bundle = new("EmailBundle")
        for n in range(BUNDLE):
            bundle.AddEmail(self.email("bundle@test", f"letter {n}", f"This is letter {n}.\r\n.\r\n"))
        self.assertEqual(self.mailman.SendBundle(bundle), 1)
        texts = [lf(text) for text in self.exim.delivered("bundle", BUNDLE, seconds=180)]
        for n in range(BUNDLE):
            own = [text for text in texts if f"\nSubject: letter {n}\n".encode() in text]
            self.assertEqual(len(own), 1)
            self.assertIn(f"\n\nThis is letter {n}.\n.\n".encode(), own[0])
        ports = self.ports_of_clients()
        self.assertEqual((len(ports), len(set(ports))), (BUNDLE, 1), "messages, connections")

    def test_what_is_refused_does_not_end_the_session(self):
        bundle = new("EmailBundle")
        for n in range(20):
            bundle.AddEmail(self.email("nobody@test" if n % 3 == 0 else "bundle@test", f"letter {n}", "x\r\n"))
        self.mailman.SendBundle(bundle)
        wanted = [n for n in range(20) if n % 3]
        texts = self.exim.delivered("bundle", len(wanted), seconds=60)
        found = sorted(int(re.search(rb"Subject: letter (\d+)", text).group(1)) for text in texts)
        self.assertEqual(found, wanted)
        self.assertEqual(len(set(self.ports_of_clients())), 1)
        self.assertEqual(self.mailman.GetLog().GetErrorEntries().count("Failed when sending RCPT TO:<nobody@test>"), 7)


@unittest.skipIf(WHY_NOT, f"mailings through Exim left out: {WHY_NOT}")
class MergeTest(MailingTest):
    def assert_refused_are_told(self):
        told = set(re.findall(r"Failed when sending RCPT TO:<(\w+)@test>", self.mailman.GetLog().GetErrorEntries()))
        self.assertEqual(told, {member(n) for n in REFUSED})
        self.assertEqual(sum(self.exim.holds(member(n)) for n in REFUSED), 0)

    def test_a_letter_to_each_member_has_what_is_theirs(self):
        email = self.email("%BOX%@test", "For %NAME%", "Dear %NAME%,\r\nyour number is %NUMBER%.\r\n.\r\n")
        email.AddHeaderField("Content-Type", "text/plain; charset=utf-8")
        sent = []
        for n in range(MEMBERS):
            for pattern, text in (("%BOX%", member(n)), ("%NUMBER%", str(n)), ("%NAME%", name_of(n))):
                email.SetReplacePattern(pattern, text)
            try:
                sent.append(self.mailman.SendEmail(email))
            except quorvel.Error as error:
                self.assertIn(member(n), str(error))
                sent.append(0)
        self.assertEqual(sent, [int(n not in REFUSED) for n in range(MEMBERS)])
        for n in set(range(MEMBERS)) - REFUSED:
            text = lf(self.exim.delivered(member(n), 1)[0])
            self.assertIn(f"\n\nDear {name_of(n)},\nyour number is {n}.\n.\n".encode(), text)
            self.assertIn(f"\nTo: {member(n)}@test\n".encode(), text)
            self.assertEqual(text.count(b"member"), text.count(member(n).encode()), "another member is shown")
        self.assert_refused_are_told()

    def test_a_list_reaches_all_but_the_refused(self):
        with tempfile.NamedTemporaryFile("w", suffix=".txt") as people:
            people.write("".join(f"{member(n)}@test\n" for n in range(MEMBERS)))
            people.flush()
            email = new("Email")
            email.From, email.Subject, email.Body = "sender@test", "%WHAT%", "Dear member, %WHAT%\r\n"
            email.FileDistList = people.name
            email.SetReplacePattern("%WHAT%", "news")
            self.mailman.SendIndividual = 1
            self.assertEqual(self.mailman.SendEmail(email), 1)
        for n in set(range(MEMBERS)) - REFUSED:
            text = lf(self.exim.delivered(member(n), 1)[0])
            self.assertIn(f"\nTo: {member(n)}@test\n".encode(), text)
            self.assertIn(b"\nSubject: news\n", text)
            self.assertIn(b"\n\nDear member, news\n", text)
            self.assertNotIn(b"QVX-", text)
        self.assertEqual(len(set(self.ports_of_clients())), 1)
        self.assert_refused_are_told()


WHY_NO_REPLIES = WHY_NOT or dovecot_server.why_not()


@unittest.skipIf(WHY_NO_REPLIES, f"replies to what Dovecot gave left out: {WHY_NO_REPLIES}")
class ReplyTest(MailingTest):
    def fetched(self, mailbox):
        reader = new("MailMan")
        reader.MailHost, reader.MailPort = self.dovecot.address, self.dovecot.port
        reader.PopUsername, reader.PopPassword = mailbox, "secret"
        bundle = reader.CopyMail()
        return [bundle.GetEmail(n) for n in range(bundle.MessageCount)]

    def test_replies_reach_who_wrote(self):
        self.dovecot = dovecot_server.DovecotServer(self.exim)
        self.addCleanup(self.dovecot.stop)
        bodies = ["plain\r\n", "two\r\n.\r\n..lines\r\n", "Gr\u00fc\u00dfe\r\n" + "x" * 900 + "\r\nFrom here\r\n", ""]
        for n, body in enumerate(bodies):
            email = self.email("ann@test", f"question {n}", body)
            email.From = "Bob B\u00f6hm <bob@test>"
            email.AddCC("", "bundle@test")
            if n == 1:
                email.AddHeaderField("References", "<first@test> <second@test>")
            self.assertEqual(self.mailman.SendEmail(email), 1)
        self.exim.delivered("ann", len(bodies))
        questions = self.fetched("ann")
        self.assertEqual(len(questions), len(bodies))
        for question in questions:
            reply = question.CreateReply()
            reply.From = "ann@test"
            reply.Body = "My answer.\r\n" + reply.Body
            self.assertEqual(self.mailman.SendEmail(reply), 1)
        self.exim.delivered("bob", len(bodies))
        self.assertEqual(self.exim.holds("bundle"), len(bodies), "a reply is for the sender alone")
        answers = {answer.Subject: answer for answer in self.fetched("bob")}
        for question in questions:
            answer = answers["RE: " + question.Subject]
            self.assertEqual((answer.FromAddress, answer.NumTo, answer.NumCC), ("ann@test", 1, 0))
            self.assertIn("bob@test", answer.GetTo(0))
            self.assertTrue(answer.Body.startswith("My answer.\r\n"))
            for line in question.Body.split("\r\n"):
                self.assertIn(line, answer.Body)
            self.assertNotEqual(answer.GetHeaderField("Message-ID"), question.GetHeaderField("Message-ID"))

    @unittest.skipUnless(TOOL, "QUORVEL_TOOL does not say where the program is")
    def test_the_program_continues_the_thread(self):
        self.dovecot = dovecot_server.DovecotServer(self.exim)
        self.addCleanup(self.dovecot.stop)
        for n, references in enumerate(("", "<first@test> <second@test>")):
            email = self.email("ann@test", f"question {n}", "What?\r\n")
            email.From = "bob@test"
            if references:
                email.AddHeaderField("References", references)
            self.assertEqual(self.mailman.SendEmail(email), 1)
        self.exim.delivered("ann", 2)
        with tempfile.TemporaryDirectory() as folder:
            pop, smtp = (f"{server.address}:{server.port}" for server in (self.dovecot, self.exim))
            self.quorvel("fetch", "--server", pop, "--user", "ann", "--password-fd", "0", "--to", folder, said=b"secret")
            for name in os.listdir(folder):
                self.quorvel("reply", os.path.join(folder, name), "--server", smtp, "--from", "ann@test", "--body", "Yes.")
        self.exim.delivered("bob", 2)
        answers = {answer.Subject: answer for answer in self.fetched("bob")}
        for question in self.fetched("ann"):
            answer = answers["RE: " + question.Subject]
            asked = question.GetHeaderField("Message-ID")
            self.assertEqual(answer.GetHeaderField("In-Reply-To"), asked)
            thread = re.findall("<.*?>", question.GetHeaderField("References")) + [asked]
            self.assertEqual(re.findall("<.*?>", answer.GetHeaderField("References")), thread)

    def quorvel(self, *command, said=b""):
        result = subprocess.run([TOOL, *command], input=said, capture_output=True, timeout=60)
        self.assertEqual(result.returncode, 0, result.stderr)


if __name__ == "__main__":
    unittest.main()
