# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""A package index through import, server, update, file, reader and database, and what
comparecatalog.py says of it then: nothing, and of each change of the index one thing.

usage: tst_importedcatalog.py STORESERVER PAKMART READCATALOG FOLDER_OF_TESTS
"""

import os
import subprocess
import sys
import unittest

SERVER, PAKMART, READCATALOG, TESTS = sys.argv[1:5]
READERS = [os.path.join(TESTS, "store"), os.path.join(TESTS, "db")]
COMPARE = os.path.join(TESTS, "integration", "comparecatalog.py")
DIR, ROOT = os.environ["TEST_DIR"], os.environ["PAKMART_SYSROOT"]
DATA = ROOT + "/usr/share/apps/vantrelagent/"
INDEX, STORE = DIR + "/Packages", DIR + "/store"

# What a description may hold, and what a server and an agent must not trip over.
TEXTS = ["plain words", "C++ + C", "100% 5% %41", "\"quotes\" and it's", "<b> & &amp;",
         "back\\slash", "Möbius and Кости", "骰子 🎲", "two\n lines", "a\n b\n .\n c", "é" * 3000]


def stanza(name, version="1.0-1", **fields):
    values = {"Package": name, "Version": version, "Architecture": "all", "Section": "misc",
              "Description": "the package " + name, "Size": "1000", "SHA256": "0" * 64,
              "Filename": f"pool/main/x/{name}_{version.replace(':', '%3a')}_all.deb"}
    values.update({key.replace("_", "-"): value for key, value in fields.items()})
    return "".join(f"{key}: {value}\n" for key, value in values.items() if value is not None)


def make_index():
    """The stanzas of an index with what is seen in real ones, and what could be."""
    result = [stanza(f"text{place}", Description=text, Section=f"section{place % 4}")
              for place, text in enumerate(TEXTS)]
    result += [stanza("libgtk++", "1:2.0+ds~rc1-3", Depends="libc6 (>= 2.36), lib++ | other, some:any"),
               stanza("twice", "1.9-1"), stanza("twice", "1.10-1"), stanza("twice", "1.2-1"),
               stanza("without-section", Section=None),
               stanza("strange-section", Section="two words"),
               stanza("homepage", Homepage="https://example.org/a?b=1&c=%2B#d"),
               stanza("no-homepage", Homepage="javascript:alert(1)"),
               stanza("large", Size="2147483647"), stanza("larger", Size="2147483648"),
               stanza("both", Pre_Depends="libc6, dpkg (>= 1)", Depends="libc6 (>= 2), perl"),
               stanza("same-twice", Depends="libone (>= 1), libone (<< 2)"),
               stanza("needs-long", Depends="lib" + "x" * 60)]
    start = "a-package-whose-name-is-longer-than-the-index-keeps"
    result += [stanza(start + end, "9" * 60, Depends="libc6") for end in ("-dev", "-doc")]
    result += [stanza(f"many{number:04}", Section=f"section{number % 7}", Size=str(number + 1),
                      Depends=", ".join(f"lib{n}" for n in range(number % 6)) or None)
               for number in range(400)]
    return result


class ImportedCatalog(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.index = make_index()
        cls.write(cls.index)
        subprocess.run([SERVER, "import", "--archive", "http://127.0.0.1:1/debian", INDEX, STORE],
                       stdout=subprocess.DEVNULL, check=True)
        cls.server = subprocess.Popen([SERVER, "--port", "0", STORE], stdout=subprocess.PIPE,
                                      text=True)
        address = cls.server.stdout.readline().split()[-1]
        with open(DATA + ".vauf", "w", encoding="utf-8") as settings:
            settings.write(f"agent api url = {address}getagentapi.php\n")
        subprocess.run([PAKMART, "update"], stdout=subprocess.DEVNULL, check=True)

    @classmethod
    def tearDownClass(cls):
        cls.server.terminate()
        cls.server.communicate()

    @staticmethod
    def write(stanzas):
        with open(INDEX, "w", encoding="utf-8") as file:
            file.write("\n".join(stanzas))

    def compare(self, stanzas):
        """What is said of an index: exit status and lines."""
        self.write(stanzas)
        done = subprocess.run([sys.executable, "-B", COMPARE, INDEX, READCATALOG, *READERS],
                              stdout=subprocess.PIPE, text=True, check=False)
        return done.returncode, done.stdout.splitlines()

    def changed(self, number, old, new):
        self.assertIn(old, self.index[number])
        index = list(self.index)
        index[number] = index[number].replace(old, new)
        return self.compare(index)

    def test_every_product_is_as_the_index_says(self):
        status, lines = self.compare(self.index)
        count = len(self.index) - 2
        self.assertEqual(lines, [f"{place}: {count} products, 0 differ"
                                 for place in ("file", "reader", "database")]
                         + [f"{count} products compared, 0 differ"])
        self.assertEqual(status, 0)

    def test_a_field_that_differs_is_found_everywhere(self):
        of_many = next(n for n, text in enumerate(self.index) if "Package: many0005\n" in text)
        for old, new in (("Version: 1.0-1", "Version: 1.0-2"), ("Size: 6", "Size: 7"),
                         ("Section: section5", "Section: section4"), ("lib4", "lib5"),
                         ("the package", "The package"), ("Depends: lib0, ", "Depends: "),
                         ("Architecture:", "Homepage: http://h/\nArchitecture:")):
            with self.subTest(new):
                status, lines = self.changed(of_many, old, new)
                self.assertEqual(status, 1)
                self.assertEqual(len(lines), 7, lines)
                self.assertTrue(lines[-1].endswith(" 3 differ"), lines)

    def test_a_missing_and_a_strange_product_are_found(self):
        status, lines = self.compare(self.index + [stanza("zzz")])
        self.assertEqual(status, 1)
        self.assertEqual(sum(line.endswith("(zzz) is missing") for line in lines), 3)
        # The last one by name, so that the numbers of the others stay.
        status, lines = self.compare([text for text in self.index
                                      if "Package: without-section\n" not in text])
        self.assertEqual(status, 1)
        self.assertEqual(sum(line.endswith(" is not in the index") for line in lines), 3)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
