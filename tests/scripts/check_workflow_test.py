#!/usr/bin/env python3
"""Spoils copies of CI's workflow, in one way at a time, and has each linted.

Exit status: 0 when every fault was found, 1 when one was not, 77 when the linter is not installed.
"""

import pathlib
import subprocess
import sys
import tempfile
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
WORKFLOW = TOP / ".github/workflows/ci.yml"
HASH = "11bd71901bbe5b1630ceea73d27597364c9af683"


def lint(texts):
    """The faults of each text. The linter takes its time to start, so it is started once for all of them."""
    with tempfile.TemporaryDirectory() as folder:
        paths = [pathlib.Path(folder).resolve() / f"{number}.yml" for number in range(len(texts))]
        for path, text in zip(paths, texts):
            path.write_text(text, encoding="utf-8")
        command = [TOP / "scripts/check-workflow", *paths]
        lines = subprocess.run(command, capture_output=True, text=True, check=False).stdout.splitlines()
    return [[line for line in lines if line.startswith(f"{path}:")] for path in paths]


class CheckWorkflow(unittest.TestCase):
    def test_finds_nothing_in_the_workflow_as_it_is(self):
        result = subprocess.run([TOP / "scripts/check-workflow"], capture_output=True, text=True, check=False)
        self.assertEqual((result.returncode, result.stdout), (0, ""))

    def test_finds_each_fault(self):
        rows = [
            (f"actions/checkout@{HASH} # v4.2.2", "actions/checkout@v4 # v4.2.2", "not pinned by the full hash"),
            (f"actions/checkout@{HASH} # v4.2.2", f"actions/checkout@{HASH[:12]} # v4.2.2", "not pinned by the full"),
            (f"{HASH} # v4.2.2", HASH, "does not tell its version"),
            ("  contents: read\n", "  contents: write\n", "not just to read the contents"),
            ("  contents: read\n", "  contents: read\n  packages: write\n", "not just to read the contents"),
            ("${{ matrix.runner }}", "${{ matrix.runer }}", 'property "runer" is not defined'),
            ("needs: linux", "needs: windows", 'needs job "windows"'),
            ("runs-on: ubuntu-latest", "runs-on: ubuntu-ancient", 'label "ubuntu-ancient" is unknown'),
            ("runner: [macos-latest,", "runner: [macos-1,", 'label "macos-1" is unknown'),
            ("    steps:\n", "    setps:\n", 'unexpected key "setps"'),
        ]
        text = WORKFLOW.read_text(encoding="utf-8")
        for old, new, _ in rows:
            self.assertIn(old, text, new)
        found = lint([text.replace(old, new, 1) for old, new, _ in rows])
        for (_, new, message), faults in zip(rows, found):
            with self.subTest(new=new):
                self.assertTrue(any(message in fault for fault in faults), faults)


if __name__ == "__main__":
    if not (TOP / "build/workflow-linter/complete").exists():
        print("skipped: the linter is not installed; scripts/check-workflow does that")
        sys.exit(77)
    unittest.main()
