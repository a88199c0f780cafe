"""Installing the package by pip and by CMake; its version and its type hints.

installing_test.py SOURCE_DIR BUILD_DIR CMAKE
"""

import glob
import os
import shutil
import subprocess
import sys
import unittest

from qat_fixture import QatTest, need

USE = """
import os, sys, vtio
print(vtio.__version__, os.path.realpath(os.path.dirname(vtio.__file__)))
"""


class Installing(QatTest):
    def run_program(self, *command, **options):
        run = subprocess.run(command, capture_output=True, text=True, **options)
        self.assertEqual(run.returncode, 0, run.stdout + run.stderr)
        return run.stdout

    def version(self):
        with open(os.path.join(SOURCE_DIR, "VERSION"), encoding="utf-8") as file:
            return file.read().strip()

    def used_from(self, folder):
        """What a program says that finds the package in a folder."""
        return self.run_program(sys.executable, "-c", USE, env={**os.environ, "PYTHONPATH": folder}, cwd=self.folder)

    def check(self, folder):
        self.assertEqual(self.used_from(folder), f"{self.version()} {os.path.realpath(folder)}/vtio\n")
        installed = set(os.listdir(f"{folder}/vtio")) - {"__pycache__"}
        sources = {os.path.basename(path) for path in glob.glob(os.path.join(SOURCE_DIR, "python", "vtio", "*.py"))}
        self.assertEqual(installed, sources | {"py.typed"})

    @need("pip", "setuptools", "wheel")
    def test_by_pip(self):
        ignored = shutil.ignore_patterns("build", "*.egg-info", "__pycache__")  # pip builds in the folder itself
        shutil.copytree(os.path.join(SOURCE_DIR, "python"), self.path("python"), ignore=ignored)
        self.run_program(sys.executable, "-m", "pip", "install", "--no-index", "--no-build-isolation", "--no-deps",
            "--quiet",
                         "--target", self.path("there"), self.path("python"))
        self.check(self.path("there"))

    def test_by_cmake(self):
        self.run_program(CMAKE, "--install", BUILD_DIR, "--component", "python", "--prefix", self.path("prefix"))
        folders = glob.glob(self.path("prefix/lib/python3*/*-packages"))
        self.assertEqual(len(folders), 1)
        self.check(folders[0])
        # The system's Python finds what is below its own prefix without being told.
        tail = os.path.relpath(folders[0], self.path("prefix"))
        self.assertIn(os.path.join("/usr/local", tail), sys.path + [os.path.join("/usr/local",
            "lib/python3/dist-packages")])

    def test_by_cmake_below_usr(self):
        """As a package of the distribution is made."""
        environment = {**os.environ, "DESTDIR": self.path("root")}
        self.run_program(CMAKE, "--install", BUILD_DIR, "--component", "python", "--prefix", "/usr", env=environment)
        if os.path.isdir("/usr/lib/python3/dist-packages"):
            self.check(self.path("root/usr/lib/python3/dist-packages"))

    def test_nothing_but_h5py_and_numpy_is_needed(self):
        absent = "sys.modules.update(dict.fromkeys(('pandas', 'xarray', 'matplotlib')))"
        block = f"import sys\n{absent}\nimport vtio\nvtio.Signal, vtio.open"
        self.run_program(sys.executable, "-c", block, cwd=os.path.join(SOURCE_DIR, "python"))

    @need("mypy")
    def test_type_hints(self):
        arguments = ("--config-file", "pyproject.toml", "--cache-dir", self.path("cache"), "vtio")
        said = self.run_program(sys.executable, "-m", "mypy", *arguments, cwd=os.path.join(SOURCE_DIR, "python"))
        self.assertIn("Success", said)


if __name__ == "__main__":
    SOURCE_DIR, BUILD_DIR, CMAKE = (sys.argv.pop(1) for _ in range(3))
    unittest.main()
