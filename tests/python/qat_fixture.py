"""Writes Qat files with h5py: growing ones, odd ones and hostile ones, which the library of this project does not
write.
"""

from __future__ import annotations

import importlib.util
import json
import os
import struct
import sys
import tempfile
import unittest
from typing import Any, Sequence

import h5py
import numpy as np

sys.path.insert(0, os.path.join(os.path.dirname(__file__), "..", "..", "python"))
import vtio  # noqa: E402

TEXT = h5py.string_dtype()
REFERENCE = np.dtype([("table", "<u4"), ("column", "<u4"), ("part", "u1")])
CELL = np.dtype({"names": ["start", "bytes"], "formats": ["<u8", "<u4"], "offsets": [0, 8], "itemsize": 12})
STRAY = np.dtype([("table", "<u4"), ("column", "<u4"), ("time", "<f8"), ("start", "<u8"), ("bytes", "<u4")])
LATE = 0xFFFFFFFF
CLASSES = {"double": "<f8", "single": "<f4", "logical": "?", "double.complex": "<c16", "single.complex": "<c8"}


class Leaf:
    """A leaf of a table: its values (n, …) and what its record and its description say."""

    def __init__(self, name: str, values: Any, cls: str = "double", unit: str = "m", begin: int = 0,
                 count: int | None = None, **described: Any) -> None:
        self.name, self.cls, self.unit, self.begin, self.described = name, cls, unit, begin, described
        self.values = np.array(values, dtype=object if cls == "text" else CLASSES.get(cls, cls))
        self.count = len(self.values) if count is None else count

    @property
    def dims(self) -> tuple[int, ...]:
        return self.values.shape[1:]


class QatWriter:
    """A Qat file that is being written."""

    def __init__(self, path: str, version: Any = np.uint32(2), **options: Any) -> None:
        self.file = h5py.File(path, "w", libver="v110", track_order=True, **options)
        self.file.attrs["qat.format"] = "qat"
        self.file.attrs["qat.version"] = version
        self.elements: list[tuple[int, int, Leaf]] = []

    def table(self, number: int, time: Sequence[float], leaves: Sequence[Leaf], growing: bool = False) -> h5py.Group:
        """Writes a sample table; rows that a leaf does not have are zero.

        A growing one may get rows, and none are valid.
        """
        group = self.file.create_group(f"qat.samples/{number}")
        options = {"chunks": (1024,), "maxshape": (None,)} if growing else {}
        group.create_dataset("Time", data=np.array(time, "<f8"), **options)
        self._values(group, len(time), leaves, growing)
        records = self._records(group, leaves)
        group.create_dataset("columns", data=records, chunks=growing or None)
        if growing:
            group.create_dataset("rows", data=np.zeros(len(leaves), "<u8"), chunks=True)
        self.elements += [(number, i, leaf) for i, leaf in enumerate(leaves)]
        return group

    def describe(self, variable: str = "DATASET_SIGNAL_LOGGING", dataset: str = "logsout") -> None:
        """Writes the dataset with an element per leaf that was written."""
        root = self.structure(self.file, variable, {"DatasetStorageType": "x"})
        group = self.structure(root, "Dataset", {"Name": dataset})
        elements = group.create_group("Elements")
        elements.attrs["qat.kind"] = "cell"
        elements.attrs["qat.dims"] = np.array([len(self.elements), 1], "<u8")
        for i, (table, column, leaf) in enumerate(self.elements):
            said = {"Interpolation": "linear", "Unit": leaf.unit, **leaf.described}
            element = {"Name": leaf.name, "BlockPath": ["top", "sub"], "PortIndex": np.uint64(3), "PortKind": "outport"}
            reference = {part: np.array((table, column, i), REFERENCE) for i, part in enumerate(("Data", "Time"))}
            node = self.structure(elements, str(i), {**element, "Decimation": np.uint64(2), "MaxPoints": np.uint64(0)})
            self.structure(node, "Values", {"Kind": "leaf", **reference, **said})

    def structure(self, parent: h5py.Group, name: str, fields: dict[str, Any]) -> h5py.Group:
        group = parent.create_group(name, track_order=True)
        group.attrs["qat.kind"] = "struct"
        group.attrs.create("qat.fields", list(fields), dtype=TEXT)
        for field, value in fields.items():
            if isinstance(value, dict):
                self.structure(group, field, value)
            elif isinstance(value, list):
                group.create_dataset(field, data=value, dtype=TEXT if isinstance(value[0], str) else "<i4")
            else:
                group.attrs[field] = value
        return group

    def strays(self, room: int = 64) -> None:
        """Makes the log of strays, empty."""
        group = self.file.create_group("qat.strays")
        group.create_dataset("samples", (0,), STRAY, maxshape=(None,), chunks=(room,))
        group.create_dataset("bytes", (0,), "u1", maxshape=(None,), chunks=(1024,))
        group.create_dataset("rows", data=np.zeros(1, "<u8"), chunks=(1,))

    def stray(self, table: int, column: int, time: float, data: bytes) -> None:
        group = self.file["qat.strays"]
        count, start = int(group["rows"][0]), len(group["bytes"])
        group["bytes"].resize(start + len(data), 0)
        group["bytes"][start:] = np.frombuffer(data, "u1")
        group["samples"].resize(max(count + 1, len(group["samples"])), 0)
        group["samples"][count] = np.array((table, column, time, start, len(data)), STRAY)
        self.file.flush()
        group["rows"][0] = count + 1
        self.file.flush()

    def ring(self, table: int, column: int, size: int, capacity: int) -> None:
        """Makes a ring for one leaf; its samples are still those of the table."""
        group = self.file.create_group("qat.rings/0")
        fields = [(name, "<u4") for name in ("table", "column", "number", "time", "start", "bytes")]
        dtype = np.dtype([*fields, ("capacity", "<u8")])
        group["leaves"] = np.array([(table, column, 0, 0, 8, size, capacity)], dtype)
        group.create_dataset("samples", (0, 8 + size), "u1", maxshape=(None, 8 + size), chunks=(capacity, 8 + size))
        group.create_dataset("texts", (0,), "u1", maxshape=(None,), chunks=(1024,))
        group.create_dataset("rows", data=np.full(2, 2**64 - 1, "<u8"), chunks=(2,))

    def put(self, begin: int, samples: dict[int, tuple[float, bytes]]) -> None:
        """Puts numbered samples into the ring; those from `begin` on are valid then."""
        group = self.file["qat.rings/0"]
        capacity = int(group["leaves"]["capacity"][0])
        group["samples"].resize(capacity, 0)
        for number, (time, data) in samples.items():
            group["samples"][number % capacity] = np.frombuffer(struct.pack("<d", time) + data, "u1")
        self.file.flush()
        group["rows"][...] = [begin, max(samples) + 1]
        self.file.flush()

    def late(self, table: int, **record: Any) -> None:
        """Describes a signal that came late."""
        self.stray(table, LATE, 0.0, json.dumps(record).encode())

    def append(self, number: int, time: Sequence[float], cls: str, rows: Any, keep: int | None = None) -> None:
        """Appends rows to a growing table, behind the first `keep` ones."""
        group = self.file[f"qat.samples/{number}"]
        at = int(group["rows"][0]) if keep is None else keep
        if keep is not None:
            group["rows"][...] = keep
            self.file.flush()
        size = max(at + len(time), len(group["Time"]))
        group["Time"].resize(size, 0)
        group["Time"][at : at + len(time)] = time
        group[cls].resize(size, 0)
        group[cls][at : at + len(time)] = rows
        self.file.flush()
        group["rows"][...] = at + len(time)
        self.file.flush()

    def close(self) -> None:
        self.file.close()

    def __enter__(self) -> QatWriter:
        return self

    def __exit__(self, *_: Any) -> None:
        self.close()

    def _values(self, group: h5py.Group, rows: int, leaves: Sequence[Leaf], growing: bool) -> None:
        for cls in dict.fromkeys(leaf.cls for leaf in leaves):
            mine = [leaf for leaf in leaves if leaf.cls == cls]
            width = sum(int(np.prod(leaf.dims)) for leaf in mine)
            block = np.zeros((rows, width), object if cls == "text" else CLASSES.get(cls, cls))
            at = 0
            for leaf in mine:
                end = at + int(np.prod(leaf.dims))
                block[leaf.begin : leaf.begin + len(leaf.values), at:end] = leaf.values.reshape(len(leaf.values),
                    end - at)
                at = end
            if cls == "text":
                block, data = texts(block)
                group.create_dataset("text.bytes", data=np.frombuffer(data, "u1"))
            options = {"chunks": (1024, width), "maxshape": (None, width)} if growing else {}
            group.create_dataset(cls, data=block, **options)

    def _records(self, group: h5py.Group, leaves: Sequence[Leaf]) -> np.ndarray:
        kind = np.dtype([(name, h5py.string_dtype("utf-8", 40)) for name in ("name", "unit", "class", "dims")]
                        + [("first", "<u4"), ("width", "<u4"), ("begin", "<u8"), ("count", "<u8")])
        used: dict[str, int] = {}
        records = []
        for leaf in leaves:
            width, first = int(np.prod(leaf.dims)), used.get(leaf.cls, 0)
            used[leaf.cls] = first + width
            said = [text.encode() for text in (leaf.name, leaf.unit, leaf.cls, "x".join(map(str, leaf.dims)))]
            records.append((*said, first, width, leaf.begin, leaf.count))
        return np.array(records, kind)


def texts(block: np.ndarray) -> tuple[np.ndarray, bytes]:
    """The cells and the bytes that they lead to; equal texts share theirs."""
    known: dict[bytes, int] = {}
    data = b""
    cells = np.zeros(block.shape, CELL)
    for index in np.ndindex(block.shape):
        encoded = (block[index] or "").encode("utf-8", "surrogatepass")
        if encoded not in known:
            known[encoded] = len(data)
            data += encoded
        cells[index] = (known[encoded], len(encoded))
    return cells, data or b"\0"


class QatTest(unittest.TestCase):
    """A test with a folder of its own."""

    def setUp(self) -> None:
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = folder.name
        self.files = 0

    def path(self, name: str = "results.qat") -> str:
        return os.path.join(self.folder, name)

    def results(self, *leaves: Leaf, time: Sequence[float] | None = None) -> vtio.Results:
        """A file with one table, opened."""
        self.files += 1
        name = f"results{self.files}.qat"
        with QatWriter(self.path(name)) as writer:
            writer.table(0, range(len(leaves[0].values)) if time is None else time, leaves)
            writer.describe()
        return self.open(name)

    def open(self, name: str = "results.qat") -> vtio.Results:
        results = vtio.open(self.path(name))
        self.addCleanup(results.close)
        return results

    def same(self, found: Any, expected: Any) -> None:
        np.testing.assert_array_equal(found, expected)


def need(*packages: str) -> Any:
    """Skips a test whose packages are missing; where VTIO_NEED_PACKAGES is set that is a failure instead."""
    missing = [package for package in packages if importlib.util.find_spec(package) is None]
    if missing and os.environ.get("VTIO_NEED_PACKAGES"):
        raise SystemExit(f"missing: {', '.join(missing)}; scripts/install-packages.sh demo test check installs them")
    return unittest.skipIf(bool(missing), f"not installed: {', '.join(missing)}")
