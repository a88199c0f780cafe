"""Signals as a pandas DataFrame."""

from __future__ import annotations

from typing import Any, Iterator, Optional, Sequence

import numpy as np
import pandas as pd

from ._rows import JoinedRows, cell_names, flattened
from ._store import Store
from .signal import Signal


def dataframe(
    store: Store, signals: Sequence[Signal], raw: bool, start: Optional[float], stop: Optional[float]
) -> pd.DataFrame:
    """One row per time, one column per scalar element; see Results.dataframe."""
    rows = JoinedRows(store, signals, start, stop)
    columns: dict[str, list[tuple[str, Any]]] = {}
    for signal, elements, where in rows.read():
        values = signal._stored(elements) if raw else signal._shown(elements)
        columns[signal.name] = [
            (name, column if where is None else _spread(column, where, len(rows.time)))
            for name, column in _scalars(signal.name, values)
        ]
    ordered = [column for signal in signals for column in columns[signal.name]]
    frame = pd.DataFrame(dict(enumerate(values for _, values in ordered)), index=pd.Index(rows.time, name="time"))
    frame.columns = pd.Index([name for name, _ in ordered], dtype=object)  # two signals may have cells of one name
    return frame


def _scalars(name: str, values: np.ndarray) -> Iterator[tuple[str, np.ndarray]]:
    """The scalar elements of samples with their names, complex ones in two."""
    for cell, column in zip(cell_names(name, values.shape[1:]), flattened(values).T):
        if column.dtype.names:
            yield f"{cell}.re", column["r"]
            yield f"{cell}.im", column["i"]
        elif column.dtype.kind == "c":
            yield f"{cell}.re", column.real
            yield f"{cell}.im", column.imag
        else:
            yield cell, column


def _spread(column: np.ndarray, rows: np.ndarray, length: int) -> Any:
    """A column with missing cells between those that are given."""
    if column.dtype.kind in "fO":
        spread = np.full(length, np.nan, dtype=column.dtype)
        spread[rows] = column
        return spread
    values, missing = np.zeros(length, dtype=column.dtype), np.ones(length, dtype=bool)
    values[rows], missing[rows] = column, False
    kind = pd.arrays.BooleanArray if column.dtype.kind == "b" else pd.arrays.IntegerArray
    return kind(values, missing)
