"""An open results file: where the samples of its signals stand, and how they are read."""

from __future__ import annotations

import os
from typing import Iterator, NamedTuple, Sequence

import numpy as np

from ._elements import Description, Descriptions, JsonStructure
from ._hdf5 import QatFile
from ._rings import Rings
from ._strays import Strays
from ._superblock import Superblock
from ._tables import Column, SampleTable, SampleTables

_BLOCK_BYTES = 256 << 20  # of several signals that are read at once


class Place(NamedTuple):
    """Where a signal's samples stand."""

    table: int
    number: int
    column: Column


class Store:
    """What a file holds, as it was when it was opened or last refreshed."""

    def __init__(self, path: str) -> None:
        self.path = path
        self._descriptions: Descriptions | None = None
        self._open()

    def close(self) -> None:
        """Closes the file and those beside it."""
        self._is_closed = True
        self.tables.close()
        self.file.close()

    def refresh(self) -> None:
        """Sees what was added to a growing file, or the file that took its place."""
        state = self._state()
        same_file = state[0] == self._opened[0]
        if same_file and not self._is_closed and self._is_growing and self._still_marked():
            self.tables.refresh()
            self.strays.refresh()
            self.rings.refresh()
            self._list()
        elif self._is_closed or self._is_growing or state != self._opened:
            self._open_again(same_file)

    def _open_again(self, same_file: bool) -> None:
        """Another file that cannot be opened leaves the one that is open."""
        file, tables = self.file, self.tables
        if same_file:  # HDF5 would give the file as it was opened before
            self.close()
        self._open()
        if not same_file:
            tables.close()
            file.close()

    @property
    def is_complete(self) -> bool:
        """Whether the file was closed by the program that wrote it."""
        growing = self.strays.is_growing or any(table.is_growing for _, table in self.tables)
        return not growing and not any(file.is_marked_open for file in self.tables.files)

    def description(self, name: str) -> Description | None:
        """What the datasets say about a signal."""
        place = self.places[name]
        for late in self.strays.late:
            if (late.table, late.number) == (place.table, place.number):
                element, leaf = JsonStructure(late.element), JsonStructure(late.leaf)
                return Description(str(late.element.get("dataset", "")), element, leaf)
        if self._descriptions is None:
            self._descriptions = Descriptions(self.file)
        return self._descriptions.find((place.table, place.number), name)

    def length(self, name: str) -> int:
        """Samples of a signal."""
        place = self.places[name]
        strays = self._strays(place)
        return place.column.rows + (len(strays[0]) if strays is not None else 0)

    def times(self, name: str, rows: range) -> np.ndarray:
        """Times of chosen samples of a signal."""
        place = self.places[name]
        strays = self._strays(place)
        if strays is None:
            return self._table_times(place, rows)
        return np.concatenate([self._table_times(place), strays[0]])[self._order(name)][_slice(rows)]

    def elements(self, name: str, rows: range) -> np.ndarray:
        """Stored elements of chosen samples of a signal, (rows, width)."""
        place = self.places[name]
        strays = self._strays(place)
        if strays is None:
            return self._table_elements(place, rows)
        return np.concatenate([self._table_elements(place), strays[1]])[self._order(name)][_slice(rows)]

    def base(self, name: str) -> tuple[object, ...]:
        """Equal for signals that have the same rows of the same table, and so the same times."""
        place = self.places[name]
        if self._strays(place) is not None:
            return (name,)
        return place.table, place.column.begin, place.column.rows

    def elements_of(self, names: Sequence[str], rows: range) -> dict[str, np.ndarray]:
        """The same as `elements` for signals of one base; what stands side by side is read at once."""
        found: dict[str, np.ndarray] = {}
        for run in self._runs(names, len(rows)):
            places = [self.places[name] for name in run]
            table = self.table(places[0])
            if len(run) == 1 or table is None:
                found.update({name: self.elements(name, rows) for name in run})
                continue
            first = places[0].column.first
            end = max(place.column.first + place.column.width for place in places)
            part, back = _forward(rows, places[0].column.begin)
            block = table.elements(places[0].column.element_class, slice(first, end), part)[::back]
            for name, place in zip(run, places):
                at = place.column.first - first
                found[name] = block[:, at : at + place.column.width]
        return found

    def _runs(self, names: Sequence[str], rows: int) -> Iterator[list[str]]:
        """Splits signals of one base into those that are best read together: a chunk of columns holds them anyway."""
        run: list[str] = []
        begin = end = 0
        by_column = sorted(names, key=lambda name: (self.places[name].column.element_class,
            self.places[name].column.first))
        for name in by_column:
            place = self.places[name]
            column, table = place.column, self.table(place)
            alone = table is None or column.is_text or self._strays(place) is not None
            joins = bool(run) and not alone and column.element_class == self.places[run[-1]].column.element_class
            if joins and table is not None:
                near = column.first <= end + table.chunk_columns(column.element_class)
                size = (column.first + column.width - begin) * rows * column.dtype.itemsize
                joins = near and size <= _BLOCK_BYTES
            if not joins:
                if run:
                    yield run
                run, begin = [], column.first
            run.append(name)
            end = column.first + column.width
        if run:
            yield run

    def table(self, place: Place) -> SampleTable | None:
        """The table of a signal; None if all of its samples are strays."""
        table = self.tables.by_number.get(place.table)
        return table if table is not None and place.number < len(table.columns) else None

    def _open(self) -> None:
        state = self._state()
        file = QatFile(self.path)
        try:
            tables = SampleTables(file)
            strays, rings = Strays(file, tables), Rings(file)
        except BaseException:
            file.close()
            raise
        self.file, self.tables, self.strays, self.rings = file, tables, strays, rings
        self._opened, self._is_closed = state, False
        self._descriptions = None
        self._list()

    def _list(self) -> None:
        self._order_of: dict[str, np.ndarray] = {}
        self._strays_of: dict[tuple[int, int], tuple[np.ndarray, np.ndarray] | None] = {}
        self.places: dict[str, Place] = {}
        for table_number, table in self.tables:
            for number, column in enumerate(table.columns):
                if not column.name:  # its samples are in another table now
                    continue
                if self.rings.has(table_number, number):  # they count as strays, and nothing is in the table
                    column = column._replace(rows=0)
                self.places.setdefault(column.name, Place(table_number, number, column))
        for late in self.strays.late:
            self.places.setdefault(late.column.name, Place(late.table, late.number, late.column))

    def _state(self) -> tuple[tuple[int, int], int, int]:
        status = os.stat(self.path)
        return (status.st_dev, status.st_ino), status.st_size, status.st_mtime_ns

    @property
    def _is_growing(self) -> bool:
        return any(file.is_live for file in self.tables.files)

    def _still_marked(self) -> bool:
        return all(Superblock(file.path).is_marked_swmr for file in self.tables.files if file.is_live)

    def _strays(self, place: Place) -> tuple[np.ndarray, np.ndarray] | None:
        if not self.strays.is_growing:
            return None
        key = (place.table, place.number)
        if key not in self._strays_of:
            found = self.rings.of(*place) or self.strays.of(*place)
            if found is None and self.table(place) is None:
                found = np.empty(0), np.empty((0, place.column.width), place.column.dtype)
            self._strays_of[key] = found
        return self._strays_of[key]

    def _order(self, name: str) -> np.ndarray:
        """The samples of a signal with strays in the order of their times; equal ones as they arrived."""
        if name not in self._order_of:
            place = self.places[name]
            strays = self._strays(place)
            assert strays is not None
            times = np.concatenate([self._table_times(place), strays[0]])
            self._order_of[name] = np.argsort(times, kind="stable")
        return self._order_of[name]

    def _table_times(self, place: Place, rows: range | None = None) -> np.ndarray:
        table = self.table(place)
        if table is None:
            return np.empty(0)
        part, back = _forward(range(place.column.rows) if rows is None else rows, place.column.begin)
        return table.times(part)[::back]

    def _table_elements(self, place: Place, rows: range | None = None) -> np.ndarray:
        table, column = self.table(place), place.column
        if table is None:
            return np.empty((0, column.width), column.dtype)
        part, back = _forward(range(column.rows) if rows is None else rows, column.begin)
        columns = slice(column.first, column.first + column.width)
        return table.elements(column.element_class, columns, part)[::back]


def _forward(rows: range, begin: int) -> tuple[slice, int]:
    """The rows of a table as a slice that goes forward, and -1 if what it gives is to be turned round."""
    back = -1 if rows.step < 0 else 1
    forward = rows[::back]
    if len(forward) == 0:
        return slice(0, 0, 1), 1
    return slice(forward[0] + begin, forward[-1] + begin + 1, forward.step), back


def _slice(rows: range) -> slice:
    """The same for an array in memory."""
    stop = rows.stop if rows.stop >= 0 else None
    return slice(rows.start, stop, rows.step) if len(rows) else slice(0, 0)
