#!/usr/bin/env python3
"""Writes the seed corpus of fuzz_logging_selection. The form of the bytes is that of its function value()."""

import pathlib

FIELDS = ["default", "signals", "blockPath", "port", "selector", "customName", "decimation", "maxPoints"]
NUMBERS = [0, 1, 2, 3, 10, -1, 0.5, "nan", "inf", "2^63", "2^64", "-0"]
NULL = bytes([0])


def number(value):
    return bytes([1, NUMBERS.index(value)])


def text(value):
    return bytes([2, len(value)]) + value.encode()


def cells(*values):
    return bytes([3, len(values)]) + b"".join(values)


def structure(**fields):
    return bytes([4, len(fields)]) + b"".join(
        bytes([FIELDS.index(name)]) + value for name, value in fields.items())


def integer(value, signed=False):
    return bytes([5, 0 if signed else 1]) + (value & 0xFFFFFFFFFFFFFFFF).to_bytes(8, "big")


def logical(value):
    return bytes([6, value])


def matrix(dims, class_id, complexity=0):
    return bytes([7, *dims, class_id - 3, complexity])


def signal(path=None, port=None, selector=None, **more):
    return structure(blockPath=path or text("top/A"), port=port or number(0), selector=selector or number(1), **more)


def selection(*signals, **more):
    return structure(signals=cells(*signals), **more)


SEEDS = {
    "none": b"",
    "empty": structure(),
    "no_signals": selection(),
    "default_off": selection(default=number(0)),
    "default_three": selection(default=number(3)),
    "default_logical": selection(default=logical(1)),
    "one": selection(signal()),
    "three_ports": selection(*[signal(port=number(p), selector=number(p)) for p in (0, 1, 2)], default=number(0)),
    "two_levels": selection(signal(path=cells(text("top/Ref"), text("ref/A")), selector=number(2))),
    "override": selection(signal(selector=number(2), customName=text("renamed"), decimation=number(10),
                                 maxPoints=number(3))),
    "override_unused": selection(signal(selector=number(1), decimation=number(2))),
    "empty_name": selection(signal(selector=number(2), customName=text(""))),
    "zero_decimation": selection(signal(selector=number(2), decimation=number(0))),
    "no_limit": selection(signal(selector=number(2), maxPoints=number(0))),
    "twice": selection(signal(path=text("a b")), signal(path=text("a\nb"))),
    "line_feed": selection(signal(path=text("a\nb"), selector=number(0))),
    "large_ports": selection(signal(port=integer(2**64 - 1)), signal(port=integer(2**64 - 2)),
                             signal(port=integer(2**63 - 1, signed=True)), signal(port=number("2^63"))),
    "negative_port": selection(signal(port=number(-1))),
    "negative_integer_port": selection(signal(port=integer(-1, signed=True))),
    "half_port": selection(signal(port=number(0.5))),
    "nan_port": selection(signal(port=number("nan"))),
    "huge_port": selection(signal(port=number("2^64"))),
    "minus_zero": selection(signal(port=number("-0"))),
    "text_port": selection(signal(port=text("1"))),
    "port_matrix": selection(signal(port=matrix((1, 2, 1), 6))),
    "complex_port": selection(signal(port=matrix((1, 1, 1), 6, 3))),
    "single_port": selection(signal(port=matrix((1, 1, 1), 7))),
    "no_path": selection(structure(port=number(0), selector=number(1))),
    "empty_path": selection(signal(path=cells())),
    "path_with_hole": selection(signal(path=cells(text("top"), NULL))),
    "path_of_numbers": selection(signal(path=cells(number(1)))),
    "path_matrix": selection(signal(path=matrix((2, 2, 1), 4))),
    "empty_cell": selection(NULL),
    "signals_structure": structure(signals=structure()),
    "cell": cells(number(1)),
}


def main():
    folder = pathlib.Path(__file__).parent / "corpus" / "logging_selection"
    folder.mkdir(parents=True, exist_ok=True)
    for name, seed in SEEDS.items():
        (folder / name).write_bytes(seed)


if __name__ == "__main__":
    main()
