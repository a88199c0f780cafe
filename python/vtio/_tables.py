"""Sample tables: one row per time, columns of the elements of signals."""

from __future__ import annotations

import functools
import math
import os
import re
from typing import Callable, Iterator, NamedTuple

import h5py
import numpy as np

from ._hdf5 import QatFile, has, is_text, place_of, text_of
from .errors import QatError, reading

_GROUP = "qat.samples"
_NUMBERS = ("first", "width", "begin", "count")
_TEXTS = ("name", "unit", "class", "dims")
CLASSES: dict[str, np.dtype] = {
    "double": np.dtype("<f8"),
    "single": np.dtype("<f4"),
    "logical": np.dtype(bool),
    **{f"{sign}int{bits}": np.dtype(f"{sign}int{bits}") for sign in ("", "u") for bits in (8, 16, 32, 64)},
}
"""Element classes and their types; "text" is one more, and each of them but "logical" has a ".complex" one."""


class Column(NamedTuple):
    """One record of a table's `columns`: where the samples of a signal stand."""

    name: str
    unit: str
    element_class: str
    dimensions: tuple[int, ...]
    first: int
    width: int
    begin: int
    rows: int

    @property
    def is_text(self) -> bool:
        return self.element_class == "text"

    @property
    def is_complex(self) -> bool:
        return self.element_class.endswith(".complex")

    @property
    def dtype(self) -> np.dtype:
        """The type of one stored element: of texts object, of complex integers fields `r` and `i`."""
        return element_type(self.element_class)


def element_type(element_class: str) -> np.dtype:
    """The type of elements of a class."""
    if element_class == "text":
        return np.dtype(object)
    part = CLASSES[element_class.removesuffix(".complex")]
    if not element_class.endswith(".complex"):
        return part
    whole = {"<f8": "<c16", "<f4": "<c8"}.get(part.str)
    return np.dtype(whole) if whole else np.dtype({"names": ["r", "i"], "formats": [part, part]})


class SampleTable:
    """One table of an open file. Reads what is asked for and keeps nothing but the records."""

    def __init__(self, file: QatFile, group: h5py.Group) -> None:
        self._file, self._group = file, group
        self._datasets: dict[str, h5py.Dataset] = {}
        self.columns: list[Column] = []
        """One per signal. What a growing file has is there after `refresh`."""
        self._records = self._read_records()
        self._take_counts()

    def times(self, rows: slice) -> np.ndarray:
        """Seconds, float64."""
        return self._file.read(self._open("Time", 1), rows).astype(np.float64, copy=False)

    def elements(self, element_class: str, columns: slice, rows: slice) -> np.ndarray:
        """Stored elements of neighbouring columns, (rows, columns); texts as str."""
        dataset = self._open(element_class, 2)
        if rows.stop > dataset.shape[0] or columns.stop > dataset.shape[1]:
            wanted = f"{rows.stop} rows and {columns.stop} columns of {dataset.shape[0]} and {dataset.shape[1]}"
            raise self._file.fail(wanted, place_of(dataset))
        values = self._file.read(dataset, rows, columns)
        if element_class == "text":
            return self._texts(values, place_of(dataset))
        if values.dtype != element_type(element_class):
            raise self._file.fail(f"values of type {values.dtype}", place_of(dataset))
        return values

    def refresh(self) -> None:
        """Sees the rows that were added to a growing file, and no longer those that a step back took away."""
        self._take_counts()
        for name, dataset in self._datasets.items():
            with reading(self._file.path, f"{place_of(self._group)}/{name}"):
                dataset.refresh()

    @property
    def is_growing(self) -> bool:
        """Whether the table is being written, or was when its writer was killed."""
        return has(self._group, "rows")

    def chunk_columns(self, element_class: str) -> int:
        """Columns that are read at once anyway."""
        chunks = self._open(element_class, 2).chunks
        return int(chunks[1]) if chunks else 1

    def _open(self, name: str, rank: int) -> h5py.Dataset:
        if name not in self._datasets:
            self._datasets[name] = self._file.dataset(self._group, name, rank)
        return self._datasets[name]

    def _read_records(self) -> list[Column]:
        dataset = self._file.dataset(self._group, "columns", 1)
        types = {name: dataset.dtype[name] for name in dataset.dtype.names or ()}
        if not all(n in types and is_text(types[n]) for n in _TEXTS) or not all(
            n in types and types[n].kind in "ui" for n in _NUMBERS
        ):
            raise self._file.fail(f"records without {', '.join(_TEXTS + _NUMBERS)}", place_of(dataset))
        records = self._file.read(dataset)
        texts = [map(text_of, records[name].tolist()) for name in _TEXTS]
        numbers = [records[name].tolist() for name in _NUMBERS]
        return [make_column(self._file, place_of(self._group), *record) for record in zip(*texts, *numbers)]

    def _take_counts(self) -> None:
        """Sets `columns` to the records with the rows that are valid now."""
        columns = self._records
        if self.is_growing:
            rows = self._file.dataset(self._group, "rows", 1)
            with reading(self._file.path, place_of(rows)):
                rows.refresh()
            valid = self._file.read(rows)
            if valid.dtype.kind != "u" or len(valid) != len(columns):
                raise self._file.fail("not one number per column", place_of(rows))
            columns = [column._replace(rows=count) for column, count in zip(columns, valid.tolist())]
        extent = self._extent()
        for column in columns:
            if column.begin + column.rows > extent:
                what = f"rows up to {column.begin + column.rows} of {extent}"
                raise self._file.fail(what, f"{place_of(self._group)}, column '{column.name}'")
        self.columns = columns

    def _extent(self) -> int:
        times = self._open("Time", 1)
        if self.is_growing:
            with reading(self._file.path, place_of(times)):
                times.refresh()
        return int(times.shape[0])

    def _texts(self, cells: np.ndarray, place: str) -> np.ndarray:
        if cells.dtype.names != ("start", "bytes"):
            raise self._file.fail(f"texts of type {cells.dtype}", place)
        return decode_texts(cells, lambda part: self._file.read(self._open("text.bytes", 1), part), self._file, place)


def decode_texts(cells: np.ndarray, read: Callable[[slice], np.ndarray], file: QatFile, place: str) -> np.ndarray:
    """The texts that cells {start, bytes} of an array of bytes stand for; `read` gives a part of that array."""
    texts = np.full(cells.shape, "", dtype=object)
    used = cells["bytes"] > 0
    pieces = list(zip(cells["start"][used].tolist(), cells["bytes"][used].tolist()))
    if not pieces:
        return texts
    distinct = set(pieces)  # most texts repeat the one before: they share their bytes
    first, end = min(start for start, _ in pieces), max(start + size for start, size in pieces)
    if sum(size for _, size in distinct) > file.size:
        raise file.fail("texts that are longer than the file", place)
    data = read(slice(first, end)).tobytes()
    if len(data) < end - first:
        raise file.fail(f"a text up to byte {end} of {first + len(data)}", place)
    known = {(start, size): _utf8(data[start - first : start - first + size]) for start, size in distinct}
    texts[used] = [known[piece] for piece in pieces]
    return texts


def _utf8(data: bytes) -> str:
    try:
        return data.decode("utf-8", "surrogatepass")
    except UnicodeDecodeError:
        return data.decode("utf-8", "replace")


@functools.lru_cache(maxsize=1024)
def _dimensions(element_class: str, dims: str) -> tuple[int, ...] | None:
    """The dimensions, or None if class or dims make no sense."""
    base = element_class.removesuffix(".complex")
    known = element_class == "text" or element_class == "logical" or (base in CLASSES and base != "logical")
    if not known or not re.fullmatch(r"(\d{1,10}(x\d{1,10})*)?", dims):
        return None
    return tuple(int(dim) for dim in dims.split("x")) if dims else ()


def make_column(
    file: QatFile, place: str, name: str, unit: str, element_class: str, dims: str,
    first: int, width: int, begin: int, count: int,
) -> Column:  # fmt: skip
    """A column, after checking that class, dims and width make sense."""
    dimensions = _dimensions(element_class, dims)
    if dimensions is None:
        raise file.fail(f"class '{element_class}', dims '{dims}'", f"{place}, column '{name}'")
    if math.prod(dimensions) != width:
        raise file.fail(f"dims '{dims}' with {width} columns", f"{place}, column '{name}'")
    return Column(name, unit, element_class, dimensions, first, width, begin, count)


class SampleTables:
    """All tables of a file, also those that stand in a streamed file beside it."""

    def __init__(self, file: QatFile) -> None:
        self._file = file
        self._others: dict[str, QatFile] = {}
        self.by_number: dict[int, SampleTable] = {}
        if not has(file.root, _GROUP):
            return
        group = file.group(file.root, _GROUP)
        for name in sorted((name for name in group if re.fullmatch(r"0|[1-9]\d{0,9}", name)), key=int):
            self.by_number[int(name)] = self._table(group, name)

    def __iter__(self) -> Iterator[tuple[int, SampleTable]]:
        return iter(self.by_number.items())

    @property
    def files(self) -> list[QatFile]:
        """The file itself and those beside it that tables stand in."""
        return [self._file, *self._others.values()]

    def refresh(self) -> None:
        for table in self.by_number.values():
            table.refresh()

    def close(self) -> None:
        for other in self._others.values():
            other.close()

    def _table(self, group: h5py.Group, name: str) -> SampleTable:
        place = place_of(group, name)
        with reading(self._file.path, place):
            link = group.get(name, getlink=True)
            if not isinstance(link, h5py.ExternalLink):
                return SampleTable(self._file, self._file.group(group, name))
            other = self._beside(link, place, name)
            return SampleTable(other, other.group(other.group(other.root, _GROUP), name))

    def _beside(self, link: h5py.ExternalLink, place: str, name: str) -> QatFile:
        """The file that a link leads to, which must be in the same folder."""
        bare = os.fspath(link.filename)
        if not bare or bare in (".",
            "..") or "/" in bare or "\\" in bare or link.path.lstrip("/") != f"{_GROUP}/{name}":
            what = f"a link to {link.path} in {bare}; it must lead to the same member of a file in the same folder"
            raise self._file.fail(what, place)
        if bare not in self._others:
            path = os.path.join(os.path.dirname(self._file.path), bare)
            try:
                self._others[bare] = QatFile(path)
            except OSError as error:
                raise QatError(f"{self._file.path}: its samples stand in {path}: {error.strerror}, {place}") from error
        return self._others[bare]
