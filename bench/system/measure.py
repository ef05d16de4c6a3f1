"""One system, one group, from the start of its programs to the end of its last application."""

import statistics

from stamps import Dishonest

MS = 1e6  # nanoseconds


def run_once(system, crashes):
    """What was measured, by name of the measure: milliseconds, bytes and counts."""
    try:
        system.prepare()
        return Run(system).all(crashes)
    finally:
        system.close()


class Run:
    def __init__(self, system):
        self.system = system
        self.group = system.group
        self.stamps = system.stamps
        self.found = {}

    def all(self, crashes):
        self.cold_start()
        self.resources()
        self.system.connect()
        for question in ('query', 'list', 'command'):
            if question in self.system.can:
                ask = getattr(self.system, question)
                self.found[question] = statistics.median(
                    ask() for _ in range(self.system.asks)) / MS
        self.crash(crashes)
        if 'replace' in self.system.can:
            self.replace()
        self.stop()
        return self.found

    def expect_order(self, wrong, what):
        """Who keeps an order is not let off; of the others it is told."""
        self.found[what] = wrong
        if wrong and self.system.isOrdered:
            raise Dishonest(f'{self.system.name}: {wrong} edges {what.replace("_", " ")}')

    def cold_start(self):
        begun = self.system.boot()
        self.stamps.wait_for(ready=self.group.count, alive=self.system.alive)
        self.system.booted()
        last, wrong = self.stamps.check_started(since=begun)
        self.found['cold'] = (last - begun) / MS
        self.expect_order(wrong, 'started_out_of_order')

    def resources(self):
        figures = self.system.figures()
        self.found['rss'] = sum(sizes[0] for sizes, _ in figures.values())
        self.found['pss'] = sum(sizes[1] for sizes, _ in figures.values())
        self.found['cpu'] = sum(time for _, time in figures.values()) / MS
        for role, (sizes, time) in figures.items():
            self.found['rss_' + role] = sizes[0]
            self.found['cpu_' + role] = time / MS

    def crash(self, times):
        """Victims from all over the group, each once."""
        victims = [place * self.group.count // times for place in range(times)]
        if times:
            self.found['crash'] = statistics.median(map(self.system.crash, victims)) / MS
        for victim in set(victims):
            if self.stamps.slot(victim)[4] != 2:
                raise Dishonest(f'{self.system.name}: application {victim} did not come back once')

    def replace(self):
        numbers = self.group.replaced
        ready, ended = self.stamps.head()
        self.stamps.clear_ends(numbers)
        before = {number: self.stamps.slot(number) for number in numbers}
        self.found['replace'] = self.system.replace(numbers) / MS
        self.stamps.wait_for(ready=ready + len(numbers), ended=ended + len(numbers), limit=5)
        for number in numbers:
            after = self.stamps.slot(number)
            if after[3] == before[number][3] or after[2] > after[0]:
                raise Dishonest(f'{self.system.name}: application {number} was not replaced')
        _, wrong = self.stamps.check_ended(numbers, since=1)
        self.expect_order(wrong, 'replaced_out_of_order')

    def stop(self):
        self.stamps.clear_ends(range(self.group.count))
        begin, end = self.system.stop()
        last, wrong = self.stamps.check_ended(since=begin)
        self.found['stop'] = (end - begin) / MS
        self.found['stop_last'] = (last - begin) / MS
        self.expect_order(wrong, 'stopped_out_of_order')
