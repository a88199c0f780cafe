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
import numpy as np

LIMIT = 1000
NOT_IN_RING = 2**64 - 1


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


def rows_of_leaf(ring, leaf):
    """Number of the first valid sample of a leaf, times, and bytes, as docs/streaming.md reads them."""
    ring["rows"].refresh()
    ring["samples"].refresh()
    first, end = ring["rows"][2 * leaf["number"] :][:2]
    rows = ring["samples"][:][[int(n) % int(leaf["capacity"]) for n in range(first, end)]]
    times = rows[:, leaf["time"] :][:, :8].copy().view("<f8").ravel()
    return int(first), times, rows[:, leaf["start"] :][:, : leaf["bytes"]].copy()


def check_ring(ring):
    """Compares the newest samples of a number and a text. @return number of the last, and how many were compared"""
    if int(ring["rows"][0]) == NOT_IN_RING:
        return 0, 0
    compared = 0
    for leaf, is_text in zip(ring["leaves"][:], (False, True)):
        first, times, values = rows_of_leaf(ring, leaf)
        end = first + len(times)
        assert len(times) == min(end, LIMIT), (first, end)
        if is_text:
            ring["texts"].refresh()
            texts = ring["texts"][:].tobytes()
            cells = values.view(np.dtype([("start", "<u8"), ("bytes", "<u4")])).ravel()
            values = [texts[start : start + size].decode() for start, size in cells]
        else:
            values = list(values.view("<f8").ravel())
        ring["rows"].refresh()
        for k in range(max(first, int(ring["rows"][2 * leaf["number"]])), end):  # the others are overwritten by now
            expected = k if not is_text else "" if k % 7 == 0 else f"r{k}/0"
            assert (times[k - first], values[k - first]) == (0.25 * k, expected), k
            compared += 1
    return end, compared


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
                before = last = compared = 0
                ring = file["qat.rings/0"]
                for _ in range(20):
                    rows = rows_of(table)
                    assert rows >= before, (rows, before)
                    check(table, rows)
                    before = rows
                    newest, count = check_ring(ring)
                    assert newest >= last, (newest, last)
                    last, compared = newest, compared + count
                    time.sleep(0.02)
                assert before > 64, "no growth was seen"
                assert last > 2 * LIMIT, "the ring did not go round"
                assert compared > 100, "nothing was read in time"
                assert len(ring["samples"]) == LIMIT * 5 // 4
        finally:
            writer.kill()
            writer.wait()
        digest = hashlib.sha256(path.read_bytes()).hexdigest()
        with open_live(path) as file:
            rows = rows_of(file["qat.samples/0"])
            assert rows >= before, (rows, before)
            check(file["qat.samples/0"], rows)
            newest, count = check_ring(file["qat.rings/0"])
            assert newest >= last and count == 2 * LIMIT
        assert hashlib.sha256(path.read_bytes()).hexdigest() == digest, "reading changed the file"
        print(f"{rows} rows read, {before} of them before the kill")


main()
