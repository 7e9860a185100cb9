"""Tests that bench/start/measure.py runs through and fills its tables. What it measures is no test's business.

    start_test.py BUNDLE

Exit status 77 where it can't run: without a compiler, or where nobody may have a PID namespace.
"""

import os
import pathlib
import shutil
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
SKIPPED = 77
NO_NAMESPACE = 3
BUNDLE = None


def cells(line):
    return [cell.strip() for cell in line.strip("|").split("|")]


class StartTest(unittest.TestCase):
    def test_gives_every_column_of_everybody(self):
        with tempfile.TemporaryDirectory() as folder:
            report = pathlib.Path(folder, "report")
            done = subprocess.run([sys.executable, TOP / "bench/start/measure.py", "--sizes", "2", "--rounds", "1",
                                   "--seconds", "1", "--launcher", BUNDLE / "Contents/MacOS/launcher", "--out", report],
                                  capture_output=True, text=True, check=False)
            if done.returncode == NO_NAMESPACE:
                print(done.stderr.strip())
                sys.exit(SKIPPED)
            self.assertEqual(done.returncode, 0, done.stdout + done.stderr)
            starts, threads = [part.splitlines() for part in report.read_text().strip().split("\n\n")]

        headings = cells(starts[0])
        by_name = {row[1]: row for row in map(cells, starts[2:])}
        left_out = {line.split(" is left out: ")[0] for line in done.stdout.splitlines() if " is left out: " in line}
        self.assertEqual(set(by_name) | left_out, {"limit", "limit, fork", "launcher", "runit", "s6", "daemontools"})
        self.assertLessEqual(left_out, {"runit", "s6", "daemontools"})
        for row in by_name.values():
            self.assertEqual(len(row), len(headings))
            self.assertEqual(row[0], "2")
            for value in row[2:]:
                float(value)
        self.assertEqual([by_name["limit"][3], by_name["limit"][6], by_name["limit, fork"][4]], ["1.00"] * 3)

        self.assertEqual(len(threads), 3)
        self.assertEqual(len(cells(threads[2])), len(cells(threads[0])))
        self.assertTrue(all(float(value) >= 0 for value in cells(threads[2])))


if __name__ == "__main__":
    BUNDLE = pathlib.Path(sys.argv.pop(1)).resolve()
    if sys.platform != "linux" or not shutil.which(os.environ.get("CXX", "c++")) or not shutil.which("unshare"):
        print("takes Linux, a compiler and unshare")
        sys.exit(SKIPPED)
    unittest.main()
