#!/usr/bin/env python3
"""Run one end-to-end script through BDX.EXE under Wine and compare its output.

    python3 run_e2e.py --bin <dir of BDX.EXE> [--progs <dir>] --wine <wine> [--keep] script.btm

The expectations live in the script itself, as remarks:

    rem CHECK: text      the next line of standard output is exactly "text"
    rem CHECK:           ... an empty line
    rem CHECKERR: text   the same for standard error
    rem EXIT: n          the exit code of BDX.EXE (not checked when absent)
    rem ARGS: words      extra front-end arguments (e.g. //CommandSep=~), split
                         at blanks, placed after @ini and before the command;
                         BDX.EXE sees them joined by single blanks.  With /C
                         in them standard input is not read at all
    rem RUN: stdin       (default) feed the script to standard input
    rem RUN: batch       run it as a batch file: BDX.EXE @ini ARGS /C name
    rem FILE: name       create "name" in the working directory before the run;
    rem | line           its lines follow, one "rem | " each (CRLF line ends).
                         The name may hold directories ("sub/x.txt", made as
                         needed); a name ending in "/" makes an empty directory
    rem STAMP: time      give every file and directory that FILE made this
                         local modification time ("2024-01-02 03:04:05")
    rem LINK: name target  make name a symbolic link to target (a relative
                         Linux path, e.g. ".." for a loop), after the files
    rem CHECKFILE: name  after the run, "name" (in the working directory) must
    rem | line           exist and hold exactly these lines (no lines: empty);
                         lines end at CRLF as in the output; a file that begins
                         with a UTF-16 byte-order mark is read as UTF-16, any
                         other as UTF-8
    rem NOFILE: pattern  after the run no file matches the glob pattern,
                         taken relative to the working directory
                         ("../temp/*" for the temporary directory)

The run's working directory appears in the output as [work].

One blank after the colon (or the bar) is part of the syntax; everything after
it counts, trailing blanks included.  "@rem" works as well ("rem" lines are
echoed while ECHO is ON).  The keyword is upper case; a remark that
looks like a misspelt one ("rem CHEKC:", "rem check:") is an error.

The whole of standard output must equal the CHECK lines and the whole of
standard error the CHECKERR lines, in order.  Lines end at CRLF; a lone CR or
LF stays inside its line and shows in the diff as an escape.  Output is
decoded as UTF-8, undecodable bytes show as \\xNN.

Standard-input mode.  The shell prints the prompt before each line it reads
and a CRLF after each command line it runs.  The runner sets PROMPT to a
marker (and removes PROMPT2, so continuation lines show the default "More? "
as command output), splits standard output at the marker, drops one CRLF at
the end of every chunk after a marker (the one the shell adds; empty lines
and :labels get none), and joins the chunks.  The text before the first
marker is kept as it stands: it is output too (of /K's command, say).
What is left is the output the commands themselves wrote, the same as a batch
file would show it.  So output without a final line end (ECHOS) runs into the
next command's output: "echos a" then "echo b" gives the line "ab".  At the
very end of the output a last line without its CRLF still counts as a line,
so a script cannot tell "x" from "x<CRLF>" there: follow ECHOS with another
command to test it.  In this mode ECHO starts OFF; "echo on" makes the shell
repeat each line after the prompt, which then shows up as output.

Each run gets a fresh temporary directory: BDX.EXE starts in work/ inside it
(where FILE creates files and where batch scripts are copied), with an empty
ini file beside work/ passed as @ini, and an empty temp/ beside work/ that a
script may make its TEMP ("set TEMP=%_cwd\\..\\temp"; Wine sets TEMP itself, so
the runner cannot).  With --progs, that directory (the small test programs)
comes first on the PATH and is in BDX_PROGS.  30 seconds per run.
"""
import argparse
import difflib
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import time

PROJECT_ROOT = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
MAX_DIFF_LINES = 80
MARKER = "@@BDXPROMPT@@"
TIMEOUT = 30
KEYWORDS = ("CHECK", "CHECKERR", "EXIT", "ARGS", "RUN", "FILE", "STAMP", "LINK", "CHECKFILE", "NOFILE")
DIRECTIVE = re.compile(r"^\s*@?rem\s+([A-Z][A-Z0-9]+):(.*)$", re.IGNORECASE)
FILE_LINE = re.compile(r"^\s*@?rem\s+\|(.*)$", re.IGNORECASE)


class ScriptError(Exception):
    pass


def after_colon(text):
    """The value of a directive: one blank after the colon is syntax."""
    return text[1:] if text.startswith(" ") else text


def relative_name(name):
    """A name inside the working directory: no root, no "." or ".." part."""
    parts = name.rstrip("/").split("/")
    return bool(name) and "\\" not in name and all(p and not p.startswith(".") for p in parts)


def make_files(work, spec):
    made = set()
    for fname, body in spec["files"].items():
        path = os.path.join(work, fname)
        parent = os.path.dirname(path.rstrip("/"))
        os.makedirs(parent, exist_ok=True)
        for d in range(fname.rstrip("/").count("/")):
            made.add(os.path.join(work, *fname.split("/")[: d + 1]))
        if fname.endswith("/"):
            os.makedirs(path, exist_ok=True)
            made.add(path.rstrip("/"))
            continue
        with open(path, "wb") as f:
            f.write("".join(s + "\r\n" for s in body).encode("utf-8"))
        made.add(path)
    for name, target in spec["links"]:
        os.symlink(target, os.path.join(work, name))
    if spec["stamp"] is not None:
        # Deepest first: stamping a file changes nothing of its directory,
        # but making it did.
        for path in sorted(made, key=lambda p: -p.count(os.sep)):
            os.utime(path, (spec["stamp"], spec["stamp"]))


def parse_script(lines):
    spec = {"out": [], "err": [], "exit": None, "args": [], "run": "stdin", "files": {}, "checkfiles": {},
            "nofiles": [], "stamp": None, "links": []}
    i = 0
    while i < len(lines):
        line = lines[i]
        i += 1
        m = DIRECTIVE.match(line)
        if not m:
            continue
        word, value = m.group(1), after_colon(m.group(2))
        if word not in KEYWORDS:
            near = difflib.get_close_matches(word.upper(), KEYWORDS, n=1, cutoff=0.75)
            if near:
                raise ScriptError(f"line {i}: {word}: is no directive; {near[0]}: meant?")
            continue
        if word == "CHECK":
            spec["out"].append(value)
        elif word == "CHECKERR":
            spec["err"].append(value)
        elif word == "EXIT":
            try:
                spec["exit"] = int(value.strip())
            except ValueError:
                raise ScriptError(f"line {i}: EXIT needs a number, not {value!r}")
        elif word == "ARGS":
            spec["args"] += value.split()
        elif word == "RUN":
            if value.strip() not in ("stdin", "batch"):
                raise ScriptError(f"line {i}: RUN is stdin or batch, not {value!r}")
            spec["run"] = value.strip()
        elif word == "STAMP":
            try:
                spec["stamp"] = time.mktime(time.strptime(value.strip(), "%Y-%m-%d %H:%M:%S"))
            except ValueError:
                raise ScriptError(f"line {i}: STAMP needs yyyy-mm-dd hh:mm:ss, not {value!r}")
        elif word == "LINK":
            parts = value.split()
            if len(parts) != 2 or not relative_name(parts[0]):
                raise ScriptError(f"line {i}: LINK needs a name and a target, not {value!r}")
            spec["links"].append(parts)
        elif word in ("FILE", "CHECKFILE"):
            name = value.strip()
            if not relative_name(name):
                raise ScriptError(f"line {i}: {word} needs a relative file name, not {value!r}")
            body = []
            while i < len(lines) and FILE_LINE.match(lines[i]):
                body.append(after_colon(FILE_LINE.match(lines[i]).group(1)))
                i += 1
            spec["files" if word == "FILE" else "checkfiles"][name] = body
        elif word == "NOFILE":
            if not value.strip():
                raise ScriptError(f"line {i}: NOFILE needs a pattern")
            spec["nofiles"].append(value.strip())
    return spec


def split_lines(text):
    """Lines ended by CRLF; a last line without its CRLF still counts."""
    if not text:
        return []
    lines = text.split("\r\n")
    if lines[-1] == "":
        lines.pop()
    return lines


def command_output(stdout):
    """Strip prompts and the CRLF the shell writes after each command line."""
    chunks = stdout.split(MARKER)
    return chunks[0] + "".join(c[:-2] if c.endswith("\r\n") else c for c in chunks[1:])


def visible(line):
    """A line for the diff: control characters escaped, trailing blanks marked."""
    out = []
    for ch in line:
        if ch == "\\" or ch.isprintable() or ch == " ":
            out.append(ch)
        else:
            out.append({"\r": "\\r", "\n": "\\n", "\t": "\\t"}.get(ch, f"\\x{ord(ch):02x}"))
    text = "".join(out)
    stripped = text.rstrip(" ")
    return stripped + "\u00b7" * (len(text) - len(stripped))


def diff(expected, actual, what):
    show = visible
    if [visible(s) for s in expected] == [visible(s) for s in actual]:
        show = repr  # they differ in an escape-like text: show Python literals
    lines = difflib.unified_diff([show(s) for s in expected], [show(s) for s in actual],
                                 f"expected {what}", f"actual {what}", lineterm="", n=3)
    lines = list(lines)
    if len(lines) > MAX_DIFF_LINES:  # a runaway script: the start tells enough
        lines = lines[:MAX_DIFF_LINES] + [f"... {len(lines) - MAX_DIFF_LINES} more diff lines"]
    return "\n".join(lines)


def read_written(path):
    """The lines of a file that the script wrote, or None when it is missing."""
    if not os.path.isfile(path):
        return None
    with open(path, "rb") as f:
        data = f.read()
    if data.startswith(b"\xff\xfe"):
        text = data[2:].decode("utf-16-le", errors="backslashreplace")
    else:
        text = data.decode("utf-8", errors="backslashreplace")
    return split_lines(text)


def check_files(spec, work):
    """Problems with the files that CHECKFILE and NOFILE name."""
    problems = []
    for fname, expected in spec["checkfiles"].items():
        actual = read_written(os.path.join(work, fname))
        if actual is None:
            problems.append(f"file {fname} was not written")
        elif actual != expected:
            problems.append(diff(expected, actual, f"file {fname}"))
    for pattern in spec["nofiles"]:
        found = glob.glob(os.path.join(work, pattern))
        if found:
            problems.append(f"NOFILE {pattern}: found {', '.join(os.path.relpath(f, work) for f in found)}")
    return problems


def windows_path(path):
    return "Z:" + os.path.abspath(path).replace("/", "\\")


def run(args):
    script = os.path.abspath(args.script)
    name = os.path.basename(script)
    with open(script, "rb") as f:
        text = f.read().decode("utf-8")
    lines = text.splitlines()
    spec = parse_script(lines)
    exe = os.path.join(os.path.abspath(args.bin), "BDX.EXE")
    if not os.path.isfile(exe):
        raise ScriptError(f"no BDX.EXE in {args.bin}")

    root = tempfile.mkdtemp(prefix="bdx-e2e-")
    try:
        work = os.path.join(root, "work")
        os.mkdir(work)
        os.mkdir(os.path.join(root, "temp"))
        ini = os.path.join(root, "bdx.ini")
        open(ini, "wb").close()
        make_files(work, spec)

        env = dict(os.environ)
        env.pop("PROMPT2", None)
        # Run by hand: default to the project's own Wine prefix, quietly.
        env.setdefault("WINEPREFIX", os.path.join(PROJECT_ROOT, ".wineprefix"))
        env.setdefault("WINEDEBUG", "-all")
        if args.progs:
            env["WINEPATH"] = env["BDX_PROGS"] = windows_path(args.progs)
        cmd = [args.wine, exe, "@" + windows_path(ini)] + spec["args"]
        stdin_path = os.path.join(root, "stdin.txt")
        if spec["run"] == "stdin":
            env["PROMPT"] = MARKER
            with open(stdin_path, "wb") as f:
                f.write("".join(s + "\r\n" for s in lines).encode("utf-8"))
        else:
            shutil.copyfile(script, os.path.join(work, name))
            open(stdin_path, "wb").close()
            cmd += ["/C", name]

        # Files, not pipes: Wine's helper processes may inherit the handles
        # and keep a pipe open long after BDX.EXE has gone.
        out_path, err_path = os.path.join(root, "stdout"), os.path.join(root, "stderr")
        start = time.monotonic()
        with open(stdin_path, "rb") as fin, open(out_path, "wb") as fout, open(err_path, "wb") as ferr:
            proc = subprocess.Popen(cmd, cwd=work, env=env, stdin=fin, stdout=fout, stderr=ferr)
            try:
                code = proc.wait(timeout=TIMEOUT)
            except subprocess.TimeoutExpired:
                proc.kill()
                proc.wait()
                code = None
        elapsed = time.monotonic() - start
        with open(out_path, "rb") as f:
            raw_out = f.read().decode("utf-8", errors="backslashreplace")
        with open(err_path, "rb") as f:
            raw_err = f.read().decode("utf-8", errors="backslashreplace")
        # The run's directory changes every time: expectations name it [work].
        raw_out = raw_out.replace(windows_path(work), "[work]")
        raw_err = raw_err.replace(windows_path(work), "[work]")
        file_problems = check_files(spec, work)
    finally:
        if args.keep:
            print(f"kept {root}")
        else:
            shutil.rmtree(root, ignore_errors=True)

    out = split_lines(command_output(raw_out) if spec["run"] == "stdin" else raw_out)
    err = split_lines(raw_err)
    problems = list(file_problems)
    if code is None:
        problems.append(f"timed out after {TIMEOUT} s")
    if out != spec["out"]:
        problems.append(diff(spec["out"], out, "stdout"))
    if err != spec["err"]:
        problems.append(diff(spec["err"], err, "stderr"))
    if code is not None and spec["exit"] is not None and code != spec["exit"]:
        problems.append(f"exit code: expected {spec['exit']}, got {code}")
    if not problems:
        print(f"PASS {name} ({spec['run']}, {len(out)} + {len(err)} lines, {elapsed:.1f} s)")
        return 0
    print(f"FAIL {name} ({spec['run']}): {' '.join(cmd)}")
    for p in problems:
        print(p)
    print(f"exit code: {code}")
    print(f"raw stdout: {raw_out!r}"[:4000])
    return 1


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--bin", required=True, help="directory of BDX.EXE")
    parser.add_argument("--wine", default="wine", help="the wine program")
    parser.add_argument("--progs", help="directory of the test programs, put first on the PATH")
    parser.add_argument("--keep", action="store_true", help="keep the temporary directory")
    parser.add_argument("script")
    args = parser.parse_args()
    try:
        return run(args)
    except ScriptError as e:
        print(f"ERROR {os.path.basename(args.script)}: {e}")
        return 2


if __name__ == "__main__":
    sys.exit(main())
