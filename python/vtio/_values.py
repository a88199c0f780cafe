"""From stored elements to values: labels of enumerations, real values of fixed-point numbers."""

from __future__ import annotations

import math
from dataclasses import dataclass

import numpy as np


@dataclass(frozen=True)
class FixedPoint:
    """How the stored integers of a fixed-point signal become values."""

    signed: bool
    word_length: int
    """Bits."""
    fixed_exponent: int
    slope_adjustment_factor: float
    bias: float

    @property
    def slope(self) -> float:
        """slope_adjustment_factor * 2 ** fixed_exponent: value = integer * slope + bias."""
        return math.ldexp(self.slope_adjustment_factor, self.fixed_exponent)

    @property
    def words(self) -> int:
        """64-bit words that a number takes if it has more than 64 bits, else 1."""
        return max(1, -(-self.word_length // 64))


def as_float(raw: np.ndarray) -> np.ndarray:
    """Numbers as float64 or complex128."""
    if raw.dtype.names:
        return raw["r"].astype(np.float64) + 1j * raw["i"].astype(np.float64)
    return raw.astype(np.complex128 if raw.dtype.kind == "c" else np.float64)


def real_values(raw: np.ndarray, scaling: FixedPoint, has_words: bool) -> np.ndarray:
    """The values of fixed-point numbers. With `has_words` the last axis holds the words of a number, lowest first."""
    numbers = _joined(raw, scaling.signed) if has_words else as_float(raw)
    return numbers * scaling.slope + scaling.bias  # the imaginary part has no bias


def labelled(raw: np.ndarray, enumeration: dict[str, int]) -> np.ndarray:
    """The labels of an enumeration's numbers; a number without one as text."""
    by_value: dict[int, str] = {}
    for label, value in enumeration.items():
        by_value.setdefault(value, label)
    stored, index = np.unique(raw, return_inverse=True)
    texts = np.array([by_value.get(int(value), str(value)) for value in stored], dtype=object)
    return texts[index].reshape(raw.shape) if len(texts) else np.empty(raw.shape, dtype=object)


def _joined(raw: np.ndarray, signed: bool) -> np.ndarray:
    """Whole numbers of several 64-bit words as float64 or complex128."""
    if raw.dtype.names:
        return _joined(raw["r"], signed) + 1j * _joined(raw["i"], signed)
    words = raw.view(np.uint64)
    negative = (words[..., -1] >> np.uint64(63) == 1) & signed
    magnitude = np.where(negative[..., np.newaxis], ~words, words)  # of a negative number: one less
    number = np.zeros(raw.shape[:-1])
    for i in range(words.shape[-1] - 1, -1, -1):
        number = number * 2.0**64 + magnitude[..., i].astype(np.float64)
    return np.where(negative, -number - 1, number)
