"""The newest samples of signals with a limit of points in a growing file: the group `qat.rings`.

Each ring has `leaves`, which say what record of which table they stand for, where their times and bytes are in a row of
`samples`, and how many rows there are (`capacity`): sample n is in row n modulo that. `rows` has two numbers for each
leaf, from 2 * `number` on: its first valid sample and the one after its last; the first is the largest one where the
samples are those of the table. The cells of texts lead to `texts`.
"""

from __future__ import annotations

from typing import NamedTuple

import h5py
import numpy as np

from ._hdf5 import QatFile, has, place_of
from ._tables import Column, decode_texts
from .errors import reading

_GROUP = "qat.rings"
_FIELDS = ("table", "column", "number", "time", "start", "bytes", "capacity")
_IN_TABLE = 2**64 - 1
_TRIES = 10


class _Ring:
    """One ring of an open file."""

    def __init__(self, file: QatFile, group: h5py.Group) -> None:
        self._file = file
        self.leaves = file.read(file.dataset(group, "leaves", 1))
        self._rows = file.dataset(group, "rows", 1)
        self._samples = file.dataset(group, "samples", 2)
        self._texts = file.dataset(group, "texts", 1) if has(group, "texts") else None
        self.place = place_of(group)
        if self.leaves.dtype.names != _FIELDS or self._rows.dtype.kind != "u":
            raise file.fail("leaves or rows of another type", self.place)

    def ranges(self) -> list[int]:
        """The two numbers of each leaf as they are now."""
        with reading(self._file.path, self.place):
            self._rows.refresh()
        return [int(number) for number in self._file.read(self._rows)]

    def read(self, leaf: np.void, column: Column) -> tuple[np.ndarray, np.ndarray]:
        """Times and stored elements (n, width) of a leaf, oldest first."""
        begin, end = self._range(leaf)
        for _ in range(_TRIES):
            found = self._read_range(leaf, column, begin, end)
            first, last = self._range(leaf)
            if first <= begin and last >= end:  # the writer has overwritten none of them
                return found
            begin, end = first, last
        raise self._file.fail(f"samples of '{column.name}' are overwritten faster than they can be read", self.place)

    def _range(self, leaf: np.void) -> tuple[int, int]:
        numbers, at = self.ranges(), 2 * int(leaf["number"])
        capacity = int(leaf["capacity"])
        if at + 1 >= len(numbers) or not 0 <= numbers[at + 1] - numbers[at] <= capacity or capacity == 0:
            raise self._file.fail("a leaf without a place", self.place)
        return numbers[at], numbers[at + 1]

    def _read_range(self, leaf: np.void, column: Column, begin: int, end: int) -> tuple[np.ndarray, np.ndarray]:
        dtype = np.dtype([("start", "<u8"), ("bytes", "<u4")]) if column.is_text else column.dtype
        time, start, size = int(leaf["time"]), int(leaf["start"]), int(leaf["bytes"])
        if size != dtype.itemsize * column.width:
            raise self._file.fail(f"samples of '{column.name}' of {size} bytes", self.place)
        times = self._columns(leaf, begin, end, time, 8).view("<f8").reshape(-1)
        elements = self._columns(leaf, begin, end, start, size).view(dtype).reshape(end - begin, column.width)
        if not column.is_text:
            return times, elements
        if self._texts is None:
            raise self._file.fail("texts that are nowhere", self.place)
        with reading(self._file.path, self.place):
            self._texts.refresh()
        texts = self._texts
        return times, decode_texts(elements, lambda part: self._file.read(texts, part), self._file, self.place)

    def _columns(self, leaf: np.void, begin: int, end: int, first: int, size: int) -> np.ndarray:
        """Bytes [first, first + size) of the rows of samples."""
        with reading(self._file.path, self.place):
            self._samples.refresh()
        rows, width = self._samples.shape
        capacity = int(leaf["capacity"])
        pieces, number = [np.empty((0, size), "u1")], begin
        while number < end:
            row = number % capacity
            count = min(end - number, capacity - row)
            if row + count > rows or first + size > width:
                raise self._file.fail("samples that are not in the rows", self.place)
            columns = slice(first, first + size)
            pieces.append(self._file.read(self._samples, slice(row, row + count), columns))
            number += count
        return np.ascontiguousarray(np.concatenate(pieces))


class _Place(NamedTuple):
    ring: _Ring
    leaf: np.void


class Rings:
    """The leaves of all rings of a file at the time of the last `refresh`."""

    def __init__(self, file: QatFile) -> None:
        self._rings: list[_Ring] = []
        self._places: dict[tuple[int, int], _Place] = {}
        if has(file.root, _GROUP):
            group = file.group(file.root, _GROUP)
            self._rings = [_Ring(file, file.group(group, name)) for name in group]
        self.refresh()

    def refresh(self) -> None:
        """Sees which signals are there."""
        self._places = {}
        for ring in self._rings:
            ranges = ring.ranges()
            for leaf in ring.leaves:
                at = 2 * int(leaf["number"])
                if at < len(ranges) and ranges[at] != _IN_TABLE:
                    self._places.setdefault((int(leaf["table"]), int(leaf["column"])), _Place(ring, leaf))

    def has(self, table: int, number: int) -> bool:
        """Whether a signal's samples are those of a ring."""
        return (table, number) in self._places

    def of(self, table: int, number: int, column: Column) -> tuple[np.ndarray, np.ndarray] | None:
        """Times and stored elements (n, width) of a signal, oldest first; None if it is in no ring."""
        place = self._places.get((table, number))
        return place.ring.read(place.leaf, column) if place is not None else None
