"""Signed and encrypted mail by the program `quorvel`: what show tells of it, sending it, and the certificates that it
takes. Certificates and messages are made by the program openssl."""

import base64
import os
import pathlib
import shutil
import subprocess
import unittest

from program import ProgramTest, on_terminal, quorvel

CONTENT = b"Content-Type: text/plain\r\n\r\nhello\r\n"
HEADER = b"From: Jane <JANE@example.org>\r\nTo: max@example.org\r\nSubject: s\r\n"


def openssl(*command, data=None):
    result = subprocess.run(["openssl", *map(str, command)], input=data, capture_output=True, timeout=60)
    if result.returncode != 0:
        raise AssertionError(f"{command}: {result.stderr.decode(errors='replace')}")
    return result.stdout


def crlf(text):
    return text.replace(b"\r\n", b"\n").replace(b"\n", b"\r\n")


@unittest.skipUnless(shutil.which("openssl"), "no openssl program")
class SecureTest(ProgramTest):
    def setUp(self):
        super().setUp()
        self.folder = pathlib.Path(self.temporary.name)
        self.root = self.folder / "certificates"
        self.my = self.root / "current_user/my"
        (self.my / "keys").mkdir(parents=True, mode=0o700)

    def make(self, name, serial="0x0ABC"):
        """A certificate and key, NAME.pem and NAME.key, that no store has."""
        openssl("req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:P-256", "-nodes", "-days", "30", "-subj",
                f"/CN={name.title()}/emailAddress={name}@example.org", "-set_serial", serial, "-addext",
                "extendedKeyUsage=emailProtection", "-keyout", self.folder / f"{name}.key", "-out", self.folder / f"{name}.pem")

    def give(self, name):
        """Puts them into the user's own store."""
        shutil.copy(self.folder / f"{name}.pem", self.my)
        shutil.copy(self.folder / f"{name}.key", self.my / "keys")
        os.chmod(self.my / f"keys/{name}.key", 0o600)

    def signed(self, name, content=CONTENT):
        return crlf(openssl("cms", "-sign", "-signer", self.folder / f"{name}.pem", "-inkey", self.folder / f"{name}.key",
                            data=content))

    def encrypted(self, name, content=CONTENT):
        return crlf(openssl("cms", "-encrypt", "-aes128", self.folder / f"{name}.pem", data=content))

    def run_in(self, command, *args, **options):
        return quorvel(command, "--certificates", str(self.root), *args, **options)


class ShowTest(SecureTest):
    def test_each_layer_is_told(self):
        for name in ("jane", "max"):
            self.make(name)
        self.give("jane")
        jane = b"Jane <jane@example.org>"
        valid = b"valid, by " + jane + b", certificate 0ABC of " + jane
        by_max = b"valid, by Max <max@example.org> (not the address in From), certificate 0ABC of Max <max@example.org>"
        mixed = (b"Content-Type: multipart/mixed; boundary==_mix_\r\n\r\n--=_mix_\r\n" + CONTENT + b"\r\n--=_mix_\r\n" +
                 self.signed("jane") + b"\r\n--=_mix_--\r\n")
        rows = [
            (CONTENT, []),
            (self.signed("jane"), [b"Signed        the whole message, " + valid]),
            (self.signed("max"), [b"Signed        the whole message, " + by_max]),
            (self.signed("jane").replace(b"hello", b"hallo"), [b"Signed        the whole message, not valid; it stays as it came"]),
            (mixed, [b"Signed        a part, " + valid]),
            (self.encrypted("jane", self.signed("jane")),
             [b"Encrypted     the whole message, opened, for " + jane, b"Signed        the whole message, " + valid]),
            (self.encrypted("max"), [b"Encrypted     the whole message, not opened; it stays as it came"]),
        ]
        for text, layers in rows:
            with self.subTest(layers):
                result = self.run_in("show", self.file("m.eml", HEADER + text))
                self.check(result, 0)
                told = [line for line in result.stdout.split(b"\n") if line.startswith((b"Signed ", b"Encrypted "))]
                self.assertEqual(told, layers)

    def test_keys_are_those_of_the_directory(self):
        self.make("jane")
        self.give("jane")
        path = self.file("m.eml", HEADER + self.encrypted("jane"))
        self.assertIn(b"hello", self.run_in("show", path).stdout)
        elsewhere = self.folder / "elsewhere"
        elsewhere.mkdir()
        self.assertNotIn(b"hello", quorvel("show", "--certificates", str(elsewhere), path).stdout)
        for missing in ("/no/such", ""):
            self.check(quorvel("show", "--certificates", missing, path), 2, b"--certificates")


class CertTest(SecureTest):
    def setUp(self):
        super().setUp()
        for name in ("jane", "max"):
            self.make(name, {"jane": "0x0ABC", "max": "0x0DEF"}[name])
        self.p12 = self.folder / "jane.p12"
        openssl("pkcs12", "-export", "-in", self.folder / "jane.pem", "-inkey", self.folder / "jane.key", "-passout",
                "pass:p w", "-out", self.p12)
        self.password = self.file("password", "p w\n")

    def cert(self, command, *args, **options):
        return quorvel("cert", command, "--certificates", str(self.root), *map(str, args), **options)

    def listed(self, *args):
        """(store, serial number, key, holder) of each."""
        result = self.cert("list", *args)
        self.check(result, 0)
        lines = [line.split("\t") for line in result.stdout.decode().splitlines()]
        return [(line[0], line[1], line[2], line[4]) for line in lines]

    JANE, MAX = "Jane <jane@example.org>", "Max <max@example.org>"

    def test_import_list_export_remove(self):
        self.check(self.cert("import", self.p12, "--password-file", self.password), 0)
        self.check(self.cert("import", self.folder / "max.pem"), 0)
        self.assertEqual(self.listed(), [("my", "0ABC", "key", self.JANE), ("people", "0DEF", "-", self.MAX)])
        self.assertEqual(self.listed("--store", "people"), [("people", "0DEF", "-", self.MAX)])
        [key] = (self.my / "keys").iterdir()
        self.assertEqual(key.stat().st_mode & 0o777, 0o600)
        for name in ("0abc", "JANE@example.org", "jane"):
            shown = self.cert("show", name)
            self.check(shown, 0)
            fingerprint = openssl("x509", "-in", self.folder / "jane.pem", "-noout", "-fingerprint", "-sha256")
            self.assertIn(fingerprint.strip().split(b"=")[1], shown.stdout)
            self.assertIn(b"Key         here", shown.stdout)
        pem = self.cert("export", "jane@example.org").stdout
        self.assertEqual(pem, openssl("x509", "-in", self.folder / "jane.pem"))

        new = self.folder / "new.p12"
        self.check(self.cert("export", "0ABC", "--with-key", "--to", new, "--password-file", self.password), 0)
        self.assertEqual(new.stat().st_mode & 0o777, 0o600)
        self.assertIn(b"PRIVATE KEY", openssl("pkcs12", "-in", new, "-passin", "pass:p w", "-noenc"))
        self.check(self.cert("export", "0ABC", "--with-key", "--to", new, "--password-file", self.password), 5, b"exists")

        self.check(self.cert("remove", "0ABC"), 2, b"--with-key")
        self.check(self.cert("remove", "0ABC", "--with-key"), 0)
        self.check(self.cert("remove", "max@example.org"), 0)
        self.assertEqual(self.listed(), [])
        self.assertEqual(list((self.my / "keys").iterdir()), [])

    def test_what_cannot_be_done(self):
        wrong = self.file("wrong", "p x\n")
        garbage = self.file("garbage", "x")
        self.check(self.cert("import", self.folder / "max.pem"), 0)
        self.make("max", "0x77")  # another one
        self.check(self.cert("import", self.folder / "max.pem"), 0)
        rows = [
            (("import", self.p12, "--password-file", wrong), 5, b"password is not the right one"),
            (("import", self.p12, "--password-file", "/no/such"), 5, b"nothing was done"),
            (("import", self.p12), 2, b"there is no terminal"),
            (("import", garbage), 5, b"cannot import"),
            (("import", "/no/such"), 5, b"cannot read"),
            (("import", self.p12, "--store", "nowhere"), 2, b"--store"),
            (("show", "nobody@example.org"), 5, b"there is no certificate of nobody@example.org"),
            (("show", "max@example.org"), 2, b"several certificates"),
            (("show", ""), 2, b"CERT"),
            (("export", "77", "--with-key", "--to", self.folder / "x.p12", "--password-file", wrong), 5, b"no usable private key"),
            (("export", "77", "--with-key"), 2, b"--to"),
            (("export", "77", "--to", "/no/such/folder/x"), 5, b"cannot write"),
            (("remove", "0DEF", "--store", "my"), 5, b"in the store my"),
            ((), 2, b"subcommand"),
        ]
        for args, status, said in rows:
            with self.subTest(args):
                if not args:
                    self.check(quorvel("cert"), status, said)
                    continue
                self.check(self.cert(*args, start_new_session=True), status, said)
        self.assertEqual(len(self.listed()), 2)

    def test_unreadable_files_are_told(self):
        self.my.joinpath("half.pem").write_bytes((self.folder / "jane.pem").read_bytes()[:100])
        self.my.joinpath("jane.pem").write_bytes((self.folder / "jane.pem").read_bytes())
        (self.my / "keys/jane.key").write_bytes((self.folder / "jane.key").read_bytes())
        os.chmod(self.my / "keys/jane.key", 0o644)
        result = self.cert("list")
        self.check(result, 0, b"no certificate can be read from " + str(self.my / "half.pem").encode())
        self.assertEqual(self.listed(), [("my", "0ABC", "-", self.JANE)], "a key that others may read is none")

    def test_the_terminal_is_asked_for_passwords(self):
        at = ("--certificates", str(self.root))
        seen, status, _ = on_terminal("cert", "import", str(self.p12), *at, answers=[(b"Password of", b"p w\n")])
        self.assertEqual(status, 0, seen)
        self.assertNotIn(b"p w", seen)
        for again, status in ((b"different", 2), (b"new one", 0)):
            new = self.folder / "new.p12"
            seen, ended, _ = on_terminal("cert", "export", "0ABC", "--with-key", "--to", str(new), *at,
                                         answers=[(b"(a new one): ", b"new one\n"), (b"(again): ", again + b"\n")])
            self.assertEqual((ended, new.exists()), (status, status == 0), seen)
        openssl("pkcs12", "-in", new, "-passin", "pass:new one", "-noout")


class SendTest(SecureTest):
    def setUp(self):
        super().setUp()
        for name in ("jane", "max", "joe"):
            self.make(name, {"jane": "0x1", "max": "0x2", "joe": "0x3"}[name])
        self.give("jane")
        self.give("joe")
        people = self.root / "current_user/registry/Software/Microsoft/SystemCertificates/AddressBook"
        people.mkdir(parents=True)
        shutil.copy(self.folder / "max.pem", people)
        self.server = self.serving()

    def send(self, *args):
        return self.server.send("--certificates", str(self.root), "--from", "jane@example.org", "--to", "max@example.org",
                                "--subject", "s", "--body", "100 pieces", *map(str, args))

    def test_signs_and_encrypts(self):
        joe, max_file = self.folder / "joe.pem", self.folder / "max.pem"
        signed_by = b"Signed        the whole message, valid, by %s"
        rows = [
            (("--sign",), "jane", [signed_by % b"Jane"]),
            (("--encrypt",), "max", []),
            (("--sign", "--encrypt"), "max", [signed_by % b"Jane"]),
            (("--sign", "--cert", joe), "jane", [signed_by % b"Joe"]),
            (("--sign", "--cert", "joe@example.org"), "jane", [signed_by % b"Joe"]),
            (("--encrypt", "--cert", "01"), "jane", []),
            (("--sign", "--encrypt", "--cert", joe, "--signer", joe), "joe", [signed_by % b"Joe"]),
            (("--sign", "--signer", "joe"), "jane", [signed_by % b"Joe"]),
            (("--encrypt", "--cert", max_file, "--cipher", "rc2"), "max", []),
        ]
        self.give("max")
        for args, reader, told in rows:
            with self.subTest(args):
                result = self.send(*args)
                self.check(result, 0)
                self.assertEqual(result.stderr, b"")
                text = self.server.kept()[-1][1]
                self.assertEqual(b"100 pieces" in text, "--encrypt" not in args)
                shown = self.run_in("show", self.file("m.eml", text)).stdout
                self.assertIn(b"  100 pieces", shown)
                self.assertEqual([line.split(b" <")[0] for line in shown.split(b"\n") if line.startswith(b"Signed")], told)
                self.assertEqual(b"Encrypted     the whole message, opened, for " + reader.title().encode() in shown,
                                 "--encrypt" in args, shown)

    def test_the_cipher_is_a_strong_one(self):
        self.check(self.send("--encrypt"), 0)
        der = base64.b64decode(self.server.kept()[-1][1].partition(b"\r\n\r\n")[2])
        self.assertIn(b"des-ede3-cbc", openssl("asn1parse", "-inform", "DER", data=der))

    def test_what_cannot_be_done(self):
        people = self.file("list", "max@example.org\n")
        rows = [
            (("--sign", "--from", "nobody@example.org"), 5, b"No certificates for signing could be located"),
            (("--encrypt", "--to", "x@example.org", "--cert", "nobody"), 5, b"there is no certificate of nobody"),
            (("--sign", "--cert", "max@example.org"), 5, b"not sent: the mail cannot be signed or encrypted"),
            (("--sign", "--cert", self.file("garbage", "x")), 5, b"cannot read a certificate"),
            (("--cert", "max"), 2, b"--cert is for --sign and --encrypt"),
            (("--signer", "max"), 2, b"--signer"),
            (("--encrypt", "--cipher", "rot13"), 2, b"--cipher"),
            (("--sign", "--cert", "joe", "--signer", "jane"), 2, b"both name who signs"),
        ]
        for args, status, said in rows:
            with self.subTest(args):
                base = ["--certificates", str(self.root), "--subject", "s", "--body", "b"]
                if "--from" not in args:
                    base += ["--from", "jane@example.org"]
                self.check(self.server.send(*base, "--to", "max@example.org", *map(str, args)), status, said)
        for what in ("--sign", "--encrypt"):
            result = self.server.send("--from", "jane@example.org", "--list", people, "--body", "b", what)
            self.check(result, 2, b"a mail to a list")
        self.assertEqual(self.server.kept(), [])

    def test_others_are_told_of(self):
        self.check(self.send("--encrypt", "--cc", "joe@example.org"), 0, b"encrypted for max@example.org alone")
        self.check(self.send("--sign", "--cc", "joe@example.org"), 0)
        self.check(self.send("--encrypt", "--dry-run"), 0, b"before it is signed or encrypted")
        self.assertEqual(len(self.server.kept()), 2)

    def test_answers_are_signed_and_encrypted_too(self):
        asked = self.file("asked.eml", b"From: max@example.org\r\nTo: jane@example.org\r\nSubject: s\r\n" +
                          self.encrypted("jane", b"Content-Type: text/plain\r\n\r\nhow many?\r\n"))
        at = ("--certificates", str(self.root), "--server", f"127.0.0.1:{self.server.port}", "--from", "jane@example.org")
        self.give("max")
        for command in (("reply",), ("forward", "--to", "max@example.org")):
            result = quorvel(command[0], asked, *at, *command[1:], "--body", "100 pieces", "--sign", "--encrypt")
            self.check(result, 0)
            self.assertEqual(result.stderr, b"")
            text = self.server.kept()[-1][1]
            self.assertNotIn(b"pieces", text)
            shown = self.run_in("show", self.file("m.eml", text)).stdout
            for told in (b"Encrypted     the whole message, opened, for Max", b"Signed        the whole message, valid, by Jane",
                         b"100 pieces", b"how many?"):
                self.assertIn(told, shown)
        self.check(quorvel("reply", asked, *at, "--body", "b", "--sign"), 0, b"without --encrypt")
        self.check(quorvel("reply", asked, *at, "--body", "b", "--sign", "--save", self.file("saved")), 2, b"--save")

    def test_a_certificate_that_came_with_mail_is_told(self):
        received = self.root / "local_machine/registry/Software/Quorvel/SystemCertificates"
        received.mkdir(parents=True)
        shutil.copy(self.folder / "max.pem", received)
        self.check(self.send("--encrypt"), 0, b"came with received mail")
        result = self.send("--encrypt", "--cert", self.folder / "max.pem")
        self.assertEqual((result.returncode, result.stderr), (0, b""))

    def test_no_secret_is_logged(self):
        result = self.send("--sign", "--encrypt", "--log", "--log-xml", self.folder / "log.xml")
        self.check(result, 0)
        key = (self.folder / "jane.key").read_bytes().splitlines()[1]
        for text in (result.stdout, result.stderr, (self.folder / "log.xml").read_bytes()):
            self.assertNotIn(b"100 pieces", text)
            self.assertNotIn(key, text)


if __name__ == "__main__":
    unittest.main()
