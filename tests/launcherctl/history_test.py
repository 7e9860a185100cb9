"""Has launcherctl show what real launchers have done, and the night in examples/.

    history_test.py BUNDLE [TEST...]
"""

import json
import os
import pathlib
import subprocess
import sys
import unittest
import xml.dom.minidom

import scene
from scene import Scene, shell, sleeper, wait_until

TOP = pathlib.Path(__file__).resolve().parents[2]
NIGHT = TOP / "examples/night"


def history_of_night(*arguments):
    """launcherctl history on the example; (exit status, standard output, standard error)."""
    tool = pathlib.Path(scene.bundle) / "Contents/MacOS/launcherctl"
    done = subprocess.run([str(tool), "history", "--log", str(NIGHT), "--list", str(NIGHT / "list.json"), *arguments],
                          capture_output=True, text=True, check=False,
                          env={**os.environ, "TZ": "CET-1", "COLUMNS": "100"})
    return done.returncode, done.stdout, done.stderr


class History(unittest.TestCase):
    maxDiff = None

    def runs(self, stage, name):
        status, answer = stage.ctl_json("history", name)
        self.assertEqual(status, 0)
        return answer["items"][0]["runs"]

    def test_tells_logged_starts_ends_and_pauses(self):
        with Scene(level="DEBUG") as stage:
            stage.start([shell("a", "exit 3"), sleeper("b")])
            self.assertTrue(stage.wait_for_state("b", "running"))
            self.assertTrue(wait_until(lambda: len(self.runs(stage, "a")) >= 3))
            first, second = self.runs(stage, "a")[:2]
            self.assertEqual((first["start_is"], first["status"], first["meaning"], first["pause_seconds"]),
                             ("logged", 768, "exit status 3", 1))
            self.assertEqual((second["start_is"], second["pause_seconds"]), ("logged", 2))
            running = self.runs(stage, "b")
            self.assertEqual([(run["end"], run["status"]) for run in running], [(None, None)])

    def test_computes_starts_at_the_default_level(self):
        with Scene() as stage:
            stage.start([shell("a", "exit 3")])
            self.assertTrue(wait_until(lambda: (stage.item("a") or {}).get("ends", 0) >= 2))
            first, second = self.runs(stage, "a")[:2]
            self.assertEqual((first["start"], first["start_is"]), (None, "unknown"))
            self.assertEqual((second["start_is"], second["pause_seconds"]), ("computed", 2))

    def test_knows_a_stop(self):
        with Scene() as stage:
            launcher = stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            launcher.terminate()
            self.assertEqual(launcher.wait(scene.DEADLINE_SECONDS), 1)
            status, answer = stage.ctl_json("history")
            self.assertEqual((status, [entry["how"] for entry in answer["launchers"]]), (0, ["stopped"]))

    def test_of_a_name_that_nobody_knows_is_no_answer(self):
        with Scene(level="DEBUG") as stage:
            stage.start([sleeper("uploader")])
            self.assertTrue(stage.wait_for_state("uploader", "running"))
            status, output, errors, _ = stage.ctl("history", "uplaoder")
            self.assertEqual((status, output), (2, ""))
            self.assertIn('did you mean "uploader"?', errors)

    def test_without_any_log_is_no_answer(self):
        with Scene() as stage:
            status, output, errors, _ = stage.ctl("history")
            self.assertEqual((status, output), (2, ""))
            self.assertIn("launcher.log does not exist", errors)

    def test_says_that_a_picture_can_not_be_written(self):
        with Scene(level="DEBUG") as stage:
            stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            os.mkfifo(stage.folder / "pipe")
            for place in ("missing/night.svg", ".", "pipe"):
                status, _, errors, _ = stage.ctl("history", "--svg", str(stage.folder / place))
                self.assertEqual(status, 2, place)
                self.assertIn("can't be written", errors)

    def test_refuses_times_that_are_none(self):
        status, _, errors = history_of_night("--since", "noon")
        self.assertEqual(status, 2)
        self.assertIn('"noon" is no time', errors)


class Night(unittest.TestCase):
    def test_is_the_picture_of_the_readme(self):
        _, picture, errors = history_of_night("--svg", "-")
        self.assertEqual(errors, "")
        self.assertEqual(picture, (TOP / "docs/night.svg").read_text(encoding="utf-8"),
                         "make it anew, with the command in README.md")
        self.assertIn("launcherctl history --log examples/night --list examples/night/list.json --svg docs/night.svg",
                      (TOP / "README.md").read_text(encoding="utf-8"))

    def test_is_well_formed(self):
        _, picture, _ = history_of_night("--svg", "-")
        document = xml.dom.minidom.parseString(picture)
        self.assertEqual(document.documentElement.tagName, "svg")
        self.assertGreater(len(document.getElementsByTagName("title")), 100)
        self.assertLess(len(picture), 200000)

    def test_counts_what_has_happened(self):
        _, output, _ = history_of_night("--json")
        answer = json.loads(output)
        items = {item["name"]: item for item in answer["items"]}
        self.assertEqual([item["name"] for item in answer["items"]],
                         ["sync", "indexer", "thumbs", "updater", "notes", "bridge", "backup"])
        self.assertEqual(len(items["bridge"]["failed_starts"]), 142)
        self.assertEqual({entry["reason"] for entry in items["notes"]["failed_starts"]}, {"no-program"})
        self.assertEqual([entry["how"] for entry in answer["launchers"]], ["stopped", "unknown"])

    def test_is_a_page_too(self):
        status, page, _ = history_of_night("--html", "-")
        self.assertEqual(status, 0)
        self.assertTrue(page.startswith("<!DOCTYPE html>"))
        self.assertIn("<td>thumbs</td>", page)

    def test_fits_a_terminal(self):
        for arguments in (("--timeline",), ()):
            _, output, _ = history_of_night(*arguments)
            self.assertLessEqual(max(map(len, output.splitlines())), 100, arguments)


if __name__ == "__main__":
    scene.bundle = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
