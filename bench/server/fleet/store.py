# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""A store that is published in steps, each of which replaces one file: what a machine gets is
always that of one step."""

import hashlib
import os
import random
import struct
import zlib

# The packages whose archives are in the pool.
ARCHIVES = 20
STEPS = 3

WORDS = 'a store of games tools pictures sounds letters numbers maps and other things'.split()


def sum_of(data):
    return hashlib.sha256(data).hexdigest()


def picture(chance):
    """A PNG of 64 by 64 grey pixels."""
    def chunk(kind, data):
        return (struct.pack('>I', len(data)) + kind + data
                + struct.pack('>I', zlib.crc32(kind + data)))
    rows = b''.join(b'\0' + chance.randbytes(64) for _ in range(64))
    return (b'\x89PNG\r\n\x1a\n' + chunk(b'IHDR', struct.pack('>IIBBBBB', 64, 64, 8, 0, 0, 0, 0))
            + chunk(b'IDAT', zlib.compress(rows)) + chunk(b'IEND', b''))


class FleetStore:
    """The same numbers give the same store."""

    def __init__(self, folder, products, archive_size):
        self.folder = folder
        self._products = products
        chance = random.Random(1)
        self._texts = [' '.join(chance.choices(WORDS, k=40)) for _ in range(products)]
        self.archives = {self.archive_name(n): chance.randbytes(archive_size)
                         for n in range(1, ARCHIVES + 1)}
        pictures = [picture(chance) for _ in range(ARCHIVES)]
        self.pictures = {sum_of(data) + '.png': data for data in pictures}
        self._write_constant_files()

    @staticmethod
    def archive_name(number):
        return f'fleet{number}_1_all.deb'

    def _write_constant_files(self):
        for name, data in self.archives.items():
            self._write('pool/main/' + name, data)
        for name, data in self.pictures.items():
            self._write('pictures/' + name, data)
        self._write('icons', ''.join(f'Serial: {n}\nPicture: {name[:64]}\n\n'
                                     for n, name in enumerate(self.pictures, 1)))
        self._write('aisles', 'Name: All\nCategory: Games\nCategory: Tools\n')
        self._write('sources', 'Type: dep\nEntry: deb @SERVER@/pool/main ./\nTimestamp: 1\n')

    def write_profile(self):
        """The database takes this file away."""
        self._write('profile', ''.join(f'Serial: {n}\nName: Product {n}\nPackage: fleet{n}\n\n'
                                       for n in range(1, 6)))

    def publish(self, step):
        """0: the first state; 1: other versions of packages; 2: other products."""
        if step != 2:
            self._write('pool/main/Packages', self._index('1' if step == 0 else '2'))
        if step != 1:
            self._write('products', self._product_list('A' if step == 0 else 'The new'))

    def _index(self, version):
        """The archives stay what they are, the other packages get another version."""
        stanzas = []
        for number in range(1, self._products + 1):
            name = self.archive_name(number)
            data = self.archives.get(name, b'')
            stanzas.append(f'Package: fleet{number}\nVersion: {1 if data else version}\n'
                           f'Architecture: all\nFilename: {name}\nSize: {len(data) or 1000}\n'
                           f'SHA256: {sum_of(data)}\nDescription: {self._texts[number - 1]}\n')
        return '\n'.join(stanzas)

    def _product_list(self, begin):
        return '\n'.join(f'Serial: {number}\nName: {begin} product {number}\n'
                         f'Category: {"Games" if number % 2 else "Tools"}\n'
                         f'Package: fleet{number}\nDescription: {self._texts[number - 1]}\n'
                         f'Program: Product {number}\nPath: /usr/bin/fleet{number}\n'
                         for number in range(1, self._products + 1))

    def _write(self, name, content):
        path = os.path.join(self.folder, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        data = content.encode() if isinstance(content, str) else content
        with open(path + '.new', 'wb') as file:
            file.write(data)
        os.replace(path + '.new', path)
