"""Reads the binaries of the bundle: what they need and export, and what makes a mistake in them hard to exploit.

    binaries_test.py BUILD_FOLDER

What the linker decides is read from the finished files, what the compiler does to each function from the object files
that they are made of, and what leaves no trace, from the commands that compiled them. Exit status 77 where the build
folder has no compile_commands.json, and where there is no readelf.
"""

import json
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parent / "support"))
sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

from source_tree import NOT_SHIPPED, TOP

SKIPPED = 77
BUILD = CACHE = None


def read_cache():
    lines = (BUILD / "CMakeCache.txt").read_text(encoding="utf-8").splitlines()
    entries = (re.fullmatch(r"(\w+):\w+=(.*)", line) for line in lines)
    return {entry[1]: entry[2] for entry in entries if entry}


def is_hardened():
    """Whether this build is one that hardens: optimised, and without sanitizers, which bring checks of their own."""
    optimised = CACHE["CMAKE_BUILD_TYPE"] in ("Release", "RelWithDebInfo", "MinSizeRel")
    return optimised and not CACHE.get("PELLUX_SANITIZERS")


def has(flag):
    return CACHE.get(f"PELLUX_HAS{re.sub(r'[^0-9A-Za-z]', '_', flag)}") == "1"


def readelf(path, *options):
    return subprocess.run(["readelf", "-W", *options, str(path)], check=True, capture_output=True, text=True).stdout


def functions_of_the_c_library(path):
    return set(re.findall(r" UND (\w+)@", readelf(path, "--dyn-syms")))


def bundle():
    """The paths of the bundle's programs and of its library."""
    values = dict(line.split("=", 1) for line in (BUILD / "bundle.txt").read_text(encoding="utf-8").splitlines())
    contents = BUILD / values["name"] / "Contents"
    return [contents / "MacOS" / name for name in values["programs"].split()], contents / "Frameworks" / "liblogger.so"


def compilations():
    """For each source that is shipped, the arguments that it is compiled with and the object file."""
    with open(BUILD / "compile_commands.json", encoding="utf-8") as file:
        for entry in json.load(file):
            source = os.path.relpath(entry["file"], TOP)
            if source.startswith("..") or source.split("/")[0] in NOT_SHIPPED | {"build"}:
                continue
            arguments = shlex.split(entry["command"])
            yield source, arguments, BUILD / arguments[arguments.index("-o") + 1]


class Libraries(unittest.TestCase):
    def needed(self, path):
        return set(re.findall(r"\(NEEDED\).*\[(.*)\]", readelf(path, "-d")))

    def exported(self, path):
        symbols = re.findall(r"(?:GLOBAL|WEAK|UNIQUE)\s+DEFAULT\s+\d+ (\w+)", readelf(path, "--dyn-syms"))
        # The C library's own variable, of which a program has the copy that counts.
        return set(symbols) - {"__libc_single_threaded"}

    def test_are_inside_where_the_bundle_is_to_run_anywhere(self):
        if CACHE.get("PELLUX_SELF_CONTAINED") != "ON":
            self.skipTest("this build's bundle is not self-contained")
        programs, library = bundle()
        for path in (*programs, library):
            others = {name for name in self.needed(path) if not re.match(r"(libc|libm|ld-linux[\w-]*)\.so\.\d+$", name)}
            self.assertEqual(others, {"liblogger.so"} if path.name == "launcher" else set(), path)
        for program in programs:
            self.assertEqual(self.exported(program), set(), program)

    def test_export_two_functions(self):
        if CACHE.get("PELLUX_SANITIZERS"):
            self.skipTest("a sanitizer exports functions of its own")
        _, library = bundle()
        self.assertEqual(self.exported(library), {"InitLogger", "GetLogger"})


class Hardening(unittest.TestCase):
    def setUp(self):
        if not is_hardened():
            self.skipTest("this build is not optimised, or has sanitizers")
        self.programs, self.library = bundle()
        self.assertIn("launcher", [program.name for program in self.programs])

    def test_is_loaded_anywhere(self):
        for program in self.programs:
            self.assertRegex(readelf(program, "-h"), r"Type:\s+DYN", program)
            self.assertRegex(readelf(program, "-d"), r"\(FLAGS_1\).*\bPIE\b", program)

    def test_looks_everything_up_at_the_start_and_makes_it_read_only(self):
        for path in (*self.programs, self.library):
            self.assertIn("GNU_RELRO", readelf(path, "-l"), path)
            self.assertRegex(readelf(path, "-d"), r"\(FLAGS_1\).*\bNOW\b", path)

    def test_executes_no_stack(self):
        for path in (*self.programs, self.library):
            self.assertRegex(readelf(path, "-l"), r"GNU_STACK\s+(0x\w+\s+){5}RW\s", path)

    def test_protects_its_stack(self):
        for path in (*self.programs, self.library):
            self.assertIn("__stack_chk_fail", functions_of_the_c_library(path), path)

    def test_checks_the_sizes_of_buffers(self):
        # A program all of whose sizes are known to suffice has no check, as launcherctl.
        for path in (self.programs[0].with_name("launcher"), self.library):
            self.assertTrue([name for name in functions_of_the_c_library(path) if name.endswith("_chk")], path)

    def test_takes_no_other_turn(self):
        if not has("-fcf-protection"):
            self.skipTest("the compiler does not carry it")
        # The linker drops the mark of the whole where the C library's start files have none, as Debian's.
        for source, _, path in compilations():
            self.assertRegex(readelf(path, "-n"), r"x86 feature: .*\bIBT\b.*\bSHSTK\b", source)


class Sources(unittest.TestCase):
    def test_are_compiled_with_the_flags(self):
        flags = {flag for flag in ("-fstack-protector-strong", "-fstack-clash-protection", "-fcf-protection",
                                   "-mbranch-protection=standard") if has(flag)}
        flags |= {f"-D_FORTIFY_SOURCE={3 if has('_FORTIFY_3') else 2}"}
        self.assertLessEqual({"-fstack-protector-strong", "-fstack-clash-protection"}, flags)
        unoptimised = {"-D_GLIBCXX_ASSERTIONS"}
        expected, unexpected = (flags, unoptimised) if is_hardened() else (unoptimised, flags)
        sources = list(compilations())
        self.assertGreater(len(sources), 30)
        for source, arguments, _ in sources:
            self.assertLessEqual(expected, set(arguments), source)
            self.assertEqual(unexpected & set(arguments), set(), source)


if __name__ == "__main__":
    BUILD = pathlib.Path(sys.argv[1]).resolve()
    for missing in [] if shutil.which("readelf") else ["readelf (Debian: binutils)"]:
        print(f"skipped: there is no {missing}")
        sys.exit(SKIPPED)
    if not (BUILD / "compile_commands.json").exists():
        print("skipped: this build folder has no compile_commands.json (-DCMAKE_EXPORT_COMPILE_COMMANDS=ON)")
        sys.exit(SKIPPED)
    CACHE = read_cache()
    unittest.main(argv=sys.argv[:1])
