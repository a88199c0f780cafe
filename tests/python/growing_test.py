"""Files that are being written, that a killed program left, and results whose samples stand in a streamed file."""

import os
import shutil
import signal as signals
import struct
import subprocess
import sys
import unittest

import h5py
import numpy as np
from qat_fixture import CELL, Leaf, QatTest, QatWriter, vtio


READER = """
import sys
sys.path.insert(0, sys.argv[2])
import vtio
r = vtio.open(sys.argv[1])
print("open", flush=True)
for line in sys.stdin:
    try:
        print(repr(eval(line)), flush=True)
    except Exception as error:
        print(f"{type(error).__name__}: {error}", flush=True)
"""


class Reader:
    """Another process that has a file open with the package."""

    def __init__(self, path):
        python = os.path.join(os.path.dirname(__file__), "..", "..", "python")
        self._process = subprocess.Popen([sys.executable, "-c", READER, path, python], stdin=subprocess.PIPE,
                                         stdout=subprocess.PIPE, text=True)
        assert self._process.stdout.readline() == "open\n"

    def __call__(self, expression):
        self._process.stdin.write(expression + "\n")
        self._process.stdin.flush()
        return self._process.stdout.readline().rstrip("\n")

    def close(self):
        self._process.stdin.close()
        self._process.stdout.close()
        self._process.wait()


class Live(QatTest):
    """A reader in another process beside a writer in this one."""

    def start(self, leaves=None):
        self.writer = QatWriter(self.path())
        self.addCleanup(self.writer.close)
        self.writer.table(0, [], leaves or [Leaf("x", np.empty(0)), Leaf("y", np.empty(0))], growing=True)
        self.writer.strays()
        self.writer.describe()
        self.writer.file.flush()
        self.writer.file.swmr_mode = True

    def reader(self):
        reader = Reader(self.path())
        self.addCleanup(reader.close)
        return reader

    def test_new_rows_are_seen_after_refresh(self):
        self.start()
        self.writer.append(0, [0, 1], "double", [[1, 10], [2, 20]])
        ask = self.reader()
        self.assertEqual(ask("r['y'].values.tolist(), r.complete, r['x'].interpolation"),
            "([10.0, 20.0], False, 'linear')")
        self.writer.append(0, [2], "double", [[3, 30]])
        self.assertEqual(ask("len(r['y'])"), "2")
        self.assertEqual(ask("r.refresh()"), "None")
        self.assertEqual(ask("r['y'].values.tolist(), r['x'].time.tolist(), len(r['y'][1:])"),
            "([10.0, 20.0, 30.0], [0.0, 1.0, 2.0], 2)")

    def test_rows_beyond_the_valid_ones_are_not_taken(self):
        self.start()
        self.writer.append(0, [0, 1, 2], "double", [[1, 1], [2, 2], [3, 3]])
        self.writer.file["qat.samples/0/rows"][...] = [2, 1]
        self.writer.file.flush()
        self.assertEqual(self.reader()("r['x'].values.tolist(), r['y'].values.tolist()"), "([1.0, 2.0], [1.0])")

    def test_step_back(self):
        self.start()
        self.writer.append(0, [0, 1, 2], "double", [[1, 1], [2, 2], [3, 3]])
        ask = self.reader()
        self.writer.append(0, [1.5], "double", [[9, 9]], keep=1)
        self.assertEqual(ask("r.refresh(), r['x'].time.tolist(), r['x'].values.tolist()"),
            "(None, [0.0, 1.5], [1.0, 9.0])")

    def test_strays_are_merged_by_time(self):
        self.start()
        self.writer.append(0, [0, 2, 4], "double", [[0, 0], [2, 2], [4, 4]])
        ask = self.reader()
        for when, value in ((3, 30), (1, 10), (4, 40), (9, 90)):
            self.writer.stray(0, 1, when, struct.pack("<d", value))
        self.assertEqual(ask("len(r['y'])"), "3")
        ask("r.refresh()")
        self.assertEqual(ask("r['y'].time.tolist()"), "[0.0, 1.0, 2.0, 3.0, 4.0, 4.0, 9.0]")
        self.assertEqual(ask("r['y'].values.tolist()"), "[0.0, 10.0, 2.0, 30.0, 4.0, 40.0, 90.0]")
        self.assertEqual(ask("r['y'][1:6:2].values.tolist(), r['y'][::-2].values.tolist()"),
                         "([10.0, 30.0, 40.0], [90.0, 4.0, 2.0, 0.0])")
        self.assertEqual(ask("r['x'].values.tolist(), float(r['y'].at(0.5))"), "([0.0, 2.0, 4.0], 5.0)")

    def test_strays_that_a_step_back_took_are_gone(self):
        self.start()
        for when in (1, 2):
            self.writer.stray(0, 0, when, struct.pack("<d", when))
        ask = self.reader()
        self.assertEqual(ask("r['x'].values.tolist()"), "[1.0, 2.0]")
        self.writer.file["qat.strays/rows"][0] = 1
        self.writer.file.flush()
        self.assertEqual(ask("r.refresh(), r['x'].values.tolist()"), "(None, [1.0])")

    def test_strays_of_matrices_texts_and_complex_values(self):
        self.start([Leaf("m", np.empty((0, 2, 2)), "int16"), Leaf("c", np.empty(0), "single.complex")])
        self.writer.stray(0, 0, 1, struct.pack("<4h", 1, 2, 3, 4))
        self.writer.stray(0, 1, 1, struct.pack("<2f", 1, 2))
        ask = self.reader()
        self.assertEqual(ask("r['m'].values.tolist(), r['c'].values.tolist()"), "([[[1, 2], [3, 4]]], [(1+2j)])")

    def ring(self, leaf, size, capacity=5):
        self.writer = QatWriter(self.path())
        self.addCleanup(self.writer.close)
        self.writer.table(0, [], [Leaf("x", np.empty(0))], growing=True)
        self.writer.table(1, np.arange(len(leaf.values)), [leaf])
        self.writer.strays()
        self.writer.ring(1, 0, size, capacity)
        self.writer.describe()
        self.writer.file.flush()
        self.writer.file.swmr_mode = True

    def test_newest_samples_of_a_signal_with_a_limit(self):
        self.ring(Leaf("few", np.array([7.0])), 8)
        ask = self.reader()
        self.assertEqual(ask("r['few'].values.tolist()"), "[7.0]")
        self.writer.put(0, {n: (n / 10, struct.pack("<d", n)) for n in range(4)})
        self.assertEqual(ask("r.refresh(), len(r['few']), r['few'].values.tolist(), r['few'].time.tolist()"),
                         "(None, 4, [0.0, 1.0, 2.0, 3.0], [0.0, 0.1, 0.2, 0.3])")
        self.writer.put(3, {n: (n / 10, struct.pack("<d", n)) for n in range(4, 7)})
        self.assertEqual(ask("r.refresh(), r['few'].values.tolist(), r['few'][1:3].time.tolist(), len(r['x'])"),
                         "(None, [3.0, 4.0, 5.0, 6.0], [0.4, 0.5], 0)")
        self.assertEqual(ask("r.complete"), "False")

    def test_newest_texts(self):
        self.ring(Leaf("few", np.array([], object), "text"), 12)
        texts = self.writer.file["qat.rings/0/texts"]
        texts.resize(10, 0)
        texts[...] = np.frombuffer(b"onetwothre", "u1")
        cells = [np.array([cell], CELL).tobytes() for cell in ((0, 3), (3, 3), (0, 0))]
        self.writer.put(8, {8 + n: (n, cell) for n, cell in enumerate(cells)})
        self.assertEqual(self.reader()("r['few'].values.tolist()"), "['one', 'two', '']")

    def test_nonsense_in_a_ring(self):
        self.ring(Leaf("few", np.array([7.0])), 8)
        self.writer.put(0, {0: (0, struct.pack("<d", 1))})
        ask = self.reader()
        for numbers in ([0, 6], [3, 2], [0, 2**64 - 1], [1, 0]):
            self.writer.file["qat.rings/0/rows"][...] = np.array(numbers, "<u8")
            self.writer.file.flush()
            self.assertRegex(ask("r.refresh() or r['few'].values"), "QatError: .*a leaf without a place, qat.rings/0")

    def test_signal_that_came_late(self):
        self.start()
        self.writer.append(0, [0], "double", [[0, 0]])
        ask = self.reader()
        self.writer.late(0, name="late", unit="V", dims="2", **{"class": "int8"}, column=2,
                         element={"Name": "late", "BlockPath": ["a", "b"]}, leaf={"Interpolation": "zoh"})
        self.writer.stray(0, 2, 5, struct.pack("2b", 3, 4))
        self.writer.late(0, name="text", **{"class": "text"})
        at = len(self.writer.file["qat.strays/bytes"])
        text = np.array([(at + 12, 3)], CELL).tobytes() + b"abc"
        self.writer.file["qat.strays/bytes"].resize(at + 15, 0)
        self.writer.file["qat.strays/bytes"][at:] = np.frombuffer(text, "u1")
        self.writer.stray(0, 3, 6, np.array([(at + 12, 3)], CELL).tobytes())
        self.assertEqual(ask("r.names"), "['x', 'y']")
        ask("r.refresh()")
        self.assertEqual(ask("r.names"), "['x', 'y', 'late', 'text']")
        self.assertEqual(ask("r['late'].values.tolist(), r['late'].time.tolist(), r['late'].unit"),
            "([[3, 4]], [5.0], 'V')")
        self.assertEqual(ask("r['late'].interpolation, r['late'].block_path, r['x'].interpolation"),
            "('zoh', ['a', 'b'], 'linear')")
        self.assertEqual(ask("r['text'].values.tolist(), r['text'].time.tolist()"), "(['abc'], [6.0])")

    def test_closed_by_the_writer_meanwhile(self):
        self.start()
        self.writer.append(0, [0, 1], "double", [[1, 1], [2, 2]])
        ask = self.reader()
        self.assertEqual(ask("r.complete"), "False")
        self.writer.close()
        with h5py.File(self.path(), "r+") as file:  # what closing a streamed file does
            records = file["qat.samples/0/columns"][()]
            records["count"] = 2
            file["qat.samples/0/columns"][...] = records
            del file["qat.samples/0/rows"], file["qat.strays"]
        self.assertEqual(ask("r.refresh(), r.complete, r['x'].values.tolist()"), "(None, True, [1.0, 2.0])")

    def test_replaced_by_another_file(self):
        self.start()
        ask = self.reader()
        ask("globals().update(s=r['x'])")
        with QatWriter(self.path("next.qat")) as writer:
            writer.table(0, [0], [Leaf("other", [5])])
        os.replace(self.path("next.qat"), self.path())
        self.assertEqual(ask("r.refresh(), r.names, r['other'].values.tolist()"), "(None, ['other'], [5.0])")
        self.assertRegex(ask("s.values"), "SignalNotFoundError: .*no signal 'x' any more")

    def test_replaced_by_something_else_leaves_what_was_open(self):
        self.start()
        self.writer.append(0, [0], "double", [[1, 1]])
        ask = self.reader()
        with open(self.path("next.qat"), "w") as file:
            file.write("no results")
        os.replace(self.path("next.qat"), self.path())
        self.assertRegex(ask("r.refresh()"), "QatError: .*not a Qat file")
        self.assertEqual(ask("r['x'].values.tolist()"), "[1.0]")

    def test_attached_reader_does_not_keep_the_writer_from_opening_again(self):
        self.start()
        ask = self.reader()
        self.assertEqual(ask("r.names"), "['x', 'y']")
        self.writer.close()
        h5py.File(self.path(), "r+").close()

    def test_nonsense_in_strays(self):
        self.start()
        self.writer.stray(0, 0, 1, b"123")
        self.assertRegex(self.reader()("r['x'].values"),
            "QatError: .*a stray of 'x' that does not have 8 bytes, qat.strays")

    def test_nonsense_about_a_late_signal(self):
        self.start()
        ask = self.reader()
        self.assertEqual(ask("len(r)"), "2")
        self.writer.stray(0, 0xFFFFFFFF, 0, b"{]")
        self.assertRegex(ask("r.refresh()"), "QatError: .*the description of a signal")


WRITER = """
import os, sys
sys.path.insert(0, sys.argv[2])
from qat_fixture import QatWriter, Leaf
writer = QatWriter(sys.argv[1])
writer.table(0, [0.0, 1.0], [Leaf("x", [5.0, 6.0])], growing=True)
writer.file["qat.samples/0/rows"][...] = 2
writer.file.flush()
if sys.argv[3] == "swmr":
    writer.file.swmr_mode = True
print("ready", flush=True)
sys.stdin.read()
"""


class Killed(QatTest):
    def killed(self, mode):
        program = [sys.executable, "-c", WRITER, self.path(), os.path.dirname(__file__), mode]
        with subprocess.Popen(program, stdin=subprocess.PIPE, stdout=subprocess.PIPE) as writer:
            self.assertEqual(writer.stdout.readline(), b"ready\n")
            writer.send_signal(signals.SIGKILL)
        with open(self.path(), "rb") as file:
            before = file.read()
        self.assertEqual(before[11] & 1, 1)
        results = self.open()
        self.same(results["x"].values, [5, 6])
        self.assertFalse(results.complete)
        with open(self.path(), "rb") as file:
            self.assertEqual(file.read(), before)

    def test_while_it_streamed(self):
        self.killed("swmr")

    def test_before_it_streamed(self):
        self.killed("plain")

    def test_writer_that_does_not_stream_and_still_runs(self):
        with QatWriter(self.path()) as writer:
            writer.file.flush()
            program = [sys.executable, "-c", READER, self.path(), os.path.join(os.path.dirname(__file__), "..", "..",
                "python")]
            run = subprocess.run(program, capture_output=True, text=True)
        self.assertRegex(run.stderr, "QatError: .*cannot be opened .another program is writing it")


class BesideAStreamedFile(QatTest):
    def setUp(self):
        super().setUp()
        with QatWriter(self.path("signals.qat")) as writer:
            writer.table(0, [0, 1], [Leaf("x", [1, 2])])
            writer.table(2, [5], [Leaf("y", [7])])
        with QatWriter(self.path()) as writer:
            for number, leaf in ((0, Leaf("x", [])), (2, Leaf("y", []))):
                writer.elements.append((number, 0, leaf))
                writer.file[f"qat.samples/{number}"] = h5py.ExternalLink("signals.qat", f"/qat.samples/{number}")
            writer.table(3, [9], [Leaf("own", [9])])
            writer.describe()

    def test_samples_come_from_there(self):
        results = self.open()
        self.assertEqual(results.names, ["x", "y", "own"])
        self.same(results["x"].values, [1, 2])
        self.same(results["y"].values, [7])
        self.same(results["own"].values, [9])
        self.assertEqual(results["y"].interpolation, "linear")
        self.assertTrue(results.complete)

    def test_both_moved_together(self):
        os.mkdir(self.path("there"))
        for name in ("signals.qat", "results.qat"):
            shutil.move(self.path(name), self.path("there"))
        self.same(self.open("there/results.qat")["x"].values, [1, 2])

    def test_file_that_is_no_qat_file(self):
        h5py.File(self.path("signals.qat"), "w").close()
        with self.assertRaisesRegex(vtio.QatError, "signals.qat: not a Qat file"):
            self.open()


if __name__ == "__main__":
    unittest.main()
