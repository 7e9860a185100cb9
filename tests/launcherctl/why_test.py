"""Walks the faults that the manual's night section knows, each made for real, with launcherctl alone: the right
diagnosis with one command, whether the log shows starts or not.

    why_test.py BUNDLE IMPATIENT_SLEEP [TEST...]
"""

import functools
import json
import os
import sys
import unittest

import scene
from scene import Scene, shell, sleeper, wait_until

impatient_sleep = None


def at_each_level(test):
    """Runs the test with a stage whose log shows ends only, and with one whose log shows starts as well."""
    @functools.wraps(test)
    def run(self):
        for level in (None, "DEBUG"):
            with self.subTest(level=level or "ERROR"), Scene(level) as stage:
                test(self, stage)
    return run


class Why(unittest.TestCase):
    def assert_diagnosis(self, stage, code, *arguments):
        """Once the launcher has come so far, one command tells."""
        expected_status = 0 if code in ("healthy", "done") else 1

        def is_told():
            status, output, errors, _ = stage.ctl("why", *arguments, "--json")
            answer = json.loads(output) if output else {"diagnosis": errors}
            is_told.last = (status, answer["diagnosis"])
            is_told.answer = answer
            return is_told.last == (expected_status, code)

        wait_until(is_told)
        self.assertEqual(is_told.last, (expected_status, code), is_told.answer)
        _, _, _, seconds = stage.ctl("why", *arguments)
        if os.environ.get("SHOW_WALK"):
            print(f"{self.id().split('.')[-1][5:]:50} why {' '.join(arguments)[:40]:20} {code:26} {seconds:.2f} s",
                  file=sys.stderr)
        return is_told.answer

    @at_each_level
    def test_wrong_path_of_item_three_of_six(self, stage):
        items = [sleeper(f"item{i}") for i in range(6)]
        items[2]["program"] = "/nonexistent/program"
        stage.start(items)
        answer = self.assert_diagnosis(stage, "program-not-found", "item2")
        self.assertEqual(answer["item"], "item2")
        self.assertTrue(any("list.json:" in piece["where"] for piece in answer["evidence"]), answer)
        self.assert_diagnosis(stage, "program-not-found")
        self.assert_diagnosis(stage, "healthy", "item3")

    @at_each_level
    def test_program_dying_on_its_closed_streams(self, stage):
        stage.start([{"name": "clock", "program": "/bin/date"}])
        answer = self.assert_diagnosis(stage, "needs-streams", "clock")
        self.assertTrue(any("<&- >&-" in step for step in answer["remedy"]), answer)

    @at_each_level
    def test_program_that_fails_without_printing(self, stage):
        stage.start([shell("silent", "exit 3")])
        answer = self.assert_diagnosis(stage, "crashes", "silent")
        self.assertIn("exit status 3", answer["summary"])

    @at_each_level
    def test_args_as_an_array(self, stage):
        stage.start([{"name": "a", "program": "/bin/sleep", "argc": 1, "args": ["1000"]}])
        self.assert_diagnosis(stage, "args-not-object", "a")

    @at_each_level
    def test_argc_too_small(self, stage):
        stage.start([{"name": "a", "program": "/bin/sleep", "args": {"0": "1000"}}])
        self.assert_diagnosis(stage, "args-ignored", "a")

    @at_each_level
    def test_names_twice(self, stage):
        stage.start([sleeper("a", 1000), sleeper("b"), sleeper("a", 2000)])
        self.assert_diagnosis(stage, "replaced", "a")
        self.assert_diagnosis(stage, "healthy", "b")

    @at_each_level
    def test_numbered_from_one(self, stage):
        stage.start('{"1": {"name": "a", "program": "/bin/sleep", "argc": 1, "args": {"0": "1000"}}}')
        self.assert_diagnosis(stage, "item-never-read", "a")
        self.assert_diagnosis(stage, "item-never-read")

    @at_each_level
    def test_gap_in_the_numbers(self, stage):
        stage.start('{"0": {"name": "a", "program": "/bin/sleep", "argc": 1, "args": {"0": "1000"}},\n'
                    ' "2": {"name": "b", "program": "/bin/sleep", "argc": 1, "args": {"0": "1000"}}}')
        self.assert_diagnosis(stage, "item-never-read", "b")
        self.assert_diagnosis(stage, "healthy", "a")

    @at_each_level
    def test_item_without_a_program(self, stage):
        stage.start([{"name": "a"}])
        self.assert_diagnosis(stage, "program-missing", "a")

    @at_each_level
    def test_trailing_comma(self, stage):
        stage.start('{"0": {"name": "a", "program": "/bin/sleep"},}').wait()
        answer = self.assert_diagnosis(stage, "not-running-list", "--list", str(stage.list))
        self.assertTrue(any("comma" in piece["text"] for piece in answer["evidence"]), answer)
        self.assert_diagnosis(stage, "not-running-list")

    @at_each_level
    def test_byte_order_mark(self, stage):
        stage.start(b'\xef\xbb\xbf{"0": {"name": "a", "program": "/bin/sleep"}}').wait()
        self.assert_diagnosis(stage, "not-running-list", "--list", str(stage.list))

    @at_each_level
    def test_list_that_is_missing(self, stage):
        stage.start(path="/nonexistent/list").wait()
        self.assert_diagnosis(stage, "not-running-list", "--list", "/nonexistent/list")
        self.assert_diagnosis(stage, "not-running-never-started")

    @at_each_level
    def test_list_that_is_a_folder(self, stage):
        stage.start(path=stage.folder)
        self.assert_diagnosis(stage, "not-a-file")

    def test_settings_with_blanks_around_the_equals_sign(self):
        with Scene() as stage:
            stage.write_settings("[LOG]\nLEVEL = DEBUG\n")
            stage.start([sleeper("a")])
            self.assert_diagnosis(stage, "settings-blank")

    @at_each_level
    def test_log_folder_that_cannot_be_written(self, stage):
        stage.log_folder.parent.mkdir(parents=True, exist_ok=True)
        stage.own()
        stage.log_folder.write_text("a file in its place", encoding="utf-8")
        stage.start([sleeper("a")])
        self.assert_diagnosis(stage, "log-unavailable")
        stage.log_folder.unlink()

    @at_each_level
    def test_missing_library(self, stage):
        for library in (stage.app / "Contents/Frameworks").iterdir():
            library.unlink()
        stage.write_list([sleeper("a")])
        stage.start(path=stage.list).wait()
        answer = self.assert_diagnosis(stage, "not-running-never-started", "--list", str(stage.list))
        self.assertIn("liblogger", answer["evidence"][0]["where"])

    @at_each_level
    def test_failed_fork(self, stage):
        stage.start_with_failing_fork()
        answer = self.assert_diagnosis(stage, "given-up", "a")
        self.assertTrue(any("SIGTERM" in piece["text"] for piece in answer["evidence"]), answer)

    @at_each_level
    def test_long_pause_after_thirty_crashes(self, stage):
        if not impatient_sleep:
            self.skipTest("takes a system that preloads libraries")
        stage.start([shell("a", "exit 3")], LD_PRELOAD=impatient_sleep)
        self.assert_diagnosis(stage, "pausing-long", "a")
        item = stage.item("a")
        self.assertEqual((item["ends"], item["pause_seconds"], item["ends_exact"]), (30, 30, True))

    @at_each_level
    def test_chain_left_behind_after_a_stop(self, stage):
        launcher = stage.start([{"name": "a", "program": "/nonexistent/program"}, sleeper("b")])
        self.assertTrue(stage.wait_for_state("b", "running"))
        self.assertTrue(wait_until(lambda: len((stage.item("a") or {}).get("chain", [])) >= 3))
        os.kill(launcher.pid, 15)
        launcher.wait()
        answer = self.assert_diagnosis(stage, "not-running-stopped")
        self.assertTrue(any("second supervisor" in piece["text"] for piece in answer["evidence"]), answer)
        status, answer = stage.ctl_json("status")
        self.assertEqual(status, 3)
        # The youngest may be about to become its program, and is told as one then.
        self.assertIn("second-supervisor", {left["kind"] for left in answer["leftovers"]})
        if stage.level == "DEBUG":  # A second supervisor's starts are logged with its number.
            self.assertIn("a", {left["item"] for left in answer["leftovers"]})
            self.assertIn(launcher.pid, {left["launcher"] for left in answer["leftovers"]})

    @at_each_level
    def test_launcher_that_was_killed(self, stage):
        launcher = stage.start([sleeper("a", 4711), shell("b", "exit 1")])
        self.assertTrue(stage.wait_for_state("a", "running"))
        self.assertTrue(wait_until(lambda: (stage.item("b") or {}).get("ends")))
        os.kill(launcher.pid, 9)
        launcher.wait()
        self.assert_diagnosis(stage, "not-running-crashed", "--list", str(stage.list))

        def is_alone():  # What "b" was just starting ends by itself.
            _, answer = stage.ctl_json("status", "--list", str(stage.list))
            is_alone.last = [(left["kind"], left["item"], left["launcher"]) for left in answer["leftovers"]]
            return is_alone.last == [("program", "a", launcher.pid)]

        self.assertTrue(wait_until(is_alone), is_alone.last)

    @at_each_level
    def test_launcher_that_was_stopped(self, stage):
        launcher = stage.start([sleeper("a")])
        self.assertTrue(stage.wait_for_state("a", "running"))
        stage.ctl("stop", "--yes")
        launcher.wait(scene.DEADLINE_SECONDS)
        self.assert_diagnosis(stage, "not-running-stopped")
        self.assert_diagnosis(stage, "not-running-stopped", "a")

    @at_each_level
    def test_program_replaced_by_one_that_is_not_executable(self, stage):
        program = stage.folder / "program"
        program.write_text("#!/bin/sh\nexec sleep 0.3\n", encoding="utf-8")
        program.chmod(0o755)
        stage.start([{"name": "a", "program": str(program)}])
        self.assertTrue(stage.wait_for_state("a", "running", "pausing"))
        program.chmod(0o644)
        self.assertTrue(stage.wait_for_state("a", "failing"))
        self.assert_diagnosis(stage, "program-not-executable", "a")

    @at_each_level
    def test_script_without_its_interpreter(self, stage):
        program = stage.folder / "program"
        program.write_text("#!/nonexistent/interpreter\n", encoding="utf-8")
        program.chmod(0o755)
        stage.start([{"name": "a", "program": str(program)}])
        self.assert_diagnosis(stage, "interpreter-not-found", "a")

    @at_each_level
    def test_list_changed_after_the_start(self, stage):
        stage.start([sleeper("a", 1000)])
        self.assertTrue(stage.wait_for_state("a", "running"))
        wait_until(lambda: False, 1)
        stage.write_list([sleeper("b", 2000), sleeper("c", 3000)])
        self.assert_diagnosis(stage, "list-changed")
        self.assert_diagnosis(stage, "list-changed", "b")

    @at_each_level
    def test_item_that_is_done(self, stage):
        stage.start([{"name": "a", "program": "/bin/true", "run_once": True}])
        self.assert_diagnosis(stage, "done", "a")

    @at_each_level
    def test_nothing_wrong(self, stage):
        stage.start([sleeper("a"), sleeper("b")])
        self.assert_diagnosis(stage, "healthy", "a")
        self.assert_diagnosis(stage, "healthy")

    def test_name_that_nobody_knows(self):
        with Scene() as stage:
            stage.start([sleeper("uploader")])
            self.assertTrue(stage.wait_for_state("uploader", "running"))
            status, output, errors, _ = stage.ctl("why", "uplaoder")
            self.assertEqual((status, output), (2, ""))
            self.assertIn('did you mean "uploader"?', errors)


if __name__ == "__main__":
    scene.bundle = sys.argv[1]
    impatient_sleep = sys.argv[2] if os.path.exists(sys.argv[2]) else None
    unittest.main(argv=[sys.argv[0], *sys.argv[3:]])
