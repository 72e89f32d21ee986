"""The reference pages are those of the library's table of members."""
import importlib.util
import pathlib
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parent.parent.parent / "scripts" / "make_reference.py"


class Reference(unittest.TestCase):
    def test_pages_are_up_to_date(self):
        spec = importlib.util.spec_from_file_location("make_reference", SCRIPT)
        script = importlib.util.module_from_spec(spec)
        spec.loader.exec_module(script)
        self.assertEqual(script.outdated(script.pages()), [], "run ./dev python scripts/make_reference.py")


if __name__ == "__main__":
    unittest.main()
