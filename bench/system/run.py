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


def measure(options, results):
    for number in range(options.rounds):
        for shape in options.shapes:
            for size in options.sizes:
                print(f'round {number + 1} of {options.rounds}: {shape} {size}', file=sys.stderr)
                group = Group(shape, size)
                for system in (Floor, Owner):
                    found = run_once(system(os.path.abspath(options.build), group),
                                     options.crashes)
                    results.add(group, system.name, found)


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
        measure(options, results)
    except Dishonest as error:
        print(f'bench: no result: {error}', file=sys.stderr)
        return 1
    print(report.table(results))
    write_json(options, results, cores)
    return 0


if __name__ == '__main__':
    sys.exit(main())
