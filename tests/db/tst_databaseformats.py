# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""Reads with a reader written from the documents what the databases wrote.

usage: tst_databaseformats.py FOLDER_OF_STOREREADER SAMPLEDATABASES
"""

import json
import subprocess
import sys
import unittest

sys.path.insert(0, sys.argv[1])
from databasereader import Catalog, Recent  # noqa: E402
from storereader import order  # noqa: E402

SAMPLE = sys.argv[2]


class DatabaseFormats(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.told = json.loads(subprocess.run([SAMPLE], stdout=subprocess.PIPE, check=True).stdout)

    def compare_keys(self, keys, expected):
        for found, made in zip(keys, expected, strict=True):
            self.assertEqual([order(item) for item in found], sorted(map(order, made)))

    def test_products_are_those_put_in(self):
        catalog = Catalog(self.told["catalogFile"])
        self.assertEqual(len(catalog.products), 120)
        self.assertEqual(sorted(catalog.products.values(), key=lambda p: p["serial"]),
                         self.told["products"])

    def test_keys_lead_to_the_products(self):
        catalog = Catalog(self.told["catalogFile"])
        self.compare_keys(catalog.keys, catalog.expected_keys())
        self.compare_keys(catalog.dependency_keys, catalog.expected_dependency_keys())

    def test_applications_are_those_put_in(self):
        recent = Recent(self.told["recentFile"])
        self.assertEqual(len(recent.items), 50)
        self.assertEqual(sorted(recent.items.values(), key=lambda i: i["serial"]),
                         self.told["recent"])
        self.compare_keys(recent.keys, recent.expected_keys())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
