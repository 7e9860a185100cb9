#!/usr/bin/env python3
"""Measures the start of the launcher beside other supervisors, and beside what the machine itself takes.

    bench/start/measure.py --launcher PATH --out FILE [--sizes N,N...] [--rounds N] [--seconds S]

Everybody starts the same N programs (child.cpp). The limit is one loop of vfork and execv in one thread (limit.cpp),
and the same with fork. Round for round all are started once, in a random order, so that a busy moment hits each of
them; a ratio is the median over the rounds of a time divided by the limit's of the same round.

    wall        from the supervisor's own execv until the last of the N programs runs
    CPU         the time of all processors for one start: the supervisor's, and the program's until its first line
    own KiB     private memory, for each program, of every process that is not one of the programs
    wake-ups    per second, of these processes, while all programs sleep
    late        restarts of programs that live 0.2 to 0.8 s: how much later than the supervisor's pause has run out;
                the median, and what 99 of 100 stay below. Up to 100 programs

Prints one table, then what a thread and a fork take beside that many sleeping threads, and writes both to FILE.

Everything runs in a PID and mount namespace of its own, which takes root or a system that lets users have one: a
supervisor that signals all processes reaches only these, and what is left over ends with it. The home folder is a
temporary one there. The time zone is one with daylight saving, as most users' is. Linux only.
"""

import argparse
import itertools
import json
import os
import pathlib
import random
import resource
import shutil
import signal
import statistics
import struct
import subprocess
import sys
import tempfile
import time

TOP = pathlib.Path(__file__).resolve().parent.parent.parent
PROGRAMS = ("begin", "child", "limit", "beside_threads")
RECORD = struct.Struct("<qqiiii")
BEGIN, START, END = 0, 1, 2  # The kinds in record.h.
SEARCHED = os.environ.get("PATH", "") + ":/usr/local/sbin:/usr/sbin:/sbin"
TIME_ZONE = "Europe/Berlin"
SHORT_LIFE_MS = 200
MOST_RESTARTED = 100
SETTLE_SECONDS = 2
LONGEST_SECONDS = 120  # Until all programs run.
NO_NAMESPACE = 3


# --- Who is measured


class Limit:
    def __init__(self, name, call, programs):
        self.name, self.call, self.programs = name, call, programs

    def missing(self):
        return None

    def command(self, folder, count):
        return [self.programs / "limit", self.call, str(count), self.programs / "child"]

    def pause_seconds(self, run):
        return 1

    pause_begins = END


class Launcher(Limit):
    """Its pause after the k-th run is k seconds."""

    def __init__(self, path, programs):
        super().__init__("launcher", None, programs)
        self.path = path

    def command(self, folder, count):
        items = {str(i): {"name": f"item {i}", "program": str(self.programs / "child"), "argc": 1,
                          "args": {"0": str(i)}} for i in range(count)}
        (folder / "list.json").write_text(json.dumps(items, indent=1), encoding="utf-8")
        return [self.path, "bench", folder / "list.json"]

    def pause_seconds(self, run):
        return run


class OfServiceFolders(Limit):
    """A supervisor that starts `run` in each folder of a folder, by a process of its own for each of them."""

    def __init__(self, name, program, programs, pause_begins=END):
        super().__init__(name, None, programs)
        self.program, self.pause_begins = program, pause_begins

    def missing(self):
        return None if shutil.which(self.program, path=SEARCHED) else f"{self.program} is not installed"

    def command(self, folder, count):
        services = folder / "services"
        for i in range(count):
            service = services / f"{i:05}"
            service.mkdir(parents=True)
            (service / "run").symlink_to(self.programs / "child")
        os.utime(services, (0, 0))  # One of them waits a second when the folder has just been changed.
        options = {"runsvdir": ["-P"], "s6-svscan": ["-c", str(max(500, count + 8))], "svscan": []}[self.program]
        return [shutil.which(self.program, path=SEARCHED), *options, services]


def everybody(launcher, programs):
    return [Limit("limit", "vfork", programs), Limit("limit, fork", "fork", programs), Launcher(launcher, programs),
            OfServiceFolders("runit", "runsvdir", programs), OfServiceFolders("s6", "s6-svscan", programs),
            OfServiceFolders("daemontools", "svscan", programs, pause_begins=START)]


# --- Processes


def processes():
    """The living processes of this namespace, apart from this one."""
    found = []
    for entry in os.listdir("/proc"):
        if entry.isdigit() and int(entry) != os.getpid():
            try:
                state = pathlib.Path("/proc", entry, "stat").read_text().rpartition(")")[2].split()[0]
            except OSError:
                continue  # Has ended.
            if state not in "ZX":
                found.append(int(entry))
    return found


def supervising(child):
    """The processes that are not the programs."""
    found = []
    for pid in processes():
        try:
            if os.readlink(f"/proc/{pid}/exe") != str(child):
                found.append(pid)
        except OSError:
            pass
    return found


def field(path, name):
    with open(path, encoding="ascii") as file:
        for line in file:
            if line.startswith(name + ":"):
                return int(line.split()[1])
    raise ValueError(f"{path}: has no {name}")


def cpu_ns_and_waits(pids):
    """The processor time of all threads, and how often they have gone to sleep."""
    cpu = waits = 0
    for pid in pids:
        for task in pathlib.Path(f"/proc/{pid}/task").iterdir():
            cpu += int((task / "schedstat").read_text().split()[0])
            waits += field(task / "status", "voluntary_ctxt_switches")
    return cpu, waits


def end_all():
    """Ends what this run has started. This is the first process of a namespace: "all" is what lives in there."""
    assert os.getpid() == 1
    deadline = time.monotonic() + 30
    while processes():
        try:
            os.kill(-1, signal.SIGKILL)
        except ProcessLookupError:
            pass
        reap()
        if time.monotonic() > deadline:
            raise RuntimeError(f"these processes don't end: {processes()}")
        time.sleep(0.005)
    reap()


def reap():
    try:
        while os.waitpid(-1, os.WNOHANG)[0] != 0:
            pass
    except ChildProcessError:
        pass


# --- One run


class Run:
    """One supervisor with `count` programs, from its start to the end of the `with` block."""

    def __init__(self, supervisor, count, work, life_ms=None):
        self.supervisor, self.count = supervisor, count
        self.child = supervisor.programs / "child"
        self.folder = pathlib.Path(tempfile.mkdtemp(dir=work))
        self.path = self.folder / "records"
        self.environment = {"PATH": SEARCHED, "LANG": "C.UTF-8", "TZ": TIME_ZONE, "BENCH_RECORDS": str(self.path)}
        if life_ms is not None:
            self.environment["BENCH_LIFE_MS"] = str(life_ms)

    def __enter__(self):
        self.path.touch()
        command = self.supervisor.command(self.folder, self.count)
        with open(self.folder / "output", "wb") as output:
            subprocess.Popen([self.supervisor.programs / "begin", *command], env=self.environment, cwd=self.folder,
                             stdin=subprocess.DEVNULL, stdout=output, stderr=output)
        deadline = time.monotonic() + LONGEST_SECONDS
        while len(self.first_starts()) < self.count:
            if time.monotonic() > deadline:
                said = (self.folder / "output").read_text(errors="replace")[-400:]
                end_all()
                raise RuntimeError(f"{self.supervisor.name}: not all of {self.count} programs run: {said}")
            time.sleep(0.003)
            # A look at the length costs less than one at the records.
            while os.stat(self.path).st_size < RECORD.size * (self.count + 1) and time.monotonic() <= deadline:
                time.sleep(0.003)
        return self

    def __exit__(self, *_):
        end_all()
        shutil.rmtree(self.folder)

    def records(self):
        """(moment, cpu, id, pid, kind) of each event."""
        data = self.path.read_bytes()
        return [record[:5] for record in RECORD.iter_unpack(data[:len(data) // RECORD.size * RECORD.size])]

    def first_starts(self):
        first = {}
        for moment, cpu, ident, _, kind in self.records():
            if kind == START:
                first.setdefault(ident, (moment, cpu))
        return first

    def wall_and_cpu_us(self):
        """The whole start, and what one program took of the processors."""
        begin = next(moment for moment, _, _, _, kind in self.records() if kind == BEGIN)
        starts = self.first_starts().values()
        wall = max(moment for moment, _ in starts) - begin
        cpu = (cpu_ns_and_waits(supervising(self.child))[0] + sum(cpu for _, cpu in starts)) / self.count
        return wall / 1e3, cpu / 1e3

    def late_ms(self):
        """How much too late each restart so far has come."""
        runs = {}
        for moment, _, ident, pid, kind in self.records():
            if kind != BEGIN:
                runs.setdefault(ident, {}).setdefault(pid, {})[kind] = moment
        late = []
        for by_pid in runs.values():
            for number, (run, following) in enumerate(zip(list(by_pid.values()), list(by_pid.values())[1:]), 1):
                pause = self.supervisor.pause_seconds(number)
                late.append((following[START] - run[self.supervisor.pause_begins]) / 1e6 - 1000 * pause)
        return late


def start(supervisor, count, work):
    with Run(supervisor, count, work) as run:
        time.sleep(0.2)  # Until the supervisor has nothing to do any more.
        return run.wall_and_cpu_us()


def steady(supervisor, count, work, seconds):
    """Own KiB for each program, and wake-ups per second."""
    with Run(supervisor, count, work) as run:
        time.sleep(SETTLE_SECONDS)
        reap()
        pids = supervising(run.child)
        own = sum(field(f"/proc/{pid}/smaps_rollup", "Private_Dirty") for pid in pids)
        begin, before = time.monotonic(), cpu_ns_and_waits(pids)[1]
        time.sleep(seconds)
        waits = cpu_ns_and_waits(pids)[1] - before
        return own / count, waits / (time.monotonic() - begin)


def restarts(supervisor, count, work, seconds):
    with Run(supervisor, count, work, life_ms=SHORT_LIFE_MS) as run:
        time.sleep(seconds)
        deadline = time.monotonic() + LONGEST_SECONDS
        while not run.late_ms() and time.monotonic() < deadline:  # None so far: a busy machine, or little time.
            time.sleep(0.1)
        late = sorted(run.late_ms())
    return (statistics.median(late), late[min(len(late) - 1, len(late) * 99 // 100)]) if late else None


# --- The table


def medians(rounds):
    """Of a program's rounds, each of which is (wall, cpu, limit's wall, limit's cpu, forking limit's wall)."""
    return [statistics.median(values) for values in zip(*(
        (wall, cpu, wall / limit_wall, cpu / limit_cpu, wall / fork_wall)
        for wall, cpu, limit_wall, limit_cpu, fork_wall in rounds))]


def rows(count, supervisors, work, options):
    rounds = {supervisor.name: [] for supervisor in supervisors}
    for _ in range(options.rounds if count <= 100 else max(1, options.rounds // 3)):
        times = {s.name: start(s, count, work) for s in random.sample(supervisors, len(supervisors))}
        for name, (wall, cpu) in times.items():
            rounds[name].append((wall, cpu, *times["limit"], times["limit, fork"][0]))
    for supervisor in supervisors:
        wall, cpu, wall_ratio, cpu_ratio, fork_ratio = medians(rounds[supervisor.name])
        own, wakes = steady(supervisor, count, work, options.seconds)
        late = restarts(supervisor, count, work, options.seconds * 2) if count <= MOST_RESTARTED else None
        yield (str(count), supervisor.name, f"{wall / 1e3:.1f}", f"{wall_ratio:.2f}", f"{fork_ratio:.2f}",
               f"{cpu:.0f}", f"{cpu_ratio:.2f}", f"{own:.1f}", f"{wakes:.1f}",
               f"{late[0]:.1f}" if late else "-", f"{late[1]:.1f}" if late else "-")


def beside_threads(programs, count):
    done = subprocess.run([programs / "beside_threads", str(count)], check=True, capture_output=True, text=True)
    return done.stdout.split()


START_TABLE = ("N", "who", "wall ms", "x limit", "x limit, fork", "CPU us", "x limit", "own KiB", "wake-ups/s",
               "late ms", "99 %")
THREADS_TABLE = ("threads", "one more thread, us", "a fork, us", "its child's CPU, us")


def show(report, heading, table):
    """Prints each row as it comes, in the form that documents use too."""
    for row in itertools.chain([heading, ["---:"] * len(heading)], table):
        line = "| " + " | ".join(row) + " |"
        print(line, flush=True)
        report.write(line + "\n")
    print()
    report.write("\n")


def measure(options):
    """Runs as the first process of the namespace."""
    work = options.inside
    home = work / "home"
    home.mkdir()
    users = [line.split(":") for line in pathlib.Path("/etc/passwd").read_text(encoding="utf-8").splitlines()]
    for user in users:
        if len(user) > 5 and user[2] == str(os.getuid()):
            user[5] = str(home)
    (work / "passwd").write_text("".join(":".join(user) + "\n" for user in users), encoding="utf-8")
    subprocess.run(["mount", "--bind", work / "passwd", "/etc/passwd"], check=True)
    most_files = resource.getrlimit(resource.RLIMIT_NOFILE)[1]
    resource.setrlimit(resource.RLIMIT_NOFILE, (most_files, most_files))

    supervisors = []
    for supervisor in everybody(options.launcher, options.programs):
        if supervisor.missing():
            print(f"{supervisor.name} is left out: {supervisor.missing()}")
        else:
            supervisors.append(supervisor)
    with open(work / "report", "w", encoding="utf-8") as report:
        show(report, START_TABLE, (row for count in options.sizes for row in rows(count, supervisors, work, options)))
        show(report, THREADS_TABLE, ((str(count), *beside_threads(options.programs, count)) for count in options.sizes))


def compile_programs(folder):
    for program in PROGRAMS:
        subprocess.run([os.environ.get("CXX", "c++"), "-std=c++17", "-O2", "-static", "-Wall", "-Wextra", "-Werror",
                        "-I", TOP, "-o", folder / program, TOP / f"bench/start/{program}.cpp", "-pthread"], check=True)
    os.sync()  # What is not on the disk yet counts as the memory of whoever has loaded it.


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--launcher", type=pathlib.Path, required=True)
    parser.add_argument("--out", type=pathlib.Path, required=True)
    parser.add_argument("--sizes", type=lambda text: [int(size) for size in text.split(",")], default="10,20,100,1000")
    parser.add_argument("--rounds", type=int, default=15, help="a third of that for more than 100 programs")
    parser.add_argument("--seconds", type=float, default=4, help="of idling, and twice as many of restarts")
    parser.add_argument("--inside", type=pathlib.Path, help=argparse.SUPPRESS)
    parser.add_argument("--programs", type=pathlib.Path, help=argparse.SUPPRESS)
    options = parser.parse_args()
    if options.inside is not None:
        measure(options)
        return 0

    options.launcher = options.launcher.resolve()
    namespace = ["unshare", "--pid", "--fork", "--mount-proc", "--kill-child"]
    if os.getuid() != 0:
        namespace[1:1] = ["--user", "--map-root-user"]
    if subprocess.run([*namespace, "true"], check=False, stderr=subprocess.DEVNULL).returncode != 0:
        print("measure.py: takes a PID namespace of its own, which is not allowed here", file=sys.stderr)
        return NO_NAMESPACE
    # Lists, records and logs are in memory where there is such a folder, because a disk's time is not to count. The
    # programs are not: the memory of a program that lies in memory would count as its own.
    memory = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None
    with tempfile.TemporaryDirectory() as programs, tempfile.TemporaryDirectory(dir=memory) as folder:
        compile_programs(pathlib.Path(programs))
        done = subprocess.run([*namespace, sys.executable, __file__, *sys.argv[1:], "--launcher", options.launcher,
                               "--inside", folder, "--programs", programs], check=False, start_new_session=True)
        if done.returncode == 0:
            shutil.copy(pathlib.Path(folder, "report"), options.out)
        return done.returncode


if __name__ == "__main__":
    sys.exit(main())
