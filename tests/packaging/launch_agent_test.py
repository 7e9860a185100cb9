"""Checks the launch agent: that it is a property list, that its keys have the types that launchd reads, and that they
fit the launcher.
"""

import pathlib
import plistlib
import re
import unittest

MACOS = pathlib.Path(__file__).resolve().parents[2] / "packaging" / "macos"
AGENT = MACOS / "com.pellux.launcher.plist"

# The keys of launchd.plist(5) that a launch agent of ours may use. What is not listed is a typing mistake, or a
# decision that belongs into DEPLOYMENT.md first.
TYPES = {
    "AbandonProcessGroup": bool,
    "AssociatedBundleIdentifiers": str,
    "ExitTimeOut": int,
    "KeepAlive": dict,
    "Label": str,
    "LimitLoadToSessionType": str,
    "ProcessType": str,
    "ProgramArguments": list,
    "ThrottleInterval": int,
}


def agent():
    text = AGENT.read_text(encoding="utf-8")
    for placeholder, value in (
        ("@APP@", "/Applications/Pellux.app"),
        ("@LIST@", "/Users/u/Library/Application Support/Pellux/launch-list.json"),
        ("@BUNDLE_IDENTIFIER@", "com.example.drive"),
    ):
        text = text.replace(placeholder, value)
    return plistlib.loads(text.encode(), fmt=plistlib.FMT_XML)


class LaunchAgent(unittest.TestCase):
    def test_has_known_keys_of_the_right_types(self):
        self.assertEqual({key: type(value) for key, value in agent().items()}, TYPES)

    def test_is_labelled_as_its_file_is_named(self):
        self.assertEqual(agent()["Label"], AGENT.stem)

    def test_has_no_key_twice(self):
        # plistlib keeps the last one without a word.
        keys = re.findall(r"<key>(.*?)</key>", AGENT.read_text(encoding="utf-8"))
        self.assertEqual(len(keys), len(set(keys)))

    def test_starts_the_bundles_launcher_with_a_name_and_a_list(self):
        program, name, launch_list, *others = agent()["ProgramArguments"]
        self.assertEqual(program, "/Applications/Pellux.app/Contents/MacOS/launcher")
        self.assertNotIn("%", name)  # The system log would read it as a conversion.
        self.assertTrue(launch_list.startswith("/"))
        self.assertEqual(others, [])

    def test_leaves_nothing_to_replace(self):
        for text in [*agent()["ProgramArguments"], agent()["AssociatedBundleIdentifiers"]]:
            self.assertNotRegex(text, "@|~|\\$")

    def test_names_the_application_whose_login_item_it_is(self):
        self.assertEqual(agent()["AssociatedBundleIdentifiers"], "com.example.drive")

    def test_is_not_throttled(self):
        # The programs inherit it; the other values that launchd knows are Background, Standard and Adaptive.
        self.assertEqual(agent()["ProcessType"], "Interactive")

    def test_restarts_after_failures_only(self):
        # The launcher's exit status is 0 for failures and 1 for an orderly end.
        self.assertEqual(agent()["KeepAlive"], {"SuccessfulExit": True, "Crashed": True})

    def test_allows_for_a_stop_and_does_not_wait_for_ever(self):
        # 5 s is what launchd allows by itself on current systems, 20 s on old ones; 60 s is the most an agent gets.
        longest_default_seconds, ceiling_seconds = 20, 60
        self.assertGreater(agent()["ExitTimeOut"], longest_default_seconds)
        self.assertLessEqual(agent()["ExitTimeOut"], ceiling_seconds)

    def test_has_each_placeholder_explained_and_filled_in(self):
        text = (MACOS / "DEPLOYMENT.md").read_text(encoding="utf-8")
        for placeholder in set(re.findall("@[A-Z_]+@", AGENT.read_text(encoding="utf-8"))):
            with self.subTest(placeholder=placeholder):
                self.assertIn(f"`{placeholder}`", text)
        for filled_in in ("ProgramArguments.0", "ProgramArguments.2", "AssociatedBundleIdentifiers"):
            with self.subTest(filled_in=filled_in):
                self.assertIn(f"plutil -replace {filled_in} -string", text)

    def test_is_loaded_again_when_the_stop_is_over_only(self):
        text = (MACOS / "DEPLOYMENT.md").read_text(encoding="utf-8")
        self.assertRegex(text, r"launchctl bootout .*\nwhile launchctl print .*\nlaunchctl bootstrap ")

    def test_has_each_key_explained(self):
        text = (MACOS / "DEPLOYMENT.md").read_text(encoding="utf-8")
        for key in list(agent()) + list(agent()["KeepAlive"]):
            with self.subTest(key=key):
                self.assertIn(f"`{key}", text)

    def test_has_its_numbers_in_the_document(self):
        text = (MACOS / "DEPLOYMENT.md").read_text(encoding="utf-8")
        for key in ("ThrottleInterval", "ExitTimeOut"):
            self.assertIn(f"`{key}` {agent()[key]} ", text)


if __name__ == "__main__":
    unittest.main()
