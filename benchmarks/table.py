#!/usr/bin/env python3
"""Prints what the benchmarks measured, each with its floor, as one table.

Usage: table.py RESULT.json...   (files written by --benchmark_out with --benchmark_out_format=json)

Of the repetitions of a benchmark the fastest counts: on a shared machine whatever disturbs a run only makes it slower.
A ratio above its target is marked. Exits 1 when one is above its target by more than a third, when a benchmark reported
an error, when its floor is missing, and when there is no result.
"""

import json
import re
import sys

WAYS = {
    "entryScalar": ("update, C entry", "floorScalar"),
    "accessorScalar": ("update, accessor", "floorScalar"),
    "entryBus": ("virtual bus, C entry", "floorBus"),
    "accessorBus": ("virtual bus, accessor", "floorBus"),
}
JOBS = {  # name: (thing, floor, target or None, unit, seconds per unit)
    "recordEntry/signals:1/steps:1000000/layout:0": ("record 1 signals x 1 000 000, C entry",
        "floorAppend/signals:1/steps:1000000/layout:0", None, "ms", 1e-3),
    "recordEntry/signals:100/steps:100000/layout:0": ("record 100 signals x 100 000, C entry",
        "floorAppend/signals:100/steps:100000/layout:0", None, "ms", 1e-3),
    "recordEntry/signals:1000/steps:10000/layout:0": ("record 1 000 signals x 10 000, C entry",
        "floorAppend/signals:1000/steps:10000/layout:0", 2.0, "ms", 1e-3),
    "recordEntry/signals:1000/steps:10000/layout:1": ("record 1 000 signals x 10 000, scattered, C entry",
        "floorAppend/signals:1000/steps:10000/layout:1", 2.0, "ms", 1e-3),
    "recordEntry/signals:10000/steps:1000/layout:0": ("record 10 000 signals x 1 000, C entry",
        "floorAppend/signals:10000/steps:1000/layout:0", 0.8, "ms", 1e-3),
    "recordEntry/signals:10000/steps:1000/layout:1": ("record 10 000 signals x 1 000, scattered, C entry",
        "floorAppend/signals:10000/steps:1000/layout:1", 0.8, "ms", 1e-3),
    "recordEntry/signals:100000/steps:100/layout:0": ("record 100 000 signals x 100, C entry",
        "floorAppend/signals:100000/steps:100/layout:0", 2.0, "ms", 1e-3),
    "recordAccessor/signals:1000/steps:10000/layout:0": ("record 1 000 signals x 10 000, accessor",
        "floorAppend/signals:1000/steps:10000/layout:0", None, "ms", 1e-3),
    "recordApart/signals:1000/steps:10000/layout:0": ("record 1 000 signals x 10 000, each at its own times",
        "floorAppend/signals:1000/steps:10000/layout:0", None, "ms", 1e-3),
    "recordAccessor/signals:10000/steps:1000/layout:0": ("record 10 000 signals x 1 000, accessor",
        "floorAppend/signals:10000/steps:1000/layout:0", None, "ms", 1e-3),
    "recordApart/signals:10000/steps:1000/layout:0": ("record 10 000 signals x 1 000, each at its own times",
        "floorAppend/signals:10000/steps:1000/layout:0", None, "ms", 1e-3),
    "runWithoutLog/model:0": ("step of a ball FMU, run without a log (goal 1.5)", "loopByHand/model:0", None, "ns",
                              1e-4),
    "runWithoutLog/model:1": ("step of a stiff FMU, run without a log (goal 1.5)", "loopByHand/model:1", None, "ns",
                              1e-4),
    "runWithLog/model:0": ("step of a ball FMU, 2 outputs logged (goal 1.1)", "runWithoutLog/model:0", None, "ns",
                           1e-4),
    "runWithLog/model:1": ("step of a stiff FMU, 2 outputs logged (goal 1.1)", "runWithoutLog/model:1", None, "ns",
                           1e-4),
    "manyWithLog": ("one of 100 outputs logged, per scalar (goal 15 ns); no FMU, so no ratio counts", "manyWithoutLog",
                    None, "ns", 1e-4),
    "sweep/runs:1000/jobs:2": ("sweep of 1000 runs, 2 at a time, beside one by one (goal 1.8 times as fast)",
                               "sweep/runs:1000/jobs:1", 1 / 1.8, "s", 1.0),
    "importDescription": ("import a description of 100 000 variables (goal 2 s), beside parsing its XML", "floorParse",
                          None, "ms", 1e-3),
    "save/signals:1000/samples:20000": ("save 1000 signals x 20 000", "floorWrite/signals:1000/samples:20000", 2.0,
                                        "ms", 1e-3),
    "save/signals:10000/samples:1000": ("save 10 000 signals x 1000", "floorWrite/signals:10000/samples:1000", 3.0,
                                        "ms", 1e-3),
    "list/signals:10000/samples:1000": ("list 10 000 signals (goal 50 ms)", "floorList/signals:10000/samples:1000",
                                        None, "ms", 1e-3),
    "list/signals:100000/samples:10": ("list 100 000 signals (goal 500 ms)", "floorList/signals:100000/samples:10",
                                       None, "ms", 1e-3),
    "readSignal/signals:10000/samples:1000": ("read one of 10 000 signals x 1000 (goal 3 ms)",
                                              "floorRead/signals:10000/samples:1000", None, "ms", 1e-3),
    "readSignal/signals:1000/samples:100000": ("read one of 1000 signals x 100 000 (goal 15 ms)",
                                               "floorRead/signals:1000/samples:100000", None, "ms", 1e-3),
    "listCommand/signals:10000/samples:10": ("qat ls of 10 000 signals (goal 300 ms)",
                                             "floorListCommand/signals:10000/samples:10", None, "ms", 1e-3),
    "oneSignal/signals:200/samples:100000": ("open and read one of 200 signals x 100 000",
                                             "floorOneSignal/signals:200/samples:100000", None, "ms", 1e-3),
    "exportCsv/signals:200/samples:100000": ("qat export to CSV, 160 MB", "floorDigits/signals:200/samples:100000", 2.0,
                                             "ms", 1e-3),
    "exportSqlite/signals:200/samples:100000": ("qat export to SQLite, 160 MB",
                                                "floorInsert/signals:200/samples:100000",
                                                2.0, "ms", 1e-3),
    "diffEqual/signals:200/samples:100000": ("qat diff of two files of 160 MB",
                                             "floorReadBoth/signals:200/samples:100000", 2.0, "ms", 1e-3),
    "reduce/points:1000000": ("reduce 1 000 000 points to 1200 pixels", "floorMinMax/points:1000000", None, "ms", 1e-3),
    "viewOpen/signals:1000/samples:100000": ("qat view: open 1000 signals x 100 000, beside a fetch (goal 1 s)",
                                             "viewOpenFloor/signals:1000/samples:100000", None, "ms", 1e-3),
    "viewFirst/signals:1000/samples:100000": ("qat view: draw a first signal, beside fetching another",
                                              "viewFirstFloor/signals:1000/samples:100000", None, "ms", 1e-3),
    "viewZoom/signals:1000/samples:100000": ("qat view: zoom 4 signals, beside fetching the same (goal 100 ms)",
                                             "viewZoomFloor/signals:1000/samples:100000", None, "ms", 1e-3),
    "viewSlowestZoom/signals:1000/samples:100000": ("qat view: the slowest of 40 zooms",
                                                    "viewSlowestZoomFloor/signals:1000/samples:100000", None, "ms",
                                                    1e-3),
    "stream/signals:1000/steps:20000": ("stream 1000 signals x 20 000, beside write and no-op updates",
                                        "floorNoOpAndWrite/signals:1000/steps:20000", 1.5, "ms", 1e-3),
    "streamBesideWrite/signals:1000/steps:20000": ("stream 1000 signals x 20 000, beside write",
                                                   "floorWritePieces/signals:1000/steps:20000", 4.5, "ms", 1e-3),
    "stream/signals:10000/steps:2000": ("stream 10 000 signals x 2000, beside write and no-op updates",
                                        "floorNoOpAndWrite/signals:10000/steps:2000", 1.4, "ms", 1e-3),
    "stream/signals:1/steps:10000000": ("stream 1 signal x 10 000 000, beside write and no-op updates",
                                        "floorNoOpAndWrite/signals:1/steps:10000000", None, "ms", 1e-3),
    "streamStructures/signals:200/steps:20000": ("stream 200 structures x 20 000, beside write",
                                                 "floorWriteStructures/signals:200/steps:20000", 2.5, "ms", 1e-3),
    "streamStrays/apart:1": ("stream 2 000 000 samples that fit no table, beside as many that do",
                             "streamStrays/apart:0", 5.0, "ms", 1e-3),
    "plainHdf5/signals:1000/steps:20000": ("(plain HDF5, 1000 signals x 20 000, beside write)",
                                           "floorWritePieces/signals:1000/steps:20000", None, "ms", 1e-3),
    "plainHdf5/signals:10000/steps:2000": ("(plain HDF5, 10 000 signals x 2000, beside write)",
                                           "floorWritePieces/signals:10000/steps:2000", None, "ms", 1e-3),
    "plainHdf5/signals:1/steps:10000000": ("(plain HDF5, 1 signal x 10 000 000, beside write)",
                                           "floorWritePieces/signals:1/steps:10000000", None, "ms", 1e-3),
}
SECONDS = {"ns": 1e-9, "us": 1e-6, "ms": 1e-3, "s": 1.0}
TOLERANCE = 4 / 3  # how far above its target a ratio may be on a busy machine


class Results:
    """The fastest repetition of every benchmark, by name without what only describes the run."""

    def __init__(self, paths):
        self.fastest = {}
        self.least_cpu = {}
        self.failed = []
        for path in paths:
            with open(path, encoding="utf-8") as file:
                for run in json.load(file)["benchmarks"]:
                    self.add(run)

    def add(self, run):
        if run.get("error_occurred"):
            self.failed.append(f"{run['name']}: {run.get('error_message', 'failed')}")
        elif run.get("run_type") == "iteration":
            name = re.sub(r"/(iterations|repeats|min_time):[^/]*|/(manual|real)_time", "", run["run_name"])
            if name not in self.fastest or run["real_time"] < self.fastest[name]["real_time"]:
                self.fastest[name] = run
            if "cpu_seconds" in run:
                self.least_cpu[name] = min(self.least_cpu.get(name, run["cpu_seconds"]), run["cpu_seconds"])

    def per_item(self, name):
        run = self.fastest.get(name)
        return None if run is None else 1e9 / run["items_per_second"]

    def cpu_ratio(self, name, floor):
        mine, theirs = (self.least_cpu.get(key) for key in (name, floor))
        return None if mine is None or theirs is None else mine / theirs

    def seconds(self, name):
        run = self.fastest.get(name)
        return None if run is None else run["real_time"] * SECONDS[run["time_unit"]]


def update_order(name):
    way, _, arguments = name.partition("/")
    return list(WAYS).index(way) if way in WAYS else len(WAYS), [int(n) for n in re.findall(r":(\d+)", arguments)]


def update_rows(results):
    for name in sorted(results.fastest, key=update_order):
        way, _, arguments = name.partition("/")
        if way not in WAYS:
            continue
        values = dict(part.split(":") for part in arguments.split("/"))
        title, floor = WAYS[way]
        floor = f"{floor}/signals:{values['signals']}/clients:{values['clients']}"
        thing = (f"{title}, {values['signals']:>4} signals, decimation {values['decimation']:>2}, "
                 f"{values['clients']} clients, {'with' if values['intervals'] == '1' else 'no  '} intervals")
        target = 4.0 if way.startswith("entry") and values["clients"] == "1" else None
        yield thing, results.per_item(name), results.per_item(floor), target, "ns", None, None


def job_rows(results):
    for name, (thing, floor, target, unit, scale) in JOBS.items():
        if name in results.fastest:
            mine, theirs = results.seconds(name), results.seconds(floor)
            yield (thing, mine / scale, None if theirs is None else theirs / scale, target, unit,
                   results.fastest[name].get("bytes_per_sample"), results.cpu_ratio(name, floor))


def step_rows(results):
    """The longest of 1000 steps beside the median of all."""
    for name, run in results.fastest.items():
        if name.startswith("streamedSteps/"):
            interval = int(name.rpartition(":")[2])
            flush = "no flush" if interval > 100_000 else f"a flush every {interval} ms"
            yield (f"longest of 1000 steps of 1000 streamed signals, beside the median, {flush}",
                   run["longest_of_1000_us"], run["real_time"], None, "us", None, None)


def print_table(rows):
    form = "{:<80} {:>12} {:>12} {:>7} {:>12} {:>13} {:>10}"
    print(form.format("thing", "measured", "floor", "ratio", "target", "bytes/sample", "CPU ratio"))
    for thing, measured, floor, target, unit, bytes_per_sample, cpu_ratio in rows:
        ratio = measured / floor
        goal = "" if target is None else f"<= {target:g} {'ok' if ratio <= target else 'MISSED'}"
        print(form.format(thing, f"{measured:.2f} {unit}", f"{floor:.2f} {unit}", f"{ratio:.2f}", goal,
                          "" if bytes_per_sample is None else f"{bytes_per_sample:.2f}",
                          "" if cpu_ratio is None else f"{cpu_ratio:.2f}"))


def far_above(rows):
    """What to say of each ratio that is above its target by more than a third."""
    for thing, measured, floor, target, *_ in rows:
        if target is not None and measured / floor > target * TOLERANCE:
            yield f"{thing}: {measured / floor:.2f} times its floor, more than a third above the target {target:g}"


def main(paths):
    results = Results(paths)
    rows = [*update_rows(results), *job_rows(results), *step_rows(results)]
    problems = results.failed + [f"no floor for: {row[0]}" for row in rows if row[2] is None]
    if not rows:
        problems.append("no results")
    rows = [row for row in rows if row[2] is not None]
    problems += far_above(rows)
    print_table(rows)
    print("\nThe fastest of the repetitions. Floors: every client called directly on every update, whatever the "
          "decimation;\na client per signal that appends the value to a preallocated vector; one raw write of the same "
          "bytes per signal;\na loop that calls the FMU's doStep alone, and the same run without a log."
          "\nUpdates and recording count processor time, saving counts elapsed time; its CPU ratio "
          "leaves the disk out.")
    for problem in problems:
        print(f"FAILED: {problem}", file=sys.stderr)
    return 1 if problems else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
