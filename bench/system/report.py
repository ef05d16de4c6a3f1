"""The table, with each aim beside its figure."""

import statistics

OURS = 'grpowner'
AIM_SIZE = 1000
KB = 1000
MB = 1000 * 1000


class Row:
    """A measure: where its figure is found, how it is shown, what is aimed at."""

    def __init__(self, title, key, unit='ms', floor=None, ratio=None, limit=None):
        self.title = title
        self.key = key
        self.unit = unit
        self.floor = floor or key
        self.ratio = ratio  # at most so many times the floor
        self.limit = limit  # at most so much


ROWS = (
    Row('cold start', 'cold', ratio=1.25),
    Row('crash to ready', 'crash', ratio=1.4),
    Row('stop of the group', 'stop', ratio=1.5),
    Row('a third replaced', 'replace'),
    Row('query of all states', 'query', limit=5),
    Row('list of all names', 'list'),
    Row('list by the command line', 'command'),
    Row('CPU of all', 'cpu'),
    Row('CPU of the owner', 'cpu_grpownerd', floor='cpu', limit=60),
    Row('CPU of the process manager', 'cpu_procmgrd', floor='cpu', ratio=1.5),
    Row('resident, both', 'rss', unit='MB', limit=12),
    Row('proportional, both', 'pss', unit='MB'),
    Row('growth an application', 'growth', unit='kB', limit=3),
)
SCALE = {'ms': 1, 'MB': MB, 'kB': KB}


class Results:
    """All samples of a run: by shape, size, system and measure."""

    def __init__(self):
        self.samples = {}

    def add(self, group, system, found):
        place = self.samples.setdefault((group.shape, group.count), {}).setdefault(system, {})
        for measure, value in found.items():
            place.setdefault(measure, []).append(value)

    def systems(self):
        names = {name for place in self.samples.values() for name in place}
        return [OURS, 'floor'] + sorted(names - {OURS, 'floor'})

    def median(self, shape, count, system, measure):
        if measure == 'growth':
            return self.growth(shape, count, system)
        values = self.samples.get((shape, count), {}).get(system, {}).get(measure)
        return statistics.median(values) if values else None

    def best(self, shape, count, system, measure):
        """Of the round that other work has disturbed least."""
        values = self.samples.get((shape, count), {}).get(system, {}).get(measure)
        return min(values) if values else None

    def growth(self, shape, count, system):
        """Resident bytes for each application beyond those of the smallest group."""
        least = min(size for form, size in self.samples if form == shape)
        sizes = [self.median(shape, size, system, 'rss') for size in (least, count)]
        return None if least == count or None in sizes else (sizes[1] - sizes[0]) / (count - least)

    def as_json(self):
        groups = []
        for (shape, count), place in self.samples.items():
            groups.append({'shape': shape, 'applications': count, 'systems': {
                system: {measure: {'median': statistics.median(values), 'samples': values}
                         for measure, values in measures.items()}
                for system, measures in place.items()}})
        return groups


def show(value, unit):
    if value is None:
        return '-'
    value /= SCALE[unit]
    return f'{value:.0f}' if value >= 100 else f'{value:.1f}' if value >= 10 else f'{value:.2f}'


class Verdict:
    """A row of one group: figure, floor, ratio of the medians and of the best rounds, aim, and
    whether it is met. What is compared is time."""

    def __init__(self, results, row, shape, count):
        self.row, self.shape, self.count = row, shape, count
        self.value = results.median(shape, count, OURS, row.key)
        self.floor = results.median(shape, count, 'floor', row.floor)
        best = [results.best(shape, count, OURS, row.key),
                results.best(shape, count, 'floor', row.floor)]
        self.ratio = self.best = None
        if row.unit == 'ms' and self.value and self.floor:
            self.ratio, self.best = self.value / self.floor, best[0] / best[1]
        self.aim = ''
        self.isMet = None
        if self.value is not None and count == AIM_SIZE:
            self.judge()

    def judge(self):
        if self.row.ratio:
            self.aim = f'≤ {self.row.ratio} × floor'
            self.isMet = self.ratio is not None and self.ratio <= self.row.ratio
        elif self.row.limit:
            self.aim = f'≤ {self.row.limit} {self.row.unit}'
            self.isMet = self.value <= self.row.limit * SCALE[self.row.unit]

    def as_json(self):
        return {'measure': self.row.key, 'shape': self.shape, 'applications': self.count,
                'value': self.value, 'floor': self.floor, 'ratio': self.ratio,
                'ratio_of_best': self.best, 'aim': self.aim,
                'met': self.isMet}


def verdicts(results):
    rows = [Verdict(results, row, shape, count)
            for row in ROWS for (shape, count) in results.samples]
    return [row for row in rows if row.value is not None]


def cells(results, peers, verdict):
    row = verdict.row
    met = {True: 'yes', False: 'no', None: ''}[verdict.isMet]
    found = [row.title, verdict.shape, str(verdict.count),
             f'{show(verdict.value, row.unit)} {row.unit}', show(verdict.floor, row.unit),
             f'{verdict.ratio:.2f}' if verdict.ratio else '-',
             f'{verdict.best:.2f}' if verdict.best else '-', verdict.aim, met]
    for peer in peers:
        wrong = results.median(verdict.shape, verdict.count, peer, 'stopped_out_of_order')
        mark = f' ({wrong:.0f}!)' if row.key == 'stop' and wrong else ''
        value = results.median(verdict.shape, verdict.count, peer, row.key)
        found.append(show(value, row.unit) + mark)
    return found


def lay_out(lines, right=()):
    """Equal columns, a rule below the head; some of them flush right."""
    widths = [max(len(line[place]) for line in lines) for place in range(len(lines[0]))]
    ruled = [lines[0], ['-' * width for width in widths], *lines[1:]]
    return '\n'.join(
        '| ' + ' | '.join(cell.rjust(width) if place in right else cell.ljust(width)
                          for place, (cell, width) in enumerate(zip(line, widths))) + ' |'
        for line in ruled)


def table(results):
    peers = [name for name in results.systems() if name not in (OURS, 'floor')]
    head = ['measure', 'shape', 'N', 'ours', 'floor', 'ratio', 'best', 'aim', 'met', *peers]
    lines = [head] + [cells(results, peers, verdict) for verdict in verdicts(results)]
    return lay_out(lines, right={2, 3, 4, 5, 6, *range(9, len(head))})


def growth_table(results):
    """Ours and the floor, size by size."""
    lines = [['shape', 'N', 'cold start', 'floor', 'ratio', 'stop', 'floor', 'ratio', 'resident',
              'CPU of the owner', 'of the process manager']]
    for shape, count in results.samples:
        line = [shape, str(count)]
        for measure in ('cold', 'stop'):
            ours, floor = (results.median(shape, count, system, measure)
                           for system in (OURS, 'floor'))
            line += [show(ours, 'ms') + ' ms', show(floor, 'ms'), f'{ours / floor:.2f}']
        line.append(show(results.median(shape, count, OURS, 'rss'), 'MB') + ' MB')
        for role in ('grpownerd', 'procmgrd'):
            line.append(show(results.median(shape, count, OURS, 'cpu_' + role), 'ms') + ' ms')
        lines.append(line)
    return lay_out(lines, right=set(range(1, 11)))
