# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Reads what the store wrote with a reader that knows only docs/file-formats.md,
and compares; then compares the page's own dumps with those files.

Usage: tst_fileformats.py SAMPLESTORE PAGE"""

import json
import os
import re
import subprocess
import sys
import tempfile
import unittest

from storereader import DataFile, Index, Notes, order, read_file

SAMPLESTORE, PAGE = sys.argv[1:3]


class FileFormats(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.TemporaryDirectory()
        run = subprocess.run([SAMPLESTORE, cls.folder.name], stdout=subprocess.PIPE, check=True)
        cls.told = json.loads(run.stdout)

    @classmethod
    def tearDownClass(cls):
        cls.folder.cleanup()

    def path(self, name):
        return os.path.join(self.folder.name, name)

    def test_data_files(self):
        self.assertGreaterEqual(len(self.told["data"]), 3)
        for name, told in self.told["data"].items():
            with self.subTest(name):
                file = DataFile(self.path(name), told["recordLength"])
                live = {int(number): bytes.fromhex(record)
                        for number, record in told["live"].items()}
                self.assertEqual(file.count, told["count"])
                self.assertEqual(file.live(), live)
                chain = file.free_chain()
                self.assertEqual(len(chain), file.deleted_count)
                self.assertEqual(set(chain) | set(live), set(range(1, file.count)))
                self.assertEqual((file.stored_count, file.record_count, file.root_page),
                                 (file.count, file.count, 0))
                self.assertEqual(file.version, b"4.2a")

    def test_indexes(self):
        self.assertGreaterEqual(len(self.told["indexes"]), 10)
        for name, told in self.told["indexes"].items():
            with self.subTest(name):
                index = Index(self.path(name), told["keyLength"])
                items = index.items()
                self.assertEqual(items, [(bytes.fromhex(key), record)
                                         for key, record in told["items"]])
                self.assertEqual(index.depth, told["depth"])
                self.assertEqual(items, sorted(items, key=order))
                chain = index.file.free_chain()
                self.assertEqual(len(chain), told["freePages"])
                self.assertEqual(sorted(index.reached + chain), list(range(1, told["count"])))

    def test_three_levels_and_free_pages_are_among_them(self):
        told = self.told["indexes"]
        for key_length in (9, 40, 150):
            for equal in ("", "-equal"):
                self.assertEqual(told[f"deep-{key_length}{equal}.idx"]["depth"], 3)
        self.assertGreater(told["shrunk.idx"]["freePages"], 0)

    def test_the_last_key_of_a_full_wide_page_is_cut(self):
        keys = [key for key, _ in Index(self.path("full-150.idx"), 150).items()]
        self.assertEqual([len(key) for key in keys], [150] * 49 + [102])

    def test_notes(self):
        hidden = {"seven-free": {(30, 28)}}
        self.assertGreaterEqual(len(self.told["notes"]), 6)
        for name, told in self.told["notes"].items():
            with self.subTest(name):
                notes = Notes(self.path(name))
                texts = {int(offset): bytes.fromhex(text) for offset, text in told.items()}
                self.assertEqual({offset: notes.text(offset) for offset in texts}, texts)
                blocks = notes.blocks()
                free = {(length - 8, offset) for offset, status, length in blocks if status == 1}
                used = {(length - 8, offset) for offset, status, length in blocks if status == 0}
                looks_used = notes.listed - free
                self.assertLessEqual(free, notes.listed)
                self.assertLessEqual(looks_used, used)
                self.assertEqual({offset for _, offset in used - looks_used}, set(texts))
                if name != "many":
                    self.assertEqual(looks_used, hidden.get(name, set()))

    def test_the_same_operations_give_the_same_files(self):
        environment = dict(os.environ, PAKMART_TEST_SEED="7")
        with tempfile.TemporaryDirectory() as one, tempfile.TemporaryDirectory() as other:
            for folder in (one, other):
                subprocess.run([SAMPLESTORE, folder], stdout=subprocess.DEVNULL, check=True,
                               env=environment)
            self.assertGreater(len(os.listdir(one)), 20)
            for name in os.listdir(one):
                self.assertEqual(read_file(os.path.join(one, name)),
                                 read_file(os.path.join(other, name)), name)

    # ---- the page itself ----

    def dumps(self):
        with open(PAGE, encoding="utf-8") as page:
            return re.findall(r"^```hexdump (\S+)( in parts)?\n(.*?)^```$", page.read(),
                              re.MULTILINE | re.DOTALL)

    @staticmethod
    def dump_line(line):
        """The offset and the bytes of one line of a dump."""
        zeros = re.fullmatch(r"([0-9a-f]{8})\.\.([0-9a-f]{8})", line)
        if zeros:
            first, last = (int(part, 16) for part in zeros.groups())
            return first, bytes(last + 1 - first)
        shown = re.fullmatch(r"([0-9a-f]{8})  ([0-9a-f]{2}(?: [0-9a-f]{2})*)(?:  .*)?", line)
        return int(shown[1], 16), bytes.fromhex(shown[2])

    def test_the_dumps_are_those_of_the_files(self):
        dumps = self.dumps()
        self.assertEqual(len(dumps), 10)
        for name, in_parts, text in dumps:
            content = read_file(self.path(name))
            end = 0
            for line in text.splitlines():
                with self.subTest(f"{name}: {line}"):
                    offset, shown = self.dump_line(line)
                    self.assertEqual(content[offset:offset + len(shown)].hex(" "), shown.hex(" "))
                    if not in_parts:
                        self.assertEqual(offset, end)
                    end = offset + len(shown)
            if not in_parts:
                self.assertEqual(end, len(content), name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
