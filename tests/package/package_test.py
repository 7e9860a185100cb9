"""Installs what a build folder holds and uses it from outside, as other programs do.

    package_test.py BUILD_FOLDER [PackageTest.TEST...]

Users' programs are compiled as the build folder's own are: same compiler, same flags, same sanitizers.
"""

import pathlib
import re
import subprocess
import sys
import tempfile
import unittest

USER_PROJECT = pathlib.Path(__file__).resolve().parent
SOURCE = USER_PROJECT.parents[1]
BUILD = pathlib.Path(sys.argv.pop(1)).resolve() if len(sys.argv) > 1 else None

# What only the library's own sources include.
NOT_INSTALLED = {"common/strings/format_locale.h"}


def read_cache():
    """The build folder's CMake cache, as a dictionary of texts."""
    cache = {}
    for line in (BUILD / "CMakeCache.txt").read_text(encoding="utf-8").splitlines():
        name, separator, value = line.partition("=")
        if separator and not line.startswith(("#", "//")):
            cache[name.partition(":")[0]] = value
    return cache


def read_bundle():
    """What the build folder says of its bundle: the bundle's name and its programs' names."""
    lines = (BUILD / "bundle.txt").read_text(encoding="utf-8").splitlines()
    values = dict(line.split("=", 1) for line in lines)
    return values["name"], values["programs"].split()


def files_below(folder):
    return {str(path.relative_to(folder)) for path in pathlib.Path(folder).rglob("*") if not path.is_dir()}


class PackageTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.cache = read_cache()
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name).resolve()

    def run_command(self, *command):
        """Runs a command in a session of its own, which a launcher needs, and returns its output."""
        result = subprocess.run([str(part) for part in command], stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                stderr=subprocess.STDOUT, text=True, start_new_session=True, check=False)
        self.assertEqual(result.returncode, 0, f"{command}\n{result.stdout}")
        return result.stdout

    def install(self, *arguments):
        """Installs, and moves the result: whatever remembers its first place breaks."""
        first = self.folder / "first"
        self.run_command(self.cache["CMAKE_COMMAND"], "--install", BUILD, "--prefix", first, *arguments)
        return first.rename(self.folder / "moved here")

    def configure(self, build, *arguments, prefixes=()):
        flags = self.cache["CMAKE_CXX_FLAGS"]
        if self.cache.get("PELLUX_SANITIZERS"):
            flags += f" -fsanitize={self.cache['PELLUX_SANITIZERS']}"
        same = ["CMAKE_BUILD_TYPE", "CMAKE_CXX_COMPILER", "CMAKE_MAKE_PROGRAM", "CMAKE_OSX_ARCHITECTURES",
                "CMAKE_OSX_DEPLOYMENT_TARGET", "CMAKE_TOOLCHAIN_FILE"]
        prefix_path = [str(prefix) for prefix in prefixes] + [self.cache.get("CMAKE_PREFIX_PATH", "")]
        return self.run_command(
            self.cache["CMAKE_COMMAND"], "-S", USER_PROJECT, "-B", build, "-G", self.cache["CMAKE_GENERATOR"],
            f"-DCMAKE_CXX_FLAGS={flags}", f"-DCMAKE_PREFIX_PATH={';'.join(filter(None, prefix_path))}",
            *(f"-D{name}={self.cache[name]}" for name in same if self.cache.get(name)), *arguments)

    def build(self, build, *targets):
        self.run_command(self.cache["CMAKE_COMMAND"], "--build", build, "--target", *targets)

    def test_package(self):
        prefix = self.install()

        with self.subTest("every header is installed and has its user"):
            headers = {str(path.relative_to(SOURCE)) for path in (SOURCE / "common").rglob("*.h")} - NOT_INSTALLED
            headers.add("liblogger/liblogger.h")
            self.assertEqual(files_below(prefix / "include" / "pellux"), headers)
            users = "".join(file.read_text(encoding="utf-8") for file in USER_PROJECT.glob("*_user.cpp"))
            self.assertEqual([header for header in sorted(headers) if f'#include "{header}"' not in users], [])

        with self.subTest("nothing of the build reaches users"):
            package = sorted(prefix.rglob("PelluxCommon*.cmake"))
            self.assertNotEqual(package, [])
            for file in package:
                text = file.read_text(encoding="utf-8")
                for word in (str(SOURCE), str(BUILD), str(self.folder), "pellux_warnings",
                             "pellux_sanitizers", "pellux_build_paths", "-Wall", "-fsanitize"):
                    self.assertFalse(word in text, f"{file.name} names {word}")

        # Not "after": jsoncpp's own package can't be loaded a second time.
        for found_by_user in ("before", ""):
            build = self.folder / f"build {found_by_user}"
            output = self.configure(build, f"-DJSONCPP_FOUND_BY_USER={found_by_user}", prefixes=[prefix])
            self.assertIn(f"PelluxCommon {self.cache['CMAKE_PROJECT_VERSION']}\n", output)
        self.build(build, "all")
        self.assertEqual(self.run_command(build / "common_user"), "")
        self.run_command(build / "liblogger_user", self.folder / "logs")
        self.assertIn("written by a user", (self.folder / "logs" / "user.log").read_text(encoding="utf-8"))

    def test_package_versions(self):
        prefix = self.install("--component", "development")
        major = int(self.cache["CMAKE_PROJECT_VERSION"].partition(".")[0])
        rows = [(f"{major}", 0), (f"{major}.0", 0), (f"{major + 1}", 1), (f"{major - 1}", 1), (f"{major}.999", 1)]
        for version, status in rows:
            with self.subTest(version=version):
                project = self.folder / version
                project.mkdir()
                (project / "CMakeLists.txt").write_text(
                    "cmake_minimum_required(VERSION 3.25)\nproject(AsksForAVersion LANGUAGES CXX)\n"
                    f"find_package(PelluxCommon {version} REQUIRED)\n", encoding="utf-8")
                result = subprocess.run(
                    [self.cache["CMAKE_COMMAND"], "-S", project, "-B", project / "build",
                     "-G", self.cache["CMAKE_GENERATOR"], f"-DCMAKE_PREFIX_PATH={prefix}"],
                    capture_output=True, text=True, check=False)
                self.assertEqual(min(result.returncode, 1), status, result.stderr)

    def test_subfolder(self):
        for found_by_user in ("before", "after", ""):
            build = self.folder / f"build {found_by_user}"
            self.configure(build, f"-DPELLUX_SOURCE={SOURCE}", f"-DJSONCPP_FOUND_BY_USER={found_by_user}")
        self.build(build, "common_user", "plugin")
        self.assertEqual(self.run_command(build / "common_user"), "")

        made = {pathlib.Path(file).name for file in files_below(build)}
        self.assertIn("libpellux_common.a", made)
        self.assertEqual(made & {"launcher", "liblogger.so", "liblogger.dylib", "strings_tests"}, set())
        # This project's tests are not even there to be built.
        targets = self.run_command(self.cache["CMAKE_COMMAND"], "--build", build, "--target", "help")
        self.assertNotIn("_tests", targets)

    def test_other_platforms(self):
        result = subprocess.run(
            [self.cache["CMAKE_COMMAND"], "-S", SOURCE, "-B", self.folder / "build",
             "-G", self.cache["CMAKE_GENERATOR"], "-DCMAKE_SYSTEM_NAME=FreeBSD",
             f"-DCMAKE_CXX_COMPILER={self.cache['CMAKE_CXX_COMPILER']}"],
            capture_output=True, text=True, check=False)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("Pellux is made for Linux and macOS, not for FreeBSD", " ".join(result.stderr.split()))

    def test_runtime_component(self):
        prefix = self.install("--component", "runtime")
        name, programs = read_bundle()
        bundle = files_below(BUILD / name)
        self.assertEqual(files_below(prefix / name), bundle)
        libraries = {file for file in bundle if re.fullmatch(r"Contents/Frameworks/liblogger\.(so|dylib)", file)}
        self.assertEqual(len(libraries), 1)
        expected = {f"Contents/MacOS/{program}" for program in programs} | {"Contents/Resources/qz3api.ini"} | libraries
        self.assertEqual(bundle, expected)
        others = {file for file in files_below(prefix) if not file.startswith((f"{name}/", "share/man/"))}
        named_by_the_manual = {"share/pellux/launch-list.json", "share/pellux/launch-list.schema.json",
                               "share/pellux/log.ini"}
        completions = {"share/bash-completion/completions/launcherctl", "share/zsh/site-functions/_launcherctl"}
        self.assertEqual(others, named_by_the_manual | completions, "besides the bundle and manual pages")
        for file in named_by_the_manual:
            self.assertTrue(any(file in page.read_text() for page in prefix.glob("share/man/*/*")), file)
        # It finds its logging library below its new place: the dynamic linker would end it with another status.
        self.run_command(prefix / name / "Contents" / "MacOS" / "launcher")


if __name__ == "__main__":
    if BUILD is None:
        sys.exit(__doc__)
    unittest.main()
