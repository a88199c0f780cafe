#!/usr/bin/env python3
"""Three readers beside a writer that steps back: two of this project, and h5py. What they see is always right.

usage: follow_stream.py WRITER READER SECONDS
"""

import pathlib
import subprocess
import sys
import tempfile
import time

import h5py

NEWEST = 2000  # rows of one look


def open_live(path):
    for _ in range(500):
        try:
            return h5py.File(path, "r", libver="latest", swmr=True)
        except OSError:
            time.sleep(0.01)
    raise AssertionError("the file does not open")


def look(table):
    """The rows, and the way on which the last one was recorded: each row is one that the writer wrote."""
    table["rows"].refresh()
    rows = int(table["rows"][7])
    for name in ("Time", "double"):
        table[name].refresh()
    first, way = max(0, rows - NEWEST), 0
    assert list(table["Time"][first:rows]) == [0.25 * k for k in range(first, rows)]
    for k, value in zip(range(first, rows), table["double"][first:rows, 7].tolist()):
        its = int(value / 1e9)
        assert value == k + 1e-3 * 7 + 1e9 * its, (k, value)
        if its < way:  # the writer has stepped back meanwhile
            return None
        way = its
    return rows, way


def follow(path, seconds):
    looks = steps_back = mixed = 0
    last, last_way, gone = 0, 0, None
    end = time.monotonic() + seconds
    with open_live(path) as file:
        while time.monotonic() < end:
            seen = look(file["qat.samples/0"])
            if seen is None:
                mixed += 1
                continue
            rows, way = seen
            if rows < last and gone is None:
                gone = last_way
            if gone is not None and way > gone:
                gone, steps_back = None, steps_back + 1
            last, last_way, looks = rows, way, looks + 1
            time.sleep(0.002)
    print(f"{looks} looks, {steps_back} steps back")
    assert steps_back > 0 and looks > 5 and mixed < looks // 4, (looks, mixed)


def main():
    writer_program, reader_program, seconds = sys.argv[1:]
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "live.qat"
        writer = subprocess.Popen([writer_program, path, "back"])
        try:
            open_live(path).close()
            readers = [subprocess.Popen([reader_program, path, seconds, how]) for how in ("keep", "reopen")]
            follow(path, float(seconds))
            assert [reader.wait() for reader in readers] == [0, 0]
            assert writer.poll() is None, "the writer has ended"
        finally:
            writer.kill()
            writer.wait()


main()
