"""Other service managers, where they are installed: the same group from generated configurations,
output where each of them puts it by default. Nobody needs them and nothing here builds them."""

import http.client
import os
import shutil
import signal
import socket
import subprocess
import time
import xmlrpc.client

from processes import cpu_time, memory
from shapes import SHAPES
from systems import System


class Peer(System):
    """Stopped by a signal to its daemon; the end is what the applications say."""

    isOrdered = False
    program_names = ()
    shapes = SHAPES
    most = 3000
    crashes = 5  # some take their time
    asks = 1
    stop_signal = signal.SIGTERM

    @classmethod
    def missing(cls):
        """Which of its programs is not installed."""
        return next((name for name in cls.program_names if shutil.which(name) is None), None)

    def command_of(self, number):
        return f'{self.program} {self.stamps.path} {number}'

    def stop(self):
        begin = time.monotonic_ns()
        os.kill(self.processes[0].pid, self.stop_signal)
        self.stamps.wait_for(ended=self.stamps.head()[1] + self.left_to_end())
        return begin, max(self.stamps.slot(number)[2] for number in range(self.group.count))

    def left_to_end(self):
        return sum(1 for number in range(self.group.count) if self.stamps.slot(number)[2] == 0)

    def command(self):
        """Its command line tells the state of all."""
        begin = time.monotonic_ns()
        subprocess.run(self.status_command(), check=False, stdout=subprocess.DEVNULL,
                       stderr=subprocess.DEVNULL)
        return time.monotonic_ns() - begin

    def close(self):
        for process in self.processes:
            process.end(self.stop_signal, limit=30)
        super().close()


class Dinit(Peer):
    name = 'dinit'
    can = ('command',)
    program_names = ('dinit', 'dinitctl')
    crashes = 31

    def prepare(self):
        self.services = os.path.join(self.directory, 'services')
        self.socket = os.path.join(self.directory, 'control')
        os.mkdir(self.services)
        for number, needs in enumerate(self.group.needs):
            lines = ['type = process', f'command = {self.command_of(number)}',
                     'ready-notification = pipevar:READY_FD', 'restart = yes',
                     'smooth-recovery = yes', 'restart-delay = 0', 'restart-limit-count = 0']
            lines += [f'depends-on = s{self.group.names[need]}' for need in needs]
            self.file(f'services/s{self.group.names[number]}', '\n'.join(lines) + '\n')
        lines = ['type = internal'] + [f'depends-on = s{name}' for name in self.group.names]
        self.file('services/boot', '\n'.join(lines) + '\n')

    def boot(self):
        return self.run(shutil.which('dinit'), '--user', '--quiet', '--services-dir',
                        self.services, '--socket-path', self.socket, 'boot').begun

    def status_command(self):
        return ['dinitctl', '--socket-path', self.socket, 'list']


class LocalTransport(xmlrpc.client.Transport):
    """XML-RPC over a local socket."""

    def __init__(self, path):
        super().__init__()
        self.path = path

    def make_connection(self, host):
        connection = http.client.HTTPConnection('localhost')
        connection.sock = socket.socket(socket.AF_UNIX)
        connection.sock.connect(self.path)
        return connection


class Supervisor(Peer):
    """Knows no dependencies and no readiness."""

    name = 'supervisord'
    can = ('query', 'command')
    program_names = ('supervisord', 'supervisorctl')
    shapes = ('wide',)
    most = 1000

    def prepare(self):
        self.socket = os.path.join(self.directory, 'control')
        lines = ['[supervisord]', 'nodaemon=true', 'minfds=16384',
                 f'logfile={self.directory}/log', f'pidfile={self.directory}/pid',
                 f'childlogdir={self.directory}', '[unix_http_server]', f'file={self.socket}',
                 '[rpcinterface:supervisor]', 'supervisor.rpcinterface_factory='
                 'supervisor.rpcinterface:make_main_rpcinterface',
                 '[supervisorctl]', f'serverurl=unix://{self.socket}']
        for number, name in enumerate(self.group.names):
            lines += [f'[program:{name}]', f'command={self.command_of(number)}',
                      'startsecs=0', 'autorestart=true']
        self.configuration = self.file('supervisord.conf', '\n'.join(lines) + '\n')

    def boot(self):
        return self.run(shutil.which('supervisord'), '-c', self.configuration).begun

    def query(self):
        proxy = xmlrpc.client.ServerProxy('http://localhost', LocalTransport(self.socket))
        begin = time.monotonic_ns()
        states = proxy.supervisor.getAllProcessInfo()
        took = time.monotonic_ns() - begin
        if sum(1 for state in states if state['statename'] == 'RUNNING') != self.group.count:
            raise RuntimeError('not all of them run')
        return took

    def status_command(self):
        return ['supervisorctl', '-c', self.configuration, 'status']


def is_running(pid):
    try:
        with open(f'/proc/{pid}/stat', encoding='ascii') as file:
            return file.read().rsplit(')', 1)[1].split()[0] != 'Z'
    except OSError:
        return False


class Runit(Peer):
    """One supervising process for each application; no dependencies, no readiness."""

    name = 'runsvdir'
    can = ('command',)
    program_names = ('runsvdir', 'runsv', 'sv')
    shapes = ('wide',)
    most = 1000
    stop_signal = signal.SIGHUP
    supervising = ()

    def prepare(self):
        for number, name in enumerate(self.group.names):
            os.makedirs(f'{self.directory}/services/{name}')
            run = self.file(f'services/{name}/run', f'#!/bin/sh\nexec {self.command_of(number)}\n')
            os.chmod(run, 0o755)

    def boot(self):
        return self.run(shutil.which('runsvdir'), f'{self.directory}/services').begun

    def stop(self):
        self.supervising = self.pids()[1:]
        return super().stop()

    def pids(self):
        """Its own and those of the supervising processes."""
        pid = self.processes[0].pid
        with open(f'/proc/{pid}/task/{pid}/children', encoding='ascii') as file:
            return [pid, *map(int, file.read().split())]

    def close(self):
        # They outlive it a little, and write into their directories until their end.
        supervising = self.pids()[1:] if self.processes and self.alive() else self.supervising
        for process in self.processes:
            process.end(self.stop_signal)
        deadline = time.monotonic() + 10
        while time.monotonic() < deadline and any(map(is_running, supervising)):
            time.sleep(0.01)
        super().close()

    def figures(self):
        pids = self.pids()
        sizes = [memory(one) for one in pids]
        return {self.name: ((sum(size[0] for size in sizes), sum(size[1] for size in sizes)),
                            sum(map(cpu_time, pids)))}

    def status_command(self):
        return ['sv', 'status'] + [f'{self.directory}/services/{name}'
                                   for name in self.group.names]


PEERS = (Dinit, Supervisor, Runit)
