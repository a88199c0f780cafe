"""Many signals on one time axis."""

from __future__ import annotations

import math
from typing import Iterator, NamedTuple, Optional, Sequence

import numpy as np

from ._join import join
from ._store import Store
from .signal import Signal


class _Block(NamedTuple):
    """Signals that have the same times, and the samples that are asked for."""

    signals: list[Signal]
    time: np.ndarray
    samples: range


class JoinedRows:
    """One row per time of any of the signals; of repeated times see join()."""

    def __init__(self, store: Store, signals: Sequence[Signal], start: Optional[float], stop: Optional[float]) -> None:
        self._store = store
        by_base: dict[object, list[Signal]] = {}
        for signal in signals:
            by_base.setdefault(store.base(signal.name), []).append(signal)
        self._blocks = [_block(members, start, stop) for members in by_base.values()]
        self.time, self._rows_of = join([block.time for block in self._blocks])

    def read(self) -> Iterator[tuple[Signal, np.ndarray, Optional[np.ndarray]]]:
        """Each signal with its stored elements (n, width) and the rows that they stand in; None: all rows in order."""
        for block, rows in zip(self._blocks, self._rows_of):
            in_order = len(rows) == len(self.time) and bool((rows == np.arange(len(rows))).all())
            elements = self._store.elements_of([signal.name for signal in block.signals], block.samples)
            for signal in block.signals:
                yield signal, elements[signal.name], None if in_order else rows


def cell_names(name: str, shape: Sequence[int]) -> list[str]:
    """The names of the scalar elements of a sample, last index fastest: NAME, NAME[0], NAME[0][1]."""
    return [name + "".join(f"[{i}]" for i in index) for index in np.ndindex(*shape)]


def flattened(values: np.ndarray) -> np.ndarray:
    """The scalar elements of samples side by side."""
    return values.reshape((len(values), math.prod(values.shape[1:])))


def _block(signals: list[Signal], start: Optional[float], stop: Optional[float]) -> _Block:
    part = signals[0] if start is None and stop is None else signals[0].between(start, stop)
    return _Block(signals, part.time, part.samples)
