#!/usr/bin/env python3
"""Build the language module's resource script from its two text files.

messages.txt: one "id text" per line; '#' starts a comment line; a line
              that begins with a blank continues the message above it on
              a new line (its leading blanks dropped).
usage.txt:    one block per command, blocks separated by blank lines:
              the name, a one-line description, then the syntax lines.
              Blocks get consecutive string ids from 8102, in file order.
"""
import sys

USAGE_FIRST = 8102


def rc_string(text):
    out = text.replace('\\', '\\\\').replace('"', '""').replace('\n', '\\n')
    return '"' + out + '"'


def read_messages(path):
    rows = []
    with open(path, encoding='utf-8') as f:
        for number, line in enumerate(f, 1):
            line = line.rstrip('\n')
            if not line.strip() or line.startswith('#'):
                continue
            if line[0] in ' \t':
                if not rows:
                    sys.exit(f'{path}:{number}: a continuation line needs a message above it')
                rows[-1] = (rows[-1][0], rows[-1][1] + '\n' + line.lstrip(' \t'))
                continue
            ident, _, text = line.partition(' ')
            if not ident.isdigit():
                sys.exit(f'{path}:{number}: expected "id text"')
            rows.append((int(ident), text))
    return rows


def read_usage(path):
    blocks, current = [], []
    with open(path, encoding='utf-8') as f:
        for line in f:
            line = line.rstrip('\n')
            if line.startswith('#'):
                continue
            if line.strip():
                current.append(line)
            elif current:
                blocks.append(current)
                current = []
    if current:
        blocks.append(current)
    for block in blocks:
        if len(block) < 2:
            sys.exit(f'{path}: usage block "{block[0]}" needs a description')
    return [(USAGE_FIRST + i, '\n'.join(b)) for i, b in enumerate(blocks)]


def main():
    messages, usage, output = sys.argv[1:4]
    rows = read_messages(messages) + read_usage(usage)
    seen = set()
    for ident, _ in rows:
        if ident in seen:
            sys.exit(f'duplicate string id {ident}')
        seen.add(ident)
    with open(output, 'w', encoding='utf-8') as f:
        f.write('#pragma code_page(65001)\nSTRINGTABLE\nBEGIN\n')
        for ident, text in sorted(rows):
            f.write(f'  {ident} {rc_string(text)}\n')
        f.write('END\n')


if __name__ == '__main__':
    main()
