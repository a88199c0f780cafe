"""Opening files: what is no Qat file, other versions, damaged and hostile ones; patterns and near names."""

import os
import unittest

import h5py
import numpy as np
from qat_fixture import CELL, Leaf, QatTest, QatWriter, vtio


class Opening(QatTest):
    def refused(self, pattern, name="results.qat"):
        with self.assertRaisesRegex(vtio.QatError, pattern) as caught:
            self.open(name)
        self.assertTrue(str(caught.exception).startswith(self.path(name) + ": "), caught.exception)

    def test_missing_file_and_folder(self):
        self.assertRaises(FileNotFoundError, self.open)
        self.assertRaises(IsADirectoryError, self.open, "")

    def test_no_hdf5(self):
        for content in (b"", b"text", b"\x89HDF"):
            with open(self.path(), "wb") as file:
                file.write(content)
            self.refused("not a Qat file .it is no HDF5 file")

    def test_cut_short(self):
        QatWriter(self.path()).close()
        os.truncate(self.path(), 100)
        self.refused("cannot be opened .*truncated")

    def test_other_hdf5_file(self):
        h5py.File(self.path(), "w").close()
        self.refused('not a Qat file .an HDF5 file without the attribute qat.format = "qat"')

    def test_other_versions(self):
        for version in (np.uint32(1), np.uint32(3), "2", np.array([2, 2])):
            QatWriter(self.path(), version=version).close()
            self.refused(r"a Qat file of version .*; this package reads version 2")

    def test_without_signals(self):
        QatWriter(self.path()).close()
        results = self.open()
        self.assertEqual((results.names, len(results), results.complete), ([], 0, True))

    def test_path_objects_and_closing(self):
        import pathlib

        QatWriter(self.path()).close()
        with vtio.open(pathlib.Path(self.path())) as results:
            self.assertEqual(results.path, self.path())
        self.assertIn("closed", repr(results))
        results.close()
        with self.assertRaisesRegex(vtio.QatError, "was closed"):
            results.names

    def test_file_and_its_times_stay_as_they_are(self):
        with QatWriter(self.path()) as writer:
            writer.table(0, [0], [Leaf("x", [1])])
        os.chmod(self.path(), 0o444)
        before = os.stat(self.path()).st_mtime_ns, self.bytes()
        self.open()["x"].values
        self.assertEqual((os.stat(self.path()).st_mtime_ns, self.bytes()), before)

    def bytes(self):
        with open(self.path(), "rb") as file:
            return file.read()


class Damaged(QatTest):
    """Sound HDF5 with nonsense in it."""

    def broken(self, change, pattern, leaves=(Leaf("x", [1, 2]), Leaf("t", ["a", "b"], "text"))):
        with QatWriter(self.path()) as writer:
            writer.table(0, [0, 1], leaves)
            writer.describe()
            change(writer.file)
        with self.assertRaisesRegex(vtio.QatError, pattern) as caught:
            with vtio.open(self.path()) as results:
                for signal in results.values():
                    signal.time, signal.values, signal.interpolation
        self.assertTrue(str(caught.exception).startswith(self.path()), caught.exception)

    def record(self, **fields):
        def change(file):
            records = file["qat.samples/0/columns"][()]
            for field, value in fields.items():
                records[field][0] = value
            file["qat.samples/0/columns"][...] = records
        return change

    def replace(self, name, value, **options):
        def change(file):
            del file[name]
            file.create_dataset(name, data=value, **options)
        return change

    def test_records(self):
        self.broken(self.record(**{"class": b"quad"}), "class 'quad', dims '', qat.samples/0, column 'x'")
        self.broken(self.record(**{"class": b"logical.complex"}), "class 'logical.complex'")
        self.broken(self.record(dims=b"2x"), "dims '2x'")
        self.broken(self.record(width=2), "dims '' with 2 columns")
        self.broken(self.record(count=3), "rows up to 3 of 2, qat.samples/0, column 'x'")
        self.broken(self.record(begin=2**63, count=2**63), "rows up to")
        self.broken(self.record(first=7), "2 rows and 8 columns of 2 and 1, qat.samples/0/double")
        self.broken(self.replace("qat.samples/0/columns", [1]), "records without name")
        self.broken(lambda file: file.__delitem__("qat.samples/0/columns"), "missing, qat.samples/0/columns")

    def test_datasets(self):
        self.broken(self.replace("qat.samples/0/double", [[1], [2]]), "values of type int64, qat.samples/0/double")
        self.broken(self.replace("qat.samples/0/double", [1.0, 2.0]), "not a dataset of 2 axes, qat.samples/0/double")
        self.broken(self.replace("qat.samples/0/double", [[1.0]]), "2 rows and 1 columns of 1 and 1")
        self.broken(lambda file: file.__delitem__("qat.samples/0/double"), "missing, qat.samples/0/double")
        self.broken(self.replace("qat.samples/0/Time", "text"), "not a dataset of 1 axes")

    def test_texts(self):
        self.broken(self.replace("qat.samples/0/text", np.zeros((2, 1))), "texts of type float64")
        for start, size in ((0, 100), (2**63, 2**32 - 1), (2**64 - 1, 1)):
            cells = np.array([[(start, size)], [(0, 1)]], CELL)
            self.broken(self.replace("qat.samples/0/text", cells), "text|bytes are said to stand in")

    def test_texts_that_are_no_utf8_come_with_replacements(self):
        with QatWriter(self.path()) as writer:
            group = writer.table(0, [0], [Leaf("t", ["ab"], "text")])
            group["text.bytes"][...] = [0xFF, 0x62]
        self.assertEqual(self.open()["t"].values.tolist(), ["\ufffdb"])

    def test_links_that_lead_elsewhere(self):
        for link in (h5py.SoftLink("/elsewhere"), h5py.ExternalLink("other.qat", "/qat.samples/0/double")):
            def change(file, link=link):
                del file["qat.samples/0/double"]
                file["qat.samples/0/double"] = link
            self.broken(change, "a link that is not followed, qat.samples/0/double")

    def test_values_in_other_files(self):
        with open(self.path("secret"), "wb") as file:
            file.write(b"s" * 64)
        for options in ({"external": [(self.path("secret"), 0, 16)]},):
            def change(file, options=options):
                del file["qat.samples/0/double"]
                file.create_dataset("qat.samples/0/double", (2, 1), "<f8", **options)
            self.broken(change, "values in another file are not read")
        def virtual(file):
            del file["qat.samples/0/double"]
            layout = h5py.VirtualLayout((2, 1), "<f8")
            layout[...] = h5py.VirtualSource(self.path("other.h5"), "x", (2, 1))
            file.create_virtual_dataset("qat.samples/0/double", layout)
        self.broken(virtual, "values in another file are not read")

    def test_tables_in_other_folders(self):
        with QatWriter(self.path("other.qat")) as writer:
            writer.table(0, [0], [Leaf("x", [1])])
        os.mkdir(self.path("below"))
        for name, path in ((self.path("other.qat"), "/qat.samples/0"), ("../other.qat", "/qat.samples/0"), ("",
            "/qat.samples/0"),
                           ("other.qat", "/qat.samples/1"), ("..", "/qat.samples/0")):
            with self.subTest(name), QatWriter(self.path("below/a.qat")) as writer:
                writer.file["qat.samples/0"] = h5py.ExternalLink(name or "x/..", path)
            with self.assertRaisesRegex(vtio.QatError, "it must lead to the same member of a file in the same folder"):
                self.open("below/a.qat")

    def test_table_in_a_missing_file(self):
        with QatWriter(self.path()) as writer:
            writer.file["qat.samples/0"] = h5py.ExternalLink("gone.qat", "/qat.samples/0")
        with self.assertRaisesRegex(vtio.QatError, "its samples stand in .*gone.qat: No such file"):
            self.open()

    def test_descriptions(self):
        elements = "DATASET_SIGNAL_LOGGING/Dataset/Elements"
        def dims(value):
            return lambda file: file[elements].attrs.__setitem__("qat.dims", value)
        self.broken(dims("x"), "qat.dims is no list")
        def table(file):
            file[elements].attrs["qat.form"] = "table"
            file[elements].attrs["qat.dims"] = np.array([2**40, 1], "u8")
        self.broken(table, "a table of .* rows in a file of")
        self.broken(lambda file: file[elements].attrs.__setitem__("qat.kind", "other"),
            "neither a structure nor a cell")

    def test_cells_without_end(self):
        """A number of cells that only the file's word stands for, and a bus that is its own child, take no time."""
        with QatWriter(self.path()) as writer:
            writer.table(0, [0], [Leaf("x", [1])])
            writer.describe()
            values = writer.file["DATASET_SIGNAL_LOGGING/Dataset/Elements"]
            values.attrs["qat.dims"] = np.array([2**40, 1], "u8")
            bus = writer.structure(values["0"], "Loop", {"Kind": "bus"})
            bus.attrs.create("qat.fields", [str(i) for i in range(40)], dtype=h5py.string_dtype())
            for i in range(40):
                bus[str(i)] = bus
            del values["0/Values"]
            values["0/Values"] = bus
        self.assertEqual(self.open()["x"].interpolation, "")


class Names(QatTest):
    def setUp(self):
        super().setUp()
        self.names = ["wheels.speed", "wheels.torque", "a[0]", "a[1]", "x/y|z.b", "multi\nline", "wheels"]
        self.r = self.results(*(Leaf(name, [0.0]) for name in self.names))

    def selected(self, *patterns):
        return [signal.name for signal in self.r.select(*patterns)]

    def test_mapping(self):
        self.assertEqual(self.r.names, self.names)
        self.assertEqual(list(self.r), self.names)
        self.assertEqual(len(self.r), 7)
        self.assertIn("a[0]", self.r)
        self.assertNotIn("a", self.r)
        self.assertEqual([name for name, signal in self.r.items() if signal.name == name], self.names)

    def test_patterns(self):
        self.assertEqual(self.selected("wheels.*"), ["wheels.speed", "wheels.torque"])
        self.assertEqual(self.selected("*s*"), ["wheels.speed", "wheels.torque", "wheels"])
        self.assertEqual(self.selected("a[0]"), ["a[0]"])
        self.assertEqual(self.selected("a[?]"), ["a[0]", "a[1]"])
        self.assertEqual(self.selected("a[!0]"), [])
        self.assertEqual(self.selected("x*b"), ["x/y|z.b"])
        self.assertEqual(self.selected("multi?line"), ["multi\nline"])
        self.assertEqual(self.selected("WHEELS"), [])
        self.assertEqual(self.selected("wheels", "a*", "*"), self.names)
        self.assertEqual(self.selected(), self.names)
        self.assertEqual(self.selected("nothing"), [])

    def test_unknown_name_suggests_near_ones(self):
        for wrong, near in (("wheel.speed", "'wheels.speed'"), ("Wheels.Speed", "'wheels.speed'"), ("torque",
            "'wheels.torque'"),
                            ("wheels.sped", "'wheels.speed'")):
            with self.assertRaises(KeyError) as caught:
                self.r[wrong]
            self.assertRegex(str(caught.exception), f"^no signal '{wrong}'; did you mean {near}")
        with self.assertRaises(vtio.SignalNotFoundError) as caught:
            self.r["qqqqqqqqqqqq"]
        self.assertEqual(str(caught.exception), "no signal 'qqqqqqqqqqqq'")
        self.assertIsNone(self.r.get("qqq"))

    def test_pattern_with_many_stars_ends(self):
        results = self.results(Leaf("a" * 39, [0]))
        self.assertEqual(results.select("*a" * 20 + "b"), [])

    def test_docstrings(self):
        for thing in (vtio, vtio.Results, vtio.Signal, vtio.FixedPoint, vtio.QatError, vtio.SignalNotFoundError,
            vtio.open):
            self.assertTrue(thing.__doc__)
        for kind in (vtio.Results, vtio.Signal):
            for name in vars(kind):
                if not name.startswith("_"):
                    self.assertTrue(getattr(kind, name).__doc__, name)


if __name__ == "__main__":
    unittest.main()
