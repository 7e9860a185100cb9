"""A launcher on a stage of its own, for tests of launcherctl: a copy of the built bundle with its own SDK name, and,
for root, a user and a home folder of its own, so that no other launcher of this machine is seen or met.

    scene.py BUNDLE TEST...   (what every test program here takes; BUNDLE is the built Pellux.app)
"""

import itertools
import json
import os
import pathlib
import pwd
import resource
import shutil
import signal
import subprocess
import tempfile
import time
import unittest

DEADLINE_SECONDS = 100  # Only a failing test waits that long.
_numbers = itertools.count()

bundle = None  # Set by the test program.


def wait_until(condition, seconds=DEADLINE_SECONDS):
    """Asks `condition` again and again; returns its first true answer, or its last one at the deadline."""
    end = time.monotonic() + seconds
    pause = 0.05
    while True:
        answer = condition()
        if answer or time.monotonic() > end:
            return answer
        time.sleep(pause)
        pause = min(pause * 1.5, 0.5)  # Many tests ask side by side, and are what they wait for.


class Scene:
    def __init__(self, level=None):
        self.level = level
        self.folder = pathlib.Path(tempfile.mkdtemp(prefix="pellux-ctl-"))
        self.sdk = f"PelluxCtl-{os.getpid()}-{next(_numbers)}"
        self.app = self.folder / "Pellux.app"
        shutil.copytree(bundle, self.app)
        (self.app / "Contents/Resources/qz3api.ini").write_text(f"[SDK]\nNAME={self.sdk}\n", encoding="utf-8")
        self.user = 400000 + os.getpid() * 200 + next(_numbers) if os.getuid() == 0 else None
        self.home = self.folder / "home" if self.user else pathlib.Path(pwd.getpwuid(os.getuid()).pw_dir)
        self.log_folder = self.home / "Library/Logs" / self.sdk / "qz3log"
        self.settings = self.home / "Library/Application Support" / self.sdk
        self.list = self.folder / "list.json"
        self.started = []
        if self.user:
            self.home.mkdir()
        if level:
            self.write_level(level)
        self.own()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        for process in self.started:
            try:
                os.killpg(process.pid, signal.SIGKILL)  # A session of its own, made below.
            except ProcessLookupError:
                pass
            process.wait()
        shutil.rmtree(self.folder, ignore_errors=True)
        shutil.rmtree(self.log_folder.parent, ignore_errors=True)
        shutil.rmtree(self.settings, ignore_errors=True)

    def write_level(self, level):
        self.write_settings(f"[LOG]\nLEVEL={level}\n")

    def write_settings(self, text):
        self.settings.mkdir(parents=True, exist_ok=True)
        (self.settings / "log.ini").write_text(text, encoding="utf-8")
        self.own()

    def own(self):
        """Gives all files of the scene to its user."""
        if not self.user:
            return
        self.folder.chmod(0o755)
        subprocess.run(["chown", "-R", f"{self.user}:{self.user}", str(self.folder)], check=True)

    def write_list(self, items):
        """Items, numbered from 0; or the list's text."""
        if not isinstance(items, (str, bytes)):
            items = json.dumps({str(i): item for i, item in enumerate(items)}, indent=1)
        self.list.write_bytes(items if isinstance(items, bytes) else items.encode())
        self.own()

    def options(self, **more):
        environment = {"PATH": "/usr/bin:/bin", "HOME": str(self.home), "TZ": "UTC0",
                       "ASAN_OPTIONS": "detect_leaks=0:verify_asan_link_order=0",
                       # That user may not be able to read the list of what is known; other tests look at reports.
                       "TSAN_OPTIONS": "exitcode=0"}
        environment.update(more)
        options = {"env": environment, "cwd": str(self.folder)}
        if self.user:
            options.update(user=self.user, group=self.user, extra_groups=[])
        return options

    def start(self, items=None, path=None, most_processes=None, **environment):
        if items is not None:
            self.write_list(items)
        options = self.options(**environment)
        if most_processes:
            limits = (most_processes, most_processes)
            options["preexec_fn"] = lambda: resource.setrlimit(resource.RLIMIT_NPROC, limits)
        process = subprocess.Popen([str(self.app / "Contents/MacOS/launcher"), "agent", str(path or self.list)],
                                   start_new_session=True, stdin=subprocess.DEVNULL, **options)
        self.started.append(process)
        return process

    def start_with_failing_fork(self):
        """Starts a launcher whose only fork fails, and waits until it has."""
        if os.getuid() != 0:
            raise unittest.SkipTest("takes root, to become a user whose number of processes can be limited")
        if os.environ.get("PELLUX_SANITIZERS") == "thread":
            raise unittest.SkipTest("the thread sanitizer's own thread counts as one of the user's processes")
        # Two tasks: the launcher, and the thread of its only supervisor. This tool's would count, so it comes later.
        launcher = self.start([sleeper("a")], most_processes=2)
        log = self.log_folder / "launcher.log"
        assert wait_until(lambda: log.exists() and b"Failed to fork" in log.read_bytes())
        assert wait_until(self.begun)
        return launcher

    def ctl(self, *arguments, **more):
        """Runs launcherctl; (exit status, standard output, standard error, seconds)."""
        start = time.monotonic()
        done = subprocess.run([str(self.app / "Contents/MacOS/launcherctl"), *arguments], capture_output=True,
                              stdin=subprocess.DEVNULL, timeout=120, check=False, **self.options(), **more)
        return (done.returncode, done.stdout.decode(), done.stderr.decode(), time.monotonic() - start)

    def ctl_json(self, *arguments):
        """(exit status, the answer)."""
        status, output, errors, _ = self.ctl(*arguments, "--json")
        assert output, f"no answer from {arguments}: {status} {errors}"
        return status, json.loads(output)

    def item(self, name):
        """The item as status tells it, or None."""
        _, answer = self.ctl_json("status")
        for launcher in answer["launchers"]:
            for item in launcher["items"]:
                if item["name"] == name:
                    return item
        return None

    def begun(self):
        """The items by name, once the only launcher waits for SIGTERM and each of its supervisors has forked."""
        launchers = self.ctl_json("status")[1]["launchers"]
        if len(launchers) != 1 or launchers[0]["phase"] != "supervising":
            return {}
        items = launchers[0]["items"]
        is_waiting = any(item["state"] in ("pausing", "no-program", "unknown") and not item["ends"] for item in items)
        return {} if is_waiting else {item["name"]: item for item in items}

    def wait_for_state(self, name, *states):
        """Waits until the item is in one of the states, and everything else has begun as well."""
        return wait_until(lambda: self.begun().get(name, {}).get("state") in states)


def sleeper(name, seconds=100000):
    return {"name": name, "program": "/bin/sleep", "argc": 1, "args": {"0": str(seconds)}}


def shell(name, script, **more):
    return {"name": name, "program": "/bin/sh", "argc": 2, "args": {"0": "-c", "1": script}, **more}
