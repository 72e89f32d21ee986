"""Logging in to a real Exim by each of the four methods: let in, and refused."""

import base64
import os
import sys
import unittest

import quorvel

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import exim_server  # noqa: E402

WHY_NOT = exim_server.why_no_logins()
LONG_NAME = "a.name.of.exactly.forty.characters.12345"
LOGINS = {"ann": "secret", LONG_NAME: "0123456789" * 10}
# By the value of SmtpAuthMethod: the log's "login_method", and what the log says of a wrong password, in order.
METHODS = {
    "LOGIN": ("LOGIN", ["535 Incorrect authentication data", "Failed to get response to login password"]),
    "PLAIN": ("PLAIN", ["535 Incorrect authentication data", "Failed to get response to plain login info"]),
    "CRAM-MD5": ("CRAM_MD5", ["535 Incorrect authentication data", "Failed to get CRAM-MD5 response",
                              "Check your username/password or your SMTP server's auth settings"]),
    "NTLM": ("NTLM", ["Logon denied.  Check username, password, and domain", "NTLM authentication failed"]),
}


@unittest.skipIf(WHY_NOT, f"logging in to Exim left out: {WHY_NOT}")
class EximLoginTest(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.server = exim_server.EximServer(["bob"], logins=LOGINS)

    @classmethod
    def tearDownClass(cls):
        cls.server.stop()

    def mailman(self, method, user, password):
        mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
        mailman.SmtpHost = self.server.address
        mailman.SmtpPort = self.server.port
        mailman.SmtpAuthMethod = method
        mailman.SmtpUsername = user
        mailman.SmtpPassword = password
        mailman.ReadTimeout = 60
        mailman.GetLog().ClearLog()
        return mailman

    def email(self):
        email = quorvel.create("QuorvelMail.QuorvelEmail")
        email.FromAddress = "sender@test"
        email.AddTo("", "bob@test")
        email.Subject = "logged in"
        return email

    def assert_in_order(self, lines, text):
        at = 0
        for line in lines:
            found = text.find(line, at)
            self.assertGreaterEqual(found, 0, f"{line!r} is not in its place in\n{text}")
            at = found + len(line)

    def assert_no_secret(self, log, password):
        text = log.GetXml(1) + log.GetErrorEntries() + log.GetInfoEntries() + log.LastError
        coded = base64.b64encode(password.encode()).decode()
        for secret in (password, coded, password.encode().hex(), "TlRMTVNTUAAD"):
            self.assertNotIn(secret, text)

    def test_each_method_lets_in_and_sends(self):
        for user, password in LOGINS.items():
            for method, (name, _) in METHODS.items():
                with self.subTest(method=method, user=user):
                    mailman = self.mailman(method, user, password)
                    before = self.server.holds("bob")
                    self.assertEqual(mailman.SendEmail(self.email()), 1)
                    self.assert_in_order([f"login_method: {name}", "CONNECTED to ESMTP server",
                                          "Mail sent to 1 recipient"], mailman.GetLog().GetInfoEntries())
                    self.assertEqual(mailman.GetLog().GetErrorEntries(), "")
                    self.assert_no_secret(mailman.GetLog(), password)
                    self.server.delivered("bob", before + 1)
                    # The server knows who sent it.
                    accepted = [line for line in self.server.log().splitlines() if " <= " in line][-1]
                    self.assertIn(f" A={method.lower().removesuffix('-md5')}:{user} ", accepted)

    def test_ntlm_is_preferred_and_takes_a_domain(self):
        mailman = self.mailman("", "ann", "secret")
        mailman.SmtpLoginDomain = "OFFICE"
        self.assertEqual(mailman.VerifySmtpLogin(), 1)
        self.assert_in_order(["domain: OFFICE", "smtp_user: ann", "login_method: NTLM", "CONNECTED to ESMTP server"],
                             mailman.GetLog().GetInfoEntries())

    def test_a_wrong_password_is_refused(self):
        for method, (name, errors) in METHODS.items():
            for user, password in (("ann", "not the secret"), ("stranger", "secret")):
                with self.subTest(method=method, user=user):
                    mailman = self.mailman(method, user, password)
                    self.assertEqual(mailman.VerifySmtpLogin(), 0)
                    log = mailman.GetLog()
                    self.assert_in_order(errors + ["Failed to connect to SMTP server."], log.GetErrorEntries())
                    self.assert_in_order([f"login_method: {name}", f"Failed to login using {method} method"],
                                         log.GetInfoEntries())
                    self.assert_no_secret(log, password)
                    with self.assertRaises(quorvel.Error) as caught:
                        mailman.SendEmail(self.email())
                    self.assertIn("Failed to connect to SMTP server.", str(caught.exception))
                    self.assertNotIn(password, str(caught.exception))

    def test_without_a_login_the_message_goes_all_the_same(self):
        before = self.server.holds("bob")
        self.assertEqual(self.mailman("NONE", "ann", "wrong").SendEmail(self.email()), 1)
        self.server.delivered("bob", before + 1)


if __name__ == "__main__":
    unittest.main()
