#!/usr/bin/env python3
"""Two shells of one user share one global alias list.

    python3 run_shared.py --bin <dir of BDX.EXE> --wine <wine>

Under Wine in the test runs there is no console, so every shell starts with
private lists; ALIAS /G joins the user's shared list.  The steps:

1. Shell A (kept running, fed through a pipe) joins the shared list and
   defines an alias, then says it is ready.
2. Shell B joins the shared list (through //GlobalAliases=Yes), runs A's
   alias, and defines one of its own; it ends (A still holds the shared
   list, so it stays).
3. Shell C does not join: A's alias is unknown to it, its lists are private.
   A variable it sets reaches a child program (another BDX.EXE).
4. Shell A runs B's alias, then removes both and leaves.
5. With a console (two shells in tmux) the shared list is there from the
   start: one shell defines an alias and the other, started after it and
   still running beside it, runs it.

The alias names carry the process id and time, so that other shells of the
same user (parallel runs, or a shell with a console) are never disturbed.
Each shell's output goes to files, not pipes: Wine's helper processes may
inherit pipe handles and hold them open after the shell has gone.
"""
import argparse
import os
import shutil
import subprocess
import sys
import tempfile
import time

TIMEOUT = 30.0
MARKER = "@@BDXPROMPT@@"


class Failure(Exception):
    pass


def read(path):
    with open(path, "rb") as f:
        return f.read().decode("utf-8", "replace").replace(MARKER, "")


class Shell:
    def __init__(self, args, root, name, stdin_text=None, options=()):
        self.out = os.path.join(root, name + ".out")
        self.err = os.path.join(root, name + ".err")
        env = dict(os.environ, PROMPT=MARKER)
        env.pop("PROMPT2", None)
        ini = os.path.join(root, "bdx.ini")
        if not os.path.exists(ini):
            open(ini, "wb").close()
        cmd = [args.wine, os.path.join(os.path.abspath(args.bin), "BDX.EXE"), "@Z:" + ini.replace("/", "\\")]
        cmd += list(options)
        with open(self.out, "wb") as fout, open(self.err, "wb") as ferr:
            if stdin_text is None:
                self.proc = subprocess.Popen(cmd, cwd=root, env=env, stdin=subprocess.PIPE, stdout=fout, stderr=ferr)
            else:
                fin_path = os.path.join(root, name + ".in")
                with open(fin_path, "wb") as f:
                    f.write(stdin_text.encode("utf-8"))
                with open(fin_path, "rb") as fin:
                    self.proc = subprocess.Popen(cmd, cwd=root, env=env, stdin=fin, stdout=fout, stderr=ferr)

    def send(self, *lines):
        self.proc.stdin.write("".join(line + "\r\n" for line in lines).encode("utf-8"))
        self.proc.stdin.flush()

    def wait_for(self, text):
        end = time.monotonic() + TIMEOUT
        while time.monotonic() < end:
            if text in read(self.out):
                return
            if self.proc.poll() is not None:
                break
            time.sleep(0.1)
        raise Failure(f"waited for {text!r}; output:\n{read(self.out)}\nerrors:\n{read(self.err)}")

    def finish(self):
        if self.proc.stdin:
            self.proc.stdin.close()
        try:
            self.proc.wait(timeout=TIMEOUT)
        except subprocess.TimeoutExpired:
            self.proc.kill()
            raise Failure("a shell did not end")
        return read(self.out), read(self.err)


class Terminal:
    """A tmux server of its own with one shell per window."""

    def __init__(self, args, root):
        self.socket = f"bdxshared{os.getpid()}"
        self.args, self.root = args, root
        self.windows = 0

    def tmux(self, *words):
        return subprocess.run(["tmux", "-L", self.socket] + list(words), capture_output=True, text=True, check=True)

    def start_shell(self):
        exe = os.path.join(os.path.abspath(self.args.bin), "BDX.EXE")
        command = f"env -u PROMPT2 PROMPT='$P$G' {self.args.wine} {exe}"
        if self.windows == 0:
            self.tmux("new-session", "-d", "-x", "120", "-y", "30", "-c", self.root, command)
        else:
            self.tmux("new-window", "-c", self.root, command)
        self.windows += 1
        return self.windows - 1

    def screen(self, window):
        return self.tmux("capture-pane", "-p", "-t", f":{window}").stdout

    def type(self, window, text):
        self.tmux("send-keys", "-t", f":{window}", "-l", text)
        self.tmux("send-keys", "-t", f":{window}", "Enter")

    def wait_for(self, window, text):
        end = time.monotonic() + TIMEOUT
        while time.monotonic() < end:
            if text in self.screen(window):
                return
            time.sleep(0.1)
        raise Failure(f"waited for {text!r} in shell {window}; screen:\n{self.screen(window)}")

    def close(self):
        subprocess.run(["tmux", "-L", self.socket, "kill-server"], capture_output=True)


def run_console(args, root, tag):
    if not shutil.which("tmux"):
        raise Failure("tmux is needed for the test with a console")
    term = Terminal(args, root)
    name = f"zst{tag}"
    try:
        first = term.start_shell()
        term.wait_for(first, ">")
        term.type(first, f"alias {name}=echo seen in the other console")
        term.type(first, "echo FIRST-READY")
        term.wait_for(first, "FIRST-READY")
        second = term.start_shell()
        term.wait_for(second, ">")
        term.type(second, name)
        term.wait_for(second, "seen in the other console")
        term.type(second, f"unalias {name}")
        term.type(first, f"alias {name}")
        term.wait_for(first, f'Not an alias "{name}"')
    finally:
        term.close()


def check(condition, message, out, err):
    if not condition:
        raise Failure(f"{message}\noutput:\n{out}\nerrors:\n{err}")


def run(args):
    tag = f"{os.getpid()}x{int(time.time() * 1000) % 1000000}"
    mine, theirs = f"zsa{tag}", f"zsb{tag}"
    root = tempfile.mkdtemp(prefix="bdx-shared-")
    a = None
    try:
        a = Shell(args, root, "a")
        a.send("alias /g", f"alias {mine}=echo from shell A", "echo A-READY")
        a.wait_for("A-READY")

        b = Shell(args, root, "b", "\r\n".join([
            mine, f"alias {theirs}=echo from shell B", f"alias {mine}", ""]), ["//GlobalAliases=Yes"])
        out, err = b.finish()
        check("from shell A" in out, "shell B does not run shell A's alias", out, err)
        check("echo from shell A" in out, "shell B does not show shell A's alias", out, err)
        check(not err.strip(), "shell B reported errors", out, err)

        exe = "Z:" + os.path.join(os.path.abspath(args.bin), "BDX.EXE").replace("/", "\\")
        c = Shell(args, root, "c", "\r\n".join([
            f"alias {mine}", f"set zqchild{tag}=seen by the child", f'"{exe}" /c set zqchild{tag}', ""]))
        out, err = c.finish()
        check(f'"{mine}"' in err and "from shell A" not in out,
              "a shell that did not join sees the shared list", out, err)
        check("seen by the child" in out, "a child program does not see the shell's variable", out, err)

        a.send(theirs, f"unalias {mine} {theirs}", f"alias {theirs}", "echo A-DONE")
        a.wait_for("A-DONE")
        out, err = a.finish()
        a = None
        check("from shell B" in out, "shell A does not run shell B's alias", out, err)
        check(err.count(f'"{theirs}"') == 1 and err.count("\n") == 1,
              "after UNALIAS the alias should be gone, with no other error", out, err)
        run_console(args, root, tag)
        print("PASS shared aliases")
        return 0
    except Failure as failure:
        print(f"FAIL shared aliases: {failure}")
        return 1
    finally:
        if a is not None:
            a.proc.kill()
        shutil.rmtree(root, ignore_errors=True)


def main():
    parser = argparse.ArgumentParser()
    parser.add_argument("--bin", required=True)
    parser.add_argument("--wine", default="wine")
    return run(parser.parse_args())


if __name__ == "__main__":
    sys.exit(main())
