#!/usr/bin/env python3
"""Runs every command of docs/tour.md on what the demo records; all of them must succeed without a word of complaint.

    tour_test.py TOUR QAT WRITE_CONFIGURATION SPACECRAFT
"""

import os
import pathlib
import re
import subprocess
import sys
import tempfile

TOUR, QAT, WRITE_CONFIGURATION, SPACECRAFT = map(os.path.abspath, sys.argv[1:5])


def main():
    blocks = re.findall(r"^```sh\n(.*?)^```", pathlib.Path(TOUR).read_text(encoding="utf-8"), re.M | re.S)
    commands = [line for block in blocks for line in block.splitlines()]
    assert len(commands) > 10, commands
    failures = 0
    with tempfile.TemporaryDirectory(prefix="vtio_tour_") as folder:
        subprocess.run([WRITE_CONFIGURATION, "config.qat"], cwd=folder, check=True)
        subprocess.run([SPACECRAFT, "--config", "config.qat", "--out", "results.qat"], cwd=folder, check=True)
        environment = {**os.environ, "PATH": os.path.dirname(QAT) + os.pathsep + os.environ["PATH"]}
        for command in commands:
            run = subprocess.run(command, shell=True, cwd=folder, env=environment, capture_output=True, text=True,
                                 timeout=120)
            if run.returncode == 2 and "built without its page" in run.stderr:
                print(f"skipped: {command}")
                continue
            wrote = re.search(r"(?:-o|--export) ([^- ]\S*)", command)
            written = pathlib.Path(folder, wrote[1]) if wrote else None
            is_there = written is None or (written.exists() and written.stat().st_size > 0)
            if run.returncode or run.stderr or not is_there or not (run.stdout or wrote or command.startswith("cp ")):
                failures += 1
                print(f"FAILED ({run.returncode}): {command}\n{run.stdout[-500:]}\n{run.stderr}")
    print(f"{len(commands)} commands, {failures} failed")
    return 1 if failures else 0


if __name__ == "__main__":
    sys.exit(main())
