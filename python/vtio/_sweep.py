"""Sweeps: the table of their runs, and where the results of a run are."""

from __future__ import annotations

import os
from typing import Any

import pandas as pd

from ._hdf5 import QatFile
from ._stored import Members, Rows, read_value
from .errors import QatError, reading

_RUNS = "runs"


def is_sweep(file: QatFile) -> bool:
    """Whether a file has a table of runs."""
    return _RUNS in file.root


def runs(file: QatFile) -> pd.DataFrame:
    """A row per run; see Results.runs."""
    with reading(file.path, _RUNS):
        stored: Any = read_value(file, file.root, _RUNS) if is_sweep(file) else None
        if isinstance(stored, Rows):
            columns = {name: list(stored.columns.column(name)) for name in stored.columns.fields}
            return _frame(columns, len(stored))
        if isinstance(stored, Members) and len(stored) == 1:  # a single run need not be stored as a table
            return _frame({name: [stored[0].get(name)] for name in stored[0].names()}, 1)
    raise QatError(f"{file.path}: no sweep")


def path_of(path: str, number: int) -> str:
    """The results file of a run."""
    return os.path.join(f"{path}.d", f"{number:06d}.qat")


def _frame(columns: dict[str, list[Any]], rows: int) -> pd.DataFrame:
    return pd.DataFrame(columns, index=pd.RangeIndex(rows, name="run"))
