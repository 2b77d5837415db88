#!/usr/bin/env python3
"""Check the command and function tables against the code, the texts and the
tests, and regenerate the index of docs/index.md.

    python3 tools/check_tables.py [--root DIR] [--no-write]

Reads core/commands.def, core/pending.def, vars/functions.def,
vars/internals.def, lang/usage.txt, lang/messages.txt, every source file of
the tree (found by walking it, so files may move between folders) and every
test under tests/.  It fails (exit 1, one line per problem) when:

  - a command of the table is implemented (its handler is not in
    pending.def) and has no usage text, or a usage text names no command;
  - an implemented command or function is named by no test;
  - a pending handler is also defined in the sources, a pending row names no
    handler of the table, or a handler of a table is neither pending nor
    defined anywhere;
  - a program error code (0x20000000 to 0x3FFFFFFF) of the sources, or a
    language string that they load by number, has no text.

What counts as a test naming something:

  - a command: in an end-to-end script (tests/e2e), a key sequence or a
    console check (tests/interactive: the text typed, or passed to
    shell.run in a check_*.py), the command's name as the first word of a command
    (a line, or a part of one behind & | && || ( or ), with any leading @
    or *; lines of files that a script creates count too); in a unit test,
    a call of the command's handler.  Unit tests that run command lines
    often point rows at recording handlers, so a command line in a unit
    test is no proof that the command itself ran;
  - a function: "@name[" in any test, or the string "@name" in a unit test;
  - an internal variable (listed in the index, not checked): "%_name" in
    any test, or "_name" or IV_name in a unit test.

A function row whose handler is Func_Pending is not written yet; Func_NoCase
rows are implemented (the name acts as unknown).  The handler of a pending
function row would be Func_<name> (any case): such a definition while the row
is still pending is an error as well.

Error codes: every hexadecimal literal of the program's range in the sources
counts, except one assigned to an upper-case name without ERR in it (a flag,
such as a search option that happens to be 0x20000000) and a bound of an
ordered comparison (code <= 0x3FFFFFFF).

The index (docs/index.md) is regenerated on every run: when the file on disk
differs, the new one is written and the check fails, so that the change is
committed with the change that caused it.  --no-write only compares.
"""
import argparse
import os
import re
import sys
from collections import Counter

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, HERE)
import make_lang  # noqa: E402  (one reader of the language texts)

SKIP_DIRS = {"tests", "tools", "bench", "docs", "lang", "cmake"}
SOURCE_EXT = {".c", ".cc", ".cpp", ".h", ".hpp", ".inc", ".def"}
TEST_SCRIPT_EXT = {".btm", ".bat", ".cmd"}
PROGRAM_ERROR_FIRST, PROGRAM_ERROR_LAST = 0x20000000, 0x3FFFFFFF
STRING_BIAS = 0x1FFFF448
MAX_TESTS_LISTED = 8

COMMAND_ROW = re.compile(r'^BD_COMMAND\(L"([^"]+)",\s*(\w+)', re.M)
PENDING_ROW = re.compile(r'^BD_PENDING\((\w+)\)', re.M)
FUNCTION_ROW = re.compile(r'^BD_FUNCTION\((\w+),\s*(\w+),\s*(\w+)\)', re.M)
INTERNAL_ROW = re.compile(r'^BD_INTERNAL\(L"([^"]+)",\s*(\w+),\s*(\w+)\)', re.M)
COMMAND_DEF = re.compile(r'\bint\s+(\w+)\s*\(\s*CString\s*&\s*\w*\s*\)\s*\{')
FUNCTION_DEF = re.compile(r'\bint\s+(Func_\w+)\s*\(\s*FUNCCALL\s*&\s*\w*\s*\)\s*\{')
HEX_LITERAL = re.compile(r'(?:\b([A-Za-z_]\w*)\s*=\s*|([<>]=?)\s*)?\b0[xX]([0-9A-Fa-f]{8})\b')
STRING_BY_NUMBER = re.compile(r'LoadLanguageString\(\s*(\d+)\s*\)')
NAMED_STRING = re.compile(r'\b(IDS_\w+)\s*=\s*(\d+)')
CALL = re.compile(r'(?<!int )\b(\w+)\s*\(')
FUNCTION_CALL = re.compile(r'@(\w+)\[')
FUNCTION_LITERAL = re.compile(r'"@(\w+)"')
INTERNAL_USE = re.compile(r'%_([\w?]+)')
INTERNAL_LITERAL = re.compile(r'"_([\w?]+)"')
INTERNAL_CASE = re.compile(r'\bIV_(\w+)\b')
PY_RUN = re.compile(r'\.run\(((?:\s*f?"[^"]*")+)')
# Where a command word ends, as the lookup reads it (and "(" and "[").
WORD_END = re.compile(r'[\s;,."`\\+=<>|\])(\[:]')


def read(path):
    with open(path, encoding="utf-8", errors="replace") as f:
        return f.read()


def rel(root, path):
    return os.path.relpath(path, root).replace(os.sep, "/")


class Tree:
    """Everything the check reads, parsed once."""

    def __init__(self, root):
        self.root = root
        self.commands = COMMAND_ROW.findall(read(self.path("core/commands.def")))
        self.pending = PENDING_ROW.findall(read(self.path("core/pending.def")))
        self.functions = FUNCTION_ROW.findall(read(self.path("vars/functions.def")))
        self.internals = INTERNAL_ROW.findall(read(self.path("vars/internals.def")))
        usage = make_lang.read_usage(self.path("lang/usage.txt"))
        self.usage = {text.split("\n", 1)[0].strip().upper(): ident for ident, text in usage}
        self.strings = {ident for ident, _ in make_lang.read_messages(self.path("lang/messages.txt"))}
        self.strings |= set(self.usage.values())
        self.sources = {rel(root, p): read(p) for p in self.walk_sources()}
        self.tests = {rel(root, p): read(p) for p in self.walk_tests()}
        self.mentions = Mentions(self)

    def path(self, name):
        return os.path.join(self.root, name)

    def walk_sources(self):
        for top, dirs, files in os.walk(self.root):
            if top == self.root:
                dirs[:] = [d for d in dirs if d not in SKIP_DIRS]
            dirs[:] = sorted(d for d in dirs if not d.startswith((".", "build")))
            for name in sorted(files):
                if os.path.splitext(name)[1] in SOURCE_EXT:
                    yield os.path.join(top, name)

    def walk_tests(self):
        for top, dirs, files in os.walk(self.path("tests")):
            dirs.sort()
            for name in sorted(files):
                ext = os.path.splitext(name)[1]
                if ext in TEST_SCRIPT_EXT | {".keys", ".cpp"} or (ext == ".py" and name.startswith("check_")):
                    yield os.path.join(top, name)


# --- what the tests name ---------------------------------------------------

def split_commands(line):
    """The parts of a command line behind & | ( ), outside quotes."""
    parts, current, quote = [], [], None
    for c in line:
        if quote:
            current.append(c)
            if c == quote:
                quote = None
        elif c in "\"`":
            quote = c
            current.append(c)
        elif c in "&|()":
            parts.append("".join(current))
            current = []
        else:
            current.append(c)
    parts.append("".join(current))
    return parts


def command_words(line):
    """The command words of one line of a script.  A label or :: comment
    has none, and REM takes the rest of its line."""
    words = []
    for part in split_commands(line):
        part = part.strip().lstrip("@*").lstrip()
        if part.startswith(":"):
            break
        word = WORD_END.split(part, 1)[0].upper() if part else ""
        if word:
            words.append(word)
        if word == "REM":
            break
    return words


def script_lines(path, text):
    """The lines of a test that the shell runs as commands."""
    if path.endswith(".py"):
        # Console checks type their lines through shell.run("...").
        for call in PY_RUN.findall(text):
            yield "".join(re.findall(r'"([^"]*)"', call))
        return
    for line in text.splitlines():
        stripped = line.strip()
        if path.endswith(".keys"):
            for prefix in ("type: ", "| "):
                if stripped.startswith(prefix):
                    yield stripped[len(prefix):]
            continue
        file_line = re.match(r'@?rem\s+\|\s?(.*)$', stripped, re.I)
        if file_line:
            yield file_line.group(1)
        elif not re.match(r'@?rem\s+[A-Z]+:', stripped):
            yield stripped


def first_words_by_test(tree):
    """{test: {command word: number of uses}} for scripts and key files."""
    found = {}
    for path, text in tree.tests.items():
        if path.endswith(".cpp"):
            continue
        counts = Counter()
        for line in script_lines(path, text):
            counts.update(command_words(line))
        found[path] = counts
    return found


class Mentions:
    """What each test names, counted once for all rows."""

    def __init__(self, tree):
        self.words = first_words_by_test(tree)
        self.calls, self.functions, self.internals = {}, {}, {}
        for path, text in tree.tests.items():
            unit = path.endswith(".cpp")
            self.calls[path] = Counter(CALL.findall(text)) if unit else Counter()
            names = [n.lower() for n in FUNCTION_CALL.findall(text)]
            names += [n.lower() for n in FUNCTION_LITERAL.findall(text)] if unit else []
            self.functions[path] = Counter(names)
            names = [n.lower() for n in INTERNAL_USE.findall(text)]
            names += [n.lower() for n in INTERNAL_LITERAL.findall(text)] if unit else []
            names += ["iv_" + n.lower() for n in INTERNAL_CASE.findall(text)] if unit else []
            self.internals[path] = Counter(names)

    @staticmethod
    def _hits(table, *keys):
        hits = {}
        for path, counts in table.items():
            n = sum(counts.get(k, 0) for k in keys)
            if n:
                hits[path] = n
        return hits

    def command(self, name, handler):
        hits = self._hits(self.words, name.upper())
        for path, n in self._hits(self.calls, handler).items():
            hits[path] = hits.get(path, 0) + n
        return hits

    def function(self, name):
        return self._hits(self.functions, name.lower())

    def internal(self, name, ident):
        return self._hits(self.internals, name.lower(), "iv_" + ident.lower())


def ranked(hits, name):
    """Tests that name a thing, the most telling first: a file named after
    it, then by number of uses, then by path."""
    key = name.lower()

    def order(path):
        base = os.path.basename(path).lower()
        return (0 if key and key in base else 1, -hits[path], path)

    return sorted(hits, key=order)


# --- definitions in the sources ---------------------------------------------

def definitions(tree, pattern):
    """{name: first file that defines it}."""
    found = {}
    for path, text in tree.sources.items():
        for name in pattern.findall(text):
            found.setdefault(name, path)
    return found


def internal_files(tree):
    """{identifier: file whose switch computes the variable}."""
    found = {}
    for path, text in tree.sources.items():
        for ident in re.findall(r'\bcase\s+IV_(\w+)\s*:', text):
            found.setdefault(ident, path)
    return found


def error_codes(tree):
    """{code: first file using it} for the program's error codes."""
    found = {}
    for path, text in tree.sources.items():
        for name, relation, digits in HEX_LITERAL.findall(text):
            code = int(digits, 16)
            if relation or not PROGRAM_ERROR_FIRST <= code <= PROGRAM_ERROR_LAST:
                continue
            if name and name.isupper() and "ERR" not in name:
                continue
            found.setdefault(code, path)
    return found


def strings_by_number(tree):
    found = {}
    for path, text in tree.sources.items():
        for digits in STRING_BY_NUMBER.findall(text):
            found.setdefault(int(digits), path)
        for name, digits in NAMED_STRING.findall(text):
            found.setdefault(int(digits), "%s (%s)" % (path, name))
    return found


# --- the checks ---------------------------------------------------------------

def check(tree):
    problems = []
    pending = set(tree.pending)
    handlers = {h for _, h in tree.commands}
    defined = definitions(tree, COMMAND_DEF)

    for h in tree.pending:
        if h not in handlers:
            problems.append("core/pending.def: BD_PENDING(%s) names no handler of the command table" % h)
        elif h in defined:
            problems.append("core/pending.def: %s is pending but defined in %s: remove its pending row"
                            % (h, defined[h]))
    for h in sorted(handlers - pending - set(defined)):
        names = ", ".join(n for n, hh in tree.commands if hh == h)
        problems.append("core/commands.def: %s (%s) is neither pending nor defined in the sources" % (h, names))

    for name, h in tree.commands:
        if h in pending:
            continue
        if name.upper() not in tree.usage:
            problems.append("lang/usage.txt: %s is implemented (%s) but has no usage text" % (name, h))
        if not tree.mentions.command(name, h):
            problems.append("tests: %s is implemented (%s) but no test names it" % (name, h))
    names = {n.upper() for n, _ in tree.commands}
    for name in sorted(set(tree.usage) - names):
        problems.append("lang/usage.txt: the usage text %s names no command of the table" % name)

    fdefined = definitions(tree, FUNCTION_DEF)
    lower_defs = {d.lower(): d for d in fdefined}
    for name, _, h in tree.functions:
        if h == "Func_Pending":
            own = lower_defs.get("func_" + name)
            if own:
                problems.append("vars/functions.def: @%s is pending but %s is defined in %s"
                                % (name, own, fdefined[own]))
            continue
        if h not in fdefined:
            problems.append("vars/functions.def: @%s: handler %s is not defined in the sources" % (name, h))
        if not tree.mentions.function(name):
            problems.append("tests: @%s is implemented (%s) but no test names it" % (name.upper(), h))

    for code, path in sorted(error_codes(tree).items()):
        if code - STRING_BIAS not in tree.strings:
            problems.append("lang/messages.txt: error 0x%08X (%s) has no text: string %d"
                            % (code, path, code - STRING_BIAS))
    for ident, path in sorted(strings_by_number(tree).items()):
        if ident not in tree.strings:
            problems.append("lang/messages.txt: string %d (%s) has no text" % (ident, path))
    return problems


# --- the index --------------------------------------------------------------

def link(path):
    return "[%s](../%s)" % (path, path)


def test_links(hits, name):
    paths = ranked(hits, name)
    shown = ["[%s](../%s)" % (p[len("tests/"):] if p.startswith("tests/") else p, p)
             for p in paths[:MAX_TESTS_LISTED]]
    if len(paths) > MAX_TESTS_LISTED:
        shown.append("and %d more" % (len(paths) - MAX_TESTS_LISTED))
    return ", ".join(shown) if shown else "**none**"


def index(tree):
    pending = set(tree.pending)
    defined = definitions(tree, COMMAND_DEF)
    fdefined = definitions(tree, FUNCTION_DEF)
    ivfiles = internal_files(tree)
    out = [
        "# Index of commands, functions and internal variables",
        "",
        "Generated by `tools/check_tables.py` (run by the test suite) from the",
        "tables, the sources, `lang/usage.txt` and the tests; do not edit by hand.",
        "A pending row has no code yet: it reports that it is not available.",
        "Tests are listed the most telling first: a file named after the entry,",
        "then by number of uses.",
        "",
    ]
    implemented = sum(1 for _, h in tree.commands if h not in pending)
    out += ["## Commands (%d rows, %d implemented)" % (len(tree.commands), implemented), "",
            "| Command | Handler | Defined in | Usage | Tests |", "|---|---|---|---|---|"]
    for name, h in tree.commands:
        where = "pending" if h in pending else link(defined[h]) if h in defined else "**missing**"
        usage = "yes" if name.upper() in tree.usage else "no"
        hits = tree.mentions.command(name, h) if h not in pending else {}
        tests = test_links(hits, name) if h not in pending else ""
        out.append("| `%s` | `%s` | %s | %s | %s |" % (name.replace("|", "\\|"), h, where, usage, tests))

    fimpl = sum(1 for _, _, h in tree.functions if h != "Func_Pending")
    out += ["", "## Functions (%d rows, %d implemented)" % (len(tree.functions), fimpl), "",
            "| Function | Family | Handler | Defined in | Tests |", "|---|---|---|---|---|"]
    for name, family, h in tree.functions:
        if h == "Func_Pending":
            out.append("| `@%s` | %s | | pending | |" % (name.upper(), family))
            continue
        where = link(fdefined[h]) if h in fdefined else "**missing**"
        out.append("| `@%s` | %s | `%s` | %s | %s |"
                   % (name.upper(), family, h, where, test_links(tree.mentions.function(name), name)))

    out += ["", "## Internal variables (%d rows)" % len(tree.internals), "",
            "| Variable | Family | Computed in | Tests |", "|---|---|---|---|"]
    for name, ident, family in tree.internals:
        where = "absent (no value in this build)" if family == "IVF_ABSENT" else \
            link(ivfiles[ident]) if ident in ivfiles else family
        hits = tree.mentions.internal(name, ident)
        out.append("| `%%_%s` | %s | %s | %s |" % (name.upper(), family[4:].lower(), where,
                                                   test_links(hits, name) if hits else ""))
    return "\n".join(out) + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n\n")[0])
    parser.add_argument("--root", default=os.path.dirname(HERE))
    parser.add_argument("--no-write", action="store_true", help="compare the index only, never write it")
    args = parser.parse_args()
    tree = Tree(os.path.abspath(args.root))
    problems = check(tree)

    target = tree.path("docs/index.md")
    text = index(tree)
    old = read(target) if os.path.exists(target) else None
    if old != text:
        if args.no_write:
            problems.append("docs/index.md is stale: run python3 tools/check_tables.py and commit it")
        else:
            os.makedirs(os.path.dirname(target), exist_ok=True)
            with open(target, "w", encoding="utf-8", newline="\n") as f:
                f.write(text)
            problems.append("docs/index.md was stale and has been regenerated: commit it")

    for p in problems:
        print(p)
    if problems:
        print("%d problem(s)" % len(problems))
        return 1
    print("tables, texts and tests agree; docs/index.md is current")
    return 0


if __name__ == "__main__":
    sys.exit(main())
