"""Values between samples."""

from __future__ import annotations

import numpy as np


def held(times: np.ndarray, wanted: np.ndarray) -> np.ndarray:
    """Index of the last sample at or before each wanted time; -1 outside the span of the samples.

    `times` must not go back. Of samples at the same time the last counts.
    """
    if len(times) == 0:
        return np.full(wanted.shape, -1)
    index = np.searchsorted(times, wanted, side="right") - 1
    outside = ~((wanted >= times[0]) & (wanted <= times[-1]))  # NaN is outside, too
    return np.where(outside, -1, index)


def interpolate(times: np.ndarray, values: np.ndarray, wanted: np.ndarray) -> np.ndarray:
    """Values on the straight lines between samples, NaN outside their span. A line ends at the first sample of a time.

    `values` are floats or complex numbers, the sample first.
    """
    index = held(times, wanted)
    result = np.full(wanted.shape + values.shape[1:], np.nan, dtype=values.dtype)
    inside = index >= 0
    lower = index[inside]
    upper = np.minimum(lower + 1, len(times) - 1)
    exact = times[lower] == wanted[inside]
    upper[exact] = lower[exact]
    span = times[upper] - times[lower]
    with np.errstate(invalid="ignore", over="ignore"):
        weight = np.where(upper > lower, (wanted[inside] - times[lower]) / np.where(span > 0, span, 1), 0)
        weight = weight.reshape(weight.shape + (1,) * (values.ndim - 1))
        a, b = values[lower], values[upper]
        between = a * (1 - weight) + b * weight
    result[inside] = np.where(a == b, a, between)
    exactly = np.flatnonzero(inside)[exact]
    result.reshape((-1,) + values.shape[1:])[exactly] = values[lower[exact]]
    return result
