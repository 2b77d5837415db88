#!/usr/bin/env python3
"""Check that the layers of the source tree run one way.

Layers, bottom to top (a file may include headers of its own layer and of
the layers below it, never of a layer above):

    base/                                       strings, formats, arguments, state, errors
    config/                                     the ini engine
    console/                                    output, input, screen
    vars/ batch/ files/ system/ ext/ monitors/ net/   the subsystems (peers)
    core/                                       the execution core
    frontend/ tests/                            BDX.EXE and the tests

Checks, over every .cpp, .h and .def file of those folders:
  1. every #include "..." names a file of a known folder (a bare name is
     the including file's neighbour), and goes down or sideways, never up;
  2. no .cpp file declares a function by hand that it does not define
     itself (a declaration belongs in the header of the folder that
     defines the function).

Prints what it found and a summary: how many files include each header.
With --list, also the project includes of every file.  With --rev, reads
the tree of a git revision instead of the working tree (for comparing).
Exit status 0 when clean, 1 otherwise.
"""
import argparse
import collections
import os
import re
import subprocess
import sys

LAYERS = [
    ('base', ['base']),
    ('config', ['config']),
    ('console', ['console']),
    ('subsystems', ['vars', 'batch', 'files', 'system', 'ext', 'monitors', 'net']),
    ('core', ['core']),
    ('top', ['frontend', 'tests']),
]
RANK = {folder: rank for rank, (_, folders) in enumerate(LAYERS) for folder in folders}
SOURCE = re.compile(r'\.(cpp|h|def)$')
INCLUDE = re.compile(r'^\s*#\s*include\s+"([^"]+)"', re.M)


def read_tree(root, rev):
    """{path: text} of the source files of the layer folders."""
    if rev:
        names = subprocess.run(['git', '-C', root, 'ls-tree', '-r', '--name-only', rev],
                               capture_output=True, text=True, check=True).stdout.split()
        names = [n for n in names if SOURCE.search(n) and n.split('/')[0] in RANK]
        return {n: subprocess.run(['git', '-C', root, 'show', f'{rev}:{n}'], capture_output=True,
                                  text=True, check=True).stdout for n in names}
    files = {}
    for folder in RANK:
        for dirpath, _, names in os.walk(os.path.join(root, folder)):
            for name in names:
                if SOURCE.search(name):
                    path = os.path.relpath(os.path.join(dirpath, name), root).replace(os.sep, '/')
                    with open(os.path.join(root, path), encoding='utf-8', errors='replace') as f:
                        files[path] = f.read()
    return files


def strip_comments(text):
    text = re.sub(r'/\*.*?\*/', ' ', text, flags=re.S)
    text = re.sub(r'//[^\n]*', '', text)
    return re.sub(r'L?"(\\.|[^"\\\n])*"', '""', text)


def top_level_statements(code):
    """Statements outside any function or class body; namespace and
    extern "C" blocks do not count as bodies."""
    depth_kinds = []
    statement = ''
    for ch in code:
        if ch == '{':
            opener = statement.strip()
            transparent = re.match(r'^(namespace\b[\w\s:]*|extern\s+""\s*)$', opener) is not None
            depth_kinds.append(transparent)
            statement = ''
            continue
        if ch == '}':
            if depth_kinds:
                depth_kinds.pop()
            statement = ''
            continue
        if all(depth_kinds):
            if ch == ';':
                yield ' '.join(statement.split())
                statement = ''
            else:
                statement += ch


PROTOTYPE = re.compile(r'^(?:extern\s+""\s+)?(?:static\s+|inline\s+|BD_EXPORT\s+|__declspec\(\w+\)\s+|\[\[\w+\]\]\s+)*'
                       r'[\w:<>,\s\*&]+?[\s\*&]([A-Za-z_]\w*)\s*\(([^()]|\([^()]*\))*\)\s*(const\s*)?$')
NOT_A_TYPE = {'return', 'using', 'typedef', 'static_assert', 'goto', 'delete', 'new', 'throw'}


def hand_declarations(path, text):
    """Names of functions that a .cpp file declares but does not define."""
    if not path.endswith('.cpp'):
        return []
    code = strip_comments(text)
    code = re.sub(r'^\s*#[^\n]*', '', code, flags=re.M)
    found = []
    for statement in top_level_statements(code):
        if '=' in statement.split('(')[0] or statement.split(' ')[0] in NOT_A_TYPE:
            continue
        match = PROTOTYPE.match(statement)
        # A variable built with arguments ("CString s(1, L'x')") is no declaration.
        if not match or re.search(r"\(\s*([0-9'-]|\"\")", statement):
            continue
        name = match.group(1)
        if not re.search(r'\b' + re.escape(name) + r'\s*\([^;{]*\)\s*(const\s*)?(noexcept\s*)?\{', code):
            found.append(name)
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument('--root', default=os.path.join(os.path.dirname(os.path.abspath(__file__)), '..'))
    parser.add_argument('--rev', help='check the tree of this git revision')
    parser.add_argument('--list', action='store_true', help="print every file's project includes")
    args = parser.parse_args()

    files = read_tree(args.root, args.rev)
    problems = []
    included_by = collections.defaultdict(list)
    for path in sorted(files):
        folder = path.split('/')[0]
        targets = INCLUDE.findall(files[path])
        if args.list:
            print(f'{path}: {" ".join(t for t in targets) or "-"}')
        for target in targets:
            if '/' not in target:  # beside the including file
                target = path.rsplit('/', 1)[0] + '/' + target
            included_by[target].append(path)
            to = target.split('/')[0]
            if to not in RANK:
                problems.append(f'{path}: #include "{target}" names no folder of the layers')
            elif RANK[to] > RANK[folder]:
                problems.append(f'{path}: #include "{target}" goes up from {LAYERS[RANK[folder]][0]} '
                                f'to {LAYERS[RANK[to]][0]}')
        for name in hand_declarations(path, files[path]):
            problems.append(f'{path}: declares {name}() by hand; include the header of its folder')

    headers = sorted(((len(users), h) for h, users in included_by.items() if h.endswith('.h')), reverse=True)
    print(f'{len(files)} files; the most included headers:')
    for count, header in headers[:12]:
        print(f'  {count:4d}  {header}')
    for line in problems:
        print(line)
    print('layers: ' + ('clean' if not problems else f'{len(problems)} problem(s)'))
    return 1 if problems else 0


if __name__ == '__main__':
    sys.exit(main())
