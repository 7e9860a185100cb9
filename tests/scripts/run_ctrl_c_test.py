"""Runs scripts/run, the README's first command, to its end by Ctrl-C, as somebody at a terminal does.

It uses the build folder of the preset release, and what lies below ~/Library. So that the user's own files are neither
read nor changed, the test's processes see an empty ~/Library of their own. Exit status 77 where there can be none.
"""

import contextlib
import os
import pathlib
import pwd
import signal
import subprocess
import sys
import threading
import time
import unittest
import uuid

SKIPPED = 77
TOP = pathlib.Path(__file__).resolve().parents[2]
LIBRARY = pathlib.Path(pwd.getpwuid(os.getuid()).pw_dir) / "Library"
OWN_MOUNTS = ["unshare", "--mount"] + (["--user", "--map-current-user"] if os.getuid() != 0 else [])

# In front of the script: the empty ~/Library; behind it, what the script left there. The trap lets this shell, which
# Ctrl-C reaches as well, outlive the script.
STAGE = """
mount -t tmpfs tmpfs "$1" || exit 77
trap : INT
shift
"$@"
status=$?
find "$HOME_LIBRARY" -mindepth 1 ! -type d -printf 'left: %P\\n'
exit $status
"""


def processes_with(marker):
    """The command lines of the processes that have `marker` in their environment."""
    found = []
    for folder in pathlib.Path("/proc").glob("[0-9]*"):
        with contextlib.suppress(OSError):
            if marker.encode() in (folder / "environ").read_bytes():
                found.append((folder / "cmdline").read_bytes())
    return found


class Run(unittest.TestCase):
    def test_ends_in_an_orderly_way_on_ctrl_c_and_leaves_nothing_behind(self):
        marker = f"RUN_TEST={uuid.uuid4()}"
        name, value = marker.split("=")
        process = subprocess.Popen(
            [*OWN_MOUNTS, "sh", "-c", STAGE, "sh", str(LIBRARY), str(TOP / "scripts" / "run")],
            env={**os.environ, name: value, "HOME_LIBRARY": str(LIBRARY)}, stdin=subprocess.DEVNULL,
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, start_new_session=True)
        watchdog = threading.Timer(240, os.killpg, (process.pid, signal.SIGKILL))
        watchdog.start()
        try:
            output = []
            for line in process.stdout:
                output.append(line)
                # By then all programs are started.
                if "crashing" in line and "is killed" in line and len(processes_with(marker)) > 0:
                    os.killpg(process.pid, signal.SIGINT)
            status = process.wait()
        finally:
            watchdog.cancel()
            process.stdout.close()
        output = "".join(output)
        self.assertEqual(status, 0, output)
        self.assertIn("an orderly end after SIGTERM", output)
        left = [line for line in output.splitlines() if line.startswith("left: ")]
        self.assertEqual(left, ["left: Logs/Pellux/qz3log/launcher.log"], output)
        # What a program has started itself outlives it, but has little to do.
        deadline = time.monotonic() + 60
        while processes_with(marker) and time.monotonic() < deadline:
            time.sleep(0.1)
        self.assertEqual(processes_with(marker), [])


if __name__ == "__main__":
    made = not LIBRARY.exists()
    LIBRARY.mkdir(exist_ok=True)
    try:
        probe = subprocess.run([*OWN_MOUNTS, "mount", "-t", "tmpfs", "tmpfs", str(LIBRARY)],
                               stdin=subprocess.DEVNULL, capture_output=True, text=True)
        if probe.returncode != 0:
            print(f"skipped: the test can't have a ~/Library of its own: {probe.stderr}")
            sys.exit(SKIPPED)
        unittest.main()
    except FileNotFoundError as error:
        print(f"skipped: {error}")
        sys.exit(SKIPPED)
    finally:
        if made:
            LIBRARY.rmdir()
