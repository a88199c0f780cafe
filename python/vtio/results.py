"""Results files."""

from __future__ import annotations

import os
from collections.abc import Mapping
from typing import TYPE_CHECKING, Iterator, Optional

from ._names import did_you_mean, matcher
from ._store import Store
from .errors import QatError, SignalNotFoundError
from .signal import Signal

if TYPE_CHECKING:
    from types import TracebackType

    import pandas
    import xarray as xr


class Results(Mapping[str, Signal]):
    """The signals of a results file, by name, in file order. `vtio.open` makes it.

    >>> with vtio.open("results.qat") as r:
    ...     print(r.names)
    ...     speed = r["wheels.speed"]
    ...     table = r.dataframe("wheels.*")

    It is a mapping: `len(r)`, `"x" in r`, `for name in r` and `r.items()` work. Samples are read when they are asked
    for, so that the file may be far larger than memory. Not to be used by several threads at once.
    """

    def __init__(self, path: str) -> None:
        self._store: Store | None = Store(path)
        self.path = path
        """The file's path."""

    @property
    def names(self) -> list[str]:
        """The names of all signals."""
        return list(self._open.places)

    @property
    def complete(self) -> bool:
        """False while the file is being written, and for a file whose writer was killed."""
        return self._open.is_complete

    def __getitem__(self, name: str) -> Signal:
        """The signal of a name. Raises SignalNotFoundError, which is a KeyError, with near names."""
        if name not in self._open.places:
            raise SignalNotFoundError(f"no signal {name!r}{did_you_mean(str(name), self._open.places)}")
        return Signal(self._open, name)

    def __iter__(self) -> Iterator[str]:
        return iter(self._open.places)

    def __len__(self) -> int:
        return len(self._open.places)

    def __contains__(self, name: object) -> bool:
        return name in self._open.places

    def select(self, *patterns: str) -> list[Signal]:
        """The signals that match any of the patterns, each once, in file order; all without a pattern.

        A pattern is for the whole name: `*` is any text, dots included, `?` one character, and all else is itself, also
        `[` and `]`. The list is empty if nothing matches.
        """
        matches = [matcher(pattern) for pattern in patterns]
        names = (name for name in self._open.places if not matches or any(match(name) for match in matches))
        return [Signal(self._open, name) for name in names]

    def dataframe(
        self, *patterns: str, raw: bool = False, start: Optional[float] = None, stop: Optional[float] = None
    ) -> pandas.DataFrame:
        """The signals that match, as a pandas DataFrame with one row per time; its index is called `time`.

        Columns are those of `qat export --format csv`: one per scalar element, `NAME`, `NAME[0]`, `NAME[0][1]`, of
        complex values `NAME.re` and `NAME.im`. Enumerations are labels, fixed-point numbers real values; with `raw`
        both are the stored integers. There is a row for each time of any of the signals; where a signal has no sample
        the cell is missing: NaN, and in columns of integers and logicals (then of pandas' types Int64, boolean, …)
        pandas.NA. Where a time occurs more than once in a signal, its k-th sample stands in the k-th row of that
        time.

        `start` and `stop` limit the times, both included. Raises SignalNotFoundError for a pattern that matches
        nothing.
        """
        from ._frames import dataframe

        return dataframe(self._open, self._chosen(patterns), raw, start, stop)

    def xarray(self, *patterns: str, start: Optional[float] = None, stop: Optional[float] = None) -> xr.Dataset:
        """The signals that match, as an xarray Dataset over `time`, one variable per signal, with units.

        Rows are those of `dataframe`; a signal of dimensions (3, 4) has two more axes, `NAME[0]` and `NAME[1]`.
        Attributes of the variables: `units`, `interpolation`, and of enumerations, which stay numbers, `flag_values`
        and `flag_meanings`. A signal that lacks samples is float64, with NaN there; texts have None there.
        """
        from ._xarray import dataset

        return dataset(self._open, self._chosen(patterns), start, stop)

    @property
    def runs(self) -> pandas.DataFrame:
        """The runs of a sweep, as a pandas DataFrame with one row per run; its index is called `run`.

        Columns: the parameters; `status`, `message`, `seconds` (that the run took), `lastTime` (of the simulation, in
        seconds); the final values by signal name. Raises QatError if the file is no sweep.

        >>> sweep = vtio.open("sweep.qat")
        >>> for number in sweep.runs.query("stiffness > 2 and status == 'done'").index:
        ...     sweep.run(number)["h"].plot()
        """
        from ._sweep import runs

        return runs(self._open.file)

    def run(self, number: int) -> Results:
        """Opens the results of a run of a sweep, counted from 0. They are the caller's to close.

        Raises IndexError if there is no such run, FileNotFoundError if it left no results, and QatError if the file is
        no sweep.
        """
        from ._sweep import path_of

        count = len(self.runs)
        if not 0 <= number < count:
            raise IndexError(f"{self.path}: no run {number}: the sweep has runs 0 to {count - 1}")
        return Results(path_of(self.path, int(number)))

    def refresh(self) -> None:
        """Looks at the file again: sees what was added to it meanwhile. Signals that were taken before see it, too.

        After a step back of the run the samples that were given up are gone.
        """
        self._open.refresh()

    def close(self) -> None:
        """Closes the file. Its signals can then no longer be read; arrays that were read stay."""
        if self._store is not None:
            self._store.close()
            self._store = None

    def __enter__(self) -> Results:
        return self

    def __exit__(
        self, kind: type[BaseException] | None, error: BaseException | None, trace: TracebackType | None
    ) -> None:
        self.close()

    def __repr__(self) -> str:
        if self._store is None:
            return f"<Results '{self.path}': closed>"
        return f"<Results '{self.path}': {len(self)} signals{'' if self.complete else ', not complete'}>"

    @property
    def _open(self) -> Store:
        if self._store is None:
            raise QatError(f"{self.path}: was closed")
        return self._store

    def _chosen(self, patterns: tuple[str, ...]) -> list[Signal]:
        for pattern in patterns:
            match = matcher(pattern)
            if not any(match(name) for name in self._open.places):
                what = "matches" if "*" in pattern or "?" in pattern else "is called"
                raise SignalNotFoundError(f"no signal {what} {pattern!r}{did_you_mean(pattern, self._open.places)}")
        return self.select(*patterns)


def open_results(path: str | os.PathLike[str]) -> Results:
    """Opens a results file (a Qat file) for reading.

    A file that is still being written is read as far as it was flushed (see `Results.refresh`), and so is one whose
    writer was killed. The file is never changed.

    Raises FileNotFoundError, PermissionError and the like if it cannot be opened, and QatError if it is no Qat file, of
    another version, or damaged.
    """
    return Results(os.fspath(path))
