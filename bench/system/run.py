#!/usr/bin/env python3
"""Measures whole groups: the group owner, the floor, and the peers that are installed, all of them
in the same rounds. Prints one table and writes everything as JSON."""

import argparse
import json
import os
import platform
import sys

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
    parser.add_argument('--rounds', type=int, default=5)
    parser.add_argument('--sizes', default='100,300,1000', metavar='N,…')
    parser.add_argument('--shapes', default=','.join(SHAPES), metavar='SHAPE,…')
    parser.add_argument('--crashes', type=int, default=31, metavar='N', help='of each group')
    parser.add_argument('--json', metavar='FILE', default='build/bench/result.json')
    parser.add_argument('--peers', default='installed', metavar='NAME,…',
                        help='some of ' + ', '.join(peer.name for peer in PEERS) +
                        '; none; or all that are installed (default)')
    parser.add_argument('--quick', action='store_true', help='one round of a hundred applications')
    options = parser.parse_args()
    if options.quick:
        options.rounds, options.sizes = 1, '100'
    options.sizes = [int(size) for size in options.sizes.split(',')]
    options.shapes = options.shapes.split(',')
    return options


def use_two_cores():
    """The same two for everything that is started from here."""
    cores = sorted(os.sched_getaffinity(0))[:2]
    os.sched_setaffinity(0, cores)
    return cores


def choose_peers(wanted):
    chosen = []
    for peer in PEERS:
        if wanted != 'installed' and peer.name not in wanted.split(','):
            continue
        if peer.missing():
            tell(f'{peer.name} is left out: there is no {peer.missing()}')
        else:
            chosen.append(peer)
    return chosen


def tell(text):
    print(text, file=sys.stderr, flush=True)


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
                    self.measure(Group(shape, size), (Floor, Owner)[::1 if number % 2 else -1])

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


def write_json(options, results, cores):
    content = {
        'machine': {'cores': cores, 'kernel': platform.release(), 'load': os.getloadavg()},
        'rounds': options.rounds,
        'rows': [row.as_json() for row in report.verdicts(results)],
        'groups': results.as_json(),
    }
    os.makedirs(os.path.dirname(os.path.abspath(options.json)), exist_ok=True)
    with open(options.json, 'w', encoding='utf-8') as file:
        json.dump(content, file, indent=1)


def main():
    options = arguments()
    cores = use_two_cores()
    results = report.Results()
    try:
        Rounds(options, results).run()
    except Dishonest as error:
        print(f'bench: no result: {error}', file=sys.stderr)
        return 1
    print(report.table(results))
    write_json(options, results, cores)
    return 0


if __name__ == '__main__':
    sys.exit(main())
