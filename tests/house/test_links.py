"""Every link in the documentation leads somewhere: to a file of the project, and to a place in it."""
import re
import unittest
from pathlib import Path

ROOT = Path(__file__).resolve().parents[2]
PAGES = [*ROOT.glob("*.md"), *(ROOT / "docs").rglob("*.md")]


def without_code(text):
    return re.sub(r"^```.*?^```$|`[^`\n]*`", "", text, flags=re.MULTILINE | re.DOTALL)


def places(path):
    """What a link into a page can name: its headings, as Markdown readers make names of them, and its own names."""
    text = re.sub(r"^```.*?^```$", "", path.read_text(encoding="utf-8"), flags=re.MULTILINE | re.DOTALL)
    headings = re.findall(r"^#+ (.*)$", text, re.MULTILINE)
    named = {re.sub(r"[^\w -]", "", each.lower()).replace(" ", "-") for each in headings}
    return named | set(re.findall(r'<a id="([^"]+)">', text))


class Links(unittest.TestCase):
    def test_every_link_leads_somewhere(self):
        known, count = {}, 0
        for page in PAGES:
            for target in re.findall(r"\]\(\s*([^)\s]+)\s*\)", without_code(page.read_text(encoding="utf-8"))):
                if re.match(r"\w+:", target):
                    continue
                count += 1
                name, _, place = target.partition("#")
                path = (page.parent / name).resolve() if name else page
                with self.subTest(page=page.relative_to(ROOT), target=target):
                    self.assertTrue(path.exists(), "there is no such file")
                    if place:
                        known.setdefault(path, places(path))
                        self.assertIn(place, known[path])
        self.assertGreater(count, 100)


if __name__ == "__main__":
    unittest.main()
