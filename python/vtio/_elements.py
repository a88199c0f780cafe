"""What the datasets of a file say about its signals."""

from __future__ import annotations

from typing import Any, Iterator, NamedTuple, Optional, Sequence

import h5py
import numpy as np

from ._hdf5 import QatFile, has, text_of
from ._stored import GroupStructure, Members, Reference, Rows, Structure, Value, read_value
from .errors import reading

_DEEPEST = 64  # buses within buses


class Description(NamedTuple):
    """Where a signal comes from, and what its values mean."""

    dataset: str
    """Name of the dataset."""
    element: Structure
    """The signal's element in the dataset."""
    leaf: Structure
    """The leaf in the element's `Values`."""


class JsonStructure:
    """A structure that a late signal is described by."""

    def __init__(self, fields: dict[str, Any]) -> None:
        self._fields = fields

    def names(self) -> list[str]:
        return list(self._fields)

    def get(self, name: str) -> Value:
        value = self._fields.get(name)
        return JsonStructure(value) if isinstance(value, dict) else value


class Descriptions:
    """What the datasets of a file say about its signals. Looks at an element when a signal of it is asked for."""

    def __init__(self, file: QatFile) -> None:
        with reading(file.path, "the list of variables"):
            variables = [name for name in file.root["/"] if not name.startswith("qat.")]
        self._file = file
        self._datasets: list[_Dataset] = []
        for variable in variables:
            with reading(file.path, variable):
                elements = _elements_of(file, variable)
                if elements is not None:
                    self._datasets.append(_Dataset(*elements))

    def find(self, place: tuple[int, int], name: str) -> Optional[Description]:
        """The description of the signal of a name, whose samples are record `column` of table `table`.

        The name of a signal begins with that of its element: such elements come first, then all others.
        """
        for dataset in self._datasets:
            with reading(self._file.path, f"the elements of {dataset.name or 'a dataset'}"):
                for length in range(len(name), -1, -1):
                    for row in dataset.rows_of.pop(name[:length], ()):
                        dataset.walk(row)
                    if place in dataset.found:
                        return dataset.found[place]
        for dataset in self._datasets:
            with reading(self._file.path, f"the elements of {dataset.name or 'a dataset'}"):
                for rows in dataset.rows_of.values():
                    for row in rows:
                        dataset.walk(row)
            dataset.rows_of.clear()
            if place in dataset.found:
                return dataset.found[place]
        return None


def _elements_of(file: QatFile, variable: str) -> Optional[tuple[str, Sequence[Any]]]:
    """Name and elements of a dataset, which is a structure with `Dataset`, which has `Name` and `Elements`."""
    if file.root.get(variable, getclass=True, getlink=True) is not h5py.HardLink:
        return None
    root = file.open(file.root, variable)
    if not isinstance(root, h5py.Group) or not has(root, "Dataset"):
        return None
    dataset = read_value(file, root, "Dataset")
    elements: Any = dataset.get("Elements") if isinstance(dataset, GroupStructure) else None
    if not isinstance(elements, (Rows, Members)) or not isinstance(dataset, GroupStructure):
        return None
    return text(dataset, "Name"), elements


class _Dataset:
    """The elements of one dataset that were not walked yet, and what was found in the others."""

    def __init__(self, name: str, elements: Any) -> None:
        self.name, self._elements = name, elements
        self.found: dict[tuple[int, int], Description] = {}
        self._walk = _Walk(name, self.found)
        self.rows_of: dict[str, list[int]] = {}
        """Rows by the name of the element."""
        for row, element_name in _names_of(elements):
            self.rows_of.setdefault(element_name, []).append(row)

    def walk(self, row: int) -> None:
        """Finds the signals of an element."""
        element = self._elements[row]
        self._walk(element.get("Values"), element)


def _names_of(elements: Any) -> Iterator[tuple[int, str]]:
    """The rows that are elements, and their names."""
    if isinstance(elements, Rows):
        for row, name in enumerate(elements.columns.column("Name")):
            yield row, name if isinstance(name, str) else ""
        return
    for row in elements.rows:
        if _is_structure(elements[row]):
            yield row, text(elements[row], "Name")


def _is_structure(value: Any) -> bool:
    return hasattr(value, "names") and hasattr(value, "get")


class _Walk:
    """Finds the leaves below a value: a leaf, a bus of such values, or a cell array of them. Enters a group once."""

    def __init__(self, dataset: str, found: dict[tuple[int, int], Description]) -> None:
        self._dataset, self._found = dataset, found
        self._seen: set[tuple[int, ...]] = set()

    def __call__(self, value: Any, element: Any, depth: int = 0) -> None:
        place = getattr(value, "place", None)
        if depth > _DEEPEST or place in self._seen:
            return
        if place is not None:
            self._seen.add(place)
        if _is_structure(value):
            self._structure(value, element, depth)
        elif isinstance(value, Sequence) and not isinstance(value, str):
            for member in value:
                self(member, element, depth + 1)

    def _structure(self, value: Any, element: Any, depth: int) -> None:
        data = value.get("Data")
        if isinstance(data, Reference):  # a leaf; the fields of a bus are structures
            self._found.setdefault((data.table, data.column), Description(self._dataset, element, value))
        elif value.get("Kind") == "bus":
            for name in value.names():
                if name != "Kind":
                    self(value.get(name), element, depth + 1)


def text(structure: Structure | None, field: str) -> str:
    """A field that is text; empty if it is not there."""
    value = structure.get(field) if structure is not None else None
    return value if isinstance(value, str) else ""


def number(structure: Structure | None, field: str, default: float) -> float:
    """A field that is a number."""
    value = structure.get(field) if structure is not None else None
    return value.item() if isinstance(value, np.generic) else value if isinstance(value, (int, float)) else default


def texts(structure: Structure | None, field: str) -> list[str]:
    """A field that is a list of texts."""
    value = structure.get(field) if structure is not None else None
    if isinstance(value, str):
        return [value]
    return [text_of(entry) for entry in value] if isinstance(value, Sequence) and not isinstance(value, Rows) else []


def numbers(structure: Structure | None, field: str) -> list[int]:
    """A field that is a list of whole numbers."""
    value = structure.get(field) if structure is not None else None
    return [int(entry) for entry in np.ravel(value)] if isinstance(value, (np.ndarray, np.generic, list, int)) else []
