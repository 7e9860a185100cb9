"""Checks that what the code reads is what is written down: an item's members in child_proc.h, in the schema and in
launch-list(5), the settings' keys in launcher(8). In both directions: what is written down is read.
"""

import json
import pathlib
import re
import sys
import unittest

sys.path.insert(0, str(pathlib.Path(__file__).resolve().parents[1] / "support"))
sys.dont_write_bytecode = True  # Nothing is to lie beside the sources.

from source_tree import files, read, shipped_sources

# Expressions that are not literals: an item's number in the list, an argument's in "args", and what a function that
# reads members for others was given.
NOT_LITERAL = {"key.c_str()", "std::to_string(i).c_str()", "member"}


def members_read():
    """The members of an item that the launcher's sources read."""
    members = set()
    for path in files("launcher", "*.cpp", "*.h"):
        code = re.sub(r"//.*", "", path.read_text(encoding="utf-8"))
        reads = re.findall(r"\b(?:Has|Get)Object\(((?:[^()]|\([^()]*\))*)\)", code)
        reads += re.findall(r"\b(?:item|list)(?:\[\"\w+\"\])*\[((?:[^][]|\[[^][]*\])*)\]", code)
        reads += re.findall(r"\bitem\[(\"\w+\")\]\[", code)
        reads += re.findall(r"\bReadAhead<[^<>]*>\(item, (\"\w+\")\)", code)
        for argument in reads:
            literal = re.fullmatch(r"\"/?(\w+)\"", argument)
            # A read of another form would go unseen.
            assert literal or argument in NOT_LITERAL, f"{path}: a read that this test can't follow: {argument}"
            if literal:
                members.add(literal[1])
    return members


def keys_read():
    """The pairs of section and key that anything shipped reads."""
    keys = set()
    for path in shipped_sources():
        if path.parent.name == "settings" and path.stem == "profile":
            continue  # Where the functions themselves are.
        code = re.sub(r"//.*", "", path.read_text(encoding="utf-8"))
        calls = re.findall(r"\bGetPrivateProfile(?:String|Int)\(([^,]*),([^,]*),", code)
        for section, key in calls:
            literals = re.fullmatch(r"\"(\w+)\" *\"(\w+)\"", f"{section.strip()} {key.strip()}")
            assert literals, f"{path}: a setting that this test can't follow: {section}, {key}"
            keys.add((literals[1], literals[2]))
    return keys


def members_in_page():
    """The members that launch-list(5) describes, and those whose values of other types it describes."""
    page = read("man/launch-list.5")
    described = re.search(r"^An item is an object with these members\.$(.*?)^\.El$", page, re.M | re.S)[1]
    converted = re.search(r"^\.Ss Values of other types$(.*?)^\.El$", page, re.M | re.S)[1]
    words = [re.sub(r" No .*", "", line) for line in re.findall(r"^\.It Sy (.*)$", converted, re.M)]
    return set(re.findall(r"^\.It Sy (\w+)$", described, re.M)), set(re.findall(r"\w+", " ".join(words)))


def keys_in_page():
    """The pairs of section and key that launcher(8) describes."""
    settings = re.search(r"^\.Sh SETTINGS$(.*?)^\.Ss ", read("man/launcher.8"), re.M | re.S)[1]
    keys = set()
    for section, text in re.findall(r"^\.Sy \[(\w+)\]$(.*?)(?=^\.Sy \[|\Z)", settings, re.M | re.S):
        keys.update((section, key) for key in re.findall(r"^(?:has|and) the key$\n^\.Sy (\w+) :", text, re.M))
    return keys


class Members(unittest.TestCase):
    def setUp(self):
        self.read = members_read()
        self.assertGreaterEqual(self.read, {"name", "program"})

    def test_that_are_read_stand_in_the_header(self):
        self.assertEqual(set(re.findall(r"^//   \"(\w+)\"  ", read("launcher/child_proc.h"), re.M)), self.read)

    def test_that_are_read_stand_in_the_schema(self):
        schema = json.loads(read("examples/launch-list.schema.json"))
        self.assertEqual(set(schema["definitions"]["item"]["properties"]), self.read)

    def test_that_are_read_are_known_to_launcherctl(self):
        known = re.search(r"\bkKnown = \{(.*?)\}", read("launcherctl/check_list.cpp"), re.S)[1]
        self.assertEqual(set(re.findall(r"\"(\w+)\"", known)), self.read)
        reads = re.findall(r"FindMember\(value, \"(\w+)\"", read("launcherctl/launch_list_reader.cpp"))
        self.assertEqual(set(reads), self.read)

    def test_that_are_read_stand_in_the_page(self):
        described, converted = members_in_page()
        self.assertEqual(described, self.read)
        self.assertEqual(converted, self.read)


class Keys(unittest.TestCase):
    def test_that_are_read_stand_in_the_page(self):
        self.assertGreaterEqual(keys_read(), {("SDK", "NAME"), ("LOG", "LEVEL")})
        self.assertEqual(keys_in_page(), keys_read())


if __name__ == "__main__":
    unittest.main()
