"""Groups to measure: who depends on whom, and the files that tell each system so.

An application is known by its number; whatever it depends on has a smaller one.
"""

import math

DIGITS = '0123456789abcdefghijklmnopqrstuvwxyzABCDEFGHIJKLMNOPQRSTUVWXYZ'
SHAPES = ('wide', 'chain', 'layers')


def name_of(number):
    """Two characters, so that many fit a record."""
    high, low = divmod(number, len(DIGITS))
    return DIGITS[high] + DIGITS[low]


def layers(count):
    """About sqrt(count) layers; each application needs two or three of the layer before."""
    width = math.ceil(math.sqrt(count))
    needs = []
    for number in range(count):
        layer, column = divmod(number, width)
        wanted = 0 if layer == 0 else min(2 + number % 2, width)
        step = 1 + layer % max(1, width // 3)
        columns = {(column + place * step) % width for place in range(wanted)}
        needs.append(sorted((layer - 1) * width + column for column in columns))
    return needs


class Group:
    """A shape of a size."""

    def __init__(self, shape, count):
        self.shape = shape
        self.count = count
        self.names = [name_of(number) for number in range(count)]
        if shape == 'wide':
            self.needs = [[] for _ in range(count)]
        elif shape == 'chain':
            self.needs = [[number - 1] if number else [] for number in range(count)]
        else:
            self.needs = layers(count)
        # The upper third: nobody below depends on it.
        self.replaced = range(count - count // 3, count)

    def edges(self):
        return ((number, need) for number in range(self.count) for need in self.needs[number])

    def yaml(self, program, stamps):
        lines = ['version: 1',
                 'defaults: {readiness: notify, restart: on-forever, stop_timeout: 30s}',
                 'applications:']
        for number, needs in enumerate(self.needs):
            depends = ', '.join(f'"{self.names[need]}"' for need in needs)
            lines.append(f'  "{self.names[number]}": {{command: {program}, '
                         f'args: [{stamps}, "{number}"], depends_on: [{depends}]}}')
        return '\n'.join(lines) + '\n'

    def plan(self):
        """What the floor reads."""
        lines = [str(self.count)]
        lines += [' '.join(map(str, [len(needs), *needs])) for needs in self.needs]
        return '\n'.join(lines) + '\n'
