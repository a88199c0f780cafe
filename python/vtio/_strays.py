"""Samples of a growing file that did not fit their tables: the group `qat.strays`.

`samples` says of each stray which record of which table it belongs to, its time, and which of `bytes` are its own: what
would stand in the row of the table. The cells of a text lead to `bytes`, too. `rows` is the number of valid strays.

A stray whose column is 0xFFFFFFFF describes a signal that came late, as JSON: `name`, `unit`, `class` and `dims` as
in a record of the table, `column` the number by which other strays call it (without it the next one), `element` and
`leaf` the fields of its element and of its leaf.
"""

from __future__ import annotations

import json
import math
from typing import Any, NamedTuple

import h5py
import numpy as np

from ._hdf5 import QatFile, has, place_of
from ._tables import Column, SampleTables, decode_texts, make_column
from .errors import reading

_GROUP = "qat.strays"
_LATE = 0xFFFFFFFF
_FIELDS = ("table", "column", "time", "start", "bytes")


class LateSignal(NamedTuple):
    """A signal that no table has."""

    table: int
    number: int
    column: Column
    element: dict[str, Any]
    leaf: dict[str, Any]


class Strays:
    """The valid strays of a file at the time of the last `refresh`."""

    def __init__(self, file: QatFile, tables: SampleTables) -> None:
        self._file, self._tables = file, tables
        self._group: h5py.Group | None = file.group(file.root, _GROUP) if has(file.root, _GROUP) else None
        self._samples: np.ndarray | None = None
        self.late: list[LateSignal] = []
        self._open: dict[str, h5py.Dataset] = {}
        if self._group is not None:
            self._open = {
                "rows": file.open(self._group, "rows"),
                "samples": file.dataset(self._group, "samples", 1),
                "bytes": file.dataset(self._group, "bytes", 1),
            }
        self.refresh()

    @property
    def is_growing(self) -> bool:
        return self._group is not None

    def refresh(self) -> None:
        """Sees what was added."""
        if self._group is None:
            return
        for name in ("rows", "samples", "bytes"):  # the number of valid ones first
            with reading(self._file.path, f"{_GROUP}/{name}"):
                self._open[name].refresh()
            if name == "rows":
                count = self._count()
        samples = self._file.read(self._open["samples"], slice(0, count))
        if len(samples) < count or samples.dtype.names != _FIELDS:
            raise self._file.fail(f"{len(samples)} of {count} strays", f"{_GROUP}/samples")
        self._samples = samples
        self._describe_late_signals()

    def of(self, table: int, number: int, column: Column) -> tuple[np.ndarray, np.ndarray] | None:
        """Times and stored elements (n, width) of a signal's strays, in the order of arrival; None if it has none."""
        if self._samples is None:
            return None
        mine = self._samples[(self._samples["table"] == table) & (self._samples["column"] == number)]
        if len(mine) == 0:
            return None
        return mine["time"].astype(np.float64), self._elements(mine, column)

    def _count(self) -> int:
        with reading(self._file.path, f"{_GROUP}/rows"):
            values = np.ravel(self._open["rows"][()])
        if values.size != 1 or values.dtype.kind != "u":
            raise self._file.fail("not one number", f"{_GROUP}/rows")
        return int(values[0])

    def _elements(self, strays: np.ndarray, column: Column) -> np.ndarray:
        dtype = np.dtype([("start", "<u8"), ("bytes", "<u4")]) if column.is_text else column.dtype
        size = dtype.itemsize * column.width
        if (strays["bytes"] != size).any():
            raise self._file.fail(f"a stray of '{column.name}' that does not have {size} bytes", f"{_GROUP}/samples")
        rows = b"".join(self._bytes(int(start), size) for start in strays["start"])
        elements = np.frombuffer(rows, dtype).reshape(len(strays), column.width)
        if column.is_text:
            return decode_texts(elements, self._read_bytes, self._file, place_of(self._open["bytes"]))
        return elements

    def _read_bytes(self, part: slice) -> np.ndarray:
        return self._file.read(self._open["bytes"], part)

    def _bytes(self, start: int, size: int) -> bytes:
        data = self._read_bytes(slice(start, start + size)).tobytes()
        if len(data) != size:
            raise self._file.fail(f"a stray up to byte {start + size} of {start + len(data)}", f"{_GROUP}/bytes")
        return data

    def _describe_late_signals(self) -> None:
        assert self._samples is not None
        self.late = []
        following: dict[int, int] = {}
        for stray in self._samples[self._samples["column"] == _LATE]:
            table = int(stray["table"])
            if table not in following:
                known = self._tables.by_number.get(table)
                following[table] = len(known.columns) if known is not None else 0
            late = self._late_signal(table, following[table], stray)
            following[table] = late.number + 1
            self.late.append(late)

    def _late_signal(self, table: int, number: int, stray: np.void) -> LateSignal:
        with reading(self._file.path, f"{_GROUP}, the description of a signal"):
            said = json.loads(self._bytes(int(stray["start"]), int(stray["bytes"])))
            dims = str(said.get("dims", ""))
            texts = (str(said["name"]), str(said.get("unit", "")), str(said["class"]), dims)
            width = math.prod(int(dim) for dim in dims.split("x")) if dims else 1
            column = make_column(self._file, _GROUP, *texts, 0, width, 0, 0)
            fields = (dict(said.get("element", {})), dict(said.get("leaf", {})))
            return LateSignal(table, int(said.get("column", number)), column, *fields)
