"""The programs in docs/embedding.md build, run and send."""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

from smtp_server import SmtpServer

ROOT = pathlib.Path(__file__).resolve().parent.parent.parent


class Embedding(unittest.TestCase):
    def program(self, language):
        [text] = re.findall(rf"^```{language}\n(.*?)^```", (ROOT / "docs" / "embedding.md").read_text(),
                            re.MULTILINE | re.DOTALL)
        self.assertEqual(text.count("2525"), 1)
        return text

    def check(self, language, suffix, command_of):
        with tempfile.TemporaryDirectory() as folder, SmtpServer() as server:
            source = pathlib.Path(folder) / f"program{suffix}"
            source.write_text(self.program(language).replace("2525", str(server.port)))
            result = subprocess.run(command_of(source), capture_output=True, text=True)
            self.assertEqual((result.returncode, result.stderr), (0, ""))
            self.assertIn("100 %\n", result.stdout)
            [message] = server.messages
            self.assertIn(b"Subject: Three languages", message)

    def build(self, compiler, *options):
        library = os.environ.get("QUORVEL_LIBRARY")
        if not shutil.which(compiler) or not library:
            self.skipTest(f"no {compiler}, or QUORVEL_LIBRARY does not say where the library is")

        def command_of(source):
            program = source.with_suffix("")
            subprocess.run([compiler, *options, "-Wall", "-Wextra", "-Werror", "-I", ROOT / "include", source, library,
                            f"-Wl,-rpath,{pathlib.Path(library).parent}", "-o", program], check=True)
            return [program]
        return command_of

    def test_python(self):
        self.check("python", ".py", lambda source: [sys.executable, source])

    def test_cpp(self):
        self.check("cpp", ".cc", self.build("c++", "-std=c++20"))

    def test_c(self):
        self.check("c", ".c", self.build("cc", "-std=c99", "-pedantic"))


if __name__ == "__main__":
    unittest.main()
