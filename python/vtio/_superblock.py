"""The first bytes of an HDF5 file, which say whether a program has it open for writing."""

from __future__ import annotations

import io
import os
import struct

try:
    import fcntl
except ImportError:  # a system that has other locks
    fcntl = None  # type: ignore[assignment]

SIGNATURE = b"\x89HDF\r\n\x1a\n"
_OPEN_FOR_WRITING = 1
_OPEN_FOR_SWMR = 4
_FLAGS_AT = 11  # of superblock versions 2 and 3
_SIZE_OF_ADDRESSES_AT = 9
_MASK = 0xFFFFFFFF


class Superblock:
    """The superblock of a file, read without HDF5."""

    def __init__(self, path: str) -> None:
        """Raises OSError if the file cannot be read."""
        with open(path, "rb") as file:
            self.bytes = file.read(48)

    @property
    def is_hdf5(self) -> bool:
        return self.bytes.startswith(SIGNATURE)

    @property
    def _flags(self) -> int:
        new = self.is_hdf5 and len(self.bytes) == 48 and self.bytes[8] in (2, 3)
        return self.bytes[_FLAGS_AT] if new else 0

    @property
    def is_marked_open(self) -> bool:
        """Whether a program writes the file, or was killed while it did."""
        return bool(self._flags & _OPEN_FOR_WRITING)

    @property
    def is_marked_swmr(self) -> bool:
        """Whether that program writes in such a way that others may read meanwhile."""
        return self.is_marked_open and bool(self._flags & _OPEN_FOR_SWMR)

    def closed(self, size: int) -> bytes:
        """The superblock as it would be if the file had been closed with this size."""
        if self.bytes[_SIZE_OF_ADDRESSES_AT] != 8:
            return self.bytes
        fixed = bytearray(self.bytes)
        fixed[_FLAGS_AT] = 0
        struct.pack_into("<Q", fixed, 28, size)
        struct.pack_into("<I", fixed, 44, checksum(bytes(fixed[:44])))
        return bytes(fixed)


class ClosedView(io.RawIOBase):
    """A file that a killed program left marked as open, shown as if it had been closed.

    The file itself stays as it is.
    """

    def __init__(self, path: str) -> None:
        """Raises BlockingIOError if a program is still writing the file."""
        self._file = open(path, "rb", buffering=0)
        try:
            if fcntl is not None:
                fcntl.flock(self._file, fcntl.LOCK_SH | fcntl.LOCK_NB)  # HDF5 locks what it writes
        except BlockingIOError as error:
            self._file.close()
            raise BlockingIOError(f"another program is writing it: {error.strerror}") from None
        self._head = Superblock(path).closed(os.path.getsize(path))

    def readable(self) -> bool:
        return True

    def seekable(self) -> bool:
        return True

    def seek(self, offset: int, whence: int = io.SEEK_SET) -> int:
        return self._file.seek(offset, whence)

    def tell(self) -> int:
        return self._file.tell()

    def readinto(self, buffer: object) -> int:
        view = memoryview(buffer).cast("B")  # type: ignore[arg-type]
        at = self._file.tell()
        count = self._file.readinto(view) or 0
        if at < len(self._head):
            patch = self._head[at : at + count]
            view[: len(patch)] = patch
        return count

    def close(self) -> None:
        self._file.close()
        super().close()


def _rotate(value: int, bits: int) -> int:
    return (value << bits | value >> (32 - bits)) & _MASK


def _mix(a: int, b: int, c: int) -> tuple[int, int, int]:
    for bits in (4, 6, 8, 16, 19, 4):
        a = (a - c) & _MASK ^ _rotate(c, bits)
        c = (c + b) & _MASK
        a, b, c = b, c, a
    return a, b, c


def _finish(a: int, b: int, c: int) -> int:
    for bits in (14, 11, 25, 16, 4, 14, 24):
        c = ((c ^ b) - _rotate(b, bits)) & _MASK
        a, b, c = b, c, a
    return b


def checksum(data: bytes) -> int:
    """The checksum that HDF5 puts behind its structures (lookup3 of Bob Jenkins, in the public domain)."""
    a = b = c = (0xDEADBEEF + len(data)) & _MASK
    if not data:
        return c
    end = (len(data) - 1) // 12 * 12
    for at in range(0, end, 12):
        x, y, z = struct.unpack_from("<III", data, at)
        a, b, c = _mix((a + x) & _MASK, (b + y) & _MASK, (c + z) & _MASK)
    x, y, z = struct.unpack("<III", data[end:].ljust(12, b"\0"))
    return _finish((a + x) & _MASK, (b + y) & _MASK, (c + z) & _MASK)
