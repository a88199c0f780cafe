"""Opening HDF5 files and the objects in them, without being led to another file."""

from __future__ import annotations

import math
import os
from typing import Any

import h5py
import numpy as np

from ._superblock import ClosedView, Superblock
from .errors import QatError, reading, reason

VERSION = 2
"""The version of Qat files that this package reads."""

_CACHE_BYTES = 8 << 20  # per dataset: neighbouring columns stand in the same chunks
_CHECKED_BYTES = 64 << 20  # reads beyond this are compared with what is stored
_BEST_DEFLATE = 1040  # times that deflate makes data smaller at most


class QatFile:
    """An open Qat file, read only. A file that is being written, or was left by a killed program, is read as it is."""

    def __init__(self, path: str) -> None:
        self.path = path
        superblock = Superblock(path)
        self.size = os.path.getsize(path)
        if not superblock.is_hdf5:
            raise QatError(f"{path}: not a Qat file (it is no HDF5 file)")
        self.is_live = superblock.is_marked_swmr
        self.is_marked_open = superblock.is_marked_open
        try:
            self.root = _open(path, superblock)
        except (OSError, RuntimeError, ValueError) as error:
            raise QatError(f"{path}: cannot be opened ({reason(error)})") from error
        try:
            _check_format(path, self.root)
        except BaseException:
            self.root.close()
            raise

    def close(self) -> None:
        """Closes the file; what was opened in it can no longer be read."""
        self.root.close()

    def fail(self, what: str, place: str) -> QatError:
        """The error to raise over a damaged place."""
        return QatError(f"{self.path}: {what}, {place}")

    def open(self, group: h5py.Group, name: str) -> h5py.Group | h5py.Dataset:
        """A member of a group. Links that lead elsewhere, and values that stand in other files, are refused."""
        place = place_of(group, name)
        with reading(self.path, place):
            link = group.get(name, getlink=True)
            if link is None:
                raise self.fail("missing", place)
            if not isinstance(link, h5py.HardLink):
                raise self.fail("a link that is not followed", place)
            member = group[name]
            if isinstance(member, h5py.Dataset) and (member.external or member.is_virtual):
                raise self.fail("values in another file are not read", place)
        if not isinstance(member, (h5py.Group, h5py.Dataset)):
            raise self.fail("neither a group nor a dataset", place)
        return member

    def group(self, group: h5py.Group, name: str) -> h5py.Group:
        """A member that must be a group."""
        member = self.open(group, name)
        if not isinstance(member, h5py.Group):
            raise self.fail("a dataset where a group is expected", place_of(group, name))
        return member

    def dataset(self, group: h5py.Group, name: str, rank: int) -> h5py.Dataset:
        """A member that must be a dataset with `rank` axes."""
        member = self.open(group, name)
        if not isinstance(member, h5py.Dataset) or member.shape is None or len(member.shape) != rank:
            raise self.fail(f"not a dataset of {rank} axes", place_of(group, name))
        return member

    def read(self, dataset: h5py.Dataset, *axes: slice) -> np.ndarray:
        """Reads a part of a dataset, one slice per axis, or all of it."""
        place = place_of(dataset)
        lengths = [len(range(*part.indices(size))) for part, size in zip(axes, dataset.shape)] or dataset.shape
        with reading(self.path, place):
            self._check_size(dataset, math.prod(lengths) * dataset.dtype.itemsize)
            return np.asarray(dataset[axes if axes else ()])

    def _check_size(self, dataset: h5py.Dataset, wanted: int) -> None:
        """Refuses to allocate far more than the stored bytes can fill: a damaged extent may say anything."""
        if wanted <= _CHECKED_BYTES:
            return
        stored = dataset.id.get_storage_size()
        if wanted > stored * _BEST_DEFLATE:
            raise self.fail(f"{wanted} bytes are said to stand in {stored}", place_of(dataset))


def has(group: h5py.Group, name: str) -> bool:
    """Whether a group has a member."""
    return bool(group.id.links.exists(name.encode()))


def has_attribute(thing: h5py.Group | h5py.Dataset, name: str) -> bool:
    """Whether a group or dataset has an attribute."""
    return bool(h5py.h5a.exists(thing.id, name.encode()))


def place_of(thing: h5py.Group | h5py.Dataset, member: str = "") -> str:
    """How messages call a place in a file."""
    return f"{thing.name or '?'}/{member}".strip("/").replace("//", "/")


def is_text(dtype: np.dtype) -> bool:
    """Whether a type of a dataset or an attribute is text."""
    return h5py.check_string_dtype(dtype) is not None


def text_of(value: Any) -> str:
    """Text as h5py gives it: `str`, or UTF-8 bytes."""
    return value.decode("utf-8", "replace") if isinstance(value, bytes) else str(value)


def _open(path: str, superblock: Superblock) -> h5py.File:
    if superblock.is_marked_swmr:
        # Without a lock, so that the writer can open its file again.
        return h5py.File(path, "r", swmr=True, libver="latest", locking=False, rdcc_nbytes=_CACHE_BYTES)
    if superblock.is_marked_open:
        return _open_left_behind(path)
    return h5py.File(path, "r", rdcc_nbytes=_CACHE_BYTES)


def _open_left_behind(path: str) -> h5py.File:
    """Opens a file whose writer was killed; what it had not flushed is not in the file."""
    view = ClosedView(path)
    try:
        return h5py.File(view, "r", rdcc_nbytes=_CACHE_BYTES)
    except BaseException:
        view.close()
        raise


def _check_format(path: str, root: h5py.File) -> None:
    with reading(path, "its attributes"):
        kind = root.attrs.get("qat.format")
        version = root.attrs.get("qat.version")
    if kind is None or text_of(kind) != "qat":
        raise QatError(f'{path}: not a Qat file (an HDF5 file without the attribute qat.format = "qat")')
    if not isinstance(version, np.integer) or int(version) != VERSION:
        raise QatError(f"{path}: a Qat file of version {version}; this package reads version {VERSION}")
