"""Checks that launcher(8) explains every line that the launcher writes to its log and to the system log, and none
that it does not write.
"""

import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

from source_tree import NOT_THE_LAUNCHER, read, shipped_sources


def logged():
    """The formats of the log calls in everything that the launcher is made of."""
    formats = set()
    for path in shipped_sources(without=NOT_THE_LAUNCHER):
        if path.suffix != ".cpp":
            continue
        text = path.read_text(encoding="utf-8")
        calls = re.findall(r"\b__LOG__A\(\s*logger,\s*LOGLEVEL_(\w+),\s*\"((?:[^\"\\]|\\.)*)\"", text)
        # A call of another form would go unseen.
        assert len(calls) == len(re.findall(r"\b__LOG__A\(", text)), f"{path}: a log call that this test can't read"
        formats.update(calls)
    return formats


def system_logged():
    text = "".join(path.read_text(encoding="utf-8") for path in shipped_sources(without=NOT_THE_LAUNCHER))
    calls = re.findall(r"\bWriteEvent\(\"([^\"]*)\"( \+ name)?, LOG_ERR, \"([^\"]*)\"\)", text)
    return {f"{source}{'%s' if name else ''} : {message}" for source, name, message in calls}


def explained():
    diagnostics = re.search(r"^\.Sh DIAGNOSTICS$(.*?)^\.Sh ", read("man/launcher.8"), re.M | re.S)[1]
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
