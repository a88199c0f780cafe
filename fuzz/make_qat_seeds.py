#!/usr/bin/env python3
"""Writes the seeds of fuzz_qat_file, with h5py: one of everything that a Qat file holds, what h5py makes of chunks,
filters, types, and attributes and links that are too many for their object's header, and what is refused by name."""

import pathlib
import sys
import zlib

import h5py
import numpy as np

ROOT = pathlib.Path(__file__).resolve().parent
HERE = ROOT / "corpus" / "qat_file"
sys.path.append(str(ROOT.parent / "tests" / "qat"))
from hostile_files import add_stream, write_sound  # noqa: E402


def seed(name):
    file = h5py.File(HERE / name, "w", libver=("v110", "v110"))
    file.attrs["qat.format"] = "qat"
    file.attrs["qat.version"] = np.uint32(2)
    return file


def chunks(name, **filters):
    with seed(name) as file:
        file.create_dataset("single", data=np.arange(8.0), chunks=(8,), **filters)
        file.create_dataset("fixed", data=np.arange(24.0), chunks=(4,), **filters)
        file.create_dataset("growing", data=np.arange(300, dtype="f4"), chunks=(1,), maxshape=(None,), **filters)
        file.create_dataset("table", data=np.arange(48.0).reshape(6, 8), chunks=(2, 8), maxshape=(None, 8), **filters)


def paged(name):
    with seed(name) as file:
        file.create_dataset("paged", data=np.arange(1100) % 251, dtype="u1", chunks=(1,))


def early(file, name, *shapes):
    """A dataset whose storage is there from the start."""
    plist = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
    plist.set_chunk((4,))
    plist.set_alloc_time(h5py.h5d.ALLOC_TIME_EARLY)
    h5py.h5d.create(file.id, name, h5py.h5t.IEEE_F64LE, h5py.h5s.create_simple(*shapes), dcpl=plist)


def refused(name):
    """What HDF5 has, but Qat files do not."""
    with seed(name) as file:
        early(file, b"implicit", (12,))
        file.create_dataset("tree", data=np.zeros((6, 8)), chunks=(2, 3), maxshape=(None, None))
        file.create_dataset("checksum", data=np.arange(8.0), chunks=(8,), fletcher32=True)
        file.create_dataset("virtual", data=np.arange(3.0))
        del file["virtual"]
        layout = h5py.VirtualLayout((8,), "f8")
        layout[:] = h5py.VirtualSource(".", "checksum", (8,))
        file.create_virtual_dataset("virtual", layout)
        file["named"] = np.dtype("f8")
        file.create_dataset("shared", data=np.arange(3.0), dtype=file["named"])
        file.create_dataset("half", data=np.arange(4, dtype="f2"))
        file.create_dataset("big", data=np.arange(4, dtype=">i4"))
        file.create_dataset("opaque", data=np.void(b"abc"))
        file.create_dataset("bits", data=np.arange(3.0)).attrs["reference"] = file.ref
        file.create_dataset("array", data=np.zeros(2, np.dtype([("a", "i4"), ("b", "f8", (2, 3))])))
        file.create_dataset("lists", shape=(2,), dtype=h5py.vlen_dtype("i4"))
        file.create_dataset("nothing", data=h5py.Empty("f8"))
        file.create_dataset("large chunks", shape=(2**23,), dtype="f8", chunks=(2**23,), compression="gzip")[0] = 1.0


def short_chunk(name):
    """A deflated chunk that gives fewer bytes than it should."""
    with seed(name) as file:
        data = file.create_dataset("short", shape=(2000,), dtype="f8", chunks=(2000,), compression="gzip")
        data.id.write_direct_chunk((0,), zlib.compress(bytes(i * i % 251 for i in range(4000))))


def types(name):
    with seed(name) as file:
        file.create_dataset("complex", data=np.zeros(3, "c8"))
        file.create_dataset("texts", data=np.array(["a", "bc"], dtype=object), dtype=h5py.string_dtype())
        file.create_dataset("truth", data=np.array([True, False]))
        many = file.create_dataset("many", data=np.arange(3.0))
        many.attrs["compound"] = np.zeros(2, dtype=[("a", "i4"), ("b", "f8"), ("c", "S5")])
        many.attrs["large"] = np.zeros(600)
        for i in range(12):
            many.attrs[f"attribute {i}"] = i


def links(name):
    with seed(name) as file:
        for i in range(40):
            file.create_dataset(f"variable {i}", data=float(i))
        file["soft"] = h5py.SoftLink("/variable 1")
        file["elsewhere"] = h5py.ExternalLink("other.h5", "/x")
        file["x" * 5000] = 1.0


if __name__ == "__main__":
    write_sound(HERE / "every_kind.qat")
    write_sound(HERE / "streamed.qat")
    with h5py.File(HERE / "streamed.qat", "r+", libver=("v110", "v110")) as file:
        add_stream(file)
    chunks("chunks.qat")
    chunks("filtered_chunks.qat", compression="gzip", shuffle=True)
    paged("paged_chunks.qat")
    refused("refused.qat")
    short_chunk("short_chunk.qat")
    types("types.qat")
    links("many_links.qat")
