"""Signed and encrypted mail between the component and independent programs: openssl, and gpgsm where it is there."""

import base64
import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

import quorvel

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "python"))
sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent))
from smtp_server import SmtpServer  # noqa: E402
import dovecot_server  # noqa: E402
import exim_server  # noqa: E402

OPENSSL = shutil.which("openssl")
GPGSM = shutil.which("gpgsm") and shutil.which("gpg-agent")
LEGACY = ["-provider", "default", "-provider", "legacy"]
KINDS = {"rsa2048": ["rsa:2048"], "rsa4096": ["rsa:4096"], "p256": ["ec", "-pkeyopt", "ec_paramgen_curve:P-256"]}
TEXT = "From here to there\r\n.\r\n..\r\nGr\u00fc\u00dfe = 1\r\n"
HEADER = b"From: jane@example.org\r\nTo: max@example.org\r\nSubject: theirs\r\n"


def run(*command, data=None, env=None, fails=False):
    result = subprocess.run([str(word) for word in command], input=data, capture_output=True, env=env, timeout=60)
    if (result.returncode != 0) != fails:
        raise AssertionError(f"{command}: {result.returncode}\n{result.stderr.decode(errors='replace')}")
    return result.stdout


def crlf(text):
    return text.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")


class People:
    """A root, an authority below it, and people: name@example.org with a certificate and key in the stores."""

    def __init__(self, folder):
        self.folder = folder
        self.stores = folder / "stores"
        (self.stores / "current_user/my/keys").mkdir(parents=True, mode=0o700)
        self.make("root", ["rsa:2048"], None, "basicConstraints=critical,CA:TRUE")
        self.make("authority", ["rsa:2048"], "root", "basicConstraints=critical,CA:TRUE")

    def cert(self, name):
        return self.folder / f"{name}.pem"

    def key(self, name):
        return self.folder / f"{name}.key"

    def make(self, name, kind, issuer, *extensions):
        request = ["openssl", "req", "-newkey", *kind, "-nodes", "-keyout", self.key(name),
                   "-subj", f"/C=DE/CN={name}/emailAddress={name}@example.org"]
        if issuer is None:
            run(*request, "-x509", "-days", "30", "-out", self.cert(name), *(w for e in extensions for w in ("-addext", e)))
            return
        wanted = self.folder / "extensions"
        wanted.write_text("\n".join(extensions))
        run(*request, "-out", self.folder / "request")
        run("openssl", "x509", "-req", "-in", self.folder / "request", "-CA", self.cert(issuer), "-CAkey",
            self.key(issuer), "-CAcreateserial", "-days", "30", "-out", self.cert(name), "-extfile", wanted)

    def add(self, name, kind):
        self.make(name, KINDS[kind], "authority", "extendedKeyUsage=emailProtection",
                  "keyUsage=digitalSignature,keyEncipherment,keyAgreement", "subjectKeyIdentifier=hash")
        folder = self.stores / "current_user/my"
        shutil.copy(self.cert(name), folder / f"{name}.pem")
        shutil.copy(self.key(name), folder / f"keys/{name}.key")
        os.chmod(folder / f"keys/{name}.key", 0o600)


class Case(unittest.TestCase):
    CONTENT = b"Content-Type: text/plain\r\n\r\nfrom them = 1\r\n"

    @classmethod
    def setUpClass(cls):
        if not OPENSSL:
            raise unittest.SkipTest("no openssl program")
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = pathlib.Path(temporary.name)
        cls.people = People(cls.folder)
        for kind in KINDS:
            cls.people.add(kind, kind)
        cls.trusted = cls.folder / "trusted.pem"
        cls.trusted.write_bytes(cls.people.cert("root").read_bytes() + cls.people.cert("authority").read_bytes())
        quorvel.set_certificate_root(str(cls.people.stores))
        cls.addClassCleanup(quorvel.set_certificate_root, "")

    def send(self, sender="rsa2048", to="rsa2048", attach=None, **properties):
        """The text of a message as a server gets it."""
        email = quorvel.create("QuorvelMail.QuorvelEmail")
        email.From = f"{sender}@example.org"
        email.AddTo("", f"{to}@example.org")
        email.Subject = "ours"
        email.Body = TEXT
        if attach is not None:
            path = self.folder / "attached.bin"
            path.write_bytes(attach)
            email.AddFileAttachment(str(path))
        algorithm = properties.pop("algorithm", None)
        if algorithm:
            getattr(email, f"SetAlgorithm{algorithm}")()
        for name, value in properties.items():
            setattr(email, name, value)
        mailman = quorvel.create("QuorvelMail.QuorvelMailMan")
        with SmtpServer() as server:
            mailman.SmtpHost, mailman.SmtpPort = "127.0.0.1", server.port
            mailman.SendEmail(email)
            return server.messages[-1]

    def read(self, text):
        email = quorvel.create("QuorvelMail.QuorvelEmail")
        email.LoadMime(text)
        return email

    def found(self, email):
        return (email.ReceivedSigned, email.SignaturesValid, email.WhollySigned, email.ReceivedEncrypted,
                email.Decrypted, email.WhollyEncrypted)

    def openssl(self, *command, data=None, fails=False):
        return run("openssl", command[0], *LEGACY, *command[1:], data=data, fails=fails)

    def signed(self, *options, names=("rsa2048",), tool="cms", content=CONTENT):
        who = [w for name in names for w in ("-signer", self.people.cert(name), "-inkey", self.people.key(name))]
        return crlf(self.openssl(tool, "-sign", *who, *options, data=content))

    def encrypted(self, *options, name="rsa2048", tool="cms", content=CONTENT):
        return crlf(self.openssl(tool, "-encrypt", *options, self.people.cert(name), data=content))

    def assert_read(self, text, found, body=b"from them = 1\r\n"):
        email = self.read(HEADER + text)
        self.assertEqual(self.found(email), found, email.GetMime())
        self.assertEqual(email.Body.encode("utf-8", "surrogateescape"), body)
        self.assertEqual(email.Subject, "theirs")
        return email


class Openssl(Case):
    # --- Ours, read by openssl

    def test_signed_is_verified(self):
        for kind in KINDS:
            for tool in ("cms", "smime"):
                for attach in (None, bytes(range(256)) * 300):
                    with self.subTest(kind=kind, tool=tool, attach=attach is not None):
                        text = self.send(sender=kind, SendSigned=1, attach=attach)
                        verify = (tool, "-verify", "-CAfile", self.trusted)
                        content = self.openssl(*verify, data=text)
                        self.assertIn(b"e = 1", content)
                        self.openssl(*verify, data=text.replace(b"e = 1", b"e = 2"), fails=True)
                        email = self.read(text)
                        self.assertEqual(self.found(email), (1, 1, 1, 0, 1, 0))
                        self.assertEqual(email.SignedBy, f"DE, {kind}, {kind}@example.org")
                        if attach is not None:
                            self.assertEqual(email.GetAttachmentData(0), attach)

    def test_encrypted_is_decrypted(self):
        ciphers = {None: b":rc4", "RC4": b":rc4", "RC2": b":rc2-cbc", "DES": b":des-cbc", "3DES": b":des-ede3-cbc"}
        for algorithm, cipher in ciphers.items():
            for kind in KINDS:
                with self.subTest(algorithm=algorithm, kind=kind):
                    if (algorithm, kind) == ("DES", "p256"):  # its key is too short to be wrapped (RFC 3394)
                        with self.assertRaisesRegex(quorvel.Error, "Failed to encrypt message"):
                            self.send(to=kind, SendEncrypted=1, algorithm=algorithm)
                        continue
                    text = self.send(to=kind, SendEncrypted=1, algorithm=algorithm)
                    self.assertNotIn(b"From here", text)
                    der = base64.b64decode(text.split(b"\r\n\r\n", 1)[1])
                    self.assertIn(cipher, run("openssl", "asn1parse", "-inform", "DER", data=der))
                    # openssl's older tool knows no elliptic keys.
                    for tool in ("cms",) if kind == "p256" else ("cms", "smime"):
                        content = self.openssl(tool, "-decrypt", "-recip", self.people.cert(kind), "-inkey",
                                               self.people.key(kind), data=text)
                        self.assertIn(b"Subject: ours", content)
                        self.assertIn(b"e = 1", content)
                    self.assertEqual(self.found(self.read(text)), (0, 1, 0, 1, 1, 1))

    def test_signed_and_encrypted_is_both(self):
        for kind in ("rsa2048", "rsa4096"):
            with self.subTest(kind=kind):
                text = self.send(sender=kind, to=kind, SendSigned=1, SendEncrypted=1, algorithm="3DES")
                inner = self.openssl("cms", "-decrypt", "-recip", self.people.cert(kind), "-inkey",
                                     self.people.key(kind), data=text)
                content = self.openssl("cms", "-verify", "-CAfile", self.trusted, data=inner)
                self.assertIn(b"e = 1", content)
                email = self.read(text)
                self.assertEqual(self.found(email), (1, 1, 1, 1, 1, 1))
                self.assertEqual(email.Body.encode("utf-8", "surrogateescape"), TEXT.encode())

    # --- Theirs, read by the component

    def test_their_signatures(self):
        rows = [("cms", []), ("smime", []), ("cms", ["-nodetach"]), ("smime", ["-nodetach"]), ("cms", ["-noattr"]),
                ("cms", ["-keyid"]), ("cms", ["-md", "sha512"]), ("cms", ["-md", "sha1", "-nodetach"]),
                ("cms", ["-certfile", self.people.cert("authority")]), ("cms", ["-nocerts"]),
                ("cms", ["-binary", "-nodetach"]), ("cms", ["-stream"]), ("cms", ["-nodetach", "-stream"])]
        for tool, options in rows:
            for name in KINDS:
                with self.subTest(tool=tool, options=options, name=name):
                    self.assert_read(self.signed(*options, names=[name], tool=tool), (1, 1, 1, 0, 1, 0))
        with self.subTest("PSS"):
            self.assert_read(self.signed("-keyopt", "rsa_padding_mode:pss"), (1, 1, 1, 0, 1, 0))
        for options in ([], ["-nodetach"]):
            with self.subTest("several signers", options=options):
                text = self.signed(*options, names=list(KINDS))
                self.assertIn("@example.org", self.assert_read(text, (1, 1, 1, 0, 1, 0)).SignedBy)

    def test_their_signatures_changed(self):
        text = HEADER + self.signed()
        self.assertEqual(self.found(self.read(text.replace(b"= 1", b"= 2"))), (1, 0, 0, 0, 1, 0))

    def test_a_signer_known_by_an_intermediate(self):
        """Neither chain nor trust is asked for: the signer's own certificate is what counts."""
        text = self.signed("-certfile", self.people.cert("authority"))
        self.assertEqual(self.assert_read(text, (1, 1, 1, 0, 1, 0)).SignedBy, "DE, rsa2048, rsa2048@example.org")

    def test_their_encryption(self):
        rows = [(tool, [f"-{cipher}"]) for tool in ("cms", "smime")
                for cipher in ("rc4", "rc2-40", "rc2-64", "rc2-128", "des", "des3", "aes128", "aes192", "aes256")]
        rows += [("cms", ["-aes-128-gcm"]), ("cms", ["-aes-256-gcm"]), ("cms", ["-stream", "-aes128"]),
                 ("cms", ["-aes128", "-keyid"])]
        for tool, options in rows:
            with self.subTest(tool=tool, options=options):
                self.assert_read(self.encrypted(*options, tool=tool), (0, 1, 0, 1, 1, 1))
        with self.subTest("elliptic"):
            self.assert_read(self.encrypted("-aes128", name="p256"), (0, 1, 0, 1, 1, 1))
        with self.subTest("OAEP"):
            text = crlf(self.openssl("cms", "-encrypt", "-aes128", "-recip", self.people.cert("rsa2048"), "-keyopt",
                                     "rsa_padding_mode:oaep", data=self.CONTENT))
            self.assert_read(text, (0, 1, 0, 1, 1, 1))
        with self.subTest("several recipients, the second is here"):
            text = crlf(self.openssl("cms", "-encrypt", "-aes128", self.people.cert("authority"),
                                     self.people.cert("rsa4096"), data=self.CONTENT))
            self.assertIn("rsa4096", self.assert_read(text, (0, 1, 0, 1, 1, 1)).EncryptedBy)

    def test_binary_parts(self):
        der = self.openssl("cms", "-sign", "-nodetach", "-binary", "-outform", "DER", "-signer",
                           self.people.cert("rsa2048"), "-inkey", self.people.key("rsa2048"), data=self.CONTENT)
        for coding, body in (("binary", der), ("base64", base64.encodebytes(der).replace(b"\n", b"\r\n"))):
            with self.subTest(coding=coding):
                text = (b"Content-Type: application/pkcs7-mime; smime-type=signed-data\r\nContent-Transfer-Encoding: " +
                        coding.encode() + b"\r\n\r\n" + body)
                self.assert_read(text, (1, 1, 1, 0, 1, 0))

    def test_nested_layers(self):
        inside = self.encrypted("-aes128", content=self.signed())
        for content in (self.signed(content=inside), self.signed("-nodetach", content=inside),
                        self.encrypted("-des3", content=self.signed("-nodetach", content=inside))):
            self.assert_read(content, (1, 1, 1, 1, 1, 1))


WHY_NO_SERVERS = exim_server.why_not() or dovecot_server.why_not()


@unittest.skipIf(WHY_NO_SERVERS, f"the way through Exim and Dovecot left out: {WHY_NO_SERVERS}")
class OnTheWay(Case):
    """What is signed and encrypted comes through Exim and Dovecot as it was sent."""

    BODIES = {
        "ASCII": "plain text\r\n",
        "dots and From": TEXT + ".\r\n.x\r\nFrom me\r\n>From you\r\n",
        "8 bits": "Gr\u00fc\u00dfe, 100 \u20ac\r\n\u00a0 \r\ntrailing blanks  \r\n",
        "long lines": "x" * 990 + "\r\n" + "\u00fc" * 400 + "\r\n" + "y" * 5000 + "\r\n",
        "no line end": "abc",
    }

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        cls.exim = exim_server.EximServer(["max"])
        cls.addClassCleanup(cls.exim.stop)
        cls.dovecot = dovecot_server.DovecotServer(cls.exim)
        cls.addClassCleanup(cls.dovecot.stop)

    def email(self, name, body, attached, sign, encrypt):
        email = quorvel.create("QuorvelMail.QuorvelEmail")
        email.From = "rsa2048@example.org"
        email.AddTo("", "max@test")
        email.Subject, email.Body = name, body
        if attached is not None:
            path = self.folder / "attached.bin"
            path.write_bytes(attached)
            email.AddFileAttachment(str(path))
        certificate = quorvel.create("QuorvelMail.QuorvelCert")
        certificate.LoadFromFile(str(self.people.cert("rsa4096")))
        email.SetEncryptCert(certificate)
        email.SetAlgorithm3DES()
        email.SendSigned, email.SendEncrypted = sign, encrypt
        return email

    def test_every_kind_arrives_as_it_was_sent(self):
        sender, reader = (quorvel.create("QuorvelMail.QuorvelMailMan") for _ in range(2))
        sender.SmtpHost, sender.SmtpPort, sender.SmtpAuthMethod = self.exim.address, self.exim.port, "NONE"
        reader.MailHost, reader.MailPort = self.dovecot.address, self.dovecot.port
        reader.PopUsername, reader.PopPassword = "max", "secret"
        rows = {}
        for sign, encrypt in ((1, 0), (0, 1), (1, 1)):
            for name, body in self.BODIES.items():
                for attached in (None, bytes(range(256)) * 100):
                    subject = f"{name} {sign}{encrypt} {attached is not None}"
                    rows[subject] = (body, attached, sign, encrypt)
                    self.assertEqual(sender.SendEmail(self.email(subject, *rows[subject])), 1)
        self.exim.delivered("max", len(rows), seconds=120)
        bundle = reader.TransferMail()
        self.assertEqual(bundle.MessageCount, len(rows))
        for n in range(bundle.MessageCount):
            email = bundle.GetEmail(n)
            body, attached, sign, encrypt = rows.pop(email.Subject)
            with self.subTest(email.Subject):
                self.assertEqual(self.found(email), (sign, 1, sign, encrypt, 1, encrypt))
                # The line break that ends the message text is nobody's but the protocol's.
                self.assertEqual(email.Body.removesuffix("\r\n"), body.removesuffix("\r\n"))
                self.assertEqual(email.NumAttachments, int(attached is not None))
                if attached is not None:
                    self.assertEqual(email.GetAttachmentData(0), attached)
                self.assertEqual(email.SignedBy, "DE, rsa2048, rsa2048@example.org" if sign else "")
                self.assertEqual(email.EncryptedBy, "DE, rsa4096, rsa4096@example.org" if encrypt else "")


@unittest.skipUnless(OPENSSL and GPGSM, "no gpgsm")
class Gpgsm(Case):
    """The same people in gpgsm's own key box."""

    @classmethod
    def setUpClass(cls):
        super().setUpClass()
        home = tempfile.TemporaryDirectory(prefix="qvgpg")  # its sockets need a short name
        cls.addClassCleanup(home.cleanup)
        cls.home = pathlib.Path(home.name)
        cls.env = {**os.environ, "GNUPGHOME": str(cls.home), "LC_ALL": "C"}
        cls.addClassCleanup(subprocess.run, ["gpgconf", "--homedir", home.name, "--kill", "all"], capture_output=True)
        (cls.home / "gpg-agent.conf").write_text("allow-loopback-pinentry\n")
        (cls.home / "gpgsm.conf").write_text("disable-crl-checks\ndisable-dirmngr\nauto-issuer-key-retrieve\n")
        fingerprint = run("openssl", "x509", "-in", cls.people.cert("root"), "-noout", "-fingerprint", "-sha1")
        (cls.home / "trustlist.txt").write_bytes(fingerprint.split(b"=")[1].strip() + b" S relax\n")
        for name in ("root", "authority"):
            cls.gpgsm("--import", cls.people.cert(name))
        bundle = cls.folder / "bundle.p12"
        run("openssl", "pkcs12", "-export", "-legacy", "-in", cls.people.cert("rsa2048"), "-inkey",
            cls.people.key("rsa2048"), "-passout", "pass:x", "-out", bundle)
        cls.gpgsm("--pinentry-mode", "loopback", "--passphrase-fd", "0", "--import", bundle, data=b"x\n")

    @classmethod
    def gpgsm(cls, *command, data=None):
        return run("gpgsm", "--batch", "--yes", *command, data=data, env=cls.env)

    def loopback(self, *command, data):
        path = self.folder / "input"
        path.write_bytes(data)
        return run("gpgsm", "--batch", "--yes", "--pinentry-mode", "loopback", "--passphrase-fd", "0", *command, path,
                   data=b"x\n", env=self.env)

    def test_gpgsm_verifies(self):
        for kind in KINDS:
            with self.subTest(kind=kind):
                text = self.send(sender=kind, SendSigned=1)
                boundary = text.split(b'boundary="')[1].split(b'"')[0]
                parts = text.split(b"--" + boundary)
                content = self.folder / "content"
                content.write_bytes(parts[1][2:-2])
                signature = self.folder / "signature"
                signature.write_bytes(base64.b64decode(parts[2].split(b"\r\n\r\n")[1]))
                self.gpgsm("--verify", signature, content)
                content.write_bytes(parts[1][2:-2] + b"!")
                run("gpgsm", "--batch", "--verify", signature, content, env=self.env, fails=True)

    def test_gpgsm_decrypts(self):
        text = self.send(SendEncrypted=1, algorithm="3DES")
        der = base64.b64decode(text.split(b"\r\n\r\n", 1)[1])
        self.assertIn(b"e = 1", self.loopback("--decrypt", data=der))

    def test_gpgsm_signs_and_encrypts(self):
        der = self.loopback("--sign", "--local-user", "rsa2048@example.org", data=self.CONTENT)
        head = b"Content-Type: application/pkcs7-mime; smime-type=signed-data\r\nContent-Transfer-Encoding: binary\r\n\r\n"
        self.assert_read(head + der, (1, 1, 1, 0, 1, 0))
        der = self.loopback("--encrypt", "--recipient", "rsa2048@example.org", data=head + der)
        head = b"Content-Type: application/pkcs7-mime\r\nContent-Transfer-Encoding: binary\r\n\r\n"
        self.assert_read(head + der, (1, 1, 1, 1, 1, 1))


if __name__ == "__main__":
    unittest.main()
