"""Stops launchers with launcherctl, and sees that nobody else is reached.

    stop_test.py BUNDLE [TEST...]
"""

import os
import pathlib
import pwd
import shutil
import signal
import subprocess
import sys
import unittest

import scene
from scene import DEADLINE_SECONDS, Scene, shell, sleeper, wait_until


def is_alive(process):
    return process.poll() is None


class Stop(unittest.TestCase):
    def test_is_orderly_and_leaves_nothing(self):
        with Scene() as stage:
            launcher = stage.start([sleeper("a"), sleeper("b")])
            self.assertTrue(stage.wait_for_state("b", "running"))
            status, answer = stage.ctl_json("stop", "--yes")
            self.assertEqual((status, answer["pid"], answer["safe"], answer["ended"], answer["leftovers"]),
                             (0, launcher.pid, True, True, []))
            self.assertEqual((answer["seconds_at_least"], answer["seconds_at_most"]), (2, 4))
            self.assertEqual(launcher.wait(DEADLINE_SECONDS), 1)  # The exit status of an orderly end.

    def test_says_what_it_does_in_plain_lines_without_a_terminal(self):
        with Scene() as stage:
            stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            status, output, errors, _ = stage.ctl("stop", "--yes")
            self.assertEqual((status, errors), (0, ""))
            self.assertIn("SIGTERM is safe", output)
            self.assertIn("1 item still to go", output)
            self.assertIn("Nothing is left.", output)
            self.assertNotIn("\x1b", output)

    def test_asks_nobody_and_signals_nobody_without_a_terminal(self):
        with Scene() as stage:
            launcher = stage.start([sleeper("a")])
            self.assertTrue(stage.wait_for_state("a", "running"))
            status, _, errors, _ = stage.ctl("stop")
            self.assertEqual(status, 2)
            self.assertIn("--yes", errors)
            self.assertTrue(is_alive(launcher))

    def test_without_a_launcher(self):
        with Scene() as stage:
            self.assertEqual(stage.ctl("stop", "--yes")[0], 3)
            self.assertEqual(stage.ctl("stop", "--yes", "--pid", "1")[0], 3)

    def test_wants_to_know_which_of_several(self):
        with Scene() as stage:
            first = stage.start([sleeper("a")])
            second = stage.start([sleeper("a")])
            self.assertTrue(wait_until(lambda: len(stage.ctl_json("status")[1]["launchers"]) == 2))
            status, _, errors, _ = stage.ctl("stop", "--yes")
            self.assertEqual(status, 2)
            self.assertIn(str(first.pid), errors)
            self.assertTrue(wait_until(lambda: stage.ctl("stop", "--yes", "--pid", str(second.pid))[0] == 0))
            self.assertTrue(is_alive(first))
            second.wait(DEADLINE_SECONDS)

    def failed_fork(self, stage):
        """A launcher whose only fork has failed, and a process of the same user that must live."""
        launcher = stage.start_with_failing_fork()
        bystander = subprocess.Popen(["/bin/sleep", "1000"], start_new_session=True, **stage.options())
        stage.started.append(bystander)
        return launcher, bystander

    def test_is_refused_after_a_failed_fork(self):
        with Scene() as stage:
            launcher, bystander = self.failed_fork(stage)
            for arguments in (["--yes"], []):
                status, answer = stage.ctl_json("stop", *arguments)
                self.assertEqual((status, answer["safe"], answer["ended"]), (1, False, False))
                self.assertIn("Failed to fork", answer["reason"])
            self.assertTrue(is_alive(launcher) and is_alive(bystander))
            self.assertIn("stop-unsafe", stage.ctl_json("status")[1]["launchers"][0]["findings"][0]["code"])

    def test_is_refused_where_the_log_cannot_rule_a_failed_fork_out(self):
        with Scene() as stage:
            launcher, bystander = self.failed_fork(stage)
            (stage.log_folder / "launcher.log").write_bytes(b"")
            self.assertEqual(stage.ctl("stop", "--yes")[0], 1)
            (stage.log_folder / "launcher.log").unlink()
            self.assertEqual(stage.ctl("stop", "--yes")[0], 1)
            self.assertTrue(is_alive(launcher) and is_alive(bystander))

    def test_kill_ends_the_launcher_of_a_failed_fork_and_nobody_else(self):
        with Scene() as stage:
            launcher, bystander = self.failed_fork(stage)
            status, answer = stage.ctl_json("stop", "--kill", "--yes")
            self.assertEqual((status, answer["safe"], answer["ended"]), (0, False, True))
            self.assertEqual(launcher.wait(DEADLINE_SECONDS), -signal.SIGKILL)
            self.assertTrue(is_alive(bystander))

    def test_kill_ends_one_that_reads_a_folder_for_ever(self):
        with Scene() as stage:
            launcher = stage.start(path=stage.folder)
            self.assertTrue(wait_until(lambda: stage.ctl("stop", "--yes")[0] == 1))
            self.assertTrue(wait_until(lambda: stage.ctl("stop", "--yes", "--kill")[0] == 0))
            self.assertEqual(launcher.wait(DEADLINE_SECONDS), -signal.SIGKILL)

    def test_is_refused_without_the_log_while_a_supervisor_is_gone(self):
        if os.environ.get("PELLUX_SANITIZERS") == "thread":
            self.skipTest("without the log, the thread sanitizer's own thread is taken for a supervisor")
        with Scene("CRITICAL") as stage:
            launcher = stage.start([sleeper("a"), {"name": "b", "program": "/bin/true", "run_once": True}])
            self.assertTrue(stage.wait_for_state("b", "done"))
            self.assertEqual(stage.ctl("stop", "--yes")[0], 1)
            self.assertTrue(is_alive(launcher))

    def test_is_safe_without_the_log_while_every_supervisor_is_there(self):
        with Scene("CRITICAL") as stage:
            launcher = stage.start([sleeper("a"), sleeper("b")])
            self.assertTrue(stage.wait_for_state("b", "running"))
            self.assertEqual(stage.ctl("stop", "--yes")[0], 0)
            self.assertEqual(launcher.wait(DEADLINE_SECONDS), 1)

    def test_is_refused_where_a_number_belongs_to_somebody_else_by_now(self):
        in_namespace = ["unshare", "--pid", "--fork", "--mount-proc", "--kill-child", "--"]
        if os.getuid() != 0 or subprocess.run([*in_namespace, "test", "-w", "/proc/sys/kernel/ns_last_pid"],
                                              check=False, capture_output=True).returncode != 0:
            self.skipTest("takes root, and a PID namespace that lets the next number be chosen")
        with Scene() as stage:
            stage.write_list([{"name": "done", "program": "/bin/true", "run_once": True}, sleeper("b")])
            # The stopped launcher would signal the number that "done" had, for good.
            script = r'''
                "$1"/MacOS/launcher agent "$2" </dev/null &
                until number=$(sed -n "s/.* done \([0-9]*\) is killed.*/\1/p" "$3" 2>/dev/null) && [ "$number" ]; do
                  sleep 0.05
                done
                while [ "$taken" != "$number" ]; do  # Again where another one is forked in between.
                  [ -z "$taken" ] || kill "$taken"
                  echo "$((number - 1))" >/proc/sys/kernel/ns_last_pid
                  /bin/sleep 1000 &
                  taken=$!
                done
                sleep 2
                echo "taken $((taken - number))"
                "$1"/MacOS/launcherctl stop --yes --json
                echo "status $?"
                kill -0 "$taken" && echo alive
            '''
            environment = {**stage.options()["env"], "HOME": "/root"}
            home = pathlib.Path(pwd.getpwuid(0).pw_dir)
            log = home / "Library/Logs" / stage.sdk / "qz3log/launcher.log"
            try:
                command = ["bash", "-c", script, "bash", str(stage.app / "Contents"), str(stage.list), str(log)]
                done = subprocess.run(["setsid", *in_namespace, *command], capture_output=True, text=True, check=False,
                                      env=environment, timeout=DEADLINE_SECONDS)
            finally:
                shutil.rmtree(log.parents[1], ignore_errors=True)
            self.assertIn("taken 0\n", done.stdout, done.stderr)
            self.assertIn("status 1\nalive\n", done.stdout)
            self.assertIn("/sleep)", done.stdout)

    def test_names_what_is_left(self):
        with Scene() as stage:
            stage.start([{"name": "missing", "program": "/nonexistent/program"}, sleeper("b")])
            self.assertTrue(wait_until(lambda: len((stage.item("missing") or {}).get("chain", [])) >= 3))
            status, answer = stage.ctl_json("stop", "--yes")
            self.assertEqual((status, answer["ended"]), (1, True))
            # The youngest may be about to become its program, and is told as one then.
            self.assertIn("second-supervisor", {left["kind"] for left in answer["leftovers"]})
            self.assertEqual({left["item"] for left in answer["leftovers"]}, {"missing"})

    def test_ends_by_its_timeout(self):
        with Scene() as stage:
            launcher = stage.start([shell("a", "trap '' TERM; sleep 1000"), sleeper("b"), sleeper("c"), sleeper("d")])
            self.assertTrue(stage.wait_for_state("d", "running"))
            status, _, errors, _ = stage.ctl("stop", "--yes", "--timeout", "0.5")
            self.assertEqual(status, 1)
            self.assertIn("its stop goes on", errors)
            self.assertEqual(launcher.wait(DEADLINE_SECONDS), 1)


if __name__ == "__main__":
    scene.bundle = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
