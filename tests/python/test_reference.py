"""The reference pages are those of the library's table of members, and tell of every member what is so."""
import os
import pathlib
import re
import sys
import tempfile
import unittest

import quorvel
from quorvel._members import KIND_NAMES, interfaces

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "scripts"))

import make_reference  # noqa: E402
import member_docs  # noqa: E402

GIVEN_NOTHING = ROOT / "tests" / "data" / "members_given_nothing.txt"

# What the sources can log, and nothing that a host does brings about.
NEVER_HAPPENS = [
    "Cannot delete file",  # the component deletes no file
    "Cannot delete file, file does not exist",
    "Cannot delete file, filename is null or empty",
    "NULL value passed to addCertificate",
    "addCertificate internal error",
    "Not a name of a registry key",
    "createDetachedSignature.1: Email address is NULL",
    "Failed to get encoded certificate: no encoded data found within cert context",
    "(addWithKey)",
]

# What fails in other ways than by being given nothing. Files that are not there; nobody listens at the port 1.
SET_UP = """
mailman, email, bundle, uidls = new("MailMan"), new("Email"), new("EmailBundle"), new("QvStringArray")
zip, closed, cert, store = new("Zip"), new("Zip"), new("Cert"), new("CertStore")
mailman.SmtpHost, mailman.SmtpPort = "127.0.0.1", 1
mailman.MailHost, mailman.MailPort, mailman.PopUsername = "127.0.0.1", 1, "ann"
pathlib.Path("text.txt").write_text("hello")
both, attached = new("Email"), new("Email")
both.AddHtmlAlternativeBody("x")
attached.AddFileAttachment("text.txt")
bundle.AddEmail(email)
uidls.Append("1")
zip.Create("some.zip")
entry = zip.AppendEmail(email)
zip.Close()
"""
FAILURES = """
email.AddTo("Ann", "<>")
email.AddMultipleBcc("nobody")
email.AddFileAttachment("nothing")
email.AddFileAttachment2("nothing", "text/plain")
email.AddRelatedContent("nothing")
attached.GetAttachmentData(1)
attached.GetAttachmentStringCrLf(-1)
attached.SaveAttachedFile(0, "text.txt")
attached.SaveAttachedFile(0, "")
attached.SaveAllAttachments("text.txt/x")
attached.SaveRelatedItem(7, "")
attached.GetRelatedFilename(0)
email.AppendToZip(closed)
both.GetAlternativeBody(2)
both.GetAlternativeContentType(-1)
attached.GetHtmlBody()
email.SaveXml("no/folder")
email.SaveEml("no/folder")
email.LoadEml("nothing")
email.GetFileContent("nothing")
email.AddHeaderField("A B", "x")
both.AddHeaderField("Content-Type", "text/plain")
email.SetSigningCert(cert)
email.SetEncryptCert(cert)
cert.LoadFromFile("text.txt")
cert.LoadFromBase64("-----BEGIN CERTIFICATE-----")
cert.LoadFromBinary(b"x")
cert.SetFromEncoded("x")
uidls.AppendSerialized("%x")
bundle.SaveXml("no/folder")
zip.Open("nothing")
zip.Open("text.txt")
zip.AppendEmail(email)
entry.GetEmail()
mailman.SendEmail(email)
mailman.SendBundle(bundle)
mailman.QuickSend("ann@h", "bob@h", "s", "b", "127.0.0.1\\n")
mailman.VerifySmtpLogin()
mailman.VerifySmtpConnection()
mailman.CopyMail()
mailman.TransferMail()
mailman.GetAllHeaders(1)
mailman.GetHeaders(1, 0, 0)
mailman.CheckMail()
mailman.GetUidls()
mailman.FetchEmail("1")
mailman.FetchMultiple(uidls)
mailman.GetFullEmail(email)
mailman.DeleteEmail(email)
mailman.VerifyPopConnection()
mailman.VerifyPopLogin()
mailman.LoadMbx("nothing")
mailman.LoadXmlFile("nothing")
mailman.LoadXmlString("no element")
mailman.SendViaOutlook(email)
mailman.SaveXmlLog("no/folder")
store.Open("nowhere")
"""


def new(name):
    return quorvel.create("QuorvelMail." + ("" if name.startswith("Qv") else "Quorvel") + name)


class Reference(unittest.TestCase):
    def setUp(self):
        self.maxDiff = None
        self.interfaces = interfaces()
        self.texts = member_docs.read_all(self.interfaces)

    def test_pages_are_up_to_date(self):
        outdated = make_reference.outdated(make_reference.pages())
        self.assertEqual(outdated, [], "run ./dev python scripts/make_reference.py")

    def test_every_member_has_an_entry_with_all_its_lines(self):
        self.assertEqual(member_docs.faults(self.interfaces, self.texts), [])

    def test_what_is_missing_is_found(self):
        [interface] = [each for each in self.interfaces if each.name == "IQuorvelZip4"]
        _, entries = self.texts[interface.name]
        self.texts[interface.name] = ("", [each for each in entries if each.title != "Close"])
        entries[-1].lines = [line for line in entries[-1].lines if line.key not in ("email", "fails")]
        self.assertEqual(member_docs.faults([interface], self.texts), [
            "IQuorvelZip4.Close: 0 entries instead of one",
            "IQuorvelZip4, AppendEmail: there is no line 'email'",
            "IQuorvelZip4, AppendEmail: there is no line 'fails'",
            "IQuorvelZip4, AppendEmail: what happens when email is null?"])

    def test_messages_are_those_of_the_sources(self):
        sources = member_docs.SourceTexts()
        quoted = member_docs.quoted(self.texts)
        self.assertEqual([message for message in sorted(quoted) if not sources.has(message)], [])
        self.assertEqual(sources.undocumented(quoted | set(NEVER_HAPPENS)), [])
        self.assertEqual([each for each in NEVER_HAPPENS if each not in sources.logged], [], "no longer in the sources")
        self.assertFalse(sources.has("Send has failed."))
        keys = member_docs.data_keys(self.texts)
        self.assertGreater(len(keys), 50)
        self.assertEqual(keys - sources.pieces, set())

    def test_what_is_said_is_what_members_do_when_they_are_given_nothing(self):
        """Against the rows of tests/data, which another test holds the library to: interface, id, kind, name | result |
        the context that is opened | the errors that are logged, "failed: " before those that are reported."""
        by_name = {each.name: each for each in self.interfaces}
        for row in GIVEN_NOTHING.read_text(encoding="utf-8").splitlines():
            if row.startswith("#"):
                continue
            who, *_, context, errors = (field.strip() for field in row.split(" | "))
            interface, _, kind, name = who.split()
            if interface not in by_name:
                continue
            entry = member_docs.entry_of(self.texts[interface][1], name)
            with self.subTest(member=f"{interface} {kind} {name}"):
                if interface != "IQuorvelCert":  # the rows tell of its own log, in which there are no contexts
                    self.check_context(entry, name, context)
                if errors != "-":
                    self.check_errors(entry, errors)

    def check_context(self, entry, name, context):
        if context in ("", "-"):
            self.assertIn("nothing", entry.log)
        else:
            self.assertIn(context, entry.contexts(name))

    def check_errors(self, entry, errors):
        outcome = "reported" if errors.startswith("failed: ") else "quiet"
        self.check_failure(entry, errors.removeprefix("failed: ").split("; "), outcome)

    def check_failure(self, entry, logged, outcome):
        documented = member_docs.logged_by(entry, self.texts)
        for message in logged:
            self.assertTrue(any(member_docs.matches(message, each) for each in documented), message)
        outcomes = {failure.outcome for failure in entry.failures
                    if failure.messages == "what the session logged"
                    or any(member_docs.matches(message, each) for message in logged
                           for each in member_docs.messages_in(failure.messages))}
        self.assertEqual(outcomes, {outcome})

    def test_what_is_said_is_how_members_fail(self):
        log = quorvel.create("QuorvelMail.QuorvelMailMan").GetLog()
        with tempfile.TemporaryDirectory() as folder:
            self.addCleanup(os.chdir, os.getcwd())
            os.chdir(folder)
            objects = {"new": new, "pathlib": pathlib}
            exec(SET_UP, objects)
            for call in FAILURES.strip().splitlines():
                log.ClearLog()
                outcome = "quiet"
                try:
                    eval(call, objects)
                except quorvel.Error:
                    outcome = "reported"
                log.LineFormat = "%m"
                errors = log.GetErrorEntries().splitlines()
                with self.subTest(call=call):
                    self.assertTrue(errors)
                    self.check_failure(self.entry_of_call(call, objects), errors, outcome)

    def entry_of_call(self, call, objects):
        name, member = re.match(r"(\w+)\.(\w+)", call).groups()
        [row] = [each for each in objects[name]._members.all if each.name == member]
        return member_docs.entry_of(self.texts[row.interface][1], member)

    def test_rows_tell_of_every_member(self):
        told = {tuple(line.split(" | ")[0].split()) for line in GIVEN_NOTHING.read_text().splitlines()}
        for interface in self.interfaces:
            if interface.name == "IQuorvelOutgoing":  # a host's
                continue
            for member in interface.members:
                self.assertIn((interface.name, str(member.id), KIND_NAMES[member.kind], member.name), told)


if __name__ == "__main__":
    unittest.main()
