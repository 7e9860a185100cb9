"""Checks that the build and ctest know every source file and every test of the tree.

    sources_test.py BUILD_FOLDER PLATFORM

A file that nobody lists is a test that nobody runs. Exit status 77 where the build folder has no
compile_commands.json.
"""

import json
import os
import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "support"))
sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

from source_tree import TOP, files, folders

SKIPPED = 77
BUILD = PLATFORM = None

# What only some builds compile: a project of its own, and what takes further libraries, another compiler or one
# processor.
NOT_ALWAYS = ("bench/", "fuzz/", "tests/package/", "tools/machorun/")
PLATFORMS = {"linux", "macos"}


def relative(paths):
    return {str(path.relative_to(TOP)) for path in paths}


def compiled():
    with open(BUILD / "compile_commands.json", encoding="utf-8") as file:
        return {os.path.relpath(entry["file"], TOP) for entry in json.load(file)}


def is_for_another_platform(path):
    return any(re.search(rf"_{other}(_test)?\.cpp$", path) for other in PLATFORMS - {PLATFORM})


class EverySource(unittest.TestCase):
    maxDiff = None

    def test_is_compiled(self):
        sources = {path for folder in folders() for path in relative(files(folder, "*.cpp"))}
        expected = {path for path in sources if not is_for_another_platform(path) and not path.startswith(NOT_ALWAYS)}
        self.assertGreater(len(expected), 50)
        self.assertEqual(expected - compiled(), set(), "compiled by no target; a CMakeLists.txt has to list it")

    def test_has_a_twin_for_each_platform(self):
        every = {path for folder in folders() for path in relative(files(folder, "*.cpp"))}
        for path in every:
            match = re.fullmatch(r"(.*_)(linux|macos)((?:_test)?\.cpp)", path)
            for platform in PLATFORMS if match else ():
                self.assertIn(f"{match[1]}{platform}{match[3]}", every)

    def test_in_python_is_run(self):
        registered = "".join(path.read_text(encoding="utf-8") for path in BUILD.rglob("CTestTestfile.cmake"))
        tests = {path for path in relative(files("tests", "*_test.py"))}
        self.assertGreater(len(tests), 5)
        if BUILD != TOP / "build" / "release":
            tests.discard("tests/scripts/run_ctrl_c_test.py")  # Works on that folder only.
        if PLATFORM == "macos":
            tests.discard("tests/binaries_test.py")  # Reads Linux's form of binaries.
        self.assertEqual({path for path in tests if f"/{path}" not in registered}, set(), "no add_test names it")


if __name__ == "__main__":
    BUILD, PLATFORM = pathlib.Path(sys.argv[1]), sys.argv[2]
    if not (BUILD / "compile_commands.json").exists():
        print("skipped: this build folder has no compile_commands.json (-DCMAKE_EXPORT_COMPILE_COMMANDS=ON)")
        sys.exit(SKIPPED)
    unittest.main(argv=sys.argv[:1])
