"""The verb `check` of launcherctl as a user meets it: its exit statuses, its JSON, its text, what it reads and what it
never waits on.

    check_test.py BUNDLE [TEST...]
"""

import json
import os
import pty
import re
import subprocess
import sys
import unittest

import scene
from scene import Scene, sleeper, wait_until

MEMBERS = {"file", "line", "column", "code", "severity", "item", "name", "message", "consequence", "remedy"}


def found(answer):
    return [(finding["line"], finding["column"], finding["code"], finding["item"], finding["name"])
            for finding in answer["findings"]]


def run_on_terminal(stage, rows, columns, *arguments):
    """What launcherctl shows on a terminal of that size."""
    main, terminal = pty.openpty()
    subprocess.run(["stty", "rows", str(rows), "columns", str(columns), "-opost"], stdin=terminal, check=True)
    options = stage.options(TERM="xterm")
    with subprocess.Popen([str(stage.app / "Contents/MacOS/launcherctl"), *arguments], stdin=terminal, stdout=terminal,
                          stderr=terminal, **options) as process:
        os.close(terminal)
        shown = b""
        while True:
            try:
                piece = os.read(main, 65536)
            except OSError:  # The other end is closed.
                break
            if not piece:
                break
            shown += piece
        process.wait()
    os.close(main)
    return shown.decode()


class Check(unittest.TestCase):
    def setUp(self):
        self.stage = self.enterContext(Scene())

    def write(self, text):
        self.stage.write_list(text)
        self.stage.list.chmod(0o600)

    def check(self, *arguments):
        status, output, errors, _ = self.stage.ctl("check", *arguments, str(self.stage.list), "--json")
        self.assertEqual(errors, "")
        return status, json.loads(output)

    def test_well_gives_nothing(self):
        self.write([sleeper("a"), sleeper("b")])
        status, answer = self.check()
        self.assertEqual((status, answer), (0, {"findings": [], "errors": 0, "warnings": 0, "notes": 0}))
        status, output, errors, _ = self.stage.ctl("check", str(self.stage.list))
        self.assertEqual((status, errors), (0, ""))
        self.assertEqual(output, "All is well: 1 list with 2 items, and the settings\n")

    def test_finding_gives_every_member(self):
        self.write('{\n  "0": {"name": "\\u001b[2J",\n    "program": "/nonexistent/x"}\n}')
        status, answer = self.check()
        self.assertEqual(status, 1)
        self.assertEqual(found(answer), [(2, 17, "name-odd", 0, "\x1b[2J"), (3, 16, "program-not-found", 0, "\x1b[2J")])
        self.assertEqual((answer["errors"], answer["warnings"], answer["notes"]), (1, 1, 0))
        for finding in answer["findings"]:
            self.assertEqual(set(finding), MEMBERS)
            self.assertEqual(finding["file"], str(self.stage.list))

    def test_note_does_not_change_the_status(self):
        self.write('{"0": {"name": "a", "program": "/bin/sh", "argc": 00}}')
        status, answer = self.check()
        self.assertEqual((status, answer["notes"], found(answer)), (0, 1, [(1, 51, "not-standard", 0, "a")]))

    def test_missing_list_is_an_answer(self):
        self.stage.list.unlink(missing_ok=True)
        status, answer = self.check("--no-settings")
        self.assertEqual((status, found(answer)), (1, [(1, 1, "unreadable", None, None)]))

    def test_wrong_usage_is_none(self):
        for arguments in (["--nonsense"], ["list.json", "--nonsense"]):
            status, output, errors, _ = self.stage.ctl("check", *arguments)
            self.assertEqual((status, output), (2, ""))
            self.assertIn("--nonsense", errors)

    def test_folders_and_fifos_are_not_waited_on(self):
        for make in (os.mkdir, os.mkfifo):
            for path in (self.stage.list, self.stage.settings / "log.ini",
                         self.stage.app / "Contents/Resources/qz3api.ini"):
                with Scene() as stage:
                    stage.write_list("{}")
                    stage.write_settings("")
                    path = {"list.json": stage.list, "log.ini": stage.settings / "log.ini",
                            "qz3api.ini": stage.app / "Contents/Resources/qz3api.ini"}[path.name]
                    path.unlink()
                    make(path)
                    stage.own()
                    status, output, _, _ = stage.ctl("check", str(stage.list), "--json")
                    codes = [(finding["code"], finding["file"]) for finding in json.loads(output)["findings"]]
                    self.assertEqual(status, 1)
                    self.assertIn(("not-a-file", str(path)), codes)

    def test_settings_are_checked_along(self):
        self.write([sleeper("a")])
        self.stage.write_settings("[LOG]\nLEVEL = DEBUG\n")
        status, answer = self.check()
        self.assertEqual((status, found(answer)), (1, [(2, 6, "settings-blank", None, None)]))
        self.assertEqual(answer["findings"][0]["file"], str(self.stage.settings / "log.ini"))
        self.assertEqual(self.check("--no-settings")[0], 0)

    def test_several_lists_are_sorted_by_file(self):
        other = self.stage.folder / "another.json"
        other.write_text("[]", encoding="utf-8")
        self.write("[1")
        self.stage.own()
        status, output, _, _ = self.stage.ctl("check", str(self.stage.list), str(other), "--json")
        self.assertEqual(status, 1)
        codes = [(finding["file"], finding["code"]) for finding in json.loads(output)["findings"]
                 if finding["severity"] == "error"]
        self.assertEqual(codes, [(str(other), "list-not-object"), (str(self.stage.list), "not-json")])

    def test_without_a_list_those_in_use_are_checked(self):
        if not self.stage.user:
            self.skipTest("Only root can give a launcher a user without others.")
        status, output, errors, _ = self.stage.ctl("check", "--json")
        self.assertEqual((status, json.loads(output)["findings"]), (3, []))
        self.assertIn("no launcher is running", errors)
        self.stage.start([sleeper("a"), {"name": "b", "program": "/bin/ls", "run_once": 1}])
        self.stage.list.chmod(0o600)

        def is_found():
            is_found.last = self.stage.ctl_json("check")
            return is_found.last[0] != 3

        self.assertTrue(wait_until(is_found))
        status, answer = is_found.last
        self.assertEqual((status, [finding["code"] for finding in answer["findings"]]), (1, ["run-once-not-boolean"]))
        self.assertEqual(answer["findings"][0]["file"], str(self.stage.list))

    def test_text_holds_nothing_that_acts(self):
        hostile = "\x1b]0;x\x07\u202e\u2028\x9b\r"
        self.write(json.dumps({"0": {"name": hostile, "program": "/" + hostile, hostile: 1, "argc": hostile}}))
        for arguments in ([], ["--all"]):
            _, output, _, _ = self.stage.ctl("check", *arguments, str(self.stage.list))
            self.assertNotRegex(output, "[\x00-\x09\x0b-\x1f\x7f-\x9f\u2028\u202e]")
            self.assertIn(r"\x1B]0;x\x07", output)
        hostile_path = self.stage.folder / "\x1b[2J.json"
        _, output, _, _ = self.stage.ctl("check", str(hostile_path))
        self.assertNotIn("\x1b", output)

    def test_malformed_bytes_reach_json_as_escapes(self):
        self.write(b'{"0": {"name": "\xff\x1b", "program": "/\xff"}}')
        _, answer = self.check()
        self.assertEqual({finding["name"] for finding in answer["findings"]}, {"\\xFF\x1b"})

    def test_text_shows_the_line(self):
        self.write('{\n "0": {"name": "a",\n\t"program": "/nonexistent/x"}\n}')
        _, output, _, _ = self.stage.ctl("check", str(self.stage.list))
        lines = output.splitlines()
        self.assertEqual(lines[0].partition(": error: ")[0], f"{self.stage.list}:3:13")
        self.assertTrue(lines[0].endswith("[program-not-found]"), lines[0])
        self.assertEqual(lines[1], '    3 |  "program": "/nonexistent/x"}')
        self.assertEqual(lines[2], "      |             ^")
        self.assertTrue(lines[3].startswith("    Then: "), lines[3])
        self.assertTrue(any(line.startswith("    Do:   ") for line in lines))
        self.assertEqual(lines[-1], "1 error in 1 list with 1 item, and the settings")

    def test_terminal_gets_no_more_than_a_screen(self):
        self.write(json.dumps({str(i): {"name": f"n{i}"} for i in range(100)}))
        shown = run_on_terminal(self.stage, 24, 80, "check", str(self.stage.list))
        self.assertLessEqual(shown.count("\n"), 23)
        self.assertIn("--all", shown)
        self.assertIn("\x1b[31merror:", shown)
        counted = int(re.search(r"and (\d+) more", shown)[1])
        self.assertEqual(counted + shown.count("[program-missing]"), 100)
        everything = run_on_terminal(self.stage, 24, 80, "check", "--all", str(self.stage.list))
        self.assertEqual(everything.count("[program-missing]"), 100)

    def test_short_answer_on_a_terminal_is_whole(self):
        self.write('{"0": {"name": "a"}}')
        shown = run_on_terminal(self.stage, 24, 80, "check", str(self.stage.list))
        self.assertIn("Then: ", shown)
        self.assertNotIn("--all", shown)

    def test_reader_that_has_gone_is_no_error(self):
        # More than a pipe holds, by far.
        self.write(json.dumps({str(i): {"name": f"n{i}"} for i in range(1000)}, indent=1))
        ctl = str(self.stage.app / "Contents/MacOS/launcherctl")
        options = self.stage.options()
        with subprocess.Popen([ctl, "check", str(self.stage.list)], stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                              **options) as process:
            process.stdout.readline()
            process.stdout.close()
            self.assertEqual(process.stderr.read(), b"")
            self.assertEqual(process.wait(), 1)

    @unittest.skipUnless(os.path.exists("/dev/full"), "There is no /dev/full.")
    def test_full_disk_is_an_error(self):
        self.write("[]")
        with open("/dev/full", "wb") as full:
            done = subprocess.run([str(self.stage.app / "Contents/MacOS/launcherctl"), "check", str(self.stage.list)],
                                  stdout=full, stderr=subprocess.PIPE, check=False, **self.stage.options())
        self.assertEqual(done.returncode, 2)
        self.assertIn(b"launcherctl: ", done.stderr)

    def test_hostile_bytes_never_end_it(self):
        lists = [bytes([byte]) for byte in range(256)]
        lists += [b"{" * 5000, b"[" * 100000, b'{"0":' * 2000, b'"' + b"\\" * 999]
        lists += [b'{"0": {"name": "a", "program": "/bin/sh", "argc": 2147483647, "args": {}}}',
                  b'{"0": {"name": "a", "program": "/bin/sh", "argc": 16383}}',
                  b'{"0": {"' + b"x" * 100000 + b'": "' + b"y" * 100000 + b'"}}', b"\xff" * 10000, b"\x00" * 10000]
        paths = []
        for number, text in enumerate(lists):
            path = self.stage.folder / f"hostile-{number}.json"
            path.write_bytes(text)
            paths.append(str(path))
        self.stage.own()
        status, output, errors, _ = self.stage.ctl("check", *paths, "--json")
        self.assertEqual((status, errors), (1, ""))
        self.assertEqual({finding["file"] for finding in json.loads(output)["findings"]}, set(paths))
        status, _, errors, _ = self.stage.ctl("check", *paths)
        self.assertEqual((status, errors), (1, ""))


if __name__ == "__main__":
    scene.bundle = sys.argv[1]
    unittest.main(argv=[sys.argv[0], *sys.argv[2:]])
