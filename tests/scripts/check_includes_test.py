"""Runs scripts/check-includes on made-up trees."""

import contextlib
import importlib.machinery
import importlib.util
import io
import pathlib
import sys
import tempfile
import unittest

sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

# In this process: a new one for each of some hundred trees takes half a minute.
PATH = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "check-includes"
LOADER = importlib.machinery.SourceFileLoader("check_includes", str(PATH))
SCRIPT = importlib.util.module_from_spec(importlib.util.spec_from_loader(LOADER.name, LOADER))
LOADER.exec_module(SCRIPT)

HEADER = "// What it is for.\n#pragma once\n"

# A small tree without a violation, whose files the made-up includes name.
TREE = {
    "common/json/json_object.h": HEADER + '\n#include <json/value.h>\n\n#include "common/strings/trim.h"\n',
    "common/logging/log.h": HEADER + '#include "liblogger/liblogger.h"\n',
    "common/settings/paths.h": HEADER + '#include "common/system/executable.h"\n',
    "common/strings/trim.h": HEADER + "#include <string>\n",
    "common/system/executable.h": HEADER,
    "common/system/executable_macos.cpp": '#include <mach-o/dyld.h>\n\n#include "common/system/executable.h"\n',
    "launcherctl/a.h": HEADER + '#include "common/json/json_object.h"\n#include "liblogger/liblogger.h"\n',
    "launcher/daemon.h": HEADER + '#include "common/json/json_object.h"\n#include "liblogger/liblogger.h"\n',
    "liblogger/liblogger.h": HEADER,
    "liblogger/record.h": HEADER + '#include "liblogger/liblogger.h"\n',
    "tests/common/json/json_object_test.cpp": '#include "common/json/json_object.h"\n#include <json/value.h>\n',
    "tests/launcher/daemon_test.cpp": '#include "launcher/daemon.h"\n#include "tests/support/files.h"\n',
    "tests/support/files.h": HEADER,
    ".cache/x.cpp": '#include "nowhere.h"\n',
    "build/debug/CMakeCache.txt": "",
    "build/debug/x.cpp": '#include "nowhere.h"\n',
    "build/tools/node_modules/x/x.cpp": '#include "nowhere.h"\n',
}


def check(files):
    """Writes the tree with `files` added or replaced and returns the script's exit status and output."""
    with tempfile.TemporaryDirectory() as root:
        for path, content in files.items():
            file = pathlib.Path(root, path)
            file.parent.mkdir(parents=True, exist_ok=True)
            file.write_text(content, encoding="utf-8")
        output = io.StringIO()
        with contextlib.redirect_stdout(output), contextlib.redirect_stderr(io.StringIO()):
            status = SCRIPT.main(["--root", root])
        return status, output.getvalue()


class CheckIncludes(unittest.TestCase):
    def test_accepts_a_tree_without_a_violation(self):
        self.assertEqual(check(TREE), (0, ""))

    def test_rejects_what_a_file_must_not_include(self):
        rows = [
            ("common/strings/a.cpp", '"common/system/executable.h"', "common/strings must not know"),
            ("common/strings/a.cpp", '"common/json/json_object.h"', "common/strings must not know"),
            ("common/strings/a.cpp", '"liblogger/liblogger.h"', "common/strings must not know"),
            ("common/system/a.cpp", '"common/strings/trim.h"', "common/system must not know"),
            ("common/system/a.cpp", '"common/logging/log.h"', "common/system must not know"),
            ("common/json/a.cpp", '"common/system/executable.h"', "common/json must not know"),
            ("common/json/a.cpp", '"common/logging/log.h"', "common/json must not know"),
            ("common/json/a.cpp", '"liblogger/liblogger.h"', "common/json must not know"),
            ("common/logging/a.cpp", '"common/strings/trim.h"', "common/logging must not know"),
            ("common/logging/a.cpp", '"liblogger/record.h"', "common/logging must not know"),
            ("common/settings/a.cpp", '"common/json/json_object.h"', "common/settings must not know"),
            ("common/settings/a.cpp", '"liblogger/record.h"', "common/settings must not know"),
            ("common/settings/a.cpp", '"launcher/daemon.h"', "common/settings must not know"),
            ("common/strings/a.cpp", '"tests/support/files.h"', "common/strings must not know"),
            ("common/new/a.cpp", '"common/strings/trim.h"', "common/new has no line"),
            ("common/a.cpp", '"common/strings/trim.h"', "common has no line"),
            ("new/a.cpp", '"common/strings/trim.h"', "new has no line"),
            ("a.cpp", '"common/strings/trim.h"', "a.cpp has no line"),
            ("launcherctl/a.cpp", '"launcher/daemon.h"', "launcherctl must not know"),
            ("launcherctl/a.cpp", '"liblogger/record.h"', "launcherctl must not know"),
            ("launcherctl/a.cpp", "<json/value.h>", "only common/json/* knows"),
            ("launcher/a.cpp", '"launcherctl/a.h"', "launcher must not know"),
            ("launcher/a.cpp", '"liblogger/record.h"', "launcher must not know"),
            ("launcher/a.cpp", '"tests/support/files.h"', "launcher must not know"),
            ("liblogger/a.cpp", '"common/strings/trim.h"', "liblogger must not know"),
            ("liblogger/a.cpp", '"launcher/daemon.h"', "liblogger must not know"),
            ("launcher/a.cpp", "<json/value.h>", "only common/json/* knows"),
            ("common/settings/a.cpp", "<json/reader.h>", "only common/json/* knows"),
            ("tests/launcher/a_test.cpp", "<json/value.h>", "only common/json/* knows"),
            ("common/system/executable.cpp", "<mach-o/dyld.h>", "only common/system/executable_*.cpp knows"),
            ("common/settings/paths.cpp", "<mach-o/dyld.h>", "only common/system/executable_*.cpp knows"),
            ("launcher/a.cpp", "<libproc.h>", "only *process*_macos.cpp knows"),
            ("common/json/a.cpp", "<codecvt>", "only common/strings/utf8.cpp knows"),
            ("common/settings/a.cpp", '"paths.h"', '"paths.h" is not the path'),
            ("common/settings/a.cpp", '"../strings/trim.h"', '"../strings/trim.h" is not the path'),
            ("common/settings/a.cpp", '"common/settings/../strings/trim.h"', "is not the path"),
            ("common/settings/a.cpp", '"./common/strings/trim.h"', "is not the path"),
            ("tests/launcher/a_test.cpp", '"gtest/gtest.h"', '"gtest/gtest.h" is not the path'),
            ("launcher/a.cpp", "<common/strings/trim.h>", "<common/strings/trim.h> is ours"),
        ]
        for path, header, message in rows:
            for include in ("#include ", "  #  include", "#import "):
                with self.subTest(path=path, include=include + header):
                    status, output = check({**TREE, path: f"// A file.\n\n{include}{header}\n"})
                    self.assertEqual(status, 1)
                    self.assertEqual(len(output.splitlines()), 1, output)
                    self.assertTrue(output.startswith(f"{path}:3: "), output)
                    self.assertIn(message, output)

    def test_accepts_what_a_file_may_include(self):
        rows = [
            ("common/settings/a.cpp", '"common/logging/log.h"'),
            ("common/settings/a.cpp", '"common/strings/trim.h"'),
            ("common/settings/a.cpp", '"common/settings/paths.h"'),
            ("common/settings/a.cpp", '"liblogger/liblogger.h"'),
            ("common/strings/utf8.cpp", "<codecvt>"),
            ("tests/common/strings/utf8_test.cpp", "<codecvt>"),
            ("launcher/a.cpp", '"common/settings/paths.h"'),
            ("liblogger/a.cpp", '"liblogger/record.h"'),
            ("tests/liblogger/a_test.cpp", '"liblogger/record.h"'),
            ("bench/a.cpp", '"common/json/json_object.h"'),
            ("fuzz/a.cpp", '"launcher/daemon.h"'),
        ]
        for path, header in rows:
            with self.subTest(path=path, header=header):
                self.assertEqual(check({**TREE, path: f"#include {header}\n"}), (0, ""))

    def test_holds_how_headers_open(self):
        rows = [
            ("#pragma once\n", 1, "opens with a comment"),
            ("", 1, "opens with a comment"),
            ("\n// Late.\n#pragma once\n", 1, "opens with a comment"),
            ("// What it is for.\n", 1, "#pragma once follows"),
            ("// What it is for.\n\n#include <string>\n#pragma once\n", 3, "#pragma once follows"),
            ("// What it is for.\n#ifndef A_H\n#define A_H\n#endif\n", 2, "#pragma once follows"),
            ("// What it is for.\n# pragma once\n", 2, "#pragma once follows"),
        ]
        for content, line, message in rows:
            with self.subTest(content=content):
                status, output = check({**TREE, "launcher/a.h": content})
                self.assertEqual(status, 1)
                self.assertTrue(output.startswith(f"launcher/a.h:{line}: "), output)
                self.assertIn(message, output)
        self.assertEqual(check({**TREE, "launcher/a.h": "// What.\n//\n// Why.\n\n#pragma once\n"}), (0, ""))

    def test_reports_every_violation(self):
        status, output = check({**TREE, "liblogger/a.h": '#include <json/value.h>\n#include "launcher/daemon.h"\n'})
        self.assertEqual(status, 1)
        self.assertEqual([line.split(" ")[0] for line in output.splitlines()],
                         ["liblogger/a.h:1:", "liblogger/a.h:1:", "liblogger/a.h:2:"])

    def test_says_when_there_is_nothing_to_check(self):
        self.assertEqual(check({"README.md": ""}), (2, ""))


if __name__ == "__main__":
    unittest.main()
