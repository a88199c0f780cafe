"""One row per time for signals that were recorded at different times."""

from __future__ import annotations

from typing import Sequence

import numpy as np

Rows = Sequence[np.ndarray]


def join(times: Sequence[np.ndarray]) -> tuple[np.ndarray, list[np.ndarray]]:
    """The times of all in rising order, and for each of `times` the rows that its samples stand in.

    A time that occurs k times in one of them has k rows; the k-th sample of a time stands in its k-th row. NaN comes
    last.
    """
    if not times:
        return np.empty(0), []
    all_times = np.concatenate(times)
    occurrence = np.concatenate([_occurrences(some) for some in times])
    order = np.lexsort((occurrence, all_times))
    sorted_times, sorted_occurrence = all_times[order], occurrence[order]
    begins = np.ones(len(order), dtype=bool)
    begins[1:] = ~_same(sorted_times[1:], sorted_times[:-1]) | (sorted_occurrence[1:] != sorted_occurrence[:-1])
    rows = np.empty(len(order), dtype=np.intp)
    rows[order] = np.cumsum(begins) - 1
    ends = np.cumsum([len(some) for some in times])
    return sorted_times[begins], np.split(rows, ends[:-1])


def _same(a: np.ndarray, b: np.ndarray) -> np.ndarray:
    return (a == b) | (np.isnan(a) & np.isnan(b))


def _occurrences(times: np.ndarray) -> np.ndarray:
    """How many samples before each one have the same time."""
    order = np.argsort(times, kind="stable")
    ordered = times[order]
    begins = np.ones(len(times), dtype=bool)
    begins[1:] = ~_same(ordered[1:], ordered[:-1])
    firsts = np.flatnonzero(begins)
    counts = np.empty(len(times), dtype=np.int64)
    counts[order] = np.arange(len(times)) - (np.repeat(firsts, np.diff([*firsts, len(times)])) if len(times) else 0)
    return counts
