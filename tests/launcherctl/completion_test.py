"""Holds the completions that are installed to those that launcherctl makes, and tries the one for bash.

    completion_test.py BUNDLE [TEST...]
"""

import pathlib
import shutil
import subprocess
import sys
import unittest

import scene
from scene import Scene, sleeper

INSTALLED = pathlib.Path(__file__).resolve().parents[2] / "launcherctl" / "completions"
SHELLS = {"bash": INSTALLED / "launcherctl", "zsh": INSTALLED / "_launcherctl"}


class Completion(unittest.TestCase):
    def complete(self, stage, *words):
        """What bash offers for the last of `words`, behind the command."""
        tool = stage.app / "Contents/MacOS/launcherctl"
        script = (f'source {SHELLS["bash"]}; COMP_WORDS=("$@"); COMP_CWORD=$(($# - 1)); _launcherctl; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        done = subprocess.run(["bash", "-c", script, "bash", str(tool), *words], capture_output=True, text=True,
                              check=False, **stage.options())
        self.assertEqual(done.stderr, "")
        return done.stdout.split()

    def test_is_installed_as_it_is_made(self):
        with Scene() as stage:
            for shell, path in SHELLS.items():
                self.assertEqual(stage.ctl("completion", shell)[1], path.read_text(encoding="utf-8"),
                                 f"make it anew: launcherctl completion {shell} > {path}")

    def test_is_in_order_for_shells(self):
        for shell, path in SHELLS.items():
            if shutil.which(shell):
                subprocess.run([shell, "-n", str(path)], check=True)

    def test_offers_verbs_options_and_items(self):
        with Scene() as stage:
            self.assertEqual(self.complete(stage, "st"), ["status", "stop"])
            self.assertEqual(self.complete(stage, "stop", "--k"), ["--kill"])
            self.assertEqual(self.complete(stage, "explain", "--no"), [])
            stage.start([sleeper("uploader"), sleeper("updater"), sleeper("odd\x1bone")])
            self.assertTrue(stage.wait_for_state("updater", "running"))
            self.assertEqual(self.complete(stage, "why", "up"), ["updater", "uploader"])
            self.assertEqual(self.complete(stage, "why", "odd"), [])


if __name__ == "__main__":
    scene.bundle = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
