"""Reads the results files of vtio (Qat files) with numpy.

    import vtio

    r = vtio.open("results.qat")
    r.names                              # all signals
    r.select("wheels.*")                 # some of them: `*` is any text, `?` one character

    speed = r["wheels.speed"]
    speed.time, speed.values             # seconds, and one value per time
    speed.unit, speed.dimensions, speed.interpolation
    speed.at([0.5, 1.0])                 # values at any times, interpolated as the signal says
    speed[-100:].values                  # the last 100 samples; nothing else is read
    speed.between(2.0, 3.0).values
    r["mode"].labels()                   # the labels of an enumeration
    r["level"].raw                       # the stored integers of a fixed-point signal; .values are real
    speed.plot()                         # with matplotlib

    r.dataframe("wheels.*")              # a pandas DataFrame, one row per time
    r.xarray("wheels.*")                 # an xarray Dataset with units

    sweep = vtio.open("sweep.qat")
    sweep.runs                           # a pandas DataFrame, one row per run
    sweep.run(17)["h"]                   # the results of a run

    r.refresh()                          # a file that is still being written: see what came since
    r.close()                            # or: with vtio.open("results.qat") as r: ...

Needs h5py and numpy; pandas, xarray and matplotlib only for the functions that are about them. See `help(vtio.Results)`
and `help(vtio.Signal)`. The package trusts the HDF5 library: files from strangers are better checked with `qat check`
first.
"""

from ._values import FixedPoint
from ._version import __version__
from .errors import QatError, SignalNotFoundError
from .results import Results
from .results import open_results as open
from .signal import Signal

__all__ = ["FixedPoint", "QatError", "Results", "Signal", "SignalNotFoundError", "__version__", "open"]
