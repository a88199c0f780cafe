"""Structures and cell arrays as they stand in a file, read field by field when asked for."""

from __future__ import annotations

import math
from typing import Any, Iterator, NamedTuple, Protocol, Sequence, Union

import h5py
import numpy as np

from ._hdf5 import QatFile, has, has_attribute, is_text, place_of, text_of

_DEEPEST = 64  # groups within groups


class Reference(NamedTuple):
    """Stands for samples: record `column` of sample table `table`; part 0 its values, 1 its times."""

    table: int
    column: int
    part: int


class Structure(Protocol):
    """A 1-by-1 structure."""

    def names(self) -> list[str]:
        """Its fields, in order."""

    def get(self, name: str) -> Value:
        """The value of a field; None if it has none."""


_REFERENCE = np.dtype([(name, np.uint32) for name in Reference._fields])
_REFERENCE_ID = h5py.h5t.py_create(_REFERENCE)

Value = Union[None, str, np.ndarray, np.generic, Reference, Structure, "Sequence[Any]"]
"""A stored value; a sequence is a cell array, or the elements of a structure array."""


class GroupStructure:
    """A structure that is a group: scalars and texts are attributes, the rest members."""

    def __init__(self, file: QatFile, group: h5py.Group, depth: int) -> None:
        self._file, self._group, self._depth = file, group, depth
        self.place = _address(group)

    def names(self) -> list[str]:
        fields = self._group.attrs.get("qat.fields")
        return [text_of(field) for field in fields] if fields is not None else []

    def get(self, name: str) -> Value:
        if has_attribute(self._group, name):
            return _attribute(self._group, name)
        return read_value(self._file, self._group, name, self._depth + 1) if has(self._group, name) else None


class Columns:
    """Structures of the same fields, stored field by field: a table, or a group of columns in one."""

    def __init__(self, file: QatFile, group: h5py.Group, rows: int, depth: int) -> None:
        if depth > _DEEPEST:
            raise file.fail("nested too deeply", place_of(group))
        self._file, self._group, self._depth = file, group, depth
        self.rows = rows
        self.place = _address(group)
        self.fields = [text_of(field) for field in group.attrs.get("qat.fields", ())]
        self._columns: dict[str, Sequence[Value]] = {}

    def column(self, name: str) -> Sequence[Value]:
        """The values of a field, one per row."""
        if name not in self._columns:
            self._columns[name] = self._open(name)
        return self._columns[name]

    def _open(self, name: str) -> Sequence[Value]:
        if name not in self.fields:
            return [None] * self.rows
        member = self._file.open(self._group, name)
        if isinstance(member, h5py.Dataset):
            return self._values(member)
        if text_of(member.attrs.get("qat.form", "")) == "columns":
            return Rows(Columns(self._file, member, self.rows, self._depth + 1))
        return Members(self._file, member, self.rows, self._depth + 1)

    def _values(self, dataset: h5py.Dataset) -> Sequence[Value]:
        if not dataset.shape or dataset.shape[0] != self.rows:
            raise self._file.fail(f"not one value for each of {self.rows} rows", place_of(dataset))
        values = self._file.read(dataset)
        if is_text(dataset.dtype):
            return _texts(values)
        return [_plain(value) for value in values]


class Rows(Sequence["Structure"]):
    """The rows of columns as structures."""

    def __init__(self, columns: Columns) -> None:
        self.columns = columns

    def __len__(self) -> int:
        return self.columns.rows

    def __getitem__(self, row: Any) -> Any:
        return RowStructure(self.columns, range(len(self))[row])


class RowStructure:
    """One row of columns."""

    def __init__(self, columns: Columns, row: int) -> None:
        self._columns, self._row = columns, row
        self.place = (*columns.place, row)

    def names(self) -> list[str]:
        return self._columns.fields

    def get(self, name: str) -> Value:
        return self._columns.column(name)[self._row]


class Members(Sequence["Value"]):
    """Values that are the members "0", "1", … of a group; one that is missing is None.

    With `structures` they are the elements of a structure array.
    """

    def __init__(self, file: QatFile, group: h5py.Group, count: int, depth: int, structures: bool = False) -> None:
        self._file, self._group, self._count, self._depth = file, group, count, depth
        self._structures = structures
        self.place = _address(group)

    def __len__(self) -> int:
        return self._count

    def __getitem__(self, index: Any) -> Any:
        name = str(range(self._count)[index])
        if not has(self._group, name):
            return None
        if self._structures:
            return GroupStructure(self._file, self._file.group(self._group, name), self._depth)
        return read_value(self._file, self._group, name, self._depth + 1)

    @property
    def rows(self) -> list[int]:
        """The numbers of those that are there, in order: the count is only what the file says."""
        return sorted(int(name) for name in self._group if name.isdigit() and int(name) < self._count)

    def __iter__(self) -> Iterator[Value]:
        return (self[number] for number in self.rows)


def read_value(file: QatFile, group: h5py.Group, name: str, depth: int = 0) -> Value:
    """A member of a group: numbers and texts as arrays, structures and cell arrays to be read when asked for."""
    if depth > _DEEPEST:
        raise file.fail("nested too deeply", place_of(group, name))
    member = file.open(group, name)
    if isinstance(member, h5py.Dataset):
        return _dataset(file, member)
    dims = _dims(file, member)
    if dims is None and has_attribute(member, "qat.fields"):
        return GroupStructure(file, member, depth)
    kind = text_of(member.attrs.get("qat.kind", ""))
    if kind == "struct" and dims is not None:
        return Members(file, member, math.prod(dims), depth, True)
    if kind != "cell" or dims is None:
        raise file.fail("neither a structure nor a cell array", place_of(member))
    if text_of(member.attrs.get("qat.form", "")) == "table":
        if math.prod(dims) > file.size:
            raise file.fail(f"a table of {math.prod(dims)} rows in a file of {file.size} bytes", place_of(member))
        return Rows(Columns(file, member, math.prod(dims), depth))
    return Members(file, member, math.prod(dims), depth)


def _address(group: h5py.Group) -> tuple[int, ...]:
    """Where a group stands in its file: the same for every link to it."""
    return (int(h5py.h5o.get_info(group.id).addr),)


def _dims(file: QatFile, group: h5py.Group) -> list[int] | None:
    if not has_attribute(group, "qat.dims"):
        return None
    dims = group.attrs["qat.dims"]
    if not isinstance(dims, np.ndarray) or dims.dtype.kind not in "iu" or (dims > np.uint64(1 << 48)).any():
        raise file.fail("qat.dims is no list of dimensions", place_of(group))
    return [int(dim) for dim in dims]


def _dataset(file: QatFile, dataset: h5py.Dataset) -> Value:
    values = file.read(dataset)
    if not is_text(dataset.dtype):
        return _plain(values[()]) if values.ndim == 0 else values
    return _texts(values) if values.ndim else text_of(values[()])


def _attribute(group: h5py.Group, name: str) -> Value:
    stored = h5py.h5a.open(group.id, name.encode())
    # There are many references, and h5py is slow to find out their type.
    if stored.shape == () and _is_reference(stored.get_type()):
        numbers = np.empty((), _REFERENCE)
        stored.read(numbers, _REFERENCE_ID)
        return Reference(*numbers.item())
    value = group.attrs[name]
    return text_of(value) if isinstance(value, (str, bytes)) else _plain(value)


def _is_reference(kind: h5py.h5t.TypeID) -> bool:
    if not isinstance(kind, h5py.h5t.TypeCompoundID) or kind.get_nmembers() != len(Reference._fields):
        return False
    return all(kind.get_member_name(i).decode("utf-8", "replace") == name for i, name in enumerate(Reference._fields))


def _plain(value: Any) -> Any:
    if isinstance(value, np.void) and value.dtype.names == Reference._fields:
        return Reference(*(int(value[name]) for name in value.dtype.names))
    return value


def _texts(values: np.ndarray) -> list[Any]:
    if values.ndim > 1:
        return [_texts(row) for row in values]
    return [text_of(value) for value in values]
