"""The group owner and the floor. A system is started, asked, crashed and stopped by the runner; its
methods return nanoseconds, or raise when what was asked for has not come true."""

import os
import shutil
import signal
import tempfile
import time

from processes import Process, ReadySocket, cpu_time, memory
from stamps import Stamps


class System:
    """What all systems share: a directory, stamps, and processes that are ended in any case."""

    name = ''
    isOrdered = True
    can = ()  # of 'replace', 'query', 'list', 'command'
    asks = 5  # each question so often

    def __init__(self, build, group):
        self.build = build
        self.group = group
        self.stamps = Stamps(group)
        self.directory = tempfile.mkdtemp(prefix='bench-')
        self.processes = []
        self.program = f'{build}/bench/system/ready_stamp'

    def file(self, name, text):
        path = os.path.join(self.directory, name)
        with open(path, 'w', encoding='ascii') as file:
            file.write(text)
        return path

    def run(self, *arguments, **more):
        process = Process(list(arguments), **more)
        self.processes.append(process)
        return process

    def alive(self):
        return all(process.alive() for process in self.processes)

    def prepare(self):
        """Writes the configuration; not measured."""

    def boot(self):
        """Starts the programs; returns when the first of them was executed."""
        raise NotImplementedError

    def booted(self):
        """Waits until the system itself says that all is up."""

    def connect(self):
        """Readies what asks and orders; not measured."""

    def measured(self):
        """The processes whose memory and time count."""
        return self.processes

    def crash(self, number):
        """Kills an application; how long until it is ready again."""
        slot = self.stamps.slot(number)
        ready = self.stamps.head()[0] + 1
        begin = time.monotonic_ns()
        os.kill(slot[3], signal.SIGKILL)
        time.sleep(0.004)
        self.stamps.wait_for(ready=ready, alive=self.alive, limit=30)
        return self.stamps.slot(number)[1] - begin

    def stop(self):
        """Stops the group; begin and end."""
        raise NotImplementedError

    def figures(self):
        """Memory and time of the measured processes, by role."""
        return {process.name: (memory(process.pid), cpu_time(process.pid))
                for process in self.measured()}

    def close(self):
        for process in reversed(self.processes):
            process.end(limit=5)
        for number in range(self.group.count):
            self.kill_left(self.stamps.slot(number)[3])
        self.stamps.close()
        shutil.rmtree(self.directory)

    def kill_left(self, pid):
        """Only what is our program still: the number may be somebody else's by now."""
        try:
            if pid and os.readlink(f'/proc/{pid}/exe') == os.path.realpath(self.program):
                os.kill(pid, signal.SIGKILL)
        except OSError:
            pass


class Floor(System):
    name = 'floor'
    can = ('replace',)

    def prepare(self):
        self.plan = self.file('plan', self.group.plan())

    def boot(self):
        floor = self.run(f'{self.build}/bench/system/floor', self.plan, self.stamps.path,
                         self.program, talks=True)
        self.floor = floor
        return floor.begun

    def booted(self):
        self.floor.answer()

    def crash(self, number):
        self.floor.order('crash')
        time.sleep(0.001)  # it waits by then
        took = super().crash(number)
        self.floor.answer()
        return took

    def replace(self, numbers):
        return self.floor.ask(f'replace {numbers.start}')

    def stop(self):
        self.floor.order('stop')
        return self.floor.answer()


class Owner(System):
    """procmgrd and grpownerd as a user runs them, in the long run mode, logs to nowhere."""

    name = 'grpowner'
    can = ('replace', 'query', 'list', 'command')
    answer_size = 3988  # bytes of a record

    def __init__(self, build, group):
        super().__init__(build, group)
        if len('1#') + sum(len(name) + 1 for name in group.names) > self.answer_size:
            self.can = ('replace', 'query', 'command')

    def prepare(self):
        self.configuration = self.file('group.yaml',
                                       self.group.yaml(self.program, self.stamps.path))
        self.manager_ready = ReadySocket(f'{self.directory}/manager')
        self.owner_ready = ReadySocket(f'{self.directory}/owner')
        self.environment = {**os.environ, 'GRPOWNER_RUN_DIR': self.directory,
                            'DATAMASTER_RUN_MODE': '1'}

    def run_daemon(self, name, ready, *arguments):
        return self.run(f'{self.build}/daemons/{name}/{name}', *arguments,
                        environment={**self.environment, 'NOTIFY_SOCKET': ready.path})

    def boot(self):
        manager = self.run_daemon('procmgrd', self.manager_ready)
        self.manager_ready.wait()
        self.run_daemon('grpownerd', self.owner_ready, '--name', 'bench', self.configuration)
        return manager.begun

    def booted(self):
        self.owner_ready.wait(60)

    def connect(self):
        self.probe = Process([f'{self.build}/bench/system/client_probe',
                              f'{self.directory}/bench.vfs'], talks=True)
        self.probe.read_line()

    def ask_change(self, words):
        self.probe.order('change ' + ' '.join(words))
        return self.probe.answer()

    def replace(self, numbers):
        names = [self.group.names[number] for number in numbers]
        begin, end = self.ask_change([f'{name}=t' for name in reversed(names)] +
                                     [f'{name}=s' for name in names])
        return end - begin

    def query(self):
        return self.probe.ask('query ' + ' '.join(self.group.names))

    def list(self):
        return self.probe.ask(f'list {self.group.count}')

    def command(self):
        begin = time.monotonic_ns()
        command = Process([f'{self.build}/client/grpctl/grpctl', '--socket',
                           f'{self.directory}/bench.vfs', 'list'])
        _, status = os.waitpid(command.pid, 0)
        end = time.monotonic_ns()
        command.code = os.waitstatus_to_exitcode(status)
        if command.code != 0:
            raise RuntimeError(f'grpctl list: {command.code}')
        return end - begin

    def stop(self):
        return self.ask_change([f'{name}=t' for name in reversed(self.group.names)])

    def close(self):
        if hasattr(self, 'probe'):
            self.probe.end(limit=5)
        # The owner's own end stops the group once more, with its pauses: it has nothing to say here.
        for process in reversed(self.processes):
            process.end(signal.SIGKILL)
        self.manager_ready.close()
        self.owner_ready.close()
        super().close()
