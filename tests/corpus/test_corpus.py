"""Every message of a collection of real and hostile mail is read, written and read again.

The collection is found by the variable QUORVEL_CORPUS: message files below messages/, and below oracle/ what an
independent reader makes of some of them. Differences that stand are in differences.txt, each with its rule.
"""

import base64
import fnmatch
import hashlib
import json
import os
import subprocess
import unittest

HERE = os.path.dirname(os.path.abspath(__file__))
CORPUS = os.environ.get("QUORVEL_CORPUS", "")
READER = os.environ.get("QUORVEL_CORPUS_READER", "")


def differences():
    """[(kind, pattern of file names, rule)]; kind is "again" or "oracle"."""
    rows = []
    with open(os.path.join(HERE, "differences.txt")) as file:
        for line in file:
            line = line.strip()
            if line and not line.startswith("#"):
                kind, pattern, rule = line.split(None, 2)
                rows.append((kind, pattern, rule))
    return rows


def explained(rows, kind, name, used):
    for row in rows:
        if row[0] == kind and fnmatch.fnmatchcase(name, row[1]):
            used.add(row)
            return True
    return False


def run_reader(paths):
    """{name: what the reader says of the file at paths[name]}, for as many as it read; fails when it failed."""
    run = subprocess.run([READER], input="\n".join(paths.values()).encode(), capture_output=True)
    lines = run.stdout.splitlines()
    if run.returncode != 0 or run.stderr or len(lines) != len(paths):
        words = run.stderr.decode(errors="replace")
        raise AssertionError(f"{READER} read {len(lines)} of {len(paths)} files: {run.returncode} {words}")
    return {name: json.loads(line) for name, line in zip(paths, lines)}


def message_files():
    root = os.path.join(CORPUS, "messages")
    found = []
    for folder, _, names in os.walk(root):
        found += [os.path.relpath(os.path.join(folder, name), root) for name in names]
    return sorted(found)


@unittest.skipUnless(CORPUS, "QUORVEL_CORPUS is not set")
class CorpusTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        cls.files = message_files()
        cls.read = run_reader({name: os.path.join(CORPUS, "messages", name) for name in cls.files})
        cls.rows = differences()

    def test_every_file_is_read(self):
        self.assertGreater(len(self.files), 0, "no message found")

    def test_what_is_written_reads_as_the_same_tree(self):
        used = set()
        faults = []
        for name, seen in self.read.items():
            if seen["dump"] != seen["again"] and not explained(self.rows, "again", name, used):
                faults.append(name)
        self.assertEqual(faults, [])
        idle = [row for row in self.rows if row[0] == "again" and row not in used]
        self.assertEqual(idle, [], "these rows explain nothing any more")

    def test_leaves_are_those_of_an_independent_reader(self):
        used = set()
        faults = []
        compared = 0
        folder = os.path.join(CORPUS, "oracle")
        for entry in sorted(os.listdir(folder)):
            with open(os.path.join(folder, entry)) as file:
                oracle = json.load(file)
            if oracle.get("kind") != "message" or oracle["file"] not in self.read:
                continue
            compared += 1
            wanted = [(leaf["type"], leaf["length_lf"], leaf["sha256_lf"]) for leaf in oracle["leaves"]]
            if self.leaves(oracle["file"]) != wanted and not explained(self.rows, "oracle", oracle["file"], used):
                faults.append(oracle["file"])
        self.assertGreater(compared, 0, "nothing was compared")
        self.assertEqual(faults, [])
        idle = [row for row in self.rows if row[0] == "oracle" and row not in used]
        self.assertEqual(idle, [], "these rows explain nothing any more")

    def leaves(self, name):
        found = []
        for leaf in self.read[name]["leaves"]:
            # Line ends made uniform, as the other reader's are.
            body = base64.b64decode(leaf["body"]).replace(b"\r\n", b"\n").replace(b"\r", b"\n")
            found.append((leaf["type"] or "text/plain", len(body), hashlib.sha256(body).hexdigest()))
        return found


if __name__ == "__main__":
    unittest.main()
