#!/usr/bin/env python3
"""Writes the seed corpus of fuzz_tree_vector: one file per kind of tree. The form is that of tree_script.hpp."""

import pathlib

TOP_BUS, BUS, TOP_NV, NV, LEAF, FIXED, ENUM, POP, END = 0, 1, 2, 3, 4, 5, 6, 7, 255
DOUBLE, SINGLE, INT32, STRING, UNKNOWN = 0, 1, 8, 12, 18


def head(kind=3, ports=8, decimation=1, path=0, loops=0, loop=1):
    return bytes([kind, ports, decimation, path, loops, loop - 1])


def text(value):
    return bytes([len(value)]) + value.encode()


def dims(values):
    return bytes([len(values), *values])


def bus(op, name, children):
    return bytes([op]) + text(name) + bytes([children])


def nv(op, name, children, size, sizes=(1,)):
    return bus(op, name, children) + dims(sizes) + bytes(children) + bytes([0, size])


def leaf(name, class_name=DOUBLE, sizes=(), complexity=0):
    return bytes([LEAF]) + text(name) + bytes([complexity, class_name]) + dims(sizes) + text("m") + text("0.1")


def fixed(name, word_length=16):
    return bytes([FIXED]) + text(name) + bytes([0, 15]) + dims(()) + text("") + text("") + bytes(
        [1, 0, word_length - 1]) + (-4 & 0xFFFFFFFF).to_bytes(4, "big")


def enum(name, labels):
    body = b"".join(i.to_bytes(4, "big") + text(label) for i, label in enumerate(labels))
    return bytes([ENUM]) + text(name) + bytes([0, INT32]) + dims(()) + text("") + text("") + bytes([len(labels)]) + body


def end(intervals=(0, 0, 0), updates=()):
    return bytes([END, *intervals]) + b"".join(bytes(update) for update in updates)


POP_ = bytes([POP])
EVERY = [(0, t) for t in range(12)]
BY_LEAF = [(i % 4, i // 4) for i in range(32)]

SEEDS = {
    "leaf": head() + leaf("x") + end(updates=EVERY),
    "leaf_complex_matrix": head(decimation=3) + leaf("x", SINGLE, (3, 2), 1) + end((2, 2, 6), EVERY),
    "leaf_sentinel_dims": head() + bytes([LEAF]) + text("x") + bytes([0, DOUBLE, 6, 0]) + text("") + text("") + end(),
    "fixed_point": head(kind=1) + fixed("soc") + end((1, 3, 2), EVERY),
    "enumeration": head(kind=0, path=1) + enum("mode", ["off", "on"]) + end(updates=EVERY),
    "unknown_class": head() + leaf("x", UNKNOWN) + end(),
    "virtual_bus": head(decimation=2) + bus(TOP_BUS, "t", 3) + leaf("a") + bus(BUS, "b", 1) + leaf("c", INT32) + POP_
                   + leaf("d", STRING) + POP_ + end(updates=BY_LEAF),
    "non_virtual_in_virtual": head() + bus(TOP_BUS, "t", 2) + nv(NV, "n", 2, 16, (3,)) + leaf("a") + leaf("b", SINGLE)
                              + POP_ + leaf("c") + POP_ + end(updates=BY_LEAF),
    "array_at_root": head() + nv(TOP_NV, "w", 2, 24, (4,)) + leaf("a") + nv(NV, "n", 1, 8, (2,)) + leaf("b") + POP_
                     + POP_ + end(updates=EVERY),
    "for_each": head(loops=3, loop=4) + leaf("x") + end(updates=EVERY),
    "too_few_markers": head() + bus(TOP_BUS, "t", 1) + bus(BUS, "b", 1) + leaf("a") + POP_ + end(),
    "early_balance": head() + bus(TOP_BUS, "t", 1) + leaf("a") + POP_ + leaf("b") + POP_ + bus(BUS, "c", 0) + end(
        updates=BY_LEAF),
    "stray_marker": head() + POP_ + bus(TOP_BUS, "t", 1) + leaf("a") + POP_ + end(),
    "announced_too_many": head() + bus(TOP_BUS, "t", 5) + leaf("a") + leaf("b") + POP_ + end(updates=BY_LEAF),
    "announced_too_few": head() + bus(TOP_BUS, "t", 1) + leaf("a") + leaf("b") + POP_ + end(updates=BY_LEAF),
    "empty_bus_inside": head() + bus(TOP_BUS, "t", 3) + leaf("a") + bus(BUS, "b", 0) + POP_ + leaf("c") + POP_ + end(
        updates=BY_LEAF),
    "lone_bus": head() + bus(TOP_BUS, "t", 0) + end(),
    "bad_path": head(path=2) + leaf("x") + end(),
    "empty": b"",
}

folder = pathlib.Path(__file__).parent / "corpus" / "tree_vector"
folder.mkdir(parents=True, exist_ok=True)
for name, content in SEEDS.items():
    (folder / name).write_bytes(content)
