#!/usr/bin/env python3
"""Runs the two example programs as README.md says, its Python block over what they wrote, then both streaming.

    run_readme_python.py ROOT HELLO_CPP HELLO_C
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

# Appended to the block: what it prints is for people, this is for the test.
VALUES = """
import math
with h5py.File("c.qat") as file:
    samples = file["qat.samples/0"]
    time, data = samples["Time"][:], samples["double"][:, 0]
assert len(time) == len(data) == 1000, (len(time), len(data))
assert all(t == 0.01 * i for i, t in enumerate(time)), time
assert all(abs(d - math.sin(t)) < 1e-15 for t, d in zip(time, data)), data
"""

# The file that a program streamed into, and the results file that refers to it.
STREAMED = """
import h5py, math
for name in ("stream.qat", "results.qat"):
    with h5py.File(name) as file:
        samples = file["qat.samples/0"]
        assert [round(100 * t) for t in samples["Time"][:]] == list(range(1000)), name
        assert max(abs(samples["double"][:, 0] - [math.sin(t) for t in samples["Time"][:]])) < 1e-15, name
"""


def check_streams(programs, folder):
    """Both programs stream when the configuration that the first one writes says so."""
    subprocess.run([programs[0], "config.qat", "results.qat", "stream.qat"], check=True, cwd=folder)
    subprocess.run([sys.executable, "-c", STREAMED], check=True, cwd=folder)
    for name in ("stream.qat", "results.qat"):
        os.remove(os.path.join(folder, name))
    subprocess.run([programs[1], "config.qat", "results.qat"], check=True, cwd=folder)
    subprocess.run([sys.executable, "-c", STREAMED], check=True, cwd=folder)


def main():
    readme = (pathlib.Path(sys.argv[1]) / "README.md").read_text(encoding="utf-8")
    blocks = re.findall(r"^```python\n(.*?)^```$", readme, re.MULTILINE | re.DOTALL)
    if len(blocks) != 1:
        sys.exit(f"README.md has {len(blocks)} Python blocks, expected 1")
    hello_cpp, hello_c = (os.path.abspath(path) for path in sys.argv[2:4])
    with tempfile.TemporaryDirectory() as folder:
        subprocess.run([hello_cpp, "config.qat", "cpp.qat"], check=True, cwd=folder)
        subprocess.run([hello_c, "config.qat", "c.qat"], check=True, cwd=folder)
        run = subprocess.run([sys.executable, "-c", blocks[0] + VALUES], check=True, cwd=folder, text=True,
                             stdout=subprocess.PIPE)
        check_streams((hello_cpp, hello_c), folder)
    print(run.stdout)
    if not run.stdout.startswith("['height'] m\n"):
        sys.exit("the block printed something else than name and unit first")
    return 0


if __name__ == "__main__":
    sys.exit(main())
