# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""A reader of the record store's files, written from docs/file-formats.md alone."""

import struct


class Damaged(Exception):
    """What was read is not as the page says."""


def read_file(path):
    with open(path, "rb") as file:
        return file.read()


class DataFile:
    """The records of a data file and the chain of deleted ones."""

    def __init__(self, path, record_length):
        self.record_length = max(record_length, 31)
        self.bytes = read_file(path)
        self.count = len(self.bytes) // self.record_length
        header = self.record(0)
        (self.first_free, self.deleted_count, self.root_page,
         self.stored_count, self.record_count) = struct.unpack_from("<5i", header)
        self.version = header[20:28].split(b"\0")[0]

    def record(self, number):
        if not 0 <= number < self.count:
            raise Damaged(f"no record {number}")
        return self.bytes[number * self.record_length:(number + 1) * self.record_length]

    def free_chain(self):
        chain = []
        number = self.first_free
        while number != -1:
            if number in chain or number == 0:
                raise Damaged(f"the chain leads to record {number}")
            chain.append(number)
            number, = struct.unpack_from("<i", self.record(number))
        return chain

    def live(self):
        """The live records by their numbers."""
        records = {number: self.record(number) for number in range(1, self.count)}
        return {number: record for number, record in records.items()
                if record[:4] == bytes(4)}


class Index:
    """The items of an index, in order."""

    def __init__(self, path, key_length):
        self.key_length = key_length
        self.file = DataFile(path, (key_length + 9) * 50 + 8)
        self.depth = 0
        self.reached = []

    def items(self):
        return self._below(self.file.root_page, 1) if self.file.root_page else []

    def _below(self, number, depth):
        self.depth = max(self.depth, depth)
        self.reached.append(number)
        page = self.file.record(number)
        count, leftmost = page[0], struct.unpack_from("<I", page, 4)[0]
        if not 1 <= count <= 50:
            raise Damaged(f"page {number} has {count} items")
        items = self._below(leftmost, depth + 1) if leftmost else []
        for position in range(1, count + 1):
            record, child, key = self._item(page, position)
            items.append((key, record))
            if child:
                items += self._below(child, depth + 1)
        return items

    def _item(self, page, position):
        stride = 160 if self.key_length == 150 else self.key_length + 9
        at = 8 + (position - 1) * stride
        record, child = struct.unpack_from("<II", page, at)
        key = page[at + 8:at + stride]
        if b"\0" not in key and len(key) != 102:
            raise Damaged("a key without an end")
        return record, child, key.split(b"\0")[0]


def order(item):
    """The order of an index in which equal keys are allowed."""
    key, record = item
    return bytes(c + 32 if 65 <= c <= 90 else c for c in key), record


class Notes:
    """The texts of a notes store, its blocks and its list of free ones."""

    SMALLEST, OVERLAPPED = 7, 0x01000007

    def __init__(self, name):
        self.heap = read_file(name + ".fil")
        self.listed = {(int(key), offset) for key, offset in Index(name + ".k1", 9).items()}

    def header(self, offset):
        if offset + 8 > len(self.heap):
            return None
        return struct.unpack_from("<BBHi", self.heap, offset)

    def text(self, offset):
        status, slack, _, length = self.header(offset)
        if status != 0:
            raise Damaged(f"no text at {offset}")
        return self.heap[offset + 8:offset + length - slack]

    def _is_sound(self, offset, header):
        if header is None:
            return False
        status, slack, unused, length = header
        if unused != 0 or slack > 6 or offset + length > len(self.heap):
            return False
        if status == 0:
            return 8 + slack <= length <= 500000 or (length - 8, offset) in self.listed
        return status == 1 and length >= self.SMALLEST

    def _block(self, offset):
        """The block at an offset as (offset, status, length), or None."""
        header = self.header(offset)
        behind = offset + self.SMALLEST
        if (header and header[0] == 1 and header[3] == self.OVERLAPPED
                and self._is_sound(behind, self.header(behind))):
            header = header[:3] + (self.SMALLEST,)
        return (offset, header[0], header[3]) if self._is_sound(offset, header) else None

    def blocks(self):
        """The way through the blocks that leads to the end of the file."""
        way, dead_ends = [], set()
        while True:
            at = way[-1][0] + way[-1][2] if way else 0
            stray = at > 0 and self.heap[at:at + 1] == b"\0"
            if at == len(self.heap) or (stray and at + 1 == len(self.heap)):
                return way
            starts = [at, at + 1] if stray else [at]
            found = [b for b in map(self._block, starts) if b and b[0] not in dead_ends]
            if found:
                way.append(found[0])
            elif way:
                dead_ends.add(way.pop()[0])
            else:
                raise Damaged("the blocks lead nowhere")
