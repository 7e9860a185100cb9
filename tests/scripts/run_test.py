"""Checks that scripts/run refuses what the launcher would wait for, read for ever, or end at without a word, before it
installs or builds anything.
"""

import os
import pathlib
import subprocess
import tempfile
import unittest

RUN = pathlib.Path(__file__).resolve().parents[2] / "scripts" / "run"


class Run(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def refusal_of(self, path):
        # A session of its own: should it run after all, it is ended as a whole.
        with subprocess.Popen([str(RUN), str(path)], stdout=subprocess.DEVNULL, stderr=subprocess.PIPE, text=True,
                              start_new_session=True) as run:
            try:
                _, errors = run.communicate(timeout=120)
            except subprocess.TimeoutExpired:
                os.killpg(run.pid, 9)
                raise
        self.assertNotEqual(run.returncode, 0)
        return errors

    def test_refuses_a_folder(self):
        self.assertIn("is a folder", self.refusal_of(self.folder))

    def test_refuses_a_fifo(self):
        os.mkfifo(self.folder / "list.json")
        self.assertIn("is not a regular file", self.refusal_of(self.folder / "list.json"))

    def test_refuses_a_device(self):
        self.assertIn("is not a regular file", self.refusal_of("/dev/zero"))

    def test_refuses_an_empty_file(self):
        (self.folder / "list.json").touch()
        self.assertIn("is empty", self.refusal_of(self.folder / "list.json"))

    def test_refuses_what_does_not_exist(self):
        self.assertIn("there is no launch list", self.refusal_of(self.folder / "list.json"))


if __name__ == "__main__":
    unittest.main()
