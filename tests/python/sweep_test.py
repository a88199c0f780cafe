"""Sweeps: the table of runs as a DataFrame, and the results of a run.

    sweep_test.py WRITE_EXAMPLE
"""

from __future__ import annotations

import os
import subprocess
import sys
import tempfile
import unittest

from qat_fixture import need, vtio

WRITE_EXAMPLE = sys.argv.pop()


@need("pandas")
class SweepTest(unittest.TestCase):
    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.path = os.path.join(folder.name, "sweep.qat")
        subprocess.run([WRITE_EXAMPLE, "--sweep", self.path], check=True)
        self.sweep = vtio.open(self.path)
        self.addCleanup(self.sweep.close)

    def test_runs_are_a_table(self) -> None:
        runs = self.sweep.runs
        self.assertEqual(list(runs.columns),
                         ["stiffness", "material", "status", "message", "seconds", "lastTime", "s0"])
        self.assertEqual(list(runs.index), [0, 1, 2, 3])
        self.assertEqual(runs.index.name, "run")
        self.assertEqual(list(runs["material"]), ["oak", "fir", "oak", "fir"])
        self.assertEqual(list(runs.query("stiffness > 2 and status == 'done'").index), [2])
        self.assertEqual(list(runs["s0"][:3]), [10, 11, 12])
        self.assertTrue(runs["lastTime"].isna()[3])
        self.assertEqual(runs["stiffness"].dtype, float)

    def test_a_run_is_a_results_file(self) -> None:
        with self.sweep.run(self.sweep.runs.index[1]) as run:
            self.assertEqual(run["s0"].values[0], 11)
            self.assertEqual(run.names, ["s0", "s1"])

    def test_runs_that_are_not_there(self) -> None:
        for number in (-1, 4):
            with self.assertRaisesRegex(IndexError, f"no run {number}: the sweep has runs 0 to 3"):
                self.sweep.run(number)
        with self.assertRaises(FileNotFoundError):
            self.sweep.run(3)
        with self.sweep.run(0) as run:
            with self.assertRaisesRegex(vtio.QatError, "no sweep"):
                run.runs
            with self.assertRaisesRegex(vtio.QatError, "no sweep"):
                run.run(0)


if __name__ == "__main__":
    unittest.main()
