"""Puts tables into a page, each between its marks."""

import re


def put(path, tables):
    with open(path, encoding='utf-8') as file:
        text = file.read()
    for name, table in tables.items():
        begin, end = f'<!-- {name}: made by ./dev bench --docs -->', f'<!-- end of {name} -->'
        text, count = re.subn(re.escape(begin) + '.*?' + re.escape(end),
                              lambda _: f'{begin}\n{table}\n{end}', text, flags=re.DOTALL)
        if count != 1:
            raise RuntimeError(f'{path} has no place for {name}')
    with open(path, 'w', encoding='utf-8') as file:
        file.write(text)
