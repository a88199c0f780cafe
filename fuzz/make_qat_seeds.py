#!/usr/bin/env python3
"""Writes the seeds of fuzz_qat_file that come from elsewhere than this library: what h5py makes of chunks, filters, named
types, and attributes and links that are too many for the header of their object."""

import pathlib
import zlib

import h5py
import numpy as np

HERE = pathlib.Path(__file__).resolve().parent / "corpus" / "qat_file"


def seed(name):
    file = h5py.File(HERE / name, "w", libver="latest")
    file.attrs["qat.format"] = "qat"
    file.attrs["qat.version"] = np.uint32(1)
    return file


def chunks(name, **filters):
    with seed(name) as file:
        table = np.arange(48.0).reshape(6, 8)
        file.create_dataset("single", data=np.arange(8.0), chunks=(8,), **filters)
        file.create_dataset("fixed", data=np.arange(24.0), chunks=(4,), **filters)
        file.create_dataset("growing", data=np.arange(300, dtype="f4"), chunks=(1,), maxshape=(None,), **filters)
        file.create_dataset("tree", data=table, chunks=(2, 3), maxshape=(None, None), **filters)


def paged(name):
    with seed(name) as file:
        file.create_dataset("paged", data=np.arange(1100) % 251, dtype="u1", chunks=(1,))


def implicit(name):
    with seed(name) as file:
        space = h5py.h5s.create_simple((12,))
        plist = h5py.h5p.create(h5py.h5p.DATASET_CREATE)
        plist.set_chunk((4,))
        plist.set_alloc_time(h5py.h5d.ALLOC_TIME_EARLY)
        h5py.h5d.create(file.id, b"implicit", h5py.h5t.IEEE_F64LE, space, dcpl=plist)


def short_chunk(name):
    """A deflated chunk that gives fewer bytes than it should."""
    with seed(name) as file:
        data = file.create_dataset("short", shape=(2000,), dtype="f8", chunks=(2000,), compression="gzip")
        data.id.write_direct_chunk((0,), zlib.compress(bytes(i * i % 251 for i in range(4000))))


def types(name):
    with seed(name) as file:
        file["named"] = np.dtype([("r", "f4"), ("i", "f4")])
        file.create_dataset("complex", data=np.zeros(3, "c8"), dtype=file["named"])
        file.create_dataset("half", data=np.arange(4, dtype="f2"))
        file.create_dataset("big", data=np.arange(4, dtype=">i4"))
        file.create_dataset("texts", data=np.array(["a", "bc"], dtype=object), dtype=h5py.string_dtype())
        file.create_dataset("opaque", data=np.void(b"abc"))
        many = file.create_dataset("many", data=np.arange(3.0))
        many.attrs["reference"] = many.ref
        many.attrs["region"] = many.regionref[1:2]
        many.attrs["compound"] = np.zeros(2, dtype=[("a", "i4"), ("b", "f8", (2, 3)), ("c", "S5")])
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
    chunks("chunks.qat")
    chunks("filtered_chunks.qat", compression="gzip", shuffle=True, fletcher32=True)
    paged("paged_chunks.qat")
    implicit("implicit_chunks.qat")
    short_chunk("short_chunk.qat")
    types("types.qat")
    links("many_links.qat")
