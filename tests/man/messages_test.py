"""Checks that launcher(8) explains every line that the launcher writes to its log and to the system log, and none
that it does not write.
"""

import pathlib
import re
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]


def logged():
    """The formats of the log calls in everything that the launcher is made of."""
    formats = set()
    for folder in ("launcher", "common"):
        for path in (TOP / folder).rglob("*.cpp"):
            text = path.read_text(encoding="utf-8")
            calls = re.findall(r"\b__LOG__A\(\s*logger,\s*LOGLEVEL_(\w+),\s*\"((?:[^\"\\]|\\.)*)\"", text)
            # A call of another form would go unseen.
            assert len(calls) == len(re.findall(r"\b__LOG__A\(", text)), f"{path}: a log call that this test can't read"
            formats.update(calls)
    return formats


def system_logged():
    text = (TOP / "launcher" / "main.cpp").read_text(encoding="utf-8")
    text += (TOP / "launcher" / "event_log.cpp").read_text(encoding="utf-8")
    calls = re.findall(r"\bWriteEvent\(\"([^\"]*)\"( \+ name)?, LOG_ERR, \"([^\"]*)\"\)", text)
    return {f"{source}{'%s' if name else ''} : {message}" for source, name, message in calls}


def explained():
    page = (TOP / "man" / "launcher.8").read_text(encoding="utf-8")
    diagnostics = re.search(r"^\.Sh DIAGNOSTICS$(.*?)^\.Sh ", page, re.M | re.S)[1]
    return set(re.findall(r"^\.It \"(.*)\"$", diagnostics, re.M))


class Messages(unittest.TestCase):
    def test_are_all_explained_and_no_others(self):
        self.assertGreaterEqual(len(logged()), 11)
        self.assertEqual(len(system_logged()), 2)
        self.assertEqual(explained(), {text for _, text in logged()} | system_logged())

    def test_have_the_levels_that_the_page_tells(self):
        self.assertEqual({level for level, _ in logged()}, {"DEBUG", "ERROR"})
        self.assertEqual([text for level, text in logged() if level == "DEBUG"], ["[LAUNCHER  ] Start to fork %s"])


if __name__ == "__main__":
    unittest.main()
