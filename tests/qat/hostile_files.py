#!/usr/bin/env python3
"""Makes files that are valid HDF5 and contradict themselves: kinds, dims, fields, references, dimensions of tables,
records of columns and links, one to four of them in each file. Every third file was left while it was written, and
strays and rings are among what makes no sense. Number k is the same file every time.

    hostile_files.py FOLDER COUNT [FIRST]      k.qat for FIRST <= k < FIRST + COUNT; number 0 is left as it should be
    hostile_files.py --read PROGRAM COUNT      has qat_read_files survive that many of them, in a folder that goes away
"""
import json
import pathlib
import random
import struct
import subprocess
import sys
import tempfile

import h5py
import numpy as np

ROWS = 50
REFERENCE = np.dtype([("table", "u4"), ("column", "u4"), ("part", "u1")])
TEXT_CELL = np.dtype([("start", "<u8"), ("bytes", "<u4")])
RECORD = np.dtype([("name", "S12"), ("unit", "S4"), ("class", "S14"), ("dims", "S8"),
                   ("first", "u4"), ("width", "u4"), ("begin", "u8"), ("count", "u8")])
STRAY = np.dtype([("table", "<u4"), ("column", "<u4"), ("time", "<f8"), ("start", "<u8"), ("bytes", "<u4")])
RING_LEAF = np.dtype([(name, "<u4") for name in ("table", "column", "number", "time", "start", "bytes")] +
                     [("capacity", "<u8")])
TEXT = h5py.string_dtype()
LATE = 2**32 - 1  # the table of signals that came late, and the column of what describes them

NUMBERS = [0, 1, 2, 3, 7, 49, 50, 51, 255, 4096, 2**31 - 1, 2**31, 2**32 - 1, 2**32, 2**62, 2**63, 2**64 - 1]
TEXTS = ["", "cell", "struct", "char", "table", "columns", "row", "qat", "double", "double.complex", "text", "int8",
         "logical", "logical.complex", "text.complex", "3x3", "0x0", "x", "3x", "99999999999999999999",
         "4294967295x4294967295", "1x" * 300 + "1", ".", "..", "/", "../x", "%", "%00", "%zz", "qat.kind", "0", "17",
         "Time", "\ud7ff",
         "a" * 5000, "n\x00m"]


def ordered(parent, name):
    return parent.create_group(name, track_order=True)


def structure(parent, name, fields):
    group = ordered(parent, name)
    group.attrs["qat.kind"] = "struct"
    group.attrs["qat.fields"] = np.array(fields, dtype=TEXT)
    return group


def table_of_samples(parent, name, leaves):
    """A sample table. leaves: (name, class, dims as text, width)."""
    group = ordered(parent, name)
    group["Time"] = np.arange(ROWS) * 0.1
    records, next_column = [], {}
    for leaf, kind, dims, width in leaves:
        first = next_column.get(kind, 0)
        next_column[kind] = first + width
        records.append((leaf, "m", kind, dims, first, width, 0, ROWS))
    for kind, columns in next_column.items():
        if kind == "text":
            cells = np.zeros((ROWS, columns), TEXT_CELL)
            cells["start"], cells["bytes"] = np.arange(ROWS * columns).reshape(ROWS, columns) * 2, 2
            group.create_dataset("text", data=cells, chunks=(ROWS, columns))
            group.create_dataset("text.bytes", data=np.full(ROWS * columns * 2, ord("t"), "u1"))
        else:
            types = {"double": "f8", "int8": "i1", "logical": "?", "single.complex": "c8"}
            values = np.arange(ROWS * columns).reshape(ROWS, columns).astype(types[kind])
            group.create_dataset(kind, data=values, chunks=(25, columns), maxshape=(None, columns))
    group.create_dataset("columns", data=np.array(records, RECORD))


def write_sound(path):
    """What everything else is made from. A file that the reader takes."""
    with h5py.File(path, "w", libver=("v110", "v110"), track_order=True) as file:
        file.attrs["qat.format"] = "qat"
        file.attrs["qat.version"] = np.uint32(2)
        samples = ordered(file, "qat.samples")
        table_of_samples(samples, "0",
                         [("speed", "double", "", 1), ("gains", "double", "3x3", 9), ("on", "logical", "", 1),
                                        ("state", "text", "", 1), ("wave", "single.complex", "2", 2)])
        table_of_samples(samples, "1", [("slow", "int8", "2x2", 4)])
        file["matrix"] = np.arange(12.0).reshape(3, 4)
        file["complex"] = np.zeros(3, "c16")
        file["text"] = np.array("plain", "S5")
        file["texts"] = np.array([["a", "bc"], ["d", "e"]], "S2")
        units = file.create_dataset("units", data=np.array([[0x61, 0xD83D]], "u2"))
        units.attrs["qat.kind"] = "char"
        cells = ordered(file, "cells")
        cells.attrs["qat.kind"], cells.attrs["qat.dims"] = "cell", np.array([1, 3], "u8")
        cells["0"], cells["1"] = np.arange(3.0), True
        cells["qat.empty"] = np.array([2], "u8")
        one = structure(file, "structure", ["Unit", "Gain", "Data", "Samples", "Times"])
        one.attrs["Unit"], one.attrs["Gain"] = "m", 2.5
        one["Data"] = np.arange(4.0)
        one.attrs["Samples"] = np.array((0, 1, 0), REFERENCE)
        one.attrs["Times"] = np.array((0, 1, 1), REFERENCE)
        many = structure(file, "structures", ["x", "y"])
        many.attrs["qat.dims"] = np.array([1, 2], "u8")
        for i in range(2):
            element = ordered(many, str(i))
            element.attrs["x"] = float(i)
            element["y"] = np.arange(3.0)
        write_table(structure(file, "logsout", ["Elements"]))


def late_signal():
    """The description of a signal that came late."""
    def one(**fields):
        return {"class": "struct", "dims": [1, 1],
                "fields": [{"name": name, "values": [value]} for name, value in fields.items()]}

    data, time = ({"table": LATE, "column": 0, "part": part} for part in (0, 1))
    gains = {"class": "single", "dims": [1, 3], "values": [1, "NaN", 2.5]}
    return {"column": 0, "name": "late", "unit": "V", "class": "double", "dims": "", "variable": "results",
            "dataset": "logsout", "element": {"Name": "late", "dataset": "logsout"}, "leaf": {"Kind": "leaf"},
            "value": one(Name="late", Gains=gains, Values=one(Kind="leaf", Time=time, Data=data))}


def add_stream(file):
    """Makes it a file that was being written: tables with counts of rows, strays, and a ring."""
    samples = file["qat.samples"]
    for number, count in (("0", 5), ("1", 1)):
        samples[number].create_dataset("rows", data=np.full(count, ROWS - 10, "<u8"), chunks=(count,))
    table_of_samples(samples, "2", [("few", "double", "", 1), ("few texts", "text", "2", 2)])
    dataset = structure(structure(file, "results", ["Dataset"]), "Dataset", ["Elements"])
    write_table(dataset)
    for i, name in enumerate(("Few", "FewTexts")):
        few = structure(file, name, ["Data", "Time"])
        few.attrs["Data"], few.attrs["Time"] = np.array((2, i, 0), REFERENCE), np.array((2, i, 1), REFERENCE)
    cell = np.array((1, 3), TEXT_CELL).tobytes()
    pieces = [(0, 0, struct.pack("<d", 7)), (LATE, LATE, json.dumps(late_signal()).encode()), (1, 0, b"1234"),
              (LATE, 0, struct.pack("<d", 8)), (0, 0, struct.pack("<d", 9)), (0, 3, cell)]
    data, strays = b"", []
    for i, (table, column, piece) in enumerate(pieces):
        size = 12 if column == 3 else len(piece)
        strays.append((table, column, 100.0 + i, len(data), size))
        data += piece
    log = ordered(file, "qat.strays")
    log.create_dataset("samples", data=np.array(strays, STRAY), chunks=(8,), maxshape=(None,))
    log.create_dataset("bytes", data=np.frombuffer(data, "u1"), chunks=(64,), maxshape=(None,))
    log.create_dataset("rows", data=np.array([len(strays)], "<u8"), chunks=(1,))
    ring = ordered(ordered(file, "qat.rings"), "0")
    leaves = [(2, 0, 0, 0, 8, 8, 12), (2, 1, 1, 16, 24, 24, 12)]
    ring["leaves"] = np.array(leaves, RING_LEAF)
    rows = [struct.pack("<dddQIQI", n, n + 0.5, n, 3 * n, 3, 0, 0) for n in range(12)]
    ring.create_dataset("samples", data=np.frombuffer(b"".join(rows), "u1").reshape(12, 48), chunks=(6, 48),
                        maxshape=(None, 48))
    ring.create_dataset("texts", data=np.full(36, ord("t"), "u1"), chunks=(64,), maxshape=(None,))
    ring.create_dataset("rows", data=np.array([20, 30, 5, 15], "<u8"), chunks=(4,))


def write_table(parent):
    rows = 5
    table = ordered(parent, "Elements")
    table.attrs["qat.kind"], table.attrs["qat.form"] = "cell", "table"
    table.attrs["qat.dims"] = np.array([rows, 1], "u8")
    table.attrs["qat.fields"] = np.array(["Name", "Port", "Path", "Values", "Extra"], dtype=TEXT)
    table["Name"] = np.array([f"signal {i}" for i in range(rows)], "S8")
    table["Port"] = np.arange(float(rows))
    table["Path"] = np.array([["top", "block"]] * rows, "S5")
    values = ordered(table, "Values")
    values.attrs["qat.form"] = "columns"
    values.attrs["qat.fields"] = np.array(["Unit", "Data", "Time"], dtype=TEXT)
    values["Unit"] = np.array(["m"] * rows, "S1")
    values["Data"] = np.array([(0, i, 0) for i in range(rows)], REFERENCE)
    values["Time"] = np.array([(0, i, 1) for i in range(rows)], REFERENCE)
    extra = ordered(table, "Extra")
    for i in range(rows):
        extra[str(i)] = np.arange(i + 1.0)


class Nonsense:
    """Changes of one open file, each at a random place."""

    def __init__(self, file, seed):
        self.file = file
        self.random = random.Random(seed)
        self.groups, self.datasets = [file], []
        file.visititems(lambda _, item: (self.groups if isinstance(item, h5py.Group) else self.datasets).append(item))

    def run(self):
        changes = [self.attribute, self.attribute, self.new_attribute, self.record, self.record, self.reference,
                   self.text_cell, self.replace_member, self.remove_member, self.resize, self.link,
                   self.same_object_again, self.many_fields, self.wrong_type, self.huge_shape]
        if "qat.strays" in self.file:
            changes += 8 * [self.streamed]
        for _ in range(self.random.randint(1, 4)):
            try:
                self.random.choice(changes)()
            except (KeyError, ValueError, OSError, RuntimeError, TypeError, OverflowError, MemoryError):
                pass  # an earlier change has taken the place away, or HDF5 itself refuses the nonsense

    def pick(self, items):
        return self.random.choice(items)

    def value(self):
        """Something for an attribute or a dataset."""
        kind = self.random.randrange(9)
        if kind == 0:
            return np.array(self.pick(NUMBERS), "u8")
        if kind == 1:
            return np.array([self.pick(NUMBERS) for _ in range(self.random.randint(0, 40))], "u8")
        if kind == 2:
            return np.array([self.pick(TEXTS) for _ in range(self.random.randint(0, 12))], dtype=TEXT)
        if kind == 3:
            return np.array([tuple(self.pick(NUMBERS) % 2**w for w in (32, 32, 8)) for _ in range(5)], REFERENCE)
        if kind == 4:
            return np.zeros([self.pick([0, 1, 2, 5]) for _ in range(self.random.randint(0, 6))],
                            self.pick(["f8", "c8", "?", "i1"]))
        if kind == 5:
            return np.array([np.nan, -1.0, 1e300, 0.5])
        if kind == 6:
            return np.array(["a", "bc"], "S3")
        if kind == 7:
            return np.zeros((2, 3), RECORD)
        return self.pick(TEXTS)

    def attribute(self):
        """An attribute that is there says something else."""
        item = self.pick([i for i in self.groups + self.datasets if len(i.attrs)])
        item.attrs[self.pick(list(item.attrs))] = self.value()

    def new_attribute(self):
        item = self.pick(self.groups + self.datasets)
        names = ["qat.kind", "qat.dims", "qat.form", "qat.fields", "qat.shape", "Unit", "0", "Data"]
        item.attrs[self.pick(names)] = self.value()

    def numbers_in(self, name):
        return [d for d in self.datasets if d and d.size < 10**4 and d.dtype.names and name in d.dtype.names]

    def record(self):
        """One field of one record of a sample table."""
        dataset = self.pick(self.numbers_in("begin"))
        records = dataset[()]
        field = self.pick(RECORD.names)
        at = self.random.randrange(len(records))
        if RECORD[field].kind == "S":
            records[field][at] = self.pick(TEXTS).encode("utf-8", "surrogatepass")[:RECORD[field].itemsize]
        else:
            records[field][at] = self.pick(NUMBERS) % 2**(8 * RECORD[field].itemsize)
        dataset[...] = records

    def reference(self):
        dataset = self.pick(self.numbers_in("part"))
        references = dataset[()]
        field = self.pick(REFERENCE.names)
        references[field][self.random.randrange(len(references))] = (
            self.pick(NUMBERS) % 2**(8 * REFERENCE[field].itemsize))
        dataset[...] = references

    def text_cell(self):
        dataset = self.pick(self.numbers_in("start"))
        cells = dataset[()]
        field = self.pick(TEXT_CELL.names)
        cells[field][self.random.randrange(len(cells))] = self.pick(NUMBERS) % 2**(8 * TEXT_CELL[field].itemsize)
        dataset[...] = cells

    def streamed(self):
        """One field of a stray or of a leaf of a ring, one count, or some bytes of a description."""
        names = ["qat.strays/samples", "qat.strays/samples", "qat.strays/rows", "qat.strays/bytes", "qat.strays/bytes",
                 "qat.samples/0/rows", "qat.rings/0/leaves", "qat.rings/0/leaves", "qat.rings/0/rows",
                 "qat.rings/0/samples"]
        dataset = self.file[self.pick(names)]
        values = dataset[()]
        if values.dtype.names:
            field = self.pick([name for name in values.dtype.names if values.dtype[name].kind == "u"])
            values[field][self.random.randrange(len(values))] = (
                self.pick(NUMBERS) % 2**(8 * values.dtype[field].itemsize))
        elif values.dtype.itemsize == 8:
            values[self.random.randrange(len(values))] = self.pick(NUMBERS)
        elif dataset.name == "/qat.strays/bytes" and self.random.random() < 0.7:
            self.description(dataset)
            return
        else:
            flat = values.reshape(-1)
            flat[self.random.randrange(len(flat))] = self.random.randrange(256)
        dataset[...] = values

    def description(self, dataset):
        """A description that says something else, in the place of the one that is there."""
        samples = self.file["qat.strays/samples"]
        strays = samples[()]
        at = int(np.flatnonzero(strays["column"] == LATE)[0])
        said = late_signal()
        inner = said["value"]["fields"][1]["values"][0]
        where = self.pick([said, said, said["value"], inner, inner["dims"], said["value"]["fields"]])
        what = self.pick([None, 0, -1, 2**64 - 1, 1e300, "", "3x3", "text", [], [[]], {}, [1, 2**62], late_signal()])
        if isinstance(where, dict):
            where[self.pick(list(where))] = what
        else:
            where[self.random.randrange(len(where))] = what
        text = json.dumps(said).encode() if self.random.random() < 0.8 else b"[" * 5000
        strays["start"][at], strays["bytes"][at] = dataset.shape[0], len(text)
        dataset.resize(dataset.shape[0] + len(text), 0)
        dataset[-len(text):] = np.frombuffer(text, "u1")
        samples[...] = strays

    def members(self):
        return [(group, name) for group in self.groups for name in group]

    def replace_member(self):
        group, name = self.pick(self.members())
        del group[name]
        if self.random.random() < 0.2:
            group.create_group(name)
        else:
            group[name] = self.value()

    def remove_member(self):
        group, name = self.pick(self.members())
        del group[name]

    def resize(self):
        """A dataset of another shape in the place of one."""
        group, name = self.pick([(g, n) for g, n in self.members()
                                 if isinstance(g[n], h5py.Dataset) and g[n].size < 10**4])
        data = group[name][()]
        del group[name]
        shape = [max(0, extent + self.random.randint(-2, 2)) for extent in np.shape(data)]
        if self.random.random() < 0.3:
            shape.append(self.pick([0, 1, 3]))
        group[name] = np.resize(data, shape)

    def huge_shape(self):
        """Extents that little or nothing was ever written for."""
        group, name = self.pick([(g, n) for g, n in self.members() if isinstance(g[n], h5py.Dataset)])
        dtype = group[name].dtype
        del group[name]
        shape = tuple(self.pick([1, 7, 10**6, 2**31, 2**40]) for _ in range(self.random.randint(1, 3)))
        chunks = tuple(min(extent, self.pick([1, 1000, 10**5]))
                       for extent in shape) if self.random.random() < 0.7 else None
        late = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
        late.set_alloc_time(h5py.h5d.ALLOC_TIME_LATE)
        late.set_fill_time(h5py.h5d.FILL_TIME_NEVER)
        if self.random.random() < 0.5:
            group.create_dataset(name, shape=shape, dtype=dtype, chunks=chunks, dcpl=late,
                                 compression=self.pick([None, "gzip"]) if chunks else None)
        else:  # one chunk is there
            sparse = group.create_dataset(name, shape=(self.pick([10**6, 2**31, 2**40]),), dtype=dtype, chunks=(1000,),
                                          maxshape=(None,))
            sparse[0] = np.zeros((), dtype)

    def wrong_type(self):
        group, name = self.pick([(g, n) for g, n in self.members()
                                 if isinstance(g[n], h5py.Dataset) and g[n].size < 10**4])
        shape = group[name].shape
        del group[name]
        kinds = ["f2", ">f8", ">i4", "u1", "S1", "V5", "c16", TEXT, h5py.vlen_dtype("i4"), h5py.ref_dtype,
                 np.dtype(("f8", (2,))), h5py.enum_dtype({"A": 1, "B": 2}, "i4"),
                 np.dtype([("r", "f8"), ("i", "f4")]), np.dtype([("a", RECORD)])]
        group.create_dataset(name, shape=shape, dtype=self.pick(kinds))

    def link(self):
        """Links that lead elsewhere."""
        group, name = self.pick(self.members())
        if self.random.random() < 0.6:
            del group[name]
        else:
            name = self.pick(["0", "1", "2", "Data", "new"])
        targets = [h5py.SoftLink(self.pick(["/", ".", "/matrix", "/nowhere", "/" + name])),
                   h5py.ExternalLink(self.pick(["0.qat", "/etc/passwd", "../0.qat", ".", "", "none.qat", "/dev/zero"]),
                                     self.pick(["/", "/qat.samples/0", "/matrix", "x"]))]
        group[name] = self.pick(targets)

    def same_object_again(self):
        """Hard links to an object from anywhere, cycles included."""
        group, name = self.pick(self.members())
        target = self.pick(self.groups + self.datasets)
        if self.random.random() < 0.7:
            del group[name]
            group[name] = target
        else:
            group[self.pick(["0", "1", "more"])] = target

    def many_fields(self):
        """Structures that share sub-structures level by level, or have very many fields."""
        if self.random.random() < 0.5:
            inner = structure(self.file, "shared", ["x"])
            inner.attrs["x"] = 1.0
            for level in range(40):
                outer = structure(self.file, f"level {level}", ["a", "b"])
                outer["a"] = outer["b"] = inner
                inner = outer
        else:
            names = [f"field {i % 9999}" for i in range(20000)]
            wide = self.file.create_group("wide")
            wide.attrs["qat.kind"] = "struct"
            wide.attrs.create("qat.fields", np.array(names[:4000], dtype=TEXT))


def write_hostile(path, number):
    write_sound(path)
    if number > 0:
        with h5py.File(path, "r+", libver=("v110", "v110")) as file:
            if number % 3 == 0:
                add_stream(file)
            Nonsense(file, number).run()


def write_many(folder, count, first=0):
    for number in range(first, first + count):
        write_hostile(folder / f"{number}.qat", number)


def survive(program, count):
    """Some at a time, as a folder. @return the status of the worst"""
    at_once, status = 250, 0
    for first in range(0, count, at_once):
        with tempfile.TemporaryDirectory() as name:
            write_many(pathlib.Path(name), min(at_once, count - first), first)
            files = sorted(pathlib.Path(name).iterdir())
            status |= subprocess.run([program, "survive", *files], check=False).returncode
    return status


if __name__ == "__main__":
    if sys.argv[1] == "--read":
        sys.exit(survive(sys.argv[2], int(sys.argv[3])))
    write_many(pathlib.Path(sys.argv[1]), int(sys.argv[2]), *map(int, sys.argv[3:4]))
