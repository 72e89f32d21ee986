"""Every member of every interface at work: what a host gets from it when it is used as it is meant to be.

What members do with nothing is in tests/data/members_given_nothing.txt; what they do with bad input, in the tests of
their own.
"""
import base64
import datetime
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest
from unittest import mock

import quorvel
from quorvel import _members, _objects
from smtp_server import SmtpServer

TESTS = pathlib.Path(__file__).resolve().parent.parent
sys.path.insert(0, str(TESTS / "tools"))
from program import PopServer  # noqa: E402

OPENSSL = shutil.which("openssl")
SUBJECT = "/C=DE/ST=Bayern/L=Fürth/O=Ex/OU=Post/CN=Me Roe/emailAddress=me@example.org"
PURPOSES = "extendedKeyUsage=emailProtection,serverAuth,clientAuth,codeSigning,timeStamping"
MOMENT = datetime.datetime(2002, 3, 5, 19, 3, 7)
NOBODY = "Failed to connect\nFailed to connect to SMTP server."
NO_WATCH = "This method is no longer available and is not supported."
HTML = "<html><body>it <b>works</b></body></html>"


class Failure(str):
    """How the error report of what always fails reads."""


# Statements of a host in their order, each with what it gives: a value, or the pattern of a text (objects are shown
# as "<quorvel CLASS NUMBER>"). Assignments and methods without a result give None.

EMAIL = [
    ("email.From = 'Me <me@example.org>'", None), ("email.From", '"Me" <me@example.org>'),
    ("email.FromName = ' Me Roe '", None), ("email.FromName", "Me Roe"),
    ("email.FromAddress = 'roe@example.org'", None), ("email.FromAddress", "roe@example.org"),
    ("email.Subject = '=?utf-8?Q?Gr=C3=BC=C3=9Fe?='", None), ("email.Subject", "Grüße"),
    ("email.Body = 'a\\nb'", None), ("email.Body", "a\r\nb"),
    ("email.ReplyTo = ' r@h '", None), ("email.ReplyTo", "r@h"),
    ("email.Mailer", re.compile("^QuorvelMail 2")), ("email.Mailer = ''", None), ("email.Mailer", ""),
    ("email.Mailer = 'mine'", None), ("email.Mailer", "mine"),
    ("email.AddTo('Ann', 'ann@h')", 1), ("email.AddMultipleTo('b@h, Cy <c@h>')", 1), ("email.NumTo", 3),
    ("email.GetTo(2)", '"Cy" <c@h>'),
    ("email.AddCC('', 'd@h')", 1), ("email.AddMultipleCC('e@h')", 1), ("email.NumCC", 2), ("email.GetCC(1)", "e@h"),
    ("email.AddBcc('F', 'f@h')", 1), ("email.AddMultipleBcc('g@h,h@h')", 1), ("email.NumBcc", 3),
    ("email.GetBcc(0)", '"F" <f@h>'),
    ("email.GetHeaderField(' to ')", '"Ann" <ann@h>,\r\n b@h,\r\n "Cy" <c@h>'),
    ("email.AddHeaderField('X-Own', 'v')", None), ("email.GetHeaderField('x-own')", "v"),
    ("email.NumHeaderFields()", 13), ("email.GetHeaderFieldName(12)", "X-Own"),
    ("email.RawHeader", re.compile(r"^MIME-Version: 1\.0\r\n(.*\r\n)*X-Own: v$")),
    ("email.RawHeader = 'X: y'", Failure("This is not supported.")),
    ("email.AddHeaderField('Date', 'Tue, 05 Mar 2002 14:03:07 -0500')", None),
    ("email.EmailDate", MOMENT), ("email.EmailDate = MOMENT.replace(year=2003)", None), ("email.EmailDate", MOMENT),
    ("abs(email.LocalDate - MOMENT) <= datetime.timedelta(hours=14)", True),
    ("email.LocalDate = MOMENT", Failure("Not supported.")),
    ("email.GenerateFilename()", re.compile(r"^roe@example\.org_20020305_190307_[0-9a-f]{1,4}\.qve$")),
    ("email.Size > len(email.RawHeader)", True),
    ("email.AddHeaderField('QVX-ReturnReceipt', 'yes')", None), ("email.ReturnReceipt", 0),
    ("email.ReturnReceipt = 5", None), ("email.ReturnReceipt", 1), ("email.GetHeaderField('qvx-returnreceipt')", "YES"),
    ("email.ReturnReceipt = 0", None), ("email.GetHeaderField('QVX-ReturnReceipt')", ""),
    ("email.FileDistList = '/list'", None), ("email.FileDistList", "/list"), ("email.FileDistList = ''", None),
    ("email.OutlookDistList = 'all'", None), ("email.GetHeaderField('QVX-OutlookDistList')", "all"),
    ("email.OutlookDistList", "all"),
    ("email.GetMime()", re.compile(r"\r\nX-Own: v\r\n(.*\r\n)*\r\na\r\nb$")),
    ("email.GetXml()", re.compile(r"^<mime_message>\n(.|\n)*<x-own>v</x-own>\n(.|\n)*</mime_message>\n$")),
    ("email.SaveXml(' ' + file('m.xml') + ' ')", None),
    ("read('m.xml')", re.compile(rb'^<\?xml version="1.0" encoding="ISO-8859-1" \?>\n<mime_message>\n')),
    ("email.SaveEml(file('m.eml'))", 1), ("other.LoadEml(file('m.eml'))", 1), ("other.Subject", "Grüße"),
    ("other.LoadMime('X-UIDL: 7\\r\\nSubject: s\\r\\n\\r\\nx')", 1), ("other.Uidl + other.Subject", "7s"),
    ("email.GetImpl() != other.GetImpl()", True),
    ("email.ClearTo()", None), ("email.ClearCC()", None), ("email.ClearBcc()", None),
    ("(email.NumTo, email.NumCC, email.NumBcc, email.GetHeaderField('To'))", (0, 0, 0, "")),
]

PARTS = [
    ("email.Body = 'plain'", None), ("email.AddHtmlAlternativeBody(HTML)", None), ("email.NumAlternatives", 2),
    ("email.GetAlternativeContentType(1)", "text/html"), ("email.GetAlternativeBody(1)", HTML),
    ("email.AddPlainTextAlternativeBody('plainer')", None), ("email.GetPlainTextBody()", "plainer"),
    ("email.SetHtmlBody('<b>bold</b>')", None), ("email.GetHtmlBody()", "<b>bold</b>"),
    ("email.AddRelatedContent(file('logo.gif'))", re.compile("^QUORVEL-CID-[0-9a-f-]{36}$")),
    ("email.NumRelatedItems", 1),
    ("email.GetRelatedData(0)", b"GIF89a"),
    ("email.GetRelatedString(0)", "GIF89a"), ("email.GetRelatedStringCrLf(0)", "GIF89a"),
    ("email.GetRelatedContentID(0)", re.compile("^<QUORVEL-CID-.*>$")),
    ("email.SaveRelatedItem(0, file('out'))", 1), ("read('out/logo.gif')", b"GIF89a"),
    ("email.AddFileAttachment(file('notes.txt'))", "text/plain"),
    ("email.AddFileAttachment2(file('notes.txt'), 'text/csv')", None), ("email.NumAttachments", 2),
    ("email.GetAttachmentFilename(0)", "notes.txt"), ("email.SetAttachmentFilename(0, 'n.txt')", 1),
    ("email.GetAttachmentFilename(0)", "n.txt"), ("email.GetAttachmentData(0)", b"1\r\n2\n"),
    ("email.GetAttachmentString(0)", "1\n2\n"), ("email.GetAttachmentStringCrLf(0)", "1\r\n2\r\n"),
    ("'text/csv' in email.GetMime()", True),
    ("email.SaveAttachedFile(0, file('out'))", 1), ("read('out/n.txt')", b"1\r\n2\n"),
    ("email.SaveAllAttachments(file('all'))", 1), ("sorted(os.listdir(file('all')))", ["n.txt", "notes.txt"]),
    ("email.DropSingleAttachment(0)", 1), ("email.GetAttachmentFilename(0)", "notes.txt"),
    ("email.DropAttachments()", None), ("email.NumAttachments", 0),
    ("email.GetFileContent(file('notes.txt'))", "1\r\n2\n"),
    ("email.LoadMime(in_parts('related'))", 1), ("email.GetRelatedFilename(0)", "n.png"),
    ("email.LoadMime(in_parts('mixed'))", 1), ("email.GetAttachmentContentID(0)", "<7>"),
]

COPIES = [
    ("email.LoadMime('From: Ann <ann@h>\\r\\nTo: b@h\\r\\nSubject: s\\r\\n\\r\\nx')", 1),
    ("email.SetReplacePattern('x', 'y')", 1), ("email.SetReplacePattern('s', 't')", 1),
    ("email.NumReplacePatterns", 2), ("email.GetReplacePattern(1)", "s"), ("email.GetReplaceString(1)", "t"),
    ("email.GetReplaceString2('x')", "y"),
    ("email.Clone().GetMime() == email.GetMime()", True),
    ("email.CreateReply().Subject", "RE: s"), ("email.CreateReply().GetTo(0)", '"Ann" <ann@h>'),
    ("email.CreateForward().Subject", "FW: s"), ("email.CreateForward().NumTo", 0),
    ("bundle.AddEmail(email)", 1), ("bundle.AddEmail(email)", 1), ("bundle.MessageCount", 2),
    ("bundle.GetEmail(1) == email", True), ("bundle.RemoveEmail(email)", 1), ("bundle.MessageCount", 1),
    ("email.AddHeaderField('X-UIDL', 'id-7')", None), ("texts(bundle.GetUidls())", ["id-7"]),
    ("bundle.GetXml()", re.compile("^<email_bundle>\n<mime_message>\n(.|\n)*</email_bundle>\n$")),
    ("bundle.SaveXml(file('b.xml'))", None),
    ("subjects(mailman.LoadXmlFile(file('b.xml')))", ["s"]),
    ("subjects(mailman.LoadXmlString(bundle.GetXml()))", ["s"]),
    ("subjects(mailman.LoadMbx(file('m.mbx')))", ["two", "one"]),
    ("archive.Create(file('a.zip'))", 1), ("email.AppendToZip(archive)", 1), ("archive.NumEntries", 1),
    ("bundle.AppendToZip(archive)", 1), ("bundle.AppendToZip(archive)", 1), ("archive.NumEntries", 2),
    ("archive.AppendEmail(email)", re.compile("^<quorvel CQuorvelZipEntry ")), ("archive.Close()", None),
    ("archive.Open(file('a.zip'))", 1), ("archive.GetEntryByIndex(0).GetEmail().Subject", "s"),
    ("archive.GetEntryByIndex(0).ZipFile == archive", True),
    ("bundle.AddFromZip(archive)", 1), ("bundle.MessageCount", 4),
]

TEXTS = [
    ("array.Append('b')", None), ("array.Prepend('a')", None), ("array.InsertAt(2, 'c')", None),
    ("array.Count", 3), ("array.GetString(1)", "b"), ("array.Contains('c')", 1), ("array.Find('c', 1)", 2),
    ("array.LastString()", "c"), ("array.Pop()", "c"), ("more.AppendSerialized(array.Serialize())", None),
    ("texts(more)", ["a", "b"]), ("array.Remove('b')", None), ("array.RemoveAt(0)", None), ("array.Count", 0),
    ("array.Unique = 1", None), ("array.Trim = 2", None), ("array.Crlf = 3", None),
    ("(array.Unique, array.Trim, array.Crlf)", (1, 1, 1)), ("array.Append(' a\\nb ')", None),
    ("array.Append('a\\r\\nb')", None), ("texts(array)", ["a\r\nb"]), ("array.AppendSerialized('\\x01')", Failure("The text is no serialized string array")),
    ("array.Clear()", None), ("array.Count", 0),
]

LOG = [
    ("log.ClearLog()", None), ("log.LineFormat = '%k %m'", None), ("log.LineFormat", "%k %m"),
    ("log.LogError('e1')", None), ("log.LogError2('e2', 'key')", None), ("log.LogCommonError('e3')", None),
    ("log.SetNamedFormat('short', '[%m]')", None), ("log.GetNamedFormat('short')", "[%m]"),
    ("log.LogError3('e4', 'key', 'short')", None), ("log.GetErrorEntries()", "ERROR e1\nERROR e2\nERROR e3\n[e4]\n"),
    ("log.LogInfo('i1')", None), ("log.LogInfo2('i2', 'key')", None), ("log.LogInfo3('i3', '', 'short')", None),
    ("log.LogData('tag', 'x')", None), ("log.LogDataLong('tag', -5)", None), ("log.LogXml('<a/>')", None),
    ("log.GetInfoEntries()", "INFO  i1\nINFO  i2\n[i3]\nINFO  tag: x\nINFO  tag: -5\nINFO  <a/>\n"),
    ("log.ContinuationPrefix = '| '", None), ("log.ContinuationPrefix", "| "),
    ("log.LogDebug('d1\\nmore')", None), ("log.LogDebug2('d2', 'key')", None),
    ("log.LogDebug3('d3', 'key', 'short')", None), ("log.GetDebugEntries()", "DEBUG d1\n| more\nDEBUG d2\n[d3]\n"),
    ("log.GetKeywordEntries('key')", "ERROR e2\n[e4]\nINFO  i2\nDEBUG d2\n[d3]\n"),
    ("log.AppendToFile(file('log.txt'))", 1), ("read('log.txt')", re.compile(b"^ERROR e1\n")),
    ("log.IsHTML = 1", None), ("log.IsHTML", 1), ("log.GetErrorEntries()", re.compile("^<p class=\"error\">")),
    ("log.IsHTML = 0", None),
    ("log.ComponentName = 'mine'", None), ("log.ComponentName", "mine"),
    ("log.EnterContext('outer', 1)", None), ("log.LogError('inside')", None), ("log.LeaveContext()", None),
    ("log.LastError", "inside"),
    ("log.GetXml(0)", re.compile('component="mine"(.|\n)*<context name="outer" reportErrors="1">\n')),
    ("log.GetXml(1)", re.compile('time="')), ("log.SaveXml(0, file('log.xml'))", None),
    ("read('log.xml')", re.compile(b"<error>inside</error>")),
    ("log.HighWaterMark = 2", None), ("log.HighWaterMark", 2), ("log.CheckHighWater()", None),
    ("log.GetErrorEntries()", "ERROR inside\n"),
    ("log.UseSystemEventLog()", None), ("log.UnusedProperty1 = 3", None), ("log.UnusedProperty1", 3),
    ("log.UnusedMethod1('a@h')", None), ("log.Version", "2.9.0"),
]

SETTINGS = [  # each with what is put and what it then reads; what they are at first is in the table given nothing
    ("SmtpHost", "h", "h"), ("SmtpPort", -26, -26), ("SmtpUsername", "u", "u"), ("SmtpPassword", "p", "p"),
    ("SmtpLoginDomain", "d", "d"), ("SmtpAuthMethod", " NTLM", " NTLM"), ("SendIndividual", 0, 0),
    ("SendIndividual", 17, 1), ("LogMailSentFilename", "/s", "/s"), ("LogMailReceivedFilename", "/r", "/r"),
    ("AutoSaveCerts", 0, 0), ("AutoSaveCerts", -5, 1), ("MailHost", "h", "h"), ("MailPort", 111, 111),
    ("PopUsername", "u", "u"), ("PopPassword", "p", "p"), ("MaxCount", -1, -1), ("SizeLimit", 6, 6),
    ("Filter", " Subject ", " Subject "), ("DefaultLanguage", "French", "French"), ("DefaultCharset", "utf-8", "utf-8"),
    ("PreferIsoCharset", 2, 1), ("PreferMicrosoftCharset", -3, 1), ("PreferMacCharset", 2, 1),
    ("AutoAddContacts", 2, 1), ("OutlookContactsFolder", "", ""), ("ConnectTimeout", 7, 7), ("ConnectTimeout", -1, 0),
    ("ReadTimeout", 2**31 - 1, 2**31 - 1), ("ReadTimeout", -2**31, 0),
]

SENDING = [
    ("mailman.VerifySmtpConnection()", 1), ("mailman.VerifySmtpLogin()", 1),
    ("mailman.SendEmail(email)", 1), ("smtp.messages[-1]", re.compile(b"\r\n\r\nDear Ann$")),
    ("mailman.SendBundle(bundle)", 1), ("len(smtp.messages)", 3), ("events[-1]", (102, 2, 100, 0)),
    ("mailman.QuickSend('a@h', 'b@h', 's', 'b', '127.83.25.2')", Failure(NOBODY)),  # nobody listens there
    ("mailman.UseQuorvelService('u', 'd', 'p')", None), ("mailman.NoQuorvelService()", None),
    ("mailman.MatchFilter(email)", 1),  # no filter keeps everything
    ("mailman.Filter = 'Subject = \"x\"'", None), ("mailman.MatchFilter(email)", 0),
    ("mailman.Filter = 'Subject = \"greetings\"'", None), ("mailman.MatchFilter(email)", 1),
    ("mailman.ExplainFilter(email)", re.compile("greetings")),
    ("mailman.GetLog()", re.compile("^<quorvel CQuorvelLog ")),
    ("mailman.SaveXmlLog(file('all.xml'))", None), ("read('all.xml')", re.compile(b'name="SendBundle"')),
    ("b' time=' in read('all.xml')", False),
    ("mailman.Version", "2.9.0"),
    ("mailman.StartMailWatch(1)", Failure(NO_WATCH)), ("mailman.StopMailWatch()", Failure(NO_WATCH)),
    ("mailman.ImportCertificates('x')", Failure("This method is not yet implemented.")),
    ("mailman.LoadOutlookFolder('x')", Failure("Failed to get mail. (4)")),
    ("mailman.SendViaOutlook(email)", Failure("Internal error in SendViaOutlook")),
]

RECEIVING = [
    ("mailman.VerifyPopConnection()", 1), ("mailman.VerifyPopLogin()", 1), ("mailman.CheckMail()", 5),
    ("texts(mailman.GetUidls())", ["id-1", "id-2", "id-3", "id-4", "id-5"]),
    ("subjects(mailman.CopyMail())", ["m1", "m2", "m3", "m4", "m5"]), ("events[-1]", (102, 1, 100, 0)),
    ("subjects(mailman.GetAllHeaders(1))", ["m1", "m2", "m3", "m4", "m5"]),
    ("subjects(mailman.GetHeaders(1, 1, 2))", ["m2", "m3"]),
    ("headers = mailman.GetHeaders(1, 0, 0)", None),
    ("mailman.GetFullEmail(headers.GetEmail(0)).Body", "body"), ("headers.GetEmail(0).ServerUidl", "id-1"),
    ("mailman.FetchEmail('id-4').Subject", "m4"),
    ("array.Append('id-5')", None), ("array.Append('id-2')", None),
    ("subjects(mailman.FetchMultiple(array))", ["m2", "m5"]), ("mailman.DeleteMultiple(array)", None),
    ("pop.left()", [b"id-1", b"id-3", b"id-4"]), ("mailman.DeleteBundle(headers)", None),
    ("pop.left()", [b"id-3", b"id-4"]), ("mailman.DeleteEmail(mailman.FetchEmail('id-4'))", None),
    ("pop.left()", [b"id-3"]), ("subjects(mailman.TransferMail())", ["m3"]), ("pop.left()", []),
]

PEOPLE = [
    ("cert.LoadFromFile(file('me.pem'))", None), ("cert.SubjectCN", "Me Roe"),
    ("cert.LoadFromBase64(encoded)", None), ("cert.LoadFromBinary(base64.b64decode(encoded))", None),
    ("cert.SetFromEncoded(encoded)", None), ("cert.GetEncoded()", re.compile("^MII")),
    ("base64.b64decode(cert.GetEncoded()) == base64.b64decode(encoded)", True),
    ("[getattr(cert, 'Subject' + each) for each in 'C S L O OU CN E'.split()]",
     ["DE", "Bayern", "Fürth", "Ex", "Post", "Me Roe", "me@example.org"]),
    ("[getattr(cert, 'Issuer' + each) for each in 'C S L O OU CN E'.split()]",
     ["DE", "Bayern", "Fürth", "Ex", "Post", "Me Roe", "me@example.org"]),
    ("cert.Fingerprint", re.compile("^([0-9A-F]{2}:){31}[0-9A-F]{2}$")),
    ("cert.SerialNumber", re.compile("^[0-9a-fA-F]+$")),
    ("(cert.ValidTo - cert.ValidFrom).days", 30),
    ("(cert.ForSecureEmail, cert.ForServerAuthentication, cert.ForClientAuthentication)", (1, 1, 1)),
    ("(cert.ForCodeSigning, cert.ForTimeStamping)", (1, 1)), ("cert.GetImpl() != 0", True),
    ("cert.Version", "2.9.0"), ("cert.GetLog().GetXml(0)", re.compile("<log")),
    ("cert.SaveXmlLog(file('cert.xml'))", None), ("read('cert.xml')", re.compile(b"<log")),
    ("email.SetSigningCert(cert)", None), ("email.GetSigningCert().SubjectE", "me@example.org"),
    ("email.SetEncryptCert(cert)", None), ("email.GetEncryptCert().SubjectE", "me@example.org"),
    ("email.SendSigned = 2", None), ("email.SendSigned", 1),
    ("mailman.SendEmail(email)", 1), ("other.LoadMime(smtp.messages[-1])", 1),
    ("(other.ReceivedSigned, other.SignaturesValid, other.WhollySigned)", (1, 1, 1)),
    ("other.SignedBy", re.compile("Me Roe")), ("email.SendSigned = 0", None),
    ("email.SendEncrypted = 2", None), ("email.SendEncrypted", 1),
    *((statement, expected) for name, oid in (("DES", "2b0e030207"), ("3DES", "2a864886f70d0307"),
                                              ("RC2", "2a864886f70d0302"), ("RC4", "2a864886f70d0304"))
      for statement, expected in ((f"email.SetAlgorithm{name}()", None), ("mailman.SendEmail(email)", 1),
                                  (f"bytes.fromhex('{oid}') in der(smtp.messages[-1])", True))),
    ("other.LoadMime(smtp.messages[-1])", 1), ("other.Body", "Dear Ann"),
    ("(other.ReceivedEncrypted, other.Decrypted, other.WhollyEncrypted)", (1, 1, 1)),
    ("other.EncryptedBy", re.compile("Me Roe")),
    ("(other.NumSecurityLayers, other.GetLayerKind(0), other.GetLayerOpened(0), other.GetLayerWhole(0))",
     (1, "encrypted", 1, 1)),
    ("other.GetLayerCert(0).SubjectE", "me@example.org"),
    ("store.Open('my')", 1), ("store.Location.endswith('/stores/current_user/my')", True),
    ("(store.NumCerts, store.GetCert(0).SubjectE, store.HasPrivateKey(0))", (1, "me@example.org", 1)),
    ("store.ExportFile(0, file('me.p12'), 'pw')", 1), ("store.NeedsPassword(file('me.p12'))", 1),
    ("store.RemoveCert(0)", 1), ("store.NumCerts", 0),
    ("store.ImportFile(file('me.p12'), 'pw')", 1), ("(store.NumCerts, store.HasPrivateKey(0))", (1, 1)),
    ("store.Open('people')", 1), ("store.AddCert(cert)", 1), ("(store.NumCerts, store.HasPrivateKey(0))", (1, 0)),
]


def texts(array):
    return [array.GetString(n) for n in range(array.Count)]


def subjects(bundle):
    return [bundle.GetEmail(n).Subject for n in range(bundle.MessageCount)]


def in_parts(kind):
    """A message of that multipart type: a text, and a picture with a name and an id."""
    return (f"Content-Type: multipart/{kind}; boundary=b\r\n\r\n--b\r\n\r\ntext\r\n--b\r\nContent-Type: image/png\r\n"
            "Content-ID: <7>\r\nContent-Disposition: inline; filename=n.png\r\n\r\npng\r\n--b--\r\n")


def der(message):
    return base64.b64decode(message.partition(b"\r\n\r\n")[2])


def settings():
    yield from (("mailman.SmtpPort", 25), ("mailman.MailHost", ""), ("mailman.MailPort", 110))
    for name, given, stored in SETTINGS:
        yield from ((f"mailman.{name} = {given!r}", None), (f"mailman.{name}", stored))


def encoded_certificate(folder):
    """Makes a certificate with its key for me@example.org and has the component use it."""
    store = folder / "stores" / "current_user" / "my"
    (store / "keys").mkdir(parents=True, mode=0o700)
    command = [OPENSSL, "req", "-x509", "-newkey", "rsa:2048", "-nodes", "-days", "30", "-utf8", "-subj", SUBJECT,
               "-addext", PURPOSES, "-keyout", store / "keys" / "me.key", "-out", store / "me.pem"]
    subprocess.run(command, check=True, capture_output=True)
    os.chmod(store / "keys" / "me.key", 0o600)
    shutil.copy(store / "me.pem", folder)
    quorvel.set_certificate_root(folder / "stores")
    return "".join((folder / "me.pem").read_text().splitlines()[1:-1])


@unittest.skipUnless(OPENSSL, "no openssl program")
class MembersAtWork(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        for name, data in (("logo.gif", b"GIF89a"), ("notes.txt", b"1\r\n2\n"),
                           ("m.mbx", b"From x\nSubject: one\n\n1\nFrom y\nSubject: two\n\n2\n")):
            (self.folder / name).write_bytes(data)
        self.addCleanup(quorvel.set_certificate_root, "")

    def names(self, **more):
        """What the statements may name: objects of each class, and helpers."""
        events = []
        names = dict(globals(), events=events, file=lambda name: str(self.folder / name),
                     read=lambda name: (self.folder / name).read_bytes(), **more)
        for name, made in (("email", "QuorvelEmail"), ("other", "QuorvelEmail"), ("bundle", "QuorvelEmailBundle"),
                           ("mailman", "QuorvelMailMan"), ("archive", "QuorvelZip"), ("array", "QvStringArray"),
                           ("more", "QvStringArray"), ("cert", "QuorvelCert"), ("store", "QuorvelCertStore")):
            names[name] = quorvel.create("QuorvelMail." + made)
        names["mailman"].connect(lambda *event: events.append(event))
        return names

    def work(self, rows, names):
        for statement, expected in rows:
            with self.subTest(statement):
                is_assignment = re.match(r"[\w.]+ = ", statement)
                code = compile(statement, statement, "exec" if is_assignment else "eval")
                if isinstance(expected, Failure):
                    with self.assertRaisesRegex(quorvel.Error, f"^{re.escape(expected)}$"):
                        eval(code, names)
                    continue
                result = eval(code, names)
                if isinstance(expected, re.Pattern):
                    self.assertRegex(repr(result) if isinstance(result, quorvel.Object) else result, expected)
                else:
                    self.assertEqual(result, expected)

    def test_every_member(self):
        used, invoke = set(), _objects._invoke

        def recording(target, member, arguments):
            used.add((member.interface, member.id, member.kind))
            return invoke(target, member, arguments)

        with mock.patch.object(_objects, "_invoke", recording):
            for rows in EMAIL, PARTS, COPIES, TEXTS, settings():
                self.work(rows, self.names())
            self.work_on_servers()
            names = self.names()
            names["log"] = names["mailman"].GetLog()
            self.work(LOG, names)
        wanted = {(interface.name, member.id, member.kind) for interface in _members.interfaces()
                  for member in interface.members if interface.name != "IQuorvelOutgoing"}
        self.assertEqual(wanted - used, set())

    def work_on_servers(self):
        mail = [(b"id-%d" % n, b"From: a@h\r\nSubject: m%d\r\n\r\nbody\r\n" % n) for n in range(1, 6)]
        encoded = encoded_certificate(self.folder)
        with SmtpServer() as smtp, PopServer(*mail) as pop:
            for rows in SENDING, RECEIVING, PEOPLE:
                names = self.names(smtp=smtp, pop=pop, encoded=encoded)
                mailman, email = names["mailman"], names["email"]
                mailman.SmtpHost = mailman.MailHost = "127.0.0.1"
                mailman.SmtpPort, mailman.MailPort = smtp.port, pop.port
                mailman.ReadTimeout = 20
                mailman.PopUsername, mailman.PopPassword = "ann", "secret"
                email.From, email.Subject, email.Body = "me@example.org", "greetings", "Dear Ann"
                email.AddTo("", "ann@h")
                self.work([("bundle.AddEmail(email)", 1), ("bundle.AddEmail(email)", 1)], names)
                self.work(rows, names)


if __name__ == "__main__":
    unittest.main()
