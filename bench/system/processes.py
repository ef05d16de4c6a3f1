"""Starting the measured programs and reading what the kernel knows about them."""

import os
import select
import signal
import socket
import time

from stamps import Dishonest

CPUCLOCK_SCHED = 2

log_path = os.devnull  # where standard error of all that is started goes


def cpu_time(pid):
    """Nanoseconds that the process has run, the threads that have ended included."""
    return time.clock_gettime_ns((~pid << 3) | CPUCLOCK_SCHED)


def memory(pid):
    """Resident and proportional size, bytes."""
    sizes = {}
    with open(f'/proc/{pid}/smaps_rollup', encoding='ascii') as file:
        for line in file:
            if line.startswith(('Rss:', 'Pss:')):
                key, size, _ = line.split()
                sizes[key] = int(size) * 1024
    return sizes['Rss:'], sizes['Pss:']


class Process:
    """A program with streams of its own; output to nowhere, unless it is talked with."""

    def __init__(self, command, environment=None, talks=False):
        null = os.open(os.devnull, os.O_RDWR)
        log = os.open(log_path, os.O_WRONLY | os.O_CREAT | os.O_APPEND, 0o644)
        child_in, self.input, self.output, child_out = null, None, None, null
        if talks:
            child_in, self.input = os.pipe()
            self.output, child_out = os.pipe()
            self.lines = os.fdopen(self.output, 'r', encoding='utf-8')
        self.name = os.path.basename(command[0])
        self.code = None
        actions = [(os.POSIX_SPAWN_DUP2, child_in, 0), (os.POSIX_SPAWN_DUP2, child_out, 1),
                   (os.POSIX_SPAWN_DUP2, log, 2)]
        self.begun = time.monotonic_ns()
        self.pid = os.posix_spawn(command[0], command, environment or dict(os.environ),
                                  file_actions=actions, setsid=True)
        for end in {null, log, child_in, child_out}:
            os.close(end)

    def alive(self):
        if self.code is None:
            pid, status = os.waitpid(self.pid, os.WNOHANG)
            if pid:
                self.code = os.waitstatus_to_exitcode(status)
        return self.code is None

    def end(self, number=signal.SIGTERM, limit=60):
        """Its exit code; killed when it takes too long."""
        if self.alive():
            os.kill(self.pid, number)
        deadline = time.monotonic() + limit
        while self.alive():
            if time.monotonic() > deadline:
                os.kill(self.pid, signal.SIGKILL)
                deadline += limit
            time.sleep(0.002)
        if self.input is not None:
            os.close(self.input)
            self.lines.close()
            self.input = None
        return self.code

    def read_line(self, limit=300):
        if not select.select([self.output], [], [], limit)[0]:
            raise Dishonest(f'{self.name} says nothing')
        line = self.lines.readline().strip()
        if not line:
            raise Dishonest(f'{self.name} has ended')
        return line

    def order(self, line):
        os.write(self.input, (line + '\n').encode())

    def answer(self):
        """Begin and end of what was ordered, as the program has taken them."""
        line = self.read_line()
        if line.startswith('error'):
            raise Dishonest(line)
        begin, end = map(int, line.split())
        return begin, end

    def ask(self, line):
        self.order(line)
        begin, end = self.answer()
        return end - begin


class ReadySocket:
    """Hears READY=1 of one daemon, and nothing that it says later."""

    def __init__(self, path):
        self.path = path
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.socket.bind(self.path)

    def wait(self, limit=30):
        self.socket.settimeout(limit)
        try:
            while b'READY=1' not in self.socket.recv(4096):
                pass
        except TimeoutError as error:
            raise Dishonest('a daemon is not ready') from error
        self.close()

    def close(self):
        if self.socket.fileno() >= 0:
            self.socket.close()
            os.unlink(self.path)
