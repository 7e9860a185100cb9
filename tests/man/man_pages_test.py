"""Checks the form of every manual page with mandoc, and that it has the date and title that it is filed under.

Exit status 77 where there is no mandoc.
"""

import pathlib
import re
import shutil
import subprocess
import sys
import unittest

MAN = pathlib.Path(__file__).resolve().parents[2] / "man"
SKIPPED = 77


def pages():
    return sorted(MAN.glob("*.[1-9]"))


class ManPages(unittest.TestCase):
    def test_exist(self):
        names = [path.name for path in pages()]
        self.assertLessEqual({"launch-list.5", "launcher.8"}, set(names))

    def test_are_without_a_warning(self):
        for path in pages():
            with self.subTest(page=path.name):
                result = subprocess.run(["mandoc", "-Tlint", "-W", "warning", str(path)],
                                        capture_output=True, text=True)
                self.assertEqual((result.returncode, result.stdout), (0, ""))

    def test_carry_the_title_and_section_of_their_file_name(self):
        for path in pages():
            with self.subTest(page=path.name):
                title = re.search(r"^\.Dt (\S+) (\d)$", path.read_text(encoding="utf-8"), re.M)
                self.assertIsNotNone(title)
                self.assertEqual(f"{title[1].lower()}.{title[2]}", path.name)

    def test_are_installed(self):
        installed = (MAN / "CMakeLists.txt").read_text(encoding="utf-8")
        for path in pages():
            self.assertIn(path.name, installed)


if __name__ == "__main__":
    if shutil.which("mandoc") is None:
        print("skipped: there is no mandoc (Debian: mandoc)")
        sys.exit(SKIPPED)
    unittest.main()
