"""Reads the file of write_every_kind.cpp through h5py and compares values, shapes and types."""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

try:
    import h5py
    import numpy as np
except ImportError:
    sys.exit("h5py and numpy are needed: apt-get install python3-h5py")

NUMBERS = {
    "int8": [-128, 127], "uint8": [0, 255], "int16": [-32768, 32767], "uint16": [0, 65535],
    "int32": [-2**31, 2**31 - 1], "uint32": [0, 2**32 - 1], "int64": [-2**63, 2**63 - 1], "uint64": [0, 2**64 - 1],
}


class EveryKind(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.file = h5py.File(PATH, "r")

    @classmethod
    def tearDownClass(cls):
        cls.file.close()

    def equal(self, name, expected, dtype):
        found = self.file[name][()]
        self.assertEqual(found.dtype, np.dtype(dtype))
        self.assertEqual(found.shape, np.shape(expected))
        np.testing.assert_array_equal(found, expected)

    def test_format(self):
        self.assertEqual(self.file.attrs["qat.format"], "qat")
        self.assertEqual(self.file.attrs["qat.version"], 1)

    def test_order(self):
        names = list(self.file["/"])
        self.assertEqual(names[:3], ["zz first", "column", "row"])
        self.assertEqual(names[-2:], ["%00", "a%2Fb"])

    def test_doubles(self):
        self.equal("zz first", 3.5, "f8")
        self.equal("column", [1, 2, 3], "f8")
        self.equal("row", [[1, 2, 3]], "f8")
        self.equal("matrix", [[1, 2, 3], [4, 5, 6]], "f8")
        self.equal("cube", np.arange(24).reshape((2, 3, 4), order="F"), "f8")
        self.equal("empty", np.zeros((0, 4)), "f8")

    def test_numbers(self):
        for name, values in NUMBERS.items():
            with self.subTest(name):
                self.equal(name, np.array(values, name), name)
        self.equal("single", 0.25, "f4")

    def test_complex(self):
        self.equal("complex", np.array([0.5 + 1.5j, 2.5 + 3.5j]), "c8")

    def test_logical(self):
        self.equal("logicals", [[False, True, False]], "bool")
        self.equal("flag", True, "bool")

    def test_text(self):
        self.assertEqual(self.file["text"].asstr()[()], "caf\u00e9 \U0001f600")
        self.assertEqual(self.file["no text"].asstr()[()], "")
        self.assertEqual(h5py.check_string_dtype(self.file["text"].dtype).encoding, "utf-8")
        self.equal("surrogate", [[0x61, 0xD83D]], "u2")
        self.assertEqual(self.file["surrogate"].attrs["qat.kind"], "char")

    def test_text_cells(self):
        expected = [["a", "c", "\u00e9"], ["b", "d", "f"]]
        self.assertEqual(self.file["text cells"].asstr()[()].tolist(), expected)

    def test_mixed_cells(self):
        group = self.file["mixed cells"]
        self.assertEqual(group.attrs["qat.kind"], "cell")
        self.assertEqual(group.attrs["qat.dims"].tolist(), [1, 3])
        self.assertEqual(group["0"][()], 1.5)
        self.assertEqual(group["1"].asstr()[()], "two")
        self.assertNotIn("2", group)
        self.assertEqual(group["qat.empty"][()].tolist(), [2])

    def test_structure(self):
        group = self.file["structure"]
        self.assertEqual(group.attrs["Unit"], "m/s\u00b2")
        self.assertIsInstance(group.attrs["Unit"], str)
        self.assertEqual(group.attrs["Gain"], 2.5)
        self.assertEqual(group.attrs["On"], True)
        self.assertEqual(group.attrs["On"].dtype, np.dtype(bool))
        self.assertEqual(group["Data"][()].tolist(), [7, 8])
        self.assertEqual(group.attrs["qat.fields"].tolist(), ["Unit", "Gain", "On", "Data"])

    def test_structure_array(self):
        group = self.file["structures"]
        self.assertEqual(group.attrs["qat.dims"].tolist(), [1, 2])
        self.assertEqual([group[i].attrs["x"] for i in "01"], [10, 11])

    def test_table(self):
        elements = self.file["logsout/Elements"]
        self.assertEqual(elements.attrs["qat.form"], "table")
        self.assertEqual(elements["Name"].asstr()[17], "signal17")
        self.assertEqual(elements["PortIndex"][()].tolist(), list(range(20)))
        self.assertEqual(elements["PortIndex"].dtype, np.dtype("u8"))
        self.assertEqual(elements["Values/Unit"].asstr()[17], "m/s")
        offsets = elements["qat.offsets.BlockPath"]
        first, last = offsets[17], offsets[18]
        self.assertEqual(elements["BlockPath"].asstr()[first:last].tolist(), ["top", "inner"])
        self.assertEqual(elements["17/Values/Data"][()].tolist(), [[17, 1], [2, 3], [4, 5]])
        self.assertEqual(elements["17/Values/Time"][()].tolist(), [0.0, 0.1, 0.2])
        self.assertEqual(elements["17/Values/Time"], elements["3/Values/Time"])

    def test_many_rows(self):
        rows = self.file["many rows"]
        self.assertEqual(len(rows), 3001)
        self.assertEqual(sorted(rows), sorted(["Number", *(str(i) for i in range(3000))]))
        for i in (0, 9, 371, 1500, 2999):
            self.assertEqual(rows[f"{i}/Data"][()].tolist(), [i, 1, 2])
            self.assertEqual(rows[f"{i}/Time"], rows["7/Time"])
        self.assertEqual(h5py.h5o.get_info(rows["7/Time"].id).rc, 3000)
        self.assertEqual(h5py.h5o.get_info(rows["7"].id).rc, 1)
        self.assertEqual(h5py.h5o.get_info(rows["Number"].id).rc, 1)

    def test_structures_in_rows(self):
        rows = self.file["many rows"]
        info = rows["7/Info"]
        found = {name: info.attrs[name] for name in ("Unit", "Gain", "qat.kind")}
        self.assertEqual(found, {"Unit": "m/s\u00b2", "Gain": 3.5, "qat.kind": "struct"})
        self.assertEqual(info.attrs["qat.fields"].tolist(), ["Unit", "Gain"])
        self.assertEqual(len(info), 0)
        self.assertEqual(rows["8/Info"].attrs["Label"], "")
        self.assertEqual(rows["8/Info/Data"][()].tolist(), [7, 8])
        self.assertTrue(info.id.get_create_plist().get_link_creation_order())

    def test_rows_can_be_changed_by_hdf5(self):
        path = PATH + ".changed"
        shutil.copyfile(PATH, path)
        with h5py.File(path, "r+") as file:
            rows = file["many rows"]
            for i in range(0, 3000, 3):
                del rows[str(i)]
            for i in range(400):
                rows.create_group(f"new {i}")["value"] = [i]
            rows["1/more"] = [1.5]
            del rows["2/Time"]
            info = rows["8/Info"]
            info.attrs["Label"] = "a longer text"
            for i in range(20):
                info.attrs[f"attribute {i}"] = str(i)
                info[f"member {i}"] = [i]
            del info["Data"]
            del rows["11/Info"].attrs["Unit"]
        with h5py.File(path, "r") as file:
            rows = file["many rows"]
            self.assertEqual(len(rows), 2001 + 400)
            self.assertNotIn("2997", rows)
            self.assertEqual(rows["new 399/value"][()].tolist(), [399])
            self.assertEqual(rows["1/more"][()].tolist(), [1.5])
            self.assertEqual(list(rows["2"]), ["Data", "Info"])
            self.assertEqual(rows["8/Info"].attrs["Label"], "a longer text")
            self.assertEqual(rows["8/Info"].attrs["attribute 19"], "19")
            self.assertEqual(list(rows["8/Info"]), [f"member {i}" for i in range(20)])
            self.assertEqual(sorted(rows["11/Info"].attrs), ["Gain", "qat.fields", "qat.kind"])
            self.assertEqual(rows["14/Info"].attrs["Unit"], "m/s\u00b2")
            for i in range(1, 3000, 3):
                self.assertEqual(rows[f"{i}/Data"][0], i)
            self.assertEqual(h5py.h5o.get_info(rows["7/Time"].id).rc, 1999)


if __name__ == "__main__":
    program = sys.argv.pop(1)
    with tempfile.TemporaryDirectory() as folder:
        PATH = os.path.join(folder, "every_kind.qat")
        subprocess.run([program, PATH], check=True)
        unittest.main()
