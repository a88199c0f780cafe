"""Other HDF5 libraries and tools read our files and write files that we read: HDF5 2.0 through h5wasm under Node, the
installed h5py with both of its ways to write the newest format, and h5repack to the oldest.

    other_hdf5.py EVERY_KIND READ_FILES NODE NPM      NODE and NPM empty where they are missing
"""
import os
import shutil
import subprocess
import sys
import tempfile
import unittest

import h5py
import numpy as np

HERE = os.path.dirname(os.path.abspath(__file__))
LINE = " 0 1 2 3 4 5"


def run(*command, **options):
    result = subprocess.run(command, capture_output=True, text=True, timeout=300, **options)
    if result.returncode != 0:
        raise AssertionError(f"{' '.join(command)} ended with {result.returncode}:\n{result.stdout}{result.stderr}")
    return result.stdout


class OtherHdf5(unittest.TestCase):
    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.ours = os.path.join(self.folder, "ours.qat")
        self.theirs = os.path.join(self.folder, "theirs.qat")
        run(EVERY_KIND, "write", self.ours)

    def requireTheirs(self):
        printed = run(READ_FILES, "print", self.theirs).splitlines()
        for name in ("single", "fixed", "growing", "deflated"):
            self.assertIn(f"{name}: class 6, 6 1:{LINE}", printed)
        self.assertIn("matrix: class 6, 2 3: 0 3 1 4 2 5", printed)
        self.assertIn("text: class 4, 1 5: 112 108 97 105 110", printed)
        self.assertIn("structure[0].Unit: class 4, 1 1: 109", printed)
        self.assertIn(f"structure[0].Data: class 6, 6 1:{LINE}", printed)
        self.assertIn("many 39: class 12, 1 1: 39", printed)

    def test_newer_hdf5(self):
        if not NODE or not NPM:
            self.skipTest("Node or npm is not installed: HDF5 2.0 was not tried")
        for name in os.listdir(os.path.join(HERE, "newer_hdf5")):  # Node searches the script's folder for packages
            shutil.copy(os.path.join(HERE, "newer_hdf5", name), self.folder)
        run(NPM, "ci", "--no-audit", "--no-fund", cwd=self.folder)
        script = os.path.join(self.folder, "newer_hdf5.mjs")
        run(NODE, script, "read", self.ours, cwd=self.folder)
        run(NODE, script, "write", self.theirs, cwd=self.folder)
        self.requireTheirs()

    def test_h5py(self):
        for version in ("v110", "latest"):
            with self.subTest(version), h5py.File(self.theirs, "w", libver=(version, version)) as file:
                values = np.arange(6.0)
                file.attrs["qat.format"], file.attrs["qat.version"] = "qat", np.uint32(2)
                file["matrix"] = values.reshape(2, 3)
                file.create_dataset("single", data=values, chunks=(6,))
                file.create_dataset("fixed", data=values, chunks=(4,))
                file.create_dataset("growing", data=values, chunks=(4,), maxshape=(None,))
                file.create_dataset("deflated", data=values, chunks=(4,), compression="gzip", shuffle=True)
                file["text"] = "plain"
                structure = file.create_group("structure", track_order=True)
                structure.attrs["qat.kind"] = "struct"
                structure.attrs["qat.fields"] = np.array(["Unit", "Data"], dtype=h5py.string_dtype())
                structure.attrs["Unit"] = "m"
                structure["Data"] = values
                for i in range(40):
                    file[f"many {i}"] = np.int32(i)
            self.requireTheirs()

    def test_h5py_changes_our_file(self):
        for version in ("v110", "latest"):
            with h5py.File(self.ours, "r+", libver=(version, version)) as file:
                for i in range(20):
                    file[f"{version} {i}"] = np.arange(3.0)
                del file["cube"], file[f"{version} 7"]
                file["cube"] = 1.0
            self.assertIn(f"{version} 19: class 6, 3 1: 0 1 2", run(READ_FILES, "print", self.ours).splitlines())

    def test_file_repacked_to_the_oldest_format_is_refused_by_name(self):
        run("h5repack", self.ours, self.theirs)
        result = subprocess.run([READ_FILES, "print", self.theirs], capture_output=True, text=True, timeout=60)
        self.assertNotEqual(result.returncode, 0)
        self.assertIn("version 0, which Qat files do not have; repack the file with h5repack", result.stderr)


if __name__ == "__main__":
    EVERY_KIND, READ_FILES, NODE, NPM = sys.argv[1:5]
    del sys.argv[1:5]
    unittest.main(verbosity=2)
