"""The code of docs/python.md and of the package's README runs, on a file that the recorders wrote and on a growing one.

documents_test.py WRITE_SIGNALS WRITE_EXAMPLE
"""

import contextlib
import io
import os
import re
import subprocess
import sys
import unittest

import numpy as np
from qat_fixture import Leaf, QatTest, QatWriter, need

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..")


def code_of(document):
    with open(os.path.join(ROOT, document), encoding="utf-8") as file:
        return "\n".join(re.findall(r"^```python\n(.*?)^```$", file.read(), re.MULTILINE | re.DOTALL))


class Documents(QatTest):
    def setUp(self):
        super().setUp()
        subprocess.run([PROGRAM, self.path("results.qat")], check=True, stdout=subprocess.DEVNULL)
        subprocess.run([WRITE_EXAMPLE, "--sweep", self.path("sweep.qat")], check=True)
        before = os.getcwd()
        self.addCleanup(os.chdir, before)
        os.chdir(self.folder)

    def stream(self):
        """A file that a killed program left."""
        with QatWriter("signals.qat") as writer:
            writer.table(0, [], [Leaf("x", np.empty(0))], growing=True)
            writer.strays()
            writer.file.flush()
            writer.file.swmr_mode = True
            writer.append(0, [0, 0.5], "double", [[1], [2]])
            with open("signals.qat", "rb") as file:
                left = file.read()
        with open("signals.qat", "wb") as file:
            file.write(left)

    def run_code(self, document):
        output = io.StringIO()
        with contextlib.redirect_stdout(output):
            exec(compile(code_of(document), document, "exec"), {})  # noqa: S102
        return output.getvalue()

    @need("pandas", "xarray", "matplotlib")
    def test_python_md(self):
        import matplotlib

        matplotlib.use("Agg")
        self.stream()
        said = self.run_code("docs/python.md")
        for line in ("no signal 'wheel.speed'; did you mean 'wheels.speed'", "['Off' 'Idle' '1' '2' '3' '4' '\u00d6n']",
                     "[ 1.  3. nan]", "('time', 'matrix[0]', 'matrix[1]')", "2 False\n[0.5]",
                         "[0.  0.5]\n[0.  0.5]\n[0.  0.5]"):
            self.assertIn(line, said)
        self.assertGreater(os.path.getsize("speed.png"), 1000)

    def test_readme(self):
        self.assertEqual(self.run_code("python/README.md"), "m/s\u00b2 12.0 [10. nan]\n")

    def test_help(self):
        import vtio

        for line in vtio.__doc__.splitlines():
            name = re.match(r"\s+(?:r|speed|r\[.*?\])\.(\w+)", line)
            if name:
                self.assertTrue(hasattr(vtio.Results, name[1]) or hasattr(vtio.Signal, name[1]), line)


if __name__ == "__main__":
    WRITE_EXAMPLE = sys.argv.pop(2)
    PROGRAM = sys.argv.pop(1)
    unittest.main()
