"""Checks that launcherctl(8) explains every state, finding and diagnosis that the sources know, and no others."""

import pathlib
import re
import unittest

TOP = pathlib.Path(__file__).resolve().parents[2]
PAGE = (TOP / "man" / "launcherctl.8").read_text(encoding="utf-8")
CODE = re.compile(r'"([a-z]+(?:-[a-z0-9]+)+|unreadable|healthy|done|crashes|replaced|unknown)"')


def explained(title):
    section = re.search(rf"^\.Ss {title}$(.*?)^\.S[sh] ", PAGE, re.M | re.S)[1]
    return re.findall(r"^\.It Cm (\S+)$", section, re.M)


def source(*names):
    return "".join((TOP / "launcherctl" / name).read_text(encoding="utf-8") for name in names)


class Codes(unittest.TestCase):
    def test_of_states_are_all_explained(self):
        function = re.search(r"StateName\(ItemState state\) \{(.*?)^\}", source("model.cpp"), re.M | re.S)[1]
        states = re.findall(r'return "([a-z-]+)";', function)
        self.assertEqual(len(states), 10)
        self.assertEqual(sorted(explained("States")), sorted(states))

    def test_of_findings_are_all_explained(self):
        codes = set(CODE.findall(source("check_list.cpp", "check_settings.cpp", "program_check.cpp", "launchers.cpp")))
        self.assertGreaterEqual(len(codes), 40)
        page = explained("Findings")
        self.assertEqual(sorted(set(page)), sorted(page))
        self.assertEqual(set(page), codes)

    def test_of_findings_have_the_severities_that_the_page_tells(self):
        text = source("check_list.cpp", "check_settings.cpp", "launchers.cpp")
        used = {code: {"error"} for code in re.findall(r'k\w+ = "([a-z-]+)";', source("program_check.cpp"))}
        severity = r"Severity::k(\w+)"
        for code, *severities in re.findall(rf'"([a-z0-9-]+)",\s*(?:\w+ \? )?{severity}(?:\s*: {severity})?', text):
            used.setdefault(code, set()).update(severity.lower() for severity in severities if severity)
        section = re.search(r"^\.Ss Findings$(.*?)^\.S[sh] ", PAGE, re.M | re.S)[1]
        told = {code: set(severities.split(", "))
                for code, severities in re.findall(r"^\.It Cm (\S+)\n\((.*)\)$", section, re.M)}
        self.assertEqual(told, used)

    def test_of_diagnoses_are_all_explained(self):
        # Longer ones only, and those that are assigned: a summary may be any word.
        text = source("diagnosis.cpp", "diagnosis.h", "why_verb.cpp")
        assigned = set(re.findall(r'\bcode = (?:[^;"]*\? )?"([a-z-]+)"', text))
        assigned |= set(re.findall(r': "(not-running-[a-z-]+|log-unavailable|item-never-read)"', text))
        self.assertGreaterEqual(len(assigned), 15)
        known = set(explained("Diagnoses")) | set(explained("Findings"))
        self.assertLessEqual(assigned, known)
        self.assertLessEqual(set(explained("Diagnoses")), assigned)


if __name__ == "__main__":
    unittest.main()
