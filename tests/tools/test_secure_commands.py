"""Signed and encrypted mail by the program `quorvel`: what show tells of it. Certificates and messages are made by the
program openssl."""

import os
import pathlib
import shutil
import subprocess
import unittest

from program import ProgramTest, quorvel

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


if __name__ == "__main__":
    unittest.main()
