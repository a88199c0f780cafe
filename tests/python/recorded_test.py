"""Files that the recorders wrote: what the package reads equals what the library of this project reads.

recorded_test.py WRITE_SIGNALS: that program writes the file it is told and prints what it reads back.
"""

import json
import subprocess
import sys
import unittest

import numpy as np
from qat_fixture import QatTest, need, vtio

CELL, LOGICAL, DOUBLE, SINGLE = 1, 3, 6, 7


def array_of(leaf):
    """The values as the library gives them, the sample first."""
    dims, data = leaf["dims"], leaf["data"]
    if leaf["class"] == CELL:
        values = np.array([as_text(text) for text in data], dtype=object)
    elif leaf["complex"]:
        parts = np.array(data, dtype=float)
        values = parts[0::2] + 1j * parts[1::2]
    else:
        values = np.array(data, dtype=float if leaf["class"] in (DOUBLE,
            SINGLE) else object)  # whole numbers stay exact
    values = values.reshape(dims, order="F")
    return values.reshape(dims[:1]) if dims[1:] == [1] else values


def as_text(units):
    """Joins surrogates that stand in pairs."""
    return units.encode("utf-16-le", "surrogatepass").decode("utf-16-le", "surrogatepass")


class Recorded(QatTest):
    def setUp(self):
        super().setUp()
        run = subprocess.run([PROGRAM, self.path()], check=True, capture_output=True, text=True)
        self.leaves = [json.loads(line) for line in run.stdout.splitlines()]
        self.r = self.open()

    def test_signals_are_those_of_the_datasets(self):
        names = {}
        for leaf in self.leaves:
            names.setdefault(leaf["name"], []).append(leaf)
        expected = [name if k == 1 else f"{name}#{k}" for name, same in names.items() for k in range(1, len(same) + 1)]
        self.assertEqual(sorted(self.r.names), sorted(expected))
        self.assertGreater(len(expected), 35)

    def test_samples_and_units(self):
        seen = {}
        for leaf in self.leaves:
            seen[leaf["name"]] = seen.get(leaf["name"], 0) + 1
            name = leaf["name"] if seen[leaf["name"]] == 1 else f"{leaf['name']}#{seen[leaf['name']]}"
            with self.subTest(name):
                signal = self.r[name]
                raw = signal.raw
                if raw.dtype.names:
                    raw = raw["r"] + 1j * raw["i"]
                expected = array_of(leaf)
                self.assertEqual(raw.shape, expected.shape)
                np.testing.assert_array_equal(raw.astype(expected.dtype), expected)
                self.same(signal.time, np.array(leaf["time"], dtype=float))
                self.assertEqual(signal.unit, leaf["unit"])
                self.assertEqual(signal.is_complex, leaf["complex"])
                self.assertEqual(signal.raw.dtype.kind == "b", leaf["class"] == LOGICAL)

    def test_what_the_elements_say(self):
        double, inner = self.r["double"], self.r["single"]
        self.assertEqual((double.dataset, double.element, double.interpolation), ("logsout", "double", "linear"))
        self.assertEqual(double.block_path, ["top/Model"])
        self.assertEqual(inner.block_path, ["top/Model", "inner/Block"])
        self.assertEqual((double.decimation, double.start_date, double.port), (1, "today", 1))
        self.assertEqual(self.r["every third"].decimation, 3)
        self.assertEqual(self.r["newest"].max_points, 3)
        self.assertEqual(self.r["bus.in.x_2"].element, "bus")
        self.assertEqual(self.r["bus.in.x_2"].interpolation, "zoh")

    def test_every_signal_is_described(self):
        for name, signal in self.r.items():
            self.assertEqual(signal.dataset, "logsout", name)

    def test_special_leaves(self):
        mode = self.r["mode"]
        self.assertEqual((mode.type, mode.enumeration), ("Mode", {"Off": -1, "Idle": 0, "\u00d6n": 5}))
        self.assertEqual(mode.labels().tolist(), ["Off", "Idle", "1", "2", "3", "4", "\u00d6n"])
        slope = 1.25 / 128
        self.same(self.r["fixed 12"].values, -100 * np.arange(7) * slope + 3.5)
        self.same(self.r["fixed 100"].values, -np.arange(7) * slope + 3.5)
        self.same(self.r["fixed complex"].values, 200 * slope + 3.5 + 1j * np.arange(7) * slope)
        when = self.r["when"]
        self.assertEqual((when.time_zone, when.format), ("UTC", "yyyy-MM-dd"))
        self.assertEqual(self.r["text"].values.tolist(), ["", "a", "\u00e9", "\U0001f600", "a\ud83d", "a", "\nb"])
        self.assertEqual(self.r["structures.b"].dimensions, (3, 2))
        self.same(self.r["repeated"].at([0, 0.05, 0.1]), [20, 25, 50])

    @need("pandas")
    def test_dataframe_has_all_samples(self):
        frame = self.r.dataframe()
        self.assertEqual(len(frame), 11)  # seven times, of which `repeated` has 0 and 0.1 three times
        for name, signal in self.r.items():
            columns = [column for column in frame if column == name or column.startswith((name + "[", name + "."))]
            if name.startswith("bus") or signal.is_complex or not columns:
                continue  # their columns begin like those of others, or are two for a value
            samples = signal.values.ravel()
            self.assertEqual(frame[columns].notna().to_numpy().sum(), sum(value == value for value in samples), name)


if __name__ == "__main__":
    PROGRAM = sys.argv.pop(1)
    unittest.main()
