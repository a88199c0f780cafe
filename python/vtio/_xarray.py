"""Signals as an xarray Dataset."""

from __future__ import annotations

from typing import Any, Optional, Sequence

import numpy as np
import xarray as xr

from ._rows import JoinedRows
from ._store import Store
from ._values import as_float
from .signal import Signal


def dataset(store: Store, signals: Sequence[Signal], start: Optional[float], stop: Optional[float]) -> xr.Dataset:
    """One variable per signal over a common time; see Results.xarray."""
    rows = JoinedRows(store, signals, start, stop)
    variables: dict[str, Any] = {}
    for signal, elements, where in rows.read():
        values = signal._real(elements)
        values = values if where is None else _spread(values, where, len(rows.time))
        axes = ["time", *(f"{signal.name}[{axis}]" for axis in range(values.ndim - 1))]
        variables[signal.name] = (axes, values, _attributes(signal))
    ordered = {signal.name: variables[signal.name] for signal in signals}
    time = ("time", rows.time, {"units": "s"})
    result = xr.Dataset(coords={} if "time" in ordered else {"time": time})
    for name, variable in ordered.items():
        result[name] = variable
    return result


def _spread(values: np.ndarray, rows: np.ndarray, length: int) -> np.ndarray:
    """Values with NaN, of texts None, in the rows without a sample."""
    if values.dtype.kind == "O":
        spread = np.full((length, *values.shape[1:]), None, dtype=object)
    else:
        values = as_float(values)
        spread = np.full((length, *values.shape[1:]), np.nan, dtype=values.dtype)
    spread[rows] = values
    return spread


def _attributes(signal: Signal) -> dict[str, Any]:
    attributes: dict[str, Any] = {"units": signal.unit, "interpolation": signal.interpolation}
    enumeration = signal.enumeration
    if enumeration is not None:
        attributes["flag_values"] = np.array(list(enumeration.values()))
        attributes["flag_meanings"] = " ".join(label.replace(" ", "_") for label in enumeration)
    return attributes
