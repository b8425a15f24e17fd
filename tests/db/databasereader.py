# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""A reader of the agent's databases, written from docs/databases.md, on the
reader of the record store's files."""

import os
import struct

from storereader import DataFile, Index, Notes


def text(record, offset, length):
    return record[offset:offset + length].split(b"\0")[0].decode()


def number(record, offset):
    return struct.unpack_from("<i", record, offset)[0]


class Catalog:
    """The products of a catalog, with what they depend on."""

    TEXTS = {"category": (4, 76), "name": (80, 51), "package": (131, 257),
             "version": (392, 51), "price": (957, 10), "released": (980, 11),
             "ranking": (1021, 11), "url": (1297, 257), "author": (1554, 458)}
    NUMBERS = {"serial": 976, "downloads": 1032, "size": 1036}

    def __init__(self, path):
        folder = os.path.dirname(path)
        self.records = DataFile(path, 2012).live()
        notes = Notes(os.path.join(folder, ".VACatalogNotes"))
        depends = DataFile(os.path.join(folder, ".VADepends.fil"), 60).live()
        names = {}
        for record in depends.values():
            names.setdefault(number(record, 56), []).append(text(record, 4, 52))
        self.products = {}
        for place, record in self.records.items():
            product = {key: text(record, *at) for key, at in self.TEXTS.items()}
            product.update({key: number(record, at) for key, at in self.NUMBERS.items()})
            product["installed"] = record[967]
            offset = number(record, 388)
            product["description"] = "" if offset == -1 else notes.text(offset).decode()
            product["dependencies"] = sorted(names.get(place, []))
            self.products[place] = product
        base = path[:-len("fil")]
        self.keys = [Index(base + "k" + str(which), length).items()
                     for which, length in ((1, 110), (2, 50), (3, 50), (4, 20))]
        base = os.path.join(folder, ".VADepends.k")
        self.dependency_keys = [Index(base + which, 58).items() for which in "12"]
        self.depends = depends

    def expected_keys(self):
        """Each index's items, made of the records."""
        keys = [[], [], [], []]
        for place, product in self.products.items():
            category = product["category"].encode()[:60].ljust(60)
            keys[0].append((category + product["name"].encode(), place))
            keys[1].append((product["name"].encode(), place))
            keys[2].append((product["package"].encode()[:50], place))
            keys[3].append((b"%020d" % product["serial"], place))
        return keys

    def expected_dependency_keys(self):
        by_parent, by_name = [], []
        for place, record in self.depends.items():
            name, parent = text(record, 4, 52).encode(), number(record, 56)
            by_parent.append((b"%8d" % parent + name, place))
            by_name.append((name.ljust(50) + b"%8d" % parent, place))
        return [by_parent, by_name]


class Recent:
    """The applications used last."""

    TEXTS = {"description": (12, 61), "program": (73, 128), "icon": (201, 256),
             "small": (457, 131)}
    NUMBERS = {"serial": 8, "used": 588}

    def __init__(self, path):
        self.items = {}
        for place, record in DataFile(path, 792).live().items():
            item = {key: text(record, *at) for key, at in self.TEXTS.items()}
            item.update({key: number(record, at) for key, at in self.NUMBERS.items()})
            self.items[place] = item
        base = path[:-len("fil")]
        self.keys = [Index(base + "k" + str(which), length).items()
                     for which, length in ((1, 72), (2, 60), (3, 20))]

    def expected_keys(self):
        keys = [[], [], []]
        for place, item in self.items.items():
            keys[0].append((b"%12d" % item["used"] + item["description"].encode(), place))
            keys[1].append((item["description"].encode(), place))
            keys[2].append((b"%020d" % item["serial"], place))
        return keys
