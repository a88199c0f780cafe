"""Drawing signals with matplotlib."""

from __future__ import annotations

from typing import Any, Optional

import matplotlib.pyplot as plt
import numpy as np
from matplotlib.axes import Axes

from ._rows import cell_names, flattened
from .signal import Signal


def plot_signal(signal: Signal, ax: Optional[Axes], line: dict[str, Any]) -> Axes:
    """One line or stair per scalar element; see Signal.plot."""
    ax = plt.gca() if ax is None else ax
    time, values = signal.time, signal.values
    if values.dtype.kind == "O":
        values = _draw_texts_on_axis(ax, values)
    elif signal.enumeration:
        _label_axis(ax, {value: label for label, value in reversed(list(signal.enumeration.items()))})
    elif values.dtype.kind == "b":
        _label_axis(ax, {0: "false", 1: "true"})
        values = values.astype(float)
    style = {"drawstyle": "default" if signal.interpolates else "steps-post", **line}
    for name, column in zip(cell_names(signal.name, values.shape[1:]), flattened(values).T):
        parts = {f"{name}.re": column.real, f"{name}.im": column.imag} if column.dtype.kind == "c" else {name: column}
        for label, part in parts.items():
            ax.plot(time, part, **{"label": label, **style})
    ax.set_xlabel("time [s]")
    ax.set_ylabel(f"{signal.name} [{signal.unit}]" if signal.unit else signal.name)
    if len(ax.lines) > 1:
        ax.legend()
    return ax


def _label_axis(ax: Axes, labels: dict[int, str]) -> None:
    ax.set_yticks(sorted(labels), [labels[value] for value in sorted(labels)])


def _draw_texts_on_axis(ax: Axes, texts: np.ndarray) -> np.ndarray:
    """Puts each text on the axis, in the order of appearance, and returns their places."""
    places = {text: place for place, text in enumerate(dict.fromkeys(texts.ravel()))}
    _label_axis(ax, {place: text for text, place in places.items()})
    return np.vectorize(places.__getitem__, otypes=[float])(texts) if texts.size else np.empty(texts.shape)
