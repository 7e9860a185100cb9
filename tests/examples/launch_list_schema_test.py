"""Checks the example launch lists, and those in the documents, against the launch list's JSON Schema, and that the
schema refuses wrong ones.

Exit status 77 where no Python with the module jsonschema is found.
"""

import copy
import json
import os
import pathlib
import re
import sys
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
SKIPPED = 77


def import_jsonschema():
    """Imports jsonschema, or goes on in another interpreter that can: the one found first need not be the system's."""
    try:
        import jsonschema
        return jsonschema
    except ImportError:
        pass
    tried = os.environ.get("PYTHONS_WITHOUT_JSONSCHEMA", "").split(":") + [os.path.realpath(sys.executable)]
    os.environ["PYTHONS_WITHOUT_JSONSCHEMA"] = ":".join(tried)
    for python in ("/usr/bin/python3", "/usr/local/bin/python3", "/opt/homebrew/bin/python3"):
        if os.access(python, os.X_OK) and os.path.realpath(python) not in tried:
            os.execv(python, [python] + sys.argv)
    print("skipped: no Python with the module jsonschema (Debian: python3-jsonschema)")
    sys.exit(SKIPPED)


jsonschema = import_jsonschema()

SCHEMA = json.loads((TOP / "examples" / "launch-list.schema.json").read_text(encoding="utf-8"))
VALIDATOR = jsonschema.Draft7Validator(SCHEMA)

GOOD = {"0": {"name": "a", "program": "/bin/sleep", "argc": 1, "args": {"0": "1"}, "run_once": True}}

REMOVE = object()


def changed(path, value):
    """A copy of GOOD in which the member that `path` names is `value`, or removed."""
    result = copy.deepcopy(GOOD)
    *parents, last = path.split("/")
    place = result
    for parent in parents:
        place = place[parent]
    if value is REMOVE:
        del place[last]
    else:
        place[last] = value
    return result


def example_lists():
    return sorted(path for path in (TOP / "examples").glob("*.json") if path.name != "launch-list.schema.json")


def shown_lists(path):
    """The JSON texts among a document's literal blocks: indented or fenced in Markdown, displays in a manual page."""
    text = path.read_text(encoding="utf-8")
    if path.suffix == ".md":
        blocks = re.findall(r"^```\w*\n(.*?)^```", text, re.M | re.S)
    else:
        displays = re.findall(r"^\.Bd -literal.*?\n(.*?)^\.Ed", text, re.M | re.S)
        blocks = [display.replace("\\e", "\\") for display in displays]
    return [block for block in blocks if block.lstrip().startswith("{")]


class Schema(unittest.TestCase):
    def test_is_a_schema(self):
        jsonschema.Draft7Validator.check_schema(SCHEMA)

    def test_accepts_every_example_whose_items_have_no_gap_and_names_of_their_own(self):
        self.assertGreaterEqual(len(example_lists()), 4)
        for path in example_lists():
            with self.subTest(example=path.name):
                example = json.loads(path.read_text(encoding="utf-8"))
                self.assertEqual([error.message for error in VALIDATOR.iter_errors(example)], [])
                self.assertEqual(example.pop("$schema"), "launch-list.schema.json")
                self.assertEqual(list(example), [str(i) for i in range(len(example))])
                self.assertEqual(len({item["name"] for item in example.values()}), len(example))

    def test_accepts_what_the_documents_show(self):
        for name in ("README.md", "man/launch-list.5"):
            with self.subTest(document=name):
                shown = shown_lists(TOP / name)
                self.assertGreater(len(shown), 0)
                for text in shown:
                    self.assertEqual([error.message for error in VALIDATOR.iter_errors(json.loads(text))], [], text)

    def test_accepts_other_good_lists(self):
        rows = [
            ("an empty list", {}),
            ("nothing but name and program", {"0": {"name": "a", "program": "/bin/true"}}),
            ("more args than argc", changed("0/args/1", "b")),
            ("no arguments, said aloud", changed("0", {"name": "a", "program": "/bin/true", "argc": 0})),
            ("eleven items", {str(i): {"name": str(i), "program": "/bin/true"} for i in range(11)}),
            ("the most arguments", changed("0/argc", 16383)),
        ]
        for what, good in rows:
            with self.subTest(what):
                self.assertEqual([error.message for error in VALIDATOR.iter_errors(good)], [])

    def test_refuses_wrong_lists_each_for_its_own_reason(self):
        rows = [
            # What, the list, the keyword that refuses it, where.
            ("an array of items", [GOOD["0"]], "type", ""),
            ("a text", "list", "type", ""),
            ("a name instead of a number", {"sync": GOOD["0"]}, "additionalProperties", ""),
            ("a number with a leading zero", {"00": GOOD["0"]}, "additionalProperties", ""),
            ("a number below zero", {"-1": GOOD["0"]}, "additionalProperties", ""),
            ("numbers from one", {"1": GOOD["0"]}, "dependencies", ""),
            ("a gap", {**GOOD, "2": GOOD["0"]}, "dependencies", ""),
            ("an item that is a text", changed("0", "/bin/sleep"), "type", "0"),
            ("an item that is null", changed("0", None), "type", "0"),
            ("an item that is an array", changed("0", []), "type", "0"),
            ("no name", changed("0/name", REMOVE), "required", "0"),
            ("an empty name", changed("0/name", ""), "minLength", "0/name"),
            ("a name that is a number", changed("0/name", 7), "type", "0/name"),
            ("a name that is null", changed("0/name", None), "type", "0/name"),
            ("no program", changed("0/program", REMOVE), "required", "0"),
            ("an empty program", changed("0/program", ""), "pattern", "0/program"),
            ("a program without a folder", changed("0/program", "sleep"), "pattern", "0/program"),
            ("a program below a ~", changed("0/program", "~/bin/tool"), "pattern", "0/program"),
            ("a program that is an object", changed("0/program", {}), "type", "0/program"),
            ("a program with its arguments", changed("0/program", ["/bin/sleep", "1"]), "type", "0/program"),
            ("an argc that is a text", changed("0/argc", "1"), "type", "0/argc"),
            ("an argc that is a boolean", changed("0/argc", True), "type", "0/argc"),
            ("an argc that is no whole number", changed("0/argc", 1.5), "type", "0/argc"),
            ("an argc below zero", changed("0/argc", -1), "minimum", "0/argc"),
            ("an argc that no stack holds", changed("0/argc", 16384), "maximum", "0/argc"),
            ("an argc without args", changed("0/args", REMOVE), "required", "0"),
            ("args without an argc", changed("0/argc", REMOVE), "dependencies", "0"),
            ("args in an array", changed("0/args", ["1"]), "type", "0/args"),
            ("args that are a text", changed("0/args", "1"), "type", "0/args"),
            ("args that are null", changed("0/args", None), "type", "0/args"),
            ("an argument that is a number", changed("0/args/0", 1), "type", "0/args/0"),
            ("an argument that is an array", changed("0/args/0", []), "type", "0/args/0"),
            ("an argument with a name", changed("0/args/first", "a"), "additionalProperties", "0/args"),
            ("a run_once that is a text", changed("0/run_once", "true"), "type", "0/run_once"),
            ("a run_once that is a number", changed("0/run_once", 1), "type", "0/run_once"),
            ("a member in other letters", changed("0/Program", "/bin/sleep"), "additionalProperties", "0"),
            ("a misspelt member", changed("0/runonce", True), "additionalProperties", "0"),
        ]
        for what, wrong, keyword, place in rows:
            with self.subTest(what):
                found = [(error.validator, "/".join(map(str, error.absolute_path)))
                         for error in VALIDATOR.iter_errors(wrong)]
                self.assertEqual(found, [(keyword, place)])


if __name__ == "__main__":
    unittest.main()
