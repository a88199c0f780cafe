"""One recorded signal."""

from __future__ import annotations

from typing import TYPE_CHECKING, Any, Optional

import numpy as np

from . import _elements as fields
from ._elements import Description
from ._interpolation import held, interpolate
from ._store import Place, Store
from ._values import FixedPoint, as_float, labelled, real_values
from .errors import QatError, SignalNotFoundError

if TYPE_CHECKING:
    from matplotlib.axes import Axes
    from numpy.typing import ArrayLike


class Signal:
    """One signal of a results file. Reads its samples when they are asked for, and keeps none of them.

    >>> speed = results["wheels.speed"]
    >>> speed.time, speed.values            # seconds, and one value per time
    >>> speed.unit, len(speed), speed.dimensions
    >>> speed[-100:].values                 # the last 100 samples, the others are not read
    >>> speed.between(2.0, 3.0).values      # the samples from 2 to 3 s, ends included
    >>> speed.at([0.5, 1.0])                # values at any times, interpolated as the signal says
    """

    def __init__(self, store: Store, name: str, parts: tuple[slice, ...] = ()) -> None:
        self._store, self._name, self._parts = store, name, parts

    # What the signal is

    @property
    def name(self) -> str:
        """The name, unique in the file."""
        return self._name

    @property
    def unit(self) -> str:
        """The unit of the values; empty if there is none."""
        return self._place.column.unit

    @property
    def dimensions(self) -> tuple[int, ...]:
        """The shape of one sample: () for a scalar."""
        dimensions = self._place.column.dimensions
        return dimensions[:-1] if self._has_words else dimensions

    @property
    def type(self) -> str:
        """The stored class ("double", "int8", "logical", "text", …); of an enumeration the name of its class."""
        if self.enumeration is not None:
            return fields.text(self._leaf, "DataType") or self._stored_class
        return self._stored_class

    @property
    def is_complex(self) -> bool:
        """Whether the values are complex."""
        return self._place.column.is_complex

    @property
    def interpolation(self) -> str:
        """What holds between two samples: "linear" interpolates, anything else ("zoh") holds the earlier one."""
        return fields.text(self._leaf, "Interpolation")

    @property
    def enumeration(self) -> Optional[dict[str, int]]:
        """The labels of an enumeration with their values, in the order of its definition; None for other signals."""
        if self._leaf is None or self._leaf.get("EnumValues") is None:
            return None
        values = fields.numbers(self._leaf, "EnumValues")
        return dict(zip(fields.texts(self._leaf, "EnumLabels"), values))

    @property
    def fixed_point(self) -> Optional[FixedPoint]:
        """How stored integers become values; None for other signals."""
        scaling = self._leaf.get("FixedPoint") if self._leaf is not None else None
        if scaling is None or not hasattr(scaling, "get"):
            return None
        number = fields.number
        return FixedPoint(
            signed=bool(number(scaling, "Signed", 1)),
            word_length=int(number(scaling, "WordLength", 0)),
            fixed_exponent=int(number(scaling, "FixedExponent", 0)),
            slope_adjustment_factor=float(number(scaling, "SlopeAdjustmentFactor", 1)),
            bias=float(number(scaling, "Bias", 0)),
        )

    # Where it comes from

    @property
    def dataset(self) -> str:
        """The name of the dataset that the signal belongs to, for example "logsout"; empty if there is none."""
        return self._description.dataset if self._description is not None else ""

    @property
    def element(self) -> str:
        """The name of the dataset's element: the signal itself, or the bus that it is a leaf of."""
        return fields.text(self._element, "Name")

    @property
    def block_path(self) -> list[str]:
        """The block that the signal leaves, one text per level of models, the top model first."""
        return fields.texts(self._element, "BlockPath")

    @property
    def port(self) -> int:
        """The index of the block's port, from 0."""
        return int(fields.number(self._element, "PortIndex", 0))

    @property
    def port_kind(self) -> str:
        """"inport" or "outport" of a root port, else empty."""
        return fields.text(self._element, "PortKind")

    @property
    def decimation(self) -> int:
        """Every how many samples one was recorded."""
        return int(fields.number(self._element, "Decimation", 1))

    @property
    def max_points(self) -> int:
        """The most samples that were kept; 0 is no limit."""
        return int(fields.number(self._element, "MaxPoints", 0))

    @property
    def sample_time(self) -> str:
        """The sample time as it was recorded."""
        return fields.text(self._leaf, "SampleTime")

    @property
    def start_date(self) -> str:
        """The date of time 0 as it was recorded."""
        return fields.text(self._leaf, "StartDate")

    @property
    def time_zone(self) -> str:
        """Of a date-time signal its time zone."""
        return fields.text(self._leaf, "TimeZone")

    @property
    def format(self) -> str:
        """Of a date-time signal the format that dates are shown in."""
        return fields.text(self._leaf, "Format")

    # Its samples

    @property
    def samples(self) -> range:
        """The numbers of the samples among all that the file has of the signal."""
        self._place  # noqa: B018: says so if the signal is gone
        rows = range(self._store.length(self._name))
        for part in self._parts:
            rows = rows[part]
        return rows

    def __len__(self) -> int:
        """The number of samples."""
        return len(self.samples)

    def __getitem__(self, part: slice) -> Signal:
        """The same signal with some of its samples only; nothing is read."""
        if not isinstance(part, slice):
            raise TypeError(f"samples are chosen by slices, such as signal[10:20], not by {part!r}")
        return Signal(self._store, self._name, (*self._parts, part))

    def between(self, start: Optional[float] = None, stop: Optional[float] = None) -> Signal:
        """The samples from time `start` to `stop`, both included; None is no limit. Reads the times only."""
        time = self.time
        inside = np.ones(len(time), dtype=bool)
        if start is not None:
            inside &= time >= start
        if stop is not None:
            inside &= time <= stop
        chosen = np.flatnonzero(inside)
        first, end = (int(chosen[0]), int(chosen[-1]) + 1) if len(chosen) else (0, 0)
        return self[first:end]

    @property
    def time(self) -> np.ndarray:
        """The time of each sample in seconds, float64."""
        return self._store.times(self._name, self.samples)

    @property
    def values(self) -> np.ndarray:
        """The values, the sample first: shape (len(signal), *signal.dimensions).

        Fixed-point signals give their real values as float64, enumerations their numbers (see `labels`), texts `str`,
        logicals `bool`, everything else what was stored.
        """
        return self._real(self._elements())

    @property
    def raw(self) -> np.ndarray:
        """The values as they are stored: of fixed-point signals the integers.

        A fixed-point number of more than 64 bits is stored as words, lowest first, along one more axis. Complex
        integers have the fields `r` and `i`.
        """
        return self._stored(self._elements())

    def labels(self) -> np.ndarray:
        """The labels of an enumeration's samples, shape as `values`; a value without a label gives its number as text.

        Raises TypeError for a signal that is no enumeration.
        """
        enumeration = self.enumeration
        if enumeration is None:
            raise TypeError(f"'{self._name}' is no enumeration; it has no labels")
        return labelled(self.raw, enumeration)

    @property
    def interpolates(self) -> bool:
        """Whether values between samples lie on a line: numbers with "linear" interpolation that are no enumeration."""
        is_number = self._stored_class not in ("text", "logical")
        return is_number and self.interpolation == "linear" and self.enumeration is None

    def at(self, times: ArrayLike) -> np.ndarray:
        """The values at any times, in seconds: shape of `times` followed by `dimensions`.

        Between two samples they are interpolated if the signal says so, else held. Before the first sample and after
        the last one they are NaN, and so at a time that is NaN. Numbers and logicals are given as float64 (or
        complex128), texts as an array of `str` and NaN. Where a time was recorded more than once its last sample
        counts.
        """
        wanted = np.asarray(times, dtype=np.float64)
        time, rows = self.time, np.arange(len(self))
        if np.any(time[1:] < time[:-1]) or np.isnan(time).any():
            rows = np.argsort(time, kind="stable")[: len(time) - int(np.isnan(time).sum())]
            time = time[rows]
        index = held(time, wanted.ravel())
        low, high = _span(index, len(time) - 1)
        needed = rows[low : high + 1]
        chosen = self[int(needed.min()) : int(needed.max()) + 1] if len(needed) else self[:0]
        values = chosen.values[needed - needed.min()] if len(needed) else chosen.values
        values = values if self._stored_class == "text" else as_float(values)
        if self.interpolates:
            result = interpolate(time[low : high + 1], values, wanted.ravel())
        else:
            result = np.full(wanted.shape + self.dimensions, np.nan, dtype=values.dtype)
            result = result.reshape((wanted.size, *self.dimensions))
            result[index >= 0] = values[index[index >= 0] - low]
        return result.reshape(wanted.shape + self.dimensions)

    def plot(self, ax: Optional[Axes] = None, **line: Any) -> Axes:
        """Draws the signal over its time with matplotlib and returns the axes.

        Interpolated signals are lines, held ones stairs; one line per element. Enumerations and texts have their labels
        on the axis. `ax` are axes to draw into, by default the current ones; `line` goes to matplotlib's `plot`.
        """
        from ._plot import plot_signal

        return plot_signal(self, ax, line)

    def __repr__(self) -> str:
        dims = "x".join(map(str, self.dimensions))
        kind = f"{self.type}{f' {dims}' if dims else ''}{' complex' if self.is_complex else ''}"
        unit = f" in {self.unit}" if self.unit else ""
        return f"<Signal '{self._name}': {len(self)} samples of {kind}{unit}>"

    # Inside

    @property
    def _place(self) -> Place:
        try:
            return self._store.places[self._name]
        except KeyError:
            raise SignalNotFoundError(f"{self._store.path} has no signal '{self._name}' any more") from None

    @property
    def _stored_class(self) -> str:
        return self._place.column.element_class.removesuffix(".complex")

    @property
    def _description(self) -> Optional[Description]:
        self._place  # noqa: B018: says so if the signal is gone
        return self._store.description(self._name)

    @property
    def _leaf(self) -> Any:
        return self._description.leaf if self._description is not None else None

    @property
    def _element(self) -> Any:
        return self._description.element if self._description is not None else None

    @property
    def _has_words(self) -> bool:
        """Whether the last axis of the stored samples holds the words of fixed-point numbers of more than 64 bits."""
        dimensions = self._place.column.dimensions
        if self._stored_class not in ("uint64", "int64") or not dimensions or dimensions[-1] < 2:
            return False
        scaling = self.fixed_point
        return scaling is not None and scaling.words == dimensions[-1]

    def _elements(self) -> np.ndarray:
        elements = self._store.elements(self._name, self.samples)
        if len(elements) != len(self):
            raise QatError(f"{self._store.path}: {len(elements)} of {len(self)} samples, '{self._name}'")
        return elements

    def _stored(self, elements: np.ndarray) -> np.ndarray:
        """Stored elements (n, width) in the shape of samples."""
        return elements.reshape((len(elements), *self._place.column.dimensions))

    def _real(self, elements: np.ndarray) -> np.ndarray:
        """Stored elements as `values` has them."""
        raw = self._stored(elements)
        fixed = None if raw.dtype.kind in "Ob" else self.fixed_point
        if fixed is not None:
            return real_values(raw, fixed, self._has_words)
        return as_float(raw) if raw.dtype.names else raw

    def _shown(self, elements: np.ndarray) -> np.ndarray:
        """Stored elements (n, width) as tables have them: labels of an enumeration, real values of fixed-point
        numbers.
        """
        enumeration = self.enumeration
        if enumeration is not None:
            return labelled(self._stored(elements), enumeration)
        return self._stored(elements) if self.fixed_point is None else self._real(elements)


def _span(index: np.ndarray, last: int) -> tuple[int, int]:
    """The first and last sample that values at `index` need, neighbours included; (0, -1) if none."""
    inside = index[index >= 0]
    return (int(inside.min()), min(int(inside.max()) + 1, last)) if len(inside) else (0, -1)


