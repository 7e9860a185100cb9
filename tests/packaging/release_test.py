"""Runs packaging/macos/release: what it would do on a Mac, and what it does everywhere.

    release_test.py BUNDLE_LIST
"""

import hashlib
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
BUNDLE_LIST = None
URL = "https://example.com/releases/Pellux-{}.tar.gz"


class Release(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.build = pathlib.Path(folder.name) / "a build"
        self.build.mkdir()
        shutil.copy(BUNDLE_LIST, self.build / "bundle.txt")
        values = dict(line.split("=", 1) for line in (self.build / "bundle.txt").read_text().splitlines())
        self.version, self.programs = values["version"], values["programs"].split()

    def release(self, *arguments):
        command = [TOP / "packaging/macos/release", "--build", self.build, *arguments]
        return subprocess.run(command, capture_output=True, text=True, check=False)

    def dry_run(self, *arguments):
        """The commands, as lists of arguments."""
        result = self.release("--dry-run", *arguments)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return [shlex.split(line) for line in result.stdout.splitlines()]

    def commands_for_the_application(self, *arguments):
        return self.dry_run("--identity", "Developer ID: A B", "--profile", "p", *arguments, "/tmp/An App.app/")

    def signed(self, commands):
        return [command for command in commands if command[0] == "codesign" and "--sign" in command]

    def test_signs_from_the_inside_to_the_outside(self):
        paths = [command[-1] for command in self.signed(self.commands_for_the_application())]
        contents = "/tmp/An App.app/Contents"
        programs = [f"{contents}/MacOS/{name}" for name in self.programs]
        self.assertEqual(paths, [f"{contents}/Frameworks/liblogger.dylib", *programs, "/tmp/An App.app"])

    def test_signs_everything_for_the_hardened_runtime_by_name_and_with_a_time(self):
        for command in self.signed(self.commands_for_the_application()):
            text = shlex.join(command)
            self.assertIn("--force --timestamp --options runtime --sign 'Developer ID: A B'", text)
            self.assertNotIn("--deep", command)
            if "/MacOS/" in command[-1]:
                self.assertIn("--identifier com.pellux." + os.path.basename(command[-1]), text)

    def test_puts_each_file_in_before_it_is_signed(self):
        commands = self.commands_for_the_application()
        for at, command in enumerate(commands):
            if command in self.signed(commands)[:-1]:
                name = os.path.basename(command[-1])
                copied = [c for c in commands[:at] if c[0] == "cp" and os.path.basename(c[1]) == name]
                self.assertEqual([c[2] for c in copied], [os.path.dirname(command[-1]) + "/"])

    def test_gives_entitlements_to_the_application_only(self):
        signed = self.signed(self.commands_for_the_application("--entitlements", "e.plist"))
        self.assertEqual([command[-1] for command in signed if "--entitlements" in command], ["/tmp/An App.app"])

    def test_notarises_then_staples_then_verifies_then_packs(self):
        steps = [shlex.join(command) for command in self.commands_for_the_application()]
        order = [
            "codesign --verify --strict --verbose=2 '/tmp/An App.app'",
            "xcrun notarytool submit .* --keychain-profile p --wait",
            "xcrun stapler staple '/tmp/An App.app'",
            "xcrun stapler validate '/tmp/An App.app'",
            "spctl --assess --type execute --verbose '/tmp/An App.app'",
            f"ditto -c -k --keepParent '/tmp/An App.app' .*/release/An App-{self.version}-macos.zip'?",
            f"checksum 'An App-{self.version}-macos.zip'",
        ]
        places = [[at for at, step in enumerate(steps) if re.fullmatch(pattern, step)] for pattern in order]
        self.assertEqual([len(place) for place in places], [1] * len(order), steps)
        self.assertEqual(sorted(places), places)

    def test_dry_run_runs_nothing(self):
        self.commands_for_the_application()
        self.dry_run("--formula", URL.format(self.version))
        self.assertEqual(os.listdir(self.build), ["bundle.txt"])

    def test_refuses_what_it_cannot_do(self):
        for arguments, message in (
            ((), "--identity, --profile and an application are needed"),
            (("--identity", "I", "--profile", "p"), "an application are needed"),
            (("--identity",), "--identity takes a value"),
            (("--sign",), "--sign is not an option"),
            (("--formula", "https://example.com/other.tar.gz"), f"will be called Pellux-{self.version}.tar.gz"),
            (("--formula", URL.format(self.version), "An.app"), "--formula goes with --build and --dry-run only"),
            (("--identity", "I", "--profile", "p", "A.app", "B.app"), "one application at a time: A.app, B.app"),
        ):
            with self.subTest(arguments=arguments):
                result = self.release(*arguments)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertIn(message, result.stderr)

    def test_without_a_build_says_what_makes_one(self):
        (self.build / "bundle.txt").unlink()
        self.assertIn("scripts/macos-build", self.release("--dry-run", "--formula", "x").stderr)

    @unittest.skipUnless((TOP / ".git").exists() and shutil.which("git"), "there is no commit to pack")
    def test_formula_is_about_the_archive_beside_it(self):
        result = self.release("--formula", URL.format(self.version))
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        formula = (self.build / "release/pellux.rb").read_text(encoding="utf-8")
        archive = (self.build / f"release/Pellux-{self.version}.tar.gz").read_bytes()
        self.assertIn(f'  url "{URL.format(self.version)}"\n', formula)
        self.assertIn(f'  sha256 "{hashlib.sha256(archive).hexdigest()}"\n', formula)
        self.assertNotRegex(formula, "@[A-Z0-9_]+@")
        url, checksum = re.findall('(?:url|sha256) "([^"]*)"', formula)[2:]
        self.assertIn(url, (TOP / "cmake/jsoncpp.cmake").read_text(encoding="utf-8"))
        self.assertEqual(checksum, (TOP / "cmake/jsoncpp.sha256").read_text(encoding="utf-8").split()[0])
        if shutil.which("ruby"):
            subprocess.run(["ruby", "-c"], input=formula, text=True, check=True, stdout=subprocess.DEVNULL)


if __name__ == "__main__":
    BUNDLE_LIST = sys.argv.pop(1)
    unittest.main()
