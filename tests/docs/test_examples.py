"""Every program in the documentation is built and run, against `quorvel serve`, and prints what stands below it.

The programs of a page and a language run one after the other, on one server and in one folder, a copy of examples/. A
block that does not begin a program (Python: that imports nothing; C++: without main) goes on where the one before it
ended. A block of the kind `text` is what each program above it, as far as the last heading, prints.
"""
import os
import pathlib
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.insert(0, str(ROOT / "tests" / "tools"))

from program import Serving, TOOL  # noqa: E402

LIBRARY = os.environ.get("QUORVEL_LIBRARY")
BLOCK = re.compile(r"^(#+ [^\n]*)$|^```(\w+)\n(.*?)^```$", re.MULTILINE | re.DOTALL)
BEGINS = {"python": "import ", "cpp": "int main(", "c": "int main("}
COMPILERS = {"cpp": ("c++", ".cc", ["-std=c++20"]), "c": ("cc", ".c", ["-std=c99", "-pedantic"])}
PAGES = {  # how many programs of which language each has, so that none is overlooked
    "README.md": {"python": 2, "cpp": 1},
    "docs/guide.md": {"python": 11, "cpp": 11},
    "docs/embedding.md": {"python": 1, "cpp": 1, "c": 1},
    "docs/log.md": {"python": 1, "cpp": 1},
    "docs/filters.md": {"python": 1, "cpp": 1},
    "docs/xml.md": {"python": 1, "cpp": 1},
    "docs/secure-mail.md": {"python": 1, "cpp": 1},
}
CAME_OUT = {  # what stands in all that the programs of a page print and the server keeps
    "README.md": ["it works."],
    "docs/embedding.md": ["100 %\n", "Subject: Three languages"],
    "docs/log.md": ["SMTP_Connect: Failed to connect\n", "<error"],
}


class Program:
    def __init__(self, title, text):
        self.title = title
        self.text = text
        self.printed = None  # anything


def programs(page):
    """Those of a page by language, in their order."""
    found, title = {}, ""
    since_heading = []
    for heading, language, text in BLOCK.findall((ROOT / page).read_text(encoding="utf-8")):
        if heading:
            title, since_heading = heading.lstrip("# "), []
        elif language == "text":
            for program in since_heading:
                program.printed = text
        elif language in BEGINS:
            of_language = found.setdefault(language, [])
            if BEGINS[language] in text or not of_language:
                of_language.append(Program(title, text))
                since_heading.append(of_language[-1])
            else:
                of_language[-1].text += text
    return found


def with_certificates(program, root):
    """The program with certificate stores below a directory of its own, not those of the user."""
    program = program.replace("import quorvel\n", f"import quorvel\nquorvel.set_certificate_root('{root}')\n")
    return program.replace("int main() {\n", f'int main() {{\n  quorvel::setCertificateRoot("{root}");\n')


def make_certificate(folder, root):
    """What docs/secure-mail.md tells to do first."""
    script = re.search(r"^```sh\n(.*?)^```$", (ROOT / "docs" / "secure-mail.md").read_text(encoding="utf-8"),
                       re.MULTILINE | re.DOTALL).group(1)
    script = re.sub(r"^quorvel cert (\w+)", rf"'{TOOL}' cert \1 --certificates '{root}'", script, flags=re.MULTILINE)
    subprocess.run(["bash", "-ec", script], cwd=folder, check=True, capture_output=True)


def built(program, language, folder):
    """How the program is run."""
    if language == "python":
        source = folder / "program.py"
        source.write_text(program, encoding="utf-8")
        return [sys.executable, source]
    compiler, suffix, options = COMPILERS[language]
    source = folder / f"program{suffix}"
    source.write_text(program, encoding="utf-8")
    subprocess.run([compiler, *options, "-Wall", "-Wextra", "-Werror", "-I", ROOT / "include", source, LIBRARY,
                    f"-Wl,-rpath,{pathlib.Path(LIBRARY).parent}", "-o", folder / "program"], check=True)
    return [folder / "program"]


@unittest.skipUnless(TOOL and LIBRARY, "QUORVEL_TOOL and QUORVEL_LIBRARY do not say what was built")
class Examples(unittest.TestCase):
    def check(self, language):
        for page, counts in PAGES.items():
            of_page = programs(page)
            self.assertEqual({name: len(each) for name, each in of_page.items()}, counts, page)
            if language in of_page:
                self.check_page(page, language, of_page[language])

    def check_page(self, page, language, of_page):
        if page == "docs/secure-mail.md" and not shutil.which("openssl"):
            return
        server = Serving("--pop3-port", "0")
        self.addCleanup(server.stop)
        with tempfile.TemporaryDirectory() as folder:
            folder = pathlib.Path(folder)
            examples = shutil.copytree(ROOT / "examples", folder / "examples")
            came_out = ""
            if page == "docs/secure-mail.md":
                make_certificate(folder, folder / "certificates")
            for number, program in enumerate(of_page):
                with self.subTest(page=page, program=number + 1, title=program.title):
                    text = program.text.replace("2525", str(server.port)).replace("1110", str(server.pop_port))
                    text = with_certificates(text, folder / "certificates")
                    result = subprocess.run(built(text, language, folder), cwd=examples, timeout=60, text=True,
                                            stdin=subprocess.DEVNULL, capture_output=True)
                    self.assertEqual((result.returncode, result.stderr), (0, ""))
                    if program.printed is not None:
                        self.assertEqual(result.stdout, program.printed)
                    came_out += result.stdout
        came_out += "".join(text.decode() for _, text in server.kept())
        for text in CAME_OUT.get(page, []):
            self.assertIn(text, came_out)

    def test_python(self):
        self.check("python")

    @unittest.skipUnless(shutil.which("c++"), "there is no C++ compiler")
    def test_cpp(self):
        self.check("cpp")

    @unittest.skipUnless(shutil.which("cc"), "there is no C compiler")
    def test_c(self):
        self.check("c")


if __name__ == "__main__":
    unittest.main()
