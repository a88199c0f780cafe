"""What goes wrong with results files."""

from __future__ import annotations

import contextlib
import os
import re
from typing import Iterator


class QatError(Exception):
    """A file cannot be read as a Qat file: it is none, it is of another version, or a part of it is damaged.

    The message is one line: ``FILE: what is wrong, where``.
    """


class SignalNotFoundError(KeyError):
    """A file has no signal of a name, or none that matches a pattern. The message suggests near names."""

    def __str__(self) -> str:
        return str(self.args[0]) if self.args else ""


@contextlib.contextmanager
def reading(file: str | os.PathLike[str], place: str) -> Iterator[None]:
    """Turns what h5py and numpy raise over a damaged place into a QatError that names file and place."""
    try:
        yield
    except (QatError, SignalNotFoundError, MemoryError):
        raise
    except (OSError, RuntimeError, KeyError, ValueError, TypeError, IndexError, OverflowError, AttributeError) as error:
        raise QatError(f"{os.fspath(file)}: {reason(error)}, {place}") from error


def reason(error: BaseException) -> str:
    """The words of an error of h5py without the name of the failing function: what stands in the last parentheses."""
    text = str(error.args[0]) if error.args else type(error).__name__
    inner = re.search(r"\(([^()]*(?:\([^()]*\)[^()]*)*)\)\s*$", text)
    return inner.group(1) if inner and isinstance(error, (OSError, RuntimeError, KeyError)) else text
