# SPDX-FileCopyrightText: 2026 The Pakmart developers
# SPDX-License-Identifier: LGPL-2.1-or-later

"""The programs that serve the fleet: two store servers, PostgreSQL, and nginx before them. All
listen on loopback, or on a socket in the run's own folder, and end with the run."""

import glob
import os
import re
import shutil
import signal
import socket
import subprocess
import time
from concurrent.futures import ThreadPoolExecutor

PUBLIC_URL = 'http://store.example'
PATIENCE = 60  # seconds that a program may take to start or to end

NGINX = '''{user}daemon off;
worker_processes {workers};
worker_rlimit_nofile 4096;
pid nginx.pid;
error_log nginx.log;
events {{ worker_connections 2048; }}
http {{
access_log off;
sendfile on;
tcp_nopush on;
gzip_static on;
default_type application/octet-stream;
{temporary}
{site}
server {{
listen 127.0.0.1:{files_port} backlog=1024;
root {files};
}}
}}
'''

PROXY = '''upstream stores {{
{servers}
}}
server {{
listen 127.0.0.1:{port} backlog=1024;
location / {{
proxy_pass http://stores;
proxy_set_header Host $host;
proxy_set_header X-Forwarded-For $remote_addr;
proxy_buffer_size 16k;
proxy_buffers 8 16k;
}}
}}
'''


class Missing(Exception):
    """A program that is not installed."""


def find_program(name, *places):
    path = os.pathsep.join([os.environ.get('PATH', ''), '/usr/sbin', *places])
    found = shutil.which(name, path=path)
    if not found:
        raise Missing(name)
    return found


def free_port():
    with socket.socket() as one:
        one.bind(('127.0.0.1', 0))
        return one.getsockname()[1]


def wait_until(is_done, process, log):
    """Shows the log of a program that does not start."""
    end = time.monotonic() + PATIENCE
    while not is_done():
        if process.poll() is not None or time.monotonic() > end:
            with open(log, encoding='utf-8') as file:
                raise RuntimeError(f'{process.args} does not start: {file.read()}')
        time.sleep(0.05)


def stop(process, number=signal.SIGTERM):
    """Ends a program that this run has started."""
    if process and process.poll() is None:
        process.send_signal(number)
        process.wait(PATIENCE)


def children(process):
    with open(f'/proc/{process.pid}/task/{process.pid}/children', encoding='ascii') as file:
        return set(map(int, file.read().split()))


def seconds_used(process):
    """Processor time of a program and its children so far."""
    ticks = 0
    for number in {process.pid} | children(process):
        with open(f'/proc/{number}/stat', encoding='utf-8') as file:
            fields = file.read().rpartition(')')[2].split()
        ticks += int(fields[11]) + int(fields[12])
    return ticks / os.sysconf('SC_CLK_TCK')


class StoreServer:
    def __init__(self, program, store, log, options):
        self._program, self._store, self._log, self._options = program, store, log, options
        self.port, self.process = 0, None

    def start(self):
        """A second start takes the same port."""
        output = f'{self._log}.{time.monotonic_ns()}'
        with open(output, 'wb') as out, open(self._log, 'ab') as errors:
            self.process = subprocess.Popen(
                [self._program, '--port', str(self.port), '--public-url', PUBLIC_URL,
                 '--proxy', '127.0.0.1', *self._options, self._store], stdout=out, stderr=errors)

        def said():
            with open(output, encoding='utf-8') as file:
                return re.search(r':(\d+)/\n', file.read())
        wait_until(said, self.process, self._log)
        self.port = int(said().group(1))
        return self

    def stop(self, number=signal.SIGTERM):
        stop(self.process, number)


class Database:
    """PostgreSQL, which root may not run, with a count of its statements."""

    def __init__(self, folder):
        places = sorted(glob.glob('/usr/lib/postgresql/*/bin'))
        if not places:
            raise Missing('postgres')
        self._programs, self._folder, self.process = places[-1], folder, None
        self._user = ['setpriv', '--pdeathsig', 'QUIT']
        os.mkdir(folder)
        if os.geteuid() == 0:
            os.chmod(os.path.dirname(folder), 0o711)
            os.chown(folder, 65534, 65534)
            self._user += ['--reuid=65534', '--regid=65534', '--clear-groups']
        subprocess.run([*self._user, self._programs + '/initdb', '-D', folder + '/data', '-A',
                        'trust', '-U', 'keeper', '-E', 'UTF8', '--locale=C', '--no-sync'],
                       stdout=subprocess.DEVNULL, check=True)

    def start(self):
        with open(self._folder + '.log', 'ab') as log:
            self.process = subprocess.Popen(
                [*self._user, self._programs + '/postgres', '-D', self._folder + '/data', '-k',
                 self._folder, '-c', 'listen_addresses=', '-c', 'fsync=on',
                 '-c', 'shared_preload_libraries=pg_stat_statements'], stdout=log, stderr=log)
        wait_until(lambda: self._psql('postgres', ';').returncode == 0, self.process,
                   self._folder + '.log')

    def stop(self):
        stop(self.process, signal.SIGINT)

    def place(self, name):
        return f'host={self._folder} user=keeper dbname={name}'

    def _psql(self, name, statement):
        return subprocess.run([self._programs + '/psql', '--dbname=' + self.place(name), '-qtAX',
                               '-v', 'ON_ERROR_STOP=1', '-c', statement],
                              capture_output=True, text=True, check=False)

    def ask(self, name, statement):
        result = self._psql(name, statement)
        if result.returncode != 0:
            raise RuntimeError(result.stderr)
        return result.stdout.strip()


def exported_site(top, folder, port, servers):
    """The site for an exported store as it comes, but without TLS, and for several servers."""
    with open(os.path.join(top, 'server', 'nginx-export.conf'), encoding='utf-8') as file:
        site = file.read()
    for old, new in (('/srv/pakmart-export', folder + '/export'),
                     ('listen 80;', f'listen 127.0.0.1:{free_port()};'),
                     ('listen 443 ssl', f'listen 127.0.0.1:{port} backlog=1024'),
                     ('server 127.0.0.1:8080;', servers),
                     ('ssl_certificate /etc/ssl/store.example.pem;', ''),
                     ('ssl_certificate_key /etc/ssl/private/store.example.key;', ''),
                     ('ssl_protocols TLSv1.2 TLSv1.3;', '')):
        if old not in site:
            raise RuntimeError('the site has no ' + old)
        site = site.replace(old, new)
    return site


class House:
    """Everything, started. With `exported`, nginx serves what is the same for everybody."""

    def __init__(self, build, top, folder, store, exported):
        program = os.path.join(build, 'server', 'pakmart-storeserver')
        if not os.access(program, os.X_OK):
            raise Missing(program)
        self._nginx = find_program('nginx', os.path.join(top, 'build-nginx/usr/sbin'))
        self.folder, self.store, self._program = folder, store, program
        self._top, self._exported = top, exported
        self.files = os.path.join(folder, 'files')
        self.database, self.servers, self.nginx = None, [], None
        self.port = self.files_port = 0
        # A program that is to end with the thread that has started it needs one that stays.
        self.hands = ThreadPoolExecutor(1)

    def start_alone(self, *options):
        """A server without a database."""
        return StoreServer(self._program, self.store.folder, self.folder + '/alone.log',
                           ['--connections-per-address', '0', *options]).start()

    def make_key(self):
        """A key that signs, made by a gpg that keeps nothing else."""
        home, key = self.folder + '/gpg', self.folder + '/sign.key'
        os.mkdir(home, 0o700)
        gpg = ['gpg', '--homedir', home, '--batch', '--quiet', '--passphrase', '']
        subprocess.run([*gpg, '--quick-generate-key', 'fleet@store.example', 'ed25519', 'sign'],
                       check=True, stderr=subprocess.DEVNULL)
        secret = subprocess.run([*gpg, '--export-secret-keys'], check=True, capture_output=True)
        with open(os.open(key, os.O_WRONLY | os.O_CREAT | os.O_EXCL, 0o600), 'wb') as file:
            file.write(secret.stdout)
        subprocess.run(['gpgconf', '--homedir', home, '--kill', 'gpg-agent'], check=True)
        return key

    def start(self):
        self.database = Database(self.folder + '/database')
        self.database.start()
        self.database.ask('postgres', 'CREATE DATABASE fleet')
        self.database.ask('postgres', 'CREATE EXTENSION pg_stat_statements')
        for name in ('one', 'other'):
            self.servers.append(StoreServer(
                self._program, self.store.folder, f'{self.folder}/{name}.log',
                ['--postgresql', self.database.place('fleet')]).start())
        self._start_nginx()

    def publish(self, step):
        """Returns when all processes of nginx have the new version."""
        self.store.publish(step)
        if not self._exported:
            return
        subprocess.run([self._program, 'export', '--public-url', PUBLIC_URL, self.store.folder,
                        self.folder + '/export'], check=True, stdout=subprocess.DEVNULL)
        if self.nginx:
            before = children(self.nginx)
            self.nginx.send_signal(signal.SIGHUP)
            wait_until(lambda: not before & children(self.nginx), self.nginx,
                       self.folder + '/nginx.log')

    def _start_nginx(self):
        self.port, self.files_port = free_port(), free_port()
        self.publish(0)
        kinds = ('client_body', 'proxy', 'fastcgi', 'uwsgi', 'scgi')
        servers = '\n'.join(f'server 127.0.0.1:{server.port} max_fails=1 fail_timeout=1s;'
                            for server in self.servers)
        if self._exported:
            site = exported_site(self._top, self.folder, self.port, servers)
        else:
            site = PROXY.format(servers=servers, port=self.port)
        settings = NGINX.format(
            user='user root;\n' if os.geteuid() == 0 else '', workers=os.cpu_count(),
            temporary='\n'.join(f'{kind}_temp_path {kind};' for kind in kinds),
            site=site, files_port=self.files_port, files=self.files)
        os.makedirs(self.files, exist_ok=True)
        with open(self.folder + '/nginx.conf', 'w', encoding='utf-8') as file:
            file.write(settings)
        self.nginx = subprocess.Popen([self._nginx, '-p', self.folder, '-c', 'nginx.conf',
                                       '-e', self.folder + '/nginx.log'])

        def answers():
            with socket.socket() as one:
                return one.connect_ex(('127.0.0.1', self.port)) == 0
        wait_until(answers, self.nginx, self.folder + '/nginx.log')

    def processes(self):
        return {'nginx': [self.nginx], 'store servers': [one.process for one in self.servers],
                'PostgreSQL': [self.database.process]}

    def ended(self):
        """Programs that should run, but do not."""
        return [f'{name}: {one.returncode}' for name, all_of_it in self.processes().items()
                for one in all_of_it if one.poll() is not None]

    def stop(self):
        stop(self.nginx)
        for server in self.servers:
            server.stop()
        if self.database:
            self.database.stop()
        self.hands.shutdown()
