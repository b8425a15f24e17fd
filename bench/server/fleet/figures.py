# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""What the fleet's requests cost: requests a second and the slowest hundredth, by wrk, beside nginx
that has the same bytes as files, and the database's statements, which it counts itself."""

import asyncio
import gzip
import os
import re
import shutil
import subprocess
import time
import urllib.request

from fleet.house import Missing, seconds_used
from fleet.machine import (CATALOG, PICTURES, PROFILE, app_info, fetch, package_info,
                           registration)

CLIENTS = 16
CALLS = 200  # of which the statements are counted


def kinds(store, mark):
    """Name, target, mark of the reply that the client has, and the file of nginx."""
    archive = store.archive_name(1)
    return [('update, nothing new', CATALOG, mark, 'catalog'),
            ('update, whole catalog', CATALOG, '', 'catalog'),
            ('search page', PICTURES, '', 'pictures'),
            ('install information', package_info(1), '', 'package'),
            ('application information', app_info(1), '', 'application'),
            ('profile', PROFILE, '', 'profile'),
            ('registration', registration('x'), '', 'registration'),
            ('archive', '/pool/main/' + archive, '', 'archive')]


def write_files(house, judge, store, step):
    """The same bytes for nginx, packed as well."""
    for _, target, _, name in kinds(store, ''):
        is_archive = target.startswith('/pool/')
        data = store.archives[store.archive_name(1)] if is_archive else judge.body(target, step)
        with open(os.path.join(house.files, name), 'wb') as file:
            file.write(data)
        if not is_archive and len(data) > 1400:  # as the server does
            with open(os.path.join(house.files, name + '.gz'), 'wb') as file:
                file.write(gzip.compress(data, 6))


def milliseconds(text):
    number, unit = re.fullmatch(r'([\d.]+)(us|ms|s)', text).groups()
    return float(number) * {'us': 0.001, 'ms': 1, 's': 1000}[unit]


def measure(port, target, mark, seconds):
    """Requests a second, and milliseconds that one in a hundred takes at least."""
    condition = ['--header', 'If-None-Match: ' + mark] if mark else []
    run = subprocess.run(
        ['wrk', '--latency', '--threads', '1', '--connections', str(CLIENTS), '--duration',
         f'{seconds}s', '--timeout', '60s', '--header', 'Accept-Encoding: gzip', '--header',
         'Connection: close', '--header', 'Host: store.example', *condition,
         f'http://127.0.0.1:{port}{target}'], capture_output=True, text=True, check=True)
    if re.search('Non-2xx|Socket errors', run.stdout):
        raise RuntimeError(run.stdout)
    rate = re.search(r'Requests/sec:\s+([\d.]+)', run.stdout).group(1)
    return float(rate), milliseconds(re.search(r' 99%\s+(\S+)', run.stdout).group(1))


def bytes_of(port, target, mark):
    return asyncio.run(fetch(port, target, mark)).bytes


def mark_of_file(port, name):
    request = urllib.request.Request(f'http://127.0.0.1:{port}/{name}',
                                     headers={'Accept-Encoding': 'gzip'})
    with urllib.request.urlopen(request, timeout=60) as reply:
        return reply.headers['ETag']


def time_used(house):
    return {name: sum(map(seconds_used, processes))
            for name, processes in house.processes().items()}


def compare(house, judge, store, step, seconds):
    if not shutil.which('wrk'):
        raise Missing('wrk')
    write_files(house, judge, store, step)
    print(f'\n{CLIENTS} clients, a connection for each request; beside: nginx with the same bytes'
          ' as files.\nkind                     bytes  requests/s  p99 ms  beside: requests/s  '
          'p99 ms  ratio  servers us  PostgreSQL us')
    for name, target, mark, file in kinds(store, judge.mark(CATALOG, step)):
        size = bytes_of(house.port, target, mark)
        before = time_used(house)
        rate, slow = measure(house.port, target, mark, seconds)
        after = time_used(house)
        of_file = mark_of_file(house.files_port, file) if mark else ''
        files_rate, files_slow = measure(house.files_port, '/' + file, of_file, seconds)
        used = [1e6 * (after[part] - before[part]) / (rate * seconds)
                for part in ('store servers', 'PostgreSQL')]
        print(f'{name:<23}{size:>7}{rate:>12.0f}{slow:>8.1f}{files_rate:>20.0f}'
              f'{files_slow:>8.1f}{rate / files_rate:>7.2f}{used[0]:>12.0f}{used[1]:>15.0f}')


async def ask_about_products(port, count):
    for number in range(1, count + 1):
        answer = await fetch(port, app_info(number))
        if not answer.header('pakmart-statement'):
            raise RuntimeError('a reply has no signature')


def time_signatures(house):
    """One server alone: each product is asked about once, and once again."""
    server = house.start_alone('--sign', house.make_key())
    try:
        taken = []
        for _ in range(2):
            begin = time.monotonic()
            asyncio.run(ask_about_products(server.port, CALLS))
            taken.append(1000 * (time.monotonic() - begin) / CALLS)
    finally:
        server.stop()
    print(f'\na signed reply: the first time {taken[0]:.1f} ms, then {taken[1]:.1f} ms')


async def call_often(port, target):
    for _ in range(CALLS):
        (await fetch(port, target)).body()


def count_statements(house):
    """The calls before the count make each connection prepare its statements."""
    print('\nstatements of the database for a personal request, as PostgreSQL counts them:')
    for name, target in (('profile', PROFILE), ('registration', registration('x'))):
        asyncio.run(call_often(house.port, target))
        house.database.ask('postgres', 'SELECT pg_stat_statements_reset()')
        asyncio.run(call_often(house.port, target))
        counted = house.database.ask(
            'postgres', "SELECT sum(calls), sum(total_exec_time) FROM pg_stat_statements JOIN "
            "pg_database ON pg_database.oid = dbid WHERE datname = 'fleet'")
        calls, taken = counted.split('|')
        print(f'{name:<13}{int(calls) / CALLS:6.2f}, {1000 * float(taken) / CALLS:6.0f} us')
