"""Every message is written as an XML document and read back: the test data, and the collection of test_corpus.py.

Differences that stand are in differences.txt, each with its rule. What the XML form of no message carries is left out of
the comparison by the reader program (corpus_reader.cc):

  comparableName    the case of names; blanks and markup in them, which are an underscore each
  comparableValue   of an address field all but its addresses; of other fields the place, quoting and escaping of
                    parameters, white space, the case of what is no parameter, the parentheses of Received, control bytes
  dumpForXml        the text of a multipart around its parts; entities without fields; white space around a body of one
                    line; control bytes in bodies that are not encoded
  comparableBody    lone LFs in bodies that are not encoded
"""

import base64
import os
import re
import unittest
from xml.parsers import expat

import test_corpus

DATA = os.path.join(test_corpus.HERE, "..", "data")


def fault_in(document):
    """What another XML reader minds; None when nothing.

    Bodies and fields have whatever bytes the mail had: control bytes are no part of XML, and a text that is not UTF-8
    is read as bytes.
    """
    document = re.sub(rb"[\x00-\x08\x0b\x0c\x0e-\x1f]", b"", document)
    faults = []
    for encoding in ("utf-8", "iso-8859-1"):
        try:
            expat.ParserCreate(encoding).Parse(document, True)
            return None
        except (expat.ExpatError, ValueError) as error:
            faults.append(str(error))
    return faults[-1]


class XmlTest(unittest.TestCase):
    maxDiff = None

    @classmethod
    def setUpClass(cls):
        names = {"data/" + name: os.path.join(DATA, name) for name in os.listdir(DATA) if name.endswith(".eml")}
        if test_corpus.CORPUS:
            root = os.path.join(test_corpus.CORPUS, "messages")
            names.update({name: os.path.join(root, name) for name in test_corpus.message_files()})
        cls.read = test_corpus.run_reader(names)
        cls.rows = test_corpus.differences()

    def explained(self, kind, differs):
        """Every file that differs has a row, and every row of this kind a file."""
        used = set()
        faults = []
        for name, seen in self.read.items():
            if differs(seen) and not test_corpus.explained(self.rows, kind, name, used):
                faults.append((name, differs(seen)))
        self.assertEqual(faults, [])
        if test_corpus.CORPUS:
            idle = [row for row in self.rows if row[0] == kind and row not in used]
            self.assertEqual(idle, [], "these rows explain nothing any more")

    def test_every_message_is_there(self):
        self.assertGreater(len(self.read), 0)
        self.assertTrue(any(seen["after_xml"] for seen in self.read.values()))

    def test_a_document_reads_as_the_message(self):
        self.explained("xml", lambda seen: seen["before_xml"] != seen["after_xml"])

    def test_documents_are_well_formed(self):
        def fault(seen):
            return seen["after_xml"] and fault_in(base64.b64decode(seen["xml"]))

        self.explained("form", fault)


if __name__ == "__main__":
    unittest.main()
