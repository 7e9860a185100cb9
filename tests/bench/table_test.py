"""Tests bench/table.py."""

import json
import os
import subprocess
import sys
import tempfile
import unittest

TABLE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "bench", "table.py")


def run(name, cpu_time, **others):
    return {"name": name + "_median", "run_name": name, "aggregate_name": "median", "threads": 1, "cpu_time": cpu_time,
            "real_time": 1000.0, "time_unit": "ns", **others}


def table(*reports):
    """The finished program, run on one file a report."""
    with tempfile.TemporaryDirectory() as folder:
        paths = []
        for number, runs in enumerate(reports):
            paths.append(os.path.join(folder, f"{number}.json"))
            with open(paths[-1], "w", encoding="utf-8") as file:
                json.dump({"benchmarks": runs}, file)
        return subprocess.run([sys.executable, TABLE, *paths], capture_output=True, text=True, check=False)


def cells(line):
    return [cell.strip() for cell in line.split("  ") if cell.strip()]


class TableTest(unittest.TestCase):
    def test_gives_the_ratio_of_the_medians(self):
        done = table([run("join/3 items/ours", 300.0), run("join/3 items/absl::StrJoin", 200.0),
                      run("join/3 items/ours", 999.0, aggregate_name="mean")])
        self.assertEqual(done.returncode, 0)
        self.assertEqual(cells(done.stdout.splitlines()[1]),
                         ["join", "3 items", "300 ns", "200 ns", "absl::StrJoin", "1.50"])

    def test_takes_the_units_into_account(self):
        done = table([run("f/x/ours", 2.0, time_unit="ms"), run("f/x/peer", 500.0, time_unit="us")])
        self.assertEqual(cells(done.stdout.splitlines()[1]), ["f", "x", "2 ms", "500 us", "peer", "4.00"])

    def test_keeps_slashes_of_the_input(self):
        done = table([run("f/0/args/1/ours", 1.0), run("f/0/args/1/peer", 1.0)])
        self.assertEqual(cells(done.stdout.splitlines()[1])[1], "0/args/1")

    def test_gives_each_peer_a_row(self):
        done = table([run("f/x/ours", 6.0), run("f/x/a", 3.0)], [run("f/x/b", 2.0)])
        self.assertEqual([cells(line)[4:] for line in done.stdout.splitlines()[1:]], [["a", "2.00"], ["b", "3.00"]])

    def test_compares_real_time_where_it_was_measured_and_the_cpu_time_behind_it(self):
        done = table([run("f/x/ours/real_time/threads:2", 2.0, real_time=30.0, threads=2),
                      run("f/x/peer/real_time/threads:2", 1.0, real_time=20.0, threads=2)])
        self.assertEqual([cells(line) for line in done.stdout.splitlines()[1:]],
                         [["f", "x, 2 threads", "30 ns", "20 ns", "peer", "1.50"],
                          ["f", "x, 2 threads, CPU", "2 ns", "1 ns", "peer", "2.00"]])

    def test_refuses_half_a_pair(self):
        for lonely in ("ours", "peer"):
            done = table([run("f/x/" + lonely, 1.0)])
            self.assertEqual(done.returncode, 1)
            self.assertIn("f/x: has only " + lonely, done.stderr)

    def test_refuses_a_benchmark_that_failed(self):
        done = table([run("f/x/ours", 1.0, error_occurred=True, error_message="no logger")])
        self.assertEqual(done.returncode, 1)
        self.assertIn("no logger", done.stderr)


if __name__ == "__main__":
    unittest.main()
