#!/usr/bin/env python3
"""Drive BDX.EXE on a terminal in tmux with a .keys file and check the screen.

    python3 run_keys.py --bin <dir of BDX.EXE> --wine <wine> [--keep] file.keys

The shell runs as `wine BDX.EXE` in a fresh temporary directory, on a tmux
server of its own, in a 120x40 window, with PROMPT=$P$G (PROMPT2 removed) and
the caller's environment (WINEPREFIX, WINEDEBUG, ...).  The .keys file is a
list of steps, one a line; blank lines and lines starting with # are skipped;
one blank after the colon is syntax, the rest of the line is the value:

    size: 80x25          window size; only before the first other step
    type: text           type text literally
    key: Enter           press keys, by tmux key name (Enter, Escape, BSpace,
                         Left, Up, C-c, ...); several names: "key: Left Left".
                         Home and End go as ESC[H and ESC[F; each Escape is
                         followed by 50 ms, so that it is not read as the start
                         of a sequence
    expect: text         wait until the screen contains text
    expect-line: text    wait until a whole screen line is text (its trailing
                         blanks ignored)
    expect-not: text     the screen does not contain text now
    expect-exit: n       wait until the shell has ended with exit code n
    sleep: ms            wait
    file: name           create "name" in the working directory before the
                         shell starts; its lines follow, each as "| line"
    nofile: pattern      no file in the working directory matches the glob
                         pattern now

Waits poll the screen every 100 ms and give up after 20 s with a dump of
the screen.  The tmux server and whatever still runs in it are ended at the
end, pass or fail.
"""
import argparse
import glob
import os
import shutil
import subprocess
import sys
import tempfile
import time

POLL = 0.1
TIMEOUT = 20.0
LITERAL_KEYS = {"Home": "\x1b[H", "End": "\x1b[F"}
ESCAPE_KEYS = ("Escape", "Esc")
STEPS = ("size", "type", "key", "expect", "expect-line", "expect-not", "expect-exit", "sleep", "file", "nofile")


class Failure(Exception):
    pass


def parse(path):
    steps = []
    with open(path, encoding="utf-8") as f:
        for number, line in enumerate(f, 1):
            line = line.rstrip("\r\n")
            if line.startswith("|") and steps and steps[-1][1] == "file":
                steps[-1][3].append(line[2:] if line.startswith("| ") else line[1:])
                continue
            if not line.strip() or line.lstrip().startswith("#"):
                continue
            word, colon, value = line.partition(":")
            word = word.strip()
            if not colon or word not in STEPS:
                raise Failure(f"line {number}: expected one of {', '.join(STEPS)}, followed by ':'")
            if value.startswith(" "):
                value = value[1:]
            if word == "size" and any(s[1] != "size" for s in steps):
                raise Failure(f"line {number}: size comes before every other step")
            steps.append((number, word, value, []))
    return steps


class Session:
    def __init__(self, socket, name):
        self.socket, self.name = socket, name

    def tmux(self, *args, check=True):
        result = subprocess.run(["tmux", "-L", self.socket, "-f", "/dev/null", *args],
                                capture_output=True, text=True)
        if check and result.returncode:
            raise Failure(f"tmux {' '.join(args)}: {result.stderr.strip()}")
        return result.stdout

    def screen(self):
        return self.tmux("capture-pane", "-p", "-t", self.name)

    def pane(self, fmt):
        return self.tmux("display-message", "-p", "-t", self.name, fmt).strip()

    def wait(self, test, what):
        deadline = time.monotonic() + TIMEOUT
        while True:
            if test():
                return
            if time.monotonic() > deadline:
                raise Failure(f"{what}: not seen within {TIMEOUT:.0f} s")
            time.sleep(POLL)


def run_step(s, word, value, work):
    if word == "nofile":
        found = glob.glob(os.path.join(work, value.strip()))
        if found:
            raise Failure(f"nofile {value!r}: found {', '.join(os.path.basename(f) for f in found)}")
    elif word == "type":
        s.tmux("send-keys", "-t", s.name, "-l", value)
    elif word == "key":
        for key in value.split():
            if key in LITERAL_KEYS:
                s.tmux("send-keys", "-t", s.name, "-l", LITERAL_KEYS[key])
            else:
                s.tmux("send-keys", "-t", s.name, key)
            if key in ESCAPE_KEYS:
                time.sleep(0.05)
    elif word == "expect":
        s.wait(lambda: value in s.screen(), f"expect {value!r}")
    elif word == "expect-line":
        want = value.rstrip()
        s.wait(lambda: any(l.rstrip() == want for l in s.screen().splitlines()), f"expect-line {value!r}")
    elif word == "expect-not":
        if value in s.screen():
            raise Failure(f"expect-not {value!r}: it is on the screen")
    elif word == "expect-exit":
        s.wait(lambda: s.pane("#{pane_dead}") == "1", "expect-exit: the shell's end")
        status = s.pane("#{pane_dead_status}")
        if status != value.strip():
            raise Failure(f"expect-exit: exit code {status}, expected {value.strip()}")
    elif word == "sleep":
        time.sleep(int(value) / 1000)


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", required=True, help="directory of BDX.EXE")
    parser.add_argument("--wine", default="wine", help="the wine program")
    parser.add_argument("--progs", help="directory of the test programs, put first on the PATH")
    parser.add_argument("--keep", action="store_true", help="keep the temporary directory")
    parser.add_argument("keys")
    args = parser.parse_args()
    name = os.path.basename(args.keys)
    try:
        steps = parse(args.keys)
    except Failure as e:
        print(f"ERROR {name}: {e}")
        return 2
    exe = os.path.join(os.path.abspath(args.bin), "BDX.EXE")
    if not shutil.which("tmux"):
        print(f"ERROR {name}: tmux is not installed")
        return 2
    width, height = "120", "40"
    while steps and steps[0][1] == "size":
        width, _, height = steps.pop(0)[2].strip().partition("x")

    tag = f"bdxkeys-{os.getpid()}"
    s = Session(tag, tag)
    work = tempfile.mkdtemp(prefix="bdx-keys-")
    for step in [st for st in steps if st[1] == "file"]:
        with open(os.path.join(work, step[2]), "wb") as f:
            f.write("".join(line + "\r\n" for line in step[3]).encode("utf-8"))
    steps = [st for st in steps if st[1] != "file"]
    root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    command = ["env", "-u", "PROMPT2", "PROMPT=$P$G",
               "WINEPREFIX=" + os.environ.get("WINEPREFIX", os.path.join(root, ".wineprefix")),
               "WINEDEBUG=" + os.environ.get("WINEDEBUG", "-all")]
    if args.progs:
        win = "Z:" + os.path.abspath(args.progs).replace("/", "\\")
        command += ["WINEPATH=" + win, "BDX_PROGS=" + win]
    command += [args.wine, exe]
    step = None
    start = time.monotonic()
    try:
        # remain-on-exit keeps the pane after the shell ends, for its exit code.
        s.tmux("new-session", "-d", "-s", s.name, "-x", width, "-y", height, "-c", work, *command,
               ";", "set-option", "-t", s.name, "remain-on-exit", "on")
        for step in steps:
            run_step(s, step[1], step[2], work)
    except Failure as e:
        where = f"line {step[0]} ({step[1]}: {step[2]})" if step else "start"
        print(f"FAIL {name} at {where}: {e}")
        try:
            print("---- screen ----\n" + s.screen().rstrip("\n") + "\n----------------")
        except Failure:
            pass
        return 1
    finally:
        try:
            if s.pane("#{pane_dead}") != "1":
                os.kill(int(s.pane("#{pane_pid}")), 9)
        except (Failure, ValueError, ProcessLookupError):
            pass
        s.tmux("kill-session", "-t", s.name, check=False)
        s.tmux("kill-server", check=False)
        if args.keep:
            print(f"kept {work}")
        else:
            shutil.rmtree(work, ignore_errors=True)
    print(f"PASS {name} ({len(steps)} steps, {time.monotonic() - start:.1f} s)")
    return 0


if __name__ == "__main__":
    sys.exit(main())
