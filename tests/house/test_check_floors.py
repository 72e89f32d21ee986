"""scripts/check_floors.py accepts what keeps to the floors and refuses what does not."""
import subprocess
import sys
import tempfile
import unittest
from pathlib import Path

SCRIPT = Path(__file__).resolve().parents[2] / "scripts" / "check_floors.py"

GOOD = [
    ("src/platform/tcp.cc", "#include <sys/socket.h>\n#include <openssl/cms.h>\n#include \"platform/tcp.h\""),
    ("src/core/text.cc", "#include \"core/text.h\"\n#include <cstring>\n#include \"platform/files.h\""),
    ("src/core/text.cc", "/*\n#include \"api/x.h\"\n*/\n// #include <unistd.h>"),
    ("src/mime/codec.cc", "#include <immintrin.h>"),
    ("src/mailman/kernel.cc", "#include <immintrin.h>"),
    ("src/api/object.cc", "#include \"mailman/outbox.h\"\n#include <quorvel/quorvel.h>"),
    ("include/quorvel/value.h", "#include <string>\n#include <quorvel/quorvel.h>"),
    ("include/quorvel/plain_c.h", "#include <stddef.h>\nsize_t quorvel_f(void);"),
    ("tools/quorvel/main.cc", "#include <CLI/CLI.hpp>\n#include <quorvel/quorvel.h>\n#include <unistd.h>"),
]

BAD = [
    ("src/core/text.cc", "#include \"mime/mime_body.h\"", "goes up a floor"),
    ("src/email/email.h", "  #  include \"net/socket.h\"", "goes up a floor"),
    ("src/mime/a.cc", "#include \"../api/x.h\"", "not written from src/"),
    ("src/mime/a.cc", "#include \"mime_body.h\"", "not written from src/"),
    ("src/net/socket.cc", "#include <sys/socket.h>", "only src/platform"),
    ("src/email/smime.cc", "#include <openssl/cms.h>", "only src/platform"),
    ("src/email/a.cc", "#include <immintrin.h>", "only src/platform"),
    ("src/email/a.cc", "#include <quorvel/quorvel.h>", "only src/api"),
    ("src/email/a.cc", "#define H <string>\n#include H", "by macro"),
    ("src/attic/a.cc", "", "no floor"),
    ("include/quorvel/value.h", "#include <unistd.h>", "public headers"),
    ("include/quorvel/value.h", "#include \"core/text.h\"", "public headers"),
    ("include/quorvel/value.h", "inline std::string f() { return {}; }", "does not compile alone"),
    ("include/quorvel/plain_c.h", "namespace quorvel {}", "does not compile alone as c"),
    ("tools/quorvel/main.cc", "#include \"core/text.h\"", "host like any other"),
]


def check(name, text):
    with tempfile.TemporaryDirectory() as folder:
        for path, content in (("include/quorvel/quorvel.h", "#pragma once\n"), ("src/core/a.h", ""), (name, text)):
            file = Path(folder, path)
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(content + "\n")
        result = subprocess.run([sys.executable, str(SCRIPT), folder], capture_output=True, text=True)
        return result.returncode, result.stdout + result.stderr


class CheckFloors(unittest.TestCase):
    def test_good(self):
        for name, text in GOOD:
            with self.subTest(name=name, text=text):
                self.assertEqual(check(name, text), (0, ""))

    def test_bad(self):
        for name, text, why in BAD:
            with self.subTest(name=name, text=text):
                status, output = check(name, text)
                self.assertEqual(status, 1, output)
                self.assertIn(why, output)
                self.assertEqual(output.count("\n"), 1, output)


if __name__ == "__main__":
    unittest.main()
