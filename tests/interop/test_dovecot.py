"""The component reads and empties mailboxes of a real Dovecot, which a real Exim delivered into."""

import os
import smtplib
import sys
import tempfile
import unittest

import quorvel

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import dovecot_server  # noqa: E402
import exim_server  # noqa: E402

WHY_NOT = exim_server.why_not() or dovecot_server.why_not()
MANY = 500
LARGE = 50 << 20
# Mailboxes by the test that uses them up, and how many messages each gets.
BOXES = {"copied": 6, "transferred": 6, "emptied": 6, "one": 3, "many": MANY, "large": 0, "empty": 0}


def message(mailbox, number):
    """Odd numbers are reports; every third message has lines that begin with dots and ends with empty lines."""
    kind = "report" if number % 2 else "letter"
    body = f"Body of {number}\r\n" + (".\r\n..two\r\n.x\r\n\r\n\r\n" if number % 3 == 0 else "")
    return (f"From: Sender {number} <sender{number}@test>\r\nTo: {mailbox}@test\r\nSubject: {kind} {number}\r\n"
            f"X-Number: {number}\r\n\r\n{body}")


def subjects(bundle):
    return [bundle.GetEmail(i).Subject for i in range(bundle.MessageCount)]


def texts(array):
    return [array.GetString(i) for i in range(array.Count)]


def array_of(values):
    array = quorvel.create("QuorvelMail.QvStringArray")
    for value in values:
        array.Append(value)
    return array


@unittest.skipIf(WHY_NOT, f"interoperability with Dovecot left out: {WHY_NOT}")
class DovecotTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.exim = exim_server.EximServer(list(BOXES))
        cls.addClassCleanup(cls.exim.stop)
        with smtplib.SMTP(cls.exim.address, cls.exim.port) as smtp:
            for mailbox, count in BOXES.items():
                for number in range(1, count + 1):
                    smtp.sendmail("sender@test", [f"{mailbox}@test"], message(mailbox, number))
        for mailbox, count in BOXES.items():
            if count:
                cls.exim.delivered(mailbox, count, seconds=180)
        cls.dovecot = dovecot_server.DovecotServer(cls.exim)
        cls.addClassCleanup(cls.dovecot.stop)

    def mailman(self, mailbox, password="secret"):
        mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
        mailman.MailHost = self.dovecot.address
        mailman.MailPort = self.dovecot.port
        mailman.PopUsername = mailbox
        mailman.PopPassword = password
        mailman.ConnectTimeout = 20
        mailman.ReadTimeout = 60
        mailman.GetLog().ClearLog()
        return mailman

    def numbers_of(self, bundle):
        return sorted(int(subject.split()[1]) for subject in subjects(bundle))

    def test_copies_and_fetches(self):
        mailman = self.mailman("copied")
        self.assertEqual((mailman.VerifyPopConnection(), mailman.VerifyPopLogin()), (1, 1))
        self.assertEqual(mailman.CheckMail(), 6)
        uidls = texts(mailman.GetUidls())
        self.assertEqual(len(set(uidls)), 6)

        percent = []
        token = mailman.connect(lambda sender, kind, done, _: percent.append((sender, kind, done)))
        with tempfile.TemporaryDirectory() as folder:
            mailman.LogMailReceivedFilename = os.path.join(folder, "journal")
            bundle = mailman.CopyMail()
            with open(mailman.LogMailReceivedFilename, newline="") as journal:
                self.assertEqual(journal.read().count("--BEGIN RECEIVED QUORVEL EMAIL--\n"), 6)
            mailman.LogMailReceivedFilename = ""
        mailman.disconnect(token)
        self.assertEqual(percent[-1], (102, 1, 100))
        self.assertEqual(self.numbers_of(bundle), [1, 2, 3, 4, 5, 6])
        self.assertEqual([bundle.GetEmail(i).ServerUidl for i in range(6)], uidls)
        self.assertEqual(texts(bundle.GetUidls()), uidls)
        for i in range(6):
            email = bundle.GetEmail(i)
            number = int(email.GetHeaderField("X-Number"))
            expected = f"Body of {number}\r\n" + (".\r\n..two\r\n.x\r\n" if number % 3 == 0 else "")
            self.assertEqual(email.Body.rstrip("\r\n"), expected.rstrip("\r\n"))
            self.assertEqual(email.FromAddress, f"sender{number}@test")

        headers = mailman.GetAllHeaders(1)
        self.assertEqual(subjects(headers), subjects(bundle))
        self.assertEqual(subjects(mailman.GetHeaders(1, 2, 3)), subjects(bundle)[2:4])
        self.assertEqual(subjects(mailman.GetHeaders(1, 4, 99)), subjects(bundle)[4:])
        third = headers.GetEmail(2)
        self.assertEqual(mailman.GetFullEmail(third).Body, bundle.GetEmail(2).Body)
        self.assertEqual(mailman.FetchEmail(uidls[5]).Subject, subjects(bundle)[5])
        self.assertIsNone(mailman.FetchEmail("no such id"))
        several = mailman.FetchMultiple(array_of([uidls[4], "none", uidls[0]]))
        self.assertEqual(subjects(several), [subjects(bundle)[0], subjects(bundle)[4]])
        self.assertEqual(mailman.CheckMail(), 6)

    def test_transfers_what_the_filter_keeps(self):
        mailman = self.mailman("transferred")
        mailman.Filter = 'Subject like "report*" and not (X-Number = "3")'
        self.assertEqual(self.numbers_of(mailman.CopyMail()), [1, 5])
        mailman.MaxCount = 6
        self.assertEqual(self.numbers_of(mailman.TransferMail()), [1, 5])
        mailman.Filter = ""
        self.assertEqual(self.numbers_of(mailman.CopyMail()), [2, 3, 4, 6], "what was rejected is still there")
        mailman.MaxCount = 1
        self.assertEqual(mailman.TransferMail().MessageCount, 1)
        self.assertEqual(mailman.CheckMail(), 3)

    def test_deletions_survive_a_new_connection(self):
        mailman = self.mailman("emptied")
        bundle = mailman.CopyMail()
        uidls = texts(mailman.GetUidls())
        mailman.DeleteEmail(bundle.GetEmail(0))
        self.assertEqual(texts(self.mailman("emptied").GetUidls()), uidls[1:])
        mailman.DeleteMultiple(array_of([uidls[2], "none", uidls[1]]))
        self.assertEqual(texts(self.mailman("emptied").GetUidls()), uidls[3:])
        mailman.DeleteBundle(bundle)
        self.assertEqual(self.mailman("emptied").CheckMail(), 0)
        self.assertEqual(mailman.TransferMail().MessageCount, 0)
        self.assertIn("No messages found on the POP3 server.", mailman.GetLog().GetInfoEntries())

    def test_refusals(self):
        mailman = self.mailman("one", password="wrong-password")
        with self.assertRaises(quorvel.Error) as raised:
            mailman.CheckMail()
        self.assertIn("Failed to login to POP3 server: login name and/or password is invalid", str(raised.exception))
        self.assertIsNone(mailman.TransferMail())
        self.assertEqual((mailman.VerifyPopConnection(), mailman.VerifyPopLogin()), (1, 0))
        mailman.PopUsername = "one\r\nDELE 1"
        self.assertEqual(mailman.VerifyPopLogin(), 0)
        self.assertNotIn("wrong-password", mailman.GetLog().GetXml(0) + str(raised.exception))
        self.assertEqual(self.mailman("one").CheckMail(), 3)
        self.assertEqual(self.mailman("empty").CheckMail(), 0)

    def test_a_mailbox_of_many_messages(self):
        mailman = self.mailman("many")
        headers = mailman.GetAllHeaders(0)
        self.assertEqual(self.numbers_of(headers), list(range(1, MANY + 1)))
        mailman.Filter = 'X-Number like "4*"'
        kept = mailman.TransferMail()
        expected = [number for number in range(1, MANY + 1) if str(number).startswith("4")]
        self.assertEqual(self.numbers_of(kept), expected)
        self.assertEqual(mailman.CheckMail(), MANY - len(expected))
        mailman.Filter = ""
        self.assertEqual(mailman.TransferMail().MessageCount, MANY - len(expected))
        self.assertEqual(mailman.CheckMail(), 0)

    def test_a_large_message(self):
        line = "0123456789" * 7 + "\r\n"
        body = line * (LARGE // len(line))
        sender = quorvel.create("QuorvelMail.QuorvelMailMan")
        sender.SmtpHost, sender.SmtpPort, sender.SmtpAuthMethod = self.exim.address, self.exim.port, "NONE"
        email = quorvel.create("QuorvelMail.QuorvelEmail")
        email.FromAddress, email.Subject, email.Body = "sender@test", "large", body
        email.AddTo("", "large@test")
        self.assertEqual(sender.SendEmail(email), 1)
        self.exim.delivered("large", 1, seconds=120)
        bundle = self.mailman("large").TransferMail()
        self.assertEqual(bundle.MessageCount, 1)
        self.assertEqual(bundle.GetEmail(0).Body.rstrip("\r\n") == body.rstrip("\r\n"), True)
        self.assertEqual(self.mailman("large").CheckMail(), 0)


if __name__ == "__main__":
    unittest.main()
