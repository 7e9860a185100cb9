"""Checks that documents, manual pages and comments call the bundle by the name that it is built with.

    bundle_name_test.py BUNDLE_TXT

The changelog keeps the names that were. "Application.app" is the name of whatever application it is part of.
"""

import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

from source_tree import TOP, files, folders

NAME = None


def texts():
    yield from sorted(TOP.glob("*.md"))
    for folder in folders():
        if folder != "tests":
            yield from (path for path in files(folder, "*") if path.is_file() and "node_modules" not in path.parts)
    yield TOP / "tests" / "packaging" / "launch_agent_test.py"


class Bundle(unittest.TestCase):
    maxDiff = None

    def test_has_one_name(self):
        places = []
        for path in texts():
            for number, line in enumerate(path.read_text(encoding="utf-8", errors="replace").splitlines(), 1):
                for found in re.findall(r"(?<![\w.])[A-Z]\w*\.app\b(?!\.)", line):
                    places.append((found, f"{path.relative_to(TOP)}:{number}"))
        others = [place for place in places if place[0] not in (NAME, "Application.app")]
        self.assertEqual([place for place in others if not place[1].startswith("CHANGELOG.md")], [])
        self.assertGreater(len([place for found, place in places if found == NAME]), 5)


if __name__ == "__main__":
    lines = pathlib.Path(sys.argv[1]).read_text(encoding="utf-8").splitlines()
    NAME = dict(line.split("=", 1) for line in lines)["name"]
    unittest.main(argv=sys.argv[:1])
