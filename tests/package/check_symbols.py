#!/usr/bin/env python3
"""Compares the symbols that the shared libraries export with a checked-in list.

    check_symbols.py --expected symbols.expected LIBRARY...            compares
    check_symbols.py --expected symbols.expected --update LIBRARY...   rewrites the list

Weak symbols are left out, except the type information and the tables of the project's own classes: instantiations of
the standard library's templates depend on the compiler's inlining, and nobody may rely on them.
"""

import argparse
import difflib
import os
import pathlib
import subprocess
import sys

HEAD = """\
# What the shared libraries export, demangled; a line in brackets names the library, T is code, D and B data, R and V
# tables. To accept a change on purpose:
#   tests/package/check_symbols.py --expected tests/package/{} --update LIBRARY...
"""


def exported(library):
    run = subprocess.run(["nm", "--dynamic", "--defined-only", "--demangle", library], check=True, capture_output=True,
                         text=True)
    symbols = set()
    for line in run.stdout.splitlines():
        _, kind, name = line.split(" ", 2)
        of_std = name.startswith(("std::", "typeinfo for std::", "vtable for std::", "typeinfo name for"))
        if kind in "TDBR" or (kind == "V" and not of_std):
            symbols.add(f"{kind} {name}")
    return sorted(symbols)


def main():
    parser = argparse.ArgumentParser(description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("--expected", required=True, type=pathlib.Path)
    parser.add_argument("--update", action="store_true")
    parser.add_argument("libraries", nargs="+", metavar="LIBRARY")
    options = parser.parse_args()

    lines = []
    for library in options.libraries:
        symbols = exported(library)
        if not symbols:
            sys.exit(f"{library} exports nothing")
        lines += [f"[{os.path.basename(library).split('.so')[0]}]", *symbols, ""]
    text = HEAD.format(options.expected.name) + "\n".join(lines)
    if options.update:
        options.expected.write_text(text, encoding="utf-8")
        return 0
    expected = options.expected.read_text(encoding="utf-8")
    if text == expected:
        print(f"{sum(1 for line in lines if line[1:2] == ' ')} symbols as expected")
        return 0
    print(f"exported symbols differ from {options.expected} (- expected, + exported):")
    for line in difflib.unified_diff(expected.splitlines(), text.splitlines(), lineterm="", n=0):
        if not line.startswith(("---", "+++", "@@")):
            print(line)
    return 1


if __name__ == "__main__":
    sys.exit(main())
