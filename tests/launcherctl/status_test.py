"""What launcherctl shows of real launchers, and how it behaves as a command.

    status_test.py BUNDLE [TEST...]
"""

import datetime
import fcntl
import json
import os
import pty
import random
import re
import signal
import struct
import subprocess
import sys
import termios
import time
import unittest

import scene
from scene import Scene, shell, sleeper, wait_until


class Status(unittest.TestCase):
    def test_without_a_launcher(self):
        with Scene() as stage:
            status, answer = stage.ctl_json("status")
            self.assertEqual((status, answer), (3, {"launchers": [], "leftovers": []}))
            status, output, errors, _ = stage.ctl("status")
            self.assertEqual((status, errors), (3, ""))
            self.assertIn("No launcher", output)

    def test_tells_every_state(self):
        items = [sleeper("running"), shell("pausing", "sleep 1; exit 3"),
                 {"name": "done", "program": "/bin/true", "run_once": True},
                 {"name": "failing", "program": "/nonexistent/program"}, {"name": "no-program"},
                 sleeper("twice", 1), {"program": "/bin/true"}, sleeper("twice", 2000)]
        text = json.dumps({**{str(i): item for i, item in enumerate(items)}, "9": sleeper("never-read")})
        expected = {"running": ["running"], "pausing": ["pausing", "running"], "done": ["done"],
                    "failing": ["failing"], "no-program": ["no-program"], "never-read": ["never-read"]}
        for level in (None, "DEBUG"):
            with self.subTest(level=level), Scene(level) as stage:
                launcher = stage.start(text)

                def all_are_told():
                    all_are_told.status, answer = stage.ctl_json("status")
                    all_are_told.last = answer
                    if not answer["launchers"] or answer["launchers"][0]["phase"] != "supervising":
                        return False
                    told = answer["launchers"][0]["items"]
                    states = [item["state"] for item in told]
                    return (states[0] == states[7] == "running" and told[1]["last_end"] and states[2] == "done" and
                            states[3] == "failing" and states[4] == "no-program" and states[5] == "replaced")

                self.assertTrue(wait_until(all_are_told), all_are_told.last)
                self.assertEqual(all_are_told.status, 1)
                told = all_are_told.last["launchers"][0]
                self.assertEqual((told["pid"], told["name"], told["list"], told["level"], told["phase"]),
                                 (launcher.pid, "agent", str(stage.list), level or "ERROR", "supervising"))
                self.assertEqual((told["bundle"], told["log"]), (str(stage.app),
                                                                 str(stage.log_folder / "launcher.log")))
                states = {item["name"]: item["state"] for item in told["items"] if item["name"] != "twice"}
                for name, allowed in expected.items():
                    self.assertIn(states[name], allowed, told)
                self.assertEqual([item["state"] for item in told["items"] if item["name"] in ("twice", None)],
                                 ["replaced", "skipped", "running"])
                by_name = {item["name"]: item for item in told["items"]}
                self.assertEqual(by_name["done"]["last_end"]["meaning"], "exit status 0")
                self.assertEqual(by_name["pausing"]["last_end"]["status"], 768)
                self.assertIsNone(by_name["failing"]["pid"])
                self.assertTrue(by_name["failing"]["chain"] and by_name["failing"]["next_start"])
                for item in told["items"]:
                    if item["name"] == "pausing":
                        continue  # After its third end it is in a crash loop.
                    self.assertEqual(item["trouble"], item["state"] in
                                     ("failing", "no-program", "skipped", "never-read"), item)

    def test_predicts_the_next_start(self):
        with Scene("DEBUG") as stage:
            stage.start([shell("a", "exit 1")])

            def pausing_item():
                item = stage.item("a")
                return item if item and item["ends"] >= 2 and item["state"] == "pausing" else None

            item = wait_until(pausing_item)
            self.assertTrue(item)
            ends = item["ends"]
            self.assertEqual(item["pause_seconds"], ends)

            def times_of(part):
                lines = (stage.log_folder / "launcher.log").read_text(encoding="utf-8").splitlines()
                return [datetime.datetime.fromisoformat(line.split()[0]) for line in lines if part in line]

            self.assertTrue(wait_until(lambda: len(times_of("Start to fork")) > ends))
            predicted = datetime.datetime.fromisoformat(item["next_start"])
            self.assertEqual(predicted, times_of("is killed")[ends - 1] + datetime.timedelta(seconds=ends))
            # Never before, but for what the clock is adjusted meanwhile; after it, a busy machine may take any time.
            self.assertGreater(times_of("Start to fork")[ends], predicted - datetime.timedelta(seconds=0.1))

    def test_chooses_by_pid_and_name(self):
        with Scene() as stage:
            launcher = stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            self.assertEqual(stage.ctl("status", "--pid", str(launcher.pid))[0], 0)
            self.assertEqual(stage.ctl("status", "--name", "agent")[0], 0)
            self.assertEqual(stage.ctl("status", "--name", "other")[0], 3)
            self.assertEqual(stage.ctl("status", "--pid", "1")[0], 3)

    def test_takes_no_child_that_is_just_starting_for_a_failed_start(self):
        with Scene() as stage:
            # Programs that start, end and start again all the time.
            stage.start([shell(f"a{i}", "exit 0") for i in range(20)])
            self.assertTrue(wait_until(stage.begun))
            end = time.monotonic() + 6
            while time.monotonic() < end:
                _, answer = stage.ctl_json("status")
                self.assertLessEqual(len(answer["launchers"]), 1)
                self.assertEqual(answer["leftovers"], [])
                for launcher in answer["launchers"]:
                    for item in launcher["items"]:
                        self.assertNotIn(item["state"], ("failing", "given-up"), item)

    def test_waits_on_nothing_in_the_place_of_a_file(self):
        with Scene() as stage:
            stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            stage.list.unlink()
            os.mkfifo(stage.list)
            stage.settings.mkdir(parents=True, exist_ok=True)
            os.mkfifo(stage.settings / "log.ini")
            os.mkfifo(stage.log_folder / "launcher.log.1")
            stage.own()
            for verb in (["status"], ["why"], ["why", "a"], ["check", str(stage.list)], ["stop"]):
                self.assertIn(stage.ctl(*verb)[0], (0, 1, 2), verb)
            launcher = stage.ctl_json("status")[1]["launchers"][0]
            self.assertIn("list-changed", {finding["code"] for finding in launcher["findings"]})

    def test_shows_hostile_names_as_escapes(self):
        name = "a\x1b[2J\nb\u202ec 715 is killed. ret = 715, status = 0"
        with Scene() as stage:
            stage.start([shell(name, "exit 1")])
            self.assertTrue(wait_until(lambda: (stage.item(name) or {}).get("ends")))
            for verb in (["status"], ["why"], ["why", name], ["check", str(stage.list)], ["stop"]):
                _, output, errors, _ = stage.ctl(*verb)
                for text in (output, errors):
                    self.assertIsNone(re.search("[\x00-\x09\x0b-\x1f\u202a-\u202e]", text), (verb, text))

    def test_reads_a_log_of_hostile_lines(self):
        with Scene() as stage:
            stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            with open(stage.log_folder / "launcher.log", "ab") as log:
                log.write(b"\x1b[2J torn\n" + random.Random(1).randbytes(5000) +
                          b"\n2026-11-21T10:00:00.000+00:00 ERROR\n")
            self.assertEqual(stage.item("a")["state"], "running")
            self.assertNotIn("\x1b", stage.ctl("why", "a")[1])


class Command(unittest.TestCase):
    def test_full_disk_gives_two(self):
        if not os.path.exists("/dev/full"):
            self.skipTest("takes a device that is always full")
        with Scene() as stage:
            for verb in (["explain", "9"], ["status"], ["--help"], ["check", str(stage.list)]):
                with open("/dev/full", "wb") as full:
                    done = subprocess.run([str(stage.app / "Contents/MacOS/launcherctl"), *verb], stdout=full,
                                          stderr=subprocess.PIPE, check=False, **stage.options())
                self.assertEqual(done.returncode, 2, verb)
                self.assertIn(b"No space left", done.stderr)

    def test_closed_output_is_no_error(self):
        with Scene() as stage:
            reading, writing = os.pipe()
            os.close(reading)
            done = subprocess.run([str(stage.app / "Contents/MacOS/launcherctl"), "explain", "9"], stdout=writing,
                                  stderr=subprocess.PIPE, check=False, **stage.options())
            os.close(writing)
            self.assertEqual((done.returncode, done.stderr), (0, b""))

    def test_mistyped_verb_is_told(self):
        with Scene() as stage:
            status, output, errors, _ = stage.ctl("stauts")
            self.assertEqual((status, output), (2, ""))
            self.assertIn("did you mean status?", errors)

    def test_wrong_usage_gives_two(self):
        with Scene() as stage:
            for arguments in (["status", "--nonsense"], ["explain"], ["explain", "x"], ["stop", "--pid", "x"],
                              ["status", "--watch=0"], ["why", "a", "b"]):
                status, output, errors, _ = stage.ctl(*arguments)
                self.assertEqual((status, output), (2, ""), arguments)
                self.assertTrue(errors.startswith("launcherctl: "), errors)

    def test_help_fits_a_screen(self):
        with Scene() as stage:
            for verb in ([], ["check"], ["status"], ["why"], ["history"], ["explain"], ["stop"]):
                status, output, errors, _ = stage.ctl(*verb, "--help")
                if "there is no verb" in errors:
                    continue
                self.assertEqual(status, 0)
                self.assertLessEqual(len(output.splitlines()), 24, output)
                for line in output.splitlines():
                    self.assertLessEqual(len(line), 110, line)

    def test_explain_does_all_but_what_no_wait_gives(self):
        with Scene() as stage:
            status, answer = stage.ctl_json("explain", "768", "-1", "139")
            self.assertEqual(status, 2)
            self.assertEqual([(one["status"], one["kind"], one["number"], one["core"], one["meaning"])
                              for one in answer["statuses"]],
                             [(768, "exit", 3, False, "exit status 3"),
                              (139, "signal", 11, True, "signal 11 (SIGSEGV), core dumped")])

    def test_negative_number_is_a_name_or_a_path_like_any_other(self):
        with Scene() as stage:
            stage.write_list([sleeper("-1"), sleeper("\x01-1")])
            for name in ("-1", "\x01-1"):  # Somebody's odd list; the second one is hard to type.
                (stage.folder / name).write_bytes(stage.list.read_bytes().replace(b"program", b"prograM"))
            for arguments in (["check", "-1"], ["check", "\x01-1"]):
                _, answer = stage.ctl_json(*arguments)
                self.assertEqual({finding["file"] for finding in answer["findings"]}, {arguments[1]})
            for name in ("-1", "\x01-1"):
                _, answer = stage.ctl_json("why", name, "--list", str(stage.list))
                self.assertEqual(answer["item"], name)
            for arguments in (["-1"], ["status", "-1"], ["status", "--watch=-1"], ["stop", "--timeout", "-1"]):
                status, output, errors, _ = stage.ctl(*arguments)
                self.assertEqual((status, output), (2, ""), arguments)
                self.assertNotIn("x01", errors)
                self.assertIn("-1", errors)


class Terminal(unittest.TestCase):
    def on_terminal(self, stage, *arguments, **variables):
        """Starts launcherctl on a terminal of 80 columns; (process, descriptor to read from)."""
        main, side = pty.openpty()
        fcntl.ioctl(side, termios.TIOCSWINSZ, struct.pack("HHHH", 24, 80, 0, 0))
        process = subprocess.Popen([str(stage.app / "Contents/MacOS/launcherctl"), *arguments], stdout=side,
                                   stdin=side, stderr=side, **stage.options(TERM="xterm", **variables))
        os.close(side)
        return process, main

    def output_of(self, process, main, output=b""):
        """All that it writes until it ends, behind what has been read already."""
        while True:
            try:
                piece = os.read(main, 65536)
            except OSError:
                break
            if not piece:
                break
            output += piece
        os.close(main)
        process.wait()
        return output.decode()

    def test_has_colors_unless_told_otherwise(self):
        with Scene() as stage:
            stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            self.assertIn("\x1b[32m", self.output_of(*self.on_terminal(stage, "status")))
            self.assertNotIn("\x1b", self.output_of(*self.on_terminal(stage, "status", NO_COLOR="1")))
            self.assertNotIn("\x1b", stage.ctl("status")[1])

    def test_fits_its_width_and_height(self):
        with Scene() as stage:
            stage.start([sleeper(f"an item with quite a long name, number {i}") for i in range(60)])
            self.assertTrue(stage.wait_for_state("an item with quite a long name, number 59", "running"))
            lines = self.output_of(*self.on_terminal(stage, "status", NO_COLOR="1")).splitlines()
            self.assertLessEqual(len(lines), 24)
            table = [line for line in lines if "running" in line]
            self.assertTrue(table)
            for line in table:
                self.assertLessEqual(len(line), 80, line)
            self.assertTrue(any("more, none of them in trouble" in line for line in lines), lines)

    def test_watch_redraws_and_ends_well(self):
        with Scene() as stage:
            stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            process, main = self.on_terminal(stage, "status", "--watch=0.1")
            output = b""
            while output.count(b"\x1b[H") < 3:
                output += os.read(main, 65536)
            process.send_signal(signal.SIGINT)
            output = self.output_of(process, main, output)
            self.assertEqual(process.returncode, 0)
            self.assertTrue(output.rstrip().endswith("\x1b[?1049l"), output[-40:])

    def test_watch_writes_plain_lines_elsewhere(self):
        with Scene() as stage:
            process = subprocess.Popen([str(stage.app / "Contents/MacOS/launcherctl"), "status", "--watch=0.1",
                                        "--json"],
                                       stdout=subprocess.PIPE, **stage.options())
            lines = [process.stdout.readline() for _ in range(3)]
            process.terminate()
            process.communicate()
            self.assertEqual(process.returncode, 3)
            for line in lines:
                self.assertEqual(json.loads(line)["launchers"], [])

    def test_stop_asks_first(self):
        with Scene() as stage:
            launcher = stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            process, main = self.on_terminal(stage, "stop")
            os.write(main, b"n\n")
            self.assertIn("Stop it? [y/N]", self.output_of(process, main))
            self.assertEqual((process.returncode, launcher.poll()), (2, None))
            process, main = self.on_terminal(stage, "stop")
            os.write(main, b"y\n")
            output = self.output_of(process, main)
            self.assertEqual(process.returncode, 0, output)
            self.assertIn("still to go", output)


if __name__ == "__main__":
    scene.bundle = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
