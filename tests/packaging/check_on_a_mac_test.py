"""Runs the part of packaging/macos/check-on-a-mac that needs no Mac, and its functions by themselves.

    check_on_a_mac_test.py BUNDLE
"""

import hashlib
import pathlib
import subprocess
import sys
import tarfile
import tempfile
import unittest

SCRIPT = pathlib.Path(__file__).resolve().parents[2] / "packaging/macos/check-on-a-mac"
BUNDLE = None

PRINTED = """gui/501/com.pellux.launcher = {
	active count = 1
	path = /Users/u/Library/LaunchAgents/com.pellux.launcher.plist
	state = running
	program = /Applications/Pellux.app/Contents/MacOS/launcher
	spawn type = interactive (4)
	inherited environment = {
		pid = 1
	}
	runs = 3
	pid = 4711
	last exit code = 0
	resource coalition = {
		ID = 9
		state = active
	}
}
"""


def call(commands, stdin=""):
    """(exit status, output) of shell commands that may use the script's functions."""
    text = f". '{SCRIPT}'\n{commands}"
    result = subprocess.run(["bash", "-c", text], input=stdin, capture_output=True, text=True, check=False)
    return result.returncode, result.stdout


class Functions(unittest.TestCase):
    def test_read_the_values_of_the_service_itself(self):
        for name, value in (("pid", "4711"), ("runs", "3"), ("last exit code", "0"), ("state", "running")):
            with self.subTest(name=name):
                self.assertEqual(call(f"printed_value '{name}'", PRINTED), (0, value + "\n"))

    def test_find_no_value_where_there_is_none(self):
        self.assertEqual(call("printed_value pid", PRINTED.replace("\tpid = 4711\n", "")), (0, ""))

    def test_count_the_points_that_do_not_hold(self):
        status, output = call("point one true; point two false; point three not true; say $failures")
        self.assertEqual((status, output), (0, "ok       one\nNOT OK   two\nNOT OK   three\n2\n"))

    def test_wait_until_something_holds_or_the_time_is_over(self):
        self.assertEqual(call("within 5 true")[0], 0)
        self.assertEqual(call("within 1 false")[0], 1)
        self.assertEqual(call("n=0; third() { n=$((n + 1)); [ $n -ge 3 ]; }; within 60 third; say $n"), (0, "3\n"))


class Archive(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)
        self.archive = self.folder / "a bundle.tar.gz"
        (self.folder / "Some.app").mkdir()
        with tarfile.open(self.archive, "w:gz") as archive:
            archive.add(self.folder / "Some.app", "Some.app")

    def write_checksum(self, content):
        line = f"{hashlib.sha256(content).hexdigest()}  {self.archive.name}\n"
        (self.folder / f"{self.archive.name}.sha256").write_text(line, encoding="utf-8")

    def unpacked(self):
        (self.folder / "there").mkdir()
        return call(f"unpacked '{self.archive}' '{self.folder}/there'")

    def test_is_unpacked(self):
        self.write_checksum(self.archive.read_bytes())
        self.assertEqual(self.unpacked(), (0, f"{self.folder}/there/Some.app\n"))
        self.assertTrue((self.folder / "there/Some.app").is_dir())

    def test_that_was_changed_or_has_no_checksum_is_refused(self):
        self.assertEqual(self.unpacked(), (1, ""))
        (self.folder / "there").rmdir()
        self.write_checksum(b"another one")
        self.assertEqual(self.unpacked(), (1, ""))
        self.assertEqual(list((self.folder / "there").iterdir()), [])


class ByHand(unittest.TestCase):
    def test_every_point_holds(self):
        command = [SCRIPT, "--by-hand", BUNDLE]
        # A session of its own, as for everything that starts a launcher.
        result = subprocess.run(command, capture_output=True, text=True, check=False, start_new_session=True)
        lines = result.stdout.splitlines()
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)
        self.assertEqual([line for line in lines[1:] if not line.startswith("ok ")], [])
        self.assertGreaterEqual(len(lines), 9)

    def test_bundle_that_is_not_there_is_refused(self):
        for name, message in (("/nonexistent", "there is no bundle /nonexistent"),
                              ("/nonexistent.tar.gz", "there is no checksum of /nonexistent.tar.gz beside it")):
            with self.subTest(name=name):
                result = subprocess.run([SCRIPT, "--by-hand", name], capture_output=True, text=True, check=False)
                self.assertEqual((result.returncode, result.stdout), (1, ""))
                self.assertIn(message, result.stderr)


if __name__ == "__main__":
    BUNDLE = sys.argv.pop(1)
    unittest.main()
