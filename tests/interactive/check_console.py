#!/usr/bin/env python3
"""Console output checks that need a real console, run in tmux under Wine.

    python3 check_console.py --bin <dir of BDX.EXE and unit_tests.exe> --wine <wine>

Two parts:

1. The cell-layer unit tests (ConsoleScreen.*) run again inside a tmux
   pane, where Wine gives the program a console: there they write cells
   and read them back through the program's own screen functions
   (ReadCellStr, GetAttribute, GetCursorPosition).  Outside a console they
   skip, so this part insists that all of them ran and passed.

2. BDX.EXE runs in a pane; commands are typed, and the pane is read back
   with "tmux capture-pane -e".  Wine draws console attributes as SGR
   escapes (30-37/90-97 foreground, 40-47/100-107 background); tmux
   re-emits them.  The parser below tracks every SGR form tmux may use
   (including 38;5;n and 48;5;n) into a grid of (character, fg, bg), so
   the checks compare colour numbers, not escape text.  Every step waits
   for the text it expects instead of sleeping a fixed time.
"""
import argparse
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

ROWS, COLS = 25, 80
# Console colour number -> SGR foreground code (the ANSI order differs).
CONSOLE_TO_SGR = [30, 34, 32, 36, 31, 35, 33, 37]
SGR = re.compile(r"\x1b\[([0-9;:]*)m")


def sgr_fg(colour):
    return CONSOLE_TO_SGR[colour & 7] + (60 if colour & 8 else 0)


def sgr_bg(colour):
    return sgr_fg(colour) + 10


class Pane:
    panes = 0

    def __init__(self, command, cwd, env):
        # A tmux server of its own for each pane.
        Pane.panes += 1
        self.socket = f"bdx-console-{os.getpid()}-{Pane.panes}"
        subprocess.run(["tmux", "-L", self.socket, "-f", "/dev/null", "new-session", "-d", "-s", "t",
                        "-x", str(COLS), "-y", str(ROWS), command], cwd=cwd, env=env, check=True)

    def tmux(self, *args):
        return subprocess.run(["tmux", "-L", self.socket] + list(args), capture_output=True, text=True,
                              errors="replace").stdout

    def type(self, text):
        self.tmux("send-keys", "-t", "t", "-l", text)
        self.tmux("send-keys", "-t", "t", "Enter")

    def key(self, name):
        self.tmux("send-keys", "-t", "t", name)

    def text(self):
        return self.tmux("capture-pane", "-t", "t", "-p")

    def grid(self):
        """Rows of cells (char, fg, bg); fg/bg are SGR codes, None for default."""
        rows = []
        fg = bg = None
        for line in self.tmux("capture-pane", "-t", "t", "-p", "-e").split("\n")[:ROWS]:
            cells, at = [], 0
            for m in SGR.finditer(line):
                cells += [(c, fg, bg) for c in line[at:m.start()]]
                at = m.end()
                fg, bg = apply_sgr(m.group(1), fg, bg)
            cells += [(c, fg, bg) for c in line[at:]]
            rows.append(cells)
        return rows

    def wait_for(self, predicate, what, timeout=20):
        end = time.time() + timeout
        while time.time() < end:
            text = self.text()
            if predicate(text):
                return text
            time.sleep(0.2)
        raise AssertionError(f"timed out waiting for {what}; the screen was:\n{self.text()}")

    def close(self):
        self.tmux("kill-server")


def apply_sgr(params, fg, bg):
    codes = [int(p) if p else 0 for p in re.split("[;:]", params)] if params else [0]
    i = 0
    while i < len(codes):
        c = codes[i]
        if c == 0:
            fg = bg = None
        elif 30 <= c <= 37 or 90 <= c <= 97:
            fg = c
        elif 40 <= c <= 47 or 100 <= c <= 107:
            bg = c
        elif c == 39:
            fg = None
        elif c == 49:
            bg = None
        elif c in (38, 48) and i + 2 < len(codes) and codes[i + 1] == 5:
            n = codes[i + 2]
            code = (30 + n if n < 8 else 90 + n - 8) if n < 16 else None
            if c == 38:
                fg = code
            else:
                bg = None if code is None else code + 10
            i += 2
        i += 1
    return fg, bg


def cell(grid, row, col):
    line = grid[row] if row < len(grid) else []
    return line[col] if col < len(line) else (" ", None, None)


def expect(condition, message, pane):
    if not condition:
        raise AssertionError(message + "\nscreen:\n" + pane.text())


def check_unit_tests(args, env, work):
    report = os.path.join(work, "screen_tests.txt")
    rc_file = os.path.join(work, "screen_tests.rc")
    exe = os.path.join(args.bin, "unit_tests.exe")
    pane = Pane(f"{args.wine} '{exe}' --gtest_filter='ConsoleScreen.*' > '{report}'; echo $? > '{rc_file}'",
                work, env)
    try:
        end = time.time() + 90
        while not os.path.exists(rc_file) or not open(rc_file).read().strip():
            if time.time() > end:
                raise AssertionError("the cell-layer tests did not finish")
            time.sleep(0.3)
    finally:
        pane.close()
    output = open(report, errors="replace").read()
    rc = open(rc_file).read().strip()
    if rc != "0" or "SKIPPED" in output or not re.search(r"PASSED\s*\] [1-9]\d* tests?", output):
        raise AssertionError(f"cell-layer tests in a console failed (exit {rc}):\n{output}")
    print(re.search(r"PASSED\s*\].*", output).group(0))


class Shell:
    """BDX.EXE in a pane; run() returns when the command has finished."""

    def __init__(self, pane):
        self.pane = pane
        self.count = 0

    def run(self, command):
        # An ECHO behind the command marks its end: its output line (the
        # marker alone, not the command line that shows it) comes last.
        self.count += 1
        marker = f"@@{self.count}@@"
        self.pane.type(command)
        self.pane.type(f"echo {marker}")
        self.pane.wait_for(lambda t: marker in t.split("\n"), f"the end of: {command}")


def check_commands(args, env, work):
    ini = os.path.join(work, "empty.ini")
    open(ini, "w").close()
    env = dict(env, PROMPT="BDX$g ")
    exe = os.path.join(args.bin, "BDX.EXE")
    pane = Pane(f"{args.wine} '{exe}' @{ini}", work, env)
    shell = Shell(pane)
    try:
        pane.wait_for(lambda t: "BDX>" in t, "the prompt", timeout=40)
        shell.run("cls")
        shell.run("scrput 8 10 bri yel on blu HELLO")
        grid = pane.grid()
        word = [cell(grid, 8, 10 + i) for i in range(5)]
        expect("".join(c for c, _, _ in word) == "HELLO", "SCRPUT text not at row 8, column 10", pane)
        expect(all(c[1:] == (sgr_fg(14), sgr_bg(1)) for c in word), f"SCRPUT colours wrong: {word}", pane)
        expect(cell(grid, 8, 9)[1:] != (sgr_fg(14), sgr_bg(1)), "colour spilled before the text", pane)
        # The cursor stayed: the next prompt follows the command line.
        expect(pane.text().split("\n")[4].startswith("BDX> scrput"), "SCRPUT moved the cursor", pane)

        shell.run("cls")
        shell.run("drawbox 10 2 13 12 2 red on whi & drawhline 11 2 11 1 bri gre on whi"
                  " & vscrput 10 40 cya on bla ABC & screen 16 5 Hi there")
        grid = pane.grid()
        expect(cell(grid, 10, 2) == ("\u2554", sgr_fg(4), sgr_bg(7)), f"box corner {cell(grid, 10, 2)}", pane)
        expect(cell(grid, 13, 12)[0] == "\u255d", "box bottom right corner", pane)
        expect(cell(grid, 11, 2) == ("\u255f", sgr_fg(10), sgr_bg(7)), f"line join {cell(grid, 11, 2)}", pane)
        expect(cell(grid, 11, 12)[0] == "\u2562" and cell(grid, 11, 7)[0] == "\u2500", "line across the box", pane)
        column = [cell(grid, 10 + i, 40) for i in range(3)]
        expect([c[0] for c in column] == list("ABC") and all(c[1] == sgr_fg(3) for c in column),
               f"VSCRPUT column {column}", pane)
        expect("".join(c for c, _, _ in grid[16][5:13]) == "Hi there", "SCREEN text at row 16, column 5", pane)

        shell.run("scrput 99 0 red on blu x")
        expect('Invalid parameter. "99"' in pane.text(), "no bounds error", pane)
        shell.run("scrput 1 1 purple on blu x")
        expect('Invalid color "purple on blu x"' in pane.text(), "no colour error", pane)

        shell.run("color 1f")
        coloured = [c for row in pane.grid() for c in row]
        expect(coloured and all(c[1:] == (sgr_fg(15), sgr_bg(1)) for c in coloured),
               "COLOR 1F did not recolour every cell", pane)

        # Paging: 25 rows make pages of 24 lines; Esc ends the listing.
        shell.run("cls 7")
        pane.type("? /p")
        pane.wait_for(lambda t: "Press Esc to quit" in t, "the page pause")
        expect("ZIPSFX" not in pane.text(), "the listing ran past the pause", pane)
        pane.key("Space")
        pane.wait_for(lambda t: "Press Esc to quit" in t and "ECHOERR" not in t, "the second page")
        pane.key("Escape")
        shell.run("rem after the listing")
        expect("ZIPSFX" not in pane.text(), "Esc did not end the listing", pane)
    finally:
        pane.close()
    print("commands: ok")


def start_shell(args, env, work, cwd, options=""):
    """BDX.EXE with an empty ini file in a pane of its own, at its prompt."""
    ini = os.path.join(work, "empty.ini")
    open(ini, "w").close()
    exe = os.path.join(args.bin, "BDX.EXE")
    pane = Pane(f"{args.wine} '{exe}' @{ini} {options}", cwd, dict(env, PROMPT="BDX$g "))
    try:
        pane.wait_for(lambda t: "BDX>" in t, "the prompt", timeout=40)
    except AssertionError:
        pane.close()
        raise
    return pane, Shell(pane)


def rows_by_text(pane):
    """The screen's rows by their text (blanks around it dropped)."""
    return {"".join(c for c, _, _ in row).strip(): row for row in pane.grid()}


def check_option_colours(args, env, work):
    """StdColors colours ECHO, ErrorColors the error messages."""
    pane, shell = start_shell(args, env, work, work, "//StdColors=30 //ErrorColors=12")
    try:
        shell.run("cls")
        shell.run("echo tinted & scrput 1")
        rows = rows_by_text(pane)
        tinted, error = rows.get("tinted"), rows.get('Invalid parameter. "1"')
        expect(tinted and all(c[1:] == (sgr_fg(14), sgr_bg(1)) for c in tinted[:6]), "ECHO not in StdColors", pane)
        expect(error and all(c[1] == sgr_fg(12) for c in error[:7]), "error not in ErrorColors", pane)
    finally:
        pane.close()
    print("option colours: ok")


def check_dir_colours(args, env, work):
    """DIR colours each line by the ColorDir rules, on a console only; /D
    turns them off."""
    tree = os.path.join(work, "colours")
    os.makedirs(os.path.join(tree, "sub"), exist_ok=True)
    for name in ("a.txt", "b.dat"):
        with open(os.path.join(tree, name), "w") as f:
            f.write("x")
    pane, shell = start_shell(args, env, work, tree)
    try:
        shell.run("set colordir=txt: bri yel on blu; dirs: bri red on bla")
        shell.run("cls")
        shell.run("dir /b")
        rows = rows_by_text(pane)
        txt, sub, dat = rows.get("a.txt"), rows.get("sub"), rows.get("b.dat")
        expect(txt and all(c[1:] == (sgr_fg(14), sgr_bg(1)) for c in txt[:5]), f"a.txt not coloured: {txt}", pane)
        expect(sub and all(c[1] == sgr_fg(12) for c in sub[:3]), f"sub not coloured: {sub}", pane)
        expect(dat and dat[0][1:] != (sgr_fg(14), sgr_bg(1)), "b.dat took a rule's colour", pane)
        # The colour stays on its line: the rest of the row is plain.
        expect(txt and all(c[2] != sgr_bg(1) for c in txt[5:]), "the colour ran past its line", pane)
        shell.run("cls")
        shell.run("dir /b /d")
        rows = rows_by_text(pane)
        txt = rows.get("a.txt")
        expect(txt and txt[0][1:] != (sgr_fg(14), sgr_bg(1)), "/D left the colours on", pane)
    finally:
        pane.close()
    print("dir colours: ok")


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", default="wine")
    args = parser.parse_args()
    args.bin = os.path.abspath(args.bin)
    if not shutil.which("tmux"):
        print("tmux is not installed")
        return 1
    env = dict(os.environ, TERM="xterm-256color")
    work = tempfile.mkdtemp(prefix="bdx-console-")
    try:
        check_unit_tests(args, env, work)
        check_commands(args, env, work)
        check_option_colours(args, env, work)
        check_dir_colours(args, env, work)
    except AssertionError as e:
        print(f"FAILED: {e}")
        return 1
    finally:
        shutil.rmtree(work, ignore_errors=True)
    return 0


if __name__ == "__main__":
    sys.exit(main())
