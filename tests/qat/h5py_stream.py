#!/usr/bin/env python3
"""Reads a streamed file with h5py while it grows, and after its writer was killed.

usage: h5py_stream.py WRITER
"""

import hashlib
import pathlib
import subprocess
import sys
import tempfile
import time

import h5py


def rows_of(table):
    rows = table["rows"]
    rows.refresh()
    return int(rows[0])


def check(table, rows):
    """Compares the newest rows with what the writer writes."""
    if rows < 2:
        return
    for name in ("Time", "double", "int32", "single.complex", "logical", "text", "text.bytes"):
        table[name].refresh()
    first = max(0, rows - 2000)
    known = range(first, rows)
    assert list(table["Time"][first:rows]) == [0.25 * k for k in known]
    assert list(table["double"][first:rows, 7]) == [k + 1e-3 * 7 for k in known]
    assert list(table["int32"][first:rows, 0]) == list(known)
    assert list(table["logical"][first:rows, 0]) == [k % 2 == 1 for k in known]
    assert [z.real for z in table["single.complex"][first:rows, 0]] == list(known)
    start, size = table["text"][rows - 2, 0]
    expected = "" if (rows - 2) % 7 == 0 else f"r{rows - 2}/0"
    assert bytes(table["text.bytes"][start : start + size]).decode() == expected


def open_live(path):
    for _ in range(500):
        try:
            return h5py.File(path, "r", libver="latest", swmr=True)
        except OSError:
            time.sleep(0.01)
    raise AssertionError("the file does not open")


def main():
    with tempfile.TemporaryDirectory() as folder:
        path = pathlib.Path(folder) / "live.qat"
        writer = subprocess.Popen([sys.argv[1], path])
        try:
            with open_live(path) as file:
                table = file["qat.samples/0"]
                assert file["logsout/Elements/Name"].asstr()[3] == "d"
                before = 0
                for _ in range(20):
                    rows = rows_of(table)
                    assert rows >= before, (rows, before)
                    check(table, rows)
                    before = rows
                    time.sleep(0.02)
                assert before > 64, "no growth was seen"
        finally:
            writer.kill()
            writer.wait()
        digest = hashlib.sha256(path.read_bytes()).hexdigest()
        with open_live(path) as file:
            rows = rows_of(file["qat.samples/0"])
            assert rows >= before, (rows, before)
            check(file["qat.samples/0"], rows)
        assert hashlib.sha256(path.read_bytes()).hexdigest() == digest, "reading changed the file"
        print(f"{rows} rows read, {before} of them before the kill")


main()
