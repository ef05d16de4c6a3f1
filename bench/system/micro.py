"""The micro-benchmarks' figures, if their program was built: run once, shown as its own table."""

import json
import os
import subprocess
import tempfile

# What is aimed at, by the beginning of the name: at most so many milliseconds, or at least so many
# items or bytes a second, either of the two.
AIMS = (
    ('Start/', {'most_ms': 10, 'size': 1024}),
    ('Stop/', {'most_ms': 10, 'size': 1024}),
    ('Restart/', {'most_ms': 10, 'size': 1024}),
    ('Report/', {'items': 300e3}),
    ('Decode/', {'items': 2e6, 'bytes': 1e9}),
)
MILLISECONDS = {'ns': 1e-6, 'us': 1e-3, 'ms': 1, 's': 1e3}


def run(program):
    """All figures as Google Benchmark tells them; nothing without the program."""
    if not os.access(program, os.X_OK):
        return []
    with tempfile.NamedTemporaryFile(suffix='.json') as out:
        # What it says of the machine is of no use beside the figures.
        done = subprocess.run([program, f'--benchmark_out={out.name}',
                               '--benchmark_out_format=json'], capture_output=True, check=False)
        if done.returncode != 0:
            raise RuntimeError(done.stderr.decode())
        return [row for row in json.load(out)['benchmarks'] if not row.get('error_occurred')]


def milliseconds(row, kind='real_time'):
    return row[kind] * MILLISECONDS[row['time_unit']]


def judge(row):
    """The aim in words and whether it is met."""
    for beginning, aim in AIMS:
        if not row['name'].startswith(beginning):
            continue
        if 'most_ms' in aim:
            isMeant = f'/{aim["size"]}' in row['name']
            return (f'≤ {aim["most_ms"]} ms', milliseconds(row) <= aim['most_ms']) \
                if isMeant else ('', None)
        words = ' or '.join(filter(None, [
            f'{aim["items"] / 1e6:g} M/s',
            f'{aim["bytes"] / 1e9:g} GB/s' if 'bytes' in aim else '']))
        isMet = row.get('items_per_second', 0) >= aim['items'] or \
            row.get('bytes_per_second', 0) >= aim.get('bytes', float('inf'))
        return '≥ ' + words, isMet
    return '', None


def rate(row, key, unit, scale):
    return f'{row[key] / scale:.3g} {unit}' if key in row else '-'


def rows(figures):
    """Cells for a table, with a head."""
    lines = [['part', 'time', 'CPU', 'items', 'bytes', 'aim', 'met']]
    for row in figures:
        aim, isMet = judge(row)
        lines.append([row['name'], f'{milliseconds(row):.3g} ms',
                      f'{milliseconds(row, "cpu_time"):.3g} ms',
                      rate(row, 'items_per_second', 'M/s', 1e6),
                      rate(row, 'bytes_per_second', 'GB/s', 1e9), aim,
                      {True: 'yes', False: 'no', None: ''}[isMet]])
    return lines
