#!/usr/bin/env python3
"""Measures whole groups: the group owner, the floor, and the peers that are installed, all of them
in the same rounds. Prints one table and writes everything as JSON. A figure counts only when every
application was ready and none went up or down out of order; otherwise there is no result."""

import argparse
import json
import os
import platform
import signal
import sys

import docs
import micro
import plot
import processes
import report
from measure import run_once
from peers import PEERS
from shapes import SHAPES, Group
from stamps import Dishonest
from systems import Floor, Owner


def arguments():
    parser = argparse.ArgumentParser(prog='./dev bench', description=__doc__)
    parser.add_argument('--build', default='build/release', metavar='DIR',
                        help='build folder (default: build/release)')
    parser.add_argument('--rounds', type=int, metavar='N', help='default: 5, or 3 with --growth')
    parser.add_argument('--sizes', metavar='N,…',
                        help='default: 100,300,1000; with --growth up to 3000')
    parser.add_argument('--shapes', default=','.join(SHAPES), metavar='SHAPE,…')
    parser.add_argument('--crashes', type=int, metavar='N',
                        help='of each group (default: 31, or 5 with --growth)')
    parser.add_argument('--peers', metavar='NAME,…',
                        help='some of ' + ', '.join(peer.name for peer in PEERS) +
                        '; or none; default: all that are installed, none with --growth')
    parser.add_argument('--nice', type=int, default=0, metavar='N',
                        help='niceness of everything measured, for a machine with other work')
    parser.add_argument('--json', metavar='FILE', default='build/bench/result.json')
    parser.add_argument('--log', metavar='FILE', default=os.devnull,
                        help='what the measured programs write to standard error')
    parser.add_argument('--quick', action='store_true', help='one round of a hundred applications')
    parser.add_argument('--growth', action='store_true', help='draw docs/growth.svg')
    parser.add_argument('--micro', action='store_true', help='only the parts of the library')
    parser.add_argument('--no-micro', action='store_true', help='without them')
    parser.add_argument('--docs', action='store_true',
                        help='put the figures into docs/performance.md')
    return fill_in(parser.parse_args())


def fill_in(options):
    sizes = '100' if options.quick else '100,300,1000'
    rounds, crashes, peers = 1 if options.quick else 5, 31, ','.join(peer.name for peer in PEERS)
    if options.growth:
        sizes, rounds, crashes, peers = '100,300,1000,2000,3000', 3, 5, 'none'
    options.rounds = options.rounds or rounds
    options.crashes = options.crashes or crashes
    options.peers = (options.peers or peers).split(',')
    options.sizes = [int(size) for size in (options.sizes or sizes).split(',')]
    options.shapes = options.shapes.split(',')
    return options


def tell(text):
    print(text, file=sys.stderr, flush=True)


def use_two_cores(niceness):
    """The same two, and the same niceness, for everything that is started from here."""
    cores = sorted(os.sched_getaffinity(0))[:2]
    os.sched_setaffinity(0, cores)
    os.nice(niceness)
    return cores


def end_orderly_at_signals():
    """What was started is ended, whatever ends us."""
    for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
        signal.signal(number, lambda *_: sys.exit(1))


def choose_peers(wanted):
    chosen = []
    for peer in PEERS:
        if peer.name not in wanted:
            continue
        if peer.missing():
            tell(f'{peer.name} is left out: there is no {peer.missing()}')
        else:
            chosen.append(peer)
    return chosen


class Rounds:
    """All systems, one after the other, in every round; who begins changes."""

    def __init__(self, options, results):
        self.options = options
        self.results = results
        self.peers = choose_peers(options.peers)

    def run(self):
        for number in range(self.options.rounds):
            for shape in self.options.shapes:
                for size in self.options.sizes:
                    tell(f'round {number + 1} of {self.options.rounds}: {shape}, {size}')
                    self.measure(Group(shape, size), (Floor, Owner)[::-1 if number % 2 else 1])

    def measure(self, group, own):
        build = os.path.abspath(self.options.build)
        for system in own:
            self.results.add(group, system.name,
                             run_once(system(build, group), self.options.crashes))
        for peer in list(self.peers):
            if group.shape not in peer.shapes or group.count > peer.most:
                continue
            try:
                found = run_once(peer(build, group), min(peer.crashes, self.options.crashes))
                self.results.add(group, peer.name, found)
            except (Dishonest, OSError, RuntimeError) as error:
                tell(f'{peer.name} is left out from here on: {error}')
                self.peers.remove(peer)


def write(path, text):
    os.makedirs(os.path.dirname(os.path.abspath(path)), exist_ok=True)
    with open(path, 'w', encoding='utf-8') as file:
        file.write(text)


def as_json(options, cores, results, parts):
    return json.dumps({
        'machine': {'cores': cores, 'kernel': platform.release(), 'load': os.getloadavg()},
        'rounds': options.rounds,
        'rows': [row.as_json() for row in report.verdicts(results)],
        'groups': results.as_json(),
        'micro': parts,
    }, indent=1) + '\n'


def show(options, results, parts):
    if options.growth:
        write('docs/growth.svg', plot.growth(results))
        shown = {'growth': report.growth_table(results)}
    else:
        shown = {'groups': report.table(results)} if results.samples else {}
    if parts:
        shown['parts'] = report.lay_out(micro.rows(parts), right={1, 2, 3, 4})
    print('\n\n'.join(shown.values()))
    if options.docs:
        docs.put('docs/performance.md', shown)


def main():
    options = arguments()
    end_orderly_at_signals()
    cores = use_two_cores(options.nice)
    processes.log_path = options.log
    results = report.Results()
    try:
        if not options.micro:
            Rounds(options, results).run()
    except Dishonest as error:
        tell(f'bench: no result: {error}')
        return 1
    parts = []
    if not (options.no_micro or options.quick or options.growth):
        tell('the parts of the library')
        parts = micro.run(f'{options.build}/bench/micro/micro_benchmark')
    show(options, results, parts)
    write(options.json, as_json(options, cores, results, parts))
    tell(f'everything is in {options.json}')
    return 0


if __name__ == '__main__':
    sys.exit(main())
