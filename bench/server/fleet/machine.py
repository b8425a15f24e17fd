# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""A machine of the fleet, and what it asks for in a day."""

import asyncio
import gzip
import re
import time
from urllib.parse import unquote_plus

from fleet.store import ARCHIVES, sum_of

MOST_TRIES = 10  # of one request
PAUSE = 2.0  # seconds before a request is tried again, as the server asks for
PATIENCE = 30.0  # seconds for an answer

CATALOG = '/agent/CAPIUpdateCatalog'
PICTURES = '/agent/CAPIGetPictures'
PROFILE = '/agent/CAPISyncMyMachine'


def app_info(number):
    return f'/agent/CAPIDownloadAppInfo?app_id[]={number}'


def package_info(number):
    return f'/agent/CAPIGetPackageInfo?filename[]=fleet{number}_1_all.deb'


def registration(builder):
    return f'/agent/CAPISetOEMInfo?id={builder}'


def learned_targets():
    """What is the same for all machines."""
    yield from ('/getagentapi.php', CATALOG, PICTURES, PROFILE, registration('x'))
    for number in range(1, ARCHIVES + 1):
        yield app_info(number)
        yield package_info(number)


class NoAnswer(Exception):
    """Nothing, a part, or that the server is busy."""


class Answer:
    def __init__(self, head, content):
        lines = head.decode('latin-1').split('\r\n')
        self.status = int(lines[0].split()[1])
        self._headers = {name.lower(): value.strip() for name, _, value in
                         (line.partition(':') for line in lines[1:])}
        self.bytes = len(head) + 4 + len(content)
        self._content = content

    def header(self, name):
        return self._headers.get(name, '')

    def body(self):
        """Raises NoAnswer if a part is missing."""
        if self.status != 304 and len(self._content) != int(self.header('content-length') or 0):
            raise NoAnswer('a part of an answer')
        is_packed = self.header('content-encoding') == 'gzip'
        return gzip.decompress(self._content) if is_packed else self._content


async def fetch(port, target, mark=''):
    """One request on a connection of its own."""
    try:
        reader, writer = await asyncio.open_connection('127.0.0.1', port)
        condition = f'If-None-Match: {mark}\r\n' if mark else ''
        writer.write(f'GET {target} HTTP/1.1\r\nHost: store.example\r\nAccept-Encoding: gzip\r\n'
                     f'{condition}Connection: close\r\n\r\n'.encode())
        try:
            received = await asyncio.wait_for(reader.read(-1), PATIENCE)
        finally:
            writer.close()
    except (OSError, asyncio.TimeoutError) as error:
        raise NoAnswer(str(error)) from error
    head, end, content = received.partition(b'\r\n\r\n')
    if not end:
        raise NoAnswer('no answer')
    answer = Answer(head, content)
    if answer.status >= 500:
        raise NoAnswer(f'status {answer.status}')
    return answer


class Tally:
    """What the machines have seen."""

    def __init__(self):
        self.requests, self.done = 0, 0
        self.repeated = {}  # kind of request -> how often
        self.most_tries = 0
        self.wrong, self.failed = [], []
        self.times = {}  # kind of request -> seconds
        self.bytes = {}  # kind of request -> bytes that came

    def add(self, kind, seconds, count):
        self.requests += 1
        self.times.setdefault(kind, []).append(seconds)
        self.bytes[kind] = self.bytes.get(kind, 0) + count


class Machine:
    def __init__(self, number, port, judge, store, tally):
        self._number, self._port = number, port
        self._judge, self._store, self._tally = judge, store, tally
        self._product = 1 + number % ARCHIVES

    async def _ask(self, kind, target, mark=''):
        """The answer and the times of its request, after some tries; None if there is none."""
        for tries in range(1, MOST_TRIES + 1):
            self._tally.most_tries = max(self._tally.most_tries, tries)
            begin = time.monotonic()
            try:
                answer = await fetch(self._port, target, mark)
                body = answer.body()
            except NoAnswer as error:
                why = error
                self._tally.repeated[kind] = self._tally.repeated.get(kind, 0) + 1
                await asyncio.sleep(PAUSE)
                continue
            end = time.monotonic()
            self._tally.add(kind, end - begin, answer.bytes)
            return answer, body, begin, end
        self._tally.failed.append(f'machine {self._number}: {target}: {why}')
        return None

    def _accuse(self, target, what):
        self._tally.wrong.append(f'machine {self._number}: {target}: {what}')

    async def _get(self, kind, target, known='', mark=''):
        """A reply that has to be that of the target `known`."""
        known = known or target
        got = await self._ask(kind, target, mark)
        if not got:
            return b''
        answer, body, begin, end = got
        if answer.status == 304 and mark:
            if not self._judge.is_still_right(known, mark, begin, end):
                self._accuse(target, 'status 304 for an old reply')
        elif answer.status != 200 or not self._judge.is_right(known, body, begin, end):
            self._accuse(target, f'status {answer.status}, {len(body)} bytes')
        return body

    async def _get_file(self, kind, target, expected):
        got = await self._ask(kind, target)
        if got and (got[0].status != 200 or sum_of(got[1]) != expected):
            self._accuse(target, 'other bytes')

    def _mark(self, target):
        """Nine of ten machines have the reply of the first step."""
        return self._judge.mark(target) if self._number % 10 else ''

    async def live(self):
        await self._get('directory', '/getagentapi.php')
        await self._get('update', CATALOG, mark=self._mark(CATALOG))
        await self._get('search page', PICTURES, mark=self._mark(PICTURES))
        name = list(self._store.pictures)[self._product - 1]
        await self._get_file('picture', '/pictures/' + name, name[:64])
        await self._get('install information', app_info(self._product))
        info = await self._get('install information', package_info(self._product))
        await self._get('profile', PROFILE)
        await self._get('registration', registration(f'fleet-{self._number}'), registration('x'))
        named = re.search(r'SHA256: ([0-9a-f]{64})', unquote_plus(info.decode()))
        name = self._store.archive_name(self._product)
        await self._get_file('archive', '/pool/main/' + name, named.group(1) if named else '')
        self._tally.done += 1
