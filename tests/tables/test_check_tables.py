#!/usr/bin/env python3
"""The table check against a small tree made for it: each kind of problem is
found and named, and a tree without problems passes.

    python3 test_check_tables.py
"""
import os
import subprocess
import sys
import tempfile
import unittest

CHECK = os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))),
                     "tools", "check_tables.py")

TREE = {
    "core/commands.def": """\
BD_COMMAND(L"BAR",  Bar_Command,  0, nullptr)
BD_COMMAND(L"BAZ",  Baz_Command,  0, nullptr)
BD_COMMAND(L"FOO",  Foo_Command,  0, nullptr)
BD_COMMAND(L"QUX",  Qux_Command,  0, nullptr)
BD_COMMAND(L"ZED",  Zed_Command,  0, nullptr)
""",
    "core/pending.def": "BD_PENDING(Bar_Command)\nBD_PENDING(Zed_Command)\nBD_PENDING(handler)\n",
    "vars/functions.def": """\
BD_FUNCTION(abc, Arithmetic, Func_Pending)
BD_FUNCTION(def, Arithmetic, Func_Def)
BD_FUNCTION(ghi, Arithmetic, Func_Ghi)
BD_FUNCTION(jkl, Arithmetic, Func_Jkl)
""",
    "vars/internals.def": 'BD_INTERNAL(L"cwd", cwd, IVF_DISK)\n',
    "lang/usage.txt": "# comment\n\nQUX\nDo qux.\n[n]\n\nNOSUCH\nNothing.\n[x]\n",
    "lang/messages.txt": "3001 Unknown command\n",
    "base/commands.cpp": """\
int Foo_Command(CString &args) { return 0; }
int Bar_Command(CString &) {
    return 0;
}
int Qux_Command(CString &args) { return BDError(0x20000001, nullptr); }
constexpr int ERROR_BD_NO_LABEL = 0x20000017;
enum { FIND_SORTED = 0x20000000 };
bool IsProgramError(int code) { return code >= 0x20000000 && code <= 0x3FFFFFFF; }
CString Text() { return LoadLanguageString(4000); }
""",
    "vars/funcs.cpp": """\
int Func_Abc(FUNCCALL &call) { return 0; }
int Func_Def(FUNCCALL &call) { return 0; }
int Func_Jkl(FUNCCALL &) { return 0; }
int Func_Pending(FUNCCALL &call) { return 1; }
""",
    "vars/iv_disk.cpp": "switch (n) {\ncase IV_cwd: return 1;\n}\n",
    "tests/e2e/qux.btm": "@echo off\nrem A check.\n(echo x) & qux 1\nrem CHECK: x\necho %_cwd\n",
    "tests/unit/test_jkl.cpp": 'EXPECT_EQ(V(L"@JKL", L"1"), L"2");\n',
}

EXPECTED = [
    "core/pending.def: Bar_Command is pending but defined in base/commands.cpp: remove its pending row",
    "core/pending.def: BD_PENDING(handler) names no handler of the command table",
    "core/commands.def: Baz_Command (BAZ) is neither pending nor defined in the sources",
    "lang/usage.txt: BAZ is implemented (Baz_Command) but has no usage text",
    "tests: BAZ is implemented (Baz_Command) but no test names it",
    "lang/usage.txt: FOO is implemented (Foo_Command) but has no usage text",
    "tests: FOO is implemented (Foo_Command) but no test names it",
    "lang/usage.txt: the usage text NOSUCH names no command of the table",
    "vars/functions.def: @abc is pending but Func_Abc is defined in vars/funcs.cpp",
    "tests: @DEF is implemented (Func_Def) but no test names it",
    "vars/functions.def: @ghi: handler Func_Ghi is not defined in the sources",
    "tests: @GHI is implemented (Func_Ghi) but no test names it",
    "lang/messages.txt: error 0x20000017 (base/commands.cpp) has no text: string 3023",
    "lang/messages.txt: string 4000 (base/commands.cpp) has no text",
]


def write_tree(root, files):
    for name, text in files.items():
        path = os.path.join(root, name)
        os.makedirs(os.path.dirname(path), exist_ok=True)
        with open(path, "w", encoding="utf-8") as f:
            f.write(text)


def run(root, *extra):
    done = subprocess.run([sys.executable, CHECK, "--root", root, *extra], capture_output=True, text=True)
    return done.returncode, done.stdout.splitlines()


class CheckTables(unittest.TestCase):
    def test_every_kind_of_problem_is_named(self):
        with tempfile.TemporaryDirectory() as root:
            write_tree(root, TREE)
            rc, lines = run(root, "--no-write")
            self.assertEqual(rc, 1)
            self.assertEqual(lines[:-2], EXPECTED)
            self.assertEqual(lines[-2], "docs/index.md is stale: run python3 tools/check_tables.py and commit it")
            self.assertFalse(os.path.exists(os.path.join(root, "docs", "index.md")))

    def test_a_clean_tree_passes_once_its_index_is_written(self):
        files = dict(TREE)
        files["core/commands.def"] = 'BD_COMMAND(L"QUX",  Qux_Command,  0, nullptr)\n'
        files["core/pending.def"] = ""
        files["vars/functions.def"] = "BD_FUNCTION(jkl, Arithmetic, Func_Jkl)\n"
        files["lang/usage.txt"] = "QUX\nDo qux.\n[n]\n"
        files["base/commands.cpp"] = "int Qux_Command(CString &args) { return BDError(0x20000001, nullptr); }\n"
        with tempfile.TemporaryDirectory() as root:
            write_tree(root, files)
            rc, lines = run(root)
            self.assertEqual((rc, lines), (1, ["docs/index.md was stale and has been regenerated: commit it",
                                               "1 problem(s)"]))
            rc, lines = run(root, "--no-write")
            self.assertEqual(rc, 0, lines)
            with open(os.path.join(root, "docs", "index.md"), encoding="utf-8") as f:
                index = f.read()
            self.assertIn("| `QUX` | `Qux_Command` | [base/commands.cpp](../base/commands.cpp) | yes | "
                          "[e2e/qux.btm](../tests/e2e/qux.btm) |", index)
            self.assertIn("| `@JKL` | Arithmetic | `Func_Jkl` | [vars/funcs.cpp](../vars/funcs.cpp) | "
                          "[unit/test_jkl.cpp](../tests/unit/test_jkl.cpp) |", index)
            self.assertIn("| `%_CWD` | disk | [vars/iv_disk.cpp](../vars/iv_disk.cpp) | "
                          "[e2e/qux.btm](../tests/e2e/qux.btm) |", index)


if __name__ == "__main__":
    unittest.main()
