"""Growth as a picture: time and memory against the size of the group, the floor in it."""

import math

# Colours that stand out on light and on dark ground; the grey is for axes and text.
INK = '#808890'
OURS = {'wide': '#d9822b', 'chain': '#2f8fd0', 'layers': '#3fa35b'}
WIDTH, HEIGHT, LEFT, TOP, GAP = 340, 250, 58, 40, 76


def nice_step(top):
    """1, 2 or 5 times a power of ten: four to eight steps to the top."""
    raw = top / 6
    power = 10 ** math.floor(math.log10(raw))
    return next(factor * power for factor in (1, 2, 5, 10) if factor * power >= raw)


class Panel:
    def __init__(self, place, title, unit, curves):
        self.left = LEFT + place * (WIDTH + GAP)
        self.title = title
        self.unit = unit
        self.curves = curves  # (label, colour, isFloor, [(x, y)])
        self.right = max(x for *_, points in curves for x, _ in points)
        self.top = max(y for *_, points in curves for _, y in points) * 1.05

    def at(self, x, y):
        return (self.left + x / self.right * WIDTH, TOP + HEIGHT - y / self.top * HEIGHT)

    def text(self, x, y, text, anchor='middle', more=''):
        return f'<text x="{x:.1f}" y="{y:.1f}" text-anchor="{anchor}"{more}>{text}</text>'

    def axes(self):
        shapes = [self.text(self.left, TOP - 18, self.title, 'start', ' font-weight="bold"')]
        for axis, top, unit in (('x', self.right, ''), ('y', self.top, ' ' + self.unit)):
            step = nice_step(top)
            for number in range(int(top / step) + 1):
                value = number * step
                x, y = self.at(value, 0) if axis == 'x' else self.at(0, value)
                label = f'{value:g}'
                if axis == 'x':
                    shapes.append(self.text(x, y + 18, label))
                else:
                    shapes.append(f'<path d="M{self.left} {y:.1f}h{WIDTH}" class="grid"/>')
                    shapes.append(self.text(x - 6, y + 4, label + (unit if number else ''), 'end'))
        shapes.append(self.text(self.left + WIDTH / 2, TOP + HEIGHT + 36, 'applications'))
        return shapes

    def lines(self):
        shapes = []
        for _, colour, isFloor, points in self.curves:
            path = ' '.join(f'{x:.1f},{y:.1f}' for x, y in (self.at(*point) for point in points))
            dash = ' stroke-dasharray="5 4"' if isFloor else ''
            shapes.append(f'<polyline points="{path}" stroke="{colour}"{dash}/>')
            shapes += [f'<circle cx="{x:.1f}" cy="{y:.1f}" r="2.5" fill="{colour}"/>'
                       for x, y in (self.at(*point) for point in points)]
        return shapes

    def legend(self):
        shapes = []
        for number, (label, colour, isFloor, _) in enumerate(self.curves):
            y = TOP + 12 + 15 * number
            dash = ' stroke-dasharray="5 4"' if isFloor else ''
            shapes.append(f'<path d="M{self.left + 10} {y - 4}h22" stroke="{colour}"{dash}/>')
            shapes.append(self.text(self.left + 38, y, label, 'start'))
        return shapes

    def svg(self):
        return self.axes() + self.lines() + self.legend()


def curve(results, shape, system, measure, scale):
    points = []
    for form, size in sorted(results.samples):
        value = results.median(shape, size, system, measure) if form == shape else None
        if value is not None:
            points.append((size, value / scale))
    return points


def panel(results, place, title, unit, measure, scale):
    curves = []
    for shape, colour in OURS.items():
        for system, isFloor in (('grpowner', False), ('floor', True)):
            points = curve(results, shape, system, measure, scale)
            if points:
                label = f'{shape}{", floor" if isFloor else ""}'
                curves.append((label, colour, isFloor, points))
    return Panel(place, title, unit, curves)


def growth(results):
    """The picture's text."""
    panels = [panel(results, 0, 'Cold start', 's', 'cold', 1000),
              panel(results, 1, 'Resident, owner and process manager', 'MB', 'rss', 1e6),
              panel(results, 2, 'Ordered stop', 's', 'stop', 1000)]
    width = LEFT + len(panels) * (WIDTH + GAP)
    height = TOP + HEIGHT + 48
    style = (f'text{{font:12px system-ui,sans-serif;fill:{INK}}}'
             f'.grid{{stroke:{INK};stroke-opacity:.25}}path,polyline{{fill:none;stroke-width:1.6}}')
    body = '\n'.join(shape for one in panels for shape in one.svg())
    return (f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {width} {height}" '
            f'width="{width}" height="{height}">\n<style>{style}</style>\n{body}\n</svg>\n')
